#pragma once
// Number <-> text conversions with the classic desktop runtime's rules, which
// the framework's stored data, filters and grid cells were written against:
//
//  - StrToInt / StrToInt64: optional leading blanks, an optional sign, decimal
//    digits or hexadecimal after "$", "x" or "0x"; nothing may follow (not even
//    a blank). Out of range or malformed text raises EConvertError with the
//    message "'TEXT' is not a valid integer value".
//  - StrToFloat: blanks before and after, optional sign, digits with an
//    optional "." and an optional exponent ("1.5e-3"); at least one mantissa
//    digit. "." is the decimal point whatever the locale. Malformed text or a
//    value beyond the double range raises EConvertError with the message
//    "'TEXT' is not a valid floating point value".
//  - ValInt / ValFloat: the classic runtime's "Val" scan. Never throws. *errorPos gets 0
//    when the whole text is a number, else the 1-based position of the first
//    character that cannot continue it (Length + 1 when the text ends where a
//    digit was still needed). The result is the value of the valid prefix
//    (sign included), so "12a" gives 12 with errorPos 3 and "abc" gives 0 with
//    errorPos 1. An integer that would leave the 32-bit range stops before the
//    digit that overflows it.
//  - FloatToStr: general format with 15 significant digits; plain digits for
//    values from 0.00001 up to 15 integer digits, otherwise "1.5E20" /
//    "1E-7" (exponent without "+" and without leading zeros); "." as the
//    decimal point; "NAN", "INF", "-INF" for the special values.
//  - Format and the Format* helpers: the runtime's Format directives used by
//    grids and exports ("%*d", "%*.*f", "%.*f", "%.*n", "%0.2n", "%.*m").
//    Plain directives (d, u, x, e, f, g, s) write "." and "-" whatever the
//    locale, so that their texts read back through StrToFloat; "n" (thousands
//    separators) and "m" (currency) follow the default QLocale.

#include <QString>
#include <QVariant>
#include <QVariantList>

namespace lnq {

int StrToInt(const QString& text);
qint64 StrToInt64(const QString& text);
int StrToIntDef(const QString& text, int defaultValue);
bool TryStrToInt(const QString& text, int& value);

double StrToFloat(const QString& text);
double StrToFloatDef(const QString& text, double defaultValue);
bool TryStrToFloat(const QString& text, double& value);

int ValInt(const QString& text, int* errorPos);
double ValFloat(const QString& text, int* errorPos);

QString FloatToStr(double value);
QString FloatToStr(long double value); // the same rules on the 80-bit extended value

// The classic runtime's Format. Directive: "%" ["-"] [width | "*"] ["." (prec | "*")] type,
// "%%" for a percent sign. Types: d u x (integers; prec = minimum digits),
// f n m (fixed, with thousands separators, currency; prec = decimals, default 2),
// e (scientific, prec = significant digits, default 15, exponent "E+000"),
// g (general, prec = significant digits, default 15), s (text; prec = maximum
// length). Width right-aligns with blanks ("-" aligns left). Precision is
// capped at 18 for f, n, m. A missing argument, an unknown type or an argument
// of the wrong kind (a float for "d", a text for "f") raises EConvertError
// "Format 'FORMAT' invalid or incompatible with argument".
QString Format(const QString& format, const QVariantList& args);

// Shorthands for the directives the framework uses most.
QString FormatInt(qint64 value, int width = 0);                         // "%*d"
QString FormatFixed(long double value, int decimals, int width = 0);    // "%*.*f"
QString FormatNumber(long double value, int decimals, int width = 0);   // "%*.*n"
QString FormatCurrency(long double value, int decimals, int width = 0); // "%*.*m"

} // namespace lnq
