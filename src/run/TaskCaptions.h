// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

namespace morvane {

// The captions of the task check boxes chkOptions(0) to chkOptions(5), access keys included.
inline constexpr std::array<std::string_view, 6> kTaskCaptions{
    "C&heck Meta Data",
    "Archi&ve Fact Table Elements",
    "Detect And &Mark Unused Dimension Elements",
    "&Generate Reports of Marked Unused Dimension Elements",
    "D&elete Marked Unused Dimension Elements",
    "Ato&mic Deletion",
};

}  // namespace morvane
