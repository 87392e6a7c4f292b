#pragma once
// TDemoSignInDlg: the sign-in dialog of the demo client. It lists the
// users of sys_Systemuser who are not disabled (code, name, role); the user
// picks one, types the password when the account has one, and "登录" signs
// the connection in as that user. A wrong password keeps the dialog open
// with "密码错误，请重新输入".

#include <QDialog>
#include <functional>

class QLabel;
class QLineEdit;
class QTreeWidget;

namespace lnq {

class TDemoConnection;

class TDemoSignInDlg : public QDialog {
    Q_OBJECT
public:
    explicit TDemoSignInDlg(TDemoConnection& connection, QWidget* parent = nullptr);

    // Selects the user of that code in the list; false when it is not listed.
    bool SelectUser(const QString& code);
    QString SelectedUser() const;
    QTreeWidget* UserList() const { return m_users; }
    QLineEdit* PasswordEdit() const { return m_password; }
    QLabel* MessageLabel() const { return m_message; }

    void accept() override;

private:
    void loadUsers();

    TDemoConnection& m_connection;
    QTreeWidget* m_users = nullptr;
    QLineEdit* m_password = nullptr;
    QLabel* m_message = nullptr;
};

} // namespace lnq
