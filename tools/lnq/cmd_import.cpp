// Spreadsheet import of the lnq tool:
//   lnq import --from FILE --db DB --table TABLE [--sheet NAME] [--no-header]
// copies one sheet of a workbook (.xlsx or .xls; the first sheet unless
// --sheet names one) into a table of the database, creating the table from
// the sheet's columns when it does not exist (text columns COLLATE ZH_CI),
// and prints the number of rows copied. The workbook is read through its
// connection string with mixed columns as text, so no value is lost; with
// --no-header the first row is data and the columns are F1, F2, ... All rows
// go in one transaction: on any error the table is left as it was.

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/FieldTypes.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"
#include "util/Exceptions.h"

#include <QFileInfo>
#include <QSet>

namespace {

using lnqtool::Io;

const char* const kUsage = "import --from FILE --db DB --table TABLE [--sheet NAME] [--no-header]";

QString workbookConnectionString(const QString& file, bool header) {
    QString path = QFileInfo(file).absoluteFilePath();
    path.replace(QLatin1Char('\''), QLatin1String("''"));
    return QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source= '") + path +
           QStringLiteral("';Extended Properties=\"Excel 8.0;HDR=") +
           (header ? QStringLiteral("YES") : QStringLiteral("NO")) +
           QStringLiteral(";IMEX=1\";Persist Security Info=False");
}

QString bracketed(const QString& name) {
    QString n = name;
    n.replace(QLatin1Char(']'), QLatin1String("]]"));
    return QLatin1Char('[') + n + QLatin1Char(']');
}

QString doubleQuoted(const QString& name) {
    QString n = name;
    n.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + n + QLatin1Char('"');
}

// The listed name for name; a sheet's name also matches its quoted listing
// ("'My Sheet$'").
QString findIn(const QStringList& names, const QString& name) {
    for (const QString& n : names)
        if (n.compare(name, Qt::CaseInsensitive) == 0 ||
            (n.size() > 2 && n.startsWith(QLatin1Char('\'')) && n.endsWith(QLatin1Char('\'')) &&
             n.mid(1, n.size() - 2).compare(name, Qt::CaseInsensitive) == 0))
            return n;
    return {};
}

// Column type of a new table for a sheet column.
QString columnType(const lnq::TField& field, bool embedded) {
    using lnq::TFieldType;
    switch (field.DataType()) {
    case TFieldType::ftFloat:
        return QStringLiteral("FLOAT");
    case TFieldType::ftDateTime:
    case TFieldType::ftDate:
    case TFieldType::ftTime:
        return QStringLiteral("DATETIME");
    case TFieldType::ftBoolean:
        return QStringLiteral("BIT");
    case TFieldType::ftMemo:
        return embedded ? QStringLiteral("NTEXT COLLATE ZH_CI") : QStringLiteral("NTEXT");
    default:
        break;
    }
    return embedded ? QStringLiteral("NVARCHAR(255) COLLATE ZH_CI") : QStringLiteral("NVARCHAR(255)");
}

void createTable(lnq::TADOConnection& db, const QString& table, const lnq::TDataSet& source) {
    const bool embedded = db.IsEmbedded();
    QString sql = QStringLiteral("CREATE TABLE ") + (embedded ? doubleQuoted(table) : bracketed(table)) +
                  QStringLiteral(" (");
    for (int i = 0; i < source.FieldCount(); ++i) {
        const lnq::TField& f = source.Fields(i);
        if (i > 0) sql += QStringLiteral(", ");
        sql += (embedded ? doubleQuoted(f.FieldName()) : bracketed(f.FieldName())) + QLatin1Char(' ') +
               columnType(f, embedded);
    }
    sql += QLatin1Char(')');
    if (embedded)
        db.ExecuteNative(sql);
    else
        db.Execute(sql);
}

void copyValue(const lnq::TField& from, lnq::TField& to) {
    using lnq::TStorageKind;
    if (from.IsNull()) return;
    const TStorageKind fromKind = lnq::StorageKindOf(from.DataType());
    const TStorageKind toKind = lnq::StorageKindOf(to.DataType());
    if (fromKind == TStorageKind::Float && (toKind == TStorageKind::Float || toKind == TStorageKind::Integer))
        to.SetAsFloat(from.AsFloat());
    else if (fromKind == TStorageKind::DateTime && toKind == TStorageKind::DateTime)
        to.SetAsDateTimeValue(from.AsDateTimeValue());
    else if (fromKind == TStorageKind::Boolean && toKind == TStorageKind::Boolean)
        to.SetAsBoolean(from.AsBoolean());
    else
        to.SetAsString(from.AsString());
}

int import(const QStringList& args, Io& io) {
    QMap<QString, QString> options;
    QStringList positional;
    QString error;
    QStringList rest = args;
    const bool header = !rest.removeAll(QStringLiteral("--no-header"));
    if (!lnqtool::ParseValuedOptions(rest,
                                     {QStringLiteral("--from"), QStringLiteral("--db"),
                                      QStringLiteral("--table"), QStringLiteral("--sheet")},
                                     options, positional, error) ||
        !positional.isEmpty()) {
        io.err << "lnq import: "
               << (error.isEmpty() ? QStringLiteral("unexpected argument ") + positional.first() : error)
               << "\nusage: lnq " << kUsage << '\n';
        return 2;
    }
    const QString from = options.value(QStringLiteral("--from"));
    const QString dbName = options.value(QStringLiteral("--db"));
    const QString table = options.value(QStringLiteral("--table")).trimmed();
    if (from.isEmpty() || dbName.isEmpty() || table.isEmpty()) {
        io.err << "usage: lnq " << kUsage << '\n';
        return 2;
    }
    if (!QFileInfo(from).isFile()) throw lnq::EInOutError(QStringLiteral("无法打开文件: ") + from);

    lnq::TADOConnection workbook;
    workbook.SetConnectionString(workbookConnectionString(from, header));
    const QStringList sheets = workbook.GetTableNames();
    QString sheet;
    if (options.contains(QStringLiteral("--sheet"))) {
        QString wanted = options.value(QStringLiteral("--sheet"));
        if (!wanted.endsWith(QLatin1Char('$'))) wanted += QLatin1Char('$');
        sheet = findIn(sheets, wanted);
        if (sheet.isEmpty())
            throw lnq::EDatabaseError(QStringLiteral("工作簿中没有工作表 ") +
                                      options.value(QStringLiteral("--sheet")) + QStringLiteral(" (有: ") +
                                      sheets.join(QStringLiteral(", ")) + QLatin1Char(')'));
    } else {
        if (sheets.isEmpty()) throw lnq::EDatabaseError(QStringLiteral("工作簿中没有工作表"));
        sheet = sheets.first();
    }
    lnq::TADODataSet source;
    workbook.OpenDataSet(QStringLiteral("select * from ") + bracketed(sheet), source);

    lnq::TADOConnection db;
    lnqtool::OpenDatabase(db, dbName);
    QString target = findIn(db.GetTableNames(), table);
    bool created = false;
    db.BeginTrans();
    try {
        if (target.isEmpty()) {
            createTable(db, table, source);
            target = table;
            created = true;
        }
        lnq::TADODataSet existing;
        db.OpenDataSet(QStringLiteral("select * from ") + bracketed(target) + QStringLiteral(" where 1 = 0"),
                       existing);
        QStringList columns;
        QStringList missing;
        for (int i = 0; i < source.FieldCount(); ++i) {
            const QString name = source.Fields(i).FieldName();
            columns << bracketed(name);
            if (!existing.FindField(name)) missing << name;
        }
        if (!missing.isEmpty())
            throw lnq::EDatabaseError(QStringLiteral("表 ") + target + QStringLiteral(" 没有工作表的列: ") +
                                      missing.join(QStringLiteral(", ")));
        lnq::TADODataSet dest;
        dest.SetConnection(&db);
        dest.SetCommandText(QStringLiteral("select ") + columns.join(QStringLiteral(", ")) +
                            QStringLiteral(" from ") + bracketed(target) + QStringLiteral(" where 1 = 0"));
        dest.Open();
        int count = 0;
        for (source.First(); !source.Eof(); source.Next()) {
            dest.Append();
            for (int i = 0; i < source.FieldCount(); ++i)
                copyValue(source.Fields(i), dest.Fields(i));
            dest.Post();
            ++count;
        }
        db.CommitTrans();
        io.out << count << '\n';
        if (created) io.err << "lnq import: created table " << target << '\n';
    } catch (...) {
        if (db.InTransaction()) db.RollbackTrans();
        throw;
    }
    return 0;
}

const lnqtool::Registrar reg({QStringLiteral("import"), QString::fromLatin1(kUsage), import});

} // namespace
