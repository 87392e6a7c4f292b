#pragma once
// TLNQFileTree: a tree of folders and files on disk for picking a file (a
// backup to restore) or a folder (where to write one).
//
// - Mode ftFilesAndFolders shows folders and files, ftFoldersOnly folders
//   alone. FileFilter ("*.bak", "*.dat", letter case ignored) keeps the
//   files whose names match and hides the others; folders always show.
// - RootPath limits the tree to one folder ("" is the whole file system; a
//   folder that does not exist gives its nearest existing parent).
// - SelectedPath is the current item's full path; SelectPath makes an
//   existing item under the root current, opening its folders.
// - pathSelected follows the current item; pathActivated is Enter or a
//   double click on a file, or on a folder in ftFoldersOnly mode (the
//   folder is the choice there). Elsewhere a folder opens and closes.
// - Only the name column shows unless ShowDetails; the tree never renames,
//   moves or deletes anything.
// Folders are read in the background: a folder's entries appear once the
// model has loaded it (Model()'s directoryLoaded).

#include <QStringList>
#include <QTreeView>

class QFileSystemModel;

namespace lnq {

enum TFileTreeMode { ftFilesAndFolders, ftFoldersOnly };

class TLNQFileTree : public QTreeView {
    Q_OBJECT
public:
    explicit TLNQFileTree(QWidget* parent = nullptr);
    ~TLNQFileTree() override;

    QString RootPath() const { return m_rootPath; }
    void SetRootPath(const QString& path);
    TFileTreeMode Mode() const { return m_mode; }
    void SetMode(TFileTreeMode mode);
    QStringList FileFilter() const { return m_fileFilter; }
    void SetFileFilter(const QStringList& patterns);
    // A filter as file dialogs write it: "备份文件 (*.bak *.dat)" or
    // "*.bak;*.dat"; "" or "*" or "*.*" shows every file.
    void SetFilterText(const QString& filter);
    bool ShowHidden() const { return m_showHidden; }
    void SetShowHidden(bool on);
    bool ShowDetails() const { return m_showDetails; }
    void SetShowDetails(bool on);

    QString SelectedPath() const;
    bool SelectPath(const QString& path);
    bool IsFolder(const QModelIndex& index) const;

    QFileSystemModel* Model() const { return m_model; }

Q_SIGNALS:
    void pathSelected(const QString& path);
    void pathActivated(const QString& path);

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void applyFilter();
    void applyColumns();
    void activate(const QModelIndex& index);

    QFileSystemModel* m_model = nullptr; // child of the tree
    QString m_rootPath;
    TFileTreeMode m_mode = ftFilesAndFolders;
    QStringList m_fileFilter;
    bool m_showHidden = false;
    bool m_showDetails = false;
};

} // namespace lnq
