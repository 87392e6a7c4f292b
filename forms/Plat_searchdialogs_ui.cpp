#include "forms/Plat_searchdialogs_ui.h"

#include "data/Plat_databaseinterface.h"
#include "forms/Plat_searchdialogfm_ui.h"
#include "grid/data/Ctrl_LNQDBGrid.h"

#include <QApplication>
#include <memory>

namespace lnq {

std::function<void(TPLAT_Searchfm&)> TUtils_SearchDialogs::OnBeforeShow;

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

constexpr int mrOk = TPLAT_Searchfm::mrOk;

// A multi-choice member: the key column of every chosen row merged into text.
int multiChoice(IConnection& connection, const QString& sql, const QString& keyColumn, QString& text) {
    QStringList chosen;
    const int result = TUtils_SearchDialogs::CommShowDialog(connection, sql, keyColumn, chosen, true);
    if (result == mrOk) TUtils_SearchDialogs::MergeItems(text, chosen);
    return result;
}

// A single-choice member: the named columns of the chosen row, or nothing
// (cancelled, empty list).
int singleChoice(IConnection& connection, const QString& sql, const QStringList& columns, QStringList& row) {
    QList<QStringList> rows;
    const int result = TUtils_SearchDialogs::ShowRowsDialog(connection, sql, columns, rows, false);
    if (result == mrOk && !rows.isEmpty()) row = rows.first();
    return result;
}

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

} // namespace

int TUtils_SearchDialogs::ShowRowsDialog(IConnection& connection, const QString& sql,
                                         const QStringList& columns, QList<QStringList>& rows,
                                         bool multiSelect) {
    // The dataset is declared first so that it outlives the form bound to it.
    const std::unique_ptr<TADODataSet> dataSet = connection.CreateDataset();
    auto form = std::make_unique<TPLAT_Searchfm>(QApplication::activeWindow());
    form->SetMultiSelect(multiSelect);
    form->SetDataSet(dataSet.get());
    connection.FillDataset(*dataSet, sql);
    form->UpdateFieldName();
    if (OnBeforeShow) OnBeforeShow(*form);
    const int result = form->Finished() ? form->ModalResult() : form->exec();

    if (dataSet->Active() && !dataSet->IsEmpty() && result == mrOk) {
        // The fields are looked up before moving: a missing column is an
        // error of the caller's query, raised before anything is returned.
        std::vector<const TField*> fields;
        for (const QString& c : columns)
            fields.push_back(&dataSet->FieldByName(c));
        TBookmarkList& selected = form->LNQDBGrid()->SelectedRows();
        if (selected.Count() == 0) selected.SetCurrentRowSelected(true);
        QList<QStringList> found;
        dataSet->DisableControls();
        for (int i = 0; i < selected.Count(); ++i) {
            const TBookmark& b = selected.Items(i);
            if (!dataSet->BookmarkValid(b)) continue;
            dataSet->GotoBookmark(b);
            QStringList row;
            for (const TField* f : fields)
                row << f->AsString();
            found << row;
        }
        dataSet->EnableControls();
        rows << found;
    }
    form->SetDataSet(nullptr);
    form.reset();
    dataSet->Close();
    return result;
}

int TUtils_SearchDialogs::CommShowDialog(IConnection& connection, const QString& sql,
                                         const QString& keyColumn, QStringList& results, bool multiSelect) {
    QList<QStringList> rows;
    const int result = ShowRowsDialog(connection, sql, {keyColumn}, rows, multiSelect);
    for (const QStringList& row : rows)
        results << row.first();
    return result;
}

int TUtils_SearchDialogs::ItemInStr(const QString& item, const QString& list) {
    if (item.isEmpty()) return 0;
    int position = 0;
    qsizetype from = 0;
    while (from <= list.size()) {
        qsizetype comma = list.indexOf(u',', from);
        if (comma < 0) comma = list.size();
        ++position;
        if (QStringView(list).mid(from, comma - from) == item) return position;
        from = comma + 1;
    }
    return 0;
}

void TUtils_SearchDialogs::MergeItems(QString& list, const QStringList& items) {
    // Items already held, and those added by this call, are skipped; the set
    // keeps a long list linear.
    QSet<QString> held;
    for (const QStringView piece : QStringView(list).split(u','))
        if (!piece.isEmpty()) held.insert(piece.toString());
    for (const QString& item : items) {
        if (item.isEmpty() || held.contains(item)) continue;
        if (!list.isEmpty() && !list.endsWith(u',')) list += u',';
        list += item + u',';
        held.insert(item);
    }
}

// ---------------------------------------------------------------- query texts

QString TUtils_SearchDialogs::ServiceSql(const QString& goodsNo) {
    if (goodsNo == QStringLiteral("-1")) return kServiceHead + QStringLiteral("ORDER BY iServiceNo DESC");
    return kServiceHead + QStringLiteral("WHERE iGoodsNo = ") + goodsNo +
           QStringLiteral(" ORDER BY iServiceNo DESC");
}

QString TUtils_SearchDialogs::ProgramListSql(bool withPackages) {
    return withPackages ? kProgramWithPackagesSql : kProgramSql;
}

QString TUtils_SearchDialogs::CustomerSql(const QString& condition) {
    return condition.trimmed().isEmpty() ? kCustomerSql
                                         : kCustomerSql + QStringLiteral(" where ") + condition;
}

QString TUtils_SearchDialogs::SellPlaceSql(const QString& condition) {
    return condition.trimmed().isEmpty() ? kSellPlaceSql
                                         : kSellPlaceSql + QStringLiteral(" and ") + condition;
}

QString TUtils_SearchDialogs::GoodsNameSql(const QString& condition) {
    return condition.trimmed().isEmpty() ? kGoodsNameSql
                                         : kGoodsNameSql + QStringLiteral(" and ") + condition;
}

QString TUtils_SearchDialogs::ProductListSql(const QString& condition, const QString& goodsNo) {
    QString sql = kProductListSql + QStringLiteral(" WHERE 1=1 ");
    if (!condition.trimmed().isEmpty())
        sql += startsWithJoiner(condition) ? QStringLiteral(" ") + condition
                                           : QStringLiteral(" AND ") + condition;
    if (goodsNo != QStringLiteral("-1") && !goodsNo.trimmed().isEmpty())
        sql += QStringLiteral(" AND iGoodsNo=") + goodsNo;
    return sql;
}

// ---------------------------------------------------------------- members

int TUtils_SearchDialogs::ShowMultProvinceListDialog(IConnection& connection, QString& provinces) {
    return multiChoice(connection, kProvinceSql, QStringLiteral("省份"), provinces);
}

int TUtils_SearchDialogs::ShowServiceDialog(IConnection& connection, const QString& goodsNo,
                                            QStringList& serviceNos) {
    return CommShowDialog(connection, ServiceSql(goodsNo), QStringLiteral("服务编号"), serviceNos, true);
}

int TUtils_SearchDialogs::ShowProgramPackageDialog(IConnection& connection, QString& programNo,
                                                   QString& program, QString& uploadName) {
    QStringList row;
    const int result = singleChoice(
        connection, kProgramPackageSql,
        {QStringLiteral("节目编号"), QStringLiteral("节目名称"), QStringLiteral("上传节目名称")}, row);
    if (!row.isEmpty()) {
        programNo = row[0];
        program = row[1];
        uploadName = row[2];
    }
    return result;
}

int TUtils_SearchDialogs::ShowProgramListDialog(IConnection& connection, bool withPackages,
                                                QString& programNo, QString& program, QString& price,
                                                bool& isPackage) {
    QStringList columns{QStringLiteral("节目编号"), QStringLiteral("节目名称"), QStringLiteral("节目单价")};
    if (withPackages) columns << QStringLiteral("节目类型");
    QStringList row;
    const int result = singleChoice(connection, ProgramListSql(withPackages), columns, row);
    if (!row.isEmpty()) {
        programNo = row[0];
        program = row[1];
        price = row[2];
        isPackage = withPackages && row[3] == QStringLiteral("节目包");
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultProgramListDialog(IConnection& connection, bool withPackages,
                                                    QString& programNos) {
    return multiChoice(connection, ProgramListSql(withPackages), QStringLiteral("节目编号"), programNos);
}

int TUtils_SearchDialogs::ShowProductTypeListDialog(IConnection& connection, QString& productTypes) {
    return multiChoice(connection, kProductTypeSql, QStringLiteral("大类名称"), productTypes);
}

int TUtils_SearchDialogs::ShowProductType2ListDialog(IConnection& connection, QString& productTypes2) {
    return multiChoice(connection, kProductType2Sql, QStringLiteral("小类名称"), productTypes2);
}

int TUtils_SearchDialogs::ShowSt_ProductsListDialog(IConnection& connection, QString& productNo,
                                                    QString& barcode, QString& name) {
    QStringList row;
    const int result = singleChoice(
        connection, kStProductsSql,
        {QStringLiteral("商品编号"), QStringLiteral("商品条码"), QStringLiteral("商品名称")}, row);
    if (!row.isEmpty()) {
        productNo = row[0];
        barcode = row[1];
        name = row[2];
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultServiceListDialog(IConnection& connection, QString& serviceNos) {
    return multiChoice(connection, kMultServiceSql, QStringLiteral("服务编号"), serviceNos);
}

int TUtils_SearchDialogs::ShowCustomerListDialog(IConnection& connection, const QString& condition,
                                                 QString& no, QString& code, QString& name,
                                                 QString& province) {
    QStringList row;
    const int result = singleChoice(
        connection, CustomerSql(condition),
        {QStringLiteral("编号"), QStringLiteral("编码"), QStringLiteral("名称"), QStringLiteral("省份")},
        row);
    if (!row.isEmpty()) {
        no = row[0];
        code = row[1];
        name = row[2];
        province = row[3];
    }
    return result;
}

int TUtils_SearchDialogs::ShowSystemUserListDialog(IConnection& connection, QString& userNo,
                                                   QString& userCode, QString& userName, QString& workRole,
                                                   QString& tel, QString& email) {
    QStringList row;
    const int result =
        singleChoice(connection, kSystemUserSql,
                     {QStringLiteral("用户编号"), QStringLiteral("用户编码"), QStringLiteral("用户名称"),
                      QStringLiteral("工作角色"), QStringLiteral("电话"), QStringLiteral("Email")},
                     row);
    if (!row.isEmpty()) {
        userNo = row[0];
        userCode = row[1];
        userName = row[2];
        workRole = row[3];
        tel = row[4];
        email = row[5];
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultCustomerListDialog(IConnection& connection, QString& customerNos) {
    return multiChoice(connection, kMultCustomerSql, QStringLiteral("编号"), customerNos);
}

int TUtils_SearchDialogs::ShowSellPlaceListDialog(IConnection& connection, const QString& condition,
                                                  QString& no, QString& name, QString& province) {
    QStringList row;
    const int result =
        singleChoice(connection, SellPlaceSql(condition),
                     {QStringLiteral("编号"), QStringLiteral("名称"), QStringLiteral("省份")}, row);
    if (!row.isEmpty()) {
        no = row[0];
        name = row[1];
        province = row[2];
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultSellPlaceListDialog(IConnection& connection, QString& sellPlaceNos) {
    return multiChoice(connection, kMultSellPlaceSql, QStringLiteral("编号"), sellPlaceNos);
}

int TUtils_SearchDialogs::ShowGoodsNameListDialog(IConnection& connection, const QString& condition,
                                                  QString& no, QString& name, QString& province) {
    QStringList row;
    const int result =
        singleChoice(connection, GoodsNameSql(condition),
                     {QStringLiteral("编号"), QStringLiteral("供应商名称"), QStringLiteral("省份")}, row);
    if (!row.isEmpty()) {
        no = row[0];
        name = row[1];
        province = row[2];
    }
    return result;
}

int TUtils_SearchDialogs::ShowProductListDialog(IConnection& connection, const QString& condition,
                                                const QString& goodsNo, QStringList& barcodes,
                                                QStringList& productNos) {
    QList<QStringList> rows;
    const int result = ShowRowsDialog(connection, ProductListSql(condition, goodsNo),
                                      {QStringLiteral("商品编码"), QStringLiteral("编号")}, rows, true);
    for (const QStringList& row : rows) {
        barcodes << row[0];
        productNos << row[1];
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultCustomerKindListDialog(IConnection& connection, QString& customerKinds) {
    return multiChoice(connection, kCustomerKindSql, QStringLiteral("类型名称"), customerKinds);
}

int TUtils_SearchDialogs::ShowMultGoodsListDialog(IConnection& connection, QString& goodsNos) {
    return multiChoice(connection, kMultGoodsSql, QStringLiteral("编号"), goodsNos);
}

} // namespace lnq
