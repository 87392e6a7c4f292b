#include "forms/Plat_searchlists.h"

#include "util/Plat_convert.h"
#include "util/Plat_sysutils.h"

namespace lnq {

namespace {

// The members' query texts; blanks and letter case are part of them.
const QString kProvinceSql = QStringLiteral("select vProvince as 省份 from dic_Province");
const QString kServiceHead =
    QStringLiteral(" SELECT vService AS '服务名称', iServiceNo AS '服务编号' FROM Dic_Service  ");
const QString kProgramPackageSql = QStringLiteral(
    "select iProgramNo 节目编号,vProgram 节目名称,vCBsimpleProgram 上传节目名称 from dic_program  ");
const QString kProgramWithPackagesSql =
    QStringLiteral("select iProgramNo 节目编号,vProgram 节目名称,mPrice  节目单价,'单一节目' as 节目类型 "
                   "from dic_program   union "
                   "all  select iNo as 节目编号,vPackageName 节目名称,mPrice 节目单价,'节目包' as 节目类型 "
                   "from dic_programPackage ");
const QString kProgramSql =
    QStringLiteral("select iProgramNo 节目编号,vProgram 节目名称,mPrice  节目单价 from dic_program  ");
const QString kProductTypeSql =
    QStringLiteral("SELECT DISTINCT vProductType 大类名称 FROM Dic_ProductType  ");
const QString kProductType2Sql =
    QStringLiteral("SELECT DISTINCT vProductType2 小类名称 FROM Dic_ProductType  ");
const QString kStProductsSql =
    QStringLiteral("SELECT iProductNo 商品编号,vBarcode 商品条码,vProductName 商品名称 FROM St_Products  ");
const QString kMultServiceSql =
    QStringLiteral("select iServiceNo 服务编号,vService 服务名称,mPrice  服务单价 from dic_Service  ");
const QString kCustomerSql =
    QStringLiteral(" select      iCustomerNo as 编号    , vCustomerNo as 编码    , "
                   "vCustomerName as 名称    , vProvince as 省份  from Cust_CustomersMain ");
const QString kSystemUserSql = QStringLiteral(
    "SELECT iUserNo 用户编号,vUserName as 用户编码,vName 用户名称,vWorkRole 工作角色,vTel 电话,vEmail "
    "Email FROM Sys_SystemUser ");
const QString kMultCustomerSql = QStringLiteral(
    " select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from Cust_CustomersMain ");
const QString kSellPlaceSql = QStringLiteral(" select iCustomerNo as 编号, vCustomerName as 名称,vProvince "
                                             "as 省份 from Cust_CustomersMain  where bIsAgent=1 ");
const QString kMultSellPlaceSql =
    QStringLiteral(" select iCustomerNo as 编号, vCustomerName as 名称,vProvince as 省份 from "
                   "Cust_CustomersMain where bIsAgent=1 ");
const QString kGoodsNameSql =
    QStringLiteral(" select iCustomerNo as 编号, vCustomerName as 供应商名称,vProvince as 省份 from "
                   "Cust_CustomersMain  where bIsSupplier=1 ");
const QString kProductListSql = QStringLiteral(
    " SELECT vBarCode 商品编码   , vProductName 商品名称   , mSellPrice 销售单价   , fSellCount 可销售数量   "
    ", "
    "fStorageCount 库存数量   , vModel 生产商编码   , vSpecification 规格   , vProductNameEn 客户方编码   , "
    "vGoodsName 供应商   , iGoodsNo 供应商No   , iProductNo 编号   FROM St_Products");
const QString kCustomerKindSql = QStringLiteral(
    "select vCustomersKind as 类型名称,min(vCustomersKindCn) as 类型描述 from dic_unicustomerskind "
    "group by vCustomersKind");
const QString kMultGoodsSql = QStringLiteral("SELECT vProvince 省份,vCustomerName 供应商名称,iCustomerNo "
                                             "编号 FROM cust_CustomersMain where bisSupplier=1 ");

// Whether a condition text starts with its own joiner (" and ...", "or ...").
bool startsWithJoiner(const QString& condition) {
    const QString t = condition.trimmed();
    for (const QLatin1String word : {QLatin1String("and"), QLatin1String("or")}) {
        if (t.startsWith(word, Qt::CaseInsensitive) &&
            (t.size() == word.size() || t.at(word.size()).isSpace() || t.at(word.size()) == u'('))
            return true;
    }
    return false;
}

// Whether a supplier number narrows the list ("-1" and "" mean every
// supplier). The number goes into the query text as given, so anything but
// an integer is refused (EConvertError).
bool isSupplier(const QString& goodsNo) {
    if (goodsNo == QStringLiteral("-1") || goodsNo.trimmed().isEmpty()) return false;
    StrToInt64(goodsNo);
    return true;
}

} // namespace

// ---------------------------------------------------------------- query texts

QString TSearchLists::ServiceSql(const QString& goodsNo) {
    if (!isSupplier(goodsNo)) return kServiceHead + QStringLiteral("ORDER BY iServiceNo DESC");
    return kServiceHead + QStringLiteral("WHERE iGoodsNo = ") + goodsNo +
           QStringLiteral(" ORDER BY iServiceNo DESC");
}

QString TSearchLists::ProgramListSql(bool withPackages) {
    return withPackages ? kProgramWithPackagesSql : kProgramSql;
}

QString TSearchLists::CustomerSql(const QString& condition) {
    return condition.trimmed().isEmpty() ? kCustomerSql
                                         : kCustomerSql + QStringLiteral(" where ") + condition;
}

QString TSearchLists::SellPlaceSql(const QString& condition) {
    return condition.trimmed().isEmpty() ? kSellPlaceSql
                                         : kSellPlaceSql + QStringLiteral(" and ") + condition;
}

QString TSearchLists::GoodsNameSql(const QString& condition) {
    return condition.trimmed().isEmpty() ? kGoodsNameSql
                                         : kGoodsNameSql + QStringLiteral(" and ") + condition;
}

QString TSearchLists::ProductListSql(const QString& condition, const QString& goodsNo) {
    QString sql = kProductListSql + QStringLiteral(" WHERE 1=1 ");
    if (!condition.trimmed().isEmpty())
        sql += startsWithJoiner(condition) ? condition : QStringLiteral(" AND ") + condition;
    if (isSupplier(goodsNo)) sql += QStringLiteral(" AND iGoodsNo=") + goodsNo;
    return sql;
}

// ---------------------------------------------------------------- members

const QList<TSearchList>& TSearchLists::Lists() {
    // member, columns handed back (key first), multi, condition, supplier, packages
    static const QList<TSearchList> lists = {
        {QStringLiteral("ShowMultProvinceListDialog"), {QStringLiteral("省份")}, true},
        {QStringLiteral("ShowServiceDialog"), {QStringLiteral("服务编号")}, true, false, true},
        {QStringLiteral("ShowProgramPackageDialog"),
         {QStringLiteral("节目编号"), QStringLiteral("节目名称"), QStringLiteral("上传节目名称")},
         false},
        {QStringLiteral("ShowProgramListDialog"),
         {QStringLiteral("节目编号"), QStringLiteral("节目名称"), QStringLiteral("节目单价")},
         false,
         false,
         false,
         true},
        {QStringLiteral("ShowMultProgramListDialog"), {QStringLiteral("节目编号")}, true, false, false, true},
        {QStringLiteral("ShowProductTypeListDialog"), {QStringLiteral("大类名称")}, true},
        {QStringLiteral("ShowProductType2ListDialog"), {QStringLiteral("小类名称")}, true},
        {QStringLiteral("ShowSt_ProductsListDialog"),
         {QStringLiteral("商品编号"), QStringLiteral("商品条码"), QStringLiteral("商品名称")},
         false},
        {QStringLiteral("ShowMultServiceListDialog"), {QStringLiteral("服务编号")}, true},
        {QStringLiteral("ShowCustomerListDialog"),
         {QStringLiteral("编号"), QStringLiteral("编码"), QStringLiteral("名称"), QStringLiteral("省份")},
         false,
         true},
        {QStringLiteral("ShowSystemUserListDialog"),
         {QStringLiteral("用户编号"), QStringLiteral("用户编码"), QStringLiteral("用户名称"),
          QStringLiteral("工作角色"), QStringLiteral("电话"), QStringLiteral("Email")},
         false},
        {QStringLiteral("ShowMultCustomerListDialog"), {QStringLiteral("编号")}, true},
        {QStringLiteral("ShowSellPlaceListDialog"),
         {QStringLiteral("编号"), QStringLiteral("名称"), QStringLiteral("省份")},
         false,
         true},
        {QStringLiteral("ShowMultSellPlaceListDialog"), {QStringLiteral("编号")}, true},
        {QStringLiteral("ShowGoodsNameListDialog"),
         {QStringLiteral("编号"), QStringLiteral("供应商名称"), QStringLiteral("省份")},
         false,
         true},
        {QStringLiteral("ShowProductListDialog"),
         {QStringLiteral("商品编码"), QStringLiteral("编号")},
         true,
         true,
         true},
        {QStringLiteral("ShowMultCustomerKindListDialog"), {QStringLiteral("类型名称")}, true},
        {QStringLiteral("ShowMultGoodsListDialog"), {QStringLiteral("编号")}, true},
    };
    return lists;
}

const TSearchList* TSearchLists::Find(const QString& member) {
    for (const TSearchList& l : Lists())
        if (l.member.compare(member, Qt::CaseInsensitive) == 0) return &l;
    return nullptr;
}

QString TSearchLists::Sql(const QString& member, const QString& condition, const QString& goodsNo,
                          bool withPackages) {
    const TSearchList* list = Find(member);
    if (!list) return {};
    const QString& m = list->member;
    if (m == QLatin1String("ShowMultProvinceListDialog")) return kProvinceSql;
    if (m == QLatin1String("ShowServiceDialog")) return ServiceSql(goodsNo);
    if (m == QLatin1String("ShowProgramPackageDialog")) return kProgramPackageSql;
    if (m == QLatin1String("ShowProgramListDialog") || m == QLatin1String("ShowMultProgramListDialog"))
        return ProgramListSql(withPackages);
    if (m == QLatin1String("ShowProductTypeListDialog")) return kProductTypeSql;
    if (m == QLatin1String("ShowProductType2ListDialog")) return kProductType2Sql;
    if (m == QLatin1String("ShowSt_ProductsListDialog")) return kStProductsSql;
    if (m == QLatin1String("ShowMultServiceListDialog")) return kMultServiceSql;
    if (m == QLatin1String("ShowCustomerListDialog")) return CustomerSql(condition);
    if (m == QLatin1String("ShowSystemUserListDialog")) return kSystemUserSql;
    if (m == QLatin1String("ShowMultCustomerListDialog")) return kMultCustomerSql;
    if (m == QLatin1String("ShowSellPlaceListDialog")) return SellPlaceSql(condition);
    if (m == QLatin1String("ShowMultSellPlaceListDialog")) return kMultSellPlaceSql;
    if (m == QLatin1String("ShowGoodsNameListDialog")) return GoodsNameSql(condition);
    if (m == QLatin1String("ShowProductListDialog")) return ProductListSql(condition, goodsNo);
    if (m == QLatin1String("ShowMultCustomerKindListDialog")) return kCustomerKindSql;
    return kMultGoodsSql;
}

int TSearchLists::DefaultSearchColumn(const QStringList& titles) {
    const int exact = int(titles.indexOf(QStringLiteral("名称")));
    if (exact >= 0) return exact;
    for (int i = 0; i < titles.size(); ++i)
        if (titles[i].contains(QStringLiteral("名称"))) return i;
    return titles.isEmpty() ? -1 : 0;
}

} // namespace lnq
