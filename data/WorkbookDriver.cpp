#include "data/WorkbookDriver.h"

#include "data/SqliteDriver.h"
#include "data/TsqlDialect.h"
#include "util/Exceptions.h"

#include <QSet>
#include <algorithm>
#include <array>
#include <cmath>
#include <sqlite3.h>

namespace lnq {

namespace {

using Kind = TWorkbookCell::Kind;

QString quoteIdent(const QString& name) {
    QString n = name;
    n.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + n + QLatin1Char('"');
}

QString numberText(double v) {
    if (std::floor(v) == v && std::fabs(v) < 1e15) return QString::number(qint64(v));
    return QString::number(v, 'g', 15);
}

QString dateText(double v) {
    if (v >= 0 && v < 1) return SqliteDateTimeText(v, TFieldType::ftTime);
    if (std::floor(v) == v) return SqliteDateTimeText(v, TFieldType::ftDate);
    return SqliteDateTimeText(v, TFieldType::ftDateTime);
}

// The value as text; a null QString for error values.
QString cellText(const TWorkbookCell& c) {
    switch (c.kind) {
    case Kind::Text:
        return c.text;
    case Kind::Number:
        return numberText(c.number);
    case Kind::DateTime:
        return dateText(c.number);
    case Kind::Boolean:
        return c.number != 0 ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    case Kind::Error:
        break;
    }
    return {};
}

struct Column {
    QString name;
    Kind kind = Kind::Text;
    bool memo = false;
    bool textOfAll = false; // a mixed column read as text: every value as its text
};

QList<Column> sheetColumns(const TWorksheet& sheet, const TWorkbookOptions& options) {
    QList<Column> columns(sheet.colCount);
    QSet<QString> taken; // names compare without case, as in the database
    auto cell = sheet.cells.cbegin();
    const auto end = sheet.cells.cend();
    QList<QString> headerNames(sheet.colCount);
    if (options.header) {
        for (; cell != end && cell->row == 0; ++cell)
            headerNames[cell->col] = cellText(*cell).trimmed().replace(QLatin1Char('.'), QLatin1Char('#'));
    }
    for (int c = 0; c < sheet.colCount; ++c) {
        QString name =
            headerNames[c].isEmpty() ? QStringLiteral("F") + QString::number(c + 1) : headerNames[c];
        if (taken.contains(name.toLower())) {
            int n = 1;
            while (taken.contains((name + QString::number(n)).toLower()))
                ++n;
            name += QString::number(n);
        }
        taken.insert(name.toLower());
        columns[c].name = name;
    }
    // Kinds of the data cells per column.
    std::vector<std::array<qint64, 5>> counts(size_t(sheet.colCount), std::array<qint64, 5>{});
    std::vector<bool> longText(size_t(sheet.colCount), false);
    for (; cell != end; ++cell) {
        counts[size_t(cell->col)][size_t(cell->kind)]++;
        if (cell->kind == Kind::Text && cell->text.size() > 255) longText[size_t(cell->col)] = true;
    }
    for (int c = 0; c < sheet.colCount; ++c) {
        const auto& n = counts[size_t(c)];
        int kinds = 0;
        Kind best = Kind::Text;
        qint64 bestCount = 0;
        for (Kind k : {Kind::Text, Kind::Number, Kind::DateTime, Kind::Boolean}) {
            const qint64 count = n[size_t(k)];
            if (count == 0) continue;
            ++kinds;
            if (count > bestCount) {
                best = k;
                bestCount = count;
            }
        }
        if (kinds > 1 && options.mixedAsText) best = Kind::Text;
        columns[c].kind = best;
        columns[c].textOfAll = kinds > 1 && options.mixedAsText;
        columns[c].memo = best == Kind::Text && longText[size_t(c)];
    }
    return columns;
}

QString declaredType(const Column& c) {
    switch (c.kind) {
    case Kind::Number:
        return QStringLiteral("FLOAT");
    case Kind::DateTime:
        return QStringLiteral("DATETIME");
    case Kind::Boolean:
        return QStringLiteral("BIT");
    default:
        break;
    }
    return c.memo ? QStringLiteral("NTEXT COLLATE ZH_CI") : QStringLiteral("NVARCHAR(255) COLLATE ZH_CI");
}

class Statement {
public:
    Statement(sqlite3* db, const QString& sql) {
        if (sqlite3_prepare_v2(db, sql.toUtf8().constData(), -1, &m_stmt, nullptr) != SQLITE_OK)
            throw EDatabaseError(DatabaseErrorText(db));
    }
    ~Statement() { sqlite3_finalize(m_stmt); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    sqlite3_stmt* get() const { return m_stmt; }

private:
    sqlite3_stmt* m_stmt = nullptr;
};

void exec(sqlite3* db, const QString& sql) {
    char* err = nullptr;
    if (sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
        const QString msg = QString::fromUtf8(err ? err : "");
        sqlite3_free(err);
        throw EDatabaseError(msg);
    }
}

void bindCell(sqlite3_stmt* stmt, int index, const Column& column, const TWorkbookCell& cell) {
    if (cell.kind == Kind::Error) return;
    if (column.kind == Kind::Text && (column.textOfAll || cell.kind == Kind::Text)) {
        const QByteArray text = cellText(cell).toUtf8();
        sqlite3_bind_text(stmt, index, text.constData(), int(text.size()), SQLITE_TRANSIENT);
        return;
    }
    if (cell.kind != column.kind) return; // the minority of a mixed column reads as NULL
    switch (column.kind) {
    case Kind::Number:
        sqlite3_bind_double(stmt, index, cell.number);
        break;
    case Kind::Boolean:
        sqlite3_bind_int(stmt, index, cell.number != 0 ? 1 : 0);
        break;
    case Kind::DateTime: {
        const QByteArray text = SqliteDateTimeText(cell.number, TFieldType::ftDateTime).toUtf8();
        sqlite3_bind_text(stmt, index, text.constData(), int(text.size()), SQLITE_TRANSIENT);
        break;
    }
    default:
        break;
    }
}

} // namespace

TWorkbookDriver::TWorkbookDriver(const QString& file, const TWorkbookOptions& options,
                                 const TWorkbookLimits& limits)
    : m_book(ReadWorkbookFile(file, limits)), m_options(options), m_limits(limits) {
    Load();
}

TWorkbookDriver::TWorkbookDriver(TWorkbook book, const TWorkbookOptions& options,
                                 const TWorkbookLimits& limits)
    : m_book(std::move(book)), m_options(options), m_limits(limits) {
    Load();
}

TWorkbookDriver::~TWorkbookDriver() = default;

void TWorkbookDriver::Load() {
    m_db = std::make_unique<TSqliteDriver>(QStringLiteral(":memory:"));
    sqlite3* db = m_db->Handle();
    exec(db, QStringLiteral("BEGIN"));
    QSet<QString> tableKeys;
    for (const TWorksheet& sheet : std::as_const(m_book.sheets)) {
        const QString table = sheet.name + QLatin1Char('$');
        // Sheet names are unique in a workbook, but a damaged one may repeat
        // a name: the first sheet keeps it.
        if (tableKeys.contains(table.toLower())) continue;
        tableKeys.insert(table.toLower());
        CreateTable(table, sheet);
        // A name with blanks or punctuation is listed in single quotes,
        // "'My Sheet$'", and answers to both spellings.
        const bool plain = std::all_of(sheet.name.cbegin(), sheet.name.cend(),
                                       [](QChar c) { return c.isLetterOrNumber() || c == u'_'; });
        if (plain) {
            m_tables << table;
        } else {
            const QString quoted = QLatin1Char('\'') + table + QLatin1Char('\'');
            m_tables << quoted;
            if (!tableKeys.contains(quoted.toLower())) {
                tableKeys.insert(quoted.toLower());
                exec(db, QStringLiteral("CREATE VIEW ") + quoteIdent(quoted) +
                             QStringLiteral(" AS SELECT * FROM ") + quoteIdent(table));
            }
        }
    }
    exec(db, QStringLiteral("COMMIT"));
    // From here on the database refuses every change, whatever the statement.
    exec(db, QStringLiteral("PRAGMA query_only = 1"));
    m_db->SetObserver([this](const QString& text) { Notify(text); });
}

void TWorkbookDriver::CreateTable(const QString& table, const TWorksheet& sheet) {
    sqlite3* db = m_db->Handle();
    const QList<Column> columns = sheetColumns(sheet, m_options);
    if (columns.isEmpty()) {
        // An empty sheet still is a table: one text column F1 without rows.
        exec(db, QStringLiteral("CREATE TABLE ") + quoteIdent(table) +
                     QStringLiteral(" (\"F1\" NVARCHAR(255) COLLATE ZH_CI)"));
        return;
    }
    QString create = QStringLiteral("CREATE TABLE ") + quoteIdent(table) + QStringLiteral(" (");
    QString insert = QStringLiteral("INSERT INTO ") + quoteIdent(table) + QStringLiteral(" VALUES (");
    for (int c = 0; c < columns.size(); ++c) {
        if (c > 0) {
            create += QStringLiteral(", ");
            insert += QStringLiteral(", ");
        }
        create += quoteIdent(columns[c].name) + QLatin1Char(' ') + declaredType(columns[c]);
        insert += QLatin1Char('?');
    }
    exec(db, create + QLatin1Char(')'));
    Statement stmt(db, insert + QLatin1Char(')'));
    auto cell = sheet.cells.cbegin();
    const auto end = sheet.cells.cend();
    const int firstRow = m_options.header ? 1 : 0;
    while (cell != end && cell->row < firstRow)
        ++cell;
    for (int r = firstRow; r < sheet.rowCount; ++r) {
        sqlite3_reset(stmt.get());
        sqlite3_clear_bindings(stmt.get());
        for (; cell != end && cell->row == r; ++cell)
            bindCell(stmt.get(), cell->col + 1, columns[cell->col], *cell);
        if (sqlite3_step(stmt.get()) != SQLITE_DONE) throw EDatabaseError(DatabaseErrorText(db));
    }
}

void TWorkbookDriver::AddRangeTables(const QString& sql) {
    // Bracketed names outside string literals.
    const qsizetype n = sql.size();
    for (qsizetype i = 0; i < n; ++i) {
        if (sql[i] == u'\'') {
            for (++i; i < n && sql[i] != u'\''; ++i) {
            }
            continue;
        }
        if (sql[i] != u'[') continue;
        QString name;
        for (++i; i < n; ++i) {
            if (sql[i] == u']') {
                if (i + 1 < n && sql[i + 1] == u']') {
                    name += u']';
                    ++i;
                    continue;
                }
                break;
            }
            name += sql[i];
        }
        const qsizetype dollar = name.lastIndexOf(u'$');
        if (dollar <= 0 || dollar == name.size() - 1) continue;
        int row1 = 0, col1 = 0, row2 = 0, col2 = 0;
        if (!ParseWorkbookRange(name.mid(dollar + 1), row1, col1, row2, col2)) continue;
        const QString sheetName = name.left(dollar);
        const TWorksheet* sheet = nullptr;
        for (const TWorksheet& s : std::as_const(m_book.sheets))
            if (s.name.compare(sheetName, Qt::CaseInsensitive) == 0) {
                sheet = &s;
                break;
            }
        if (!sheet || m_db->TableNames().contains(name, Qt::CaseInsensitive)) continue;
        const TWorksheet range = WorksheetRange(*sheet, row1, col1, row2, col2, m_limits);
        sqlite3* db = m_db->Handle();
        // The one change the database takes after loading: a table for a range.
        exec(db, QStringLiteral("PRAGMA query_only = 0"));
        try {
            exec(db, QStringLiteral("SAVEPOINT range_table"));
            CreateTable(name, range);
            exec(db, QStringLiteral("RELEASE range_table"));
        } catch (...) {
            sqlite3_exec(db, "ROLLBACK TO range_table; RELEASE range_table; PRAGMA query_only = 1", nullptr,
                         nullptr, nullptr);
            throw;
        }
        exec(db, QStringLiteral("PRAGMA query_only = 1"));
    }
}

namespace {
// The database was made query-only after loading, so it refuses any change
// itself, in whatever statement; the refusal is reported in the terms of a
// read-only source.
template <typename F> void readOnly(F&& work) {
    try {
        work();
    } catch (const EDatabaseError& e) {
        if (e.Message().contains(QLatin1String("readonly database")))
            throw EDatabaseError(WorkbookReadOnlyMessage());
        throw;
    }
}
} // namespace

void TWorkbookDriver::OpenDataSet(const QString& sql, TDataSet& target) {
    AddRangeTables(sql);
    readOnly([&] { m_db->OpenDataSet(sql, target); });
}

void TWorkbookDriver::Execute(const QString& sql) {
    AddRangeTables(sql);
    readOnly([&] { m_db->Execute(sql); });
}

bool TWorkbookDriver::ReturnsRows(const QString& sql) {
    AddRangeTables(sql);
    return m_db->ReturnsRows(sql);
}

TUpdateResult TWorkbookDriver::ApplyUpdate(const TUpdateRequest&) {
    throw EDatabaseError(WorkbookReadOnlyMessage());
}

void TWorkbookDriver::BeginTransaction(int level) {
    m_db->BeginTransaction(level);
}

void TWorkbookDriver::CommitTransaction(int level) {
    m_db->CommitTransaction(level);
}

void TWorkbookDriver::RollbackTransaction(int level) {
    m_db->RollbackTransaction(level);
}

bool TWorkbookDriver::TransactionActive() {
    return m_db->TransactionActive();
}

QStringList TWorkbookDriver::TableNames() {
    // One per worksheet, in the workbook's order.
    return m_tables;
}

} // namespace lnq
