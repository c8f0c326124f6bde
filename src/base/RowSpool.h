// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "base/Value.h"

namespace morvane {

// Rows that are written first and then read once, in the same order. They wait in memory up to a
// fixed size and beyond it in an unnamed temporary file, so that memory does not grow with their
// number. Throws FileError when the disk is full.
class RowSpool {
  public:
    void Append(const std::vector<Value>& row);
    std::size_t Count() const { return rowsWritten_; }

    // The next row; false after the last. No Append after the first Next.
    bool Next(std::vector<Value>& row);

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void SpillBuffer();
    void ReadBytes(char* target, std::size_t count);

    std::string packed_;  // one row
    std::string buffer_;
    std::size_t readPosition_ = 0;
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::size_t rowsWritten_ = 0;
    std::size_t rowsRead_ = 0;
};

}  // namespace morvane
