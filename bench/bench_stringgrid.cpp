// The string grid against a plain QTableView over a QStandardItemModel that
// holds the same texts, in the same run (offscreen platform):
//  - Load: reading the grid's GBK text file (BEL separators, CR LF) into the
//    grid (LoadFromFile) and into the item model (the same decoding and
//    splitting, then one QStandardItem per cell);
//  - Paint: painting the whole control once (QWidget::grab) with the first
//    rows on screen;
//  - ScrollEnd: jumping to the last row and painting the control.
// Paint and ScrollEnd run at 1,000 rows and at the full size so that the
// cost per frame can be seen not to depend on the row count.
//
// Reported: wall time per operation (manual timing) and, for the grid,
// time_x = its wall time / the plain view's at the same row count, and
// cpu_x, the same ratio of process CPU time (steadier on a busy machine).
//
// 100,000 rows of 20 columns by default (LNQ_BENCH_ROWS overrides). The file
// is generated once per run in the temporary directory and removed at exit.

#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Gbk.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QStandardItemModel>
#include <QTableView>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>

namespace {

constexpr int kColumns = 20;
constexpr int kSmallRows = 1000;
const QSize kWindow(1200, 800);

int rowCount() {
    bool ok = false;
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS", &ok);
    return ok && n > 0 ? n : 100000;
}

QString filePath(int rows) {
    return QDir::temp().filePath(
        QStringLiteral("lnq_bench_stringgrid_%1_%2.txt").arg(QCoreApplication::applicationPid()).arg(rows));
}

QString columnName(int c) {
    return QStringLiteral("c%1").arg(c);
}

bool generate(const QString& path, int rows) {
    static const char16_t* const names[] = {u"不锈钢螺丝", u"六角螺母", u"平垫圈", u"弹簧垫圈", u"膨胀螺栓"};
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    QString block;
    for (int c = 0; c < kColumns; ++c)
        block += columnName(c) + u'\x07';
    block += QLatin1String("\r\n");
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < kColumns; ++c) {
            switch (c % 5) {
            case 0:
                block += QString::number(r);
                break;
            case 1:
                block += QStringLiteral("SP%1").arg(r * 7 + c, 6, 10, QLatin1Char('0'));
                break;
            case 2:
                block += QString::fromUtf16(names[(r + c) % 5]);
                break;
            case 3:
                block += QString::number((r * 13 + c) % 1000);
                break;
            default:
                block += QString::number(((r * 31 + c) % 100000) / 100.0, 'f', 2);
                break;
            }
            block += u'\x07';
        }
        block += QLatin1String("\r\n");
        if (block.size() > (1 << 16)) {
            f.write(lnq::Gbk::encode(block));
            block.clear();
        }
    }
    block += QLatin1String("==END==\r\n");
    f.write(lnq::Gbk::encode(block));
    return true;
}

// The plain side of Load: the same file read the same way into an item model.
std::unique_ptr<QStandardItemModel> loadPlain(const QString& path) {
    auto model = std::make_unique<QStandardItemModel>();
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return model;
    const QStringList lines = lnq::Gbk::decode(f.readAll()).split(u'\n');
    model->setColumnCount(kColumns);
    int rows = 0;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        QString line = lines[i];
        if (line.endsWith(u'\r')) line.chop(1);
        if (line.isEmpty() || line == QLatin1String("==END==")) break;
        ++rows;
    }
    model->setRowCount(rows);
    for (int r = 0; r < rows; ++r) {
        QString line = lines[r + 1];
        if (line.endsWith(u'\r')) line.chop(1);
        const QStringList fields = line.split(u'\x07');
        for (int c = 0; c + 1 < fields.size() && c < kColumns; ++c)
            model->setItem(r, c, new QStandardItem(fields[c]));
    }
    return model;
}

std::unique_ptr<lnq::TLNQStringGrid> makeGrid() {
    auto grid = std::make_unique<lnq::TLNQStringGrid>();
    grid->SetColCount(kColumns);
    for (int c = 0; c < kColumns; ++c)
        grid->GridCols()[c]->SetColName(columnName(c));
    grid->GridCols()[4]->SetDataTypePro(lnq::dpDecimal);
    grid->GridCols()[4]->SetDataWidth(10);
    grid->GridCols()[4]->SetDataDec(2);
    grid->GridCols()[1]->SetCaption(QStringLiteral("商品;编码"));
    grid->GridCols()[2]->SetCaption(QStringLiteral("商品;名称"));
    grid->resize(kWindow);
    return grid;
}

std::unique_ptr<lnq::TLNQStringGrid> loadGrid(const QString& path) {
    auto grid = makeGrid();
    grid->SetFileNameSaved(path);
    grid->LoadFromFile();
    return grid;
}

// The two controls under test at one row count, built once.
struct Views {
    std::unique_ptr<QStandardItemModel> model;
    std::unique_ptr<QTableView> plain;
    std::unique_ptr<lnq::TLNQStringGrid> grid;
};

Views& views(int rows) {
    static std::map<int, Views> all;
    Views& v = all[rows];
    if (!v.grid) {
        v.model = loadPlain(filePath(rows));
        v.plain = std::make_unique<QTableView>();
        v.plain->setModel(v.model.get());
        v.plain->verticalHeader()->hide();
        v.plain->verticalHeader()->setDefaultSectionSize(24);
        v.plain->horizontalHeader()->setDefaultSectionSize(64);
        v.plain->resize(kWindow);
        v.plain->show();
        v.grid = loadGrid(filePath(rows));
        v.grid->show();
        QCoreApplication::processEvents();
    }
    return v;
}

double cpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

struct Figures {
    double wall = 0; // per run
    double cpu = 0;
};

// Times one run of op (wall and CPU) and hands the wall time to the library.
struct Runs {
    double wall = 0;
    double cpu = 0;
    int count = 0;
    template <typename Op> void time(benchmark::State& state, Op&& op) {
        const double c0 = cpuSeconds();
        const auto t0 = std::chrono::steady_clock::now();
        op();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        cpu += cpuSeconds() - c0;
        state.SetIterationTime(s);
        wall += s;
        ++count;
    }
    Figures perRun() const { return count ? Figures{wall / count, cpu / count} : Figures{}; }
};

std::map<std::pair<int, int>, Figures> g_plain; // (kind, rows) -> the plain view's figures

template <typename Op> Figures measure(benchmark::State& state, Op&& op) {
    Runs runs;
    for (auto _ : state)
        runs.time(state, op);
    return runs.perRun();
}

void report(benchmark::State& state, int kind, int rows, const Figures& f, bool plain) {
    state.counters["rows"] = rows;
    if (plain) {
        g_plain[{kind, rows}] = f;
        return;
    }
    const auto it = g_plain.find({kind, rows});
    if (it == g_plain.end()) return;
    if (it->second.wall > 0) state.counters["time_x"] = f.wall / it->second.wall;
    if (it->second.cpu > 0) state.counters["cpu_x"] = f.cpu / it->second.cpu;
}

enum Kind { kLoad, kPaint, kScrollEnd };

void BM_Load_Plain(benchmark::State& state) {
    const int rows = rowCount();
    const Figures f = measure(state, [&] { benchmark::DoNotOptimize(loadPlain(filePath(rows))); });
    report(state, kLoad, rows, f, true);
}

void BM_Load_StringGrid(benchmark::State& state) {
    const int rows = rowCount();
    Runs runs;
    for (auto _ : state) {
        auto grid = makeGrid(); // building the empty control is not loading
        grid->SetFileNameSaved(filePath(rows));
        runs.time(state, [&] { grid->LoadFromFile(); });
        if (grid->RowCount() < rows) state.SkipWithError("rows missing after the load");
    }
    report(state, kLoad, rows, runs.perRun(), false);
}

int rowsFor(benchmark::State& state) {
    return state.range(0) == 0 ? rowCount() : int(state.range(0));
}

void BM_Paint_Plain(benchmark::State& state) {
    const int rows = rowsFor(state);
    Views& v = views(rows);
    v.plain->scrollToTop();
    const Figures f = measure(state, [&] { benchmark::DoNotOptimize(v.plain->grab()); });
    report(state, kPaint, rows, f, true);
}

void BM_Paint_StringGrid(benchmark::State& state) {
    const int rows = rowsFor(state);
    Views& v = views(rows);
    v.grid->scrollToTop();
    const Figures f = measure(state, [&] { benchmark::DoNotOptimize(v.grid->grab()); });
    report(state, kPaint, rows, f, false);
}

template <typename View> Figures scrollEnd(benchmark::State& state, View& view) {
    Runs runs;
    for (auto _ : state) {
        view.scrollToTop();
        QCoreApplication::processEvents();
        runs.time(state, [&] {
            view.scrollToBottom();
            benchmark::DoNotOptimize(view.grab());
        });
    }
    return runs.perRun();
}

void BM_ScrollEnd_Plain(benchmark::State& state) {
    const int rows = rowsFor(state);
    report(state, kScrollEnd, rows, scrollEnd(state, *views(rows).plain), true);
}

void BM_ScrollEnd_StringGrid(benchmark::State& state) {
    const int rows = rowsFor(state);
    report(state, kScrollEnd, rows, scrollEnd(state, *views(rows).grid), false);
}

} // namespace

BENCHMARK(BM_Load_Plain)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_Load_StringGrid)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
// Argument 0 stands for the full row count.
BENCHMARK(BM_Paint_Plain)->UseManualTime()->Unit(benchmark::kMillisecond)->Arg(kSmallRows)->Arg(0);
BENCHMARK(BM_Paint_StringGrid)->UseManualTime()->Unit(benchmark::kMillisecond)->Arg(kSmallRows)->Arg(0);
BENCHMARK(BM_ScrollEnd_Plain)->UseManualTime()->Unit(benchmark::kMillisecond)->Arg(kSmallRows)->Arg(0);
BENCHMARK(BM_ScrollEnd_StringGrid)->UseManualTime()->Unit(benchmark::kMillisecond)->Arg(kSmallRows)->Arg(0);

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setFont(QFont(QStringLiteral("Noto Sans CJK SC"), 9));
    benchmark::Initialize(&argc, argv);
    const int rows = rowCount();
    for (int n : {kSmallRows, rows}) {
        if (!generate(filePath(n), n)) {
            std::fprintf(stderr, "bench_stringgrid: cannot write %s\n", qPrintable(filePath(n)));
            return 1;
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QFile::remove(filePath(kSmallRows));
    QFile::remove(filePath(rows));
    return 0;
}
