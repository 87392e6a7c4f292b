#pragma once
// The column model shared by every grid: TGridCol items in a TGridCols
// collection, owned by a TGridHeaderControl, which belongs to the grid.
//
// A column does not store its width: Width reads and writes the width table
// of the grid that owns the header control (TGridColumnOwner), so a column
// copied into another grid's collection writes its width into that grid.
// A header control made without a grid keeps the widths itself.
//
// Property writers couple the typed-input fields on purpose (see the
// setters of DataTypePro, DataDec, DataWidth, EditMask and ReadOnly).
// Short texts (Caption, TailCaption, ColName, ValueTrue, ValueFalse,
// PopDate) keep at most 255 GBK bytes.

#include "data/FieldTypes.h"
#include "grid/core/GridTypes.h"

#include <QFont>
#include <QHeaderView>
#include <QPointer>
#include <QStringList>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class QMenu;
class QStandardItemModel;

namespace lnq {

class TGridCols;
class TGridHeaderControl;

// What a grid offers its column model.
class TGridColumnOwner {
public:
    virtual ~TGridColumnOwner() = default;
    virtual int GetColumnWidth(int index) const = 0;
    virtual void SetColumnWidth(int index, int width) = 0;
    // The collection now holds count columns (TGridCols::Update).
    virtual void SetTrueColCount(int count) = 0;
    // The column at index is being freed: the grid drops its cells and width.
    virtual void GridColRemoved(int index) = 0;
};

// Input-method mode of a column's editor (the platform's vocabulary). Qt
// knows only "input method on" and "off": imDisable and imClose switch it
// off for the editor, every other mode leaves it on.
enum TImeMode : std::uint8_t {
    imDisable,
    imClose,
    imOpen,
    imDontCare,
    imSAlpha,
    imAlpha,
    imHira,
    imSKata,
    imKata,
    imChinese,
    imSHanguel,
    imHanguel,
};

class TGridCol {
public:
    explicit TGridCol(TGridCols* collection);
    ~TGridCol();
    TGridCol(const TGridCol&) = delete;
    TGridCol& operator=(const TGridCol&) = delete;

    TGridCols* Collection() const { return m_collection; }
    int Index() const { return m_index; }

    // Copies every property (the width into this column's grid) through the
    // writers, in the fixed order of the component.
    void Assign(const TGridCol& source);
    QString GetDisplayName() const; // Caption, or the class name when empty

    Qt::Alignment Alignment() const { return m_alignment; }
    void SetAlignment(Qt::Alignment alignment) { m_alignment = alignment & Qt::AlignHorizontal_Mask; }
    int Width() const;
    void SetWidth(int width);
    QString Caption() const { return m_caption; }
    void SetCaption(const QString& caption);
    QString TailCaption() const { return m_tailCaption; }
    void SetTailCaption(const QString& text);
    bool AutoEnter() const { return m_autoEnter; }
    void SetAutoEnter(bool on) { m_autoEnter = on; }
    QString ColName() const { return m_colName; }
    void SetColName(const QString& name);
    TImeMode ImeMode() const { return m_imeMode; }
    void SetImeMode(TImeMode mode) { m_imeMode = mode; }
    QString ImeName() const { return m_imeName; }
    void SetImeName(const QString& name) { m_imeName = name; }
    bool ReadOnly() const { return m_readOnly; }
    void SetReadOnly(bool readOnly);
    QMenu* PopupMenu() const;
    void SetPopupMenu(QMenu* menu);
    TFieldType DataType() const { return m_dataType; }
    void SetDataType(TFieldType type) { m_dataType = type; }
    TLNQDataTypePro DataTypePro() const { return m_dataTypePro; }
    void SetDataTypePro(TLNQDataTypePro pro);
    TLNQDataTypeApp DataTypeApp() const { return m_dataTypeApp; }
    void SetDataTypeApp(TLNQDataTypeApp app) { m_dataTypeApp = app; }
    int DataWidth() const { return m_dataWidth; }
    void SetDataWidth(int width);
    int DataDec() const { return m_dataDec; }
    void SetDataDec(int decimals);
    QString EditMask() const { return m_editMask; }
    void SetEditMask(const QString& mask);
    bool LoadButton() const { return m_loadButton; }
    void SetLoadButton(bool on) { m_loadButton = on; }
    bool Sortable() const { return m_sortable; }
    void SetSortable(bool on) { m_sortable = on; }
    // A TColor value (blue in bits 16-23); 0 at creation.
    quint32 ColColor() const { return m_colColor; }
    void SetColColor(quint32 color) { m_colColor = color; }
    bool CheckBox() const { return m_checkBox; }
    void SetCheckBox(bool on) { m_checkBox = on; }
    QString ValueTrue() const { return m_valueTrue; }
    void SetValueTrue(const QString& text);
    QString ValueFalse() const { return m_valueFalse; }
    void SetValueFalse(const QString& text);
    bool PopDateAllowed() const { return m_popDateAllowed; }
    void SetPopDateAllowed(bool on) { m_popDateAllowed = on; }
    QString PopDate() const { return m_popDate; }
    void SetPopDate(const QString& text);
    bool PopComboBoxAllowed() const { return m_popComboBoxAllowed; }
    void SetPopComboBoxAllowed(bool on) { m_popComboBoxAllowed = on; }
    // Created on first read.
    QStringList& PopListStrings();
    QStringList& PopListValues();
    // nullptr frees the column's list; otherwise the list takes a copy.
    void SetPopListStrings(const QStringList* list);
    void SetPopListValues(const QStringList* list);
    bool HasPopListStrings() const { return m_popListStrings != nullptr; }
    bool HasPopListValues() const { return m_popListValues != nullptr; }
    TCalcMode CalcMode() const { return m_calcMode; }
    void SetCalcMode(TCalcMode mode) { m_calcMode = mode; }
    bool ShowZero() const { return m_showZero; }
    void SetShowZero(bool on) { m_showZero = on; }
    const QFont& TitleFont() const { return m_titleFont; }
    void SetTitleFont(const QFont& font);
    QString CurValue() const { return m_curValue; }
    void SetCurValue(const QString& value) { m_curValue = value; }
    bool CalendarShowCheckBox() const { return m_calendarShowCheckBox; }
    void SetCalendarShowCheckBox(bool on) { m_calendarShowCheckBox = on; }
    // Header item style of the column's section in TGridHeaderControl.
    TGridColStyle Style() const { return m_style; }
    void SetStyle(TGridColStyle style) { m_style = style; }

    // Copied from the collection's handler when the column is added; the
    // program calls it when it wants the collection told of a change.
    std::function<void()> OnChange;

    // Sets Alignment and Caption; the integer is accepted and ignored (callers
    // pass a width there).
    void SetValue(int ignored, Qt::Alignment alignment, const QString& caption);
    int GetLeft() const;
    int GetRight() const { return GetLeft() + Width(); }
    void SetWidthPushed(int width) { m_widthPushed = width; }
    int GetWidthPushed() const { return m_widthPushed; }

    // Layout state kept by the grid (not published).
    int HeaderLeft() const { return m_headerLeft; }
    void SetHeaderLeft(int left) { m_headerLeft = left; }
    int HeaderTop() const { return m_headerTop; }
    TSortMark SortMark() const { return m_sortMark; }
    void SetSortMark(TSortMark mark) { m_sortMark = mark; }

private:
    friend class TGridCols;
    TGridCols* m_collection;
    int m_index = -1;

    Qt::Alignment m_alignment = Qt::AlignLeft;
    QString m_caption;
    QString m_tailCaption;
    bool m_autoEnter = false;
    QString m_colName;
    TImeMode m_imeMode = imDontCare;
    QString m_imeName;
    bool m_readOnly = false;
    QPointer<QMenu> m_popupMenu;
    TFieldType m_dataType = TFieldType::ftUnknown;
    TLNQDataTypePro m_dataTypePro = dpString;
    TLNQDataTypeApp m_dataTypeApp = daNone;
    int m_dataWidth = 0;
    int m_dataDec = 0;
    QString m_editMask;
    bool m_loadButton = false;
    bool m_sortable = true;
    quint32 m_colColor = 0;
    bool m_checkBox = false;
    QString m_valueTrue;
    QString m_valueFalse;
    bool m_popDateAllowed = false;
    QString m_popDate;
    bool m_popComboBoxAllowed = false;
    std::unique_ptr<QStringList> m_popListStrings;
    std::unique_ptr<QStringList> m_popListValues;
    TCalcMode m_calcMode = ccUser;
    bool m_showZero = false;
    QFont m_titleFont;
    QString m_curValue;
    bool m_calendarShowCheckBox = false;
    TGridColStyle m_style = hsText;

    int m_widthPushed = 0;
    int m_headerLeft = 0;
    int m_headerTop = 0;
    TSortMark m_sortMark = smNone;
};

class TGridCols : public QObject {
    Q_OBJECT
public:
    explicit TGridCols(TGridHeaderControl* header);
    ~TGridCols() override;

    // A column with the defaults of a new grid column: ColName and Caption
    // "A" + its index, centred, string data type, DataWidth 6, editable.
    TGridCol* Add();
    // A column with no defaults.
    TGridCol* MyAdd();
    void Delete(int index);
    void Clear();
    int Count() const { return int(m_items.size()); }
    TGridCol* Items(int index) const;
    TGridCol* operator[](int index) const { return Items(index); }
    void SetItems(int index, const TGridCol& value);
    TGridHeaderControl* GetOwner() const { return m_header; }
    // The grid behind the header control (or the header control itself).
    TGridColumnOwner* ColumnOwner() const;

    // Copies another collection (widths into this collection's grid).
    void Assign(const TGridCols& source);

    // The collection changed: with no item everything, else that column.
    void Changed(TGridCol* item);
    void BeginUpdate();
    void EndUpdate();
    void Update(TGridCol* item);

    // Moves a column within the collection (the grid moves its cells).
    void Move(int from, int to);
    // Drops the columns from count on without telling the grid (the grid
    // itself shrinks the collection to its column count).
    void TruncateTo(int count);

Q_SIGNALS:
    void OnChange();
    // After Update: the column's index, or -1 for all columns.
    void Updated(int index);

private:
    TGridCol* append();
    void renumber();

    TGridHeaderControl* m_header;
    std::vector<std::unique_ptr<TGridCol>> m_items;
    int m_updateCount = 0;
};

// A header control mirroring a TGridCols collection into native header
// sections (text, width, alignment, owner-drawn style) and translating the
// native notifications into its events. Created 17 pixels high, following
// its parent's width along the top.
class TGridHeaderControl : public QWidget, private TGridColumnOwner {
    Q_OBJECT
public:
    explicit TGridHeaderControl(TGridColumnOwner* owner, QWidget* parent = nullptr);
    ~TGridHeaderControl() override;

    TGridCols& Sections() const { return *m_sections; }
    void SetSections(const TGridCols& sections);
    TGridColumnOwner* Owner() const { return m_owner ? m_owner : const_cast<TGridHeaderControl*>(this); }

    void UpdateSections();
    void UpdateSection(int index);
    void UpdateItem(int index) { UpdateSection(index); }

    bool HotTrack() const { return m_hotTrack; }
    void SetHotTrack(bool on);
    bool AlignTop() const { return m_alignTop; }
    void SetAlignTop(bool on);

    // Event dispatch (the native header's notifications end here).
    void DrawSection(TGridCol* section, QPainter* painter, const QRect& rect, bool pressed);
    void SectionClick(TGridCol* section);
    void SectionResize(TGridCol* section);
    void SectionTrack(TGridCol* section, int width, TSectionTrackState state);

    QHeaderView* NativeHeader() const { return m_native; }

Q_SIGNALS:
    void OnDrawSection(lnq::TGridHeaderControl* HeaderControl, lnq::TGridCol* Section, QPainter* painter,
                       const QRect& Rect, bool Pressed);
    void OnSectionClick(lnq::TGridHeaderControl* HeaderControl, lnq::TGridCol* Section);
    void OnSectionResize(lnq::TGridHeaderControl* HeaderControl, lnq::TGridCol* Section);
    void OnSectionTrack(lnq::TGridHeaderControl* HeaderControl, lnq::TGridCol* Section, int Width,
                        lnq::TSectionTrackState State);
    void OnResize();

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Width table of a header control that has no grid.
    int GetColumnWidth(int index) const override;
    void SetColumnWidth(int index, int width) override;
    void SetTrueColCount(int count) override;
    void GridColRemoved(int index) override;

    void nativeResized(int logical, int oldSize, int newSize);

    TGridColumnOwner* m_owner;
    std::unique_ptr<TGridCols> m_sections;
    QHeaderView* m_native = nullptr;
    QStandardItemModel* m_nativeModel = nullptr;
    std::vector<int> m_widths;
    bool m_hotTrack = false;
    bool m_alignTop = true;
    bool m_mirroring = false;
    bool m_tracking = false;
    int m_trackSection = -1;
};

} // namespace lnq
