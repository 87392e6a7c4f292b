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
    QLineEdit* name = new QLineEdit(&w);
    QLineEdit* code = new QLineEdit(&w); // read-only
    QComboBox* kind = new QComboBox(&w);
    QLineEdit* old = new QLineEdit(&w); // disabled
    TLNQMaskEdit* amount = new TLNQMaskEdit(&w);
    QLineEdit* hidden = new QLineEdit(&w);
    QPlainTextEdit* memo = new QPlainTextEdit(&w);
    QLineEdit* phone = new QLineEdit(&w);
    QTableWidget* grid = new QTableWidget(2, 2, &w);
    QPushButton* ok = new QPushButton(QStringLiteral("确定"), &w);
    Form() {
        auto* layout = new QVBoxLayout(&w);
        for (QWidget* c : controls())
            layout->addWidget(c);
        code->setReadOnly(true);
        kind->addItems({QStringLiteral("批发"), QStringLiteral("零售")});
        old->setEnabled(false);
        amount->SetDataTypePro(dpDecimal);
        amount->SetDataWidth(8);
        amount->SetDataDec(2);
        hidden->hide();
        grid->setCurrentCell(0, 0);
        TEnterFocus::Install(w);
        w.show();
        w.activateWindow();
        (void)QTest::qWaitForWindowActive(&w);
    }
    QList<QWidget*> controls() const {
        return {name, code, kind, old, amount, hidden, memo, phone, grid, ok};
    }
    QWidget* byName(const QString& n) const {
        for (QWidget* c : controls())
            if (c->objectName() == n) return c;
        return nullptr;
    }
    void names() {
        const char* n[] = {"name", "code", "kind", "old", "amount", "hidden", "memo", "phone", "grid", "ok"};
        for (int i = 0; i < controls().size(); ++i)
            controls()[i]->setObjectName(QString::fromLatin1(n[i]));
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
        QTest::newRow("into a grid") << "phone" << false << "grid";
        QTest::newRow("the grid keeps Enter") << "grid" << false << "grid";
        QTest::newRow("a button keeps Enter") << "ok" << false << "ok";
        QTest::newRow("backwards") << "phone" << true << "memo";
        QTest::newRow("backwards over skipped ones") << "amount" << true << "kind";
        QTest::newRow("backwards round the form") << "name" << true << "ok";
    }
    void enterMovesLikeTab() {
        QFETCH(QString, from);
        QFETCH(bool, shift);
        QFETCH(QString, to);
        Form f;
        f.names();
        f.byName(from)->setFocus();
        QCOMPARE(QApplication::focusWidget(), f.byName(from));
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
    }
};

LNQ_TEST_MAIN_WIDGETS(TestPlatEnterFocus)
#include "tst_Plat_enterfocus_ui.moc"
