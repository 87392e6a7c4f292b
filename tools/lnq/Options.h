#pragma once
// "--name value" options and positional arguments of the lnq sub-commands,
// and opening the database a sub-command names.

#include "data/ADOConnection.h"
#include "util/Exceptions.h"

#include <QFileInfo>
#include <QMap>
#include <QStringList>

namespace lnqtool {

// Tab-separated output keeps one line per row: backslashes, tabs and line
// breaks inside values are escaped.
inline QString TsvEscape(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '\\':
            out += QLatin1String("\\\\");
            break;
        case '\t':
            out += QLatin1String("\\t");
            break;
        case '\n':
            out += QLatin1String("\\n");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        default:
            out += c;
        }
    }
    return out;
}

// Splits options listed in valued from positional arguments. Returns false
// with a message for an unknown option or a missing value.
inline bool ParseValuedOptions(const QStringList& args, const QStringList& valued,
                               QMap<QString, QString>& options, QStringList& positional, QString& error) {
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (!a.startsWith(QLatin1String("--"))) {
            positional << a;
            continue;
        }
        if (!valued.contains(a)) {
            error = QStringLiteral("unknown option ") + a;
            return false;
        }
        if (i + 1 >= args.size()) {
            error = QStringLiteral("option ") + a + QStringLiteral(" needs a value");
            return false;
        }
        options.insert(a, args[++i]);
    }
    return true;
}

// A quick filter after "--filter" at args[i]: either one argument
// "FIELD,OP,VALUE" (the value may hold commas) or three, FIELD OP VALUE. A
// field name holds no comma, which tells the two apart. On success i is on
// the filter's last argument and filter holds field, operator and value.
inline bool TakeFilter(const QStringList& args, qsizetype& i, QStringList& filter, QString& error) {
    const QString first = args.value(i + 1);
    if (first.contains(QLatin1Char(','))) {
        const QStringList parts = first.split(QLatin1Char(','));
        if (parts.size() >= 3) {
            filter = {parts[0], parts[1], parts.mid(2).join(QLatin1Char(','))};
            i += 1;
            return true;
        }
    } else if (i + 3 < args.size()) {
        filter = args.mid(i + 1, 3);
        i += 3;
        return true;
    }
    error = QStringLiteral("--filter wants FIELD,OP,VALUE or FIELD OP VALUE");
    return false;
}

// Opens an embedded database file (which must exist: the embedded driver would
// create an empty one) or a connection string ("Provider=...").
inline void OpenDatabase(lnq::TADOConnection& connection, const QString& db) {
    if (!db.contains(QLatin1Char('=')) && !QFileInfo(db).isFile())
        throw lnq::EInOutError(QStringLiteral("数据库文件 ") + db + QStringLiteral(" 不存在"));
    connection.SetConnectionString(db);
    connection.Open();
}

} // namespace lnqtool
