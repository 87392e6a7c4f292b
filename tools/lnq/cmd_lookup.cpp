// lnq lookup: what the lookup edit lists for a typed text.
//
//   lnq lookup --db DB --sql SQL [--no-field F] [--code-field F]
//              [--value-field F] [--authority COND] [--print-sql] TEXT
//       Builds the select the lookup edit runs when TEXT is typed: Chinese
//       text searches --value-field, text with letters --code-field, digits
//       alone --no-field ("like '%TEXT%'", quotes doubled), then the authority
//       condition COND is added to selects over Cust_CustomersMain. Prints the
//       matching rows as tab-separated text under a header line, or with
//       --print-sql only the select, followed by one newline. Exit code 1 when
//       the text selects no field or the database refuses the select, 2 for a
//       usage error.

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "forms/SuperEditSql.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"
#include "util/Exceptions.h"

namespace {

using lnqtool::Io;

const char kUsage[] = "lookup --db DB --sql SQL [--no-field F] [--code-field F] [--value-field F] "
                      "[--authority COND] [--print-sql] TEXT";

int usageError(Io& io, const QString& message) {
    io.err << "lnq lookup: " << message << "\n"
           << "usage: lnq " << kUsage << "\n";
    return 2;
}

QString cell(const lnq::TField& f) {
    return lnqtool::TsvEscape(f.IsNull() ? QString() : f.DisplayText());
}

int lookup(const QStringList& args, Io& io) {
    QStringList rest = args;
    const bool printSql = rest.removeAll(QStringLiteral("--print-sql")) > 0;
    QMap<QString, QString> options;
    QStringList texts;
    QString error;
    if (!lnqtool::ParseValuedOptions(rest,
                                     {QStringLiteral("--db"), QStringLiteral("--sql"),
                                      QStringLiteral("--no-field"), QStringLiteral("--code-field"),
                                      QStringLiteral("--value-field"), QStringLiteral("--authority")},
                                     options, texts, error))
        return usageError(io, error);
    if (texts.size() != 1) return usageError(io, QStringLiteral("one TEXT is needed"));
    if (!options.contains(QStringLiteral("--sql")) ||
        (!printSql && !options.contains(QStringLiteral("--db"))))
        return usageError(io, QStringLiteral("--sql and --db are needed"));

    const QString text = texts.first();
    const QString field =
        lnq::LookupSearchField(lnq::ClassifyLookupText(text), options.value("--no-field"),
                               options.value("--code-field"), options.value("--value-field"));
    if (field.isEmpty()) {
        io.err << "lnq lookup: the text selects no field (digits search --no-field, letters --code-field, "
                  "Chinese --value-field)\n";
        return 1;
    }
    std::function<QString()> authority;
    if (options.contains(QStringLiteral("--authority")))
        authority = [cond = options.value(QStringLiteral("--authority"))] { return cond; };
    const QString sql =
        lnq::LookupAuthoritySql(lnq::LookupFilterSql(options.value("--sql"), field, text), true, authority);
    if (printSql) {
        io.out << sql << "\n";
        return 0;
    }
    try {
        lnq::TADOConnection ado;
        lnqtool::OpenDatabase(ado, options.value(QStringLiteral("--db")));
        lnq::TInterfacedADOConnection conn(ado);
        std::unique_ptr<lnq::TADODataSet> ds = conn.CreateDataset();
        conn.FillDataset(*ds, sql);
        io.out << ds->FieldNames().join(QLatin1Char('\t')) << "\n";
        for (ds->First(); !ds->Eof(); ds->Next()) {
            QStringList cells;
            for (int i = 0; i < ds->FieldCount(); ++i)
                cells << cell(ds->Fields(i));
            io.out << cells.join(QLatin1Char('\t')) << "\n";
        }
    } catch (const lnq::Exception& e) {
        io.err << "lnq lookup: " << e.Message() << "\n";
        return 1;
    }
    return 0;
}

const lnqtool::Registrar
    reg({QStringLiteral("lookup"),
         QString::fromLatin1(kUsage) +
             QStringLiteral("  rows the lookup edit lists for a typed text (or the select)"),
         lookup});

} // namespace
