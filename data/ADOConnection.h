#pragma once
// TADOConnection: the framework's database connection, opened from an
// ADO-style connection string. Two drivers sit behind it:
//  - the embedded default, a SQLite file through the SQLite C API, whose SQL
//    goes through the T-SQL dialect layer (data/TsqlDialect.h) so that SQL
//    Server text runs with SQL Server's meaning;
//  - SQL Server through Qt's QODBC driver with FreeTDS; text is sent untouched.
//
// Connection strings:
//  "Provider=SQLOLEDB; Password=…; User ID=…; Data Source=(local); Initial Catalog=…"
//      -> ODBC (FreeTDS) to that server and database;
//  "Provider=SQLite; Data Source=PATH" or a bare file path -> embedded file,
//      created on demand.

#include "data/DataSet.h"

#include <QObject>
#include <QString>
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
    void OpenDataSet(const QString& sql, TDataSet& target);
    // Runs a batch; discards any rows.
    void Execute(const QString& sql);
    // Applies one posted change of a dataset to the database (inside the open
    // transaction when there is one).
    TUpdateResult ApplyUpdate(const TUpdateRequest& request);

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
