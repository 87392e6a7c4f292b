// The default report library: exports "CreateReportEx" and implements the
// report object over templates (.RPT, see ReportTemplate.h), the page layout
// (ReportPages.h), the designer, print preview, printing, page setup and the
// spreadsheet export.

#include "report/Ctrl_ReportDesigner.h"
#include "report/Ctrl_ReportPreview.h"
#include "report/ReportInterface.h"
#include "report/ReportOutput_ui.h"
#include "report/ReportPages.h"
#include "report/ReportTemplate.h"
#include "report/XlsxBook.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPageSetupDialog>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressDialog>
#include <QUrl>
#include <atomic>
#include <cstring>

namespace lnq {

namespace {

enum Result : std::int32_t { kOk = 0, kCancelled = 1, kFailed = 2 };

class TKxReport final : public IReportEx {
public:
    std::int32_t QueryInterface(const char* name, void** object) override {
        if (!object) return -1;
        if (std::strcmp(name, "IReport") == 0 || std::strcmp(name, "IReportEx") == 0) {
            *object = static_cast<IReportEx*>(this);
            AddRef();
            return 0;
        }
        *object = nullptr;
        return -1;
    }
    std::int32_t AddRef() override { return ++m_refs; }
    std::int32_t Release() override {
        const std::int32_t left = --m_refs;
        if (left == 0) delete this; // the reference count owns the object
        return left;
    }

    std::int32_t Design(const char* file, ICanReportOut* data) override {
        return run(file, data,
                   [&](const QString& f, TReportTemplate& t, TReportData& d) { return design(f, t, d); });
    }
    std::int32_t Preview(const char* file, ICanReportOut* data) override {
        return run(file, data,
                   [&](const QString&, TReportTemplate& t, TReportData& d) { return preview(t, d); });
    }
    std::int32_t Print(const char* file, ICanReportOut* data) override {
        return run(file, data,
                   [&](const QString&, TReportTemplate& t, TReportData& d) { return print(t, d); });
    }
    std::int32_t Setup(const char* file, ICanReportOut* data) override {
        return run(file, data,
                   [&](const QString& f, TReportTemplate& t, TReportData&) { return setup(f, t); });
    }
    std::int32_t ExportToExcel(const char* file, ICanReportOut* data) override {
        return run(file, data,
                   [&](const QString&, TReportTemplate& t, TReportData& d) { return exportBook(t, d); });
    }

    void SetOption(const char* name, const char* value) override {
        const QString n = Gbk::decode(name ? name : "");
        const QString v = Gbk::decode(value ? value : "");
        if (n == QLatin1String("OutputFile")) m_outputFile = v;
        if (n == QLatin1String("Unattended")) m_unattended = v == QLatin1String("1");
    }
    bool GetLastError(char* buffer, std::int32_t size, std::int32_t* length) override {
        return FillReportBuffer(Gbk::encode(m_lastError), buffer, size, length);
    }

private:
    ~TKxReport() = default;

    template <typename Op> std::int32_t run(const char* file, ICanReportOut* provider, Op op) {
        m_lastError.clear();
        try {
            if (!provider) throw Exception(QStringLiteral("没有报表数据"));
            const QString fileName = Gbk::decode(file ? file : "");
            TReportTemplate t = LoadReportTemplateFile(fileName);
            TReportData data;
            if (!readData(*provider, data)) return kCancelled;
            return op(fileName, t, data);
        } catch (const Exception& e) {
            return fail(e.Message());
        } catch (const std::exception& e) {
            return fail(QString::fromLocal8Bit(e.what()));
        }
    }

    std::int32_t fail(const QString& message) {
        m_lastError = message;
        if (!m_unattended)
            QMessageBox::critical(QApplication::activeWindow(), QStringLiteral("错误提示"), message);
        return kFailed;
    }

    // A progress window for long work; the event loop keeps windows painted.
    std::unique_ptr<QProgressDialog> progressWindow(const QString& label) {
        if (m_unattended) return nullptr;
        auto dlg = std::make_unique<QProgressDialog>(label, QStringLiteral("取消"), 0, 100,
                                                     QApplication::activeWindow());
        dlg->setWindowModality(Qt::WindowModal);
        dlg->setMinimumDuration(400);
        return dlg;
    }
    static bool step(QProgressDialog* dlg, qint64 done, qint64 total) {
        if (!dlg) return true;
        dlg->setValue(total > 0 ? int(qMin<qint64>(99, done * 100 / total)) : 0);
        QCoreApplication::processEvents();
        return !dlg->wasCanceled();
    }

    bool readData(ICanReportOut& provider, TReportData& data) {
        auto dlg = progressWindow(QStringLiteral("正在读取报表数据..."));
        return data.Read(provider, [&](qint64 done, qint64 total) { return step(dlg.get(), done, total); });
    }

    std::int32_t design(const QString& file, TReportTemplate& t, TReportData& data) {
        if (t.Columns.empty()) t.Columns = ResolveColumns(t, data);
        if (m_unattended) {
            SaveReportTemplateFile(file, t);
            return kOk;
        }
        TCtrl_ReportDesigner dlg(t, data, QApplication::activeWindow());
        dlg.setWindowTitle(QStringLiteral("报表设计 - ") + QFileInfo(file).fileName());
        if (dlg.exec() != QDialog::Accepted) return kCancelled;
        QDir().mkpath(QFileInfo(file).absolutePath());
        SaveReportTemplateFile(file, dlg.Template());
        return kOk;
    }

    std::int32_t preview(TReportTemplate& t, TReportData& data) {
        if (m_unattended) {
            // Lays out and paints the first page, as the window would show it.
            return RenderReportPage(t, data, 0, 96).isNull() ? kFailed : kOk;
        }
        TCtrl_ReportPreview dlg(t, data, QApplication::activeWindow());
        return dlg.exec() == QDialog::Accepted ? kOk : kCancelled;
    }

    std::int32_t print(TReportTemplate& t, TReportData& data) {
        QPrinter printer(QPrinter::HighResolution);
        printer.setPageLayout(t.pageLayout());
        if (!m_outputFile.isEmpty()) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(m_outputFile);
        } else {
            if (m_unattended) return fail(QStringLiteral("没有指定输出文件"));
            QPrintDialog dlg(&printer, QApplication::activeWindow());
            if (dlg.exec() != QDialog::Accepted) return kCancelled;
        }
        auto dlg = progressWindow(QStringLiteral("正在打印..."));
        if (!RenderReport(printer, t, data,
                          [&](qint64 done, qint64 total) { return step(dlg.get(), done, total); }))
            return dlg && dlg->wasCanceled() ? kCancelled : fail(QStringLiteral("打印失败"));
        return kOk;
    }

    std::int32_t setup(const QString& file, TReportTemplate& t) {
        if (m_unattended) return kOk;
        QPrinter printer(QPrinter::HighResolution);
        printer.setPageLayout(t.pageLayout());
        QPageSetupDialog dlg(&printer, QApplication::activeWindow());
        if (dlg.exec() != QDialog::Accepted) return kCancelled;
        t.setPageLayout(printer.pageLayout());
        QDir().mkpath(QFileInfo(file).absolutePath());
        SaveReportTemplateFile(file, t);
        return kOk;
    }

    std::int32_t exportBook(TReportTemplate& t, TReportData& data) {
        QString out = m_outputFile;
        if (out.isEmpty()) {
            if (m_unattended) return fail(QStringLiteral("没有指定输出文件"));
            out = QFileDialog::getSaveFileName(QApplication::activeWindow(), QStringLiteral("导出到EXCEL"),
                                               QDir::homePath(), QStringLiteral("Excel (*.xlsx)"));
            if (out.isEmpty()) return kCancelled;
        }
        const std::vector<TReportColumn> cols = ResolveColumns(t, data);
        QStringList titles;
        std::vector<TReportDataKind> kinds;
        std::vector<int> widths, source;
        for (const TReportColumn& c : cols) {
            const int dc = data.ColumnOf(c.Field);
            titles << c.Title;
            kinds.push_back(data.Columns[dc].Kind);
            widths.push_back(int(c.Width * 96 / 25.4));
            source.push_back(dc);
        }
        auto dlg = progressWindow(QStringLiteral("正在导出..."));
        bool cancelled = false;
        {
            TXlsxBook book(out);
            book.WriteHead(QStringLiteral("决策支持中心-") + (t.Title.isEmpty() ? data.Title : t.Title),
                           titles, kinds, widths);
            for (size_t r = 0; r < data.Rows.size() && !cancelled; ++r) {
                book.NextRow();
                for (size_t i = 0; i < source.size(); ++i)
                    book.WriteValue(int(i), data.Rows[r].value(source[i]));
                if (r % 1000 == 999 && !step(dlg.get(), qint64(r), qint64(data.Rows.size())))
                    cancelled = true;
            }
            if (!cancelled) book.Close();
        }
        if (cancelled) {
            QFile::remove(out); // no half-written file is left behind
            return kCancelled;
        }
        if (m_outputFile.isEmpty() && !QDesktopServices::openUrl(QUrl::fromLocalFile(out)))
            return fail(QStringLiteral("系统中的Microsoft Excel软件没有安装或安装不正确！"));
        return kOk;
    }

    std::atomic<std::int32_t> m_refs{1};
    QString m_outputFile;
    bool m_unattended = false;
    QString m_lastError;
};

} // namespace

} // namespace lnq

extern "C" Q_DECL_EXPORT lnq::IReport* CreateReportEx() {
    return new lnq::TKxReport; // reference count 1, released by the caller
}

extern "C" Q_DECL_EXPORT void FollowHostClock(lnq::Clock::TNowFunction hostNow) {
    lnq::Clock::followClock(hostNow);
}
