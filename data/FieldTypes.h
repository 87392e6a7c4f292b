#pragma once
// Field data types of the data layer and the one place where they are grouped
// for filtering, SQL operator lists and type names. The groups overlap on
// purpose: FMT-BCD passes both the text and the number test, and each caller
// applies the tests in its own order (the operator list takes text first, the
// type name and the filter type let the number test win).

#include <QString>
#include <cstdint>

namespace lnq {

enum class TFieldType : std::uint8_t {
    ftUnknown,
    ftString,
    ftSmallint,
    ftInteger,
    ftWord,
    ftBoolean,
    ftFloat,
    ftCurrency,
    ftBCD,
    ftDate,
    ftTime,
    ftDateTime,
    ftBytes,
    ftVarBytes,
    ftAutoInc,
    ftBlob,
    ftMemo,
    ftGraphic,
    ftFmtMemo,
    ftFixedChar,
    ftWideString,
    ftLargeint,
    ftFMTBcd,
};

// "ftString", "ftInteger", ... (for traces and the record-set file format).
QString FieldTypeToString(TFieldType t);
TFieldType FieldTypeFromString(const QString& name); // ftUnknown when unknown

// The groups. Text: string, memo, graphic, formatted memo, fixed char, wide
// string and FMT-BCD. Number: small integer, integer, word, float, currency,
// BCD, bytes, var-bytes, auto-increment, large integer and FMT-BCD. Date:
// date, time, date-time. Boolean: boolean.
bool IsTextTypeGroup(TFieldType t);
bool IsNumberTypeGroup(TFieldType t);
bool IsDateTypeGroup(TFieldType t);
bool IsBooleanTypeGroup(TFieldType t);

// How a value of the type is held in memory by the dataset engine.
enum class TStorageKind : std::uint8_t { Text, Integer, Float, DateTime, Boolean, Bytes };
TStorageKind StorageKindOf(TFieldType t);

// Field type of a database column from its declared type text as SQLite or
// SQL Server report it ("NVARCHAR(50)", "DATETIME", "BIT", "MONEY",
// "DECIMAL(18,2)", "INT IDENTITY", "IMAGE", ...). Unknown or empty text gives
// ftString, the safe default for SQLite's untyped expressions.
//
// Decisions worth knowing: NVARCHAR gives ftWideString and CHAR / NCHAR give
// ftFixedChar (all three are text to every caller); plain TEXT gives ftString
// because SQLite schemas use it for ordinary short text, while NTEXT, XML and
// VARCHAR(MAX) / NVARCHAR(MAX) give ftMemo; TIMESTAMP is a date-time (the
// SQLite reading) and ROWVERSION gives ftBytes. size receives the length of
// strings and binaries and the precision of DECIMAL / NUMERIC (18 when not
// given); scale receives the decimals of DECIMAL / NUMERIC (4 for MONEY).
TFieldType FieldTypeFromDeclaredType(const QString& declared, int* size = nullptr);
TFieldType FieldTypeFromDeclaredType(const QString& declared, int* size, int* scale);

} // namespace lnq
