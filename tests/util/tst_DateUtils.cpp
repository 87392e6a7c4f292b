#include "common/TestMain.h"
#include "util/Clock.h"
#include "util/DateUtils.h"

#include <cmath>
#include <limits>

using namespace lnq;

// Date-time values come from files and databases as raw doubles: those no
// calendar can name convert to invalid dates, never through an out-of-range
// integer conversion.
class TestDateUtils : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void conversion_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text"); // "" for no date
        QTest::newRow("epoch") << 0.0 << "1899-12-30 00:00:00.000";
        QTest::newRow("noon") << 45000.5 << "2023-03-15 12:00:00.000";
        QTest::newRow("before the epoch keeps the time positive") << -1.25 << "1899-12-29 06:00:00.000";
        QTest::newRow("rounds up to the next day") << 1.9999999999 << "1900-01-01 00:00:00.000";
        QTest::newRow("at the limit")
            << kMaxDateTimeDays
            << QDate(1899, 12, 30).addDays(qint64(kMaxDateTimeDays)).toString("yyyy-MM-dd 00:00:00.000");
        QTest::newRow("beyond the limit") << kMaxDateTimeDays + 1 << "";
        QTest::newRow("huge negative") << -1.24251e+308 << "";
        QTest::newRow("nan") << std::numeric_limits<double>::quiet_NaN() << "";
        QTest::newRow("infinity") << std::numeric_limits<double>::infinity() << "";
    }
    void conversion() {
        QFETCH(double, value);
        QFETCH(QString, text);
        const QDateTime dt = DateTimeToQt(value);
        QCOMPARE(dt.isValid() ? dt.toString("yyyy-MM-dd HH:mm:ss.zzz") : QString(), text);
        QCOMPARE(DateToQt(value).isValid(), !text.isEmpty());
        // Moments to the millisecond convert back to the same value.
        if (dt.isValid() && value == std::round(value * 86400000) / 86400000)
            QCOMPARE(DateTimeFromQt(dt), value);
    }

    void calendarHelpers() {
        const TDateTime sunday = DateFromQt(QDate(2024, 3, 10));
        QCOMPARE(DateToQt(StartOfTheWeek(sunday)), QDate(2024, 3, 4));
        QCOMPARE(DateToQt(StartOfTheMonth(sunday)), QDate(2024, 3, 1));
        QCOMPARE(DateToQt(IncMonth(DateFromQt(QDate(2024, 1, 31)), 1)), QDate(2024, 2, 29));
        QCOMPARE(DateToQt(IncMonth(DateFromQt(QDate(2024, 2, 29)), -12)), QDate(2023, 2, 28));
    }

    void clockFollowsEnvironment() {
        qputenv("LNQ_NOW", "2024-02-29 13:45:10");
        Clock::reloadEnvironment();
        QCOMPARE(Clock::now(), QDateTime(QDate(2024, 2, 29), QTime(13, 45, 10)));
        QCOMPARE(Clock::today(), QDate(2024, 2, 29));
        Clock::setFixedNow(QDateTime(QDate(2020, 1, 5), QTime(0, 0)));
        QCOMPARE(Clock::today(), QDate(2020, 1, 5));
        qunsetenv("LNQ_NOW");
        Clock::setFixedNow(std::nullopt);
        QVERIFY(qAbs(Clock::now().secsTo(QDateTime::currentDateTime())) < 5);
    }
};

LNQ_TEST_MAIN_CORE(TestDateUtils)
#include "tst_DateUtils.moc"
