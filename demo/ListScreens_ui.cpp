#include "demo/ListScreens_ui.h"

#include "data/DataSet.h"
#include "demo/DemoConnection.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"

namespace lnq {

namespace {

bool confirms(const TDemoScreen& s) {
    return !s.ConfirmTarget.isEmpty();
}

// The grids read and write their column layouts (the list form names the
// files after each screen's table).
void keepLayouts(TLNQDBGrid* grid) {
    if (grid) grid->SetControlOptions(grid->ControlOptions() | TDBGridControlOption::coAutoFormat);
}

} // namespace

TDemoListfm::TDemoListfm(std::shared_ptr<TDemoConnection> connection, IServicesInterface* services,
                         const TDemoScreen& screen, QWidget* parent)
    : TListCommonfm(connection, services, parent), m_demoConnection(std::move(connection)), m_screen(screen) {
    setObjectName(m_screen.Id + QStringLiteral("Listfm"));
    setWindowTitle(m_screen.Caption);
}

TDemoListfm::~TDemoListfm() {
    // The grids go with the base form, and going they still move through the
    // rows (writing the layout, dropping their record filter): the record
    // change steps must not follow, as they read this screen's settings.
    for (TDataSource* source : {DataSourceMain(), DataSourceDeltail()})
        if (source) source->disconnect(this);
}

QString TDemoListfm::ConfirmStateField() const {
    return confirms(m_screen) ? QStringLiteral("vConfirmState") : QString();
}

QString TDemoListfm::ConfirmUserField() const {
    return confirms(m_screen) ? QStringLiteral("vConfirmUser") : QString();
}

QString TDemoListfm::ConfirmDateField() const {
    return confirms(m_screen) ? QStringLiteral("dConfirmDate") : QString();
}

bool TDemoListfm::mayConfirm() {
    if (UserMayConfirm(m_demoConnection->CurrentUser().Groups)) return true;
    TClientUtils::MsgBox(QStringLiteral("只有财务部或系统管理员可以") + QStringLiteral("审核") +
                             m_screen.Caption,
                         QStringLiteral("提示"), mb::Ok | mb::IconAsterisk);
    return false;
}

bool TDemoListfm::CanDoConfirm() {
    return mayConfirm();
}

bool TDemoListfm::CanUndoConfirm() {
    return mayConfirm();
}

void TDemoListfm::copyStateToLines() {
    if (m_screen.DetailTable.isEmpty() || m_screen.ConfirmTarget != QLatin1String("MASTER")) return;
    TDataSet& list = ListDataSet();
    if (!list.Active() || list.IsEmpty()) return;
    const TField& key = list.FieldByName(m_screen.KeyField);
    if (key.IsNull()) return;
    const TField& state = list.FieldByName(ConfirmStateField());
    const TField& user = list.FieldByName(ConfirmUserField());
    const TField& date = list.FieldByName(ConfirmDateField());
    auto text = [](const TField& f) {
        return f.IsNull() ? QStringLiteral("NULL") : TInterfacedADOConnection::QuotedStr(f.AsString());
    };
    const QString when =
        date.IsNull()
            ? QStringLiteral("NULL")
            : QLatin1Char('\'') + TClientUtils::DateTimeToSQLStr(date.AsDateTime()) + QLatin1Char('\'');
    m_demoConnection->ExecuteNonQuery(
        QStringLiteral("update ") + m_screen.DetailTable + QStringLiteral(" set vConfirmState=") +
        text(state) + QStringLiteral(", vConfirmUser=") + text(user) + QStringLiteral(", dConfirmDate=") +
        when + QStringLiteral(" where ") + m_screen.DetailKeyField + QLatin1Char('=') +
        QString::number(key.AsLargeInt()));
}

void TDemoListfm::DoConfirmData() {
    copyStateToLines();
}

void TDemoListfm::UndoConfirmData() {
    copyStateToLines();
}

std::unique_ptr<TDemoListfm> CreateDemoListfm(std::shared_ptr<TDemoConnection> connection,
                                              IServicesInterface* services, const TDemoScreen& screen) {
    auto form = std::make_unique<TDemoListfm>(std::move(connection), services, screen);
    keepLayouts(form->LNQDBGridList());
    keepLayouts(form->LNQDBGridDetail());
    form->FormCreate();
    return form;
}

} // namespace lnq
