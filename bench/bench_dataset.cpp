// The record-set engine on a million records of ten mixed columns: loading
// through TRecordSetBuilder, cloning, copying, locating, filtering through the
// record-filter callback and the filter text, and sorting. Every operation
// X/DataSet has a partner X/HandLoop: the same work written by hand over plain
// typed vectors (std::vector<qint64> / <double> / <QString>) holding the same
// data, measured in the same run. At the end the program prints each pair as
// a ratio, and the heap bytes each way of loading keeps.

#include "data/Collation.h"
#include "data/DataSet.h"

#include <QCoreApplication>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <map>
#include <numeric>
#include <random>
#include <string>

using namespace lnq;

namespace {

constexpr int kRows = 1'000'000;

// ID, Code, Name, Qty, Price, Amount, Day, Flag, Note, Grp.
struct Columns {
    std::vector<qint64> id, qty, flag, grp;
    std::vector<double> price, amount, day;
    std::vector<QString> code, name, note;

    void reserve(size_t n) {
        for (auto* v : {&id, &qty, &flag, &grp})
            v->reserve(n);
        for (auto* v : {&price, &amount, &day})
            v->reserve(n);
        for (auto* v : {&code, &name, &note})
            v->reserve(n);
    }
};

TFieldDefs tenColumns() {
    auto f = [](const char* n, TFieldType t) {
        TFieldDef d;
        d.Name = QString::fromLatin1(n);
        d.DataType = t;
        return d;
    };
    return {f("ID", TFieldType::ftInteger),   f("Code", TFieldType::ftString),
            f("Name", TFieldType::ftString),  f("Qty", TFieldType::ftInteger),
            f("Price", TFieldType::ftFloat),  f("Amount", TFieldType::ftCurrency),
            f("Day", TFieldType::ftDateTime), f("Flag", TFieldType::ftBoolean),
            f("Note", TFieldType::ftString),  f("Grp", TFieldType::ftInteger)};
}

struct Data {
    Columns cols;
    std::vector<std::string> codeUtf8, nameUtf8, noteUtf8; // what a driver hands over
    TADODataSet dataSet;
    TClientDataSet client;

    Data() {
        std::mt19937 rng(20240601);
        std::uniform_int_distribution<int> qty(0, 10000);
        std::uniform_real_distribution<double> price(0, 1000);
        std::uniform_int_distribution<int> day(0, 3650);
        std::uniform_int_distribution<int> grp(0, 99);
        cols.reserve(kRows);
        codeUtf8.reserve(kRows);
        nameUtf8.reserve(kRows);
        noteUtf8.reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            cols.id.push_back(i);
            cols.qty.push_back(qty(rng));
            cols.flag.push_back(i % 3 == 0);
            cols.grp.push_back(grp(rng));
            cols.price.push_back(price(rng));
            cols.amount.push_back(std::round(price(rng) * 100) / 100);
            cols.day.push_back(40000 + day(rng) + 0.25);
            cols.code.push_back(QStringLiteral("C%1").arg(i, 7, 10, QLatin1Char('0')));
            cols.name.push_back(QStringLiteral("客户%1有限公司").arg(qty(rng)));
            cols.note.push_back(QStringLiteral("备注%1").arg(i % 1000));
            codeUtf8.push_back(cols.code.back().toStdString());
            nameUtf8.push_back(cols.name.back().toStdString());
            noteUtf8.push_back(cols.note.back().toStdString());
        }
        load(dataSet, cols);
        client.CopyFrom(dataSet);
    }

    static void load(TDataSet& ds, const Columns& c) {
        TRecordSetBuilder& b = ds.BeginLoad(tenColumns());
        b.Reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            b.SetInteger(0, c.id[i]);
            b.SetText(1, c.code[i]);
            b.SetText(2, c.name[i]);
            b.SetInteger(3, c.qty[i]);
            b.SetFloat(4, c.price[i]);
            b.SetFloat(5, c.amount[i]);
            b.SetDateTime(6, c.day[i]);
            b.SetInteger(7, c.flag[i]);
            b.SetText(8, c.note[i]);
            b.SetInteger(9, c.grp[i]);
            b.EndRow();
        }
        ds.EndLoad();
    }
};

Data& data() {
    static Data d;
    return d;
}

size_t heapInUse() {
    return mallinfo2().uordblks;
}

// --- Loading ---------------------------------------------------------------

// Texts converted from UTF-8 on the way in, as the drivers do.
void BM_Load_DataSet(benchmark::State& state) {
    const Data& src = data();
    const Columns& c = src.cols;
    double bytes = 0;
    for (auto _ : state) {
        const size_t before = heapInUse();
        TClientDataSet ds;
        TRecordSetBuilder& b = ds.BeginLoad(tenColumns());
        b.Reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            b.SetInteger(0, c.id[i]);
            b.SetTextUtf8(1, src.codeUtf8[i].data(), int(src.codeUtf8[i].size()));
            b.SetTextUtf8(2, src.nameUtf8[i].data(), int(src.nameUtf8[i].size()));
            b.SetInteger(3, c.qty[i]);
            b.SetFloat(4, c.price[i]);
            b.SetFloat(5, c.amount[i]);
            b.SetDateTime(6, c.day[i]);
            b.SetInteger(7, c.flag[i]);
            b.SetTextUtf8(8, src.noteUtf8[i].data(), int(src.noteUtf8[i].size()));
            b.SetInteger(9, c.grp[i]);
            b.EndRow();
        }
        ds.EndLoad();
        bytes = double(heapInUse() - before);
        state.PauseTiming();
        ds.Close();
        state.ResumeTiming();
    }
    state.counters["heapMB"] = bytes / 1e6;
}
BENCHMARK(BM_Load_DataSet)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_Load_HandLoop(benchmark::State& state) {
    const Data& src = data();
    const Columns& c = src.cols;
    double bytes = 0;
    for (auto _ : state) {
        const size_t before = heapInUse();
        auto out = std::make_unique<Columns>();
        out->reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            out->id.push_back(c.id[i]);
            out->code.push_back(QString::fromUtf8(src.codeUtf8[i].data(), qsizetype(src.codeUtf8[i].size())));
            out->name.push_back(QString::fromUtf8(src.nameUtf8[i].data(), qsizetype(src.nameUtf8[i].size())));
            out->qty.push_back(c.qty[i]);
            out->price.push_back(c.price[i]);
            out->amount.push_back(c.amount[i]);
            out->day.push_back(c.day[i]);
            out->flag.push_back(c.flag[i]);
            out->note.push_back(QString::fromUtf8(src.noteUtf8[i].data(), qsizetype(src.noteUtf8[i].size())));
            out->grp.push_back(c.grp[i]);
        }
        benchmark::DoNotOptimize(out.get());
        bytes = double(heapInUse() - before);
        state.PauseTiming();
        out.reset();
        state.ResumeTiming();
    }
    state.counters["heapMB"] = bytes / 1e6;
}
BENCHMARK(BM_Load_HandLoop)->Unit(benchmark::kMillisecond)->Iterations(5);

// The same with texts that are already QStrings: the hand loop shares them,
// the engine encodes each into its column's UTF-8 buffer (a host handing
// over QStrings pays that once, and the records take half the memory).
void BM_LoadShared_DataSet(benchmark::State& state) {
    for (auto _ : state) {
        TClientDataSet ds;
        Data::load(ds, data().cols);
        state.PauseTiming();
        ds.Close();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LoadShared_DataSet)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_LoadShared_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    for (auto _ : state) {
        auto out = std::make_unique<Columns>();
        out->reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            out->id.push_back(c.id[i]);
            out->code.push_back(c.code[i]);
            out->name.push_back(c.name[i]);
            out->qty.push_back(c.qty[i]);
            out->price.push_back(c.price[i]);
            out->amount.push_back(c.amount[i]);
            out->day.push_back(c.day[i]);
            out->flag.push_back(c.flag[i]);
            out->note.push_back(c.note[i]);
            out->grp.push_back(c.grp[i]);
        }
        benchmark::DoNotOptimize(out.get());
        state.PauseTiming();
        out.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LoadShared_HandLoop)->Unit(benchmark::kMillisecond)->Iterations(5);

// --- Cloning and copying ----------------------------------------------------

// A clone shares the records and gets its own cursor and (sorted) view; by
// hand: an index vector over the shared columns, sorted the same way.
void BM_CloneSorted_DataSet(benchmark::State& state) {
    for (auto _ : state) {
        TADODataSet clone;
        clone.Clone(data().dataSet);
        clone.SetSort(QStringLiteral("Grp"));
        benchmark::DoNotOptimize(clone.RecordCount());
    }
}
BENCHMARK(BM_CloneSorted_DataSet)->Unit(benchmark::kMillisecond);

void BM_CloneSorted_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    for (auto _ : state) {
        std::vector<qint32> view(kRows);
        std::iota(view.begin(), view.end(), 0);
        std::stable_sort(view.begin(), view.end(), [&](qint32 a, qint32 b) { return c.grp[a] < c.grp[b]; });
        benchmark::DoNotOptimize(view.data());
    }
}
BENCHMARK(BM_CloneSorted_HandLoop)->Unit(benchmark::kMillisecond);

void BM_Clone_DataSet(benchmark::State& state) {
    for (auto _ : state) {
        TADODataSet clone;
        clone.Clone(data().dataSet);
        benchmark::DoNotOptimize(clone.RecordCount());
    }
}
BENCHMARK(BM_Clone_DataSet)->Unit(benchmark::kMicrosecond);

void BM_Clone_HandLoop(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<qint32> view(kRows);
        std::iota(view.begin(), view.end(), 0);
        benchmark::DoNotOptimize(view.data());
    }
}
BENCHMARK(BM_Clone_HandLoop)->Unit(benchmark::kMicrosecond);

// A client dataset copies every value; by hand: copying the ten vectors.
void BM_CopyFrom_DataSet(benchmark::State& state) {
    for (auto _ : state) {
        TClientDataSet copy;
        copy.CopyFrom(data().dataSet);
        benchmark::DoNotOptimize(copy.RecordCount());
        state.PauseTiming();
        copy.Close();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_CopyFrom_DataSet)->Unit(benchmark::kMillisecond);

void BM_CopyFrom_HandLoop(benchmark::State& state) {
    for (auto _ : state) {
        auto copy = std::make_unique<Columns>(data().cols);
        benchmark::DoNotOptimize(copy.get());
        state.PauseTiming();
        copy.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_CopyFrom_HandLoop)->Unit(benchmark::kMillisecond);

// --- Locating ---------------------------------------------------------------

const QString kCode = QStringLiteral("c0999990"); // near the end, other case

void BM_LocateText_DataSet(benchmark::State& state) {
    TADODataSet& ds = data().dataSet;
    for (auto _ : state)
        benchmark::DoNotOptimize(ds.Locate(QStringLiteral("Code"), kCode, TLocateOption::loCaseInsensitive));
    if (ds.FieldByName(QStringLiteral("ID")).AsInteger() != 999990) state.SkipWithError("wrong record");
}
BENCHMARK(BM_LocateText_DataSet)->Unit(benchmark::kMillisecond);

void BM_LocateText_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    for (auto _ : state) {
        int found = -1;
        for (int i = 0; i < kRows; ++i)
            if (c.code[i].compare(kCode, Qt::CaseInsensitive) == 0) {
                found = i;
                break;
            }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(BM_LocateText_HandLoop)->Unit(benchmark::kMillisecond);

void BM_LocateTwoFields_DataSet(benchmark::State& state) {
    TADODataSet& ds = data().dataSet;
    const qint64 g = data().cols.grp[kRows - 5];
    const qint64 q = data().cols.qty[kRows - 5];
    for (auto _ : state)
        benchmark::DoNotOptimize(ds.Locate(QStringLiteral("Grp;Qty"), {g, q}));
}
BENCHMARK(BM_LocateTwoFields_DataSet)->Unit(benchmark::kMillisecond);

void BM_LocateTwoFields_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    const qint64 g = c.grp[kRows - 5];
    const qint64 q = c.qty[kRows - 5];
    for (auto _ : state) {
        int found = -1;
        for (int i = 0; i < kRows; ++i)
            if (c.grp[i] == g && c.qty[i] == q) {
                found = i;
                break;
            }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(BM_LocateTwoFields_HandLoop)->Unit(benchmark::kMillisecond);

// --- Filtering --------------------------------------------------------------

// The callback looks its fields up by name on every record, as the grid's
// filter items do.
void BM_FilterCallback_DataSet(benchmark::State& state) {
    TADODataSet& ds = data().dataSet;
    const QString price = QStringLiteral("Price");
    const QString flag = QStringLiteral("Flag");
    ds.SetOnFilterRecord([&](TDataSet& d, bool& accept) {
        accept = d.FieldByName(price).AsFloat() > 500 && d.FieldByName(flag).AsBoolean();
    });
    for (auto _ : state) {
        ds.SetFiltered(false);
        ds.SetFiltered(true);
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecord({});
}
BENCHMARK(BM_FilterCallback_DataSet)->Unit(benchmark::kMillisecond);

void BM_FilterCallback_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    std::vector<qint32> view;
    for (auto _ : state) {
        view.clear();
        view.reserve(kRows);
        for (int i = 0; i < kRows; ++i)
            if (c.price[i] > 500 && c.flag[i] != 0) view.push_back(i);
        benchmark::DoNotOptimize(view.data());
    }
    state.counters["accepted"] = double(view.size());
}
BENCHMARK(BM_FilterCallback_HandLoop)->Unit(benchmark::kMillisecond);

void BM_FilterText_DataSet(benchmark::State& state) {
    TClientDataSet& ds = data().client;
    ds.SetFilter(QStringLiteral("Price > 500 and Flag and Name like '客户1%'"));
    for (auto _ : state) {
        ds.SetFiltered(false);
        ds.SetFiltered(true);
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
}
BENCHMARK(BM_FilterText_DataSet)->Unit(benchmark::kMillisecond);

void BM_FilterText_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    const QString prefix = QStringLiteral("客户1");
    std::vector<qint32> view;
    for (auto _ : state) {
        view.clear();
        view.reserve(kRows);
        for (int i = 0; i < kRows; ++i)
            if (c.price[i] > 500 && c.flag[i] != 0 && c.name[i].startsWith(prefix)) view.push_back(i);
        benchmark::DoNotOptimize(view.data());
    }
    state.counters["accepted"] = double(view.size());
}
BENCHMARK(BM_FilterText_HandLoop)->Unit(benchmark::kMillisecond);

// --- Sorting ----------------------------------------------------------------

void sortDataSet(benchmark::State& state, const QString& sort) {
    TADODataSet& ds = data().dataSet;
    for (auto _ : state) {
        ds.SetSort(sort);
        state.PauseTiming();
        ds.SetSort(QString());
        state.ResumeTiming();
    }
}

template <typename Less> void sortHand(benchmark::State& state, Less less) {
    for (auto _ : state) {
        std::vector<qint32> view(kRows);
        std::iota(view.begin(), view.end(), 0);
        std::stable_sort(view.begin(), view.end(), less);
        benchmark::DoNotOptimize(view.data());
    }
}

void BM_SortFloat_DataSet(benchmark::State& state) {
    sortDataSet(state, QStringLiteral("Price"));
}
BENCHMARK(BM_SortFloat_DataSet)->Unit(benchmark::kMillisecond);

void BM_SortFloat_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    sortHand(state, [&](qint32 a, qint32 b) { return c.price[a] < c.price[b]; });
}
BENCHMARK(BM_SortFloat_HandLoop)->Unit(benchmark::kMillisecond);

void BM_SortText_DataSet(benchmark::State& state) {
    sortDataSet(state, QStringLiteral("Code DESC"));
}
BENCHMARK(BM_SortText_DataSet)->Unit(benchmark::kMillisecond);

void BM_SortText_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    sortHand(state, [&](qint32 a, qint32 b) {
        return QString::compare(c.code[a], c.code[b], Qt::CaseInsensitive) > 0;
    });
}
BENCHMARK(BM_SortText_HandLoop)->Unit(benchmark::kMillisecond);

// A Chinese text column in the collation's order (case-insensitive, Chinese
// by pinyin): the dataset makes its sort keys within the timing, the hand
// loop sorts an index on keys made beforehand.
void BM_SortChinese_DataSet(benchmark::State& state) {
    sortDataSet(state, QStringLiteral("Name"));
}
BENCHMARK(BM_SortChinese_DataSet)->Unit(benchmark::kMillisecond);

void BM_SortChinese_HandLoop(benchmark::State& state) {
    const Data& d = data();
    QByteArray keys;
    std::vector<qsizetype> offsets{0};
    for (const std::string& n : d.nameUtf8) {
        Collation::appendSortKeyUtf8(n.data(), qsizetype(n.size()), keys);
        offsets.push_back(keys.size());
    }
    const char* k = keys.constData();
    for (auto _ : state) {
        std::vector<qint32> view(kRows);
        std::iota(view.begin(), view.end(), 0);
        std::sort(view.begin(), view.end(), [&](qint32 a, qint32 b) {
            const qsizetype na = offsets[a + 1] - offsets[a], nb = offsets[b + 1] - offsets[b];
            const int c = std::memcmp(k + offsets[a], k + offsets[b], size_t(std::min(na, nb)));
            return c != 0 ? c < 0 : na < nb;
        });
        benchmark::DoNotOptimize(view.data());
    }
}
BENCHMARK(BM_SortChinese_HandLoop)->Unit(benchmark::kMillisecond);

void BM_SortTwoKeys_DataSet(benchmark::State& state) {
    sortDataSet(state, QStringLiteral("Grp ASC, Price DESC"));
}
BENCHMARK(BM_SortTwoKeys_DataSet)->Unit(benchmark::kMillisecond);

void BM_SortTwoKeys_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    sortHand(state, [&](qint32 a, qint32 b) {
        if (c.grp[a] != c.grp[b]) return c.grp[a] < c.grp[b];
        return c.price[a] > c.price[b];
    });
}
BENCHMARK(BM_SortTwoKeys_HandLoop)->Unit(benchmark::kMillisecond);

// Prints every X/DataSet next to its X/HandLoop as a ratio.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration || r.iterations <= 0) continue;
            const std::string name = r.benchmark_name().substr(3); // drop "BM_"
            const auto us = name.find('_');
            const std::string op = name.substr(0, us);
            const std::string side = name.substr(us + 1, name.find('/') - us - 1);
            auto& e = m_pairs[op];
            (side == "DataSet" ? e.dataSet : e.hand) = r.real_accumulated_time * 1e3 / double(r.iterations);
            const auto heap = r.counters.find("heapMB");
            if (heap != r.counters.end()) (side == "DataSet" ? e.heapDataSet : e.heapHand) = heap->second;
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-16s %12s %12s %8s\n", "operation", "DataSet ms", "HandLoop ms", "ratio");
        for (const auto& [op, e] : m_pairs) {
            if (e.dataSet <= 0 || e.hand <= 0) continue;
            std::printf("%-16s %12.3f %12.3f %7.2fx\n", op.c_str(), e.dataSet, e.hand, e.dataSet / e.hand);
        }
        for (const auto& [op, e] : m_pairs)
            if (e.heapDataSet > 0 && e.heapHand > 0)
                std::printf("%-16s heap %.1f MB vs %.1f MB: %.2fx\n", op.c_str(), e.heapDataSet, e.heapHand,
                            e.heapDataSet / e.heapHand);
    }

private:
    struct Pair {
        double dataSet = 0, hand = 0, heapDataSet = 0, heapHand = 0;
    };
    std::map<std::string, Pair> m_pairs;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    data(); // built before any timing
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
