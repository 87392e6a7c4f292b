#pragma once
// TLNQCustomGrid and TLNQDrawGrid: the grid control under the string grid.
//
// Built on QTableView over a TLNQCellModel (row 0 of the model is the
// title row; the view hides it and shows the two-level title band of the
// column model in its own header instead). Keyboard, mouse, scrolling,
// selection and accessibility are QTableView's; this class adds:
//  - the column model (GridCols) with the width table behind TGridCol::Width
//    (a width of -1 hides the column);
//  - the title band (groups of columns by the text before ";" in their
//    captions, sort marks, money columns, the lock mark of frozen columns)
//    and the footer band (GridTail), laid out by LayoutHeader/LayoutFooter;
//  - frozen columns: FixedCols plus LockedCols stay on the left while the
//    rest scrolls, drawn by a second table view laid over the left edge that
//    shares the model and the selection. Fixed columns cannot be selected or
//    edited; locked columns can;
//  - typed in-place editing (TypeCheck, NumAdjust, pop-up editors, the "..."
//    button, Enter navigation with AutoNext).
//
//  - fixed rows: FixedRows beyond the title row are pinned under the title
//    band (the header widgets paint them, in FixedColor) and never scroll
//    vertically; they scroll sideways with the columns;
//  - the mouse operations of the platform's grid, each governed by its
//    option: goColSizing (drag a title divider), goRowSizing (drag a row
//    divider inside the fixed columns), goColMoving (drag a title; fixed
//    columns stay and nothing is dropped among them), goRowMoving (drag a
//    row by its fixed cell; fixed rows stay). A column or row dragged to the
//    edge of the cells scrolls the grid. A title click that does not become
//    a drag still sorts.
//
// Colours are QColors; the component defaults are kept (BKColor silver for
// the area outside the cells, FixedColor and HeaderColor the button face).
// The footer band sits under the cells, above the horizontal scroll bar.

#include "grid/core/Ctrl_LNQCom.h"
#include "grid/core/Ctrl_LNQGridEdit.h"
#include "grid/core/Ctrl_LNQGridHeader.h"
#include "grid/core/LNQCellModel.h"
#include "grid/core/TypedInput.h"

#include <QFlags>
#include <QTableView>
#include <functional>
#include <memory>

class QCalendarWidget;
class QTimer;

namespace lnq {

enum class TGridOption : quint32 {
    goFixedVertLine = 1u << 0,
    goFixedHorzLine = 1u << 1,
    goVertLine = 1u << 2,
    goHorzLine = 1u << 3,
    goRangeSelect = 1u << 4,
    goDrawFocusSelected = 1u << 5,
    goRowSizing = 1u << 6,
    goColSizing = 1u << 7,
    goRowMoving = 1u << 8,
    goColMoving = 1u << 9,
    goEditing = 1u << 10,
    goTabs = 1u << 11,
    goRowSelect = 1u << 12,
    goAlwaysShowEditor = 1u << 13,
    goThumbTracking = 1u << 14,
};
Q_DECLARE_FLAGS(TGridOptions, TGridOption)

enum TGridState : std::uint8_t { gsNormal, gsSelecting, gsRowSizing, gsColSizing, gsRowMoving, gsColMoving };
enum TEditStyle : std::uint8_t { esSimple, esEllipsis, esPickList, esDataList };
enum TScrollStyle : std::uint8_t { ssNone, ssHorizontal, ssVertical, ssBoth };

enum class TGridDrawStateFlag : quint8 { gdSelected = 1, gdFocused = 2, gdFixed = 4 };
Q_DECLARE_FLAGS(TGridDrawState, TGridDrawStateFlag)

class TLNQFrozenView;
class TLNQGridDelegate;

class TLNQCustomGrid : public QTableView,
                       public TGridColumnOwner,
                       public TGridBandSource,
                       public TInplaceEditHost,
                       public TLNQGridPopupHost {
    Q_OBJECT
    // The published properties, editable in the form designer and set by
    // forms loaded at run time.
    Q_PROPERTY(int ColCount READ ColCount WRITE SetColCount)
    Q_PROPERTY(int RowCount READ RowCount WRITE SetRowCount)
    Q_PROPERTY(int FixedCols READ FixedCols WRITE SetFixedCols)
    Q_PROPERTY(int FixedRows READ FixedRows WRITE SetFixedRows)
    Q_PROPERTY(int DefaultColWidth READ DefaultColWidth WRITE SetDefaultColWidth)
    Q_PROPERTY(int DefaultRowHeight READ DefaultRowHeight WRITE SetDefaultRowHeight)
    Q_PROPERTY(bool GridReadOnly READ GridReadOnly WRITE SetGridReadOnly)
    Q_PROPERTY(bool DblEqual READ DblEqual WRITE SetDblEqual)
    Q_PROPERTY(bool PassReadonly READ PassReadonly WRITE SetPassReadonly)
    Q_PROPERTY(bool AutoNext READ AutoNext WRITE SetAutoNext)
    Q_PROPERTY(int HeaderHeight READ HeaderHeight WRITE SetHeaderHeight)
    Q_PROPERTY(QColor HeaderColor READ HeaderColor WRITE SetHeaderColor)
    Q_PROPERTY(int Ctl3DThickNess READ Ctl3DThickNess WRITE SetCtl3DThickNess)
    Q_PROPERTY(bool ShowLock READ ShowLock WRITE SetShowLock)
    Q_PROPERTY(Qt::PenStyle LineStyle READ LineStyle WRITE SetLineStyle)
    Q_PROPERTY(QColor LineColor READ LineColor WRITE SetLineColor)
    Q_PROPERTY(bool GridTail READ GridTail WRITE SetGridTail)
    Q_PROPERTY(int GridTailHeight READ GridTailHeight WRITE SetGridTailHeight)
    Q_PROPERTY(QColor GridTailColor READ GridTailColor WRITE SetGridTailColor)
    Q_PROPERTY(QColor BKColor READ BKColor WRITE SetBKColor)
    Q_PROPERTY(QColor Color READ Color WRITE SetColor)
    Q_PROPERTY(QColor FixedColor READ FixedColor WRITE SetFixedColor)
    Q_PROPERTY(bool DefaultDrawing READ DefaultDrawing WRITE SetDefaultDrawing)
public:
    explicit TLNQCustomGrid(QWidget* parent = nullptr);
    ~TLNQCustomGrid() override;

    // ---- column model
    TGridCols& GridCols() const;
    void SetGridCols(const TGridCols& cols);
    TGridHeaderControl* HeaderControl() const { return m_headerControl; }
    int ColByName(const QString& name) const;
    TGridCol* AddCol(const QString& name, int width);
    void DeleteCol(const QString& name);
    void HideCol(const QString& name);
    void InitGridCols();
    void CalcGridCols();
    int GetColumnCount() const;
    TGridCol* CurrentGridCol() const;

    // TGridColumnOwner
    int GetColumnWidth(int index) const override;
    void SetColumnWidth(int index, int width) override;
    void SetTrueColCount(int count) override;
    void GridColRemoved(int index) override;

    // ---- shape
    TLNQCellModel& CellModel() const { return *m_model; }
    int ColCount() const { return m_model->ColCount(); }
    void SetColCount(int count);
    int RowCount() const { return m_model->RowCount(); }
    void SetRowCount(int count);
    int FixedCols() const { return m_fixedCols; }
    void SetFixedCols(int count);
    int FixedRows() const { return m_fixedRows; }
    void SetFixedRows(int count);
    // Columns locked after the fixed ones (a title double-click locks up to
    // that column); frozen columns = fixed + locked.
    int LockedCols() const { return m_lockedCols; }
    void SetLockedCols(int count);
    int FrozenCols() const { return std::min(m_fixedCols + m_lockedCols, ColCount()); }
    int ColWidths(int col) const { return GetColumnWidth(col); }
    void SetColWidths(int col, int width) { SetColumnWidth(col, width); }
    // Row 0 is the title row: its height is HeaderHeight and cannot be set.
    int RowHeights(int row) const;
    void SetRowHeights(int row, int height);
    int DefaultColWidth() const { return m_defaultColWidth; }
    void SetDefaultColWidth(int width);
    int DefaultRowHeight() const { return m_defaultRowHeight; }
    void SetDefaultRowHeight(int height);
    // "ColWidths" / "RowHeights" as the component streams them.
    QList<int> ColWidthsList() const;
    void SetColWidthsList(const QList<int>& widths);
    QList<int> RowHeightsList() const;
    void SetRowHeightsList(const QList<int>& heights);

    // ---- current cell and scrolling
    int Col() const;
    int Row() const;
    void SetCol(int col);
    void SetRow(int row);
    void FocusCell(int col, int row);
    // The first data row on screen (rows under FixedRows never scroll);
    // SetTopRow refuses fixed rows and stops where the last row is at the
    // bottom.
    int TopRow() const;
    void SetTopRow(int row);
    int LeftCol() const;
    void SetLeftCol(int col);
    int VisibleColCount() const;
    int VisibleRowCount() const;
    // Cell rectangle in viewport coordinates (frozen columns at their place;
    // fixed rows pinned under the title band lie above the viewport, at
    // negative y).
    QRect CellRect(int col, int row) const;
    // Moves a column with its cells, width and description (sort mark,
    // CalcMode and the rest); OnColumnMoved. Program calls may move fixed
    // columns; the user cannot.
    void MoveColumn(int from, int to);
    // Moves a data row with its cells and height; OnRowMoved. Row 0 never
    // moves.
    void MoveRow(int from, int to);
    // gsNormal, or the mouse operation under way (sizing or moving).
    TGridState GridState() const;

    // ---- options and looks
    TGridOptions Options() const { return m_options; }
    void SetOptions(TGridOptions options);
    bool GridReadOnly() const { return m_readOnly; }
    void SetGridReadOnly(bool on);
    bool DblEqual() const { return m_dblEqual; }
    void SetDblEqual(bool on);
    bool PassReadonly() const { return m_passReadonly; }
    void SetPassReadonly(bool on) { m_passReadonly = on; }
    bool AutoNext() const { return m_autoNext; }
    void SetAutoNext(bool on) { m_autoNext = on; }
    int HeaderHeight() const { return m_headerHeight; }
    void SetHeaderHeight(int height);
    QColor HeaderColor() const { return m_headerColor; }
    void SetHeaderColor(const QColor& color);
    int Ctl3DThickNess() const { return m_ctl3DThickness; }
    void SetCtl3DThickNess(int thickness);
    bool ShowLock() const { return m_showLock; }
    void SetShowLock(bool on);
    Qt::PenStyle LineStyle() const { return m_lineStyle; }
    void SetLineStyle(Qt::PenStyle style);
    QColor LineColor() const { return m_lineColor; }
    void SetLineColor(const QColor& color);
    bool GridTail() const { return m_gridTail; }
    void SetGridTail(bool on);
    int GridTailHeight() const { return m_gridTailHeight; }
    void SetGridTailHeight(int height);
    QColor GridTailColor() const { return m_gridTailColor; }
    void SetGridTailColor(const QColor& color);
    QColor BKColor() const { return m_bkColor; }
    void SetBKColor(const QColor& color);
    QColor Color() const { return m_color; }
    void SetColor(const QColor& color);
    QColor FixedColor() const { return m_fixedColor; }
    void SetFixedColor(const QColor& color);
    int RowsHeight() const { return m_rowsHeight; }
    void SetRowsHeight(int height) { m_rowsHeight = height; }
    TScrollStyle ScrollBars() const { return m_scrollBars; }
    void SetScrollBars(TScrollStyle style);
    bool DefaultDrawing() const { return m_defaultDrawing; }
    void SetDefaultDrawing(bool on) { m_defaultDrawing = on; }
    int GridLineWidth() const { return 1; }

    // ---- title band and footer band
    // The columns as the bands see them (cell-area coordinates).
    QList<THeaderColumn> HeaderColumns() const;
    THeaderLayout HeaderLayout() const;
    THeaderLayout FooterLayout() const;
    // Paints the title band (true) or the footer band (false).
    void DrawHeaderorTail(QPainter& painter, bool header);
    void DrawHeaderTail(QPainter& headerPainter, QPainter& footerPainter);
    // The header views (main and frozen) and the footer widget.
    TLNQGridHeaderView* GridHeader() const { return m_header; }
    QTableView* FrozenView() const;
    QWidget* Footer() const { return m_footer; }

    // ---- editing
    virtual void TypeCheck(QChar& Key);
    void NumAdjust(int ACol, QString& Text) const;
    // The grid's character handling (Enter, pop-ups, AutoNext, the key filter).
    virtual void KeyPress(QChar& Key);
    void PopEnter();
    void PopExit();
    void PopKeyDown(int& Key, Qt::KeyboardModifiers Shift);
    void DoLoadButtonClick();
    bool ShowEditor();
    void HideEditor();
    void ShowEditIt() { ShowEditor(); }
    void HideEditIt() { HideEditor(); }
    bool EditorMode() const;
    void DisableEditUpdate() { ++m_editUpdateLock; }
    void EnableEditUpdate() { m_editUpdateLock = std::max(0, m_editUpdateLock - 1); }
    bool EditUpdateDisabled() const { return m_editUpdateLock > 0; }
    TInplaceEdit* InplaceEditor() const;
    TLNQGridPopups& Popups() const { return *m_popups; }
    QComboBox* PopupList() const;
    QCalendarWidget* PopupCalendar() const;
    TEditStyle GetEditStyle(int col, int row) const;
    virtual bool CanEditCell(int col, int row) const;
    virtual QString GetEditText(int col, int row) const;
    virtual void SetEditText(int col, int row, const QString& text);
    // Input method handed to the editor (Qt has no named input methods: the
    // name is kept for the program; the mode switches input on or off).
    TImeMode EditorImeMode() const { return m_editorImeMode; }
    QString EditorImeName() const { return m_editorImeName; }

    // ---- misc
    // Background of a data row; invalid for none.
    virtual QColor GetRowColor(int row) const;
    // Layout file of the grid: <exe dir>/KXFormat/<exe file name>.<form name>.
    // <grid name>.FMT ("/" as the separator); the folder is created.
    QString GetFileName() const;

    // ---- events with a var argument (single handlers)
    std::function<void(TLNQCustomGrid* Sender, QWidget* Editor, int Col, int Row)> OnEditorPopup;
    // The unpublished second handler of the "..." button.
    std::function<void(TLNQCustomGrid* Sender, const QString& ColName)> OnLoadButtonColClick;
    std::function<void(int ACol, bool& CanLock, Qt::KeyboardModifiers AShift)> OnHeaderDblClick;
    std::function<void(int ACol, bool& CanLock, Qt::KeyboardModifiers AShift)> OnSizeLineDblClick;
    // Asked before a cell becomes current (mouse, keys, drag selection and
    // Col/Row/FocusCell); CanSelect starts true.
    std::function<void(int ACol, int ARow, bool& CanSelect)> OnSelectCell;
    std::function<void(int ACol, int ARow, QString& Value)> OnGetEditText;

Q_SIGNALS:
    void OnLoadButtonClick(lnq::TLNQCustomGrid* Sender);
    void OnDrawHeader(lnq::TLNQCustomGrid* Sender);
    void OnDrawCell(lnq::TLNQCustomGrid* Sender, int ACol, int ARow, QPainter* Canvas, const QRect& Rect,
                    lnq::TGridDrawState State);
    // TopRow or LeftCol changed.
    void OnTopLeftChanged(lnq::TLNQCustomGrid* Sender);
    void OnColumnMoved(lnq::TLNQCustomGrid* Sender, int FromIndex, int ToIndex);
    void OnRowMoved(lnq::TLNQCustomGrid* Sender, int FromIndex, int ToIndex);
    void OnEditing(lnq::TLNQCustomGrid* Sender, int ACol, int ARow);
    void OnEdited(lnq::TLNQCustomGrid* Sender, int ACol, int ARow);
    void OnSetEditText(lnq::TLNQCustomGrid* Sender, int ACol, int ARow, const QString& Value);
    // A title click on a sortable column set its sort mark.
    void OnTitleClick(lnq::TLNQCustomGrid* Sender, int ACol, lnq::TSortMark Mark);

protected:
    // Cell painting (called by the views' delegate).
    friend class TLNQGridDelegate;
    friend class TLNQFrozenView;
    void PaintCell(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index);
    // The cell's background and lines are done; draws its content.
    virtual void DrawCell(QPainter& painter, const QRect& rect, int col, int row, TGridDrawState state);
    QWidget* CreateCellEditor(QWidget* parent, const QModelIndex& index);
    void LoadCellEditor(QWidget* editor, const QModelIndex& index);
    void StoreCellEditor(QWidget* editor, const QModelIndex& index);
    // Called when a title of a sortable column is clicked; sets the marks.
    virtual void TitleClick(int col);
    // Whether the cell may become current: asks OnSelectCell.
    virtual bool SelectCell(int ACol, int ARow);
    // Measures used by cell drawing (cached per font).
    int SampleTextHeight() const; // height of "Wg"
    int DigitWidth() const;       // width of "3"

    // QTableView
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    bool edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void updateGeometries() override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    QModelIndex moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;
    // Sizing and moving by mouse on the title bands and the fixed cells.
    bool eventFilter(QObject* watched, QEvent* event) override;

    // TGridBandSource
    THeaderLayout BandLayout(bool header) const override;
    THeaderPaintStyle BandStyle(bool header) const override;
    int BandHeight(bool header) const override;
    void BandPainted(bool header) override;
    void PaintFixedRows(QPainter& painter, const QRect& exposed) override;
    // TInplaceEditHost
    void EditorKeyPress(QChar& key) override;
    bool EditorKeyDown(int key, Qt::KeyboardModifiers modifiers) override;
    void EditorButtonClick() override;
    // TLNQGridPopupHost
    QWidget* PopupParent() const override;
    QRect PopupCellRect() const override;
    TPopupColumnInfo PopupColumn() const override;
    QString PopupCellText() const override;
    void PopupWriteText(const QString& text) override;
    void PopupShowing(QWidget* editor) override;
    void PopupKeyToGrid(int key) override;
    void PopupFinished() override;

    // Moves along the row with Enter (AutoNext); false at the last cell.
    bool AutoNextMove();
    bool IsPopupColumn(int col) const;
    void RefreshCells();

private:
    void applyWidth(int col);
    void applyAllWidths();
    void syncFrozen();
    void updateFrozenGeometry();
    void updateFooterGeometry();
    void fixVerticalRange();
    void applyOptions();
    void applyEditTriggers();
    void headerClicked(int logical);
    void headerDoubleClicked(int logical);
    void headerHandleDoubleClicked(int logical);
    void headerSectionResized(QHeaderView* header, int logical, int newSize);
    Qt::ItemFlags cellFlags(int col, int row) const;
    int frozenWidth() const;
    void fitColumn(int col);
    void ensureTitleRowHidden();
    void invalidateBands();
    void updateHeaderVisibility();
    void emitTopLeftIfChanged(int oldTop, int oldLeft);
    bool selectCellAllowed(const QModelIndex& index);

    // Fixed rows pinned under the title band: rows 1 .. pinnedRowCount().
    int pinnedRowCount() const;
    int pinnedRowsHeight() const;
    void syncPinnedRows(int want);
    // Geometry in viewport coordinates, pinned rows included.
    int rowTop(int row) const;
    int rowAtY(int y) const;
    int columnLeft(int col) const;
    int columnAtX(int x) const;
    int fixedWidth() const;
    int firstScrollRow() const;

    // Mouse operations (sizing and moving).
    struct TMouseDrag {
        TGridState State = gsNormal;
        bool Pending = false; // pressed, not yet dragged far enough
        int Index = -1;       // the row or column sized or moved
        int Target = -1;      // where a moved one goes
        QPoint Origin;        // viewport coordinates
        QPoint Last;
        int SizeFromY = 0;        // row sizing: the press in grid coordinates
        int SizeBase = 0;         // and the row's height then
        QPointer<QWidget> Source; // the widget that took the press
    };
    bool gridMouseEvent(QWidget* source, QMouseEvent* event, bool header);
    bool onColumnSizingHandle(QHeaderView* header, int x) const;
    int rowDividerAt(const QPoint& p) const;
    void updateSizingCursor(QWidget* w, const QPoint& p);
    void beginDrag(TGridState state, int index, QWidget* source, const QPoint& p, bool pending);
    void dragTo(const QPoint& p);
    void endDrag(const QPoint& p);
    int columnDropTarget(int x) const;
    int rowDropTarget(int y) const;
    void showMoveMark();
    int dragScrollDirection() const;
    void dragScrollTick();

    TLNQCellModel* m_model = nullptr;
    TGridHeaderControl* m_headerControl = nullptr;
    TLNQGridHeaderView* m_header = nullptr;
    TLNQFrozenView* m_frozen = nullptr;
    TLNQGridFooter* m_footer = nullptr;
    std::unique_ptr<TLNQGridPopups> m_popups;

    std::vector<int> m_colWidths; // the width table; may run ahead of ColCount
    int m_fixedCols = 1;
    int m_fixedRows = 1;
    int m_lockedCols = 0;
    int m_defaultColWidth = 64;
    int m_defaultRowHeight = 24;
    TGridOptions m_options;
    bool m_readOnly = false;
    bool m_dblEqual = false;
    bool m_passReadonly = false;
    bool m_autoNext = false;
    int m_headerHeight = 50;
    QColor m_headerColor;
    int m_ctl3DThickness = 2;
    bool m_showLock = false;
    Qt::PenStyle m_lineStyle = Qt::SolidLine;
    QColor m_lineColor;
    bool m_gridTail = false;
    int m_gridTailHeight = 24;
    QColor m_gridTailColor;
    QColor m_bkColor;
    QColor m_color;
    QColor m_fixedColor;
    int m_rowsHeight = 24;
    TScrollStyle m_scrollBars = ssBoth;
    bool m_defaultDrawing = true;

    TypeCheckState m_typeState;
    TImeMode m_editorImeMode = imDontCare;
    QString m_editorImeName;
    int m_editUpdateLock = 0;
    bool m_syncing = false;
    bool m_inGeometry = false;
    QPointer<TInplaceEdit> m_editor;
    QPointer<QAbstractItemDelegate> m_editorDelegate;
    mutable int m_sampleHeight = -1;
    mutable int m_digitWidth = -1;

    std::vector<int> m_pinnedHeights; // heights of the pinned rows 1..
    TMouseDrag m_drag;
    QTimer* m_dragTimer = nullptr;
    QWidget* m_moveMark = nullptr;
    bool m_pressInTitle = true; // the last header press was in the title band
};

// TLNQDrawGrid: the grid whose cells the program draws (OnDrawCell).
class TLNQDrawGrid : public TLNQCustomGrid {
    Q_OBJECT
public:
    explicit TLNQDrawGrid(QWidget* parent = nullptr);
};

} // namespace lnq

Q_DECLARE_OPERATORS_FOR_FLAGS(lnq::TGridOptions)
Q_DECLARE_OPERATORS_FOR_FLAGS(lnq::TGridDrawState)
