#pragma once
// How the demo client tells and asks the user: the framework's themed message
// box, unless a replacement is installed (the tour and the tests answer
// without a window).

#include <QString>
#include <functional>

namespace lnq {

using TDemoMsgBoxFn = std::function<int(const QString& text, const QString& caption, int flags)>;

// Shows text with the flags of TClientUtils::MsgBox and returns the button
// (util/Plat_clientutils_ui.h).
int DemoMsgBox(const QString& text, const QString& caption, int flags);
// Installs a replacement (an empty function restores the message box) and
// returns the one it replaces.
TDemoMsgBoxFn SetDemoMsgBox(TDemoMsgBoxFn fn);

} // namespace lnq
