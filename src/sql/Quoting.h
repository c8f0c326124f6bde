// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// The text between two delimiters, with the closing one doubled inside it.
std::string Quoted(std::string_view text, char opening, char closing);

// In double quotes, a quote in it doubled.
std::string QuotedName(std::string_view name);

// The same in single quotes: a text literal.
std::string QuotedText(std::string_view text);
// As an N'...' literal.
std::string WideLiteral(std::string_view text);

// The contents of a text literal or quoted name, whatever its quotes: "[a]]b]" is "a]b".
std::string Unquoted(std::string_view quoted);

// A name in the form a statement accepts: in brackets unless it is a plain identifier and no
// keyword.
std::string SqlName(std::string_view name);

}  // namespace morvane
