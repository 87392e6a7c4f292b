// lnq layout decode, end to end through the real executable.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "grid/data/LayoutFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace lnq;

class tst_lnq_layout : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void decodesLayout() {
        const QString file = m_dir.filePath(QStringLiteral("a.FMT"));
        SaveLayoutFile(file, {{QStringLiteral("vCode"), 80, QStringLiteral("客户编码")},
                              {QStringLiteral("vName"), 0, QStringLiteral("名称\"引号")}});
        const auto r = lnqtest::runTool({QStringLiteral("layout"), QStringLiteral("decode"), file});
        QCOMPARE(r.exitCode, 0);
        const QJsonArray a = QJsonDocument::fromJson(r.out.toUtf8()).array();
        QCOMPARE(a.size(), 2);
        QCOMPARE(a[0].toObject(), (QJsonObject{{"field", "vCode"}, {"width", 80}, {"title", "客户编码"}}));
        QCOMPARE(a[1].toObject(), (QJsonObject{{"field", "vName"}, {"width", 0}, {"title", "名称\"引号"}}));
    }

    void failsClearly_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        QTest::newRow("truncated") << QByteArray("\x02\x00\x00\x00\x05\x00\x00\x00vCo", 11) << "流读取错误";
        QTest::newRow("huge count") << QByteArray("\xff\xff\xff\x7f", 4) << "流读取错误";
    }
    void failsClearly() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString file = m_dir.filePath(QStringLiteral("bad.FMT"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
        f.close();
        const auto r = lnqtest::runTool({QStringLiteral("layout"), QStringLiteral("decode"), file});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(message) && r.err.contains(file), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
        const auto missing = lnqtest::runTool(
            {QStringLiteral("layout"), QStringLiteral("decode"), m_dir.filePath(QStringLiteral("none.FMT"))});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(missing.err.contains(QStringLiteral("无法打开文件")));
    }
};

LNQ_TEST_MAIN_CORE(tst_lnq_layout)
#include "tst_lnq_layout.moc"
