#include "data/ADOConnection.h"

#include "data/ConnectionString.h"
#include "data/OdbcDriver.h"
#include "data/SqliteDriver.h"
#include "data/WorkbookDriver.h"
#include "util/Exceptions.h"

namespace lnq {

struct TADOConnection::Private {
    QString connectionString;
    TConnectionInfo info;
    std::unique_ptr<TDbDriver> driver;
    int level = 0;
    StatementObserver observer;
};

TADOConnection::TADOConnection(QObject* parent) : QObject(parent), d(std::make_unique<Private>()) {}

TADOConnection::~TADOConnection() {
    Close();
}

QString TADOConnection::ConnectionString() const {
    // Without "Persist Security Info" the password is not given back once the
    // connection is open.
    if (d->driver && !d->info.persistSecurityInfo && d->info.kind == TConnectionInfo::Kind::SqlServer)
        return StripPassword(d->connectionString);
    return d->connectionString;
}

void TADOConnection::SetConnectionString(const QString& cs) {
    if (cs == d->connectionString) return;
    Close();
    d->connectionString = cs;
}

void TADOConnection::Open() {
    if (d->driver) return;
    d->info = ResolveConnectionString(d->connectionString);
    if (d->info.kind == TConnectionInfo::Kind::Embedded)
        d->driver = std::make_unique<TSqliteDriver>(d->info.file, d->info.busyTimeout);
    else if (d->info.kind == TConnectionInfo::Kind::Workbook)
        d->driver = std::make_unique<TWorkbookDriver>(
            d->info.file, TWorkbookOptions{d->info.workbookHeader, d->info.workbookMixedAsText});
    else
        d->driver = std::make_unique<TOdbcDriver>(d->info.odbc, d->info.loginTimeout);
    d->driver->SetObserver(d->observer);
    d->level = 0;
}

void TADOConnection::Close() {
    // Closing abandons an open transaction, as the database does when the
    // session ends.
    d->driver.reset();
    d->level = 0;
}

bool TADOConnection::Connected() const {
    return d->driver != nullptr;
}

bool TADOConnection::IsEmbedded() const {
    if (d->driver) return d->info.kind == TConnectionInfo::Kind::Embedded;
    try {
        return ResolveConnectionString(d->connectionString).kind == TConnectionInfo::Kind::Embedded;
    } catch (const Exception&) {
        return false;
    }
}

QString TADOConnection::DatabaseFile() const {
    if (d->driver) return d->info.kind == TConnectionInfo::Kind::Embedded ? d->info.file : QString();
    try {
        const TConnectionInfo info = ResolveConnectionString(d->connectionString);
        return info.kind == TConnectionInfo::Kind::Embedded ? info.file : QString();
    } catch (const Exception&) {
        return QString();
    }
}

void TADOConnection::SetStatementObserver(StatementObserver observer) {
    d->observer = std::move(observer);
    if (d->driver) d->driver->SetObserver(d->observer);
}

namespace {
// Runs work on the driver; after a failure the transaction level follows the
// database, which may have ended the transaction by itself.
template <typename F> auto guarded(TDbDriver& driver, int& level, F&& work) -> decltype(work()) {
    try {
        return work();
    } catch (...) {
        if (level > 0 && !driver.TransactionActive()) level = 0;
        throw;
    }
}
} // namespace

void TADOConnection::OpenDataSet(const QString& sql, TDataSet& target) {
    Open();
    guarded(*d->driver, d->level, [&] { d->driver->OpenDataSet(sql, target); });
}

void TADOConnection::Execute(const QString& sql) {
    Open();
    guarded(*d->driver, d->level, [&] { d->driver->Execute(sql); });
}

TUpdateResult TADOConnection::ApplyUpdate(const TUpdateRequest& request) {
    Open();
    return guarded(*d->driver, d->level, [&] { return d->driver->ApplyUpdate(request); });
}

QStringList TADOConnection::GetTableNames() {
    Open();
    return d->driver->TableNames();
}

bool TADOConnection::ReturnsRows(const QString& sql) {
    Open();
    return d->driver->ReturnsRows(sql);
}

void TADOConnection::ExecuteNative(const QString& sql) {
    Open();
    auto* sqlite = dynamic_cast<TSqliteDriver*>(d->driver.get());
    if (!sqlite) throw EDatabaseError(QStringLiteral("只有内嵌数据库能执行 SQLite 脚本"));
    guarded(*d->driver, d->level, [&] { sqlite->ExecuteNative(sql); });
}

int TADOConnection::BeginTrans() {
    Open();
    d->driver->BeginTransaction(d->level + 1);
    return ++d->level;
}

void TADOConnection::CommitTrans() {
    if (!d->driver || d->level == 0) throw EDatabaseError(QStringLiteral("没有活动的事务"));
    guarded(*d->driver, d->level, [&] { d->driver->CommitTransaction(d->level); });
    --d->level;
}

void TADOConnection::RollbackTrans() {
    if (!d->driver || d->level == 0) throw EDatabaseError(QStringLiteral("没有活动的事务"));
    guarded(*d->driver, d->level, [&] { d->driver->RollbackTransaction(d->level); });
    --d->level;
}

bool TADOConnection::InTransaction() const {
    return d->level > 0;
}

int TADOConnection::TransactionLevel() const {
    return d->level;
}

} // namespace lnq
