#pragma once
// TLNQCustomDBGrid / TLNQDBGrid: the data-aware grid. It shows the records of
// a dataset (an ADO dataset or a client dataset) on the grid core: grid
// column 0 is the indicator column (when dgIndicator is set), the data
// columns follow, one per TColumn; grid row 0 is the title row and grid row
// r >= 1 shows record r - 1 of the dataset's current view (sort and filter).
// Cells are read from the dataset by position when they are painted, so the
// grid holds no copy of the records and a million rows cost what the rows on
// screen cost.
//
// The grid follows its dataset through the dataset's change signals (the
// data link): the cursor, posted edits, inserts, deletes, re-sorts and
// re-filters move or repaint the rows without reading them again. While the
// dataset is inserting, the pending record shows as an extra row at the
// cursor.
//
// Column titles: TColumnTitle::Caption, by default the field dictionary's
// caption of the field (TDataEnvironment), else the field's display label.
// A caption "parent.child" is drawn on two levels; adjacent columns with the
// same parent share the parent cell. Sort marks "↑" / "↓" are part of the
// caption text, placed right after the first ".".
//
// Colours, from weakest to strongest: the banding colour DefColor on every
// DefColorPerRows-th row, the column's ColColor (when not 0), the host's
// OnDrawCellColor for the current record's row, the highlight of the
// selected cells (HighLightColor, HighlightTextColor).
//
// Run-time menu (right button): the filter, sort, print, export, copy and
// setup items switched on by ControlOptions, after the items of the grid's
// own popup menu when it has one. The print items hand the grid's rows to
// the report library (GridPrint), "导出到EXCEL" writes a spreadsheet of them
// (GridExportToExcel), "复制" copies the selected field's text and "设置"
// opens the column setup form (FieldSetup).
//
// Layout files (LayoutFile.h), only under coAutoFormat: read (LoadFormat)
// every time the grid lays its columns out from an active dataset (opened,
// attached, fields changed), written (SaveFormat(false)) when the dataset
// closes or is detached, after a title sort, and (SaveFormat(true)) when the
// grid is destroyed. The grid's columns take part through
// TDBGridLayoutColumns.
//
// Footer: AutoCalculate fills each column's TailCaption (totals over exactly
// the visible records, or an incremental update after a cell edit); the
// grid never calls it itself.

#include "data/DataSet.h"
#include "filter/Ctrl_FilterSetupFM.h"
#include "filter/FilterItem.h"
#include "grid/core/Ctrl_LNQGrid.h"
#include "grid/data/LayoutFile.h"
#include "grid/data/Print_ui.h"
#include "web/DataWebPage.h"

#include <QColor>
#include <QFlags>
#include <QFont>
#include <QMap>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QMenu>
#include <QPainter>

namespace lnq {

class TLNQCustomDBGrid;
class TLNQDBGridColumns;
class TColumn;

enum TColumnButtonStyle : std::uint8_t { cbsAuto, cbsEllipsis, cbsNone };

enum class TDBGridOption : quint16 {
    dgEditing = 1u << 0,
    dgAlwaysShowEditor = 1u << 1,
    dgTitles = 1u << 2,
    dgIndicator = 1u << 3,
    dgColumnResize = 1u << 4,
    dgColLines = 1u << 5,
    dgRowLines = 1u << 6,
    dgTabs = 1u << 7,
    dgRowSelect = 1u << 8,
    dgAlwaysShowSelection = 1u << 9,
    dgConfirmDelete = 1u << 10,
    dgCancelOnExit = 1u << 11,
    dgMultiSelect = 1u << 12,
};
Q_DECLARE_FLAGS(TLNQDBGridOptions, TDBGridOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(TLNQDBGridOptions)
inline constexpr TLNQDBGridOptions kDefaultDBGridOptions =
    TLNQDBGridOptions(TDBGridOption::dgEditing) | TDBGridOption::dgTitles | TDBGridOption::dgIndicator |
    TDBGridOption::dgColumnResize | TDBGridOption::dgColLines | TDBGridOption::dgRowLines |
    TDBGridOption::dgTabs | TDBGridOption::dgConfirmDelete | TDBGridOption::dgCancelOnExit;

// ControlOptions, bit 0 first (16 bits).
enum class TDBGridControlOption : quint16 {
    coTitleSort = 1u << 0,
    coAutoFormat = 1u << 1,
    coMenuFilter = 1u << 2,
    coMenuSort = 1u << 3,
    coMenuPrintPreview = 1u << 4,
    coMenuPrintSetup = 1u << 5,
    coMenuPrintOut = 1u << 6,
    coMenuPrintDesign = 1u << 7,
    coMenuExportToExcel = 1u << 8,
    coMenuCopy = 1u << 9,
    coMenuSetup = 1u << 10,
};
Q_DECLARE_FLAGS(TDBGridControlOptions, TDBGridControlOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(TDBGridControlOptions)

// A column's title. Each property is stored (and saved with the columns)
// only once it was set; until then it follows its default (the dictionary
// caption of the field, the column's alignment, the grid's title colour and
// font).
class TColumnTitle {
public:
    explicit TColumnTitle(TColumn& column) : m_column(column) {}
    Qt::Alignment Alignment() const;
    void SetAlignment(Qt::Alignment a);
    QString Caption() const;
    void SetCaption(const QString& caption);
    QColor Color() const;
    void SetColor(const QColor& c);
    QFont Font() const;
    void SetFont(const QFont& f);
    bool IsCaptionStored() const { return m_hasCaption; }
    bool IsAlignmentStored() const { return m_hasAlignment; }
    bool IsColorStored() const { return m_hasColor; }
    bool IsFontStored() const { return m_hasFont; }
    void RestoreDefaults();

private:
    friend class TLNQDBGridColumns;
    friend class TColumn;
    TColumn& m_column;
    bool m_hasCaption = false, m_hasAlignment = false, m_hasColor = false, m_hasFont = false;
    QString m_caption;
    Qt::Alignment m_alignment = Qt::AlignLeft;
    QColor m_color;
    QFont m_font;
};

class TColumn {
public:
    explicit TColumn(TLNQDBGridColumns& owner);
    ~TColumn();
    TColumn(const TColumn&) = delete;
    TColumn& operator=(const TColumn&) = delete;

    TLNQDBGridColumns& Collection() const { return m_owner; }
    TLNQCustomDBGrid* Grid() const;
    int Index() const;
    // The dataset field shown, nullptr when the name is unknown or no dataset
    // is open.
    TField* Field() const;
    void Assign(const TColumn& source);

    // Standard properties: each follows the field or the grid until set.
    Qt::Alignment Alignment() const;
    void SetAlignment(Qt::Alignment a);
    QColor Color() const;
    void SetColor(const QColor& c);
    QFont Font() const;
    void SetFont(const QFont& f);
    TImeMode ImeMode() const { return m_imeMode; }
    void SetImeMode(TImeMode m) { m_imeMode = m; }
    QString ImeName() const { return m_imeName; }
    void SetImeName(const QString& n) { m_imeName = n; }
    bool ReadOnly() const { return m_readOnly; }
    void SetReadOnly(bool on);
    int Width() const;
    // A width the user (or a layout file, or the setup form) assigned: stored.
    void SetWidth(int w);
    // A width from the first-use layout: shown, but not stored and not
    // counted as assigned (IsWidthStored stays false).
    void SetDefaultWidth(int w);
    // The width the column has before any assignment: room for the field's
    // display width and the title.
    int DefaultWidth() const;
    bool Visible() const { return m_width >= 0 || !m_hasWidth; }
    TColumnButtonStyle ButtonStyle() const { return m_buttonStyle; }
    void SetButtonStyle(TColumnButtonStyle s) { m_buttonStyle = s; }
    int DropDownRows() const { return m_dropDownRows; }
    void SetDropDownRows(int n) { m_dropDownRows = n; }
    QString FieldName() const { return m_fieldName; }
    void SetFieldName(const QString& name);
    QStringList& PickList() { return m_pickList; }
    const QStringList& PickList() const { return m_pickList; }
    void SetPickList(const QStringList& list);
    QMenu* PopupMenu() const { return m_popupMenu; }
    void SetPopupMenu(QMenu* menu) { m_popupMenu = menu; }
    TColumnTitle& Title() { return m_title; }
    const TColumnTitle& Title() const { return m_title; }
    std::function<void(TColumn* Sender)> OnTitleChanged;

    // Additions.
    TLNQDataTypePro DataTypePro() const { return m_dataTypePro; }
    void SetDataTypePro(TLNQDataTypePro p);
    QString TailCaption() const { return m_tailCaption; }
    void SetTailCaption(const QString& text);
    TLNQDataTypeApp DataTypeApp() const { return m_dataTypeApp; }
    void SetDataTypeApp(TLNQDataTypeApp a) { m_dataTypeApp = a; }
    int MaxColWidth() const { return m_maxColWidth; }
    void SetMaxColWidth(int w) { m_maxColWidth = w; }
    int DataWidth() const { return m_dataWidth; }
    void SetDataWidth(int w);
    int DataDec() const { return m_dataDec; }
    void SetDataDec(int d);
    bool LoadButton() const { return m_loadButton; }
    void SetLoadButton(bool on);
    bool Sortable() const { return m_sortable; }
    void SetSortable(bool on);
    quint32 ColColor() const { return m_colColor; } // a TColor value; 0 for none
    void SetColColor(quint32 c);
    bool CheckBox() const { return m_checkBox; }
    void SetCheckBox(bool on);
    QString ValueTrue() const { return m_valueTrue; }
    void SetValueTrue(const QString& v);
    QString ValueFalse() const { return m_valueFalse; }
    void SetValueFalse(const QString& v);
    bool PopDateAllowed() const { return m_popDateAllowed; }
    void SetPopDateAllowed(bool on);
    QString PopDate() const { return m_popDate; }
    void SetPopDate(const QString& v);
    bool PopComboBoxAllowed() const { return m_popComboBoxAllowed; }
    void SetPopComboBoxAllowed(bool on);
    const QStringList& PopListStrings() const { return m_popListStrings; }
    void SetPopListStrings(const QStringList& list);
    const QStringList& PopListValues() const { return m_popListValues; }
    void SetPopListValues(const QStringList& list);
    TCalcMode CalcMode() const { return m_calcMode; }
    void SetCalcMode(TCalcMode m) { m_calcMode = m; }
    bool ShowZero() const { return m_showZero; }
    void SetShowZero(bool on);
    bool CalendarShowCheckBox() const { return m_calendarShowCheckBox; }
    void SetCalendarShowCheckBox(bool on);

    // Whether a standard property was set (and is saved).
    bool IsWidthStored() const { return m_hasWidth; }
    bool IsFontStored() const { return m_hasFont; }

private:
    friend class TLNQDBGridColumns;
    friend class TColumnTitle;
    void changed();

    TLNQDBGridColumns& m_owner;
    TColumnTitle m_title{*this};
    bool m_hasAlignment = false, m_hasColor = false, m_hasFont = false, m_hasWidth = false;
    bool m_hasDefaultWidth = false;
    // The field's measure from the last time the dataset was open: a layout
    // saved as the dataset closes keeps the widths the user saw.
    mutable int m_fieldWidth = -1;
    Qt::Alignment m_alignment = Qt::AlignLeft;
    QColor m_color;
    QFont m_font;
    TImeMode m_imeMode = imDontCare;
    QString m_imeName;
    bool m_readOnly = false;
    int m_width = 64;
    TColumnButtonStyle m_buttonStyle = cbsAuto;
    int m_dropDownRows = 7;
    QString m_fieldName;
    QStringList m_pickList;
    QPointer<QMenu> m_popupMenu;
    TLNQDataTypePro m_dataTypePro = dpString;
    QString m_tailCaption;
    TLNQDataTypeApp m_dataTypeApp = daNone;
    int m_maxColWidth = 0;
    int m_dataWidth = 0;
    int m_dataDec = 0;
    bool m_loadButton = false;
    bool m_sortable = true;
    quint32 m_colColor = 0;
    bool m_checkBox = false;
    QString m_valueTrue;
    QString m_valueFalse;
    bool m_popDateAllowed = false;
    QString m_popDate;
    bool m_popComboBoxAllowed = false;
    QStringList m_popListStrings;
    QStringList m_popListValues;
    TCalcMode m_calcMode = ccUser;
    bool m_showZero = false;
    bool m_calendarShowCheckBox = false;
};

enum TDBGridColumnsState : std::uint8_t { csDefault, csCustomized };

// The grid's columns. In csDefault they are built from the dataset's fields
// (every visible field, dictionary captions, "NotVisible" fields left out)
// and rebuilt whenever the dataset's fields change; adding a column by hand
// or loading a saved collection makes them csCustomized, which the grid
// keeps across reloads.
//
// Saved form: a UTF-8 JSON document {"Columns": [ {property: value} ]}
// holding FieldName and every property set away from its default. Loading a
// document that is not such a collection raises EReadError and keeps the
// columns as they were.
class TLNQDBGridColumns : public QObject {
    Q_OBJECT
public:
    explicit TLNQDBGridColumns(TLNQCustomDBGrid* grid);
    ~TLNQDBGridColumns() override;

    TLNQCustomDBGrid* Grid() const { return m_grid; }
    int Count() const { return int(m_items.size()); }
    TColumn* Items(int index) const;
    TColumn* operator[](int index) const { return Items(index); }
    TColumn* Add(); // makes the collection csCustomized
    void Delete(int index);
    void Clear();
    void Move(int from, int to);
    int IndexOf(const TColumn* column) const;
    // The first column showing the field (name compared ignoring case).
    TColumn* ColumnOfField(const QString& fieldName) const;

    TDBGridColumnsState State() const { return m_state; }
    void SetState(TDBGridColumnsState state);
    // csDefault: one column per visible field of the dataset.
    void RebuildColumns();
    // Every column forgets the properties set on it (width, title, colours).
    void RestoreDefaults();

    void SaveToStream(QIODevice& out) const;
    void LoadFromStream(QIODevice& in);
    void SaveToFile(const QString& fileName) const; // EInOutError
    void LoadFromFile(const QString& fileName);     // EInOutError, EReadError

    void BeginUpdate() { ++m_update; }
    void EndUpdate();

Q_SIGNALS:
    void Changed();

private:
    friend class TColumn;
    friend class TLNQCustomDBGrid;
    void changed();
    TColumn* append();

    TLNQCustomDBGrid* m_grid;
    std::vector<std::unique_ptr<TColumn>> m_items;
    TDBGridColumnsState m_state = csDefault;
    int m_update = 0;
    bool m_pending = false;
};

// The grid's link to its dataset: maps grid columns to fields and forwards
// the dataset's changes to the grid.
class TGridDataLink : public QObject {
    Q_OBJECT
public:
    explicit TGridDataLink(TLNQCustomDBGrid& grid);
    ~TGridDataLink() override;

    TDataSet* DataSet() const { return m_dataSet.data(); }
    void SetDataSet(TDataSet* dataSet); // not owned
    bool Active() const;
    // Grid data column i (0-based, without the indicator) -> field index.
    void AddMapping(const QString& fieldName);
    void ClearMapping();
    int GetMappedIndex(int column) const; // -1 when not mapped
    int MappedCount() const { return int(m_map.size()); }

    // The dataset's notifications, as the grid receives them.
    void ActiveChanged();
    void DataSetChanged();
    void DataSetScrolled();
    void LayoutChanged();
    void FocusControl(const QString& fieldName);
    void EditingChanged();
    void RecordChanged(int row);
    void UpdateData();

private:
    TLNQCustomDBGrid& m_grid;
    QPointer<TDataSet> m_dataSet;
    std::vector<int> m_map;
    QList<QMetaObject::Connection> m_links;
    QStringList m_lastFields; // the field names when the layout was last seen
    bool m_wasActive = false;
};

// Selected records under dgMultiSelect, by bookmark, in selection order.
// Membership is answered from a set, so drawing and range selections cost
// what the rows involved cost, not the number already selected.
class TBookmarkList {
public:
    explicit TBookmarkList(TLNQCustomDBGrid& grid) : m_grid(grid) {}
    int Count() const { return int(m_items.size()); }
    const TBookmark& Items(int index) const { return m_items.at(size_t(index)); }
    void Clear();
    // Deletes the selected records from the dataset and empties the list.
    void Delete();
    // Whether the bookmark is selected; index receives its position.
    bool Find(const TBookmark& bookmark, int& index) const;
    int IndexOf(const TBookmark& bookmark) const;
    // Drops bookmarks of records that are no longer in the dataset's view
    // (deleted or filtered out); true when any was dropped.
    bool Refresh();
    bool CurrentRowSelected() const;
    void SetCurrentRowSelected(bool on);
    bool IsSelected(const TBookmark& bookmark) const { return m_set.contains(bookmark.record); }
    // Selects the records at view positions first..last (either order);
    // replaces the selection unless `add`.
    void SelectRange(int first, int last, bool add);
    // Every record of the view selected, in view order; and every record's
    // selection inverted (the selected ones dropped, the others added in
    // view order). One pass over the view; the cursor stays.
    void SelectAll();
    void InvertSelection();

private:
    bool insert(const TBookmark& bookmark);
    TLNQCustomDBGrid& m_grid;
    std::vector<TBookmark> m_items;
    QSet<qint64> m_set;
};

class TLNQCustomDBGrid : public TLNQCustomGrid, public TFilterSetupSource {
    Q_OBJECT
public:
    explicit TLNQCustomDBGrid(QWidget* parent = nullptr);
    ~TLNQCustomDBGrid() override;

    // ---- data
    TDataSet* DataSet() const { return m_link->DataSet(); }
    void SetDataSet(TDataSet* dataSet); // not owned
    TGridDataLink& DataLink() const { return *m_link; }
    TLNQDBGridColumns& Columns() const { return *m_columns; }
    TBookmarkList& SelectedRows() const { return *m_bookmarks; }
    TFilterList& FilterList() const { return *m_filters; }

    // The column of grid column col (nullptr for the indicator or none), and
    // back; the grid column of a TColumn.
    TColumn* ColumnAt(int col) const;
    int GridColOf(const TColumn* column) const;
    int IndicatorOffset() const { return m_indicatorOffset; }
    // The selected column (the current cell's), its field and its index.
    TColumn* SelectedColumn() const;
    TField* SelectedField() const;
    int SelectedIndex() const;
    void SetSelectedIndex(int index);
    // Grid row of a record's view position and back (the pending insert
    // counted).
    int GridRowOfRecord(int viewRow) const;
    int RecordOfGridRow(int row) const; // -1 for the title row and the pending insert

    // The text a data cell shows (the cell rules in their order).
    QString CellText(const TColumn& column, int viewRow) const;
    QString GetFieldValue(int column) const; // display text of the current record

    // ---- options and looks
    TLNQDBGridOptions DBOptions() const { return m_dbOptions; }
    void SetDBOptions(TLNQDBGridOptions options);
    TDBGridControlOptions ControlOptions() const { return m_controlOptions; }
    // Rebuilds the run-time menu with the new switches.
    void SetControlOptions(TDBGridControlOptions options);
    // The grid's own popup menu: its items come first in the run-time menu.
    QMenu* UserMenu() const { return m_userMenu; }
    void SetUserMenu(QMenu* menu);
    QColor HighLightColor() const { return m_highlight; }
    void SetHighLightColor(const QColor& c);
    QColor HighlightTextColor() const { return m_highlightText; }
    void SetHighlightTextColor(const QColor& c);
    // Keep the grid's sort (title click or menu) when the dataset's records
    // are loaded again: set, a reopened or re-queried dataset comes back in
    // the same order with the column still marked; clear (the default), it
    // comes back in its own order and the mark goes.
    bool PermenentIndex() const { return m_permenentIndex; }
    void SetPermenentIndex(bool on) { m_permenentIndex = on; }
    bool PopAllowUpdown() const { return m_popAllowUpdown; }
    void SetPopAllowUpdown(bool on) { m_popAllowUpdown = on; }
    int DefColorPerRows() const { return m_defColorPerRows; }
    void SetDefColorPerRows(int rows);
    QColor DefColor() const { return m_defColor; }
    void SetDefColor(const QColor& c);
    // Band-follow: each wheel step moves the banding phase with the records.
    bool BandFollow() const { return m_bandFollow; }
    void SetBandFollow(bool on) { m_bandFollow = on; }
    int RowPhase() const { return m_rowPhase; }
    int DBRowsHeight() const { return m_rowsHeightDB; }
    void SetDBRowsHeight(int height);
    QString FormatFileName() const { return m_formatFileName; }
    void SetFormatFileName(const QString& n) { m_formatFileName = n; }
    QString CellFileName() const { return m_cellFileName; }
    void SetCellFileName(const QString& n) { m_cellFileName = n; }
    // The report template: KXReport beside the executable + the file-name
    // part of CellFileName + ".RPT", or executable.owner form.grid name.RPT.
    QString GetCellFileName() const;
    // The layout file: the same naming in KXFormat with ".FMT".
    QString GetFileName() const;
    // The owner form's name (the top-level widget's object name; "" when
    // the grid is a window itself) and its caption.
    QString OwnerName() const;
    QString OwnerCaption() const;
    QFont TitleFont() const { return m_titleFont; }
    void SetTitleFont(const QFont& f);
    // The printer count the menu consults (installed printers by default).
    std::function<int()> PrinterCount;

    // ---- layout
    void BeginLayout();
    void EndLayout();
    bool LayoutLocked() const { return m_layoutLock > 0; }
    // Re-lays the columns and rows out (unless a layout update is open).
    void LayoutChanged();
    virtual void InitDBGrid() {}
    int GetColumnCount() const { return m_columns->Count(); }
    QList<int> GetColumnWidths() const;
    void CalcColumnCols();
    bool ValidFieldIndex(int fieldIndex) const;
    // Moves the current record with the selection (MoveCurrent) and lets
    // subclasses follow (AfterMoveCurrent).
    void MoveCurrent(int distance);
    virtual void AfterMoveCurrent() {}

    // ---- run-time menu and quick filters
    // Builds the menu now from the options, the printer count and userMenu.
    QMenu* CreateRuntimePopupMenu(QMenu* userMenu);
    // The menu in force, built on first use after a change of the options or
    // the user menu (asking for the printers is slow, and most grids are
    // never right-clicked).
    QMenu* RuntimePopupMenu() const;
    QMenu* ValueFilterItem() const;
    void PopupMenuFieldPopup();
    void SetMenus(QMenu* menu, QMenu* item);
    void GetSearchItems(QStringList& strings) const;
    void SelectFilter();
    void UnSelectFilter();
    void MenuSearchItemClick(const QString& caption);
    void AdvancedFilter();
    void CancelFilter();
    void CancelAllFilter();
    void AfterFilter();
    void FilterRecord(TDataSet& dataSet, bool& accept);
    void AddFilter(const QString& field, const QString& op, const QString& value);
    void ClearAllFilters();
    // The advanced filter form runs modally; a test or host may take over
    // its execution (the form is set up and applied around the call).
    std::function<int(TCtrl_FilterSetupFM& form)> OnExecFilterSetup;

    // ---- sorting
    void ASC_Sort();
    void DESC_Sort();
    void Cancel_Sort();
    void TitleSort(TColumn* column);
    void TitleClick(TColumn* column);
    void ClearAllIndexes();
    static void ExtractColumnCaption(const QString& caption, QString& prefix, QString& rest);

    // ---- print, export, copy, setup
    // The print handlers: the grid's rows (a private copy of an open ADO or
    // client dataset, the columns in order, hidden ones included) go to the
    // report library with GetCellFileName; nothing without an open dataset.
    void Print_Setup();
    void Print_Preview();
    void Print_Out();
    void Print_Design();
    // "导出到EXCEL": the rows in the grid's current sort and filter to a
    // spreadsheet file in the temporary folder, opened with the desktop's
    // program.
    void ExportToExcel();
    // "复制": the selected field's text to the clipboard.
    void CopyToClipBoard();
    // "设置": the setup form over the dataset's fields; on "确定" the new
    // layout is applied (it reaches the file at the next save point).
    void FieldSetup();
    // Raised before the rows are handed to the report library (master items
    // may be added to the provider).
    std::function<void(TLNQCustomDBGrid* Sender, TDataSetCanReportOutObject& Data)> OnPreparePrintData;
    // Options handed to the report object before each print call ("OutputFile",
    // "Unattended"): hosts that print without dialogs set them.
    QMap<QString, QString> ReportOptions;
    // What the print and export handlers hand on.
    TGridReportSource ReportSource();
    TExportColumns ExportColumns() const;
    // The column layout file (no coAutoFormat check: explicit calls always
    // act). LoadFormat raises EReadError for a corrupt file and EInOutError
    // for one that cannot be read; SaveFormat EInOutError when it cannot
    // write. SaveFormat's argument requires an open dataset.
    void LoadFormat();
    void SaveFormat(bool requireOpen);
    // The grid's columns as the layout rules see them.
    TLayoutColumns& LayoutColumns() const { return *m_layoutColumns; }

    // ---- footer and widths
    void AutoCalculate(int ACol, const QString& OldValue = {}, const QString& NewValue = {});
    int AutoGridColWidth(int ACol);
    void HeaderDblClcik(int ACol, Qt::KeyboardModifiers shift);

    // ---- editing (dataset side)
    void InsertRecord();
    // Deletes the current record (asks first under dgConfirmDelete).
    void DeleteRecord();
    // The question of dgConfirmDelete; true deletes. Default: a message box.
    std::function<bool(TLNQCustomDBGrid* Sender)> OnConfirmDelete;
    // A data error met while the user worked the grid (a value the field
    // refuses, a failed post, a sort the dataset cannot do). Default: a
    // message box "错误提示".
    std::function<void(TLNQCustomDBGrid* Sender, const QString& Message)> OnDataError;

    // ---- events
    std::function<void(TLNQCustomDBGrid* Sender, TGridDataLink& ADataLink, QColor& AColor)> OnDrawCellColor;
    std::function<void(TLNQCustomDBGrid* Sender, const QString& ALastText, const QString& AText, int ACurCol,
                       int ACurRow, int ACol, int ARow, bool& CanSelect)>
        OnSelectCellDB;
    std::function<void(TLNQCustomDBGrid* Sender, TColumn* Column)> OnDBLoadButtonClick;

    // TFilterSetupSource
    int SetupColumnCount() const override;
    QString SetupFieldName(int i) const override;
    QString SetupTitle(int i) const override;
    int SetupWidth(int i) const override;
    TDataSet* SetupDataSet() const override;

Q_SIGNALS:
    void OnTitleClickDB(lnq::TLNQCustomDBGrid* Sender, lnq::TColumn* Column);
    void OnColEnter(lnq::TLNQCustomDBGrid* Sender);
    void OnColExit(lnq::TLNQCustomDBGrid* Sender);
    void OnCellClick(lnq::TLNQCustomDBGrid* Sender, lnq::TColumn* Column);
    // A data cell was drawn (after the grid's own drawing unless
    // DefaultDrawing is off): the host may draw over it.
    void OnDrawColumnCell(lnq::TLNQCustomDBGrid* Sender, QPainter* Canvas, const QRect& Rect, int DataCol,
                          lnq::TColumn* Column, lnq::TGridDrawState State);
    // The "..." button of a LoadButton (or cbsEllipsis) column was pressed.
    void OnEditButtonClick(lnq::TLNQCustomDBGrid* Sender, lnq::TColumn* Column);

public:
    // Banding: DefColor on every DefColorPerRows-th data row (row phase
    // counted in).
    QColor GetRowColor(int row) const override;
    bool CanEditCell(int col, int row) const override;
    // The field's text of the cell's record (a drop-down column's shown
    // name, a calendar column's hyphenated date).
    QString GetEditText(int col, int row) const override;
    // Moves to the cell's record, starts editing it and sets the field (a
    // drop-down column stores the value of the chosen name). The record is
    // posted when the user leaves the row or presses Enter.
    void SetEditText(int col, int row, const QString& text) override;

protected:
    void DrawCell(QPainter& painter, const QRect& rect, int col, int row, TGridDrawState state) override;
    void TitleClick(int col) override;
    bool SelectCell(int ACol, int ARow) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void wheelEvent(QWheelEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    friend class TGridDataLink;
    friend class TLNQDBGridColumns;
    friend class TColumn;
    friend class TBookmarkList;
    void applyLayout();
    void syncRows();
    void syncCursor();
    void pushColumn(int index);
    void pushTail(const TColumn& column);
    void stripAllMarks();
    void markColumn(TColumn* column, const QString& mark);
    // PermenentIndex: the sort the grid itself made (title click or menu) is
    // remembered; when the dataset's records are loaded again it is applied
    // again (flag set) or dropped with its mark (flag clear).
    void rememberSort(const QString& field, const QString& mark);
    void followSortAfterReload();
    void quickFilter(const QString& op, const QString& value, bool checkNull);
    QString titleText(const TColumn& column) const;
    TCustomADODataSet* adoDataSet() const;
    TClientDataSet* clientDataSet() const;
    QString formatTotal(const TColumn& column, double value) const;
    void menuSort(bool ascending);
    void drawDataCell(QPainter& painter, const QRect& rect, int col, int row, TGridDrawState state,
                      const TColumn* column, bool current, qreal dpr);
    void guarded(const std::function<void()>& fn);
    // Drops the run-time menu; the next use builds it again.
    void InvalidateRuntimePopupMenu();
    void reportError(const QString& message);
    bool rowSelected(int viewRow) const;
    void toggleCurrentSelection();
    // Multi-select by mouse and keys: the range runs from the anchor (the
    // record last clicked or toggled) to the current record.
    bool multiSelect() const;
    void selectToCurrent(int anchorRow, bool add);
    void print(TPrintType kind);
    TLayoutContext layoutContext() const;
    // The save and load points under coAutoFormat; errors are reported, not raised.
    void autoLoadFormat();
    void autoSaveFormat(bool requireOpen);

    std::unique_ptr<TGridDataLink> m_link;
    std::unique_ptr<TLNQDBGridColumns> m_columns;
    std::unique_ptr<TBookmarkList> m_bookmarks;
    std::unique_ptr<TFilterList> m_filters;
    std::unique_ptr<TLayoutColumns> m_layoutColumns;
    std::unique_ptr<QMenu> m_runtimeMenu;
    QPointer<QMenu> m_valueMenu;
    bool m_runtimeMenuStale = true;

    TLNQDBGridOptions m_dbOptions = kDefaultDBGridOptions;
    TDBGridControlOptions m_controlOptions;
    int m_indicatorOffset = 1;
    QColor m_highlight;
    QColor m_highlightText;
    bool m_permenentIndex = false;
    struct GridSort {
        QString field;
        QString mark;
        QString adoSort; // the Sort text of an ADO dataset
        TIndexDef index; // the index of a client dataset
    };
    std::optional<GridSort> m_gridSort;
    bool m_popAllowUpdown = false;
    int m_defColorPerRows = 1;
    QColor m_defColor;
    bool m_bandFollow = false;
    int m_rowPhase = 0;
    int m_rowsHeightDB = 18;
    QString m_formatFileName;
    QString m_cellFileName;
    QFont m_titleFont;
    int m_layoutLock = 0;
    bool m_layoutPending = false;
    int m_insertRow = -1; // grid row of the pending insert, -1 for none
    bool m_followingCursor = false;
    bool m_movingCursor = false;
    bool m_appending = false;
    bool m_filterInstalled = false;
    bool m_loadingFormat = false;
    bool m_destroying = false;
    QPointer<QMenu> m_userMenu;
    int m_anchorRow = -1; // view row where a shift-selection starts; -1 for the current one
};

// The grid's columns seen through the layout rules: index 0 is the first
// data column (the indicator column is not one of them). New columns make
// the collection csCustomized, so the layout survives reloads.
class TDBGridLayoutColumns : public TLayoutColumns {
public:
    explicit TDBGridLayoutColumns(TLNQCustomDBGrid& grid) : m_grid(grid) {}
    int ColumnCount() const override;
    QString FieldName(int index) const override;
    QString Title(int index) const override;
    int Width(int index) const override;
    void SetTitle(int index, const QString& title) override;
    void SetWidth(int index, int width) override;
    int DefaultWidth(int index) const override;
    void SetDefaultWidth(int index, int width) override;
    void ClearColumns() override;
    void InsertColumn(int index, const QString& fieldName) override;
    void DeleteColumn(int index) override;
    void BeginLayout() override;
    void EndLayout() override;
    void InitDBGrid() override;

private:
    TColumn& at(int index) const;
    TLNQCustomDBGrid& m_grid;
};

// The record viewer's caption map from a grid: field name -> title caption
// of every visible column (width other than 0), in column order.
TCaptionMap GridFieldsCaptions(const TLNQCustomDBGrid& grid);

// Lets record viewers (TLNQDataWebBrowser::InitFieldsCaptions(layoutName))
// read the captions of a layout file: the name is a grid's FormatFileName,
// the file KXFormat/<name>.FMT (none: no captions; a corrupt one: EReadError).
// Every data grid calls it when created, so a host that has a grid needs
// nothing more; others call it once at start-up. A reader the host
// registered before is left in place.
void InstallLayoutCaptionsReader();

class TLNQDBGrid : public TLNQCustomDBGrid {
    Q_OBJECT
    // ControlOptions as its bits (coTitleSort = 1, coAutoFormat = 2, ...).
    Q_PROPERTY(int ControlOptions READ ControlOptionBits WRITE SetControlOptionBits)
    Q_PROPERTY(QString FormatFileName READ FormatFileName WRITE SetFormatFileName)
    Q_PROPERTY(QString CellFileName READ CellFileName WRITE SetCellFileName)
    Q_PROPERTY(int DefColorPerRows READ DefColorPerRows WRITE SetDefColorPerRows)
    Q_PROPERTY(QColor DefColor READ DefColor WRITE SetDefColor)
    Q_PROPERTY(int DBRowsHeight READ DBRowsHeight WRITE SetDBRowsHeight)
    Q_PROPERTY(bool BandFollow READ BandFollow WRITE SetBandFollow)
    Q_PROPERTY(bool PermenentIndex READ PermenentIndex WRITE SetPermenentIndex)

public:
    explicit TLNQDBGrid(QWidget* parent = nullptr);
    int ControlOptionBits() const { return int(ControlOptions().toInt()); }
    void SetControlOptionBits(int bits) { SetControlOptions(TDBGridControlOptions::fromInt(quint16(bits))); }
};

// The grid's named images, 12 x 12 device-independent pixels drawn at the
// given pixel ratio (whole device pixels, exactly 12 logical): the indicator
// images "RWDBGARROW" (current record), "RWDBEDIT" (editing), "RWDBINSERT"
// (inserting), "RWDBMULTIDOT" (selected), "RWDBMULTIARROW" (current and
// selected), and the check boxes "TRWDBPICTRUE" and "TRWDBPICFALSE". Null
// for any other name.
QPixmap DBGridBitmap(const QString& name, qreal devicePixelRatio);

} // namespace lnq
