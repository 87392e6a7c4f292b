#include "filter/SearchSql.h"

#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "util/Plat_sysutils.h"

namespace lnq {

QString TSearchValue::GetSQLResult(const QString& fieldName, const QString& value) const {
    QString s = Template;
    s.replace(QStringLiteral("[FieldName]"), fieldName, Qt::CaseInsensitive);
    s.replace(QStringLiteral("[Value]"), value, Qt::CaseInsensitive);
    return s;
}

namespace {

struct OperatorRow {
    const char16_t* name;
    const char16_t* templ;
    qint32 kind;
};

// The operator table, exactly as the stored views and the server expect it
// (the trailing blanks of the date "大于"/"小于" and the blank before ")"
// included).
constexpr OperatorRow kTextOperators[] = {
    {u"包含", u"[FieldName] like '%[Value]%'", svkText},
    {u"不包含", u"[FieldName] not like '%[Value]%'", svkText},
    {u"等于(精确地)", u"[FieldName]= '[Value]'", svkText},
    {u"不等于(精确地)", u"[FieldName]<> '[Value]'", svkText},
};

constexpr OperatorRow kNumberOperators[] = {
    {u"等于", u"[FieldName]= [Value]", svkNumber},      {u"大于", u"[FieldName]> [Value]", svkNumber},
    {u"小于", u"[FieldName]< [Value]", svkNumber},      {u"大于等于", u"[FieldName]>= [Value]", svkNumber},
    {u"小于等于", u"[FieldName]<= [Value]", svkNumber}, {u"不等于", u"[FieldName]<> [Value]", svkNumber},
};

constexpr OperatorRow kBooleanOperators[] = {
    {u"是", u"[FieldName]=1", svkNone},
    {u"否", u"[FieldName]=0", svkNone},
};

constexpr OperatorRow kDateOperators[] = {
    {u"等于", u"DateDiff(d,[FieldName],[Value] )=0", svkDate},
    {u"大于", u"DateDiff(d,[FieldName],[Value] )<0 ", svkDate},
    {u"小于", u"DateDiff(d,[FieldName],[Value] )>0 ", svkDate},
    {u"大于等于", u"DateDiff(d,[FieldName],[Value] )<=0", svkDate},
    {u"小于等于", u"DateDiff(d,[FieldName],[Value] )>=0", svkDate},
    {u"不等于", u"DateDiff(d,[FieldName],[Value] )<>0", svkDate},
    {u"昨天", u"DateDiff(d,[FieldName],GetDate() )=1", svkNone},
    {u"今天", u"DateDiff(d,[FieldName],GetDate() )=0", svkNone},
    {u"明天", u"DateDiff(d,[FieldName],GetDate() )=-1", svkNone},
    {u"最近N天", u"DateDiff(d,[FieldName],GetDate() )<= [Value]", svkNumber},
    {u"随后N天", u"DateDiff(d,[FieldName],GetDate() )>=-[Value]", svkNumber},
    {u"上个星期", u"DateDiff(ww,[FieldName],GetDate() )=1", svkNone},
    {u"这个星期", u"DateDiff(ww,[FieldName],GetDate() )=0", svkNone},
    {u"下个星期", u"DateDiff(ww,[FieldName],GetDate() )=-1", svkNone},
    {u"上月", u"DateDiff(m,[FieldName],GetDate() )=1", svkNone},
    {u"本月", u"DateDiff(m,[FieldName],GetDate() )=0", svkNone},
    {u"下月", u"DateDiff(m,[FieldName],GetDate() )=-1", svkNone},
    {u"去年", u"DateDiff(y,[FieldName],GetDate() )=1", svkNone},
    {u"今年", u"DateDiff(y,[FieldName],GetDate() )=0", svkNone},
    {u"明年", u"DateDiff(y,[FieldName],GetDate() )=-1", svkNone},
};

template <size_t N> void append(std::vector<TSearchOperator>& list, const OperatorRow (&rows)[N]) {
    for (const OperatorRow& r : rows)
        list.push_back({QString::fromUtf16(r.name), TSearchValue(QString::fromUtf16(r.templ), r.kind)});
}

} // namespace

void FillSearchOperators(TFieldType type, std::vector<TSearchOperator>& list) {
    list.clear();
    // One group per type, tested in this order (FMT-BCD is searched as text).
    if (IsTextTypeGroup(type))
        append(list, kTextOperators);
    else if (IsNumberTypeGroup(type))
        append(list, kNumberOperators);
    else if (IsBooleanTypeGroup(type))
        append(list, kBooleanOperators);
    else if (IsDateTypeGroup(type))
        append(list, kDateOperators);
}

std::vector<TSearchOperator> SearchOperatorsFor(TFieldType type) {
    std::vector<TSearchOperator> list;
    FillSearchOperators(type, list);
    return list;
}

QString SearchValueText(qint32 kind, const TSearchInput& input) {
    switch (kind) {
    case svkText:
        return input.Text;
    case svkNumber: {
        int errorPos = 0; // a scan error keeps the value read so far
        return FloatToStr(ValFloat(input.Number, &errorPos));
    }
    case svkDate:
        return TInterfacedADOConnection::QuotedStr(input.Date.toString(QStringLiteral("yyyy-MM-dd")));
    default:
        return QString();
    }
}

TTitleCaptionFn TitleCaptionsOf(TDataEnvironment* dictionary) {
    if (!dictionary) return [](const QString& name) { return name; };
    return [dictionary](const QString& name) { return dictionary->GetTitleCaption(name); };
}

QString FieldNameOfCaption(const QString& caption, const TDataSet& dataSet, const TTitleCaptionFn& titleOf) {
    for (int i = 0; i < dataSet.FieldCount(); ++i) {
        const QString& name = dataSet.Fields(i).FieldName();
        if (titleOf(name) == caption) return name;
    }
    return caption;
}

QString GetItemSQL(const QString& fieldCaption, const TDataSet& dataSet, const TSearchOperator* op,
                   const TSearchInput& input, const TTitleCaptionFn& titleOf) {
    if (!op) return QString();
    const QString fieldName = FieldNameOfCaption(fieldCaption, dataSet, titleOf);
    return op->Value.GetSQLResult(fieldName, SearchValueText(op->Value.ValueKind, input));
}

QString GetItemSQL(const QString& fieldCaption, const TDataSet& dataSet, const TSearchOperator* op,
                   const TSearchInput& input) {
    return GetItemSQL(fieldCaption, dataSet, op, input, TitleCaptionsOf(TDataEnvironment::Instance()));
}

void TConditionList::Add(const QString& piece, const QString& caption, const QString& description) {
    m_items.push_back({piece, {caption, description}});
}

bool TConditionList::AddCondition(const QString& fieldText, const TDataSet& dataSet,
                                  const TSearchOperator* op, const TSearchInput& input,
                                  const TTitleCaptionFn& titleOf) {
    if (fieldText.isEmpty() || !op || op->Name.isEmpty()) return false;
    const QString description = fieldText + QLatin1Char(' ') + op->Name + QLatin1Char(' ') +
                                SearchValueText(op->Value.ValueKind, input);
    Add(GetItemSQL(fieldText, dataSet, op, input, titleOf), fieldText, description);
    return true;
}

void TConditionList::Delete(int index) {
    m_items.erase(m_items.begin() + index);
}

QString TConditionList::GetSearchSQL(bool matchAll) const {
    const QString joiner = matchAll ? QStringLiteral(" And ") : QStringLiteral(" OR ");
    QString sql;
    for (const TCondition& c : m_items)
        sql += joiner + c.Piece;
    return sql;
}

} // namespace lnq
