// Backup commands of the lnq tool, on embedded databases:
//   lnq backup --db DB --to FILE               consistent copy, also while others write
//   lnq restore --from FILE --name NAME [--dir DIR]
//                                              checked restore as DIR/NAME.db (default: the
//                                              current directory); prints its path
//   lnq check-db DB                            integrity check; exit 1 on damage

#include "data/Backrestoresqldb.h"
#include "tools/lnq/Command.h"

#include <QDir>
#include <QFileInfo>

namespace {

using lnqtool::Io;

// "--key value" pairs; false (with a message) for anything else.
bool parseOptions(const QString& command, const QStringList& args, const QStringList& keys,
                  QHash<QString, QString>& values, Io& io) {
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (!keys.contains(a) || i + 1 >= args.size()) {
            io.err << "lnq " << command << ": unexpected argument \"" << a << "\"\n";
            return false;
        }
        values.insert(a, args[++i]);
    }
    return true;
}

int backup(const QStringList& args, Io& io) {
    QHash<QString, QString> v;
    if (!parseOptions(QStringLiteral("backup"), args, {QStringLiteral("--db"), QStringLiteral("--to")}, v,
                      io))
        return 2;
    if (!v.contains(QStringLiteral("--db")) || !v.contains(QStringLiteral("--to"))) {
        io.err << "usage: lnq backup --db DB --to FILE\n";
        return 2;
    }
    const QString db = v.value(QStringLiteral("--db"));
    lnq::TLNQBackRestoreSQLDB c;
    c.SetEmbeddedFile(db);
    c.SetFileNameBackup(v.value(QStringLiteral("--to")));
    if (!c.BackupDB()) {
        io.err << "lnq: " << c.GetLastErrorMsg() << "\n";
        return 1;
    }
    io.out << "backed up " << db << " to " << c.FileNameBackup() << "\n";
    return 0;
}

int restore(const QStringList& args, Io& io) {
    QHash<QString, QString> v;
    if (!parseOptions(QStringLiteral("restore"), args,
                      {QStringLiteral("--from"), QStringLiteral("--name"), QStringLiteral("--dir")}, v, io))
        return 2;
    const QString name = v.value(QStringLiteral("--name"));
    if (!v.contains(QStringLiteral("--from")) || name.isEmpty()) {
        io.err << "usage: lnq restore --from FILE --name NAME [--dir DIR]\n";
        return 2;
    }
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\'))) {
        io.err << "lnq restore: NAME is a database name, not a path (use --dir)\n";
        return 2;
    }
    const QString dir = QDir(v.value(QStringLiteral("--dir"), QStringLiteral("."))).absolutePath();
    lnq::TLNQBackRestoreSQLDB c;
    c.SetDBSetupDir(lnq::TDBSetupDir::dirCustom);
    c.SetFileNameRestoreTarget(dir + QLatin1Char('/'));
    c.SetDatabaseName(name);
    // The database being restored is the one the component works on.
    c.SetEmbeddedFile(dir + QLatin1Char('/') + name + QStringLiteral(".db"));
    c.SetFileNameRestore(v.value(QStringLiteral("--from")));
    if (!c.RestoreDB()) {
        io.err << "lnq: " << c.GetLastErrorMsg() << "\n";
        return 1;
    }
    io.out << QDir::cleanPath(c.EmbeddedDatabaseFile(name)) << "\n";
    return 0;
}

int checkDb(const QStringList& args, Io& io) {
    if (args.size() != 1 || args.first().startsWith(QLatin1String("--"))) {
        io.err << "usage: lnq check-db DB\n";
        return 2;
    }
    const QString problems = lnq::TLNQBackRestoreSQLDB::IntegrityCheck(args.first());
    if (!problems.isEmpty()) {
        io.err << "lnq: " << args.first() << ":\n" << problems << "\n";
        return 1;
    }
    io.out << "ok\n";
    return 0;
}

const lnqtool::Registrar r1({QStringLiteral("backup"), QStringLiteral("backup --db DB --to FILE"), backup});
const lnqtool::Registrar r2({QStringLiteral("restore"),
                             QStringLiteral("restore --from FILE --name NAME [--dir DIR]"), restore});
const lnqtool::Registrar r3({QStringLiteral("check-db"), QStringLiteral("check-db DB"), checkDb});

} // namespace
