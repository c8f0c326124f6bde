// SPDX-License-Identifier: Apache-2.0
#include "sql/Tokens.h"

#include "sql/Quoting.h"
#include "support/ErrorOf.h"

namespace morvane::testing {
namespace {

TEST(Tokens, FormATreeThatJoinsToTheStatement) {
    const std::string sql =
        "select a.[b]]c] , N'it''s'  from t /* x /* y */ ( */ where (a in (1, 2.5e-3)) -- )\nor b "
        "<> ?";
    const Tokens tokens = Tokenize(sql);
    EXPECT_EQ(JoinTokens(tokens),
              "select a.\"b]c\" , 'it''s' from t where (a in (1, 2.5e-3)) or b <> ?");
    const std::size_t where = FindWord(tokens, "where");
    ASSERT_TRUE(IsGroupAt(tokens, where + 1));
    const Token& group = tokens[where + 1];
    EXPECT_EQ(sql.substr(group.Begin, group.End - group.Begin), "(a in (1, 2.5e-3))");
    EXPECT_EQ(SplitAtCommas(group.Inside[2].Inside).size(), 2U);
    EXPECT_EQ(FindWord(tokens, "in"), tokens.size()) << "it is inside the parentheses";
}

TEST(Tokens, ReportsWhyATextIsNoStatement) {
    for (const auto& [sql, error] : std::map<std::string, std::string>{
             {"select 'a''", "Unclosed quotation mark."},
             {"select [a]]", "Unclosed bracket or quotation mark in a name."},
             {"select /* /* */ 1", "Missing end comment mark '*/'."},
             {"select (1", "A parenthesis is not closed."},
             {"select 1) (", "Incorrect syntax near ')'."},
             {"select `a`", "Incorrect syntax near '`'."},
             {std::string(1001, '(') + std::string(1001, ')'),
              "The statement has too many nested parentheses."}}) {
        EXPECT_TRUE(ErrorOf([text = sql] { Tokenize(text); }).starts_with(error)) << sql;
    }
}

TEST(Quoting, QuotesOnlyNamesThatNeedIt) {
    EXPECT_EQ(SqlName("store_id"), "store_id");
    for (const std::string name : {"order", "1st", "a b", "a]b", "", "$x"}) {
        EXPECT_EQ(Unquoted(SqlName(name)), name);
        EXPECT_EQ(Tokenize("select " + SqlName(name)).size(), 2U) << name;
    }
}

}  // namespace
}  // namespace morvane::testing
