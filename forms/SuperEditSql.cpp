#include "forms/SuperEditSql.h"

#include "util/Gbk.h"

namespace lnq {

TLookupTextKind ClassifyLookupText(const QString& text) {
    const QByteArray bytes = Gbk::encode(text);
    bool digits = false;
    bool letters = false;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b > 128) return TLookupTextKind::Chinese;
        if (b >= '0' && b <= '9')
            digits = true;
        else if ((b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z'))
            letters = true;
    }
    if (letters) return TLookupTextKind::Letters;
    if (digits) return TLookupTextKind::Digits;
    return TLookupTextKind::None;
}

QString LookupSearchField(TLookupTextKind kind, const QString& noField, const QString& codeField,
                          const QString& valueField) {
    switch (kind) {
    case TLookupTextKind::Chinese:
        return valueField;
    case TLookupTextKind::Letters:
        return codeField;
    case TLookupTextKind::Digits:
        return noField;
    case TLookupTextKind::None:
        break;
    }
    return {};
}

QString LookupFilterSql(const QString& sql, const QString& field, const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("''"));
    const bool hasWhere = sql.toUpper().contains(QLatin1String("WHERE"));
    return sql + (hasWhere ? QLatin1String(" and ") : QLatin1String(" where ")) + field +
           QLatin1String(" like '%") + quoted + QLatin1String("%'");
}

QString LookupAuthoritySql(const QString& sql, bool autoCheck, const std::function<QString()>& authority) {
    if (!autoCheck || !authority) return sql;
    const QString upper = sql.toUpper();
    if (!upper.contains(QLatin1String("CUST_CUSTOMERSMAIN"))) return sql;
    const bool hasWhere = upper.contains(QLatin1String("WHERE"));
    return sql + (hasWhere ? QLatin1String(" and ") : QLatin1String(" where ")) + authority();
}

} // namespace lnq
