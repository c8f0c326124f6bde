// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcHandle.h"

#include <fmt/format.h>

#include <array>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// Strips the "[vendor][driver]" prefix.
std::string_view WithoutPrefix(std::string_view message) {
    while (!message.empty() && message[0] == '[') {
        const std::size_t end = message.find(']');
        if (end == std::string_view::npos) {
            break;
        }
        message.remove_prefix(end + 1);
    }
    return Trim(message);
}

}  // namespace

OdbcHandle::OdbcHandle(SQLSMALLINT type, const OdbcHandle& parent) : type_(type) {
    if (!SQL_SUCCEEDED(SQLAllocHandle(type, parent.handle_, &handle_))) {
        ThrowDiagnostics(parent, {});
    }
}

OdbcHandle OdbcHandle::Environment() {
    OdbcHandle environment;
    environment.type_ = SQL_HANDLE_ENV;
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment.handle_))) {
        throw DatabaseError({"The ODBC driver manager does not start."});
    }
    // The version number is passed as the pointer value.
    SQLSetEnvAttr(environment.handle_, SQL_ATTR_ODBC_VERSION,
                  reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(SQL_OV_ODBC3)), 0);
    return environment;
}

OdbcHandle::~OdbcHandle() {
    if (handle_ != SQL_NULL_HANDLE) {
        SQLFreeHandle(type_, handle_);
    }
}

Diagnostics ReadDiagnostics(const OdbcHandle& handle) {
    Diagnostics diagnostics;
    for (SQLSMALLINT record = 1;; ++record) {
        std::array<SQLCHAR, 6> state{};
        SQLINTEGER native = 0;
        std::array<SQLCHAR, 4096> message{};
        SQLSMALLINT length = 0;
        const SQLRETURN result = SQLGetDiagRec(handle.Type(), handle.Get(), record, state.data(),
                                               &native, message.data(), message.size(), &length);
        if (!SQL_SUCCEEDED(result)) {
            return diagnostics;
        }
        const auto* text = reinterpret_cast<const char*>(message.data());
        const auto* stateText = reinterpret_cast<const char*>(state.data());
        diagnostics.Descriptions.push_back(
            fmt::format("{} ({}, {})", WithoutPrefix(text), stateText, native));
        diagnostics.Code = diagnostics.Code == 0 ? native : diagnostics.Code;
    }
}

void ThrowDescriptions(std::vector<std::string> descriptions, std::string_view statement,
                       int code) {
    if (descriptions.empty()) {
        descriptions = {"The server does not answer any more, and the driver gives no reason."};
    }
    throw DatabaseError(std::move(descriptions), MaskPasswords(statement), code);
}

void ThrowDiagnostics(const OdbcHandle& handle, std::string_view statement) {
    Diagnostics diagnostics = ReadDiagnostics(handle);
    ThrowDescriptions(std::move(diagnostics.Descriptions), statement, diagnostics.Code);
}

SQLCHAR* OdbcText(std::string_view text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

}  // namespace morvane::odbc
