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
//    DISTINCT, UNION, MIN/MAX, joins) use SQLite's NOCASE collation, and text
//    columns created through this layer are declared COLLATE NOCASE, so the
//    file stays readable by any SQLite tool. LIKE is SQLite's (ASCII
//    case-insensitive) unless the pattern has [ ] classes (lnq_like).
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
//  - Trailing blanks are significant in comparisons ('a' = 'a ' is false here).
//  - Case folding of the NOCASE collation and of SQLite's LIKE covers ASCII
//    letters only (full-width and accented letters compare case-sensitively);
//    UPPER/LOWER/REPLACE/CHARINDEX and [ ] patterns fold all of Unicode.
//  - Text sorts by code point, not by the pinyin order of Chinese_PRC.
//  - Integers are 64-bit: int overflow at 2^31 is not raised; string truncation
//    on insert into a shorter varchar is not raised either (SQLite keeps the text).
//  - Date-times keep milliseconds exactly rather than rounding them to 1/300 s.
//  - Foreign keys are enforced only when the connection enables them.
//  - Index names are global to the database, not per table.

#include "util/Exceptions.h"

#include <QString>
#include <memory>
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

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace lnq
