#pragma once
// SQL Server through Qt's QODBC driver (unixODBC + FreeTDS). SQL text is sent
// as written: the server speaks the framework's dialect.

#include "data/DbDriver.h"

#include <QSqlDatabase>

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

private:
    QSqlDatabase Db() const;
    QStringList PrimaryKey(const QString& table);

    QString m_name; // QSqlDatabase connection name, unique per driver
    int m_level = 0;
};

// The table of a single-table SELECT ("select ... from T [where|order|group ...]"),
// "" when the text joins, unions or selects from no table. Brackets and a
// "dbo." owner are removed.
QString SingleTableOfSelect(const QString& sql);

// ODBC SQL data type code (QSqlField::typeID) with its precision and scale to a
// field type; MONEY and SMALLMONEY arrive as DECIMAL(19,4) / DECIMAL(10,4).
TFieldType FieldTypeFromOdbc(int odbcType, int precision, int scale);

} // namespace lnq
