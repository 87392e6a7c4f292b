#pragma once
// Printing through the report library, spreadsheet export and clipboard
// copy, as the data grid's menu runs them. The grid plugs in by describing
// itself (dataset, exported columns, form caption, template name); TPrint
// works on any dataset pair.
//
// The report library is loaded by name at run time (TInstallDll): the file
// "KxCellDll.dll" in the executable's folder, which the loader maps to the
// platform's spelling of a library name (ReportInterface.h).

#include "grid/data/TableExport.h"

#include <QMap>
#include <QString>
#include <functional>
#include <memory>

class QAction;
class QMenu;
class QMimeData;
class QWidget;

namespace lnq {

class TPrint {
public:
    TPrint() = delete;

    // Executable folder + "KxCellDll.dll" (or the folder SetLibraryDir chose:
    // hosts installed elsewhere, tests).
    static QString GetDllFileName();
    static void SetLibraryDir(const QString& dir);
    // The name the platform loader is given for a library file name.
    static QString PlatformLibraryName(const QString& dllFileName);

    // Loads the library, creates the report object and calls the operation
    // of printType with ReportFile and Data. A missing library or entry shows
    // "打开凯翔报表组件失败, 请检查KxCellDll.dll文件是否正确！" and abandons; a
    // missing ReportFile shows "打印模板文件没有找到！" (after creating its
    // folder) and opens the designer on it. options go to the report object's
    // SetOption first (IReportEx: "OutputFile", "Unattended"). Returns the
    // operation's result (0 done, 1 cancelled, 2 failed), -1 when the library
    // could not be used.
    static int DoReport(const QString& ReportFile, ICanReportOut& Data, TPrintType PrintType,
                        const QMap<QString, QString>& options = {});
    // Shorthands over a dataset pair (either may be null).
    static int ReportDesign(const QString& ReportFile, TDataSet* master, TDataSet* detail);
    static int ReportPreview(const QString& ReportFile, TDataSet* master, TDataSet* detail);
    static int ReportPrint(const QString& ReportFile, TDataSet* master, TDataSet* detail);
    static int ReportSetup(const QString& ReportFile, TDataSet* master, TDataSet* detail);
    static int ReportToExcel(const QString& ReportFile, TDataSet* master, TDataSet* detail);

    // Fills MenuItem with "(默认)" and one action per "*.rpm" file in the
    // executable folder + "KXReport/" + SubFolder (captioned with the file
    // name, sorted by name); every action triggers OnClick with itself.
    static void InitChonseMenuItem(const QString& SubFolder, QMenu& MenuItem,
                                   const std::function<void(QAction*)>& OnClick);

    // The folder KXReport beside the executable + the template name
    // (GetCellFileName's rules, see LayoutFile.h GridFileName).
    static QString GetCellFileName(const QString& cellFileName, const QString& ownerName,
                                   const QString& gridName);
};

// What the grid's print and export handlers need to know about the grid.
struct TGridReportSource {
    TDataSet* DataSet = nullptr; // the grid's dataset (not owned)
    TExportColumns Columns;      // in column order
    QString FormCaption;         // caption of the form that owns the grid
    QString CellFileName;        // from TPrint::GetCellFileName
    // Raised before data is handed to the report library.
    std::function<void(TDataSetCanReportOutObject&)> OnPreparePrintData;
};

// The four print handlers (Print_Design, Print_Preview, Print_Out,
// Print_Setup): nothing without an open ADO or client dataset; the library
// failure message as in TPrint; the template is not checked (the library
// decides). The private copy of the dataset lives for the call only.
int GridPrint(const TGridReportSource& source, TPrintType printType,
              const QMap<QString, QString>& options = {});

// "导出到EXCEL": writes the rows (private copy, current order) to an .xlsx in
// the temporary folder with a progress window that can cancel, puts the HTML
// text on the clipboard, and opens the file
// with the desktop's spreadsheet program; when none opens it, the error
// "系统中的Microsoft Excel软件没有安装或安装不正确！". Returns the file written
// ("" when nothing was written).
// The clipboard holds at most kClipboardHtmlRows records (the file holds
// all): a longer export puts the title, the header and the first
// kClipboardHtmlRows records there and then tells the user so with
// kClipboardHtmlLimitText ("提示", information).
constexpr int kClipboardHtmlRows = 20000;
inline const QString kClipboardHtmlLimitText =
    QStringLiteral("导出的数据超过20000行，剪贴板中只有前20000行，全部数据在EXCEL文件中。");
QString GridExportToExcel(const TGridReportSource& source, QWidget* parent = nullptr);

// The clipboard content of an export: the HTML text (of the first maxRows
// records when maxRows >= 0) as text/html and as plain text.
std::unique_ptr<QMimeData> HtmlClipboardData(TDataSet& data, const TExportColumns& columns,
                                             const QString& formCaption, qint64 maxRows = -1);
// "复制": the field's text (AsString) to the clipboard; nothing without a field.
void CopyToClipBoard(const TField* selectedField);

} // namespace lnq
