// SPDX-License-Identifier: Apache-2.0
#include "inspect/Answer.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/Text.h"
#include "run/Console.h"

namespace morvane {

namespace {

using Json = nlohmann::ordered_json;

Json ToJson(const Cell& cell) {
    return std::visit(
        [](const auto& value) -> Json {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>) {
                return nullptr;
            } else {
                return value;
            }
        },
        cell);
}

std::string ToText(const Cell& cell) {
    if (const auto* text = std::get_if<std::string>(&cell)) {
        return ToVisible(*text, "");
    }
    if (const auto* flag = std::get_if<bool>(&cell)) {
        return *flag ? "yes" : "no";
    }
    if (const auto* number = std::get_if<std::int64_t>(&cell)) {
        return std::to_string(*number);
    }
    return {};
}

std::string Dump(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

void WriteJson(const Answer& answer, std::ostream& out) {
    Json json;
    for (const auto& [name, value] : answer.Facts) {
        json[std::string(name)] = ToJson(value);
    }
    json["rows"] = Json::array();
    for (const auto& row : answer.Rows) {
        Json object = Json::object();
        for (std::size_t i = 0; i < row.size(); ++i) {
            object[std::string(answer.Columns[i].Name)] = ToJson(row[i]);
        }
        json["rows"].push_back(std::move(object));
    }
    json["notes"] = answer.Notes;
    out << Dump(json, 2) << '\n';
}

std::string CsvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + '"';
}

std::string CsvText(const Cell& cell) {
    const auto* text = std::get_if<std::string>(&cell);
    return text != nullptr ? CsvField(*text) : ToText(cell);
}

void WriteCsv(const Answer& answer, std::ostream& out) {
    std::vector<std::string> fields;
    const auto writeLine = [&] {
        out << Join(fields, ",") << kCrLf;
        fields.clear();
    };
    for (const Answer::Column& column : answer.Columns) {
        fields.push_back(CsvField(column.Name));
    }
    // The facts of an answer without a table become its only row.
    if (answer.Columns.empty()) {
        for (const auto& [name, value] : answer.Facts) {
            fields.push_back(CsvField(name));
        }
        writeLine();
        for (const auto& [name, value] : answer.Facts) {
            fields.push_back(CsvText(value));
        }
    }
    writeLine();
    for (const auto& row : answer.Rows) {
        for (const Cell& cell : row) {
            fields.push_back(CsvText(cell));
        }
        writeLine();
    }
}

std::size_t Characters(std::string_view utf8) {
    return static_cast<std::size_t>(std::ranges::count_if(
        utf8, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string Padded(const std::string& text, std::size_t width, bool right) {
    const std::string blanks(width - std::min(width, Characters(text)), ' ');
    return right ? blanks + text : text + blanks;
}

// Writes the columns that have a value in some row, numbers aligned right.
void WriteTable(const Answer& answer, std::ostream& out) {
    struct Shown {
        std::size_t Index;
        std::size_t Width;
        bool Number;
    };
    std::vector<Shown> columns;
    for (std::size_t i = 0; i < answer.Columns.size(); ++i) {
        std::size_t width = 0;
        bool number = false;
        for (const auto& row : answer.Rows) {
            width = std::max(width, Characters(ToText(row[i])));
            number = number || std::holds_alternative<std::int64_t>(row[i]);
        }
        if (width > 0) {
            columns.push_back({i, std::max(width, answer.Columns[i].Heading.size()), number});
        }
    }
    const auto writeLine = [&](const auto& textOf) {
        std::string line;
        for (const Shown& column : columns) {
            line += (line.empty() ? "" : "  ") +
                    Padded(textOf(column.Index), column.Width, column.Number);
        }
        out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
    };
    writeLine([&](std::size_t i) { return std::string(answer.Columns[i].Heading); });
    for (const auto& row : answer.Rows) {
        writeLine([&](std::size_t i) { return ToText(row[i]); });
    }
}

std::string Heading(std::string_view name) {
    std::string text(name);
    std::ranges::replace(text, '_', ' ');
    return text;
}

void WriteText(const Answer& answer, std::ostream& out) {
    std::size_t width = 0;
    for (const auto& [name, value] : answer.Facts) {
        width = std::max(width, name.size());
    }
    for (const auto& [name, value] : answer.Facts) {
        if (const std::string text = ToText(value); !text.empty()) {
            out << Padded(Heading(name) + ":", width + 2, false) << text << '\n';
        }
    }
    if (!answer.Rows.empty()) {
        out << (answer.Facts.empty() ? "" : "\n");
        WriteTable(answer, out);
    }
    for (const std::string& note : answer.Notes) {
        out << '\n' << ToVisible(note, "\n") << '\n';
    }
}

}  // namespace

void WriteAnswer(const Answer& answer, Format format, std::ostream& out) {
    switch (format) {
        case Format::Text:
            WriteText(answer, out);
            break;
        case Format::Json:
            WriteJson(answer, out);
            break;
        case Format::Csv:
            WriteCsv(answer, out);
            break;
    }
}

}  // namespace morvane
