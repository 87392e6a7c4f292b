#pragma once
// TUtils_SearchDialogs: one lookup dialog per kind of business entity. Each
// lists its lookup query in the search form (TPLAT_Searchfm), lets the user
// choose one row or several, and hands the chosen keys or names back. Every
// member returns the form's modal result: 1 (mrOk) when the user chose, 2
// (mrCancel) when he cancelled; the reference arguments are changed only on
// 1 and only when the list had rows.
//
// Multi-choice members (ShowMult...) take the current result text, a comma
// list such as "1,2,", and append each chosen item not yet in it followed
// by ",": "1,2," and the keys 2 and 3 give "1,2,3,". Single-choice members
// fill their reference arguments from the chosen row.

#include <QString>
#include <QStringList>
#include <functional>

namespace lnq {

class IConnection;
class TPLAT_Searchfm;

class TUtils_SearchDialogs {
public:
    TUtils_SearchDialogs() = delete;

    // Shows sql in the search form and adds, for OK on a non-empty list, the
    // text of keyColumn of every chosen row to results (the marked rows in
    // marking order, else the current row). Returns the modal result.
    // multiSelect false lets the user choose one row only.
    static int CommShowDialog(IConnection& connection, const QString& sql, const QString& keyColumn,
                              QStringList& results, bool multiSelect = true);
    // The same, returning for every chosen row the texts of all `columns`.
    static int ShowRowsDialog(IConnection& connection, const QString& sql, const QStringList& columns,
                              QList<QStringList>& rows, bool multiSelect);

    // 1-based position of item among the comma-separated items of list; 0
    // when absent (an empty item is never found).
    static int ItemInStr(const QString& item, const QString& list);
    // Appends to list every item it does not hold yet, each followed by ","
    // (the multi-choice rule). A list not ending in "," gets one first.
    static void MergeItems(QString& list, const QStringList& items);

    // Multi-choice: provinces ("省份").
    static int ShowMultProvinceListDialog(IConnection& connection, QString& provinces);
    // Services of a supplier (all for goodsNo "-1"): "服务编号" values.
    static int ShowServiceDialog(IConnection& connection, const QString& goodsNo, QStringList& serviceNos);
    // Single choice: "节目编号", "节目名称", "上传节目名称".
    static int ShowProgramPackageDialog(IConnection& connection, QString& programNo, QString& program,
                                        QString& uploadName);
    // Single choice among programmes (and packages when withPackages):
    // number, name, price and whether the row is a package.
    static int ShowProgramListDialog(IConnection& connection, bool withPackages, QString& programNo,
                                     QString& program, QString& price, bool& isPackage);
    // Multi-choice: "节目编号".
    static int ShowMultProgramListDialog(IConnection& connection, bool withPackages, QString& programNos);
    // Multi-choice: "大类名称" / "小类名称".
    static int ShowProductTypeListDialog(IConnection& connection, QString& productTypes);
    static int ShowProductType2ListDialog(IConnection& connection, QString& productTypes2);
    // Single choice: "商品编号", "商品条码", "商品名称".
    static int ShowSt_ProductsListDialog(IConnection& connection, QString& productNo, QString& barcode,
                                         QString& name);
    // Multi-choice: "服务编号".
    static int ShowMultServiceListDialog(IConnection& connection, QString& serviceNos);
    // Single choice of a customer; condition (without "where") narrows the list.
    static int ShowCustomerListDialog(IConnection& connection, const QString& condition, QString& no,
                                      QString& code, QString& name, QString& province);
    // Single choice of a system user.
    static int ShowSystemUserListDialog(IConnection& connection, QString& userNo, QString& userCode,
                                        QString& userName, QString& workRole, QString& tel, QString& email);
    // Multi-choice: customers' "编号".
    static int ShowMultCustomerListDialog(IConnection& connection, QString& customerNos);
    // Single choice of an agent's sale place; condition joined with " and ".
    static int ShowSellPlaceListDialog(IConnection& connection, const QString& condition, QString& no,
                                       QString& name, QString& province);
    // Multi-choice: agents' "编号".
    static int ShowMultSellPlaceListDialog(IConnection& connection, QString& sellPlaceNos);
    // Single choice of a supplier; condition joined with " and ".
    static int ShowGoodsNameListDialog(IConnection& connection, const QString& condition, QString& no,
                                       QString& name, QString& province);
    // Products, narrowed by condition (a condition text beginning with its
    // joiner, " and ...", or a bare condition) and by the supplier unless
    // goodsNo is "-1"; "商品编码" and "编号" of every chosen row.
    static int ShowProductListDialog(IConnection& connection, const QString& condition,
                                     const QString& goodsNo, QStringList& barcodes, QStringList& productNos);
    // Multi-choice: "类型名称".
    static int ShowMultCustomerKindListDialog(IConnection& connection, QString& customerKinds);
    // Multi-choice: suppliers' "编号".
    static int ShowMultGoodsListDialog(IConnection& connection, QString& goodsNos);

    // The members' query texts, as they are sent.
    static QString ServiceSql(const QString& goodsNo);
    static QString ProgramListSql(bool withPackages);
    static QString CustomerSql(const QString& condition);
    static QString SellPlaceSql(const QString& condition);
    static QString GoodsNameSql(const QString& condition);
    static QString ProductListSql(const QString& condition, const QString& goodsNo);

    // Called with the search form after it is filled and just before it runs
    // modally: tests and demonstrations drive the form here. When the hook
    // closes the form (accept, reject, done) it is not shown at all.
    static std::function<void(TPLAT_Searchfm&)> OnBeforeShow;
};

} // namespace lnq
