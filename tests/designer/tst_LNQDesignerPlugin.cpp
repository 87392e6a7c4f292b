#include "common/TestMain.h"

#include <QBuffer>
#include <QFile>
#include <QLineEdit>
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
        QCOMPARE(names, (QStringList{"lnq::TLNQStringGrid", "lnq::TLNQMaskEdit", "lnq::TLNQDBGrid",
                                     "lnq::TLNQSuperEdit", "lnq::TLNQDataWebBrowser", "lnq::TDataView"}));
    }

    void formsLoadWithTheControls() {
        QUiLoader ui;
        ui.clearPluginPaths();
        ui.addPluginPath(QStringLiteral(LNQ_DESIGNER_PLUGIN_DIR));
        QVERIFY(ui.availableWidgets().contains(QStringLiteral("lnq::TLNQStringGrid")));
        for (const char* name : {"lnq::TLNQMaskEdit", "lnq::TLNQDBGrid", "lnq::TLNQSuperEdit",
                                 "lnq::TLNQDataWebBrowser", "lnq::TDataView"})
            QVERIFY2(ui.availableWidgets().contains(QString::fromLatin1(name)), name);
        QBuffer form;
        form.setData(QByteArray(kForm));
        std::unique_ptr<QWidget> w(ui.load(&form));
        QVERIFY2(w, qPrintable(ui.errorString()));

        auto* amount = w->findChild<QLineEdit*>(QStringLiteral("amount"));
        QVERIFY(amount);
        QCOMPARE(QString::fromLatin1(amount->metaObject()->className()), QStringLiteral("lnq::TLNQMaskEdit"));
        QCOMPARE(amount->property("DataTypePro").toInt(), 1);
        QCOMPARE(amount->property("DataWidth").toInt(), 10);
        QCOMPARE(amount->property("DataDec").toInt(), 2);
        QCOMPARE(amount->property("LBCanUse").toBool(), true);
        QCOMPARE(amount->property("ImeName").toString(), QStringLiteral("中文 (简体) - 拼音"));
        QCOMPARE(amount->text(), QStringLiteral("12.50"));

        auto* lines = w->findChild<QTableView*>(QStringLiteral("lines"));
        QVERIFY(lines);
        QCOMPARE(QString::fromLatin1(lines->metaObject()->className()),
                 QStringLiteral("lnq::TLNQStringGrid"));
        QCOMPARE(lines->property("ColCount").toInt(), 6);
        QCOMPARE(lines->property("RowCount").toInt(), 4);
        QCOMPARE(lines->model()->columnCount(), 6);
        QCOMPARE(lines->property("FixedCols").toInt(), 1);
        QCOMPARE(lines->property("GridReadOnly").toBool(), true);
        QCOMPARE(lines->property("GridTail").toBool(), true);
        QCOMPARE(lines->property("HeaderColor").value<QColor>(), QColor(200, 220, 255));
        QCOMPARE(lines->property("LineStyle").value<Qt::PenStyle>(), Qt::DashLine);
        QCOMPARE(lines->property("FileNameSaved").toString(), QStringLiteral("明细.txt"));

        QWidget* customers = w->findChild<QWidget*>(QStringLiteral("customers"));
        QVERIFY(customers);
        QCOMPARE(QString::fromLatin1(customers->metaObject()->className()),
                 QStringLiteral("lnq::TLNQDBGrid"));
        QCOMPARE(customers->property("ControlOptions").toInt(), 3);
        QCOMPARE(customers->property("FormatFileName").toString(), QStringLiteral("客户列表"));
        QCOMPARE(customers->property("CellFileName").toString(), QStringLiteral("客户报表"));
        QCOMPARE(customers->property("DefColorPerRows").toInt(), 2);
        QCOMPARE(customers->property("DBRowsHeight").toInt(), 22);
        auto* customer = w->findChild<QLineEdit*>(QStringLiteral("customer"));
        QVERIFY(customer);
        QCOMPARE(QString::fromLatin1(customer->metaObject()->className()),
                 QStringLiteral("lnq::TLNQSuperEdit"));
        const std::pair<const char*, QVariant> lookup[] = {
            {"SQLs", "select iCustomerNo, vPYCode, vCustomerName from Cust_CustomersMain"},
            {"NoField", "iCustomerNo"},
            {"CodeField", "vPYCode"},
            {"ValueField", "vCustomerName"},
            {"AutoCheckAuthority", false},
            {"Column2Width", 160},
            {"Column3Width", 0},
            {"DropDownWidth", 500},
            {"DropDownHeight", 300},
            {"HasAddButton", true},
            {"HasClearButton", true},
            {"HasSearchButton", false},
            {"HasRefreshButton", false},
            {"No", "0"}};
        for (const auto& [name, value] : lookup)
            QVERIFY2(customer->property(name) == value, name);

        QWidget* record = w->findChild<QWidget*>(QStringLiteral("record"));
        QVERIFY(record);
        QCOMPARE(QString::fromLatin1(record->metaObject()->className()),
                 QStringLiteral("lnq::TLNQDataWebBrowser"));
        QCOMPARE(record->property("ColumnCount").toInt(), 3);
        QWidget* card = w->findChild<QWidget*>(QStringLiteral("card"));
        QVERIFY(card);
        QCOMPARE(QString::fromLatin1(card->metaObject()->className()), QStringLiteral("lnq::TDataView"));
        QCOMPARE(card->property("ColumnCount").toInt(), 4);

        // A value outside the value kinds leaves the edit's kind alone.
        amount->setProperty("DataTypePro", 99);
        QCOMPARE(amount->property("DataTypePro").toInt(), 1);
    }
#endif
};

LNQ_TEST_MAIN_WIDGETS(TestLNQDesignerPlugin)
#include "tst_LNQDesignerPlugin.moc"
