// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "core/RunSettings.h"
#include "run/Environment.h"

namespace morvane {

// A SQL Server named in a configuration file of this machine.
struct DataSource {
    std::string Name;
    std::string Server;  // "host", "host,port" or "host\instance"

    bool operator==(const DataSource&) const = default;
};

// The configuration files to read. If two define the same name, the first one wins.
struct DataSourcePlaces {
    std::vector<std::filesystem::path> OdbcIni;
    std::vector<std::filesystem::path> FreeTdsConf;
};

// The files that the ODBC driver manager and FreeTDS read.
DataSourcePlaces FindDataSourcePlaces(const DataSourceVariables& variables);

// The data sources with a SQL Server driver and the servers of FreeTDS, in the order of the files.
// Skips unreadable files and entries that a connection would refuse as a server.
std::vector<DataSource> ReadDataSources(const DataSourcePlaces& places);

// The requests of the SQL Server Resolution Protocol, one byte each.
inline constexpr char kAskAllServers = 0x02;  // sent as a broadcast
inline constexpr char kAskOneServer = 0x03;

// The servers in an answer of the SQL Server Resolution Protocol: "host" for the default instance
// ("host,port" if it does not listen on 1433), otherwise "host\instance". Returns none for a
// malformed answer, and skips instances without a valid name.
std::vector<std::string> ParseServerAnswer(std::string_view datagram);

struct DatabaseList {
    std::string ServerName;  // as the server reports it
    std::vector<std::string> Names;
};

// Connects, lists the server's databases and disconnects. Throws DatabaseError.
DatabaseList ListDatabases(const ConnectionFactory& connect, const ServerLogin& login);

// The databases that the warehouse can be archived in: all except the warehouse itself.
std::vector<std::string> ArchiveDatabases(const DatabaseList& list, const Connection& warehouse);

}  // namespace morvane
