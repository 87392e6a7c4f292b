#include "common/TestMain.h"
#include "grid/core/LNQCellModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

using namespace lnq;

class TestLNQCellModel : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void passesTheModelTesterThroughChanges() {
        TLNQCellModel m;
        QAbstractItemModelTester tester(&m, QAbstractItemModelTester::FailureReportingMode::QtTest);
        m.SetColCount(3);
        m.SetRowCount(5);
        m.SetCell(1, 2, QStringLiteral("x"));
        m.MoveRow(1, 4);
        m.MoveRow(4, 2);
        m.MoveColumn(0, 2);
        m.InsertColumn(1);
        m.RemoveColumn(0);
        m.SetRowCount(2);
        m.SetColCount(1);
        m.NotifyAllChanged();
        QCOMPARE(m.rowCount(), 2);
        QCOMPARE(m.columnCount(), 1);
    }

    void cellsMoveWithRowsAndColumns() {
        TLNQCellModel m;
        m.SetColCount(3);
        m.SetRowCount(4);
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 3; ++c)
                m.SetCell(c, r, QStringLiteral("%1,%2").arg(c).arg(r));
        m.MoveRow(1, 3);
        QCOMPARE(m.RowTexts(3), (QStringList{"0,1", "1,1", "2,1"}));
        QCOMPARE(m.Cell(0, 1), QStringLiteral("0,2"));
        m.MoveColumn(2, 0);
        QCOMPARE(m.ColTexts(0), (QStringList{"2,0", "2,2", "2,3", "2,1"}));
        m.RemoveColumn(0);
        QCOMPARE(m.Cell(0, 0), QStringLiteral("0,0"));
        m.InsertColumn(0);
        QCOMPARE(m.Cell(0, 0), QString());
        QCOMPARE(m.Cell(1, 0), QStringLiteral("0,0"));
    }

    void writesOutsideAreIgnoredButOnePastTheEndIsKept() {
        TLNQCellModel m;
        m.SetColCount(2);
        m.SetRowCount(3);
        QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
        m.SetCell(5, 1, QStringLiteral("no column"));
        m.SetCell(0, 1000000, QStringLiteral("far away"));
        m.SetCell(-1, 0, QStringLiteral("negative"));
        QCOMPARE(m.Cell(5, 1), QString());
        QCOMPARE(m.Cell(0, 1000000), QString());
        m.SetCell(1, 3, QStringLiteral("next"));
        QCOMPARE(changed.count(), 0); // not a row the views know
        QCOMPARE(m.rowCount(), 3);
        m.SetRowCount(4);
        QCOMPARE(m.Cell(1, 3), QStringLiteral("next"));
        m.SetRowCount(2);
        m.SetRowCount(4);
        QCOMPARE(m.Cell(1, 3), QString()); // rows dropped by shrinking are gone
    }

    void shrinkingColumnsDropsTheirCells() {
        TLNQCellModel m;
        m.SetColCount(3);
        m.SetRowCount(2);
        m.SetCell(2, 1, QStringLiteral("z"));
        m.SetColCount(2);
        m.SetColCount(3);
        QCOMPARE(m.Cell(2, 1), QString());
    }

    void objectsAreNotOwnedAndForgetDeletedOnes() {
        TLNQCellModel m;
        m.SetColCount(2);
        m.SetRowCount(2);
        auto* o = new QObject;
        m.SetObject(1, 1, o);
        QCOMPARE(m.Object(1, 1), o);
        delete o;
        QCOMPARE(m.Object(1, 1), nullptr);
    }

    void flagsComeFromTheHook() {
        TLNQCellModel m;
        m.SetColCount(2);
        m.SetRowCount(2);
        QVERIFY(m.flags(m.index(1, 1)) & Qt::ItemIsEditable);
        m.FlagsHook = [](int c, int) { return c == 0 ? Qt::NoItemFlags : Qt::ItemFlags(Qt::ItemIsEnabled); };
        QCOMPARE(m.flags(m.index(1, 0)), Qt::NoItemFlags);
        QCOMPARE(m.flags(m.index(1, 1)), Qt::ItemFlags(Qt::ItemIsEnabled));
    }

    void setDataWritesTheStore() {
        TLNQCellModel m;
        m.SetColCount(2);
        m.SetRowCount(2);
        QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
        QVERIFY(m.setData(m.index(1, 1), QStringLiteral("v")));
        QCOMPARE(m.Cell(1, 1), QStringLiteral("v"));
        QCOMPARE(changed.count(), 1);
        QVERIFY(m.setData(m.index(1, 1), QStringLiteral("v")));
        QCOMPARE(changed.count(), 1); // unchanged text, no signal
        QVERIFY(!m.setData(m.index(1, 1), 1, Qt::DecorationRole));
    }
};

LNQ_TEST_MAIN_CORE(TestLNQCellModel)
#include "tst_LNQCellModel.moc"
