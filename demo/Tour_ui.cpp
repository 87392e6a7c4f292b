#include "demo/Tour_ui.h"

#include "data/DataSet.h"
#include "demo/BackupScreen_ui.h"
#include "demo/DemoConnection.h"
#include "demo/DemoServices.h"
#include "demo/ListScreens_ui.h"
#include "demo/MainWindow_ui.h"
#include "demo/OrderEditForm_ui.h"
#include "demo/RecordEdit_ui.h"
#include "demo/SignIn_ui.h"
#include "filter/Ctrl_FilterFrame.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/Ctrl_SuperEditFm.h"
#include "forms/Plat_searchdialogfm_ui.h"
#include "forms/Plat_searchdialogs_ui.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QToolButton>
#include <QTreeWidget>
#include <algorithm>
#include <functional>

namespace lnq {

namespace {

// A step that did not go as a user would expect.
class TourError : public Exception {
public:
    using Exception::Exception;
};

void expect(bool condition, const QString& what) {
    if (!condition) throw TourError(what);
}

// Lets queued work (deferred lookups, layouts, paints) run for a while.
void pump(int milliseconds) {
    QElapsedTimer t;
    t.start();
    do {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    } while (t.elapsed() < milliseconds);
}

// Pumps until done() holds or the time is up; returns done().
bool pumpUntil(const std::function<bool()>& done, int milliseconds) {
    QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired())
        pump(20);
    return done();
}

// Types text into a control as an input method commits it, one character
// after the other (Chinese and Latin alike).
void typeText(QWidget& control, const QString& text) {
    control.setFocus();
    for (const QChar c : text) {
        QInputMethodEvent commit;
        commit.setCommitString(QString(c));
        QApplication::sendEvent(&control, &commit);
        pump(15);
    }
}

void pressKey(QWidget& control, int key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&control, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
    QApplication::sendEvent(&control, &release);
}

QToolButton* toolButton(QWidget& form, const char* name) {
    auto* b = form.findChild<QToolButton*>(QString::fromLatin1(name));
    expect(b != nullptr, QStringLiteral("找不到按钮 ") + QString::fromLatin1(name));
    return b;
}

class Tour {
public:
    Tour(TDemoMainfm& main, const QString& dir, QTextStream& out) : m_main(main), m_dir(dir), m_out(out) {}

    int run() {
        QDir().mkpath(m_dir);
        m_previous = TClientUtils::SetMsgBoxHandler([this](const QString& text, const QString&, int flags) {
            m_out << QStringLiteral("  [提示] ") << QString(text).replace(QLatin1Char('\n'), QLatin1Char(' '))
                  << Qt::endl;
            m_messages << text;
            const int buttons = flags & 0x0F;
            return buttons == mb::YesNo || buttons == mb::YesNoCancel ? id::Yes : id::Ok;
        });
        m_main.resize(1280, 800);
        m_main.show();
        pump(200);

        step(QStringLiteral("sign-in"), [this] { signIn(); });
        step(QStringLiteral("customers"), [this] { customers(); });
        step(QStringLiteral("quick-filter"), [this] { quickFilter(); });
        for (const char* id : {"Agent", "Supplier", "Product", "Service", "Program", "SystemUser"})
            step(QString::fromLatin1(id).toLower(), [this, id] { plainList(QString::fromLatin1(id)); });
        step(QStringLiteral("sales-confirm"), [this] { salesConfirm(); });
        step(QStringLiteral("record-editor"), [this] { recordEditor(); });
        step(QStringLiteral("search-dialog"), [this] { searchDialog(); });
        step(QStringLiteral("order-entry"), [this] { orderEntry(); });
        step(QStringLiteral("backup"), [this] { backup(); });

        TClientUtils::SetMsgBoxHandler(std::move(m_previous));
        TUtils_SearchDialogs::OnBeforeShow = {};
        m_main.OnBeforeEditorShow = {};
        m_out << (m_failures == 0 ? QStringLiteral("导览完成：") : QStringLiteral("导览有步骤失败："))
              << m_shots << QStringLiteral(" 张截图，") << m_failures << QStringLiteral(" 个失败")
              << Qt::endl;
        return m_failures == 0 ? 0 : 1;
    }

private:
    void step(const QString& name, const std::function<void()>& body) {
        m_messages.clear();
        try {
            body();
        } catch (const Exception& e) {
            fail(name, e.Message());
        } catch (const std::exception& e) {
            fail(name, QString::fromUtf8(e.what()));
        }
    }

    void fail(const QString& name, const QString& why) {
        ++m_failures;
        QTextStream(stderr) << QStringLiteral("步骤失败 ") << name << QStringLiteral("：") << why << Qt::endl;
    }

    // Saves a picture of the widget as demo-<name>.png and prints its path.
    // A pop-up window open over the widget (a lookup's list) is drawn in
    // where it shows on screen.
    void capture(QWidget& widget, const QString& name, QWidget* popup = nullptr) {
        pump(60);
        QPixmap picture = widget.grab();
        if (popup && popup->isVisible()) {
            QPainter painter(&picture);
            painter.drawPixmap(popup->mapToGlobal(QPoint(0, 0)) - widget.mapToGlobal(QPoint(0, 0)),
                               popup->grab());
        }
        expect(!picture.isNull() && picture.width() > 50 && picture.height() > 50,
               QStringLiteral("截图为空：") + name);
        const QString file =
            QDir(m_dir).absoluteFilePath(QStringLiteral("demo-") + name + QStringLiteral(".png"));
        expect(picture.save(file, "PNG"), QStringLiteral("无法保存截图 ") + file);
        m_out << file << Qt::endl;
        ++m_shots;
    }

    TDemoListfm& openList(const QString& id) {
        auto* list = qobject_cast<TDemoListfm*>(m_main.OpenScreen(id));
        expect(list != nullptr, QStringLiteral("无法打开界面 ") + id);
        pump(80);
        return *list;
    }

    void signIn() {
        TDemoSignInDlg dialog(m_main.Connection());
        expect(dialog.SelectUser(QStringLiteral("zhangwei")), QStringLiteral("登录窗口没有列出示例用户"));
        dialog.resize(460, 420);
        dialog.show();
        capture(dialog, QStringLiteral("sign-in"));
        dialog.close();
    }

    void customers() {
        TDemoListfm& list = openList(QStringLiteral("Customer"));
        const std::unique_ptr<TADODataSet> total =
            m_main.Connection().ExecuteWithQuery(QStringLiteral("select count(*) from Cust_CustomersMain"));
        expect(list.ListDataSet().RecordCount() == std::min(100, total->Fields(0).AsInteger()),
               QStringLiteral("客户列表没有显示最新的100行"));
        const QString view = QStringLiteral("常用视图\\北京客户");
        expect(list.FilterFrame()->OpenFilter(view), QStringLiteral("视图树中没有 ") + view);
        pump(80);
        TDataSet& rows = list.ListDataSet();
        expect(rows.RecordCount() > 0, QStringLiteral("视图“北京客户”没有数据"));
        for (rows.First(); !rows.Eof(); rows.Next())
            expect(rows.FieldByName(QStringLiteral("vProvince")).AsString() == QStringLiteral("北京"),
                   QStringLiteral("视图“北京客户”中有其他省份的客户"));
        rows.First();
        capture(m_main, QStringLiteral("customers"));
    }

    void quickFilter() {
        TDemoListfm& list = openList(QStringLiteral("Customer"));
        list.RefreshData();
        pump(50);
        const int before = list.ListDataSet().RecordCount();
        list.LNQDBGridList()->AddFilter(QStringLiteral("vProvince"), QStringLiteral("等于"),
                                        QStringLiteral("广东"));
        pump(50);
        const int after = list.ListDataSet().RecordCount();
        expect(after > 0 && after < before, QStringLiteral("快速筛选“省份 等于 广东”没有缩小列表"));
        capture(m_main, QStringLiteral("quick-filter"));
        list.LNQDBGridList()->ClearAllFilters();
    }

    void plainList(const QString& id) {
        TDemoListfm& list = openList(id);
        expect(list.ListDataSet().RecordCount() > 0, list.windowTitle() + QStringLiteral("列表没有数据"));
        // The screen's first saved view, opened from the tree.
        QTreeWidget* tree = list.FilterFrame()->TreeView();
        QTreeWidgetItem* folder = tree->topLevelItemCount() > 0 ? tree->topLevelItem(0) : nullptr;
        expect(folder && folder->childCount() > 0, list.windowTitle() + QStringLiteral("的视图树是空的"));
        const QString path = folder->text(0) + QLatin1Char('\\') + folder->child(0)->text(0);
        const int shownBefore = m_messages.size();
        expect(list.FilterFrame()->OpenFilter(path), QStringLiteral("无法打开视图 ") + path);
        pump(80);
        expect(m_messages.size() == shownBefore && !list.ListCaption().isEmpty(),
               QStringLiteral("打开视图 ") + path + QStringLiteral(" 失败"));
        capture(m_main, id.toLower());
    }

    void salesConfirm() {
        TDemoListfm& list = openList(QStringLiteral("SaleOrder"));
        const QString view = QStringLiteral("常用视图\\未审核销售单");
        expect(list.FilterFrame()->OpenFilter(view), QStringLiteral("视图树中没有 ") + view);
        pump(80);
        TDataSet& rows = list.ListDataSet();
        expect(!rows.IsEmpty(), QStringLiteral("没有未审核的销售单"));
        rows.First();
        const qint64 key = rows.FieldByName(QStringLiteral("iNo")).AsLargeInt();
        QToolButton* confirm = toolButton(list, "SpeedButtonDoConfirm");
        expect(confirm->isEnabled(), QStringLiteral("未审核的销售单上“审核”不可用"));
        confirm->click();
        pump(80);
        const std::unique_ptr<TADODataSet> check = m_main.Connection().ExecuteWithQuery(
            QStringLiteral("select m.vConfirmState as s, m.vConfirmUser as u, "
                           "(select count(*) from Sal_SaleDetail d where d.iMasterNo=m.iNo "
                           "and d.vConfirmState='已确认') as n from Sal_SaleMain m where m.iNo=") +
            QString::number(key));
        expect(check->Fields(0).AsString() == QStringLiteral("已确认"), QStringLiteral("审核没有写入销售单"));
        expect(check->Fields(1).AsString() == m_main.Connection().CurrentUser().Name,
               QStringLiteral("审核人不是当前用户"));
        expect(check->Fields(2).AsInteger() > 0, QStringLiteral("审核没有写入销售单的明细"));
        // The order as a link addressed to the list shows it, with its lines.
        list.ApplinkInit(QStringLiteral("KeyField=") + QString::number(key));
        pump(80);
        expect(rows.RecordCount() == 1 &&
                   rows.FieldByName(QStringLiteral("vConfirmState")).AsString() == QStringLiteral("已确认"),
               QStringLiteral("按单据号打开的列表没有显示已审核的销售单"));
        expect(toolButton(list, "SpeedButtonUnDoConfirm")->isEnabled(),
               QStringLiteral("已审核的销售单上“消审”不可用"));
        capture(m_main, QStringLiteral("sales-orders"));
    }

    void recordEditor() {
        bool shown = false;
        m_main.OnBeforeEditorShow = [this, &shown](QDialog& dialog) {
            shown = true;
            dialog.show();
            pump(100);
            auto* province = qobject_cast<TLNQSuperEdit*>(
                static_cast<TDemoRecordEditfm&>(dialog).EditorOf(QStringLiteral("vProvince")));
            expect(province != nullptr, QStringLiteral("客户编辑窗口没有省份的查找框"));
            province->clear();
            typeText(*province, QStringLiteral("广"));
            const bool dropped = pumpUntil(
                [province] {
                    return province->IsDroppedDown() && province->DropDownForm().DataSet() &&
                           province->DropDownForm().DataSet()->RecordCount() > 0;
                },
                3000);
            expect(dropped, QStringLiteral("在查找框中输入“广”没有列出省份"));
            capture(dialog, QStringLiteral("record-editor"), &province->DropDownForm());
            capture(province->DropDownForm(), QStringLiteral("lookup-edit"));
            pressKey(*province, Qt::Key_Return);
            pump(50);
            expect(province->text().startsWith(QStringLiteral("广")),
                   QStringLiteral("回车没有选中查找框的行"));
            auto* remark = qobject_cast<QLineEdit*>(
                static_cast<TDemoRecordEditfm&>(dialog).EditorOf(QStringLiteral("vRemark")));
            expect(remark != nullptr, QStringLiteral("客户编辑窗口没有备注"));
            remark->setText(QStringLiteral("导览修改"));
            auto* save = dialog.findChild<QPushButton*>(QStringLiteral("SaveButton"));
            expect(save != nullptr, QStringLiteral("客户编辑窗口没有“保存”"));
            save->click();
        };
        TClientUtils::OpenAppLink(m_main.Services(), QStringLiteral("app://Customer?Action=EDIT&KeyField=1"));
        m_main.OnBeforeEditorShow = {};
        expect(shown, QStringLiteral("修改链接没有打开客户编辑窗口"));
        const std::unique_ptr<TADODataSet> row = m_main.Connection().ExecuteWithQuery(
            QStringLiteral("select vRemark, vProvince from Cust_CustomersMain where iCustomerNo=1"));
        expect(row->Fields(0).AsString() == QStringLiteral("导览修改"),
               QStringLiteral("编辑窗口没有保存客户"));
        expect(row->Fields(1).AsString().startsWith(QStringLiteral("广")),
               QStringLiteral("查找框选中的省份没有保存"));
    }

    void searchDialog() {
        bool shown = false;
        TUtils_SearchDialogs::OnBeforeShow = [this, &shown](TPLAT_Searchfm& form) {
            shown = true;
            form.resize(760, 480);
            form.show();
            form.SetSearchText(QStringLiteral("bj"));
            pump(100);
            expect(form.DataSet() && form.DataSet()->RecordCount() > 0,
                   QStringLiteral("查询窗口按拼音“bj”没有找到客户"));
            capture(form, QStringLiteral("search-dialog"));
            form.accept();
        };
        QString no, code, name, province;
        const int result = TUtils_SearchDialogs::ShowCustomerListDialog(m_main.Connection(), QString(), no,
                                                                        code, name, province);
        TUtils_SearchDialogs::OnBeforeShow = {};
        expect(shown && result == 1 && !no.isEmpty() && !name.isEmpty(),
               QStringLiteral("客户查询窗口没有返回选中的客户"));
    }

    void orderEntry() {
        auto* order = qobject_cast<TOrderEditfm*>(m_main.OpenScreen(QStringLiteral("OrderEntry")));
        expect(order != nullptr, QStringLiteral("无法打开订单录入"));
        pump(100);
        TLNQSuperEdit* customer = order->CustomerEdit();
        customer->clear();
        typeText(*customer, QStringLiteral("bjhx"));
        const bool dropped = pumpUntil(
            [customer] {
                return customer->IsDroppedDown() && customer->DropDownForm().DataSet() &&
                       customer->DropDownForm().DataSet()->RecordCount() > 0;
            },
            3000);
        expect(dropped, QStringLiteral("客户查找框输入“bjhx”没有列出客户"));
        pressKey(*customer, Qt::Key_Return);
        pump(50);
        expect(customer->No() != QStringLiteral("0") && !customer->No().isEmpty(),
               QStringLiteral("回车没有选中客户"));
        // Goods chosen one by one, each found by part of its name in the
        // dialog's quick search (all rows when nothing matches).
        int lines = 0;
        for (const char* text : {"衫", "茶", "机"}) {
            TUtils_SearchDialogs::OnBeforeShow = [text](TPLAT_Searchfm& form) {
                form.show();
                form.SetSearchFieldName(QStringLiteral("商品名称"));
                form.SetSearchText(QString::fromUtf8(text));
                pump(60);
                if (!form.DataSet() || form.DataSet()->RecordCount() == 0) form.SetSearchText(QString());
                form.accept();
            };
            lines += order->ChooseProducts();
        }
        TUtils_SearchDialogs::OnBeforeShow = {};
        expect(lines > 0, QStringLiteral("选货没有放入商品"));
        pump(50);
        expect(order->SaveDocument(), QStringLiteral("订单保存失败"));
        expect(order->KeyValue() > 0, QStringLiteral("订单保存后没有单据号"));
        capture(m_main, QStringLiteral("order-entry"));
    }

    void backup() {
        auto* screen = qobject_cast<TDemoBackupfm*>(m_main.OpenScreen(QStringLiteral("Backup")));
        expect(screen != nullptr, QStringLiteral("无法打开数据备份"));
        QTemporaryDir folder;
        expect(folder.isValid(), QStringLiteral("无法创建临时文件夹"));
        screen->SetBackupFolder(folder.path());
        pump(100);
        QString file;
        expect(screen->Backup(&file), QStringLiteral("备份失败"));
        expect(screen->CheckBackup(file), QStringLiteral("备份文件没有通过检查"));
        capture(m_main, QStringLiteral("backup"));
    }

    TDemoMainfm& m_main;
    QString m_dir;
    QTextStream& m_out;
    TClientUtils::TMsgBoxFn m_previous;
    QStringList m_messages;
    int m_failures = 0;
    int m_shots = 0;
};

} // namespace

int RunDemoTour(TDemoMainfm& mainForm, const QString& dir, QTextStream& out) {
    return Tour(mainForm, dir, out).run();
}

} // namespace lnq
