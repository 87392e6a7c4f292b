// A small host window on the embedded sample database: the customers in a
// data grid (titles from the field dictionary, the grid's menu for filters,
// sorting, printing, export and column setup) with the current customer's
// record card below it.
//
//   lnqhost [DATABASE] [--check] [--grab FILE.png]
// Without DATABASE a sample database is made in a temporary folder.
// --check prints the number of rows shown and quits; --grab saves a picture
// of the window and quits.

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "grid/data/Ctrl_DataView.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Exceptions.h"
#include "util/Plat_appfont_ui.h"

#include <QApplication>
#include <QDir>
#include <QMainWindow>
#include <QMessageBox>
#include <QSplitter>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    lnq::UseChineseApplicationFont(9);
    QStringList args = app.arguments().mid(1);
    const bool check = args.removeAll(QStringLiteral("--check")) > 0;
    QString grab;
    if (const qsizetype at = args.indexOf(QStringLiteral("--grab")); at >= 0 && at + 1 < args.size()) {
        grab = args.at(at + 1);
        args.remove(at, 2);
    }

    QTemporaryDir temp;
    QString database = args.value(0);
    try {
        lnq::TDataEnvironment::SetCacheFileName(temp.filePath(QStringLiteral("FldAttr.xml")));
        if (database.isEmpty()) {
            database = temp.filePath(QStringLiteral("sample.db"));
            lnq::SampleDatabase::Options small;
            small.customers = 200;
            small.products = 50;
            small.sales = 20;
            lnq::SampleDatabase::CreateSample(database, small);
        }
        lnq::TADOConnection connection;
        connection.SetConnectionString(database);
        connection.Open();

        // The dictionary gives the grid its column titles.
        lnq::TDataEnvironment::GetInstance(connection);
        lnq::TADODataSet customers;
        customers.SetConnection(&connection);
        customers.SetCommandText(
            QStringLiteral("SELECT TOP 100 * FROM Cust_CustomersMain ORDER BY iCustomerNo DESC"));
        customers.Open();

        QMainWindow window;
        window.setObjectName(QStringLiteral("CustomerForm"));
        window.setWindowTitle(QStringLiteral("客户 - LNQ 示例"));
        auto* split = new QSplitter(Qt::Vertical, &window);
        auto* grid = new lnq::TLNQDBGrid(split);
        grid->setObjectName(QStringLiteral("customerGrid"));
        grid->SetDataSet(&customers);
        auto* card = new lnq::TDataView(split);
        card->SetColumnCount(3);
        split->setStretchFactor(0, 3);
        split->setStretchFactor(1, 1);
        window.setCentralWidget(split);
        // The card follows the current customer.
        QObject::connect(&customers, &lnq::TDataSet::scrolled, card, [&] { card->ShowGrid(*grid); });
        grid->FocusCell(1, 1);
        card->ShowGrid(*grid);
        const int rows = customers.RecordCount();
        window.statusBar()->showMessage(QStringLiteral("共 %1 条记录").arg(rows));
        window.resize(900, 560);
        if (check) {
            QTextStream(stdout) << "rows " << rows << "\n";
            return 0;
        }
        window.show();
        if (!grab.isEmpty()) {
            QTimer::singleShot(300, &window, [&] {
                window.grab().save(grab);
                app.quit();
            });
        }
        return app.exec();
    } catch (const lnq::Exception& e) {
        if (check || !grab.isEmpty()) {
            QTextStream(stderr) << e.Message() << "\n";
            return 1;
        }
        QMessageBox::critical(nullptr, QStringLiteral("错误提示"), e.Message());
        return 1;
    }
}
