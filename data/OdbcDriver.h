#pragma once
// SQL Server through Qt's QODBC driver (unixODBC + FreeTDS). SQL text is sent
// as written: the server speaks the framework's dialect.
//
// Which row a posted change writes: a select of one table learns that
// table's primary key from the server's catalog (SQLPrimaryKeys) when it is
// opened. When the select holds every key column, the change finds its row
// by the key values as read; otherwise by all the values as read (every
// comparable column is a criterion; text, ntext, image and xml columns cannot be
// compared and are left out). The server has no row identity the select
// could carry unseen, as the embedded driver's rowid is. Each change runs in
// a savepoint (its own transaction when none is open) and is undone and
// refused when it met no row ("无法为更新定位行...") or more than one
// ("键列信息不足或不正确。更新影响到多行。"), so identical rows are never
// written together.

#include "data/DbDriver.h"

#include <QHash>
#include <QSqlDatabase>
#include <QStringList>

namespace lnq {

class TOdbcDriver : public TDbDriver {
public:
    // Opens the ODBC connection string; EDatabaseError with the driver's
    // message on failure.
    TOdbcDriver(const QString& odbcConnectionString, int loginTimeoutSeconds);
    ~TOdbcDriver() override;

    void OpenDataSet(const QString& sql, TDataSet& target) override;
    void Execute(const QString& sql) override;
    bool ReturnsRows(const QString& sql) override;
    TUpdateResult ApplyUpdate(const TUpdateRequest& request) override;
    void BeginTransaction(int level) override;
    void CommitTransaction(int level) override;
    void RollbackTransaction(int level) override;
    bool TransactionActive() override;
    QStringList TableNames() override;

private:
    QSqlDatabase Db() const;
    QStringList PrimaryKey(const QString& table);
    TUpdateResult ApplyInSavepoint(const TUpdateRequest& request);

    QString m_name; // QSqlDatabase connection name, unique per driver
    int m_level = 0;
    // Primary key columns of the tables opened selects came from (case-folded
    // table name), as the catalog gave them at the last open.
    QHash<QString, QStringList> m_keys;
};

// The table of a single-table SELECT ("select ... from T [where|order|group ...]"),
// "" when the text joins, unions or selects from no table. Brackets and a
// "dbo." owner are removed.
QString SingleTableOfSelect(const QString& sql);

// ODBC SQL data type code (QSqlField::typeID) with its precision and scale to a
// field type; MONEY and SMALLMONEY arrive as DECIMAL(19,4) / DECIMAL(10,4).
TFieldType FieldTypeFromOdbc(int odbcType, int precision, int scale);

} // namespace lnq
