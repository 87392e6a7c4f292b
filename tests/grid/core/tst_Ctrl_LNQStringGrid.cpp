#include "common/PipeDevice.h"
#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Exceptions.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using namespace lnq;

namespace {

// A grid whose columns carry the given names (captions the same).
void nameColumns(TLNQStringGrid& g, const QStringList& names) {
    g.SetColCount(int(names.size()));
    for (int i = 0; i < names.size(); ++i) {
        g.GridCols()[i]->SetColName(names[i]);
        g.GridCols()[i]->SetCaption(names[i]);
    }
}

QByteArray readAll(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return {};
    return f.readAll();
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

} // namespace

class TestCtrlLNQStringGrid : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void modelStaysConsistentUnderGridOperations() {
        TLNQStringGrid g;
        QAbstractItemModelTester tester(&g.CellModel(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        nameColumns(g, {"vNo", "vName", "nQty", "TColor"});
        g.SetRowCount(6);
        g.SetCellValS(1, "vName", QStringLiteral("螺丝"));
        QVERIFY(g.AddRow(2));
        QVERIFY(g.DeleteRow(3));
        g.HideCol("vName");
        g.RefreshColor();
        g.DeleteCol("nQty");
        QCOMPARE(g.ColCount(), 3);
        QCOMPARE(g.RowCount(), 6);
    }

    void cellAccessChecksRowAndName_data() {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("ok");
        QTest::newRow("title row") << 0 << "qty" << false;
        QTest::newRow("first data row") << 1 << "qty" << true;
        QTest::newRow("one past the last") << 5 << "Qty" << true;
        QTest::newRow("two past") << 6 << "qty" << false;
        QTest::newRow("negative") << -1 << "qty" << false;
        QTest::newRow("unknown name") << 1 << "price" << false;
    }
    void cellAccessChecksRowAndName() {
        QFETCH(int, row);
        QFETCH(QString, name);
        QFETCH(bool, ok);
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "QTY"});
        QCOMPARE(g.RowCount(), 5);
        QCOMPARE(g.SetCellValS(row, name, QStringLiteral("7")), ok);
        QString s = QStringLiteral("stale");
        QCOMPARE(g.GetCellValS(row, name, s), ok);
        QCOMPARE(s, ok ? QStringLiteral("7") : QString());
        int i = 99;
        QCOMPARE(g.GetCellValI(row, name, i), ok);
        QCOMPARE(i, ok ? 7 : 0);
    }

    void writeOnePastTheEndAppearsWithTheNextRow() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName"});
        QVERIFY(g.SetCellValS(5, "vName", QStringLiteral("ahead")));
        QCOMPARE(g.RowCount(), 5);
        g.SetRowCount(6);
        QCOMPARE(g.Cells(1, 5), QStringLiteral("ahead"));
    }

    void typedWritesUseWidthAndDecimals() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "nQty", "nPrice"});
        g.GridCols()[1]->SetDataWidth(6);
        TGridCol* price = g.GridCols()[2];
        price->SetDataTypePro(dpDecimal);
        price->SetDataWidth(10);
        price->SetDataDec(2);
        QVERIFY(g.SetCellValI(1, "nQty", 5));
        QCOMPARE(g.Cells(1, 1), QStringLiteral("     5"));
        QVERIFY(g.SetCellValF(1, "nPrice", 3.14159));
        QCOMPARE(g.Cells(2, 1), QStringLiteral("      3.14"));
        QVERIFY(g.SetCellValI(1, "nQty", -1234567));
        QCOMPARE(g.Cells(1, 1), QStringLiteral("-1234567"));
        // A null variant writes nothing but the call succeeds.
        QVERIFY(g.SetCellValI(1, "nQty", QVariant()));
        QVERIFY(g.SetCellValF(1, "nPrice", QVariant()));
        QCOMPARE(g.Cells(1, 1), QStringLiteral("-1234567"));
        QCOMPARE(g.Cells(2, 1), QStringLiteral("      3.14"));
        QVERIFY(!g.SetCellValI(0, "nQty", QVariant()));
    }

    void typedReads_data() {
        QTest::addColumn<int>("pro");
        QTest::addColumn<int>("dec");
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("asFloat");
        QTest::newRow("spaces removed") << int(dpDecimal) << 2 << QStringLiteral("1 234") << 1234.0;
        QTest::newRow("minus after digits") << int(dpDecimal) << 2 << QStringLiteral("12-3") << -3.0;
        QTest::newRow("rounded to decimals") << int(dpCurrency) << 1 << QStringLiteral("2.26") << 2.3;
        QTest::newRow("string column keeps the exponent quirk")
            << int(dpString) << 0 << QStringLiteral("1.5E2") << 15.2;
        QTest::newRow("empty") << int(dpDecimal) << 2 << QString() << 0.0;
    }
    void typedReads() {
        QFETCH(int, pro);
        QFETCH(int, dec);
        QFETCH(QString, text);
        QFETCH(double, asFloat);
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "n"});
        TGridCol* c = g.GridCols()[1];
        c->SetDataTypePro(TLNQDataTypePro(pro));
        c->SetDataWidth(12);
        c->SetDataDec(dec);
        g.SetCells(1, 1, text);
        double v = -1;
        QVERIFY(g.GetCellValF(1, "n", v));
        QCOMPARE(v, asFloat);
    }

    void integerReads() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "nQty", "vText"});
        g.GridCols()[0]->SetDataTypePro(dpOrderNo);
        TGridCol* qty = g.GridCols()[1];
        qty->SetDataTypePro(dpDecimal);
        qty->SetDataWidth(8);
        int v = -1;
        QVERIFY(g.GetCellValI(3, "vNo", v));
        QCOMPARE(v, 3);
        g.SetCells(1, 2, QStringLiteral("1 2"));
        QVERIFY(g.GetCellValI(2, "nQty", v));
        QCOMPARE(v, 12);
        g.SetCells(2, 2, QStringLiteral("  42"));
        QVERIFY(g.GetCellValI(2, "vText", v));
        QCOMPARE(v, 42);
        // With decimals the normalised text is no integer.
        qty->SetDataDec(2);
        QVERIFY_THROWS_EXCEPTION(EConvertError, g.GetCellValI(2, "nQty", v));
        g.SetCells(2, 2, QStringLiteral("abc"));
        QVERIFY_THROWS_EXCEPTION(EConvertError, g.GetCellValI(2, "vText", v));
    }

    void addRowUnderAVeto() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName"});
        g.SetRowsHeight(30);
        for (int r = 1; r < 5; ++r)
            g.SetCells(1, r, QStringLiteral("r%1").arg(r));
        QList<int> asked;
        bool allow = false;
        g.OnRowAdding = [&](int row, bool& can) {
            asked.append(row);
            QVERIFY(can); // starts true
            can = allow;
        };
        QVERIFY(!g.AddRow(2));
        QCOMPARE(g.RowCount(), 5);
        allow = true;
        QVERIFY(g.AddRow(2));
        QCOMPARE(asked, (QList<int>{2, 2}));
        QCOMPARE(g.RowCount(), 6);
        QCOMPARE(g.Cols(1), (QStringList{"", "r1", "", "r2", "r3", "r4"}));
        QCOMPARE(g.Row(), 2);
        QCOMPARE(g.RowHeights(2), 30);
        QVERIFY(g.AddRow(0));
        QCOMPARE(g.RowCount(), 7);
        QCOMPARE(g.Row(), 6);
        QCOMPARE(g.Cells(1, 6), QString());
    }

    void deleteRowUnderAVeto() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName"});
        for (int r = 1; r < 5; ++r)
            g.SetCells(1, r, QStringLiteral("r%1").arg(r));
        bool allow = false;
        g.OnRowDeleting = [&](int, bool& can) { can = allow; };
        QVERIFY(!g.DeleteRow(2));
        QCOMPARE(g.Cells(1, 2), QStringLiteral("r2"));
        allow = true;
        QVERIFY(!g.DeleteRow(5)); // past the last row
        QVERIFY(!g.DeleteRow(0)); // the title row stays
        g.SetRow(2);
        QVERIFY(g.DeleteRow(2));
        QCOMPARE(g.RowCount(), 4);
        QCOMPARE(g.Cols(1), (QStringList{"", "r1", "r3", "r4"}));
        QCOMPARE(g.Row(), 2); // moved to the next row, now in the deleted row's place
        g.SetRow(3);
        QVERIFY(g.DeleteRow(3)); // the last row: the current row goes back
        QCOMPARE(g.Row(), 2);
        QVERIFY(g.DeleteRow(1));
        QCOMPARE(g.RowCount(), 2);
        QCOMPARE(g.Cells(1, 1), QStringLiteral("r3"));
        // With two rows left the data row is only cleared.
        QVERIFY(!g.DeleteRow(1));
        QCOMPARE(g.RowCount(), 2);
        QCOMPARE(g.Cells(1, 1), QString());
    }

    void saveWritesGbkWithBelAndCrLf() {
        QTemporaryDir dir;
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "品名"});
        g.SetRowCount(3);
        g.SetCells(0, 0, QStringLiteral("序"));
        g.SetCells(1, 0, QStringLiteral("名称"));
        g.SetCells(0, 1, QStringLiteral("1"));
        g.SetCells(1, 1, QStringLiteral("螺丝"));
        g.SetCells(1, 2, QStringLiteral("a") + QChar(1) + u'b');
        g.SetFileNameSaved(dir.filePath("grid.txt"));
        QVERIFY(g.SaveToFile());
        const QByteArray expected = QByteArray("vNo\x07") + Gbk::encode(u"品名") + "\x07\r\n" +
                                    Gbk::encode(u"序") + "\x07" + Gbk::encode(u"名称") + "\x07\r\n" +
                                    "1\x07" + Gbk::encode(u"螺丝") + "\x07\r\n" + "\x07" + "a\x01" +
                                    "b\x07\r\n" + "==END==\r\n";
        QCOMPARE(readAll(dir.filePath("grid.txt")), expected);
    }

    void saveAndLoadRoundTrip() {
        QTemporaryDir dir;
        TLNQStringGrid a;
        nameColumns(a, {"vNo", "vName", "nQty"});
        a.SetRowCount(4);
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 3; ++c)
                a.SetCells(c, r, QStringLiteral("格%1-%2").arg(c).arg(r));
        a.SetFileNameSaved(dir.filePath("t.txt"));
        QVERIFY(a.SaveToFile());

        TLNQStringGrid b;
        QAbstractItemModelTester tester(&b.CellModel(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        nameColumns(b, {"nQty", "vExtra", "VNAME", "vNo"}); // other order, a column the file lacks
        b.SetRowCount(2);
        b.SetCells(1, 1, QStringLiteral("kept"));
        b.SetFileNameSaved(dir.filePath("t.txt"));
        QVERIFY(b.LoadFromFile());
        QCOMPARE(b.RowCount(), 4);
        QCOMPARE(b.Cells(3, 0), QStringLiteral("格0-0")); // the title row too
        QCOMPARE(b.Cells(2, 3), QStringLiteral("格1-3"));
        QCOMPARE(b.Cells(0, 2), QStringLiteral("格2-2"));
        QCOMPARE(b.Cells(1, 1), QStringLiteral("kept"));

        // A grid with more rows keeps its surplus rows.
        TLNQStringGrid c;
        nameColumns(c, {"vNo", "vName", "nQty"});
        c.SetRowCount(8);
        c.SetCells(1, 6, QStringLiteral("surplus"));
        c.SetFileNameSaved(dir.filePath("t.txt"));
        QVERIFY(c.LoadFromFile());
        QCOMPARE(c.RowCount(), 8);
        QCOMPARE(c.Cells(1, 6), QStringLiteral("surplus"));
        QCOMPARE(c.Cells(1, 3), QStringLiteral("格1-3"));
    }

    void loadReadsFieldsBeforeSeparatorsOnly() {
        QTemporaryDir dir;
        const QString path = dir.filePath("in.txt");
        writeAll(path, QByteArray("vNo\x07vName\x07unknown\x07\r\n") + "t0\x07t1\x07x\x07\r\n" +
                           "1\x07lost-without-separator\r\n" + "2\x07" + Gbk::encode(u"中文") + "\x07\n" +
                           "\r\n" +
                           "9\x07"
                           "after-the-empty-line\x07\r\n");
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName"});
        g.SetRowCount(2);
        g.SetFileNameSaved(path);
        QVERIFY(g.LoadFromFile());
        QCOMPARE(g.RowCount(), 3);
        QCOMPARE(g.Rows(0), (QStringList{"t0", "t1"}));
        QCOMPARE(g.Rows(1), (QStringList{"1", ""}));
        QCOMPARE(g.Rows(2), (QStringList{"2", QStringLiteral("中文")}));
    }

    void loadFromPipeJoinsLinesSplitAcrossReads() {
        // Lines and GBK characters cross the device's read boundaries.
        const QByteArray longText(70000, 'x');
        lnqtest::PipeDevice pipe(QByteArray("vNo\x07vName\x07\r\n") + "1\x07" + longText + "\x07\r\n" +
                                     "2\x07" + Gbk::encode(u"螺丝刀") + "\x07\r\n==END==\r\n",
                                 {.piece = 5});
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName"});
        g.SetRowCount(2);
        g.LoadFromStream(pipe);
        QCOMPARE(g.RowCount(), 2);
        QCOMPARE(g.Rows(0), (QStringList{"1", QString::fromLatin1(longText)}));
        QCOMPARE(g.Rows(1), (QStringList{"2", QStringLiteral("螺丝刀")}));
    }

    void loadStopsAtEndMarkerAndMapsAtMost200Columns() {
        QTemporaryDir dir;
        const QString path = dir.filePath("wide.txt");
        QByteArray head;
        QByteArray line;
        for (int i = 0; i < 205; ++i) {
            head += "c" + QByteArray::number(i) + "\x07";
            line += "v" + QByteArray::number(i) + "\x07";
        }
        writeAll(path, head + "\r\n" + line + "\r\n" + "==END==\r\n" + line + "\r\n");
        TLNQStringGrid g;
        nameColumns(g, {"c0", "c199", "c200"});
        g.SetRowCount(1);
        g.SetFileNameSaved(path);
        QVERIFY(g.LoadFromFile());
        QCOMPARE(g.RowCount(), 1);
        QCOMPARE(g.Rows(0), (QStringList{"v0", "v199", ""}));
    }

    void fileErrorsAndEmptyNames() {
        TLNQStringGrid g;
        g.SetFileNameSaved(QStringLiteral("   "));
        QVERIFY(!g.SaveToFile());
        QVERIFY(!g.LoadFromFile());
        QTemporaryDir dir;
        g.SetFileNameSaved(dir.filePath("missing/none.txt"));
        QVERIFY_THROWS_EXCEPTION(EInOutError, g.LoadFromFile());
        QVERIFY_THROWS_EXCEPTION(EInOutError, g.SaveToFile());
        // An empty file maps nothing and reads nothing.
        writeAll(dir.filePath("empty.txt"), QByteArray());
        g.SetFileNameSaved(dir.filePath("empty.txt"));
        const int rows = g.RowCount();
        QVERIFY(g.LoadFromFile());
        QCOMPARE(g.RowCount(), rows);
    }

    void fileBufferBounds_data() {
        QTest::addColumn<int>("pos");
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("ok");
        QTest::newRow("1023 bytes at 0") << 0 << 1023 << true;
        QTest::newRow("1024 bytes at 0") << 0 << 1024 << false;
        QTest::newRow("empty at 1023") << 1023 << 0 << true;
        QTest::newRow("empty at 1024") << 1024 << 0 << false;
        QTest::newRow("negative position") << -1 << 0 << false;
    }
    void fileBufferBounds() {
        QFETCH(int, pos);
        QFETCH(int, length);
        QFETCH(bool, ok);
        TLNQStringGrid g;
        int p = pos;
        QCOMPARE(g.SetFileBufferS(p, QString(length, u'x')), ok);
        QCOMPARE(p, ok ? pos + length + 1 : pos);
    }

    void fileBufferRoundTrip() {
        TLNQStringGrid g;
        int p = 0;
        QVERIFY(g.SetFileBufferS(p, QStringLiteral("客户")));
        QCOMPARE(p, 5);
        QVERIFY(g.SetFileBufferI(p, 0x12345));
        QCOMPARE(g.FileBuffer()[5], quint8(0x45));
        QCOMPARE(g.FileBuffer()[6], quint8(0x23));
        QVERIFY(g.SetFileBufferS(p, QStringLiteral("ab")));
        p = 0;
        QString s;
        int v = 0;
        QVERIFY(g.GetFileBufferS(p, s));
        QCOMPARE(s, QStringLiteral("客户"));
        QVERIFY(g.GetFileBufferI(p, v));
        QCOMPARE(v, 0x2345); // the low 16 bits, unsigned
        QVERIFY(g.GetFileBufferS(p, s));
        QCOMPARE(s, QStringLiteral("ab"));
        QCOMPARE(p, 10);
        int last = 1023;
        QVERIFY(!g.GetFileBufferI(last, v));
        QCOMPARE(last, 1023);
        QVERIFY(g.SetFileBufferI(p = 1022, -1));
        QVERIFY(g.GetFileBufferI(p = 1022, v));
        QCOMPARE(v, 65535);
        // A text running to the end of the buffer reports it.
        TLNQStringGrid h;
        int q = 0;
        QVERIFY(h.SetFileBufferS(q, QString(1023, u'y')));
        int r = 1020;
        QVERIFY(!h.GetFileBufferS(r, s));
        QCOMPARE(r, 1024);
        QCOMPARE(s, QStringLiteral("yyy"));
        r = 1000;
        QVERIFY(h.GetFileBufferS(r, s) == false);
        QCOMPARE(s.size(), 23);
    }

    void hideEnglishColumns() {
        TLNQStringGrid g;
        g.SetColCount(5);
        const QStringList captions{"Code", QStringLiteral("品名"), "Name", "", QStringLiteral("数量")};
        for (int i = 0; i < 5; ++i) {
            g.GridCols()[i]->SetColName(QStringLiteral("c%1").arg(i));
            g.GridCols()[i]->SetCaption(captions[i]);
        }
        g.HideEnglishCol();
        QStringList order;
        for (int i = 0; i < 5; ++i)
            order << g.GridCols()[i]->ColName();
        QCOMPARE(order, (QStringList{"c0", "c1", "c4", "c2", "c3"}));
        QCOMPARE(g.GetColumnWidth(0), 64);
        QCOMPARE(g.GetColumnWidth(3), -1);
        QCOMPARE(g.GetColumnWidth(4), -1);
        QCOMPARE(g.GridCols()[3]->GetWidthPushed(), 64);
    }

    void hideColReleasesFixedColumns() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName", "nQty"});
        g.SetCells(0, 1, QStringLiteral("no"));
        QCOMPARE(g.FixedCols(), 1);
        g.GridCols()[0]->SetWidth(40);
        g.HideCol("VNO");
        QCOMPARE(g.FixedCols(), 0);
        QCOMPARE(g.GridCols()[2]->ColName(), QStringLiteral("vNo"));
        QCOMPARE(g.GetColumnWidth(2), -1);
        QCOMPARE(g.GridCols()[2]->GetWidthPushed(), 40);
        QCOMPARE(g.Cells(2, 1), QStringLiteral("no")); // the cells move along
        QVERIFY(g.isColumnHidden(2));
        // Hiding it again only moves it to the end.
        g.HideCol("vName");
        g.HideCol("vNo");
        QCOMPARE(g.GridCols()[2]->ColName(), QStringLiteral("vNo"));
        QCOMPARE(g.GridCols()[2]->GetWidthPushed(), 40);
    }

    void rowColoursThroughTheColourColumn() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "vName"});
        g.RefreshColor();
        QVERIFY(!g.GetRowColor(1).isValid());
        nameColumns(g, {"vNo", "vName", "TColor"});
        g.RefreshColor();
        QCOMPARE(g.Cells(2, 1), QStringLiteral("$00F0F0F0"));
        QCOMPARE(g.Cells(2, 2), QStringLiteral("$00F0F0E6"));
        QCOMPARE(g.Cells(2, 0), QString()); // the title row is left alone
        QCOMPARE(g.GetRowColor(1), QColor(240, 240, 240));
        QCOMPARE(g.GetRowColor(2), QColor(230, 240, 240));
        g.SetCells(2, 3, QStringLiteral("clRed"));
        QCOMPARE(g.GetRowColor(3), QColor(255, 0, 0));
        g.SetCells(2, 3, QStringLiteral("not a colour"));
        QVERIFY(!g.GetRowColor(3).isValid());
    }

    void typedDisplayNormalisesTheStore_data() {
        QTest::addColumn<int>("pro");
        QTest::addColumn<bool>("showZero");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("after");
        QTest::newRow("decimals") << int(dpDecimal) << false << "3"
                                  << "3.00"
                                  << "3.00";
        QTest::newRow("zero hidden") << int(dpDecimal) << false << "0.001"
                                     << ""
                                     << "";
        QTest::newRow("zero shown") << int(dpDecimal) << true << "0"
                                    << "0"
                                    << "0";
        QTest::newRow("lone minus") << int(dpCurrency) << false << "-"
                                    << ""
                                    << "";
        QTest::newRow("blank stays") << int(dpDecimal) << false << "  "
                                     << "  "
                                     << "  ";
        QTest::newRow("string untouched") << int(dpString) << false << "0"
                                          << "0"
                                          << "0";
        QTest::newRow("order number") << int(dpOrderNo) << false << "x"
                                      << "2"
                                      << "x";
    }
    void typedDisplayNormalisesTheStore() {
        QFETCH(int, pro);
        QFETCH(bool, showZero);
        QFETCH(QString, stored);
        QFETCH(QString, shown);
        QFETCH(QString, after);
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "n"});
        TGridCol* c = g.GridCols()[1];
        c->SetDataTypePro(TLNQDataTypePro(pro));
        c->SetDataWidth(10);
        c->SetDataDec(2);
        c->SetShowZero(showZero);
        g.SetCells(1, 2, stored);
        QCOMPARE(g.DisplayText(1, 2), shown);
        QCOMPARE(g.Cells(1, 2), after);
    }

    void comboCountShowsUnitsAndCurrentValue() {
        TLNQStringGrid g;
        nameColumns(g, {"vNo", "nQty", "vUnit"});
        TGridCol* qty = g.GridCols()[1];
        qty->SetDataTypePro(dpComboCount);
        qty->SetDataWidth(8);
        g.SetCells(1, 1, QStringLiteral("53"));
        g.SetCells(2, 1, QStringLiteral("piece;box/6;case/24"));
        g.SetCells(1, 2, QStringLiteral("7"));
        g.FocusCell(1, 2);
        QCOMPARE(g.DisplayText(1, 1), QStringLiteral("2case5piece"));
        QCOMPARE(g.DisplayText(1, 2), QStringLiteral("7")); // no unit text in row 2
        QCOMPARE(qty->CurValue(), QStringLiteral("7"));
    }

    void layoutFileNameBesideTheExecutable() {
        QWidget form;
        form.setObjectName(QStringLiteral("Form1"));
        TLNQStringGrid g(&form);
        g.setObjectName(QStringLiteral("Grid1"));
        const QString dir = QCoreApplication::applicationDirPath() + QStringLiteral("/KXFormat");
        const bool existed = QDir(dir).exists();
        const QString exe = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
        QCOMPARE(g.GetFileName(), dir + u'/' + exe + QStringLiteral(".Form1.Grid1.FMT"));
        QVERIFY(QDir(dir).exists());
        if (!existed) QDir(dir).removeRecursively();
    }

    void rowsColsAndObjects() {
        TLNQStringGrid g;
        nameColumns(g, {"a", "b", "c"});
        g.SetRows(2, {"x", "y", "z", "ignored"});
        QCOMPARE(g.Rows(2), (QStringList{"x", "y", "z"}));
        g.SetCols(1, {"t", "u"});
        QCOMPARE(g.Cells(1, 1), QStringLiteral("u"));
        QObject o;
        g.SetObjects(2, 3, &o);
        QCOMPARE(g.Objects(2, 3), &o);
        QCOMPARE(g.GetColumnCount(), 3);
        g.DeleteCol("B");
        QCOMPARE(g.Rows(2), (QStringList{"x", "z"}));
        QCOMPARE(g.Objects(1, 3), &o);
        TGridCol* added = g.AddCol("d", 55);
        QCOMPARE(added->Index(), 2);
        QCOMPARE(g.GetColumnWidth(2), 55);
        QCOMPARE(g.ColCount(), 3);
        // Widths and heights as the component streams them: the title row
        // keeps the header's height.
        g.SetColWidthsList({30, -1, 20});
        QCOMPARE(g.ColWidthsList(), (QList<int>{30, -1, 20}));
        g.SetRowHeightsList({0, 20, 21, 22, 23});
        QCOMPARE(g.RowHeightsList(), (QList<int>{50, 20, 21, 22, 23}));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQStringGrid)
#include "tst_Ctrl_LNQStringGrid.moc"
