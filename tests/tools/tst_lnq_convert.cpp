// lnq capital and lnq pinyin, end to end.

#include "common/TestMain.h"
#include "common/ToolRun.h"

class TestLnqConvert : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void answers_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("text");
        QTest::newRow("cents") << QStringList{"capital", "12.05"} << QStringLiteral("壹拾贰元零伍分");
        QTest::newRow("negative") << QStringList{"capital", "-3"} << QStringLiteral("负叁元整");
        QTest::newRow("negative after --")
            << QStringList{"capital", "--", "-3"} << QStringLiteral("负叁元整");
        // The text's own decimal value: exact half cents, ties to even.
        QTest::newRow("half cent up") << QStringList{"capital", "0.015"} << QStringLiteral("零贰分");
        QTest::newRow("pinyin of a name") << QStringList{"pinyin", "张三"} << "ZS";
        QTest::newRow("no initial shows replacement")
            << QStringList{"pinyin", "北，京"} << QStringLiteral("B\uFFFDJ");
        QTest::newRow("hex") << QStringList{"pinyin", "--hex", "北，京"} << "42c04a";
        QTest::newRow("dash text after --") << QStringList{"pinyin", "--", "-ab"} << "AB";
        QTest::newRow("empty text") << QStringList{"pinyin", ""} << "";
    }
    void answers() {
        QFETCH(QStringList, args);
        QFETCH(QString, text);
        const lnqtest::ToolRun r = lnqtest::runTool(args);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, text + u'\n');
        QCOMPARE(r.err, QString());
    }

    void refusals_data() {
        lnqtest::refusalColumns();
        QTest::newRow("not a number") << QStringList{"capital", "12abc"} << 2 << "'12abc' is not a number";
        QTest::newRow("negative overflowing float")
            << QStringList{"capital", "-1e400"} << 2 << "'-1e400' is not a number";
        QTest::newRow("beyond integer range")
            << QStringList{"capital", "3000000000"} << 1 << "3000000000 cannot be written";
        QTest::newRow("missing amount") << QStringList{"capital"} << 2 << "expected one AMOUNT";
        QTest::newRow("two amounts") << QStringList{"capital", "1", "2"} << 2 << "expected one AMOUNT";
        QTest::newRow("unknown option")
            << QStringList{"capital", "--fast", "1"} << 2 << "unknown option --fast";
        QTest::newRow("missing text") << QStringList{"pinyin"} << 2 << "expected one TEXT";
        QTest::newRow("only option") << QStringList{"pinyin", "--hex"} << 2 << "expected one TEXT";
        QTest::newRow("unknown pinyin option")
            << QStringList{"pinyin", "--upper", "x"} << 2 << "unknown option --upper";
    }
    void refusals() { lnqtest::checkRefusal(); }

    void usageListsCommands() {
        const lnqtest::ToolRun r = lnqtest::runTool({"help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QLatin1String("lnq capital [--] AMOUNT")));
        QVERIFY(r.out.contains(QLatin1String("lnq pinyin [--hex] [--] TEXT")));
        QVERIFY(r.out.contains(QLatin1String("U+FFFD")));
    }
};

LNQ_TEST_MAIN_CORE(TestLnqConvert)
#include "tst_lnq_convert.moc"
