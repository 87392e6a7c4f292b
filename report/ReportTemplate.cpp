#include "report/ReportTemplate.h"

#include "util/Exceptions.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace lnq {

namespace {

struct NamedSize {
    const char* name;
    QPageSize::PageSizeId id;
};
constexpr NamedSize kSizes[] = {{"A3", QPageSize::A3},         {"A4", QPageSize::A4},
                                {"A5", QPageSize::A5},         {"B5", QPageSize::B5},
                                {"Letter", QPageSize::Letter}, {"Legal", QPageSize::Legal}};

QString sizeName(QPageSize::PageSizeId id) {
    for (const NamedSize& s : kSizes)
        if (s.id == id) return QString::fromLatin1(s.name);
    return QStringLiteral("A4");
}
QPageSize::PageSizeId sizeOf(const QString& name, QPageSize::PageSizeId fallback) {
    for (const NamedSize& s : kSizes)
        if (name.compare(QLatin1String(s.name), Qt::CaseInsensitive) == 0) return s.id;
    return fallback;
}

QString alignName(Qt::Alignment a) {
    if (a & Qt::AlignHCenter) return QStringLiteral("center");
    if (a & Qt::AlignRight) return QStringLiteral("right");
    if (a & Qt::AlignLeft) return QStringLiteral("left");
    return QString();
}
Qt::Alignment alignOf(const QString& s) {
    if (s == QLatin1String("center")) return Qt::AlignHCenter;
    if (s == QLatin1String("right")) return Qt::AlignRight;
    if (s == QLatin1String("left")) return Qt::AlignLeft;
    return {};
}

QJsonObject fontJson(const TReportFont& f) {
    return {{QStringLiteral("family"), f.Family},
            {QStringLiteral("size"), f.Size},
            {QStringLiteral("bold"), f.Bold}};
}
TReportFont fontOf(const QJsonValue& v, const TReportFont& fallback) {
    if (!v.isObject()) return fallback;
    const QJsonObject o = v.toObject();
    TReportFont f = fallback;
    f.Family = o.value(QStringLiteral("family")).toString(f.Family);
    const double size = o.value(QStringLiteral("size")).toDouble(f.Size);
    if (size >= 4 && size <= 96) f.Size = size;
    f.Bold = o.value(QStringLiteral("bold")).toBool(f.Bold);
    return f;
}

double clampMm(double v, double lo, double hi, double fallback) {
    return (v >= lo && v <= hi) ? v : fallback;
}

} // namespace

QFont TReportFont::toFont() const {
    QFont f;
    if (!Family.isEmpty()) f.setFamily(Family);
    f.setPointSizeF(Size);
    f.setBold(Bold);
    return f;
}

QPageLayout TReportTemplate::pageLayout() const {
    return QPageLayout(QPageSize(PageSize), Orientation, Margins, QPageLayout::Millimeter);
}

void TReportTemplate::setPageLayout(const QPageLayout& layout) {
    PageSize = layout.pageSize().id();
    Orientation = layout.orientation();
    Margins = layout.margins(QPageLayout::Millimeter);
}

QByteArray SaveReportTemplate(const TReportTemplate& t) {
    QJsonArray columns;
    for (const TReportColumn& c : t.Columns)
        columns.append(QJsonObject{{QStringLiteral("field"), c.Field},
                                   {QStringLiteral("title"), c.Title},
                                   {QStringLiteral("width"), c.Width},
                                   {QStringLiteral("align"), alignName(c.Align)},
                                   {QStringLiteral("total"), c.Total}});
    QJsonObject o{
        {QStringLiteral("format"), QStringLiteral("LNQ-RPT")},
        {QStringLiteral("version"), 1},
        {QStringLiteral("title"), t.Title},
        {QStringLiteral("page"),
         QJsonObject{{QStringLiteral("size"), sizeName(t.PageSize)},
                     {QStringLiteral("orientation"), t.Orientation == QPageLayout::Landscape
                                                         ? QStringLiteral("landscape")
                                                         : QStringLiteral("portrait")},
                     {QStringLiteral("margins"),
                      QJsonArray{t.Margins.left(), t.Margins.top(), t.Margins.right(), t.Margins.bottom()}}}},
        {QStringLiteral("fonts"), QJsonObject{{QStringLiteral("title"), fontJson(t.TitleFont)},
                                              {QStringLiteral("header"), fontJson(t.HeaderFont)},
                                              {QStringLiteral("body"), fontJson(t.BodyFont)}}},
        {QStringLiteral("pageHeader"), t.PageHeader},
        {QStringLiteral("pageFooter"), t.PageFooter},
        {QStringLiteral("columns"), columns},
        {QStringLiteral("totalCaption"), t.TotalCaption},
    };
    return QJsonDocument(o).toJson(QJsonDocument::Indented);
}

TReportTemplate LoadReportTemplate(const QByteArray& json) {
    TReportTemplate t;
    if (json.trimmed().isEmpty()) return t;
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &err);
    if (err.error != QJsonParseError::NoError || !doc.isObject())
        throw EReadError(QStringLiteral("报表模板格式错误：%1（位置 %2）")
                             .arg(doc.isNull() ? err.errorString() : QStringLiteral("不是对象"))
                             .arg(err.offset));
    const QJsonObject o = doc.object();
    t.Title = o.value(QStringLiteral("title")).toString();
    const QJsonObject page = o.value(QStringLiteral("page")).toObject();
    t.PageSize = sizeOf(page.value(QStringLiteral("size")).toString(), t.PageSize);
    if (page.value(QStringLiteral("orientation")).toString() == QLatin1String("landscape"))
        t.Orientation = QPageLayout::Landscape;
    const QJsonArray m = page.value(QStringLiteral("margins")).toArray();
    if (m.size() == 4)
        t.Margins = QMarginsF(clampMm(m[0].toDouble(), 0, 100, 15), clampMm(m[1].toDouble(), 0, 100, 15),
                              clampMm(m[2].toDouble(), 0, 100, 15), clampMm(m[3].toDouble(), 0, 100, 15));
    const QJsonObject fonts = o.value(QStringLiteral("fonts")).toObject();
    t.TitleFont = fontOf(fonts.value(QStringLiteral("title")), t.TitleFont);
    t.HeaderFont = fontOf(fonts.value(QStringLiteral("header")), t.HeaderFont);
    t.BodyFont = fontOf(fonts.value(QStringLiteral("body")), t.BodyFont);
    t.PageHeader = o.value(QStringLiteral("pageHeader")).toString(t.PageHeader);
    t.PageFooter = o.value(QStringLiteral("pageFooter")).toString(t.PageFooter);
    t.TotalCaption = o.value(QStringLiteral("totalCaption")).toString(t.TotalCaption);
    for (const QJsonValue& v : o.value(QStringLiteral("columns")).toArray()) {
        const QJsonObject c = v.toObject();
        TReportColumn col;
        col.Field = c.value(QStringLiteral("field")).toString();
        col.Title = c.value(QStringLiteral("title")).toString(col.Field);
        col.Width = clampMm(c.value(QStringLiteral("width")).toDouble(), 1, 1000, col.Width);
        col.Align = alignOf(c.value(QStringLiteral("align")).toString());
        col.Total = c.value(QStringLiteral("total")).toBool();
        if (!col.Field.isEmpty()) t.Columns.push_back(col);
    }
    return t;
}

TReportTemplate LoadReportTemplateFile(const QString& fileName) {
    QFile f(fileName);
    if (!f.exists()) return {};
    if (!f.open(QIODevice::ReadOnly))
        throw EInOutError(QStringLiteral("无法打开文件 %1：%2").arg(fileName, f.errorString()));
    // Templates are small; a huge file is not one of ours.
    if (f.size() > 16 * 1024 * 1024) throw EReadError(QStringLiteral("报表模板格式错误：文件过大"));
    return LoadReportTemplate(f.readAll());
}

void SaveReportTemplateFile(const QString& fileName, const TReportTemplate& t) {
    QSaveFile f(fileName);
    if (!f.open(QIODevice::WriteOnly))
        throw EInOutError(QStringLiteral("无法创建文件 %1：%2").arg(fileName, f.errorString()));
    f.write(SaveReportTemplate(t));
    if (!f.commit()) throw EInOutError(QStringLiteral("无法写入文件 %1：%2").arg(fileName, f.errorString()));
}

} // namespace lnq
