#include "data/OdbcDriver.h"

#include "util/Exceptions.h"

#include <QAtomicInt>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlField>
#include <QSqlIndex>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>

namespace lnq {

namespace {

QAtomicInt g_connectionCounter;

QString errorText(const QSqlError& e) {
    // The server's own text first: that is the message users know.
    QString t = e.databaseText().trimmed();
    if (t.isEmpty()) t = e.text().trimmed();
    return t;
}

QString bracket(const QString& name) {
    QString n = name;
    n.replace(QLatin1Char(']'), QLatin1String("]]"));
    return QLatin1Char('[') + n + QLatin1Char(']');
}

// Strips [ ] and an owner prefix from a table reference.
QString bareTableName(QString t) {
    t = t.trimmed();
    const QStringList parts = t.split(QLatin1Char('.'));
    QString last = parts.last().trimmed();
    if (last.startsWith(QLatin1Char('[')) && last.endsWith(QLatin1Char(']')))
        last = last.mid(1, last.size() - 2);
    return last;
}

QVariant typedNull(TFieldType t) {
    switch (StorageKindOf(t)) {
    case TStorageKind::Integer:
        return QVariant(QMetaType(QMetaType::LongLong));
    case TStorageKind::Boolean:
        return QVariant(QMetaType(QMetaType::Bool));
    case TStorageKind::Float:
        return QVariant(QMetaType(QMetaType::Double));
    case TStorageKind::DateTime:
        return QVariant(QMetaType(QMetaType::QDateTime));
    case TStorageKind::Bytes:
        return QVariant(QMetaType(QMetaType::QByteArray));
    case TStorageKind::Text:
        break;
    }
    return QVariant(QMetaType(QMetaType::QString));
}

QVariant toParameter(const QVariant& v, TFieldType t) {
    if (v.isNull()) return typedNull(t);
    switch (StorageKindOf(t)) {
    case TStorageKind::Integer:
        return QVariant(v.toLongLong());
    case TStorageKind::Boolean:
        return QVariant(v.toBool());
    case TStorageKind::Float:
        return QVariant(v.toDouble());
    case TStorageKind::DateTime:
        if (v.typeId() == QMetaType::QDateTime) return v;
        if (v.typeId() == QMetaType::QDate) return QVariant(v.toDate().startOfDay());
        return QVariant(DateTimeToQt(v.toDouble()));
    case TStorageKind::Bytes:
        return QVariant(v.toByteArray());
    case TStorageKind::Text:
        break;
    }
    return QVariant(v.toString());
}

} // namespace

TFieldType FieldTypeFromOdbc(int type, int precision, int scale) {
    switch (type) {
    case 1:  // SQL_CHAR
    case -8: // SQL_WCHAR
        return TFieldType::ftFixedChar;
    case 12:  // SQL_VARCHAR
    case -9:  // SQL_WVARCHAR
    case -11: // SQL_GUID
        return TFieldType::ftString;
    case -1:   // SQL_LONGVARCHAR (text)
    case -10:  // SQL_WLONGVARCHAR (ntext)
    case -152: // SQL_SS_XML
        return TFieldType::ftMemo;
    case 2: // SQL_NUMERIC
    case 3: // SQL_DECIMAL
        if (scale == 4 && (precision == 19 || precision == 10)) return TFieldType::ftCurrency;
        return precision > 15 ? TFieldType::ftFMTBcd : TFieldType::ftBCD;
    case 4: // SQL_INTEGER
        return TFieldType::ftInteger;
    case 5:  // SQL_SMALLINT
    case -6: // SQL_TINYINT
        return TFieldType::ftSmallint;
    case -5: // SQL_BIGINT
        return TFieldType::ftLargeint;
    case 6: // SQL_FLOAT
    case 7: // SQL_REAL
    case 8: // SQL_DOUBLE
        return TFieldType::ftFloat;
    case -7: // SQL_BIT
        return TFieldType::ftBoolean;
    case 9:  // SQL_DATETIME
    case 11: // SQL_TIMESTAMP (ODBC 2)
    case 93: // SQL_TYPE_TIMESTAMP
    case -155:
        return TFieldType::ftDateTime;
    case 91: // SQL_TYPE_DATE
        return TFieldType::ftDate;
    case 92:   // SQL_TYPE_TIME
    case -154: // SQL_SS_TIME2
        return TFieldType::ftTime;
    case -2: // SQL_BINARY
        return TFieldType::ftBytes;
    case -3: // SQL_VARBINARY
        return TFieldType::ftVarBytes;
    case -4: // SQL_LONGVARBINARY (image)
        return TFieldType::ftBlob;
    default:
        return TFieldType::ftString;
    }
}

QString SingleTableOfSelect(const QString& sql) {
    static const QRegularExpression re(
        QStringLiteral(
            R"(^\s*select\s.*?\sfrom\s+((?:\[[^\]]+\]|[\w#@$]+)(?:\s*\.\s*(?:\[[^\]]+\]|[\w#@$]+))*))"
            R"((\s+(?:as\s+)?(?!where\b|order\b|group\b|having\b|union\b|join\b|inner\b|left\b|)"
            R"(right\b|full\b|cross\b|with\b|for\b)\w+)?\s*(.*)$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch m = re.match(sql);
    if (!m.hasMatch()) return QString();
    const QString rest = m.captured(3);
    static const QRegularExpression multi(QStringLiteral(R"(^,|\b(join|union|apply)\b)"),
                                          QRegularExpression::CaseInsensitiveOption);
    // A comma or join right after the table, or a union anywhere, makes it
    // more than one table.
    if (rest.startsWith(QLatin1Char(',')) || multi.match(rest).hasMatch()) return QString();
    return bareTableName(m.captured(1));
}

TOdbcDriver::TOdbcDriver(const QString& odbc, int loginTimeout)
    : m_name(QStringLiteral("lnq_odbc_%1").arg(g_connectionCounter.fetchAndAddRelaxed(1))) {
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QODBC")))
        throw EDatabaseError(QStringLiteral("没有可用的 ODBC 驱动 (QODBC)"));
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QODBC"), m_name);
    db.setDatabaseName(odbc);
    if (loginTimeout > 0) db.setConnectOptions(QStringLiteral("SQL_ATTR_LOGIN_TIMEOUT=%1").arg(loginTimeout));
    if (!db.open()) {
        const QString msg = errorText(db.lastError());
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
        throw EDatabaseError(msg.isEmpty() ? QStringLiteral("无法连接到数据库") : msg);
    }
}

TOdbcDriver::~TOdbcDriver() {
    {
        QSqlDatabase db = Db();
        if (m_level > 0) db.rollback();
        db.close();
    }
    QSqlDatabase::removeDatabase(m_name);
}

QSqlDatabase TOdbcDriver::Db() const {
    return QSqlDatabase::database(m_name, false);
}

QStringList TOdbcDriver::PrimaryKey(const QString& table) {
    QStringList keys;
    const QSqlIndex idx = Db().primaryIndex(table);
    for (int i = 0; i < idx.count(); ++i)
        keys << idx.fieldName(i);
    return keys;
}

void TOdbcDriver::Execute(const QString& sql) {
    Notify(sql);
    QSqlQuery q(Db());
    if (!q.exec(sql)) throw EDatabaseError(errorText(q.lastError()));
    // Errors of later statements of a batch arrive with their results.
    while (q.nextResult()) {
    }
    if (q.lastError().isValid()) throw EDatabaseError(errorText(q.lastError()));
}

bool TOdbcDriver::ReturnsRows(const QString& sql) {
    static const QRegularExpression re(QStringLiteral(R"(^\s*(select|with)\b)"),
                                       QRegularExpression::CaseInsensitiveOption);
    return re.match(sql).hasMatch();
}

void TOdbcDriver::OpenDataSet(const QString& sql, TDataSet& target) {
    Notify(sql);
    QSqlQuery q(Db());
    q.setForwardOnly(true);
    q.setNumericalPrecisionPolicy(QSql::LowPrecisionDouble);
    if (!q.exec(sql)) throw EDatabaseError(errorText(q.lastError()));
    while (!q.isSelect()) {
        if (!q.nextResult()) {
            if (q.lastError().isValid()) throw EDatabaseError(errorText(q.lastError()));
            throw EDatabaseError(QStringLiteral("CommandText 不返回结果集"));
        }
    }

    const QSqlRecord rec = q.record();
    const int n = rec.count();
    const QString table = SingleTableOfSelect(sql);
    QSqlRecord tableRec;
    QStringList keys;
    if (!table.isEmpty()) {
        tableRec = Db().record(table);
        keys = PrimaryKey(table);
        m_keys.insert(table.toCaseFolded(), keys);
    }
    TFieldDefs defs(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const QSqlField f = rec.field(i);
        TFieldDef& def = defs[static_cast<size_t>(i)];
        def.Name = f.name();
        def.DataType = FieldTypeFromOdbc(f.typeID(), f.length(), f.precision());
        def.Size = f.length() > 0 ? f.length() : 0;
        def.Scale = f.precision() > 0 ? f.precision() : 0;
        def.Required = f.requiredStatus() == QSqlField::Required;
        if (f.isAutoValue()) {
            def.DataType = TFieldType::ftAutoInc;
            def.ReadOnly = true;
            def.Required = false;
        }
        if (!table.isEmpty() && tableRec.indexOf(def.Name) >= 0) {
            def.BaseTable = table;
            def.BaseColumn = tableRec.fieldName(tableRec.indexOf(def.Name));
            def.IsKey = keys.contains(def.BaseColumn, Qt::CaseInsensitive);
        } else {
            def.ReadOnly = true;
        }
    }

    TRecordSetBuilder& b = target.BeginLoad(defs);
    try {
        while (q.next()) {
            for (int i = 0; i < n; ++i) {
                const QVariant v = q.value(i);
                if (v.isNull()) continue;
                switch (StorageKindOf(defs[static_cast<size_t>(i)].DataType)) {
                case TStorageKind::Integer:
                    b.SetInteger(i, v.toLongLong());
                    break;
                case TStorageKind::Boolean:
                    b.SetInteger(i, v.toBool() ? 1 : 0);
                    break;
                case TStorageKind::Float:
                    b.SetFloat(i, v.toDouble());
                    break;
                case TStorageKind::DateTime:
                    b.SetDateTime(i, v.typeId() == QMetaType::QDate ? DateFromQt(v.toDate())
                                                                    : DateTimeFromQt(v.toDateTime()));
                    break;
                case TStorageKind::Bytes: {
                    const QByteArray bytes = v.toByteArray();
                    b.SetBytes(i, bytes.constData(), static_cast<int>(bytes.size()));
                    break;
                }
                case TStorageKind::Text:
                    b.SetText(i, v.toString());
                    break;
                }
            }
            b.EndRow();
        }
        if (q.lastError().isValid()) throw EDatabaseError(errorText(q.lastError()));
    } catch (...) {
        target.EndLoad();
        target.Close();
        throw;
    }
    target.EndLoad();
}

TUpdateResult TOdbcDriver::ApplyUpdate(const TUpdateRequest& request) {
    if (!request.Fields) throw EDatabaseError(QStringLiteral("更新请求没有字段"));
    // A savepoint (or a transaction of its own) around the change: a change
    // refused after it ran must leave the table as it was.
    QSqlDatabase db = Db();
    const bool own = m_level == 0;
    if (own) {
        Notify(QStringLiteral("BEGIN TRANSACTION"));
        if (!db.transaction()) throw EDatabaseError(errorText(db.lastError()));
    } else {
        Execute(QStringLiteral("SAVE TRANSACTION lnq_post"));
    }
    TUpdateResult result;
    try {
        result = ApplyInSavepoint(request);
        if (own) {
            Notify(QStringLiteral("COMMIT TRANSACTION"));
            if (!db.commit()) throw EDatabaseError(errorText(db.lastError()));
        }
    } catch (...) {
        if (own) {
            db.rollback();
        } else {
            QSqlQuery undo(db);
            undo.exec(QStringLiteral("ROLLBACK TRANSACTION lnq_post"));
        }
        throw;
    }
    return result;
}

TUpdateResult TOdbcDriver::ApplyInSavepoint(const TUpdateRequest& request) {
    const TFieldDefs& fields = *request.Fields;
    const size_t n = fields.size();
    QString table = request.BaseTable;
    if (table.isEmpty()) {
        for (const TFieldDef& f : fields)
            if (!f.BaseTable.isEmpty()) {
                table = f.BaseTable;
                break;
            }
    }
    if (table.isEmpty()) throw EDatabaseError(QStringLiteral("无法更新: 查询没有可更新的基表"));

    auto belongs = [&](size_t i) {
        return fields[i].Kind == TFieldKind::fkData && !fields[i].Hidden && !fields[i].BaseTable.isEmpty() &&
               fields[i].BaseTable.compare(table, Qt::CaseInsensitive) == 0;
    };
    auto column = [&](size_t i) {
        return fields[i].BaseColumn.isEmpty() ? fields[i].Name : fields[i].BaseColumn;
    };
    auto valueAt = [](const std::vector<QVariant>& v, size_t i) { return i < v.size() ? v[i] : QVariant(); };
    auto changed = [&](size_t i) { return i < request.Changed.size() && request.Changed[i]; };

    QStringList where;
    QVariantList whereArgs;
    if (request.Kind != TUpdateKind::ukInsert) {
        // The key identifies the row only when the select holds all of it.
        QStringList held;
        for (size_t i = 0; i < n; ++i)
            if (belongs(i) && fields[i].IsKey) held << column(i);
        const auto known = m_keys.constFind(table.toCaseFolded());
        bool hasKey = !held.isEmpty();
        if (known != m_keys.constEnd())
            for (const QString& k : *known)
                hasKey = hasKey && held.contains(k, Qt::CaseInsensitive);
        for (size_t i = 0; i < n; ++i) {
            if (!belongs(i) || (hasKey && !fields[i].IsKey)) continue;
            const TStorageKind k = StorageKindOf(fields[i].DataType);
            // text / ntext / image / xml columns cannot be compared on the server.
            if (!hasKey && (k == TStorageKind::Bytes || fields[i].DataType == TFieldType::ftMemo ||
                            fields[i].DataType == TFieldType::ftFmtMemo))
                continue;
            const QVariant old = valueAt(request.OldValues, i);
            if (old.isNull())
                where << bracket(column(i)) + QStringLiteral(" IS NULL");
            else {
                where << bracket(column(i)) + QStringLiteral("=?");
                whereArgs << toParameter(old, fields[i].DataType);
            }
        }
        if (where.isEmpty()) throw EDatabaseError(RowNotLocatedMessage());
    }

    QString sql;
    QVariantList args;
    int identityField = -1;
    switch (request.Kind) {
    case TUpdateKind::ukModify: {
        QStringList sets;
        for (size_t i = 0; i < n; ++i) {
            if (!belongs(i) || !changed(i) || fields[i].ReadOnly) continue;
            sets << bracket(column(i)) + QStringLiteral("=?");
            args << toParameter(valueAt(request.NewValues, i), fields[i].DataType);
        }
        if (sets.isEmpty()) return {};
        sql = QStringLiteral("UPDATE ") + bracket(table) + QStringLiteral(" SET ") +
              sets.join(QLatin1Char(',')) + QStringLiteral(" WHERE ") + where.join(QStringLiteral(" AND "));
        break;
    }
    case TUpdateKind::ukInsert: {
        QStringList cols;
        for (size_t i = 0; i < n; ++i) {
            if (!belongs(i)) continue;
            if (fields[i].DataType == TFieldType::ftAutoInc) identityField = static_cast<int>(i);
            if (!changed(i) || fields[i].ReadOnly) continue;
            cols << bracket(column(i));
            args << toParameter(valueAt(request.NewValues, i), fields[i].DataType);
        }
        // One batch, so that SCOPE_IDENTITY() sees the insert's scope.
        sql = QStringLiteral("SET NOCOUNT ON; INSERT INTO ") + bracket(table);
        if (cols.isEmpty())
            sql += QStringLiteral(" DEFAULT VALUES");
        else
            sql += QStringLiteral(" (") + cols.join(QLatin1Char(',')) + QStringLiteral(") VALUES (") +
                   QStringList(cols.size(), QStringLiteral("?")).join(QLatin1Char(',')) + QLatin1Char(')');
        sql += QStringLiteral("; SELECT CAST(SCOPE_IDENTITY() AS BIGINT)");
        break;
    }
    case TUpdateKind::ukDelete:
        sql = QStringLiteral("DELETE FROM ") + bracket(table) + QStringLiteral(" WHERE ") +
              where.join(QStringLiteral(" AND "));
        break;
    }
    args += whereArgs;

    Notify(sql);
    QSqlQuery q(Db());
    if (!q.prepare(sql)) throw EDatabaseError(errorText(q.lastError()));
    for (const QVariant& a : args)
        q.addBindValue(a);
    if (!q.exec()) throw EDatabaseError(errorText(q.lastError()));

    TUpdateResult result;
    if (request.Kind == TUpdateKind::ukInsert) {
        while (!q.isSelect() && q.nextResult()) {
        }
        if (q.isSelect() && q.next() && identityField >= 0 && !q.value(0).isNull())
            result.Assigned.emplace_back(identityField, QVariant(q.value(0).toLongLong()));
        return result;
    }
    const int changes = q.numRowsAffected();
    if (changes == 0) throw EDatabaseError(RowNotLocatedMessage());
    if (changes > 1) throw EDatabaseError(QStringLiteral("键列信息不足或不正确。更新影响到多行。"));
    return result;
}

void TOdbcDriver::BeginTransaction(int level) {
    QSqlDatabase db = Db();
    if (level <= 1) {
        Notify(QStringLiteral("BEGIN TRANSACTION"));
        if (!db.transaction()) throw EDatabaseError(errorText(db.lastError()));
        // Manual-commit mode may only switch implicit transactions on, which
        // start with the first data statement; a real one from here on lets
        // savepoints and @@TRANCOUNT work at once.
        try {
            Execute(QStringLiteral("IF @@TRANCOUNT = 0 BEGIN TRANSACTION"));
        } catch (...) {
            db.rollback();
            throw;
        }
    } else {
        Execute(QStringLiteral("SAVE TRANSACTION lnq_tran_%1").arg(level));
    }
    m_level = level;
}

void TOdbcDriver::CommitTransaction(int level) {
    if (level <= 1) {
        Notify(QStringLiteral("COMMIT TRANSACTION"));
        QSqlDatabase db = Db();
        if (!db.commit()) throw EDatabaseError(errorText(db.lastError()));
    }
    // SQL Server has no release of a savepoint: an inner commit only closes
    // the level; its work commits with the outermost one.
    m_level = level - 1;
}

void TOdbcDriver::RollbackTransaction(int level) {
    if (level <= 1) {
        Notify(QStringLiteral("ROLLBACK TRANSACTION"));
        QSqlDatabase db = Db();
        if (!db.rollback()) throw EDatabaseError(errorText(db.lastError()));
    } else {
        Execute(QStringLiteral("ROLLBACK TRANSACTION lnq_tran_%1").arg(level));
    }
    m_level = level - 1;
}

bool TOdbcDriver::TransactionActive() {
    if (m_level == 0) return false;
    QSqlQuery q(Db());
    if (q.exec(QStringLiteral("SELECT @@TRANCOUNT")) && q.next() && q.value(0).toInt() > 0) return true;
    // The server ended the transaction (an error with XACT_ABORT, a lost
    // connection): leave manual-commit mode so the next statement commits.
    Db().rollback();
    m_level = 0;
    return false;
}

QStringList TOdbcDriver::TableNames() {
    return Db().tables(QSql::Tables);
}

} // namespace lnq
