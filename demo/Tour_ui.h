#pragma once
// The demo client's tour: every screen opened and used as a user would (a
// view opened from the tree, a quick filter set, a sales order confirmed, a
// record edited with a lookup typed, a lookup dialog driven, an order
// entered, a backup taken and checked) and captured as a PNG in a folder.
// Message boxes are answered without a window (yes / OK) and printed.

#include <QString>

class QTextStream;

namespace lnq {

class TDemoMainfm;

// Runs the tour on the signed-in main window; prints each PNG's path on out
// and each failed step on stderr. Returns 0 when every step passed.
int RunDemoTour(TDemoMainfm& mainForm, const QString& dir, QTextStream& out);

} // namespace lnq
