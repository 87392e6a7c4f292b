// Loading a large SQLite result into a dataset, against the cheapest loader
// one could write by hand: a bare sqlite3_step loop that stores the same
// values in typed column vectors, the text of each column as UTF-8 in one
// buffer with an offset per row (the baseline of the ratios). Both read the
// same file in the same run. For context: the same loop keeping the text as
// UTF-16 in one buffer per column (what the other text form would cost), the
// loop keeping a QString per cell, and Qt's SQL module (a QVariant per cell).
//
// Reported per benchmark: the load time (manual timing, destruction not
// included) and "MB", the heap bytes the loaded structure holds (glibc's
// allocator statistics, taken before and after the load). The dataset and
// QtSql rows carry time_x / cpu_x / mem_x: their ratio to the bare loop's
// wall time, process CPU time (steadier on a busy machine) and bytes.
//
// The table has 1,000,000 rows (LNQ_BENCH_ROWS overrides) of ten columns:
// int, bigint, float, money, decimal, ASCII text, Chinese text, date-time,
// bit and a text that is NULL in every other row. The file is generated once
// per run in the temporary directory and removed at exit.

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/SqliteDriver.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringDecoder>
#include <QVariant>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <malloc.h>
#include <sqlite3.h>
#include <vector>

namespace {

int rowCount() {
    bool ok = false;
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS", &ok);
    return ok && n > 0 ? n : 1000000;
}

QString& dbPath() {
    static QString path;
    return path;
}

double heapInUse() {
    const struct mallinfo2 mi = mallinfo2();
    return static_cast<double>(mi.uordblks + mi.hblkhd);
}

bool generate(const QString& path, int rows) {
    QFile::remove(path);
    sqlite3* db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK) return false;
    const char* ddl = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
                      "CREATE TABLE B (iNo INTEGER PRIMARY KEY, iBig BIGINT, fRate FLOAT, mPrice MONEY,"
                      " dcAmount DECIMAL(18,2), vCode VARCHAR(20), vName NVARCHAR(50), dWhen DATETIME,"
                      " bFlag BIT, vNote NVARCHAR(100));"
                      "BEGIN;";
    sqlite3_stmt* ins = nullptr;
    bool ok =
        sqlite3_exec(db, ddl, nullptr, nullptr, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(db, "INSERT INTO B VALUES (?,?,?,?,?,?,?,?,?,?)", -1, &ins, nullptr) == SQLITE_OK;
    static const char* const names[] = {"北京华信科技有限公司", "上海恒通贸易有限公司", "广州金源电子商行",
                                        "深圳瑞丰网络科技有限公司", "杭州鼎盛文化传媒有限公司"};
    quint64 x = 88172645463325252ull;
    auto rnd = [&x] {
        x ^= x << 13;
        x ^= x >> 7;
        x ^= x << 17;
        return x;
    };
    char buf[64];
    for (int i = 1; ok && i <= rows; ++i) {
        const quint64 r = rnd();
        sqlite3_bind_int64(ins, 1, i);
        sqlite3_bind_int64(ins, 2, static_cast<qint64>(r >> 8));
        sqlite3_bind_double(ins, 3, static_cast<double>(r % 100000) / 997.0);
        sqlite3_bind_double(ins, 4, static_cast<double>(r % 1000000) / 100.0);
        sqlite3_bind_double(ins, 5, static_cast<double>(r % 10000000) / 100.0);
        std::snprintf(buf, sizeof buf, "KH%08d", i);
        sqlite3_bind_text(ins, 6, buf, -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(ins, 7, names[r % 5], -1, SQLITE_STATIC);
        std::snprintf(buf, sizeof buf, "20%02d-%02d-%02d %02d:%02d:%02d", int(r % 25), int(r % 12) + 1,
                      int(r % 28) + 1, int(r % 24), int(r % 60), int((r >> 6) % 60));
        sqlite3_bind_text(ins, 8, buf, -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(ins, 9, static_cast<int>(r & 1));
        if (i % 2)
            sqlite3_bind_text(ins, 10, "备注：老客户", -1, SQLITE_STATIC);
        else
            sqlite3_bind_null(ins, 10);
        ok = sqlite3_step(ins) == SQLITE_DONE;
        sqlite3_reset(ins);
    }
    sqlite3_finalize(ins);
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

// One text column by hand: the bytes of every row in one buffer, row i in
// [offsets[i], offsets[i + 1]).
template <typename Char> struct BareText {
    std::vector<Char> buf;
    std::vector<quint64> offsets{0};
    void append(const Char* p, size_t n) {
        buf.insert(buf.end(), p, p + n);
        offsets.push_back(buf.size());
    }
};

// The hand-written loaders: typed vectors and a null flag per column.
template <typename Text> struct BareColumnsOf {
    std::vector<qint64> no, big, flag;
    std::vector<double> rate, price, amount, when;
    Text code, name, note;
    std::vector<bool> nulls[10];
};
using BareColumns = BareColumnsOf<BareText<char>>;
using BareColumns16 = BareColumnsOf<BareText<char16_t>>;
using BareQStrings = BareColumnsOf<std::vector<QString>>;

template <typename Cols, typename PutText> void loadBareWith(Cols& c, PutText put) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(dbPath().toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "SELECT * FROM B", -1, &st, nullptr);
    auto text = [st, &put](auto& column, int i) {
        put(column, reinterpret_cast<const char*>(sqlite3_column_text(st, i)), sqlite3_column_bytes(st, i));
    };
    while (sqlite3_step(st) == SQLITE_ROW) {
        for (int i = 0; i < 10; ++i)
            c.nulls[i].push_back(sqlite3_column_type(st, i) == SQLITE_NULL);
        c.no.push_back(sqlite3_column_int64(st, 0));
        c.big.push_back(sqlite3_column_int64(st, 1));
        c.rate.push_back(sqlite3_column_double(st, 2));
        c.price.push_back(sqlite3_column_double(st, 3));
        c.amount.push_back(sqlite3_column_double(st, 4));
        text(c.code, 5);
        text(c.name, 6);
        lnq::TDateTime when = 0;
        lnq::ParseSqliteDateTime(reinterpret_cast<const char*>(sqlite3_column_text(st, 7)),
                                 sqlite3_column_bytes(st, 7), when);
        c.when.push_back(when);
        c.flag.push_back(sqlite3_column_int64(st, 8));
        if (sqlite3_column_type(st, 9) == SQLITE_NULL)
            put(c.note, "", 0);
        else
            text(c.note, 9);
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
}

void loadBare(BareColumns& c) {
    loadBareWith(c, [](BareText<char>& t, const char* p, int n) { t.append(p, size_t(n)); });
}

void loadBare16(BareColumns16& c) {
    QStringDecoder utf8(QStringDecoder::Utf8);
    loadBareWith(c, [&utf8](BareText<char16_t>& t, const char* p, int n) {
        // At most one UTF-16 unit per UTF-8 byte, decoded straight into the buffer.
        const size_t at = t.buf.size();
        t.buf.resize(at + size_t(n));
        QChar* const begin = reinterpret_cast<QChar*>(t.buf.data() + at);
        QChar* const end = utf8.appendToBuffer(begin, QByteArrayView(p, n));
        t.buf.resize(at + size_t(end - begin));
        t.offsets.push_back(t.buf.size());
    });
}

void loadBareQStrings(BareQStrings& c) {
    loadBareWith(c,
                 [](std::vector<QString>& t, const char* p, int n) { t.push_back(QString::fromUtf8(p, n)); });
}

double cpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

struct Figures {
    double seconds = 0;
    double cpu = 0;
    double bytes = 0;
    int runs = 0;
    double perRun() const { return runs ? seconds / runs : 0; }
    double cpuPerRun() const { return runs ? cpu / runs : 0; }
    double bytesPerRun() const { return runs ? bytes / runs : 0; }
};
Figures g_bare;

template <typename Load> Figures measure(benchmark::State& state, Load&& load) {
    Figures f;
    for (auto _ : state) {
        const double before = heapInUse();
        const double c0 = cpuSeconds();
        const auto t0 = std::chrono::steady_clock::now();
        auto held = load();
        const auto t1 = std::chrono::steady_clock::now();
        f.cpu += cpuSeconds() - c0;
        f.bytes += heapInUse() - before;
        const double s = std::chrono::duration<double>(t1 - t0).count();
        f.seconds += s;
        ++f.runs;
        state.SetIterationTime(s);
        benchmark::DoNotOptimize(held);
        // Freed outside the measured time.
    }
    state.counters["rows"] = rowCount();
    state.counters["MB"] = f.bytesPerRun() / 1e6;
    return f;
}

void ratios(benchmark::State& state, const Figures& f) {
    if (g_bare.runs == 0) return;
    state.counters["time_x"] = f.perRun() / g_bare.perRun();
    state.counters["cpu_x"] = f.cpuPerRun() / g_bare.cpuPerRun();
    state.counters["mem_x"] = f.bytesPerRun() / g_bare.bytesPerRun();
}

void BM_Load_BareSqliteStep(benchmark::State& state) {
    g_bare = measure(state, [] {
        auto c = std::make_unique<BareColumns>();
        loadBare(*c);
        return c;
    });
}

void BM_Load_BareUtf16Buffers(benchmark::State& state) {
    const Figures f = measure(state, [] {
        auto c = std::make_unique<BareColumns16>();
        loadBare16(*c);
        return c;
    });
    ratios(state, f);
}

void BM_Load_BareQStrings(benchmark::State& state) {
    const Figures f = measure(state, [] {
        auto c = std::make_unique<BareQStrings>();
        loadBareQStrings(*c);
        return c;
    });
    ratios(state, f);
}

void BM_Load_DataSet(benchmark::State& state) {
    lnq::TADOConnection connection;
    connection.SetConnectionString(dbPath());
    connection.Open();
    const Figures f = measure(state, [&connection] {
        auto ds = std::make_unique<lnq::TADODataSet>();
        ds->SetConnection(&connection);
        ds->SetCommandText(QStringLiteral("select * from B"));
        ds->Open();
        if (ds->RecordCount() != rowCount()) std::fprintf(stderr, "bench_load: wrong row count\n");
        return ds;
    });
    ratios(state, f);
}

void BM_Load_QtSqlVariants(benchmark::State& state) {
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("bench"));
        db.setDatabaseName(dbPath());
        db.open();
        const Figures f = measure(state, [&db] {
            auto cells = std::make_unique<std::vector<QVariant>>();
            QSqlQuery q(db);
            q.setForwardOnly(true);
            q.exec(QStringLiteral("SELECT * FROM B"));
            while (q.next())
                for (int i = 0; i < 10; ++i)
                    cells->push_back(q.value(i));
            return cells;
        });
        ratios(state, f);
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("bench"));
}

} // namespace

BENCHMARK(BM_Load_BareSqliteStep)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Load_BareUtf16Buffers)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Load_BareQStrings)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Load_DataSet)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Load_QtSqlVariants)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    dbPath() =
        QDir::temp().filePath(QStringLiteral("lnq_bench_load_%1.db").arg(QCoreApplication::applicationPid()));
    if (!generate(dbPath(), rowCount())) {
        std::fprintf(stderr, "bench_load: cannot write %s\n", qPrintable(dbPath()));
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QFile::remove(dbPath());
    return 0;
}
