// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QWidget>

namespace morvane {

// Picking a folder or a server instead of typing it. Each opens a dialog over `owner` and returns
// the choice, or an empty text when the user cancels.
class Browsing {
  public:
    virtual ~Browsing() = default;

    virtual QString BrowseForFolder(QWidget* owner, const QString& title,
                                    const QString& startFolder) = 0;
    virtual QString BrowseForComputer(const QString& title, QWidget* owner) = 0;
};

}  // namespace morvane
