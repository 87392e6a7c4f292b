#pragma once
// TListCommonfm: the generic business list from which host screens derive
// (customers, orders, receipts...). It shows the newest hundred rows of one
// table in a data grid, the detail rows of the current record in a second
// grid, the record's property list (or the record itself) in the record
// viewer, and the table's saved views in the side panel; it searches, confirms
// and cancels confirmation, and hands add, edit, delete and detail requests to
// the host as app:// links through its services interface.
//
// The deriving form supplies the table, key, detail table, link target and
// confirmation settings by overriding the setting operations below, then the
// creator calls FormCreate once (the settings are virtual, so nothing that
// reads them may run inside the constructor).
//
// Errors of the database never lose what is on screen: the list is loaded
// into a scratch dataset first and takes the new rows only when the query
// succeeded; the message goes to the user through OnMessage.

#include "data/DataSet.h"

#include <QPointer>
#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class QComboBox;
class QDateEdit;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QSplitter;
class QTabWidget;
class QToolButton;

namespace lnq {

class IConnection;
class IServicesInterface;
class TFilterFrame;
class TLNQCustomDBGrid;
class TLNQDBGrid;
class TLNQDataWebBrowser;
struct TSearchOperator;

// The link between a dataset and the views and handlers that follow it: it
// relays the dataset's cursor moves and reloads as DataChange. It owns
// nothing; the dataset may be replaced or go away at any time.
class TDataSource : public QObject {
    Q_OBJECT
public:
    explicit TDataSource(QObject* parent = nullptr);
    TDataSet* DataSet() const { return m_dataSet.data(); }
    void SetDataSet(TDataSet* dataSet);

Q_SIGNALS:
    // The cursor moved or the rows were reloaded.
    void DataChange();

private:
    QPointer<TDataSet> m_dataSet;
    QList<QMetaObject::Connection> m_links;
};

class TListCommonfm : public QWidget {
    Q_OBJECT
public:
    // The form keeps the connection alive; services belong to the host and
    // must outlive the form (nullptr: links go nowhere).
    TListCommonfm(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                  QWidget* parent = nullptr);
    ~TListCommonfm() override;

    // Must be called once by the creator after construction (settings are virtual):
    // runs the form's creation steps (views frame InitUI, tree, detail page, first RefreshData).
    void FormCreate();
    // Reloads the list: the newest hundred rows for an empty text, else sql.
    void RefreshData(const QString& sql = {});
    // Reloads the detail rows of the current list row.
    void RefreshDetail();
    // "Action=SIGN&FilterName=..." etc.
    void ApplinkInit(const QString& params);
    void QuickSearchFromViewData();
    void QuickSearchFromALLData();
    // The quick-search bar's condition, as the view editor builds one
    // ("" when no field or no operator is chosen).
    QString GetItemSQL() const;
    // Hides the sharing and "NotVisible" columns and fills the field chooser.
    void PrepareFields();

    // The record change steps of either dataset (the data sources call them).
    void ADODataSetListAfterScroll();
    void ADODataSetDetailAfterScroll();

    // The toolbar's commands (the buttons call them).
    void SpeedButtonAddClick();
    void SpeedButtonEditClick();
    void SpeedButtonDeleteClick();
    void SpeedButtonDetailClick();
    void SpeedButtonDoConfirmClick();
    void SpeedButtonUnDoConfirmClick();
    void SelectAll();
    void InvertSelection();

    // access for hosts and tests
    TLNQDBGrid* LNQDBGridList() const { return m_gridList; }
    TLNQDBGrid* LNQDBGridDetail() const { return m_gridDetail; }
    TFilterFrame* FilterFrame() const { return m_filterFrame; }
    TLNQDataWebBrowser* DataWebBrowser() const;
    TDataSource* DataSourceMain() const { return m_sourceMain; }
    TDataSource* DataSourceDeltail() const { return m_sourceDetail; }
    TDataSet& ListDataSet();
    TDataSet& DetailDataSet();
    QTabWidget* PageControl() const { return m_pages; }
    QWidget* TabSheetDetail() const { return m_tabDetail; }

    // Signing mode (ApplinkInit with Action=SIGN) and its kind (SignType).
    bool SignMode() const { return m_signMode; }
    QString SignType() const { return m_signType; }
    // The caption of the view or search the list shows ("" for the newest rows).
    QString ListCaption() const { return m_listCaption; }
    // The SQL the list was last loaded with ("" for the newest rows).
    QString CurrentSQL() const { return m_currentSql; }

    // Every message of the form goes through here (text, caption, the flags
    // of TClientUtils::MsgBox; returns the button). Default: the themed box.
    std::function<int(const QString& text, const QString& caption, int flags)> OnMessage;

    QString ConfirmWord; // "确认" after FormCreate

Q_SIGNALS:
    // The list was reloaded (after PrepareFields and the record change steps).
    void ListRefreshed();
    // "退出" closed the form; a host that keeps it in a tab removes it here.
    void FormClosed();

protected: // settings: the deriving form overrides
    virtual QString ListTable() const = 0;
    virtual QString ListKeyField() const = 0;
    virtual QString DetailTable() const { return {}; }
    virtual QString DetailKeyField() const { return {}; }
    virtual QString LinkTarget() const = 0;
    virtual QString ConfirmTarget() const { return {}; } // "MASTER" / "DETAIL" / empty
    virtual QString ConfirmStateField() const { return {}; }
    virtual QString ConfirmUserField() const { return {}; }
    virtual QString ConfirmDateField() const { return {}; }
    virtual QString ViewExt() const = 0;
    virtual bool UsesDetail() const { return !DetailTable().isEmpty(); }
    virtual bool CanDoConfirm() { return true; }
    virtual bool CanUndoConfirm() { return true; }
    virtual void DoConfirmData() {}
    virtual void UndoConfirmData() {}

    // The record viewer: the property list of the current row, or the row
    // itself with the list grid's column titles.
    void ShowDataProperty(TDataSet& properties);
    void ShowGrid(TLNQCustomDBGrid& grid);

    IConnection& Connection() const { return *m_connection; }
    IServicesInterface* Services() const { return m_services; }
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildUi();
    QToolButton* AddButton(QHBoxLayout* bar, const QString& name, const QString& caption);
    // Loads sql (the newest rows when empty) and shows caption above the list.
    void Reload(const QString& sql, const QString& caption);
    // The quick-search condition; false (and a hint to the user) without one.
    bool QuickCondition(QString& condition);
    void OpenLink(const QString& query);
    QString CurrentKeyText() const;
    void UpdateConfirmButtons(TDataSet* dataSet, const QString& target);
    void SetConfirmState(bool confirm);
    void ApplySignMode();
    void SearchFieldChanged();
    void OpTypeChanged();
    int Message(const QString& text, const QString& caption, int flags);
    void ErrorMessage(const QString& text);
    // Runs step; a database error becomes a message and false.
    bool Guarded(const std::function<void()>& step);

    std::shared_ptr<IConnection> m_connection;
    IServicesInterface* m_services = nullptr;
    std::unique_ptr<TADODataSet> m_listData;
    std::unique_ptr<TADODataSet> m_detailData;
    std::vector<TSearchOperator> m_ops;
    QStringList m_searchFields; // field names behind the field chooser's captions
    bool m_signMode = false;
    QString m_signType;
    QString m_listCaption;
    QString m_currentSql; // what the list was loaded with ("" for the newest rows)
    bool m_loadingList = false;
    bool m_loadingDetail = false;
    bool m_propertiesFailed = false;

    TDataSource* m_sourceMain = nullptr;
    TDataSource* m_sourceDetail = nullptr;
    QSplitter* m_splitter = nullptr;
    QWidget* m_sidePanel = nullptr;
    TFilterFrame* m_filterFrame = nullptr;
    TLNQDBGrid* m_gridList = nullptr;
    TLNQDBGrid* m_gridDetail = nullptr;
    QTabWidget* m_pages = nullptr;
    QWidget* m_tabDetail = nullptr;
    QLabel* m_captionLabel = nullptr;

    QToolButton* m_btnAdd = nullptr;
    QToolButton* m_btnDelete = nullptr;
    QToolButton* m_btnEdit = nullptr;
    QToolButton* m_btnDoConfirm = nullptr;
    QToolButton* m_btnUnDoConfirm = nullptr;
    QToolButton* m_btnRefresh = nullptr;
    QToolButton* m_btnExit = nullptr;
    QToolButton* m_btnSelAll = nullptr;
    QToolButton* m_btnSelAllNot = nullptr;
    QToolButton* m_btnDetail = nullptr;
    QToolButton* m_btnViews = nullptr;
    QToolButton* m_btnSearch = nullptr;

    QComboBox* m_searchField = nullptr;
    QComboBox* m_opType = nullptr;
    QLineEdit* m_valueString = nullptr;
    QLineEdit* m_valueNumber = nullptr;
    QDateEdit* m_datePicker = nullptr;
    QToolButton* m_btnQuickSearch = nullptr;
    QToolButton* m_btnSearchAllView = nullptr;
};

} // namespace lnq
