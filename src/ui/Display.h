#pragma once

#include <string_view>

namespace morvane {

// Why no window can be shown, as a sentence for the user; empty when windows can be shown.
std::string_view ObstacleToWindows();

}  // namespace morvane
