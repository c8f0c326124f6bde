// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "base/Value.h"

namespace morvane {

// A value as bytes: what it is and, of a text or bytes, how long, and then what it holds. The same
// value gives the same bytes, and those of no value begin those of another. A text is shorter than
// 4 GB.
void AppendPacked(std::string& out, const Value& value);

// How many bytes the value takes that begins there.
std::size_t PackedSize(const char* value);

// The value of exactly these bytes; a text keeps the memory of one held before.
void Unpack(std::string_view bytes, Value& value);

}  // namespace morvane
