#pragma once
// Saved views as rows of Sys_FileBase: which views a user may see, the texts
// that rename and delete them, the SQL that opening one produces, the rights
// lists stored with them, and the narrowing of the views tree by a typed text.
// The view editor and the views frame build on these; the lnq tool too.
//
// Rights lists as stored:
//   vAllowedUsers   "," + every allowed user followed by ",": ",ann,bob,"
//   vAllowedGroups  one piece per allowed group entry "[ID]name", written
//                   without separators: the entry's first two characters when
//                   it holds "[" (so "[B0]销售部" gives "[B"), else the whole
//                   entry. Two-character pieces are what the database's
//                   intersectstr compares.

#include <QString>
#include <QStringList>
#include <vector>

namespace lnq {

class IConnection;

// Single quotes around, inner quotes doubled.
QString SqlQuoted(const QString& text);

// The sharing columns of a shared table (bShare, vAllowedUsers,
// vAllowedGroups, any letter case): the view machinery's own, never shown in
// lists or offered as conditions.
bool IsSharingField(const QString& name);

// The listing of the views a user may see: shared, owned, allowed by name or
// by a shared group, ordered by folder.
QString ViewListingSQL(const QString& ext, const QString& userName, const QString& userGroups);

struct TViewEntry {
    QString Folder;
    QString Name;
    QString Description;
    bool operator==(const TViewEntry&) const = default;
};

// Runs ViewListingSQL; the rows in the listing's order.
std::vector<TViewEntry> LoadViewList(IConnection& connection, const QString& ext, const QString& userName,
                                     const QString& userGroups);

// Counts the other views that already have the name folder\newName.
QString ViewDuplicateCountSQL(const QString& folder, const QString& newName, const QString& oldPath,
                              const QString& ext);
QString ViewRenameSQL(const QString& folder, const QString& newName, const QString& oldPath,
                      const QString& ext);
QString ViewDeleteSQL(const QString& path, const QString& ext);

// The user substitutions of a stored text: every "[%用户代码%]" by the code,
// then every "[%用户名称%]" by the name (case-sensitive).
QString SubstituteUser(const QString& sql, const QString& userCode, const QString& userName);

// The SELECT that opening a view produces: a condition list (its text starts
// with " and (") is appended to "select * from " + table + " where 1=1  ",
// followed by " and " + baseWhere when withRights; raw SQL as it stands.
QString OpenViewSQL(const QString& storedSql, bool isSQL, const QString& tableName, bool withRights,
                    const QString& baseWhere);
// The SELECT of an ad hoc search: conditions from the search dialog.
QString SearchViewSQL(const QString& conditions, const QString& tableName, bool withRights,
                      const QString& baseWhere);

// Rights lists (see the head of this file).
QString AllowedUsersText(const QStringList& checkedUsers);
bool UserAllowed(const QString& allowedUsers, const QString& userName);
QString GroupEntryText(const QString& groupId, const QString& groupName);
QString AllowedGroupsText(const QStringList& checkedEntries);
bool GroupAllowed(const QString& allowedGroups, const QString& entry);

// Whether a view or folder name is kept by the tree's search box: an empty
// text keeps all; otherwise the name contains the text (letter case ignored)
// or the name's pinyin initials contain it ("bjkh" keeps 北京客户).
bool ViewNameMatches(const QString& name, const QString& text);

} // namespace lnq
