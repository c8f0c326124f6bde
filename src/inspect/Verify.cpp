// SPDX-License-Identifier: Apache-2.0
#include "inspect/Verify.h"

#include "inspect/HistoryChecks.h"
#include "inspect/KeyTypes.h"
#include "inspect/ReferenceChecks.h"
#include "inspect/StarSchema.h"

namespace morvane {

Verdict Verify(Connection& connection, const VerifyOptions& options, const StepReport& report) {
    const StarSchema star = ReadStarSchema(connection);
    FindingCollector found(connection, options.ListKeys, report);
    FindOrphans(found, star);
    FindDuplicateKeys(found, star);
    CheckHistories(found, star);
    FindMarkedInUse(found, star, MarkedIn::AllDimensions);
    CompareKeyTypes(found, star);
    CompareWithArchive(found, star, options.Archive, options.OpenArchive);
    return std::move(found).Result();
}

std::vector<Finding> MarkedButReferredTo(Connection& connection, bool listKeys,
                                         const StepReport& report) {
    FindingCollector found(connection, listKeys, report);
    FindMarkedInUse(found, ReadStarSchema(connection), MarkedIn::SelectedDimensions);
    return std::move(found).Result().Findings;
}

Answer VerifyAnswer(const Verdict& verdict) {
    Answer answer;
    answer.Columns = {{"check", "check"},
                      {"table", "table"},
                      {"count", "count"},
                      {"detail", "what is wrong"},
                      {"key", "key"}};
    for (const Finding& finding : verdict.Findings) {
        answer.Rows.push_back(
            {finding.Check, finding.Table, finding.Count, finding.Detail, Cell()});
        for (const std::string& key : finding.Keys) {
            answer.Rows.push_back({finding.Check, finding.Table, Cell(), Cell(), key});
        }
    }
    for (const std::string& what : verdict.NotChecked) {
        answer.Notes.push_back("Not checked: " + what);
    }
    answer.Found = !verdict.Findings.empty();
    return answer;
}

}  // namespace morvane
