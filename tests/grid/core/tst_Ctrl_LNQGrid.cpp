#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQStringGrid.h"

#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QWheelEvent>

using namespace lnq;

namespace {

// A shown grid: columns a, b, c ... 60 pixels wide, rows of 24 pixels whose
// column-1 cells read r1, r2 ..., one fixed column unless asked.
struct MouseGrid {
    TLNQStringGrid g;
    explicit MouseGrid(int cols = 5, int rows = 6, int fixedCols = 1, TGridOptions extra = {}) {
        g.resize(500, 300);
        g.SetColCount(cols);
        for (int c = 0; c < cols; ++c) {
            const QString name(QChar(u'a' + c));
            g.GridCols()[c]->SetColName(name);
            g.GridCols()[c]->SetCaption(name);
            g.GridCols()[c]->SetWidth(60);
        }
        g.SetRowCount(rows);
        for (int r = 1; r < rows; ++r)
            g.SetCells(1, r, QStringLiteral("r%1").arg(r));
        g.SetFixedCols(fixedCols);
        g.SetOptions(g.Options() | extra);
        g.show();
        (void)QTest::qWaitForWindowExposed(&g);
    }
    QStringList names() const {
        QStringList out;
        for (int c = 0; c < g.ColCount(); ++c)
            out.append(g.GridCols()[c]->ColName());
        return out;
    }
    QStringList column1() const { return g.Cols(1).mid(1); }

    // The widget a user reaches at a point given in viewport coordinates
    // (negative y: the title band with the pinned rows).
    QWidget* widgetAt(const QPoint& vp) const {
        QTableView* frozen = g.FrozenView();
        const bool inFrozen = frozen->isVisible() && vp.x() >= 0 && vp.x() < frozen->width();
        if (vp.y() < 0)
            return inFrozen ? frozen->horizontalHeader()->viewport() : g.horizontalHeader()->viewport();
        return inFrozen ? frozen->viewport() : g.viewport();
    }
    QPoint local(QWidget* w, const QPoint& vp) const { return w->mapFrom(&g, g.viewport()->mapTo(&g, vp)); }
    // Press at from, move in steps with the left button held, release at
    // to; every event goes to the widget pressed, as under a mouse grab.
    // The path is fixed on the screen when the button goes down (sizing a
    // pinned row moves the widgets under the mouse).
    void drag(const QPoint& from, const QPoint& to, int steps = 4) {
        QWidget* w = widgetAt(from);
        const QPoint a = w->mapToGlobal(local(w, from));
        const QPoint b = w->mapToGlobal(local(w, to));
        QTest::mousePress(w, Qt::LeftButton, {}, w->mapFromGlobal(a));
        for (int i = 1; i <= steps; ++i)
            moveHeldGlobal(w, a + (b - a) * i / steps);
        QTest::mouseRelease(w, Qt::LeftButton, {}, w->mapFromGlobal(b));
    }
    void moveHeld(QWidget* w, const QPoint& vp) { moveHeldGlobal(w, w->mapToGlobal(local(w, vp))); }
    void moveHeldGlobal(QWidget* w, const QPoint& global) {
        const QPoint p = w->mapFromGlobal(global);
        QMouseEvent move(QEvent::MouseMove, p, global, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(w, &move);
    }
    void hover(const QPoint& vp) {
        QWidget* w = widgetAt(vp);
        const QPoint p = local(w, vp);
        QMouseEvent move(QEvent::MouseMove, p, w->mapToGlobal(p), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(w, &move);
    }
    // The middle of a column's title, in viewport coordinates.
    QPoint title(int col) const {
        return QPoint(g.CellRect(col, 1).center().x(),
                      -g.horizontalHeader()->height() + g.HeaderHeight() / 2);
    }
    QPoint cell(int col, int row) const { return g.CellRect(col, row).center(); }
    int rowBottom(int row) const { return g.CellRect(0, row).bottom(); }
};

using Order = QStringList;

} // namespace

class TestCtrlLNQGrid : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void rowSizing_data() {
        QTest::addColumn<bool>("option");
        QTest::addColumn<int>("fixedCols");
        QTest::addColumn<int>("dy");
        QTest::addColumn<int>("height"); // of row 2 afterwards
        QTest::newRow("taller") << true << 1 << 15 << 39;
        QTest::newRow("never under one pixel") << true << 1 << -60 << 1;
        QTest::newRow("option off") << false << 1 << 15 << 24;
        QTest::newRow("no fixed column to drag in") << true << 0 << 15 << 24;
    }
    void rowSizing() {
        QFETCH(bool, option);
        QFETCH(int, fixedCols);
        QFETCH(int, dy);
        QFETCH(int, height);
        MouseGrid m(5, 6, fixedCols, option ? TGridOptions(TGridOption::goRowSizing) : TGridOptions());
        const QPoint divider(10, m.rowBottom(2));
        m.hover(divider);
        const bool grabbed = option && fixedCols > 0;
        QCOMPARE(m.widgetAt(divider)->cursor().shape() == Qt::SplitVCursor, grabbed);
        m.hover(QPoint(10, m.rowBottom(2) - 10)); // mid-row: the arrow again
        QCOMPARE(m.widgetAt(divider)->cursor().shape(), Qt::ArrowCursor);

        QWidget* w = m.widgetAt(divider);
        QTest::mousePress(w, Qt::LeftButton, {}, m.local(w, divider));
        QCOMPARE(m.g.GridState(), grabbed ? gsRowSizing : gsNormal);
        m.moveHeld(w, divider + QPoint(0, dy));
        QTest::mouseRelease(w, Qt::LeftButton, {}, m.local(w, divider + QPoint(0, dy)));
        QCOMPARE(m.g.GridState(), gsNormal);
        QCOMPARE(m.g.RowHeights(2), height);
        QCOMPARE(m.g.RowHeights(1), 24);
        QCOMPARE(m.g.RowHeights(3), 24);
        if (fixedCols > 0) QCOMPARE(m.g.FrozenView()->rowHeight(2), height);
    }

    void rowDividersAroundTheFirstRowOnScreen() {
        MouseGrid m(5, 40, 1, TGridOption::goRowSizing);
        m.g.SetTopRow(10);
        QCOMPARE(m.g.TopRow(), 10);
        // The divider at the top of the cells is no row's: row 9 is off screen.
        m.drag(QPoint(10, 1), QPoint(10, 20));
        QCOMPARE(m.g.RowHeights(9), 24);
        QCOMPARE(m.g.RowHeights(10), 24);
        // Just under the last row, the last row's divider.
        m.g.SetRowCount(3);
        QCoreApplication::processEvents();
        m.drag(QPoint(10, m.rowBottom(2) + 2), QPoint(10, m.rowBottom(2) + 12));
        QCOMPARE(m.g.RowHeights(2), 34);
    }

    void colSizing_data() {
        QTest::addColumn<bool>("sizing");
        QTest::addColumn<bool>("moving");
        QTest::addColumn<int>("width"); // of column b afterwards
        QTest::addColumn<Order>("order");
        const Order same{"a", "b", "c", "d", "e"};
        QTest::newRow("sizing") << true << false << 90 << same;
        QTest::newRow("neither") << false << false << 60 << same;
        QTest::newRow("sizing wins at the divider") << true << true << 90 << same;
        // Without sizing the divider is just part of the title.
        QTest::newRow("moving only") << false << true << 60 << Order{"a", "c", "b", "d", "e"};
    }
    void colSizing() {
        QFETCH(bool, sizing);
        QFETCH(bool, moving);
        QFETCH(int, width);
        QFETCH(Order, order);
        TGridOptions options;
        if (sizing) options |= TGridOption::goColSizing;
        if (moving) options |= TGridOption::goColMoving;
        MouseGrid m(5, 6, 1);
        m.g.SetOptions((m.g.Options() & ~TGridOptions(TGridOption::goColSizing)) | options);
        const int right = m.g.CellRect(1, 1).right();
        m.drag(QPoint(right, m.title(1).y()), QPoint(right + 30, m.title(1).y()));
        QCOMPARE(m.g.ColWidths(1), width);
        QCOMPARE(m.g.horizontalHeader()->sectionSize(m.g.ColByName("b")), width);
        QCOMPARE(m.names(), order);
    }

    void colMoving_data() {
        QTest::addColumn<bool>("option");
        QTest::addColumn<int>("locked");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("dropX"); // viewport x; -1: past the last column
        QTest::addColumn<Order>("order");
        QTest::addColumn<QList<int>>("moved"); // OnColumnMoved arguments, empty for none
        // Columns a..e at 0, 60, 120, 180, 240; a is fixed.
        QTest::newRow("to the right")
            << true << 0 << 1 << 200 << Order{"a", "c", "d", "b", "e"} << QList<int>{1, 3};
        QTest::newRow("to the left") << true << 0 << 3 << 70 << Order{"a", "d", "b", "c", "e"}
                                     << QList<int>{3, 1};
        QTest::newRow("dropped on the fixed column")
            << true << 0 << 2 << 10 << Order{"a", "c", "b", "d", "e"} << QList<int>{2, 1};
        QTest::newRow("past the last column")
            << true << 0 << 1 << -1 << Order{"a", "c", "d", "e", "b"} << QList<int>{1, 4};
        QTest::newRow("fixed column stays")
            << true << 0 << 0 << 200 << Order{"a", "b", "c", "d", "e"} << QList<int>{};
        QTest::newRow("option off") << false << 0 << 1 << 200 << Order{"a", "b", "c", "d", "e"}
                                    << QList<int>{};
        QTest::newRow("into the locked columns")
            << true << 1 << 3 << 70 << Order{"a", "d", "b", "c", "e"} << QList<int>{3, 1};
        QTest::newRow("out of the locked columns")
            << true << 1 << 1 << 200 << Order{"a", "c", "d", "b", "e"} << QList<int>{1, 3};
    }
    void colMoving() {
        QFETCH(bool, option);
        QFETCH(int, locked);
        QFETCH(int, from);
        QFETCH(int, dropX);
        QFETCH(Order, order);
        QFETCH(QList<int>, moved);
        MouseGrid m(5, 6, 1, option ? TGridOptions(TGridOption::goColMoving) : TGridOptions());
        m.g.SetLockedCols(locked);
        QSignalSpy spy(&m.g, &TLNQCustomGrid::OnColumnMoved);
        const QPoint start = m.title(from);
        const QPoint drop(dropX < 0 ? m.g.CellRect(4, 1).right() + 20 : dropX, start.y());
        QWidget* w = m.widgetAt(start);
        QTest::mousePress(w, Qt::LeftButton, {}, m.local(w, start));
        m.moveHeld(w, (start + drop) / 2);
        QCOMPARE(m.g.GridState(), moved.isEmpty() ? gsNormal : gsColMoving);
        m.moveHeld(w, drop);
        QTest::mouseRelease(w, Qt::LeftButton, {}, m.local(w, drop));
        QCOMPARE(m.g.GridState(), gsNormal);
        QCOMPARE(m.names(), order);
        QCOMPARE(spy.count(), moved.isEmpty() ? 0 : 1);
        if (!moved.isEmpty()) {
            QCOMPARE(spy[0][1].toInt(), moved[0]);
            QCOMPARE(spy[0][2].toInt(), moved[1]);
        }
        // The cells went with their columns; the fixed and frozen counts stay.
        QCOMPARE(m.g.Cells(m.g.ColByName("b"), 3), QStringLiteral("r3"));
        QCOMPARE(m.g.FixedCols(), 1);
        QCOMPARE(m.g.FrozenCols(), 1 + locked);
        for (int c = 0; c < 5; ++c)
            QCOMPARE(m.g.FrozenView()->isColumnHidden(c), c >= 1 + locked);
    }

    void movedColumnTakesItsAttributes() {
        MouseGrid m(5, 6, 1, TGridOption::goColMoving);
        TGridCol* b = m.g.GridCols()[1];
        b->SetWidth(70);
        b->SetSortMark(smDown);
        m.g.SetCells(1, 0, QStringLiteral("title"));
        // An open editor is closed, its text kept, before the column moves.
        m.g.SetOptions(m.g.Options() | TGridOption::goEditing);
        m.g.FocusCell(1, 2);
        QVERIFY(m.g.ShowEditor());
        m.g.InplaceEditor()->setText(QStringLiteral("x"));
        // b (60..130) onto d (190..250).
        m.drag(m.title(1), QPoint(m.g.CellRect(3, 1).center().x(), m.title(1).y()));
        QCOMPARE(m.names(), (Order{"a", "c", "d", "b", "e"}));
        QCOMPARE(m.g.GridCols()[3], b); // the same item, renumbered
        QCOMPARE(b->Index(), 3);
        QCOMPARE(b->Width(), 70);
        QCOMPARE(m.g.ColWidthsList(), (QList<int>{60, 60, 60, 70, 60}));
        QVERIFY(!m.g.EditorMode());
        QCOMPARE(m.g.Cols(3), (QStringList{"title", "r1", "x", "r3", "r4", "r5"}));
        QVERIFY(m.g.Cols(1).mid(1).join(QString()).isEmpty());
        // The title band follows: b's title with its mark over the fourth column.
        bool found = false;
        for (const THeaderCell& c : m.g.HeaderLayout().Cells) {
            if (c.Kind != THeaderCellKind::Whole || c.Col != 3) continue;
            found = true;
            QCOMPARE(c.Text, QStringLiteral("b"));
            QCOMPARE(c.SortMark, smDown);
            QCOMPARE(c.Rect.width(), 70);
        }
        QVERIFY(found);
    }

    void shortDragIsATitleClick() {
        MouseGrid m(5, 6, 1, TGridOption::goColMoving);
        QSignalSpy moved(&m.g, &TLNQCustomGrid::OnColumnMoved);
        QSignalSpy clicked(&m.g, &TLNQCustomGrid::OnTitleClick);
        m.drag(m.title(2), m.title(2) + QPoint(2, 0), 1);
        QCOMPARE(moved.count(), 0);
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(m.g.GridCols()[2]->SortMark(), smUp);
        // A fixed column's title still sorts as before.
        m.drag(m.title(0), m.title(0), 1);
        QCOMPARE(m.g.GridCols()[0]->SortMark(), smUp);
        QCOMPARE(m.g.GridCols()[2]->SortMark(), smNone);
    }

    void draggingToTheEdgeScrolls_data() {
        QTest::addColumn<bool>("columns");
        QTest::newRow("column") << true;
        QTest::newRow("row") << false;
    }
    void draggingToTheEdgeScrolls() {
        QFETCH(bool, columns);
        MouseGrid m(20, 60, 1, TGridOption::goColMoving | TGridOption::goRowMoving);
        QSignalSpy topLeft(&m.g, &TLNQCustomGrid::OnTopLeftChanged);
        QSignalSpy moved(&m.g, columns ? &TLNQCustomGrid::OnColumnMoved : &TLNQCustomGrid::OnRowMoved);
        const QRect vp = m.g.viewport()->rect();
        const QPoint from = columns ? m.title(1) : m.cell(0, 1);
        const QPoint out = columns ? QPoint(vp.right() + 30, from.y()) : QPoint(from.x(), vp.bottom() + 30);
        QWidget* w = m.widgetAt(from);
        QTest::mousePress(w, Qt::LeftButton, {}, m.local(w, from));
        m.moveHeld(w, (from + out) / 2);
        m.moveHeld(w, out);
        if (columns)
            QTRY_VERIFY(m.g.LeftCol() >= 4);
        else
            QTRY_VERIFY(m.g.TopRow() >= 4);
        QTest::mouseRelease(w, Qt::LeftButton, {}, m.local(w, out));
        const int leftCol = m.g.LeftCol();
        const int topRow = m.g.TopRow();
        QTest::qWait(120); // released: the scrolling has stopped
        QCOMPARE(m.g.LeftCol(), leftCol);
        QCOMPARE(m.g.TopRow(), topRow);
        QVERIFY(topLeft.count() >= 1);
        QCOMPARE(moved.count(), 1);
        // It landed on the last column or row on screen.
        const int to = moved[0][2].toInt();
        if (columns) {
            QCOMPARE(to, m.g.columnAt(vp.right()));
            QCOMPARE(m.g.GridCols()[to]->ColName(), QStringLiteral("b"));
        } else {
            QCOMPARE(to, m.g.rowAt(vp.bottom()));
            QCOMPARE(m.g.Cells(1, to), QStringLiteral("r1"));
        }
    }

    void rowMoving_data() {
        QTest::addColumn<bool>("option");
        QTest::addColumn<int>("fixedRows");
        QTest::addColumn<int>("col"); // the column pressed
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("dropY"); // viewport y; -1: above the cells, -2: under the last row
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QList<int>>("moved");
        const QStringList same{"r1", "r2", "r3", "r4", "r5"};
        // Rows 1..5 at y 0, 24, 48, 72, 96.
        QTest::newRow("down") << true << 1 << 0 << 1 << 60 << QStringList{"r2", "r3", "r1", "r4", "r5"}
                              << QList<int>{1, 3};
        QTest::newRow("up") << true << 1 << 0 << 4 << 30 << QStringList{"r1", "r4", "r2", "r3", "r5"}
                            << QList<int>{4, 2};
        QTest::newRow("above the cells")
            << true << 1 << 0 << 3 << -1 << QStringList{"r3", "r1", "r2", "r4", "r5"} << QList<int>{3, 1};
        QTest::newRow("under the last row")
            << true << 1 << 0 << 2 << -2 << QStringList{"r1", "r3", "r4", "r5", "r2"} << QList<int>{2, 5};
        QTest::newRow("never among the fixed rows")
            << true << 2 << 0 << 4 << -1 << QStringList{"r1", "r4", "r2", "r3", "r5"} << QList<int>{4, 2};
        QTest::newRow("option off") << false << 1 << 0 << 1 << 60 << same << QList<int>{};
        QTest::newRow("only by the fixed cell") << true << 1 << 1 << 1 << 60 << same << QList<int>{};
    }
    void rowMoving() {
        QFETCH(bool, option);
        QFETCH(int, fixedRows);
        QFETCH(int, col);
        QFETCH(int, from);
        QFETCH(int, dropY);
        QFETCH(QStringList, rows);
        QFETCH(QList<int>, moved);
        MouseGrid m(5, 6, 1, option ? TGridOptions(TGridOption::goRowMoving) : TGridOptions());
        m.g.SetFixedRows(fixedRows);
        m.g.SetRowHeights(from, 30);
        QSignalSpy spy(&m.g, &TLNQCustomGrid::OnRowMoved);
        const QPoint start = m.cell(col, from);
        const int y = dropY == -1 ? -5 : dropY == -2 ? m.rowBottom(5) + 20 : dropY + m.g.CellRect(0, 1).top();
        m.drag(start, QPoint(start.x(), y));
        QCOMPARE(m.g.GridState(), gsNormal);
        QCOMPARE(m.column1(), rows);
        QCOMPARE(spy.count(), moved.isEmpty() ? 0 : 1);
        if (!moved.isEmpty()) {
            QCOMPARE(spy[0][1].toInt(), moved[0]);
            QCOMPARE(spy[0][2].toInt(), moved[1]);
            QCOMPARE(m.g.RowHeights(moved[1]), 30); // the height went along
        }
    }

    void fixedRowsArePinnedUnderTheTitles() {
        MouseGrid m(5, 40, 1);
        for (int c = 0; c < 5; ++c)
            m.g.SetCells(c, 1, QString());
        m.g.SetFixedRows(3);
        QCOMPARE(m.g.horizontalHeader()->height(), 50 + 2 * 24);
        QCOMPARE(m.g.FrozenView()->horizontalHeader()->height(), 50 + 2 * 24);
        QCOMPARE(m.g.TopRow(), 3);
        QCOMPARE(m.g.CellRect(2, 1), QRect(120, -48, 60, 24));
        QCOMPARE(m.g.CellRect(2, 3).top(), 0);
        // The first data row becomes current, not a fixed one.
        QCOMPARE(m.g.Row(), 3);

        m.g.SetTopRow(2); // a fixed row: refused
        QCOMPARE(m.g.TopRow(), 3);
        QSignalSpy topLeft(&m.g, &TLNQCustomGrid::OnTopLeftChanged);
        m.g.SetTopRow(12);
        QCOMPARE(m.g.TopRow(), 12);
        QCOMPARE(topLeft.count(), 1);
        // Still in place after scrolling.
        QCOMPARE(m.g.CellRect(2, 1).top(), -48);

        // Pinned rows keep their own heights and give them back when released.
        m.g.SetRowHeights(1, 30);
        QCOMPARE(m.g.RowHeights(1), 30);
        QCOMPARE(m.g.horizontalHeader()->height(), 50 + 30 + 24);
        QCOMPARE(m.g.RowHeightsList().mid(0, 4), (QList<int>{50, 30, 24, 24}));
        m.g.SetFixedRows(1);
        QCOMPARE(m.g.horizontalHeader()->height(), 50);
        QVERIFY(!m.g.isRowHidden(1));
        QCOMPARE(m.g.rowHeight(1), 30);
        QCOMPARE(m.g.FrozenView()->rowHeight(1), 30);
        QCOMPARE(m.g.RowHeights(1), 30);
    }

    void fixedRowsFollowRowCountAndMoves() {
        MouseGrid m(5, 8, 1);
        m.g.SetFixedRows(3);
        m.g.SetRowHeights(7, 40);
        // A program move into the fixed rows: the row is pinned in its new place.
        m.g.MoveRow(7, 1);
        QCOMPARE(m.column1(), (QStringList{"r7", "r1", "r2", "r3", "r4", "r5", "r6"}));
        QVERIFY(m.g.isRowHidden(1));
        QVERIFY(m.g.isRowHidden(2));
        QVERIFY(!m.g.isRowHidden(3));
        QCOMPARE(m.g.RowHeights(1), 40);
        QCOMPARE(m.g.horizontalHeader()->height(), 50 + 40 + 24);
        // Fewer rows than fixed rows: the fixed rows give way.
        m.g.SetRowCount(2);
        QCOMPARE(m.g.FixedRows(), 1);
        QVERIFY(!m.g.isRowHidden(1));
        QCOMPARE(m.g.horizontalHeader()->height(), 50);
        // The title band alone can be switched off while fixed rows stay.
        m.g.SetRowCount(8);
        m.g.SetFixedRows(2);
        QCOMPARE(m.g.RowHeights(1), 40);
        QSignalSpy drawn(&m.g, &TLNQCustomGrid::OnDrawHeader);
        m.g.SetHeaderHeight(0);
        QVERIFY(!m.g.horizontalHeader()->isHidden());
        QCOMPARE(m.g.horizontalHeader()->height(), 40);
        (void)m.g.grab();
        QCOMPARE(drawn.count(), 0); // no titles drawn
    }

    void pinnedRowsAreSizedFromTheFixedColumn() {
        MouseGrid m(5, 8, 1, TGridOption::goRowSizing);
        m.g.SetFixedRows(3);
        // The divider between the two pinned rows, in the title band.
        const int between = m.g.CellRect(0, 1).bottom();
        m.hover(QPoint(10, between));
        QCOMPARE(m.widgetAt(QPoint(10, between))->cursor().shape(), Qt::SplitVCursor);
        m.drag(QPoint(10, between), QPoint(10, between + 10), 1);
        QCOMPARE(m.g.RowHeights(1), 34);
        QCOMPARE(m.g.horizontalHeader()->height(), 50 + 34 + 24);
        // The divider on top of the cells is the last pinned row's.
        m.drag(QPoint(10, 1), QPoint(10, 7), 1);
        QCOMPARE(m.g.RowHeights(2), 30);
        QCOMPARE(m.g.RowHeights(3), 24);
        // The divider under the titles sizes nothing.
        const int titleBottom = m.g.CellRect(0, 1).top();
        m.drag(QPoint(10, titleBottom), QPoint(10, titleBottom + 10), 1);
        QCOMPARE(m.g.RowHeights(1), 34);
        QCOMPARE(m.g.HeaderHeight(), 50);
    }

    void clicksOnPinnedRowsDoNotSort() {
        MouseGrid m(5, 8, 1);
        m.g.SetFixedRows(2);
        QSignalSpy clicked(&m.g, &TLNQCustomGrid::OnTitleClick);
        m.drag(m.cell(2, 1), m.cell(2, 1), 1);
        QCOMPARE(clicked.count(), 0);
        m.drag(m.title(2), m.title(2), 1);
        QCOMPARE(clicked.count(), 1);
    }

    void wheelScrolls_data() {
        QTest::addColumn<int>("where"); // 0 cells, 1 fixed cells, 2 title band
        QTest::newRow("cells") << 0;
        QTest::newRow("fixed cells") << 1;
        QTest::newRow("title band") << 2;
    }
    void wheelScrolls() {
        QFETCH(int, where);
        MouseGrid m(5, 60, 1);
        QSignalSpy topLeft(&m.g, &TLNQCustomGrid::OnTopLeftChanged);
        const QPoint at = where == 0 ? m.cell(2, 2) : where == 1 ? m.cell(0, 2) : m.title(2);
        QWidget* w = m.widgetAt(at);
        const auto wheel = [&](int delta) {
            const QPoint p = m.local(w, at);
            QWheelEvent e(p, w->mapToGlobal(p), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
            QApplication::sendEvent(w, &e);
        };
        wheel(-120);
        QCOMPARE(m.g.TopRow(), 1 + QApplication::wheelScrollLines());
        QCOMPARE(topLeft.count(), 1);
        QCOMPARE(m.g.FrozenView()->rowAt(0), m.g.TopRow()); // the frozen columns follow
        wheel(120);
        QCOMPARE(m.g.TopRow(), 1);
        QCOMPARE(topLeft.count(), 2);
    }

    void topLeftChangesAreReportedOnce() {
        MouseGrid m(20, 60, 1);
        QSignalSpy topLeft(&m.g, &TLNQCustomGrid::OnTopLeftChanged);
        m.g.horizontalScrollBar()->setValue(5); // pixels, the same first column
        QCOMPARE(m.g.LeftCol(), 1);
        QCOMPARE(topLeft.count(), 0);
        m.g.SetLeftCol(4);
        QCOMPARE(m.g.LeftCol(), 4);
        QCOMPARE(m.g.columnViewportPosition(4), 60);
        QCOMPARE(topLeft.count(), 1);
        m.g.SetLeftCol(0); // a fixed column cannot be the left one
        QCOMPARE(m.g.LeftCol(), 4);
        m.g.SetTopRow(20);
        QCOMPARE(m.g.TopRow(), 20);
        QCOMPARE(topLeft.count(), 2);
        m.g.SetTopRow(20);
        QCOMPARE(topLeft.count(), 2);
        // The last page stops the scrolling.
        m.g.SetTopRow(59);
        QVERIFY(m.g.TopRow() > 20);
        QVERIFY(m.g.TopRow() < 59);
        QVERIFY(m.g.rowViewportPosition(59) + m.g.rowHeight(59) <= m.g.viewport()->height());
    }

    void selectCellVeto_data() {
        QTest::addColumn<int>("how"); // 0 click, 1 drag selection, 2 program
        QTest::newRow("click") << 0;
        QTest::newRow("drag selection") << 1;
        QTest::newRow("program") << 2;
    }
    void selectCellVeto() {
        QFETCH(int, how);
        MouseGrid m(5, 6, 1);
        m.g.FocusCell(1, 1);
        QList<QPoint> asked;
        m.g.OnSelectCell = [&](int col, int row, bool& can) {
            QVERIFY(can);
            asked.append(QPoint(col, row));
            can = col != 3;
        };
        switch (how) {
        case 0:
            QTest::mouseClick(m.g.viewport(), Qt::LeftButton, {}, m.cell(3, 2));
            QCOMPARE(m.g.Col(), 1);
            QTest::mouseClick(m.g.viewport(), Qt::LeftButton, {}, m.cell(2, 2));
            QCOMPARE(m.g.Col(), 2);
            break;
        case 1:
            m.drag(m.cell(1, 1), m.cell(3, 1), 2);
            QCOMPARE(m.g.Col(), 2);
            QVERIFY(!m.g.selectionModel()->isSelected(m.g.model()->index(1, 3)));
            break;
        default:
            m.g.SetCol(3);
            QCOMPARE(m.g.Col(), 1);
            m.g.FocusCell(2, 4);
            QCOMPARE(m.g.Col(), 2);
            QCOMPARE(m.g.Row(), 4);
            break;
        }
        QVERIFY(asked.contains(QPoint(3, how == 0 ? 2 : 1)));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQGrid)
#include "tst_Ctrl_LNQGrid.moc"
