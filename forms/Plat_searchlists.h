#pragma once
// The lookup lists behind the lookup dialogs (TUtils_SearchDialogs), without
// their form: each member's query text, the columns it hands back and
// whether several rows may be chosen; and the quick search that narrows a
// list by a column's text or by its pinyin initials. The dialogs and the lnq
// tool's "lookup" command share them.

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

// The quick search's value: a value passes when it contains the text
// (letter case ignored) or, for a text of ASCII letters and digits, when its
// pinyin initials contain the text. An empty (or blank) text passes every value.
class TQuickSearchText {
public:
    void SetText(const QString& text);
    QString Text() const { return m_text; }
    bool IsEmpty() const { return m_text.isEmpty(); }
    bool Matches(const QString& value) const;

private:
    QString m_text;
    QByteArray m_initials;
    // Initials of the values met so far: a list is searched again at every
    // keystroke, and looking a text up costs a fraction of working out its
    // initials. Bounded: emptied when it reaches kCacheLimit texts.
    static constexpr qsizetype kCacheLimit = 250000;
    mutable QHash<QString, QByteArray> m_initialsOf;
};

} // namespace lnq
