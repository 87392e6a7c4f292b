#include "common/TestMain.h"
#include "common/ToolRun.h"

namespace {
using Run = lnqtest::ToolRun;
Run lnqRun(const QStringList& args) {
    return lnqtest::runTool(args);
}
} // namespace

class TestLnqConvert : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void capital_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("text");
        QTest::newRow("integer") << QStringList{"1005"} << QStringLiteral("壹仟零伍元整");
        QTest::newRow("cents") << QStringList{"12.05"} << QStringLiteral("壹拾贰元零伍分");
        QTest::newRow("jiao") << QStringList{"0.5"} << QStringLiteral("伍角");
        QTest::newRow("rounds to 100 cents") << QStringList{"1.999"} << QStringLiteral("壹元壹角");
        QTest::newRow("negative") << QStringList{"-3"} << QStringLiteral("负叁元整");
        QTest::newRow("negative after --") << QStringList{"--", "-3"} << QStringLiteral("负叁元整");
        QTest::newRow("zero") << QStringList{"0"} << QStringLiteral("零元整");
        // The text's own decimal value: exact half cents, ties to even.
        QTest::newRow("half cent up") << QStringList{"0.015"} << QStringLiteral("零贰分");
        QTest::newRow("half cent down") << QStringList{"0.005"} << QStringLiteral("整");
        QTest::newRow("2.675") << QStringList{"2.675"} << QStringLiteral("贰元陆角捌分");
        QTest::newRow("exponent it can spell") << QStringList{"1.5e3"} << QStringLiteral("壹仟伍佰元整");
    }
    void capital() {
        QFETCH(QStringList, args);
        QFETCH(QString, text);
        const Run r = lnqRun(QStringList{"capital"} + args);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, text + u'\n');
        QVERIFY(r.err.isEmpty());
    }

    void capitalErrors_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("not a number") << QStringList{"12abc"} << "'12abc' is not a number";
        QTest::newRow("negative overflowing float") << QStringList{"-1e400"} << "'-1e400' is not a number";
        QTest::newRow("beyond integer range") << QStringList{"3000000000"} << "3000000000 cannot be written";
        QTest::newRow("too small for digits") << QStringList{"0.000001"} << "0.000001 cannot be written";
        QTest::newRow("exponent form") << QStringList{"1.5E15"} << "1.5E15 cannot be written";
        QTest::newRow("small exponent form") << QStringList{"0.0000015"} << "0.0000015 cannot be written";
        QTest::newRow("negative exponent form") << QStringList{"-9.3e18"} << "-9.3e18 cannot be written";
        QTest::newRow("missing amount") << QStringList{} << "expected one AMOUNT";
        QTest::newRow("two amounts") << QStringList{"1", "2"} << "expected one AMOUNT";
        QTest::newRow("unknown option") << QStringList{"--fast", "1"} << "unknown option --fast";
    }
    void capitalErrors() {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        const Run r = lnqRun(QStringList{"capital"} + args);
        QVERIFY(r.exitCode > 0);
        QVERIFY(r.out.isEmpty());
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
    }

    void pinyin_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("text");
        QTest::newRow("name") << QStringList{QStringLiteral("张三")} << "ZS";
        QTest::newRow("ascii filter") << QStringList{"ABc-12"} << "ABC12";
        QTest::newRow("no initial shows replacement")
            << QStringList{QStringLiteral("北，京")} << QStringLiteral("B\uFFFDJ");
        QTest::newRow("hex") << QStringList{"--hex", QStringLiteral("北，京")} << "42c04a";
        QTest::newRow("hex of Z") << QStringList{"--hex", QStringLiteral("亍")} << "5a";
        QTest::newRow("dash text after --") << QStringList{"--", "-ab"} << "AB";
        QTest::newRow("empty text") << QStringList{""} << "";
    }
    void pinyin() {
        QFETCH(QStringList, args);
        QFETCH(QString, text);
        const Run r = lnqRun(QStringList{"pinyin"} + args);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, text + u'\n');
    }

    void pinyinErrors_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing text") << QStringList{} << "expected one TEXT";
        QTest::newRow("only option") << QStringList{"--hex"} << "expected one TEXT";
        QTest::newRow("unknown option") << QStringList{"--upper", "x"} << "unknown option --upper";
    }
    void pinyinErrors() {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        const Run r = lnqRun(QStringList{"pinyin"} + args);
        QVERIFY(r.exitCode > 0);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
    }

    void usageListsCommands() {
        const Run r = lnqRun({"help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QLatin1String("lnq capital [--] AMOUNT")));
        QVERIFY(r.out.contains(QLatin1String("lnq pinyin [--hex] [--] TEXT")));
        QVERIFY(r.out.contains(QLatin1String("U+FFFD")));
    }
};

LNQ_TEST_MAIN_CORE(TestLnqConvert)
#include "tst_lnq_convert.moc"
