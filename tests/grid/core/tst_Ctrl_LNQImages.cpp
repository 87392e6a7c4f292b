#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQImages.h"

#include <QImage>
#include <QPainter>

using namespace lnq;

class TestCtrlLNQImages : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void bitmapsByName_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QSize>("size");
        QTest::newRow("3DOT") << "3DOT" << QSize(16, 16);
        QTest::newRow("DETAIL") << "DETAIL" << QSize(12, 12);
        QTest::newRow("DROPDOWN") << "DROPDOWN" << QSize(12, 12);
        QTest::newRow("LOCK") << "LOCK" << QSize(10, 12);
        QTest::newRow("case ignored") << "detail" << QSize(12, 12);
    }
    void bitmapsByName() {
        QFETCH(QString, name);
        QFETCH(QSize, size);
        const QPixmap pm = LnqBitmap(name);
        QVERIFY(!pm.isNull());
        QCOMPARE(pm.deviceIndependentSize().toSize(), size);
    }

    void unknownNameGivesNullPixmap() {
        QVERIFY(LnqBitmap(QStringLiteral("NOSUCH")).isNull());
        QVERIFY(LnqBitmap(QString()).isNull());
    }

    void lockGlyphDrawnAtOrigin() {
        QImage img(30, 30, QImage::Format_ARGB32);
        img.fill(Qt::transparent);
        {
            QPainter p(&img);
            DrawLockGlyph(p, QPoint(10, 5));
            // The painter's own state is left as it was.
            QCOMPARE(p.pen().color(), QColor(Qt::black));
            QCOMPARE(p.brush().style(), Qt::NoBrush);
        }
        QCOMPARE(img.pixelColor(14, 10), QColor(0, 255, 255));
        QCOMPARE(img.pixelColor(10, 5), QColor(Qt::black));
        QCOMPARE(img.pixelColor(14, 16), QColor(Qt::black)); // the bottom tip (4,11)
        QCOMPARE(img.pixelColor(9, 5).alpha(), 0);
    }

    void tcolorConversion_data() {
        QTest::addColumn<quint32>("tcolor");
        QTest::addColumn<QColor>("color");
        QTest::newRow("silver 12632256") << quint32(12632256) << QColor(192, 192, 192);
        QTest::newRow("mixed") << quint32(0x123456) << QColor(0x56, 0x34, 0x12);
        QTest::newRow("lock colour") << quint32(kLockColor) << QColor(0, 255, 255);
    }
    void tcolorConversion() {
        QFETCH(quint32, tcolor);
        QFETCH(QColor, color);
        QCOMPARE(TColorToQColor(tcolor), color);
    }

    void systemColoursComeFromPalette() {
        const QPalette pal = QGuiApplication::palette();
        QCOMPARE(TColorToQColor(0x80000005u), pal.color(QPalette::Base));
        QCOMPARE(TColorToQColor(0x8000000Fu), pal.color(QPalette::Button));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQImages)
#include "tst_Ctrl_LNQImages.moc"
