#pragma once
// TLNQMaskEdit: a one-field edit described like a typed grid column
// (DataTypePro, DataWidth, DataDec), with the grid's kind of key filtering,
// number padding on Enter, an optional edit mask and a "..." button at its
// right edge that shows only while the edit has the focus.
//
// Mapping of the published properties onto the QLineEdit underneath:
//   AutoSelect (true)     all text selected on entering, unless a mouse button
//                         is down (the click places the caret); false keeps
//                         Qt from selecting on Tab focus too
//   EditorEnabled (true)  paste and cut act only with EditorEnabled and not
//                         ReadOnly (keyboard, context menu, middle click,
//                         drops, PasteFromClipboard/CutToClipboard)
//   ImeMode (imDontCare), ImeName   stored; imDisable/imClose switch the input
//                         method off for the edit
//   LBCanUse (false)      a read-only edit still fires buttonClick
//   Alignment             QLineEdit::alignment (left by default)
//   DataTypePro (dpString), DataWidth (0), DataDec (0)   plain stores, none
//                         of the column model's coupling rules
//   LoadButton (false)    the "..." button
//   EditMask              mapped to QLineEdit::setInputMask, see ConvertEditMask
//   MaxLength (0)         0 = no limit
//   ReadOnly (false)      QLineEdit::isReadOnly
//   Text                  Text()/SetText(); with a mask whose literals are not
//                         saved, Text() leaves the literals out
// Events: OnButtonClick is the signal buttonClick(); OnChange is textChanged;
// OnKeyPress (var key) is the OnKeyPress member; enter/exit, mouse and drag
// events are Qt's own events (event filters).
//
// Keys (KeyPress). For a key event carrying a character:
// 1. Tab is swallowed. Qt moves the focus on Tab before the edit sees the key
//    (as the platform's dialog handling did), so focus chains work as usual;
//    a Tab that does reach the edit (nothing to move to, or a key event sent
//    to it directly) is consumed: it inserts nothing, runs no handler and does
//    not propagate to the parent.
// 2. IsValidChar refusing the key: beep, key dropped.
// 3. Keys other than Enter and backspace go through TypeCheck (a refused key
//    beeps); its result (an upper-cased code letter) is what gets typed.
// 4. Enter: the text goes through NumAdjust.
// 5. OnKeyPress may change or drop the key, then QLineEdit handles it
//    (Enter emits returnPressed/editingFinished); Enter is then consumed, so
//    it does not reach a dialog's default button.
// Text committed by an input method goes through steps 2 and 3 character by
// character. Keys without text (arrows, Delete, shortcuts) go to QLineEdit.
//
// Mask validation: when the edit loses the focus with a modified text that
// does not fill its mask, ValidateEdit's LNQEDBEditError is turned into a
// beep, the editError(message) signal and the focus going back to the edit,
// the caret at the first unfilled place (what the platform did with its
// raised error). Esc on a modified masked edit restores the text it had on
// entering. Hosts may call ValidateEdit() themselves to get the exception.

#include "grid/core/Ctrl_LNQCom.h" // TImeMode
#include "grid/core/GridTypes.h"
#include "grid/core/TypedInput.h"
#include "util/Exceptions.h"

#include <QFlags>
#include <QLineEdit>
#include <QString>
#include <functional>
#include <vector>

class QToolButton;

namespace lnq {

// The platform masked edit's error: a text that does not satisfy its mask.
class EDBEditError : public Exception {
public:
    using Exception::Exception;
};

class LNQEDBEditError : public EDBEditError {
public:
    using EDBEditError::EDBEditError;
};

// What one character of an edit mask is.
enum TLNQMaskCharType : std::uint8_t {
    mcNone,           // past the end of the mask
    mcLiteral,        // shown and skipped over ("_" shows a blank, "\x" the x)
    mcIntlLiteral,    // the time (":") or date ("/") separator
    mcDirective,      // "!", ">", "<", "\" : change how the following characters act
    mcMask,           // a required character (L, A, C, 0)
    mcMaskOpt,        // an optional character (l, a, c, 9, #)
    mcFieldSeparator, // the ";" ending the mask part
    mcField,          // the save-literals flag and the blank character after it
};

enum TLNQMaskDirective : std::uint8_t {
    mdReverseDir = 0x1,  // "!": optional characters are leading blanks
    mdUpperCase = 0x2,   // ">"
    mdLowerCase = 0x4,   // "<"
    mdLiteralChar = 0x8, // "\"
};
Q_DECLARE_FLAGS(TLNQMaskDirectives, TLNQMaskDirective)
// The directives one reading or writing pass has met (same element type).
using TRWMaskDirectives = TLNQMaskDirectives;

// Type of the character at 0-based `offset` of an edit mask.
TLNQMaskCharType MaskGetCharType(const QString& editMask, int offset);

// An edit mask in the platform's syntax, "mask;saveLiterals;blank", turned
// into a QLineEdit input mask:
//   L A C 0 (required letter, letter-or-digit, any, digit) -> A N X 9
//   l a c 9 (the optional ones)                            -> a n x 0
//   #  digit or sign, optional                             -> #
//   >  <  upper / lower case from here; "<>" no case change -> >  <  !
//   \x the literal x; "_" a literal blank; ":" and "/" the time and date
//      separators, shown as ":" and "/"; every other character is a literal
//      (escaped when Qt would read it as a mask character)
//   !  (reverse direction) is recorded in Directives but has no Qt equivalent
// The second field "0" means Text() leaves the literals out (default: kept);
// the third field is the blank character (default "_"). An empty mask
// gives an empty input mask (no masking).
struct TLNQEditMaskInfo {
    QString InputMask;
    bool SaveLiterals = true;
    QChar Blank = QChar(u'_');
    TLNQMaskDirectives Directives;
    std::vector<bool> LiteralAt; // per shown character: a literal (not typed)
};
TLNQEditMaskInfo ConvertEditMask(const QString& editMask);

class TLNQMaskEdit : public QLineEdit {
    Q_OBJECT
    // The published properties, editable in the form designer and set by
    // forms loaded at run time. DataTypePro holds a TLNQDataTypePro value.
    Q_PROPERTY(bool AutoSelect READ AutoSelect WRITE SetAutoSelect)
    Q_PROPERTY(bool EditorEnabled READ EditorEnabled WRITE SetEditorEnabled)
    Q_PROPERTY(QString ImeName READ ImeName WRITE SetImeName)
    Q_PROPERTY(bool LBCanUse READ LBCanUse WRITE SetLBCanUse)
    Q_PROPERTY(int DataTypePro READ DataTypeProValue WRITE SetDataTypeProValue)
    Q_PROPERTY(int DataWidth READ DataWidth WRITE SetDataWidth)
    Q_PROPERTY(int DataDec READ DataDec WRITE SetDataDec)
    Q_PROPERTY(bool LoadButton READ LoadButton WRITE SetLoadButton)
    Q_PROPERTY(QString EditMask READ EditMask WRITE SetEditMask)
    Q_PROPERTY(int MaxLength READ MaxLength WRITE SetMaxLength)
    Q_PROPERTY(bool ReadOnly READ ReadOnly WRITE SetReadOnly)
    Q_PROPERTY(QString Text READ Text WRITE SetText)
public:
    static constexpr int kButtonWidth = 18;

    explicit TLNQMaskEdit(QWidget* parent = nullptr);
    ~TLNQMaskEdit() override;

    bool AutoSelect() const { return m_autoSelect; }
    void SetAutoSelect(bool value) { m_autoSelect = value; }
    bool EditorEnabled() const { return m_editorEnabled; }
    void SetEditorEnabled(bool value) { m_editorEnabled = value; }
    TImeMode ImeMode() const { return m_imeMode; }
    void SetImeMode(TImeMode mode);
    QString ImeName() const { return m_imeName; }
    void SetImeName(const QString& name) { m_imeName = name; }
    bool LBCanUse() const { return m_lbCanUse; }
    void SetLBCanUse(bool value) { m_lbCanUse = value; }
    TLNQDataTypePro DataTypePro() const { return m_dataTypePro; }
    void SetDataTypePro(TLNQDataTypePro value) { m_dataTypePro = value; }
    int DataTypeProValue() const { return static_cast<int>(m_dataTypePro); }
    // Values outside the enumeration are ignored.
    void SetDataTypeProValue(int value) {
        if (value >= dpString && value <= dpCurrency) m_dataTypePro = static_cast<TLNQDataTypePro>(value);
    }
    int DataWidth() const { return m_dataWidth; }
    void SetDataWidth(int value) { m_dataWidth = value; }
    int DataDec() const { return m_dataDec; }
    void SetDataDec(int value) { m_dataDec = value; }
    bool LoadButton() const { return m_loadButton; }
    void SetLoadButton(bool value);
    QString EditMask() const { return m_editMask; }
    void SetEditMask(const QString& mask);
    int MaxLength() const { return m_maxLength; }
    void SetMaxLength(int value);
    bool ReadOnly() const { return isReadOnly(); }
    void SetReadOnly(bool value);
    QString Text() const;
    void SetText(const QString& text) { setText(text); }

    // Width the button takes now: kButtonWidth while it shows, else 0.
    int ButtonWidth() const;
    QToolButton* Button() const { return m_button; }

    // The key filter of this edit (MaskEditTypeCheck on the current text);
    // a null QChar refuses the key.
    virtual QChar TypeCheck(QChar key) const;
    // Extra refusal hook for descendants; this edit accepts every character.
    virtual bool IsValidChar(QChar key) const;
    // Pads the text of a dpDecimal or dpComboCount edit (MaskEditNumAdjust).
    // When the result differs from the edit's text both the edit and `text`
    // get it, and DataWidth characters from the start are selected.
    void NumAdjust(QString& text);

    // Fires buttonClick; a read-only edit does so only with LBCanUse and
    // beeps otherwise.
    void ButtonClick();
    // The button's glyph ("DETAIL"); descendants with another glyph override
    // it and call it from their own constructor.
    virtual void LoadButtonGlyph();

    // Code and value parts of a "[code]name" text (TUtils_Convert rules).
    QString GetCode() const;
    QString GetValue() const;
    // The edit's number. This edit reads it from the text: numeric types
    // (dpDecimal, dpCurrency, dpComboCount) give the value of the text without
    // blanks, cut to an integer toward zero; every other type gives the
    // integer of the code part (GetCode: "[0012]name" -> 12, "42" -> 42).
    // Anything that is not such a number, or does not fit, gives 0.
    // Lookup edits override it with the number of the chosen record.
    virtual int GetNo() const;

    // Throws LNQEDBEditError when a mask is set and the text does not fill it.
    virtual void ValidateEdit() const;

    void PasteFromClipboard();
    void CutToClipboard();

    // OnKeyPress: sees every key that survived the filters and may change it
    // or drop it (null QChar).
    std::function<void(TLNQMaskEdit& sender, QChar& key)> OnKeyPress;

    static QString EditErrorMessage();

Q_SIGNALS:
    void buttonClick();
    // Mask validation failed on leaving the edit (the focus comes back).
    void editError(const QString& message);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    bool CanPasteCut() const { return m_editorEnabled && !isReadOnly(); }
    // Steps 2 and 3 of KeyPress for one character; null when refused.
    QChar FilterChar(QChar key, const QString& textSoFar) const;
    void ShowButton(bool show);
    void LayoutButton();
    void ApplyImeMode();
    int FirstBlankPosition() const;

    QToolButton* m_button = nullptr; // child widget, owned by this edit
    bool m_buttonShown = false;
    bool m_autoSelect = true;
    bool m_editorEnabled = true;
    TImeMode m_imeMode = imDontCare;
    QString m_imeName;
    bool m_lbCanUse = false;
    TLNQDataTypePro m_dataTypePro = dpString;
    int m_dataWidth = 0;
    int m_dataDec = 0;
    bool m_loadButton = false;
    QString m_editMask;
    TLNQEditMaskInfo m_mask;
    int m_maxLength = 0;
    QString m_textOnEnter;
    bool m_returningAfterError = false;
};

} // namespace lnq

Q_DECLARE_OPERATORS_FOR_FLAGS(lnq::TLNQMaskDirectives)
