// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "db/embedded/Sqlite.h"
#include "db/embedded/Translation.h"

namespace morvane {
class Lexer;
}

namespace morvane::embedded {

struct CachedStatement {
    StatementKind Kind;
    SqliteStatement Statement;
    std::vector<DateParameter> ParameterDates;
};

// Prepared statements by their original text, so that a command executed once per row is translated
// and compiled only once.
class StatementCache {
  public:
    // The statement with that text, or null. Valid until the next Add().
    CachedStatement* Find(std::string_view sql) {
        key_ = sql;
        const auto found = statements_.find(key_);
        return found == statements_.end() ? nullptr : &found->second;
    }

    CachedStatement& Add(std::string_view sql, CachedStatement statement) {
        if (statements_.size() >= kMostStatements) {
            statements_.clear();
        }
        return statements_.insert_or_assign(std::string(sql), std::move(statement)).first->second;
    }

    void Clear() { statements_.clear(); }

  private:
    static constexpr std::size_t kMostStatements = 32;

    std::string key_;  // keeps its capacity between lookups
    std::unordered_map<std::string, CachedStatement> statements_;
};

// Splits "DELETE FROM t WHERE a = 'x' AND b = 5" into a statement with parameters (the shape) and
// the literals, so that statements that differ only in literals share one prepared statement.
// Reused between statements to keep its capacity.
class DeleteByLiterals {
  public:
    // False for other statements.
    bool Parse(std::string_view sql);

    const std::string& Shape() const { return shape_; }
    const std::vector<Value>& Literals() const { return literals_; }

  private:
    bool ParseLiteral(Lexer& lexer);
    Value& NextLiteral();

    std::string shape_;
    std::vector<Value> literals_;
    std::size_t literalCount_ = 0;
};

}  // namespace morvane::embedded
