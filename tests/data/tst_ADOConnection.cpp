#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/ConnectionString.h"
#include "data/SqliteDriver.h"
#include "util/Exceptions.h"

#include <QFile>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <cmath>

using namespace lnq;

namespace {

int countRows(TADOConnection& c, const QString& sql) {
    TADODataSet ds;
    ds.SetConnection(&c);
    ds.SetCommandText(sql);
    ds.Open();
    return ds.Fields(0).AsInteger();
}

} // namespace

class TestADOConnection : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<TADOConnection> m_conn;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    void openDataSet(TADODataSet& ds, const QString& sql) {
        ds.SetConnection(m_conn.get());
        ds.SetCommandText(sql);
        ds.Open();
    }

private Q_SLOTS:
    void init() {
        QVERIFY(m_dir.isValid());
        QFile::remove(path(u"t.db"_qs));
        m_conn = std::make_unique<TADOConnection>();
        m_conn->SetConnectionString(u"Provider=SQLite;Busy Timeout=300;Data Source="_qs + path(u"t.db"_qs));
        m_conn->Open();
        m_conn->ExecuteNative(QStringLiteral(
            "CREATE TABLE T (iNo INTEGER PRIMARY KEY AUTOINCREMENT, dWhen DATETIME, bFlag BIT NOT NULL "
            "DEFAULT 1,"
            " mPrice MONEY, dcAmount DECIMAL(18,2), vName NVARCHAR(50) COLLATE NOCASE, iQty INT, iBig BIGINT,"
            " fRate FLOAT, imgData IMAGE, dDay DATE, vNote TEXT DEFAULT '备注');"
            "INSERT INTO T (dWhen, bFlag, mPrice, dcAmount, vName, iQty, iBig, fRate, imgData, dDay) VALUES"
            " ('2024-03-05 14:30:15', 1, 12.5, 1234.56, '张三', 7, 9000000000, 0.25, x'00FF10', "
            "'2024-03-05'),"
            " (NULL, 0, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);"
            "CREATE TABLE NoKey (vName NVARCHAR(20), iQty INT);"
            "INSERT INTO NoKey VALUES ('a', 1), ('b', 2), ('dup', 3), ('dup', 3);"));
    }
    void cleanup() { m_conn.reset(); }

    // ---------------------------------------------------------------- strings

    void odbcMapping_data() {
        QTest::addColumn<QString>("ado");
        QTest::addColumn<QString>("odbc");
        // Every mapped string names the driver first and ends with the protocol and character set.
        auto row = [](const char* name, const char* ado, const char* odbc) {
            QTest::newRow(name) << QString::fromLatin1(ado)
                                << u"DRIVER={FreeTDS};"_qs + QString::fromLatin1(odbc) +
                                       u";TDS_Version=7.4;ClientCharset=UTF-8"_qs;
        };
        row("classic SQLOLEDB string",
            "Provider=SQLOLEDB.1;Password=secret;Persist Security Info=True;User ID=sa;"
            "Initial Catalog=KxData;Data Source=(local)",
            "SERVER=localhost;PORT=1433;DATABASE=KxData;UID=sa;PWD=secret");
        row("blanks around pairs, dot server",
            "Provider=SQLOLEDB; Password=p1; User ID=kx; Data Source=.; Initial Catalog=Shop",
            "SERVER=localhost;PORT=1433;DATABASE=Shop;UID=kx;PWD=p1");
        row("named instance has no port",
            "Provider=SQLOLEDB;User ID=sa;Password=x;Data Source=SRV01\\SQLEXPRESS;Initial Catalog=db",
            "SERVER=SRV01\\SQLEXPRESS;DATABASE=db;UID=sa;PWD=x");
        row("host and port",
            "Provider=SQLOLEDB;User ID=sa;Password=x;Data Source=10.0.0.5,1435;Initial Catalog=db",
            "SERVER=10.0.0.5;PORT=1435;DATABASE=db;UID=sa;PWD=x");
        row("integrated security",
            "Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Initial Catalog=db;"
            "Data Source=dbhost",
            "SERVER=dbhost;PORT=1433;DATABASE=db;Trusted_Connection=Yes");
        row("quoted password with separators",
            "Provider=SQLOLEDB;User ID=sa;Password=\"a;b}c\"\"d\";Data Source=h;Initial Catalog=db",
            "SERVER=h;PORT=1433;DATABASE=db;UID=sa;PWD={a;b}}c\"d}");
        row("empty password kept", "Provider=SQLOLEDB;User ID=sa;Data Source=h",
            "SERVER=h;PORT=1433;UID=sa;PWD=");
        QTest::newRow("protocol version and charset overridden")
            << "Provider=SQLNCLI10;User ID=sa;Password=x;Data Source=old;TDS_Version=7.1;ClientCharset=GBK"
            << "DRIVER={FreeTDS};SERVER=old;PORT=1433;UID=sa;PWD=x;TDS_Version=7.1;ClientCharset=GBK";
        QTest::newRow("ready ODBC string untouched") << "Driver={FreeTDS};Server=h;Port=1433;UID=a;PWD=b"
                                                     << "Driver={FreeTDS};Server=h;Port=1433;UID=a;PWD=b";
    }
    void odbcMapping() {
        QFETCH(QString, ado);
        QFETCH(QString, odbc);
        const TConnectionInfo info = ResolveConnectionString(ado);
        QCOMPARE(info.kind, TConnectionInfo::Kind::SqlServer);
        QCOMPARE(info.odbc, odbc);
    }

    void embeddedStrings_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("file");
        const auto row = lnqtest::textRow;
        row("quoted path with semicolon", "provider=sqlite; data source='/tmp/x;y.db'", "/tmp/x;y.db");
        row("bare path", "/var/lib/lnq/demo.db", "/var/lib/lnq/demo.db");
        row("bare relative path", "  demo.db ", "demo.db");
    }
    void embeddedStrings() {
        QFETCH(QString, text);
        QFETCH(QString, file);
        const TConnectionInfo info = ResolveConnectionString(text);
        QCOMPARE(info.kind, TConnectionInfo::Kind::Embedded);
        QCOMPARE(info.file, file);
    }

    void refusedStrings_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");
        const auto row = lnqtest::textRow;
        row("empty", "   ", "连接字符串为空");
        row("jet provider", "Provider=Microsoft.Jet.OLEDB.4.0;Data Source= 'a.xls'",
            "不支持的数据库提供程序: Microsoft.Jet.OLEDB.4.0");
        row("sqlite without file", "Provider=SQLite", "连接字符串没有指定数据库文件 (Data Source)");
    }
    void refusedStrings() {
        QFETCH(QString, text);
        QFETCH(QString, message);
        try {
            ResolveConnectionString(text);
            QFAIL("accepted");
        } catch (const EDatabaseError& e) {
            QCOMPARE(e.Message(), message);
        }
    }

    void stripPassword() {
        QCOMPARE(StripPassword(u"Provider=SQLOLEDB;Password=x;User ID=sa;Data Source=h"_qs),
                 u"Provider=SQLOLEDB;User ID=sa;Data Source=h"_qs);
        QCOMPARE(StripPassword(u"Provider=SQLOLEDB;PWD=\"a;b\";Initial Catalog=\"my;db\""_qs),
                 u"Provider=SQLOLEDB;Initial Catalog=\"my;db\""_qs);
    }

    // ---------------------------------------------------------------- reading

    // Declared types go through the one mapping of declared types (checked on
    // its own); the driver adds the identity and the scale.
    void declaredTypesGiveFieldTypes_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("scale"); // -1: not checked
        QTest::newRow("identity") << "iNo" << int(TFieldType::ftAutoInc) << -1;
        QTest::newRow("money") << "mPrice" << int(TFieldType::ftCurrency) << 4;
        QTest::newRow("decimal") << "dcAmount" << int(TFieldType::ftBCD) << 2;
        QTest::newRow("date") << "dDay" << int(TFieldType::ftDate) << -1;
    }
    void declaredTypesGiveFieldTypes() {
        QFETCH(QString, field);
        QFETCH(int, type);
        QFETCH(int, scale);
        TADODataSet ds;
        openDataSet(ds, u"select * from T order by iNo"_qs);
        QCOMPARE(int(ds.FieldByName(field).DataType()), type);
        if (scale >= 0) QCOMPARE(ds.FieldDefs()[size_t(ds.FieldByName(field).Index())].Scale, scale);
        QVERIFY(ds.FieldByName(u"vName"_qs).DataType() == TFieldType::ftString ||
                ds.FieldByName(u"vName"_qs).DataType() == TFieldType::ftWideString);
    }

    void valuesArriveTyped() {
        TADODataSet ds;
        openDataSet(ds, u"select * from T order by iNo"_qs);
        QCOMPARE(ds.RecordCount(), 2);
        QCOMPARE(ds.FieldByName("dWhen").AsDateTime(), QDateTime(QDate(2024, 3, 5), QTime(14, 30, 15)));
        QCOMPARE(ds.FieldByName("bFlag").AsBoolean(), true);
        QCOMPARE(ds.FieldByName("mPrice").AsCurrency(), 12.5);
        QCOMPARE(ds.FieldByName("dcAmount").AsFloat(), 1234.56);
        QCOMPARE(ds.FieldByName("vName").AsString(), u"张三"_qs);
        QCOMPARE(ds.FieldByName("iBig").AsLargeInt(), Q_INT64_C(9000000000));
        QCOMPARE(ds.FieldByName("imgData").AsBytes(), QByteArray("\x00\xFF\x10", 3));
        QCOMPARE(ds.FieldByName("dDay").AsDateTime().date(), QDate(2024, 3, 5));
        ds.Next();
        for (const char* f :
             {"dWhen", "mPrice", "dcAmount", "vName", "iQty", "iBig", "fRate", "imgData", "dDay"})
            QVERIFY2(ds.FieldByName(QString::fromLatin1(f)).IsNull(), f);
        QCOMPARE(ds.FieldByName("bFlag").AsBoolean(), false);
    }

    void keyAndBaseColumns() {
        TADODataSet ds;
        openDataSet(ds, u"select iNo, vName as Alias, iQty*2 as Twice from T"_qs);
        const TFieldDefs& defs = ds.FieldDefs();
        QVERIFY(defs[0].IsKey);
        QVERIFY(defs[0].ReadOnly);
        QCOMPARE(defs[1].Name, u"Alias"_qs);
        QCOMPARE(defs[1].BaseColumn, u"vName"_qs);
        QCOMPARE(defs[1].BaseTable, u"T"_qs);
        QVERIFY(!defs[1].ReadOnly);
        QVERIFY(defs[2].ReadOnly);
        QVERIFY(defs[2].BaseTable.isEmpty());
    }

    void expressionColumnsTakeTheValueType() {
        TADODataSet ds;
        openDataSet(ds, u"select count(*) as n, sum(fRate) as s, 'x' as t from T"_qs);
        QVERIFY(IsNumberTypeGroup(ds.FieldByName("n").DataType()));
        QCOMPARE(ds.FieldByName("n").AsInteger(), 2);
        QCOMPARE(ds.FieldByName("s").AsFloat(), 0.25);
        QCOMPARE(ds.FieldByName("t").AsString(), u"x"_qs);
    }

    void statementWithoutRowsIsRefusedAfterRunning() {
        TADODataSet ds;
        ds.SetConnection(m_conn.get());
        ds.SetCommandText(u"insert into NoKey (vName, iQty) values ('z', 9)"_qs);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.Open());
        QVERIFY(!ds.Active());
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName='z'"_qs), 1);
    }

    void returnsRows_data() {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("rows");
        QTest::newRow("select") << "select * from T" << true;
        QTest::newRow("top") << "select top 1 vName from T" << true;
        QTest::newRow("update") << "update T set iQty = 1 where 1=0" << false;
        QTest::newRow("batch") << "delete from NoKey where 1=0; select * from T" << false;
        QTest::newRow("bad") << "selec * from T" << false;
    }
    void returnsRows() {
        QFETCH(QString, sql);
        QFETCH(bool, rows);
        QCOMPARE(m_conn->ReturnsRows(sql), rows);
    }

    void errorsAreDatabaseErrors_data() {
        QTest::addColumn<QString>("sql");
        QTest::newRow("missing table") << "select * from NoSuchTable";
        QTest::newRow("missing column") << "select nothere from T";
        QTest::newRow("syntax") << "select from where";
    }
    void errorsAreDatabaseErrors() {
        QFETCH(QString, sql);
        TADODataSet ds;
        ds.SetConnection(m_conn.get());
        ds.SetCommandText(sql);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.Open());
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->Execute(sql));
        // The connection stays usable.
        QCOMPARE(countRows(*m_conn, u"select count(*) from T"_qs), 2);
    }

    void badFiles() {
        QFile junk(path(u"junk.db"_qs));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write(QByteArray(4096, 'x'));
        junk.close();
        TADOConnection c;
        c.SetConnectionString(path(u"junk.db"_qs));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, c.Open());
        QVERIFY(!c.Connected());
        c.SetConnectionString(path(u"no/such/dir/x.db"_qs));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, c.Open());
    }

    void createdOnDemand() {
        const QString file = path(u"new.db"_qs);
        QFile::remove(file);
        TADOConnection c;
        c.SetConnectionString(file);
        QVERIFY(c.IsEmbedded());
        c.Execute(u"create table X (a int)"_qs);
        QVERIFY(c.Connected());
        QVERIFY(QFile::exists(file));
        QCOMPARE(c.DatabaseFile(), file);
    }

    // ---------------------------------------------------------------- posting

    void postModifyInsertDelete() {
        TADODataSet ds;
        openDataSet(ds, u"select * from T order by iNo"_qs);
        ds.Edit();
        ds.FieldByName("vName").SetAsString(u"李四"_qs);
        ds.FieldByName("mPrice").SetAsCurrency(99.75);
        ds.FieldByName("dWhen").SetAsDateTime(QDateTime(QDate(2023, 12, 31), QTime(23, 59, 59, 120)));
        ds.Post();

        ds.Append();
        ds.FieldByName("vName").SetAsString(u"王'五"_qs);
        ds.FieldByName("iQty").SetAsInteger(3);
        ds.Post();
        // The identity and the defaults come back from the database.
        QVERIFY(ds.FieldByName("iNo").AsInteger() >= 3);
        QCOMPARE(ds.FieldByName("bFlag").AsBoolean(), true);
        QCOMPARE(ds.FieldByName("vNote").AsString(), u"备注"_qs);
        const int newId = ds.FieldByName("iNo").AsInteger();

        TADODataSet check;
        openDataSet(check, u"select * from T order by iNo"_qs);
        QCOMPARE(check.RecordCount(), 3);
        QCOMPARE(check.FieldByName("vName").AsString(), u"李四"_qs);
        QCOMPARE(check.FieldByName("mPrice").AsCurrency(), 99.75);
        QCOMPARE(check.FieldByName("dWhen").AsDateTime(),
                 QDateTime(QDate(2023, 12, 31), QTime(23, 59, 59, 120)));
        QVERIFY(check.Locate(u"iNo"_qs, newId));
        QCOMPARE(check.FieldByName("vName").AsString(), u"王'五"_qs);

        QVERIFY(ds.Locate(u"iNo"_qs, 1));
        ds.Delete();
        QCOMPARE(countRows(*m_conn, u"select count(*) from T"_qs), 2);
        QCOMPARE(countRows(*m_conn, u"select count(*) from T where iNo = 1"_qs), 0);
    }

    // Which row a post writes: the rowid the dataset holds hidden when the
    // select lacks the table's key, else the key, else all values as read.
    void rowCriteria_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<int>("fields"); // the dataset's fields: the identity is not one
        QTest::addColumn<QString>("column");
        QTest::addColumn<QString>("where"); // of the UPDATE sent (DISTINCT makes text columns expressions)
        QTest::addColumn<bool>("posts");
        const QString odd = QStringLiteral(
            "CREATE TABLE Odd (rowid TEXT, v INT); INSERT INTO Odd VALUES ('x', 1), ('x', 1);");
        const QString wr = QStringLiteral("CREATE TABLE WR (k TEXT PRIMARY KEY, v INT) WITHOUT ROWID; "
                                          "INSERT INTO WR VALUES ('k1', 5), ('k2', 5), ('k3', 6);");
        const QString view = u"CREATE VIEW V AS SELECT * FROM NoKey;"_qs;
        auto row = [](const char* name, const QString& setup, const char* sql, int fields, const char* column,
                      const char* where, bool posts) {
            QTest::newRow(name) << setup << QString::fromLatin1(sql) << fields << QString::fromLatin1(column)
                                << QString::fromLatin1(where) << posts;
        };
        row("key in the select", {}, "select * from T order by iNo", 12, "iQty", "\"iNo\"=?", true);
        row("key not in the select", {}, "select vName, iQty from T order by iNo", 2, "iQty", "\"rowid\"=?",
            true);
        row("alias, order by position", {},
            "select iQty, vName from NoKey n where n.vName = 'dup' order by 2, 1", 2, "iQty", "\"rowid\"=?",
            true);
        row("top", {}, "select top 2 iQty from NoKey where iQty = 3", 1, "iQty", "\"rowid\"=?", true);
        row("a column called rowid", odd, "select v from Odd", 1, "v", "\"_rowid_\"=?", true);
        row("distinct: values as read", {}, "select distinct vName, iQty from NoKey where iQty = 1", 2,
            "iQty", "\"iQty\"=?", true);
        row("distinct: two rows met, refused", {},
            "select distinct vName, iQty from NoKey where vName = 'dup'", 2, "iQty", "\"iQty\"=?", false);
        row("without rowid: all values, refused", wr, "select v from WR order by k", 1, "v", "\"v\"=?",
            false);
        // The columns of a view name the table they come from: that table is written.
        row("view: no identity", view, "select * from V where vName = 'a'", 2, "iQty",
            "\"vName\"=? AND \"iQty\"=?", true);
    }
    void rowCriteria() {
        QFETCH(QString, setup);
        QFETCH(QString, sql);
        QFETCH(int, fields);
        QFETCH(QString, column);
        QFETCH(QString, where);
        QFETCH(bool, posts);
        if (!setup.isEmpty()) m_conn->ExecuteNative(setup);
        TADODataSet ds;
        openDataSet(ds, sql);
        QCOMPARE(ds.FieldCount(), fields);
        const QString table = ds.FieldByName(column).Def().BaseTable;
        const QString countSql = u"select count(*) from "_qs + table + u" where "_qs + column + u" = 77"_qs;
        const int before = countRows(*m_conn, u"select count(*) from "_qs + table);
        QStringList updates;
        m_conn->SetStatementObserver([&](const QString& text) {
            if (text.startsWith(QLatin1String("UPDATE "))) updates << text;
        });
        ds.Edit();
        ds.FieldByName(column).SetAsInteger(77);
        bool posted = true;
        try {
            ds.Post();
        } catch (const EDatabaseError&) {
            posted = false;
        }
        m_conn->SetStatementObserver({});
        QCOMPARE(posted, posts);
        QCOMPARE(updates.size(), 1);
        QVERIFY2(updates[0].endsWith(u" WHERE "_qs + where), qPrintable(updates[0]));
        QCOMPARE(countRows(*m_conn, countSql), posts ? 1 : 0);
        QCOMPARE(countRows(*m_conn, u"select count(*) from "_qs + table), before);
        QVERIFY(!m_conn->InTransaction());
    }

    // Rows with identical values: each post writes exactly the row it read,
    // also a row inserted through the dataset and rows reached by a clone.
    void identicalRowsAreToldApart() {
        auto rows = [this] {
            TADODataSet all;
            openDataSet(all, u"select rowid as r, vName, iQty from NoKey order by rowid"_qs);
            QStringList out;
            for (all.First(); !all.Eof(); all.Next())
                out << all.FieldByName("r").AsString() + QLatin1Char(':') +
                           all.FieldByName("vName").AsString() + QLatin1Char('=') +
                           all.FieldByName("iQty").AsString();
            return out.join(QLatin1Char(' '));
        };
        TADODataSet ds;
        openDataSet(ds, u"select vName, iQty from NoKey order by vName, iQty"_qs);
        QCOMPARE(rows(), u"1:a=1 2:b=2 3:dup=3 4:dup=3"_qs);
        // The second "dup" as the dataset reads it is row 4.
        ds.Last();
        ds.Edit();
        ds.FieldByName("iQty").SetAsInteger(4);
        ds.Post();
        QCOMPARE(rows(), u"1:a=1 2:b=2 3:dup=3 4:dup=4"_qs);

        TADODataSet clone;
        clone.Clone(ds);
        QVERIFY(clone.Locate(u"vName;iQty"_qs, QVariantList{u"dup"_qs, 3}));
        clone.Delete();
        QCOMPARE(rows(), u"1:a=1 2:b=2 4:dup=4"_qs);

        // A new row identical to an old one, then edited and deleted.
        ds.Append();
        ds.FieldByName("vName").SetAsString(u"a"_qs);
        ds.FieldByName("iQty").SetAsInteger(1);
        ds.Post();
        QCOMPARE(rows(), u"1:a=1 2:b=2 4:dup=4 5:a=1"_qs);
        ds.Edit();
        ds.FieldByName("iQty").SetAsInteger(6);
        ds.Post();
        QCOMPARE(rows(), u"1:a=1 2:b=2 4:dup=4 5:a=6"_qs);
        QVERIFY(clone.Locate(u"vName;iQty"_qs, QVariantList{u"a"_qs, 6}));
        clone.Delete();
        QCOMPARE(rows(), u"1:a=1 2:b=2 4:dup=4"_qs);
        // After a requery the identities are read again.
        ds.Requery();
        ds.First();
        ds.Edit();
        ds.FieldByName("iQty").SetAsInteger(9);
        ds.Post();
        QCOMPARE(rows(), u"1:a=9 2:b=2 4:dup=4"_qs);
    }

    // The same text after the table was re-created with a column called
    // rowid: the identity is read by another name.
    void identityFollowsSchemaChanges() {
        for (const char* ddl : {"CREATE TABLE S (a INT); INSERT INTO S VALUES (1), (1);",
                                "DROP TABLE S; CREATE TABLE S (rowid TEXT, a INT); "
                                "INSERT INTO S VALUES ('x', 1), ('x', 1);"}) {
            m_conn->ExecuteNative(QString::fromLatin1(ddl));
            TADODataSet ds;
            openDataSet(ds, u"select a from S"_qs);
            ds.Last();
            ds.Edit();
            ds.FieldByName("a").SetAsInteger(2);
            ds.Post();
            QCOMPARE(countRows(*m_conn, u"select count(*) from S where a = 2 and _rowid_ = 2"_qs), 1);
            QCOMPARE(countRows(*m_conn, u"select count(*) from S where a = 1"_qs), 1);
        }
    }

    // A failure at any statement of a post by the rowid leaves the rows as
    // they were, and the same post succeeds afterwards.
    void faultDuringPostByIdentity_data() {
        QTest::addColumn<bool>("remove");
        QTest::addColumn<int>("failAt");
        for (int i = 1; i <= 3; ++i) {
            QTest::newRow(qPrintable(u"edit, statement %1"_qs.arg(i))) << false << i;
            QTest::newRow(qPrintable(u"delete, statement %1"_qs.arg(i))) << true << i;
        }
    }
    void faultDuringPostByIdentity() {
        QFETCH(bool, remove);
        QFETCH(int, failAt);
        TADODataSet ds;
        openDataSet(ds, u"select iQty from NoKey where vName = 'dup'"_qs);
        int n = 0;
        m_conn->SetStatementObserver([&](const QString&) {
            if (++n == failAt) throw EDatabaseError(u"injected"_qs);
        });
        if (remove) {
            QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.Delete());
        } else {
            ds.Edit();
            ds.FieldByName("iQty").SetAsInteger(8);
            QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.Post());
        }
        m_conn->SetStatementObserver({});
        QVERIFY(!m_conn->InTransaction());
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName = 'dup' and iQty = 3"_qs), 2);
        if (remove)
            ds.Delete();
        else
            ds.Post();
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName = 'dup' and iQty = 3"_qs), 1);
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey"_qs), remove ? 3 : 4);
    }

    void postOfVanishedRowFails() {
        TADODataSet ds;
        openDataSet(ds, u"select * from T order by iNo"_qs);
        m_conn->Execute(u"delete from T where iNo = 1"_qs);
        ds.Edit();
        ds.FieldByName("iQty").SetAsInteger(1);
        try {
            ds.Post();
            QFAIL("posted");
        } catch (const EDatabaseError& e) {
            QCOMPARE(e.Message(), u"无法为更新定位行。一些值可能已在最后一次读取后已更改。"_qs);
        }
    }

    // A failure at any statement of a post leaves the table as it was.
    void faultDuringPostLeavesRowsUnchanged_data() {
        QTest::addColumn<int>("failAt");
        for (int i = 1; i <= 4; ++i)
            QTest::newRow(qPrintable(u"statement %1"_qs.arg(i))) << i;
    }
    void faultDuringPostLeavesRowsUnchanged() {
        QFETCH(int, failAt);
        TADODataSet ds;
        openDataSet(ds, u"select * from T order by iNo"_qs);
        int n = 0;
        QStringList seen;
        m_conn->SetStatementObserver([&](const QString& sql) {
            seen << sql;
            if (++n == failAt) throw EDatabaseError(u"injected"_qs);
        });
        ds.Append();
        ds.FieldByName("vName").SetAsString(u"新"_qs);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.Post());
        m_conn->SetStatementObserver({});
        QVERIFY2(n >= failAt, qPrintable(seen.join(QLatin1Char('\n'))));
        QCOMPARE(countRows(*m_conn, u"select count(*) from T"_qs), 2);
        QVERIFY(!m_conn->InTransaction());
        // The connection still works, and so does the same post now.
        ds.Post();
        QCOMPARE(countRows(*m_conn, u"select count(*) from T"_qs), 3);
    }

    // ---------------------------------------------------------------- transactions

    void nestedTransactions() {
        QCOMPARE(m_conn->BeginTrans(), 1);
        m_conn->Execute(u"insert into NoKey values ('outer', 1)"_qs);
        QCOMPARE(m_conn->BeginTrans(), 2);
        m_conn->Execute(u"insert into NoKey values ('inner', 1)"_qs);
        m_conn->RollbackTrans();
        QCOMPARE(m_conn->TransactionLevel(), 1);
        QCOMPARE(m_conn->BeginTrans(), 2);
        m_conn->Execute(u"insert into NoKey values ('kept', 1)"_qs);
        m_conn->CommitTrans();
        m_conn->CommitTrans();
        QVERIFY(!m_conn->InTransaction());
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName='outer'"_qs), 1);
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName='inner'"_qs), 0);
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName='kept'"_qs), 1);
    }

    void postInsideTransactionRollsBack() {
        TADODataSet ds;
        openDataSet(ds, u"select * from T order by iNo"_qs);
        m_conn->BeginTrans();
        ds.Edit();
        ds.FieldByName("vName").SetAsString(u"临时"_qs);
        ds.Post();
        QCOMPARE(countRows(*m_conn, u"select count(*) from T where vName='临时'"_qs), 1);
        m_conn->RollbackTrans();
        QCOMPARE(countRows(*m_conn, u"select count(*) from T where vName='临时'"_qs), 0);
    }

    void commitWithoutTransactionFails() {
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->CommitTrans());
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, m_conn->RollbackTrans());
        QCOMPARE(m_conn->TransactionLevel(), 0);
    }

    void closeAbandonsTransaction() {
        m_conn->BeginTrans();
        m_conn->Execute(u"insert into NoKey values ('lost', 1)"_qs);
        m_conn->Close();
        QVERIFY(!m_conn->InTransaction());
        QCOMPARE(countRows(*m_conn, u"select count(*) from NoKey where vName='lost'"_qs), 0);
    }

    void lockedDatabaseReportsError() {
        TADOConnection other;
        other.SetConnectionString(path(u"t.db"_qs));
        other.ExecuteNative(u"BEGIN EXCLUSIVE"_qs);
        try {
            m_conn->Execute(u"insert into NoKey values ('x', 1)"_qs);
            QFAIL("wrote into a locked database");
        } catch (const EDatabaseError& e) {
            QVERIFY2(e.Message().contains(QLatin1String("locked")), qPrintable(e.Message()));
        }
        other.ExecuteNative(u"ROLLBACK"_qs);
        m_conn->Execute(u"insert into NoKey values ('x', 1)"_qs);
    }

    // ---------------------------------------------------------------- date text

    void dateText_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("full") << QByteArray("2024-02-29 23:59:59") << true
                              << QDateTime(QDate(2024, 2, 29), QTime(23, 59, 59));
        QTest::newRow("millis") << QByteArray("2024-01-01 00:00:00.250") << true
                                << QDateTime(QDate(2024, 1, 1), QTime(0, 0, 0, 250));
        QTest::newRow("T separator, no seconds")
            << QByteArray("2024-01-01T08:05") << true << QDateTime(QDate(2024, 1, 1), QTime(8, 5));
        QTest::newRow("date only") << QByteArray("1999-12-31") << true
                                   << QDateTime(QDate(1999, 12, 31), QTime(0, 0));
        QTest::newRow("before 1899") << QByteArray("1850-06-01 06:00:00") << true
                                     << QDateTime(QDate(1850, 6, 1), QTime(6, 0));
        QTest::newRow("no leap day") << QByteArray("2023-02-29") << false << QDateTime();
        QTest::newRow("hour 24") << QByteArray("2023-01-01 24:00:00") << false << QDateTime();
        QTest::newRow("junk") << QByteArray("yesterday") << false << QDateTime();
        QTest::newRow("trailing junk") << QByteArray("2023-01-01 10:00:00x") << false << QDateTime();
    }
    void dateText() {
        QFETCH(QByteArray, text);
        QFETCH(bool, valid);
        QFETCH(QDateTime, expected);
        TDateTime v = -1;
        QCOMPARE(ParseSqliteDateTime(text.constData(), int(text.size()), v), valid);
        if (!valid) return;
        QCOMPARE(DateTimeToQt(v), expected);
        QCOMPARE(v, DateTimeFromQt(expected));
    }

    // ---------------------------------------------------------------- SQL Server

    void unreachableServerReportsTheDriversError() {
        if (!QSqlDatabase::isDriverAvailable(u"QODBC"_qs)) QSKIP("Qt's ODBC driver is not installed");
        TADOConnection c;
        c.SetConnectionString(
            QStringLiteral("Provider=SQLOLEDB;Password=x;User ID=sa;Data Source=127.0.0.1,1;"
                           "Initial Catalog=db;Connect Timeout=2"));
        QVERIFY(!c.IsEmbedded());
        try {
            c.Open();
            QFAIL("connected to port 1");
        } catch (const EDatabaseError& e) {
            QVERIFY2(e.Message().contains(QLatin1String("connect"), Qt::CaseInsensitive),
                     qPrintable(e.Message()));
        }
        QVERIFY(!c.Connected());
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, c.Execute(u"select 1"_qs));
    }

    void liveSqlServer() {
        const QString cs = qEnvironmentVariable("LNQ_TEST_MSSQL");
        if (cs.isEmpty()) QSKIP("LNQ_TEST_MSSQL names no SQL Server connection string");
        TADOConnection c;
        c.SetConnectionString(cs);
        c.Open();
        QVERIFY(!c.IsEmbedded());
        c.Execute(QStringLiteral("if object_id('tempdb..#lnq') is not null drop table #lnq "
                                 "create table #lnq (iNo int identity(1,1) primary key, vName nvarchar(20), "
                                 "mPrice money, dWhen datetime, bFlag bit)"));
        c.Execute(QStringLiteral("insert into #lnq (vName, mPrice, dWhen, bFlag) values "
                                 "(N'张三', 12.5, '2024-03-05 14:30:15', 1)"));
        TADODataSet ds;
        ds.SetConnection(&c);
        ds.SetCommandText(u"select * from #lnq"_qs);
        ds.Open();
        QCOMPARE(ds.FieldByName("iNo").DataType(), TFieldType::ftAutoInc);
        QCOMPARE(ds.FieldByName("mPrice").DataType(), TFieldType::ftCurrency);
        QCOMPARE(ds.FieldByName("bFlag").DataType(), TFieldType::ftBoolean);
        QCOMPARE(ds.FieldByName("vName").AsString(), u"张三"_qs);
        QCOMPARE(ds.FieldByName("dWhen").AsDateTime(), QDateTime(QDate(2024, 3, 5), QTime(14, 30, 15)));
        QCOMPARE(c.BeginTrans(), 1);
        QCOMPARE(c.BeginTrans(), 2);
        c.RollbackTrans();
        c.CommitTrans();
        QVERIFY(!c.ConnectionString().contains(QLatin1String("Password"), Qt::CaseInsensitive) ||
                cs.contains(QLatin1String("Persist Security Info=True"), Qt::CaseInsensitive));
    }
};

LNQ_TEST_MAIN_CORE(TestADOConnection)
#include "tst_ADOConnection.moc"
