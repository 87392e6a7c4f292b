#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "data/DataSetFilterExpr.h"
#include "util/Exceptions.h"

using namespace lnq;

namespace {

// ID 1..10, Qty = ID * 10.
void loadNumbers(TDataSet& ds) {
    TRecordSetBuilder& b = ds.BeginLoad({lnqtest::fieldDef(QStringLiteral("ID"), TFieldType::ftInteger),
                                         lnqtest::fieldDef(QStringLiteral("Qty"), TFieldType::ftInteger)});
    for (int i = 1; i <= 10; ++i) {
        b.SetInteger(0, i);
        b.SetInteger(1, i * 10);
        b.EndRow();
    }
    ds.EndLoad();
}

QString repeated(const QString& piece, int times, const QString& joiner = {}) {
    QStringList parts;
    for (int i = 0; i < times; ++i)
        parts << piece;
    return parts.join(joiner);
}

} // namespace

// The filter text's parser bounds its recursion and chain lengths: a
// hostile or generated text gets an error naming the limit, never a stack
// overflow, and texts within the limits filter as written.
class TestDataSetFilterExpr : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void limits_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("accepted"); // -1: refused
        QTest::addColumn<QString>("mentions");
        const int depth = kMaxFilterNesting;
        QTest::newRow("20000 parentheses")
            << repeated("(", 20000) + "ID = 1" + repeated(")", 20000) << -1 << "嵌套超过";
        QTest::newRow("50000 nots") << repeated("not ", 50000) + "ID = 1" << -1 << "嵌套超过";
        QTest::newRow("50000 or terms") << repeated("ID = 1", 50000, " or ") << -1 << "OR 连接的条件超过";
        QTest::newRow("50000 and terms") << repeated("ID = 1", 50000, " and ") << -1 << "AND 连接的条件超过";
        QTest::newRow("parentheses at the limit")
            << repeated("(", depth) + "ID = 3" + repeated(")", depth) << 1 << QString();
        QTest::newRow("parentheses beyond the limit")
            << repeated("(", depth + 1) + "ID = 3" + repeated(")", depth + 1) << -1 << "嵌套超过";
        QTest::newRow("nots at the limit, even") << repeated("not ", depth) + "ID = 3" << 1 << QString();
        QTest::newRow("or chain at the limit")
            << repeated("ID = 4", kMaxFilterTerms - 1, " or ") + " or ID = 7" << 2 << QString();
        QTest::newRow("long and chain")
            << repeated("Qty > 15", 5000, " and ") + " and ID < 5" << 3 << QString();
        QTest::newRow("mixed chains")
            << "ID = 1 or " + repeated("(Qty >= 20 and Qty <= 30)", 3000, " or ") << 3 << QString();
        QTest::newRow("not over a chain") << "not (ID = 1 or ID = 2 or ID = 3)" << 7 << QString();
    }
    void limits() {
        QFETCH(QString, filter);
        QFETCH(int, accepted);
        QFETCH(QString, mentions);
        TClientDataSet ds;
        loadNumbers(ds);
        if (accepted < 0) {
            try {
                ds.SetFilter(filter);
                ds.SetFiltered(true);
                QFAIL("the filter text was accepted");
            } catch (const EDatabaseError& e) {
                QVERIFY2(e.Message().contains(mentions), qPrintable(e.Message().left(200)));
                QVERIFY(e.Message().size() < 200);
            }
            return;
        }
        ds.SetFilter(filter);
        ds.SetFiltered(true);
        QCOMPARE(ds.RecordCount(), accepted);
    }
};

LNQ_TEST_MAIN_CORE(TestDataSetFilterExpr)
#include "tst_DataSetFilterExpr.moc"
