// The filter list as a records filter (one pass per item over the stored
// columns) must accept exactly what the record-by-record test accepts and
// raise the error that order meets first.

#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "filter/FilterItem.h"
#include "util/Clock.h"
#include "util/DateUtils.h"
#include "util/Exceptions.h"

using namespace lnq;

Q_DECLARE_METATYPE(lnq::TFilterType)

namespace {

using lnqtest::fieldDef;

// ID, then one column of each storage kind, and a text column holding
// numbers, dates, booleans and words (read through conversions, which may
// raise). Every column has nulls.
void load(TClientDataSet& ds) {
    TRecordSetBuilder& b = ds.BeginLoad({
        fieldDef(QStringLiteral("ID"), TFieldType::ftInteger),
        fieldDef(QStringLiteral("Name"), TFieldType::ftString, 40),
        fieldDef(QStringLiteral("Qty"), TFieldType::ftFloat),
        fieldDef(QStringLiteral("Cnt"), TFieldType::ftInteger),
        fieldDef(QStringLiteral("Day"), TFieldType::ftDateTime),
        fieldDef(QStringLiteral("Flag"), TFieldType::ftBoolean),
        fieldDef(QStringLiteral("Txt"), TFieldType::ftString, 20),
        fieldDef(QStringLiteral("Raw"), TFieldType::ftVarBytes, 20),
    });
    static const char* const names[] = {"北京海淀", "上海", "", "abc", "ABC ", "abc", "北京", "深圳北京路"};
    static const char* const texts[] = {"12.5", "3", "", "2024-03-08", "x", "1", "0", "2024-03-11 10:00:00"};
    const TDateTime base = DateTimeFromQt(QDateTime(QDate(2024, 3, 1), QTime(0, 0)));
    for (int i = 0; i < 40; ++i) {
        b.SetInteger(0, i);
        if (i % 9 != 4) b.SetText(1, QString::fromUtf8(names[i % 8]));
        if (i % 7 != 3) b.SetFloat(2, (i * 37 % 23) - 5 + (i % 3) * 0.0004);
        if (i % 6 != 2) b.SetInteger(3, i % 5 - 1);
        if (i % 8 != 5) b.SetDateTime(4, base + (i * 3 % 25) - 4 + (i % 4) * 0.3);
        if (i % 5 != 1) b.SetInteger(5, i % 2);
        if (i % 11 != 6) b.SetText(6, QString::fromUtf8(texts[i % 8]));
        if (i % 4 != 0) b.SetBytes(7, names[i % 8], int(qstrlen(names[i % 8])));
        b.EndRow();
    }
    ds.EndLoad();
}

struct Outcome {
    QList<int> ids;
    QString error; // the message of the error raised, empty for none
};

QList<int> ids(TDataSet& ds) {
    QList<int> out;
    for (ds.First(); !ds.Eof(); ds.Next())
        out << ds.FieldByName(QStringLiteral("ID")).AsInteger();
    return out;
}

template <typename Install> Outcome apply(TClientDataSet& ds, Install install) {
    Outcome o;
    try {
        install();
        ds.SetFiltered(true);
        o.ids = ids(ds);
    } catch (const Exception& e) {
        o.error = e.Message();
    }
    ds.SetFiltered(false);
    ds.SetOnFilterRecord({});
    ds.SetOnFilterRecords({});
    return o;
}

Outcome byRecord(TClientDataSet& ds, TFilterList& list) {
    return apply(ds, [&] { ds.SetOnFilterRecord([&list](TDataSet& d, bool& a) { a = list.Accepts(d); }); });
}

Outcome byColumns(TClientDataSet& ds, TFilterList& list) {
    return apply(ds, [&] {
        ds.SetOnFilterRecords([&list](TDataSet& d, TRecordsPass& p) { list.AcceptRecords(d, p); });
    });
}

} // namespace

class TestFilterColumns : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() { Clock::setFixedNow(QDateTime(QDate(2024, 3, 10), QTime(9, 30))); }
    void cleanup() { Clock::setFixedNow(std::nullopt); }

    // Every operator of every type on every kind of column.
    void sameAsRecordByRecord_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<TFilterType>("type");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("value");
        const struct {
            TFilterType type;
            QStringList values;
        } kinds[] = {
            {TFilterType::ftFilterText, {"北京", "abc", "", "ABC ", "2"}},
            {TFilterType::ftFilterNumber, {"3", "", "-1.0004", "1元"}},
            {TFilterType::ftFilterDate, {"2024/3/5", "2024-03-08 10:00", "2", "bad"}},
            {TFilterType::ftFilterBoolean, {""}},
        };
        for (const QString field : {"Name", "Qty", "Cnt", "Day", "Flag", "Txt", "Raw", "Missing"})
            for (const auto& k : kinds)
                for (const QString& op : FilterOperatorNames(k.type))
                    for (const QString& value : k.values)
                        QTest::addRow("%s %d %s '%s'", qPrintable(field), int(k.type), qPrintable(op),
                                      qPrintable(value))
                            << field << k.type << op << value;
    }
    void sameAsRecordByRecord() {
        QFETCH(QString, field);
        QFETCH(TFilterType, type);
        QFETCH(QString, op);
        QFETCH(QString, value);
        TClientDataSet ds;
        load(ds);
        TFilterList one, other;
        one.Add(field, type, op, value);
        other.Add(field, type, op, value);
        const Outcome expected = byRecord(ds, one);
        const Outcome got = byColumns(ds, other);
        QCOMPARE(got.error, expected.error);
        QCOMPARE(got.ids, expected.ids);
        // An empty number value is rewritten either way.
        QCOMPARE(other.Item(0).EqualValue(), one.Item(0).EqualValue());
    }

    // Several items: the accepted records, and which error wins when more
    // than one item raises on different records.
    void listsSameAsRecordByRecord_data() {
        QTest::addColumn<QStringList>("items"); // field|type|op|value
        QTest::newRow("three conditions")
            << QStringList{"Name|2|包含|北京", "Qty|1|大于等于|0", "Day|0|这个星期|"};
        QTest::newRow("first refuses all, second would raise")
            << QStringList{"Name|2|等于|没有", "Missing|2|包含|x"};
        QTest::newRow("later item raises on an earlier record")
            << QStringList{"Txt|1|大于|1", "Txt|0|大于|2024/3/1"};
        QTest::newRow("earlier item raises on an earlier record")
            << QStringList{"Txt|0|大于|2024/3/1", "Txt|1|大于|1"};
        QTest::newRow("raising item after a narrowing one")
            << QStringList{"Cnt|1|大于|1", "Txt|1|等于|3", "Flag|3|是|"};
        QTest::newRow("text, number, boolean on other kinds")
            << QStringList{"Qty|2|包含|1", "Flag|1|等于|1", "Cnt|3|否|"};
    }
    void listsSameAsRecordByRecord() {
        QFETCH(QStringList, items);
        TClientDataSet ds;
        load(ds);
        TFilterList one, other;
        for (const QString& item : items) {
            const QStringList p = item.split(QLatin1Char('|'));
            for (TFilterList* l : {&one, &other})
                l->Add(p[0], TFilterType(p[1].toInt()), p[2], p[3]);
        }
        const Outcome expected = byRecord(ds, one);
        const Outcome got = byColumns(ds, other);
        QCOMPARE(got.error, expected.error);
        QCOMPARE(got.ids, expected.ids);
    }

    // With an order, a record callback besides, and posted records
    // re-checked: the same records as the callback alone doing both tests.
    void worksWithOrderCallbackAndPosts() {
        TFilterList list, same;
        for (TFilterList* l : {&list, &same})
            l->Add(QStringLiteral("Name"), TFilterType::ftFilterText, QStringLiteral("包含"),
                   QStringLiteral("北京"));
        auto notSix = [](TDataSet& d) { return d.FieldByName(QStringLiteral("ID")).AsInteger() != 6; };
        TClientDataSet ds, expected;
        for (TClientDataSet* d : {&ds, &expected}) {
            load(*d);
            d->SetIndexFieldNames(QStringLiteral("Qty"));
        }
        ds.SetOnFilterRecords([&list](TDataSet& d, TRecordsPass& p) { list.AcceptRecords(d, p); });
        ds.SetOnFilterRecord([&](TDataSet& d, bool& a) { a = notSix(d); });
        expected.SetOnFilterRecord([&](TDataSet& d, bool& a) { a = same.Accepts(d) && notSix(d); });
        for (TClientDataSet* d : {&ds, &expected}) {
            d->SetFiltered(true);
            d->First();
            d->Edit(); // leaves the view
            d->FieldByName(QStringLiteral("Name")).SetAsString(QStringLiteral("上海"));
            d->Post();
            d->Append(); // enters it
            d->FieldByName(QStringLiteral("ID")).SetAsInteger(99);
            d->FieldByName(QStringLiteral("Name")).SetAsString(QStringLiteral("北京西城"));
            d->FieldByName(QStringLiteral("Qty")).SetAsFloat(-100);
            d->Post();
            d->Append(); // refused
            d->FieldByName(QStringLiteral("ID")).SetAsInteger(100);
            d->Post();
        }
        const QList<int> got = ids(ds);
        QCOMPARE(got, ids(expected));
        QVERIFY(got.contains(99) && !got.contains(6) && !got.contains(100));
    }

    // A records filter may only take records away.
    void recordsFilterMayOnlyNarrow_data() {
        QTest::addColumn<int>("mode");
        QTest::newRow("adds a record") << 0;
        QTest::newRow("reorders") << 1;
        QTest::newRow("repeats a record") << 2;
        QTest::newRow("a record that does not exist") << 3;
    }
    void recordsFilterMayOnlyNarrow() {
        QFETCH(int, mode);
        TClientDataSet ds;
        load(ds);
        ds.SetOnFilterRecords([mode](TDataSet&, TRecordsPass& p) {
            std::vector<qint32>& r = p.Records();
            if (mode == 0) r.push_back(r.front());
            if (mode == 1) std::swap(r[0], r[1]);
            if (mode == 2) r[1] = r[0];
            if (mode == 3) r[0] = 4000;
        });
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, ds.SetFiltered(true));
        ds.SetOnFilterRecords([](TDataSet&, TRecordsPass& p) { p.Records().resize(3); });
        QCOMPARE(ids(ds), (QList<int>{0, 1, 2}));
    }

    // Fields read through the pass: nothing before ReadRecord, then the
    // record named.
    void fieldsFollowReadRecord() {
        TClientDataSet ds;
        load(ds);
        QStringList seen;
        ds.SetOnFilterRecords([&seen](TDataSet& d, TRecordsPass& p) {
            TField& name = d.FieldByName(QStringLiteral("Name"));
            seen << name.AsString() << QString::number(name.IsNull());
            p.ReadRecord(p.Records()[1]);
            seen << name.AsString();
            QVERIFY_THROWS_EXCEPTION(EDatabaseError, p.ReadRecord(4000));
            QVERIFY_THROWS_EXCEPTION(EDatabaseError, p.Column(99));
        });
        ds.SetFiltered(true);
        QCOMPARE(seen, (QStringList{QString(), QStringLiteral("1"), QStringLiteral("上海")}));
    }
};

LNQ_TEST_MAIN_CORE(TestFilterColumns)
#include "tst_FilterColumns.moc"
