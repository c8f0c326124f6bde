// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcDriver.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/odbc/OdbcHandle.h"
#include "sql/Quoting.h"

namespace morvane::odbc {

namespace {

constexpr std::array<std::string_view, 4> kPreferred = {
    "ODBC Driver 18 for SQL Server", "ODBC Driver 17 for SQL Server", "FreeTDS", "SQL Server"};

#ifdef _WIN32
constexpr const char* kWhereDriversAre =
    "Microsoft's installer of \"ODBC Driver 18 for SQL Server\" brings one.";
#else
constexpr const char* kWhereDriversAre =
    "On Debian the package tdsodbc has one (FreeTDS); Microsoft's package is msodbcsql18.";
#endif

bool Contains(std::string_view text, std::string_view part) {
    return ToLower(text).find(part) != std::string::npos;
}

DriverFamily FamilyOf(std::string_view name) {
    if (Contains(name, "odbc driver")) {
        return DriverFamily::Microsoft;
    }
    return EqualsIgnoreCase(name, "SQL Server") ? DriverFamily::OldWindows : DriverFamily::FreeTds;
}

// Microsoft's drivers require "}" to be doubled in a braced value.
std::string BracedDoubling(std::string_view value) {
    return Quoted(value, '{', '}');
}

[[noreturn]] void RefuseForFreeTds(std::string_view keyword, const char* what) {
    throw DatabaseError({"The FreeTDS driver cannot be given a " + std::string(keyword) +
                         " that holds " + what + "."});
}

// Before the connection has a character set, FreeTDS interprets the string as ISO 8859-1, whose
// non-ASCII characters have the lead bytes C2 and C3 in UTF-8.
std::string Latin1(std::string_view keyword, std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const auto lead = static_cast<unsigned char>(value[i]);
        if (lead < 0x80) {
            text += value[i];
            continue;
        }
        if ((lead != 0xC2 && lead != 0xC3) || i + 1 == value.size()) {
            RefuseForFreeTds(keyword, "characters other than those of ISO 8859-1");
        }
        const auto next = static_cast<unsigned char>(value[++i]);
        text += static_cast<char>(((lead & 0x03) << 6) | (next & 0x3F));
    }
    return text;
}

// In FreeTDS a braced value ends at "};", without a way to escape it.
std::string BracedPlain(std::string_view keyword, std::string_view value) {
    if (value.find("};") != std::string_view::npos) {
        RefuseForFreeTds(keyword, "\"};\"");
    }
    return "{" + Latin1(keyword, value) + "}";
}

struct ServerAddress {
    std::string Host;
    std::string Instance;  // empty for the default instance
    std::string Port;      // empty if not given
};

ServerAddress ParseServer(const std::string& server) {
    if (!std::all_of(server.begin(), server.end(), IsServerNameCharacter)) {
        throw DatabaseError({"\"" + server + "\" is not the name of a server."});
    }
    std::string_view rest = Trim(server);
    if (EqualsIgnoreCase(rest.substr(0, 4), "tcp:")) {
        rest.remove_prefix(4);
    }
    ServerAddress address;
    if (const std::size_t comma = rest.rfind(','); comma != std::string_view::npos) {
        address.Port = Trim(rest.substr(comma + 1));
        rest = rest.substr(0, comma);
        if (!IsPort(address.Port)) {
            throw DatabaseError({"\"" + address.Port + "\" is not a port number."});
        }
    }
    if (const std::size_t slash = rest.find('\\'); slash != std::string_view::npos) {
        address.Instance = Trim(rest.substr(slash + 1));
        rest = rest.substr(0, slash);
    }
    const std::string_view host = Trim(rest);
    const bool here = host == "." || EqualsIgnoreCase(host, "(local)");
    address.Host = here ? "localhost" : host;
    return address;
}

// Collects the keywords of a connection string.
class ConnectionText {
  public:
    // Ignored if the user has given an option with the same meaning.
    void Add(std::string_view keyword, std::string_view value) {
        if (!HasOption(keyword)) {
            own_ += std::string(keyword) + "=" + std::string(value) + ";";
        }
    }
    void AddOption(std::string_view keyword, std::string_view value) {
        options_.push_back({std::string(keyword), std::string(value)});
    }
    bool HasOption(std::string_view keyword) const {
        return std::any_of(options_.begin(), options_.end(), [&](const Option& option) {
            return Meaning(option.Keyword) == Meaning(keyword);
        });
    }

    const std::string& Own() const { return own_; }
    std::string Options() const {
        std::string text;
        for (const Option& option : options_) {
            text += option.Keyword + "=" + option.Value + ";";
        }
        return text;
    }

  private:
    struct Option {
        std::string Keyword;
        std::string Value;
    };

    // Maps synonyms to one keyword.
    static std::string Meaning(std::string_view keyword) {
        const std::string name = ToLower(Trim(keyword));
        if (name == "address" || name == "addr" || name == "servername") {
            return "server";
        }
        if (name == "user" || name == "username") {
            return "uid";
        }
        return name == "password" ? "pwd" : name;
    }

    std::string own_;
    std::vector<Option> options_;
};

// Calls `take` with each keyword and its value as written. A braced value may contain ";".
template <typename Take>
void ForEachOption(std::string_view options, Take&& take) {
    while (!options.empty()) {
        const std::size_t equals = options.find_first_of("=;");
        std::size_t end = options.find(';');
        if (equals != std::string_view::npos && options[equals] == '=' &&
            options.substr(equals + 1, 1) == "{") {
            std::size_t close = options.find('}', equals);
            while (close != std::string_view::npos && options.substr(close + 1, 1) == "}") {
                close = options.find('}', close + 2);
            }
            end = close == std::string_view::npos ? close : options.find(';', close);
        }
        const std::string_view option = options.substr(0, end);
        if (equals < option.size()) {
            take(Trim(option.substr(0, equals)), Trim(option.substr(equals + 1)));
        }
        options.remove_prefix(std::min(option.size() + 1, options.size()));
    }
}

// Authentication= selects the login method, and drivers refuse to combine it with
// Trusted_Connection. A user name selects the token.
template <typename Brace>
void AddLogin(ConnectionText& text, const LoginDetails& login, Brace&& brace) {
    const bool hasMethod = text.HasOption("Authentication");
    if (login.Login.NTAuthentication) {
        if (!hasMethod) {
            text.Add("Trusted_Connection", "yes");
        }
    } else {
        text.Add("UID", brace("user name", login.Login.UserName));
        if (!hasMethod || !login.Login.Password.empty()) {
            text.Add("PWD", brace("password", login.Login.Password));
        }
    }
    if (!login.Database.empty()) {
        text.Add("Database", brace("database name", login.Database));
    }
}

// Translates the value of Microsoft's keyword Encrypt to FreeTDS's Encryption. "request" still
// encrypts the login if the server supports it, as Microsoft's drivers do with "no".
std::string FreeTdsEncryption(std::string_view encrypt) {
    for (const std::string_view refusal : {"no", "optional", "false", "0"}) {
        if (EqualsIgnoreCase(encrypt, refusal)) {
            return "request";
        }
    }
    if (EqualsIgnoreCase(encrypt, "strict")) {
        throw DatabaseError({"The FreeTDS driver cannot encrypt as Encrypt=strict asks."});
    }
    return "require";
}

std::string FreeTdsString(const OdbcDriver& driver, const LoginDetails& login) {
    const ServerAddress address = ParseServer(login.Login.Server);
    ConnectionText text;
    ForEachOption(login.ExtraOptions, [&](std::string_view keyword, std::string_view value) {
        if (EqualsIgnoreCase(keyword, "Encrypt")) {
            text.AddOption("Encryption", FreeTdsEncryption(value));
        } else {
            text.AddOption(keyword, value);
        }
    });
    // Without an explicit version the driver ignores the login timeout.
    text.Add("TDS_Version", "7.4");
    text.Add("ClientCharset", "UTF-8");
    if (!address.Instance.empty() && address.Port.empty()) {
        text.Add("Server", address.Host + "\\" + address.Instance);
    } else {
        text.Add("Server", address.Host);
        text.Add("Port", address.Port.empty() ? "1433" : address.Port);
    }
    text.Add("Encryption", "require");
    AddLogin(text, login, BracedPlain);
    if (login.QueryTimeout > 0) {
        text.Add("Timeout", std::to_string(login.QueryTimeout));
    }
    // Of duplicate keywords the driver uses the last.
    return "Driver={" + driver.Name + "};" + text.Own() + text.Options();
}

std::string MicrosoftString(const OdbcDriver& driver, const LoginDetails& login) {
    const ServerAddress address = ParseServer(login.Login.Server);
    std::string server = address.Host;
    server += address.Instance.empty() ? "" : "\\" + address.Instance;
    server += address.Port.empty() ? "" : "," + address.Port;
    ConnectionText text;
    ForEachOption(login.ExtraOptions, [&](std::string_view keyword, std::string_view value) {
        text.AddOption(keyword, value);
    });
    text.Add("Server", BracedDoubling(server));
    if (driver.Family == DriverFamily::Microsoft) {
        text.Add("Encrypt", "yes");
    }
    AddLogin(text, login,
             [](std::string_view, std::string_view value) { return BracedDoubling(value); });
    // Of duplicate keywords these drivers use the first.
    return "Driver={" + driver.Name + "};" + text.Options() + text.Own();
}

}  // namespace

bool IsServerNameCharacter(char c) {
    return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F &&
           std::string_view(";{}='\"").find(c) == std::string_view::npos;
}

bool IsPort(std::string_view text) {
    int port = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end && port >= 1 && port <= 65535;
}

std::vector<std::string> InstalledDrivers() {
    const OdbcHandle environment = OdbcHandle::Environment();
    std::vector<std::string> names;
    std::array<SQLCHAR, 256> name{};
    std::array<SQLCHAR, 1024> attributes{};
    SQLUSMALLINT direction = SQL_FETCH_FIRST;
    while (SQL_SUCCEEDED(SQLDrivers(environment.Get(), direction, name.data(), name.size(), nullptr,
                                    attributes.data(), attributes.size(), nullptr))) {
        names.emplace_back(reinterpret_cast<const char*>(name.data()));
        direction = SQL_FETCH_NEXT;
    }
    return names;
}

OdbcDriver PickDriver(const std::vector<std::string>& installed,
                      const std::optional<std::string>& wanted) {
    const auto find = [&](std::string_view name) {
        return std::find_if(installed.begin(), installed.end(), [&](const std::string& known) {
            return EqualsIgnoreCase(known, name);
        });
    };
    if (wanted && !wanted->empty()) {
        if (find(*wanted) == installed.end()) {
            throw DatabaseError(
                {"The ODBC driver \"" + *wanted +
                 "\" that MORVANE_ODBC_DRIVER names is not installed; installed " +
                 (installed.empty() ? "are none." : "are: " + Join(installed, ", ") + ".")});
        }
        return {*find(*wanted), FamilyOf(*wanted)};
    }
    for (const std::string_view name : kPreferred) {
        if (const auto found = find(name); found != installed.end()) {
            return {*found, FamilyOf(name)};
        }
    }
    throw DatabaseError(
        {std::string("No ODBC driver for SQL Server is installed. ") + kWhereDriversAre});
}

std::string BuildConnectionString(const OdbcDriver& driver, const LoginDetails& login) {
    std::string text;
    switch (driver.Family) {
        case DriverFamily::FreeTds:
            text = FreeTdsString(driver, login);
            break;
        case DriverFamily::Microsoft:
        case DriverFamily::OldWindows:
            text = MicrosoftString(driver, login);
            break;
        case DriverFamily::Other:
            text = driver.MakeString(login);
            break;
    }
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<SQLSMALLINT>::max())) {
        throw DatabaseError(
            {"The connection string, with MORVANE_ODBC_OPTIONS, is longer than ODBC can pass."});
    }
    return text;
}

}  // namespace morvane::odbc
