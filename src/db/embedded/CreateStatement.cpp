// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/CreateStatement.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/MaskPasswords.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

bool IsConstraint(const std::string& item) {
    constexpr std::array<std::string_view, 5> kFirstWords = {"constraint", "primary", "unique",
                                                             "foreign", "check"};
    const Tokens tokens = Tokenize(item);
    return !tokens.empty() && IsOneOf(tokens[0], kFirstWords);
}

// The tokens of PRIMARY KEY in a column definition or constraint.
struct KeyPlace {
    std::size_t Begin = 0;  // CONSTRAINT if the key has a name, else PRIMARY
    std::size_t End = 0;    // after KEY and its options in a column definition
    std::string Name;
};

std::optional<KeyPlace> FindPrimaryKey(const Tokens& tokens) {
    for (std::size_t i = 0; i + 1 < tokens.size(); ++i) {
        if (tokens[i].Is("primary") && tokens[i + 1].Is("key")) {
            KeyPlace place{i, i + 2, {}};
            if (i >= 2 && tokens[i - 2].Is("constraint")) {
                place.Begin = i - 2;
                place.Name = tokens[i - 1].NameText();
            }
            while (place.End < tokens.size() &&
                   (tokens[place.End].Is("asc") || tokens[place.End].Is("desc") ||
                    tokens[place.End].Is("autoincrement"))) {
                ++place.End;
            }
            return place;
        }
    }
    return std::nullopt;
}

std::string DefaultKeyName(std::string_view table) {
    return "PK_" + std::string(table);
}

}  // namespace

CreateStatement::CreateStatement(std::string_view sql) {
    const Tokens tokens = Tokenize(sql);
    const auto definition = std::find_if(tokens.begin(), tokens.end(),
                                         [](const Token& token) { return token.IsGroup(); });
    if (definition - tokens.begin() < 3 || definition == tokens.end() || !tokens[0].Is("create") ||
        !tokens[1].Is("table")) {
        throw DatabaseError({"The table's definition cannot be read."}, MaskPasswords(sql));
    }
    for (const TokenSpan item : SplitAtCommas(definition->Inside)) {
        items_.push_back(JoinTokens(item));
    }
    options_ = JoinTokens({definition + 1, tokens.end()});
}

std::optional<std::string> CreateStatement::PrimaryKeyName(std::string_view table) const {
    for (const std::string& item : items_) {
        if (const auto place = FindPrimaryKey(Tokenize(item))) {
            return place->Name.empty() ? DefaultKeyName(table) : place->Name;
        }
    }
    return std::nullopt;
}

void CreateStatement::AddColumn(std::string text) {
    items_.insert(std::find_if(items_.begin(), items_.end(), IsConstraint), std::move(text));
}

bool CreateStatement::DropConstraint(std::string_view name, std::string_view table) {
    for (auto item = items_.begin(); item != items_.end(); ++item) {
        const Tokens tokens = Tokenize(*item);
        const auto place = FindPrimaryKey(tokens);
        const std::string keyName =
            place ? (place->Name.empty() ? DefaultKeyName(table) : place->Name) : std::string();
        const bool isKey = place && EqualsIgnoreCase(keyName, name);
        if (!IsConstraint(*item)) {
            if (isKey) {
                *item = JoinTokens(TokenSpan(tokens).first(place->Begin)) + " " +
                        JoinTokens(TokenSpan(tokens).subspan(place->End));
                return true;
            }
        } else if (isKey ||
                   (tokens[0].Is("constraint") && EqualsIgnoreCase(tokens[1].NameText(), name))) {
            items_.erase(item);
            return true;
        }
    }
    return false;
}

std::string CreateStatement::ComputedBy(std::string_view column) const {
    for (const std::string& item : items_) {
        const Tokens tokens = Tokenize(item);
        if (!EqualsIgnoreCase(tokens.at(0).NameText(), column)) {
            continue;
        }
        if (const std::size_t as = FindWord(tokens, "as", 1); IsGroupAt(tokens, as + 1)) {
            return JoinTokens(tokens[as + 1].Inside);
        }
    }
    return {};
}

std::string CreateStatement::TextFor(std::string_view table) const {
    return "CREATE TABLE " + QuotedName(table) + " (" + Join(items_, ", ") + ") " + options_;
}

std::string ServerDefault(std::string_view sqliteDefault) {
    Tokens tokens = Tokenize(sqliteDefault);
    while (tokens.size() == 1 && tokens[0].IsGroup()) {
        tokens = Tokens(std::move(tokens[0].Inside));
    }
    if (tokens.empty()) {
        return {};
    }
    const std::string text = JoinTokens(tokens);
    if (text == kLocalTimeDefault || EqualsIgnoreCase(text, "current_timestamp")) {
        return "getdate()";
    }
    const Token& last = tokens.back();
    const bool literal =
        (last.Kind == TokenKind::Text || last.Kind == TokenKind::Number || last.Is("null")) &&
        (tokens.size() == 1 || (tokens.size() == 2 && tokens[0].Is("-")));
    return literal ? text : "(" + text + ")";
}

}  // namespace morvane::embedded
