// Text and byte cells kept in one buffer per column: the cells stay apart
// through edits, the buffer stays bounded, and text sorts and locates as the
// collation orders it.

#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "data/RecordStore.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <QStringEncoder>

using namespace lnq;

namespace {

using lnqtest::fieldDef;

// ID, Name (text, null where the name is nullptr), Grp.
void loadNames(TDataSet& ds, const std::vector<const char*>& names, const std::vector<int>& groups = {}) {
    TRecordSetBuilder& b = ds.BeginLoad({fieldDef(u"ID"_qs, TFieldType::ftInteger),
                                         fieldDef(u"Name"_qs, TFieldType::ftWideString, 40),
                                         fieldDef(u"Grp"_qs, TFieldType::ftInteger)});
    for (size_t i = 0; i < names.size(); ++i) {
        b.SetInteger(0, qint64(i) + 1);
        if (names[i]) b.SetText(1, QString::fromUtf8(names[i]));
        b.SetInteger(2, i < groups.size() ? groups[i] : 0);
        b.EndRow();
    }
    ds.EndLoad();
}

QList<int> ids(TDataSet& ds) {
    QList<int> out;
    for (ds.First(); !ds.Eof(); ds.Next())
        out << ds.FieldByName(u"ID"_qs).AsInteger();
    return out;
}

} // namespace

class TestTextCells : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // The buffer under a sequence of appends and replacements: every cell
    // reads back what was last put there.
    void cellBufferKeepsCellsApart() {
        TCellBuffer b;
        std::vector<QByteArray> model;
        quint32 x = 12345;
        auto rnd = [&x] { return x = x * 1103515245u + 12345u, (x >> 8) % 1000; };
        for (int i = 0; i < 300; ++i) {
            const QByteArray v(int(rnd() % 40), char('a' + i % 26));
            b.append(v);
            model.push_back(v);
        }
        for (int round = 0; round < 200; ++round) {
            const auto r = qint64(rnd() % model.size());
            const QByteArray v =
                round % 7 == 0 ? QByteArray() : QByteArray(int(rnd() % 300), char('0' + round % 10));
            b.set(r, v);
            model[size_t(r)] = v;
            if (round % 50 == 0) { // a cell set from itself, and from another cell
                b.set(r, b.view(r));
                b.set((r + 1) % qint64(model.size()), b.view(r));
                model[size_t((r + 1) % qint64(model.size()))] = model[size_t(r)];
            }
        }
        b.popBack();
        model.pop_back();
        QCOMPARE(b.size(), qint64(model.size()));
        for (size_t i = 0; i < model.size(); ++i)
            QCOMPARE(b.view(qint64(i)).toByteArray(), model[i]);
    }

    // Text given as UTF-16 is kept as its UTF-8 bytes (an unpaired surrogate
    // as U+FFFD).
    void textKeptAsUtf8() {
        TCellBuffer b;
        QStringList texts{u"abc"_qs,
                          u"北京"_qs,
                          QString::fromUtf16(u"\U0001F600x"),
                          QString(QChar(0xD800)) + QLatin1Char('a'),
                          QString(),
                          QString(5000, QChar(u'长'))};
        for (const QString& t : texts)
            b.appendText(t);
        b.setText(1, u"上海浦东");
        texts[1] = u"上海浦东"_qs;
        for (int i = 0; i < texts.size(); ++i)
            QCOMPARE(b.view(i).toByteArray(),
                     QByteArray(QStringEncoder(QStringEncoder::Utf8).encode(texts[i])));
        QCOMPARE(b.view(3).toByteArray(), QByteArray("\xef\xbf\xbd"
                                                     "a"));
    }

    // Rewriting every cell again and again packs the buffer: it stays within
    // twice the live bytes plus the packing threshold.
    void rewritesStayBounded() {
        TCellBuffer b;
        for (int i = 0; i < 2000; ++i)
            b.append(QByteArray(100, 'x'));
        for (int round = 0; round < 50; ++round)
            for (qint64 r = 0; r < b.size(); ++r)
                b.set(r, QByteArray(100 + round % 3, char('a' + round % 26)));
        QVERIFY2(b.bufferBytes() <= 2 * 2000 * 102 + 65536 + 200,
                 qPrintable(QString::number(b.bufferBytes())));
        QCOMPARE(b.view(1999).toByteArray(), QByteArray(101, char('a' + 49 % 26)));
    }

    // A cell too long for the length bits of its span.
    void longCell() {
        TCellBuffer b;
        b.append("before");
        const QByteArray big(qsizetype(TCellBuffer::kLongLength) + 5, 'L');
        b.append(big);
        b.append("after");
        QCOMPARE(b.view(1).size(), big.size());
        QVERIFY(b.view(1) == QByteArrayView(big));
        QCOMPARE(b.view(2).toByteArray(), QByteArray("after"));
        b.set(1, "short");
        QCOMPARE(b.view(1).toByteArray(), QByteArray("short"));
        QCOMPARE(b.view(0).toByteArray(), QByteArray("before"));
    }

    // Sorting text: case-insensitive sorts follow the collation (nulls first,
    // then by folded character, Chinese by pinyin, trailing blanks not
    // counted, ties in record order); a case-sensitive index compares code
    // points.
    void sortOrder_data() {
        QTest::addColumn<QString>("sort");
        QTest::addColumn<QList<int>>("order");
        // 1 北京, 2 abc, 3 null, 4 中国, 5 ABD, 6 阿里, 7 "", 8 "abc ", 9 Ｚ全角, 10 广州, 11 上海
        QTest::newRow("ascending") << "Name" << QList<int>{3, 7, 2, 8, 5, 9, 6, 1, 10, 11, 4};
        QTest::newRow("descending") << "Name DESC" << QList<int>{4, 11, 10, 1, 6, 9, 5, 2, 8, 7, 3};
        QTest::newRow("group then name") << "Grp, Name" << QList<int>{7, 5, 9, 1, 11, 3, 2, 8, 6, 10, 4};
    }
    void sortOrder() {
        QFETCH(QString, sort);
        QFETCH(QList<int>, order);
        TADODataSet ds;
        loadNames(ds, {"北京", "abc", nullptr, "中国", "ABD", "阿里", "", "abc ", "Ｚ全角", "广州", "上海"},
                  {0, 1, 1, 1, 0, 1, 0, 1, 0, 1, 0});
        ds.SetSort(sort);
        QCOMPARE(ids(ds), order);
    }
    void caseSensitiveIndexComparesCodePoints() {
        TClientDataSet ds;
        loadNames(ds, {"b", "B", "阿", "a", "A"});
        ds.SetIndexFieldNames(u"Name"_qs);
        QCOMPARE(ids(ds), (QList<int>{5, 2, 4, 1, 3}));
    }

    // Locate: case-sensitive keys match the stored text exactly; with
    // loCaseInsensitive the collation decides (case beyond ASCII, trailing
    // blanks), a partial key matching the start of the text.
    void locate_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("options");
        QTest::addColumn<int>("found"); // 0: none
        const int ci = int(TLocateOption::loCaseInsensitive), partial = int(TLocateOption::loPartialKey);
        QTest::newRow("exact") << "ａｂｃ" << 0 << 2;
        QTest::newRow("full-width case differs") << "ＡＢＣ" << 0 << 0;
        QTest::newRow("full-width case, ci") << "ＡＢＣ" << ci << 2;
        QTest::newRow("width counts") << "ABC" << ci << 0;
        QTest::newRow("trailing blanks exact") << "carol" << 0 << 0;
        QTest::newRow("trailing blanks ci") << "CAROL" << ci << 4;
        QTest::newRow("partial") << "北" << partial << 1;
        QTest::newRow("partial ci") << "ＡＢ" << (ci | partial) << 2;
        QTest::newRow("partial ci not inside") << "京" << (ci | partial) << 0;
        QTest::newRow("partial ci past the end") << "carol  x" << (ci | partial) << 0;
    }
    void locate() {
        QFETCH(QString, key);
        QFETCH(int, options);
        QFETCH(int, found);
        TClientDataSet ds;
        loadNames(ds, {"北京", "ａｂｃ", "ΑΒΓ", "carol  "});
        ds.Last();
        QCOMPARE(ds.Locate(u"Name"_qs, key, TLocateOptions(options)), found != 0);
        QCOMPARE(ds.FieldByName(u"ID"_qs).AsInteger(), found ? found : 4);
    }

    void utf8Validity_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("valid");
        QTest::newRow("ascii, long") << QByteArray("KH00000001 and more ascii") << true;
        QTest::newRow("chinese") << QByteArray("\xe5\x8c\x97\xe4\xba\xac") << true;
        QTest::newRow("two and four bytes") << QByteArray("\xc3\xa9\xf0\x9f\x98\x80") << true;
        QTest::newRow("truncated three") << QByteArray("ab\xe5\x8c") << false;
        QTest::newRow("bad continuation") << QByteArray("\xe5\x41\x97") << false;
        QTest::newRow("overlong three") << QByteArray("\xe0\x80\xaf") << false;
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << false;
        QTest::newRow("overlong two") << QByteArray("\xc0\xaf") << false;
        QTest::newRow("beyond U+10FFFF") << QByteArray("\xf4\x90\x80\x80") << false;
        QTest::newRow("lone continuation") << QByteArray("12345678\x80") << false;
    }
    void utf8Validity() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, valid);
        QCOMPARE(isValidUtf8(bytes), valid);
    }

    // Bytes a driver hands over that are not UTF-8 read as U+FFFD, in the
    // text and in what compares with it.
    void invalidUtf8ReadsAsReplacement() {
        TClientDataSet ds;
        TRecordSetBuilder& b = ds.BeginLoad({fieldDef(u"Name"_qs, TFieldType::ftString, 20)});
        b.SetTextUtf8(0,
                      "a\xff"
                      "b",
                      3);
        b.EndRow();
        b.SetTextUtf8(0, "\xe5\x8c\x97", 3); // 北
        b.EndRow();
        ds.EndLoad();
        QCOMPARE(ds.FieldByName(u"Name"_qs).AsString(), u"a\uFFFDb"_qs);
        QVERIFY(ds.Locate(u"Name"_qs, u"a\uFFFDb"_qs));
    }

    // Edits, inserts and deletes through one dataset show in its clone; the
    // record-set file carries the edited cells.
    void editsSharedAndSaved() {
        TADODataSet a;
        loadNames(a, {"甲", "乙", nullptr, "丁"});
        TADODataSet clone;
        clone.Clone(a);
        a.Locate(u"ID"_qs, 2);
        a.Edit();
        const QString longer = QString(300, QChar(u'长'));
        a.FieldByName(u"Name"_qs).SetAsString(longer);
        a.Post();
        a.Locate(u"ID"_qs, 1);
        a.Edit();
        a.FieldByName(u"Name"_qs).Clear();
        a.Post();
        a.Append();
        a.FieldByName(u"ID"_qs).SetAsInteger(5);
        a.FieldByName(u"Name"_qs).SetAsString(QString());
        a.Post();
        a.Locate(u"ID"_qs, 4);
        a.Delete();
        QVERIFY(clone.Locate(u"ID"_qs, 2));
        QCOMPARE(clone.FieldByName(u"Name"_qs).AsString(), longer);
        QCOMPARE(clone.RecordCount(), 4);
        QBuffer file;
        file.open(QIODevice::ReadWrite);
        a.SaveToStream(file);
        file.seek(0);
        TClientDataSet back;
        back.LoadFromStream(file);
        QCOMPARE(ids(back), (QList<int>{1, 2, 3, 5}));
        QStringList texts;
        QList<bool> nulls;
        for (back.First(); !back.Eof(); back.Next()) {
            texts << back.FieldByName(u"Name"_qs).AsString();
            nulls << back.FieldByName(u"Name"_qs).IsNull();
        }
        QCOMPARE(texts, (QStringList{QString(), longer, QString(), QString()}));
        QCOMPARE(nulls, (QList<bool>{true, false, true, false}));
    }
};

LNQ_TEST_MAIN_CORE(TestTextCells)
#include "tst_TextCells.moc"
