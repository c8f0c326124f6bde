// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// A text of Windows as the program has its texts. Half a surrogate pair becomes the replacement
// character. Windows only.
std::string ToUtf8(std::wstring_view text);

}  // namespace morvane
