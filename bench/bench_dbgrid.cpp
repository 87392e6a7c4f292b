// The data grid on a client dataset of 1,000,000 records x 10 columns
// (LNQ_BENCH_ROWS overrides), against baselines measured in the same run:
//  - SortNumber / SortText: a title click on a number column and on a Chinese
//    text column, against a hand-written std::sort of a row index over the
//    column's values (the text compared by the framework's collation);
//  - Filter2: "按照当前内容筛选" on the name column and then on the code
//    column, with the grid's repaint, against a hand loop over the column
//    arrays computing the same rows;
//  - AutoCalc: AutoCalculate(-1) over three sum columns and a count column
//    with a filter active, against a hand loop summing the visible records;
//  - Paint / PageDown: painting the whole control once and after a page down,
//    at 1,000 records and at the full size, against a plain QTableView over a
//    TDataSetModel of the same dataset;
//  - ValueMenu: opening the run-time menu (the value sub-menu is rebuilt).
//
// Reported: wall time per run; for the grid side x_base = its time / the
// baseline's in this run. The machine may be loaded: read the ratios.

#include "data/Collation.h"
#include "data/DataSet.h"
#include "data/DataSetModel.h"
#include "grid/data/Ctrl_LNQDBGrid.h"

#include <QApplication>
#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>
#include <QTableView>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <map>
#include <memory>
#include <numeric>

using namespace lnq;

namespace {

constexpr int kSmallRows = 1000;
const QSize kWindow(1200, 800);

int rowCount() {
    bool ok = false;
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS", &ok);
    return ok && n > 0 ? n : 1000000;
}

TFieldDef def(const char* name, TFieldType t, int size = 0) {
    TFieldDef d;
    d.Name = QString::fromUtf8(name);
    d.DataType = t;
    d.Size = size;
    return d;
}

// ID, vName (Chinese), vCode, Qty, Price, Amount, Cost, dDate, bFlag, vMemo.
std::unique_ptr<TClientDataSet> makeData(int rows) {
    static const char16_t* const names[] = {u"北京华信通达科技有限公司",
                                            u"上海明远电子有限公司",
                                            u"广州宏达医药",
                                            u"深圳瑞丰食品",
                                            u"杭州众诚贸易",
                                            u"南京星河商行",
                                            u"成都宝利物流",
                                            u"武汉嘉禾印务"};
    auto ds = std::make_unique<TClientDataSet>();
    TRecordSetBuilder& b =
        ds->BeginLoad({def("ID", TFieldType::ftInteger), def("vName", TFieldType::ftWideString, 40),
                       def("vCode", TFieldType::ftString, 10), def("Qty", TFieldType::ftInteger),
                       def("Price", TFieldType::ftFloat), def("Amount", TFieldType::ftFloat),
                       def("Cost", TFieldType::ftFloat), def("dDate", TFieldType::ftDateTime),
                       def("bFlag", TFieldType::ftBoolean), def("vMemo", TFieldType::ftString, 20)});
    b.Reserve(rows);
    quint32 seed = 12345;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u; };
    for (int r = 0; r < rows; ++r) {
        b.SetInteger(0, r);
        b.SetText(1, QString::fromUtf16(names[next() % 8]) + QString::number(next() % 500));
        b.SetText(2, QStringLiteral("C%1").arg(next() % 50));
        b.SetInteger(3, next() % 1000);
        b.SetFloat(4, (next() % 100000) / 100.0);
        b.SetFloat(5, (next() % 1000000) / 100.0);
        b.SetFloat(6, (next() % 1000000) / 100.0);
        b.SetDateTime(7, 45000 + next() % 1000);
        b.SetInteger(8, next() % 2);
        b.SetText(9, QStringLiteral("备注%1").arg(r % 100));
        b.EndRow();
    }
    ds->EndLoad();
    return ds;
}

struct Setup {
    std::unique_ptr<TClientDataSet> ds;
    std::unique_ptr<TLNQDBGrid> grid;
    std::unique_ptr<TDataSetModel> model;
    std::unique_ptr<QTableView> plain;
    // Column arrays for the hand-written baselines.
    std::vector<double> amount, price, cost;
    std::vector<QString> name, code;
};

// Built on first use; emptied before the application object goes.
std::map<int, Setup> g_setups;

Setup& setup(int rows) {
    Setup& s = g_setups[rows];
    if (!s.ds) {
        s.ds = makeData(rows);
        s.grid = std::make_unique<TLNQDBGrid>();
        s.grid->PrinterCount = [] { return 0; };
        s.grid->SetDataSet(s.ds.get());
        s.grid->resize(kWindow);
        s.grid->show();
        s.model = std::make_unique<TDataSetModel>(s.ds.get());
        s.plain = std::make_unique<QTableView>();
        s.plain->setModel(s.model.get());
        s.plain->verticalHeader()->hide();
        s.plain->verticalHeader()->setDefaultSectionSize(18);
        s.plain->resize(kWindow);
        s.plain->show();
        QCoreApplication::processEvents();
        s.amount.resize(size_t(rows));
        s.price.resize(size_t(rows));
        s.cost.resize(size_t(rows));
        s.name.resize(size_t(rows));
        s.code.resize(size_t(rows));
        for (int r = 0; r < rows; ++r) {
            s.name[size_t(r)] = s.ds->ValueAt(r, 1).toString();
            s.code[size_t(r)] = s.ds->ValueAt(r, 2).toString();
            s.price[size_t(r)] = s.ds->ValueAt(r, 4).toDouble();
            s.amount[size_t(r)] = s.ds->ValueAt(r, 5).toDouble();
            s.cost[size_t(r)] = s.ds->ValueAt(r, 6).toDouble();
        }
    }
    return s;
}

void resetGrid(Setup& s) {
    s.grid->ClearAllFilters();
    s.grid->AfterFilter();
    s.grid->ClearAllIndexes();
    s.grid->FocusCell(1, 1);
}

std::map<std::string, double> g_base;

template <typename Op> double timeIt(Op&& op) {
    const auto t0 = std::chrono::steady_clock::now();
    op();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void report(benchmark::State& state, const std::string& key, double total, int runs, bool baseline) {
    const double per = runs ? total / runs : 0;
    state.counters["ms"] = per * 1000;
    if (baseline)
        g_base[key] = per;
    else if (g_base.count(key) && g_base[key] > 0)
        state.counters["x_base"] = per / g_base[key];
}

// ---------------------------------------------------------------- sorting

void BM_SortNumber_Baseline(benchmark::State& state) {
    Setup& s = setup(rowCount());
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        std::vector<int> idx(s.amount.size());
        total += timeIt([&] {
            std::iota(idx.begin(), idx.end(), 0);
            std::stable_sort(idx.begin(), idx.end(), [&](int a, int b) { return s.amount[a] > s.amount[b]; });
        });
        benchmark::DoNotOptimize(idx.data());
        ++runs;
    }
    report(state, "sortnum", total, runs, true);
}

void BM_SortNumber_TitleClick(benchmark::State& state) {
    Setup& s = setup(rowCount());
    TColumn* c = s.grid->Columns().ColumnOfField(QStringLiteral("Amount"));
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        total += timeIt([&] { s.grid->TitleClick(c); });
        ++runs;
    }
    resetGrid(s);
    report(state, "sortnum", total, runs, false);
}

void BM_SortText_Baseline(benchmark::State& state) {
    Setup& s = setup(rowCount());
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        std::vector<int> idx(s.name.size());
        total += timeIt([&] {
            std::iota(idx.begin(), idx.end(), 0);
            std::stable_sort(idx.begin(), idx.end(),
                             [&](int a, int b) { return Collation::compare(s.name[a], s.name[b]) > 0; });
        });
        benchmark::DoNotOptimize(idx.data());
        ++runs;
    }
    report(state, "sorttext", total, runs, true);
}

void BM_SortText_TitleClick(benchmark::State& state) {
    Setup& s = setup(rowCount());
    TColumn* c = s.grid->Columns().ColumnOfField(QStringLiteral("vName"));
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        total += timeIt([&] { s.grid->TitleClick(c); });
        ++runs;
    }
    resetGrid(s);
    report(state, "sorttext", total, runs, false);
}

// ---------------------------------------------------------------- filtering

void BM_Filter2_Baseline(benchmark::State& state) {
    Setup& s = setup(rowCount());
    const QString n0 = s.name[0], c0 = s.code[0];
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        std::vector<int> rows;
        total += timeIt([&] {
            std::vector<int> first;
            for (size_t r = 0; r < s.name.size(); ++r)
                if (s.name[r] == n0) first.push_back(int(r));
            for (int r : first)
                if (s.code[size_t(r)] == c0) rows.push_back(r);
        });
        benchmark::DoNotOptimize(rows.data());
        ++runs;
    }
    report(state, "filter", total, runs, true);
}

void BM_Filter2_Grid(benchmark::State& state) {
    Setup& s = setup(rowCount());
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        resetGrid(s);
        state.ResumeTiming();
        total += timeIt([&] {
            s.grid->FocusCell(2, 1);
            s.grid->SelectFilter();
            s.grid->FocusCell(3, 1);
            s.grid->SelectFilter();
            s.grid->viewport()->repaint();
        });
        ++runs;
    }
    state.counters["rows"] = s.ds->RecordCount();
    resetGrid(s);
    report(state, "filter", total, runs, false);
}

// ---------------------------------------------------------------- totals

void BM_AutoCalc_Baseline(benchmark::State& state) {
    Setup& s = setup(rowCount());
    std::vector<int> visible;
    for (size_t r = 0; r < s.code.size(); ++r)
        if (s.code[r] == s.code[0]) visible.push_back(int(r));
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        double a = 0, b = 0, c = 0;
        total += timeIt([&] {
            for (int r : visible) {
                a += s.amount[size_t(r)];
                b += s.price[size_t(r)];
                c += s.cost[size_t(r)];
            }
        });
        benchmark::DoNotOptimize(a + b + c + double(visible.size()));
        ++runs;
    }
    report(state, "autocalc", total, runs, true);
}

void BM_AutoCalc_Grid(benchmark::State& state) {
    Setup& s = setup(rowCount());
    resetGrid(s);
    TLNQDBGridColumns& cols = s.grid->Columns();
    for (const char* f : {"Amount", "Price", "Cost"})
        cols.ColumnOfField(QString::fromUtf8(f))->SetCalcMode(ccSum);
    cols.ColumnOfField(QStringLiteral("ID"))->SetCalcMode(ccCount);
    s.grid->AddFilter(QStringLiteral("vCode"), QStringLiteral("等于"), s.code[0]);
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        total += timeIt([&] { s.grid->AutoCalculate(-1); });
        ++runs;
    }
    state.counters["rows"] = s.ds->RecordCount();
    resetGrid(s);
    report(state, "autocalc", total, runs, false);
}

// ---------------------------------------------------------------- painting

int sizeArg(benchmark::State& state) {
    return state.range(0) == 0 ? kSmallRows : rowCount();
}

void paintBench(benchmark::State& state, bool grid, bool pageDown) {
    const int rows = sizeArg(state);
    Setup& s = setup(rows);
    QAbstractScrollArea* view = grid ? static_cast<QAbstractScrollArea*>(s.grid.get()) : s.plain.get();
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        view->verticalScrollBar()->setValue(0);
        QCoreApplication::processEvents();
        state.ResumeTiming();
        total += timeIt([&] {
            if (pageDown) {
                QScrollBar* bar = view->verticalScrollBar();
                bar->setValue(bar->value() + bar->pageStep());
            }
            view->viewport()->repaint();
        });
        ++runs;
    }
    const std::string key = std::string(pageDown ? "page" : "paint") + std::to_string(rows);
    report(state, key, total, runs, !grid);
}

void BM_Paint_PlainView(benchmark::State& state) {
    paintBench(state, false, false);
}
void BM_Paint_Grid(benchmark::State& state) {
    paintBench(state, true, false);
}
void BM_PageDown_PlainView(benchmark::State& state) {
    paintBench(state, false, true);
}
void BM_PageDown_Grid(benchmark::State& state) {
    paintBench(state, true, true);
}

// ---------------------------------------------------------------- menu

void BM_ValueMenu(benchmark::State& state) {
    Setup& s = setup(sizeArg(state));
    s.grid->FocusCell(2, 1);
    double total = 0;
    int runs = 0;
    for (auto _ : state) {
        total += timeIt([&] { s.grid->PopupMenuFieldPopup(); });
        ++runs;
    }
    state.counters["items"] = s.grid->ValueFilterItem()->actions().size();
    report(state, "valuemenu", total, runs, false);
}

} // namespace

BENCHMARK(BM_SortNumber_Baseline)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_SortNumber_TitleClick)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_SortText_Baseline)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_SortText_TitleClick)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_Filter2_Baseline)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Filter2_Grid)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_AutoCalc_Baseline)->Unit(benchmark::kMillisecond)->Iterations(200);
BENCHMARK(BM_AutoCalc_Grid)->Unit(benchmark::kMillisecond)->Iterations(200);
BENCHMARK(BM_Paint_PlainView)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_Paint_Grid)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_PageDown_PlainView)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_PageDown_Grid)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_ValueMenu)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(20);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM",
            qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    g_setups.clear();
    return 0;
}
