// .xls workbooks: any bytes either read (and then hold together, see
// WorkbookFuzz.h) or raise EDatabaseError; never more memory than the limits
// allow. The reader takes a file, so each input is written to one scratch
// file of this process first.

#include "WorkbookFuzz.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace {

const QString& scratchFile() {
    static const QString path =
        QDir::temp().filePath(QStringLiteral("lnq_fuzz_xls_%1.xls").arg(QCoreApplication::applicationPid()));
    return path;
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    {
        QFile f(scratchFile());
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 0;
        f.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    const lnq::TWorkbookLimits limits = lnqfuzz::workbookLimits();
    lnq::TWorkbook book;
    try {
        book = lnq::ReadXls(scratchFile(), limits);
    } catch (const lnq::EDatabaseError&) {
        return 0;
    }
    lnqfuzz::checkWorkbook(book, limits);
    return 0;
}
