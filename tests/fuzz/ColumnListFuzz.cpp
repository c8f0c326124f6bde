#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Require.h"
#include "core/DatabaseError.h"
#include "core/Text.h"
#include "db/embedded/Tokens.h"

namespace morvane::fuzz {
namespace {

void CheckPieces(std::string_view list, const std::vector<std::string>& pieces) {
    const auto commas = static_cast<std::size_t>(std::count(list.begin(), list.end(), ','));
    Require(pieces.size() == commas + 1, "one piece more than commas");
    Require(Join(pieces, ",") == list, "split and joined again it is the same");
}

void CheckNames(const std::vector<std::string>& pieces, const std::vector<std::string>& names) {
    Require(names.size() == pieces.size(), "as many names as pieces");
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string& name = names[i];
        const std::size_t at = pieces[i].find(name);
        Require(at != std::string::npos, "a name stands in its piece");
        Require(name.empty() || (name.front() != ' ' && name.back() != ' '),
                "no blanks around a name");
        const std::string rest = pieces[i].substr(0, at) + pieces[i].substr(at + name.size());
        Require(rest.find_first_not_of(' ') == std::string::npos, "nothing but blanks goes");
    }
    for (const char* separator : {",", ", ", "  ,"}) {
        Require(SplitColumnList(Join(names, separator)) == names,
                "names are the same however they are joined");
    }
}

bool IsPlainName(std::string_view name) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    return !name.empty() && isLetter(name[0]) && std::all_of(name.begin(), name.end(), [&](char c) {
        return isLetter(c) || c == '_' || (c >= '0' && c <= '9');
    });
}

// The check looks the names up; marking puts the pieces into its condition as they stand. Both
// must mean the same columns.
void CheckCondition(const std::vector<std::string>& primary,
                    const std::vector<std::string>& foreign) {
    for (std::size_t i = 0; i < std::min(primary.size(), foreign.size()); ++i) {
        const std::string primaryName(Trim(primary[i]));
        const std::string foreignName(Trim(foreign[i]));
        if (!IsPlainName(primaryName) || !IsPlainName(foreignName)) {
            continue;
        }
        const auto tokens = embedded::Tokenize("p." + primary[i] + " = f." + foreign[i]);
        Require(tokens.size() == 7, "a comparison of two columns");
        Require(tokens[2].NameText() == primaryName && tokens[6].NameText() == foreignName,
                "a piece in a condition is the column that was checked");
    }
}

}  // namespace
}  // namespace morvane::fuzz

// Two lists, the primary columns and the foreign ones, on a line each.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morvane;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::vector<std::vector<std::string>> lists;
    for (const std::string_view list : {text.substr(0, end), text.substr(end)}) {
        lists.push_back(Split(list, ','));
        fuzz::CheckPieces(list, lists.back());
        fuzz::CheckNames(lists.back(), SplitColumnList(list));
    }
    lists[1] = Split(text.substr(std::min(end + 1, size)), ',');
    fuzz::CheckCondition(lists[0], lists[1]);
    return 0;
}
