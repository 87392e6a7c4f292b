#include "util/Plat_autostart.h"

#include "util/Exceptions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QSettings>
#include <algorithm>

namespace lnq {

namespace {

// An entry file larger than this is no desktop entry of ours; only its
// beginning is read.
constexpr qint64 kMaxEntryBytes = 64 * 1024;

void checkName(const QString& name) {
    const bool bad = name.trimmed().isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
                     name.size() > 200 || std::any_of(name.begin(), name.end(), [](QChar c) {
                         return c == u'/' || c == u'\\' || c.unicode() < 0x20 || c.unicode() == 0x7f;
                     });
    if (bad) throw EInOutError(QStringLiteral("自动启动项名称无效：\"") + name + QLatin1Char('"'));
}

// Characters that make an Exec word need quotes.
bool needsQuotes(const QString& word) {
    if (word.isEmpty()) return true;
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    return std::any_of(word.begin(), word.end(), [](QChar c) { return reserved.contains(c); });
}

// The escapes every string value of a desktop entry has.
QString escapeValue(const QString& v) {
    QString out;
    out.reserve(v.size());
    for (QChar c : v) {
        switch (c.unicode()) {
        case u'\\':
            out += QLatin1String("\\\\");
            break;
        case u'\n':
            out += QLatin1String("\\n");
            break;
        case u'\t':
            out += QLatin1String("\\t");
            break;
        case u'\r':
            out += QLatin1String("\\r");
            break;
        default:
            out += c;
        }
    }
    return out;
}

QString unescapeValue(const QString& v) {
    QString out;
    out.reserve(v.size());
    for (qsizetype i = 0; i < v.size(); ++i) {
        if (v[i] != u'\\' || i + 1 == v.size()) {
            out += v[i];
            continue;
        }
        const QChar n = v[++i];
        switch (n.unicode()) {
        case u's':
            out += QLatin1Char(' ');
            break;
        case u'n':
            out += QLatin1Char('\n');
            break;
        case u't':
            out += QLatin1Char('\t');
            break;
        case u'r':
            out += QLatin1Char('\r');
            break;
        case u'\\':
            out += QLatin1Char('\\');
            break;
        default:
            out += QLatin1Char('\\') + n;
        }
    }
    return out;
}

#ifndef Q_OS_WIN
QString autostartDir() {
    const QString xdg = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString config = QDir::isAbsolutePath(xdg) ? xdg : QDir::homePath() + QStringLiteral("/.config");
    return QDir::cleanPath(config + QStringLiteral("/autostart"));
}

// The keys of the [Desktop Entry] group.
QHash<QString, QString> readEntry(const QString& path) {
    QHash<QString, QString> keys;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return keys;
    const QString text = QString::fromUtf8(f.read(kMaxEntryBytes));
    bool inEntry = false;
    for (QStringView line : QStringView(text).split(u'\n')) {
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith(u'#')) continue;
        if (line.startsWith(u'[')) {
            inEntry = line == u"[Desktop Entry]";
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (!inEntry || eq <= 0) continue;
        const QString key = line.left(eq).trimmed().toString();
        if (!keys.contains(key)) keys.insert(key, line.mid(eq + 1).trimmed().toString());
    }
    return keys;
}
#else
const char* const kRunKey = "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// A command line as the Windows shell splits it: words with blanks quoted.
QString windowsCommand(const QString& program, const QStringList& arguments) {
    QStringList words;
    words << QLatin1Char('"') + QDir::toNativeSeparators(program) + QLatin1Char('"');
    for (const QString& a : arguments) {
        if (!a.isEmpty() && !a.contains(u' ') && !a.contains(u'\t') && !a.contains(u'"')) {
            words << a;
            continue;
        }
        QString q = a;
        q.replace(QLatin1String("\""), QLatin1String("\\\""));
        words << QLatin1Char('"') + q + QLatin1Char('"');
    }
    return words.join(QLatin1Char(' '));
}
#endif

} // namespace

QString TAutoStart::ExecLine(const QString& program, const QStringList& arguments) {
    QStringList words;
    for (const QString& w : QStringList{program} + arguments) {
        QString word = w;
        word.replace(QLatin1String("%"), QLatin1String("%%"));
        if (needsQuotes(w)) {
            QString q;
            for (QChar c : word) {
                if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') q += QLatin1Char('\\');
                q += c;
            }
            word = QLatin1Char('"') + q + QLatin1Char('"');
        }
        words << word;
    }
    return escapeValue(words.join(QLatin1Char(' ')));
}

QStringList TAutoStart::SplitExecLine(const QString& exec) {
    const QString line = unescapeValue(exec);
    QStringList words;
    QString word;
    bool inWord = false;
    bool quoted = false;
    bool fieldCodeOnly = true; // a word that is nothing but a field code is dropped
    const auto finish = [&] {
        if (inWord && !(fieldCodeOnly && word.isEmpty())) words << word;
        word.clear();
        inWord = false;
        fieldCodeOnly = true;
    };
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (quoted) {
            if (c == u'\\' && i + 1 < line.size()) {
                word += line[++i];
            } else if (c == u'%' && i + 1 < line.size() && line[i + 1] == u'%') {
                word += line[++i];
            } else if (c == u'"') {
                quoted = false;
            } else {
                word += c;
            }
            fieldCodeOnly = false;
            continue;
        }
        if (c == u' ' || c == u'\t') {
            finish();
            continue;
        }
        inWord = true;
        if (c == u'"') {
            quoted = true;
            fieldCodeOnly = false;
        } else if (c == u'%' && i + 1 < line.size()) {
            const QChar code = line[++i];
            if (code == u'%') {
                word += code;
                fieldCodeOnly = false;
            }
        } else {
            word += c;
            fieldCodeOnly = false;
        }
    }
    finish();
    return words;
}

#ifndef Q_OS_WIN

QString TAutoStart::EntryLocation(const QString& name) {
    checkName(name);
    return autostartDir() + QLatin1Char('/') + name + QStringLiteral(".desktop");
}

bool TAutoStart::IsEnabled(const QString& name) {
    const QString path = EntryLocation(name);
    if (!QFileInfo(path).isFile()) return false;
    const QHash<QString, QString> keys = readEntry(path);
    if (keys.value(QStringLiteral("Hidden")).compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return false;
    return keys.value(QStringLiteral("X-GNOME-Autostart-enabled"))
               .compare(QLatin1String("false"), Qt::CaseInsensitive) != 0;
}

QStringList TAutoStart::Command(const QString& name) {
    const QString path = EntryLocation(name);
    if (!QFileInfo(path).isFile()) return {};
    return SplitExecLine(readEntry(path).value(QStringLiteral("Exec")));
}

void TAutoStart::Enable(const QString& name, const QString& program, const QStringList& arguments,
                        const QString& comment) {
    const QString path = EntryLocation(name);
    if (program.trimmed().isEmpty()) throw EInOutError(QStringLiteral("自动启动项没有要启动的程序"));
    const QString dir = QFileInfo(path).path();
    if (!QDir().mkpath(dir))
        throw EInOutError(QStringLiteral("无法创建目录 ") + QDir::toNativeSeparators(dir));
    QString text =
        QStringLiteral("[Desktop Entry]\nType=Application\nName=") + escapeValue(name) + QLatin1Char('\n');
    if (!comment.isEmpty()) text += QStringLiteral("Comment=") + escapeValue(comment) + QLatin1Char('\n');
    text += QStringLiteral("Exec=") + ExecLine(program, arguments) +
            QStringLiteral("\nTerminal=false\nX-GNOME-Autostart-enabled=true\n");
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(text.toUtf8()) < 0 || !f.commit())
        throw EInOutError(QStringLiteral("无法写入自动启动项 ") + QDir::toNativeSeparators(path) +
                          QStringLiteral("：") + f.errorString());
}

void TAutoStart::Disable(const QString& name) {
    const QString path = EntryLocation(name);
    QFile f(path);
    if (!f.exists()) return;
    if (!f.remove())
        throw EInOutError(QStringLiteral("无法删除自动启动项 ") + QDir::toNativeSeparators(path) +
                          QStringLiteral("：") + f.errorString());
}

#else

QString TAutoStart::EntryLocation(const QString& name) {
    checkName(name);
    return QString::fromLatin1(kRunKey) + QLatin1Char('\\') + name;
}

bool TAutoStart::IsEnabled(const QString& name) {
    checkName(name);
    return QSettings(QString::fromLatin1(kRunKey), QSettings::NativeFormat).contains(name);
}

QStringList TAutoStart::Command(const QString& name) {
    checkName(name);
    const QString v = QSettings(QString::fromLatin1(kRunKey), QSettings::NativeFormat).value(name).toString();
    QStringList words;
    QString word;
    bool quoted = false;
    for (qsizetype i = 0; i < v.size(); ++i) {
        const QChar c = v[i];
        if (c == u'\\' && i + 1 < v.size() && v[i + 1] == u'"') {
            word += v[++i];
        } else if (c == u'"') {
            quoted = !quoted;
        } else if (c == u' ' && !quoted) {
            if (!word.isEmpty()) words << word;
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.isEmpty()) words << word;
    return words;
}

void TAutoStart::Enable(const QString& name, const QString& program, const QStringList& arguments,
                        const QString&) {
    checkName(name);
    if (program.trimmed().isEmpty()) throw EInOutError(QStringLiteral("自动启动项没有要启动的程序"));
    QSettings run(QString::fromLatin1(kRunKey), QSettings::NativeFormat);
    run.setValue(name, windowsCommand(program, arguments));
    run.sync();
    if (run.status() != QSettings::NoError)
        throw EInOutError(QStringLiteral("无法写入自动启动项 ") + EntryLocation(name));
}

void TAutoStart::Disable(const QString& name) {
    checkName(name);
    QSettings run(QString::fromLatin1(kRunKey), QSettings::NativeFormat);
    run.remove(name);
    run.sync();
    if (run.status() != QSettings::NoError)
        throw EInOutError(QStringLiteral("无法删除自动启动项 ") + EntryLocation(name));
}

#endif

} // namespace lnq
