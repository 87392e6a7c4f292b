// The grid setup form driven as a user: what it lists, its buttons and
// double-click, the refusal to hide everything, and the layout it applies.

#include "MessageBoxWatch.h"
#include "common/TestMain.h"
#include "grid/data/Ctrl_GridSetupFm.h"

#include <QInputMethodEvent>

using namespace lnq;

namespace {

QString dictionary(const QString& name) {
    static const QMap<QString, QString> d{{"vCode", "客户编码"}, {"vName", "客户名称"}, {"vTel", "电话"}};
    return d.value(name, name);
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

class tst_Ctrl_GridSetupFm : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void listsFieldsAndColumns() {
        TLayoutColumnList cols = gridColumns();
        TCtrl_GridSetupFm f;
        QCOMPARE(f.windowTitle(), QStringLiteral(" 表格列设置"));
        f.InitUI(kFields, cols, dictionary);
        const TGridCols& gc = f.Grid()->GridCols();
        QStringList heads;
        QList<int> widths;
        for (int i = 0; i < gc.Count(); ++i) {
            heads << gc[i]->ColName() + QLatin1Char('=') + gc[i]->Caption();
            widths << gc[i]->Width();
        }
        QCOMPARE(heads, (QStringList{"SerialNo=序号", "DataCaption=字段名称", "FieldDescribe=数据标题",
                                     "UserCaption=自定义标题", "IsDisplay=是否显示", "TColor=A4"}));
        QCOMPARE(widths, (QList<int>{45, 82, 171, 85, 64, -1}));
        QCOMPARE(gc[2]->ReadOnly(), false);
        QCOMPARE(gc[4]->ReadOnly(), true);
        QCOMPARE(f.Grid()->RowCount(), 5);
        QCOMPARE(cell(f, 1, "SerialNo"), QStringLiteral("1"));
        QCOMPARE(cell(f, 3, "DataCaption"), QStringLiteral("vTel"));
        QCOMPARE(cell(f, 1, "FieldDescribe"), QStringLiteral("客户编码"));
        QCOMPARE(cell(f, 1, "UserCaption"), QStringLiteral("编码"));     // shown: its title without the mark
        QCOMPARE(cell(f, 2, "UserCaption"), QStringLiteral("客户名称")); // width 0: dictionary title
        QCOMPARE(shown(f), (QStringList{"显示", "不显示", "不显示", "不显示"}));
        QCOMPARE(f.Grid()->GetRowColor(1), QColor(240, 240, 240));
        QCOMPARE(f.Grid()->GetRowColor(2), QColor(230, 240, 240));
        if (qEnvironmentVariableIsSet("LNQ_SETUP_PNG")) {
            f.show();
            QVERIFY(QTest::qWaitForWindowExposed(&f));
            f.grab().save(qEnvironmentVariable("LNQ_SETUP_PNG"));
        }
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

LNQ_TEST_MAIN_WIDGETS(tst_Ctrl_GridSetupFm)
#include "tst_Ctrl_GridSetupFm.moc"
