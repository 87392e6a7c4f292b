// lnq lookup and lnq lookup-list end to end on the sample database: the
// lookup edit's select and rows; the lists, their query texts, and their rows
// narrowed by text or pinyin initials.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "util/Plat_convert.h"

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
        QVERIFY(m_dir.isValid());
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

    void lookupRefusals_data() {
        lnqtest::refusalColumns();
        QTest::newRow("no field for the text")
            << QStringList{"--sql", kSql, "- /"} << 1 << "selects no field";
        QTest::newRow("missing table")
            << QStringList{"--sql", "select * from NoSuchTable", "x"} << 1 << "NoSuchTable";
        QTest::newRow("no text") << QStringList{"--sql", kSql} << 2 << "TEXT";
    }
    void lookupRefusals() { lnqtest::checkRefusal(prefix()); }

    void listsEveryMember() {
        const auto r = lnqtest::runTool({"lookup-list", "--list"});
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 18);
        QVERIFY(lines.contains("ShowProductListDialog\tmulti\t商品编码,编号"));
        QVERIFY(lines.contains("ShowCustomerListDialog\tsingle\t编号,编码,名称,省份"));
    }

    void queryTexts_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("sql");
        QTest::newRow("services of a supplier") << QStringList{"ShowServiceDialog", "--goods", "12"}
                                                << " SELECT vService AS '服务名称', iServiceNo AS '服务编号' "
                                                   "FROM Dic_Service  WHERE iGoodsNo = 12 ORDER BY "
                                                   "iServiceNo DESC";
        QTest::newRow("programmes without packages")
            << QStringList{"ShowMultProgramListDialog", "--packages", "no"}
            << "select iProgramNo 节目编号,vProgram 节目名称,mPrice  节目单价 from dic_program  ";
        QTest::newRow("customers of a condition")
            << QStringList{"showcustomerlistdialog", "--condition", "bIsAgent=1"}
            << " select      iCustomerNo as 编号    , vCustomerNo as 编码    , vCustomerName as 名称    , "
               "vProvince as "
               "省份  from Cust_CustomersMain  where bIsAgent=1";
        QTest::newRow("agents of a condition")
            << QStringList{"ShowSellPlaceListDialog", "--condition", "vProvince='上海'"}
            << " select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from Cust_CustomersMain "
               " where "
               "bIsAgent=1  and vProvince='上海'";
    }
    void queryTexts() {
        QFETCH(QStringList, args);
        QFETCH(QString, sql);
        const auto r = lnqtest::runTool(QStringList{"lookup-list", "--sql"} + args);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, sql + "\n");
    }

    void rowsNarrowedByTheQuickSearch_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("column"); // the column every row must match
        QTest::addColumn<QString>("text");
        QTest::newRow("pinyin initials")
            << QStringList{"ShowCustomerListDialog", "--search", "bjhx"} << 2 << "bjhx";
        QTest::newRow("text") << QStringList{"ShowMultGoodsListDialog", "--search", "北京"} << 1 << "北京";
        QTest::newRow("chosen column")
            << QStringList{"ShowMultProvinceListDialog", "--search", "hb", "--field", "省份"} << 0 << "";
    }
    void rowsNarrowedByTheQuickSearch() {
        QFETCH(QStringList, args);
        QFETCH(int, column);
        QFETCH(QString, text);
        const auto r = lnqtest::runTool(QStringList{"lookup-list", "--db", m_db} + args);
        QCOMPARE(r.exitCode, 0);
        QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() > 1);
        lines.removeFirst(); // titles
        for (const QString& line : lines) {
            const QString value = line.split('\t').value(column);
            QVERIFY2(value.contains(text) ||
                         lnq::TUtils_Convert::StrToPY(value).contains(text.toUpper().toLatin1()),
                     qPrintable(line));
        }
        if (text == "bjhx") QVERIFY(lines.first().startsWith("1\tKH000001\t北京华信通达科技有限公司\t北京"));
        if (text.isEmpty()) // 河北, 湖北: "hb"
            QCOMPARE(lines, QStringList({"河北", "湖北"}));
    }

    void listRefusals_data() {
        lnqtest::refusalColumns();
        QTest::newRow("unknown list") << QStringList{"ShowNothing", "--sql"} << 1 << "no lookup list";
        QTest::newRow("unknown column")
            << QStringList{"--db", "DB", "ShowMultProvinceListDialog", "--field", "名称"} << 1 << "no column";
        QTest::newRow("supplier not a number")
            << QStringList{"--db", "DB", "ShowServiceDialog", "--goods", "1 or 1=1"} << 1
            << "not a valid integer";
        QTest::newRow("no database") << QStringList{"ShowMultProvinceListDialog"} << 2 << "usage";
    }
    void listRefusals() { lnqtest::checkRefusal({"lookup-list"}, {{"DB", m_db}}); }
};

LNQ_TEST_MAIN_CORE(TestLnqLookup)
#include "tst_lnq_lookup.moc"
