#include "common/TestMain.h"
#include "data/Collation.h"

#include <QRandomGenerator>

#include <algorithm>

using namespace lnq;

namespace {
int sign(int v) {
    return v < 0 ? -1 : v > 0 ? 1 : 0;
}
int keyOrder(const QString& a, const QString& b) {
    const QByteArray ka = Collation::sortKey(a), kb = Collation::sortKey(b);
    return sign(ka.compare(kb));
}
} // namespace

class TestCollation : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // Every path (UTF-16, UTF-8, sort keys) must give the same answer.
    void order_data() {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("expected");
        QTest::newRow("trailing blanks ignored") << u"abc"_qs << u"abc   "_qs << 0;
        QTest::newRow("leading blanks count") << u" abc"_qs << u"abc"_qs << -1;
        QTest::newRow("ascii case") << u"ABC"_qs << u"abc"_qs << 0;
        QTest::newRow("full-width case") << u"ＡＢ"_qs << u"ａｂ"_qs << 0;
        QTest::newRow("width counts") << u"Ａ"_qs << u"A"_qs << 1;
        QTest::newRow("cyrillic case") << u"Жук"_qs << u"жУК"_qs << 0;
        QTest::newRow("pinyin order a<b") << u"啊"_qs << u"北京"_qs << -1;
        QTest::newRow("bao before bei") << u"保定"_qs << u"北京"_qs << -1;
        QTest::newRow("ascii before hanzi") << u"zzz"_qs << u"啊"_qs << -1;
        QTest::newRow("prefix first") << u"北京"_qs << u"北京市"_qs << -1;
        QTest::newRow("outside gbk last") << u"\U0001F600"_qs << u"齄"_qs << 1;
        QTest::newRow("empty vs blanks") << u""_qs << u"   "_qs << 0;
        QTest::newRow("digits") << u"10"_qs << u"9"_qs << -1;
    }
    void order() {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, expected);
        QCOMPARE(sign(Collation::compare(a, b)), expected);
        QCOMPARE(sign(Collation::compare(b, a)), -expected);
        const QByteArray ua = a.toUtf8(), ub = b.toUtf8();
        QCOMPARE(sign(Collation::compareUtf8(ua.constData(), ua.size(), ub.constData(), ub.size())),
                 expected);
        QCOMPARE(keyOrder(a, b), expected);
        QByteArray k8;
        Collation::appendSortKeyUtf8(ua.constData(), ua.size(), k8);
        QCOMPARE(k8, Collation::sortKey(a));
    }

    // Random mixes of the character classes: the three paths agree and the
    // order is a strict weak order (what std::sort needs).
    void pathsAgreeOnRandomText() {
        // Whole characters only: a lone surrogate has no UTF-8 form to compare with.
        const QStringList pool =
            QStringList{u"a"_qs,  u"A"_qs,  u"z"_qs,  u"Z"_qs,  u" "_qs,      u"0"_qs,
                        u"_"_qs,  u"-"_qs,  u"ａ"_qs, u"Ａ"_qs, u"啊"_qs,     u"北"_qs,
                        u"中"_qs, u"齄"_qs, u"Ж"_qs,  u"ж"_qs,  u"\u00e9"_qs, u"\U0001F600"_qs};
        QRandomGenerator rng(7);
        QStringList texts;
        for (int i = 0; i < 400; ++i) {
            QString s;
            const int n = rng.bounded(6);
            for (int k = 0; k < n; ++k)
                s += pool.at(rng.bounded(pool.size()));
            texts << s;
        }
        texts << QString::fromUtf8("\xff\xfe"); // invalid bytes become U+FFFD on both sides
        for (int i = 0; i + 1 < texts.size(); ++i) {
            const QString &a = texts[i], &b = texts[i + 1];
            const QByteArray ua = a.toUtf8(), ub = b.toUtf8();
            const int c = sign(Collation::compare(a, b));
            QCOMPARE(sign(Collation::compareUtf8(ua.constData(), ua.size(), ub.constData(), ub.size())), c);
            QCOMPARE(keyOrder(a, b), c);
        }
        std::sort(texts.begin(), texts.end(),
                  [](const QString& a, const QString& b) { return Collation::compare(a, b) < 0; });
        for (int i = 0; i + 1 < texts.size(); ++i)
            QVERIFY(Collation::compare(texts[i], texts[i + 1]) <= 0);
    }

    void invalidUtf8DoesNotReadPastTheEnd() {
        const char truncated[] = "\xE4\xB8"; // lead byte of a three-byte sequence, cut short
        QCOMPARE(Collation::compareUtf8(truncated, 2, "\xEF\xBF\xBD\xEF\xBF\xBD", 6), 0);
    }
};

LNQ_TEST_MAIN_CORE(TestCollation)
#include "tst_Collation.moc"
