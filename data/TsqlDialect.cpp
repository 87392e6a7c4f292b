#include "data/TsqlDialect.h"

#include "data/TsqlFunctions.h"
#include "data/TsqlLexer.h"
#include "data/TsqlParser.h"
#include "data/TsqlTranslator.h"

#include <QHash>
#include <list>
#include <sqlite3.h>

namespace lnq {

using namespace tsql;

TsqlPrepared::~TsqlPrepared() {
    sqlite3_finalize(stmt);
}

TsqlPrepared::TsqlPrepared(TsqlPrepared&& o) noexcept
    : stmt(o.stmt), declaredTypes(std::move(o.declaredTypes)), baseTable(std::move(o.baseTable)),
      rowIdColumn(o.rowIdColumn) {
    o.stmt = nullptr;
}

TsqlPrepared& TsqlPrepared::operator=(TsqlPrepared&& o) noexcept {
    if (this != &o) {
        sqlite3_finalize(stmt);
        stmt = o.stmt;
        o.stmt = nullptr;
        declaredTypes = std::move(o.declaredTypes);
        baseTable = std::move(o.baseTable);
        rowIdColumn = o.rowIdColumn;
    }
    return *this;
}

namespace {

// The translation cache holds at most this many entries and this many
// characters of SQL (keys and translations together); a text larger than a
// quarter of that is translated on every use instead of crowding out the rest.
constexpr size_t kCacheCapacity = 512;
constexpr qsizetype kCacheChars = 4 * 1024 * 1024;

// A finished translation of one SQL text, shared by cache and callers.
struct Entry {
    Translation translation;
    qsizetype chars = 0; // its share of kCacheChars
};

qsizetype sizeOf(const QString& key, const Translation& t) {
    qsizetype n = key.size();
    for (const QString& s : t.statements)
        n += s.size();
    for (const QString& c : t.columnTypes)
        n += c.size();
    return n;
}

// A SQL text and whether its translation carries the rowid.
using Key = std::pair<QString, bool>;

} // namespace

struct TsqlDialect::Private {
    sqlite3* db;
    Schema schema;
    sqlite3_stmt* schemaVersion = nullptr;
    int knownSchemaVersion = -1;
    // LRU: most recent at the front.
    std::list<std::pair<Key, std::shared_ptr<const Entry>>> lru;
    QHash<Key, decltype(lru)::iterator> index;
    qsizetype cachedChars = 0;

    explicit Private(sqlite3* d) : db(d), schema(d) {}
    ~Private() { sqlite3_finalize(schemaVersion); }

    [[noreturn]] void sqliteError(const QString& sql) const {
        throw EDatabaseError(DatabaseErrorText(db) + QStringLiteral(" [SQL: ") + excerpt(sql) + u']');
    }

    void clearCaches() {
        schema.invalidate();
        lru.clear();
        index.clear();
        cachedChars = 0;
    }

    // Translations depend on column types: a schema change anywhere (also by
    // another connection) drops them.
    void checkSchemaVersion() {
        if (!schemaVersion && sqlite3_prepare_v3(db, "PRAGMA schema_version", -1, SQLITE_PREPARE_PERSISTENT,
                                                 &schemaVersion, nullptr) != SQLITE_OK)
            sqliteError(QStringLiteral("PRAGMA schema_version"));
        int v = -1;
        if (sqlite3_step(schemaVersion) == SQLITE_ROW) v = sqlite3_column_int(schemaVersion, 0);
        sqlite3_reset(schemaVersion);
        if (v != knownSchemaVersion) {
            clearCaches();
            knownSchemaVersion = v;
        }
    }

    std::shared_ptr<const Entry> cached(const Key& sql) {
        auto it = index.find(sql);
        if (it == index.end()) return nullptr;
        lru.splice(lru.begin(), lru, *it);
        return (*it)->second;
    }

    void remember(const Key& sql, std::shared_ptr<Entry> e) {
        e->chars = sizeOf(sql.first, e->translation);
        if (e->chars > kCacheChars / 4) return;
        cachedChars += e->chars;
        lru.emplace_front(sql, std::move(e));
        index.insert(sql, lru.begin());
        while (lru.size() > kCacheCapacity || cachedChars > kCacheChars) {
            cachedChars -= lru.back().second->chars;
            index.remove(lru.back().first);
            lru.pop_back();
        }
    }

    static std::vector<StmtPtr> parseOne(const QString& tsql) {
        std::vector<StmtPtr> stmts = parseBatch(tsql);
        if (stmts.empty()) throw ETsqlError(QStringLiteral("no SQL statement to run"));
        if (stmts.size() > 1)
            throw ETsqlError(
                QStringLiteral("only one statement may be run here; a second statement begins at offset "
                               "%1 (stacked statements are refused)")
                    .arg(stmts[1]->pos));
        if (stmts[0]->kind == SK::If || stmts[0]->kind == SK::Block)
            throw ETsqlError(QStringLiteral("IF and BEGIN...END blocks run only as a batch"));
        return stmts;
    }

    std::shared_ptr<const Entry> translateOne(const QString& tsql, bool withRowId = false) {
        checkSchemaVersion();
        const Key key(tsql, withRowId);
        if (auto e = cached(key)) return e;
        std::vector<StmtPtr> stmts = parseOne(tsql);
        auto e = std::make_shared<Entry>();
        e->translation = translateStatement(*stmts[0], schema, withRowId);
        // DDL changes the schema version once run; caching it would only be dropped again.
        if (!e->translation.changesSchema) remember(key, e);
        return e;
    }

    void run(const QString& sql) {
        const QByteArray utf8 = sql.toUtf8();
        const char* tail = utf8.constData();
        const char* end = tail + utf8.size();
        while (tail < end) {
            sqlite3_stmt* st = nullptr;
            if (sqlite3_prepare_v2(db, tail, int(end - tail), &st, &tail) != SQLITE_OK) sqliteError(sql);
            if (!st) break; // trailing blanks
            int rc;
            while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
            }
            if (rc != SQLITE_DONE) {
                const QString msg = DatabaseErrorText(db);
                sqlite3_finalize(st);
                throw EDatabaseError(msg + QStringLiteral(" [SQL: ") + excerpt(sql) + u']');
            }
            sqlite3_finalize(st);
        }
    }

    bool evaluate(const QString& sql) {
        sqlite3_stmt* st = nullptr;
        const QByteArray utf8 = sql.toUtf8();
        if (sqlite3_prepare_v2(db, utf8.constData(), int(utf8.size()), &st, nullptr) != SQLITE_OK)
            sqliteError(sql);
        const int rc = sqlite3_step(st);
        const bool result = rc == SQLITE_ROW && sqlite3_column_int(st, 0) != 0;
        if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
            const QString msg = DatabaseErrorText(db);
            sqlite3_finalize(st);
            throw EDatabaseError(msg + QStringLiteral(" [SQL: ") + excerpt(sql) + u']');
        }
        sqlite3_finalize(st);
        return result;
    }

    // Statements are translated just before they run, so that a table
    // created earlier in the batch is known to the later statements.
    void execute(const Stmt& s) {
        switch (s.kind) {
        case SK::If:
            checkSchemaVersion();
            if (evaluate(translateCondition(*s.cond, schema)))
                execute(*s.thenStmt);
            else if (s.elseStmt)
                execute(*s.elseStmt);
            return;
        case SK::Block:
            for (const StmtPtr& b : s.body)
                execute(*b);
            return;
        default:
            break;
        }
        checkSchemaVersion();
        const Translation t = translateStatement(s, schema);
        for (const QString& sql : t.statements)
            run(sql);
        if (t.changesSchema) clearCaches();
    }
};

QString DatabaseErrorText(sqlite3* db) {
    const QString m = QString::fromUtf8(sqlite3_errmsg(db));
    if (m == QLatin1String("integer overflow"))
        return QStringLiteral("Arithmetic overflow error converting expression to data type bigint.");
    return m.size() > 3 * kExcerptChars ? m.left(3 * kExcerptChars - 3) + QStringLiteral("...") : m;
}

TsqlDialect::TsqlDialect(sqlite3* db) : d(std::make_unique<Private>(db)) {
    if (!db) throw ETsqlError(QStringLiteral("no database connection"));
    // Names are emitted in double quotes: a misspelt one must be an error,
    // never SQLite's fallback to a string literal.
    sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    // SQLite's join Bloom filters hash a text's bytes, so texts that the
    // collation calls equal ('Y ' and 'y') would miss each other in a join:
    // the filters (and their pull-down) are switched off on this connection.
    constexpr unsigned kBloomFilter = 0x00080000, kBloomPulldown = 0x00100000;
    sqlite3_test_control(SQLITE_TESTCTRL_OPTIMIZATIONS, db, kBloomFilter | kBloomPulldown);
    registerFunctions(db);
}

TsqlDialect::~TsqlDialect() = default;

TsqlPrepared TsqlDialect::PrepareQuery(const QString& tsql, bool withRowId) {
    const auto entry = d->translateOne(tsql, withRowId);
    const Translation& t = entry->translation;
    if (t.statements.size() != 1)
        throw ETsqlError(t.statements.isEmpty()
                             ? QStringLiteral("the statement has nothing to run as a query")
                             : QStringLiteral("the statement needs several steps: run it as a batch"));
    TsqlPrepared p;
    const QString& sql = t.statements[0];
    const QByteArray utf8 = sql.toUtf8();
    if (sqlite3_prepare_v2(d->db, utf8.constData(), int(utf8.size()), &p.stmt, nullptr) != SQLITE_OK)
        d->sqliteError(sql);
    const int n = sqlite3_column_count(p.stmt);
    p.declaredTypes.reserve(n);
    const bool useOwn = int(t.columnTypes.size()) == n;
    for (int i = 0; i < n; ++i) {
        QString type = useOwn ? t.columnTypes[size_t(i)] : QString();
        if (type.isEmpty()) {
            if (const char* decl = sqlite3_column_decltype(p.stmt, i)) type = QString::fromUtf8(decl);
        }
        p.declaredTypes.push_back(type);
    }
    p.baseTable = t.baseTable;
    if (t.rowIdAppended) p.rowIdColumn = n - 1;
    return p;
}

void TsqlDialect::ExecuteBatch(const QString& tsql) {
    // A batch of one plain statement reuses the cached translation.
    d->checkSchemaVersion();
    if (auto e = d->cached({tsql, false})) {
        for (const QString& sql : e->translation.statements)
            d->run(sql);
        return;
    }
    std::vector<StmtPtr> stmts = parseBatch(tsql);
    if (stmts.size() == 1 && stmts[0]->kind != SK::If && stmts[0]->kind != SK::Block) {
        auto e = std::make_shared<Entry>();
        e->translation = translateStatement(*stmts[0], d->schema);
        for (const QString& sql : e->translation.statements)
            d->run(sql);
        if (e->translation.changesSchema)
            d->clearCaches();
        else
            d->remember({tsql, false}, std::move(e));
        return;
    }
    for (const StmtPtr& s : stmts)
        d->execute(*s);
}

QString TsqlDialect::Translate(const QString& tsql) {
    const auto entry = d->translateOne(tsql);
    const QStringList& st = entry->translation.statements;
    return st.size() == 1 ? st.first() : st.join(QStringLiteral(";\n"));
}

QString TsqlDialect::RowIdName(const QString& table) {
    d->checkSchemaVersion();
    return d->schema.table(table)->rowIdName;
}

std::pair<int, qsizetype> TsqlDialect::CacheUse() const {
    return {int(d->lru.size()), d->cachedChars};
}

qint64 TsqlDialect::LastIdentity() const {
    return sqlite3_last_insert_rowid(d->db);
}

} // namespace lnq
