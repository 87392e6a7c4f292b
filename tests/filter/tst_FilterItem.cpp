#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "filter/FilterItem.h"
#include "util/Clock.h"
#include "util/DateUtils.h"
#include "util/Exceptions.h"

#include <cmath>

using namespace lnq;

Q_DECLARE_METATYPE(lnq::TFieldType)
Q_DECLARE_METATYPE(lnq::TFilterType)

namespace {

using lnqtest::fieldDef;
TFieldDef def(const QString& name, TFieldType type, int size = 0) {
    return fieldDef(name, type, size);
}

struct Row {
    QString name;
    double qty = 0;
    TDateTime day = 0;
    bool flag = false;
};

TFieldDefs standardDefs() {
    return {
        def(QStringLiteral("Name"), TFieldType::ftString, 50),
        def(QStringLiteral("Qty"), TFieldType::ftFloat),
        def(QStringLiteral("Day"), TFieldType::ftDateTime),
        def(QStringLiteral("Flag"), TFieldType::ftBoolean),
    };
}

void load(TClientDataSet& ds, const std::vector<Row>& rows) {
    TRecordSetBuilder& b = ds.BeginLoad(standardDefs());
    for (const Row& r : rows) {
        b.SetText(0, r.name);
        b.SetFloat(1, r.qty);
        b.SetDateTime(2, r.day);
        b.SetInteger(3, r.flag ? 1 : 0);
        b.EndRow();
    }
    ds.EndLoad();
}

std::unique_ptr<TClientDataSet> oneRow(const Row& r) {
    auto ds = std::make_unique<TClientDataSet>();
    load(*ds, {r});
    return ds;
}

TDateTime at(int y, int m, int d, int h = 0, int mi = 0) {
    return DateTimeFromQt(QDateTime(QDate(y, m, d), QTime(h, mi)));
}

void fixToday(const QDate& d) {
    Clock::setFixedNow(QDateTime(d, QTime(9, 30)));
}

} // namespace

class TestFilterItem : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cleanup() { Clock::setFixedNow(std::nullopt); }

    // One row per branch of each operator; the field is the one of the
    // filter type (Name, Qty, Day, Flag).
    void operators_data() {
        QTest::addColumn<TFilterType>("type");
        QTest::addColumn<QVariant>("field");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("accepts");
        const auto text = [](const char* name, const char* field, const char* op, const char* value,
                             bool ok) {
            QTest::newRow(name) << TFilterType::ftFilterText << QVariant(QString::fromUtf8(field))
                                << QString::fromUtf8(op) << QString::fromUtf8(value) << ok;
        };
        text("包含 yes", "北京海淀区", "包含", "海淀", true);
        text("包含 case-sensitive", "Beijing", "包含", "bei", false);
        text("包含 empty value refuses", "北京", "包含", "", false);
        text("不包含 yes", "北京海淀区", "不包含", "朝阳", true);
        text("不包含 no", "北京海淀区", "不包含", "海淀", false);
        text("不包含 empty value accepts", "北京", "不包含", "", true);
        text("等于 exact", "abc", "等于", "abc", true);
        text("等于 trailing blank", "abc ", "等于", "abc", false);
        text("不等于 differs", "abc", "不等于", "abd", true);
        text("不等于 same", "abc", "不等于", "abc", false);
        text("(全部)", "abc", "(全部)", "zzz", true);
        text("number operator on text", "abc", "大于", "zzz", true);

        const auto number = [](const char* name, double field, const char* op, const char* value, bool ok) {
            QTest::newRow(name) << TFilterType::ftFilterNumber << QVariant(field) << QString::fromUtf8(op)
                                << QString::fromUtf8(value) << ok;
        };
        number("等于 within tolerance", 10.0005, "等于", "10", true);
        number("等于 outside", 10.002, "等于", "10", false);
        number("等于 exactly 0.001 apart", 0.0, "等于", "0.001", false);
        number("不等于 exactly 0.001 apart", 0.0, "不等于", "0.001", false);
        number("不等于 apart", 0.0, "不等于", "0.002", true);
        number("大于 slightly below accepts", 4.9995, "大于", "5", true);
        number("大于 below", 4.99, "大于", "5", false);
        number("小于 equal refuses", 5.0, "小于", "5", false);
        number("小于 margin not reached", 4.9995, "小于", "5", false);
        number("小于 below", 4.99, "小于", "5", true);
        number("大于等于 slightly below", 4.9995, "大于等于", "5", true);
        number("大于等于 below", 4.99, "大于等于", "5", false);
        number("小于等于 slightly above", 5.0005, "小于等于", "5", true);
        number("小于等于 above", 5.01, "小于等于", "5", false);
        number("negative value", -3.5, "等于", "-3.5", true);
        number("exponent value", 1500.0, "等于", "1.5e3", true);
        number("text operator on number", 1.0, "包含", "9", true);

        const auto date = [](const char* name, TDateTime field, const char* op, const char* value, bool ok) {
            QTest::newRow(name) << TFilterType::ftFilterDate << QVariant(field) << QString::fromUtf8(op)
                                << QString::fromUtf8(value) << ok;
        };
        const TDateTime sameDayLate = at(2024, 3, 5, 23, 59);
        const TDateTime nextDay = at(2024, 3, 6, 0, 1);
        const TDateTime dayBefore = at(2024, 3, 4, 12, 0);
        date("等于 same day refuses", sameDayLate, "等于", "2024/3/5", false);
        date("等于 next day accepts", nextDay, "等于", "2024/3/5", true);
        date("等于 day before refuses", dayBefore, "等于", "2024/3/5", false);
        date("大于 same day", sameDayLate, "大于", "2024/3/5", false);
        date("大于 next day", nextDay, "大于", "2024-03-05", true);
        date("小于 day before", dayBefore, "小于", "2024/3/5", true);
        date("小于 same day", sameDayLate, "小于", "2024/3/5", false);
        date("大于等于 same day", sameDayLate, "大于等于", "2024/3/5 08:00", true);
        date("大于等于 day before", dayBefore, "大于等于", "2024/3/5", false);
        date("小于等于 same day", sameDayLate, "小于等于", "2024/3/5", true);
        date("小于等于 next day", nextDay, "小于等于", "2024/3/5", false);
        date("不等于 same day", sameDayLate, "不等于", "2024/3/5", false);
        date("不等于 next day", nextDay, "不等于", "2024/3/5", true);
        date("unparsable value is day 0", at(1899, 12, 31), "大于", "三月五日", true);
        date("empty value is day 0", at(1899, 12, 30, 18, 0), "大于", "", false);
        date("text operator on date", nextDay, "包含", "x", true);

        const auto flag = [](const char* name, bool field, const char* op, bool ok) {
            QTest::newRow(name) << TFilterType::ftFilterBoolean << QVariant(field) << QString::fromUtf8(op)
                                << QString() << ok;
        };
        flag("是 true", true, "是", true);
        flag("是 false", false, "是", false);
        flag("否 true", true, "否", false);
        flag("否 false", false, "否", true);
        flag("等于 unknown for yes/no", false, "等于", true);
    }
    void operators() {
        QFETCH(TFilterType, type);
        QFETCH(QVariant, field);
        QFETCH(QString, op);
        QFETCH(QString, value);
        QFETCH(bool, accepts);
        Row row;
        QString name;
        switch (type) {
        case TFilterType::ftFilterText:
            row.name = field.toString(), name = QStringLiteral("Name");
            break;
        case TFilterType::ftFilterNumber:
            row.qty = field.toDouble(), name = QStringLiteral("Qty");
            break;
        case TFilterType::ftFilterDate:
            row.day = field.toDouble(), name = QStringLiteral("Day");
            break;
        default:
            row.flag = field.toBool(), name = QStringLiteral("Flag");
            break;
        }
        auto ds = oneRow(row);
        TFilterItem item(name, type, op, value);
        QCOMPARE(item.CanAccept(*ds), accepts);
    }

    void numberEmptyValueBecomesZero_data() {
        QTest::addColumn<QString>("op");
        QTest::addColumn<double>("field");
        QTest::addColumn<bool>("accepts");
        QTest::newRow("等于 zero") << "等于" << 0.0 << true;
        QTest::newRow("等于 one") << "等于" << 1.0 << false;
        QTest::newRow("(全部) still rewrites") << "(全部)" << 1.0 << true;
    }
    void numberEmptyValueBecomesZero() {
        QFETCH(QString, op);
        QFETCH(double, field);
        QFETCH(bool, accepts);
        auto ds = oneRow({QString(), field});
        TFilterItem item(QStringLiteral("Qty"), TFilterType::ftFilterNumber, op, QString());
        QCOMPARE(item.CanAccept(*ds), accepts);
        QCOMPARE(item.EqualValue(), QStringLiteral("0"));
    }

    void numberBadValueRaisesEveryCall() {
        auto ds = oneRow({QString(), 1.0});
        TFilterItem item(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("等于"),
                         QStringLiteral("1元"));
        QVERIFY_THROWS_EXCEPTION(EConvertError, item.CanAccept(*ds));
        QVERIFY_THROWS_EXCEPTION(EConvertError, item.CanAccept(*ds));
        item.SetEqualValue(QStringLiteral("1"));
        QVERIFY(item.CanAccept(*ds));
    }

    void unknownFieldRaises_data() {
        QTest::addColumn<TFilterType>("type");
        QTest::addColumn<QString>("op");
        QTest::newRow("text") << TFilterType::ftFilterText << "包含";
        QTest::newRow("number (全部)") << TFilterType::ftFilterNumber << "(全部)";
        QTest::newRow("date") << TFilterType::ftFilterDate << "今天";
        QTest::newRow("boolean") << TFilterType::ftFilterBoolean << "是";
    }
    void unknownFieldRaises() {
        QFETCH(TFilterType, type);
        QFETCH(QString, op);
        auto ds = oneRow({QStringLiteral("x"), 1.0});
        TFilterItem item(QStringLiteral("Missing"), type, op, QStringLiteral("1"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, item.CanAccept(*ds));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, item.CanAccept(*ds));
    }

    void typeOutsideTheFourAccepts() {
        auto ds = oneRow({QStringLiteral("x")});
        TFilterItem item(QStringLiteral("Missing"), static_cast<TFilterType>(7), QStringLiteral("等于"),
                         QStringLiteral("y"));
        QVERIFY(item.CanAccept(*ds));
        QCOMPARE(item.GetFieldTypeName(), QString());
    }

    // Relative operators on fixed days: a Sunday (2024-03-10), the 1st of a
    // month (Friday 2024-03-01), the 31st (Sunday 2024-03-31), a leap day
    // (Thursday 2024-02-29), a year end (Tuesday 2024-12-31) and a week that
    // begins on the 1st (Monday 2024-01-01). The week, month and year windows
    // are checked day by day below; these rows pin their odd corners.
    void relativeDates_data() {
        QTest::addColumn<QDate>("today");
        QTest::addColumn<TDateTime>("field");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("accepts");
        const auto add = [](const char* name, QDate today, TDateTime field, const char* op, const char* value,
                            bool ok) {
            QTest::newRow(name) << today << field << QString::fromUtf8(op) << QString::fromUtf8(value) << ok;
        };
        const QDate sunday(2024, 3, 10), first(2024, 3, 1), thirtyFirst(2024, 3, 31), leap(2024, 2, 29),
            yearEnd(2024, 12, 31), monday1st(2024, 1, 3);
        add("昨天", sunday, at(2024, 3, 9, 23, 0), "昨天", "", true);
        add("昨天 not today", sunday, at(2024, 3, 10), "昨天", "", false);
        add("今天 late", sunday, at(2024, 3, 10, 23, 59), "今天", "", true);
        add("今天 not tomorrow", sunday, at(2024, 3, 11), "今天", "", false);
        add("明天", sunday, at(2024, 3, 11, 8, 0), "明天", "", true);
        add("最近N天 N-th day", sunday, at(2024, 3, 7, 15, 0), "最近N天", "3", true);
        add("最近N天 yesterday refused", sunday, at(2024, 3, 9), "最近N天", "3", false);
        add("最近N天 today refused", sunday, at(2024, 3, 10), "最近N天", "3", false);
        add("最近N天 partial number", sunday, at(2024, 3, 7), "最近N天", "3天", true);
        add("最近N天 no number is today", sunday, at(2024, 3, 10), "最近N天", "天", true);
        add("随后N天 N-th day", sunday, at(2024, 3, 12), "随后N天", "2", true);
        add("随后N天 tomorrow refused", sunday, at(2024, 3, 11), "随后N天", "2", false);
        add("这个星期 the Sunday", sunday, at(2024, 3, 10, 23, 0), "这个星期", "", true);
        add("本月 week start not 1st", sunday, at(2024, 3, 5), "本月", "", false);
        add("1st 上月 leap day", first, at(2024, 2, 29, 18, 0), "上月", "", true);
        add("1st 去年 is a month", first, at(2023, 3, 15), "去年", "", true);
        add("1st 昨天 leap day", first, at(2024, 2, 29), "昨天", "", true);
        add("31st 上月 never", thirtyFirst, at(2024, 2, 29), "上月", "", false);
        add("31st 明天", thirtyFirst, at(2024, 4, 1), "明天", "", true);
        add("leap 明天", leap, at(2024, 3, 1), "明天", "", true);
        add("leap 最近N天 365", leap, at(2023, 3, 1), "最近N天", "365", true);
        add("year end 明天", yearEnd, at(2025, 1, 1), "明天", "", true);
        add("year end 这个星期 into next year", yearEnd, at(2025, 1, 5), "这个星期", "", true);
        add("week from 1st 本月 accepts", monday1st, at(2024, 1, 31), "本月", "", true);
    }
    void relativeDates() {
        QFETCH(QDate, today);
        QFETCH(TDateTime, field);
        QFETCH(QString, op);
        QFETCH(QString, value);
        QFETCH(bool, accepts);
        fixToday(today);
        auto ds = oneRow({QString(), 0, field});
        TFilterItem item(QStringLiteral("Day"), TFilterType::ftFilterDate, op, value);
        QCOMPARE(item.CanAccept(*ds), accepts);
        // The same answer through a list, with and without a pass.
        TFilterList list;
        list.Add(QStringLiteral("Day"), TFilterType::ftFilterDate, op, value);
        QCOMPARE(list.Accepts(*ds), accepts);
        auto pass = list.BeginPass();
        QCOMPARE(list.Accepts(*ds), accepts);
    }

    // The week, month and year operators work from day windows; they must
    // agree with the comparisons of week and month starts they stand for, for
    // every day over two years around several todays.
    void relativeDatesAgreeWithCalendarRules() {
        const QStringList ops{
            QStringLiteral("上个星期"), QStringLiteral("这个星期"), QStringLiteral("下个星期"),
            QStringLiteral("上月"),     QStringLiteral("本月"),     QStringLiteral("下月"),
            QStringLiteral("去年"),     QStringLiteral("今年"),     QStringLiteral("明年")};
        const QList<QDate> todays{QDate(2024, 3, 10), QDate(2024, 3, 1),   QDate(2024, 1, 1),
                                  QDate(2024, 7, 3),  QDate(2024, 12, 31), QDate(2023, 5, 1)};
        auto literal = [](const QString& op, TDateTime f, TDateTime t) {
            if (op == QStringLiteral("上个星期")) return StartOfTheWeek(f) == StartOfTheWeek(t - 7);
            if (op == QStringLiteral("这个星期")) return StartOfTheWeek(f) == StartOfTheWeek(t);
            if (op == QStringLiteral("下个星期")) return StartOfTheWeek(f) == StartOfTheWeek(t + 7);
            if (op == QStringLiteral("上月")) return StartOfTheMonth(f) == IncMonth(t, -1);
            if (op == QStringLiteral("本月") || op == QStringLiteral("今年"))
                return StartOfTheMonth(f) == StartOfTheWeek(t);
            if (op == QStringLiteral("下月")) return StartOfTheMonth(f) == IncMonth(t, 1);
            if (op == QStringLiteral("去年")) return StartOfTheMonth(f) == IncMonth(t, -12);
            return StartOfTheMonth(f) == IncMonth(t, 12);
        };
        std::vector<Row> rows;
        for (int d = -400; d <= 400; ++d)
            rows.push_back({QString(), 0, DateFromQt(QDate(2024, 3, 1).addDays(d)) + (d % 3) * 0.3});
        TClientDataSet ds;
        load(ds, rows);
        int accepted = 0;
        for (const QString& op : ops) {
            TFilterItem item(QStringLiteral("Day"), TFilterType::ftFilterDate, op, QString());
            for (const QDate& today : todays) {
                const TDateTime t = DateFromQt(today);
                for (ds.First(); !ds.Eof(); ds.Next()) {
                    const TDateTime f = ds.FieldByName(QStringLiteral("Day")).AsDateTimeValue();
                    const bool got = item.CanAccept(ds, t);
                    if (got != literal(op, f, t))
                        QFAIL(qPrintable(
                            QStringLiteral("%1 today %2 field %3: got %4")
                                .arg(op, today.toString(Qt::ISODate), DateTimeToQt(f).toString(Qt::ISODate))
                                .arg(got)));
                    accepted += got;
                }
            }
        }
        QVERIFY(accepted > 100); // the windows are not all empty
    }

    void passReadsTheClockOnce() {
        auto ds = oneRow({QString(), 0, at(2024, 3, 10, 12, 0)});
        TFilterList list;
        list.Add(QStringLiteral("Day"), TFilterType::ftFilterDate, QStringLiteral("今天"), QString());
        fixToday(QDate(2024, 3, 10));
        {
            auto pass = list.BeginPass();
            fixToday(QDate(2024, 3, 11));
            QVERIFY(list.Accepts(*ds)); // still the day the pass began
        }
        QVERIFY(!list.Accepts(*ds)); // after the pass the clock is read on every call
    }

    void everyOfferedOperatorIsUnderstood() {
        // Each operator of the drop-down lists changes the answer for some
        // record (an operator name CanAccept did not know would accept all).
        fixToday(QDate(2024, 3, 1));
        std::vector<Row> rows;
        for (int d = -400; d <= 400; d += 1)
            rows.push_back({QStringLiteral("v%1").arg(d), d * 0.5, DateFromQt(QDate(2024, 3, 1).addDays(d)),
                            d % 2 == 0});
        TClientDataSet ds;
        load(ds, rows);
        const struct {
            TFilterType type;
            const char* field;
            const char* value;
        } cases[] = {{TFilterType::ftFilterText, "Name", "v1"},
                     {TFilterType::ftFilterNumber, "Qty", "3"},
                     {TFilterType::ftFilterDate, "Day", "3"},
                     {TFilterType::ftFilterBoolean, "Flag", ""}};
        for (const auto& c : cases) {
            const QStringList names = FilterOperatorNames(c.type);
            QCOMPARE(names.first(), QStringLiteral("(全部)"));
            for (const QString& op : names.mid(1)) {
                TFilterItem item(QString::fromLatin1(c.field), c.type, op, QString::fromLatin1(c.value));
                if (c.type == TFilterType::ftFilterDate && op.contains(QStringLiteral("于")))
                    item.SetEqualValue(QStringLiteral("2024/3/1"));
                int refused = 0;
                for (ds.First(); !ds.Eof(); ds.Next())
                    refused += !item.CanAccept(ds);
                QVERIFY2(refused > 0, qPrintable(op));
            }
        }
        QCOMPARE(FilterOperatorNames(TFilterType::ftFilterDate).size(), 21);
        QCOMPARE(FilterOperatorNames(TFilterType::ftFilterNumber).size(), 7);
    }

    void fieldTypeNames_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<TFilterType>("type");
        QTest::newRow("日期") << "日期" << TFilterType::ftFilterDate;
        QTest::newRow("数值") << "数值" << TFilterType::ftFilterNumber;
        QTest::newRow("文本") << "文本" << TFilterType::ftFilterText;
        QTest::newRow("是否") << "是否" << TFilterType::ftFilterBoolean;
    }
    void fieldTypeNames() {
        QFETCH(QString, name);
        QFETCH(TFilterType, type);
        TFilterItem item;
        item.SetFilterType(type == TFilterType::ftFilterText ? TFilterType::ftFilterDate
                                                             : TFilterType::ftFilterText);
        item.SetFieldTypeName(name);
        QCOMPARE(item.FilterType(), type);
        QCOMPARE(item.GetFieldTypeName(), name);
        item.SetFieldTypeName(QStringLiteral("货币"));
        QCOMPARE(item.FilterType(), type);
    }

    void validityAndTrace() {
        TFilterItem item(QStringLiteral("vName"), TFilterType::ftFilterText, QStringLiteral("(全部)"),
                         QStringLiteral("北京"));
        QVERIFY(!item.IsValid());
        item.SetFilterOPName(QStringLiteral("包含"));
        QCOMPARE(item.GetFilterOPName(), QStringLiteral("包含"));
        QVERIFY(item.IsValid());
        item.SetFieldName(QString());
        QVERIFY(!item.IsValid());
        item.SetFieldName(QStringLiteral("vName"));
        QCOMPARE(item.ToString(), QStringLiteral("FieldName=vName,EqualValue=北京"));
    }

    void myStrToDate_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDate>("date");
        QTest::newRow("short format") << "2024/3/5" << QDate(2024, 3, 5);
        QTest::newRow("with time") << "2024/3/5 14:30" << QDate(2024, 3, 5);
        QTest::newRow("iso") << "2024-03-05" << QDate(2024, 3, 5);
        QTest::newRow("iso T") << "2024-03-05T10:00:00" << QDate(2024, 3, 5);
        QTest::newRow("blanks around") << "  2024/2/29 " << QDate(2024, 2, 29);
        QTest::newRow("empty") << "" << QDate();
        QTest::newRow("words") << "昨天" << QDate();
        QTest::newRow("no such day") << "2023/2/29" << QDate();
        QTest::newRow("bad time") << "2024/3/5 25:00" << QDate();
        QTest::newRow("trailing junk") << "2024/3/5x" << QDate();
    }
    void myStrToDate() {
        QFETCH(QString, text);
        QFETCH(QDate, date);
        const TDateTime v = TFilterItem::MyStrToDate(text);
        QCOMPARE(v, date.isValid() ? DateFromQt(date) : 0.0);
        QCOMPARE(v, std::trunc(v));
    }

    void myStrToInt_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("value");
        QTest::newRow("digits") << "12" << 12;
        QTest::newRow("partial") << "12天" << 12;
        QTest::newRow("decimal part dropped") << "3.7" << 3;
        QTest::newRow("sign") << " -3" << -3;
        QTest::newRow("none") << "abc" << 0;
    }
    void myStrToInt() {
        QFETCH(QString, text);
        QFETCH(int, value);
        QCOMPARE(TFilterItem::MyStrToInt(text), value);
    }

    void fieldTypeMappings_data() {
        QTest::addColumn<TFieldType>("fieldType");
        QTest::addColumn<TFilterType>("filterType");
        QTest::addColumn<QString>("name");
        const auto keep = TFilterType::ftFilterBoolean; // the "current" value passed in
        QTest::newRow("string") << TFieldType::ftString << TFilterType::ftFilterText << "文本";
        QTest::newRow("wide string") << TFieldType::ftWideString << TFilterType::ftFilterText << "文本";
        QTest::newRow("FMT-BCD is a number") << TFieldType::ftFMTBcd << TFilterType::ftFilterNumber << "数值";
        QTest::newRow("bytes is a number") << TFieldType::ftBytes << TFilterType::ftFilterNumber << "数值";
        QTest::newRow("integer") << TFieldType::ftInteger << TFilterType::ftFilterNumber << "数值";
        QTest::newRow("time") << TFieldType::ftTime << TFilterType::ftFilterDate << "日期";
        QTest::newRow("boolean") << TFieldType::ftBoolean << TFilterType::ftFilterBoolean << "是否";
        QTest::newRow("blob keeps") << TFieldType::ftBlob << keep << "";
    }
    void fieldTypeMappings() {
        QFETCH(TFieldType, fieldType);
        QFETCH(TFilterType, filterType);
        QFETCH(QString, name);
        QCOMPARE(FilterTypeOfField(fieldType, TFilterType::ftFilterBoolean), filterType);
        QCOMPARE(GetFieldTypeName(fieldType), name);
    }

    void listIsAnOrderedConjunction() {
        auto ds = oneRow({QStringLiteral("北京"), 5.0});
        TFilterList list;
        QVERIFY(list.Accepts(*ds)); // empty passes
        list.Add(QStringLiteral("Name"), TFilterType::ftFilterText, QStringLiteral("包含"),
                 QStringLiteral("上海"));
        list.Add(QStringLiteral("Missing"), TFilterType::ftFilterText, QStringLiteral("包含"),
                 QStringLiteral("x"));
        // The first item refuses, so the second (which would raise) is not asked.
        QVERIFY(!list.Accepts(*ds));
        list.Item(0).SetEqualValue(QStringLiteral("北"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, list.Accepts(*ds));
        list.Delete(1);
        list.Add(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("大于"),
                 QStringLiteral("6"));
        QVERIFY(!list.Accepts(*ds));
        list.Item(1).SetEqualValue(QStringLiteral("4"));
        QVERIFY(list.Accepts(*ds));
        QCOMPARE(list.FindByField(QStringLiteral("qty")), &list.Item(1));
        QCOMPARE(list.FindByField(QStringLiteral("Day")), nullptr);
        list.Clear();
        QVERIFY(list.IsEmpty());
    }

    void fieldFollowsTheDatasetLayout() {
        TClientDataSet ds;
        load(ds, {{QStringLiteral("a"), 7.0}});
        TFilterItem item(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("等于"),
                         QStringLiteral("7"));
        QVERIFY(item.CanAccept(ds));

        // Reloaded with the columns in another order: the item reads Qty again.
        TRecordSetBuilder& b = ds.BeginLoad({def(QStringLiteral("Qty"), TFieldType::ftFloat),
                                             def(QStringLiteral("Other"), TFieldType::ftFloat)});
        b.SetFloat(0, 8.0);
        b.SetFloat(1, 7.0);
        b.EndRow();
        ds.EndLoad();
        QVERIFY(!item.CanAccept(ds));
        item.SetEqualValue(QStringLiteral("8"));
        QVERIFY(item.CanAccept(ds));

        // Reloaded without the field: the lookup raises again.
        TRecordSetBuilder& b2 = ds.BeginLoad({def(QStringLiteral("Other"), TFieldType::ftFloat)});
        b2.SetFloat(0, 8.0);
        b2.EndRow();
        ds.EndLoad();
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, item.CanAccept(ds));

        // Another dataset, then one made after the first one died.
        auto other = oneRow({QString(), 8.0});
        QVERIFY(item.CanAccept(*other));
        other.reset();
        auto third = oneRow({QString(), 9.0});
        QVERIFY(!item.CanAccept(*third));

        // Renaming the item's field is looked up anew.
        item.SetFieldName(QStringLiteral("Nope"));
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, item.CanAccept(*third));
    }

    void fieldCheckedWhileControlsDisabled() {
        // With controls disabled the dataset reports nothing; two reloads in a
        // row must still not leave the item on a field of another name.
        TClientDataSet ds;
        load(ds, {{QStringLiteral("a"), 7.0}});
        TFilterItem item(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("等于"),
                         QStringLiteral("7"));
        QVERIFY(item.CanAccept(ds));
        ds.DisableControls();
        for (const char* second : {"Gone", "Other"}) {
            TRecordSetBuilder& b = ds.BeginLoad({def(QStringLiteral("Name"), TFieldType::ftString, 10),
                                                 def(QString::fromLatin1(second), TFieldType::ftFloat)});
            b.SetText(0, QStringLiteral("a"));
            b.SetFloat(1, 7.0);
            b.EndRow();
            ds.EndLoad();
        }
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, item.CanAccept(ds));
        ds.EnableControls();
        QVERIFY_THROWS_EXCEPTION(EDatabaseError, item.CanAccept(ds));
    }

    void copiesKeepTheCondition() {
        TFilterItem a(QStringLiteral("Qty"), TFilterType::ftFilterNumber, QStringLiteral("大于"),
                      QStringLiteral("3"));
        auto ds = oneRow({QString(), 4.0});
        QVERIFY(a.CanAccept(*ds));
        TFilterItem b(a);
        QCOMPARE(b.ToString(), a.ToString());
        QCOMPARE(b.FilterOP(), a.FilterOP());
        QVERIFY(b.CanAccept(*ds));
        TFilterItem c;
        c = a;
        c.SetEqualValue(QStringLiteral("9"));
        QVERIFY(!c.CanAccept(*ds));
        QVERIFY(a.CanAccept(*ds));
    }
};

LNQ_TEST_MAIN_CORE(TestFilterItem)
#include "tst_FilterItem.moc"
