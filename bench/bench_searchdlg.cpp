// The lookup dialogs' quick search over 100,000 customer names, one
// keystroke's filtering pass: the search form's record filter on the dataset
// (TQuickSearchText, by text "华信" and by pinyin initials "bjhx"), against
// hand loops over a vector of the same names doing the same test, measured in
// the same run. The program prints each figure as a ratio to its hand loop,
// and the initials pass as a ratio to the text pass (what typing letters
// instead of Chinese costs). "全选" over the narrowed list (the data grid's
// SelectAll and the repaint bookkeeping after it) is measured against one
// pass of the cursor over the same rows.

#include "data/DataSet.h"
#include "forms/Plat_searchlists.h"
#include "util/Plat_convert.h"

#include "grid/data/Ctrl_LNQDBGrid.h"

#include <QApplication>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <random>

using namespace lnq;

namespace {

constexpr int kRows = 100'000;

struct Data {
    std::vector<QString> names;
    TClientDataSet dataSet;
    Data() {
        static const char16_t* cities[] = {u"北京", u"上海", u"广州", u"宝鸡", u"杭州", u"成都"};
        static const char16_t* brands[] = {u"华信", u"恒通", u"金源", u"瑞丰",
                                           u"鼎盛", u"新元", u"天成", u"宏达"};
        static const char16_t* trades[] = {u"科技", u"电子", u"贸易", u"实业", u"物流", u"软件"};
        std::mt19937 rng(20240601);
        names.reserve(kRows);
        for (int i = 0; i < kRows; ++i)
            names.push_back(QString::fromUtf16(cities[rng() % 6]) + QString::fromUtf16(brands[rng() % 8]) +
                            QString::fromUtf16(trades[rng() % 6]) + QStringLiteral("有限公司"));
        TFieldDefs defs(1);
        defs[0].Name = QStringLiteral("名称");
        defs[0].DataType = TFieldType::ftString;
        defs[0].Size = 80;
        TRecordSetBuilder& b = dataSet.BeginLoad(defs);
        b.Reserve(kRows);
        for (const QString& n : names) {
            b.SetText(0, n);
            b.EndRow();
        }
        dataSet.EndLoad();
    }
};

Data& data() {
    static Data d;
    return d;
}

void handLoop(benchmark::State& state, const QString& needle, bool initials) {
    const QByteArray upper = needle.toUpper().toLatin1();
    int accepted = 0;
    for (auto _ : state) {
        accepted = 0;
        for (const QString& n : data().names)
            accepted += initials ? TUtils_Convert::StrToPY(n).contains(upper)
                                 : n.contains(needle, Qt::CaseInsensitive);
        benchmark::DoNotOptimize(accepted);
    }
    state.counters["accepted"] = accepted;
}

void quickSearch(benchmark::State& state, const QString& needle) {
    TDataSet& ds = data().dataSet;
    TQuickSearchText search;
    search.SetText(needle);
    ds.SetOnFilterRecord(
        [&search](TDataSet& d, bool& accept) { accept = search.Matches(d.Fields(0).AsString()); });
    ds.SetFiltered(true);
    for (auto _ : state)
        ds.Refilter();
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecord(nullptr);
}

void BM_HandLoopText(benchmark::State& s) {
    handLoop(s, QStringLiteral("华信"), false);
}
void BM_QuickSearchText(benchmark::State& s) {
    quickSearch(s, QStringLiteral("华信"));
}
void BM_HandLoopInitials(benchmark::State& s) {
    handLoop(s, QStringLiteral("bjhx"), true);
}
void BM_QuickSearchInitials(benchmark::State& s) {
    quickSearch(s, QStringLiteral("bjhx"));
}
// The rows a "华信" search leaves, with the search form's record filter.
struct Narrowed {
    TQuickSearchText search;
    TDataSet& ds = data().dataSet;
    Narrowed() {
        search.SetText(QStringLiteral("华信"));
        ds.SetOnFilterRecord(
            [this](TDataSet& d, bool& accept) { accept = search.Matches(d.Fields(0).AsString()); });
        ds.SetFiltered(true);
    }
    ~Narrowed() {
        ds.SetFiltered(false);
        ds.SetOnFilterRecord(nullptr);
    }
};

void BM_CursorPass(benchmark::State& state) {
    Narrowed n;
    std::vector<TBookmark> marks;
    for (auto _ : state) {
        marks.clear();
        n.ds.DisableControls();
        for (n.ds.First(); !n.ds.Eof(); n.ds.Next())
            marks.push_back(n.ds.GetBookmark());
        n.ds.EnableControls();
        benchmark::DoNotOptimize(marks.data());
    }
    state.counters["rows"] = double(marks.size());
}

void BM_SelectAll(benchmark::State& state) {
    Narrowed n;
    TLNQDBGrid grid;
    grid.SetDBOptions(grid.DBOptions() | TDBGridOption::dgMultiSelect);
    grid.SetDataSet(&n.ds);
    for (auto _ : state) {
        grid.SelectedRows().SelectAll();
        state.PauseTiming();
        grid.SelectedRows().Clear();
        state.ResumeTiming();
    }
    grid.SelectedRows().SelectAll();
    state.counters["rows"] = grid.SelectedRows().Count();
    grid.SetDataSet(nullptr);
}

BENCHMARK(BM_HandLoopText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QuickSearchText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HandLoopInitials)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QuickSearchInitials)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CursorPass)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SelectAll)->Unit(benchmark::kMillisecond);

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs)
            if (r.run_type == Run::RT_Iteration && r.iterations > 0)
                m_ns[r.benchmark_name()] = r.cpu_accumulated_time * 1e9 / double(r.iterations);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        auto ratio = [this](const char* name, const char* base) {
            const auto n = m_ns.find(name), b = m_ns.find(base);
            if (n != m_ns.end() && b != m_ns.end())
                std::printf("  %-24s %8.2f ms  x%.2f of %s\n", name, n->second / 1e6, n->second / b->second,
                            base);
        };
        std::printf("\nCPU time as ratios:\n");
        ratio("BM_QuickSearchText", "BM_HandLoopText");
        ratio("BM_QuickSearchInitials", "BM_HandLoopInitials");
        ratio("BM_QuickSearchInitials", "BM_QuickSearchText");
        ratio("BM_SelectAll", "BM_CursorPass");
    }

private:
    std::map<std::string, double> m_ns;
};

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    data(); // built before any timing
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
