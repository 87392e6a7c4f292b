// The default report library's own parts: the template file, the page
// layout (rows per page, the totals page, page fields), and the designer's
// live preview driven as a user.

#include "common/TestMain.h"
#include "report/Ctrl_ReportDesigner.h"
#include "report/Ctrl_ReportPreview.h"
#include "report/ReportOutput_ui.h"
#include "report/ReportPages.h"
#include "util/Exceptions.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPrinter>
#include <QTableWidget>
#include <QTemporaryDir>

using namespace lnq;

namespace {

TReportData data(int rows) {
    TReportData d;
    d.Title = QStringLiteral("客户");
    d.Master = {{QStringLiteral("操作员"), QStringLiteral("[页码]张三")}};
    d.Columns = {{QStringLiteral("vName"), QStringLiteral("客户.名称"), 150, TReportDataKind::rdText},
                 {QStringLiteral("mAmt"), QStringLiteral("客户.金额"), 90, TReportDataKind::rdMoney},
                 {QStringLiteral("nQty"), QStringLiteral("数量"), 60, TReportDataKind::rdInteger}};
    for (int r = 0; r < rows; ++r)
        d.Rows.push_back({QStringLiteral("客户%1").arg(r), QStringLiteral("1,000.25"), QString::number(r)});
    return d;
}

} // namespace

class tst_ReportPages : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void templateRoundTrip() {
        TReportTemplate t;
        t.Title = QStringLiteral("月报");
        t.PageSize = QPageSize::A3;
        t.Orientation = QPageLayout::Landscape;
        t.Margins = QMarginsF(10, 12, 14, 16);
        t.Columns = {{QStringLiteral("vName"), QStringLiteral("名称"), 40, Qt::AlignHCenter, false},
                     {QStringLiteral("mAmt"), QStringLiteral("金额"), 30, {}, true}};
        QCOMPARE(LoadReportTemplate(SaveReportTemplate(t)), t);
        QCOMPARE(LoadReportTemplate(QByteArray()), TReportTemplate());
        // Out-of-range values fall back to the defaults.
        const TReportTemplate odd = LoadReportTemplate(
            R"({"page":{"size":"X9","margins":[-5,1,2,3]},"fonts":{"body":{"size":1000}},"columns":[{"width":"w"}]})");
        QCOMPARE(odd.PageSize, QPageSize::A4);
        QCOMPARE(odd.Margins.left(), 15.0);
        QCOMPARE(odd.BodyFont.Size, 9.0);
        QVERIFY(odd.Columns.empty());
        QVERIFY_THROWS_EXCEPTION(EReadError, LoadReportTemplate("{\"title\": "));
        QVERIFY_THROWS_EXCEPTION(EReadError, LoadReportTemplate("[1,2]"));
    }

    void pagination_data() {
        QTest::addColumn<int>("rows");
        QTest::addColumn<bool>("totals");
        QTest::addColumn<int>("extra"); // pages beyond ceil(rows / perPage)
        QTest::newRow("empty") << 0 << true << 0;
        QTest::newRow("full page, totals need another") << -1 << true << 1;
        QTest::newRow("full page, no totals") << -1 << false << 0;
        QTest::newRow("ten thousand") << 10000 << true << -2;
    }
    void pagination() {
        QFETCH(int, rows);
        QFETCH(bool, totals);
        QFETCH(int, extra);
        TReportTemplate t;
        const TReportData probe = data(0);
        t.Columns = ResolveColumns(t, probe);
        t.Columns[1].Total = totals;
        const int perPage = TReportPages(t, probe, 300).RowsPerPage();
        QVERIFY(perPage > 20);
        const TReportData d = data(rows < 0 ? perPage : rows);
        const TReportPages pages(t, d, 300);
        const int n = int(d.Rows.size());
        const int base = qMax(1, (n + perPage - 1) / perPage);
        QCOMPARE(pages.PageCount(), base + (extra < 0 ? (totals && n % perPage == 0 ? 1 : 0) : extra));
        // The same layout at another resolution gives the same pages.
        QCOMPARE(TReportPages(t, d, 96).RowsPerPage(), perPage);
    }

    void pageFieldsAndTotals() {
        TReportTemplate t;
        const TReportData d = data(3);
        const TReportPages pages(t, d, 96);
        // One pass: a master value that looks like a field stays as it is.
        QCOMPARE(pages.PageText(QStringLiteral("[主:操作员]/[页码]/[页数]/[未知]"), 0),
                 QStringLiteral("[页码]张三/1/1/[未知]"));
        QCOMPARE(pages.Totals(), (QStringList{QString(), "3,000.75", QString()}));
        QCOMPARE(MoneyText(-1234567.5), QStringLiteral("-1,234,567.50"));
        const QImage page = RenderReportPage(t, d, 0, 96);
        QCOMPARE(page.size(),
                 QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, {}).fullRectPixels(96).size());
    }

    void printingCanBeCancelled() {
        QTemporaryDir dir;
        const TReportData d = data(500);
        TReportTemplate t;
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(dir.filePath(QStringLiteral("c.pdf")));
        QList<qint64> seen;
        QVERIFY(!RenderReport(printer, t, d, [&](qint64 done, qint64) {
            seen << done;
            return done < 2;
        }));
        QCOMPARE(seen, (QList<qint64>{1, 2}));
        printer.setOutputFileName(dir.filePath(QStringLiteral("d.pdf")));
        qint64 total = 0;
        QVERIFY(RenderReport(printer, t, d, [&](qint64, qint64 n) {
            total = n;
            return true;
        }));
        QCOMPARE(total, qint64(TReportPages(t, d, printer.resolution()).PageCount()));
    }

    void previewPaintsPagesAsNeeded() {
        const TReportData d = data(10000);
        TReportTemplate t;
        TCtrl_ReportPreview preview(t, d);
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        preview.View()->viewport()->repaint();
        const int pages = preview.View()->PageCount();
        QVERIFY(pages > 100);
        QVERIFY(preview.View()->PaintedPages() <= 4);
        QCOMPARE(preview.View()->CurrentPage(), 0);
        // "末页" goes to the last page; only what comes into view is painted.
        const auto actions = preview.findChildren<QAction*>();
        for (QAction* a : actions)
            if (a->text() == QStringLiteral("末页")) a->trigger();
        preview.View()->viewport()->repaint();
        QCOMPARE(preview.View()->CurrentPage(), pages - 1);
        QVERIFY(preview.View()->PaintedPages() <= 8);
        QVERIFY(preview.findChild<QLabel*>()->text().contains(QStringLiteral("第 %1 / %1 页").arg(pages)));
        // A wider page holds fewer rows: landscape gives more pages.
        t.Orientation = QPageLayout::Landscape;
        preview.View()->Relayout();
        QVERIFY(preview.View()->PageCount() > pages);
    }

    void designerFollowsTheUser() {
        const TReportData d = data(300);
        TReportTemplate t;
        TCtrl_ReportDesigner dlg(t, d);
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
        QTRY_VERIFY(dlg.PreviewPageCount() >= 2);
        const int portraitPages = dlg.PreviewPageCount();
        dlg.TitleEdit()->setFocus();
        QTest::keyClicks(dlg.TitleEdit(), QStringLiteral("Sales "));
        QInputMethodEvent commit;
        commit.setCommitString(QStringLiteral("月报"));
        QCoreApplication::sendEvent(dlg.TitleEdit(), &commit);
        QCOMPARE(dlg.Template().Title, QStringLiteral("Sales 月报"));
        // Landscape holds fewer rows a page: the preview follows.
        dlg.OrientationBox()->setCurrentIndex(1);
        QTRY_VERIFY(dlg.PreviewPageCount() > portraitPages);
        // Unticking a column leaves it out of the template.
        QTableWidget* cols = dlg.ColumnTable();
        const QRect box = cols->visualItemRect(cols->item(2, 0));
        QTest::mouseClick(cols->viewport(), Qt::LeftButton, {}, QPoint(box.left() + 10, box.center().y()));
        if (cols->item(2, 0)->checkState() == Qt::Checked) cols->item(2, 0)->setCheckState(Qt::Unchecked);
        QCOMPARE(dlg.Template().Columns.size(), size_t(2));
        QCOMPARE(dlg.Template().Orientation, QPageLayout::Landscape);
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_ReportPages)
#include "tst_ReportPages.moc"
