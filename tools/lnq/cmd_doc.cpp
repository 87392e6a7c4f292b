// Documents of master row and detail lines (what the document editor form
// edits), for scripts and administrators:
//   lnq doc show      --db DB [TABLES] KEY   the master row ("field<TAB>value"),
//                                           an empty line, the lines as
//                                           tab-separated text under their field names
//   lnq doc confirm   --db DB [TABLES] [--user NAME] [--word WORD] KEY
//   lnq doc unconfirm --db DB [TABLES] [--user NAME] [--word WORD] KEY
//   lnq doc delete    --db DB [TABLES] KEY
// TABLES: --master T --key F --detail T --link F --line-key F --state F
// --confirm-user F --confirm-date F; the defaults are the sales orders
// (Sal_SaleMain iNo / Sal_SaleDetail iMasterNo iNo, vConfirmState,
// vConfirmUser, dConfirmDate). Confirmation writes the state "已"+WORD (or
// "未"+WORD), the user (default "lnq") and today's date, on the lines too
// when they have the state field; a document already in that state is
// refused (exit 1).

#include "data/Plat_adodatabasese.h"
#include "forms/MasterDetailDoc.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"
#include "util/Clock.h"

#include <QRegularExpression>

#include <memory>

namespace {

using lnqtool::Io;

const QStringList kTableOptions = {"--master",   "--key",   "--detail",       "--link",
                                   "--line-key", "--state", "--confirm-user", "--confirm-date"};

struct Parsed {
    lnq::TMasterDetailSettings settings;
    QString db;
    QString user;
    int key = 0;
};

// Table and field names go into SQL as given, so only plain names pass.
bool plainName(const QString& name) {
    static const QRegularExpression re(
        QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*(\\.[A-Za-z_][A-Za-z0-9_]*)?$"));
    return re.match(name).hasMatch();
}

bool parse(const QString& command, const QStringList& args, bool confirming, Parsed& p, Io& io) {
    QStringList valued = kTableOptions;
    valued << QStringLiteral("--db");
    if (confirming) valued << QStringLiteral("--user") << QStringLiteral("--word");
    QMap<QString, QString> o;
    QStringList positional;
    QString error;
    if (!lnqtool::ParseValuedOptions(args, valued, o, positional, error)) {
        io.err << "lnq doc " << command << ": " << error << "\n";
        return false;
    }
    bool ok = false;
    p.key = positional.size() == 1 ? positional.first().toInt(&ok) : 0;
    if (!o.contains(QStringLiteral("--db")) || !ok || p.key <= 0) {
        io.err << "usage: lnq doc " << command
               << " --db DB [--master T --key F --detail T --link F ...] KEY\n";
        return false;
    }
    p.db = o.value(QStringLiteral("--db"));
    p.user = o.value(QStringLiteral("--user"), QStringLiteral("lnq"));
    lnq::TMasterDetailSettings& s = p.settings;
    s.MasterTable = o.value(QStringLiteral("--master"), QStringLiteral("Sal_SaleMain"));
    s.MasterKeyField = o.value(QStringLiteral("--key"), QStringLiteral("iNo"));
    s.DetailTable = o.value(QStringLiteral("--detail"), QStringLiteral("Sal_SaleDetail"));
    s.DetailKeyField = o.value(QStringLiteral("--link"), QStringLiteral("iMasterNo"));
    s.DetailLineKeyField = o.value(QStringLiteral("--line-key"), QStringLiteral("iNo"));
    s.ConfirmStateField = o.value(QStringLiteral("--state"), QStringLiteral("vConfirmState"));
    s.ConfirmUserField = o.value(QStringLiteral("--confirm-user"), QStringLiteral("vConfirmUser"));
    s.ConfirmDateField = o.value(QStringLiteral("--confirm-date"), QStringLiteral("dConfirmDate"));
    if (o.contains(QStringLiteral("--word"))) s.ConfirmWord = o.value(QStringLiteral("--word"));
    for (const QString& name :
         {s.MasterTable, s.MasterKeyField, s.DetailTable, s.DetailKeyField, s.DetailLineKeyField,
          s.ConfirmStateField, s.ConfirmUserField, s.ConfirmDateField}) {
        if (!plainName(name)) {
            io.err << "lnq doc " << command << ": \"" << name << "\" is not a table or field name\n";
            return false;
        }
    }
    return true;
}

QString cellText(const QVariant& v) {
    if (v.isNull()) return {};
    if (v.metaType().id() == QMetaType::QDateTime) {
        const QDateTime dt = v.toDateTime();
        return dt.time() == QTime(0, 0) ? dt.toString(QStringLiteral("yyyy-MM-dd"))
                                        : dt.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    }
    QString t = v.toString();
    t.replace(QLatin1Char('\t'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    t.remove(QLatin1Char('\r'));
    return t;
}

// One document of the command line: the arguments parsed, the database
// open and the document loaded.
struct Opened {
    Parsed p;
    lnq::TADOConnection ado;
    std::unique_ptr<lnq::TInterfacedADOConnection> conn;
    std::unique_ptr<lnq::TMasterDetailDocument> doc;
    lnq::TDocumentValues master;
    std::vector<lnq::TDocumentValues> lines;
    bool confirmed() const {
        return master.value(p.settings.ConfirmStateField.toUpper()).toString() == p.settings.ConfirmedState();
    }
};

// 0 when the document is loaded, otherwise the exit code (2 for the
// arguments, 1 for a missing document).
int open(const QString& command, const QStringList& args, bool withUser, Opened& d, Io& io) {
    if (!parse(command, args, withUser, d.p, io)) return 2;
    lnqtool::OpenDatabase(d.ado, d.p.db);
    d.conn = std::make_unique<lnq::TInterfacedADOConnection>(d.ado);
    d.doc = std::make_unique<lnq::TMasterDetailDocument>(*d.conn, d.p.settings);
    if (d.doc->Load(d.p.key, d.master, d.lines)) return 0;
    io.err << "lnq: " << d.p.settings.MasterTable << " has no row " << d.p.settings.MasterKeyField << "="
           << d.p.key << "\n";
    return 1;
}

int show(const QStringList& args, Io& io) {
    Opened d;
    if (const int rc = open(QStringLiteral("show"), args, false, d, io)) return rc;
    // Field names as the tables spell them, in their column order.
    for (const QString& name : d.doc->MasterFieldNames())
        io.out << name << '\t' << cellText(d.master.value(name.toUpper())) << '\n';
    io.out << '\n';
    const QStringList names = d.doc->DetailFieldNames();
    io.out << names.join(QLatin1Char('\t')) << '\n';
    for (const lnq::TDocumentValues& line : d.lines) {
        QStringList cells;
        for (const QString& name : names)
            cells << cellText(line.value(name.toUpper()));
        io.out << cells.join(QLatin1Char('\t')) << '\n';
    }
    return 0;
}

int confirmation(const QString& command, const QStringList& args, bool confirm, Io& io) {
    Opened d;
    if (const int rc = open(command, args, true, d, io)) return rc;
    const QString target = confirm ? d.p.settings.ConfirmedState() : d.p.settings.UnconfirmedState();
    if (d.confirmed() == confirm) {
        io.err << "lnq: document " << d.p.key << " is " << target << " already\n";
        return 1;
    }
    d.doc->SetConfirmation(d.p.key, confirm, d.p.user, lnq::Clock::today());
    io.out << d.p.key << '\t' << target << '\n';
    return 0;
}

int confirmCommand(const QStringList& args, Io& io) {
    return confirmation(QStringLiteral("confirm"), args, true, io);
}

int unconfirmCommand(const QStringList& args, Io& io) {
    return confirmation(QStringLiteral("unconfirm"), args, false, io);
}

int deleteCommand(const QStringList& args, Io& io) {
    Opened d;
    if (const int rc = open(QStringLiteral("delete"), args, false, d, io)) return rc;
    if (d.confirmed()) {
        io.err << "lnq: document " << d.p.key << " is " << d.p.settings.ConfirmedState()
               << ": cancel it first\n";
        return 1;
    }
    d.doc->Delete(d.p.key);
    io.out << "deleted " << d.p.key << " with " << d.lines.size() << " lines\n";
    return 0;
}

const lnqtool::Registrar showReg({QStringLiteral("doc show"), QStringLiteral("doc show --db DB [TABLES] KEY"),
                                  show});
const lnqtool::Registrar confirmReg(
    {QStringLiteral("doc confirm"),
     QStringLiteral("doc confirm --db DB [TABLES] [--user NAME] [--word WORD] KEY"), confirmCommand});
const lnqtool::Registrar unconfirmReg(
    {QStringLiteral("doc unconfirm"),
     QStringLiteral("doc unconfirm --db DB [TABLES] [--user NAME] [--word WORD] KEY"), unconfirmCommand});
const lnqtool::Registrar
    deleteReg({QStringLiteral("doc delete"),
               QStringLiteral("doc delete --db DB [TABLES] KEY  (TABLES: --master T --key F "
                              "--detail T --link F --line-key F --state F --confirm-user F "
                              "--confirm-date F; default the sales orders)"),
               deleteCommand});

} // namespace
