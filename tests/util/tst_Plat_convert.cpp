#include "common/TestMain.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_convert.h"

using lnq::TUtils_Convert;

namespace {

QByteArray pair(quint16 code) {
    QByteArray b;
    b += char(code >> 8);
    b += char(code & 0xFF);
    return b;
}

} // namespace

class TestPlatConvert : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void capital_data() {
        QTest::addColumn<double>("amount");
        QTest::addColumn<QString>("text");
        // The documented examples.
        QTest::newRow("1005") << 1005.0 << QStringLiteral("壹仟零伍元整");
        QTest::newRow("100000") << 100000.0 << QStringLiteral("壹拾万元整");
        QTest::newRow("12.05") << 12.05 << QStringLiteral("壹拾贰元零伍分");
        QTest::newRow("12.30") << 12.30 << QStringLiteral("壹拾贰元叁角");
        QTest::newRow("0.5") << 0.5 << QStringLiteral("伍角");
        QTest::newRow("0.05") << 0.05 << QStringLiteral("零伍分");
        QTest::newRow("-3") << -3.0 << QStringLiteral("负叁元整");
        QTest::newRow("0") << 0.0 << QStringLiteral("零元整");
        // Cents rounding up to 100: the first two digits of "100" are read.
        QTest::newRow("1.999") << 1.999 << QStringLiteral("壹元壹角");
        // Walk rules: zeros collapse, section units survive, 元 after 万 is dropped then re-added.
        QTest::newRow("1010") << 1010.0 << QStringLiteral("壹仟零壹拾元整");
        QTest::newRow("10001") << 10001.0 << QStringLiteral("壹万零壹元整");
        QTest::newRow("110000") << 110000.0 << QStringLiteral("壹拾壹万元整");
        QTest::newRow("100010000") << 100010000.0 << QStringLiteral("壹亿零壹万元整");
        QTest::newRow("100000001") << 100000001.0 << QStringLiteral("壹亿零壹元整");
        QTest::newRow("1000000000") << 1000000000.0 << QStringLiteral("壹拾亿元整");
        QTest::newRow("int max with cents")
            << 2147483647.5 << QStringLiteral("贰拾壹亿肆仟柒佰肆拾捌万叁仟陆佰肆拾柒元伍角");
        // Fraction rules.
        QTest::newRow("tie to even down") << 0.125 << QStringLiteral("壹角贰分");
        QTest::newRow("tie to even up") << 0.375 << QStringLiteral("叁角捌分");
        QTest::newRow("cents round to nothing") << 0.004 << QStringLiteral("整");
        QTest::newRow("negative below one") << -0.5 << QStringLiteral("负伍角");
        QTest::newRow("negative with cents") << -1005.07 << QStringLiteral("负壹仟零伍元零柒分");
    }
    void capital() {
        QFETCH(double, amount);
        QFETCH(QString, text);
        QCOMPARE(TUtils_Convert::CurrencyToCapitalization2(amount), text);
    }

    void capitalExtended() {
        QCOMPARE(TUtils_Convert::CurrencyToCapitalization2(12.05L), QStringLiteral("壹拾贰元零伍分"));
        QCOMPARE(TUtils_Convert::CurrencyToCapitalization2(1.999L), QStringLiteral("壹元壹角"));
        QCOMPARE(TUtils_Convert::CurrencyToCapitalization2(0.05L), QStringLiteral("零伍分"));
    }

    void capitalConversionErrors_data() {
        QTest::addColumn<double>("amount");
        QTest::newRow("int max + 1") << 2147483648.0;
        QTest::newRow("negative beyond range") << -3e9;
        QTest::newRow("exponent form large") << 1e15;
        QTest::newRow("exponent form small") << 0.000001;
        QTest::newRow("nan") << qQNaN();
        QTest::newRow("inf") << qInf();
    }
    void capitalConversionErrors() {
        QFETCH(double, amount);
        QVERIFY_THROWS_EXCEPTION(lnq::EConvertError, TUtils_Convert::CurrencyToCapitalization2(amount));
    }

    // An amount given as text is its exact decimal value: half cents are
    // real ties there, rounded to even.
    void capitalText_data() {
        QTest::addColumn<QString>("amount");
        QTest::addColumn<QString>("text");
        QTest::newRow("0.015 half cent up") << "0.015" << QStringLiteral("零贰分");
        QTest::newRow("0.005 half cent down") << "0.005" << QStringLiteral("整");
        QTest::newRow("0.995 rounds to 100 cents") << "0.995" << QStringLiteral("壹角");
        QTest::newRow("1.005 tie down") << "1.005" << QStringLiteral("壹元整");
        QTest::newRow("above the tie") << "0.0150000000000000000001" << QStringLiteral("零贰分");
        QTest::newRow("below the tie") << "0.0249999999999999999999" << QStringLiteral("零贰分");
        QTest::newRow("exponent written") << "1.5e3" << QStringLiteral("壹仟伍佰元整");
        QTest::newRow("negative exponent") << "125E-2" << QStringLiteral("壹元贰角伍分");
        QTest::newRow("blanks and sign") << "  +7 " << QStringLiteral("柒元整");
        QTest::newRow("negative zero") << "-0.00" << QStringLiteral("零元整");
        QTest::newRow("15 digits round up into the integer")
            << "2.9999999999999999" << QStringLiteral("叁元整");
        QTest::newRow("smallest plain amount") << "0.00001" << QStringLiteral("整");
        QTest::newRow("int max") << "2147483647.99"
                                 << QStringLiteral("贰拾壹亿肆仟柒佰肆拾捌万叁仟陆佰肆拾柒元玖角玖分");
    }
    void capitalText() {
        QFETCH(QString, amount);
        QFETCH(QString, text);
        QCOMPARE(TUtils_Convert::CurrencyTextToCapitalization2(amount), text);
    }

    // Where the float is no tie the two paths agree.
    void capitalTextAgreesWithFloat_data() {
        QTest::addColumn<QString>("amount");
        for (const char* a :
             {"1005", "100000", "12.05", "12.30", "0.5", "0.05", "-3", "0", "1.999", "10001", "100010000",
              "2147483647.5", "1.23", "100.01", "0.125", "0.375", "-1005.07", "0.004"})
            QTest::newRow(a) << QString::fromLatin1(a);
    }
    void capitalTextAgreesWithFloat() {
        QFETCH(QString, amount);
        QCOMPARE(TUtils_Convert::CurrencyTextToCapitalization2(amount),
                 TUtils_Convert::CurrencyToCapitalization2(amount.toDouble()));
    }

    void capitalTextErrors_data() {
        QTest::addColumn<QString>("amount");
        QTest::newRow("0.0000015") << "0.0000015";
        QTest::newRow("int max + 1") << "2147483648";
        QTest::newRow("16 integer digits") << "1234567890123456";
        QTest::newRow("huge exponent") << "1e999999999999999999";
        QTest::newRow("tiny exponent") << "1e-999999999999999999";
        QTest::newRow("no digits") << ".";
        QTest::newRow("blank inside") << "1 2";
        QTest::newRow("letters") << "12abc";
        QTest::newRow("empty exponent") << "1e";
    }
    void capitalTextErrors() {
        QFETCH(QString, amount);
        QVERIFY_THROWS_EXCEPTION(lnq::EConvertError, TUtils_Convert::CurrencyTextToCapitalization2(amount));
    }

    void pinyinBoundaries_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("initials");
        const struct {
            quint16 code;
            char letter;
        } rows[] = {{0xB0A1, 'A'}, {0xB0C5, 'B'}, {0xB2C1, 'C'}, {0xB4EE, 'D'}, {0xB6EA, 'E'}, {0xB7A2, 'F'},
                    {0xB8C1, 'G'}, {0xB9FE, 'H'}, {0xBBF7, 'J'}, {0xBFA6, 'K'}, {0xC0AD, 'L'}, {0xC2E8, 'M'},
                    {0xC4C3, 'N'}, {0xC5B6, 'O'}, {0xC5BE, 'P'}, {0xC6DA, 'Q'}, {0xC8BB, 'R'}, {0xC8F6, 'S'},
                    {0xCBFA, 'T'}, {0xCDDA, 'W'}, {0xCEF4, 'X'}, {0xD1B9, 'Y'}, {0xD4D1, 'Z'}};
        char previous = char(0xC0);
        for (const auto& r : rows) {
            const QByteArray at = QByteArray(1, r.letter);
            QTest::addRow("%c first code", r.letter) << pair(r.code) << at;
            QTest::addRow("%c code below", r.letter) << pair(r.code - 1) << QByteArray(1, previous);
            previous = r.letter;
        }
        QTest::newRow("highest code") << pair(0xFEFE) << QByteArray("Z");
        QTest::newRow("second level") << pair(0xD8A1) << QByteArray("Z");
        QTest::newRow("extension lead byte") << pair(0x8140) << QByteArray("\xC0");
        QTest::newRow("lone lead byte below A") << QByteArray("\xB0") << QByteArray("\xC0");
        QTest::newRow("lone lead byte in B") << QByteArray("\xB1") << QByteArray("B");
        QTest::newRow("lone lead byte sorts below its codes") << QByteArray("\xD4") << QByteArray("Y");
        QTest::newRow("byte 0x80 is single and dropped") << QByteArray("\x80"
                                                                       "A")
                                                         << QByteArray("A");
        QTest::newRow("lead byte swallows next byte") << QByteArray("\xB0\x41"
                                                                    "B")
                                                      << QByteArray("\xC0"
                                                                    "B");
        QTest::newRow("ascii filter") << QByteArray("ABc-12") << QByteArray("ABC12");
        QTest::newRow("empty") << QByteArray() << QByteArray();
    }
    void pinyinBoundaries() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, initials);
        QCOMPARE(TUtils_Convert::StrToPY(text), initials);
        QByteArray out("stale");
        TUtils_Convert::PStrToPy(text, out);
        QCOMPARE(out, initials);
    }

    void pinyinOfText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("initials");
        QTest::newRow("mixed") << QStringLiteral("王小明Ab1") << QByteArray("WXMAB1");
        QTest::newRow("full-width comma") << QStringLiteral("，") << QByteArray("\xC0");
        QTest::newRow("second-level character") << QStringLiteral("亍") << QByteArray("Z");
        QTest::newRow("blanks and punctuation") << QStringLiteral(" 北京 - 上海!") << QByteArray("BJSH");
    }
    void pinyinOfText() {
        QFETCH(QString, text);
        QFETCH(QByteArray, initials);
        QCOMPARE(TUtils_Convert::StrToPY(text), initials);
        QByteArray out;
        TUtils_Convert::PStrToPy(text, out);
        QCOMPARE(out, initials);
    }

    void floatToStrF_data() {
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("digits");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("number") << int(TUtils_Convert::ffNumber) << 2 << 1234.5 << "1,234.50";
        QTest::newRow("number no decimals") << 3 << 0 << 1234567.5 << "1,234,568";
        QTest::newRow("currency") << 4 << 2 << 1234.5 << QStringLiteral("¥1,234.50");
        QTest::newRow("fixed") << 2 << 1 << 1234.56 << "1234.6";
        QTest::newRow("general is fixed") << 0 << 3 << 1234.5 << "1234.500";
        QTest::newRow("unknown is fixed") << 99 << 2 << -7.0 << "-7.00";
    }
    void floatToStrF() {
        QFETCH(int, format);
        QFETCH(int, digits);
        QFETCH(double, value);
        QFETCH(QString, text);
        QCOMPARE(TUtils_Convert::FloatToStrF(value, format, 15, digits), text);
        // The precision argument does not matter.
        QCOMPARE(TUtils_Convert::FloatToStrF(value, format, 1, digits), text);
    }

    void getCode_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("code");
        QTest::newRow("bracketed") << QStringLiteral("[0012]张三") << "0012";
        QTest::newRow("no bracket") << "ABC"
                                    << "ABC";
        QTest::newRow("empty brackets") << "[]"
                                        << "";
        QTest::newRow("first char not checked") << "AB]C"
                                                << "B";
        QTest::newRow("first closing counts") << "[a]b]"
                                              << "a";
        QTest::newRow("empty") << ""
                               << "";
    }
    void getCode() {
        QFETCH(QString, text);
        QFETCH(QString, code);
        QCOMPARE(TUtils_Convert::GetCode(text), code);
    }

    void getValue_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("value");
        QTest::newRow("bracket keeps all") << QStringLiteral("[01]名称") << QStringLiteral("[01]名称");
        QTest::newRow("long bracketed kept") << "[" + QString(1500, u'x') + "]"
                                             << "[" + QString(1500, u'x') + "]";
        QTest::newRow("plain") << QStringLiteral("名称") << QStringLiteral("名称");
        QTest::newRow("cut at 1000") << QString(1001, u'名') << QString(1000, u'名');
        QTest::newRow("empty") << ""
                               << "";
    }
    void getValue() {
        QFETCH(QString, text);
        QFETCH(QString, value);
        QCOMPARE(TUtils_Convert::GetValue(text), value);
    }
};

LNQ_TEST_MAIN_CORE(TestPlatConvert)
#include "tst_Plat_convert.moc"
