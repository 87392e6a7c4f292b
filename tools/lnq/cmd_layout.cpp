// lnq layout: column layout files of the data grids.
//
//   lnq layout decode FILE.FMT
//       Prints the layout as a JSON array of objects with the keys "field",
//       "width" and "title", one column per object in the grid's order. A file
//       that is not a complete layout fails with exit code 1 and a message
//       naming the file.

#include "grid/data/LayoutFile.h"
#include "tools/lnq/Command.h"
#include "util/Exceptions.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using lnqtool::Io;

const char kDecodeUsage[] = "layout decode FILE.FMT";

int usageError(Io& io, const QString& message) {
    io.err << "lnq layout: " << message << "\n"
           << "usage: lnq " << kDecodeUsage << "\n";
    return 2;
}

int decode(const QStringList& args, Io& io) {
    if (args.size() != 1 || args.first().startsWith(QLatin1String("--")))
        return usageError(io, QStringLiteral("decode takes one FILE.FMT"));
    lnq::TLayoutEntries entries;
    try {
        entries = lnq::LoadLayoutFile(args.first());
    } catch (const lnq::Exception& e) {
        io.err << "lnq layout: " << args.first() << ": " << e.Message() << "（不是完整的列布局文件）\n";
        return 1;
    }
    QJsonArray array;
    for (const lnq::TLayoutEntry& e : entries)
        array.append(QJsonObject{{QStringLiteral("field"), e.FieldName},
                                 {QStringLiteral("width"), e.Width},
                                 {QStringLiteral("title"), e.Title}});
    io.out << QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented));
    return 0;
}

int dispatch(const QStringList& args, Io& io) {
    if (args.isEmpty()) return usageError(io, QStringLiteral("missing sub-command"));
    if (args.first() == QLatin1String("decode")) return decode(args.mid(1), io);
    return usageError(io, QStringLiteral("unknown sub-command %1").arg(args.first()));
}

const lnqtool::Registrar reg({QStringLiteral("layout"), QString::fromLatin1(kDecodeUsage), dispatch});

} // namespace
