// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStringList>
#include <QWidget>

#include "core/UserPrompt.h"
#include "db/ListDatabases.h"
#include "ui/Controls.h"

namespace morvane {

// The texts in which the windows that ask for a server differ.
struct ConnectionCaptions {
    const char* Server;
    const char* ServerTip;
    const char* BrowseTip;
    const char* SecureLogin;
    const char* SQLLogin;
    const char* Password;
    const char* Database;
};

// A server, the login there, and one of its databases: the controls txtServer, cmdServer,
// optSecureLogin, optSQLLogin, txtSQLUsername, txtSQLPassword, cboDB and cmdDBRefresh. It fills its
// list of databases; what a change means for the rest of a window is the window's matter.
class ConnectionFields : public QWidget {
    Q_OBJECT

  public:
    ConnectionFields(const ConnectionCaptions& captions, QWidget* parent);

    ServerLogin Login() const;
    void SetLogin(const ServerLogin& login);
    void SetServer(const QString& server);
    // Integrated security can be ruled out: then the SQL login is chosen.
    void RuleOutSecureLogin();

    std::string Database() const;
    // The only database of the list, chosen; none when the name is empty.
    void SetDatabase(const std::string& name);
    void ClearDatabases();
    // Puts a server's databases into the list; one with the name `remembered` is chosen, else none.
    void SetDatabases(const std::vector<std::string>& names, const std::string& remembered);

  signals:
    // The server, the kind of login, or (CredentialsChanged) the name or password was edited: what
    // was known about the server does not hold any more.
    void ServerChanged();
    void LoginKindChanged();
    void CredentialsChanged();
    void BrowseAsked();
    // The button was pressed, or the list is about to open.
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
