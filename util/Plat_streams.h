#pragma once
// Length-prefixed texts and text lists on a QIODevice: the record layout inside
// stored views and column layout files.
//
//   text:  int32 length (little-endian, signed) + that many bytes, no terminator
//   list:  int32 count + count text records
//
// The QString functions write and read GBK bytes; the QByteArray overloads move
// the bytes untouched.
//
// Reading never throws and never trusts a length field beyond the data:
//  - A text receives the bytes the device actually delivers, at most `length`
//    of them. Memory grows with the bytes read, not with the claimed length, so
//    a corrupt length of two gigabytes on a short stream costs nothing.
//  - A length field that cannot be read whole (the stream ends inside it)
//    counts as 0; a negative length reads nothing. Both give the empty text.
//  - A list reads `count` texts but stops early, without appending, at the
//    first text whose length field cannot be read whole; so a list never holds
//    more entries than the stream has length fields. A count of 0 or less (or
//    an unreadable count) gives the empty list.
//  - PeekString* returns the position to where the length field started, also
//    after a short read. Random-access devices seek back; sequential devices
//    use a read transaction (EReadError when the caller already has one open,
//    since the data could not be put back).
//
// Writing raises EInOutError when the device does not take every byte.

#include <QByteArray>
#include <QByteArrayList>
#include <QIODevice>
#include <QString>
#include <QStringList>

namespace lnq {

class TUtils_Streams {
public:
    TUtils_Streams() = delete;

    static void SaveStringToStream(QIODevice& stream, const QString& text);
    static void SaveStringToStream(QIODevice& stream, const QByteArray& bytes);
    static void LoadStringFromStream(QIODevice& stream, QString& text);
    static void LoadStringFromStream(QIODevice& stream, QByteArray& bytes);
    static void PeekStringFromStream(QIODevice& stream, QString& text);
    static void PeekStringFromStream(QIODevice& stream, QByteArray& bytes);

    static void SaveStringsToStream(QIODevice& stream, const QStringList& list);
    static void SaveStringsToStream(QIODevice& stream, const QByteArrayList& list);
    static void LoadStringsFromStream(QIODevice& stream, QStringList& list);
    static void LoadStringsFromStream(QIODevice& stream, QByteArrayList& list);

    // The 32-bit fields on their own (lengths, counts, and the integer fields of
    // the layouts built from these records). ReadInt32 returns false, leaving
    // value untouched, when fewer than four bytes could be read.
    static void WriteInt32(QIODevice& stream, qint32 value);
    static bool ReadInt32(QIODevice& stream, qint32& value);
};

} // namespace lnq
