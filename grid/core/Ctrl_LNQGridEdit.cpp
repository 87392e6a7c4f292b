#include "grid/core/Ctrl_LNQGridEdit.h"

#include "grid/core/Ctrl_LNQImages.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "grid/core/TypedInput.h"
#include "util/Clock.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QFrame>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLocale>
#include <QToolButton>
#include <QVBoxLayout>

namespace lnq {

// ------------------------------------------------------------ TInplaceEdit

TInplaceEdit::TInplaceEdit(TInplaceEditHost& host, QWidget* parent) : QLineEdit(parent), m_host(host) {
    setFrame(false);
}

void TInplaceEdit::SetLoadButton(bool on) {
    if (on == HasLoadButton()) return;
    if (on) {
        m_buttonAction = addAction(QIcon(LnqBitmap(QStringLiteral("3DOT"))), QLineEdit::TrailingPosition);
        m_buttonAction->setToolTip(QStringLiteral("..."));
        connect(m_buttonAction, &QAction::triggered, this, [this] { m_host.EditorButtonClick(); });
    } else {
        removeAction(m_buttonAction);
        delete m_buttonAction;
        m_buttonAction = nullptr;
    }
}

QToolButton* TInplaceEdit::LoadButtonWidget() const {
    if (!m_buttonAction) return nullptr;
    for (QToolButton* b : findChildren<QToolButton*>())
        if (b->defaultAction() == m_buttonAction) return b;
    return nullptr;
}

void TInplaceEdit::SetImeMode(TImeMode mode) {
    m_imeMode = mode;
    setAttribute(Qt::WA_InputMethodEnabled, mode != imDisable && mode != imClose);
}

void TInplaceEdit::SetEditMask(const QString& mask) {
    const TLNQEditMaskInfo info = ConvertEditMask(mask);
    setInputMask(info.InputMask);
    m_saveLiterals = info.SaveLiterals;
    m_literalAt = info.LiteralAt;
}

QString TInplaceEdit::EditText() const {
    if (inputMask().isEmpty() || m_saveLiterals) return text();
    const QString shown = displayText();
    QString out;
    for (qsizetype i = 0; i < shown.size(); ++i) {
        if (size_t(i) < m_literalAt.size() && m_literalAt[i]) continue;
        out += shown[i];
    }
    return out;
}

void TInplaceEdit::SetEditText(const QString& text) {
    setText(text);
}

QString TInplaceEdit::filterTyped(const QString& typed) {
    struct ResetTyped {
        std::optional<QString>& typedText;
        ~ResetTyped() { typedText.reset(); }
    } reset{m_typedText};
    return FilterCommitText(text(), typed,
                            [this](QChar c, const QString& sofar) {
                                m_typedText = sofar;
                                QChar key = c;
                                m_host.EditorKeyPress(key);
                                return key;
                            })
        .Accepted;
}

void TInplaceEdit::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        if (m_host.EditorKeyDown(event->key(), event->modifiers())) {
            event->accept();
            return;
        }
        break;
    default:
        break;
    }
    const QString text = event->text();
    const bool typed = !text.isEmpty() && text[0].isPrint() && !(event->modifiers() & Qt::ControlModifier);
    if (!typed) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    const QString keep = filterTyped(text);
    if (keep.isEmpty()) {
        event->accept();
        return;
    }
    if (keep == text) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    QKeyEvent folded(event->type(), event->key(), event->modifiers(), keep, event->isAutoRepeat(),
                     ushort(event->count()));
    QLineEdit::keyPressEvent(&folded);
    event->setAccepted(folded.isAccepted());
}

void TInplaceEdit::inputMethodEvent(QInputMethodEvent* event) {
    // An input method commits whole characters: each goes through the grid's
    // key filter like a typed key (full-width digits become ASCII ones).
    if (event->commitString().isEmpty()) {
        QLineEdit::inputMethodEvent(event);
        return;
    }
    const QString keep = filterTyped(event->commitString());
    if (keep == event->commitString()) {
        QLineEdit::inputMethodEvent(event);
        return;
    }
    QInputMethodEvent filtered(event->preeditString(), event->attributes());
    filtered.setCommitString(keep, event->replacementStart(), event->replacementLength());
    QLineEdit::inputMethodEvent(&filtered);
}

// ---------------------------------------------------------- TLNQGridPopups

TLNQGridPopups::TLNQGridPopups(TLNQGridPopupHost& host, QWidget* owner) : m_host(host), m_owner(owner) {
    m_list = new QComboBox(owner);
    m_list->setEditable(false);
    m_list->hide();
    m_list->installEventFilter(this);
    connect(m_list, &QComboBox::activated, this, [this](int) {
        if (m_showing != Kind::List) return;
        PopExit();
        m_host.PopupKeyToGrid(Qt::Key_Return);
    });
}

void TLNQGridPopups::ensureCalendar() {
    if (m_calendarFrame) return;
    m_calendarFrame = new QFrame(m_owner, Qt::Popup);
    m_calendarFrame->setFrameShape(QFrame::Box);
    auto* layout = new QVBoxLayout(m_calendarFrame);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    m_check = new QCheckBox(QStringLiteral("日期"), m_calendarFrame);
    m_calendar = new QCalendarWidget(m_calendarFrame);
    m_calendar->setGridVisible(true);
    layout->addWidget(m_check);
    layout->addWidget(m_calendar);
    m_calendarFrame->installEventFilter(this);
    connect(m_calendar, &QCalendarWidget::clicked, this, [this](QDate) {
        if (m_showing == Kind::Calendar) PopExit();
    });
    connect(m_calendar, &QCalendarWidget::activated, this, [this](QDate) {
        if (m_showing != Kind::Calendar) return;
        PopExit();
        m_host.PopupKeyToGrid(Qt::Key_Return);
    });
}

TLNQGridPopups::~TLNQGridPopups() = default;

QWidget* TLNQGridPopups::CalendarPopup() {
    ensureCalendar();
    return m_calendarFrame;
}

QCalendarWidget* TLNQGridPopups::Calendar() {
    ensureCalendar();
    return m_calendar;
}

QCheckBox* TLNQGridPopups::CalendarCheckBox() {
    ensureCalendar();
    return m_check;
}

QDate TLNQGridPopups::ParseDate(const QString& text) {
    const QString t = text.trimmed();
    if (t.isEmpty()) return {};
    static const char* const kForms[] = {"yyyy-MM-dd",    "yyyy-M-d", "yyyy/M/d",
                                         "yyyy.M.d",      "yyyyMMdd", "yyyy-MM-dd HH:mm:ss",
                                         "yyyy-M-d H:m:s"};
    for (const char* form : kForms) {
        const QDate d = QDate::fromString(t, QString::fromLatin1(form));
        if (d.isValid()) return d;
    }
    const QLocale loc;
    for (QLocale::FormatType f : {QLocale::ShortFormat, QLocale::LongFormat}) {
        const QDate d = loc.toDate(t, f);
        if (d.isValid()) return d;
    }
    return {};
}

bool TLNQGridPopups::PopEnter() {
    const TPopupColumnInfo info = m_host.PopupColumn();
    if (!info.DateAllowed && !info.ComboAllowed) return false;
    if (IsShowing()) Cancel();
    QString text = m_host.PopupCellText();
    const QRect cell = m_host.PopupCellRect();
    QWidget* parent = m_host.PopupParent();
    if (info.DateAllowed) {
        ensureCalendar();
        const bool empty = text.trimmed().isEmpty();
        // An empty cell starts on today; a text that is no date leaves the
        // calendar where it was.
        const QDate d = empty ? Clock::today() : ParseDate(text);
        if (d.isValid()) m_calendar->setSelectedDate(d);
        m_check->setVisible(info.CalendarShowCheckBox);
        m_check->setChecked(!empty);
        m_showing = Kind::Calendar;
        m_host.PopupShowing(m_calendar);
        m_calendarFrame->adjustSize();
        m_calendarFrame->move(parent->mapToGlobal(cell.bottomLeft() + QPoint(0, 1)));
        m_calendarFrame->show();
        m_calendar->setFocus(Qt::PopupFocusReason);
        return true;
    }
    m_list->clear();
    m_list->addItems(info.ListStrings);
    m_list->setCurrentIndex(m_list->findText(text, Qt::MatchExactly));
    m_showing = Kind::List;
    m_host.PopupShowing(m_list);
    if (m_list->parentWidget() != parent) {
        m_list->setParent(parent);
        m_list->installEventFilter(this);
    }
    m_list->setGeometry(cell.x(), cell.y(), std::max(cell.width(), 40),
                        std::max(cell.height(), m_list->sizeHint().height()));
    m_list->show();
    m_list->raise();
    m_list->setFocus(Qt::OtherFocusReason);
    m_list->showPopup();
    return true;
}

void TLNQGridPopups::PopExit() {
    const Kind kind = m_showing;
    if (kind == Kind::None) return;
    m_showing = Kind::None;
    if (kind == Kind::List) {
        m_list->hidePopup();
        m_host.PopupWriteText(m_list->currentText());
        m_list->hide();
    } else {
        const bool noDate = m_check->isVisible() && !m_check->isChecked();
        m_host.PopupWriteText(noDate ? QString()
                                     : m_calendar->selectedDate().toString(QStringLiteral("yyyy-MM-dd")));
        m_calendarFrame->hide();
    }
    finish();
}

void TLNQGridPopups::Cancel() {
    const Kind kind = m_showing;
    if (kind == Kind::None) return;
    m_showing = Kind::None;
    if (kind == Kind::List) {
        m_list->hidePopup();
        m_list->hide();
    } else {
        m_calendarFrame->hide();
    }
    finish();
}

void TLNQGridPopups::finish() {
    m_host.PopupFinished();
}

bool TLNQGridPopups::PopKeyDown(int key, Qt::KeyboardModifiers /*shift*/) {
    if (m_showing == Kind::None) return false;
    const bool enter = key == Qt::Key_Return || key == Qt::Key_Enter;
    const bool listClosed = m_showing == Kind::List && !m_list->view()->isVisible();
    if (enter || ((key == Qt::Key_Up || key == Qt::Key_Down) && listClosed)) {
        PopExit();
        m_host.PopupKeyToGrid(key);
        return true;
    }
    return false;
}

bool TLNQGridPopups::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_list && m_showing == Kind::List) {
        if (event->type() == QEvent::KeyPress) {
            auto* ke = static_cast<QKeyEvent*>(event);
            if (ke->key() == Qt::Key_Escape) {
                Cancel();
                return true;
            }
            if (PopKeyDown(ke->key(), ke->modifiers())) return true;
        } else if (event->type() == QEvent::FocusOut) {
            // Focus going to the list's own drop-down is no exit.
            const auto reason = static_cast<QFocusEvent*>(event)->reason();
            const QWidget* now = QApplication::focusWidget();
            const bool ownDropDown = now && now->window() == m_list->view()->window();
            if (!ownDropDown && reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason)
                PopExit();
        }
    } else if (watched == m_calendarFrame && event->type() == QEvent::Hide && m_showing == Kind::Calendar) {
        // Closed by Escape or by a click outside: nothing is written.
        Cancel();
    }
    return QObject::eventFilter(watched, event);
}

} // namespace lnq
