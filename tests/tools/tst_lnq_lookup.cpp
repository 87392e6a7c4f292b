// lnq lookup end to end: the select the lookup edit builds and its rows.

#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QTemporaryDir>

namespace {
const QString kSql = QStringLiteral("select iCustomerNo, vCustomerName from Cust_CustomersMain");
} // namespace

class TestLnqLookup : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;

    QStringList prefix() const {
        return {"lookup",      "--db",          m_db,           "--no-field", "iCustomerNo", "--code-field",
                "vCustomerNo", "--value-field", "vCustomerName"};
    }
    lnqtest::ToolRun lookup(const QStringList& extra) { return lnqtest::runTool(prefix() + extra); }

private Q_SLOTS:
    void initTestCase() {
        m_db = m_dir.filePath(QStringLiteral("s.db"));
        QCOMPARE(lnqtest::runTool({"init-db", m_db, "--sample"}).exitCode, 0);
    }

    // The select for a text, its quoting and where clauses, are the lookup
    // edit's own (checked there); here --print-sql and --authority.
    void printsTheSelect() {
        const lnqtest::ToolRun r = lookup({"--sql", kSql + " where bIsAgent = 0", "--authority",
                                           "vProvince = '北京'", "O'12a", "--print-sql"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out,
                 kSql + " where bIsAgent = 0 and vCustomerNo like '%O''12a%' and vProvince = '北京'\n");
    }

    void rows() {
        const lnqtest::ToolRun r = lookup({"--sql", kSql, "--authority", "iCustomerNo < 5", "北京华信"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("iCustomerNo\tvCustomerName\n1\t北京华信通达科技有限公司\n"));
    }

    void failures_data() {
        lnqtest::refusalColumns();
        QTest::newRow("no field for the text")
            << QStringList{"--sql", kSql, "- /"} << 1 << "selects no field";
        QTest::newRow("missing table")
            << QStringList{"--sql", "select * from NoSuchTable", "x"} << 1 << "NoSuchTable";
        QTest::newRow("no text") << QStringList{"--sql", kSql} << 2 << "TEXT";
    }
    void failures() { lnqtest::checkRefusal(prefix()); }
};

LNQ_TEST_MAIN_CORE(TestLnqLookup)
#include "tst_lnq_lookup.moc"
