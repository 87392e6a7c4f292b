#pragma once
// TADOConnection: the framework's database connection, opened from a
// connection string of "Name=value" pairs ("Provider=SQLOLEDB;Data Source=...").
// Two drivers sit behind it:
//  - the embedded default, a SQLite file through the SQLite C API, whose SQL
//    goes through the T-SQL dialect layer (data/TsqlDialect.h) so that SQL
//    Server text runs with SQL Server's meaning;
//  - SQL Server through Qt's QODBC driver with FreeTDS; text is sent untouched.
//
// Connection strings:
//  "Provider=SQLOLEDB; Password=…; User ID=…; Data Source=(local); Initial Catalog=…"
//      -> ODBC (FreeTDS) to that server and database;
//  "Provider=SQLite; Data Source=PATH" or a bare file path -> embedded file,
//      created on demand (empty: the schema is the caller's, see
//      data/SampleDatabase.h);
//  "Provider=Microsoft.Jet.OLEDB.4.0;Data Source= 'FILE';Extended Properties=
//      "Excel 8.0;HDR=YES;IMEX=1"" (or the ACE provider, Excel 12.0) -> the
//      workbook FILE (.xls or .xlsx) as a read-only database of one table per
//      sheet, "[Sheet1$]" (data/WorkbookDriver.h).
// The mapping to ODBC (server, port, instance, integrated security, charset)
// is described in data/ConnectionString.h. Without "Persist Security Info=True"
// ConnectionString() no longer shows the password once connected.
//
// Every operation opens the connection when it is closed. Database errors are
// EDatabaseError with the database's own message; after one, the transaction
// level follows the database (a failed statement may have ended the
// transaction). Transactions nest: the outer level is a transaction, inner
// levels are savepoints.

#include "data/DataSet.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

namespace lnq {

class TADOConnection : public QObject {
    Q_OBJECT
public:
    explicit TADOConnection(QObject* parent = nullptr);
    ~TADOConnection() override;

    QString ConnectionString() const;
    void SetConnectionString(const QString& cs);
    void Open(); // EDatabaseError with the driver's message on failure
    void Close();
    bool Connected() const;
    bool IsEmbedded() const; // SQLite driver

    // Runs one statement and loads its rows into target (BeginLoad/EndLoad),
    // field types from the columns' declared types. A second statement after
    // ";" is refused on the embedded driver.
    // A text that returns no result set is executed and then refused with
    // EDatabaseError "CommandText 不返回结果集", so that a caller expecting
    // rows learns at once that the text was a statement.
    virtual void OpenDataSet(const QString& sql, TDataSet& target);
    // Runs a batch; discards any rows.
    virtual void Execute(const QString& sql);
    // Applies one posted change of a dataset to the database (inside the open
    // transaction when there is one): UPDATE / INSERT / DELETE on the base
    // table. The row is found by its rowid when the dataset holds one (the
    // embedded driver loads it as a hidden column for a select of one table
    // that lacks the table's key), else by the primary key columns, else by
    // all the values as read. All statements of one change commit or fail
    // together: a change that meets no row or more than one is undone and
    // refused with EDatabaseError. An insert hands back the new row's rowid
    // and what the database chose (identity, defaults).
    virtual TUpdateResult ApplyUpdate(const TUpdateRequest& request);
    // Whether sql is one statement that produces a result set (the embedded
    // driver prepares it; over ODBC the first keyword decides).
    bool ReturnsRows(const QString& sql);
    // Embedded only: a script in SQLite's own dialect (schema files), not
    // translated. EDatabaseError on the ODBC driver.
    void ExecuteNative(const QString& sql);
    // The user tables (one per sheet, "Sheet1$", for a workbook).
    QStringList GetTableNames();
    // Embedded only: the database file.
    QString DatabaseFile() const;

    // Called with every statement text before it reaches the database, for
    // tracing; an exception it throws aborts that statement like a database
    // error (and is what the caller then sees).
    using StatementObserver = std::function<void(const QString& sql)>;
    void SetStatementObserver(StatementObserver observer);

    int BeginTrans(); // returns the nesting level
    void CommitTrans();
    void RollbackTrans();
    bool InTransaction() const;
    int TransactionLevel() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace lnq
