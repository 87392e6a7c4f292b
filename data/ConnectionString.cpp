#include "data/ConnectionString.h"

#include "util/Exceptions.h"

#include <QStringList>

namespace lnq {

namespace {

bool keyIs(const QString& key, std::initializer_list<const char*> names) {
    for (const char* n : names)
        if (key.compare(QLatin1String(n), Qt::CaseInsensitive) == 0) return true;
    return false;
}

bool truthy(const QString& v) {
    return v.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ||
           v.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0 ||
           v.compare(QLatin1String("sspi"), Qt::CaseInsensitive) == 0 || v == QLatin1String("1");
}

bool isSqlServerProvider(const QString& p) {
    // The OLE DB providers for SQL Server across its versions.
    return p.startsWith(QLatin1String("SQLOLEDB"), Qt::CaseInsensitive) ||
           p.startsWith(QLatin1String("SQLNCLI"), Qt::CaseInsensitive) ||
           p.startsWith(QLatin1String("MSOLEDBSQL"), Qt::CaseInsensitive) ||
           p.compare(QLatin1String("SQLServer"), Qt::CaseInsensitive) == 0 ||
           p.compare(QLatin1String("MSSQL"), Qt::CaseInsensitive) == 0;
}

// Provider names under which connection strings name a workbook.
bool isWorkbookProvider(const QString& p) {
    return p.startsWith(QLatin1String("Microsoft.Jet.OLEDB"), Qt::CaseInsensitive) ||
           p.startsWith(QLatin1String("Microsoft.ACE.OLEDB"), Qt::CaseInsensitive);
}

struct ServerAddress {
    QString host;
    QString instance;
    QString port;
};

ServerAddress splitDataSource(QString ds) {
    ServerAddress a;
    if (ds.startsWith(QLatin1String("tcp:"), Qt::CaseInsensitive)) ds = ds.mid(4);
    const qsizetype comma = ds.indexOf(QLatin1Char(','));
    if (comma >= 0) {
        a.port = ds.mid(comma + 1).trimmed();
        ds = ds.left(comma).trimmed();
    }
    const qsizetype slash = ds.indexOf(QLatin1Char('\\'));
    if (slash >= 0) {
        a.instance = ds.mid(slash + 1).trimmed();
        ds = ds.left(slash).trimmed();
    }
    if (ds.isEmpty() || ds == QLatin1String(".") ||
        ds.compare(QLatin1String("(local)"), Qt::CaseInsensitive) == 0)
        ds = QStringLiteral("localhost");
    a.host = ds;
    return a;
}

} // namespace

QList<QPair<QString, QString>> ParseConnectionString(const QString& text) {
    QList<QPair<QString, QString>> out;
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        // Key up to "=" or ";".
        qsizetype start = i;
        while (i < n && text[i] != QLatin1Char('=') && text[i] != QLatin1Char(';'))
            ++i;
        const QString key = text.mid(start, i - start).trimmed();
        QString value;
        if (i < n && text[i] == QLatin1Char('=')) {
            ++i;
            while (i < n && text[i].isSpace())
                ++i;
            if (i < n && (text[i] == QLatin1Char('"') || text[i] == QLatin1Char('\''))) {
                const QChar q = text[i++];
                while (i < n) {
                    if (text[i] == q) {
                        if (i + 1 < n && text[i + 1] == q) {
                            value += q;
                            i += 2;
                            continue;
                        }
                        ++i;
                        break;
                    }
                    value += text[i++];
                }
                while (i < n && text[i] != QLatin1Char(';'))
                    ++i;
            } else if (i < n && text[i] == QLatin1Char('{')) {
                // ODBC style braces, "}}" for a brace inside.
                ++i;
                while (i < n) {
                    if (text[i] == QLatin1Char('}')) {
                        if (i + 1 < n && text[i + 1] == QLatin1Char('}')) {
                            value += QLatin1Char('}');
                            i += 2;
                            continue;
                        }
                        ++i;
                        break;
                    }
                    value += text[i++];
                }
                while (i < n && text[i] != QLatin1Char(';'))
                    ++i;
            } else {
                start = i;
                while (i < n && text[i] != QLatin1Char(';'))
                    ++i;
                value = text.mid(start, i - start).trimmed();
            }
        }
        if (i < n && text[i] == QLatin1Char(';')) ++i;
        if (!key.isEmpty()) out.append({key, value});
    }
    return out;
}

QString OdbcValue(const QString& value) {
    if (!value.contains(QLatin1Char(';')) && !value.contains(QLatin1Char('{')) &&
        !value.contains(QLatin1Char('}')) && value.trimmed() == value)
        return value;
    QString v = value;
    v.replace(QLatin1Char('}'), QLatin1String("}}"));
    return QLatin1Char('{') + v + QLatin1Char('}');
}

QString StripPassword(const QString& text) {
    const auto pairs = ParseConnectionString(text);
    if (pairs.size() == 1 && pairs.first().second.isEmpty() && !text.contains(QLatin1Char('=')))
        return text; // a bare file path
    QStringList parts;
    for (const auto& [k, v] : pairs) {
        if (keyIs(k, {"Password", "PWD"})) continue;
        QString val = v;
        if (val.contains(QLatin1Char(';')) || val.contains(QLatin1Char('"')) || val.trimmed() != val)
            val = QLatin1Char('"') + QString(val).replace(QLatin1Char('"'), QLatin1String("\"\"")) +
                  QLatin1Char('"');
        parts << k + QLatin1Char('=') + val;
    }
    return parts.join(QLatin1Char(';'));
}

TConnectionInfo ResolveConnectionString(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) throw EDatabaseError(QStringLiteral("连接字符串为空"));

    TConnectionInfo info;
    if (!trimmed.contains(QLatin1Char('='))) {
        // A bare path names an embedded database file.
        info.kind = TConnectionInfo::Kind::Embedded;
        info.file = trimmed;
        return info;
    }

    const auto pairs = ParseConnectionString(trimmed);
    QString provider, dataSource, catalog, user, password, driver, tdsVersion, charset, app, wsid, extended;
    bool integrated = false;
    for (const auto& [k, v] : pairs) {
        if (keyIs(k, {"Provider"}))
            provider = v;
        else if (keyIs(k, {"Data Source", "Server", "Address", "Addr", "Network Address"}))
            dataSource = v;
        else if (keyIs(k, {"Initial Catalog", "Database"}))
            catalog = v;
        else if (keyIs(k, {"User ID", "UID", "User"}))
            user = v;
        else if (keyIs(k, {"Password", "PWD"}))
            password = v;
        else if (keyIs(k, {"Integrated Security", "Trusted_Connection"}))
            integrated = truthy(v);
        else if (keyIs(k, {"Persist Security Info"}))
            info.persistSecurityInfo = truthy(v);
        else if (keyIs(k, {"Connect Timeout", "Connection Timeout", "Timeout"}))
            info.loginTimeout = v.toInt();
        else if (keyIs(k, {"Busy Timeout"}))
            info.busyTimeout = qMax(0, v.toInt());
        else if (keyIs(k, {"Driver"}))
            driver = v;
        else if (keyIs(k, {"TDS_Version"}))
            tdsVersion = v;
        else if (keyIs(k, {"ClientCharset"}))
            charset = v;
        else if (keyIs(k, {"Application Name", "APP"}))
            app = v;
        else if (keyIs(k, {"Workstation ID", "WSID"}))
            wsid = v;
        else if (keyIs(k, {"Extended Properties"}))
            extended = v;
    }

    if (isWorkbookProvider(provider)) {
        // These providers also name desktop database files; only workbooks
        // are served here, recognised by the "Excel n.n" item.
        bool excel = false;
        for (const auto& [k, v] : ParseConnectionString(extended)) {
            if (k.startsWith(QLatin1String("Excel"), Qt::CaseInsensitive))
                excel = true;
            else if (keyIs(k, {"HDR"}))
                info.workbookHeader = v.isEmpty() || truthy(v);
            else if (keyIs(k, {"IMEX"}))
                info.workbookMixedAsText = v.trimmed() == QLatin1String("1");
        }
        if (!excel) throw EDatabaseError(QStringLiteral("不支持的数据库提供程序: ") + provider);
        if (dataSource.isEmpty())
            throw EDatabaseError(QStringLiteral("连接字符串没有指定数据库文件 (Data Source)"));
        info.kind = TConnectionInfo::Kind::Workbook;
        info.file = dataSource;
        return info;
    }

    if (!driver.isEmpty()) {
        // A ready ODBC string goes to the driver manager untouched.
        info.kind = TConnectionInfo::Kind::SqlServer;
        info.odbc = trimmed;
        return info;
    }

    if (provider.compare(QLatin1String("SQLite"), Qt::CaseInsensitive) == 0 ||
        provider.startsWith(QLatin1String("SQLite."), Qt::CaseInsensitive)) {
        if (dataSource.isEmpty())
            throw EDatabaseError(QStringLiteral("连接字符串没有指定数据库文件 (Data Source)"));
        info.kind = TConnectionInfo::Kind::Embedded;
        info.file = dataSource;
        return info;
    }

    if (!provider.isEmpty() && !isSqlServerProvider(provider))
        throw EDatabaseError(QStringLiteral("不支持的数据库提供程序: ") + provider);

    info.kind = TConnectionInfo::Kind::SqlServer;
    const ServerAddress addr = splitDataSource(dataSource);
    QStringList parts;
    parts << QStringLiteral("DRIVER={FreeTDS}");
    if (addr.instance.isEmpty()) {
        parts << QStringLiteral("SERVER=") + OdbcValue(addr.host);
        parts << QStringLiteral("PORT=") + (addr.port.isEmpty() ? QStringLiteral("1433") : addr.port);
    } else {
        parts << QStringLiteral("SERVER=") + OdbcValue(addr.host + QLatin1Char('\\') + addr.instance);
        if (!addr.port.isEmpty()) parts << QStringLiteral("PORT=") + addr.port;
    }
    if (!catalog.isEmpty()) parts << QStringLiteral("DATABASE=") + OdbcValue(catalog);
    if (integrated && user.isEmpty()) {
        parts << QStringLiteral("Trusted_Connection=Yes");
    } else {
        if (!user.isEmpty()) parts << QStringLiteral("UID=") + OdbcValue(user);
        parts << QStringLiteral("PWD=") + OdbcValue(password);
    }
    parts << QStringLiteral("TDS_Version=") + (tdsVersion.isEmpty() ? QStringLiteral("7.4") : tdsVersion);
    parts << QStringLiteral("ClientCharset=") + (charset.isEmpty() ? QStringLiteral("UTF-8") : charset);
    if (!app.isEmpty()) parts << QStringLiteral("APP=") + OdbcValue(app);
    if (!wsid.isEmpty()) parts << QStringLiteral("WSID=") + OdbcValue(wsid);
    info.odbc = parts.join(QLatin1Char(';'));
    return info;
}

} // namespace lnq
