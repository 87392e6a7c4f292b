#pragma once
// Runs the built lnq executable (end-to-end tests of the command-line tool).

#include <QHash>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTest>

namespace lnqtest {

struct ToolRun {
    int exitCode = -1; // -1 when the process did not finish normally
    QString out;
    QString err;
};

// extraEnv entries are added to the current environment. The standard input
// gets `input` through a pipe and is then closed. Relative paths are taken
// from workDir when one is given.
inline ToolRun runTool(const QStringList& args, const QProcessEnvironment& extraEnv = {},
                       const QByteArray& input = {}, const QString& workDir = {}) {
    QProcess p;
    if (!workDir.isEmpty()) p.setWorkingDirectory(workDir);
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

// A table of refused command lines: the arguments, the exit code, and a part
// of the message the tool must write on the standard error.
inline void refusalColumns() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
}

// Runs the current row of a refusal table, `prefix` before its arguments and
// every argument equal to a key of `placeholders` replaced by its value. A
// refusal prints nothing on the standard output.
inline void checkRefusal(const QStringList& prefix = {}, const QHash<QString, QString>& placeholders = {},
                         const QProcessEnvironment& extraEnv = {}, const QString& workDir = {}) {
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    for (QString& a : args)
        a = placeholders.value(a, a);
    const ToolRun r = runTool(prefix + args, extraEnv, {}, workDir);
    QCOMPARE(r.exitCode, exitCode);
    QVERIFY2(r.err.contains(message), qPrintable(r.err));
    QCOMPARE(r.out, QString());
}

} // namespace lnqtest
