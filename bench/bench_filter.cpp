// Client-side filtering of a million records: a TFilterList of three items
// (text "包含", number "大于等于", date "这个星期") applied column by column as the
// dataset's records filter, and record by record through its record-filter
// callback, against anchors measured in the same run on the same data: a
// hand-written loop over the same column arrays the dataset keeps (text as
// UTF-8 in one buffer per column, numbers and dates as doubles: the floor),
// the same loop over a QString per cell, and a QSortFilterProxyModel with a
// custom filterAcceptsRow over a table model (what a plain Qt program would
// write). A single "包含" whose matches are scattered over the records has its
// own hand loop; the same three tests through TField with the fields looked
// up by name on every call or found once complete the picture.
//
// At the end the program prints every figure as a ratio to its hand loop
// (CPU time, which the other processes of a shared machine disturb least).

#include "data/DataSet.h"
#include "filter/FilterItem.h"
#include "util/DateUtils.h"

#include <QAbstractTableModel>
#include <QCoreApplication>
#include <QSortFilterProxyModel>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <string_view>

using namespace lnq;

namespace {

constexpr int kRows = 1'000'000;

struct Columns {
    std::vector<QString> name;
    std::vector<double> qty;
    std::vector<TDateTime> day;
};

// A text column as the dataset keeps it: UTF-8 bytes in one buffer, row i in
// [offsets[i], offsets[i + 1]).
struct Utf8Column {
    std::string buf;
    std::vector<quint64> offsets{0};
    explicit Utf8Column(const std::vector<QString>& texts) {
        offsets.reserve(texts.size() + 1);
        for (const QString& t : texts) {
            buf += t.toStdString();
            offsets.push_back(buf.size());
        }
    }
    std::string_view at(size_t i) const {
        return std::string_view(buf).substr(offsets[i], offsets[i + 1] - offsets[i]);
    }
};

// Names carry a city (a quarter of them 北京, in runs of the same city), the
// quantities are uniform over 0..1000, the days spread over 120 days around
// today. The scattered column holds "深圳" at random positions (about 30%).
struct Data {
    Columns cols;
    std::vector<QString> scattered;
    std::unique_ptr<Utf8Column> nameUtf8, scatteredUtf8;
    TClientDataSet dataSet;
    TClientDataSet scatteredSet;
    TDateTime today = TodayValue();

    Data() {
        static const char16_t* cities[] = {u"北京", u"上海", u"广州", u"天津"};
        std::mt19937 rng(20240601);
        std::uniform_real_distribution<double> qty(0, 1000);
        std::uniform_int_distribution<int> day(-60, 60);
        std::uniform_int_distribution<int> pct(0, 99);
        cols.name.reserve(kRows);
        cols.qty.reserve(kRows);
        cols.day.reserve(kRows);
        scattered.reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            const QString city = QString::fromUtf16(cities[(i / 16) % 4]);
            cols.name.push_back(QStringLiteral("客户%1").arg(i, 7, 10, QLatin1Char('0')) + city +
                                QStringLiteral("有限公司"));
            cols.qty.push_back(qty(rng));
            cols.day.push_back(today + day(rng) + 0.5);
            scattered.push_back(QStringLiteral("客户%1").arg(i) +
                                (pct(rng) < 30 ? QStringLiteral("深圳") : QStringLiteral("其他")));
        }
        nameUtf8 = std::make_unique<Utf8Column>(cols.name);
        scatteredUtf8 = std::make_unique<Utf8Column>(scattered);
        TFieldDefs defs(3);
        defs[0].Name = QStringLiteral("vName");
        defs[0].DataType = TFieldType::ftString;
        defs[0].Size = 80;
        defs[1].Name = QStringLiteral("nQty");
        defs[1].DataType = TFieldType::ftFloat;
        defs[2].Name = QStringLiteral("dDay");
        defs[2].DataType = TFieldType::ftDateTime;
        TRecordSetBuilder& b = dataSet.BeginLoad(defs);
        b.Reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            b.SetText(0, cols.name[i]);
            b.SetFloat(1, cols.qty[i]);
            b.SetDateTime(2, cols.day[i]);
            b.EndRow();
        }
        dataSet.EndLoad();

        TFieldDefs one(1);
        one[0] = defs[0];
        TRecordSetBuilder& s = scatteredSet.BeginLoad(one);
        s.Reserve(kRows);
        for (int i = 0; i < kRows; ++i) {
            s.SetText(0, scattered[i]);
            s.EndRow();
        }
        scatteredSet.EndLoad();
    }
};

Data& data() {
    static Data d;
    return d;
}

const QString kCity = QStringLiteral("北京");
const QString kQty = QStringLiteral("500");

void addThree(TFilterList& list) {
    list.Add(QStringLiteral("vName"), TFilterType::ftFilterText, QStringLiteral("包含"), kCity);
    list.Add(QStringLiteral("nQty"), TFilterType::ftFilterNumber, QStringLiteral("大于等于"), kQty);
    list.Add(QStringLiteral("dDay"), TFilterType::ftFilterDate, QStringLiteral("这个星期"), QString());
}

// The floor: the same three tests on the column arrays, collecting the
// accepted rows as the dataset's filtered view does.
void BM_HandLoop(benchmark::State& state) {
    const Columns& c = data().cols;
    const Utf8Column& name = *data().nameUtf8;
    const std::string city = kCity.toStdString();
    std::vector<qint32> accepted;
    accepted.reserve(kRows);
    for (auto _ : state) {
        accepted.clear();
        const TDateTime weekStart = StartOfTheWeek(TodayValue());
        const double v = kQty.toDouble();
        for (int i = 0; i < kRows; ++i) {
            if (name.at(size_t(i)).find(city) == std::string_view::npos) continue;
            if (!(c.qty[i] - v > -0.001)) continue;
            const double d = std::trunc(c.day[i]);
            if (d < weekStart || d >= weekStart + 7) continue;
            accepted.push_back(i);
        }
        benchmark::DoNotOptimize(accepted.data());
    }
    state.counters["accepted"] = double(accepted.size());
}
BENCHMARK(BM_HandLoop)->Unit(benchmark::kMillisecond);

// The same loop over a QString per cell.
void BM_HandLoopQStrings(benchmark::State& state) {
    const Columns& c = data().cols;
    std::vector<qint32> accepted;
    accepted.reserve(kRows);
    for (auto _ : state) {
        accepted.clear();
        const TDateTime weekStart = StartOfTheWeek(TodayValue());
        const double v = kQty.toDouble();
        for (int i = 0; i < kRows; ++i) {
            if (!c.name[i].contains(kCity)) continue;
            if (!(c.qty[i] - v > -0.001)) continue;
            const double d = std::trunc(c.day[i]);
            if (d < weekStart || d >= weekStart + 7) continue;
            accepted.push_back(i);
        }
        benchmark::DoNotOptimize(accepted.data());
    }
    state.counters["accepted"] = double(accepted.size());
}
BENCHMARK(BM_HandLoopQStrings)->Unit(benchmark::kMillisecond);

// The filter list as the dataset's records filter: one pass per item.
void BM_FilterList_Columns(benchmark::State& state) {
    TClientDataSet& ds = data().dataSet;
    TFilterList list;
    addThree(list);
    ds.SetOnFilterRecords([&list](TDataSet& d, TRecordsPass& p) { list.AcceptRecords(d, p); });
    ds.SetFiltered(true);
    for (auto _ : state) {
        auto pass = list.BeginPass();
        ds.Refilter();
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecords({});
}
BENCHMARK(BM_FilterList_Columns)->Unit(benchmark::kMillisecond);

// The filter list installed as the dataset's record filter.
void BM_FilterList_RecordFilter(benchmark::State& state) {
    TClientDataSet& ds = data().dataSet;
    TFilterList list;
    addThree(list);
    ds.SetOnFilterRecord([&list](TDataSet& d, bool& accept) { accept = list.Accepts(d); });
    ds.SetFiltered(true);
    for (auto _ : state) {
        auto pass = list.BeginPass();
        ds.Refilter();
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecord({});
}
BENCHMARK(BM_FilterList_RecordFilter)->Unit(benchmark::kMillisecond);

// One "包含" whose matches are scattered at random over the records: the
// hand loop over the UTF-8 column, then the list as records filter and as
// record filter.
void BM_ScatteredHandLoop(benchmark::State& state) {
    const Utf8Column& col = *data().scatteredUtf8;
    const std::string needle = QStringLiteral("深圳").toStdString();
    std::vector<qint32> accepted;
    accepted.reserve(kRows);
    for (auto _ : state) {
        accepted.clear();
        for (int i = 0; i < kRows; ++i)
            if (col.at(size_t(i)).find(needle) != std::string_view::npos) accepted.push_back(i);
        benchmark::DoNotOptimize(accepted.data());
    }
    state.counters["accepted"] = double(accepted.size());
}
BENCHMARK(BM_ScatteredHandLoop)->Unit(benchmark::kMillisecond);

void BM_SingleScatteredContains_Columns(benchmark::State& state) {
    TClientDataSet& ds = data().scatteredSet;
    TFilterList list;
    list.Add(QStringLiteral("vName"), TFilterType::ftFilterText, QStringLiteral("包含"),
             QStringLiteral("深圳"));
    ds.SetOnFilterRecords([&list](TDataSet& d, TRecordsPass& p) { list.AcceptRecords(d, p); });
    ds.SetFiltered(true);
    for (auto _ : state) {
        auto pass = list.BeginPass();
        ds.Refilter();
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecords({});
}
BENCHMARK(BM_SingleScatteredContains_Columns)->Unit(benchmark::kMillisecond);

void BM_SingleScatteredContains(benchmark::State& state) {
    TClientDataSet& ds = data().scatteredSet;
    TFilterList list;
    list.Add(QStringLiteral("vName"), TFilterType::ftFilterText, QStringLiteral("包含"),
             QStringLiteral("深圳"));
    ds.SetOnFilterRecord([&list](TDataSet& d, bool& accept) { accept = list.Accepts(d); });
    ds.SetFiltered(true);
    for (auto _ : state) {
        auto pass = list.BeginPass();
        ds.Refilter();
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecord({});
}
BENCHMARK(BM_SingleScatteredContains)->Unit(benchmark::kMillisecond);

// What the per-call lookup by name costs: the same three tests with the value
// and the week worked out once, but every field found by FieldByName on every
// call (what CanAccept would do without its remembered field).
void BM_FieldByNameEveryCall(benchmark::State& state) {
    TClientDataSet& ds = data().dataSet;
    double weekStart = 0;
    ds.SetOnFilterRecord([&weekStart](TDataSet& d, bool& accept) {
        accept = false;
        if (!d.FieldByName(QStringLiteral("vName")).AsString().contains(kCity)) return;
        if (!(d.FieldByName(QStringLiteral("nQty")).AsFloat() - 500.0 > -0.001)) return;
        const double f = std::trunc(d.FieldByName(QStringLiteral("dDay")).AsDateTimeValue());
        accept = f >= weekStart && f < weekStart + 7;
    });
    ds.SetFiltered(true);
    for (auto _ : state) {
        weekStart = StartOfTheWeek(TodayValue());
        ds.Refilter();
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecord({});
}
BENCHMARK(BM_FieldByNameEveryCall)->Unit(benchmark::kMillisecond);

// The same tests on fields found once before the pass (the floor for any
// implementation reading through TField).
void BM_FieldsFoundOnce(benchmark::State& state) {
    TClientDataSet& ds = data().dataSet;
    double weekStart = 0;
    TField& name = ds.FieldByName(QStringLiteral("vName"));
    TField& qty = ds.FieldByName(QStringLiteral("nQty"));
    TField& day = ds.FieldByName(QStringLiteral("dDay"));
    ds.SetOnFilterRecord([&](TDataSet&, bool& accept) {
        accept = false;
        if (!name.AsString().contains(kCity)) return;
        if (!(qty.AsFloat() - 500.0 > -0.001)) return;
        const double f = std::trunc(day.AsDateTimeValue());
        accept = f >= weekStart && f < weekStart + 7;
    });
    ds.SetFiltered(true);
    for (auto _ : state) {
        weekStart = StartOfTheWeek(TodayValue());
        ds.Refilter();
    }
    state.counters["accepted"] = ds.RecordCount();
    ds.SetFiltered(false);
    ds.SetOnFilterRecord({});
}
BENCHMARK(BM_FieldsFoundOnce)->Unit(benchmark::kMillisecond);

// A table model over the same vectors and a proxy with the three tests.
class TableModel : public QAbstractTableModel {
public:
    explicit TableModel(const Columns& c) : m_c(c) {}
    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : int(m_c.name.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : 3; }
    QVariant data(const QModelIndex& index, int role) const override {
        if (role != Qt::DisplayRole && role != Qt::EditRole) return {};
        const size_t r = size_t(index.row());
        switch (index.column()) {
        case 0:
            return m_c.name[r];
        case 1:
            return m_c.qty[r];
        default:
            return m_c.day[r];
        }
    }

private:
    const Columns& m_c;
};

class ThreeConditionProxy : public QSortFilterProxyModel {
public:
    TDateTime weekStart = 0;
    void refresh() {
        weekStart = StartOfTheWeek(TodayValue());
        invalidateFilter();
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override {
        const QAbstractItemModel* m = sourceModel();
        if (!m->index(row, 0, parent).data().toString().contains(kCity)) return false;
        if (!(m->index(row, 1, parent).data().toDouble() - 500.0 > -0.001)) return false;
        const double d = std::trunc(m->index(row, 2, parent).data().toDouble());
        return d >= weekStart && d < weekStart + 7;
    }
};

void BM_QtProxyModel(benchmark::State& state) {
    TableModel model(data().cols);
    ThreeConditionProxy proxy;
    proxy.setSourceModel(&model);
    for (auto _ : state) {
        proxy.refresh();
        benchmark::DoNotOptimize(proxy.rowCount());
    }
    state.counters["accepted"] = proxy.rowCount();
}
BENCHMARK(BM_QtProxyModel)->Unit(benchmark::kMillisecond);

// Prints each benchmark as a ratio to the hand loop after the usual table.
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
        const auto base = m_ns.find("BM_HandLoop");
        if (base == m_ns.end()) return;
        std::printf("\nCPU time as a ratio to BM_HandLoop (%.2f ms):\n", base->second / 1e6);
        for (const auto& [name, ns] : m_ns)
            if (name.find("Scattered") == std::string::npos)
                std::printf("  %-36s %8.2f ms  x%.2f\n", name.c_str(), ns / 1e6, ns / base->second);
        const auto scattered = m_ns.find("BM_ScatteredHandLoop");
        if (scattered == m_ns.end()) return;
        std::printf("CPU time as a ratio to BM_ScatteredHandLoop (%.2f ms):\n", scattered->second / 1e6);
        for (const auto& [name, ns] : m_ns)
            if (name.find("Scattered") != std::string::npos)
                std::printf("  %-36s %8.2f ms  x%.2f\n", name.c_str(), ns / 1e6, ns / scattered->second);
    }

private:
    std::map<std::string, double> m_ns;
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
