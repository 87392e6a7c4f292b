#include "common/TestMain.h"
#include "util/Plat_dll.h"

#include <QTemporaryDir>
#include <sqlite3.h>

using lnq::TInstallDll;

namespace {
void sentinel() {}
using VersionFn = const char* (*)();
} // namespace

class TestPlatDll : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void loadsAndResolves() {
        TInstallDll dll;
        QVERIFY(!dll.Handle());
        QFunctionPointer entry = nullptr;
        QVERIFY2(dll.InstallDLL("libsqlite3.so.0", "sqlite3_libversion", entry),
                 qPrintable(dll.ErrorString()));
        QVERIFY(entry);
        QVERIFY(dll.Handle() && dll.Handle()->isLoaded());
        QCOMPARE(QByteArray(reinterpret_cast<VersionFn>(entry)()), QByteArray(SQLITE_VERSION));

        QVERIFY(dll.UninstallDLL(dll.Handle()));
        QVERIFY(!dll.Handle());
        QVERIFY(dll.UninstallDLL(nullptr)); // nothing loaded: still true
    }

    void failuresLeaveEntryUntouched_data() {
        QTest::addColumn<QString>("library");
        QTest::addColumn<QString>("entryName");
        QTest::newRow("missing library") << "liblnq_no_such_library.so"
                                         << "anything";
        QTest::newRow("missing entry") << "libsqlite3.so.0"
                                       << "lnq_no_such_entry";
        QTest::newRow("not a library") << QString(LNQ_SOURCE_DIR "/CMakeLists.txt") << "main";
    }
    void failuresLeaveEntryUntouched() {
        QFETCH(QString, library);
        QFETCH(QString, entryName);
        TInstallDll dll;
        QFunctionPointer entry = &sentinel;
        QVERIFY(!dll.InstallDLL(library, entryName, entry));
        QVERIFY(entry == &sentinel);
        QVERIFY(!dll.Handle());
        QVERIFY(!dll.ErrorString().isEmpty());
    }

    void failedReloadKeepsPreviousLibrary() {
        TInstallDll dll;
        QFunctionPointer entry = nullptr;
        QVERIFY(dll.InstallDLL("libsqlite3.so.0", "sqlite3_libversion", entry));
        QLibrary* first = dll.Handle();
        QFunctionPointer other = &sentinel;
        QVERIFY(!dll.InstallDLL("libsqlite3.so.0", "lnq_no_such_entry", other));
        QCOMPARE(dll.Handle(), first);
        QVERIFY(first->isLoaded());
        // The entry resolved first still works.
        QCOMPARE(QByteArray(reinterpret_cast<VersionFn>(entry)()), QByteArray(SQLITE_VERSION));
        QVERIFY(dll.UninstallDLL(reinterpret_cast<QLibrary*>(&other))); // a foreign handle is ignored
        QCOMPARE(dll.Handle(), first);

        // Another entry of the same file keeps the library loaded.
        QFunctionPointer open = nullptr;
        QVERIFY(dll.InstallDLL("libsqlite3.so.0", "sqlite3_open", open));
        QVERIFY(dll.Handle()->isLoaded());
        QCOMPARE(QByteArray(reinterpret_cast<VersionFn>(entry)()), QByteArray(SQLITE_VERSION));
    }

    void sharedLibraryOutlivesOneUser() {
        auto first = std::make_unique<TInstallDll>();
        TInstallDll second;
        QFunctionPointer a = nullptr, b = nullptr;
        QVERIFY(first->InstallDLL("libsqlite3.so.0", "sqlite3_libversion", a));
        QVERIFY(second.InstallDLL("libsqlite3.so.0", "sqlite3_libversion", b));
        QVERIFY(a == b);
        first.reset(); // the destructor lets go of its reference only
        QVERIFY(second.Handle()->isLoaded());
        QCOMPARE(QByteArray(reinterpret_cast<VersionFn>(b)()), QByteArray(SQLITE_VERSION));
        QVERIFY(second.UninstallDLL(second.Handle()));
        QVERIFY(!second.Handle());
    }
};

LNQ_TEST_MAIN_CORE(TestPlatDll)
#include "tst_Plat_dll.moc"
