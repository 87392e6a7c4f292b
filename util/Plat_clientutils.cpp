#include "util/Plat_clientutils.h"

#include "data/Plat_databaseinterface.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_servicesinterface.h"
#include "util/Plat_sysutils.h"

#include <QCoreApplication>
#include <QDir>
#include <vector>

namespace lnq {

namespace {

constexpr int kBuffer = 512;
constexpr int kAuthorityBuffer = 4096;

// A zeroed buffer for one text answer; text() keeps the bytes the callee said
// it wrote, clamped to the buffer.
class TextBuffer {
public:
    explicit TextBuffer(int size = kBuffer) : m_bytes(size_t(size), '\0') {}
    char* data() { return m_bytes.data(); }
    int capacity() const { return int(m_bytes.size()); }
    int length = 0;
    QString text() const {
        const int n = qBound(0, length, capacity());
        return Gbk::decode(QByteArrayView(m_bytes.data(), n));
    }

private:
    std::vector<char> m_bytes;
};

QString quoted(const QString& text) {
    QString t = text;
    t.replace(u'\'', QLatin1String("''"));
    return u'\'' + t + u'\'';
}

struct Party {
    int number = 0;
    QString code;
    QString name;
};

Party currentUser(IConnection& connection) {
    Party p;
    TextBuffer code, name;
    connection.GetCurrentUser(p.number, code.data(), code.length, name.data(), name.length);
    p.code = code.text();
    p.name = name.text();
    return p;
}

Party currentCustomer(IConnection& connection) {
    Party p;
    TextBuffer code, name;
    connection.GetCurrentCustomer(p.number, code.data(), code.length, name.data(), name.length);
    p.code = code.text();
    p.name = name.text();
    return p;
}

// TStrings.Text assignment: lines end at CR, LF or CR LF; a final line break
// adds no empty line; the text ends at a NUL character.
QStringList splitLines(QString text) {
    const qsizetype nul = text.indexOf(QChar(u'\0'));
    if (nul >= 0) text.truncate(nul);
    QStringList lines;
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n) {
        qsizetype j = i;
        while (j < n && text[j] != u'\r' && text[j] != u'\n')
            ++j;
        lines << text.mid(i, j - i);
        if (j < n && text[j] == u'\r') ++j;
        if (j < n && text[j] == u'\n') ++j;
        i = j;
    }
    return lines;
}

} // namespace

int TClientUtils::GetCurrentUserNo(IConnection& connection) {
    return currentUser(connection).number;
}

QString TClientUtils::GetCurrentUserCode(IConnection& connection) {
    return currentUser(connection).code;
}

QString TClientUtils::GetCurrentUserName(IConnection& connection) {
    return currentUser(connection).name;
}

int TClientUtils::GetCurrentCustomerNo(IConnection& connection) {
    return currentCustomer(connection).number;
}

QString TClientUtils::GetCurrentCustomerCode(IConnection& connection) {
    return currentCustomer(connection).code;
}

QString TClientUtils::GetCurrentCustomerName(IConnection& connection) {
    return currentCustomer(connection).name;
}

QString TClientUtils::GetAuthorityString(IConnection& connection) {
    TextBuffer buf(kAuthorityBuffer);
    connection.GetAuthorityString(buf.data(), buf.length);
    return buf.text();
}

QString TClientUtils::GetCurrrentGroups(IConnection& connection) {
    TextBuffer buf;
    connection.GetCurrrentGroups(buf.data(), buf.length);
    return buf.text();
}

QString TClientUtils::GetAccessUsers(IConnection& connection) {
    TextBuffer buf;
    if (!connection.GetAccessUsers(buf.data(), buf.length)) return QString();
    return buf.text();
}

int TClientUtils::GetUserCustomerNo(IConnection& connection) {
    const QString sql =
        QStringLiteral(" SELECT iCustomerNo, vCustomerNo  FROM sys_SystemUser  WHERE iUserNo = ") +
        QString::number(GetCurrentUserNo(connection));
    const auto ds = connection.ExecuteWithQuery(sql);
    if (ds->IsEmpty()) return 0;
    return ds->FieldByName(QStringLiteral("iCustomerNo")).AsInteger();
}

bool TClientUtils::CheckReceiptNo(IConnection& connection, int recordNo, const QString& table,
                                  const QString& receiptNo) {
    const QString sql = QStringLiteral(" SELECT * FROM ") + table + QStringLiteral(" WHERE vReceiptNo = ") +
                        quoted(receiptNo) + QStringLiteral(" ") + QStringLiteral(" AND iNo <> ") +
                        QString::number(recordNo);
    const auto ds = connection.CreateDataset();
    connection.FillDataset(*ds, sql);
    return ds->IsEmpty();
}

void TClientUtils::SetComboboxItemsBySQL(IConnection& connection, const QString& sqlOrTable,
                                         QStringList& list) {
    QString sql = sqlOrTable;
    int column = 0;
    if (!sqlOrTable.toUpper().contains(QLatin1String("SELECT"))) {
        sql = QStringLiteral("select * from ") + sqlOrTable;
        column = 1;
    }
    const auto ds = connection.CreateDataset();
    connection.FillDataset(*ds, sql);
    if (ds->FieldCount() <= column) {
        throw EDatabaseError(QStringLiteral("查询结果没有第 %1 列: %2").arg(column + 1).arg(sql));
    }
    list.clear();
    for (ds->First(); !ds->Eof(); ds->Next())
        list << ds->Fields(column).AsString();
    ds->Close();
}

QString TClientUtils::DateTimeToSQLStr(const QDateTime& dateTime) {
    return dateTime.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

QString TClientUtils::DateTimeToSQLStr(TDateTime dateTime) {
    return DateTimeToSQLStr(DateTimeToQt(dateTime));
}

QString TClientUtils::GetExcelConnString(const QString& fileName) {
    return QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source= '") + fileName +
           QStringLiteral("';Extended Properties=\"Excel 8.0;HDR=YES;IMEX=1\";Persist Security Info=False");
}

QStringList TClientUtils::GetAppLinkListValue(const QString& text) {
    QString t = text;
    t.replace(u'&', QLatin1String("\r\n"));
    return splitLines(t);
}

bool TClientUtils::GetAppLinkValue(const QStringList& lines, const QString& name, QString& value) {
    for (const QString& line : lines) {
        const qsizetype eq = line.indexOf(u'=');
        if (eq > 0 && line.left(eq).trimmed().compare(name, Qt::CaseInsensitive) == 0) {
            value = line.mid(eq + 1);
            return true;
        }
    }
    return false;
}

QString TClientUtils::GetAppDir() {
    // Without an application object there is no executable path to ask for;
    // the working directory is the best answer then.
    const QString dir =
        QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
    return dir.endsWith(u'/') ? dir : dir + u'/';
}

QString TClientUtils::GetOptionValue(IServicesInterface& services, const QString& optionName,
                                     const QString& defaultValue) {
    TextBuffer buf;
    services.GetOptionValue(Gbk::encode(optionName).constData(), buf.data(), buf.length);
    const QString value = buf.text();
    return value.isEmpty() ? defaultValue : value;
}

QString TClientUtils::GetOptionValueEx(IServicesInterface& services, const QString& section,
                                       const QString& optionName, const QString& defaultValue) {
    TextBuffer buf;
    services.GetOptionValueEx(Gbk::encode(section).constData(), Gbk::encode(optionName).constData(),
                              buf.data(), buf.length);
    const QString value = buf.text();
    return value.isEmpty() ? defaultValue : value;
}

void TClientUtils::SetOptionValueEx(IServicesInterface& services, const QString& section,
                                    const QString& optionName, const QString& value) {
    services.SetOptionValueEx(Gbk::encode(section).constData(), Gbk::encode(optionName).constData(),
                              Gbk::encode(value).constData());
}

int TClientUtils::GetMyCustomerNo(IServicesInterface& services) {
    return StrToIntDef(GetOptionValue(services, QStringLiteral("CompanyCustomerNo"), QStringLiteral("0")), 0);
}

QString TClientUtils::GetMyCustomerName(IServicesInterface& services) {
    return GetOptionValue(services, QStringLiteral("CompanyCustomerName"), QString());
}

QString TClientUtils::GetReceiptNo(IServicesInterface& services, const QString& receiptKind) {
    TextBuffer buf;
    services.GetReceiptNo(Gbk::encode(receiptKind).constData(), buf.data(), buf.length);
    return buf.text();
}

void TClientUtils::GetReceiptNoSetting(IServicesInterface& services, const QString& receiptKind,
                                       QString& setting1, QString& setting2, QString& setting3,
                                       QString& setting4) {
    TextBuffer b1, b2, b3, b4;
    services.GetReceiptNoSetting(Gbk::encode(receiptKind).constData(), b1.data(), b1.length, b2.data(),
                                 b2.length, b3.data(), b3.length, b4.data(), b4.length);
    setting1 = b1.text();
    setting2 = b2.text();
    setting3 = b3.text();
    setting4 = b4.text();
}

void TClientUtils::SetReceiptNoSetting(IServicesInterface& services, const QString& receiptKind,
                                       const QString& setting1, const QString& setting2,
                                       const QString& setting3, const QString& setting4) {
    services.SetReceiptNoSetting(Gbk::encode(receiptKind).constData(), Gbk::encode(setting1).constData(),
                                 Gbk::encode(setting2).constData(), Gbk::encode(setting3).constData(),
                                 Gbk::encode(setting4).constData());
}

QString TClientUtils::GetImeName(IServicesInterface& services) {
    TextBuffer buf;
    services.GetImeName(buf.data(), buf.length);
    return buf.text();
}

void TClientUtils::OpenAppLink(IServicesInterface& services, const QString& link) {
    services.OpenAppLink(Gbk::encode(link).constData());
}

QList<TRecentItem> TClientUtils::GetRecentItems(IServicesInterface& services, const QString& ext) {
    const QByteArray extBytes = Gbk::encode(ext);
    const int count = services.GetRecentCount(extBytes.constData());
    QList<TRecentItem> items;
    for (int i = 0; i < count; ++i) {
        int captionSize = kBuffer;
        int sqlSize = 4096;
        // Two rounds at most: the first answer tells how big a text really is.
        for (int round = 0; round < 2; ++round) {
            TextBuffer caption(captionSize), sql(sqlSize);
            caption.length = caption.capacity();
            sql.length = sql.capacity();
            if (!services.GetRecentItem(extBytes.constData(), i, caption.data(), caption.length, sql.data(),
                                        sql.length))
                return items; // the history shrank meanwhile
            const bool fits = caption.length <= caption.capacity() && sql.length <= sql.capacity();
            if (fits || round == 1) {
                items.append({caption.text(), sql.text()});
                break;
            }
            // A host reporting absurd sizes gets its texts cut rather than a
            // buffer of that size.
            constexpr int kLimit = 16 * 1024 * 1024;
            captionSize = qBound(captionSize, caption.length, kLimit);
            sqlSize = qBound(sqlSize, sql.length, kLimit);
        }
    }
    return items;
}

void TClientUtils::AddRecentItem(IServicesInterface& services, const QString& ext, const TRecentItem& item) {
    services.AddRecentItem(Gbk::encode(ext).constData(), Gbk::encode(item.Caption).constData(),
                           Gbk::encode(item.SQL).constData());
}

} // namespace lnq
