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
        if (!failOn.isEmpty() && sql.startsWith(failOn))
            throw EDatabaseError(QStringLiteral("服务器拒绝: ") + sql);
    }
    void Connect(const QString& connStr) override {
        log << connStr + QStringLiteral(" | <connect>");
        check(QStringLiteral("<connect>"));
    }
    void Execute(const QString& connStr, const QStringList& statements) override {
        for (const QString& s : statements) {
            log << connStr + QStringLiteral(" | ") + s;
            check(s);
        }
    }
    void Open(const QString& connStr, const QString& sql, TDataSet& target) override {
        log << connStr + QStringLiteral(" | ") + sql;
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
        none[0].Name = QStringLiteral("name");
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
            c.Execute(QStringLiteral("insert into T (iNo, vName) values (") + QString::number(i) +
                      QStringLiteral(", '客户')"));
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
        m_comp->SetUser(QStringLiteral("sa"));
        m_comp->SetPassword(QStringLiteral("pw"));
        m_comp->SetDatabaseName(QStringLiteral("Shop"));
        m_rec->results = {
            {QStringLiteral(" EXEC sp_helpfile"),
             {QStringLiteral("name"), QStringLiteral("filename"), QStringLiteral("usage")},
             {{QStringLiteral("master"), QStringLiteral("C:\\MSSQL\\DATA\\master.mdf   "),
               QStringLiteral("data only")}}},
            {QStringLiteral(" RESTORE FILELISTONLY"),
             {QStringLiteral("LogicalName"), QStringLiteral("Type")},
             {{QStringLiteral("old_dat"), QStringLiteral("D")},
              {QStringLiteral("old_log"), QStringLiteral("L")}}},
            {QStringLiteral(" USE [Shop] EXEC sp_helpfile"),
             {QStringLiteral("name"), QStringLiteral("usage")},
             {{QStringLiteral("cur_log"), QStringLiteral("log only")},
              {QStringLiteral("cur_dat"), QStringLiteral("data only")}}},
            {QStringLiteral(" USE Master SELECT name"), {QStringLiteral("name")}, {{QStringLiteral("Shop")}}},
            {QStringLiteral(" select * from [Shop]"), {QStringLiteral("id")}, {{QStringLiteral("7")}}},
        };
    }
    void cleanup() { m_comp.reset(); }

    // ---------------------------------------------------------------- server texts

    void texts() {
        QCOMPARE(m_comp->GetConnStr(), kConn);
        QCOMPARE(TLNQBackRestoreSQLDB::MasterConnStr(kConn), kMaster);
        for (const auto& [in, out] :
             {std::pair{QStringLiteral("D:\\Data"), QStringLiteral("D:\\Data\\")},
              std::pair{QStringLiteral("D:\\Data\\"), QStringLiteral("D:\\Data\\")}}) {
            m_comp->SetFileNameRestoreTarget(in);
            QCOMPARE(m_comp->FileNameRestoreTarget(), out);
        }
    }

    void replSubstr_data() {
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("replace");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("result");
        QTest::newRow("all") << "Shop"
                             << "master"
                             << "a=Shop;b=Shop"
                             << "a=master;b=master";
        // A deletion that brings a new occurrence together removes it too.
        QTest::newRow("repeated") << "ab"
                                  << ""
                                  << "aabb"
                                  << "";
        QTest::newRow("none") << "x"
                              << "y"
                              << "abc"
                              << "abc";
        QTest::newRow("empty find") << ""
                                    << "y"
                                    << "abc"
                                    << "abc";
        // A replacement holding the find text is made once per occurrence.
        QTest::newRow("self") << "a"
                              << "aa"
                              << "bab"
                              << "baab";
        QTest::newRow("case") << "Master"
                              << "master"
                              << "MASTER Master"
                              << "MASTER master";
        // The replacement completes an occurrence with the text before it.
        QTest::newRow("cascade") << "ab"
                                 << "b"
                                 << "aaab"
                                 << "b";
        QTest::newRow("growing") << "ab"
                                 << "bba"
                                 << "aab"
                                 << "bbbbaa";
    }
    void replSubstrThatNeverEnds() {
        // Each "ab" -> "bab" ... holds its find text: replaced once each.
        QCOMPARE(TLNQBackRestoreSQLDB::repl_substr(QStringLiteral("ab"), QStringLiteral("bab"),
                                                   QStringLiteral("aab")),
                 QStringLiteral("abab"));
        // "ab" -> "bbaa" doubles the b's for every a passed: the result would be
        // exponentially long.
        QVERIFY_THROWS_EXCEPTION(
            EConvertError, TLNQBackRestoreSQLDB::repl_substr(QStringLiteral("ab"), QStringLiteral("bbaa"),
                                                             QString(2000, QLatin1Char('a')) + "b"));
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
        QTest::newRow("backup")
            << 0 << QStringList{kConn + " | backup database Shop to disk = 'D:\\bak\\o'k.bak' with format"};
        QTest::newRow("delete") << 1
                                << QStringList{
                                       kConn +
                                       " |  IF EXISTS (SELECT name FROM master.dbo.sysdatabases WHERE "
                                       "name = N'O''Neil')  DROP DATABASE [O'Neil]"};
        QTest::newRow("check db") << 2
                                  << QStringList{kConn +
                                                 " |  USE Master SELECT name FROM master.dbo.sysdatabases "
                                                 "WHERE name = N'Shop'"};
        QTest::newRow("check table")
            << 3
            << QStringList{kConn +
                           " |  select * from [Shop].dbo.sysobjects  where id = object_id(N'[dbo].[Cust]') "};
        QTest::newRow("non query") << 4 << QStringList{kConn + " | USE  [Shop] update T set a=1"};
        QTest::newRow("query") << 5 << QStringList{kConn + " |  USE [Shop] select 1"};
        QTest::newRow("update value")
            << 6
            << QStringList{kConn + " | USE [Shop] DELETE Dic WHERE vCode='k''1'",
                           kConn + " |  INSERT INTO Dic(vCode, vName) VALUES('k''1','值')"};
        QTest::newRow("update option")
            << 7
            << QStringList{
                   kConn + " | USE [Shop] DELETE Sys_Option WHERE vKeyName='打印机'",
                   kConn + " |  INSERT INTO Sys_Option(vKeyName, vKeyValue, vUserID) VALUES('打印机','LPT1', "
                           "'默认')"};
        QTest::newRow("run sql") << 8 << QStringList{kConn + " | dbcc checkdb"};
        QTest::newRow("master file") << 9 << QStringList{kMaster + " |  EXEC sp_helpfile "};
        QTest::newRow("test conn") << 10 << QStringList{kConn + " | <connect>"};
    }
    void statements() {
        QFETCH(int, op);
        QFETCH(QStringList, expected);
        QString sql = QStringLiteral("dbcc checkdb");
        switch (op) {
        case 0:
            m_comp->SetFileNameBackup(QStringLiteral("D:\\bak\\o'k.bak"));
            QVERIFY(m_comp->BackupDB());
            break;
        case 1:
            QVERIFY(m_comp->DeleteDataBase(QStringLiteral("O'Neil")));
            break;
        case 2:
            QVERIFY(m_comp->CheckDataBase(QStringLiteral("Shop")));
            break;
        case 3:
            QVERIFY(m_comp->CheckTableExists(QStringLiteral("Cust")));
            break;
        case 4:
            m_comp->ExcuteSQLNonQuery(QStringLiteral("update T set a=1"));
            break;
        case 5:
            QVERIFY(m_comp->ExcuteSQLQuery(QStringLiteral("select 1")) != nullptr);
            break;
        case 6:
            m_comp->UpdateValue(QStringLiteral("Dic"), QStringLiteral("vCode"), QStringLiteral("k'1"),
                                QStringLiteral("vName"), QStringLiteral("值"));
            break;
        case 7:
            m_comp->UpdateOption(QStringLiteral("Sys_Option"), QStringLiteral("打印机"),
                                 QStringLiteral("LPT1"));
            break;
        case 8:
            m_comp->RunSQL(sql);
            break;
        case 9:
            QCOMPARE(m_comp->GetMasterFileName(kConn), QStringLiteral("C:\\MSSQL\\DATA\\master.mdf"));
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
        m_comp->SetFileNameRestoreTarget(QStringLiteral("E:\\新建"));
        m_comp->SetAutoCorrectLogicalName(autoCorrect);
        m_comp->SetFileNameRestore(QStringLiteral("D:\\bak\\shop.bak"));
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
            ok = m_comp->CheckDataBase(QStringLiteral("Shop"));
            break;
        }
        QVERIFY(!ok);
        QVERIFY2(m_comp->GetLastErrorMsg().startsWith(QStringLiteral("服务器拒绝: ") + failOn),
                 qPrintable(m_comp->GetLastErrorMsg()));
        // A restore whose statement failed goes no further.
        if (op == 1) QVERIFY(!m_rec->log.last().contains(QLatin1String("ALTER DATABASE")));
    }

    void helperErrorsReachTheCaller() {
        m_rec->failOn = QStringLiteral("USE  [Shop]");
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_comp->ExcuteSQLNonQuery(QStringLiteral("x")));
        QVERIFY(m_comp->GetLastErrorMsg().contains(QLatin1String("USE  [Shop] x")));
    }

    void checkDatabaseWantsTheExactName() {
        QVERIFY(!m_comp->CheckDataBase(QStringLiteral("shop")));
        m_rec->results.clear();
        QVERIFY(!m_comp->CheckDataBase(QStringLiteral("Shop")));
        QVERIFY(!m_comp->CheckTableExists(QStringLiteral("Cust")));
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
        if (!QStringList{QStringLiteral("(local)"), QStringLiteral("."), QStringLiteral("localhost"),
                         QStringLiteral("127.0.0.1")}
                 .contains(server))
            QSKIP("the component works on the local default instance only");
        QVERIFY2(c.TestConn(c.GetConnStr()), qPrintable(c.GetLastErrorMsg()));
        const QString master = c.GetMasterFileName(c.GetConnStr());
        QVERIFY2(master.endsWith(QLatin1String(".mdf"), Qt::CaseInsensitive), qPrintable(master));
        c.SetDatabaseName(QStringLiteral("master"));
        QVERIFY(c.CheckDataBase(QStringLiteral("master")));
        QVERIFY(!c.CheckDataBase(QStringLiteral("lnq_no_such_db")));
    }

    // ---------------------------------------------------------------- embedded

    void embeddedBackupAndRestore() {
        const QString cur = path(QStringLiteral("cur.db"));
        makeDb(cur, 5);
        auto& c = embedded(cur);
        c.SetDatabaseName(QString());
        c.SetFileNameBackup(path(QStringLiteral("cur.bak")));
        QVERIFY2(c.BackupDB(), qPrintable(c.GetLastErrorMsg()));
        QVERIFY(TLNQBackRestoreSQLDB::IntegrityCheck(path(QStringLiteral("cur.bak"))).isEmpty());

        // Under a new name into the current folder; then replacing it.
        c.SetDatabaseName(QStringLiteral("副本"));
        c.SetFileNameRestore(path(QStringLiteral("cur.bak")));
        QVERIFY(!c.CheckDataBase(QStringLiteral("副本")));
        QVERIFY2(c.RestoreDB(), qPrintable(c.GetLastErrorMsg()));
        const QString copy = path(QStringLiteral("副本.db"));
        QCOMPARE(c.EmbeddedDatabaseFile(QStringLiteral("副本")), copy);
        QVERIFY(c.CheckDataBase(QStringLiteral("副本")));
        QCOMPARE(rowCount(copy, QStringLiteral("select count(*) from T")), 5);
        makeDb(cur, 9);
        c.SetDatabaseName(QString());
        QVERIFY(c.BackupDB());
        c.SetDatabaseName(QStringLiteral("副本"));
        QVERIFY(c.RestoreDB());
        QCOMPARE(rowCount(copy, QStringLiteral("select count(*) from T")), 9);

        // Custom directory; the helpers work in DatabaseName.
        QDir(m_dir.path()).mkdir(QStringLiteral("sub"));
        c.SetDBSetupDir(TDBSetupDir::dirCustom);
        c.SetFileNameRestoreTarget(path(QStringLiteral("sub")));
        c.SetDatabaseName(QStringLiteral("Shop"));
        QVERIFY(c.RestoreDB());
        QVERIFY(QFile::exists(path(QStringLiteral("sub/Shop.db"))));
        QVERIFY(c.CheckTableExists(QStringLiteral("t")));
        QVERIFY(!c.CheckTableExists(QStringLiteral("Nope")));
        c.UpdateOption(QStringLiteral("Sys_Option"), QStringLiteral("打印机"), QStringLiteral("LPT1"));
        c.UpdateOption(QStringLiteral("Sys_Option"), QStringLiteral("打印机"), QStringLiteral("LPT2"));
        c.UpdateValue(QStringLiteral("Sys_Option"), QStringLiteral("vKeyName"), QStringLiteral("k'1"),
                      QStringLiteral("vKeyValue"), QStringLiteral("v"));
        auto q = c.ExcuteSQLQuery(
            QStringLiteral("select vKeyName, vKeyValue, vUserID from Sys_Option order by vKeyName"));
        QCOMPARE(q->RecordCount(), 2);
        QCOMPARE(q->FieldByName(QStringLiteral("vKeyName")).AsString(), QStringLiteral("k'1"));
        q->Next();
        QCOMPARE(q->FieldByName(QStringLiteral("vKeyValue")).AsString(), QStringLiteral("LPT2"));
        QCOMPARE(q->FieldByName(QStringLiteral("vUserID")).AsString(), QStringLiteral("默认"));
        q.reset();
        QString logical;
        QVERIFY(c.GetDBLogicalName(QString(), QStringLiteral("Shop"), logical, QStringLiteral("L")));
        QCOMPARE(logical, QStringLiteral("Shop_Log"));

        QVERIFY(c.DeleteDataBase(QStringLiteral("Shop")));
        QVERIFY(!QFile::exists(path(QStringLiteral("sub/Shop.db"))));
        QVERIFY(!c.CheckDataBase(QStringLiteral("Shop")));
        QVERIFY(c.DeleteDataBase(QStringLiteral("Shop"))); // gone already: nothing to do
        QVERIFY(!c.DeleteDataBase(QString()));             // never the current one
        QVERIFY(QFile::exists(cur));
    }

    void badBackupLeavesTheDatabase_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("step"); // failure injected at this step
        QTest::addColumn<QString>("message");
        QByteArray damaged;
        {
            // A real database whose pages after the first are overwritten.
            const QString f = path(QStringLiteral("dmg.db"));
            makeDb(f, 400);
            QFile file(f);
            QVERIFY(file.open(QIODevice::ReadOnly));
            damaged = file.readAll();
            for (qsizetype i = 4096 + 100; i < damaged.size(); i += 7)
                damaged[i] = static_cast<char>(0x5A);
        }
        QTest::newRow("not a database") << QByteArray("这不是数据库 at all, just text") << QString()
                                        << QStringLiteral("备份文件不是数据库");
        QTest::newRow("truncated header")
            << QByteArray("SQLite format 3\0\x10", 18) << QString() << QStringLiteral("备份文件已损坏");
        QTest::newRow("damaged pages") << damaged << QString() << QStringLiteral("备份文件已损坏");
        QTest::newRow("interrupted after copy")
            << QByteArray() << QStringLiteral("copy") << QStringLiteral("中断于 copy");
        QTest::newRow("interrupted before rename")
            << QByteArray() << QStringLiteral("check") << QStringLiteral("中断于 check");
    }
    void badBackupLeavesTheDatabase() {
        QFETCH(QByteArray, content);
        QFETCH(QString, step);
        QFETCH(QString, message);
        const QString cur = path(QStringLiteral("live.db"));
        const QString target = path(QStringLiteral("Target.db"));
        makeDb(cur, 3);
        makeDb(target, 4);
        QFile f(target);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray before = f.readAll();
        f.close();

        const QString bak = path(QStringLiteral("in.bak"));
        QFile::remove(bak);
        if (content.isEmpty()) {
            TLNQBackRestoreSQLDB::OnlineCopy(cur, bak);
        } else {
            QFile b(bak);
            QVERIFY(b.open(QIODevice::WriteOnly));
            b.write(content);
        }
        auto& c = embedded(cur);
        c.SetDatabaseName(QStringLiteral("Target"));
        c.SetFileNameRestore(bak);
        c.OnRestoreStep = [&](const QString& s) {
            if (s == step) throw EInOutError(QStringLiteral("中断于 ") + s);
        };
        QVERIFY(!c.RestoreDB());
        QVERIFY2(c.GetLastErrorMsg().startsWith(message), qPrintable(c.GetLastErrorMsg()));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), before);
        QCOMPARE(rowCount(target, QStringLiteral("select count(*) from T")), 4);
        // No temporary file is left behind.
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral("*.tmp")}, QDir::Files), QStringList());
    }

    void backupWhileAnotherConnectionWrites() {
        const QString cur = path(QStringLiteral("busy.db"));
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
            c.SetFileNameBackup(path(QStringLiteral("busy.bak")));
            QVERIFY2(c.BackupDB(), qPrintable(c.GetLastErrorMsg()));
            const int high = committed.loadAcquire();
            c.SetDatabaseName(QStringLiteral("restored"));
            c.SetFileNameRestore(path(QStringLiteral("busy.bak")));
            QVERIFY2(c.RestoreDB(), qPrintable(c.GetLastErrorMsg()));
            c.SetDatabaseName(QString());
            const QString restored = path(QStringLiteral("restored.db"));
            QCOMPARE(TLNQBackRestoreSQLDB::IntegrityCheck(restored), QString());
            // Rows are 1..n without a gap: n is one count the writer committed.
            const int n = rowCount(restored, QStringLiteral("select count(*) from T"));
            QCOMPARE(rowCount(restored, QStringLiteral("select isnull(max(iNo), 0) from T")), n);
            QVERIFY2(n >= low && n <= high + 1,
                     qPrintable(QStringLiteral("%1 in %2..%3").arg(n).arg(low).arg(high)));
            seen << n;
        }
        stop.storeRelease(1);
        writer->wait();
        QVERIFY(seen.last() > seen.first()); // the writer went on meanwhile
    }
};

LNQ_TEST_MAIN_CORE(TestBackrestoresqldb)
#include "tst_Backrestoresqldb.moc"
