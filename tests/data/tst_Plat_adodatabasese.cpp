#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/SampleDatabase.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QBuffer>
#include <QFile>
#include <QPointer>
#include <QTemporaryDir>

using namespace lnq;

namespace {

// Records the batches that reach ExecuteNonQuery and passes them on.
class RecordingConnection : public TInterfacedADOConnection {
public:
    using TInterfacedADOConnection::TInterfacedADOConnection;
    bool ExecuteNonQuery(const QString& sql) override {
        batches << sql;
        return TInterfacedADOConnection::ExecuteNonQuery(sql);
    }
    QStringList batches;
};

struct FileRow {
    int count = 0;
    QString name, ext, owner;
    QByteArray data;
};

} // namespace

class TestPlatAdoDatabase : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<TADOConnection> m_ado;
    std::shared_ptr<IConnection> m_conn;
    QStringList m_statements;

    FileRow fileRow(const QString& fileName) {
        FileRow r;
        const auto ds = m_conn->ExecuteWithQuery(u"select * from Sys_FileBase where vFileName+vExt="_qs +
                                                 TInterfacedADOConnection::QuotedStr(fileName));
        r.count = ds->RecordCount();
        if (r.count) {
            r.name = ds->FieldByName("vFileName").AsString();
            r.ext = ds->FieldByName("vExt").AsString();
            r.owner = ds->FieldByName("vOwner").AsString();
            r.data = ds->FieldByName("imgFileData").AsBytes();
        }
        return r;
    }
    int count(const QString& sql) {
        const auto ds = m_conn->ExecuteWithQuery(sql);
        return ds->Fields(0).AsInteger();
    }
    void save(const QString& owner, const QString& name, const QByteArray& bytes) {
        QBuffer b;
        b.setData(bytes);
        b.open(QIODevice::ReadOnly);
        m_conn->SaveStream(owner, name, b);
    }
    // Throws a database error on the n-th statement from now.
    void failAtStatement(int n) {
        auto counter = std::make_shared<int>(0);
        m_ado->SetStatementObserver([counter, n](const QString&) {
            if (++*counter == n) throw EDatabaseError(u"injected fault"_qs);
        });
    }

private Q_SLOTS:
    void init() {
        QVERIFY(m_dir.isValid());
        const QString file = m_dir.filePath(u"p.db"_qs);
        QFile::remove(file);
        m_ado = std::make_unique<TADOConnection>();
        m_ado->SetConnectionString(file);
        m_ado->Open();
        SampleDatabase::CreateSchema(*m_ado);
        m_ado->ExecuteNative(QStringLiteral(
            "CREATE TABLE Cust (iCustomerNo INTEGER PRIMARY KEY AUTOINCREMENT, vName NVARCHAR(50),"
            " bShare BIT NOT NULL DEFAULT 0, vAllowedUsers NVARCHAR(200), vAllowedGroups NVARCHAR(200),"
            " vDescription NVARCHAR(200));"
            "INSERT INTO Cust (vName, bShare, vAllowedUsers, vAllowedGroups, vDescription) VALUES"
            " ('甲', 1, ',ann,', '[A', '共享的'), ('乙', 0, ',', '', ''), ('丙', 0, ',', '', '');"));
        m_conn = std::make_shared<TInterfacedADOConnection>(*m_ado);
        m_statements.clear();
    }
    void cleanup() {
        m_conn.reset();
        m_ado.reset();
    }

    // ---------------------------------------------------------------- datasets

    void executeWithQueryOpensOwnedDataset() {
        auto ds = m_conn->ExecuteWithQuery(u"select * from Cust order by iCustomerNo"_qs);
        QVERIFY(ds->Active());
        QCOMPARE(ds->ClassName(), u"TADODataSet"_qs);
        QCOMPARE(ds->Connection(), m_ado.get());
        QCOMPARE(ds->CommandType(), TCommandType::cmdText);
        QCOMPARE(ds->RecordCount(), 3);
        QVERIFY(ds->parent() == nullptr);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->ExecuteWithQuery(u"select * from Nope"_qs));
    }

    void resetDataset_data() {
        QTest::addColumn<QString>("start");
        QTest::addColumn<bool>("sameObject");
        QTest::newRow("none") << "none" << false;
        QTest::newRow("ado dataset reused") << "TADODataSet" << true;
        QTest::newRow("client dataset replaced") << "TClientDataSet" << false;
        QTest::newRow("query replaced") << "TADOQuery" << false;
    }
    void resetDataset() {
        QFETCH(QString, start);
        QFETCH(bool, sameObject);
        std::unique_ptr<TDataSet> ds;
        if (start == QLatin1String("TADODataSet")) {
            auto a = std::make_unique<TADODataSet>();
            a->SetCommandText(u"something else"_qs);
            ds = std::move(a);
        } else if (start == QLatin1String("TClientDataSet")) {
            ds = std::make_unique<TClientDataSet>();
        } else if (start == QLatin1String("TADOQuery")) {
            ds = std::make_unique<TADOQuery>();
        }
        const QPointer<TDataSet> before(ds.get());
        m_conn->ResetDataset(ds, u"select vName from Cust order by iCustomerNo"_qs);
        QVERIFY(ds);
        // A replaced dataset is freed (its memory may well be reused).
        QCOMPARE(!before.isNull(), sameObject);
        if (sameObject) QCOMPARE(before.data(), ds.get());
        QCOMPARE(ds->ClassName(), u"TADODataSet"_qs);
        QVERIFY(ds->Active());
        QCOMPARE(ds->FieldByName("vName").AsString(), u"甲"_qs);
        QCOMPARE(static_cast<TADODataSet*>(ds.get())->Connection(), m_ado.get());
    }

    void fillDatasetClasses() {
        TClientDataSet client;
        try {
            m_conn->FillDataset(client, u"select * from Cust"_qs);
            QFAIL("filled a client dataset");
        } catch (const EInvalidCast&) {
            QFAIL("wrong error kind");
        } catch (const Exception& e) {
            QCOMPARE(e.Message(), u"TADODataset与TClientDataSet不匹配"_qs);
        }
        TADOQuery query;
        query.SetConnection(m_ado.get());
        QVERIFY_THROWS_EXCEPTION(EInvalidCast, m_conn->FillDataset(query, u"select * from Cust"_qs));
        TADOTable table;
        QVERIFY_THROWS_EXCEPTION(EInvalidCast, m_conn->FillDataset(table, u"select * from Cust"_qs));

        auto ds = m_conn->CreateDataset();
        QVERIFY(!ds->Active());
        QCOMPARE(ds->Connection(), m_ado.get());
        m_conn->FillDataset(*ds, u"select * from Cust"_qs);
        QCOMPARE(ds->RecordCount(), 3);
        m_conn->FillDataset(*ds, u"select * from Cust where vName = '乙'"_qs);
        QCOMPARE(ds->RecordCount(), 1);
        QCOMPARE(ds->CommandText(), u"select * from Cust where vName = '乙'"_qs);

        // The dataset keeps its own connection (here: none).
        TADODataSet detached;
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->FillDataset(detached, u"select 1"_qs));
        QCOMPARE(detached.Connection(), nullptr);
    }

    void cloneDataset() {
        auto src = m_conn->ExecuteWithQuery(u"select * from Cust order by iCustomerNo"_qs);
        TADODataSet target;
        m_conn->CloneDataset(*src, target);
        QCOMPARE(target.RecordCount(), 3);
        target.Last();
        QCOMPARE(src->RecNo(), 1); // own cursor

        TClientDataSet client;
        TADOQuery query;
        for (TDataSet* other : std::initializer_list<TDataSet*>{&client, &query}) {
            try {
                m_conn->CloneDataset(*src, *other);
                QFAIL("cloned into another class");
            } catch (const Exception& e) {
                QCOMPARE(e.Message(), u"数据类型不正确"_qs);
            }
            QVERIFY_THROWS_EXCEPTION(Exception, m_conn->CloneDataset(*other, target));
        }
    }

    // ---------------------------------------------------------------- stored files

    void saveInsertsThenReplaces() {
        m_ado->SetStatementObserver([this](const QString& sql) { m_statements << sql; });
        save(u"ann"_qs, u"VIEW.DAT"_qs, QByteArray("first bytes"));
        QCOMPARE(m_statements.first(), u"select * from Sys_FileBase  where  vFileName+vExt='VIEW.DAT'"_qs);
        FileRow r = fileRow(u"VIEW.DAT"_qs);
        QCOMPARE(r.count, 1);
        QCOMPARE(r.name, u"VIEW"_qs);
        QCOMPARE(r.ext, u".DAT"_qs);
        QCOMPARE(r.owner, u"ann"_qs);
        QCOMPARE(r.data, QByteArray("first bytes"));

        save(u"bob"_qs, u"VIEW.DAT"_qs, QByteArray("2nd"));
        r = fileRow(u"VIEW.DAT"_qs);
        QCOMPARE(r.count, 1);
        QCOMPARE(r.owner, u"bob"_qs);
        QCOMPARE(r.data, QByteArray("2nd"));
        QCOMPARE(count(u"select count(*) from Sys_FileBase"_qs), 1);
    }

    void nameSplitting_data() {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("ext");
        auto row = [](const char* name, const char* fileName, const char* base, const char* ext) {
            QTest::newRow(name) << QString::fromUtf8(fileName) << QString::fromUtf8(base)
                                << QString::fromUtf8(ext);
        };
        row("no dot", "README", "README", "");
        row("view path", "常用视图\\北京客户.CUS", "常用视图\\北京客户", ".CUS");
        row("dot only in folder", "v1.0\\notes", "v1.0\\notes", "");
        row("dot in folder and name", "a.b\\c.d.e", "a.b\\c.d", ".e");
        row("trailing dot", "name.", "name", ".");
        row("only an extension", ".cfg", "", ".cfg");
    }
    void nameSplitting() {
        QFETCH(QString, fileName);
        QFETCH(QString, base);
        QFETCH(QString, ext);
        save(u"u"_qs, fileName, QByteArray("x"));
        const FileRow r = fileRow(fileName);
        QCOMPARE(r.count, 1);
        QCOMPARE(r.name, base);
        QCOMPARE(r.ext, ext);
        QVERIFY(m_conn->StreamExists(fileName));
        // Found again by the same name, and saved again into the same row.
        save(u"v"_qs, fileName, QByteArray("y"));
        QCOMPARE(count(u"select count(*) from Sys_FileBase"_qs), 1);
        QCOMPARE(fileRow(fileName).data, QByteArray("y"));
    }

    void quotesAreDoubled() {
        m_ado->SetStatementObserver([this](const QString& sql) { m_statements << sql; });
        QVERIFY(!m_conn->StreamExists(u"o'neil's.DAT"_qs));
        QCOMPARE(m_statements.last(), u"select * from Sys_Filebase where vFileName+vExt='o''neil''s.DAT'"_qs);
        save(u"o'neil"_qs, u"o'neil's.DAT"_qs, QByteArray("q"));
        QVERIFY(m_conn->StreamExists(u"o'neil's.DAT"_qs));
        QVERIFY(!m_conn->StreamExists(u"oneil's.DAT"_qs));
        QString owner;
        QBuffer out;
        out.open(QIODevice::ReadWrite);
        m_conn->LoadStream(owner, u"o'neil's.DAT"_qs, out);
        QCOMPARE(owner, u"o'neil"_qs);
        QCOMPARE(out.data(), QByteArray("q"));
    }

    void namesCompareWithoutCase() {
        save(u"u"_qs, u"View.Dat"_qs, QByteArray("x"));
        QVERIFY(m_conn->StreamExists(u"VIEW.DAT"_qs));
        save(u"w"_qs, u"view.dat"_qs, QByteArray("y"));
        QCOMPARE(count(u"select count(*) from Sys_FileBase"_qs), 1);
    }

    void loadWritesOverTheDestination() {
        save(u"ann"_qs, u"A.BIN"_qs, QByteArray("abc"));
        QBuffer out;
        out.setData(QByteArray("0123456789"));
        out.open(QIODevice::ReadWrite);
        out.seek(7);
        QString owner = u"before"_qs;
        m_conn->LoadStream(owner, u"A.BIN"_qs, out);
        QCOMPARE(out.data(), QByteArray("abc3456789"));
        QCOMPARE(out.pos(), 3);
        QCOMPARE(owner, u"ann"_qs);
    }

    void loadOfMissingFileWritesNothing() {
        QBuffer out;
        out.setData(QByteArray("keep"));
        out.open(QIODevice::ReadWrite);
        out.seek(2);
        QString owner = u"unchanged"_qs;
        m_conn->LoadStream(owner, u"MISSING.DAT"_qs, out);
        QCOMPARE(out.data(), QByteArray("keep"));
        QCOMPARE(out.pos(), 0); // rewound before the search
        QCOMPARE(owner, u"unchanged"_qs);
    }

    void saveReadsTheWholeSourceFromItsStart() {
        QBuffer src;
        src.setData(QByteArray(100000, 'z') + QByteArray("\0end", 4));
        src.open(QIODevice::ReadOnly);
        src.seek(500);
        m_conn->SaveStream(u"u"_qs, u"BIG.BIN"_qs, src);
        QCOMPARE(fileRow(u"BIG.BIN"_qs).data.size(), 100004);
        QCOMPARE(fileRow(u"BIG.BIN"_qs).data.right(4), QByteArray("\0end", 4));

        QBuffer closed;
        QVERIFY_THROWS_EXCEPTION(EInOutError, m_conn->SaveStream(u"u"_qs, u"C.BIN"_qs, closed));
        QVERIFY(!m_conn->StreamExists(u"C.BIN"_qs));
    }

    // Two stored rows of one name: saving replaces the first the query
    // returns and leaves the other alone, whether the table has a key or the
    // rows are told apart by their rowid only.
    void saveEditsTheFirstOfEqualNames_data() {
        QTest::addColumn<bool>("keyed");
        QTest::newRow("table with a key") << true;
        QTest::newRow("table without a key") << false;
    }
    void saveEditsTheFirstOfEqualNames() {
        QFETCH(bool, keyed);
        if (!keyed)
            m_ado->ExecuteNative(QStringLiteral(
                "DROP TABLE Sys_FileBase; CREATE TABLE Sys_FileBase (vFileName NVARCHAR(255) COLLATE NOCASE, "
                "vExt NVARCHAR(50) COLLATE NOCASE, vOwner NVARCHAR(50), imgFileData IMAGE, bShare BIT "
                "NOT NULL DEFAULT 0, vAllowedUsers NVARCHAR(2000), vAllowedGroups NVARCHAR(2000), "
                "vDescription "
                "NVARCHAR(500))"));
        m_ado->Execute(
            QStringLiteral("insert into Sys_FileBase (vFileName, vExt, vOwner, imgFileData) values "
                           "('TWIN', '.DAT', 'ann', 0x01), ('TWIN', '.DAT', 'ann', 0x01)"));
        save(u"bob"_qs, u"TWIN.DAT"_qs, QByteArray("new"));
        const auto ds =
            m_conn->ExecuteWithQuery(u"select vOwner, imgFileData from Sys_FileBase order by rowid"_qs);
        QCOMPARE(ds->RecordCount(), 2);
        QCOMPARE(ds->FieldByName("vOwner").AsString(), u"bob"_qs);
        QCOMPARE(ds->FieldByName("imgFileData").AsBytes(), QByteArray("new"));
        ds->Next();
        QCOMPARE(ds->FieldByName("vOwner").AsString(), u"ann"_qs);
        QCOMPARE(ds->FieldByName("imgFileData").AsBytes(), QByteArray("\x01"));
        // A new name is inserted, and saved again into its own row.
        save(u"cy"_qs, u"ONE.DAT"_qs, QByteArray("1"));
        save(u"cy"_qs, u"ONE.DAT"_qs, QByteArray("2"));
        QCOMPARE(count(u"select count(*) from Sys_FileBase"_qs), 3);
        QCOMPARE(fileRow(u"ONE.DAT"_qs).data, QByteArray("2"));
    }

    // A database error anywhere in SaveStream leaves the stored rows as they were.
    void faultDuringSave_data() {
        QTest::addColumn<bool>("existing");
        QTest::addColumn<int>("failAt");
        for (int i = 1; i <= 5; ++i) {
            QTest::newRow(qPrintable(u"new file, statement %1"_qs.arg(i))) << false << i;
            QTest::newRow(qPrintable(u"existing file, statement %1"_qs.arg(i))) << true << i;
        }
    }
    void faultDuringSave() {
        QFETCH(bool, existing);
        QFETCH(int, failAt);
        if (existing) save(u"ann"_qs, u"V.DAT"_qs, QByteArray("old"));
        failAtStatement(failAt);
        bool failed = false;
        try {
            save(u"bob"_qs, u"V.DAT"_qs, QByteArray("new"));
        } catch (const EDatabaseError& e) {
            failed = true;
            QCOMPARE(e.Message(), u"injected fault"_qs);
        }
        m_ado->SetStatementObserver({});
        const FileRow r = fileRow(u"V.DAT"_qs);
        if (failed) {
            QCOMPARE(r.count, existing ? 1 : 0);
            if (existing) {
                QCOMPARE(r.owner, u"ann"_qs);
                QCOMPARE(r.data, QByteArray("old"));
            }
        } else {
            // The save had fewer statements than failAt: it completed.
            QCOMPARE(r.owner, u"bob"_qs);
            QCOMPARE(r.data, QByteArray("new"));
        }
        QVERIFY(!m_ado->InTransaction());
    }

    // ---------------------------------------------------------------- properties

    void getProperty() {
        QString owner = u"o"_qs, users, groups, description;
        bool share = false;
        QVERIFY(
            m_conn->GetProperty(u"Cust"_qs, u"vName"_qs, u"甲"_qs, owner, share, users, groups, description));
        QCOMPARE(share, true);
        QCOMPARE(users, u",ann,"_qs);
        QCOMPARE(groups, u"[A"_qs);
        QCOMPARE(description, u"共享的"_qs);
        QCOMPARE(owner, u"o"_qs); // never written

        users = u"kept"_qs;
        share = true;
        QVERIFY(!m_conn->GetProperty(u"Cust"_qs, u"vName"_qs, u"无"_qs, owner, share, users, groups,
                                     description));
        QCOMPARE(users, u"kept"_qs);
        QCOMPARE(share, true);
    }

    void propertiesOfStoredFilesByExpression() {
        save(u"ann"_qs, u"常用\\北京.CUS"_qs, QByteArray("v"));
        QVERIFY(m_conn->SetProperty(u"Sys_FileBase"_qs, u"vFileName+vExt"_qs, u"常用\\北京.CUS"_qs, true,
                                    u",bob,"_qs, u"[B"_qs, u"北京的客户"_qs));
        QString owner, users, groups, description;
        bool share = false;
        QVERIFY(m_conn->GetProperty(u"Sys_FileBase"_qs, u"vFileName+vExt"_qs, u"常用\\北京.CUS"_qs, owner,
                                    share, users, groups, description));
        QCOMPARE(share, true);
        QCOMPARE(users, u",bob,"_qs);
        QCOMPARE(groups, u"[B"_qs);
        QCOMPARE(description, u"北京的客户"_qs);
        QCOMPARE(fileRow(u"常用\\北京.CUS"_qs).data, QByteArray("v"));
    }

    void setPropertyOnMissingKey() {
        QVERIFY(!m_conn->SetProperty(u"Cust"_qs, u"vName"_qs, u"无"_qs, true, u","_qs, QString(), QString()));
        QCOMPARE(count(u"select count(*) from Cust"_qs), 3);
        QCOMPARE(count(u"select count(*) from Cust where bShare = 1"_qs), 1);
    }

    // Two rows share the key value: "edit the first row" writes the first
    // one the query returns, and only it (the rows are told apart by their
    // identity, not by the key value).
    void setPropertyEditsTheFirstMatchingRow() {
        m_ado->Execute(QStringLiteral("insert into Cust (vName, bShare, vAllowedUsers, vAllowedGroups, "
                                      "vDescription) values ('乙', 0, ',', '', '')"));
        m_ado->SetStatementObserver([this](const QString& sql) { m_statements << sql; });
        QVERIFY(m_conn->SetProperty(u"Cust"_qs, u"vName"_qs, u"乙"_qs, true, u",o'neil,"_qs, u"[G"_qs,
                                    u"it's"_qs));
        m_ado->SetStatementObserver({});
        QCOMPARE(m_statements.first(),
                 QStringLiteral("select bShare,vAllowedUsers,vAllowedGroups,vDescription "
                                "from Cust where vName='乙'"));
        QCOMPARE(count(QStringLiteral(
                     "select count(*) from Cust where vName = '乙' and bShare = 1 and "
                     "vAllowedUsers = ',o''neil,' and vDescription = 'it''s' and iCustomerNo = 2")),
                 1);
        QCOMPARE(count(QStringLiteral("select count(*) from Cust where vName = '乙' and bShare = 0 and "
                                      "vAllowedUsers = ',' and iCustomerNo = 4")),
                 1);
        // Setting it again hits the same row.
        QVERIFY(
            m_conn->SetProperty(u"Cust"_qs, u"vName"_qs, u"乙"_qs, false, u",u2,"_qs, QString(), QString()));
        QCOMPARE(count(QStringLiteral(
                     "select count(*) from Cust where vAllowedUsers = ',u2,' and iCustomerNo = 2")),
                 1);
        QCOMPARE(count(u"select count(*) from Cust where vAllowedUsers = ',u2,'"_qs), 1);
    }

    void faultDuringSetProperty_data() {
        QTest::addColumn<int>("failAt");
        QTest::newRow("query") << 1;
        QTest::newRow("savepoint") << 2;
        QTest::newRow("update") << 3;
        QTest::newRow("release") << 4;
    }
    void faultDuringSetProperty() {
        QFETCH(int, failAt);
        failAtStatement(failAt);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->SetProperty(u"Cust"_qs, u"vName"_qs, u"乙"_qs, true,
                                                                     u",x,"_qs, u"[X"_qs, u"d"_qs));
        m_ado->SetStatementObserver({});
        QCOMPARE(count(QStringLiteral("select count(*) from Cust where vName = '乙' and bShare = 0 and "
                                      "vAllowedUsers = ',' and vAllowedGroups = ''")),
                 1);
    }

    void propertyErrorsPropagate() {
        QString o, u, g, d;
        bool s = false;
        QVERIFY_THROWS_EXCEPTION(EDatabaseError,
                                 m_conn->GetProperty(u"NoTable"_qs, u"k"_qs, u"1"_qs, o, s, u, g, d));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError,
                                 m_conn->SetProperty(u"Cust"_qs, u"nokey"_qs, u"1"_qs, true, u, g, d));
    }

    // ---------------------------------------------------------------- the rest

    void executeNonQuery() {
        QVERIFY(m_conn->ExecuteNonQuery(u"update Cust set vDescription = 'x' where vName = '丙'"_qs));
        QCOMPARE(count(u"select count(*) from Cust where vDescription = 'x'"_qs), 1);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->ExecuteNonQuery(u"update Nope set a = 1"_qs));
        QCOMPARE(&m_conn->MyConnection(), m_ado.get());
        QCOMPARE(m_conn->GetFieldName(u" 客户 名称"_qs), u" 客户 名称"_qs);
    }

    void transactionsPassThrough() {
        QCOMPARE(m_conn->BeginTrans(), 1);
        QCOMPARE(m_conn->BeginTrans(), 2);
        m_conn->ExecuteNonQuery(u"delete from Cust"_qs);
        m_conn->RollbackTrans();
        m_conn->CommitTrans();
        QCOMPARE(count(u"select count(*) from Cust"_qs), 3);
    }

    void emptyOperationsLeaveOutputsAlone() {
        int no = 42, codeLen = 7, nameLen = 8;
        char code[512], name[512];
        memset(code, 'c', sizeof code);
        memset(name, 'n', sizeof name);
        m_conn->GetCurrentUser(no, code, codeLen, name, nameLen);
        QCOMPARE(no, 42);
        QCOMPARE(codeLen, 7);
        QCOMPARE(nameLen, 8);
        m_conn->GetCurrentCustomer(no, code, codeLen, name, nameLen);
        QCOMPARE(no, 42);
        QCOMPARE(code[0], 'c');
        QCOMPARE(name[511], 'n');

        char buffer[4096];
        memset(buffer, 'b', sizeof buffer);
        int len = -3;
        m_conn->GetAuthorityString(buffer, len);
        m_conn->GetCurrrentGroups(buffer, len);
        QVERIFY(!m_conn->GetAccessUsers(buffer, len));
        QCOMPARE(len, -3);
        QCOMPARE(buffer[0], 'b');

        int identity = 5;
        m_conn->ExecuteNonQueryWithIdentity("delete from Cust", identity);
        QCOMPARE(identity, 5);
        QCOMPARE(count(u"select count(*) from Cust"_qs), 3); // not executed
        m_conn->AssignTo("a", "b", "c");
        m_conn->TransTo("a", "b", "c");
        m_conn->ChangeShareState("a", "b", "c");
        m_conn->GetTransIdentityNo();
        QBuffer stream;
        stream.open(QIODevice::ReadWrite);
        m_conn->SaveStreamComm("a", "b", "c", stream);
        m_conn->LoadStreamComm("a", "b", "c", stream);
        QCOMPARE(stream.size(), 0);
        QCOMPARE(count(u"select count(*) from Sys_FileBase"_qs), 0);
    }

    void postDeleteAndIdentity() {
        auto ds = m_conn->ExecuteWithQuery(u"select * from Cust order by iCustomerNo"_qs);
        ds->Append();
        ds->FieldByName("vName").SetAsString(u"丁"_qs);
        int identity = -1;
        QVERIFY(m_conn->DoPostWithIdentity(*ds, "ignored", "iCustomerNo", identity));
        QCOMPARE(identity, 4);
        QCOMPARE(count(u"select iCustomerNo from Cust where vName = '丁'"_qs), 4);

        ds->Edit();
        ds->FieldByName("vName").SetAsString(u"戊"_qs);
        QVERIFY(m_conn->DoPost(*ds, "", ""));
        QVERIFY(m_conn->DoPost(*ds, "", "")); // nothing pending: still true
        QCOMPARE(count(u"select count(*) from Cust where vName = '戊'"_qs), 1);

        QVERIFY(m_conn->DoDelete(*ds, "", ""));
        QCOMPARE(count(u"select count(*) from Cust"_qs), 3);

        m_conn->ExecuteNonQuery(u"insert into Cust (vName) values ('己')"_qs);
        m_conn->DoRefresh(*ds, "");
        QCOMPARE(ds->RecordCount(), 4);
    }

    // ---------------------------------------------------------------- temporary customer table

    void createTempCustomerDB() {
        RecordingConnection conn(*m_ado);
        const QByteArray name = Gbk::encode(u"导入客户"_qs);
        QVERIFY(conn.CreateTempCustomerDB(name.constData()));
        QCOMPARE(conn.batches.size(), 1);
        const QString expected = QStringLiteral(
            " if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[导入客户]') and "
            "OBJECTPROPERTY(id, N'IsUserTable') = 1)"
            " drop table [dbo].[导入客户]"
            " "
            " CREATE TABLE [dbo].[导入客户] ("
            " \t[客户编码] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[客户名称] [varchar] (80) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[地址] [varchar] (80) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[客户英文名称] [varchar] (80) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[客户英文地址] [varchar] (80) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[省份] [varchar] (20) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[城市] [varchar] (20) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[邮政编码] [varchar] (6) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[网址] [varchar] (80) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[备注] [varchar] (500) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[客户类型] [varchar] (20) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[联系人] [varchar] (20) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[性别] [varchar] (8) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[电话] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[传真] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[手机] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[Email] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[自定义01] [varchar] (200) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[自定义02] [varchar] (200) COLLATE Chinese_PRC_CI_AS NULL ,"
            " \t[日期01] [datetime] NULL ,"
            " \t[日期02] [datetime] NULL "
            " ) ON [PRIMARY]");
        QCOMPARE(conn.batches.first(), expected);

        // The table exists with its 21 columns, and a second run replaces it.
        conn.ExecuteNonQuery(u"insert into 导入客户 (客户编码, 日期01) values ('K1', '2024-01-02')"_qs);
        auto ds = conn.ExecuteWithQuery(u"select * from 导入客户"_qs);
        QCOMPARE(ds->FieldCount(), 21);
        QCOMPARE(ds->RecordCount(), 1);
        QCOMPARE(ds->Fields(20).FieldName(), u"日期02"_qs);
        QVERIFY(IsDateTypeGroup(ds->FieldByName("日期01").DataType()));
        QVERIFY(conn.CreateTempCustomerDB(name.constData()));
        QCOMPARE(conn.ExecuteWithQuery(u"select * from 导入客户"_qs)->RecordCount(), 0);
    }
};

LNQ_TEST_MAIN_CORE(TestPlatAdoDatabase)
#include "tst_Plat_adodatabasese.moc"
