#include "common/TestMain.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <ctime>

namespace lnqtest {

void pinEnvironment() {
    qputenv("TZ", "Asia/Shanghai");
    tzset();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
}

void useChineseFont() {
    // A generic sans-serif picks Japanese glyph shapes for Han characters here.
    QFont f(QStringLiteral("Noto Sans CJK SC"));
    f.setPointSize(9);
    QApplication::setFont(f);
}

} // namespace lnqtest
