// SPDX-License-Identifier: Apache-2.0
#include "base/WideText.h"

#include <windows.h>

namespace morvane {

std::string ToUtf8(std::wstring_view text) {
    const auto convert = [text](char* target, int size) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), target,
                                   size, nullptr, nullptr);
    };
    std::string utf8(static_cast<std::size_t>(text.empty() ? 0 : convert(nullptr, 0)), '\0');
    convert(utf8.data(), static_cast<int>(utf8.size()));
    return utf8;
}

}  // namespace morvane
