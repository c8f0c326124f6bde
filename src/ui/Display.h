// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace morvane {

// Why no window can be shown, as a sentence for the user; empty when windows can be shown.
std::string_view ObstacleToWindows();

// Closes the console that Windows opened for this process alone, as it does for a program started
// from its desktop. One that others use too stays.
void CloseOwnConsole();

}  // namespace morvane
