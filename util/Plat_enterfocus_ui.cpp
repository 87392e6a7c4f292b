#include "util/Plat_enterfocus_ui.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTextEdit>
#include <QToolButton>

namespace lnq {

namespace {
// The control getting its own Enter first. One for all forms: a form inside
// another form has its own TEnterFocus, and neither may take that Enter.
QPointer<QWidget> g_delivering;
} // namespace

TEnterFocus::TEnterFocus(QWidget& form) : QObject(&form), m_form(form) {
    // Key events go to the focused control, not to the form: watch them all
    // and take those of this form's controls.
    QCoreApplication::instance()->installEventFilter(this);
}

TEnterFocus& TEnterFocus::Install(QWidget& form) {
    if (TEnterFocus* existing = Of(form)) return *existing;
    return *new TEnterFocus(form); // owned by the form
}

TEnterFocus* TEnterFocus::Of(const QWidget& form) {
    return form.findChild<TEnterFocus*>(QString(), Qt::FindDirectChildrenOnly);
}

bool TEnterFocus::KeepsOwnEnter(const QWidget& control) {
    if (qobject_cast<const QPushButton*>(&control) || qobject_cast<const QToolButton*>(&control)) return true;
    for (const QWidget* p = &control; p; p = p->parentWidget()) {
        if (qobject_cast<const QAbstractItemView*>(p) || qobject_cast<const QTextEdit*>(p) ||
            qobject_cast<const QPlainTextEdit*>(p) || p->property("lnqOwnEnter").toBool())
            return true;
        if (p->isWindow()) break;
    }
    return false;
}

bool TEnterFocus::TakesFocus(const QWidget& control) const {
    if (!m_form.isAncestorOf(&control) || !control.isVisibleTo(&m_form) || !control.isEnabled() ||
        !(control.focusPolicy() & Qt::TabFocus) || control.focusProxy())
        return false;
    for (const QWidget* p = &control; p && p != &m_form; p = p->parentWidget())
        if (p->property("readOnly").toBool()) return false;
    return true;
}

bool TEnterFocus::MoveFocus(QWidget& from, bool forward) {
    QWidget* w = &from;
    // The focus chain is a ring over the window; once round is enough.
    for (;;) {
        w = forward ? w->nextInFocusChain() : w->previousInFocusChain();
        if (!w || w == &from) return false;
        if (TakesFocus(*w)) {
            w->setFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            return true;
        }
    }
}

bool TEnterFocus::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress || !m_enabled) return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter) return false;
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
    auto* control = qobject_cast<QWidget*>(watched);
    // Only the focused control's own key event: an Enter some control left
    // unhandled travels on to its parents and is not a second Enter.
    if (!control || control == g_delivering || control != QApplication::focusWidget() ||
        !m_form.isAncestorOf(control) || KeepsOwnEnter(*control))
        return false;
    // A form inside this one with its own Enter movement decides for its
    // controls, whichever was installed first.
    for (const QWidget* p = control->parentWidget(); p && p != &m_form; p = p->parentWidget())
        if (Of(*p)) return false;
    QPointer<QWidget> guard(control);
    g_delivering = control;
    QCoreApplication::sendEvent(control, event);
    g_delivering = nullptr;
    // The control may have moved the focus itself or gone away meanwhile.
    if (guard && QApplication::focusWidget() == guard)
        MoveFocus(*guard, !(key->modifiers() & Qt::ShiftModifier));
    event->accept();
    return true;
}

} // namespace lnq
