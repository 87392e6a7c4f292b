#include "util/Ctrl_LNQFileTree.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QKeyEvent>
#include <QRegularExpression>

namespace lnq {

TLNQFileTree::TLNQFileTree(QWidget* parent) : QTreeView(parent) {
    m_model = new QFileSystemModel(this);
    m_model->setReadOnly(true);
    m_model->setNameFilterDisables(false); // files that do not match are hidden, not greyed
    applyFilter();
    setModel(m_model);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setSortingEnabled(true);
    sortByColumn(0, Qt::AscendingOrder);
    setUniformRowHeights(true);
    SetRootPath(QString());
    applyColumns();
    connect(this, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        if (index.isValid() && (!IsFolder(index) || m_mode == ftFoldersOnly))
            Q_EMIT pathActivated(m_model->filePath(index));
    });
}

TLNQFileTree::~TLNQFileTree() = default;

void TLNQFileTree::SetRootPath(const QString& path) {
    m_rootPath = path.isEmpty() ? QString() : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    // A folder that is gone (a backup disk not plugged in) shows its nearest
    // existing parent rather than the whole file system.
    while (!m_rootPath.isEmpty() && !QFileInfo(m_rootPath).isDir()) {
        const QString up = QFileInfo(m_rootPath).path();
        if (up == m_rootPath) break;
        m_rootPath = up;
    }
    const QModelIndex root = m_model->setRootPath(m_rootPath);
    setRootIndex(m_rootPath.isEmpty() ? QModelIndex() : root);
}

void TLNQFileTree::SetMode(TFileTreeMode mode) {
    m_mode = mode;
    applyFilter();
}

void TLNQFileTree::SetFileFilter(const QStringList& patterns) {
    m_fileFilter.clear();
    for (const QString& p : patterns) {
        const QString t = p.trimmed();
        if (t.isEmpty()) continue;
        if (t == QLatin1String("*") || t == QLatin1String("*.*")) {
            m_fileFilter.clear(); // every file
            break;
        }
        m_fileFilter << t;
    }
    applyFilter();
}

void TLNQFileTree::SetFilterText(const QString& filter) {
    // The patterns are the part in brackets when there is one.
    QString patterns = filter;
    const qsizetype open = filter.lastIndexOf(u'(');
    const qsizetype close = filter.lastIndexOf(u')');
    if (open >= 0 && close > open) patterns = filter.mid(open + 1, close - open - 1);
    static const QRegularExpression separators(QStringLiteral("[;\\s,]+"));
    SetFileFilter(patterns.split(separators, Qt::SkipEmptyParts));
}

void TLNQFileTree::SetShowHidden(bool on) {
    m_showHidden = on;
    applyFilter();
}

void TLNQFileTree::SetShowDetails(bool on) {
    m_showDetails = on;
    applyColumns();
}

void TLNQFileTree::applyFilter() {
    QDir::Filters f = QDir::AllDirs | QDir::Drives | QDir::NoDotAndDotDot;
    if (m_mode == ftFilesAndFolders) f |= QDir::Files;
    if (m_showHidden) f |= QDir::Hidden;
    m_model->setFilter(f);
    m_model->setNameFilters(m_mode == ftFilesAndFolders ? m_fileFilter : QStringList());
}

void TLNQFileTree::applyColumns() {
    for (int c = 1; c < m_model->columnCount(); ++c)
        setColumnHidden(c, !m_showDetails);
    header()->setVisible(m_showDetails);
}

bool TLNQFileTree::IsFolder(const QModelIndex& index) const {
    return index.isValid() && m_model->isDir(index);
}

QString TLNQFileTree::SelectedPath() const {
    const QModelIndex i = currentIndex();
    return i.isValid() ? m_model->filePath(i) : QString();
}

bool TLNQFileTree::SelectPath(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) return false;
    const QString full = QDir::cleanPath(info.absoluteFilePath());
    if (!m_rootPath.isEmpty() && full != m_rootPath && !full.startsWith(m_rootPath + QLatin1Char('/')) &&
        m_rootPath != QLatin1String("/"))
        return false;
    if (full == m_rootPath) return false; // the root is no row of the tree
    if (m_mode == ftFoldersOnly && !info.isDir()) return false;
    const QModelIndex index = m_model->index(full);
    if (!index.isValid()) return false;
    for (QModelIndex p = index.parent(); p.isValid() && p != rootIndex(); p = p.parent())
        expand(p);
    // The view may have made the row current on its own (first row on
    // focus): the choice is announced all the same.
    if (currentIndex() == index)
        Q_EMIT pathSelected(m_model->filePath(index));
    else
        setCurrentIndex(index);
    scrollTo(index);
    return true;
}

void TLNQFileTree::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QTreeView::currentChanged(current, previous);
    if (current.isValid()) Q_EMIT pathSelected(m_model->filePath(current));
}

void TLNQFileTree::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        activate(currentIndex());
        event->accept();
        return;
    }
    QTreeView::keyPressEvent(event);
}

void TLNQFileTree::activate(const QModelIndex& index) {
    if (!index.isValid()) return;
    if (IsFolder(index) && m_mode == ftFilesAndFolders) {
        setExpanded(index, !isExpanded(index));
        return;
    }
    Q_EMIT pathActivated(m_model->filePath(index));
}

} // namespace lnq
