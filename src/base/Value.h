// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace morvane {

struct ByteString {
    std::string Bytes;

    bool operator==(const ByteString& other) const = default;
};

// One column value: NULL, an integer, a floating-point number, text or bytes. Dates, exact decimals
// and other types without a C++ counterpart are text in the server's format.
class Value {
  public:
    Value() = default;
    explicit Value(std::int64_t number) : data_(number) {}
    explicit Value(double number) : data_(number) {}
    explicit Value(std::string text) : data_(std::move(text)) {}

    bool IsNull() const { return std::holds_alternative<std::monostate>(data_); }
    bool IsText() const { return std::holds_alternative<std::string>(data_); }
    bool IsBytes() const { return std::holds_alternative<ByteString>(data_); }

    // The value as text: NULL is empty, numbers round-trip, bytes are "0x01AB".
    std::string Text() const;

    // Appends Text() to `out` without a temporary string.
    void AppendTextTo(std::string& out) const;

    // The value as an integer: text is parsed, a floating-point number truncated. Throws
    // std::invalid_argument if it is not a number.
    std::int64_t Integer() const;

    // True for a number other than 0 and for the text "true", ignoring case. NULL and bytes are
    // false.
    bool Flag() const;

    void SetNull() { data_ = std::monostate(); }
    void SetInteger(std::int64_t number) { data_ = number; }
    void SetDouble(double number) { data_ = number; }
    // Reuses the memory of the previous text.
    void SetText(std::string_view text);
    void SetBytes(std::string_view bytes) { data_ = ByteString{std::string(bytes)}; }

    using Variant = std::variant<std::monostate, std::int64_t, double, std::string, ByteString>;
    const Variant& Data() const { return data_; }

    bool operator==(const Value& other) const = default;

  private:
    Variant data_;
};

// Appends the value in its packed form: a type tag, the length of text or bytes, and the content.
// Equal values have equal packed forms, and no packed form is a prefix of another. A text must be
// shorter than 4 GB.
void AppendPacked(std::string& out, const Value& value);

// The size in bytes of the packed value that starts at `value`.
std::size_t PackedSize(const char* value);

// Reads a value from exactly its packed bytes; reuses the memory of a previous text.
void Unpack(std::string_view bytes, Value& value);

}  // namespace morvane
