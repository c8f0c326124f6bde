#include "db/embedded/StatementCache.h"

#include <charconv>

#include "db/embedded/Tokens.h"

namespace morvane::embedded {

namespace {

std::string LiteralText(std::string_view quoted) {
    std::string text;
    text.reserve(quoted.size());
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        text += quoted[i];
        if (quoted[i] == '\'') {
            ++i;  // a doubled quote
        }
    }
    return text;
}

bool ParseInteger(std::string_view digits, bool negative, std::int64_t& number) {
    const std::string signedDigits = (negative ? "-" : "") + std::string(digits);
    const char* end = signedDigits.data() + signedDigits.size();
    const auto [stop, error] = std::from_chars(signedDigits.data(), end, number);
    return error == std::errc() && stop == end;
}

// Reads "name = literal" at `i`; a "-" may stand before a number.
bool TakeComparison(const std::vector<Token>& tokens, std::size_t& i,
                    std::vector<Value>& literals) {
    if (i + 2 >= tokens.size() || !tokens[i].IsName() || !tokens[i + 1].Is("=")) {
        return false;
    }
    i += 2;
    const bool negative = tokens[i].Is("-");
    if (negative && ++i == tokens.size()) {
        return false;
    }
    if (tokens[i].Kind == TokenKind::Text && !negative) {
        literals.emplace_back(LiteralText(tokens[i].Text));
    } else if (std::int64_t number = 0; tokens[i].Kind == TokenKind::Number &&
                                        ParseInteger(tokens[i].Text, negative, number)) {
        literals.emplace_back(number);
    } else {
        return false;
    }
    ++i;
    return true;
}

}  // namespace

bool TakeDeleteLiterals(std::string_view sql, std::string& shape, std::vector<Value>& literals) {
    if (sql.empty() || (sql[0] | 0x20) != 'd') {
        return false;
    }
    const std::vector<Token> tokens = Tokenize(sql);
    if (tokens.size() < 7 || !tokens[0].Is("delete") || !tokens[1].Is("from") ||
        !tokens[2].IsName() || !tokens[3].Is("where")) {
        return false;
    }
    shape = "DELETE FROM " + tokens[2].Text + " WHERE ";
    literals.clear();
    std::size_t i = 4;
    while (true) {
        const std::size_t column = i;
        if (!TakeComparison(tokens, i, literals)) {
            return false;
        }
        shape += tokens[column].Text + " = ?";
        if (i == tokens.size()) {
            return true;
        }
        if (!tokens[i].Is("and")) {
            return false;
        }
        shape += " AND ";
        ++i;
    }
}

}  // namespace morvane::embedded
