#pragma once
// The embedded database driver: a SQLite file through the SQLite C API.
// Framework SQL (SQL Server text) goes through the T-SQL dialect layer; the
// driver's own statements (posting, transactions) are native SQLite.
//
// Rows are stepped straight into the dataset's typed columns (no per-cell
// QVariant). Date-times are stored as text "yyyy-MM-dd HH:mm:ss[.zzz]", the
// form SQLite's date functions and the dialect layer read.
//
// A select whose rows are rows of one rowid table (no DISTINCT, grouping,
// aggregate or compound select) and whose columns lack the table's primary
// key also loads the rowid, as a hidden column of the dataset; posted changes
// find their row by it, so even rows with identical visible values are told
// apart. Changes are refused when they meet no row or several.

#include "data/DbDriver.h"

#include <memory>

struct sqlite3;

namespace lnq {

class TsqlDialect;

class TSqliteDriver : public TDbDriver {
public:
    // Opens (creating when missing) the file; EDatabaseError with SQLite's
    // message and the path when it cannot be opened or is not a database.
    // ":memory:" opens a private database that lives in memory.
    TSqliteDriver(const QString& file, int busyTimeoutMs = 5000);
    ~TSqliteDriver() override;

    void OpenDataSet(const QString& sql, TDataSet& target) override;
    void Execute(const QString& sql) override;
    bool ReturnsRows(const QString& sql) override;
    TUpdateResult ApplyUpdate(const TUpdateRequest& request) override;
    void BeginTransaction(int level) override;
    void CommitTransaction(int level) override;
    void RollbackTransaction(int level) override;
    bool TransactionActive() override;
    QStringList TableNames() override;

    // A script in SQLite's own dialect (schema files), bypassing translation.
    void ExecuteNative(const QString& sql);
    sqlite3* Handle() const { return m_db; }
    const QString& FileName() const { return m_file; }

private:
    void Exec(const QString& sql, bool notify);
    [[noreturn]] void Fail() const;
    TUpdateResult ApplyInTransaction(const TUpdateRequest& request);

    QString m_file;
    sqlite3* m_db = nullptr;
    std::unique_ptr<TsqlDialect> m_dialect;
};

// Text form of a date-time as this driver stores it: "yyyy-MM-dd" for a date,
// "HH:mm:ss" for a time, else "yyyy-MM-dd HH:mm:ss" (".zzz" when the
// milliseconds are not zero).
QString SqliteDateTimeText(TDateTime value, TFieldType type = TFieldType::ftDateTime);
// Parses "yyyy-MM-dd", "yyyy-MM-dd HH:mm[:ss[.fff]]" (also with "T") and
// "HH:mm[:ss[.fff]]"; false for anything else.
bool ParseSqliteDateTime(const char* text, int length, TDateTime& value);

} // namespace lnq
