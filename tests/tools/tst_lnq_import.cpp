// lnq import: a sheet of a workbook into a table of the embedded database.

#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QFile>
#include <QTemporaryDir>
#include <xlsxwriter.h>

namespace {

using Run = lnqtest::ToolRun;

const QString kXls = QStringLiteral(LNQ_TEST_DATA_DIR "/workbooks/customers.xls");

Run lnqRun(const QStringList& args) {
    return lnqtest::runTool(args);
}

} // namespace

class TestLnqImport : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;
    QString m_xlsx;

    Run sql(const QString& text) { return lnqRun({"sql", "--db", m_db, text}); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("t.db"));
        QCOMPARE(lnqRun({"init-db", m_db}).exitCode, 0);
        QCOMPARE(sql(QStringLiteral("create table Narrow (客户编码 nvarchar(20))")).exitCode, 0);
        // A workbook whose second sheet has a Chinese name with a blank, a text longer
        // than 255 characters and a column mixing numbers and text.
        m_xlsx = m_dir.filePath(QStringLiteral("供应商.xlsx"));
        lxw_workbook* wb = workbook_new(QFile::encodeName(m_xlsx).constData());
        workbook_add_worksheet(wb, "Sheet1");
        lxw_worksheet* ws = workbook_add_worksheet(wb, "供应商 2024");
        worksheet_write_string(ws, 0, 0, "编码", nullptr);
        worksheet_write_string(ws, 0, 1, "名称", nullptr);
        worksheet_write_string(ws, 0, 2, "说明", nullptr);
        worksheet_write_number(ws, 1, 0, 1001, nullptr);
        worksheet_write_string(ws, 1, 1, "华东五金", nullptr);
        worksheet_write_string(ws, 1, 2, QString(300, QChar(u'长')).toUtf8().constData(), nullptr);
        worksheet_write_string(ws, 2, 0, "A-02", nullptr);
        worksheet_write_string(ws, 2, 1, "华南电子", nullptr);
        QCOMPARE(workbook_close(wb), LXW_NO_ERROR);
    }

    void importsIntoNewTable_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("count");
        QTest::addColumn<QString>("columns");
        QTest::addColumn<QString>("rows");
        QTest::newRow("xls, first sheet") << QStringList{"--from", kXls} << "导入客户"
                                          << "3\n"
                                          << "客户编码, 电话, 日期01"
                                          << "客户编码\t电话\t日期01\n"
                                             "K001\t13800138000\t2024-01-05 00:00:00\n"
                                             "K002\t021-55556666\t2024-02-29 13:45:30\n"
                                             "K003\t020-87654321\t\n";
        QTest::newRow("xlsx, sheet by name, mixed column as text")
            << QStringList{"--from", "XLSX", "--sheet", "供应商 2024"} << "供应商"
            << "2\n"
            << "编码, 名称, len(说明) n"
            << "编码\t名称\tn\n1001\t华东五金\t300\nA-02\t华南电子\t\n";
        QTest::newRow("no header") << QStringList{"--from", kXls, "--sheet", "Sheet2$", "--no-header"}
                                   << "NoHeader"
                                   << "2\n"
                                   << "*"
                                   << "F1\tF2\tF3\n1\t甲\t\n2\t乙\t1\n";
    }
    void importsIntoNewTable() {
        QFETCH(QStringList, args);
        QFETCH(QString, table);
        QFETCH(QString, count);
        QFETCH(QString, columns);
        QFETCH(QString, rows);
        args.replaceInStrings(QStringLiteral("XLSX"), m_xlsx);
        const Run r = lnqRun(QStringList{"import", "--db", m_db, "--table", table} + args);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(r.out, count);
        const Run q = sql(QStringLiteral("select ") + columns + QStringLiteral(" from ") + table +
                          QStringLiteral(" order by 1"));
        QVERIFY2(q.exitCode == 0, qPrintable(q.err));
        QCOMPARE(q.out, rows);
    }

    void newTableComparesWithoutCase() {
        // Text columns of a created table take the database's Chinese
        // case-insensitive collation.
        QCOMPARE(lnqRun({"import", "--from", kXls, "--db", m_db, "--table", "Ci"}).exitCode, 0);
        const Run q = sql(QStringLiteral("select 客户名称 from Ci where 客户编码 = 'k002'"));
        QCOMPARE(q.out, QStringLiteral("客户名称\n上海东方贸易公司\n"));
    }

    void appendsToExistingTable() {
        QCOMPARE(sql(QStringLiteral(
                         "create table Imported (客户编码 nvarchar(20), 客户名称 nvarchar(80), 地址 "
                         "nvarchar(80), 省份 nvarchar(20), 城市 nvarchar(20), 电话 nvarchar(50), 日期01 "
                         "datetime, iNo int identity(1,1) primary key)"))
                     .exitCode,
                 0);
        for (int i = 0; i < 2; ++i) {
            const Run r = lnqRun({"import", "--from", kXls, "--db", m_db, "--table", "imported"});
            QVERIFY2(r.exitCode == 0, qPrintable(r.err));
            QCOMPARE(r.out, QStringLiteral("3\n"));
        }
        QCOMPARE(sql(QStringLiteral("select count(*) n, max(iNo) m from Imported")).out,
                 QStringLiteral("n\tm\n6\t6\n"));
    }

    void refusals_data() {
        lnqtest::refusalColumns();
        const QStringList into{"--db", "DB", "--table", "T"};
        QTest::newRow("missing option") << QStringList{"--from", kXls} << 2 << "usage: lnq import";
        QTest::newRow("unknown option")
            << QStringList{"--from", kXls, "--x", "1"} + into << 2 << "unknown option --x";
        QTest::newRow("no such sheet") << QStringList{"--from", kXls, "--sheet", "客户2"} + into << 1
                                       << "没有工作表 客户2 (有: 客户$, Sheet2$)";
        QTest::newRow("columns the table lacks")
            << QStringList{"--from", kXls, "--db", "DB", "--table", "Narrow"} << 1
            << "表 Narrow 没有工作表的列: 客户名称, 地址, 省份, 城市, 电话, 日期01";
        QTest::newRow("damaged workbook")
            << QStringList{"--from", "BROKEN"} + into << 1 << "外部表不是预期的格式";
        QTest::newRow("missing workbook")
            << QStringList{"--from", "/nonexistent.xls"} + into << 1 << "无法打开文件: /nonexistent.xls";
    }
    void refusals() {
        const QString broken = m_dir.filePath(QStringLiteral("broken.xlsx"));
        QFile f(kXls);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QFile b(broken);
        QVERIFY(b.open(QIODevice::WriteOnly));
        b.write("PK\x03\x04" + f.read(3000));
        b.close();
        lnqtest::checkRefusal({"import"}, {{"BROKEN", broken}, {"DB", m_db}});
        // Nothing reached the tables.
        QCOMPARE(sql(QStringLiteral("select count(*) from Narrow")).out, QStringLiteral("\n0\n"));
        QVERIFY(!sql(QStringLiteral("select * from T")).err.isEmpty());
    }
};

LNQ_TEST_MAIN_CORE(TestLnqImport)
#include "tst_lnq_import.moc"
