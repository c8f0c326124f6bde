// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace morvane {

// A SQL Server that a configuration file of this machine names.
struct DataSource {
    std::string Name;
    std::string Server;  // "host", "host,port" or "host\instance"

    bool operator==(const DataSource&) const = default;
};

// The files to read; an earlier one wins when two describe the same name.
struct DataSourcePlaces {
    std::vector<std::filesystem::path> OdbcIni;
    std::vector<std::filesystem::path> FreeTdsConf;
};

// The value of an environment variable; empty when it is not set.
using Environment = std::function<std::string(const char* name)>;

// Where the ODBC driver manager and FreeTDS look themselves.
DataSourcePlaces FindDataSourcePlaces(const Environment& variable);

// The data sources of a SQL Server driver and the servers of FreeTDS, in the order of the files.
// What cannot be read, and what our connections would refuse as a server, is left out.
std::vector<DataSource> ReadDataSources(const DataSourcePlaces& places);

}  // namespace morvane
