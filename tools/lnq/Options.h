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

// Opens an embedded database file (which must exist: the embedded driver would
// create an empty one) or a connection string ("Provider=...").
inline void OpenDatabase(lnq::TADOConnection& connection, const QString& db) {
    if (!db.contains(QLatin1Char('=')) && !QFileInfo(db).isFile())
        throw lnq::EInOutError(QStringLiteral("数据库文件 ") + db + QStringLiteral(" 不存在"));
    connection.SetConnectionString(db);
    connection.Open();
}

} // namespace lnqtool
