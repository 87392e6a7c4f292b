#pragma once
// TDataEnvironment: the process-wide field dictionary (Sys_TableDictionary:
// vTableName, vFieldName, vFieldDescribe, bDisplay). Grids and forms ask it for
// column captions; the caption "NotVisible" orders a column hidden.
//
// The dictionary is cached beside the executable in "FldAttr.xml", written in
// the dataset engine's own record-set file format (recognised by content; the
// name is kept for compatibility). The framework never refreshes the cache:
// delete the file to pick up dictionary changes.
//
// Usage: TDataEnvironment::GetInstance(connection).GetTitleCaption("vName").

#include "data/DataSet.h"

#include <QString>
#include <memory>

namespace lnq {

class IConnection;

class TDataEnvironment {
public:
    // The singleton, built on the first call: from the cache file when it
    // exists, else by querying "select * from Sys_TableDictionary" on the
    // connection and saving the cache. Later calls ignore the argument. Errors
    // of the query or of saving propagate; after a failed query no instance
    // is kept, after a failed save (a read-only folder) the dictionary read
    // from the database is kept and serves every later call.
    static TDataEnvironment& GetInstance(TADOConnection& connection);
    // The singleton, built on the first call from the cache file only; without
    // a usable cache it has no dictionary (captions are the field names).
    static TDataEnvironment& GetInstance(IConnection& connection);
    // The current instance or nullptr; never builds one.
    static TDataEnvironment* Instance();
    // Frees the dictionary and the instance; the next GetInstance builds anew.
    static void FreeInstance();
    // Full path of the cache file: the directory of the executable +
    // "FldAttr.xml", unless SetCacheFileName chose another (tests running side
    // by side in one directory, hosts installed read-only). "" restores it.
    static QString CacheFileName();
    static void SetCacheFileName(const QString& path);

    // The caption to show for a column: vFieldDescribe of the first dictionary
    // row whose vFieldName equals name (any letter case, any table), the name
    // itself when there is no such row or no caption, "NotVisible" when the
    // row's bDisplay is false.
    QString GetTitleCaption(const QString& name);
    // Whether the dictionary has a row for the pair (letter case ignored).
    // Raises EDatabaseError when there is no dictionary.
    bool FieldExists(const QString& table, const QString& field);
    // The dictionary's field of that name on its current row (moved by the
    // two lookups above). EDatabaseError for an unknown name or no dictionary.
    TField& FieldByName(const QString& name);

    // The dictionary dataset, nullptr when none could be loaded.
    TDataSet* Dictionary() const { return m_dictionary.get(); }

    ~TDataEnvironment();
    TDataEnvironment(const TDataEnvironment&) = delete;
    TDataEnvironment& operator=(const TDataEnvironment&) = delete;

private:
    TDataEnvironment();
    std::unique_ptr<TADODataSet> m_dictionary;
};

} // namespace lnq
