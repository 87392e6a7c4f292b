#pragma once
// Translation of parsed T-SQL statements into SQLite SQL with SQL Server's
// meaning. Operand types decide what an operator means ("+" concatenates
// text, adds numbers, adds days to a date-time), so the translator knows the
// declared type of every column it meets: the schema cache reads them from
// SQLite (PRAGMA table_info) once per table and is cleared after DDL.

#include "data/TsqlAst.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace lnq::tsql {

// Value kinds the translator distinguishes.
enum class VT : unsigned char { Unknown, Null, Int, Float, Text, DateTime, Blob };

// Kind of a declared column type ("NVARCHAR(50)", "DATETIME", "MONEY", ...).
VT typeOfDeclared(const QString& declared);

struct ColInfo {
    QString name;
    QString decl; // declared type as the data layer should see it ("INT IDENTITY" for identity keys)
    VT type = VT::Unknown;
    bool identity = false;
};

using ColumnList = std::shared_ptr<const std::vector<ColInfo>>;

struct TableInfo {
    bool exists = false;
    QString name;    // as created
    ColumnList cols; // never null
    bool hasIdentity = false;
    QStringList key;   // primary key columns
    QString rowIdName; // how to name the rowid: "rowid", or "_rowid_" / "oid" when a
                       // column takes "rowid"; "" for views and tables without rowid
};
using TableInfoPtr = std::shared_ptr<const TableInfo>;

class Schema {
public:
    explicit Schema(sqlite3* db);
    ~Schema();
    Schema(const Schema&) = delete;
    Schema& operator=(const Schema&) = delete;

    // Cached per name (case-insensitive); the pointer stays valid after invalidate().
    TableInfoPtr table(const QString& name);
    void invalidate();

private:
    sqlite3* m_db;
    sqlite3_stmt* m_master = nullptr;
    sqlite3_stmt* m_columns = nullptr;
    QHash<QString, TableInfoPtr> m_cache;
    QString m_lastName;
    TableInfoPtr m_last;
};

// One T-SQL statement as SQLite statements to run in order.
struct Translation {
    QStringList statements;
    std::vector<QString> columnTypes; // per result column, for statements returning rows
    QString baseTable;
    bool rowIdAppended = false; // the last result column is the base table's rowid
    bool returnsRows = false;
    bool changesSchema = false;
};

// Statements other than IF and BEGIN...END blocks (the batch runner walks those).
// withRowId appends the rowid of a select's base table when the select's rows
// are rows of that one table and its columns do not hold the whole key.
Translation translateStatement(const Stmt& stmt, Schema& schema, bool withRowId = false);
// "SELECT CASE WHEN cond THEN 1 ELSE 0 END" for an IF condition.
QString translateCondition(const Expr& cond, Schema& schema);

QString quoteIdent(const QString& name);
QString quoteString(const QString& text);

} // namespace lnq::tsql
