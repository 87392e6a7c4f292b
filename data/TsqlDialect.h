#pragma once
// The embedded database speaks the framework's SQL Server dialect: T-SQL text
// is tokenized, parsed and translated into SQLite SQL with SQL Server's
// meaning, and the functions SQLite lacks are registered on the connection.
// Anything outside the supported dialect raises ETsqlError naming the construct;
// nothing is passed through with a different meaning.
//
// How SQL Server's meaning is kept:
//  - Operand types are known at translation time (literals, declared column
//    types read with PRAGMA table_info, function result types): "+" becomes
//    "||" for text, "+" for numbers, day arithmetic for date-times, and a text
//    operand meeting a number is converted strictly (lnq_toint: 'a' + 1 fails
//    as in SQL Server). Only operands of unknown type go to lnq_add at run time.
//  - Text comparisons (=, <>, <, IN, BETWEEN, CASE, ORDER BY, GROUP BY,
//    DISTINCT, UNION, MIN/MAX, joins, window partitions) use the framework's
//    one collation (data/Collation.h), registered on the connection as
//    "ZH_CI": trailing blanks ignored, case ignored beyond ASCII (full-width
//    letters too), Chinese in GBK (pinyin) order. Text columns created
//    through this layer are declared COLLATE ZH_CI, so a tool that opens the
//    file must register the same collation (tsql::registerTextCollation) to
//    compare them; SQLite's join Bloom filters, which hash a text's bytes, are
//    switched off on the connection. LIKE and PATINDEX match by the collation's weights as well (lnq_like:
//    %, _, [ ] classes and ranges, ESCAPE; the value's trailing blanks are
//    ignored), in O(text x pattern).
//  - Arithmetic raises the server's errors: integer overflow ("Arithmetic
//    overflow error converting expression to data type bigint."), float
//    overflow, and invalid float operations (SQRT(-1), LOG(0)); so do negative
//    TOP / OFFSET counts, TOP ... PERCENT outside 0-100 and date-times outside
//    1753-9999. Sizes in the text (CHAR(n), DECIMAL(p,s)) are checked against
//    the types' limits before anything is sized from them.
//  - TOP (n) PERCENT (rounded up), DELETE TOP (n) and UPDATE TOP (n) [PERCENT]
//    choose their rows as the server does (in no particular order without ORDER BY).
//  - The output is linear in the input: every operand is rendered once, a
//    unary operator is followed by a blank (no two tokens can merge into a
//    comment), and literals are re-quoted, never spliced.
//  - Date-times are text "yyyy-MM-dd HH:mm:ss" (".zzz" when the milliseconds
//    are not zero); date literals compared with or written into date-time
//    columns are normalised at translation time ('2024-3-5' is midnight).
//    The data layer must store date-times in the same form.
//  - GETDATE() reads lnq::Clock::now() (LNQ_NOW fixes it) once per run of a
//    statement, so every row sees the same moment; DATEDIFF counts
//    boundaries (weeks from Sunday; y / dy is dayofyear, counted in days).
//  - IDENTITY columns become INTEGER PRIMARY KEY AUTOINCREMENT (seed kept in
//    sqlite_sequence) and are reported with the declared type "INT IDENTITY".
//    Other declared types are kept as written (DATETIME, BIT, MONEY,
//    DECIMAL(18,2), NVARCHAR(50), "VARCHAR(MAX)").
//  - Columns of a select that SQL Server leaves unnamed (expressions without
//    alias) are named "" as there.
//  - sysobjects, sys.objects, sys.tables, INFORMATION_SCHEMA.TABLES/COLUMNS,
//    OBJECT_ID and OBJECTPROPERTY read sqlite_master; the dbo. prefix is dropped.
//
// What remains different from SQL Server:
//  - Chinese characters outside GB2312 level 1 follow GBK code order, which
//    is not exactly the server's pinyin order for the rarer characters.
//  - REPLACE and CHARINDEX fold case by Unicode rules, not by the collation.
//  - LIKE is evaluated row by row (no index range for a constant prefix).
//  - Object names (OBJECT_ID, sysobjects) compare ignoring ASCII case only,
//    as SQLite resolves names.
//  - Integers are 64-bit: int overflow at 2^31 is not raised (only bigint's at
//    2^63); string truncation on insert into a shorter varchar is not raised
//    either (SQLite keeps the text).
//  - A database file made before the collation keeps its NOCASE columns: the
//    comparisons still follow the collation, but indexes on those columns do
//    not serve them until the table is made again.
//  - Date-times keep milliseconds exactly rather than rounding them to 1/300 s.
//  - Foreign keys are enforced only when the connection enables them.
//  - Index names are global to the database, not per table.

#include "util/Exceptions.h"

#include <QString>
#include <memory>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace lnq {

class ETsqlError : public EDatabaseError {
public:
    using EDatabaseError::EDatabaseError;
};

// A prepared query of one statement.
struct TsqlPrepared {
    sqlite3_stmt* stmt = nullptr;       // owned by the holder of TsqlPrepared (finalize)
    std::vector<QString> declaredTypes; // per result column: declared or inferred type ("" unknown)
    QString baseTable;                  // the table of a single-table select, "" otherwise
    int rowIdColumn = -1;               // result column holding baseTable's rowid, -1 when none
    ~TsqlPrepared();
    TsqlPrepared() = default;
    TsqlPrepared(TsqlPrepared&&) noexcept;
    TsqlPrepared& operator=(TsqlPrepared&&) noexcept;
    TsqlPrepared(const TsqlPrepared&) = delete;
    TsqlPrepared& operator=(const TsqlPrepared&) = delete;
};

// The connection's last error in the server's words where SQLite's own
// differ (an integer overflow inside SUM), cut short when it quotes a long
// name from the statement.
QString DatabaseErrorText(sqlite3* db);

class TsqlDialect {
public:
    // Registers functions and collations on db (not owned; must outlive this).
    explicit TsqlDialect(sqlite3* db);
    ~TsqlDialect();

    // Exactly one statement that may return rows; a second statement after
    // ";" raises ETsqlError. Translations are cached per SQL text.
    // withRowId: a select whose rows are rows of one rowid table (no
    // DISTINCT, grouping, aggregate, compound select or CTE) and whose
    // columns lack the table's whole primary key gets the rowid as its last
    // result column, named as the table addresses it (RowIdName), so that a
    // change can find exactly the row read.
    TsqlPrepared PrepareQuery(const QString& tsql, bool withRowId = false);
    // A batch, executed statement by statement (IF EXISTS ... / DROP / CREATE /
    // INSERT / UPDATE / DELETE ...), rows discarded.
    void ExecuteBatch(const QString& tsql);
    // The SQLite text of one statement (for tests and diagnostics).
    QString Translate(const QString& tsql);

    // The name table's rowid goes by ("rowid", or "_rowid_" / "oid" when a
    // column takes "rowid"); "" for views, tables without rowid and unknown tables.
    QString RowIdName(const QString& table);

    // Last identity value (@@IDENTITY / SCOPE_IDENTITY()).
    qint64 LastIdentity() const;

    // Entries and characters of SQL held by the translation cache (bounded
    // by entry count and by characters), for diagnostics.
    std::pair<int, qsizetype> CacheUse() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace lnq
