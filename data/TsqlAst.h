#pragma once
// Syntax tree of the supported SQL Server dialect, produced by the parser
// (TsqlParser) and turned into SQLite text by the translator (TsqlTranslator).

#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

namespace lnq::tsql {

struct Select;
struct Expr;
using ExprPtr = std::unique_ptr<Expr>;
using SelectPtr = std::unique_ptr<Select>;

// A T-SQL type as written: name upper-cased ("VARCHAR"), arguments as text
// ("50", "18,2", "MAX"; empty when none).
struct TypeSpec {
    QString name;
    QString args;
    QString text() const { return args.isEmpty() ? name : name + u'(' + args + u')'; }
};

enum class EK : unsigned char {
    String, // text = value, flag = N prefix
    Number, // text = as written, flag = has point or exponent
    Binary, // text = hex digits
    Null,
    Column,   // parts = qualified name, last part the column
    Variable, // text = @name / @@name (upper-cased)
    Unary,    // text = "-", "+", "~"; args[0]
    Binary2,  // text = operator; args[0], args[1] (AND / OR: all operands of the chain)
    Not,      // args[0]
    Func,     // parts = qualified name; args; flag = DISTINCT; star = COUNT(*)
    DatePart, // text = canonical function (DATEADD/DATEDIFF/DATEPART/DATENAME), part = datepart; args
    Case,     // hasBase: args[0] base; then WHEN/THEN pairs; hasElse: last arg
    Cast,     // args[0], type; for CONVERT args[1] is the style when present
    In,       // args[0] lhs, args[1..] list, or sub; flag = NOT
    Between,  // args[0] lhs, args[1] low, args[2] high; flag = NOT
    Like,     // args[0] lhs, args[1] pattern, args[2] escape (optional); flag = NOT
    IsNull,   // args[0]; flag = NOT (IS NOT NULL)
    Exists,   // sub
    Subquery, // sub (scalar)
    Window,   // args[0] the function call; partition / order in window
};

struct OrderItem {
    ExprPtr expr;
    bool desc = false;
};

// Deepest nesting the parser accepts (expression and table trees, nested
// selects): it bounds the recursion of translation and destruction.
constexpr int kMaxNesting = 200;

struct Expr {
    EK kind;
    int pos = 0;
    int depth = 1; // height of the tree below and including this node
    bool flag = false;
    bool star = false;
    bool hasBase = false;
    bool hasElse = false;
    QString text;
    QString part; // DatePart: canonical datepart name
    QStringList parts;
    std::vector<ExprPtr> args;
    SelectPtr sub;
    TypeSpec type;
    bool isConvert = false;
    std::vector<ExprPtr> partitionBy; // Window
    std::vector<OrderItem> orderBy;   // Window
    explicit Expr(EK k, int p = 0) : kind(k), pos(p) {}
};

struct TableRef {
    enum Kind { Named, Derived, Join } kind = Named;
    QStringList name; // Named: parts as written (schema dropped later)
    QString alias;
    SelectPtr sub; // Derived
    // Join
    QString joinType; // "INNER", "LEFT", "RIGHT", "FULL", "CROSS"
    std::unique_ptr<TableRef> left, right;
    ExprPtr on;
    int pos = 0;
    int depth = 1;
};
using TableRefPtr = std::unique_ptr<TableRef>;

struct SelectItem {
    ExprPtr expr;         // null for a star
    QString alias;        // "" when none
    bool star = false;    // * or qualifier.*
    QStringList starQual; // qualifier of qualifier.*
};

struct SelectCore {
    SelectPtr paren; // a parenthesised branch of a compound select
    bool distinct = false;
    ExprPtr top;
    bool topPercent = false;
    std::vector<SelectItem> items;
    std::vector<TableRefPtr> from;
    ExprPtr where;
    std::vector<ExprPtr> groupBy;
    ExprPtr having;
    int pos = 0;
};

struct Cte {
    QString name;
    QStringList columns;
    SelectPtr select;
};

struct Select {
    std::vector<Cte> ctes;
    std::vector<SelectCore> cores;
    std::vector<QString> ops; // between cores: "UNION", "UNION ALL", "EXCEPT", "INTERSECT"
    std::vector<OrderItem> orderBy;
    ExprPtr offset, fetch;
    int pos = 0;
    int depth = 1;
};

struct ColumnDef {
    QString name;
    TypeSpec type;
    bool notNull = false;
    bool explicitNull = false;
    bool primaryKey = false;
    bool unique = false;
    bool identity = false;
    qint64 seed = 1, increment = 1;
    ExprPtr defaultValue;
    ExprPtr check;
    QString collate;
    QString refTable;
    QStringList refColumns;
};

struct TableConstraint {
    enum Kind { PrimaryKey, Unique, ForeignKey, Check } kind = PrimaryKey;
    QString name;
    QStringList columns;
    QString refTable;
    QStringList refColumns;
    QString refActions; // "ON DELETE CASCADE ..." already in SQLite words
    ExprPtr check;
};

enum class SK : unsigned char {
    Select,
    Insert,
    Update,
    Delete,
    CreateTable,
    CreateIndex,
    CreateView,
    AlterAdd,
    AlterDropColumn,
    DropTable,
    DropIndex,
    DropView,
    Truncate,
    If,
    Block,
    BeginTran,
    CommitTran,
    RollbackTran,
    Noop,
};

struct Stmt;
using StmtPtr = std::unique_ptr<Stmt>;

struct SetItem {
    QStringList column;
    ExprPtr value;
};

struct Stmt {
    SK kind;
    int pos = 0;
    SelectPtr select;                       // Select, Insert ... SELECT, CreateView
    QStringList table;                      // target table (parts as written)
    QString alias;                          // Update/Delete target alias
    QStringList columns;                    // Insert column list, CreateIndex columns (with " DESC")
    std::vector<std::vector<ExprPtr>> rows; // Insert VALUES
    bool defaultValues = false;             // INSERT ... DEFAULT VALUES
    std::vector<SetItem> sets;              // Update
    std::vector<TableRefPtr> from;          // Update ... FROM
    ExprPtr where;
    ExprPtr top;                              // Update/Delete TOP (n)
    bool topPercent = false;                  // ... PERCENT
    std::vector<ColumnDef> columnDefs;        // CreateTable / AlterAdd
    std::vector<TableConstraint> constraints; // CreateTable / AlterAdd
    QString name;                             // index / view name, dropped column
    bool unique = false;                      // CreateIndex
    bool ifExists = false;                    // Drop ... IF EXISTS
    std::vector<QStringList> names;           // DropTable / DropView / DropIndex targets
    ExprPtr cond;                             // If
    StmtPtr thenStmt, elseStmt;               // If
    std::vector<StmtPtr> body;                // Block
    explicit Stmt(SK k, int p = 0) : kind(k), pos(p) {}
};

} // namespace lnq::tsql
