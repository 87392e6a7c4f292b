#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_servicesinterface.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>
#include <cstring>
#include <optional>

using lnq::TClientUtils;

namespace {

// Writes text as GBK into a caller buffer the way a well-behaved host does.
void put(const QString& text, char* buffer, int& length,
         int capacity = lnq::IServicesInterface::kBufferSize) {
    const QByteArray b = lnq::Gbk::encode(text);
    const int n = int(qMin<qsizetype>(b.size(), capacity));
    memcpy(buffer, b.constData(), size_t(n));
    length = n;
}

QString got(const char* text) {
    return lnq::Gbk::decode(QByteArrayView(text, qsizetype(strlen(text))));
}

class FakeServices : public lnq::IServicesInterface {
public:
    QMap<QString, QString> options; // "section|name" or "|name"
    QMap<QString, QStringList> receiptSettings;
    QString ime = QStringLiteral("微软拼音");
    QList<lnq::TRecentItem> recent;
    QStringList recentExts;
    int reportedRecentCount = -1; // -1: the real count
    int claimedLength = -1;       // >= 0: a misbehaving host's length answer

    void GetOptionValue(const char* optionName, char* value, int& valueLen) override {
        answer(options.value(u'|' + got(optionName)), value, valueLen);
    }
    void GetOptionValueEx(const char* section, const char* optionName, char* value, int& valueLen) override {
        answer(options.value(got(section) + u'|' + got(optionName)), value, valueLen);
    }
    void SetOptionValueEx(const char* section, const char* optionName, const char* value) override {
        options[got(section) + u'|' + got(optionName)] = got(value);
    }
    void GetReceiptNo(const char*, char* out, int& outLen) override { answer(QString(), out, outLen); }
    void GetReceiptNoSetting(const char* receiptKind, char* s1, int& l1, char* s2, int& l2, char* s3, int& l3,
                             char* s4, int& l4) override {
        const QStringList s = receiptSettings.value(got(receiptKind), QStringList(4, QString()));
        put(s[0], s1, l1);
        put(s[1], s2, l2);
        put(s[2], s3, l3);
        put(s[3], s4, l4);
    }
    void SetReceiptNoSetting(const char* receiptKind, const char* s1, const char* s2, const char* s3,
                             const char* s4) override {
        receiptSettings[got(receiptKind)] = QStringList{got(s1), got(s2), got(s3), got(s4)};
    }
    void GetImeName(char* out, int& outLen) override { answer(ime, out, outLen); }
    void OpenAppLink(const char*) override {}
    int GetRecentCount(const char* ext) override {
        recentExts << got(ext);
        return reportedRecentCount >= 0 ? reportedRecentCount : int(recent.size());
    }
    bool GetRecentItem(const char*, int index, char* caption, int& captionLen, char* sql,
                       int& sqlLen) override {
        if (index < 0 || index >= recent.size()) return false;
        const QByteArray c = lnq::Gbk::encode(recent[index].Caption);
        const QByteArray s = lnq::Gbk::encode(recent[index].SQL);
        const bool fits = c.size() <= captionLen && s.size() <= sqlLen;
        if (fits) {
            memcpy(caption, c.constData(), size_t(c.size()));
            memcpy(sql, s.constData(), size_t(s.size()));
        }
        captionLen = int(c.size());
        sqlLen = int(s.size());
        return true;
    }
    void AddRecentItem(const char* ext, const char* caption, const char* sql) override {
        recentExts << got(ext);
        recent.prepend({got(caption), got(sql)});
    }

private:
    void answer(const QString& text, char* buffer, int& length) {
        put(text, buffer, length);
        if (claimedLength >= 0) length = claimedLength;
    }
};

// The embedded connection, with the host-side operations answered and every
// SQL text recorded.
class HostConnection : public lnq::TInterfacedADOConnection {
public:
    using TInterfacedADOConnection::TInterfacedADOConnection;
    int userNo = 7;
    QString userCode = QStringLiteral("U001");
    QString userName = QStringLiteral("张三");
    QString authority = QString(3000, u'a'); // needs the big buffer
    bool accessAnswer = true;
    std::optional<int> codeLength; // overrides the code length answer
    QStringList sql;

    void GetCurrentUser(int& no, char* code, int& codeLen, char* name, int& nameLen) override {
        no = userNo;
        put(userCode + QStringLiteral("garbage"), code, codeLen);
        codeLen = codeLength.value_or(int(lnq::Gbk::byteLength(userCode)));
        put(userName, name, nameLen);
    }
    void GetCurrentCustomer(int& no, char* code, int& codeLen, char* name, int& nameLen) override {
        no = 99;
        put(QStringLiteral("C099"), code, codeLen);
        put(QStringLiteral("天虹商场"), name, nameLen);
    }
    void GetAuthorityString(char* buffer, int& length) override { put(authority, buffer, length, 4096); }
    void GetCurrrentGroups(char* buffer, int& length) override {
        put(QStringLiteral(",1,3,"), buffer, length);
    }
    bool GetAccessUsers(char* buffer, int& length) override {
        put(QStringLiteral(",张三,李四,"), buffer, length);
        return accessAnswer;
    }
    std::unique_ptr<lnq::TADODataSet> ExecuteWithQuery(const QString& text) override {
        sql << text;
        return TInterfacedADOConnection::ExecuteWithQuery(text);
    }
    void FillDataset(lnq::TDataSet& dataSet, const QString& text) override {
        sql << text;
        TInterfacedADOConnection::FillDataset(dataSet, text);
    }
};

} // namespace

class TestPlatClientUtils : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<lnq::TADOConnection> m_db;
    std::unique_ptr<HostConnection> m_conn;

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = std::make_unique<lnq::TADOConnection>();
        m_db->SetConnectionString(QStringLiteral("Provider=SQLite; Data Source=") + m_dir.filePath("cu.db"));
        m_db->Open();
        m_db->Execute(QStringLiteral("create table sys_SystemUser (iUserNo int, iCustomerNo int, vCustomerNo "
                                     "varchar(20))"));
        m_db->Execute(QStringLiteral("insert into sys_SystemUser values (7, 1234, 'C1234')"));
        m_db->Execute(QStringLiteral("insert into sys_SystemUser values (8, null, 'C0')"));
        m_db->Execute(QStringLiteral("create table Sal_Receipt (iNo int, vReceiptNo varchar(20))"));
        m_db->Execute(QStringLiteral("insert into Sal_Receipt values (1, 'R001')"));
        m_db->Execute(QStringLiteral("insert into Sal_Receipt values (2, 'R002')"));
        m_db->Execute(QStringLiteral("insert into Sal_Receipt values (3, 'O''Neil')"));
        m_db->Execute(QStringLiteral("create table dic_Province (iNo int, vName varchar(20))"));
        m_db->Execute(QStringLiteral("insert into dic_Province values (1, '北京')"));
        m_db->Execute(QStringLiteral("insert into dic_Province values (2, '上海')"));
        m_db->Execute(QStringLiteral("insert into dic_Province values (3, '广东')"));
        m_db->Execute(QStringLiteral("create table OneCol (vName varchar(20))"));
        m_conn = std::make_unique<HostConnection>(*m_db);
    }
    void cleanupTestCase() {
        m_conn.reset();
        m_db.reset();
    }
    void init() {
        m_conn->sql.clear();
        m_conn->userNo = 7;
        m_conn->codeLength.reset();
        m_conn->accessAnswer = true;
    }

    void currentUserAndCustomer() {
        QCOMPARE(TClientUtils::GetCurrentUserNo(*m_conn), 7);
        QCOMPARE(TClientUtils::GetCurrentUserCode(*m_conn), QStringLiteral("U001")); // cut to the length
        QCOMPARE(TClientUtils::GetCurrentUserName(*m_conn), QStringLiteral("张三"));
        QCOMPARE(TClientUtils::GetCurrentCustomerNo(*m_conn), 99);
        QCOMPARE(TClientUtils::GetCurrentCustomerCode(*m_conn), QStringLiteral("C099"));
        QCOMPARE(TClientUtils::GetCurrentCustomerName(*m_conn), QStringLiteral("天虹商场"));
    }

    void lengthAnswersAreClamped_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("code");
        QTest::newRow("negative") << -4 << QString();
        QTest::newRow("partial") << 2 << QStringLiteral("U0");
        QTest::newRow("beyond buffer")
            << 100000 << QStringLiteral("U001garbage") + QString(512 - 11, QChar(0));
    }
    void lengthAnswersAreClamped() {
        QFETCH(int, length);
        QFETCH(QString, code);
        m_conn->codeLength = length;
        QCOMPARE(TClientUtils::GetCurrentUserCode(*m_conn), code);
    }

    void textOperations() {
        QCOMPARE(TClientUtils::GetAuthorityString(*m_conn), m_conn->authority);
        QCOMPARE(TClientUtils::GetCurrrentGroups(*m_conn), QStringLiteral(",1,3,"));
        QCOMPARE(TClientUtils::GetAccessUsers(*m_conn), QStringLiteral(",张三,李四,"));
        m_conn->accessAnswer = false;
        QCOMPARE(TClientUtils::GetAccessUsers(*m_conn), QString());
    }

    void silentConnectionGivesEmptyAnswers() {
        // The embedded connection has no server-side user: nothing is written.
        lnq::TInterfacedADOConnection plain(*m_db);
        QCOMPARE(TClientUtils::GetCurrentUserNo(plain), 0);
        QCOMPARE(TClientUtils::GetCurrentUserCode(plain), QString());
        QCOMPARE(TClientUtils::GetCurrentCustomerName(plain), QString());
        QCOMPARE(TClientUtils::GetAuthorityString(plain), QString());
        QCOMPARE(TClientUtils::GetCurrrentGroups(plain), QString());
    }

    void userCustomerNo_data() {
        QTest::addColumn<int>("userNo");
        QTest::addColumn<int>("customerNo");
        QTest::newRow("row") << 7 << 1234;
        QTest::newRow("null column") << 8 << 0;
        QTest::newRow("no row") << 42 << 0;
    }
    void userCustomerNo() {
        QFETCH(int, userNo);
        QFETCH(int, customerNo);
        m_conn->userNo = userNo;
        QCOMPARE(TClientUtils::GetUserCustomerNo(*m_conn), customerNo);
        QCOMPARE(m_conn->sql.value(0),
                 QStringLiteral(" SELECT iCustomerNo, vCustomerNo  FROM sys_SystemUser  WHERE iUserNo = ") +
                     QString::number(userNo));
    }

    void checkReceiptNo_data() {
        QTest::addColumn<int>("recordNo");
        QTest::addColumn<QString>("receiptNo");
        QTest::addColumn<bool>("unused");
        QTest::newRow("own record only") << 1 << "R001" << true;
        QTest::newRow("exactly one other record") << 2 << "R001" << false;
        QTest::newRow("new record, used number") << 0 << "R002" << false;
        QTest::newRow("quote in number, other") << 1 << "O'Neil" << false;
        QTest::newRow("quote in number, own") << 3 << "O'Neil" << true;
    }
    void checkReceiptNo() {
        QFETCH(int, recordNo);
        QFETCH(QString, receiptNo);
        QFETCH(bool, unused);
        QCOMPARE(TClientUtils::CheckReceiptNo(*m_conn, recordNo, "Sal_Receipt", receiptNo), unused);
        QString quoted = receiptNo;
        quoted.replace("'", "''");
        QCOMPARE(m_conn->sql.value(0), " SELECT * FROM Sal_Receipt WHERE vReceiptNo = '" + quoted +
                                           "'  AND iNo <> " + QString::number(recordNo));
    }

    void comboItems_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QString>("sql");
        const QStringList names{QStringLiteral("北京"), QStringLiteral("上海"), QStringLiteral("广东")};
        QTest::newRow("table takes second column") << "dic_Province" << names << "select * from dic_Province";
        QTest::newRow("query takes first column")
            << "SELECT vName, iNo FROM dic_Province" << names << "SELECT vName, iNo FROM dic_Province";
        QTest::newRow("lower-case query recognised")
            << "select iNo from dic_Province order by iNo desc" << QStringList{"3", "2", "1"}
            << "select iNo from dic_Province order by iNo desc";
        QTest::newRow("empty result clears")
            << "select vName from OneCol" << QStringList{} << "select vName from OneCol";
    }
    void comboItems() {
        QFETCH(QString, source);
        QFETCH(QStringList, items);
        QFETCH(QString, sql);
        QStringList list{"stale"};
        TClientUtils::SetComboboxItemsBySQL(*m_conn, source, list);
        QCOMPARE(list, items);
        QCOMPARE(m_conn->sql.value(0), sql);
    }

    void comboItemsMissingColumn() {
        QStringList list{"stale"};
        QVERIFY_THROWS_EXCEPTION(lnq::EDatabaseError,
                                 TClientUtils::SetComboboxItemsBySQL(*m_conn, "OneCol", list));
    }

    void databaseErrorsPropagate() {
        QStringList list;
        QVERIFY_THROWS_EXCEPTION(lnq::EDatabaseError,
                                 TClientUtils::CheckReceiptNo(*m_conn, 1, "NoSuchTable", "R001"));
        QVERIFY_THROWS_EXCEPTION(lnq::EDatabaseError,
                                 TClientUtils::SetComboboxItemsBySQL(*m_conn, "NoSuchTable", list));
    }

    void dateTimeToSqlStr() {
        QCOMPARE(TClientUtils::DateTimeToSQLStr(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9))),
                 QStringLiteral("2024-03-05 07:08:09"));
        QCOMPARE(TClientUtils::DateTimeToSQLStr(36526.5), QStringLiteral("2000-01-01 12:00:00"));
    }

    void excelConnString() {
        QCOMPARE(TClientUtils::GetExcelConnString(QStringLiteral("C:\\数据\\a b.xls")),
                 QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source= 'C:\\数据\\a b.xls';Extended "
                                "Properties=\"Excel 8.0;HDR=YES;IMEX=1\";Persist Security Info=False"));
    }

    void appLinkList_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("pairs") << "Action=EDIT&KeyField=12" << QStringList{"Action=EDIT", "KeyField=12"};
        QTest::newRow("empty") << "" << QStringList{};
        QTest::newRow("trailing ampersand") << "a=1&" << QStringList{"a=1"};
        QTest::newRow("double ampersand") << "a&&b" << QStringList{"a", "", "b"};
        QTest::newRow("line breaks split too") << "a\r\nb\nc" << QStringList{"a", "b", "c"};
    }
    void appLinkList() {
        QFETCH(QString, text);
        QFETCH(QStringList, lines);
        QCOMPARE(TClientUtils::GetAppLinkListValue(text), lines);
    }

    // A parameter by name: letter case and blanks around the name ignored,
    // the first line wins, a named empty value differs from an absent one.
    void appLinkValue_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("value");
        QTest::newRow("case") << "keyfield" << true << "12";
        QTest::newRow("first wins, blanks around the name") << "Action" << true << "sign";
        QTest::newRow("empty value") << "FilterName" << true << "";
        QTest::newRow("absent") << "SignType" << false << "";
        QTest::newRow("no name before =") << "" << false << "";
    }
    void appLinkValue() {
        QFETCH(QString, name);
        QFETCH(bool, found);
        QFETCH(QString, value);
        const QStringList lines = TClientUtils::GetAppLinkListValue(
            QStringLiteral(" Action =sign&KeyField=12&ACTION=EDIT&FilterName=&=x"));
        QString got;
        QCOMPARE(TClientUtils::GetAppLinkValue(lines, name, got), found);
        QCOMPARE(got, value);
    }

    void appDir() {
        const QString dir = TClientUtils::GetAppDir();
        QVERIFY(dir.endsWith(u'/'));
        QCOMPARE(QFileInfo(dir + QFileInfo(QCoreApplication::applicationFilePath()).fileName())
                     .canonicalFilePath(),
                 QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
    }

    // Plain options and receipt numbers go through the demo host in its own test.
    void options() {
        FakeServices s;
        TClientUtils::SetOptionValueEx(s, QStringLiteral("打印"), QStringLiteral("份数"),
                                       QStringLiteral("二"));
        QCOMPARE(TClientUtils::GetOptionValueEx(s, QStringLiteral("打印"), QStringLiteral("份数"), "1"),
                 QStringLiteral("二"));
        QCOMPARE(TClientUtils::GetOptionValueEx(s, QStringLiteral("其他"), QStringLiteral("份数"), "1"),
                 QStringLiteral("1"));
    }

    void optionAnswerLongerThanBuffer() {
        FakeServices s;
        s.options[QStringLiteral("|Big")] = QString(600, u'x');
        s.claimedLength = 600;
        QCOMPARE(TClientUtils::GetOptionValue(s, "Big", ""), QString(512, u'x'));
    }

    void myCustomer_data() {
        QTest::addColumn<QString>("option");
        QTest::addColumn<int>("number");
        QTest::newRow("number") << "123" << 123;
        QTest::newRow("unset") << "" << 0;
        QTest::newRow("not a number") << "12a" << 0;
        QTest::newRow("leading blank") << " 12" << 12;
    }
    void myCustomer() {
        QFETCH(QString, option);
        QFETCH(int, number);
        FakeServices s;
        if (!option.isEmpty()) s.options[QStringLiteral("|CompanyCustomerNo")] = option;
        s.options[QStringLiteral("|CompanyCustomerName")] = QStringLiteral("本公司");
        QCOMPARE(TClientUtils::GetMyCustomerNo(s), number);
        QCOMPARE(TClientUtils::GetMyCustomerName(s), QStringLiteral("本公司"));
    }

    void receiptsAndIme() {
        FakeServices s;
        TClientUtils::SetReceiptNoSetting(s, QStringLiteral("销售单"), "XS", "yyyyMM", "4",
                                          QStringLiteral("递增"));
        QString a = "?", b = "?", c = "?", d = "?";
        TClientUtils::GetReceiptNoSetting(s, QStringLiteral("销售单"), a, b, c, d);
        QCOMPARE(QStringList({a, b, c, d}), QStringList({"XS", "yyyyMM", "4", QStringLiteral("递增")}));
        TClientUtils::GetReceiptNoSetting(s, QStringLiteral("退货单"), a, b, c, d);
        QCOMPARE(QStringList({a, b, c, d}), QStringList(4, QString()));
        QCOMPARE(TClientUtils::GetImeName(s), QStringLiteral("微软拼音"));
    }

    void recentItems() {
        FakeServices s;
        const lnq::TRecentItem small{QStringLiteral("北京客户"),
                                     QStringLiteral("select * from C where p='北京'")};
        const lnq::TRecentItem big{QStringLiteral("大查询"), "select * from C where " + QString(6000, u'x')};
        TClientUtils::AddRecentItem(s, ".cst", small);
        TClientUtils::AddRecentItem(s, ".cst", big);
        QCOMPARE(TClientUtils::GetRecentItems(s, ".cst"), (QList<lnq::TRecentItem>{big, small}));
        QCOMPARE(s.recentExts, QStringList(3, ".cst"));

        s.reportedRecentCount = 5; // the history shrank between the two calls
        QCOMPARE(TClientUtils::GetRecentItems(s, ".cst").size(), 2);
    }
};

LNQ_TEST_MAIN_CORE(TestPlatClientUtils)
#include "tst_Plat_clientutils.moc"
