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
// where, for a stream that ends early or claims more than it holds.

#include "filter/SearchSql.h"

#include <QIODevice>
#include <QString>
#include <vector>

namespace lnq {

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

// Reads a whole view from position 0 of stream.
TStoredView ReadStoredView(QIODevice& stream);

// Writes a condition list (version 3, IsSQL 0) at the stream's position.
void SaveToStream(QIODevice& stream, const TConditionList& conditions, bool matchAll);
// Writes a raw SQL view: the bytes 3, 1, 1 and the SQL text.
void SaveSQLToStream(QIODevice& stream, const QString& sql);
// Rewinds the stream and returns ReadStoredView(stream).ResultSQL(); isSQL
// tells whether the view was a raw SQL text.
QString LoadSQLFromStream(QIODevice& stream, bool& isSQL);

} // namespace lnq
