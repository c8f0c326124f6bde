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

// The connection time-out of every caller, in seconds.
inline constexpr int kConnectionTimeout = 20;

// Connects to a server and puts the new connection, open or not, into `connection`. Without a
// database the login's default one is used. Never throws: on failure false, and `errorText` becomes
// "Error while connecting to : ", the server and the provider's messages, one a line.
bool ConnectDatabase(const ConnectionFactory& factory, const std::string& server,
                     bool ntAuthentication, const std::string& userName,
                     const std::string& password, std::unique_ptr<Connection>& connection,
                     std::string& errorText, const std::optional<std::string>& database,
                     int timeoutSeconds);

// Puts the names of the server's databases, in alphabetical order, in place of what `list` held.
// Throws DatabaseError.
void FillDatabaseList(std::vector<std::string>& list, Connection& connection);

// Creates dwm_archive with its one row: this server, integrated security, no database.
// Throws DatabaseError, as CreateMultiUseTable does.
void CreateArchiveTable(Connection& connection);

// Creates dwm_multiuse with its one row: locked by `userName`, whose quotes are not doubled. Both
// statements are one transaction, so that nobody ever meets the table without its row.
void CreateMultiUseTable(Connection& connection, const std::string& userName);

// Compiles a statement without running it. An empty one is valid. On failure `errorText` becomes
// the server's message and the connection stays in compile-only mode, as the server leaves it.
bool ValidateQuery(std::string_view sql, Connection& connection, std::string& errorText);

// The value, or `defaultValue` for NULL. Throws std::invalid_argument or std::out_of_range for what
// is no 16-bit integer.
std::string NullToText(const Value& value, const std::string& defaultValue);
std::int16_t NullToInteger(const Value& value, std::int16_t defaultValue);
bool NullToBoolean(const Value& value, bool defaultValue);

}  // namespace morvane
