#pragma once
// The driver behind a TADOConnection (private to the data folder): the
// embedded SQLite file or SQL Server through ODBC.

#include "data/DataSet.h"

#include <QString>
#include <QStringList>
#include <functional>

namespace lnq {

class TDbDriver {
public:
    // Called with every statement text before it reaches the database (the
    // connection's statement observer); an exception from it aborts the
    // statement like a database error.
    using Observer = std::function<void(const QString& sql)>;

    virtual ~TDbDriver() = default;

    virtual void OpenDataSet(const QString& sql, TDataSet& target) = 0;
    virtual void Execute(const QString& sql) = 0;
    virtual bool ReturnsRows(const QString& sql) = 0;
    virtual TUpdateResult ApplyUpdate(const TUpdateRequest& request) = 0;

    // level is the nesting level being opened / closed (1 = outermost).
    virtual void BeginTransaction(int level) = 0;
    virtual void CommitTransaction(int level) = 0;
    virtual void RollbackTransaction(int level) = 0;
    // Whether the database still has a transaction open (a failed statement
    // may have rolled it back by itself).
    virtual bool TransactionActive() = 0;
    // The user tables of the database, in the database's order.
    virtual QStringList TableNames() = 0;

    void SetObserver(Observer observer) { m_observer = std::move(observer); }

protected:
    void Notify(const QString& sql) {
        if (m_observer) m_observer(sql);
    }

private:
    Observer m_observer;
};

// The message when a posted row no longer matches exactly one database row.
inline QString RowNotLocatedMessage() {
    return QStringLiteral("无法为更新定位行。一些值可能已在最后一次读取后已更改。");
}

} // namespace lnq
