// The demo client's own logic: where links lead, what a signed-in user's
// groups open (screens and shared views), the record editor posting through
// the dataset, deleting through a link, and the host services' numbering and
// recent views.

#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/WidgetDriver.h"
#include "data/DataSet.h"
#include "data/Plat_dataenvironment.h"
#include "demo/BackupScreen_ui.h"
#include "demo/DemoConnection.h"
#include "demo/DemoScreens.h"
#include "demo/DemoServices.h"
#include "demo/ListScreens_ui.h"
#include "demo/MainWindow_ui.h"
#include "demo/OrderEditForm_ui.h"
#include "demo/RecordEdit_ui.h"
#include "demo/SignIn_ui.h"
#include "filter/Ctrl_FilterFrame.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "util/Clock.h"
#include "util/Gbk.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSplitter>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>

using namespace lnq;

class tst_DemoApp : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<TADOConnection> m_ado;
    std::shared_ptr<TDemoConnection> m_conn;
    std::unique_ptr<TDemoServices> m_services;
    QStringList m_messages;

    std::unique_ptr<TDemoMainfm> signedIn(const QString& user) {
        if (!m_conn->SignIn(user)) return nullptr;
        return std::make_unique<TDemoMainfm>(m_conn, *m_services, m_ado->DatabaseFile());
    }
    QString scalar(const QString& sql) { return m_conn->ExecuteWithQuery(sql)->Fields(0).AsString(); }

private Q_SLOTS:
    void initTestCase() {
        Clock::setFixedNow(QDateTime(QDate(2026, 3, 15), QTime(10, 0)));
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        m_ado = std::make_unique<TADOConnection>();
        lnqtest::openSmallSample(*m_ado, m_dir.filePath(QStringLiteral("demo.db")));
        EnsureDemoViews(*m_ado);
        TDataEnvironment::GetInstance(*m_ado);
        m_conn = std::make_shared<TDemoConnection>(*m_ado);
        SeedSavedViews(*m_conn);
        SeedSavedViews(*m_conn); // a second start adds nothing
        m_services = std::make_unique<TDemoServices>(
            std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("demo.ini")), QSettings::IniFormat));
        m_services->SetConnection(m_conn);
        m_services->RegisterReceiptTable(QStringLiteral("SaleOrder"), QStringLiteral("Sal_SaleMain"),
                                         QStringLiteral("vReceiptNo"));
        TClientUtils::SetMsgBoxHandler([this](const QString& text, const QString&, int flags) {
            m_messages << text;
            return (flags & 0x0F) == mb::YesNo ? id::Yes : id::Ok;
        });
    }
    void cleanupTestCase() {
        TClientUtils::SetMsgBoxHandler({});
        m_services.reset();
        m_conn.reset();
        TDataEnvironment::FreeInstance();
        Clock::setFixedNow(std::nullopt);
    }
    void init() { m_messages.clear(); }

    void routes_data() {
        QTest::addColumn<QString>("link");
        QTest::addColumn<int>("route");
        QTest::addColumn<QString>("screen");
        QTest::addColumn<QString>("key");
        const auto add = [](const char* name, const char* link, TLinkRoute route, const char* screen,
                            const char* key) {
            QTest::newRow(name) << QString::fromUtf8(link) << int(route) << QString::fromUtf8(screen)
                                << QString::fromUtf8(key);
        };
        const auto edit = TLinkRoute::RecordEdit, screen = TLinkRoute::Screen, order = TLinkRoute::OrderEdit,
                   none = TLinkRoute::Unknown;
        add("edit", "app://Customer?Action=EDIT&KeyField=12", edit, "Customer", "12");
        add("insert, any case", "APP://customer?action=insert", edit, "Customer", "");
        add("delete", "app://Product?Action=DELETE&KeyField=3", TLinkRoute::RecordDelete, "Product", "3");
        add("edit without key", "app://Agent?Action=EDIT", screen, "Agent", "");
        add("detail", "app://Supplier?KeyField=7", screen, "Supplier", "7");
        add("order edit", "app://SaleOrder?Action=EDIT&KeyField=5", order, "SaleOrder", "5");
        add("order insert", "app://SaleOrder?Action=INSERT", order, "SaleOrder", "");
        add("order detail", "app://SaleOrder?KeyField=5", screen, "SaleOrder", "5");
        add("property link", "app://ShowContactDetail?iCustomerNo=3&vContact=王伟", screen, "Customer", "");
        add("unknown target", "app://Nowhere?Action=EDIT&KeyField=1", none, "", "1");
        add("not app", "http://www.example.com/?KeyField=1", none, "", "");
        add("no target", "app://?Action=INSERT", none, "", "");
    }
    void routes() {
        QFETCH(QString, link);
        QFETCH(int, route);
        QFETCH(QString, screen);
        QFETCH(QString, key);
        const TAppLink parsed = ParseAppLink(link);
        QCOMPARE(int(RouteOfLink(parsed)), route);
        QCOMPARE(parsed.Key, key);
        const TDemoScreen* s = parsed.Valid ? FindDemoScreen(parsed.Target) : nullptr;
        QCOMPARE(s ? s->Id : QString(), screen);
    }

    // The navigation tree and the shared views follow the signed-in user.
    void signInDecidesViews_data() {
        QTest::addColumn<QString>("user");
        QTest::addColumn<bool>("admin");
        QTest::addColumn<QStringList>("seen");
        QTest::addColumn<QStringList>("hidden");
        QTest::newRow("admin") << "admin" << true << QStringList{"常用视图\\北京客户", "旧版视图\\上海客户"}
                               << QStringList{"销售分析\\最近30天拜访", "我的视图\\外资客户"};
        QTest::newRow("sales") << "lina" << false
                               << QStringList{"常用视图\\北京客户", "销售分析\\重点或大额信用客户",
                                              "销售分析\\最近30天拜访"}
                               << QStringList{"客服专区\\待回访客户", "我的视图\\华东地区客户"};
        QTest::newRow("service") << "chenjing" << false
                                 << QStringList{"客服专区\\待回访客户", "销售分析\\北京重点客户"}
                                 << QStringList{"销售分析\\重点或大额信用客户", "销售分析\\最近30天拜访"};
    }
    void signInDecidesViews() {
        QFETCH(QString, user);
        QFETCH(bool, admin);
        QFETCH(QStringList, seen);
        QFETCH(QStringList, hidden);
        auto main = signedIn(user);
        QVERIFY(main);
        QStringList captions;
        for (QTreeWidgetItemIterator it(main->NavTree()); *it; ++it)
            captions << (*it)->text(0);
        QVERIFY(captions.contains(QStringLiteral("客户")));
        QCOMPARE(captions.contains(QStringLiteral("用户")), admin);
        QCOMPARE(captions.contains(QStringLiteral("数据备份")), admin);
        QCOMPARE(main->OpenScreen(QStringLiteral("SystemUser")) != nullptr, admin);
        QCOMPARE(m_messages.size(), admin ? 0 : 1); // "您没有权限打开“用户”"
        m_messages.clear();
        auto* list = qobject_cast<TDemoListfm*>(main->OpenScreen(QStringLiteral("Customer")));
        QVERIFY(list);
        QVERIFY2(m_messages.isEmpty(), qPrintable(m_messages.join(QLatin1Char('|'))));
        for (const QString& path : seen)
            QVERIFY2(list->FilterFrame()->OpenFilter(path), qPrintable(path));
        for (const QString& path : hidden)
            QVERIFY2(!list->FilterFrame()->OpenFilter(path), qPrintable(path));
        QCOMPARE(TClientUtils::GetCurrentUserCode(*m_conn), user);
        // Seeded once, shared with everyone.
        auto* goods = qobject_cast<TDemoListfm*>(main->OpenScreen(QStringLiteral("Product")));
        QVERIFY(goods && goods->FilterFrame()->OpenFilter(QStringLiteral("常用视图\\库存不足")));
        QCOMPARE(scalar(QStringLiteral("select count(*) from Sys_FileBase where vExt='.PRD'")),
                 QStringLiteral("2"));
        for (goods->ListDataSet().First(); !goods->ListDataSet().Eof(); goods->ListDataSet().Next())
            QVERIFY(goods->ListDataSet().FieldByName(QStringLiteral("fStorageCount")).AsFloat() < 20);
    }

    void disabledUserCannotSignIn() {
        QVERIFY(m_conn->SignIn(QStringLiteral("admin")));
        QVERIFY(!m_conn->SignIn(QStringLiteral("retired")));
        QVERIFY(!m_conn->SignIn(QStringLiteral("nobody' or '1'='1")));
        QCOMPARE(m_conn->CurrentUser().Code, QStringLiteral("admin"));
    }

    // An edit link opens the record editor; what is typed is posted to the row.
    void editLinkPostsRecord() {
        auto main = signedIn(QStringLiteral("zhangwei"));
        main->OpenScreen(QStringLiteral("Customer"));
        bool shown = false;
        main->OnBeforeEditorShow = [&](QDialog& d) {
            const auto closer = qScopeGuard([&d] {
                if (d.result() != QDialog::Accepted) d.reject();
            });
            shown = true;
            auto& editor = static_cast<TDemoRecordEditfm&>(d);
            auto* tel = qobject_cast<TLNQMaskEdit*>(editor.EditorOf(QStringLiteral("vTel")));
            auto* credit = qobject_cast<TLNQMaskEdit*>(editor.EditorOf(QStringLiteral("mCreditLimit")));
            QVERIFY(tel && credit);
            QVERIFY(!editor.EditorOf(QStringLiteral("vAllowedUsers"))); // sharing stays with the views
            tel->selectAll();
            QTest::keyClicks(tel, QStringLiteral("010-88886666"));
            credit->selectAll();
            QTest::keyClicks(credit, QStringLiteral("12a"));
            editor.findChild<QPushButton*>(QStringLiteral("SaveButton"))->click();
            QVERIFY2(m_messages.isEmpty(),
                     qPrintable(m_messages.join(QLatin1Char('|')))); // the letter was refused
            QVERIFY(!editor.isVisible());
        };
        TClientUtils::OpenAppLink(*m_services, QStringLiteral("app://Customer?Action=EDIT&KeyField=2"));
        QVERIFY(shown);
        QCOMPARE(scalar(QStringLiteral("select vTel from Cust_CustomersMain where iCustomerNo=2")),
                 QStringLiteral("010-88886666"));
        QCOMPARE(scalar(QStringLiteral("select mCreditLimit from Cust_CustomersMain where iCustomerNo=2"))
                     .toDouble(),
                 12.0);
    }

    // A new agent starts as an agent; a required name left empty is refused.
    void insertLinkKeepsScreenDefaults() {
        auto main = signedIn(QStringLiteral("admin"));
        QString savedKey;
        int attempts = 0;
        main->OnBeforeEditorShow = [&](QDialog& d) {
            const auto closer = qScopeGuard([&d] {
                if (d.result() != QDialog::Accepted) d.reject();
            });
            auto& editor = static_cast<TDemoRecordEditfm&>(d);
            QVERIFY(!editor.Save()); // vCustomerNo and vCustomerName are required
            QVERIFY(m_messages.last().contains(QStringLiteral("不能为空")));
            ++attempts;
            lnqtest::commitText(editor.EditorOf(QStringLiteral("vCustomerNo")), QStringLiteral("DL9001"));
            lnqtest::commitText(editor.EditorOf(QStringLiteral("vCustomerName")),
                                QStringLiteral("测试代理商"));
            QVERIFY(editor.Save());
            savedKey = editor.SavedKey();
            d.accept();
        };
        QVERIFY(main->OpenAppLink(QStringLiteral("app://Agent?Action=INSERT")));
        QCOMPARE(attempts, 1);
        QVERIFY(!savedKey.isEmpty());
        QCOMPARE(scalar(QStringLiteral(
                            "select count(*) from Cust_CustomersMain where bIsAgent=1 and iCustomerNo=") +
                        savedKey),
                 QStringLiteral("1"));
        QCOMPARE(scalar(QStringLiteral("select count(*) from Cust_Agents where vCustomerName='测试代理商'")),
                 QStringLiteral("1"));
    }

    void deleteLinkRemovesOrderWithLines() {
        auto main = signedIn(QStringLiteral("admin"));
        const QString key = scalar(QStringLiteral("select max(iNo) from Sal_SaleMain"));
        QVERIFY(scalar(QStringLiteral("select count(*) from Sal_SaleDetail where iMasterNo=") + key).toInt() >
                0);
        QVERIFY(main->OpenAppLink(QStringLiteral("app://SaleOrder?Action=DELETE&KeyField=") + key));
        QVERIFY(m_messages.value(0).contains(QStringLiteral("确定要删除")));
        QCOMPARE(scalar(QStringLiteral("select count(*) from Sal_SaleMain where iNo=") + key),
                 QStringLiteral("0"));
        QCOMPARE(scalar(QStringLiteral("select count(*) from Sal_SaleDetail where iMasterNo=") + key),
                 QStringLiteral("0"));
        // A hostile key never reaches the database.
        QVERIFY(!main->OpenAppLink(QStringLiteral("app://Customer?Action=DELETE&KeyField=1 or 1=1")));
        QVERIFY(scalar(QStringLiteral("select count(*) from Cust_CustomersMain")).toInt() > 1);
    }

    // The open screens and the splitters come back as the user left them.
    void remembersScreensAndSplitters() {
        QList<int> sizes;
        {
            auto main = signedIn(QStringLiteral("admin"));
            main->resize(1000, 700);
            main->show();
            QVERIFY(QTest::qWaitForWindowExposed(main.get()));
            main->OpenScreen(QStringLiteral("Product"));
            QWidget* sales = main->OpenScreen(QStringLiteral("SaleOrder"));
            auto* split = sales->findChild<QSplitter*>();
            QVERIFY(split && split->count() >= 2);
            split->setSizes({120, 700});
            sizes = split->sizes();
            main->close(); // closing saves
        }
        auto main = signedIn(QStringLiteral("admin"));
        main->resize(1000, 700);
        main->show();
        QVERIFY(QTest::qWaitForWindowExposed(main.get()));
        main->RestoreScreens();
        QCOMPARE(main->Tabs()->count(), 2);
        QCOMPARE(main->Tabs()->currentWidget(), main->ScreenWidget(QStringLiteral("SaleOrder")));
        QCOMPARE(main->ScreenWidget(QStringLiteral("SaleOrder"))->findChild<QSplitter*>()->sizes(), sizes);
        // A user without the right to a remembered screen does not get it.
        m_services->Settings().setValue(
            QStringLiteral("MainWindow/Screens"),
            QStringList{QStringLiteral("SystemUser"), QStringLiteral("Customer")});
        auto other = signedIn(QStringLiteral("lina"));
        other->RestoreScreens();
        QCOMPARE(other->Tabs()->count(), 1);
        QVERIFY(m_messages.isEmpty());
    }

    // Links that lead to a screen hand it their parameters; order links open
    // the order screen on that order.
    void linksOpenScreens() {
        auto main = signedIn(QStringLiteral("admin"));
        QVERIFY(main->OpenAppLink(QStringLiteral("app://ShowContactDetail?iCustomerNo=3&vContact=王伟")));
        auto* customers = main->ListScreen(QStringLiteral("Customer"));
        QVERIFY(customers);
        QCOMPARE(customers->ListDataSet().RecordCount(), 1);
        QCOMPARE(customers->ListDataSet().FieldByName(QStringLiteral("iCustomerNo")).AsInteger(), 3);
        const int order = scalar(QStringLiteral("select min(iNo) from Sal_SaleMain")).toInt();
        QVERIFY(main->OpenAppLink(QStringLiteral("app://SaleOrder?Action=EDIT&KeyField=") +
                                  QString::number(order)));
        QVERIFY(main->OrderScreen());
        QCOMPARE(main->Tabs()->currentWidget(), main->OrderScreen());
        QCOMPARE(main->OrderScreen()->KeyValue(), order);
        // A property-list link in the record viewer takes the same road.
        QVERIFY(customers->DataWebBrowser()->Navigate(
            QStringLiteral("app://Supplier?KeyField=") +
            scalar(QStringLiteral("select min(iCustomerNo) from "
                                  "Cust_CustomersMain where bIsSupplier=1"))));
        QCOMPARE(main->Tabs()->currentWidget(), main->ScreenWidget(QStringLiteral("Supplier")));
        QCOMPARE(main->ListScreen(QStringLiteral("Supplier"))->ListDataSet().RecordCount(), 1);
        QVERIFY(!main->OpenAppLink(QStringLiteral("app://Customer?Action=EDIT&KeyField=999999")));
        QVERIFY(m_messages.value(0).contains(QStringLiteral("记录不存在")));
    }

    // Confirming sales orders is for administrators and finance; it writes
    // the order and its lines, and cancelling undoes both.
    void confirmFollowsGroups_data() {
        QTest::addColumn<QString>("user");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("sales rep") << "lina" << false;
        QTest::newRow("finance") << "zhaomin" << true;
    }
    void confirmFollowsGroups() {
        QFETCH(QString, user);
        QFETCH(bool, allowed);
        const QString key =
            scalar(QStringLiteral("select min(iNo) from Sal_SaleMain where vConfirmState='未确认'"));
        QVERIFY(!key.isEmpty());
        m_conn->ExecuteNonQuery(
            QStringLiteral("update Sal_SaleDetail set vConfirmState='未确认' where iMasterNo=") + key);
        auto main = signedIn(user);
        QVERIFY(main->OpenAppLink(QStringLiteral("app://SaleOrder?KeyField=") + key));
        TDemoListfm* sales = main->ListScreen(QStringLiteral("SaleOrder"));
        QVERIFY(sales);
        QCOMPARE(sales->ListDataSet().RecordCount(), 1);
        const QString lines =
            QStringLiteral("select count(*) from Sal_SaleDetail where vConfirmState='已确认' "
                           "and iMasterNo=") +
            key;
        const QString all = QStringLiteral("select count(*) from Sal_SaleDetail where iMasterNo=") + key;
        QTest::mouseClick(sales->findChild<QToolButton*>(QStringLiteral("SpeedButtonDoConfirm")),
                          Qt::LeftButton);
        const QString state =
            scalar(QStringLiteral("select vConfirmState from Sal_SaleMain where iNo=") + key);
        if (!allowed) {
            QCOMPARE(state, QStringLiteral("未确认"));
            QVERIFY(m_messages.value(0).startsWith(QStringLiteral("只有财务部")));
            QCOMPARE(scalar(lines), QStringLiteral("0"));
            return;
        }
        QCOMPARE(state, QStringLiteral("已确认"));
        QCOMPARE(scalar(lines), scalar(all));
        QCOMPARE(
            scalar(QStringLiteral("select min(vConfirmUser) from Sal_SaleDetail where iMasterNo=") + key),
            QStringLiteral("赵敏"));
        QTest::mouseClick(sales->findChild<QToolButton*>(QStringLiteral("SpeedButtonUnDoConfirm")),
                          Qt::LeftButton);
        QCOMPARE(scalar(QStringLiteral("select vConfirmState from Sal_SaleMain where iNo=") + key),
                 QStringLiteral("未确认"));
        QCOMPARE(scalar(lines), QStringLiteral("0"));
    }

    // Signing in as a user would: pick the user, type the password.
    void signInDialog() {
        m_conn->ExecuteNonQuery(
            QStringLiteral("update sys_Systemuser set vPassword='mm88' where vUserName='wujie'"));
        m_conn->SignIn(QStringLiteral("admin"));
        TDemoSignInDlg dialog(*m_conn);
        QStringList listed;
        for (int i = 0; i < dialog.UserList()->topLevelItemCount(); ++i)
            listed << dialog.UserList()->topLevelItem(i)->text(0);
        QVERIFY(listed.contains(QStringLiteral("wujie")));
        QVERIFY(!listed.contains(QStringLiteral("retired"))); // disabled
        dialog.show();
        QVERIFY(dialog.SelectUser(QStringLiteral("WuJie")));
        auto* signIn = dialog.findChild<QPushButton*>(QStringLiteral("SignInButton"));
        QTest::keyClicks(dialog.PasswordEdit(), QStringLiteral("mm8"));
        QTest::mouseClick(signIn, Qt::LeftButton);
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.MessageLabel()->text(), QStringLiteral("密码错误，请重新输入"));
        QCOMPARE(m_conn->CurrentUser().Code, QStringLiteral("admin"));
        QTest::keyClicks(dialog.PasswordEdit(), QStringLiteral("mm88"));
        QTest::keyClick(dialog.PasswordEdit(), Qt::Key_Return);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(m_conn->CurrentUser().Name, QStringLiteral("吴杰"));
        QCOMPARE(m_conn->CurrentUser().Groups, QStringLiteral("[D"));
    }

    // Backup, check and restore of the database in use, as the screen's
    // buttons run them; the database in use and a path outside are refused
    // (damaged backups are the lnq backup tool's tests).
    void backupScreen() {
        TDemoBackupfm screen(m_ado->DatabaseFile());
        QTemporaryDir folder;
        screen.SetBackupFolder(folder.path());
        QString file;
        QVERIFY(screen.Backup(&file));
        QVERIFY(file.startsWith(folder.path()));
        QVERIFY(screen.CheckBackup(file));
        QVERIFY(screen.Restore(file, QStringLiteral("restored-copy")));
        const QString restored = QFileInfo(m_ado->DatabaseFile()).absoluteDir().filePath("restored-copy.db");
        QVERIFY(QFileInfo::exists(restored));
        QVERIFY(!screen.Restore(file, QFileInfo(m_ado->DatabaseFile()).completeBaseName()));
        QVERIFY(screen.Log()->toPlainText().contains(QStringLiteral("不能恢复到正在使用的数据库")));
        QVERIFY(!screen.Restore(file, QStringLiteral("../elsewhere")));
        QFile::remove(restored);
    }

    // Texts handed across the module boundary never end in half a character.
    void optionsKeepWholeCharacters() {
        const QString longText = QString(300, QChar(u'中'));
        TClientUtils::SetOptionValueEx(*m_services, QStringLiteral("Options"), QStringLiteral("Long"),
                                       longText);
        const QString back = TClientUtils::GetOptionValue(*m_services, QStringLiteral("Long"), QString());
        QCOMPARE(back, QString(256, QChar(u'中')));
        QCOMPARE(TClientUtils::GetOptionValue(*m_services, QStringLiteral("Missing"), QStringLiteral("缺省")),
                 QStringLiteral("缺省"));
    }

    void receiptNumbersNeverRepeat() {
        m_conn->ExecuteNonQuery(
            QStringLiteral("update Sal_SaleMain set vReceiptNo='XS202603150007' where iNo=1"));
        QCOMPARE(m_services->NextReceiptNo(QStringLiteral("SaleOrder")), QStringLiteral("XS202603150008"));
        QCOMPARE(TClientUtils::GetReceiptNo(*m_services, QStringLiteral("SaleOrder")),
                 QStringLiteral("XS202603150009"));
        TClientUtils::SetReceiptNoSetting(*m_services, QStringLiteral("Return"), QStringLiteral("TH-"),
                                          QStringLiteral("yyMM"), QStringLiteral("3"), QString());
        QCOMPARE(m_services->NextReceiptNo(QStringLiteral("Return")), QStringLiteral("TH-2603001"));
    }

    void recentViewsNewestFirst() {
        const QString ext = QStringLiteral(".TST");
        for (int i = 1; i <= 12; ++i)
            TClientUtils::AddRecentItem(*m_services, ext,
                                        {QStringLiteral("视图") + QString::number(i),
                                         QStringLiteral("select ") + QString::number(i)});
        TClientUtils::AddRecentItem(*m_services, ext, {QStringLiteral("视图5"), QStringLiteral("select 5")});
        const QList<TRecentItem> items = TClientUtils::GetRecentItems(*m_services, ext);
        QCOMPARE(items.size(), TDemoServices::MaxRecent);
        QCOMPARE(items.first().Caption, QStringLiteral("视图5"));
        QCOMPARE(items.at(1).Caption, QStringLiteral("视图12"));
        QVERIFY(!items.contains(TRecentItem{QStringLiteral("视图2"), QStringLiteral("select 2")}));
        // A buffer too small is left alone and told the length needed.
        char caption[4] = {'x', 'x', 'x', 'x'};
        char sql[64] = {};
        int captionLen = 4, sqlLen = 64;
        QVERIFY(m_services->GetRecentItem(".TST", 0, caption, captionLen, sql, sqlLen));
        QCOMPARE(captionLen, int(Gbk::encode(QStringLiteral("视图5")).size()));
        QCOMPARE(caption[0], 'x');
        QCOMPARE(QByteArray(sql, sqlLen), QByteArray("select 5"));
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_DemoApp)
#include "tst_DemoApp.moc"
