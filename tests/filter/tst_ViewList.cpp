// Which views a user sees, run against the sample database through the
// listing the views frame uses, and the texts that rename, delete and open
// views and store their rights.

#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/SampleDatabase.h"
#include "filter/ViewList.h"
#include "util/Exceptions.h"

#include <QTemporaryDir>

using namespace lnq;

class TestViewList : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        lnqtest::openSmallSample(m_ado, m_dir.filePath(QStringLiteral("views.db")), 20);
        m_conn = std::make_unique<TInterfacedADOConnection>(m_ado);
    }

    void listingText() {
        QCOMPARE(
            ViewListingSQL(QStringLiteral(".CUS"), QStringLiteral("o'neil"), QStringLiteral("[B")),
            QStringLiteral("select dbo.GetFilePath(vFileName) as f1,dbo.GetFileName(vFileName) as "
                           "f2,vDescription from Sys_FileBase where vExt='.CUS' and (bShare=1 or "
                           "vOwner='o''neil' or charindex(',o'neil,',vAllowedUsers)>0 or "
                           "dbo.intersectstr(vAllowedGroups,'[B'  )>0) order by dbo.GetFilePath(vFileName)"));
    }

    void visibleViews_data() {
        QTest::addColumn<QString>("ext");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("groups");
        QTest::addColumn<QStringList>("views");
        const QStringList shared{"常用视图\\北京客户", "常用视图\\本月新增客户", "常用视图\\代理商",
                                 "旧版视图\\上海客户"};
        const auto add = [](const char* row, const char* ext, const char* user, const char* groups,
                            const QStringList& views) {
            QTest::newRow(row) << QString::fromUtf8(ext) << QString::fromUtf8(user)
                               << QString::fromUtf8(groups) << views;
        };
        // Shared views only: a user with no rights of any kind.
        add("shared only", ".CUS", "nobody", "", shared);
        // Owner of a private view, and of one that lists other users.
        add("owner", ".CUS", "lina", "",
            shared + QStringList{"销售分析\\重点或大额信用客户", "销售分析\\最近30天拜访"});
        // Allowed by name only.
        add("allowed user", ".CUS", "wangfang", "", shared + QStringList{"销售分析\\重点或大额信用客户"});
        // Allowed by group only, the group given in its two-character form.
        add("allowed group", ".CUS", "machao", "[C", QStringList{"客服专区\\待回访客户"} + shared);
        add("group of several", ".SAL", "wujie", "[B[D",
            {"财务\\大额销售单", "常用视图\\今天的销售单", "常用视图\\未审核销售单"});
        // A name that is a prefix of an allowed one is not allowed.
        add("prefix of a name", ".CUS", "lin", "", shared);
        add("other extension", ".PRD", "admin", "[A", {});
    }
    void visibleViews() {
        QFETCH(QString, ext);
        QFETCH(QString, user);
        QFETCH(QString, groups);
        QFETCH(QStringList, views);
        QStringList got;
        for (const TViewEntry& v : LoadViewList(*m_conn, ext, user, groups))
            got << v.Folder + QLatin1Char('\\') + v.Name;
        // Folders come grouped.
        QStringList folders;
        for (const QString& v : got)
            if (folders.isEmpty() || folders.last() != v.section('\\', 0, 0))
                folders << v.section('\\', 0, 0);
        QCOMPARE(QSet<QString>(folders.begin(), folders.end()).size(), folders.size());
        got.sort();
        views.sort();
        QCOMPARE(got, views);
    }

    void quotedNames() {
        // The owner part is quoted, so a view owned by o'neil matches; the
        // unquoted charindex pattern then ends the text: the database refuses
        // the listing, and the error reaches the caller.
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, LoadViewList(*m_conn, QStringLiteral(".CUS"),
                                                              QStringLiteral("o'neil"), QString()));
        // Quotes in the other parts are doubled.
        const auto rows =
            LoadViewList(*m_conn, QStringLiteral(".CUS'"), QStringLiteral("zhangwei"), QStringLiteral("[B'"));
        QVERIFY(rows.empty());
        // A view that allows o'neil by name is seen by the other user it names.
        bool found = false;
        for (const TViewEntry& v :
             LoadViewList(*m_conn, QStringLiteral(".CUS"), QStringLiteral("chenjing"), QString()))
            found = found || (v.Name == QStringLiteral("北京重点客户") &&
                              v.Description == QStringLiteral("北京客户中自己建档的"));
        QVERIFY(found);
    }

    void statementTexts() {
        QCOMPARE(
            ViewDuplicateCountSQL(QStringLiteral("客户"), QStringLiteral("新'名"), QStringLiteral("客户\\旧"),
                                  QStringLiteral(".CUS")),
            QStringLiteral(" SELECT COUNT(*)  FROM Sys_FileBase WHERE vFileName + vExt = '客户\\新''名.CUS' "
                           "AND vFileName + vExt <> '客户\\旧.CUS'"));
        QCOMPARE(ViewRenameSQL(QStringLiteral("客户"), QStringLiteral("新"), QStringLiteral("客户\\旧"),
                               QStringLiteral(".CUS")),
                 QStringLiteral("update sys_FileBase  set vFileName='客户\\新' ,   vExt='.CUS' where "
                                "vFileName+vExt='客户\\旧.CUS'"));
        QCOMPARE(ViewDeleteSQL(QStringLiteral("客户\\o'k"), QStringLiteral(".CUS")),
                 QStringLiteral("delete sys_FileBase where vFileName+vExt='客户\\o''k.CUS'"));
        // The statements run as written on the embedded database.
        const auto count = m_conn->ExecuteWithQuery(
            ViewDuplicateCountSQL(QStringLiteral("常用视图"), QStringLiteral("代理商"),
                                  QStringLiteral("常用视图\\北京客户"), QStringLiteral(".CUS")));
        QCOMPARE(count->Fields(0).AsInteger(), 1);
    }

    void openedSql_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("isSQL");
        QTest::addColumn<bool>("rights");
        QTest::addColumn<QString>("sql");
        QTest::newRow("conditions") << " and (a=1 )" << false << false
                                    << "select * from T where 1=1   and (a=1 )";
        QTest::newRow("conditions, rights")
            << " and (a=1 )" << false << true << "select * from T where 1=1   and (a=1 ) and own=1";
        QTest::newRow("raw sql keeps its text") << "select 1 from X" << true << true << "select 1 from X";
    }
    void openedSql() {
        QFETCH(QString, stored);
        QFETCH(bool, isSQL);
        QFETCH(bool, rights);
        QFETCH(QString, sql);
        QCOMPARE(OpenViewSQL(stored, isSQL, QStringLiteral("T"), rights, QStringLiteral("own=1")), sql);
    }

    void userSubstitution() {
        QCOMPARE(SubstituteUser(QStringLiteral("a='[%用户代码%]' or b='[%用户名称%]' or c='[%用户代码%]' "
                                               "or d='[%用户名称%]'"),
                                QStringLiteral("u[%用户名称%]"), QStringLiteral("李娜")),
                 QStringLiteral("a='u李娜' or b='李娜' or c='u李娜' or d='李娜'"));
    }

    void rightsLists() {
        QCOMPARE(AllowedUsersText({}), QStringLiteral(","));
        QCOMPARE(AllowedUsersText({QStringLiteral("a"), QStringLiteral("o'neil")}),
                 QStringLiteral(",a,o'neil,"));
        QVERIFY(UserAllowed(QStringLiteral(",ann,"), QStringLiteral("ann")));
        QVERIFY(!UserAllowed(QStringLiteral(",ann,"), QStringLiteral("an")));
        QCOMPARE(AllowedGroupsText({GroupEntryText(QStringLiteral("B0"), QStringLiteral("销售部")),
                                    QStringLiteral("老组"), GroupEntryText(QStringLiteral("C0"), QString())}),
                 QStringLiteral("[B老组[C"));
        QVERIFY(GroupAllowed(QStringLiteral("[B[C"), QStringLiteral("[C0]客服部")));
        QVERIFY(!GroupAllowed(QStringLiteral("[B"), QStringLiteral("[C0]客服部")));
    }

    void searchBoxMatches_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("kept");
        const auto add = [](const char* row, const char* name, const char* text, bool kept) {
            QTest::newRow(row) << QString::fromUtf8(name) << QString::fromUtf8(text) << kept;
        };
        add("initials", "北京客户", "bjkh", true);
        add("initials, capitals", "北京客户", "BJ", true);
        add("initials inside", "本月新增客户", "xzkh", true);
        add("other initials", "北京重点客户", "bjkh", false);
        add("text", "重点或大额信用客户", "大额", true);
        add("latin text, case", "VIP客户", "vip", true);
        add("no match", "代理商", "北京", false);
        add("empty keeps all", "代理商", "  ", true);
    }
    void searchBoxMatches() {
        QFETCH(QString, name);
        QFETCH(QString, text);
        QFETCH(bool, kept);
        QCOMPARE(ViewNameMatches(name, text), kept);
    }

private:
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::unique_ptr<TInterfacedADOConnection> m_conn;
};

LNQ_TEST_MAIN_CORE(TestViewList)
#include "tst_ViewList.moc"
