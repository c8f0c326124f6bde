// SPDX-License-Identifier: Apache-2.0
#include "base/RowSpool.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "base/Platform.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferLimit = 1 << 20;

// Precedes each packed row.
struct RowHead {
    std::size_t Values;
    std::size_t Bytes;
};

[[noreturn]] void ThrowSpoolError(const char* action) {
    throw FileError(std::string("Cannot ") + action +
                    " a temporary file: " + std::generic_category().message(errno));
}

}  // namespace

void RowSpool::Append(const std::vector<Value>& row) {
    packed_.clear();
    for (const Value& value : row) {
        AppendPacked(packed_, value);
    }
    const RowHead head{row.size(), packed_.size()};
    buffer_.append(reinterpret_cast<const char*>(&head), sizeof(head));
    buffer_ += packed_;
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
    RowHead head{};
    ReadBytes(reinterpret_cast<char*>(&head), sizeof(head));
    packed_.resize(head.Bytes);
    ReadBytes(packed_.data(), head.Bytes);
    row.resize(head.Values);
    const char* next = packed_.data();
    for (Value& value : row) {
        const std::size_t size = PackedSize(next);
        Unpack({next, size}, value);
        next += size;
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
