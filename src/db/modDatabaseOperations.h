// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// The login timeout in seconds.
inline constexpr int kConnectionTimeout = 20;

// Connects to a server and stores the new connection in `connection`, whether it is open or not.
// Without a database the login's default database is used. Never throws: on failure returns false
// and sets `errorText` to "Error while connecting to : ", the server and the provider's messages,
// one per line.
bool ConnectDatabase(const ConnectionFactory& factory, const ServerLogin& login,
                     std::unique_ptr<Connection>& connection, std::string& errorText,
                     const std::optional<std::string>& database = std::nullopt,
                     int timeoutSeconds = kConnectionTimeout);

// Replaces the list by the names of the server's databases in alphabetical order. Throws
// DatabaseError.
void FillDatabaseList(std::vector<std::string>& list, Connection& connection);

// Creates dwm_archive with its only row: local server, integrated security, no database.
// Like CreateMultiUseTable, throws DatabaseError.
void CreateArchiveTable(Connection& connection);

// Creates dwm_multiuse with its only row: locked by `userName`, whose quotes are not doubled. One
// transaction, so that other users never see the table without its row.
void CreateMultiUseTable(Connection& connection, const std::string& userName);

// Compiles a statement without executing it. An empty one is valid. On failure sets `errorText` to
// the server's message and leaves the connection in compile-only mode.
bool ValidateQuery(std::string_view sql, Connection& connection, std::string& errorText);

// The value, or `defaultValue` for NULL. NullToInteger throws std::invalid_argument or
// std::out_of_range if the value is not a 16-bit integer.
std::string NullToText(const Value& value, const std::string& defaultValue);
std::int16_t NullToInteger(const Value& value, std::int16_t defaultValue);
bool NullToBoolean(const Value& value, bool defaultValue);

}  // namespace morvane
