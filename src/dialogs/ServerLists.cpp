// SPDX-License-Identifier: Apache-2.0
#include "dialogs/ServerLists.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <string_view>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "db/odbc/OdbcDriver.h"

namespace morvane {

namespace {

// Limits for configuration files, far above what a person writes.
constexpr std::size_t kMostBytes = 1 << 20;
constexpr std::size_t kMostSections = 1000;
constexpr std::size_t kLongestName = 255;  // of a host or instance

// An answer of the SQL Server Resolution Protocol: this byte, the length of the rest as 16 bits,
// little-endian, and then the records.
constexpr char kAnswer = 0x05;
constexpr std::size_t kHeaderSize = 3;
constexpr std::string_view kDefaultPort = "1433";

struct Section {
    std::string Name;
    std::map<std::string, std::string> Values;  // by key in lower case

    std::string operator[](const char* key) const {
        const auto found = Values.find(key);
        return found == Values.end() ? std::string() : found->second;
    }
};

// The value of a "key = value" line, without quotes or a trailing comment.
std::string_view PlainValue(std::string_view text) {
    text = Trim(text, kWhiteSpace);
    if (!text.empty() && (text.front() == '"' || text.front() == '\'')) {
        const std::size_t end = text.find(text.front(), 1);
        return end == std::string_view::npos ? std::string_view() : text.substr(1, end - 1);
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool afterBlank = i == 0 || kWhiteSpace.find(text[i - 1]) != std::string_view::npos;
        if (text[i] == ';' || (text[i] == '#' && afterBlank)) {
            return Trim(text.substr(0, i), kWhiteSpace);
        }
    }
    return text;
}

// The first bytes of a regular file. Anything else reads as empty: opening a pipe would block.
std::string ReadStart(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return {};
    }
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostBytes, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    return text;
}

const Section* FindSection(const std::vector<Section>& sections, std::string_view name) {
    const auto found = std::find_if(sections.begin(), sections.end(), [&](const Section& section) {
        return EqualsIgnoreCase(section.Name, name);
    });
    return found == sections.end() ? nullptr : &*found;
}

void AddSections(const std::filesystem::path& path, std::vector<Section>& sections) {
    std::string text = ReadStart(path);
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.erase(0, 3);
    }
    Section current;
    const auto keep = [&] {
        if (!current.Name.empty() && sections.size() < kMostSections &&
            FindSection(sections, current.Name) == nullptr) {
            sections.push_back(std::move(current));
        }
        current = {};
    };
    for (const std::string& raw : Split(text, '\n')) {
        const std::string_view line = Trim(raw, kWhiteSpace);
        const std::size_t equals = line.find('=');
        if (line.starts_with('[')) {
            keep();
            const std::size_t end = line.find(']');
            current.Name =
                end == std::string::npos ? "" : Trim(line.substr(1, end - 1), kWhiteSpace);
        } else if (!line.starts_with(';') && !line.starts_with('#') && equals != line.npos) {
            current.Values.emplace(ToLower(Trim(line.substr(0, equals), kWhiteSpace)),
                                   PlainValue(line.substr(equals + 1)));
        }
    }
    keep();
}

std::vector<Section> ReadSections(const std::vector<std::filesystem::path>& files) {
    std::vector<Section> sections;
    for (const std::filesystem::path& file : files) {
        AddSections(file, sections);
    }
    return sections;
}

bool UsesSqlServer(const Section& dataSource) {
    constexpr std::array<std::string_view, 4> kDrivers = {"freetds", "tdsodbc", "sql server",
                                                          "msodbcsql"};
    const std::string driver = ToLower(dataSource["driver"]);
    return std::any_of(kDrivers.begin(), kDrivers.end(), [&](std::string_view part) {
        return driver.find(part) != std::string::npos;
    });
}

// Returns an empty text for an invalid port: without its port the host would be another server.
std::string WithPort(const std::string& host, const std::string& port) {
    if (port.empty() || host.find(',') != std::string::npos) {
        return host;
    }
    return odbc::IsPort(port) ? host + "," + port : std::string();
}

std::string FreeTdsServer(const Section& server, const Section* global) {
    const std::string host = server["host"];
    // TDS 5.0 is the protocol of another vendor's server. The file that comes with FreeTDS names
    // sample servers in this domain, which do not exist.
    if (host.empty() || server["tds version"].starts_with("5.") ||
        host.ends_with("machine.domain.com")) {
        return {};
    }
    const std::string port = server["port"];
    if (port.empty() && !server["instance"].empty()) {
        return host + "\\" + server["instance"];
    }
    return WithPort(host, port.empty() && global != nullptr ? (*global)["port"] : port);
}

// Keys are tried in FreeTDS's order: an entry of freetds.conf, an address, a server.
std::string OdbcServer(const Section& dataSource, const std::vector<Section>& freeTds) {
    const std::string entry = dataSource["servername"];
    if (const Section* server = FindSection(freeTds, entry); !entry.empty() && server != nullptr) {
        return FreeTdsServer(*server, FindSection(freeTds, "global"));
    }
    std::string host = entry;
    for (const char* key : {"address", "server"}) {
        host = host.empty() ? dataSource[key] : host;
    }
    return WithPort(host, dataSource["port"]);
}

bool IsServerName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name.front() != ',' &&
           name.front() != '\\' &&
           std::all_of(name.begin(), name.end(), odbc::IsServerNameCharacter);
}

void Add(std::vector<DataSource>& found, const Section& section, const std::string& server) {
    DataSource source{section.Name, server};
    if (IsServerName(server) && std::find(found.begin(), found.end(), source) == found.end()) {
        found.push_back(std::move(source));
    }
}

// Any host on the network can answer, so only safe names are accepted: the answer does not give the
// code page of non-ASCII letters, and with a ":" or "/" the name could mean something other than a
// server.
bool IsPlainName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                      std::string_view("-_.$#").find(c) != std::string_view::npos;
           });
}

// Parses the record of one instance, "key;value;key;value". Empty if it names no usable server.
std::string ServerOf(std::string_view record) {
    const std::vector<std::string> pieces = Split(record, ';');
    const auto value = [&](std::string_view key) {
        for (std::size_t i = 0; i + 1 < pieces.size(); i += 2) {
            if (EqualsIgnoreCase(pieces[i], key)) {
                return pieces[i + 1];
            }
        }
        return std::string();
    };
    const std::string host = value("ServerName");
    const std::string instance = value("InstanceName");
    if (!IsPlainName(host) || !IsPlainName(instance)) {
        return {};
    }
    if (!EqualsIgnoreCase(instance, "MSSQLSERVER")) {
        return host + "\\" + instance;
    }
    const std::string port = value("tcp");
    return odbc::IsPort(port) && port != kDefaultPort ? host + "," + port : host;
}

}  // namespace

DataSourcePlaces FindDataSourcePlaces(const DataSourceVariables& variables) {
    DataSourcePlaces places;
    const auto add = [](std::vector<std::filesystem::path>& files, const std::string& folder,
                        const char* name) {
        if (!folder.empty()) {
            files.emplace_back(folder + name);
        }
    };
    const std::string& home = variables.Home;
    const std::string& odbc = variables.OdbcIni;
    add(places.OdbcIni, odbc.empty() ? home : odbc, odbc.empty() ? "/.odbc.ini" : "");
    const std::string& system = variables.OdbcSysIni;
    add(places.OdbcIni, system.empty() ? "/etc" : system, "/odbc.ini");

    add(places.FreeTdsConf, variables.FreeTdsConf, "");
    add(places.FreeTdsConf, variables.FreeTds, "/etc/freetds.conf");
    add(places.FreeTdsConf, home, "/.freetds.conf");
    add(places.FreeTdsConf, "/etc/freetds", "/freetds.conf");
    return places;
}

std::vector<DataSource> ReadDataSources(const DataSourcePlaces& places) {
    const std::vector<Section> freeTds = ReadSections(places.FreeTdsConf);
    const Section* global = FindSection(freeTds, "global");
    std::vector<DataSource> found;
    for (const Section& dataSource : ReadSections(places.OdbcIni)) {
        if (UsesSqlServer(dataSource)) {
            Add(found, dataSource, OdbcServer(dataSource, freeTds));
        }
    }
    for (const Section& server : freeTds) {
        if (&server != global) {
            Add(found, server, FreeTdsServer(server, global));
        }
    }
    return found;
}

std::vector<std::string> ParseServerAnswer(std::string_view datagram) {
    if (datagram.size() < kHeaderSize || datagram[0] != kAnswer) {
        return {};
    }
    const std::size_t length =
        static_cast<unsigned char>(datagram[1]) +
        static_cast<std::size_t>(static_cast<unsigned char>(datagram[2])) * 256;
    std::string_view rest = datagram.substr(kHeaderSize);
    if (length != rest.size()) {
        return {};
    }
    std::vector<std::string> servers;
    // The last record is dropped if it was cut off before its ";;".
    for (std::size_t end = rest.find(";;"); end != rest.npos; end = rest.find(";;")) {
        if (std::string server = ServerOf(rest.substr(0, end)); !server.empty()) {
            servers.push_back(std::move(server));
        }
        rest.remove_prefix(end + 2);
    }
    return servers;
}

DatabaseList ListDatabases(const ConnectionFactory& connect, const ServerLogin& login) {
    std::unique_ptr<Connection> connection;
    std::string errorText;
    if (!ConnectDatabase(connect, login, connection, errorText)) {
        throw DatabaseError({errorText});
    }
    DatabaseList list;
    list.ServerName = connection->Property("Server Name");
    FillDatabaseList(list.Names, *connection);
    connection->Close();
    return list;
}

std::vector<std::string> ArchiveDatabases(const DatabaseList& list, const Connection& warehouse) {
    std::vector<std::string> names = list.Names;
    if (IsSameServer(list.ServerName, warehouse.Property("Server Name"))) {
        const std::string own = warehouse.DefaultDatabase();
        std::erase_if(names, [&](const std::string& name) { return EqualsIgnoreCase(name, own); });
    }
    return names;
}

}  // namespace morvane
