#pragma once
// Tokenizer of the SQL Server dialect: identifiers (plain, [bracketed],
// "quoted"), N'..' and '..' strings, numbers, 0x.. binaries, @variables,
// operators, -- and nested /* */ comments, and GO separator lines.

#include <QString>
#include <cstddef>
#include <vector>

namespace lnq::tsql {

enum class Tok : unsigned char {
    Ident,    // plain identifier (keywords included); text as written, up = upper case
    QIdent,   // [bracketed] or "quoted" identifier, text unquoted
    String,   // text unescaped; nPrefix when written N'..'
    Number,   // text as written; isFloat when it has a point or an exponent
    Binary,   // 0x.. ; text holds the hex digits
    Variable, // @name or @@name, text with the @ signs
    Op,       // punctuation and operators: ( ) , . ; + - * / % = < > <= >= <> != !< !> & | ^ ~
    Go,       // a line holding only GO
    End,
};

struct Token {
    Tok kind = Tok::End;
    bool nPrefix = false;
    bool isFloat = false;
    bool reserved = false; // Ident that is a reserved word (never an alias or a bare column name)
    int pos = 0;           // offset in the source text
    QString text;          // see Tok
    QString up;            // upper-cased text for Ident (keyword tests)
    // Literal arguments: their length is known at compile time.
    template <size_t N> bool isOp(const char (&op)[N]) const {
        return kind == Tok::Op && text == QLatin1String(op, qsizetype(N - 1));
    }
    template <size_t N> bool isKw(const char (&kw)[N]) const {
        return kind == Tok::Ident && up == QLatin1String(kw, qsizetype(N - 1));
    }
};

// ASCII letters upper-cased, everything else kept (keywords and function
// names are ASCII; Unicode case mapping is far slower and not needed there).
QString asciiUpper(QStringView s);

// A piece of input quoted in an error message: at most kExcerptChars
// characters, "..." marking a cut, so that a hostile text of megabytes never
// travels through the error path.
inline constexpr qsizetype kExcerptChars = 100;
QString excerpt(QStringView s);

// Splits the text into tokens; the last token is End. Raises ETsqlError on an
// unterminated string, identifier or comment and on a character outside the
// dialect.
std::vector<Token> tokenize(const QString& sql);

} // namespace lnq::tsql
