#include "db/PackedRows.h"

#include <cstdint>
#include <cstring>

namespace morvane {

namespace {

// Before each value: what it is and, of a text, how long.
enum class Tag : char { Null, Integer, Double, Text };
using Length = std::uint32_t;
constexpr std::size_t kTextHead = 1 + sizeof(Length);

template <typename T>
void AppendRaw(std::string& out, T value) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    out.append(bytes, sizeof(T));
}

template <typename T>
T ReadRaw(const char* from) {
    T value{};
    std::memcpy(&value, from, sizeof(T));
    return value;
}

void AppendValue(std::string& out, const Value& value) {
    const auto& data = value.Data();
    if (const auto* integer = std::get_if<std::int64_t>(&data)) {
        out += static_cast<char>(Tag::Integer);
        AppendRaw(out, *integer);
    } else if (const auto* real = std::get_if<double>(&data)) {
        out += static_cast<char>(Tag::Double);
        AppendRaw(out, *real);
    } else if (const auto* text = std::get_if<std::string>(&data)) {
        out += static_cast<char>(Tag::Text);
        AppendRaw(out, static_cast<Length>(text->size()));
        out += *text;
    } else {
        out += static_cast<char>(Tag::Null);
    }
}

std::size_t SizeAt(const char* value) {
    switch (static_cast<Tag>(*value)) {
        case Tag::Integer:
            return 1 + sizeof(std::int64_t);
        case Tag::Double:
            return 1 + sizeof(double);
        case Tag::Text:
            return kTextHead + ReadRaw<Length>(value + 1);
        default:
            return 1;
    }
}

}  // namespace

void PackedRows::Append(const std::vector<Field>& row) {
    for (const Field& field : row) {
        AppendValue(bytes_, field.Value);
    }
    rowEnds_.push_back(bytes_.size());
}

std::string_view PackedRows::BytesAt(std::size_t row, std::size_t field) const {
    const char* value = bytes_.data() + (row == 0 ? 0 : rowEnds_.at(row - 1));
    for (; field > 0; --field) {
        value += SizeAt(value);
    }
    return {value, SizeAt(value)};
}

Value PackedRows::At(std::size_t row, std::size_t field) const {
    const std::string_view bytes = BytesAt(row, field);
    switch (static_cast<Tag>(bytes[0])) {
        case Tag::Integer:
            return Value(ReadRaw<std::int64_t>(bytes.data() + 1));
        case Tag::Double:
            return Value(ReadRaw<double>(bytes.data() + 1));
        case Tag::Text:
            return Value(std::string(bytes.substr(kTextHead)));
        default:
            return {};
    }
}

}  // namespace morvane
