#include "demo/DemoServices.h"

#include "data/DataSet.h"
#include "data/Plat_adodatabasese.h"
#include "util/Clock.h"
#include "util/Gbk.h"

#include <QStringList>
#include <algorithm>
#include <cstring>

namespace lnq {

namespace {

QString fromGbk(const char* text) {
    return text ? Gbk::decode(QByteArray(text)) : QString();
}

// The GBK bytes of text into a buffer of capacity bytes, whole characters only.
void fill(const QString& text, char* buffer, int& length, int capacity) {
    const QByteArray bytes = Gbk::encode(text);
    int n = 0;
    while (n < bytes.size()) {
        const int step = static_cast<unsigned char>(bytes.at(n)) >= 0x81 ? 2 : 1;
        if (n + step > capacity || n + step > bytes.size()) break;
        n += step;
    }
    if (n > 0) std::memcpy(buffer, bytes.constData(), static_cast<size_t>(n));
    length = n;
}

QString recentKey(const QString& ext) {
    return QStringLiteral("Recent/") + (ext.isEmpty() ? QStringLiteral("_") : ext.toUpper());
}

QString receiptKey(const QString& kind, int n) {
    return QStringLiteral("Receipt/") + kind + QStringLiteral("/Setting") + QString::number(n);
}

} // namespace

TDemoServices::TDemoServices(std::unique_ptr<QSettings> settings, QObject* parent)
    : QObject(parent), m_settings(std::move(settings)) {}

TDemoServices::~TDemoServices() {
    m_settings->sync();
}

void TDemoServices::RegisterReceiptTable(const QString& kind, const QString& table, const QString& field) {
    m_receiptTables.insert(kind.toUpper(), ReceiptTable{table, field});
}

void TDemoServices::GetOptionValue(const char* optionName, char* value, int& valueLen) {
    const QString v = m_settings->value(QStringLiteral("Options/") + fromGbk(optionName)).toString();
    fill(v, value, valueLen, kBufferSize);
}

void TDemoServices::GetOptionValueEx(const char* section, const char* optionName, char* value,
                                     int& valueLen) {
    const QString v = m_settings->value(fromGbk(section) + QLatin1Char('/') + fromGbk(optionName)).toString();
    fill(v, value, valueLen, kBufferSize);
}

void TDemoServices::SetOptionValueEx(const char* section, const char* optionName, const char* value) {
    m_settings->setValue(fromGbk(section) + QLatin1Char('/') + fromGbk(optionName), fromGbk(value));
}

QStringList TDemoServices::receiptSettings(const QString& kind) {
    // Sales orders number as the sample's do: XS, the day, four digits.
    const bool sales = kind.compare(QLatin1String("SaleOrder"), Qt::CaseInsensitive) == 0 ||
                       kind.compare(QLatin1String("Sal_SaleMain"), Qt::CaseInsensitive) == 0;
    const QString defaults[4] = {sales ? QStringLiteral("XS") : kind.left(4).toUpper(),
                                 QStringLiteral("yyyyMMdd"), QStringLiteral("4"), QString()};
    QStringList out;
    for (int i = 0; i < 4; ++i)
        out << m_settings->value(receiptKey(kind, i + 1), defaults[i]).toString();
    return out;
}

int TDemoServices::highestSerialInTable(const QString& kind, const QString& stem) {
    const auto it = m_receiptTables.constFind(kind.toUpper());
    if (it == m_receiptTables.constEnd() || !m_connection) return 0;
    // The stem comes from the settings file: quoted, and its own wildcard
    // characters matched literally by comparing the prefix instead of LIKE.
    const QString sql = QStringLiteral("select max(") + it->Field + QStringLiteral(") as vMax from ") +
                        it->Table + QStringLiteral(" where left(") + it->Field + QLatin1Char(',') +
                        QString::number(stem.size()) + QStringLiteral(")=") +
                        TInterfacedADOConnection::QuotedStr(stem);
    const std::unique_ptr<TADODataSet> max = m_connection->ExecuteWithQuery(sql);
    if (max->IsEmpty()) return 0;
    const QString highest = max->Fields(0).AsString();
    bool ok = false;
    const int serial = highest.mid(stem.size()).toInt(&ok);
    return ok ? serial : 0;
}

QString TDemoServices::NextReceiptNo(const QString& kind) {
    const QStringList s = receiptSettings(kind);
    const QString stem = s[0] + (s[1].isEmpty() ? QString() : Clock::today().toString(s[1]));
    const int digits = std::clamp(s[2].toInt(), 1, 12);
    int serial = 0;
    if (s[3].startsWith(stem) && s[3].size() > stem.size()) serial = s[3].mid(stem.size()).toInt();
    serial = std::max(serial, highestSerialInTable(kind, stem)) + 1;
    const QString number = stem + QString::number(serial).rightJustified(digits, QLatin1Char('0'));
    m_settings->setValue(receiptKey(kind, 4), number);
    return number;
}

void TDemoServices::GetReceiptNo(const char* receiptKind, char* receiptNo, int& receiptNoLen) {
    fill(NextReceiptNo(fromGbk(receiptKind)), receiptNo, receiptNoLen, kBufferSize);
}

void TDemoServices::GetReceiptNoSetting(const char* receiptKind, char* setting1, int& setting1Len,
                                        char* setting2, int& setting2Len, char* setting3, int& setting3Len,
                                        char* setting4, int& setting4Len) {
    const QStringList s = receiptSettings(fromGbk(receiptKind));
    fill(s[0], setting1, setting1Len, kBufferSize);
    fill(s[1], setting2, setting2Len, kBufferSize);
    fill(s[2], setting3, setting3Len, kBufferSize);
    fill(s[3], setting4, setting4Len, kBufferSize);
}

void TDemoServices::SetReceiptNoSetting(const char* receiptKind, const char* setting1, const char* setting2,
                                        const char* setting3, const char* setting4) {
    const QString kind = fromGbk(receiptKind);
    const char* values[4] = {setting1, setting2, setting3, setting4};
    for (int i = 0; i < 4; ++i)
        m_settings->setValue(receiptKey(kind, i + 1), fromGbk(values[i]));
}

void TDemoServices::GetImeName(char* imeName, int& imeNameLen) {
    fill(m_settings->value(QStringLiteral("Options/ImeName")).toString(), imeName, imeNameLen, kBufferSize);
}

void TDemoServices::OpenAppLink(const char* link) {
    Q_EMIT appLinkRequested(fromGbk(link));
}

int TDemoServices::GetRecentCount(const char* ext) {
    return static_cast<int>(m_settings->value(recentKey(fromGbk(ext))).toStringList().size() / 2);
}

bool TDemoServices::GetRecentItem(const char* ext, int index, char* caption, int& captionLen, char* sql,
                                  int& sqlLen) {
    const QStringList items = m_settings->value(recentKey(fromGbk(ext))).toStringList();
    if (index < 0 || 2 * index + 1 >= items.size()) return false;
    const QByteArray c = Gbk::encode(items.at(2 * index));
    const QByteArray s = Gbk::encode(items.at(2 * index + 1));
    // A text too long for its buffer is not written; its length tells the
    // caller how much room to ask again with.
    if (c.size() <= captionLen) std::memcpy(caption, c.constData(), static_cast<size_t>(c.size()));
    if (s.size() <= sqlLen) std::memcpy(sql, s.constData(), static_cast<size_t>(s.size()));
    captionLen = static_cast<int>(c.size());
    sqlLen = static_cast<int>(s.size());
    return true;
}

void TDemoServices::AddRecentItem(const char* ext, const char* caption, const char* sql) {
    const QString key = recentKey(fromGbk(ext));
    const QString c = fromGbk(caption);
    const QString s = fromGbk(sql);
    const QStringList old = m_settings->value(key).toStringList();
    QStringList items{c, s};
    for (qsizetype i = 0; i + 1 < old.size() && items.size() < 2 * MaxRecent; i += 2)
        if (old.at(i) != c || old.at(i + 1) != s) items << old.at(i) << old.at(i + 1);
    m_settings->setValue(key, items);
}

} // namespace lnq
