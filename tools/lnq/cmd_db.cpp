// Database commands of the lnq tool:
//   lnq init-db PATH [--sample] [--force]   create an embedded database
//   lnq sql --db PATH [--json] [--filter FIELD,OP,VALUE]... [--sort SORT] "SQL"
//                                            run one SQL text through IConnection;
//                                            the rows narrowed by quick-filter
//                                            conditions (also FIELD OP VALUE as
//                                            three arguments) and ordered by a sort text

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/SampleDatabase.h"
#include "filter/FilterItem.h"
#include "tools/lnq/Command.h"
#include "tools/lnq/Options.h"
#include "util/Exceptions.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

namespace {

using lnqtool::Io;

QString embeddedConnectionString(const QString& path) {
    QString p = path;
    p.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QStringLiteral("Provider=SQLite;Data Source=\"") + p + QLatin1Char('"');
}

void removeDatabaseFiles(const QString& path) {
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
        const QString f = path + QLatin1String(suffix);
        if (QFileInfo::exists(f) && !QFile::remove(f))
            throw lnq::EInOutError(QStringLiteral("无法删除文件: ") + f);
    }
}

int initDb(const QStringList& args, Io& io) {
    QString path;
    bool sample = false;
    bool force = false;
    for (const QString& a : args) {
        if (a == QLatin1String("--sample"))
            sample = true;
        else if (a == QLatin1String("--force"))
            force = true;
        else if (a.startsWith(QLatin1String("--")) || !path.isEmpty()) {
            io.err << "lnq init-db: unexpected argument \"" << a << "\"\n";
            return 2;
        } else
            path = a;
    }
    if (path.isEmpty()) {
        io.err << "usage: lnq init-db PATH [--sample] [--force]\n";
        return 2;
    }
    const QFileInfo info(path);
    if (info.exists() && info.size() > 0) {
        if (!force) {
            io.err << "lnq: " << path << " exists and is not empty (use --force to replace it)\n";
            return 1;
        }
        removeDatabaseFiles(path);
    }
    if (sample) {
        lnq::SampleDatabase::CreateSample(path);
    } else {
        try {
            lnq::TADOConnection connection;
            connection.SetConnectionString(embeddedConnectionString(path));
            connection.Open();
            lnq::SampleDatabase::CreateSchema(connection);
        } catch (...) {
            QFile::remove(path);
            throw;
        }
    }
    io.out << "created " << path
           << (sample ? " (framework tables and sample data)\n" : " (framework tables)\n");
    return 0;
}

QString dateText(const lnq::TField& f) {
    const QDateTime dt = f.AsDateTime();
    switch (f.DataType()) {
    case lnq::TFieldType::ftDate:
        return dt.toString(QStringLiteral("yyyy-MM-dd"));
    case lnq::TFieldType::ftTime:
        return dt.toString(QStringLiteral("HH:mm:ss"));
    default:
        return dt.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    }
}

QString cellText(const lnq::TField& f) {
    if (f.IsNull()) return QString();
    switch (lnq::StorageKindOf(f.DataType())) {
    case lnq::TStorageKind::Integer:
        return QString::number(f.AsLargeInt());
    case lnq::TStorageKind::Float:
        // As a grid shows it: 15 significant digits, money at two decimals.
        return f.DisplayText();
    case lnq::TStorageKind::DateTime:
        return dateText(f);
    case lnq::TStorageKind::Boolean:
        return f.AsBoolean() ? QStringLiteral("true") : QStringLiteral("false");
    case lnq::TStorageKind::Bytes:
        return QStringLiteral("0x") + QString::fromLatin1(f.AsBytes().toHex().toUpper());
    case lnq::TStorageKind::Text:
        break;
    }
    return f.AsString();
}

QJsonValue cellJson(const lnq::TField& f) {
    if (f.IsNull()) return QJsonValue(QJsonValue::Null);
    switch (lnq::StorageKindOf(f.DataType())) {
    case lnq::TStorageKind::Integer:
        return QJsonValue(f.AsLargeInt());
    case lnq::TStorageKind::Float:
        return QJsonValue(f.AsFloat());
    case lnq::TStorageKind::Boolean:
        return QJsonValue(f.AsBoolean());
    default:
        return QJsonValue(cellText(f));
    }
}

int runSql(const QStringList& args, Io& io) {
    QString db;
    QString sql;
    QString sort;
    QList<QStringList> filters; // field, operator, value
    bool json = false;
    bool haveSql = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--db") && i + 1 < args.size())
            db = args[++i];
        else if (a == QLatin1String("--sort") && i + 1 < args.size())
            sort = args[++i];
        else if (a == QLatin1String("--filter")) {
            QStringList filter;
            QString error;
            if (!lnqtool::TakeFilter(args, i, filter, error)) {
                io.err << "lnq sql: " << error << "\n";
                return 2;
            }
            filters << filter;
        } else if (a == QLatin1String("--json"))
            json = true;
        else if (!haveSql && !a.startsWith(QLatin1String("--"))) {
            sql = a;
            haveSql = true;
        } else {
            io.err << "lnq sql: unexpected argument \"" << a << "\"\n";
            return 2;
        }
    }
    if (db.isEmpty() || !haveSql) {
        io.err << "usage: lnq sql --db PATH [--json] [--filter FIELD,OP,VALUE]... [--sort SORT] \"SQL\"\n";
        return 2;
    }
    if (!QFileInfo(db).isFile()) {
        io.err << "lnq: database " << db << " does not exist\n";
        return 1;
    }

    lnq::TADOConnection connection;
    connection.SetConnectionString(embeddedConnectionString(db));
    connection.Open();
    lnq::TInterfacedADOConnection conn(connection);
    if (!connection.ReturnsRows(sql)) {
        conn.ExecuteNonQuery(sql);
        return 0;
    }
    const std::unique_ptr<lnq::TADODataSet> ds = conn.ExecuteWithQuery(sql);
    // Quick filters as the data grid makes them: the filter type follows the
    // field's type; one pass per condition over the loaded rows.
    lnq::TFilterList list;
    for (const QStringList& f : filters) {
        const lnq::TField& field = ds->FieldByName(f[0]); // raises for an unknown name
        list.Add(field.FieldName(), lnq::FilterTypeOfField(field.DataType(), lnq::TFilterType::ftFilterText),
                 f[1], f[2]);
    }
    if (!list.IsEmpty()) {
        ds->SetOnFilterRecords([&list](lnq::TDataSet& d, lnq::TRecordsPass& p) { list.AcceptRecords(d, p); });
        ds->SetFiltered(true);
    }
    if (!sort.isEmpty()) ds->SetSort(sort);
    const int n = ds->FieldCount();
    if (json) {
        QJsonArray rows;
        for (ds->First(); !ds->Eof(); ds->Next()) {
            QJsonArray row;
            for (int i = 0; i < n; ++i)
                row.append(cellJson(ds->Fields(i)));
            rows.append(row);
        }
        io.out << QString::fromUtf8(QJsonDocument(rows).toJson(QJsonDocument::Compact)) << "\n";
        return 0;
    }
    QStringList header;
    for (const QString& name : ds->FieldNames())
        header << lnqtool::TsvEscape(name);
    io.out << header.join(QLatin1Char('\t')) << "\n";
    for (ds->First(); !ds->Eof(); ds->Next()) {
        QStringList cells;
        for (int i = 0; i < n; ++i)
            cells << lnqtool::TsvEscape(cellText(ds->Fields(i)));
        io.out << cells.join(QLatin1Char('\t')) << "\n";
    }
    return 0;
}

const lnqtool::Registrar
    initDbCommand({QStringLiteral("init-db"),
                   QStringLiteral("init-db PATH [--sample] [--force]  create an embedded "
                                  "database (framework tables; --sample adds demo data)"),
                   initDb});
const lnqtool::Registrar
    sqlCommand({QStringLiteral("sql"),
                QStringLiteral("sql --db PATH [--json] [--filter FIELD,OP,VALUE]... [--sort SORT] \"SQL\"  "
                               "run SQL on an embedded database; rows as tab-separated "
                               "text or a JSON array, narrowed by quick-filter "
                               "conditions (\"vName 包含 北京\") and ordered by a sort "
                               "text (\"vName DESC\", text in collation order)"),
                runSql});

} // namespace
