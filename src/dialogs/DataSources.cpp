// SPDX-License-Identifier: Apache-2.0
#include "dialogs/DataSources.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <map>
#include <string_view>

#include "base/Text.h"

namespace morvane {

namespace {

// Far more than a person writes; a file that goes on is not read to its end.
constexpr std::size_t kMostBytes = 1 << 20;
constexpr std::size_t kMostSections = 1000;
constexpr std::size_t kLongestServer = 255;
constexpr std::string_view kWhite = " \t\r\n\f\v";

struct Section {
    std::string Name;
    std::map<std::string, std::string> Values;  // by the key in lower case

    std::string operator[](const char* key) const {
        const auto found = Values.find(key);
        return found == Values.end() ? std::string() : found->second;
    }
};

std::string_view Strip(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kWhite);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhite) - first + 1);
}

// What a line gives a key: the text in quotes, or the text before a comment.
std::string_view PlainValue(std::string_view text) {
    text = Strip(text);
    if (!text.empty() && (text.front() == '"' || text.front() == '\'')) {
        const std::size_t end = text.find(text.front(), 1);
        return end == std::string_view::npos ? std::string_view() : text.substr(1, end - 1);
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool afterBlank = i == 0 || kWhite.find(text[i - 1]) != std::string_view::npos;
        if (text[i] == ';' || (text[i] == '#' && afterBlank)) {
            return Strip(text.substr(0, i));
        }
    }
    return text;
}

// The start of a plain file; empty for anything else. Opening a pipe would wait for its writer.
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
        const std::string_view line = Strip(raw);
        const std::size_t equals = line.find('=');
        if (line.starts_with('[')) {
            keep();
            const std::size_t end = line.find(']');
            current.Name = end == std::string::npos ? "" : Strip(line.substr(1, end - 1));
        } else if (!line.starts_with(';') && !line.starts_with('#') && equals != line.npos) {
            current.Values.emplace(ToLower(Strip(line.substr(0, equals))),
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

bool IsPort(std::string_view text) {
    int port = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end && port >= 1 && port <= 65535;
}

// Empty when there is a port that is none: the server would be another one without it.
std::string WithPort(const std::string& host, const std::string& port) {
    if (port.empty() || host.find(',') != std::string::npos) {
        return host;
    }
    return IsPort(port) ? host + "," + port : std::string();
}

std::string FreeTdsServer(const Section& server, const Section* global) {
    const std::string host = server["host"];
    // That version of the protocol is spoken by another maker's server.
    if (host.empty() || server["tds version"].starts_with("5.")) {
        return {};
    }
    const std::string port = server["port"];
    if (port.empty() && !server["instance"].empty()) {
        return host + "\\" + server["instance"];
    }
    return WithPort(host, port.empty() && global != nullptr ? (*global)["port"] : port);
}

// In FreeTDS's own order: an entry of its file, an address, a server.
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
    return !name.empty() && name.size() <= kLongestServer && name.front() != ',' &&
           name.front() != '\\' && std::none_of(name.begin(), name.end(), [](char c) {
               return static_cast<unsigned char>(c) < 0x20 || c == 0x7F ||
                      std::string_view(";{}='\"").find(c) != std::string_view::npos;
           });
}

void Add(std::vector<DataSource>& found, const Section& section, const std::string& server) {
    DataSource source{section.Name, server};
    if (IsServerName(server) && std::find(found.begin(), found.end(), source) == found.end()) {
        found.push_back(std::move(source));
    }
}

}  // namespace

DataSourcePlaces FindDataSourcePlaces(const Environment& variable) {
    DataSourcePlaces places;
    const auto add = [](std::vector<std::filesystem::path>& files, const std::string& folder,
                        const char* name) {
        if (!folder.empty()) {
            files.push_back(folder + name);
        }
    };
    const std::string home = variable("HOME");
    const std::string odbc = variable("ODBCINI");
    add(places.OdbcIni, odbc.empty() ? home : odbc, odbc.empty() ? "/.odbc.ini" : "");
    const std::string system = variable("ODBCSYSINI");
    add(places.OdbcIni, system.empty() ? "/etc" : system, "/odbc.ini");

    add(places.FreeTdsConf, variable("FREETDSCONF"), "");
    add(places.FreeTdsConf, variable("FREETDS"), "/etc/freetds.conf");
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

}  // namespace morvane
