// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// A statement as it may be shown: what an OPENROWSET holds behind the server's name, the login with
// its password, is "***", and so is the text that a column SQLPassword is set to.
std::string MaskPasswords(std::string_view sql);

}  // namespace morvane
