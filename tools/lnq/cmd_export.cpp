// lnq export: a query's rows exported as the data grid exports them.
//
//   lnq export --db DB --format xlsx|pdf|html --out FILE [--title TEXT]
//              [--layout FILE.FMT] "SQL"
//       Runs SQL (SQL Server text) on DB (an embedded database file or a
//       connection string) and writes FILE:
//         xlsx  the spreadsheet (title row "决策支持中心-" + TEXT, the header
//               from the column titles, typed cells);
//         html  the HTML text the grid puts on the clipboard, in a UTF-8 page;
//         pdf   printed through the default report library (beside this
//               executable) with its default template.
//       Columns are laid out as the grid lays them out: from the layout file
//       when given, else the first-use defaults (dictionary titles, fields
//       the dictionary marks "NotVisible" left out).

#include "data/ADOConnection.h"
#include "data/Plat_dataenvironment.h"
#include "grid/data/LayoutFile.h"
#include "grid/data/TableExport.h"
#include "report/ReportInterface.h"
#include "tools/lnq/Command.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_dll.h"

#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <QSaveFile>
#include <QTemporaryDir>

namespace {

using lnqtool::Io;

const char kUsage[] =
    "export --db DB --format xlsx|pdf|html --out FILE [--title TEXT] [--layout FILE.FMT] \"SQL\"";

int usageError(Io& io, const QString& message) {
    io.err << "lnq export: " << message << "\n"
           << "usage: lnq " << kUsage << "\n";
    return 2;
}

// The grid's columns for the dataset: the layout file's, or the first-use defaults.
lnq::TExportColumns layoutColumns(lnq::TDataSet& data, const QString& layoutFile,
                                  const std::function<QString(const QString&)>& titleOf) {
    lnq::TLayoutColumnList cols;
    for (const lnq::TExportColumn& c : lnq::ExportColumnsOf(data)) {
        lnq::TLayoutColumn l;
        l.FieldName = c.FieldName;
        l.Title = c.FieldName;
        l.Width = l.DefaultWidth = c.Width;
        cols.Items.push_back(l);
    }
    lnq::TLayoutContext ctx;
    ctx.FileName = layoutFile;
    ctx.HasDataSet = true;
    ctx.DataSetOpen = true;
    ctx.TitleOf = titleOf;
    if (!layoutFile.isEmpty() && !QFile::exists(layoutFile))
        throw lnq::EInOutError(QStringLiteral("列布局文件 %1 不存在").arg(layoutFile));
    lnq::LoadFormat(cols, ctx);
    lnq::TExportColumns out;
    for (const lnq::TLayoutColumn& c : cols.Items)
        out.push_back({c.FieldName, c.Title, c.Width});
    return out;
}

int printPdf(lnq::TDataSet& data, const lnq::TExportColumns& columns, const QString& title,
             const QString& out, Io& io) {
    lnq::TInstallDll dll;
    QFunctionPointer entry = nullptr;
    // The report library beside the executable, spelled as the platform spells libraries.
    if (!dll.InstallDLL(QCoreApplication::applicationDirPath() + QStringLiteral("/KxCellDll"),
                        QStringLiteral("CreateReportEx"), entry)) {
        io.err << "lnq export: " << QStringLiteral("打开凯翔报表组件失败, 请检查KxCellDll.dll文件是否正确！")
               << " (" << dll.ErrorString() << ")\n";
        return 1;
    }
    struct Release {
        void operator()(lnq::IReport* r) const {
            if (r) r->Release();
        }
    };
    lnq::ShareHostClock(dll.Handle());
    std::unique_ptr<lnq::IReport, Release> report(reinterpret_cast<lnq::TCreateReportEx>(entry)());
    void* ex = nullptr;
    if (!report || report->QueryInterface("IReportEx", &ex) != 0) {
        io.err << "lnq export: " << QStringLiteral("打开凯翔报表组件失败, 请检查KxCellDll.dll文件是否正确！")
               << "\n";
        return 1;
    }
    std::unique_ptr<lnq::IReportEx, Release> options(static_cast<lnq::IReportEx*>(ex));
    options->SetOption("OutputFile", lnq::Gbk::encode(out).constData());
    options->SetOption("Unattended", "1");
    lnq::TDataSetCanReportOutObject provider(nullptr, &data, columns, title);
    const int rc = report->Print("", &provider);
    if (rc != 0) {
        QByteArray why;
        lnq::ReportBytes(
            [&](char* b, std::int32_t n, std::int32_t* l) { return options->GetLastError(b, n, l); }, why);
        io.err << "lnq export: " << lnq::Gbk::decode(why) << "\n";
        return 1;
    }
    return 0;
}

int exportCommand(const QStringList& args, Io& io) {
    QMap<QString, QString> opt;
    QStringList positional;
    const QStringList valued{"--db", "--format", "--out", "--title", "--layout"};
    for (int i = 0; i < args.size(); ++i) {
        if (valued.contains(args[i])) {
            if (i + 1 >= args.size())
                return usageError(io, QStringLiteral("option %1 needs a value").arg(args[i]));
            opt.insert(args[i], args[i + 1]);
            ++i;
        } else if (args[i].startsWith(QLatin1String("--"))) {
            return usageError(io, QStringLiteral("unknown option %1").arg(args[i]));
        } else {
            positional << args[i];
        }
    }
    if (positional.size() != 1) return usageError(io, QStringLiteral("one SQL text expected"));
    for (const char* required : {"--db", "--format", "--out"})
        if (!opt.contains(QString::fromLatin1(required)))
            return usageError(io, QStringLiteral("%1 is required").arg(QString::fromLatin1(required)));
    const QString format = opt.value(QStringLiteral("--format"));
    if (format != QLatin1String("xlsx") && format != QLatin1String("pdf") && format != QLatin1String("html"))
        return usageError(io, QStringLiteral("unknown format %1").arg(format));

    lnq::TADOConnection connection;
    connection.SetConnectionString(opt.value(QStringLiteral("--db")));
    connection.Open();
    lnq::TADODataSet data;
    data.SetConnection(&connection);
    data.SetCommandText(positional.first());
    data.Open();

    // Captions come from this database's dictionary, not from a cache left
    // beside the executable by another database.
    QTemporaryDir cacheDir;
    lnq::TDataEnvironment::SetCacheFileName(cacheDir.filePath(QStringLiteral("FldAttr.xml")));
    lnq::TDataEnvironment* dictionary = nullptr;
    try {
        dictionary = &lnq::TDataEnvironment::GetInstance(connection);
    } catch (const lnq::Exception&) {
        dictionary = nullptr; // no dictionary table: captions are the field names
    }
    const auto titleOf = [dictionary](const QString& name) {
        return dictionary ? dictionary->GetTitleCaption(name) : name;
    };
    const lnq::TExportColumns columns = layoutColumns(data, opt.value(QStringLiteral("--layout")), titleOf);
    const QString title = opt.value(QStringLiteral("--title"));
    const QString out = opt.value(QStringLiteral("--out"));

    if (format == QLatin1String("xlsx")) {
        lnq::ExportToXlsx(data, columns, title, out);
    } else if (format == QLatin1String("html")) {
        QSaveFile file(out);
        if (!file.open(QIODevice::WriteOnly))
            throw lnq::EInOutError(QStringLiteral("无法创建文件 %1：%2").arg(out, file.errorString()));
        file.write("<html><head><meta charset=\"utf-8\"></head><body>\n");
        file.write(lnq::HtmlExportText(data, columns, title).toUtf8());
        file.write("\n</body></html>\n");
        if (!file.commit())
            throw lnq::EInOutError(QStringLiteral("无法写入文件 %1：%2").arg(out, file.errorString()));
    } else {
        const int rc = printPdf(data, columns, title, out, io);
        if (rc != 0) return rc;
    }
    io.out << out << ": " << data.RecordCount() << " rows, " << columns.size() << " columns\n";
    return 0;
}

const lnqtool::Registrar reg({QStringLiteral("export"), QString::fromUtf8(kUsage), exportCommand});

} // namespace
