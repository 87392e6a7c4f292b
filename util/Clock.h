#pragma once
// The framework's one clock. Every "now" and "today" of the framework (date
// filters, GETDATE() on the embedded database, calendar defaults) is read here.
//
// The environment variable LNQ_NOW ("yyyy-MM-dd HH:mm:ss", local time) fixes
// the clock, so tests and demonstrations of date rules never depend on the
// calendar. It is read on first use; setFixedNow() overrides it in-process.

#include <QDate>
#include <QDateTime>
#include <optional>

namespace lnq::Clock {

QDateTime now(); // local date-time
QDate today();   // local date

// Fix the clock to a moment (local time), or with std::nullopt go back to the
// environment / the system clock.
void setFixedNow(std::optional<QDateTime> moment);

// Re-read LNQ_NOW (for tools and tests that set the variable at run time).
void reloadEnvironment();

// A plug-in library carries its own copy of this module. When its host hands
// over its now() here, every now() and today() of the library asks the
// host's clock, so a moment fixed in the host (setFixedNow, LNQ_NOW) holds
// inside the library too. nullptr goes back to the module's own clock.
using TNowFunction = QDateTime (*)();
void followClock(TNowFunction hostNow);

} // namespace lnq::Clock
