#include "demo/DemoConnection.h"

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "util/Gbk.h"

#include <cstring>

namespace lnq {

namespace {

// Copies the GBK bytes of text into a caller's buffer of capacity bytes,
// never splitting a two-byte character.
void fill(const QString& text, char* buffer, int& length, int capacity) {
    const QByteArray bytes = Gbk::encode(text);
    int n = 0;
    while (n < bytes.size()) {
        const int step = static_cast<unsigned char>(bytes.at(n)) >= 0x81 ? 2 : 1;
        if (n + step > capacity || n + step > bytes.size()) break;
        n += step;
    }
    if (n > 0) std::memcpy(buffer, bytes.constData(), static_cast<size_t>(n));
    length = n;
}

constexpr int kBuffer = 512;
constexpr int kAuthorityBuffer = 4096;

} // namespace

TDemoConnection::TDemoConnection(TADOConnection& connection) : TInterfacedADOConnection(connection) {}

bool TDemoConnection::SignIn(const QString& userCode) {
    const std::unique_ptr<TADODataSet> users =
        ExecuteWithQuery(QStringLiteral("select iUserNo, vUserName, vName, vGroups, iCustomerNo, bDisabled "
                                        "from sys_Systemuser where vUserName=") +
                         QuotedStr(userCode));
    if (users->IsEmpty() || users->FieldByName(QStringLiteral("bDisabled")).AsBoolean()) return false;
    TDemoUser user;
    user.No = users->FieldByName(QStringLiteral("iUserNo")).AsInteger();
    user.Code = users->FieldByName(QStringLiteral("vUserName")).AsString();
    user.Name = users->FieldByName(QStringLiteral("vName")).AsString();
    user.Groups = users->FieldByName(QStringLiteral("vGroups")).AsString();
    user.CustomerNo = users->FieldByName(QStringLiteral("iCustomerNo")).AsInteger();
    if (user.CustomerNo > 0) {
        const std::unique_ptr<TADODataSet> customer = ExecuteWithQuery(
            QStringLiteral("select vCustomerNo, vCustomerName from Cust_CustomersMain where iCustomerNo=") +
            QString::number(user.CustomerNo));
        if (!customer->IsEmpty()) {
            user.CustomerCode = customer->FieldByName(QStringLiteral("vCustomerNo")).AsString();
            user.CustomerName = customer->FieldByName(QStringLiteral("vCustomerName")).AsString();
        }
    }
    m_user = user;
    return true;
}

void TDemoConnection::GetCurrentUser(int& userNo, char* code, int& codeLen, char* name, int& nameLen) {
    userNo = m_user.No;
    fill(m_user.Code, code, codeLen, kBuffer);
    fill(m_user.Name, name, nameLen, kBuffer);
}

void TDemoConnection::GetCurrentCustomer(int& customerNo, char* code, int& codeLen, char* name,
                                         int& nameLen) {
    customerNo = m_user.CustomerNo;
    fill(m_user.CustomerCode, code, codeLen, kBuffer);
    fill(m_user.CustomerName, name, nameLen, kBuffer);
}

void TDemoConnection::GetAuthorityString(char* buffer, int& length) {
    fill(m_authority, buffer, length, kAuthorityBuffer);
}

void TDemoConnection::GetCurrrentGroups(char* buffer, int& length) {
    fill(m_user.Groups, buffer, length, kBuffer);
}

} // namespace lnq
