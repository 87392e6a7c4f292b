// Export of a grid's rows: the HTML text byte for byte, the blocks of 200,
// the spreadsheet file read back (merged ranges, number formats, values),
// the private copy in the current order, and the dataset data provider.

#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "common/ZipRead.h"
#include "grid/data/Print_ui.h"
#include "grid/data/TableExport.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace lnq;
using lnqtest::fieldDef;

namespace {

// vName text, mAmount currency, bOk boolean, dDay date, nQty integer.
void fill(TClientDataSet& ds, int rows) {
    TRecordSetBuilder& b =
        ds.BeginLoad({fieldDef("vName", TFieldType::ftString, 20),
                      fieldDef("mAmount", TFieldType::ftCurrency), fieldDef("bOk", TFieldType::ftBoolean),
                      fieldDef("dDay", TFieldType::ftDate), fieldDef("nQty", TFieldType::ftInteger)});
    for (int r = 0; r < rows; ++r) {
        b.SetText(0, r == 0 ? QStringLiteral("北京<总部>") : QStringLiteral("客户%1").arg(r));
        b.SetFloat(1, 1234567.5 + r);
        b.SetInteger(2, r % 2 == 0);
        b.SetDateTime(3, 45000 + r); // 2023-03-15 + r
        if (r != 1) b.SetInteger(4, r);
        b.EndRow();
    }
    ds.EndLoad();
}

TExportColumns columns() {
    return {{QStringLiteral("vName"), QStringLiteral("客户.名称↑"), 100},
            {QStringLiteral("mAmount"), QStringLiteral("客户.金额"), 80},
            {QStringLiteral("bOk"), QStringLiteral("审核"), 40},
            {QStringLiteral("dDay"), QStringLiteral("日期"), 80},
            {QStringLiteral("nQty"), QStringLiteral("数量"), 50},
            {QString(), QStringLiteral("备注"), 50}};
}

QString cellXml(const QByteArray& sheet, const QString& ref) {
    const QRegularExpression re(QStringLiteral("<c r=\"%1\"[^>]*?(/>|>.*?</c>)").arg(ref));
    return re.match(QString::fromUtf8(sheet)).captured(0);
}

} // namespace

class tst_TableExport : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void htmlHeader_data() {
        QTest::addColumn<QStringList>("captions");
        QTest::addColumn<QString>("html");
        QTest::addColumn<int>("count");
        QTest::newRow("A.x A.y B") << QStringList{"A.x", "A.y↓", "B"}
                                   << "<Table border=\"1\"><tr><td align=center colspan=\"2\">A</td>"
                                      "<td  align=center rowspan=\"2\">B</td></tr><tr><td align=center>x</td>"
                                      "<td align=center>y</td></tr></table>"
                                   << 3;
        QTest::newRow("parents split by a plain column")
            << QStringList{"P.a", "Q", "P.b"}
            << "<Table border=\"1\"><tr><td align=center colspan=\"1\">P</td><td  align=center "
               "rowspan=\"2\">Q</td>"
               "<td align=center colspan=\"1\">P</td></tr><tr><td align=center>a</td><td align=center>b</td>"
               "</tr></table>"
            << 3;
        QTest::newRow("child after the first dot")
            << QStringList{"A.b.c"}
            << "<Table border=\"1\"><tr><td align=center colspan=\"1\">A</td>"
               "</tr><tr><td align=center>b.c</td></tr></table>"
            << 1;
    }
    void htmlHeader() {
        QFETCH(QStringList, captions);
        QFETCH(QString, html);
        QFETCH(int, count);
        int n = 10;
        QCOMPARE(BuidHtmlTableHead(captions, n), html);
        QCOMPARE(n, 10 + count);
        QCOMPARE(HtmlTitleTable(QStringLiteral("客户"), 3),
                 QStringLiteral(
                     "<table><tr><td align=center Colspan=3><b>决策支持中心-客户</b></td></tr></table>"));
    }

    void htmlBlocksOf200() {
        TClientDataSet ds;
        fill(ds, 450);
        QList<int> rows;
        QStringList blocks;
        QVERIFY(HtmlDataBlocks(ds, columns(), [&](const QString& html, int row) {
            rows << row;
            blocks << html;
        }));
        QCOMPARE(rows, (QList<int>{2, 202, 402}));
        QCOMPARE(blocks[0].count(QStringLiteral("<tr>")), 200);
        QCOMPARE(blocks[2].count(QStringLiteral("<tr>")), 50);
        QVERIFY(blocks[0].startsWith(QStringLiteral("<table border=1><tr><td>北京<总部></td>"
                                                    "<td>1,234,567.50</td><td>是</td><td>2023-03-15</td>"
                                                    "<td>0</td><td> </td></tr>")));
        QVERIFY(blocks[0].contains(QStringLiteral("<td>否</td><td>2023-03-16</td><td></td><td> </td></tr>")));
        QVERIFY(blocks[2].endsWith(QStringLiteral("</tr></table>")));
        // Cancelling after the first block stops there.
        int calls = 0;
        QVERIFY(!HtmlDataBlocks(
            ds, columns(), [&](const QString&, int) { ++calls; }, [](qint64, qint64) { return false; }));
        QCOMPARE(calls, 1);
    }

    void clipboardGetsHtml() {
        TClientDataSet ds;
        fill(ds, 3);
        QGuiApplication::clipboard()->setMimeData(
            HtmlClipboardData(ds, columns(), QStringLiteral("客户")).release());
        const QMimeData* m = QGuiApplication::clipboard()->mimeData();
        QVERIFY(m->hasHtml());
        QVERIFY(m->html().startsWith(
            QStringLiteral("<table><tr><td align=center Colspan=6><b>决策支持中心-客户")));
        QCOMPARE(m->html().count(QStringLiteral("<table border=1>")), 1);
        ds.First();
        CopyToClipBoard(&ds.FieldByName(QStringLiteral("mAmount")));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("1234567.5"));
    }

    void xlsxReadBack() {
        TClientDataSet ds;
        fill(ds, 3);
        const QString file = m_dir.filePath(QStringLiteral("a.xlsx"));
        QVERIFY(ExportToXlsx(ds, columns(), QStringLiteral("客户列表"), file));
        const QByteArray sheet = lnqtest::zipMember(file, "xl/worksheets/sheet1.xml");
        const QByteArray styles = lnqtest::zipMember(file, "xl/styles.xml");
        QVERIFY(!sheet.isEmpty());
        QVERIFY(sheet.contains("<mergeCell ref=\"A2:B2\"/>"));
        QVERIFY(sheet.contains("<mergeCell ref=\"C2:C3\"/>"));
        QVERIFY(sheet.contains("mergeCells count=\"6\""));
        QVERIFY(cellXml(sheet, "A1").contains(QStringLiteral("决策支持中心-客户列表")));
        QVERIFY(cellXml(sheet, "A2").contains(QStringLiteral(">客户<")));
        QVERIFY(cellXml(sheet, "A3").contains(QStringLiteral(">名称<")));
        QVERIFY(cellXml(sheet, "A4").contains(QStringLiteral("北京&lt;总部&gt;")));
        QVERIFY(cellXml(sheet, "B4").contains(QStringLiteral("<v>1234567.5</v>")));
        QVERIFY(cellXml(sheet, "C4").contains(QStringLiteral("是")));
        QVERIFY(cellXml(sheet, "C5").contains(QStringLiteral("否")));
        QVERIFY(cellXml(sheet, "D4").contains(QStringLiteral("<v>45000</v>")));
        QVERIFY(cellXml(sheet, "E5").isEmpty()); // null
        QVERIFY(styles.contains("formatCode=\"#,##0.00\""));
        QVERIFY(styles.contains("formatCode=\"yyyy\\-mm\\-dd\"") ||
                styles.contains("formatCode=\"yyyy-mm-dd\""));
        // Money and date cells carry those formats: style ids differ from plain numbers.
        const QString money = cellXml(sheet, "B4"), plain = cellXml(sheet, "E4"), date = cellXml(sheet, "D4");
        QVERIFY(money.contains(QStringLiteral(" s=\"")) && date.contains(QStringLiteral(" s=\"")));
        QVERIFY(!plain.contains(QStringLiteral(" s=\"")));
    }

    void xlsxCancelRemovesFile() {
        TClientDataSet ds;
        fill(ds, 3000);
        const QString file = m_dir.filePath(QStringLiteral("c.xlsx"));
        QVERIFY(
            !ExportToXlsx(ds, columns(), QStringLiteral("x"), file, [](qint64, qint64) { return false; }));
        QVERIFY(!QFile::exists(file));
        QVERIFY_THROWS_EXCEPTION(Exception,
                                 ExportToXlsx(ds, columns(), QStringLiteral("x"),
                                              m_dir.filePath(QStringLiteral("no/such/dir/c.xlsx"))));
    }

    void privateCopyKeepsOrder() {
        TClientDataSet ds;
        fill(ds, 5);
        ds.AddIndex(QStringLiteral("byQty"), QStringLiteral("nQty"), TIndexOption::ixDescending);
        ds.SetIndexName(QStringLiteral("byQty"));
        const auto copy = PrepareClonedDataset(ds);
        QVERIFY(copy);
        QCOMPARE(copy->ValueAt(0, 4).toInt(), 4);
        ds.Close();
        QVERIFY(!PrepareClonedDataset(ds));
    }

    void dataProvider() {
        TClientDataSet master, detail;
        fill(detail, 2);
        fill(master, 1);
        TDataSetCanReportOutObject p(&master, &detail, columns(), QStringLiteral("客户"));
        int prepared = 0;
        p.OnPreparePrintData = [&](TDataSetCanReportOutObject&) { ++prepared; };
        auto text = [](auto fn) {
            QByteArray b;
            return ReportBytes(fn, b) ? Gbk::decode(b) : QStringLiteral("<false>");
        };
        QCOMPARE(p.GetDetailDataCount(), 6);
        QCOMPARE(text([&](char* b, std::int32_t n, std::int32_t* l) { return p.GetDetailData(0, b, n, l); }),
                 QStringLiteral("客户.名称"));
        QCOMPARE(p.FindDetailDataItem(Gbk::encode(QStringLiteral("审核")).constData()), 2);
        QCOMPARE(p.FindDetailDataItem("MAMOUNT"), 1);
        QCOMPARE(p.GetDetailDataKind(1), std::int32_t(TReportDataKind::rdMoney));
        QCOMPARE(p.GetDetailItemCount(), 2);
        QStringList oks;
        for (bool more = p.FirstDetail(); more; more = p.NextDetail())
            oks << text(
                [&](char* b, std::int32_t n, std::int32_t* l) { return p.GetDetailDataValue(2, b, n, l); });
        QCOMPARE(oks, (QStringList{"是", "否"}));
        p.AddMasterData(Gbk::encode(QStringLiteral("操作员")).constData(),
                        Gbk::encode(QStringLiteral("张三")).constData());
        QCOMPARE(p.GetMasterDataCount(), 6);
        QCOMPARE(text([&](char* b, std::int32_t n, std::int32_t* l) {
                     return p.GetMasterDataValue(Gbk::encode(QStringLiteral("操作员")).constData(), b, n, l);
                 }),
                 QStringLiteral("张三"));
        QCOMPARE(p.FindMainDataItem("vname"), 0);
        p.ClearMasterData();
        QCOMPARE(p.GetMasterDataCount(), 5);
        QCOMPARE(prepared, 1);
        // A value longer than the caller's buffer: truncated, terminated, full length reported.
        char small[4];
        std::int32_t len = 0;
        QVERIFY(p.GetReportTitle(small, 4, &len));
        QCOMPARE(len, 4);
        QCOMPARE(qstrlen(small), 3u);
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_TableExport)
#include "tst_TableExport.moc"
