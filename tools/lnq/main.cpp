// lnq: the framework's command-line tool (conversions, databases, stored views).

#include "tools/lnq/Command.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <cstdio>
#include <memory>

namespace lnqtool {

namespace {
std::vector<Command>& registry() {
    static std::vector<Command> r;
    return r;
}
} // namespace

void registerCommand(Command c) {
    registry().push_back(std::move(c));
}
const std::vector<Command>& commands() {
    return registry();
}

} // namespace lnqtool

int main(int argc, char** argv) {
    // Printing to PDF lays text out with fonts: that command gets a GUI
    // application (headless unless the caller chose a platform).
    const bool painting = argc > 1 && qstrcmp(argv[1], "export") == 0;
    if (painting && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> application = painting ? std::make_unique<QGuiApplication>(argc, argv)
                                                             : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication& app = *application;
    QTextStream out(stdout);
    QTextStream err(stderr);
    lnqtool::Io io{out, err};

    QStringList args = app.arguments().mid(1);
    auto usage = [&](QTextStream& s) {
        s << "usage: lnq COMMAND [ARGS...]\n";
        for (const auto& c : lnqtool::commands())
            s << "  lnq " << c.usage << "\n";
    };
    if (args.isEmpty() || args.first() == QLatin1String("help") || args.first() == QLatin1String("--help")) {
        usage(args.isEmpty() ? err : out);
        return args.isEmpty() ? 2 : 0;
    }
    try {
        lnq::Gbk::ensureAvailable();
        const QString name = args.takeFirst();
        // A command registered under two words ("view list") is tried first.
        if (!args.isEmpty()) {
            const QString twoWords = name + QLatin1Char(' ') + args.first();
            for (const auto& c : lnqtool::commands()) {
                if (c.name == twoWords) {
                    int rc = c.handler(args.mid(1), io);
                    out.flush();
                    err.flush();
                    return rc;
                }
            }
        }
        for (const auto& c : lnqtool::commands()) {
            if (c.name == name) {
                int rc = c.handler(args, io);
                out.flush();
                err.flush();
                return rc;
            }
        }
        err << "lnq: unknown command \"" << name << "\"\n";
        usage(err);
        return 2;
    } catch (const lnq::Exception& e) {
        out.flush();
        err << "lnq: " << e.Message() << "\n";
        return 1;
    } catch (const std::exception& e) {
        out.flush();
        err << "lnq: " << e.what() << "\n";
        return 1;
    }
}
