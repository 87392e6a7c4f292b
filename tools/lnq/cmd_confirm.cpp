// lnq confirm: confirms a record of a business list, or cancels its
// confirmation, as the list form's "审核" / "消审" buttons do.
//
//   lnq confirm --db DB --table T --key-field K --key N --state-field F
//               [--user-field F] [--date-field F] [--user NAME] [--word W] [--undo]
//       Sets F of the row K=N to "已" + W (W defaults to "确认"; with --undo
//       "未" + W), the user field to NAME and the date field to today, and
//       writes the row back. Prints "T K=N: state". Exit 1 without such a row.

#include "data/Plat_adodatabasese.h"
#include "forms/ListCommon.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"

#include <QRegularExpression>

namespace {

using lnqtool::Io;

const char kUsage[] = "confirm --db DB --table T --key-field K --key N --state-field F [--user-field F] "
                      "[--date-field F] [--user NAME] [--word W] [--undo]";

int usageError(Io& io, const QString& message) {
    io.err << "lnq confirm: " << message << "\n"
           << "usage: lnq " << kUsage << "\n";
    return 2;
}

// Table and field names go into the query as they are written, so only
// plain (optionally bracketed, schema-qualified) names are taken.
bool isName(const QString& text) {
    static const QRegularExpression name(
        QStringLiteral(R"(^(\[?[A-Za-z_][A-Za-z0-9_]*\]?\.)*\[?[A-Za-z_][A-Za-z0-9_]*\]?$)"));
    return name.match(text).hasMatch();
}

int confirm(const QStringList& arguments, Io& io) {
    QStringList args = arguments;
    const bool undo = args.removeAll(QStringLiteral("--undo")) > 0;
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(
            args,
            {QStringLiteral("--db"), QStringLiteral("--table"), QStringLiteral("--key-field"),
             QStringLiteral("--key"), QStringLiteral("--state-field"), QStringLiteral("--user-field"),
             QStringLiteral("--date-field"), QStringLiteral("--user"), QStringLiteral("--word")},
            options, positional, error))
        return usageError(io, error);
    if (!positional.isEmpty())
        return usageError(io, QStringLiteral("unexpected argument ") + positional.first());
    for (const char* required : {"--db", "--table", "--key-field", "--key", "--state-field"})
        if (!options.contains(QLatin1String(required)))
            return usageError(io, QLatin1String(required) + QStringLiteral(" is required"));
    for (const char* named : {"--table", "--key-field", "--state-field", "--user-field", "--date-field"}) {
        const QString value = options.value(QLatin1String(named));
        if (options.contains(QLatin1String(named)) && !isName(value))
            return usageError(io, QStringLiteral("not a name: ") + value);
    }
    bool ok = false;
    const qint64 key = options.value(QStringLiteral("--key")).toLongLong(&ok);
    if (!ok) return usageError(io, QStringLiteral("--key must be an integer"));

    const QString table = options.value(QStringLiteral("--table"));
    const QString keyField = options.value(QStringLiteral("--key-field"));
    lnq::TConfirmFields fields;
    fields.StateField = options.value(QStringLiteral("--state-field"));
    fields.UserField = options.value(QStringLiteral("--user-field"));
    fields.DateField = options.value(QStringLiteral("--date-field"));
    if (options.contains(QStringLiteral("--word"))) fields.Word = options.value(QStringLiteral("--word"));

    lnq::TADOConnection connection;
    lnqtool::OpenDatabase(connection, options.value(QStringLiteral("--db")));
    lnq::TInterfacedADOConnection conn(connection);
    const QString where = keyField + QLatin1Char('=') + QString::number(key);
    const auto row =
        conn.ExecuteWithQuery(QStringLiteral("SELECT * FROM ") + table + QStringLiteral(" WHERE ") + where);
    if (row->IsEmpty()) {
        io.err << "lnq confirm: no row " << where << " in " << table << "\n";
        return 1;
    }
    lnq::WriteConfirmState(conn, *row, table, keyField, fields, !undo,
                           options.value(QStringLiteral("--user")));
    io.out << table << ' ' << where << ": " << row->FieldByName(fields.StateField).AsString() << "\n";
    return 0;
}

const lnqtool::Registrar reg({QStringLiteral("confirm"), QString::fromLatin1(kUsage), confirm});

} // namespace
