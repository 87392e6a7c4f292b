#include "common/FormFixture.h"
#include "common/TestMain.h"
#include "forms/MasterDetailEdit_ui.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Clock.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QDateTimeEdit>
#include <QLineEdit>
#include <QMimeData>
#include <QToolButton>

using namespace lnq;
using namespace lnqtest;

namespace {

// A small order form: plain edits in the header, five line columns.
class OrderForm : public TMasterDetailEditfm {
public:
    using TMasterDetailEditfm::TMasterDetailEditfm;
    QLineEdit* receipt = new QLineEdit;
    QLineEdit* customer = new QLineEdit;
    QLineEdit* remark = new QLineEdit;
    QDateTimeEdit* date = new QDateTimeEdit;
    bool allowSave = true, allowDelete = true, allowConfirm = true, allowUndo = true;
    QString word; // ConfirmWord of the deriving form, when it has its own

protected:
    QString MasterTable() const override { return "Sal_SaleMain"; }
    QString MasterKeyField() const override { return "iNo"; }
    QString DetailTable() const override { return "Sal_SaleDetail"; }
    QString DetailKeyField() const override { return "iMasterNo"; }
    QString DetailLineKeyField() const override { return "iNo"; }
    QString ConfirmStateField() const override { return "vConfirmState"; }
    QString ConfirmUserField() const override { return "vConfirmUser"; }
    QString ConfirmDateField() const override { return "dConfirmDate"; }
    QString CreateUserField() const override { return "vCreateUser"; }
    QString CreateTimeField() const override { return "dCreateDate"; }
    QString ModifyUserField() const override { return "vModifyUser"; }
    QString ModifyTimeField() const override { return "dModifyDate"; }
    void CreateHeader() override {
        if (!word.isEmpty()) ConfirmWord = word;
        AddHeaderEditor("单据编号", receipt, 0, 0);
        AddHeaderEditor("客户名称", customer, 0, 1);
        AddHeaderEditor("销售日期", date, 1, 0);
        AddHeaderEditor("备注", remark, 1, 1);
        BindField("vReceiptNo", receipt);
        BindField("vCustomerName", customer);
        BindField("dSaleDate", date);
        BindField("vRemark", remark);
    }
    void CreateDetailColumns() override {
        TLNQStringGrid& g = *DetailGrid();
        const auto add = [&](const char* name, const char* caption, TLNQDataTypePro pro, int dec,
                             TCalcMode calc) {
            TGridCol* c = g.AddCol(name, 80);
            c->SetCaption(caption);
            c->SetDataTypePro(pro);
            c->SetDataWidth(12);
            c->SetDataDec(dec);
            c->SetCalcMode(calc);
        };
        add("vProductName", "商品名称", dpString, 0, ccCount);
        add("fQuantity", "数量", dpDecimal, 2, ccSum);
        add("mPrice", "单价", dpDecimal, 2, ccUser);
        add("mAmount", "金额", dpCurrency, 2, ccSum);
    }
    void DetailCellChanged(int, int row) override {
        double q = 0, p = 0;
        TLNQStringGrid& g = *DetailGrid();
        g.GetCellValF(row, "fQuantity", q);
        g.GetCellValF(row, "mPrice", p);
        g.SetCellValF(row, "mAmount", q * p);
    }
    bool CanSave() override { return allowSave; }
    bool CanDelete() override { return allowDelete; }
    bool CanDoConfirm() override { return allowConfirm; }
    bool CanUndoConfirm() override { return allowUndo; }
};

struct Fixture : FormFixture<OrderForm> {
    explicit Fixture(const QString& word = {})
        : FormFixture({800, 500}, [&word](OrderForm& f) { f.word = word; }) {}
    // A column expression of the order's master row; the count of its lines.
    QVariant master(const char* expr, int key) {
        return scalar(QString("select ") + expr + " from Sal_SaleMain where iNo=" + QString::number(key));
    }
    int lineCount(int key) {
        return scalar("select count(*) from Sal_SaleDetail where iMasterNo=" + QString::number(key)).toInt();
    }
    void click(const char* button) { QTest::mouseClick(form->Button(button), Qt::LeftButton); }
    // A new order with two lines, saved; its key.
    int enterOrder(const QString& receiptNo) {
        form->receipt->setFocus();
        QTest::keyClicks(form->receipt, receiptNo);
        commitText(form->customer, QStringLiteral("北京华信通达科技有限公司"));
        typeCell("vProductName", 1, "A4");
        typeCell("fQuantity", 1, "3");
        typeCell("mPrice", 1, "12.5");
        typeCell("vProductName", 2, "Pen");
        typeCell("fQuantity", 2, "10");
        typeCell("mPrice", 2, "2");
        click("SpeedButtonSave");
        return form->KeyValue();
    }
};

} // namespace

class TestMasterDetailEdit : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { Clock::setFixedNow(QDateTime(QDate(2026, 3, 9), QTime(10, 30, 0))); }

    void enterSaveAndReopen() {
        Fixture f;
        QAbstractItemModelTester tester(&f.grid().CellModel(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const int key = f.enterOrder("XS-T-1");
        QVERIFY2(key > 0, qPrintable(f.messages.join('|')));
        QVERIFY(!f.form->Modified());
        QCOMPARE(f.master("vCustomerName", key).toString(), QStringLiteral("北京华信通达科技有限公司"));
        QCOMPARE(f.master("vCreateUser + '/' + vModifyUser + '/' + vConfirmState", key).toString(),
                 QStringLiteral("zhangwei/zhangwei/未确认"));
        QCOMPARE(f.master("dCreateDate", key).toDateTime(), QDateTime(QDate(2026, 3, 9), QTime(10, 30)));
        QCOMPARE(f.lineCount(key), 2);
        QCOMPARE(f.scalar("select sum(mAmount) from Sal_SaleDetail where iMasterNo=" + QString::number(key))
                     .toDouble(),
                 57.5);
        // Footer: the amount total, the line count.
        const TGridCols& cols = f.grid().GridCols();
        QCOMPARE(cols[f.grid().ColByName("mAmount")]->TailCaption(), QStringLiteral("57.50"));
        QCOMPARE(cols[f.grid().ColByName("vProductName")]->TailCaption(), QStringLiteral("2"));

        // Another form opens it through the edit link.
        OrderForm other(f.conn, &f.services);
        other.FormCreate();
        other.ApplinkInit("Action=EDIT&KeyField=" + QString::number(key));
        QCOMPARE(other.KeyValue(), key);
        QCOMPARE(other.receipt->text(), QStringLiteral("XS-T-1"));
        QCOMPARE(other.DetailLineCount(), 2);
        QCOMPARE(other.DetailGrid()->Cells(other.DetailGrid()->ColByName("vProductName"), 2),
                 QStringLiteral("Pen"));
        QCOMPARE(other.DetailTotal("mAmount"), 57.5);
        QVERIFY(!other.Modified());
    }

    void badLinksLeaveTheForm_data() {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("message");
        QTest::newRow("not a number") << "Action=EDIT&KeyField=1;drop table x"
                                      << "单据号“1;drop table x”无效";
        QTest::newRow("no such row") << "action=edit&KeyField=99999"
                                     << "没有找到单据（iNo=99999）";
        QTest::newRow("negative") << "KeyField=-3"
                                  << "单据号“-3”无效";
    }
    void badLinksLeaveTheForm() {
        QFETCH(QString, link);
        QFETCH(QString, message);
        Fixture f;
        f.form->ApplinkInit("Action=EDIT&KeyField=1");
        QCOMPARE(f.form->KeyValue(), 1);
        const QString receipt = f.form->receipt->text();
        f.form->ApplinkInit(link);
        QCOMPARE(f.messages, QStringList{message});
        QCOMPARE(f.form->KeyValue(), 1);
        QCOMPARE(f.form->receipt->text(), receipt);
    }

    void confirmLocksAndCancelUnlocks_data() {
        QTest::addColumn<QString>("word");
        QTest::newRow("default word") << QString();
        QTest::newRow("own word") << QStringLiteral("审核");
    }
    void confirmLocksAndCancelUnlocks() {
        QFETCH(QString, word);
        Fixture f(word);
        const QString w = word.isEmpty() ? QStringLiteral("确认") : word;
        const int key = f.enterOrder("XS-T-2");
        const QString where = " where iMasterNo=" + QString::number(key);
        f.click("SpeedButtonDoConfirm");
        QVERIFY(f.form->Confirmed());
        QCOMPARE(f.messages.last(), w + "成功");
        QCOMPARE(f.master("vConfirmState + '/' + vConfirmUser", key).toString(), "已" + w + "/张伟");
        QCOMPARE(f.master("dConfirmDate", key).toDate(), QDate(2026, 3, 9));
        QCOMPARE(f.scalar("select count(*) from Sal_SaleDetail" + where + " and vConfirmState='已" + w + "'")
                     .toInt(),
                 2);
        // Locked: editors read-only, grid read-only, only cancel-confirm enabled.
        QVERIFY(f.form->receipt->isReadOnly());
        QVERIFY(f.grid().GridReadOnly());
        QVERIFY(!f.form->Button("SpeedButtonSave")->isEnabled());
        QVERIFY(!f.form->Button("SpeedButtonDelete")->isEnabled());
        QVERIFY(!f.form->Button("SpeedButtonDoConfirm")->isEnabled());
        QVERIFY(f.form->Button("SpeedButtonUnDoConfirm")->isEnabled());
        QTest::keyClicks(f.form->remark, "x");
        QVERIFY(f.form->remark->text().isEmpty());
        QVERIFY(!f.form->SaveDocument());
        QCOMPARE(f.messages.last(), "单据已" + w + "，不能修改");

        f.click("SpeedButtonUnDoConfirm");
        QVERIFY(!f.form->Confirmed());
        QCOMPARE(f.form->ConfirmState(), "未" + w);
        QCOMPARE(f.scalar("select count(*) from Sal_SaleDetail" + where + " and vConfirmState='未" + w + "'")
                     .toInt(),
                 2);
        QVERIFY(!f.form->receipt->isReadOnly());
        QVERIFY(f.form->Button("SpeedButtonSave")->isEnabled());
    }

    void vetoesStopTheOperation_data() {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<bool>("byEvent");
        for (const char* op : {"save", "delete", "confirm", "undo"}) {
            QTest::newRow(qPrintable(QString(op) + " virtual")) << QString(op) << false;
            QTest::newRow(qPrintable(QString(op) + " event")) << QString(op) << true;
        }
    }
    void vetoesStopTheOperation() {
        QFETCH(QString, operation);
        QFETCH(bool, byEvent);
        Fixture f;
        const int key = f.enterOrder("XS-T-3");
        if (operation == "undo") QVERIFY(f.form->DoConfirm());
        const auto veto = [](TMasterDetailEditfm&, bool& can) { can = false; };
        const QString before = f.master("vRemark + '/' + vConfirmState", key).toString();
        bool done = true;
        if (operation == "save") {
            byEvent ? void(f.form->OnBeforeSave = veto) : void(f.form->allowSave = false);
            QTest::keyClicks(f.form->remark, "changed");
            done = f.form->SaveDocument();
            QVERIFY(f.form->Modified());
        } else if (operation == "delete") {
            byEvent ? void(f.form->OnBeforeDelete = veto) : void(f.form->allowDelete = false);
            done = f.form->DeleteDocument();
        } else if (operation == "confirm") {
            byEvent ? void(f.form->OnBeforeConfirm = veto) : void(f.form->allowConfirm = false);
            done = f.form->DoConfirm();
        } else {
            byEvent ? void(f.form->OnBeforeUndoConfirm = veto) : void(f.form->allowUndo = false);
            done = f.form->UndoConfirm();
        }
        QVERIFY(!done);
        QCOMPARE(f.form->KeyValue(), key);
        QCOMPARE(f.master("vRemark + '/' + vConfirmState", key).toString(), before);
        QCOMPARE(f.lineCount(key), 2);
    }

    void deleteRemovesMasterAndLines() {
        Fixture f;
        const int key = f.enterOrder("XS-T-4");
        f.answer = id::No;
        QVERIFY(!f.form->DeleteDocument());
        QCOMPARE(f.messages.last(), QStringLiteral("确定要删除这张单据吗？"));
        f.answer = id::Yes;
        f.click("SpeedButtonDelete");
        QCOMPARE(f.form->KeyValue(), 0);
        QCOMPARE(f.master("count(*)", key).toInt(), 0);
        QCOMPARE(f.lineCount(key), 0);
    }

    void failedSaveRollsBackAndKeepsTheForm() {
        Fixture f;
        const int key = f.enterOrder("XS-T-5");
        f.ado.ExecuteNative("CREATE TRIGGER t_qty BEFORE INSERT ON Sal_SaleDetail WHEN NEW.fQuantity > 9999 "
                            "BEGIN SELECT RAISE(ABORT, '数量超出范围'); END;");
        QTest::keyClicks(f.form->remark, "lost?");
        f.typeCell("vProductName", 3, "Big");
        f.typeCell("fQuantity", 3, "10000");
        QVERIFY(!f.form->SaveDocument());
        QVERIFY(f.messages.last().startsWith("保存失败："));
        QVERIFY(f.messages.last().contains("数量超出范围"));
        // The database as it was: the old remark, the two old lines.
        QVERIFY(f.master("vRemark", key).isNull());
        QCOMPARE(f.lineCount(key), 2);
        // The form as the user left it.
        QCOMPARE(f.form->remark->text(), QStringLiteral("lost?"));
        QCOMPARE(f.form->DetailLineCount(), 3);
        QVERIFY(f.form->Modified());

        // A new document failing on its master row (duplicate receipt) leaves nothing.
        f.answer = id::No; // do not save the failed changes
        QVERIFY(f.form->NewDocument());
        const int before = f.scalar("select count(*) from Sal_SaleMain").toInt();
        f.enterOrder("XS-T-5");
        QCOMPARE(f.form->KeyValue(), 0);
        QCOMPARE(f.scalar("select count(*) from Sal_SaleMain").toInt(), before);
        QCOMPARE(f.form->DetailLineCount(), 2);
    }

    void copyGivesTextAndHtmlWithTitles() {
        Fixture f;
        f.enterOrder("XS-T-6");
        f.grid().SetRowCount(6);
        f.typeCell("vProductName", 5, "Ink"); // empty rows before it are not lines
        f.click("SpeedButtonCopy");
        const QMimeData* data = QApplication::clipboard()->mimeData();
        QVERIFY(data->hasText() && data->hasHtml());
        const QStringList lines = data->text().split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines, (QStringList{"序号\t商品名称\t数量\t单价\t金额", "1\tA4\t3.00\t12.50\t37.50",
                                     "2\tPen\t10.00\t2.00\t20.00", "3\tInk\t\t\t"}));
        const QString html = data->html();
        QVERIFY(html.contains("<th>商品名称</th>"));
        QVERIFY(html.contains("<td>Pen</td>"));
        QVERIFY(html.contains("<td align=\"right\">37.50</td>"));
    }

    void closingAsksForUnsavedChanges() {
        Fixture f;
        QVERIFY(!f.form->Modified());
        QTest::keyClicks(f.form->remark, "x");
        // Through the process-wide message box this time.
        f.form->OnMessageBox = {};
        TClientUtils::SetMsgBoxHandler([&f](const QString& text, const QString&, int) {
            f.messages << text;
            return f.answer;
        });
        f.answer = id::Cancel;
        QVERIFY(!f.form->close());
        QVERIFY(f.form->isVisible());
        f.answer = id::No;
        QVERIFY(f.form->close());
        TClientUtils::SetMsgBoxHandler({});
        QCOMPARE(f.messages, QStringList(2, "单据已修改，是否保存？"));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestMasterDetailEdit)
#include "tst_MasterDetailEdit.moc"
