#pragma once
// TCtrl_GridSetupFm: the grid setup form (" 表格列设置") opened by the data
// grid's menu item "设置". One row per field of the grid's dataset, with its
// dictionary title, the title the column will get and whether it is shown;
// "确定" hands the rows to UpdateFormat (LayoutFile.h).
//
// The grid plugs in through TLayoutColumns (its columns) and its dataset's
// field names; FieldSetup runs the whole "设置" command.

#include "grid/core/Ctrl_LNQStringGrid.h"
#include "grid/data/LayoutFile.h"

#include <QDialog>
#include <QPushButton>
#include <functional>

namespace lnq {

class TCtrl_GridSetupFm : public QDialog {
    Q_OBJECT
public:
    explicit TCtrl_GridSetupFm(QWidget* parent = nullptr);

    using TitleLookup = std::function<QString(const QString& fieldName)>;
    // Fills one row per field name (the dataset's fields, in order). The
    // columns are borrowed until the form closes. plainGrid: a column's
    // existence alone shows the field (the platform's plain data grid),
    // otherwise it must also have a width other than 0.
    void InitUI(const QStringList& fieldNames, const TLayoutColumns& columns, TitleLookup titleOf,
                bool plainGrid = false);

    // The current title of the first column of that field, sort marks removed.
    QString GetCaption(const QString& FieldName) const;
    // "显示" or "不显示" for the field by the grid's columns.
    QString GetIsDisplayText(const QString& FieldName) const;
    bool IsDisplay(int Row) const;
    // The data rows as the user left them (for UpdateFormat).
    std::vector<TGridSetupRow> Rows() const;

    TLNQStringGrid* Grid() const { return m_grid; }
    QPushButton* BitBtn1; // 确定
    QPushButton* BitBtn2; // 取消
    QPushButton* BitBtn3; // 全选
    QPushButton* BitBtn4; // 反选
    QPushButton* BitBtn5; // 不显示
    QPushButton* BitBtn6; // 显示

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setCurrent(const QString& text);
    void flip(int row);
    void confirm();

    TLNQStringGrid* m_grid;
    const TLayoutColumns* m_columns = nullptr;
    bool m_plainGrid = false;
};

// The "设置" command: the form over the grid's columns, and on "确定" the new
// layout applied with UpdateFormat. Returns whether the layout changed.
bool FieldSetup(TLayoutColumns& columns, const QStringList& fieldNames,
                TCtrl_GridSetupFm::TitleLookup titleOf, QWidget* parent = nullptr);

} // namespace lnq
