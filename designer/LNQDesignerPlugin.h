#pragma once
// The framework's controls for the form designer: one collection that lists
// every control of the registration table in LNQDesignerPlugin.cpp under the
// widget box group "LNQ Component".

#include <QObject>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>
#include <memory>
#include <vector>

namespace lnq {

// One row of the registration table.
struct TDesignerControl {
    const char* className; // as written in .ui files
    const char* header;    // include path for generated code
    const char* toolTip;   // shown in the widget box
    QWidget* (*create)(QWidget* parent);
};

class TLNQDesignerControl : public QObject, public QDesignerCustomWidgetInterface {
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)
public:
    TLNQDesignerControl(const TDesignerControl& control, QObject* parent);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override { return false; }
    QWidget* createWidget(QWidget* parent) override;
    bool isInitialized() const override { return m_initialized; }
    void initialize(QDesignerFormEditorInterface*) override { m_initialized = true; }
    QString domXml() const override;

private:
    TDesignerControl m_control;
    bool m_initialized = false;
};

class TLNQDesignerPlugin : public QObject, public QDesignerCustomWidgetCollectionInterface {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface")
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)
public:
    explicit TLNQDesignerPlugin(QObject* parent = nullptr);
    QList<QDesignerCustomWidgetInterface*> customWidgets() const override;

private:
    QList<QDesignerCustomWidgetInterface*> m_widgets; // children of this object
};

} // namespace lnq
