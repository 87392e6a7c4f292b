#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "util/Exceptions.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace lnq;

class TestPlatDataEnvironment : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<TADOConnection> m_ado;
    QString m_cache;

    std::unique_ptr<TADOConnection> openDatabase(const QString& name, const QString& rows) {
        const QString file = m_dir.filePath(name);
        QFile::remove(file);
        auto c = std::make_unique<TADOConnection>();
        c->SetConnectionString(file);
        SampleDatabase::CreateSchema(*c);
        if (!rows.isEmpty())
            c->ExecuteNative(
                QStringLiteral(
                    "INSERT INTO Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) "
                    "VALUES ") +
                rows);
        return c;
    }

private Q_SLOTS:
    void init() {
        QVERIFY(m_dir.isValid());
        m_cache = m_dir.filePath(u"FldAttr.xml"_qs);
        QFile::remove(m_cache);
        TDataEnvironment::SetCacheFileName(m_cache);
        TDataEnvironment::FreeInstance();
        m_ado = openDatabase(u"d.db"_qs, QStringLiteral("('Cust', 'vName', '客户名称', 1),"
                                                        "('Cust', 'vCode', NULL, 1),"
                                                        "('Cust', 'vSecret', '密码', 0),"
                                                        "('Cust', 'iAge', NULL, 0),"
                                                        "('Cust', 'vMixedCase', '混合', 1),"
                                                        "('Cust', 'vCity', '城市', 1),"
                                                        "('Orders', 'vCity', '发货城市', 1)"));
    }
    void cleanup() {
        TDataEnvironment::FreeInstance();
        m_ado.reset();
    }
    void cleanupTestCase() { TDataEnvironment::SetCacheFileName(QString()); }

    void defaultCacheIsBesideTheExecutable() {
        TDataEnvironment::SetCacheFileName(QString());
        QCOMPARE(TDataEnvironment::CacheFileName(), QCoreApplication::applicationDirPath() + "/FldAttr.xml");
        TDataEnvironment::SetCacheFileName(m_cache);
    }

    void captions_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("caption");
        const auto row = lnqtest::textRow;
        row("caption", "vName", "客户名称");
        row("null caption shows the name", "vCode", "vCode");
        row("hidden despite a caption", "vSecret", "NotVisible");
        row("hidden without caption", "iAge", "NotVisible");
        row("letter case ignored", "VMIXEDCASE", "混合");
        row("first table wins", "vcity", "城市");
        row("unknown", "vNothing", "vNothing");
        row("empty", "", "");
    }
    void captions() {
        QFETCH(QString, name);
        QFETCH(QString, caption);
        TDataEnvironment& env = TDataEnvironment::GetInstance(*m_ado);
        QCOMPARE(env.GetTitleCaption(name), caption);
    }

    void buildingWritesTheCache() {
        QVERIFY(!QFile::exists(m_cache));
        TDataEnvironment::GetInstance(*m_ado);
        QVERIFY(QFile::exists(m_cache));
        // The file is a whole record set of the dictionary.
        TADODataSet copy;
        copy.LoadFromFile(m_cache);
        QCOMPARE(copy.RecordCount(), 7);
        QVERIFY(copy.FindField(u"vFieldDescribe"_qs));
    }

    void laterCallsIgnoreTheirArgument() {
        TDataEnvironment& first = TDataEnvironment::GetInstance(*m_ado);
        auto other = openDatabase(u"other.db"_qs, u"('X', 'vName', '别的', 1)"_qs);
        TInterfacedADOConnection conn(*other);
        QCOMPARE(&TDataEnvironment::GetInstance(*other), &first);
        QCOMPARE(&TDataEnvironment::GetInstance(conn), &first);
        QCOMPARE(first.GetTitleCaption(u"vName"_qs), u"客户名称"_qs);
        QCOMPARE(TDataEnvironment::Instance(), &first);
    }

    void cacheWinsOverTheDatabase() {
        TDataEnvironment::GetInstance(*m_ado);
        TDataEnvironment::FreeInstance();
        QCOMPARE(TDataEnvironment::Instance(), nullptr);
        m_ado->Execute(QStringLiteral(
            "update Sys_TableDictionary set vFieldDescribe = '改过' where vFieldName = 'vName'"));
        // Built again: from the file, not from the changed table.
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).GetTitleCaption(u"vName"_qs), u"客户名称"_qs);
        // Deleting the file picks the change up.
        TDataEnvironment::FreeInstance();
        QFile::remove(m_cache);
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).GetTitleCaption(u"vName"_qs), u"改过"_qs);
    }

    void interfaceVariantReadsOnlyTheCache() {
        TInterfacedADOConnection conn(*m_ado);
        TDataEnvironment& env = TDataEnvironment::GetInstance(conn);
        QCOMPARE(env.Dictionary(), nullptr);
        QVERIFY(!QFile::exists(m_cache));
        QCOMPARE(env.GetTitleCaption(u"vSecret"_qs), u"vSecret"_qs);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, env.FieldExists(u"Cust"_qs, u"vName"_qs));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, env.FieldByName(u"vFieldName"_qs));

        TDataEnvironment::FreeInstance();
        TDataEnvironment::GetInstance(*m_ado); // writes the cache
        TDataEnvironment::FreeInstance();
        TDataEnvironment& cached = TDataEnvironment::GetInstance(conn);
        QVERIFY(cached.Dictionary());
        QCOMPARE(cached.GetTitleCaption(u"vSecret"_qs), u"NotVisible"_qs);
    }

    void fieldExists_data() {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("field");
        QTest::addColumn<bool>("exists");
        auto row = [](const char* name, const char* table, const char* field, bool exists) {
            QTest::newRow(name) << QString::fromLatin1(table) << QString::fromLatin1(field) << exists;
        };
        row("pair", "Cust", "vName", true);
        row("any case", "CUST", "VNAME", true);
        row("field of another table", "Orders", "vName", false);
        row("second table", "orders", "vcity", true);
        row("unknown table", "Nope", "vCity", false);
    }
    void fieldExists() {
        QFETCH(QString, table);
        QFETCH(QString, field);
        QFETCH(bool, exists);
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).FieldExists(table, field), exists);
    }

    void fieldByNameFollowsTheLastLookup() {
        TDataEnvironment& env = TDataEnvironment::GetInstance(*m_ado);
        QVERIFY(env.FieldExists(u"Orders"_qs, u"vCity"_qs));
        QCOMPARE(env.FieldByName(u"vFieldDescribe"_qs).AsString(), u"发货城市"_qs);
        env.GetTitleCaption(u"vSecret"_qs);
        QCOMPARE(env.FieldByName(u"vFieldDescribe"_qs).AsString(), u"密码"_qs);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, env.FieldByName(u"vNoSuchColumn"_qs));
    }

    void damagedCache() {
        QFile f(m_cache);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("<?xml version=\"1.0\"?><not a record set/>");
        f.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^FldAttr: .*FldAttr.xml: "_qs));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^FldAttr: .*FldAttr.xml: "_qs));
        // Without a connection to rebuild from, there is no dictionary.
        TInterfacedADOConnection conn(*m_ado);
        QCOMPARE(TDataEnvironment::GetInstance(conn).Dictionary(), nullptr);
        TDataEnvironment::FreeInstance();
        // With one, the dictionary and the file are rebuilt.
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).GetTitleCaption(u"vName"_qs), u"客户名称"_qs);
        TADODataSet copy;
        copy.LoadFromFile(m_cache);
        QCOMPARE(copy.RecordCount(), 7);
    }

    void failedBuildKeepsNoInstance() {
        m_ado->Execute(u"drop table Sys_TableDictionary"_qs);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, TDataEnvironment::GetInstance(*m_ado));
        QCOMPARE(TDataEnvironment::Instance(), nullptr);
        QVERIFY(!QFile::exists(m_cache));
    }

    // A cache that cannot be written (a read-only install folder): the error
    // reaches the first caller, but the dictionary read from the database
    // stays and answers every later call without another query.
    void unwritableCacheKeepsTheDictionary() {
        const QString cache = m_dir.filePath(u"no/such/dir/FldAttr.xml"_qs);
        TDataEnvironment::SetCacheFileName(cache);
        auto ok = openDatabase(u"ok.db"_qs, u"('T', 'a', '甲', 1), ('T', 'b', '乙', 0)"_qs);
        QVERIFY_THROWS_EXCEPTION(EInOutError, TDataEnvironment::GetInstance(*ok));
        TDataEnvironment* env = TDataEnvironment::Instance();
        QVERIFY(env != nullptr);
        QVERIFY(!QFile::exists(cache));
        ok->Execute(u"drop table Sys_TableDictionary"_qs); // a re-query would fail now
        QCOMPARE(&TDataEnvironment::GetInstance(*ok), env);
        QCOMPARE(env->GetTitleCaption(u"A"_qs), u"甲"_qs);
        QCOMPARE(env->GetTitleCaption(u"b"_qs), u"NotVisible"_qs);
        QVERIFY(env->FieldExists(u"t"_qs, u"B"_qs));
        TDataEnvironment::SetCacheFileName(m_cache);
    }
};

LNQ_TEST_MAIN_CORE(TestPlatDataEnvironment)
#include "tst_Plat_dataenvironment.moc"
