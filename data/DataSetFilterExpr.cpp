#include "data/DataSetFilterExpr.h"

#include "util/Gbk.h"

#include <cmath>

namespace lnq {

namespace {

struct Val {
    enum Kind { Null, Num, Str, Bool } k = Null;
    double n = 0;
    QString s;
    bool b = false;
};

// A value read during evaluation: literal texts are referenced, stored texts
// decoded into own.
struct Ref {
    Val::Kind k = Val::Null;
    double n = 0;
    bool b = false;
    const QString* s = nullptr;
    QString own; // decoded cell
};

enum class Tok { End, Ident, Field, String, Number, Date, Op, LParen, RParen, Comma };

struct Token {
    Tok type = Tok::End;
    QString text; // identifier / field name / string value / operator / number text
    double number = 0;
    int pos = 0; // 1-based character position for messages
};

// A piece of the text as an error message quotes it: at most 40 characters,
// so that a megabyte literal does not become a megabyte message.
QString shown(const QString& text) {
    return text.size() <= 40 ? text : text.left(40) + QStringLiteral("…");
}

[[noreturn]] void syntaxError(const QString& what, int pos) {
    throw EDatabaseError(
        QStringLiteral("过滤条件错误：%1（第 %2 个字符处）").arg(what, QString::number(pos)));
}

bool identStart(QChar c) {
    return c.isLetter() || c == QLatin1Char('_');
}
bool identPart(QChar c) {
    return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('$') || c == QLatin1Char('.');
}

std::vector<Token> tokenize(const QString& t) {
    std::vector<Token> out;
    qsizetype i = 0;
    const qsizetype n = t.size();
    while (i < n) {
        const QChar c = t.at(i);
        if (c.isSpace()) {
            ++i;
            continue;
        }
        Token tok;
        tok.pos = static_cast<int>(i + 1);
        if (c == QLatin1Char('\'')) {
            QString v;
            ++i;
            bool closed = false;
            while (i < n) {
                if (t.at(i) == QLatin1Char('\'')) {
                    if (i + 1 < n && t.at(i + 1) == QLatin1Char('\'')) {
                        v += QLatin1Char('\'');
                        i += 2;
                        continue;
                    }
                    closed = true;
                    ++i;
                    break;
                }
                v += t.at(i++);
            }
            if (!closed) syntaxError(QStringLiteral("字符串没有结束"), tok.pos);
            tok.type = Tok::String;
            tok.text = v;
        } else if (c == QLatin1Char('[') || c == QLatin1Char('"')) {
            const QChar close = c == QLatin1Char('[') ? QLatin1Char(']') : QLatin1Char('"');
            const qsizetype end = t.indexOf(close, i + 1);
            if (end < 0) syntaxError(QStringLiteral("字段名没有结束"), tok.pos);
            tok.type = Tok::Field;
            tok.text = t.mid(i + 1, end - i - 1).trimmed();
            if (tok.text.isEmpty()) syntaxError(QStringLiteral("字段名为空"), tok.pos);
            i = end + 1;
        } else if (c == QLatin1Char('#')) {
            const qsizetype end = t.indexOf(QLatin1Char('#'), i + 1);
            if (end < 0) syntaxError(QStringLiteral("日期没有结束"), tok.pos);
            const QString text = t.mid(i + 1, end - i - 1);
            TDateTime v = 0;
            if (!parseDateTimeText(text, &v))
                syntaxError(QStringLiteral("'%1' 不是有效的日期").arg(shown(text)), tok.pos);
            tok.type = Tok::Date;
            tok.text = text;
            tok.number = v;
            i = end + 1;
        } else if (c.isDigit() || (c == QLatin1Char('.') && i + 1 < n && t.at(i + 1).isDigit())) {
            qsizetype j = i;
            while (j < n && (t.at(j).isDigit() || t.at(j) == QLatin1Char('.')))
                ++j;
            if (j < n && (t.at(j) == QLatin1Char('e') || t.at(j) == QLatin1Char('E'))) {
                qsizetype k = j + 1;
                if (k < n && (t.at(k) == QLatin1Char('+') || t.at(k) == QLatin1Char('-'))) ++k;
                if (k < n && t.at(k).isDigit()) {
                    j = k;
                    while (j < n && t.at(j).isDigit())
                        ++j;
                }
            }
            tok.text = t.mid(i, j - i);
            bool ok = false;
            tok.number = tok.text.toDouble(&ok);
            if (!ok) syntaxError(QStringLiteral("'%1' 不是有效的数字").arg(shown(tok.text)), tok.pos);
            if (j < n && identStart(t.at(j)))
                syntaxError(QStringLiteral("'%1' 不是有效的数字").arg(shown(t.mid(i, j - i + 1))), tok.pos);
            tok.type = Tok::Number;
            i = j;
        } else if (identStart(c)) {
            qsizetype j = i + 1;
            while (j < n && identPart(t.at(j)))
                ++j;
            tok.type = Tok::Ident;
            tok.text = t.mid(i, j - i);
            i = j;
        } else if (c == QLatin1Char('(')) {
            tok.type = Tok::LParen;
            ++i;
        } else if (c == QLatin1Char(')')) {
            tok.type = Tok::RParen;
            ++i;
        } else if (c == QLatin1Char(',')) {
            tok.type = Tok::Comma;
            ++i;
        } else {
            static const char* const ops[] = {"<>", "!=", "<=", ">=", "=", "<", ">", "-"};
            bool found = false;
            for (const char* op : ops) {
                const QLatin1String l(op);
                if (t.mid(i, l.size()) == l) {
                    tok.type = Tok::Op;
                    tok.text = l;
                    i += l.size();
                    found = true;
                    break;
                }
            }
            if (!found) syntaxError(QStringLiteral("无法识别的字符 '%1'").arg(c), tok.pos);
        }
        out.push_back(tok);
    }
    Token end;
    end.pos = static_cast<int>(n + 1);
    out.push_back(end);
    return out;
}

bool likeMatch(QStringView s, QStringView p) {
    qsizetype si = 0, pi = 0, star = -1, mark = 0;
    while (si < s.size()) {
        if (pi < p.size() && p[pi] != QLatin1Char('%') && (p[pi] == QLatin1Char('_') || p[pi] == s[si])) {
            ++si;
            ++pi;
        } else if (pi < p.size() && p[pi] == QLatin1Char('%')) {
            star = pi++;
            mark = si;
        } else if (star >= 0) {
            pi = star + 1;
            si = ++mark;
        } else {
            return false;
        }
    }
    while (pi < p.size() && p[pi] == QLatin1Char('%'))
        ++pi;
    return pi == p.size();
}

enum class CmpOp { Eq, Ne, Lt, Gt, Le, Ge };

} // namespace

struct TFilterExpr::Node {
    enum Type { Or, And, Not, Compare, Like, IsNull, In, Truth, Field, Literal } type = Literal;
    CmpOp op = CmpOp::Eq;
    bool negate = false;
    std::vector<std::unique_ptr<Node>> kids;
    QString name; // field name
    int col = -1;
    Val lit;
    bool litFromText = false; // a text literal (may be converted at bind time)
    QString litSource;        // the literal as written (numbers compared with text)
    int pos = 0;
    // LIKE with a literal pattern of the usual shapes ('ab%', '%ab', '%ab%',
    // 'ab'): matched by a plain text test.
    enum class LikeShape { General, Exact, Prefix, Suffix, Contains } likeShape = LikeShape::General;
    QString likeCore;
    // Comparison of a number column with a number literal, the column on
    // the left (the operator is mirrored when it was written on the right).
    const TStoreColumn* fastCol = nullptr;
    double fastValue = 0;
};

namespace {

using Node = TFilterExpr::Node;

class Parser {
public:
    explicit Parser(const QString& text) : m_toks(tokenize(text)) {}

    std::unique_ptr<Node> parse() {
        if (peek().type == Tok::End) syntaxError(QStringLiteral("条件为空"), 1);
        auto e = orExpr();
        if (peek().type != Tok::End)
            syntaxError(QStringLiteral("多余的 '%1'").arg(describe(peek())), peek().pos);
        return e;
    }

private:
    const Token& peek() const { return m_toks[m_i]; }
    const Token& take() { return m_toks[m_i++]; }
    bool isKeyword(const Token& t, const char* kw) const {
        return t.type == Tok::Ident && t.text.compare(QLatin1String(kw), Qt::CaseInsensitive) == 0;
    }
    static QString describe(const Token& t) {
        switch (t.type) {
        case Tok::End:
            return QStringLiteral("结尾");
        case Tok::LParen:
            return QStringLiteral("(");
        case Tok::RParen:
            return QStringLiteral(")");
        case Tok::Comma:
            return QStringLiteral(",");
        case Tok::String:
            return QLatin1Char('\'') + shown(t.text) + QLatin1Char('\'');
        default:
            return shown(t.text);
        }
    }

    std::unique_ptr<Node> binary(Node::Type type, std::unique_ptr<Node> a, std::unique_ptr<Node> b) {
        auto n = std::make_unique<Node>();
        n->type = type;
        n->kids.push_back(std::move(a));
        n->kids.push_back(std::move(b));
        return n;
    }

    // OR and AND chains become one node holding every operand, so that a
    // long generated list stays shallow for binding, evaluation and freeing.
    std::unique_ptr<Node> chain(Node::Type type, const char* keyword, std::unique_ptr<Node> first,
                                std::unique_ptr<Node> (Parser::*operand)()) {
        if (!isKeyword(peek(), keyword)) return first;
        auto n = std::make_unique<Node>();
        n->type = type;
        n->pos = peek().pos;
        n->kids.push_back(std::move(first));
        while (isKeyword(peek(), keyword)) {
            const int pos = take().pos;
            if (n->kids.size() >= size_t(kMaxFilterTerms))
                throw EDatabaseError(QStringLiteral("过滤条件错误：%1 连接的条件超过 %2 个（第 %3 个字符处）")
                                         .arg(QString::fromLatin1(keyword).toUpper(),
                                              QString::number(kMaxFilterTerms), QString::number(pos)));
            n->kids.push_back((this->*operand)());
        }
        return n;
    }
    std::unique_ptr<Node> orExpr() { return chain(Node::Or, "or", andExpr(), &Parser::andExpr); }
    std::unique_ptr<Node> andExpr() { return chain(Node::And, "and", notExpr(), &Parser::notExpr); }

    // Bounds the parser's recursion (parentheses and NOT): binding,
    // evaluation and freeing the tree recurse as deep as it does.
    class Nest {
    public:
        Nest(int& depth, int pos) : m_depth(depth) {
            if (++m_depth > kMaxFilterNesting) {
                --m_depth;
                throw EDatabaseError(
                    QStringLiteral("过滤条件错误：括号或 NOT 嵌套超过 %1 层（第 %2 个字符处）")
                        .arg(kMaxFilterNesting)
                        .arg(pos));
            }
        }
        ~Nest() { --m_depth; }
        Nest(const Nest&) = delete;
        Nest& operator=(const Nest&) = delete;

    private:
        int& m_depth;
    };

    std::unique_ptr<Node> notExpr() {
        if (isKeyword(peek(), "not")) {
            const Nest nest(m_depth, take().pos);
            auto n = std::make_unique<Node>();
            n->type = Node::Not;
            n->kids.push_back(notExpr());
            return n;
        }
        return predicate();
    }

    std::unique_ptr<Node> predicate() {
        if (peek().type == Tok::LParen) {
            const int pos = take().pos;
            const Nest nest(m_depth, pos);
            auto e = orExpr();
            if (peek().type != Tok::RParen)
                syntaxError(QStringLiteral("缺少右括号（左括号在第 %1 个字符）").arg(pos), peek().pos);
            take();
            return e;
        }
        auto left = operand();
        const Token& t = peek();
        if (t.type == Tok::Op && t.text != u"-") {
            const QString op = take().text;
            auto n = binary(Node::Compare, std::move(left), operand());
            n->op = op == u"="                     ? CmpOp::Eq
                    : (op == u"<>" || op == u"!=") ? CmpOp::Ne
                    : op == u"<"                   ? CmpOp::Lt
                    : op == u">"                   ? CmpOp::Gt
                    : op == u"<="                  ? CmpOp::Le
                                                   : CmpOp::Ge;
            n->pos = t.pos;
            return n;
        }
        bool negate = false;
        if (isKeyword(t, "not")) {
            const Token& next = m_toks[m_i + 1];
            if (!isKeyword(next, "like") && !isKeyword(next, "in"))
                syntaxError(QStringLiteral("NOT 后应为 LIKE 或 IN"), next.pos);
            take();
            negate = true;
        }
        if (isKeyword(peek(), "like")) {
            const int pos = take().pos;
            auto n = binary(Node::Like, std::move(left), operand());
            n->negate = negate;
            n->pos = pos;
            return n;
        }
        if (isKeyword(peek(), "in")) {
            const int pos = take().pos;
            if (peek().type != Tok::LParen) syntaxError(QStringLiteral("IN 后缺少左括号"), peek().pos);
            take();
            auto n = std::make_unique<Node>();
            n->type = Node::In;
            n->negate = negate;
            n->pos = pos;
            n->kids.push_back(std::move(left));
            for (;;) {
                n->kids.push_back(operand());
                if (peek().type == Tok::Comma) {
                    take();
                    continue;
                }
                if (peek().type != Tok::RParen) syntaxError(QStringLiteral("IN 列表缺少右括号"), peek().pos);
                take();
                break;
            }
            return n;
        }
        if (isKeyword(peek(), "is")) {
            const int pos = take().pos;
            auto n = std::make_unique<Node>();
            n->type = Node::IsNull;
            n->pos = pos;
            if (isKeyword(peek(), "not")) {
                take();
                n->negate = true;
            }
            if (!isKeyword(peek(), "null")) syntaxError(QStringLiteral("IS 后应为 NULL"), peek().pos);
            take();
            n->kids.push_back(std::move(left));
            return n;
        }
        // A lone operand: a boolean field or TRUE / FALSE.
        auto n = std::make_unique<Node>();
        n->type = Node::Truth;
        n->pos = left->pos;
        n->kids.push_back(std::move(left));
        return n;
    }

    std::unique_ptr<Node> operand() {
        const Token t = take();
        auto n = std::make_unique<Node>();
        n->pos = t.pos;
        switch (t.type) {
        case Tok::Field:
            n->type = Node::Field;
            n->name = t.text;
            return n;
        case Tok::Ident:
            if (t.text.compare(QLatin1String("null"), Qt::CaseInsensitive) == 0) {
                n->type = Node::Literal;
                return n;
            }
            if (t.text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ||
                t.text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) {
                n->type = Node::Literal;
                n->lit.k = Val::Bool;
                n->lit.b = t.text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
                n->litSource = n->lit.b ? QStringLiteral("True") : QStringLiteral("False");
                return n;
            }
            for (const char* kw : {"and", "or", "not", "like", "is", "in"})
                if (t.text.compare(QLatin1String(kw), Qt::CaseInsensitive) == 0)
                    syntaxError(QStringLiteral("'%1' 前缺少字段或值").arg(shown(t.text)), t.pos);
            n->type = Node::Field;
            n->name = t.text;
            return n;
        case Tok::String:
            n->type = Node::Literal;
            n->lit.k = Val::Str;
            n->lit.s = t.text;
            n->litFromText = true;
            n->litSource = t.text;
            return n;
        case Tok::Number:
        case Tok::Date:
            n->type = Node::Literal;
            n->lit.k = Val::Num;
            n->lit.n = t.number;
            n->litSource = t.text;
            return n;
        case Tok::Op:
            if (t.text == u"-" && peek().type == Tok::Number) {
                const Token num = take();
                n->type = Node::Literal;
                n->lit.k = Val::Num;
                n->lit.n = -num.number;
                n->litSource = QLatin1Char('-') + num.text;
                return n;
            }
            break;
        default:
            break;
        }
        if (t.type == Tok::End) syntaxError(QStringLiteral("条件不完整，缺少字段或值"), t.pos);
        syntaxError(QStringLiteral("此处应为字段或值，而不是 '%1'").arg(describe(t)), t.pos);
    }

    std::vector<Token> m_toks;
    size_t m_i = 0;
    int m_depth = 0;
};

// Converts a text literal compared with a field of another kind.
void coerceLiteral(Node& lit, const TStoreColumn& col, const QString& fieldName) {
    if (lit.type != Node::Literal || lit.lit.k == Val::Null) return;
    switch (col.kind) {
    case TStorageKind::DateTime:
        if (lit.litFromText) {
            TDateTime v = 0;
            if (!parseDateTimeText(lit.lit.s, &v))
                throw EDatabaseError(QStringLiteral("过滤条件错误：'%1' 不是字段 '%2' 的有效日期")
                                         .arg(shown(lit.lit.s), shown(fieldName)));
            lit.lit.k = Val::Num;
            lit.lit.n = v;
        }
        break;
    case TStorageKind::Integer:
    case TStorageKind::Float:
        if (lit.litFromText) {
            bool ok = false;
            const double v = lit.lit.s.trimmed().toDouble(&ok);
            if (!ok)
                throw EDatabaseError(QStringLiteral("过滤条件错误：'%1' 不是字段 '%2' 的有效数值")
                                         .arg(shown(lit.lit.s), shown(fieldName)));
            lit.lit.k = Val::Num;
            lit.lit.n = v;
        }
        break;
    case TStorageKind::Boolean:
        if (lit.litFromText) {
            bool b = false;
            if (!parseBoolText(lit.lit.s, &b))
                throw EDatabaseError(QStringLiteral("过滤条件错误：'%1' 不是字段 '%2' 的有效布尔值")
                                         .arg(shown(lit.lit.s), shown(fieldName)));
            lit.lit.k = Val::Bool;
            lit.lit.b = b;
        } else if (lit.lit.k == Val::Num) {
            lit.lit.k = Val::Bool;
            lit.lit.b = lit.lit.n != 0;
        }
        break;
    case TStorageKind::Text:
    case TStorageKind::Bytes:
        if (lit.lit.k == Val::Num || lit.lit.k == Val::Bool) {
            lit.lit.k = Val::Str;
            lit.lit.s = lit.litSource;
        }
        break;
    }
}

void bindNode(Node& n, const TRecordStore& store, const std::function<int(const QString&)>& fieldIndex,
              std::vector<Node*>& fields) {
    if (n.type == Node::Field) {
        n.col = fieldIndex(n.name);
        if (n.col < 0 || n.col >= store.columnCount())
            throw EDatabaseError(QStringLiteral("过滤条件错误：字段 '%1' 不存在").arg(shown(n.name)));
        fields.push_back(&n);
        return;
    }
    for (auto& k : n.kids)
        bindNode(*k, store, fieldIndex, fields);
    // Literals next to a field take the field's type.
    if (n.type == Node::Compare || n.type == Node::In) {
        const Node* field = nullptr;
        for (auto& k : n.kids)
            if (k->type == Node::Field) {
                field = k.get();
                break;
            }
        if (field)
            for (auto& k : n.kids)
                coerceLiteral(*k, store.cols[static_cast<size_t>(field->col)], field->name);
    }
    if (n.type == Node::Compare) {
        for (int side = 0; side < 2; ++side) {
            const Node& f = *n.kids[static_cast<size_t>(side)];
            const Node& l = *n.kids[static_cast<size_t>(1 - side)];
            if (f.type != Node::Field || l.type != Node::Literal || l.lit.k != Val::Num) continue;
            const TStoreColumn& c = store.cols[static_cast<size_t>(f.col)];
            if (c.kind != TStorageKind::Integer && c.kind != TStorageKind::Float &&
                c.kind != TStorageKind::DateTime)
                continue;
            n.fastCol = &c;
            n.fastValue = l.lit.n;
            if (side == 1) {
                switch (n.op) {
                case CmpOp::Lt:
                    n.op = CmpOp::Gt;
                    break;
                case CmpOp::Gt:
                    n.op = CmpOp::Lt;
                    break;
                case CmpOp::Le:
                    n.op = CmpOp::Ge;
                    break;
                case CmpOp::Ge:
                    n.op = CmpOp::Le;
                    break;
                default:
                    break;
                }
            }
            break;
        }
    }
    if (n.type == Node::Like && n.kids[1]->type == Node::Literal && n.kids[1]->lit.k == Val::Str) {
        const QString& p = n.kids[1]->lit.s;
        const bool lead = p.startsWith(QLatin1Char('%'));
        const bool trail = p.size() > (lead ? 1 : 0) && p.endsWith(QLatin1Char('%'));
        const QString core = p.mid(lead ? 1 : 0, p.size() - (lead ? 1 : 0) - (trail ? 1 : 0));
        if (!core.contains(QLatin1Char('%')) && !core.contains(QLatin1Char('_'))) {
            n.likeCore = core;
            n.likeShape = lead && trail ? Node::LikeShape::Contains
                          : lead        ? Node::LikeShape::Suffix
                          : trail       ? Node::LikeShape::Prefix
                                        : Node::LikeShape::Exact;
        }
    }
    if (n.type == Node::Truth) {
        const Node& k = *n.kids.front();
        const bool ok =
            (k.type == Node::Field && store.cols[static_cast<size_t>(k.col)].kind == TStorageKind::Boolean) ||
            (k.type == Node::Literal && k.lit.k == Val::Bool);
        if (!ok) {
            const QString what = k.type == Node::Field ? k.name : k.litSource;
            throw EDatabaseError(QStringLiteral("过滤条件错误：'%1' 后缺少比较运算符（第 %2 个字符处）")
                                     .arg(shown(what), QString::number(n.pos)));
        }
    }
}

void valueOf(const Node& n, const TRecordStore& s, qint64 r, Ref& v) {
    if (n.type == Node::Literal) {
        v.k = n.lit.k;
        v.n = n.lit.n;
        v.b = n.lit.b;
        v.s = &n.lit.s;
        return;
    }
    const TStoreColumn& c = s.cols[static_cast<size_t>(n.col)];
    if (c.isNull(r)) {
        v.k = Val::Null;
        return;
    }
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Integer:
        v.k = Val::Num;
        v.n = static_cast<double>(c.ints[i]);
        break;
    case TStorageKind::Boolean:
        v.k = Val::Bool;
        v.b = c.ints[i] != 0;
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        v.k = Val::Num;
        v.n = c.reals[i];
        break;
    case TStorageKind::Text:
        v.k = Val::Str;
        v.own = c.textAt(r);
        v.s = &v.own;
        break;
    case TStorageKind::Bytes:
        v.k = Val::Str;
        v.own = Gbk::decode(c.cells.view(r));
        v.s = &v.own;
        break;
    }
}

// -1 / 0 / 1, or 2 when the values cannot be compared (one is null).
int compareVals(const Ref& a, const Ref& b) {
    if (a.k == Val::Null || b.k == Val::Null) return 2;
    if (a.k == Val::Num && b.k == Val::Num) return a.n < b.n ? -1 : (a.n > b.n ? 1 : 0);
    if (a.k == Val::Str && b.k == Val::Str) {
        const int c = QString::compare(*a.s, *b.s, Qt::CaseSensitive);
        return c < 0 ? -1 : (c > 0 ? 1 : 0);
    }
    auto num = [](const Ref& v, double* out) {
        switch (v.k) {
        case Val::Num:
            *out = v.n;
            return true;
        case Val::Bool:
            *out = v.b ? 1 : 0;
            return true;
        case Val::Str: {
            bool ok = false;
            *out = v.s->trimmed().toDouble(&ok);
            return ok;
        }
        default:
            return false;
        }
    };
    double x = 0, y = 0;
    if (num(a, &x) && num(b, &y)) return x < y ? -1 : (x > y ? 1 : 0);
    // A text that is not a number against a number: compare as texts.
    const QString sa = a.k == Val::Str ? *a.s : formatFloat(a.k == Val::Num ? a.n : (a.b ? 1 : 0));
    const QString sb = b.k == Val::Str ? *b.s : formatFloat(b.k == Val::Num ? b.n : (b.b ? 1 : 0));
    const int c = QString::compare(sa, sb, Qt::CaseSensitive);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

// The text of an operand for LIKE; null when isNull is set.
const QString& textOf(const Node& n, const TRecordStore& s, qint64 r, bool* isNull, QString& tmp) {
    if (n.type == Node::Literal) {
        *isNull = n.lit.k == Val::Null;
        return n.lit.k == Val::Str ? n.lit.s : n.litSource;
    }
    const TStoreColumn& c = s.cols[static_cast<size_t>(n.col)];
    *isNull = c.isNull(r);
    tmp = cell::toText(c, r);
    return tmp;
}

bool eval(const Node& n, const TRecordStore& s, qint64 r) {
    switch (n.type) {
    case Node::Or:
        for (const auto& k : n.kids)
            if (eval(*k, s, r)) return true;
        return false;
    case Node::And:
        for (const auto& k : n.kids)
            if (!eval(*k, s, r)) return false;
        return true;
    case Node::Not:
        return !eval(*n.kids[0], s, r);
    case Node::Compare: {
        if (const TStoreColumn* c = n.fastCol) {
            if (c->isNull(r)) return false;
            const auto i = static_cast<size_t>(r);
            const double x = c->kind == TStorageKind::Integer ? static_cast<double>(c->ints[i]) : c->reals[i];
            const double y = n.fastValue;
            switch (n.op) {
            case CmpOp::Eq:
                return x == y;
            case CmpOp::Ne:
                return x != y;
            case CmpOp::Lt:
                return x < y;
            case CmpOp::Gt:
                return x > y;
            case CmpOp::Le:
                return x <= y;
            case CmpOp::Ge:
                return x >= y;
            }
            return false;
        }
        Ref a, b;
        valueOf(*n.kids[0], s, r, a);
        valueOf(*n.kids[1], s, r, b);
        const int c = compareVals(a, b);
        if (c == 2) return false;
        switch (n.op) {
        case CmpOp::Eq:
            return c == 0;
        case CmpOp::Ne:
            return c != 0;
        case CmpOp::Lt:
            return c < 0;
        case CmpOp::Gt:
            return c > 0;
        case CmpOp::Le:
            return c <= 0;
        case CmpOp::Ge:
            return c >= 0;
        }
        return false;
    }
    case Node::Like: {
        bool nullA = false, nullB = false;
        QString ta, tb;
        const QString& a = textOf(*n.kids[0], s, r, &nullA, ta);
        const QString& p = textOf(*n.kids[1], s, r, &nullB, tb);
        if (nullA || nullB) return false;
        bool m = false;
        switch (n.likeShape) {
        case Node::LikeShape::General:
            m = likeMatch(a, p);
            break;
        case Node::LikeShape::Exact:
            m = a == n.likeCore;
            break;
        case Node::LikeShape::Prefix:
            m = a.startsWith(n.likeCore);
            break;
        case Node::LikeShape::Suffix:
            m = a.endsWith(n.likeCore);
            break;
        case Node::LikeShape::Contains:
            m = a.contains(n.likeCore);
            break;
        }
        return m != n.negate;
    }
    case Node::IsNull: {
        Ref v;
        valueOf(*n.kids[0], s, r, v);
        return (v.k == Val::Null) != n.negate;
    }
    case Node::In: {
        Ref v;
        valueOf(*n.kids[0], s, r, v);
        if (v.k == Val::Null) return false;
        bool found = false;
        for (size_t i = 1; i < n.kids.size() && !found; ++i) {
            Ref w;
            valueOf(*n.kids[i], s, r, w);
            found = compareVals(v, w) == 0;
        }
        return found != n.negate;
    }
    case Node::Truth: {
        Ref v;
        valueOf(*n.kids[0], s, r, v);
        return v.k == Val::Bool && v.b;
    }
    case Node::Field:
    case Node::Literal:
        break;
    }
    return false;
}

} // namespace

TFilterExpr::TFilterExpr() = default;
TFilterExpr::~TFilterExpr() = default;

std::unique_ptr<TFilterExpr> TFilterExpr::Parse(const QString& text) {
    std::unique_ptr<TFilterExpr> e(new TFilterExpr());
    e->m_text = text;
    e->m_root = Parser(text).parse();
    return e;
}

void TFilterExpr::Bind(const TRecordStore& store, const std::function<int(const QString&)>& fieldIndex) {
    // Literals may have been converted by an earlier binding: parse afresh.
    m_root = Parser(m_text).parse();
    std::vector<Node*> fields;
    bindNode(*m_root, store, fieldIndex, fields);
}

bool TFilterExpr::Evaluate(const TRecordStore& store, qint64 record) const {
    return eval(*m_root, store, record);
}

} // namespace lnq
