// A small host window on the embedded sample database: the customers in a
// string grid, column titles from the field dictionary.
//
//   lnqhost [DATABASE] [--check] [--grab FILE.png]
// Without DATABASE a sample database is made in a temporary folder.
// --check prints the number of rows shown and quits; --grab saves a picture
// of the window and quits.

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/FieldTypes.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Exceptions.h"
#include "util/Plat_appfont_ui.h"

#include <QApplication>
#include <QDir>
#include <QMainWindow>
#include <QMessageBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

namespace {

// Loads the first rows of the customers into the grid; returns their count.
int loadCustomers(lnq::TADOConnection& connection, lnq::TLNQStringGrid& grid) {
    lnq::TADODataSet ds;
    ds.SetConnection(&connection);
    ds.SetCommandText(QStringLiteral("SELECT TOP 100 * FROM Cust_CustomersMain ORDER BY iCustomerNo DESC"));
    ds.Open();
    lnq::TDataEnvironment& dictionary = lnq::TDataEnvironment::GetInstance(connection);
    const int fields = ds.FieldCount();
    grid.SetColCount(fields + 1);
    grid.SetFixedCols(1);
    grid.SetRowCount(ds.RecordCount() + 1);
    lnq::TGridCols& cols = grid.GridCols();
    cols[0]->SetCaption(QStringLiteral("序号"));
    cols[0]->SetWidth(44);
    for (int c = 0; c < fields; ++c) {
        const QString name = ds.Fields(c).FieldName();
        const QString caption = dictionary.GetTitleCaption(name);
        lnq::TGridCol* col = cols[c + 1];
        col->SetColName(name);
        col->SetCaption(caption);
        grid.SetCells(c + 1, 0, caption);
        // Texts get room for their declared size and read from the left;
        // "NotVisible" hides the column.
        const lnq::TField& field = ds.Fields(c);
        const bool text = lnq::StorageKindOf(field.DataType()) == lnq::TStorageKind::Text;
        col->SetAlignment(text ? Qt::AlignLeft : Qt::AlignRight);
        col->SetWidth(caption == QLatin1String("NotVisible") ? -1
                      : text                                 ? std::clamp(field.Size() * 7, 60, 220)
                                                             : 80);
    }
    int row = 1;
    for (ds.First(); !ds.Eof(); ds.Next(), ++row) {
        grid.SetCells(0, row, QString::number(row));
        for (int c = 0; c < fields; ++c)
            grid.SetCells(c + 1, row, ds.Fields(c).AsString());
    }
    return row - 1;
}

} // namespace

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

        QMainWindow window;
        window.setWindowTitle(QStringLiteral("客户 - LNQ 示例"));
        auto* grid = new lnq::TLNQStringGrid(&window);
        window.setCentralWidget(grid);
        const int rows = loadCustomers(connection, *grid);
        window.statusBar()->showMessage(QStringLiteral("共 %1 条记录").arg(rows));
        window.resize(900, 480);
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
