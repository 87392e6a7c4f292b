#include "grid/core/Ctrl_LNQCom.h"

#include "grid/core/GridText.h"

#include <QApplication>
#include <QEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QStandardItemModel>

namespace lnq {

namespace {

constexpr int kHeaderControlHeight = 17;
constexpr int kHeaderlessSectionWidth = 50;

// The native header of TGridHeaderControl: owner-drawn sections go to the
// control's DrawSection.
class TNativeHeaderView : public QHeaderView {
public:
    explicit TNativeHeaderView(TGridHeaderControl* control)
        : QHeaderView(Qt::Horizontal, control), m_control(control) {}

protected:
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override {
        TGridCols& cols = m_control->Sections();
        if (logicalIndex < cols.Count() && cols[logicalIndex]->Style() == hsOwnerDraw) {
            const bool pressed = (QApplication::mouseButtons() & Qt::LeftButton) &&
                                 logicalIndexAt(mapFromGlobal(QCursor::pos())) == logicalIndex;
            painter->save();
            m_control->DrawSection(cols[logicalIndex], painter, rect, pressed);
            painter->restore();
            return;
        }
        QHeaderView::paintSection(painter, rect, logicalIndex);
    }

private:
    TGridHeaderControl* m_control;
};

} // namespace

// ---------------------------------------------------------------- TGridCol

TGridCol::TGridCol(TGridCols* collection) : m_collection(collection), m_titleFont(QApplication::font()) {}

TGridCol::~TGridCol() = default;

void TGridCol::Assign(const TGridCol& source) {
    if (&source == this) return;
    SetCaption(source.Caption());
    SetTailCaption(source.TailCaption());
    SetWidth(source.Width());
    SetAlignment(source.Alignment());
    SetColName(source.ColName());
    SetAutoEnter(source.AutoEnter());
    SetImeMode(source.ImeMode());
    SetImeName(source.ImeName());
    SetReadOnly(source.ReadOnly());
    SetPopupMenu(source.PopupMenu());
    SetDataType(source.DataType());
    SetDataTypePro(source.DataTypePro());
    SetDataTypeApp(source.DataTypeApp());
    SetDataWidth(source.DataWidth());
    SetDataDec(source.DataDec());
    SetEditMask(source.EditMask());
    SetLoadButton(source.LoadButton());
    SetSortable(source.Sortable());
    SetColColor(source.ColColor());
    SetCheckBox(source.CheckBox());
    SetValueTrue(source.ValueTrue());
    SetValueFalse(source.ValueFalse());
    SetPopDateAllowed(source.PopDateAllowed());
    SetPopDate(source.PopDate());
    SetPopComboBoxAllowed(source.PopComboBoxAllowed());
    // The lists' contents are copied; a source without lists leaves empty ones.
    PopListStrings() = source.m_popListStrings ? *source.m_popListStrings : QStringList();
    PopListValues() = source.m_popListValues ? *source.m_popListValues : QStringList();
    SetCalcMode(source.CalcMode());
    SetShowZero(source.ShowZero());
    SetTitleFont(source.TitleFont());
    SetCurValue(source.CurValue());
    SetCalendarShowCheckBox(source.CalendarShowCheckBox());
}

QString TGridCol::GetDisplayName() const {
    return m_caption.isEmpty() ? QStringLiteral("TGridCol") : m_caption;
}

int TGridCol::Width() const {
    return m_collection->ColumnOwner()->GetColumnWidth(m_index);
}

void TGridCol::SetWidth(int width) {
    m_collection->ColumnOwner()->SetColumnWidth(m_index, width);
}

void TGridCol::SetCaption(const QString& caption) {
    m_caption = TruncateShortString(caption);
    // A caption before another column can change the groups after it.
    const bool last = m_index == m_collection->Count() - 1;
    m_collection->Changed(last ? this : nullptr);
}

void TGridCol::SetTailCaption(const QString& text) {
    m_tailCaption = TruncateShortString(text);
}

void TGridCol::SetColName(const QString& name) {
    m_colName = TruncateShortString(name);
}

void TGridCol::SetReadOnly(bool readOnly) {
    if (readOnly == m_readOnly) return;
    m_readOnly = m_dataTypePro == dpOrderNo ? true : readOnly;
}

QMenu* TGridCol::PopupMenu() const {
    return m_popupMenu.data();
}

void TGridCol::SetPopupMenu(QMenu* menu) {
    m_popupMenu = menu;
}

void TGridCol::SetDataTypePro(TLNQDataTypePro pro) {
    if (pro == m_dataTypePro) return;
    m_dataTypePro = pro;
    switch (pro) {
    case dpDecimal:
    case dpCurrency:
        m_alignment = Qt::AlignRight;
        break;
    case dpString:
        m_alignment = Qt::AlignLeft;
        break;
    case dpCode:
        m_dataType = TFieldType::ftString;
        m_dataDec = 0;
        m_editMask.clear();
        break;
    case dpOrderNo:
        m_alignment = Qt::AlignHCenter;
        m_dataDec = 0;
        m_readOnly = true;
        break;
    default:
        break;
    }
}

void TGridCol::SetDataWidth(int width) {
    if (width == m_dataWidth) return;
    m_dataWidth = width >= m_dataDec + 1 ? width : 6;
}

void TGridCol::SetDataDec(int decimals) {
    if (decimals == m_dataDec) return;
    const bool numeric =
        m_dataTypePro == dpDecimal || m_dataTypePro == dpComboCount || m_dataTypePro == dpCurrency;
    m_dataDec = numeric && decimals >= 0 && decimals <= m_dataWidth - 1 ? decimals : 0;
}

void TGridCol::SetEditMask(const QString& mask) {
    if (mask == m_editMask) return;
    m_editMask = m_dataTypePro == dpOrderNo ? QString() : mask;
}

void TGridCol::SetValueTrue(const QString& text) {
    m_valueTrue = TruncateShortString(text);
}

void TGridCol::SetValueFalse(const QString& text) {
    m_valueFalse = TruncateShortString(text);
}

void TGridCol::SetPopDate(const QString& text) {
    m_popDate = TruncateShortString(text);
}

QStringList& TGridCol::PopListStrings() {
    if (!m_popListStrings) m_popListStrings = std::make_unique<QStringList>();
    return *m_popListStrings;
}

QStringList& TGridCol::PopListValues() {
    if (!m_popListValues) m_popListValues = std::make_unique<QStringList>();
    return *m_popListValues;
}

void TGridCol::SetPopListStrings(const QStringList* list) {
    if (!list)
        m_popListStrings.reset();
    else if (list != m_popListStrings.get())
        PopListStrings() = *list;
}

void TGridCol::SetPopListValues(const QStringList* list) {
    if (!list)
        m_popListValues.reset();
    else if (list != m_popListValues.get())
        PopListValues() = *list;
}

void TGridCol::SetTitleFont(const QFont& font) {
    if (&font != &m_titleFont) m_titleFont = font;
}

void TGridCol::SetValue(int /*ignored*/, Qt::Alignment alignment, const QString& caption) {
    SetAlignment(alignment);
    SetCaption(caption);
}

int TGridCol::GetLeft() const {
    int left = 0;
    for (int i = 0; i < m_index; ++i)
        left += m_collection->Items(i)->Width();
    return left;
}

// --------------------------------------------------------------- TGridCols

TGridCols::TGridCols(TGridHeaderControl* header) : m_header(header) {}

TGridCols::~TGridCols() = default;

TGridColumnOwner* TGridCols::ColumnOwner() const {
    return m_header->Owner();
}

TGridCol* TGridCols::append() {
    m_items.push_back(std::make_unique<TGridCol>(this));
    m_items.back()->m_index = int(m_items.size()) - 1;
    Changed(nullptr);
    return m_items.back().get();
}

TGridCol* TGridCols::Add() {
    TGridCol* col = append();
    const QString name = QStringLiteral("A%1").arg(col->Index());
    col->SetColName(name);
    col->SetCaption(name);
    col->SetAlignment(Qt::AlignHCenter);
    col->SetDataType(TFieldType::ftString);
    col->SetDataWidth(6);
    col->SetReadOnly(false);
    col->OnChange = [this] { Q_EMIT OnChange(); };
    Q_EMIT OnChange();
    return col;
}

TGridCol* TGridCols::MyAdd() {
    TGridCol* col = append();
    col->OnChange = [this] { Q_EMIT OnChange(); };
    Q_EMIT OnChange();
    return col;
}

void TGridCols::Delete(int index) {
    if (index < 0 || index >= Count()) return;
    ColumnOwner()->GridColRemoved(index);
    m_items.erase(m_items.begin() + index);
    renumber();
    Changed(nullptr);
}

void TGridCols::Clear() {
    if (m_items.empty()) return;
    BeginUpdate();
    while (!m_items.empty())
        Delete(Count() - 1);
    EndUpdate();
}

TGridCol* TGridCols::Items(int index) const {
    if (index < 0 || index >= Count()) return nullptr;
    return m_items[index].get();
}

void TGridCols::SetItems(int index, const TGridCol& value) {
    if (TGridCol* col = Items(index)) col->Assign(value);
}

void TGridCols::Assign(const TGridCols& source) {
    if (&source == this) return;
    // The grid keeps its cells: only the descriptions are replaced, and the
    // column count follows once at the end.
    BeginUpdate();
    m_items.clear();
    for (int i = 0; i < source.Count(); ++i) {
        m_items.push_back(std::make_unique<TGridCol>(this));
        m_items.back()->m_index = i;
        m_items.back()->Assign(*source.Items(i));
    }
    EndUpdate();
}

void TGridCols::Changed(TGridCol* item) {
    if (m_updateCount == 0) Update(item);
}

void TGridCols::BeginUpdate() {
    ++m_updateCount;
}

void TGridCols::EndUpdate() {
    if (m_updateCount > 0 && --m_updateCount == 0) Changed(nullptr);
}

void TGridCols::Update(TGridCol* item) {
    ColumnOwner()->SetTrueColCount(Count());
    if (item)
        m_header->UpdateSection(item->Index());
    else
        m_header->UpdateSections();
    Q_EMIT Updated(item ? item->Index() : -1);
}

void TGridCols::Move(int from, int to) {
    if (from < 0 || to < 0 || from >= Count() || to >= Count() || from == to) return;
    std::unique_ptr<TGridCol> col = std::move(m_items[from]);
    m_items.erase(m_items.begin() + from);
    m_items.insert(m_items.begin() + to, std::move(col));
    renumber();
    m_header->UpdateSections();
    Q_EMIT Updated(-1);
}

void TGridCols::TruncateTo(int count) {
    if (count < 0 || count >= Count()) return;
    m_items.resize(count);
    m_header->UpdateSections();
    Q_EMIT Updated(-1);
}

void TGridCols::renumber() {
    for (size_t i = 0; i < m_items.size(); ++i)
        m_items[i]->m_index = int(i);
}

// ------------------------------------------------------ TGridHeaderControl

TGridHeaderControl::TGridHeaderControl(TGridColumnOwner* owner, QWidget* parent)
    : QWidget(parent), m_owner(owner), m_sections(std::make_unique<TGridCols>(this)) {
    m_nativeModel = new QStandardItemModel(0, 0, this);
    auto* native = new TNativeHeaderView(this);
    m_native = native;
    m_native->setModel(m_nativeModel);
    m_native->setSectionsClickable(true);
    m_native->setSectionResizeMode(QHeaderView::Interactive);
    m_native->setStretchLastSection(false);
    m_native->viewport()->installEventFilter(this);
    connect(m_native, &QHeaderView::sectionClicked, this, [this](int logical) {
        if (TGridCol* col = m_sections->Items(logical)) SectionClick(col);
    });
    connect(m_native, &QHeaderView::sectionResized, this, &TGridHeaderControl::nativeResized);
    if (parent) {
        parent->installEventFilter(this);
        setGeometry(0, 0, parent->width(), kHeaderControlHeight);
    } else {
        resize(200, kHeaderControlHeight);
    }
    m_native->setGeometry(rect());
}

TGridHeaderControl::~TGridHeaderControl() {
    // Columns go before the native header they mirror into.
    m_sections.reset();
}

void TGridHeaderControl::SetSections(const TGridCols& sections) {
    m_sections->Assign(sections);
}

void TGridHeaderControl::UpdateSections() {
    if (!m_sections) return;
    m_mirroring = true;
    const int n = m_sections->Count();
    if (m_nativeModel->columnCount() != n) m_nativeModel->setColumnCount(n);
    m_mirroring = false;
    for (int i = 0; i < n; ++i)
        UpdateSection(i);
}

void TGridHeaderControl::UpdateSection(int index) {
    if (!m_sections) return;
    TGridCol* col = m_sections->Items(index);
    if (!col || index >= m_nativeModel->columnCount()) return;
    m_mirroring = true;
    m_nativeModel->setHeaderData(index, Qt::Horizontal, col->Caption(), Qt::DisplayRole);
    m_nativeModel->setHeaderData(index, Qt::Horizontal,
                                 QVariant::fromValue(col->Alignment() | Qt::AlignVCenter),
                                 Qt::TextAlignmentRole);
    const int w = col->Width();
    if (w < 0) {
        m_native->hideSection(index);
    } else {
        m_native->showSection(index);
        m_native->resizeSection(index, w);
    }
    m_mirroring = false;
    m_native->viewport()->update();
}

void TGridHeaderControl::SetHotTrack(bool on) {
    if (on == m_hotTrack) return;
    m_hotTrack = on;
    m_native->setHighlightSections(on);
    m_native->setMouseTracking(on);
    m_native->setAttribute(Qt::WA_Hover, on);
}

void TGridHeaderControl::SetAlignTop(bool on) {
    m_alignTop = on;
    if (on && parentWidget()) setGeometry(0, 0, parentWidget()->width(), height());
}

void TGridHeaderControl::DrawSection(TGridCol* section, QPainter* painter, const QRect& rect, bool pressed) {
    Q_EMIT OnDrawSection(this, section, painter, rect, pressed);
}

void TGridHeaderControl::SectionClick(TGridCol* section) {
    Q_EMIT OnSectionClick(this, section);
}

void TGridHeaderControl::SectionResize(TGridCol* section) {
    Q_EMIT OnSectionResize(this, section);
}

void TGridHeaderControl::SectionTrack(TGridCol* section, int width, TSectionTrackState state) {
    Q_EMIT OnSectionTrack(this, section, width, state);
}

void TGridHeaderControl::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    m_native->setGeometry(rect());
    Q_EMIT OnResize();
}

bool TGridHeaderControl::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize && m_alignTop)
        setGeometry(0, 0, parentWidget()->width(), height());
    if (watched == m_native->viewport() && event->type() == QEvent::MouseButtonRelease && m_tracking) {
        // End of a divider drag: the last width is final.
        m_tracking = false;
        if (TGridCol* col = m_sections->Items(m_trackSection)) {
            SectionTrack(col, m_native->sectionSize(m_trackSection), tsTrackEnd);
            SectionResize(col);
        }
        m_trackSection = -1;
    }
    return QWidget::eventFilter(watched, event);
}

void TGridHeaderControl::nativeResized(int logical, int /*oldSize*/, int newSize) {
    if (m_mirroring) return;
    TGridCol* col = m_sections->Items(logical);
    if (!col) return;
    if (!m_tracking || m_trackSection != logical) {
        m_tracking = true;
        m_trackSection = logical;
        SectionTrack(col, newSize, tsTrackBegin);
    }
    SectionTrack(col, newSize, tsTrackMove);
    m_mirroring = true;
    col->SetWidth(newSize);
    m_mirroring = false;
}

int TGridHeaderControl::GetColumnWidth(int index) const {
    if (index < 0 || size_t(index) >= m_widths.size()) return kHeaderlessSectionWidth;
    return m_widths[index];
}

void TGridHeaderControl::SetColumnWidth(int index, int width) {
    if (index < 0) return;
    if (size_t(index) >= m_widths.size()) m_widths.resize(index + 1, kHeaderlessSectionWidth);
    m_widths[index] = width;
    if (!m_mirroring) UpdateSection(index);
}

void TGridHeaderControl::SetTrueColCount(int count) {
    m_widths.resize(std::max(0, count), kHeaderlessSectionWidth);
}

void TGridHeaderControl::GridColRemoved(int index) {
    if (index >= 0 && size_t(index) < m_widths.size()) m_widths.erase(m_widths.begin() + index);
}

} // namespace lnq
