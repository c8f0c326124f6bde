// SPDX-License-Identifier: Apache-2.0
#include "run/ResultFile.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "base/Text.h"
#include "base/Version.h"
#include "base/modFileFunctions.h"

namespace morvane {

namespace {

using Json = nlohmann::ordered_json;

std::string_view OutcomeName(RunOutcome outcome) {
    switch (outcome) {
        case RunOutcome::Done:
            return "done";
        case RunOutcome::Failed:
            return "failed";
        case RunOutcome::Cancelled:
            return "cancelled";
        case RunOutcome::Locked:
            return "locked";
        case RunOutcome::OtherUser:
            return "other-user";
        case RunOutcome::NotStarted:
            break;
    }
    return "not-started";
}

std::string JsonMoment(const LocalMoment& moment) {
    return NeutralDate(IsoDateTime(moment));
}

Json TextOrNull(std::string_view text) {
    const std::string_view trimmed = Trim(text);
    return trimmed.empty() ? Json(nullptr) : Json(trimmed);
}

Json Number(const std::optional<std::int64_t>& number) {
    return number ? Json(*number) : Json(nullptr);
}

Json TableObject(const TableResult& table) {
    return {{"table", table.Table},
            {"archived", Number(table.Archived)},
            {"marked", Number(table.Marked)},
            {"deleted", Number(table.Deleted)},
            {"relinked", Number(table.Relinked)},
            {"seconds", table.Time.count()}};
}

}  // namespace

std::string ResultText(const RunSettings& settings, const RunState& state, const LocalMoment& end,
                       const std::string& logPath) {
    Json result;
    result["morvane"] = kVersion;
    result["start"] = JsonMoment({state.RunStartDate, state.RunStartTime});
    result["end"] = JsonMoment(end);
    result["server"] = TextOrNull(settings.Machine);
    result["database"] = TextOrNull(settings.Database);
    result["archive_server"] = TextOrNull(settings.ArchiveMachine);
    result["archive_database"] = TextOrNull(settings.ArchiveDatabase);
    result["outcome"] = OutcomeName(state.Result.Outcome);
    result["tables"] = Json::array();
    for (const TableResult& table : state.Result.Tables) {
        result["tables"].push_back(TableObject(table));
    }
    result["errors"] = Json::array();
    for (const std::string& line : Split(state.ErrorText, '\n')) {
        if (const std::string_view text = Trim(line, kWhiteSpace); !text.empty()) {
            result["errors"].push_back(text);
        }
    }
    result["log"] = TextOrNull(logPath);
    result["reports"] = state.Result.Reports;
    return result.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

void ReplaceFile(const std::string& path, const std::string& text) {
    const std::string beside = path + ".new";
    std::error_code failed;
    std::filesystem::remove(ToPath(beside), failed);
    TextFile file(beside);
    file.Write(text);
    file.Close();
    std::filesystem::rename(ToPath(beside), ToPath(path), failed);
    if (failed) {
        std::error_code ignored;
        std::filesystem::remove(ToPath(beside), ignored);
        throw FileError("Cannot write the file \"" + path + "\": " + failed.message());
    }
}

}  // namespace morvane
