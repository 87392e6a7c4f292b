#include "grid/data/Print_ui.h"

#include "grid/data/LayoutFile.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_dll.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressDialog>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QUrl>

namespace lnq {

namespace {

QString& libraryDir() {
    static QString dir;
    return dir;
}

const QString kLibraryFailed = QStringLiteral("打开凯翔报表组件失败, 请检查KxCellDll.dll文件是否正确！");
const QString kTemplateMissing = QStringLiteral("打印模板文件没有找到！");
const QString kNoSpreadsheet = QStringLiteral("系统中的Microsoft Excel软件没有安装或安装不正确！");

void information(const QString& text) {
    QMessageBox::information(QApplication::activeWindow(), QStringLiteral("提示"), text);
}

// The report object, released when it goes out of scope (before its library).
struct ReleaseReport {
    void operator()(IReport* r) const {
        if (r) r->Release();
    }
};
using ReportPtr = std::unique_ptr<IReport, ReleaseReport>;

// Loads the library and creates the report object; the message and nullptr
// on failure.
ReportPtr createReport(TInstallDll& dll) {
    QFunctionPointer entry = nullptr;
    if (!dll.InstallDLL(TPrint::PlatformLibraryName(TPrint::GetDllFileName()),
                        QStringLiteral("CreateReportEx"), entry) ||
        !entry) {
        information(kLibraryFailed);
        return nullptr;
    }
    ShareHostClock(dll.Handle());
    ReportPtr report(reinterpret_cast<TCreateReportEx>(entry)());
    if (!report) information(kLibraryFailed);
    return report;
}

int callOperation(IReport& report, TPrintType type, const QString& file, ICanReportOut& data,
                  const QMap<QString, QString>& options) {
    if (!options.isEmpty()) {
        void* ex = nullptr;
        if (report.QueryInterface("IReportEx", &ex) == 0 && ex) {
            auto* r = static_cast<IReportEx*>(ex);
            for (auto it = options.begin(); it != options.end(); ++it)
                r->SetOption(Gbk::encode(it.key()).constData(), Gbk::encode(it.value()).constData());
            r->Release();
        }
    }
    const QByteArray name = Gbk::encode(file);
    switch (type) {
    case TPrintType::ptDesign:
        return report.Design(name.constData(), &data);
    case TPrintType::ptPreview:
        return report.Preview(name.constData(), &data);
    case TPrintType::ptPrint:
        return report.Print(name.constData(), &data);
    case TPrintType::ptSetup:
        return report.Setup(name.constData(), &data);
    case TPrintType::ptExportToExcel:
        return report.ExportToExcel(name.constData(), &data);
    }
    return -1;
}

int shorthand(const QString& file, TDataSet* master, TDataSet* detail, TPrintType type) {
    TDataSetCanReportOutObject data(master, detail);
    return TPrint::DoReport(file, data, type);
}

} // namespace

QString TPrint::GetDllFileName() {
    const QString dir = libraryDir().isEmpty() ? QCoreApplication::applicationDirPath() : libraryDir();
    return dir + QStringLiteral("/KxCellDll.dll");
}

void TPrint::SetLibraryDir(const QString& dir) {
    libraryDir() = dir;
}

QString TPrint::PlatformLibraryName(const QString& dllFileName) {
#ifdef Q_OS_WIN
    return dllFileName;
#else
    // The platform loader adds its own prefix and suffix to a bare name.
    QString name = dllFileName;
    if (name.endsWith(QLatin1String(".dll"), Qt::CaseInsensitive)) name.chop(4);
    return name;
#endif
}

int TPrint::DoReport(const QString& ReportFile, ICanReportOut& Data, TPrintType PrintType,
                     const QMap<QString, QString>& options) {
    TInstallDll dll;
    ReportPtr report = createReport(dll);
    if (!report) return -1;
    if (QFileInfo::exists(ReportFile)) return callOperation(*report, PrintType, ReportFile, Data, options);
    QDir().mkpath(QFileInfo(ReportFile).absolutePath());
    information(kTemplateMissing);
    return callOperation(*report, TPrintType::ptDesign, ReportFile, Data, options);
}

int TPrint::ReportDesign(const QString& f, TDataSet* m, TDataSet* d) {
    return shorthand(f, m, d, TPrintType::ptDesign);
}
int TPrint::ReportPreview(const QString& f, TDataSet* m, TDataSet* d) {
    return shorthand(f, m, d, TPrintType::ptPreview);
}
int TPrint::ReportPrint(const QString& f, TDataSet* m, TDataSet* d) {
    return shorthand(f, m, d, TPrintType::ptPrint);
}
int TPrint::ReportSetup(const QString& f, TDataSet* m, TDataSet* d) {
    return shorthand(f, m, d, TPrintType::ptSetup);
}
int TPrint::ReportToExcel(const QString& f, TDataSet* m, TDataSet* d) {
    return shorthand(f, m, d, TPrintType::ptExportToExcel);
}

void TPrint::InitChonseMenuItem(const QString& SubFolder, QMenu& MenuItem,
                                const std::function<void(QAction*)>& OnClick) {
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/KXReport/") + SubFolder;
    auto add = [&](const QString& caption) {
        QAction* a = MenuItem.addAction(caption);
        QObject::connect(a, &QAction::triggered, a, [a, OnClick] {
            if (OnClick) OnClick(a);
        });
    };
    add(QStringLiteral("(默认)"));
    const QStringList files = QDir(folder).entryList({QStringLiteral("*.rpm")}, QDir::Files, QDir::Name);
    for (const QString& f : files)
        add(f);
}

QString TPrint::GetCellFileName(const QString& cellFileName, const QString& ownerName,
                                const QString& gridName) {
    return GridFileName(QStringLiteral("KXReport"), QStringLiteral(".RPT"), cellFileName, ownerName,
                        gridName);
}

int GridPrint(const TGridReportSource& source, TPrintType printType, const QMap<QString, QString>& options) {
    if (!source.DataSet || !source.DataSet->Active()) return -1;
    std::unique_ptr<TDataSet> cloned = PrepareClonedDataset(*source.DataSet);
    if (!cloned) return -1;
    TInstallDll dll;
    ReportPtr report = createReport(dll);
    if (!report) return -1;
    TDataSetCanReportOutObject data(nullptr, cloned.get(), source.Columns, source.FormCaption);
    data.OnPreparePrintData = source.OnPreparePrintData;
    const int result = callOperation(*report, printType, source.CellFileName, data, options);
    report.reset(); // before the library and the copy go
    return result;
}

QString GridExportToExcel(const TGridReportSource& source, QWidget* parent) {
    if (!source.DataSet || !source.DataSet->Active()) return QString();
    std::unique_ptr<TDataSet> cloned = PrepareClonedDataset(*source.DataSet);
    if (!cloned) return QString();
    QString safeCaption = source.FormCaption;
    safeCaption.replace(QRegularExpression(QStringLiteral("[\\\\/:*?\"<>|]")), QStringLiteral("_"));
    const QString file =
        QDir(QStandardPaths::writableLocation(QStandardPaths::TempLocation))
            .filePath(QStringLiteral("决策支持中心-") + safeCaption + QLatin1Char('-') +
                      QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmsszzz")) +
                      QStringLiteral(".xlsx"));
    QProgressDialog progress(QStringLiteral("正在导出到EXCEL..."), QStringLiteral("取消"), 0, 100, parent);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(500);
    auto step = [&](qint64 done, qint64 total) {
        progress.setValue(total > 0 ? int(done * 100 / total) : 0);
        QCoreApplication::processEvents(); // the windows keep painting
        return !progress.wasCanceled();
    };
    try {
        if (!ExportToXlsx(*cloned, source.Columns, source.FormCaption, file, step)) return QString();
    } catch (const Exception& e) {
        QMessageBox::critical(parent, QStringLiteral("错误提示"), e.Message());
        return QString();
    }
    progress.setValue(100);
    const bool capped = cloned->RecordCount() > kClipboardHtmlRows;
    QGuiApplication::clipboard()->setMimeData(
        HtmlClipboardData(*cloned, source.Columns, source.FormCaption, kClipboardHtmlRows).release());
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(file)))
        QMessageBox::critical(parent, QStringLiteral("错误提示"), kNoSpreadsheet);
    if (capped) QMessageBox::information(parent, QStringLiteral("提示"), kClipboardHtmlLimitText);
    return file;
}

std::unique_ptr<QMimeData> HtmlClipboardData(TDataSet& data, const TExportColumns& columns,
                                             const QString& formCaption, qint64 maxRows) {
    const QString html = HtmlExportText(data, columns, formCaption, maxRows);
    auto mime = std::make_unique<QMimeData>();
    mime->setHtml(html);
    mime->setText(html);
    return mime;
}

void CopyToClipBoard(const TField* selectedField) {
    if (!selectedField) return;
    QGuiApplication::clipboard()->setText(selectedField->AsString());
}

} // namespace lnq
