#include "common/FormFixture.h"
#include "common/TestMain.h"
#include "demo/OrderEditForm_ui.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/Ctrl_SuperEditFm.h"
#include "forms/Plat_searchdialogfm_ui.h"
#include "forms/Plat_searchdialogs_ui.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Clock.h"
#include "util/Plat_clientutils_ui.h"

#include <QDateTimeEdit>
#include <QLabel>
#include <QToolButton>

using namespace lnq;
using namespace lnqtest;

namespace {

// The lookup dialogs answer with the product of this number.
void chooseProductInDialogs(int productNo) {
    TUtils_SearchDialogs::OnBeforeShow = [productNo](TPLAT_Searchfm& form) {
        TDataSet* ds = form.DataSet();
        const QString key = ds->FindField("编号") ? "编号" : "商品编号";
        if (ds->Locate(key, productNo))
            form.accept();
        else
            form.reject();
    };
}

struct Fixture : FormFixture<TOrderEditfm> {
    explicit Fixture(const QByteArray& hostReceipt = {})
        : FormFixture({900, 520}, [&](TOrderEditfm&) { services.receiptNo = hostReceipt; }) {}
    void chooseCustomer(const QString& typed) {
        form->CustomerEdit()->setFocus();
        QTest::keyClicks(form->CustomerEdit(), typed);
        QVERIFY(QTest::qWaitFor([] { return TRefreshDataThread::Running() == 0; }, 10000));
        QCoreApplication::processEvents();
        QTest::keyClick(form->CustomerEdit(), Qt::Key_Return);
    }
};

} // namespace

class TestOrderEditForm : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { Clock::setFixedNow(QDateTime(QDate(2026, 3, 9), QTime(9, 0))); }
    void cleanup() { TUtils_SearchDialogs::OnBeforeShow = {}; }

    void receiptNumber_data() {
        QTest::addColumn<QByteArray>("host");
        QTest::newRow("from the table") << QByteArray();
        QTest::newRow("from the host") << QByteArray("SO-77");
    }
    void receiptNumber() {
        QFETCH(QByteArray, host);
        Fixture f(host);
        QString expected = QString::fromLatin1(host);
        if (host.isEmpty()) {
            // The sample numbers each day's orders from 0001 on.
            const int today =
                f.scalar("select count(*) from Sal_SaleMain where vReceiptNo like 'XS20260309%'").toInt();
            expected = "XS20260309" + QString::number(today + 1).rightJustified(4, '0');
        }
        QCOMPARE(f.form->ReceiptEdit()->text(), expected);
        QCOMPARE(f.form->DateEdit()->date(), QDate(2026, 3, 9));
        QVERIFY(!f.form->Modified());
    }

    void enterOrderWithLookupsAndSave() {
        Fixture f;
        f.chooseCustomer("bjhx");
        QCOMPARE(f.form->CustomerEdit()->GetNo(), 1);
        // Goods through the product list ("选货") and through F3 on the next line.
        chooseProductInDialogs(3);
        QTest::mouseClick(f.form->Button("SpeedButtonChooseGoods"), Qt::LeftButton);
        QCOMPARE(f.grid().Cells(f.grid().ColByName("iProductNo"), 1), QStringLiteral("3"));
        QCOMPARE(f.grid().Cells(f.grid().ColByName("vProductName"), 1),
                 f.scalar("select vProductName from St_Products where iProductNo=3").toString());
        f.typeCell("fQuantity", 1, "3");
        f.typeCell("mPrice", 1, "12.5");
        chooseProductInDialogs(5);
        f.grid().FocusCell(f.grid().ColByName("vProductName"), 2);
        f.activate();
        f.grid().setFocus();
        QTest::keyClick(&f.grid(), Qt::Key_F3);
        QCOMPARE(f.grid().Cells(f.grid().ColByName("iProductNo"), 2), QStringLiteral("5"));
        f.typeCell("mPrice", 2, "20");
        QCOMPARE(f.form->DetailTotal("mAmount"), 57.5);
        QCOMPARE(f.form->CapitalTotal(), QStringLiteral("伍拾柒元伍角"));
        QCOMPARE(f.form->findChild<QLabel*>("LabelCapital")->text(), QStringLiteral("大写：伍拾柒元伍角"));

        QTest::mouseClick(f.form->Button("SpeedButtonSave"), Qt::LeftButton);
        const int key = f.form->KeyValue();
        QVERIFY2(key > 0, qPrintable(f.messages.join('|')));
        const QString k = QString::number(key);
        QCOMPARE(f.scalar("select mAmount from Sal_SaleMain where iNo=" + k).toDouble(), 57.5);
        QCOMPARE(f.scalar("select iCustomerNo from Sal_SaleMain where iNo=" + k).toInt(), 1);
        QCOMPARE(f.scalar("select vCustomerName from Sal_SaleMain where iNo=" + k).toString(),
                 QStringLiteral("北京华信通达科技有限公司"));
        QCOMPARE(
            f.scalar("select count(*) from Sal_SaleDetail where iMasterNo=" + k + " and iProductNo in (3,5)")
                .toInt(),
            2);

        // Confirmed: the goods button and the customer are locked too.
        QVERIFY(f.form->DoConfirm());
        QVERIFY(!f.form->Button("SpeedButtonChooseGoods")->isEnabled());
        QVERIFY(f.form->CustomerEdit()->isReadOnly());
        QCOMPARE(f.form->ChooseProducts(), 0);
    }

    void barcodePutsItsProductOnTheLine() {
        Fixture f;
        const QString barcode = f.scalar("select vBarcode from St_Products where iProductNo=4").toString();
        f.typeCell("vBarcode", 1, barcode);
        QVERIFY(
            QTest::qWaitFor([&] { return !f.grid().Cells(f.grid().ColByName("iProductNo"), 1).isEmpty(); }));
        QCOMPARE(f.grid().Cells(f.grid().ColByName("iProductNo"), 1), QStringLiteral("4"));
        QCOMPARE(
            f.form->DetailTotal("mAmount"),
            std::round(f.scalar("select mSellPrice from St_Products where iProductNo=4").toDouble() * 100) /
                100);
        f.typeCell("vBarcode", 2, "0'; drop table St_Products; --");
        QCOMPARE(f.messages.last(), QStringLiteral("没有条码为“0'; drop table St_Products; --”的商品"));
        QVERIFY(f.scalar("select count(*) from St_Products").toInt() > 0);
    }

    void saveChecks_data() {
        QTest::addColumn<bool>("customer");
        QTest::addColumn<QString>("receipt");
        QTest::addColumn<bool>("line");
        QTest::addColumn<QString>("message");
        QTest::newRow("no customer") << false << "" << true << "请选择客户";
        QTest::newRow("no lines") << true << "" << false << "请输入商品明细";
        QTest::newRow("duplicate receipt") << true << "XS-DUP" << true << "单据编号“XS-DUP”已存在";
    }
    void saveChecks() {
        QFETCH(bool, customer);
        QFETCH(QString, receipt);
        QFETCH(bool, line);
        QFETCH(QString, message);
        Fixture f;
        f.conn->ExecuteNonQuery("update Sal_SaleMain set vReceiptNo='XS-DUP' where iNo=1");
        if (customer) f.chooseCustomer("bjhx");
        if (!receipt.isEmpty()) {
            f.form->ReceiptEdit()->clear();
            QTest::keyClicks(f.form->ReceiptEdit(), receipt);
        }
        if (line) QVERIFY(f.form->SetLineProduct(1, 2));
        const int before = f.scalar("select count(*) from Sal_SaleMain").toInt();
        QVERIFY(!f.form->SaveDocument());
        QCOMPARE(f.messages.last(), message);
        QCOMPARE(f.scalar("select count(*) from Sal_SaleMain").toInt(), before);
    }
};

LNQ_TEST_MAIN_WIDGETS(TestOrderEditForm)
#include "tst_OrderEditForm.moc"
