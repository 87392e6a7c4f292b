#include "grid/core/LNQCellModel.h"

#include <algorithm>

namespace lnq {

TLNQCellModel::TLNQCellModel(QObject* parent) : QAbstractTableModel(parent) {}

TLNQCellModel::~TLNQCellModel() = default;

int TLNQCellModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rowCount;
}

int TLNQCellModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_colCount;
}

QVariant TLNQCellModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    if (role == Qt::DisplayRole || role == Qt::EditRole) return Cell(index.column(), index.row());
    return {};
}

bool TLNQCellModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid)) return false;
    if (role != Qt::EditRole && role != Qt::DisplayRole) return false;
    SetCell(index.column(), index.row(), value.toString());
    return true;
}

Qt::ItemFlags TLNQCellModel::flags(const QModelIndex& index) const {
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid)) return Qt::NoItemFlags;
    if (FlagsHook) return FlagsHook(index.column(), index.row());
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable;
}

QVariant TLNQCellModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (HeaderHook) {
        const int count = orientation == Qt::Horizontal ? m_colCount : m_rowCount;
        if (section >= 0 && section < count) return HeaderHook(section, orientation, role);
        return {};
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

void TLNQCellModel::SetRowCount(int count) {
    count = std::max(0, count);
    if (count == m_rowCount) return;
    if (count > m_rowCount) {
        beginInsertRows(QModelIndex(), m_rowCount, count - 1);
        if (!CellHook && m_rows.size() < size_t(count)) m_rows.resize(count);
        m_rowCount = count;
        endInsertRows();
    } else {
        beginRemoveRows(QModelIndex(), count, m_rowCount - 1);
        if (m_rows.size() > size_t(count)) m_rows.resize(count);
        m_rowCount = count;
        endRemoveRows();
    }
}

void TLNQCellModel::SetColCount(int count) {
    count = std::max(0, count);
    if (count == m_colCount) return;
    if (count > m_colCount) {
        beginInsertColumns(QModelIndex(), m_colCount, count - 1);
        m_colCount = count;
        endInsertColumns();
    } else {
        beginRemoveColumns(QModelIndex(), count, m_colCount - 1);
        for (Row& r : m_rows) {
            if (r.texts.size() > count) r.texts.resize(count);
            if (r.objects.size() > size_t(count)) r.objects.resize(count);
        }
        m_colCount = count;
        endRemoveColumns();
    }
}

bool TLNQCellModel::writable(int col, int row) const {
    return col >= 0 && col < m_colCount && row >= 0 && row <= m_rowCount;
}

TLNQCellModel::Row& TLNQCellModel::rowForWrite(int row) {
    if (m_rows.size() <= size_t(row)) m_rows.resize(row + 1);
    return m_rows[row];
}

QString TLNQCellModel::Cell(int col, int row) const {
    if (CellHook)
        return (col >= 0 && row >= 0 && col < m_colCount && row < m_rowCount) ? CellHook(col, row)
                                                                              : QString();
    if (col < 0 || row < 0 || size_t(row) >= m_rows.size()) return {};
    const Row& r = m_rows[row];
    return col < r.texts.size() ? r.texts[col] : QString();
}

void TLNQCellModel::SetCellQuiet(int col, int row, const QString& text) {
    if (!writable(col, row)) return;
    Row& r = rowForWrite(row);
    if (r.texts.size() <= col) {
        if (text.isEmpty()) return;
        r.texts.resize(col + 1);
    }
    r.texts[col] = text;
}

void TLNQCellModel::SetCell(int col, int row, const QString& text) {
    if (!writable(col, row)) return;
    if (Cell(col, row) == text) return;
    SetCellQuiet(col, row, text);
    if (row < m_rowCount) {
        const QModelIndex i = index(row, col);
        Q_EMIT dataChanged(i, i, {Qt::DisplayRole, Qt::EditRole});
    }
}

QObject* TLNQCellModel::Object(int col, int row) const {
    if (col < 0 || row < 0 || size_t(row) >= m_rows.size()) return nullptr;
    const Row& r = m_rows[row];
    return size_t(col) < r.objects.size() ? r.objects[col].data() : nullptr;
}

void TLNQCellModel::SetObject(int col, int row, QObject* object) {
    if (!writable(col, row)) return;
    Row& r = rowForWrite(row);
    if (r.objects.size() <= size_t(col)) {
        if (!object) return;
        r.objects.resize(col + 1);
    }
    r.objects[col] = object;
}

QStringList TLNQCellModel::RowTexts(int row) const {
    QStringList out;
    out.reserve(m_colCount);
    for (int c = 0; c < m_colCount; ++c)
        out.append(Cell(c, row));
    return out;
}

void TLNQCellModel::SetRowTexts(int row, const QStringList& texts) {
    if (!writable(0, row)) return;
    const int n = std::min<int>(m_colCount, int(texts.size()));
    for (int c = 0; c < n; ++c)
        SetCellQuiet(c, row, texts[c]);
    if (n > 0 && row < m_rowCount) Q_EMIT dataChanged(index(row, 0), index(row, n - 1));
}

QStringList TLNQCellModel::ColTexts(int col) const {
    QStringList out;
    out.reserve(m_rowCount);
    for (int r = 0; r < m_rowCount; ++r)
        out.append(Cell(col, r));
    return out;
}

void TLNQCellModel::SetColTexts(int col, const QStringList& texts) {
    if (!writable(col, 0)) return;
    const int n = std::min<int>(m_rowCount, int(texts.size()));
    for (int r = 0; r < n; ++r)
        SetCellQuiet(col, r, texts[r]);
    if (n > 0) Q_EMIT dataChanged(index(0, col), index(n - 1, col));
}

void TLNQCellModel::MoveRow(int from, int to) {
    if (from < 0 || to < 0 || from >= m_rowCount || to >= m_rowCount || from == to) return;
    beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
    if (m_rows.size() < size_t(m_rowCount)) m_rows.resize(m_rowCount);
    if (from < to)
        std::rotate(m_rows.begin() + from, m_rows.begin() + from + 1, m_rows.begin() + to + 1);
    else
        std::rotate(m_rows.begin() + to, m_rows.begin() + from, m_rows.begin() + from + 1);
    endMoveRows();
}

void TLNQCellModel::MoveColumn(int from, int to) {
    if (from < 0 || to < 0 || from >= m_colCount || to >= m_colCount || from == to) return;
    beginMoveColumns(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
    const int lo = std::min(from, to);
    const int hi = std::max(from, to);
    for (Row& r : m_rows) {
        if (r.texts.size() > lo) {
            if (r.texts.size() <= hi) r.texts.resize(hi + 1);
            if (from < to)
                std::rotate(r.texts.begin() + from, r.texts.begin() + from + 1, r.texts.begin() + to + 1);
            else
                std::rotate(r.texts.begin() + to, r.texts.begin() + from, r.texts.begin() + from + 1);
        }
        if (r.objects.size() > size_t(lo)) {
            if (r.objects.size() <= size_t(hi)) r.objects.resize(hi + 1);
            if (from < to)
                std::rotate(r.objects.begin() + from, r.objects.begin() + from + 1,
                            r.objects.begin() + to + 1);
            else
                std::rotate(r.objects.begin() + to, r.objects.begin() + from, r.objects.begin() + from + 1);
        }
    }
    endMoveColumns();
}

void TLNQCellModel::InsertColumn(int at) {
    at = std::clamp(at, 0, m_colCount);
    beginInsertColumns(QModelIndex(), at, at);
    for (Row& r : m_rows) {
        if (r.texts.size() > at) r.texts.insert(at, QString());
        if (r.objects.size() > size_t(at)) r.objects.insert(r.objects.begin() + at, QPointer<QObject>());
    }
    ++m_colCount;
    endInsertColumns();
}

void TLNQCellModel::RemoveColumn(int at) {
    if (at < 0 || at >= m_colCount) return;
    beginRemoveColumns(QModelIndex(), at, at);
    for (Row& r : m_rows) {
        if (r.texts.size() > at) r.texts.remove(at);
        if (r.objects.size() > size_t(at)) r.objects.erase(r.objects.begin() + at);
    }
    --m_colCount;
    endRemoveColumns();
}

void TLNQCellModel::NotifyAllChanged() {
    if (m_rowCount > 0 && m_colCount > 0)
        Q_EMIT dataChanged(index(0, 0), index(m_rowCount - 1, m_colCount - 1));
}

} // namespace lnq
