#include "forms/ListCommon.h"

#include "data/Plat_adodatabasese.h"
#include "data/Plat_databaseinterface.h"
#include "util/Clock.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

namespace lnq {

QString ListNewestSQL(const QString& table, const QString& keyField) {
    return QStringLiteral("SELECT TOP 100 * FROM ") + table + QStringLiteral(" ORDER BY ") + keyField +
           QStringLiteral(" DESC");
}

QString ListKeySQL(const QString& table, const QString& field, qint64 value, const QString& keyField) {
    return QStringLiteral("SELECT TOP 100 * FROM ") + table + QStringLiteral(" where ") + field +
           QLatin1Char('=') + QString::number(value) + QStringLiteral(" ORDER BY ") + keyField +
           QStringLiteral(" DESC");
}

QString ListDetailSQL(const QString& detailTable, const QString& detailKeyField, const QString& masterKey) {
    return QStringLiteral(" SELECT * FROM ") + detailTable + QStringLiteral(" WHERE ") + detailKeyField +
           QStringLiteral(" = ") + masterKey;
}

QString ListPropertiesSQL(const QString& table, const QString& key) {
    return QStringLiteral("select *,'' as vAppLinkFormat from sys_properties where vTableName=") +
           TInterfacedADOConnection::QuotedStr(table) + QStringLiteral(" and vKeyField=") +
           TInterfacedADOConnection::QuotedStr(key);
}

QString ListAllDataSQL(const QString& table, const QString& condition, const QString& authority) {
    QString sql = QStringLiteral(" select * from ") + table + QStringLiteral(" where 1=1 and ") + condition;
    // A user without restrictions has an empty authority condition.
    if (!authority.isEmpty()) sql += QStringLiteral(" and ") + authority;
    return sql;
}

QString ConfirmStateText(bool confirmed, const QString& word) {
    return (confirmed ? QStringLiteral("已") : QStringLiteral("未")) + word;
}

bool IsConfirmed(const TDataSet& dataSet, const TConfirmFields& fields) {
    if (!dataSet.Active() || dataSet.IsEmpty()) return false;
    const TField* state = dataSet.FindField(fields.StateField);
    return state && state->AsString() == ConfirmStateText(true, fields.Word);
}

void WriteConfirmState(IConnection& connection, TDataSet& dataSet, const QString& table,
                       const QString& keyField, const TConfirmFields& fields, bool confirm,
                       const QString& userName) {
    try {
        dataSet.Edit();
        dataSet.FieldByName(fields.StateField).SetAsString(ConfirmStateText(confirm, fields.Word));
        if (!fields.UserField.isEmpty()) dataSet.FieldByName(fields.UserField).SetAsString(userName);
        if (!fields.DateField.isEmpty())
            dataSet.FieldByName(fields.DateField).SetAsDateTime(QDateTime(Clock::today(), QTime(0, 0)));
        const QByteArray tableBytes = Gbk::encode(table);
        const QByteArray keyBytes = Gbk::encode(keyField);
        if (!connection.DoPost(dataSet, tableBytes.constData(), keyBytes.constData()))
            throw EDatabaseError(QStringLiteral("数据保存失败：") + table);
    } catch (...) {
        if (dataSet.State() != TDataSetState::dsBrowse) dataSet.Cancel();
        throw;
    }
}

} // namespace lnq
