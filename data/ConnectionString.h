#pragma once
// Connection strings of "Name=value" pairs ("Provider=...;Data Source=...")
// and their mapping to the two drivers.
//
//  "Provider=SQLite;Data Source=PATH", or a bare PATH          -> embedded file
//      ("Busy Timeout=ms": how long to wait for a lock held elsewhere, 5000)
//  "Provider=SQLOLEDB;Password=…;User ID=…;Data Source=(local);Initial Catalog=…"
//                                                               -> SQL Server (FreeTDS ODBC)
//  "Driver={…};…" (a ready ODBC string)                         -> passed to ODBC as is
//  "Provider=Microsoft.Jet.OLEDB.4.0;Data Source= 'FILE';Extended Properties="Excel 8.0;HDR=YES;IMEX=1""
//      (also Microsoft.ACE.OLEDB.12.0 with "Excel 12.0 Xml" and the like)
//                                                               -> a workbook, read-only
//
// SQL Server goes through unixODBC's FreeTDS driver with a DSN-less string:
//   DRIVER={FreeTDS};SERVER=host;PORT=1433;DATABASE=db;UID=u;PWD=p;TDS_Version=7.4;ClientCharset=UTF-8
// ClientCharset is UTF-8: text inside the program is Unicode and Qt's ODBC
// driver reads through the wide-character calls, so FreeTDS converts the
// server's code page (GBK under the Chinese_PRC collations) itself; UTF-8 is
// the one client charset that loses nothing should narrow calls be used.
// "(local)" and "." name this machine; "host\instance" is resolved by the
// server's browser service (no PORT then); "host,port" gives the port.
// "Integrated Security=SSPI" becomes Trusted_Connection=Yes (Kerberos; a
// "DOMAIN\user" login with a password gives NTLM instead).
// "TDS_Version" and "ClientCharset" in the connection string override the defaults.

#include <QList>
#include <QPair>
#include <QString>

namespace lnq {

struct TConnectionInfo {
    enum class Kind { Embedded, SqlServer, Workbook };
    Kind kind = Kind::Embedded;
    QString file;           // embedded: database file path
    QString odbc;           // SQL Server: the ODBC connection string
    int loginTimeout = 0;   // seconds, 0 = driver default ("Connect Timeout")
    int busyTimeout = 5000; // embedded: ms to wait for another connection's lock ("Busy Timeout")
    bool persistSecurityInfo = false;
    // Workbook: the first row names the columns ("HDR=YES", the default;
    // "HDR=NO" names them F1, F2, ...); "IMEX=1" reads columns that mix
    // numbers, dates and text as text.
    bool workbookHeader = true;
    bool workbookMixedAsText = false;
};

// "key=value;key=value" into pairs in order of appearance. Keys are trimmed
// and keep their spelling; values are trimmed and may be enclosed in single
// or double quotes (a doubled quote inside stands for one). A bare "key" with
// no "=" gets an empty value. Empty segments are skipped.
QList<QPair<QString, QString>> ParseConnectionString(const QString& text);

// What to open for a connection string. EDatabaseError for an empty string or
// a provider neither driver serves (the message names it).
TConnectionInfo ResolveConnectionString(const QString& text);

// The connection string with the password removed, as an open connection
// reports it when "Persist Security Info" is false.
QString StripPassword(const QString& text);

// ODBC attribute value, braced when it holds characters ODBC treats specially.
QString OdbcValue(const QString& value);

} // namespace lnq
