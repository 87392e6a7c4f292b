#pragma once
// IConnection: the one database interface every form, grid and dialog of the
// framework receives (shared ownership: std::shared_ptr<IConnection>). The
// operations keep their fixed order. Operations 1-13 take and return Qt types;
// 14-32 are meant to be called across module boundaries and take plain
// zero-terminated GBK strings and caller-supplied buffers (512 bytes unless
// the caller's documentation says otherwise) with a length out-parameter.

#include "data/DataSet.h"

#include <QIODevice>
#include <QString>
#include <memory>

namespace lnq {

class TADOConnection;

class IConnection {
public:
    virtual ~IConnection() = default;

    // 1. A new dataset opened on sql; the caller owns it.
    virtual std::unique_ptr<TADODataSet> ExecuteWithQuery(const QString& sql) = 0;
    // 2. Re-opens dataSet on sql, replacing a dataset of another kind.
    virtual void ResetDataset(std::unique_ptr<TDataSet>& dataSet, const QString& sql) = 0;
    // 3. A new dataset attached to the connection, not opened; the caller owns it.
    virtual std::unique_ptr<TADODataSet> CreateDataset() = 0;
    // 4. Closes dataSet and opens it on sql.
    virtual void FillDataset(TDataSet& dataSet, const QString& sql) = 0;
    // 5. target becomes a clone of source's record set.
    virtual void CloneDataset(TDataSet& source, TDataSet& target) = 0;
    // 6-8. Stored files in Sys_FileBase, keyed by vFileName+vExt.
    virtual bool StreamExists(const QString& fileName) = 0;
    virtual void SaveStream(const QString& owner, const QString& fileName, QIODevice& stream) = 0;
    virtual void LoadStream(QString& owner, const QString& fileName, QIODevice& stream) = 0;
    // 9-10. Sharing properties of any keyed row.
    virtual bool SetProperty(const QString& table, const QString& keyField, const QString& keyValue,
                             bool share, const QString& allowedUsers, const QString& allowedGroups,
                             const QString& description) = 0;
    virtual bool GetProperty(const QString& table, const QString& keyField, const QString& keyValue,
                             QString& owner, bool& share, QString& allowedUsers, QString& allowedGroups,
                             QString& description) = 0;
    // 11. Hook for servers that map field names.
    virtual QString GetFieldName(const QString& fieldName) = 0;
    // 12. Runs a batch, discarding rows.
    virtual bool ExecuteNonQuery(const QString& sql) = 0;
    // 13. The underlying connection (not owned by the interface's users).
    virtual TADOConnection& MyConnection() = 0;

    // 14-16. Transactions.
    virtual int BeginTrans() = 0;
    virtual void CommitTrans() = 0;
    virtual void RollbackTrans() = 0;
    // 17-18. Current user / customer: number, code and name into 512-byte buffers.
    virtual void GetCurrentUser(int& userNo, char* code, int& codeLen, char* name, int& nameLen) = 0;
    virtual void GetCurrentCustomer(int& customerNo, char* code, int& codeLen, char* name, int& nameLen) = 0;
    // 19-21.
    virtual void AssignTo(const char* a, const char* b, const char* c) = 0;
    virtual void TransTo(const char* a, const char* b, const char* c) = 0;
    virtual void ChangeShareState(const char* a, const char* b, const char* c) = 0;
    // 22. 4096-byte buffer.
    virtual void GetAuthorityString(char* buffer, int& length) = 0;
    // 23. 512-byte buffer.
    virtual void GetCurrrentGroups(char* buffer, int& length) = 0;
    // 24-26. Dataset operations through the server.
    virtual bool DoPost(TDataSet& dataSet, const char* a, const char* b) = 0;
    virtual bool DoDelete(TDataSet& dataSet, const char* a, const char* b) = 0;
    virtual bool DoRefresh(TDataSet& dataSet, const char* a) = 0;
    // 27. 512-byte buffer; the buffer is meaningful only on true.
    virtual bool GetAccessUsers(char* buffer, int& length) = 0;
    // 28. Posts, then reads identityField of the current record.
    virtual bool DoPostWithIdentity(TDataSet& dataSet, const char* tableName, const char* identityField,
                                    int& identity) = 0;
    // 29-32.
    virtual void GetTransIdentityNo() = 0;
    virtual void ExecuteNonQueryWithIdentity(const char* sql, int& identity) = 0;
    virtual void SaveStreamComm(const char* a, const char* b, const char* c, QIODevice& stream) = 0;
    virtual void LoadStreamComm(const char* a, const char* b, const char* c, QIODevice& stream) = 0;
};

// Supplies connections to plug-in modules. Declared for hosts; the framework
// neither implements nor calls it.
class IConnProvider {
public:
    virtual ~IConnProvider() = default;
    virtual std::shared_ptr<IConnection> GetConnection() = 0;
    virtual void ReleaseConnection(const std::shared_ptr<IConnection>& connection) = 0;
};

} // namespace lnq
