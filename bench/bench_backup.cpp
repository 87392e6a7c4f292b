// Backing up and restoring an embedded database, against copying its file
// byte for byte (QFile::copy of the same file in the same run): what the
// online backup's consistency and the checked, atomic restore cost.
//
// time_x: wall time per run as a ratio to the plain copy's. The database is
// the sample database with 20,000 customers (LNQ_BENCH_CUSTOMERS overrides),
// made once per run in a temporary directory.

#include "data/Backrestoresqldb.h"
#include "data/SampleDatabase.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <chrono>

namespace {

QTemporaryDir* g_dir = nullptr;
double g_copy = 0; // seconds per plain copy

QString file(const char* name) {
    return g_dir->filePath(QString::fromLatin1(name));
}

template <typename F> double timed(benchmark::State& state, F&& work) {
    double total = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(s);
        total += s;
    }
    return total / static_cast<double>(state.iterations());
}

void BM_PlainFileCopy(benchmark::State& state) {
    g_copy = timed(state, [] {
        QFile::remove(file("plain.bak"));
        if (!QFile::copy(file("sample.db"), file("plain.bak"))) throw std::runtime_error("copy failed");
    });
    state.counters["time_x"] = 1.0;
}

void BM_OnlineBackup(benchmark::State& state) {
    const double t =
        timed(state, [] { lnq::TLNQBackRestoreSQLDB::OnlineCopy(file("sample.db"), file("online.bak")); });
    state.counters["time_x"] = t / g_copy;
}

void BM_CheckedRestore(benchmark::State& state) {
    lnq::TLNQBackRestoreSQLDB c;
    c.SetEmbeddedFile(file("sample.db"));
    c.SetDatabaseName(QStringLiteral("restored"));
    c.SetFileNameRestore(file("online.bak"));
    const double t = timed(state, [&] {
        if (!c.RestoreDB()) throw std::runtime_error(c.GetLastErrorMsg().toStdString());
    });
    state.counters["time_x"] = t / g_copy;
}

} // namespace

BENCHMARK(BM_PlainFileCopy)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_OnlineBackup)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_CheckedRestore)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    g_dir = &dir;
    lnq::SampleDatabase::Options options;
    bool ok = false;
    const int customers = qEnvironmentVariableIntValue("LNQ_BENCH_CUSTOMERS", &ok);
    options.customers = ok && customers > 0 ? customers : 20000;
    lnq::SampleDatabase::CreateSample(file("sample.db"), options);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
