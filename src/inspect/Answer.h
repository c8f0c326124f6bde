// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace morvane {

// A value in an answer: none, a number, yes or no, or text.
using Cell = std::variant<std::monostate, std::int64_t, bool, std::string>;

// The answer of a subcommand: named facts, a table, and notes for the reader.
struct Answer {
    // A column of the table: its name in JSON and CSV, and its heading in text.
    struct Column {
        std::string_view Name;
        std::string_view Heading;
    };

    std::vector<std::pair<std::string_view, Cell>> Facts = {};
    std::vector<Column> Columns = {};
    std::vector<std::vector<Cell>> Rows = {};  // with one cell per column
    std::vector<std::string> Notes = {};
    bool Found = false;  // decides the exit code
};

enum class Format { Text, Json, Csv };

// Writes an answer: as text for a terminal, as one JSON object (RFC 8259), or the table alone as
// CSV with a header line (RFC 4180).
void WriteAnswer(const Answer& answer, Format format, std::ostream& out);

}  // namespace morvane
