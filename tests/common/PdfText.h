#pragma once
// The text of a PDF as pdftotext extracts it, and a search in it that
// tolerates what the extraction does to CJK glyphs.

#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

namespace lnqtest {

inline QString pdfText(const QString& pdf, const QStringList& options = {}) {
    QProcess p;
    p.start(QStringLiteral("pdftotext"), options + QStringList{pdf, QStringLiteral("-")});
    p.waitForFinished(60000);
    return QString::fromUtf8(p.readAllStandardOutput());
}

// Whether the extracted text holds expected. Text extraction may give a CJK
// radical code point (U+2E80-U+2FDF) for a glyph the embedded font shares
// with an ordinary character: such a code point matches any character.
inline bool pdfHas(const QString& text, const QString& expected) {
    QString pattern;
    for (QChar c : expected)
        pattern += c.unicode() < 0x80 ? QRegularExpression::escape(QString(c))
                                      : QStringLiteral("(?:%1|[\\x{2E80}-\\x{2FDF}])").arg(c);
    return QRegularExpression(pattern).match(text).hasMatch();
}

} // namespace lnqtest
