// The view editor on its own: the field menu, the value box for each
// operator kind, the rights lists, and the class-level dialogs for searching,
// editing a raw SQL view and saving a ready SQL text.

#include "common/TestMain.h"
#include "common/WidgetDriver.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "filter/Ctrl_FilterEditorFM.h"
#include "filter/ViewStream.h"

#include <QBuffer>
#include <QComboBox>
#include <QDateEdit>
#include <QGridLayout>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>

using namespace lnq;
using namespace lnqtest;

namespace {
void pickField(QWidget* form, const QString& caption) {
    pickMenuEntry(form, "ButtonField", "FieldMenu", caption);
}
void pickOperator(QWidget* form, const QString& name) {
    pickComboText(child<QComboBox>(form, "ComboboxOpType"), name);
}
QStringList operators(QWidget* form) {
    QStringList out;
    auto* box = child<QComboBox>(form, "ComboboxOpType");
    for (int i = 0; i < box->count(); ++i)
        out << box->itemText(i);
    return out;
}
} // namespace

class TestFilterEditorFM : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_ado.SetConnectionString(m_dir.filePath(QStringLiteral("editor.db")));
        m_ado.Open();
        SampleDatabase::CreateSchema(m_ado);
        m_conn = std::make_unique<TInterfacedADOConnection>(m_ado);
        for (const char* sql : {
                 "create table T (vName nvarchar(20), iQty int, bFlag bit, dDay datetime, imgPic image, "
                 "vSecret nvarchar(10), bShare bit, vAllowedUsers nvarchar(50), vAllowedGroups nvarchar(50))",
                 "create table R (bShare bit, VALLOWEDUSERS nvarchar(50), vAllowedGroups nvarchar(50))",
                 "create table W (c01 int, c02 int, c03 int, c04 int, c05 int, c06 int, c07 int, c08 int, "
                 "c09 int, "
                 "c10 int, c11 int, c12 int, c13 int, c14 int)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('T', 'vName', N'名称', 1)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('T', 'dDay', N'日期', 1)",
                 "insert Sys_TableDictionary (vTableName, vFieldName, vFieldDescribe, bDisplay) values "
                 "('T', 'vSecret', N'notvisible', 1)",
                 "insert sys_Systemuser (vUserName, vName) values ('an', N'安')",
                 "insert sys_Systemuser (vUserName, vName) values ('ann', N'安妮')",
                 "insert sys_group (vGroupID, vGroupName) values ('A0', N'管理员组')",
                 "insert sys_group (vGroupID, vGroupName) values ('B0', N'销售部')",
             })
            m_conn->ExecuteNonQuery(QString::fromUtf8(sql));
        TDataEnvironment::SetCacheFileName(m_dir.filePath(QStringLiteral("FldAttr.xml")));
        TDataEnvironment::GetInstance(m_ado);
    }
    void cleanupTestCase() { TDataEnvironment::FreeInstance(); }

    void fieldMenu_data() {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<int>("columns");
        QTest::newRow("rights columns and hidden fields left out")
            << "T" << QStringList{"名称", "iQty", "bFlag", "日期", "imgPic"} << 1;
        QTest::newRow("only rights columns") << "R" << QStringList() << 0;
        QTest::newRow("breaks into columns")
            << "W" << QStringList{"c01", "c02", "c03", "c04", "c05", "c06", "c07",
                                  "c08", "c09", "c10", "c11", "c12", "c13", "c14"}
            << 2;
    }
    void fieldMenu() {
        QFETCH(QString, table);
        QFETCH(QStringList, fields);
        QFETCH(int, columns);
        TFilterEditorFM form(*m_conn, QStringLiteral(".T"));
        form.SetDataset(table);
        QCOMPARE(form.FieldCaptions(), fields);
        auto* menu = child<QMenu>(&form, "FieldMenu");
        const auto grids = menu->findChildren<QGridLayout*>();
        QCOMPARE(grids.size(), 1);
        QCOMPARE(grids.first()->columnCount() * (fields.isEmpty() ? 0 : 1), columns);
        if (fields.isEmpty()) return;
        // From the keyboard: F4 on the field box, down to the second entry, Enter.
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        auto* box = child<QLineEdit>(&form, "EditFieldName");
        box->setFocus();
        QTest::keyClick(box, Qt::Key_F4);
        QTRY_VERIFY(menu->isVisible());
        QTest::keyClick(menu, Qt::Key_Down);
        QTest::keyClick(menu, Qt::Key_Return);
        QCOMPARE(box->text(), fields.at(1));
        QVERIFY(!menu->isVisible());
    }

    void valueBoxes_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("sql");
        const auto add = [](const char* row, const char* field, const char* op, const char* box,
                            const char* sql) {
            QTest::newRow(row) << QString::fromUtf8(field) << QString::fromUtf8(op) << QString::fromUtf8(box)
                               << QString::fromUtf8(sql);
        };
        add("text", "名称", "等于(精确地)", "EditValueString", "vName= 'o'k'");
        add("number", "iQty", "小于", "EditValueNumber", "iQty< 12.5");
        add("yes/no", "bFlag", "否", "", "bFlag=0");
        add("date", "日期", "大于", "DateTimePicker", "DateDiff(d,dDay,'2024-03-05' )<0 ");
        add("recent days", "日期", "最近N天", "EditValueNumber", "DateDiff(d,dDay,GetDate() )<= 12.5");
        add("blob offers nothing", "imgPic", "", "", "");
    }
    void valueBoxes() {
        QFETCH(QString, field);
        QFETCH(QString, op);
        QFETCH(QString, box);
        QFETCH(QString, sql);
        TFilterEditorFM form(*m_conn, QStringLiteral(".T"));
        form.SetDataset(QStringLiteral("T"));
        form.DoSearchInit();
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        pickField(&form, field);
        QCOMPARE(child<QLineEdit>(&form, "EditFieldName")->text(), field);
        if (field == QLatin1String("bFlag")) QCOMPARE(operators(&form), (QStringList{"是", "否"}));
        pickOperator(&form, op);
        QCOMPARE(child<QComboBox>(&form, "ComboboxOpType")->currentText(), op);
        QStringList visible;
        for (const char* name : {"EditValueString", "EditValueNumber", "DateTimePicker"})
            if (child<QWidget>(&form, name)->isVisible()) visible << QString::fromLatin1(name);
        QCOMPARE(visible, box.isEmpty() ? QStringList() : QStringList{box});
        QTest::keyClicks(child<QLineEdit>(&form, "EditValueString"), QStringLiteral("o'k"));
        QTest::keyClicks(child<QLineEdit>(&form, "EditValueNumber"), QStringLiteral("12.5"));
        child<QDateEdit>(&form, "DateTimePicker")->setDate(QDate(2024, 3, 5));
        QCOMPARE(form.GetItemSQL(), sql);
        // Enter in a text or number box adds the condition and leaves the form open.
        if (box.startsWith(QLatin1String("EditValue")))
            QTest::keyClick(child<QLineEdit>(&form, box.toLatin1().constData()), Qt::Key_Return);
        else
            click(&form, "ButtonAdd");
        QCOMPARE(form.Conditions().Count(), sql.isEmpty() ? 0 : 1);
        QVERIFY(form.isVisible());
    }

    void rightsLists() {
        TFilterEditorFM form(*m_conn, QStringLiteral(".T"));
        form.GetAllUsers();
        form.GetAllGroups();
        auto* users = child<QListWidget>(&form, "CheckListUsers");
        auto* groups = child<QListWidget>(&form, "CheckListGroups");
        QCOMPARE(users->count(), 2);
        QCOMPARE(groups->item(0)->text(), QStringLiteral("[A0]管理员组"));
        // The "A0" rule never matches a bracketed entry: nothing starts checked.
        QCOMPARE(form.GetAllowedGroups(), QString());
        QCOMPARE(form.GetAllowedUsers(), QStringLiteral(","));
        form.SetAllowedUsers(QStringLiteral(",ann,"));
        QCOMPARE(users->findItems("ann", Qt::MatchExactly).first()->checkState(), Qt::Checked);
        QCOMPARE(users->findItems("an", Qt::MatchExactly).first()->checkState(), Qt::Unchecked);
        QCOMPARE(form.GetAllowedUsers(), QStringLiteral(",ann,"));
        form.SetAllowedGroups(QStringLiteral("[B"));
        QCOMPARE(form.GetAllowedGroups(), QStringLiteral("[B"));
        QCOMPARE(groups->item(0)->checkState(), Qt::Unchecked);
    }

    void editRawSqlViewAndSaveSql() {
        // A view saved from a ready SQL text is shown, keeps its text and
        // takes new sharing; names come back trimmed.
        QBuffer stream;
        stream.open(QIODevice::ReadWrite);
        SaveSQLToStream(stream, QStringLiteral("select 1 from T"));
        QString path = QStringLiteral(" 我的 \\ 原始 ");
        TViewRights rights{false, QStringLiteral(",an,"), QString(), QStringLiteral("d")};
        QString shownSql;
        QStringList checkedUsers;
        whenModal<TFilterEditorFM>([&](TFilterEditorFM* form) {
            shownSql = child<QPlainTextEdit>(form, "MemoSQL")->toPlainText();
            QVERIFY(!child<QTreeWidget>(form, "ListView")->isVisible());
            auto* users = child<QListWidget>(form, "CheckListUsers");
            for (int i = 0; i < users->count(); ++i)
                if (users->item(i)->checkState() == Qt::Checked) checkedUsers << users->item(i)->text();
            QTest::mouseClick(child<QPushButton>(form, "ButtonOK"), Qt::LeftButton);
        });
        QVERIFY(TFilterEditorFM::ShowEditViewDialog(*m_conn, QStringLiteral("T"), QStringLiteral(".T"), path,
                                                    stream, rights));
        QCOMPARE(shownSql, QStringLiteral("select 1 from T"));
        QCOMPARE(checkedUsers, QStringList{"an"});
        QCOMPARE(path, QStringLiteral("我的\\原始"));
        QCOMPARE(rights.AllowedUsers, QStringLiteral(",an,"));
        QCOMPARE(rights.Description, QStringLiteral("d"));
        bool isSQL = false;
        QCOMPARE(LoadSQLFromStream(stream, isSQL), QStringLiteral("select 1 from T"));
        QVERIFY(isSQL);

        // Saving a ready SQL text: the duplicate check, then the stream.
        QBuffer existing;
        existing.open(QIODevice::ReadWrite);
        m_conn->SaveStream(QStringLiteral("an"), QStringLiteral("常用\\已有.T"), existing);
        QString message;
        whenModal<TFilterEditorFM>([&](TFilterEditorFM* form) {
            commitText(child<QLineEdit>(form, "EditName"), QStringLiteral("已有"));
            answerMessageBox(&message);
            QTest::mouseClick(child<QPushButton>(form, "ButtonOK"), Qt::LeftButton);
            child<QLineEdit>(form, "EditName")->clear();
            commitText(child<QLineEdit>(form, "EditName"), QStringLiteral("新的"));
            QTest::mouseClick(child<QPushButton>(form, "ButtonOK"), Qt::LeftButton);
        });
        QBuffer saved;
        saved.open(QIODevice::ReadWrite);
        QVERIFY(TFilterEditorFM::ShowSaveViewDialog(*m_conn, QStringLiteral(".T"), QStringLiteral("常用"),
                                                    QStringLiteral("select 2"), saved, path, rights));
        QCOMPARE(message, QStringLiteral("重复的视图名称"));
        QCOMPARE(path, QStringLiteral("常用\\新的"));
        QCOMPARE(saved.data(), QByteArray("\x03\x01\x01\x08\x00\x00\x00select 2", 15));
    }

private:
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    std::unique_ptr<TInterfacedADOConnection> m_conn;
};

LNQ_TEST_MAIN_WIDGETS(TestFilterEditorFM)
#include "tst_FilterEditorFM.moc"
