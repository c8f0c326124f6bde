// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef _WIN32
#include <windows.h>  // sql.h requires it
#endif
#include <sql.h>
#include <sqlext.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morvane::odbc {

// Owns an ODBC environment, connection or statement handle.
class OdbcHandle {
  public:
    OdbcHandle() = default;
    // Throws DatabaseError with the parent's diagnostics.
    OdbcHandle(SQLSMALLINT type, const OdbcHandle& parent);
    // An ODBC 3 environment.
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
    // Gives up a handle that was freed together with its parent.
    void Release() { handle_ = SQL_NULL_HANDLE; }

  private:
    void Swap(OdbcHandle& other) noexcept {
        std::swap(type_, other.type_);
        std::swap(handle_, other.handle_);
    }

    SQLSMALLINT type_ = 0;
    SQLHANDLE handle_ = SQL_NULL_HANDLE;
};

// The diagnostic records of a handle in order, each as the server's message without the
// "[vendor][driver]" prefix, followed by the SQLSTATE and the native code. Any other call on the
// handle discards them.
struct Diagnostics {
    std::vector<std::string> Descriptions;
    int Code = 0;  // the first native code other than 0
};
Diagnostics ReadDiagnostics(const OdbcHandle& handle);

// Throw DatabaseError, even if the driver returned no diagnostics.
[[noreturn]] void ThrowDescriptions(std::vector<std::string> descriptions,
                                    std::string_view statement, int code);
[[noreturn]] void ThrowDiagnostics(const OdbcHandle& handle, std::string_view statement);

// A text in the type of ODBC's input parameters, which are not const. The driver only reads it.
SQLCHAR* OdbcText(std::string_view text);

}  // namespace morvane::odbc
