// lnq view list, record html and property html, end to end: the real
// executable on a sample database.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"

#include <QTemporaryDir>

using namespace lnq;
using lnqtest::runTool;

namespace {
const QString kHeader = QStringLiteral(
    "<html><head><style>body {   scrollbar-base-color:#D8E6F5;}font-family: \"宋体\", \"serif\"; font-size: "
    "9pt}td {  font-family: \"宋体\", \"serif\"; font-size: 9pt}a:link {color:#0000CC;font-size:12px;; "
    "text-decoration: underline; font-family: \"Arial\", \"Helvetica\", "
    "\"sans-serif\"}a:visited{color:blue;text-decoration:underline;font-size:12px;; font-family: \"Arial\", "
    "\"Helvetica\", \"sans-serif\"}a:active {text-decoration:none;;color:#CC6600;font-size:12px;; "
    "letter-spacing: "
    "normal}a:hover {text-decoration:underline;font-size:12px; color: #FF9900; font-family: \"Arial\", "
    "\"Helvetica\", \"sans-serif\"}</style></head><body leftmargin=\"0\" topmargin=\"0\">");

QString cell(const QString& caption, int cw, const QString& value, int vw) {
    return "<td align=\"right\" width=\"" + QString::number(cw) + "%\">" + caption + ":</td><td width=\"" +
           QString::number(vw) + "%\"><font color=\"blue\">" + value + "</font></td>";
}
} // namespace

class TestLnqViews : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("sample.db"));
        const auto init = runTool({"init-db", m_db, "--sample"});
        QVERIFY2(init.exitCode == 0, qPrintable(init.err));
        TADOConnection ado;
        ado.SetConnectionString(m_db);
        ado.Open();
        TInterfacedADOConnection conn(ado);
        conn.ExecuteNonQuery(QStringLiteral(
            "insert sys_properties (vTableName, vKeyField, vSubType, vPropertyName, vPropertyValue, iOrder, "
            "vAppLinkFormat) values ('Demo', 'k''1', N'联系', N'手机', '139', 1, "
            "'app://Sms?To=[Value]&No=[iNo]'), "
            "('Demo', 'k''1', N'基本', N'行业', N'教育', 2, null), "
            "('Demo', 'k''1', N'联系', N'传真', '010', 3, '')"));
    }

    void viewList_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("out");
        QTest::newRow("group") << QStringList{"--ext", ".SAL", "--user", "wujie", "--groups", "[D"}
                               << "财务\t大额销售单\n常用视图\t今天的销售单\n常用视图\t未审核销售单\n";
        QTest::newRow("nothing") << QStringList{"--ext", ".XYZ", "--user", "admin"} << "";
    }
    void viewList() {
        QFETCH(QStringList, args);
        QFETCH(QString, out);
        const auto r = runTool(QStringList{"view", "list", "--db", m_db} + args);
        QCOMPARE(r.exitCode, 0);
        // The order of the folders is the database's collation; compare as sets.
        QStringList got = r.out.split('\n', Qt::SkipEmptyParts);
        QStringList want = out.split('\n', Qt::SkipEmptyParts);
        got.sort();
        want.sort();
        QCOMPARE(got, want);
        QVERIFY(r.out.endsWith('\n') || r.out.isEmpty());
    }

    void errors_data() {
        lnqtest::refusalColumns();
        QTest::newRow("quoted user breaks the listing")
            << QStringList{"view", "list", "--db", "DB", "--ext", ".CUS", "--user", "o'neil"} << 1 << "lnq: ";
        QTest::newRow("missing user")
            << QStringList{"view", "list", "--db", "DB", "--ext", ".CUS"} << 2 << "--user is required";
        QTest::newRow("missing database")
            << QStringList{"view", "list", "--db", "nosuch.db", "--ext", ".CUS", "--user", "a"} << 1
            << "不存在";
        QTest::newRow("missing table")
            << QStringList{"record", "html", "--db", "DB", "select * from nosuch"} << 1 << "nosuch";
        QTest::newRow("bad columns") << QStringList{"record",    "html", "--db",    "DB",
                                                    "--columns", "0",    "select 1"}
                                     << 2 << "--columns";
        QTest::newRow("property without key")
            << QStringList{"property", "html", "--db", "DB", "--table", "Demo"} << 2 << "--key is required";
    }
    void errors() { lnqtest::checkRefusal({}, {{"DB", m_db}}); }

    void recordHtml() {
        const auto r =
            runTool({"record", "html", "--db", m_db, "--columns", "4",
                     "select 5 as iCustomerNo, N'北京' as vCustomerName, '13800000000' as vMobile, "
                     "cast(1 as bit) as bIsAgent, null as vEmail, 'x' as vPassword"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out,
                 kHeader + "<table width=\"100%\"><tr>" + cell("客户编号", 8, "5", 18) +
                     cell("客户名称", 8, "北京", 18) +
                     cell("手机", 8,
                          "<a href=\"app://ShowMessageManageDetail?Phone=13800000000\">13800000000</a>", 18) +
                     cell("代理商", 8, "是", 18) + "</tr><tr>" + cell("邮箱", 8, "", 18) +
                     "</tr></table></body></html>\n");
        // A query without rows prints nothing.
        const auto none =
            runTool({"record", "html", "--db", m_db, "select * from Cust_CustomersMain where 1=0"});
        QCOMPARE(none.exitCode, 0);
        QCOMPARE(none.out, QString());
    }

    void propertyHtml() {
        const auto r = runTool({"property", "html", "--db", m_db, "--table", "Demo", "--key", "k'1",
                                "--columns", "3", "--params", "iNo=42;x=y"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, kHeader + "<br><b>联系</b><table width=\"100%\"><tr>" +
                            cell("手机", 13, "<a href=\"app://Sms?To=139&No=42\">139</a>", 20) +
                            cell("传真", 13, "010", 20) +
                            "</table><br><b>基本</b><table width=\"100%\"><tr>" +
                            cell("行业", 13, "教育", 20) + "</table></body></html>\n");
        // The sample's customers carry app links in their property lists.
        const auto sample = runTool({"property", "html", "--db", m_db, "--table", "Cust_CustomersMain",
                                     "--key", "5", "--params", "iCustomerNo=5"});
        QCOMPARE(sample.exitCode, 0);
        QVERIFY(sample.out.contains("<a href=\"app://ShowContactDetail?iCustomerNo=5&vContact="));
    }

    void contactHtml() {
        TADOConnection ado;
        ado.SetConnectionString(m_db);
        ado.Open();
        TInterfacedADOConnection(ado).ExecuteNonQuery(
            QStringLiteral("insert Cust_Contacts (iCustomerNo, vContact, vTitle, vPhoneZone, vPhoneNumber, "
                           "vPhoneKind, vMobile, "
                           "vEmail) values (99999, N'王五', N'经理', '010', '6612', N'办公', '139', null), "
                           "(99999, N'赵六', null, null, '8888', null, null, 'z@x.cn')"));
        const auto r = runTool({"contact", "html", "--db", m_db, "--customer", "99999"});
        QCOMPARE(r.exitCode, 0);
        const QRegularExpression no("iContactNo=(\\d+)");
        auto it = no.globalMatch(r.out);
        QStringList ids;
        while (it.hasNext())
            ids << it.next().captured(1);
        QCOMPARE(ids.size(), 4);
        const QString a = "iCustomerNo=99999&iContactNo=" + ids[0];
        const QString b = "iCustomerNo=99999&iContactNo=" + ids[2];
        QCOMPARE(r.out, kHeader + "<table width=\"100%\"><tr><td><b><a href=\"app://ShowContactDetail?" + a +
                            "\">王五</a></b> 经理</td></tr><tr><td>010 - 6612 - 办公</td></tr><tr><td><a "
                            "href=\"app://ShowMessageManageDetail?Phone=139\">139</a></td></tr><tr><td><a "
                            "href=\"app://EditContact?" +
                            a +
                            "\">编辑联系人</a></td></tr></table><table width=\"100%\"><tr><td><b><a "
                            "href=\"app://ShowContactDetail?" +
                            b +
                            "\">赵六</a></b></td></tr><tr><td>8888</td></tr><tr><td><a "
                            "href=\"app://ShowMailManageDetail?Phone=z@x.cn\">z@x.cn</a></td></tr><tr><td><a "
                            "href=\"app://EditContact?" +
                            b + "\">编辑联系人</a></td></tr></table></body></html>\n");
        QCOMPARE(runTool({"contact", "html", "--db", m_db, "--customer", "1 or 1=1"}).exitCode, 2);
    }

private:
    QTemporaryDir m_dir;
    QString m_db;
};

LNQ_TEST_MAIN_CORE(TestLnqViews)
#include "tst_lnq_views.moc"
