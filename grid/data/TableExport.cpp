#include "grid/data/TableExport.h"

#include "grid/data/LayoutFile.h"
#include "report/ReportPages.h"
#include "report/XlsxBook.h"
#include "util/Gbk.h"

#include <QDate>
#include <QDateTime>
#include <QFile>

namespace lnq {

namespace {

constexpr int kBlockRows = 200;

bool isMoney(TFieldType t) {
    return t == TFieldType::ftCurrency || t == TFieldType::ftBCD || t == TFieldType::ftFMTBcd;
}

double serialOf(const QVariant& v) {
    static const QDate epoch(1899, 12, 30);
    if (v.typeId() == QMetaType::QDate) return double(epoch.daysTo(v.toDate()));
    if (v.typeId() == QMetaType::QTime) return v.toTime().msecsSinceStartOfDay() / 86400000.0;
    const QDateTime dt = v.toDateTime();
    return double(epoch.daysTo(dt.date())) + dt.time().msecsSinceStartOfDay() / 86400000.0;
}

QString gbkArg(const char* s) {
    return Gbk::decode(s ? QByteArrayView(s) : QByteArrayView());
}

} // namespace

TExportColumns ExportColumnsOf(const TDataSet& dataSet,
                               const std::function<QString(const QString&)>& titleOf) {
    TExportColumns cols;
    for (int i = 0; i < dataSet.FieldCount(); ++i) {
        const TField& f = dataSet.Fields(i);
        TExportColumn c;
        c.FieldName = f.FieldName();
        c.Title = titleOf ? titleOf(c.FieldName) : c.FieldName;
        c.Width = qBound(24, f.DisplayWidth() * 7 + 8, 400);
        cols.push_back(c);
    }
    return cols;
}

std::unique_ptr<TDataSet> PrepareClonedDataset(TDataSet& source) {
    if (!source.Active()) return nullptr;
    if (auto* ado = qobject_cast<TCustomADODataSet*>(&source)) {
        auto copy = std::make_unique<TADODataSet>();
        copy->Clone(*ado);
        if (!ado->Sort().isEmpty()) copy->SetSort(ado->Sort());
        // The record filters (the grid's quick filters) narrow the copy the same way.
        if (ado->Filtered() && (ado->OnFilterRecord() || ado->OnFilterRecords())) {
            copy->SetOnFilterRecords(ado->OnFilterRecords());
            copy->SetOnFilterRecord(ado->OnFilterRecord());
            copy->SetFiltered(true);
        }
        return copy;
    }
    if (qobject_cast<TClientDataSet*>(&source)) {
        auto copy = std::make_unique<TClientDataSet>();
        copy->CopyFrom(source);
        return copy;
    }
    return nullptr;
}

TReportDataKind ReportKindOf(TFieldType t) {
    if (isMoney(t)) return TReportDataKind::rdMoney;
    if (t == TFieldType::ftBoolean) return TReportDataKind::rdBoolean;
    if (t == TFieldType::ftDate) return TReportDataKind::rdDate;
    if (t == TFieldType::ftDateTime) return TReportDataKind::rdDateTime;
    if (t == TFieldType::ftFloat) return TReportDataKind::rdFloat;
    if (t == TFieldType::ftSmallint || t == TFieldType::ftInteger || t == TFieldType::ftWord ||
        t == TFieldType::ftAutoInc || t == TFieldType::ftLargeint)
        return TReportDataKind::rdInteger;
    return TReportDataKind::rdText;
}

QString ExportText(const TField& field) {
    if (field.IsNull()) return QString();
    if (isMoney(field.DataType())) return MoneyText(field.AsFloat());
    if (field.DataType() == TFieldType::ftBoolean)
        return field.AsBoolean() ? QStringLiteral("是") : QStringLiteral("否");
    return field.AsString();
}

QString BuidHtmlTableHead(const QStringList& captions, int& ColumnCount) {
    QStringList titles;
    for (const QString& c : captions)
        titles << StripSortMarks(c);
    QString html = QStringLiteral("<Table border=\"1\"><tr>");
    for (int i = 0; i < titles.size();) {
        const qsizetype dot = titles[i].indexOf(QLatin1Char('.'));
        if (dot < 0) {
            html += QStringLiteral("<td  align=center rowspan=\"2\">") + titles[i] + QStringLiteral("</td>");
            ++i;
            continue;
        }
        const QString parent = titles[i].left(dot);
        int j = i + 1;
        while (j < titles.size()) {
            const qsizetype dj = titles[j].indexOf(QLatin1Char('.'));
            if (dj < 0 || titles[j].left(dj) != parent) break;
            ++j;
        }
        html += QStringLiteral("<td align=center colspan=\"") + QString::number(j - i) +
                QStringLiteral("\">") + parent + QStringLiteral("</td>");
        i = j;
    }
    html += QStringLiteral("</tr><tr>");
    for (const QString& t : titles) {
        const qsizetype dot = t.indexOf(QLatin1Char('.'));
        if (dot >= 0)
            html += QStringLiteral("<td align=center>") + t.mid(dot + 1, 100) + QStringLiteral("</td>");
        ++ColumnCount;
    }
    html += QStringLiteral("</tr></table>");
    return html;
}

QString HtmlTitleTable(const QString& formCaption, int columnCount) {
    return QStringLiteral("<table><tr><td align=center Colspan=") + QString::number(columnCount) +
           QStringLiteral("><b>") + QStringLiteral("决策支持中心-") + formCaption +
           QStringLiteral("</b></td></tr></table>");
}

bool HtmlDataBlocks(TDataSet& data, const TExportColumns& columns,
                    const std::function<void(const QString& html, int row)>& paste,
                    const TExportProgress& progress, qint64 maxRows) {
    std::vector<TField*> fields;
    for (const TExportColumn& c : columns)
        fields.push_back(c.FieldName.isEmpty() ? nullptr : data.FindField(c.FieldName));
    const qint64 total = maxRows >= 0 ? std::min<qint64>(maxRows, data.RecordCount()) : data.RecordCount();
    QString block = QStringLiteral("<table border=1>");
    int counter = 0;
    bool pending = false;
    data.DisableControls();
    data.First();
    for (int r = 0; r < total; ++r) {
        if (r > 0) data.Next();
        block += QStringLiteral("<tr>");
        for (TField* f : fields)
            block += f ? QStringLiteral("<td>") + ExportText(*f) + QStringLiteral("</td>")
                       : QStringLiteral("<td> </td>");
        block += QStringLiteral("</tr>");
        pending = true;
        ++counter;
        if (counter % kBlockRows == 0) {
            block += QStringLiteral("</table>");
            paste(block, ((counter - 2) / kBlockRows) * kBlockRows + 2);
            block = QStringLiteral("<table border=1>");
            pending = false;
            if (progress && !progress(counter, total)) {
                data.EnableControls();
                return false;
            }
        }
    }
    data.EnableControls();
    if (pending || counter == 0) {
        block += QStringLiteral("</table>");
        paste(block, (qMax(counter - 2, 0) / kBlockRows) * kBlockRows + 2);
    }
    return true;
}

QString HtmlExportText(TDataSet& data, const TExportColumns& columns, const QString& formCaption,
                       qint64 maxRows) {
    QStringList captions;
    for (const TExportColumn& c : columns)
        captions << c.Title;
    int count = 0;
    const QString head = BuidHtmlTableHead(captions, count);
    QString text = HtmlTitleTable(formCaption, count) + head;
    HtmlDataBlocks(
        data, columns, [&](const QString& html, int) { text += html; }, {}, maxRows);
    return text;
}

bool ExportToXlsx(TDataSet& data, const TExportColumns& columns, const QString& formCaption,
                  const QString& fileName, const TExportProgress& progress) {
    QStringList titles;
    std::vector<TReportDataKind> kinds;
    std::vector<int> widths, source;
    for (const TExportColumn& c : columns) {
        titles << StripSortMarks(c.Title);
        TField* f = c.FieldName.isEmpty() ? nullptr : data.FindField(c.FieldName);
        source.push_back(f ? f->Index() : -1);
        kinds.push_back(f ? ReportKindOf(f->DataType()) : TReportDataKind::rdText);
        widths.push_back(c.Width);
    }
    bool cancelled = false;
    try {
        {
            TXlsxBook book(fileName);
            book.WriteHead(QStringLiteral("决策支持中心-") + formCaption, titles, kinds, widths);
            const int total = data.RecordCount();
            for (int r = 0; r < total && !cancelled; ++r) {
                book.NextRow();
                for (size_t i = 0; i < source.size(); ++i) {
                    const int fi = source[i];
                    if (fi < 0 || data.IsNullAt(r, fi)) continue;
                    const QVariant v = data.ValueAt(r, fi);
                    switch (kinds[i]) {
                    case TReportDataKind::rdText:
                        book.WriteText(int(i), v.toString());
                        break;
                    case TReportDataKind::rdBoolean:
                        book.WriteBoolean(int(i), v.toBool());
                        break;
                    case TReportDataKind::rdDate:
                    case TReportDataKind::rdDateTime:
                        book.WriteNumber(int(i), serialOf(v));
                        break;
                    default:
                        book.WriteNumber(int(i), v.toDouble());
                        break;
                    }
                }
                if (progress && (r & 1023) == 1023 && !progress(r + 1, total)) cancelled = true;
            }
            if (!cancelled) book.Close();
        }
    } catch (...) {
        QFile::remove(fileName); // a failed export leaves no partial file
        throw;
    }
    if (cancelled) QFile::remove(fileName);
    return !cancelled;
}

// ---------------------------------------------------------------------------

TDataSetCanReportOutObject::TDataSetCanReportOutObject(TDataSet* master, TDataSet* detail,
                                                       TExportColumns columns, QString title)
    : m_master(master), m_detail(detail), m_columns(std::move(columns)), m_title(std::move(title)) {
    if (m_columns.empty() && m_detail && m_detail->Active()) m_columns = ExportColumnsOf(*m_detail);
}

void TDataSetCanReportOutObject::prepare() {
    if (m_prepared) return;
    m_prepared = true;
    if (OnPreparePrintData) OnPreparePrintData(*this);
}

std::int32_t TDataSetCanReportOutObject::QueryInterface(const char* name, void** object) {
    if (!object) return -1;
    if (qstrcmp(name, "ICanReportOut") == 0 || qstrcmp(name, "ICanReportOutEx") == 0) {
        *object = static_cast<ICanReportOutEx*>(this);
        return 0;
    }
    *object = nullptr;
    return -1;
}

QStringList TDataSetCanReportOutObject::masterNames() const {
    QStringList names;
    if (m_master && m_master->Active()) names = m_master->FieldNames();
    for (const auto& [n, v] : m_added)
        names << n;
    return names;
}

std::int32_t TDataSetCanReportOutObject::GetMasterDataCount() {
    prepare();
    return std::int32_t(masterNames().size());
}

bool TDataSetCanReportOutObject::GetMasterData(std::int32_t index, char* buffer, std::int32_t size,
                                               std::int32_t* length) {
    prepare();
    const QStringList names = masterNames();
    if (index < 0 || index >= names.size()) return false;
    return FillReportBuffer(Gbk::encode(names[index]), buffer, size, length);
}

bool TDataSetCanReportOutObject::GetMasterDataValue(const char* name, char* buffer, std::int32_t size,
                                                    std::int32_t* length) {
    prepare();
    const QString n = gbkArg(name);
    for (const auto& [an, av] : m_added)
        if (an.compare(n, Qt::CaseInsensitive) == 0)
            return FillReportBuffer(Gbk::encode(av), buffer, size, length);
    if (m_master && m_master->Active())
        if (TField* f = m_master->FindField(n))
            return FillReportBuffer(Gbk::encode(ExportText(*f)), buffer, size, length);
    return false;
}

std::int32_t TDataSetCanReportOutObject::GetDetailDataCount() {
    prepare();
    return std::int32_t(m_columns.size());
}

bool TDataSetCanReportOutObject::GetDetailData(std::int32_t index, char* buffer, std::int32_t size,
                                               std::int32_t* length) {
    if (index < 0 || index >= std::int32_t(m_columns.size())) return false;
    return FillReportBuffer(Gbk::encode(StripSortMarks(m_columns[index].Title)), buffer, size, length);
}

std::int32_t TDataSetCanReportOutObject::FindMainDataItem(const char* name) {
    const QStringList names = masterNames();
    const QString n = gbkArg(name);
    for (int i = 0; i < names.size(); ++i)
        if (names[i].compare(n, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

std::int32_t TDataSetCanReportOutObject::FindDetailDataItem(const char* name) {
    const QString n = gbkArg(name);
    for (size_t i = 0; i < m_columns.size(); ++i)
        if (m_columns[i].FieldName.compare(n, Qt::CaseInsensitive) == 0 ||
            StripSortMarks(m_columns[i].Title).compare(n, Qt::CaseInsensitive) == 0)
            return std::int32_t(i);
    return -1;
}

TField* TDataSetCanReportOutObject::detailField(std::int32_t index) const {
    if (!m_detail || !m_detail->Active() || index < 0 || index >= std::int32_t(m_columns.size()))
        return nullptr;
    const QString& name = m_columns[index].FieldName;
    return name.isEmpty() ? nullptr : m_detail->FindField(name);
}

bool TDataSetCanReportOutObject::GetDetailDataValue(std::int32_t index, char* buffer, std::int32_t size,
                                                    std::int32_t* length) {
    if (index < 0 || index >= std::int32_t(m_columns.size())) return false;
    TField* f = detailField(index);
    return FillReportBuffer(f ? Gbk::encode(ExportText(*f)) : QByteArray(), buffer, size, length);
}

bool TDataSetCanReportOutObject::FirstDetail() {
    prepare();
    if (!IsDetailValid()) return false;
    m_detail->First();
    return !m_detail->IsEmpty();
}

bool TDataSetCanReportOutObject::NextDetail() {
    if (!IsDetailValid()) return false;
    m_detail->Next();
    return !m_detail->Eof();
}

std::int32_t TDataSetCanReportOutObject::GetDetailItemCount() {
    return IsDetailValid() ? m_detail->RecordCount() : 0;
}

std::int32_t TDataSetCanReportOutObject::GetDetailWidth(std::int32_t index) {
    if (index < 0 || index >= std::int32_t(m_columns.size())) return 0;
    return m_columns[index].Width;
}

void TDataSetCanReportOutObject::AddMasterData(const char* name, const char* value) {
    const QString n = gbkArg(name);
    for (auto& [an, av] : m_added)
        if (an.compare(n, Qt::CaseInsensitive) == 0) {
            av = gbkArg(value);
            return;
        }
    m_added.emplace_back(n, gbkArg(value));
}

bool TDataSetCanReportOutObject::IsDetailValid() {
    return m_detail && m_detail->Active();
}

void TDataSetCanReportOutObject::ClearMasterData() {
    m_added.clear();
}

bool TDataSetCanReportOutObject::GetReportTitle(char* buffer, std::int32_t size, std::int32_t* length) {
    prepare();
    return FillReportBuffer(Gbk::encode(m_title), buffer, size, length);
}

bool TDataSetCanReportOutObject::GetDetailFieldName(std::int32_t index, char* buffer, std::int32_t size,
                                                    std::int32_t* length) {
    if (index < 0 || index >= std::int32_t(m_columns.size())) return false;
    return FillReportBuffer(Gbk::encode(m_columns[index].FieldName), buffer, size, length);
}

std::int32_t TDataSetCanReportOutObject::GetDetailDataKind(std::int32_t index) {
    TField* f = detailField(index);
    return std::int32_t(f ? ReportKindOf(f->DataType()) : TReportDataKind::rdText);
}

} // namespace lnq
