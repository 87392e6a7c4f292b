#pragma once
// The SQL texts of the lookup edit, apart from its widgets so that tools and
// tests build them without a form.
//
// Typed text is classified on its GBK bytes: the first byte above 128 means
// Chinese text and ends the scan; "0".."9" mark digits and ASCII letters mark
// letters. Chinese text searches the value field, text with letters the code
// field, text with only digits the number field. Anything else (blanks,
// punctuation alone, empty text) searches nothing.

#include <QString>
#include <cstdint>
#include <functional>

namespace lnq {

enum class TLookupTextKind : std::uint8_t { None, Digits, Letters, Chinese };

// Classification of the text's GBK bytes.
TLookupTextKind ClassifyLookupText(const QString& text);

// The field a text of that kind searches: valueField for Chinese, codeField
// for letters, noField for digits, empty for None.
QString LookupSearchField(TLookupTextKind kind, const QString& noField, const QString& codeField,
                          const QString& valueField);

// sql + (" and " when the upper-cased sql contains "WHERE", else " where ")
// + field + " like '%" + text with every "'" doubled + "%'".
QString LookupFilterSql(const QString& sql, const QString& field, const QString& text);

// The authority rule: with autoCheck on, the upper-cased sql naming the
// customer table "Cust_CustomersMain" and an authority function given, sql +
// (" where " when the upper-cased sql has no "WHERE", else " and ") + the
// function's result. Otherwise sql unchanged.
QString LookupAuthoritySql(const QString& sql, bool autoCheck, const std::function<QString()>& authority);

} // namespace lnq
