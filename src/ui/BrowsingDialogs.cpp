// SPDX-License-Identifier: Apache-2.0
#include "ui/BrowsingDialogs.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QSettings>
#include <exception>
#include <utility>

namespace morvane {

BrowsingDialogs::BrowsingDialogs(std::function<ServerSources()> sources)
    : sources_(std::move(sources)) {}

#ifndef _WIN32

namespace {

// Qt's file dialog saves the folders it has shown for every Qt program of the user, in a settings
// file, and cannot be told not to. For as long as this lives, the folder of such files is one that
// can never be made.
class NoSavedSettings {
  public:
    NoSavedSettings()
        : former_(QFileInfo(QSettings(QSettings::UserScope, "QtProject").fileName()).path()) {
        UseFolder("/dev/null");
    }
    ~NoSavedSettings() {
        try {
            UseFolder(former_);
        } catch (const std::exception&) {
            // Nothing of this program's is saved there anyway.
        }
    }
    NoSavedSettings(const NoSavedSettings&) = delete;
    NoSavedSettings& operator=(const NoSavedSettings&) = delete;

  private:
    static void UseFolder(const QString& folder) {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder);
    }

    QString former_;
};

// The folder, or what is left of the way to it.
QString NearestFolder(const QString& folder) {
    QString path = QDir::cleanPath(folder);
    while (QDir::isAbsolutePath(path) && !QFileInfo(path).isDir() && path != QDir::rootPath()) {
        path = QFileInfo(path).path();
    }
    return QDir::isAbsolutePath(path) ? path : QDir::homePath();
}

}  // namespace

QString BrowsingDialogs::BrowseForFolder(QWidget* owner, const QString& title,
                                         const QString& startFolder) {
    const NoSavedSettings noHistory;
    QFileDialog dialog(owner, title, NearestFolder(startFolder));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return {};
    }
    return QDir::toNativeSeparators(dialog.selectedFiles().constFirst());
}

QString BrowsingDialogs::BrowseForComputer(const QString& title, QWidget* owner) {
    const auto chooseFolder = [this](QWidget* over) {
        return BrowseForFolder(over, "Select the folder of an embedded warehouse",
                               QDir::homePath());
    };
    frmBrowseComputer dialog(title, sources_(), chooseFolder, owner);
    return dialog.exec() == QDialog::Accepted ? dialog.Chosen() : QString();
}

#endif

}  // namespace morvane
