// The list form opening on a table of 1,000,000 rows (LNQ_BENCH_ROWS
// overrides), against a baseline measured in the same run:
//  - Baseline: the form's own first query, "SELECT TOP 100 * FROM Bench_List
//    ORDER BY iNo DESC", run through the connection into a dataset, and one
//    paint of a data grid of the form's size showing it;
//  - Open: constructing the derived form, FormCreate (views tree, dictionary,
//    first RefreshData, the current row's property list, detail lines), one
//    paint of its list grid and the record viewer's page layout;
//  - Refresh: an open form reloading its newest rows and painting the list
//    grid again.
//
// The database (the framework's tables, a views folder, property lists and
// the big table with detail lines) is written once per run in the temporary
// directory and removed at exit. Reported: wall and thread CPU time per run
// and, for the form, x_base / x_base_cpu = its time / the baseline's. The
// machine may be loaded: read the ratios, the CPU one first.

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "forms/ListCommon_ui.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <sqlite3.h>

using namespace lnq;

namespace {

const QSize kWindow(1200, 800);
double g_base = 0;
double g_baseCpu = 0;

int rowCount() {
    bool ok = false;
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS", &ok);
    return ok && n > 0 ? n : 1000000;
}

QString& dbPath() {
    static QString path;
    return path;
}

bool exec(sqlite3* db, const char* sql) {
    char* error = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &error) == SQLITE_OK) return true;
    std::fprintf(stderr, "bench_listform: %s\n", error ? error : "?");
    sqlite3_free(error);
    return false;
}

// The framework's tables through the schema, then the list table and its
// lines written straight through SQLite.
bool generate(const QString& path, int rows) {
    QFile::remove(path);
    {
        TADOConnection ado;
        ado.SetConnectionString(path);
        ado.Open();
        SampleDatabase::CreateSchema(ado);
        // The dictionary's text columns use the framework's collation, which
        // only the framework's connection knows.
        TInterfacedADOConnection(ado).ExecuteNonQuery(QStringLiteral(
            "INSERT INTO Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay, iOrder) "
            "VALUES "
            "('Bench_List','vReceiptNo','单据编号',1,1),('Bench_List','vCustomerName','客户名称',1,2),"
            "('Bench_List','mAmount','金额',1,3),('Bench_List','vAllowedUsers','允许用户',0,4)"));
    }
    sqlite3* db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK) return false;
    bool ok = exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
                       "CREATE TABLE Bench_List (iNo INTEGER PRIMARY KEY, vReceiptNo NVARCHAR(20),"
                       " vCustomerName NVARCHAR(80), dSaleDate DATETIME, mAmount MONEY, vSeller NVARCHAR(50),"
                       " vConfirmState NVARCHAR(20), vConfirmUser NVARCHAR(50), dConfirmDate DATETIME,"
                       " bShare BIT, vAllowedUsers NVARCHAR(2000), vAllowedGroups NVARCHAR(2000));"
                       "CREATE TABLE Bench_Detail (iNo INTEGER PRIMARY KEY, iMasterNo INT, vProductName "
                       "NVARCHAR(100), fQuantity FLOAT, mPrice MONEY, vConfirmState NVARCHAR(20));"
                       "CREATE INDEX IX_Bench_Detail ON Bench_Detail (iMasterNo);"
                       "BEGIN;");
    sqlite3_stmt* ins = nullptr;
    sqlite3_stmt* line = nullptr;
    ok = ok &&
         sqlite3_prepare_v2(db, "INSERT INTO Bench_List VALUES (?,?,?,?,?,?,?,NULL,NULL,0,',',NULL)", -1,
                            &ins, nullptr) == SQLITE_OK &&
         sqlite3_prepare_v2(db,
                            "INSERT INTO Bench_Detail (iMasterNo, vProductName, fQuantity, mPrice, "
                            "vConfirmState) VALUES (?,'红枫运动手环',3,99.5,'未确认')",
                            -1, &line, nullptr) == SQLITE_OK;
    static const char* const names[] = {"北京华信科技有限公司", "上海恒通贸易有限公司", "广州金源电子商行",
                                        "深圳瑞丰网络科技有限公司", "杭州鼎盛文化传媒有限公司"};
    char buf[64];
    for (int i = 1; ok && i <= rows; ++i) {
        sqlite3_bind_int64(ins, 1, i);
        std::snprintf(buf, sizeof buf, "XS%010d", i);
        sqlite3_bind_text(ins, 2, buf, -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(ins, 3, names[i % 5], -1, SQLITE_STATIC);
        std::snprintf(buf, sizeof buf, "20%02d-%02d-%02d 10:00:00", 10 + i % 15, 1 + i % 12, 1 + i % 28);
        sqlite3_bind_text(ins, 4, buf, -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(ins, 5, (i % 100000) / 100.0);
        sqlite3_bind_text(ins, 6, "lina", -1, SQLITE_STATIC);
        sqlite3_bind_text(ins, 7, i % 3 ? "未确认" : "已确认", -1, SQLITE_STATIC);
        ok = sqlite3_step(ins) == SQLITE_DONE;
        sqlite3_reset(ins);
        // Lines for the newest orders only: the form reads those.
        for (int l = 0; ok && i > rows - 200 && l < 3; ++l) {
            sqlite3_bind_int64(line, 1, i);
            ok = sqlite3_step(line) == SQLITE_DONE;
            sqlite3_reset(line);
        }
    }
    sqlite3_finalize(ins);
    sqlite3_finalize(line);
    ok = ok && exec(db, "COMMIT;");
    sqlite3_close(db);
    return ok;
}

class BenchListfm : public TListCommonfm {
public:
    using TListCommonfm::TListCommonfm;

protected:
    QString ListTable() const override { return QStringLiteral("Bench_List"); }
    QString ListKeyField() const override { return QStringLiteral("iNo"); }
    QString DetailTable() const override { return QStringLiteral("Bench_Detail"); }
    QString DetailKeyField() const override { return QStringLiteral("iMasterNo"); }
    QString LinkTarget() const override { return QStringLiteral("SaleOrder"); }
    QString ConfirmTarget() const override { return QStringLiteral("MASTER"); }
    QString ConfirmStateField() const override { return QStringLiteral("vConfirmState"); }
    QString ViewExt() const override { return QStringLiteral(".BEN"); }
};

struct Db {
    TADOConnection ado;
    std::shared_ptr<IConnection> conn;
};

Db& db() {
    static Db d;
    if (!d.conn) {
        d.ado.SetConnectionString(dbPath());
        d.ado.Open();
        d.conn = std::make_shared<TInterfacedADOConnection>(d.ado);
        // The dictionary is process-wide and built once, as in a host.
        TDataEnvironment::GetInstance(d.ado);
    }
    return d;
}

// CPU time of this thread: on a loaded machine the wall time mostly says how
// long the process waited for a core.
double threadCpu() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

double seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Wall and thread CPU time of the timed part of each iteration.
struct Timing {
    double wall = 0;
    double cpu = 0;
    int runs = 0;
    std::chrono::steady_clock::time_point t0;
    double c0 = 0;

    void start() {
        t0 = std::chrono::steady_clock::now();
        c0 = threadCpu();
    }
    void stop(benchmark::State& state) {
        const double t = seconds(t0);
        cpu += threadCpu() - c0;
        state.SetIterationTime(t);
        wall += t;
        ++runs;
    }
    // Per-iteration figures, and their ratios to the baseline once it ran.
    void report(benchmark::State& state) const {
        const double perWall = wall / runs;
        const double perCpu = cpu / runs;
        state.counters["ms"] = perWall * 1000;
        state.counters["cpu_ms"] = perCpu * 1000;
        if (g_base > 0) state.counters["x_base"] = perWall / g_base;
        if (g_baseCpu > 0) state.counters["x_base_cpu"] = perCpu / g_baseCpu;
    }
};

void BM_Baseline_Top100AndPaint(benchmark::State& state) {
    Db& d = db();
    Timing timing;
    for (auto _ : state) {
        TLNQDBGrid grid;
        grid.resize(kWindow.width() - 240, kWindow.height() - 300);
        timing.start();
        std::unique_ptr<TADODataSet> ds =
            d.conn->ExecuteWithQuery(QStringLiteral("SELECT TOP 100 * FROM Bench_List ORDER BY iNo DESC"));
        grid.SetDataSet(ds.get());
        benchmark::DoNotOptimize(grid.grab());
        timing.stop(state);
        grid.SetDataSet(nullptr);
    }
    g_base = timing.wall / timing.runs;
    g_baseCpu = timing.cpu / timing.runs;
    timing.report(state);
}

void BM_ListForm_Open(benchmark::State& state) {
    Db& d = db();
    Timing timing;
    for (auto _ : state) {
        timing.start();
        BenchListfm form(d.conn, nullptr);
        form.resize(kWindow);
        form.FormCreate();
        benchmark::DoNotOptimize(form.LNQDBGridList()->grab());
        // The form is never shown here: the viewer's page is laid out as
        // showing the form would lay it out.
        form.DataWebBrowser()->EnsurePageLoaded();
        timing.stop(state);
        if (form.ListDataSet().RecordCount() != 100) state.SkipWithError("the form did not load 100 rows");
    }
    timing.report(state);
}

// An open form reloading its newest rows (the "刷新" button) and painting
// its list grid again: the data path without building the widgets.
void BM_ListForm_Refresh(benchmark::State& state) {
    Db& d = db();
    BenchListfm form(d.conn, nullptr);
    form.resize(kWindow);
    form.FormCreate();
    benchmark::DoNotOptimize(form.LNQDBGridList()->grab());
    Timing timing;
    for (auto _ : state) {
        timing.start();
        form.RefreshData();
        benchmark::DoNotOptimize(form.LNQDBGridList()->grab());
        form.DataWebBrowser()->EnsurePageLoaded();
        timing.stop(state);
    }
    timing.report(state);
}

} // namespace

BENCHMARK(BM_Baseline_Top100AndPaint)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_ListForm_Open)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_ListForm_Refresh)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM",
            qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    dbPath() = QDir::temp().filePath(
        QStringLiteral("lnq_bench_listform_%1.db").arg(QCoreApplication::applicationPid()));
    TDataEnvironment::SetCacheFileName(dbPath() + QStringLiteral(".FldAttr.xml"));
    if (!generate(dbPath(), rowCount())) {
        std::fprintf(stderr, "bench_listform: cannot write %s\n", qPrintable(dbPath()));
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    TDataEnvironment::FreeInstance();
    QFile::remove(dbPath());
    QFile::remove(dbPath() + QStringLiteral(".FldAttr.xml"));
    return 0;
}
