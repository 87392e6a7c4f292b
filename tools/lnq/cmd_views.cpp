// lnq view list: the saved views a user may see.
//
//   lnq view list --db DB --ext EXT --user NAME [--groups G]
//       One "folder<TAB>name" line per view, in the views tree's order, from
//       the same listing the views frame runs: views of extension EXT that are
//       shared, owned by NAME, allow NAME by name, or share a group with G
//       (the group-list encoding, e.g. "[B[C").

#include "data/Plat_adodatabasese.h"
#include "filter/ViewList.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"

namespace {

using lnqtool::Io;

const char kUsage[] = "view list --db DB --ext EXT --user NAME [--groups G]";

int usageError(Io& io, const QString& message) {
    io.err << "lnq view list: " << message << "\n"
           << "usage: lnq " << kUsage << "\n";
    return 2;
}

int list(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(args,
                                     {QStringLiteral("--db"), QStringLiteral("--ext"),
                                      QStringLiteral("--user"), QStringLiteral("--groups")},
                                     options, positional, error))
        return usageError(io, error);
    if (!positional.isEmpty())
        return usageError(io, QStringLiteral("unexpected argument ") + positional.first());
    for (const char* required : {"--db", "--ext", "--user"})
        if (!options.contains(QLatin1String(required)))
            return usageError(io, QLatin1String(required) + QStringLiteral(" is required"));

    lnq::TADOConnection connection;
    lnqtool::OpenDatabase(connection, options.value(QStringLiteral("--db")));
    lnq::TInterfacedADOConnection conn(connection);
    for (const lnq::TViewEntry& view : lnq::LoadViewList(conn, options.value(QStringLiteral("--ext")),
                                                         options.value(QStringLiteral("--user")),
                                                         options.value(QStringLiteral("--groups"))))
        io.out << view.Folder << '\t' << view.Name << "\n";
    return 0;
}

const lnqtool::Registrar reg({QStringLiteral("view list"), QString::fromLatin1(kUsage), list});

} // namespace
