#include "common/TestMain.h"
#include "util/Clock.h"
#include "util/DateUtils.h"
#include "util/Gbk.h"

class TestGbk : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void encodeKnownBytes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("ascii") << QStringLiteral("AbC-12") << QByteArray("AbC-12");
        QTest::newRow("empty") << QString() << QByteArray();
        QTest::newRow("hanzi") << QStringLiteral("零元整") << QByteArray("\xC1\xE3\xD4\xAA\xD5\xFB");
        QTest::newRow("full-width comma") << QStringLiteral("，") << QByteArray("\xA3\xAC");
        QTest::newRow("ideographic full stop") << QStringLiteral("。") << QByteArray("\xA1\xA3");
        QTest::newRow("full-width digits") << QStringLiteral("１２") << QByteArray("\xA3\xB1\xA3\xB2");
        QTest::newRow("bel separator kept") << QStringLiteral("a\ab") << QByteArray("a\ab");
    }
    void encodeKnownBytes() {
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        lnq::Gbk::Error err;
        QCOMPARE(lnq::Gbk::encode(text, &err), bytes);
        QVERIFY(err.ok());
        QCOMPARE(lnq::Gbk::decode(bytes, &err), text);
        QVERIFY(err.ok());
        QCOMPARE(lnq::Gbk::byteLength(text), bytes.size());
    }

    void reportsInvalidInput_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("position");
        QTest::newRow("lone lead byte at end") << QByteArray("ab\xB0") << 2;
        QTest::newRow("bad trail byte") << QByteArray("x\x81\x7F"
                                                      "y")
                                        << 1;
        QTest::newRow("lead byte then ascii") << QByteArray("\xC1\xE3\xB0 a") << 2;
    }
    void reportsInvalidInput() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, position);
        lnq::Gbk::Error err;
        const QString s = lnq::Gbk::decode(bytes, &err);
        QVERIFY(!err.ok());
        QCOMPARE(err.position, position);
        QVERIFY(s.contains(QChar(0xFFFD)));
    }

    void unencodableCharacterIsReported() {
        lnq::Gbk::Error err;
        const QByteArray b = lnq::Gbk::encode(QStringLiteral("a\U0001F600b"), &err);
        QVERIFY(!err.ok());
        QCOMPARE(err.position, 1);
        QVERIFY(b.startsWith('a') && b.endsWith('b'));
    }

    void clockFollowsEnvironment() {
        qputenv("LNQ_NOW", "2024-02-29 13:45:10");
        lnq::Clock::reloadEnvironment();
        QCOMPARE(lnq::Clock::now(), QDateTime(QDate(2024, 2, 29), QTime(13, 45, 10)));
        QCOMPARE(lnq::Clock::today(), QDate(2024, 2, 29));
        lnq::Clock::setFixedNow(QDateTime(QDate(2020, 1, 5), QTime(0, 0)));
        QCOMPARE(lnq::Clock::today(), QDate(2020, 1, 5));
        qunsetenv("LNQ_NOW");
        lnq::Clock::setFixedNow(std::nullopt);
        QVERIFY(qAbs(lnq::Clock::now().secsTo(QDateTime::currentDateTime())) < 5);
    }

    void dateValues_data() {
        QTest::addColumn<QDateTime>("moment");
        QTest::addColumn<double>("value");
        QTest::newRow("epoch") << QDateTime(QDate(1899, 12, 30), QTime(0, 0)) << 0.0;
        QTest::newRow("2000-01-01") << QDateTime(QDate(2000, 1, 1), QTime(0, 0)) << 36526.0;
        QTest::newRow("noon") << QDateTime(QDate(2000, 1, 1), QTime(12, 0)) << 36526.5;
        QTest::newRow("before epoch keeps time positive")
            << QDateTime(QDate(1899, 12, 29), QTime(6, 0)) << -1.25;
    }
    void dateValues() {
        QFETCH(QDateTime, moment);
        QFETCH(double, value);
        QCOMPARE(lnq::DateTimeFromQt(moment), value);
        QCOMPARE(lnq::DateTimeToQt(value), moment);
    }

    void calendarHelpers() {
        using namespace lnq;
        const TDateTime sunday = DateFromQt(QDate(2024, 3, 10));
        QCOMPARE(DateToQt(StartOfTheWeek(sunday)), QDate(2024, 3, 4));
        QCOMPARE(DateToQt(StartOfTheMonth(sunday)), QDate(2024, 3, 1));
        QCOMPARE(DateToQt(IncMonth(DateFromQt(QDate(2024, 1, 31)), 1)), QDate(2024, 2, 29));
        QCOMPARE(DateToQt(IncMonth(DateFromQt(QDate(2024, 2, 29)), -12)), QDate(2023, 2, 28));
    }
};

LNQ_TEST_MAIN_CORE(TestGbk)
#include "tst_Gbk.moc"
