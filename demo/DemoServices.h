#pragma once
// TDemoServices: the demo client's host services. Options, receipt-number
// settings and the recently opened views live in the client's settings file
// (QSettings); receipt numbers are checked against the receipts table so that
// a number is never handed out twice; links are handed to whoever routes them
// (the main window) through appLinkRequested.
//
// Settings layout:
//   Options/<name>                    GetOptionValue
//   <section>/<name>                  GetOptionValueEx / SetOptionValueEx
//   Receipt/<kind>/Setting1..4        prefix, date pattern, serial digits,
//                                     the number handed out last
//   Recent/<ext>                      caption and SQL pairs, newest first
//                                     (at most MaxRecent)

#include "util/Plat_servicesinterface.h"

#include <QHash>
#include <QObject>
#include <QSettings>
#include <QString>
#include <memory>

namespace lnq {

class IConnection;

class TDemoServices : public QObject, public IServicesInterface {
    Q_OBJECT
public:
    explicit TDemoServices(std::unique_ptr<QSettings> settings, QObject* parent = nullptr);
    ~TDemoServices() override;

    QSettings& Settings() { return *m_settings; }
    // The connection receipt numbers are checked against (may be empty).
    void SetConnection(std::shared_ptr<IConnection> connection) { m_connection = std::move(connection); }
    // Receipt kinds whose numbers are stored in a table column: a new number
    // never repeats one found there.
    void RegisterReceiptTable(const QString& kind, const QString& table, const QString& field);

    static constexpr int MaxRecent = 10;

    void GetOptionValue(const char* optionName, char* value, int& valueLen) override;
    void GetOptionValueEx(const char* section, const char* optionName, char* value, int& valueLen) override;
    void SetOptionValueEx(const char* section, const char* optionName, const char* value) override;
    void GetReceiptNo(const char* receiptKind, char* receiptNo, int& receiptNoLen) override;
    void GetReceiptNoSetting(const char* receiptKind, char* setting1, int& setting1Len, char* setting2,
                             int& setting2Len, char* setting3, int& setting3Len, char* setting4,
                             int& setting4Len) override;
    void SetReceiptNoSetting(const char* receiptKind, const char* setting1, const char* setting2,
                             const char* setting3, const char* setting4) override;
    void GetImeName(char* imeName, int& imeNameLen) override;
    void OpenAppLink(const char* link) override;
    int GetRecentCount(const char* ext) override;
    bool GetRecentItem(const char* ext, int index, char* caption, int& captionLen, char* sql,
                       int& sqlLen) override;
    void AddRecentItem(const char* ext, const char* caption, const char* sql) override;

    // The next receipt number of a kind in Qt types (what GetReceiptNo hands out).
    QString NextReceiptNo(const QString& kind);

Q_SIGNALS:
    void appLinkRequested(const QString& link);

private:
    struct ReceiptTable {
        QString Table;
        QString Field;
    };
    QStringList receiptSettings(const QString& kind);
    int highestSerialInTable(const QString& kind, const QString& stem);

    std::unique_ptr<QSettings> m_settings;
    std::shared_ptr<IConnection> m_connection;
    QHash<QString, ReceiptTable> m_receiptTables;
};

} // namespace lnq
