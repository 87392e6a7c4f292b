#include "data/TsqlParser.h"

#include "data/TsqlDialect.h"

#include <QSet>

namespace lnq::tsql {

namespace {

class Parser {
public:
    explicit Parser(const QString& sql) : m_toks(tokenize(sql)) {}

    std::vector<StmtPtr> batch() {
        std::vector<StmtPtr> out;
        for (;;) {
            while (cur().isOp(";") || cur().kind == Tok::Go)
                ++m_i;
            if (cur().kind == Tok::End) break;
            out.push_back(statement());
        }
        return out;
    }

private:
    std::vector<Token> m_toks;
    size_t m_i = 0;
    int m_nesting = 0;

    // Bounds the parser's own recursion (parentheses, unary chains, nested
    // statements and selects).
    struct Nest {
        int& n;
        explicit Nest(int& counter) : n(counter) {
            if (++n > kMaxNesting) {
                --n;
                tooDeep();
            }
        }
        ~Nest() { --n; }
        Nest(const Nest&) = delete;
        Nest& operator=(const Nest&) = delete;
    };
    [[noreturn]] static void tooDeep() {
        throw ETsqlError(
            QStringLiteral("T-SQL text nested too deeply (more than %1 levels)").arg(kMaxNesting));
    }
    static int depthOf(const ExprPtr& e) { return e ? e->depth : 0; }
    // Records the height of a finished node; chains built by loops are bounded here.
    static ExprPtr finish(ExprPtr e) {
        int d = 0;
        for (const ExprPtr& a : e->args)
            d = std::max(d, depthOf(a));
        if (e->sub) d = std::max(d, e->sub->depth);
        for (const ExprPtr& p : e->partitionBy)
            d = std::max(d, depthOf(p));
        for (const OrderItem& o : e->orderBy)
            d = std::max(d, depthOf(o.expr));
        e->depth = d + 1;
        if (e->depth > kMaxNesting) tooDeep();
        return e;
    }
    static int refDepth(const TableRefPtr& t) { return t ? t->depth : 0; }
    static void finishSelect(Select& s) {
        int d = 0;
        for (const Cte& c : s.ctes)
            d = std::max(d, c.select->depth);
        for (const SelectCore& c : s.cores) {
            if (c.paren) d = std::max(d, c.paren->depth);
            d = std::max({d, depthOf(c.top), depthOf(c.where), depthOf(c.having)});
            for (const SelectItem& it : c.items)
                d = std::max(d, depthOf(it.expr));
            for (const TableRefPtr& t : c.from)
                d = std::max(d, refDepth(t));
            for (const ExprPtr& g : c.groupBy)
                d = std::max(d, depthOf(g));
        }
        for (const OrderItem& o : s.orderBy)
            d = std::max(d, depthOf(o.expr));
        d = std::max({d, depthOf(s.offset), depthOf(s.fetch)});
        s.depth = d + 1;
        if (s.depth > kMaxNesting) tooDeep();
    }

    const Token& cur() const { return m_toks[m_i]; }
    const Token& peek(size_t k = 1) const {
        const size_t j = m_i + k;
        return j < m_toks.size() ? m_toks[j] : m_toks.back();
    }
    template <size_t N> bool kw(const char (&w)[N]) const { return cur().isKw(w); }
    template <size_t N> bool op(const char (&o)[N]) const { return cur().isOp(o); }
    template <size_t N> bool acceptKw(const char (&w)[N]) {
        if (!kw(w)) return false;
        ++m_i;
        return true;
    }
    template <size_t N> bool acceptOp(const char (&o)[N]) {
        if (!op(o)) return false;
        ++m_i;
        return true;
    }

    static QString describe(const Token& t) {
        switch (t.kind) {
        case Tok::End:
            return QStringLiteral("end of text");
        case Tok::String:
            return u'\'' + excerpt(t.text) + u'\'';
        case Tok::QIdent:
            return u'[' + excerpt(t.text) + u']';
        default:
            return excerpt(t.text);
        }
    }

    [[noreturn]] void syntax(const QString& expected) const {
        throw ETsqlError(QStringLiteral("T-SQL syntax error near %1 at offset %2: expected %3")
                             .arg(describe(cur()), QString::number(cur().pos), expected));
    }
    [[noreturn]] static void unsupported(const QString& what) {
        throw ETsqlError(QStringLiteral("unsupported T-SQL construct: ") + excerpt(what));
    }

    template <size_t N> void expectKw(const char (&w)[N]) {
        if (!acceptKw(w)) syntax(QString::fromLatin1(w));
    }
    template <size_t N> void expectOp(const char (&o)[N]) {
        if (!acceptOp(o)) syntax(u'"' + QString::fromLatin1(o) + u'"');
    }

    static bool isReserved(const Token& t) { return t.reserved; }
    bool isName(const Token& t) const {
        return t.kind == Tok::QIdent || (t.kind == Tok::Ident && !isReserved(t));
    }
    QString name() {
        if (!isName(cur())) syntax(QStringLiteral("a name"));
        return m_toks[m_i++].text;
    }
    // a.b.c with possibly empty middle parts (db..table)
    QStringList qualifiedName() {
        QStringList parts;
        parts << name();
        while (op(".")) {
            ++m_i;
            if (op(".")) {
                parts << QString();
                continue;
            }
            parts << name();
        }
        return parts;
    }

    // ---------------------------------------------------------------- statements
    StmtPtr statement() {
        Nest nest(m_nesting);
        const Token& t = cur();
        const int pos = t.pos;
        if (t.kind != Tok::Ident) {
            if (t.isOp("(")) {
                auto s = std::make_unique<Stmt>(SK::Select, pos);
                s->select = select();
                return s;
            }
            if (t.kind == Tok::Variable) unsupported(QStringLiteral("variable ") + t.text);
            syntax(QStringLiteral("a statement"));
        }
        const QString& w = t.up;
        if (w == QLatin1String("SELECT") || w == QLatin1String("WITH")) {
            auto s = std::make_unique<Stmt>(SK::Select, pos);
            s->select = select();
            return s;
        }
        if (w == QLatin1String("INSERT")) return insert();
        if (w == QLatin1String("UPDATE")) return update();
        if (w == QLatin1String("DELETE")) return del();
        if (w == QLatin1String("CREATE")) return create();
        if (w == QLatin1String("DROP")) return drop();
        if (w == QLatin1String("ALTER")) return alter();
        if (w == QLatin1String("TRUNCATE")) {
            ++m_i;
            expectKw("TABLE");
            auto s = std::make_unique<Stmt>(SK::Truncate, pos);
            s->table = qualifiedName();
            return s;
        }
        if (w == QLatin1String("IF")) {
            ++m_i;
            auto s = std::make_unique<Stmt>(SK::If, pos);
            s->cond = expr();
            s->thenStmt = statementSkippingSemicolons();
            if (nextIsElse()) s->elseStmt = statementSkippingSemicolons();
            return s;
        }
        if (w == QLatin1String("BEGIN")) {
            ++m_i;
            if (acceptKw("TRAN") || acceptKw("TRANSACTION")) {
                skipTransactionName();
                return std::make_unique<Stmt>(SK::BeginTran, pos);
            }
            if (kw("TRY") || kw("CATCH") || kw("DISTRIBUTED"))
                unsupported(QStringLiteral("BEGIN ") + cur().up);
            auto s = std::make_unique<Stmt>(SK::Block, pos);
            for (;;) {
                while (op(";"))
                    ++m_i;
                if (acceptKw("END")) break;
                if (cur().kind == Tok::End || cur().kind == Tok::Go) syntax(QStringLiteral("END"));
                s->body.push_back(statement());
            }
            return s;
        }
        if (w == QLatin1String("COMMIT") || w == QLatin1String("ROLLBACK")) {
            ++m_i;
            if (!acceptKw("TRAN") && !acceptKw("TRANSACTION")) acceptKw("WORK");
            skipTransactionName();
            return std::make_unique<Stmt>(w == QLatin1String("COMMIT") ? SK::CommitTran : SK::RollbackTran,
                                          pos);
        }
        if (w == QLatin1String("SET")) return setOption();
        unsupported(w);
    }

    StmtPtr statementSkippingSemicolons() {
        while (op(";"))
            ++m_i;
        if (cur().kind == Tok::End || cur().kind == Tok::Go) syntax(QStringLiteral("a statement"));
        return statement();
    }

    bool nextIsElse() {
        size_t j = m_i;
        while (m_toks[j].isOp(";"))
            ++j;
        if (!m_toks[j].isKw("ELSE")) return false;
        m_i = j + 1;
        return true;
    }

    void skipTransactionName() {
        if (isName(cur()) && !isStatementStart(cur())) ++m_i;
    }

    static bool isStatementStart(const Token& t) {
        static const char* starts[] = {"SELECT",   "INSERT", "UPDATE",  "DELETE", "CREATE",   "DROP",
                                       "ALTER",    "IF",     "BEGIN",   "COMMIT", "ROLLBACK", "SET",
                                       "TRUNCATE", "WITH",   "DECLARE", "EXEC",   "PRINT"};
        if (t.kind != Tok::Ident) return false;
        for (const char* s : starts)
            if (t.up == QLatin1String(s)) return true;
        return false;
    }

    StmtPtr setOption() {
        const int pos = cur().pos;
        ++m_i; // SET
        if (cur().kind == Tok::Variable) unsupported(QStringLiteral("SET ") + cur().text);
        if (cur().kind != Tok::Ident) syntax(QStringLiteral("an option name"));
        const QString option = cur().up;
        ++m_i;
        // Options without effect here, either way.
        static const char* harmless[] = {"NOCOUNT",      "XACT_ABORT",         "ARITHABORT",
                                         "ANSI_PADDING", "NUMERIC_ROUNDABORT", "ANSI_NULL_DFLT_ON"};
        // Options whose OFF setting would change the meaning of later statements.
        static const char* mustBeOn[] = {"ANSI_NULLS", "QUOTED_IDENTIFIER", "CONCAT_NULL_YIELDS_NULL",
                                         "ANSI_WARNINGS"};
        for (const char* o : harmless) {
            if (option == QLatin1String(o)) {
                if (!acceptKw("ON") && !acceptKw("OFF")) syntax(QStringLiteral("ON or OFF"));
                return std::make_unique<Stmt>(SK::Noop, pos);
            }
        }
        for (const char* o : mustBeOn) {
            if (option == QLatin1String(o)) {
                if (acceptKw("ON")) return std::make_unique<Stmt>(SK::Noop, pos);
                if (kw("OFF")) unsupported(QStringLiteral("SET ") + option + QStringLiteral(" OFF"));
                syntax(QStringLiteral("ON or OFF"));
            }
        }
        if (option == QLatin1String("IDENTITY_INSERT")) {
            // Explicit values for identity columns are always accepted here.
            qualifiedName();
            if (!acceptKw("ON") && !acceptKw("OFF")) syntax(QStringLiteral("ON or OFF"));
            return std::make_unique<Stmt>(SK::Noop, pos);
        }
        unsupported(QStringLiteral("SET ") + option);
    }

    StmtPtr insert() {
        auto s = std::make_unique<Stmt>(SK::Insert, cur().pos);
        ++m_i;
        if (kw("TOP")) unsupported(QStringLiteral("INSERT TOP"));
        acceptKw("INTO");
        s->table = qualifiedName();
        if (op("(")) {
            ++m_i;
            do {
                s->columns << qualifiedName().last();
            } while (acceptOp(","));
            expectOp(")");
        }
        if (kw("OUTPUT")) unsupported(QStringLiteral("OUTPUT clause"));
        if (acceptKw("VALUES")) {
            do {
                expectOp("(");
                std::vector<ExprPtr> row;
                do {
                    row.push_back(kw("DEFAULT") ? unsupportedDefaultValue() : expr());
                } while (acceptOp(","));
                expectOp(")");
                s->rows.push_back(std::move(row));
            } while (acceptOp(","));
        } else if (kw("SELECT") || kw("WITH") || op("(")) {
            s->select = select();
        } else if (acceptKw("DEFAULT")) {
            expectKw("VALUES");
            s->defaultValues = true;
        } else if (kw("EXEC") || kw("EXECUTE")) {
            unsupported(QStringLiteral("INSERT ... EXEC"));
        } else {
            syntax(QStringLiteral("VALUES or SELECT"));
        }
        return s;
    }

    [[noreturn]] ExprPtr unsupportedDefaultValue() {
        unsupported(QStringLiteral("DEFAULT in a VALUES list"));
    }

    void tableHints() {
        // WITH (NOLOCK) and the legacy (NOLOCK): locking hints have no meaning
        // on the embedded file and are accepted and ignored.
        const bool withKw = kw("WITH") && peek().isOp("(");
        const bool legacy = op("(") && peek().kind == Tok::Ident && isHint(peek().up) &&
                            (peek(2).isOp(")") || peek(2).isOp(","));
        if (!withKw && !legacy) return;
        if (withKw) ++m_i;
        expectOp("(");
        do {
            if (cur().kind != Tok::Ident || !isHint(cur().up))
                unsupported(QStringLiteral("table hint ") + describe(cur()));
            ++m_i;
        } while (acceptOp(","));
        expectOp(")");
    }
    static bool isHint(const QString& w) {
        static const QSet<QString> hints = {
            QStringLiteral("NOLOCK"),        QStringLiteral("READUNCOMMITTED"),
            QStringLiteral("READCOMMITTED"), QStringLiteral("ROWLOCK"),
            QStringLiteral("UPDLOCK"),       QStringLiteral("HOLDLOCK"),
            QStringLiteral("NOWAIT"),        QStringLiteral("READPAST"),
            QStringLiteral("TABLOCK"),       QStringLiteral("TABLOCKX"),
            QStringLiteral("PAGLOCK"),       QStringLiteral("XLOCK"),
            QStringLiteral("SERIALIZABLE"),  QStringLiteral("REPEATABLEREAD")};
        return hints.contains(w);
    }

    // TOP (n) [PERCENT] of UPDATE and DELETE: the parentheses are required there.
    void dmlTop(Stmt& s) {
        if (!acceptKw("TOP")) return;
        expectOp("(");
        s.top = expr();
        expectOp(")");
        s.topPercent = acceptKw("PERCENT");
    }

    StmtPtr update() {
        auto s = std::make_unique<Stmt>(SK::Update, cur().pos);
        ++m_i;
        dmlTop(*s);
        s->table = qualifiedName();
        tableHints();
        expectKw("SET");
        do {
            if (cur().kind == Tok::Variable) unsupported(QStringLiteral("SET ") + cur().text);
            SetItem item;
            item.column = qualifiedName();
            if ((op("+") || op("-") || op("*") || op("/") || op("%")) && peek().isOp("=")) {
                // compound assignment: col += v  ->  col = col + (v)
                auto bin = std::make_unique<Expr>(EK::Binary2, cur().pos);
                bin->text = cur().text;
                m_i += 2;
                auto col = std::make_unique<Expr>(EK::Column, cur().pos);
                col->parts = item.column;
                bin->args.push_back(std::move(col));
                bin->args.push_back(expr());
                item.value = std::move(bin);
            } else {
                expectOp("=");
                if (kw("DEFAULT")) unsupported(QStringLiteral("SET column = DEFAULT"));
                item.value = expr();
            }
            s->sets.push_back(std::move(item));
        } while (acceptOp(","));
        if (kw("OUTPUT")) unsupported(QStringLiteral("OUTPUT clause"));
        if (acceptKw("FROM")) s->from = tableRefs();
        if (acceptKw("WHERE")) {
            if (kw("CURRENT")) unsupported(QStringLiteral("WHERE CURRENT OF"));
            s->where = expr();
        }
        if (kw("OPTION")) unsupported(QStringLiteral("OPTION clause"));
        return s;
    }

    StmtPtr del() {
        auto s = std::make_unique<Stmt>(SK::Delete, cur().pos);
        ++m_i;
        dmlTop(*s);
        acceptKw("FROM");
        s->table = qualifiedName();
        tableHints();
        if (kw("FROM")) unsupported(QStringLiteral("DELETE ... FROM with a second table list"));
        if (kw("OUTPUT")) unsupported(QStringLiteral("OUTPUT clause"));
        if (acceptKw("WHERE")) {
            if (kw("CURRENT")) unsupported(QStringLiteral("WHERE CURRENT OF"));
            s->where = expr();
        }
        if (kw("OPTION")) unsupported(QStringLiteral("OPTION clause"));
        return s;
    }

    void skipParenthesised() {
        expectOp("(");
        int depth = 1;
        while (depth > 0) {
            if (cur().kind == Tok::End) syntax(QStringLiteral("\")\""));
            if (op("(")) ++depth;
            if (op(")")) --depth;
            ++m_i;
        }
    }

    // ON [PRIMARY], TEXTIMAGE_ON [PRIMARY], WITH (...) storage options.
    void storageOptions() {
        for (;;) {
            if (kw("ON") && (peek().kind == Tok::QIdent || peek().isKw("PRIMARY"))) {
                m_i += 2;
            } else if (kw("TEXTIMAGE_ON") && (peek().kind == Tok::QIdent || peek().isKw("PRIMARY"))) {
                m_i += 2;
            } else if (kw("WITH") && peek().isOp("(")) {
                ++m_i;
                skipParenthesised();
            } else {
                return;
            }
        }
    }

    TypeSpec typeSpec() {
        TypeSpec t;
        if (cur().kind != Tok::Ident && cur().kind != Tok::QIdent) syntax(QStringLiteral("a type name"));
        t.name = asciiUpper(cur().text);
        ++m_i;
        if (t.name == QLatin1String("DOUBLE") && acceptKw("PRECISION")) t.name = QStringLiteral("FLOAT");
        if (op(".")) unsupported(QStringLiteral("user-defined type ") + t.name);
        if (op("(")) {
            ++m_i;
            QStringList args;
            do {
                if (cur().kind == Tok::Number) {
                    args << cur().text;
                    ++m_i;
                } else if (kw("MAX")) {
                    args << QStringLiteral("MAX");
                    ++m_i;
                } else {
                    syntax(QStringLiteral("a type length"));
                }
            } while (acceptOp(","));
            expectOp(")");
            t.args = args.join(u',');
        }
        return t;
    }

    QStringList columnList(bool allowOrder) {
        QStringList cols;
        expectOp("(");
        do {
            QString c = name();
            if (acceptKw("DESC")) {
                if (allowOrder) c += QStringLiteral(" DESC");
            } else {
                acceptKw("ASC");
            }
            cols << c;
        } while (acceptOp(","));
        expectOp(")");
        return cols;
    }

    QString referentialActions() {
        QString out;
        while (kw("ON") && (peek().isKw("DELETE") || peek().isKw("UPDATE"))) {
            ++m_i;
            const QString which = cur().up;
            ++m_i;
            QString action;
            if (acceptKw("CASCADE")) {
                action = QStringLiteral("CASCADE");
            } else if (acceptKw("NO")) {
                expectKw("ACTION");
                action = QStringLiteral("NO ACTION");
            } else if (acceptKw("SET")) {
                if (acceptKw("NULL"))
                    action = QStringLiteral("SET NULL");
                else if (acceptKw("DEFAULT"))
                    action = QStringLiteral("SET DEFAULT");
                else
                    syntax(QStringLiteral("NULL or DEFAULT"));
            } else {
                syntax(QStringLiteral("a referential action"));
            }
            out += QStringLiteral(" ON ") + which + u' ' + action;
        }
        if (kw("NOT") && peek().isKw("FOR")) {
            m_i += 2;
            expectKw("REPLICATION");
        }
        return out;
    }

    bool tableConstraint(std::vector<TableConstraint>& out) {
        QString cname;
        const size_t save = m_i;
        if (acceptKw("CONSTRAINT")) cname = name();
        TableConstraint c;
        c.name = cname;
        if (acceptKw("PRIMARY")) {
            expectKw("KEY");
            c.kind = TableConstraint::PrimaryKey;
            if (!acceptKw("CLUSTERED")) acceptKw("NONCLUSTERED");
            c.columns = columnList(false);
            storageOptions();
        } else if (acceptKw("UNIQUE")) {
            c.kind = TableConstraint::Unique;
            if (!acceptKw("CLUSTERED")) acceptKw("NONCLUSTERED");
            c.columns = columnList(false);
            storageOptions();
        } else if (acceptKw("FOREIGN")) {
            expectKw("KEY");
            c.kind = TableConstraint::ForeignKey;
            c.columns = columnList(false);
            expectKw("REFERENCES");
            c.refTable = qualifiedName().last();
            if (op("(")) c.refColumns = columnList(false);
            c.refActions = referentialActions();
        } else if (acceptKw("CHECK")) {
            c.kind = TableConstraint::Check;
            if (kw("NOT")) unsupported(QStringLiteral("CHECK NOT FOR REPLICATION"));
            expectOp("(");
            c.check = expr();
            expectOp(")");
        } else {
            m_i = save;
            return false;
        }
        out.push_back(std::move(c));
        return true;
    }

    ColumnDef columnDef() {
        ColumnDef c;
        c.name = name();
        if (kw("AS")) unsupported(QStringLiteral("computed column"));
        c.type = typeSpec();
        for (;;) {
            if (acceptKw("IDENTITY")) {
                c.identity = true;
                if (acceptOp("(")) {
                    c.seed = signedInteger();
                    expectOp(",");
                    c.increment = signedInteger();
                    expectOp(")");
                }
            } else if (acceptKw("NULL")) {
                c.explicitNull = true;
            } else if (kw("NOT") && peek().isKw("NULL")) {
                m_i += 2;
                c.notNull = true;
            } else if (kw("NOT") && peek().isKw("FOR")) {
                m_i += 2;
                expectKw("REPLICATION");
            } else if (acceptKw("CONSTRAINT")) {
                name();
            } else if (acceptKw("PRIMARY")) {
                expectKw("KEY");
                c.primaryKey = true;
                if (!acceptKw("CLUSTERED")) acceptKw("NONCLUSTERED");
                if (!acceptKw("ASC")) acceptKw("DESC");
            } else if (acceptKw("UNIQUE")) {
                c.unique = true;
                if (!acceptKw("CLUSTERED")) acceptKw("NONCLUSTERED");
            } else if (acceptKw("DEFAULT")) {
                c.defaultValue = additive();
            } else if (acceptKw("COLLATE")) {
                c.collate = name();
            } else if (acceptKw("CHECK")) {
                expectOp("(");
                c.check = expr();
                expectOp(")");
            } else if (acceptKw("REFERENCES")) {
                c.refTable = qualifiedName().last();
                if (op("(")) c.refColumns = columnList(false);
                referentialActions();
            } else if (kw("ROWGUIDCOL") || kw("SPARSE")) {
                ++m_i;
            } else if (acceptKw("FOREIGN")) {
                expectKw("KEY");
                expectKw("REFERENCES");
                c.refTable = qualifiedName().last();
                if (op("(")) c.refColumns = columnList(false);
                referentialActions();
            } else {
                break;
            }
        }
        return c;
    }

    qint64 signedInteger() {
        bool neg = acceptOp("-");
        if (!neg) acceptOp("+");
        if (cur().kind != Tok::Number || cur().isFloat) syntax(QStringLiteral("an integer"));
        bool ok = false;
        const qint64 v = cur().text.toLongLong(&ok);
        if (!ok) syntax(QStringLiteral("an integer"));
        ++m_i;
        return neg ? -v : v;
    }

    StmtPtr create() {
        const int pos = cur().pos;
        ++m_i;
        if (acceptKw("TABLE")) {
            auto s = std::make_unique<Stmt>(SK::CreateTable, pos);
            s->table = qualifiedName();
            expectOp("(");
            do {
                if (op(")")) break; // trailing comma, as generated scripts sometimes have
                if (!tableConstraint(s->constraints)) s->columnDefs.push_back(columnDef());
            } while (acceptOp(","));
            expectOp(")");
            storageOptions();
            if (s->columnDefs.empty()) syntax(QStringLiteral("a column definition"));
            return s;
        }
        if (kw("UNIQUE") || kw("CLUSTERED") || kw("NONCLUSTERED") || kw("INDEX")) {
            auto s = std::make_unique<Stmt>(SK::CreateIndex, pos);
            s->unique = acceptKw("UNIQUE");
            if (!acceptKw("CLUSTERED")) acceptKw("NONCLUSTERED");
            expectKw("INDEX");
            s->name = name();
            expectKw("ON");
            s->table = qualifiedName();
            s->columns = columnList(true);
            if (acceptKw("INCLUDE")) columnList(false); // covering columns: storage only
            if (kw("WHERE")) unsupported(QStringLiteral("filtered index"));
            storageOptions();
            return s;
        }
        if (acceptKw("VIEW")) {
            auto s = std::make_unique<Stmt>(SK::CreateView, pos);
            s->table = qualifiedName();
            if (op("(")) unsupported(QStringLiteral("CREATE VIEW with a column list"));
            if (kw("WITH")) unsupported(QStringLiteral("CREATE VIEW WITH"));
            expectKw("AS");
            s->select = select();
            if (kw("WITH")) unsupported(QStringLiteral("WITH CHECK OPTION"));
            return s;
        }
        unsupported(QStringLiteral("CREATE ") + describe(cur()).toUpper());
    }

    StmtPtr drop() {
        const int pos = cur().pos;
        ++m_i;
        SK kind;
        if (acceptKw("TABLE"))
            kind = SK::DropTable;
        else if (acceptKw("VIEW"))
            kind = SK::DropView;
        else if (acceptKw("INDEX"))
            kind = SK::DropIndex;
        else
            unsupported(QStringLiteral("DROP ") + describe(cur()).toUpper());
        auto s = std::make_unique<Stmt>(kind, pos);
        if (kw("IF") && peek().isKw("EXISTS")) {
            m_i += 2;
            s->ifExists = true;
        }
        do {
            QStringList n = qualifiedName();
            if (kind == SK::DropIndex && acceptKw("ON")) qualifiedName();
            s->names.push_back(n);
        } while (acceptOp(","));
        return s;
    }

    StmtPtr alter() {
        const int pos = cur().pos;
        ++m_i;
        if (!acceptKw("TABLE")) unsupported(QStringLiteral("ALTER ") + describe(cur()).toUpper());
        QStringList table = qualifiedName();
        if (acceptKw("ADD")) {
            auto s = std::make_unique<Stmt>(SK::AlterAdd, pos);
            s->table = table;
            do {
                if (kw("CONSTRAINT") || kw("PRIMARY") || kw("UNIQUE") || kw("FOREIGN") || kw("CHECK"))
                    unsupported(QStringLiteral("ALTER TABLE ADD CONSTRAINT"));
                s->columnDefs.push_back(columnDef());
            } while (acceptOp(","));
            return s;
        }
        if (acceptKw("DROP")) {
            if (!acceptKw("COLUMN"))
                unsupported(QStringLiteral("ALTER TABLE DROP ") + describe(cur()).toUpper());
            auto s = std::make_unique<Stmt>(SK::AlterDropColumn, pos);
            s->table = table;
            s->name = name();
            if (op(",")) unsupported(QStringLiteral("ALTER TABLE DROP COLUMN with several columns"));
            return s;
        }
        unsupported(QStringLiteral("ALTER TABLE ") + describe(cur()).toUpper());
    }

    // ---------------------------------------------------------------- select
    SelectPtr select() {
        Nest nest(m_nesting);
        auto sel = std::make_unique<Select>();
        sel->pos = cur().pos;
        if (acceptKw("WITH")) {
            do {
                Cte c;
                c.name = name();
                if (op("(")) c.columns = columnList(false);
                expectKw("AS");
                expectOp("(");
                c.select = select();
                expectOp(")");
                sel->ctes.push_back(std::move(c));
            } while (acceptOp(","));
        }
        sel->cores.push_back(core());
        for (;;) {
            if (acceptKw("UNION")) {
                sel->ops.push_back(acceptKw("ALL") ? QStringLiteral("UNION ALL") : QStringLiteral("UNION"));
            } else if (acceptKw("EXCEPT")) {
                sel->ops.push_back(QStringLiteral("EXCEPT"));
            } else if (acceptKw("INTERSECT")) {
                sel->ops.push_back(QStringLiteral("INTERSECT"));
            } else {
                break;
            }
            sel->cores.push_back(core());
        }
        if (acceptKw("ORDER")) {
            expectKw("BY");
            sel->orderBy = orderItems();
            if (acceptKw("OFFSET")) {
                sel->offset = expr();
                if (!acceptKw("ROWS")) expectKw("ROW");
                if (acceptKw("FETCH")) {
                    if (!acceptKw("NEXT")) expectKw("FIRST");
                    sel->fetch = expr();
                    if (!acceptKw("ROWS")) expectKw("ROW");
                    expectKw("ONLY");
                }
            }
        }
        if (kw("FOR")) unsupported(QStringLiteral("FOR ") + peek().text.toUpper());
        if (kw("OPTION")) unsupported(QStringLiteral("OPTION clause"));
        if (kw("COMPUTE")) unsupported(QStringLiteral("COMPUTE"));
        finishSelect(*sel);
        return sel;
    }

    std::vector<OrderItem> orderItems() {
        std::vector<OrderItem> items;
        do {
            OrderItem it;
            it.expr = expr();
            if (acceptKw("DESC"))
                it.desc = true;
            else
                acceptKw("ASC");
            items.push_back(std::move(it));
        } while (acceptOp(","));
        return items;
    }

    SelectCore core() {
        SelectCore c;
        c.pos = cur().pos;
        if (acceptOp("(")) {
            c.paren = select();
            expectOp(")");
            return c;
        }
        expectKw("SELECT");
        if (acceptKw("DISTINCT"))
            c.distinct = true;
        else
            acceptKw("ALL");
        if (acceptKw("TOP")) {
            if (acceptOp("(")) {
                c.top = expr();
                expectOp(")");
            } else {
                if (cur().kind != Tok::Number) syntax(QStringLiteral("a number after TOP"));
                c.top = primary();
            }
            c.topPercent = acceptKw("PERCENT");
            if (kw("WITH") && peek().isKw("TIES")) unsupported(QStringLiteral("TOP ... WITH TIES"));
        }
        do {
            c.items.push_back(selectItem());
        } while (acceptOp(","));
        if (kw("INTO")) unsupported(QStringLiteral("SELECT ... INTO"));
        if (acceptKw("FROM")) c.from = tableRefs();
        if (acceptKw("WHERE")) c.where = expr();
        if (acceptKw("GROUP")) {
            expectKw("BY");
            if (kw("ALL")) unsupported(QStringLiteral("GROUP BY ALL"));
            do {
                c.groupBy.push_back(expr());
            } while (acceptOp(","));
            if (kw("WITH")) unsupported(QStringLiteral("GROUP BY ... WITH ") + peek().text.toUpper());
        }
        if (acceptKw("HAVING")) c.having = expr();
        return c;
    }

    SelectItem selectItem() {
        SelectItem it;
        if (acceptOp("*")) {
            it.star = true;
            return it;
        }
        // qualifier.*
        if (isName(cur())) {
            size_t j = m_i;
            QStringList qual;
            while (isName(m_toks[j]) && m_toks[j + 1].isOp(".")) {
                qual << m_toks[j].text;
                j += 2;
                if (m_toks[j].isOp("*")) {
                    m_i = j + 1;
                    it.star = true;
                    it.starQual = qual;
                    return it;
                }
            }
        }
        if (cur().kind == Tok::Variable && peek().isOp("="))
            unsupported(QStringLiteral("variable assignment in SELECT"));
        // alias = expression
        if ((isName(cur()) || cur().kind == Tok::String) && peek().isOp("=") && !peek(2).isOp("=")) {
            it.alias = cur().text;
            m_i += 2;
            it.expr = expr();
            return it;
        }
        it.expr = expr();
        if (acceptKw("AS")) {
            if (cur().kind == Tok::String || isName(cur())) {
                it.alias = cur().text;
                ++m_i;
            } else {
                syntax(QStringLiteral("an alias"));
            }
        } else if (cur().kind == Tok::String || isName(cur())) {
            it.alias = cur().text;
            ++m_i;
        }
        return it;
    }

    std::vector<TableRefPtr> tableRefs() {
        std::vector<TableRefPtr> out;
        do {
            out.push_back(joinedTable());
        } while (acceptOp(","));
        return out;
    }

    QString optionalAlias() {
        if (acceptKw("AS")) return name();
        if (isName(cur())) return m_toks[m_i++].text;
        return {};
    }

    TableRefPtr tablePrimary() {
        auto t = std::make_unique<TableRef>();
        t->pos = cur().pos;
        if (op("(")) {
            if (peek().isKw("SELECT") || peek().isKw("WITH") || peek().isOp("(")) {
                // a derived table, or a parenthesised join starting with one
                size_t save = m_i;
                ++m_i;
                if (kw("SELECT") || kw("WITH")) {
                    t->kind = TableRef::Derived;
                    t->sub = select();
                    t->depth = t->sub->depth + 1;
                    expectOp(")");
                    t->alias = optionalAlias();
                    if (t->alias.isEmpty()) syntax(QStringLiteral("an alias for the derived table"));
                    if (op("(")) unsupported(QStringLiteral("derived table column list"));
                    return t;
                }
                m_i = save;
            }
            ++m_i;
            Nest nest(m_nesting);
            TableRefPtr inner = joinedTable();
            expectOp(")");
            return inner;
        }
        if (kw("OPENQUERY") || kw("OPENROWSET") || kw("OPENXML") || kw("OPENDATASOURCE"))
            unsupported(cur().up);
        t->kind = TableRef::Named;
        t->name = qualifiedName();
        if (op("(") && !(peek().kind == Tok::Ident && isHint(peek().up)))
            unsupported(QStringLiteral("table-valued function ") + t->name.join(u'.'));
        tableHints();
        t->alias = optionalAlias();
        tableHints();
        if (kw("TABLESAMPLE")) unsupported(QStringLiteral("TABLESAMPLE"));
        return t;
    }

    TableRefPtr joinedTable() {
        TableRefPtr left = tablePrimary();
        for (;;) {
            QString type;
            const int pos = cur().pos;
            if (acceptKw("JOIN")) {
                type = QStringLiteral("INNER");
            } else if (kw("INNER") && peek().isKw("JOIN")) {
                m_i += 2;
                type = QStringLiteral("INNER");
            } else if (kw("LEFT") || kw("RIGHT") || kw("FULL")) {
                type = cur().up;
                ++m_i;
                acceptKw("OUTER");
                if (kw("LOOP") || kw("HASH") || kw("MERGE")) unsupported(QStringLiteral("join hint"));
                expectKw("JOIN");
            } else if (kw("CROSS") && peek().isKw("JOIN")) {
                m_i += 2;
                type = QStringLiteral("CROSS");
            } else if ((kw("CROSS") || kw("OUTER")) && peek().isKw("APPLY")) {
                unsupported(cur().up + QStringLiteral(" APPLY"));
            } else if (kw("PIVOT") || kw("UNPIVOT")) {
                unsupported(cur().up);
            } else {
                return left;
            }
            auto j = std::make_unique<TableRef>();
            j->kind = TableRef::Join;
            j->pos = pos;
            j->joinType = type;
            j->left = std::move(left);
            j->right = tablePrimary();
            if (type != QLatin1String("CROSS")) {
                expectKw("ON");
                j->on = expr();
            }
            j->depth = std::max({refDepth(j->left), refDepth(j->right), depthOf(j->on)}) + 1;
            if (j->depth > kMaxNesting) tooDeep();
            left = std::move(j);
        }
    }

    // ---------------------------------------------------------------- expressions
    ExprPtr expr() {
        Nest nest(m_nesting);
        return orExpr();
    }

    ExprPtr binary(const QString& o, ExprPtr a, ExprPtr b, int pos) {
        auto e = std::make_unique<Expr>(EK::Binary2, pos);
        e->text = o;
        e->args.push_back(std::move(a));
        e->args.push_back(std::move(b));
        return finish(std::move(e));
    }

    // AND / OR chains become one node holding every operand, so that long
    // generated condition lists stay shallow.
    static constexpr size_t kMaxChain = 1000;

    ExprPtr orExpr() {
        ExprPtr l = andExpr();
        if (!kw("OR")) return l;
        auto e = std::make_unique<Expr>(EK::Binary2, cur().pos);
        e->text = QStringLiteral("OR");
        e->args.push_back(std::move(l));
        while (acceptKw("OR")) {
            if (e->args.size() >= kMaxChain) tooLong();
            e->args.push_back(andExpr());
        }
        return finish(std::move(e));
    }

    ExprPtr andExpr() {
        ExprPtr l = notExpr();
        if (!kw("AND")) return l;
        auto e = std::make_unique<Expr>(EK::Binary2, cur().pos);
        e->text = QStringLiteral("AND");
        e->args.push_back(std::move(l));
        while (acceptKw("AND")) {
            if (e->args.size() >= kMaxChain) tooLong();
            e->args.push_back(notExpr());
        }
        return finish(std::move(e));
    }

    [[noreturn]] static void tooLong() {
        throw ETsqlError(
            QStringLiteral("T-SQL condition nested too deeply (more than %1 terms)").arg(kMaxChain));
    }

    ExprPtr notExpr() {
        if (kw("NOT")) {
            Nest nest(m_nesting);
            auto e = std::make_unique<Expr>(EK::Not, cur().pos);
            ++m_i;
            e->args.push_back(notExpr());
            return finish(std::move(e));
        }
        return predicate();
    }

    ExprPtr predicate() {
        if (kw("EXISTS")) {
            auto e = std::make_unique<Expr>(EK::Exists, cur().pos);
            ++m_i;
            expectOp("(");
            e->sub = select();
            expectOp(")");
            return finish(std::move(e));
        }
        ExprPtr l = additive();
        for (;;) {
            const int pos = cur().pos;
            if (cur().kind == Tok::Op && (op("=") || op("<>") || op("!=") || op("<") || op(">") || op("<=") ||
                                          op(">=") || op("!<") || op("!>"))) {
                QString o = cur().text;
                ++m_i;
                if (kw("ANY") || kw("ALL") || kw("SOME"))
                    unsupported(cur().up + QStringLiteral(" (subquery)"));
                if (o == QLatin1String("!="))
                    o = QStringLiteral("<>");
                else if (o == QLatin1String("!<"))
                    o = QStringLiteral(">=");
                else if (o == QLatin1String("!>"))
                    o = QStringLiteral("<=");
                l = binary(o, std::move(l), additive(), pos);
                continue;
            }
            bool negated = false;
            if (kw("NOT") && (peek().isKw("IN") || peek().isKw("LIKE") || peek().isKw("BETWEEN"))) {
                negated = true;
                ++m_i;
            }
            if (acceptKw("IN")) {
                auto e = std::make_unique<Expr>(EK::In, pos);
                e->flag = negated;
                e->args.push_back(std::move(l));
                expectOp("(");
                if (kw("SELECT") || kw("WITH")) {
                    e->sub = select();
                } else {
                    do {
                        e->args.push_back(expr());
                    } while (acceptOp(","));
                }
                expectOp(")");
                l = finish(std::move(e));
                continue;
            }
            if (acceptKw("LIKE")) {
                auto e = std::make_unique<Expr>(EK::Like, pos);
                e->flag = negated;
                e->args.push_back(std::move(l));
                e->args.push_back(additive());
                if (acceptKw("ESCAPE")) e->args.push_back(additive());
                l = finish(std::move(e));
                continue;
            }
            if (acceptKw("BETWEEN")) {
                auto e = std::make_unique<Expr>(EK::Between, pos);
                e->flag = negated;
                e->args.push_back(std::move(l));
                e->args.push_back(additive());
                expectKw("AND");
                e->args.push_back(additive());
                l = finish(std::move(e));
                continue;
            }
            if (negated) syntax(QStringLiteral("IN, LIKE or BETWEEN"));
            if (acceptKw("IS")) {
                auto e = std::make_unique<Expr>(EK::IsNull, pos);
                e->flag = acceptKw("NOT");
                expectKw("NULL");
                e->args.push_back(std::move(l));
                l = finish(std::move(e));
                continue;
            }
            return l;
        }
    }

    ExprPtr additive() {
        ExprPtr l = multiplicative();
        while (op("+") || op("-") || op("&") || op("|") || op("^")) {
            const int pos = cur().pos;
            const QString o = cur().text;
            ++m_i;
            l = binary(o, std::move(l), multiplicative(), pos);
        }
        return l;
    }

    ExprPtr multiplicative() {
        ExprPtr l = unary();
        while (op("*") || op("/") || op("%")) {
            const int pos = cur().pos;
            const QString o = cur().text;
            ++m_i;
            l = binary(o, std::move(l), unary(), pos);
        }
        return l;
    }

    ExprPtr unary() {
        if (op("-") || op("+") || op("~")) {
            Nest nest(m_nesting);
            auto e = std::make_unique<Expr>(EK::Unary, cur().pos);
            e->text = cur().text;
            ++m_i;
            e->args.push_back(unary());
            return finish(std::move(e));
        }
        ExprPtr p = primary();
        if (kw("COLLATE")) {
            ++m_i;
            const QString coll = name();
            // Case-insensitive collations keep the default meaning; others are refused.
            if (!coll.toUpper().contains(QLatin1String("_CI_")))
                unsupported(QStringLiteral("COLLATE ") + coll);
        }
        return p;
    }

    ExprPtr dateFunction(const QString& fn, int pos) {
        auto e = std::make_unique<Expr>(EK::DatePart, pos);
        e->text = fn;
        ++m_i; // name
        expectOp("(");
        QString written;
        if (cur().kind == Tok::Ident || cur().kind == Tok::QIdent || cur().kind == Tok::String) {
            written = cur().text;
            ++m_i;
        } else {
            syntax(QStringLiteral("a datepart"));
        }
        e->part = canonicalDatePart(written);
        if (e->part.isEmpty()) unsupported(fn + QStringLiteral(" datepart ") + written);
        const int nargs = fn == QLatin1String("DATEPART") || fn == QLatin1String("DATENAME") ? 1 : 2;
        for (int k = 0; k < nargs; ++k) {
            expectOp(",");
            e->args.push_back(expr());
        }
        expectOp(")");
        return finish(std::move(e));
    }

    ExprPtr primary() {
        const Token& t = cur();
        const int pos = t.pos;
        switch (t.kind) {
        case Tok::String: {
            auto e = std::make_unique<Expr>(EK::String, pos);
            e->text = t.text;
            e->flag = t.nPrefix;
            ++m_i;
            return e;
        }
        case Tok::Number: {
            auto e = std::make_unique<Expr>(EK::Number, pos);
            e->text = t.text;
            e->flag = t.isFloat;
            ++m_i;
            return e;
        }
        case Tok::Binary: {
            auto e = std::make_unique<Expr>(EK::Binary, pos);
            e->text = t.text;
            ++m_i;
            return e;
        }
        case Tok::Variable: {
            auto e = std::make_unique<Expr>(EK::Variable, pos);
            e->text = asciiUpper(t.text);
            ++m_i;
            return e;
        }
        case Tok::Op:
            if (t.isOp("(")) {
                ++m_i;
                if (kw("SELECT") || kw("WITH")) {
                    auto e = std::make_unique<Expr>(EK::Subquery, pos);
                    e->sub = select();
                    expectOp(")");
                    return finish(std::move(e));
                }
                ExprPtr inner = expr();
                expectOp(")");
                return inner;
            }
            syntax(QStringLiteral("an expression"));
        case Tok::QIdent:
            return nameExpression();
        case Tok::Ident:
            break;
        default:
            syntax(QStringLiteral("an expression"));
        }
        const QString& w = t.up;
        if (w == QLatin1String("NULL")) {
            ++m_i;
            return std::make_unique<Expr>(EK::Null, pos);
        }
        if (w == QLatin1String("CASE")) return caseExpr();
        if (w == QLatin1String("CAST") && peek().isOp("(")) {
            auto e = std::make_unique<Expr>(EK::Cast, pos);
            m_i += 2;
            e->args.push_back(expr());
            expectKw("AS");
            e->type = typeSpec();
            expectOp(")");
            return finish(std::move(e));
        }
        if (w == QLatin1String("CONVERT") && peek().isOp("(")) {
            auto e = std::make_unique<Expr>(EK::Cast, pos);
            e->isConvert = true;
            m_i += 2;
            e->type = typeSpec();
            expectOp(",");
            e->args.push_back(expr());
            if (acceptOp(",")) e->args.push_back(expr());
            expectOp(")");
            return finish(std::move(e));
        }
        if ((w == QLatin1String("DATEADD") || w == QLatin1String("DATEDIFF") ||
             w == QLatin1String("DATEPART") || w == QLatin1String("DATENAME") ||
             w == QLatin1String("DATEDIFF_BIG")) &&
            peek().isOp("(")) {
            if (w == QLatin1String("DATEDIFF_BIG")) return dateFunction(QStringLiteral("DATEDIFF"), pos);
            return dateFunction(w, pos);
        }
        if (w == QLatin1String("CURRENT_TIMESTAMP")) {
            ++m_i;
            auto e = std::make_unique<Expr>(EK::Func, pos);
            e->parts << QStringLiteral("GETDATE");
            return e;
        }
        if ((w == QLatin1String("LEFT") || w == QLatin1String("RIGHT")) && peek().isOp("(")) {
            auto e = std::make_unique<Expr>(EK::Func, pos);
            e->parts << w;
            ++m_i;
            functionArgs(*e);
            return finish(std::move(e));
        }
        if (isReserved(t)) syntax(QStringLiteral("an expression"));
        return nameExpression();
    }

    void functionArgs(Expr& e) {
        expectOp("(");
        if (acceptOp(")")) return;
        if (acceptOp("*")) {
            e.star = true;
            expectOp(")");
            return;
        }
        if (acceptKw("DISTINCT"))
            e.flag = true;
        else
            acceptKw("ALL");
        do {
            e.args.push_back(expr());
        } while (acceptOp(","));
        expectOp(")");
    }

    ExprPtr nameExpression() {
        const int pos = cur().pos;
        QStringList parts = qualifiedName();
        if (op("(")) {
            auto e = std::make_unique<Expr>(EK::Func, pos);
            e->parts = parts;
            functionArgs(*e);
            if (kw("OVER")) return windowExpr(std::move(e));
            if (kw("WITHIN")) unsupported(QStringLiteral("WITHIN GROUP"));
            return finish(std::move(e));
        }
        auto e = std::make_unique<Expr>(EK::Column, pos);
        e->parts = parts;
        return e;
    }

    ExprPtr windowExpr(ExprPtr fn) {
        auto w = std::make_unique<Expr>(EK::Window, cur().pos);
        ++m_i; // OVER
        expectOp("(");
        if (acceptKw("PARTITION")) {
            expectKw("BY");
            do {
                w->partitionBy.push_back(expr());
            } while (acceptOp(","));
        }
        if (acceptKw("ORDER")) {
            expectKw("BY");
            w->orderBy = orderItems();
        }
        if (kw("ROWS") || kw("RANGE")) unsupported(QStringLiteral("window frame"));
        expectOp(")");
        w->args.push_back(std::move(fn));
        return finish(std::move(w));
    }

    ExprPtr caseExpr() {
        auto e = std::make_unique<Expr>(EK::Case, cur().pos);
        ++m_i;
        if (!kw("WHEN")) {
            e->hasBase = true;
            e->args.push_back(expr());
        }
        if (!kw("WHEN")) syntax(QStringLiteral("WHEN"));
        while (acceptKw("WHEN")) {
            e->args.push_back(expr());
            expectKw("THEN");
            e->args.push_back(expr());
        }
        if (acceptKw("ELSE")) {
            e->hasElse = true;
            e->args.push_back(expr());
        }
        expectKw("END");
        return finish(std::move(e));
    }
};

} // namespace

std::vector<StmtPtr> parseBatch(const QString& sql) {
    Parser p(sql);
    return p.batch();
}

QString canonicalDatePart(const QString& written) {
    const QString w = written.toLower();
    static const std::pair<const char*, const char*> table[] = {
        {"year", "year"},       {"yy", "year"},
        {"yyyy", "year"},       {"quarter", "quarter"},
        {"qq", "quarter"},      {"q", "quarter"},
        {"month", "month"},     {"mm", "month"},
        {"m", "month"},         {"dayofyear", "dayofyear"},
        {"dy", "dayofyear"},    {"y", "dayofyear"},
        {"day", "day"},         {"dd", "day"},
        {"d", "day"},           {"week", "week"},
        {"wk", "week"},         {"ww", "week"},
        {"weekday", "weekday"}, {"dw", "weekday"},
        {"w", "weekday"},       {"hour", "hour"},
        {"hh", "hour"},         {"minute", "minute"},
        {"mi", "minute"},       {"n", "minute"},
        {"second", "second"},   {"ss", "second"},
        {"s", "second"},        {"millisecond", "millisecond"},
        {"ms", "millisecond"},
    };
    for (const auto& [k, v] : table)
        if (w == QLatin1String(k)) return QString::fromLatin1(v);
    return {};
}

QString bareObjectName(const QString& written) {
    // Split at dots outside brackets, take the last part, strip brackets.
    QString last;
    QString part;
    bool inBracket = false;
    for (int i = 0; i < written.size(); ++i) {
        const QChar c = written[i];
        if (inBracket) {
            if (c == u']') {
                if (i + 1 < written.size() && written[i + 1] == u']') {
                    part += u']';
                    ++i;
                } else {
                    inBracket = false;
                }
            } else {
                part += c;
            }
        } else if (c == u'[') {
            inBracket = true;
        } else if (c == u'.') {
            last = part;
            part.clear();
        } else if (c == u'"') {
            continue;
        } else {
            part += c;
        }
    }
    last = part;
    return last.trimmed();
}

} // namespace lnq::tsql
