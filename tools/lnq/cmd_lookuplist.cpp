// The lookup lists of the lookup dialogs, for scripts:
//   lnq lookup-list --list                          every list: member, choice, columns handed back
//   lnq lookup-list MEMBER --sql [shaping options]  the query text the dialog sends
//   lnq lookup-list MEMBER --db PATH [--search TEXT] [--field TITLE] [shaping options]
//                                              the rows the dialog shows, narrowed as its
//                                              quick search narrows them (text or pinyin
//                                              initials), as tab-separated text
// Shaping options: --condition TEXT, --goods NO ("-1": every supplier),
// --packages yes|no (programme lists).

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "forms/Plat_searchlists.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"

namespace {

using lnqtool::Io;

QString cell(const lnq::TField& f) {
    return lnqtool::TsvEscape(f.IsNull() ? QString() : f.DisplayText());
}

int lookupList(const QStringList& args, Io& io) {
    const QString usage =
        QStringLiteral("usage: lnq lookup-list --list | MEMBER (--sql | --db PATH [--search TEXT] "
                       "[--field TITLE]) [--condition TEXT] [--goods NO] [--packages yes|no]\n");
    if (args == QStringList{QStringLiteral("--list")}) {
        for (const lnq::TSearchList& l : lnq::TSearchLists::Lists())
            io.out << l.member << '\t' << (l.multi ? "multi" : "single") << '\t'
                   << l.columns.join(QLatin1Char(',')) << '\n';
        return 0;
    }
    QStringList rest = args;
    const bool sqlOnly = rest.removeAll(QStringLiteral("--sql")) > 0;
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(rest,
                                     {QStringLiteral("--db"), QStringLiteral("--search"),
                                      QStringLiteral("--field"), QStringLiteral("--condition"),
                                      QStringLiteral("--goods"), QStringLiteral("--packages")},
                                     options, positional, error)) {
        io.err << "lnq lookup-list: " << error << '\n' << usage;
        return 2;
    }
    if (positional.size() != 1 || (!sqlOnly && !options.contains(QStringLiteral("--db")))) {
        io.err << usage;
        return 2;
    }
    const lnq::TSearchList* list = lnq::TSearchLists::Find(positional.first());
    if (!list) {
        io.err << "lnq lookup-list: no lookup list \"" << positional.first()
               << "\" (lnq lookup-list --list names them)\n";
        return 1;
    }
    const QString packages = options.value(QStringLiteral("--packages"), QStringLiteral("yes"));
    if (packages != QLatin1String("yes") && packages != QLatin1String("no")) {
        io.err << "lnq lookup-list: --packages takes yes or no\n";
        return 2;
    }
    const QString sql = lnq::TSearchLists::Sql(list->member, options.value(QStringLiteral("--condition")),
                                               options.value(QStringLiteral("--goods"), QStringLiteral("-1")),
                                               packages == QLatin1String("yes"));
    if (sqlOnly) {
        io.out << sql << '\n';
        return 0;
    }

    lnq::TADOConnection connection;
    lnqtool::OpenDatabase(connection, options.value(QStringLiteral("--db")));
    lnq::TInterfacedADOConnection conn(connection);
    const std::unique_ptr<lnq::TADODataSet> ds = conn.ExecuteWithQuery(sql);
    const QStringList names = ds->FieldNames();
    lnq::TQuickSearchText search;
    search.SetText(options.value(QStringLiteral("--search")));
    int column = lnq::TSearchLists::DefaultSearchColumn(names);
    if (options.contains(QStringLiteral("--field"))) {
        column = int(names.indexOf(options.value(QStringLiteral("--field"))));
        if (column < 0) {
            io.err << "lnq lookup-list: the list has no column \"" << options.value(QStringLiteral("--field"))
                   << "\"\n";
            return 1;
        }
    }
    if (!search.IsEmpty() && column >= 0) {
        ds->SetOnFilterRecord([&search, column](lnq::TDataSet& d, bool& accept) {
            accept = search.Matches(d.Fields(column).AsString());
        });
        ds->SetFiltered(true);
    }
    io.out << names.join(QLatin1Char('\t')) << '\n';
    const int n = ds->FieldCount();
    for (ds->First(); !ds->Eof(); ds->Next()) {
        QStringList cells;
        for (int i = 0; i < n; ++i)
            cells << cell(ds->Fields(i));
        io.out << cells.join(QLatin1Char('\t')) << '\n';
    }
    return 0;
}

const lnqtool::Registrar lookupListCommand(
    {QStringLiteral("lookup-list"),
     QStringLiteral(
         "lookup-list --list | MEMBER (--sql | --db PATH [--search TEXT] [--field TITLE]) [--condition TEXT] "
         "[--goods NO] [--packages yes|no]  the lookup dialogs' lists: their query texts, or their rows "
         "narrowed by text or pinyin initials (\"bjhx\") as the dialogs' quick search does"),
     lookupList});

} // namespace
