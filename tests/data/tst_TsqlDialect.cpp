#include "common/TestMain.h"
#include "data/TsqlDialect.h"
#include "util/Clock.h"

#include <QDir>
#include <QFile>
#include <QStringList>
#include <sqlite3.h>

using lnq::TsqlDialect;

namespace {

// A fresh in-memory database with the dialect attached.
struct Db {
    sqlite3* db = nullptr;
    std::unique_ptr<TsqlDialect> t;
    Db() {
        sqlite3_open(":memory:", &db);
        t = std::make_unique<TsqlDialect>(db);
    }
    ~Db() {
        t.reset();
        sqlite3_close(db);
    }
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;

    static QString cell(sqlite3_stmt* st, int i) {
        switch (sqlite3_column_type(st, i)) {
        case SQLITE_NULL:
            return QStringLiteral("NULL");
        case SQLITE_INTEGER:
            return QString::number(sqlite3_column_int64(st, i));
        case SQLITE_FLOAT:
            return QString::number(sqlite3_column_double(st, i), 'g', 15);
        case SQLITE_BLOB: {
            const QByteArray b(static_cast<const char*>(sqlite3_column_blob(st, i)),
                               sqlite3_column_bytes(st, i));
            return QStringLiteral("0x") + QString::fromLatin1(b.toHex().toUpper());
        }
        default:
            return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, i)),
                                     sqlite3_column_bytes(st, i));
        }
    }

    // Rows as "a | b | c"; raises the database error of a failing step.
    // With rowIdColumn the query is prepared with the rowid.
    QStringList rows(const QString& sql, QStringList* names = nullptr, std::vector<QString>* types = nullptr,
                     QString* baseTable = nullptr, int* rowIdColumn = nullptr) {
        lnq::TsqlPrepared p = t->PrepareQuery(sql, rowIdColumn != nullptr);
        if (rowIdColumn) *rowIdColumn = p.rowIdColumn;
        const int n = sqlite3_column_count(p.stmt);
        if (names) {
            names->clear();
            for (int i = 0; i < n; ++i)
                *names << QString::fromUtf8(sqlite3_column_name(p.stmt, i));
        }
        if (types) *types = p.declaredTypes;
        if (baseTable) *baseTable = p.baseTable;
        QStringList out;
        int rc;
        while ((rc = sqlite3_step(p.stmt)) == SQLITE_ROW) {
            QStringList cells;
            for (int i = 0; i < n; ++i)
                cells << cell(p.stmt, i);
            out << cells.join(QStringLiteral(" | "));
        }
        if (rc != SQLITE_DONE) throw lnq::EDatabaseError(QString::fromUtf8(sqlite3_errmsg(db)));
        return out;
    }
    QString value(const QString& sql) {
        const QStringList r = rows(sql);
        return r.isEmpty() ? QStringLiteral("<no row>") : r.first();
    }
};

// One case of the conformance corpus (tests/data/tsql_corpus/*.tsql).
struct Case {
    QString file, name, source, now = QStringLiteral("2024-03-15 10:30:00");
    QString setup, query, error;
    QStringList expect;
    bool hasExpect = false;
    bool unordered = false;
};

QList<Case> loadCorpus() {
    QList<Case> cases;
    const QDir dir(QStringLiteral(LNQ_TEST_DATA_DIR "/tsql_corpus"));
    const QStringList files = dir.entryList({QStringLiteral("*.tsql")}, QDir::Files, QDir::Name);
    for (const QString& f : files) {
        QFile file(dir.filePath(f));
        if (!file.open(QIODevice::ReadOnly)) qFatal("cannot read corpus file %s", qPrintable(f));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
        Case* c = nullptr;
        QString section;
        for (QString line : lines) {
            if (line.endsWith(u'\r')) line.chop(1);
            if (line.startsWith(QLatin1String("=== "))) {
                cases.append(Case{});
                c = &cases.last();
                c->file = f;
                c->name = line.mid(4).trimmed();
                section.clear();
                continue;
            }
            if (!c) continue; // file header
            if (line.startsWith(QLatin1String("source:"))) {
                c->source = line.mid(7).trimmed();
            } else if (line.startsWith(QLatin1String("now:"))) {
                c->now = line.mid(4).trimmed();
            } else if (line == QLatin1String("rows: unordered")) {
                c->unordered = true;
            } else if (line == QLatin1String("setup:") || line == QLatin1String("query:") ||
                       line == QLatin1String("expect:") || line == QLatin1String("error:")) {
                section = line.chopped(1);
                if (section == QLatin1String("expect")) c->hasExpect = true;
            } else if (section == QLatin1String("setup")) {
                c->setup += line + u'\n';
            } else if (section == QLatin1String("query")) {
                c->query += (c->query.isEmpty() ? QString() : QStringLiteral("\n")) + line;
            } else if (section == QLatin1String("expect")) {
                if (!line.isEmpty()) c->expect << line;
            } else if (section == QLatin1String("error")) {
                if (!line.isEmpty()) c->error = line;
            }
        }
    }
    return cases;
}

} // namespace

Q_DECLARE_METATYPE(Case)

class TestTsqlDialect : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() {
        lnq::Clock::setFixedNow(QDateTime::fromString(QStringLiteral("2024-03-15 10:30:00"), Qt::ISODate));
    }
    void cleanupTestCase() { lnq::Clock::setFixedNow(std::nullopt); }

    void corpus_data();
    void corpus();
    void corpusIsLargeAndSourced();

    void createTempCustomerBatch();

    void unsupportedConstructsAreNamed_data();
    void unsupportedConstructsAreNamed();
    void stackedStatementsAreRefused_data();
    void stackedStatementsAreRefused();
    void textPlusTextIsNeverZero_data();
    void textPlusTextIsNeverZero();

    void declaredTypesAndBaseTable();
    void identityValues();
    void translationCacheFollowsSchema();
    void getDateIsOneMomentPerStatement();
    void syntaxErrorsAreReported_data();
    void syntaxErrorsAreReported();
    void deepNestingIsRefused_data();
    void deepNestingIsRefused();
    void rowIdColumn_data();
    void rowIdColumn();
    void rowIdName();

    void outputIsLinear_data();
    void outputIsLinear();
    void literalsStayLiterals();
    void errorsQuoteLittle_data();
    void errorsQuoteLittle();
    void translationCacheIsBoundedBySize();
};

void TestTsqlDialect::corpus_data() {
    QTest::addColumn<Case>("c");
    for (const Case& c : loadCorpus())
        QTest::newRow(qPrintable(c.file + QStringLiteral(": ") + c.name)) << c;
}

void TestTsqlDialect::corpus() {
    QFETCH(Case, c);
    lnq::Clock::setFixedNow(QDateTime::fromString(c.now, QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    Db db;
    const bool errorInSetup = !c.error.isEmpty() && c.query.isEmpty();
    try {
        if (!c.setup.trimmed().isEmpty()) db.t->ExecuteBatch(c.setup);
        if (errorInSetup)
            QFAIL(qPrintable(QStringLiteral("expected error \"%1\" from the setup").arg(c.error)));
    } catch (const lnq::Exception& e) {
        if (!errorInSetup) QFAIL(qPrintable(QStringLiteral("setup failed: ") + e.Message()));
        QVERIFY2(e.Message().contains(c.error, Qt::CaseInsensitive), qPrintable(e.Message()));
        return;
    }
    if (c.query.isEmpty()) return;
    QStringList got;
    try {
        got = db.rows(c.query);
    } catch (const lnq::Exception& e) {
        if (c.error.isEmpty())
            QFAIL(qPrintable(QStringLiteral("query failed: %1\nSQLite text: %2").arg(e.Message(), [&] {
                try {
                    return db.t->Translate(c.query);
                } catch (const lnq::Exception&) {
                    return QString();
                }
            }())));
        QVERIFY2(e.Message().contains(c.error, Qt::CaseInsensitive), qPrintable(e.Message()));
        return;
    }
    if (!c.error.isEmpty()) QFAIL(qPrintable(QStringLiteral("expected error \"%1\", got rows").arg(c.error)));
    QStringList want = c.expect;
    if (c.unordered) {
        got.sort();
        want.sort();
    }
    if (got != want)
        QFAIL(qPrintable(QStringLiteral("rows differ\n got: %1\nwant: %2\nSQLite text: %3")
                             .arg(got.join(QStringLiteral(" / ")), want.join(QStringLiteral(" / ")),
                                  db.t->Translate(c.query))));
}

void TestTsqlDialect::corpusIsLargeAndSourced() {
    const QList<Case> cases = loadCorpus();
    QVERIFY2(cases.size() >= 80, qPrintable(QString::number(cases.size())));
    for (const Case& c : cases) {
        QVERIFY2(!c.source.isEmpty(),
                 qPrintable(c.file + QStringLiteral(": ") + c.name + QStringLiteral(" has no source")));
        QVERIFY2(c.hasExpect || !c.error.isEmpty() || c.query.isEmpty(),
                 qPrintable(c.name + QStringLiteral(" expects nothing")));
    }
}

void TestTsqlDialect::createTempCustomerBatch() {
    // Run twice: the second run drops the filled table and creates it empty.
    const QString sql = QStringLiteral(
        " if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[TmpCust_1]') and "
        "OBJECTPROPERTY(id, N'IsUserTable') = 1) drop table [dbo].[TmpCust_1]  CREATE TABLE "
        "[dbo].[TmpCust_1] "
        "( \t[客户编码] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL , \t[Email] [varchar] (50) COLLATE "
        "Chinese_PRC_CI_AS NULL , \t[日期01] [datetime] NULL  ) ON [PRIMARY]");

    Db db;
    db.t->ExecuteBatch(sql);
    db.t->ExecuteBatch(QStringLiteral("insert into TmpCust_1 (客户编码, 日期01) values ('a', '2024-3-5')"));
    QCOMPARE(db.value(QStringLiteral("select count(*) from TmpCust_1")), QStringLiteral("1"));
    db.t->ExecuteBatch(sql);
    QCOMPARE(db.value(QStringLiteral("select count(*) from TmpCust_1")), QStringLiteral("0"));
    QStringList names;
    std::vector<QString> types;
    db.rows(QStringLiteral("select * from TmpCust_1"), &names, &types);
    QCOMPARE(names.size(), 3);
    QCOMPARE(names.first(), QStringLiteral("客户编码"));
    QCOMPARE(types.front(), QStringLiteral("VARCHAR(50)"));
    QCOMPARE(types.back(), QStringLiteral("DATETIME"));
    // Text columns compare case-insensitively and keep their declared type for any SQLite tool.
    db.t->ExecuteBatch(QStringLiteral("insert into TmpCust_1 (Email) values ('A@X.CN')"));
    QCOMPARE(db.value(QStringLiteral("select count(*) from TmpCust_1 where Email = 'a@x.cn'")),
             QStringLiteral("1"));
    char* err = nullptr;
    QCOMPARE(sqlite3_exec(db.db, "SELECT 1 FROM TmpCust_1 WHERE Email = 'a@x.cn'", nullptr, nullptr, &err),
             SQLITE_OK);
    QCOMPARE(
        db.value(QStringLiteral("select count(*) from sysobjects where name = 'tmpcust_1' and xtype = 'U'")),
        QStringLiteral("1"));
}

void TestTsqlDialect::unsupportedConstructsAreNamed_data() {
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("named");
    QTest::newRow("with ties") << QStringLiteral("SELECT TOP 1 WITH TIES * FROM T ORDER BY a")
                               << QStringLiteral("WITH TIES");
    QTest::newRow("other dbo function")
        << QStringLiteral("SELECT dbo.fnX(a) FROM T") << QStringLiteral("dbo.fnX");
    QTest::newRow("variable") << QStringLiteral("SELECT * FROM T WHERE a = @a") << QStringLiteral("@A");
    QTest::newRow("for xml") << QStringLiteral("SELECT * FROM T FOR XML AUTO") << QStringLiteral("FOR XML");
    QTest::newRow("case-sensitive collate")
        << QStringLiteral("SELECT * FROM T WHERE a = 'x' COLLATE Latin1_General_CS_AS")
        << QStringLiteral("COLLATE Latin1_General_CS_AS");
    QTest::newRow("bad datepart") << QStringLiteral("SELECT DATEDIFF(fortnight, a, b) FROM T")
                                  << QStringLiteral("fortnight");
    QTest::newRow("convert style") << QStringLiteral("SELECT CONVERT(varchar, GETDATE(), 999)")
                                   << QStringLiteral("style 999");
    QTest::newRow("alter column") << QStringLiteral("ALTER TABLE T ALTER COLUMN a int")
                                  << QStringLiteral("ALTER TABLE ALTER");
    QTest::newRow("create procedure")
        << QStringLiteral("CREATE PROCEDURE p AS SELECT 1") << QStringLiteral("CREATE PROCEDURE");
    QTest::newRow("three-part name") << QStringLiteral("SELECT * FROM db.dbo.T")
                                     << QStringLiteral("db.dbo.T");
    QTest::newRow("any subquery") << QStringLiteral("SELECT * FROM T WHERE a > ANY (SELECT a FROM T)")
                                  << QStringLiteral("ANY");
    QTest::newRow("while") << QStringLiteral("WHILE 1=1 BREAK") << QStringLiteral("WHILE");
    QTest::newRow("set option") << QStringLiteral("SET DATEFORMAT dmy") << QStringLiteral("SET DATEFORMAT");
    QTest::newRow("datetime minus datetime")
        << QStringLiteral("SELECT GETDATE() - GETDATE()") << QStringLiteral("datetime");
}

void TestTsqlDialect::unsupportedConstructsAreNamed() {
    QFETCH(QString, sql);
    QFETCH(QString, named);
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE T (a int, b datetime)"));
    for (int viaBatch = 0; viaBatch < 2; ++viaBatch) {
        try {
            if (viaBatch)
                db.t->ExecuteBatch(sql);
            else
                db.t->PrepareQuery(sql);
            QFAIL("accepted");
        } catch (const lnq::ETsqlError& e) {
            QVERIFY2(e.Message().contains(named, Qt::CaseInsensitive), qPrintable(e.Message()));
        }
    }
}

void TestTsqlDialect::stackedStatementsAreRefused_data() {
    QTest::addColumn<QString>("sql");
    QTest::newRow("semicolon") << QStringLiteral("select * from T where a = 1; drop table T");
    QTest::newRow("juxtaposed") << QStringLiteral("select * from T where a = 1 drop table T");
    QTest::newRow("injected value") << QStringLiteral("select * from T where b = 'x'; delete T --'");
    QTest::newRow("after GO") << QStringLiteral("select * from T\nGO\ndrop table T");
    QTest::newRow("two semicolons") << QStringLiteral("select 1;; select 2");
}

void TestTsqlDialect::stackedStatementsAreRefused() {
    QFETCH(QString, sql);
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE T (a int, b nvarchar(10)) INSERT T VALUES (1, 'x')"));
    try {
        db.t->PrepareQuery(sql);
        QFAIL("a stacked statement was accepted");
    } catch (const lnq::ETsqlError& e) {
        QVERIFY2(e.Message().contains(QLatin1String("only one statement")), qPrintable(e.Message()));
    }
    QCOMPARE(db.value(QStringLiteral("select count(*) from T")), QStringLiteral("1"));
    // One trailing semicolon, blanks and comments are fine.
    QCOMPARE(db.value(QStringLiteral("select a from T; ")), QStringLiteral("1"));
    QCOMPARE(db.value(QStringLiteral("select a from T; -- done")), QStringLiteral("1"));
}

void TestTsqlDialect::textPlusTextIsNeverZero_data() {
    QTest::addColumn<QString>("expr");
    QTest::addColumn<QString>("result");
    QTest::newRow("columns") << QStringLiteral("v1+v2") << QStringLiteral("xy");
    QTest::newRow("derived column") << QStringLiteral("(select top 1 v1 from S)+'b'") << QStringLiteral("xb");
    QTest::newRow("untyped view column") << QStringLiteral("(select w from V)+'b'") << QStringLiteral("xxb");
    QTest::newRow("function results") << QStringLiteral("upper(v1)+lower('B')") << QStringLiteral("Xb");
    QTest::newRow("case result") << QStringLiteral("case when 1=1 then 'a' end + 'b'")
                                 << QStringLiteral("ab");
    QTest::newRow("convert") << QStringLiteral("convert(varchar(5), 12)+'b'") << QStringLiteral("12b");
    QTest::newRow("digits stay text") << QStringLiteral("'1'+'2'") << QStringLiteral("12");
    QTest::newRow("then to number") << QStringLiteral("'1'+'2'+3") << QStringLiteral("15");
    QTest::newRow("null propagates") << QStringLiteral("v1+NULL") << QStringLiteral("NULL");
    QTest::newRow("null column") << QStringLiteral("v1+vn") << QStringLiteral("NULL");
}

void TestTsqlDialect::textPlusTextIsNeverZero() {
    QFETCH(QString, expr);
    QFETCH(QString, result);
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE S (v1 varchar(10), v2 nvarchar(10), vn varchar(5)) "
                                      "INSERT S (v1, v2) VALUES ('x', 'y') "
                                      "CREATE VIEW V AS SELECT v1 + v1 AS w FROM S"));
    QCOMPARE(db.value(QStringLiteral("select ") + expr + QStringLiteral(" from S")), result);
    // Also through a raw SQLite view whose column has no declared type.
    sqlite3_exec(db.db, "CREATE VIEW R AS SELECT v1 || '' AS u, v2 || '' AS w FROM S", nullptr, nullptr,
                 nullptr);
    QCOMPARE(db.value(QStringLiteral("select u + w from R")), QStringLiteral("xy"));
}

void TestTsqlDialect::declaredTypesAndBaseTable() {
    Db db;
    db.t->ExecuteBatch(
        QStringLiteral("CREATE TABLE [dbo].[Orders] ([iNo] [int] IDENTITY (1, 1) NOT NULL, [dDate] "
                       "[datetime] NULL, [bDone] [bit] "
                       "NOT NULL DEFAULT (0), [mAmount] [money] NULL, [nRate] [decimal](18, 2) NULL, [vName] "
                       "[nvarchar](50) NULL, "
                       "[vMemo] [varchar](max) NULL, [imgData] [image] NULL, CONSTRAINT [PK_Orders] PRIMARY "
                       "KEY CLUSTERED ([iNo] "
                       "ASC) WITH (PAD_INDEX = OFF) ON [PRIMARY]) ON [PRIMARY] TEXTIMAGE_ON [PRIMARY]"));
    std::vector<QString> types;
    QString base;
    QStringList names;
    db.rows(QStringLiteral("SELECT TOP 100 * FROM Orders ORDER BY iNo DESC"), &names, &types, &base);
    const std::vector<QString> want = {QStringLiteral("INT IDENTITY"),  QStringLiteral("DATETIME"),
                                       QStringLiteral("BIT"),           QStringLiteral("MONEY"),
                                       QStringLiteral("DECIMAL(18,2)"), QStringLiteral("NVARCHAR(50)"),
                                       QStringLiteral("VARCHAR(MAX)"),  QStringLiteral("IMAGE")};
    QCOMPARE(types, want);
    QCOMPARE(base, QStringLiteral("Orders"));
    db.rows(
        QStringLiteral(
            "select o.vName, count(*) as n, max(dDate) last, sum(mAmount) from Orders o group by o.vName"),
        &names, &types, &base);
    QCOMPARE(names,
             (QStringList{QStringLiteral("vName"), QStringLiteral("n"), QStringLiteral("last"), QString()}));
    QCOMPARE(types, (std::vector<QString>{QStringLiteral("NVARCHAR(50)"), QStringLiteral("INT"),
                                          QStringLiteral("DATETIME"), QStringLiteral("MONEY")}));
    QCOMPARE(base, QStringLiteral("Orders"));
    db.rows(QStringLiteral("select a.vName from Orders a join Orders b on a.iNo = b.iNo"), &names, &types,
            &base);
    QCOMPARE(base, QString());
    // The default and the bit column work as declared.
    db.t->ExecuteBatch(QStringLiteral("insert into Orders (dDate, nRate) values ('2024-03-05', 1.005)"));
    QCOMPARE(db.value(QStringLiteral("select bDone, nRate, dDate from Orders")),
             QStringLiteral("0 | 1.01 | 2024-03-05 00:00:00"));
}

void TestTsqlDialect::identityValues() {
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE T (id int IDENTITY(100,1) PRIMARY KEY, v nvarchar(10))"));
    db.t->ExecuteBatch(QStringLiteral("INSERT INTO T VALUES (N'a')"));
    QCOMPARE(db.t->LastIdentity(), 100);
    db.t->ExecuteBatch(QStringLiteral("INSERT T (v) VALUES ('b')"));
    QCOMPARE(db.t->LastIdentity(), 101);
    QCOMPARE(db.value(QStringLiteral("SELECT IDENT_CURRENT('T')")), QStringLiteral("101"));
}

void TestTsqlDialect::translationCacheFollowsSchema() {
    Db db;
    db.t->ExecuteBatch(
        QStringLiteral("CREATE TABLE T (a varchar(10), b varchar(10)) INSERT T VALUES ('1', '2')"));
    const QString q = QStringLiteral("select a + b from T");
    QCOMPARE(db.value(q), QStringLiteral("12"));
    // The same text means addition once the columns are numbers.
    db.t->ExecuteBatch(QStringLiteral("DROP TABLE T CREATE TABLE T (a int, b int) INSERT T VALUES (1, 2)"));
    QCOMPARE(db.value(q), QStringLiteral("3"));
    // Also when another connection changes the schema behind the dialect's back.
    sqlite3_exec(db.db, "DROP TABLE T; CREATE TABLE T (a TEXT, b TEXT); INSERT INTO T VALUES ('4', '5');",
                 nullptr, nullptr, nullptr);
    QCOMPARE(db.value(q), QStringLiteral("45"));
}

// SQL Server evaluates GETDATE() once per query: rows read while the clock
// moves on must all see the same moment, and the next run sees the new time.
void TestTsqlDialect::getDateIsOneMomentPerStatement() {
    Db db;
    db.t->ExecuteBatch(QStringLiteral("create table T (n int); insert into T values (1); "
                                      "insert into T values (2); insert into T values (3)"));
    static QDateTime moment;
    moment = QDateTime(QDate(2024, 3, 15), QTime(23, 59, 59));
    lnq::Clock::setFixedNow(moment);
    // Moves the clock a second on every call, as a slow query would see it.
    sqlite3_create_function_v2(
        db.db, "test_tick", 0, SQLITE_UTF8, nullptr,
        [](sqlite3_context* ctx, int, sqlite3_value**) {
            moment = moment.addSecs(1);
            lnq::Clock::setFixedNow(moment);
            sqlite3_result_int(ctx, 0);
        },
        nullptr, nullptr, nullptr);
    const QString tsql = QStringLiteral("select getdate(), datediff(d, '2024-03-15', getdate()) from T");
    const QString sqlite = db.t->Translate(tsql);
    sqlite3_stmt* st = nullptr;
    const QByteArray withTick = (QStringLiteral("select test_tick(), * from (") + sqlite + u')').toUtf8();
    QCOMPARE(sqlite3_prepare_v2(db.db, withTick.constData(), -1, &st, nullptr), SQLITE_OK);
    QStringList seen;
    while (sqlite3_step(st) == SQLITE_ROW)
        seen << Db::cell(st, 1) + u'/' + Db::cell(st, 2);
    // The clock crossed midnight during the run; every row still sees the first moment.
    QCOMPARE(seen, QStringList(3, QStringLiteral("2024-03-16 00:00:00/1")));
    // A new run of the same statement reads the clock again.
    sqlite3_reset(st);
    lnq::Clock::setFixedNow(QDateTime(QDate(2025, 1, 1), QTime(8, 0, 0)));
    moment = QDateTime(QDate(2025, 1, 1), QTime(8, 0, 0));
    QCOMPARE(sqlite3_step(st), SQLITE_ROW);
    QVERIFY(Db::cell(st, 1).startsWith(QStringLiteral("2025-01-01 08:00")));
    sqlite3_finalize(st);
}

void TestTsqlDialect::syntaxErrorsAreReported_data() {
    QTest::addColumn<QString>("sql");
    QTest::newRow("unterminated bracket") << QStringLiteral("select [abc from T");
    QTest::newRow("unterminated comment") << QStringLiteral("select 1 /* open");
    QTest::newRow("missing expression") << QStringLiteral("select from T");
    QTest::newRow("dangling operator") << QStringLiteral("select 1 +");
    QTest::newRow("stray character") << QStringLiteral("select ? from T");
    QTest::newRow("empty") << QStringLiteral("   -- nothing");
    QTest::newRow("bad date literal") << QStringLiteral("select datediff(d, '2024-02-30', getdate())");
    QTest::newRow("case without when") << QStringLiteral("select case 1 end");
}

void TestTsqlDialect::syntaxErrorsAreReported() {
    QFETCH(QString, sql);
    Db db;
    QVERIFY_THROWS_EXCEPTION(lnq::ETsqlError, db.t->PrepareQuery(sql));
}

void TestTsqlDialect::deepNestingIsRefused_data() {
    QTest::addColumn<QString>("sql");
    QTest::addColumn<bool>("accepted");
    const auto repeat = [](const char* s, int n) { return QString::fromLatin1(s).repeated(n); };
    QTest::newRow("parentheses 50") << QStringLiteral("select ") + repeat("(", 50) + u'1' + repeat(")", 50)
                                    << true;
    QTest::newRow("parentheses 100000")
        << QStringLiteral("select ") + repeat("(", 100000) + u'1' + repeat(")", 100000) << false;
    QTest::newRow("minus signs 100000") << QStringLiteral("select ") + repeat("- ", 100000) + u'1' << false;
    QTest::newRow("sum of 150 terms") << QStringLiteral("select 1") + repeat("+1", 150) << true;
    QTest::newRow("sum of 100000 terms") << QStringLiteral("select 1") + repeat("+1", 100000) << false;
    QTest::newRow("and chain") << QStringLiteral("select 1 where 1=1") + repeat(" and 1=1", 50000) << false;
    QTest::newRow("joins 20000") << QStringLiteral("select 1 from T") + repeat(" join T on 1=1", 20000)
                                 << false;
    QTest::newRow("nested subqueries")
        << QStringLiteral("select ") + repeat("(select ", 5000) + u'1' + repeat(")", 5000) << false;
    QTest::newRow("nested if") << repeat("if 1=1 ", 50000) + QStringLiteral("select 1") << false;
    QTest::newRow("long in list") << QStringLiteral("select 1 where 1 in (0") + repeat(",1", 50000) + u')'
                                  << true;
}

void TestTsqlDialect::deepNestingIsRefused() {
    QFETCH(QString, sql);
    QFETCH(bool, accepted);
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE T (a int)"));
    try {
        db.t->ExecuteBatch(sql);
        QVERIFY2(accepted, "a text nested beyond the limit was accepted");
    } catch (const lnq::Exception& e) {
        QVERIFY2(!accepted, qPrintable(e.Message()));
        QVERIFY2(dynamic_cast<const lnq::ETsqlError*>(&e), qPrintable(e.Message()));
        QVERIFY2(e.Message().contains(QLatin1String("nested too deeply")), qPrintable(e.Message()));
    }
}

// Rowids differ from the keys: Goods 1..3 (ids 10, 20, 30), Notes 1..3,
// Odd 1..2 (a column takes "rowid"), Odd2 1 ("rowid" and "_rowid_" taken).
static void createRowIdTables(Db& db) {
    db.t->ExecuteBatch(QStringLiteral(
        "CREATE TABLE Goods (id INT NOT NULL PRIMARY KEY, name NVARCHAR(20), qty INT)\n"
        "INSERT INTO Goods VALUES (10, 'pen', 3)\nINSERT INTO Goods VALUES (20, 'ink', 5)\n"
        "INSERT INTO Goods VALUES (30, 'pad', 5)\n"
        "CREATE TABLE Notes (txt NVARCHAR(10))\nINSERT INTO Notes VALUES ('a')\n"
        "INSERT INTO Notes VALUES ('b')\nINSERT INTO Notes VALUES ('b')\n"
        "CREATE TABLE Odd ([rowid] INT, v INT)\nINSERT INTO Odd VALUES (100, 1)\n"
        "INSERT INTO Odd VALUES (200, 2)\n"
        "CREATE TABLE Odd2 ([rowid] INT, [_rowid_] INT, v INT)\nINSERT INTO Odd2 VALUES (7, 8, 9)"));
    QCOMPARE(sqlite3_exec(db.db,
                          "CREATE VIEW vNotes AS SELECT txt FROM Notes;"
                          "CREATE TABLE Wr (k INTEGER PRIMARY KEY, v TEXT) WITHOUT ROWID;"
                          "INSERT INTO Wr VALUES (1, 'x')",
                          nullptr, nullptr, nullptr),
             SQLITE_OK);
}

void TestTsqlDialect::rowIdColumn_data() {
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("name"); // of the rowid column, "" when none is added
    QTest::addColumn<QStringList>("expect");
    auto add = [](const char* tag, const char* sql, const char* name, QStringList expect = {}) {
        QTest::newRow(tag) << QString::fromUtf8(sql) << QString::fromLatin1(name) << expect;
    };
    add("where, order by", "SELECT name FROM Goods WHERE qty = 5 ORDER BY name", "rowid",
        {QStringLiteral("ink | 2"), QStringLiteral("pad | 3")});
    add("top, order by position", "SELECT TOP 2 name, qty FROM Goods ORDER BY 2 DESC, 1 DESC", "rowid",
        {QStringLiteral("pad | 5 | 3"), QStringLiteral("ink | 5 | 2")});
    add("alias", "SELECT g.name FROM dbo.Goods AS g WHERE g.qty > 3 ORDER BY g.id DESC", "rowid",
        {QStringLiteral("pad | 3"), QStringLiteral("ink | 2")});
    add("bracketed", "SELECT [name], [qty] FROM [dbo].[Goods] WHERE [id] = 10", "rowid",
        {QStringLiteral("pen | 3 | 1")});
    add("star without key", "SELECT * FROM Notes", "rowid",
        {QStringLiteral("a | 1"), QStringLiteral("b | 2"), QStringLiteral("b | 3")});
    add("aggregate in a subquery", "SELECT txt, (SELECT COUNT(*) FROM Goods) FROM Notes WHERE txt = 'a'",
        "rowid", {QStringLiteral("a | 3 | 1")});
    add("top percent, a name twice", "SELECT TOP (50) PERCENT name, name FROM Goods ORDER BY name", "rowid",
        {QStringLiteral("ink | ink | 2"), QStringLiteral("pad | pad | 3")});
    add("column named rowid", "SELECT v FROM Odd ORDER BY v DESC", "_rowid_",
        {QStringLiteral("2 | 2"), QStringLiteral("1 | 1")});
    add("rowid and _rowid_ taken", "SELECT * FROM Odd2", "oid", {QStringLiteral("7 | 8 | 9 | 1")});
    add("whole key held", "SELECT id, name FROM Goods", "");
    add("whole key held, renamed", "SELECT name, ID AS code FROM Goods", "");
    add("whole key held by star", "SELECT * FROM Goods", "");
    add("distinct", "SELECT DISTINCT txt FROM Notes", "");
    add("group by", "SELECT txt, COUNT(*) AS n FROM Notes GROUP BY txt", "");
    add("aggregate", "SELECT COUNT(*) FROM Notes", "");
    add("aggregate in expression", "SELECT MAX(qty) + 1 FROM Goods WHERE qty < 5", "");
    add("union", "SELECT txt FROM Notes UNION SELECT name FROM Goods", "");
    add("cte", "WITH n AS (SELECT txt FROM Notes) SELECT txt FROM n", "");
    add("join", "SELECT n.txt, g.name FROM Notes n JOIN Goods g ON g.qty = 3", "");
    add("derived table", "SELECT x.txt FROM (SELECT txt FROM Notes) AS x", "");
    add("view", "SELECT txt FROM vNotes", "");
    add("without rowid", "SELECT v FROM Wr", "");
    add("catalogue view", "SELECT name FROM sysobjects WHERE name = 'Notes'", "");
}

void TestTsqlDialect::rowIdColumn() {
    QFETCH(QString, sql);
    QFETCH(QString, name);
    QFETCH(QStringList, expect);
    Db db;
    createRowIdTables(db);
    QStringList plainNames, names;
    const QStringList plain = db.rows(sql, &plainNames);
    int rowIdCol = -2;
    const QStringList got = db.rows(sql, &names, nullptr, nullptr, &rowIdCol);
    if (name.isEmpty()) {
        QCOMPARE(rowIdCol, -1);
        QCOMPARE(names, plainNames);
        QCOMPARE(got, plain);
        return;
    }
    // The rowid comes last, after the columns the text asks for.
    QCOMPARE(rowIdCol, plainNames.size());
    QCOMPARE(names, plainNames + QStringList{name});
    QCOMPARE(got, expect);
    // Both translations stay cached side by side.
    QCOMPARE(db.rows(sql, &names), plain);
    QCOMPARE(names, plainNames);
    QCOMPARE(db.rows(sql, nullptr, nullptr, nullptr, &rowIdCol), expect);
}

void TestTsqlDialect::rowIdName() {
    Db db;
    createRowIdTables(db);
    QCOMPARE(db.t->RowIdName(QStringLiteral("goods")), QStringLiteral("rowid"));
    QCOMPARE(db.t->RowIdName(QStringLiteral("Odd")), QStringLiteral("_rowid_"));
    QCOMPARE(db.t->RowIdName(QStringLiteral("Odd2")), QStringLiteral("oid"));
    QCOMPARE(db.t->RowIdName(QStringLiteral("vNotes")), QString());
    QCOMPARE(db.t->RowIdName(QStringLiteral("Wr")), QString());
    QCOMPARE(db.t->RowIdName(QStringLiteral("Missing")), QString());
    // The answer follows the schema.
    db.t->ExecuteBatch(QStringLiteral("DROP TABLE Odd\nCREATE TABLE Odd (v INT)"));
    QCOMPARE(db.t->RowIdName(QStringLiteral("Odd")), QStringLiteral("rowid"));
}

// ------------------------------------------------------------------ hostile input

void TestTsqlDialect::outputIsLinear_data() {
    QTest::addColumn<QString>("level"); // X stands for the nested operand
    QTest::addColumn<QString>("value"); // of 24 levels around 1
    QTest::newRow("xor") << "(X ^ 1)"
                         << "1";
    QTest::newRow("square") << "SQUARE(X)"
                            << "1";
    QTest::newRow("cast to bit") << "CAST(X AS BIT)"
                                 << "1";
    QTest::newRow("power") << "POWER(X, 1)"
                           << "1";
    QTest::newRow("nested minus") << "-(X)"
                                  << "1";
    QTest::newRow("spaced minus") << "- X"
                                  << "1";
    QTest::newRow("minus of text") << "-'-1'+X"
                                   << "25";
}

void TestTsqlDialect::outputIsLinear() {
    QFETCH(QString, level);
    QFETCH(QString, value);
    QString e = QStringLiteral("1");
    for (int i = 0; i < 24; ++i)
        e = QString(level).replace(QLatin1String("X"), e);
    Db db;
    const QString sql = QStringLiteral("SELECT ") + e;
    const QString out = db.t->Translate(sql);
    // Twice the operand per level would be 2^24 times the input.
    QVERIFY2(out.size() < 20 * sql.size(), qPrintable(QString::number(out.size())));
    QCOMPARE(db.value(sql), value);
}

void TestTsqlDialect::literalsStayLiterals() {
    QStringList literals = {"--",
                            "-- x\nDELETE FROM T",
                            "/* open",
                            "*/ close",
                            "'; DROP TABLE T; --",
                            "%1%2 %3",
                            "\n;ATTACH DATABASE 'x.db' AS y;",
                            "]\" [",
                            "中文 ＡＢ"};
    literals << QStringLiteral("a") + QChar(0) + QStringLiteral("'; DELETE FROM T; --");
    // Each with its value.
    const QList<std::pair<QString, QString>> wrappers = {{"-(-1)", "1"},    {"- -1", "1"},   {"-'-1'", "1"},
                                                         {"-(- -1)", "-1"}, {"- (-1)", "1"}, {"~-1", "0"}};
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE T (n int, v nvarchar(100))"));
    int rows = 0;
    for (const QString& lit : literals) {
        const QString& text = lit;
        const QString quoted = u'\'' + QString(text).replace(u'\'', QLatin1String("''")) + u'\'';
        int done = 0;
        for (const auto& [w, n] : wrappers) {
            const QString context = w + QStringLiteral(" with ") + text;
            const QString row = db.value(QStringLiteral("SELECT ") + w + QStringLiteral(", ") + quoted +
                                         QStringLiteral(", ") + w);
            QVERIFY2(row == n + QStringLiteral(" | ") + text + QStringLiteral(" | ") + n,
                     qPrintable(context));
            db.t->ExecuteBatch(QStringLiteral("INSERT INTO T VALUES (") + w + QStringLiteral(", ") + quoted +
                               QStringLiteral(")\nUPDATE T SET n = ") + w + QStringLiteral(" WHERE v = ") +
                               quoted);
            ++rows;
            QCOMPARE(db.value(QStringLiteral("SELECT count(*) FROM T")), QString::number(rows));
            QCOMPARE(db.value(QStringLiteral("SELECT count(*) FROM T WHERE v = ") + quoted),
                     QString::number(++done));
        }
    }
}

void TestTsqlDialect::errorsQuoteLittle_data() {
    QTest::addColumn<QString>("sql");
    const QString mega = QString(1'000'000, u'x');
    QTest::newRow("date literal") << QStringLiteral("SELECT CAST('") + mega +
                                         QStringLiteral("' AS datetime)");
    QTest::newRow("function name") << QStringLiteral("SELECT ") + mega + QStringLiteral("(1)");
    QTest::newRow("syntax near a string") << QStringLiteral("SELECT FROM '") + mega + u'\'';
    QTest::newRow("unknown column") << QStringLiteral("SELECT [") + mega + QStringLiteral("] FROM T");
    QTest::newRow("run-time error") << QStringLiteral("SELECT 1 / 0 + len('") + mega + QStringLiteral("')");
    QTest::newRow("type length") << QStringLiteral("SELECT CAST(1 AS varchar(") + QString(5000, u'9') +
                                        QStringLiteral("))");
    QTest::newRow("replicate past its cap") << QStringLiteral("SELECT replicate('ab', 4611686018427387904)");
}

void TestTsqlDialect::errorsQuoteLittle() {
    QFETCH(QString, sql);
    Db db;
    db.t->ExecuteBatch(QStringLiteral("CREATE TABLE T (a int)"));
    try {
        db.rows(sql);
        QFAIL("accepted");
    } catch (const lnq::Exception& e) {
        QVERIFY2(e.Message().size() < 600, qPrintable(e.Message().left(600)));
    }
}

void TestTsqlDialect::translationCacheIsBoundedBySize() {
    Db db;
    const QString big(60'000, u'x');
    for (int i = 0; i < 300; ++i)
        db.value(QStringLiteral("SELECT len('") + big + QString::number(i) + QStringLiteral("')"));
    const auto [entries, chars] = db.t->CacheUse();
    QVERIFY2(chars <= 4 * 1024 * 1024, qPrintable(QString::number(chars)));
    QVERIFY(entries > 10 && entries < 300);
    // A text too large to be worth keeping is translated each time instead.
    db.value(QStringLiteral("SELECT len('") + QString(2'000'000, u'y') + QStringLiteral("')"));
    QCOMPARE(db.t->CacheUse().first, entries);
}

LNQ_TEST_MAIN_CORE(TestTsqlDialect)
#include "tst_TsqlDialect.moc"
