#pragma once
// Reads one member of a zip archive (an .xlsx) for tests that check what a
// writer produced.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <minizip/unzip.h>

namespace lnqtest {

// The member's bytes; empty when the archive or the member cannot be read.
inline QByteArray zipMember(const QString& archive, const char* member) {
    unzFile zip = unzOpen64(QFile::encodeName(archive).constData());
    if (!zip) return {};
    QByteArray out;
    if (unzLocateFile(zip, member, 0) == UNZ_OK && unzOpenCurrentFile(zip) == UNZ_OK) {
        char buf[65536];
        int n = 0;
        while ((n = unzReadCurrentFile(zip, buf, sizeof buf)) > 0)
            out.append(buf, n);
        unzCloseCurrentFile(zip);
    }
    unzClose(zip);
    return out;
}

} // namespace lnqtest
