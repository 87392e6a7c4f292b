#pragma once
// Internal to the data layer: the filter text of TClientDataSet, parsed into
// a small tree and evaluated directly against the stored columns.
//
// Grammar (keywords in any letter case):
//   expr      := and-expr { OR and-expr }
//   and-expr  := not-expr { AND not-expr }
//   not-expr  := NOT not-expr | predicate
//   predicate := "(" expr ")"
//              | operand [ ("=" | "<>" | "!=" | "<" | ">" | "<=" | ">=") operand
//                        | [NOT] LIKE operand
//                        | IS [NOT] NULL
//                        | [NOT] IN "(" operand { "," operand } ")" ]
//   operand   := name | [name with blanks] | "quoted name" | 'text' ('' inside)
//              | number | -number | #date# | TRUE | FALSE | NULL
// A lone operand is a condition when it is a boolean field. Text compares
// case-sensitively; LIKE takes % (any run) and _ (one character). A
// comparison with a null value is false; IS NULL tests for null. A text
// literal compared with a date, number or boolean field is converted to the
// field's type when the filter is bound (a text that does not convert is an
// error then).
//
// Limits: parentheses and NOTs nest at most kMaxFilterNesting deep, and one
// OR or AND chain joins at most kMaxFilterTerms conditions; a text beyond
// either raises EDatabaseError naming the limit and the position. Chains are
// kept flat, so only the nesting bounds the recursion of parsing, binding,
// evaluation and freeing.

#include "data/RecordStore.h"

#include <QString>
#include <functional>
#include <memory>

namespace lnq {

constexpr int kMaxFilterNesting = 200;
constexpr int kMaxFilterTerms = 10000;

class TFilterExpr {
public:
    ~TFilterExpr();
    // Raises EDatabaseError naming the problem and its position.
    static std::unique_ptr<TFilterExpr> Parse(const QString& text);
    // Resolves field names (fieldIndex returns -1 for unknown ones: raises
    // EDatabaseError naming the field) and converts literals to field types.
    void Bind(const TRecordStore& store, const std::function<int(const QString&)>& fieldIndex);
    bool Evaluate(const TRecordStore& store, qint64 record) const;

    struct Node;

private:
    TFilterExpr();
    std::unique_ptr<Node> m_root;
    QString m_text;
};

} // namespace lnq
