// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace morvane {

// Called before each step that may take long, and with an empty text after the last one. May throw
// before a step, to end the work.
using StepReport = std::function<void(const std::string& step)>;

}  // namespace morvane
