#include "designer/LNQDesignerPlugin.h"

#include "forms/Ctrl_LNQSuperEdit.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "grid/data/Ctrl_DataView.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QIcon>

namespace lnq {

namespace {

template <typename T> QWidget* make(QWidget* parent) {
    return new T(parent);
}

// The controls offered in the form designer, one line each.
const TDesignerControl kControls[] = {
    {"lnq::TLNQStringGrid", "grid/core/Ctrl_LNQStringGrid.h", "字符串表格", make<TLNQStringGrid>},
    {"lnq::TLNQMaskEdit", "grid/core/Ctrl_LNQMaskEdit.h", "掩码编辑框", make<TLNQMaskEdit>},
    {"lnq::TLNQDBGrid", "grid/data/Ctrl_LNQDBGrid.h", "数据表格", make<TLNQDBGrid>},
    {"lnq::TLNQSuperEdit", "forms/Ctrl_LNQSuperEdit.h", "查找编辑框", make<TLNQSuperEdit>},
    {"lnq::TLNQDataWebBrowser", "web/Ctrl_datawebbrowser.h", "数据网页浏览器", make<TLNQDataWebBrowser>},
    {"lnq::TDataView", "grid/data/Ctrl_DataView.h", "记录卡片", make<TDataView>},
};

} // namespace

TLNQDesignerControl::TLNQDesignerControl(const TDesignerControl& control, QObject* parent)
    : QObject(parent), m_control(control) {}

QString TLNQDesignerControl::name() const {
    return QString::fromLatin1(m_control.className);
}

QString TLNQDesignerControl::group() const {
    return QStringLiteral("LNQ Component");
}

QString TLNQDesignerControl::toolTip() const {
    return QString::fromUtf8(m_control.toolTip);
}

QString TLNQDesignerControl::whatsThis() const {
    return toolTip();
}

QString TLNQDesignerControl::includeFile() const {
    return QString::fromLatin1(m_control.header);
}

QIcon TLNQDesignerControl::icon() const {
    return QIcon();
}

QWidget* TLNQDesignerControl::createWidget(QWidget* parent) {
    return m_control.create(parent);
}

QString TLNQDesignerControl::domXml() const {
    // A new control is named after its class without namespace and maker
    // prefix, first letter in lower case ("stringGrid").
    QString object = name().section(QStringLiteral("::"), -1);
    if (object.startsWith(QLatin1String("TLNQ")))
        object = object.mid(4);
    else if (object.startsWith(QLatin1Char('T')))
        object = object.mid(1);
    if (!object.isEmpty()) object[0] = object[0].toLower();
    return QStringLiteral("<ui language=\"c++\"><widget class=\"") + name() + QStringLiteral("\" name=\"") +
           object + QStringLiteral("\"/></ui>");
}

TLNQDesignerPlugin::TLNQDesignerPlugin(QObject* parent) : QObject(parent) {
    for (const TDesignerControl& c : kControls)
        m_widgets << new TLNQDesignerControl(c, this);
}

QList<QDesignerCustomWidgetInterface*> TLNQDesignerPlugin::customWidgets() const {
    return m_widgets;
}

} // namespace lnq
