#pragma once
// Scalar functions that the T-SQL translation calls on SQLite (all named
// lnq_*), and the date-time text rules they share with the translator.
//
// Date-times are held as text "yyyy-MM-dd HH:mm:ss" (".zzz" appended when
// the milliseconds are not zero); a number used as a date-time counts days
// since 1900-01-01, as SQL Server does.

#include <QDate>
#include <QString>
#include <optional>

struct sqlite3;

namespace lnq::tsql {

// Registers every lnq_* function on the connection; raises ETsqlError when
// SQLite refuses one.
void registerFunctions(sqlite3* db);
// Registers the framework's text collation (Collation::kName) on the
// connection; every connection that opens a database with tables made by
// this layer needs it. Part of registerFunctions.
void registerTextCollation(sqlite3* db);

struct DateTimeValue {
    QDate date;
    qint64 msOfDay = 0;
};

// Parses the date-time formats SQL Server accepts from text: "yyyy-mm-dd",
// "yyyymmdd", "yyyy/mm/dd", "yyyy.mm.dd", each optionally followed by a time
// "hh:mi[:ss[.fff]]" (also after "T", also with AM/PM), a time alone (on
// 1900-01-01), "mm/dd/yyyy" ("dd/mm/yyyy" with style 103, 104, 105), and the
// month-name forms "Mon dd yyyy" (the default text of a date-time, "Nov 24
// 2026  9:05AM") and "dd Mon yyyy", month names in English, full or in three
// letters. Years from 1 to 9999; the datetime range is checked by the caller.
std::optional<DateTimeValue> parseDateTime(const QString& text, int style = -1);
QString formatCanonical(const DateTimeValue& v);
// The text of a date-time literal in canonical form, or nullopt when the text
// is no date-time.
std::optional<QString> canonicalDateTimeText(const QString& text, int style = -1);

// The datetime type's range: 1753-01-01 to 9999-12-31.
bool inDateTimeRange(const DateTimeValue& v);
inline constexpr char kDateTimeRangeError[] =
    "The conversion of a varchar data type to a datetime data type resulted in an out-of-range value.";

} // namespace lnq::tsql
