#include "grid/core/Ctrl_LNQMaskEdit.h"

#include "grid/core/Ctrl_LNQImages.h"
#include "util/Plat_convert.h"
#include "util/Plat_sysutils.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFocusEvent>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QStyle>
#include <QTimer>
#include <QToolButton>
#include <cmath>
#include <limits>
#include <memory>

namespace lnq {

namespace {

// Index of the ";" that ends the mask part (the size when there is none);
// a "\" escapes the character after it.
int maskPartEnd(const QString& mask) {
    for (int i = 0; i < mask.size(); ++i) {
        if (mask[i] == u'\\')
            ++i;
        else if (mask[i] == u';')
            return i;
    }
    return int(mask.size());
}

bool isQtMaskMeta(QChar c) {
    static const QString meta = QStringLiteral("AaNnXx90DdHhBb#><![]{}\\;");
    return meta.contains(c);
}

} // namespace

TLNQMaskCharType MaskGetCharType(const QString& editMask, int offset) {
    if (offset < 0 || offset >= editMask.size()) return mcNone;
    const int end = maskPartEnd(editMask);
    if (offset == end) return mcFieldSeparator;
    if (offset > end) return mcField;
    // Walk up to the offset to know whether the character is escaped.
    for (int i = 0; i < offset; ++i) {
        if (editMask[i] == u'\\' && i + 1 == offset) return mcLiteral;
        if (editMask[i] == u'\\') ++i;
    }
    switch (editMask[offset].unicode()) {
    case u'!':
    case u'>':
    case u'<':
    case u'\\':
        return mcDirective;
    case u':':
    case u'/':
        return mcIntlLiteral;
    case u'L':
    case u'A':
    case u'C':
    case u'0':
        return mcMask;
    case u'l':
    case u'a':
    case u'c':
    case u'9':
    case u'#':
        return mcMaskOpt;
    default:
        return mcLiteral;
    }
}

TLNQEditMaskInfo ConvertEditMask(const QString& editMask) {
    TLNQEditMaskInfo info;
    if (editMask.isEmpty()) return info;
    const int end = maskPartEnd(editMask);
    const QStringList fields = editMask.mid(end + 1).split(u';');
    if (end < editMask.size()) {
        if (!fields.value(0).isEmpty() && fields.value(0)[0] == u'0') info.SaveLiterals = false;
        if (fields.size() > 1 && !fields[1].isEmpty()) info.Blank = fields[1][0];
    }

    QString out;
    auto literal = [&](QChar c) {
        if (isQtMaskMeta(c)) out += u'\\';
        out += c;
        info.LiteralAt.push_back(true);
    };
    auto input = [&](char16_t qtChar) {
        out += QChar(qtChar);
        info.LiteralAt.push_back(false);
    };
    for (int i = 0; i < end; ++i) {
        const QChar c = editMask[i];
        switch (c.unicode()) {
        case u'\\':
            info.Directives |= mdLiteralChar;
            if (i + 1 < end) literal(editMask[++i]);
            break;
        case u'!':
            info.Directives |= mdReverseDir;
            break;
        case u'>':
            info.Directives |= mdUpperCase;
            out += u'>';
            break;
        case u'<':
            if (i + 1 < end && editMask[i + 1] == u'>') {
                out += u'!';
                ++i;
            } else {
                info.Directives |= mdLowerCase;
                out += u'<';
            }
            break;
        case u'L':
            input(u'A');
            break;
        case u'l':
            input(u'a');
            break;
        case u'A':
            input(u'N');
            break;
        case u'a':
            input(u'n');
            break;
        case u'C':
            input(u'X');
            break;
        case u'c':
            input(u'x');
            break;
        case u'0':
            input(u'9');
            break;
        case u'9':
            input(u'0');
            break;
        case u'#':
            input(u'#');
            break;
        case u'_':
            literal(QChar(u' '));
            break;
        default:
            literal(c);
            break;
        }
    }
    if (!info.LiteralAt.empty()) info.InputMask = out + u';' + info.Blank;
    return info;
}

TLNQMaskEdit::TLNQMaskEdit(QWidget* parent) : QLineEdit(parent), m_button(new QToolButton(this)) {
    m_button->setFocusPolicy(Qt::NoFocus);
    m_button->setCursor(Qt::ArrowCursor);
    m_button->setAutoRaise(false);
    m_button->hide();
    connect(m_button, &QToolButton::clicked, this, [this] { ButtonClick(); });
    LoadButtonGlyph();
    setMaxLength(std::numeric_limits<short>::max());
}

TLNQMaskEdit::~TLNQMaskEdit() = default;

QString TLNQMaskEdit::EditErrorMessage() {
    return QStringLiteral("输入的值无效，按 Esc 键放弃修改");
}

void TLNQMaskEdit::SetImeMode(TImeMode mode) {
    m_imeMode = mode;
    ApplyImeMode();
}

void TLNQMaskEdit::ApplyImeMode() {
    const bool imeAllowed = m_imeMode != imDisable && m_imeMode != imClose;
    setAttribute(Qt::WA_InputMethodEnabled, imeAllowed && !isReadOnly() && echoMode() == QLineEdit::Normal);
}

void TLNQMaskEdit::SetReadOnly(bool value) {
    setReadOnly(value);
    ApplyImeMode();
}

void TLNQMaskEdit::SetMaxLength(int value) {
    m_maxLength = value;
    setMaxLength(value > 0 ? value : std::numeric_limits<short>::max());
}

void TLNQMaskEdit::SetEditMask(const QString& mask) {
    if (mask == m_editMask) return;
    m_editMask = mask;
    m_mask = ConvertEditMask(mask);
    setInputMask(m_mask.InputMask);
}

QString TLNQMaskEdit::Text() const {
    if (inputMask().isEmpty() || m_mask.SaveLiterals) return text();
    const QString shown = displayText();
    QString out;
    for (qsizetype i = 0; i < shown.size(); ++i) {
        const bool isLiteral = std::size_t(i) < m_mask.LiteralAt.size() && m_mask.LiteralAt[std::size_t(i)];
        if (!isLiteral && shown[i] != m_mask.Blank) out += shown[i];
    }
    return out;
}

int TLNQMaskEdit::ButtonWidth() const {
    return m_buttonShown ? kButtonWidth : 0;
}

void TLNQMaskEdit::SetLoadButton(bool value) {
    if (value == m_loadButton) return;
    m_loadButton = value;
    // The button belongs to the focused edit only.
    ShowButton(m_loadButton && hasFocus());
}

void TLNQMaskEdit::ShowButton(bool show) {
    m_buttonShown = show;
    m_button->setVisible(show);
    setTextMargins(0, 0, ButtonWidth(), 0);
    LayoutButton();
}

void TLNQMaskEdit::LayoutButton() {
    const int frame = hasFrame() ? style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, this) : 0;
    const int w = ButtonWidth();
    m_button->setGeometry(width() - frame - w, frame, w, std::max(0, height() - 2 * frame));
}

void TLNQMaskEdit::LoadButtonGlyph() {
    const QPixmap glyph = LnqBitmap(QStringLiteral("DETAIL"));
    m_button->setIcon(QIcon(glyph));
    m_button->setIconSize(glyph.deviceIndependentSize().toSize());
}

void TLNQMaskEdit::ButtonClick() {
    if (isReadOnly() && !m_lbCanUse) {
        QApplication::beep();
        return;
    }
    Q_EMIT buttonClick();
}

QChar TLNQMaskEdit::TypeCheck(QChar key) const {
    return MaskEditTypeCheck(m_dataTypePro, m_dataDec, text(), key);
}

bool TLNQMaskEdit::IsValidChar(QChar) const {
    return true;
}

void TLNQMaskEdit::NumAdjust(QString& text) {
    const QString adjusted = MaskEditNumAdjust(m_dataTypePro, m_dataDec, m_dataWidth, text);
    if (adjusted == this->text()) return;
    setText(adjusted);
    text = adjusted;
    setSelection(0, std::max(0, m_dataWidth));
}

QString TLNQMaskEdit::GetCode() const {
    return TUtils_Convert::GetCode(Text());
}

QString TLNQMaskEdit::GetValue() const {
    return TUtils_Convert::GetValue(Text());
}

int TLNQMaskEdit::GetNo() const {
    if (IsNumericDataTypePro(m_dataTypePro)) {
        QString t = Text();
        t.remove(u' ');
        double v = 0;
        if (!TryStrToFloat(t, v) || !std::isfinite(v)) return 0;
        v = std::trunc(v);
        if (v < double(std::numeric_limits<int>::min()) || v > double(std::numeric_limits<int>::max()))
            return 0;
        return int(v);
    }
    int n = 0;
    return TryStrToInt(GetCode().trimmed(), n) ? n : 0;
}

void TLNQMaskEdit::ValidateEdit() const {
    if (!inputMask().isEmpty() && !hasAcceptableInput()) throw LNQEDBEditError(EditErrorMessage());
}

int TLNQMaskEdit::FirstBlankPosition() const {
    const QString shown = displayText();
    for (qsizetype i = 0; i < shown.size(); ++i) {
        const bool isLiteral = std::size_t(i) < m_mask.LiteralAt.size() && m_mask.LiteralAt[std::size_t(i)];
        if (!isLiteral && shown[i] == m_mask.Blank) return int(i);
    }
    return int(shown.size());
}

void TLNQMaskEdit::PasteFromClipboard() {
    if (CanPasteCut()) paste();
}

void TLNQMaskEdit::CutToClipboard() {
    if (CanPasteCut()) cut();
}

QChar TLNQMaskEdit::FilterChar(QChar key, const QString& textSoFar) const {
    if (!IsValidChar(key)) return QChar();
    if (key == QChar(kKeyEnter) || key == QChar(kKeyBackspace)) return key;
    // TypeCheck reads the edit's text; for input-method text the characters
    // accepted before this one count as typed already.
    if (textSoFar == text()) return TypeCheck(key);
    return MaskEditTypeCheck(m_dataTypePro, m_dataDec, textSoFar, key);
}

void TLNQMaskEdit::keyPressEvent(QKeyEvent* event) {
    const int k = event->key();
    if (k == Qt::Key_Tab || k == Qt::Key_Backtab) {
        event->accept();
        return;
    }
    if (event->matches(QKeySequence::Paste) || event->matches(QKeySequence::Cut)) {
        if (!CanPasteCut()) {
            event->accept();
            return;
        }
        QLineEdit::keyPressEvent(event);
        return;
    }
    if (k == Qt::Key_Escape && !inputMask().isEmpty() && isModified()) {
        setText(m_textOnEnter);
        setModified(false);
        selectAll();
        event->accept();
        return;
    }

    const bool enter = k == Qt::Key_Return || k == Qt::Key_Enter;
    const QString t = event->text();
    const bool backspace = k == Qt::Key_Backspace;
    const bool printable = !t.isEmpty() && t[0].unicode() >= 0x20 && t[0].unicode() != 0x7F;
    if (!enter && !backspace && !printable) {
        QLineEdit::keyPressEvent(event);
        return;
    }

    const QChar original = enter ? QChar(kKeyEnter) : backspace ? QChar(kKeyBackspace) : t[0];
    QChar key = FilterChar(original, text());
    if (key.isNull()) {
        QApplication::beep();
        event->accept();
        return;
    }
    if (enter) {
        QString s = text();
        NumAdjust(s);
    }
    if (OnKeyPress) {
        OnKeyPress(*this, key);
        if (key.isNull()) {
            event->accept();
            return;
        }
    }

    if (key == original) {
        QLineEdit::keyPressEvent(event);
    } else {
        // The filter or the handler turned the key into another character.
        QKeyEvent changed(event->type(), k, event->modifiers(), QString(key), event->isAutoRepeat());
        QLineEdit::keyPressEvent(&changed);
    }
    if (enter) event->accept();
}

void TLNQMaskEdit::inputMethodEvent(QInputMethodEvent* event) {
    const QString commit = event->commitString();
    if (commit.isEmpty()) {
        QLineEdit::inputMethodEvent(event);
        return;
    }
    const TFilteredCommit filtered = FilterCommitText(
        text(), commit, [this](QChar c, const QString& sofar) { return FilterChar(c, sofar); });
    if (filtered.Refused) QApplication::beep();
    const QString& accepted = filtered.Accepted;
    if (accepted == commit) {
        QLineEdit::inputMethodEvent(event);
        return;
    }
    QInputMethodEvent changed(event->preeditString(), event->attributes());
    changed.setCommitString(accepted, event->replacementStart(), event->replacementLength());
    QLineEdit::inputMethodEvent(&changed);
}

void TLNQMaskEdit::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    // Coming back after a failed validation keeps the text to restore on Esc.
    if (!m_returningAfterError) m_textOnEnter = text();
    m_returningAfterError = false;
    if (m_loadButton) ShowButton(true);
    if (m_autoSelect) {
        if (!(QApplication::mouseButtons() & Qt::LeftButton)) selectAll();
    } else if (hasSelectedText()) {
        deselect();
    }
}

void TLNQMaskEdit::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    ShowButton(false);
    const Qt::FocusReason reason = event->reason();
    if (reason == Qt::PopupFocusReason || reason == Qt::ActiveWindowFocusReason || !isModified()) return;
    try {
        ValidateEdit();
    } catch (const LNQEDBEditError& error) {
        QApplication::beep();
        Q_EMIT editError(error.Message());
        // Back into the edit once the focus change that got us here is over.
        QTimer::singleShot(0, this, [this] {
            if (!isVisible() || !isEnabled()) return;
            m_returningAfterError = true;
            setFocus(Qt::OtherFocusReason);
            setCursorPosition(FirstBlankPosition());
        });
    }
}

void TLNQMaskEdit::resizeEvent(QResizeEvent* event) {
    QLineEdit::resizeEvent(event);
    LayoutButton();
}

void TLNQMaskEdit::contextMenuEvent(QContextMenuEvent* event) {
    std::unique_ptr<QMenu> menu(createStandardContextMenu());
    if (!CanPasteCut()) {
        for (QAction* action : menu->actions()) {
            const QString name = action->objectName();
            if (name == QLatin1String("edit-cut") || name == QLatin1String("edit-paste"))
                action->setEnabled(false);
        }
    }
    menu->exec(event->globalPos());
}

void TLNQMaskEdit::mouseReleaseEvent(QMouseEvent* event) {
    // A middle click pastes the selection clipboard on X11.
    if (event->button() == Qt::MiddleButton && !CanPasteCut()) {
        event->accept();
        return;
    }
    QLineEdit::mouseReleaseEvent(event);
}

void TLNQMaskEdit::dropEvent(QDropEvent* event) {
    if (!CanPasteCut()) {
        event->ignore();
        return;
    }
    QLineEdit::dropEvent(event);
}

} // namespace lnq
