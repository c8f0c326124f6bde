// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "base/Value.h"
#include "base/modFileFunctions.h"

namespace morvane {

// A FIFO of rows: all are written first, then read once. Rows beyond a fixed memory limit go to an
// unnamed temporary file. Throws FileError if the disk is full.
class RowSpool {
  public:
    void Append(const std::vector<Value>& row);
    std::size_t Count() const { return rowsWritten_; }

    // Reads the next row; false after the last. No Append() after the first Next().
    bool Next(std::vector<Value>& row);

  private:
    void SpillBuffer();
    void ReadBytes(char* target, std::size_t count);

    std::string packed_;  // one row
    std::string buffer_;
    std::size_t readPosition_ = 0;
    FileHandle file_;
    std::size_t rowsWritten_ = 0;
    std::size_t rowsRead_ = 0;
};

}  // namespace morvane
