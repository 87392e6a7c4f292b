#include "common/TestMain.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "util/Plat_enterfocus_ui.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace lnq;

namespace {

// An entry form: controls in tab order, some of them not to stop at.
struct Form {
    QWidget w;
    QLineEdit* name = add<QLineEdit>("name");
    QLineEdit* code = add<QLineEdit>("code"); // read-only
    QComboBox* kind = add<QComboBox>("kind");
    QLineEdit* old = add<QLineEdit>("old"); // disabled
    TLNQMaskEdit* amount = add<TLNQMaskEdit>("amount");
    QLineEdit* hidden = add<QLineEdit>("hidden");
    QPlainTextEdit* memo = add<QPlainTextEdit>("memo");
    QLineEdit* phone = add<QLineEdit>("phone");
    QTableWidget* grid = add<QTableWidget>("grid");
    QPushButton* ok = add<QPushButton>("ok");
    template <class T> T* add(const char* objectName) {
        if (!w.layout()) new QVBoxLayout(&w);
        auto* c = new T(&w);
        c->setObjectName(QString::fromLatin1(objectName));
        w.layout()->addWidget(c);
        return c;
    }
    Form() {
        code->setReadOnly(true);
        old->setEnabled(false);
        amount->SetDataTypePro(dpDecimal);
        amount->SetDataWidth(8);
        amount->SetDataDec(2);
        hidden->hide();
        TEnterFocus::Install(w);
        w.show();
        w.activateWindow();
        (void)QTest::qWaitForWindowActive(&w);
    }
};

} // namespace

class TestPlatEnterFocus : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void enterMovesLikeTab_data() {
        QTest::addColumn<QString>("from");
        QTest::addColumn<bool>("shift");
        QTest::addColumn<QString>("to");
        QTest::newRow("over a read-only edit") << "name" << false << "kind";
        QTest::newRow("over a disabled and a hidden edit") << "kind" << false << "amount";
        QTest::newRow("into a multi-line editor") << "amount" << false << "memo";
        QTest::newRow("the editor keeps Enter") << "memo" << false << "memo";
        QTest::newRow("the grid keeps Enter") << "grid" << false << "grid";
        QTest::newRow("a button keeps Enter") << "ok" << false << "ok";
        QTest::newRow("backwards over skipped ones") << "amount" << true << "kind";
        QTest::newRow("backwards round the form") << "name" << true << "ok";
    }
    void enterMovesLikeTab() {
        QFETCH(QString, from);
        QFETCH(bool, shift);
        QFETCH(QString, to);
        Form f;
        QWidget* start = f.w.findChild<QWidget*>(from);
        start->setFocus();
        QCOMPARE(QApplication::focusWidget(), start);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return,
                        shift ? Qt::ShiftModifier : Qt::NoModifier);
        QCOMPARE(QApplication::focusWidget()->objectName(), to);
    }

    void theControlGetsItsEnterFirst() {
        Form f;
        QSignalSpy returned(f.name, &QLineEdit::returnPressed);
        f.name->setFocus();
        QTest::keyClicks(f.name, QStringLiteral("zhang"));
        QTest::keyClick(f.name, Qt::Key_Enter, Qt::KeypadModifier);
        QCOMPARE(returned.count(), 1);
        QCOMPARE(QApplication::focusWidget(), f.kind);
        f.amount->setFocus();
        QTest::keyClicks(f.amount, QStringLiteral("3"));
        QTest::keyClick(f.amount, Qt::Key_Return);
        QCOMPARE(f.amount->text(), QStringLiteral("    3.00")); // padded on its own Enter
        QCOMPARE(QApplication::focusWidget(), f.memo);
        QTest::keyClicks(f.memo, QStringLiteral("a"));
        QTest::keyClick(f.memo, Qt::Key_Return);
        QTest::keyClicks(f.memo, QStringLiteral("b"));
        QCOMPARE(f.memo->toPlainText(), QStringLiteral("a\nb"));
    }

    void switchedPerForm() {
        Form a;
        QWidget other;
        auto* first = new QLineEdit(&other);
        auto* second = new QLineEdit(&other);
        (new QVBoxLayout(&other))->addWidget(first);
        other.layout()->addWidget(second);
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        first->setFocus();
        QTest::keyClick(first, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), first); // no Enter movement installed there
        QCOMPARE(&TEnterFocus::Install(a.w), TEnterFocus::Of(a.w));
        QCOMPARE(TEnterFocus::Of(other), nullptr);
        TEnterFocus::Install(other);
        QTest::keyClick(first, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), second);
        TEnterFocus::Of(other)->SetEnabled(false);
        QTest::keyClick(second, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), second);
        second->setProperty("lnqOwnEnter", true);
        TEnterFocus::Of(other)->SetEnabled(true);
        QTest::keyClick(second, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), second);
        first->setFocus();
        QTest::keyClick(first, Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(QApplication::focusWidget(), first);
        // A form inside the form: its own switch holds for its controls.
        auto* inner = new QWidget(&other);
        auto* innerEdit = new QLineEdit(inner);
        other.layout()->addWidget(inner);
        inner->show();
        TEnterFocus::Install(*inner).SetEnabled(false);
        innerEdit->setFocus();
        QTest::keyClick(innerEdit, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), innerEdit);
        TEnterFocus::Of(*inner)->SetEnabled(true);
        QTest::keyClick(innerEdit, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), innerEdit); // alone in its form
    }
};

LNQ_TEST_MAIN_WIDGETS(TestPlatEnterFocus)
#include "tst_Plat_enterfocus_ui.moc"
