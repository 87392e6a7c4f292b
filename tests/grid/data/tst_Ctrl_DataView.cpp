#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "grid/data/Ctrl_DataView.h"

#include <QHeaderView>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <QTemporaryDir>

using namespace lnq;

namespace {

int textWidth(const QWidget& w, const QString& caption, const QString& value) {
    return QFontMetrics(w.font()).horizontalAdvance(caption + QLatin1Char(':') + value);
}

} // namespace

class TestCtrlDataView : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void cleanup() { TDataEnvironment::FreeInstance(); }
    void cleanupTestCase() { TDataEnvironment::SetCacheFileName(QString()); }

    void itemsLeftOut_data() {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QStringList>("items");
        QTest::newRow("plain") << "客户"
                               << "张三" << QStringList{"客户", "张三"};
        QTest::newRow("blank value") << "客户"
                                     << " \t\r\n"
                                     << QStringList{};
        QTest::newRow("not visible, any case") << "notVISIBLE"
                                               << "x" << QStringList{};
        QTest::newRow("sort marks stripped") << "金额↓"
                                             << "12" << QStringList{"金额", "12"};
        QTest::newRow("marks around not visible") << "↑NotVisible↓"
                                                  << "x" << QStringList{};
    }
    void itemsLeftOut() {
        QFETCH(QString, caption);
        QFETCH(QString, value);
        QFETCH(QStringList, items);
        TDataView v;
        v.AddItem(caption, value);
        QCOMPARE(v.Items(), items);
    }

    // Cells per pair, line breaks and wrapping: where each pair lands.
    void pairsFlowLikeText() {
        TDataView v;
        v.resize(420, 120);
        v.show();
        const QString longValue = QString(60, QChar(u'长'));
        const QString twoCells = QString(2, QChar(u'宽'));
        v.AddItem(QStringLiteral("编号"), QStringLiteral("001"));
        v.AddItem(QStringLiteral("名称"), QStringLiteral("北京商贸"));
        v.AddItem(QStringLiteral("短"), QStringLiteral("1"));
        v.AddItem(QStringLiteral("地址"), longValue);
        v.AddItem(QStringLiteral("电话"), QStringLiteral("010-1"));
        v.AddItem(QStringLiteral("备注"), QStringLiteral("第一行\r\n第二行"));
        v.AddItem(QStringLiteral("邮编"), QStringLiteral("100000"));
        const int cell = v.viewport()->width() / 2; // the scroll bar is showing now
        const auto& p = v.Placements();
        QCOMPARE(p.size(), size_t(7));
        const QList<QPoint> at = {{0, 0}, {cell, 0}, {0, 20}, {0, 40}, {0, 40 + int(p[3].Lines.size()) * 20}};
        for (int i = 0; i < at.size(); ++i)
            QCOMPARE(p[i].Rect.topLeft(), at[i]);
        // The long value spans the whole line, starts a new one and wraps.
        QCOMPARE(p[3].Cells, 2);
        QCOMPARE(p[3].Rect.width(), 2 * cell);
        QVERIFY(p[3].Lines.size() >= 2);
        QCOMPARE(p[3].Lines.join(QString()), QStringLiteral("地址:") + longValue);
        const QFontMetrics fm(v.font());
        for (const QString& line : p[3].Lines)
            QVERIFY(fm.horizontalAdvance(line) <= 2 * cell - 2 * TDataView::kInset);
        // A line break inside a value gives two lines; the pair beside it
        // sits on the first, the next line starts below both.
        const int memoLine = p[4].Rect.top();
        QCOMPARE(p[5].Rect.topLeft(), QPoint(cell, memoLine));
        QCOMPARE(p[5].Lines, (QStringList{QStringLiteral("备注:第一行"), QStringLiteral("第二行")}));
        QCOMPARE(p[6].Rect.topLeft(), QPoint(0, memoLine + 40));
        QCOMPARE(v.CalcPaintBoxHeight(), memoLine + 60);
        QCOMPARE(v.PaintBox()->height(), v.CalcPaintBoxHeight());
        QCOMPARE(v.PaintBox()->width(), v.viewport()->width());
        // Taller than the card: it scrolls.
        QVERIFY(v.verticalScrollBar()->maximum() > 0);
        // Three columns: a pair needing two cells that does not fit in the
        // last one starts the next line.
        v.SetColumnCount(3);
        const int third = v.viewport()->width() / 3;
        QString wide = twoCells;
        while (textWidth(v, QStringLiteral("宽"), wide) <= third)
            wide += QChar(u'宽');
        v.Clear();
        v.AddItem(QStringLiteral("甲"), QStringLiteral("1"));
        v.AddItem(QStringLiteral("乙"), QStringLiteral("2"));
        v.AddItem(QStringLiteral("宽"), wide);
        v.AddItem(QStringLiteral("丙"), QStringLiteral("3"));
        const auto& q = v.Placements();
        QCOMPARE(q[2].Cells, textWidth(v, QStringLiteral("宽"), wide) / third + 1);
        QCOMPARE(q[2].Rect.topLeft(), QPoint(0, 20));
        QCOMPARE(q[3].Rect.topLeft(), QPoint(q[2].Cells * third, 20));
        QCOMPARE(v.CalcPaintBoxHeight(), 40);
        // A larger parent font flows the pairs again.
        QFont big = v.font();
        big.setPointSize(big.pointSize() * 3);
        v.setFont(big);
        QVERIFY(v.CalcPaintBoxHeight() > 40);
    }

    void datasetRecordWithDictionaryCaptions() {
        QVERIFY(m_dir.isValid());
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        TADOConnection db;
        db.SetConnectionString(m_dir.filePath(QStringLiteral("card.db")));
        SampleDatabase::CreateSchema(db);
        db.ExecuteNative(QStringLiteral(
            "INSERT INTO Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) VALUES "
            "('Cust', 'vName', '客户名称', 1), ('Cust', 'vPassword', '密码', 0), ('Cust', 'vCity', '城市', "
            "1)"));
        db.ExecuteNative(
            QStringLiteral("CREATE TABLE Cust (iNo INTEGER, vName TEXT, vPassword TEXT, vCity TEXT)"));
        db.ExecuteNative(
            QStringLiteral("INSERT INTO Cust VALUES (1, '张三', 'x', '北京'), (2, '李四', 'y', ''), "
                           "(3, '王五', 'z', '上海')"));
        TADOQuery q;
        q.SetConnection(&db);
        q.SetCommandText(QStringLiteral("select * from Cust order by iNo"));
        TDataView v;
        v.AddItem(QStringLiteral("旧"), QStringLiteral("卡片"));
        const QStringList previous = v.Items();
        q.Open(); // on the first record, Bof raised: the card stays
        QVERIFY(q.Bof());
        v.ShowDataset(q);
        QCOMPARE(v.Items(), previous);
        q.Next();
        v.ShowDataset(q);
        QCOMPARE(v.Items(), (QStringList{"iNo", "2", "客户名称", "李四"})); // empty city, hidden password
        q.Next();
        q.Next(); // past the last: Eof, the card stays
        QVERIFY(q.Eof());
        v.ShowDataset(q);
        QCOMPARE(v.Items(), (QStringList{"iNo", "2", "客户名称", "李四"}));
        // Field captions, once set, choose and name the fields.
        q.Prior();
        v.InitFieldsCaptions({{"vCity", "城市↑", true}, {"vName", "名称", true}, {"iNo", "编号", false}});
        QCOMPARE(v.FieldCaptions(), (QStringList{"vCity=城市↑", "vName=名称"}));
        v.ShowDataset(q);
        QCOMPARE(v.Items(), (QStringList{"名称", "李四"})); // field order, not caption order
        q.Last();
        q.Prior();
        q.Next();
        v.ShowDataset(q);
        QCOMPARE(v.Items(), (QStringList{"名称", "王五", "城市", "上海"}));
    }

    void gridsCurrentRecord() {
        QStandardItemModel model(2, 3);
        model.setHorizontalHeaderLabels({"编号", "名称↓", "城市"});
        model.setHeaderData(1, Qt::Horizontal, "vName", TDataView::FieldNameRole);
        const QStringList rows[] = {{"1", "张三", ""}, {"2", "李四", "北京"}};
        for (int r = 0; r < 2; ++r)
            for (int c = 0; c < 3; ++c)
                model.setItem(r, c, new QStandardItem(rows[r][c]));
        QTableView grid;
        grid.setModel(&model);
        grid.horizontalHeader()->moveSection(2, 0); // shown order: 城市 编号 名称
        grid.setColumnHidden(0, true);
        TDataView v;
        v.AddItem(QStringLiteral("旧"), QStringLiteral("x"));
        v.ShowGrid(grid); // no current row
        QCOMPARE(v.Items(), QStringList());
        grid.setCurrentIndex(model.index(1, 1));
        v.ShowGrid(grid);
        QCOMPARE(v.Items(), (QStringList{"城市", "北京", "编号", "2", "名称", "李四"}));
        grid.setCurrentIndex(model.index(0, 1));
        v.ShowGrid(grid);
        QCOMPARE(v.Items(), (QStringList{"编号", "1", "名称", "张三"}));
        v.InitFieldsCaptions(grid);
        QCOMPARE(v.FieldCaptions(), (QStringList{"城市=城市", "vName=名称↓"}));
        // The data grid's columns: an empty dataset clears the card.
        TADOQuery closed;
        v.ShowGrid(closed, {{"vName", "名称", true}});
        QCOMPARE(v.Items(), QStringList());
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlDataView)
#include "tst_Ctrl_DataView.moc"
