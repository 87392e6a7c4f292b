#pragma once
// The one text collation of the framework: how business text compares and
// sorts wherever the database would compare it (the embedded database's
// columns and comparisons, the dataset's sort, Locate and filters).
//
// It follows the default Chinese collation of the production server:
//  - trailing blanks (U+0020) do not count: 'abc' = 'abc  ';
//  - letter case does not count, beyond ASCII too (full-width Ａ = ａ, Greek,
//    Cyrillic), while width does: full-width Ａ is not A;
//  - characters order by their GBK code, which puts the GB2312 level-1
//    characters in pinyin order (啊 < 北 < 中) and every GBK character after
//    ASCII; characters outside GBK come last, by code unit.
// Equal texts under this collation may differ in case or trailing blanks, so
// callers that need a stable order tie-break themselves.

#include <QByteArray>
#include <QStringView>

#include <cstdint>

namespace lnq::Collation {

// Name under which the collation is registered with the embedded database and
// written into created tables ("COLLATE ZH_CI").
inline constexpr char kName[] = "ZH_CI";

// Weight of one UTF-16 code unit after case folding: ASCII < GBK (by code) <
// everything else (0x10000 + code unit). Equal weights mean equal characters.
std::uint32_t weight(char16_t unit);

// Text with its trailing blanks removed: what the collation compares.
QStringView trimmedForCompare(QStringView s);

// -1, 0 or 1, as the collation orders a and b.
int compare(QStringView a, QStringView b);
// The same on UTF-8 bytes (the embedded database's text and the dataset's
// stored text); invalid UTF-8 bytes weigh as U+FFFD.
int compareUtf8(const char* a, qsizetype na, const char* b, qsizetype nb);

// A key whose byte order (memcmp, shorter prefix first) is the collation's
// order: three bytes per code unit. Appends to out, so keys can share a buffer.
void appendSortKey(QStringView s, QByteArray& out);
void appendSortKeyUtf8(const char* s, qsizetype n, QByteArray& out);
QByteArray sortKey(QStringView s);

} // namespace lnq::Collation
