#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "util/Exceptions.h"

using namespace lnq;

namespace {

using lnqtest::fieldDef;
TFieldDef def(const QString& name, TFieldType type, int size = 0) {
    return fieldDef(name, type, size);
}

// ID, Name, Qty, Price, Day, Flag, Note (Note null on even IDs).
void loadGoods(TDataSet& ds) {
    TRecordSetBuilder& b =
        ds.BeginLoad({def("ID", TFieldType::ftInteger), def("Name", TFieldType::ftString),
                      def("Qty", TFieldType::ftInteger), def("Price", TFieldType::ftCurrency),
                      def("Day", TFieldType::ftDateTime), def("Flag", TFieldType::ftBoolean),
                      def("Note", TFieldType::ftString)});
    struct Row {
        int id;
        const char* name;
        int qty;
        double price;
        const char* day;
        bool flag;
    };
    const Row rows[] = {{1, "apple", 5, 2.5, "2024-01-05 10:00:00", true},
                        {2, "Banana", 12, 1.2, "2024-01-06 00:00:00", false},
                        {3, "cherry", 3, 12, "2024-02-01 08:30:00", true},
                        {4, "apricot", 0, 7.75, "2023-12-31 23:59:59", false},
                        {5, "O'Neil 梨", 8, 3, "2024-01-06 12:00:00", true},
                        {6, "banana", 12, 1.1, "2024-03-01 00:00:00", false}};
    for (const Row& r : rows) {
        b.SetInteger(0, r.id);
        b.SetText(1, QString::fromUtf8(r.name));
        b.SetInteger(2, r.qty);
        b.SetFloat(3, r.price);
        b.SetText(4, QString::fromLatin1(r.day));
        b.SetInteger(5, r.flag);
        if (r.id % 2) b.SetText(6, u"n%1"_qs.arg(r.id));
        b.EndRow();
    }
    ds.EndLoad();
}

QList<int> idsByRow(const TDataSet& ds) {
    QList<int> out;
    for (int r = 0; r < ds.RecordCount(); ++r)
        out << ds.ValueAt(r, 0).toInt();
    return out;
}

} // namespace

class TestClientDataSet : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void copyFromTakesCurrentView();
    void copyIsIndependent();
    void indexes_data();
    void indexes();
    void indexErrorsAndReset();
    void filterText_data();
    void filterText();
    void filterTextErrors_data();
    void filterTextErrors();
    void filterTextWithCallbackAndEdits();
};

void TestClientDataSet::copyFromTakesCurrentView() {
    TADODataSet src;
    loadGoods(src);
    src.SetSort(u"Qty DESC"_qs);
    src.SetOnFilterRecord([](TDataSet& d, bool& a) {
        a = d.FieldByName("Flag").AsBoolean() || d.FieldByName("ID").AsInteger() == 2;
    });
    src.SetFiltered(true);
    src.SetRecNo(2);
    TClientDataSet copy;
    copy.CopyFrom(src);
    QCOMPARE(idsByRow(copy), (QList<int>{2, 5, 1, 3}));
    QCOMPARE(copy.RecNo(), 1);
    QVERIFY(copy.Bof());
    QCOMPARE(src.RecNo(), 2); // source cursor untouched
    QCOMPARE(copy.FieldNames(), src.FieldNames());
    QCOMPARE(copy.FieldByName(u"Day"_qs).DataType(), TFieldType::ftDateTime);
    QCOMPARE(copy.ValueAt(3, 4), src.ValueAt(3, 4));
    QVERIFY(copy.IsNullAt(0, 6));
    // Copying an open dataset onto itself keeps its rows.
    copy.CopyFrom(copy);
    QCOMPARE(idsByRow(copy), (QList<int>{2, 5, 1, 3}));
    TClientDataSet closed;
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, copy.CopyFrom(closed));
}

void TestClientDataSet::copyIsIndependent() {
    TClientDataSet a;
    loadGoods(a);
    TClientDataSet b;
    b.CopyFrom(a);
    b.Edit();
    b.FieldByName(u"Name"_qs).SetAsString(u"changed"_qs);
    b.Post();
    b.Delete();
    QCOMPARE(a.FieldByName(u"Name"_qs).AsString(), u"apple"_qs);
    QCOMPARE(a.RecordCount(), 6);
    QCOMPARE(b.RecordCount(), 5);
    // A pending edit of the source is posted before copying.
    a.Edit();
    a.FieldByName(u"Qty"_qs).SetAsInteger(99);
    b.CopyFrom(a);
    QCOMPARE(b.FieldByName(u"Qty"_qs).AsInteger(), 99);
    QCOMPARE(a.State(), TDataSetState::dsBrowse);
}

void TestClientDataSet::indexes_data() {
    QTest::addColumn<QString>("fields");
    QTest::addColumn<int>("options");
    QTest::addColumn<QString>("descFields");
    QTest::addColumn<QList<int>>("order");
    const int desc = int(TIndexOption::ixDescending);
    const int ci = int(TIndexOption::ixCaseInsensitive);
    QTest::newRow("ascending, case-sensitive") << "Name" << 0 << "" << QList<int>{2, 5, 1, 4, 6, 3};
    QTest::newRow("ascending, case-insensitive") << "Name" << ci << "" << QList<int>{1, 4, 2, 6, 3, 5};
    QTest::newRow("descending") << "Name" << desc << "" << QList<int>{3, 6, 4, 1, 5, 2};
    QTest::newRow("descending ties keep order") << "Qty" << desc << "" << QList<int>{2, 6, 5, 1, 3, 4};
    QTest::newRow("two fields, one descending")
        << "Qty;Price" << 0 << "Price" << QList<int>{4, 3, 1, 5, 2, 6};
    QTest::newRow("two fields both descending") << "Qty;ID" << desc << "" << QList<int>{6, 2, 5, 1, 3, 4};
    QTest::newRow("date") << "Day" << 0 << "" << QList<int>{4, 1, 2, 5, 3, 6};
    QTest::newRow("boolean then id desc") << "Flag;ID" << 0 << "id" << QList<int>{6, 4, 2, 5, 3, 1};
}

void TestClientDataSet::indexes() {
    QFETCH(QString, fields);
    QFETCH(int, options);
    QFETCH(QString, descFields);
    QFETCH(QList<int>, order);
    TClientDataSet ds;
    loadGoods(ds);
    ds.AddIndex(u"IX"_qs, fields, TIndexOptions(options), descFields);
    QCOMPARE(idsByRow(ds), (QList<int>{1, 2, 3, 4, 5, 6})); // defining does not select
    ds.SetIndexName(u"ix"_qs);
    QCOMPARE(idsByRow(ds), order);
    // The current record stays current, at its place in the new order.
    QCOMPARE(ds.FieldByName(u"ID"_qs).AsInteger(), 1);
    QCOMPARE(ds.RecNo(), order.indexOf(1) + 1);
    ds.First();
    QCOMPARE(ds.FieldByName(u"ID"_qs).AsInteger(), order.first());
    ds.Last();
    QCOMPARE(ds.FieldByName(u"ID"_qs).AsInteger(), order.last());
}

void TestClientDataSet::indexErrorsAndReset() {
    TClientDataSet ds;
    loadGoods(ds);
    try {
        ds.SetIndexName(u"IXNone"_qs);
        QFAIL("no error");
    } catch (const EDatabaseError& e) {
        QVERIFY(e.Message().contains(u"IXNone"_qs));
    }
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.SetIndexFieldNames(u"Qty;Zip"_qs));
    QCOMPARE(ds.IndexFieldNames(), QString());
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.AddIndex(u"IXE"_qs, QString()));

    // The grid's pattern: clear the definitions, add one, select it.
    ds.IndexDefs().clear();
    ds.AddIndex(u"IXDQty"_qs, u"Qty"_qs, TIndexOption::ixDescending);
    ds.SetIndexName(u"IXDQty"_qs);
    QCOMPARE(ds.IndexName(), u"IXDQty"_qs);
    QCOMPARE(idsByRow(ds), (QList<int>{2, 6, 5, 1, 3, 4}));
    ds.SetIndexFieldNames(u"Price"_qs);
    QCOMPARE(ds.IndexName(), QString()); // one replaces the other
    QCOMPARE(idsByRow(ds), (QList<int>{6, 2, 1, 5, 4, 3}));
    ds.SetIndexName(u"IXDQty"_qs);
    QCOMPARE(ds.IndexFieldNames(), QString());
    // Redefining the selected index re-sorts; deleting it restores insertion order.
    ds.AddIndex(u"IXDQty"_qs, u"ID"_qs, TIndexOption::ixDescending);
    QCOMPARE(idsByRow(ds), (QList<int>{6, 5, 4, 3, 2, 1}));
    ds.DeleteIndex(u"IXDQty"_qs);
    QCOMPARE(ds.IndexName(), QString());
    QCOMPARE(idsByRow(ds), (QList<int>{1, 2, 3, 4, 5, 6}));
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.DeleteIndex(u"IXDQty"_qs));
    // An index chosen before loading applies when the rows arrive.
    TClientDataSet later;
    later.AddIndex(u"ByQty"_qs, u"Qty"_qs);
    later.SetIndexName(u"ByQty"_qs);
    later.CopyFrom(ds);
    QCOMPARE(idsByRow(later), (QList<int>{4, 3, 1, 5, 2, 6}));
}

void TestClientDataSet::filterText_data() {
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QList<int>>("ids");
    QTest::newRow("equals text") << "Name = 'apple'" << QList<int>{1};
    QTest::newRow("text is case-sensitive") << "Name = 'APPLE'" << QList<int>{};
    QTest::newRow("keywords any case") << "qty > 3 AND price < 3" << QList<int>{1, 2, 6};
    QTest::newRow("or and precedence") << "Qty = 0 or Qty = 12 and Price > 1.15" << QList<int>{2, 4};
    QTest::newRow("parentheses") << "(Qty = 0 or Qty = 12) and Price > 1.15" << QList<int>{2, 4};
    QTest::newRow("not") << "not (Qty >= 5)" << QList<int>{3, 4};
    QTest::newRow("not equal") << "Qty <> 12" << QList<int>{1, 3, 4, 5};
    QTest::newRow("bang equal") << "Qty != 12" << QList<int>{1, 3, 4, 5};
    QTest::newRow("le ge") << "Qty <= 5 and Qty >= 3" << QList<int>{1, 3};
    QTest::newRow("like prefix") << "Name like 'ap%'" << QList<int>{1, 4};
    QTest::newRow("like underscore") << "Name like '_anana'" << QList<int>{2, 6};
    QTest::newRow("like inner") << "Name LIKE '%rr%'" << QList<int>{3};
    QTest::newRow("not like") << "Name not like '%a%'" << QList<int>{3, 5};
    QTest::newRow("like suffix") << "Name like '%ana'" << QList<int>{2, 6};
    QTest::newRow("like without wildcard") << "Name like 'apple'" << QList<int>{1};
    QTest::newRow("like wildcards inside") << "Name like 'a%p_e'" << QList<int>{1};
    QTest::newRow("number on the left") << "5 < Qty" << QList<int>{2, 5, 6};
    QTest::newRow("number on the left, or equal") << "5 >= Qty and 0 <> Qty" << QList<int>{1, 3};
    QTest::newRow("quote inside literal") << "Name = 'O''Neil 梨'" << QList<int>{5};
    QTest::newRow("bracketed name") << "[Name] = 'cherry'" << QList<int>{3};
    QTest::newRow("is null") << "Note IS NULL" << QList<int>{2, 4, 6};
    QTest::newRow("is not null") << "Note is not null" << QList<int>{1, 3, 5};
    QTest::newRow("null never equals") << "Note <> 'n1'" << QList<int>{3, 5};
    QTest::newRow("date literal text") << "Day >= '2024-01-06'" << QList<int>{2, 3, 5, 6};
    QTest::newRow("date literal hashes") << "Day < #2024-01-06#" << QList<int>{1, 4};
    QTest::newRow("date-time literal") << "Day = '2024-01-06 12:00:00'" << QList<int>{5};
    QTest::newRow("boolean field alone") << "Flag" << QList<int>{1, 3, 5};
    QTest::newRow("boolean compare") << "Flag = False" << QList<int>{2, 4, 6};
    QTest::newRow("not boolean") << "not Flag and Qty > 0" << QList<int>{2, 6};
    QTest::newRow("number as text") << "Qty = '12'" << QList<int>{2, 6};
    QTest::newRow("negative number") << "Qty > -1 and Qty < 1" << QList<int>{4};
    QTest::newRow("in list") << "ID in (1, 3, 9)" << QList<int>{1, 3};
    QTest::newRow("not in list") << "Name not in ('apple', 'cherry')" << QList<int>{2, 4, 5, 6};
    QTest::newRow("field against field") << "Qty > ID" << QList<int>{1, 2, 5, 6};
    QTest::newRow("text field against number") << "Note = 5" << QList<int>{};
    QTest::newRow("true constant") << "true" << QList<int>{1, 2, 3, 4, 5, 6};
}

void TestClientDataSet::filterText() {
    QFETCH(QString, filter);
    QFETCH(QList<int>, ids);
    TClientDataSet ds;
    loadGoods(ds);
    ds.SetFilter(filter);
    QCOMPARE(ds.Filter(), filter);
    QCOMPARE(ds.RecordCount(), 6); // not before Filtered
    ds.SetFiltered(true);
    QCOMPARE(idsByRow(ds), ids);
    ds.SetFiltered(false);
    QCOMPARE(ds.RecordCount(), 6);
}

void TestClientDataSet::filterTextErrors_data() {
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("mentions");
    const auto row = lnqtest::textRow;
    row("unknown field", "Zip = 1", "Zip");
    row("unknown bracketed field", "[Unit Price] > 1", "Unit Price");
    row("unterminated string", "Name = 'abc", "字符串");
    row("missing right parenthesis", "(Qty = 1 or Qty = 2", "右括号");
    row("dangling operator", "Qty >", "缺少");
    row("missing operator", "Qty 5", "5");
    row("lone non-boolean", "Name", "Name");
    row("bad character", "Qty ~ 5", "~");
    row("bad date for date field", "Day = 'yesterday'", "yesterday");
    row("text for number field", "Qty = 'many'", "many");
    row("is without null", "Note is 5", "NULL");
    row("empty parentheses", "()", ")");
    row("bad hash date", "Day = #2024-13-45#", "2024-13-45");
    // A long literal is quoted in part only, whatever the field's kind.
    QTest::newRow("long text for boolean field") << "Flag = '" + QString(1000, u'是') + "'"
                                                 << "Flag";
    QTest::newRow("long text for number field") << "Qty = '" + QString(1000, u'x') + "'"
                                                << "Qty";
}

void TestClientDataSet::filterTextErrors() {
    QFETCH(QString, filter);
    QFETCH(QString, mentions);
    TClientDataSet ds;
    loadGoods(ds);
    ds.SetFilter(u"Qty > 5"_qs);
    ds.SetFiltered(true);
    QCOMPARE(idsByRow(ds), (QList<int>{2, 5, 6}));
    try {
        ds.SetFilter(filter);
        QFAIL("no error");
    } catch (const EDatabaseError& e) {
        QVERIFY2(e.Message().contains(mentions), qPrintable(e.Message()));
        QVERIFY(e.Message().size() < 200);
    }
    // The previous filter stays in force.
    QCOMPARE(ds.Filter(), u"Qty > 5"_qs);
    QCOMPARE(idsByRow(ds), (QList<int>{2, 5, 6}));
}

void TestClientDataSet::filterTextWithCallbackAndEdits() {
    TClientDataSet ds;
    loadGoods(ds);
    ds.SetFilter(u"Qty > 2"_qs);
    ds.SetOnFilterRecord([](TDataSet& d, bool& a) { a = d.FieldByName(u"Price"_qs).AsFloat() < 5; });
    ds.SetFiltered(true);
    QCOMPARE(idsByRow(ds), (QList<int>{1, 2, 5, 6})); // both must accept
    // A posted change is judged by the filter text too.
    QVERIFY(ds.Locate(u"ID"_qs, 2));
    ds.Edit();
    ds.FieldByName(u"Qty"_qs).SetAsInteger(1);
    ds.Post();
    QCOMPARE(idsByRow(ds), (QList<int>{1, 5, 6}));
    ds.Append();
    ds.FieldByName(u"ID"_qs).SetAsInteger(7);
    ds.FieldByName(u"Qty"_qs).SetAsInteger(3);
    ds.FieldByName(u"Price"_qs).SetAsFloat(1);
    ds.Post();
    QCOMPARE(idsByRow(ds), (QList<int>{1, 5, 6, 7}));
    // An empty filter text leaves only the callback.
    ds.SetFilter(QString());
    QCOMPARE(idsByRow(ds), (QList<int>{1, 2, 5, 6, 7}));
    // A filter naming a field the next record set lacks: that load opens unfiltered and says why.
    ds.SetFilter(u"Qty > 2"_qs);
    TClientDataSet other;
    other.BeginLoad({def("X", TFieldType::ftInteger)}).EndRow();
    other.EndLoad();
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.CopyFrom(other));
    QVERIFY(ds.Active());
    QCOMPARE(ds.RecordCount(), 1);
    QVERIFY(!ds.Filtered());
}

LNQ_TEST_MAIN_CORE(TestClientDataSet)
#include "tst_ClientDataSet.moc"
