// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "ui/frmBrowseComputer.h"
#include "ui/modBrowsing.h"

namespace morvane {

// Browsing with the platform's own dialogs. Where a platform has none for servers, a list of those
// that can be found.
class BrowsingDialogs : public Browsing {
  public:
    explicit BrowsingDialogs(std::function<ServerSources()> sources = SourcesOfThisMachine);

    QString BrowseForFolder(QWidget* owner, const QString& title,
                            const QString& startFolder) override;
    QString BrowseForComputer(const QString& title, QWidget* owner) override;

  private:
    std::function<ServerSources()> sources_;  // asked each time: networks come and go
};

}  // namespace morvane
