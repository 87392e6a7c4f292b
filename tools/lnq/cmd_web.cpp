// lnq record html / property html: the record viewer's pages.
//
//   lnq record html --db DB [--columns N] "SQL"
//       The record page of the first row of the query (captions from the
//       database's field dictionary), followed by one newline. Nothing is
//       printed for a query without rows.
//   lnq property html --db DB --table T --key K [--columns N] [--params "a=b;c=d"]
//       The property page of the sys_properties rows of record K of table T,
//       in their order, followed by one newline; the parameters fill the
//       "[name]" markers of the link formats.
//
//   lnq contact html --db DB --customer NO
//       The contact cards of the customer's contacts (Cust_Contacts), in the
//       order of their numbers, followed by one newline.
//
// N is the number of caption/value pairs per table row (default 2).

#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "filter/ViewList.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"
#include "web/DataWebPage.h"

#include <QTemporaryDir>

namespace {

using lnqtool::Io;

const char kRecordUsage[] = "record html --db DB [--columns N] \"SQL\"";
const char kPropertyUsage[] = "property html --db DB --table T --key K [--columns N] [--params \"a=b;c=d\"]";

int usageError(Io& io, const char* usage, const QString& message) {
    io.err << "lnq: " << message << "\n"
           << "usage: lnq " << usage << "\n";
    return 2;
}

bool columnsOption(const QMap<QString, QString>& options, int& columns) {
    columns = 2;
    if (!options.contains(QStringLiteral("--columns"))) return true;
    bool ok = false;
    columns = options.value(QStringLiteral("--columns")).toInt(&ok);
    return ok && columns >= 1 && columns <= 100;
}

int recordHtml(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(args, {QStringLiteral("--db"), QStringLiteral("--columns")}, options,
                                     positional, error))
        return usageError(io, kRecordUsage, error);
    if (!options.contains(QStringLiteral("--db"))) return usageError(io, kRecordUsage, "--db is required");
    if (positional.size() != 1) return usageError(io, kRecordUsage, "one SQL text is required");
    int columns = 2;
    if (!columnsOption(options, columns))
        return usageError(io, kRecordUsage, "--columns takes a number from 1 to 100");

    // The dictionary of this database, not a cache left beside the tool.
    QTemporaryDir cacheDir;
    lnq::TDataEnvironment::SetCacheFileName(cacheDir.filePath(QStringLiteral("FldAttr.xml")));
    lnq::TADOConnection connection;
    lnqtool::OpenDatabase(connection, options.value(QStringLiteral("--db")));
    lnq::TInterfacedADOConnection conn(connection);
    const auto ds = conn.ExecuteWithQuery(positional.first());
    lnq::TDataWebPage page;
    page.SetColumnCount(columns);
    const bool shown = page.CollectRecord(*ds);
    lnq::TDataEnvironment::FreeInstance();
    if (shown) io.out << page.RecordPage() << "\n";
    return 0;
}

int propertyHtml(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(args,
                                     {QStringLiteral("--db"), QStringLiteral("--table"),
                                      QStringLiteral("--key"), QStringLiteral("--columns"),
                                      QStringLiteral("--params")},
                                     options, positional, error))
        return usageError(io, kPropertyUsage, error);
    if (!positional.isEmpty())
        return usageError(io, kPropertyUsage, QStringLiteral("unexpected argument ") + positional.first());
    for (const char* required : {"--db", "--table", "--key"})
        if (!options.contains(QLatin1String(required)))
            return usageError(io, kPropertyUsage, QLatin1String(required) + QStringLiteral(" is required"));
    int columns = 2;
    if (!columnsOption(options, columns))
        return usageError(io, kPropertyUsage, "--columns takes a number from 1 to 100");

    lnq::TADOConnection connection;
    lnqtool::OpenDatabase(connection, options.value(QStringLiteral("--db")));
    lnq::TInterfacedADOConnection conn(connection);
    const auto ds = conn.ExecuteWithQuery(
        QStringLiteral(
            "select vSubType,vPropertyName,vPropertyValue,vAppLinkFormat from sys_properties where "
            "vTableName=") +
        lnq::SqlQuoted(options.value(QStringLiteral("--table"))) + QStringLiteral(" and vKeyField=") +
        lnq::SqlQuoted(options.value(QStringLiteral("--key"))) + QStringLiteral(" order by iOrder,iNo"));
    lnq::TDataWebPage page;
    page.SetColumnCount(columns);
    io.out << page.PropertyPage(*ds, options.value(QStringLiteral("--params"))) << "\n";
    return 0;
}

const char kContactUsage[] = "contact html --db DB --customer NO";

int contactHtml(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(args, {QStringLiteral("--db"), QStringLiteral("--customer")}, options,
                                     positional, error))
        return usageError(io, kContactUsage, error);
    if (!positional.isEmpty())
        return usageError(io, kContactUsage, QStringLiteral("unexpected argument ") + positional.first());
    if (!options.contains(QStringLiteral("--db"))) return usageError(io, kContactUsage, "--db is required");
    bool ok = false;
    const qint64 customer = options.value(QStringLiteral("--customer")).toLongLong(&ok);
    if (!ok) return usageError(io, kContactUsage, "--customer takes a customer number");

    lnq::TADOConnection connection;
    lnqtool::OpenDatabase(connection, options.value(QStringLiteral("--db")));
    lnq::TInterfacedADOConnection conn(connection);
    const auto ds = conn.ExecuteWithQuery(QStringLiteral("select * from Cust_Contacts where iCustomerNo=") +
                                          QString::number(customer) + QStringLiteral(" order by iContactNo"));
    lnq::TDataWebPage page;
    io.out << page.ContactCardPage(*ds) << "\n";
    return 0;
}

const lnqtool::Registrar contactReg({QStringLiteral("contact html"), QString::fromLatin1(kContactUsage),
                                     contactHtml});
const lnqtool::Registrar recordReg({QStringLiteral("record html"), QString::fromLatin1(kRecordUsage),
                                    recordHtml});
const lnqtool::Registrar propertyReg({QStringLiteral("property html"), QString::fromLatin1(kPropertyUsage),
                                      propertyHtml});

} // namespace
