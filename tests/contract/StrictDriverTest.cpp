// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>

#include <clocale>
#include <fstream>
#include <set>
#include <stdexcept>

#include "base/Text.h"
#include "contract/StrictDriver.h"
#include "core/Connection.h"
#include "db/odbc/OdbcConnection.h"
#include "run/StartUp.h"
#include "support/ErrorOf.h"
#include "support/ScopedVariable.h"
#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

// The driver in this process. Loading it here keeps it loaded between connections.
StrictDriver& LoadDriver() {
    void* library = dlopen(MORVANE_STRICT_DRIVER, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return *reinterpret_cast<StrictDriver* (*)()>(dlsym(library, kStrictDriverFunction))();
}

// Registers the driver as the only one. The driver manager reads the folder's name once per
// process.
const std::string& RegistrationFolder() {
    static const TempFolder folder;
    std::ofstream(folder / "odbcinst.ini")
        << "[ODBC Driver 18 for SQL Server]\nDriver=" << MORVANE_STRICT_DRIVER << "\n";
    return folder.Path();
}

class MicrosoftDriver : public ::testing::Test {
  protected:
    MicrosoftDriver() { driver_ = StrictDriver(); }

    std::unique_ptr<Connection> Connect(const std::string& user = "u",
                                        const std::string& password = "p") {
        auto connection = CreateOdbcConnection(options_);
        connection->SetLogin({"tcp:host, 1433", user.empty(), user, password});
        connection->Open();
        return connection;
    }

    // The text as read from a query that returns it as its only row.
    std::string Fetched(Connection& connection, SQLSMALLINT type, const std::string& text) {
        driver_.Answers["select"] = {type, {text}};
        const auto rows = connection.OpenRecordset("select");
        return rows->Eof() ? "no row" : (*rows)[0].Text();
    }

    ScopedVariable registration_{"ODBCSYSINI", RegistrationFolder()};
    OdbcOptions options_;
    StrictDriver& driver_ = LoadDriver();
};

std::string Repeated(int times, const std::string& text) {
    std::string repeated;
    for (int i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

TEST_F(MicrosoftDriver, ReceivesTheUsersOptionsInsteadOfOurs) {
    const std::string kActiveDirectory = "Authentication=ActiveDirectoryIntegrated";
    const struct {
        std::string Options;
        std::string User;  // empty for integrated security
        std::string Password;
        LoginKeywords Expected;
    } cases[] = {
        {"", "", "", {{"Encrypt", "yes"}, {"Trusted_Connection", "yes"}}},
        {"", "a}b", "a;}b{ \"ü'", {{"Encrypt", "yes"}, {"UID", "a}b"}, {"PWD", "a;}b{ \"ü'"}}},
        {"Encrypt=no", "u", "p", {{"Encrypt", "no"}, {"UID", "u"}, {"PWD", "p"}}},
        {"encrypt={strict};", "u", "p", {{"Encrypt", "strict"}, {"UID", "u"}, {"PWD", "p"}}},
        {"APP={;Encrypt=no;Authentication=x}}}",
         "",
         "",
         {{"Encrypt", "yes"}, {"Trusted_Connection", "yes"}}},
        {kActiveDirectory,
         "",
         "",
         {{"Encrypt", "yes"}, {"Authentication", "ActiveDirectoryIntegrated"}}},
        {kActiveDirectory,
         "u",
         "",
         {{"Encrypt", "yes"}, {"Authentication", "ActiveDirectoryIntegrated"}, {"UID", "u"}}},
        {"Authentication=ActiveDirectoryPassword;Encrypt=strict",
         "u",
         "p",
         {{"Encrypt", "strict"},
          {"Authentication", "ActiveDirectoryPassword"},
          {"UID", "u"},
          {"PWD", "p"}}},
    };
    for (const auto& [options, user, password, expected] : cases) {
        options_.Keywords = options;
        EXPECT_EQ(ErrorOf([&, &user = user, &password = password] { Connect(user, password); }),
                  "no error")
            << options;
        LoginKeywords seen;
        for (const char* keyword :
             {"Authentication", "Encrypt", "PWD", "Trusted_Connection", "UID"}) {
            if (driver_.Login.contains(keyword)) {
                seen[keyword] = driver_.Login[keyword];
            }
        }
        EXPECT_EQ(driver_.Login["Server"], "host,1433");
        EXPECT_EQ(seen, expected) << options << ", user " << user;
    }
}

TEST_F(MicrosoftDriver, NeverReceivesAConnectionStringThatIsTooLong) {
    // The second length overflows to a small number in 16 bits.
    for (const std::size_t length : {33000U, 65600U}) {
        const std::string error =
            ErrorOf([&] { Connect("u", "secret" + std::string(length, 'x')); });
        EXPECT_NE(ToLower(error).find("connection string"), std::string::npos) << error;
        EXPECT_EQ(error.find("secret"), std::string::npos);
    }
    EXPECT_TRUE(driver_.Events.empty());
}

TEST_F(MicrosoftDriver, ReconnectsWhenTheServerRefusesToChangeTheDatabase) {
    using Events = std::vector<std::string>;
    const struct {
        SQLINTEGER UseError;
        std::string Name;
        Events Expected;
        std::string Database;
    } cases[] = {
        {0, "dw", {"connect master", "use dw"}, "dw"},
        {911, "dw", {"connect master", "use dw"}, "master"},
        {40508,
         "a;}b",
         {"connect master", "use a;}b", "connect a;}b", "disconnect master"},
         "a;}b"},
        {40508, "closed", {"connect master", "use closed", "connect closed"}, "master"},
    };
    for (const auto& [useError, name, expected, database] : cases) {
        driver_ = StrictDriver();
        driver_.UseError = useError;
        driver_.ClosedDatabase = "closed";
        const auto connection = Connect();
        const std::string error =
            ErrorOf([&, &name = name] { connection->SetDefaultDatabase(name); });
        EXPECT_EQ(error == "no error", database == name) << error;
        EXPECT_EQ(driver_.Events, expected);
        EXPECT_EQ(driver_.Login["PWD"], "p");
        EXPECT_EQ(connection->DefaultDatabase(), database);
        EXPECT_EQ(connection->Execute("anything"), -1) << "the connection works";
    }
}

TEST_F(MicrosoftDriver, WorksInUtf8InEveryLocale) {
    for (const char* locale : {"C", "C.UTF-8", "de_DE.ISO-8859-1", "zz_ZZ"}) {
        const ScopedVariable all("LC_ALL", locale);
        UseSystemLocale();
        Connect();
        EXPECT_EQ(driver_.CodeSet, "UTF-8") << locale;
    }
    std::setlocale(LC_ALL, "C");
}

// Non-ASCII texts must be sent as nvarchar, or the server replaces characters outside its code
// page.
TEST_F(MicrosoftDriver, ReceivesParametersOfAnyLength) {
    const std::set<SQLSMALLINT> narrow{SQL_VARCHAR};
    const std::set<SQLSMALLINT> wide{SQL_WVARCHAR};
    const std::set<SQLSMALLINT> either{SQL_VARCHAR, SQL_WVARCHAR};
    const struct {
        DataType Type;
        int Size;
        std::string Text;
        std::set<SQLSMALLINT> SentAs;
    } cases[] = {
        {DataType::VarChar, 0, "", narrow},
        {DataType::Char, 3, "abc", narrow},
        {DataType::VarChar, 8000, std::string(8000, 'x'), narrow},
        {DataType::VarChar, 255, std::string(8001, 'x'), narrow},
        {DataType::VarChar, 0, std::string(9000, 'x'), narrow},
        {DataType::VarChar, 9000, "x", narrow},
        {DataType::LongVarChar, 2147483647, "x", narrow},
        {DataType::DBTimeStamp, 0, "2024-03-05 14:07:09", narrow},
        {DataType::VarChar, 255, "ü", wide},
        {DataType::VarChar, 8000, "ü", wide},
        {DataType::VarChar, 0, Repeated(5000, "ü"), wide},
        {DataType::VarWChar, 4000, Repeated(4000, "€"), wide},
        {DataType::VarWChar, 4000, Repeated(4001, "€"), wide},
        {DataType::VarWChar, 255, Repeated(2001, "😀"), wide},
        {DataType::LongVarWChar, 2147483647, "€", wide},
        {DataType::VarWChar, 4000, "x", either},
        {DataType::VarWChar, 1073741823, std::string(4001, 'x'), either},
    };
    const auto connection = Connect();
    for (const auto& [type, size, text, sentAs] : cases) {
        const std::string what = text.substr(0, 4) + "... of " + std::to_string(text.size()) +
                                 " bytes, declared with " + std::to_string(size);
        driver_.Executions.clear();
        const auto command = connection->CreateCommand();
        command->SetText("update t set a = ?");
        command->AppendParameter({.Name = "a", .Type = type, .Size = size, .Value = Value(text)});
        EXPECT_EQ(ErrorOf([&] { command->Execute(); }), "no error") << what;
        ASSERT_EQ(driver_.Executions.size(), 1U) << what;
        EXPECT_TRUE(driver_.Executions[0][0] == text) << what;
        EXPECT_TRUE(sentAs.contains(driver_.ParameterTypes[0]))
            << what << " went as " << driver_.ParameterTypes[0];
    }
}

// Binding makes the driver prepare the statement again, which costs two round trips.
TEST_F(MicrosoftDriver, KeepsParametersBoundBetweenExecutions) {
    const auto connection = Connect();
    const auto command = connection->CreateCommand();
    command->SetText("update t set a = ? where k = ? and x = ?");
    command->AppendParameter({.Name = "a", .Type = DataType::VarChar, .Size = 9, .Value = {}});
    command->AppendParameter({.Name = "k", .Type = DataType::Integer, .Size = 4, .Value = {}});
    command->AppendParameter({.Name = "x", .Type = DataType::Double, .Size = 8, .Value = {}});
    const auto execute = [&](const Value& a, std::int64_t k) {
        command->SetParameter("a", a);
        command->SetParameter("k", Value(k));
        command->SetParameter("x", Value(0.5));
        command->Execute();
        const auto& last = driver_.Executions.back();
        EXPECT_EQ(last[0].has_value(), !a.IsNull());
        EXPECT_EQ(last[0].value_or(""), a.Text());
        EXPECT_EQ(last[1], std::to_string(k));
        EXPECT_EQ(last[2], std::to_string(0.5));
    };
    execute(Value(std::string("seven")), 1);
    execute(Value(std::string("one")), 2);
    execute(Value(std::string("")), -9007199254740993);
    EXPECT_EQ(driver_.Prepares, 1);
    EXPECT_EQ(driver_.Binds, 3);
    EXPECT_EQ(driver_.Unbinds, 0);
    // The remaining values may need other bindings.
    for (const std::string& text :
         {std::string(20, 'y'), std::string("ü"), Repeated(6000, "€"), std::string("z"),
          std::string(9000, 'z'), std::string(20000, 'z')}) {
        execute(Value(text), 3);
        execute(Value(), 4);
    }
    EXPECT_EQ(driver_.Prepares, 1);
}

TEST_F(MicrosoftDriver, FieldsHaveTheColumnTypes) {
    const std::vector<std::pair<SQLSMALLINT, DataType>> types{
        {SQL_BIT, DataType::Boolean},
        {SQL_TINYINT, DataType::TinyInt},
        {SQL_SMALLINT, DataType::SmallInt},
        {SQL_BIGINT, DataType::BigInt},
        {SQL_REAL, DataType::Single},
        {SQL_FLOAT, DataType::Double},
        {SQL_CHAR, DataType::Char},
        {SQL_LONGVARCHAR, DataType::LongVarChar},
        {SQL_WCHAR, DataType::WChar},
        {SQL_WLONGVARCHAR, DataType::LongVarWChar},
        {SQL_TYPE_DATE, DataType::DBTimeStamp},
        {SQL_TYPE_TIME, DataType::VarWChar},
        {SQL_GUID, DataType::Guid},
        {SQL_BINARY, DataType::Binary},
        {SQL_VARBINARY, DataType::VarBinary},
        {-155, DataType::VarWChar},  // datetimeoffset
    };
    const auto connection = Connect();
    for (const auto& [type, expected] : types) {
        driver_.Answers["select"] = {type, {}};
        EXPECT_EQ(connection->OpenRecordset("select")->Fields().at(0).Type, expected) << type;
    }
}

TEST_F(MicrosoftDriver, TheRowCountIsThatOfTheStatementAndNotOfItsTriggers) {
    driver_.Answers["update t"] = {.Counts = {7, 9, 1}};
    EXPECT_EQ(Connect()->Execute("update t"), 1);
}

TEST_F(MicrosoftDriver, DecimalsGetALeadingZero) {
    const auto connection = Connect();
    for (const SQLSMALLINT type : std::initializer_list<SQLSMALLINT>{SQL_DECIMAL, SQL_NUMERIC}) {
        for (const auto& [sent, expected] : {std::pair(".50", "0.50"),
                                             {"-.5000", "-0.5000"},
                                             {".00", "0.00"},
                                             {"10.50", "10.50"},
                                             {"-1.5", "-1.5"},
                                             {"7", "7"}}) {
            EXPECT_EQ(Fetched(*connection, type, sent), expected);
        }
    }
    EXPECT_EQ(Fetched(*connection, SQL_VARCHAR, ".50"), ".50");
}

TEST_F(MicrosoftDriver, LongTextsAreReadCompletely) {
    const auto connection = Connect();
    const std::string nul(1, '\0');
    for (const bool tellsRemaining : {false, true}) {
        driver_.TellsRemaining = tellsRemaining;
        for (const std::string& character :
             {std::string("x"), nul, std::string("ü"), std::string("€"), std::string("😀"),
              "€" + nul, nul + "😀", "aü€😀" + nul}) {
            const std::string text =
                Repeated(static_cast<int>(20000 / character.size()), character);
            // Each shift puts another byte of a character at the end of a piece.
            for (std::size_t shift = 0; shift < character.size(); ++shift) {
                const std::string shifted = std::string(shift, '-') + text;
                for (const SQLSMALLINT type :
                     std::initializer_list<SQLSMALLINT>{SQL_VARCHAR, SQL_WVARCHAR}) {
                    EXPECT_TRUE(Fetched(*connection, type, shifted) == shifted)
                        << "character of " << character.size() << " bytes, shifted by " << shift
                        << ", remaining bytes told: " << tellsRemaining;
                }
            }
        }
        // Texts that end at or near the end of a buffer.
        for (const std::size_t end : {0U, 1024U, 4096U, 8192U, 16384U}) {
            for (std::size_t length = end; length < end + 3; ++length) {
                const std::string text(length < 2 ? length : length - 2, 'x');
                EXPECT_TRUE(Fetched(*connection, SQL_VARCHAR, text) == text) << text.size();
            }
        }
    }
}

}  // namespace
}  // namespace morvane::testing
