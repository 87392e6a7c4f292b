#pragma once
// The cell store of the grids: a text and an attached (not owned) object per
// cell, addressed as (column, row) like the grid's Cells, exposed to the
// views as a table model. Row 0 is the grid's title row and is an ordinary
// model row; the grid view hides it and shows its own title band instead.
//
// Rows are kept densely, each row only as long as its last written column,
// so growing the column count costs nothing and a hundred thousand rows of
// twenty columns stay cheap. A write one row past the last row is kept (the
// cell store of the platform's string grid allows it): it shows up when the
// row count next grows over it. Writes anywhere else outside the grid are
// ignored.

#include <QAbstractTableModel>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <vector>

namespace lnq {

class TLNQCellModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit TLNQCellModel(QObject* parent = nullptr);
    ~TLNQCellModel() override;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    int RowCount() const { return m_rowCount; }
    int ColCount() const { return m_colCount; }
    void SetRowCount(int count);
    void SetColCount(int count);

    QString Cell(int col, int row) const;
    void SetCell(int col, int row, const QString& text);
    // Writes without telling the views (the text drawn is already the new one).
    void SetCellQuiet(int col, int row, const QString& text);
    QObject* Object(int col, int row) const;
    void SetObject(int col, int row, QObject* object);

    QStringList RowTexts(int row) const;
    void SetRowTexts(int row, const QStringList& texts);
    QStringList ColTexts(int col) const;
    void SetColTexts(int col, const QStringList& texts);

    void MoveRow(int from, int to);
    void MoveColumn(int from, int to);
    void InsertColumn(int at);
    void RemoveColumn(int at);
    // Every cell changed (after quiet bulk writes).
    void NotifyAllChanged();

    // Per-cell flags from the grid (editability, fixed cells); the default
    // is enabled, selectable and editable.
    std::function<Qt::ItemFlags(int col, int row)> FlagsHook;
    // Header texts for accessibility and tools (the grid paints its own).
    std::function<QVariant(int section, Qt::Orientation orientation, int role)> HeaderHook;
    // Cells served by their owner instead of the store (a grid over a record
    // set): Cell reads through the hook, and rows are not kept per row, so a
    // million-row grid costs nothing here. Set it before the first row.
    std::function<QString(int col, int row)> CellHook;

private:
    struct Row {
        QList<QString> texts;
        std::vector<QPointer<QObject>> objects;
    };
    bool writable(int col, int row) const;
    Row& rowForWrite(int row);

    std::vector<Row> m_rows; // RowCount rows, plus possibly the one past the end
    int m_rowCount = 0;
    int m_colCount = 0;
};

} // namespace lnq
