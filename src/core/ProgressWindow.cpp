// SPDX-License-Identifier: Apache-2.0
#include "core/ProgressWindow.h"

#include <algorithm>

namespace morvane {

std::string RemUnderscore(std::string_view strCaption) {
    std::string plain(strCaption);
    plain.erase(std::remove(plain.begin(), plain.end(), '&'), plain.end());
    return plain;
}

}  // namespace morvane
