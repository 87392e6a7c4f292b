#include "common/PipeDevice.h"
#include "common/TestMain.h"
#include "util/Exceptions.h"
#include "util/Plat_streams.h"

#include <QBuffer>
#include <QtEndian>

using lnq::TUtils_Streams;

namespace {

using lnqtest::PipeDevice;

// A filled pipe: sequential, everything available at once.
lnqtest::PipeOptions filled(qint64 writeLimit = -1) {
    lnqtest::PipeOptions o;
    o.reportsAvailable = true;
    o.writeLimit = writeLimit;
    return o;
}

QByteArray le32(qint32 v) {
    QByteArray b(4, '\0');
    qToLittleEndian<qint32>(v, b.data());
    return b;
}

QByteArray written(const std::function<void(QIODevice&)>& fn) {
    QBuffer buf;
    buf.open(QIODevice::WriteOnly);
    fn(buf);
    return buf.data();
}

} // namespace

class TestPlatStreams : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void textLayout_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty is four zero bytes") << QString() << QByteArray(4, '\0');
        QTest::newRow("gbk") << QStringLiteral("零元整") << le32(6) + QByteArray("\xC1\xE3\xD4\xAA\xD5\xFB");
        QTest::newRow("length is little-endian") << QString(258, u'x') << le32(258) + QByteArray(258, 'x');
    }
    void textLayout() {
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        QCOMPARE(written([&](QIODevice& d) { TUtils_Streams::SaveStringToStream(d, text); }), bytes);
        QBuffer buf(&bytes);
        buf.open(QIODevice::ReadOnly);
        QString back = QStringLiteral("old");
        TUtils_Streams::LoadStringFromStream(buf, back);
        QCOMPARE(back, text);
        QVERIFY(buf.atEnd());
    }

    void rawBytesUntouched() {
        // A lone 0xC0 (the pinyin placeholder) is not GBK but survives the byte API.
        const QByteArray raw("AB\xC0");
        QByteArray data = written([&](QIODevice& d) { TUtils_Streams::SaveStringToStream(d, raw); });
        QCOMPARE(data, le32(3) + raw);
        QBuffer buf(&data);
        buf.open(QIODevice::ReadOnly);
        QByteArray back;
        TUtils_Streams::LoadStringFromStream(buf, back);
        QCOMPARE(back, raw);
        buf.seek(0);
        QString text;
        TUtils_Streams::LoadStringFromStream(buf, text);
        QCOMPARE(text, QStringLiteral("AB\uFFFD"));
    }

    void corruptRecords_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArray>("expected");
        QTest::addColumn<qint64>("posAfter");
        QTest::newRow("short text") << le32(10) + "abc" << QByteArray("abc") << qint64(7);
        QTest::newRow("huge length on short stream")
            << le32(0x7FFFFFFF) + "hello" << QByteArray("hello") << qint64(9);
        QTest::newRow("negative length reads nothing") << le32(-5) + "abc" << QByteArray() << qint64(4);
        QTest::newRow("min length") << le32(std::numeric_limits<qint32>::min()) + "x" << QByteArray()
                                    << qint64(4);
        QTest::newRow("truncated length field") << QByteArray("\x05\0", 2) << QByteArray() << qint64(2);
        QTest::newRow("empty stream") << QByteArray() << QByteArray() << qint64(0);
    }
    void corruptRecords() {
        QFETCH(QByteArray, data);
        QFETCH(QByteArray, expected);
        QFETCH(qint64, posAfter);
        QBuffer buf(&data);
        buf.open(QIODevice::ReadOnly);
        QByteArray back("previous");
        TUtils_Streams::LoadStringFromStream(buf, back);
        QCOMPARE(back, expected);
        QVERIFY2(back.capacity() < (1 << 20), "allocation followed the length field");
        QCOMPARE(buf.pos(), posAfter);

        // Peek reads the same and goes back to where the length field started.
        buf.seek(0);
        QByteArray peeked;
        TUtils_Streams::PeekStringFromStream(buf, peeked);
        QCOMPARE(peeked, expected);
        QCOMPARE(buf.pos(), qint64(0));
    }

    void peekThenLoad() {
        QByteArray data = written([](QIODevice& d) {
            TUtils_Streams::SaveStringToStream(d, QStringLiteral("首"));
            TUtils_Streams::SaveStringToStream(d, QStringLiteral("次"));
        });
        QBuffer buf(&data);
        buf.open(QIODevice::ReadOnly);
        QString a, b, c;
        TUtils_Streams::LoadStringFromStream(buf, a);
        TUtils_Streams::PeekStringFromStream(buf, b);
        QCOMPARE(buf.pos(), qint64(6));
        TUtils_Streams::LoadStringFromStream(buf, c);
        QCOMPARE(a, QStringLiteral("首"));
        QCOMPARE(b, QStringLiteral("次"));
        QCOMPARE(c, b);
        QCOMPARE(buf.pos(), qint64(data.size()));
    }

    void peekOnSequentialDevice() {
        PipeDevice pipe(le32(2) + "hi" + le32(1) + "z", filled());
        QString a, b, c;
        TUtils_Streams::PeekStringFromStream(pipe, a);
        TUtils_Streams::LoadStringFromStream(pipe, b);
        TUtils_Streams::LoadStringFromStream(pipe, c);
        QCOMPARE(a, QStringLiteral("hi"));
        QCOMPARE(b, QStringLiteral("hi"));
        QCOMPARE(c, QStringLiteral("z"));

        PipeDevice busy(le32(1) + "q", filled());
        busy.startTransaction();
        QVERIFY_THROWS_EXCEPTION(lnq::EReadError, TUtils_Streams::PeekStringFromStream(busy, a));
    }

    void listRoundTrip() {
        const QStringList three{QStringLiteral("甲"), QString(), QStringLiteral("丙 c")};
        QByteArray data = written([&](QIODevice& d) { TUtils_Streams::SaveStringsToStream(d, three); });
        QCOMPARE(data.left(4), le32(3));
        QCOMPARE(data.size(), 4 + (4 + 2) + 4 + (4 + 4));
        QBuffer buf(&data);
        buf.open(QIODevice::ReadOnly);
        QStringList five{"1", "2", "3", "4", "5"};
        TUtils_Streams::LoadStringsFromStream(buf, five);
        QCOMPARE(five, three);
        QVERIFY(buf.atEnd());
    }

    void corruptLists_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArrayList>("expected");
        QTest::newRow("zero count") << le32(0) + le32(1) + "a" << QByteArrayList{};
        QTest::newRow("negative count") << le32(-3) + le32(1) + "a" << QByteArrayList{};
        QTest::newRow("count beyond records")
            << le32(0x7FFFFFFF) + le32(1) + "a" + le32(2) + "bc" << QByteArrayList{"a", "bc"};
        QTest::newRow("last text short")
            << le32(2) + le32(1) + "a" + le32(9) + "bc" << QByteArrayList{"a", "bc"};
        QTest::newRow("truncated count") << QByteArray("\x02", 1) << QByteArrayList{};
    }
    void corruptLists() {
        QFETCH(QByteArray, data);
        QFETCH(QByteArrayList, expected);
        QBuffer buf(&data);
        buf.open(QIODevice::ReadOnly);
        QByteArrayList list{"stale"};
        TUtils_Streams::LoadStringsFromStream(buf, list);
        QCOMPARE(list, expected);
    }

    void writeFailures() {
        QByteArray data;
        QBuffer readOnly(&data);
        readOnly.open(QIODevice::ReadOnly);
        QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QBuffer): ReadOnly device");
        QVERIFY_THROWS_EXCEPTION(lnq::EInOutError,
                                 TUtils_Streams::SaveStringToStream(readOnly, QStringLiteral("x")));

        // The length goes through, the text does not.
        PipeDevice full(QByteArray(), filled(6));
        QVERIFY_THROWS_EXCEPTION(lnq::EInOutError,
                                 TUtils_Streams::SaveStringToStream(full, QStringLiteral("abcdef")));
        QCOMPARE(full.written.left(4), le32(6));

        PipeDevice fullList(QByteArray(), filled(10));
        QVERIFY_THROWS_EXCEPTION(lnq::EInOutError,
                                 TUtils_Streams::SaveStringsToStream(fullList, QStringList{"ab", "cd"}));
    }
};

LNQ_TEST_MAIN_CORE(TestPlatStreams)
#include "tst_Plat_streams.moc"
