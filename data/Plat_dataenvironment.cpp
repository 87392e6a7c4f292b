#include "data/Plat_dataenvironment.h"

#include "data/ADOConnection.h"
#include "util/Exceptions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace lnq {

namespace {

std::unique_ptr<TDataEnvironment>& instanceRef() {
    static std::unique_ptr<TDataEnvironment> instance;
    return instance;
}

QString& cacheOverride() {
    static QString path;
    return path;
}

const QString kDictionaryQuery = QStringLiteral("select * from Sys_TableDictionary");

} // namespace

TDataEnvironment::TDataEnvironment() = default;
TDataEnvironment::~TDataEnvironment() = default;

QString TDataEnvironment::CacheFileName() {
    if (!cacheOverride().isEmpty()) return cacheOverride();
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("FldAttr.xml"));
}

void TDataEnvironment::SetCacheFileName(const QString& path) {
    cacheOverride() = path;
}

TDataEnvironment* TDataEnvironment::Instance() {
    return instanceRef().get();
}

TDataEnvironment& TDataEnvironment::GetInstance(TADOConnection& connection) {
    if (auto* env = Instance()) return *env;
    // Built completely before it becomes the instance: a failing query
    // leaves no half-made dictionary behind, and the next call retries.
    std::unique_ptr<TDataEnvironment> env(new TDataEnvironment);
    const QString file = CacheFileName();
    auto ds = std::make_unique<TADODataSet>();
    bool loaded = false;
    if (QFileInfo::exists(file)) {
        try {
            ds->LoadFromFile(file);
            loaded = true;
        } catch (const EReadError& e) {
            // A damaged cache is rebuilt from the database below.
            qWarning("FldAttr: %s: %s", qPrintable(file), qPrintable(e.Message()));
        }
    }
    if (loaded) {
        env->m_dictionary = std::move(ds);
        instanceRef() = std::move(env);
        return *instanceRef();
    }
    ds->SetConnection(&connection);
    ds->SetCommandType(TCommandType::cmdText);
    ds->SetCommandText(kDictionaryQuery);
    ds->Open();
    env->m_dictionary = std::move(ds);
    instanceRef() = std::move(env);
    // The dictionary is in memory now and stays there when the cache cannot be
    // written (a read-only install folder): the error still reaches this
    // caller, but later lookups are answered without querying again. The file
    // is replaced in one step, so a failed write leaves no truncated cache.
    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly))
        throw EInOutError(QStringLiteral("无法创建文件 '%1': %2").arg(file, out.errorString()));
    instanceRef()->m_dictionary->SaveToStream(out);
    if (!out.commit())
        throw EInOutError(QStringLiteral("无法写入文件 '%1': %2").arg(file, out.errorString()));
    return *instanceRef();
}

TDataEnvironment& TDataEnvironment::GetInstance(IConnection& /*connection: the cache alone is read*/) {
    if (auto* env = Instance()) return *env;
    std::unique_ptr<TDataEnvironment> env(new TDataEnvironment);
    const QString file = CacheFileName();
    if (QFileInfo::exists(file)) {
        auto ds = std::make_unique<TADODataSet>();
        try {
            ds->LoadFromFile(file);
            env->m_dictionary = std::move(ds);
        } catch (const Exception& e) {
            // Without a usable cache the captions fall back to the field names.
            qWarning("FldAttr: %s: %s", qPrintable(file), qPrintable(e.Message()));
        }
    }
    instanceRef() = std::move(env);
    return *instanceRef();
}

void TDataEnvironment::FreeInstance() {
    auto& inst = instanceRef();
    if (inst && inst->m_dictionary) inst->m_dictionary->Close();
    inst.reset();
}

QString TDataEnvironment::GetTitleCaption(const QString& name) {
    QString result = name;
    if (!m_dictionary) return result;
    if (!m_dictionary->Locate(QStringLiteral("vFieldName"), QVariant(name), TLocateOption::loCaseInsensitive))
        return result;
    const TField& caption = m_dictionary->FieldByName(QStringLiteral("vFieldDescribe"));
    if (!caption.IsNull()) result = caption.AsString();
    if (!m_dictionary->FieldByName(QStringLiteral("bDisplay")).AsBoolean())
        result = QStringLiteral("NotVisible");
    return result;
}

bool TDataEnvironment::FieldExists(const QString& table, const QString& field) {
    if (!m_dictionary) throw EDatabaseError(QStringLiteral("字段属性字典没有载入"));
    return m_dictionary->Locate(QStringLiteral("vTableName;vFieldName"), QVariantList{table, field},
                                TLocateOption::loCaseInsensitive);
}

TField& TDataEnvironment::FieldByName(const QString& name) {
    if (!m_dictionary) throw EDatabaseError(QStringLiteral("字段属性字典没有载入"));
    return m_dictionary->FieldByName(name);
}

} // namespace lnq
