// lnq autostart: the start-at-login entry of a program.
//
//   lnq autostart status NAME
//       "enabled" or "disabled", a tab and the entry's location; when an
//       entry exists, a second line with the command it starts (the words
//       joined by blanks).
//   lnq autostart enable [--comment TEXT] NAME PROGRAM [ARG...]
//       Writes the entry (replacing one of that name) and prints its location.
//   lnq autostart disable NAME
//       Removes the entry if there is one.
// Exit code 0 on success, 1 when the entry cannot be written or removed,
// 2 for a usage error.

#include "tools/lnq/Command.h"
#include "util/Exceptions.h"
#include "util/Plat_autostart.h"

#include <QDir>

namespace {

using lnq::TAutoStart;
using lnqtool::Io;

const char kUsage[] = "autostart status NAME | autostart enable [--comment TEXT] NAME PROGRAM [ARG...] | "
                      "autostart disable NAME";

int usageError(Io& io, const QString& message) {
    io.err << "lnq autostart: " << message << "\nusage: lnq " << kUsage << "\n";
    return 2;
}

int autostart(const QStringList& args, Io& io) {
    if (args.isEmpty())
        return usageError(io, QStringLiteral("missing sub-command (status, enable or disable)"));
    const QString sub = args.first();
    QStringList rest = args.mid(1);
    try {
        if (sub == QLatin1String("status") || sub == QLatin1String("disable")) {
            if (rest.size() != 1) return usageError(io, QStringLiteral("expected one NAME"));
            const QString& name = rest.first();
            if (sub == QLatin1String("disable")) {
                TAutoStart::Disable(name);
                return 0;
            }
            const QString location = QDir::toNativeSeparators(TAutoStart::EntryLocation(name));
            io.out << (TAutoStart::IsEnabled(name) ? "enabled" : "disabled") << "\t" << location << "\n";
            const QStringList command = TAutoStart::Command(name);
            if (!command.isEmpty()) io.out << command.join(QLatin1Char(' ')) << "\n";
            return 0;
        }
        if (sub == QLatin1String("enable")) {
            QString comment;
            if (!rest.isEmpty() && rest.first() == QLatin1String("--comment")) {
                if (rest.size() < 2) return usageError(io, QStringLiteral("--comment needs a TEXT"));
                comment = rest.at(1);
                rest = rest.mid(2);
            }
            if (rest.size() < 2) return usageError(io, QStringLiteral("expected NAME and PROGRAM"));
            TAutoStart::Enable(rest.at(0), rest.at(1), rest.mid(2), comment);
            io.out << QDir::toNativeSeparators(TAutoStart::EntryLocation(rest.at(0))) << "\n";
            return 0;
        }
    } catch (const lnq::Exception& e) {
        io.err << "lnq autostart: " << e.Message() << "\n";
        return 1;
    }
    return usageError(io, QStringLiteral("unknown sub-command \"") + sub + QLatin1Char('"'));
}

const lnqtool::Registrar reg({QStringLiteral("autostart"), QString::fromLatin1(kUsage), autostart});

} // namespace
