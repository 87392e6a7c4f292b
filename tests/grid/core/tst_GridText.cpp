#include "common/TestMain.h"
#include "grid/core/GridText.h"
#include "util/Exceptions.h"

using namespace lnq;

class TestGridText : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void autoEnterBreaksByGbkBytes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("capacity");
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::newRow("fits") << QStringLiteral("abc") << 5 << QStringLiteral("abc") << QString();
        QTest::newRow("ascii split") << QStringLiteral("abcdefgh") << 5 << QStringLiteral("abcde")
                                     << QStringLiteral("fgh");
        QTest::newRow("hanzi exact") << QStringLiteral("一二三四") << 4 << QStringLiteral("一二")
                                     << QStringLiteral("三四");
        // "a" + 2 hanzi = 5 bytes; a hanzi starting at byte 5 would overshoot 6.
        QTest::newRow("hanzi at the limit moves back")
            << QStringLiteral("a一二三") << 6 << QStringLiteral("a一二") << QStringLiteral("三");
        QTest::newRow("overshoot by one")
            << QStringLiteral("ab一二") << 3 << QStringLiteral("ab") << QStringLiteral("一二");
        QTest::newRow("line feed") << QStringLiteral("ab\ncd") << 10 << QStringLiteral("ab")
                                   << QStringLiteral("cd");
        QTest::newRow("crlf") << QStringLiteral("ab\r\ncd") << 10 << QStringLiteral("ab")
                              << QStringLiteral("cd");
        QTest::newRow("zero capacity") << QStringLiteral("xy") << 0 << QString() << QStringLiteral("xy");
        QTest::newRow("empty") << QString() << 4 << QString() << QString();
    }
    void autoEnterBreaksByGbkBytes() {
        QFETCH(QString, text);
        QFETCH(int, capacity);
        QFETCH(QString, first);
        QFETCH(QString, second);
        const TTwoLines lines = SplitAutoEnterLines(text, capacity);
        QCOMPARE(lines.First, first);
        QCOMPARE(lines.Second, second);
    }

    void comboCountBreaksDownByUnits_data() {
        QTest::addColumn<double>("quantity");
        QTest::addColumn<QString>("units");
        QTest::addColumn<QString>("expected");
        const QString ex = QStringLiteral("piece;box/6;case/24");
        QTest::newRow("53") << 53.0 << ex << QStringLiteral("2case5piece");
        QTest::newRow("30") << 30.0 << ex << QStringLiteral("1case1box");
        QTest::newRow("24") << 24.0 << ex << QStringLiteral("1case");
        QTest::newRow("0") << 0.0 << ex << QString();
        QTest::newRow("below a case") << 23.5 << ex << QStringLiteral("3box5piece");
        QTest::newRow("tolerance rounds up") << 47.9995 << ex << QStringLiteral("2case");
        QTest::newRow("bad factor left out") << 13.0 << QStringLiteral("个;盒/x") << QStringLiteral("13个");
    }
    void comboCountBreaksDownByUnits() {
        QFETCH(double, quantity);
        QFETCH(QString, units);
        QFETCH(QString, expected);
        QCOMPARE(ComboCountText(quantity, units), expected);
    }

    void currencyDigits_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("digits");
        QTest::newRow("zero is blank") << 0.0 << QString(10, u' ');
        QTest::newRow("1234.5") << 1234.5 << QStringLiteral("    123450");
        QTest::newRow("0.07 keeps the units zero") << 0.07 << QStringLiteral("       007");
        QTest::newRow("negative") << -5.0 << QStringLiteral("      -500");
        QTest::newRow("eight digits") << 12345678.9 << QStringLiteral("1234567890");
        QTest::newRow("nine digits lose the first") << 123456789.01 << QStringLiteral("2345678901");
    }
    void currencyDigits() {
        QFETCH(double, value);
        QFETCH(QString, digits);
        QCOMPARE(CurrencyDigitText(value), digits);
    }

    void readCellNumber_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::newRow("plain") << QStringLiteral("12.50") << 12.5;
        QTest::newRow("negative") << QStringLiteral("-0.50") << -0.5;
        QTest::newRow("digits anywhere") << QStringLiteral("1a2b") << 12.0;
        QTest::newRow("exponent digits count too") << QStringLiteral("1E2") << 1200.0;
        QTest::newRow("negative exponent") << QStringLiteral("5e-1") << 5.1;
        QTest::newRow("no digits") << QStringLiteral("abc") << 0.0;
    }
    void readCellNumber() {
        QFETCH(QString, text);
        QFETCH(double, value);
        QCOMPARE(ReadCellNumber(text), value);
    }

    void readCellNumberRejectsBadExponent() {
        QVERIFY_THROWS_EXCEPTION(EConvertError, ReadCellNumber(QStringLiteral("1Ex")));
    }

    void colourNames_data() {
        QTest::addColumn<quint32>("value");
        QTest::addColumn<QString>("name");
        QTest::newRow("odd rows") << RgbToColorValue(240, 240, 240) << QStringLiteral("$00F0F0F0");
        QTest::newRow("silver") << RgbToColorValue(192, 192, 192) << QStringLiteral("clSilver");
        QTest::newRow("button face") << 0x8000000Fu << QStringLiteral("clBtnFace");
    }
    void colourNames() {
        QFETCH(quint32, value);
        QFETCH(QString, name);
        QCOMPARE(ColorValueToString(value), name);
        quint32 back = 0;
        QVERIFY(StringToColorValue(name, back));
        QCOMPARE(back, value);
    }

    void colourNamesRejectNonsense() {
        quint32 v = 7;
        QVERIFY(!StringToColorValue(QStringLiteral("purple-ish"), v));
        QVERIFY(!StringToColorValue(QString(), v));
        QCOMPARE(v, 7u);
        QVERIFY(StringToColorValue(QStringLiteral("16776960"), v));
        QCOMPARE(v, 16776960u);
    }

    void sameTextIgnoresAsciiCaseOnly() {
        QVERIFY(SameTextAscii(QStringLiteral("qty"), QStringLiteral("QTY")));
        QVERIFY(!SameTextAscii(QStringLiteral("qty"), QStringLiteral("qt")));
        QVERIFY(!SameTextAscii(QStringLiteral("ä"), QStringLiteral("Ä")));
    }
};

LNQ_TEST_MAIN_CORE(TestGridText)
#include "tst_GridText.moc"
