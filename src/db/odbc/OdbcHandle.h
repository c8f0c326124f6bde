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
std::vector<std::string> ReadDiagnostics(const OdbcHandle& handle);

// Throws them as a DatabaseError; a driver without a word still makes an error.
[[noreturn]] void ThrowDiagnostics(const OdbcHandle& handle, std::string_view statement);

// Throws unless the call succeeded; "no data" is a success.
void Check(SQLRETURN result, const OdbcHandle& handle, std::string_view statement = {});

// A text as the driver manager takes it; it only reads it.
SQLCHAR* OdbcText(std::string_view text);

}  // namespace morvane::odbc
