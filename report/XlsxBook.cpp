#include "report/XlsxBook.h"

#include "util/Exceptions.h"

#include <QDate>
#include <QDateTime>
#include <QFile>
#include <xlsxwriter.h>

namespace lnq {

namespace {
// Spreadsheet serial days count from 1899-12-30, as the framework's dates do.
double serialOf(const QDateTime& dt) {
    const QDate epoch(1899, 12, 30);
    return double(epoch.daysTo(dt.date())) + dt.time().msecsSinceStartOfDay() / 86400000.0;
}
} // namespace

struct TXlsxBook::Private {
    lxw_workbook* book = nullptr;
    lxw_worksheet* sheet = nullptr;
    lxw_format* title = nullptr;
    lxw_format* head = nullptr;
    lxw_format* money = nullptr;
    lxw_format* date = nullptr;
    lxw_format* dateTime = nullptr;
    std::vector<TReportDataKind> kinds;
    QByteArray fileName;
    QByteArray scratch;
    bool closed = false;
};

TXlsxBook::TXlsxBook(const QString& fileName) : d(std::make_unique<Private>()) {
    d->fileName = QFile::encodeName(fileName);
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    d->book = workbook_new_opt(d->fileName.constData(), &options);
    if (!d->book) throw EInOutError(QStringLiteral("无法创建文件 %1").arg(fileName));
    d->sheet = workbook_add_worksheet(d->book, nullptr);
    d->title = workbook_add_format(d->book);
    format_set_bold(d->title);
    format_set_font_size(d->title, 14);
    format_set_align(d->title, LXW_ALIGN_CENTER);
    format_set_align(d->title, LXW_ALIGN_VERTICAL_CENTER);
    d->head = workbook_add_format(d->book);
    format_set_bold(d->head);
    format_set_align(d->head, LXW_ALIGN_CENTER);
    format_set_align(d->head, LXW_ALIGN_VERTICAL_CENTER);
    format_set_border(d->head, LXW_BORDER_THIN);
    d->money = workbook_add_format(d->book);
    format_set_num_format(d->money, "#,##0.00");
    d->date = workbook_add_format(d->book);
    format_set_num_format(d->date, "yyyy-mm-dd");
    d->dateTime = workbook_add_format(d->book);
    format_set_num_format(d->dateTime, "yyyy-mm-dd hh:mm:ss");
}

TXlsxBook::~TXlsxBook() {
    if (d->book && !d->closed) workbook_close(d->book);
}

std::vector<TXlsxBook::HeadCell> TXlsxBook::HeadCells(const QStringList& titles, bool* twoLevel) {
    std::vector<HeadCell> cells;
    bool two = false;
    for (const QString& t : titles)
        if (t.contains(QLatin1Char('.'))) two = true;
    if (twoLevel) *twoLevel = two;
    for (int i = 0; i < titles.size();) {
        const QString& t = titles[i];
        const qsizetype dot = t.indexOf(QLatin1Char('.'));
        if (dot < 0) {
            cells.push_back({t, i, 1, two ? 2 : 1, 0});
            ++i;
            continue;
        }
        const QString parent = t.left(dot);
        int j = i;
        while (j < titles.size()) {
            const qsizetype dj = titles[j].indexOf(QLatin1Char('.'));
            if (dj < 0 || titles[j].left(dj) != parent) break;
            cells.push_back({titles[j].mid(dj + 1), j, 1, 1, 1});
            ++j;
        }
        cells.push_back({parent, i, j - i, 1, 0});
        i = j;
    }
    std::stable_sort(cells.begin(), cells.end(), [](const HeadCell& a, const HeadCell& b) {
        return a.Row != b.Row ? a.Row < b.Row : a.Col < b.Col;
    });
    return cells;
}

void TXlsxBook::WriteHead(const QString& title, const QStringList& titles,
                          const std::vector<TReportDataKind>& kinds, const std::vector<int>& widths) {
    d->kinds = kinds;
    d->kinds.resize(titles.size(), TReportDataKind::rdText);
    const int n = int(titles.size());
    for (int c = 0; c < n && c < int(widths.size()); ++c)
        if (widths[c] > 0)
            worksheet_set_column(d->sheet, lxw_col_t(c), lxw_col_t(c), widths[c] / 7.0, nullptr);
    const int last = qMax(n - 1, 0);
    worksheet_set_row(d->sheet, 0, 24, nullptr);
    const QByteArray t = title.toUtf8();
    worksheet_write_string(d->sheet, 0, 0, t.constData(), d->title);
    for (int c = 1; c <= last; ++c)
        worksheet_write_blank(d->sheet, 0, lxw_col_t(c), d->title);
    // Rows are flushed in order: a merged range is registered while its last
    // row is the one being written (its cells are written before).
    if (last > 0) worksheet_merge_range(d->sheet, 0, 0, 0, lxw_col_t(last), t.constData(), d->title);
    bool two = false;
    const std::vector<HeadCell> cells = HeadCells(titles, &two);
    for (int r = 0; r < (two ? 2 : 1); ++r) {
        for (int c = 0; c < n; ++c)
            worksheet_write_blank(d->sheet, lxw_row_t(1 + r), lxw_col_t(c), d->head);
        for (const HeadCell& cell : cells) {
            if (cell.Row != r) continue;
            const QByteArray u = cell.Text.toUtf8();
            worksheet_write_string(d->sheet, lxw_row_t(1 + r), lxw_col_t(cell.Col), u.constData(), d->head);
        }
        for (const HeadCell& cell : cells) {
            if ((cell.ColSpan == 1 && cell.RowSpan == 1) || cell.Row + cell.RowSpan - 1 != r) continue;
            const QByteArray u = cell.Text.toUtf8();
            worksheet_merge_range(d->sheet, lxw_row_t(1 + cell.Row), lxw_col_t(cell.Col), lxw_row_t(1 + r),
                                  lxw_col_t(cell.Col + cell.ColSpan - 1), u.constData(), d->head);
        }
    }
    m_row = two ? 3 : 2;
}

void TXlsxBook::NextRow() {
    // A sheet holds 1,048,576 rows; further rows would be dropped silently.
    if (m_row >= 1048576)
        throw EInOutError(QStringLiteral("导出的行数超过电子表格的上限（1048576 行）：%1")
                              .arg(QFile::decodeName(d->fileName)));
    ++m_row;
}

void TXlsxBook::WriteNull(int) {}

void TXlsxBook::WriteUtf8(int col, const char* utf8) {
    worksheet_write_string(d->sheet, lxw_row_t(m_row - 1), lxw_col_t(col), utf8, nullptr);
}

void TXlsxBook::WriteText(int col, const QString& text) {
    d->scratch = text.toUtf8();
    WriteUtf8(col, d->scratch.constData());
}

void TXlsxBook::WriteNumber(int col, double value) {
    lxw_format* f = nullptr;
    switch (col < int(d->kinds.size()) ? d->kinds[col] : TReportDataKind::rdFloat) {
    case TReportDataKind::rdMoney:
        f = d->money;
        break;
    case TReportDataKind::rdDate:
        f = d->date;
        break;
    case TReportDataKind::rdDateTime:
        f = d->dateTime;
        break;
    default:
        break;
    }
    worksheet_write_number(d->sheet, lxw_row_t(m_row - 1), lxw_col_t(col), value, f);
}

void TXlsxBook::WriteBoolean(int col, bool value) {
    WriteUtf8(col, value ? "\xe6\x98\xaf" : "\xe5\x90\xa6"); // 是 / 否
}

void TXlsxBook::WriteValue(int col, const QString& text) {
    if (text.isEmpty()) return;
    bool ok = false;
    switch (col < int(d->kinds.size()) ? d->kinds[col] : TReportDataKind::rdText) {
    case TReportDataKind::rdInteger:
    case TReportDataKind::rdFloat:
    case TReportDataKind::rdMoney: {
        QString plain = text;
        plain.remove(QLatin1Char(','));
        const double v = plain.toDouble(&ok);
        if (ok) return WriteNumber(col, v);
        break;
    }
    case TReportDataKind::rdDate:
    case TReportDataKind::rdDateTime: {
        QDateTime dt = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        if (!dt.isValid()) dt = QDateTime(QDate::fromString(text, QStringLiteral("yyyy-MM-dd")), QTime(0, 0));
        if (dt.isValid()) return WriteNumber(col, serialOf(dt));
        break;
    }
    default:
        break;
    }
    WriteText(col, text);
}

void TXlsxBook::Close() {
    if (d->closed) return;
    d->closed = true;
    const lxw_error e = workbook_close(d->book);
    if (e != LXW_NO_ERROR)
        throw EInOutError(QStringLiteral("无法写入文件 %1：%2")
                              .arg(QFile::decodeName(d->fileName), QString::fromUtf8(lxw_strerror(e))));
}

} // namespace lnq
