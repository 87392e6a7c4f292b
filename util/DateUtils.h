#pragma once
// Date-time values as the framework's rules compute with them: a double
// counting days since 1899-12-30 00:00 (the integer part is the day, the
// fraction the time of day), naive local time. Filters compare these values
// exactly; grids and SQL texts convert them to and from QDateTime.

#include <QDate>
#include <QDateTime>

namespace lnq {

using TDateTime = double;

// Values beyond this many days from the epoch either way (about 270,000
// years), NaN and infinities have no date: they convert to an invalid
// QDate / QDateTime (shown as an empty text).
constexpr double kMaxDateTimeDays = 100'000'000.0;

TDateTime DateTimeFromQt(const QDateTime& dt); // invalid -> 0
TDateTime DateFromQt(const QDate& d);          // midnight of d; invalid -> 0
QDateTime DateTimeToQt(TDateTime value);       // local, millisecond precision
QDate DateToQt(TDateTime value);               // the day part

TDateTime NowValue();   // the one clock (util/Clock.h)
TDateTime TodayValue(); // today at midnight

// Calendar helpers with the platform's classic meanings.
TDateTime StartOfTheWeek(TDateTime value);       // Monday 00:00 of the ISO week
TDateTime StartOfTheMonth(TDateTime value);      // the 1st, 00:00
TDateTime IncMonth(TDateTime value, int months); // keeps day and time, clips to month end

} // namespace lnq
