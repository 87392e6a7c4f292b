#include "common/TestMain.h"
#include "util/Gbk.h"

class TestGbk : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void encodeKnownBytes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("ascii") << QStringLiteral("AbC-12") << QByteArray("AbC-12");
        QTest::newRow("empty") << QString() << QByteArray();
        QTest::newRow("hanzi") << QStringLiteral("零元整") << QByteArray("\xC1\xE3\xD4\xAA\xD5\xFB");
        QTest::newRow("full-width comma") << QStringLiteral("，") << QByteArray("\xA3\xAC");
        QTest::newRow("bel separator kept") << QStringLiteral("a\ab") << QByteArray("a\ab");
    }
    void encodeKnownBytes() {
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        lnq::Gbk::Error err;
        QCOMPARE(lnq::Gbk::encode(text, &err), bytes);
        QVERIFY(err.ok());
        QCOMPARE(lnq::Gbk::decode(bytes, &err), text);
        QVERIFY(err.ok());
        QCOMPARE(lnq::Gbk::byteLength(text), bytes.size());
    }

    void reportsInvalidInput_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("position");
        QTest::newRow("lone lead byte at end") << QByteArray("ab\xB0") << 2;
        QTest::newRow("bad trail byte") << QByteArray("x\x81\x7F"
                                                      "y")
                                        << 1;
        QTest::newRow("lead byte then ascii") << QByteArray("\xC1\xE3\xB0 a") << 2;
    }
    void reportsInvalidInput() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, position);
        lnq::Gbk::Error err;
        const QString s = lnq::Gbk::decode(bytes, &err);
        QVERIFY(!err.ok());
        QCOMPARE(err.position, position);
        QVERIFY(s.contains(QChar(0xFFFD)));
    }

    void unencodableCharacterIsReported() {
        lnq::Gbk::Error err;
        const QByteArray b = lnq::Gbk::encode(QStringLiteral("a\U0001F600b"), &err);
        QVERIFY(!err.ok());
        QCOMPARE(err.position, 1);
        QVERIFY(b.startsWith('a') && b.endsWith('b'));
    }
};

LNQ_TEST_MAIN_CORE(TestGbk)
#include "tst_Gbk.moc"
