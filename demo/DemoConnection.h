#pragma once
// TDemoConnection: the database interface of the demo client. It is the
// framework's connection with the signed-in user behind it: the current
// user's number, code (sys_Systemuser.vUserName) and name, the user's group
// marks (vGroups, which decide the shared views and screens the user sees),
// the customer the user works for, and the authority condition that quick
// searches over all data and customer lookups append.

#include "data/Plat_adodatabasese.h"

#include <QString>

namespace lnq {

struct TDemoUser {
    int No = 0;
    QString Code;   // vUserName, the owner name of stored views
    QString Name;   // vName
    QString Groups; // vGroups, e.g. "[B"
    int CustomerNo = 0;
    QString CustomerCode;
    QString CustomerName;
};

class TDemoConnection : public TInterfacedADOConnection {
public:
    explicit TDemoConnection(TADOConnection& connection);

    // Reads the user (vUserName, any letter case) and the customer the user
    // belongs to from the database; false when there is no such user or the
    // user is disabled, leaving the current user as it was.
    bool SignIn(const QString& userCode);
    const TDemoUser& CurrentUser() const { return m_user; }
    void SetCurrentUser(const TDemoUser& user) { m_user = user; }

    // The condition appended (after " and ") to searches over all rows. The
    // sample database shares every row with every signed-in user, so it
    // defaults to "1=1"; a host with row rights sets its rule here.
    QString AuthorityCondition() const { return m_authority; }
    void SetAuthorityCondition(const QString& condition) { m_authority = condition; }

    void GetCurrentUser(int& userNo, char* code, int& codeLen, char* name, int& nameLen) override;
    void GetCurrentCustomer(int& customerNo, char* code, int& codeLen, char* name, int& nameLen) override;
    void GetAuthorityString(char* buffer, int& length) override;
    void GetCurrrentGroups(char* buffer, int& length) override;

private:
    TDemoUser m_user;
    QString m_authority = QStringLiteral("1=1");
};

} // namespace lnq
