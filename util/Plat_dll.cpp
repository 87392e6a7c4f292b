#include "util/Plat_dll.h"

#include <QHash>
#include <mutex>

namespace lnq {

namespace {

// One loaded QLibrary per file name, shared by every TInstallDll that asked
// for it and unloaded with the last reference. The lock is recursive because
// a library that fails to load is released while it is held.
std::recursive_mutex& registryMutex() {
    static std::recursive_mutex m;
    return m;
}

QHash<QString, std::weak_ptr<QLibrary>>& registry() {
    static QHash<QString, std::weak_ptr<QLibrary>> r;
    return r;
}

std::shared_ptr<QLibrary> acquire(const QString& file, QString& error) {
    std::lock_guard lock(registryMutex());
    auto& libs = registry();
    if (auto existing = libs.value(file).lock()) return existing;
    libs.remove(file); // an expired entry
    std::shared_ptr<QLibrary> lib(new QLibrary(file), [](QLibrary* l) {
        std::lock_guard lock(registryMutex());
        l->unload();
        delete l;
    });
    if (!lib->load()) {
        error = lib->errorString();
        return nullptr;
    }
    registry().insert(file, lib);
    return lib;
}

} // namespace

TInstallDll::~TInstallDll() {
    UninstallDLL(m_library.get());
}

bool TInstallDll::InstallDLL(const QString& libraryFile, const QString& entryName, QFunctionPointer& entry) {
    QString error;
    std::shared_ptr<QLibrary> library = acquire(libraryFile, error);
    if (!library) {
        m_error = error;
        return false;
    }
    const QFunctionPointer resolved = library->resolve(entryName.toLatin1().constData());
    if (!resolved) {
        m_error = library->errorString();
        return false; // `library` lets go; unloaded unless someone else holds it
    }
    m_library = std::move(library);
    m_error.clear();
    entry = resolved;
    return true;
}

bool TInstallDll::UninstallDLL(QLibrary* handle) {
    if (handle && handle == m_library.get()) m_library.reset();
    return true;
}

} // namespace lnq
