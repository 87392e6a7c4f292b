#pragma once
// TCtrl_FilterSetupFM ("过滤设置"): the modal form in which the user sets the
// client-side filter of a data grid for all its columns at once. One row per
// visible column of the grid: the user picks an operator in "过滤类型" and
// types a value in "值". "确定" turns the rows into the grid's filter list
// (replacing its items); "取消" closes without change.
//
// The form reads a grid through TFilterSetupSource (the program's data grid
// implements it) or, in the second InitUI, a plain table view over a
// TDataSetModel.

#include "data/DataSet.h"
#include "filter/FilterItem.h"

#include <QDialog>

class QPushButton;
class QTableView;

namespace lnq {

class TLNQStringGrid;

// What the form needs to know of a data grid: its columns in order (field
// name, title, width; a width of 0 or less is a hidden column) and dataset.
class TFilterSetupSource {
public:
    virtual ~TFilterSetupSource() = default;
    virtual int SetupColumnCount() const = 0;
    virtual QString SetupFieldName(int i) const = 0;
    virtual QString SetupTitle(int i) const = 0;
    virtual int SetupWidth(int i) const = 0;
    virtual TDataSet* SetupDataSet() const = 0;
};

class TCtrl_FilterSetupFM : public QDialog {
    Q_OBJECT
public:
    explicit TCtrl_FilterSetupFM(QWidget* parent = nullptr);
    ~TCtrl_FilterSetupFM() override;

    // Fills the rows from the grid's columns; the list stays the caller's
    // and is changed only by "确定".
    void InitUI(const TFilterSetupSource& grid, TFilterList& list);
    // The same for a table view whose model is a TDataSetModel: its columns
    // in visual order, widths from the view.
    void InitUI(const QTableView& view, TFilterList& list);

    static QString GetFieldTypeName(TFieldType type);
    // The title without any "↑" or "↓".
    static QString GetGridTitle(const QString& title);
    TFilterItem* FindFilterItem(const QString& fieldName) const;
    // The operators offered for a row of that type name.
    static QStringList OperatorsFor(const QString& typeName);

    TLNQStringGrid& LNQStringGrid() const { return *m_grid; }
    QPushButton* OkButton() const { return m_ok; }
    QPushButton* CancelButton() const { return m_cancel; }
    // Applies the rows to the list and closes with OK ("确定").
    void Apply();
    // Removes the current row when it is a data row.
    void DeleteCurrentRow();

private:
    struct Row {
        QString FieldName;
        QString Title;
        TFieldType Type;
    };
    void fill(const QList<Row>& rows, TFilterList& list);

    TLNQStringGrid* m_grid = nullptr;
    QPushButton* m_ok = nullptr;
    QPushButton* m_cancel = nullptr;
    TFilterList* m_list = nullptr; // the caller's
};

} // namespace lnq
