// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "core/DatabaseError.h"

namespace morvane {

// Replaces the login of an OPENROWSET, and the password that a settings row receives, by "***".
MaskedSql MaskPasswords(std::string_view sql);

}  // namespace morvane
