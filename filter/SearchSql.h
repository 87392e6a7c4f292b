#pragma once
// Server-side conditions of saved views and the search dialog: the operator
// vocabulary per field type with its SQL Server templates, the value object
// that fills a template, and the condition list that joins the pieces into a
// WHERE continuation. The view editor and the list form share these; nothing
// here needs a widget.
//
// The templates are kept exactly as the stored views and the server expect
// them, spacing included. Their meanings differ on purpose from the in-memory
// rules of TFilterItem ("最近N天" here is every day from N days ago on).

#include "data/DataSet.h"
#include "data/FieldTypes.h"

#include <QDate>
#include <QString>
#include <functional>
#include <vector>

namespace lnq {

class TDataEnvironment;

// How the value of a condition is taken from the editor and written into SQL.
enum TSearchValueKind : qint32 {
    svkNone = 0,   // no value; the value text is empty
    svkText = 1,   // the text box as typed, quotes not doubled
    svkNumber = 2, // the number box, Val-scanned (partial result kept) and written by FloatToStr
    svkDate = 4,   // the date picker, 'yyyy-mm-dd' in single quotes
};

class TSearchValue {
public:
    TSearchValue(const QString& templ, qint32 valueKind) : Template(templ), ValueKind(valueKind) {}

    // Template with every "[FieldName]" replaced by fieldName, then every
    // "[Value]" of the result by value; both letter-case-insensitive.
    QString GetSQLResult(const QString& fieldName, const QString& value) const;

    QString Template;
    qint32 ValueKind;
};

// One entry of an operator list: the name shown and its template.
struct TSearchOperator {
    QString Name;
    TSearchValue Value;
};

// The operators offered for a field type, in list order: the text group
// (FMT-BCD included, tested first), the number group, boolean, the date group;
// empty for a type in no group (blobs cannot be searched).
std::vector<TSearchOperator> SearchOperatorsFor(TFieldType type);
// Clears list and fills it as above (the editor's UpdateOpTypes).
void FillSearchOperators(TFieldType type, std::vector<TSearchOperator>& list);

// What the editor's three value boxes hold.
struct TSearchInput {
    QString Text;   // text box
    QString Number; // number box, as typed
    QDate Date;     // date picker
};

// The value text of a kind: "" for svkNone and unknown kinds; the text box for
// svkText; FloatToStr(ValFloat(number box)) for svkNumber ("12.5元" gives
// "12.5", "" gives "0"); QuotedStr of the date as "yyyy-MM-dd" for svkDate.
QString SearchValueText(qint32 kind, const TSearchInput& input);

// The caption shown for a field name (the field dictionary's GetTitleCaption).
using TTitleCaptionFn = std::function<QString(const QString& fieldName)>;
// The dictionary's captions; without a dictionary the captions are the names.
TTitleCaptionFn TitleCaptionsOf(TDataEnvironment* dictionary);

// The field of dataSet whose caption equals caption exactly (the first in
// field order), else caption itself.
QString FieldNameOfCaption(const QString& caption, const TDataSet& dataSet, const TTitleCaptionFn& titleOf);

// The SQL piece of one condition: empty when no operator is selected (op null),
// else op's template filled with the field name of fieldCaption and the value
// text of op's kind. The dictionary is the process-wide TDataEnvironment
// instance when there is one.
QString GetItemSQL(const QString& fieldCaption, const TDataSet& dataSet, const TSearchOperator* op,
                   const TSearchInput& input);
QString GetItemSQL(const QString& fieldCaption, const TDataSet& dataSet, const TSearchOperator* op,
                   const TSearchInput& input, const TTitleCaptionFn& titleOf);

// The display row of a condition in the editor's list.
struct TConditionRow {
    QString Caption;     // the field's display caption
    QString Description; // caption, operator name and value text joined by single blanks
};

struct TCondition {
    QString Piece; // SQL piece
    TConditionRow Row;
};

// The conditions of a view in order, as the editor composes them.
class TConditionList {
public:
    int Count() const { return static_cast<int>(m_items.size()); }
    bool IsEmpty() const { return m_items.empty(); }
    const TCondition& At(int index) const { return m_items.at(static_cast<size_t>(index)); }
    const std::vector<TCondition>& Items() const { return m_items; }

    void Add(const QString& piece, const QString& caption, const QString& description);
    // The editor's add button: nothing happens (false) when the field box or
    // the operator box is empty; otherwise the row (fieldText; fieldText + " "
    // + operator name + " " + value text) is appended with GetItemSQL's piece.
    bool AddCondition(const QString& fieldText, const TDataSet& dataSet, const TSearchOperator* op,
                      const TSearchInput& input, const TTitleCaptionFn& titleOf);
    void Delete(int index);
    void Clear() { m_items.clear(); }

    // Joiner + piece for every condition in order, joiner " And " when
    // matchAll, else " OR "; no parentheses. The text begins with its joiner
    // so that it continues a "where 1=1".
    QString GetSearchSQL(bool matchAll) const;

private:
    std::vector<TCondition> m_items;
};

} // namespace lnq
