// Column layout files: exact bytes, legacy files, hostile files, file naming,
// and the load / save / setup-form rules over a plain column list. Then the
// grid setup form driven as a user: what it lists, its buttons and
// double-click, the refusal to hide everything, and the layout it applies.

#include "MessageBoxWatch.h"
#include "common/TestMain.h"
#include "grid/data/Ctrl_GridSetupFm.h"
#include "grid/data/LayoutFile.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QInputMethodEvent>
#include <QTemporaryDir>

using namespace lnq;

namespace {

QByteArray le32(qint32 v) {
    QByteArray b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[i] = char((quint32(v) >> (8 * i)) & 0xff);
    return b;
}
QByteArray text(const QString& s) {
    const QByteArray g = Gbk::encode(s);
    return le32(qint32(g.size())) + g;
}
// Two columns as the old system wrote them.
QByteArray legacyFile() {
    return le32(2) + text(QStringLiteral("vCode")) + le32(80) + text(QStringLiteral("客户编码")) +
           text(QStringLiteral("vName")) + le32(0) + text(QString());
}

TLayoutColumnList columnsOf(std::initializer_list<std::pair<const char*, int>> cols) {
    TLayoutColumnList list;
    for (const auto& [name, width] : cols) {
        TLayoutColumn c;
        c.FieldName = QString::fromUtf8(name);
        c.Title = c.FieldName;
        c.Width = width;
        c.DefaultWidth = width;
        list.Items.push_back(c);
    }
    return list;
}

QString dictionary(const QString& name) {
    if (name == QLatin1String("vCode")) return QStringLiteral("客户编码");
    if (name == QLatin1String("vName")) return QStringLiteral("客户名称");
    if (name == QLatin1String("vSecret")) return QStringLiteral("NotVisible");
    if (name == QLatin1String("vTel")) return QStringLiteral("电话");
    return name;
}

QStringList names(const TLayoutColumnList& list) {
    QStringList out;
    for (const auto& c : list.Items)
        out << c.FieldName + QLatin1Char(':') + c.Title + QLatin1Char(':') + QString::number(c.Width);
    return out;
}

TLayoutColumnList gridColumns() {
    TLayoutColumnList cols;
    cols.Items = {{"vCode", "编码↑", 80, 80, true}, {"vName", "客户名称", 0, 64, true}};
    return cols;
}

const QStringList kFields{"vCode", "vName", "vTel", "vFax"};

QString cell(TCtrl_GridSetupFm& f, int row, const char* col) {
    QString v;
    f.Grid()->GetCellValS(row, QString::fromLatin1(col), v);
    return v;
}
QStringList shown(TCtrl_GridSetupFm& f) {
    QStringList out;
    for (int r = 1; r < f.Grid()->RowCount(); ++r)
        out << cell(f, r, "IsDisplay");
    return out;
}

} // namespace

class tst_LayoutFile : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    TLayoutContext context(const QString& file) {
        TLayoutContext ctx;
        ctx.FileName = m_dir.filePath(file);
        ctx.HasDataSet = true;
        ctx.DataSetOpen = true;
        ctx.TitleOf = dictionary;
        return ctx;
    }

private Q_SLOTS:
    // The bytes the old system wrote, both ways; sort marks are not stored.
    void legacyBytes() {
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        WriteLayout(out, {{QStringLiteral("vCode"), 80, QStringLiteral("客户编码↑")},
                          {QStringLiteral("vName"), 0, QStringLiteral("↓")}});
        QCOMPARE(out.data(), legacyFile());
        QBuffer in;
        in.setData(legacyFile());
        in.open(QIODevice::ReadOnly);
        QCOMPARE(ReadLayout(in), (TLayoutEntries{{QStringLiteral("vCode"), 80, QStringLiteral("客户编码")},
                                                 {QStringLiteral("vName"), 0, QString()}}));
    }

    void rejectsCorruptFiles_data() {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray good = legacyFile();
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("count cut") << good.left(3);
        QTest::newRow("inside name") << good.left(8);
        QTest::newRow("before last title") << good.left(good.size() - 2);
        QTest::newRow("huge count") << le32(0x7fffffff) + good.mid(4);
        QTest::newRow("negative count") << le32(-1);
        QTest::newRow("huge length") << le32(1) + le32(0x7ffffff0) + QByteArray(20, 'a');
        QTest::newRow("negative length") << le32(1) + le32(-5) + QByteArray(20, 'a');
    }
    void rejectsCorruptFiles() {
        QFETCH(QByteArray, bytes);
        QBuffer b(&bytes);
        b.open(QIODevice::ReadOnly);
        try {
            ReadLayout(b);
            QFAIL("no error");
        } catch (const EReadError& e) {
            QCOMPARE(e.Message(), QStringLiteral("流读取错误"));
        }
    }

    void fileNames_data() {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("ext");
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("expected");
        const QString exe = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
        QTest::newRow("owner and grid") << "KXFormat"
                                        << ".FMT"
                                        << "" << exe + ".Form1.Grid1.FMT";
        QTest::newRow("folders dropped") << "KXFormat"
                                         << ".FMT"
                                         << "C:\\a\\b/客户列表"
                                         << "客户列表.FMT";
        QTest::newRow("report bare name") << "KXReport"
                                          << ".RPT"
                                          << "N"
                                          << "N.RPT";
    }
    void fileNames() {
        QFETCH(QString, folder);
        QFETCH(QString, ext);
        QFETCH(QString, property);
        QFETCH(QString, expected);
        const QString dir = QCoreApplication::applicationDirPath() + QLatin1Char('/') + folder;
        QCOMPARE(GridFileName(folder, ext, property, QStringLiteral("Form1"), QStringLiteral("Grid1")),
                 dir + QLatin1Char('/') + expected);
        QVERIFY(QFileInfo(dir).isDir());
    }

    void savesAtomicallyAndRoundTrips() {
        TLayoutColumnList cols = columnsOf({{"vCode", 70}, {"vName", 0}});
        cols.Items[0].Title = QStringLiteral("编码↓");
        const TLayoutContext ctx = context(QStringLiteral("rt.FMT"));
        QVERIFY(SaveFormat(cols, ctx, true));
        QFile f(ctx.FileName);
        QVERIFY(f.open(QIODevice::ReadOnly));
        // The caption equal to its field name is stored as the dictionary title.
        QCOMPARE(f.readAll(), le32(2) + text(QStringLiteral("vCode")) + le32(70) +
                                  text(QStringLiteral("编码")) + text(QStringLiteral("vName")) + le32(0) +
                                  text(QStringLiteral("客户名称")));
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files).filter(QStringLiteral("rt")).size(), 1);
    }

    void saveStopRules_data() {
        QTest::addColumn<int>("columns");
        QTest::addColumn<bool>("firstEmpty");
        QTest::addColumn<bool>("open");
        QTest::addColumn<bool>("requireOpen");
        QTest::addColumn<bool>("designing");
        QTest::newRow("no columns") << 0 << false << true << false << false;
        QTest::newRow("first without field") << 2 << true << true << false << false;
        QTest::newRow("closed, open required") << 2 << false << false << true << false;
        QTest::newRow("designing") << 2 << false << true << false << true;
    }
    void saveStopRules() {
        QFETCH(int, columns);
        QFETCH(bool, firstEmpty);
        QFETCH(bool, open);
        QFETCH(bool, requireOpen);
        QFETCH(bool, designing);
        TLayoutContext ctx = context(QStringLiteral("keep.FMT"));
        SaveLayoutFile(ctx.FileName, {{QStringLiteral("old"), 1, QStringLiteral("t")}});
        ctx.DataSetOpen = open;
        ctx.Designing = designing;
        TLayoutColumnList cols = columnsOf({{"vCode", 70}, {"vName", 50}});
        cols.Items.resize(columns);
        if (firstEmpty) cols.Items[0].FieldName.clear();
        QVERIFY(!SaveFormat(cols, ctx, requireOpen));
        QCOMPARE(LoadLayoutFile(ctx.FileName).at(0).FieldName, QStringLiteral("old"));
    }

    void loadFromFile() {
        const TLayoutContext ctx = context(QStringLiteral("load.FMT"));
        SaveLayoutFile(ctx.FileName, {{QStringLiteral("vSecret"), 60, QStringLiteral("vSecret")},
                                      {QStringLiteral("vName"), 90, QStringLiteral("vName")},
                                      {QStringLiteral("vCode"), 40, QStringLiteral("notvisible")},
                                      {QStringLiteral("vMemo"), 30, QStringLiteral("备注")}});
        TLayoutColumnList cols = columnsOf({{"vCode", 64}, {"vName", 64}, {"vMemo", 64}});
        QVERIFY(LoadFormat(cols, ctx));
        // A listed "NotVisible" field is kept, at width 0, in the file's order.
        QCOMPARE(names(cols), (QStringList{"vSecret:NotVisible:0", "vName:客户名称:90", "vCode:notvisible:0",
                                           "vMemo:备注:30"}));
        QCOMPARE(cols.EndCount, 1);
    }

    void corruptFileLeavesColumns() {
        const TLayoutContext ctx = context(QStringLiteral("bad.FMT"));
        QFile f(ctx.FileName);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(legacyFile().left(20));
        f.close();
        TLayoutColumnList cols = columnsOf({{"vCode", 64}});
        QVERIFY_THROWS_EXCEPTION(EReadError, LoadFormat(cols, ctx));
        QCOMPARE(names(cols), QStringList{"vCode:vCode:64"});
    }

    void firstUseDefaults() {
        const TLayoutContext ctx = context(QStringLiteral("none.FMT"));
        TLayoutColumnList cols = columnsOf({{"vCode", 200}, {"vSecret", 64}, {"vName", 100}});
        QVERIFY(LoadFormat(cols, ctx));
        QCOMPARE(names(cols), (QStringList{"vCode:客户编码:128", "vName:客户名称:100"}));
        QVERIFY(!cols.Items[0].UserWidth);
        TLayoutContext closed = ctx;
        closed.DataSetOpen = false;
        QVERIFY(!LoadFormat(cols, closed));
    }

    void updateFormatInsertionRules() {
        // Grid shows vName and vMemo (width 0); the form lists the dataset's fields.
        TLayoutColumnList cols = columnsOf({{"vName", 100}, {"vMemo", 0}});
        UpdateFormat(cols, {{QStringLiteral("vCode"), QStringLiteral("编码"), true},
                            {QStringLiteral("vName"), QStringLiteral("名称"), false},
                            {QStringLiteral("vMemo"), QStringLiteral("备注"), true},
                            {QStringLiteral("vTel"), QStringLiteral("电话"), true},
                            {QStringLiteral("vFax"), QStringLiteral("传真"), false}});
        // New fields go before the next shown field's column or at the end;
        // hiding removes the column; a width-0 column shown again gets 64.
        QCOMPARE(names(cols), (QStringList{"vCode:编码:80", "vMemo:备注:64", "vTel:电话:80"}));
        QCOMPARE(cols.InitCount, 1);
    }

    void listsFieldsAndColumns() {
        TLayoutColumnList cols = gridColumns();
        TCtrl_GridSetupFm f;
        QCOMPARE(f.windowTitle(), QStringLiteral(" 表格列设置"));
        f.InitUI(kFields, cols, dictionary);
        const TGridCols& gc = f.Grid()->GridCols();
        QStringList heads;
        for (int i = 0; i < gc.Count(); ++i)
            heads << gc[i]->ColName() + QLatin1Char('=') + gc[i]->Caption();
        QCOMPARE(heads, (QStringList{"SerialNo=序号", "DataCaption=字段名称", "FieldDescribe=数据标题",
                                     "UserCaption=自定义标题", "IsDisplay=是否显示", "TColor=A4"}));
        QCOMPARE(gc[2]->ReadOnly(), false);
        QCOMPARE(gc[4]->ReadOnly(), true);
        QCOMPARE(f.Grid()->RowCount(), 5);
        QCOMPARE(cell(f, 1, "SerialNo"), QStringLiteral("1"));
        QCOMPARE(cell(f, 3, "DataCaption"), QStringLiteral("vTel"));
        QCOMPARE(cell(f, 1, "FieldDescribe"), QStringLiteral("客户编码"));
        QCOMPARE(cell(f, 1, "UserCaption"), QStringLiteral("编码"));     // shown: its title without the mark
        QCOMPARE(cell(f, 2, "UserCaption"), QStringLiteral("客户名称")); // width 0: dictionary title
        QCOMPARE(shown(f), (QStringList{"显示", "不显示", "不显示", "不显示"}));
        QVERIFY(f.Grid()->GetRowColor(1).isValid()); // the colour column is filled
        TCtrl_GridSetupFm plain;
        plain.InitUI(kFields, cols, dictionary, true);
        QCOMPARE(plain.GetIsDisplayText(QStringLiteral("vName")), QStringLiteral("显示"));
    }

    void buttonsAndDoubleClick() {
        TLayoutColumnList cols = gridColumns();
        TCtrl_GridSetupFm f;
        f.InitUI(kFields, cols, dictionary);
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        f.Grid()->FocusCell(1, 3);
        QTest::mouseClick(f.BitBtn6, Qt::LeftButton);
        QCOMPARE(shown(f), (QStringList{"显示", "不显示", "显示", "不显示"}));
        QTest::mouseClick(f.BitBtn5, Qt::LeftButton);
        QCOMPARE(shown(f)[2], QStringLiteral("不显示"));
        QTest::mouseClick(f.BitBtn4, Qt::LeftButton);
        QCOMPARE(shown(f), (QStringList{"不显示", "显示", "显示", "显示"}));
        QTest::mouseClick(f.BitBtn3, Qt::LeftButton);
        QCOMPARE(shown(f), (QStringList{"显示", "显示", "显示", "显示"}));
        const QRect r = f.Grid()->visualRect(f.Grid()->CellModel().index(4, 1));
        QTest::mouseDClick(f.Grid()->viewport(), Qt::LeftButton, {}, r.center());
        QCOMPARE(shown(f)[3], QStringLiteral("不显示"));
    }

    void refusesToHideEverything() {
        TLayoutColumnList cols = gridColumns();
        TCtrl_GridSetupFm f;
        f.InitUI(kFields, cols, dictionary);
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        f.Grid()->FocusCell(1, 1);
        QTest::mouseClick(f.BitBtn5, Qt::LeftButton);
        lnqtest::MessageBoxWatch boxes;
        QTest::mouseClick(f.BitBtn1, Qt::LeftButton);
        QCOMPARE(boxes.texts, QStringList{"至少需要一项显示"});
        QVERIFY(f.isVisible());
        QCOMPARE(f.result(), int(QDialog::Rejected));
        QTest::mouseClick(f.BitBtn6, Qt::LeftButton);
        QTest::mouseClick(f.BitBtn1, Qt::LeftButton);
        QCOMPARE(f.result(), int(QDialog::Accepted));
    }

    void fieldSetupAppliesTheLayout() {
        TLayoutColumnList cols = gridColumns();
        bool changed = false;
        QTimer::singleShot(0, [&] {
            auto* f = qobject_cast<TCtrl_GridSetupFm*>(QApplication::activeModalWidget());
            QVERIFY(f);
            // Show vTel under a title typed through the input method, hide vCode.
            TLNQStringGrid* g = f->Grid();
            g->FocusCell(g->ColByName(QStringLiteral("UserCaption")), 3);
            QTest::keyClick(g, Qt::Key_Return);
            QWidget* editor = g->InplaceEditor();
            QVERIFY(editor && g->EditorMode());
            QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
            QInputMethodEvent commit;
            commit.setCommitString(QStringLiteral("联系电话"));
            QCoreApplication::sendEvent(editor, &commit);
            QTest::keyClick(editor, Qt::Key_Return);
            QTest::mouseClick(f->BitBtn6, Qt::LeftButton);
            g->FocusCell(1, 1);
            QTest::mouseClick(f->BitBtn5, Qt::LeftButton);
            QTest::mouseClick(f->BitBtn1, Qt::LeftButton);
        });
        changed = FieldSetup(cols, kFields, dictionary);
        QVERIFY(changed);
        QStringList result;
        for (const auto& c : cols.Items)
            result << c.FieldName + QLatin1Char(':') + c.Title + QLatin1Char(':') + QString::number(c.Width);
        // Hidden through the form means dropped from the layout.
        QCOMPARE(result, (QStringList{"vTel:联系电话:80"}));
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_LayoutFile)
#include "tst_LayoutFile.moc"
