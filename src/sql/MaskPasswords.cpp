// SPDX-License-Identifier: Apache-2.0
#include "sql/MaskPasswords.h"

#include <algorithm>

#include "base/Text.h"

namespace morvane {

namespace {

// An UPDATE of the archive settings. Its password holds no quote: such a statement is never sent.
std::string MaskColumn(std::string_view sql) {
    constexpr std::string_view kColumn = "sqlpassword = '";
    const std::size_t found = ToLower(sql).find(kColumn);
    if (found == std::string::npos) {
        return std::string(sql);
    }
    const std::size_t begin = found + kColumn.size();
    const std::size_t end = std::min(sql.find('\'', begin), sql.size());
    return std::string(sql.substr(0, begin)) + "***" + std::string(sql.substr(end));
}

// OPENROWSET holds the password unescaped, so it may contain anything, quotes included. It ends at
// the last text that looks like the start of the inserted rows.
std::string MaskRowset(std::string_view sql, std::string_view lower, std::size_t rowset) {
    const std::size_t login = lower.find(';', rowset);
    if (login == std::string_view::npos) {
        return std::string(sql.substr(0, rowset)) + "OPENROWSET(***";
    }
    const std::size_t end = lower.rfind(") select *, {ts ");
    std::string masked(sql.substr(0, login));
    masked += "; ***";
    if (end != std::string_view::npos && end > login) {
        masked += sql.substr(end);
    }
    return masked;
}

}  // namespace

MaskedSql MaskPasswords(std::string_view sql) {
    const std::string lower = ToLower(sql);
    const std::size_t rowset = lower.find("openrowset");
    return {rowset == std::string::npos ? MaskColumn(sql) : MaskRowset(sql, lower, rowset)};
}

}  // namespace morvane
