// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace morvane {

// The bytes of a binary value.
struct ByteString {
    std::string Bytes;

    bool operator==(const ByteString& other) const = default;
};

// One column value: NULL, an integer, a floating-point number, text or bytes. Dates, exact decimals
// and everything else that has no C++ counterpart travel as text in the server's own form.
class Value {
  public:
    Value() = default;
    explicit Value(std::int64_t number) : data_(number) {}
    explicit Value(double number) : data_(number) {}
    explicit Value(std::string text) : data_(std::move(text)) {}

    bool IsNull() const { return std::holds_alternative<std::monostate>(data_); }
    bool IsText() const { return std::holds_alternative<std::string>(data_); }
    bool IsBytes() const { return std::holds_alternative<ByteString>(data_); }

    // The default text form: NULL is empty, numbers are written without loss, bytes as "0x01AB".
    std::string Text() const;

    // As Text(), added to the end of `out`; spares a long read one string a value.
    void AppendTextTo(std::string& out) const;

    // The value as a whole number; text is parsed, a fraction of a number is cut off. Throws
    // std::invalid_argument when it is none.
    std::int64_t Integer() const;

    // True for every number but 0, and for the text "true" in any letter case. NULL and bytes are
    // false.
    bool Flag() const;

    void SetNull() { data_ = std::monostate(); }
    void SetInteger(std::int64_t number) { data_ = number; }
    void SetDouble(double number) { data_ = number; }
    // Keeps the memory of a text held before.
    void SetText(std::string_view text);

    void SetBytes(std::string_view bytes) { data_ = ByteString{std::string(bytes)}; }

    using Variant = std::variant<std::monostate, std::int64_t, double, std::string, ByteString>;
    const Variant& Data() const { return data_; }

    bool operator==(const Value& other) const = default;

  private:
    Variant data_;
};

}  // namespace morvane
