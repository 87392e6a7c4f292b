// Text is assembled with Qt's string builder: one allocation per concatenation chain.
#define QT_USE_QSTRINGBUILDER

#include "data/TsqlTranslator.h"

#include "data/Collation.h"

#include "data/TsqlDialect.h"
#include "data/TsqlFunctions.h"
#include "data/TsqlLexer.h"
#include "data/TsqlParser.h"

#include <algorithm>
#include <sqlite3.h>

namespace lnq::tsql {

// ====================================================================== types

VT typeOfDeclared(const QString& declared) {
    const QString d = asciiUpper(declared);
    if (d.isEmpty()) return VT::Unknown;
    if (d.contains(QLatin1String("CHAR")) || d.contains(QLatin1String("TEXT")) ||
        d.contains(QLatin1String("CLOB")) || d.startsWith(QLatin1String("SYSNAME")) ||
        d.startsWith(QLatin1String("XML")) || d.startsWith(QLatin1String("UNIQUEIDENTIFIER")))
        return VT::Text;
    if (d.startsWith(QLatin1String("DATE")) || d.startsWith(QLatin1String("SMALLDATETIME")) ||
        d.startsWith(QLatin1String("TIMESTAMP")))
        return VT::DateTime;
    if (d.contains(QLatin1String("INT")) || d.startsWith(QLatin1String("BIT")) ||
        d.startsWith(QLatin1String("BOOL")))
        return VT::Int;
    if (d.startsWith(QLatin1String("FLOAT")) || d.startsWith(QLatin1String("REAL")) ||
        d.startsWith(QLatin1String("DOUBLE")) || d.startsWith(QLatin1String("DECIMAL")) ||
        d.startsWith(QLatin1String("NUMERIC")) || d.contains(QLatin1String("MONEY")))
        return VT::Float;
    if (d.contains(QLatin1String("BINARY")) || d.startsWith(QLatin1String("IMAGE")) ||
        d.startsWith(QLatin1String("BLOB")))
        return VT::Blob;
    return VT::Unknown;
}

QString quoteIdent(const QString& name) {
    if (!name.contains(u'"')) return u'"' + name + u'"';
    QString s = name;
    s.replace(u'"', QLatin1String("\"\""));
    return u'"' + s + u'"';
}

QString quoteString(const QString& text) {
    // SQLite stops reading a statement at a zero character, so one inside a
    // literal is spliced in by char(0) and the literal stays whole.
    if (text.contains(QChar(0))) {
        QString out = QStringLiteral("(");
        const QStringList pieces = text.split(QChar(0));
        for (qsizetype i = 0; i < pieces.size(); ++i) {
            if (i) out += QStringLiteral(" || char(0) || ");
            out += quoteString(pieces[i]);
        }
        return out + u')';
    }
    if (!text.contains(u'\'')) return u'\'' + text + u'\'';
    QString s = text;
    s.replace(u'\'', QLatin1String("''"));
    return u'\'' + s + u'\'';
}

// ====================================================================== schema

Schema::Schema(sqlite3* db) : m_db(db) {}

Schema::~Schema() {
    sqlite3_finalize(m_master);
    sqlite3_finalize(m_columns);
}

void Schema::invalidate() {
    m_cache.clear();
    m_last.reset();
    m_lastName.clear();
}

namespace {
QString columnText(sqlite3_stmt* st, int i) {
    const void* p = sqlite3_column_text16(st, i);
    if (!p) return {};
    return QString(static_cast<const QChar*>(p), sqlite3_column_bytes16(st, i) / 2);
}
} // namespace

TableInfoPtr Schema::table(const QString& name) {
    // Statements mostly name one table, several times over.
    if (m_last && name == m_lastName) return m_last;
    const QString key = name.toLower();
    auto it = m_cache.find(key);
    if (it != m_cache.end()) {
        m_lastName = name;
        m_last = *it;
        return m_last;
    }
    TableInfo info;
    std::vector<ColInfo> cols;
    if (!m_master) {
        if (sqlite3_prepare_v3(m_db,
                               "SELECT name, sql, type = 'table' FROM sqlite_master "
                               "WHERE type IN ('table','view') AND name = ?1 COLLATE NOCASE",
                               -1, SQLITE_PREPARE_PERSISTENT, &m_master, nullptr) != SQLITE_OK ||
            sqlite3_prepare_v3(m_db, "SELECT name, type, pk FROM pragma_table_info(?1)", -1,
                               SQLITE_PREPARE_PERSISTENT, &m_columns, nullptr) != SQLITE_OK) {
            const QString msg = QString::fromUtf8(sqlite3_errmsg(m_db));
            sqlite3_finalize(m_master);
            m_master = nullptr;
            throw EDatabaseError(QStringLiteral("cannot read the database schema: ") + msg);
        }
    }
    sqlite3_reset(m_master);
    sqlite3_bind_text16(m_master, 1, name.utf16(), int(name.size() * 2), SQLITE_TRANSIENT);
    QString ddl;
    bool isTable = false;
    if (sqlite3_step(m_master) == SQLITE_ROW) {
        info.exists = true;
        info.name = columnText(m_master, 0);
        ddl = columnText(m_master, 1);
        isTable = sqlite3_column_int(m_master, 2) != 0;
    }
    sqlite3_reset(m_master);
    if (info.exists) {
        const bool autoincrement = ddl.contains(QLatin1String("AUTOINCREMENT"), Qt::CaseInsensitive);
        sqlite3_reset(m_columns);
        sqlite3_bind_text16(m_columns, 1, info.name.utf16(), int(info.name.size() * 2), SQLITE_TRANSIENT);
        int pkCount = 0;
        while (sqlite3_step(m_columns) == SQLITE_ROW) {
            ColInfo c;
            c.name = columnText(m_columns, 0);
            c.decl = columnText(m_columns, 1);
            c.type = typeOfDeclared(c.decl);
            if (sqlite3_column_int(m_columns, 2) > 0) {
                ++pkCount;
                info.key << c.name;
                c.identity =
                    autoincrement && c.decl.compare(QLatin1String("INTEGER"), Qt::CaseInsensitive) == 0;
            }
            cols.push_back(std::move(c));
        }
        sqlite3_reset(m_columns);
        for (ColInfo& c : cols) {
            if (c.identity && pkCount == 1) {
                // The rowid key of a table made from an IDENTITY column.
                c.decl = QStringLiteral("INT IDENTITY");
                info.hasIdentity = true;
            } else {
                c.identity = false;
            }
        }
        // SQLite answers for the rowid under any of its names no column takes,
        // and only for a table that has one (not WITHOUT ROWID).
        for (const char* name : {"rowid", "_rowid_", "oid"}) {
            const QLatin1String n(name);
            if (std::any_of(cols.begin(), cols.end(),
                            [&](const ColInfo& c) { return c.name.compare(n, Qt::CaseInsensitive) == 0; }))
                continue;
            if (isTable &&
                sqlite3_table_column_metadata(m_db, "main", info.name.toUtf8().constData(), name, nullptr,
                                              nullptr, nullptr, nullptr, nullptr) == SQLITE_OK)
                info.rowIdName = n;
            break;
        }
    }
    info.cols = std::make_shared<const std::vector<ColInfo>>(std::move(cols));
    auto ptr = std::make_shared<const TableInfo>(std::move(info));
    m_cache.insert(key, ptr);
    m_lastName = name;
    m_last = ptr;
    return ptr;
}

// ====================================================================== translator

namespace {

[[noreturn]] void unsupported(const QString& what) {
    throw ETsqlError(QStringLiteral("unsupported T-SQL construct: ") + excerpt(what));
}

[[noreturn]] void fail(const QString& msg) {
    throw ETsqlError(msg);
}

// Every text comparison and ordering uses the framework's one collation.
const QString kNocase = QStringLiteral(" COLLATE ") + QLatin1String(Collation::kName);

// Length limits of the character and binary types, checked before anything is
// sized from them.
constexpr int kMaxBytesLength = 8000;
constexpr int kMaxUnicodeLength = 4000;
constexpr int kMaxDecimalPrecision = 38;

struct Val {
    Val() = default;
    Val(QString s, VT t, QString d, const Expr* n)
        : sql(std::move(s)), type(t), decl(std::move(d)), node(n) {}

    QString sql; // self-delimiting SQLite text (parenthesised when composite)
    VT type = VT::Unknown;
    QString decl;
    const Expr* node = nullptr;
    // An arithmetic or concatenation chain also keeps its text without the
    // outer parentheses, so that "a + b + c" does not nest one level per term
    // (SQLite's parser stack is shallow).
    QString bare;
    int prec = 0; // SQLite precedence of bare's top operator: 5 & |, 6 + -, 7 * / %, 8 ||
    bool strLit() const { return node && node->kind == EK::String; }
    bool nullLit() const { return node && node->kind == EK::Null; }
};

// Operand text inside a chain of precedence p.
const QString& chainOperand(const Val& v, int p, bool left) {
    if (v.prec != 0 && (left ? v.prec >= p : v.prec > p)) return v.bare;
    return v.sql;
}

Val chain(const Val& a, const QString& op, int p, const Val& b, VT type, const QString& decl) {
    Val r;
    r.bare = chainOperand(a, p, true) + u' ' + op + u' ' + chainOperand(b, p, false);
    // SQLite turns an integer overflow into a real and lets a real overflow
    // to infinity; the server raises an error for both. The check wraps the
    // whole chain once: a real inside an integer chain can only come from an
    // overflow, and it stays a real to the end of the chain.
    if (p >= 6 && p <= 7 && type == VT::Int)
        r.sql = QStringLiteral("lnq_chkint(") + r.bare + u')';
    else if (p >= 6 && p <= 7 && type == VT::Float)
        r.sql = QStringLiteral("lnq_chkfloat(") + r.bare + u')';
    else
        r.sql = u'(' + r.bare + u')';
    r.type = type;
    r.decl = decl;
    r.prec = p;
    return r;
}

bool isNum(VT t) {
    return t == VT::Int || t == VT::Float;
}
bool textish(VT t) {
    return t == VT::Text || t == VT::Unknown;
}

ColumnList emptyColumns() {
    static const ColumnList none = std::make_shared<const std::vector<ColInfo>>();
    return none;
}

ColumnList columns(std::vector<ColInfo> cols) {
    return std::make_shared<const std::vector<ColInfo>>(std::move(cols));
}

struct OutCol {
    QString name;
    QString decl;
    VT type = VT::Unknown;
};

struct Source {
    QString key;   // alias or table name
    QString table; // real table name ("" for derived tables)
    ColumnList cols = emptyColumns();
    bool known = false;
};

struct Scope {
    Scope* parent = nullptr;
    std::vector<Source> sources;
    const std::vector<OutCol>* outputs = nullptr; // ORDER BY may name output columns
};

struct CteDef {
    QString name;
    ColumnList cols;
};

QString defaultDecl(VT t) {
    switch (t) {
    case VT::Int:
        return QStringLiteral("INT");
    case VT::Float:
        return QStringLiteral("FLOAT");
    case VT::Text:
        return QStringLiteral("NVARCHAR");
    case VT::DateTime:
        return QStringLiteral("DATETIME");
    case VT::Blob:
        return QStringLiteral("IMAGE");
    default:
        return {};
    }
}

// Scale of a DECIMAL(p,s) / NUMERIC(p,s) / MONEY declaration, -1 when none.
int declScale(const QString& decl) {
    const QString d = asciiUpper(decl);
    if (d.contains(QLatin1String("MONEY"))) return 2;
    if (!d.startsWith(QLatin1String("DECIMAL")) && !d.startsWith(QLatin1String("NUMERIC"))) return -1;
    const qsizetype comma = d.indexOf(u',');
    if (comma < 0) return 0;
    bool ok = false;
    const int s = d.mid(comma + 1).remove(u')').trimmed().toInt(&ok);
    // A declaration read from a database file is not trusted either.
    return ok ? std::clamp(s, 0, kMaxDecimalPrecision) : 0;
}

// The length, precision or scale arguments of a declared type, checked
// against the type's limits: anything sized from them stays bounded.
// Returns the length of a character or binary type (0 for MAX / none).
int checkedTypeSize(const TypeSpec& t) {
    const QString& n = t.name;
    if (t.args.isEmpty() || t.args == QLatin1String("MAX")) return 0;
    const QStringList parts = t.args.split(u',');
    std::vector<qint64> v;
    for (const QString& a : parts) {
        bool ok = false;
        const qint64 x = a.toLongLong(&ok);
        if (!ok) fail(QStringLiteral("Incorrect type length: ") + n + u'(' + excerpt(t.args) + u')');
        v.push_back(x);
    }
    auto tooLarge = [&](qint64 size, int limit) {
        fail(QStringLiteral("The size (") + QString::number(size) + QStringLiteral(") given to the type '") +
             n.toLower() + QStringLiteral("' exceeds the maximum allowed for any data type (") +
             QString::number(limit) + QStringLiteral(")."));
    };
    // A length or precision of 0 (or less) is refused before any size check.
    const auto requirePositive = [&] {
        if (v[0] < 1) fail(QStringLiteral("Length or precision 0 is invalid."));
    };
    const bool unicode = n == QLatin1String("NCHAR") || n == QLatin1String("NVARCHAR");
    const bool sized = unicode || n == QLatin1String("CHAR") || n == QLatin1String("VARCHAR") ||
                       n == QLatin1String("BINARY") || n == QLatin1String("VARBINARY");
    if (sized) {
        if (v.size() != 1)
            fail(QStringLiteral("Incorrect type length: ") + n + u'(' + excerpt(t.args) + u')');
        requirePositive();
        const int limit = unicode ? kMaxUnicodeLength : kMaxBytesLength;
        if (v[0] > limit) tooLarge(v[0], limit);
        return int(v[0]);
    }
    if (n == QLatin1String("DECIMAL") || n == QLatin1String("NUMERIC")) {
        if (v.size() > 2) fail(QStringLiteral("Incorrect type length: ") + n + u'(' + excerpt(t.args) + u')');
        requirePositive();
        if (v[0] > kMaxDecimalPrecision) tooLarge(v[0], kMaxDecimalPrecision);
        if (v.size() == 2 && (v[1] < 0 || v[1] > v[0]))
            fail(QStringLiteral("The scale (") + QString::number(v[1]) +
                 QStringLiteral(") for column must be within the range 0 to ") + QString::number(v[0]) +
                 QStringLiteral("."));
        return 0;
    }
    if (n == QLatin1String("FLOAT")) {
        if (v.size() != 1 || v[0] < 1 || v[0] > 53)
            fail(QStringLiteral("Invalid parameter ") + excerpt(t.args) +
                 QStringLiteral(" specified for float. Parameters must be between 1 and 53."));
        return 0;
    }
    for (const qint64 x : v)
        if (x < 0 || x > kMaxBytesLength) tooLarge(x, kMaxBytesLength);
    return 0;
}

enum class SysView { None, SysObjects, SysObjectsNew, SysTables, InfoTables, InfoColumns };

class Translator {
public:
    Translator(Schema& schema, bool withRowId) : m_schema(schema), m_withRowId(withRowId) {}

    Translation statement(const Stmt& s);
    QString condition(const Expr& e) {
        Scope sc;
        return QStringLiteral("SELECT CASE WHEN ") + expr(e, &sc).sql + QStringLiteral(" THEN 1 ELSE 0 END");
    }

private:
    Schema& m_schema;
    std::vector<CteDef> m_ctes;
    const bool m_withRowId;
    QString m_rowIdItem;  // select item the next core() appends (the rowid)
    QString m_rowIdAlias; // its name in the result

    // -------------------------------------------------------------- names
    QString tableName(const QStringList& parts) {
        if (parts.isEmpty()) fail(QStringLiteral("missing table name"));
        if (parts.size() > 2) unsupported(QStringLiteral("database-qualified name ") + parts.join(u'.'));
        if (parts.size() == 2 && parts[0].compare(QLatin1String("dbo"), Qt::CaseInsensitive) != 0 &&
            !parts[0].isEmpty())
            unsupported(QStringLiteral("schema ") + parts[0]);
        const QString& n = parts.last();
        if (n.startsWith(u'#')) unsupported(QStringLiteral("temporary table ") + n);
        return n;
    }

    static SysView sysView(const QStringList& parts) {
        auto is = [](const QString& a, const char* b) {
            return a.compare(QLatin1String(b), Qt::CaseInsensitive) == 0;
        };
        if (parts.size() == 1 && is(parts[0], "sysobjects")) return SysView::SysObjects;
        if (parts.size() == 2 && is(parts[0], "dbo") && is(parts[1], "sysobjects"))
            return SysView::SysObjects;
        if (parts.size() == 2 && is(parts[0], "sys") && is(parts[1], "objects"))
            return SysView::SysObjectsNew;
        if (parts.size() == 2 && is(parts[0], "sys") && is(parts[1], "tables")) return SysView::SysTables;
        if (parts.size() == 2 && is(parts[0], "INFORMATION_SCHEMA") && is(parts[1], "TABLES"))
            return SysView::InfoTables;
        if (parts.size() == 2 && is(parts[0], "INFORMATION_SCHEMA") && is(parts[1], "COLUMNS"))
            return SysView::InfoColumns;
        return SysView::None;
    }

    static ColInfo col(const char* name, VT t, const char* decl) {
        return ColInfo{QString::fromLatin1(name), QString::fromLatin1(decl), t, false};
    }

    // The SQL Server catalogue views the framework and host scripts read,
    // over sqlite_master.
    static QString sysViewSql(SysView v, std::vector<ColInfo>& cols) {
        const QString objects = QStringLiteral("FROM sqlite_master WHERE type IN ('table','view','trigger') "
                                               "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'");
        const QString code =
            QStringLiteral("CASE type WHEN 'table' THEN 'U' WHEN 'view' THEN 'V' ELSE 'TR' END");
        switch (v) {
        case SysView::SysObjects:
            cols = {col("id", VT::Int, "INT"),         col("name", VT::Text, "SYSNAME"),
                    col("xtype", VT::Text, "CHAR(2)"), col("type", VT::Text, "CHAR(2)"),
                    col("uid", VT::Int, "SMALLINT"),   col("parent_obj", VT::Int, "INT")};
            return QStringLiteral(
                       "(SELECT rowid AS id, name AS name, %1 AS xtype, %1 AS type, 1 AS uid, 0 AS "
                       "parent_obj %2)")
                .arg(code, objects);
        case SysView::SysObjectsNew:
            cols = {col("object_id", VT::Int, "INT"), col("name", VT::Text, "SYSNAME"),
                    col("type", VT::Text, "CHAR(2)"), col("type_desc", VT::Text, "NVARCHAR(60)"),
                    col("schema_id", VT::Int, "INT")};
            return QStringLiteral(
                       "(SELECT rowid AS object_id, name AS name, %1 AS type, CASE type WHEN 'table' "
                       "THEN 'USER_TABLE' WHEN 'view' THEN 'VIEW' ELSE 'SQL_TRIGGER' END AS type_desc, "
                       "1 AS schema_id %2)")
                .arg(code, objects);
        case SysView::SysTables:
            cols = {col("object_id", VT::Int, "INT"), col("name", VT::Text, "SYSNAME"),
                    col("schema_id", VT::Int, "INT")};
            return QStringLiteral(
                "(SELECT rowid AS object_id, name AS name, 1 AS schema_id FROM sqlite_master "
                "WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\')");
        case SysView::InfoTables:
            cols = {col("TABLE_CATALOG", VT::Text, "NVARCHAR(128)"),
                    col("TABLE_SCHEMA", VT::Text, "NVARCHAR(128)"), col("TABLE_NAME", VT::Text, "SYSNAME"),
                    col("TABLE_TYPE", VT::Text, "VARCHAR(10)")};
            return QStringLiteral(
                "(SELECT 'main' AS TABLE_CATALOG, 'dbo' AS TABLE_SCHEMA, name AS TABLE_NAME, "
                "CASE type WHEN 'table' THEN 'BASE TABLE' ELSE 'VIEW' END AS TABLE_TYPE FROM "
                "sqlite_master WHERE type IN ('table','view') AND name NOT LIKE 'sqlite\\_%' "
                "ESCAPE '\\')");
        case SysView::InfoColumns:
            cols = {
                col("TABLE_SCHEMA", VT::Text, "NVARCHAR(128)"),   col("TABLE_NAME", VT::Text, "SYSNAME"),
                col("COLUMN_NAME", VT::Text, "SYSNAME"),          col("ORDINAL_POSITION", VT::Int, "INT"),
                col("IS_NULLABLE", VT::Text, "VARCHAR(3)"),       col("DATA_TYPE", VT::Text, "NVARCHAR(128)"),
                col("COLUMN_DEFAULT", VT::Text, "NVARCHAR(4000)")};
            return QStringLiteral(
                "(SELECT 'dbo' AS TABLE_SCHEMA, m.name AS TABLE_NAME, p.name AS COLUMN_NAME, p.cid + 1 AS "
                "ORDINAL_POSITION, CASE WHEN p.\"notnull\" THEN 'NO' ELSE 'YES' END AS IS_NULLABLE, "
                "lower(CASE WHEN instr(p.type, '(') > 0 THEN substr(p.type, 1, instr(p.type, '(') - 1) ELSE "
                "p.type END) AS DATA_TYPE, p.dflt_value AS COLUMN_DEFAULT FROM sqlite_master AS m JOIN "
                "pragma_table_info(m.name) AS p WHERE m.type IN ('table','view') AND m.name NOT LIKE "
                "'sqlite\\_%' ESCAPE '\\')");
        case SysView::None:
            break;
        }
        return {};
    }

    // -------------------------------------------------------------- from
    QString tableRef(const TableRef& t, Scope& sc) {
        switch (t.kind) {
        case TableRef::Named: {
            const SysView sv = sysView(t.name);
            Source src;
            if (sv != SysView::None) {
                std::vector<ColInfo> cols;
                QString sql = sysViewSql(sv, cols);
                src.cols = columns(std::move(cols));
                src.key = t.alias.isEmpty() ? t.name.last() : t.alias;
                src.known = true;
                sc.sources.push_back(std::move(src));
                return sql + QStringLiteral(" AS ") + quoteIdent(sc.sources.back().key);
            }
            const QString name = tableName(t.name);
            src.key = t.alias.isEmpty() ? name : t.alias;
            src.table = name;
            bool isCte = false;
            if (t.name.size() == 1) {
                for (auto it = m_ctes.rbegin(); it != m_ctes.rend(); ++it) {
                    if (it->name.compare(name, Qt::CaseInsensitive) == 0) {
                        src.cols = it->cols;
                        src.known = true;
                        src.table.clear();
                        isCte = true;
                        break;
                    }
                }
            }
            if (!isCte) {
                const TableInfoPtr info = m_schema.table(name);
                if (info->exists) {
                    src.cols = info->cols;
                    src.known = true;
                }
            }
            sc.sources.push_back(std::move(src));
            QString sql = quoteIdent(name);
            if (!t.alias.isEmpty()) sql += QStringLiteral(" AS ") + quoteIdent(t.alias);
            return sql;
        }
        case TableRef::Derived: {
            std::vector<OutCol> outs;
            // A derived table sees the outer query's columns, not its siblings'.
            const QString sub = select(*t.sub, sc.parent, &outs);
            Source src;
            src.key = t.alias;
            src.known = true;
            std::vector<ColInfo> cols;
            for (const OutCol& o : outs)
                cols.push_back(ColInfo{o.name, o.decl, o.type, false});
            src.cols = columns(std::move(cols));
            sc.sources.push_back(std::move(src));
            return u'(' + sub + QStringLiteral(") AS ") + quoteIdent(t.alias);
        }
        case TableRef::Join: {
            QString sql = tableRef(*t.left, sc);
            const QString right = tableRef(*t.right, sc);
            if (t.joinType == QLatin1String("CROSS")) return sql + QStringLiteral(" CROSS JOIN ") + right;
            const QString kind = t.joinType == QLatin1String("INNER")
                                     ? QStringLiteral(" JOIN ")
                                     : u' ' + t.joinType + QStringLiteral(" JOIN ");
            return u'(' + sql + kind + right + QStringLiteral(" ON ") + expr(*t.on, &sc).sql + u')';
        }
        }
        return {};
    }

    QString fromClause(const std::vector<TableRefPtr>& from, Scope& sc) {
        QStringList parts;
        for (const TableRefPtr& t : from)
            parts << tableRef(*t, sc);
        return parts.join(QStringLiteral(", "));
    }

    // -------------------------------------------------------------- select
    QString select(const Select& s, Scope* outer, std::vector<OutCol>* outsOut,
                   const std::vector<ColInfo>* coerce = nullptr) {
        const size_t cteMark = m_ctes.size();
        QString with;
        if (!s.ctes.empty()) {
            QStringList defs;
            for (const Cte& c : s.ctes) {
                std::vector<OutCol> outs;
                const QString body = select(*c.select, outer, &outs);
                CteDef def;
                def.name = c.name;
                std::vector<ColInfo> cols;
                for (qsizetype i = 0; i < qsizetype(outs.size()); ++i)
                    cols.push_back(ColInfo{i < c.columns.size() ? c.columns[i] : outs[i].name, outs[i].decl,
                                           outs[i].type, false});
                def.cols = columns(std::move(cols));
                QString head = quoteIdent(c.name);
                if (!c.columns.isEmpty()) {
                    QStringList cols;
                    for (const QString& n : c.columns)
                        cols << quoteIdent(n);
                    head += u'(' + cols.join(QStringLiteral(", ")) + u')';
                }
                defs << head + QStringLiteral(" AS (") + body + u')';
                m_ctes.push_back(std::move(def));
            }
            with = QStringLiteral("WITH ") + defs.join(QStringLiteral(", ")) + u' ';
        }
        std::vector<OutCol> outs;
        QString sql;
        const bool compound = s.cores.size() > 1;
        bool dedupe = false;
        for (const QString& op : s.ops)
            if (op != QLatin1String("UNION ALL")) dedupe = true;
        Scope firstScope;
        firstScope.parent = outer;
        const QString rowIdAlias = m_rowIdItem.isEmpty() ? QString() : m_rowIdAlias;
        for (size_t i = 0; i < s.cores.size(); ++i) {
            const SelectCore& c = s.cores[i];
            std::vector<OutCol> coreOuts;
            QString coreSql;
            if (c.paren) {
                coreSql =
                    QStringLiteral("SELECT * FROM (") + select(*c.paren, outer, &coreOuts, coerce) + u')';
            } else {
                Scope local;
                local.parent = outer;
                Scope& sc = i == 0 ? firstScope : local;
                coreSql = core(c, sc, coreOuts, dedupe, coerce);
                // TOP belongs to its own branch; SQLite's LIMIT would apply to the whole compound.
                if (compound && c.top && c.topPercent)
                    coreSql = QStringLiteral("SELECT * FROM (") +
                              topPercent(coreSql, *c.top, outer, coreOuts, QString()) + u')';
                else if (compound && c.top)
                    coreSql = QStringLiteral("SELECT * FROM (") + coreSql + topClause(*c.top, outer) + u')';
            }
            if (i == 0) {
                outs = std::move(coreOuts);
                sql = std::move(coreSql);
            } else {
                if (!coreOuts.empty() && !outs.empty() && coreOuts.size() != outs.size())
                    fail(QStringLiteral(
                        "All queries combined using a UNION, INTERSECT or EXCEPT operator must have "
                        "an equal number of expressions in their target lists."));
                sql += u' ' + s.ops[i - 1] + u' ' + coreSql;
            }
        }
        // ORDER BY of the whole select, then TOP / OFFSET of a single select.
        QString limit;
        const bool singleTop = !compound && !s.cores[0].paren && s.cores[0].top;
        const bool percent = singleTop && s.cores[0].topPercent;
        if (singleTop && !percent) limit = topClause(*s.cores[0].top, outer);
        if (!s.orderBy.empty()) {
            Scope orderScope;
            Scope* osc = &orderScope;
            if (!compound && !s.cores[0].paren) {
                firstScope.outputs = &outs;
                osc = &firstScope;
            } else {
                orderScope.parent = outer;
                orderScope.outputs = &outs;
            }
            QStringList terms;
            for (const OrderItem& o : s.orderBy) {
                if (o.expr->kind == EK::Number && !o.expr->flag && compound) {
                    terms << o.expr->text + (o.desc ? QStringLiteral(" DESC") : QString());
                    continue;
                }
                Val v = expr(*o.expr, osc);
                QString term = v.sql;
                if (textish(v.type) && !v.strLit() && o.expr->kind != EK::Number) term += kNocase;
                terms << term + (o.desc ? QStringLiteral(" DESC") : QString());
            }
            firstScope.outputs = nullptr;
            sql += QStringLiteral(" ORDER BY ") + terms.join(QStringLiteral(", "));
        }
        if (s.offset) {
            if (singleTop)
                fail(QStringLiteral("A TOP can not be used in the same query or sub-query as a OFFSET."));
            Scope none;
            none.parent = outer;
            limit = QStringLiteral(" LIMIT ") +
                    (s.fetch ? rowCount(expr(*s.fetch, &none), RowCount::Fetch) : QStringLiteral("-1")) +
                    QStringLiteral(" OFFSET ") + rowCount(expr(*s.offset, &none), RowCount::Offset);
        }
        sql += limit;
        m_ctes.resize(cteMark);
        if (percent) {
            // A limit keeps SQLite from dropping the ORDER BY of the materialised rows.
            if (!s.orderBy.empty()) sql += QStringLiteral(" LIMIT -1");
            sql = topPercent(with + sql, *s.cores[0].top, outer, outs, rowIdAlias);
            with.clear();
        }
        if (outsOut) *outsOut = std::move(outs);
        return with + sql;
    }

    // A row count of TOP, OFFSET or FETCH computed at run time, checked there
    // as the server checks it.
    enum class RowCount { Top = 0, Offset = 1, Fetch = 2 };
    static QString rowCount(const Val& v, RowCount kind) {
        return QStringLiteral("lnq_rows(") + v.sql + u',' + QString::number(int(kind)) + u')';
    }

    QString topClause(const Expr& top, Scope* outer) {
        Scope none;
        none.parent = outer;
        Val v = expr(top, &none);
        if (top.kind == EK::Number) {
            if (top.flag)
                fail(QStringLiteral("The number of rows provided for a TOP clause must be an integer."));
            return QStringLiteral(" LIMIT ") + v.sql;
        }
        return QStringLiteral(" LIMIT ") + rowCount(v, RowCount::Top);
    }

    // TOP (n) PERCENT: the rows of body (ordered, with their own CTEs) are
    // materialised once, numbered and counted, and the first
    // ceil(count * n / 100) of them are returned in their order. The body's
    // text appears once, and the result columns keep their names (also "" and
    // repeated ones). A filter on the row number, not a LIMIT, selects them:
    // it keeps its meaning however SQLite rearranges an enclosing query.
    QString topPercent(const QString& body, const Expr& top, Scope* outer, const std::vector<OutCol>& outs,
                       const QString& rowIdAlias) {
        Scope none;
        none.parent = outer;
        const Val pct = numericOperand(expr(top, &none));
        checkPercent(top);
        if (outs.empty()) {
            // Columns unknown here (the table is missing): SQLite reports that.
            return QStringLiteral("WITH lnq_top AS MATERIALIZED (") + body +
                   QStringLiteral(") SELECT * FROM lnq_top LIMIT (SELECT lnq_toppercent(count(*), ") +
                   pct.sql + QStringLiteral(") FROM lnq_top)");
        }
        QString cols, items;
        for (size_t i = 0; i < outs.size(); ++i) {
            const QString c = QStringLiteral("c") + QString::number(i);
            if (i) {
                cols += QStringLiteral(", ");
                items += QStringLiteral(", ");
            }
            cols += c;
            items += c + QStringLiteral(" AS ") + quoteIdent(outs[i].name);
        }
        if (!rowIdAlias.isEmpty()) {
            cols += QStringLiteral(", r");
            items += QStringLiteral(", r AS ") + rowIdAlias;
        }
        const QString head = QStringLiteral("lnq_top(") + cols + u')';
        return QStringLiteral("WITH ") + head + QStringLiteral(" AS MATERIALIZED (") + body +
               QStringLiteral(") SELECT ") + items +
               QStringLiteral(
                   " FROM (SELECT *, row_number() OVER () AS lnq_r, count(*) OVER () AS lnq_n FROM "
                   "lnq_top) WHERE lnq_r <= lnq_toppercent(lnq_n, ") +
               pct.sql + QStringLiteral(") ORDER BY lnq_r");
    }

    // A constant percentage is checked now, also for a query that finds no rows.
    static void checkPercent(const Expr& top) {
        const bool negative = top.kind == EK::Unary && top.text == QLatin1String("-") &&
                              top.args[0]->kind == EK::Number && top.args[0]->text.toDouble() != 0.0;
        if (negative || (top.kind == EK::Number && top.text.toDouble() > 100.0))
            fail(QStringLiteral("Percent values must be between 0 and 100."));
    }

    // The rowid selection of UPDATE TOP / DELETE TOP: "rowid IN (...)" over
    // the first n (or n percent) rows the condition selects. With UPDATE ...
    // FROM (otherTables: its table list) the rows are those of the join, and
    // the condition also stays on the update itself, which needs it to pair
    // each row with its partner.
    QString topRows(const Stmt& s, const TableInfo& info, const QString& table, Scope& sc,
                    const QString& otherTables = QString()) {
        if (info.exists && info.rowIdName.isEmpty())
            unsupported(QStringLiteral("TOP in UPDATE or DELETE of a table without rowid"));
        const QString bareRowId = info.rowIdName.isEmpty() ? QStringLiteral("rowid") : info.rowIdName;
        const QString rowId = otherTables.isEmpty() ? bareRowId : quoteIdent(table) + u'.' + bareRowId;
        const QString cond = s.where ? expr(*s.where, &sc).sql : QString();
        const QString where = s.where ? QStringLiteral(" WHERE ") + cond : QString();
        const QString source = otherTables.isEmpty() ? quoteIdent(table)
                                                     : quoteIdent(table) + QStringLiteral(", ") + otherTables;
        const QString also =
            otherTables.isEmpty() || cond.isEmpty() ? QString() : cond + QStringLiteral(" AND ");
        Scope none;
        const Val n = expr(*s.top, &none);
        if (s.topPercent) {
            checkPercent(*s.top);
            QString numbered =
                QStringLiteral("SELECT ") + rowId +
                QStringLiteral(" AS r, row_number() OVER () AS lnq_r, count(*) OVER () AS lnq_n FROM ") +
                source + where;
            return also + rowId + QStringLiteral(" IN (SELECT r FROM (") + numbered +
                   QStringLiteral(") WHERE lnq_r <= lnq_toppercent(lnq_n, ") + numericOperand(n).sql +
                   QStringLiteral("))");
        }
        return also + rowId + QStringLiteral(" IN (SELECT ") + rowId + QStringLiteral(" FROM ") + source +
               where + QStringLiteral(" LIMIT ") + rowCount(n, RowCount::Top) + u')';
    }

    QString core(const SelectCore& c, Scope& sc, std::vector<OutCol>& outs, bool dedupe,
                 const std::vector<ColInfo>* coerce) {
        // Taken first: nested selects of this core must not see it.
        const QString rowIdItem = std::exchange(m_rowIdItem, QString());
        QString from;
        if (!c.from.empty()) from = QStringLiteral(" FROM ") + fromClause(c.from, sc);
        const bool collateText = dedupe || c.distinct;
        QStringList items;
        for (const SelectItem& it : c.items) {
            if (it.star) {
                std::vector<const Source*> srcs;
                if (it.starQual.isEmpty()) {
                    for (const Source& s : sc.sources)
                        srcs.push_back(&s);
                    if (srcs.empty()) fail(QStringLiteral("SELECT * with no tables"));
                } else {
                    const QString q = it.starQual.size() > 1 ? tableName(it.starQual) : it.starQual.last();
                    for (const Source& s : sc.sources)
                        if (s.key.compare(q, Qt::CaseInsensitive) == 0) srcs.push_back(&s);
                    if (srcs.empty())
                        fail(QStringLiteral(
                                 "The column prefix '%1' does not match with a table name or alias name "
                                 "used in the query.")
                                 .arg(excerpt(it.starQual.join(u'.'))));
                }
                bool allKnown = true;
                for (const Source* s : srcs)
                    allKnown = allKnown && s->known;
                const bool expand = allKnown && (collateText || coerce);
                if (!expand) {
                    items << (it.starQual.isEmpty() ? QStringLiteral("*")
                                                    : quoteIdent(srcs[0]->key) + QStringLiteral(".*"));
                }
                for (const Source* s : srcs) {
                    for (const ColInfo& ci : *s->cols) {
                        OutCol o{ci.name, ci.decl, ci.type};
                        if (expand) {
                            Val v{quoteIdent(s->key) + u'.' + quoteIdent(ci.name), ci.type, ci.decl, nullptr};
                            if (coerce && outs.size() < coerce->size())
                                v = coerceTo((*coerce)[outs.size()], v);
                            QString e = v.sql;
                            if (collateText && textish(ci.type)) e += kNocase;
                            items << e + QStringLiteral(" AS ") + quoteIdent(ci.name);
                        }
                        outs.push_back(std::move(o));
                    }
                }
                if (!allKnown) outs.clear(); // the column list is SQLite's business then
                continue;
            }
            Val v = expr(*it.expr, &sc);
            OutCol o;
            o.type = v.type;
            o.decl = v.decl.isEmpty() ? defaultDecl(v.type) : v.decl;
            const bool plainColumn = it.expr->kind == EK::Column;
            o.name = !it.alias.isEmpty() ? it.alias : plainColumn ? it.expr->parts.last() : QString();
            QString e = v.sql;
            if (coerce && outs.size() < coerce->size()) e = coerceTo((*coerce)[outs.size()], v).sql;
            if (collateText && textish(v.type)) e += kNocase;
            if (!it.alias.isEmpty() || e != v.sql || !plainColumn)
                e += QStringLiteral(" AS ") + quoteIdent(o.name);
            items << e;
            outs.push_back(std::move(o));
        }
        if (!rowIdItem.isEmpty()) items << rowIdItem;
        QString sql = QStringLiteral("SELECT ");
        if (c.distinct) sql += QStringLiteral("DISTINCT ");
        sql += items.join(QStringLiteral(", ")) + from;
        if (c.where) sql += QStringLiteral(" WHERE ") + expr(*c.where, &sc).sql;
        if (!c.groupBy.empty()) {
            QStringList g;
            for (const ExprPtr& e : c.groupBy) {
                Val v = expr(*e, &sc);
                g << (textish(v.type) ? v.sql + kNocase : v.sql);
            }
            sql += QStringLiteral(" GROUP BY ") + g.join(QStringLiteral(", "));
        }
        if (c.having) sql += QStringLiteral(" HAVING ") + expr(*c.having, &sc).sql;
        return sql;
    }

    // -------------------------------------------------------------- expressions
    Val column(const Expr& e, Scope* sc) {
        const QStringList& parts = e.parts;
        if (parts.size() > 4) unsupported(QStringLiteral("name ") + parts.join(u'.'));
        if (parts.size() == 4) unsupported(QStringLiteral("database-qualified name ") + parts.join(u'.'));
        const QString& colName = parts.last();
        QString qual;
        if (parts.size() >= 2) qual = parts.size() == 3 ? tableName(parts.mid(0, 2)) : parts[0];
        for (Scope* s = sc; s; s = s->parent) {
            if (qual.isEmpty() && s->outputs) {
                for (const OutCol& o : *s->outputs)
                    if (!o.name.isEmpty() && o.name.compare(colName, Qt::CaseInsensitive) == 0)
                        return Val{quoteIdent(o.name), o.type, o.decl, &e};
            }
            for (const Source& src : s->sources) {
                if (!qual.isEmpty() && src.key.compare(qual, Qt::CaseInsensitive) != 0) continue;
                for (const ColInfo& ci : *src.cols) {
                    if (ci.name.compare(colName, Qt::CaseInsensitive) == 0) {
                        const QString ref = qual.isEmpty() ? quoteIdent(ci.name)
                                                           : quoteIdent(src.key) + u'.' + quoteIdent(ci.name);
                        return Val{ref, ci.type, ci.decl, &e};
                    }
                }
                if (!qual.isEmpty())
                    return Val{quoteIdent(src.key) + u'.' + quoteIdent(colName), VT::Unknown, {}, &e};
            }
        }
        return Val{qual.isEmpty() ? quoteIdent(colName) : quoteIdent(qual) + u'.' + quoteIdent(colName),
                   VT::Unknown,
                   {},
                   &e};
    }

    static QString numberLiteral(const QString& text, bool& ok, bool& isFloat) {
        const QString t = text.trimmed();
        ok = false;
        isFloat = false;
        // The number parser stops at a zero character: "2\0x" is no number.
        if (t.isEmpty() || t.contains(QChar(0))) return {};
        qint64 i = t.toLongLong(&ok);
        if (ok) return QString::number(i);
        double d = t.toDouble(&ok);
        if (ok && std::isfinite(d)) {
            isFloat = true;
            return QString::number(d, 'g', 17);
        }
        ok = false;
        return {};
    }

    // A text operand used where SQL Server converts it to a number.
    static bool isBit(const Val& v) { return v.decl.startsWith(QLatin1String("BIT"), Qt::CaseInsensitive); }

    // bit: 'TRUE' and 'FALSE' convert too.
    Val toNumber(const Val& v, VT target, bool bit = false) {
        if (bit && v.strLit()) {
            const QString t = v.node->text.trimmed();
            if (t.compare(QLatin1String("TRUE"), Qt::CaseInsensitive) == 0)
                return Val{QStringLiteral("1"), VT::Int, {}, nullptr};
            if (t.compare(QLatin1String("FALSE"), Qt::CaseInsensitive) == 0)
                return Val{QStringLiteral("0"), VT::Int, {}, nullptr};
        }
        if (v.strLit()) {
            bool ok = false, isFloat = false;
            const QString n = numberLiteral(v.node->text, ok, isFloat);
            if (ok) return Val{n, isFloat ? VT::Float : VT::Int, {}, nullptr};
        }
        const char* fn = target == VT::Int ? "lnq_toint(" : target == VT::Float ? "lnq_tofloat(" : "lnq_num(";
        return Val{
            QLatin1String(fn) + v.sql + u')', target == VT::Unknown ? VT::Unknown : target, {}, nullptr};
    }

    // A date-time literal, checked at translation time.
    static DateTimeValue dateTimeLiteral(const QString& text, int style, bool dateOnly = false) {
        auto v = parseDateTime(text, style);
        if (!v)
            fail(QStringLiteral(
                     "Conversion failed when converting date and/or time from character string: '%1'")
                     .arg(excerpt(text)));
        if (!dateOnly && !inDateTimeRange(*v)) fail(QLatin1String(kDateTimeRangeError));
        return *v;
    }

    Val toDateTime(const Val& v, int style = -1) {
        if (v.strLit())
            return Val{quoteString(formatCanonical(dateTimeLiteral(v.node->text, style))), VT::DateTime,
                       QStringLiteral("DATETIME"), nullptr};
        if (v.type == VT::DateTime || v.type == VT::Null) return v;
        return Val{QStringLiteral("lnq_datetime(") + v.sql +
                       (style >= 0 ? u',' + QString::number(style) : QString()) + u')',
                   VT::DateTime, QStringLiteral("DATETIME"), nullptr};
    }

    // Brings two compared operands to SQL Server's common type.
    // An operand of unknown type is converted at run time (the conversion
    // functions pass values of the right kind through unchanged).
    void harmonize(Val& a, Val& b) {
        auto convertible = [](const Val& v) {
            return v.type == VT::Text || v.type == VT::Unknown || v.strLit();
        };
        if (a.type == VT::DateTime && convertible(b))
            b = toDateTime(b);
        else if (b.type == VT::DateTime && convertible(a))
            a = toDateTime(a);
        else if (isNum(a.type) && convertible(b))
            b = toNumber(b, VT::Unknown, isBit(a));
        else if (isNum(b.type) && convertible(a))
            a = toNumber(a, VT::Unknown, isBit(b));
    }

    static bool needsNocase(const Val& a, const Val& b) {
        if (isNum(a.type) || isNum(b.type) || a.type == VT::DateTime || b.type == VT::DateTime) return false;
        if (a.type == VT::Blob || b.type == VT::Blob) return false;
        return textish(a.type) || textish(b.type);
    }

    Val compare(const Expr& e, Scope* sc) {
        Val a = expr(*e.args[0], sc);
        Val b = expr(*e.args[1], sc);
        harmonize(a, b);
        const QString coll = needsNocase(a, b) ? kNocase : QString();
        return Val{u'(' + a.sql + coll + u' ' + e.text + u' ' + b.sql + u')', VT::Int, QStringLiteral("BIT"),
                   nullptr};
    }

    Val plus(const Expr& e, Scope* sc) {
        Val a = expr(*e.args[0], sc);
        Val b = expr(*e.args[1], sc);
        if (a.type == VT::Null || b.type == VT::Null) {
            const VT t = a.type == VT::Null ? b.type : a.type;
            return Val{QStringLiteral("NULL"), t, defaultDecl(t), nullptr};
        }
        if (a.type == VT::Text && b.type == VT::Text)
            return chain(a, QStringLiteral("||"), 8, b, VT::Text, QStringLiteral("NVARCHAR"));
        if (isNum(a.type) && isNum(b.type)) {
            const VT t = a.type == VT::Float || b.type == VT::Float ? VT::Float : VT::Int;
            return chain(a, QStringLiteral("+"), 6, b, t, defaultDecl(t));
        }
        if (isNum(a.type) && b.type == VT::Text) {
            b = toNumber(b, a.type);
            return chain(a, QStringLiteral("+"), 6, b, a.type, defaultDecl(a.type));
        }
        if (a.type == VT::Text && isNum(b.type)) {
            a = toNumber(a, b.type);
            return chain(a, QStringLiteral("+"), 6, b, b.type, defaultDecl(b.type));
        }
        if (a.type == VT::DateTime && isNum(b.type))
            return Val{QStringLiteral("lnq_adddays(") + a.sql + u',' + b.sql + u')', VT::DateTime,
                       QStringLiteral("DATETIME"), nullptr};
        if (b.type == VT::DateTime && isNum(a.type))
            return Val{QStringLiteral("lnq_adddays(") + b.sql + u',' + a.sql + u')', VT::DateTime,
                       QStringLiteral("DATETIME"), nullptr};
        if (a.type == VT::DateTime || b.type == VT::DateTime) {
            if (a.type != VT::Unknown && b.type != VT::Unknown)
                unsupported(QStringLiteral("\"+\" between a datetime and a non-numeric value"));
            const Val& dt = a.type == VT::DateTime ? a : b;
            const Val& other = a.type == VT::DateTime ? b : a;
            return Val{QStringLiteral("lnq_adddays(") + dt.sql + u',' + other.sql + u')', VT::DateTime,
                       QStringLiteral("DATETIME"), nullptr};
        }
        // A type is only known at run time: dispatch there.
        VT t = VT::Unknown;
        if (isNum(a.type)) t = a.type;
        if (isNum(b.type)) t = b.type;
        return Val{QStringLiteral("lnq_add(") + a.sql + u',' + b.sql + u')', t, defaultDecl(t), nullptr};
    }

    Val numericOperand(const Val& v) {
        if (isNum(v.type) || v.type == VT::Null) return v;
        if (v.type == VT::DateTime) unsupported(QStringLiteral("arithmetic on a datetime value"));
        if (v.type == VT::Blob) unsupported(QStringLiteral("arithmetic on a binary value"));
        return toNumber(v, VT::Unknown);
    }

    Val arith(const Expr& e, Scope* sc) {
        Val a = expr(*e.args[0], sc);
        Val b = expr(*e.args[1], sc);
        if (e.text == QLatin1String("-") && a.type == VT::DateTime && (isNum(b.type) || b.type == VT::Null))
            return Val{QStringLiteral("lnq_adddays(") + a.sql + QStringLiteral(", - (") + b.sql +
                           QStringLiteral("))"),
                       VT::DateTime, QStringLiteral("DATETIME"), nullptr};
        a = numericOperand(a);
        b = numericOperand(b);
        VT t = VT::Int;
        if (a.type == VT::Float || b.type == VT::Float)
            t = VT::Float;
        else if (a.type == VT::Unknown || b.type == VT::Unknown)
            t = VT::Unknown;
        if (e.text == QLatin1String("^"))
            return Val{QStringLiteral("lnq_bitxor(") + a.sql + u',' + b.sql + u')', VT::Int,
                       QStringLiteral("INT"), nullptr};
        if (e.text == QLatin1String("&") || e.text == QLatin1String("|")) t = VT::Int;
        if (e.text == QLatin1String("/") || e.text == QLatin1String("%")) {
            // SQL Server fails on a zero divisor where SQLite would yield NULL.
            const bool safeDivisor = e.args[1]->kind == EK::Number && e.args[1]->text.toDouble() != 0.0;
            if (!safeDivisor)
                return Val{
                    (e.text == QLatin1String("/") ? QStringLiteral("lnq_div(") : QStringLiteral("lnq_mod(")) +
                        a.sql + u',' + b.sql + u')',
                    t, defaultDecl(t), nullptr};
        }
        const int p = e.text == QLatin1String("&") || e.text == QLatin1String("|") ? 5
                      : e.text == QLatin1String("-")                               ? 6
                                                                                   : 7;
        return chain(a, e.text, p, b, t, defaultDecl(t));
    }

    Val expr(const Expr& e, Scope* sc) {
        switch (e.kind) {
        case EK::String:
            return Val{quoteString(e.text), VT::Text,
                       e.flag ? QStringLiteral("NVARCHAR") : QStringLiteral("VARCHAR"), &e};
        case EK::Number: {
            if (!e.flag) {
                bool ok = false;
                e.text.toLongLong(&ok);
                if (ok) return Val{e.text, VT::Int, QStringLiteral("INT"), &e};
            }
            // 1.50 is decimal(3,2) in SQL Server (and keeps its two decimals as text); 1e5 is float.
            const qsizetype point = e.text.indexOf(u'.');
            if (e.text.contains(u'e', Qt::CaseInsensitive) || point < 0)
                return Val{e.text, VT::Float, QStringLiteral("FLOAT"), &e};
            const qsizetype scale = e.text.size() - point - 1;
            const qsizetype precision = std::max<qsizetype>(e.text.size() - 1, 1);
            return Val{e.text, VT::Float,
                       QStringLiteral("DECIMAL(") +
                           QString::number(std::min<qsizetype>(precision, kMaxDecimalPrecision)) + u',' +
                           QString::number(std::min<qsizetype>(scale, kMaxDecimalPrecision)) + u')',
                       &e};
        }
        case EK::Binary: {
            QString hex = e.text;
            if (hex.size() % 2) hex.prepend(u'0');
            return Val{QStringLiteral("X'") + hex + u'\'', VT::Blob, QStringLiteral("VARBINARY"), &e};
        }
        case EK::Null:
            return Val{QStringLiteral("NULL"), VT::Null, {}, &e};
        case EK::Column:
            return column(e, sc);
        case EK::Variable:
            if (e.text == QLatin1String("@@IDENTITY"))
                return Val{QStringLiteral("last_insert_rowid()"), VT::Int, QStringLiteral("INT"), &e};
            if (e.text == QLatin1String("@@ROWCOUNT"))
                return Val{QStringLiteral("changes()"), VT::Int, QStringLiteral("INT"), &e};
            unsupported(QStringLiteral("variable ") + e.text);
        case EK::Unary: {
            Val v = expr(*e.args[0], sc);
            if (e.text == QLatin1String("+")) return v;
            // A unary operator is followed by a blank (or is a parenthesised
            // negative number): two minus signs never meet as a comment start,
            // whatever the operand renders as.
            if (e.text == QLatin1String("~")) {
                v = numericOperand(v);
                return Val{QStringLiteral("(~ ") + v.sql + u')', VT::Int, QStringLiteral("INT"), nullptr};
            }
            if (e.args[0]->kind == EK::Number)
                return Val{QStringLiteral("(-") + v.sql + u')', v.type, v.decl, nullptr};
            v = numericOperand(v);
            if (v.type == VT::Int)
                return Val{QStringLiteral("lnq_chkint(- ") + v.sql + u')', v.type, v.decl, nullptr};
            return Val{QStringLiteral("(- ") + v.sql + u')', v.type, v.decl, nullptr};
        }
        case EK::Binary2: {
            const QString& op = e.text;
            if (op == QLatin1String("AND") || op == QLatin1String("OR")) {
                QString sql = QStringLiteral("(");
                const QString sep = u' ' + op + u' ';
                for (size_t i = 0; i < e.args.size(); ++i) {
                    if (i) sql += sep;
                    sql += expr(*e.args[i], sc).sql;
                }
                sql += u')';
                return Val{sql, VT::Int, QStringLiteral("BIT"), nullptr};
            }
            if (op == QLatin1String("=") || op == QLatin1String("<>") || op == QLatin1String("<") ||
                op == QLatin1String(">") || op == QLatin1String("<=") || op == QLatin1String(">="))
                return compare(e, sc);
            if (op == QLatin1String("+")) return plus(e, sc);
            return arith(e, sc);
        }
        case EK::Not:
            return Val{QStringLiteral("(NOT ") + expr(*e.args[0], sc).sql + u')', VT::Int,
                       QStringLiteral("BIT"), nullptr};
        case EK::Func:
            return function(e, sc);
        case EK::DatePart:
            return datePart(e, sc);
        case EK::Case:
            return caseExpr(e, sc);
        case EK::Cast:
            return cast(e, sc);
        case EK::In:
            return inExpr(e, sc);
        case EK::Between: {
            Val x = expr(*e.args[0], sc);
            Val lo = expr(*e.args[1], sc);
            Val hi = expr(*e.args[2], sc);
            const Val tested = x;
            harmonize(x, lo);
            Val forHigh = tested;
            harmonize(forHigh, hi);
            if (x.sql == tested.sql) x = forHigh; // the tested value is converted once at most
            const QString coll = needsNocase(x, lo) && needsNocase(x, hi) ? kNocase : QString();
            return Val{u'(' + x.sql + coll + (e.flag ? QStringLiteral(" NOT") : QString()) +
                           QStringLiteral(" BETWEEN ") + lo.sql + QStringLiteral(" AND ") + hi.sql + u')',
                       VT::Int, QStringLiteral("BIT"), nullptr};
        }
        case EK::Like:
            return like(e, sc);
        case EK::IsNull:
            return Val{u'(' + expr(*e.args[0], sc).sql +
                           (e.flag ? QStringLiteral(" IS NOT NULL)") : QStringLiteral(" IS NULL)")),
                       VT::Int, QStringLiteral("BIT"), nullptr};
        case EK::Exists:
            return Val{QStringLiteral("EXISTS (") + select(*e.sub, sc, nullptr) + u')', VT::Int,
                       QStringLiteral("BIT"), nullptr};
        case EK::Subquery: {
            std::vector<OutCol> outs;
            const QString sub = select(*e.sub, sc, &outs);
            if (outs.size() > 1)
                fail(QStringLiteral(
                    "Only one expression can be specified in the select list when the subquery is "
                    "not introduced with EXISTS."));
            const VT t = outs.empty() ? VT::Unknown : outs[0].type;
            return Val{u'(' + sub + u')', t, outs.empty() ? QString() : outs[0].decl, nullptr};
        }
        case EK::Window:
            return window(e, sc);
        }
        unsupported(QStringLiteral("expression"));
    }

    Val inExpr(const Expr& e, Scope* sc) {
        Val x = expr(*e.args[0], sc);
        QString list;
        bool nocase = textish(x.type);
        if (e.sub) {
            std::vector<OutCol> outs;
            list = select(*e.sub, sc, &outs);
            if (outs.size() > 1)
                fail(QStringLiteral(
                    "Only one expression can be specified in the select list when the subquery is "
                    "not introduced with EXISTS."));
            if (!outs.empty() && (isNum(outs[0].type) || outs[0].type == VT::DateTime)) nocase = false;
        } else {
            QStringList items;
            const Val tested = x;
            for (size_t i = 1; i < e.args.size(); ++i) {
                Val v = expr(*e.args[i], sc);
                Val converted = tested;
                harmonize(converted, v);
                // When the tested value itself needs converting, that is done once for the whole list.
                if (converted.sql != tested.sql) x = converted;
                if (isNum(v.type) || v.type == VT::DateTime) nocase = false;
                items << v.sql;
            }
            list = items.join(QStringLiteral(", "));
        }
        if (isNum(x.type) || x.type == VT::DateTime) nocase = false;
        return Val{u'(' + x.sql + (nocase ? kNocase : QString()) +
                       (e.flag ? QStringLiteral(" NOT IN (") : QStringLiteral(" IN (")) + list +
                       QStringLiteral("))"),
                   VT::Int, QStringLiteral("BIT"), nullptr};
    }

    Val like(const Expr& e, Scope* sc) {
        Val x = expr(*e.args[0], sc);
        // LIKE sees a date-time as SQL Server's default text of it ("Mar  5 2024 12:00AM").
        if (x.type == VT::DateTime)
            x = Val{QStringLiteral("lnq_fmtdate(") + x.sql + QStringLiteral(",0,0)"), VT::Text, {}, nullptr};
        Val p = expr(*e.args[1], sc);
        const Expr* esc = e.args.size() > 2 ? e.args[2].get() : nullptr;
        Val ev;
        if (esc) {
            ev = expr(*esc, sc);
            if (esc->kind == EK::String && esc->text.size() != 1)
                fail(QStringLiteral("The invalid escape character \"%1\" was specified in a LIKE predicate.")
                         .arg(excerpt(esc->text)));
        }
        const QString notText = e.flag ? QStringLiteral("NOT ") : QString();
        // The matching follows the text collation (case beyond ASCII, trailing
        // blanks of the value), which SQLite's own LIKE does not know.
        return Val{u'(' + notText + QStringLiteral("lnq_like(") + x.sql + u',' + p.sql +
                       (esc ? u',' + ev.sql : QString()) + QStringLiteral("))"),
                   VT::Int, QStringLiteral("BIT"), nullptr};
    }

    Val caseExpr(const Expr& e, Scope* sc) {
        QString sql = QStringLiteral("CASE");
        size_t i = 0;
        Val base;
        if (e.hasBase) {
            base = expr(*e.args[0], sc);
            i = 1;
        }
        const size_t end = e.args.size() - (e.hasElse ? 1 : 0);
        VT type = VT::Null;
        QString decl;
        QStringList whens;
        bool baseNocase = e.hasBase && textish(base.type);
        const Val tested = base;
        for (; i + 1 < end; i += 2) {
            Val w = expr(*e.args[i], sc);
            if (e.hasBase) {
                // As with IN: the compared values come to a common type, the base converted once.
                Val converted = tested;
                harmonize(converted, w);
                if (converted.sql != tested.sql) base = converted;
                if (isNum(w.type) || w.type == VT::DateTime) baseNocase = false;
            }
            Val t = expr(*e.args[i + 1], sc);
            if (type == VT::Null && t.type != VT::Null) {
                type = t.type;
                decl = t.decl;
            }
            whens << QStringLiteral(" WHEN ") + w.sql + QStringLiteral(" THEN ") + t.sql;
        }
        if (e.hasBase) sql += u' ' + base.sql + (baseNocase ? kNocase : QString());
        sql += whens.join(QString());
        if (e.hasElse) {
            Val el = expr(*e.args.back(), sc);
            if (type == VT::Null) {
                type = el.type;
                decl = el.decl;
            }
            sql += QStringLiteral(" ELSE ") + el.sql;
        }
        sql += QStringLiteral(" END");
        return Val{sql, type, decl, nullptr};
    }

    // -------------------------------------------------------------- CAST / CONVERT
    Val cast(const Expr& e, Scope* sc) {
        Val v = expr(*e.args[0], sc);
        const TypeSpec& t = e.type;
        const QString name = t.name;
        int style = -1;
        if (e.args.size() > 1) {
            const Expr& st = *e.args[1];
            if (st.kind != EK::Number || st.flag)
                unsupported(QStringLiteral("CONVERT with a non-constant style"));
            style = st.text.toInt();
        }
        const QString decl = t.text();
        const VT target = typeOfDeclared(name);
        const int size = checkedTypeSize(t);
        if (name == QLatin1String("VARCHAR") || name == QLatin1String("NVARCHAR") ||
            name == QLatin1String("CHAR") || name == QLatin1String("NCHAR") ||
            name == QLatin1String("TEXT") || name == QLatin1String("NTEXT") ||
            name == QLatin1String("SYSNAME") || name == QLatin1String("UNIQUEIDENTIFIER")) {
            int len = 30;
            if (t.args == QLatin1String("MAX") || name == QLatin1String("TEXT") ||
                name == QLatin1String("NTEXT"))
                len = 0;
            else if (!t.args.isEmpty())
                len = size;
            else if (name == QLatin1String("SYSNAME"))
                len = 128;
            else if (name == QLatin1String("UNIQUEIDENTIFIER"))
                len = 36;
            const bool pad = name == QLatin1String("CHAR") || name == QLatin1String("NCHAR");
            if (v.type == VT::DateTime ||
                (style >= 0 && !v.strLit() && v.type != VT::Text && !isNum(v.type))) {
                const int st = style < 0 ? 0 : style;
                static const int known[] = {0,   1,   2,   3,   4,   5,   8,   10,  11,
                                            12,  20,  21,  23,  24,  100, 101, 102, 103,
                                            104, 105, 108, 110, 111, 112, 120, 121, 126};
                if (std::find(std::begin(known), std::end(known), st) == std::end(known))
                    unsupported(QStringLiteral("CONVERT style ") + QString::number(st));
                QString sql = QStringLiteral("lnq_fmtdate(") + v.sql + u',' + QString::number(st) + u',' +
                              QString::number(len) + u')';
                if (pad)
                    sql = QStringLiteral("lnq_tostr(") + sql + u',' + QString::number(len) +
                          QStringLiteral(",1,-1)");
                return Val{sql, VT::Text, decl, nullptr};
            }
            int mode = -1;
            if (v.type == VT::Float) {
                const int scale = declScale(v.decl);
                const QString d = asciiUpper(v.decl);
                if (scale >= 0)
                    mode = scale;
                else if (d.startsWith(QLatin1String("FLOAT")) || d.startsWith(QLatin1String("REAL")))
                    mode = -2;
            }
            if (v.type == VT::Text && !pad && len == 0) return Val{v.sql, VT::Text, decl, nullptr};
            return Val{QStringLiteral("lnq_tostr(") + v.sql + u',' + QString::number(len) +
                           (pad ? QStringLiteral(",1,") : QStringLiteral(",0,")) + QString::number(mode) +
                           u')',
                       VT::Text, decl, nullptr};
        }
        if (name == QLatin1String("BIT")) {
            // One function call: the operand's text appears once in the output.
            return Val{QStringLiteral("lnq_tobit(") + v.sql + u')', VT::Int, decl, nullptr};
        }
        if (target == VT::Int) {
            if (v.type == VT::Int) return Val{v.sql, VT::Int, decl, nullptr};
            if (v.type == VT::DateTime) unsupported(QStringLiteral("conversion of a datetime to ") + name);
            if (v.strLit()) {
                qint64 iv = 0;
                bool ok = false;
                iv = v.node->text.trimmed().toLongLong(&ok);
                if (ok) return Val{QString::number(iv), VT::Int, decl, nullptr};
            }
            return Val{QStringLiteral("lnq_toint(") + v.sql + u')', VT::Int, decl, nullptr};
        }
        if (target == VT::Float) {
            if (v.type == VT::DateTime) unsupported(QStringLiteral("conversion of a datetime to ") + name);
            QString sql = v.type == VT::Int || v.type == VT::Float
                              ? QString(QStringLiteral("CAST(") + v.sql + QStringLiteral(" AS REAL)"))
                              : QString(QStringLiteral("lnq_tofloat(") + v.sql + u')');
            int scale = declScale(decl);
            if (name.contains(QLatin1String("MONEY"))) scale = 4;
            if (scale >= 0) sql = QStringLiteral("lnq_round(") + sql + u',' + QString::number(scale) + u')';
            return Val{sql, VT::Float, decl, nullptr};
        }
        if (target == VT::DateTime) {
            if (name == QLatin1String("TIME")) unsupported(QStringLiteral("the time data type"));
            const bool dateOnly = name == QLatin1String("DATE");
            if (v.strLit()) {
                DateTimeValue canon = dateTimeLiteral(v.node->text, style, dateOnly);
                if (dateOnly) canon.msOfDay = 0;
                return Val{quoteString(formatCanonical(canon)), VT::DateTime, decl, nullptr};
            }
            if (v.type == VT::DateTime && !dateOnly) return Val{v.sql, VT::DateTime, decl, nullptr};
            const QString fn = dateOnly ? QStringLiteral("lnq_todate(") : QStringLiteral("lnq_datetime(");
            return Val{fn + v.sql + (style >= 0 ? u',' + QString::number(style) : QString()) + u')',
                       VT::DateTime, decl, nullptr};
        }
        if (target == VT::Blob)
            return Val{QStringLiteral("CAST(") + v.sql + QStringLiteral(" AS BLOB)"), VT::Blob, decl,
                       nullptr};
        unsupported(QStringLiteral("conversion to type ") + decl);
    }

    // -------------------------------------------------------------- functions
    void argCount(const Expr& e, const QString& name, size_t lo, size_t hi) {
        if (e.star) unsupported(name + QStringLiteral("(*)"));
        if (e.args.size() < lo || e.args.size() > hi)
            fail(QStringLiteral("The %1 function requires %2 argument(s).")
                     .arg(excerpt(name),
                          lo == hi
                              ? QString::number(lo)
                              : QStringLiteral("%1 to %2").arg(QString::number(lo), QString::number(hi))));
        if (e.flag) unsupported(QStringLiteral("DISTINCT in ") + name);
    }

    Val call(const QString& fn, const std::vector<Val>& args, VT t, const QString& decl = QString()) {
        QStringList a;
        for (const Val& v : args)
            a << v.sql;
        return Val{fn + u'(' + a.join(u',') + u')', t, decl.isEmpty() ? defaultDecl(t) : decl, nullptr};
    }

    // Arguments of the string functions: SQL Server hands them a date-time
    // as its default text ("Mar  5 2024 12:00AM").
    std::vector<Val> textArgs(const Expr& e, Scope* sc) {
        std::vector<Val> out = args(e, sc);
        for (Val& v : out)
            if (v.type == VT::DateTime)
                v = Val{
                    QStringLiteral("lnq_fmtdate(") + v.sql + QStringLiteral(",0,0)"), VT::Text, {}, nullptr};
        return out;
    }

    std::vector<Val> args(const Expr& e, Scope* sc) {
        std::vector<Val> out;
        for (const ExprPtr& a : e.args)
            out.push_back(expr(*a, sc));
        return out;
    }

    Val aggregate(const QString& name, const Expr& e, Scope* sc) {
        if (name == QLatin1String("COUNT") || name == QLatin1String("COUNT_BIG")) {
            if (e.star) return Val{QStringLiteral("count(*)"), VT::Int, QStringLiteral("INT"), nullptr};
            if (e.args.size() != 1) fail(QStringLiteral("The COUNT function requires 1 argument(s)."));
            Val v = expr(*e.args[0], sc);
            const QString inner =
                e.flag ? QStringLiteral("DISTINCT ") + v.sql + (textish(v.type) ? kNocase : QString())
                       : v.sql;
            return Val{QStringLiteral("count(") + inner + u')', VT::Int, QStringLiteral("INT"), nullptr};
        }
        if (e.star || e.args.size() != 1)
            fail(QStringLiteral("The %1 function requires 1 argument(s).").arg(excerpt(name)));
        Val v = expr(*e.args[0], sc);
        const QString distinct = e.flag ? QStringLiteral("DISTINCT ") : QString();
        if (name == QLatin1String("MIN") || name == QLatin1String("MAX")) {
            return Val{name.toLower() + u'(' + distinct + v.sql + (textish(v.type) ? kNocase : QString()) +
                           u')',
                       v.type, v.decl, nullptr};
        }
        if (v.type == VT::Text || v.type == VT::DateTime)
            fail(QStringLiteral("Operand data type %1 is invalid for %2 operator.")
                     .arg(v.type == VT::Text ? QStringLiteral("varchar") : QStringLiteral("datetime"),
                          name.toLower()));
        if (name == QLatin1String("SUM"))
            return Val{QStringLiteral("sum(") + distinct + v.sql + u')', v.type, v.decl, nullptr};
        // AVG of integers is an integer in SQL Server (truncated).
        if (v.type == VT::Int)
            return Val{QStringLiteral("CAST(avg(") + distinct + v.sql + QStringLiteral(") AS INTEGER)"),
                       VT::Int, v.decl, nullptr};
        return Val{QStringLiteral("avg(") + distinct + v.sql + u')',
                   v.type == VT::Unknown ? VT::Float : v.type,
                   v.decl.isEmpty() ? QStringLiteral("FLOAT") : v.decl, nullptr};
    }

    static bool isAggregate(const QString& n) {
        return n == QLatin1String("COUNT") || n == QLatin1String("COUNT_BIG") || n == QLatin1String("SUM") ||
               n == QLatin1String("AVG") || n == QLatin1String("MIN") || n == QLatin1String("MAX");
    }

    QString objectName(const Val& v, const Expr& node) {
        if (node.kind == EK::String) return quoteString(bareObjectName(node.text));
        unsupported(QStringLiteral("OBJECT_ID of a non-constant name"));
        (void)v;
    }

    Val function(const Expr& e, Scope* sc) {
        if (e.parts.size() > 2) unsupported(QStringLiteral("function ") + e.parts.join(u'.'));
        const QString name = asciiUpper(e.parts.last());
        if (e.parts.size() == 2) {
            if (e.parts[0].compare(QLatin1String("dbo"), Qt::CaseInsensitive) != 0)
                unsupported(QStringLiteral("function ") + e.parts.join(u'.'));
            if (name == QLatin1String("GETFILEPATH")) {
                argCount(e, QStringLiteral("dbo.GetFilePath"), 1, 1);
                return call(QStringLiteral("lnq_getfilepath"), args(e, sc), VT::Text,
                            QStringLiteral("NVARCHAR(255)"));
            }
            if (name == QLatin1String("GETFILENAME")) {
                argCount(e, QStringLiteral("dbo.GetFileName"), 1, 1);
                return call(QStringLiteral("lnq_getfilename"), args(e, sc), VT::Text,
                            QStringLiteral("NVARCHAR(255)"));
            }
            if (name == QLatin1String("INTERSECTSTR")) {
                argCount(e, QStringLiteral("dbo.intersectstr"), 2, 2);
                return call(QStringLiteral("lnq_intersectstr"), args(e, sc), VT::Int);
            }
            unsupported(QStringLiteral("function ") + e.parts.join(u'.'));
        }
        if (isAggregate(name)) return aggregate(name, e, sc);
        if (name == QLatin1String("ISNULL")) {
            argCount(e, name, 2, 2);
            auto a = args(e, sc);
            if (a[0].type == VT::DateTime && (a[1].strLit() || a[1].type == VT::Text))
                a[1] = toDateTime(a[1]);
            else if (isNum(a[0].type) && a[1].type == VT::Text)
                a[1] = toNumber(a[1], a[0].type);
            const VT t = a[0].type == VT::Null ? a[1].type : a[0].type;
            return Val{QStringLiteral("ifnull(") + a[0].sql + u',' + a[1].sql + u')', t,
                       a[0].type == VT::Null ? a[1].decl : a[0].decl, nullptr};
        }
        if (name == QLatin1String("COALESCE")) {
            if (e.args.size() < 2)
                fail(QStringLiteral("The coalesce function requires at least 2 arguments."));
            auto a = args(e, sc);
            VT t = VT::Null;
            QString decl;
            for (const Val& v : a)
                if (t == VT::Null && v.type != VT::Null) {
                    t = v.type;
                    decl = v.decl;
                }
            Val r = call(QStringLiteral("coalesce"), a, t);
            r.decl = decl;
            return r;
        }
        if (name == QLatin1String("NULLIF")) {
            argCount(e, name, 2, 2);
            auto a = args(e, sc);
            harmonize(a[0], a[1]);
            Val r = call(QStringLiteral("nullif"), a, a[0].type);
            r.decl = a[0].decl;
            return r;
        }
        if (name == QLatin1String("IIF")) {
            argCount(e, name, 3, 3);
            auto a = args(e, sc);
            const VT t = a[1].type == VT::Null ? a[2].type : a[1].type;
            return Val{QStringLiteral("(CASE WHEN ") + a[0].sql + QStringLiteral(" THEN ") + a[1].sql +
                           QStringLiteral(" ELSE ") + a[2].sql + QStringLiteral(" END)"),
                       t, a[1].type == VT::Null ? a[2].decl : a[1].decl, nullptr};
        }
        if (name == QLatin1String("LEN")) {
            argCount(e, name, 1, 1);
            auto a = textArgs(e, sc);
            return Val{QStringLiteral("length(rtrim(") + a[0].sql + QStringLiteral(",' '))"), VT::Int,
                       QStringLiteral("INT"), nullptr};
        }
        if (name == QLatin1String("LTRIM") || name == QLatin1String("RTRIM") ||
            name == QLatin1String("TRIM")) {
            argCount(e, name, 1, 1);
            auto a = textArgs(e, sc);
            return Val{name.toLower() + u'(' + a[0].sql + QStringLiteral(",' ')"), VT::Text,
                       QStringLiteral("NVARCHAR"), nullptr};
        }
        if (name == QLatin1String("UPPER") || name == QLatin1String("LOWER")) {
            argCount(e, name, 1, 1);
            return call(QStringLiteral("lnq_") + name.toLower(), textArgs(e, sc), VT::Text);
        }
        if (name == QLatin1String("SUBSTRING")) {
            argCount(e, name, 3, 3);
            auto a = textArgs(e, sc);
            a[1] = numericOperand(a[1]);
            a[2] = numericOperand(a[2]);
            return call(QStringLiteral("lnq_substring"), a, VT::Text);
        }
        if (name == QLatin1String("LEFT") || name == QLatin1String("RIGHT")) {
            argCount(e, name, 2, 2);
            auto a = textArgs(e, sc);
            a[1] = numericOperand(a[1]);
            return call(QStringLiteral("lnq_") + name.toLower(), a, VT::Text);
        }
        if (name == QLatin1String("REPLACE")) {
            argCount(e, name, 3, 3);
            return call(QStringLiteral("lnq_replace"), textArgs(e, sc), VT::Text);
        }
        if (name == QLatin1String("CHARINDEX")) {
            argCount(e, name, 2, 3);
            return call(QStringLiteral("lnq_charindex"), textArgs(e, sc), VT::Int);
        }
        if (name == QLatin1String("PATINDEX")) {
            argCount(e, name, 2, 2);
            return call(QStringLiteral("lnq_patindex"), textArgs(e, sc), VT::Int);
        }
        if (name == QLatin1String("STUFF")) {
            argCount(e, name, 4, 4);
            return call(QStringLiteral("lnq_stuff"), textArgs(e, sc), VT::Text);
        }
        if (name == QLatin1String("REPLICATE")) {
            argCount(e, name, 2, 2);
            return call(QStringLiteral("lnq_replicate"), textArgs(e, sc), VT::Text);
        }
        if (name == QLatin1String("SPACE")) {
            argCount(e, name, 1, 1);
            auto a = textArgs(e, sc);
            return Val{QStringLiteral("lnq_replicate(' ',") + a[0].sql + u')', VT::Text,
                       QStringLiteral("VARCHAR"), nullptr};
        }
        if (name == QLatin1String("REVERSE")) {
            argCount(e, name, 1, 1);
            return call(QStringLiteral("lnq_reverse"), textArgs(e, sc), VT::Text);
        }
        if (name == QLatin1String("STR")) {
            argCount(e, name, 1, 3);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            return call(QStringLiteral("lnq_str"), a, VT::Text, QStringLiteral("VARCHAR"));
        }
        if (name == QLatin1String("UNICODE") || name == QLatin1String("ASCII")) {
            argCount(e, name, 1, 1);
            return call(QStringLiteral("unicode"), args(e, sc), VT::Int);
        }
        if (name == QLatin1String("CHAR") || name == QLatin1String("NCHAR")) {
            argCount(e, name, 1, 1);
            return call(QStringLiteral("char"), args(e, sc), VT::Text, QStringLiteral("NCHAR(1)"));
        }
        if (name == QLatin1String("GETDATE") || name == QLatin1String("SYSDATETIME")) {
            argCount(e, name, 0, 0);
            return Val{QStringLiteral("lnq_getdate(0)"), VT::DateTime, QStringLiteral("DATETIME"), nullptr};
        }
        if (name == QLatin1String("GETUTCDATE") || name == QLatin1String("SYSUTCDATETIME")) {
            argCount(e, name, 0, 0);
            return Val{QStringLiteral("lnq_getutcdate(0)"), VT::DateTime, QStringLiteral("DATETIME"),
                       nullptr};
        }
        if (name == QLatin1String("YEAR") || name == QLatin1String("MONTH") || name == QLatin1String("DAY")) {
            argCount(e, name, 1, 1);
            auto a = args(e, sc);
            const Val d = toDateTime(a[0]);
            return Val{QStringLiteral("lnq_datepart('") + name.toLower() + QStringLiteral("',") + d.sql +
                           u')',
                       VT::Int, QStringLiteral("INT"), nullptr};
        }
        if (name == QLatin1String("ISDATE")) {
            argCount(e, name, 1, 1);
            auto a = args(e, sc);
            if (a[0].type == VT::DateTime)
                return Val{QStringLiteral("1"), VT::Int, QStringLiteral("INT"), nullptr};
            return call(QStringLiteral("lnq_isdate"), a, VT::Int);
        }
        if (name == QLatin1String("ISNUMERIC")) {
            argCount(e, name, 1, 1);
            return call(QStringLiteral("lnq_isnumeric"), args(e, sc), VT::Int);
        }
        if (name == QLatin1String("ABS") || name == QLatin1String("SIGN")) {
            argCount(e, name, 1, 1);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            Val r = call(name.toLower(), a, a[0].type == VT::Unknown ? VT::Float : a[0].type);
            r.decl = a[0].decl.isEmpty() ? r.decl : a[0].decl;
            return r;
        }
        if (name == QLatin1String("CEILING") || name == QLatin1String("FLOOR")) {
            argCount(e, name, 1, 1);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            return call(name == QLatin1String("CEILING") ? QStringLiteral("ceil") : QStringLiteral("floor"),
                        a, a[0].type == VT::Int ? VT::Int : VT::Float);
        }
        if (name == QLatin1String("ROUND")) {
            argCount(e, name, 2, 3);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            Val r = call(QStringLiteral("lnq_round"), a, a[0].type == VT::Int ? VT::Int : VT::Float);
            if (!a[0].decl.isEmpty()) r.decl = a[0].decl;
            return r;
        }
        if (name == QLatin1String("POWER")) {
            argCount(e, name, 2, 2);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            a[1] = numericOperand(a[1]);
            if (a[0].type == VT::Int)
                return Val{QStringLiteral("lnq_power(") + a[0].sql + u',' + a[1].sql + QStringLiteral(",1)"),
                           VT::Int, QStringLiteral("INT"), nullptr};
            return Val{QStringLiteral("lnq_power(") + a[0].sql + u',' + a[1].sql + QStringLiteral(",0)"),
                       VT::Float, QStringLiteral("FLOAT"), nullptr};
        }
        if (name == QLatin1String("SQRT") || name == QLatin1String("EXP") || name == QLatin1String("LOG10") ||
            name == QLatin1String("SIN") || name == QLatin1String("COS") || name == QLatin1String("TAN")) {
            argCount(e, name, 1, 1);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            return call(QStringLiteral("lnq_") + name.toLower(), a, VT::Float);
        }
        if (name == QLatin1String("LOG")) {
            argCount(e, name, 1, 2);
            auto a = args(e, sc);
            for (Val& v : a)
                v = numericOperand(v);
            return call(QStringLiteral("lnq_log"), a, VT::Float);
        }
        if (name == QLatin1String("SQUARE")) {
            argCount(e, name, 1, 1);
            auto a = args(e, sc);
            a[0] = numericOperand(a[0]);
            return call(QStringLiteral("lnq_square"), a, VT::Float);
        }
        if (name == QLatin1String("PI")) {
            argCount(e, name, 0, 0);
            return Val{QStringLiteral("pi()"), VT::Float, QStringLiteral("FLOAT"), nullptr};
        }
        if (name == QLatin1String("NEWID")) {
            argCount(e, name, 0, 0);
            return Val{QStringLiteral("lnq_newid()"), VT::Text, QStringLiteral("UNIQUEIDENTIFIER"), nullptr};
        }
        if (name == QLatin1String("SCOPE_IDENTITY")) {
            argCount(e, name, 0, 0);
            return Val{QStringLiteral("last_insert_rowid()"), VT::Int, QStringLiteral("INT"), nullptr};
        }
        if (name == QLatin1String("IDENT_CURRENT")) {
            argCount(e, name, 1, 1);
            return Val{QStringLiteral("(SELECT seq FROM sqlite_sequence WHERE name = ") +
                           objectName(Val{}, *e.args[0]) + QStringLiteral(" COLLATE NOCASE)"),
                       VT::Int, QStringLiteral("INT"), nullptr};
        }
        if (name == QLatin1String("OBJECT_ID")) {
            argCount(e, name, 1, 2);
            QString types = QStringLiteral("'table','view','trigger'");
            if (e.args.size() == 2) {
                if (e.args[1]->kind != EK::String)
                    unsupported(QStringLiteral("OBJECT_ID with a non-constant type"));
                const QString ty = e.args[1]->text.trimmed().toUpper();
                if (ty == QLatin1String("U"))
                    types = QStringLiteral("'table'");
                else if (ty == QLatin1String("V"))
                    types = QStringLiteral("'view'");
                else if (ty == QLatin1String("TR"))
                    types = QStringLiteral("'trigger'");
                else
                    types = QStringLiteral("''");
            }
            return Val{QStringLiteral("(SELECT rowid FROM sqlite_master WHERE type IN (") + types +
                           QStringLiteral(") AND name = ") + objectName(Val{}, *e.args[0]) +
                           QStringLiteral(" COLLATE NOCASE)"),
                       VT::Int, QStringLiteral("INT"), nullptr};
        }
        if (name == QLatin1String("OBJECTPROPERTY")) {
            argCount(e, name, 2, 2);
            if (e.args[1]->kind != EK::String)
                unsupported(QStringLiteral("OBJECTPROPERTY with a non-constant property"));
            const QString prop = e.args[1]->text.trimmed().toUpper();
            QString test;
            if (prop == QLatin1String("ISUSERTABLE") || prop == QLatin1String("ISTABLE"))
                test = QStringLiteral("type = 'table'");
            else if (prop == QLatin1String("ISVIEW"))
                test = QStringLiteral("type = 'view'");
            else if (prop == QLatin1String("ISTRIGGER"))
                test = QStringLiteral("type = 'trigger'");
            else
                unsupported(QStringLiteral("OBJECTPROPERTY ") + e.args[1]->text);
            const Val id = expr(*e.args[0], sc);
            return Val{QStringLiteral("(SELECT CASE WHEN ") + test +
                           QStringLiteral(" THEN 1 ELSE 0 END FROM sqlite_master WHERE rowid = ") + id.sql +
                           u')',
                       VT::Int, QStringLiteral("INT"), nullptr};
        }
        if (name == QLatin1String("ROW_NUMBER") || name == QLatin1String("RANK") ||
            name == QLatin1String("DENSE_RANK") || name == QLatin1String("NTILE"))
            fail(QStringLiteral("The function '%1' must have an OVER clause.").arg(excerpt(name)));
        unsupported(QStringLiteral("function ") + name);
    }

    Val window(const Expr& e, Scope* sc) {
        const Expr& fn = *e.args[0];
        const QString name = asciiUpper(fn.parts.last());
        Val f;
        if (name == QLatin1String("ROW_NUMBER") || name == QLatin1String("RANK") ||
            name == QLatin1String("DENSE_RANK")) {
            argCount(fn, name, 0, 0);
            if (e.orderBy.empty())
                fail(QStringLiteral("The function '%1' must have an OVER clause with ORDER BY.")
                         .arg(excerpt(name)));
            f = Val{name.toLower() + QStringLiteral("()"), VT::Int, QStringLiteral("BIGINT"), nullptr};
        } else if (name == QLatin1String("NTILE")) {
            argCount(fn, name, 1, 1);
            f = call(QStringLiteral("ntile"), args(fn, sc), VT::Int);
        } else if (fn.parts.size() == 1 && isAggregate(name)) {
            f = aggregate(name, fn, sc);
        } else {
            unsupported(QStringLiteral("window function ") + name);
        }
        QStringList clauses;
        if (!e.partitionBy.empty()) {
            QStringList p;
            for (const ExprPtr& x : e.partitionBy) {
                Val v = expr(*x, sc);
                p << (textish(v.type) ? v.sql + kNocase : v.sql);
            }
            clauses << QStringLiteral("PARTITION BY ") + p.join(QStringLiteral(", "));
        }
        if (!e.orderBy.empty()) {
            QStringList o;
            for (const OrderItem& it : e.orderBy) {
                Val v = expr(*it.expr, sc);
                o << (textish(v.type) ? v.sql + kNocase : v.sql) +
                         (it.desc ? QStringLiteral(" DESC") : QString());
            }
            clauses << QStringLiteral("ORDER BY ") + o.join(QStringLiteral(", "));
        }
        // An aggregate with its own CAST wrapper keeps the wrapper outside the window.
        QString sql = f.sql;
        const QString over = QStringLiteral(" OVER (") + clauses.join(u' ') + u')';
        if (sql.startsWith(QLatin1String("CAST(avg("))) {
            sql.insert(sql.lastIndexOf(QLatin1String(" AS INTEGER)")), over);
        } else {
            sql += over;
        }
        return Val{sql, f.type, f.decl, nullptr};
    }

    Val datePart(const Expr& e, Scope* sc) {
        const QString fn = e.text;
        const QString part = quoteString(e.part);
        if (fn == QLatin1String("DATEADD")) {
            Val n = numericOperand(expr(*e.args[0], sc));
            Val d = toDateTime(expr(*e.args[1], sc));
            return Val{QStringLiteral("lnq_dateadd(") + part + u',' + n.sql + u',' + d.sql + u')',
                       VT::DateTime, QStringLiteral("DATETIME"), nullptr};
        }
        if (fn == QLatin1String("DATEDIFF")) {
            Val a = expr(*e.args[0], sc);
            Val b = expr(*e.args[1], sc);
            if (a.strLit()) a = toDateTime(a);
            if (b.strLit()) b = toDateTime(b);
            return Val{QStringLiteral("lnq_datediff(") + part + u',' + a.sql + u',' + b.sql + u')', VT::Int,
                       QStringLiteral("INT"), nullptr};
        }
        Val d = expr(*e.args[0], sc);
        if (d.strLit()) d = toDateTime(d);
        if (fn == QLatin1String("DATENAME"))
            return Val{QStringLiteral("lnq_datename(") + part + u',' + d.sql + u')', VT::Text,
                       QStringLiteral("NVARCHAR(30)"), nullptr};
        return Val{QStringLiteral("lnq_datepart(") + part + u',' + d.sql + u')', VT::Int,
                   QStringLiteral("INT"), nullptr};
    }

    // -------------------------------------------------------------- writing values
    // A value stored into a column of the given type, converted as SQL Server would.
    Val coerceTo(const ColInfo& target, const Val& v) {
        if (v.type == VT::Null) return v;
        switch (target.type) {
        case VT::DateTime:
            if (isNum(v.type) || v.type == VT::Text || v.type == VT::Unknown || v.strLit())
                return toDateTime(v);
            return v;
        case VT::Int: {
            if (target.decl.startsWith(QLatin1String("BIT"), Qt::CaseInsensitive)) {
                if (v.type == VT::Int && v.node && v.node->kind == EK::Number)
                    return Val{v.sql == QLatin1String("0") ? QStringLiteral("0") : QStringLiteral("1"),
                               VT::Int,
                               {},
                               nullptr};
                return Val{QStringLiteral("lnq_tobit(") + v.sql + u')', VT::Int, {}, nullptr};
            }
            if (v.type == VT::Int) return v;
            if (v.type == VT::Float)
                return Val{QStringLiteral("lnq_toint(") + v.sql + u')', VT::Int, {}, nullptr};
            if (v.type == VT::Text || v.type == VT::Unknown) return toNumber(v, VT::Int);
            return v;
        }
        case VT::Float: {
            Val n = v;
            if (v.type == VT::Text || v.type == VT::Unknown) n = toNumber(v, VT::Float);
            const int scale = declScale(target.decl);
            const int s = target.decl.contains(QLatin1String("MONEY"), Qt::CaseInsensitive) ? 4 : scale;
            if (s >= 0 && !(n.node && n.node->kind == EK::Number && v.type == VT::Int))
                return Val{QStringLiteral("lnq_round(") + n.sql + u',' + QString::number(s) + u')',
                           VT::Float,
                           {},
                           nullptr};
            return n;
        }
        case VT::Text:
            if (v.type == VT::DateTime)
                return Val{
                    QStringLiteral("lnq_fmtdate(") + v.sql + QStringLiteral(",0,0)"), VT::Text, {}, nullptr};
            return v;
        default:
            return v;
        }
    }

    // -------------------------------------------------------------- statements
    // An aggregate outside OVER (...) and outside nested selects makes a
    // select return groups instead of its table's rows.
    static bool usesAggregate(const Expr& e) {
        if (e.kind == EK::Window) return false;
        if (e.kind == EK::Func && e.parts.size() == 1 && isAggregate(asciiUpper(e.parts[0]))) return true;
        return std::any_of(e.args.begin(), e.args.end(),
                           [](const ExprPtr& a) { return a && usesAggregate(*a); });
    }

    // The rowid as a select item of a select whose rows are rows of table,
    // when they need it to be told apart: "" for a grouping select, one that
    // holds the whole key, a view or a table without rowid.
    QString rowIdItem(const Select& sel, const TableRef& table) {
        const SelectCore& c = sel.cores[0];
        if (c.distinct || !c.groupBy.empty() || c.having) return {};
        const TableInfoPtr info = m_schema.table(tableName(table.name));
        if (info->rowIdName.isEmpty()) return {};
        QStringList held;
        for (const SelectItem& it : c.items) {
            if (it.star)
                for (const ColInfo& ci : *info->cols)
                    held << ci.name;
            else if (usesAggregate(*it.expr))
                return {};
            else if (it.expr->kind == EK::Column)
                held << it.expr->parts.last();
        }
        for (const OrderItem& o : sel.orderBy)
            if (usesAggregate(*o.expr)) return {};
        if (!info->key.isEmpty() && std::all_of(info->key.begin(), info->key.end(), [&](const QString& k) {
                return held.contains(k, Qt::CaseInsensitive);
            }))
            return {};
        m_rowIdAlias = info->rowIdName;
        return quoteIdent(table.alias.isEmpty() ? tableName(table.name) : table.alias) + u'.' +
               info->rowIdName + QStringLiteral(" AS ") + info->rowIdName;
    }

    Translation selectStatement(const Stmt& s) {
        Translation t;
        const Select& sel = *s.select;
        if (sel.ctes.empty() && sel.cores.size() == 1 && !sel.cores[0].paren &&
            sel.cores[0].from.size() == 1 && sel.cores[0].from[0]->kind == TableRef::Named &&
            sysView(sel.cores[0].from[0]->name) == SysView::None) {
            t.baseTable = tableName(sel.cores[0].from[0]->name);
            if (m_withRowId) m_rowIdItem = rowIdItem(sel, *sel.cores[0].from[0]);
        }
        t.rowIdAppended = !m_rowIdItem.isEmpty();
        std::vector<OutCol> outs;
        t.statements << select(*s.select, nullptr, &outs);
        t.returnsRows = true;
        for (const OutCol& o : outs)
            t.columnTypes.push_back(o.decl);
        if (t.rowIdAppended) t.columnTypes.push_back(QStringLiteral("INTEGER"));
        return t;
    }

    std::vector<ColInfo> targetColumns(const TableInfo& info, const QStringList& names, bool& known) {
        std::vector<ColInfo> out;
        known = info.exists;
        if (names.isEmpty()) {
            for (const ColInfo& c : *info.cols)
                if (!c.identity) out.push_back(c);
            return out;
        }
        for (const QString& n : names) {
            ColInfo found{n, {}, VT::Unknown, false};
            bool hit = false;
            for (const ColInfo& c : *info.cols)
                if (c.name.compare(n, Qt::CaseInsensitive) == 0) {
                    found = c;
                    hit = true;
                    break;
                }
            if (info.exists && !hit) fail(QStringLiteral("Invalid column name '%1'.").arg(excerpt(n)));
            out.push_back(found);
        }
        return out;
    }

    Translation insert(const Stmt& s) {
        Translation t;
        const QString table = tableName(s.table);
        const TableInfoPtr infoPtr = m_schema.table(table);
        const TableInfo& info = *infoPtr;
        bool known = false;
        const std::vector<ColInfo> cols = targetColumns(info, s.columns, known);
        QString sql = QStringLiteral("INSERT INTO ") + quoteIdent(table);
        if (s.defaultValues) {
            t.statements << sql + QStringLiteral(" DEFAULT VALUES");
            return t;
        }
        const bool explicitList = !s.columns.isEmpty() || (known && info.hasIdentity);
        if (explicitList) {
            QStringList names;
            for (const ColInfo& c : cols)
                names << quoteIdent(c.name);
            sql += QStringLiteral(" (") + names.join(QStringLiteral(", ")) + u')';
        }
        if (s.select) {
            std::vector<OutCol> outs;
            sql += u' ' + select(*s.select, nullptr, &outs, known || !s.columns.isEmpty() ? &cols : nullptr);
            if (!outs.empty() && (known || !s.columns.isEmpty()) && outs.size() != cols.size())
                fail(QStringLiteral(
                    "Column name or number of supplied values does not match table definition."));
            t.statements << sql;
            return t;
        }
        QStringList rows;
        Scope none;
        for (const auto& row : s.rows) {
            if ((known || !s.columns.isEmpty()) && row.size() != cols.size())
                fail(QStringLiteral(
                    "Column name or number of supplied values does not match table definition."));
            QStringList vals;
            for (size_t i = 0; i < row.size(); ++i) {
                Val v = expr(*row[i], &none);
                if (i < cols.size()) v = coerceTo(cols[i], v);
                vals << v.sql;
            }
            rows << u'(' + vals.join(QStringLiteral(", ")) + u')';
        }
        t.statements << sql + QStringLiteral(" VALUES ") + rows.join(QStringLiteral(", "));
        return t;
    }

    Translation update(const Stmt& s) {
        Translation t;
        const QString table = tableName(s.table);
        const TableInfoPtr infoPtr = m_schema.table(table);
        const TableInfo& info = *infoPtr;
        Scope sc;
        Source target;
        target.key = table;
        target.table = table;
        target.cols = info.cols;
        target.known = info.exists;
        sc.sources.push_back(target);
        QString from, otherTables;
        if (!s.from.empty()) {
            Scope fromScope;
            otherTables = fromClause(s.from, fromScope);
            from = QStringLiteral(" FROM ") + otherTables;
            for (Source& src : fromScope.sources) {
                if (src.key.compare(table, Qt::CaseInsensitive) == 0 ||
                    src.table.compare(table, Qt::CaseInsensitive) == 0)
                    unsupported(QStringLiteral("UPDATE ... FROM that names the updated table again"));
                sc.sources.push_back(std::move(src));
            }
        }
        QStringList sets;
        for (const SetItem& it : s.sets) {
            if (it.column.size() > 1) {
                const QString q = it.column.size() == 3 ? tableName(it.column.mid(0, 2)) : it.column[0];
                if (q.compare(table, Qt::CaseInsensitive) != 0)
                    unsupported(QStringLiteral("SET on a column of another table: ") + it.column.join(u'.'));
            }
            const QString colName = it.column.last();
            ColInfo target{colName, {}, VT::Unknown, false};
            bool hit = false;
            for (const ColInfo& c : *info.cols)
                if (c.name.compare(colName, Qt::CaseInsensitive) == 0) {
                    target = c;
                    hit = true;
                }
            if (info.exists && !hit) fail(QStringLiteral("Invalid column name '%1'.").arg(excerpt(colName)));
            if (target.identity)
                fail(QStringLiteral("Cannot update identity column '%1'.").arg(excerpt(colName)));
            const Val v = coerceTo(target, expr(*it.value, &sc));
            sets << quoteIdent(target.name) + QStringLiteral(" = ") + v.sql;
        }
        QString sql = QStringLiteral("UPDATE ") + quoteIdent(table) + QStringLiteral(" SET ") +
                      sets.join(QStringLiteral(", ")) + from;
        if (s.top) {
            sql += QStringLiteral(" WHERE ") + topRows(s, info, table, sc, otherTables);
        } else if (s.where) {
            sql += QStringLiteral(" WHERE ") + expr(*s.where, &sc).sql;
        }
        t.statements << sql;
        return t;
    }

    Translation del(const Stmt& s) {
        Translation t;
        const QString table = tableName(s.table);
        const TableInfoPtr info = m_schema.table(table);
        Scope sc;
        sc.sources.push_back(Source{table, table, info->cols, info->exists});
        QString sql = QStringLiteral("DELETE FROM ") + quoteIdent(table);
        if (s.top)
            sql += QStringLiteral(" WHERE ") + topRows(s, *info, table, sc);
        else if (s.where)
            sql += QStringLiteral(" WHERE ") + expr(*s.where, &sc).sql;
        t.statements << sql;
        return t;
    }

    static QString sqliteType(const TypeSpec& t) {
        const QString text = t.text();
        if (t.args.contains(QLatin1String("MAX")))
            return quoteIdent(text); // SQLite type names take numbers only
        return text;
    }

    QString columnDef(const ColumnDef& c, const std::vector<ColInfo>& tableCols, bool identityPk,
                      bool inAlter) {
        const VT vt = typeOfDeclared(c.type.name);
        if (vt == VT::Unknown && !c.type.name.startsWith(QLatin1String("SQL_VARIANT")))
            unsupported(QStringLiteral("column type ") + c.type.text());
        checkedTypeSize(c.type);
        QString sql = quoteIdent(c.name) + u' ';
        if (c.identity) {
            if (inAlter) unsupported(QStringLiteral("ALTER TABLE ADD of an IDENTITY column"));
            if (c.increment != 1) unsupported(QStringLiteral("IDENTITY increment other than 1"));
            if (vt != VT::Int && !(vt == VT::Float && declScale(c.type.text()) == 0))
                fail(QStringLiteral("Identity column '%1' must be of an integer data type.")
                         .arg(excerpt(c.name)));
            return sql + QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL");
        }
        sql += sqliteType(c.type);
        if (c.primaryKey && !identityPk) {
            if (inAlter) unsupported(QStringLiteral("ALTER TABLE ADD of a PRIMARY KEY column"));
            sql += QStringLiteral(" PRIMARY KEY");
        }
        if (c.notNull || (c.primaryKey && !identityPk)) sql += QStringLiteral(" NOT NULL");
        if (c.unique || (c.primaryKey && identityPk)) {
            if (inAlter) unsupported(QStringLiteral("ALTER TABLE ADD of a UNIQUE column"));
            sql += QStringLiteral(" UNIQUE");
        }
        if (c.defaultValue) {
            Scope none;
            const ColInfo ci{c.name, c.type.text(), vt, false};
            const Val v = coerceTo(ci, expr(*c.defaultValue, &none));
            sql += QStringLiteral(" DEFAULT (") + v.sql + u')';
        }
        if (c.check) {
            Scope sc;
            sc.sources.push_back(Source{QString(), QString(), columns(tableCols), true});
            sql += QStringLiteral(" CHECK (") + expr(*c.check, &sc).sql + u')';
        }
        if (vt == VT::Text) {
            const bool caseSensitive = c.collate.toUpper().contains(QLatin1String("_CS"));
            sql += caseSensitive ? QStringLiteral(" COLLATE BINARY") : kNocase;
        }
        if (!c.refTable.isEmpty()) {
            sql += QStringLiteral(" REFERENCES ") + quoteIdent(c.refTable);
            if (!c.refColumns.isEmpty()) sql += u'(' + quoteIdent(c.refColumns[0]) + u')';
        }
        return sql;
    }

    static QString identList(const QStringList& names) {
        QStringList q;
        for (const QString& n : names) {
            if (n.endsWith(QLatin1String(" DESC")))
                q << quoteIdent(n.left(n.size() - 5)) + QStringLiteral(" DESC");
            else
                q << quoteIdent(n);
        }
        return q.join(QStringLiteral(", "));
    }

    Translation createTable(const Stmt& s) {
        Translation t;
        t.changesSchema = true;
        const QString table = tableName(s.table);
        if (sysView(s.table) != SysView::None)
            unsupported(QStringLiteral("CREATE TABLE of a system view name"));
        std::vector<ColInfo> cols;
        const ColumnDef* identity = nullptr;
        for (const ColumnDef& c : s.columnDefs) {
            cols.push_back(ColInfo{c.name, c.type.text(), typeOfDeclared(c.type.name), c.identity});
            if (c.identity) {
                if (identity)
                    fail(QStringLiteral("Multiple identity columns specified for table '%1'.")
                             .arg(excerpt(table)));
                identity = &c;
            }
        }
        QStringList defs;
        for (const ColumnDef& c : s.columnDefs)
            defs << columnDef(c, cols, identity != nullptr, false);
        for (const TableConstraint& c : s.constraints) {
            switch (c.kind) {
            case TableConstraint::PrimaryKey:
                if (identity) {
                    // The identity column is SQLite's rowid key; another key stays unique.
                    if (c.columns.size() == 1 &&
                        c.columns[0].compare(identity->name, Qt::CaseInsensitive) == 0)
                        break;
                    defs << QStringLiteral("UNIQUE (") + identList(c.columns) + u')';
                } else {
                    defs << QStringLiteral("PRIMARY KEY (") + identList(c.columns) + u')';
                }
                break;
            case TableConstraint::Unique:
                defs << QStringLiteral("UNIQUE (") + identList(c.columns) + u')';
                break;
            case TableConstraint::ForeignKey:
                defs << QStringLiteral("FOREIGN KEY (") + identList(c.columns) +
                            QStringLiteral(") REFERENCES ") + quoteIdent(c.refTable) +
                            (c.refColumns.isEmpty() ? QString() : u'(' + identList(c.refColumns) + u')') +
                            c.refActions;
                break;
            case TableConstraint::Check: {
                Scope sc;
                sc.sources.push_back(Source{QString(), QString(), columns(cols), true});
                defs << QStringLiteral("CHECK (") + expr(*c.check, &sc).sql + u')';
                break;
            }
            }
        }
        t.statements << QStringLiteral("CREATE TABLE ") + quoteIdent(table) + QStringLiteral(" (") +
                            defs.join(QStringLiteral(", ")) + u')';
        if (identity && identity->seed != 1)
            t.statements << QStringLiteral("INSERT INTO sqlite_sequence (name, seq) VALUES (") +
                                quoteString(table) + QStringLiteral(", ") +
                                QString::number(identity->seed - 1) + u')';
        return t;
    }

    Translation alterAdd(const Stmt& s) {
        Translation t;
        t.changesSchema = true;
        const QString table = tableName(s.table);
        const TableInfoPtr info = m_schema.table(table);
        for (const ColumnDef& c : s.columnDefs) {
            QString def = columnDef(c, *info->cols, false, true);
            if (c.notNull && !c.defaultValue)
                fail(QStringLiteral(
                         "ALTER TABLE only allows columns to be added that can contain nulls, or have a "
                         "DEFAULT definition specified: '%1'.")
                         .arg(excerpt(c.name)));
            t.statements << QStringLiteral("ALTER TABLE ") + quoteIdent(table) +
                                QStringLiteral(" ADD COLUMN ") + def;
        }
        return t;
    }

public:
    Translation dispatch(const Stmt& s) {
        switch (s.kind) {
        case SK::Select:
            return selectStatement(s);
        case SK::Insert:
            return insert(s);
        case SK::Update:
            return update(s);
        case SK::Delete:
            return del(s);
        case SK::CreateTable:
            return createTable(s);
        case SK::CreateIndex: {
            Translation t;
            t.changesSchema = true;
            const QString table = tableName(s.table);
            t.statements << (s.unique ? QStringLiteral("CREATE UNIQUE INDEX ")
                                      : QStringLiteral("CREATE INDEX ")) +
                                quoteIdent(s.name) + QStringLiteral(" ON ") + quoteIdent(table) +
                                QStringLiteral(" (") + identList(s.columns) + u')';
            return t;
        }
        case SK::CreateView: {
            Translation t;
            t.changesSchema = true;
            t.statements << QStringLiteral("CREATE VIEW ") + quoteIdent(tableName(s.table)) +
                                QStringLiteral(" AS ") + select(*s.select, nullptr, nullptr);
            return t;
        }
        case SK::AlterAdd:
            return alterAdd(s);
        case SK::AlterDropColumn: {
            Translation t;
            t.changesSchema = true;
            t.statements << QStringLiteral("ALTER TABLE ") + quoteIdent(tableName(s.table)) +
                                QStringLiteral(" DROP COLUMN ") + quoteIdent(s.name);
            return t;
        }
        case SK::DropTable:
        case SK::DropView:
        case SK::DropIndex: {
            Translation t;
            t.changesSchema = true;
            const QString what = s.kind == SK::DropTable  ? QStringLiteral("TABLE")
                                 : s.kind == SK::DropView ? QStringLiteral("VIEW")
                                                          : QStringLiteral("INDEX");
            for (const QStringList& n : s.names) {
                // DROP INDEX table.index names the index by its last part.
                const QString obj = s.kind == SK::DropIndex ? n.last() : tableName(n);
                t.statements << QStringLiteral("DROP ") + what +
                                    (s.ifExists ? QStringLiteral(" IF EXISTS ") : QStringLiteral(" ")) +
                                    quoteIdent(obj);
            }
            return t;
        }
        case SK::Truncate: {
            Translation t;
            const QString table = tableName(s.table);
            const TableInfoPtr info = m_schema.table(table);
            t.statements << QStringLiteral("DELETE FROM ") + quoteIdent(table);
            // TRUNCATE restarts the identity numbering.
            if (info->hasIdentity)
                t.statements << QStringLiteral("DELETE FROM sqlite_sequence WHERE name = ") +
                                    quoteString(info->name);
            return t;
        }
        case SK::BeginTran: {
            Translation t;
            t.statements << QStringLiteral("SAVEPOINT lnq_tran");
            return t;
        }
        case SK::CommitTran: {
            Translation t;
            t.statements << QStringLiteral("RELEASE lnq_tran");
            return t;
        }
        case SK::RollbackTran: {
            Translation t;
            t.statements << QStringLiteral("ROLLBACK TO lnq_tran") << QStringLiteral("RELEASE lnq_tran");
            return t;
        }
        case SK::Noop:
            return {};
        case SK::If:
        case SK::Block:
            break;
        }
        unsupported(QStringLiteral("control-of-flow statement in this context"));
    }
};

} // namespace

Translation translateStatement(const Stmt& stmt, Schema& schema, bool withRowId) {
    Translator t(schema, withRowId);
    return t.dispatch(stmt);
}

QString translateCondition(const Expr& cond, Schema& schema) {
    Translator t(schema, false);
    return t.condition(cond);
}

} // namespace lnq::tsql
