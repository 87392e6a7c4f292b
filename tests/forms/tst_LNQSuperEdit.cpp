#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/WidgetDriver.h"

#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/Ctrl_SuperEditFm.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Plat_convert.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVBoxLayout>

using namespace lnq;

namespace {

const QString kCustomers =
    QStringLiteral("select iCustomerNo, vPYCode, vCustomerName, vProvince from Cust_CustomersMain");
const QString kFirstName = QStringLiteral("北京华信通达科技有限公司");

// A window with one lookup edit over the customers, shown and focused.
struct Host {
    QWidget window;
    TLNQSuperEdit* edit = new TLNQSuperEdit(&window);
    explicit Host(std::shared_ptr<IConnection> connection) {
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(edit);
        layout->addStretch();
        window.resize(300, 120);
        edit->SetConnectionEx(std::move(connection));
        edit->SetSQLs(kCustomers);
        edit->SetNoField(QStringLiteral("iCustomerNo"));
        edit->SetCodeField(QStringLiteral("vPYCode"));
        edit->SetValueField(QStringLiteral("vCustomerName"));
        window.show();
        window.activateWindow();
        edit->setFocus();
    }
    TSuperEditDBFm& form() { return edit->DropDownForm(); }
};

// Waits until every deferred refresh has come back to the GUI thread.
bool settle() {
    return QTest::qWaitFor([] { return TRefreshDataThread::Running() == 0; }, 10000) &&
           (QCoreApplication::processEvents(), true);
}

} // namespace

class TestLNQSuperEdit : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::shared_ptr<IConnection> m_conn;
    QStringList m_statements;

private Q_SLOTS:
    void initTestCase() {
        lnqtest::openSmallSample(m_ado, m_dir.filePath(QStringLiteral("sample.db")));
        m_conn = std::make_shared<TInterfacedADOConnection>(m_ado);
        // Pinyin codes of the names, unless the sample has them already.
        std::unique_ptr<TADODataSet> names = m_conn->ExecuteWithQuery(
            QStringLiteral("select * from Cust_CustomersMain where iCustomerNo = 0"));
        if (!names->FindField(QStringLiteral("vPYCode")))
            m_conn->ExecuteNonQuery(
                QStringLiteral("alter table Cust_CustomersMain add vPYCode nvarchar(40)"));
        names = m_conn->ExecuteWithQuery(
            QStringLiteral("select iCustomerNo, vCustomerName from Cust_CustomersMain"));
        for (names->First(); !names->Eof(); names->Next()) {
            const QString code =
                QString::fromLatin1(TUtils_Convert::StrToPY(names->FieldByName("vCustomerName").AsString()));
            m_conn->ExecuteNonQuery(QStringLiteral("update Cust_CustomersMain set vPYCode = ") +
                                    TInterfacedADOConnection::QuotedStr(code) +
                                    QStringLiteral(" where iCustomerNo = ") +
                                    names->FieldByName("iCustomerNo").AsString());
        }
        m_ado.SetStatementObserver([this](const QString& sql) { m_statements << sql; });
    }

    void init() {
        TLNQSuperEdit::SetCheckAuthorityFunc({});
        TLNQSuperEdit::SetDefaultOnClearButtonClick({});
        m_statements.clear();
    }

    void filterSql_data() {
        QTest::addColumn<QString>("sqls");
        QTest::addColumn<QString>("valueField");
        QTest::addColumn<bool>("authority");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("expected"); // empty: no query runs

        const QString base = QStringLiteral("select iCustomerNo, vPYCode from Cust_CustomersMain");
        const auto add = [](const char* row, const QString& sqls, const char* valueField, bool authority,
                            const char* typed, const QString& expected) {
            QTest::newRow(row) << sqls << QString::fromUtf8(valueField) << authority
                               << QString::fromUtf8(typed) << expected;
        };
        const char* v = "vCustomerName";
        add("apostrophe doubled", base, v, false, "O'Neil", base + " where vPYCode like '%O''Neil%'");
        add("letters win over digits", base, v, false, "12a", base + " where vPYCode like '%12a%'");
        add("digits only", base, v, false, "123", base + " where iCustomerNo like '%123%'");
        add("chinese", base, v, false, "华信A", base + " where vCustomerName like '%华信A%'");
        add("chinese without value field", base, "", false, "华信", "");
        add("punctuation only", base, v, false, "-/ ", "");
        add("lower-case where and authority", base + " where bIsAgent = 0", v, true, "bj",
            base + " where bIsAgent = 0 and vPYCode like '%bj%' and vProvince = '北京'");
        add("authority after the filter's where", base, v, true, "bj",
            base + " where vPYCode like '%bj%' and vProvince = '北京'");
        const QString products = "select iProductNo as iCustomerNo, vProductName as vPYCode from St_Products";
        add("authority only for customers", products, v, true, "7",
            products + " where iCustomerNo like '%7%'");
    }
    void filterSql() {
        QFETCH(QString, sqls);
        QFETCH(QString, valueField);
        QFETCH(bool, authority);
        QFETCH(QString, typed);
        QFETCH(QString, expected);
        if (authority)
            TLNQSuperEdit::SetCheckAuthorityFunc([] { return QStringLiteral("vProvince = '北京'"); });
        TLNQSuperEdit edit;
        edit.SetConnectionEx(m_conn);
        edit.SetSQLs(sqls);
        edit.SetNoField(QStringLiteral("iCustomerNo"));
        edit.SetCodeField(QStringLiteral("vPYCode"));
        edit.SetValueField(valueField);
        TSuperEditDBFm& form = edit.DropDownForm();
        form.RefreshFilter(typed);
        QCOMPARE(form.LastSQL(), expected);
        QCOMPARE(form.FillCount(), expected.isEmpty() ? 0 : 1);
        if (!expected.isEmpty()) QVERIFY2(form.DataSet()->Active(), qPrintable(form.LastError()));
    }

    void authorityOnTheBaseSelect() {
        TLNQSuperEdit::SetCheckAuthorityFunc([] { return QStringLiteral("vProvince = '北京'"); });
        TLNQSuperEdit edit;
        edit.SetConnectionEx(m_conn);
        edit.SetSQLs(kCustomers);
        QVERIFY(edit.DropDownForm().OpenData());
        QCOMPARE(edit.DropDownForm().LastSQL(), kCustomers + " where vProvince = '北京'");
        edit.SetAutoCheckAuthority(false);
        QCOMPARE(edit.DropDownForm().BuildSQL(kCustomers), kCustomers);
    }

    void typingFindsAndEnterChooses() {
        Host host(m_conn);
        QSignalSpy changed(host.edit, &TLNQSuperEdit::ItemChange);
        QTest::keyClicks(host.edit, QStringLiteral("bjhx"));
        QVERIFY(host.edit->IsDroppedDown());
        QVERIFY(settle());
        TADODataSet* ds = host.form().DataSet();
        QVERIFY(ds && ds->Active());
        QCOMPARE(ds->FieldByName("vCustomerName").AsString(), kFirstName);
        QCOMPARE(host.form().ShownText(), QString());
        QAbstractItemModelTester tester(host.form().Grid()->model());
        QTest::keyClick(host.edit, Qt::Key_Return);
        QVERIFY(!host.edit->IsDroppedDown());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(host.edit->No(), QStringLiteral("1"));
        QCOMPARE(host.edit->GetNo(), 1);
        QCOMPARE(host.edit->Code(), QStringLiteral("BJHXTDKJYXGS"));
        QCOMPARE(host.edit->Value(), kFirstName);
        QCOMPARE(host.edit->text(), kFirstName);
    }

    void chineseCommitArrowsAndEscape() {
        Host host(m_conn);
        lnqtest::commitText(host.edit, QStringLiteral("北京"));
        QVERIFY(host.edit->IsDroppedDown());
        QVERIFY(settle());
        QCOMPARE(host.form().LastSQL(), kCustomers + " where vCustomerName like '%北京%'");
        TADODataSet* ds = host.form().DataSet();
        QVERIFY(ds->RecordCount() >= 2);
        QTest::keyClick(host.edit, Qt::Key_Down);
        QCOMPARE(ds->RecNo(), 2);
        const QString second = ds->FieldByName("vCustomerName").AsString();
        QTest::keyClick(host.edit, Qt::Key_Up);
        QTest::keyClick(host.edit, Qt::Key_Up); // stays on the first row
        QCOMPARE(ds->RecNo(), 1);
        QTest::keyClick(host.edit, Qt::Key_Escape);
        QVERIFY(!host.edit->IsDroppedDown());
        QCOMPARE(host.edit->No(), QStringLiteral("0"));
        QTest::keyClick(host.edit, Qt::Key_Down); // opens the list again, filter kept
        QVERIFY(host.edit->IsDroppedDown());
        QTest::keyClick(host.edit, Qt::Key_Down);
        QTest::keyClick(host.edit, Qt::Key_Enter);
        QCOMPARE(host.edit->Value(), second);
    }

    void doubleClickChooses() {
        Host host(m_conn);
        QTest::keyClick(host.edit, Qt::Key_Down);
        TLNQDBGrid* grid = host.form().Grid();
        QTRY_VERIFY(grid->isVisible());
        const QRect cell = grid->visualRect(grid->model()->index(3, 3));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
        QCOMPARE(host.edit->text(), grid->model()->index(3, 3).data().toString());
        QCOMPARE(host.edit->No(), QStringLiteral("3"));
        QVERIFY(!host.edit->IsDroppedDown());
    }

    void quickTypingRunsAtMostTwoQueries() {
        Host host(m_conn);
        // Eight keys arrive faster than the list can refresh: they are all
        // queued before the first deferred refresh comes back.
        for (const QChar c : QStringLiteral("bjhxtdkj"))
            QCoreApplication::postEvent(
                host.edit, new QKeyEvent(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QString(c)));
        QTRY_COMPARE(host.edit->text(), QStringLiteral("bjhxtdkj"));
        QVERIFY(settle());
        const QStringList selects =
            m_statements.filter(QStringLiteral("from Cust_CustomersMain"), Qt::CaseInsensitive);
        QVERIFY2(!selects.isEmpty() && selects.size() <= 2, qPrintable(selects.join(QLatin1Char('\n'))));
        QCOMPARE(host.form().LastSQL(), kCustomers + " where vPYCode like '%bjhxtdkj%'");
        QCOMPARE(host.form().DataSet()->RecordCount(), 1);

        // A request overtaken by later typing is dropped on the GUI thread.
        const int fills = host.form().FillCount();
        TRefreshDataThread::Create(host.form(), QStringLiteral("bj"));
        QVERIFY(settle());
        QCOMPARE(host.form().FillCount(), fills);
    }

    void messagesInPlaceOfTheGrid_data() {
        QTest::addColumn<QString>("sqls");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        const auto add = [](const char* row, const QString& sqls, const char* typed, const char* shown) {
            QTest::newRow(row) << sqls << QString::fromUtf8(typed) << QString::fromUtf8(shown);
        };
        add("rows", kCustomers, "bjhx", "");
        add("no rows", kCustomers, "zzzzq", "无内容显示");
        add("missing table", "select * from NoSuchTable", "bj", "无法打开数据集");
        add("hostile text stays quoted", kCustomers, "x' or 1=1 --", "无内容显示");
    }
    void messagesInPlaceOfTheGrid() {
        QFETCH(QString, sqls);
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        Host host(m_conn);
        host.edit->SetSQLs(sqls);
        QTest::keyClicks(host.edit, typed);
        QVERIFY(settle());
        QCOMPARE(host.form().ShownText(), shown);
        QCOMPARE(host.form().LastError().isEmpty(), shown != TSuperEditDBFm::OpenFailedText());
    }

    void buttonsAndHandlers() {
        Host host(m_conn);
        host.edit->SetHasAddButton(true);
        host.edit->SetHasRefreshButton(false);
        host.edit->SetColumn1Width(123);
        host.edit->SetDropDownWidth(333);
        host.edit->SetDropDownHeight(177);
        host.edit->SetNo(QString());
        QCOMPARE(host.edit->No(), QStringLiteral("0"));
        QTest::keyClick(host.edit, Qt::Key_Down);
        TSuperEditDBFm& form = host.form();
        QCOMPARE(form.size(), QSize(333, 177));
        QCOMPARE(form.pos(), host.edit->mapToGlobal(QPoint(0, host.edit->height())));
        QCOMPARE(form.Grid()->Columns().Items(1)->Width(), 123);
        QVERIFY(form.findChild<QToolButton*>("SpeedButtonAdd")->isVisibleTo(&form));
        QVERIFY(!form.findChild<QToolButton*>("SpeedButtonSearch")->isVisibleTo(&form));
        QVERIFY(!form.findChild<QToolButton*>("SpeedButtonRefresh")->isVisibleTo(&form));

        QStringList calls;
        TLNQSuperEdit::SetDefaultOnClearButtonClick(
            [&](TLNQSuperEdit& e) { calls << "default clear " + e.No(); });
        host.edit->OnAddButtonClick = [&](TLNQSuperEdit&) { calls << QStringLiteral("own add"); };
        QTest::keyClick(host.edit, Qt::Key_Enter); // chooses the first row
        QVERIFY(host.edit->No() != QStringLiteral("0"));
        QSignalSpy changed(host.edit, &TLNQSuperEdit::ItemChange);
        QTest::keyClick(host.edit, Qt::Key_Down);
        QTest::mouseClick(form.findChild<QToolButton*>("SpeedButtonClear"), Qt::LeftButton);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(host.edit->text(), QString());
        QTest::keyClick(host.edit, Qt::Key_Down);
        QTest::mouseClick(form.findChild<QToolButton*>("SpeedButtonAdd"), Qt::LeftButton);
        QCOMPARE(calls, (QStringList{"default clear 0", "own add"}));
        QVERIFY(!host.edit->IsDroppedDown());
    }

    void plainConnectionIsWrapped() {
        TLNQSuperEdit edit;
        edit.SetConnection(&m_ado);
        edit.SetSQLs(kCustomers);
        QVERIFY(edit.GetConnection());
        QCOMPARE(&edit.GetConnection()->MyConnection(), &m_ado);
        QVERIFY(edit.DropDownForm().OpenData());
        QCOMPARE(edit.DropDownForm().DataSet()->RecordCount(), 60);
        edit.SetConnectionEx(m_conn); // the interface wins and gets its own dataset
        QCOMPARE(edit.GetConnection(), m_conn);
        QCOMPARE(edit.DropDownForm().DataSet(), nullptr);
    }
};

LNQ_TEST_MAIN_WIDGETS(TestLNQSuperEdit)
#include "tst_LNQSuperEdit.moc"
