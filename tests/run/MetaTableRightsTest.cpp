// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"
#include "support/RunFixture.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// An attack by a user who can only write the meta tables, and the task that it targets.
struct Smuggled {
    const char* Name;
    bool RunSettings::*Task;
    std::string Sql;
};

void PrintTo(const Smuggled& smuggled, std::ostream* out) {
    *out << smuggled.Name;
}

// FOREIGN is a table in another database that the user who runs the tasks can write.
const std::vector<Smuggled> kSmuggled{
    {"RowsOfAnotherFileInACondition", &RunSettings::ArchiveFactTables,
     "UPDATE dwm_tables SET where_clause = '1=0 union all select *, 1 from FOREIGN'"},
    {"ALookAtAnotherFileInACondition", &RunSettings::ArchiveFactTables,
     "UPDATE dwm_tables SET where_clause = 'amount > (select count(*) from FOREIGN)'"},
    {"AnotherFileAsADimension", &RunSettings::DeleteMarked,
     "UPDATE dwm_tables SET table_name = 'FOREIGN' WHERE table_name = 'product';"
     "UPDATE dwm_star_relations SET primary_table = 'FOREIGN' WHERE primary_table = 'product'"},
    {"AConditionBehindATablesName", &RunSettings::DeleteMarked,
     "UPDATE dwm_tables SET table_name = 'sales where 1=1 --' WHERE table_name = 'product';"
     "UPDATE dwm_star_relations SET primary_table = 'sales where 1=1 --'"
     " WHERE primary_table = 'product'"},
    {"AnUpdateBehindATablesName", &RunSettings::DetectAndMark,
     "UPDATE dwm_tables SET table_name = 'sales set amount = 0 --' WHERE table_name = 'product';"
     "UPDATE dwm_star_relations SET primary_table = 'sales set amount = 0 --'"
     " WHERE primary_table = 'product'"},
    {"AConditionBehindAReferringTable", &RunSettings::DetectAndMark,
     "UPDATE dwm_tables SET table_name = 'sales where 1=1 --' WHERE table_name = 'sales';"
     "UPDATE dwm_star_relations SET foreign_table = 'sales where 1=1 --'"},
    {"AConditionBehindAColumn", &RunSettings::DetectAndMark,
     "UPDATE dwm_star_relations SET foreign_columns = 'product_id and 1=0 --'"
     " WHERE primary_table = 'product'"},
    {"AQueryForAColumnOfAReport", &RunSettings::GenerateReports,
     "UPDATE product SET is_deletable = 1;"
     "UPDATE dwm_star_relations SET primary_columns = '(select max(amount) from sales)'"},
};

class MetaTableRights : public RunFixture, public ::testing::WithParamInterface<Smuggled> {};

INSTANTIATE_TEST_SUITE_P(Writing, MetaTableRights, ::testing::ValuesIn(kSmuggled),
                         [](const auto& instance) { return std::string(instance.param.Name); });

TEST_P(MetaTableRights, ReachNoOtherFileAndNoOtherRows) {
    const TempFolder elsewhere;
    const SqliteFile foreign(elsewhere / "secret.db");
    foreign.Run(
        "CREATE TABLE kept(a, b, is_deletable); INSERT INTO kept VALUES(1, 2, 1), (3, 4, 1)");
    Archive.Run("CREATE TABLE sales(a, b, c, d)");
    const std::string rowset = "OPENROWSET(''SQLOLEDB'', ''sqlite:" + elsewhere.Path() +
                               "''; ''''; '''', secret.dbo.kept)";
    Warehouse.Run(ReplaceAll(GetParam().Sql, "FOREIGN", rowset));
    const auto contents = [&] {
        return Warehouse.Text("SELECT * FROM sales; SELECT * FROM product ORDER BY 1") +
               foreign.Text("SELECT * FROM kept") + Archive.Text("SELECT * FROM sales");
    };
    const std::string before = contents();
    ArchiveToo(false);
    Settings.CheckMetaData = Settings.ArchiveFactTables = Settings.DetectAndMark =
        Settings.GenerateReports = Settings.DeleteMarked = false;
    Settings.*GetParam().Task = true;
    EXPECT_FALSE(Run(Settings));
    EXPECT_EQ(contents(), before);
}

}  // namespace
}  // namespace morvane::testing
