#include "common/TestMain.h"
#include "util/Exceptions.h"
#include "util/Plat_sysutils.h"

#include <cmath>
#include <limits>

class TestPlatSysutils : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void strToInt_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("value");
        QTest::newRow("leading blanks") << "  42" << true << 42;
        QTest::newRow("trailing blank refused") << "42 " << false << 0;
        QTest::newRow("plus") << "+7" << true << 7;
        QTest::newRow("max") << "2147483647" << true << 2147483647;
        QTest::newRow("min") << "-2147483648" << true << int(std::numeric_limits<int>::min());
        QTest::newRow("max+1") << "2147483648" << false << 0;
        QTest::newRow("min-1") << "-2147483649" << false << 0;
        QTest::newRow("hex dollar") << "$1F" << true << 31;
        QTest::newRow("hex 0x") << "0x10" << true << 16;
        QTest::newRow("hex wraps") << "$FFFFFFFF" << true << -1;
        QTest::newRow("hex too long") << "$100000000" << false << 0;
        QTest::newRow("empty") << "" << false << 0;
        QTest::newRow("sign only") << "-" << false << 0;
        QTest::newRow("decimal point") << "1.5" << false << 0;
        QTest::newRow("full-width digit") << QStringLiteral("１") << false << 0;
    }
    void strToInt() {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(int, value);
        int v = -99;
        QCOMPARE(lnq::TryStrToInt(text, v), ok);
        QCOMPARE(lnq::StrToIntDef(text, -5), ok ? value : -5);
        if (ok) {
            QCOMPARE(v, value);
            QCOMPARE(lnq::StrToInt(text), value);
        } else {
            QCOMPARE(v, -99);
            try {
                lnq::StrToInt(text);
                QFAIL("no EConvertError");
            } catch (const lnq::EConvertError& e) {
                QCOMPARE(e.Message(), QStringLiteral("'%1' is not a valid integer value").arg(text));
            }
        }
    }

    void strToInt64() {
        QCOMPARE(lnq::StrToInt64("9223372036854775807"), std::numeric_limits<qint64>::max());
        QCOMPARE(lnq::StrToInt64("-9223372036854775808"), std::numeric_limits<qint64>::min());
        QCOMPARE(lnq::StrToInt64("3000000000"), Q_INT64_C(3000000000));
        QVERIFY_THROWS_EXCEPTION(lnq::EConvertError, lnq::StrToInt64("9223372036854775808"));
    }

    void valInt_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("errorPos");
        QTest::newRow("clean") << "123" << 123 << 0;
        QTest::newRow("partial") << "12a" << 12 << 3;
        QTest::newRow("partial negative") << "-12a" << -12 << 4;
        QTest::newRow("empty") << "" << 0 << 1;
        QTest::newRow("blanks only") << "  " << 0 << 3;
        QTest::newRow("trailing blank") << "5 " << 5 << 2;
        QTest::newRow("overflow stops before digit") << "99999999999" << 999999999 << 10;
        QTest::newRow("decimal") << "3.7" << 3 << 2;
    }
    void valInt() {
        QFETCH(QString, text);
        QFETCH(int, value);
        QFETCH(int, errorPos);
        int pos = -1;
        QCOMPARE(lnq::ValInt(text, &pos), value);
        QCOMPARE(pos, errorPos);
    }

    void strToFloat_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<double>("value");
        QTest::newRow("decimal") << "12.05" << true << 12.05;
        QTest::newRow("blanks around") << "  -1.5  " << true << -1.5;
        QTest::newRow("no integer digits") << ".5" << true << 0.5;
        QTest::newRow("no fraction digits") << "3." << true << 3.0;
        QTest::newRow("exponent") << "1.5e3" << true << 1500.0;
        QTest::newRow("negative exponent") << "25E-2" << true << 0.25;
        QTest::newRow("underflow is zero") << "1e-400" << true << 0.0;
        QTest::newRow("overflow") << "1e400" << false << 0.0;
        QTest::newRow("point only") << "." << false << 0.0;
        QTest::newRow("exponent without digits") << "1e" << false << 0.0;
        QTest::newRow("comma decimal") << "1,5" << false << 0.0;
        QTest::newRow("empty") << "" << false << 0.0;
        QTest::newRow("nan text") << "NAN" << false << 0.0;
    }
    void strToFloat() {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(double, value);
        double v = -99;
        QCOMPARE(lnq::TryStrToFloat(text, v), ok);
        if (ok) {
            QCOMPARE(v, value);
            QCOMPARE(lnq::StrToFloat(text), value);
        } else {
            QCOMPARE(lnq::StrToFloatDef(text, 7.5), 7.5);
            try {
                lnq::StrToFloat(text);
                QFAIL("no EConvertError");
            } catch (const lnq::EConvertError& e) {
                QCOMPARE(e.Message(), QStringLiteral("'%1' is not a valid floating point value").arg(text));
            }
        }
    }

    void valFloat_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("errorPos");
        QTest::newRow("clean") << "2.5" << 2.5 << 0;
        QTest::newRow("partial") << "12.5abc" << 12.5 << 5;
        QTest::newRow("trailing blank") << "1 " << 1.0 << 2;
        QTest::newRow("exponent needs digit") << "1e" << 1.0 << 3;
        QTest::newRow("signed exponent needs digit") << "2e+" << 2.0 << 4;
        QTest::newRow("nothing") << "x" << 0.0 << 1;
        QTest::newRow("overflow") << "1e999" << qInf() << 6;
    }
    void valFloat() {
        QFETCH(QString, text);
        QFETCH(double, value);
        QFETCH(int, errorPos);
        int pos = -1;
        QCOMPARE(lnq::ValFloat(text, &pos), value);
        QCOMPARE(pos, errorPos);
    }

    void floatToStr_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << "0";
        QTest::newRow("negative zero") << -0.0 << "0";
        QTest::newRow("decimal") << 12.05 << "12.05";
        QTest::newRow("negative") << -3.25 << "-3.25";
        QTest::newRow("one tenth") << 0.1 << "0.1";
        QTest::newRow("15 digits rounding") << 2.0 / 3.0 << "0.666666666666667";
        QTest::newRow("15 integer digits") << 999999999999999.0 << "999999999999999";
        QTest::newRow("16 integer digits") << 1e15 << "1E15";
        QTest::newRow("rounds up to 16 digits") << 999999999999999.9 << "1E15";
        QTest::newRow("smallest fixed") << 0.00001 << "0.00001";
        QTest::newRow("below fixed") << 0.0000015 << "1.5E-6";
        QTest::newRow("large") << 1.5e20 << "1.5E20";
        QTest::newRow("int max") << 2147483647.0 << "2147483647";
        QTest::newRow("nan") << qQNaN() << "NAN";
        QTest::newRow("-inf") << -qInf() << "-INF";
    }
    void floatToStr() {
        QFETCH(double, value);
        QFETCH(QString, text);
        QCOMPARE(lnq::FloatToStr(value), text);
        QCOMPARE(lnq::FloatToStr(static_cast<long double>(value)), text);
    }

    void floatToStrExtended() {
        // 0.1 as an extended value differs from the double in its 17th digit only.
        QCOMPARE(lnq::FloatToStr(0.1L), QStringLiteral("0.1"));
        QCOMPARE(lnq::FloatToStr(1.999L), QStringLiteral("1.999"));
        QCOMPARE(lnq::FloatToStr(1.0L / 3.0L), QStringLiteral("0.333333333333333"));
    }

    void format_data() {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QVariantList>("args");
        QTest::addColumn<QString>("text");
        QTest::newRow("width int") << "%*d" << QVariantList{6, 42} << "    42";
        QTest::newRow("width too small") << "%*d" << QVariantList{1, 1234} << "1234";
        QTest::newRow("min digits") << "%.5d" << QVariantList{-12} << "-00012";
        QTest::newRow("left aligned") << "[%-5d]" << QVariantList{7} << "[7    ]";
        QTest::newRow("width and decimals") << "%*.*f" << QVariantList{8, 2, 3.14159} << "    3.14";
        QTest::newRow("default decimals") << "%f" << QVariantList{1.005} << "1.00";
        // Half away from zero on the 18-digit decimal value, as business users expect.
        QTest::newRow("zero decimals tie") << "%.0f" << QVariantList{2.5} << "3";
        QTest::newRow("negative tie") << "%.0f" << QVariantList{-2.5} << "-3";
        QTest::newRow("exact binary tie") << "%.2f" << QVariantList{0.125} << "0.13";
        QTest::newRow("below a tie in binary") << "%.2f" << QVariantList{2.675} << "2.67";
        QTest::newRow("carry into integer") << "%.2f" << QVariantList{1.999} << "2.00";
        QTest::newRow("first digit rounds") << "%.2f" << QVariantList{0.005} << "0.01";
        QTest::newRow("carry adds a digit") << "%.1f" << QVariantList{99.96} << "100.0";
        QTest::newRow("negative rounding to zero") << "%.2f" << QVariantList{-0.001} << "0.00";
        QTest::newRow("number") << "%0.2n" << QVariantList{1234567.891} << "1,234,567.89";
        QTest::newRow("number negative") << "%.1n" << QVariantList{-1234.56} << "-1,234.6";
        QTest::newRow("number small") << "%.2n" << QVariantList{999.999} << "1,000.00";
        QTest::newRow("currency") << "%.*m" << QVariantList{2, 1234.5} << QStringLiteral("¥1,234.50");
        QTest::newRow("currency negative")
            << "%.2m" << QVariantList{-5.0} << QLocale().toCurrencyString(-5.0, QString(), 2);
        QTest::newRow("hex") << "%x" << QVariantList{255} << "FF";
        QTest::newRow("hex negative") << "%x" << QVariantList{-1} << "FFFFFFFF";
        QTest::newRow("unsigned") << "%u" << QVariantList{-1} << "4294967295";
        QTest::newRow("scientific") << "%e" << QVariantList{1.0} << "1.00000000000000E+000";
        QTest::newRow("scientific short") << "%.3e" << QVariantList{-12345.0} << "-1.23E+004";
        QTest::newRow("general") << "%g" << QVariantList{0.5} << "0.5";
        QTest::newRow("text") << "<%s|%.2s>" << QVariantList{QStringLiteral("ab"), QStringLiteral("xyz")}
                              << "<ab|xy>";
        QTest::newRow("percent") << "100%%" << QVariantList{} << "100%";
        QTest::newRow("int for float") << "%.1f" << QVariantList{3} << "3.0";
    }
    void format() {
        QFETCH(QString, format);
        QFETCH(QVariantList, args);
        QFETCH(QString, text);
        QCOMPARE(lnq::Format(format, args), text);
    }

    void formatErrors_data() {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QVariantList>("args");
        QTest::newRow("missing argument") << "%d %d" << QVariantList{1};
        QTest::newRow("float for d") << "%d" << QVariantList{1.5};
        QTest::newRow("text for f") << "%f" << QVariantList{QStringLiteral("1")};
        QTest::newRow("unknown type") << "%q" << QVariantList{1};
        QTest::newRow("dangling percent") << "50%" << QVariantList{};
        QTest::newRow("star needs int") << "%*d" << QVariantList{1.5, 2};
    }
    void formatErrors() {
        QFETCH(QString, format);
        QFETCH(QVariantList, args);
        try {
            lnq::Format(format, args);
            QFAIL("no EConvertError");
        } catch (const lnq::EConvertError& e) {
            QVERIFY(e.Message().contains(format));
        }
    }

    void shorthands() {
        QCOMPARE(lnq::FormatInt(42, 5), QStringLiteral("   42"));
        // Rounded from the exact value: 1.115 is above .115 as an extended value, below as a double.
        QCOMPARE(lnq::FormatFixed(1.115L, 2), QStringLiteral("1.12"));
        QCOMPARE(lnq::FormatFixed(1.115, 2), QStringLiteral("1.11"));
        QCOMPARE(lnq::FormatFixed(-1.5, 1, 6), QStringLiteral("  -1.5"));
        QCOMPARE(lnq::FormatNumber(1e6, 0), QStringLiteral("1,000,000"));
        QCOMPARE(lnq::FormatCurrency(0.5, 2), QStringLiteral("¥0.50"));
        QCOMPARE(lnq::FormatFixed(1e20, 2), QStringLiteral("1E20")); // too big for fixed digits
    }

    void roundTrip() {
        // What FloatToStr writes, StrToFloat reads back to the same 15 digits.
        for (double v : {0.1, 12.05, -3.5, 123456.789, 1e-5, 2.5e-7, 7e18}) {
            const QString t = lnq::FloatToStr(v);
            QCOMPARE(lnq::FloatToStr(lnq::StrToFloat(t)), t);
        }
    }
};

LNQ_TEST_MAIN_CORE(TestPlatSysutils)
#include "tst_Plat_sysutils.moc"
