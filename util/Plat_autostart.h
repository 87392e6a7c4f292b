#pragma once
// TAutoStart: starting a program when the user logs in, through the
// platform's own autostart entry.
//
// - XDG desktops (Linux and the other Unix systems): the desktop entry file
//   "<config>/autostart/<name>.desktop", <config> being $XDG_CONFIG_HOME when
//   that is an absolute path and ~/.config otherwise. An entry counts as
//   enabled unless it says Hidden=true or X-GNOME-Autostart-enabled=false.
// - Windows: the value <name> under
//   HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run.
//
// Names are what the user sees in the desktop's start-up list; they may be
// Chinese but hold no path separators or control characters. Failures to
// write raise EInOutError with a Chinese message.

#include <QString>
#include <QStringList>

namespace lnq {

class TAutoStart {
public:
    // The entry's file (XDG) or registry value path (Windows).
    static QString EntryLocation(const QString& name);
    static bool IsEnabled(const QString& name);
    // The program and its arguments the entry starts; empty without an entry.
    static QStringList Command(const QString& name);
    // Writes (or rewrites) the entry; the directory is created when missing.
    static void Enable(const QString& name, const QString& program, const QStringList& arguments = {},
                       const QString& comment = {});
    // Removes the entry; no entry is nothing to do.
    static void Disable(const QString& name);

    // The Exec value of a desktop entry for a program and its arguments:
    // words with blanks or shell characters in double quotes, '"', '`', '$'
    // and '\' escaped inside them, '%' doubled, then the value's own escapes
    // (backslash, line breaks, tabs).
    static QString ExecLine(const QString& program, const QStringList& arguments);
    // The reverse; field codes (%f, %u ...) are dropped.
    static QStringList SplitExecLine(const QString& exec);
};

} // namespace lnq
