#include "common/TestMain.h"
#include "util/Plat_appfont_ui.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>

class TestAppFont : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // The test machines install fonts-noto-cjk: the Simplified Chinese face must
    // win and really be the one Qt resolves, so Han text gets SC glyph shapes.
    void picksTheSimplifiedChineseFace() {
        QVERIFY2(QFontDatabase::families().contains(QStringLiteral("Noto Sans CJK SC")),
                 "fonts-noto-cjk is not installed (scripts/bootstrap.sh installs it)");
        QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 12));
        QCOMPARE(lnq::UseChineseApplicationFont(11), QStringLiteral("Noto Sans CJK SC"));
        QCOMPARE(QApplication::font().pointSize(), 11);
        QCOMPARE(QFontInfo(QApplication::font()).family(), QStringLiteral("Noto Sans CJK SC"));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestAppFont)
#include "tst_Plat_appfont_ui.moc"
