#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"

#include <QClipboard>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QSignalSpy>
#include <QToolButton>
#include <QVBoxLayout>
#include <memory>

using namespace lnq;

Q_DECLARE_METATYPE(lnq::TLNQDataTypePro)

namespace {

// The edit's parent: counts the key presses that get through to it.
class KeySink : public QWidget {
public:
    int keysSeen = 0;

protected:
    void keyPressEvent(QKeyEvent* e) override {
        ++keysSeen;
        e->accept();
    }
};

struct Form {
    KeySink window;
    TLNQMaskEdit* edit;
    QLineEdit* other;
    Form() {
        auto* layout = new QVBoxLayout(&window);
        edit = new TLNQMaskEdit(&window);
        other = new QLineEdit(&window);
        layout->addWidget(edit);
        layout->addWidget(other);
        window.resize(240, 80);
        window.show();
        QApplication::setActiveWindow(&window);
    }
    bool ready() { return QTest::qWaitForWindowActive(&window); }
    void focusEdit() {
        edit->setFocus(Qt::TabFocusReason);
        QApplication::processEvents();
    }
};

} // namespace

class TestCtrlLNQMaskEdit : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void maxLengthZeroMeansNoLimit() {
        TLNQMaskEdit e;
        // MaxLength 0 means no limit.
        e.setText(QString(1000, u'x'));
        QCOMPARE(e.text().size(), 1000);
        e.SetMaxLength(3);
        QCOMPARE(e.text().size(), 3);
    }

    void typingAndEnter_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<int>("dataDec");
        QTest::addColumn<int>("dataWidth");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("afterEnter");

        // One adjustment per column type: the rules themselves are the
        // adjustment's own table (tst_TypedInput).
        QTest::newRow("pads to width") << dpDecimal << 2 << 8 << "12.5"
                                       << "12.5"
                                       << "   12.50";
        QTest::newRow("currency unfiltered, not padded") << dpCurrency << 2 << 8 << "12.5x"
                                                         << "12.5x"
                                                         << "12.5x";
        QTest::newRow("code upper-cased") << dpCode << 0 << 8 << "ab#_1"
                                          << "AB_1"
                                          << "AB_1";
    }
    void typingAndEnter() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(int, dataDec);
        QFETCH(int, dataWidth);
        QFETCH(QString, keys);
        QFETCH(QString, typed);
        QFETCH(QString, afterEnter);
        Form f;
        QVERIFY(f.ready());
        f.edit->SetDataTypePro(pro);
        f.edit->SetDataDec(dataDec);
        f.edit->SetDataWidth(dataWidth);
        f.focusEdit();
        QTest::keyClicks(f.edit, keys);
        QCOMPARE(f.edit->text(), typed);
        QSignalSpy returns(f.edit, &QLineEdit::returnPressed);
        QTest::keyClick(f.edit, Qt::Key_Return);
        QCOMPARE(f.edit->text(), afterEnter);
        QCOMPARE(returns.count(), 1);
        // Enter never reaches the form around the edit.
        QCOMPARE(f.window.keysSeen, 0);
    }

    void enterSelectsTheAdjustedWidth() {
        Form f;
        QVERIFY(f.ready());
        f.edit->SetDataTypePro(dpDecimal);
        f.edit->SetDataDec(1);
        f.edit->SetDataWidth(6);
        f.focusEdit();
        QTest::keyClicks(f.edit, QStringLiteral("-2"));
        QTest::keyClick(f.edit, Qt::Key_Enter);
        QCOMPARE(f.edit->text(), QStringLiteral("-   2.0"));
        QCOMPARE(f.edit->selectionStart(), 0);
        QCOMPARE(f.edit->selectedText(), QStringLiteral("-   2."));
    }

    void keysWithoutTextReachTheEdit() {
        Form f;
        QVERIFY(f.ready());
        f.edit->SetDataTypePro(dpDecimal);
        f.edit->SetDataDec(2);
        f.focusEdit();
        QTest::keyClicks(f.edit, QStringLiteral("123"));
        QTest::keyClick(f.edit, Qt::Key_Left);
        QTest::keyClick(f.edit, Qt::Key_Backspace);
        QCOMPARE(f.edit->text(), QStringLiteral("13"));
        QTest::keyClick(f.edit, Qt::Key_Home);
        QTest::keyClick(f.edit, Qt::Key_Delete);
        QCOMPARE(f.edit->text(), QStringLiteral("3"));
    }

    void tab() {
        Form f;
        QVERIFY(f.ready());
        int handlerCalls = 0;
        f.edit->OnKeyPress = [&](TLNQMaskEdit&, QChar&) { ++handlerCalls; };
        f.focusEdit();
        QTest::keyClicks(f.edit, QStringLiteral("ab"));
        // Tab still moves the focus along the chain.
        QTest::keyClick(f.edit, Qt::Key_Tab);
        QVERIFY(f.other->hasFocus());
        QCOMPARE(f.edit->text(), QStringLiteral("ab"));
        // A Tab the focus chain leaves to the edit is consumed there.
        handlerCalls = 0;
        QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::ControlModifier, QStringLiteral("\t"));
        QApplication::sendEvent(f.edit, &tab);
        QVERIFY(tab.isAccepted());
        QCOMPARE(f.edit->text(), QStringLiteral("ab"));
        QCOMPARE(handlerCalls, 0);
        QCOMPARE(f.window.keysSeen, 0);
    }

    void onKeyPressChangesOrDropsKeys() {
        Form f;
        QVERIFY(f.ready());
        f.edit->SetDataTypePro(dpCode);
        QString seen;
        f.edit->OnKeyPress = [&](TLNQMaskEdit&, QChar& key) {
            seen += key;
            if (key == u'X')
                key = QChar();
            else if (key == u'B')
                key = QChar(u'7');
        };
        f.focusEdit();
        QTest::keyClicks(f.edit, QStringLiteral("a#xb"));
        // The handler sees keys after the filter: upper-cased, "#" already gone.
        QCOMPARE(seen, QStringLiteral("AXB"));
        QCOMPARE(f.edit->text(), QStringLiteral("A7"));
    }

    void inputMethodTextIsFiltered_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<QString>("commit");
        QTest::addColumn<QString>("text");
        QTest::newRow("no folding of full-width digits") << dpDecimal << "１2３4"
                                                         << "24";
        QTest::newRow("second minus within one commit") << dpDecimal << "-1-"
                                                        << "-1";
        QTest::newRow("code upper-cased") << dpCode << "ab中"
                                          << "AB";
    }
    void inputMethodTextIsFiltered() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(QString, commit);
        QFETCH(QString, text);
        Form f;
        QVERIFY(f.ready());
        f.edit->SetDataTypePro(pro);
        f.edit->SetDataDec(2);
        f.focusEdit();
        QInputMethodEvent ev;
        ev.setCommitString(commit);
        QApplication::sendEvent(f.edit, &ev);
        QCOMPARE(f.edit->text(), text);
    }

    void buttonOnlyWhileFocused() {
        Form f;
        QVERIFY(f.ready());
        f.other->setFocus();
        f.edit->SetLoadButton(true);
        QVERIFY(!f.edit->Button()->isVisible());
        QCOMPARE(f.edit->ButtonWidth(), 0);

        f.focusEdit();
        QVERIFY(f.edit->Button()->isVisible());
        QCOMPARE(f.edit->ButtonWidth(), 18);
        QCOMPARE(f.edit->textMargins().right(), 18);
        QVERIFY(!f.edit->Button()->icon().isNull());

        QSignalSpy clicks(f.edit, &TLNQMaskEdit::buttonClick);
        QTest::mouseClick(f.edit->Button(), Qt::LeftButton);
        QCOMPARE(clicks.count(), 1);
        // The button takes no focus, so it stays up.
        QVERIFY(f.edit->hasFocus());
        QVERIFY(f.edit->Button()->isVisible());

        f.edit->SetLoadButton(false);
        QVERIFY(!f.edit->Button()->isVisible());
        QCOMPARE(f.edit->textMargins().right(), 0);
        f.edit->SetLoadButton(true);
        QVERIFY(f.edit->Button()->isVisible());

        f.other->setFocus();
        QApplication::processEvents();
        QVERIFY(!f.edit->Button()->isVisible());
        QCOMPARE(f.edit->ButtonWidth(), 0);
        QCOMPARE(f.edit->textMargins().right(), 0);
    }

    void buttonClickOnReadOnly_data() {
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<bool>("lbCanUse");
        QTest::addColumn<int>("fired");
        QTest::newRow("editable") << false << false << 1;
        QTest::newRow("read-only") << true << false << 0;
        QTest::newRow("read-only, LBCanUse") << true << true << 1;
    }
    void buttonClickOnReadOnly() {
        QFETCH(bool, readOnly);
        QFETCH(bool, lbCanUse);
        QFETCH(int, fired);
        Form f;
        QVERIFY(f.ready());
        f.edit->SetReadOnly(readOnly);
        f.edit->SetLBCanUse(lbCanUse);
        f.edit->SetLoadButton(true);
        f.focusEdit();
        QSignalSpy clicks(f.edit, &TLNQMaskEdit::buttonClick);
        QTest::mouseClick(f.edit->Button(), Qt::LeftButton);
        QCOMPARE(clicks.count(), fired);
    }

    void pasteAndCut_data() {
        QTest::addColumn<bool>("editorEnabled");
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("enabled") << true << false << true;
        QTest::newRow("editor disabled") << false << false << false;
        QTest::newRow("read-only") << true << true << false;
    }
    void pasteAndCut() {
        QFETCH(bool, editorEnabled);
        QFETCH(bool, readOnly);
        QFETCH(bool, allowed);
        Form f;
        QVERIFY(f.ready());
        f.focusEdit();
        QTest::keyClicks(f.edit, QStringLiteral("1"));
        f.edit->SetEditorEnabled(editorEnabled);
        f.edit->SetReadOnly(readOnly);
        QApplication::clipboard()->setText(QStringLiteral("42"));
        QTest::keyClick(f.edit, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(f.edit->text(), allowed ? QStringLiteral("142") : QStringLiteral("1"));
        f.edit->PasteFromClipboard();
        QCOMPARE(f.edit->text(), allowed ? QStringLiteral("14242") : QStringLiteral("1"));

        f.edit->selectAll();
        QTest::keyClick(f.edit, Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(f.edit->text(), allowed ? QString() : QStringLiteral("1"));
        f.edit->setText(QStringLiteral("77"));
        f.edit->selectAll();
        f.edit->CutToClipboard();
        QCOMPARE(f.edit->text(), allowed ? QString() : QStringLiteral("77"));
    }

    void autoSelect_data() {
        QTest::addColumn<bool>("autoSelect");
        QTest::newRow("on") << true;
        QTest::newRow("off") << false;
    }
    void autoSelect() {
        QFETCH(bool, autoSelect);
        Form f;
        QVERIFY(f.ready());
        f.edit->setText(QStringLiteral("hello"));
        f.edit->SetAutoSelect(autoSelect);
        f.other->setFocus();
        QApplication::processEvents();
        f.focusEdit();
        QCOMPARE(f.edit->selectedText(), autoSelect ? QStringLiteral("hello") : QString());
        f.other->setFocus();
        QApplication::processEvents();
        f.edit->setFocus(Qt::OtherFocusReason);
        QApplication::processEvents();
        QCOMPARE(f.edit->selectedText(), autoSelect ? QStringLiteral("hello") : QString());
    }

    void imeMode_data() {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("disable") << int(imDisable) << false;
        QTest::newRow("close") << int(imClose) << false;
        QTest::newRow("chinese") << int(imChinese) << true;
        QTest::newRow("dont care") << int(imDontCare) << true;
    }
    void imeMode() {
        QFETCH(int, mode);
        QFETCH(bool, enabled);
        TLNQMaskEdit e;
        e.SetImeMode(TImeMode(mode));
        e.SetImeName(QStringLiteral("中文 - 拼音"));
        QCOMPARE(e.ImeName(), QStringLiteral("中文 - 拼音"));
        QCOMPARE(e.testAttribute(Qt::WA_InputMethodEnabled), enabled);
        e.SetReadOnly(true);
        QVERIFY(!e.testAttribute(Qt::WA_InputMethodEnabled));
        e.SetReadOnly(false);
        QCOMPARE(e.testAttribute(Qt::WA_InputMethodEnabled), enabled);
    }

    void convertEditMask_data() {
        QTest::addColumn<QString>("mask");
        QTest::addColumn<QString>("qtMask");
        QTest::addColumn<bool>("saveLiterals");
        QTest::newRow("date, reverse ignored") << "!99/99/00;1;_"
                                               << "00/00/99;_" << true;
        QTest::newRow("literals not saved, own blank") << "000-0000;0;*"
                                                       << "999-9999;*" << false;
        QTest::newRow("no fields") << "LlAaCc"
                                   << "AaNnXx;_" << true;
        QTest::newRow("case directives") << ">LL<ll"
                                         << ">AA<aa;_" << true;
        QTest::newRow("no case change") << "<>CC"
                                        << "!XX;_" << true;
        QTest::newRow("escaped mask letter") << "\\A0"
                                             << "\\A9;_" << true;
        QTest::newRow("blank literal") << "_0"
                                       << " 9;_" << true;
        QTest::newRow("Qt mask letters are literals here") << "H0N#"
                                                           << "\\H9\\N#;_" << true;
        QTest::newRow("escaped separator") << "0\\;0;0"
                                           << "9\\;9;_" << false;
        QTest::newRow("empty") << ""
                               << "" << true;
    }
    void convertEditMask() {
        QFETCH(QString, mask);
        QFETCH(QString, qtMask);
        QFETCH(bool, saveLiterals);
        const TLNQEditMaskInfo info = ConvertEditMask(mask);
        QCOMPARE(info.InputMask, qtMask);
        QCOMPARE(info.SaveLiterals, saveLiterals);
    }

    void maskDirectives() {
        QCOMPARE(ConvertEditMask(QStringLiteral("!>0")).Directives,
                 TLNQMaskDirectives(mdReverseDir | mdUpperCase));
        QCOMPARE(ConvertEditMask(QStringLiteral("<\\x")).Directives,
                 TLNQMaskDirectives(mdLowerCase | mdLiteralChar));
        QCOMPARE(ConvertEditMask(QStringLiteral("0")).Directives, TLNQMaskDirectives());
    }

    void maskCharType_data() {
        QTest::addColumn<QString>("mask");
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("type");
        const QString m = QStringLiteral("!\\A0l:x;1;_");
        QTest::newRow("reverse") << m << 0 << int(mcDirective);
        QTest::newRow("escape") << m << 1 << int(mcDirective);
        QTest::newRow("escaped") << m << 2 << int(mcLiteral);
        QTest::newRow("required digit") << m << 3 << int(mcMask);
        QTest::newRow("optional letter") << m << 4 << int(mcMaskOpt);
        QTest::newRow("time separator") << m << 5 << int(mcIntlLiteral);
        QTest::newRow("field separator") << m << 7 << int(mcFieldSeparator);
        QTest::newRow("second separator is field text") << m << 9 << int(mcField);
        QTest::newRow("past the end") << m << 11 << int(mcNone);
        QTest::newRow("negative") << m << -1 << int(mcNone);
        QTest::newRow("escaped backslash then mask") << QStringLiteral("\\\\0") << 2 << int(mcMask);
    }
    void maskCharType() {
        QFETCH(QString, mask);
        QFETCH(int, offset);
        QFETCH(int, type);
        QCOMPARE(int(MaskGetCharType(mask, offset)), type);
    }

    void maskedTyping() {
        Form f;
        QVERIFY(f.ready());
        f.edit->SetEditMask(QStringLiteral("000-0000;0;_"));
        QCOMPARE(f.edit->inputMask(), QStringLiteral("999-9999;_"));
        f.focusEdit();
        f.edit->setCursorPosition(0);
        QTest::keyClicks(f.edit, QStringLiteral("1234567"));
        QCOMPARE(f.edit->text(), QStringLiteral("123-4567"));
        QCOMPARE(f.edit->Text(), QStringLiteral("1234567"));
        f.edit->ValidateEdit();

        f.edit->SetEditMask(QStringLiteral("000-0000;1;_"));
        f.edit->setText(QStringLiteral("1234567"));
        QCOMPARE(f.edit->Text(), QStringLiteral("123-4567"));
    }

    void incompleteMaskOnExit() {
        Form f;
        QVERIFY(f.ready());
        f.edit->SetEditMask(QStringLiteral("000;1;_"));
        f.edit->setText(QStringLiteral("9"));
        f.edit->setModified(false);
        QVERIFY_THROWS_EXCEPTION(LNQEDBEditError, f.edit->ValidateEdit());

        // Leaving unmodified: no complaint.
        QSignalSpy errors(f.edit, &TLNQMaskEdit::editError);
        f.focusEdit();
        f.other->setFocus(Qt::TabFocusReason);
        QApplication::processEvents();
        QCOMPARE(errors.count(), 0);
        QVERIFY(f.other->hasFocus());

        // Leaving after typing an incomplete value: error, focus comes back.
        f.focusEdit();
        f.edit->setCursorPosition(1);
        QTest::keyClicks(f.edit, QStringLiteral("8"));
        QCOMPARE(f.edit->text(), QStringLiteral("98"));
        f.other->setFocus(Qt::TabFocusReason);
        QCOMPARE(errors.count(), 1);
        QCOMPARE(errors.first().first().toString(), TLNQMaskEdit::EditErrorMessage());
        QTRY_VERIFY(f.edit->hasFocus());
        QCOMPARE(f.edit->cursorPosition(), 2);

        // Esc gives back the text the edit had when it was entered.
        QTest::keyClick(f.edit, Qt::Key_Escape);
        QCOMPARE(f.edit->text(), QStringLiteral("9"));
        f.other->setFocus(Qt::TabFocusReason);
        QApplication::processEvents();
        QCOMPARE(errors.count(), 1);
        QVERIFY(f.other->hasFocus());
    }

    void getNo_data() {
        QTest::addColumn<TLNQDataTypePro>("pro");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("no");
        QTest::newRow("padded decimal") << dpDecimal << "   12.70" << 12;
        QTest::newRow("negative cut toward zero") << dpDecimal << "-    3.90" << -3;
        QTest::newRow("currency exponent") << dpCurrency << "1e3" << 1000;
        QTest::newRow("not a number") << dpComboCount << "abc" << 0;
        QTest::newRow("too large") << dpDecimal << "99999999999" << 0;
        QTest::newRow("bracketed code") << dpString << "[0012]张三" << 12;
        QTest::newRow("plain digits") << dpCode << "42" << 42;
        QTest::newRow("letter code") << dpCode << "[AB]x" << 0;
        QTest::newRow("date") << dpDate1 << "2024-03-03" << 0;
    }
    void getNo() {
        QFETCH(TLNQDataTypePro, pro);
        QFETCH(QString, text);
        QFETCH(int, no);
        TLNQMaskEdit e;
        e.SetDataTypePro(pro);
        e.setText(text);
        QCOMPARE(e.GetNo(), no);
    }

    void codeAndValue() {
        TLNQMaskEdit e;
        e.setText(QStringLiteral("[0012]张三"));
        QCOMPARE(e.GetCode(), QStringLiteral("0012"));
        QCOMPARE(e.GetValue(), QStringLiteral("[0012]张三"));
        e.setText(QStringLiteral("ABC"));
        QCOMPARE(e.GetCode(), QStringLiteral("ABC"));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQMaskEdit)
#include "tst_Ctrl_LNQMaskEdit.moc"
