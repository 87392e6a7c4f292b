// TCustomADODataSet and its family: connected datasets sorted by a Sort text,
// cloned over shared records, posting to their connection.

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "util/Exceptions.h"

#include <QPointer>

namespace lnq {

struct TCustomADODataSet::Private {
    QPointer<TADOConnection> connection;
    TCommandType commandType = TCommandType::cmdText;
    QString commandText;
    QString sort;
};

TCustomADODataSet::TCustomADODataSet(QObject* owner) : TDataSet(owner), d(std::make_unique<Private>()) {}
TCustomADODataSet::~TCustomADODataSet() = default;

TADOConnection* TCustomADODataSet::Connection() const {
    return d->connection.data();
}
void TCustomADODataSet::SetConnection(TADOConnection* connection) {
    d->connection = connection;
}
TCommandType TCustomADODataSet::CommandType() const {
    return d->commandType;
}
void TCustomADODataSet::SetCommandType(TCommandType type) {
    d->commandType = type;
}
QString TCustomADODataSet::CommandText() const {
    return d->commandText;
}
void TCustomADODataSet::SetCommandText(const QString& sql) {
    d->commandText = sql;
}

QString TCustomADODataSet::Sort() const {
    return d->sort;
}

void TCustomADODataSet::SetSort(const QString& sort) {
    // "A", "A DESC", "A ASC, [B C] DESC". Text comparisons ignore letter case
    // like the database's collation does.
    QStringList fields;
    std::vector<bool> desc;
    std::vector<bool> ci;
    const QStringList parts = sort.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& raw : parts) {
        QString part = raw.trimmed();
        if (part.isEmpty()) continue;
        bool descending = false;
        const QString upper = part.toUpper();
        if (upper.endsWith(QLatin1String(" DESC"))) {
            descending = true;
            part.chop(5);
        } else if (upper.endsWith(QLatin1String(" ASC"))) {
            part.chop(4);
        }
        part = part.trimmed();
        if (part.startsWith(QLatin1Char('[')) && part.endsWith(QLatin1Char(']')))
            part = part.mid(1, part.size() - 2);
        if (part.isEmpty()) throw EDatabaseError(QStringLiteral("排序条件 '%1' 无效").arg(sort));
        if (FindField(part) == nullptr && Active())
            throw EDatabaseError(QStringLiteral("排序字段 '%1' 不存在").arg(part));
        fields << part;
        desc.push_back(descending);
        ci.push_back(true);
    }
    SetOrdering(fields, desc, ci);
    d->sort = sort;
}

void TCustomADODataSet::Clone(TCustomADODataSet& source) {
    if (!source.Active())
        throw EDatabaseError(QStringLiteral("数据集 %1 没有打开，不能复制").arg(source.ClassName()));
    if (&source == this) return;
    d->sort.clear();
    if (!d->connection) d->connection = source.d->connection;
    if (d->commandText.isEmpty()) {
        d->commandText = source.d->commandText;
        d->commandType = source.d->commandType;
    }
    ShareRecordsOf(source);
}

void TCustomADODataSet::Requery() {
    ReloadSharedRecords([this] {
        Close();
        DoOpen();
    });
}

void TCustomADODataSet::DoOpen() {
    if (!d->connection) throw EDatabaseError(QStringLiteral("数据集 %1 没有连接，不能打开").arg(ClassName()));
    const QString sql = d->commandType == TCommandType::cmdTable
                            ? QStringLiteral("select * from ") + d->commandText
                            : d->commandText;
    d->connection->OpenDataSet(sql, *this);
}

TUpdateResult TCustomADODataSet::ApplyUpdate(const TUpdateRequest& request) {
    if (d->connection) return d->connection->ApplyUpdate(request);
    return TDataSet::ApplyUpdate(request);
}

void TADOTable::SetTableName(const QString& name) {
    SetCommandType(TCommandType::cmdTable);
    SetCommandText(name);
}

} // namespace lnq
