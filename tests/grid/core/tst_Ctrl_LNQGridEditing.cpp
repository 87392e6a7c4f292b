#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Clock.h"

#include <QCalendarWidget>
#include <QCheckBox>
#include <QInputMethodEvent>
#include <QSignalSpy>
#include <QToolButton>
#include <functional>

using namespace lnq;

namespace {

// A shown, active, editable string grid with named columns; no fixed
// columns unless asked.
struct EditGrid {
    TLNQStringGrid g;
    explicit EditGrid(const QStringList& names, int fixedCols = 0) {
        g.resize(700, 300);
        g.SetColCount(int(names.size()));
        for (int i = 0; i < names.size(); ++i) {
            g.GridCols()[i]->SetColName(names[i]);
            g.GridCols()[i]->SetCaption(names[i]);
        }
        g.SetFixedCols(fixedCols);
        g.SetOptions(g.Options() | TGridOption::goEditing);
        g.show();
        g.activateWindow();
        (void)QTest::qWaitForWindowActive(&g);
        g.setFocus();
    }
    TGridCol* col(const QString& name) { return g.GridCols()[g.ColByName(name)]; }
    void at(const QString& name, int row) { g.FocusCell(g.ColByName(name), row); }
};

QWidget* focus(QWidget* fallback) {
    QWidget* w = QApplication::focusWidget();
    return w ? w : fallback;
}

// Types as a user does: each character goes to whatever has the focus.
// Characters beyond Latin-1 (full-width forms) arrive as key events that
// carry only their text, as an input method's key-by-key delivery does.
void type(QWidget* fallback, const QString& text) {
    for (QChar c : text) {
        if (c.unicode() < 0x80) {
            QTest::keyClicks(focus(fallback), QString(c));
        } else {
            QTest::sendKeyEvent(QTest::Press, focus(fallback), Qt::Key_unknown, QString(c), Qt::NoModifier);
            QTest::sendKeyEvent(QTest::Release, focus(fallback), Qt::Key_unknown, QString(c), Qt::NoModifier);
        }
    }
}

void press(QWidget* fallback, Qt::Key key) {
    QTest::keyClick(focus(fallback), key);
}

// What an input method in full-width mode sends: a commit with no
// composition before it, to whatever has the focus.
void commit(QWidget* fallback, const QString& text) {
    QInputMethodEvent event;
    event.setCommitString(text);
    QCoreApplication::sendEvent(focus(fallback), &event);
}

// The same input run under the pinned zh_CN and under a locale whose short
// date has two-digit years.
void addLocaleRows(const char* name, const std::function<void(QTestData&)>& rest) {
    for (const QLocale& loc :
         {QLocale(QLocale::Chinese, QLocale::China), QLocale(QLocale::English, QLocale::UnitedStates)}) {
        QTestData& row =
            QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(loc.name(), QLatin1String(name)))) << loc;
        rest(row);
    }
}

} // namespace

class TestCtrlLNQGridEditing : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cleanup() {
        Clock::setFixedNow(std::nullopt);
        QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
    }

    void backspaceIsNotFiltered() {
        EditGrid e({"vNo", "nQty"});
        e.col("nQty")->SetDataTypePro(dpDecimal);
        e.col("nQty")->SetDataWidth(8);
        e.at("nQty", 1);
        type(&e.g, QStringLiteral("123"));
        press(&e.g, Qt::Key_Backspace);
        QCOMPARE(e.g.InplaceEditor()->text(), QStringLiteral("12"));
    }

    void numAdjustThroughTheGrid() {
        EditGrid e({"vNo", "n"});
        e.col("n")->SetDataTypePro(dpDecimal);
        e.col("n")->SetDataWidth(8);
        e.col("n")->SetDataDec(2);
        QString t = QStringLiteral("12-3");
        e.g.NumAdjust(1, t);
        QCOMPARE(t, QStringLiteral("-3.00"));
        t = QStringLiteral("abc");
        e.g.NumAdjust(0, t); // a string column is left alone
        QCOMPARE(t, QStringLiteral("abc"));
    }

    void enterMovesAlongTheRowWithAutoNext() {
        EditGrid e({"vNo", "a", "b", "hidden"}, 1);
        e.g.SetAutoNext(true);
        e.col("hidden")->SetWidth(-1);
        e.at("a", 1);
        type(&e.g, QStringLiteral("x"));
        press(&e.g, Qt::Key_Return);
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("x"));
        QCOMPARE(e.g.Col(), 2);
        QVERIFY(!e.g.EditorMode());
        press(&e.g, Qt::Key_Return); // opens the editor on b
        QVERIFY(e.g.EditorMode());
        type(&e.g, QStringLiteral("y"));
        press(&e.g, Qt::Key_Return); // the next column is hidden: next row, first non-fixed column
        QCOMPARE(e.g.Cells(2, 1), QStringLiteral("y"));
        QCOMPARE(e.g.Row(), 2);
        QCOMPARE(e.g.Col(), 1);
        // The last cell of the last row stays put.
        e.g.FocusCell(2, 4);
        press(&e.g, Qt::Key_Return);
        press(&e.g, Qt::Key_Return);
        QCOMPARE(e.g.Row(), 4);
        QCOMPARE(e.g.Col(), 2);
    }

    void readOnlyCellsLetEnterGoOn() {
        EditGrid e({"vNo", "a", "b"});
        e.g.SetAutoNext(true);
        e.col("vNo")->SetDataTypePro(dpOrderNo);
        e.at("vNo", 1);
        press(&e.g, Qt::Key_Return);
        QVERIFY(!e.g.EditorMode());
        QCOMPARE(e.g.Col(), 1);
    }

    void alwaysShownEditorFollowsTheCurrentCell() {
        EditGrid e({"vNo", "a", "b"});
        e.g.SetOptions(e.g.Options() | TGridOption::goAlwaysShowEditor);
        e.at("a", 1);
        QVERIFY(e.g.EditorMode());
        type(&e.g, QStringLiteral("q"));
        press(&e.g, Qt::Key_Return); // Enter does not close an always-shown editor
        QVERIFY(e.g.EditorMode());
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("q"));
        press(&e.g, Qt::Key_Down);
        QCOMPARE(e.g.Row(), 2);
        QVERIFY(e.g.EditorMode());
    }

    void inputMethodHandOverAndMask() {
        EditGrid e({"vNo", "a", "b"});
        e.g.SetAutoNext(true);
        e.col("a")->SetImeMode(imClose);
        e.col("a")->SetEditMask(QStringLiteral("999;1;_"));
        e.col("b")->SetImeMode(imChinese);
        e.col("b")->SetImeName(QStringLiteral("拼音"));
        e.at("a", 1);
        press(&e.g, Qt::Key_Return);
        TInplaceEdit* ed = e.g.InplaceEditor();
        QVERIFY(!ed->testAttribute(Qt::WA_InputMethodEnabled));
        QVERIFY(!ed->inputMask().isEmpty());
        press(&e.g, Qt::Key_Return);
        QCOMPARE(e.g.EditorImeName(), QStringLiteral("拼音"));
        QCOMPARE(e.g.EditorImeMode(), imChinese);
        press(&e.g, Qt::Key_Return);
        QVERIFY(e.g.InplaceEditor()->testAttribute(Qt::WA_InputMethodEnabled));
        QCOMPARE(e.g.InplaceEditor()->ImeName(), QStringLiteral("拼音"));
    }

    void ellipsisButtonCallsBothHandlers() {
        EditGrid e({"vNo", "vCustomer"});
        e.col("vCustomer")->SetLoadButton(true);
        QSignalSpy clicked(&e.g, &TLNQCustomGrid::OnLoadButtonClick);
        QString colName;
        e.g.OnLoadButtonColClick = [&](TLNQCustomGrid* sender, const QString& name) {
            QCOMPARE(sender, &e.g);
            QCOMPARE(clicked.count(), 1); // the published event fires first
            colName = name;
        };
        e.at("vCustomer", 1);
        press(&e.g, Qt::Key_Return);
        QToolButton* button = e.g.InplaceEditor()->LoadButtonWidget();
        QVERIFY(button);
        QVERIFY(button->isVisible());
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(colName, QStringLiteral("vCustomer"));
        // Without an editor the button does nothing.
        TLNQStringGrid fresh;
        QSignalSpy none(&fresh, &TLNQCustomGrid::OnLoadButtonClick);
        fresh.DoLoadButtonClick();
        QCOMPARE(none.count(), 0);
    }

    void calendarWritesIsoDatesWhateverTheLocale() {
        const QLocale old;
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        EditGrid e({"vNo", "dDate"});
        e.col("dDate")->SetPopDateAllowed(true);
        e.g.SetCells(1, 1, QStringLiteral("2024-03-01"));
        QList<int> popped;
        e.g.OnEditorPopup = [&](TLNQCustomGrid*, QWidget* editor, int col, int row) {
            QCOMPARE(editor, e.g.PopupCalendar());
            popped << col << row;
        };
        e.at("dDate", 1);
        press(&e.g, Qt::Key_Return);
        QCOMPARE(popped, (QList<int>{1, 1}));
        QCalendarWidget* cal = e.g.PopupCalendar();
        QVERIFY(cal->isVisible());
        QCOMPARE(cal->selectedDate(), QDate(2024, 3, 1));
        QVERIFY(!e.g.Popups().CalendarCheckBox()->isVisible());
        QWidget* target = focus(cal);
        QVERIFY(cal->isAncestorOf(target) || target == cal);
        QTest::keyClick(target, Qt::Key_Right);
        QTest::keyClick(target, Qt::Key_Right);
        QTest::keyClick(target, Qt::Key_Return);
        QVERIFY(!cal->isVisible());
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("2024-03-03"));
        QLocale::setDefault(old);
    }

    void calendarStartsTodayAndMayClearTheDate() {
        Clock::setFixedNow(QDateTime(QDate(2024, 5, 6), QTime(9, 0)));
        EditGrid e({"vNo", "dDate"});
        TGridCol* c = e.col("dDate");
        c->SetPopDateAllowed(true);
        c->SetCalendarShowCheckBox(true);
        e.at("dDate", 2);
        press(&e.g, Qt::Key_Return);
        QCalendarWidget* cal = e.g.PopupCalendar();
        QCOMPARE(cal->selectedDate(), QDate(2024, 5, 6));
        QCheckBox* check = e.g.Popups().CalendarCheckBox();
        QVERIFY(check->isVisible());
        QVERIFY(!check->isChecked()); // the cell had no date
        check->setChecked(true);
        e.g.PopExit();
        QCOMPARE(e.g.Cells(1, 2), QStringLiteral("2024-05-06"));
        // Reopened on a dated cell, unchecking writes an empty date.
        e.g.PopEnter();
        QVERIFY(check->isChecked());
        check->setChecked(false);
        e.g.PopExit();
        QCOMPARE(e.g.Cells(1, 2), QString());
        // Escape closes without writing.
        e.g.SetCells(1, 2, QStringLiteral("2023-01-02"));
        e.g.PopEnter();
        QTest::keyClick(focus(cal), Qt::Key_Right);
        QTest::keyClick(focus(cal), Qt::Key_Escape);
        QVERIFY(!cal->isVisible());
        QCOMPARE(e.g.Cells(1, 2), QStringLiteral("2023-01-02"));
    }

    void dropDownListWritesTheShownText() {
        EditGrid e({"vNo", "vUnit", "vNext"});
        e.g.SetAutoNext(true);
        TGridCol* c = e.col("vUnit");
        c->SetPopComboBoxAllowed(true);
        c->PopListStrings() << QStringLiteral("件") << QStringLiteral("箱") << QStringLiteral("盒");
        c->PopListValues() << "1"
                           << "2"
                           << "3";
        e.g.SetCells(1, 1, QStringLiteral("箱"));
        e.g.OnEditorPopup = [&](TLNQCustomGrid*, QWidget* editor, int, int) {
            auto* list = qobject_cast<QComboBox*>(editor);
            QVERIFY(list);
            QCOMPARE(list->currentText(), QStringLiteral("箱"));
            list->addItem(QStringLiteral("袋")); // a handler may refill the list
        };
        e.at("vUnit", 1);
        press(&e.g, Qt::Key_Return);
        QComboBox* list = e.g.PopupList();
        QVERIFY(list->isVisible());
        QCOMPARE(list->count(), 4);
        QTest::keyClick(list->view(), Qt::Key_Down);
        QTest::keyClick(list->view(), Qt::Key_Down);
        QTest::keyClick(list->view(), Qt::Key_Return);
        QVERIFY(!list->isVisible());
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("袋"));
        QCOMPARE(e.g.Col(), 2); // Enter went on to the grid
    }

    void typingOnAListColumnOpensTheList() {
        EditGrid e({"vNo", "vUnit"});
        TGridCol* c = e.col("vUnit");
        c->SetPopComboBoxAllowed(true);
        c->PopListStrings() << QStringLiteral("件");
        e.at("vUnit", 3);
        type(&e.g, QStringLiteral("x"));
        QComboBox* list = e.g.PopupList();
        QVERIFY(list->isVisible());
        QCOMPARE(list->currentIndex(), -1);            // the empty cell matches nothing
        QTest::keyClick(list->view(), Qt::Key_Escape); // closes the drop-down
        QTest::keyClick(list, Qt::Key_Escape);         // closes the list
        QVERIFY(!list->isVisible());
        QCOMPARE(e.g.Cells(1, 3), QString());
        // Up while the list is closed goes on to the grid, with the value.
        e.g.PopEnter();
        list->hidePopup();
        list->setCurrentIndex(0);
        QTest::keyClick(list, Qt::Key_Up);
        QCOMPARE(e.g.Cells(1, 3), QStringLiteral("件"));
        QCOMPARE(e.g.Row(), 2);
    }

    void selectionVeto() {
        EditGrid e({"vNo", "a", "b"});
        e.at("a", 1);
        e.g.OnSelectCell = [](int col, int, bool& can) { can = col != 2; };
        press(&e.g, Qt::Key_Right);
        QCOMPARE(e.g.Col(), 1);
        press(&e.g, Qt::Key_Down);
        QCOMPARE(e.g.Row(), 2);
    }

    void fixedColumnsAreSkippedAndLockedOnesEdit() {
        EditGrid e({"vNo", "a", "b", "c"}, 1);
        e.at("a", 1);
        press(&e.g, Qt::Key_Left);
        QCOMPARE(e.g.Col(), 1); // the fixed column cannot become current
        e.g.SetLockedCols(1);
        QVERIFY(e.g.FrozenView()->isVisible());
        press(&e.g, Qt::Key_Return);
        QVERIFY(e.g.EditorMode());
        // The editor of a locked column lives in the frozen view.
        QVERIFY(e.g.FrozenView()->viewport()->isAncestorOf(e.g.InplaceEditor()));
        type(&e.g, QStringLiteral("L"));
        press(&e.g, Qt::Key_Return);
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("L"));
    }

    void checkBoxColumnsToggle() {
        EditGrid e({"vNo", "bOk"});
        TGridCol* c = e.col("bOk");
        c->SetCheckBox(true);
        c->SetValueTrue(QStringLiteral("是"));
        c->SetValueFalse(QStringLiteral("否"));
        e.at("bOk", 1);
        press(&e.g, Qt::Key_Space);
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("是"));
        press(&e.g, Qt::Key_Space);
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("否"));
        QVERIFY(!e.g.EditorMode());
    }

    void editUpdateCanBeHeldBack() {
        EditGrid e({"vNo", "a"});
        e.at("a", 1);
        press(&e.g, Qt::Key_Return);
        TInplaceEdit* ed = e.g.InplaceEditor();
        e.g.DisableEditUpdate();
        e.g.SetCells(1, 1, QStringLiteral("from program"));
        QCOMPARE(ed->text(), QString());
        e.g.EnableEditUpdate();
        e.g.SetCells(1, 1, QStringLiteral("again"));
        QCOMPARE(ed->text(), QStringLiteral("again"));
    }

    void editingSignals() {
        EditGrid e({"vNo", "a"});
        QSignalSpy editing(&e.g, &TLNQCustomGrid::OnEditing);
        QSignalSpy edited(&e.g, &TLNQCustomGrid::OnEdited);
        QSignalSpy setText(&e.g, &TLNQCustomGrid::OnSetEditText);
        e.at("a", 2);
        type(&e.g, QStringLiteral("z"));
        press(&e.g, Qt::Key_Return);
        QCOMPARE(editing.count(), 1);
        QCOMPARE(edited.count(), 1);
        QCOMPARE(setText.count(), 1);
        QCOMPARE(setText[0][3].toString(), QStringLiteral("z"));
    }

    // Committed text with no editor open starts the editor with that text,
    // exactly as typing the characters does; the characters of one commit are
    // judged against the text built so far.
    void inputMethodCommitOpensTheEditor_data() {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<int>("pro");
        QTest::addColumn<int>("dec");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("text");
        const auto rows = [](const char* name, int pro, int dec, const QString& input, const QString& text) {
            addLocaleRows(name, [&](QTestData& row) { row << pro << dec << input << text; });
        };
        rows("chinese name", dpString, 0, QStringLiteral("张三"), QStringLiteral("张三"));
        rows("full-width digits", dpDecimal, 2, QStringLiteral("１２"), QStringLiteral("12"));
        rows("points and minus", dpDecimal, 2, QStringLiteral("１．２．－－"), QStringLiteral("1.2-"));
        rows("no point without decimals", dpComboCount, 0, QStringLiteral("３．５"), QStringLiteral("35"));
        rows("code letters", dpCode, 0, QStringLiteral("ab-c"), QStringLiteral("AB-C"));
    }
    void inputMethodCommitOpensTheEditor() {
        QFETCH(QLocale, locale);
        QFETCH(int, pro);
        QFETCH(int, dec);
        QFETCH(QString, input);
        QFETCH(QString, text);
        QLocale::setDefault(locale);
        EditGrid e({"vNo", "v"});
        TGridCol* c = e.col("v");
        c->SetDataTypePro(TLNQDataTypePro(pro));
        c->SetDataWidth(10);
        c->SetDataDec(dec);
        // Into an open editor: one commit gives what typing it gives.
        e.at("v", 1);
        press(&e.g, Qt::Key_Return);
        QVERIFY(e.g.EditorMode());
        commit(&e.g, input);
        QCOMPARE(e.g.InplaceEditor()->text(), text);
        press(&e.g, Qt::Key_Return);
        e.at("v", 2);
        type(&e.g, input);
        QCOMPARE(e.g.InplaceEditor()->text(), text);
        press(&e.g, Qt::Key_Return);
        QCOMPARE(e.g.Cells(1, 1), e.g.Cells(1, 2));
        // With no editor open the commit opens it, with the text in it.
        e.at("v", 3);
        e.g.setFocus();
        QVERIFY(!e.g.EditorMode());
        commit(&e.g, input);
        QVERIFY(e.g.EditorMode());
        QCOMPARE(e.g.InplaceEditor()->text(), text);
        QCOMPARE(QApplication::focusWidget(), e.g.InplaceEditor());
        press(&e.g, Qt::Key_Return);
        QCOMPARE(e.g.Cells(1, 3), text);
    }

    // The calendar of an empty cell opens on the clock's today in every
    // locale, also when an input method's commit is what opens it.
    void calendarOfAnEmptyCellStartsOnTheClocksToday_data() {
        QTest::addColumn<QLocale>("locale");
        addLocaleRows("", [](QTestData&) {});
        QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany);
    }
    void calendarOfAnEmptyCellStartsOnTheClocksToday() {
        QFETCH(QLocale, locale);
        QLocale::setDefault(locale);
        Clock::setFixedNow(QDateTime(QDate(2026, 5, 6), QTime(9, 0)));
        EditGrid e({"vNo", "dDate"});
        e.col("dDate")->SetPopDateAllowed(true);
        e.at("dDate", 1);
        commit(&e.g, QStringLiteral("１"));
        QCalendarWidget* cal = e.g.PopupCalendar();
        QVERIFY(cal->isVisible());
        QCOMPARE(cal->selectedDate(), QDate(2026, 5, 6));
        QTest::keyClick(focus(cal), Qt::Key_Return);
        QCOMPARE(e.g.Cells(1, 1), QStringLiteral("2026-05-06"));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQGridEditing)
#include "tst_Ctrl_LNQGridEditing.moc"
