#pragma once
// Start-up of the demo client: the command line, the database (created with
// the sample data on first use), the field dictionary, the sign-in and the
// main window. main() only hands over to RunDemo.
//
//   lnq-demo [--db FILE] [--user NAME] [--settings FILE] [--tour DIR]
//
// --db        the embedded database (default: lnq-demo.db in the user's data
//             folder); a missing or empty file is filled with the sample
// --user      signs in as that user without the dialog
// --settings  an INI file for options, window and recent views (default:
//             the platform's settings store of "LNQ/lnq-demo")
// --tour DIR  opens and exercises every screen, saves a PNG of each in DIR,
//             prints the paths and exits (non-zero when a step failed); it
//             works on a copy of the database, so the user's data stays
//             as it was

#include <QString>

namespace lnq {

struct TDemoOptions {
    QString Database;
    QString User;
    QString SettingsFile;
    QString TourDir;
    bool Tour = false;
};

// Reads the options from the application's arguments; false (after printing
// the reason) for a bad command line.
bool ParseDemoOptions(TDemoOptions& options, QString& error);
// The default database file.
QString DefaultDemoDatabase();
// Runs the client (or the tour) inside the existing QApplication; the exit code.
int RunDemo(const TDemoOptions& options);

} // namespace lnq
