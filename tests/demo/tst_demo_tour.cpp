// The demo client's tour as a smoke test: lnq-demo --tour DIR opens and uses
// every screen and must leave a real picture of each.

#include "common/TestMain.h"

#include <QColor>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>

class tst_demo_tour : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void tourCapturesEveryScreen() {
        QTemporaryDir dir;
        QProcess p;
        p.setProcessChannelMode(QProcess::SeparateChannels);
        p.start(QStringLiteral(LNQ_DEMO_PATH),
                {QStringLiteral("--tour"), dir.path(), QStringLiteral("--settings"), dir.filePath("t.ini")});
        QVERIFY(p.waitForFinished(240000));
        const QString out = QString::fromUtf8(p.readAllStandardOutput());
        const QString err = QString::fromUtf8(p.readAllStandardError());
        QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0, qPrintable(err + out));

        QStringList pngs;
        for (const QString& line : out.split(QLatin1Char('\n')))
            if (line.endsWith(QLatin1String(".png"))) pngs << line.trimmed();
        for (const char* name : {"sign-in", "customers", "quick-filter", "agent", "supplier", "product",
                                 "service", "program", "systemuser", "sales-orders", "record-editor",
                                 "lookup-edit", "search-dialog", "order-entry", "backup"}) {
            const QString file =
                dir.filePath(QStringLiteral("demo-") + QLatin1String(name) + QStringLiteral(".png"));
            QVERIFY2(pngs.contains(file), qPrintable(file));
            const QImage image(file);
            QVERIFY2(!image.isNull() && image.width() >= 200 && image.height() >= 100, qPrintable(file));
            // A real screen has text and lines: many colours, not a blank fill.
            QSet<QRgb> colours;
            for (int y = 0; y < image.height() && colours.size() < 16; y += 3)
                for (int x = 0; x < image.width() && colours.size() < 16; x += 3)
                    colours.insert(image.pixel(x, y));
            QVERIFY2(colours.size() >= 16, qPrintable(file));
        }
    }
};

LNQ_TEST_MAIN_CORE(tst_demo_tour)
#include "tst_demo_tour.moc"
