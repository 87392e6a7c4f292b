#include "data/SqliteDriver.h"

#include "data/TsqlDialect.h"
#include "util/Exceptions.h"

#include <QFileInfo>
#include <QStringList>
#include <algorithm>
#include <cmath>
#include <sqlite3.h>

namespace lnq {

namespace {

// Days from 1970-01-01 of a proleptic Gregorian date (exact integer arithmetic).
constexpr qint64 daysFromCivil(qint64 y, unsigned m, unsigned d) {
    y -= m <= 2;
    const qint64 era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<qint64>(doe) - 719468;
}
constexpr qint64 kEpochDays = daysFromCivil(1899, 12, 30);

bool digits(const char* s, int n, int& out) {
    int v = 0;
    for (int i = 0; i < n; ++i) {
        const unsigned c = static_cast<unsigned char>(s[i]) - '0';
        if (c > 9) return false;
        v = v * 10 + static_cast<int>(c);
    }
    out = v;
    return true;
}

// "HH:mm[:ss[.fff]]" at s (n bytes) into seconds of the day.
bool parseTime(const char* s, int n, double& seconds) {
    int h = 0, mi = 0, sec = 0;
    if (n < 5 || s[2] != ':' || !digits(s, 2, h) || !digits(s + 3, 2, mi)) return false;
    int pos = 5;
    double frac = 0;
    if (pos < n && s[pos] == ':') {
        if (n < pos + 3 || !digits(s + pos + 1, 2, sec)) return false;
        pos += 3;
        if (pos < n && s[pos] == '.') {
            ++pos;
            double scale = 0.1;
            while (pos < n && s[pos] >= '0' && s[pos] <= '9') {
                frac += (s[pos] - '0') * scale;
                scale /= 10;
                ++pos;
            }
        }
    }
    if (pos != n || h > 23 || mi > 59 || sec > 59) return false;
    seconds = h * 3600.0 + mi * 60.0 + sec + frac;
    return true;
}

const int kDaysInMonth[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

QString utf8(const char* s) {
    return QString::fromUtf8(s ? s : "");
}

QString quoteIdent(const QString& name) {
    QString n = name;
    n.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + n + QLatin1Char('"');
}

// Finalizes a native statement on every path.
struct Stmt {
    sqlite3_stmt* s = nullptr;
    ~Stmt() { sqlite3_finalize(s); }
};

enum class Reader : std::uint8_t { Integer, Boolean, Float, Text, Date, Bytes };

Reader readerFor(TFieldType t) {
    switch (StorageKindOf(t)) {
    case TStorageKind::Integer:
        return Reader::Integer;
    case TStorageKind::Boolean:
        return Reader::Boolean;
    case TStorageKind::Float:
        return Reader::Float;
    case TStorageKind::DateTime:
        return Reader::Date;
    case TStorageKind::Bytes:
        return Reader::Bytes;
    case TStorageKind::Text:
        break;
    }
    return Reader::Text;
}

// Declared type for a result column that has none (an expression): taken
// from the first row's value, as close as SQLite can tell.
QString typeFromValue(sqlite3_stmt* stmt, int col) {
    switch (sqlite3_column_type(stmt, col)) {
    case SQLITE_INTEGER: {
        const qint64 v = sqlite3_column_int64(stmt, col);
        return (v >= INT32_MIN && v <= INT32_MAX) ? QStringLiteral("INT") : QStringLiteral("BIGINT");
    }
    case SQLITE_FLOAT:
        return QStringLiteral("FLOAT");
    case SQLITE_BLOB:
        return QStringLiteral("IMAGE");
    default:
        return QString();
    }
}

void bindValue(sqlite3_stmt* stmt, int index, const QVariant& v, TFieldType type) {
    if (v.isNull()) {
        sqlite3_bind_null(stmt, index);
        return;
    }
    switch (StorageKindOf(type)) {
    case TStorageKind::Integer:
        sqlite3_bind_int64(stmt, index, v.toLongLong());
        return;
    case TStorageKind::Boolean:
        sqlite3_bind_int(stmt, index, v.toBool() ? 1 : 0);
        return;
    case TStorageKind::Float:
        sqlite3_bind_double(stmt, index, v.toDouble());
        return;
    case TStorageKind::DateTime: {
        TDateTime value = 0;
        if (v.typeId() == QMetaType::QDateTime)
            value = DateTimeFromQt(v.toDateTime());
        else if (v.typeId() == QMetaType::QDate)
            value = DateFromQt(v.toDate());
        else if (v.typeId() == QMetaType::QString) {
            const QByteArray b = v.toString().toUtf8();
            if (!ParseSqliteDateTime(b.constData(), static_cast<int>(b.size()), value))
                throw EConvertError(QStringLiteral("'%1' 不是有效的日期时间").arg(v.toString()));
        } else
            value = v.toDouble();
        const QByteArray text = SqliteDateTimeText(value, type).toUtf8();
        sqlite3_bind_text(stmt, index, text.constData(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        return;
    }
    case TStorageKind::Bytes: {
        const QByteArray b = v.toByteArray();
        sqlite3_bind_blob(stmt, index, b.constData(), static_cast<int>(b.size()), SQLITE_TRANSIENT);
        return;
    }
    case TStorageKind::Text:
        break;
    }
    const QString s = v.toString();
    sqlite3_bind_text16(stmt, index, s.utf16(), static_cast<int>(s.size() * 2), SQLITE_TRANSIENT);
}

QVariant columnValue(sqlite3_stmt* stmt, int col, TFieldType type) {
    const int t = sqlite3_column_type(stmt, col);
    if (t == SQLITE_NULL) return QVariant();
    switch (StorageKindOf(type)) {
    case TStorageKind::Integer:
        return QVariant(static_cast<qlonglong>(sqlite3_column_int64(stmt, col)));
    case TStorageKind::Boolean:
        return QVariant(sqlite3_column_int64(stmt, col) != 0);
    case TStorageKind::Float:
        return QVariant(sqlite3_column_double(stmt, col));
    case TStorageKind::DateTime: {
        TDateTime v = 0;
        const char* s = reinterpret_cast<const char*>(sqlite3_column_text(stmt, col));
        if (!ParseSqliteDateTime(s, sqlite3_column_bytes(stmt, col), v)) return QVariant();
        return QVariant(DateTimeToQt(v));
    }
    case TStorageKind::Bytes:
        return QVariant(QByteArray(static_cast<const char*>(sqlite3_column_blob(stmt, col)),
                                   sqlite3_column_bytes(stmt, col)));
    case TStorageKind::Text:
        break;
    }
    return QVariant(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, col)),
                                      sqlite3_column_bytes(stmt, col)));
}

} // namespace

// ---------------------------------------------------------------------------

QString SqliteDateTimeText(TDateTime value, TFieldType type) {
    const QDateTime dt = DateTimeToQt(value);
    if (type == TFieldType::ftDate) return dt.date().toString(QStringLiteral("yyyy-MM-dd"));
    if (type == TFieldType::ftTime)
        return dt.time().toString(dt.time().msec() ? QStringLiteral("HH:mm:ss.zzz")
                                                   : QStringLiteral("HH:mm:ss"));
    return dt.toString(dt.time().msec() ? QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")
                                        : QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

bool ParseSqliteDateTime(const char* s, int n, TDateTime& value) {
    if (!s) return false;
    while (n > 0 && s[n - 1] == ' ')
        --n;
    double seconds = 0;
    if (n >= 5 && s[2] == ':') {
        if (!parseTime(s, n, seconds)) return false;
        value = seconds / 86400.0;
        return true;
    }
    int y = 0, m = 0, d = 0;
    if (n < 10 || s[4] != '-' || s[7] != '-' || !digits(s, 4, y) || !digits(s + 5, 2, m) ||
        !digits(s + 8, 2, d))
        return false;
    if (m < 1 || m > 12 || d < 1 || d > kDaysInMonth[m - 1]) return false;
    if (m == 2 && d == 29 && !(y % 4 == 0 && (y % 100 != 0 || y % 400 == 0))) return false;
    if (n > 10) {
        if (s[10] != ' ' && s[10] != 'T') return false;
        if (!parseTime(s + 11, n - 11, seconds)) return false;
    }
    const double days = static_cast<double>(
        daysFromCivil(y, static_cast<unsigned>(m), static_cast<unsigned>(d)) - kEpochDays);
    // Before the epoch the time is kept as a fraction on the negative day's
    // magnitude (the classic encoding, see util/DateUtils).
    value = days >= 0 ? days + seconds / 86400.0 : days - seconds / 86400.0;
    return true;
}

// ---------------------------------------------------------------------------

TSqliteDriver::TSqliteDriver(const QString& file, int busyTimeoutMs) : m_file(file) {
    const QByteArray path =
        file == QLatin1String(":memory:") ? file.toUtf8() : QFileInfo(file).absoluteFilePath().toUtf8();
    const int rc =
        sqlite3_open_v2(path.constData(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (rc != SQLITE_OK) {
        const QString msg = m_db ? utf8(sqlite3_errmsg(m_db)) : utf8(sqlite3_errstr(rc));
        sqlite3_close(m_db);
        m_db = nullptr;
        throw EDatabaseError(msg + QStringLiteral(": ") + file);
    }
    sqlite3_extended_result_codes(m_db, 1);
    sqlite3_busy_timeout(m_db, busyTimeoutMs);
    // A misspelt column in double quotes must be an error, not a string literal.
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    // Reading the schema tells a database from any other file right away.
    char* err = nullptr;
    if (sqlite3_exec(m_db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, &err) != SQLITE_OK) {
        const QString msg = utf8(err);
        sqlite3_free(err);
        sqlite3_close(m_db);
        m_db = nullptr;
        throw EDatabaseError(msg + QStringLiteral(": ") + file);
    }
    try {
        m_dialect = std::make_unique<TsqlDialect>(m_db);
    } catch (...) {
        sqlite3_close(m_db);
        m_db = nullptr;
        throw;
    }
}

TSqliteDriver::~TSqliteDriver() {
    // The cached statements go before the handle they belong to.
    m_dialect.reset();
    if (m_db) {
        if (!sqlite3_get_autocommit(m_db)) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close_v2(m_db);
    }
}

void TSqliteDriver::Fail() const {
    throw EDatabaseError(DatabaseErrorText(m_db));
}

void TSqliteDriver::Exec(const QString& sql, bool notify) {
    if (notify) Notify(sql);
    char* err = nullptr;
    if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
        const QString msg = utf8(err);
        sqlite3_free(err);
        throw EDatabaseError(msg);
    }
}

void TSqliteDriver::ExecuteNative(const QString& sql) {
    Exec(sql, true);
}

void TSqliteDriver::Execute(const QString& sql) {
    Notify(sql);
    m_dialect->ExecuteBatch(sql);
}

bool TSqliteDriver::ReturnsRows(const QString& sql) {
    try {
        TsqlPrepared p = m_dialect->PrepareQuery(sql);
        return p.stmt && sqlite3_column_count(p.stmt) > 0;
    } catch (const Exception&) {
        // Not one statement of the dialect: a batch, or an error that running
        // it as a batch reports.
        return false;
    }
}

void TSqliteDriver::OpenDataSet(const QString& sql, TDataSet& target) {
    Notify(sql);
    // A posted change finds its row by the rowid when the dataset holds it,
    // so that a select without the table's key still edits exactly the row
    // it read (a dataset over a server fetches hidden key columns for the same reason).
    const TsqlPrepared p = m_dialect->PrepareQuery(sql, true);
    sqlite3_stmt* stmt = p.stmt;
    // The first step runs the statement: errors surface here, before the
    // dataset is touched, and a statement without columns has done its work.
    int rc = sqlite3_step(stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) Fail();
    const int n = sqlite3_column_count(stmt);
    if (n == 0) throw EDatabaseError(QStringLiteral("CommandText 不返回结果集"));

    // Dataset columns are the statement's; the rowid (last) is hidden.
    TFieldDefs defs(static_cast<size_t>(n));
    std::vector<Reader> readers(static_cast<size_t>(n), Reader::Integer);
    for (int i = 0; i < n; ++i) {
        TFieldDef& def = defs[static_cast<size_t>(i)];
        if (i == p.rowIdColumn) {
            def.Name = utf8(sqlite3_column_name(stmt, i));
            def.DataType = TFieldType::ftLargeint;
            def.Hidden = true;
            def.IsRowId = true;
            def.ReadOnly = true;
            def.BaseTable = p.baseTable;
            def.BaseColumn = def.Name;
            continue;
        }
        def.Name = utf8(sqlite3_column_name(stmt, i));
        QString declared;
        if (static_cast<size_t>(i) < p.declaredTypes.size())
            declared = p.declaredTypes[static_cast<size_t>(i)];
        if (declared.isEmpty()) declared = utf8(sqlite3_column_decltype(stmt, i));
        if (declared.isEmpty() && rc == SQLITE_ROW) declared = typeFromValue(stmt, i);
        int size = 0;
        int scale = 0;
        // DECIMAL(p,s) and MONEY keep their decimals, as the server reports them.
        def.DataType = FieldTypeFromDeclaredType(declared, &size, &scale);
        def.Size = size;
        def.Scale = scale;
        const char* table = sqlite3_column_table_name(stmt, i);
        const char* origin = sqlite3_column_origin_name(stmt, i);
        if (table && origin) {
            def.BaseTable = utf8(table);
            def.BaseColumn = utf8(origin);
            const char* dtype = nullptr;
            const char* coll = nullptr;
            int notNull = 0, pk = 0, autoinc = 0;
            if (sqlite3_table_column_metadata(m_db, sqlite3_column_database_name(stmt, i), table, origin,
                                              &dtype, &coll, &notNull, &pk, &autoinc) == SQLITE_OK) {
                def.IsKey = pk != 0;
                def.Required = notNull != 0;
                if (autoinc) {
                    def.DataType = TFieldType::ftAutoInc;
                    def.ReadOnly = true;
                    def.Required = false;
                }
            }
        } else {
            def.ReadOnly = true;
        }
        readers[static_cast<size_t>(i)] = readerFor(def.DataType);
    }

    TRecordSetBuilder& b = target.BeginLoad(defs);
    try {
        while (rc == SQLITE_ROW) {
            for (int i = 0; i < n; ++i) {
                const int t = sqlite3_column_type(stmt, i);
                if (t == SQLITE_NULL) continue; // an unset column is null
                switch (readers[static_cast<size_t>(i)]) {
                case Reader::Integer:
                    if (t == SQLITE_INTEGER)
                        b.SetInteger(i, sqlite3_column_int64(stmt, i));
                    else if (t == SQLITE_FLOAT)
                        b.SetInteger(i, std::llround(sqlite3_column_double(stmt, i)));
                    else {
                        bool ok = false;
                        const qint64 v =
                            QByteArray(reinterpret_cast<const char*>(sqlite3_column_text(stmt, i)),
                                       sqlite3_column_bytes(stmt, i))
                                .trimmed()
                                .toLongLong(&ok);
                        if (ok) b.SetInteger(i, v);
                    }
                    break;
                case Reader::Boolean:
                    b.SetInteger(i, sqlite3_column_int64(stmt, i) != 0 ? 1 : 0);
                    break;
                case Reader::Float:
                    b.SetFloat(i, sqlite3_column_double(stmt, i));
                    break;
                case Reader::Text:
                    b.SetTextUtf8(i, reinterpret_cast<const char*>(sqlite3_column_text(stmt, i)),
                                  sqlite3_column_bytes(stmt, i));
                    break;
                case Reader::Date: {
                    TDateTime v = 0;
                    if (t == SQLITE_TEXT) {
                        if (ParseSqliteDateTime(reinterpret_cast<const char*>(sqlite3_column_text(stmt, i)),
                                                sqlite3_column_bytes(stmt, i), v))
                            b.SetDateTime(i, v);
                    } else if (t == SQLITE_INTEGER || t == SQLITE_FLOAT) {
                        // A number in a date column counts days from 1900-01-01,
                        // as SQL Server converts numbers to date-times.
                        b.SetDateTime(i, sqlite3_column_double(stmt, i) + 2);
                    }
                    break;
                }
                case Reader::Bytes:
                    b.SetBytes(i, sqlite3_column_blob(stmt, i), sqlite3_column_bytes(stmt, i));
                    break;
                }
            }
            b.EndRow();
            rc = sqlite3_step(stmt);
        }
        if (rc != SQLITE_DONE) Fail();
    } catch (...) {
        target.EndLoad();
        target.Close();
        throw;
    }
    target.EndLoad();
}

// ---------------------------------------------------------------------------
// Posting

TUpdateResult TSqliteDriver::ApplyUpdate(const TUpdateRequest& request) {
    if (!request.Fields) throw EDatabaseError(QStringLiteral("更新请求没有字段"));
    // One savepoint around the statements of a post makes it all or nothing,
    // inside an open transaction as well as on its own.
    Exec(QStringLiteral("SAVEPOINT lnq_post"), true);
    try {
        TUpdateResult r = ApplyInTransaction(request);
        Exec(QStringLiteral("RELEASE SAVEPOINT lnq_post"), true);
        return r;
    } catch (...) {
        if (!sqlite3_get_autocommit(m_db)) {
            sqlite3_exec(m_db, "ROLLBACK TO SAVEPOINT lnq_post", nullptr, nullptr, nullptr);
            sqlite3_exec(m_db, "RELEASE SAVEPOINT lnq_post", nullptr, nullptr, nullptr);
        }
        throw;
    }
}

TUpdateResult TSqliteDriver::ApplyInTransaction(const TUpdateRequest& request) {
    const TFieldDefs& fields = *request.Fields;
    const size_t n = fields.size();

    // The table to write: the request's, else the one table all data columns come from.
    QString table = request.BaseTable;
    if (table.isEmpty()) {
        for (const TFieldDef& f : fields) {
            if (f.BaseTable.isEmpty() || f.Kind != TFieldKind::fkData) continue;
            if (table.isEmpty())
                table = f.BaseTable;
            else if (table.compare(f.BaseTable, Qt::CaseInsensitive) != 0)
                throw EDatabaseError(QStringLiteral("无法更新: 查询的列来自多个表"));
        }
    }
    if (table.isEmpty()) throw EDatabaseError(QStringLiteral("无法更新: 查询没有可更新的基表"));

    auto belongs = [&](size_t i) {
        const TFieldDef& f = fields[i];
        return f.Kind == TFieldKind::fkData && !f.Hidden && !f.BaseTable.isEmpty() &&
               f.BaseTable.compare(table, Qt::CaseInsensitive) == 0;
    };
    auto column = [&](size_t i) {
        return fields[i].BaseColumn.isEmpty() ? fields[i].Name : fields[i].BaseColumn;
    };
    auto valueAt = [](const std::vector<QVariant>& v, size_t i) { return i < v.size() ? v[i] : QVariant(); };
    auto changed = [&](size_t i) { return i < request.Changed.size() && request.Changed[i]; };

    // The name the request's rowid column reads the rowid by ("rowid" unless
    // the table has a column of that name).
    QString rowIdName;
    for (const TFieldDef& f : fields)
        if (f.IsRowId && (f.BaseTable.isEmpty() || f.BaseTable.compare(table, Qt::CaseInsensitive) == 0)) {
            rowIdName = f.BaseColumn.isEmpty() ? QStringLiteral("rowid") : f.BaseColumn;
            break;
        }

    // WHERE of a modify or delete: the rowid, else the key columns, else every
    // comparable column as read (the "all columns" update criteria). A WHERE that
    // meets more than one row is refused below, inside the savepoint.
    QStringList where;
    std::vector<std::pair<QVariant, TFieldType>> whereArgs;
    auto matchOld = [&](size_t i) {
        const QVariant old = valueAt(request.OldValues, i);
        if (old.isNull())
            where << quoteIdent(column(i)) + QStringLiteral(" IS NULL");
        else {
            where << quoteIdent(column(i)) + QStringLiteral("=?");
            whereArgs.emplace_back(old, fields[i].DataType);
        }
    };
    if (request.Kind != TUpdateKind::ukInsert) {
        if (!rowIdName.isEmpty() && request.RowId.isValid() && !request.RowId.isNull()) {
            where << quoteIdent(rowIdName) + QStringLiteral("=?");
            whereArgs.emplace_back(request.RowId, TFieldType::ftLargeint);
        }
        if (where.isEmpty())
            for (size_t i = 0; i < n; ++i)
                if (belongs(i) && fields[i].IsKey) matchOld(i);
        if (where.isEmpty()) {
            for (size_t i = 0; i < n; ++i) {
                if (!belongs(i)) continue;
                const TStorageKind k = StorageKindOf(fields[i].DataType);
                if (k == TStorageKind::Bytes || fields[i].DataType == TFieldType::ftMemo ||
                    fields[i].DataType == TFieldType::ftFmtMemo)
                    continue;
                matchOld(i);
            }
        }
        if (where.isEmpty()) throw EDatabaseError(RowNotLocatedMessage());
    }

    QString sql;
    std::vector<std::pair<QVariant, TFieldType>> args;
    std::vector<size_t> insertedColumns;
    switch (request.Kind) {
    case TUpdateKind::ukModify: {
        QStringList sets;
        for (size_t i = 0; i < n; ++i) {
            if (!belongs(i) || !changed(i) || fields[i].ReadOnly) continue;
            sets << quoteIdent(column(i)) + QStringLiteral("=?");
            args.emplace_back(valueAt(request.NewValues, i), fields[i].DataType);
        }
        if (sets.isEmpty()) return {};
        sql = QStringLiteral("UPDATE ") + quoteIdent(table) + QStringLiteral(" SET ") +
              sets.join(QLatin1Char(',')) + QStringLiteral(" WHERE ") + where.join(QStringLiteral(" AND "));
        break;
    }
    case TUpdateKind::ukInsert: {
        QStringList cols;
        for (size_t i = 0; i < n; ++i) {
            if (!belongs(i) || !changed(i)) continue;
            if (fields[i].ReadOnly && valueAt(request.NewValues, i).isNull()) continue;
            cols << quoteIdent(column(i));
            args.emplace_back(valueAt(request.NewValues, i), fields[i].DataType);
            insertedColumns.push_back(i);
        }
        sql = QStringLiteral("INSERT INTO ") + quoteIdent(table);
        if (cols.isEmpty())
            sql += QStringLiteral(" DEFAULT VALUES");
        else
            sql += QStringLiteral(" (") + cols.join(QLatin1Char(',')) + QStringLiteral(") VALUES (") +
                   QStringList(cols.size(), QStringLiteral("?")).join(QLatin1Char(',')) + QLatin1Char(')');
        break;
    }
    case TUpdateKind::ukDelete:
        sql = QStringLiteral("DELETE FROM ") + quoteIdent(table) + QStringLiteral(" WHERE ") +
              where.join(QStringLiteral(" AND "));
        break;
    }
    args.insert(args.end(), whereArgs.begin(), whereArgs.end());

    Notify(sql);
    Stmt st;
    const QByteArray text = sql.toUtf8();
    if (sqlite3_prepare_v2(m_db, text.constData(), static_cast<int>(text.size()), &st.s, nullptr) !=
        SQLITE_OK)
        Fail();
    for (size_t a = 0; a < args.size(); ++a)
        bindValue(st.s, static_cast<int>(a + 1), args[a].first, args[a].second);
    if (sqlite3_step(st.s) != SQLITE_DONE) Fail();

    if (request.Kind != TUpdateKind::ukInsert) {
        const int changes = sqlite3_changes(m_db);
        if (changes == 0) throw EDatabaseError(RowNotLocatedMessage());
        if (changes > 1) throw EDatabaseError(QStringLiteral("键列信息不足或不正确。更新影响到多行。"));
        return {};
    }

    // Read the new row back for what the database chose: the identity and
    // the defaults of the columns the insert left out.
    TUpdateResult result;
    const qint64 rowid = sqlite3_last_insert_rowid(m_db);
    if (!rowIdName.isEmpty()) result.RowId = QVariant(static_cast<qlonglong>(rowid));
    std::vector<size_t> reread;
    QStringList cols;
    for (size_t i = 0; i < n; ++i) {
        if (!belongs(i) ||
            std::find(insertedColumns.begin(), insertedColumns.end(), i) != insertedColumns.end())
            continue;
        reread.push_back(i);
        cols << quoteIdent(column(i));
    }
    if (reread.empty()) return result;
    if (rowIdName.isEmpty()) rowIdName = m_dialect->RowIdName(table);
    if (rowIdName.isEmpty()) return result; // no rowid to read the row back by
    const QString select = QStringLiteral("SELECT ") + cols.join(QLatin1Char(',')) +
                           QStringLiteral(" FROM ") + quoteIdent(table) + QStringLiteral(" WHERE ") +
                           quoteIdent(rowIdName) + QStringLiteral("=?");
    Notify(select);
    Stmt rs;
    const QByteArray stext = select.toUtf8();
    if (sqlite3_prepare_v2(m_db, stext.constData(), static_cast<int>(stext.size()), &rs.s, nullptr) !=
        SQLITE_OK) {
        // A table without rowid: nothing to read back by.
        return result;
    }
    sqlite3_bind_int64(rs.s, 1, rowid);
    const int rc = sqlite3_step(rs.s);
    if (rc == SQLITE_ROW) {
        for (size_t k = 0; k < reread.size(); ++k)
            result.Assigned.emplace_back(static_cast<int>(reread[k]),
                                         columnValue(rs.s, static_cast<int>(k), fields[reread[k]].DataType));
    } else if (rc != SQLITE_DONE) {
        Fail();
    }
    return result;
}

// ---------------------------------------------------------------------------
// Transactions: the outermost level is a transaction, inner levels savepoints.

void TSqliteDriver::BeginTransaction(int level) {
    Exec(level <= 1 ? QStringLiteral("BEGIN") : QStringLiteral("SAVEPOINT lnq_tran_%1").arg(level), true);
}

void TSqliteDriver::CommitTransaction(int level) {
    Exec(level <= 1 ? QStringLiteral("COMMIT") : QStringLiteral("RELEASE SAVEPOINT lnq_tran_%1").arg(level),
         true);
}

void TSqliteDriver::RollbackTransaction(int level) {
    if (level <= 1) {
        Exec(QStringLiteral("ROLLBACK"), true);
        return;
    }
    Exec(QStringLiteral("ROLLBACK TO SAVEPOINT lnq_tran_%1").arg(level), true);
    Exec(QStringLiteral("RELEASE SAVEPOINT lnq_tran_%1").arg(level), false);
}

bool TSqliteDriver::TransactionActive() {
    return m_db && !sqlite3_get_autocommit(m_db);
}

QStringList TSqliteDriver::TableNames() {
    QStringList names;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(
            m_db,
            "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' "
            "ESCAPE '\\' ORDER BY rowid",
            -1, &stmt, nullptr) != SQLITE_OK)
        Fail();
    int rc = SQLITE_ROW;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
        names << utf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    sqlite3_finalize(stmt);
    if (rc != SQLITE_DONE) Fail();
    return names;
}

} // namespace lnq
