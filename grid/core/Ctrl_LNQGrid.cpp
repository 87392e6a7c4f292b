#include "grid/core/Ctrl_LNQGrid.h"

#include "grid/core/Ctrl_LNQImages.h"
#include "grid/core/GridText.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFontMetrics>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTimer>

#include <utility>

namespace lnq {

// ---------------------------------------------------------------- delegate

// Paints cells and makes editors through the grid; one per view.
class TLNQGridDelegate : public QStyledItemDelegate {
public:
    TLNQGridDelegate(TLNQCustomGrid& grid, QObject* parent) : QStyledItemDelegate(parent), m_grid(grid) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        m_grid.PaintCell(painter, option, index);
    }
    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override {
        return QSize(m_grid.DefaultColWidth(), m_grid.DefaultRowHeight());
    }
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex& index) const override {
        QWidget* editor = m_grid.CreateCellEditor(parent, index);
        m_grid.m_editorDelegate = const_cast<TLNQGridDelegate*>(this);
        return editor;
    }
    void setEditorData(QWidget* editor, const QModelIndex& index) const override {
        m_grid.LoadCellEditor(editor, index);
    }
    void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override {
        m_grid.StoreCellEditor(editor, index);
    }
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex&) const override {
        editor->setGeometry(option.rect);
    }

protected:
    bool eventFilter(QObject* object, QEvent* event) override {
        // The editor itself hands Enter, Tab and the arrows to the grid; the
        // default handling would commit and close behind its back.
        if (event->type() == QEvent::KeyPress) {
            switch (static_cast<QKeyEvent*>(event)->key()) {
            case Qt::Key_Return:
            case Qt::Key_Enter:
            case Qt::Key_Tab:
            case Qt::Key_Backtab:
                return false;
            default:
                break;
            }
        }
        return QStyledItemDelegate::eventFilter(object, event);
    }

private:
    TLNQCustomGrid& m_grid;
};

// ------------------------------------------------------------- frozen view

// The frozen columns, laid over the left edge of the grid: same model, same
// selection, its own title band painted from the grid's layout.
class TLNQFrozenView : public QTableView {
public:
    explicit TLNQFrozenView(TLNQCustomGrid& grid) : QTableView(&grid), m_grid(grid) {
        setFocusPolicy(Qt::NoFocus);
        m_header = new TLNQGridHeaderView(grid, this);
        m_header->SetReportsPaint(false);
        setHorizontalHeader(m_header);
        verticalHeader()->hide();
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setFrameShape(QFrame::NoFrame);
        setShowGrid(false);
        setWordWrap(false);
        setItemDelegate(new TLNQGridDelegate(grid, this));
        setAutoScroll(false);
        hide();
    }
    TLNQGridHeaderView* Header() const { return m_header; }
    bool EditFromGrid(const QModelIndex& index, EditTrigger trigger, QEvent* event) {
        return QTableView::edit(index, trigger, event);
    }
    void scrollTo(const QModelIndex& index, ScrollHint hint) override { m_grid.scrollTo(index, hint); }
    // The title band's height follows the grid (fixed rows, HeaderHeight).
    void RefreshGeometries() { updateGeometries(); }

protected:
    bool edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) override {
        return m_grid.edit(index, trigger, event);
    }
    void focusInEvent(QFocusEvent*) override {
        if (!m_grid.EditorMode()) m_grid.setFocus(Qt::OtherFocusReason);
    }
    void wheelEvent(QWheelEvent* event) override { QCoreApplication::sendEvent(m_grid.viewport(), event); }
    void keyPressEvent(QKeyEvent* event) override { QCoreApplication::sendEvent(&m_grid, event); }
    void updateGeometries() override {
        QTableView::updateGeometries();
        verticalScrollBar()->setValue(m_grid.verticalScrollBar()->value());
    }
    void mousePressEvent(QMouseEvent* event) override {
        if (!m_grid.selectCellAllowed(indexAt(event->position().toPoint()))) return;
        QTableView::mousePressEvent(event);
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if ((event->buttons() & Qt::LeftButton) &&
            !m_grid.selectCellAllowed(indexAt(event->position().toPoint())))
            return;
        QTableView::mouseMoveEvent(event);
    }

private:
    TLNQCustomGrid& m_grid;
    TLNQGridHeaderView* m_header;
};

// ------------------------------------------------------------ construction

TLNQCustomGrid::TLNQCustomGrid(QWidget* parent) : QTableView(parent) {
    const QPalette pal = palette();
    m_headerColor = pal.color(QPalette::Button);
    m_gridTailColor = pal.color(QPalette::Button);
    m_fixedColor = pal.color(QPalette::Button);
    m_color = pal.color(QPalette::Base);
    m_lineColor = QColor(192, 192, 192);
    m_bkColor = TColorToQColor(12632256u);
    m_options = TGridOption::goFixedVertLine | TGridOption::goFixedHorzLine | TGridOption::goVertLine |
                TGridOption::goHorzLine | TGridOption::goRangeSelect;

    m_model = new TLNQCellModel(this);
    m_model->FlagsHook = [this](int c, int r) { return cellFlags(c, r); };
    m_model->HeaderHook = [this](int section, Qt::Orientation o, int role) -> QVariant {
        if (role != Qt::DisplayRole) return {};
        if (o == Qt::Vertical) return section;
        TGridCol* col = GridCols().Items(section);
        return col ? QVariant(col->Caption()) : QVariant();
    };
    m_headerControl = new TGridHeaderControl(this, this);
    m_headerControl->hide();
    connect(&GridCols(), &TGridCols::Updated, this, [this](int) {
        invalidateBands();
        RefreshCells();
    });

    m_header = new TLNQGridHeaderView(*this, this);
    setHorizontalHeader(m_header);
    setModel(m_model);
    m_header->setMinimumSectionSize(0);
    m_header->setDefaultSectionSize(m_defaultColWidth);
    verticalHeader()->hide();
    verticalHeader()->setMinimumSectionSize(1);
    verticalHeader()->setDefaultSectionSize(m_defaultRowHeight);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    setShowGrid(false);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    setItemDelegate(new TLNQGridDelegate(*this, this));
    viewport()->setAutoFillBackground(true);
    SetBKColor(m_bkColor);

    m_frozen = new TLNQFrozenView(*this);
    m_frozen->setModel(m_model);
    m_frozen->setSelectionModel(selectionModel());
    m_frozen->verticalHeader()->setMinimumSectionSize(1);
    m_frozen->verticalHeader()->setDefaultSectionSize(m_defaultRowHeight);
    m_frozen->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_frozen->horizontalHeader()->setMinimumSectionSize(0);
    m_frozen->viewport()->setAutoFillBackground(true);
    m_frozen->viewport()->setPalette(viewport()->palette());
    connect(verticalScrollBar(), &QScrollBar::valueChanged, m_frozen->verticalScrollBar(),
            &QScrollBar::setValue);
    connect(verticalHeader(), &QHeaderView::sectionResized, this, [this](int logical, int, int size) {
        if (m_frozen && !m_frozen->isRowHidden(logical))
            m_frozen->verticalHeader()->resizeSection(logical, size);
    });

    for (QHeaderView* h : {static_cast<QHeaderView*>(m_header), m_frozen->horizontalHeader()}) {
        connect(h, &QHeaderView::sectionClicked, this, &TLNQCustomGrid::headerClicked);
        connect(h, &QHeaderView::sectionDoubleClicked, this, &TLNQCustomGrid::headerDoubleClicked);
        connect(h, &QHeaderView::sectionHandleDoubleClicked, this,
                &TLNQCustomGrid::headerHandleDoubleClicked);
        connect(h, &QHeaderView::sectionResized, this,
                [this, h](int logical, int, int newSize) { headerSectionResized(h, logical, newSize); });
    }
    connect(m_header, &QHeaderView::sectionMoved, this, [this](int, int oldVisual, int newVisual) {
        if (m_syncing) return;
        // The cells move with the column; the header goes back to logical order.
        m_syncing = true;
        m_header->moveSection(newVisual, oldVisual);
        m_syncing = false;
        MoveColumn(oldVisual, newVisual);
    });

    m_footer = new TLNQGridFooter(*this, this);
    m_footer->hide();
    m_popups = std::make_unique<TLNQGridPopups>(*this, this);

    // Mouse sizing and moving: the title bands and the fixed cells (the
    // frozen view covers the fixed columns) report to the grid.
    for (QWidget* w :
         {m_header->viewport(), m_frozen->horizontalHeader()->viewport(), m_frozen->viewport()}) {
        w->installEventFilter(this);
        w->setMouseTracking(true); // the sizing cursor
    }
    m_dragTimer = new QTimer(this);
    m_dragTimer->setInterval(50);
    connect(m_dragTimer, &QTimer::timeout, this, &TLNQCustomGrid::dragScrollTick);
    m_moveMark = new QWidget(this);
    m_moveMark->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_moveMark->setAutoFillBackground(true);
    QPalette markPalette = m_moveMark->palette();
    markPalette.setColor(QPalette::Window, Qt::black);
    m_moveMark->setPalette(markPalette);
    m_moveMark->hide();
    // Pinned fixed rows are painted by the header widgets.
    connect(m_model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                if (pinnedRowCount() > 0 && topLeft.row() <= pinnedRowCount() && bottomRight.row() >= 1)
                    invalidateBands();
            });

    SetColCount(2);
    SetRowCount(5);
    applyOptions();
    setCurrentIndex(m_model->index(1, 1));
}

TLNQCustomGrid::~TLNQCustomGrid() {
    // The pop-ups, bands and the frozen view talk to this grid; they are cut
    // off before the widget base tears the children down.
    m_dragTimer->stop();
    m_drag = {};
    m_popups.reset();
    m_header->DetachSource();
    m_footer->DetachSource();
    // Cleared before the delete: the frozen view's widgets still send
    // events (to eventFilter) while it is being torn down.
    delete std::exchange(m_frozen, nullptr);
    m_model->FlagsHook = nullptr;
    m_model->HeaderHook = nullptr;
}

// ------------------------------------------------------------ column model

TGridCols& TLNQCustomGrid::GridCols() const {
    return m_headerControl->Sections();
}

void TLNQCustomGrid::SetGridCols(const TGridCols& cols) {
    GridCols().Assign(cols);
}

int TLNQCustomGrid::ColByName(const QString& name) const {
    if (name.isEmpty()) return -1;
    const TGridCols& cols = GridCols();
    for (int i = 0; i < cols.Count(); ++i)
        if (SameTextAscii(cols[i]->ColName(), name)) return i;
    return -1;
}

TGridCol* TLNQCustomGrid::AddCol(const QString& name, int width) {
    TGridCol* col = GridCols().Add();
    col->SetColName(name);
    col->SetWidth(width);
    return col;
}

void TLNQCustomGrid::DeleteCol(const QString& name) {
    const int i = ColByName(name);
    if (i >= 0) GridCols().Delete(i);
}

void TLNQCustomGrid::HideCol(const QString& name) {
    const int i = ColByName(name);
    if (i < 0) return;
    TGridCol* col = GridCols()[i];
    if (col->Width() >= 0) {
        // A fixed column cannot move out of the fixed zone while it is fixed.
        const int fixed = m_fixedCols;
        const bool wasFixed = i < fixed;
        if (wasFixed) SetFixedCols(0);
        col->SetWidthPushed(col->Width());
        col->SetWidth(-1);
        MoveColumn(i, ColCount() - 1);
        if (wasFixed) SetFixedCols(fixed - 1);
    } else {
        MoveColumn(i, ColCount() - 1);
    }
    const int frozen = FrozenCols();
    if (frozen > 0 && frozen < ColCount() && GetColumnWidth(frozen) < 1) {
        if (m_lockedCols > 0)
            SetLockedCols(m_lockedCols - 1);
        else
            SetFixedCols(m_fixedCols - 1);
    }
}

void TLNQCustomGrid::InitGridCols() {
    TGridCols& cols = GridCols();
    if (cols.Count() >= ColCount()) return;
    cols.BeginUpdate();
    int left = 0;
    const int line = m_options.testFlag(TGridOption::goVertLine) ? 1 : 0;
    for (int i = 0; i < cols.Count(); ++i)
        left += std::max(0, cols[i]->Width()) + line;
    while (cols.Count() < ColCount()) {
        TGridCol* col = cols.MyAdd();
        const QString name = QStringLiteral("A%1").arg(col->Index());
        col->SetColName(name);
        col->SetValue(col->Width(), Qt::AlignHCenter, name);
        col->SetDataType(TFieldType::ftString);
        col->SetDataWidth(6);
        col->SetReadOnly(false);
        col->SetHeaderLeft(left);
        left += std::max(0, col->Width()) + line;
    }
    cols.EndUpdate();
}

void TLNQCustomGrid::CalcGridCols() {
    TGridCols& cols = GridCols();
    for (const THeaderColumn& h : HeaderColumns())
        if (!h.ScrolledOut && h.Index < cols.Count()) cols[h.Index]->SetHeaderLeft(h.Left);
}

int TLNQCustomGrid::GetColumnCount() const {
    return GridCols().Count();
}

TGridCol* TLNQCustomGrid::CurrentGridCol() const {
    return GridCols().Items(Col());
}

int TLNQCustomGrid::GetColumnWidth(int index) const {
    if (index < 0 || size_t(index) >= m_colWidths.size()) return m_defaultColWidth;
    return m_colWidths[index];
}

void TLNQCustomGrid::SetColumnWidth(int index, int width) {
    if (index < 0 || index > 100000) return;
    if (size_t(index) >= m_colWidths.size()) m_colWidths.resize(index + 1, m_defaultColWidth);
    m_colWidths[index] = width;
    if (index < ColCount()) {
        applyWidth(index);
        updateFrozenGeometry();
        invalidateBands();
    }
}

void TLNQCustomGrid::SetTrueColCount(int count) {
    if (count != ColCount()) SetColCount(count);
}

void TLNQCustomGrid::GridColRemoved(int index) {
    if (index < 0 || index >= ColCount()) return;
    if (size_t(index) < m_colWidths.size()) m_colWidths.erase(m_colWidths.begin() + index);
    const bool wasSyncing = std::exchange(m_syncing, true);
    m_model->RemoveColumn(index);
    m_syncing = wasSyncing;
    applyAllWidths();
    syncFrozen();
}

// ------------------------------------------------------------------- shape

void TLNQCustomGrid::SetColCount(int count) {
    count = std::clamp(count, 0, 100000);
    if (m_colWidths.size() > size_t(count) && count < ColCount()) m_colWidths.resize(count);
    if (m_colWidths.size() < size_t(count)) m_colWidths.resize(count, m_defaultColWidth);
    const bool wasSyncing = std::exchange(m_syncing, true);
    m_model->SetColCount(count);
    m_syncing = wasSyncing;
    TGridCols& cols = GridCols();
    if (cols.Count() > count)
        cols.TruncateTo(count);
    else if (cols.Count() < count)
        InitGridCols();
    applyAllWidths();
    syncFrozen();
    invalidateBands();
}

void TLNQCustomGrid::SetRowCount(int count) {
    count = std::max(0, count);
    if (count == RowCount()) return;
    // As with the platform's grid, the fixed rows give way to fewer rows.
    if (count > 0 && m_fixedRows >= count) m_fixedRows = count - 1;
    m_model->SetRowCount(count);
    ensureTitleRowHidden();
    syncPinnedRows(std::clamp(m_fixedRows, 1, std::max(1, count)) - 1);
    if (!currentIndex().isValid() && count > 1 && ColCount() > m_fixedCols)
        setCurrentIndex(m_model->index(std::max(1, m_fixedRows), m_fixedCols));
}

void TLNQCustomGrid::SetFixedCols(int count) {
    count = std::clamp(count, 0, std::max(0, ColCount() - 1));
    if (count == m_fixedCols) return;
    m_fixedCols = count;
    syncFrozen();
    updateFrozenGeometry();
    invalidateBands();
    RefreshCells();
    const QModelIndex cur = currentIndex();
    if (cur.isValid() && cur.column() < m_fixedCols && m_fixedCols < ColCount())
        setCurrentIndex(m_model->index(cur.row(), m_fixedCols));
}

void TLNQCustomGrid::SetFixedRows(int count) {
    count = std::clamp(count, 0, std::max(0, RowCount() - 1));
    m_fixedRows = count;
    syncPinnedRows(std::max(1, count) - 1);
    RefreshCells();
    const QModelIndex cur = currentIndex();
    if (cur.isValid() && cur.row() < firstScrollRow() && firstScrollRow() < RowCount())
        setCurrentIndex(m_model->index(firstScrollRow(), cur.column()));
}

int TLNQCustomGrid::pinnedRowCount() const {
    return int(m_pinnedHeights.size());
}

int TLNQCustomGrid::pinnedRowsHeight() const {
    int h = 0;
    for (int v : m_pinnedHeights)
        h += v;
    return h;
}

int TLNQCustomGrid::firstScrollRow() const {
    return std::max(1, m_fixedRows);
}

void TLNQCustomGrid::syncPinnedRows(int want) {
    if (!m_frozen) return;
    want = std::clamp(want, 0, std::max(0, RowCount() - 1));
    const int had = pinnedRowCount();
    if (want == had) return;
    QHeaderView* vh = verticalHeader();
    // Released rows scroll again at their height; the frozen view is shown
    // first so that the main view's resize reaches it.
    for (int r = want + 1; r <= had && r < RowCount(); ++r) {
        const int h = m_pinnedHeights[size_t(r - 1)];
        m_frozen->setRowHidden(r, false);
        setRowHidden(r, false);
        vh->resizeSection(r, h);
        m_frozen->verticalHeader()->resizeSection(r, h);
    }
    m_pinnedHeights.resize(size_t(std::max(want, 0)), m_defaultRowHeight);
    // Newly pinned rows keep the height they had; the frozen view is hidden
    // first so that it does not take the hidden row's zero size.
    for (int r = had + 1; r <= want; ++r) {
        m_pinnedHeights[size_t(r - 1)] = vh->isSectionHidden(r) ? m_defaultRowHeight : vh->sectionSize(r);
        m_frozen->setRowHidden(r, true);
        setRowHidden(r, true);
    }
    updateHeaderVisibility();
    invalidateBands();
}

void TLNQCustomGrid::SetLockedCols(int count) {
    count = std::clamp(count, 0, std::max(0, ColCount() - m_fixedCols));
    if (count == m_lockedCols) return;
    m_lockedCols = count;
    syncFrozen();
    updateFrozenGeometry();
    invalidateBands();
}

int TLNQCustomGrid::RowHeights(int row) const {
    if (row == 0) return m_headerHeight;
    if (row < 0 || row >= RowCount()) return m_defaultRowHeight;
    if (row <= pinnedRowCount()) return m_pinnedHeights[size_t(row - 1)];
    return verticalHeader()->sectionSize(row);
}

void TLNQCustomGrid::SetRowHeights(int row, int height) {
    if (row <= 0 || row >= RowCount() || height < 1) return;
    if (row <= pinnedRowCount()) {
        if (m_pinnedHeights[size_t(row - 1)] == height) return;
        m_pinnedHeights[size_t(row - 1)] = height;
        updateHeaderVisibility();
        invalidateBands();
        return;
    }
    verticalHeader()->resizeSection(row, height);
}

void TLNQCustomGrid::SetDefaultColWidth(int width) {
    m_defaultColWidth = std::max(0, width);
    m_header->setDefaultSectionSize(m_defaultColWidth);
}

void TLNQCustomGrid::SetDefaultRowHeight(int height) {
    m_defaultRowHeight = std::max(1, height);
    verticalHeader()->setDefaultSectionSize(m_defaultRowHeight);
    m_frozen->verticalHeader()->setDefaultSectionSize(m_defaultRowHeight);
    ensureTitleRowHidden();
}

QList<int> TLNQCustomGrid::ColWidthsList() const {
    QList<int> out;
    for (int i = 0; i < ColCount(); ++i)
        out.append(GetColumnWidth(i));
    return out;
}

void TLNQCustomGrid::SetColWidthsList(const QList<int>& widths) {
    for (int i = 0; i < ColCount() && i < widths.size(); ++i)
        SetColumnWidth(i, widths[i]);
}

QList<int> TLNQCustomGrid::RowHeightsList() const {
    QList<int> out;
    for (int i = 0; i < RowCount(); ++i)
        out.append(RowHeights(i));
    return out;
}

void TLNQCustomGrid::SetRowHeightsList(const QList<int>& heights) {
    for (int i = 1; i < RowCount() && i < heights.size(); ++i)
        SetRowHeights(i, heights[i]);
}

// ------------------------------------------------ current cell and scrolling

int TLNQCustomGrid::Col() const {
    const QModelIndex i = currentIndex();
    return i.isValid() ? i.column() : m_fixedCols;
}

int TLNQCustomGrid::Row() const {
    const QModelIndex i = currentIndex();
    return i.isValid() ? i.row() : std::max(1, m_fixedRows);
}

void TLNQCustomGrid::SetCol(int col) {
    FocusCell(col, Row());
}

void TLNQCustomGrid::SetRow(int row) {
    FocusCell(Col(), row);
}

void TLNQCustomGrid::FocusCell(int col, int row) {
    if (col < 0 || row < 0 || col >= ColCount() || row >= RowCount()) return;
    const QModelIndex index = m_model->index(row, col);
    if (index != currentIndex() && !SelectCell(col, row)) return;
    setCurrentIndex(index);
    if (!currentIndex().isValid() || currentIndex() != index) {
        // Cells the selection model refuses (fixed ones) still become current.
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    }
}

int TLNQCustomGrid::TopRow() const {
    const int r = rowAt(0);
    return r < 0 ? firstScrollRow() : r;
}

void TLNQCustomGrid::SetTopRow(int row) {
    if (row < firstScrollRow() || row >= RowCount()) return;
    executeDelayedItemsLayout();
    // Rows scroll one by one; the hidden ones (the title row and the pinned
    // fixed rows, all above the data) are not counted.
    int hidden = 0;
    for (int r = 0; r < row; ++r)
        if (isRowHidden(r))
            ++hidden;
        else
            break;
    verticalScrollBar()->setValue(row - hidden);
}

int TLNQCustomGrid::LeftCol() const {
    const int c = columnAt(frozenWidth());
    return c < 0 ? FrozenCols() : c;
}

void TLNQCustomGrid::SetLeftCol(int col) {
    if (col < FrozenCols() || col >= ColCount()) return;
    horizontalScrollBar()->setValue(columnViewportPosition(col) + horizontalOffset() - frozenWidth());
}

int TLNQCustomGrid::VisibleColCount() const {
    const int fw = frozenWidth();
    const int w = viewport()->width();
    int n = 0;
    for (int c = FrozenCols(); c < ColCount(); ++c) {
        if (isColumnHidden(c)) continue;
        const int x = columnViewportPosition(c);
        if (x < fw) continue;
        if (x + columnWidth(c) > w) break;
        ++n;
    }
    return n;
}

int TLNQCustomGrid::VisibleRowCount() const {
    const int h = viewport()->height();
    int n = 0;
    for (int r = TopRow(); r < RowCount(); ++r) {
        if (isRowHidden(r)) continue;
        const int y = rowViewportPosition(r);
        if (y + rowHeight(r) > h) break;
        ++n;
    }
    return n;
}

QRect TLNQCustomGrid::CellRect(int col, int row) const {
    if (col < 0 || row < 0 || col >= ColCount() || row >= RowCount()) return {};
    const int h = row >= 1 && row <= pinnedRowCount() ? RowHeights(row) : rowHeight(row);
    return QRect(columnLeft(col), rowTop(row), columnWidth(col), h);
}

int TLNQCustomGrid::rowTop(int row) const {
    if (row >= 1 && row <= pinnedRowCount()) {
        int y = -pinnedRowsHeight();
        for (int r = 1; r < row; ++r)
            y += m_pinnedHeights[size_t(r - 1)];
        return y;
    }
    return rowViewportPosition(row);
}

int TLNQCustomGrid::rowAtY(int y) const {
    if (y >= 0) return rowAt(y);
    int top = -pinnedRowsHeight();
    for (int r = 1; r <= pinnedRowCount(); ++r) {
        const int h = m_pinnedHeights[size_t(r - 1)];
        if (y >= top && y < top + h) return r;
        top += h;
    }
    return -1;
}

int TLNQCustomGrid::columnLeft(int col) const {
    return col < FrozenCols() ? m_header->sectionPosition(col) : columnViewportPosition(col);
}

int TLNQCustomGrid::columnAtX(int x) const {
    const int frozen = FrozenCols();
    if (x >= 0 && x < frozenWidth()) {
        for (int c = 0; c < frozen; ++c) {
            if (m_header->isSectionHidden(c)) continue;
            const int left = m_header->sectionPosition(c);
            if (x >= left && x < left + m_header->sectionSize(c)) return c;
        }
        return -1;
    }
    return columnAt(x);
}

int TLNQCustomGrid::fixedWidth() const {
    int w = 0;
    for (int c = 0; c < std::min(m_fixedCols, ColCount()); ++c)
        if (!m_header->isSectionHidden(c)) w += m_header->sectionSize(c);
    return w;
}

void TLNQCustomGrid::MoveColumn(int from, int to) {
    const int n = ColCount();
    if (from < 0 || to < 0 || from >= n || to >= n || from == to) return;
    if (m_colWidths.size() < size_t(n)) m_colWidths.resize(n, m_defaultColWidth);
    if (from < to)
        std::rotate(m_colWidths.begin() + from, m_colWidths.begin() + from + 1, m_colWidths.begin() + to + 1);
    else
        std::rotate(m_colWidths.begin() + to, m_colWidths.begin() + from, m_colWidths.begin() + from + 1);
    const bool wasSyncing = std::exchange(m_syncing, true);
    m_model->MoveColumn(from, to);
    GridCols().Move(from, to);
    m_syncing = wasSyncing;
    applyAllWidths();
    syncFrozen();
    updateFrozenGeometry();
    invalidateBands();
    Q_EMIT OnColumnMoved(this, from, to);
}

void TLNQCustomGrid::MoveRow(int from, int to) {
    // The title row never moves, and nothing moves into its place.
    if (from < 1 || to < 1 || from >= RowCount() || to >= RowCount() || from == to) return;
    // Pinning follows the row numbers, not the rows: release, move, pin.
    const int pinned = pinnedRowCount();
    const bool touchesPinned = std::min(from, to) <= pinned;
    if (touchesPinned) syncPinnedRows(0);
    m_model->MoveRow(from, to);
    if (touchesPinned) syncPinnedRows(pinned);
    Q_EMIT OnRowMoved(this, from, to);
}

TGridState TLNQCustomGrid::GridState() const {
    return m_drag.Pending ? gsNormal : m_drag.State;
}

// -------------------------------------------------------- options and looks

void TLNQCustomGrid::SetOptions(TGridOptions options) {
    m_options = options;
    applyOptions();
}

void TLNQCustomGrid::applyOptions() {
    const auto behaviour = m_options.testFlag(TGridOption::goRowSelect) ? SelectRows : SelectItems;
    const auto mode = m_options.testFlag(TGridOption::goRangeSelect) ? ContiguousSelection : SingleSelection;
    for (QTableView* v : {static_cast<QTableView*>(this), static_cast<QTableView*>(m_frozen)}) {
        v->setSelectionBehavior(behaviour);
        v->setSelectionMode(mode);
        v->horizontalHeader()->setSectionResizeMode(
            m_options.testFlag(TGridOption::goColSizing) ? QHeaderView::Interactive : QHeaderView::Fixed);
    }
    // Columns and rows are moved by the grid's own dragging (eventFilter),
    // which keeps the fixed columns in place.
    setTabKeyNavigation(m_options.testFlag(TGridOption::goTabs));
    applyEditTriggers();
    RefreshCells();
    if (m_options.testFlag(TGridOption::goAlwaysShowEditor) && currentIndex().isValid() && !EditorMode())
        ShowEditor();
}

void TLNQCustomGrid::applyEditTriggers() {
    const EditTriggers t =
        m_options.testFlag(TGridOption::goEditing) && !m_readOnly
            ? EditTriggers(DoubleClicked | SelectedClicked | AnyKeyPressed | EditKeyPressed)
            : EditTriggers(NoEditTriggers);
    setEditTriggers(t);
    m_frozen->setEditTriggers(t);
}

void TLNQCustomGrid::SetGridReadOnly(bool on) {
    m_readOnly = on;
    applyEditTriggers();
}

void TLNQCustomGrid::SetDblEqual(bool on) {
    m_dblEqual = on;
    invalidateBands();
}

void TLNQCustomGrid::SetHeaderHeight(int height) {
    m_headerHeight = std::max(0, height);
    updateHeaderVisibility();
    invalidateBands();
}

void TLNQCustomGrid::updateHeaderVisibility() {
    if (!m_frozen) return;
    // The band holds the titles and the pinned fixed rows.
    const bool show = BandHeight(true) >= 1;
    m_header->setVisible(show);
    m_frozen->horizontalHeader()->setVisible(show);
    m_header->updateGeometry();
    m_frozen->horizontalHeader()->updateGeometry();
    updateGeometries();
    m_frozen->RefreshGeometries();
}

void TLNQCustomGrid::SetHeaderColor(const QColor& color) {
    m_headerColor = color;
    invalidateBands();
}

void TLNQCustomGrid::SetCtl3DThickNess(int thickness) {
    m_ctl3DThickness = std::max(0, thickness);
    invalidateBands();
}

void TLNQCustomGrid::SetShowLock(bool on) {
    m_showLock = on;
    invalidateBands();
}

void TLNQCustomGrid::SetLineStyle(Qt::PenStyle style) {
    m_lineStyle = style;
    RefreshCells();
}

void TLNQCustomGrid::SetLineColor(const QColor& color) {
    m_lineColor = color;
    RefreshCells();
}

void TLNQCustomGrid::SetGridTail(bool on) {
    m_gridTail = on;
    updateGeometries();
    invalidateBands();
}

void TLNQCustomGrid::SetGridTailHeight(int height) {
    m_gridTailHeight = std::max(0, height);
    updateGeometries();
    invalidateBands();
}

void TLNQCustomGrid::SetGridTailColor(const QColor& color) {
    m_gridTailColor = color;
    invalidateBands();
}

void TLNQCustomGrid::SetBKColor(const QColor& color) {
    m_bkColor = color;
    QPalette pal = viewport()->palette();
    pal.setColor(QPalette::Base, color);
    pal.setColor(QPalette::Window, color);
    viewport()->setPalette(pal);
    if (m_frozen) m_frozen->viewport()->setPalette(pal);
}

void TLNQCustomGrid::SetColor(const QColor& color) {
    m_color = color;
    RefreshCells();
}

void TLNQCustomGrid::SetFixedColor(const QColor& color) {
    m_fixedColor = color;
    RefreshCells();
}

void TLNQCustomGrid::SetScrollBars(TScrollStyle style) {
    m_scrollBars = style;
    setHorizontalScrollBarPolicy(style == ssHorizontal || style == ssBoth ? Qt::ScrollBarAsNeeded
                                                                          : Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(style == ssVertical || style == ssBoth ? Qt::ScrollBarAsNeeded
                                                                      : Qt::ScrollBarAlwaysOff);
}

// ------------------------------------------------- title and footer bands

int TLNQCustomGrid::frozenWidth() const {
    int w = 0;
    const int f = FrozenCols();
    for (int c = 0; c < f; ++c)
        if (!m_header->isSectionHidden(c)) w += m_header->sectionSize(c);
    return w;
}

QList<THeaderColumn> TLNQCustomGrid::HeaderColumns() const {
    QList<THeaderColumn> out;
    const TGridCols& cols = GridCols();
    const int n = std::min(ColCount(), cols.Count());
    const int frozen = FrozenCols();
    const int fw = frozenWidth();
    out.reserve(n);
    for (int i = 0; i < n; ++i) {
        const TGridCol* col = cols[i];
        THeaderColumn h;
        h.Index = i;
        h.Width = GetColumnWidth(i) < 0 ? -1 : m_header->sectionSize(i);
        if (i < frozen) {
            h.Left = m_header->sectionPosition(i);
        } else {
            h.Left = m_header->sectionViewportPosition(i);
            h.ScrolledOut = h.Width > 0 ? h.Left + h.Width <= fw : h.Left < fw;
        }
        h.Caption = col->Caption();
        h.TailCaption = col->TailCaption();
        h.Currency = col->DataTypePro() == dpCurrency;
        h.SortMark = col->SortMark();
        out.append(h);
    }
    return out;
}

THeaderLayout TLNQCustomGrid::HeaderLayout() const {
    return LayoutHeader(HeaderColumns(), m_headerHeight, m_dblEqual, m_showLock, FrozenCols() - 1);
}

THeaderLayout TLNQCustomGrid::FooterLayout() const {
    if (!m_gridTail) return {};
    return LayoutFooter(HeaderColumns(), m_gridTailHeight);
}

void TLNQCustomGrid::DrawHeaderorTail(QPainter& painter, bool header) {
    PaintHeaderLayout(painter, BandLayout(header), BandStyle(header));
    if (header) Q_EMIT OnDrawHeader(this);
}

void TLNQCustomGrid::DrawHeaderTail(QPainter& headerPainter, QPainter& footerPainter) {
    DrawHeaderorTail(headerPainter, true);
    if (m_gridTail) DrawHeaderorTail(footerPainter, false);
}

QTableView* TLNQCustomGrid::FrozenView() const {
    return m_frozen;
}

THeaderLayout TLNQCustomGrid::BandLayout(bool header) const {
    return header ? HeaderLayout() : FooterLayout();
}

THeaderPaintStyle TLNQCustomGrid::BandStyle(bool header) const {
    THeaderPaintStyle s;
    s.Fill = header ? m_headerColor : m_gridTailColor;
    s.TextColor = palette().color(QPalette::ButtonText);
    s.Ctl3DThickness = m_ctl3DThickness;
    s.GroupFont = font();
    s.TitleFont = [this](int c) {
        const TGridCol* col = GridCols().Items(c);
        return col ? col->TitleFont() : font();
    };
    s.Alignment = [this](int c) {
        const TGridCol* col = GridCols().Items(c);
        return col ? col->Alignment() : Qt::Alignment(Qt::AlignLeft);
    };
    return s;
}

int TLNQCustomGrid::BandHeight(bool header) const {
    return header ? m_headerHeight + pinnedRowsHeight() : (m_gridTail ? m_gridTailHeight : 0);
}

void TLNQCustomGrid::BandPainted(bool header) {
    if (header && m_headerHeight >= 1) Q_EMIT OnDrawHeader(this);
}

void TLNQCustomGrid::PaintFixedRows(QPainter& painter, const QRect& exposed) {
    const int pinned = pinnedRowCount();
    if (pinned == 0) return;
    const QList<THeaderColumn> cols = HeaderColumns();
    QStyleOptionViewItem option;
    option.initFrom(this);
    option.state = QStyle::State_Enabled;
    int y = m_headerHeight;
    for (int r = 1; r <= pinned; ++r) {
        const int h = m_pinnedHeights[size_t(r - 1)];
        if (y < exposed.bottom() + 1 && y + h > exposed.top()) {
            for (const THeaderColumn& c : cols) {
                if (c.ScrolledOut || c.Width <= 0) continue;
                option.rect = QRect(c.Left, y, c.Width, h);
                if (!option.rect.intersects(exposed)) continue;
                painter.save();
                painter.setClipRect(option.rect, Qt::IntersectClip);
                PaintCell(&painter, option, m_model->index(r, c.Index));
                painter.restore();
            }
        }
        y += h;
    }
}

void TLNQCustomGrid::invalidateBands() {
    if (!m_footer || !m_frozen) return; // still being built, or going away
    m_header->viewport()->update();
    m_frozen->horizontalHeader()->viewport()->update();
    m_footer->update();
}

void TLNQCustomGrid::RefreshCells() {
    viewport()->update();
    if (m_frozen) m_frozen->viewport()->update();
    if (pinnedRowCount() > 0) invalidateBands();
}

// ------------------------------------------------------- view geometry

void TLNQCustomGrid::applyWidth(int col) {
    if (!m_frozen) return;
    const int w = GetColumnWidth(col);
    const bool wasSyncing = m_syncing;
    m_syncing = true;
    if (w < 0) {
        setColumnHidden(col, true);
    } else {
        setColumnHidden(col, false);
        if (m_header->sectionSize(col) != w) m_header->resizeSection(col, w);
    }
    if (col < FrozenCols()) {
        m_frozen->setColumnHidden(col, w < 0);
        if (w >= 0 && m_frozen->horizontalHeader()->sectionSize(col) != w)
            m_frozen->horizontalHeader()->resizeSection(col, w);
    } else {
        m_frozen->setColumnHidden(col, true);
    }
    m_syncing = wasSyncing;
}

void TLNQCustomGrid::applyAllWidths() {
    for (int c = 0; c < ColCount(); ++c)
        applyWidth(c);
}

void TLNQCustomGrid::syncFrozen() {
    applyAllWidths();
    ensureTitleRowHidden();
    updateFrozenGeometry();
}

void TLNQCustomGrid::ensureTitleRowHidden() {
    if (!m_frozen || RowCount() < 1) return;
    setRowHidden(0, true);
    m_frozen->setRowHidden(0, true);
}

void TLNQCustomGrid::updateFrozenGeometry() {
    if (!m_frozen) return;
    const int fw = frozenWidth();
    if (FrozenCols() == 0 || fw <= 0) {
        m_frozen->hide();
        return;
    }
    const QRect vp = viewport()->geometry();
    const int top = m_header->isVisible() ? m_header->geometry().top() : vp.top();
    m_frozen->setGeometry(vp.left(), top, std::min(fw, vp.width()), vp.bottom() - top + 1);
    m_frozen->show();
    m_frozen->raise();
    m_frozen->verticalScrollBar()->setValue(verticalScrollBar()->value());
    if (m_popups && m_popups->List()->isVisible()) m_popups->List()->raise();
}

void TLNQCustomGrid::updateFooterGeometry() {
    const int tail = m_gridTail ? m_gridTailHeight : 0;
    const QMargins m = viewportMargins();
    if (m.bottom() != tail) setViewportMargins(m.left(), m.top(), m.right(), tail);
    if (tail > 0) {
        const QRect vp = viewport()->geometry();
        m_footer->setGeometry(vp.left(), vp.bottom() + 1, vp.width(), tail);
        m_footer->show();
        m_footer->raise();
    } else {
        m_footer->hide();
    }
}

void TLNQCustomGrid::fixVerticalRange() {
    // The table view sized its scroll range for a viewport without the
    // footer band; recount with the real height.
    QHeaderView* vh = verticalHeader();
    const int viewportHeight = viewport()->height();
    QScrollBar* bar = verticalScrollBar();
    if (verticalScrollMode() == ScrollPerPixel) {
        bar->setRange(0, std::max(0, vh->length() - viewportHeight));
        bar->setPageStep(viewportHeight);
        return;
    }
    const int count = vh->count();
    int rows = 0;
    int height = 0;
    for (int visual = count - 1; visual >= 0; --visual) {
        const int logical = vh->logicalIndex(visual);
        if (vh->isSectionHidden(logical)) continue;
        height += vh->sectionSize(logical);
        if (height > viewportHeight) break;
        ++rows;
    }
    const int visibleRows = count - vh->hiddenSectionCount();
    bar->setPageStep(std::max(1, rows));
    bar->setRange(0, std::max(0, visibleRows - rows));
}

void TLNQCustomGrid::updateGeometries() {
    QTableView::updateGeometries();
    if (m_inGeometry || !m_footer) return;
    m_inGeometry = true;
    updateFooterGeometry();
    if (m_gridTail && m_gridTailHeight > 0) fixVerticalRange();
    updateFrozenGeometry();
    m_inGeometry = false;
}

void TLNQCustomGrid::resizeEvent(QResizeEvent* event) {
    QTableView::resizeEvent(event);
    updateFooterGeometry();
    updateFrozenGeometry();
}

void TLNQCustomGrid::scrollContentsBy(int dx, int dy) {
    const int top = TopRow();
    const int left = LeftCol();
    QTableView::scrollContentsBy(dx, dy);
    if (dx != 0) {
        // Groups and frozen columns do not move with the pixels: lay out again.
        invalidateBands();
    }
    emitTopLeftIfChanged(top, left);
}

void TLNQCustomGrid::emitTopLeftIfChanged(int oldTop, int oldLeft) {
    // Columns scroll by the pixel: only a change of the first row or column
    // on screen is news.
    if (TopRow() != oldTop || LeftCol() != oldLeft) Q_EMIT OnTopLeftChanged(this);
}

void TLNQCustomGrid::scrollTo(const QModelIndex& index, ScrollHint hint) {
    if (!index.isValid()) return;
    if (index.column() < FrozenCols()) {
        const int h = horizontalScrollBar()->value();
        QTableView::scrollTo(index, hint);
        horizontalScrollBar()->setValue(h);
        return;
    }
    QTableView::scrollTo(index, hint);
    const int fw = frozenWidth();
    const int x = columnViewportPosition(index.column());
    if (x < fw) horizontalScrollBar()->setValue(horizontalScrollBar()->value() - (fw - x));
}

QModelIndex TLNQCustomGrid::moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) {
    const QModelIndex target = QTableView::moveCursor(cursorAction, modifiers);
    const QModelIndex cur = currentIndex();
    if (target.isValid() && target != cur && !SelectCell(target.column(), target.row())) return cur;
    return target;
}

bool TLNQCustomGrid::SelectCell(int ACol, int ARow) {
    bool can = true;
    if (OnSelectCell) OnSelectCell(ACol, ARow, can);
    return can;
}

bool TLNQCustomGrid::selectCellAllowed(const QModelIndex& index) {
    // Cells that cannot become current by mouse (fixed ones) are not asked.
    if (!index.isValid() || index == currentIndex() || !(index.flags() & Qt::ItemIsEnabled)) return true;
    return SelectCell(index.column(), index.row());
}

void TLNQCustomGrid::mousePressEvent(QMouseEvent* event) {
    if (!selectCellAllowed(indexAt(event->position().toPoint()))) {
        event->accept();
        return;
    }
    QTableView::mousePressEvent(event);
}

void TLNQCustomGrid::mouseMoveEvent(QMouseEvent* event) {
    // Dragging a selection moves the current cell too: the same veto.
    if ((event->buttons() & Qt::LeftButton) && !selectCellAllowed(indexAt(event->position().toPoint()))) {
        event->accept();
        return;
    }
    QTableView::mouseMoveEvent(event);
}

void TLNQCustomGrid::contextMenuEvent(QContextMenuEvent* event) {
    const QModelIndex index = indexAt(viewport()->mapFrom(this, event->pos()));
    if (index.isValid()) {
        TGridCol* col = GridCols().Items(index.column());
        if (col && col->PopupMenu()) {
            col->PopupMenu()->exec(event->globalPos());
            return;
        }
    }
    QTableView::contextMenuEvent(event);
}

void TLNQCustomGrid::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) {
        m_sampleHeight = -1;
        m_digitWidth = -1;
    }
    QTableView::changeEvent(event);
}

int TLNQCustomGrid::SampleTextHeight() const {
    if (m_sampleHeight < 0) m_sampleHeight = QFontMetrics(font()).height();
    return m_sampleHeight;
}

int TLNQCustomGrid::DigitWidth() const {
    if (m_digitWidth < 0) m_digitWidth = std::max(1, QFontMetrics(font()).horizontalAdvance(u'3'));
    return m_digitWidth;
}

// ----------------------------------------------------------- header clicks

void TLNQCustomGrid::headerClicked(int logical) {
    if (!m_pressInTitle) return; // a fixed row under the titles
    TGridCol* col = GridCols().Items(logical);
    if (col && col->Sortable()) TitleClick(logical);
}

void TLNQCustomGrid::TitleClick(int col) {
    TGridCols& cols = GridCols();
    TGridCol* clicked = cols.Items(col);
    if (!clicked) return;
    const TSortMark mark = clicked->SortMark() == smUp ? smDown : smUp;
    for (int i = 0; i < cols.Count(); ++i)
        cols[i]->SetSortMark(smNone);
    clicked->SetSortMark(mark);
    invalidateBands();
    Q_EMIT OnTitleClick(this, col, mark);
}

void TLNQCustomGrid::headerDoubleClicked(int logical) {
    if (!m_pressInTitle) return;
    bool canLock = true;
    if (OnHeaderDblClick) OnHeaderDblClick(logical, canLock, QApplication::keyboardModifiers());
    if (!canLock || logical < m_fixedCols) return;
    // Double-clicking the last locked column unlocks; any other locks up to it.
    const int want = logical + 1 - m_fixedCols;
    SetLockedCols(m_lockedCols == want ? 0 : want);
}

void TLNQCustomGrid::headerHandleDoubleClicked(int logical) {
    bool can = true;
    if (OnSizeLineDblClick) OnSizeLineDblClick(logical, can, QApplication::keyboardModifiers());
    if (can) fitColumn(logical);
}

void TLNQCustomGrid::fitColumn(int col) {
    TGridCol* gc = GridCols().Items(col);
    if (!gc) return;
    const QFontMetrics title(gc->TitleFont());
    int w = 0;
    for (const QString& part : gc->Caption().split(u';'))
        w = std::max(w, title.horizontalAdvance(part));
    // Only the rows on screen: a long grid is never scanned.
    const QFontMetrics fm(font());
    const int top = TopRow();
    const int last = std::min(RowCount() - 1, top + std::max(1, VisibleRowCount()));
    for (int r = top; r <= last; ++r)
        w = std::max(w, fm.horizontalAdvance(m_model->Cell(col, r)));
    SetColumnWidth(col, w + 8);
}

void TLNQCustomGrid::headerSectionResized(QHeaderView* header, int logical, int newSize) {
    // Only a user's drag counts; sections hidden or moved by the grid itself
    // report sizes too.
    if (!m_frozen || m_syncing || logical < 0 || logical >= ColCount() || header->isSectionHidden(logical))
        return;
    if (GetColumnWidth(logical) < 0) return; // hidden stays hidden
    if (size_t(logical) >= m_colWidths.size()) m_colWidths.resize(logical + 1, m_defaultColWidth);
    m_colWidths[logical] = newSize;
    applyWidth(logical);
    updateFrozenGeometry();
    invalidateBands();
}

// ------------------------------------------------- mouse sizing and moving

namespace {
// Half-width of the zone around a row divider that grabs it.
constexpr int kRowGrip = 3;
} // namespace

bool TLNQCustomGrid::eventFilter(QObject* watched, QEvent* event) {
    if (m_frozen && m_footer) {
        const bool header =
            watched == m_header->viewport() || watched == m_frozen->horizontalHeader()->viewport();
        if (header || watched == m_frozen->viewport()) {
            switch (event->type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
            case QEvent::MouseMove:
            case QEvent::MouseButtonRelease:
                if (gridMouseEvent(static_cast<QWidget*>(watched), static_cast<QMouseEvent*>(event), header))
                    return true;
                break;
            default:
                break;
            }
        }
    }
    return QTableView::eventFilter(watched, event);
}

bool TLNQCustomGrid::gridMouseEvent(QWidget* source, QMouseEvent* event, bool header) {
    const QPoint local = event->position().toPoint();
    const QPoint p = viewport()->mapFrom(this, source->mapTo(this, local));
    const bool dragging = !m_drag.Source.isNull();
    switch (event->type()) {
    case QEvent::MouseButtonDblClick:
        if (header) m_pressInTitle = local.y() < m_headerHeight;
        return dragging;
    case QEvent::MouseButtonPress: {
        if (dragging) return true;
        if (header) m_pressInTitle = local.y() < m_headerHeight;
        if (event->button() != Qt::LeftButton) return false;
        // A title divider belongs to the header view (goColSizing).
        if (header && onColumnSizingHandle(static_cast<QHeaderView*>(source->parentWidget()), local.x()))
            return false;
        if (const int r = rowDividerAt(p); r > 0) {
            beginDrag(gsRowSizing, r, source, p, false);
            return true;
        }
        if (header) {
            if (!m_options.testFlag(TGridOption::goColMoving)) return false;
            const int c = columnAtX(p.x());
            if (c < m_fixedCols || c >= ColCount()) return false;
            // Becomes a move once dragged; a release before that is a click.
            beginDrag(gsColMoving, c, source, p, true);
            return true;
        }
        if (!m_options.testFlag(TGridOption::goRowMoving) || p.x() >= fixedWidth()) return false;
        const int r = rowAtY(p.y());
        if (r < firstScrollRow()) return false;
        beginDrag(gsRowMoving, r, source, p, true);
        return true;
    }
    case QEvent::MouseMove:
        if (dragging) {
            if (source != m_drag.Source) return true;
            if (!(event->buttons() & Qt::LeftButton)) {
                // The release went elsewhere: drop the operation.
                m_dragTimer->stop();
                m_moveMark->hide();
                m_drag = {};
                updateSizingCursor(source, p);
                return true;
            }
            dragTo(p);
            return true;
        }
        if (event->buttons() == Qt::NoButton) updateSizingCursor(source, p);
        return false;
    case QEvent::MouseButtonRelease:
        if (!dragging) return false;
        if (source == m_drag.Source && event->button() == Qt::LeftButton) endDrag(p);
        return true;
    default:
        return false;
    }
}

bool TLNQCustomGrid::onColumnSizingHandle(QHeaderView* header, int x) const {
    // The header view's own rule: near a section's right edge, or near its
    // left edge when a shown section lies before it.
    if (!header || !m_options.testFlag(TGridOption::goColSizing)) return false;
    const int visual = header->visualIndexAt(x);
    if (visual < 0) return false;
    const int logical = header->logicalIndex(visual);
    const int left = header->sectionViewportPosition(logical);
    const int grip = header->style()->pixelMetric(QStyle::PM_HeaderGripMargin, nullptr, header);
    if (x > left + header->sectionSize(logical) - grip) return true;
    if (x < left + grip)
        for (int v = visual - 1; v >= 0; --v)
            if (!header->isSectionHidden(header->logicalIndex(v))) return true;
    return false;
}

int TLNQCustomGrid::rowDividerAt(const QPoint& p) const {
    // Rows are sized from the fixed columns only, as in the platform's grid.
    if (!m_options.testFlag(TGridOption::goRowSizing) || p.x() < 0 || p.x() >= fixedWidth()) return -1;
    const int r = rowAtY(p.y());
    if (r >= 1) {
        const int top = rowTop(r);
        if (top + RowHeights(r) - p.y() <= kRowGrip) return r;
        if (p.y() - top < kRowGrip) {
            // The divider above: the row shown above r (the last pinned row
            // over the first row on screen; none under the title band).
            const int above = r <= pinnedRowCount() || r != TopRow() ? r - 1 : pinnedRowCount();
            return above >= 1 ? above : -1;
        }
        return -1;
    }
    if (p.y() < 0) return -1;
    // Just under the last row.
    const int last = RowCount() - 1;
    if (last < 1 || (last > pinnedRowCount() && isRowHidden(last))) return -1;
    const int bottom = rowTop(last) + RowHeights(last);
    return p.y() >= bottom && p.y() - bottom < kRowGrip ? last : -1;
}

void TLNQCustomGrid::updateSizingCursor(QWidget* w, const QPoint& p) {
    const bool divider = rowDividerAt(p) > 0;
    const bool shown = w->testAttribute(Qt::WA_SetCursor) && w->cursor().shape() == Qt::SplitVCursor;
    if (divider && !shown)
        w->setCursor(Qt::SplitVCursor);
    else if (!divider && shown)
        w->unsetCursor();
}

void TLNQCustomGrid::beginDrag(TGridState state, int index, QWidget* source, const QPoint& p, bool pending) {
    m_drag = {};
    m_drag.State = state;
    m_drag.Pending = pending;
    m_drag.Index = index;
    m_drag.Target = index;
    m_drag.Origin = p;
    m_drag.Last = p;
    m_drag.Source = source;
    if (state == gsRowSizing) {
        // Grid coordinates: a pinned row that grows moves the cells down.
        m_drag.SizeFromY = viewport()->mapTo(this, p).y();
        m_drag.SizeBase = RowHeights(index);
        source->setCursor(Qt::SplitVCursor);
        if (EditorMode()) HideEditor();
    }
}

void TLNQCustomGrid::dragTo(const QPoint& p) {
    m_drag.Last = p;
    if (m_drag.Pending) {
        if ((p - m_drag.Origin).manhattanLength() < QApplication::startDragDistance()) return;
        m_drag.Pending = false;
        if (EditorMode()) HideEditor(); // the edited cell is about to move
    }
    switch (m_drag.State) {
    case gsRowSizing:
        // Live, like the title dividers; a row keeps at least one pixel.
        SetRowHeights(m_drag.Index,
                      std::max(1, m_drag.SizeBase + viewport()->mapTo(this, p).y() - m_drag.SizeFromY));
        return;
    case gsColMoving:
        m_drag.Target = columnDropTarget(p.x());
        break;
    case gsRowMoving:
        m_drag.Target = rowDropTarget(p.y());
        break;
    default:
        return;
    }
    showMoveMark();
    if (dragScrollDirection() == 0)
        m_dragTimer->stop();
    else if (!m_dragTimer->isActive())
        m_dragTimer->start();
}

void TLNQCustomGrid::endDrag(const QPoint& p) {
    dragTo(p);
    m_dragTimer->stop();
    m_moveMark->hide();
    const TMouseDrag d = std::exchange(m_drag, TMouseDrag{});
    if (d.Source) updateSizingCursor(d.Source, p);
    if (d.Pending) {
        if (d.State == gsColMoving) headerClicked(d.Index);
        return;
    }
    if (d.Target < 0 || d.Target == d.Index) return;
    if (d.State == gsColMoving)
        MoveColumn(d.Index, d.Target);
    else if (d.State == gsRowMoving)
        MoveRow(d.Index, d.Target);
}

int TLNQCustomGrid::columnDropTarget(int x) const {
    // The column under the mouse takes the moved one's place; past the
    // right edge the last column on screen does.
    const int width = viewport()->width();
    int c = -1;
    if (x >= width)
        c = columnAtX(width - 1);
    else if (x >= 0)
        c = columnAtX(x);
    if (c < 0 && x >= 0)
        for (c = ColCount() - 1; c >= 0 && isColumnHidden(c); --c) {
        }
    if (c < m_fixedCols) {
        // Nothing goes among the fixed columns: the first one after them.
        const int first = columnAtX(fixedWidth());
        c = first >= m_fixedCols ? first : m_drag.Index;
    }
    return c;
}

int TLNQCustomGrid::rowDropTarget(int y) const {
    const int height = viewport()->height();
    int r;
    if (y < 0)
        r = TopRow();
    else if (y >= height)
        r = rowAt(height - 1);
    else
        r = rowAt(y);
    if (r < 0) r = RowCount() - 1;
    return std::clamp(r, firstScrollRow(), std::max(firstScrollRow(), RowCount() - 1));
}

void TLNQCustomGrid::showMoveMark() {
    // A bar on the side of the target where the moved column or row lands.
    const QRect vp = viewport()->geometry();
    const int t = m_drag.Target;
    if (m_drag.State == gsColMoving) {
        const int left = columnLeft(t);
        const int edge = t > m_drag.Index ? left + columnWidth(t) : left;
        const int top = m_header->isVisible() ? m_header->geometry().top() : vp.top();
        m_moveMark->setGeometry(vp.left() + edge - 1, top, 2, vp.bottom() - top + 1);
    } else {
        const int top = rowTop(t);
        const int edge = t > m_drag.Index ? top + rowHeight(t) : top;
        m_moveMark->setGeometry(vp.left(), vp.top() + edge - 1, vp.width(), 2);
    }
    m_moveMark->show();
    m_moveMark->raise();
}

int TLNQCustomGrid::dragScrollDirection() const {
    if (m_drag.Source.isNull() || m_drag.Pending) return 0;
    const QPoint p = m_drag.Last;
    if (m_drag.State == gsColMoving) {
        const QScrollBar* bar = horizontalScrollBar();
        if (p.x() >= viewport()->width()) return bar->value() < bar->maximum() ? 1 : 0;
        if (p.x() < fixedWidth() || p.x() < 0) return bar->value() > bar->minimum() ? -1 : 0;
    } else if (m_drag.State == gsRowMoving) {
        const QScrollBar* bar = verticalScrollBar();
        if (p.y() >= viewport()->height()) return bar->value() < bar->maximum() ? 1 : 0;
        if (p.y() < 0) return bar->value() > bar->minimum() ? -1 : 0;
    }
    return 0;
}

void TLNQCustomGrid::dragScrollTick() {
    const int dir = dragScrollDirection();
    if (dir == 0) {
        m_dragTimer->stop();
        return;
    }
    if (m_drag.State == gsColMoving) {
        // One column a tick.
        int c = LeftCol();
        if (dir > 0) {
            do
                ++c;
            while (c < ColCount() && isColumnHidden(c));
        } else if (columnViewportPosition(c) >= frozenWidth()) {
            do
                --c;
            while (c >= FrozenCols() && isColumnHidden(c));
        }
        if (c >= FrozenCols() && c < ColCount()) SetLeftCol(c);
    } else {
        verticalScrollBar()->setValue(verticalScrollBar()->value() + dir);
    }
    dragTo(m_drag.Last);
}

// ---------------------------------------------------------------- painting

Qt::ItemFlags TLNQCustomGrid::cellFlags(int col, int row) const {
    if (row < 1 || row < m_fixedRows || col < m_fixedCols) return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (CanEditCell(col, row)) f |= Qt::ItemIsEditable;
    return f;
}

void TLNQCustomGrid::PaintCell(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) {
    const int c = index.column();
    const int r = index.row();
    const QRect rect = option.rect;
    const bool fixed = c < m_fixedCols || r < m_fixedRows;
    const bool focused = index == currentIndex() && (option.state & QStyle::State_HasFocus);
    TGridDrawState state;
    if (fixed) state |= TGridDrawStateFlag::gdFixed;
    if (option.state & QStyle::State_Selected) state |= TGridDrawStateFlag::gdSelected;
    if (focused) state |= TGridDrawStateFlag::gdFocused;
    const bool highlight = state.testFlag(TGridDrawStateFlag::gdSelected) &&
                           (!focused || m_options.testFlag(TGridOption::goDrawFocusSelected) ||
                            m_options.testFlag(TGridOption::goRowSelect));
    if (m_defaultDrawing) {
        QColor ground;
        if (fixed)
            ground = m_fixedColor;
        else if (highlight)
            ground = palette().color(QPalette::Highlight);
        else {
            const QColor rc = GetRowColor(r);
            ground = rc.isValid() ? rc : m_color;
        }
        painter->fillRect(rect, ground);
        const bool vert = m_options.testFlag(fixed ? TGridOption::goFixedVertLine : TGridOption::goVertLine);
        const bool horz = m_options.testFlag(fixed ? TGridOption::goFixedHorzLine : TGridOption::goHorzLine);
        if (vert || horz) {
            const QPen old = painter->pen();
            painter->setPen(
                QPen(fixed ? QColor(128, 128, 128) : m_lineColor, 1, fixed ? Qt::SolidLine : m_lineStyle));
            if (vert) painter->drawLine(rect.topRight(), rect.bottomRight());
            if (horz) painter->drawLine(rect.bottomLeft(), rect.bottomRight());
            painter->setPen(old);
        }
        if (fixed && m_ctl3DThickness > 0) {
            const QPen old = painter->pen();
            painter->setPen(Qt::white);
            painter->drawLine(rect.topLeft(), QPoint(rect.right() - 1, rect.top()));
            painter->drawLine(rect.topLeft(), QPoint(rect.left(), rect.bottom() - 1));
            painter->setPen(old);
        }
        const QRect inner = rect.adjusted(0, 0, vert ? -1 : 0, horz ? -1 : 0);
        // The widget's palette, not the item's: fixed cells are disabled
        // items and would come out grey.
        const QPalette& pal = palette();
        painter->setPen(highlight ? pal.color(QPalette::HighlightedText)
                                  : pal.color(fixed ? QPalette::ButtonText : QPalette::Text));
        painter->setFont(font());
        DrawCell(*painter, inner, c, r, state);
        if (focused && !m_options.testFlag(TGridOption::goRowSelect)) {
            const QPen old = painter->pen();
            painter->setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
            painter->drawRect(inner.adjusted(0, 0, -1, -1));
            painter->setPen(old);
        }
    }
    Q_EMIT OnDrawCell(this, c, r, painter, rect, state);
}

void TLNQCustomGrid::DrawCell(QPainter& painter, const QRect& rect, int col, int row, TGridDrawState) {
    const QString text = m_model->Cell(col, row);
    if (text.isEmpty()) return;
    painter.drawText(rect.adjusted(2, 0, -2, 0), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);
}

QColor TLNQCustomGrid::GetRowColor(int) const {
    return {};
}

QString TLNQCustomGrid::GetFileName() const {
    const QString dir = QCoreApplication::applicationDirPath() + QStringLiteral("/KXFormat");
    QDir().mkpath(dir);
    const QString exe = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    return dir + u'/' + exe + u'.' + window()->objectName() + u'.' + objectName() + QStringLiteral(".FMT");
}

// ----------------------------------------------------------------- editing

bool TLNQCustomGrid::CanEditCell(int col, int row) const {
    if (!m_options.testFlag(TGridOption::goEditing) || m_readOnly) return false;
    if (col < m_fixedCols || row < std::max(1, m_fixedRows) || col >= ColCount() || row >= RowCount())
        return false;
    const TGridCol* gc = GridCols().Items(col);
    return !gc || !gc->ReadOnly();
}

bool TLNQCustomGrid::IsPopupColumn(int col) const {
    const TGridCol* gc = GridCols().Items(col);
    return gc && (gc->PopDateAllowed() || gc->PopComboBoxAllowed());
}

TEditStyle TLNQCustomGrid::GetEditStyle(int col, int) const {
    const TGridCol* gc = GridCols().Items(col);
    if (!gc) return esSimple;
    if (gc->LoadButton()) return esEllipsis;
    if (gc->PopComboBoxAllowed()) return esPickList;
    return esSimple;
}

QString TLNQCustomGrid::GetEditText(int col, int row) const {
    QString text = m_model->Cell(col, row);
    if (OnGetEditText) OnGetEditText(col, row, text);
    return text;
}

void TLNQCustomGrid::SetEditText(int col, int row, const QString& text) {
    m_model->SetCell(col, row, text);
    Q_EMIT OnSetEditText(this, col, row, text);
}

TInplaceEdit* TLNQCustomGrid::InplaceEditor() const {
    return m_editor.data();
}

bool TLNQCustomGrid::EditorMode() const {
    return m_editor && !m_editor->isHidden();
}

QComboBox* TLNQCustomGrid::PopupList() const {
    return m_popups->List();
}

QCalendarWidget* TLNQCustomGrid::PopupCalendar() const {
    return m_popups->Calendar();
}

QWidget* TLNQCustomGrid::CreateCellEditor(QWidget* parent, const QModelIndex& index) {
    auto* editor = new TInplaceEdit(*this, parent);
    editor->setFont(font());
    if (const TGridCol* col = GridCols().Items(index.column())) {
        editor->SetLoadButton(col->LoadButton());
        editor->SetEditMask(col->EditMask());
        editor->setAlignment(col->Alignment() | Qt::AlignVCenter);
        m_editorImeMode = col->ImeMode();
        m_editorImeName = col->ImeName();
    }
    editor->SetImeMode(m_editorImeMode);
    editor->SetImeName(m_editorImeName);
    m_editor = editor;
    Q_EMIT OnEditing(this, index.column(), index.row());
    return editor;
}

void TLNQCustomGrid::LoadCellEditor(QWidget* editor, const QModelIndex& index) {
    auto* ed = qobject_cast<TInplaceEdit*>(editor);
    if (!ed) return;
    const bool loaded = ed->property("lnqLoaded").toBool();
    if (loaded && EditUpdateDisabled()) return;
    ed->SetEditText(GetEditText(index.column(), index.row()));
    ed->setProperty("lnqLoaded", true);
}

void TLNQCustomGrid::StoreCellEditor(QWidget* editor, const QModelIndex& index) {
    auto* ed = qobject_cast<TInplaceEdit*>(editor);
    if (!ed) return;
    const QString text = ed->EditText();
    if (text != m_model->Cell(index.column(), index.row())) SetEditText(index.column(), index.row(), text);
    Q_EMIT OnEdited(this, index.column(), index.row());
}

bool TLNQCustomGrid::edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) {
    if (!index.isValid()) return QTableView::edit(index, trigger, event);
    const int c = index.column();
    const int r = index.row();
    const bool byUser = trigger & (DoubleClicked | SelectedClicked | EditKeyPressed | AnyKeyPressed);
    if (byUser && CanEditCell(c, r)) {
        const TGridCol* col = GridCols().Items(c);
        if (col && col->CheckBox()) {
            const bool space = event && event->type() == QEvent::KeyPress &&
                               static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space;
            if (trigger != AnyKeyPressed || space) {
                const bool on = m_model->Cell(c, r) == col->ValueTrue();
                SetEditText(c, r, on ? col->ValueFalse() : col->ValueTrue());
            }
            return false;
        }
        if (IsPopupColumn(c)) {
            FocusCell(c, r);
            PopEnter();
            return false;
        }
    }
    if (c < FrozenCols() && m_frozen->isVisible()) return m_frozen->EditFromGrid(index, trigger, event);
    return QTableView::edit(index, trigger, event);
}

void TLNQCustomGrid::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QTableView::currentChanged(current, previous);
    if (m_frozen) m_frozen->viewport()->update();
    if (current.isValid() && m_options.testFlag(TGridOption::goAlwaysShowEditor) &&
        CanEditCell(current.column(), current.row()) && !EditorMode())
        edit(current, AllEditTriggers, nullptr);
}

bool TLNQCustomGrid::ShowEditor() {
    const QModelIndex i = currentIndex();
    if (!i.isValid() || !CanEditCell(i.column(), i.row())) return false;
    if (EditorMode()) return true;
    const TGridCol* col = GridCols().Items(i.column());
    if (col && col->CheckBox()) return false;
    return edit(i, AllEditTriggers, nullptr);
}

void TLNQCustomGrid::HideEditor() {
    if (!EditorMode() || !m_editorDelegate) return;
    QWidget* editor = m_editor.data();
    Q_EMIT m_editorDelegate->commitData(editor);
    Q_EMIT m_editorDelegate->closeEditor(editor, QAbstractItemDelegate::NoHint);
    if (!hasFocus()) setFocus(Qt::OtherFocusReason);
}

void TLNQCustomGrid::TypeCheck(QChar& Key) {
    const TGridCol* col = CurrentGridCol();
    if (!col) return;
    const QString text = EditorMode() ? m_editor->TypedText() : QString();
    Key = GridTypeCheck(col->DataTypePro(), col->DataDec(), text, Key, m_typeState);
}

void TLNQCustomGrid::NumAdjust(int ACol, QString& Text) const {
    const TGridCol* col = GridCols().Items(ACol);
    if (!col) return;
    Text = GridNumAdjust(col->DataTypePro(), col->DataDec(), Text);
}

void TLNQCustomGrid::KeyPress(QChar& Key) {
    const bool enter = Key.unicode() == 13;
    const int c = Col();
    const int r = Row();
    // 1. Enter on a closed editor opens it; any key on a pop-up column opens
    //    the pop-up. (A cell that cannot be edited lets Enter go on.)
    if (!Key.isNull() && CanEditCell(c, r)) {
        const bool popup = IsPopupColumn(c);
        if (popup || (enter && !EditorMode())) {
            if (popup)
                PopEnter();
            else
                ShowEditor();
            Key = QChar();
            return;
        }
    }
    // 2. AutoNext: Enter moves along the row, then to the next row.
    if (m_autoNext && enter) {
        AutoNextMove();
        Key = QChar();
    }
    // 4. The key filter; a refused key beeps.
    if (!Key.isNull() && Key.unicode() != 13 && Key.unicode() != 8) {
        TypeCheck(Key);
        if (Key.isNull()) QApplication::beep();
    }
    // 5. Enter toggles the editor unless it is always shown.
    if (Key.unicode() == 13 && !m_options.testFlag(TGridOption::goAlwaysShowEditor)) {
        if (EditorMode())
            HideEditor();
        else
            ShowEditor();
        Key = QChar();
    }
}

bool TLNQCustomGrid::AutoNextMove() {
    const int c = Col();
    const int r = Row();
    if (c + 1 < ColCount() && GetColumnWidth(c + 1) > 0) {
        FocusCell(c + 1, r);
    } else if (r + 1 < RowCount()) {
        horizontalScrollBar()->setValue(horizontalScrollBar()->minimum());
        FocusCell(std::min(m_fixedCols, ColCount() - 1), r + 1);
    } else {
        return false;
    }
    // The editor takes the new column's input method.
    if (const TGridCol* col = CurrentGridCol(); col && col->ImeName() != m_editorImeName) {
        m_editorImeMode = col->ImeMode();
        m_editorImeName = col->ImeName();
        if (m_editor) {
            m_editor->SetImeMode(m_editorImeMode);
            m_editor->SetImeName(m_editorImeName);
        }
    }
    return true;
}

void TLNQCustomGrid::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        QChar k(13);
        KeyPress(k);
        event->accept();
        return;
    }
    const QString text = event->text();
    const bool typed = !text.isEmpty() && text[0].isPrint() &&
                       !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier));
    if (typed) {
        const int c = Col();
        const int r = Row();
        const TGridCol* col = CurrentGridCol();
        if (CanEditCell(c, r) && !(col && col->CheckBox()) && !IsPopupColumn(c)) {
            // Opens the editor, which receives the key and filters it.
            QTableView::keyPressEvent(event);
            return;
        }
        if (CanEditCell(c, r) && col && col->CheckBox()) {
            QTableView::keyPressEvent(event);
            return;
        }
        QChar k = text[0];
        KeyPress(k);
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

void TLNQCustomGrid::inputMethodEvent(QInputMethodEvent* event) {
    // Input methods in full-width mode commit without composing first, and a
    // composition may start while the grid itself has the focus: either way
    // the text opens the editor, as a typed key does, and goes into it there
    // (through the editor's key filter). Check-box columns keep the view's
    // handling, which ends in edit().
    const bool carriesText = !event->commitString().isEmpty() || !event->preeditString().isEmpty();
    const int c = Col();
    const int r = Row();
    const TGridCol* col = CurrentGridCol();
    if (carriesText && CanEditCell(c, r) && !(col && col->CheckBox()) && IsPopupColumn(c)) {
        // A drop-down column takes a committed name from its list (the first
        // entry starting with it) as a choice from the list would; any other
        // commit opens the pop-up, as a typed key does. A composition in
        // progress is left to the input method, and the text never goes on
        // to search the rows.
        const QString text = event->commitString().trimmed();
        if (!text.isEmpty()) {
            const TPopupColumnInfo info = PopupColumn();
            const auto match = std::find_if(info.ListStrings.begin(), info.ListStrings.end(),
                                            [&](const QString& s) { return s.startsWith(text); });
            if (info.ComboAllowed && match != info.ListStrings.end())
                PopupWriteText(*match);
            else
                PopEnter();
        }
        event->accept();
        return;
    }
    if (carriesText && CanEditCell(c, r) && !(col && col->CheckBox()) && !IsPopupColumn(c)) {
        if (!EditorMode()) ShowEditor();
        if (EditorMode()) {
            TInplaceEdit* editor = m_editor.data();
            QCoreApplication::sendEvent(editor, event);
            if (!editor->hasFocus()) editor->setFocus(Qt::OtherFocusReason);
            event->accept();
            return;
        }
    }
    QTableView::inputMethodEvent(event);
}

void TLNQCustomGrid::EditorKeyPress(QChar& key) {
    KeyPress(key);
}

bool TLNQCustomGrid::EditorKeyDown(int key, Qt::KeyboardModifiers modifiers) {
    switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter: {
        QChar k(13);
        KeyPress(k);
        if (!k.isNull() && EditorMode() && m_editorDelegate)
            Q_EMIT m_editorDelegate->commitData(m_editor.data());
        return true;
    }
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown: {
        HideEditor();
        const CursorAction action = key == Qt::Key_Up       ? MoveUp
                                    : key == Qt::Key_Down   ? MoveDown
                                    : key == Qt::Key_PageUp ? MovePageUp
                                                            : MovePageDown;
        const QModelIndex next = moveCursor(action, modifiers);
        if (next.isValid()) setCurrentIndex(next);
        return true;
    }
    case Qt::Key_Tab:
    case Qt::Key_Backtab: {
        if (!m_options.testFlag(TGridOption::goTabs)) return false;
        HideEditor();
        const QModelIndex next = moveCursor(key == Qt::Key_Tab ? MoveNext : MovePrevious, modifiers);
        if (next.isValid()) setCurrentIndex(next);
        return true;
    }
    default:
        return false;
    }
}

void TLNQCustomGrid::EditorButtonClick() {
    DoLoadButtonClick();
}

void TLNQCustomGrid::DoLoadButtonClick() {
    if (!m_editor) return;
    Q_EMIT OnLoadButtonClick(this);
    if (OnLoadButtonColClick) {
        const TGridCol* col = CurrentGridCol();
        OnLoadButtonColClick(this, col ? col->ColName() : QString());
    }
}

// ------------------------------------------------------------------ pop-ups

void TLNQCustomGrid::PopEnter() {
    if (EditorMode()) HideEditor();
    m_popups->PopEnter();
}

void TLNQCustomGrid::PopExit() {
    m_popups->PopExit();
}

void TLNQCustomGrid::PopKeyDown(int& Key, Qt::KeyboardModifiers Shift) {
    if (m_popups->PopKeyDown(Key, Shift)) Key = 0;
}

QWidget* TLNQCustomGrid::PopupParent() const {
    return const_cast<TLNQCustomGrid*>(this);
}

QRect TLNQCustomGrid::PopupCellRect() const {
    return CellRect(Col(), Row()).translated(viewport()->pos());
}

TPopupColumnInfo TLNQCustomGrid::PopupColumn() const {
    TPopupColumnInfo info;
    if (TGridCol* col = CurrentGridCol()) {
        info.DateAllowed = col->PopDateAllowed();
        info.ComboAllowed = col->PopComboBoxAllowed();
        info.CalendarShowCheckBox = col->CalendarShowCheckBox();
        if (col->HasPopListStrings()) info.ListStrings = col->PopListStrings();
    }
    return info;
}

QString TLNQCustomGrid::PopupCellText() const {
    return GetEditText(Col(), Row());
}

void TLNQCustomGrid::PopupWriteText(const QString& text) {
    SetEditText(Col(), Row(), text);
    if (EditorMode()) m_editor->SetEditText(text);
    RefreshCells();
}

void TLNQCustomGrid::PopupShowing(QWidget* editor) {
    if (OnEditorPopup) OnEditorPopup(this, editor, Col(), Row());
}

void TLNQCustomGrid::PopupKeyToGrid(int key) {
    setFocus(Qt::OtherFocusReason);
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        if (m_autoNext) AutoNextMove();
        return;
    }
    if (key == Qt::Key_Up || key == Qt::Key_Down) {
        const QModelIndex next = moveCursor(key == Qt::Key_Up ? MoveUp : MoveDown, Qt::NoModifier);
        if (next.isValid()) setCurrentIndex(next);
    }
}

void TLNQCustomGrid::PopupFinished() {
    setFocus(Qt::OtherFocusReason);
}

// ---------------------------------------------------------------- draw grid

TLNQDrawGrid::TLNQDrawGrid(QWidget* parent) : TLNQCustomGrid(parent) {}

} // namespace lnq
