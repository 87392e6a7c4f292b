// lnq grid: what the data grid shows for a query, from a script.
//
//   lnq grid --db DB --sql SQL [--filter FIELD,OP,VALUE]... [--sort FIELD]
//            [--desc] [--sum FIELD]... [--count FIELD] [--decimals N] [--currency]
//            [--limit N]
//       Runs SQL (SQL Server text) on DB (an embedded database file or a
//       connection string), copies the rows into a client dataset as the grid
//       does, applies the quick filters (every condition required, operators
//       as in the grid's menu and filter form: "等于", "包含", "大于", "最近N天",
//       ...), sorts by FIELD (ascending, --desc descending) and prints
//       tab-separated: the field names, then each visible record's cell texts
//       (是/否 for booleans, "********" for vPassword), then, when --sum or
//       --count is given, a line of "合计" followed by one footer text per
//       field (empty for fields without a total): sums formatted
//       with N decimals (2 by default) as numbers (as currency with
//       --currency), the count as the number of visible records.

#include "data/ADOConnection.h"
#include "data/DataSetModel.h"
#include "filter/FilterItem.h"
#include "grid/data/DBGridCalc.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"
#include "util/Exceptions.h"

#include <QMap>

namespace {

using lnqtool::Io;

const char kUsage[] = "grid --db DB --sql SQL [--filter FIELD,OP,VALUE]... [--sort FIELD] [--desc] "
                      "[--sum FIELD]... [--count FIELD] [--decimals N] [--currency] [--limit N]";

int usageError(Io& io, const QString& message) {
    io.err << "lnq grid: " << message << "\n"
           << "usage: lnq " << kUsage << "\n";
    return 2;
}

// One line of cells; tabs and line breaks inside a value become blanks.
QString line(const QStringList& cells) {
    QStringList clean;
    clean.reserve(cells.size());
    for (QString c : cells) {
        c.replace(u'\t', u' ').replace(u'\n', u' ').replace(u'\r', u' ');
        clean << c;
    }
    return clean.join(u'\t') + u'\n';
}

int run(const QStringList& args, Io& io) {
    QString db, sql, sort, count;
    QStringList sums;
    QList<QStringList> filters; // field, operator, value
    bool desc = false, currency = false;
    int decimals = 2;
    qint64 limit = -1;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        const bool flag = a == QLatin1String("--desc") || a == QLatin1String("--currency");
        if (flag) {
            (a == QLatin1String("--desc") ? desc : currency) = true;
            continue;
        }
        if (a == QLatin1String("--filter")) {
            QStringList filter;
            QString error;
            if (!lnqtool::TakeFilter(args, i, filter, error)) return usageError(io, error);
            filters << filter;
            continue;
        }
        if (!a.startsWith(QLatin1String("--")))
            return usageError(io, QStringLiteral("unexpected argument ") + a);
        if (i + 1 >= args.size())
            return usageError(io, QStringLiteral("option ") + a + QStringLiteral(" needs a value"));
        const QString v = args[++i];
        if (a == QLatin1String("--db"))
            db = v;
        else if (a == QLatin1String("--sql"))
            sql = v;
        else if (a == QLatin1String("--sort"))
            sort = v;
        else if (a == QLatin1String("--sum"))
            sums << v;
        else if (a == QLatin1String("--count"))
            count = v;
        else if (a == QLatin1String("--decimals") || a == QLatin1String("--limit")) {
            bool ok = false;
            const qint64 n = v.toLongLong(&ok);
            if (!ok || n < 0 || (a == QLatin1String("--decimals") && n > 18))
                return usageError(io, QStringLiteral("bad number for ") + a);
            if (a == QLatin1String("--limit"))
                limit = n;
            else
                decimals = int(n);
        } else
            return usageError(io, QStringLiteral("unknown option ") + a);
    }
    if (db.isEmpty() || sql.isEmpty()) return usageError(io, QStringLiteral("--db and --sql are required"));

    lnq::TADOConnection connection;
    connection.SetConnectionString(db);
    connection.Open();
    lnq::TADODataSet query;
    connection.OpenDataSet(sql, query);
    lnq::TClientDataSet ds;
    ds.CopyFrom(query);

    lnq::TFilterList list;
    for (const QStringList& f : filters) {
        const lnq::TField& field = ds.FieldByName(f[0]); // EDatabaseError for an unknown field
        list.Add(field.FieldName(), lnq::FilterTypeOfField(field.DataType(), lnq::TFilterType::ftFilterDate),
                 f[1], f[2]);
    }
    if (!list.IsEmpty()) {
        auto pass = list.BeginPass();
        ds.SetOnFilterRecord([&list](lnq::TDataSet& d, bool& accept) { accept = list.Accepts(d); });
        ds.SetFiltered(true);
    }
    if (!sort.isEmpty()) {
        const QString name = ds.FieldByName(sort).FieldName();
        const QString index = (desc ? QStringLiteral("IXD") : QStringLiteral("IXA")) + name;
        ds.AddIndex(index, name,
                    desc ? lnq::TIndexOptions(lnq::TIndexOption::ixDescending) : lnq::TIndexOptions());
        ds.SetIndexName(index);
    }

    io.out << line(ds.FieldNames());
    const int rows = ds.RecordCount();
    const int shown = limit < 0 ? rows : int(std::min<qint64>(limit, rows));
    QStringList cells;
    for (int r = 0; r < shown; ++r) {
        cells.clear();
        for (int c = 0; c < ds.FieldCount(); ++c)
            cells << lnq::DataSetCellText(ds, r, c);
        io.out << line(cells);
    }
    if (!sums.isEmpty() || !count.isEmpty()) {
        QStringList tail(ds.FieldCount());
        for (const QString& s : sums) {
            const lnq::TField& f = ds.FieldByName(s);
            tail[f.Index()] = lnq::FormatColumnTotal(
                lnq::SumVisible(ds, f.Index()), currency ? lnq::dpCurrency : lnq::dpDecimal, 0, decimals);
        }
        if (!count.isEmpty()) tail[ds.FieldByName(count).Index()] = QString::number(rows);
        tail.prepend(QStringLiteral("合计"));
        io.out << line(tail);
    }
    return 0;
}

const lnqtool::Registrar reg({QStringLiteral("grid"), QString::fromUtf8(kUsage), run});

} // namespace
