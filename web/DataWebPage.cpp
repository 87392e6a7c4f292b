// Page building of the record viewer. Every literal piece below is part of the
// page format that hosts style and parse; keep them byte for byte.
#include "web/DataWebPage.h"

#include "data/DataSet.h"
#include "data/FieldTypes.h"
#include "data/Plat_dataenvironment.h"
#include "util/Exceptions.h"

#include <QHash>
#include <QStringList>
#include <cmath>

namespace lnq {

namespace {

TLayoutCaptionsFn& layoutReader() {
    static TLayoutCaptionsFn reader;
    return reader;
}

QString breakLines(QString text) {
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("<BR>"));
}

// One caption cell and one value cell.
void appendCells(QString& out, const QString& caption, int captionWidth, const QString& value,
                 int valueWidth) {
    out += QStringLiteral("<td align=\"right\" width=\"");
    out += QString::number(captionWidth);
    out += QStringLiteral("%\">");
    out += breakLines(caption);
    out += QStringLiteral(":</td>");
    out += QStringLiteral("<td width=\"");
    out += QString::number(valueWidth);
    out += QStringLiteral("%\"><font color=\"blue\">");
    out += breakLines(value);
    out += QStringLiteral("</font></td>");
}

} // namespace

QString DataWebPageHeader() {
    return QStringLiteral(
        "<html><head><style>body {   scrollbar-base-color:#D8E6F5;}font-family: \"宋体\", \"serif\"; "
        "font-size: 9pt}td {  font-family: \"宋体\", \"serif\"; font-size: 9pt}a:link "
        "{color:#0000CC;font-size:12px;; text-decoration: underline; font-family: \"Arial\", \"Helvetica\", "
        "\"sans-serif\"}a:visited{color:blue;text-decoration:underline;font-size:12px;; font-family: "
        "\"Arial\", \"Helvetica\", \"sans-serif\"}a:active "
        "{text-decoration:none;;color:#CC6600;font-size:12px;; letter-spacing: normal}a:hover "
        "{text-decoration:underline;font-size:12px; color: #FF9900; font-family: \"Arial\", \"Helvetica\", "
        "\"sans-serif\"}</style></head><body leftmargin=\"0\" topmargin=\"0\">");
}

int RoundHalfEven(double value) {
    // The default floating-point rounding mode rounds ties to even.
    return static_cast<int>(std::nearbyint(value));
}

QString GetHrefStr(const QString& value, const QString& caption, const QString& extra) {
    if (caption == QStringLiteral("网址"))
        return QStringLiteral("<a href=\"") + value + QStringLiteral("\" target=\"_blank\">") + value +
               QStringLiteral("</a>");
    if (caption == QStringLiteral("邮箱") || caption == QLatin1String("EMAIL"))
        return QStringLiteral("<a href=\"app://ShowMailManageDetail?Phone=") + value + extra +
               QStringLiteral("\">") + value + QStringLiteral("</a>");
    if (caption == QStringLiteral("移动电话") || caption == QStringLiteral("手机"))
        return QStringLiteral("<a href=\"app://ShowMessageManageDetail?Phone=") + value + extra +
               QStringLiteral("\">") + value + QStringLiteral("</a>");
    return value;
}

void SetLayoutCaptionsReader(TLayoutCaptionsFn reader) {
    layoutReader() = std::move(reader);
}

bool HasLayoutCaptionsReader() {
    return bool(layoutReader());
}

TCaptionMap LayoutCaptions(const QString& layoutName) {
    if (!layoutReader()) return {};
    return layoutReader()(layoutName);
}

void TDataWebPage::SetColumnCount(int count) {
    m_columnCount = count < 1 ? 1 : count;
}

void TDataWebPage::AddItem(const QString& caption, const QString& value) {
    if (caption.toUpper() == QLatin1String("NOTVISIBLE")) return;
    QString c = caption;
    c.remove(QStringLiteral("↑"));
    c.remove(QStringLiteral("↓"));
    m_items.push_back({c, value});
}

QString TDataWebPage::CaptionOf(const TDataSet& dataSet, int field) const {
    const QString name = dataSet.Fields(field).FieldName();
    if (!m_captions.isEmpty()) {
        for (const auto& pair : m_captions)
            if (pair.first.compare(name, Qt::CaseInsensitive) == 0) return pair.second;
        return name;
    }
    const auto* ado = qobject_cast<const TCustomADODataSet*>(&dataSet);
    if (!ado) return name;
    TDataEnvironment* dictionary = TDataEnvironment::Instance();
    if (!dictionary && ado->Connection()) {
        // The dictionary is built on first use; a database without one shows
        // the field names.
        try {
            dictionary = &TDataEnvironment::GetInstance(*ado->Connection());
        } catch (const Exception&) {
            return name;
        }
    }
    return dictionary ? dictionary->GetTitleCaption(name) : name;
}

bool TDataWebPage::CollectRecord(const TDataSet& dataSet) {
    if (!dataSet.Active() || dataSet.IsEmpty()) return false;
    m_items.clear();
    for (int i = 0; i < dataSet.FieldCount(); ++i) {
        const QString caption = CaptionOf(dataSet, i);
        if (caption.toUpper() == QLatin1String("NOTVISIBLE")) continue;
        const TField& field = dataSet.Fields(i);
        QString value;
        if (field.IsNull())
            value.clear();
        else if (IsBooleanTypeGroup(field.DataType()))
            value = field.AsBoolean() ? QStringLiteral("是") : QStringLiteral("否");
        else if (!(value = field.AsString()).isEmpty())
            value = GetHrefStr(value, caption, QString());
        AddItem(caption, value);
    }
    return true;
}

QString TDataWebPage::RecordPage() const {
    const int captionWidth = RoundHalfEven(30.0 / m_columnCount);
    const int valueWidth = RoundHalfEven(70.0 / m_columnCount);
    QString page = DataWebPageHeader() + QStringLiteral("<table width=\"100%\">");
    const int n = static_cast<int>(m_items.size());
    for (int i = 0; i < n; ++i) {
        if (i % m_columnCount == 0) page += QStringLiteral("<tr>");
        appendCells(page, m_items[static_cast<size_t>(i)].Caption, captionWidth,
                    m_items[static_cast<size_t>(i)].Value, valueWidth);
        if (i % m_columnCount == m_columnCount - 1 || i == n - 1) page += QStringLiteral("</tr>");
    }
    page += QStringLiteral("</table></body></html>");
    return page;
}

QString TDataWebPage::PropertyPage(TDataSet& dataSet, const QString& params) const {
    const int captionWidth = RoundHalfEven(40.0 / m_columnCount);
    const int valueWidth = RoundHalfEven(60.0 / m_columnCount);

    // "[name]" -> value pairs of the parameters, in their order.
    QList<QPair<QString, QString>> pairs;
    for (const QString& part : params.split(u';', Qt::SkipEmptyParts)) {
        const qsizetype eq = part.indexOf(u'=');
        if (eq < 0)
            pairs.append({QStringLiteral("[") + part + QStringLiteral("]"), QString()});
        else
            pairs.append({QStringLiteral("[") + part.left(eq) + QStringLiteral("]"), part.mid(eq + 1)});
    }

    QString page = DataWebPageHeader();
    if (dataSet.Active()) {
        TField& subType = dataSet.FieldByName(QStringLiteral("vSubType"));
        TField& name = dataSet.FieldByName(QStringLiteral("vPropertyName"));
        TField& value = dataSet.FieldByName(QStringLiteral("vPropertyValue"));
        // Property lists kept before link formats existed have no such column.
        const TField* link = dataSet.FindField(QStringLiteral("vAppLinkFormat"));
        const int rows = dataSet.RecordCount();
        const int subTypeIndex = subType.Index();
        // The rows of each sub-type, sub-types in order of first appearance.
        QStringList subTypes;
        QHash<QString, QList<int>> rowsOf;
        for (int r = 0; r < rows; ++r) {
            const QString s = dataSet.ValueAt(r, subTypeIndex).toString();
            auto it = rowsOf.find(s);
            if (it == rowsOf.end()) {
                subTypes << s;
                it = rowsOf.insert(s, {});
            }
            it->append(r);
        }
        for (const QString& s : subTypes) {
            page += QStringLiteral("<br><b>") + s + QStringLiteral("</b>");
            page += QStringLiteral("<table width=\"100%\"><tr>");
            int count = 0;
            for (const int r : rowsOf.value(s)) {
                // Rows of one sub-type break every ColumnCount items.
                if (count > 0 && count % m_columnCount == 0) page += QStringLiteral("</tr><tr>");
                ++count;
                const QString propertyValue = dataSet.ValueAt(r, value.Index()).toString();
                QString shown = propertyValue;
                const QString format = link ? dataSet.ValueAt(r, link->Index()).toString() : QString();
                if (!format.isEmpty()) {
                    QString target = format;
                    target.replace(QStringLiteral("[Value]"), propertyValue);
                    for (const auto& p : pairs)
                        target.replace(p.first, p.second);
                    shown = QStringLiteral("<a href=\"") + target + QStringLiteral("\">") + propertyValue +
                            QStringLiteral("</a>");
                }
                appendCells(page, dataSet.ValueAt(r, name.Index()).toString(), captionWidth, shown,
                            valueWidth);
            }
            page += QStringLiteral("</table>");
        }
    }
    page += QStringLiteral("</body></html>");
    return page;
}

QString TDataWebPage::ContactCardPage(TDataSet& dataSet) const {
    QString page = DataWebPageHeader();
    if (dataSet.Active()) {
        const int customer = dataSet.FieldByName(QStringLiteral("iCustomerNo")).Index();
        const int contact = dataSet.FieldByName(QStringLiteral("iContactNo")).Index();
        const int name = dataSet.FieldByName(QStringLiteral("vContact")).Index();
        const int zone = dataSet.FieldByName(QStringLiteral("vPhoneZone")).Index();
        const int number = dataSet.FieldByName(QStringLiteral("vPhoneNumber")).Index();
        const int kind = dataSet.FieldByName(QStringLiteral("vPhoneKind")).Index();
        const TField* title = dataSet.FindField(QStringLiteral("vTitle"));
        const TField* mobile = dataSet.FindField(QStringLiteral("vMobile"));
        const TField* mail = dataSet.FindField(QStringLiteral("vEmail"));
        auto text = [&](int row, int field) { return dataSet.ValueAt(row, field).toString(); };
        for (int r = 0; r < dataSet.RecordCount(); ++r) {
            const QString keys = QStringLiteral("iCustomerNo=") + text(r, customer) +
                                 QStringLiteral("&iContactNo=") + text(r, contact);
            page += QStringLiteral("<table width=\"100%\"><tr><td><b><a href=\"app://ShowContactDetail?") +
                    keys + QStringLiteral("\">") + text(r, name) + QStringLiteral("</a></b>");
            if (title && !text(r, title->Index()).isEmpty())
                page += QStringLiteral(" ") + text(r, title->Index());
            page += QStringLiteral("</td></tr>");
            QStringList phone;
            for (const int part : {zone, number, kind})
                if (!text(r, part).isEmpty()) phone << text(r, part);
            if (!phone.isEmpty())
                page += QStringLiteral("<tr><td>") + phone.join(QStringLiteral(" - ")) +
                        QStringLiteral("</td></tr>");
            if (mobile && !text(r, mobile->Index()).isEmpty())
                page += QStringLiteral("<tr><td>") +
                        GetHrefStr(text(r, mobile->Index()), QStringLiteral("手机"), QString()) +
                        QStringLiteral("</td></tr>");
            if (mail && !text(r, mail->Index()).isEmpty())
                page += QStringLiteral("<tr><td>") +
                        GetHrefStr(text(r, mail->Index()), QStringLiteral("邮箱"), QString()) +
                        QStringLiteral("</td></tr>");
            page += QStringLiteral("<tr><td><a href=\"app://EditContact?") + keys +
                    QStringLiteral("\">编辑联系人</a></td></tr></table>");
        }
    }
    page += QStringLiteral("</body></html>");
    return page;
}

} // namespace lnq
