#include "forms/MasterDetailEdit_ui.h"

#include "data/ADOConnection.h"
#include "data/FieldTypes.h"
#include "data/Plat_databaseinterface.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Clock.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "util/Plat_enterfocus_ui.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

namespace lnq {

namespace {

const QString kPrompt = QStringLiteral("提示");
const QString kError = QStringLiteral("错误提示");

QString upper(const QString& s) {
    return s.toUpper();
}

bool isIntegerType(TFieldType t) {
    return StorageKindOf(t) == TStorageKind::Integer;
}

// Cell text -> field value of the field's type; an empty cell is null.
QVariant cellToValue(const TLNQStringGrid& grid, int row, const QString& colName, TFieldType type) {
    QString text;
    grid.GetCellValS(row, colName, text);
    if (text.trimmed().isEmpty()) return {};
    if (IsBooleanTypeGroup(type)) {
        const QString t = text.trimmed();
        return t == QLatin1String("1") || t.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ||
               t == QStringLiteral("是");
    }
    if (IsDateTypeGroup(type)) {
        const QString t = text.trimmed();
        QDateTime dt = QDateTime::fromString(t, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        if (!dt.isValid()) dt = QDateTime(QDate::fromString(t, QStringLiteral("yyyy-MM-dd")), QTime(0, 0));
        if (!dt.isValid()) throw EConvertError(QStringLiteral("'%1' 不是有效的日期").arg(t));
        return dt;
    }
    if (isIntegerType(type)) {
        int v = 0;
        grid.GetCellValI(row, colName, v);
        return v;
    }
    if (IsNumberTypeGroup(type) && !IsTextTypeGroup(type)) {
        double v = 0;
        grid.GetCellValF(row, colName, v);
        return v;
    }
    return text;
}

QString htmlEscaped(const QString& s) {
    return s.toHtmlEscaped();
}

} // namespace

TMasterDetailEditfm::TMasterDetailEditfm(std::shared_ptr<IConnection> connection,
                                         IServicesInterface* services, QWidget* parent)
    : QWidget(parent), m_connection(std::move(connection)), m_services(services) {
    setObjectName(QStringLiteral("MasterDetailEditfm"));
    buildUi();
    // Header fields are filled in with Enter from one to the next; the grid
    // keeps its own Enter (along the line).
    TEnterFocus::Install(*this);
}

TMasterDetailEditfm::~TMasterDetailEditfm() = default;

void TMasterDetailEditfm::buildUi() {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);

    auto* bar = new QHBoxLayout;
    m_toolBar = bar;
    // The operations report their outcome themselves; the buttons drop it.
    const auto add = [&](const char* name, const QString& caption, std::function<void()> run) {
        auto* b = new QToolButton(this);
        b->setObjectName(QString::fromLatin1(name));
        b->setText(caption);
        b->setToolButtonStyle(Qt::ToolButtonTextOnly);
        b->setAutoRaise(true);
        b->setFocusPolicy(Qt::NoFocus);
        connect(b, &QToolButton::clicked, this, [run] { run(); });
        bar->addWidget(b);
        return b;
    };
    add("SpeedButtonNew", QStringLiteral("新增"), [this] { NewDocument(); });
    add("SpeedButtonSave", QStringLiteral("保存"), [this] { SaveDocument(); });
    add("SpeedButtonDelete", QStringLiteral("删除"), [this] { DeleteDocument(); });
    bar->addSpacing(8);
    add("SpeedButtonDoConfirm", QStringLiteral("审核"), [this] { DoConfirm(); });
    add("SpeedButtonUnDoConfirm", QStringLiteral("消审"), [this] { UndoConfirm(); });
    bar->addSpacing(8);
    add("SpeedButtonAddLine", QStringLiteral("增行"), [this] { AddDetailLine(); });
    add("SpeedButtonDeleteLine", QStringLiteral("删行"), [this] { DeleteDetailLine(); });
    add("SpeedButtonCopy", QStringLiteral("复制"), [this] { CopyDetailToClipboard(); });
    bar->addSpacing(8);
    add("SpeedButtonExit", QStringLiteral("退出"), [this] { Q_EMIT ExitRequested(); });
    bar->addStretch(1);
    m_stateLabel = new QLabel(this);
    m_stateLabel->setObjectName(QStringLiteral("LabelConfirmState"));
    QFont stateFont = m_stateLabel->font();
    stateFont.setBold(true);
    m_stateLabel->setFont(stateFont);
    bar->addWidget(m_stateLabel);
    layout->addLayout(bar);

    // Several editors may share a window (tabs): the shortcut belongs to this one.
    auto* save = new QShortcut(QKeySequence::Save, this);
    save->setContext(Qt::WidgetWithChildrenShortcut);
    connect(save, &QShortcut::activated, this, [this] { SaveDocument(); });

    m_headerPanel = new QWidget(this);
    m_headerPanel->setObjectName(QStringLiteral("PanelHeader"));
    m_headerLayout = new QGridLayout(m_headerPanel);
    m_headerLayout->setContentsMargins(0, 4, 0, 4);
    layout->addWidget(m_headerPanel);

    m_grid = new TLNQStringGrid(this);
    m_grid->setObjectName(QStringLiteral("LNQStringGridDetail"));
    m_grid->SetOptions(m_grid->Options() | TGridOption::goEditing | TGridOption::goColSizing |
                       TGridOption::goTabs);
    m_grid->SetAutoNext(true);
    m_grid->SetPassReadonly(true);
    layout->addWidget(m_grid, 1);
    connect(m_grid, &TLNQCustomGrid::OnSetEditText, this,
            [this](TLNQCustomGrid*, int col, int row, const QString&) { cellEdited(col, row); });

    m_footerPanel = new QWidget(this);
    m_footerPanel->setObjectName(QStringLiteral("PanelFooter"));
    auto* footer = new QHBoxLayout(m_footerPanel);
    footer->setContentsMargins(0, 2, 0, 0);
    m_auditLabel = new QLabel(m_footerPanel);
    m_auditLabel->setObjectName(QStringLiteral("LabelAudit"));
    footer->addStretch(1);
    footer->addWidget(m_auditLabel);
    layout->addWidget(m_footerPanel);
}

QToolButton* TMasterDetailEditfm::AddToolButton(const QString& objectName, const QString& caption,
                                                bool editing) {
    auto* b = new QToolButton(this);
    b->setObjectName(objectName);
    b->setText(caption);
    b->setToolButtonStyle(Qt::ToolButtonTextOnly);
    b->setAutoRaise(true);
    b->setFocusPolicy(Qt::NoFocus);
    // Before the stretch and the state text at the end.
    m_toolBar->insertWidget(m_toolBar->count() - 2, b);
    if (editing) m_editingButtons.emplace_back(b);
    updateState();
    return b;
}

QToolButton* TMasterDetailEditfm::Button(const QString& objectName) const {
    return findChild<QToolButton*>(objectName);
}

void TMasterDetailEditfm::FormCreate() {
    ConfirmWord = QStringLiteral("确认");
    // The field names as the tables spell them (master values are addressed
    // in any case) and the detail fields' types (cell texts become values).
    try {
        const std::unique_ptr<TADODataSet> master = m_connection->ExecuteWithQuery(
            QStringLiteral("SELECT * FROM ") + MasterTable() + QStringLiteral(" WHERE 1=0"));
        for (const QString& name : master->FieldNames())
            m_masterNames.insert(upper(name), name);
        const std::unique_ptr<TADODataSet> detail = m_connection->ExecuteWithQuery(
            QStringLiteral("SELECT * FROM ") + DetailTable() + QStringLiteral(" WHERE 1=0"));
        for (int i = 0; i < detail->FieldCount(); ++i)
            m_detailTypes.insert(upper(detail->Fields(i).FieldName()), detail->Fields(i).DataType());
    } catch (const Exception& e) {
        ShowMessage(e.Message(), kError, mb::Ok | mb::IconHand);
    }

    // Column 0: the fixed line-number column.
    m_grid->SetColCount(1);
    TGridCol* no = m_grid->GridCols()[0];
    no->SetColName(QStringLiteral("RowNo"));
    no->SetCaption(QStringLiteral("序号"));
    no->SetDataTypePro(dpOrderNo);
    no->SetReadOnly(true);
    no->SetWidth(40);
    no->SetTailCaption(QStringLiteral("合计"));
    m_grid->SetFixedCols(1);

    m_loading = true;
    CreateHeader();
    CreateDetailColumns();
    m_loading = false;
    m_grid->SetGridTail(true);
    m_created = true;
    startNewDocument();
}

void TMasterDetailEditfm::ApplinkInit(const QString& params) {
    const QStringList lines = TClientUtils::GetAppLinkListValue(params);
    QString action;
    QString keyText;
    TClientUtils::GetAppLinkValue(lines, QStringLiteral("Action"), action);
    action = action.trimmed().toUpper();
    const bool hasKey = TClientUtils::GetAppLinkValue(lines, QStringLiteral("KeyField"), keyText);
    keyText = keyText.trimmed();
    if (action == QLatin1String("INSERT")) {
        NewDocument();
        return;
    }
    if (!hasKey) return;
    bool ok = false;
    const int key = keyText.toInt(&ok);
    if (!ok || key <= 0) {
        ShowMessage(QStringLiteral("单据号“") + keyText + QStringLiteral("”无效"), kError,
                    mb::Ok | mb::IconHand);
        return;
    }
    if (!LoadDocument(key)) return;
    if (action == QLatin1String("DELETE")) DeleteDocument();
}

// ---------------------------------------------------------------------------
// Binding

void TMasterDetailEditfm::BindField(const QString& field, QLineEdit* edit) {
    BindField(
        field, edit, [edit] { return edit->text().isEmpty() ? QVariant() : QVariant(edit->text()); },
        [edit](const QVariant& v) { edit->setText(v.isNull() ? QString() : v.toString()); });
    connect(edit, &QLineEdit::textChanged, this, [this] { MarkModified(); });
}

void TMasterDetailEditfm::BindField(const QString& field, QDateTimeEdit* picker) {
    BindField(
        field, picker, [picker] { return QVariant(picker->dateTime()); },
        [picker](const QVariant& v) {
            const QDateTime dt = v.toDateTime();
            picker->setDateTime(dt.isValid() ? dt : QDateTime(Clock::today(), QTime(0, 0)));
        });
    connect(picker, &QDateTimeEdit::dateTimeChanged, this, [this] { MarkModified(); });
}

void TMasterDetailEditfm::BindField(const QString& field, QPlainTextEdit* edit) {
    BindField(
        field, edit,
        [edit] {
            const QString t = edit->toPlainText();
            return t.isEmpty() ? QVariant() : QVariant(t);
        },
        [edit](const QVariant& v) { edit->setPlainText(v.isNull() ? QString() : v.toString()); });
    connect(edit, &QPlainTextEdit::textChanged, this, [this] { MarkModified(); });
}

void TMasterDetailEditfm::BindField(const QString& field, QComboBox* combo) {
    BindField(
        field, combo,
        [combo] {
            const QString t = combo->currentText();
            return t.isEmpty() ? QVariant() : QVariant(t);
        },
        [combo](const QVariant& v) {
            const QString t = v.isNull() ? QString() : v.toString();
            const int i = combo->findText(t);
            if (i >= 0)
                combo->setCurrentIndex(i);
            else if (combo->isEditable())
                combo->setEditText(t);
            else
                combo->setCurrentIndex(-1);
        });
    connect(combo, &QComboBox::currentTextChanged, this, [this] { MarkModified(); });
}

void TMasterDetailEditfm::BindField(const QString& field, QCheckBox* check) {
    BindField(
        field, check, [check] { return QVariant(check->isChecked()); },
        [check](const QVariant& v) { check->setChecked(v.toBool()); });
    connect(check, &QCheckBox::toggled, this, [this] { MarkModified(); });
}

void TMasterDetailEditfm::BindField(const QString& field, QWidget* editor, std::function<QVariant()> read,
                                    std::function<void(const QVariant&)> write) {
    if (TBinding* b = bindingFor(field)) {
        b->Editor = editor;
        b->Read = std::move(read);
        b->Write = std::move(write);
        return;
    }
    m_bindings.push_back(TBinding{field, editor, std::move(read), std::move(write)});
}

void TMasterDetailEditfm::AddHeaderEditor(const QString& caption, QWidget* editor, int row, int column,
                                          int columnSpan) {
    auto* label = new QLabel(caption, m_headerPanel);
    label->setBuddy(editor);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    editor->setParent(m_headerPanel);
    m_headerLayout->addWidget(label, row, column * 2);
    m_headerLayout->addWidget(editor, row, column * 2 + 1, 1, columnSpan * 2 - 1);
}

TMasterDetailEditfm::TBinding* TMasterDetailEditfm::bindingFor(const QString& field) {
    for (TBinding& b : m_bindings)
        if (b.Field.compare(field, Qt::CaseInsensitive) == 0) return &b;
    return nullptr;
}

const TMasterDetailEditfm::TBinding* TMasterDetailEditfm::bindingFor(const QString& field) const {
    for (const TBinding& b : m_bindings)
        if (b.Field.compare(field, Qt::CaseInsensitive) == 0) return &b;
    return nullptr;
}

QVariant TMasterDetailEditfm::MasterValue(const QString& field) const {
    if (const TBinding* b = bindingFor(field); b && b->Editor && b->Read) return b->Read();
    return m_master.value(upper(field));
}

void TMasterDetailEditfm::SetMasterValue(const QString& field, const QVariant& value) {
    m_master.insert(upper(field), value);
    if (TBinding* b = bindingFor(field); b && b->Editor && b->Write) b->Write(value);
    MarkModified();
}

void TMasterDetailEditfm::MarkModified() {
    if (m_loading || !m_created) return;
    setModified(true);
}

void TMasterDetailEditfm::setModified(bool modified) {
    if (m_modified == modified) return;
    m_modified = modified;
    updateState();
    Q_EMIT ModifiedChanged(modified);
}

// ---------------------------------------------------------------------------
// State

QString TMasterDetailEditfm::ConfirmState() const {
    if (ConfirmStateField().isEmpty()) return {};
    return m_master.value(upper(ConfirmStateField())).toString();
}

bool TMasterDetailEditfm::Confirmed() const {
    return !ConfirmStateField().isEmpty() && ConfirmState() == QStringLiteral("已") + ConfirmWord;
}

QString TMasterDetailEditfm::CurrentUserName() const {
    return TClientUtils::GetCurrentUserName(*m_connection);
}

QString TMasterDetailEditfm::AuditUserText() const {
    const QString code = TClientUtils::GetCurrentUserCode(*m_connection);
    return code.isEmpty() ? CurrentUserName() : code;
}

int TMasterDetailEditfm::ShowMessage(const QString& text, const QString& caption, int flags) {
    if (OnMessageBox) return OnMessageBox(text, caption, flags);
    return TClientUtils::MsgBox(text, caption, flags);
}

void TMasterDetailEditfm::updateState() {
    const bool confirmed = Confirmed();
    const bool canConfirm = !ConfirmStateField().isEmpty();
    const auto enable = [this](const char* name, bool on) {
        if (QToolButton* b = Button(QString::fromLatin1(name))) b->setEnabled(on);
    };
    enable("SpeedButtonSave", !confirmed);
    enable("SpeedButtonDelete", !confirmed && m_key != 0);
    enable("SpeedButtonDoConfirm", canConfirm && !confirmed && (m_key != 0 || m_modified));
    enable("SpeedButtonUnDoConfirm", canConfirm && confirmed);
    enable("SpeedButtonAddLine", !confirmed);
    enable("SpeedButtonDeleteLine", !confirmed);
    for (const QPointer<QToolButton>& b : m_editingButtons)
        if (b) b->setEnabled(!confirmed);

    m_grid->SetGridReadOnly(confirmed);
    for (const TBinding& b : m_bindings) {
        if (!b.Editor) continue;
        if (auto* e = qobject_cast<QLineEdit*>(b.Editor.data()))
            e->setReadOnly(confirmed);
        else if (auto* p = qobject_cast<QPlainTextEdit*>(b.Editor.data()))
            p->setReadOnly(confirmed);
        else if (auto* d = qobject_cast<QDateTimeEdit*>(b.Editor.data()))
            d->setReadOnly(confirmed);
        else
            b.Editor->setEnabled(!confirmed);
    }

    QString state;
    if (m_key == 0)
        state = QStringLiteral("新单据");
    else if (canConfirm)
        state = confirmed ? QStringLiteral("已") + ConfirmWord : QStringLiteral("未") + ConfirmWord;
    if (m_modified) state += QStringLiteral(" *");
    m_stateLabel->setText(state);
    m_stateLabel->setStyleSheet(confirmed ? QStringLiteral("color: #b00000;") : QString());

    // The audit line under the grid.
    QStringList audit;
    const auto part = [&](const QString& caption, const QString& userField, const QString& timeField,
                          const QString& format) {
        if (userField.isEmpty() && timeField.isEmpty()) return;
        const QString user = userField.isEmpty() ? QString() : m_master.value(upper(userField)).toString();
        const QDateTime when =
            timeField.isEmpty() ? QDateTime() : m_master.value(upper(timeField)).toDateTime();
        if (user.isEmpty() && !when.isValid()) return;
        QStringList parts;
        if (!user.isEmpty()) parts << user;
        if (when.isValid()) parts << when.toString(format);
        audit << caption + QStringLiteral("：") + parts.join(QLatin1Char(' '));
    };
    part(QStringLiteral("制单"), CreateUserField(), CreateTimeField(), QStringLiteral("yyyy-MM-dd HH:mm"));
    part(QStringLiteral("修改"), ModifyUserField(), ModifyTimeField(), QStringLiteral("yyyy-MM-dd HH:mm"));
    if (confirmed) part(ConfirmWord, ConfirmUserField(), ConfirmDateField(), QStringLiteral("yyyy-MM-dd"));
    m_auditLabel->setText(audit.join(QStringLiteral("    ")));
}

bool TMasterDetailEditfm::vetoed(bool virtualAnswer,
                                 const std::function<void(TMasterDetailEditfm&, bool&)>& event) {
    if (!virtualAnswer) return true;
    bool can = true;
    if (event) event(*this, can);
    return !can;
}

bool TMasterDetailEditfm::askSaveChanges() {
    if (!m_modified || Confirmed()) return true;
    const int answer =
        ShowMessage(QStringLiteral("单据已修改，是否保存？"), kPrompt, mb::YesNoCancel | mb::IconQuestion);
    if (answer == id::Yes) return SaveDocument();
    return answer == id::No;
}

// ---------------------------------------------------------------------------
// Loading

TMasterDetailSettings TMasterDetailEditfm::DocumentSettings() const {
    TMasterDetailSettings s;
    s.MasterTable = MasterTable();
    s.MasterKeyField = MasterKeyField();
    s.DetailTable = DetailTable();
    s.DetailKeyField = DetailKeyField();
    s.DetailLineKeyField = DetailLineKeyField();
    s.DetailOrderField = DetailOrderField();
    s.ConfirmStateField = ConfirmStateField();
    s.ConfirmUserField = ConfirmUserField();
    s.ConfirmDateField = ConfirmDateField();
    s.CreateUserField = CreateUserField();
    s.CreateTimeField = CreateTimeField();
    s.ModifyUserField = ModifyUserField();
    s.ModifyTimeField = ModifyTimeField();
    s.ConfirmWord = ConfirmWord;
    return s;
}

void TMasterDetailEditfm::clearDocument() {
    m_loading = true;
    m_key = 0;
    m_master.clear();
    for (const QString& name : std::as_const(m_masterNames))
        m_master.insert(upper(name), QVariant());
    for (TBinding& b : m_bindings)
        if (b.Editor && b.Write) b.Write(QVariant());
    m_grid->HideEditor();
    m_grid->SetRowCount(2);
    TClientUtils::ClearLNQStringGrid(*m_grid);
    m_grid->FocusCell(std::min(1, m_grid->ColCount() - 1), 1);
    m_loading = false;
    recalcTotals();
}

void TMasterDetailEditfm::startNewDocument() {
    clearDocument();
    m_loading = true;
    InitNewDocument();
    m_loading = false;
    m_modified = true; // so that the clean state below is announced
    setModified(false);
    Q_EMIT ConfirmStateChanged(false);
}

bool TMasterDetailEditfm::NewDocument() {
    if (!askSaveChanges()) return false;
    startNewDocument();
    return true;
}

bool TMasterDetailEditfm::reload(int key) {
    TMasterDetailDocument doc(*m_connection, DocumentSettings());
    TDocumentValues master;
    std::vector<TDocumentValues> lines;
    if (!doc.Load(key, master, lines)) return false;
    showDocument(master, lines);
    return true;
}

bool TMasterDetailEditfm::LoadDocument(int key) {
    if (!askSaveChanges()) return false;
    try {
        if (!reload(key)) {
            ShowMessage(QStringLiteral("没有找到单据（") + MasterKeyField() + QStringLiteral("=") +
                            QString::number(key) + QStringLiteral("）"),
                        kPrompt, mb::Ok | mb::IconAsterisk);
            return false;
        }
    } catch (const Exception& e) {
        ShowMessage(e.Message(), kError, mb::Ok | mb::IconHand);
        return false;
    }
    Q_EMIT DocumentLoaded(m_key);
    return true;
}

void TMasterDetailEditfm::showDocument(const TDocumentValues& master,
                                       const std::vector<TDocumentValues>& lines) {
    m_loading = true;
    m_grid->HideEditor();
    m_master = master;
    m_key = master.value(upper(MasterKeyField())).toInt();
    for (TBinding& b : m_bindings)
        if (b.Editor && b.Write) b.Write(m_master.value(upper(b.Field)));

    m_grid->SetRowCount(int(lines.size()) + 2);
    TClientUtils::ClearLNQStringGrid(*m_grid);
    const TGridCols& cols = m_grid->GridCols();
    int row = 1;
    for (const TDocumentValues& line : lines) {
        for (int c = 1; c < cols.Count(); ++c) {
            const TGridCol* col = cols[c];
            const auto it = line.constFind(upper(col->ColName()));
            if (it == line.constEnd()) continue;
            const QVariant& v = *it;
            if (v.isNull()) {
                m_grid->SetCellValS(row, col->ColName(), QString());
            } else if (v.metaType().id() == QMetaType::QDateTime) {
                const QDateTime dt = v.toDateTime();
                m_grid->SetCellValS(row, col->ColName(),
                                    dt.time() == QTime(0, 0)
                                        ? dt.toString(QStringLiteral("yyyy-MM-dd"))
                                        : dt.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
            } else if (IsNumericDataTypePro(col->DataTypePro())) {
                m_grid->SetCellValF(row, col->ColName(), v.toDouble());
            } else {
                m_grid->SetCellValS(row, col->ColName(), v.toString());
            }
        }
        ++row;
    }
    m_grid->FocusCell(std::min(1, m_grid->ColCount() - 1), 1);
    m_loading = false;
    recalcTotals();
    m_modified = true;
    setModified(false);
    Q_EMIT ConfirmStateChanged(Confirmed());
}

// ---------------------------------------------------------------------------
// Saving

bool TMasterDetailEditfm::isDataColumn(int col) const {
    return col >= 1 && col < m_grid->ColCount() && !m_grid->GridCols()[col]->ColName().isEmpty();
}

bool TMasterDetailEditfm::lineHasData(int row) const {
    const TGridCols& cols = m_grid->GridCols();
    for (int c = 1; c < cols.Count(); ++c) {
        if (!isDataColumn(c)) continue;
        if (!m_grid->Cells(c, row).trimmed().isEmpty()) return true;
    }
    return false;
}

int TMasterDetailEditfm::DetailLineCount() const {
    int n = 0;
    for (int row = 1; row < m_grid->RowCount(); ++row)
        if (lineHasData(row)) ++n;
    return n;
}

std::vector<TDocumentValues> TMasterDetailEditfm::gridLines() const {
    std::vector<TDocumentValues> lines;
    const TGridCols& cols = m_grid->GridCols();
    for (int row = 1; row < m_grid->RowCount(); ++row) {
        if (!lineHasData(row)) continue;
        TDocumentValues line;
        for (int c = 1; c < cols.Count(); ++c) {
            const QString name = cols[c]->ColName();
            const auto type = m_detailTypes.constFind(upper(name));
            if (name.isEmpty() || type == m_detailTypes.constEnd()) continue;
            line.insert(upper(name), cellToValue(*m_grid, row, name, *type));
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

bool TMasterDetailEditfm::SaveDocument() {
    m_grid->HideEditor(); // an open cell editor hands its text over first
    if (Confirmed()) {
        ShowMessage(QStringLiteral("单据已") + ConfirmWord + QStringLiteral("，不能修改"), kPrompt,
                    mb::Ok | mb::IconAsterisk);
        return false;
    }
    if (vetoed(CanSave(), OnBeforeSave)) return false;

    TDocumentValues values = m_master;
    for (const TBinding& b : m_bindings)
        if (b.Editor && b.Read) values.insert(upper(b.Field), b.Read());
    int key = 0;
    try {
        const std::vector<TDocumentValues> lines = gridLines();
        TMasterDetailDocument doc(*m_connection, DocumentSettings());
        key = doc.Save(m_key, values, lines, AuditUserText(), Clock::now(),
                       [this](int saved) { AfterSaveData(saved); });
    } catch (const Exception& e) {
        // The database is as it was; the form keeps what the user entered.
        ShowMessage(QStringLiteral("保存失败：") + e.Message(), kError, mb::Ok | mb::IconHand);
        return false;
    }

    // Show what the database holds now (defaults, audit fields, line order).
    m_key = key;
    try {
        reload(key);
    } catch (const Exception& e) {
        ShowMessage(e.Message(), kError, mb::Ok | mb::IconHand);
    }
    setModified(false);
    updateState();
    Q_EMIT DocumentSaved(key);
    return true;
}

// ---------------------------------------------------------------------------
// Deleting

bool TMasterDetailEditfm::DeleteDocument() {
    if (m_key == 0) return false;
    if (Confirmed()) {
        ShowMessage(QStringLiteral("单据已") + ConfirmWord + QStringLiteral("，不能删除"), kPrompt,
                    mb::Ok | mb::IconAsterisk);
        return false;
    }
    if (vetoed(CanDelete(), OnBeforeDelete)) return false;
    if (ShowMessage(QStringLiteral("确定要删除这张单据吗？"), kPrompt, mb::YesNo | mb::IconQuestion) !=
        id::Yes)
        return false;
    const int key = m_key;
    try {
        TMasterDetailDocument(*m_connection, DocumentSettings()).Delete(key);
    } catch (const Exception& e) {
        ShowMessage(QStringLiteral("删除失败：") + e.Message(), kError, mb::Ok | mb::IconHand);
        return false;
    }
    m_modified = false;
    startNewDocument();
    Q_EMIT DocumentDeleted(key);
    return true;
}

// ---------------------------------------------------------------------------
// Confirmation

bool TMasterDetailEditfm::DoConfirm() {
    return setConfirmation(true);
}

bool TMasterDetailEditfm::UndoConfirm() {
    return setConfirmation(false);
}

bool TMasterDetailEditfm::setConfirmation(bool confirm) {
    if (ConfirmStateField().isEmpty()) return false;
    if (Confirmed() == confirm) return false;
    if (confirm ? vetoed(CanDoConfirm(), OnBeforeConfirm) : vetoed(CanUndoConfirm(), OnBeforeUndoConfirm))
        return false;
    // What is confirmed is what the database holds.
    if (confirm && (m_modified || m_key == 0) && !SaveDocument()) return false;

    const QString action = (confirm ? QString() : QStringLiteral("取消")) + ConfirmWord;
    try {
        TMasterDetailDocument(*m_connection, DocumentSettings())
            .SetConfirmation(m_key, confirm, CurrentUserName(), Clock::today(), [this, confirm] {
                if (confirm)
                    DoConfirmData();
                else
                    UndoConfirmData();
            });
    } catch (const Exception& e) {
        ShowMessage(action + QStringLiteral("失败：") + e.Message(), kError, mb::Ok | mb::IconHand);
        return false;
    }
    try {
        reload(m_key);
    } catch (const Exception& e) {
        ShowMessage(e.Message(), kError, mb::Ok | mb::IconHand);
    }
    updateState();
    ShowMessage(action + QStringLiteral("成功"), kPrompt, mb::Ok | mb::IconAsterisk);
    return true;
}

// ---------------------------------------------------------------------------
// Lines, totals and the clipboard

void TMasterDetailEditfm::AddDetailLine() {
    if (Confirmed()) return;
    const int row = m_grid->Row() >= 1 && lineHasData(m_grid->Row()) ? m_grid->Row() + 1 : m_grid->RowCount();
    m_grid->HideEditor();
    // An empty line changes nothing worth saving yet.
    if (m_grid->AddRow(row))
        m_grid->FocusCell(std::min(1, m_grid->ColCount() - 1), std::min(row, m_grid->RowCount() - 1));
}

void TMasterDetailEditfm::DeleteDetailLine() {
    if (Confirmed()) return;
    const int row = m_grid->Row();
    if (row < 1 || row >= m_grid->RowCount()) return;
    m_grid->HideEditor();
    const bool hadData = lineHasData(row);
    if (m_grid->RowCount() <= 2) {
        TClientUtils::ClearLNQStringGrid(*m_grid);
    } else if (!m_grid->DeleteRow(row)) {
        return;
    }
    ensureTrailingLine();
    recalcTotals();
    if (hadData) MarkModified();
}

void TMasterDetailEditfm::ensureTrailingLine() {
    // One empty line stays at the end to type the next line into.
    const int last = m_grid->RowCount() - 1;
    if (last >= 1 && !lineHasData(last)) return;
    m_grid->SetRowCount(m_grid->RowCount() + 1);
    m_grid->SetRowHeights(m_grid->RowCount() - 1, m_grid->RowsHeight());
}

void TMasterDetailEditfm::DetailLinesChanged() {
    ensureTrailingLine();
    recalcTotals();
    MarkModified();
}

void TMasterDetailEditfm::cellEdited(int col, int row) {
    if (m_loading) return;
    m_loading = true;
    DetailCellChanged(col, row);
    m_loading = false;
    ensureTrailingLine();
    recalcTotals();
    MarkModified();
}

double TMasterDetailEditfm::DetailTotal(const QString& colName) const {
    const int c = m_grid->ColByName(colName);
    if (c < 0) return 0;
    const TGridCol* col = m_grid->GridCols()[c];
    double total = 0;
    for (int row = 1; row < m_grid->RowCount(); ++row) {
        if (!lineHasData(row)) continue;
        if (col->CalcMode() == ccCount) {
            if (!m_grid->Cells(c, row).trimmed().isEmpty()) total += 1;
        } else if (col->CalcMode() == ccSum) {
            double v = 0;
            try {
                if (!m_grid->Cells(c, row).trimmed().isEmpty()) m_grid->GetCellValF(row, colName, v);
            } catch (const Exception&) {
                v = 0; // a number still being typed counts as nothing
            }
            total += v;
        }
    }
    return total;
}

void TMasterDetailEditfm::recalcTotals() {
    const TGridCols& cols = m_grid->GridCols();
    for (int c = 1; c < cols.Count(); ++c) {
        TGridCol* col = cols[c];
        if (col->CalcMode() == ccUser) continue;
        const double total = DetailTotal(col->ColName());
        if (col->CalcMode() == ccCount)
            col->SetTailCaption(QString::number(qRound64(total)));
        else
            col->SetTailCaption(QString::number(total, 'f', std::max(0, col->DataDec())));
    }
    m_grid->Footer()->update();
    Q_EMIT TotalsChanged();
}

std::unique_ptr<QMimeData> TMasterDetailEditfm::DetailMimeData() {
    m_grid->HideEditor();
    const TGridCols& cols = m_grid->GridCols();
    std::vector<int> shown;
    for (int c = 0; c < cols.Count(); ++c)
        if (cols[c]->Width() >= 0) shown.push_back(c);
    // Sort marks are not part of a title.
    const auto title = [&](int c) {
        QString t = cols[c]->Caption();
        t.remove(QStringLiteral("↑")).remove(QStringLiteral("↓"));
        return t;
    };
    QString text;
    QString html =
        QStringLiteral("<html><head><meta charset=\"utf-8\"></head><body><table border=\"1\">\n<tr>");
    QStringList titles;
    for (int c : shown) {
        titles << title(c);
        html += QStringLiteral("<th>") + htmlEscaped(title(c)) + QStringLiteral("</th>");
    }
    text += titles.join(QLatin1Char('\t')) + QStringLiteral("\r\n");
    html += QStringLiteral("</tr>\n");
    int lineNo = 0; // lines are numbered as copied: empty rows between them do not count
    for (int row = 1; row < m_grid->RowCount(); ++row) {
        if (!lineHasData(row)) continue;
        ++lineNo;
        QStringList cells;
        html += QStringLiteral("<tr>");
        for (int c : shown) {
            QString v = cols[c]->DataTypePro() == dpOrderNo ? QString::number(lineNo)
                                                            : m_grid->Cells(c, row).trimmed();
            if (cols[c]->DataTypePro() == dpCurrency && !v.isEmpty()) {
                double d = 0;
                try {
                    m_grid->GetCellValF(row, cols[c]->ColName(), d);
                    v = QString::number(d, 'f', 2);
                } catch (const Exception&) {
                }
            }
            v.replace(QLatin1Char('\t'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
            cells << v;
            const bool number = IsNumericDataTypePro(cols[c]->DataTypePro());
            html += (number ? QStringLiteral("<td align=\"right\">") : QStringLiteral("<td>")) +
                    htmlEscaped(v) + QStringLiteral("</td>");
        }
        text += cells.join(QLatin1Char('\t')) + QStringLiteral("\r\n");
        html += QStringLiteral("</tr>\n");
    }
    html += QStringLiteral("</table></body></html>");
    auto data = std::make_unique<QMimeData>();
    data->setText(text);
    data->setHtml(html);
    return data;
}

void TMasterDetailEditfm::closeEvent(QCloseEvent* event) {
    // Closing the editor is the last chance to keep unsaved changes.
    if (askSaveChanges())
        event->accept();
    else
        event->ignore();
}

void TMasterDetailEditfm::CopyDetailToClipboard() {
    QApplication::clipboard()->setMimeData(DetailMimeData().release()); // the clipboard takes it
}

} // namespace lnq
