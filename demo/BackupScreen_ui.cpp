#include "demo/BackupScreen_ui.h"

#include "data/Backrestoresqldb.h"
#include "util/Clock.h"
#include "util/Ctrl_LNQFileTree.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

namespace lnq {

TDemoBackupfm::TDemoBackupfm(const QString& databaseFile, QWidget* parent)
    : QWidget(parent), m_databaseFile(QFileInfo(databaseFile).absoluteFilePath()) {
    setObjectName(QStringLiteral("DemoBackupfm"));
    const QString home = QFileInfo(m_databaseFile).absolutePath();
    auto* outer = new QVBoxLayout(this);
    auto* info = new QLabel(QStringLiteral("当前数据库：") + QDir::toNativeSeparators(m_databaseFile), this);
    info->setObjectName(QStringLiteral("DatabaseLabel"));
    outer->addWidget(info);
    auto* split = new QSplitter(Qt::Horizontal, this);
    split->setObjectName(QStringLiteral("BackupSplitter"));

    auto* left = new QGroupBox(QStringLiteral("备份到文件夹"), split);
    auto* leftLayout = new QVBoxLayout(left);
    m_folders = new TLNQFileTree(left);
    m_folders->setObjectName(QStringLiteral("FolderTree"));
    m_folders->SetMode(ftFoldersOnly);
    m_folders->SetRootPath(QDir::rootPath());
    m_folders->SelectPath(home);
    m_backupFolder = home;
    leftLayout->addWidget(m_folders, 1);
    auto* backupButton = new QPushButton(QStringLiteral("备份"), left);
    backupButton->setObjectName(QStringLiteral("BackupButton"));
    leftLayout->addWidget(backupButton);

    auto* right = new QGroupBox(QStringLiteral("备份文件"), split);
    auto* rightLayout = new QVBoxLayout(right);
    m_backups = new TLNQFileTree(right);
    m_backups->setObjectName(QStringLiteral("BackupTree"));
    m_backups->SetFilterText(QStringLiteral("备份文件 (*.bak *.db)"));
    m_backups->SetRootPath(home);
    rightLayout->addWidget(m_backups, 1);
    auto* nameRow = new QHBoxLayout;
    nameRow->addWidget(new QLabel(QStringLiteral("恢复为数据库："), right));
    m_restoreName = new QLineEdit(QStringLiteral("lnq-demo-restored"), right);
    m_restoreName->setObjectName(QStringLiteral("RestoreNameEdit"));
    nameRow->addWidget(m_restoreName, 1);
    rightLayout->addLayout(nameRow);
    auto* buttons = new QHBoxLayout;
    auto* checkButton = new QPushButton(QStringLiteral("检查"), right);
    checkButton->setObjectName(QStringLiteral("CheckButton"));
    auto* restoreButton = new QPushButton(QStringLiteral("恢复"), right);
    restoreButton->setObjectName(QStringLiteral("RestoreButton"));
    buttons->addStretch(1);
    buttons->addWidget(checkButton);
    buttons->addWidget(restoreButton);
    rightLayout->addLayout(buttons);
    split->addWidget(left);
    split->addWidget(right);
    outer->addWidget(split, 3);

    m_log = new QPlainTextEdit(this);
    m_log->setObjectName(QStringLiteral("BackupLog"));
    m_log->setReadOnly(true);
    outer->addWidget(m_log, 1);

    connect(backupButton, &QPushButton::clicked, this, [this] { Backup(); });
    connect(checkButton, &QPushButton::clicked, this, [this] { CheckBackup(m_backups->SelectedPath()); });
    connect(restoreButton, &QPushButton::clicked, this,
            [this] { Restore(m_backups->SelectedPath(), m_restoreName->text()); });
    connect(m_backups, &TLNQFileTree::pathActivated, this, [this](const QString& p) { CheckBackup(p); });
    // The backups listed are those of the folder chosen on the left.
    // Only the user's own choice moves it: the tree's current item also moves
    // by itself while folders load.
    auto choose = [this](const QString& p) {
        if (!QFileInfo(p).isDir()) return;
        m_backupFolder = p;
        m_backups->SetRootPath(p);
    };
    connect(m_folders, &QAbstractItemView::clicked, this,
            [this, choose](const QModelIndex& index) { choose(m_folders->Model()->filePath(index)); });
    connect(m_folders, &TLNQFileTree::pathActivated, this, choose);
    // Folders load in the background and the tree's current row can drift
    // while they do: once a folder has loaded, the chosen one is current again.
    connect(m_folders->Model(), &QFileSystemModel::directoryLoaded, this, [this] {
        if (QDir::cleanPath(m_folders->SelectedPath()) != QDir::cleanPath(m_backupFolder))
            m_folders->SelectPath(m_backupFolder);
        m_folders->scrollTo(m_folders->currentIndex(), QAbstractItemView::PositionAtCenter);
    });
}

QString TDemoBackupfm::BackupFolder() const {
    return m_backupFolder;
}

void TDemoBackupfm::SetBackupFolder(const QString& folder) {
    m_folders->SelectPath(folder);
    m_backupFolder = QFileInfo(folder).absoluteFilePath();
    m_folders->scrollTo(m_folders->currentIndex(), QAbstractItemView::PositionAtCenter);
    m_backups->SetRootPath(folder);
}

void TDemoBackupfm::log(const QString& line) {
    m_log->appendPlainText(Clock::now().toString(QStringLiteral("HH:mm:ss ")) + line);
}

bool TDemoBackupfm::Backup(QString* file) {
    const QString folder = BackupFolder();
    if (!QFileInfo(folder).isDir()) {
        log(QStringLiteral("请选择一个文件夹"));
        return false;
    }
    const QString target = QDir(folder).filePath(QStringLiteral("lnq-demo-") +
                                                 Clock::now().toString(QStringLiteral("yyyyMMdd-HHmmss")) +
                                                 QStringLiteral(".bak"));
    TLNQBackRestoreSQLDB db;
    db.SetEmbeddedFile(m_databaseFile);
    db.SetFileNameBackup(target);
    if (!db.BackupDB()) {
        log(QStringLiteral("备份失败：") + db.GetLastErrorMsg());
        return false;
    }
    log(QStringLiteral("已备份到 ") + QDir::toNativeSeparators(target));
    m_backups->SetRootPath(folder);
    m_backups->SelectPath(target);
    if (file) *file = target;
    return true;
}

bool TDemoBackupfm::CheckBackup(const QString& file) {
    if (file.isEmpty() || !QFileInfo(file).isFile()) {
        log(QStringLiteral("请选择一个备份文件"));
        return false;
    }
    const QString problem = TLNQBackRestoreSQLDB::IntegrityCheck(file);
    if (!problem.isEmpty()) {
        log(QStringLiteral("检查未通过：") + QDir::toNativeSeparators(file) + QStringLiteral("：") + problem);
        return false;
    }
    log(QStringLiteral("检查通过：") + QDir::toNativeSeparators(file));
    return true;
}

bool TDemoBackupfm::Restore(const QString& file, const QString& name) {
    if (file.isEmpty() || !QFileInfo(file).isFile()) {
        log(QStringLiteral("请选择一个备份文件"));
        return false;
    }
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed.contains(QLatin1Char('/')) || trimmed.contains(QLatin1Char('\\'))) {
        log(QStringLiteral("请输入数据库名（不含路径）"));
        return false;
    }
    TLNQBackRestoreSQLDB db;
    db.SetEmbeddedFile(m_databaseFile);
    db.SetDBSetupDir(TDBSetupDir::dirMaster);
    const QString target = QFileInfo(db.EmbeddedDatabaseFile(trimmed)).absoluteFilePath();
    if (target == m_databaseFile) {
        log(QStringLiteral("不能恢复到正在使用的数据库：") + trimmed);
        return false;
    }
    db.SetDatabaseName(trimmed);
    db.SetFileNameRestore(file);
    if (!db.RestoreDB()) {
        log(QStringLiteral("恢复失败：") + db.GetLastErrorMsg());
        return false;
    }
    log(QStringLiteral("已恢复为 ") + QDir::toNativeSeparators(target));
    return true;
}

} // namespace lnq
