// The T-SQL translator: any text either raises ETsqlError or translates into
// SQLite text that
//  - grows at most linearly with the input,
//  - holds no comment and no unterminated quote (two tokens of the output
//    never merge into a comment start, a quote or a bracket),
//  - keeps every string literal of the input that could end a literal or
//    start a comment (quotes, "--", "/*", ";") inside a quoted token (a
//    literal, or a quoted name for a literal used as a column alias), unless
//    the literal was folded away and its text is nowhere in the output,
//  - is one statement, as the input was,
// (an error message too stays linear in the input)
// and then runs on an in-memory database (one connection for the whole run,
// each input in a transaction that is rolled back, no attached files, a
// bounded number of steps).

#include "FuzzSupport.h"
#include "data/TsqlDialect.h"
#include "data/TsqlLexer.h"
#include "util/Exceptions.h"

#include <sqlite3.h>

namespace {

constexpr int kMaxSteps = 200000; // virtual machine steps per input (progress handler ticks of 1000)

struct Database {
    sqlite3* db = nullptr;
    std::unique_ptr<lnq::TsqlDialect> dialect;
    int ticks = 0;

    Database() {
        sqlite3_open(":memory:", &db);
        dialect = std::make_unique<lnq::TsqlDialect>(db);
        // Inputs may not reach files.
        sqlite3_set_authorizer(
            db,
            [](void*, int action, const char*, const char*, const char*, const char*) {
                return action == SQLITE_ATTACH || action == SQLITE_DETACH ? SQLITE_DENY : SQLITE_OK;
            },
            nullptr);
        sqlite3_progress_handler(
            db, 1000,
            [](void* self) { return ++static_cast<Database*>(self)->ticks > kMaxSteps / 1000 ? 1 : 0; },
            this);
        fixture();
    }
    ~Database() {
        dialect.reset();
        sqlite3_close(db);
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void fixture() {
        try {
            dialect->ExecuteBatch(QStringLiteral(
                "CREATE TABLE Goods (ID INT IDENTITY(1,1) PRIMARY KEY, vName NVARCHAR(50), nQty INT, "
                "mPrice MONEY, dDate DATETIME, bFlag BIT, vNote VARCHAR(200));"
                "INSERT INTO Goods (vName, nQty, mPrice, dDate, bFlag, vNote) VALUES "
                "(N'螺丝', 5, 2.5, '2024-01-05 10:00:00', 1, 'a--b'), ('nut ', 12, 1.2, '2024-02-01', 0, "
                "NULL), "
                "(N'垫圈', NULL, 7.75, NULL, 1, '/*x*/')"));
        } catch (const lnq::Exception& e) {
            std::fprintf(stderr, "fixture: %s\n", qPrintable(e.Message()));
            std::abort();
        }
    }
};

std::unique_ptr<Database>& databaseRef() {
    static std::unique_ptr<Database> d;
    return d;
}

Database& database() {
    auto& d = databaseRef();
    if (!d) d = std::make_unique<Database>();
    return *d;
}

// Scans SQLite text: false when a comment starts outside a quoted token or
// a quoted token does not end. Collects the contents of the quoted tokens
// (a text literal may become a quoted name: SELECT x 'alias').
bool scan(const QString& sql, QStringList& literals) {
    const qsizetype n = sql.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = sql[i];
        if (c == u'-' && i + 1 < n && sql[i + 1] == u'-') return false;
        if (c == u'/' && i + 1 < n && sql[i + 1] == u'*') return false;
        QChar close;
        if (c == u'\'' || c == u'"' || c == u'`')
            close = c;
        else if (c == u'[')
            close = u']';
        else
            continue;
        QString content;
        qsizetype j = i + 1;
        for (;; ++j) {
            if (j >= n) return false;
            if (sql[j] == close) {
                if (close != u']' && j + 1 < n && sql[j + 1] == close) {
                    content += close;
                    ++j;
                    continue;
                }
                break;
            }
            content += sql[j];
        }
        literals << content;
        i = j;
    }
    return true;
}

bool dangerous(const QString& text) {
    return text.contains(u'\'') || text.contains(QLatin1String("--")) || text.contains(QLatin1String("/*")) ||
           text.contains(u';');
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "SELECT TOP 1 vName + 'x' FROM Goods WHERE nQty > 1")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    Database& d = database();
    const QString tsql = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));

    QString out;
    try {
        out = d.dialect->Translate(tsql);
    } catch (const lnq::Exception& e) {
        LNQ_FUZZ_CHECK(e.Message().size() <= 2 * tsql.size() + 1024, "error messages linear in the input");
        return 0;
    }
    LNQ_FUZZ_CHECK(out.size() <= 16 * tsql.size() + 1024, "output linear in the input");
    QStringList outLiterals;
    const bool clean = scan(out, outLiterals);
    if (!clean) std::fprintf(stderr, "output: %s\n", qPrintable(out.left(500)));
    LNQ_FUZZ_CHECK(clean, "no comment and no open quote in the output");

    std::vector<lnq::tsql::Token> tokens;
    try {
        tokens = lnq::tsql::tokenize(tsql);
    } catch (const lnq::Exception&) {
    }
    for (const lnq::tsql::Token& t : tokens) {
        if (t.kind != lnq::tsql::Tok::String) continue;
        // A zero character is spliced between quoted pieces: each piece stays quoted.
        for (const QString& piece : t.text.split(QChar(0))) {
            if (!dangerous(piece)) continue;
            // Quoted, or gone altogether: an operand of "+ NULL" is folded
            // away with its literal, which leaves no text of it behind.
            bool kept = !out.contains(piece);
            for (const QString& l : outLiterals)
                kept = kept || l.contains(piece);
            if (!kept)
                std::fprintf(stderr, "literal: %s\noutput: %s\n", qPrintable(piece.left(200)),
                             qPrintable(out.left(500)));
            LNQ_FUZZ_CHECK(kept, "a literal's text stays quoted");
        }
    }

    // One statement in, one statement out.
    const QByteArray utf8 = out.toUtf8();
    sqlite3_stmt* stmt = nullptr;
    const char* tail = nullptr;
    if (sqlite3_prepare_v2(d.db, utf8.constData(), int(utf8.size()), &stmt, &tail) == SQLITE_OK && stmt) {
        sqlite3_finalize(stmt);
        while (tail && *tail &&
               (*tail == ' ' || *tail == ';' || *tail == '\n' || *tail == '\r' || *tail == '\t'))
            ++tail;
        LNQ_FUZZ_CHECK(tail == nullptr || *tail == '\0', "the translation is one statement");
    }

    // Run it; whatever it changes is rolled back.
    d.ticks = 0;
    sqlite3_exec(d.db, "BEGIN", nullptr, nullptr, nullptr);
    try {
        d.dialect->ExecuteBatch(tsql);
    } catch (const lnq::Exception&) {
    }
    if (!sqlite3_get_autocommit(d.db))
        sqlite3_exec(d.db, "ROLLBACK", nullptr, nullptr, nullptr);
    else
        databaseRef().reset(); // the input ended the transaction itself: start afresh
    return 0;
}
