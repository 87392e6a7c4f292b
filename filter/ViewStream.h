#pragma once
// The stored form of a view, kept as a file of Sys_FileBase. All integers are
// little-endian; a text is a 32-bit byte count followed by that many GBK bytes.
//
//   Version   1 byte   3 when written (1 and 2 are read too)
//   IsSQL     1 byte   version >= 2 only (else 0): 1 = one raw SQL text
//   MatchAll  1 byte   version >= 3 only (else 1): 1 = " And ", 0 = " OR "
//   IsSQL = 1:  SQL text
//   IsSQL = 0:  Count (32-bit signed), then Count times: piece, caption, description
//
// Reading checks every count and length against the bytes that remain before
// it allocates anything, and raises EReadError naming what was being read and
// where, for a stream that ends early or claims more than it holds. Stated
// limits: a stream of more than kMaxViewBytes bytes and a list of more than
// kMaxViewConditions conditions are refused (an empty condition takes 12
// bytes in the stream but several times that in memory). A sequential
// device (a pipe, a socket) is read to its end first, at most kMaxViewBytes.

#include "filter/SearchSql.h"

#include <QIODevice>
#include <QString>
#include <vector>

namespace lnq {

constexpr qint64 kMaxViewBytes = qint64(64) << 20;
constexpr int kMaxViewConditions = 10000;

struct TStoredView {
    int Version = 3;
    bool IsSQL = false;
    bool MatchAll = true;
    QString SQL;                        // IsSQL
    std::vector<TCondition> Conditions; // !IsSQL

    // The text a stored view contributes: the SQL of a raw view as it is;
    // for a condition list " and (" + piece 1, then joiner + piece for each
    // further one, then " )" (a list without conditions gives " )" alone).
    QString ResultSQL() const;
};

// Reads a whole view from position 0 of stream (a random-access device), or
// the whole of a sequential one from where it stands.
TStoredView ReadStoredView(QIODevice& stream);

// Writes a condition list (version 3, IsSQL 0) at the stream's position.
void SaveToStream(QIODevice& stream, const TConditionList& conditions, bool matchAll);
// Writes a raw SQL view: the bytes 3, 1, 1 and the SQL text.
void SaveSQLToStream(QIODevice& stream, const QString& sql);
// Rewinds the stream and returns ReadStoredView(stream).ResultSQL(); isSQL
// tells whether the view was a raw SQL text.
QString LoadSQLFromStream(QIODevice& stream, bool& isSQL);

} // namespace lnq
