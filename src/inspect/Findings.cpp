// SPDX-License-Identifier: Apache-2.0
#include "inspect/Findings.h"

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "inspect/TemporaryTable.h"

namespace morvane {

namespace {

std::vector<std::string> ReadKeys(Connection& connection, const std::string& query,
                                  const std::vector<std::string>& key) {
    std::vector<std::string> keys;
    const auto rows = connection.OpenRecordset(query, RecordsetKind::Streamed);
    for (; !rows->Eof(); rows->MoveNext()) {
        std::string text;
        for (std::size_t i = 0; i < key.size(); ++i) {
            const Value& value = (*rows)[i];
            text += (i > 0 ? ", " : "") + key[i] + " = " + (value.IsNull() ? "NULL" : value.Text());
        }
        keys.push_back(std::move(text));
    }
    return keys;
}

}  // namespace

void FindingCollector::Add(Finding finding, const std::string& keysQuery,
                           const std::vector<std::string>& key) {
    if (listKeys_) {
        finding.Keys = ReadKeys(connection_, keysQuery, key);
    }
    Add(std::move(finding));
}

void FindingCollector::AddIfAny(Finding finding, const std::string& rowsQuery,
                                const std::vector<std::string>& key) {
    finding.Count = QueryNumber(connection_, "SELECT COUNT(*) FROM (" + rowsQuery + ") AS found");
    if (finding.Count > 0) {
        Add(std::move(finding), rowsQuery, key);
    }
}

void FindingCollector::CheckIfPossible(const std::string& what,
                                       const std::function<void()>& check) {
    std::string error;
    if (!TrapErrors(error, [&] {
            check();
            return true;
        })) {
        AddNotChecked(what + ": " + OneLine(error));
    }
}

}  // namespace morvane
