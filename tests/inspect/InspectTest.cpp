// SPDX-License-Identifier: Apache-2.0
#include "inspect/Inspect.h"

#include <gtest/gtest.h>

#include <sstream>

#include "base/Platform.h"
#include "db/ConnectionFactory.h"
#include "support/Star.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {
namespace {

class InspectProgram : public ::testing::Test {
  protected:
    InspectProgram() { FillStar(warehouse); }

    // Runs the program on the warehouse and keeps what it writes.
    int Run(std::vector<std::string> words, bool withLogin = true) {
        out.str("");
        errors.str("");
        if (withLogin) {
            words.insert(words.end(), {"-mac", warehouse.Server(), "-db", "dw"});
        }
        const InspectServices services{.Connect = CreateConnection,
                                       .Passwords = {},
                                       .Report = [](const std::string&) {},
                                       .Output = out,
                                       .Errors = errors};
        return static_cast<int>(Inspect(words, services));
    }

    TestWarehouse warehouse;
    std::ostringstream out;
    std::ostringstream errors;
};

TEST_F(InspectProgram, RefusesWhatItDoesNotUnderstand) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "no subcommand"},
        {{"look"}, "unknown subcommand look"},
        {{"plan", "x"}, "unexpected word x"},
        {{"plan", "-del"}, "unknown option -del"},
        {{"plan", "--list"}, "--list is an option of verify"},
        {{"plan", "--format", "xml"}, "--format is text, json or csv"},
        {{"why", "product"}, "why needs a table and the key"},
        {{"why", "shop", "1"}, "no dimension \"shop\""},
        {{"why", "product", "1", "2"}, "has 1 columns (product_id), not 2"},
        {{"why", "product", "99"}, "product has no element with product_id = 99"},
    };
    for (const auto& [words, message] : cases) {
        EXPECT_EQ(Run(words), 2) << message;
        EXPECT_NE(errors.str().find(message), std::string::npos) << errors.str();
        EXPECT_EQ(out.str(), "");
    }
    EXPECT_EQ(Run({"plan", "-db", "dw"}, false), 2);
    EXPECT_NE(errors.str().find("-mac and -db are needed"), std::string::npos);
    EXPECT_EQ(Run({"plan", "-mac", "sqlite:/nowhere", "-db"}, false), 2);
    warehouse.Run("UPDATE dwm_tables SET table_type = 'SHOP' WHERE table_type = 'FACT'");
    EXPECT_EQ(Run({"plan"}), 2);
    EXPECT_NE(errors.str().find("table_type  Incorrect"), std::string::npos) << errors.str();
}

}  // namespace
}  // namespace morvane::testing
