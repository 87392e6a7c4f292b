#include "util/Clock.h"

#include <QByteArray>
#include <atomic>
#include <mutex>

namespace lnq::Clock {

namespace {

struct State {
    std::mutex mutex;
    bool loaded = false;
    std::optional<QDateTime> fixed;
    std::atomic<TNowFunction> host{nullptr};
};

State& state() {
    static State s;
    return s;
}

std::optional<QDateTime> parseEnvironment() {
    const QByteArray raw = qgetenv("LNQ_NOW");
    if (raw.isEmpty()) return std::nullopt;
    QDateTime t =
        QDateTime::fromString(QString::fromLatin1(raw.trimmed()), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!t.isValid()) {
        // A date alone is accepted too, as midnight.
        const QDate d = QDate::fromString(QString::fromLatin1(raw.trimmed()), QStringLiteral("yyyy-MM-dd"));
        if (d.isValid()) t = QDateTime(d, QTime(0, 0));
    }
    if (!t.isValid()) {
        qWarning("LNQ_NOW=\"%s\" is not \"yyyy-MM-dd HH:mm:ss\"; using the system clock", raw.constData());
        return std::nullopt;
    }
    return t;
}

} // namespace

QDateTime now() {
    State& s = state();
    if (const TNowFunction host = s.host.load(); host && host != &now) return host();
    std::lock_guard lock(s.mutex);
    if (!s.loaded) {
        s.fixed = parseEnvironment();
        s.loaded = true;
    }
    return s.fixed ? *s.fixed : QDateTime::currentDateTime();
}

QDate today() {
    return now().date();
}

void setFixedNow(std::optional<QDateTime> moment) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.loaded = true;
    s.fixed = moment ? std::optional<QDateTime>(moment->toLocalTime()) : parseEnvironment();
}

void reloadEnvironment() {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.fixed = parseEnvironment();
    s.loaded = true;
}

void followClock(TNowFunction hostNow) {
    state().host.store(hostNow);
}

} // namespace lnq::Clock
