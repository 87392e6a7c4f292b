#include "common/TestMain.h"

#include <QBuffer>
#include <QFile>
#include <QTableView>

#ifdef LNQ_DESIGNER_PLUGIN
#include <QPluginLoader>
#include <QUiLoader>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#endif

namespace {

// A form as the designer writes it, with the controls and some of their
// published properties.
const char* const kForm = R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0">
 <class>CustomerForm</class>
 <widget class="QWidget" name="CustomerForm">
  <layout class="QVBoxLayout" name="layout">
   <item>
    <widget class="lnq::TLNQMaskEdit" name="amount">
     <property name="DataTypePro"><number>1</number></property>
     <property name="DataWidth"><number>10</number></property>
     <property name="DataDec"><number>2</number></property>
     <property name="LBCanUse"><bool>true</bool></property>
     <property name="ImeName"><string>中文 (简体) - 拼音</string></property>
     <property name="Text"><string>12.50</string></property>
    </widget>
   </item>
   <item>
    <widget class="lnq::TLNQStringGrid" name="lines">
     <property name="ColCount"><number>6</number></property>
     <property name="RowCount"><number>4</number></property>
     <property name="FixedCols"><number>1</number></property>
     <property name="GridReadOnly"><bool>true</bool></property>
     <property name="GridTail"><bool>true</bool></property>
     <property name="HeaderColor"><color><red>200</red><green>220</green><blue>255</blue></color></property>
     <property name="LineStyle"><enum>Qt::DashLine</enum></property>
     <property name="FileNameSaved"><string>明细.txt</string></property>
    </widget>
   </item>
   <item>
    <widget class="lnq::TLNQDBGrid" name="customers">
     <property name="ControlOptions"><number>3</number></property>
     <property name="FormatFileName"><string>客户列表</string></property>
     <property name="CellFileName"><string>客户报表</string></property>
     <property name="DefColorPerRows"><number>2</number></property>
     <property name="DBRowsHeight"><number>22</number></property>
    </widget>
   </item>
   <item>
    <widget class="lnq::TLNQSuperEdit" name="customer">
     <property name="SQLs"><string>select iCustomerNo, vPYCode, vCustomerName from Cust_CustomersMain</string></property>
     <property name="NoField"><string>iCustomerNo</string></property>
     <property name="CodeField"><string>vPYCode</string></property>
     <property name="ValueField"><string>vCustomerName</string></property>
     <property name="AutoCheckAuthority"><bool>false</bool></property>
     <property name="Column2Width"><number>160</number></property>
     <property name="DropDownWidth"><number>500</number></property>
     <property name="DropDownHeight"><number>300</number></property>
     <property name="HasAddButton"><bool>true</bool></property>
     <property name="HasRefreshButton"><bool>false</bool></property>
    </widget>
   </item>
   <item>
    <widget class="lnq::TLNQDataWebBrowser" name="record">
     <property name="ColumnCount"><number>3</number></property>
    </widget>
   </item>
   <item>
    <widget class="lnq::TDataView" name="card">
     <property name="ColumnCount"><number>4</number></property>
    </widget>
   </item>
  </layout>
 </widget>
</ui>
)";

const QStringList kControls{"lnq::TLNQStringGrid", "lnq::TLNQMaskEdit",       "lnq::TLNQDBGrid",
                            "lnq::TLNQSuperEdit",  "lnq::TLNQDataWebBrowser", "lnq::TDataView"};

} // namespace

class TestLNQDesignerPlugin : public QObject {
    Q_OBJECT
private Q_SLOTS:
#ifndef LNQ_DESIGNER_PLUGIN
    void designerNotAvailable() {
        QSKIP("built without the form designer's development files");
    }
#else
    void pluginRegistersTheControls() {
        QPluginLoader loader(QStringLiteral(LNQ_DESIGNER_PLUGIN));
        QObject* instance = loader.instance();
        QVERIFY2(instance, qPrintable(loader.errorString()));
        auto* collection = qobject_cast<QDesignerCustomWidgetCollectionInterface*>(instance);
        QVERIFY(collection);
        QStringList names;
        for (QDesignerCustomWidgetInterface* w : collection->customWidgets()) {
            names << w->name();
            QCOMPARE(w->group(), QStringLiteral("LNQ Component"));
            QVERIFY(w->domXml().contains(QStringLiteral("class=\"") + w->name() + QLatin1Char('"')));
            // The include file is the header that declares the class.
            QFile header(QStringLiteral(LNQ_SOURCE_DIR "/") + w->includeFile());
            QVERIFY2(header.open(QIODevice::ReadOnly), qPrintable(w->includeFile()));
            QVERIFY(header.readAll().contains(
                ("class " + w->name().section(QStringLiteral("::"), -1) + " : public").toLatin1()));
            QVERIFY(!w->toolTip().isEmpty());
            std::unique_ptr<QWidget> made(w->createWidget(nullptr));
            QCOMPARE(QString::fromLatin1(made->metaObject()->className()), w->name());
        }
        QCOMPARE(names, kControls);
    }

    // Every control of a saved form comes back as its class with the
    // properties the form gives it.
    void formsLoadWithTheControls() {
        QUiLoader ui;
        ui.clearPluginPaths();
        ui.addPluginPath(QStringLiteral(LNQ_DESIGNER_PLUGIN_DIR));
        for (const QString& name : kControls)
            QVERIFY2(ui.availableWidgets().contains(name), qPrintable(name));
        QBuffer form;
        form.setData(QByteArray(kForm));
        std::unique_ptr<QWidget> w(ui.load(&form));
        QVERIFY2(w, qPrintable(ui.errorString()));
        const struct {
            const char* object;
            const char* className;
            const char* property;
            QVariant value;
        } expected[] = {
            {"amount", "lnq::TLNQMaskEdit", "DataTypePro", 1},
            {"amount", "lnq::TLNQMaskEdit", "DataWidth", 10},
            {"amount", "lnq::TLNQMaskEdit", "DataDec", 2},
            {"amount", "lnq::TLNQMaskEdit", "LBCanUse", true},
            {"amount", "lnq::TLNQMaskEdit", "ImeName", "中文 (简体) - 拼音"},
            {"amount", "lnq::TLNQMaskEdit", "text", "12.50"},
            {"lines", "lnq::TLNQStringGrid", "ColCount", 6},
            {"lines", "lnq::TLNQStringGrid", "RowCount", 4},
            {"lines", "lnq::TLNQStringGrid", "FixedCols", 1},
            {"lines", "lnq::TLNQStringGrid", "GridReadOnly", true},
            {"lines", "lnq::TLNQStringGrid", "GridTail", true},
            {"lines", "lnq::TLNQStringGrid", "HeaderColor", QColor(200, 220, 255)},
            {"lines", "lnq::TLNQStringGrid", "LineStyle", QVariant::fromValue(Qt::DashLine)},
            {"lines", "lnq::TLNQStringGrid", "FileNameSaved", "明细.txt"},
            {"customers", "lnq::TLNQDBGrid", "ControlOptions", 3},
            {"customers", "lnq::TLNQDBGrid", "FormatFileName", "客户列表"},
            {"customers", "lnq::TLNQDBGrid", "CellFileName", "客户报表"},
            {"customers", "lnq::TLNQDBGrid", "DefColorPerRows", 2},
            {"customers", "lnq::TLNQDBGrid", "DBRowsHeight", 22},
            {"customer", "lnq::TLNQSuperEdit", "SQLs",
             "select iCustomerNo, vPYCode, vCustomerName from Cust_CustomersMain"},
            {"customer", "lnq::TLNQSuperEdit", "NoField", "iCustomerNo"},
            {"customer", "lnq::TLNQSuperEdit", "CodeField", "vPYCode"},
            {"customer", "lnq::TLNQSuperEdit", "ValueField", "vCustomerName"},
            {"customer", "lnq::TLNQSuperEdit", "AutoCheckAuthority", false},
            {"customer", "lnq::TLNQSuperEdit", "Column2Width", 160},
            {"customer", "lnq::TLNQSuperEdit", "DropDownWidth", 500},
            {"customer", "lnq::TLNQSuperEdit", "DropDownHeight", 300},
            {"customer", "lnq::TLNQSuperEdit", "HasAddButton", true},
            {"customer", "lnq::TLNQSuperEdit", "HasRefreshButton", false},
            {"record", "lnq::TLNQDataWebBrowser", "ColumnCount", 3},
            {"card", "lnq::TDataView", "ColumnCount", 4},
        };
        for (const auto& e : expected) {
            const QString where = QString::fromLatin1(e.object) + u'.' + QString::fromLatin1(e.property);
            const QWidget* c = w->findChild<QWidget*>(QString::fromLatin1(e.object));
            QVERIFY2(c, qPrintable(where));
            QCOMPARE(QString::fromLatin1(c->metaObject()->className()), QString::fromLatin1(e.className));
            QVERIFY2(c->property(e.property) == e.value,
                     qPrintable(where + u'=' + c->property(e.property).toString()));
        }
        auto* lines = w->findChild<QTableView*>(QStringLiteral("lines"));
        QCOMPARE(lines->model()->columnCount(), 6);
        // A value outside the value kinds leaves the edit's kind alone.
        QWidget* amount = w->findChild<QWidget*>(QStringLiteral("amount"));
        amount->setProperty("DataTypePro", 99);
        QCOMPARE(amount->property("DataTypePro").toInt(), 1);
    }
#endif
};

LNQ_TEST_MAIN_WIDGETS(TestLNQDesignerPlugin)
#include "tst_LNQDesignerPlugin.moc"
