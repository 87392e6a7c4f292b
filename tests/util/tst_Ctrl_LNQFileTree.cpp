#include "common/TestMain.h"
#include "util/Ctrl_LNQFileTree.h"

#include <QDir>
#include <QFile>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace lnq;

namespace {

// Names under a tree row, sorted (the model sorts in the background).
QStringList names(const TLNQFileTree& tree, const QModelIndex& parent) {
    QStringList out;
    const QAbstractItemModel* m = tree.model();
    for (int r = 0; r < m->rowCount(parent); ++r)
        out << m->index(r, 0, parent).data().toString();
    out.sort();
    return out;
}

// The model lists folders on a thread of its own: a signal may come a moment later.
QString lastPath(const QSignalSpy& spy) {
    return spy.isEmpty() ? QString() : spy.last().first().toString();
}
} // namespace

class TestCtrlLNQFileTree : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString& rel) const { return m_dir.filePath(rel); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("备份/2024")));
        for (const char* f : {"a.bak", "b.txt", "C.BAK", ".hidden.bak", "备份/d.bak", "备份/e.txt"}) {
            QFile file(path(QString::fromUtf8(f)));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
    }

    void modesAndFilters_data() {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<QStringList>("top");
        QTest::addColumn<QStringList>("inFolder");
        QTest::newRow("everything") << int(ftFilesAndFolders) << "" << false
                                    << QStringList{"C.BAK", "a.bak", "b.txt", "备份"}
                                    << QStringList{"2024", "d.bak", "e.txt"};
        QTest::newRow("backups, any case")
            << int(ftFilesAndFolders) << "*.bak" << false << QStringList{"C.BAK", "a.bak", "备份"}
            << QStringList{"2024", "d.bak"};
        QTest::newRow("dialog filter text") << int(ftFilesAndFolders) << "文本 (*.txt)" << false
                                            << QStringList{"b.txt", "备份"} << QStringList{"2024", "e.txt"};
        QTest::newRow("all files pattern")
            << int(ftFilesAndFolders) << "*.bak;*.*" << false
            << QStringList{"C.BAK", "a.bak", "b.txt", "备份"} << QStringList{"2024", "d.bak", "e.txt"};
        QTest::newRow("hidden shown")
            << int(ftFilesAndFolders) << "*.bak" << true
            << QStringList{".hidden.bak", "C.BAK", "a.bak", "备份"} << QStringList{"2024", "d.bak"};
        QTest::newRow("folders only")
            << int(ftFoldersOnly) << "*.bak" << false << QStringList{"备份"} << QStringList{"2024"};
    }
    void modesAndFilters() {
        QFETCH(int, mode);
        QFETCH(QString, filter);
        QFETCH(bool, hidden);
        QFETCH(QStringList, top);
        QFETCH(QStringList, inFolder);
        TLNQFileTree tree;
        tree.SetMode(TFileTreeMode(mode));
        tree.SetFilterText(filter);
        tree.SetShowHidden(hidden);
        tree.SetRootPath(m_dir.path());
        QTRY_COMPARE(names(tree, tree.rootIndex()), top);
        const QModelIndex folder = tree.Model()->index(path(QStringLiteral("备份")));
        tree.expand(folder);
        QTRY_COMPARE(names(tree, folder), inFolder);
        QVERIFY(!tree.header()->isVisible() || tree.ShowDetails());
    }

    void pickingByKeyboardAndMouse() {
        TLNQFileTree tree;
        tree.SetFileFilter({QStringLiteral("*.bak")});
        tree.SetRootPath(m_dir.path());
        tree.resize(300, 300);
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QSignalSpy selected(&tree, &TLNQFileTree::pathSelected);
        QSignalSpy activated(&tree, &TLNQFileTree::pathActivated);
        const QString folder = path(QStringLiteral("备份"));
        const QString backup = path(QStringLiteral("备份/d.bak"));
        QTRY_COMPARE(tree.model()->rowCount(tree.rootIndex()), 3);
        QVERIFY(tree.SelectPath(folder));
        QCOMPARE(tree.SelectedPath(), folder);
        QTRY_COMPARE(lastPath(selected), folder);
        tree.setFocus();
        QTest::keyClick(&tree, Qt::Key_Return); // a folder opens
        QVERIFY(tree.isExpanded(tree.currentIndex()));
        QCOMPARE(activated.count(), 0);
        QTRY_COMPARE(tree.model()->rowCount(tree.currentIndex()), 2);
        QVERIFY(tree.SelectPath(backup));
        QTest::keyClick(&tree, Qt::Key_Return); // a file is the choice
        QCOMPARE(activated.count(), 1);
        QTRY_COMPARE(lastPath(activated), backup);
        const QRect row = tree.visualRect(tree.currentIndex());
        QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, row.center());
        QTest::mouseDClick(tree.viewport(), Qt::LeftButton, {}, row.center());
        QCOMPARE(activated.count(), 2);
        // Outside the root, missing, or a file in folder mode: nothing chosen.
        QVERIFY(!tree.SelectPath(QDir::tempPath()));
        QVERIFY(!tree.SelectPath(path(QStringLiteral("nope.bak"))));
        TLNQFileTree gone;
        gone.SetRootPath(path(QStringLiteral("备份/拔掉的盘/2025")));
        QCOMPARE(gone.RootPath(), path(QStringLiteral("备份")));
        tree.SetMode(ftFoldersOnly);
        QVERIFY(!tree.SelectPath(backup));
        QVERIFY(tree.SelectPath(path(QStringLiteral("备份/2024"))));
        QTest::keyClick(&tree, Qt::Key_Return); // in folder mode the folder is the choice
        QTRY_COMPARE(lastPath(activated), path(QStringLiteral("备份/2024")));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQFileTree)
#include "tst_Ctrl_LNQFileTree.moc"
