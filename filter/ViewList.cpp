#include "filter/ViewList.h"

#include "data/DataSet.h"
#include "data/Plat_databaseinterface.h"
#include "util/Plat_convert.h"

namespace lnq {

bool IsSharingField(const QString& name) {
    for (const char* f : {"bShare", "vAllowedUsers", "vAllowedGroups"})
        if (name.compare(QLatin1String(f), Qt::CaseInsensitive) == 0) return true;
    return false;
}

QString SqlQuoted(const QString& text) {
    QString inner = text;
    inner.replace(QLatin1Char('\''), QStringLiteral("''"));
    return QLatin1Char('\'') + inner + QLatin1Char('\'');
}

QString ViewListingSQL(const QString& ext, const QString& userName, const QString& userGroups) {
    // The name inside the charindex pattern is not quoted: the pattern is
    // matched against the stored list exactly as the list holds names.
    return QStringLiteral("select dbo.GetFilePath(vFileName) as f1,dbo.GetFileName(vFileName) as "
                          "f2,vDescription from Sys_FileBase where vExt=") +
           SqlQuoted(ext) + QStringLiteral(" and (bShare=1 or vOwner=") + SqlQuoted(userName) +
           QStringLiteral(" or charindex(',") + userName +
           QStringLiteral(",',vAllowedUsers)>0 or dbo.intersectstr(vAllowedGroups,") + SqlQuoted(userGroups) +
           QStringLiteral("  )>0) order by dbo.GetFilePath(vFileName)");
}

std::vector<TViewEntry> LoadViewList(IConnection& connection, const QString& ext, const QString& userName,
                                     const QString& userGroups) {
    const auto ds = connection.ExecuteWithQuery(ViewListingSQL(ext, userName, userGroups));
    std::vector<TViewEntry> out;
    TField& f1 = ds->FieldByName(QStringLiteral("f1"));
    TField& f2 = ds->FieldByName(QStringLiteral("f2"));
    TField& description = ds->FieldByName(QStringLiteral("vDescription"));
    for (ds->First(); !ds->Eof(); ds->Next())
        out.push_back({f1.AsString(), f2.AsString(), description.AsString()});
    return out;
}

QString ViewDuplicateCountSQL(const QString& folder, const QString& newName, const QString& oldPath,
                              const QString& ext) {
    return QStringLiteral(" SELECT COUNT(*)  FROM Sys_FileBase WHERE vFileName + vExt = ") +
           SqlQuoted(folder + QLatin1Char('\\') + newName + ext) +
           QStringLiteral(" AND vFileName + vExt <> ") + SqlQuoted(oldPath + ext);
}

QString ViewRenameSQL(const QString& folder, const QString& newName, const QString& oldPath,
                      const QString& ext) {
    return QStringLiteral("update sys_FileBase  set vFileName=") +
           SqlQuoted(folder + QLatin1Char('\\') + newName) + QStringLiteral(" ,   vExt=") + SqlQuoted(ext) +
           QStringLiteral(" where vFileName+vExt=") + SqlQuoted(oldPath + ext);
}

QString ViewDeleteSQL(const QString& path, const QString& ext) {
    return QStringLiteral("delete sys_FileBase where vFileName+vExt=") + SqlQuoted(path + ext);
}

QString SubstituteUser(const QString& sql, const QString& userCode, const QString& userName) {
    QString out = sql;
    out.replace(QStringLiteral("[%用户代码%]"), userCode, Qt::CaseSensitive);
    out.replace(QStringLiteral("[%用户名称%]"), userName, Qt::CaseSensitive);
    return out;
}

QString OpenViewSQL(const QString& storedSql, bool isSQL, const QString& tableName, bool withRights,
                    const QString& baseWhere) {
    if (isSQL) return storedSql;
    QString sql = QStringLiteral("select * from ") + tableName + QStringLiteral(" where 1=1  ") + storedSql;
    if (withRights) sql += QStringLiteral(" and ") + baseWhere;
    return sql;
}

QString SearchViewSQL(const QString& conditions, const QString& tableName, bool withRights,
                      const QString& baseWhere) {
    QString sql = QStringLiteral("select * from ") + tableName + QStringLiteral(" where 1=1 ") + conditions;
    if (withRights) sql += QStringLiteral(" and ") + baseWhere;
    return sql;
}

QString AllowedUsersText(const QStringList& checkedUsers) {
    QString out = QStringLiteral(",");
    for (const QString& user : checkedUsers)
        out += user + QLatin1Char(',');
    return out;
}

bool UserAllowed(const QString& allowedUsers, const QString& userName) {
    return allowedUsers.contains(QLatin1Char(',') + userName + QLatin1Char(','));
}

QString GroupEntryText(const QString& groupId, const QString& groupName) {
    return QLatin1Char('[') + groupId + QLatin1Char(']') + groupName;
}

QString AllowedGroupsText(const QStringList& checkedEntries) {
    QString out;
    for (const QString& entry : checkedEntries)
        out += entry.contains(QLatin1Char('[')) ? entry.left(2) : entry;
    return out;
}

bool GroupAllowed(const QString& allowedGroups, const QString& entry) {
    return allowedGroups.contains(entry.left(2));
}

bool ViewNameMatches(const QString& name, const QString& text) {
    TQuickSearchText search;
    search.SetText(text);
    return search.Matches(name);
}

} // namespace lnq
