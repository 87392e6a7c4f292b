#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQCom.h"
#include "grid/core/Ctrl_LNQStringGrid.h"

#include <QPainter>
#include <QSignalSpy>

using namespace lnq;

namespace {

// A column in a grid of its own (widths live in the grid).
struct GridWithCols {
    TLNQStringGrid grid;
    explicit GridWithCols(int cols = 3) { grid.SetColCount(cols); }
    TGridCol* col(int i) { return grid.GridCols()[i]; }
};

} // namespace

class TestCtrlLNQCom : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void dataDecAcceptedOnlyForNumbersWithinWidth_data() {
        QTest::addColumn<int>("pro");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("dec");
        QTest::addColumn<int>("expected");
        QTest::newRow("string refuses") << int(dpString) << 10 << 3 << 0;
        QTest::newRow("decimal, width 5, dec 5") << int(dpDecimal) << 5 << 5 << 0;
        QTest::newRow("decimal, width 6, dec 5") << int(dpDecimal) << 6 << 5 << 5;
        QTest::newRow("currency") << int(dpCurrency) << 12 << 2 << 2;
        QTest::newRow("negative") << int(dpDecimal) << 8 << -1 << 0;
    }
    void dataDecAcceptedOnlyForNumbersWithinWidth() {
        QFETCH(int, pro);
        QFETCH(int, width);
        QFETCH(int, dec);
        QFETCH(int, expected);
        GridWithCols g;
        TGridCol* c = g.col(1);
        c->SetDataTypePro(TLNQDataTypePro(pro));
        c->SetDataWidth(width);
        c->SetDataDec(1); // a refused value resets to 0 rather than keeping this
        c->SetDataDec(dec);
        QCOMPARE(c->DataDec(), expected);
    }

    void dataWidthFallsBackToSix() {
        GridWithCols g;
        TGridCol* c = g.col(1);
        c->SetDataTypePro(dpDecimal);
        c->SetDataWidth(10);
        c->SetDataDec(2);
        c->SetDataWidth(2);
        QCOMPARE(c->DataWidth(), 6);
        c->SetDataWidth(3);
        QCOMPARE(c->DataWidth(), 3);
    }

    void orderNoColumnIsLockedReadOnly() {
        GridWithCols g;
        TGridCol* c = g.col(1);
        c->SetEditMask(QStringLiteral("999"));
        c->SetDataTypePro(dpOrderNo);
        QVERIFY(c->ReadOnly());
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignHCenter));
        QCOMPARE(c->EditMask(), QStringLiteral("999")); // the writer does not clear it
        c->SetReadOnly(false);
        QVERIFY(c->ReadOnly());
        c->SetEditMask(QStringLiteral("000"));
        QCOMPARE(c->EditMask(), QString());
    }

    void codeColumnResetsTypeDecimalsAndMask() {
        GridWithCols g;
        TGridCol* c = g.col(1);
        c->SetDataTypePro(dpDecimal);
        c->SetDataWidth(8);
        c->SetDataDec(2);
        c->SetEditMask(QStringLiteral("99"));
        c->SetDataType(TFieldType::ftFloat);
        c->SetAlignment(Qt::AlignHCenter);
        c->SetDataTypePro(dpCode);
        QCOMPARE(c->DataType(), TFieldType::ftString);
        QCOMPARE(c->DataDec(), 0);
        QCOMPARE(c->EditMask(), QString());
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignHCenter));
    }

    void sameDataTypeProChangesNothing() {
        GridWithCols g;
        TGridCol* c = g.col(1);
        c->SetDataTypePro(dpDecimal);
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignRight));
        c->SetAlignment(Qt::AlignLeft);
        c->SetDataTypePro(dpDecimal);
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignLeft));
        c->SetDataTypePro(dpString);
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignLeft));
        c->SetDataTypePro(dpCurrency);
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignRight));
        c->SetDataTypePro(dpDate3); // dates leave the alignment alone
        QCOMPARE(c->Alignment(), Qt::Alignment(Qt::AlignRight));
    }

    void addNamesColumnsByIndex() {
        TGridHeaderControl header(nullptr);
        TGridCols& cols = header.Sections();
        QSignalSpy changes(&cols, &TGridCols::OnChange);
        TGridCol* a = cols.Add();
        QCOMPARE(a->ColName(), QStringLiteral("A0"));
        QCOMPARE(a->Caption(), QStringLiteral("A0"));
        QCOMPARE(a->Alignment(), Qt::Alignment(Qt::AlignHCenter));
        QCOMPARE(a->DataType(), TFieldType::ftString);
        QCOMPARE(a->DataWidth(), 6);
        QCOMPARE(cols.Add()->ColName(), QStringLiteral("A1"));
        QCOMPARE(changes.count(), 2);
        cols.Delete(0);
        // The name comes from the index: it may repeat one in use.
        QCOMPARE(cols.Add()->ColName(), QStringLiteral("A1"));
        QCOMPARE(cols[0]->ColName(), QStringLiteral("A1"));

        TGridCol* bare = cols.MyAdd();
        QCOMPARE(bare->ColName(), QString());
        QCOMPARE(bare->DataWidth(), 0);
        QCOMPARE(bare->Alignment(), Qt::Alignment(Qt::AlignLeft));
        QCOMPARE(changes.count(), 4);
    }

    void displayNameFollowsTheCaption() {
        TGridHeaderControl header(nullptr);
        TGridCol* c = header.Sections().MyAdd();
        QCOMPARE(c->GetDisplayName(), QStringLiteral("TGridCol"));
        c->SetCaption(QStringLiteral("数量"));
        QCOMPARE(c->GetDisplayName(), QStringLiteral("数量"));
    }

    void widthLivesInTheOwningGrid() {
        GridWithCols a(3);
        GridWithCols b(2);
        a.col(1)->SetWidth(80);
        QCOMPARE(a.grid.GetColumnWidth(1), 80);
        QCOMPARE(a.grid.horizontalHeader()->sectionSize(1), 80);
        a.col(1)->SetCaption(QStringLiteral("金额"));
        b.col(0)->Assign(*a.col(1));
        QCOMPARE(b.grid.GetColumnWidth(0), 80);
        QCOMPARE(b.col(0)->Caption(), QStringLiteral("金额"));
        // The user resizing the grid changes the column's width.
        a.grid.horizontalHeader()->resizeSection(2, 33);
        QCOMPARE(a.col(2)->Width(), 33);
    }

    void leftAndRightSumLowerWidths() {
        GridWithCols g(4);
        g.col(0)->SetWidth(10);
        g.col(1)->SetWidth(20);
        g.col(2)->SetWidth(30);
        QCOMPARE(g.col(0)->GetLeft(), 0);
        QCOMPARE(g.col(2)->GetLeft(), 30);
        QCOMPARE(g.col(2)->GetRight(), 60);
        QCOMPARE(g.col(3)->GetLeft(), 60);
    }

    void shortTextsKeep255GbkBytes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("ascii 300") << QString(300, u'x') << QString(255, u'x');
        QTest::newRow("hanzi 200 = 400 bytes") << QString(200, u'汉') << QString(127, u'汉');
        QTest::newRow("odd cut drops the straddler")
            << (QStringLiteral("a") + QString(140, u'汉')) << (QStringLiteral("a") + QString(127, u'汉'));
        QTest::newRow("exactly 255") << QString(255, u'y') << QString(255, u'y');
    }
    void shortTextsKeep255GbkBytes() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        GridWithCols g;
        TGridCol* c = g.col(1);
        c->SetCaption(text);
        c->SetTailCaption(text);
        c->SetColName(text);
        c->SetValueTrue(text);
        c->SetValueFalse(text);
        c->SetPopDate(text);
        for (const QString& got :
             {c->Caption(), c->TailCaption(), c->ColName(), c->ValueTrue(), c->ValueFalse(), c->PopDate()})
            QCOMPARE(got, expected);
        QVERIFY(Gbk::byteLength(c->Caption()) <= 255);
    }

    void captionChangeUpdatesAllButForTheLastColumn() {
        GridWithCols g(3);
        QSignalSpy updated(&g.grid.GridCols(), &TGridCols::Updated);
        g.col(0)->SetCaption(QStringLiteral("x"));
        g.col(2)->SetCaption(QStringLiteral("y"));
        QCOMPARE(updated.count(), 2);
        QCOMPARE(updated[0][0].toInt(), -1);
        QCOMPARE(updated[1][0].toInt(), 2);
    }

    void popListsAreCreatedOnReadAndCopied() {
        GridWithCols g;
        TGridCol* c = g.col(1);
        QVERIFY(!c->HasPopListStrings());
        c->PopListStrings() << QStringLiteral("件");
        QVERIFY(c->HasPopListStrings());
        QStringList other{QStringLiteral("箱"), QStringLiteral("盒")};
        c->SetPopListStrings(&other);
        other.append(QStringLiteral("changed later"));
        QCOMPARE(c->PopListStrings(), (QStringList{QStringLiteral("箱"), QStringLiteral("盒")}));
        c->SetPopListStrings(nullptr);
        QVERIFY(!c->HasPopListStrings());
        c->SetPopListValues(&other);
        QCOMPARE(c->PopListValues().size(), 3);
    }

    void assignCopiesThroughTheWritersInOrder() {
        GridWithCols g(3);
        TGridCol* src = g.col(1);
        src->SetDataTypePro(dpDecimal);
        src->SetAlignment(Qt::AlignLeft); // set by hand after the type
        src->SetDataWidth(10);
        src->SetDataDec(4);
        src->SetCaption(QStringLiteral("金额;含税"));
        src->SetTailCaption(QStringLiteral("合计"));
        src->SetColName(QStringLiteral("nAmount"));
        src->SetLoadButton(true);
        src->SetSortable(false);
        src->SetColColor(0x00FF00);
        src->SetCheckBox(true);
        src->SetValueTrue(QStringLiteral("是"));
        src->SetPopDateAllowed(true);
        src->SetCalcMode(ccSum);
        src->SetShowZero(true);
        src->SetCurValue(QStringLiteral("cur"));
        src->SetCalendarShowCheckBox(true);
        src->SetImeMode(imChinese);
        src->SetImeName(QStringLiteral("拼音"));
        src->SetDataTypeApp(daJe);
        src->PopListStrings() << QStringLiteral("a");
        QFont f = src->TitleFont();
        f.setBold(true);
        src->SetTitleFont(f);
        src->SetWidth(77);

        TGridCol* dst = g.col(2);
        dst->Assign(*src);
        QCOMPARE(dst->Width(), 77);
        // Alignment is copied before DataTypePro, whose writer right-aligns.
        QCOMPARE(dst->Alignment(), Qt::Alignment(Qt::AlignRight));
        QCOMPARE(dst->DataWidth(), 10);
        QCOMPARE(dst->DataDec(), 4);
        QCOMPARE(dst->Caption(), src->Caption());
        QCOMPARE(dst->TailCaption(), src->TailCaption());
        QCOMPARE(dst->ColName(), src->ColName());
        QVERIFY(dst->LoadButton());
        QVERIFY(!dst->Sortable());
        QCOMPARE(dst->ColColor(), 0x00FF00u);
        QVERIFY(dst->CheckBox());
        QCOMPARE(dst->ValueTrue(), QStringLiteral("是"));
        QVERIFY(dst->PopDateAllowed());
        QCOMPARE(dst->CalcMode(), ccSum);
        QVERIFY(dst->ShowZero());
        QCOMPARE(dst->CurValue(), QStringLiteral("cur"));
        QVERIFY(dst->CalendarShowCheckBox());
        QCOMPARE(dst->ImeMode(), imChinese);
        QCOMPARE(dst->ImeName(), QStringLiteral("拼音"));
        QCOMPARE(dst->DataTypeApp(), daJe);
        QCOMPARE(dst->PopListStrings(), QStringList{QStringLiteral("a")});
        QVERIFY(dst->HasPopListValues()); // created, empty
        QVERIFY(dst->TitleFont().bold());
    }

    void assignOfOrderNoColumnKeepsItReadOnly() {
        GridWithCols g(3);
        g.col(1)->SetDataTypePro(dpOrderNo);
        g.col(2)->SetEditMask(QStringLiteral("99"));
        g.col(2)->Assign(*g.col(1));
        QVERIFY(g.col(2)->ReadOnly());
        QCOMPARE(g.col(2)->EditMask(), QString());
    }

    void collectionAssignKeepsCellsAndCopiesWidths() {
        GridWithCols a(2);
        a.col(1)->SetWidth(91);
        a.col(1)->SetColName(QStringLiteral("qty"));
        GridWithCols b(4);
        b.grid.SetCells(1, 1, QStringLiteral("keep"));
        b.grid.SetGridCols(a.grid.GridCols());
        QCOMPARE(b.grid.GridCols().Count(), 2);
        QCOMPARE(b.grid.ColCount(), 2);
        QCOMPARE(b.grid.GetColumnWidth(1), 91);
        QCOMPARE(b.grid.ColByName(QStringLiteral("QTY")), 1);
        QCOMPARE(b.grid.Cells(1, 1), QStringLiteral("keep"));
    }

    void headerControlMirrorsSections() {
        TGridHeaderControl header(nullptr);
        TGridCols& cols = header.Sections();
        cols.Add()->SetCaption(QStringLiteral("品名"));
        cols.Add()->SetCaption(QStringLiteral("数量"));
        cols[1]->SetWidth(70);
        QHeaderView* native = header.NativeHeader();
        QCOMPARE(native->count(), 2);
        QCOMPARE(native->model()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("品名"));
        QCOMPARE(native->sectionSize(1), 70);
        QCOMPARE(header.height(), 17);
        cols[0]->SetWidth(-1);
        QVERIFY(native->isSectionHidden(0));
    }

    void headerControlTranslatesClicksAndDrags() {
        QWidget parent;
        parent.resize(400, 100);
        TGridHeaderControl header(nullptr, &parent);
        TGridCols& cols = header.Sections();
        cols.Add();
        cols.Add();
        cols[0]->SetWidth(100);
        parent.show();
        QVERIFY(QTest::qWaitForWindowExposed(&parent));
        QCOMPARE(header.width(), 400);
        QSignalSpy clicks(&header, &TGridHeaderControl::OnSectionClick);
        QSignalSpy tracks(&header, &TGridHeaderControl::OnSectionTrack);
        QSignalSpy resizes(&header, &TGridHeaderControl::OnSectionResize);
        QWidget* vp = header.NativeHeader()->viewport();
        QTest::mouseClick(vp, Qt::LeftButton, {}, QPoint(120, 8));
        QCOMPARE(clicks.count(), 1);
        QCOMPARE(clicks[0][1].value<TGridCol*>(), cols[1]);

        QTest::mousePress(vp, Qt::LeftButton, {}, QPoint(99, 8));
        QTest::mouseMove(vp, QPoint(110, 8));
        QTest::mouseMove(vp, QPoint(130, 8));
        QTest::mouseRelease(vp, Qt::LeftButton, {}, QPoint(130, 8));
        QVERIFY(tracks.count() >= 3);
        QCOMPARE(tracks.first()[3].value<TSectionTrackState>(), tsTrackBegin);
        QCOMPARE(tracks[1][3].value<TSectionTrackState>(), tsTrackMove);
        QCOMPARE(tracks.last()[3].value<TSectionTrackState>(), tsTrackEnd);
        QCOMPARE(resizes.count(), 1);
        QCOMPARE(cols[0]->Width(), tracks.last()[2].toInt());
        QVERIFY(cols[0]->Width() > 100);
    }

    void ownerDrawnSectionsAreDrawnByTheHandler() {
        TGridHeaderControl header(nullptr);
        header.resize(300, 17);
        TGridCols& cols = header.Sections();
        cols.Add();
        cols.Add()->SetStyle(hsOwnerDraw);
        header.UpdateSections();
        QList<int> drawn;
        connect(&header, &TGridHeaderControl::OnDrawSection, this,
                [&](TGridHeaderControl*, TGridCol* section, QPainter* painter, const QRect& rect, bool) {
                    QVERIFY(painter);
                    QVERIFY(rect.width() > 0);
                    drawn.append(section->Index());
                });
        (void)header.grab();
        QVERIFY(!drawn.isEmpty());
        QVERIFY(!drawn.contains(0));
        QVERIFY(drawn.contains(1));
    }
};

LNQ_TEST_MAIN_WIDGETS(TestCtrlLNQCom)
#include "tst_Ctrl_LNQCom.moc"
