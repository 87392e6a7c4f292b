#pragma once
// The embedded database speaks the framework's SQL Server dialect: T-SQL text
// is tokenized, parsed and translated into SQLite SQL with SQL Server's
// meaning, and the functions SQLite lacks are registered on the connection.
// Anything outside the supported dialect raises ETsqlError naming the construct;
// nothing is passed through with a different meaning.

#include "util/Exceptions.h"

#include <QString>
#include <memory>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace lnq {

class ETsqlError : public EDatabaseError {
public:
    using EDatabaseError::EDatabaseError;
};

// A prepared query of one statement.
struct TsqlPrepared {
    sqlite3_stmt* stmt = nullptr;       // owned by the holder of TsqlPrepared (finalize)
    std::vector<QString> declaredTypes; // per result column: declared or inferred type ("" unknown)
    QString baseTable;                  // the table of a single-table select, "" otherwise
    ~TsqlPrepared();
    TsqlPrepared() = default;
    TsqlPrepared(TsqlPrepared&&) noexcept;
    TsqlPrepared& operator=(TsqlPrepared&&) noexcept;
    TsqlPrepared(const TsqlPrepared&) = delete;
    TsqlPrepared& operator=(const TsqlPrepared&) = delete;
};

class TsqlDialect {
public:
    // Registers functions and collations on db (not owned; must outlive this).
    explicit TsqlDialect(sqlite3* db);
    ~TsqlDialect();

    // Exactly one statement that may return rows; a second statement after
    // ";" raises ETsqlError. Translations are cached per SQL text.
    TsqlPrepared PrepareQuery(const QString& tsql);
    // A batch, executed statement by statement (IF EXISTS ... / DROP / CREATE /
    // INSERT / UPDATE / DELETE ...), rows discarded.
    void ExecuteBatch(const QString& tsql);
    // The SQLite text of one statement (for tests and diagnostics).
    QString Translate(const QString& tsql);

    // Last identity value (@@IDENTITY / SCOPE_IDENTITY()).
    qint64 LastIdentity() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace lnq
