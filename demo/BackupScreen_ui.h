#pragma once
// TDemoBackupfm: the backup screen of the demo client, for the embedded
// database in use. On the left a folder tree picks where "备份" writes a
// consistent copy ("lnq-demo-<date>-<time>.bak", taken while the client keeps
// working); on the right a tree of backup files picks one to check ("检查",
// an integrity check of the file) or to restore under a new database name
// into the current database's folder ("恢复"; the database in use itself is
// never replaced). Results go to the log below.

#include <QWidget>

class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace lnq {

class TLNQFileTree;

class TDemoBackupfm : public QWidget {
    Q_OBJECT
public:
    explicit TDemoBackupfm(const QString& databaseFile, QWidget* parent = nullptr);

    TLNQFileTree* FolderTree() const { return m_folders; }
    TLNQFileTree* BackupTree() const { return m_backups; }
    QLineEdit* RestoreNameEdit() const { return m_restoreName; }
    QPlainTextEdit* Log() const { return m_log; }
    QString BackupFolder() const;
    void SetBackupFolder(const QString& folder);

    // The three commands; each returns whether it succeeded and logs the
    // outcome. Backup returns the written file through file.
    bool Backup(QString* file = nullptr);
    bool CheckBackup(const QString& file);
    bool Restore(const QString& file, const QString& name);

private:
    void log(const QString& line);

    QString m_databaseFile;
    // Where backups go: the folder last chosen in the tree or set by the
    // program (the tree's own selection lags while its folders load).
    QString m_backupFolder;
    TLNQFileTree* m_folders = nullptr;
    TLNQFileTree* m_backups = nullptr;
    QLineEdit* m_restoreName = nullptr;
    QPlainTextEdit* m_log = nullptr;
};

} // namespace lnq
