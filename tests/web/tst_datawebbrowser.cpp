// The record viewer: its pages byte for byte (record and property pages,
// widths, links, captions) and where its links go when a user activates them.

#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QAbstractTextDocumentLayout>
#include <QTemporaryDir>
#include <QTextBlock>

using namespace lnq;

namespace {
const QString kHeader = DataWebPageHeader();

QString cells(const QString& caption, int cw, const QString& value, int vw) {
    return QStringLiteral("<td align=\"right\" width=\"%1%\">").arg(cw) + caption +
           QStringLiteral(":</td><td width=\"%1%\"><font color=\"blue\">").arg(vw) + value +
           QStringLiteral("</font></td>");
}
} // namespace

class TestDataWebBrowser : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_ado.SetConnectionString(m_dir.filePath(QStringLiteral("web.db")));
        m_ado.Open();
        SampleDatabase::CreateSchema(m_ado);
        m_conn = std::make_unique<TInterfacedADOConnection>(m_ado);
        for (const char* sql : {
                 "create table Cust (iNo int, vName nvarchar(40), vMobile nvarchar(20), bAgent bit, "
                 "vPassword nvarchar(20), vNote nvarchar(100), vWeb nvarchar(40))",
                 "insert Cust values (7, N'北京华信', '13800138000', 1, 'x', null, 'http://a.cn/B')",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('Cust', 'vName', N'客户名称', 1)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('Cust', 'vMobile', N'手机', 1)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('Cust', 'vPassword', N'密码', 0)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('Cust', 'bAgent', N'代理商↑', 1)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('Cust', 'vWeb', N'网址', 1)",
                 "create table P (vSubType nvarchar(20), vPropertyName nvarchar(20), vPropertyValue "
                 "nvarchar(40), "
                 "vAppLinkFormat nvarchar(100), iOrder int)",
                 "insert P values (N'联系', N'联系人', N'王五', "
                 "'app://ShowContact?No=[No]&Name=[Value]&X=[No]', 1)",
                 "insert P values (N'基本', N'行业', N'教育', null, 2)",
                 "insert P values (N'联系', N'备注', 'a' + char(13) + char(10) + 'b', '', 3)",
                 "insert P values (N'联系', N'网址', 'http://x.cn', '[Value]', 4)",
                 "insert P values (N'联系', N'传真', '010', null, 5)",
             })
            m_conn->ExecuteNonQuery(QString::fromUtf8(sql));
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        TDataEnvironment::GetInstance(m_ado);
    }
    void cleanupTestCase() { TDataEnvironment::FreeInstance(); }

    void widths_data() {
        QTest::addColumn<int>("columns");
        QTest::addColumn<int>("recordCaption");
        QTest::addColumn<int>("recordValue");
        QTest::addColumn<int>("propertyCaption");
        QTest::addColumn<int>("propertyValue");
        QTest::newRow("1") << 1 << 30 << 70 << 40 << 60;
        QTest::newRow("2") << 2 << 15 << 35 << 20 << 30;
        QTest::newRow("3") << 3 << 10 << 23 << 13 << 20;
        QTest::newRow("4, ties to even") << 4 << 8 << 18 << 10 << 15;
        QTest::newRow("5") << 5 << 6 << 14 << 8 << 12;
        QTest::newRow("12, tie down") << 12 << 2 << 6 << 3 << 5;
    }
    void widths() {
        QFETCH(int, columns);
        QFETCH(int, recordCaption);
        QFETCH(int, recordValue);
        QFETCH(int, propertyCaption);
        QFETCH(int, propertyValue);
        TDataWebPage page;
        page.SetColumnCount(columns);
        page.AddItem(QStringLiteral("a"), QStringLiteral("b"));
        QVERIFY(page.RecordPage().contains(
            cells(QStringLiteral("a"), recordCaption, QStringLiteral("b"), recordValue)));
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral("select * from P where iOrder=2"));
        QVERIFY(page.PropertyPage(*ds, QString())
                    .contains(cells(QStringLiteral("行业"), propertyCaption, QStringLiteral("教育"),
                                    propertyValue)));
    }

    void recordPage() {
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral("select * from Cust"));
        TLNQDataWebBrowser browser;
        browser.SetColumnCount(3);
        browser.CommShowDataSet(*ds);
        const QString expected =
            kHeader + QStringLiteral("<table width=\"100%\"><tr>") + cells("iNo", 10, "7", 23) +
            cells("客户名称", 10, "北京华信", 23) +
            cells("手机", 10, "<a href=\"app://ShowMessageManageDetail?Phone=13800138000\">13800138000</a>",
                  23) +
            QStringLiteral("</tr><tr>") + cells("代理商", 10, "是", 23) + cells("vNote", 10, "", 23) +
            cells("网址", 10, "<a href=\"http://a.cn/B\" target=\"_blank\">http://a.cn/B</a>", 23) +
            QStringLiteral("</tr></table></body></html>");
        QCOMPARE(browser.PageHtml(), expected);
        // A hidden viewer lays the page out when it appears; a shown one at once.
        QVERIFY(browser.toPlainText().isEmpty());
        browser.show();
        QVERIFY(browser.toPlainText().contains(QStringLiteral("北京华信")));
        browser.ShowText(QStringLiteral("全部客户"));
        QCOMPARE(browser.toPlainText(), QStringLiteral("全部客户"));
        browser.hide();
        browser.CommShowDataSet(*ds);
        QCOMPARE(browser.toPlainText(), QStringLiteral("全部客户"));
        browser.EnsurePageLoaded();
        QVERIFY(browser.toPlainText().contains(QStringLiteral("北京华信")));
    }

    void captionMapAndUnchangedPage() {
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral("select iNo, vName, vPassword from Cust"));
        TLNQDataWebBrowser browser;
        browser.SetColumnCount(1);
        // A grid's titles: its sort marks go, "NotVisible" hides, other
        // fields keep their names.
        browser.InitFieldsCaptions(TCaptionMap{{"vname", "名称↓"}, {"vPassword", "NotVisible"}});
        browser.OutPutDataWeb();
        QVERIFY(browser.Page().Items().empty());
        // Without a layout the map is cleared: the dictionary hides vPassword.
        browser.CommShowDataSet(*ds);
        const std::vector<TWebItem> fromDictionary{{"iNo", "7"}, {"客户名称", "北京华信"}};
        QCOMPARE(browser.Page().Items(), fromDictionary);
        browser.InitFieldsCaptions(TCaptionMap{{"vname", "名称↓"}, {"vPassword", "NotVisible"}});
        TDataWebPage page = browser.Page();
        QVERIFY(page.CollectRecord(*ds));
        std::vector<TWebItem> expected{{"iNo", "7"}, {"名称", "北京华信"}};
        QCOMPARE(page.Items(), expected);

        // A layout name goes through the registered reader.
        SetLayoutCaptionsReader([](const QString& name) {
            return name == QLatin1String("Cust.FMT") ? TCaptionMap{{"iNo", "编号"}} : TCaptionMap{};
        });
        browser.CommShowDataSet(*ds, QStringLiteral("Cust.FMT"));
        QVERIFY(browser.PageHtml().contains(cells("编号", 30, "7", 70)));
        SetLayoutCaptionsReader({});

        // A closed or empty dataset leaves the page as it was.
        const QString before = browser.PageHtml();
        const auto empty = m_conn->ExecuteWithQuery(QStringLiteral("select * from Cust where 1=0"));
        browser.CommShowDataSet(*empty);
        QCOMPARE(browser.PageHtml(), before);
        ds->Close();
        browser.CommShowDataSet(*ds);
        QCOMPARE(browser.PageHtml(), before);
    }

    void hrefs_data() {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("html");
        const auto add = [](const char* row, const char* caption, const char* html) {
            QTest::newRow(row) << QString::fromUtf8(caption) << QString::fromUtf8(html);
        };
        const char* mail = "<a href=\"app://ShowMailManageDetail?Phone=v&k=1\">v</a>";
        const char* mobile = "<a href=\"app://ShowMessageManageDetail?Phone=v&k=1\">v</a>";
        add("web", "网址", "<a href=\"v\" target=\"_blank\">v</a>");
        add("mail", "邮箱", mail);
        add("EMAIL", "EMAIL", mail);
        add("Email is no mail caption", "Email", "v");
        add("mobile", "移动电话", mobile);
        add("mobile, short", "手机", mobile);
        add("other", "电话", "v");
    }
    void hrefs() {
        QFETCH(QString, caption);
        QFETCH(QString, html);
        QCOMPARE(GetHrefStr(QStringLiteral("v"), caption, QStringLiteral("&k=1")), html);
    }

    void propertyPage() {
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral("select * from P order by iOrder"));
        TLNQDataWebBrowser browser;
        browser.SetColumnCount(2);
        browser.PropertyOutPutWebHtml(*ds, QStringLiteral("No=12;Y"));
        const QString expected =
            kHeader + QStringLiteral("<br><b>联系</b><table width=\"100%\"><tr>") +
            cells("联系人", 20, "<a href=\"app://ShowContact?No=12&Name=王五&X=12\">王五</a>", 30) +
            cells("备注", 20, "a<BR>b", 30) + QStringLiteral("</tr><tr>") +
            cells("网址", 20, "<a href=\"http://x.cn\">http://x.cn</a>", 30) + cells("传真", 20, "010", 30) +
            QStringLiteral("</table><br><b>基本</b><table width=\"100%\"><tr>") +
            cells("行业", 20, "教育", 30) + QStringLiteral("</table></body></html>");
        QCOMPARE(browser.PageHtml(), expected);
    }

    void navigation_data() {
        QTest::addColumn<QString>("href");
        QTest::addColumn<bool>("handler");
        QTest::addColumn<QString>("toApp");
        QTest::addColumn<QString>("toDesktop");
        const auto add = [](const char* row, const char* href, bool handler, const char* toApp,
                            const char* toDesktop) {
            QTest::newRow(row) << QString::fromUtf8(href) << handler << QString::fromUtf8(toApp)
                               << QString::fromUtf8(toDesktop);
        };
        add("app link keeps its case", "app://ShowContactDetail?iCustomerNo=5", true,
            "app://ShowContactDetail?iCustomerNo=5", "");
        add("scheme in capitals", "APP://Edit?Key=1", true, "APP://Edit?Key=1", "");
        add("mixed case", "App://x", true, "App://x", "");
        add("web link", "http://www.Example.cn/a", true, "", "http://www.example.cn/a");
        add("app link, no handler", "app://X", false, "", "");
    }
    void navigation() {
        QFETCH(QString, href);
        QFETCH(bool, handler);
        QFETCH(QString, toApp);
        QFETCH(QString, toDesktop);
        QString app;
        QString desktop;
        TLNQDataWebBrowser* from = nullptr;
        if (handler)
            TLNQDataWebBrowser::SetAppNavigate([&](TLNQDataWebBrowser& sender, const QString& url) {
                from = &sender;
                app = url;
            });
        else
            TLNQDataWebBrowser::SetAppNavigate({});

        TLNQDataWebBrowser browser;
        browser.OnOpenExternal = [&](const QUrl& url) { desktop = url.toString(); };
        browser.resize(500, 200);
        browser.AddItem(QStringLiteral("链接"),
                        QStringLiteral("<a href=\"") + href + QStringLiteral("\">go</a>"));
        browser.SetColumnCount(1);
        browser.OutPutDataWeb();
        browser.show();
        QVERIFY(QTest::qWaitForWindowExposed(&browser));

        // Click on the link text as a user would.
        QTextCursor cursor = browser.document()->find(QStringLiteral("go"));
        QVERIFY(!cursor.isNull());
        cursor.setPosition(cursor.selectionStart() + 1);
        const QPoint at = browser.cursorRect(cursor).center();
        QTest::mouseClick(browser.viewport(), Qt::LeftButton, {}, at);

        QCOMPARE(app, toApp);
        QCOMPARE(desktop, toDesktop);

        // The keyboard reaches the same link: Tab to it, Enter.
        app.clear();
        desktop.clear();
        browser.setFocus();
        browser.moveCursor(QTextCursor::Start);
        QTest::keyClick(&browser, Qt::Key_Tab);
        QTest::keyClick(&browser, Qt::Key_Return);
        QCOMPARE(app, toApp);
        QCOMPARE(desktop, toDesktop);
        if (!toApp.isEmpty()) QCOMPARE(from, &browser);
        // Nothing was followed inside the viewer: the page is still shown.
        QVERIFY(browser.source().isEmpty());
        QVERIFY(browser.toPlainText().contains(QStringLiteral("链接")));
        TLNQDataWebBrowser::SetAppNavigate({});
    }

private:
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::unique_ptr<TInterfacedADOConnection> m_conn;
};

LNQ_TEST_MAIN_WIDGETS(TestDataWebBrowser)
#include "tst_datawebbrowser.moc"
