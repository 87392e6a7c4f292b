// Opening a customers workbook through its connection string and selecting
// every row, against the baseline of the same rows selected from an embedded
// database file (a fresh connection each time in both), and the .xlsx
// reader alone (the parse without the table load).
//
// Each benchmark after the baseline carries "x_base": its time per
// iteration over the baseline's, both measured in the same run.
//
// 20,000 rows (LNQ_BENCH_ROWS overrides) of eight columns: code, Chinese
// name, address, province, a phone number (numbers and text mixed), a
// date, an amount and a flag. The files are made once per run in the
// temporary directory.

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/Workbook.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <benchmark/benchmark.h>
#include <chrono>
#include <xlsxwriter.h>

namespace {

int rowCount() {
    bool ok = false;
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS", &ok);
    return ok && n > 0 ? n : 20000;
}

struct Files {
    QString xlsx = QDir::temp().filePath(QStringLiteral("lnq_bench_customers.xlsx"));
    QString db = QDir::temp().filePath(QStringLiteral("lnq_bench_customers.db"));

    Files() {
        const int rows = rowCount();
        lxw_workbook* wb = workbook_new(QFile::encodeName(xlsx).constData());
        lxw_worksheet* ws = workbook_add_worksheet(wb, "客户");
        lxw_format* date = workbook_add_format(wb);
        format_set_num_format(date, "yyyy-mm-dd");
        const char* header[] = {"客户编码", "客户名称", "地址", "省份", "电话", "日期01", "金额", "代理"};
        for (int c = 0; c < 8; ++c)
            worksheet_write_string(ws, 0, lxw_col_t(c), header[c], nullptr);
        QFile::remove(db);
        lnq::TADOConnection conn;
        conn.SetConnectionString(db);
        conn.ExecuteNative(QStringLiteral(
            "CREATE TABLE C (客户编码 NVARCHAR(255), 客户名称 NVARCHAR(255), 地址 NVARCHAR(255), 省份 "
            "NVARCHAR(255), 电话 NVARCHAR(255), 日期01 DATETIME, 金额 FLOAT, 代理 BIT)"));
        conn.BeginTrans();
        for (int r = 1; r <= rows; ++r) {
            const QByteArray code = "K" + QByteArray::number(100000 + r);
            const QByteArray name = QStringLiteral("北京华信科技有限公司%1").arg(r).toUtf8();
            const QByteArray address = QStringLiteral("北京市海淀区中关村大街%1号").arg(r).toUtf8();
            worksheet_write_string(ws, lxw_row_t(r), 0, code.constData(), nullptr);
            worksheet_write_string(ws, lxw_row_t(r), 1, name.constData(), nullptr);
            worksheet_write_string(ws, lxw_row_t(r), 2, address.constData(), nullptr);
            worksheet_write_string(ws, lxw_row_t(r), 3, "北京", nullptr);
            if (r % 3 == 0)
                worksheet_write_number(ws, lxw_row_t(r), 4, 13800000000.0 + r, nullptr);
            else
                worksheet_write_string(ws, lxw_row_t(r), 4, "010-62345678", nullptr);
            lxw_datetime d = {2024, 1 + r % 12, 1 + r % 28, 0, 0, 0};
            worksheet_write_datetime(ws, lxw_row_t(r), 5, &d, date);
            worksheet_write_number(ws, lxw_row_t(r), 6, r * 1.25, nullptr);
            worksheet_write_boolean(ws, lxw_row_t(r), 7, r % 2, nullptr);
            conn.Execute(
                QStringLiteral("insert into C values ('") + QString::fromUtf8(code) + QStringLiteral("', '") +
                QString::fromUtf8(name) + QStringLiteral("', '") + QString::fromUtf8(address) +
                QStringLiteral("', '北京', '010-62345678', '2024-01-05', ") + QString::number(r * 1.25) +
                QStringLiteral(", ") + QString::number(r % 2) + QLatin1Char(')'));
        }
        conn.CommitTrans();
        workbook_close(wb);
    }
    ~Files() {
        QFile::remove(xlsx);
        QFile::remove(db);
    }
};

Files& files() {
    static Files f;
    return f;
}

double& baselineSeconds() {
    static double s = 0;
    return s;
}

template <typename F> void timed(benchmark::State& state, F&& work, bool isBaseline) {
    double total = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        work();
        const auto t1 = std::chrono::steady_clock::now();
        const double s = std::chrono::duration<double>(t1 - t0).count();
        state.SetIterationTime(s);
        total += s;
    }
    const double perIteration = total / double(state.iterations());
    if (isBaseline)
        baselineSeconds() = perIteration;
    else if (baselineSeconds() > 0)
        state.counters["x_base"] = perIteration / baselineSeconds();
    state.counters["rows"] = rowCount();
}

void BM_SelectFromDatabase(benchmark::State& state) {
    const QString db = files().db;
    timed(
        state,
        [&] {
            lnq::TADOConnection conn;
            conn.SetConnectionString(db);
            lnq::TClientDataSet ds;
            conn.OpenDataSet(QStringLiteral("select * from C"), ds);
            benchmark::DoNotOptimize(ds.RecordCount());
        },
        true);
}

void BM_SelectFromXlsx(benchmark::State& state) {
    const QString conn = QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source= '") + files().xlsx +
                         QStringLiteral("';Extended Properties=\"Excel 8.0;HDR=YES;IMEX=1\"");
    timed(
        state,
        [&] {
            lnq::TADOConnection excel;
            excel.SetConnectionString(conn);
            lnq::TClientDataSet ds;
            excel.OpenDataSet(QStringLiteral("select * from [客户$]"), ds);
            benchmark::DoNotOptimize(ds.RecordCount());
        },
        false);
}

void BM_ReadXlsxOnly(benchmark::State& state) {
    const QString path = files().xlsx;
    timed(
        state, [&] { benchmark::DoNotOptimize(lnq::ReadWorkbookFile(path).sheets.size()); }, false);
}

BENCHMARK(BM_SelectFromDatabase)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_SelectFromXlsx)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_ReadXlsxOnly)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    files();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
