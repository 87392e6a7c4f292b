#pragma once
// What a host hands the business forms in their tests: a connection that
// knows the signed-in user and a services interface with receipt numbering.

#include "data/Plat_adodatabasese.h"
#include "util/Gbk.h"
#include "util/Plat_servicesinterface.h"

#include <cstring>

namespace lnqtest {

// Signed in as 张伟 (code "zhangwei").
class UserConnection : public lnq::TInterfacedADOConnection {
public:
    using TInterfacedADOConnection::TInterfacedADOConnection;
    void GetCurrentUser(int& userNo, char* code, int& codeLen, char* name, int& nameLen) override {
        userNo = 2;
        const QByteArray c = lnq::Gbk::encode(QStringLiteral("zhangwei"));
        const QByteArray n = lnq::Gbk::encode(QStringLiteral("张伟"));
        std::memcpy(code, c.constData(), size_t(c.size()));
        codeLen = int(c.size());
        std::memcpy(name, n.constData(), size_t(n.size()));
        nameLen = int(n.size());
    }
};

// Numbers receipts of the kind "SaleOrder" with receiptNo (none when empty).
class HostServices : public lnq::IServicesInterface {
public:
    QByteArray receiptNo;
    void GetOptionValue(const char*, char*, int&) override {}
    void GetOptionValueEx(const char*, const char*, char*, int&) override {}
    void SetOptionValueEx(const char*, const char*, const char*) override {}
    void GetReceiptNo(const char* kind, char* no, int& len) override {
        if (qstrcmp(kind, "SaleOrder") != 0) return;
        std::memcpy(no, receiptNo.constData(), size_t(receiptNo.size()));
        len = int(receiptNo.size());
    }
    void GetReceiptNoSetting(const char*, char*, int&, char*, int&, char*, int&, char*, int&) override {}
    void SetReceiptNoSetting(const char*, const char*, const char*, const char*, const char*) override {}
    void GetImeName(char*, int&) override {}
    void OpenAppLink(const char*) override {}
    int GetRecentCount(const char*) override { return 0; }
    bool GetRecentItem(const char*, int, char*, int&, char*, int&) override { return false; }
    void AddRecentItem(const char*, const char*, const char*) override {}
};

} // namespace lnqtest
