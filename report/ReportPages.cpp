#include "report/ReportPages.h"

#include "util/Clock.h"
#include "util/Gbk.h"

#include <QLocale>
#include <QRegularExpression>
#include <cmath>

namespace lnq {

namespace {

QString gbkText(const QByteArray& bytes) {
    return Gbk::decode(bytes);
}

bool isNumeric(TReportDataKind k) {
    return k == TReportDataKind::rdInteger || k == TReportDataKind::rdFloat || k == TReportDataKind::rdMoney;
}

double numberOf(const QString& text, bool* ok) {
    QString plain = text;
    plain.remove(QLatin1Char(','));
    return plain.toDouble(ok);
}

} // namespace

QString MoneyText(double value) {
    QLocale c(QLocale::C);
    c.setNumberOptions(QLocale::DefaultNumberOptions);
    return c.toString(value, 'f', 2);
}

QString TReportData::MasterValue(const QString& name) const {
    for (const auto& [n, v] : Master)
        if (n.compare(name, Qt::CaseInsensitive) == 0) return v;
    return QString();
}

int TReportData::ColumnOf(const QString& name) const {
    for (int i = 0; i < int(Columns.size()); ++i)
        if (Columns[i].Field.compare(name, Qt::CaseInsensitive) == 0) return i;
    for (int i = 0; i < int(Columns.size()); ++i)
        if (Columns[i].Title.compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

bool TReportData::Read(ICanReportOut& p, const std::function<bool(qint64, qint64)>& progress) {
    QByteArray b;
    Title =
        ReportBytes(
            [&](char* buf, std::int32_t n, std::int32_t* len) { return p.GetReportTitle(buf, n, len); }, b)
            ? gbkText(b)
            : QString();
    Master.clear();
    const int masters = p.GetMasterDataCount();
    for (int i = 0; i < masters; ++i) {
        if (!ReportBytes(
                [&](char* buf, std::int32_t n, std::int32_t* len) { return p.GetMasterData(i, buf, n, len); },
                b))
            continue;
        const QByteArray name = b;
        QByteArray value;
        ReportBytes([&](char* buf, std::int32_t n,
                        std::int32_t* len) { return p.GetMasterDataValue(name.constData(), buf, n, len); },
                    value);
        Master.emplace_back(gbkText(name), gbkText(value));
    }
    ICanReportOutEx* ex = nullptr;
    void* obj = nullptr;
    if (p.QueryInterface("ICanReportOutEx", &obj) == 0) ex = static_cast<ICanReportOutEx*>(obj);
    Columns.clear();
    Rows.clear();
    if (!p.IsDetailValid()) return true;
    const int cols = p.GetDetailDataCount();
    for (int i = 0; i < cols; ++i) {
        TReportDataColumn c;
        if (ReportBytes(
                [&](char* buf, std::int32_t n, std::int32_t* len) { return p.GetDetailData(i, buf, n, len); },
                b))
            c.Title = gbkText(b);
        c.Width = p.GetDetailWidth(i);
        c.Field = c.Title;
        if (ex) {
            if (ReportBytes([&](char* buf, std::int32_t n,
                                std::int32_t* len) { return ex->GetDetailFieldName(i, buf, n, len); },
                            b))
                c.Field = gbkText(b);
            const std::int32_t kind = ex->GetDetailDataKind(i);
            if (kind >= 0 && kind <= std::int32_t(TReportDataKind::rdBoolean)) c.Kind = TReportDataKind(kind);
        }
        Columns.push_back(c);
    }
    const qint64 total = p.GetDetailItemCount();
    if (total > 0) Rows.reserve(size_t(std::min<qint64>(total, 1 << 24)));
    for (bool more = p.FirstDetail(); more; more = p.NextDetail()) {
        QStringList row;
        row.reserve(cols);
        for (int i = 0; i < cols; ++i)
            row << (ReportBytes([&](char* buf, std::int32_t n,
                                    std::int32_t* len) { return p.GetDetailDataValue(i, buf, n, len); },
                                b)
                        ? gbkText(b)
                        : QString());
        Rows.push_back(std::move(row));
        if (progress && (Rows.size() % 256) == 0 && !progress(qint64(Rows.size()), total)) return false;
    }
    return true;
}

std::vector<TReportColumn> ResolveColumns(const TReportTemplate& t, const TReportData& data) {
    std::vector<TReportColumn> out;
    if (t.Columns.empty()) {
        for (const TReportDataColumn& c : data.Columns) {
            TReportColumn r;
            r.Field = c.Field;
            r.Title = c.Title;
            r.Width = qRound(qBound(5.0, c.Width * 25.4 / 96.0, 200.0) * 10) / 10.0;
            r.Total = c.Kind == TReportDataKind::rdMoney;
            out.push_back(r);
        }
        return out;
    }
    for (const TReportColumn& c : t.Columns)
        if (data.ColumnOf(c.Field) >= 0) out.push_back(c);
    return out;
}

TReportPages::TReportPages(const TReportTemplate& t, const TReportData& data, int dpi)
    : m_t(t), m_data(data), m_dpi(dpi) {
    m_columns = ResolveColumns(t, data);
    for (const TReportColumn& c : m_columns) {
        m_dataCol.push_back(data.ColumnOf(c.Field));
        if (c.Total) m_hasTotals = true;
    }
    const QRect paint = t.pageLayout().paintRectPixels(dpi);
    m_area = QRectF(0, 0, paint.width(), paint.height());
    const double mm = dpi / 25.4;
    double total = 0;
    for (const TReportColumn& c : m_columns)
        total += c.Width * mm;
    const double scale = total > m_area.width() && total > 0 ? m_area.width() / total : 1.0;
    m_x.push_back(0);
    for (const TReportColumn& c : m_columns)
        m_x.push_back(m_x.back() + c.Width * mm * scale);
    const double pt = dpi / 72.0;
    m_titleH = t.TitleFont.Size * pt * 2.0;
    m_lineH = t.BodyFont.Size * pt * 1.8;
    m_headRowH = t.HeaderFont.Size * pt * 1.8;
    m_rowH = t.BodyFont.Size * pt * 1.6;
    QStringList titles;
    for (const TReportColumn& c : m_columns)
        titles << c.Title;
    for (const QString& s : titles)
        if (s.contains(QLatin1Char('.'))) m_headRows = 2;
    const double body = m_area.height() - m_titleH - 2 * m_lineH - m_headRows * m_headRowH;
    m_rowsPerPage = qMax(1, int(std::floor(body / m_rowH)));
    const qint64 rows = qint64(data.Rows.size());
    qint64 pages = qMax<qint64>(1, (rows + m_rowsPerPage - 1) / m_rowsPerPage);
    if (m_hasTotals && rows == pages * m_rowsPerPage) ++pages;
    m_pageCount = int(qMin<qint64>(pages, 1 << 30));
}

QString TReportPages::PageText(const QString& pattern, int page) const {
    // One pass: a master value that contains a field name is not replaced again.
    static const QRegularExpression field(QStringLiteral("\\[(页码|页数|日期|时间|主:[^\\]]*)\\]"));
    QString out;
    qsizetype last = 0;
    for (auto it = field.globalMatch(pattern); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += pattern.mid(last, m.capturedStart() - last);
        const QString name = m.captured(1);
        if (name == QStringLiteral("页码"))
            out += QString::number(page + 1);
        else if (name == QStringLiteral("页数"))
            out += QString::number(m_pageCount);
        else if (name == QStringLiteral("日期"))
            out += Clock::today().toString(QStringLiteral("yyyy-MM-dd"));
        else if (name == QStringLiteral("时间"))
            out += Clock::now().toString(QStringLiteral("HH:mm"));
        else
            out += m_data.MasterValue(name.mid(2));
        last = m.capturedEnd();
    }
    out += pattern.mid(last);
    return out;
}

QStringList TReportPages::Totals() const {
    QStringList out;
    for (size_t i = 0; i < m_columns.size(); ++i) {
        const int dc = m_dataCol[i];
        if (!m_columns[i].Total || dc < 0) {
            out << QString();
            continue;
        }
        double sum = 0;
        for (const QStringList& row : m_data.Rows) {
            bool ok = false;
            const double v = numberOf(row.value(dc), &ok);
            if (ok) sum += v;
        }
        const TReportDataKind kind = m_data.Columns[dc].Kind;
        out << (kind == TReportDataKind::rdInteger ? QString::number(qint64(std::llround(sum)))
                : kind == TReportDataKind::rdMoney ? MoneyText(sum)
                                                   : QString::number(sum, 'g', 15));
    }
    return out;
}

void TReportPages::PaintPage(QPainter& p, int page) const {
    p.save();
    const double pad = m_dpi / 25.4; // 1 mm
    double y = 0;
    p.setPen(QPen(Qt::black, qMax(1.0, m_dpi / 200.0)));
    p.setFont(m_t.TitleFont.toFont());
    const QString title = m_t.Title.isEmpty() ? m_data.Title : m_t.Title;
    p.drawText(QRectF(0, y, m_area.width(), m_titleH), Qt::AlignCenter, title);
    y += m_titleH;
    p.setFont(m_t.BodyFont.toFont());
    p.drawText(QRectF(0, y, m_area.width(), m_lineH), Qt::AlignLeft | Qt::AlignVCenter,
               PageText(m_t.PageHeader, page));
    y += m_lineH;

    // Column header, repeated on every page.
    QStringList titles;
    for (const TReportColumn& c : m_columns)
        titles << c.Title;
    p.setFont(m_t.HeaderFont.toFont());
    const double headTop = y;
    for (int i = 0; i < titles.size();) {
        const qsizetype dot = titles[i].indexOf(QLatin1Char('.'));
        if (dot < 0 || m_headRows == 1) {
            const QRectF r(m_x[i], headTop, m_x[i + 1] - m_x[i], m_headRows * m_headRowH);
            p.drawRect(r);
            p.drawText(r.adjusted(pad, 0, -pad, 0), Qt::AlignCenter, titles[i]);
            ++i;
            continue;
        }
        const QString parent = titles[i].left(dot);
        int j = i;
        while (j < titles.size() && titles[j].indexOf(QLatin1Char('.')) >= 0 &&
               titles[j].left(titles[j].indexOf(QLatin1Char('.'))) == parent) {
            const QRectF r(m_x[j], headTop + m_headRowH, m_x[j + 1] - m_x[j], m_headRowH);
            p.drawRect(r);
            p.drawText(r.adjusted(pad, 0, -pad, 0), Qt::AlignCenter,
                       titles[j].mid(titles[j].indexOf(QLatin1Char('.')) + 1));
            ++j;
        }
        const QRectF r(m_x[i], headTop, m_x[j] - m_x[i], m_headRowH);
        p.drawRect(r);
        p.drawText(r, Qt::AlignCenter, parent);
        i = j;
    }
    y = headTop + m_headRows * m_headRowH;

    p.setFont(m_t.BodyFont.toFont());
    const qint64 first = qint64(page) * m_rowsPerPage;
    const qint64 end = qMin<qint64>(first + m_rowsPerPage, qint64(m_data.Rows.size()));
    auto alignOf = [&](size_t i) -> Qt::Alignment {
        if (m_columns[i].Align) return m_columns[i].Align | Qt::AlignVCenter;
        const int dc = m_dataCol[i];
        if (dc >= 0 && m_data.Columns[dc].Kind == TReportDataKind::rdBoolean)
            return Qt::AlignHCenter | Qt::AlignVCenter;
        const bool num = dc >= 0 && isNumeric(m_data.Columns[dc].Kind);
        return (num ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter;
    };
    for (qint64 r = first; r < end; ++r) {
        const QStringList& row = m_data.Rows[size_t(r)];
        for (size_t i = 0; i < m_columns.size(); ++i) {
            const QRectF cell(m_x[i], y, m_x[i + 1] - m_x[i], m_rowH);
            p.drawRect(cell);
            const int dc = m_dataCol[i];
            QString text = dc >= 0 ? row.value(dc) : QString();
            if (dc >= 0 && m_data.Columns[dc].Kind == TReportDataKind::rdMoney) {
                bool ok = false;
                const double v = numberOf(text, &ok);
                if (ok) text = MoneyText(v);
            }
            p.drawText(cell.adjusted(pad, 0, -pad, 0), alignOf(i) | Qt::TextSingleLine, text);
        }
        y += m_rowH;
    }
    if (m_hasTotals && page == m_pageCount - 1) {
        const QStringList totals = Totals();
        QFont bold = m_t.BodyFont.toFont();
        bold.setBold(true);
        p.setFont(bold);
        for (size_t i = 0; i < m_columns.size(); ++i) {
            const QRectF cell(m_x[i], y, m_x[i + 1] - m_x[i], m_rowH);
            p.drawRect(cell);
            const QString text = i == 0 && totals[0].isEmpty() ? m_t.TotalCaption : totals[int(i)];
            p.drawText(cell.adjusted(pad, 0, -pad, 0),
                       i == 0 && totals[0].isEmpty() ? Qt::AlignCenter : alignOf(i), text);
        }
        p.setFont(m_t.BodyFont.toFont());
    }
    p.drawText(QRectF(0, m_area.height() - m_lineH, m_area.width(), m_lineH), Qt::AlignCenter,
               PageText(m_t.PageFooter, page));
    p.restore();
}

} // namespace lnq
