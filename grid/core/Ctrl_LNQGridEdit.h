#pragma once
// In-place editing pieces of the grid family: the in-place editor with its
// "..." button, and the per-grid pop-up editors (a drop-down list and a
// calendar) behind PopEnter / PopExit / PopKeyDown. Both talk to their grid
// through small host interfaces so the data grid can use them as well.

#include "grid/core/Ctrl_LNQCom.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPointer>
#include <QStringList>
#include <optional>

class QCalendarWidget;
class QCheckBox;
class QFrame;
class QToolButton;

namespace lnq {

class TInplaceEditHost {
public:
    virtual ~TInplaceEditHost() = default;
    // A character typed into the editor (the grid's KeyPress): the host may
    // change it or clear it (a null QChar drops it).
    virtual void EditorKeyPress(QChar& key) = 0;
    // Keys the editor hands to its grid (Enter, Up, Down, page keys, Tab).
    // True when the grid took the key.
    virtual bool EditorKeyDown(int key, Qt::KeyboardModifiers modifiers) = 0;
    // The "..." button was clicked.
    virtual void EditorButtonClick() = 0;
};

// The in-place editor: a line edit over the current cell, masked by the
// column's EditMask, with the column's input-method mode, and for LoadButton
// columns a "..." button (bitmap "3DOT") at its right end.
class TInplaceEdit : public QLineEdit {
    Q_OBJECT
public:
    TInplaceEdit(TInplaceEditHost& host, QWidget* parent);

    void SetLoadButton(bool on);
    bool HasLoadButton() const { return m_buttonAction != nullptr; }
    // The "..." button widget (nullptr without a button).
    QToolButton* LoadButtonWidget() const;

    TImeMode ImeMode() const { return m_imeMode; }
    void SetImeMode(TImeMode mode);
    QString ImeName() const { return m_imeName; }
    void SetImeName(const QString& name) { m_imeName = name; }

    // Mask in the platform's syntax ("mask;saveLiterals;blank").
    void SetEditMask(const QString& mask);
    // The text to store: without the mask's literals when the mask says so.
    QString EditText() const;
    void SetEditText(const QString& text);
    // The text the grid's key filter judges a typed character against: the
    // editor's text, followed during an input-method commit by the commit's
    // characters accepted before the one being judged.
    QString TypedText() const { return m_typedText ? *m_typedText : text(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;

private:
    QString filterTyped(const QString& text);

    TInplaceEditHost& m_host;
    QAction* m_buttonAction = nullptr;
    TImeMode m_imeMode = imDontCare;
    QString m_imeName;
    bool m_saveLiterals = true;
    std::vector<bool> m_literalAt;
    std::optional<QString> m_typedText; // set while a commit is being filtered
};

// What a column offers the pop-up editors.
struct TPopupColumnInfo {
    bool DateAllowed = false;
    bool ComboAllowed = false;
    bool CalendarShowCheckBox = false;
    QStringList ListStrings;
};

class TLNQGridPopupHost {
public:
    virtual ~TLNQGridPopupHost() = default;
    virtual QWidget* PopupParent() const = 0; // the list is placed on it
    virtual QRect PopupCellRect() const = 0;  // the current cell in PopupParent
    virtual TPopupColumnInfo PopupColumn() const = 0;
    virtual QString PopupCellText() const = 0;            // edit text of the current cell
    virtual void PopupWriteText(const QString& text) = 0; // cell and in-place editor
    virtual void PopupShowing(QWidget* editor) = 0;       // OnEditorPopup
    virtual void PopupKeyToGrid(int key) = 0;             // Enter, Up, Down handed on
    virtual void PopupFinished() = 0;                     // closed: focus back to the grid
};

// One drop-down list (a combo box over the cell, dropped down at once) and one
// calendar (a pop-up window under the cell, with an optional "no date" check
// box) per grid. The calendar writes "yyyy-MM-dd" whatever the locale; the
// list writes the text shown (PopListValues are not consulted). When a
// column allows both, the calendar is used.
class TLNQGridPopups : public QObject {
    Q_OBJECT
public:
    TLNQGridPopups(TLNQGridPopupHost& host, QWidget* owner);
    ~TLNQGridPopups() override;

    QComboBox* List() const { return m_list; }
    // The calendar is built on first use: most grids never show it.
    QCalendarWidget* Calendar();
    QCheckBox* CalendarCheckBox();
    QWidget* CalendarPopup();

    // Shows the current column's pop-up; false when the column has none.
    bool PopEnter();
    // Writes the pop-up's value to the cell and hides it.
    void PopExit();
    // Enter always, Up and Down while the list is not dropped down, go to
    // the grid (after the pop-up closed with its value); true then.
    bool PopKeyDown(int key, Qt::KeyboardModifiers shift);
    // Hides the pop-up without writing.
    void Cancel();
    bool IsShowing() const { return m_showing != Kind::None; }

    // The date a cell text stands for: "yyyy-MM-dd" and the other usual
    // numeric forms, or the locale's short and long forms; invalid otherwise.
    static QDate ParseDate(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class Kind { None, List, Calendar };
    void finish();
    void ensureCalendar();

    TLNQGridPopupHost& m_host;
    QWidget* m_owner; // the grid, which owns the pop-ups as their parent
    QComboBox* m_list = nullptr;
    QFrame* m_calendarFrame = nullptr;
    QCalendarWidget* m_calendar = nullptr;
    QCheckBox* m_check = nullptr;
    Kind m_showing = Kind::None;
};

} // namespace lnq
