// The lookup edit over 100,000 customers (LNQ_BENCH_ROWS overrides):
//  - Refresh/<text>: the drop-down's RefreshFilterDirect for a typed text
//    (the select with its like condition, the dataset filled, the grid
//    following and painting), against the query the embedded driver runs for
//    it (the select translated once, outside the timing, with the dialect's
//    functions registered on a second connection) as a bare sqlite3_step
//    loop that copies every column of every row; both are measured in
//    alternation in the same iterations;
//  - QuickTyping: eight keys arriving faster than the list refreshes; the
//    counter "queries" is how many selects reached the database.
//
// Reported: refresh_ms, bare_ms and x_base = refresh / bare. The machine may
// be loaded: read the ratios.

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/TsqlDialect.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/Ctrl_SuperEditFm.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Plat_convert.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <chrono>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

using namespace lnq;

namespace {

int rowCount() {
    const int n = qEnvironmentVariableIntValue("LNQ_BENCH_ROWS");
    return n > 0 ? n : 100000;
}

const char* const kCities[] = {"北京", "上海", "广州", "深圳", "杭州", "南京", "成都", "武汉",
                               "西安", "天津", "重庆", "长沙", "郑州", "济南", "沈阳", "昆明"};
const char* const kBrands[] = {"华信", "恒通", "金源", "瑞丰", "宏达", "新锐", "东方", "长城",
                               "天成", "永兴", "博远", "立信", "海纳", "中科", "明德", "百川"};
const char* const kTrades[] = {"科技", "贸易", "电子", "食品", "物流", "建材", "医药", "服饰"};

struct Setup {
    QTemporaryDir dir;
    QString file;
    TADOConnection ado;
    std::shared_ptr<IConnection> conn;
    std::unique_ptr<QWidget> window;
    TLNQSuperEdit* edit = nullptr;
    int statements = 0;
    sqlite3* bareDb = nullptr; // the baseline's own connection
    std::unique_ptr<TsqlDialect> bareDialect;
    ~Setup() {
        bareDialect.reset();
        sqlite3_close(bareDb);
    }
};

bool writeCustomers(const QString& path, int rows) {
    sqlite3* db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK) return false;
    bool ok =
        sqlite3_exec(db,
                     "CREATE TABLE Cust_CustomersMain (iCustomerNo INTEGER PRIMARY KEY, vCustomerNo TEXT, "
                     "vPYCode TEXT, vCustomerName TEXT, vProvince TEXT); BEGIN",
                     nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_stmt* ins = nullptr;
    ok = ok && sqlite3_prepare_v2(db, "INSERT INTO Cust_CustomersMain VALUES (?,?,?,?,?)", -1, &ins,
                                  nullptr) == SQLITE_OK;
    quint32 r = 12345;
    for (int i = 1; ok && i <= rows; ++i) {
        r = r * 1103515245u + 12345u;
        const QString city = QString::fromUtf8(kCities[(r >> 8) % 16]);
        const QString name = city + QString::fromUtf8(kBrands[(r >> 12) % 16]) +
                             QString::fromUtf8(kTrades[(r >> 16) % 8]) + QStringLiteral("有限公司");
        const QByteArray no = QByteArray::number(100000 + i);
        const QByteArray py = TUtils_Convert::StrToPY(name);
        const QByteArray nameUtf8 = name.toUtf8();
        const QByteArray cityUtf8 = city.toUtf8();
        sqlite3_bind_int(ins, 1, i);
        sqlite3_bind_text(ins, 2, no.constData(), int(no.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(ins, 3, py.constData(), int(py.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(ins, 4, nameUtf8.constData(), int(nameUtf8.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(ins, 5, cityUtf8.constData(), int(cityUtf8.size()), SQLITE_TRANSIENT);
        ok = sqlite3_step(ins) == SQLITE_DONE;
        sqlite3_reset(ins);
    }
    sqlite3_finalize(ins);
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

Setup& setup() {
    static std::unique_ptr<Setup> s;
    if (s) return *s;
    s = std::make_unique<Setup>();
    s->file = s->dir.filePath(QStringLiteral("customers.db"));
    if (!writeCustomers(s->file, rowCount())) qFatal("cannot write the customer table");
    sqlite3_open_v2(s->file.toUtf8().constData(), &s->bareDb, SQLITE_OPEN_READONLY, nullptr);
    s->bareDialect = std::make_unique<TsqlDialect>(s->bareDb);
    s->ado.SetConnectionString(s->file);
    s->ado.Open();
    s->ado.SetStatementObserver([raw = s.get()](const QString&) { ++raw->statements; });
    s->conn = std::make_shared<TInterfacedADOConnection>(s->ado);
    s->window = std::make_unique<QWidget>();
    s->window->resize(320, 80);
    s->edit = new TLNQSuperEdit(s->window.get());
    s->edit->setGeometry(10, 10, 300, 24);
    s->edit->SetConnectionEx(s->conn);
    s->edit->SetSQLs(
        QStringLiteral("select iCustomerNo, vPYCode, vCustomerName, vProvince from Cust_CustomersMain"));
    s->edit->SetNoField(QStringLiteral("iCustomerNo"));
    s->edit->SetCodeField(QStringLiteral("vPYCode"));
    s->edit->SetValueField(QStringLiteral("vCustomerName"));
    s->window->show();
    s->edit->DropDown();
    QCoreApplication::processEvents();
    return *s;
}

// What a hand-written loader does with the SQLite text: every column of
// every row copied out of SQLite.
size_t bareQuery(sqlite3* db, const QByteArray& sql) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, sql.constData(), int(sql.size()), &st, nullptr);
    const int cols = sqlite3_column_count(st);
    std::vector<std::vector<std::string>> columns(static_cast<size_t>(cols));
    while (sqlite3_step(st) == SQLITE_ROW) {
        for (int c = 0; c < cols; ++c)
            columns[size_t(c)].emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st, c)),
                                            size_t(sqlite3_column_bytes(st, c)));
    }
    sqlite3_finalize(st);
    return columns.empty() ? 0 : columns[0].size();
}

template <typename Op> double timeIt(Op&& op) {
    const auto t0 = std::chrono::steady_clock::now();
    op();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

const char* const kTyped[] = {"bjhx", "北京华信", "1234", "k"};

void BM_Refresh(benchmark::State& state) {
    Setup& s = setup();
    TSuperEditDBFm& form = s.edit->DropDownForm();
    const QString text = QString::fromUtf8(kTyped[state.range(0)]);
    form.RefreshFilterDirect(text);
    const QByteArray sql = s.bareDialect->Translate(form.LastSQL()).toUtf8();
    double bare = 0;
    double refresh = 0;
    size_t rows = 0;
    for (auto _ : state) {
        bare += timeIt([&] { rows = bareQuery(s.bareDb, sql); });
        refresh += timeIt([&] {
            form.RefreshFilterDirect(text);
            form.Grid()->viewport()->repaint();
        });
    }
    const double runs = double(state.iterations());
    state.SetLabel(text.toStdString());
    state.counters["rows"] = double(rows);
    state.counters["bare_ms"] = bare / runs * 1000;
    state.counters["refresh_ms"] = refresh / runs * 1000;
    state.counters["x_base"] = bare > 0 ? refresh / bare : 0;
    if (form.DataSet()->RecordCount() != int(rows)) state.SkipWithError("the list and the bare query differ");
}

void BM_QuickTyping(benchmark::State& state) {
    Setup& s = setup();
    double queries = 0;
    for (auto _ : state) {
        s.edit->clear();
        const int before = s.statements;
        for (const QChar c : QStringLiteral("bjhxyxgs"))
            QCoreApplication::postEvent(
                s.edit, new QKeyEvent(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QString(c)));
        while (s.edit->text().size() < 8 || TRefreshDataThread::Running() > 0)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QCoreApplication::processEvents();
        queries += s.statements - before;
    }
    state.counters["queries"] = queries / double(state.iterations());
}

} // namespace

BENCHMARK(BM_Refresh)->DenseRange(0, 3)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_QuickTyping)->Unit(benchmark::kMillisecond)->Iterations(10);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM",
            qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
