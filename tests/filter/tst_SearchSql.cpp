#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "filter/SearchSql.h"

#include <QMap>

using namespace lnq;

Q_DECLARE_METATYPE(lnq::TFieldType)

namespace {

using lnqtest::fieldDef;
TFieldDef def(const QString& name, TFieldType type, int size = 0) {
    return fieldDef(name, type, size);
}

QStringList namesOf(const std::vector<TSearchOperator>& ops) {
    QStringList names;
    for (const TSearchOperator& op : ops)
        names << op.Name;
    return names;
}

const TSearchOperator* find(const std::vector<TSearchOperator>& ops, const QString& name) {
    for (const TSearchOperator& op : ops)
        if (op.Name == name) return &op;
    return nullptr;
}

// A customer table as the editor sees it, with dictionary captions.
std::unique_ptr<TClientDataSet> customers() {
    auto ds = std::make_unique<TClientDataSet>();
    ds->BeginLoad({def(QStringLiteral("vCustNo"), TFieldType::ftString, 20),
                   def(QStringLiteral("vName"), TFieldType::ftString, 80),
                   def(QStringLiteral("vShortName"), TFieldType::ftString, 80),
                   def(QStringLiteral("nCredit"), TFieldType::ftFloat),
                   def(QStringLiteral("dCreateDate"), TFieldType::ftDateTime)});
    ds->EndLoad();
    return ds;
}

TTitleCaptionFn dictionary() {
    // Two fields share a caption: the first in field order wins.
    static const QMap<QString, QString> captions{{QStringLiteral("vName"), QStringLiteral("客户名称")},
                                                 {QStringLiteral("vShortName"), QStringLiteral("客户名称")},
                                                 {QStringLiteral("nCredit"), QStringLiteral("信用额度")},
                                                 {QStringLiteral("dCreateDate"), QStringLiteral("建档日期")}};
    return [](const QString& name) { return captions.value(name, name); };
}

} // namespace

class TestSearchSql : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void operatorLists_data() {
        QTest::addColumn<TFieldType>("type");
        QTest::addColumn<QStringList>("names");
        const QStringList text{"包含", "不包含", "等于(精确地)", "不等于(精确地)"};
        const QStringList number{"等于", "大于", "小于", "大于等于", "小于等于", "不等于"};
        const QStringList date{"等于", "大于", "小于",    "大于等于", "小于等于", "不等于",   "昨天",
                               "今天", "明天", "最近N天", "随后N天",  "上个星期", "这个星期", "下个星期",
                               "上月", "本月", "下月",    "去年",     "今年",     "明年"};
        QTest::newRow("string") << TFieldType::ftString << text;
        QTest::newRow("FMT-BCD is text here") << TFieldType::ftFMTBcd << text;
        QTest::newRow("integer") << TFieldType::ftInteger << number;
        QTest::newRow("bytes") << TFieldType::ftBytes << number;
        QTest::newRow("boolean") << TFieldType::ftBoolean << QStringList{"是", "否"};
        QTest::newRow("date") << TFieldType::ftDate << date;
        QTest::newRow("blob") << TFieldType::ftBlob << QStringList();
    }
    void operatorLists() {
        QFETCH(TFieldType, type);
        QFETCH(QStringList, names);
        QCOMPARE(namesOf(SearchOperatorsFor(type)), names);
        std::vector<TSearchOperator> list = SearchOperatorsFor(TFieldType::ftBoolean);
        FillSearchOperators(type, list); // replaces what was there
        QCOMPARE(namesOf(list), names);
    }

    // Every template rendered for a field and a value, byte for byte.
    void renderedPieces_data() {
        QTest::addColumn<TFieldType>("type");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("sql");
        const auto s = TFieldType::ftString;
        const auto n = TFieldType::ftInteger;
        const auto b = TFieldType::ftBoolean;
        const auto d = TFieldType::ftDateTime;
        const auto add = [](const char* name, TFieldType type, const char* op, const QString& value, int kind,
                            const char* sql) {
            QTest::newRow(name) << type << QString::fromUtf8(op) << value << kind << QString::fromUtf8(sql);
        };
        add("包含", s, "包含", "北京", 1, "F like '%北京%'");
        add("不包含", s, "不包含", "北京", 1, "F not like '%北京%'");
        add("等于(精确地)", s, "等于(精确地)", "O'Neil", 1, "F= 'O'Neil'");
        add("不等于(精确地)", s, "不等于(精确地)", "a", 1, "F<> 'a'");
        add("n 等于", n, "等于", "5", 2, "F= 5");
        add("n 大于", n, "大于", "5", 2, "F> 5");
        add("n 小于", n, "小于", "5", 2, "F< 5");
        add("n 大于等于", n, "大于等于", "5", 2, "F>= 5");
        add("n 小于等于", n, "小于等于", "5", 2, "F<= 5");
        add("n 不等于", n, "不等于", "5", 2, "F<> 5");
        add("是", b, "是", "", 0, "F=1");
        add("否", b, "否", "", 0, "F=0");
        const QString v = QStringLiteral("'2024-03-05'");
        add("d 等于", d, "等于", v, 4, "DateDiff(d,F,'2024-03-05' )=0");
        add("d 大于", d, "大于", v, 4, "DateDiff(d,F,'2024-03-05' )<0 ");
        add("d 小于", d, "小于", v, 4, "DateDiff(d,F,'2024-03-05' )>0 ");
        add("d 大于等于", d, "大于等于", v, 4, "DateDiff(d,F,'2024-03-05' )<=0");
        add("d 小于等于", d, "小于等于", v, 4, "DateDiff(d,F,'2024-03-05' )>=0");
        add("d 不等于", d, "不等于", v, 4, "DateDiff(d,F,'2024-03-05' )<>0");
        add("昨天", d, "昨天", "", 0, "DateDiff(d,F,GetDate() )=1");
        add("今天", d, "今天", "", 0, "DateDiff(d,F,GetDate() )=0");
        add("明天", d, "明天", "", 0, "DateDiff(d,F,GetDate() )=-1");
        add("最近N天", d, "最近N天", "7", 2, "DateDiff(d,F,GetDate() )<= 7");
        add("随后N天", d, "随后N天", "7", 2, "DateDiff(d,F,GetDate() )>=-7");
        add("上个星期", d, "上个星期", "", 0, "DateDiff(ww,F,GetDate() )=1");
        add("这个星期", d, "这个星期", "", 0, "DateDiff(ww,F,GetDate() )=0");
        add("下个星期", d, "下个星期", "", 0, "DateDiff(ww,F,GetDate() )=-1");
        add("上月", d, "上月", "", 0, "DateDiff(m,F,GetDate() )=1");
        add("本月", d, "本月", "", 0, "DateDiff(m,F,GetDate() )=0");
        add("下月", d, "下月", "", 0, "DateDiff(m,F,GetDate() )=-1");
        add("去年", d, "去年", "", 0, "DateDiff(y,F,GetDate() )=1");
        add("今年", d, "今年", "", 0, "DateDiff(y,F,GetDate() )=0");
        add("明年", d, "明年", "", 0, "DateDiff(y,F,GetDate() )=-1");
    }
    void renderedPieces() {
        QFETCH(TFieldType, type);
        QFETCH(QString, op);
        QFETCH(QString, value);
        QFETCH(int, kind);
        QFETCH(QString, sql);
        const std::vector<TSearchOperator> ops = SearchOperatorsFor(type);
        const TSearchOperator* entry = find(ops, op);
        QVERIFY(entry);
        QCOMPARE(entry->Value.ValueKind, kind);
        QCOMPARE(entry->Value.GetSQLResult(QStringLiteral("F"), value), sql);
    }

    void replacementIgnoresCaseAndRepeats() {
        const TSearchValue v(QStringLiteral("[fieldname]=[VALUE] or [FieldName]<>[value]"), 1);
        QCOMPARE(v.GetSQLResult(QStringLiteral("a"), QStringLiteral("1")), QStringLiteral("a=1 or a<>1"));
        // The field name goes in first: a "[Value]" inside it is filled too.
        const TSearchValue w(QStringLiteral("[FieldName]=[Value]"), 1);
        QCOMPARE(w.GetSQLResult(QStringLiteral("x[Value]"), QStringLiteral("2")), QStringLiteral("x2=2"));
        // A value holding a marker is not filled again.
        QCOMPARE(w.GetSQLResult(QStringLiteral("f"), QStringLiteral("[FieldName]")),
                 QStringLiteral("f=[FieldName]"));
    }

    void valueTexts_data() {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("number");
        QTest::addColumn<QDate>("date");
        QTest::addColumn<QString>("expected");
        const auto add = [](const char* name, int kind, const char* text, const char* number, QDate date,
                            const char* expected) {
            QTest::newRow(name) << kind << QString::fromUtf8(text) << QString::fromUtf8(number) << date
                                << QString::fromUtf8(expected);
        };
        add("none", 0, "t", "1", QDate(2024, 3, 5), "");
        add("text as typed", 1, "O'Brien %", "1", QDate(), "O'Brien %");
        add("number", 2, "", "12.5", QDate(), "12.5");
        add("number partial", 2, "", "12.5元", QDate(), "12.5");
        add("number empty", 2, "", "", QDate(), "0");
        add("number words", 2, "", "abc", QDate(), "0");
        add("number exponent", 2, "", "1e3", QDate(), "1000");
        add("number trailing zeros", 2, "", "7.50", QDate(), "7.5");
        add("date", 4, "", "", QDate(2024, 3, 5), "'2024-03-05'");
        add("unknown kind", 3, "t", "1", QDate(2024, 3, 5), "");
    }
    void valueTexts() {
        QFETCH(int, kind);
        QFETCH(QString, text);
        QFETCH(QString, number);
        QFETCH(QDate, date);
        QFETCH(QString, expected);
        QCOMPARE(SearchValueText(kind, TSearchInput{text, number, date}), expected);
    }

    void captionToFieldName_data() {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("field");
        const auto add = lnqtest::textRow;
        add("dictionary caption", "信用额度", "nCredit");
        add("first of two with the caption", "客户名称", "vName");
        add("field without caption", "vCustNo", "vCustNo");
        add("field name hidden by its caption", "vName", "vName");
        add("no match used verbatim", "联系人", "联系人");
        add("exact comparison", "客户名称 ", "客户名称 ");
    }
    void captionToFieldName() {
        QFETCH(QString, caption);
        QFETCH(QString, field);
        auto ds = customers();
        QCOMPARE(FieldNameOfCaption(caption, *ds, dictionary()), field);
    }

    void captionsWithoutDictionaryAreNames() {
        auto ds = customers();
        const TTitleCaptionFn names = TitleCaptionsOf(nullptr);
        QCOMPARE(FieldNameOfCaption(QStringLiteral("nCredit"), *ds, names), QStringLiteral("nCredit"));
        QCOMPARE(FieldNameOfCaption(QStringLiteral("信用额度"), *ds, names), QStringLiteral("信用额度"));
    }

    void itemSql() {
        auto ds = customers();
        const auto text = SearchOperatorsFor(TFieldType::ftString);
        const auto date = SearchOperatorsFor(TFieldType::ftDateTime);
        const TSearchInput input{QStringLiteral("北京"), QStringLiteral("7"), QDate(2024, 3, 5)};
        QCOMPARE(GetItemSQL(QStringLiteral("客户名称"), *ds, find(text, QStringLiteral("包含")), input,
                            dictionary()),
                 QStringLiteral("vName like '%北京%'"));
        QCOMPARE(GetItemSQL(QStringLiteral("建档日期"), *ds, find(date, QStringLiteral("最近N天")), input,
                            dictionary()),
                 QStringLiteral("DateDiff(d,dCreateDate,GetDate() )<= 7"));
        QCOMPARE(GetItemSQL(QStringLiteral("建档日期"), *ds, find(date, QStringLiteral("等于")), input,
                            dictionary()),
                 QStringLiteral("DateDiff(d,dCreateDate,'2024-03-05' )=0"));
        QCOMPARE(GetItemSQL(QStringLiteral("客户名称"), *ds, nullptr, input, dictionary()), QString());
    }

    void conditionListJoins() {
        auto ds = customers();
        const auto text = SearchOperatorsFor(TFieldType::ftString);
        const auto number = SearchOperatorsFor(TFieldType::ftFloat);
        const auto yesNo = SearchOperatorsFor(TFieldType::ftBoolean);
        TConditionList list;
        QCOMPARE(list.GetSearchSQL(true), QString());
        const TSearchInput input{QStringLiteral("北京"), QStringLiteral("5000.50"), QDate()};
        QVERIFY(!list.AddCondition(QString(), *ds, &text[0], input, dictionary()));
        QVERIFY(!list.AddCondition(QStringLiteral("客户名称"), *ds, nullptr, input, dictionary()));
        QCOMPARE(list.Count(), 0);

        QVERIFY(list.AddCondition(QStringLiteral("客户名称"), *ds, &text[0], input, dictionary()));
        QVERIFY(list.AddCondition(QStringLiteral("信用额度"), *ds, find(number, QStringLiteral("大于等于")),
                                  input, dictionary()));
        QVERIFY(list.AddCondition(QStringLiteral("bActive"), *ds, &yesNo[0], input, dictionary()));
        QCOMPARE(list.Count(), 3);
        QCOMPARE(list.At(0).Row.Caption, QStringLiteral("客户名称"));
        QCOMPARE(list.At(0).Row.Description, QStringLiteral("客户名称 包含 北京"));
        QCOMPARE(list.At(1).Row.Description, QStringLiteral("信用额度 大于等于 5000.5"));
        QCOMPARE(list.At(2).Row.Description, QStringLiteral("bActive 是 ")); // empty value text
        QCOMPARE(list.GetSearchSQL(true),
                 QStringLiteral(" And vName like '%北京%' And nCredit>= 5000.5 And bActive=1"));
        QCOMPARE(list.GetSearchSQL(false),
                 QStringLiteral(" OR vName like '%北京%' OR nCredit>= 5000.5 OR bActive=1"));
        list.Delete(0);
        QCOMPARE(list.GetSearchSQL(true), QStringLiteral(" And nCredit>= 5000.5 And bActive=1"));
    }
};

LNQ_TEST_MAIN_CORE(TestSearchSql)
#include "tst_SearchSql.moc"
