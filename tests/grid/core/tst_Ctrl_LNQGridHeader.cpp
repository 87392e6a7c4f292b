#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQGridPaint.h"
#include "grid/core/Ctrl_LNQStringGrid.h"

#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QSignalSpy>

using namespace lnq;

namespace {

// A shown grid with one column per caption (widths 60, no fixed columns
// unless asked).
struct HeaderGrid {
    TLNQStringGrid grid;
    HeaderGrid(const QStringList& captions, int fixedCols = 0) {
        grid.resize(600, 300);
        grid.SetColCount(int(captions.size()));
        for (int i = 0; i < captions.size(); ++i) {
            grid.GridCols()[i]->SetCaption(captions[i]);
            grid.GridCols()[i]->SetWidth(60);
        }
        grid.SetFixedCols(fixedCols);
        grid.show();
        (void)QTest::qWaitForWindowExposed(&grid);
    }
    QList<THeaderCell> cells(THeaderCellKind kind) const {
        QList<THeaderCell> out;
        for (const THeaderCell& c : grid.HeaderLayout().Cells)
            if (c.Kind == kind) out.append(c);
        return out;
    }
    QStringList texts(THeaderCellKind kind) const {
        QStringList out;
        for (const THeaderCell& c : cells(kind))
            out.append(c.Text);
        return out;
    }
};

} // namespace

class TestCtrlLNQGridHeader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void groupLevelHeight_data() {
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("dblEqual");
        QTest::addColumn<int>("group");
        QTest::newRow("50 thirds") << 50 << false << 16;
        QTest::newRow("50 halves") << 50 << true << 25;
        QTest::newRow("41 halves") << 41 << true << 20;
    }
    void groupLevelHeight() {
        QFETCH(int, height);
        QFETCH(bool, dblEqual);
        QFETCH(int, group);
        HeaderGrid h({"Amount;Qty", "Amount;Price"});
        h.grid.SetHeaderHeight(height);
        h.grid.SetDblEqual(dblEqual);
        const THeaderLayout layout = h.grid.HeaderLayout();
        QCOMPARE(layout.GroupHeight, group);
        const auto groups = h.cells(THeaderCellKind::Group);
        QCOMPARE(groups.size(), 1);
        QCOMPARE(groups[0].Rect.height(), group);
        for (const THeaderCell& sub : h.cells(THeaderCellKind::Sub)) {
            QCOMPARE(sub.Rect.top(), group + 1);
            QCOMPARE(sub.Rect.bottom(), height - 1);
        }
        QCOMPARE(h.grid.horizontalHeader()->height(), height);
    }

    void groupsSpanAdjacentColumnsWithTheSameGroupText() {
        HeaderGrid h({"Amount;Qty", "Amount;Price", "Total"});
        const auto groups = h.cells(THeaderCellKind::Group);
        QCOMPARE(groups.size(), 1);
        QCOMPARE(groups[0].Text, QStringLiteral("Amount"));
        QCOMPARE(groups[0].Col, 0);
        QCOMPARE(groups[0].LastCol, 1);
        QCOMPARE(groups[0].Rect.left(), 0);
        QCOMPARE(groups[0].Rect.width(), 120);
        QCOMPARE(h.texts(THeaderCellKind::Sub), (QStringList{"Qty", "Price"}));
        const auto whole = h.cells(THeaderCellKind::Whole);
        QCOMPARE(whole.size(), 1);
        QCOMPARE(whole[0].Text, QStringLiteral("Total"));
        QCOMPARE(whole[0].Rect, QRect(120, 0, 60, 50));
        // The band behind everything runs to the last column's right edge.
        const auto band = h.cells(THeaderCellKind::Band);
        QCOMPARE(band.size(), 1);
        QCOMPARE(band[0].Rect, QRect(0, 0, 180, 50));
    }

    void differentGroupsAndLoneMembers() {
        // Same sub captions but different groups: two groups of one, each
        // drawn full height with both parts.
        HeaderGrid h({"A;x", "B;x", "C;y;z", "plain"});
        QVERIFY(h.cells(THeaderCellKind::Group).isEmpty());
        QCOMPARE(h.texts(THeaderCellKind::Whole), (QStringList{"A;x", "B;x", "C;y;z", "plain"}));
        for (const THeaderCell& c : h.cells(THeaderCellKind::Whole))
            QCOMPARE(c.Rect.height(), 50);
    }

    void captionWithoutSemicolonNeverJoins() {
        HeaderGrid h({";a", ";b", "c"});
        const auto groups = h.cells(THeaderCellKind::Group);
        QCOMPARE(groups.size(), 1); // the empty group text groups ";a" and ";b"
        QCOMPARE(groups[0].LastCol, 1);
        QCOMPARE(h.texts(THeaderCellKind::Whole), QStringList{"c"});
    }

    void hiddenColumnEndsARun() {
        HeaderGrid h({"G;a", "G;b", "G;c", "G;d"});
        h.grid.GridCols()[1]->SetWidth(-1);
        const auto groups = h.cells(THeaderCellKind::Group);
        QCOMPARE(groups.size(), 1);
        QCOMPARE(groups[0].Col, 2);
        QCOMPARE(groups[0].LastCol, 3);
        QCOMPARE(groups[0].Rect.left(), 60);
        QCOMPARE(h.texts(THeaderCellKind::Whole), QStringList{"G;a"});
        QCOMPARE(h.texts(THeaderCellKind::Sub), (QStringList{"c", "d"}));
    }

    void zeroHeaderHeightDrawsNothing() {
        HeaderGrid h({"A;x", "A;y"});
        QSignalSpy drawn(&h.grid, &TLNQCustomGrid::OnDrawHeader);
        h.grid.SetHeaderHeight(0);
        QVERIFY(h.grid.HeaderLayout().Cells.isEmpty());
        QVERIFY(h.grid.horizontalHeader()->isHidden());
        (void)h.grid.grab();
        QCOMPARE(drawn.count(), 0);
        h.grid.SetHeaderHeight(30);
        QVERIFY(!h.grid.horizontalHeader()->isHidden());
        (void)h.grid.grab();
        QCOMPARE(drawn.count(), 1);
    }

    void currencyColumnsGetTheDigitTitle() {
        HeaderGrid h({"品名", "金额"});
        h.grid.GridCols()[1]->SetDataTypePro(dpCurrency);
        const auto whole = h.cells(THeaderCellKind::Whole);
        QCOMPARE(whole.size(), 2);
        QVERIFY(!whole[0].Currency);
        QVERIFY(whole[1].Currency);
    }

    void titleClickSetsSortMarks() {
        HeaderGrid h({"a", "b", "c"});
        h.grid.GridCols()[2]->SetSortable(false);
        QSignalSpy clicked(&h.grid, &TLNQCustomGrid::OnTitleClick);
        QWidget* vp = h.grid.horizontalHeader()->viewport();
        QTest::mouseClick(vp, Qt::LeftButton, {}, QPoint(30, 40));
        QCOMPARE(h.grid.GridCols()[0]->SortMark(), smUp);
        QTest::mouseClick(vp, Qt::LeftButton, {}, QPoint(30, 40));
        QCOMPARE(h.grid.GridCols()[0]->SortMark(), smDown);
        QTest::mouseClick(vp, Qt::LeftButton, {}, QPoint(90, 40));
        QCOMPARE(h.grid.GridCols()[0]->SortMark(), smNone);
        QCOMPARE(h.grid.GridCols()[1]->SortMark(), smUp);
        QTest::mouseClick(vp, Qt::LeftButton, {}, QPoint(150, 40)); // not sortable
        QCOMPARE(h.grid.GridCols()[1]->SortMark(), smUp);
        QCOMPARE(clicked.count(), 3);
        QCOMPARE(h.cells(THeaderCellKind::Whole)[1].SortMark, smUp);
    }

    void lockGlyphSitsAtTheLastFrozenColumn() {
        HeaderGrid h({"a", "b", "c", "d"}, 1);
        QVERIFY(!h.grid.HeaderLayout().HasLock);
        h.grid.SetShowLock(true);
        THeaderLayout l = h.grid.HeaderLayout();
        QVERIFY(l.HasLock);
        QCOMPARE(l.LockOrigin, QPoint(60 - 4, 1));
        // Double-clicking a title locks the columns up to it.
        bool allow = false;
        h.grid.OnHeaderDblClick = [&](int col, bool& canLock, Qt::KeyboardModifiers) {
            QCOMPARE(col, 2);
            canLock = allow;
        };
        QWidget* vp = h.grid.horizontalHeader()->viewport();
        QTest::mouseDClick(vp, Qt::LeftButton, {}, QPoint(150, 40));
        QCOMPARE(h.grid.LockedCols(), 0);
        allow = true;
        QTest::mouseDClick(vp, Qt::LeftButton, {}, QPoint(150, 40));
        QCOMPARE(h.grid.LockedCols(), 2);
        QCOMPARE(h.grid.FrozenCols(), 3);
        QCOMPARE(h.grid.HeaderLayout().LockOrigin, QPoint(180 - 4, 1));
    }

    void frozenColumnsStayWhileScrolling() {
        QStringList captions;
        for (int i = 0; i < 20; ++i)
            captions << QStringLiteral("c%1").arg(i);
        captions[0] = QStringLiteral("G;a");
        captions[1] = QStringLiteral("G;b");
        captions[4] = QStringLiteral("G;e");
        HeaderGrid h(captions, 1);
        QTableView* frozen = h.grid.FrozenView();
        QVERIFY(frozen->isVisible());
        QCOMPARE(frozen->width(), 60);
        QVERIFY(!frozen->isColumnHidden(0));
        QVERIFY(frozen->isColumnHidden(1));
        QCOMPARE(h.grid.LeftCol(), 1);

        h.grid.horizontalScrollBar()->setValue(180); // columns 1..3 go behind column 0
        QCOMPARE(h.grid.LeftCol(), 4);
        const QList<THeaderColumn> cols = h.grid.HeaderColumns();
        QCOMPARE(cols[0].Left, 0);
        QVERIFY(!cols[0].ScrolledOut);
        QVERIFY(cols[1].ScrolledOut);
        QVERIFY(cols[3].ScrolledOut);
        QCOMPARE(cols[4].Left, 60);
        QVERIFY(!cols[4].ScrolledOut);
        // The scrolled-out columns are skipped: column 0 and 4 form one run.
        const auto groups = h.cells(THeaderCellKind::Group);
        QCOMPARE(groups.size(), 1);
        QCOMPARE(groups[0].Col, 0);
        QCOMPARE(groups[0].LastCol, 4);
        QCOMPARE(groups[0].Rect, QRect(0, 0, 120, 16));

        // A current cell behind the frozen column scrolls into view.
        h.grid.FocusCell(2, 1);
        QCOMPARE(h.grid.columnViewportPosition(2), 60);
        QCOMPARE(h.grid.LeftCol(), 2);
        // Fixed cells cannot be selected.
        QVERIFY(!(h.grid.model()->flags(h.grid.model()->index(1, 0)) & Qt::ItemIsSelectable));
    }

    void footerBandShowsTailCaptions() {
        HeaderGrid h({"a", "b;c", "d"});
        QVERIFY(h.grid.FooterLayout().Cells.isEmpty());
        QVERIFY(h.grid.Footer()->isHidden());
        h.grid.GridCols()[0]->SetTailCaption(QStringLiteral("合计"));
        h.grid.GridCols()[1]->SetTailCaption(QStringLiteral("1;2"));
        h.grid.GridCols()[2]->SetWidth(-1);
        h.grid.SetGridTail(true);
        h.grid.SetGridTailHeight(30);
        QList<THeaderCell> tails;
        QList<THeaderCell> edges;
        for (const THeaderCell& c : h.grid.FooterLayout().Cells) {
            if (c.Kind == THeaderCellKind::Tail) tails.append(c);
            if (c.Kind == THeaderCellKind::TailEdge) edges.append(c);
        }
        QCOMPARE(tails.size(), 2);
        QCOMPARE(tails[0].Text, QStringLiteral("合计"));
        QCOMPARE(tails[1].Text, QStringLiteral("1;2")); // never split
        QCOMPARE(tails[1].Rect, QRect(60, 0, 60, 30 - kTailEdgeHeight));
        QCOMPARE(edges.size(), 2);
        QVERIFY(edges[0].Text.isEmpty());
        QVERIFY(h.grid.Footer()->isVisible());
        QCOMPARE(h.grid.Footer()->height(), 30);
        // The footer sits under the cells.
        const QRect vp = h.grid.viewport()->geometry();
        QCOMPARE(h.grid.Footer()->geometry().top(), vp.bottom() + 1);
        QVERIFY(h.grid.Footer()->geometry().bottom() < h.grid.height());
        // The last row can still be scrolled above the footer.
        h.grid.SetRowCount(40);
        h.grid.scrollToBottom();
        QVERIFY(h.grid.rowViewportPosition(39) + h.grid.rowHeight(39) <= vp.height());
    }

    void currencyRulesAreColoured() {
        QImage img(200, 20, QImage::Format_RGB32);
        img.fill(Qt::white);
        {
            QPainter p(&img);
            DrawCurrency(p, QRect(0, 0, 200, 20), 1234.5, Qt::black);
        }
        for (int i = 1; i < 10; ++i) {
            const QColor c = img.pixelColor(CurrencyRuleX(QRect(0, 0, 200, 20), i), 1);
            const QColor expected = i == 2 || i == 5 ? QColor(Qt::blue)
                                    : i == 8         ? QColor(Qt::red)
                                                     : QColor(128, 128, 128);
            QCOMPARE(c, expected);
        }
        QCOMPARE(CurrencyCellRect(QRect(0, 0, 200, 20), 9), QRect(180, 0, 20, 20));
    }

    void rowIndicatorCaptionDrawsATriangle() {
        QImage img(40, 30, QImage::Format_RGB32);
        img.fill(Qt::white);
        THeaderPaintStyle style;
        style.Fill = QColor(Qt::yellow);
        {
            QPainter p(&img);
            DrawButton(p, QRect(0, 0, 40, 30), QStringLiteral(">"), QFont(), smNone, style);
        }
        QCOMPARE(img.pixelColor(QRect(0, 0, 40, 30).center()), QColor(Qt::black));
        QCOMPARE(img.pixelColor(6, 6), QColor(192, 192, 192)); // not the header colour
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQGridHeader)
#include "tst_Ctrl_LNQGridHeader.moc"
