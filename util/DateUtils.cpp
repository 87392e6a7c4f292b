#include "util/DateUtils.h"

#include "util/Clock.h"

#include <cmath>

namespace lnq {

namespace {
const QDate kEpoch(1899, 12, 30);
constexpr double kMsecsPerDay = 86400000.0;

// A value read from a file or a database can hold any double: only day
// counts a calendar can name (NaN, infinities and counts beyond
// kMaxDateTimeDays have no date) are converted.
bool hasDate(TDateTime value) {
    return std::isfinite(value) && std::fabs(value) <= kMaxDateTimeDays;
}
} // namespace

TDateTime DateFromQt(const QDate& d) {
    if (!d.isValid()) return 0;
    return static_cast<double>(kEpoch.daysTo(d));
}

TDateTime DateTimeFromQt(const QDateTime& dt) {
    if (!dt.isValid()) return 0;
    const double days = DateFromQt(dt.date());
    const double frac = dt.time().msecsSinceStartOfDay() / kMsecsPerDay;
    // Before the epoch the classic encoding keeps the time as a positive
    // fraction added to a negative day count's magnitude.
    return days >= 0 ? days + frac : days - frac;
}

QDate DateToQt(TDateTime value) {
    if (!hasDate(value)) return QDate();
    return kEpoch.addDays(static_cast<qint64>(std::trunc(value)));
}

QDateTime DateTimeToQt(TDateTime value) {
    if (!hasDate(value)) return QDateTime();
    const double day = std::trunc(value);
    const double frac = std::fabs(value - day);
    qint64 ms = std::llround(frac * kMsecsPerDay);
    QDate d = kEpoch.addDays(static_cast<qint64>(day));
    if (ms >= static_cast<qint64>(kMsecsPerDay)) {
        d = d.addDays(1);
        ms -= static_cast<qint64>(kMsecsPerDay);
    }
    return QDateTime(d, QTime::fromMSecsSinceStartOfDay(static_cast<int>(ms)));
}

TDateTime NowValue() {
    return DateTimeFromQt(Clock::now());
}
TDateTime TodayValue() {
    return DateFromQt(Clock::today());
}

TDateTime StartOfTheWeek(TDateTime value) {
    const QDate d = DateToQt(value);
    return DateFromQt(d.addDays(1 - d.dayOfWeek()));
}

TDateTime StartOfTheMonth(TDateTime value) {
    const QDate d = DateToQt(value);
    return DateFromQt(QDate(d.year(), d.month(), 1));
}

TDateTime IncMonth(TDateTime value, int months) {
    const QDate d = DateToQt(value);
    const double day = std::trunc(value);
    const double frac = value - day;
    // QDate::addMonths clips the day to the target month's last day.
    return DateFromQt(d.addMonths(months)) + frac;
}

} // namespace lnq
