#pragma once
// The lookup lists behind the lookup dialogs (TUtils_SearchDialogs), without
// their form: each member's query text, the columns it hands back and
// whether several rows may be chosen; and the quick search that narrows a
// list by a column's text or by its pinyin initials. The dialogs and the lnq
// tool's "lookup" command share them.

#include "util/Plat_convert.h"
#include <QByteArray>
#include <QHash>

#include <QList>
#include <QString>
#include <QStringList>

namespace lnq {

struct TSearchList {
    QString member;      // the dialog's name, "ShowMultProvinceListDialog"
    QStringList columns; // the columns handed back, the key first
    bool multi = false;  // several rows may be chosen
    // What shapes the query: a caller's condition, a supplier number,
    // programme packages.
    bool takesCondition = false;
    bool takesGoodsNo = false;
    bool takesPackages = false;
};

class TSearchLists {
public:
    TSearchLists() = delete;

    // Every member, in the order of the dialogs' class.
    static const QList<TSearchList>& Lists();
    // The member of that name (letter case ignored); nullptr when unknown.
    static const TSearchList* Find(const QString& member);
    // The member's query text. condition, goodsNo ("-1": every supplier) and
    // withPackages count only for the members they shape. An unknown member
    // gives "".
    static QString Sql(const QString& member, const QString& condition = {},
                       const QString& goodsNo = QStringLiteral("-1"), bool withPackages = true);

    static QString ServiceSql(const QString& goodsNo);
    static QString ProgramListSql(bool withPackages);
    static QString CustomerSql(const QString& condition);
    static QString SellPlaceSql(const QString& condition);
    static QString GoodsNameSql(const QString& condition);
    static QString ProductListSql(const QString& condition, const QString& goodsNo);

    // The column the quick search starts on: the one titled "名称", else the
    // first whose title holds "名称", else the first; -1 for no columns.
    static int DefaultSearchColumn(const QStringList& titles);
};

} // namespace lnq
