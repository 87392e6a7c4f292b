#include "data/Backrestoresqldb.h"
#include "data/TsqlFunctions.h"

#include "data/ADOConnection.h"
#include "data/ConnectionString.h"
#include "data/Plat_adodatabasese.h"
#include "util/Exceptions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <cstdio>
#include <sqlite3.h>

namespace lnq {

namespace {

QString quoted(const QString& text) {
    return TInterfacedADOConnection::QuotedStr(text);
}

QString utf8(const char* s) {
    return s ? QString::fromUtf8(s) : QString();
}

// One SQLite handle, closed in every case.
class SqliteHandle {
public:
    SqliteHandle(const QString& file, int flags) {
        const QByteArray path = QFile::encodeName(file);
        const int rc = sqlite3_open_v2(path.constData(), &m_db, flags, nullptr);
        if (rc != SQLITE_OK) {
            const QString msg = m_db ? utf8(sqlite3_errmsg(m_db)) : utf8(sqlite3_errstr(rc));
            sqlite3_close(m_db);
            m_db = nullptr;
            throw EDatabaseError(msg + QStringLiteral(": ") + file);
        }
        sqlite3_extended_result_codes(m_db, 1);
        sqlite3_busy_timeout(m_db, 10000);
        // Text columns and their indexes are declared with the framework's
        // collation: the integrity check and any statement need it.
        tsql::registerTextCollation(m_db);
        // Reading the schema tells a database from any other file. A throwing
        // constructor runs no destructor: close the handle here.
        try {
            exec("SELECT count(*) FROM sqlite_master", file);
        } catch (...) {
            sqlite3_close(m_db);
            m_db = nullptr;
            throw;
        }
    }
    ~SqliteHandle() { sqlite3_close(m_db); }
    SqliteHandle(const SqliteHandle&) = delete;
    SqliteHandle& operator=(const SqliteHandle&) = delete;

    sqlite3* get() const { return m_db; }
    void exec(const char* sql, const QString& file) {
        char* err = nullptr;
        if (sqlite3_exec(m_db, sql, nullptr, nullptr, &err) != SQLITE_OK) {
            const QString msg = utf8(err);
            sqlite3_free(err);
            throw EDatabaseError(msg + QStringLiteral(": ") + file);
        }
    }

private:
    sqlite3* m_db = nullptr;
};

bool looksLikeDatabase(const QString& file) {
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly)) return false;
    // An empty file is an empty database to SQLite.
    if (f.size() == 0) return true;
    return f.read(16) == QByteArray("SQLite format 3\0", 16);
}

void removeCompanions(const QString& file) {
    for (const char* suffix : {"-wal", "-shm", "-journal"})
        QFile::remove(file + QLatin1String(suffix));
}

// Renames over an existing file in one step.
void replaceFile(const QString& from, const QString& to) {
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0)
        throw EInOutError(QStringLiteral("无法替换文件: ") + to);
}

QString withSeparator(const QString& dir) {
    if (dir.endsWith(QLatin1Char('\\')) || dir.endsWith(QLatin1Char('/'))) return dir;
    return dir + QLatin1Char('/');
}

// A temporary file beside target, removed unless handed over.
std::unique_ptr<QTemporaryFile> tempBeside(const QString& target) {
    const QFileInfo info(target);
    auto tmp = std::make_unique<QTemporaryFile>(
        info.absoluteDir().filePath(info.fileName() + QStringLiteral(".XXXXXX.tmp")));
    if (!tmp->open()) throw EInOutError(QStringLiteral("无法创建临时文件: ") + info.absolutePath());
    tmp->close();
    return tmp;
}

} // namespace

// ---------------------------------------------------------------- executor

void TADOBackRestoreExecutor::Connect(const QString& connStr) {
    TADOConnection c;
    c.SetConnectionString(connStr);
    c.Open();
}

void TADOBackRestoreExecutor::Execute(const QString& connStr, const QStringList& statements) {
    TADOConnection c;
    c.SetConnectionString(connStr);
    for (const QString& sql : statements)
        c.Execute(sql);
}

void TADOBackRestoreExecutor::Open(const QString& connStr, const QString& sql, TDataSet& target) {
    TADOConnection c;
    c.SetConnectionString(connStr);
    c.OpenDataSet(sql, target);
}

// ---------------------------------------------------------------- component

TLNQBackRestoreSQLDB::TLNQBackRestoreSQLDB(QObject* parent)
    : QObject(parent), m_executor(std::make_unique<TADOBackRestoreExecutor>()) {}

TLNQBackRestoreSQLDB::~TLNQBackRestoreSQLDB() = default;

void TLNQBackRestoreSQLDB::SetFileNameRestoreTarget(const QString& v) {
    m_fileNameRestoreTarget = v;
    if (!v.endsWith(QLatin1Char('\\')) && !v.endsWith(QLatin1Char('/')))
        m_fileNameRestoreTarget += QLatin1Char('\\');
}

void TLNQBackRestoreSQLDB::SetDBSetupDirValue(int v) {
    m_setupDir = v >= 0 && v <= 3 ? static_cast<TDBSetupDir>(v) : TDBSetupDir::dirBackup;
}

void TLNQBackRestoreSQLDB::SetExecutor(std::unique_ptr<TBackRestoreExecutor> executor) {
    m_executor = executor ? std::move(executor) : std::make_unique<TADOBackRestoreExecutor>();
}

bool TLNQBackRestoreSQLDB::fail(const QString& message) {
    m_lastError = message;
    return false;
}

QString TLNQBackRestoreSQLDB::GetConnStr() const {
    return QStringLiteral(" Provider=SQLOLEDB; Password=") + m_password + QStringLiteral(";") +
           QStringLiteral(" User ID=") + m_user + QStringLiteral(";") +
           QStringLiteral(" Data Source=(local);") + QStringLiteral(" Initial Catalog=Master");
}

QString TLNQBackRestoreSQLDB::repl_substr(const QString& find, const QString& replace,
                                          const QString& source) {
    if (find.isEmpty()) return source;
    if (replace.contains(find)) {
        QString s = source;
        s.replace(find, replace);
        return s;
    }
    // The text is fed character by character into out, which never holds an
    // occurrence; the first occurrence of the whole text is then the first
    // one out comes to end with. Its replacement goes back in front of the
    // rest of the input, where it may complete a new occurrence. Each step
    // costs the length of find, so the work is linear in what is fed.
    std::vector<QChar> input(source.crbegin(), source.crend()); // next character last
    QString out;
    out.reserve(source.size());
    // A rewriting that keeps producing occurrences would never end: it stops
    // with an error once the fed text has grown far beyond the source.
    const qsizetype budget = (source.size() + 16) * (replace.size() + 2) * 8;
    qsizetype fed = 0;
    while (!input.empty()) {
        out += input.back();
        input.pop_back();
        if (++fed > budget) throw EConvertError(QStringLiteral("文本替换不能结束: ") + find);
        if (out.endsWith(find)) {
            out.chop(find.size());
            input.insert(input.end(), replace.crbegin(), replace.crend());
        }
    }
    return out;
}

QString TLNQBackRestoreSQLDB::MasterConnStr(const QString& connStr) {
    static const QString key = QStringLiteral("Initial Catalog=");
    const qsizetype at = connStr.indexOf(key, 0, Qt::CaseInsensitive);
    if (at < 0) return connStr + QStringLiteral("; Initial Catalog=master");
    const qsizetype start = at + key.size();
    qsizetype end = connStr.indexOf(QLatin1Char(';'), start);
    if (end < 0) end = connStr.size();
    const QString current = connStr.mid(at, end - at);
    return repl_substr(current, key + QStringLiteral("master"), connStr);
}

// ---------------------------------------------------------------- logical names

bool TLNQBackRestoreSQLDB::GetDBLogicalName(const QString& connStr, const QString& database, QString& name,
                                            const QString& kind) {
    if (IsEmbedded()) {
        const QString base = QFileInfo(EmbeddedDatabaseFile(database)).completeBaseName();
        name = kind == QLatin1String("D") ? base : base + QStringLiteral("_Log");
        return true;
    }
    const QString usage =
        kind == QLatin1String("D") ? QStringLiteral("data only") : QStringLiteral("log only");
    TADODataSet ds;
    m_executor->Open(
        connStr,
        QStringLiteral(" USE [") + database + QStringLiteral("]") + QStringLiteral(" EXEC sp_helpfile"), ds);
    for (ds.First(); !ds.Eof(); ds.Next())
        if (ds.FieldByName(QStringLiteral("usage")).AsString().trimmed() == usage) {
            name = ds.FieldByName(QStringLiteral("name")).AsString().trimmed();
            return true;
        }
    return false;
}

bool TLNQBackRestoreSQLDB::GetBKLogicalName(const QString& connStr, const QString& file, QString& name,
                                            const QString& kind) {
    if (IsEmbedded()) {
        const QString base = m_databaseName.isEmpty()
                                 ? QFileInfo(file).completeBaseName()
                                 : QFileInfo(EmbeddedDatabaseFile(m_databaseName)).completeBaseName();
        name = kind == QLatin1String("D") ? base : base + QStringLiteral("_Log");
        return true;
    }
    TADODataSet ds;
    m_executor->Open(connStr, QStringLiteral(" RESTORE FILELISTONLY  FROM DISK=") + quoted(file), ds);
    for (ds.First(); !ds.Eof(); ds.Next())
        if (ds.FieldByName(QStringLiteral("Type")).AsString().trimmed() == kind) {
            name = ds.FieldByName(QStringLiteral("LogicalName")).AsString().trimmed();
            return true;
        }
    return false;
}

QString TLNQBackRestoreSQLDB::GetMasterFileName(const QString& connStr) {
    if (IsEmbedded()) return QFileInfo(m_embeddedFile).absoluteFilePath();
    TADODataSet ds;
    m_executor->Open(MasterConnStr(connStr), QStringLiteral(" EXEC sp_helpfile "), ds);
    ds.First();
    if (ds.Eof()) return QString();
    return ds.FieldByName(QStringLiteral("filename")).AsString().trimmed();
}

QString TLNQBackRestoreSQLDB::RestoreTargetDir(const QString& connStr) {
    if (IsEmbedded()) {
        switch (m_setupDir) {
        case TDBSetupDir::dirApp:
            return withSeparator(QCoreApplication::applicationDirPath());
        case TDBSetupDir::dirCustom: {
            // The property ends a directory with "\"; a file system path
            // here ends with "/".
            QString dir = m_fileNameRestoreTarget;
            if (dir.endsWith(QLatin1Char('\\'))) dir.chop(1);
            return withSeparator(dir.isEmpty() ? QStringLiteral(".") : dir);
        }
        case TDBSetupDir::dirBackup:
        case TDBSetupDir::dirMaster:
            break;
        }
        return withSeparator(QFileInfo(m_embeddedFile).absolutePath());
    }
    const QString master = GetMasterFileName(connStr);
    const qsizetype cut =
        std::max(master.lastIndexOf(QLatin1Char('\\')), master.lastIndexOf(QLatin1Char('/')));
    QString dir = master.left(cut + 1);
    switch (m_setupDir) {
    case TDBSetupDir::dirApp:
        dir = withSeparator(QCoreApplication::applicationDirPath());
        break;
    case TDBSetupDir::dirCustom:
        dir = m_fileNameRestoreTarget;
        break;
    case TDBSetupDir::dirBackup:
    case TDBSetupDir::dirMaster:
        break;
    }
    return dir;
}

// ---------------------------------------------------------------- backup

bool TLNQBackRestoreSQLDB::BackupDB() {
    if (IsEmbedded()) return backupEmbedded();
    return BackupSQLDataBase(GetConnStr(), m_databaseName, m_fileNameBackup);
}

bool TLNQBackRestoreSQLDB::BackupSQLDataBase(const QString& connStr, const QString& database,
                                             const QString& file) {
    try {
        m_executor->Execute(connStr,
                            {QStringLiteral("backup database ") + database + QStringLiteral(" to disk = ") +
                             QStringLiteral("'") + file + QStringLiteral("' with format")});
        return true;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

bool TLNQBackRestoreSQLDB::backupEmbedded() {
    try {
        const QString source = EmbeddedDatabaseFile(m_databaseName);
        if (!QFileInfo::exists(source)) throw EDatabaseError(QStringLiteral("数据库不存在: ") + source);
        if (m_fileNameBackup.isEmpty()) throw EInOutError(QStringLiteral("没有指定备份文件"));
        OnlineCopy(source, m_fileNameBackup);
        return true;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

void TLNQBackRestoreSQLDB::OnlineCopy(const QString& source, const QString& dest) {
    const QFileInfo src(source);
    const QFileInfo dst(dest);
    if (dst.exists() && src.canonicalFilePath() == dst.canonicalFilePath())
        throw EInOutError(QStringLiteral("备份文件不能是数据库本身: ") + dest);
    if (!looksLikeDatabase(source)) throw EDatabaseError(QStringLiteral("不是数据库文件: ") + source);
    SqliteHandle from(source, SQLITE_OPEN_READONLY);
    std::unique_ptr<QTemporaryFile> tmp = tempBeside(dest);
    {
        SqliteHandle to(tmp->fileName(), SQLITE_OPEN_READWRITE);
        sqlite3_backup* b = sqlite3_backup_init(to.get(), "main", from.get(), "main");
        if (!b) throw EDatabaseError(utf8(sqlite3_errmsg(to.get())) + QStringLiteral(": ") + dest);
        // All pages in one step: the source's read lock is held throughout,
        // so the copy is one committed state. A writer holding the lock right
        // now makes the step wait and try again.
        int rc = SQLITE_OK;
        for (int attempt = 0; attempt < 400; ++attempt) {
            rc = sqlite3_backup_step(b, -1);
            if (rc != SQLITE_BUSY && rc != SQLITE_LOCKED) break;
            sqlite3_sleep(25);
        }
        sqlite3_backup_finish(b);
        if (rc != SQLITE_DONE) throw EDatabaseError(utf8(sqlite3_errstr(rc)) + QStringLiteral(": ") + source);
        const int fin = sqlite3_errcode(to.get());
        if (fin != SQLITE_OK)
            throw EDatabaseError(utf8(sqlite3_errmsg(to.get())) + QStringLiteral(": ") + dest);
    }
    replaceFile(tmp->fileName(), dst.absoluteFilePath());
    tmp->setAutoRemove(false);
    removeCompanions(dst.absoluteFilePath());
}

QString TLNQBackRestoreSQLDB::IntegrityCheck(const QString& file) {
    if (!QFileInfo(file).isFile()) return QStringLiteral("文件不存在: ") + file;
    if (!looksLikeDatabase(file)) return QStringLiteral("不是数据库文件: ") + file;
    try {
        SqliteHandle db(file, SQLITE_OPEN_READONLY);
        sqlite3_stmt* st = nullptr;
        if (sqlite3_prepare_v2(db.get(), "PRAGMA integrity_check(100)", -1, &st, nullptr) != SQLITE_OK)
            return utf8(sqlite3_errmsg(db.get()));
        QStringList rows;
        int rc;
        while ((rc = sqlite3_step(st)) == SQLITE_ROW)
            rows << utf8(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
        if (rc != SQLITE_DONE) rows << utf8(sqlite3_errmsg(db.get()));
        sqlite3_finalize(st);
        if (rows == QStringList{QStringLiteral("ok")}) return QString();
        return rows.join(QLatin1Char('\n'));
    } catch (const Exception& e) {
        return e.Message();
    }
}

// ---------------------------------------------------------------- restore

bool TLNQBackRestoreSQLDB::RestoreDB() {
    if (IsEmbedded()) return restoreEmbedded(m_databaseName, m_fileNameRestore);
    return RestoreSQLDataBase(GetConnStr(), m_databaseName, m_fileNameRestore);
}

bool TLNQBackRestoreSQLDB::RestoreSQLDataBase(const QString& connStr, const QString& database,
                                              const QString& file) {
    if (IsEmbedded()) return restoreEmbedded(database, file);
    try {
        const QString master = MasterConnStr(connStr);
        QString dataName;
        QString logName;
        GetBKLogicalName(master, file, dataName, QStringLiteral("D"));
        GetBKLogicalName(master, file, logName, QStringLiteral("L"));
        const QString dir = RestoreTargetDir(master);
        const QString sql = QStringLiteral(" RESTORE DATABASE [") + database + QStringLiteral("]") +
                            QStringLiteral(" FROM DISK = ") + quoted(file) +
                            QStringLiteral(" WITH RECOVERY, REPLACE ") + QStringLiteral(",MOVE ") +
                            quoted(dataName) + QStringLiteral("   TO ") +
                            quoted(dir + database + QStringLiteral("_Data.mdf")) + QStringLiteral(",") +
                            QStringLiteral(" MOVE ") + quoted(logName) + QStringLiteral("   TO ") +
                            quoted(dir + database + QStringLiteral("_Log.ldf"));
        m_executor->Execute(master, {sql});
    } catch (const Exception& e) {
        return fail(e.Message());
    }
    if (m_autoCorrect) return UpdateDBLogicalName(connStr, database);
    return true;
}

bool TLNQBackRestoreSQLDB::restoreEmbedded(const QString& database, const QString& file) {
    try {
        if (database.trimmed().isEmpty()) throw EDatabaseError(QStringLiteral("没有指定数据库名"));
        const QString target = QFileInfo(EmbeddedDatabaseFile(database)).absoluteFilePath();
        if (!QFileInfo(target).absoluteDir().exists())
            throw EInOutError(QStringLiteral("目录不存在: ") + QFileInfo(target).absolutePath());
        if (!QFileInfo(file).isFile()) throw EInOutError(QStringLiteral("备份文件不存在: ") + file);
        if (!looksLikeDatabase(file)) throw EDatabaseError(QStringLiteral("备份文件不是数据库: ") + file);

        // The backup goes to a temporary file beside the target first; the
        // target is touched only by the final rename.
        std::unique_ptr<QTemporaryFile> tmp = tempBeside(target);
        {
            const QString damaged = QStringLiteral("备份文件已损坏: ") + file + QLatin1Char('\n');
            std::unique_ptr<SqliteHandle> from;
            try {
                from = std::make_unique<SqliteHandle>(file, SQLITE_OPEN_READONLY);
            } catch (const EDatabaseError& e) {
                throw EDatabaseError(damaged + e.Message());
            }
            SqliteHandle to(tmp->fileName(), SQLITE_OPEN_READWRITE);
            sqlite3_backup* b = sqlite3_backup_init(to.get(), "main", from->get(), "main");
            if (!b) throw EDatabaseError(utf8(sqlite3_errmsg(to.get())) + QStringLiteral(": ") + file);
            const int rc = sqlite3_backup_step(b, -1);
            sqlite3_backup_finish(b);
            if ((rc & 0xff) == SQLITE_CORRUPT || (rc & 0xff) == SQLITE_NOTADB)
                throw EDatabaseError(damaged + utf8(sqlite3_errstr(rc)));
            if (rc != SQLITE_DONE)
                throw EDatabaseError(utf8(sqlite3_errstr(rc)) + QStringLiteral(": ") + file);
            // The copy leaves no journal of its own behind.
            to.exec("PRAGMA journal_mode=DELETE", tmp->fileName());
        }
        if (OnRestoreStep) OnRestoreStep(QStringLiteral("copy"));
        const QString problems = IntegrityCheck(tmp->fileName());
        if (!problems.isEmpty())
            throw EDatabaseError(QStringLiteral("备份文件已损坏: ") + file + QLatin1Char('\n') + problems);
        if (OnRestoreStep) OnRestoreStep(QStringLiteral("check"));

        if (QFileInfo::exists(target)) {
            // Whatever the existing database still holds in a write-ahead log
            // or a hot journal is settled now, so that no stale companion file
            // is applied to the restored one.
            SqliteHandle old(target, SQLITE_OPEN_READWRITE);
            old.exec("PRAGMA wal_checkpoint(TRUNCATE)", target);
        }
        replaceFile(tmp->fileName(), target);
        tmp->setAutoRemove(false);
        removeCompanions(target);
    } catch (const Exception& e) {
        return fail(e.Message());
    } catch (const std::exception& e) {
        return fail(QString::fromUtf8(e.what()));
    }
    if (m_autoCorrect) return UpdateDBLogicalName(GetConnStr(), database);
    return true;
}

bool TLNQBackRestoreSQLDB::UpdateDBLogicalName(const QString& connStr, const QString& database) {
    // An embedded database has its name in its file name only.
    if (IsEmbedded()) return true;
    try {
        QString dataName;
        QString logName;
        GetDBLogicalName(connStr, database, dataName, QStringLiteral("D"));
        GetDBLogicalName(connStr, database, logName, QStringLiteral("L"));
        m_executor->Execute(MasterConnStr(connStr),
                            {QStringLiteral(" Use master ALTER DATABASE [") + database +
                             QStringLiteral("] MODIFY FILE") + QStringLiteral(" (NAME = ") + dataName +
                             QStringLiteral(", NEWNAME = [") + database + QStringLiteral("_Data])") +
                             QStringLiteral(" ALTER DATABASE [") + database +
                             QStringLiteral("] MODIFY FILE") + QStringLiteral(" (NAME = ") + logName +
                             QStringLiteral(", NEWNAME = [") + database + QStringLiteral("_Log])")});
        return true;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

// ---------------------------------------------------------------- helpers

QString TLNQBackRestoreSQLDB::EmbeddedDatabaseFile(const QString& name) {
    if (name.isEmpty()) return m_embeddedFile;
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\'))) return name;
    return RestoreTargetDir(QString()) + name + QStringLiteral(".db");
}

bool TLNQBackRestoreSQLDB::DeleteDataBase(const QString& name) {
    try {
        if (IsEmbedded()) {
            const QString file = QFileInfo(EmbeddedDatabaseFile(name)).absoluteFilePath();
            if (name.isEmpty() || file == QFileInfo(m_embeddedFile).absoluteFilePath())
                throw EDatabaseError(QStringLiteral("无法删除当前数据库: ") + file);
            if (!QFileInfo::exists(file)) return true;
            if (!looksLikeDatabase(file)) throw EDatabaseError(QStringLiteral("不是数据库文件: ") + file);
            if (!QFile::remove(file)) throw EInOutError(QStringLiteral("无法删除文件: ") + file);
            removeCompanions(file);
            return true;
        }
        m_executor->Execute(
            GetConnStr(),
            {QStringLiteral(" IF EXISTS (SELECT name FROM master.dbo.sysdatabases WHERE name = N") +
             quoted(name) + QStringLiteral(")") + QStringLiteral("  DROP DATABASE [") + name +
             QStringLiteral("]")});
        return true;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

bool TLNQBackRestoreSQLDB::CheckDataBase(const QString& name) {
    try {
        if (IsEmbedded()) {
            const QString file = EmbeddedDatabaseFile(name);
            return QFileInfo(file).isFile() && looksLikeDatabase(file);
        }
        TADODataSet ds;
        m_executor->Open(
            GetConnStr(),
            QStringLiteral(" USE Master SELECT name FROM master.dbo.sysdatabases WHERE name = N") +
                quoted(name),
            ds);
        for (ds.First(); !ds.Eof(); ds.Next())
            if (ds.FieldByName(QStringLiteral("name")).AsString() == name) return true;
        return false;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

bool TLNQBackRestoreSQLDB::CheckTableExists(const QString& table) {
    try {
        if (IsEmbedded()) {
            const QString file = EmbeddedDatabaseFile(m_databaseName);
            if (!QFileInfo(file).isFile()) throw EDatabaseError(QStringLiteral("数据库不存在: ") + file);
            SqliteHandle db(file, SQLITE_OPEN_READONLY);
            sqlite3_stmt* st = nullptr;
            if (sqlite3_prepare_v2(db.get(),
                                   "SELECT count(*) FROM sqlite_master WHERE type IN ('table','view') "
                                   "AND name = ?1 COLLATE NOCASE",
                                   -1, &st, nullptr) != SQLITE_OK)
                throw EDatabaseError(utf8(sqlite3_errmsg(db.get())));
            const QByteArray t = table.toUtf8();
            sqlite3_bind_text(st, 1, t.constData(), static_cast<int>(t.size()), SQLITE_TRANSIENT);
            const bool found = sqlite3_step(st) == SQLITE_ROW && sqlite3_column_int(st, 0) > 0;
            sqlite3_finalize(st);
            return found;
        }
        TADODataSet ds;
        m_executor->Open(
            GetConnStr(),
            QStringLiteral(" select * from [") + m_databaseName + QStringLiteral("].dbo.sysobjects ") +
                QStringLiteral(" where id = object_id(N'[dbo].[") + table + QStringLiteral("]') "),
            ds);
        return ds.RecordCount() > 0;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

namespace {
// The embedded database's own connection, refused when the file is missing
// (the driver would create an empty one).
void openEmbedded(TADOConnection& c, const QString& file) {
    if (!QFileInfo(file).isFile()) throw EDatabaseError(QStringLiteral("数据库不存在: ") + file);
    QString p = file;
    p.replace(QLatin1Char('"'), QLatin1String("\"\""));
    c.SetConnectionString(QStringLiteral("Provider=SQLite;Data Source=\"") + p + QLatin1Char('"'));
    c.Open();
}
} // namespace

void TLNQBackRestoreSQLDB::ExcuteSQLNonQuery(const QString& sql) {
    try {
        if (IsEmbedded()) {
            TADOConnection c;
            openEmbedded(c, EmbeddedDatabaseFile(m_databaseName));
            c.Execute(sql);
            return;
        }
        m_executor->Execute(GetConnStr(), {QStringLiteral("USE  [") + m_databaseName + QStringLiteral("]") +
                                           QStringLiteral(" ") + sql});
    } catch (const Exception& e) {
        m_lastError = e.Message();
        throw;
    }
}

std::unique_ptr<TADOQuery> TLNQBackRestoreSQLDB::ExcuteSQLQuery(const QString& sql) {
    auto q = std::make_unique<TADOQuery>();
    try {
        if (IsEmbedded()) {
            // The query keeps its connection as a child: it stays live
            // (requery, posting) for as long as the caller holds it.
            auto* c = new TADOConnection(q.get());
            openEmbedded(*c, EmbeddedDatabaseFile(m_databaseName));
            q->SetConnection(c);
            q->SetCommandText(sql);
            q->Open();
        } else {
            m_executor->Open(GetConnStr(),
                             QStringLiteral(" USE [") + m_databaseName + QStringLiteral("] ") + sql, *q);
        }
    } catch (const Exception& e) {
        m_lastError = e.Message();
        throw;
    }
    return q;
}

void TLNQBackRestoreSQLDB::UpdateValue(const QString& table, const QString& keyField, const QString& keyValue,
                                       const QString& valueField, const QString& value) {
    const QString del = QStringLiteral(" DELETE ") + table + QStringLiteral(" WHERE ") + keyField +
                        QStringLiteral("=") + quoted(keyValue);
    const QString ins = QStringLiteral(" INSERT INTO ") + table + QStringLiteral("(") + keyField +
                        QStringLiteral(", ") + valueField + QStringLiteral(")") + QStringLiteral(" VALUES(") +
                        quoted(keyValue) + QStringLiteral(",") + quoted(value) + QStringLiteral(")");
    replaceRow(del, ins);
}

void TLNQBackRestoreSQLDB::UpdateOption(const QString& table, const QString& key, const QString& value) {
    const QString del = QStringLiteral(" DELETE ") + table + QStringLiteral(" WHERE vKeyName=") + quoted(key);
    const QString ins = QStringLiteral(" INSERT INTO ") + table +
                        QStringLiteral("(vKeyName, vKeyValue, vUserID)") + QStringLiteral(" VALUES(") +
                        quoted(key) + QStringLiteral(",") + quoted(value) + QStringLiteral(", '默认')");
    replaceRow(del, ins);
}

void TLNQBackRestoreSQLDB::replaceRow(const QString& del, const QString& ins) {
    try {
        if (IsEmbedded()) {
            // Both statements or neither: a failed insert keeps the old row.
            TADOConnection c;
            openEmbedded(c, EmbeddedDatabaseFile(m_databaseName));
            c.BeginTrans();
            try {
                c.Execute(del);
                c.Execute(ins);
            } catch (...) {
                c.RollbackTrans();
                throw;
            }
            c.CommitTrans();
            return;
        }
        m_executor->Execute(GetConnStr(),
                            {QStringLiteral("USE [") + m_databaseName + QStringLiteral("]") + del, ins});
    } catch (const Exception& e) {
        m_lastError = e.Message();
        throw;
    }
}

void TLNQBackRestoreSQLDB::RunSQL(QString& sql) {
    try {
        if (IsEmbedded()) {
            TADOConnection c;
            openEmbedded(c, EmbeddedDatabaseFile(m_databaseName));
            c.Execute(sql);
            return;
        }
        m_executor->Execute(GetConnStr(), {sql});
    } catch (const Exception& e) {
        m_lastError = e.Message();
        throw;
    }
}

bool TLNQBackRestoreSQLDB::TestConn(const QString& connStr) {
    try {
        if (IsEmbedded()) {
            TADOConnection c;
            openEmbedded(c, connStr.isEmpty() ? m_embeddedFile : ResolveConnectionString(connStr).file);
            return true;
        }
        m_executor->Connect(connStr);
        return true;
    } catch (const Exception& e) {
        return fail(e.Message());
    }
}

} // namespace lnq
