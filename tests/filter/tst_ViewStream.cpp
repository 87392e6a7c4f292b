#include "common/PipeDevice.h"
#include "common/TestMain.h"
#include "filter/ViewStream.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QBuffer>
#include <QtEndian>
#include <cstring>

using namespace lnq;

namespace {

// Hand-built bytes of the stored layout.
struct Bytes {
    QByteArray data;
    Bytes& byte(quint8 b) {
        data.append(static_cast<char>(b));
        return *this;
    }
    Bytes& int32(qint32 v) {
        char b[4];
        qToLittleEndian<qint32>(v, b);
        data.append(b, 4);
        return *this;
    }
    Bytes& raw(const QByteArray& bytes) {
        int32(static_cast<qint32>(bytes.size()));
        data.append(bytes);
        return *this;
    }
    Bytes& text(const QString& s) { return raw(Gbk::encode(s)); }
};

QString load(const QByteArray& bytes, bool& isSQL) {
    QByteArray copy = bytes;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    buffer.seek(buffer.size()); // LoadSQLFromStream rewinds by itself
    return LoadSQLFromStream(buffer, isSQL);
}

QByteArray save(const TConditionList& list, bool matchAll) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    SaveToStream(buffer, list, matchAll);
    return buffer.data();
}

TConditionList threeConditions() {
    TConditionList list;
    list.Add(QStringLiteral("vName like '%北京%'"), QStringLiteral("客户名称"),
             QStringLiteral("客户名称 包含 北京"));
    list.Add(QStringLiteral("nCredit>= 100"), QStringLiteral("信用额度"),
             QStringLiteral("信用额度 大于等于 100"));
    list.Add(QStringLiteral("bActive=1"), QStringLiteral("启用"), QStringLiteral("启用 是 "));
    return list;
}

} // namespace

class TestViewStream : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void writesTheLayout() {
        TConditionList list;
        list.Add(QStringLiteral("a=1"), QStringLiteral("客户"), QStringLiteral("客户 是 "));
        // "客户" is BF CD BB A7 in GBK.
        Bytes expected;
        expected.byte(3).byte(0).byte(0).int32(1).raw("a=1");
        expected.raw("\xBF\xCD\xBB\xA7").raw("\xBF\xCD\xBB\xA7 \xCA\xC7 ");
        QCOMPARE(save(list, false), expected.data);
        QCOMPARE(save(TConditionList(), true), Bytes().byte(3).byte(0).byte(1).int32(0).data);
    }

    void writesRawSql() {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        SaveSQLToStream(buffer, QStringLiteral("select * from 客户"));
        QCOMPARE(buffer.data(), Bytes().byte(3).byte(1).byte(1).raw("select * from \xBF\xCD\xBB\xA7").data);
        bool isSQL = false;
        QCOMPARE(load(buffer.data(), isSQL), QStringLiteral("select * from 客户"));
        QVERIFY(isSQL);
    }

    void roundTrip_data() {
        QTest::addColumn<bool>("matchAll");
        QTest::addColumn<QString>("sql");
        QTest::newRow("match all") << true
                                   << QStringLiteral(
                                          " and (vName like '%北京%' And nCredit>= 100 And bActive=1 )");
        QTest::newRow("match one") << false
                                   << QStringLiteral(
                                          " and (vName like '%北京%' OR nCredit>= 100 OR bActive=1 )");
    }
    void roundTrip() {
        QFETCH(bool, matchAll);
        QFETCH(QString, sql);
        const TConditionList list = threeConditions();
        const QByteArray bytes = save(list, matchAll);
        bool isSQL = true;
        QCOMPARE(load(bytes, isSQL), sql);
        QVERIFY(!isSQL);

        QByteArray copy = bytes;
        QBuffer buffer(&copy);
        buffer.open(QIODevice::ReadOnly);
        const TStoredView view = ReadStoredView(buffer);
        QCOMPARE(view.Version, 3);
        QCOMPARE(view.MatchAll, matchAll);
        QCOMPARE(int(view.Conditions.size()), 3);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(view.Conditions[i].Piece, list.At(i).Piece);
            QCOMPARE(view.Conditions[i].Row.Caption, list.At(i).Row.Caption);
            QCOMPARE(view.Conditions[i].Row.Description, list.At(i).Row.Description);
        }
    }

    // Streams as older versions of the system wrote them.
    void oldVersions_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("isSQL");
        const QByteArray caption("\xBF\xCD\xBB\xA7\xC3\xFB\xB3\xC6"); // 客户名称
        QTest::newRow("version 1 joins with And")
            << Bytes().byte(1).int32(2).raw("p1").raw(caption).raw("d1").raw("p2").raw(caption).raw("d2").data
            << " and (p1 And p2 )" << false;
        QTest::newRow("version 2 list")
            << Bytes().byte(2).byte(0).int32(1).raw("p1").raw(caption).raw("d").data << " and (p1 )" << false;
        QTest::newRow("version 2 raw sql")
            << Bytes().byte(2).byte(1).raw("select 1 where \xBF\xCD\xBB\xA7='x'").data
            << "select 1 where 客户='x'" << true;
        Bytes three;
        three.byte(3).byte(0).byte(0).int32(3);
        for (const char* piece : {"p1", "p2", "p3"})
            three.raw(piece).raw("").raw("");
        QTest::newRow("version 3 match one") << three.data << " and (p1 OR p2 OR p3 )" << false;
        QTest::newRow("no conditions") << Bytes().byte(3).byte(0).byte(1).int32(0).data << " )" << false;
        QTest::newRow("negative count") << Bytes().byte(3).byte(0).byte(1).int32(-5).data << " )" << false;
        QTest::newRow("raw sql ignores match byte")
            << Bytes().byte(3).byte(1).byte(0).raw("x=1").data << "x=1" << true;
        QTest::newRow("empty raw sql") << Bytes().byte(3).byte(1).byte(1).raw("").data << "" << true;
        QTest::newRow("trailing bytes ignored")
            << Bytes().byte(3).byte(0).byte(1).int32(1).raw("p").raw("c").raw("d").byte(0xFF).data
            << " and (p )" << false;
    }
    void oldVersions() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, sql);
        QFETCH(bool, isSQL);
        bool gotIsSQL = !isSQL;
        QCOMPARE(load(bytes, gotIsSQL), sql);
        QCOMPARE(gotIsSQL, isSQL);
    }

    void gbkCaptionsFromOldStreams() {
        const QByteArray bytes =
            Bytes()
                .byte(1)
                .int32(1)
                .raw("vName like '%\xB1\xB1\xBE\xA9%'")  // 北京
                .raw("\xBF\xCD\xBB\xA7\xC3\xFB\xB3\xC6") // 客户名称
                .raw("\xBF\xCD\xBB\xA7\xC3\xFB\xB3\xC6 \xB0\xFC\xBA\xAC \xB1\xB1\xBE\xA9")
                .data;
        QByteArray copy = bytes;
        QBuffer buffer(&copy);
        buffer.open(QIODevice::ReadOnly);
        const TStoredView view = ReadStoredView(buffer);
        QCOMPARE(view.Version, 1);
        QVERIFY(!view.IsSQL);
        QVERIFY(view.MatchAll);
        QCOMPARE(view.Conditions.at(0).Piece, QStringLiteral("vName like '%北京%'"));
        QCOMPARE(view.Conditions.at(0).Row.Caption, QStringLiteral("客户名称"));
        QCOMPARE(view.Conditions.at(0).Row.Description, QStringLiteral("客户名称 包含 北京"));
    }

    void everyTruncationRaises() {
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        SaveToStream(out, threeConditions(), true);
        const QByteArray full = out.data();
        for (int n = 0; n < full.size(); ++n) {
            bool isSQL = false;
            try {
                load(full.left(n), isSQL);
                QFAIL(qPrintable(
                    QStringLiteral("a stream cut at %1 of %2 bytes loaded").arg(n).arg(full.size())));
            } catch (const EReadError& e) {
                QVERIFY2(e.Message().startsWith(QStringLiteral("视图数据")), qPrintable(e.Message()));
            }
        }
    }

    void hostileLengths_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("mentions");
        QTest::newRow("huge count") << Bytes().byte(3).byte(0).byte(1).int32(0x7FFFFFFF).raw("p").data
                                    << "条件数";
        QTest::newRow("count beyond the data")
            << Bytes().byte(3).byte(0).byte(1).int32(2).raw("pppppppppppp").raw("c").raw("d").data
            << "第 2 个条件";
        QTest::newRow("huge piece length")
            << Bytes().byte(3).byte(0).byte(1).int32(1).int32(0x7FFFFFFF).int32(0).int32(0).data
            << "SQL 片段";
        QTest::newRow("negative caption length")
            << Bytes().byte(3).byte(0).byte(1).int32(1).raw("p").int32(-1).int32(0).data << "标题";
        QTest::newRow("huge sql length")
            << Bytes().byte(3).byte(1).byte(1).int32(0x7FFFFFF0).data << "SQL 文本";
        QTest::newRow("empty stream") << QByteArray() << "版本号";
    }
    void hostileLengths() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, mentions);
        bool isSQL = false;
        try {
            load(bytes, isSQL);
            QFAIL("a damaged stream loaded");
        } catch (const EReadError& e) {
            QVERIFY2(e.Message().contains(mentions), qPrintable(e.Message()));
        }
    }

    // An empty condition is 12 bytes in the stream but far more in memory:
    // the count has a stated ceiling.
    void conditionCountLimit_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("loads");
        QTest::newRow("at the limit") << kMaxViewConditions << true;
        QTest::newRow("beyond the limit") << kMaxViewConditions + 1 << false;
        QTest::newRow("a megabyte of empty conditions") << 90'000 << false;
    }
    void conditionCountLimit() {
        QFETCH(int, count);
        QFETCH(bool, loads);
        const QByteArray bytes =
            Bytes().byte(3).byte(0).byte(1).int32(count).data + QByteArray(12 * count, '\0');
        QBuffer buffer;
        buffer.setData(bytes);
        buffer.open(QIODevice::ReadOnly);
        if (loads) {
            QCOMPARE(int(ReadStoredView(buffer).Conditions.size()), count);
            return;
        }
        try {
            ReadStoredView(buffer);
            QFAIL("too many conditions loaded");
        } catch (const EReadError& e) {
            QVERIFY2(e.Message().contains(QStringLiteral("上限")), qPrintable(e.Message()));
        }
    }

    // A sequential device (a pipe) tells nothing of what is still to come:
    // it reads like a buffer, whole or cut short.
    void sequentialDevice_data() {
        QTest::addColumn<int>("cut");
        QTest::newRow("whole") << 0;
        QTest::newRow("cut short") << 5;
    }
    void sequentialDevice() {
        QFETCH(int, cut);
        TConditionList list;
        list.Add(QStringLiteral("vName like '%北京%'"), QStringLiteral("客户名称"),
                 QStringLiteral("客户名称 包含 北京"));
        list.Add(QStringLiteral("nQty > 5"), QStringLiteral("数量"), QStringLiteral("数量 大于 5"));
        const QByteArray full = save(list, false);
        // A pipe: no size, the bytes arrive a few at a time, and
        // bytesAvailable() never tells how much is still to come.
        lnqtest::PipeDevice pipe(full.left(full.size() - cut), {.piece = 3, .unbuffered = true});
        if (cut) {
            QVERIFY_THROWS_EXCEPTION(EReadError, ReadStoredView(pipe));
            return;
        }
        const TStoredView view = ReadStoredView(pipe);
        QCOMPARE(view.ResultSQL(), QStringLiteral(" and (vName like '%北京%' OR nQty > 5 )"));
        QCOMPARE(view.Conditions.at(1).Row.Caption, QStringLiteral("数量"));
    }

    void unreadableDeviceRaises() {
        QBuffer buffer;
        bool isSQL = false;
        QVERIFY_THROWS_EXCEPTION(EReadError, LoadSQLFromStream(buffer, isSQL));
    }
};

LNQ_TEST_MAIN_CORE(TestViewStream)
#include "tst_ViewStream.moc"
