// Cost of the T-SQL translation against running the framework's typical list
// query ("SELECT TOP 100 * FROM T ORDER BY K DESC") on a 1,000-row table.
// Each translation benchmark reports "vs_execute": its time per call divided
// by the time of preparing and stepping the list query, measured in the same
// run (the cached translation is what every repeated query pays; the uncached
// one is a first call of a new text). Times are the thread's CPU time, so
// that other processes on the machine do not skew the ratios.

#include "data/TsqlDialect.h"

#include <benchmark/benchmark.h>
#include <memory>
#include <sqlite3.h>
#include <time.h>

namespace {

double cpuNowNs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

struct Fixture {
    sqlite3* db = nullptr;
    std::unique_ptr<lnq::TsqlDialect> t;
    Fixture() {
        sqlite3_open(":memory:", &db);
        t = std::make_unique<lnq::TsqlDialect>(db);
        t->ExecuteBatch(QStringLiteral("CREATE TABLE T (K int IDENTITY(1,1) PRIMARY KEY, vName nvarchar(50), "
                                       "dDate datetime, mAmount money, bFlag bit, vMemo nvarchar(200))"));
        sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
        for (int i = 0; i < 1000; ++i)
            t->ExecuteBatch(QStringLiteral("INSERT INTO T (vName, dDate, mAmount, bFlag, vMemo) VALUES "
                                           "(N'客户%1', '2024-03-%2 10:00:00', %3.5, %4, 'memo text %1')")
                                .arg(i)
                                .arg(i % 28 + 1, 2, 10, QLatin1Char('0'))
                                .arg(i)
                                .arg(i % 2));
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    ~Fixture() {
        t.reset();
        sqlite3_close(db);
    }
    Fixture(const Fixture&) = delete;
    Fixture& operator=(const Fixture&) = delete;

    // Prepare (cached translation) and read every row and column.
    void execute(const QString& sql) {
        lnq::TsqlPrepared p = t->PrepareQuery(sql);
        const int n = sqlite3_column_count(p.stmt);
        while (sqlite3_step(p.stmt) == SQLITE_ROW)
            for (int c = 0; c < n; ++c)
                benchmark::DoNotOptimize(sqlite3_column_text(p.stmt, c));
    }

    // Nanoseconds per execution of the list query, averaged over a fixed run.
    double executeNs(const QString& sql) {
        execute(sql);
        const int rounds = 2000;
        const double start = cpuNowNs();
        for (int i = 0; i < rounds; ++i)
            execute(sql);
        return (cpuNowNs() - start) / rounds;
    }
};

const QString kListQuery = QStringLiteral("SELECT TOP 100 * FROM T ORDER BY K DESC");
// The same shape over a column without an index: SQLite sorts all 1,000 rows.
const QString kSortedQuery = QStringLiteral("SELECT TOP 100 * FROM T ORDER BY mAmount DESC");

void reportRatio(benchmark::State& state, double perCallNs, double executeNs) {
    state.counters["execute_us"] = executeNs / 1000.0;
    state.counters["vs_execute"] = perCallNs / executeNs;
}

double perCallNs(benchmark::State& state, double startNs) {
    return (cpuNowNs() - startNs) / double(state.iterations());
}

void BM_ExecuteListQuery(benchmark::State& state) {
    Fixture f;
    const QString& sql = state.range(0) ? kSortedQuery : kListQuery;
    for (auto _ : state)
        f.execute(sql);
}
BENCHMARK(BM_ExecuteListQuery)->Arg(0)->Arg(1)->ArgNames({"sorted"})->Unit(benchmark::kMicrosecond);

void BM_TranslateCached(benchmark::State& state) {
    Fixture f;
    const double exec = f.executeNs(kListQuery);
    f.t->Translate(kListQuery);
    const double start = cpuNowNs();
    for (auto _ : state)
        benchmark::DoNotOptimize(f.t->Translate(kListQuery));
    reportRatio(state, perCallNs(state, start), exec);
}
BENCHMARK(BM_TranslateCached)->Unit(benchmark::kMicrosecond);

void BM_TranslateUncached(benchmark::State& state) {
    Fixture f;
    const double exec = f.executeNs(kListQuery);
    // More distinct texts than the translation cache holds, so every call translates afresh.
    std::vector<QString> texts;
    for (int i = 0; i < 4096; ++i)
        texts.push_back(QStringLiteral("SELECT TOP %1 * FROM T ORDER BY K DESC").arg(100 + i));
    size_t i = 0;
    const double start = cpuNowNs();
    for (auto _ : state)
        benchmark::DoNotOptimize(f.t->Translate(texts[i++ % texts.size()]));
    reportRatio(state, perCallNs(state, start), exec);
}
BENCHMARK(BM_TranslateUncached)->Unit(benchmark::kMicrosecond);

// The saved-views listing query, a heavier text, uncached.
void BM_TranslateUncachedViewsListing(benchmark::State& state) {
    Fixture f;
    f.t->ExecuteBatch(
        QStringLiteral("CREATE TABLE Sys_FileBase (vFileName nvarchar(255), vExt nvarchar(20), vOwner "
                       "nvarchar(50), bShare bit, vAllowedUsers nvarchar(2000), vAllowedGroups "
                       "nvarchar(2000), vDescription nvarchar(200))"));
    const double exec = f.executeNs(kListQuery);
    std::vector<QString> texts;
    for (int i = 0; i < 4096; ++i)
        texts.push_back(
            QStringLiteral("select dbo.GetFilePath(vFileName) as f1,dbo.GetFileName(vFileName) as "
                           "f2,vDescription from Sys_FileBase where vExt='.V%1' and (bShare=1 or "
                           "vOwner='ann' or charindex(',ann,',vAllowedUsers)>0 or "
                           "dbo.intersectstr(vAllowedGroups,'[1[2'  )>0) order by "
                           "dbo.GetFilePath(vFileName)")
                .arg(i));
    size_t i = 0;
    const double start = cpuNowNs();
    for (auto _ : state)
        benchmark::DoNotOptimize(f.t->Translate(texts[i++ % texts.size()]));
    reportRatio(state, perCallNs(state, start), exec);
}
BENCHMARK(BM_TranslateUncachedViewsListing)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
