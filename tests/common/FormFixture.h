#pragma once
// A business form shown on a fresh small sample database, signed in through
// UserConnection, its message boxes recorded and answered with `answer`.

#include "common/HostServices.h"
#include "common/SampleDb.h"
#include "common/WidgetDriver.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Plat_clientutils_ui.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

namespace lnqtest {

template <class Form> struct FormFixture {
    QTemporaryDir dir;
    lnq::TADOConnection ado;
    std::shared_ptr<UserConnection> conn;
    HostServices services;
    std::unique_ptr<Form> form;
    QStringList messages;
    int answer = lnq::id::Yes;

    // prepare runs on the form before FormCreate.
    template <class Prepare> FormFixture(QSize size, Prepare prepare) {
        openSmallSample(ado, dir.filePath("s.db"));
        conn = std::make_shared<UserConnection>(ado);
        form = std::make_unique<Form>(conn, &services);
        prepare(*form);
        form->OnMessageBox = [this](const QString& text, const QString&, int) {
            messages << text;
            return answer;
        };
        form->FormCreate();
        form->resize(size);
        form->show();
        form->activateWindow();
        (void)QTest::qWaitForWindowActive(form.get());
    }
    explicit FormFixture(QSize size) : FormFixture(size, [](Form&) {}) {}

    lnq::TLNQStringGrid& grid() { return *form->DetailGrid(); }
    QVariant scalar(const QString& sql) {
        auto ds = conn->ExecuteWithQuery(sql);
        return ds->IsEmpty() ? QVariant() : ds->Fields(0).AsVariant();
    }
    // A closed drop-down or dialog leaves no active window on the offscreen
    // platform; the user's next click would activate the form again.
    void activate() { QApplication::setActiveWindow(form.get()); }
    // Types into a detail cell as a user does and leaves it with Enter.
    void typeCell(const char* col, int row, const QString& text) {
        activate();
        grid().setFocus();
        grid().FocusCell(grid().ColByName(col), row);
        typeKeys(&grid(), text);
        pressKey(&grid(), Qt::Key_Return);
    }
};

} // namespace lnqtest
