#pragma once
// TLNQBackRestoreSQLDB: backs up and restores a database, renames the logical
// files of a restored database after it, and runs small statements in it.
//
// Two kinds of database:
//  - SQL Server on the local default instance (the default). Every statement
//    is built as text and run on a connection of the component's own, opened
//    from GetConnStr() (or the master catalog) for that one statement, never
//    through IConnection. The texts, blanks included, are what the server's
//    administrators know from the existing clients and are kept as they are,
//    even where a quote in a file name breaks them.
//  - The embedded database, when EmbeddedFile names the current SQLite file.
//    A database is then a file "<name>.db" in the directory DBSetupDir
//    chooses, the current file's folder standing in for the master
//    database's folder (a DatabaseName holding a path is that file itself):
//      * backup copies through SQLite's online backup, so the copy is one
//        consistent state even while other connections write;
//      * restore copies the backup to a temporary file beside the target,
//        checks it with PRAGMA integrity_check and only then renames it over
//        the target in one atomic step: a damaged or unreadable backup, or
//        any failure on the way, leaves an existing database untouched;
//      * a SQLite database has no logical file names: the logical-name
//        readers report the database's file base name for the data kind
//        ("D") and that name + "_Log" for the log kind, which is what a
//        renamed SQL Server database carries, and UpdateDBLogicalName has
//        nothing to rename and succeeds;
//      * the helpers run their statements on the database's file through
//        the framework's own connection, so they are written in SQL Server
//        text as on the server (the "USE [...]" prefix is not sent: the file
//        is the database).
//
// Failures: backup, restore, the logical-name renaming, DeleteDataBase,
// CheckDataBase, CheckTableExists and TestConn catch every error, keep its
// message for GetLastErrorMsg and return false. RunSQL, ExcuteSQLNonQuery,
// ExcuteSQLQuery, UpdateValue and UpdateOption let the database's error
// through as EDatabaseError (also kept for GetLastErrorMsg); so do the
// logical-name readers and GetMasterFileName, which backup and restore call
// inside their own handling. Connections and result sets are released in
// every case.

#include "data/DataSet.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

namespace lnq {

// Where restored data and log files go.
enum class TDBSetupDir { dirBackup = 0, dirMaster = 1, dirApp = 2, dirCustom = 3 };

// How the component reaches SQL Server: one statement on one connection
// opened from a connection string. Tests put a recording one in place.
class TBackRestoreExecutor {
public:
    virtual ~TBackRestoreExecutor() = default;
    // Opens a connection; EDatabaseError when it cannot be opened.
    virtual void Connect(const QString& connStr) = 0;
    // Runs the statements in order on one connection (a "USE" in the first
    // holds for the next ones).
    virtual void Execute(const QString& connStr, const QStringList& statements) = 0;
    // Rows of the statement's result set (EDatabaseError when it has none).
    virtual void Open(const QString& connStr, const QString& sql, TDataSet& target) = 0;
};

// The executor of the component: a TADOConnection per statement.
class TADOBackRestoreExecutor : public TBackRestoreExecutor {
public:
    void Connect(const QString& connStr) override;
    void Execute(const QString& connStr, const QStringList& statements) override;
    void Open(const QString& connStr, const QString& sql, TDataSet& target) override;
};

class TLNQBackRestoreSQLDB : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString DatabaseName READ DatabaseName WRITE SetDatabaseName)
    Q_PROPERTY(QString FileNameBackup READ FileNameBackup WRITE SetFileNameBackup)
    Q_PROPERTY(QString FileNameRestore READ FileNameRestore WRITE SetFileNameRestore)
    Q_PROPERTY(QString FileNameRestoreTarget READ FileNameRestoreTarget WRITE SetFileNameRestoreTarget)
    Q_PROPERTY(QString User READ User WRITE SetUser)
    Q_PROPERTY(QString Password READ Password WRITE SetPassword)
    Q_PROPERTY(int DBSetupDir READ DBSetupDirValue WRITE SetDBSetupDirValue)
    Q_PROPERTY(bool AutoCorrectLogicalName READ AutoCorrectLogicalName WRITE SetAutoCorrectLogicalName)
    Q_PROPERTY(QString EmbeddedFile READ EmbeddedFile WRITE SetEmbeddedFile)
public:
    explicit TLNQBackRestoreSQLDB(QObject* parent = nullptr);
    ~TLNQBackRestoreSQLDB() override;

    // ---- properties
    QString DatabaseName() const { return m_databaseName; }
    void SetDatabaseName(const QString& v) { m_databaseName = v; }
    QString FileNameBackup() const { return m_fileNameBackup; }
    void SetFileNameBackup(const QString& v) { m_fileNameBackup = v; }
    QString FileNameRestore() const { return m_fileNameRestore; }
    void SetFileNameRestore(const QString& v) { m_fileNameRestore = v; }
    QString FileNameRestoreTarget() const { return m_fileNameRestoreTarget; }
    // Keeps the directory with a "\" at its end (not doubled). On the
    // embedded database "/" ends a directory as well.
    void SetFileNameRestoreTarget(const QString& v);
    QString User() const { return m_user; }
    void SetUser(const QString& v) { m_user = v; }
    QString Password() const { return m_password; }
    void SetPassword(const QString& v) { m_password = v; }
    TDBSetupDir DBSetupDir() const { return m_setupDir; }
    void SetDBSetupDir(TDBSetupDir v) { m_setupDir = v; }
    int DBSetupDirValue() const { return static_cast<int>(m_setupDir); }
    void SetDBSetupDirValue(int v); // 0..3; anything else is dirBackup
    bool AutoCorrectLogicalName() const { return m_autoCorrect; }
    void SetAutoCorrectLogicalName(bool v) { m_autoCorrect = v; }
    // The current embedded database file; empty for SQL Server.
    QString EmbeddedFile() const { return m_embeddedFile; }
    void SetEmbeddedFile(const QString& v) { m_embeddedFile = v; }
    bool IsEmbedded() const { return !m_embeddedFile.isEmpty(); }

    // The statement runner for SQL Server (the component's own by default).
    void SetExecutor(std::unique_ptr<TBackRestoreExecutor> executor);

    // ---- connection strings and text
    QString GetConnStr() const;
    // Replaces the first occurrence of find in source until none is left.
    // When replace itself holds find, every occurrence is replaced once
    // (repeating would never end); a rewriting that would grow far beyond
    // the source in another way raises EConvertError. An empty find changes nothing.
    static QString repl_substr(const QString& find, const QString& replace, const QString& source);
    // The connection string pointed at the "master" catalog.
    static QString MasterConnStr(const QString& connStr);

    // ---- backup and restore
    bool BackupDB();
    bool BackupSQLDataBase(const QString& connStr, const QString& database, const QString& file);
    bool RestoreDB();
    bool RestoreSQLDataBase(const QString& connStr, const QString& database, const QString& file);
    // Renames the database's logical files to database + "_Data" / "_Log".
    bool UpdateDBLogicalName(const QString& connStr, const QString& database);

    // Kind "D" is the data file, anything else the log. True when a row of
    // that kind came back (name is left unchanged otherwise).
    bool GetDBLogicalName(const QString& connStr, const QString& database, QString& name,
                          const QString& kind);
    bool GetBKLogicalName(const QString& connStr, const QString& file, QString& name, const QString& kind);
    // The master database's primary file (embedded: the current file).
    QString GetMasterFileName(const QString& connStr);
    // Directory the restored files go to, ending in a separator.
    QString RestoreTargetDir(const QString& connStr);

    // ---- helpers working in DatabaseName
    bool DeleteDataBase(const QString& name);
    bool CheckDataBase(const QString& name);
    bool CheckTableExists(const QString& table);
    void ExcuteSQLNonQuery(const QString& sql);
    // The query with its rows; on the embedded database it keeps its own
    // connection (requery and posting work), on the server it holds the rows
    // as read.
    std::unique_ptr<TADOQuery> ExcuteSQLQuery(const QString& sql);
    void UpdateValue(const QString& table, const QString& keyField, const QString& keyValue,
                     const QString& valueField, const QString& value);
    void UpdateOption(const QString& table, const QString& key, const QString& value);
    void RunSQL(QString& sql);
    // Embedded: connStr is a connection string or path of a database file
    // (empty: the current one), which must exist.
    bool TestConn(const QString& connStr);
    QString GetLastErrorMsg() const { return m_lastError; }

    // ---- embedded database
    // The file of an embedded database: a name with a path is that file, a
    // bare name is "<name>.db" in the restore target directory, an empty name
    // the current file.
    QString EmbeddedDatabaseFile(const QString& name);
    // PRAGMA integrity_check of a database file: empty when it passes, else
    // what the check (or opening the file) reported.
    static QString IntegrityCheck(const QString& file);
    // Copies a database through the online backup into dest (written beside
    // dest and renamed into place). EDatabaseError / EInOutError on failure.
    static void OnlineCopy(const QString& source, const QString& dest);

    // Called at each step of an embedded restore ("copy" when the backup has
    // been copied to the temporary file, "check" when it passed the check,
    // just before the rename); an exception from it aborts the restore like
    // any failure. Lets a caller (or a test) interrupt a restore.
    std::function<void(const QString& step)> OnRestoreStep;

private:
    bool fail(const QString& message);
    bool backupEmbedded();
    bool restoreEmbedded(const QString& database, const QString& file);
    // Runs the delete and the insert that replace one row: in one
    // transaction on the embedded database, in one session on the server.
    void replaceRow(const QString& del, const QString& ins);

    QString m_databaseName;
    QString m_fileNameBackup;
    QString m_fileNameRestore;
    QString m_fileNameRestoreTarget;
    QString m_user;
    QString m_password;
    TDBSetupDir m_setupDir = TDBSetupDir::dirBackup;
    bool m_autoCorrect = false;
    QString m_embeddedFile;
    QString m_lastError;
    std::unique_ptr<TBackRestoreExecutor> m_executor;
};

} // namespace lnq
