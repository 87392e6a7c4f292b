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

    void threeDotsAreBlackOnTheFace() {
        const QImage img = LnqBitmap(QStringLiteral("3DOT")).toImage();
        const qreal dpr = img.devicePixelRatio();
        auto at = [&](int x, int y) { return img.pixelColor(QPoint(int(x * dpr), int(y * dpr))); };
        QCOMPARE(at(4, 9), QColor(Qt::black));
        QCOMPARE(at(7, 9), QColor(Qt::black));
        QCOMPARE(at(10, 9), QColor(Qt::black));
        QVERIFY(at(6, 9) != QColor(Qt::black));
        QCOMPARE(at(15, 15), QColor(Qt::black));
    }

    void detailGlyphHasTransparentGround() {
        const QImage img = LnqBitmap(QStringLiteral("DETAIL")).toImage();
        QCOMPARE(img.pixelColor(0, 0).alpha(), 0);
        QCOMPARE(img.pixelColor(int(2 * img.devicePixelRatio()), int(7 * img.devicePixelRatio())),
                 QColor(Qt::black));
    }

    void lockColourIsAqua() {
        QCOMPARE(TColorToQColor(kLockColor), QColor(0, 255, 255));
        const QImage img = LnqBitmap(QStringLiteral("LOCK")).toImage();
        const qreal dpr = img.devicePixelRatio();
        auto at = [&](int x, int y) { return img.pixelColor(QPoint(int(x * dpr), int(y * dpr))); };
        QCOMPARE(at(4, 5), QColor(0, 255, 255));
        QCOMPARE(at(0, 0), QColor(Qt::black));
        QCOMPARE(at(4, 1), QColor(Qt::white));
        // Outside the pentagon's lower corners.
        QCOMPARE(at(0, 11).alpha(), 0);
        QCOMPARE(at(9, 11).alpha(), 0);
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
        QTest::newRow("red") << quint32(0x0000FF) << QColor(255, 0, 0);
        QTest::newRow("blue") << quint32(0xFF0000) << QColor(0, 0, 255);
        QTest::newRow("silver 12632256") << quint32(12632256) << QColor(192, 192, 192);
        QTest::newRow("mixed") << quint32(0x123456) << QColor(0x56, 0x34, 0x12);
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
