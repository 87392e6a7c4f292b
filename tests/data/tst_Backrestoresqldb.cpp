#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Backrestoresqldb.h"
#include "data/ConnectionString.h"
#include "util/Exceptions.h"

#include <QAtomicInt>
#include <QFile>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QThread>
#include <sqlite3.h>

using namespace lnq;

namespace {

// Records every statement with its connection string and answers queries
// from scripted result sets (first matching prefix wins).
struct Recorder : TBackRestoreExecutor {
    struct Result {
        QString prefix;
        QStringList columns;
        QList<QStringList> rows;
    };
    QStringList log; // "connStr | sql"
    QList<Result> results;
    QString failOn; // a statement starting with it raises EDatabaseError

    void check(const QString& sql) {
        if (!failOn.isEmpty() && sql.startsWith(failOn)) throw EDatabaseError(u"服务器拒绝: "_qs + sql);
    }
    void Connect(const QString& connStr) override {
        log << connStr + u" | <connect>"_qs;
        check(u"<connect>"_qs);
    }
    void Execute(const QString& connStr, const QStringList& statements) override {
        for (const QString& s : statements) {
            log << connStr + u" | "_qs + s;
            check(s);
        }
    }
    void Open(const QString& connStr, const QString& sql, TDataSet& target) override {
        log << connStr + u" | "_qs + sql;
        check(sql);
        for (const Result& r : results) {
            if (!sql.startsWith(r.prefix)) continue;
            TFieldDefs defs(static_cast<size_t>(r.columns.size()));
            for (int i = 0; i < r.columns.size(); ++i)
                defs[static_cast<size_t>(i)].Name = r.columns[i];
            TRecordSetBuilder& b = target.BeginLoad(defs);
            for (const QStringList& row : r.rows) {
                for (int i = 0; i < row.size(); ++i)
                    b.SetText(i, row[i]);
                b.EndRow();
            }
            target.EndLoad();
            return;
        }
        TFieldDefs none(1);
        none[0].Name = u"name"_qs;
        target.BeginLoad(none);
        target.EndLoad();
    }
};

const QString kConn = QStringLiteral(
    " Provider=SQLOLEDB; Password=pw; User ID=sa; Data Source=(local); Initial Catalog=Master");
const QString kMaster = QStringLiteral(
    " Provider=SQLOLEDB; Password=pw; User ID=sa; Data Source=(local); Initial Catalog=master");

int rowCount(const QString& file, const QString& sql) {
    TADOConnection c;
    c.SetConnectionString(file);
    TADODataSet ds;
    ds.SetConnection(&c);
    ds.SetCommandText(sql);
    ds.Open();
    return ds.Fields(0).AsInteger();
}

} // namespace

class TestBackrestoresqldb : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    Recorder* m_rec = nullptr; // owned by m_comp
    std::unique_ptr<TLNQBackRestoreSQLDB> m_comp;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    // An embedded database with n rows in T and an options table.
    void makeDb(const QString& file, int n) {
        QFile::remove(file);
        TADOConnection c;
        c.SetConnectionString(file);
        c.ExecuteNative(
            QStringLiteral("CREATE TABLE T (iNo INTEGER PRIMARY KEY, vName TEXT);"
                           "CREATE TABLE Sys_Option (vKeyName TEXT, vKeyValue TEXT, vUserID TEXT);"));
        c.BeginTrans();
        for (int i = 1; i <= n; ++i)
            c.Execute(u"insert into T (iNo, vName) values ("_qs + QString::number(i) + u", '客户')"_qs);
        c.CommitTrans();
    }

    TLNQBackRestoreSQLDB& embedded(const QString& current) {
        m_comp->SetEmbeddedFile(current);
        return *m_comp;
    }

private Q_SLOTS:
    void init() {
        QVERIFY(m_dir.isValid());
        m_comp = std::make_unique<TLNQBackRestoreSQLDB>();
        auto rec = std::make_unique<Recorder>();
        m_rec = rec.get();
        m_comp->SetExecutor(std::move(rec));
        m_comp->SetUser(u"sa"_qs);
        m_comp->SetPassword(u"pw"_qs);
        m_comp->SetDatabaseName(u"Shop"_qs);
        m_rec->results = {
            {u" EXEC sp_helpfile"_qs,
             {u"name"_qs, u"filename"_qs, u"usage"_qs},
             {{u"master"_qs, u"C:\\MSSQL\\DATA\\master.mdf   "_qs, u"data only"_qs}}},
            {u" RESTORE FILELISTONLY"_qs,
             {u"LogicalName"_qs, u"Type"_qs},
             {{u"old_dat"_qs, u"D"_qs}, {u"old_log"_qs, u"L"_qs}}},
            {u" USE [Shop] EXEC sp_helpfile"_qs,
             {u"name"_qs, u"usage"_qs},
             {{u"cur_log"_qs, u"log only"_qs}, {u"cur_dat"_qs, u"data only"_qs}}},
            {u" USE Master SELECT name"_qs, {u"name"_qs}, {{u"Shop"_qs}}},
            {u" select * from [Shop]"_qs, {u"id"_qs}, {{u"7"_qs}}},
        };
    }
    void cleanup() { m_comp.reset(); }

    // ---------------------------------------------------------------- server texts

    void texts() {
        QCOMPARE(m_comp->GetConnStr(), kConn);
        QCOMPARE(TLNQBackRestoreSQLDB::MasterConnStr(kConn), kMaster);
        // A folder already ending in a backslash keeps one (restore() sets one without).
        m_comp->SetFileNameRestoreTarget(u"D:\\Data\\"_qs);
        QCOMPARE(m_comp->FileNameRestoreTarget(), u"D:\\Data\\"_qs);
    }

    void replSubstr_data() {
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("replace");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("result");
        auto row = [](const char* name, const char* find, const char* replace, const char* source,
                      const char* result) { QTest::newRow(name) << find << replace << source << result; };
        row("all", "Shop", "master", "a=Shop;b=Shop", "a=master;b=master");
        // A deletion that brings a new occurrence together removes it too.
        row("repeated", "ab", "", "aabb", "");
        row("none", "x", "y", "abc", "abc");
        row("empty find", "", "y", "abc", "abc");
        // A replacement holding the find text is made once per occurrence.
        row("self", "a", "aa", "bab", "baab");
        row("case", "Master", "master", "MASTER Master", "MASTER master");
        // The replacement completes an occurrence with the text before it.
        row("cascade", "ab", "b", "aaab", "b");
        row("growing", "ab", "bba", "aab", "bbbbaa");
    }
    void replSubstrThatNeverEnds() {
        // Each "ab" -> "bab" ... holds its find text: replaced once each.
        QCOMPARE(TLNQBackRestoreSQLDB::repl_substr(u"ab"_qs, u"bab"_qs, u"aab"_qs), u"abab"_qs);
        // "ab" -> "bbaa" doubles the b's for every a passed: the result would be
        // exponentially long.
        QVERIFY_THROWS_EXCEPTION(
            EConvertError,
            TLNQBackRestoreSQLDB::repl_substr(u"ab"_qs, u"bbaa"_qs, QString(2000, QLatin1Char('a')) + "b"));
    }
    void replSubstr() {
        QFETCH(QString, find);
        QFETCH(QString, replace);
        QFETCH(QString, source);
        QFETCH(QString, result);
        QCOMPARE(TLNQBackRestoreSQLDB::repl_substr(find, replace, source), result);
    }

    void statements_data() {
        QTest::addColumn<int>("op");
        QTest::addColumn<QStringList>("expected");
        // Each statement is logged after the connection string it ran on.
        auto row = [](const char* name, int op, QStringList sql, const QString& conn = kConn) {
            for (QString& s : sql)
                s.prepend(conn + u" | "_qs);
            QTest::newRow(name) << op << sql;
        };
        row("backup", 0, {"backup database Shop to disk = 'D:\\bak\\o'k.bak' with format"});
        row("delete", 1,
            {" IF EXISTS (SELECT name FROM master.dbo.sysdatabases WHERE name = N'O''Neil')  DROP DATABASE "
             "[O'Neil]"});
        row("check db", 2, {" USE Master SELECT name FROM master.dbo.sysdatabases WHERE name = N'Shop'"});
        row("check table", 3,
            {" select * from [Shop].dbo.sysobjects  where id = object_id(N'[dbo].[Cust]') "});
        row("non query", 4, {"USE  [Shop] update T set a=1"});
        row("query", 5, {" USE [Shop] select 1"});
        row("update value", 6,
            {"USE [Shop] DELETE Dic WHERE vCode='k''1'",
             " INSERT INTO Dic(vCode, vName) VALUES('k''1','值')"});
        row("update option", 7,
            {"USE [Shop] DELETE Sys_Option WHERE vKeyName='打印机'",
             " INSERT INTO Sys_Option(vKeyName, vKeyValue, vUserID) VALUES('打印机','LPT1', '默认')"});
        row("run sql", 8, {"dbcc checkdb"});
        row("master file", 9, {" EXEC sp_helpfile "}, kMaster);
        row("test conn", 10, {"<connect>"});
    }
    void statements() {
        QFETCH(int, op);
        QFETCH(QStringList, expected);
        QString sql = u"dbcc checkdb"_qs;
        switch (op) {
        case 0:
            m_comp->SetFileNameBackup(u"D:\\bak\\o'k.bak"_qs);
            QVERIFY(m_comp->BackupDB());
            break;
        case 1:
            QVERIFY(m_comp->DeleteDataBase(u"O'Neil"_qs));
            break;
        case 2:
            QVERIFY(m_comp->CheckDataBase(u"Shop"_qs));
            break;
        case 3:
            QVERIFY(m_comp->CheckTableExists(u"Cust"_qs));
            break;
        case 4:
            m_comp->ExcuteSQLNonQuery(u"update T set a=1"_qs);
            break;
        case 5:
            QVERIFY(m_comp->ExcuteSQLQuery(u"select 1"_qs) != nullptr);
            break;
        case 6:
            m_comp->UpdateValue(u"Dic"_qs, u"vCode"_qs, u"k'1"_qs, u"vName"_qs, u"值"_qs);
            break;
        case 7:
            m_comp->UpdateOption(u"Sys_Option"_qs, u"打印机"_qs, u"LPT1"_qs);
            break;
        case 8:
            m_comp->RunSQL(sql);
            break;
        case 9:
            QCOMPARE(m_comp->GetMasterFileName(kConn), u"C:\\MSSQL\\DATA\\master.mdf"_qs);
            break;
        case 10:
            QVERIFY(m_comp->TestConn(kConn));
            break;
        }
        QCOMPARE(m_rec->log, expected);
    }

    void restore_data() {
        QTest::addColumn<int>("setupDir");
        QTest::addColumn<bool>("autoCorrect");
        QTest::addColumn<QString>("dir");
        QTest::newRow("backup dir") << 0 << false << "C:\\MSSQL\\DATA\\";
        QTest::newRow("master") << 1 << false << "C:\\MSSQL\\DATA\\";
        QTest::newRow("app") << 2 << false << QCoreApplication::applicationDirPath() + "/";
        QTest::newRow("custom") << 3 << true << "E:\\新建\\";
    }
    void restore() {
        QFETCH(int, setupDir);
        QFETCH(bool, autoCorrect);
        QFETCH(QString, dir);
        m_comp->SetDBSetupDirValue(setupDir);
        m_comp->SetFileNameRestoreTarget(u"E:\\新建"_qs);
        m_comp->SetAutoCorrectLogicalName(autoCorrect);
        m_comp->SetFileNameRestore(u"D:\\bak\\shop.bak"_qs);
        QVERIFY(m_comp->RestoreDB());
        QStringList expected{
            kMaster + " |  RESTORE FILELISTONLY  FROM DISK='D:\\bak\\shop.bak'",
            kMaster + " |  RESTORE FILELISTONLY  FROM DISK='D:\\bak\\shop.bak'",
            kMaster + " |  EXEC sp_helpfile ",
            kMaster +
                " |  RESTORE DATABASE [Shop] FROM DISK = 'D:\\bak\\shop.bak' WITH RECOVERY, REPLACE ,MOVE "
                "'old_dat'   TO '" +
                dir + "Shop_Data.mdf', MOVE 'old_log'   TO '" + dir + "Shop_Log.ldf'"};
        if (autoCorrect)
            expected << kConn + " |  USE [Shop] EXEC sp_helpfile" << kConn + " |  USE [Shop] EXEC sp_helpfile"
                     << kMaster +
                            " |  Use master ALTER DATABASE [Shop] MODIFY FILE (NAME = cur_dat, NEWNAME = "
                            "[Shop_Data]) ALTER DATABASE [Shop] MODIFY FILE (NAME = cur_log, NEWNAME = "
                            "[Shop_Log])";
        QCOMPARE(m_rec->log, expected);
    }

    void failuresAreKept_data() {
        QTest::addColumn<int>("op");
        QTest::addColumn<QString>("failOn");
        QTest::newRow("backup") << 0 << "backup database";
        QTest::newRow("restore statement") << 1 << " RESTORE DATABASE";
        QTest::newRow("unreadable backup") << 1 << " RESTORE FILELISTONLY";
        QTest::newRow("rename") << 2 << " Use master";
        QTest::newRow("connect") << 3 << "<connect>";
        QTest::newRow("check db") << 4 << " USE Master";
    }
    void failuresAreKept() {
        QFETCH(int, op);
        QFETCH(QString, failOn);
        m_rec->failOn = failOn;
        m_comp->SetAutoCorrectLogicalName(true);
        bool ok = true;
        switch (op) {
        case 0:
            ok = m_comp->BackupDB();
            break;
        case 1:
        case 2:
            ok = m_comp->RestoreDB();
            break;
        case 3:
            ok = m_comp->TestConn(kConn);
            break;
        case 4:
            ok = m_comp->CheckDataBase(u"Shop"_qs);
            break;
        }
        QVERIFY(!ok);
        QVERIFY2(m_comp->GetLastErrorMsg().startsWith(u"服务器拒绝: "_qs + failOn),
                 qPrintable(m_comp->GetLastErrorMsg()));
        // A restore whose statement failed goes no further.
        if (op == 1) QVERIFY(!m_rec->log.last().contains(QLatin1String("ALTER DATABASE")));
    }

    void helperErrorsReachTheCaller() {
        m_rec->failOn = u"USE  [Shop]"_qs;
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_comp->ExcuteSQLNonQuery(u"x"_qs));
        QVERIFY(m_comp->GetLastErrorMsg().contains(QLatin1String("USE  [Shop] x")));
    }

    void checkDatabaseWantsTheExactName() {
        QVERIFY(!m_comp->CheckDataBase(u"shop"_qs));
        m_rec->results.clear();
        QVERIFY(!m_comp->CheckDataBase(u"Shop"_qs));
        QVERIFY(!m_comp->CheckTableExists(u"Cust"_qs));
    }

    void liveSqlServer() {
        const QString cs = qEnvironmentVariable("LNQ_TEST_MSSQL");
        if (cs.isEmpty()) QSKIP("LNQ_TEST_MSSQL names no SQL Server connection string");
        const auto parts = ParseConnectionString(cs);
        TLNQBackRestoreSQLDB c;
        QString server;
        for (const auto& [k, v] : parts) {
            if (k.compare(QLatin1String("User ID"), Qt::CaseInsensitive) == 0) c.SetUser(v);
            if (k.compare(QLatin1String("Password"), Qt::CaseInsensitive) == 0) c.SetPassword(v);
            if (k.compare(QLatin1String("Data Source"), Qt::CaseInsensitive) == 0) server = v.toLower();
        }
        if (!QStringList{u"(local)"_qs, u"."_qs, u"localhost"_qs, u"127.0.0.1"_qs}.contains(server))
            QSKIP("the component works on the local default instance only");
        QVERIFY2(c.TestConn(c.GetConnStr()), qPrintable(c.GetLastErrorMsg()));
        const QString master = c.GetMasterFileName(c.GetConnStr());
        QVERIFY2(master.endsWith(QLatin1String(".mdf"), Qt::CaseInsensitive), qPrintable(master));
        c.SetDatabaseName(u"master"_qs);
        QVERIFY(c.CheckDataBase(u"master"_qs));
        QVERIFY(!c.CheckDataBase(u"lnq_no_such_db"_qs));
    }

    // ---------------------------------------------------------------- embedded

    void embeddedBackupAndRestore() {
        const QString cur = path(u"cur.db"_qs);
        makeDb(cur, 5);
        auto& c = embedded(cur);
        c.SetDatabaseName(QString());
        c.SetFileNameBackup(path(u"cur.bak"_qs));
        QVERIFY2(c.BackupDB(), qPrintable(c.GetLastErrorMsg()));
        QVERIFY(TLNQBackRestoreSQLDB::IntegrityCheck(path(u"cur.bak"_qs)).isEmpty());

        // Under a new name into the current folder; then replacing it.
        c.SetDatabaseName(u"副本"_qs);
        c.SetFileNameRestore(path(u"cur.bak"_qs));
        QVERIFY(!c.CheckDataBase(u"副本"_qs));
        QVERIFY2(c.RestoreDB(), qPrintable(c.GetLastErrorMsg()));
        const QString copy = path(u"副本.db"_qs);
        QCOMPARE(c.EmbeddedDatabaseFile(u"副本"_qs), copy);
        QVERIFY(c.CheckDataBase(u"副本"_qs));
        QCOMPARE(rowCount(copy, u"select count(*) from T"_qs), 5);
        makeDb(cur, 9);
        c.SetDatabaseName(QString());
        QVERIFY(c.BackupDB());
        c.SetDatabaseName(u"副本"_qs);
        QVERIFY(c.RestoreDB());
        QCOMPARE(rowCount(copy, u"select count(*) from T"_qs), 9);

        // Custom directory; the helpers work in DatabaseName.
        QDir(m_dir.path()).mkdir(u"sub"_qs);
        c.SetDBSetupDir(TDBSetupDir::dirCustom);
        c.SetFileNameRestoreTarget(path(u"sub"_qs));
        c.SetDatabaseName(u"Shop"_qs);
        QVERIFY(c.RestoreDB());
        QVERIFY(QFile::exists(path(u"sub/Shop.db"_qs)));
        QVERIFY(c.CheckTableExists(u"t"_qs));
        QVERIFY(!c.CheckTableExists(u"Nope"_qs));
        c.UpdateOption(u"Sys_Option"_qs, u"打印机"_qs, u"LPT1"_qs);
        c.UpdateOption(u"Sys_Option"_qs, u"打印机"_qs, u"LPT2"_qs);
        c.UpdateValue(u"Sys_Option"_qs, u"vKeyName"_qs, u"k'1"_qs, u"vKeyValue"_qs, u"v"_qs);
        auto q =
            c.ExcuteSQLQuery(u"select vKeyName, vKeyValue, vUserID from Sys_Option order by vKeyName"_qs);
        QCOMPARE(q->RecordCount(), 2);
        QCOMPARE(q->FieldByName(u"vKeyName"_qs).AsString(), u"k'1"_qs);
        q->Next();
        QCOMPARE(q->FieldByName(u"vKeyValue"_qs).AsString(), u"LPT2"_qs);
        QCOMPARE(q->FieldByName(u"vUserID"_qs).AsString(), u"默认"_qs);
        q.reset();
        QString logical;
        QVERIFY(c.GetDBLogicalName(QString(), u"Shop"_qs, logical, u"L"_qs));
        QCOMPARE(logical, u"Shop_Log"_qs);

        QVERIFY(c.DeleteDataBase(u"Shop"_qs));
        QVERIFY(!QFile::exists(path(u"sub/Shop.db"_qs)));
        QVERIFY(!c.CheckDataBase(u"Shop"_qs));
        QVERIFY(c.DeleteDataBase(u"Shop"_qs)); // gone already: nothing to do
        QVERIFY(!c.DeleteDataBase(QString())); // never the current one
        QVERIFY(QFile::exists(cur));
    }

    void badBackupLeavesTheDatabase_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("step"); // failure injected at this step
        QTest::addColumn<QString>("message");
        QByteArray damaged;
        {
            // A real database whose pages after the first are overwritten.
            const QString f = path(u"dmg.db"_qs);
            makeDb(f, 400);
            QFile file(f);
            QVERIFY(file.open(QIODevice::ReadOnly));
            damaged = file.readAll();
            for (qsizetype i = 4096 + 100; i < damaged.size(); i += 7)
                damaged[i] = static_cast<char>(0x5A);
        }
        QTest::newRow("not a database")
            << QByteArray("这不是数据库 at all, just text") << QString() << u"备份文件不是数据库"_qs;
        QTest::newRow("truncated header")
            << QByteArray("SQLite format 3\0\x10", 18) << QString() << u"备份文件已损坏"_qs;
        QTest::newRow("damaged pages") << damaged << QString() << u"备份文件已损坏"_qs;
        QTest::newRow("interrupted after copy") << QByteArray() << u"copy"_qs << u"中断于 copy"_qs;
        QTest::newRow("interrupted before rename") << QByteArray() << u"check"_qs << u"中断于 check"_qs;
    }
    void badBackupLeavesTheDatabase() {
        QFETCH(QByteArray, content);
        QFETCH(QString, step);
        QFETCH(QString, message);
        const QString cur = path(u"live.db"_qs);
        const QString target = path(u"Target.db"_qs);
        makeDb(cur, 3);
        makeDb(target, 4);
        QFile f(target);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray before = f.readAll();
        f.close();

        const QString bak = path(u"in.bak"_qs);
        QFile::remove(bak);
        if (content.isEmpty()) {
            TLNQBackRestoreSQLDB::OnlineCopy(cur, bak);
        } else {
            QFile b(bak);
            QVERIFY(b.open(QIODevice::WriteOnly));
            b.write(content);
        }
        auto& c = embedded(cur);
        c.SetDatabaseName(u"Target"_qs);
        c.SetFileNameRestore(bak);
        c.OnRestoreStep = [&](const QString& s) {
            if (s == step) throw EInOutError(u"中断于 "_qs + s);
        };
        QVERIFY(!c.RestoreDB());
        QVERIFY2(c.GetLastErrorMsg().startsWith(message), qPrintable(c.GetLastErrorMsg()));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), before);
        QCOMPARE(rowCount(target, u"select count(*) from T"_qs), 4);
        // No temporary file is left behind.
        QCOMPARE(QDir(m_dir.path()).entryList({u"*.tmp"_qs}, QDir::Files), QStringList());
    }

    void backupWhileAnotherConnectionWrites() {
        const QString cur = path(u"busy.db"_qs);
        makeDb(cur, 0);
        QAtomicInt committed(0);
        QAtomicInt stop(0);
        // The writer has its own SQLite connection in its own thread and
        // commits one row per transaction.
        std::unique_ptr<QThread> writer(QThread::create([&] {
            sqlite3* db = nullptr;
            sqlite3_open_v2(QFile::encodeName(cur).constData(), &db, SQLITE_OPEN_READWRITE, nullptr);
            sqlite3_busy_timeout(db, 5000);
            // Commits without waiting for the disk: the test is about locking.
            sqlite3_exec(db, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
            for (int i = 1; !stop.loadAcquire(); ++i) {
                const QByteArray sql =
                    "insert into T (iNo, vName) values (" + QByteArray::number(i) + ", 'w')";
                if (sqlite3_exec(db, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK)
                    committed.storeRelease(i);
                else
                    --i;
            }
            sqlite3_close(db);
        }));
        writer->start();
        while (committed.loadAcquire() < 50)
            QThread::msleep(1);
        auto& c = embedded(cur);
        c.SetDatabaseName(QString());
        QList<int> seen;
        for (int round = 0; round < 3; ++round) {
            const int low = committed.loadAcquire();
            c.SetFileNameBackup(path(u"busy.bak"_qs));
            QVERIFY2(c.BackupDB(), qPrintable(c.GetLastErrorMsg()));
            const int high = committed.loadAcquire();
            c.SetDatabaseName(u"restored"_qs);
            c.SetFileNameRestore(path(u"busy.bak"_qs));
            QVERIFY2(c.RestoreDB(), qPrintable(c.GetLastErrorMsg()));
            c.SetDatabaseName(QString());
            const QString restored = path(u"restored.db"_qs);
            QCOMPARE(TLNQBackRestoreSQLDB::IntegrityCheck(restored), QString());
            // Rows are 1..n without a gap: n is one count the writer committed.
            const int n = rowCount(restored, u"select count(*) from T"_qs);
            QCOMPARE(rowCount(restored, u"select isnull(max(iNo), 0) from T"_qs), n);
            QVERIFY2(n >= low && n <= high + 1, qPrintable(u"%1 in %2..%3"_qs.arg(n).arg(low).arg(high)));
            seen << n;
        }
        stop.storeRelease(1);
        writer->wait();
        QVERIFY(seen.last() > seen.first()); // the writer went on meanwhile
    }
};

LNQ_TEST_MAIN_CORE(TestBackrestoresqldb)
#include "tst_Backrestoresqldb.moc"
