#pragma once
// TPLAT_Searchfm: the modal search form of the lookup dialogs. A data grid
// shows the rows of one lookup query; the user narrows them with the
// quick-search edit (by the text of the chosen column or by the pinyin
// initials of that text), picks one row or, when several may be chosen,
// marks rows (Ctrl+click, Ctrl+Space, "全选") and confirms with "确定",
// Enter or a double click. "取消" and Escape leave without a choice.
//
// The form does not own the dataset: the caller creates it, binds it with
// SetDataSet and frees it after the form (TUtils_SearchDialogs does).
// Child widgets carry their component names as object names (LNQDBGrid,
// ComboBoxField, EditValue, BitBtnAll, BitBtnUnAll, BitBtnOK, BitBtnCancel).
//
// Results are the modal results of the lookup dialogs: mrOk (1) for a
// choice, mrCancel (2) when the user cancelled.

#include "forms/Plat_searchlists.h"

#include <QDialog>
#include <QPointer>
#include <QString>
#include <QStringList>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace lnq {

class TDataSet;
class TLNQDBGrid;

class TPLAT_Searchfm : public QDialog {
    Q_OBJECT
public:
    enum TModalResult { mrNone = 0, mrOk = 1, mrCancel = 2 };

    explicit TPLAT_Searchfm(QWidget* parent = nullptr);
    ~TPLAT_Searchfm() override;

    // The rows to choose from (not owned; must outlive the form or be unset).
    void SetDataSet(TDataSet* dataSet);
    TDataSet* DataSet() const;

    // Whether several rows may be marked (the multi-choice members); the
    // select-all and clear buttons are shown only then. Default: true.
    void SetMultiSelect(bool on);
    bool MultiSelect() const { return m_multiSelect; }

    // Fills the field chooser with the titles of the grid's visible columns
    // and chooses the column titled "名称" (else the first whose title holds
    // "名称", else the first one); sizes the columns to their texts. Called
    // after the dataset is filled; the quick search is cleared.
    void UpdateFieldName();
    // The field the quick search looks at ("" when there is none).
    QString SearchFieldName() const;
    void SetSearchFieldName(const QString& fieldName);
    // The quick-search value: rows whose field text contains it (letter case
    // ignored) or whose pinyin initials contain it stay visible; an empty
    // value shows every row. Setting the edit's text does the same.
    void SetSearchText(const QString& text);
    QString SearchText() const;
    // Whether the current record passes the quick search (the record filter).
    bool Accepts(TDataSet& dataSet) const;

    // "全选" marks every visible row (in view order), "清除" unmarks all.
    void SelectAll();
    void UnSelectAll();

    // The result of the last run (mrNone before the form was closed).
    int ModalResult() const { return m_modalResult; }
    // Whether the form was closed (by the user or a driving hook) since it
    // was created or last shown.
    bool Finished() const { return m_finished; }

    TLNQDBGrid* LNQDBGrid() const { return m_grid; }
    QComboBox* ComboBoxField() const { return m_fieldBox; }
    QLineEdit* EditValue() const { return m_edit; }
    QPushButton* BitBtnAll() const { return m_all; }
    QPushButton* BitBtnUnAll() const { return m_unAll; }
    QPushButton* BitBtnOK() const { return m_ok; }
    QPushButton* BitBtnCancel() const { return m_cancel; }

    void done(int result) override;
    void reject() override; // Escape, the close button: mrCancel
    void accept() override; // mrOk

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void applySearch();
    void fitColumns();
    void updateCount();

    QPointer<TDataSet> m_dataSet;
    TLNQDBGrid* m_grid = nullptr;
    QComboBox* m_fieldBox = nullptr;
    QLineEdit* m_edit = nullptr;
    QLabel* m_count = nullptr;
    QPushButton* m_all = nullptr;
    QPushButton* m_unAll = nullptr;
    QPushButton* m_ok = nullptr;
    QPushButton* m_cancel = nullptr;
    bool m_multiSelect = true;
    bool m_filterInstalled = false;
    bool m_finished = false;
    int m_modalResult = mrNone;
    TQuickSearchText m_search;
    int m_fieldIndex = -1;
};

} // namespace lnq
