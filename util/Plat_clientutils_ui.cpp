// The widget half of TClientUtils: the message box and the string-grid reset.

#include "util/Plat_clientutils_ui.h"
#include "util/Plat_clientutils.h"

#include "grid/core/Ctrl_LNQStringGrid.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QHash>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>

namespace lnq {

namespace {

// A message box that can always be closed: Esc clicks the button that stands
// for "cancel" (Cancel, else No, else OK) and otherwise closes the box, and
// the close box works too, also when the box has no buttons at all.
class ThemedMessageBox : public QMessageBox {
public:
    using QMessageBox::QMessageBox;
    QAbstractButton* cancelButton = nullptr;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->matches(QKeySequence::Cancel)) {
            if (cancelButton)
                cancelButton->click();
            else
                QDialog::reject();
            return;
        }
        QMessageBox::keyPressEvent(event);
    }
    void closeEvent(QCloseEvent* event) override { QDialog::closeEvent(event); }
};

struct ButtonDef {
    QMessageBox::StandardButton button;
    int result;
    const char16_t* caption;
};

const ButtonDef kOk{QMessageBox::Ok, id::Ok, u"确定"};
const ButtonDef kCancel{QMessageBox::Cancel, id::Cancel, u"取消"};
const ButtonDef kAbort{QMessageBox::Abort, id::Abort, u"中止"};
const ButtonDef kRetry{QMessageBox::Retry, id::Retry, u"重试"};
const ButtonDef kIgnore{QMessageBox::Ignore, id::Ignore, u"忽略"};
const ButtonDef kYes{QMessageBox::Yes, id::Yes, u"是"};
const ButtonDef kNo{QMessageBox::No, id::No, u"否"};

QList<ButtonDef> buttonsFor(int flags) {
    switch (flags & 0x0F) {
    case mb::Ok:
        return {kOk};
    case mb::OkCancel:
        return {kOk, kCancel};
    case mb::AbortRetryIgnore:
        return {kAbort, kRetry, kIgnore};
    case mb::YesNoCancel:
        return {kYes, kNo, kCancel};
    case mb::YesNo:
        return {kYes, kNo};
    case mb::RetryCancel:
        return {kRetry, kCancel};
    default:
        return {};
    }
}

QMessageBox::Icon kindFor(int flags) {
    switch (flags & 0xF0) {
    case 0x10:
    case 0x20:
    case 0x30:
        return QMessageBox::Information;
    case 0x40:
        return QMessageBox::Question;
    case 0x80:
        return QMessageBox::NoIcon;
    default:
        return QMessageBox::Warning;
    }
}

} // namespace

namespace {
TClientUtils::TMsgBoxFn& msgBoxHandler() {
    static TClientUtils::TMsgBoxFn handler;
    return handler;
}
} // namespace

TClientUtils::TMsgBoxFn TClientUtils::SetMsgBoxHandler(TMsgBoxFn handler) {
    TMsgBoxFn previous = std::move(msgBoxHandler());
    msgBoxHandler() = std::move(handler);
    return previous;
}

int TClientUtils::MsgBox(const QString& text, const QString& caption, int flags) {
    if (msgBoxHandler()) return msgBoxHandler()(text, caption, flags);
    // The caption is not shown: the box carries the application's name.
    Q_UNUSED(caption);
    ThemedMessageBox box(QApplication::activeWindow());
    box.setWindowTitle(QGuiApplication::applicationDisplayName());
    box.setTextFormat(Qt::PlainText);
    box.setText(text);
    box.setIcon(kindFor(flags));

    const QList<ButtonDef> defs = buttonsFor(flags);
    box.setStandardButtons(QMessageBox::NoButton);
    QHash<QAbstractButton*, int> results;
    for (const ButtonDef& def : defs) {
        QPushButton* b = box.addButton(def.button);
        b->setText(QString::fromUtf16(def.caption));
        results.insert(b, def.result);
    }
    for (const ButtonDef* c : {&kCancel, &kNo, &kOk}) {
        if (!box.cancelButton) box.cancelButton = box.button(c->button);
    }
    // The default button: OK, else Yes, else Retry.
    for (QMessageBox::StandardButton d : {QMessageBox::Ok, QMessageBox::Yes, QMessageBox::Retry}) {
        if (box.button(d)) {
            box.setDefaultButton(d);
            break;
        }
    }
    if (box.cancelButton) box.setEscapeButton(box.cancelButton);

    box.exec();
    return results.value(box.clickedButton(), id::Cancel);
}

void TClientUtils::ClearLNQStringGrid(TLNQStringGrid& grid) {
    for (int row = 1; row < grid.RowCount(); ++row)
        for (int col = 1; col < grid.ColCount(); ++col)
            grid.SetCells(col, row, QString());
}

} // namespace lnq
