#include "common/DBGridDriver.h"
#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "common/WidgetDriver.h"
#include "data/ADOConnection.h"
#include "data/DataSetModel.h"
#include "filter/Ctrl_FilterSetupFM.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "grid/data/DBGridCalc.h"
#include "util/Exceptions.h"

#include <QAbstractItemModelTester>
#include <QBuffer>
#include <QHeaderView>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QMenu>
#include <QSignalSpy>
#include <QToolButton>

using namespace lnq;
using lnqtest::fieldDef;

namespace {

struct Rec {
    QVariant id, name, amount, flag, pwd, code, d8;
};

// Records: ID, vName, Amount (float), bFlag, vPassword, Code, D8 (text of 8).
template <typename DS> void load(DS& ds, const QList<Rec>& recs) {
    TRecordSetBuilder& b =
        ds.BeginLoad({fieldDef("ID", TFieldType::ftInteger), fieldDef("vName", TFieldType::ftWideString, 40),
                      fieldDef("Amount", TFieldType::ftFloat), fieldDef("bFlag", TFieldType::ftBoolean),
                      fieldDef("vPassword", TFieldType::ftString, 20),
                      fieldDef("Code", TFieldType::ftString, 4), fieldDef("D8", TFieldType::ftString, 8)});
    for (const Rec& r : recs) {
        const QVariant v[] = {r.id, r.name, r.amount, r.flag, r.pwd, r.code, r.d8};
        for (int c = 0; c < 7; ++c) {
            if (!v[c].isValid() || v[c].isNull())
                b.SetNull(c);
            else if (c == 0 || c == 3)
                b.SetInteger(c, v[c].toLongLong());
            else if (c == 2)
                b.SetFloat(c, v[c].toDouble());
            else
                b.SetText(c, v[c].toString());
        }
        b.EndRow();
    }
    ds.EndLoad();
}

QList<Rec> sample() {
    return {
        {1, QStringLiteral("张三"), 10.0, 1, QStringLiteral("pw"), QStringLiteral("01"),
         QStringLiteral("20240105")},
        {2, QStringLiteral("李四"), 0.0, 0, QStringLiteral("x"), QStringLiteral("02"),
         QStringLiteral("2024")},
        {3, QStringLiteral("王五"), 1234.5, QVariant(), QString(), QStringLiteral("09"), QString()},
        {4, QStringLiteral("张三"), 5.25, 1, QString(), QStringLiteral("01"), QString()},
    };
}

// A shown grid on a client dataset of the sample records.
struct Fixture {
    TClientDataSet ds;
    TLNQDBGrid g;
    QStringList errors;
    explicit Fixture(const QList<Rec>& recs = sample()) {
        load(ds, recs);
        g.PrinterCount = [] { return 1; };
        g.OnDataError = [this](TLNQCustomDBGrid*, const QString& m) { errors << m; };
        g.SetDataSet(&ds);
        g.resize(700, 300);
        g.show();
        (void)QTest::qWaitForWindowExposed(&g);
    }
    TColumn* col(const QString& field) const { return g.Columns().ColumnOfField(field); }
    // Keys go to the focus widget, which needs an active window.
    void activate() {
        g.activateWindow();
        (void)QTest::qWaitForWindowActive(&g);
        g.setFocus();
    }
    // A point on the title of a column, in the header's viewport.
    QPoint titlePoint(TColumn* c) const {
        const QHeaderView* header = g.horizontalHeader();
        const int gc = g.GridColOf(c);
        return {header->sectionViewportPosition(gc) + header->sectionSize(gc) / 2, header->height() - 4};
    }
    // The captions of the run-time menu, "-" for separators.
    QStringList menuCaptions() const {
        QStringList out;
        for (QAction* a : g.RuntimePopupMenu()->actions())
            out << (a->isSeparator() ? QStringLiteral("-") : a->text());
        return out;
    }
    void choose(const QString& field, int row, const QString& caption) {
        lnqtest::chooseMenuItem(g, field, row, caption);
    }
    QStringList column(const QString& field) const { return lnqtest::shownColumn(g, field); }
};

// The IDs of the picked records, sorted, read without moving the cursor.
QStringList selectedIds(const Fixture& f) {
    QStringList out;
    for (int row = 0; row < f.ds.RecordCount(); ++row)
        if (f.g.SelectedRows().IsSelected(f.ds.BookmarkAt(row))) out << f.ds.ValueAt(row, 0).toString();
    out.sort();
    return out;
}

} // namespace

class tst_Ctrl_LNQDBGrid : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cellText_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("setup");
        QTest::addColumn<QStringList>("expected");
        // setup: 0 plain, 1 code->name list, 2 calendar, 3 decimal 8/2,
        // 4 currency, 5 decimal with ShowZero
        QTest::newRow("boolean 是/否/null") << "bFlag" << 0 << QStringList{"是", "否", "", "是"};
        QTest::newRow("password") << "vPassword" << 0
                                  << QStringList{"********", "********", "********", "********"};
        QTest::newRow("code to name") << "Code" << 1 << QStringList{"现金", "转账", "09", "现金"};
        QTest::newRow("eight-digit date") << "D8" << 2 << QStringList{"2024-01-05", "2024", "", ""};
        QTest::newRow("number format, zero blank")
            << "Amount" << 3 << QStringList{"10.00", "", "1,234.50", "5.25"};
        QTest::newRow("currency") << "Amount" << 4 << QStringList{"¥10.00", "", "¥1,234.50", "¥5.25"};
        QTest::newRow("ShowZero") << "Amount" << 5 << QStringList{"10.00", "0.00", "1,234.50", "5.25"};
    }
    void cellText() {
        QFETCH(QString, field);
        QFETCH(int, setup);
        QFETCH(QStringList, expected);
        Fixture f;
        TColumn* c = f.col(field);
        switch (setup) {
        case 1:
            c->SetPopComboBoxAllowed(true);
            c->SetPopListValues({"01", "02", "03"});
            c->SetPopListStrings({"现金", "转账"});
            break;
        case 2:
            c->SetPopDateAllowed(true);
            break;
        case 3:
        case 5:
            c->SetDataTypePro(dpDecimal);
            c->SetDataWidth(8);
            c->SetDataDec(2);
            c->SetShowZero(setup == 5);
            break;
        case 4:
            c->SetDataTypePro(dpCurrency);
            c->SetDataWidth(12);
            c->SetDataDec(2);
            break;
        default:
            break;
        }
        QCOMPARE(f.column(field), expected);
    }

    void titlesFromDictionaryCaptionsAndLevels() {
        Fixture f;
        f.col("vName")->Title().SetCaption(QStringLiteral("客户.名称"));
        f.col("Code")->Title().SetCaption(QStringLiteral("客户.代码"));
        const int c = f.g.GridColOf(f.col("vName"));
        QCOMPARE(f.g.GridCols()[c]->Caption(), QStringLiteral("客户;名称"));
        QCOMPARE(f.g.CellModel().headerData(c, Qt::Horizontal).toString(), QStringLiteral("客户.名称"));
        QString prefix, rest;
        TLNQCustomDBGrid::ExtractColumnCaption(QStringLiteral("a.b.c"), prefix, rest);
        QCOMPARE(prefix + "|" + rest, QStringLiteral("a.|b.c"));
        TLNQCustomDBGrid::ExtractColumnCaption(QStringLiteral("abc"), prefix, rest);
        QCOMPARE(prefix + "|" + rest, QStringLiteral("|abc"));
    }

    void menuTable_data() {
        QTest::addColumn<int>("options");
        QTest::addColumn<int>("printers");
        QTest::addColumn<QStringList>("expected");
        using O = TDBGridControlOption;
        const QStringList filter{
            "按照当前内容筛选", "内容排除筛选", "指定内容筛选", "高级筛选", "取消筛选", "取消全部筛选", "-"};
        QTest::newRow("filter") << int(quint16(O::coMenuFilter)) << 1 << filter;
        QTest::newRow("sort+copy") << int(quint16(O::coMenuSort) | quint16(O::coMenuCopy)) << 1
                                   << QStringList{"升序", "降序", "取消排序", "-", "复制", "-"};
        const int print = int(quint16(O::coMenuPrintSetup) | quint16(O::coMenuPrintPreview) |
                              quint16(O::coMenuPrintOut) | quint16(O::coMenuPrintDesign));
        QTest::newRow("print, printer")
            << print << 2 << QStringList{"打印设置", "打印预览", "打印", "报表设计", "-"};
        QTest::newRow("print, no printer") << print << 0 << QStringList{};
        QTest::newRow("design only: no separator")
            << int(quint16(O::coMenuPrintDesign)) << 1 << QStringList{"报表设计"};
        QTest::newRow("export, setup") << int(quint16(O::coMenuExportToExcel) | quint16(O::coMenuSetup)) << 0
                                       << QStringList{"导出到EXCEL", "-", "-", "设置"};
    }
    void menuTable() {
        QFETCH(int, options);
        QFETCH(int, printers);
        QFETCH(QStringList, expected);
        Fixture f;
        f.g.PrinterCount = [printers] { return printers; };
        f.g.SetControlOptions(TDBGridControlOptions::fromInt(options));
        QCOMPARE(f.menuCaptions(), expected);
        QCOMPARE(f.g.ValueFilterItem() != nullptr, expected.contains(QStringLiteral("指定内容筛选")));
    }

    // Asking for the printers can take long: a grid asks only when its menu
    // is first wanted after a change, not at every option or menu change.
    void menuAsksForPrintersOnFirstUse() {
        Fixture f;
        int asked = 0;
        f.g.PrinterCount = [&asked] { return ++asked, 1; };
        QMenu user;
        user.addAction(QStringLiteral("自定义"));
        f.g.SetControlOptions(f.g.ControlOptions());
        f.g.SetUserMenu(&user);
        QCOMPARE(asked, 0);
        QVERIFY(f.menuCaptions().contains(QStringLiteral("打印预览")));
        QVERIFY(f.menuCaptions().contains(QStringLiteral("自定义")));
        QCOMPARE(asked, 1);
        // A change drops the menu; the next use builds it with the new options.
        f.g.SetControlOptions(TDBGridControlOption::coMenuCopy);
        QCOMPARE(f.menuCaptions(), (QStringList{"自定义", "-", "复制", "-"}));
    }

    void quickFilters() {
        Fixture f;
        f.choose("vName", 1, QStringLiteral("按照当前内容筛选")); // 张三
        QCOMPARE(f.column("ID"), (QStringList{"1", "4"}));
        f.choose("vName", 1, QStringLiteral("取消筛选"));
        QCOMPARE(f.column("ID").size(), 4);
        // A second filter on the same column replaces the first.
        f.choose("vName", 2, QStringLiteral("内容排除筛选")); // not 李四
        f.choose("vName", 1, QStringLiteral("内容排除筛选")); // not 张三
        QCOMPARE(f.g.FilterList().Count(), 1);
        QCOMPARE(f.column("ID"), (QStringList{"2", "3"}));
        // Filters on two columns are both required.
        f.choose("vName", 1, QStringLiteral("取消全部筛选"));
        f.choose("vName", 1, QStringLiteral("按照当前内容筛选"));
        f.choose("Code", 2, QStringLiteral("按照当前内容筛选")); // 01 of record 4
        QCOMPARE(f.g.FilterList().Count(), 2);
        QCOMPARE(f.column("ID"), (QStringList{"1", "4"}));
        // A null cell filters nothing.
        f.choose("vName", 1, QStringLiteral("取消全部筛选"));
        f.choose("bFlag", 3, QStringLiteral("按照当前内容筛选"));
        QCOMPARE(f.g.FilterList().Count(), 0);
        QCOMPARE(f.column("ID").size(), 4);
        QVERIFY(f.errors.isEmpty());
    }

    void clearAllFiltersKeepsDataSetFiltered() {
        Fixture f;
        f.g.AddFilter(QStringLiteral("Amount"), QStringLiteral("大于"), QStringLiteral("6"));
        QCOMPARE(f.ds.RecordCount(), 2);
        f.g.ClearAllFilters();
        QCOMPARE(f.ds.RecordCount(), 2);
        f.g.AfterFilter();
        QCOMPARE(f.ds.RecordCount(), 4);
    }

    void valueSubMenu_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("text, trimmed, distinct") << "vName" << QStringList{"甲", "乙", "丙"};
        QTest::newRow("number: none") << "ID" << QStringList{};
    }
    void valueSubMenu() {
        QFETCH(QString, field);
        QFETCH(QStringList, expected);
        Fixture f({{1, QStringLiteral("甲"), 1.0, 1, {}, {}, {}},
                   {2, QStringLiteral(" 乙 "), 1.0, 1, {}, {}, {}},
                   {3, QStringLiteral("乙"), 1.0, 1, {}, {}, {}},
                   {4, QStringLiteral("丙"), 1.0, 1, {}, {}, {}}});
        f.g.FocusCell(f.g.GridColOf(f.col(field)), 1);
        Q_EMIT f.g.RuntimePopupMenu()->aboutToShow();
        QStringList got;
        for (QAction* a : f.g.ValueFilterItem()->actions())
            got << a->text();
        QCOMPARE(got, expected);
        QCOMPARE(f.ds.RecNo(), 1); // the cursor stayed
        if (!expected.isEmpty()) {
            f.g.ValueFilterItem()->actions().at(1)->trigger(); // 乙
            QCOMPARE(f.column("ID"), (QStringList{"3"}));      // exact match after trimming
        }
    }

    void valueSubMenuStopsAtThirty() {
        QList<Rec> recs;
        for (int i = 0; i < 50; ++i)
            recs.append({i, QStringLiteral("客户%1").arg(49 - i), 1.0, 1, {}, {}, {}});
        Fixture f(recs);
        f.g.FocusCell(f.g.GridColOf(f.col("vName")), 1);
        Q_EMIT f.g.RuntimePopupMenu()->aboutToShow();
        const QList<QAction*> items = f.g.ValueFilterItem()->actions();
        QCOMPARE(items.size(), 30);
        QCOMPARE(items.first()->text(), QStringLiteral("客户49"));
        QCOMPARE(items.last()->text(), QStringLiteral("客户20"));
    }

    // Titles clicked with the mouse sort a client dataset; the menu's items
    // give the opposite direction of their captions on it.
    void titleSortClientDataSet() {
        Fixture f;
        QSignalSpy order(&f.ds, &TDataSet::orderChanged);
        TColumn* amount = f.col("Amount");
        amount->Title().SetCaption(QStringLiteral("金额.本币"));
        QWidget* header = f.g.horizontalHeader()->viewport();
        QTest::mouseClick(header, Qt::LeftButton, Qt::NoModifier, f.titlePoint(amount));
        QCOMPARE(f.ds.IndexName(), QStringLiteral("IXDAmount"));
        QCOMPARE(amount->Title().Caption(), QStringLiteral("金额.↓本币"));
        QCOMPARE(f.column("ID"), (QStringList{"3", "1", "4", "2"}));
        QCOMPARE(order.count(), 1);
        QTest::mouseClick(header, Qt::LeftButton, Qt::NoModifier, f.titlePoint(amount));
        QCOMPARE(f.ds.IndexName(), QStringLiteral("IXAAmount"));
        QCOMPARE(amount->Title().Caption(), QStringLiteral("金额.↑本币"));
        QCOMPARE(f.column("ID"), (QStringList{"2", "4", "1", "3"}));
        // Sorting another column takes the mark away.
        f.g.TitleClick(f.col("ID"));
        QCOMPARE(amount->Title().Caption(), QStringLiteral("金额.本币"));
        QCOMPARE(f.col("ID")->Title().Caption(), QStringLiteral("↓ID"));
        QCOMPARE(order.count(), 3);
        f.choose("ID", 1, QStringLiteral("取消排序"));
        QCOMPARE(f.ds.IndexName(), QString());
        QCOMPARE(f.col("ID")->Title().Caption(), QStringLiteral("ID"));
        QCOMPARE(f.column("ID"), (QStringList{"1", "2", "3", "4"}));
        f.choose("Amount", 1, QStringLiteral("升序"));
        QCOMPARE(f.ds.IndexName(), QStringLiteral("IXDAmount"));
        QCOMPARE(amount->Title().Caption(), QStringLiteral("金额.↓本币"));
        f.choose("Amount", 1, QStringLiteral("降序"));
        QCOMPARE(f.ds.IndexName(), QStringLiteral("IXAAmount"));
        QCOMPARE(amount->Title().Caption(), QStringLiteral("金额.↑本币"));
        // Without coTitleSort a click only reports.
        f.g.SetControlOptions(f.g.ControlOptions() &
                              ~TDBGridControlOptions(TDBGridControlOption::coTitleSort));
        QSignalSpy clicked(&f.g, &TLNQCustomDBGrid::OnTitleClickDB);
        QTest::mouseClick(header, Qt::LeftButton, Qt::NoModifier, f.titlePoint(f.col("ID")));
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(f.ds.IndexName(), QStringLiteral("IXAAmount"));
    }

    void sortAdoDataSetToggles() {
        TADODataSet ds;
        load(ds, sample());
        TLNQDBGrid g;
        g.SetDataSet(&ds);
        TColumn* name = g.Columns().ColumnOfField(QStringLiteral("vName"));
        name->Title().SetCaption(QStringLiteral("客户.名称"));
        g.TitleClick(name);
        QCOMPARE(ds.Sort(), QStringLiteral("vName ASC"));
        QCOMPARE(name->Title().Caption(), QStringLiteral("客户.↓名称"));
        g.TitleClick(name);
        QCOMPARE(ds.Sort(), QStringLiteral("vName DESC"));
        QCOMPARE(name->Title().Caption(), QStringLiteral("客户.↑名称"));
        // Both menu items toggle on an ADO dataset.
        g.FocusCell(g.GridColOf(name), 1);
        g.ASC_Sort();
        QCOMPARE(ds.Sort(), QStringLiteral("vName ASC"));
        g.DESC_Sort();
        QCOMPARE(ds.Sort(), QStringLiteral("vName DESC"));
        g.Cancel_Sort();
        QCOMPARE(ds.Sort(), QString());
        g.ClearAllIndexes(); // an ADO dataset is left alone
        QCOMPARE(name->Title().Caption(), QStringLiteral("客户.名称"));
        // Totals and fitted widths are not computed over it.
        TColumn* amount = g.Columns().ColumnOfField(QStringLiteral("Amount"));
        amount->SetCalcMode(ccSum);
        g.AutoCalculate(-1);
        QCOMPARE(amount->TailCaption(), QString());
        QCOMPARE(g.AutoGridColWidth(-1), 0);
    }

    void titleSortOnEmptyDataSetLeavesLayoutOpen() {
        Fixture f(QList<Rec>{});
        TColumn* c = f.col("vName");
        f.g.TitleClick(c);
        QVERIFY(f.g.LayoutLocked());
        QCOMPARE(f.ds.IndexName(), QString());
        c->Title().SetCaption(QStringLiteral("名称"));
        const int gc = f.g.GridColOf(c);
        QCOMPARE(f.g.GridCols()[gc]->Caption(), QStringLiteral("vName")); // not laid out
        f.g.EndLayout();
        QCOMPARE(f.g.GridCols()[gc]->Caption(), QStringLiteral("名称"));
    }

    void autoCalculate_data() {
        QTest::addColumn<QString>("tail");
        QTest::addColumn<QString>("oldValue");
        QTest::addColumn<QString>("newValue");
        QTest::addColumn<QString>("expected");
        QTest::newRow("incremental") << "1,234.50"
                                     << "10"
                                     << "12.5"
                                     << "1,237.00";
        QTest::newRow("minus sign is cleaned away") << "1,234.50"
                                                    << "-5"
                                                    << "5"
                                                    << "1,234.50";
        QTest::newRow("full path when nothing given") << "1,234.50"
                                                      << ""
                                                      << ""
                                                      << "1,249.75";
    }
    void autoCalculate() {
        QFETCH(QString, tail);
        QFETCH(QString, oldValue);
        QFETCH(QString, newValue);
        QFETCH(QString, expected);
        Fixture f;
        TColumn* amount = f.col("Amount");
        amount->SetCalcMode(ccSum);
        amount->SetDataWidth(12);
        amount->SetDataDec(2);
        amount->SetTailCaption(tail);
        f.g.AutoCalculate(amount->Index(), oldValue, newValue);
        QCOMPARE(amount->TailCaption(), expected);
    }

    void autoCalculateCoversVisibleRecords() {
        Fixture f;
        f.col("Amount")->SetCalcMode(ccSum);
        f.col("Amount")->SetDataDec(2);
        f.col("vName")->SetCalcMode(ccCount);
        f.g.AddFilter(QStringLiteral("vName"), QStringLiteral("等于"), QStringLiteral("张三"));
        f.g.AutoCalculate(-1);
        QCOMPARE(f.col("Amount")->TailCaption(), QStringLiteral("15.25"));
        QCOMPARE(f.col("vName")->TailCaption(), QStringLiteral("2"));
        const int gc = f.g.GridColOf(f.col("vName"));
        QCOMPARE(f.g.GridCols()[gc]->TailCaption(), QStringLiteral("2")); // the footer shows it
        // Without the indicator the first column sits at grid position 0 and
        // gets no total.
        f.g.SetDBOptions(f.g.DBOptions() & ~TLNQDBGridOptions(TDBGridOption::dgIndicator));
        f.col("ID")->SetCalcMode(ccCount);
        f.g.AutoCalculate(0);
        QCOMPARE(f.col("ID")->TailCaption(), QString());
    }

    // A double click on a title fits its column to the widest text, title
    // included; with Ctrl every column.
    void titleDoubleClickFitsWidths() {
        Fixture f;
        TColumn* name = f.col("vName");
        name->SetWidth(300);
        f.col("Code")->SetWidth(300);
        const int w = f.g.AutoGridColWidth(name->Index());
        QCOMPARE(w, std::max(QFontMetrics(name->Title().Font()).horizontalAdvance(QStringLiteral("vName")),
                             QFontMetrics(name->Font()).horizontalAdvance(QStringLiteral("张三"))) +
                        5);
        auto dclick = [&](TColumn* c, Qt::KeyboardModifiers mods) {
            QTest::mouseDClick(f.g.horizontalHeader()->viewport(), Qt::LeftButton, mods, f.titlePoint(c));
        };
        dclick(name, Qt::NoModifier);
        QCOMPARE(name->Width(), w);
        QCOMPARE(f.col("Code")->Width(), 300);
        dclick(name, Qt::ControlModifier);
        QCOMPARE(f.col("Code")->Width(), f.g.AutoGridColWidth(f.col("Code")->Index()));
    }

    void typingEditsTheRecord() {
        Fixture f;
        f.activate();
        f.g.FocusCell(f.g.GridColOf(f.col("vName")), 2);
        lnqtest::typeKeys(&f.g, QStringLiteral("abc"));
        lnqtest::pressKey(&f.g, Qt::Key_Return);
        lnqtest::pressKey(&f.g, Qt::Key_Down); // leaving the row posts
        QCOMPARE(f.ds.State(), TDataSetState::dsBrowse);
        QCOMPARE(f.column("vName").at(1), QStringLiteral("abc"));
        // Escape cancels a pending edit.
        f.g.FocusCell(f.g.GridColOf(f.col("vName")), 1);
        lnqtest::typeKeys(&f.g, QStringLiteral("zz"));
        lnqtest::pressKey(&f.g, Qt::Key_Return);
        QCOMPARE(f.ds.State(), TDataSetState::dsEdit);
        lnqtest::pressKey(&f.g, Qt::Key_Escape);
        QCOMPARE(f.ds.State(), TDataSetState::dsBrowse);
        QCOMPARE(f.column("vName").at(0), QStringLiteral("张三"));
    }

    void insertAndConfirmedDelete() {
        Fixture f;
        f.g.setFocus();
        f.g.FocusCell(f.g.GridColOf(f.col("vName")), 2);
        QTest::keyClick(&f.g, Qt::Key_Insert);
        QCOMPARE(f.ds.State(), TDataSetState::dsInsert);
        QCOMPARE(f.g.RowCount(), 6);
        QCOMPARE(f.g.Row(), 2); // the new row is where the cursor was
        QTest::keyClick(&f.g, Qt::Key_Escape);
        QCOMPARE(f.g.RowCount(), 5);
        int asked = 0;
        bool answer = false;
        f.g.OnConfirmDelete = [&](TLNQCustomDBGrid*) {
            ++asked;
            return answer;
        };
        QTest::keyClick(&f.g, Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(f.ds.RecordCount(), 4);
        answer = true;
        QTest::keyClick(&f.g, Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(asked, 2);
        QCOMPARE(f.column("ID"), (QStringList{"1", "3", "4"}));
    }

    void downOnLastRowAppends() {
        Fixture f;
        f.activate();
        f.g.FocusCell(f.g.GridColOf(f.col("vName")), 4);
        lnqtest::pressKey(&f.g, Qt::Key_Down);
        QCOMPARE(f.ds.State(), TDataSetState::dsInsert);
        QCOMPARE(f.g.Row(), 5);
        lnqtest::pressKey(&f.g, Qt::Key_Up); // nothing typed: the new record goes
        QCOMPARE(f.ds.State(), TDataSetState::dsBrowse);
        QCOMPARE(f.g.RowCount(), 5);
        QCOMPARE(f.g.Row(), 4);
        lnqtest::pressKey(&f.g, Qt::Key_Down);
        lnqtest::typeKeys(&f.g, QStringLiteral("new"));
        lnqtest::pressKey(&f.g, Qt::Key_Return);
        lnqtest::pressKey(&f.g, Qt::Key_Up);
        QCOMPARE(f.ds.RecordCount(), 5);
        QCOMPARE(f.column("vName").last(), QStringLiteral("new"));
    }

    void bandingAndPhase() {
        Fixture f;
        f.g.SetDefColorPerRows(2);
        f.g.SetBandFollow(true);
        QVERIFY(!f.g.GetRowColor(1).isValid());
        QCOMPARE(f.g.GetRowColor(2), f.g.DefColor());
        QWheelEvent wheel(QPointF(10, 10), f.g.mapToGlobal(QPointF(10, 10)), QPoint(), QPoint(0, -120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(f.g.viewport(), &wheel);
        QCOMPARE(f.g.RowPhase(), 1);
        QCOMPARE(f.g.GetRowColor(1), f.g.DefColor());
    }

    void multiSelectBookmarks() {
        Fixture f;
        f.g.SetDBOptions(f.g.DBOptions() | TDBGridOption::dgMultiSelect);
        f.g.setFocus();
        f.g.FocusCell(1, 1);
        QTest::keyClick(&f.g, Qt::Key_Space, Qt::ControlModifier);
        f.g.FocusCell(1, 3);
        QTest::keyClick(&f.g, Qt::Key_Space, Qt::ControlModifier);
        QCOMPARE(f.g.SelectedRows().Count(), 2);
        QVERIFY(f.g.SelectedRows().CurrentRowSelected());
        f.g.OnConfirmDelete = [](TLNQCustomDBGrid*) { return true; };
        f.g.DeleteRecord();
        QCOMPARE(f.column("ID"), (QStringList{"2", "4"}));
        QCOMPARE(f.g.SelectedRows().Count(), 0);
    }

    // Mouse and keys under dgMultiSelect, as in lists: "c" click, "C" Ctrl+click,
    // "S" Shift+click, "X" Ctrl+Shift+click on the record's row; "sd" / "su"
    // Shift+Down / Up, "d" Down.
    void multiSelectRanges_data() {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("ids");
        QTest::newRow("shift-click range") << QStringList{"c1", "S3"} << QStringList{"1", "2", "3"};
        QTest::newRow("range upwards") << QStringList{"c4", "S2"} << QStringList{"2", "3", "4"};
        QTest::newRow("ctrl-click removes") << QStringList{"c1", "S3", "C2"} << QStringList{"1", "3"};
        QTest::newRow("ctrl-shift adds a range")
            << QStringList{"C1", "C3", "X4"} << QStringList{"1", "3", "4"};
        QTest::newRow("shift range replaces") << QStringList{"C1", "C4", "S3"} << QStringList{"3", "4"};
        QTest::newRow("plain click clears") << QStringList{"c1", "S3", "c2"} << QStringList{};
        QTest::newRow("shift+up shrinks") << QStringList{"c1", "sd", "sd", "su"} << QStringList{"1", "2"};
        QTest::newRow("down clears") << QStringList{"c1", "sd", "d"} << QStringList{};
        QTest::newRow("anchor after keys") << QStringList{"c2", "d", "S1"} << QStringList{"1", "2", "3"};
    }
    void multiSelectRanges() {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, ids);
        Fixture f;
        f.g.SetDBOptions(f.g.DBOptions() | TDBGridOption::dgMultiSelect);
        f.g.setFocus();
        const int col = f.g.GridColOf(f.col("vName"));
        for (const QString& step : steps) {
            if (step == u"sd" || step == u"su" || step == u"d") {
                lnqtest::pressKey(&f.g, step.endsWith(u'u') ? Qt::Key_Up : Qt::Key_Down,
                                  step.startsWith(u's') ? Qt::ShiftModifier : Qt::NoModifier);
                continue;
            }
            const Qt::KeyboardModifiers mods = step[0] == u'C'   ? Qt::ControlModifier
                                               : step[0] == u'S' ? Qt::ShiftModifier
                                               : step[0] == u'X' ? Qt::ControlModifier | Qt::ShiftModifier
                                                                 : Qt::KeyboardModifiers();
            QTest::mouseClick(f.g.viewport(), Qt::LeftButton, mods,
                              f.g.CellRect(col, step.mid(1).toInt()).center());
        }
        QCOMPARE(selectedIds(f), ids);
        QCOMPARE(f.g.SelectedRows().Count(), ids.size());
        QVERIFY(f.errors.isEmpty());
    }

    // The picked records stay picked when the rows are re-sorted, and leave
    // the selection when a filter hides them.
    void multiSelectFollowsRecords() {
        Fixture f;
        f.g.SetDBOptions(f.g.DBOptions() | TDBGridOption::dgMultiSelect);
        const int col = f.g.GridColOf(f.col("vName"));
        QTest::mouseClick(f.g.viewport(), Qt::LeftButton, {}, f.g.CellRect(col, 2).center());
        QTest::mouseClick(f.g.viewport(), Qt::LeftButton, Qt::ShiftModifier, f.g.CellRect(col, 4).center());
        f.g.TitleSort(f.col("Amount"));
        QCOMPARE(f.column("ID"), (QStringList{"3", "1", "4", "2"}));
        QCOMPARE(selectedIds(f), (QStringList{"2", "3", "4"}));
        f.g.AddFilter(QStringLiteral("vName"), QStringLiteral("等于"), QStringLiteral("张三"));
        QCOMPARE(selectedIds(f), QStringList{"4"});
        QCOMPARE(f.g.SelectedRows().Count(), 1);
    }

    void columnsSaveAndLoad() {
        Fixture f;
        f.col("vName")->Title().SetCaption(QStringLiteral("客户.名称"));
        f.col("Amount")->SetCalcMode(ccSum);
        f.col("Amount")->SetWidth(120);
        QBuffer buf;
        buf.open(QIODevice::ReadWrite);
        f.g.Columns().SaveToStream(buf);
        buf.seek(0);
        TLNQDBGrid other;
        other.SetDataSet(&f.ds);
        other.Columns().LoadFromStream(buf);
        QCOMPARE(other.Columns().State(), csCustomized);
        QCOMPARE(other.Columns().Count(), 7);
        QCOMPARE(other.Columns().ColumnOfField("vName")->Title().Caption(), QStringLiteral("客户.名称"));
        QCOMPARE(other.Columns().ColumnOfField("Amount")->Width(), 120);
        QCOMPARE(other.Columns().ColumnOfField("Amount")->CalcMode(), ccSum);
        QVERIFY(!other.Columns().ColumnOfField("ID")->IsWidthStored());
        // Defaults come back.
        other.Columns().RestoreDefaults();
        QVERIFY(!other.Columns().ColumnOfField("vName")->Title().IsCaptionStored());
        other.Columns().SetState(csDefault);
        QCOMPARE(other.Columns().Count(), 7);
    }

    void columnsLoadRejectsBadStreams_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not json") << QByteArray("\x01\x02garbage");
        QTest::newRow("truncated") << QByteArray("{\"Columns\": [{\"FieldName\": \"a\"");
        QTest::newRow("wrong shape") << QByteArray("{\"Columns\": [1, 2]}");
        QTest::newRow("no columns") << QByteArray("[]");
    }
    void columnsLoadRejectsBadStreams() {
        QFETCH(QByteArray, bytes);
        Fixture f;
        QBuffer buf(&bytes);
        buf.open(QIODevice::ReadOnly);
        QVERIFY_THROWS_EXCEPTION(EReadError, f.g.Columns().LoadFromStream(buf));
        QCOMPARE(f.g.Columns().Count(), 7);
        QCOMPARE(f.g.Columns().State(), csDefault);
    }

    void followsDataSetWithoutReload() {
        Fixture f;
        f.ds.Last();
        QCOMPARE(f.g.Row(), 4);
        f.ds.Edit();
        f.ds.FieldByName(QStringLiteral("vName")).SetAsString(QStringLiteral("赵六"));
        f.ds.Post();
        QCOMPARE(f.column("vName").at(3), QStringLiteral("赵六"));
        f.ds.First();
        f.ds.Delete();
        QCOMPARE(f.g.RowCount(), 4);
        QCOMPARE(f.g.Row(), 1);
    }

    void advancedFilterEditsTheList() {
        Fixture f;
        f.g.AddFilter(QStringLiteral("vName"), QStringLiteral("等于"), QStringLiteral("张三"));
        f.g.OnExecFilterSetup = [](TCtrl_FilterSetupFM& fm) {
            TLNQStringGrid& sg = fm.LNQStringGrid();
            for (int r = 1; r < sg.RowCount(); ++r) {
                QString name;
                sg.GetCellValS(r, QStringLiteral("FieldName"), name);
                if (name == QLatin1String("vName"))
                    sg.SetCellValS(r, QStringLiteral("FilterType"), FilterOpAll());
                if (name == QLatin1String("Amount")) {
                    sg.SetCellValS(r, QStringLiteral("FilterType"), QStringLiteral("大于"));
                    sg.SetCellValS(r, QStringLiteral("EqualValue"), QStringLiteral("6"));
                }
            }
            fm.Apply();
            return fm.result();
        };
        f.choose("vName", 1, QStringLiteral("高级筛选"));
        QCOMPARE(f.g.FilterList().Count(), 1);
        QCOMPARE(f.column("ID"), (QStringList{"1", "3"}));
    }

    // An input method in full-width mode commits straight to the grid (no
    // editor open, no composition first): the cell's editor opens with the
    // text, filtered by the column's kind, and Enter stores it; a drop-down
    // column takes the name from its list as a choice.
    void inputMethodIntoEveryKindOfCell_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("commit");
        QTest::addColumn<bool>("editor");
        QTest::addColumn<QString>("stored");
        QTest::newRow("text") << "vName"
                              << "李雷" << true << "李雷";
        QTest::newRow("number, full-width") << "Amount"
                                            << "１２．５元" << true << "12.5";
        QTest::newRow("drop-down name") << "Code"
                                        << "转账" << false << "02";
        QTest::newRow("drop-down start of a name") << "Code"
                                                   << "现" << false << "01";
    }
    void inputMethodIntoEveryKindOfCell() {
        QFETCH(QString, field);
        QFETCH(QString, commit);
        QFETCH(bool, editor);
        QFETCH(QString, stored);
        Fixture f;
        TColumn* amount = f.col("Amount");
        amount->SetDataTypePro(dpDecimal);
        amount->SetDataWidth(10);
        amount->SetDataDec(2);
        TColumn* code = f.col("Code");
        code->SetPopComboBoxAllowed(true);
        code->SetPopListValues({"01", "02"});
        code->SetPopListStrings({"现金", "转账"});
        f.activate();
        f.g.FocusCell(f.g.GridColOf(f.col(field)), 2);
        QInputMethodEvent event;
        event.setCommitString(commit);
        QWidget* w = QApplication::focusWidget();
        QApplication::sendEvent(w ? w : &f.g, &event);
        QCOMPARE(f.g.EditorMode(), editor);
        QCOMPARE(f.g.Row(), 2); // the text searched no rows
        lnqtest::pressKey(&f.g, Qt::Key_Return);
        lnqtest::pressKey(&f.g, Qt::Key_Up);
        QCOMPARE(f.ds.State(), TDataSetState::dsBrowse);
        QVERIFY(f.ds.Locate(QStringLiteral("ID"), 2));
        QCOMPARE(f.ds.FieldByName(field).AsString(), stored);
    }

    void hooksAndEvents() {
        TClientDataSet ds;
        load(ds, sample());
        TLNQDBGrid g;
        g.SetDataSet(&ds);
        // The data link maps grid columns to fields.
        QCOMPARE(g.DataLink().GetMappedIndex(g.Columns().ColumnOfField(QStringLiteral("Code"))->Index()), 5);
        QCOMPARE(g.DataLink().GetMappedIndex(99), -1);
        // OnSelectCell can refuse a move.
        int asked = 0;
        g.OnSelectCellDB = [&](TLNQCustomDBGrid*, const QString&, const QString& text, int, int, int,
                               int ARow, bool& can) {
            ++asked;
            can = ARow != 3 && text != QStringLiteral("王五");
        };
        g.FocusCell(2, 1);
        g.FocusCell(2, 3);
        QVERIFY(asked >= 1);
        QCOMPARE(g.Row(), 1);
        QCOMPARE(ds.RecNo(), 1);
        // Accessible header texts carry no sort mark.
        const int gc = g.GridColOf(g.Columns().ColumnOfField(QStringLiteral("ID")));
        QCOMPARE(g.CellModel().headerData(gc, Qt::Horizontal, Qt::AccessibleTextRole).toString(),
                 QStringLiteral("ID"));
        QCOMPARE(g.accessibleName(), QStringLiteral("数据表格"));
    }

    void loadButtonReportsColumn() {
        Fixture f;
        TColumn* code = f.col("Code");
        code->SetLoadButton(true);
        TColumn* got = nullptr;
        f.g.OnDBLoadButtonClick = [&](TLNQCustomDBGrid*, TColumn* c) { got = c; };
        f.activate();
        f.g.FocusCell(f.g.GridColOf(code), 2);
        QCOMPARE(f.g.GetEditStyle(f.g.GridColOf(code), 2), esEllipsis);
        lnqtest::pressKey(&f.g, Qt::Key_F2);
        QVERIFY(f.g.EditorMode());
        auto* button = f.g.InplaceEditor()->findChild<QToolButton*>();
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(got, code);
    }

    void drawColumnCellReachesHost() {
        Fixture f;
        f.g.SetDefaultDrawing(false);
        QSet<int> cols;
        QSet<QString> fields;
        connect(&f.g, &TLNQCustomDBGrid::OnDrawColumnCell, this,
                [&](TLNQCustomDBGrid*, QPainter*, const QRect&, int dataCol, TColumn* c, TGridDrawState) {
                    cols.insert(dataCol);
                    fields.insert(c->FieldName());
                });
        (void)f.g.grab();
        QVERIFY(cols.contains(0) && !cols.contains(-1));
        QVERIFY(fields.contains(QStringLiteral("ID")) && fields.contains(QStringLiteral("vName")));
    }

    void cancelOnExitDropsEmptyInsert() {
        Fixture f;
        QLineEdit other;
        other.show();
        f.g.activateWindow();
        f.g.setFocus();
        f.g.InsertRecord();
        QCOMPARE(f.ds.State(), TDataSetState::dsInsert);
        QFocusEvent out(QEvent::FocusOut, Qt::TabFocusReason);
        QApplication::sendEvent(&f.g, &out);
        QCOMPARE(f.ds.State(), TDataSetState::dsBrowse);
        QCOMPARE(f.g.RowCount(), 5);
    }

    void hiDpiImages() {
        const QPixmap pm = DBGridBitmap(QStringLiteral("TRWDBPICTRUE"), 1.5);
        QCOMPARE(pm.deviceIndependentSize(), QSizeF(12, 12));
        QCOMPARE(pm.size(), QSize(18, 18));
        QCOMPARE(DBGridBitmap(QStringLiteral("RWDBGARROW"), 1.25).deviceIndependentSize(), QSizeF(12, 12));
        QVERIFY(DBGridBitmap(QStringLiteral("NOSUCH"), 1).isNull());
        // The grid paints into a fractional-ratio surface without losing its texts.
        Fixture f;
        QImage img(f.g.size() * 1.5, QImage::Format_ARGB32);
        img.setDevicePixelRatio(1.5);
        img.fill(Qt::white);
        f.g.render(&img);
        QCOMPARE(f.column("vName").first(), QStringLiteral("张三"));
    }

    void modelsPassTester() {
        Fixture f;
        TDataSetModel model(&f.ds);
        QAbstractItemModelTester t1(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester t2(&f.g.CellModel(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(model.rowCount(), 4);
        QCOMPARE(model.data(model.index(0, 3)).toString(), QStringLiteral("是"));
        QVERIFY(model.setData(model.index(1, 1), QStringLiteral("新名")));
        QCOMPARE(f.column("vName").at(1), QStringLiteral("新名"));
        QVERIFY(!model.setData(model.index(1, 0), QStringLiteral("not a number")));
        f.g.AddFilter(QStringLiteral("vName"), QStringLiteral("等于"), QStringLiteral("张三"));
        QCOMPARE(model.rowCount(), 2);
        f.ds.Append();
        f.ds.FieldByName(QStringLiteral("ID")).SetAsInteger(9);
        f.ds.FieldByName(QStringLiteral("vName")).SetAsString(QStringLiteral("张三"));
        f.ds.Post();
        QCOMPARE(model.rowCount(), 3);
        f.ds.Delete();
        QCOMPARE(model.rowCount(), 2);
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_Ctrl_LNQDBGrid)
#include "tst_Ctrl_LNQDBGrid.moc"
