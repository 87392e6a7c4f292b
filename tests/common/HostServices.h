#pragma once
// What a host hands the business forms in their tests: a connection that
// knows the signed-in user and a services interface with receipt numbering.

#include "data/Plat_adodatabasese.h"
#include "util/Gbk.h"
#include "util/Plat_servicesinterface.h"

#include <cstring>

namespace lnqtest {

// Text handed through a host's buffer: GBK bytes and their count.
inline void putGbk(const QString& text, char* buffer, int& length) {
    const QByteArray bytes = lnq::Gbk::encode(text);
    std::memcpy(buffer, bytes.constData(), size_t(bytes.size()));
    length = int(bytes.size());
}

// Signed in as 张伟 (code "zhangwei"), restricted by authority when it is set.
class UserConnection : public lnq::TInterfacedADOConnection {
public:
    using TInterfacedADOConnection::TInterfacedADOConnection;
    QString authority;
    void GetCurrentUser(int& userNo, char* code, int& codeLen, char* name, int& nameLen) override {
        userNo = 2;
        putGbk(QStringLiteral("zhangwei"), code, codeLen);
        putGbk(QStringLiteral("张伟"), name, nameLen);
    }
    void GetAuthorityString(char* buffer, int& length) override {
        if (!authority.isEmpty()) putGbk(authority, buffer, length);
    }
};

// Numbers receipts of the kind "SaleOrder" with receiptNo (none when empty)
// and keeps the app links it is asked to open.
class HostServices : public lnq::IServicesInterface {
public:
    QByteArray receiptNo;
    QStringList links;
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
    void OpenAppLink(const char* link) override { links << lnq::Gbk::decode(QByteArray(link)); }
    int GetRecentCount(const char*) override { return 0; }
    bool GetRecentItem(const char*, int, char*, int&, char*, int&) override { return false; }
    void AddRecentItem(const char*, const char*, const char*) override {}
};

} // namespace lnqtest
