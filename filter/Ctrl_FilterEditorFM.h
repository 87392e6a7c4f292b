#pragma once
// TFilterEditorFM: the modal form in which a user composes conditions over a
// host table, as a one-off search or as a named view kept in Sys_FileBase with
// its sharing rights (shared with everybody, or with chosen users and groups).
// Fields are offered by their dictionary captions, the operators of the field's
// type with one value box for the operator's kind, and the conditions joined by
// "满足所有条件" (And) or "满足条件之一" (OR).
//
// The class-level Show... functions are the entry points the views frame and
// host forms use; each builds the form, shows it modally and returns true on
// OK. The rights lists are encoded as filter/ViewList.h describes.

#include "filter/SearchSql.h"

#include <QDialog>
#include <QIODevice>
#include <memory>
#include <vector>

class QBuffer;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QMenu;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QTreeWidget;
class QWidget;

namespace lnq {

class IConnection;
class TADODataSet;

// Sharing of a view as the editor returns it.
struct TViewRights {
    bool Share = false;
    QString AllowedUsers = QStringLiteral(",");
    QString AllowedGroups;
    QString Description;
};

class TFilterEditorFM : public QDialog {
    Q_OBJECT
public:
    enum class TMode { Search, NewView, EditView, SaveView };

    TFilterEditorFM(IConnection& connection, const QString& ext, QWidget* parent = nullptr);
    ~TFilterEditorFM() override;

    // Entry points. folder / path are "folder" and "folder\name".
    static bool ShowSearchDialog(IConnection& connection, const QString& tableName, QString& sql,
                                 QWidget* parent = nullptr);
    // On OK the conditions are written to stream (at its position) and path
    // becomes folder + "\" + name.
    static bool ShowNewViewDialog(IConnection& connection, const QString& tableName, const QString& ext,
                                  const QString& folder, QIODevice& stream, QString& path,
                                  TViewRights& rights, QWidget* parent = nullptr);
    // stream holds the stored view on entry and receives the edited one (from
    // position 0, truncated); path is the stored path on entry, the (trimmed)
    // edited one on exit; rights are the stored ones on entry.
    static bool ShowEditViewDialog(IConnection& connection, const QString& tableName, const QString& ext,
                                   QString& path, QBuffer& stream, TViewRights& rights,
                                   QWidget* parent = nullptr);
    // Saving a ready SQL text as a view: the SQL is shown, not edited.
    static bool ShowSaveViewDialog(IConnection& connection, const QString& ext, const QString& folder,
                                   const QString& sql, QIODevice& stream, QString& path, TViewRights& rights,
                                   QWidget* parent = nullptr);

    // Opens "select top 1 * from " + tableName and fills the field menu.
    void SetDataset(const QString& tableName);
    void DoSearchInit();
    void DoNewViewInit(const QString& folder);
    void DoEditViewInit(const QString& path);
    void DoSaveViewInit(const QString& folder, const QString& sql);
    TMode Mode() const { return m_mode; }

    // Field box and operators.
    QStringList FieldCaptions() const { return m_fieldCaptions; }
    void ChooseField(const QString& caption);
    void UpdateOpTypes(int fieldIndex);
    QString GetItemSQL() const;
    bool AddCondition();
    void DeleteCondition(int index);
    const TConditionList& Conditions() const { return m_conditions; }
    QString GetSearchSQL() const;
    bool MatchAll() const;

    void SaveToStream(QIODevice& stream) const;
    // Restores conditions (or a raw SQL text) from a stored view.
    void LoadFromStream(QIODevice& stream);

    // Users and groups.
    void GetAllUsers();
    void GetAllGroups();
    QString GetAllowedUsers() const;
    void SetAllowedUsers(const QString& list);
    QString GetAllowedGroups() const;
    void SetAllowedGroups(const QString& list);

    QString ViewFolder() const;
    QString ViewName() const;
    TViewRights Rights() const;
    void SetRights(const TViewRights& rights);

public Q_SLOTS:
    void accept() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildUi();
    void OpTypeChanged();
    void ShareChanged();
    void GroupClicked(QListWidgetItem* item);
    void AppendRow(const TConditionRow& row);
    void ShowFieldMenu();
    bool FieldMenuKey(int key);
    void Refuse(const QString& text);

    IConnection& m_connection;
    QString m_ext;
    TMode m_mode = TMode::Search;
    QString m_originalPath;
    bool m_rawSql = false;
    QString m_sql;

    std::unique_ptr<TADODataSet> m_dataset;
    TTitleCaptionFn m_titleOf;
    QStringList m_fieldCaptions;
    std::vector<int> m_fieldIndexes;
    std::vector<TSearchOperator> m_ops;
    TConditionList m_conditions;

    QLineEdit* EditFieldName = nullptr;
    QPushButton* ButtonField = nullptr;
    QMenu* m_fieldMenu = nullptr;
    int m_menuEntry = 0;
    QComboBox* ComboboxOpType = nullptr;
    QLineEdit* EditValueString = nullptr;
    QLineEdit* EditValueNumber = nullptr;
    QDateEdit* DateTimePicker = nullptr;
    QPushButton* ButtonAdd = nullptr;
    QPushButton* ButtonDelete = nullptr;
    QTreeWidget* ListView = nullptr;
    QPlainTextEdit* MemoSQL = nullptr;
    QRadioButton* RadioButtonAnd = nullptr;
    QRadioButton* RadioButtonOr = nullptr;
    QWidget* m_conditionPanel = nullptr;
    QWidget* m_viewPanel = nullptr;
    QLineEdit* EditGroup = nullptr;
    QLineEdit* EditName = nullptr;
    QLineEdit* EditDescription = nullptr;
    QCheckBox* CheckBoxShare = nullptr;
    QListWidget* CheckListUsers = nullptr;
    QListWidget* CheckListGroups = nullptr;
    QPushButton* ButtonOK = nullptr;
    QPushButton* ButtonCancel = nullptr;
};

} // namespace lnq
