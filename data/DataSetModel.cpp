#include "data/DataSetModel.h"

#include "util/Exceptions.h"

namespace lnq {

QString DataSetCellText(const TDataSet& dataSet, int row, int field) {
    const TField& f = dataSet.Fields(field);
    if (f.DataType() == TFieldType::ftBoolean) {
        if (dataSet.IsNullAt(row, field)) return QString();
        return dataSet.ValueAt(row, field).toBool() ? QStringLiteral("是") : QStringLiteral("否");
    }
    if (f.FieldName().compare(QLatin1String("vPassword"), Qt::CaseInsensitive) == 0)
        return QStringLiteral("********");
    return dataSet.DisplayTextAt(row, field);
}

TDataSetModel::TDataSetModel(TDataSet* dataSet, QObject* parent) : QAbstractTableModel(parent) {
    SetDataSet(dataSet);
}

TDataSetModel::~TDataSetModel() {
    detach();
}

void TDataSetModel::detach() {
    for (const QMetaObject::Connection& c : m_links)
        disconnect(c);
    m_links.clear();
}

void TDataSetModel::SetDataSet(TDataSet* dataSet) {
    detach();
    m_dataSet = dataSet;
    attach();
    reset();
}

void TDataSetModel::attach() {
    TDataSet* ds = m_dataSet.data();
    if (!ds) return;
    m_links << connect(ds, &TDataSet::dataSetChanged, this, &TDataSetModel::reset);
    m_links << connect(ds, &TDataSet::recordChanged, this, [this](int row) {
        if (row >= 0 && row < m_rows && m_cols > 0) Q_EMIT dataChanged(index(row, 0), index(row, m_cols - 1));
    });
    m_links << connect(ds, &TDataSet::rowsInserted, this, [this](int first, int count) {
        if (count <= 0) return;
        first = std::clamp(first, 0, m_rows);
        beginInsertRows(QModelIndex(), first, first + count - 1);
        m_rows += count;
        endInsertRows();
    });
    m_links << connect(ds, &TDataSet::rowsRemoved, this, [this](int first, int count) {
        if (count <= 0 || first < 0 || first >= m_rows) return;
        count = std::min(count, m_rows - first);
        beginRemoveRows(QModelIndex(), first, first + count - 1);
        m_rows -= count;
        endRemoveRows();
    });
    m_links << connect(ds, &QObject::destroyed, this, [this] {
        detach();
        beginResetModel();
        m_rows = m_cols = 0;
        endResetModel();
    });
}

void TDataSetModel::reset() {
    beginResetModel();
    TDataSet* ds = m_dataSet.data();
    const bool on = ds && ds->Active();
    m_rows = on ? ds->RecordCount() : 0;
    m_cols = on ? ds->FieldCount() : 0;
    endResetModel();
}

int TDataSetModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rows;
}

int TDataSetModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_cols;
}

QVariant TDataSetModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() ||
        !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const TDataSet* ds = m_dataSet.data();
    if (!ds || !ds->Active() || index.column() >= ds->FieldCount()) return {};
    switch (role) {
    case Qt::DisplayRole:
        return DataSetCellText(*ds, index.row(), index.column());
    case Qt::EditRole:
        return ds->ValueAt(index.row(), index.column());
    case Qt::TextAlignmentRole: {
        const TFieldType t = ds->Fields(index.column()).DataType();
        const bool number = IsNumberTypeGroup(t) && !IsTextTypeGroup(t);
        return QVariant::fromValue(
            Qt::Alignment((number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter));
    }
    case FieldNameRole:
        return ds->Fields(index.column()).FieldName();
    default:
        return {};
    }
}

bool TDataSetModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::EditRole || !index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return false;
    if (!(flags(index) & Qt::ItemIsEditable)) return false;
    TDataSet* ds = m_dataSet.data();
    try {
        ds->SetRecNo(index.row() + 1);
        ds->Edit();
        ds->Fields(index.column()).SetAsVariant(value);
        ds->Post();
        return true;
    } catch (const std::exception&) {
        if (ds->State() == TDataSetState::dsEdit) ds->Cancel();
        return false;
    }
}

Qt::ItemFlags TDataSetModel::flags(const QModelIndex& index) const {
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid)) return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    const TDataSet* ds = m_dataSet.data();
    if (ds && ds->Active() && index.column() < ds->FieldCount()) {
        const TField& field = ds->Fields(index.column());
        if (field.FieldKind() == TFieldKind::fkData && !field.Def().ReadOnly) f |= Qt::ItemIsEditable;
    }
    return f;
}

QVariant TDataSetModel::headerData(int section, Qt::Orientation orientation, int role) const {
    const TDataSet* ds = m_dataSet.data();
    if (orientation == Qt::Vertical) {
        if (role == Qt::DisplayRole && section >= 0 && section < m_rows) return section + 1;
        return {};
    }
    if (!ds || !ds->Active() || section < 0 || section >= m_cols || section >= ds->FieldCount()) return {};
    if (role == Qt::DisplayRole) return ds->Fields(section).DisplayLabel();
    if (role == FieldNameRole) return ds->Fields(section).FieldName();
    return {};
}

} // namespace lnq
