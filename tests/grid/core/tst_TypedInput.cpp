#include "common/TestMain.h"
#include "grid/core/TypedInput.h"

using namespace lnq;

Q_DECLARE_METATYPE(lnq::TLNQDataTypePro)

namespace {
const QChar kRefused;

// Feeds keys through the grid's filter the way the grid's KeyPress does and
// returns the text the editor ends up with.
QString typeIntoGrid(TLNQDataTypePro pro, int dataDec, const QString& keys) {
    TypeCheckState state;
    QString text;
    for (QChar k : keys) {
        const QChar r = GridTypeCheck(pro, dataDec, text, k, state);
        if (!r.isNull()) text += r;
    }
    return text;
}
} // namespace

class TestTypedInput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void gridTypeCheck_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<int>("dataDec");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QChar>("key");
        QTest::addColumn<QChar>("expected");

        QTest::newRow("digit") << dpDecimal << 2 << "" << QChar(u'7') << QChar(u'7');
        QTest::newRow("point refused without decimals") << dpDecimal << 0 << "1" << QChar(u'.') << kRefused;
        QTest::newRow("first point") << dpDecimal << 2 << "1" << QChar(u'.') << QChar(u'.');
        QTest::newRow("second point") << dpDecimal << 2 << "1.5" << QChar(u'.') << kRefused;
        QTest::newRow("minus after digits") << dpDecimal << 2 << "12" << QChar(u'-') << QChar(u'-');
        QTest::newRow("second minus") << dpCurrency << 2 << "-1" << QChar(u'-') << kRefused;
        QTest::newRow("letter E") << dpDecimal << 2 << "1" << QChar(u'E') << kRefused;
        QTest::newRow("hanzi") << dpDecimal << 2 << "" << QChar(u'中') << kRefused;
        QTest::newRow("arabic-indic digit") << dpDecimal << 2 << "" << QChar(0x0663) << kRefused;
        QTest::newRow("full-width digit") << dpCurrency << 2 << "" << QChar(0xFF15) << QChar(u'5');
        QTest::newRow("full-width minus") << dpComboCount << 0 << "3" << QChar(0xFF0D) << QChar(u'-');
        QTest::newRow("full-width minus, minus present")
            << dpDecimal << 0 << "-3" << QChar(0xFF0D) << kRefused;
        QTest::newRow("full-width full stop") << dpDecimal << 2 << "1" << QChar(0xFF0E) << QChar(u'.');
        QTest::newRow("ideographic full stop") << dpDecimal << 2 << "1" << QChar(0x3002) << QChar(u'.');
        QTest::newRow("ideographic full stop, no decimals")
            << dpDecimal << 0 << "1" << QChar(0x3002) << kRefused;
        QTest::newRow("full-width letter folds but is refused")
            << dpDecimal << 2 << "" << QChar(0xFF21) << kRefused;

        QTest::newRow("code lower-case") << dpCode << 0 << "" << QChar(u'a') << QChar(u'A');
        QTest::newRow("code digit") << dpCode << 0 << "" << QChar(u'1') << QChar(u'1');
        QTest::newRow("code underscore") << dpCode << 0 << "" << QChar(u'_') << QChar(u'_');
        QTest::newRow("code second minus") << dpCode << 0 << "A-" << QChar(u'-') << QChar(u'-');
        QTest::newRow("code backspace") << dpCode << 0 << "" << QChar(kKeyBackspace) << QChar(kKeyBackspace);
        QTest::newRow("code hash") << dpCode << 0 << "" << QChar(u'#') << kRefused;
        QTest::newRow("code blank") << dpCode << 0 << "" << QChar(u' ') << kRefused;
        QTest::newRow("code full-width digit not folded") << dpCode << 0 << "" << QChar(0xFF11) << kRefused;

        QTest::newRow("string passes anything") << dpString << 0 << "" << QChar(u'#') << QChar(u'#');
        QTest::newRow("string keeps full-width") << dpString << 0 << "" << QChar(0xFF11) << QChar(0xFF11);
        QTest::newRow("date passes letters") << dpDate3 << 0 << "" << QChar(u'x') << QChar(u'x');
    }
    void gridTypeCheck() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(int, dataDec);
        QFETCH(QString, text);
        QFETCH(QChar, key);
        QFETCH(QChar, expected);
        TypeCheckState state;
        QCOMPARE(GridTypeCheck(pro, dataDec, text, key, state), expected);
    }

    void gridStateRemembersFoldedKey() {
        TypeCheckState state;
        GridTypeCheck(dpDecimal, 2, QString(), QChar(0xFF12), state);
        QCOMPARE(state.previous, QChar(u'2'));
        GridTypeCheck(dpDecimal, 2, QString(), QChar(u'x'), state);
        QCOMPARE(state.previous, QChar(u'x'));
        // Only numeric columns go through the folding step.
        GridTypeCheck(dpCode, 0, QString(), QChar(u'a'), state);
        QCOMPARE(state.previous, QChar(u'x'));
    }

    void gridTyping_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<int>("dataDec");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("text");
        QTest::newRow("full-width digits through an input method") << dpDecimal << 2 << "１２"
                                                                   << "12";
        QTest::newRow("full-width number with sign and point") << dpCurrency << 2 << "－１２。５"
                                                               << "-12.5";
        QTest::newRow("second point and sign dropped") << dpDecimal << 2 << "1.2.3--"
                                                       << "1.23-";
        QTest::newRow("code keys") << dpCode << 0 << "a1_#"
                                   << "A1_";
    }
    void gridTyping() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(int, dataDec);
        QFETCH(QString, keys);
        QFETCH(QString, text);
        QCOMPARE(typeIntoGrid(pro, dataDec, keys), text);
    }

    void gridNumAdjust_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<int>("dataDec");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");

        QTest::newRow("plain") << dpDecimal << 2 << "12.5"
                               << "12.50";
        QTest::newRow("rounds") << dpDecimal << 2 << "1.999"
                                << "2.00";
        QTest::newRow("zero decimals") << dpComboCount << 0 << "17"
                                       << "17";
        QTest::newRow("inner blank") << dpDecimal << 2 << "1 234"
                                     << "1234.00";
        QTest::newRow("negative fraction") << dpDecimal << 2 << "-0.5"
                                           << "-0.50";
        QTest::newRow("negative zero keeps its sign") << dpDecimal << 2 << "-0"
                                                      << "-0.00";
        QTest::newRow("minus after digits drops them") << dpDecimal << 2 << "12-3"
                                                       << "-3.00";
        QTest::newRow("double minus") << dpDecimal << 2 << "--5"
                                      << "--5.00";
        QTest::newRow("plus sign skipped") << dpDecimal << 1 << "+5"
                                           << "5.0";
        QTest::newRow("two points") << dpDecimal << 2 << "1.2.3"
                                    << "0.12";
        QTest::newRow("no digits") << dpDecimal << 2 << "abc"
                                   << "0.00";
        QTest::newRow("empty") << dpDecimal << 2 << ""
                               << "";
        QTest::newRow("blanks only") << dpDecimal << 2 << "   "
                                     << "   ";
        QTest::newRow("minus only") << dpDecimal << 2 << "-"
                                    << "-";
        QTest::newRow("exponent scales down") << dpDecimal << 2 << "1.5E2"
                                              << "1.50";
        QTest::newRow("exponent without point") << dpDecimal << 2 << "15E2"
                                                << "1500.00";
        QTest::newRow("lower-case exponent") << dpDecimal << 0 << "3e2"
                                             << "300";
        QTest::newRow("negative exponent") << dpDecimal << 2 << "25E-1"
                                           << "2.50";
        QTest::newRow("minus after lower-case e counts") << dpDecimal << 2 << "1e-2"
                                                         << "-2.00";
        QTest::newRow("power wraps at 32 bits") << dpDecimal << 2 << "1E10"
                                                << "1410065408.00";
        QTest::newRow("power wraps to zero") << dpDecimal << 2 << "1E32"
                                             << "0.00";
        QTest::newRow("division by wrapped zero keeps text") << dpDecimal << 2 << "1E-32"
                                                             << "1E-32";
        QTest::newRow("exponent not a number") << dpDecimal << 2 << "1Ex"
                                               << "1Ex";
        QTest::newRow("empty exponent") << dpDecimal << 2 << "1E"
                                        << "1E";
        QTest::newRow("exponent out of 32 bits") << dpDecimal << 2 << "1E99999999999"
                                                 << "1E99999999999";

        QTest::newRow("string column untouched") << dpString << 2 << "12-3"
                                                 << "12-3";
    }
    void gridNumAdjust() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(int, dataDec);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(GridNumAdjust(pro, dataDec, text), expected);
    }

    void maskEditTypeCheck_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<int>("dataDec");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QChar>("key");
        QTest::addColumn<QChar>("expected");

        QTest::newRow("digit") << dpDecimal << 2 << "" << QChar(u'4') << QChar(u'4');
        QTest::newRow("point") << dpDecimal << 2 << "4" << QChar(u'.') << QChar(u'.');
        QTest::newRow("point, no decimals") << dpComboCount << 0 << "4" << QChar(u'.') << kRefused;
        QTest::newRow("second point") << dpDecimal << 2 << "4.1" << QChar(u'.') << kRefused;
        QTest::newRow("minus") << dpDecimal << 2 << "4" << QChar(u'-') << QChar(u'-');
        QTest::newRow("second minus") << dpComboCount << 2 << "-4" << QChar(u'-') << kRefused;
        QTest::newRow("no folding of full-width digits") << dpDecimal << 2 << "" << QChar(0xFF11) << kRefused;
        QTest::newRow("no folding of ideographic stop") << dpDecimal << 2 << "1" << QChar(0x3002) << kRefused;
        QTest::newRow("currency unfiltered") << dpCurrency << 2 << "" << QChar(u'x') << QChar(u'x');
        QTest::newRow("currency second point") << dpCurrency << 2 << "1." << QChar(u'.') << QChar(u'.');
        QTest::newRow("code upper-cases") << dpCode << 0 << "" << QChar(u'q') << QChar(u'Q');
        QTest::newRow("code backspace") << dpCode << 0 << "" << QChar(kKeyBackspace) << QChar(kKeyBackspace);
        QTest::newRow("string unfiltered") << dpString << 0 << "" << QChar(u'中') << QChar(u'中');
    }
    void maskEditTypeCheck() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(int, dataDec);
        QFETCH(QString, text);
        QFETCH(QChar, key);
        QFETCH(QChar, expected);
        QCOMPARE(MaskEditTypeCheck(pro, dataDec, text, key), expected);
    }

    void maskEditNumAdjust_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<int>("dataDec");
        QTest::addColumn<int>("dataWidth");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");

        QTest::newRow("pads decimals and width") << dpDecimal << 2 << 8 << "12.5"
                                                 << "   12.50";
        QTest::newRow("truncates, no rounding") << dpDecimal << 2 << 8 << "1.999"
                                                << "    1.99";
        QTest::newRow("minus in front of padding") << dpDecimal << 2 << 8 << "-3"
                                                   << "-    3.00";
        QTest::newRow("digits before the minus dropped") << dpComboCount << 2 << 8 << "12-3"
                                                         << "-    3.00";
        QTest::newRow("lone minus with decimals") << dpDecimal << 2 << 8 << "-"
                                                  << "    -.00";
        QTest::newRow("trailing minus stays") << dpDecimal << 0 << 4 << "3-"
                                              << "  3-";
        QTest::newRow("blanks removed") << dpDecimal << 0 << 0 << " 1 2 "
                                        << "12";
        QTest::newRow("six zeros at most") << dpDecimal << 8 << 0 << "1"
                                           << "1.000000";
        QTest::newRow("existing decimals kept up to dataDec") << dpDecimal << 8 << 0 << "1.5"
                                                              << "1.5000000";
        QTest::newRow("sixteen blanks at most") << dpDecimal << 0 << 30 << "1" << QString(16, u' ') + "1";
        QTest::newRow("longer than width not cut") << dpDecimal << 1 << 2 << "123.4"
                                                   << "123.4";
        QTest::newRow("empty text") << dpDecimal << 2 << 8 << ""
                                    << "     .00";
        QTest::newRow("currency untouched") << dpCurrency << 2 << 8 << "12.5"
                                            << "12.5";
        QTest::newRow("string untouched") << dpString << 2 << 8 << " -3"
                                          << " -3";
    }
    void maskEditNumAdjust() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(int, dataDec);
        QFETCH(int, dataWidth);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(MaskEditNumAdjust(pro, dataDec, dataWidth, text), expected);
    }

    void foldFullWidth_data() {
        QTest::addColumn<QChar>("in");
        QTest::addColumn<QChar>("out");
        QTest::newRow("first of the block") << QChar(0xFF01) << QChar(u'!');
        QTest::newRow("last of the block") << QChar(0xFF5E) << QChar(u'~');
        QTest::newRow("just after the block") << QChar(0xFF5F) << QChar(0xFF5F);
        QTest::newRow("ideographic space untouched") << QChar(0x3000) << QChar(0x3000);
        QTest::newRow("ideographic full stop") << QChar(0x3002) << QChar(u'.');
        QTest::newRow("ascii untouched") << QChar(u'5') << QChar(u'5');
    }
    void foldFullWidth() {
        QFETCH(QChar, in);
        QFETCH(QChar, out);
        QCOMPARE(FoldFullWidth(in), out);
    }
};

LNQ_TEST_MAIN_CORE(TestTypedInput)
#include "tst_TypedInput.moc"
