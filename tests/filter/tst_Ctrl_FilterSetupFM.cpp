#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSetModel.h"
#include "filter/Ctrl_FilterSetupFM.h"
#include "grid/core/Ctrl_LNQStringGrid.h"

#include <QComboBox>
#include <QPushButton>
#include <QTableView>

using namespace lnq;
using lnqtest::fieldDef;

namespace {

void loadSample(TClientDataSet& ds) {
    TRecordSetBuilder& b =
        ds.BeginLoad({fieldDef("vName", TFieldType::ftString, 20), fieldDef("Qty", TFieldType::ftInteger),
                      fieldDef("dDate", TFieldType::ftDateTime), fieldDef("bOk", TFieldType::ftBoolean),
                      fieldDef("Price", TFieldType::ftFMTBcd)});
    b.SetText(0, QStringLiteral("甲"));
    b.SetInteger(1, 3);
    b.EndRow();
    ds.EndLoad();
}

// A grid as the form sees it.
struct FakeGrid : TFilterSetupSource {
    struct Col {
        QString field, title;
        int width;
    };
    QList<Col> cols;
    TDataSet* ds = nullptr;
    int SetupColumnCount() const override { return int(cols.size()); }
    QString SetupFieldName(int i) const override { return cols[i].field; }
    QString SetupTitle(int i) const override { return cols[i].title; }
    int SetupWidth(int i) const override { return cols[i].width; }
    TDataSet* SetupDataSet() const override { return ds; }
};

QString cell(const TCtrl_FilterSetupFM& fm, int row, const char* col) {
    QString v;
    fm.LNQStringGrid().GetCellValS(row, QString::fromUtf8(col), v);
    return v;
}

} // namespace

class tst_Ctrl_FilterSetupFM : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void rowsFromGridColumns() {
        TClientDataSet ds;
        loadSample(ds);
        FakeGrid g;
        g.ds = &ds;
        g.cols = {{"vName", "客户.名称↑", 80}, {"Qty", "数量", 0},  {"Missing", "无", 60},
                  {"dDate", "日期", 60},       {"bOk", "确认", 40}, {"Price", "单价", 50}};
        TFilterList list;
        list.Add(QStringLiteral("VNAME"), TFilterType::ftFilterText, QStringLiteral("包含"),
                 QStringLiteral("甲"));
        TCtrl_FilterSetupFM fm;
        QCOMPARE(fm.windowTitle(), QStringLiteral("过滤设置"));
        fm.InitUI(g, list);
        QCOMPARE(fm.LNQStringGrid().RowCount(), 5); // zero width and unknown field left out
        QCOMPARE(cell(fm, 1, "FieldTitle"), QStringLiteral("客户.名称"));
        QCOMPARE(cell(fm, 1, "FilterType"), QStringLiteral("包含"));
        QCOMPARE(cell(fm, 1, "EqualValue"), QStringLiteral("甲"));
        QCOMPARE(cell(fm, 2, "FieldType"), QStringLiteral("日期"));
        QCOMPARE(cell(fm, 2, "FilterType"), QStringLiteral("(全部)"));
        QCOMPARE(cell(fm, 3, "FieldType"), QStringLiteral("是否"));
        QCOMPARE(cell(fm, 4, "FieldType"), QStringLiteral("数值")); // FMT-BCD counts as a number here
        QCOMPARE(cell(fm, 4, "SerialNo"), QStringLiteral("4"));
    }

    void operatorListFollowsRowType_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("last");
        QTest::newRow("text") << "文本" << 5 << "不等于";
        QTest::newRow("number") << "数值" << 7 << "不等于";
        QTest::newRow("date") << "日期" << 21 << "明年";
        QTest::newRow("boolean") << "是否" << 3 << "否";
    }
    void operatorListFollowsRowType() {
        QFETCH(QString, type);
        QFETCH(int, count);
        QFETCH(QString, last);
        const QStringList ops = TCtrl_FilterSetupFM::OperatorsFor(type);
        QCOMPARE(ops.size(), count);
        QCOMPARE(ops.first(), QStringLiteral("(全部)"));
        QCOMPARE(ops.last(), last);
    }

    void dropDownShowsRowOperators() {
        TClientDataSet ds;
        loadSample(ds);
        FakeGrid g;
        g.ds = &ds;
        g.cols = {{"vName", "名称", 80}, {"bOk", "确认", 40}};
        TFilterList list;
        TCtrl_FilterSetupFM fm;
        fm.InitUI(g, list);
        fm.show();
        (void)QTest::qWaitForWindowExposed(&fm);
        TLNQStringGrid& sg = fm.LNQStringGrid();
        sg.setFocus();
        sg.FocusCell(sg.ColByName(QStringLiteral("FilterType")), 2);
        sg.PopEnter();
        auto* combo = qobject_cast<QComboBox*>(sg.PopupList());
        QVERIFY(combo);
        QStringList shown;
        for (int i = 0; i < combo->count(); ++i)
            shown << combo->itemText(i);
        QCOMPARE(shown, (QStringList{"(全部)", "是", "否"}));
        combo->setCurrentIndex(1);
        sg.PopExit();
        QCOMPARE(cell(fm, 2, "FilterType"), QStringLiteral("是"));
        QTest::mouseClick(fm.OkButton(), Qt::LeftButton);
        QCOMPARE(fm.result(), int(QDialog::Accepted));
        QCOMPARE(list.Count(), 1);
        QCOMPARE(list.Item(0).FieldName(), QStringLiteral("bOk"));
        QCOMPARE(list.Item(0).FilterType(), TFilterType::ftFilterBoolean);
        QCOMPARE(list.Item(0).FilterOP(), QStringLiteral("是"));
    }

    void applyAllRowsOnAllEmptiesList() {
        TClientDataSet ds;
        loadSample(ds);
        FakeGrid g;
        g.ds = &ds;
        g.cols = {{"vName", "名称", 80}, {"Qty", "数量", 40}};
        TFilterList list;
        list.Add(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("大于"),
                 QStringLiteral("1"));
        TCtrl_FilterSetupFM fm;
        fm.InitUI(g, list);
        QCOMPARE(cell(fm, 2, "FilterType"), QStringLiteral("大于"));
        fm.LNQStringGrid().SetCellValS(2, QStringLiteral("FilterType"), QStringLiteral("(全部)"));
        fm.Apply();
        QVERIFY(list.IsEmpty());
        // Cancel leaves the list alone.
        list.Add(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("大于"),
                 QStringLiteral("1"));
        TCtrl_FilterSetupFM fm2;
        fm2.InitUI(g, list);
        fm2.LNQStringGrid().SetCellValS(2, QStringLiteral("FilterType"), QStringLiteral("(全部)"));
        QTest::mouseClick(fm2.CancelButton(), Qt::LeftButton);
        QCOMPARE(list.Count(), 1);
    }

    void tableViewOverload() {
        TClientDataSet ds;
        loadSample(ds);
        TDataSetModel model(&ds);
        QTableView view;
        view.setModel(&model);
        view.setColumnHidden(1, true);
        TFilterList list;
        TCtrl_FilterSetupFM fm;
        fm.InitUI(view, list);
        QCOMPARE(fm.LNQStringGrid().RowCount(), 5);
        QCOMPARE(cell(fm, 1, "FieldName"), QStringLiteral("vName"));
        QCOMPARE(cell(fm, 2, "FieldName"), QStringLiteral("dDate"));
    }

    void deleteRowRemovesDataRow() {
        TClientDataSet ds;
        loadSample(ds);
        FakeGrid g;
        g.ds = &ds;
        g.cols = {{"vName", "名称", 80}, {"Qty", "数量", 40}};
        TFilterList list;
        TCtrl_FilterSetupFM fm;
        fm.InitUI(g, list);
        fm.LNQStringGrid().FocusCell(1, 1);
        fm.DeleteCurrentRow();
        QCOMPARE(fm.LNQStringGrid().RowCount(), 2);
        QCOMPARE(cell(fm, 1, "FieldName"), QStringLiteral("Qty"));
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_Ctrl_FilterSetupFM)
#include "tst_Ctrl_FilterSetupFM.moc"
