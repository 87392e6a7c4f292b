#pragma once
// Runs the built lnq executable (end-to-end tests of the command-line tool).

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace lnqtest {

struct ToolRun {
    int exitCode = -1; // -1 when the process did not finish normally
    QString out;
    QString err;
};

// extraEnv entries are added to the current environment. The standard input
// gets `input` through a pipe and is then closed.
inline ToolRun runTool(const QStringList& args, const QProcessEnvironment& extraEnv = {},
                       const QByteArray& input = {}) {
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString& key : extraEnv.keys())
        env.insert(key, extraEnv.value(key));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(LNQ_TOOL_PATH), args);
    if (!input.isEmpty()) p.write(input);
    p.closeWriteChannel();
    ToolRun r;
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit) return r;
    r.exitCode = p.exitCode();
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

} // namespace lnqtest
