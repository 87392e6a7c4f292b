#include "demo/DemoApp_ui.h"

#include "data/ADOConnection.h"
#include "data/Backrestoresqldb.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "demo/DemoConnection.h"
#include "demo/DemoScreens.h"
#include "demo/DemoServices.h"
#include "demo/MainWindow_ui.h"
#include "demo/OrderEditForm_ui.h"
#include "demo/SignIn_ui.h"
#include "demo/Tour_ui.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/Plat_searchdialogs_ui.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_appfont_ui.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextStream>

namespace lnq {

namespace {

bool isEmptyFile(const QString& file) {
    const QFileInfo info(file);
    return !info.exists() || info.size() == 0;
}

// A lookup edit's search button: customer lookups open the customer list
// dialog and take the chosen customer.
void searchCustomer(IConnection& connection, TLNQSuperEdit& edit) {
    QString no, code, name, province;
    if (TUtils_SearchDialogs::ShowCustomerListDialog(connection, QString(), no, code, name, province) != 1)
        return;
    edit.SetNo(no);
    edit.SetCode(code);
    edit.SetValue(name);
    edit.setText(name);
}

} // namespace

bool ParseDemoOptions(TDemoOptions& options, QString& error) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("LNQ 业务客户端示例"));
    parser.addHelpOption();
    const QCommandLineOption db(QStringLiteral("db"), QStringLiteral("数据库文件"), QStringLiteral("FILE"));
    const QCommandLineOption user(QStringLiteral("user"), QStringLiteral("以该用户登录"),
                                  QStringLiteral("NAME"));
    const QCommandLineOption settings(QStringLiteral("settings"), QStringLiteral("设置文件 (INI)"),
                                      QStringLiteral("FILE"));
    const QCommandLineOption tour(QStringLiteral("tour"), QStringLiteral("逐一打开各界面并截图到该文件夹"),
                                  QStringLiteral("DIR"));
    parser.addOptions({db, user, settings, tour});
    if (!parser.parse(QCoreApplication::arguments())) {
        error = parser.errorText();
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) parser.showHelp(0);
    if (!parser.positionalArguments().isEmpty()) {
        error = QStringLiteral("多余的参数：") + parser.positionalArguments().join(QLatin1Char(' '));
        return false;
    }
    options.Database = parser.value(db);
    options.User = parser.value(user);
    options.SettingsFile = parser.value(settings);
    options.Tour = parser.isSet(tour);
    options.TourDir = parser.value(tour);
    if (options.Tour && options.TourDir.isEmpty()) {
        error = QStringLiteral("--tour 需要一个文件夹");
        return false;
    }
    return true;
}

QString DefaultDemoDatabase() {
    QString dir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    if (dir.isEmpty()) dir = QDir::homePath();
    return QDir(dir).filePath(QStringLiteral("lnq-demo.db"));
}

int RunDemo(const TDemoOptions& options) {
    Gbk::ensureAvailable();
    UseChineseApplicationFont(9);
    QTextStream out(stdout);
    QTextStream err(stderr);

    QString database = options.Database.isEmpty() ? DefaultDemoDatabase() : options.Database;
    // The tour works on a copy, so that what it enters never reaches the
    // user's database.
    std::unique_ptr<QTemporaryDir> scratch;
    try {
        if (options.Tour) {
            scratch = std::make_unique<QTemporaryDir>();
            if (!scratch->isValid()) throw EInOutError(QStringLiteral("无法创建临时文件夹"));
            const QString copy = scratch->filePath(QStringLiteral("lnq-demo.db"));
            if (!options.Database.isEmpty() && !isEmptyFile(options.Database))
                TLNQBackRestoreSQLDB::OnlineCopy(options.Database, copy);
            else
                SampleDatabase::CreateSample(copy);
            database = copy;
        } else if (isEmptyFile(database)) {
            QDir().mkpath(QFileInfo(database).absolutePath());
            out << QStringLiteral("正在创建示例数据库：") << QDir::toNativeSeparators(database) << Qt::endl;
            QGuiApplication::setOverrideCursor(Qt::WaitCursor);
            SampleDatabase::CreateSample(database);
            QGuiApplication::restoreOverrideCursor();
        }
    } catch (const Exception& e) {
        QGuiApplication::restoreOverrideCursor();
        err << QStringLiteral("无法准备数据库：") << e.Message() << Qt::endl;
        return 1;
    }

    TADOConnection ado;
    std::unique_ptr<QSettings> settings;
    if (!options.SettingsFile.isEmpty())
        settings = std::make_unique<QSettings>(options.SettingsFile, QSettings::IniFormat);
    else if (scratch)
        settings = std::make_unique<QSettings>(scratch->filePath(QStringLiteral("lnq-demo.ini")),
                                               QSettings::IniFormat);
    else
        settings = std::make_unique<QSettings>();
    TDemoServices services(std::move(settings));
    std::shared_ptr<TDemoConnection> connection;
    try {
        ado.SetConnectionString(database);
        ado.Open();
        EnsureDemoViews(ado);
        TDataEnvironment::GetInstance(ado);
        connection = std::make_shared<TDemoConnection>(ado);
    } catch (const Exception& e) {
        const QString text = QStringLiteral("无法打开数据库 ") + QDir::toNativeSeparators(database) +
                             QStringLiteral("：") + e.Message();
        err << text << Qt::endl;
        if (!options.Tour) TClientUtils::MsgBox(text, QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
        return 1;
    }
    try {
        SeedSavedViews(*connection);
    } catch (const Exception& e) {
        // The screens work without them; the views tree is just emptier.
        err << QStringLiteral("无法写入常用视图：") << e.Message() << Qt::endl;
    }
    services.SetConnection(connection);
    services.RegisterReceiptTable(QString::fromLatin1(TOrderEditfm::kReceiptKind),
                                  QStringLiteral("Sal_SaleMain"), QStringLiteral("vReceiptNo"));
    if (services.Settings().value(QStringLiteral("Options/CompanyCustomerNo")).toString().isEmpty()) {
        services.Settings().setValue(QStringLiteral("Options/CompanyCustomerNo"), QStringLiteral("1"));
    }

    const QString user = options.User.isEmpty() && options.Tour ? QStringLiteral("admin") : options.User;
    if (user.isEmpty()) {
        TDemoSignInDlg signIn(*connection);
        if (signIn.exec() != QDialog::Accepted) return 0;
    } else if (!connection->SignIn(user)) {
        err << QStringLiteral("用户不存在或已停用：") << user << Qt::endl;
        return 1;
    }

    // Customer lookups follow the signed-in user's rights; their search
    // button opens the customer list.
    std::weak_ptr<TDemoConnection> weak = connection;
    TLNQSuperEdit::SetCheckAuthorityFunc([weak] {
        const auto c = weak.lock();
        return c ? TClientUtils::GetAuthorityString(*c) : QString();
    });
    TLNQSuperEdit::SetDefaultOnSearchButtonClick([weak](TLNQSuperEdit& edit) {
        if (const auto c = weak.lock()) searchCustomer(*c, edit);
    });

    int code = 0;
    {
        TDemoMainfm mainForm(connection, services, database);
        if (options.Tour) {
            code = RunDemoTour(mainForm, options.TourDir, out);
        } else {
            mainForm.RestoreScreens();
            if (mainForm.Tabs()->count() == 0) {
                const QList<const TDemoScreen*> visible = VisibleScreens(connection->CurrentUser().Groups);
                if (!visible.isEmpty()) mainForm.OpenScreen(visible.first()->Id);
            }
            mainForm.show();
            code = QApplication::exec();
        }
    }
    TLNQSuperEdit::SetCheckAuthorityFunc({});
    TLNQSuperEdit::SetDefaultOnSearchButtonClick({});
    TDataEnvironment::FreeInstance();
    return code;
}

} // namespace lnq
