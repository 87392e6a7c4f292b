#pragma once
// TInstallDll: loads one plug-in library (the report library, device drivers)
// and resolves one entry point from it. The library stays loaded while the
// object lives; the destructor unloads it.
//
// Several objects may load the same library file: they share one loaded
// instance, which is unloaded when the last of them lets go (a plain QLibrary
// per object would not do, since unloading one QLibrary unloads the file for
// every QLibrary of the same name).

#include <QFunctionPointer>
#include <QLibrary>
#include <QString>
#include <memory>

namespace lnq {

class TInstallDll {
public:
    TInstallDll() = default;
    ~TInstallDll();
    TInstallDll(const TInstallDll&) = delete;
    TInstallDll& operator=(const TInstallDll&) = delete;

    // Loads libraryFile (a path, or a name the platform loader searches for)
    // and resolves entryName into entry. On any failure (no such library, no
    // such entry) returns false and leaves entry untouched; the reason is in
    // ErrorString(). A library loaded by an earlier call is released when the
    // new one succeeds (its entry points become invalid unless it is the same
    // file) and kept when it fails.
    bool InstallDLL(const QString& libraryFile, const QString& entryName, QFunctionPointer& entry);

    // Releases the library behind handle (the object's own Handle(); any other
    // value is ignored) and returns true.
    bool UninstallDLL(QLibrary* handle);

    // The loaded library, nullptr before loading and after unloading.
    QLibrary* Handle() const { return m_library.get(); }
    QString ErrorString() const { return m_error; }

private:
    std::shared_ptr<QLibrary> m_library;
    QString m_error;
};

} // namespace lnq
