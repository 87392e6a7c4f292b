// The lookup dialogs on the sample database, driven through the search form
// as a user drives it: arrow keys, Ctrl+Space to mark rows, Enter, Escape,
// double clicks, the select-all and clear buttons, and the quick search typed
// or committed by the input method.

#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/WidgetDriver.h"
#include "data/Plat_adodatabasese.h"
#include "forms/Plat_searchdialogfm_ui.h"
#include "forms/Plat_searchdialogs_ui.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Exceptions.h"
#include "util/Plat_convert.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTimer>

using namespace lnq;
using namespace lnqtest;

namespace {

// Records the query text every dialog sends.
class RecordingConnection : public TInterfacedADOConnection {
public:
    using TInterfacedADOConnection::TInterfacedADOConnection;
    QString lastSql;
    void FillDataset(TDataSet& dataSet, const QString& sql) override {
        lastSql = sql;
        TInterfacedADOConnection::FillDataset(dataSet, sql);
    }
};

using Steps = std::function<void(TPLAT_Searchfm&)>;

// Runs the steps once the form is on screen.
void drive(Steps steps) {
    TUtils_SearchDialogs::OnBeforeShow = [steps](TPLAT_Searchfm& form) {
        QTimer::singleShot(0, &form, [&form, steps] {
            if (QTest::qWaitForWindowExposed(&form)) steps(form);
            // Steps that stopped at a failed check leave the form open.
            if (!form.Finished()) form.reject();
        });
    };
}

void key(TPLAT_Searchfm& f, Qt::Key k, Qt::KeyboardModifiers m = {}) {
    QTest::keyClick(f.LNQDBGrid(), k, m);
}
// Marks the records at the given view positions (ascending) with Ctrl+Space.
void markRows(TPLAT_Searchfm& f, const QList<int>& rows) {
    f.LNQDBGrid()->setFocus();
    int at = 0;
    for (const int r : rows) {
        for (; at < r; ++at)
            key(f, Qt::Key_Down, Qt::ControlModifier); // a plain move drops the marks
        key(f, Qt::Key_Space, Qt::ControlModifier);
    }
}

struct Member {
    QString sql;
    QStringList columns; // the columns handed back, in the order the call lists them
    bool multi;
    std::function<int(IConnection&, QStringList&)> call;
};

using D = TUtils_SearchDialogs;
using C = IConnection;
using S = QString;
// A multi-choice member: its comma list as items.
template <typename F> auto mult(F fn) {
    return [fn](C& c, QStringList& out) {
        QString s;
        const int r = fn(c, s);
        out = s.split(u',', Qt::SkipEmptyParts);
        return r;
    };
}

// clang-format off
const QList<Member>& memberTable() {
    static const QList<Member> m = {
        {"select vProvince as 省份 from dic_Province", {"省份"}, true, mult(D::ShowMultProvinceListDialog)},
        {" SELECT vService AS '服务名称', iServiceNo AS '服务编号' FROM Dic_Service  ORDER BY iServiceNo DESC", {"服务编号"}, true,
         [](C& c, QStringList& out) { return D::ShowServiceDialog(c, "-1", out); }},
        {" SELECT vService AS '服务名称', iServiceNo AS '服务编号' FROM Dic_Service  WHERE iGoodsNo = 1 ORDER BY iServiceNo DESC", {"服务编号"}, true,
         [](C& c, QStringList& out) { return D::ShowServiceDialog(c, "1", out); }},
        {"select iProgramNo 节目编号,vProgram 节目名称,vCBsimpleProgram 上传节目名称 from dic_program  ", {"节目编号", "节目名称", "上传节目名称"}, false,
         [](C& c, QStringList& out) { S a, b, d; const int r = D::ShowProgramPackageDialog(c, a, b, d); out = {a, b, d}; return r; }},
        {"select iProgramNo 节目编号,vProgram 节目名称,mPrice  节目单价,'单一节目' as 节目类型 from dic_program   union all  select iNo as 节目编号,vPackageName 节目名称,mPrice 节目单价,'节目包' as 节目类型 from dic_programPackage ",
         {"节目编号", "节目名称", "节目单价", "节目类型"}, false,
         [](C& c, QStringList& out) {
             S a, b, p;
             bool package = false;
             const int r = D::ShowProgramListDialog(c, true, a, b, p, package);
             out = {a, b, p, package ? "节目包" : "单一节目"};
             return r;
         }},
        {"select iProgramNo 节目编号,vProgram 节目名称,mPrice  节目单价 from dic_program  ", {"节目编号"}, true,
         mult([](C& c, S& s) { return D::ShowMultProgramListDialog(c, false, s); })},
        {"SELECT DISTINCT vProductType 大类名称 FROM Dic_ProductType  ", {"大类名称"}, true, mult(D::ShowProductTypeListDialog)},
        {"SELECT DISTINCT vProductType2 小类名称 FROM Dic_ProductType  ", {"小类名称"}, true, mult(D::ShowProductType2ListDialog)},
        {"SELECT iProductNo 商品编号,vBarcode 商品条码,vProductName 商品名称 FROM St_Products  ", {"商品编号", "商品条码", "商品名称"}, false,
         [](C& c, QStringList& out) { S a, b, d; const int r = D::ShowSt_ProductsListDialog(c, a, b, d); out = {a, b, d}; return r; }},
        {"select iServiceNo 服务编号,vService 服务名称,mPrice  服务单价 from dic_Service  ", {"服务编号"}, true, mult(D::ShowMultServiceListDialog)},
        {" select      iCustomerNo as 编号    , vCustomerNo as 编码    , vCustomerName as 名称    , vProvince as 省份  from Cust_CustomersMain  where vProvince='北京'",
         {"编号", "编码", "名称", "省份"}, false,
         [](C& c, QStringList& out) {
             S a, b, d, e;
             const int r = D::ShowCustomerListDialog(c, "vProvince='北京'", a, b, d, e);
             out = {a, b, d, e};
             return r;
         }},
        {"SELECT iUserNo 用户编号,vUserName as 用户编码,vName 用户名称,vWorkRole 工作角色,vTel 电话,vEmail Email FROM Sys_SystemUser ",
         {"用户编号", "用户编码", "用户名称", "工作角色", "电话", "Email"}, false,
         [](C& c, QStringList& out) {
             S a, b, d, e, f, g;
             const int r = D::ShowSystemUserListDialog(c, a, b, d, e, f, g);
             out = {a, b, d, e, f, g};
             return r;
         }},
        {" select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from Cust_CustomersMain ", {"编号"}, true, mult(D::ShowMultCustomerListDialog)},
        {" select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from Cust_CustomersMain  where bIsAgent=1 ", {"编号", "名称", "省份"}, false,
         [](C& c, QStringList& out) { S a, b, d; const int r = D::ShowSellPlaceListDialog(c, "", a, b, d); out = {a, b, d}; return r; }},
        {" select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from Cust_CustomersMain where bIsAgent=1 ", {"编号"}, true, mult(D::ShowMultSellPlaceListDialog)},
        {" select iCustomerNo as 编号, vCustomerName as 供应商名称,vProvince as 省份 from Cust_CustomersMain  where bIsSupplier=1  and iCustomerNo>1",
         {"编号", "供应商名称", "省份"}, false,
         [](C& c, QStringList& out) { S a, b, d; const int r = D::ShowGoodsNameListDialog(c, "iCustomerNo>1", a, b, d); out = {a, b, d}; return r; }},
        {" SELECT vBarCode 商品编码   , vProductName 商品名称   , mSellPrice 销售单价   , fSellCount 可销售数量   , fStorageCount 库存数量   , vModel 生产商编码   , vSpecification 规格   , vProductNameEn 客户方编码   , vGoodsName 供应商   , iGoodsNo 供应商No   , iProductNo 编号   FROM St_Products WHERE 1=1  and bStop=0",
         {"商品编码", "编号"}, true,
         [](C& c, QStringList& out) {
             QStringList codes, nos;
             const int r = D::ShowProductListDialog(c, " and bStop=0", "-1", codes, nos);
             out = codes + nos;
             return r;
         }},
        {"select vCustomersKind as 类型名称,min(vCustomersKindCn) as 类型描述 from dic_unicustomerskind group by vCustomersKind", {"类型名称"}, true,
         mult(D::ShowMultCustomerKindListDialog)},
        {"SELECT vProvince 省份,vCustomerName 供应商名称,iCustomerNo 编号 FROM cust_CustomersMain where bisSupplier=1 ", {"编号"}, true,
         mult(D::ShowMultGoodsListDialog)},
    };
    return m;
}
// clang-format on

} // namespace

class TestSearchDialogs : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::unique_ptr<RecordingConnection> m_conn;

    // The texts of columns at the given positions of the query's rows,
    // column by column.
    QStringList expected(const QString& sql, const QStringList& columns, const QList<int>& rows) {
        const auto ds = m_conn->ExecuteWithQuery(sql);
        QStringList out;
        for (const QString& c : columns)
            for (const int r : rows) {
                ds->SetRecNo(r + 1);
                out << ds->FieldByName(c).AsString();
            }
        return out;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        SampleDatabase::Options o;
        o.customers = 400; // enough agents and suppliers to choose among
        o.products = 30;
        o.sales = 5;
        SampleDatabase::CreateSample(m_dir.filePath("s.db"), o);
        m_ado.SetConnectionString(m_dir.filePath("s.db"));
        m_ado.Open();
        m_conn = std::make_unique<RecordingConnection>(m_ado);
    }
    void cleanup() { TUtils_SearchDialogs::OnBeforeShow = nullptr; }

    // Each member sends its query text and hands back what the user chose:
    // the second and fourth rows of a multi-choice list, the last row of a
    // single-choice one.
    void members_data() {
        QTest::addColumn<int>("member");
        for (int i = 0; i < memberTable().size(); ++i)
            QTest::newRow(qPrintable(memberTable()[i].sql.simplified().left(60))) << i;
    }
    void members() {
        QFETCH(int, member);
        const Member& m = memberTable()[member];
        const int count = m_conn->ExecuteWithQuery(m.sql)->RecordCount();
        QVERIFY2(count >= 4, qPrintable(QString::number(count)));
        drive([&](TPLAT_Searchfm& f) {
            QCOMPARE(f.BitBtnAll()->isVisible(), m.multi);
            if (m.multi)
                markRows(f, {1, 3});
            else
                key(f, Qt::Key_End, Qt::ControlModifier);
            QTest::keyClick(f.LNQDBGrid(), Qt::Key_Return);
        });
        QStringList out;
        QCOMPARE(m.call(*m_conn, out), 1);
        QCOMPARE(m_conn->lastSql, m.sql);
        QCOMPARE(out, expected(m.sql, m.columns, m.multi ? QList<int>{1, 3} : QList<int>{count - 1}));
    }

    void itemInStr_data() {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("list");
        QTest::addColumn<int>("position");
        const auto add = [](const char* name, const char* item, const char* list, int position) {
            QTest::newRow(name) << QString::fromUtf8(item) << QString::fromUtf8(list) << position;
        };
        add("first", "1", "1,2,", 1);
        add("part of an item", "1", "11,21,", 0);
        add("no trailing comma", "北京", "上海,北京", 2);
        add("empty item", "", "1,,2", 0);
        add("empty list", "3", "", 0);
    }
    void itemInStr() {
        QFETCH(QString, item);
        QFETCH(QString, list);
        QFETCH(int, position);
        QCOMPARE(TUtils_SearchDialogs::ItemInStr(item, list), position);
    }

    // "1,2," and a choice of the keys 2 and 3 give "1,2,3,"; cancelling and
    // an empty list leave the text alone.
    void multiChoiceMerge_data() {
        QTest::addColumn<QString>("before");
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("result");
        QTest::newRow("merge") << "1,2," << int(Qt::Key_Return) << "1,2,3," << 1;
        QTest::newRow("no comma at the end") << "1,2" << int(Qt::Key_Return) << "1,2,3," << 1;
        QTest::newRow("cancel") << "1,2," << int(Qt::Key_Escape) << "1,2," << 2;
    }
    void multiChoiceMerge() {
        QFETCH(QString, before);
        QFETCH(int, key);
        QFETCH(QString, after);
        QFETCH(int, result);
        drive([key](TPLAT_Searchfm& f) {
            markRows(f, {1, 2});
            QTest::keyClick(f.LNQDBGrid(), Qt::Key(key));
        });
        QString text = before;
        QCOMPARE(TUtils_SearchDialogs::ShowMultCustomerListDialog(*m_conn, text), result);
        QCOMPARE(text, after);
    }

    void okWithoutMarksTakesTheCurrentRow() {
        drive([](TPLAT_Searchfm& f) {
            key(f, Qt::Key_Down);
            key(f, Qt::Key_Down);
            click(&f, "BitBtnOK");
        });
        QString text = "x,";
        QCOMPARE(TUtils_SearchDialogs::ShowMultProvinceListDialog(*m_conn, text), 1);
        QCOMPARE(text,
                 "x," + expected("select vProvince as 省份 from dic_Province", {"省份"}, {2}).first() + ",");
    }

    // "全选" after a quick search marks the rows shown, not the hidden ones;
    // "清除" clears them.
    void selectAllAfterASearch() {
        QStringList shown;
        drive([&](TPLAT_Searchfm& f) {
            QTest::keyClicks(f.EditValue(), "bj");
            TDataSet& ds = *f.DataSet();
            for (int r = 0; r < ds.RecordCount(); ++r)
                shown << ds.DisplayTextAt(r, ds.FieldByName("编号").Index());
            click(&f, "BitBtnAll");
            QCOMPARE(f.LNQDBGrid()->SelectedRows().Count(), ds.RecordCount());
            click(&f, "BitBtnUnAll");
            QCOMPARE(f.LNQDBGrid()->SelectedRows().Count(), 0);
            click(&f, "BitBtnAll");
            click(&f, "BitBtnOK");
        });
        QString nos;
        QCOMPARE(TUtils_SearchDialogs::ShowMultCustomerListDialog(*m_conn, nos), 1);
        QVERIFY(shown.size() > 1);
        QCOMPARE(nos, shown.join(',') + ',');
    }

    void doubleClickChooses() {
        drive([](TPLAT_Searchfm& f) {
            TLNQDBGrid* g = f.LNQDBGrid();
            const QRect r = g->visualRect(g->model()->index(3, 2));
            // The first click of a double click arrives as a press of its own.
            QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, r.center());
            QTest::mouseDClick(g->viewport(), Qt::LeftButton, {}, r.center());
        });
        QString no, barcode, name;
        QCOMPARE(TUtils_SearchDialogs::ShowSt_ProductsListDialog(*m_conn, no, barcode, name), 1);
        QCOMPARE(no, "3");
    }

    void emptyListAndCancelKeepTheArguments_data() {
        QTest::addColumn<bool>("empty");
        QTest::addColumn<int>("result");
        QTest::newRow("empty table, OK") << true << 1;
        QTest::newRow("cancel") << false << 2;
    }
    void emptyListAndCancelKeepTheArguments() {
        QFETCH(bool, empty);
        QFETCH(int, result);
        m_conn->BeginTrans();
        if (empty) QVERIFY(m_conn->ExecuteNonQuery("delete from Cust_CustomersMain"));
        drive([empty](TPLAT_Searchfm& f) {
            if (empty)
                click(&f, "BitBtnOK");
            else
                QTest::keyClick(f.EditValue(), Qt::Key_Escape);
        });
        QString no = "7", code = "c", name = "n", province = "p";
        const int r = TUtils_SearchDialogs::ShowCustomerListDialog(*m_conn, "", no, code, name, province);
        m_conn->RollbackTrans();
        QCOMPARE(r, result);
        QCOMPARE(QStringList({no, code, name, province}), QStringList({"7", "c", "n", "p"}));
    }

    void missingTableIsAnError() {
        QStringList results{"keep"};
        QVERIFY_THROWS_EXCEPTION(Exception, TUtils_SearchDialogs::CommShowDialog(
                                                *m_conn, "select x from NoSuchTable", "x", results));
        QCOMPARE(results, QStringList{"keep"});
    }

    // The quick search narrows the list by the chosen column's text or its
    // pinyin initials; Enter in the edit chooses the first row left.
    void quickSearch_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("committed"); // through the input method
        QTest::addColumn<QString>("field");  // title chosen, "" for the default
        QTest::newRow("initials") << "bjhx" << false << "";
        QTest::newRow("initials, upper case") << "BJHXTD" << false << "";
        QTest::newRow("chinese") << "华信" << true << "";
        QTest::newRow("code column") << "kh00000" << false << "编码";
        QTest::newRow("nothing matches") << "qqqqqq" << false << "";
    }
    void quickSearch() {
        QFETCH(QString, text);
        QFETCH(bool, committed);
        QFETCH(QString, field);
        int shown = -1;
        QString searched;
        QStringList visible;
        drive([&](TPLAT_Searchfm& f) {
            QCOMPARE(f.ComboBoxField()->currentText(), "名称");
            if (!field.isEmpty()) pickComboText(f.ComboBoxField(), field);
            searched = f.SearchFieldName();
            if (committed)
                commitText(f.EditValue(), text);
            else
                QTest::keyClicks(f.EditValue(), text);
            TDataSet& ds = *f.DataSet();
            shown = ds.RecordCount();
            // LNQ_SCREENSHOT_DIR=dir keeps a picture of the narrowed list.
            if (const QString dir = qEnvironmentVariable("LNQ_SCREENSHOT_DIR");
                !dir.isEmpty() && text == "bj") {
                f.grab().save(dir + "/search-dialog.png");
            }
            for (int r = 0; r < shown; ++r)
                visible << ds.DisplayTextAt(r, ds.FieldByName(searched).Index());
            QTest::keyClick(f.EditValue(), Qt::Key_Return);
        });
        QString no = "none", code, name, province;
        QCOMPARE(TUtils_SearchDialogs::ShowCustomerListDialog(*m_conn, "", no, code, name, province), 1);
        const int total =
            m_conn->ExecuteWithQuery("select count(*) from Cust_CustomersMain")->Fields(0).AsInteger();
        QVERIFY(shown < total);
        for (const QString& v : visible)
            QVERIFY2(v.contains(text, Qt::CaseInsensitive) ||
                         TUtils_Convert::StrToPY(v).contains(text.toUpper().toLatin1()),
                     qPrintable(v));
        if (shown == 0) {
            QCOMPARE(no, "none");
        } else {
            QCOMPARE(no, "1"); // 北京华信通达科技有限公司, the first of every match here
            QVERIFY(visible.contains(searched == "名称" ? name : code));
        }
    }

    void defaultSearchField_data() {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("field");
        QTest::newRow("a 名称 column")
            << " select iCustomerNo as 编号, vCustomerName as 名称 from Cust_CustomersMain"
            << "名称";
        QTest::newRow("a name-like column")
            << "select iProductNo 商品编号,vProductName 商品名称 from St_Products"
            << "商品名称";
        QTest::newRow("none") << "select vProvince as 省份, vArea as 地区 from dic_Province"
                              << "省份";
    }
    void defaultSearchField() {
        QFETCH(QString, sql);
        QFETCH(QString, field);
        QString chosen;
        TUtils_SearchDialogs::OnBeforeShow = [&](TPLAT_Searchfm& f) {
            chosen = f.SearchFieldName();
            f.reject();
        };
        QStringList results;
        QCOMPARE(TUtils_SearchDialogs::CommShowDialog(*m_conn, sql, "", results), 2);
        QCOMPARE(chosen, field);
    }
};

LNQ_TEST_MAIN_WIDGETS(TestSearchDialogs)
#include "tst_SearchDialogs.moc"
