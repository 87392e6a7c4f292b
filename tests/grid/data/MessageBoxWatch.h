#pragma once
// Answers the message boxes a command shows, as a user would (Enter), and
// remembers what they said.

#include <QApplication>
#include <QMessageBox>
#include <QStringList>
#include <QTest>
#include <QTimer>

namespace lnqtest {

class MessageBoxWatch {
public:
    MessageBoxWatch() {
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || box == m_last) return;
            m_last = box;
            texts << box->text();
            titles << box->windowTitle();
            QTest::keyClick(box, Qt::Key_Enter);
        });
        m_timer.start();
    }
    QStringList texts;
    QStringList titles;

private:
    QTimer m_timer;
    QMessageBox* m_last = nullptr;
};

} // namespace lnqtest
