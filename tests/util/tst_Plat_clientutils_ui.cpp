#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <functional>

using namespace lnq;

namespace {

// What the test saw of the box MsgBox showed.
struct Seen {
    bool found = false;
    QString title;
    QString text;
    Qt::TextFormat format = Qt::AutoText;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    int buttons = 0;
    QStringList captions;
    int defaultButton = 0;
};

// Waits for MsgBox's modal box, records it and lets `act` close it. A box
// that `act` fails to close is closed after a while so that the test fails
// instead of hanging.
int runMsgBox(const QString& text, int flags, Seen& seen, std::function<void(QMessageBox*)> act) {
    QTimer poll;
    poll.setInterval(10);
    QObject::connect(&poll, &QTimer::timeout, [&seen, act, &poll] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) return;
        poll.stop();
        seen.found = true;
        seen.title = box->windowTitle();
        seen.text = box->text();
        seen.format = box->textFormat();
        seen.icon = box->icon();
        seen.buttons = int(box->standardButtons());
        for (QAbstractButton* b : box->buttons())
            seen.captions << b->text();
        seen.captions.sort();
        if (box->defaultButton()) seen.defaultButton = int(box->standardButton(box->defaultButton()));
        act(box);
        QTimer::singleShot(2000, box, [box] { box->done(0); });
    });
    poll.start();
    return TClientUtils::MsgBox(text, QStringLiteral("不显示的标题"), flags);
}

void clickStandard(QMessageBox* box, QMessageBox::StandardButton which) {
    if (QAbstractButton* b = box->button(which)) QTest::mouseClick(b, Qt::LeftButton);
}

} // namespace

class TestPlatClientutilsUi : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QGuiApplication::setApplicationDisplayName(QStringLiteral("LNQ 测试")); }

    // The buttons of each choice, the default one, what each click and Escape answer.
    void buttons_data() {
        QTest::addColumn<int>("flags");
        QTest::addColumn<int>("buttons");
        QTest::addColumn<QStringList>("captions");
        QTest::addColumn<int>("defaultButton");
        QTest::addColumn<int>("escape");
        using B = QMessageBox;
        QTest::newRow("OK") << 0 << int(B::Ok) << QStringList{"确定"} << int(B::Ok) << id::Ok;
        QTest::newRow("OK, Cancel") << 1 << int(B::Ok | B::Cancel) << QStringList{"取消", "确定"}
                                    << int(B::Ok) << id::Cancel;
        QTest::newRow("Abort, Retry, Ignore")
            << 2 << int(B::Abort | B::Retry | B::Ignore) << QStringList{"中止", "忽略", "重试"}
            << int(B::Retry) << id::Cancel;
        QTest::newRow("Yes, No, Cancel") << 3 << int(B::Yes | B::No | B::Cancel)
                                         << QStringList{"取消", "否", "是"} << int(B::Yes) << id::Cancel;
        QTest::newRow("Yes, No") << 4 << int(B::Yes | B::No) << QStringList{"否", "是"} << int(B::Yes)
                                 << id::No;
        QTest::newRow("Retry, Cancel")
            << 5 << int(B::Retry | B::Cancel) << QStringList{"取消", "重试"} << int(B::Retry) << id::Cancel;
        QTest::newRow("6: none") << 6 << 0 << QStringList{} << 0 << id::Cancel;
        QTest::newRow("kind bits do not change buttons")
            << (0x40 | 4) << int(B::Yes | B::No) << QStringList{"否", "是"} << int(B::Yes) << id::No;
    }
    void buttons() {
        QFETCH(int, flags);
        QFETCH(int, buttons);
        QFETCH(QStringList, captions);
        QFETCH(int, defaultButton);
        QFETCH(int, escape);
        Seen seen;
        runMsgBox(QStringLiteral("内容"), flags, seen, [](QMessageBox* box) { box->done(0); });
        QVERIFY(seen.found);
        QCOMPARE(seen.buttons, buttons);
        QCOMPARE(seen.captions, captions);
        QCOMPARE(seen.defaultButton, defaultButton);
        // A click on each button answers that button's result.
        using B = QMessageBox;
        const QList<std::pair<B::StandardButton, int>> answers = {
            {B::Ok, id::Ok},         {B::Cancel, id::Cancel}, {B::Abort, id::Abort}, {B::Retry, id::Retry},
            {B::Ignore, id::Ignore}, {B::Yes, id::Yes},       {B::No, id::No}};
        for (const auto& [button, result] : answers) {
            if (!(buttons & button)) continue;
            Seen clicked;
            QCOMPARE(runMsgBox(QStringLiteral("内容"), flags, clicked,
                               [button](QMessageBox* box) { clickStandard(box, button); }),
                     result);
        }
        Seen escaped;
        QCOMPARE(runMsgBox(QStringLiteral("内容"), flags, escaped,
                           [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); }),
                 escape);
        QVERIFY(escaped.found);
    }

    void kinds_data() {
        QTest::addColumn<int>("flags");
        QTest::addColumn<int>("icon");
        QTest::newRow("0x10 error shows information") << 0x10 << int(QMessageBox::Information);
        QTest::newRow("0x30") << 0x31 << int(QMessageBox::Information);
        QTest::newRow("0x40 confirmation") << 0x40 << int(QMessageBox::Question);
        QTest::newRow("0x80 custom") << 0x80 << int(QMessageBox::NoIcon);
        QTest::newRow("no kind bits: warning") << 0x00 << int(QMessageBox::Warning);
        QTest::newRow("0x50: warning") << 0x50 << int(QMessageBox::Warning);
        QTest::newRow("higher bits ignored") << 0x140 << int(QMessageBox::Question);
    }
    void kinds() {
        QFETCH(int, flags);
        QFETCH(int, icon);
        Seen seen;
        runMsgBox(QStringLiteral("内容"), flags, seen, [](QMessageBox* box) { box->done(0); });
        QVERIFY(seen.found);
        QCOMPARE(int(seen.icon), icon);
    }

    void textShownCaptionNot() {
        Seen seen;
        const QString text = QStringLiteral("<b>保存</b> 修改吗？");
        runMsgBox(text, 0, seen, [](QMessageBox* box) { box->done(0); });
        QCOMPARE(seen.text, text);
        QCOMPARE(seen.format, Qt::PlainText);
        QCOMPARE(seen.title, QStringLiteral("LNQ 测试"));
    }

    void closeBox_data() {
        QTest::addColumn<int>("flags");
        QTest::newRow("Yes, No") << 4;
        QTest::newRow("Abort, Retry, Ignore") << 2;
        QTest::newRow("no buttons") << 6;
    }
    void closeBox() {
        QFETCH(int, flags);
        Seen seen;
        const int r = runMsgBox(QStringLiteral("内容"), flags, seen, [](QMessageBox* box) { box->close(); });
        QVERIFY(seen.found);
        QCOMPARE(r, id::Cancel);
    }

    void clearStringGrid() {
        TLNQStringGrid grid;
        grid.SetColCount(4);
        grid.SetRowCount(5);
        for (int r = 0; r < 5; ++r)
            for (int c = 0; c < 4; ++c)
                grid.SetCells(c, r, QStringLiteral("%1,%2").arg(c).arg(r));
        TClientUtils::ClearLNQStringGrid(grid);
        for (int r = 0; r < 5; ++r) {
            for (int c = 0; c < 4; ++c) {
                const QString expected =
                    (r == 0 || c == 0) ? QStringLiteral("%1,%2").arg(c).arg(r) : QString();
                QCOMPARE(grid.Cells(c, r), expected);
            }
        }
        QCOMPARE(grid.RowCount(), 5);
        QCOMPARE(grid.ColCount(), 4);
    }
};

LNQ_TEST_MAIN_WIDGETS(TestPlatClientutilsUi)
#include "tst_Plat_clientutils_ui.moc"
