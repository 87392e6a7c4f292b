// lnq capital / lnq pinyin: the conversion utilities from the command line.

#include "tools/lnq/Command.h"
#include "util/Exceptions.h"
#include "util/Plat_convert.h"
#include "util/Plat_sysutils.h"

namespace {

using lnqtool::Io;

// Splits options from operands: a word after "--", a word not starting with
// "-", "-" itself and a word like "-3" or "-.5" (a negative amount, valid or
// not) are operands.
struct Parsed {
    QStringList options;
    QStringList operands;
};

bool looksNegativeNumber(const QString& a) {
    return a.size() > 1 && a[0] == u'-' && (a[1].isDigit() || a[1] == u'.');
}

Parsed parse(const QStringList& args) {
    Parsed p;
    bool onlyOperands = false;
    for (const QString& a : args) {
        if (onlyOperands || !a.startsWith(u'-') || a == QLatin1String("-") || looksNegativeNumber(a)) {
            p.operands << a;
        } else if (a == QLatin1String("--")) {
            onlyOperands = true;
        } else {
            p.options << a;
        }
    }
    return p;
}

int capital(const QStringList& args, Io& io) {
    const Parsed p = parse(args);
    if (!p.options.isEmpty()) {
        io.err << "lnq capital: unknown option " << p.options.first() << "\n";
        return 2;
    }
    if (p.operands.size() != 1) {
        io.err << "lnq capital: expected one AMOUNT\nusage: lnq capital [--] AMOUNT\n";
        return 2;
    }
    const QString text = p.operands.first();
    double amount = 0;
    if (!lnq::TryStrToFloat(text, amount)) {
        io.err << "lnq capital: '" << text << "' is not a number\n";
        return 2;
    }
    try {
        // The amount is the decimal value of the text as written, not the
        // nearest float: 0.015 is an exact half cent.
        io.out << lnq::TUtils_Convert::CurrencyTextToCapitalization2(text) << "\n";
    } catch (const lnq::EConvertError& e) {
        io.err << "lnq capital: " << text
               << " cannot be written in capital numerals (the integer part must lie within 0..2147483647,"
                  " the amount must not be below 0.00001 and needs no more than 15 integer digits): "
               << e.Message() << "\n";
        return 1;
    }
    return 0;
}

int pinyin(const QStringList& args, Io& io) {
    const Parsed p = parse(args);
    bool hex = false;
    for (const QString& o : p.options) {
        if (o == QLatin1String("--hex")) {
            hex = true;
        } else {
            io.err << "lnq pinyin: unknown option " << o << "\n";
            return 2;
        }
    }
    if (p.operands.size() != 1) {
        io.err << "lnq pinyin: expected one TEXT (quote a text with blanks)\n"
                  "usage: lnq pinyin [--hex] [--] TEXT\n";
        return 2;
    }
    const QByteArray initials = lnq::TUtils_Convert::StrToPY(p.operands.first());
    if (hex) {
        io.out << QString::fromLatin1(initials.toHex()) << "\n";
        return 0;
    }
    // The initials are ASCII letters and digits plus the byte 0xC0 for a
    // character without an initial; that byte is no GBK text, so it shows as
    // U+FFFD.
    QString shown;
    for (char c : initials)
        shown += (static_cast<unsigned char>(c) == 0xC0) ? QChar(QChar::ReplacementCharacter)
                                                         : QChar::fromLatin1(c);
    io.out << shown << "\n";
    return 0;
}

const lnqtool::Registrar capitalCommand({QStringLiteral("capital"), QStringLiteral("capital [--] AMOUNT"),
                                         capital});
const lnqtool::Registrar
    pinyinCommand({QStringLiteral("pinyin"),
                   QStringLiteral("pinyin [--hex] [--] TEXT  (a character without an initial "
                                  "shows as U+FFFD, as the byte c0 with --hex)"),
                   pinyin});

} // namespace
