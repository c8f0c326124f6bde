#include "core/RowSpool.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "core/Platform.h"
#include "core/modFileFunctions.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferLimit = 1 << 20;

enum class Tag : char { Null, Integer, Double, Text };

template <typename T>
void AppendRaw(std::string& out, T value) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    out.append(bytes, sizeof(T));
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
        AppendRaw(out, text->size());
        out += *text;
    } else {
        out += static_cast<char>(Tag::Null);
    }
}

[[noreturn]] void ThrowSpoolError(const char* action) {
    throw FileError(std::string("Cannot ") + action +
                    " a temporary file: " + std::generic_category().message(errno));
}

}  // namespace

void RowSpool::Append(const std::vector<Value>& row) {
    AppendRaw(buffer_, row.size());
    for (const Value& value : row) {
        AppendValue(buffer_, value);
    }
    ++rowsWritten_;
    if (buffer_.size() > kBufferLimit) {
        SpillBuffer();
    }
}

void RowSpool::SpillBuffer() {
    if (file_ == nullptr) {
        file_.reset(OpenTemporaryFile());
    }
    if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get()) != buffer_.size()) {
        ThrowSpoolError("write");
    }
    buffer_.clear();
}

bool RowSpool::Next(std::vector<Value>& row) {
    if (rowsRead_ == rowsWritten_) {
        return false;
    }
    if (rowsRead_ == 0 && file_ != nullptr) {
        SpillBuffer();
        if (std::fflush(file_.get()) != 0) {
            ThrowSpoolError("write");
        }
        std::rewind(file_.get());
    }
    ++rowsRead_;
    const auto read = [this](auto& value) {
        ReadBytes(reinterpret_cast<char*>(&value), sizeof(value));
    };
    std::size_t count = 0;
    read(count);
    row.resize(count);
    for (Value& value : row) {
        Tag tag{};
        read(tag);
        if (tag == Tag::Integer) {
            std::int64_t integer = 0;
            read(integer);
            value.SetInteger(integer);
        } else if (tag == Tag::Double) {
            double real = 0;
            read(real);
            value.SetDouble(real);
        } else if (tag == Tag::Text) {
            std::size_t length = 0;
            read(length);
            std::string text(length, '\0');
            ReadBytes(text.data(), length);
            value.SetText(text);
        } else {
            value.SetNull();
        }
    }
    return true;
}

void RowSpool::ReadBytes(char* target, std::size_t count) {
    if (count == 0) {
        return;
    }
    if (file_ == nullptr) {
        std::memcpy(target, buffer_.data() + readPosition_, count);
        readPosition_ += count;
    } else if (std::fread(target, 1, count, file_.get()) != count) {
        ThrowSpoolError("read");
    }
}

}  // namespace morvane
