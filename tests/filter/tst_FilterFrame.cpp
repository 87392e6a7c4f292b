// The saved views frame and the view editor on the sample database, driven as
// a user drives them: the tree a user sees, opening views, the search box,
// and building, sharing, editing, renaming, deleting and saving views through
// the popup menu and the editor's dialogs, with Sys_FileBase read back.

#include "common/HostServices.h"
#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/WidgetDriver.h"
#include "data/ADOConnection.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "filter/Ctrl_FilterEditorFM.h"
#include "filter/Ctrl_FilterFrame.h"
#include "filter/ViewStream.h"
#include "util/Gbk.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>

using namespace lnq;
using namespace lnqtest;

namespace {

// A host keeping its history of opened views.
class Services : public HostServices {
public:
    QList<QPair<QString, QString>> recent; // caption, SQL
    QList<QPair<QString, QString>> added;
    int GetRecentCount(const char* ext) override {
        return qstrcmp(ext, ".CUS") == 0 ? int(recent.size()) : 0;
    }
    bool GetRecentItem(const char*, int index, char* caption, int& captionLen, char* sql,
                       int& sqlLen) override {
        if (index < 0 || index >= recent.size()) return false;
        if (Gbk::encode(recent[index].first).size() > captionLen ||
            Gbk::encode(recent[index].second).size() > sqlLen)
            return false;
        putGbk(recent[index].first, caption, captionLen);
        putGbk(recent[index].second, sql, sqlLen);
        return true;
    }
    void AddRecentItem(const char*, const char* caption, const char* sql) override {
        added.append({Gbk::decode(QByteArray(caption)), Gbk::decode(QByteArray(sql))});
    }
};

void pickField(QWidget* form, const QString& caption) {
    pickMenuEntry(form, "ButtonField", "FieldMenu", caption);
}
void pickOperator(QWidget* form, const QString& name) {
    pickComboText(child<QComboBox>(form, "ComboboxOpType"), name);
}

void toggleCheck(QListWidget* list, const QString& text) {
    const auto items = list->findItems(text, Qt::MatchExactly);
    if (items.isEmpty()) qFatal("no entry %s", qPrintable(text));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(items.first()).center());
    QTest::keyClick(list, Qt::Key_Space);
}

QStringList checked(QListWidget* list) {
    QStringList out;
    for (int i = 0; i < list->count(); ++i)
        if (list->item(i)->checkState() == Qt::Checked) out << list->item(i)->text();
    return out;
}

// A double-click as the mouse makes it: press, release, then the double-click.
void doubleClick(QTreeWidget* tree, QTreeWidgetItem* item) {
    const QPoint at = tree->visualItemRect(item).center();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
}

// Answers the next input box with text (Enter), recording title and prompt.
void answerInput(const QString& text, QString* titleAndPrompt = nullptr) {
    whenModal<QInputDialog>([text, titleAndPrompt](QInputDialog* box) {
        if (titleAndPrompt)
            *titleAndPrompt =
                box->windowTitle() + QLatin1Char('|') + box->labelText() + '|' + box->textValue();
        auto* edit = box->findChild<QLineEdit*>();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        commitText(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
    });
}

} // namespace

class TestFilterFrame : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        lnqtest::openSmallSample(m_ado, m_dir.filePath(QStringLiteral("frame.db")), 20);
        m_conn = std::make_shared<UserConnection>(m_ado);
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        TDataEnvironment::GetInstance(m_ado);

        m_frame = std::make_unique<TFilterFrame>();
        m_frame->InitUI(m_conn, &m_services, QStringLiteral("Cust_CustomersMain"),
                        QStringLiteral("vCreateUser='zhangwei'"), QStringLiteral(".CUS"),
                        QStringLiteral("zhangwei"), QStringLiteral("[B"),
                        [this](const QString& sql, const QString& caption) {
                            m_sql = sql;
                            m_caption = caption;
                        });
        m_frame->SetSupportRights(true);
        m_frame->resize(300, 500);
        m_frame->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_frame.get()));
        m_frame->LoadFiltersToTreeView();
    }
    void cleanupTestCase() {
        m_frame.reset();
        TDataEnvironment::FreeInstance();
    }

    void treeOfTheUser() {
        QTreeWidget* tree = m_frame->TreeView();
        QCOMPARE(tree->currentItem(), tree->topLevelItem(0));
        QStringList folders;
        QStringList views;
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            folders << tree->topLevelItem(i)->text(0);
            for (int j = 0; j < tree->topLevelItem(i)->childCount(); ++j)
                views << tree->topLevelItem(i)->text(0) + '\\' + tree->topLevelItem(i)->child(j)->text(0);
        }
        folders.sort();
        views.sort();
        QCOMPARE(folders, (QStringList{"常用视图", "我的视图", "旧版视图", "销售分析"}));
        QCOMPARE(views, (QStringList{"常用视图\\代理商", "常用视图\\北京客户", "常用视图\\本月新增客户",
                                     "我的视图\\华东地区客户", "旧版视图\\上海客户", "销售分析\\北京重点客户",
                                     "销售分析\\重点或大额信用客户"}));
    }

    void clickShowsDescription() {
        QTreeWidgetItem* item = find("常用视图\\代理商");
        QTreeWidget* tree = m_frame->TreeView();
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
        QCOMPARE(m_frame->Viewer()->toPlainText(), QStringLiteral("全部代理商"));
    }

    void openViews_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("rights");
        QTest::addColumn<QString>("sql");
        QTest::newRow("conditions, rights")
            << "常用视图\\北京客户" << true
            << "select * from Cust_CustomersMain where 1=1   and (vProvince= '北京' ) "
               "and vCreateUser='zhangwei'";
        QTest::newRow("user substituted")
            << "销售分析\\北京重点客户" << false
            << "select * from Cust_CustomersMain where 1=1   and (vProvince= '北京' And "
               "vCreateUser= 'zhangwei' )";
        QTest::newRow("raw sql as it stands") << "我的视图\\华东地区客户" << true
                                              << "select * from Cust_CustomersMain where vProvince in "
                                                 "('上海','江苏','浙江','安徽','福建','江西','山东')";
    }
    void openViews() {
        QFETCH(QString, path);
        QFETCH(bool, rights);
        QFETCH(QString, sql);
        m_frame->SetSupportRights(rights);
        QTreeWidget* tree = m_frame->TreeView();
        QTreeWidgetItem* item = find(path);
        doubleClick(tree, item);
        m_frame->SetSupportRights(true);
        QCOMPARE(m_sql, sql);
        QCOMPARE(m_caption, item->text(0));
        QCOMPARE(m_frame->GetLastSearchSQL(), sql);
        // The SQL runs on the database.
        QVERIFY(m_conn->ExecuteWithQuery(sql)->Active());
    }

    void popupMenu() {
        QStringList texts;
        for (QAction* a : m_frame->PopupMenu()->actions())
            texts << (a->isSeparator() ? QStringLiteral("-") : a->text());
        QCOMPARE(texts, (QStringList{"查找(&F)", "-", "新建视图(&N)", "修改视图名称(&R)", "修改视图(&E)",
                                     "删除视图(&D)", "保存视图(&S)"}));
    }

    void adHocSearch() {
        QString title;
        bool stayedOpen = false;
        whenModal<TFilterEditorFM>([&](TFilterEditorFM* form) {
            title = form->windowTitle();
            QVERIFY(!child<QWidget>(form, "EditName")->isVisible());
            click(form, "ButtonOK"); // nothing to search for yet
            stayedOpen = form->isVisible();
            pickField(form, QStringLiteral("省份"));
            pickOperator(form, QStringLiteral("包含"));
            commitText(child<QLineEdit>(form, "EditValueString"), QStringLiteral("广东"));
            click(form, "ButtonAdd");
            click(form, "ButtonOK");
        });
        action("查找(&F)")->trigger();
        QCOMPARE(title, QStringLiteral("查询"));
        QVERIFY(stayedOpen);
        QCOMPARE(m_sql,
                 QStringLiteral("select * from Cust_CustomersMain where 1=1  And vProvince like '%广东%' and "
                                "vCreateUser='zhangwei'"));
        QCOMPARE(m_caption, QStringLiteral("查询"));
    }

    void newViewSharedWithUsersAndGroups() {
        m_frame->TreeView()->setCurrentItem(find("销售分析\\北京重点客户"));
        QString title, folder, emptyMessage, duplicateMessage;
        QStringList valueBoxes;
        whenModal<TFilterEditorFM>([&](TFilterEditorFM* form) {
            title = form->windowTitle();
            folder = child<QLineEdit>(form, "EditGroup")->text();
            pickField(form, QStringLiteral("客户名称"));
            pickOperator(form, QStringLiteral("包含"));
            commitText(child<QLineEdit>(form, "EditValueString"), QStringLiteral("北京"));
            click(form, "ButtonAdd");
            pickField(form, QStringLiteral("信用额度"));
            pickOperator(form, QStringLiteral("大于等于"));
            QTest::keyClicks(child<QLineEdit>(form, "EditValueNumber"), QStringLiteral("300000"));
            click(form, "ButtonAdd");
            pickField(form, QStringLiteral("建档日期"));
            pickOperator(form, QStringLiteral("本月"));
            for (const char* box : {"EditValueString", "EditValueNumber", "DateTimePicker"})
                if (child<QWidget>(form, box)->isVisible()) valueBoxes << QString::fromLatin1(box);
            click(form, "ButtonAdd");
            QTest::mouseClick(child<QRadioButton>(form, "RadioButtonOr"), Qt::LeftButton);

            answerMessageBox(&emptyMessage);
            click(form, "ButtonOK"); // no name yet
            commitText(child<QLineEdit>(form, "EditName"), QStringLiteral("北京重点客户"));
            answerMessageBox(&duplicateMessage);
            click(form, "ButtonOK"); // the folder has a view of that name

            child<QLineEdit>(form, "EditName")->clear();
            commitText(child<QLineEdit>(form, "EditName"), QStringLiteral("北京大客户"));
            commitText(child<QLineEdit>(form, "EditDescription"), QStringLiteral("北京的大额客户"));
            toggleCheck(child<QListWidget>(form, "CheckListUsers"), QStringLiteral("lina"));
            toggleCheck(child<QListWidget>(form, "CheckListUsers"), QStringLiteral("o'neil"));
            toggleCheck(child<QListWidget>(form, "CheckListGroups"), QStringLiteral("[C0]客服部"));
            click(form, "ButtonOK");
        });
        action("新建视图(&N)")->trigger();
        QCOMPARE(title, QStringLiteral("新建视图"));
        QCOMPARE(folder, QStringLiteral("销售分析"));
        QCOMPARE(valueBoxes, QStringList());
        QCOMPARE(emptyMessage, QStringLiteral("视图名称/所属组都不能为空！"));
        QCOMPARE(duplicateMessage, QStringLiteral("重复的视图名称"));

        const Row row = stored("销售分析\\北京大客户");
        QCOMPARE(row.owner, QStringLiteral("zhangwei"));
        QCOMPARE(row.share, false);
        QCOMPARE(row.users, QStringLiteral(",lina,o'neil,"));
        QCOMPARE(row.groups, QStringLiteral("[C"));
        QCOMPARE(row.description, QStringLiteral("北京的大额客户"));
        QCOMPARE(row.sql, QStringLiteral(" and (vCustomerName like '%北京%' OR mCreditLimit>= 300000 OR "
                                         "DateDiff(m,dCreateDate,GetDate() )=0 )"));
        // The new view is in the tree, selected.
        QCOMPARE(m_frame->SelectedPath(), QStringLiteral("销售分析\\北京大客户"));
    }

    void editView() {
        m_frame->TreeView()->setCurrentItem(find("销售分析\\北京大客户"));
        QString title, name;
        int rows = 0;
        bool orChecked = false, listsEnabledAfterShare = true;
        QStringList users, groups;
        whenModal<TFilterEditorFM>([&](TFilterEditorFM* form) {
            title = form->windowTitle();
            name = child<QLineEdit>(form, "EditGroup")->text() + '\\' +
                   child<QLineEdit>(form, "EditName")->text();
            auto* list = child<QTreeWidget>(form, "ListView");
            rows = list->topLevelItemCount();
            orChecked = child<QRadioButton>(form, "RadioButtonOr")->isChecked();
            users = checked(child<QListWidget>(form, "CheckListUsers"));
            groups = checked(child<QListWidget>(form, "CheckListGroups"));
            // Drop the first condition, share with everybody, rename.
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                              list->visualItemRect(list->topLevelItem(0)).center());
            click(form, "ButtonDelete");
            auto* share = child<QCheckBox>(form, "CheckBoxShare");
            QTest::mouseClick(share, Qt::LeftButton, {}, QPoint(6, share->height() / 2));
            listsEnabledAfterShare = child<QListWidget>(form, "CheckListUsers")->isEnabled() ||
                                     child<QListWidget>(form, "CheckListGroups")->isEnabled();
            child<QLineEdit>(form, "EditName")->clear();
            commitText(child<QLineEdit>(form, "EditName"), QStringLiteral("  大客户 "));
            click(form, "ButtonOK");
        });
        action("修改视图(&E)")->trigger();
        QCOMPARE(title, QStringLiteral("编辑视图"));
        QCOMPARE(name, QStringLiteral("销售分析\\北京大客户"));
        QCOMPARE(rows, 3);
        QVERIFY(orChecked);
        QCOMPARE(users, (QStringList{"lina", "o'neil"}));
        QCOMPARE(groups, QStringList{"[C0]客服部"});
        QVERIFY(!listsEnabledAfterShare);

        const Row row = stored("销售分析\\大客户");
        QVERIFY(row.found);
        QVERIFY(!stored("销售分析\\北京大客户").found);
        QCOMPARE(row.share, true);
        QCOMPARE(row.users, QStringLiteral(",lina,o'neil,"));
        QCOMPARE(row.sql,
                 QStringLiteral(" and (mCreditLimit>= 300000 OR DateDiff(m,dCreateDate,GetDate() )=0 )"));
    }

    void refusals_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("message");
        const auto add = [](const char* name, const char* path, const char* command, const char* input,
                            const char* message) {
            QTest::newRow(name) << QString::fromUtf8(path) << QString::fromUtf8(command)
                                << QString::fromUtf8(input) << QString::fromUtf8(message);
        };
        add("edit, not owner", "常用视图\\北京客户", "修改视图(&E)", "", "你不具有该视图的修改权限!");
        add("rename, not owner", "常用视图\\北京客户", "修改视图名称(&R)", "", "你不具有该视图的修改权限!");
        add("delete, not owner", "常用视图\\代理商", "删除视图(&D)", "", "你不具有该视图的删除权限!");
        add("rename with backslash", "销售分析\\大客户", "修改视图名称(&R)", "a\\b", "不合法的视图名称a\\b");
        add("rename to a taken name", "销售分析\\大客户", "修改视图名称(&R)", "北京重点客户",
            "不能修改, 重复的视图名称！");
    }
    void refusals() {
        QFETCH(QString, path);
        QFETCH(QString, command);
        QFETCH(QString, input);
        QFETCH(QString, message);
        const QString before = allViews();
        m_frame->TreeView()->setCurrentItem(find(path));
        QString shown;
        if (!input.isEmpty()) answerInput(input);
        answerMessageBox(&shown);
        action(command)->trigger();
        QCOMPARE(shown, message);
        QCOMPARE(allViews(), before);
    }

    void rename() {
        m_frame->TreeView()->setCurrentItem(find("销售分析\\大客户"));
        const QString before = allViews();
        QString asked;
        answerInput(QStringLiteral("大客户"), &asked);
        action("修改视图名称(&R)")->trigger();
        QCOMPARE(asked, QStringLiteral("修改视图名称|将视图名称修改为|大客户"));
        QCOMPARE(allViews(), before); // the same name changes nothing

        m_frame->TreeView()->setCurrentItem(find("销售分析\\大客户"));
        answerInput(QStringLiteral("京城大客户"));
        action("修改视图名称(&R)")->trigger();
        QVERIFY(stored("销售分析\\京城大客户").found);
        QVERIFY(!stored("销售分析\\大客户").found);
        QCOMPARE(m_frame->SelectedPath(), QStringLiteral("销售分析\\京城大客户"));
    }

    void deleteView() {
        QString question;
        m_frame->TreeView()->setCurrentItem(find("销售分析\\京城大客户"));
        answerMessageBox(&question, QStringLiteral("否"));
        action("删除视图(&D)")->trigger();
        QCOMPARE(question, QStringLiteral("您确认要删除该视图吗？"));
        QVERIFY(stored("销售分析\\京城大客户").found);
        m_frame->TreeView()->setCurrentItem(find("销售分析\\京城大客户"));
        answerMessageBox(nullptr, QStringLiteral("是"));
        action("删除视图(&D)")->trigger();
        QVERIFY(!stored("销售分析\\京城大客户").found);
        QVERIFY(!find("销售分析\\京城大客户"));
    }

    void recentFolder() {
        m_services.recent = {{QStringLiteral("广东客户"),
                              QStringLiteral("select * from Cust_CustomersMain where vProvince='广东'")}};
        m_frame->SetSupportRecent(true);
        m_frame->LoadFiltersToTreeView();
        QTreeWidgetItem* folder = m_frame->RecentFolder();
        QVERIFY(folder);
        QCOMPARE(folder->text(0), QStringLiteral("最近打开的客户集"));
        QCOMPARE(folder->childCount(), 1);
        QTreeWidget* tree = m_frame->TreeView();
        doubleClick(tree, folder->child(0));
        QCOMPARE(m_sql, m_services.recent[0].second);
        QCOMPARE(m_services.added, m_services.recent);

        QString message;
        tree->setCurrentItem(folder->child(0));
        answerInput(QStringLiteral("x\\y"));
        answerMessageBox(&message);
        action("保存视图(&S)")->trigger();
        QCOMPARE(message, QStringLiteral("不合法的视图名称"));

        tree->setCurrentItem(m_frame->RecentFolder()->child(0));
        QString asked;
        answerInput(QStringLiteral("广东"), &asked);
        action("保存视图(&S)")->trigger();
        QCOMPARE(asked, QStringLiteral("保存视图|将视图名称保存为|广东客户"));
        const Row row = stored("最近使用\\广东");
        QCOMPARE(row.owner, QStringLiteral("zhangwei"));
        QCOMPARE(row.share, false);
        QCOMPARE(row.sql, m_services.recent[0].second);
        QVERIFY(row.isSQL);
        m_frame->SetSupportRecent(false);
        m_frame->LoadFiltersToTreeView();
        QVERIFY(!m_frame->RecentFolder());
        QVERIFY(!action("保存视图(&S)")->isVisible());
    }

    void searchBox_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("pinyin initials") << "bjkh" << QStringList{"常用视图\\北京客户"};
        QTest::newRow("text") << "大额" << QStringList{"销售分析\\重点或大额信用客户"};
        QTest::newRow("folder name keeps its views") << "wdst" << QStringList{"我的视图\\华东地区客户"};
        QTest::newRow("nothing") << "zzzz" << QStringList();
    }
    void searchBox() {
        QFETCH(QString, typed);
        QFETCH(QStringList, shown);
        QLineEdit* box = m_frame->SearchBox();
        box->clear();
        if (typed.toLatin1() == typed.toUtf8())
            QTest::keyClicks(box, typed);
        else
            commitText(box, typed);
        QCOMPARE(visibleViews(), shown);
        // Enter opens the first view left.
        m_caption.clear();
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(m_caption, shown.isEmpty() ? QString() : shown.first().section('\\', 1));
        box->clear();
        QVERIFY(visibleViews().size() >= 7);
    }

    // With LNQ_SCREENSHOT_DIR set (run under a real display server), the
    // frame beside a record viewer and the view editor are saved as PNG files.
    void screenshots() {
        const QString dir = qEnvironmentVariable("LNQ_SCREENSHOT_DIR");
        if (dir.isEmpty()) QSKIP("LNQ_SCREENSHOT_DIR not set");
        m_services.recent = {{QStringLiteral("广东客户"), QStringLiteral("select * from Cust_CustomersMain")},
                             {QStringLiteral("查询"), QStringLiteral("select * from Cust_CustomersMain")}};
        m_frame->SetSupportRecent(true);
        m_frame->LoadFiltersToTreeView();
        QWidget window;
        window.setWindowTitle(QStringLiteral("客户视图"));
        auto* layout = new QHBoxLayout(&window);
        m_frame->setParent(&window);
        layout->addWidget(m_frame.get(), 2);
        auto* record = new TLNQDataWebBrowser(&window);
        record->SetColumnCount(2);
        const auto customer = m_conn->ExecuteWithQuery(QStringLiteral(
            "select top 1 iCustomerNo,vCustomerNo,vCustomerName,vProvince,vCity,vAddress,vTel,vMobile,"
            "vEmail,vWebSite,vContact,vCustomersKind,bIsAgent,mCreditLimit from Cust_CustomersMain "
            "where vWebSite is not null and vEmail is not null order by iCustomerNo"));
        record->CommShowDataSet(*customer);
        layout->addWidget(record, 3);
        window.resize(900, 480);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        m_frame->TreeView()->setCurrentItem(find("常用视图\\北京客户"));
        QTest::qWait(200);
        QVERIFY(window.grab().save(dir + QStringLiteral("/views-tree.png")));
        m_frame->setParent(nullptr);

        m_frame->TreeView()->setCurrentItem(find("销售分析\\重点或大额信用客户"));
        QBuffer stream;
        stream.open(QIODevice::ReadWrite);
        QString owner;
        m_conn->LoadStream(owner, QStringLiteral("销售分析\\重点或大额信用客户.CUS"), stream);
        TViewRights rights{false, QStringLiteral(",lina,wangfang,"), QStringLiteral("[B"),
                           QStringLiteral("销售部内部使用")};
        QString path = QStringLiteral("销售分析\\重点或大额信用客户");
        bool saved = false;
        whenModal<TFilterEditorFM>([&](TFilterEditorFM* form) {
            pickField(form, QStringLiteral("省份"));
            pickOperator(form, QStringLiteral("等于(精确地)"));
            commitText(child<QLineEdit>(form, "EditValueString"), QStringLiteral("北京"));
            QTest::qWait(200);
            saved = form->grab().save(dir + QStringLiteral("/view-editor.png"));
            click(form, "ButtonCancel");
        });
        TFilterEditorFM::ShowEditViewDialog(*m_conn, QStringLiteral("Cust_CustomersMain"),
                                            QStringLiteral(".CUS"), path, stream, rights);
        QVERIFY(saved);
    }

private:
    struct Row {
        bool found = false;
        QString owner, users, groups, description, sql;
        bool share = false, isSQL = false;
    };
    Row stored(const QString& path) {
        Row r;
        const auto ds =
            m_conn->ExecuteWithQuery(QStringLiteral("select * from Sys_FileBase where vFileName+vExt='") +
                                     path + QStringLiteral(".CUS'"));
        if (ds->IsEmpty()) return r;
        r.found = true;
        r.owner = ds->FieldByName("vOwner").AsString();
        r.share = ds->FieldByName("bShare").AsBoolean();
        r.users = ds->FieldByName("vAllowedUsers").AsString();
        r.groups = ds->FieldByName("vAllowedGroups").AsString();
        r.description = ds->FieldByName("vDescription").AsString();
        QByteArray bytes = ds->FieldByName("imgFileData").AsBytes();
        QBuffer b(&bytes);
        b.open(QIODevice::ReadOnly);
        r.sql = LoadSQLFromStream(b, r.isSQL);
        return r;
    }
    QString allViews() {
        const auto ds = m_conn->ExecuteWithQuery(QStringLiteral(
            "select vFileName+vExt+vOwner+vAllowedUsers+vAllowedGroups as k from Sys_FileBase order "
            "by 1"));
        QString out;
        for (ds->First(); !ds->Eof(); ds->Next())
            out += ds->Fields(0).AsString() + QLatin1Char('\n');
        return out;
    }
    QTreeWidgetItem* find(const QString& path) {
        QTreeWidget* tree = m_frame->TreeView();
        for (int i = 0; i < tree->topLevelItemCount(); ++i)
            for (int j = 0; j < tree->topLevelItem(i)->childCount(); ++j)
                if (tree->topLevelItem(i)->text(0) + '\\' + tree->topLevelItem(i)->child(j)->text(0) == path)
                    return tree->topLevelItem(i)->child(j);
        return nullptr;
    }
    QStringList visibleViews() {
        QStringList out;
        QTreeWidget* tree = m_frame->TreeView();
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            QTreeWidgetItem* f = tree->topLevelItem(i);
            for (int j = 0; j < f->childCount(); ++j)
                if (!f->isHidden() && !f->child(j)->isHidden())
                    out << f->text(0) + '\\' + f->child(j)->text(0);
        }
        return out;
    }
    QAction* action(const QString& text) {
        for (QAction* a : m_frame->PopupMenu()->actions())
            if (a->text() == text) return a;
        qFatal("no action %s", qPrintable(text));
    }

    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::shared_ptr<UserConnection> m_conn;
    Services m_services;
    std::unique_ptr<TFilterFrame> m_frame;
    QString m_sql;
    QString m_caption;
};

LNQ_TEST_MAIN_WIDGETS(TestFilterFrame)
#include "tst_FilterFrame.moc"
