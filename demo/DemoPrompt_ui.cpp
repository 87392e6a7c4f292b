#include "demo/DemoPrompt_ui.h"

#include "util/Plat_clientutils.h"

namespace lnq {

namespace {
TDemoMsgBoxFn& hook() {
    static TDemoMsgBoxFn fn;
    return fn;
}
} // namespace

int DemoMsgBox(const QString& text, const QString& caption, int flags) {
    if (hook()) return hook()(text, caption, flags);
    return TClientUtils::MsgBox(text, caption, flags);
}

TDemoMsgBoxFn SetDemoMsgBox(TDemoMsgBoxFn fn) {
    TDemoMsgBoxFn old = std::move(hook());
    hook() = std::move(fn);
    return old;
}

} // namespace lnq
