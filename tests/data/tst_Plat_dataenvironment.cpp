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
        m_cache = m_dir.filePath(QStringLiteral("FldAttr.xml"));
        QFile::remove(m_cache);
        TDataEnvironment::SetCacheFileName(m_cache);
        TDataEnvironment::FreeInstance();
        m_ado = openDatabase(QStringLiteral("d.db"), QStringLiteral("('Cust', 'vName', '客户名称', 1),"
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
        QCOMPARE(TDataEnvironment::CacheFileName(), m_cache);
    }

    void captions_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("caption");
        QTest::newRow("caption") << "vName"
                                 << "客户名称";
        QTest::newRow("null caption shows the name") << "vCode"
                                                     << "vCode";
        QTest::newRow("hidden despite a caption") << "vSecret"
                                                  << "NotVisible";
        QTest::newRow("hidden without caption") << "iAge"
                                                << "NotVisible";
        QTest::newRow("letter case ignored") << "VMIXEDCASE"
                                             << "混合";
        QTest::newRow("first table wins") << "vcity"
                                          << "城市";
        QTest::newRow("unknown") << "vNothing"
                                 << "vNothing";
        QTest::newRow("empty") << ""
                               << "";
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
        QVERIFY(copy.FindField(QStringLiteral("vFieldDescribe")));
    }

    void laterCallsIgnoreTheirArgument() {
        TDataEnvironment& first = TDataEnvironment::GetInstance(*m_ado);
        auto other = openDatabase(QStringLiteral("other.db"), QStringLiteral("('X', 'vName', '别的', 1)"));
        TInterfacedADOConnection conn(*other);
        QCOMPARE(&TDataEnvironment::GetInstance(*other), &first);
        QCOMPARE(&TDataEnvironment::GetInstance(conn), &first);
        QCOMPARE(first.GetTitleCaption(QStringLiteral("vName")), QStringLiteral("客户名称"));
        QCOMPARE(TDataEnvironment::Instance(), &first);
    }

    void cacheWinsOverTheDatabase() {
        TDataEnvironment::GetInstance(*m_ado);
        TDataEnvironment::FreeInstance();
        QCOMPARE(TDataEnvironment::Instance(), nullptr);
        m_ado->Execute(QStringLiteral(
            "update Sys_TableDictionary set vFieldDescribe = '改过' where vFieldName = 'vName'"));
        // Built again: from the file, not from the changed table.
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).GetTitleCaption(QStringLiteral("vName")),
                 QStringLiteral("客户名称"));
        // Deleting the file picks the change up.
        TDataEnvironment::FreeInstance();
        QFile::remove(m_cache);
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).GetTitleCaption(QStringLiteral("vName")),
                 QStringLiteral("改过"));
    }

    void interfaceVariantReadsOnlyTheCache() {
        TInterfacedADOConnection conn(*m_ado);
        TDataEnvironment& env = TDataEnvironment::GetInstance(conn);
        QCOMPARE(env.Dictionary(), nullptr);
        QVERIFY(!QFile::exists(m_cache));
        QCOMPARE(env.GetTitleCaption(QStringLiteral("vSecret")), QStringLiteral("vSecret"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError,
                                 env.FieldExists(QStringLiteral("Cust"), QStringLiteral("vName")));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, env.FieldByName(QStringLiteral("vFieldName")));

        TDataEnvironment::FreeInstance();
        TDataEnvironment::GetInstance(*m_ado); // writes the cache
        TDataEnvironment::FreeInstance();
        TDataEnvironment& cached = TDataEnvironment::GetInstance(conn);
        QVERIFY(cached.Dictionary());
        QCOMPARE(cached.GetTitleCaption(QStringLiteral("vSecret")), QStringLiteral("NotVisible"));
    }

    void fieldExists_data() {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("field");
        QTest::addColumn<bool>("exists");
        QTest::newRow("pair") << "Cust"
                              << "vName" << true;
        QTest::newRow("any case") << "CUST"
                                  << "VNAME" << true;
        QTest::newRow("field of another table") << "Orders"
                                                << "vName" << false;
        QTest::newRow("second table") << "orders"
                                      << "vcity" << true;
        QTest::newRow("unknown table") << "Nope"
                                       << "vCity" << false;
    }
    void fieldExists() {
        QFETCH(QString, table);
        QFETCH(QString, field);
        QFETCH(bool, exists);
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).FieldExists(table, field), exists);
    }

    void fieldByNameFollowsTheLastLookup() {
        TDataEnvironment& env = TDataEnvironment::GetInstance(*m_ado);
        QVERIFY(env.FieldExists(QStringLiteral("Orders"), QStringLiteral("vCity")));
        QCOMPARE(env.FieldByName(QStringLiteral("vFieldDescribe")).AsString(), QStringLiteral("发货城市"));
        env.GetTitleCaption(QStringLiteral("vSecret"));
        QCOMPARE(env.FieldByName(QStringLiteral("vFieldDescribe")).AsString(), QStringLiteral("密码"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, env.FieldByName(QStringLiteral("vNoSuchColumn")));
    }

    void damagedCache() {
        QFile f(m_cache);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("<?xml version=\"1.0\"?><not a record set/>");
        f.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^FldAttr: .*FldAttr.xml: ")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^FldAttr: .*FldAttr.xml: ")));
        // Without a connection to rebuild from, there is no dictionary.
        TInterfacedADOConnection conn(*m_ado);
        QCOMPARE(TDataEnvironment::GetInstance(conn).Dictionary(), nullptr);
        TDataEnvironment::FreeInstance();
        // With one, the dictionary and the file are rebuilt.
        QCOMPARE(TDataEnvironment::GetInstance(*m_ado).GetTitleCaption(QStringLiteral("vName")),
                 QStringLiteral("客户名称"));
        TADODataSet copy;
        copy.LoadFromFile(m_cache);
        QCOMPARE(copy.RecordCount(), 7);
    }

    void failedBuildKeepsNoInstance() {
        m_ado->Execute(QStringLiteral("drop table Sys_TableDictionary"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, TDataEnvironment::GetInstance(*m_ado));
        QCOMPARE(TDataEnvironment::Instance(), nullptr);
        QVERIFY(!QFile::exists(m_cache));
    }

    // A cache that cannot be written (a read-only install folder): the error
    // reaches the first caller, but the dictionary read from the database
    // stays and answers every later call without another query.
    void unwritableCacheKeepsTheDictionary() {
        const QString cache = m_dir.filePath(QStringLiteral("no/such/dir/FldAttr.xml"));
        TDataEnvironment::SetCacheFileName(cache);
        auto ok =
            openDatabase(QStringLiteral("ok.db"), QStringLiteral("('T', 'a', '甲', 1), ('T', 'b', '乙', 0)"));
        QVERIFY_THROWS_EXCEPTION(EInOutError, TDataEnvironment::GetInstance(*ok));
        TDataEnvironment* env = TDataEnvironment::Instance();
        QVERIFY(env != nullptr);
        QVERIFY(!QFile::exists(cache));
        ok->Execute(QStringLiteral("drop table Sys_TableDictionary")); // a re-query would fail now
        QCOMPARE(&TDataEnvironment::GetInstance(*ok), env);
        QCOMPARE(env->GetTitleCaption(QStringLiteral("A")), QStringLiteral("甲"));
        QCOMPARE(env->GetTitleCaption(QStringLiteral("b")), QStringLiteral("NotVisible"));
        QVERIFY(env->FieldExists(QStringLiteral("t"), QStringLiteral("B")));
        TDataEnvironment::SetCacheFileName(m_cache);
    }
};

LNQ_TEST_MAIN_CORE(TestPlatDataEnvironment)
#include "tst_Plat_dataenvironment.moc"
