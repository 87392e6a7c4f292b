#pragma once
// TMasterDetailEditfm: the generic document editor (an order, a receipt, a
// transfer) from which host forms derive, as they derive lists from
// TListCommonfm. One master row and its detail lines:
//  - the deriving form names the tables and fields through the virtual
//    settings below and builds its header: it adds editors to the header
//    panel and binds them to master fields (masked edits, lookup edits, date
//    pickers, or any editor through a read/write pair);
//  - the detail lines live in a TLNQStringGrid whose column names are the
//    detail table's field names; columns with CalcMode ccSum / ccCount show
//    their totals in the footer band;
//  - the toolbar: "新增", "保存", "删除", "审核", "消审", "增行", "删行",
//    "复制", "退出" (objectNames SpeedButtonNew ... below);
//  - saving writes the master row and all its lines in one transaction; on
//    any failure the database is rolled back and the form keeps what the
//    user entered;
//  - a confirmed document ("已" + ConfirmWord in ConfirmStateField) cannot
//    be edited, saved or deleted until its confirmation is cancelled;
//  - the form fills the audit fields it is given (creating user and time on
//    the first save, last editing user and time on every save, confirming
//    user and date on confirmation; see AuditUserText);
//  - links: ApplinkInit("Action=INSERT"), ApplinkInit("Action=EDIT&KeyField=N"),
//    "Action=DELETE&KeyField=N" and the plain "KeyField=N".
// Messages go through OnMessageBox (TClientUtils::MsgBox unless replaced), so
// hosts can theme them and tests can answer them.

#include "data/FieldTypes.h"
#include "forms/MasterDetailDoc.h"

#include <QMap>
#include <QPointer>
#include <QString>
#include <QVariant>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class QCheckBox;
class QCloseEvent;
class QComboBox;
class QDateTimeEdit;
class QGridLayout;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QMimeData;
class QPlainTextEdit;
class QToolButton;

namespace lnq {

class IConnection;
class IServicesInterface;
class TLNQStringGrid;
class TLNQCustomGrid;

class TMasterDetailEditfm : public QWidget {
    Q_OBJECT
public:
    TMasterDetailEditfm(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                        QWidget* parent = nullptr);
    ~TMasterDetailEditfm() override;

    // Must be called once by the creator after construction (the settings
    // are virtual): sets ConfirmWord to "确认", lets the deriving form build
    // its header and columns (CreateHeader, CreateDetailColumns) and starts a
    // new document.
    void FormCreate();

    // Entry point of "app://<form>?..." links: name=value pairs separated by
    // "&". "Action" (any case): INSERT starts a new document; EDIT opens the
    // document "KeyField"; DELETE opens it and deletes it after asking; no
    // action with a "KeyField" opens the document. A key that is not an
    // integer or names no row gives a message and leaves the form as it was.
    void ApplinkInit(const QString& params);

    // ---- document operations (the toolbar buttons call these). Each asks
    // the vetoes first and reports the outcome through OnMessageBox; they
    // return whether the operation was carried out.
    // Starts an empty document (asks to save unsaved changes first).
    bool NewDocument();
    // Loads the master row with the key and its lines; false (nothing
    // changed) when there is no such row or the user keeps unsaved changes.
    bool LoadDocument(int key);
    // Writes master row and lines in one transaction.
    bool SaveDocument();
    // Deletes the lines and the master row (after "确定要删除这张单据吗？").
    bool DeleteDocument();
    // Confirmation and its cancellation: state, user and date on the master
    // row (and on the lines when the detail table has the same fields).
    bool DoConfirm();
    bool UndoConfirm();
    // Detail lines to the clipboard (DetailMimeData).
    void CopyDetailToClipboard();
    // The filled detail lines with the visible columns' titles: tab-separated
    // text (CR LF between lines) and an HTML table.
    std::unique_ptr<QMimeData> DetailMimeData();
    void AddDetailLine();
    void DeleteDetailLine();

    // ---- state
    int KeyValue() const { return m_key; } // 0 for a document never saved
    bool IsNewDocument() const { return m_key == 0; }
    bool Modified() const { return m_modified; }
    // True when ConfirmStateField holds "已" + ConfirmWord.
    bool Confirmed() const;
    QString ConfirmState() const;
    // Master field values as the form holds them: a bound editor's value, else
    // the value loaded or set by the program. Null for an unknown field.
    QVariant MasterValue(const QString& field) const;
    void SetMasterValue(const QString& field, const QVariant& value);
    // Detail rows holding data (a line with every bound cell empty is not one).
    int DetailLineCount() const;
    // The column's footer total (ccSum) or count (ccCount); 0 otherwise.
    double DetailTotal(const QString& colName) const;

    // ---- parts, for deriving forms, hosts and tests
    TLNQStringGrid* DetailGrid() const { return m_grid; }
    QWidget* HeaderPanel() const { return m_headerPanel; }
    QWidget* FooterPanel() const { return m_footerPanel; }
    IConnection& Connection() const { return *m_connection; }
    std::shared_ptr<IConnection> ConnectionPtr() const { return m_connection; }
    IServicesInterface* Services() const { return m_services; }
    QToolButton* Button(const QString& objectName) const;

    // ---- binding header editors to master fields. The editor is locked
    // (read-only or disabled) while the document is confirmed, and its change
    // marks the document modified.
    void BindField(const QString& field, QLineEdit* edit); // TLNQMaskEdit included
    void BindField(const QString& field, QDateTimeEdit* picker);
    void BindField(const QString& field, QPlainTextEdit* edit);
    void BindField(const QString& field, QComboBox* combo); // the current text
    void BindField(const QString& field, QCheckBox* check);
    // Any other editor (a lookup edit's number and name): read and write the
    // value; the deriving form connects the editor's change to MarkModified.
    void BindField(const QString& field, QWidget* editor, std::function<QVariant()> read,
                   std::function<void(const QVariant&)> write);
    // A caption and an editor in the header panel's grid.
    void AddHeaderEditor(const QString& caption, QWidget* editor, int row, int column, int columnSpan = 1);
    void MarkModified();
    // A button of the deriving form on the toolbar (before the state text);
    // an editing button is disabled while the document is confirmed.
    QToolButton* AddToolButton(const QString& objectName, const QString& caption, bool editing);
    // Cells changed by the program (a product put on a line): keeps an empty
    // line at the end, recomputes the totals and marks the document modified.
    void DetailLinesChanged();

    // The deriving form's word for confirmation ("确认" after FormCreate).
    QString ConfirmWord;

    // ---- events. Vetoes start true; a handler sets the flag to false to
    // stop the operation (it reports its own reason).
    std::function<void(TMasterDetailEditfm& Sender, bool& CanSave)> OnBeforeSave;
    std::function<void(TMasterDetailEditfm& Sender, bool& CanDelete)> OnBeforeDelete;
    std::function<void(TMasterDetailEditfm& Sender, bool& CanConfirm)> OnBeforeConfirm;
    std::function<void(TMasterDetailEditfm& Sender, bool& CanUndoConfirm)> OnBeforeUndoConfirm;
    // The message box: text, caption ("提示" or "错误提示"), TClientUtils::MsgBox
    // flags; returns the id:: of the button chosen.
    std::function<int(const QString& text, const QString& caption, int flags)> OnMessageBox;

Q_SIGNALS:
    void DocumentLoaded(int key);
    void DocumentSaved(int key);
    void DocumentDeleted(int key);
    void ConfirmStateChanged(bool confirmed);
    void ModifiedChanged(bool modified);
    // Footer totals were recomputed.
    void TotalsChanged();
    // The user pressed "退出" (the host closes the tab or window).
    void ExitRequested();

protected:
    // ---- settings: the deriving form overrides
    virtual QString MasterTable() const = 0;
    virtual QString MasterKeyField() const = 0; // integer identity of the master table
    virtual QString DetailTable() const = 0;
    virtual QString DetailKeyField() const = 0; // detail field holding the master key
    // The detail table's own identity (left to the database); empty for none.
    virtual QString DetailLineKeyField() const { return {}; }
    virtual QString ConfirmStateField() const { return {}; }
    virtual QString ConfirmUserField() const { return {}; }
    virtual QString ConfirmDateField() const { return {}; }
    virtual QString CreateUserField() const { return {}; }
    virtual QString CreateTimeField() const { return {}; }
    virtual QString ModifyUserField() const { return {}; }
    virtual QString ModifyTimeField() const { return {}; }
    // Column ordering the lines when they are loaded; the line key by default.
    virtual QString DetailOrderField() const { return DetailLineKeyField(); }

    // ---- steps of the deriving form
    // Builds the header (AddHeaderEditor, BindField).
    virtual void CreateHeader() {}
    // Adds the grid's columns (names = detail field names).
    virtual void CreateDetailColumns() {}
    // A new document's defaults (dates, receipt number, seller).
    virtual void InitNewDocument() {}
    // The user changed a cell (amount = quantity * price and the like).
    virtual void DetailCellChanged(int col, int row) {
        Q_UNUSED(col)
        Q_UNUSED(row)
    }
    // Vetoes of the deriving form (true by default); they give their own message.
    virtual bool CanSave() { return true; }
    virtual bool CanDelete() { return true; }
    virtual bool CanDoConfirm() { return true; }
    virtual bool CanUndoConfirm() { return true; }
    // Inside the save's transaction, after master and lines are written
    // (stock, balances); throwing rolls everything back.
    virtual void AfterSaveData(int key) { Q_UNUSED(key) }
    // Inside the confirmation's transaction; throwing rolls it back.
    virtual void DoConfirmData() {}
    virtual void UndoConfirmData() {}

    // The settings above as one value (ConfirmWord included).
    TMasterDetailSettings DocumentSettings() const;
    int ShowMessage(const QString& text, const QString& caption, int flags);
    // Unsaved changes are offered for saving; "取消" keeps the form open.
    void closeEvent(QCloseEvent* event) override;
    // The confirming user is recorded by name (as the list form does); the
    // creating and editing users by code, the text authority conditions
    // compare with ("vCreateUser= '[%用户代码%]'"), the name when there is no code.
    QString CurrentUserName() const;
    QString AuditUserText() const;

private:
    struct TBinding {
        QString Field;
        QPointer<QWidget> Editor;
        std::function<QVariant()> Read;
        std::function<void(const QVariant&)> Write;
    };

    void buildUi();
    void updateState();
    void setModified(bool modified);
    void clearDocument();
    void startNewDocument();
    bool askSaveChanges();
    bool vetoed(bool virtualAnswer, const std::function<void(TMasterDetailEditfm&, bool&)>& event);
    bool reload(int key);
    void showDocument(const TDocumentValues& master, const std::vector<TDocumentValues>& lines);
    std::vector<TDocumentValues> gridLines() const;
    bool setConfirmation(bool confirm);
    bool lineHasData(int row) const;
    bool isDataColumn(int col) const;
    void recalcTotals();
    void cellEdited(int col, int row);
    void ensureTrailingLine();
    TBinding* bindingFor(const QString& field);
    const TBinding* bindingFor(const QString& field) const;

    std::shared_ptr<IConnection> m_connection;
    IServicesInterface* m_services; // the host's, not owned
    int m_key = 0;
    bool m_modified = false;
    bool m_loading = false;
    bool m_created = false;
    TDocumentValues m_master;                // field name (upper-case) -> value
    QMap<QString, QString> m_masterNames;    // upper-case -> field name as the table spells it
    QMap<QString, TFieldType> m_detailTypes; // detail field (upper-case) -> its type
    std::vector<TBinding> m_bindings;

    QHBoxLayout* m_toolBar = nullptr;
    std::vector<QPointer<QToolButton>> m_editingButtons;
    QWidget* m_headerPanel = nullptr;
    QGridLayout* m_headerLayout = nullptr;
    QWidget* m_footerPanel = nullptr;
    TLNQStringGrid* m_grid = nullptr;
    QLabel* m_stateLabel = nullptr;
    QLabel* m_auditLabel = nullptr;
};

} // namespace lnq
