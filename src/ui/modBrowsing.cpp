// SPDX-License-Identifier: Apache-2.0
#include "ui/modBrowsing.h"

#include <utility>

#include "db/embedded/EmbeddedConnection.h"
#include "ui/Controls.h"
#include "ui/ScrollPanel.h"
#include "ui/frmBrowseComputer.h"

#ifdef _WIN32
#include <QByteArray>
#include <QDir>
#include <array>
#include <memory>
#include <string>

// These come last because of the macros they define.
#include <windows.h>

#include <shlobj.h>
#else
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QIdentityProxyModel>
#include <QSettings>
#include <exception>
#endif

namespace morvane {

BrowsingDialogs::BrowsingDialogs(UserPrompt& prompt, std::function<ServerSources()> sources)
    : prompt_(prompt), sources_(std::move(sources)) {}

#ifdef _WIN32

namespace {

struct FreeItem {
    void operator()(ITEMIDLIST* item) const { CoTaskMemFree(item); }
};
using ItemIdentifiers = std::unique_ptr<ITEMIDLIST, FreeItem>;

HWND WindowOf(const QWidget* owner) {
    return owner == nullptr ? nullptr : reinterpret_cast<HWND>(owner->window()->winId());
}

// `data` is the start folder, in the system's code page.
int CALLBACK BrowseCallback(HWND window, UINT message, LPARAM parameter, LPARAM data) {
    if (message == BFFM_INITIALIZED) {
        SendMessageA(window, BFFM_SETSELECTIONA, TRUE, data);
    } else if (message == BFFM_SELCHANGED) {
        std::array<char, MAX_PATH> path{};
        if (SHGetPathFromIDListA(reinterpret_cast<PCIDLIST_ABSOLUTE>(parameter), path.data())) {
            SendMessageA(window, BFFM_SETSTATUSTEXTA, 0, reinterpret_cast<LPARAM>(path.data()));
        }
    }
    return 0;
}

}  // namespace

QString BrowsingDialogs::BrowseForFolder(QWidget* owner, const QString& title,
                                         const QString& startFolder) {
    const std::wstring shownTitle = title.toStdWString();
    const QByteArray start = QDir::toNativeSeparators(startFolder).toLocal8Bit();
    BROWSEINFOW browse{};
    browse.hwndOwner = WindowOf(owner);
    browse.lpszTitle = shownTitle.c_str();
    browse.ulFlags = BIF_RETURNONLYFSDIRS | BIF_DONTGOBELOWDOMAIN | BIF_STATUSTEXT;
    browse.lpfn = BrowseCallback;
    browse.lParam = reinterpret_cast<LPARAM>(start.constData());
    const ItemIdentifiers item(SHBrowseForFolderW(&browse));
    std::array<wchar_t, MAX_PATH> path{};
    if (!item || !SHGetPathFromIDListW(item.get(), path.data())) {
        return {};
    }
    return QString::fromWCharArray(path.data());
}

QString BrowsingDialogs::BrowseForComputer(const QString& title, QWidget* owner, const QString&) {
    ITEMIDLIST* network = nullptr;
    if (FAILED(SHGetSpecialFolderLocation(nullptr, CSIDL_NETWORK, &network))) {
        network = nullptr;
    }
    const ItemIdentifiers root(network);
    const QByteArray shownTitle = title.toLocal8Bit();
    std::array<char, MAX_PATH> name{};
    BROWSEINFOA browse{};
    browse.hwndOwner = WindowOf(owner);
    browse.pidlRoot = root.get();
    browse.pszDisplayName = name.data();
    browse.lpszTitle = shownTitle.constData();
    browse.ulFlags = BIF_BROWSEFORCOMPUTER;
    const ItemIdentifiers item(SHBrowseForFolderA(&browse));
    return item ? QString::fromLocal8Bit(name.data()) : QString();
}

#else

namespace {

// Qt's file dialog saves its history in a settings file shared by all Qt programs of the user, and
// has no option to turn that off. While this object exists, that file is redirected to a folder
// that cannot be created.
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
            // A destructor must not throw, and this program saves no settings there.
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

// The folder, or its nearest existing parent.
QString NearestFolder(const QString& folder) {
    QString path = QDir::cleanPath(folder);
    while (QDir::isAbsolutePath(path) && !QFileInfo(path).isDir() && path != QDir::rootPath()) {
        path = QFileInfo(path).path();
    }
    return QDir::isAbsolutePath(path) ? path : QDir::homePath();
}

// Greys out the files. A selected file would disable the dialog's button.
class OnlyFoldersEnabled : public QIdentityProxyModel {
  public:
    using QIdentityProxyModel::QIdentityProxyModel;

    Qt::ItemFlags flags(const QModelIndex& index) const override {
        const auto* files = qobject_cast<const QFileSystemModel*>(sourceModel());
        const Qt::ItemFlags all = QIdentityProxyModel::flags(index);
        return files == nullptr || files->isDir(mapToSource(index))
                   ? all
                   : all & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    }
};

// Asks for a folder. Shows the files that match `files`, which may be empty, as well.
QString ChooseFolder(QWidget* owner, const QString& title, const QString& startFolder,
                     const QString& files = {}) {
    const NoSavedSettings noHistory;
    QFileDialog dialog(owner, title, NearestFolder(startFolder), files);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly, files.isEmpty());
    dialog.setProxyModel(new OnlyFoldersEnabled(&dialog));
    ResizeOnScreen(dialog, dialog.sizeHint());
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return {};
    }
    return QDir::toNativeSeparators(dialog.selectedFiles().constFirst());
}

// The folder of an embedded warehouse, or an empty text for another server.
QString EmbeddedFolder(const QString& server) {
    const std::string name = ToText(server);
    return IsEmbeddedServer(name) ? ToQString(name.substr(kEmbeddedPrefix.size())) : QString();
}

}  // namespace

QString BrowsingDialogs::BrowseForFolder(QWidget* owner, const QString& title,
                                         const QString& startFolder) {
    return ChooseFolder(owner, title, startFolder);
}

QString BrowsingDialogs::BrowseForComputer(const QString& title, QWidget* owner,
                                           const QString& entered) {
    const auto chooseFolder = [&](QWidget* over) {
        return ChooseFolder(over, "Select the folder of an embedded warehouse",
                            EmbeddedFolder(entered), "Databases (*.db)");
    };
    frmBrowseComputer dialog(prompt_, title, sources_(), chooseFolder, owner);
    return dialog.exec() == QDialog::Accepted ? dialog.Chosen() : QString();
}

#endif

}  // namespace morvane
