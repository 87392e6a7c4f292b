#pragma once
// TClientUtils: the host's user, customer, option and receipt-number services
// and a few database helpers, in Qt types.
//
// Buffer calls: every call into IConnection or IServicesInterface that returns
// text passes a zeroed buffer (512 bytes unless noted) and a length set to 0,
// then keeps as many bytes as the returned length says (never more than the
// buffer holds, never fewer than none) and decodes them from GBK. An
// implementation that does not fill a buffer therefore yields the empty text
// (and 0 for numbers). Texts going the other way are encoded to zero-terminated
// GBK.
//
// Database errors of the SQL helpers reach the caller unchanged.

#include "util/DateUtils.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace lnq {

class IConnection;
class IServicesInterface;
class TLNQStringGrid;

// One entry of the host's recently-opened-views history.
struct TRecentItem {
    QString Caption;
    QString SQL;
    bool operator==(const TRecentItem&) const = default;
};

class TClientUtils {
public:
    TClientUtils() = delete;

    // Current user and customer (IConnection::GetCurrentUser / GetCurrentCustomer).
    static int GetCurrentUserNo(IConnection& connection);
    static QString GetCurrentUserCode(IConnection& connection);
    static QString GetCurrentUserName(IConnection& connection);
    static int GetCurrentCustomerNo(IConnection& connection);
    static QString GetCurrentCustomerCode(IConnection& connection);
    static QString GetCurrentCustomerName(IConnection& connection);

    // The user's authority condition (4096-byte buffer), group list and the
    // users whose records the user may see (empty unless the connection
    // answers true). The triple "r" of GetCurrrentGroups is the interface's own.
    static QString GetAuthorityString(IConnection& connection);
    static QString GetCurrrentGroups(IConnection& connection);
    static QString GetAccessUsers(IConnection& connection);

    // iCustomerNo of sys_SystemUser for the current user; 0 without such a row.
    static int GetUserCustomerNo(IConnection& connection);

    // True when no record of table other than recordNo (iNo) carries the
    // receipt number (vReceiptNo).
    static bool CheckReceiptNo(IConnection& connection, int recordNo, const QString& table,
                               const QString& receiptNo);

    // Fills list (cleared first) with one column of a query: a text holding
    // "SELECT" (in any case) is the query and its first column is taken; any
    // other text is a table name, read with "select * from " + text, whose
    // second column is taken. A result without that column raises EDatabaseError.
    static void SetComboboxItemsBySQL(IConnection& connection, const QString& sqlOrTable, QStringList& list);

    // "yyyy-MM-dd HH:mm:ss", without quotes.
    static QString DateTimeToSQLStr(const QDateTime& dateTime);
    static QString DateTimeToSQLStr(TDateTime dateTime);

    // Connection string for reading a spreadsheet file through the Jet provider.
    static QString GetExcelConnString(const QString& fileName);

    // The text split at every "&" (and at line breaks): "a=1&b=2" gives the
    // lines "a=1" and "b=2". A trailing separator adds no empty last line; the
    // empty text gives the empty list.
    static QStringList GetAppLinkListValue(const QString& text);
    // The value of the first "name=value" line whose name (blanks around it
    // ignored) equals name regardless of letter case; false when no line
    // names it. The value is returned as written.
    static bool GetAppLinkValue(const QStringList& lines, const QString& name, QString& value);

    // Directory of the running executable with a trailing "/".
    static QString GetAppDir();

    // Host options; the default when the host's answer is empty.
    static QString GetOptionValue(IServicesInterface& services, const QString& optionName,
                                  const QString& defaultValue);
    static QString GetOptionValueEx(IServicesInterface& services, const QString& section,
                                    const QString& optionName, const QString& defaultValue);
    static void SetOptionValueEx(IServicesInterface& services, const QString& section,
                                 const QString& optionName, const QString& value);
    // Option "CompanyCustomerNo" as an integer (0 when it is not a number) and
    // option "CompanyCustomerName".
    static int GetMyCustomerNo(IServicesInterface& services);
    static QString GetMyCustomerName(IServicesInterface& services);

    // Receipt numbering of one receipt kind.
    static QString GetReceiptNo(IServicesInterface& services, const QString& receiptKind);
    static void GetReceiptNoSetting(IServicesInterface& services, const QString& receiptKind,
                                    QString& setting1, QString& setting2, QString& setting3,
                                    QString& setting4);
    static void SetReceiptNoSetting(IServicesInterface& services, const QString& receiptKind,
                                    const QString& setting1, const QString& setting2, const QString& setting3,
                                    const QString& setting4);

    static QString GetImeName(IServicesInterface& services);

    // Hands an "app://" link to the host.
    static void OpenAppLink(IServicesInterface& services, const QString& link);

    // The host's history of recently opened views of one kind of list (vExt),
    // newest first, and recording a visit.
    static QList<TRecentItem> GetRecentItems(IServicesInterface& services, const QString& ext);
    static void AddRecentItem(IServicesInterface& services, const QString& ext, const TRecentItem& item);

    // Widget helpers, defined in the widget half (util/Plat_clientutils_ui.cpp):
    // the themed message box (returns the button that closed it) and clearing
    // a string grid below its fixed first row and column.
    static int MsgBox(const QString& text, const QString& caption, int flags);
    // A process-wide replacement of the message box (tests, unattended
    // demonstrations answer without a window); an empty function restores the
    // box. Returns the replacement it replaces.
    using TMsgBoxFn = std::function<int(const QString& text, const QString& caption, int flags)>;
    static TMsgBoxFn SetMsgBoxHandler(TMsgBoxFn handler);
    static void ClearLNQStringGrid(TLNQStringGrid& grid);
};

} // namespace lnq
