#include "demo/DemoScreens.h"

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/Plat_adodatabasese.h"
#include "filter/ViewStream.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"

#include <QBuffer>

namespace lnq {

namespace {

TDemoScreen listScreen(const char* id, const char* caption, const char* listTable, const char* editTable,
                       const char* key, const char* ext, QStringList defaults = {}, QStringList groups = {}) {
    TDemoScreen s;
    s.Id = QString::fromUtf8(id);
    s.Caption = QString::fromUtf8(caption);
    s.ListTable = QString::fromUtf8(listTable);
    s.EditTable = QString::fromUtf8(editTable);
    s.KeyField = QString::fromUtf8(key);
    s.ViewExt = QString::fromUtf8(ext);
    s.InsertDefaults = std::move(defaults);
    s.Groups = std::move(groups);
    return s;
}

QList<TDemoScreen> makeScreens() {
    QList<TDemoScreen> all;
    all << listScreen("Customer", "客户", "Cust_CustomersMain", "Cust_CustomersMain", "iCustomerNo", ".CUS");
    all << listScreen("Agent", "代理商", "Cust_Agents", "Cust_CustomersMain", "iCustomerNo", ".AGT",
                      {QStringLiteral("bIsAgent=1")});
    all << listScreen("Supplier", "供应商", "Cust_Suppliers", "Cust_CustomersMain", "iCustomerNo", ".SUP",
                      {QStringLiteral("bIsSupplier=1")});
    all << listScreen("Product", "商品", "St_Products", "St_Products", "iProductNo", ".PRD");
    all << listScreen("Service", "服务", "Dic_Service", "Dic_Service", "iServiceNo", ".SRV");
    all << listScreen("Program", "节目", "dic_program", "dic_program", "iProgramNo", ".PRG");
    all << listScreen("SystemUser", "用户", "sys_Systemuser", "sys_Systemuser", "iUserNo", ".USR", {},
                      {QStringLiteral("[A")});
    TDemoScreen sales = listScreen("SaleOrder", "销售单", "Sal_SaleMain", "Sal_SaleMain", "iNo", ".SAL");
    sales.DetailTable = QStringLiteral("Sal_SaleDetail");
    sales.DetailKeyField = QStringLiteral("iMasterNo");
    sales.ConfirmTarget = QStringLiteral("MASTER");
    all << sales;
    TDemoScreen order;
    order.Id = QStringLiteral("OrderEntry");
    order.Caption = QStringLiteral("订单录入");
    order.Kind = TDemoScreenKind::OrderEntry;
    all << order;
    TDemoScreen backup;
    backup.Id = QStringLiteral("Backup");
    backup.Caption = QStringLiteral("数据备份");
    backup.Kind = TDemoScreenKind::Backup;
    backup.Groups = QStringList{QStringLiteral("[A")};
    all << backup;
    return all;
}

// Targets of the sample's property-list links: each shows a customer's
// contact details, which the customer screen does.
bool isCustomerDetailTarget(const QString& target) {
    static const char* const targets[] = {"ShowContactDetail", "ShowMessageManageDetail",
                                          "ShowMailManageDetail"};
    for (const char* t : targets)
        if (target.compare(QLatin1String(t), Qt::CaseInsensitive) == 0) return true;
    return false;
}

// The group marks of a vGroups text: "[A[C" gives "[A" and "[C".
QStringList groupMarks(const QString& groups) {
    QStringList marks;
    for (qsizetype i = 0; i < groups.size(); ++i) {
        if (groups.at(i) != QLatin1Char('[') || i + 1 >= groups.size()) continue;
        marks << groups.mid(i, 2).toUpper();
    }
    return marks;
}

bool hasAnyGroup(const QStringList& wanted, const QString& userGroups) {
    if (wanted.isEmpty()) return true;
    const QStringList marks = groupMarks(userGroups);
    for (const QString& w : wanted)
        if (marks.contains(w.toUpper())) return true;
    return false;
}

} // namespace

const QList<TDemoScreen>& DemoScreens() {
    static const QList<TDemoScreen> screens = makeScreens();
    return screens;
}

const TDemoScreen* FindDemoScreen(const QString& target) {
    const QString id = isCustomerDetailTarget(target) ? QStringLiteral("Customer") : target;
    for (const TDemoScreen& s : DemoScreens())
        if (s.Id.compare(id, Qt::CaseInsensitive) == 0) return &s;
    return nullptr;
}

bool UserMaySee(const TDemoScreen& screen, const QString& userGroups) {
    return hasAnyGroup(screen.Groups, userGroups);
}

QList<const TDemoScreen*> VisibleScreens(const QString& userGroups) {
    QList<const TDemoScreen*> out;
    for (const TDemoScreen& s : DemoScreens())
        if (UserMaySee(s, userGroups)) out << &s;
    return out;
}

bool UserMayConfirm(const QString& userGroups) {
    return hasAnyGroup({QStringLiteral("[A"), QStringLiteral("[D")}, userGroups);
}

TAppLink ParseAppLink(const QString& link) {
    TAppLink out;
    static const QLatin1String scheme("app://");
    if (!link.startsWith(scheme, Qt::CaseInsensitive)) return out;
    const QString rest = link.mid(scheme.size());
    const qsizetype q = rest.indexOf(QLatin1Char('?'));
    out.Target = (q < 0 ? rest : rest.left(q)).trimmed();
    while (out.Target.endsWith(QLatin1Char('/')))
        out.Target.chop(1);
    out.Params = q < 0 ? QString() : rest.mid(q + 1);
    out.Valid = !out.Target.isEmpty();
    const QStringList lines = TClientUtils::GetAppLinkListValue(out.Params);
    TClientUtils::GetAppLinkValue(lines, QStringLiteral("Action"), out.Action);
    out.Action = out.Action.trimmed().toUpper();
    TClientUtils::GetAppLinkValue(lines, QStringLiteral("KeyField"), out.Key);
    out.Key = out.Key.trimmed();
    return out;
}

TLinkRoute RouteOfLink(const TAppLink& link) {
    if (!link.Valid) return TLinkRoute::Unknown;
    const TDemoScreen* screen = FindDemoScreen(link.Target);
    if (!screen) return TLinkRoute::Unknown;
    const bool insert = link.Action == QLatin1String("INSERT");
    const bool edit = link.Action == QLatin1String("EDIT") && !link.Key.isEmpty();
    if (screen->Id == QLatin1String("SaleOrder") || screen->Kind == TDemoScreenKind::OrderEntry) {
        if (insert || edit) return TLinkRoute::OrderEdit;
        if (link.Action == QLatin1String("DELETE") && !link.Key.isEmpty()) return TLinkRoute::RecordDelete;
        return TLinkRoute::Screen;
    }
    if (screen->Kind != TDemoScreenKind::List) return TLinkRoute::Screen;
    if (insert || edit) return TLinkRoute::RecordEdit;
    if (link.Action == QLatin1String("DELETE") && !link.Key.isEmpty()) return TLinkRoute::RecordDelete;
    return TLinkRoute::Screen;
}

void EnsureDemoViews(TADOConnection& connection) {
    if (!connection.IsEmbedded()) return; // a server database brings its own views
    connection.ExecuteNative(QStringLiteral(
        "CREATE VIEW IF NOT EXISTS Cust_Agents AS SELECT * FROM Cust_CustomersMain WHERE bIsAgent=1;\n"
        "CREATE VIEW IF NOT EXISTS Cust_Suppliers AS SELECT * FROM Cust_CustomersMain WHERE "
        "bIsSupplier=1;\n"));
}

namespace {

struct SeedView {
    const char* Ext;
    const char* Name;
    const char* Piece;
    const char* Caption;
    const char* Description;
    const char* Remark;
};

const SeedView kSeedViews[] = {
    {".AGT", "北京代理商", "vProvince= '北京'", "省份", "省份 等于(精确地) 北京", "北京地区的代理商"},
    {".AGT", "大额信用代理商", "mCreditLimit>= 300000", "信用额度", "信用额度 大于等于 300000",
     "信用额度30万以上"},
    {".SUP", "广东供应商", "vProvince= '广东'", "省份", "省份 等于(精确地) 广东", "广东地区的供应商"},
    {".PRD", "在售商品", "bStop=0", "停用", "停用 否 ", "未停用的商品"},
    {".PRD", "库存不足", "fStorageCount< 20", "库存数量", "库存数量 小于 20", "库存少于20的商品"},
    {".SRV", "百元以上服务", "mPrice>= 100", "单价", "单价 大于等于 100", "单价100元以上的服务"},
    {".PRG", "长节目", "iDuration>= 90", "时长(分钟)", "时长(分钟) 大于等于 90", "时长90分钟以上的节目"},
    {".USR", "销售人员", "vWorkRole like '%销售%'", "工作角色", "工作角色 包含 销售",
     "工作角色含“销售”的用户"},
};

} // namespace

void SeedSavedViews(IConnection& connection) {
    QStringList done;
    for (const SeedView& v : kSeedViews) {
        const QString ext = QString::fromLatin1(v.Ext);
        if (done.contains(ext)) continue;
        const std::unique_ptr<TADODataSet> existing =
            connection.ExecuteWithQuery(QStringLiteral("select count(*) from Sys_FileBase where vExt=") +
                                        TInterfacedADOConnection::QuotedStr(ext));
        if (existing->Fields(0).AsInteger() > 0) {
            done << ext;
            continue;
        }
        for (const SeedView& w : kSeedViews) {
            if (QString::fromLatin1(w.Ext) != ext) continue;
            TConditionList conditions;
            conditions.Add(QString::fromUtf8(w.Piece), QString::fromUtf8(w.Caption),
                           QString::fromUtf8(w.Description));
            QBuffer stream;
            stream.open(QIODevice::ReadWrite);
            SaveToStream(stream, conditions, true);
            const QString path = QStringLiteral("常用视图\\") + QString::fromUtf8(w.Name);
            connection.SaveStream(QStringLiteral("admin"), path + ext, stream);
            connection.ExecuteNonQuery(
                QStringLiteral("update Sys_FileBase set bShare=1, vAllowedUsers=',', "
                               "vDescription=") +
                TInterfacedADOConnection::QuotedStr(QString::fromUtf8(w.Remark)) +
                QStringLiteral(" where vFileName=") + TInterfacedADOConnection::QuotedStr(path) +
                QStringLiteral(" and vExt=") + TInterfacedADOConnection::QuotedStr(ext));
        }
        done << ext;
    }
}

} // namespace lnq
