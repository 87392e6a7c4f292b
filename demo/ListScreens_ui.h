#pragma once
// TDemoListfm: the list screens of the demo client, one list form per
// business table, its settings taken from the screen's definition. The
// grids keep their column layouts per screen (under "KXFormat" beside the
// executable). On sales orders the confirm buttons also confirm the order's
// lines, and only administrators and the finance department may confirm.

#include "demo/DemoScreens.h"
#include "forms/ListCommon_ui.h"

namespace lnq {

class TDemoConnection;

class TDemoListfm : public TListCommonfm {
    Q_OBJECT
public:
    TDemoListfm(std::shared_ptr<TDemoConnection> connection, IServicesInterface* services,
                const TDemoScreen& screen, QWidget* parent = nullptr);
    ~TDemoListfm() override;

    const TDemoScreen& Screen() const { return m_screen; }

protected:
    QString ListTable() const override { return m_screen.ListTable; }
    QString ListKeyField() const override { return m_screen.KeyField; }
    QString DetailTable() const override { return m_screen.DetailTable; }
    QString DetailKeyField() const override { return m_screen.DetailKeyField; }
    QString LinkTarget() const override { return m_screen.Id; }
    QString ConfirmTarget() const override { return m_screen.ConfirmTarget; }
    QString ConfirmStateField() const override;
    QString ConfirmUserField() const override;
    QString ConfirmDateField() const override;
    QString ViewExt() const override { return m_screen.ViewExt; }
    bool CanDoConfirm() override;
    bool CanUndoConfirm() override;
    void DoConfirmData() override;
    void UndoConfirmData() override;

private:
    bool mayConfirm();
    // Gives the order's lines the state, user and date of the order row.
    void copyStateToLines();

    std::shared_ptr<TDemoConnection> m_demoConnection;
    TDemoScreen m_screen;
};

// Creates the list screen of a definition and runs its creation steps.
std::unique_ptr<TDemoListfm> CreateDemoListfm(std::shared_ptr<TDemoConnection> connection,
                                              IServicesInterface* services, const TDemoScreen& screen);

} // namespace lnq
