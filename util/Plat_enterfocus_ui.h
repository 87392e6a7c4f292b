#pragma once
// TEnterFocus: Enter moves the focus between the controls of a form, as Tab
// does; Shift+Enter moves it backwards. Data-entry users keep their right
// hand on the numeric keypad this way.
//
// - The control first gets the Enter itself (a line edit emits
//   returnPressed, a masked edit pads its number), then the focus moves to
//   the next control of the form's tab order that is visible, enabled,
//   takes the focus by Tab and is not read-only (the readOnly property of
//   the control or of a control around it); the order wraps round within
//   the form.
// - Controls with their own use of Enter keep it and nothing moves:
//   multi-line editors (QTextEdit, QPlainTextEdit), grids and lists (any
//   item view, with their in-place editors and drop-down lists), push and
//   tool buttons (Enter presses them), and any control whose dynamic
//   property "lnqOwnEnter" is true.
// - Ctrl+Enter and Alt+Enter are left alone.
//
// One TEnterFocus per form, a child of it; SetEnabled switches it per form.
// In a form placed inside another form, the inner form's TEnterFocus
// decides for its own controls.

#include <QObject>
#include <QWidget>

namespace lnq {

class TEnterFocus : public QObject {
    Q_OBJECT
public:
    // Installs Enter-key movement on form (or returns the one it has).
    static TEnterFocus& Install(QWidget& form);
    // The form's TEnterFocus, nullptr when none was installed.
    static TEnterFocus* Of(const QWidget& form);

    bool Enabled() const { return m_enabled; }
    void SetEnabled(bool on) { m_enabled = on; }

    // Whether Enter in this control stays with it.
    static bool KeepsOwnEnter(const QWidget& control);
    // Whether the focus may stop at this control of the form.
    bool TakesFocus(const QWidget& control) const;
    // Moves the focus from `from` to the next (or previous) control; false
    // when there is no other control to go to.
    bool MoveFocus(QWidget& from, bool forward);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit TEnterFocus(QWidget& form);
    QWidget& m_form;
    bool m_enabled = true;
};

} // namespace lnq
