// SPDX-License-Identifier: Apache-2.0
#include "core/MaskPasswords.h"

#include <algorithm>

#include "base/Text.h"

namespace morvane {

namespace {

// It holds no quote: the statement that sets it is not sent otherwise.
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

}  // namespace

// A password stands in the statement as it is, so that it can hold anything, quotes too. Only the
// frame around it is sure: it ends where the rows to insert begin, the last time that something
// looks like that, or not at all.
std::string MaskPasswords(std::string_view sql) {
    const std::string lower = ToLower(sql);
    const std::size_t rowset = lower.find("openrowset");
    if (rowset == std::string::npos) {
        return MaskColumn(sql);
    }
    const std::size_t login = lower.find(';', rowset);
    if (login == std::string::npos) {
        return std::string(sql.substr(0, rowset)) + "OPENROWSET(***";
    }
    const std::size_t end = lower.rfind(") select *, {ts ");
    std::string masked(sql.substr(0, login));
    masked += "; ***";
    if (end != std::string::npos && end > login) {
        masked += sql.substr(end);
    }
    return masked;
}

}  // namespace morvane
