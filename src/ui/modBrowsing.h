// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QWidget>
#include <functional>

namespace morvane {

class UserPrompt;
struct ServerSources;

// Lets the user pick a folder or a server. Each function opens a dialog over `owner` and returns
// the choice, or an empty text if the user cancels.
class Browsing {
  public:
    virtual ~Browsing() = default;

    virtual QString BrowseForFolder(QWidget* owner, const QString& title,
                                    const QString& startFolder) = 0;
    // `entered` is what the text box for the server contains.
    virtual QString BrowseForComputer(const QString& title, QWidget* owner,
                                      const QString& entered) = 0;
};

// Browsing with real dialogs: those of the shell on Windows; elsewhere Qt's file dialog and
// frmBrowseComputer.
class BrowsingDialogs : public Browsing {
  public:
    // `sources` is called for each search, since networks come and go.
    BrowsingDialogs(UserPrompt& prompt, std::function<ServerSources()> sources);

    QString BrowseForFolder(QWidget* owner, const QString& title,
                            const QString& startFolder) override;
    QString BrowseForComputer(const QString& title, QWidget* owner,
                              const QString& entered) override;

  private:
    UserPrompt& prompt_;
    std::function<ServerSources()> sources_;
};

}  // namespace morvane
