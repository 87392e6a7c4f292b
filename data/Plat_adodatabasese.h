#pragma once
// TInterfacedADOConnection: the framework's implementation of IConnection on
// top of a TADOConnection. The connection is not owned: it must outlive every
// interface reference (hosts keep the object in a std::shared_ptr<IConnection>).
//
// Stored files live in Sys_FileBase, keyed by vFileName+vExt. Every query runs
// on a temporary dataset that is closed and freed before the operation returns,
// also when the database raises an error; the error reaches the caller as it is.
// Operations 17-23 and 29-32 belong to a server-side implementation and do
// nothing here: their out-parameters are left as the caller set them.

#include "data/Plat_databaseinterface.h"

namespace lnq {

class TInterfacedADOConnection : public IConnection {
public:
    explicit TInterfacedADOConnection(TADOConnection& connection);
    ~TInterfacedADOConnection() override;

    TInterfacedADOConnection(const TInterfacedADOConnection&) = delete;
    TInterfacedADOConnection& operator=(const TInterfacedADOConnection&) = delete;

    std::unique_ptr<TADODataSet> ExecuteWithQuery(const QString& sql) override;
    void ResetDataset(std::unique_ptr<TDataSet>& dataSet, const QString& sql) override;
    std::unique_ptr<TADODataSet> CreateDataset() override;
    // Raises lnq::Exception "TADODataset与<class>不匹配" for a dataset outside the
    // ADO family and EInvalidCast for TADOQuery / TADOTable.
    void FillDataset(TDataSet& dataSet, const QString& sql) override;
    // Both must be TADODataSet, else lnq::Exception "数据类型不正确".
    void CloneDataset(TDataSet& source, TDataSet& target) override;
    bool StreamExists(const QString& fileName) override;
    void SaveStream(const QString& owner, const QString& fileName, QIODevice& stream) override;
    void LoadStream(QString& owner, const QString& fileName, QIODevice& stream) override;
    bool SetProperty(const QString& table, const QString& keyField, const QString& keyValue, bool share,
                     const QString& allowedUsers, const QString& allowedGroups,
                     const QString& description) override;
    bool GetProperty(const QString& table, const QString& keyField, const QString& keyValue, QString& owner,
                     bool& share, QString& allowedUsers, QString& allowedGroups,
                     QString& description) override;
    QString GetFieldName(const QString& fieldName) override;
    bool ExecuteNonQuery(const QString& sql) override;
    TADOConnection& MyConnection() override;

    int BeginTrans() override;
    void CommitTrans() override;
    void RollbackTrans() override;
    void GetCurrentUser(int& userNo, char* code, int& codeLen, char* name, int& nameLen) override;
    void GetCurrentCustomer(int& customerNo, char* code, int& codeLen, char* name, int& nameLen) override;
    void AssignTo(const char* a, const char* b, const char* c) override;
    void TransTo(const char* a, const char* b, const char* c) override;
    void ChangeShareState(const char* a, const char* b, const char* c) override;
    void GetAuthorityString(char* buffer, int& length) override;
    void GetCurrrentGroups(char* buffer, int& length) override;
    bool DoPost(TDataSet& dataSet, const char* a, const char* b) override;
    bool DoDelete(TDataSet& dataSet, const char* a, const char* b) override;
    bool DoRefresh(TDataSet& dataSet, const char* a) override;
    bool GetAccessUsers(char* buffer, int& length) override;
    bool DoPostWithIdentity(TDataSet& dataSet, const char* tableName, const char* identityField,
                            int& identity) override;
    void GetTransIdentityNo() override;
    void ExecuteNonQueryWithIdentity(const char* sql, int& identity) override;
    void SaveStreamComm(const char* a, const char* b, const char* c, QIODevice& stream) override;
    void LoadStreamComm(const char* a, const char* b, const char* c, QIODevice& stream) override;

    // Drops and creates the scratch table for importing customer lists
    // (tableName in GBK); the batch goes through ExecuteNonQuery. Returns true.
    bool CreateTempCustomerDB(const char* tableName);

    // Single quotes around text, inner quotes doubled.
    static QString QuotedStr(const QString& text);

private:
    TADOConnection* m_connection; // not owned
};

} // namespace lnq
