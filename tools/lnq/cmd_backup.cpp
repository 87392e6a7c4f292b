// Backup commands of the lnq tool:
//   lnq backup --db DB --to FILE               embedded: consistent copy, also while others
//                                              write; DB a SQL Server connection string:
//                                              "backup database" of its Initial Catalog on
//                                              the local server to FILE on the server's disk
//   lnq restore --from FILE --name NAME [--dir DIR] [--server CONNSTR]
//                                              embedded: checked restore as DIR/NAME.db
//                                              (default: the current directory); with
//                                              --server (the login) on the local SQL Server,
//                                              files into DIR (default: the master
//                                              database's folder), logical names after NAME.
//                                              Prints the restored database's (data) file
//   lnq check-db DB                            integrity check; exit 1 on damage

#include "data/Backrestoresqldb.h"
#include "data/ConnectionString.h"
#include "tools/lnq/Command.h"
#include "util/Exceptions.h"

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

// The SQL Server login and catalog of a connection string, or false when it
// names an embedded database (or is not a connection string at all).
bool serverLogin(const QString& text, lnq::TLNQBackRestoreSQLDB& c) {
    try {
        if (lnq::ResolveConnectionString(text).kind != lnq::TConnectionInfo::Kind::SqlServer) return false;
    } catch (const lnq::Exception&) {
        return false;
    }
    for (const auto& [key, value] : lnq::ParseConnectionString(text)) {
        if (key.compare(QLatin1String("User ID"), Qt::CaseInsensitive) == 0) c.SetUser(value);
        if (key.compare(QLatin1String("Password"), Qt::CaseInsensitive) == 0) c.SetPassword(value);
        if (key.compare(QLatin1String("Initial Catalog"), Qt::CaseInsensitive) == 0) c.SetDatabaseName(value);
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
    if (!serverLogin(db, c)) c.SetEmbeddedFile(db);
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
                      {QStringLiteral("--from"), QStringLiteral("--name"), QStringLiteral("--dir"),
                       QStringLiteral("--server")},
                      v, io))
        return 2;
    const QString name = v.value(QStringLiteral("--name"));
    if (!v.contains(QStringLiteral("--from")) || name.isEmpty()) {
        io.err << "usage: lnq restore --from FILE --name NAME [--dir DIR] [--server CONNSTR]\n";
        return 2;
    }
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\'))) {
        io.err << "lnq restore: NAME is a database name, not a path (use --dir)\n";
        return 2;
    }
    lnq::TLNQBackRestoreSQLDB c;
    if (v.contains(QStringLiteral("--server"))) {
        if (!serverLogin(v.value(QStringLiteral("--server")), c)) {
            io.err << "lnq restore: --server wants a SQL Server connection string\n";
            return 2;
        }
        c.SetDatabaseName(name);
        c.SetFileNameRestore(v.value(QStringLiteral("--from")));
        c.SetAutoCorrectLogicalName(true);
        if (v.contains(QStringLiteral("--dir"))) {
            c.SetDBSetupDir(lnq::TDBSetupDir::dirCustom);
            c.SetFileNameRestoreTarget(v.value(QStringLiteral("--dir")));
        } else {
            c.SetDBSetupDir(lnq::TDBSetupDir::dirMaster);
        }
        if (!c.RestoreDB()) {
            io.err << "lnq: " << c.GetLastErrorMsg() << "\n";
            return 1;
        }
        io.out << c.RestoreTargetDir(lnq::TLNQBackRestoreSQLDB::MasterConnStr(c.GetConnStr())) << name
               << "_Data.mdf\n";
        return 0;
    }
    const QString dir = QDir(v.value(QStringLiteral("--dir"), QStringLiteral("."))).absolutePath();
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
                             QStringLiteral("restore --from FILE --name NAME [--dir DIR] [--server CONNSTR]"),
                             restore});
const lnqtool::Registrar r3({QStringLiteral("check-db"), QStringLiteral("check-db DB"), checkDb});

} // namespace
