#pragma once
// Sub-command registry of the lnq tool. Each tools/lnq/cmd_*.cpp registers its
// commands with a static LNQ_COMMAND object; main() dispatches on the first word.

#include <QString>
#include <QStringList>
#include <QTextStream>
#include <functional>

namespace lnqtool {

struct Io {
    QTextStream& out;
    QTextStream& err;
};

// args excludes the command word itself. Returns the process exit code.
using Handler = std::function<int(const QStringList& args, Io& io)>;

struct Command {
    QString name;
    QString usage; // one line, shown by "lnq help"
    Handler handler;
};

void registerCommand(Command c);
const std::vector<Command>& commands();

struct Registrar {
    explicit Registrar(Command c) { registerCommand(std::move(c)); }
};

} // namespace lnqtool
