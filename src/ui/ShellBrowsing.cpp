// SPDX-License-Identifier: Apache-2.0
// The browse dialogs of the Windows shell.
#include "ui/BrowsingDialogs.h"

#ifdef _WIN32

#include <QByteArray>
#include <QDir>
#include <array>
#include <memory>
#include <string>

// last, for the macros that it defines
#include <windows.h>

#include <shlobj.h>

namespace morvane {

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

QString BrowsingDialogs::BrowseForComputer(const QString& title, QWidget* owner) {
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

}  // namespace morvane

#endif
