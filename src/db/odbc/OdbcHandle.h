// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "db/odbc/OdbcApi.h"

namespace morvane::odbc {

// An ODBC environment, connection or statement handle and its end.
class OdbcHandle {
  public:
    OdbcHandle() = default;
    // Throws DatabaseError with the parent's diagnostics.
    OdbcHandle(SQLSMALLINT type, const OdbcHandle& parent);
    // The environment, which has no parent; ODBC 3.
    static OdbcHandle Environment();

    OdbcHandle(OdbcHandle&& other) noexcept { Swap(other); }
    OdbcHandle& operator=(OdbcHandle&& other) noexcept {
        Swap(other);
        return *this;
    }
    OdbcHandle(const OdbcHandle&) = delete;
    OdbcHandle& operator=(const OdbcHandle&) = delete;
    ~OdbcHandle();

    SQLHANDLE Get() const { return handle_; }
    SQLSMALLINT Type() const { return type_; }
    // Forgets a handle that the end of its parent has freed.
    void Release() { handle_ = SQL_NULL_HANDLE; }

  private:
    void Swap(OdbcHandle& other) noexcept {
        std::swap(type_, other.type_);
        std::swap(handle_, other.handle_);
    }

    SQLSMALLINT type_ = 0;
    SQLHANDLE handle_ = SQL_NULL_HANDLE;
};

// Every diagnostic record of a handle, in order: the server's words without the "[driver]" parts
// before them, and the SQLSTATE and native code after them. To be read before any other call on
// the handle.
struct Diagnostics {
    std::vector<std::string> Descriptions;
    int Code = 0;  // the first native one that is not 0
};
Diagnostics ReadDiagnostics(const OdbcHandle& handle);

// Throws even when the driver returned no diagnostics.
[[noreturn]] void ThrowDescriptions(std::vector<std::string> descriptions,
                                    std::string_view statement, int code);
[[noreturn]] void ThrowDiagnostics(const OdbcHandle& handle, std::string_view statement);

// Throws unless the call succeeded; "no data" is a success.
void Check(SQLRETURN result, const OdbcHandle& handle, std::string_view statement = {});

// A text as the driver manager takes it; it only reads it.
SQLCHAR* OdbcText(std::string_view text);

}  // namespace morvane::odbc
