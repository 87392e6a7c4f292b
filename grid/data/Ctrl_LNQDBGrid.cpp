#include "grid/data/Ctrl_LNQDBGrid.h"

#include "data/DataSetModel.h"
#include "data/Plat_dataenvironment.h"
#include "grid/core/Ctrl_LNQImages.h"
#include "grid/core/GridText.h"
#include "grid/data/Ctrl_GridSetupFm.h"
#include "grid/data/DBGridCalc.h"
#include "util/Exceptions.h"
#include "util/Plat_sysutils.h"

#include <QActionGroup>
#include <QApplication>
#include <QContextMenuEvent>
#include <QFile>
#include <QFontMetrics>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QPainterPath>
#include <QPrinterInfo>
#include <QScopeGuard>
#include <QScrollBar>
#include <QWheelEvent>
#include <cmath>

namespace lnq {

namespace {

const QString kUp = QStringLiteral("↑");
const QString kDown = QStringLiteral("↓");

QString stripMarks(QString s) {
    s.remove(kUp);
    s.remove(kDown);
    return s;
}

// The core draws a caption holding ";" on two levels; ours are split at ".".
QString coreCaption(const QString& caption) {
    QString c = caption;
    const qsizetype dot = c.indexOf(u'.');
    if (dot >= 0) c[dot] = u';';
    return c;
}

// A field's value as its AsString gives it, read at a view position.
QString asStringAt(const TDataSet& ds, int row, int field) {
    const QVariant v = ds.ValueAt(row, field);
    if (!v.isValid() || v.isNull()) return QString();
    if (v.typeId() == QMetaType::Double) return FloatToStr(v.toDouble());
    return v.toString();
}

} // namespace

// ============================================================ bitmaps

QPixmap DBGridBitmap(const QString& name, qreal dpr) {
    const QString n = name.toUpper();
    const bool check = n == QLatin1String("TRWDBPICTRUE") || n == QLatin1String("TRWDBPICFALSE");
    const bool known = check || n == QLatin1String("RWDBGARROW") || n == QLatin1String("RWDBEDIT") ||
                       n == QLatin1String("RWDBINSERT") || n == QLatin1String("RWDBMULTIDOT") ||
                       n == QLatin1String("RWDBMULTIARROW");
    if (!known) return {};
    const QSize size(12, 12); // square: any ratio maps whole pixels back exactly
    // Whole device pixels, and a ratio that maps them back onto exactly the
    // logical size (13 x 1.5 would otherwise come out as 13.33 logical).
    const QSize pixels(std::max(1, qRound(size.width() * dpr)), std::max(1, qRound(size.height() * dpr)));
    QPixmap pm(pixels);
    pm.setDevicePixelRatio(qreal(pixels.width()) / size.width());
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    if (check) {
        p.setPen(QPen(QColor(64, 64, 64), 1));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(0.5, 0.5, 11, 11));
        if (n == QLatin1String("TRWDBPICTRUE")) {
            p.setPen(QPen(Qt::black, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            QPainterPath tick;
            tick.moveTo(2.8, 6);
            tick.lineTo(5, 8.5);
            tick.lineTo(9.2, 3.2);
            p.setBrush(Qt::NoBrush);
            p.drawPath(tick);
        }
        return pm;
    }
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::black);
    auto arrow = [&](qreal x) {
        QPainterPath a;
        a.moveTo(x, 2);
        a.lineTo(x + 5, 6);
        a.lineTo(x, 10);
        a.closeSubpath();
        p.drawPath(a);
    };
    if (n == QLatin1String("RWDBGARROW")) arrow(3);
    if (n == QLatin1String("RWDBMULTIARROW")) {
        arrow(4);
        p.drawEllipse(QRectF(0, 4.5, 3, 3));
    }
    if (n == QLatin1String("RWDBMULTIDOT")) p.drawEllipse(QRectF(3, 4.5, 3.5, 3.5));
    if (n == QLatin1String("RWDBEDIT")) {
        // An I-beam: the record is being edited.
        p.setPen(QPen(Qt::black, 1.2));
        p.drawLine(QPointF(5, 1.5), QPointF(5, 10.5));
        p.drawLine(QPointF(3, 1.5), QPointF(7, 1.5));
        p.drawLine(QPointF(3, 10.5), QPointF(7, 10.5));
    }
    if (n == QLatin1String("RWDBINSERT")) {
        // An asterisk: a new record.
        p.setPen(QPen(Qt::black, 1.4));
        const QPointF c(5, 6);
        for (int i = 0; i < 3; ++i) {
            const qreal a = i * M_PI / 3;
            const QPointF d(3.5 * std::cos(a), 3.5 * std::sin(a));
            p.drawLine(c - d, c + d);
        }
    }
    return pm;
}

// ============================================================ TColumnTitle

Qt::Alignment TColumnTitle::Alignment() const {
    return m_hasAlignment ? m_alignment : m_column.Alignment();
}

void TColumnTitle::SetAlignment(Qt::Alignment a) {
    m_alignment = a;
    m_hasAlignment = true;
    m_column.changed();
}

QString TColumnTitle::Caption() const {
    if (m_hasCaption) return m_caption;
    const QString name = m_column.FieldName();
    if (TDataEnvironment* env = TDataEnvironment::Instance()) {
        const QString c = env->GetTitleCaption(name);
        if (!c.isEmpty() && c != QLatin1String("NotVisible") && c != name) return c;
    }
    if (const TField* f = m_column.Field()) return f->DisplayLabel();
    return name;
}

void TColumnTitle::SetCaption(const QString& caption) {
    if (m_hasCaption && caption == m_caption) return;
    m_caption = caption;
    m_hasCaption = true;
    if (m_column.OnTitleChanged) m_column.OnTitleChanged(&m_column);
    m_column.changed();
}

QColor TColumnTitle::Color() const {
    if (m_hasColor) return m_color;
    const TLNQCustomDBGrid* g = m_column.Grid();
    return g ? g->HeaderColor() : QColor();
}

void TColumnTitle::SetColor(const QColor& c) {
    m_color = c;
    m_hasColor = true;
    m_column.changed();
}

QFont TColumnTitle::Font() const {
    if (m_hasFont) return m_font;
    const TLNQCustomDBGrid* g = m_column.Grid();
    return g ? g->TitleFont() : QFont();
}

void TColumnTitle::SetFont(const QFont& f) {
    m_font = f;
    m_hasFont = true;
    m_column.changed();
}

void TColumnTitle::RestoreDefaults() {
    m_hasCaption = m_hasAlignment = m_hasColor = m_hasFont = false;
}

// ============================================================ TColumn

TColumn::TColumn(TLNQDBGridColumns& owner) : m_owner(owner) {}
TColumn::~TColumn() = default;

TLNQCustomDBGrid* TColumn::Grid() const {
    return m_owner.Grid();
}

int TColumn::Index() const {
    return m_owner.IndexOf(this);
}

TField* TColumn::Field() const {
    const TLNQCustomDBGrid* g = Grid();
    TDataSet* ds = g ? g->DataSet() : nullptr;
    if (!ds || !ds->Active() || m_fieldName.isEmpty()) return nullptr;
    return ds->FindField(m_fieldName);
}

void TColumn::changed() {
    m_owner.changed();
}

Qt::Alignment TColumn::Alignment() const {
    if (m_hasAlignment) return m_alignment;
    if (IsNumericDataTypePro(m_dataTypePro)) return Qt::AlignRight;
    if (const TField* f = Field())
        if (IsNumberTypeGroup(f->DataType()) && !IsTextTypeGroup(f->DataType())) return Qt::AlignRight;
    return Qt::AlignLeft;
}

void TColumn::SetAlignment(Qt::Alignment a) {
    m_alignment = a & Qt::AlignHorizontal_Mask;
    m_hasAlignment = true;
    changed();
}

QColor TColumn::Color() const {
    if (m_hasColor) return m_color;
    const TLNQCustomDBGrid* g = Grid();
    return g ? g->Color() : QColor();
}

void TColumn::SetColor(const QColor& c) {
    m_color = c;
    m_hasColor = true;
    changed();
}

QFont TColumn::Font() const {
    if (m_hasFont) return m_font;
    const TLNQCustomDBGrid* g = Grid();
    return g ? g->font() : QFont();
}

void TColumn::SetFont(const QFont& f) {
    m_font = f;
    m_hasFont = true;
    changed();
}

void TColumn::SetReadOnly(bool on) {
    m_readOnly = on;
    changed();
}

int TColumn::Width() const {
    if (m_hasWidth || m_hasDefaultWidth) return m_width;
    return DefaultWidth();
}

void TColumn::SetDefaultWidth(int w) {
    if (m_maxColWidth > 0 && w > m_maxColWidth) w = m_maxColWidth;
    m_width = w;
    m_hasWidth = false;
    m_hasDefaultWidth = true;
    changed();
}

int TColumn::DefaultWidth() const {
    // Until set: wide enough for the field's display width and the title.
    const TLNQCustomDBGrid* g = Grid();
    const QFontMetrics fm(g ? g->font() : QFont());
    int w = 64;
    // Digits set the measure: a wide field does not make a screen-wide column.
    if (const TField* f = Field())
        m_fieldWidth = fm.horizontalAdvance(u'0') * std::clamp(f->DisplayWidth(), 4, 16) + 8;
    if (m_fieldWidth > 0) w = m_fieldWidth;
    const QFontMetrics tm(m_title.Font());
    for (const QString& part : m_title.Caption().split(u'.'))
        w = std::max(w, tm.horizontalAdvance(part) + 8);
    if (m_maxColWidth > 0) w = std::min(w, m_maxColWidth);
    return w;
}

void TColumn::SetWidth(int w) {
    if (m_maxColWidth > 0 && w > m_maxColWidth) w = m_maxColWidth;
    if (m_hasWidth && w == m_width) return;
    m_width = w;
    m_hasWidth = true;
    changed();
}

void TColumn::SetFieldName(const QString& name) {
    m_fieldName = name;
    m_fieldWidth = -1;
    changed();
}

void TColumn::SetPickList(const QStringList& list) {
    m_pickList = list;
    changed();
}

void TColumn::SetDataTypePro(TLNQDataTypePro p) {
    m_dataTypePro = p;
    changed();
}

void TColumn::SetTailCaption(const QString& text) {
    m_tailCaption = TruncateShortString(text);
    // Only the footer changes: no new layout.
    if (TLNQCustomDBGrid* g = Grid()) g->pushTail(*this);
}

void TColumn::SetDataWidth(int w) {
    m_dataWidth = w;
    changed();
}

void TColumn::SetDataDec(int d) {
    m_dataDec = d;
    changed();
}

void TColumn::SetLoadButton(bool on) {
    m_loadButton = on;
    changed();
}

void TColumn::SetSortable(bool on) {
    m_sortable = on;
    changed();
}

void TColumn::SetColColor(quint32 c) {
    m_colColor = c;
    changed();
}

void TColumn::SetCheckBox(bool on) {
    m_checkBox = on;
    changed();
}

void TColumn::SetValueTrue(const QString& v) {
    m_valueTrue = TruncateShortString(v);
    changed();
}

void TColumn::SetValueFalse(const QString& v) {
    m_valueFalse = TruncateShortString(v);
    changed();
}

void TColumn::SetPopDateAllowed(bool on) {
    m_popDateAllowed = on;
    changed();
}

void TColumn::SetPopDate(const QString& v) {
    m_popDate = TruncateShortString(v);
    changed();
}

void TColumn::SetPopComboBoxAllowed(bool on) {
    m_popComboBoxAllowed = on;
    changed();
}

void TColumn::SetPopListStrings(const QStringList& list) {
    m_popListStrings = list;
    changed();
}

void TColumn::SetPopListValues(const QStringList& list) {
    m_popListValues = list;
    changed();
}

void TColumn::SetShowZero(bool on) {
    m_showZero = on;
    changed();
}

void TColumn::SetCalendarShowCheckBox(bool on) {
    m_calendarShowCheckBox = on;
    changed();
}

void TColumn::Assign(const TColumn& s) {
    m_hasAlignment = s.m_hasAlignment;
    m_alignment = s.m_alignment;
    m_hasColor = s.m_hasColor;
    m_color = s.m_color;
    m_hasFont = s.m_hasFont;
    m_font = s.m_font;
    m_hasWidth = s.m_hasWidth;
    m_hasDefaultWidth = s.m_hasDefaultWidth;
    m_width = s.m_width;
    m_imeMode = s.m_imeMode;
    m_imeName = s.m_imeName;
    m_readOnly = s.m_readOnly;
    m_buttonStyle = s.m_buttonStyle;
    m_dropDownRows = s.m_dropDownRows;
    m_fieldName = s.m_fieldName;
    m_pickList = s.m_pickList;
    m_popupMenu = s.m_popupMenu;
    m_title.m_hasCaption = s.m_title.m_hasCaption;
    m_title.m_caption = s.m_title.m_caption;
    m_title.m_hasAlignment = s.m_title.m_hasAlignment;
    m_title.m_alignment = s.m_title.m_alignment;
    m_title.m_hasColor = s.m_title.m_hasColor;
    m_title.m_color = s.m_title.m_color;
    m_title.m_hasFont = s.m_title.m_hasFont;
    m_title.m_font = s.m_title.m_font;
    m_dataTypePro = s.m_dataTypePro;
    m_tailCaption = s.m_tailCaption;
    m_dataTypeApp = s.m_dataTypeApp;
    m_maxColWidth = s.m_maxColWidth;
    m_dataWidth = s.m_dataWidth;
    m_dataDec = s.m_dataDec;
    m_loadButton = s.m_loadButton;
    m_sortable = s.m_sortable;
    m_colColor = s.m_colColor;
    m_checkBox = s.m_checkBox;
    m_valueTrue = s.m_valueTrue;
    m_valueFalse = s.m_valueFalse;
    m_popDateAllowed = s.m_popDateAllowed;
    m_popDate = s.m_popDate;
    m_popComboBoxAllowed = s.m_popComboBoxAllowed;
    m_popListStrings = s.m_popListStrings;
    m_popListValues = s.m_popListValues;
    m_calcMode = s.m_calcMode;
    m_showZero = s.m_showZero;
    m_calendarShowCheckBox = s.m_calendarShowCheckBox;
    changed();
}

// ============================================================ TLNQDBGridColumns

TLNQDBGridColumns::TLNQDBGridColumns(TLNQCustomDBGrid* grid) : m_grid(grid) {}
TLNQDBGridColumns::~TLNQDBGridColumns() = default;

TColumn* TLNQDBGridColumns::Items(int index) const {
    return index >= 0 && index < Count() ? m_items[size_t(index)].get() : nullptr;
}

TColumn* TLNQDBGridColumns::append() {
    m_items.push_back(std::make_unique<TColumn>(*this));
    return m_items.back().get();
}

TColumn* TLNQDBGridColumns::Add() {
    if (m_state == csDefault) {
        // The first hand-made column replaces the automatic ones.
        m_items.clear();
        m_state = csCustomized;
    }
    TColumn* c = append();
    changed();
    return c;
}

void TLNQDBGridColumns::Delete(int index) {
    if (index < 0 || index >= Count()) return;
    m_items.erase(m_items.begin() + index);
    changed();
}

void TLNQDBGridColumns::Clear() {
    m_items.clear();
    changed();
}

void TLNQDBGridColumns::Move(int from, int to) {
    if (from < 0 || to < 0 || from >= Count() || to >= Count() || from == to) return;
    auto item = std::move(m_items[size_t(from)]);
    m_items.erase(m_items.begin() + from);
    m_items.insert(m_items.begin() + to, std::move(item));
    changed();
}

int TLNQDBGridColumns::IndexOf(const TColumn* column) const {
    for (int i = 0; i < Count(); ++i)
        if (m_items[size_t(i)].get() == column) return i;
    return -1;
}

TColumn* TLNQDBGridColumns::ColumnOfField(const QString& fieldName) const {
    for (const auto& c : m_items)
        if (c->FieldName().compare(fieldName, Qt::CaseInsensitive) == 0) return c.get();
    return nullptr;
}

void TLNQDBGridColumns::SetState(TDBGridColumnsState state) {
    if (state == m_state) return;
    m_state = state;
    if (state == csDefault) RebuildColumns();
}

void TLNQDBGridColumns::RebuildColumns() {
    TDataSet* ds = m_grid ? m_grid->DataSet() : nullptr;
    BeginUpdate();
    m_items.clear();
    m_state = csDefault;
    if (ds && ds->Active()) {
        TDataEnvironment* env = TDataEnvironment::Instance();
        for (int i = 0; i < ds->FieldCount(); ++i) {
            const TField& f = ds->Fields(i);
            if (!f.Visible()) continue;
            if (env && env->GetTitleCaption(f.FieldName()) == QLatin1String("NotVisible")) continue;
            TColumn* c = append();
            c->m_fieldName = f.FieldName();
            if (f.DataType() == TFieldType::ftCurrency) {
                c->m_dataTypePro = dpCurrency;
                c->m_dataWidth = 18;
                c->m_dataDec = 2;
            }
        }
    }
    m_pending = true;
    EndUpdate();
}

void TLNQDBGridColumns::RestoreDefaults() {
    BeginUpdate();
    for (auto& c : m_items) {
        c->m_hasAlignment = c->m_hasColor = c->m_hasFont = c->m_hasWidth = c->m_hasDefaultWidth = false;
        c->m_title.RestoreDefaults();
    }
    m_pending = true;
    EndUpdate();
}

void TLNQDBGridColumns::changed() {
    if (m_update > 0) {
        m_pending = true;
        return;
    }
    Q_EMIT Changed();
    if (m_grid) m_grid->LayoutChanged();
}

void TLNQDBGridColumns::EndUpdate() {
    if (m_update > 0) --m_update;
    if (m_update == 0 && m_pending) {
        m_pending = false;
        changed();
    }
}

namespace {

QJsonObject columnToJson(const TColumn& c) {
    QJsonObject o;
    o.insert(QStringLiteral("FieldName"), c.FieldName());
    if (c.IsWidthStored()) o.insert(QStringLiteral("Width"), c.Width());
    if (c.ReadOnly()) o.insert(QStringLiteral("ReadOnly"), true);
    if (c.ButtonStyle() != cbsAuto) o.insert(QStringLiteral("ButtonStyle"), int(c.ButtonStyle()));
    if (c.DropDownRows() != 7) o.insert(QStringLiteral("DropDownRows"), c.DropDownRows());
    if (!c.PickList().isEmpty())
        o.insert(QStringLiteral("PickList"), QJsonArray::fromStringList(c.PickList()));
    if (c.ImeMode() != imDontCare) o.insert(QStringLiteral("ImeMode"), int(c.ImeMode()));
    if (!c.ImeName().isEmpty()) o.insert(QStringLiteral("ImeName"), c.ImeName());
    QJsonObject t;
    const TColumnTitle& title = c.Title();
    if (title.IsCaptionStored()) t.insert(QStringLiteral("Caption"), title.Caption());
    if (title.IsAlignmentStored()) t.insert(QStringLiteral("Alignment"), int(title.Alignment()));
    if (title.IsColorStored()) t.insert(QStringLiteral("Color"), title.Color().name());
    if (title.IsFontStored()) t.insert(QStringLiteral("Font"), title.Font().toString());
    if (!t.isEmpty()) o.insert(QStringLiteral("Title"), t);
    if (c.DataTypePro() != dpString) o.insert(QStringLiteral("DataTypePro"), int(c.DataTypePro()));
    if (!c.TailCaption().isEmpty()) o.insert(QStringLiteral("TailCaption"), c.TailCaption());
    if (c.DataTypeApp() != daNone) o.insert(QStringLiteral("DataTypeApp"), int(c.DataTypeApp()));
    if (c.MaxColWidth() != 0) o.insert(QStringLiteral("MaxColWidth"), c.MaxColWidth());
    if (c.DataWidth() != 0) o.insert(QStringLiteral("DataWidth"), c.DataWidth());
    if (c.DataDec() != 0) o.insert(QStringLiteral("DataDec"), c.DataDec());
    if (c.LoadButton()) o.insert(QStringLiteral("LoadButton"), true);
    if (!c.Sortable()) o.insert(QStringLiteral("Sortable"), false);
    if (c.ColColor() != 0) o.insert(QStringLiteral("ColColor"), qint64(c.ColColor()));
    if (c.CheckBox()) o.insert(QStringLiteral("CheckBox"), true);
    if (!c.ValueTrue().isEmpty()) o.insert(QStringLiteral("ValueTrue"), c.ValueTrue());
    if (!c.ValueFalse().isEmpty()) o.insert(QStringLiteral("ValueFalse"), c.ValueFalse());
    if (c.PopDateAllowed()) o.insert(QStringLiteral("PopDateAllowed"), true);
    if (!c.PopDate().isEmpty()) o.insert(QStringLiteral("PopDate"), c.PopDate());
    if (c.PopComboBoxAllowed()) o.insert(QStringLiteral("PopComboBoxAllowed"), true);
    if (!c.PopListStrings().isEmpty())
        o.insert(QStringLiteral("PopListStrings"), QJsonArray::fromStringList(c.PopListStrings()));
    if (!c.PopListValues().isEmpty())
        o.insert(QStringLiteral("PopListValues"), QJsonArray::fromStringList(c.PopListValues()));
    if (c.CalcMode() != ccUser) o.insert(QStringLiteral("CalcMode"), int(c.CalcMode()));
    if (c.ShowZero()) o.insert(QStringLiteral("ShowZero"), true);
    if (c.CalendarShowCheckBox()) o.insert(QStringLiteral("CalendarShowCheckBox"), true);
    return o;
}

QStringList jsonStrings(const QJsonValue& v) {
    QStringList out;
    for (const QJsonValue& e : v.toArray())
        out.append(e.toString());
    return out;
}

template <typename E> E enumValue(const QJsonObject& o, const char* key, int last, E fallback) {
    const int v = o.value(QLatin1String(key)).toInt(int(fallback));
    return v >= 0 && v <= last ? E(v) : fallback;
}

void columnFromJson(TColumn& c, const QJsonObject& o) {
    c.SetFieldName(o.value(QStringLiteral("FieldName")).toString());
    if (o.contains(QStringLiteral("Width"))) c.SetWidth(o.value(QStringLiteral("Width")).toInt(64));
    c.SetReadOnly(o.value(QStringLiteral("ReadOnly")).toBool());
    c.SetButtonStyle(enumValue(o, "ButtonStyle", cbsNone, cbsAuto));
    c.SetDropDownRows(std::clamp(o.value(QStringLiteral("DropDownRows")).toInt(7), 1, 100));
    c.SetPickList(jsonStrings(o.value(QStringLiteral("PickList"))));
    c.SetImeMode(enumValue(o, "ImeMode", imHanguel, imDontCare));
    c.SetImeName(o.value(QStringLiteral("ImeName")).toString());
    const QJsonObject t = o.value(QStringLiteral("Title")).toObject();
    if (t.contains(QStringLiteral("Caption")))
        c.Title().SetCaption(t.value(QStringLiteral("Caption")).toString());
    if (t.contains(QStringLiteral("Alignment")))
        c.Title().SetAlignment(Qt::Alignment(t.value(QStringLiteral("Alignment")).toInt()) &
                               Qt::AlignHorizontal_Mask);
    if (t.contains(QStringLiteral("Color")))
        c.Title().SetColor(QColor(t.value(QStringLiteral("Color")).toString()));
    if (t.contains(QStringLiteral("Font"))) {
        QFont f;
        if (f.fromString(t.value(QStringLiteral("Font")).toString())) c.Title().SetFont(f);
    }
    c.SetDataTypePro(enumValue(o, "DataTypePro", dpCurrency, dpString));
    c.SetTailCaption(o.value(QStringLiteral("TailCaption")).toString());
    c.SetDataTypeApp(enumValue(o, "DataTypeApp", daHl, daNone));
    c.SetMaxColWidth(std::max(0, o.value(QStringLiteral("MaxColWidth")).toInt()));
    c.SetDataWidth(std::clamp(o.value(QStringLiteral("DataWidth")).toInt(), 0, 40));
    c.SetDataDec(std::clamp(o.value(QStringLiteral("DataDec")).toInt(), 0, 18));
    c.SetLoadButton(o.value(QStringLiteral("LoadButton")).toBool());
    c.SetSortable(o.value(QStringLiteral("Sortable")).toBool(true));
    c.SetColColor(quint32(o.value(QStringLiteral("ColColor")).toInteger()));
    c.SetCheckBox(o.value(QStringLiteral("CheckBox")).toBool());
    c.SetValueTrue(o.value(QStringLiteral("ValueTrue")).toString());
    c.SetValueFalse(o.value(QStringLiteral("ValueFalse")).toString());
    c.SetPopDateAllowed(o.value(QStringLiteral("PopDateAllowed")).toBool());
    c.SetPopDate(o.value(QStringLiteral("PopDate")).toString());
    c.SetPopComboBoxAllowed(o.value(QStringLiteral("PopComboBoxAllowed")).toBool());
    c.SetPopListStrings(jsonStrings(o.value(QStringLiteral("PopListStrings"))));
    c.SetPopListValues(jsonStrings(o.value(QStringLiteral("PopListValues"))));
    c.SetCalcMode(enumValue(o, "CalcMode", ccCount, ccUser));
    c.SetShowZero(o.value(QStringLiteral("ShowZero")).toBool());
    c.SetCalendarShowCheckBox(o.value(QStringLiteral("CalendarShowCheckBox")).toBool());
}

// Column collections are small; a larger stream is not one.
constexpr qint64 kMaxColumnsStream = 8 * 1024 * 1024;

} // namespace

void TLNQDBGridColumns::SaveToStream(QIODevice& out) const {
    QJsonArray cols;
    for (const auto& c : m_items)
        cols.append(columnToJson(*c));
    QJsonObject root;
    root.insert(QStringLiteral("Columns"), cols);
    const QByteArray bytes = QJsonDocument(root).toJson(QJsonDocument::Indented);
    if (out.write(bytes) != bytes.size()) throw EInOutError(QStringLiteral("列设置写入失败"));
}

void TLNQDBGridColumns::LoadFromStream(QIODevice& in) {
    const QByteArray bytes = in.read(kMaxColumnsStream + 1);
    if (bytes.size() > kMaxColumnsStream) throw EReadError(QStringLiteral("列设置数据过大"));
    QJsonParseError err{};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &err);
    if (err.error != QJsonParseError::NoError || !doc.isObject() ||
        !doc.object().value(QStringLiteral("Columns")).isArray())
        throw EReadError(QStringLiteral("列设置格式错误"));
    const QJsonArray cols = doc.object().value(QStringLiteral("Columns")).toArray();
    for (const QJsonValue& v : cols)
        if (!v.isObject() || !v.toObject().value(QStringLiteral("FieldName")).isString())
            throw EReadError(QStringLiteral("列设置格式错误"));
    BeginUpdate();
    m_items.clear();
    m_state = csCustomized;
    for (const QJsonValue& v : cols)
        columnFromJson(*append(), v.toObject());
    m_pending = true;
    EndUpdate();
}

void TLNQDBGridColumns::SaveToFile(const QString& fileName) const {
    QFile f(fileName);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw EInOutError(QStringLiteral("无法创建文件 ") + fileName);
    SaveToStream(f);
}

void TLNQDBGridColumns::LoadFromFile(const QString& fileName) {
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly)) throw EInOutError(QStringLiteral("无法打开文件 ") + fileName);
    LoadFromStream(f);
}

// ============================================================ TGridDataLink

TGridDataLink::TGridDataLink(TLNQCustomDBGrid& grid) : m_grid(grid) {}

TGridDataLink::~TGridDataLink() {
    for (const auto& c : m_links)
        disconnect(c);
}

bool TGridDataLink::Active() const {
    return m_dataSet && m_dataSet->Active();
}

void TGridDataLink::SetDataSet(TDataSet* dataSet) {
    for (const auto& c : m_links)
        disconnect(c);
    m_links.clear();
    // Detaching an open dataset is a save point of the layout file.
    if (m_wasActive && m_dataSet && m_dataSet != dataSet) {
        m_grid.autoSaveFormat(false);
        m_wasActive = false;
    }
    // A sort the grid made belongs to the dataset it was made on.
    if (m_dataSet != dataSet) m_grid.m_gridSort.reset();
    m_dataSet = dataSet;
    m_lastFields.clear();
    if (dataSet) {
        m_links << connect(dataSet, &TDataSet::dataSetChanged, this, &TGridDataLink::DataSetChanged);
        m_links << connect(dataSet, &TDataSet::scrolled, this, &TGridDataLink::DataSetScrolled);
        m_links << connect(dataSet, &TDataSet::stateChanged, this, &TGridDataLink::EditingChanged);
        m_links << connect(dataSet, &TDataSet::recordChanged, this, &TGridDataLink::RecordChanged);
        m_links << connect(dataSet, &TDataSet::rowsInserted, this, [this](int, int) { DataSetChanged(); });
        m_links << connect(dataSet, &TDataSet::rowsRemoved, this, [this](int, int) { DataSetChanged(); });
        m_links << connect(dataSet, &QObject::destroyed, this, [this] {
            m_dataSet = nullptr;
            ActiveChanged();
        });
    }
    ActiveChanged();
}

void TGridDataLink::AddMapping(const QString& fieldName) {
    TDataSet* ds = m_dataSet.data();
    const TField* f = ds && ds->Active() ? ds->FindField(fieldName) : nullptr;
    m_map.push_back(f ? f->Index() : -1);
}

void TGridDataLink::ClearMapping() {
    m_map.clear();
}

int TGridDataLink::GetMappedIndex(int column) const {
    return column >= 0 && size_t(column) < m_map.size() ? m_map[size_t(column)] : -1;
}

void TGridDataLink::ActiveChanged() {
    // Closing is a save point: the columns are saved before they follow the closed dataset.
    if (m_wasActive && !Active()) m_grid.autoSaveFormat(false);
    m_wasActive = Active();
    m_lastFields = m_wasActive ? m_dataSet->FieldNames() : QStringList();
    m_grid.m_insertRow = -1;
    {
        // The rebuilt columns and the layout file's widths and titles reach
        // the cells in one pass, not one per step.
        m_grid.BeginLayout();
        const auto once = qScopeGuard([this] { m_grid.EndLayout(); });
        if (m_grid.m_columns->State() == csDefault) m_grid.m_columns->RebuildColumns();
        LayoutChanged();
        // Every layout of the columns from an active dataset reads the layout file.
        if (m_wasActive) m_grid.autoLoadFormat();
    }
    if (m_wasActive) m_grid.guarded([this] { m_grid.followSortAfterReload(); });
}

void TGridDataLink::DataSetChanged() {
    const bool active = Active();
    if (active != m_wasActive || (active && m_dataSet->FieldNames() != m_lastFields)) {
        ActiveChanged();
        return;
    }
    if (active && m_dataSet->State() != TDataSetState::dsInsert) m_grid.m_insertRow = -1;
    // Rows may have moved: a shift-range starts again from the current record.
    m_grid.m_anchorRow = -1;
    m_grid.m_bookmarks->Refresh();
    m_grid.syncRows();
}

void TGridDataLink::DataSetScrolled() {
    m_grid.syncCursor();
    m_grid.RefreshCells();
}

void TGridDataLink::LayoutChanged() {
    m_grid.LayoutChanged();
}

void TGridDataLink::FocusControl(const QString& fieldName) {
    if (TColumn* c = m_grid.m_columns->ColumnOfField(fieldName)) {
        m_grid.SetSelectedIndex(c->Index());
        m_grid.setFocus(Qt::OtherFocusReason);
    }
}

void TGridDataLink::EditingChanged() {
    TDataSet* ds = m_dataSet.data();
    const bool inserting = ds && ds->State() == TDataSetState::dsInsert;
    if (inserting && m_grid.m_insertRow < 0) {
        const int cur = ds->CurrentRow();
        m_grid.m_insertRow = m_grid.m_appending || cur < 0 ? ds->RecordCount() + 1 : cur + 1;
        m_grid.m_appending = false;
        m_grid.syncRows();
    } else if (!inserting && m_grid.m_insertRow >= 0) {
        m_grid.m_insertRow = -1;
        m_grid.syncRows();
    }
    m_grid.RefreshCells();
}

void TGridDataLink::RecordChanged(int row) {
    const int g = m_grid.GridRowOfRecord(row);
    TLNQCellModel& m = m_grid.CellModel();
    if (g >= 1 && g < m.RowCount() && m.ColCount() > 0)
        Q_EMIT m.dataChanged(m.index(g, 0), m.index(g, m.ColCount() - 1));
}

void TGridDataLink::UpdateData() {
    if (m_grid.EditorMode()) m_grid.HideEditor();
}

// ============================================================ TBookmarkList

void TBookmarkList::Clear() {
    m_items.clear();
    m_set.clear();
    m_grid.RefreshCells();
}

void TBookmarkList::Delete() {
    TDataSet* ds = m_grid.DataSet();
    if (!ds) return;
    Refresh();
    // The list is emptied first: every delete tells the grid the view changed.
    std::vector<TBookmark> doomed;
    doomed.swap(m_items);
    m_set.clear();
    ds->DisableControls();
    try {
        for (const TBookmark& b : doomed)
            if (ds->BookmarkValid(b)) {
                ds->GotoBookmark(b);
                ds->Delete();
            }
    } catch (...) {
        ds->EnableControls();
        throw;
    }
    ds->EnableControls();
}

bool TBookmarkList::Find(const TBookmark& bookmark, int& index) const {
    index = IndexOf(bookmark);
    return index >= 0;
}

int TBookmarkList::IndexOf(const TBookmark& bookmark) const {
    if (!m_set.contains(bookmark.record)) return -1;
    const auto it = std::find(m_items.begin(), m_items.end(), bookmark);
    return it == m_items.end() ? -1 : int(it - m_items.begin());
}

bool TBookmarkList::Refresh() {
    if (m_items.empty()) return false;
    const TDataSet* ds = m_grid.DataSet();
    // One walk over the view finds every selected record still in it.
    QSet<qint64> live;
    if (ds && ds->Active()) {
        const int n = ds->RecordCount();
        for (int row = 0; row < n && live.size() < m_set.size(); ++row) {
            const qint64 r = ds->BookmarkAt(row).record;
            if (m_set.contains(r)) live.insert(r);
        }
    }
    if (live.size() == m_set.size()) return false;
    std::erase_if(m_items, [&live](const TBookmark& b) { return !live.contains(b.record); });
    m_set = std::move(live);
    return true;
}

bool TBookmarkList::CurrentRowSelected() const {
    const TDataSet* ds = m_grid.DataSet();
    return ds && ds->Active() && !ds->IsEmpty() && IsSelected(ds->GetBookmark());
}

bool TBookmarkList::insert(const TBookmark& bookmark) {
    if (!bookmark.isValid() || m_set.contains(bookmark.record)) return false;
    m_set.insert(bookmark.record);
    m_items.push_back(bookmark);
    return true;
}

void TBookmarkList::SetCurrentRowSelected(bool on) {
    const TDataSet* ds = m_grid.DataSet();
    if (!ds || !ds->Active() || ds->IsEmpty()) return;
    const TBookmark b = ds->GetBookmark();
    if (on) {
        insert(b);
    } else if (const int i = IndexOf(b); i >= 0) {
        m_items.erase(m_items.begin() + i);
        m_set.remove(b.record);
    }
    m_grid.RefreshCells();
}

void TBookmarkList::SelectRange(int first, int last, bool add) {
    const TDataSet* ds = m_grid.DataSet();
    if (!add) {
        m_items.clear();
        m_set.clear();
    }
    if (ds && ds->Active() && ds->RecordCount() > 0) {
        const int n = ds->RecordCount();
        const int from = std::clamp(std::min(first, last), 0, n - 1);
        const int to = std::clamp(std::max(first, last), 0, n - 1);
        m_items.reserve(m_items.size() + size_t(to - from + 1));
        for (int row = from; row <= to; ++row)
            insert(ds->BookmarkAt(row));
    }
    m_grid.RefreshCells();
}

void TBookmarkList::SelectAll() {
    TDataSet* ds = m_grid.DataSet();
    if (!ds || !ds->Active() || ds->IsEmpty()) return;
    ds->CheckBrowseMode();
    SelectRange(0, ds->RecordCount() - 1, false);
}

void TBookmarkList::InvertSelection() {
    TDataSet* ds = m_grid.DataSet();
    if (!ds || !ds->Active() || ds->IsEmpty()) return;
    ds->CheckBrowseMode();
    // One walk over the view by position: the selected records are dropped,
    // the others added in view order.
    const QSet<qint64> before = std::move(m_set);
    m_set.clear();
    m_items.clear();
    const int n = ds->RecordCount();
    for (int row = 0; row < n; ++row) {
        const TBookmark b = ds->BookmarkAt(row);
        if (!before.contains(b.record)) insert(b);
    }
    m_grid.RefreshCells();
}

// ============================================================ the grid

TLNQCustomDBGrid::TLNQCustomDBGrid(QWidget* parent) : TLNQCustomGrid(parent) {
    m_link = std::make_unique<TGridDataLink>(*this);
    m_columns = std::make_unique<TLNQDBGridColumns>(this);
    m_bookmarks = std::make_unique<TBookmarkList>(*this);
    m_filters = std::make_unique<TFilterList>();
    m_layoutColumns = std::make_unique<TDBGridLayoutColumns>(*this);
    InstallLayoutCaptionsReader();
    setAccessibleName(QStringLiteral("数据表格"));
    CellModel().CellHook = [this](int col, int row) -> QString {
        if (row < 1) return {};
        const TColumn* c = ColumnAt(col);
        if (!c) return {};
        if (row == m_insertRow) return CellText(*c, -1);
        const int rec = RecordOfGridRow(row);
        return rec >= 0 ? CellText(*c, rec) : QString();
    };
    CellModel().HeaderHook = [this](int section, Qt::Orientation o, int role) -> QVariant {
        if (role != Qt::DisplayRole && role != Qt::AccessibleTextRole) return {};
        if (o == Qt::Vertical) return section;
        const TColumn* c = ColumnAt(section);
        return c ? QVariant(stripMarks(c->Title().Caption())) : QVariant(QString());
    };
    const QPalette pal = palette();
    m_highlight = pal.color(QPalette::Highlight);
    m_highlightText = pal.color(QPalette::HighlightedText);
    m_defColor = pal.color(QPalette::ToolTipBase);
    m_titleFont = font();
    SetHeaderHeight(40);
    SetDefaultRowHeight(m_rowsHeightDB);
    SetRowsHeight(m_rowsHeightDB);
    m_controlOptions = TDBGridControlOption::coTitleSort | TDBGridControlOption::coMenuFilter |
                       TDBGridControlOption::coMenuSort | TDBGridControlOption::coMenuPrintPreview |
                       TDBGridControlOption::coMenuPrintSetup | TDBGridControlOption::coMenuPrintOut |
                       TDBGridControlOption::coMenuPrintDesign | TDBGridControlOption::coMenuExportToExcel |
                       TDBGridControlOption::coMenuCopy | TDBGridControlOption::coMenuSetup;
    PrinterCount = [] { return int(QPrinterInfo::availablePrinterNames().size()); };
    OnHeaderDblClick = [this](int col, bool&, Qt::KeyboardModifiers shift) { HeaderDblClcik(col, shift); };
    // Without default drawing the host draws every data cell itself.
    connect(
        this, &TLNQCustomGrid::OnDrawCell, this,
        [this](TLNQCustomGrid*, int col, int row, QPainter* canvas, const QRect& rect, TGridDrawState state) {
            TColumn* c = ColumnAt(col);
            if (!DefaultDrawing() && c && row >= 1)
                Q_EMIT OnDrawColumnCell(this, canvas, rect, col - m_indicatorOffset, c, state);
        });
    // The cell's "..." button: the column-aware event and the edit-button signal.
    connect(this, &TLNQCustomGrid::OnLoadButtonClick, this, [this](TLNQCustomGrid*) {
        TColumn* c = SelectedColumn();
        if (OnDBLoadButtonClick) OnDBLoadButtonClick(this, c);
        Q_EMIT OnEditButtonClick(this, c);
    });
    // A title dragged to another place (or MoveColumn called by the host):
    // the cells have moved, the column collection follows, and the moved
    // order is kept across reloads (and reaches the layout file at its next
    // save point).
    connect(this, &TLNQCustomGrid::OnColumnMoved, this, [this](TLNQCustomGrid*, int from, int to) {
        const int f = from - m_indicatorOffset, t = to - m_indicatorOffset;
        if (f < 0 || t < 0 || f >= m_columns->Count() || t >= m_columns->Count()) return;
        m_columns->BeginUpdate();
        m_columns->SetState(csCustomized);
        m_columns->Move(f, t);
        m_columns->EndUpdate();
    });
    SetDBOptions(m_dbOptions);
    applyLayout();
}

TLNQCustomDBGrid::~TLNQCustomDBGrid() {
    if (m_controlOptions.testFlag(TDBGridControlOption::coAutoFormat)) {
        // No message box from a destructor: a layout that cannot be written is only logged.
        try {
            SaveFormat(true);
        } catch (const Exception& e) {
            qWarning("%s", qUtf8Printable(e.Message()));
        }
    }
    m_destroying = true;
    if (TDataSet* ds = DataSet()) {
        // The dataset outlives the grid: its record filter must not call back.
        if (m_filterInstalled) ds->SetOnFilterRecords(nullptr);
    }
    m_link->SetDataSet(nullptr);
    CellModel().CellHook = nullptr;
    CellModel().HeaderHook = nullptr;
}

void TLNQCustomDBGrid::SetDataSet(TDataSet* dataSet) {
    if (dataSet == DataSet()) return;
    if (TDataSet* old = DataSet(); old && m_filterInstalled) {
        old->SetOnFilterRecords(nullptr);
        m_filterInstalled = false;
    }
    m_bookmarks->Clear();
    m_link->SetDataSet(dataSet);
}

// ---------------------------------------------------------------- mapping

TColumn* TLNQCustomDBGrid::ColumnAt(int col) const {
    return m_columns->Items(col - m_indicatorOffset);
}

int TLNQCustomDBGrid::GridColOf(const TColumn* column) const {
    const int i = m_columns->IndexOf(column);
    return i < 0 ? -1 : i + m_indicatorOffset;
}

TColumn* TLNQCustomDBGrid::SelectedColumn() const {
    return ColumnAt(Col());
}

TField* TLNQCustomDBGrid::SelectedField() const {
    const TColumn* c = SelectedColumn();
    return c ? c->Field() : nullptr;
}

int TLNQCustomDBGrid::SelectedIndex() const {
    return Col() - m_indicatorOffset;
}

void TLNQCustomDBGrid::SetSelectedIndex(int index) {
    if (index >= 0 && index < m_columns->Count()) SetCol(index + m_indicatorOffset);
}

int TLNQCustomDBGrid::GridRowOfRecord(int viewRow) const {
    if (viewRow < 0) return -1;
    const int g = viewRow + 1;
    return m_insertRow >= 0 && g >= m_insertRow ? g + 1 : g;
}

int TLNQCustomDBGrid::RecordOfGridRow(int row) const {
    if (row < 1) return -1;
    if (m_insertRow >= 0) {
        if (row == m_insertRow) return -1;
        if (row > m_insertRow) return row - 2;
    }
    return row - 1;
}

bool TLNQCustomDBGrid::ValidFieldIndex(int fieldIndex) const {
    const TDataSet* ds = DataSet();
    return ds && ds->Active() && fieldIndex >= 0 && fieldIndex < ds->FieldCount();
}

// ---------------------------------------------------------------- cell text

QString TLNQCustomDBGrid::formatTotal(const TColumn& column, double value) const {
    return FormatColumnTotal(value, column.DataTypePro(), column.DataWidth(), column.DataDec());
}

QString TLNQCustomDBGrid::CellText(const TColumn& column, int viewRow) const {
    const TDataSet* ds = DataSet();
    if (!ds || !ds->Active()) return {};
    const TField* f = column.Field();
    if (!f) return {};
    QString text;
    if (column.CheckBox()) {
        // Drawn as a box; the text is what ValueTrue / ValueFalse compare with.
        return viewRow >= 0 ? asStringAt(*ds, viewRow, f->Index()) : f->AsString();
    }
    if (viewRow >= 0) {
        text = DataSetCellText(*ds, viewRow, f->Index());
    } else if (f->DataType() == TFieldType::ftBoolean) {
        text = f->IsNull() ? QString() : (f->AsBoolean() ? QStringLiteral("是") : QStringLiteral("否"));
    } else if (f->FieldName().compare(QLatin1String("vPassword"), Qt::CaseInsensitive) == 0) {
        text = QStringLiteral("********");
    } else {
        text = f->DisplayText();
    }
    if (f->DataType() == TFieldType::ftBoolean ||
        f->FieldName().compare(QLatin1String("vPassword"), Qt::CaseInsensitive) == 0)
        return text;
    if (column.PopComboBoxAllowed()) {
        const qsizetype i = column.PopListValues().indexOf(text);
        if (i >= 0 && i < column.PopListStrings().size()) text = column.PopListStrings().at(i);
    } else if (column.PopDateAllowed() && text.size() == 8) {
        text = text.left(4) + u'-' + text.mid(4, 2) + u'-' + text.mid(6, 2);
    }
    const TLNQDataTypePro pro = column.DataTypePro();
    if ((pro == dpDecimal || pro == dpCurrency || pro == dpComboCount) && !text.trimmed().isEmpty()) {
        double v = 0;
        if (TryStrToFloat(text, v)) {
            if (v == 0 && !column.ShowZero()) return {};
            text = formatTotal(column, v);
        }
    }
    return text;
}

QString TLNQCustomDBGrid::GetFieldValue(int column) const {
    const TColumn* c = m_columns->Items(column);
    const TDataSet* ds = DataSet();
    if (!c || !ds || !ds->Active() || ds->IsEmpty()) return {};
    return CellText(*c, ds->State() == TDataSetState::dsInsert ? -1 : ds->CurrentRow());
}

// ---------------------------------------------------------------- options

void TLNQCustomDBGrid::SetDBOptions(TLNQDBGridOptions o) {
    m_dbOptions = o;
    TGridOptions g = Options();
    auto set = [&](TGridOption bit, bool on) { g.setFlag(bit, on); };
    set(TGridOption::goEditing, o.testFlag(TDBGridOption::dgEditing));
    set(TGridOption::goAlwaysShowEditor, o.testFlag(TDBGridOption::dgAlwaysShowEditor));
    // dgColumnResize lets the user size the columns and drag titles to move them.
    set(TGridOption::goColSizing, o.testFlag(TDBGridOption::dgColumnResize));
    set(TGridOption::goColMoving, o.testFlag(TDBGridOption::dgColumnResize));
    set(TGridOption::goVertLine, o.testFlag(TDBGridOption::dgColLines));
    set(TGridOption::goHorzLine, o.testFlag(TDBGridOption::dgRowLines));
    set(TGridOption::goTabs, o.testFlag(TDBGridOption::dgTabs));
    set(TGridOption::goRowSelect, o.testFlag(TDBGridOption::dgRowSelect));
    set(TGridOption::goRangeSelect, false);
    SetOptions(g);
    setTabKeyNavigation(o.testFlag(TDBGridOption::dgTabs));
    if (!o.testFlag(TDBGridOption::dgMultiSelect)) m_bookmarks->Clear();
    const int offset = o.testFlag(TDBGridOption::dgIndicator) ? 1 : 0;
    if (offset != m_indicatorOffset) {
        m_indicatorOffset = offset;
        LayoutChanged();
    }
    GridHeader()->setVisible(o.testFlag(TDBGridOption::dgTitles));
}

void TLNQCustomDBGrid::SetControlOptions(TDBGridControlOptions options) {
    m_controlOptions = options;
    InvalidateRuntimePopupMenu();
}

void TLNQCustomDBGrid::SetUserMenu(QMenu* menu) {
    m_userMenu = menu;
    InvalidateRuntimePopupMenu();
}

void TLNQCustomDBGrid::SetHighLightColor(const QColor& c) {
    m_highlight = c;
    QPalette p = palette();
    p.setColor(QPalette::Highlight, c);
    setPalette(p);
}

void TLNQCustomDBGrid::SetHighlightTextColor(const QColor& c) {
    m_highlightText = c;
    QPalette p = palette();
    p.setColor(QPalette::HighlightedText, c);
    setPalette(p);
}

void TLNQCustomDBGrid::SetDefColorPerRows(int rows) {
    m_defColorPerRows = rows;
    if (rows > 0) m_rowPhase %= rows;
    RefreshCells();
}

void TLNQCustomDBGrid::SetDefColor(const QColor& c) {
    m_defColor = c;
    RefreshCells();
}

void TLNQCustomDBGrid::SetDBRowsHeight(int height) {
    m_rowsHeightDB = std::max(1, height);
    SetRowsHeight(m_rowsHeightDB);
    SetDefaultRowHeight(m_rowsHeightDB);
}

void TLNQCustomDBGrid::SetTitleFont(const QFont& f) {
    m_titleFont = f;
    LayoutChanged();
}

// ---------------------------------------------------------------- layout

void TLNQCustomDBGrid::BeginLayout() {
    ++m_layoutLock;
}

void TLNQCustomDBGrid::EndLayout() {
    if (m_layoutLock > 0) --m_layoutLock;
    if (m_layoutLock == 0 && m_layoutPending) applyLayout();
}

void TLNQCustomDBGrid::LayoutChanged() {
    if (m_layoutLock > 0) {
        m_layoutPending = true;
        return;
    }
    applyLayout();
}

void TLNQCustomDBGrid::pushColumn(int index) {
    const TColumn* c = m_columns->Items(index);
    TGridCol* gc = GridCols().Items(index + m_indicatorOffset);
    if (!c || !gc) return;
    const TField* f = c->Field();
    gc->SetColName(c->FieldName());
    gc->SetCaption(coreCaption(c->Title().Caption()));
    gc->SetTitleFont(c->Title().Font());
    gc->SetDataType(f ? f->DataType() : TFieldType::ftUnknown);
    gc->SetDataTypePro(c->DataTypePro());
    gc->SetDataWidth(c->DataWidth() > 0 ? c->DataWidth() : 18);
    gc->SetDataDec(c->DataDec());
    gc->SetAlignment(c->Alignment());
    gc->SetTailCaption(c->TailCaption());
    gc->SetReadOnly(c->ReadOnly());
    gc->SetCheckBox(c->CheckBox());
    gc->SetValueTrue(c->ValueTrue());
    gc->SetValueFalse(c->ValueFalse());
    gc->SetPopDateAllowed(c->PopDateAllowed());
    gc->SetPopDate(c->PopDate());
    gc->SetCalendarShowCheckBox(c->CalendarShowCheckBox());
    // The pick list is the drop-down of a column without its own list.
    const bool combo = c->PopComboBoxAllowed() || !c->PickList().isEmpty();
    gc->SetPopComboBoxAllowed(combo);
    const QStringList& list = c->PopComboBoxAllowed() ? c->PopListStrings() : c->PickList();
    gc->SetPopListStrings(combo ? &list : nullptr);
    gc->SetLoadButton(c->LoadButton() || c->ButtonStyle() == cbsEllipsis);
    gc->SetSortable(c->Sortable());
    gc->SetColColor(c->ColColor());
    gc->SetImeMode(c->ImeMode());
    gc->SetImeName(c->ImeName());
    gc->SetPopupMenu(c->PopupMenu());
    gc->SetWidth(c->Width());
}

void TLNQCustomDBGrid::pushTail(const TColumn& column) {
    TGridCol* gc = GridCols().Items(GridColOf(&column));
    if (!gc) return;
    gc->SetTailCaption(column.TailCaption());
    if (Footer()) Footer()->update();
}

void TLNQCustomDBGrid::applyLayout() {
    m_layoutPending = false;
    const int n = m_columns->Count();
    m_link->ClearMapping();
    for (int i = 0; i < n; ++i)
        m_link->AddMapping(m_columns->Items(i)->FieldName());
    TGridCols& cols = GridCols();
    cols.BeginUpdate();
    SetColCount(std::max(1, m_indicatorOffset + n));
    SetFixedCols(m_indicatorOffset);
    if (m_indicatorOffset > 0 && cols.Items(0)) {
        TGridCol* ind = cols.Items(0);
        ind->SetCaption(QString());
        ind->SetColName(QString());
        ind->SetSortable(false);
        ind->SetTailCaption(QString());
        ind->SetWidth(14);
    }
    for (int i = 0; i < n; ++i)
        pushColumn(i);
    cols.EndUpdate();
    syncRows();
    InitDBGrid();
}

void TLNQCustomDBGrid::syncRows() {
    const TDataSet* ds = DataSet();
    const int records = ds && ds->Active() ? ds->RecordCount() : 0;
    const int rows = 1 + records + (m_insertRow >= 0 ? 1 : 0);
    SetRowCount(rows);
    if (rows > 1 && FixedRows() != 1) SetFixedRows(1);
    CellModel().NotifyAllChanged();
    syncCursor();
    RefreshCells();
    if (Footer()) Footer()->update();
}

void TLNQCustomDBGrid::syncCursor() {
    const TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || m_movingCursor) return;
    int row = -1;
    if (m_insertRow >= 0)
        row = m_insertRow;
    else if (!ds->IsEmpty())
        row = GridRowOfRecord(ds->CurrentRow());
    if (row < 1 || row >= RowCount()) return;
    int col = currentIndex().isValid() ? currentIndex().column() : m_indicatorOffset;
    col = std::clamp(col, m_indicatorOffset, std::max(m_indicatorOffset, ColCount() - 1));
    if (currentIndex().row() == row && currentIndex().column() == col) return;
    const bool was = std::exchange(m_followingCursor, true);
    setCurrentIndex(CellModel().index(row, col));
    m_followingCursor = was;
}

QList<int> TLNQCustomDBGrid::GetColumnWidths() const {
    QList<int> out;
    for (int i = 0; i < m_columns->Count(); ++i)
        out.append(m_columns->Items(i)->Width());
    return out;
}

void TLNQCustomDBGrid::CalcColumnCols() {
    CalcGridCols();
}

void TLNQCustomDBGrid::MoveCurrent(int distance) {
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active()) return;
    ds->MoveBy(distance);
    AfterMoveCurrent();
}

// ---------------------------------------------------------------- painting

QColor TLNQCustomDBGrid::GetRowColor(int row) const {
    if (row < 1 || m_defColorPerRows <= 0) return {};
    return (m_rowPhase + row) % m_defColorPerRows == 0 ? m_defColor : QColor();
}

void TLNQCustomDBGrid::DrawCell(QPainter& painter, const QRect& rect, int col, int row,
                                TGridDrawState state) {
    if (row < 1) return;
    const TDataSet* ds = DataSet();
    const bool active = ds && ds->Active();
    const qreal dpr = painter.device() ? painter.device()->devicePixelRatioF() : devicePixelRatioF();
    const bool current = active && row == currentIndex().row();
    if (col < m_indicatorOffset) {
        QString name;
        const int rec = RecordOfGridRow(row);
        const bool selected =
            active && m_dbOptions.testFlag(TDBGridOption::dgMultiSelect) && rec >= 0 && rowSelected(rec);
        if (current) {
            const TDataSetState s = ds->State();
            name = s == TDataSetState::dsInsert ? QStringLiteral("RWDBINSERT")
                   : s == TDataSetState::dsEdit ? QStringLiteral("RWDBEDIT")
                   : selected                   ? QStringLiteral("RWDBMULTIARROW")
                                                : QStringLiteral("RWDBGARROW");
        } else if (selected) {
            name = QStringLiteral("RWDBMULTIDOT");
        }
        if (!name.isEmpty()) {
            const QPixmap pm = DBGridBitmap(name, dpr);
            const QSizeF s = pm.deviceIndependentSize();
            painter.drawPixmap(QPointF(rect.x() + (rect.width() - s.width()) / 2.0,
                                       rect.y() + (rect.height() - s.height()) / 2.0),
                               pm);
        }
        return;
    }
    TColumn* column = ColumnAt(col);
    if (!column) return;
    drawDataCell(painter, rect, col, row, state, column, current, dpr);
    Q_EMIT OnDrawColumnCell(this, &painter, rect, col - m_indicatorOffset, column, state);
}

void TLNQCustomDBGrid::drawDataCell(QPainter& painter, const QRect& rect, int col, int row,
                                    TGridDrawState state, const TColumn* column, bool current, qreal dpr) {
    const bool highlighted =
        state.testFlag(TGridDrawStateFlag::gdSelected) &&
        (!state.testFlag(TGridDrawStateFlag::gdFocused) || m_dbOptions.testFlag(TDBGridOption::dgRowSelect));
    // Records picked under multi-select show in the highlight colours.
    const int rec = RecordOfGridRow(row);
    const bool picked =
        !highlighted && m_dbOptions.testFlag(TDBGridOption::dgMultiSelect) && rec >= 0 && rowSelected(rec);
    if (picked) {
        painter.fillRect(rect, m_highlight);
        painter.setPen(m_highlightText);
    } else if (!highlighted) {
        QColor ground;
        if (column->ColColor() != 0) ground = TColorToQColor(column->ColColor());
        if (current && OnDrawCellColor) {
            QColor asked = ground.isValid() ? ground : GetRowColor(row);
            if (!asked.isValid()) asked = Color();
            const QColor before = asked;
            OnDrawCellColor(this, *m_link, asked);
            if (asked != before) ground = asked;
        }
        if (ground.isValid()) painter.fillRect(rect, ground);
    }
    const QString text = CellModel().Cell(col, row);
    if (column->CheckBox()) {
        bool on = !column->ValueTrue().isEmpty() && text == column->ValueTrue();
        if (column->ValueTrue().isEmpty()) on = text == QLatin1String("True") || text == QLatin1String("1");
        const QPixmap pm =
            DBGridBitmap(on ? QStringLiteral("TRWDBPICTRUE") : QStringLiteral("TRWDBPICFALSE"), dpr);
        const QSizeF s = pm.deviceIndependentSize();
        painter.drawPixmap(QPointF(rect.x() + (rect.width() - s.width()) / 2.0,
                                   rect.y() + (rect.height() - s.height()) / 2.0),
                           pm);
        return;
    }
    if (text.isEmpty()) return;
    if (column->IsFontStored()) painter.setFont(column->Font());
    const QRect r = rect.adjusted(2, 0, -2, 0);
    const QString shown = painter.fontMetrics().elidedText(text, Qt::ElideNone, r.width());
    painter.drawText(r, int(column->Alignment()) | Qt::AlignVCenter | Qt::TextSingleLine, shown);
}

bool TLNQCustomDBGrid::rowSelected(int viewRow) const {
    const TDataSet* ds = DataSet();
    return ds && m_bookmarks->Count() > 0 && m_bookmarks->IsSelected(ds->BookmarkAt(viewRow));
}

void TLNQCustomDBGrid::wheelEvent(QWheelEvent* event) {
    if (m_bandFollow && m_defColorPerRows > 0) {
        const int steps = event->angleDelta().y() / 120;
        if (steps != 0) {
            const int p = m_defColorPerRows;
            m_rowPhase = ((m_rowPhase + (steps < 0 ? 1 : -1) * std::abs(steps)) % p + p) % p;
        }
    }
    TLNQCustomGrid::wheelEvent(event);
}

// ---------------------------------------------------------------- editing

bool TLNQCustomDBGrid::CanEditCell(int col, int row) const {
    if (!m_dbOptions.testFlag(TDBGridOption::dgEditing) || GridReadOnly()) return false;
    const TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || row < 1 || row >= RowCount()) return false;
    const TColumn* c = ColumnAt(col);
    if (!c || c->ReadOnly()) return false;
    const TField* f = c->Field();
    return f && f->FieldKind() == TFieldKind::fkData && !f->Def().ReadOnly;
}

QString TLNQCustomDBGrid::GetEditText(int col, int row) const {
    const TColumn* c = ColumnAt(col);
    const TDataSet* ds = DataSet();
    if (!c || !ds || !ds->Active()) return {};
    const TField* f = c->Field();
    if (!f) return {};
    const int rec = RecordOfGridRow(row);
    QString text;
    if (row == m_insertRow || rec == ds->CurrentRow())
        text = f->AsString();
    else if (rec >= 0)
        text = asStringAt(*ds, rec, f->Index());
    if (c->PopComboBoxAllowed()) {
        const qsizetype i = c->PopListValues().indexOf(text);
        if (i >= 0 && i < c->PopListStrings().size()) text = c->PopListStrings().at(i);
    } else if (c->PopDateAllowed() && text.size() == 8) {
        text = text.left(4) + u'-' + text.mid(4, 2) + u'-' + text.mid(6, 2);
    }
    if (OnGetEditText) OnGetEditText(col, row, text);
    return text;
}

void TLNQCustomDBGrid::reportError(const QString& message) {
    if (OnDataError) {
        OnDataError(this, message);
        return;
    }
    QMessageBox::warning(this, QStringLiteral("错误提示"), message);
}

void TLNQCustomDBGrid::SetEditText(int col, int row, const QString& text) {
    TColumn* c = ColumnAt(col);
    TDataSet* ds = DataSet();
    if (!c || !ds || !ds->Active()) return;
    TField* f = c->Field();
    if (!f) return;
    QString value = text;
    if (c->PopComboBoxAllowed()) {
        const qsizetype i = c->PopListStrings().indexOf(text);
        if (i >= 0 && i < c->PopListValues().size()) value = c->PopListValues().at(i);
    } else if (c->PopDateAllowed() && IsTextTypeGroup(f->DataType()) && f->Size() == 8 && text.size() == 10 &&
               text[4] == u'-' && text[7] == u'-') {
        // An eight-character date column keeps its digits only.
        value = text.left(4) + text.mid(5, 2) + text.mid(8, 2);
    }
    try {
        if (row != m_insertRow) {
            const int rec = RecordOfGridRow(row);
            if (rec < 0) return;
            if (rec != ds->CurrentRow()) {
                const bool was = std::exchange(m_movingCursor, true);
                ds->SetRecNo(rec + 1);
                m_movingCursor = was;
            }
        }
        if (ds->State() == TDataSetState::dsBrowse) ds->Edit();
        if (value.isEmpty() && !IsTextTypeGroup(f->DataType()))
            f->Clear();
        else
            f->SetAsString(value);
    } catch (const Exception& e) {
        m_movingCursor = false;
        reportError(e.Message());
        return;
    }
    RefreshCells();
    Q_EMIT OnSetEditText(this, col, row, text);
}

void TLNQCustomDBGrid::InsertRecord() {
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || !m_dbOptions.testFlag(TDBGridOption::dgEditing) || GridReadOnly()) return;
    try {
        ds->Insert();
    } catch (const Exception& e) {
        reportError(e.Message());
    }
    setFocus(Qt::OtherFocusReason);
}

void TLNQCustomDBGrid::DeleteRecord() {
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || GridReadOnly() || !m_dbOptions.testFlag(TDBGridOption::dgEditing)) return;
    if (ds->IsEmpty() && ds->State() != TDataSetState::dsInsert) return;
    if (m_dbOptions.testFlag(TDBGridOption::dgConfirmDelete)) {
        const bool several = m_dbOptions.testFlag(TDBGridOption::dgMultiSelect) && m_bookmarks->Count() > 1;
        bool yes = false;
        if (OnConfirmDelete)
            yes = OnConfirmDelete(this);
        else
            yes = QMessageBox::question(this, QStringLiteral("提示"),
                                        several ? QStringLiteral("删除选中的全部记录吗？")
                                                : QStringLiteral("删除这条记录吗？")) == QMessageBox::Yes;
        if (!yes) return;
    }
    try {
        if (m_dbOptions.testFlag(TDBGridOption::dgMultiSelect) && m_bookmarks->Count() > 0)
            m_bookmarks->Delete();
        else
            ds->Delete();
    } catch (const Exception& e) {
        reportError(e.Message());
    }
}

void TLNQCustomDBGrid::keyPressEvent(QKeyEvent* event) {
    TDataSet* ds = DataSet();
    const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
    if (!EditorMode() && ds && ds->Active()) {
        if (event->key() == Qt::Key_Insert && mods == Qt::NoModifier) {
            InsertRecord();
            event->accept();
            return;
        }
        if (event->key() == Qt::Key_Delete && mods == Qt::ControlModifier) {
            DeleteRecord();
            event->accept();
            return;
        }
        if (event->key() == Qt::Key_Escape && mods == Qt::NoModifier &&
            (ds->State() == TDataSetState::dsEdit || ds->State() == TDataSetState::dsInsert)) {
            ds->Cancel();
            event->accept();
            return;
        }
        const bool editable = m_dbOptions.testFlag(TDBGridOption::dgEditing) && !GridReadOnly();
        // Down on the last record adds one; Up or Down away from a new record
        // nothing was typed into drops it.
        if ((event->key() == Qt::Key_Down || event->key() == Qt::Key_Up) && mods == Qt::NoModifier) {
            if (ds->State() == TDataSetState::dsInsert && !ds->Modified()) {
                const bool down = event->key() == Qt::Key_Down;
                const int from = m_insertRow;
                ds->Cancel();
                if (RowCount() > 1) SetRow(std::clamp(down ? from : from - 1, 1, RowCount() - 1));
                event->accept();
                return;
            }
            if (event->key() == Qt::Key_Down && editable && ds->State() == TDataSetState::dsBrowse &&
                currentIndex().row() == RowCount() - 1) {
                m_appending = true;
                guarded([ds] { ds->Append(); });
                m_appending = false;
                event->accept();
                return;
            }
        }
        if (event->key() == Qt::Key_Space && mods == Qt::ControlModifier &&
            m_dbOptions.testFlag(TDBGridOption::dgMultiSelect)) {
            toggleCurrentSelection();
            event->accept();
            return;
        }
        // Vertical moves under multi-select: with Shift the selection runs
        // from the anchor to the new record; without, it is dropped.
        const bool vertical = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down ||
                              event->key() == Qt::Key_PageUp || event->key() == Qt::Key_PageDown;
        if (vertical && multiSelect() && (mods == Qt::ShiftModifier || mods == Qt::NoModifier)) {
            const int before = ds->CurrentRow();
            TLNQCustomGrid::keyPressEvent(event);
            if (!multiSelect()) return;
            if (mods == Qt::ShiftModifier) {
                selectToCurrent(m_anchorRow >= 0 ? m_anchorRow : before, false);
            } else {
                if (m_bookmarks->Count() > 0) m_bookmarks->Clear();
                m_anchorRow = -1;
            }
            return;
        }
        if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && !AutoNext() &&
            (ds->State() == TDataSetState::dsEdit || ds->State() == TDataSetState::dsInsert)) {
            // Enter on a row being edited stores it.
            try {
                ds->Post();
            } catch (const Exception& e) {
                reportError(e.Message());
            }
            event->accept();
            return;
        }
    }
    TLNQCustomGrid::keyPressEvent(event);
}

void TLNQCustomDBGrid::toggleCurrentSelection() {
    const TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || ds->IsEmpty()) return;
    m_bookmarks->SetCurrentRowSelected(!m_bookmarks->CurrentRowSelected());
    m_anchorRow = ds->CurrentRow();
}

bool TLNQCustomDBGrid::multiSelect() const {
    const TDataSet* ds = DataSet();
    return m_dbOptions.testFlag(TDBGridOption::dgMultiSelect) && ds && ds->Active() && !ds->IsEmpty() &&
           ds->State() == TDataSetState::dsBrowse;
}

void TLNQCustomDBGrid::selectToCurrent(int anchorRow, bool add) {
    const int current = DataSet()->CurrentRow();
    m_anchorRow = anchorRow >= 0 ? anchorRow : current;
    m_bookmarks->SelectRange(m_anchorRow, current, add);
}

void TLNQCustomDBGrid::mousePressEvent(QMouseEvent* event) {
    const TDataSet* ds = DataSet();
    const int before = ds && ds->Active() ? ds->CurrentRow() : -1;
    TLNQCustomGrid::mousePressEvent(event);
    // Multi-select as in lists: a click selects nothing and sets the anchor,
    // Ctrl+click adds or removes its record, Shift+click selects from the
    // anchor to the clicked record (Ctrl+Shift+click adds that range).
    if (event->button() == Qt::LeftButton && multiSelect()) {
        const QModelIndex at = indexAt(event->position().toPoint());
        if (at.isValid() && RecordOfGridRow(at.row()) >= 0) {
            const Qt::KeyboardModifiers mods = event->modifiers();
            if (mods & Qt::ShiftModifier) {
                selectToCurrent(m_anchorRow >= 0 ? m_anchorRow : before, mods & Qt::ControlModifier);
            } else {
                if (mods & Qt::ControlModifier)
                    toggleCurrentSelection();
                else if (m_bookmarks->Count() > 0)
                    m_bookmarks->Clear();
                m_anchorRow = DataSet()->CurrentRow();
            }
        }
    }
    if (event->button() == Qt::LeftButton) Q_EMIT OnCellClick(this, SelectedColumn());
}

void TLNQCustomDBGrid::focusOutEvent(QFocusEvent* event) {
    TDataSet* ds = DataSet();
    // Leaving the grid drops a new record nothing was typed into.
    if (m_dbOptions.testFlag(TDBGridOption::dgCancelOnExit) && ds && ds->State() == TDataSetState::dsInsert &&
        !ds->Modified() && !EditorMode() && !(event->reason() == Qt::PopupFocusReason))
        ds->Cancel();
    TLNQCustomGrid::focusOutEvent(event);
}

bool TLNQCustomDBGrid::SelectCell(int ACol, int ARow) {
    if (!TLNQCustomGrid::SelectCell(ACol, ARow)) return false;
    if (!OnSelectCellDB) return true;
    bool can = true;
    const QString last = CellModel().Cell(Col(), Row());
    const QString text = CellModel().Cell(ACol, ARow);
    OnSelectCellDB(this, last, text, Col(), Row(), ACol, ARow, can);
    return can;
}

void TLNQCustomDBGrid::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    TLNQCustomGrid::currentChanged(current, previous);
    if (current.column() != previous.column() && previous.isValid()) {
        Q_EMIT OnColExit(this);
        Q_EMIT OnColEnter(this);
    }
    if (m_followingCursor || !current.isValid() || current.row() == previous.row()) return;
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active()) return;
    const int rec = RecordOfGridRow(current.row());
    if (rec < 0 || rec == ds->CurrentRow()) {
        if (rec >= 0 && ds->State() != TDataSetState::dsBrowse) {
            try {
                ds->CheckBrowseMode();
            } catch (const Exception& e) {
                reportError(e.Message());
            }
        }
        return;
    }
    const bool was = std::exchange(m_movingCursor, true);
    try {
        ds->SetRecNo(rec + 1);
    } catch (const Exception& e) {
        m_movingCursor = was;
        reportError(e.Message());
        syncCursor();
        return;
    }
    m_movingCursor = was;
    // A posted insert moves the rows: the cursor decides where we are.
    syncCursor();
    RefreshCells();
}

// ---------------------------------------------------------------- menu

namespace {

using Mask = TDBGridControlOptions;
constexpr quint16 kPrintBits =
    quint16(TDBGridControlOption::coMenuPrintPreview) | quint16(TDBGridControlOption::coMenuPrintSetup) |
    quint16(TDBGridControlOption::coMenuPrintOut) | quint16(TDBGridControlOption::coMenuPrintDesign);

struct MenuRow {
    const char* caption;
    quint16 mask;
    void (TLNQCustomDBGrid::*handler)();
};

constexpr quint16 bit(TDBGridControlOption o) {
    return quint16(o);
}

const MenuRow kMenuRows[] = {
    {"按照当前内容筛选", bit(TDBGridControlOption::coMenuFilter), &TLNQCustomDBGrid::SelectFilter},
    {"内容排除筛选", bit(TDBGridControlOption::coMenuFilter), &TLNQCustomDBGrid::UnSelectFilter},
    {"指定内容筛选", bit(TDBGridControlOption::coMenuFilter), nullptr},
    {"高级筛选", bit(TDBGridControlOption::coMenuFilter), &TLNQCustomDBGrid::AdvancedFilter},
    {"取消筛选", bit(TDBGridControlOption::coMenuFilter), &TLNQCustomDBGrid::CancelFilter},
    {"取消全部筛选", bit(TDBGridControlOption::coMenuFilter), &TLNQCustomDBGrid::CancelAllFilter},
    {"-", bit(TDBGridControlOption::coMenuFilter), nullptr},
    {"升序", bit(TDBGridControlOption::coMenuSort), &TLNQCustomDBGrid::ASC_Sort},
    {"降序", bit(TDBGridControlOption::coMenuSort), &TLNQCustomDBGrid::DESC_Sort},
    {"取消排序", bit(TDBGridControlOption::coMenuSort), &TLNQCustomDBGrid::Cancel_Sort},
    {"-", bit(TDBGridControlOption::coMenuSort), nullptr},
    {"打印设置", bit(TDBGridControlOption::coMenuPrintSetup), &TLNQCustomDBGrid::Print_Setup},
    {"打印预览", bit(TDBGridControlOption::coMenuPrintPreview), &TLNQCustomDBGrid::Print_Preview},
    {"打印", bit(TDBGridControlOption::coMenuPrintOut), &TLNQCustomDBGrid::Print_Out},
    {"报表设计", bit(TDBGridControlOption::coMenuPrintDesign), &TLNQCustomDBGrid::Print_Design},
    {"-",
     quint16(bit(TDBGridControlOption::coMenuPrintPreview) | bit(TDBGridControlOption::coMenuPrintSetup) |
             bit(TDBGridControlOption::coMenuPrintOut)),
     nullptr},
    {"导出到EXCEL", bit(TDBGridControlOption::coMenuExportToExcel), &TLNQCustomDBGrid::ExportToExcel},
    {"-", bit(TDBGridControlOption::coMenuExportToExcel), nullptr},
    {"复制", bit(TDBGridControlOption::coMenuCopy), &TLNQCustomDBGrid::CopyToClipBoard},
    {"-", quint16(bit(TDBGridControlOption::coMenuCopy) | bit(TDBGridControlOption::coMenuSetup)), nullptr},
    {"设置", bit(TDBGridControlOption::coMenuSetup), &TLNQCustomDBGrid::FieldSetup},
};

} // namespace

QMenu* TLNQCustomDBGrid::CreateRuntimePopupMenu(QMenu* userMenu) {
    auto menu = std::make_unique<QMenu>(this);
    menu->setObjectName(QStringLiteral("RuntimePopupMenu"));
    m_valueMenu = nullptr;
    const quint16 o = quint16(m_controlOptions.toInt());
    int printers = -1; // asked once, when a print row needs it
    // Built in the table's order (the table is walked from its last row and
    // every item goes to the front, which gives the same order).
    for (const MenuRow& row : kMenuRows) {
        const quint16 hit = row.mask & o;
        if (hit == 0) continue;
        if ((hit & ~kPrintBits) == 0) {
            if (printers < 0) printers = PrinterCount ? PrinterCount() : 0;
            if (printers <= 0) continue;
        }
        const QString caption = QString::fromUtf8(row.caption);
        if (caption == QLatin1String("-")) {
            menu->addSeparator();
            continue;
        }
        if (!row.handler) {
            QMenu* sub = menu->addMenu(caption);
            sub->setObjectName(QStringLiteral("ValueFilterItem"));
            m_valueMenu = sub;
            continue;
        }
        QAction* a = menu->addAction(caption);
        const auto handler = row.handler;
        connect(a, &QAction::triggered, this,
                [this, handler] { guarded([this, handler] { (this->*handler)(); }); });
    }
    if (userMenu && !userMenu->actions().isEmpty()) {
        QAction* first = menu->actions().isEmpty() ? nullptr : menu->actions().constFirst();
        QAction* sep = new QAction(menu.get());
        sep->setSeparator(true);
        menu->insertAction(first, sep);
        QHash<QActionGroup*, QActionGroup*> groups;
        for (QAction* src : userMenu->actions()) {
            auto* copy = new QAction(menu.get());
            copy->setText(src->text());
            copy->setSeparator(src->isSeparator());
            copy->setCheckable(src->isCheckable());
            copy->setChecked(src->isChecked());
            if (QActionGroup* g = src->actionGroup(); g && g->isExclusive()) {
                QActionGroup*& mine = groups[g];
                if (!mine) mine = new QActionGroup(menu.get());
                mine->addAction(copy);
            }
            QPointer<QAction> original = src;
            connect(copy, &QAction::triggered, this, [original] {
                if (original) original->trigger();
            });
            menu->insertAction(sep, copy);
        }
    }
    connect(menu.get(), &QMenu::aboutToShow, this, [this] { guarded([this] { PopupMenuFieldPopup(); }); });
    m_runtimeMenu = std::move(menu);
    m_runtimeMenuStale = false;
    return m_runtimeMenu.get();
}

QMenu* TLNQCustomDBGrid::RuntimePopupMenu() const {
    // Building the menu the options call for changes nothing a caller can
    // see but the menu itself: asking for it is a read.
    if (m_runtimeMenuStale) const_cast<TLNQCustomDBGrid*>(this)->CreateRuntimePopupMenu(m_userMenu);
    return m_runtimeMenu.get();
}

QMenu* TLNQCustomDBGrid::ValueFilterItem() const {
    RuntimePopupMenu();
    return m_valueMenu;
}

void TLNQCustomDBGrid::InvalidateRuntimePopupMenu() {
    // The old menu goes at once, as a rebuild would drop it.
    m_runtimeMenu.reset();
    m_valueMenu = nullptr;
    m_runtimeMenuStale = true;
}

void TLNQCustomDBGrid::guarded(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const Exception& e) {
        reportError(e.Message());
    } catch (const std::exception& e) {
        reportError(QString::fromUtf8(e.what()));
    }
}

void TLNQCustomDBGrid::contextMenuEvent(QContextMenuEvent* event) {
    const QModelIndex index = indexAt(viewport()->mapFrom(this, event->pos()));
    if (index.isValid() && index.column() >= m_indicatorOffset && index.row() >= 1 &&
        index != currentIndex() && SelectCell(index.column(), index.row()))
        setCurrentIndex(index);
    if (const TColumn* c = ColumnAt(currentIndex().column()); c && c->PopupMenu()) {
        c->PopupMenu()->exec(event->globalPos());
        return;
    }
    if (QMenu* menu = RuntimePopupMenu(); menu && !menu->actions().isEmpty()) {
        menu->exec(event->globalPos());
        event->accept();
        return;
    }
    TLNQCustomGrid::contextMenuEvent(event);
}

void TLNQCustomDBGrid::PopupMenuFieldPopup() {
    SetMenus(m_runtimeMenu.get(), m_valueMenu);
}

void TLNQCustomDBGrid::SetMenus(QMenu*, QMenu* item) {
    if (!item) return;
    item->clear();
    QStringList values;
    GetSearchItems(values);
    for (const QString& v : values) {
        QAction* a = item->addAction(v);
        a->setProperty("Tag", 999);
        connect(a, &QAction::triggered, this,
                [this, a] { guarded([this, a] { MenuSearchItemClick(a->text()); }); });
    }
}

void TLNQCustomDBGrid::GetSearchItems(QStringList& strings) const {
    strings.clear();
    const TDataSet* ds = DataSet();
    const TField* f = SelectedField();
    if (!ds || !f || f->IsNull()) return;
    if (!IsTextTypeGroup(f->DataType())) return;
    // The records in the dataset's current order, read by position: the
    // grid's cursor does not move and nothing is copied.
    const int n = ds->RecordCount();
    const int fi = f->Index();
    for (int r = 0; r < n && strings.size() < 30; ++r) {
        const QString v = asStringAt(*ds, r, fi).trimmed();
        if (!strings.contains(v)) strings.append(v);
    }
}

void TLNQCustomDBGrid::quickFilter(const QString& op, const QString& value, bool checkNull) {
    TField* f = SelectedField();
    if (!f || !DataSet()) return;
    if (checkNull && f->IsNull()) return;
    TFilterItem* item = m_filters->FindByField(f->FieldName());
    if (!item) item = &m_filters->Add(std::make_unique<TFilterItem>());
    item->SetFieldName(f->FieldName());
    item->SetFilterOP(op);
    item->SetEqualValue(checkNull ? f->AsString() : value);
    item->SetFilterType(FilterTypeOfField(f->DataType(), item->FilterType()));
    AfterFilter();
}

void TLNQCustomDBGrid::SelectFilter() {
    quickFilter(QStringLiteral("等于"), {}, true);
}

void TLNQCustomDBGrid::UnSelectFilter() {
    quickFilter(QStringLiteral("不等于"), {}, true);
}

void TLNQCustomDBGrid::MenuSearchItemClick(const QString& caption) {
    QString v = caption;
    v.remove(u'&');
    quickFilter(QStringLiteral("等于"), v, false);
}

void TLNQCustomDBGrid::AdvancedFilter() {
    auto form = std::make_unique<TCtrl_FilterSetupFM>(this);
    form->InitUI(static_cast<const TFilterSetupSource&>(*this), *m_filters);
    const int result = OnExecFilterSetup ? OnExecFilterSetup(*form) : form->exec();
    if (result == QDialog::Accepted) AfterFilter();
}

void TLNQCustomDBGrid::CancelFilter() {
    if (const TField* f = SelectedField()) {
        const int i = m_filters->IndexOfField(f->FieldName());
        if (i >= 0) m_filters->Delete(i);
    }
    AfterFilter();
}

void TLNQCustomDBGrid::CancelAllFilter() {
    ClearAllFilters();
    AfterFilter();
}

void TLNQCustomDBGrid::ClearAllFilters() {
    for (int i = m_filters->Count() - 1; i >= 0; --i)
        m_filters->Delete(i);
}

void TLNQCustomDBGrid::AddFilter(const QString& field, const QString& op, const QString& value) {
    TDataSet* ds = DataSet();
    const TField* f = ds ? ds->FindField(field) : nullptr;
    auto item = std::make_unique<TFilterItem>();
    item->SetFieldName(f ? f->FieldName() : field);
    item->SetFilterOP(op);
    item->SetEqualValue(value);
    if (f) item->SetFilterType(FilterTypeOfField(f->DataType(), item->FilterType()));
    m_filters->Add(std::move(item));
    AfterFilter();
}

void TLNQCustomDBGrid::AfterFilter() {
    TDataSet* ds = DataSet();
    if (!ds) return;
    // Off, handler, on: the dataset evaluates every record again even when it
    // was filtered already. One reading of the clock serves the whole pass.
    // The views hear of the result once, not of the unfiltered state between.
    auto pass = m_filters->BeginPass();
    ds->DisableControls();
    try {
        ds->SetFiltered(false);
        // Column by column over all candidates: the same acceptance as
        // FilterRecord gives record by record, at a fraction of the cost.
        ds->SetOnFilterRecords([this](TDataSet& d, TRecordsPass& p) { m_filters->AcceptRecords(d, p); });
        m_filterInstalled = true;
        ds->SetFiltered(true);
    } catch (...) {
        ds->EnableControls();
        throw;
    }
    ds->EnableControls();
}

void TLNQCustomDBGrid::FilterRecord(TDataSet& dataSet, bool& accept) {
    accept = m_filters->Accepts(dataSet);
}

// ---------------------------------------------------------------- sorting

TCustomADODataSet* TLNQCustomDBGrid::adoDataSet() const {
    return qobject_cast<TCustomADODataSet*>(DataSet());
}

TClientDataSet* TLNQCustomDBGrid::clientDataSet() const {
    TDataSet* ds = DataSet();
    if (!ds || qobject_cast<TCustomADODataSet*>(ds)) return nullptr;
    auto* cds = qobject_cast<TClientDataSet*>(ds);
    if (!cds) throw EInvalidCast(QStringLiteral("数据集 ") + ds->ClassName() + QStringLiteral(" 不能排序"));
    return cds;
}

void TLNQCustomDBGrid::ExtractColumnCaption(const QString& caption, QString& prefix, QString& rest) {
    const qsizetype dot = caption.indexOf(u'.');
    if (dot >= 0) {
        prefix = caption.left(dot + 1);
        rest = caption.mid(dot + 1, 1000);
    } else {
        prefix.clear();
        rest = caption;
    }
}

void TLNQCustomDBGrid::stripAllMarks() {
    m_columns->BeginUpdate();
    for (int i = 0; i < m_columns->Count(); ++i) {
        TColumnTitle& t = m_columns->Items(i)->Title();
        const QString c = t.Caption();
        if (c.contains(kUp) || c.contains(kDown)) t.SetCaption(stripMarks(c));
    }
    m_columns->EndUpdate();
}

void TLNQCustomDBGrid::markColumn(TColumn* column, const QString& mark) {
    QString prefix, rest;
    ExtractColumnCaption(column->Title().Caption(), prefix, rest);
    column->Title().SetCaption(prefix + mark + rest);
}

void TLNQCustomDBGrid::TitleClick(int col) {
    TColumn* c = ColumnAt(col);
    if (!c) return;
    guarded([this, c] { TitleClick(c); });
}

void TLNQCustomDBGrid::TitleClick(TColumn* column) {
    const TDataSet* ds = DataSet();
    const TField* f = column ? column->Field() : nullptr;
    if (m_controlOptions.testFlag(TDBGridControlOption::coTitleSort) && ds && ds->Active() && f &&
        f->FieldKind() != TFieldKind::fkCalculated)
        TitleSort(column);
    Q_EMIT OnTitleClickDB(this, column);
}

void TLNQCustomDBGrid::TitleSort(TColumn* column) {
    TDataSet* ds = DataSet();
    if (!column || !ds) return;
    BeginLayout();
    const QString caption = column->Title().Caption();
    const bool hadDown = caption.contains(kDown);
    column->Title().SetCaption(stripMarks(caption));
    // An empty dataset ends here with the layout update left open.
    if (ds->RecordCount() == 0) return;
    stripAllMarks();
    const QString field = column->FieldName();
    if (TCustomADODataSet* ado = adoDataSet()) {
        if (ado->Sort().contains(QLatin1String("ASC"))) {
            ado->SetSort(field + QStringLiteral(" DESC"));
            markColumn(column, kUp);
            rememberSort(field, kUp);
        } else {
            ado->SetSort(field + QStringLiteral(" ASC"));
            markColumn(column, kDown);
            rememberSort(field, kDown);
        }
    } else if (TClientDataSet* cds = clientDataSet()) {
        cds->IndexDefs().clear();
        if (hadDown) {
            cds->AddIndex(QStringLiteral("IXA") + field, field);
            cds->SetIndexName(QStringLiteral("IXA") + field);
            markColumn(column, kUp);
            rememberSort(field, kUp);
        } else {
            cds->AddIndex(QStringLiteral("IXD") + field, field, TIndexOption::ixDescending);
            cds->SetIndexName(QStringLiteral("IXD") + field);
            markColumn(column, kDown);
            rememberSort(field, kDown);
        }
    }
    InitDBGrid();
    EndLayout();
    autoSaveFormat(true);
}

void TLNQCustomDBGrid::menuSort(bool ascending) {
    TColumn* column = SelectedColumn();
    if (!column || !column->Field()) return;
    const QString field = column->FieldName();
    if (TCustomADODataSet* ado = adoDataSet()) {
        const bool wasAsc = ado->Sort().contains(QLatin1String("ASC"));
        stripAllMarks();
        if (wasAsc) {
            ado->SetSort(field + QStringLiteral(" DESC"));
            markColumn(column, kUp);
            rememberSort(field, kUp);
        } else {
            ado->SetSort(field + QStringLiteral(" ASC"));
            markColumn(column, kDown);
            rememberSort(field, kDown);
        }
    } else if (TClientDataSet* cds = clientDataSet()) {
        cds->IndexDefs().clear();
        stripAllMarks();
        if (ascending) {
            cds->AddIndex(QStringLiteral("IXD") + field, field, TIndexOption::ixDescending);
            cds->SetIndexName(QStringLiteral("IXD") + field);
            markColumn(column, kDown);
            rememberSort(field, kDown);
        } else {
            cds->AddIndex(QStringLiteral("IXA") + field, field);
            cds->SetIndexName(QStringLiteral("IXA") + field);
            markColumn(column, kUp);
            rememberSort(field, kUp);
        }
    }
    InitDBGrid();
}

void TLNQCustomDBGrid::rememberSort(const QString& field, const QString& mark) {
    GridSort sort{field, mark, {}, {}};
    if (const TCustomADODataSet* ado = adoDataSet()) {
        sort.adoSort = ado->Sort();
    } else if (TClientDataSet* cds = clientDataSet()) {
        for (const TIndexDef& def : cds->IndexDefs())
            if (def.Name == cds->IndexName()) sort.index = def;
    }
    m_gridSort = sort;
}

void TLNQCustomDBGrid::followSortAfterReload() {
    if (!m_gridSort) return;
    const GridSort sort = *m_gridSort;
    TDataSet* ds = DataSet();
    TColumn* column = m_columns->ColumnOfField(sort.field);
    TCustomADODataSet* ado = adoDataSet();
    TClientDataSet* cds = ado ? nullptr : clientDataSet();
    const bool keep = m_permenentIndex && column && ds && ds->FindField(sort.field);
    if (!keep) {
        // The records come back in their own order: the grid's sort goes
        // (a sort the host set on the dataset itself stays).
        m_gridSort.reset();
        if (ado && ado->Sort() == sort.adoSort) ado->SetSort(QString());
        if (cds && !sort.index.Name.isEmpty() && cds->IndexName() == sort.index.Name) {
            cds->SetIndexName(QString());
            cds->DeleteIndex(sort.index.Name);
        }
        stripAllMarks();
        return;
    }
    if (ado && ado->Sort() != sort.adoSort) ado->SetSort(sort.adoSort);
    if (cds && !sort.index.Name.isEmpty() && cds->IndexName() != sort.index.Name) {
        cds->IndexDefs().clear();
        cds->AddIndex(sort.index.Name, sort.index.Fields, sort.index.Options, sort.index.DescFields);
        cds->SetIndexName(sort.index.Name);
    }
    stripAllMarks();
    markColumn(column, sort.mark);
}

void TLNQCustomDBGrid::ASC_Sort() {
    menuSort(true);
}

void TLNQCustomDBGrid::DESC_Sort() {
    menuSort(false);
}

void TLNQCustomDBGrid::Cancel_Sort() {
    m_gridSort.reset();
    stripAllMarks();
    InitDBGrid();
    if (TCustomADODataSet* ado = adoDataSet()) {
        ado->SetSort(QString());
    } else if (TClientDataSet* cds = clientDataSet()) {
        cds->IndexDefs().clear();
        cds->SetIndexName(QString());
    }
}

void TLNQCustomDBGrid::ClearAllIndexes() {
    auto* cds = qobject_cast<TClientDataSet*>(DataSet());
    if (!cds) return;
    cds->SetIndexName(QString());
    cds->SetIndexFieldNames(QString());
    cds->IndexDefs().clear();
}

// ---------------------------------------------------------------- hand-offs

TExportColumns TLNQCustomDBGrid::ExportColumns() const {
    TExportColumns out;
    for (int i = 0; i < m_columns->Count(); ++i) {
        const TColumn* c = m_columns->Items(i);
        // Hidden columns go along (width 0), as the screen has them.
        out.push_back({c->FieldName(), c->Title().Caption(), std::max(0, c->Width())});
    }
    return out;
}

TGridReportSource TLNQCustomDBGrid::ReportSource() {
    TGridReportSource s;
    s.DataSet = DataSet();
    s.Columns = ExportColumns();
    s.FormCaption = OwnerCaption();
    s.CellFileName = GetCellFileName();
    // The grid's event, read when the report runs (a host may set it later).
    s.OnPreparePrintData = [this](TDataSetCanReportOutObject& data) {
        if (OnPreparePrintData) OnPreparePrintData(this, data);
    };
    return s;
}

void TLNQCustomDBGrid::print(TPrintType kind) {
    const TDataSet* ds = DataSet();
    if (!ds || !ds->Active()) return;
    guarded([&] { GridPrint(ReportSource(), kind, ReportOptions); });
}

void TLNQCustomDBGrid::Print_Setup() {
    print(TPrintType::ptSetup);
}
void TLNQCustomDBGrid::Print_Preview() {
    print(TPrintType::ptPreview);
}
void TLNQCustomDBGrid::Print_Out() {
    print(TPrintType::ptPrint);
}
void TLNQCustomDBGrid::Print_Design() {
    print(TPrintType::ptDesign);
}

void TLNQCustomDBGrid::ExportToExcel() {
    const TDataSet* ds = DataSet();
    if (!ds || !ds->Active()) return;
    guarded([&] { GridExportToExcel(ReportSource(), this); });
}

void TLNQCustomDBGrid::CopyToClipBoard() {
    lnq::CopyToClipBoard(SelectedField());
}

void TLNQCustomDBGrid::FieldSetup() {
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active()) return;
    TDataEnvironment* env = TDataEnvironment::Instance();
    guarded([&] {
        lnq::FieldSetup(
            *m_layoutColumns, ds->FieldNames(),
            [env](const QString& name) { return env ? env->GetTitleCaption(name) : name; }, this);
    });
}

// ---------------------------------------------------------------- layout files

QString TLNQCustomDBGrid::OwnerName() const {
    const QWidget* w = window();
    return w && w != this ? w->objectName() : QString();
}

QString TLNQCustomDBGrid::OwnerCaption() const {
    const QWidget* w = window();
    return w && w != this ? w->windowTitle() : QString();
}

QString TLNQCustomDBGrid::GetCellFileName() const {
    return TPrint::GetCellFileName(m_cellFileName, OwnerName(), objectName());
}

QString TLNQCustomDBGrid::GetFileName() const {
    return LayoutFileName(m_formatFileName, OwnerName(), objectName());
}

TLayoutContext TLNQCustomDBGrid::layoutContext() const {
    TLayoutContext ctx;
    const TDataSet* ds = DataSet();
    ctx.HasDataSet = ds != nullptr;
    ctx.DataSetOpen = ds && ds->Active();
    TDataEnvironment* env = TDataEnvironment::Instance();
    ctx.TitleOf = [env](const QString& name) { return env ? env->GetTitleCaption(name) : name; };
    // The file name is worked out (and its folder made) only when it is used.
    if (ctx.HasDataSet) ctx.FileName = GetFileName();
    return ctx;
}

void TLNQCustomDBGrid::LoadFormat() {
    if (m_loadingFormat) return;
    m_loadingFormat = true;
    const auto done = qScopeGuard([this] { m_loadingFormat = false; });
    lnq::LoadFormat(*m_layoutColumns, layoutContext());
}

void TLNQCustomDBGrid::SaveFormat(bool requireOpen) {
    lnq::SaveFormat(*m_layoutColumns, layoutContext(), requireOpen);
}

void TLNQCustomDBGrid::autoLoadFormat() {
    if (m_controlOptions.testFlag(TDBGridControlOption::coAutoFormat)) guarded([this] { LoadFormat(); });
}

void TLNQCustomDBGrid::autoSaveFormat(bool requireOpen) {
    if (m_destroying || !m_controlOptions.testFlag(TDBGridControlOption::coAutoFormat)) return;
    guarded([&] { SaveFormat(requireOpen); });
}

// ---------------------------------------------------------------- layout adapter

TColumn& TDBGridLayoutColumns::at(int index) const {
    TColumn* c = m_grid.Columns().Items(index);
    if (!c) throw Exception(QStringLiteral("列索引越界: ") + QString::number(index));
    return *c;
}
int TDBGridLayoutColumns::ColumnCount() const {
    return m_grid.Columns().Count();
}
QString TDBGridLayoutColumns::FieldName(int index) const {
    return at(index).FieldName();
}
QString TDBGridLayoutColumns::Title(int index) const {
    return at(index).Title().Caption();
}
int TDBGridLayoutColumns::Width(int index) const {
    return std::max(0, at(index).Width());
}
void TDBGridLayoutColumns::SetTitle(int index, const QString& title) {
    at(index).Title().SetCaption(title);
}
void TDBGridLayoutColumns::SetWidth(int index, int width) {
    at(index).SetWidth(width);
}
int TDBGridLayoutColumns::DefaultWidth(int index) const {
    return at(index).DefaultWidth();
}
void TDBGridLayoutColumns::SetDefaultWidth(int index, int width) {
    at(index).SetDefaultWidth(width);
}
void TDBGridLayoutColumns::ClearColumns() {
    m_grid.Columns().Clear();
}
void TDBGridLayoutColumns::InsertColumn(int index, const QString& fieldName) {
    TLNQDBGridColumns& cols = m_grid.Columns();
    // Add() on automatic columns would drop them: keep them as they are.
    cols.SetState(csCustomized);
    cols.BeginUpdate();
    TColumn* c = cols.Add();
    c->SetFieldName(fieldName);
    cols.Move(cols.Count() - 1, std::clamp(index, 0, cols.Count() - 1));
    cols.EndUpdate();
}
void TDBGridLayoutColumns::DeleteColumn(int index) {
    m_grid.Columns().Delete(index);
}
void TDBGridLayoutColumns::BeginLayout() {
    m_grid.BeginLayout();
}
void TDBGridLayoutColumns::EndLayout() {
    m_grid.EndLayout();
}
void TDBGridLayoutColumns::InitDBGrid() {
    m_grid.InitDBGrid();
}

TCaptionMap GridFieldsCaptions(const TLNQCustomDBGrid& grid) {
    TCaptionMap map;
    const TLNQDBGridColumns& cols = grid.Columns();
    for (int i = 0; i < cols.Count(); ++i) {
        const TColumn* c = cols.Items(i);
        if (c->Width() > 0) map.append({c->FieldName(), c->Title().Caption()});
    }
    return map;
}

void InstallLayoutCaptionsReader() {
    // A reader the host registered itself stays.
    if (HasLayoutCaptionsReader()) return;
    SetLayoutCaptionsReader([](const QString& layoutName) {
        TCaptionMap map;
        if (layoutName.isEmpty()) return map;
        const QString file = LayoutFileName(layoutName, QString(), QString());
        if (!QFile::exists(file)) return map;
        for (const TLayoutEntry& e : LoadLayoutFile(file))
            map.append({e.FieldName, e.Title});
        return map;
    });
}

// ---------------------------------------------------------------- footer

void TLNQCustomDBGrid::AutoCalculate(int ACol, const QString& OldValue, const QString& NewValue) {
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || !qobject_cast<TClientDataSet*>(ds)) return;
    const int count = m_columns->Count();
    int first = ACol, last = ACol;
    if (ACol == -1) {
        first = 0;
        last = count - 1;
    } else if (ACol < 0 || ACol >= count) {
        return;
    }
    m_columns->BeginUpdate();
    if (ACol >= 0 && (!OldValue.trimmed().isEmpty() || !NewValue.trimmed().isEmpty())) {
        TColumn* target = m_columns->Items(ACol);
        TColumn* found = m_columns->ColumnOfField(target->FieldName());
        if (found && !found->TailCaption().trimmed().isEmpty() && found->CalcMode() == ccSum &&
            OldValue.trimmed() != NewValue.trimmed()) {
            const double total = CleanNumberValue(found->TailCaption()) +
                                 (CleanNumberValue(NewValue) - CleanNumberValue(OldValue));
            const QString text = formatTotal(*found, total);
            found->SetTailCaption(text);
            target->SetTailCaption(text);
            m_columns->EndUpdate();
            return;
        }
    }
    // Full path: the dataset's current view is exactly what the user sees
    // (filter applied), read by position without a copy; every sum column
    // is added up in the same pass over the view.
    const int records = ds->RecordCount();
    std::vector<TColumn*> sumColumns;
    std::vector<int> sumFields;
    for (int i = first; i <= last; ++i) {
        TColumn* c = m_columns->Items(i);
        TColumn* found = m_columns->ColumnOfField(c->FieldName());
        // A match at grid position 0 (where the indicator sits) counts as none.
        if (!found || found->CalcMode() == ccUser || GridColOf(found) == 0) continue;
        if (found->CalcMode() == ccCount) {
            found->SetTailCaption(QString::number(records));
            continue;
        }
        if (const TField* f = found->Field()) {
            sumColumns.push_back(found);
            sumFields.push_back(f->Index());
        }
    }
    const std::vector<double> totals = ds->SumFloats(sumFields);
    for (size_t k = 0; k < sumColumns.size(); ++k)
        sumColumns[k]->SetTailCaption(formatTotal(*sumColumns[k], totals[k]));
    m_columns->EndUpdate();
}

int TLNQCustomDBGrid::AutoGridColWidth(int ACol) {
    TDataSet* ds = DataSet();
    if (!ds || !ds->Active() || !qobject_cast<TClientDataSet*>(ds)) return 0;
    auto fit = [&](const TColumn& c) {
        const QFontMetrics title(c.Title().Font());
        const QFontMetrics cells(c.Font());
        int w = 0;
        for (const QString& part : c.Title().Caption().split(u'.'))
            w = std::max(w, title.horizontalAdvance(part));
        w = std::max(w, cells.horizontalAdvance(c.TailCaption()));
        if (c.PopComboBoxAllowed())
            for (const QString& s : c.PopListStrings())
                w = std::max(w, cells.horizontalAdvance(s));
        if (c.PopDateAllowed()) w = std::max(w, cells.horizontalAdvance(QStringLiteral("8888-88-88")));
        if (c.CheckBox()) w = std::max(w, 13);
        if (c.Field()) {
            const int n = ds->RecordCount();
            for (int r = 0; r < n; ++r)
                w = std::max(w, cells.horizontalAdvance(CellText(c, r)));
        }
        return w + 5;
    };
    if (ACol == -1) {
        m_columns->BeginUpdate();
        int last = 0;
        for (int i = 0; i < m_columns->Count(); ++i) {
            TColumn* c = m_columns->Items(i);
            last = fit(*c);
            c->SetWidth(last);
        }
        m_columns->EndUpdate();
        return last;
    }
    const TColumn* c = m_columns->Items(ACol);
    return c ? fit(*c) : 0;
}

void TLNQCustomDBGrid::HeaderDblClcik(int ACol, Qt::KeyboardModifiers shift) {
    if (shift & Qt::ControlModifier) {
        AutoGridColWidth(-1);
        return;
    }
    const int index = ACol - m_indicatorOffset;
    if (TColumn* c = m_columns->Items(index)) {
        const int w = AutoGridColWidth(index);
        if (w > 0) c->SetWidth(w);
    }
}

// ---------------------------------------------------------------- setup form

int TLNQCustomDBGrid::SetupColumnCount() const {
    return m_columns->Count();
}

QString TLNQCustomDBGrid::SetupFieldName(int i) const {
    const TColumn* c = m_columns->Items(i);
    return c ? c->FieldName() : QString();
}

QString TLNQCustomDBGrid::SetupTitle(int i) const {
    const TColumn* c = m_columns->Items(i);
    return c ? c->Title().Caption() : QString();
}

int TLNQCustomDBGrid::SetupWidth(int i) const {
    const TColumn* c = m_columns->Items(i);
    return c ? c->Width() : 0;
}

TDataSet* TLNQCustomDBGrid::SetupDataSet() const {
    return DataSet();
}

TLNQDBGrid::TLNQDBGrid(QWidget* parent) : TLNQCustomDBGrid(parent) {}

} // namespace lnq
