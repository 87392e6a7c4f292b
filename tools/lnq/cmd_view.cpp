// lnq view: stored views (Sys_FileBase rows holding the view stream).
//
//   lnq view decode [--sql] FILE
//       Prints the version, flags and conditions of a view stream file (FILE
//       may be a pipe such as /dev/stdin, or "-" for the standard input) and the
//       SQL it contributes. With --sql only that SQL text, followed by one
//       newline.
//   lnq view sql --db DB --ext EXT [--table T] [--base-where W]
//                [--user-code C] [--user-name N] PATH\NAME
//       The SQL that opening the stored view PATH\NAME + EXT produces, followed
//       by one newline: a condition list becomes "select * from T where 1=1  "
//       + its text (+ " and " + W with --base-where); a raw SQL view is printed
//       as it stands. "[%用户代码%]" / "[%用户名称%]" are replaced only when
//       --user-code / --user-name is given. DB is an embedded database file or
//       a connection string ("Provider=...").

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "filter/ViewStream.h"
#include "tools/lnq/Command.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <cstdio>

namespace {

using lnqtool::Io;

const char kDecodeUsage[] = "view decode [--sql] FILE";
const char kSqlUsage[] = "view sql --db DB --ext EXT [--table T] [--base-where W] [--user-code C] "
                         "[--user-name N] PATH\\NAME";

int usageError(Io& io, const QString& message) {
    io.err << "lnq view: " << message << "\n"
           << "usage: lnq " << kDecodeUsage << "\n"
           << "       lnq " << kSqlUsage << "\n";
    return 2;
}

// Splits "--name value" options (those listed in valued) and "--flag" switches
// from positional arguments. Returns false with a message for an unknown
// option or a missing value.
bool parseOptions(const QStringList& args, const QStringList& valued, const QStringList& flags,
                  QMap<QString, QString>& options, QStringList& positional, QString& error) {
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a.startsWith(QLatin1String("--"))) {
            if (flags.contains(a)) {
                options.insert(a, QString());
            } else if (valued.contains(a)) {
                if (i + 1 >= args.size()) {
                    error = QStringLiteral("option %1 needs a value").arg(a);
                    return false;
                }
                options.insert(a, args[++i]);
            } else {
                error = QStringLiteral("unknown option %1").arg(a);
                return false;
            }
        } else {
            positional << a;
        }
    }
    return true;
}

int decode(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList files;
    QString error;
    if (!parseOptions(args, {}, {QStringLiteral("--sql")}, options, files, error))
        return usageError(io, error);
    if (files.size() != 1) return usageError(io, QStringLiteral("decode takes one FILE"));

    // "-" is the standard input; a pipe is read to its end (bounded).
    QFile file;
    bool opened = false;
    if (files.first() == QLatin1String("-")) {
        opened = file.open(stdin, QIODevice::ReadOnly);
    } else {
        file.setFileName(files.first());
        opened = file.open(QIODevice::ReadOnly);
    }
    if (!opened)
        throw lnq::EInOutError(QStringLiteral("无法打开文件 %1：%2").arg(files.first(), file.errorString()));
    const lnq::TStoredView view = lnq::ReadStoredView(file);

    if (options.contains(QStringLiteral("--sql"))) {
        io.out << view.ResultSQL() << "\n";
        return 0;
    }
    io.out << "version: " << view.Version << "\n"
           << "is-sql: " << (view.IsSQL ? 1 : 0) << "\n"
           << "match-all: " << (view.MatchAll ? 1 : 0) << "\n";
    if (!view.IsSQL) {
        io.out << "count: " << view.Conditions.size() << "\n";
        int n = 0;
        for (const lnq::TCondition& c : view.Conditions) {
            io.out << "condition " << ++n << ":\n"
                   << "  caption: " << c.Row.Caption << "\n"
                   << "  description: " << c.Row.Description << "\n"
                   << "  piece: " << c.Piece << "\n";
        }
    }
    io.out << "sql: " << view.ResultSQL() << "\n";
    return 0;
}

int sql(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList names;
    QString error;
    const QStringList valued{QStringLiteral("--db"),        QStringLiteral("--ext"),
                             QStringLiteral("--table"),     QStringLiteral("--base-where"),
                             QStringLiteral("--user-code"), QStringLiteral("--user-name")};
    if (!parseOptions(args, valued, {}, options, names, error)) return usageError(io, error);
    if (names.size() != 1) return usageError(io, QStringLiteral("sql takes one view name PATH\\NAME"));
    if (!options.contains(QStringLiteral("--db"))) return usageError(io, QStringLiteral("--db is required"));
    if (!options.contains(QStringLiteral("--ext")))
        return usageError(io, QStringLiteral("--ext is required"));

    const QString db = options.value(QStringLiteral("--db"));
    const bool isConnectionString = db.contains(QLatin1Char('='));
    // The embedded driver creates a missing file; a view cannot be in one.
    if (!isConnectionString && !QFileInfo(db).isFile())
        throw lnq::EInOutError(QStringLiteral("数据库文件 %1 不存在").arg(db));

    lnq::TADOConnection connection;
    connection.SetConnectionString(db);
    connection.Open();
    lnq::TInterfacedADOConnection conn(connection);

    const QString name = names.first();
    const QString fileName = name + options.value(QStringLiteral("--ext"));
    if (!conn.StreamExists(fileName))
        throw lnq::Exception(QStringLiteral("视图 %1 不存在（Sys_FileBase 中没有 %2）").arg(name, fileName));

    QBuffer stream;
    stream.open(QIODevice::ReadWrite);
    QString owner;
    conn.LoadStream(owner, fileName, stream);
    bool isSQL = false;
    QString text = lnq::LoadSQLFromStream(stream, isSQL);

    if (options.contains(QStringLiteral("--user-code")))
        text.replace(QStringLiteral("[%用户代码%]"), options.value(QStringLiteral("--user-code")));
    if (options.contains(QStringLiteral("--user-name")))
        text.replace(QStringLiteral("[%用户名称%]"), options.value(QStringLiteral("--user-name")));

    if (!isSQL) {
        if (!options.contains(QStringLiteral("--table")))
            return usageError(io,
                              QStringLiteral("view %1 is a condition list: --table is required").arg(name));
        text = QStringLiteral("select * from ") + options.value(QStringLiteral("--table")) +
               QStringLiteral(" where 1=1  ") + text;
        if (options.contains(QStringLiteral("--base-where")))
            text += QStringLiteral(" and ") + options.value(QStringLiteral("--base-where"));
    }
    io.out << text << "\n";
    return 0;
}

int view(const QStringList& args, Io& io) {
    if (args.isEmpty()) return usageError(io, QStringLiteral("missing sub-command (decode or sql)"));
    const QString sub = args.first();
    if (sub == QLatin1String("decode")) return decode(args.mid(1), io);
    if (sub == QLatin1String("sql")) return sql(args.mid(1), io);
    return usageError(io, QStringLiteral("unknown sub-command \"%1\"").arg(sub));
}

const lnqtool::Registrar reg({QStringLiteral("view"),
                              QStringLiteral("view decode [--sql] FILE | view sql --db DB --ext EXT "
                                             "[--table T] [--base-where W] [--user-code C] [--user-name N] "
                                             "PATH\\NAME"),
                              view});

} // namespace
