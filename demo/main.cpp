// lnq-demo: the demo business client on the embedded sample database.

#include "demo/DemoApp_ui.h"

#include <QApplication>
#include <QTextStream>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("LNQ"));
    QCoreApplication::setApplicationName(QStringLiteral("lnq-demo"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("LNQ 业务客户端"));
    lnq::TDemoOptions options;
    QString error;
    if (!lnq::ParseDemoOptions(options, error)) {
        QTextStream(stderr) << error << '\n';
        return 2;
    }
    return lnq::RunDemo(options);
}
