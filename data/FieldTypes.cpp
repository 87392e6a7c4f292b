#include "data/FieldTypes.h"

#include <QRegularExpression>
#include <QStringList>
#include <array>

namespace lnq {

namespace {

constexpr std::array<const char*, 23> kTypeNames = {
    "ftUnknown", "ftString",    "ftSmallint",   "ftInteger",  "ftWord",  "ftBoolean",
    "ftFloat",   "ftCurrency",  "ftBCD",        "ftDate",     "ftTime",  "ftDateTime",
    "ftBytes",   "ftVarBytes",  "ftAutoInc",    "ftBlob",     "ftMemo",  "ftGraphic",
    "ftFmtMemo", "ftFixedChar", "ftWideString", "ftLargeint", "ftFMTBcd"};

static_assert(kTypeNames.size() == static_cast<size_t>(TFieldType::ftFMTBcd) + 1);

} // namespace

QString FieldTypeToString(TFieldType t) {
    const auto i = static_cast<size_t>(t);
    return i < kTypeNames.size() ? QString::fromLatin1(kTypeNames[i]) : QString();
}

TFieldType FieldTypeFromString(const QString& name) {
    for (size_t i = 0; i < kTypeNames.size(); ++i)
        if (name.compare(QLatin1String(kTypeNames[i]), Qt::CaseInsensitive) == 0)
            return static_cast<TFieldType>(i);
    return TFieldType::ftUnknown;
}

bool IsTextTypeGroup(TFieldType t) {
    switch (t) {
    case TFieldType::ftString:
    case TFieldType::ftMemo:
    case TFieldType::ftGraphic:
    case TFieldType::ftFmtMemo:
    case TFieldType::ftFixedChar:
    case TFieldType::ftWideString:
    case TFieldType::ftFMTBcd:
        return true;
    default:
        return false;
    }
}

bool IsNumberTypeGroup(TFieldType t) {
    switch (t) {
    case TFieldType::ftSmallint:
    case TFieldType::ftInteger:
    case TFieldType::ftWord:
    case TFieldType::ftFloat:
    case TFieldType::ftCurrency:
    case TFieldType::ftBCD:
    case TFieldType::ftBytes:
    case TFieldType::ftVarBytes:
    case TFieldType::ftAutoInc:
    case TFieldType::ftLargeint:
    case TFieldType::ftFMTBcd:
        return true;
    default:
        return false;
    }
}

bool IsDateTypeGroup(TFieldType t) {
    return t == TFieldType::ftDate || t == TFieldType::ftTime || t == TFieldType::ftDateTime;
}

bool IsBooleanTypeGroup(TFieldType t) {
    return t == TFieldType::ftBoolean;
}

TStorageKind StorageKindOf(TFieldType t) {
    switch (t) {
    case TFieldType::ftSmallint:
    case TFieldType::ftInteger:
    case TFieldType::ftWord:
    case TFieldType::ftAutoInc:
    case TFieldType::ftLargeint:
        return TStorageKind::Integer;
    case TFieldType::ftBoolean:
        return TStorageKind::Boolean;
    case TFieldType::ftFloat:
    case TFieldType::ftCurrency:
    case TFieldType::ftBCD:
    case TFieldType::ftFMTBcd:
        return TStorageKind::Float;
    case TFieldType::ftDate:
    case TFieldType::ftTime:
    case TFieldType::ftDateTime:
        return TStorageKind::DateTime;
    case TFieldType::ftBytes:
    case TFieldType::ftVarBytes:
    case TFieldType::ftBlob:
    case TFieldType::ftGraphic:
        return TStorageKind::Bytes;
    case TFieldType::ftUnknown:
    case TFieldType::ftString:
    case TFieldType::ftMemo:
    case TFieldType::ftFmtMemo:
    case TFieldType::ftFixedChar:
    case TFieldType::ftWideString:
        return TStorageKind::Text;
    }
    return TStorageKind::Text;
}

TFieldType FieldTypeFromDeclaredType(const QString& declared, int* size) {
    return FieldTypeFromDeclaredType(declared, size, nullptr);
}

TFieldType FieldTypeFromDeclaredType(const QString& declared, int* size, int* scale) {
    // Normalise: upper case, no brackets or quotes, single blanks, no blank
    // before the argument list ("[varchar] (20)" -> "VARCHAR(20)").
    QString s = declared.toUpper();
    s.remove(QLatin1Char('[')).remove(QLatin1Char(']')).remove(QLatin1Char('"')).remove(QLatin1Char('`'));
    s = s.simplified();
    s.replace(QStringLiteral(" ("), QStringLiteral("("));

    int n = 0;  // first argument (length / precision)
    int sc = 0; // second argument (scale)
    bool max = false;
    bool hasArgs = false;
    QString base = s;
    const qsizetype open = s.indexOf(QLatin1Char('('));
    if (open >= 0) {
        base = s.left(open).trimmed();
        const qsizetype close = s.indexOf(QLatin1Char(')'), open);
        const QStringList args =
            s.mid(open + 1, close < 0 ? -1 : close - open - 1).split(QLatin1Char(','), Qt::SkipEmptyParts);
        if (!args.isEmpty()) {
            hasArgs = true;
            const QString a0 = args.at(0).trimmed();
            if (a0 == u"MAX")
                max = true;
            else
                n = a0.toInt();
            if (args.size() > 1) sc = args.at(1).trimmed().toInt();
        }
    }
    const QString rest = s; // for words after the type (IDENTITY, AUTOINCREMENT)
    const QString word = base.section(QLatin1Char(' '), 0, 0);

    auto result = [&](TFieldType t, int sz, int scl) {
        if (size) *size = sz;
        if (scale) *scale = scl;
        return t;
    };

    if (rest.contains(u"IDENTITY") || rest.contains(u"AUTOINCREMENT"))
        return result(TFieldType::ftAutoInc, 0, 0);
    if (word.isEmpty()) return result(TFieldType::ftString, 0, 0);

    if (word == u"DATETIME" || word == u"SMALLDATETIME" || word == u"DATETIME2" ||
        word == u"DATETIMEOFFSET" || word == u"TIMESTAMP")
        return result(TFieldType::ftDateTime, 0, 0);
    if (word == u"DATE") return result(TFieldType::ftDate, 0, 0);
    if (word == u"TIME") return result(TFieldType::ftTime, 0, 0);
    if (word == u"BIT" || word == u"BOOLEAN" || word == u"BOOL") return result(TFieldType::ftBoolean, 0, 0);
    if (word == u"MONEY" || word == u"SMALLMONEY") return result(TFieldType::ftCurrency, 19, 4);
    if (word == u"DECIMAL" || word == u"NUMERIC" || word == u"DEC")
        return result(TFieldType::ftBCD, hasArgs ? n : 18, hasArgs ? sc : 0);
    if (word == u"INT" || word == u"INTEGER" || word == u"MEDIUMINT" || word == u"INT4")
        return result(TFieldType::ftInteger, 0, 0);
    if (word == u"SMALLINT" || word == u"TINYINT" || word == u"INT2")
        return result(TFieldType::ftSmallint, 0, 0);
    if (word == u"BIGINT" || word == u"INT8") return result(TFieldType::ftLargeint, 0, 0);
    if (word == u"FLOAT" || word == u"REAL" || word == u"DOUBLE") return result(TFieldType::ftFloat, 0, 0);
    if (word == u"VARCHAR" || word == u"VARCHAR2" || (word == u"CHARACTER" && base.contains(u"VARYING")))
        return max ? result(TFieldType::ftMemo, 0, 0) : result(TFieldType::ftString, n, 0);
    if (word == u"NVARCHAR" || word == u"NATIONAL")
        return max ? result(TFieldType::ftMemo, 0, 0) : result(TFieldType::ftWideString, n, 0);
    if (word == u"CHAR" || word == u"NCHAR" || word == u"CHARACTER")
        return result(TFieldType::ftFixedChar, hasArgs ? n : 1, 0);
    if (word == u"TEXT" || word == u"CLOB") return result(TFieldType::ftString, 0, 0);
    if (word == u"NTEXT" || word == u"XML") return result(TFieldType::ftMemo, 0, 0);
    if (word == u"IMAGE" || word == u"BLOB") return result(TFieldType::ftBlob, 0, 0);
    if (word == u"VARBINARY")
        return max || !hasArgs ? result(TFieldType::ftBlob, 0, 0) : result(TFieldType::ftVarBytes, n, 0);
    if (word == u"BINARY") return result(TFieldType::ftBytes, hasArgs ? n : 1, 0);
    if (word == u"ROWVERSION") return result(TFieldType::ftBytes, 8, 0);
    if (word == u"UNIQUEIDENTIFIER") return result(TFieldType::ftString, 38, 0);

    // SQLite's affinity rules for anything else it accepts as a type name.
    if (base.contains(u"INT")) return result(TFieldType::ftLargeint, 0, 0);
    if (base.contains(u"CHAR") || base.contains(u"CLOB") || base.contains(u"TEXT"))
        return result(TFieldType::ftString, n, 0);
    if (base.contains(u"BLOB")) return result(TFieldType::ftBlob, 0, 0);
    if (base.contains(u"REAL") || base.contains(u"FLOA") || base.contains(u"DOUB"))
        return result(TFieldType::ftFloat, 0, 0);
    return result(TFieldType::ftString, 0, 0);
}

} // namespace lnq
