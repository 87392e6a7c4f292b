#include "common/TestMain.h"

#include <QApplication>
#include <ctime>

namespace lnqtest {

void pinEnvironment() {
    qputenv("TZ", "Asia/Shanghai");
    tzset();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
}

} // namespace lnqtest
