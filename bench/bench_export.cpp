// Spreadsheet export and print preview, in the same run (offscreen platform):
//  - Xlsx_Bare: libxlsxwriter in constant-memory mode writing 100,000 rows of
//    10 cells (4 texts, 2 money, 1 float, 1 integer, 1 date, 1 yes/no text)
//    from values prepared in memory beforehand (UTF-8 texts, doubles): the
//    cost of the file itself.
//  - Xlsx_DataSet: ExportToXlsx of a client dataset holding the same values
//    (title row, two-level header, typed cells, the dataset read by row).
//    Reported: time_x = its wall time / Xlsx_Bare's, and extra_MiB, the
//    growth of the process's peak resident memory during the export (the
//    peak is reset first), next to dataset_MiB, what loading the dataset took.
//  - Preview_FirstPage: 10,000 rows from the dataset provider into the report
//    library's data, laid out and the first page painted at printer
//    resolution (what a page-by-page preview needs before showing a page).
//  - Preview_Window: the report library's preview window made, shown and
//    painted once (its first page on screen), from the same provider.
//  - Preview_RecordAll: the baseline a recording preview would need, every
//    page rendered into the stock print preview widget before the first is
//    shown. Preview_Window reports time_x against it.
//
// LNQ_BENCH_ROWS overrides the 100,000 export rows.

#include "grid/data/TableExport.h"
#include "report/Ctrl_ReportPreview.h"
#include "report/ReportOutput_ui.h"
#include "report/ReportPages.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPicture>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <string>
#include <xlsxwriter.h>

using namespace lnq;

namespace {

constexpr int kPreviewRows = 10000;

int exportRows() {
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS");
    return n > 0 ? n : 100000;
}

// Resident memory figures of this process, in KiB, from /proc/self/status.
long statusKiB(const char* key) {
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(key)) return line.mid(qstrlen(key)).trimmed().split(' ').first().toLong();
    return 0;
}
void resetPeak() {
    QFile f(QStringLiteral("/proc/self/clear_refs"));
    if (f.open(QIODevice::WriteOnly)) f.write("5");
}

struct Source {
    TClientDataSet data;
    TExportColumns columns;
    // The same cells prepared for the bare loop.
    std::vector<std::string> texts; // rows * 4
    std::vector<double> numbers;    // rows * 5 (money, money, float, integer, date serial)
    std::vector<bool> flags;
    double datasetMiB = 0;
};
Source* g_source = nullptr;

QString text(int col, int r) {
    static const char* const cities[] = {"北京", "上海", "广州", "深圳", "杭州", "成都"};
    switch (col) {
    case 0:
        return QStringLiteral("KH%1").arg(r, 6, 10, QLatin1Char('0'));
    case 1:
        return QString::fromUtf8(cities[r % 6]) + QStringLiteral("润华医药有限公司%1").arg(r % 997);
    case 2:
        return QString::fromUtf8(cities[(r / 7) % 6]);
    default:
        return (r % 3) ? QStringLiteral("备注 %1").arg(r) : QString();
    }
}

void build(Source& s, int rows) {
    const long before = statusKiB("VmRSS:");
    auto def = [](const char* n, TFieldType t) {
        TFieldDef d;
        d.Name = QString::fromLatin1(n);
        d.DataType = t;
        return d;
    };
    TRecordSetBuilder& b =
        s.data.BeginLoad({def("vCode", TFieldType::ftString), def("vName", TFieldType::ftString),
                          def("vCity", TFieldType::ftString), def("vRemark", TFieldType::ftString),
                          def("mCredit", TFieldType::ftCurrency), def("mBalance", TFieldType::ftBCD),
                          def("fRate", TFieldType::ftFloat), def("iQty", TFieldType::ftInteger),
                          def("dCreate", TFieldType::ftDate), def("bAgent", TFieldType::ftBoolean)});
    b.Reserve(rows);
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < 4; ++c)
            b.SetText(c, text(c, r));
        b.SetFloat(4, 1000.0 * (r % 500));
        b.SetFloat(5, r * 1.25);
        b.SetFloat(6, r / 7.0);
        b.SetInteger(7, r % 1000);
        b.SetDateTime(8, 45000 + r % 3000);
        b.SetInteger(9, r % 2);
        b.EndRow();
    }
    s.data.EndLoad();
    s.datasetMiB = (statusKiB("VmRSS:") - before) / 1024.0;
    const char* titles[] = {"客户.编码", "客户.名称", "客户.城市", "备注",     "金额.信用额度",
                            "金额.余额", "比率",      "数量",      "建档日期", "代理商"};
    for (int c = 0; c < 10; ++c)
        s.columns.push_back({s.data.Fields(c).FieldName(), QString::fromUtf8(titles[c]), 80});
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < 4; ++c)
            s.texts.push_back(text(c, r).toStdString());
        s.numbers.insert(s.numbers.end(),
                         {1000.0 * (r % 500), r * 1.25, r / 7.0, double(r % 1000), double(45000 + r % 3000)});
        s.flags.push_back(r % 2);
    }
}

QString outFile(const char* name) {
    return QDir::temp().filePath(QString::fromLatin1(name));
}

double g_bare = 0;

void BM_Xlsx_Bare(benchmark::State& state) {
    const QByteArray file = QFile::encodeName(outFile("lnq_bench_bare.xlsx"));
    double total = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        lxw_workbook_options o{};
        o.constant_memory = LXW_TRUE;
        lxw_workbook* wb = workbook_new_opt(file.constData(), &o);
        lxw_worksheet* ws = workbook_add_worksheet(wb, nullptr);
        lxw_format* money = workbook_add_format(wb);
        format_set_num_format(money, "#,##0.00");
        lxw_format* date = workbook_add_format(wb);
        format_set_num_format(date, "yyyy-mm-dd");
        const size_t rows = g_source->flags.size();
        for (size_t r = 0; r < rows; ++r) {
            const lxw_row_t row = lxw_row_t(r + 3);
            for (int c = 0; c < 4; ++c) {
                const std::string& t = g_source->texts[r * 4 + c];
                if (!t.empty()) worksheet_write_string(ws, row, lxw_col_t(c), t.c_str(), nullptr);
            }
            const double* n = &g_source->numbers[r * 5];
            worksheet_write_number(ws, row, 4, n[0], money);
            worksheet_write_number(ws, row, 5, n[1], money);
            worksheet_write_number(ws, row, 6, n[2], nullptr);
            worksheet_write_number(ws, row, 7, n[3], nullptr);
            worksheet_write_number(ws, row, 8, n[4], date);
            worksheet_write_string(ws, row, 9, g_source->flags[r] ? "\xe6\x98\xaf" : "\xe5\x90\xa6", nullptr);
        }
        workbook_close(wb);
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(s);
        total += s;
    }
    g_bare = total / double(state.iterations());
    QFile::remove(QFile::decodeName(file));
}

void BM_Xlsx_DataSet(benchmark::State& state) {
    const QString file = outFile("lnq_bench_export.xlsx");
    double total = 0;
    long extra = 0;
    for (auto _ : state) {
        resetPeak();
        const long peak0 = statusKiB("VmHWM:");
        const auto t0 = std::chrono::steady_clock::now();
        ExportToXlsx(g_source->data, g_source->columns, QStringLiteral("客户列表"), file);
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        extra = std::max(extra, statusKiB("VmHWM:") - peak0);
        state.SetIterationTime(s);
        total += s;
    }
    const double mine = total / double(state.iterations());
    state.counters["time_x"] = g_bare > 0 ? mine / g_bare : 0;
    state.counters["extra_MiB"] = extra / 1024.0;
    state.counters["dataset_MiB"] = g_source->datasetMiB;
    QFile::remove(file);
}

Source* g_preview = nullptr; // kPreviewRows rows of the same kind

TClientDataSet& previewData() {
    return g_preview->data;
}

void BM_Preview_FirstPage(benchmark::State& state) {
    TClientDataSet& d = previewData();
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        TDataSetCanReportOutObject provider(nullptr, &d, g_source->columns, QStringLiteral("客户列表"));
        TReportData data;
        data.Read(provider);
        TReportTemplate t;
        QPicture picture;
        picture.setBoundingRect(QRect(0, 0, 9921, 14031));
        const TReportPages pages(t, data, 1200);
        QPainter p(&picture);
        pages.PaintPage(p, 0);
        p.end();
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
        state.counters["pages"] = pages.PageCount();
    }
}

double g_recordAll = 0;

void BM_Preview_RecordAll(benchmark::State& state) {
    TClientDataSet& d = previewData();
    double total = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        TDataSetCanReportOutObject provider(nullptr, &d, g_source->columns, QStringLiteral("客户列表"));
        TReportData data;
        data.Read(provider);
        TReportTemplate t;
        QPrinter printer(QPrinter::HighResolution);
        QPrintPreviewWidget preview(&printer);
        QObject::connect(&preview, &QPrintPreviewWidget::paintRequested,
                         [&](QPrinter* p) { RenderReport(*p, t, data); });
        preview.updatePreview();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(s);
        total += s;
        state.counters["pages"] = preview.pageCount();
    }
    g_recordAll = total / double(state.iterations());
}

void BM_Preview_Window(benchmark::State& state) {
    TClientDataSet& d = previewData();
    double total = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        TDataSetCanReportOutObject provider(nullptr, &d, g_source->columns, QStringLiteral("客户列表"));
        TReportData data;
        data.Read(provider);
        TReportTemplate t;
        TCtrl_ReportPreview window(t, data);
        window.show();
        window.View()->viewport()->grab();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(s);
        total += s;
        state.counters["pages"] = window.View()->PageCount();
        state.counters["painted"] = window.View()->PaintedPages();
    }
    state.counters["time_x"] = g_recordAll > 0 ? total / double(state.iterations()) / g_recordAll : 0;
}

} // namespace

BENCHMARK(BM_Xlsx_Bare)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Xlsx_DataSet)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Preview_FirstPage)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Preview_RecordAll)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_Preview_Window)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setFont(QFont(QStringLiteral("Noto Sans CJK SC"), 9));
    benchmark::Initialize(&argc, argv);
    Source source;
    build(source, exportRows());
    g_source = &source;
    Source preview;
    build(preview, kPreviewRows);
    g_preview = &preview;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
