// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QWidget>

#include "core/RunSettings.h"
#include "ui/Controls.h"

namespace morvane {

// The texts that differ between the windows.
struct ConnectionCaptions {
    const char* Server;
    const char* ServerTip;
    const char* BrowseTip;
    const char* SecureLogin;
    const char* SQLLogin;
    const char* Password;
    const char* Database;
};

// A server, the login, and one of its databases: the controls txtServer, cmdServer, optSecureLogin,
// optSQLLogin, txtSQLUsername, txtSQLPassword, cboDB and cmdDBRefresh. The window reacts to changes
// and fills the list of databases.
class ConnectionFields : public QWidget {
    Q_OBJECT

  public:
    ConnectionFields(const ConnectionCaptions& captions, QWidget* parent);

    ServerLogin Login() const;
    void SetLogin(const ServerLogin& login);
    void SetServer(const QString& server);
    // Disables integrated security and chooses the SQL login.
    void RuleOutSecureLogin();

    std::string Database() const;
    // Makes this database the only one in the list and chooses it. With an empty name the list is
    // empty.
    void SetDatabase(const std::string& name);
    void ClearDatabases();
    // Fills the list with a server's databases and chooses `remembered` if it is among them.
    void SetDatabases(const std::vector<std::string>& names, const std::string& remembered);

  signals:
    // The user has changed the server, the kind of login, or the user name or password. The list of
    // databases may be out of date.
    void ServerChanged();
    void LoginKindChanged();
    void CredentialsChanged();
    void BrowseAsked();
    // The Refresh button was pressed, or the list is about to open.
    void RefreshAsked();
    void DatabaseChosen();

  private:
    QWidget* MakeAuthentication(const ConnectionCaptions& captions);
    void ApplyLoginKind(bool secure);

    QLineEdit* txtServer_ = nullptr;
    QPushButton* cmdServer_ = nullptr;
    QRadioButton* optSecureLogin_ = nullptr;
    QRadioButton* optSQLLogin_ = nullptr;
    QLabel* lblSQLUsername_ = nullptr;
    QLineEdit* txtSQLUsername_ = nullptr;
    QLabel* lblSQLPassword_ = nullptr;
    QLineEdit* txtSQLPassword_ = nullptr;
    DropDownList* cboDB_ = nullptr;
    QPushButton* cmdDBRefresh_ = nullptr;
};

}  // namespace morvane
