#include "filter/Ctrl_FilterEditorFM.h"

#include "data/DataSet.h"
#include "data/Plat_databaseinterface.h"
#include "data/Plat_dataenvironment.h"
#include "filter/ViewList.h"
#include "filter/ViewStream.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"

#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QWidgetAction>

namespace lnq {

namespace {
// Entries per column of the field menu before it breaks into a new column.
constexpr int kFieldMenuRows = 12;

QListWidget* checkList(QWidget* parent, const char* name) {
    auto* list = new QListWidget(parent);
    list->setObjectName(QString::fromLatin1(name));
    return list;
}

QStringList checkedTexts(const QListWidget* list) {
    QStringList out;
    for (int i = 0; i < list->count(); ++i)
        if (list->item(i)->checkState() == Qt::Checked) out << list->item(i)->text();
    return out;
}
} // namespace

TFilterEditorFM::TFilterEditorFM(IConnection& connection, const QString& ext, QWidget* parent)
    : QDialog(parent), m_connection(connection), m_ext(ext) {
    // The dictionary is built on first use; a database without one offers
    // the field names.
    TDataEnvironment* dictionary = TDataEnvironment::Instance();
    if (!dictionary) {
        try {
            dictionary = &TDataEnvironment::GetInstance(connection.MyConnection());
        } catch (const Exception&) {
            dictionary = nullptr;
        }
    }
    m_titleOf = TitleCaptionsOf(dictionary);
    BuildUi();
}

TFilterEditorFM::~TFilterEditorFM() = default;

void TFilterEditorFM::BuildUi() {
    setObjectName(QStringLiteral("FilterEditorFM"));
    auto* root = new QVBoxLayout(this);

    // Conditions.
    m_conditionPanel = new QWidget(this);
    auto* cond = new QGridLayout(m_conditionPanel);
    cond->setContentsMargins(0, 0, 0, 0);
    cond->addWidget(new QLabel(QStringLiteral("字段"), m_conditionPanel), 0, 0);
    cond->addWidget(new QLabel(QStringLiteral("条件"), m_conditionPanel), 0, 1);
    cond->addWidget(new QLabel(QStringLiteral("值"), m_conditionPanel), 0, 2);

    auto* fieldBox = new QHBoxLayout;
    fieldBox->setSpacing(0);
    EditFieldName = new QLineEdit(m_conditionPanel);
    EditFieldName->setObjectName(QStringLiteral("EditFieldName"));
    EditFieldName->setReadOnly(true);
    EditFieldName->installEventFilter(this);
    ButtonField = new QPushButton(QStringLiteral("..."), m_conditionPanel);
    ButtonField->setObjectName(QStringLiteral("ButtonField"));
    ButtonField->setFixedWidth(28);
    fieldBox->addWidget(EditFieldName);
    fieldBox->addWidget(ButtonField);
    cond->addLayout(fieldBox, 1, 0);
    m_fieldMenu = new QMenu(this);
    m_fieldMenu->setObjectName(QStringLiteral("FieldMenu"));
    m_fieldMenu->installEventFilter(this);
    connect(ButtonField, &QPushButton::clicked, this, &TFilterEditorFM::ShowFieldMenu);

    ComboboxOpType = new QComboBox(m_conditionPanel);
    ComboboxOpType->setObjectName(QStringLiteral("ComboboxOpType"));
    ComboboxOpType->setMinimumWidth(110);
    cond->addWidget(ComboboxOpType, 1, 1);
    connect(ComboboxOpType, &QComboBox::currentIndexChanged, this, &TFilterEditorFM::OpTypeChanged);

    auto* values = new QHBoxLayout;
    EditValueString = new QLineEdit(m_conditionPanel);
    EditValueString->setObjectName(QStringLiteral("EditValueString"));
    EditValueNumber = new QLineEdit(m_conditionPanel);
    EditValueNumber->setObjectName(QStringLiteral("EditValueNumber"));
    EditValueNumber->setAlignment(Qt::AlignRight);
    DateTimePicker = new QDateEdit(m_conditionPanel);
    DateTimePicker->setObjectName(QStringLiteral("DateTimePicker"));
    DateTimePicker->setCalendarPopup(true);
    DateTimePicker->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    DateTimePicker->setDate(QDate::currentDate());
    values->addWidget(EditValueString);
    values->addWidget(EditValueNumber);
    values->addWidget(DateTimePicker);
    cond->addLayout(values, 1, 2);
    ButtonAdd = new QPushButton(QStringLiteral("添加(&A)"), m_conditionPanel);
    ButtonAdd->setObjectName(QStringLiteral("ButtonAdd"));
    cond->addWidget(ButtonAdd, 1, 3);
    connect(ButtonAdd, &QPushButton::clicked, this, [this] { AddCondition(); });

    ListView = new QTreeWidget(m_conditionPanel);
    ListView->setObjectName(QStringLiteral("ListView"));
    ListView->setRootIsDecorated(false);
    ListView->setHeaderLabels({QStringLiteral("字段"), QStringLiteral("条件")});
    ListView->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    cond->addWidget(ListView, 2, 0, 1, 3);
    ButtonDelete = new QPushButton(QStringLiteral("删除(&D)"), m_conditionPanel);
    ButtonDelete->setObjectName(QStringLiteral("ButtonDelete"));
    cond->addWidget(ButtonDelete, 2, 3, Qt::AlignTop);
    connect(ButtonDelete, &QPushButton::clicked, this, [this] {
        const QModelIndex index = ListView->currentIndex();
        if (index.isValid()) DeleteCondition(index.row());
    });
    cond->setColumnStretch(2, 1);
    root->addWidget(m_conditionPanel, 1);

    MemoSQL = new QPlainTextEdit(this);
    MemoSQL->setObjectName(QStringLiteral("MemoSQL"));
    MemoSQL->setReadOnly(true);
    MemoSQL->hide();
    root->addWidget(MemoSQL, 1);

    auto* match = new QHBoxLayout;
    RadioButtonAnd = new QRadioButton(QStringLiteral("满足所有条件"), this);
    RadioButtonAnd->setObjectName(QStringLiteral("RadioButtonAnd"));
    RadioButtonOr = new QRadioButton(QStringLiteral("满足条件之一"), this);
    RadioButtonOr->setObjectName(QStringLiteral("RadioButtonOr"));
    RadioButtonAnd->setChecked(true);
    match->addWidget(RadioButtonAnd);
    match->addWidget(RadioButtonOr);
    match->addStretch();
    root->addLayout(match);

    // Name, folder and sharing of a view.
    m_viewPanel = new QWidget(this);
    auto* view = new QGridLayout(m_viewPanel);
    view->setContentsMargins(0, 0, 0, 0);
    view->addWidget(new QLabel(QStringLiteral("所属组"), m_viewPanel), 0, 0);
    EditGroup = new QLineEdit(m_viewPanel);
    EditGroup->setObjectName(QStringLiteral("EditGroup"));
    view->addWidget(EditGroup, 0, 1);
    view->addWidget(new QLabel(QStringLiteral("视图名称"), m_viewPanel), 0, 2);
    EditName = new QLineEdit(m_viewPanel);
    EditName->setObjectName(QStringLiteral("EditName"));
    view->addWidget(EditName, 0, 3);
    view->addWidget(new QLabel(QStringLiteral("说明"), m_viewPanel), 1, 0);
    EditDescription = new QLineEdit(m_viewPanel);
    EditDescription->setObjectName(QStringLiteral("EditDescription"));
    view->addWidget(EditDescription, 1, 1, 1, 3);
    CheckBoxShare = new QCheckBox(QStringLiteral("共享给所有用户"), m_viewPanel);
    CheckBoxShare->setObjectName(QStringLiteral("CheckBoxShare"));
    view->addWidget(CheckBoxShare, 2, 0, 1, 4);
    connect(CheckBoxShare, &QCheckBox::toggled, this, &TFilterEditorFM::ShareChanged);
    auto* usersBox = new QGroupBox(QStringLiteral("允许的用户"), m_viewPanel);
    auto* usersLayout = new QVBoxLayout(usersBox);
    CheckListUsers = checkList(usersBox, "CheckListUsers");
    usersLayout->addWidget(CheckListUsers);
    auto* groupsBox = new QGroupBox(QStringLiteral("允许的组"), m_viewPanel);
    auto* groupsLayout = new QVBoxLayout(groupsBox);
    CheckListGroups = checkList(groupsBox, "CheckListGroups");
    groupsLayout->addWidget(CheckListGroups);
    connect(CheckListGroups, &QListWidget::itemClicked, this, &TFilterEditorFM::GroupClicked);
    view->addWidget(usersBox, 3, 0, 1, 2);
    view->addWidget(groupsBox, 3, 2, 1, 2);
    root->addWidget(m_viewPanel, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    ButtonOK = new QPushButton(QStringLiteral("确定(&O)"), this);
    ButtonOK->setObjectName(QStringLiteral("ButtonOK"));
    ButtonCancel = new QPushButton(QStringLiteral("取消(&C)"), this);
    ButtonCancel->setObjectName(QStringLiteral("ButtonCancel"));
    buttons->addWidget(ButtonOK);
    buttons->addWidget(ButtonCancel);
    root->addLayout(buttons);
    connect(ButtonOK, &QPushButton::clicked, this, &TFilterEditorFM::accept);
    connect(ButtonCancel, &QPushButton::clicked, this, &TFilterEditorFM::reject);
    // Enter in a value box adds the condition; in the name boxes it saves.
    // No button is the default, so Enter never closes the form by surprise.
    for (QPushButton* b : {ButtonOK, ButtonCancel, ButtonAdd, ButtonDelete, ButtonField}) {
        b->setAutoDefault(false);
        b->setDefault(false);
    }
    for (QLineEdit* value : {EditValueString, EditValueNumber})
        connect(value, &QLineEdit::returnPressed, this, [this] { AddCondition(); });
    for (QLineEdit* name : {EditGroup, EditName, EditDescription})
        connect(name, &QLineEdit::returnPressed, this, &TFilterEditorFM::accept);

    OpTypeChanged();
    resize(660, 640);
}

// ---------------------------------------------------------------- modes

void TFilterEditorFM::DoSearchInit() {
    m_mode = TMode::Search;
    setWindowTitle(QStringLiteral("查询"));
    m_viewPanel->hide();
    ButtonOK->setText(QStringLiteral("确定(&O)"));
}

void TFilterEditorFM::DoNewViewInit(const QString& folder) {
    m_mode = TMode::NewView;
    setWindowTitle(QStringLiteral("新建视图"));
    m_viewPanel->show();
    EditGroup->setText(folder);
    ButtonOK->setText(QStringLiteral("保存(&S)"));
}

void TFilterEditorFM::DoEditViewInit(const QString& path) {
    m_mode = TMode::EditView;
    setWindowTitle(QStringLiteral("编辑视图"));
    m_viewPanel->show();
    m_originalPath = path;
    const qsizetype slash = path.lastIndexOf(QLatin1Char('\\'));
    EditGroup->setText(slash < 0 ? QString() : path.left(slash));
    EditName->setText(slash < 0 ? path : path.mid(slash + 1));
    ButtonOK->setText(QStringLiteral("保存(&S)"));
}

void TFilterEditorFM::DoSaveViewInit(const QString& folder, const QString& sql) {
    m_mode = TMode::SaveView;
    setWindowTitle(QStringLiteral("保存视图"));
    m_viewPanel->show();
    m_rawSql = true;
    m_sql = sql;
    m_conditionPanel->hide();
    RadioButtonAnd->hide();
    RadioButtonOr->hide();
    MemoSQL->setPlainText(sql);
    MemoSQL->show();
    EditGroup->setText(folder);
    ButtonOK->setText(QStringLiteral("保存(&S)"));
}

// ---------------------------------------------------------------- fields and operators

void TFilterEditorFM::SetDataset(const QString& tableName) {
    m_dataset = m_connection.ExecuteWithQuery(QStringLiteral("select top 1 * from ") + tableName);
    m_fieldCaptions.clear();
    m_fieldIndexes.clear();
    m_fieldMenu->clear();
    for (int i = 0; i < m_dataset->FieldCount(); ++i) {
        const QString name = m_dataset->Fields(i).FieldName();
        const QString caption = m_titleOf(name);
        // The rights columns are the view machinery's own, never conditions.
        if (caption.compare(QLatin1String("NotVisible"), Qt::CaseInsensitive) == 0 || IsSharingField(name))
            continue;
        m_fieldCaptions << caption;
        m_fieldIndexes.push_back(i);
    }
    // The menu breaks into columns of kFieldMenuRows entries.
    auto* grid = new QWidget(m_fieldMenu);
    auto* layout = new QGridLayout(grid);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(0);
    for (int k = 0; k < m_fieldCaptions.size(); ++k) {
        auto* entry = new QToolButton(grid);
        entry->setText(m_fieldCaptions[k]);
        entry->setAutoRaise(true);
        entry->setToolButtonStyle(Qt::ToolButtonTextOnly);
        entry->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        const QString caption = m_fieldCaptions[k];
        entry->setFocusPolicy(Qt::StrongFocus);
        connect(entry, &QToolButton::clicked, this, [this, caption] {
            m_fieldMenu->close();
            ChooseField(caption);
        });
        layout->addWidget(entry, k % kFieldMenuRows, k / kFieldMenuRows);
    }
    auto* action = new QWidgetAction(m_fieldMenu);
    action->setDefaultWidget(grid);
    m_fieldMenu->addAction(action);
}

void TFilterEditorFM::ShowFieldMenu() {
    m_fieldMenu->popup(EditFieldName->mapToGlobal(QPoint(0, EditFieldName->height())));
    m_menuEntry = 0;
    const auto entries = m_fieldMenu->findChildren<QToolButton*>();
    if (!entries.isEmpty()) entries.first()->setFocus();
}

bool TFilterEditorFM::FieldMenuKey(int key) {
    // The arrows walk the entries (left and right by column), Enter or Space
    // chooses the entry in focus.
    const auto entries = m_fieldMenu->findChildren<QToolButton*>();
    if (entries.isEmpty()) return false;
    const int count = static_cast<int>(entries.size());
    int next = m_menuEntry;
    switch (key) {
    case Qt::Key_Down:
    case Qt::Key_Tab:
        next = m_menuEntry + 1;
        break;
    case Qt::Key_Up:
    case Qt::Key_Backtab:
        next = m_menuEntry - 1;
        break;
    case Qt::Key_Right:
        next = m_menuEntry + kFieldMenuRows;
        break;
    case Qt::Key_Left:
        next = m_menuEntry - kFieldMenuRows;
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        entries.at(m_menuEntry)->click();
        return true;
    default:
        return false;
    }
    m_menuEntry = qBound(0, next, count - 1);
    entries.at(m_menuEntry)->setFocus();
    return true;
}

bool TFilterEditorFM::eventFilter(QObject* watched, QEvent* event) {
    // The field box opens its menu with F4, Alt+Down or Space.
    if (watched == EditFieldName && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_F4 || key->key() == Qt::Key_Space ||
            (key->key() == Qt::Key_Down && key->modifiers() & Qt::AltModifier)) {
            ShowFieldMenu();
            return true;
        }
    }
    if (watched == m_fieldMenu && event->type() == QEvent::KeyPress &&
        FieldMenuKey(static_cast<QKeyEvent*>(event)->key()))
        return true;
    return QDialog::eventFilter(watched, event);
}

void TFilterEditorFM::ChooseField(const QString& caption) {
    const qsizetype k = m_fieldCaptions.indexOf(caption);
    if (k < 0) return;
    EditFieldName->setText(caption);
    UpdateOpTypes(m_fieldIndexes[static_cast<size_t>(k)]);
}

void TFilterEditorFM::UpdateOpTypes(int fieldIndex) {
    const QSignalBlocker block(ComboboxOpType);
    ComboboxOpType->clear();
    FillSearchOperators(m_dataset->Fields(fieldIndex).DataType(), m_ops);
    for (const TSearchOperator& op : m_ops)
        ComboboxOpType->addItem(op.Name);
    ComboboxOpType->setCurrentIndex(m_ops.empty() ? -1 : 0);
    OpTypeChanged();
}

void TFilterEditorFM::OpTypeChanged() {
    EditValueString->hide();
    EditValueNumber->hide();
    DateTimePicker->hide();
    const int k = ComboboxOpType->currentIndex();
    if (k < 0 || k >= static_cast<int>(m_ops.size())) return;
    switch (m_ops[static_cast<size_t>(k)].Value.ValueKind) {
    case svkText:
        EditValueString->show();
        break;
    case svkNumber:
        EditValueNumber->show();
        break;
    case svkDate:
        DateTimePicker->show();
        break;
    default:
        break;
    }
}

QString TFilterEditorFM::GetItemSQL() const {
    const int k = ComboboxOpType->currentIndex();
    if (!m_dataset || k < 0 || k >= static_cast<int>(m_ops.size())) return QString();
    const TSearchInput input{EditValueString->text(), EditValueNumber->text(), DateTimePicker->date()};
    return lnq::GetItemSQL(EditFieldName->text(), *m_dataset, &m_ops[static_cast<size_t>(k)], input,
                           m_titleOf);
}

bool TFilterEditorFM::AddCondition() {
    const int k = ComboboxOpType->currentIndex();
    if (!m_dataset || ComboboxOpType->currentText().isEmpty() || k < 0 || k >= static_cast<int>(m_ops.size()))
        return false;
    const TSearchInput input{EditValueString->text(), EditValueNumber->text(), DateTimePicker->date()};
    if (!m_conditions.AddCondition(EditFieldName->text(), *m_dataset, &m_ops[static_cast<size_t>(k)], input,
                                   m_titleOf))
        return false;
    AppendRow(m_conditions.At(m_conditions.Count() - 1).Row);
    return true;
}

void TFilterEditorFM::AppendRow(const TConditionRow& row) {
    auto* item = new QTreeWidgetItem(ListView);
    item->setText(0, row.Caption);
    item->setText(1, row.Description);
}

void TFilterEditorFM::DeleteCondition(int index) {
    if (index < 0 || index >= m_conditions.Count()) return;
    m_conditions.Delete(index);
    delete ListView->takeTopLevelItem(index);
}

QString TFilterEditorFM::GetSearchSQL() const {
    return m_conditions.GetSearchSQL(MatchAll());
}

bool TFilterEditorFM::MatchAll() const {
    return RadioButtonAnd->isChecked();
}

void TFilterEditorFM::SaveToStream(QIODevice& stream) const {
    if (m_rawSql)
        SaveSQLToStream(stream, m_sql);
    else
        lnq::SaveToStream(stream, m_conditions, MatchAll());
}

void TFilterEditorFM::LoadFromStream(QIODevice& stream) {
    const TStoredView view = ReadStoredView(stream);
    m_conditions.Clear();
    ListView->clear();
    if (view.IsSQL) {
        // A view kept as one SQL text is shown, not edited; its sharing is.
        m_rawSql = true;
        m_sql = view.SQL;
        m_conditionPanel->hide();
        RadioButtonAnd->hide();
        RadioButtonOr->hide();
        MemoSQL->setPlainText(view.SQL);
        MemoSQL->show();
        return;
    }
    for (const TCondition& c : view.Conditions) {
        m_conditions.Add(c.Piece, c.Row.Caption, c.Row.Description);
        AppendRow(c.Row);
    }
    (view.MatchAll ? RadioButtonAnd : RadioButtonOr)->setChecked(true);
}

// ---------------------------------------------------------------- rights

void TFilterEditorFM::GetAllUsers() {
    CheckListUsers->clear();
    const auto ds = m_connection.ExecuteWithQuery(QStringLiteral("select vUserName from sys_Systemuser"));
    TField& name = ds->FieldByName(QStringLiteral("vUserName"));
    for (ds->First(); !ds->Eof(); ds->Next()) {
        auto* item = new QListWidgetItem(name.AsString(), CheckListUsers);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Unchecked);
    }
}

void TFilterEditorFM::GetAllGroups() {
    CheckListGroups->clear();
    const auto ds =
        m_connection.ExecuteWithQuery(QStringLiteral("select vGroupID,vGroupName from sys_group"));
    TField& id = ds->FieldByName(QStringLiteral("vGroupID"));
    TField& name = ds->FieldByName(QStringLiteral("vGroupName"));
    for (ds->First(); !ds->Eof(); ds->Next()) {
        auto* item = new QListWidgetItem(GroupEntryText(id.AsString(), name.AsString()), CheckListGroups);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Unchecked);
        // The administrators' group "A0" starts checked. The entries are
        // bracketed, so their first two characters never occur in "A0"; the
        // rule stays as stored rights were written under it.
        if (QStringLiteral("A0").contains(item->text().left(2))) item->setCheckState(Qt::Checked);
    }
}

void TFilterEditorFM::GroupClicked(QListWidgetItem* item) {
    if (item && QStringLiteral("A0").contains(item->text().left(2))) item->setCheckState(Qt::Checked);
}

QString TFilterEditorFM::GetAllowedUsers() const {
    return AllowedUsersText(checkedTexts(CheckListUsers));
}

void TFilterEditorFM::SetAllowedUsers(const QString& list) {
    for (int i = 0; i < CheckListUsers->count(); ++i) {
        QListWidgetItem* item = CheckListUsers->item(i);
        item->setCheckState(UserAllowed(list, item->text()) ? Qt::Checked : Qt::Unchecked);
    }
}

QString TFilterEditorFM::GetAllowedGroups() const {
    return AllowedGroupsText(checkedTexts(CheckListGroups));
}

void TFilterEditorFM::SetAllowedGroups(const QString& list) {
    for (int i = 0; i < CheckListGroups->count(); ++i) {
        QListWidgetItem* item = CheckListGroups->item(i);
        item->setCheckState(GroupAllowed(list, item->text()) ? Qt::Checked : Qt::Unchecked);
    }
}

void TFilterEditorFM::ShareChanged() {
    // A shared view is visible to everybody: the lists mean nothing then.
    const bool enabled = !CheckBoxShare->isChecked();
    CheckListUsers->setEnabled(enabled);
    CheckListGroups->setEnabled(enabled);
}

QString TFilterEditorFM::ViewFolder() const {
    return EditGroup->text().trimmed();
}

QString TFilterEditorFM::ViewName() const {
    return EditName->text().trimmed();
}

TViewRights TFilterEditorFM::Rights() const {
    return {CheckBoxShare->isChecked(), GetAllowedUsers(), GetAllowedGroups(), EditDescription->text()};
}

void TFilterEditorFM::SetRights(const TViewRights& rights) {
    CheckBoxShare->setChecked(rights.Share);
    ShareChanged();
    SetAllowedUsers(rights.AllowedUsers);
    SetAllowedGroups(rights.AllowedGroups);
    EditDescription->setText(rights.Description);
}

// ---------------------------------------------------------------- closing

void TFilterEditorFM::Refuse(const QString& text) {
    TClientUtils::MsgBox(text, QStringLiteral("提示"), mb::Ok | mb::IconAsterisk);
}

void TFilterEditorFM::accept() {
    if (m_mode == TMode::Search) {
        if (m_conditions.IsEmpty()) return;
        QDialog::accept();
        return;
    }
    const QString folder = ViewFolder();
    const QString name = ViewName();
    if (folder.isEmpty() || name.isEmpty()) {
        Refuse(QStringLiteral("视图名称/所属组都不能为空！"));
        return;
    }
    if (name.contains(QLatin1Char('\\'))) {
        Refuse(QStringLiteral("不合法的视图名称") + name);
        return;
    }
    const QString path = folder + QLatin1Char('\\') + name;
    // A new view, and an edited one given another name, must not take the
    // name of a view that exists.
    const bool renamed = m_mode == TMode::EditView && path != m_originalPath.trimmed();
    if ((m_mode != TMode::EditView || renamed) && m_connection.StreamExists(path + m_ext)) {
        Refuse(QStringLiteral("重复的视图名称"));
        return;
    }
    QDialog::accept();
}

// ---------------------------------------------------------------- entry points

bool TFilterEditorFM::ShowSearchDialog(IConnection& connection, const QString& tableName, QString& sql,
                                       QWidget* parent) {
    TFilterEditorFM form(connection, QString(), parent);
    form.SetDataset(tableName);
    form.DoSearchInit();
    if (form.exec() != QDialog::Accepted) return false;
    sql = form.GetSearchSQL();
    return true;
}

bool TFilterEditorFM::ShowNewViewDialog(IConnection& connection, const QString& tableName, const QString& ext,
                                        const QString& folder, QIODevice& stream, QString& path,
                                        TViewRights& rights, QWidget* parent) {
    TFilterEditorFM form(connection, ext, parent);
    form.GetAllUsers();
    form.GetAllGroups();
    form.SetDataset(tableName);
    form.DoNewViewInit(folder);
    if (form.exec() != QDialog::Accepted) return false;
    form.SaveToStream(stream);
    path = form.ViewFolder() + QLatin1Char('\\') + form.ViewName();
    rights = form.Rights();
    return true;
}

bool TFilterEditorFM::ShowEditViewDialog(IConnection& connection, const QString& tableName,
                                         const QString& ext, QString& path, QBuffer& stream,
                                         TViewRights& rights, QWidget* parent) {
    TFilterEditorFM form(connection, ext, parent);
    form.GetAllUsers();
    form.GetAllGroups();
    form.SetDataset(tableName);
    form.DoEditViewInit(path);
    form.LoadFromStream(stream);
    form.SetRights(rights);
    if (form.exec() != QDialog::Accepted) return false;
    stream.buffer().clear();
    stream.seek(0);
    form.SaveToStream(stream);
    path = form.ViewFolder() + QLatin1Char('\\') + form.ViewName();
    rights = form.Rights();
    return true;
}

bool TFilterEditorFM::ShowSaveViewDialog(IConnection& connection, const QString& ext, const QString& folder,
                                         const QString& sql, QIODevice& stream, QString& path,
                                         TViewRights& rights, QWidget* parent) {
    TFilterEditorFM form(connection, ext, parent);
    form.GetAllUsers();
    form.GetAllGroups();
    form.DoSaveViewInit(folder, sql);
    if (form.exec() != QDialog::Accepted) return false;
    form.SaveToStream(stream);
    path = form.ViewFolder() + QLatin1Char('\\') + form.ViewName();
    rights = form.Rights();
    return true;
}

} // namespace lnq
