#pragma once
// Test main for every QtTest program of the project: pins the zh_CN locale and
// the Asia/Shanghai time zone, runs widgets headless, checks the GBK codec,
// and makes an application object of the kind the test needs.

#include "util/Gbk.h"
#include "util/Plat_appfont_ui.h"

#include <QApplication>
#include <QCoreApplication>
#include <QLocale>
#include <QTest>
#include <QTimeZone>
#include <cstdlib>

namespace lnqtest {
void pinEnvironment(); // locale, time zone, platform
// Application font with Simplified Chinese glyphs; only widget tests call it.
inline void useChineseFont() {
    lnq::UseChineseApplicationFont(9);
}
// One data row of two text columns, the texts given in UTF-8.
inline void textRow(const char* name, const char* first, const char* second) {
    QTest::newRow(name) << QString::fromUtf8(first) << QString::fromUtf8(second);
}
} // namespace lnqtest

#define LNQ_TEST_MAIN_IMPL(TestObject, AppType, Extra)                                                       \
    int main(int argc, char** argv) {                                                                        \
        lnqtest::pinEnvironment();                                                                           \
        AppType app(argc, argv);                                                                             \
        Extra;                                                                                               \
        lnq::Gbk::ensureAvailable();                                                                         \
        TestObject tc;                                                                                       \
        QTEST_SET_MAIN_SOURCE_PATH                                                                           \
        return QTest::qExec(&tc, argc, argv);                                                                \
    }

// Non-visual units.
#define LNQ_TEST_MAIN_CORE(TestObject) LNQ_TEST_MAIN_IMPL(TestObject, QCoreApplication, (void)0)
// Widget units (offscreen unless the caller's environment says otherwise).
#define LNQ_TEST_MAIN_WIDGETS(TestObject)                                                                    \
    LNQ_TEST_MAIN_IMPL(TestObject, QApplication, lnqtest::useChineseFont())
