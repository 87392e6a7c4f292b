#pragma once
// Driving widgets from a test as a user does: modal dialogs (the handler runs
// inside the dialog's own event loop once a modal widget of the wanted type is
// active; schedule it before the step that opens the dialog), Chinese text
// committed by the input method, buttons, menus and combo boxes.

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QInputMethodEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <functional>
#include <memory>

namespace lnqtest {

template <typename T> void whenModal(std::function<void(T*)> handler) {
    auto* timer = new QTimer;
    timer->setInterval(10);
    auto attempts = std::make_shared<int>(0);
    QObject::connect(timer, &QTimer::timeout, [timer, handler, attempts] {
        T* widget = qobject_cast<T*>(QApplication::activeModalWidget());
        if (!widget) {
            // Give up after ten seconds so that a missing dialog fails the test
            // instead of hanging it.
            if (++*attempts > 1000) {
                timer->stop();
                timer->deleteLater();
            }
            return;
        }
        timer->stop();
        timer->deleteLater();
        handler(widget);
    });
    timer->start();
}

// Records the text of the next message box into text and closes it with the
// button whose caption is answer (the first button when answer is empty).
inline void answerMessageBox(QString* text, const QString& answer = {}) {
    whenModal<QMessageBox>([text, answer](QMessageBox* box) {
        if (text) *text = box->text();
        for (QAbstractButton* b : box->buttons()) {
            if (answer.isEmpty() || b->text() == answer) {
                b->click();
                return;
            }
        }
        box->reject();
    });
}

// Chinese text arrives from the input method as a commit.
inline void commitText(QWidget* w, const QString& text) {
    w->setFocus();
    QInputMethodEvent event;
    event.setCommitString(text);
    QApplication::sendEvent(w, &event);
}

// Types text one key at a time into whatever has the focus (fallback when
// nothing has): the first key into a grid cell opens its editor, which then
// takes the rest.
inline void typeKeys(QWidget* fallback, const QString& text) {
    for (QChar c : text) {
        QWidget* w = QApplication::focusWidget();
        QTest::keyClicks(w ? w : fallback, QString(c));
    }
}

inline void pressKey(QWidget* fallback, Qt::Key key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    QWidget* w = QApplication::focusWidget();
    QTest::keyClick(w ? w : fallback, key, mods);
}

// The child widget of that object name; a missing one ends the test run.
template <typename T> T* child(QWidget* form, const char* name) {
    T* w = form->findChild<T*>(QString::fromLatin1(name));
    if (!w) qFatal("no widget %s", name);
    return w;
}

inline void click(QWidget* form, const char* button) {
    QTest::mouseClick(child<QPushButton>(form, button), Qt::LeftButton);
}

// A combo box: arrow keys from the top until the text shows.
inline void pickComboText(QComboBox* box, const QString& text) {
    box->setFocus();
    QTest::keyClick(box, Qt::Key_Home);
    for (int i = 0; i < box->count() && box->currentText() != text; ++i)
        QTest::keyClick(box, Qt::Key_Down);
}

// A menu of tool buttons (the view editor's field menu): open it with its
// button and click the entry.
inline void pickMenuEntry(QWidget* form, const char* button, const char* menu, const QString& text) {
    click(form, button);
    for (QToolButton* entry : child<QMenu>(form, menu)->findChildren<QToolButton*>())
        if (entry->text() == text) return QTest::mouseClick(entry, Qt::LeftButton);
    qFatal("no menu entry %s", qPrintable(text));
}

} // namespace lnqtest
