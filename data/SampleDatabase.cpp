#include "data/SampleDatabase.h"

#include "data/ADOConnection.h"
#include "data/TsqlFunctions.h"
#include "util/Clock.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_convert.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QVariant>
#include <QtEndian>
#include <cmath>
#include <sqlite3.h>
#include <vector>

namespace lnq::SampleDatabase {

namespace {

// The framework tables: sql/schema_sqlite.sql, embedded by the build.
#include "SchemaSqlite.inc"

// ---------------------------------------------------------------------------
// Table descriptions: the business tables' DDL and the field dictionary come
// from the same list.

struct Col {
    const char* name;
    const char* type;    // declared type (SQL Server names) and constraints
    const char* caption; // nullptr: the dictionary row has no caption
    bool display = true;
};

struct Table {
    const char* name;
    std::vector<Col> cols;
};

constexpr const char* kKey = "INTEGER PRIMARY KEY AUTOINCREMENT";
constexpr const char* kText20 = "NVARCHAR(20) COLLATE ZH_CI";
constexpr const char* kText50 = "NVARCHAR(50) COLLATE ZH_CI";
constexpr const char* kText100 = "NVARCHAR(100) COLLATE ZH_CI";
constexpr const char* kText200 = "NVARCHAR(200) COLLATE ZH_CI";
constexpr const char* kText500 = "NVARCHAR(500) COLLATE ZH_CI";
constexpr const char* kRights = "NVARCHAR(2000) COLLATE ZH_CI";

const std::vector<Table>& businessTables() {
    static const std::vector<Table> tables = {
        {"dic_Province",
         {{"iNo", kKey, "序号"},
          {"vProvince", kText20, "省份"},
          {"vArea", kText20, "地区"},
          {"vAreaCode", kText20, "区号"}}},
        {"dic_unicustomerskind",
         {{"iNo", kKey, "序号"},
          {"vCustomersKind", kText50, "客户类型"},
          {"vCustomersKindCn", kText100, "类型描述"}}},
        {"Cust_CustomersMain",
         {{"iCustomerNo", kKey, "客户编号"},
          {"vCustomerNo", "NVARCHAR(20) COLLATE ZH_CI NOT NULL", "客户编码"},
          {"vCustomerName", "NVARCHAR(80) COLLATE ZH_CI NOT NULL", "客户名称"},
          {"vPYCode", kText50, "拼音码"},
          {"vCustomerNameEn", "NVARCHAR(120) COLLATE ZH_CI", nullptr},
          {"vProvince", kText20, "省份"},
          {"vCity", kText20, "城市"},
          {"vAddress", kText200, "地址"},
          {"vPostCode", "NVARCHAR(6) COLLATE ZH_CI", "邮政编码"},
          {"vTel", kText50, "电话"},
          {"vFax", kText50, "传真"},
          {"vMobile", kText50, "手机"},
          {"vEmail", kText100, "邮箱"},
          {"vWebSite", kText100, "网址"},
          {"vContact", kText20, "联系人"},
          {"vCustomersKind", kText50, "客户类型"},
          {"bIsAgent", "BIT NOT NULL DEFAULT 0", "代理商"},
          {"bIsSupplier", "BIT NOT NULL DEFAULT 0", "供应商"},
          {"mCreditLimit", "MONEY", "信用额度"},
          {"dcBalance", "DECIMAL(18,2)", "应收余额"},
          {"iEmployees", "INT", "员工人数"},
          {"dCreateDate", "DATETIME", "建档日期"},
          {"dLastVisit", "DATETIME", "最近拜访"},
          {"vCreateUser", kText50, "建档人"},
          {"vRemark", kText500, "备注"},
          {"bShare", "BIT NOT NULL DEFAULT 0", "共享", false},
          {"vAllowedUsers", kRights, "允许用户", false},
          {"vAllowedGroups", kRights, "允许组", false},
          {"vDescription", kText500, "说明"}}},
        {"Cust_Contacts",
         {{"iContactNo", kKey, "联系人编号"},
          {"iCustomerNo", "INT NOT NULL", "客户编号"},
          {"vContact", kText20, "联系人"},
          {"vSex", "NVARCHAR(2) COLLATE ZH_CI", "性别"},
          {"vTitle", kText50, "职务"},
          {"vPhoneZone", "NVARCHAR(10) COLLATE ZH_CI", "区号"},
          {"vPhoneNumber", kText50, "电话号码"},
          {"vPhoneKind", kText20, "电话类型"},
          {"vMobile", kText50, "移动电话"},
          {"vEmail", kText100, "EMAIL"},
          {"dBirthday", "DATE", "生日"},
          {"vRemark", kText500, "备注"}}},
        {"Dic_ProductType",
         {{"iNo", kKey, "序号"},
          {"vProductType", kText50, "大类名称"},
          {"vProductType2", kText50, "小类名称"}}},
        {"St_Products",
         {{"iProductNo", kKey, "商品编号"},
          {"vBarcode", kText20, "商品条码"},
          {"vProductName", kText100, "商品名称"},
          {"vPYCode", kText50, "拼音码"},
          {"vProductNameEn", kText50, "客户方编码"},
          {"vModel", kText50, "生产商编码"},
          {"vSpecification", kText50, "规格"},
          {"vUnit", "NVARCHAR(10) COLLATE ZH_CI", "单位"},
          {"vProductType", kText50, "大类"},
          {"vProductType2", kText50, "小类"},
          {"iGoodsNo", "INT", "供应商编号", false},
          {"vGoodsName", "NVARCHAR(80) COLLATE ZH_CI", "供应商"},
          {"mCostPrice", "MONEY", "成本价", false},
          {"mSellPrice", "MONEY", "销售单价"},
          {"fSellCount", "FLOAT", "可销售数量"},
          {"fStorageCount", "FLOAT", "库存数量"},
          {"bStop", "BIT NOT NULL DEFAULT 0", "停用"},
          {"dCreateDate", "DATETIME", "建档日期"},
          {"vRemark", kText500, "备注"}}},
        {"Dic_Service",
         {{"iServiceNo", kKey, "服务编号"},
          {"vService", kText50, "服务名称"},
          {"iGoodsNo", "INT", "供应商编号"},
          {"vGoodsName", "NVARCHAR(80) COLLATE ZH_CI", "供应商"},
          {"mPrice", "MONEY", "单价"},
          {"vUnit", "NVARCHAR(10) COLLATE ZH_CI", "单位"},
          {"vRemark", kText200, "备注"}}},
        {"dic_program",
         {{"iProgramNo", kKey, "节目编号"},
          {"vProgram", kText100, "节目名称"},
          {"vCBsimpleProgram", kText50, "上传节目名称"},
          {"vProgramType", kText20, "节目类型"},
          {"iDuration", "INT", "时长(分钟)"},
          {"mPrice", "MONEY", "单价"},
          {"dCreateDate", "DATETIME", "建档日期"}}},
        {"dic_programPackage",
         {{"iNo", kKey, "节目包编号"},
          {"vPackageName", kText50, "节目包名称"},
          {"mPrice", "MONEY", "单价"},
          {"vProgramList", kText500, "包含节目"},
          {"vRemark", kText200, "备注"}}},
        {"Sal_SaleMain",
         {{"iNo", kKey, "单据号"},
          {"vReceiptNo", "NVARCHAR(20) COLLATE ZH_CI NOT NULL UNIQUE", "单据编号"},
          {"iCustomerNo", "INT", "客户编号", false},
          {"vCustomerName", "NVARCHAR(80) COLLATE ZH_CI", "客户名称"},
          {"dSaleDate", "DATETIME", "销售日期"},
          {"mAmount", "MONEY", "金额"},
          {"vSeller", kText50, "业务员"},
          {"vConfirmState", kText20, "审核状态"},
          {"vConfirmUser", kText50, "审核人"},
          {"dConfirmDate", "DATETIME", "审核日期"},
          {"vCreateUser", kText50, "制单人"},
          {"dCreateDate", "DATETIME", "制单时间"},
          {"vModifyUser", kText50, "修改人"},
          {"dModifyDate", "DATETIME", "修改时间"},
          {"vRemark", kText500, "备注"},
          {"bShare", "BIT NOT NULL DEFAULT 0", "共享", false},
          {"vAllowedUsers", kRights, "允许用户", false},
          {"vAllowedGroups", kRights, "允许组", false},
          {"vDescription", kText500, "说明"}}},
        {"Sal_SaleDetail",
         {{"iNo", kKey, "序号"},
          {"iMasterNo", "INT NOT NULL", "单据号"},
          {"iProductNo", "INT", "商品编号"},
          {"vBarcode", kText20, "商品条码"},
          {"vProductName", kText100, "商品名称"},
          {"fQuantity", "FLOAT", "数量"},
          {"mPrice", "MONEY", "单价"},
          {"mAmount", "MONEY", "金额"},
          {"vConfirmState", kText20, "审核状态"},
          {"vConfirmUser", kText50, "审核人"},
          {"dConfirmDate", "DATETIME", "审核日期"}}},
    };
    return tables;
}

// Captions of the framework's own tables in the dictionary.
const std::vector<Table>& frameworkDictionary() {
    static const std::vector<Table> tables = {
        {"Sys_FileBase",
         {{"iNo", "", "序号", false},
          {"vFileName", "", "文件名"},
          {"vExt", "", "扩展名"},
          {"vOwner", "", "所有者"},
          {"imgFileData", "", "文件内容", false},
          {"bShare", "", "共享", false},
          {"vAllowedUsers", "", "允许用户", false},
          {"vAllowedGroups", "", "允许组", false},
          {"vDescription", "", "说明"},
          {"dCreateDate", "", "创建日期"}}},
        {"sys_Systemuser",
         {{"iUserNo", "", "用户编号"},
          {"vUserName", "", "用户编码"},
          {"vName", "", "用户名称"},
          {"vPassword", "", "密码", false},
          {"vWorkRole", "", "工作角色"},
          {"vTel", "", "电话"},
          {"vEmail", "", "Email"},
          {"vGroups", "", "所属组"},
          {"iCustomerNo", "", nullptr},
          {"vCustomerNo", "", nullptr},
          {"bDisabled", "", "停用"},
          {"dCreateDate", "", "创建日期"}}},
        {"sys_group", {{"iNo", "", "序号"}, {"vGroupID", "", "组编号"}, {"vGroupName", "", "组名称"}}},
        {"sys_properties",
         {{"vSubType", "", "分类"},
          {"vPropertyName", "", "属性"},
          {"vPropertyValue", "", "属性值"},
          {"vAppLinkFormat", "", "链接格式", false}}},
    };
    return tables;
}

// ---------------------------------------------------------------------------
// Deterministic random numbers (splitmix64): the same seed gives the same
// database on every platform, unlike the standard distributions.

class Rng {
public:
    explicit Rng(quint64 seed) : m_state(seed) {}
    quint64 next() {
        quint64 z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    int below(int n) { return n <= 0 ? 0 : static_cast<int>(next() % static_cast<quint64>(n)); }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }
    bool percent(int p) { return below(100) < p; }
    template <typename T, size_t N> const T& pick(const T (&a)[N]) { return a[below(static_cast<int>(N))]; }
    template <typename T> const T& pick(const std::vector<T>& v) {
        return v[static_cast<size_t>(below(static_cast<int>(v.size())))];
    }
    QString digits(int n) {
        QString s;
        for (int i = 0; i < n; ++i)
            s += QChar(u'0' + below(10));
        return s;
    }

private:
    quint64 m_state;
};

// ---------------------------------------------------------------------------
// Native SQLite writing.

class Db {
public:
    explicit Db(const QString& path) {
        if (sqlite3_open_v2(path.toUtf8().constData(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                            nullptr) != SQLITE_OK) {
            const QString msg = QString::fromUtf8(m_db ? sqlite3_errmsg(m_db) : "out of memory");
            sqlite3_close(m_db);
            m_db = nullptr;
            throw EDatabaseError(msg + QStringLiteral(": ") + path);
        }
        // The text columns are declared with the framework's collation.
        try {
            tsql::registerTextCollation(m_db);
        } catch (...) {
            sqlite3_close(m_db);
            m_db = nullptr;
            throw;
        }
    }
    ~Db() { sqlite3_close(m_db); }
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;

    void exec(const QString& sql) {
        char* err = nullptr;
        if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
            const QString msg = QString::fromUtf8(err);
            sqlite3_free(err);
            throw EDatabaseError(msg);
        }
    }
    sqlite3* handle() const { return m_db; }

private:
    sqlite3* m_db = nullptr;
};

class Inserter {
public:
    Inserter(Db& db, const char* table, std::initializer_list<const char*> columns) : m_db(db) {
        QStringList cols;
        for (const char* c : columns)
            cols << QString::fromLatin1(c);
        m_count = static_cast<int>(cols.size());
        const QByteArray sql =
            (QStringLiteral("INSERT INTO ") + QString::fromLatin1(table) + QStringLiteral(" (") +
             cols.join(QLatin1Char(',')) + QStringLiteral(") VALUES (") +
             QStringList(cols.size(), QStringLiteral("?")).join(QLatin1Char(',')) + QLatin1Char(')'))
                .toUtf8();
        if (sqlite3_prepare_v2(db.handle(), sql.constData(), -1, &m_stmt, nullptr) != SQLITE_OK)
            throw EDatabaseError(QString::fromUtf8(sqlite3_errmsg(db.handle())));
    }
    ~Inserter() { sqlite3_finalize(m_stmt); }
    Inserter(const Inserter&) = delete;
    Inserter& operator=(const Inserter&) = delete;

    // Inserts one row; returns its rowid.
    qint64 row(const QVariantList& values) {
        Q_ASSERT(values.size() == m_count);
        for (int i = 0; i < m_count; ++i) {
            const QVariant& v = values[i];
            const int idx = i + 1;
            if (v.isNull())
                sqlite3_bind_null(m_stmt, idx);
            else if (v.typeId() == QMetaType::Double)
                sqlite3_bind_double(m_stmt, idx, v.toDouble());
            else if (v.typeId() == QMetaType::Int || v.typeId() == QMetaType::LongLong ||
                     v.typeId() == QMetaType::Bool)
                sqlite3_bind_int64(m_stmt, idx, v.toLongLong());
            else if (v.typeId() == QMetaType::QByteArray) {
                const QByteArray b = v.toByteArray();
                sqlite3_bind_blob(m_stmt, idx, b.constData(), static_cast<int>(b.size()), SQLITE_TRANSIENT);
            } else {
                const QByteArray t = v.toString().toUtf8();
                sqlite3_bind_text(m_stmt, idx, t.constData(), static_cast<int>(t.size()), SQLITE_TRANSIENT);
            }
        }
        const int rc = sqlite3_step(m_stmt);
        sqlite3_reset(m_stmt);
        sqlite3_clear_bindings(m_stmt);
        if (rc != SQLITE_DONE) throw EDatabaseError(QString::fromUtf8(sqlite3_errmsg(m_db.handle())));
        return sqlite3_last_insert_rowid(m_db.handle());
    }

private:
    Db& m_db;
    sqlite3_stmt* m_stmt = nullptr;
    int m_count = 0;
};

QString businessDdl() {
    QString sql;
    for (const Table& t : businessTables()) {
        sql += QStringLiteral("CREATE TABLE ") + QString::fromLatin1(t.name) + QStringLiteral(" (\n");
        for (size_t i = 0; i < t.cols.size(); ++i) {
            sql += QStringLiteral("    ") + QString::fromLatin1(t.cols[i].name) + QLatin1Char(' ') +
                   QString::fromLatin1(t.cols[i].type) +
                   (i + 1 < t.cols.size() ? QStringLiteral(",\n") : QStringLiteral("\n"));
        }
        sql += QStringLiteral(");\n");
    }
    sql += QStringLiteral("CREATE INDEX IX_Cust_Contacts_Customer ON Cust_Contacts (iCustomerNo);\n"
                          "CREATE INDEX IX_Sal_SaleDetail_Master ON Sal_SaleDetail (iMasterNo);\n"
                          "CREATE INDEX IX_Sal_SaleMain_Customer ON Sal_SaleMain (iCustomerNo);\n");
    return sql;
}

// ---------------------------------------------------------------------------
// Vocabulary.

struct Province {
    const char* name;
    const char* area;
    const char* code; // telephone area code of the first city
    const char* post; // postal code prefix, "" where there is none
    std::vector<const char*> cities;
    int weight;
};

const std::vector<Province>& provinces() {
    static const std::vector<Province> p = {
        {"北京", "华北", "010", "100", {"北京"}, 12},
        {"天津", "华北", "022", "300", {"天津"}, 4},
        {"河北", "华北", "0311", "050", {"石家庄", "唐山", "保定"}, 4},
        {"山西", "华北", "0351", "030", {"太原", "大同"}, 2},
        {"内蒙古", "华北", "0471", "010", {"呼和浩特", "包头"}, 1},
        {"辽宁", "东北", "024", "110", {"沈阳", "大连"}, 4},
        {"吉林", "东北", "0431", "130", {"长春", "吉林"}, 2},
        {"黑龙江", "东北", "0451", "150", {"哈尔滨", "大庆"}, 2},
        {"上海", "华东", "021", "200", {"上海"}, 12},
        {"江苏", "华东", "025", "210", {"南京", "苏州", "无锡"}, 9},
        {"浙江", "华东", "0571", "310", {"杭州", "宁波", "温州"}, 9},
        {"安徽", "华东", "0551", "230", {"合肥", "芜湖"}, 3},
        {"福建", "华东", "0591", "350", {"福州", "厦门", "泉州"}, 4},
        {"江西", "华东", "0791", "330", {"南昌", "赣州"}, 2},
        {"山东", "华东", "0531", "250", {"济南", "青岛", "烟台"}, 7},
        {"河南", "华中", "0371", "450", {"郑州", "洛阳"}, 4},
        {"湖北", "华中", "027", "430", {"武汉", "宜昌"}, 4},
        {"湖南", "华中", "0731", "410", {"长沙", "株洲"}, 3},
        {"广东", "华南", "020", "510", {"广州", "深圳", "东莞", "佛山"}, 14},
        {"广西", "华南", "0771", "530", {"南宁", "桂林"}, 2},
        {"海南", "华南", "0898", "570", {"海口", "三亚"}, 1},
        {"重庆", "西南", "023", "400", {"重庆"}, 3},
        {"四川", "西南", "028", "610", {"成都", "绵阳"}, 4},
        {"贵州", "西南", "0851", "550", {"贵阳", "遵义"}, 1},
        {"云南", "西南", "0871", "650", {"昆明", "大理"}, 2},
        {"西藏", "西南", "0891", "850", {"拉萨"}, 1},
        {"陕西", "西北", "029", "710", {"西安", "宝鸡"}, 3},
        {"甘肃", "西北", "0931", "730", {"兰州", "天水"}, 1},
        {"青海", "西北", "0971", "810", {"西宁"}, 1},
        {"宁夏", "西北", "0951", "750", {"银川"}, 1},
        {"新疆", "西北", "0991", "830", {"乌鲁木齐", "克拉玛依"}, 1},
        {"香港", "港澳台", "852", "", {"香港"}, 1},
        {"澳门", "港澳台", "853", "", {"澳门"}, 1},
        {"台湾", "港澳台", "886", "", {"台北", "高雄"}, 1},
    };
    return p;
}

const char* const kSurnames[] = {
    "王", "李", "张", "刘", "陈", "杨", "黄", "赵", "吴", "周", "徐", "孙", "马", "朱",   "胡",   "郭",  "何",
    "高", "林", "罗", "郑", "梁", "谢", "宋", "唐", "许", "韩", "冯", "邓", "曹", "彭",   "曾",   "肖",  "田",
    "董", "袁", "潘", "于", "蒋", "蔡", "余", "杜", "叶", "程", "苏", "魏", "吕", "丁",   "任",   "沈",  "姚",
    "卢", "姜", "崔", "钟", "谭", "陆", "汪", "范", "金", "石", "廖", "贾", "夏", "欧阳", "司马", "诸葛"};
const char* const kGiven[] = {
    "伟",   "芳",   "娜",   "秀英", "敏",   "静",   "丽",   "强",   "磊",   "军",   "洋", "勇",   "艳",
    "杰",   "娟",   "涛",   "明",   "超",   "秀兰", "霞",   "平",   "刚",   "桂英", "华", "建国", "建华",
    "文",   "斌",   "宇",   "浩",   "鑫",   "婷",   "雪",   "琳",   "晨",   "欣",   "怡", "佳",   "子涵",
    "梓萱", "思远", "俊杰", "志强", "海燕", "红梅", "晓东", "国庆", "春生", "丹",   "萍", "玉兰", "凯",
    "鹏",   "辉",   "峰",   "亮",   "健",   "宁",   "颖",   "倩",   "慧"};
const char* const kFemaleGiven[] = {"芳",   "娜", "秀英", "静",   "丽", "艳", "娟", "秀兰", "霞",
                                    "桂英", "婷", "雪",   "琳",   "欣", "怡", "佳", "梓萱", "海燕",
                                    "红梅", "丹", "萍",   "玉兰", "颖", "倩", "慧"};

struct Brand {
    const char* zh;
    const char* en;
};
const Brand kBrands[] = {
    {"华信", "Huaxin"},    {"恒通", "Hengtong"}, {"金源", "Jinyuan"},    {"瑞丰", "Ruifeng"},
    {"鼎盛", "Dingsheng"}, {"新元", "Xinyuan"},  {"天成", "Tiancheng"},  {"宏达", "Hongda"},
    {"永泰", "Yongtai"},   {"嘉禾", "Jiahe"},    {"盛世", "Shengshi"},   {"中联", "Zhonglian"},
    {"东方", "Dongfang"},  {"博远", "Boyuan"},   {"汇通", "Huitong"},    {"亿达", "Yida"},
    {"润华", "Runhua"},    {"海川", "Haichuan"}, {"卓越", "Zhuoyue"},    {"明远", "Mingyuan"},
    {"立信", "Lixin"},     {"宝利", "Baoli"},    {"安泰", "Antai"},      {"兴业", "Xingye"},
    {"华联", "Hualian"},   {"凯达", "Kaida"},    {"星河", "Xinghe"},     {"鸿运", "Hongyun"},
    {"百川", "Baichuan"},  {"聚源", "Juyuan"},   {"信达", "Xinda"},      {"众诚", "Zhongcheng"},
    {"和顺", "Heshun"},    {"锦程", "Jincheng"}, {"同创", "Tongchuang"}, {"远航", "Yuanhang"}};
const Brand kIndustries[] = {{"科技", "Technology"},
                             {"电子", "Electronics"},
                             {"贸易", "Trading"},
                             {"商贸", "Commerce"},
                             {"实业", "Industrial"},
                             {"网络科技", "Network Technology"},
                             {"信息技术", "Information Technology"},
                             {"文化传媒", "Culture Media"},
                             {"食品", "Food"},
                             {"医药", "Pharmaceutical"},
                             {"建材", "Building Materials"},
                             {"物流", "Logistics"},
                             {"广告", "Advertising"},
                             {"教育咨询", "Education Consulting"},
                             {"餐饮管理", "Catering Management"},
                             {"电器", "Electric Appliance"},
                             {"通信设备", "Communication Equipment"},
                             {"软件", "Software"},
                             {"印务", "Printing"},
                             {"酒店管理", "Hotel Management"}};
const char* const kDistricts[] = {"高新区", "经济开发区", "城关区", "新区",
                                  "东城区", "西城区",     "南城区", "开发区"};
const char* const kRoads[] = {"人民路", "解放路", "中山路", "建设路", "长江路", "黄河路",
                              "和平路", "文化路", "新华路", "胜利路", "友谊路", "光明路"};
const char* const kMailHosts[] = {"163.com", "qq.com", "126.com", "sina.com", "sohu.com"};
const char* const kTitles[] = {"总经理",   "副总经理", "采购经理", "财务主管",
                               "行政主管", "技术总监", "业务员",   "店长"};

struct Kind {
    const char* code;
    const char* cn;
};
const Kind kKinds[] = {{"重点客户", "A类重点客户"}, {"重点客户", "B类重点客户"},
                       {"普通客户", "普通客户"},    {"普通客户", "零售客户"},
                       {"代理商", "区域代理商"},    {"代理商", "授权经销商"},
                       {"供应商", "合格供应商"},    {"潜在客户", "意向客户"},
                       {"潜在客户", "潜在客户"},    {"政府单位", "政府机关及事业单位"}};

struct ProductType {
    const char* type;
    const char* type2;
    std::vector<const char*> items;
    std::vector<const char*> specs;
    const char* unit;
    int minPrice;
    int maxPrice;
};

const std::vector<ProductType>& productTypes() {
    static const std::vector<ProductType> t = {
        {"电子产品",
         "手机",
         {"智能手机", "老人手机", "5G手机"},
         {"64G 黑色", "128G 白色", "256G 蓝色"},
         "部",
         599,
         6999},
        {"电子产品",
         "电脑",
         {"笔记本电脑", "台式电脑", "一体机"},
         {"i5/16G/512G", "i7/16G/1T", "R5/8G/512G"},
         "台",
         2999,
         12999},
        {"电子产品",
         "耳机",
         {"蓝牙耳机", "头戴式耳机", "运动耳机"},
         {"黑色", "白色", "降噪版"},
         "副",
         59,
         1299},
        {"电子产品", "智能手表", {"智能手表", "运动手环"}, {"42mm", "46mm", "标准版"}, "块", 199, 2999},
        {"办公用品",
         "纸张",
         {"复印纸", "打印纸", "彩色卡纸"},
         {"A4 70g 500张", "A4 80g 500张", "A3 80g 500张"},
         "包",
         18,
         60},
        {"办公用品",
         "文具",
         {"中性笔", "笔记本", "文件夹", "订书机"},
         {"0.5mm 12支", "B5 60页", "A4 蓝色", "标准型"},
         "盒",
         5,
         45},
        {"办公用品", "打印耗材", {"硒鼓", "墨盒", "色带"}, {"黑色", "彩色", "大容量"}, "个", 39, 499},
        {"办公用品",
         "办公家具",
         {"办公椅", "办公桌", "文件柜"},
         {"人体工学", "1.4米", "四门"},
         "件",
         299,
         2599},
        {"食品饮料",
         "饮料",
         {"矿泉水", "绿茶", "果汁", "咖啡"},
         {"550ml*24瓶", "500ml*15瓶", "1L*12瓶", "250ml*24罐"},
         "箱",
         25,
         150},
        {"食品饮料", "零食", {"坚果礼盒", "饼干", "巧克力"}, {"1.5kg", "500g", "礼盒装"}, "盒", 15, 268},
        {"食品饮料",
         "茶叶",
         {"龙井", "铁观音", "普洱", "红茶"},
         {"250g", "500g 罐装", "357g 饼"},
         "盒",
         68,
         1280},
        {"食品饮料", "乳制品", {"纯牛奶", "酸奶"}, {"250ml*12盒", "200g*10杯"}, "箱", 39, 89},
        {"日用百货", "洗护用品", {"洗发水", "沐浴露", "洗衣液"}, {"750ml", "1kg", "2kg*2瓶"}, "瓶", 19, 99},
        {"日用百货",
         "厨房用品",
         {"不粘锅", "刀具套装", "保鲜盒"},
         {"28cm", "六件套", "10件装"},
         "套",
         29,
         599},
        {"日用百货", "家居用品", {"毛巾", "四件套", "收纳箱"}, {"纯棉", "1.8米床", "大号"}, "件", 15, 499},
        {"服装鞋帽", "男装", {"衬衫", "夹克", "西裤"}, {"L", "XL", "XXL"}, "件", 99, 899},
        {"服装鞋帽", "女装", {"连衣裙", "针织衫", "风衣"}, {"S", "M", "L"}, "件", 129, 1299},
        {"服装鞋帽", "运动鞋", {"跑步鞋", "篮球鞋", "休闲鞋"}, {"40码", "42码", "44码"}, "双", 199, 999},
        {"图书音像",
         "图书",
         {"会计实务", "营销管理", "中国通史", "英语词典"},
         {"精装", "平装", "第3版"},
         "本",
         19,
         168},
        {"图书音像", "音像制品", {"经典老歌", "儿童故事", "相声集锦"}, {"CD", "DVD", "蓝光"}, "张", 15, 120},
    };
    return t;
}
const char* const kProductBrands[] = {"星辰", "云帆", "飞燕", "蓝鲸", "金穗",
                                      "青松", "红枫", "朗月", "锦绣", "天禾"};

const char* const kServices[] = {"上门安装", "系统调试", "设备维修", "年度维保", "数据备份",
                                 "数据恢复", "网络布线", "软件培训", "硬件升级", "技术咨询",
                                 "远程协助", "延保服务", "以旧换新", "送货上门", "现场勘察",
                                 "设备租赁", "清洗保养", "系统集成", "安全评估", "驻场服务"};
const char* const kServiceUnits[] = {"次", "年", "小时", "项"};

const char* const kPrograms[] = {"午间新闻",   "财经报道", "天气预报", "体育快讯",   "少儿动画",
                                 "纪录片精选", "健康之路", "法治在线", "戏曲大舞台", "音乐之声",
                                 "电影精选",   "综艺大观", "科技前沿", "致富经",     "旅游天地",
                                 "美食中国",   "汽车时代", "家居生活", "国学讲堂",   "英语学习"};
const char* const kProgramTypes[] = {"新闻", "财经", "生活", "体育", "少儿", "纪实", "生活",
                                     "法制", "戏曲", "音乐", "影视", "综艺", "科教", "农业",
                                     "旅游", "生活", "生活", "生活", "科教", "科教"};
struct Variant {
    const char* name;
    const char* code;
};
const Variant kProgramVariants[] = {
    {"", ""},           {"(重播)", "CB"}, {"精华版", "JH"}, {"高清版", "HD"},   {"周末版", "ZM"},
    {"特别节目", "TB"}, {"少儿版", "SE"}, {"英文版", "EN"}, {"年度盘点", "ND"}, {"直播", "ZB"}};
const char* const kPackages[] = {"新闻资讯包", "体育赛事包", "少儿乐园包", "影视精选包",
                                 "纪录片包",   "戏曲包",     "财经包",     "生活服务包",
                                 "教育学习包", "高清全能包", "老年关怀包", "农村实用包"};

struct User {
    const char* code;
    const char* name;
    const char* role;
    const char* groups; // group-list encoding (first two characters of each entry "[ID]name")
};
const User kUsers[] = {
    {"admin", "系统管理员", "系统管理员", "[A"}, {"zhangwei", "张伟", "销售经理", "[B"},
    {"lina", "李娜", "销售代表", "[B"},          {"wangfang", "王芳", "销售代表", "[B"},
    {"liuyang", "刘洋", "销售代表", "[B"},       {"chenjing", "陈静", "客服专员", "[C"},
    {"yangli", "杨丽", "客服专员", "[C"},        {"huangqiang", "黄强", "客服主管", "[C"},
    {"zhaomin", "赵敏", "财务主管", "[D"},       {"wujie", "吴杰", "会计", "[D"},
    {"zhoutao", "周涛", "仓库管理员", "[E"},     {"xuming", "徐明", "仓库管理员", "[E"},
    {"sunli", "孙丽", "销售代表", "[B"},         {"machao", "马超", "技术支持", "[C"},
    {"zhuhua", "朱华", "采购员", "[E"},          {"huyan", "胡艳", "出纳", "[D"},
    {"guojun", "郭军", "销售代表", "[B"},        {"hexia", "何霞", "前台", "[C"},
    {"gaopeng", "高鹏", "区域经理", "[B"},       {"linlin", "林琳", "市场专员", "[B"},
    {"luoyu", "罗宇", "技术支持", "[C"},         {"zhengxin", "郑欣", "销售代表", "[B"},
    {"o'neil", "欧尼尔", "外籍顾问", "[B"},      {"retired", "离职员工", "销售代表", "[B"},
};

struct Group {
    const char* id;
    const char* name;
    const char* description;
};
const Group kGroups[] = {{"A0", "管理员组", "系统管理与维护"},
                         {"B0", "销售部", "销售与客户开发"},
                         {"C0", "客服部", "客户服务与技术支持"},
                         {"D0", "财务部", "收付款与核算"},
                         {"E0", "仓储部", "采购、仓储与配送"}};

// ---------------------------------------------------------------------------
// The saved-view stream: version 3, IsSQL, MatchAll, then the SQL text or a
// count and the (piece, caption, description) triples; texts as a 32-bit
// little-endian byte count and GBK bytes.

void putText(QByteArray& out, const QString& text) {
    const QByteArray bytes = Gbk::encode(text);
    char len[4];
    qToLittleEndian<qint32>(static_cast<qint32>(bytes.size()), len);
    out.append(len, 4);
    out.append(bytes);
}

struct Condition {
    QString piece;
    QString caption;
    QString description;
};

QByteArray conditionView(const std::vector<Condition>& conditions, bool matchAll, int version = 3) {
    QByteArray out;
    out.append(static_cast<char>(version));
    if (version >= 2) out.append('\0');
    if (version >= 3) out.append(matchAll ? '\1' : '\0');
    char count[4];
    qToLittleEndian<qint32>(static_cast<qint32>(conditions.size()), count);
    out.append(count, 4);
    for (const Condition& c : conditions) {
        putText(out, c.piece);
        putText(out, c.caption);
        putText(out, c.description);
    }
    return out;
}

QByteArray sqlView(const QString& sql) {
    QByteArray out("\3\1\1", 3);
    putText(out, sql);
    return out;
}

// ---------------------------------------------------------------------------

class Generator {
public:
    Generator(Db& db, const Options& o) : m_db(db), m_opt(o), m_rng(o.seed), m_now(Clock::now()) {}

    void run() {
        users();
        groups();
        provincesAndKinds();
        customers();
        contacts();
        productTypesAndProducts();
        services();
        programs();
        sales();
        dictionary();
        properties();
        views();
    }

private:
    QString dateTime(int dayOffset, bool withTime = true) {
        QDateTime t(m_now.date().addDays(dayOffset), QTime(0, 0));
        if (withTime) t = t.addSecs(8 * 3600 + m_rng.below(11 * 3600));
        return t.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    }
    QString personName() {
        QString n = QString::fromUtf8(m_rng.pick(kSurnames));
        if (m_rng.percent(60))
            n += QString::fromUtf8(m_rng.pick(kGiven));
        else {
            n += QString::fromUtf8(m_rng.pick(kGiven)).left(1);
            n += QString::fromUtf8(m_rng.pick(kGiven)).left(1);
        }
        return n;
    }
    // Every random draw is its own statement: the order in which the operands
    // of one expression are evaluated is not fixed, and the sequence of draws
    // must be.
    QString mobile() {
        static const char* const prefixes[] = {"13", "15", "17", "18", "19"};
        QString m = QString::fromLatin1(m_rng.pick(prefixes));
        m += m_rng.digits(9);
        return m;
    }
    QString mailName() {
        static const char* const parts[] = {"li", "wang", "zhang", "liu", "chen", "yang", "sun", "zhou", "wu",
                                            "xu", "hai",  "tian",  "yun", "ming", "hong", "jun", "xiao"};
        QString m = QString::fromLatin1(m_rng.pick(parts));
        m += QString::fromLatin1(m_rng.pick(parts));
        m += QString::number(m_rng.between(1, 999));
        return m;
    }
    QString mail(const char* host = nullptr) {
        QString m = mailName() + QLatin1Char('@');
        m += QString::fromUtf8(host ? host : m_rng.pick(kMailHosts));
        return m;
    }
    // A value made by make() in pct percent of the rows, else NULL.
    template <typename F> QVariant maybe(int pct, F make) {
        if (!m_rng.percent(pct)) return QVariant();
        return QVariant(make());
    }
    static QVariant nullable(const QString& v, bool keep) { return keep ? QVariant(v) : QVariant(); }
    // The pinyin code users type into lookups: the name's initials, letters
    // and digits only (punctuation such as "（代理）"'s brackets gives no letter).
    static QString pyCode(const QString& name) {
        QString code;
        for (const char c : TUtils_Convert::StrToPY(name))
            if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) code += QLatin1Char(c);
        return code;
    }

    void users() {
        Inserter ins(m_db, "sys_Systemuser",
                     {"vUserName", "vName", "vPassword", "vWorkRole", "vTel", "vEmail", "vGroups",
                      "iCustomerNo", "vCustomerNo", "bDisabled", "dCreateDate"});
        for (const User& u : kUsers) {
            const QString code = QString::fromUtf8(u.code);
            ins.row({code, QString::fromUtf8(u.name), QVariant(), QString::fromUtf8(u.role),
                     maybe(85, [&] { return QStringLiteral("010-6") + m_rng.digits(7); }),
                     code == QLatin1String("o'neil") ? QVariant(QStringLiteral("oneil@example.com"))
                                                     : QVariant(code + QStringLiteral("@huaxin.com.cn")),
                     QString::fromUtf8(u.groups), 1, QStringLiteral("KH000001"),
                     code == QLatin1String("retired") ? 1 : 0, dateTime(-m_rng.between(200, 1500))});
            m_userCodes << code;
        }
    }

    void groups() {
        Inserter ins(m_db, "sys_group", {"vGroupID", "vGroupName", "vDescription"});
        for (const Group& g : kGroups)
            ins.row({QString::fromUtf8(g.id), QString::fromUtf8(g.name), QString::fromUtf8(g.description)});
    }

    void provincesAndKinds() {
        Inserter p(m_db, "dic_Province", {"vProvince", "vArea", "vAreaCode"});
        for (const Province& pr : provinces()) {
            p.row({QString::fromUtf8(pr.name), QString::fromUtf8(pr.area), QString::fromUtf8(pr.code)});
            m_provinceWeight += pr.weight;
        }
        Inserter k(m_db, "dic_unicustomerskind", {"vCustomersKind", "vCustomersKindCn"});
        for (const Kind& kind : kKinds)
            k.row({QString::fromUtf8(kind.code), QString::fromUtf8(kind.cn)});
    }

    const Province& weightedProvince() {
        int w = m_rng.below(m_provinceWeight);
        for (const Province& p : provinces()) {
            if (w < p.weight) return p;
            w -= p.weight;
        }
        return provinces().front();
    }

    void customers() {
        Inserter ins(m_db, "Cust_CustomersMain",
                     {"vCustomerNo", "vCustomerName", "vPYCode",        "vCustomerNameEn",
                      "vProvince",   "vCity",         "vAddress",       "vPostCode",
                      "vTel",        "vFax",          "vMobile",        "vEmail",
                      "vWebSite",    "vContact",      "vCustomersKind", "bIsAgent",
                      "bIsSupplier", "mCreditLimit",  "dcBalance",      "iEmployees",
                      "dCreateDate", "dLastVisit",    "vCreateUser",    "vRemark",
                      "bShare",      "vAllowedUsers", "vAllowedGroups", "vDescription"});
        QSet<QString> names;
        for (int i = 1; i <= m_opt.customers; ++i) {
            const Province& pr = i == 1 ? provinces().front() : weightedProvince();
            const QString city = QString::fromUtf8(m_rng.pick(pr.cities));
            const Brand& brand = m_rng.pick(kBrands);
            const Brand& industry = m_rng.pick(kIndustries);
            const int suffix = m_rng.below(100);
            const bool supplier = i != 1 && m_rng.percent(4);
            const bool agent = i != 1 && !supplier && m_rng.percent(6);
            QString name;
            QString en;
            if (i == 1) {
                name = QStringLiteral("北京华信通达科技有限公司");
                en = QStringLiteral("Beijing Huaxin Tongda Technology Co., Ltd.");
            } else {
                name = city + QString::fromUtf8(brand.zh) + QString::fromUtf8(industry.zh);
                en = QString::fromUtf8(brand.en) + QLatin1Char(' ') + QString::fromUtf8(industry.en);
                struct Suffix {
                    int below;
                    const char* zh;
                    const char* en;
                };
                static const Suffix suffixes[] = {{60, "有限公司", " Co., Ltd."},
                                                  {70, "股份有限公司", " Corporation"},
                                                  {85, "有限责任公司", " Co., Ltd."},
                                                  {93, "商行", " Store"},
                                                  {100, "经营部", " Trading Department"}};
                for (const Suffix& s : suffixes) {
                    if (suffix < s.below) {
                        name += QString::fromUtf8(s.zh);
                        en += QString::fromUtf8(s.en);
                        break;
                    }
                }
                if (agent) name += QStringLiteral("（代理）");
                int branch = 2;
                const QString base = name;
                while (names.contains(name))
                    name = base + QStringLiteral("第%1分部").arg(branch++);
            }
            names.insert(name);
            QString kind;
            if (supplier)
                kind = QStringLiteral("供应商");
            else if (agent)
                kind = QStringLiteral("代理商");
            else {
                static const char* const plain[] = {"重点客户", "普通客户", "普通客户",
                                                    "普通客户", "潜在客户", "政府单位"};
                kind = QString::fromUtf8(m_rng.pick(plain));
            }
            QString address = city + QStringLiteral("市");
            address += QString::fromUtf8(m_rng.pick(kDistricts));
            address += QString::fromUtf8(m_rng.pick(kRoads));
            address += QString::number(m_rng.between(1, 999)) + QStringLiteral("号");
            if (m_rng.percent(50)) {
                address += QString::number(m_rng.between(1, 30)) + QStringLiteral("栋");
                address += QString::number(m_rng.between(101, 2808)) + QStringLiteral("室");
            }
            const QString post = QString::fromUtf8(pr.post);
            // Three-digit area codes go with eight-digit numbers.
            const QString tel =
                QString::fromUtf8(pr.code) + QLatin1Char('-') + m_rng.digits(pr.code[3] ? 7 : 8);
            const QString www = QString::fromUtf8(brand.en).toLower() + m_rng.digits(2);
            const double credit = 5000.0 * m_rng.between(0, 100);
            double balance = m_rng.between(-500000, 2000000) / 100.0;
            if (m_rng.percent(30)) balance *= 10;
            const int created = -m_rng.between(0, 1095);
            const QString creator = m_userCodes[m_rng.between(1, 21)];
            const bool shared = m_rng.percent(30);
            ins.row(
                {QStringLiteral("KH%1").arg(i, 6, 10, QLatin1Char('0')),
                 name,
                 pyCode(name),
                 nullable(en, m_rng.percent(70)),
                 QString::fromUtf8(pr.name),
                 city,
                 nullable(address, m_rng.percent(95)),
                 post.isEmpty() ? QVariant() : QVariant(post + m_rng.digits(3)),
                 nullable(tel, m_rng.percent(90)),
                 maybe(40, [&] { return QString::fromUtf8(pr.code) + QLatin1Char('-') + m_rng.digits(8); }),
                 maybe(80, [&] { return mobile(); }),
                 maybe(70, [&] { return mail(); }),
                 maybe(30,
                       [&] {
                           return QStringLiteral("www.") + www +
                                  (m_rng.percent(50) ? QStringLiteral(".com.cn") : QStringLiteral(".com"));
                       }),
                 maybe(92, [&] { return personName(); }),
                 kind,
                 agent ? 1 : 0,
                 supplier ? 1 : 0,
                 m_rng.percent(90) ? QVariant(credit) : QVariant(),
                 QVariant(balance),
                 m_rng.percent(80) ? QVariant(m_rng.between(3, 5000)) : QVariant(),
                 dateTime(created),
                 m_rng.percent(80) ? QVariant(dateTime(m_rng.between(created > -60 ? created : -60, 30)))
                                   : QVariant(),
                 creator,
                 m_rng.percent(15) ? QVariant(QStringLiteral("老客户，付款及时。")) : QVariant(),
                 shared ? 1 : 0,
                 shared ? QStringLiteral(",") : QStringLiteral(",") + creator + QLatin1Char(','),
                 QString(),
                 m_rng.percent(10) ? QVariant(QStringLiteral("重要合作伙伴")) : QVariant()});
            m_customers.push_back({i, name});
            if (supplier) m_suppliers.push_back({i, name});
        }
    }

    void contacts() {
        Inserter ins(m_db, "Cust_Contacts",
                     {"iCustomerNo", "vContact", "vSex", "vTitle", "vPhoneZone", "vPhoneNumber", "vPhoneKind",
                      "vMobile", "vEmail", "dBirthday", "vRemark"});
        static const char* const kinds[] = {"办公电话", "家庭电话", "传真"};
        for (const auto& c : m_customers) {
            const int n = m_rng.between(0, 3);
            for (int k = 0; k < n; ++k) {
                const bool female = m_rng.percent(45);
                QString name = QString::fromUtf8(m_rng.pick(kSurnames));
                name += QString::fromUtf8(female ? m_rng.pick(kFemaleGiven) : m_rng.pick(kGiven));
                ins.row({c.first, name, female ? QStringLiteral("女") : QStringLiteral("男"),
                         QString::fromUtf8(m_rng.pick(kTitles)), QStringLiteral("0") + m_rng.digits(2),
                         m_rng.digits(8), QString::fromUtf8(m_rng.pick(kinds)),
                         maybe(85, [&] { return mobile(); }), maybe(50, [&] { return mail("qq.com"); }),
                         m_rng.percent(40)
                             ? QVariant(dateTime(-m_rng.between(20 * 365, 60 * 365), false).left(10))
                             : QVariant(),
                         QVariant()});
            }
        }
    }

    void productTypesAndProducts() {
        Inserter types(m_db, "Dic_ProductType", {"vProductType", "vProductType2"});
        for (const ProductType& t : productTypes())
            types.row({QString::fromUtf8(t.type), QString::fromUtf8(t.type2)});

        Inserter ins(m_db, "St_Products",
                     {"vBarcode", "vProductName", "vPYCode", "vProductNameEn", "vModel", "vSpecification",
                      "vUnit", "vProductType", "vProductType2", "iGoodsNo", "vGoodsName", "mCostPrice",
                      "mSellPrice", "fSellCount", "fStorageCount", "bStop", "dCreateDate", "vRemark"});
        QSet<QString> barcodes;
        for (int i = 1; i <= m_opt.products; ++i) {
            const ProductType& t = m_rng.pick(productTypes());
            const size_t item = static_cast<size_t>(m_rng.below(static_cast<int>(t.items.size())));
            const QString name =
                QString::fromUtf8(m_rng.pick(kProductBrands)) + QString::fromUtf8(t.items[item]);
            QString barcode;
            do {
                barcode = QStringLiteral("69") + m_rng.digits(10);
                int sum = 0;
                for (int d = 0; d < 12; ++d)
                    sum += (barcode[d].unicode() - u'0') * (d % 2 ? 3 : 1);
                barcode += QChar(u'0' + (10 - sum % 10) % 10);
            } while (barcodes.contains(barcode));
            barcodes.insert(barcode);
            const double sell = m_rng.between(t.minPrice * 10, t.maxPrice * 10) / 10.0;
            const double cost = std::round(sell * m_rng.between(55, 85)) / 100.0;
            const double storage = m_rng.percent(8) ? 0.0 : m_rng.between(0, 2000);
            const double sellable = storage * m_rng.between(50, 100) / 100.0;
            const auto& sup = m_suppliers.empty() ? m_customers.front() : m_rng.pick(m_suppliers);
            ins.row({barcode, name, pyCode(name), QStringLiteral("C-%1").arg(i, 5, 10, QLatin1Char('0')),
                     maybe(75, [&] { return QStringLiteral("M") + m_rng.digits(6); }),
                     QString::fromUtf8(
                         t.specs[static_cast<size_t>(m_rng.below(static_cast<int>(t.specs.size())))]),
                     QString::fromUtf8(t.unit), QString::fromUtf8(t.type), QString::fromUtf8(t.type2),
                     sup.first, sup.second, cost, sell, std::floor(sellable), storage,
                     m_rng.percent(5) ? 1 : 0, dateTime(-m_rng.between(0, 900)), QVariant()});
            m_products.push_back({i, barcode, name, sell});
        }
    }

    void services() {
        Inserter ins(m_db, "Dic_Service",
                     {"vService", "iGoodsNo", "vGoodsName", "mPrice", "vUnit", "vRemark"});
        for (int i = 0; i < 40; ++i) {
            const QString service = QString::fromUtf8(kServices[i % std::size(kServices)]);
            const bool own = i < 20 || m_suppliers.empty();
            const auto& sup = own ? m_customers.front() : m_rng.pick(m_suppliers);
            ins.row({service, sup.first, sup.second, m_rng.between(5, 200) * 10.0,
                     QString::fromUtf8(m_rng.pick(kServiceUnits)),
                     own ? QVariant(QStringLiteral("本公司提供")) : QVariant()});
        }
    }

    void programs() {
        Inserter ins(m_db, "dic_program",
                     {"vProgram", "vCBsimpleProgram", "vProgramType", "iDuration", "mPrice", "dCreateDate"});
        int no = 0;
        for (size_t p = 0; p < std::size(kPrograms); ++p) {
            const int variants = 3 + m_rng.below(8);
            for (int v = 0; v < variants && v < static_cast<int>(std::size(kProgramVariants)); ++v) {
                const QString base = QString::fromUtf8(kPrograms[p]);
                ++no;
                ins.row({base + QString::fromUtf8(kProgramVariants[v].name),
                         base.left(4) + QString::fromUtf8(kProgramVariants[v].code) +
                             QString::number(no).rightJustified(3, QLatin1Char('0')),
                         QString::fromUtf8(kProgramTypes[p]), 15 * m_rng.between(1, 8),
                         m_rng.between(1, 60) / 2.0, dateTime(-m_rng.between(0, 700))});
            }
        }
        Inserter pk(m_db, "dic_programPackage", {"vPackageName", "mPrice", "vProgramList", "vRemark"});
        for (const char* name : kPackages) {
            QStringList list;
            const int n = m_rng.between(3, 10);
            for (int k = 0; k < n; ++k)
                list << QString::number(m_rng.between(1, no));
            pk.row({QString::fromUtf8(name), m_rng.between(2, 24) * 5.0, list.join(QLatin1Char(',')),
                    m_rng.percent(30) ? QVariant(QStringLiteral("限时优惠")) : QVariant()});
        }
    }

    void sales() {
        Inserter main(m_db, "Sal_SaleMain",
                      {"vReceiptNo", "iCustomerNo", "vCustomerName", "dSaleDate", "mAmount", "vSeller",
                       "vConfirmState", "vConfirmUser", "dConfirmDate", "vCreateUser", "dCreateDate",
                       "vRemark", "bShare", "vAllowedUsers", "vAllowedGroups", "vDescription"});
        Inserter detail(m_db, "Sal_SaleDetail",
                        {"iMasterNo", "iProductNo", "vBarcode", "vProductName", "fQuantity", "mPrice",
                         "mAmount", "vConfirmState", "vConfirmUser", "dConfirmDate"});
        if (m_products.empty()) return;
        QHash<QString, int> perDay;
        for (int i = 1; i <= m_opt.sales; ++i) {
            const int day = -m_rng.between(-7, 365);
            const QString when = dateTime(day);
            const QString dayKey = when.left(10).remove(QLatin1Char('-'));
            const QString receipt = QStringLiteral("XS") + dayKey +
                                    QString::number(++perDay[dayKey]).rightJustified(4, QLatin1Char('0'));
            const auto& cust =
                m_customers[static_cast<size_t>(m_rng.below(static_cast<int>(m_customers.size())))];
            const int state = m_rng.below(100);
            const QVariant confirm = state < 60   ? QVariant(QStringLiteral("已确认"))
                                     : state < 95 ? QVariant(QStringLiteral("未确认"))
                                                  : QVariant();
            const bool confirmed = state < 60;
            const QString seller = m_userCodes[m_rng.between(1, 21)];
            const QVariant confirmUser = confirmed ? QVariant(QStringLiteral("赵敏")) : QVariant();
            const QVariant confirmDate =
                confirmed ? QVariant(dateTime(std::min(day + m_rng.between(0, 3), 0))) : QVariant();
            const qint64 master = main.row({receipt, cust.first, cust.second, when, 0.0, seller, confirm,
                                            confirmUser, confirmDate, seller, when, QVariant(), 0,
                                            QStringLiteral(","), QString(), QVariant()});
            m_sales.push_back({master, cust.first, receipt});
            double total = 0;
            const int lines = m_rng.between(1, 5);
            for (int l = 0; l < lines; ++l) {
                const Product& p =
                    m_products[static_cast<size_t>(m_rng.below(static_cast<int>(m_products.size())))];
                const double qty = m_rng.between(1, 50);
                const double price = std::round(p.price * m_rng.between(85, 100)) / 100.0;
                const double amount = std::round(qty * price * 100.0) / 100.0;
                total += amount;
                detail.row(
                    {master, p.no, p.barcode, p.name, qty, price, amount, confirm, confirmUser, confirmDate});
            }
            sqlite3_stmt* upd = nullptr;
            sqlite3_prepare_v2(m_db.handle(), "UPDATE Sal_SaleMain SET mAmount=? WHERE iNo=?", -1, &upd,
                               nullptr);
            sqlite3_bind_double(upd, 1, std::round(total * 100.0) / 100.0);
            sqlite3_bind_int64(upd, 2, master);
            const int rc = sqlite3_step(upd);
            sqlite3_finalize(upd);
            if (rc != SQLITE_DONE) throw EDatabaseError(QString::fromUtf8(sqlite3_errmsg(m_db.handle())));
        }
    }

    void dictionary() {
        Inserter ins(m_db, "Sys_TableDictionary",
                     {"vTableName", "vFieldName", "vFieldDescribe", "bDisplay", "iOrder"});
        auto add = [&](const std::vector<Table>& tables) {
            for (const Table& t : tables) {
                int order = 0;
                for (const Col& c : t.cols)
                    ins.row({QString::fromLatin1(t.name), QString::fromLatin1(c.name),
                             c.caption ? QVariant(QString::fromUtf8(c.caption)) : QVariant(),
                             c.display ? 1 : 0, ++order});
            }
        };
        add(businessTables());
        add(frameworkDictionary());
    }

    void properties() {
        Inserter ins(m_db, "sys_properties",
                     {"vTableName", "vKeyField", "vSubType", "vPropertyName", "vPropertyValue", "iOrder",
                      "vAppLinkFormat"});
        static const char* const industries[] = {"制造业", "批发零售", "信息技术", "教育",
                                                 "医疗",   "政府",     "餐饮"};
        static const char* const banks[] = {"中国工商银行", "中国建设银行", "中国农业银行", "中国银行",
                                            "招商银行"};
        const int n = std::min<int>(300, static_cast<int>(m_customers.size()));
        for (int i = 0; i < n; ++i) {
            const QString key = QString::number(m_customers[static_cast<size_t>(i)].first);
            int order = 0;
            // Contact properties open the host's screens: "[Value]" is the
            // property's value, the other markers come from the viewer's
            // parameters (the record's key).
            auto prop = [&](const char* sub, const char* name, const QVariant& value,
                            const char* link = nullptr) {
                ins.row({QStringLiteral("Cust_CustomersMain"), key, QString::fromUtf8(sub),
                         QString::fromUtf8(name), value, ++order,
                         link ? QVariant(QString::fromUtf8(link)) : QVariant()});
            };
            prop("基本信息", "所属行业", QString::fromUtf8(m_rng.pick(industries)));
            prop("基本信息", "注册资金", QStringLiteral("%1万元").arg(m_rng.between(10, 5000)));
            prop("基本信息", "成立日期", dateTime(-m_rng.between(365, 20 * 365), false).left(10));
            prop("联系方式", "联系人", personName(),
                 "app://ShowContactDetail?iCustomerNo=[iCustomerNo]&vContact=[Value]");
            prop("联系方式", "手机", mobile(),
                 "app://ShowMessageManageDetail?Phone=[Value]&iCustomerNo=[iCustomerNo]");
            prop("联系方式", "邮箱", mail("163.com"),
                 "app://ShowMailManageDetail?Phone=[Value]&iCustomerNo=[iCustomerNo]");
            if (m_rng.percent(40))
                prop("联系方式", "网址",
                     QStringLiteral("http://www.example") + m_rng.digits(3) + QStringLiteral(".cn"),
                     "[Value]");
            prop("财务信息", "开户银行", QString::fromUtf8(m_rng.pick(banks)));
            QString account = m_rng.digits(4);
            for (int g = 0; g < 3; ++g)
                account += QLatin1Char(' ') + m_rng.digits(4);
            prop("财务信息", "银行账号", account);
            prop("财务信息", "税号", QStringLiteral("91") + m_rng.digits(16));
        }
        // Orders carry a few terms of delivery and payment and links to their
        // customer and to the order itself. No random draws here: the views
        // written next keep their dates whatever the number of orders.
        static const char* const delivery[] = {"送货上门", "客户自提", "快递", "物流托运"};
        static const char* const payment[] = {"现金", "银行转账", "月结30天", "货到付款"};
        static const char* const invoice[] = {"增值税专用发票", "增值税普通发票", "不开发票"};
        const size_t orders = std::min<size_t>(200, m_sales.size());
        for (size_t i = 0; i < orders; ++i) {
            const SaleRef& sale = m_sales[i];
            const QString key = QString::number(sale.no);
            int order = 0;
            auto prop = [&](const char* sub, const char* name, const QString& value,
                            const QString& link = {}) {
                ins.row({QStringLiteral("Sal_SaleMain"), key, QString::fromUtf8(sub), QString::fromUtf8(name),
                         value, ++order, link.isEmpty() ? QVariant() : QVariant(link)});
            };
            prop("单据信息", "单据编号", sale.receipt,
                 QStringLiteral("app://SaleOrder?Action=EDIT&KeyField=[iNo]"));
            prop("单据信息", "客户", m_customers[static_cast<size_t>(sale.customer - 1)].second,
                 QStringLiteral("app://Customer?KeyField=") + QString::number(sale.customer));
            prop("交易条件", "交货方式", QString::fromUtf8(delivery[i % std::size(delivery)]));
            prop("交易条件", "付款方式", QString::fromUtf8(payment[(i / 2) % std::size(payment)]));
            prop("交易条件", "发票类型", QString::fromUtf8(invoice[(i / 3) % std::size(invoice)]));
        }
    }

    void views() {
        Inserter ins(m_db, "Sys_FileBase",
                     {"vFileName", "vExt", "vOwner", "imgFileData", "bShare", "vAllowedUsers",
                      "vAllowedGroups", "vDescription", "dCreateDate"});
        const QString cus = QStringLiteral(".CUS");
        const QString sal = QStringLiteral(".SAL");
        auto add = [&](const QString& path, const QString& ext, const QString& owner, const QByteArray& data,
                       bool share, const QString& users, const QString& groups, const QString& description) {
            ins.row({path, ext, owner, data, share ? 1 : 0, users, groups, description,
                     dateTime(-m_rng.between(1, 200))});
        };
        add(QStringLiteral("常用视图\\北京客户"), cus, QStringLiteral("admin"),
            conditionView({{QStringLiteral("vProvince= '北京'"), QStringLiteral("省份"),
                            QStringLiteral("省份 等于(精确地) 北京")}},
                          true),
            true, QStringLiteral(","), QString(), QStringLiteral("省份为北京的全部客户"));
        add(QStringLiteral("常用视图\\本月新增客户"), cus, QStringLiteral("admin"),
            conditionView({{QStringLiteral("DateDiff(m,dCreateDate,GetDate() )=0"),
                            QStringLiteral("建档日期"), QStringLiteral("建档日期 本月 ")}},
                          true),
            true, QStringLiteral(","), QString(), QStringLiteral("本月建档的客户"));
        add(QStringLiteral("常用视图\\代理商"), cus, QStringLiteral("admin"),
            conditionView(
                {{QStringLiteral("bIsAgent=1"), QStringLiteral("代理商"), QStringLiteral("代理商 是 ")}},
                true),
            true, QStringLiteral(","), QString(), QStringLiteral("全部代理商"));
        add(QStringLiteral("销售分析\\重点或大额信用客户"), cus, QStringLiteral("zhangwei"),
            conditionView({{QStringLiteral("mCreditLimit>= 300000"), QStringLiteral("信用额度"),
                            QStringLiteral("信用额度 大于等于 300000")},
                           {QStringLiteral("vCustomersKind like '%重点%'"), QStringLiteral("客户类型"),
                            QStringLiteral("客户类型 包含 重点")}},
                          false),
            false, QStringLiteral(",lina,wangfang,"), QStringLiteral("[B"), QStringLiteral("销售部内部使用"));
        add(QStringLiteral("销售分析\\最近30天拜访"), cus, QStringLiteral("lina"),
            conditionView({{QStringLiteral("DateDiff(d,dLastVisit,GetDate() )<= 30"),
                            QStringLiteral("最近拜访"), QStringLiteral("最近拜访 最近N天 30")},
                           {QStringLiteral("vProvince= '广东'"), QStringLiteral("省份"),
                            QStringLiteral("省份 等于(精确地) 广东")}},
                          true),
            false, QStringLiteral(","), QString(), QString());
        add(QStringLiteral("我的视图\\华东地区客户"), cus, QStringLiteral("zhangwei"),
            sqlView(QStringLiteral("select * from Cust_CustomersMain where vProvince in "
                                   "('上海','江苏','浙江','安徽','福建','江西','山东')")),
            false, QStringLiteral(",zhangwei,o'neil,"), QString(), QStringLiteral("按地区的原始查询"));
        add(QStringLiteral("旧版视图\\上海客户"), cus, QStringLiteral("admin"),
            conditionView({{QStringLiteral("vProvince= '上海'"), QStringLiteral("省份"),
                            QStringLiteral("省份 等于(精确地) 上海")}},
                          true, 2),
            true, QStringLiteral(","), QString(), QStringLiteral("早期版本保存的视图"));
        add(QStringLiteral("常用视图\\今天的销售单"), sal, QStringLiteral("admin"),
            conditionView({{QStringLiteral("DateDiff(d,dSaleDate,GetDate() )=0"), QStringLiteral("销售日期"),
                            QStringLiteral("销售日期 今天 ")}},
                          true),
            true, QStringLiteral(","), QString(), QStringLiteral("今天开出的销售单"));
        add(QStringLiteral("常用视图\\未审核销售单"), sal, QStringLiteral("admin"),
            conditionView({{QStringLiteral("vConfirmState<> '已确认'"), QStringLiteral("审核状态"),
                            QStringLiteral("审核状态 不等于(精确地) 已确认")}},
                          true),
            true, QStringLiteral(","), QString(), QStringLiteral("等待财务审核"));
        add(QStringLiteral("财务\\大额销售单"), sal, QStringLiteral("zhaomin"),
            conditionView({{QStringLiteral("mAmount> 50000"), QStringLiteral("金额"),
                            QStringLiteral("金额 大于 50000")}},
                          true),
            false, QStringLiteral(","), QStringLiteral("[D"), QStringLiteral("财务部关注的大额单据"));
        // Sharing cases of the views tree: a group's view, a view owned by a
        // user whose name holds a quote, and one allowed to that user by name.
        add(QStringLiteral("客服专区\\待回访客户"), cus, QStringLiteral("huangqiang"),
            conditionView({{QStringLiteral("DateDiff(d,dLastVisit,GetDate() )<= 90"),
                            QStringLiteral("最近拜访"), QStringLiteral("最近拜访 最近N天 90")}},
                          true),
            false, QStringLiteral(","), QStringLiteral("[C"), QStringLiteral("客服部共用的回访名单"));
        add(QStringLiteral("我的视图\\外资客户"), cus, QStringLiteral("o'neil"),
            conditionView({{QStringLiteral("vCustomersKind like '%外资%'"), QStringLiteral("客户类型"),
                            QStringLiteral("客户类型 包含 外资")}},
                          true),
            false, QStringLiteral(","), QString(), QStringLiteral("欧尼尔自己的视图"));
        add(QStringLiteral("销售分析\\北京重点客户"), cus, QStringLiteral("zhangwei"),
            conditionView({{QStringLiteral("vProvince= '北京'"), QStringLiteral("省份"),
                            QStringLiteral("省份 等于(精确地) 北京")},
                           {QStringLiteral("vCreateUser= '[%用户代码%]'"), QStringLiteral("建档人"),
                            QStringLiteral("建档人 等于(精确地) [%用户代码%]")}},
                          true),
            false, QStringLiteral(",o'neil,chenjing,"), QString(), QStringLiteral("北京客户中自己建档的"));
    }

    struct Product {
        int no;
        QString barcode;
        QString name;
        double price;
    };

    Db& m_db;
    const Options& m_opt;
    Rng m_rng;
    QDateTime m_now;
    QStringList m_userCodes;
    int m_provinceWeight = 0;
    std::vector<std::pair<int, QString>> m_customers;
    std::vector<std::pair<int, QString>> m_suppliers;
    std::vector<Product> m_products;
    struct SaleRef {
        qint64 no;
        int customer;
        QString receipt;
    };
    std::vector<SaleRef> m_sales;
};

} // namespace

QString SchemaSql() {
    return QString::fromUtf8(kSchema);
}

void CreateSchema(TADOConnection& connection) {
    connection.ExecuteNative(SchemaSql());
}

QStringList SampleTables() {
    QStringList names{QStringLiteral("Sys_FileBase"), QStringLiteral("Sys_TableDictionary"),
                      QStringLiteral("sys_Systemuser"), QStringLiteral("sys_group"),
                      QStringLiteral("sys_properties")};
    for (const Table& t : businessTables())
        names << QString::fromLatin1(t.name);
    return names;
}

void CreateSample(const QString& path, const Options& options) {
    const QFileInfo info(path);
    if (info.exists() && info.size() > 0) throw EInOutError(QStringLiteral("文件已存在: ") + path);
    bool created = false;
    try {
        Db db(path);
        created = true;
        db.exec(QStringLiteral("BEGIN"));
        db.exec(SchemaSql());
        db.exec(businessDdl());
        Generator gen(db, options);
        gen.run();
        db.exec(QStringLiteral("COMMIT"));
    } catch (...) {
        // Nothing half-made stays behind.
        if (created) {
            QFile::remove(path);
            QFile::remove(path + QStringLiteral("-journal"));
        }
        throw;
    }
}

} // namespace lnq::SampleDatabase
