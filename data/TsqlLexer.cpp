#include "data/TsqlLexer.h"

#include "data/TsqlDialect.h"

#include <QSet>

namespace lnq::tsql {

namespace {

bool identStart(QChar c) {
    return c.isLetter() || c == u'_' || c == u'#';
}

bool identPart(QChar c) {
    return c.isLetterOrNumber() || c == u'_' || c == u'#' || c == u'$' || c == u'@';
}

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

[[noreturn]] void fail(const QString& what, int pos) {
    throw ETsqlError(QStringLiteral("T-SQL syntax error at offset %1: %2").arg(pos).arg(what));
}

// Words that end an expression or a clause: they are never taken as an alias
// or a column name unless bracketed.
const QSet<QString>& reservedWords() {
    static const QSet<QString> words = [] {
        QSet<QString> s;
        for (const char* w :
             {"ADD",         "ALL",      "ALTER",      "AND",      "ANY",       "APPLY",     "AS",
              "ASC",         "BACKUP",   "BEGIN",      "BETWEEN",  "BREAK",     "BY",        "CASCADE",
              "CASE",        "CHECK",    "CHECKPOINT", "CLOSE",    "CLUSTERED", "COLLATE",   "COLUMN",
              "COMMIT",      "COMPUTE",  "CONSTRAINT", "CONTINUE", "CREATE",    "CROSS",     "CURSOR",
              "DATABASE",    "DBCC",     "DEALLOCATE", "DECLARE",  "DEFAULT",   "DELETE",    "DENY",
              "DESC",        "DISTINCT", "DROP",       "ELSE",     "END",       "ESCAPE",    "EXCEPT",
              "EXEC",        "EXECUTE",  "EXISTS",     "EXIT",     "FETCH",     "FOR",       "FOREIGN",
              "FROM",        "FULL",     "FUNCTION",   "GOTO",     "GRANT",     "GROUP",     "HAVING",
              "IDENTITY",    "IF",       "IN",         "INDEX",    "INNER",     "INSERT",    "INTERSECT",
              "INTO",        "IS",       "JOIN",       "KEY",      "KILL",      "LEFT",      "LIKE",
              "MERGE",       "NOT",      "NULL",       "OF",       "OFF",       "OFFSET",    "ON",
              "OPEN",        "OPTION",   "OR",         "ORDER",    "OUTER",     "OVER",      "PERCENT",
              "PIVOT",       "PRIMARY",  "PRINT",      "PROC",     "PROCEDURE", "RAISERROR", "REFERENCES",
              "RESTORE",     "RETURN",   "REVOKE",     "RIGHT",    "ROLLBACK",  "SAVE",      "SELECT",
              "SET",         "SOME",     "TABLE",      "THEN",     "TO",        "TOP",       "TRAN",
              "TRANSACTION", "TRIGGER",  "TRUNCATE",   "UNION",    "UNIQUE",    "UNPIVOT",   "UPDATE",
              "USE",         "VALUES",   "VIEW",       "WAITFOR",  "WHEN",      "WHERE",     "WHILE",
              "WITH"})
            s.insert(QString::fromLatin1(w));
        return s;
    }();
    return words;
}

} // namespace

QString asciiUpper(QStringView s) {
    QString out(s.size(), Qt::Uninitialized);
    QChar* d = out.data();
    for (qsizetype i = 0; i < s.size(); ++i) {
        const char16_t c = s[i].unicode();
        d[i] = QChar(c >= u'a' && c <= u'z' ? char16_t(c - 32) : c);
    }
    return out;
}

QString excerpt(QStringView s) {
    if (s.size() <= kExcerptChars) return s.toString();
    return s.left(kExcerptChars - 3).toString() + QStringLiteral("...");
}

std::vector<Token> tokenize(const QString& sql) {
    std::vector<Token> out;
    out.reserve(sql.size() / 4 + 4);
    const int n = int(sql.size());
    const QChar* s = sql.constData();
    int i = 0;
    bool lineHasToken = false;
    auto push = [&](Tok kind, int pos, QString text) -> Token& {
        Token t;
        t.kind = kind;
        t.pos = pos;
        t.text = std::move(text);
        out.push_back(std::move(t));
        lineHasToken = true;
        return out.back();
    };
    while (i < n) {
        const QChar c = s[i];
        if (c == u'\n') {
            lineHasToken = false;
            ++i;
            continue;
        }
        if (c.isSpace()) {
            ++i;
            continue;
        }
        // Comments.
        if (c == u'-' && i + 1 < n && s[i + 1] == u'-') {
            while (i < n && s[i] != u'\n')
                ++i;
            continue;
        }
        if (c == u'/' && i + 1 < n && s[i + 1] == u'*') {
            const int start = i;
            int depth = 0;
            while (i < n) {
                if (s[i] == u'/' && i + 1 < n && s[i + 1] == u'*') {
                    ++depth;
                    i += 2;
                } else if (s[i] == u'*' && i + 1 < n && s[i + 1] == u'/') {
                    --depth;
                    i += 2;
                    if (depth == 0) break;
                } else {
                    ++i;
                }
            }
            if (depth != 0) fail(QStringLiteral("unterminated comment"), start);
            continue;
        }
        const int start = i;
        // Strings, optionally N-prefixed.
        if (c == u'\'' || ((c == u'N' || c == u'n') && i + 1 < n && s[i + 1] == u'\'')) {
            const bool nPrefix = c != u'\'';
            if (nPrefix) ++i;
            ++i; // opening quote
            QString text;
            bool closed = false;
            while (i < n) {
                if (s[i] == u'\'') {
                    if (i + 1 < n && s[i + 1] == u'\'') {
                        text += u'\'';
                        i += 2;
                        continue;
                    }
                    ++i;
                    closed = true;
                    break;
                }
                text += s[i++];
            }
            if (!closed) fail(QStringLiteral("unterminated string literal"), start);
            push(Tok::String, start, std::move(text)).nPrefix = nPrefix;
            continue;
        }
        // Bracketed and double-quoted identifiers.
        if (c == u'[' || c == u'"') {
            const QChar close = c == u'[' ? u']' : u'"';
            ++i;
            QString text;
            bool closed = false;
            while (i < n) {
                if (s[i] == close) {
                    if (i + 1 < n && s[i + 1] == close) {
                        text += close;
                        i += 2;
                        continue;
                    }
                    ++i;
                    closed = true;
                    break;
                }
                text += s[i++];
            }
            if (!closed) fail(QStringLiteral("unterminated quoted identifier"), start);
            push(Tok::QIdent, start, std::move(text));
            continue;
        }
        // Binary literals.
        if (c == u'0' && i + 1 < n && (s[i + 1] == u'x' || s[i + 1] == u'X')) {
            i += 2;
            const int hexStart = i;
            while (i < n && (isDigit(s[i]) || (s[i].toLower() >= u'a' && s[i].toLower() <= u'f')))
                ++i;
            if (i < n && identPart(s[i])) fail(QStringLiteral("malformed binary literal"), start);
            push(Tok::Binary, start, QString(s + hexStart, i - hexStart));
            continue;
        }
        // Numbers.
        if (isDigit(c) || (c == u'.' && i + 1 < n && isDigit(s[i + 1]))) {
            bool isFloat = false;
            while (i < n && isDigit(s[i]))
                ++i;
            if (i < n && s[i] == u'.') {
                isFloat = true;
                ++i;
                while (i < n && isDigit(s[i]))
                    ++i;
            }
            if (i < n && (s[i] == u'e' || s[i] == u'E')) {
                int j = i + 1;
                if (j < n && (s[j] == u'+' || s[j] == u'-')) ++j;
                if (j < n && isDigit(s[j])) {
                    isFloat = true;
                    i = j;
                    while (i < n && isDigit(s[i]))
                        ++i;
                }
            }
            if (i < n && identStart(s[i])) fail(QStringLiteral("malformed number"), start);
            push(Tok::Number, start, QString(s + start, i - start)).isFloat = isFloat;
            continue;
        }
        // Variables.
        if (c == u'@') {
            ++i;
            if (i < n && s[i] == u'@') ++i;
            while (i < n && identPart(s[i]))
                ++i;
            if (i - start < 2 || (i - start == 2 && s[start + 1] == u'@'))
                fail(QStringLiteral("malformed variable name"), start);
            push(Tok::Variable, start, QString(s + start, i - start));
            continue;
        }
        // Identifiers and keywords, and the GO separator line.
        if (identStart(c)) {
            while (i < n && identPart(s[i]))
                ++i;
            QString text(s + start, i - start);
            QString up = asciiUpper(text);
            if (!lineHasToken && up == QLatin1String("GO")) {
                int j = i;
                while (j < n && s[j] != u'\n' && s[j].isSpace())
                    ++j;
                if (j >= n || s[j] == u'\n' || (s[j] == u'-' && j + 1 < n && s[j + 1] == u'-')) {
                    push(Tok::Go, start, std::move(text));
                    continue;
                }
            }
            Token& t = push(Tok::Ident, start, std::move(text));
            t.reserved = up.size() <= 16 && reservedWords().contains(up);
            t.up = std::move(up);
            continue;
        }
        // Operators.
        if (i + 1 < n) {
            const QChar d = s[i + 1];
            if ((c == u'<' && (d == u'>' || d == u'=')) || (c == u'>' && d == u'=') ||
                (c == u'!' && (d == u'=' || d == u'<' || d == u'>'))) {
                i += 2;
                push(Tok::Op, start, QString(s + start, 2));
                continue;
            }
        }
        static const QLatin1String single("(),.;+-*/%=<>&|^~");
        if (single.contains(c)) {
            ++i;
            push(Tok::Op, start, QString(c));
            continue;
        }
        fail(QStringLiteral("unexpected character '%1'").arg(c), start);
    }
    Token end;
    end.kind = Tok::End;
    end.pos = n;
    out.push_back(std::move(end));
    return out;
}

} // namespace lnq::tsql
