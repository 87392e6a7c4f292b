#include "demo/SignIn_ui.h"

#include "data/DataSet.h"
#include "demo/DemoConnection.h"
#include "util/Exceptions.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace lnq {

namespace {
constexpr int kCodeColumn = 0;
constexpr int kPasswordRole = Qt::UserRole + 1;
} // namespace

TDemoSignInDlg::TDemoSignInDlg(TDemoConnection& connection, QWidget* parent)
    : QDialog(parent), m_connection(connection) {
    setObjectName(QStringLiteral("SignInDlg"));
    setWindowTitle(QStringLiteral("用户登录"));
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel(QStringLiteral("请选择用户并输入密码（示例用户没有密码）"), this);
    layout->addWidget(title);
    m_users = new QTreeWidget(this);
    m_users->setObjectName(QStringLiteral("UserList"));
    m_users->setRootIsDecorated(false);
    m_users->setHeaderLabels(
        {QStringLiteral("用户编码"), QStringLiteral("用户名称"), QStringLiteral("工作角色")});
    m_users->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    layout->addWidget(m_users, 1);
    auto* pwRow = new QHBoxLayout;
    pwRow->addWidget(new QLabel(QStringLiteral("密码："), this));
    m_password = new QLineEdit(this);
    m_password->setObjectName(QStringLiteral("PasswordEdit"));
    m_password->setEchoMode(QLineEdit::Password);
    pwRow->addWidget(m_password, 1);
    layout->addLayout(pwRow);
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("MessageLabel"));
    m_message->setStyleSheet(QStringLiteral("color: #b00000"));
    layout->addWidget(m_message);
    auto* buttons = new QDialogButtonBox(this);
    QPushButton* ok = buttons->addButton(QStringLiteral("登录"), QDialogButtonBox::AcceptRole);
    ok->setObjectName(QStringLiteral("SignInButton"));
    ok->setDefault(true);
    buttons->addButton(QStringLiteral("取消"), QDialogButtonBox::RejectRole)
        ->setObjectName(QStringLiteral("CancelButton"));
    connect(buttons, &QDialogButtonBox::accepted, this, &TDemoSignInDlg::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &TDemoSignInDlg::reject);
    connect(m_users, &QTreeWidget::itemDoubleClicked, this, [this] { accept(); });
    layout->addWidget(buttons);
    resize(460, 420);
    loadUsers();
}

void TDemoSignInDlg::loadUsers() {
    try {
        const std::unique_ptr<TADODataSet> users = m_connection.ExecuteWithQuery(
            QStringLiteral("select vUserName, vName, vWorkRole, vPassword from sys_Systemuser "
                           "where bDisabled=0 order by iUserNo"));
        for (users->First(); !users->Eof(); users->Next()) {
            auto* item = new QTreeWidgetItem(m_users);
            item->setText(kCodeColumn, users->FieldByName(QStringLiteral("vUserName")).AsString());
            item->setText(1, users->FieldByName(QStringLiteral("vName")).AsString());
            item->setText(2, users->FieldByName(QStringLiteral("vWorkRole")).AsString());
            item->setData(kCodeColumn, kPasswordRole,
                          users->FieldByName(QStringLiteral("vPassword")).AsString());
        }
    } catch (const Exception& e) {
        m_message->setText(QStringLiteral("无法读取用户列表：") + e.Message());
    }
    if (m_users->topLevelItemCount() > 0) m_users->setCurrentItem(m_users->topLevelItem(0));
}

bool TDemoSignInDlg::SelectUser(const QString& code) {
    for (int i = 0; i < m_users->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = m_users->topLevelItem(i);
        if (item->text(kCodeColumn).compare(code, Qt::CaseInsensitive) == 0) {
            m_users->setCurrentItem(item);
            return true;
        }
    }
    return false;
}

QString TDemoSignInDlg::SelectedUser() const {
    const QTreeWidgetItem* item = m_users->currentItem();
    return item ? item->text(kCodeColumn) : QString();
}

void TDemoSignInDlg::accept() {
    const QTreeWidgetItem* item = m_users->currentItem();
    if (!item) {
        m_message->setText(QStringLiteral("请选择用户"));
        return;
    }
    if (item->data(kCodeColumn, kPasswordRole).toString() != m_password->text()) {
        m_message->setText(QStringLiteral("密码错误，请重新输入"));
        m_password->selectAll();
        m_password->setFocus();
        return;
    }
    try {
        if (!m_connection.SignIn(item->text(kCodeColumn))) {
            m_message->setText(QStringLiteral("该用户已停用"));
            return;
        }
    } catch (const Exception& e) {
        m_message->setText(e.Message());
        return;
    }
    QDialog::accept();
}

} // namespace lnq
