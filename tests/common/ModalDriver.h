#pragma once
// Driving modal dialogs from a test: the handler runs inside the dialog's own
// event loop once a modal widget of the wanted type is active, as a user
// would act on it. Schedule the handler before the step that opens the dialog.

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>
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

} // namespace lnqtest
