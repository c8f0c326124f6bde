// SPDX-License-Identifier: Apache-2.0
#include "base/Value.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "base/Text.h"

namespace morvane {

namespace {

std::int64_t ParseInteger(const std::string& text) {
    const std::string_view digits = Trim(text);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        throw std::invalid_argument("\"" + text + "\" is not a whole number");
    }
    return number;
}

// Converting a number that the integer cannot hold is undefined behaviour.
std::int64_t WholePart(double number) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (!(number >= -kTwoTo63 && number < kTwoTo63)) {
        throw std::invalid_argument(fmt::format("{} is too large for a whole number", number));
    }
    return static_cast<std::int64_t>(number);
}

bool ParseFlag(const std::string& text) {
    const std::string_view word = Trim(text);
    if (EqualsIgnoreCase(word, "true")) {
        return true;
    }
    double number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() && number != 0;
}

enum class Tag : char { Null, Integer, Double, Text, Bytes };
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

void AppendSized(std::string& out, Tag tag, const std::string& bytes) {
    out += static_cast<char>(tag);
    AppendRaw(out, static_cast<Length>(bytes.size()));
    out += bytes;
}

}  // namespace

std::string Value::Text() const {
    std::string out;
    AppendTextTo(out);
    return out;
}

void Value::AppendTextTo(std::string& out) const {
    if (const auto* text = std::get_if<std::string>(&data_)) {
        out += *text;
    } else if (const auto* integer = std::get_if<std::int64_t>(&data_)) {
        const fmt::format_int digits(*integer);
        out.append(digits.data(), digits.size());
    } else if (const auto* real = std::get_if<double>(&data_)) {
        fmt::format_to(std::back_inserter(out), "{}", *real);
    } else if (const auto* bytes = std::get_if<ByteString>(&data_)) {
        out += "0x";
        for (const char byte : bytes->Bytes) {
            fmt::format_to(std::back_inserter(out), "{:02X}", static_cast<unsigned char>(byte));
        }
    }
}

std::int64_t Value::Integer() const {
    if (const auto* integer = std::get_if<std::int64_t>(&data_)) {
        return *integer;
    }
    if (const auto* real = std::get_if<double>(&data_)) {
        return WholePart(*real);
    }
    if (const auto* text = std::get_if<std::string>(&data_)) {
        return ParseInteger(*text);
    }
    throw std::invalid_argument((IsNull() ? "NULL" : Text()) + " is not a whole number");
}

bool Value::Flag() const {
    if (const auto* integer = std::get_if<std::int64_t>(&data_)) {
        return *integer != 0;
    }
    if (const auto* real = std::get_if<double>(&data_)) {
        return *real != 0;
    }
    if (const auto* text = std::get_if<std::string>(&data_)) {
        return ParseFlag(*text);
    }
    return false;
}

void Value::SetText(std::string_view text) {
    if (auto* held = std::get_if<std::string>(&data_)) {
        held->assign(text);
    } else {
        data_.emplace<std::string>(text);
    }
}

void AppendPacked(std::string& out, const Value& value) {
    const auto& data = value.Data();
    if (const auto* integer = std::get_if<std::int64_t>(&data)) {
        out += static_cast<char>(Tag::Integer);
        AppendRaw(out, *integer);
    } else if (const auto* real = std::get_if<double>(&data)) {
        out += static_cast<char>(Tag::Double);
        AppendRaw(out, *real);
    } else if (const auto* text = std::get_if<std::string>(&data)) {
        AppendSized(out, Tag::Text, *text);
    } else if (const auto* bytes = std::get_if<ByteString>(&data)) {
        AppendSized(out, Tag::Bytes, bytes->Bytes);
    } else {
        out += static_cast<char>(Tag::Null);
    }
}

std::size_t PackedSize(const char* value) {
    switch (static_cast<Tag>(*value)) {
        case Tag::Integer:
            return 1 + sizeof(std::int64_t);
        case Tag::Double:
            return 1 + sizeof(double);
        case Tag::Text:
        case Tag::Bytes:
            return kTextHead + ReadRaw<Length>(value + 1);
        default:
            return 1;
    }
}

void Unpack(std::string_view bytes, Value& value) {
    switch (static_cast<Tag>(bytes[0])) {
        case Tag::Integer:
            value.SetInteger(ReadRaw<std::int64_t>(bytes.data() + 1));
            break;
        case Tag::Double:
            value.SetDouble(ReadRaw<double>(bytes.data() + 1));
            break;
        case Tag::Text:
            value.SetText(bytes.substr(kTextHead));
            break;
        case Tag::Bytes:
            value.SetBytes(bytes.substr(kTextHead));
            break;
        default:
            value.SetNull();
            break;
    }
}

}  // namespace morvane
