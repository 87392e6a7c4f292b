#pragma once
// Typed input of grid cells and masked edits: the key filters and the number
// normalisation, as pure functions over texts and characters. The grids and
// TLNQMaskEdit call these; nothing here touches a widget.
//
// Keys are QChars. A refused key comes back as the null QChar; the caller
// then sounds the beep (QApplication::beep()) and drops the key. Enter (13)
// and backspace (8) never reach the grid's filter: the grid's KeyPress
// handles them before calling GridTypeCheck, and the masked edit skips them
// the same way (see TLNQMaskEdit).
//
// Numbers are formatted through util/Plat_sysutils.h (FormatFixed for
// "%.*f" / "%*.*f", FormatInt for "%*d"), the project's one Format.

#include "grid/core/GridTypes.h"

#include <QChar>
#include <QString>
#include <functional>

namespace lnq {

inline constexpr char16_t kKeyBackspace = 8;
inline constexpr char16_t kKeyTab = 9;
inline constexpr char16_t kKeyEnter = 13;

// State the grid keeps for its key filter: the last key that went through
// the folding step of a numeric column (null before the first one).
struct TypeCheckState {
    QChar previous;
};

// Full-width forms U+FF01..U+FF5E become their ASCII counterparts (digits,
// "－" -> "-", "．" -> "."), the ideographic full stop U+3002 becomes ".";
// every other character is returned unchanged. This is what the GBK byte
// folding of the grid's filter amounts to once the input method has
// delivered whole characters.
QChar FoldFullWidth(QChar c);

// The grid's key filter (TypeCheck of TLNQCustomGrid).
// - Numeric columns (dpDecimal, dpCurrency, dpComboCount): the key is folded
//   first (FoldFullWidth); then "-" passes only when editorText holds no "-"
//   yet, "." only when dataDec >= 1 and editorText holds no "." yet, "0".."9"
//   pass, everything else is refused. The caret position is not examined.
// - Code columns (dpCode): "0".."9", "A".."Z", "_", backspace, "*", "-" and
//   "." pass; "a".."z" come back upper-cased; everything else is refused.
// - Other columns: the key passes unchanged.
// Returns the key to insert, or a null QChar for a refused key. `state` is
// updated for numeric columns only (previous := folded key).
QChar GridTypeCheck(TLNQDataTypePro pro, int dataDec, const QString& editorText, QChar key,
                    TypeCheckState& state);

// The grid's number normalisation (NumAdjust(ACol, var Text)); returns the
// new text. Non-numeric columns, texts empty after removing spaces, and texts
// whose exponent is not an integer (or whose negative exponent divides by a
// power that wrapped to 0) come back unchanged. Otherwise:
// 1. the first "-" not preceded by "E" makes the number negative and drops
//    everything up to it ("12-3" -> "-3.00");
// 2. spaces are removed ("1 234" -> "1234.00");
// 4. decimals = characters after the first "." up to the end, exponent
//    included, so "1.5E2" gives 1.5, not 150 ("1.50" with two decimals);
// 5-6. the digits of the mantissa form one integer, divided by 10 per
//    decimal, negated when the text still starts with "-", then multiplied
//    (divided) by 10^|exponent| computed as a wrapping 32-bit integer;
// 7. FormatFixed(value, dataDec), "-" in front when step 1 found one.
QString GridNumAdjust(TLNQDataTypePro pro, int dataDec, const QString& text);

// The masked edit's key filter. Unlike the grid's: dpDecimal and
// dpComboCount only (dpCurrency is not filtered) and no full-width folding.
// dpCode as in the grid; other types unfiltered. Null QChar = refused.
QChar MaskEditTypeCheck(TLNQDataTypePro pro, int dataDec, const QString& editorText, QChar key);

// The masked edit's number padding on Enter (dpDecimal and dpComboCount
// only; every other type returns the text unchanged). Pure text work, no
// rounding:
// 1. a "-" (the first one) before the last character makes the value
//    negative and drops everything up to it; a trailing or lone "-" stays;
// 2. spaces are removed;
// 3. dataDec > 0: "." appended when missing, then "000000", then cut after
//    dataDec characters behind the point ("1.999" -> "1.99");
// 4. spaces in front up to dataWidth, at most 16 of them;
// 5. a negative value gets its "-" in front of the padding
//    (width 8, "-3" -> "-    3.00").
QString MaskEditNumAdjust(TLNQDataTypePro pro, int dataDec, int dataWidth, const QString& text);

// Text an input method commits in one go, filtered as if its characters had
// been typed one by one: `filter` judges each character against `before`
// followed by the characters accepted ahead of it (so "１．２．－－" into a
// number gives what five key presses give) and returns the character to
// insert, or a null QChar to refuse it.
struct TFilteredCommit {
    QString Accepted;
    bool Refused = false; // at least one character was dropped
};
TFilteredCommit FilterCommitText(const QString& before, const QString& commit,
                                 const std::function<QChar(QChar key, const QString& textSoFar)>& filter);

} // namespace lnq
