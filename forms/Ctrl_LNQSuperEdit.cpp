#include "forms/Ctrl_LNQSuperEdit.h"

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "forms/Ctrl_SuperEditFm.h"
#include "grid/core/Ctrl_LNQImages.h"
#include "grid/data/Ctrl_LNQDBGrid.h"

#include <QApplication>
#include <QFocusEvent>
#include <QHeaderView>
#include <QIcon>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTimer>
#include <QToolButton>

namespace lnq {

namespace {

struct ClassHooks {
    std::function<QString()> authority;
    std::function<void(TLNQSuperEdit&)> add;
    std::function<void(TLNQSuperEdit&)> clear;
    std::function<void(TLNQSuperEdit&)> search;
};

// Shared by every lookup edit of the process; set and read on the GUI thread.
ClassHooks& hooks() {
    static ClassHooks h;
    return h;
}

QString fieldText(const TDataSet& dataSet, const QString& field) {
    if (field.isEmpty()) return {};
    const TField* f = dataSet.FindField(field);
    return f ? f->AsString() : QString();
}

} // namespace

TLNQSuperEdit::TLNQSuperEdit(QWidget* parent) : TLNQMaskEdit(parent) {
    // The base constructor loaded the base glyph: virtual calls there do not
    // reach this class yet.
    LoadButtonGlyph();
    SetLoadButton(true);
    connect(this, &TLNQMaskEdit::buttonClick, this, [this] {
        if (IsDroppedDown())
            CloseUp();
        else
            DropDown();
    });
    connect(this, &QLineEdit::textEdited, this, [this](const QString& text) { TextEdited(text); });
}

TLNQSuperEdit::~TLNQSuperEdit() {
    if (QCoreApplication* app = QCoreApplication::instance()) app->removeEventFilter(this);
}

void TLNQSuperEdit::LoadButtonGlyph() {
    const QPixmap glyph = LnqBitmap(QStringLiteral("DROPDOWN"));
    Button()->setIcon(QIcon(glyph));
    Button()->setIconSize(glyph.deviceIndependentSize().toSize());
}

void TLNQSuperEdit::SetSQLs(const QString& sql) {
    if (sql == m_sqls) return;
    m_sqls = sql;
    // The list of another select must be read anew.
    if (m_form) m_form->ResetDataSet();
}

int TLNQSuperEdit::ColumnWidth(int index) const {
    return index >= 0 && index < kColumnWidthCount ? m_columnWidths[std::size_t(index)] : 0;
}

void TLNQSuperEdit::SetColumnWidth(int index, int width) {
    if (index < 0 || index >= kColumnWidthCount) return;
    m_columnWidths[std::size_t(index)] = width;
    if (m_form) m_form->ApplyColumnWidths();
}

void TLNQSuperEdit::SetDropDownWidth(int w) {
    m_dropDownWidth = std::max(0, w);
}

void TLNQSuperEdit::SetDropDownHeight(int h) {
    m_dropDownHeight = std::max(0, h);
}

void TLNQSuperEdit::SetHasAddButton(bool on) {
    m_hasAddButton = on;
}

void TLNQSuperEdit::SetHasClearButton(bool on) {
    m_hasClearButton = on;
}

void TLNQSuperEdit::SetHasSearchButton(bool on) {
    m_hasSearchButton = on;
}

void TLNQSuperEdit::SetHasRefreshButton(bool on) {
    m_hasRefreshButton = on;
}

void TLNQSuperEdit::SetConnectionEx(std::shared_ptr<IConnection> connection) {
    if (connection == m_connectionEx) return;
    m_connectionEx = std::move(connection);
    if (m_form) m_form->ResetDataSet();
}

void TLNQSuperEdit::SetConnection(TADOConnection* connection) {
    if (connection == m_connection) return;
    m_connection = connection;
    if (m_form) m_form->ResetDataSet();
    m_wrapped.reset();
}

std::shared_ptr<IConnection> TLNQSuperEdit::GetConnection() {
    if (m_connectionEx) return m_connectionEx;
    if (!m_connection) return nullptr;
    if (!m_wrapped) m_wrapped = std::make_shared<TInterfacedADOConnection>(*m_connection);
    return m_wrapped;
}

void TLNQSuperEdit::SetNo(const QString& no) {
    m_no = no.isEmpty() ? QStringLiteral("0") : no;
}

void TLNQSuperEdit::SetCode(const QString& code) {
    m_code = code;
}

void TLNQSuperEdit::SetValue(const QString& value) {
    m_value = value;
    setText(value);
}

int TLNQSuperEdit::GetNo() const {
    bool ok = false;
    const int n = m_no.trimmed().toInt(&ok);
    return ok ? n : 0;
}

void TLNQSuperEdit::SetCheckAuthorityFunc(std::function<QString()> func) {
    hooks().authority = std::move(func);
}

const std::function<QString()>& TLNQSuperEdit::CheckAuthorityFunc() {
    return hooks().authority;
}

void TLNQSuperEdit::SetDefaultOnAddButtonClick(std::function<void(TLNQSuperEdit&)> handler) {
    hooks().add = std::move(handler);
}

void TLNQSuperEdit::SetDefaultOnClearButtonClick(std::function<void(TLNQSuperEdit&)> handler) {
    hooks().clear = std::move(handler);
}

void TLNQSuperEdit::SetDefaultOnSearchButtonClick(std::function<void(TLNQSuperEdit&)> handler) {
    hooks().search = std::move(handler);
}

TSuperEditDBFm& TLNQSuperEdit::DropDownForm() {
    if (!m_form) m_form = new TSuperEditDBFm(*this);
    return *m_form;
}

bool TLNQSuperEdit::IsDroppedDown() const {
    return m_form && m_form->isVisible();
}

void TLNQSuperEdit::DropDown() {
    TSuperEditDBFm& form = DropDownForm();
    form.OpenData();
    form.Popup();
    qApp->installEventFilter(this);
}

void TLNQSuperEdit::CloseUp() {
    qApp->removeEventFilter(this);
    if (m_form) m_form->hide();
}

bool TLNQSuperEdit::ChooseCurrentRow() {
    TADODataSet* ds = m_form ? m_form->DataSet() : nullptr;
    if (!ds || !ds->Active() || ds->IsEmpty()) return false;
    const QString no = fieldText(*ds, m_noField);
    const QString code = fieldText(*ds, m_codeField);
    const QString value = fieldText(*ds, m_valueField);
    CloseUp();
    SetNo(no);
    SetCode(code);
    SetValue(value);
    selectAll();
    Q_EMIT ItemChange();
    return true;
}

void TLNQSuperEdit::ClearChoice() {
    m_no = QStringLiteral("0");
    m_code.clear();
    m_value.clear();
    setText(QString());
    Q_EMIT ItemChange();
}

void TLNQSuperEdit::AddButtonClick() {
    CloseUp();
    const auto& handler = OnAddButtonClick ? OnAddButtonClick : hooks().add;
    if (handler) handler(*this);
}

void TLNQSuperEdit::ClearButtonClick() {
    CloseUp();
    ClearChoice();
    const auto& handler = OnClearButtonClick ? OnClearButtonClick : hooks().clear;
    if (handler) handler(*this);
}

void TLNQSuperEdit::SearchButtonClick() {
    CloseUp();
    const auto& handler = OnSearchButtonClick ? OnSearchButtonClick : hooks().search;
    if (handler) handler(*this);
}

void TLNQSuperEdit::TextEdited(const QString& text) {
    if (text.isEmpty()) {
        CloseUp();
        return;
    }
    TSuperEditDBFm& form = DropDownForm();
    if (!form.isVisible()) {
        form.Popup();
        qApp->installEventFilter(this);
    }
    form.RequestRefresh(text);
}

void TLNQSuperEdit::keyPressEvent(QKeyEvent* event) {
    const int k = event->key();
    if (IsDroppedDown()) {
        TADODataSet* ds = m_form->DataSet();
        const bool rows = ds && ds->Active() && !ds->IsEmpty();
        const int page =
            std::max(1, m_form->Grid()->viewport()->height() /
                                std::max(1, m_form->Grid()->verticalHeader()->defaultSectionSize()) -
                            1);
        switch (k) {
        case Qt::Key_Down:
            if (rows) ds->Next();
            event->accept();
            return;
        case Qt::Key_Up:
            if (rows) ds->Prior();
            event->accept();
            return;
        case Qt::Key_PageDown:
            if (rows) ds->MoveBy(page);
            event->accept();
            return;
        case Qt::Key_PageUp:
            if (rows) ds->MoveBy(-page);
            event->accept();
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (ChooseCurrentRow()) {
                event->accept();
                return;
            }
            CloseUp();
            break;
        case Qt::Key_Escape:
            CloseUp();
            event->accept();
            return;
        default:
            break;
        }
    } else if (k == Qt::Key_Down) {
        DropDown();
        event->accept();
        return;
    }
    TLNQMaskEdit::keyPressEvent(event);
}

void TLNQSuperEdit::focusOutEvent(QFocusEvent* event) {
    TLNQMaskEdit::focusOutEvent(event);
    // The drop-down never takes the focus, so losing it means the user went
    // elsewhere; a menu of the edit leaves the list as it is.
    switch (event->reason()) {
    case Qt::PopupFocusReason:
        break;
    case Qt::ActiveWindowFocusReason:
        // Another window became active: close unless it is the list itself
        // (platforms that activate frameless windows regardless).
        QTimer::singleShot(0, this, [this] {
            const QWidget* active = QApplication::activeWindow();
            if (active != window() && active != m_form) CloseUp();
        });
        break;
    default:
        CloseUp();
        break;
    }
}

void TLNQSuperEdit::hideEvent(QHideEvent* event) {
    CloseUp();
    TLNQMaskEdit::hideEvent(event);
}

bool TLNQSuperEdit::eventFilter(QObject* watched, QEvent* event) {
    if (!IsDroppedDown() || !watched->isWidgetType()) return TLNQMaskEdit::eventFilter(watched, event);
    const auto* w = static_cast<QWidget*>(watched);
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        // A press outside both the edit and its list closes the list.
        if (w != this && !isAncestorOf(w) && w != m_form && !m_form->isAncestorOf(w)) CloseUp();
        break;
    case QEvent::Move:
    case QEvent::Resize:
        // The list would stay behind when the edit's window moves.
        if (w == window()) CloseUp();
        break;
    default:
        break;
    }
    return TLNQMaskEdit::eventFilter(watched, event);
}

} // namespace lnq
