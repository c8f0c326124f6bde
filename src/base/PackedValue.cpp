// SPDX-License-Identifier: Apache-2.0
#include "base/PackedValue.h"

#include <cstdint>
#include <cstring>

namespace morvane {

namespace {

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
