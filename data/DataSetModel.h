#pragma once
// TDataSetModel: a table model over a dataset's current view, for any Qt view
// (and the data grid's plain counterpart). Row r is the r-th record of the
// view (its sort and filter), column c the c-th field. Values are read by
// position without moving the dataset's cursor, so a view shows a million
// records at the cost of the rows on screen.
//
// The model follows the dataset through its change signals: a reload, sort
// or filter resets it; a posted record changes one row; inserts and deletes
// insert and remove rows. setData moves the cursor to the row, edits and
// posts; a refused value (conversion or database error) leaves the record
// unchanged and returns false.
//
// Display texts follow the data grid's first cell rules (DataSetCellText).

#include "data/DataSet.h"

#include <QAbstractTableModel>
#include <QPointer>

namespace lnq {

// The text a data cell shows before any column rule: a boolean field shows
// nothing when null, "否" for false and "是" for true; a field named
// "vPassword" (any letter case) shows "********" whatever its value; any
// other field its display text.
QString DataSetCellText(const TDataSet& dataSet, int row, int field);

class TDataSetModel : public QAbstractTableModel {
    Q_OBJECT
public:
    // The field name of a column (headerData, horizontal) or cell (data).
    static constexpr int FieldNameRole = Qt::UserRole + 1;

    explicit TDataSetModel(TDataSet* dataSet = nullptr, QObject* parent = nullptr);
    ~TDataSetModel() override;

    TDataSet* DataSet() const { return m_dataSet.data(); }
    void SetDataSet(TDataSet* dataSet); // not owned

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    void reset();
    void attach();
    void detach();

    QPointer<TDataSet> m_dataSet;
    int m_rows = 0; // rows as the views know them
    int m_cols = 0;
    QList<QMetaObject::Connection> m_links;
};

} // namespace lnq
