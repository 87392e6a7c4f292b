// lnq view, end to end: views stored in an embedded database through the
// framework's own connection, read back by the real executable.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "filter/ViewStream.h"

#include <QBuffer>
#include <QFile>
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

} // namespace

class TestLnqView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("views.db"));
        const Result init = run({QStringLiteral("init-db"), m_db});
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
        QTest::newRow("user name only leaves the code") << view << QStringList{"--user-name", "张三"} << base;
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
        QTest::newRow("empty code given") << QStringList{"--user-code", ""}
                                          << QString(raw).replace(QStringLiteral("[%用户代码%]"), QString());
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
        QTest::newRow("missing file") << QStringList{"view", "decode", "NOFILE"} << 1 << "none.db";
    }
    void failures() {
        lnqtest::checkRefusal({}, {{"DB", m_db}, {"NOFILE", m_dir.filePath(QStringLiteral("none.db"))}});
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("none.db"))));
    }

    void decodeSqlPrintsTheTextAndANewline() {
        const QString file = writeFile(QStringLiteral("v.bin"), conditionView(true));
        const Result r = run({"view", "decode", "--sql", file});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral(" and (vName like '%北京%' And vOwner= '[%用户代码%]' )\n"));
        const QString raw = writeFile(QStringLiteral("raw.bin"), sqlView(QStringLiteral("select 2")));
        QCOMPARE(run({"view", "decode", "--sql", raw}).out, QStringLiteral("select 2\n"));
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
