// The list form on a copy of the sample database, derived as a host derives
// it (sales orders with their lines) and driven through its buttons, grid and
// views tree: the newest rows, links handed to the host, confirmation written
// back, link parameters, quick search, selection and database errors.

#include "common/HostServices.h"
#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/WidgetDriver.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "filter/Ctrl_FilterFrame.h"
#include "filter/ViewStream.h"
#include "forms/ListCommon_ui.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Clock.h"
#include "util/Gbk.h"
#include "util/Plat_servicesinterface.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QBuffer>
#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>

using namespace lnq;
using namespace lnqtest;

namespace {

// Orders with their lines, or customers (no lines, no confirmation).
class TestListfm : public TListCommonfm {
public:
    TestListfm(std::shared_ptr<IConnection> c, IServicesInterface* s, QString target, bool customers)
        : TListCommonfm(std::move(c), s), m_target(std::move(target)), m_customers(customers) {}
    int confirmSteps = 0;

protected:
    QString ListTable() const override { return m_customers ? "Cust_CustomersMain" : "Sal_SaleMain"; }
    QString ListKeyField() const override { return m_customers ? "iCustomerNo" : "iNo"; }
    QString DetailTable() const override { return m_customers ? "" : "Sal_SaleDetail"; }
    QString DetailKeyField() const override { return QStringLiteral("iMasterNo"); }
    QString LinkTarget() const override { return QStringLiteral("SaleOrder"); }
    QString ConfirmTarget() const override { return m_target; }
    QString ConfirmStateField() const override { return QStringLiteral("vConfirmState"); }
    QString ConfirmUserField() const override { return QStringLiteral("vConfirmUser"); }
    QString ConfirmDateField() const override { return QStringLiteral("dConfirmDate"); }
    QString ViewExt() const override { return m_customers ? ".CUS" : ".SAL"; }
    void DoConfirmData() override { ++confirmSteps; }

private:
    QString m_target;
    bool m_customers;
};

QToolButton* button(QWidget* form, const QString& caption) {
    for (QToolButton* b : form->findChildren<QToolButton*>())
        if (b->text() == caption) return b;
    qFatal("no button %s", qPrintable(caption));
}

QList<qint64> keys(TDataSet& ds) {
    QList<qint64> out;
    for (int r = 0; r < ds.RecordCount(); ++r)
        out << ds.ValueAt(r, ds.FieldByName(QStringLiteral("iNo")).Index()).toLongLong();
    return out;
}

} // namespace

class tst_ListCommon : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::shared_ptr<IConnection> m_conn;
    HostServices m_services;
    QStringList m_messages; // caption|text of every message the forms showed

    std::unique_ptr<TestListfm> open(const QString& target = QStringLiteral("MASTER"),
                                     bool customers = false) {
        auto form = std::make_unique<TestListfm>(m_conn, &m_services, target, customers);
        form->OnMessage = [this](const QString& text, const QString& caption, int) {
            m_messages << caption + QLatin1Char('|') + text;
            return 1;
        };
        form->resize(1000, 600);
        form->show();
        form->FormCreate();
        return form;
    }
    QString scalar(const QString& sql) { return m_conn->ExecuteWithQuery(sql)->Fields(0).AsString(); }

private Q_SLOTS:
    void initTestCase() {
        Clock::setFixedNow(QDateTime(QDate(2026, 3, 14), QTime(10, 0)));
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        openSmallSample(m_ado, m_dir.filePath(QStringLiteral("sample.db")));
        // 张伟 sees the orders above number 2.
        auto user = std::make_shared<UserConnection>(m_ado);
        user->authority = QStringLiteral("iNo>2");
        m_conn = user;
        // 150 more orders: the list must show the newest hundred only.
        for (int i = 0; i < 150; ++i)
            m_conn->ExecuteNonQuery(
                QStringLiteral("insert into Sal_SaleMain (vReceiptNo, vSeller, vConfirmState) "
                               "values ('T") +
                QString::number(i) + QStringLiteral("', 'lina', '未确认')"));
        // A view with an ASCII name, stored as raw SQL.
        QBuffer stream;
        stream.open(QIODevice::ReadWrite);
        SaveSQLToStream(stream, QStringLiteral("select * from Sal_SaleMain where iNo<=5"));
        stream.seek(0);
        m_conn->SaveStream(QStringLiteral("admin"), QStringLiteral("Top\\First Five.SAL"), stream);
        m_conn->ExecuteNonQuery(QStringLiteral("update Sys_FileBase set bShare=1 where vExt='.SAL'"));
    }
    void init() {
        m_messages.clear();
        m_services.links.clear();
    }

    void newestHundredWithoutSharingColumns() {
        auto form = open();
        TDataSet& ds = form->ListDataSet();
        const QList<qint64> k = keys(ds);
        QCOMPARE(k.size(), 100);
        QCOMPARE(k.first(), scalar(QStringLiteral("select max(iNo) from Sal_SaleMain")).toLongLong());
        QVERIFY(std::is_sorted(k.rbegin(), k.rend()));
        QCOMPARE(form->LNQDBGridList()->model()->rowCount(), 101);
        const TLNQDBGridColumns& cols = form->LNQDBGridList()->Columns();
        QVERIFY(cols.ColumnOfField(QStringLiteral("vReceiptNo")));
        for (const char* hidden : {"bShare", "vAllowedUsers", "vAllowedGroups"})
            QVERIFY2(!cols.ColumnOfField(QLatin1String(hidden)), hidden);
        auto* fields = child<QComboBox>(form.get(), "ComboBoxSearchField");
        QVERIFY(fields->findText(QStringLiteral("单据编号")) >= 0);
        QCOMPARE(fields->findText(QStringLiteral("共享")), -1);
        // No property list for orders: the viewer shows the row under its titles.
        QVERIFY(form->DataWebBrowser()->PageHtml().contains(QStringLiteral("单据编号")));
        QVERIFY(!form->DataWebBrowser()->PageHtml().contains(QStringLiteral("允许用户")));
        QVERIFY(m_messages.isEmpty());
    }

    void customerPropertyPage() {
        auto form = open(QString(), true);
        QVERIFY(!form->TabSheetDetail()->isVisibleTo(form.get()));
        QVERIFY(!button(form.get(), QStringLiteral("审核"))->isVisibleTo(form.get()));
        const QString key = form->ListDataSet().FieldByName(QStringLiteral("iCustomerNo")).AsString();
        const QString page = form->DataWebBrowser()->PageHtml();
        QVERIFY(page.contains(QStringLiteral("<b>基本信息</b>")));
        QVERIFY(page.contains(QStringLiteral("app://ShowContactDetail?iCustomerNo=") + key +
                              QStringLiteral("&")));
    }

    void confirmButtonsFollowState_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<bool>("confirmed");
        QTest::newRow("confirmed") << QStringLiteral("已确认") << true;
        QTest::newRow("unconfirmed") << QStringLiteral("未确认") << false;
        QTest::newRow("other word") << QStringLiteral("已审核") << false;
    }
    void confirmButtonsFollowState() {
        QFETCH(QString, state);
        QFETCH(bool, confirmed);
        m_conn->ExecuteNonQuery(QStringLiteral("update Sal_SaleMain set vConfirmState='") + state +
                                QStringLiteral("' where iNo=(select max(iNo) from Sal_SaleMain)"));
        auto form = open();
        QCOMPARE(button(form.get(), QStringLiteral("审核"))->isEnabled(), !confirmed);
        QCOMPARE(button(form.get(), QStringLiteral("消审"))->isEnabled(), confirmed);
    }

    void confirmWritesTheRow() {
        auto form = open();
        TDataSet& ds = form->ListDataSet();
        ds.SetRecNo(3);
        const QString key = ds.FieldByName(QStringLiteral("iNo")).AsString();
        QTest::mouseClick(button(form.get(), QStringLiteral("审核")), Qt::LeftButton);
        const QString row = QStringLiteral(" from Sal_SaleMain where iNo=") + key;
        QCOMPARE(scalar(QStringLiteral("select vConfirmState") + row), QStringLiteral("已确认"));
        QCOMPARE(scalar(QStringLiteral("select vConfirmUser") + row), QStringLiteral("张伟"));
        QCOMPARE(scalar(QStringLiteral("select dConfirmDate") + row).left(10), QStringLiteral("2026-03-14"));
        QCOMPARE(form->confirmSteps, 1);
        QCOMPARE(ds.FieldByName(QStringLiteral("iNo")).AsString(), key); // back on the same order
        QVERIFY(!button(form.get(), QStringLiteral("审核"))->isEnabled());
        QTest::mouseClick(button(form.get(), QStringLiteral("消审")), Qt::LeftButton);
        QCOMPARE(scalar(QStringLiteral("select vConfirmState") + row), QStringLiteral("未确认"));
        QVERIFY(button(form.get(), QStringLiteral("审核"))->isEnabled());
        QCOMPARE(m_messages,
                 (QStringList{QStringLiteral("提示|确认成功！"), QStringLiteral("提示|取消确认成功！")}));
    }

    void confirmDetailLines() {
        const QString master = scalar(QStringLiteral("select min(iMasterNo) from Sal_SaleDetail"));
        auto form = open(QStringLiteral("DETAIL"));
        form->ApplinkInit(QStringLiteral("KeyField=") + master);
        TDataSet& lines = form->DetailDataSet();
        QCOMPARE(
            lines.RecordCount(),
            scalar(QStringLiteral("select count(*) from Sal_SaleDetail where iMasterNo=") + master).toInt());
        lines.Last();
        const QString line = lines.FieldByName(QStringLiteral("iNo")).AsString();
        const bool wasConfirmed = lines.FieldByName(QStringLiteral("vConfirmState")).AsString() == "已确认";
        QTest::mouseClick(button(form.get(), wasConfirmed ? QStringLiteral("消审") : QStringLiteral("审核")),
                          Qt::LeftButton);
        QCOMPARE(scalar(QStringLiteral("select vConfirmState from Sal_SaleDetail where iNo=") + line),
                 wasConfirmed ? QStringLiteral("未确认") : QStringLiteral("已确认"));
        QCOMPARE(lines.FieldByName(QStringLiteral("iNo")).AsString(), line);
        QCOMPARE(button(form.get(), QStringLiteral("审核"))->isEnabled(), wasConfirmed);
    }

    void linksGoToTheHost() {
        auto form = open();
        TLNQDBGrid* grid = form->LNQDBGridList();
        const QString third = QString::number(keys(form->ListDataSet()).at(2));
        const QRect cell = grid->visualRect(grid->model()->index(3, 2));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::keyClick(grid, Qt::Key_Enter);
        for (const char* caption : {"新增", "修改", "删除", "明细"})
            QTest::mouseClick(button(form.get(), QString::fromUtf8(caption)), Qt::LeftButton);
        QCOMPARE(m_services.links,
                 (QStringList{QStringLiteral("app://SaleOrder?Action=EDIT&KeyField=") + third,
                              QStringLiteral("app://SaleOrder?Action=EDIT&KeyField=") + third,
                              QStringLiteral("app://SaleOrder?Action=INSERT"),
                              QStringLiteral("app://SaleOrder?Action=EDIT&KeyField=") + third,
                              QStringLiteral("app://SaleOrder?Action=DELETE&KeyField=") + third,
                              QStringLiteral("app://SaleOrder?KeyField=") + third}));
    }

    void applinkInit() {
        auto form = open(QString());
        QVERIFY(!button(form.get(), QStringLiteral("审核"))->isVisible());
        // Lower-case action and view name: both are upper-cased before use.
        form->ApplinkInit(QStringLiteral("action=sign&filtername=top\\first five&SignType=财务"));
        QVERIFY(form->SignMode());
        QCOMPARE(form->SignType(), QStringLiteral("财务"));
        QVERIFY(button(form.get(), QStringLiteral("审核"))->isVisible());
        QVERIFY(!button(form.get(), QStringLiteral("新增"))->isVisible());
        QCOMPARE(form->ListCaption(), QStringLiteral("First Five"));
        QCOMPARE(keys(form->ListDataSet()), (QList<qint64>{1, 2, 3, 4, 5}));

        form->ApplinkInit(QStringLiteral("KeyField=4"));
        QCOMPARE(form->CurrentSQL(),
                 QStringLiteral("SELECT TOP 100 * FROM Sal_SaleMain where iNo=4 ORDER BY iNo DESC"));
        QCOMPARE(keys(form->ListDataSet()), QList<qint64>{4});
        // A key that is no number never reaches the database.
        form->ApplinkInit(QStringLiteral("KeyField=1 or 1=1"));
        QCOMPARE(keys(form->ListDataSet()), QList<qint64>{4});
        QCOMPARE(m_messages.size(), 1);
    }

    void viewFromTreeThenQuickSearch() {
        auto form = open();
        QTreeWidget* tree = form->FilterFrame()->TreeView();
        QTreeWidgetItem* view =
            tree->findItems(QStringLiteral("未审核销售单"), Qt::MatchExactly | Qt::MatchRecursive).value(0);
        QVERIFY(view);
        const QPoint at = tree->visualItemRect(view).center();
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
        QCOMPARE(form->ListCaption(), QStringLiteral("未审核销售单"));
        const int unconfirmed =
            scalar(QStringLiteral("select count(*) from Sal_SaleMain where vConfirmState<> "
                                  "'已确认' and iNo>2"))
                .toInt();
        QCOMPARE(form->ListDataSet().RecordCount(), unconfirmed);

        pickComboText(child<QComboBox>(form.get(), "ComboBoxSearchField"), QStringLiteral("业务员"));
        pickComboText(child<QComboBox>(form.get(), "ComboBoxOpType"), QStringLiteral("等于(精确地)"));
        auto* value = child<QLineEdit>(form.get(), "EditValueString");
        QVERIFY(value->isVisible());
        QVERIFY(!child<QDateEdit>(form.get(), "DateTimePicker")->isVisible());
        QTest::keyClicks(value, QStringLiteral("lina"));
        QCOMPARE(form->GetItemSQL(), QStringLiteral("vSeller= 'lina'"));
        QTest::mouseClick(child<QToolButton>(form.get(), "SpeedButtonQuickSearch"), Qt::LeftButton);
        QVERIFY(form->CurrentSQL().endsWith(QStringLiteral(" and iNo>2 and vSeller= 'lina'")));
        const QString lina = QStringLiteral(" from Sal_SaleMain where vSeller= 'lina' and iNo>2");
        QCOMPARE(form->ListDataSet().RecordCount(), scalar(QStringLiteral("select count(*)") + lina +
                                                           QStringLiteral(" and vConfirmState<> '已确认'"))
                                                        .toInt());

        QTest::mouseClick(child<QToolButton>(form.get(), "SpeedButtonSearchAllView"), Qt::LeftButton);
        QCOMPARE(form->CurrentSQL(),
                 QStringLiteral(" select * from Sal_SaleMain where 1=1 and vSeller= 'lina' and iNo>2"));
        QCOMPARE(form->ListDataSet().RecordCount(), scalar(QStringLiteral("select count(*)") + lina).toInt());
    }

    // The value editor follows the field's type; Chinese text comes from the
    // input method.
    void quickSearchValueByFieldType_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("editor");
        QTest::addColumn<QString>("sql");
        const auto add = [](const char* name, const char* field, const char* op, const char* value,
                            const char* editor, const char* sql) {
            QTest::newRow(name) << QString::fromUtf8(field) << QString::fromUtf8(op)
                                << QString::fromUtf8(value) << QString::fromUtf8(editor)
                                << QString::fromUtf8(sql);
        };
        add("text", "客户名称", "包含", "华信", "EditValueString", "vCustomerName like '%华信%'");
        add("number", "金额", "大于等于", "1200.5元", "EditValueNumber", "mAmount>= 1200.5");
        add("date", "销售日期", "等于", "", "DateTimePicker", "DateDiff(d,dSaleDate,'2026-03-14' )=0");
    }
    void quickSearchValueByFieldType() {
        QFETCH(QString, field);
        QFETCH(QString, op);
        QFETCH(QString, value);
        QFETCH(QString, editor);
        QFETCH(QString, sql);
        auto form = open();
        pickComboText(child<QComboBox>(form.get(), "ComboBoxSearchField"), field);
        pickComboText(child<QComboBox>(form.get(), "ComboBoxOpType"), op);
        for (const char* name : {"EditValueString", "EditValueNumber", "DateTimePicker"})
            QCOMPARE(child<QWidget>(form.get(), name)->isVisible(), editor == QLatin1String(name));
        if (!value.isEmpty()) commitText(child<QLineEdit>(form.get(), qPrintable(editor)), value);
        QCOMPARE(form->GetItemSQL(), sql);
    }

    void selectAllAndInvert() {
        auto form = open();
        TBookmarkList& selected = form->LNQDBGridList()->SelectedRows();
        QTest::mouseClick(button(form.get(), QStringLiteral("全选")), Qt::LeftButton);
        QCOMPARE(selected.Count(), 100);
        QTest::mouseClick(button(form.get(), QStringLiteral("反选")), Qt::LeftButton);
        QCOMPARE(selected.Count(), 0);
        form->ListDataSet().SetRecNo(7);
        selected.SetCurrentRowSelected(true);
        QTest::mouseClick(button(form.get(), QStringLiteral("反选")), Qt::LeftButton);
        QCOMPARE(selected.Count(), 99);
        QVERIFY(!selected.CurrentRowSelected());
        QCOMPARE(form->ListDataSet().RecNo(), 7);
    }

    void databaseErrorKeepsTheRows() {
        auto form = open();
        const QList<qint64> before = keys(form->ListDataSet());
        form->RefreshData(QStringLiteral("select * from NoSuchTable"));
        QCOMPARE(m_messages.size(), 1);
        QVERIFY(m_messages.first().startsWith(QStringLiteral("错误提示|")));
        QCOMPARE(keys(form->ListDataSet()), before);
        QCOMPARE(form->LNQDBGridList()->model()->rowCount(), 101);
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_ListCommon)
#include "tst_ListCommon.moc"
