// lnq view, record, property and contact, end to end on the sample
// database: views stored through the framework's own connection and read
// back, listed and decoded by the real executable; record, property and
// contact pages byte for byte.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "filter/ViewStream.h"

#include <QBuffer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace lnq;

namespace {

using Result = lnqtest::ToolRun;
Result run(const QStringList& args) {
    return lnqtest::runTool(args);
}

QByteArray conditionView(bool matchAll) {
    TConditionList list;
    list.Add(QStringLiteral("vName like '%北京%'"), QStringLiteral("客户名称"),
             QStringLiteral("客户名称 包含 北京"));
    list.Add(QStringLiteral("vOwner= '[%用户代码%]'"), QStringLiteral("业务员"),
             QStringLiteral("业务员 等于(精确地) [%用户代码%]"));
    QBuffer b;
    b.open(QIODevice::WriteOnly);
    SaveToStream(b, list, matchAll);
    return b.data();
}

QByteArray sqlView(const QString& sql) {
    QBuffer b;
    b.open(QIODevice::WriteOnly);
    SaveSQLToStream(b, sql);
    return b.data();
}

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

class TestLnqView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("views.db"));
        const Result init = run({QStringLiteral("init-db"), m_db, QStringLiteral("--sample")});
        QVERIFY2(init.exitCode == 0, qPrintable(init.err));

        TADOConnection connection;
        connection.SetConnectionString(m_db);
        connection.Open();
        TInterfacedADOConnection conn(connection);
        auto store = [&](const QString& name, const QByteArray& bytes) {
            QByteArray copy = bytes;
            QBuffer b(&copy);
            b.open(QIODevice::ReadOnly);
            conn.SaveStream(QStringLiteral("admin"), name, b);
        };
        store(QStringLiteral("客户\\北京客户.CST"), conditionView(false));
        store(QStringLiteral("客户\\全部.CST"), conditionView(true).left(3) + QByteArray(4, '\0'));
        store(QStringLiteral("最近使用\\我的客户.CST"),
              sqlView(QStringLiteral("select * from Cust_CustomersMain where vOwner='[%用户代码%]' or "
                                     "vOwnerName='[%用户名称%]' or vMemo like '%[%用户代码%]%'")));
        // The same name under another extension belongs to another list.
        store(QStringLiteral("客户\\北京客户.PRD"), sqlView(QStringLiteral("select 1")));
        conn.ExecuteNonQuery(QStringLiteral(
            "insert sys_properties (vTableName, vKeyField, vSubType, vPropertyName, vPropertyValue, iOrder, "
            "vAppLinkFormat) values ('Demo', 'k''1', N'联系', N'手机', '139', 1, "
            "'app://Sms?To=[Value]&No=[iNo]'), "
            "('Demo', 'k''1', N'基本', N'行业', N'教育', 2, null), "
            "('Demo', 'k''1', N'联系', N'传真', '010', 3, '')"));
    }

    void conditionListBecomesSelect_data() {
        QTest::addColumn<QString>("view");
        QTest::addColumn<QStringList>("extra");
        QTest::addColumn<QString>("sql");
        const QString base = QStringLiteral("select * from Cust_CustomersMain where 1=1   and (vName like "
                                            "'%北京%' OR vOwner= '[%用户代码%]' )");
        const QString view = QStringLiteral("客户\\北京客户");
        QTest::newRow("plain") << view << QStringList() << base;
        QTest::newRow("base where") << view << QStringList{"--base-where", "iDept=3"}
                                    << base + " and iDept=3";
        QTest::newRow("user code") << view << QStringList{"--user-code", "u01"}
                                   << QString(base).replace(QStringLiteral("[%用户代码%]"),
                                                            QStringLiteral("u01"));
        QTest::newRow("empty list") << QStringLiteral("客户\\全部") << QStringList{}
                                    << "select * from Cust_CustomersMain where 1=1   )";
    }
    void conditionListBecomesSelect() {
        QFETCH(QString, view);
        QFETCH(QStringList, extra);
        QFETCH(QString, sql);
        const Result r =
            run(QStringList{"view", "sql", "--db", m_db, "--ext", ".CST", "--table", "Cust_CustomersMain"} +
                extra + QStringList{view});
        QCOMPARE(r.err, QString());
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, sql + "\n");
    }

    void rawSqlStandsAsItIs_data() {
        QTest::addColumn<QStringList>("extra");
        QTest::addColumn<QString>("sql");
        const QString raw = QStringLiteral("select * from Cust_CustomersMain where vOwner='[%用户代码%]' or "
                                           "vOwnerName='[%用户名称%]' or vMemo like '%[%用户代码%]%'");
        QTest::newRow("no user given") << QStringList() << raw;
        QTest::newRow("table and base where are not used")
            << QStringList{"--table", "X", "--base-where", "1=0"} << raw;
        QTest::newRow("both replaced everywhere")
            << QStringList{"--user-code", "u01", "--user-name", "张三"}
            << QStringLiteral("select * from Cust_CustomersMain where vOwner='u01' or vOwnerName='张三' or "
                              "vMemo like '%u01%'");
    }
    void rawSqlStandsAsItIs() {
        QFETCH(QStringList, extra);
        QFETCH(QString, sql);
        const Result r = run(QStringList{"view", "sql", "--db", m_db, "--ext", ".CST"} + extra +
                             QStringList{"最近使用\\我的客户"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, sql + "\n");
    }

    void failures_data() {
        lnqtest::refusalColumns();
        QTest::newRow("missing view")
            << QStringList{"view", "sql", "--db", "DB", "--ext", ".CST", "客户\\没有"} << 1 << "客户\\没有";
        QTest::newRow("wrong extension")
            << QStringList{"view", "sql", "--db", "DB", "--ext", ".XYZ", "客户\\北京客户"} << 1
            << "客户\\北京客户.XYZ";
        QTest::newRow("condition list needs a table")
            << QStringList{"view", "sql", "--db", "DB", "--ext", ".CST", "客户\\北京客户"} << 2 << "--table";
        QTest::newRow("missing database")
            << QStringList{"view", "sql", "--db", "NOFILE", "--ext", ".CST", "a\\b"} << 1 << "不存在";
        QTest::newRow("no ext") << QStringList{"view", "sql", "--db", "DB", "a\\b"} << 2 << "--ext";
        QTest::newRow("unknown option") << QStringList{"view", "decode", "--raw", "F"} << 2 << "--raw";
        QTest::newRow("unknown sub-command") << QStringList{"view", "list"} << 2 << "list";
        QTest::newRow("quoted user breaks the listing")
            << QStringList{"view", "list", "--db", "DB", "--ext", ".CUS", "--user", "o'neil"} << 1 << "lnq: ";
        QTest::newRow("missing user")
            << QStringList{"view", "list", "--db", "DB", "--ext", ".CUS"} << 2 << "--user is required";
        QTest::newRow("missing table")
            << QStringList{"record", "html", "--db", "DB", "select * from nosuch"} << 1 << "nosuch";
        QTest::newRow("bad columns") << QStringList{"record",    "html", "--db",    "DB",
                                                    "--columns", "0",    "select 1"}
                                     << 2 << "--columns";
        QTest::newRow("property without key")
            << QStringList{"property", "html", "--db", "DB", "--table", "Demo"} << 2 << "--key is required";
        QTest::newRow("missing file") << QStringList{"view", "decode", "NOFILE"} << 1 << "none.db";
    }
    void failures() {
        lnqtest::checkRefusal({}, {{"DB", m_db}, {"NOFILE", m_dir.filePath(QStringLiteral("none.db"))}});
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("none.db"))));
    }

    void decodeShowsEverything() {
        const QString file = writeFile(QStringLiteral("v0.bin"), conditionView(false));
        const Result r = run({"view", "decode", file});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("version: 3\n"
                                       "is-sql: 0\n"
                                       "match-all: 0\n"
                                       "count: 2\n"
                                       "condition 1:\n"
                                       "  caption: 客户名称\n"
                                       "  description: 客户名称 包含 北京\n"
                                       "  piece: vName like '%北京%'\n"
                                       "condition 2:\n"
                                       "  caption: 业务员\n"
                                       "  description: 业务员 等于(精确地) [%用户代码%]\n"
                                       "  piece: vOwner= '[%用户代码%]'\n"
                                       "sql:  and (vName like '%北京%' OR vOwner= '[%用户代码%]' )\n"));
        const QString raw = writeFile(QStringLiteral("raw1.bin"), sqlView(QStringLiteral("select 3")));
        QCOMPARE(run({"view", "decode", raw}).out,
                 QStringLiteral("version: 3\nis-sql: 1\nmatch-all: 1\nsql: select 3\n"));
    }

    // A pipe has no size to check lengths against: it is read to its end first.
    void decodeReadsAPipe_data() {
        QTest::addColumn<QString>("file");
        QTest::newRow("/dev/stdin") << QStringLiteral("/dev/stdin");
        QTest::newRow("-") << QStringLiteral("-");
        QTest::newRow("file") << QStringLiteral("FILE");
    }
    void decodeReadsAPipe() {
        QFETCH(QString, file);
        // A file is named by its path and gets no standard input.
        const bool onDisk = file == QLatin1String("FILE");
        if (onDisk) file = writeFile(QStringLiteral("piped.bin"), conditionView(true));
        const lnqtest::ToolRun r = lnqtest::runTool(
            {QStringLiteral("view"), QStringLiteral("decode"), QStringLiteral("--sql"), file}, {},
            conditionView(true));
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral(" and (vName like '%北京%' And vOwner= '[%用户代码%]' )\n"));
        if (onDisk) file = writeFile(QStringLiteral("cut.bin"), conditionView(true).left(20));
        const lnqtest::ToolRun cut = lnqtest::runTool(
            {QStringLiteral("view"), QStringLiteral("decode"), file}, {}, conditionView(true).left(20));
        QCOMPARE(cut.exitCode, 1);
        QCOMPARE(cut.out, QString());
        QVERIFY2(cut.err.startsWith(QStringLiteral("lnq: 视图数据已损坏：条件数 2")), qPrintable(cut.err));
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
        const auto r = run(QStringList{"view", "list", "--db", m_db} + args);
        QCOMPARE(r.exitCode, 0);
        // The order of the folders is the database's collation; compare as sets.
        QStringList got = r.out.split('\n', Qt::SkipEmptyParts);
        QStringList want = out.split('\n', Qt::SkipEmptyParts);
        got.sort();
        want.sort();
        QCOMPARE(got, want);
        QVERIFY(r.out.endsWith('\n') || r.out.isEmpty());
    }

    void recordHtml() {
        const auto r = run({"record", "html", "--db", m_db, "--columns", "4",
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
        const auto none = run({"record", "html", "--db", m_db, "select * from Cust_CustomersMain where 1=0"});
        QCOMPARE(none.exitCode, 0);
        QCOMPARE(none.out, QString());
    }

    void propertyHtml() {
        const auto r = run({"property", "html", "--db", m_db, "--table", "Demo", "--key", "k'1", "--columns",
                            "3", "--params", "iNo=42;x=y"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, kHeader + "<br><b>联系</b><table width=\"100%\"><tr>" +
                            cell("手机", 13, "<a href=\"app://Sms?To=139&No=42\">139</a>", 20) +
                            cell("传真", 13, "010", 20) +
                            "</table><br><b>基本</b><table width=\"100%\"><tr>" +
                            cell("行业", 13, "教育", 20) + "</table></body></html>\n");
        // The sample's customers carry app links in their property lists.
        const auto sample = run({"property", "html", "--db", m_db, "--table", "Cust_CustomersMain", "--key",
                                 "5", "--params", "iCustomerNo=5"});
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
        const auto r = run({"contact", "html", "--db", m_db, "--customer", "99999"});
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
        QCOMPARE(run({"contact", "html", "--db", m_db, "--customer", "1 or 1=1"}).exitCode, 2);
    }

private:
    QString writeFile(const QString& name, const QByteArray& bytes) {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size()) return QString();
        return path;
    }

    QTemporaryDir m_dir;
    QString m_db;
};

LNQ_TEST_MAIN_CORE(TestLnqView)
#include "tst_lnq_view.moc"
