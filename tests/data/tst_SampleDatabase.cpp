#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "util/Clock.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_convert.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

using namespace lnq;

namespace {

// Reads the saved-view stream far enough to check it.
struct ViewStream {
    int version = 0, isSql = 0, matchAll = 1;
    QStringList texts; // the SQL, or piece/caption/description triples

    static QString text(const QByteArray& b, qsizetype& pos) {
        if (pos + 4 > b.size()) throw EReadError(QStringLiteral("short"));
        const qint32 n = qFromLittleEndian<qint32>(b.constData() + pos);
        pos += 4;
        if (n < 0 || pos + n > b.size()) throw EReadError(QStringLiteral("bad length"));
        const QString s = Gbk::decode(QByteArrayView(b.constData() + pos, n));
        pos += n;
        return s;
    }
    explicit ViewStream(const QByteArray& b) {
        qsizetype pos = 0;
        version = static_cast<unsigned char>(b.at(pos++));
        if (version >= 2) isSql = b.at(pos++);
        if (version >= 3) matchAll = b.at(pos++);
        if (isSql) {
            texts << text(b, pos);
        } else {
            const qint32 count = qFromLittleEndian<qint32>(b.constData() + pos);
            pos += 4;
            for (int i = 0; i < count * 3; ++i)
                texts << text(b, pos);
        }
        if (pos != b.size()) throw EReadError(QStringLiteral("trailing bytes"));
    }
};

} // namespace

class TestSampleDatabase : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<TADOConnection> m_ado;
    std::unique_ptr<TInterfacedADOConnection> m_conn;
    const QDateTime m_now{QDate(2024, 6, 15), QTime(10, 30)};

    QByteArray digest(const QString& file) {
        TADOConnection c;
        c.SetConnectionString(file);
        TInterfacedADOConnection conn(c);
        QCryptographicHash h(QCryptographicHash::Sha256);
        for (const QString& t : SampleDatabase::SampleTables()) {
            const auto ds = conn.ExecuteWithQuery(QStringLiteral("select * from ") + t);
            for (ds->First(); !ds->Eof(); ds->Next())
                for (int i = 0; i < ds->FieldCount(); ++i)
                    h.addData(ds->Fields(i).AsString().toUtf8() + '\t');
        }
        return h.result();
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        Clock::setFixedNow(m_now);
        const QString file = m_dir.filePath(QStringLiteral("sample.db"));
        SampleDatabase::CreateSample(file);
        m_ado = std::make_unique<TADOConnection>();
        m_ado->SetConnectionString(file);
        m_conn = std::make_unique<TInterfacedADOConnection>(*m_ado);
    }
    void cleanupTestCase() {
        m_conn.reset();
        m_ado.reset();
        TDataEnvironment::FreeInstance();
        TDataEnvironment::SetCacheFileName(QString());
        Clock::setFixedNow(std::nullopt);
    }

    void schemaFileMatchesTheBuiltInSchema() {
        QFile f(QStringLiteral(LNQ_SOURCE_DIR "/sql/schema_sqlite.sql"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(f.readAll()), SampleDatabase::SchemaSql());
    }

    void everyTableHasRows() {
        for (const QString& t : SampleDatabase::SampleTables()) {
            const auto ds = m_conn->ExecuteWithQuery(QStringLiteral("select count(*) from ") + t);
            QVERIFY2(ds->Fields(0).AsInteger() > 0, qPrintable(t));
        }
        QCOMPARE(m_conn->ExecuteWithQuery(QStringLiteral("select count(*) from Cust_CustomersMain"))
                     ->Fields(0)
                     .AsInteger(),
                 3000);
    }

    // The texts the lookup dialogs and forms send run on the sample schema, each with its first column.
    void lookupQueries_data() {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("firstColumn");
        QTest::addColumn<int>("minRows");
        QTest::newRow("provinces") << "select vProvince as 省份 from dic_Province"
                                   << "省份" << 34;
        QTest::newRow("services of a supplier") << " SELECT vService AS '服务名称', iServiceNo AS '服务编号' "
                                                   "FROM Dic_Service  WHERE iGoodsNo = 1 ORDER BY "
                                                   "iServiceNo DESC"
                                                << "服务名称" << 1;
        QTest::newRow("programme packages")
            << "select iProgramNo 节目编号,vProgram 节目名称,vCBsimpleProgram 上传节目名称 from dic_program  "
            << "节目编号" << 50;
        QTest::newRow("product subtypes") << "SELECT DISTINCT vProductType2 小类名称 FROM Dic_ProductType  "
                                          << "小类名称" << 15;
        QTest::newRow("products")
            << "SELECT iProductNo 商品编号,vBarcode 商品条码,vProductName 商品名称 FROM "
               "St_Products  "
            << "商品编号" << 1000;
        QTest::newRow("service prices")
            << "select iServiceNo 服务编号,vService 服务名称,mPrice  服务单价 from "
               "dic_Service  "
            << "服务编号" << 20;
        QTest::newRow("customers")
            << " select      iCustomerNo as 编号    , vCustomerNo as 编码    , vCustomerName "
               "as 名称    , vProvince as 省份  from Cust_CustomersMain "
            << "编号" << 3000;
        QTest::newRow("users") << "SELECT iUserNo 用户编号,vUserName as 用户编码,vName 用户名称,vWorkRole "
                                  "工作角色,vTel 电话,vEmail Email FROM Sys_SystemUser "
                               << "用户编号" << 20;
        QTest::newRow("agents")
            << " select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from "
               "Cust_CustomersMain  where bIsAgent=1 "
            << "编号" << 50;
        QTest::newRow("suppliers")
            << " select iCustomerNo as 编号, vCustomerName as 供应商名称,vProvince as 省份 "
               "from Cust_CustomersMain  where bIsSupplier=1 "
            << "编号" << 50;
        QTest::newRow("property list") << "select * from sys_properties where "
                                          "vTableName='Cust_CustomersMain' and vKeyField='5'"
                                       << "iNo" << 5;
        QTest::newRow("users for rights") << "select vUserName from sys_Systemuser"
                                          << "vUserName" << 20;
        QTest::newRow("groups") << "select vGroupID,vGroupName from sys_group"
                                << "vGroupID" << 5;
        QTest::newRow("services")
            << " SELECT vService AS '服务名称', iServiceNo AS '服务编号' FROM Dic_Service  ORDER "
               "BY iServiceNo DESC"
            << "服务名称" << 20;
        QTest::newRow("programmes with packages") << "select iProgramNo 节目编号,vProgram 节目名称,mPrice  "
                                                     "节目单价,'单一节目' as 节目类型 from dic_program   "
                                                     "union all  select iNo as 节目编号,vPackageName "
                                                     "节目名称,mPrice 节目单价,'节目包' as 节目类型 from "
                                                     "dic_programPackage "
                                                  << "节目编号" << 60;
        QTest::newRow("product types") << "SELECT DISTINCT vProductType 大类名称 FROM Dic_ProductType  "
                                       << "大类名称" << 5;
        QTest::newRow("product list")
            << " SELECT vBarCode 商品编码   , vProductName 商品名称   , mSellPrice 销售单价   , fSellCount "
               "可销售数量   "
               ", fStorageCount 库存数量   , vModel 生产商编码   , vSpecification 规格   , vProductNameEn "
               "客户方编码   , "
               "vGoodsName 供应商   , iGoodsNo 供应商No   , iProductNo 编号   FROM St_Products"
            << "商品编码" << 1000;
        QTest::newRow("suppliers, other spelling")
            << "SELECT vProvince 省份,vCustomerName 供应商名称,iCustomerNo 编号 FROM cust_CustomersMain "
               "where "
               "bisSupplier=1 "
            << "省份" << 50;
        QTest::newRow("user's customer")
            << " SELECT iCustomerNo, vCustomerNo  FROM sys_SystemUser  WHERE iUserNo = 1"
            << "iCustomerNo" << 1;
        QTest::newRow("field dictionary") << "select * from Sys_TableDictionary"
                                          << "iNo" << 10;
        QTest::newRow("quick search") << " select * from Cust_CustomersMain where 1=1 and vCustomerName like "
                                         "'%北京%' and bIsAgent=0"
                                      << "iCustomerNo" << 1;
        QTest::newRow("lookup edit filter")
            << "select * from Cust_CustomersMain where vCustomerNo like '%c''2%' and 1=1"
            << "iCustomerNo" << 0;
        QTest::newRow("view tree")
            << "select dbo.GetFilePath(vFileName) as f1,dbo.GetFileName(vFileName) as f2,vDescription from "
               "Sys_FileBase where vExt='.CUS' and (bShare=1 or vOwner='lina' or "
               "charindex(',lina,',vAllowedUsers)>0 "
               "or dbo.intersectstr(vAllowedGroups,'[B'  )>0) order by dbo.GetFilePath(vFileName)"
            << "f1" << 5;
    }
    void lookupQueries() {
        QFETCH(QString, sql);
        QFETCH(QString, firstColumn);
        QFETCH(int, minRows);
        const auto ds = m_conn->ExecuteWithQuery(sql);
        QCOMPARE(ds->Fields(0).FieldName(), firstColumn);
        QVERIFY2(ds->RecordCount() >= minRows, qPrintable(QString::number(ds->RecordCount())));
    }

    // Every name carries its pinyin initials, less the marks of characters without one;
    // lookups find them in any letter case.
    void pinyinCodes() {
        for (const auto& [table, name] :
             {std::pair{"Cust_CustomersMain", "vCustomerName"}, std::pair{"St_Products", "vProductName"}}) {
            const auto ds =
                m_conn->ExecuteWithQuery(QStringLiteral("select ") + QLatin1String(name) +
                                         QStringLiteral(", vPYCode from ") + QLatin1String(table));
            QVERIFY(ds->RecordCount() > 0);
            for (ds->First(); !ds->Eof(); ds->Next())
                QCOMPARE(ds->Fields(1).AsString(),
                         QString::fromLatin1(TUtils_Convert::StrToPY(ds->Fields(0).AsString()))
                             .remove(QChar(0xC0)));
        }
        QCOMPARE(m_conn
                     ->ExecuteWithQuery(QStringLiteral(
                         "select vCustomerName from Cust_CustomersMain where vPYCode like 'bjhx%'"))
                     ->Fields(0)
                     .AsString(),
                 QStringLiteral("北京华信通达科技有限公司"));
    }

    void confirmationStatesAndOrderProperties() {
        const auto states =
            m_conn->ExecuteWithQuery(QStringLiteral("select vConfirmState, count(*) as n from Sal_SaleMain "
                                                    "group by vConfirmState order by vConfirmState"));
        QStringList seen;
        for (states->First(); !states->Eof(); states->Next())
            seen << states->Fields(0).AsString();
        QVERIFY(seen.contains(QStringLiteral("已确认")));
        QVERIFY(seen.contains(QStringLiteral("未确认")));
        const auto props = m_conn->ExecuteWithQuery(QStringLiteral(
            "select vPropertyValue, vAppLinkFormat from sys_properties where vTableName='Sal_SaleMain' "
            "and vKeyField='3' order by iOrder"));
        QCOMPARE(props->RecordCount(), 5);
        const auto receipt =
            m_conn->ExecuteWithQuery(QStringLiteral("select vReceiptNo from Sal_SaleMain where iNo=3"));
        QCOMPARE(props->Fields(0).AsString(), receipt->Fields(0).AsString());
        QCOMPARE(props->Fields(1).AsString(), QStringLiteral("app://SaleOrder?Action=EDIT&KeyField=[iNo]"));
    }

    void columnTypes_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("type");
        QTest::newRow("key") << "iCustomerNo" << int(TFieldType::ftAutoInc);
        QTest::newRow("money") << "mCreditLimit" << int(TFieldType::ftCurrency);
        QTest::newRow("decimal") << "dcBalance" << int(TFieldType::ftBCD);
    }
    void columnTypes() {
        QFETCH(QString, field);
        QFETCH(int, type);
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral("select top 1 * from Cust_CustomersMain"));
        QCOMPARE(int(ds->FieldByName(field).DataType()), type);
    }

    void datesLieAroundToday() {
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral(
            "select min(dSaleDate) as a, max(dSaleDate) as b, count(*) as n from Sal_SaleMain"));
        const QDate today = m_now.date();
        QVERIFY(ds->FieldByName("a").AsDateTime().date() >= today.addDays(-366));
        QVERIFY(ds->FieldByName("b").AsDateTime().date() > today);
        QVERIFY(ds->FieldByName("b").AsDateTime().date() <= today.addDays(7));
        const auto nulls = m_conn->ExecuteWithQuery(QStringLiteral(
            "select count(*) from Cust_CustomersMain where vFax is null or dLastVisit is null"));
        QVERIFY(nulls->Fields(0).AsInteger() > 100);
    }

    void savedViews() {
        QString owner;
        QBuffer b;
        b.open(QIODevice::ReadWrite);
        m_conn->LoadStream(owner, QStringLiteral("常用视图\\北京客户.CUS"), b);
        QCOMPARE(owner, QStringLiteral("admin"));
        ViewStream v(b.data());
        QCOMPARE(v.version, 3);
        QCOMPARE(v.isSql, 0);
        QCOMPARE(v.matchAll, 1);
        QCOMPARE(v.texts, QStringList({QStringLiteral("vProvince= '北京'"), QStringLiteral("省份"),
                                       QStringLiteral("省份 等于(精确地) 北京")}));
        // Its condition selects rows.
        const auto ds =
            m_conn->ExecuteWithQuery(QStringLiteral("select * from Cust_CustomersMain where 1=1   and (") +
                                     v.texts[0] + QStringLiteral(" )"));
        QVERIFY(ds->RecordCount() > 50);

        QBuffer raw;
        raw.open(QIODevice::ReadWrite);
        m_conn->LoadStream(owner, QStringLiteral("我的视图\\华东地区客户.CUS"), raw);
        ViewStream r(raw.data());
        QCOMPARE(r.isSql, 1);
        QVERIFY(m_conn->ExecuteWithQuery(r.texts[0])->RecordCount() > 100);

        QBuffer old;
        old.open(QIODevice::ReadWrite);
        m_conn->LoadStream(owner, QStringLiteral("旧版视图\\上海客户.CUS"), old);
        QCOMPARE(ViewStream(old.data()).version, 2);

        // Every stored view is a well-formed stream.
        const auto all = m_conn->ExecuteWithQuery(QStringLiteral("select * from Sys_FileBase"));
        QVERIFY(all->RecordCount() >= 10);
        for (all->First(); !all->Eof(); all->Next())
            ViewStream check(all->FieldByName("imgFileData").AsBytes());
    }

    void dictionaryCaptions() {
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        TDataEnvironment& env = TDataEnvironment::GetInstance(*m_ado);
        QCOMPARE(env.GetTitleCaption(QStringLiteral("vCustomerName")), QStringLiteral("客户名称"));
        QCOMPARE(env.GetTitleCaption(QStringLiteral("vPassword")), QStringLiteral("NotVisible"));
        QCOMPARE(env.GetTitleCaption(QStringLiteral("vAllowedUsers")), QStringLiteral("NotVisible"));
        QCOMPARE(env.GetTitleCaption(QStringLiteral("vCustomerNameEn")), QStringLiteral("vCustomerNameEn"));
        QVERIFY(env.FieldExists(QStringLiteral("st_products"), QStringLiteral("VBARCODE")));
    }

    void sameSeedSameDatabase() {
        SampleDatabase::Options small;
        small.customers = 150;
        small.products = 80;
        small.sales = 60;
        const QString a = m_dir.filePath(QStringLiteral("a.db"));
        const QString b = m_dir.filePath(QStringLiteral("b.db"));
        const QString c = m_dir.filePath(QStringLiteral("c.db"));
        SampleDatabase::CreateSample(a, small);
        SampleDatabase::CreateSample(b, small);
        small.seed += 1;
        SampleDatabase::CreateSample(c, small);
        QCOMPARE(digest(a), digest(b));
        QVERIFY(digest(a) != digest(c));
    }

    void refusesExistingFiles() {
        const QString file = m_dir.filePath(QStringLiteral("busy.db"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("keep me");
        f.close();
        QVERIFY_THROWS_EXCEPTION(EInOutError, SampleDatabase::CreateSample(file));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("keep me"));

        const QString bad = m_dir.filePath(QStringLiteral("missing/dir/x.db"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, SampleDatabase::CreateSample(bad));
        QVERIFY(!QFile::exists(bad));
    }

    void schemaTwiceIsAnError() {
        TADOConnection c;
        c.SetConnectionString(m_dir.filePath(QStringLiteral("schema.db")));
        SampleDatabase::CreateSchema(c);
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, SampleDatabase::CreateSchema(c));
        TInterfacedADOConnection conn(c);
        QCOMPARE(conn.ExecuteWithQuery(QStringLiteral("select * from Sys_FileBase"))->FieldCount(), 10);
    }
};

LNQ_TEST_MAIN_CORE(TestSampleDatabase)
#include "tst_SampleDatabase.moc"
