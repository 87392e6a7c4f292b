#pragma once
// The business screens of the demo client and the rules that pick them: which
// screens a signed-in user's groups reach, and where an in-application link
// ("app://Target?Action=EDIT&KeyField=12") leads.
//
// A screen's Id is also the LinkTarget of its list form, so the links a list
// hands out come back to the same screen. Agents and suppliers are customers
// with a flag: their lists read a database view over Cust_CustomersMain
// (EnsureDemoViews creates them) and their editors write the customer table.

#include <QList>
#include <QString>
#include <QStringList>

namespace lnq {

class IConnection;
class TADOConnection;

enum class TDemoScreenKind { List, OrderEntry, Backup };

struct TDemoScreen {
    QString Id;      // the link target of the screen, e.g. "Customer"
    QString Caption; // the navigation tree's text, e.g. "客户"
    TDemoScreenKind Kind = TDemoScreenKind::List;
    QString ListTable; // what the list reads (a table or a view)
    QString EditTable; // the table the record editor writes
    QString KeyField;
    QString DetailTable;
    QString DetailKeyField;
    QString ViewExt;
    QString ConfirmTarget; // "MASTER" / "DETAIL" / empty
    // Field=value pairs a new record starts with (an agent is a customer
    // with bIsAgent=1).
    QStringList InsertDefaults;
    // Group marks ("[A") of which the user needs one; empty: everyone.
    QStringList Groups;
};

// Every screen, in the order of the navigation tree.
const QList<TDemoScreen>& DemoScreens();
// The screen of a link target or screen id (letter case ignored); nullptr
// when there is none. Link targets that the sample's property lists use for
// customer details lead to the customer screen.
const TDemoScreen* FindDemoScreen(const QString& target);

// Whether a user with the group marks of sys_Systemuser.vGroups ("[B", or
// several as "[A[C") may open the screen.
bool UserMaySee(const TDemoScreen& screen, const QString& userGroups);
// The screens the user may open, in tree order.
QList<const TDemoScreen*> VisibleScreens(const QString& userGroups);
// Whether the user may confirm and cancel confirmation of sales orders
// (administrators and the finance department).
bool UserMayConfirm(const QString& userGroups);

// An in-application link taken apart.
struct TAppLink {
    bool Valid = false; // scheme "app://" and a target
    QString Target;     // between "app://" and "?", as written
    QString Params;     // after "?", as written
    QString Action;     // the Action value, upper-cased ("" without one)
    QString Key;        // the KeyField value ("" without one)
};
TAppLink ParseAppLink(const QString& link);

// Where a link leads.
enum class TLinkRoute {
    Unknown,      // no screen for the target, or not an app:// link
    RecordEdit,   // Action=INSERT or EDIT on a list screen: the record editor
    RecordDelete, // Action=DELETE: confirm and delete the row
    OrderEdit,    // INSERT or EDIT on sales orders: the order editor
    Screen,       // anything else: switch to the screen, the list applies the parameters
};
TLinkRoute RouteOfLink(const TAppLink& link);

// The views the agent and supplier lists read. Created on the embedded
// database when missing; EDatabaseError when that fails.
void EnsureDemoViews(TADOConnection& connection);

// Shared saved views ("常用视图\...") for the screens whose kind of list has
// none stored yet (goods, services, programmes, agents, suppliers, users), so
// that every screen's views tree has something to open. Owned by "admin".
void SeedSavedViews(IConnection& connection);

} // namespace lnq
