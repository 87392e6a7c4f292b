#include "data/Plat_adodatabasese.h"

#include "data/ADOConnection.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

namespace lnq {

namespace {

const QString kFileQuery = QStringLiteral("select * from Sys_Filebase where vFileName+vExt=");
// Two blanks before and after "where": the text the stored-file writer has always sent.
const QString kFileSaveQuery = QStringLiteral("select * from Sys_FileBase  where  vFileName+vExt=");

// The extension of a stored file's name: from its last dot on, when that dot
// comes after the last path separator.
QString extractExt(const QString& name) {
    for (qsizetype i = name.size() - 1; i >= 0; --i) {
        const QChar c = name[i];
        if (c == QLatin1Char('.')) return name.mid(i);
        if (c == QLatin1Char('\\') || c == QLatin1Char('/') || c == QLatin1Char(':')) break;
    }
    return QString();
}

QByteArray readWhole(QIODevice& stream) {
    if (!stream.isOpen() || !stream.isReadable()) throw EInOutError(QStringLiteral("流不可读"));
    if (!stream.isSequential()) {
        if (!stream.seek(0)) throw EInOutError(QStringLiteral("流定位失败"));
        const qint64 size = stream.size();
        QByteArray data;
        data.resize(size);
        qint64 got = 0;
        while (got < size) {
            const qint64 r = stream.read(data.data() + got, size - got);
            if (r <= 0) break;
            got += r;
        }
        if (got != size) throw EReadError(QStringLiteral("流读取错误"));
        return data;
    }
    return stream.readAll();
}

} // namespace

TInterfacedADOConnection::TInterfacedADOConnection(TADOConnection& connection) : m_connection(&connection) {}

TInterfacedADOConnection::~TInterfacedADOConnection() = default;

QString TInterfacedADOConnection::QuotedStr(const QString& text) {
    QString t = text;
    t.replace(QLatin1Char('\''), QLatin1String("''"));
    return QLatin1Char('\'') + t + QLatin1Char('\'');
}

// 1
std::unique_ptr<TADODataSet> TInterfacedADOConnection::ExecuteWithQuery(const QString& sql) {
    auto ds = std::make_unique<TADODataSet>();
    ds->SetConnection(m_connection);
    ds->SetCommandType(TCommandType::cmdText);
    ds->SetCommandText(sql);
    ds->Open();
    return ds;
}

// 2
void TInterfacedADOConnection::ResetDataset(std::unique_ptr<TDataSet>& dataSet, const QString& sql) {
    if (dataSet && !dynamic_cast<TADODataSet*>(dataSet.get())) {
        dataSet->Close();
        dataSet.reset();
    }
    if (auto* ado = dynamic_cast<TADODataSet*>(dataSet.get())) {
        ado->Close();
        ado->SetConnection(m_connection);
        ado->SetCommandType(TCommandType::cmdText);
        ado->SetCommandText(sql);
        ado->Open();
        return;
    }
    dataSet = ExecuteWithQuery(sql);
}

// 3
std::unique_ptr<TADODataSet> TInterfacedADOConnection::CreateDataset() {
    auto ds = std::make_unique<TADODataSet>();
    ds->SetConnection(m_connection);
    return ds;
}

// 4
void TInterfacedADOConnection::FillDataset(TDataSet& dataSet, const QString& sql) {
    if (!dynamic_cast<TCustomADODataSet*>(&dataSet))
        throw Exception(QStringLiteral("TADODataset与") + dataSet.ClassName() + QStringLiteral("不匹配"));
    // The work goes through the plain dataset class: a query or table
    // component of the same family passes the test above and fails here.
    auto* ado = dynamic_cast<TADODataSet*>(&dataSet);
    if (!ado) throw EInvalidCast(QStringLiteral("无效的类类型转换"));
    ado->Close();
    ado->SetCommandType(TCommandType::cmdText);
    ado->SetCommandText(sql);
    ado->Open();
}

// 5
void TInterfacedADOConnection::CloneDataset(TDataSet& source, TDataSet& target) {
    auto* src = dynamic_cast<TADODataSet*>(&source);
    auto* dst = dynamic_cast<TADODataSet*>(&target);
    if (!src || !dst) throw Exception(QStringLiteral("数据类型不正确"));
    dst->Clone(*src);
}

// 6
bool TInterfacedADOConnection::StreamExists(const QString& fileName) {
    const auto ds = ExecuteWithQuery(kFileQuery + QuotedStr(fileName));
    return ds->RecordCount() > 0;
}

// 7
void TInterfacedADOConnection::SaveStream(const QString& owner, const QString& fileName, QIODevice& stream) {
    const QByteArray data = readWhole(stream);
    const auto ds = ExecuteWithQuery(kFileSaveQuery + QuotedStr(fileName));
    if (ds->RecordCount() != 0) {
        // Further rows of the same name stay as they are: the post finds the
        // first one by its identity (key or rowid), not by the name.
        ds->First();
        ds->Edit();
    } else {
        const QString ext = extractExt(fileName);
        ds->Insert();
        ds->FieldByName(QStringLiteral("vFileName")).SetAsString(fileName.left(fileName.size() - ext.size()));
        ds->FieldByName(QStringLiteral("vExt")).SetAsString(ext);
    }
    // Saving takes ownership, also of an existing file.
    ds->FieldByName(QStringLiteral("vOwner")).SetAsString(owner);
    {
        const std::unique_ptr<QIODevice> blob =
            ds->CreateBlobStream(ds->FieldByName(QStringLiteral("imgFileData")), TBlobStreamMode::bmWrite);
        blob->seek(0);
        if (blob->write(data) != data.size()) throw EInOutError(QStringLiteral("写入文件数据失败"));
        blob->close();
    }
    ds->Post();
}

// 8
void TInterfacedADOConnection::LoadStream(QString& owner, const QString& fileName, QIODevice& stream) {
    if (!stream.isSequential()) stream.seek(0);
    const auto ds = ExecuteWithQuery(kFileQuery + QuotedStr(fileName));
    if (ds->RecordCount() <= 0) return;
    ds->First();
    QByteArray data;
    {
        const std::unique_ptr<QIODevice> blob =
            ds->CreateBlobStream(ds->FieldByName(QStringLiteral("imgFileData")), TBlobStreamMode::bmRead);
        data = blob->readAll();
    }
    // Written over the destination from its start; a longer destination
    // keeps its tail.
    if (!stream.isOpen() || !stream.isWritable() || stream.write(data) != data.size())
        throw EInOutError(QStringLiteral("流写入错误"));
    owner = ds->FieldByName(QStringLiteral("vOwner")).AsString();
}

// 9
bool TInterfacedADOConnection::SetProperty(const QString& table, const QString& keyField,
                                           const QString& keyValue, bool share, const QString& allowedUsers,
                                           const QString& allowedGroups, const QString& description) {
    const auto ds = ExecuteWithQuery(
        QStringLiteral("select bShare,vAllowedUsers,vAllowedGroups,vDescription from ") + table +
        QStringLiteral(" where ") + keyField + QStringLiteral("=") + QuotedStr(keyValue));
    if (ds->Bof() && ds->Eof()) return false;
    // The first matching row only: the dataset's row identity (not the key
    // value, which other rows may share) tells the database which one.
    ds->First();
    ds->Edit();
    ds->FieldByName(QStringLiteral("bShare")).SetAsBoolean(share);
    ds->FieldByName(QStringLiteral("vAllowedUsers")).SetAsString(allowedUsers);
    ds->FieldByName(QStringLiteral("vAllowedGroups")).SetAsString(allowedGroups);
    ds->FieldByName(QStringLiteral("vDescription")).SetAsString(description);
    ds->Post();
    return true;
}

// 10
bool TInterfacedADOConnection::GetProperty(const QString& table, const QString& keyField,
                                           const QString& keyValue, QString& /*owner: never written*/,
                                           bool& share, QString& allowedUsers, QString& allowedGroups,
                                           QString& description) {
    const auto ds = ExecuteWithQuery(
        QStringLiteral("select bShare,vAllowedUsers,vAllowedGroups,vDescription from ") + table +
        QStringLiteral(" where ") + keyField + QStringLiteral("=") + QuotedStr(keyValue));
    if (ds->Bof() && ds->Eof()) return false;
    share = ds->FieldByName(QStringLiteral("bShare")).AsBoolean();
    allowedUsers = ds->FieldByName(QStringLiteral("vAllowedUsers")).AsString();
    allowedGroups = ds->FieldByName(QStringLiteral("vAllowedGroups")).AsString();
    description = ds->FieldByName(QStringLiteral("vDescription")).AsString();
    return true;
}

// 11
QString TInterfacedADOConnection::GetFieldName(const QString& fieldName) {
    return fieldName;
}

// 12
bool TInterfacedADOConnection::ExecuteNonQuery(const QString& sql) {
    m_connection->Execute(sql);
    return true;
}

// 13
TADOConnection& TInterfacedADOConnection::MyConnection() {
    return *m_connection;
}

// 14-16
int TInterfacedADOConnection::BeginTrans() {
    return m_connection->BeginTrans();
}
void TInterfacedADOConnection::CommitTrans() {
    m_connection->CommitTrans();
}
void TInterfacedADOConnection::RollbackTrans() {
    m_connection->RollbackTrans();
}

// 17-23: served by a server-side implementation; nothing here.
void TInterfacedADOConnection::GetCurrentUser(int&, char*, int&, char*, int&) {}
void TInterfacedADOConnection::GetCurrentCustomer(int&, char*, int&, char*, int&) {}
void TInterfacedADOConnection::AssignTo(const char*, const char*, const char*) {}
void TInterfacedADOConnection::TransTo(const char*, const char*, const char*) {}
void TInterfacedADOConnection::ChangeShareState(const char*, const char*, const char*) {}
void TInterfacedADOConnection::GetAuthorityString(char*, int&) {}
void TInterfacedADOConnection::GetCurrrentGroups(char*, int&) {}

// 24
bool TInterfacedADOConnection::DoPost(TDataSet& dataSet, const char*, const char*) {
    if (dataSet.State() == TDataSetState::dsEdit || dataSet.State() == TDataSetState::dsInsert)
        dataSet.Post();
    return true;
}

// 25
bool TInterfacedADOConnection::DoDelete(TDataSet& dataSet, const char*, const char*) {
    dataSet.Delete();
    return true;
}

// 26
bool TInterfacedADOConnection::DoRefresh(TDataSet& dataSet, const char*) {
    if (auto* ado = dynamic_cast<TCustomADODataSet*>(&dataSet)) {
        ado->Requery();
        return true;
    }
    return false;
}

// 27
bool TInterfacedADOConnection::GetAccessUsers(char*, int&) {
    return false;
}

// 28
bool TInterfacedADOConnection::DoPostWithIdentity(TDataSet& dataSet, const char* /*tableName: unused*/,
                                                  const char* identityField, int& identity) {
    if (dataSet.State() == TDataSetState::dsEdit || dataSet.State() == TDataSetState::dsInsert)
        dataSet.Post();
    identity = dataSet.FieldByName(Gbk::decode(identityField ? identityField : "")).AsInteger();
    return true;
}

// 29-32: served by a server-side implementation; nothing here.
void TInterfacedADOConnection::GetTransIdentityNo() {}
void TInterfacedADOConnection::ExecuteNonQueryWithIdentity(const char*, int&) {}
void TInterfacedADOConnection::SaveStreamComm(const char*, const char*, const char*, QIODevice&) {}
void TInterfacedADOConnection::LoadStreamComm(const char*, const char*, const char*, QIODevice&) {}

bool TInterfacedADOConnection::CreateTempCustomerDB(const char* tableName) {
    const QString name = Gbk::decode(tableName ? tableName : "");
    struct Column {
        const char* name;
        int width; // 0: a date column
    };
    static const Column columns[] = {
        {"客户编码", 50}, {"客户名称", 80}, {"地址", 80},      {"客户英文名称", 80}, {"客户英文地址", 80},
        {"省份", 20},     {"城市", 20},     {"邮政编码", 6},   {"网址", 80},         {"备注", 500},
        {"客户类型", 20}, {"联系人", 20},   {"性别", 8},       {"电话", 50},         {"传真", 50},
        {"手机", 50},     {"Email", 50},    {"自定义01", 200}, {"自定义02", 200},    {"日期01", 0},
        {"日期02", 0},
    };
    QString sql = QStringLiteral(" if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[") +
                  name + QStringLiteral("]') and OBJECTPROPERTY(id, N'IsUserTable') = 1)") +
                  QStringLiteral(" drop table [dbo].[") + name + QStringLiteral("]") + QStringLiteral(" ") +
                  QStringLiteral(" CREATE TABLE [dbo].[") + name + QStringLiteral("] (");
    const int count = static_cast<int>(std::size(columns));
    for (int i = 0; i < count; ++i) {
        sql += QStringLiteral(" \t[") + QString::fromUtf8(columns[i].name) + QStringLiteral("] ");
        if (columns[i].width > 0)
            sql += QStringLiteral("[varchar] (%1) COLLATE Chinese_PRC_CI_AS NULL").arg(columns[i].width);
        else
            sql += QStringLiteral("[datetime] NULL");
        sql += i + 1 < count ? QStringLiteral(" ,") : QStringLiteral(" ");
    }
    sql += QStringLiteral(" ) ON [PRIMARY]");
    ExecuteNonQuery(sql);
    return true;
}

} // namespace lnq
