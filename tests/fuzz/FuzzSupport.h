#pragma once
// Shared set-up of the fuzz targets: the environment the tests pin (zh_CN,
// Asia/Shanghai, headless widgets), one application object for the whole
// run, and a hard stop for a broken property.

#include "common/PipeDevice.h"
#include "util/Gbk.h"

#include <QApplication>
#include <QByteArray>
#include <QCoreApplication>
#include <QIODevice>
#include <QLocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace lnqfuzz {

// An object that lives until the process ends and is never destroyed: the
// application object and the widgets of a fuzz run would otherwise be torn
// down by static destructors after the toolkit's own statics are gone.
template <typename T> class Immortal {
public:
    template <typename... Args> explicit Immortal(Args&&... args) {
        new (m_storage) T(std::forward<Args>(args)...);
    }
    T& get() { return *std::launder(reinterpret_cast<T*>(m_storage)); }

private:
    alignas(T) unsigned char m_storage[sizeof(T)];
};

// Creates the application object once (a QApplication when widgets are
// needed). Later calls do nothing.
inline void init(bool widgets = false) {
    static bool done = false;
    if (done) return;
    done = true;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("TZ", "Asia/Shanghai");
    qputenv("QT_LOGGING_RULES", "qt.qpa.*=false");
    qputenv("LNQ_NOW", "2024-06-15 10:30:00");
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr) {
        if (widgets) {
            static Immortal<QApplication> app(argc, argv);
        } else {
            static Immortal<QCoreApplication> app(argc, argv);
        }
    }
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
    lnq::Gbk::ensureAvailable();
    // Warnings of the units under test would flood the fuzzer's output.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& msg) {
        if (type == QtFatalMsg) {
            std::fprintf(stderr, "fatal: %s\n", qPrintable(msg));
            std::abort();
        }
    });
}

// A property of the unit that must hold for every input: a failure stops the
// run so that the fuzzer keeps the input.
#define LNQ_FUZZ_CHECK(cond, what)                                                                           \
    do {                                                                                                     \
        if (!(cond)) {                                                                                       \
            std::fprintf(stderr, "property failed: %s (%s)\n", what, #cond);                                 \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (0)

// A sequential device over fixed bytes that hands them out in pieces of at
// most `piece` bytes, as a pipe does: no size, no seeking.
inline lnqtest::PipeOptions pipePieces(qint64 piece) {
    lnqtest::PipeOptions o;
    o.piece = piece > 0 ? piece : 1;
    o.reportsAvailable = true;
    return o;
}

// Defines LLVMFuzzerInitialize for a target: the application object, then
// one run on `warmUp`, so that what the libraries set up once and keep (font
// caches, codec tables, the target's fixtures) is not taken for a leak of
// the first input.
#define LNQ_FUZZ_INITIALIZE(widgets, warmUp)                                                                 \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);                                 \
    extern "C" int LLVMFuzzerInitialize(int*, char***) {                                                     \
        lnqfuzz::init(widgets);                                                                              \
        const QByteArray sample(warmUp, sizeof(warmUp) - 1);                                                 \
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(sample.constData()), size_t(sample.size())); \
        return 0;                                                                                            \
    }

inline QByteArray bytes(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

} // namespace lnqfuzz
