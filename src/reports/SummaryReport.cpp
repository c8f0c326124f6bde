// SPDX-License-Identifier: Apache-2.0
#include "reports/SummaryReport.h"

#include "reports/ReportFile.h"
#include "reports/ReportFrame.h"
#include "reports/ReportQueries.h"

namespace morvane {

namespace {

constexpr std::string_view kTitle = "Summary Report On Unused Dimension Table Elements";
constexpr std::string_view kHeading =
    "Summary Report On Unused Dimension Table Elements Marked To Be Deleted";

std::string TableHead() {
    return Lines({
        "<TABLE bgColor=#eeecdf border=1 borderColor=#808080 borderColorLight=#990033",
        "cellPadding=2 width=\"50%\">",
        "<TBODY>",
        "<TR>",
        "<TD bgColor=#b9b17b width=\"60%\"><B>Dimension",
        "Table</B></TD>",
        "<TD bgColor=#b9b17b colSpan=15 width=\"40%\"><B>No. Of Unused Records</B></TD>",
        "</TR>",
    });
}

}  // namespace

void WriteSummaryReport(ReportRun& run) {
    ReportFile file(run.PathOf(Report::Summary));
    file.WriteLine(
        BuildReportHead(run.State, kTitle, kHeading, Report::Detailed, Report::TableFilter) +
        TableHead());
    const auto tables = LoadDimensionTables(run.Warehouse());
    for (; !tables->Eof(); tables->MoveNext()) {
        const std::string name = (*tables)[0].Text();
        const std::int32_t count = CountUnusedRecords(run.Warehouse(), name);
        file.Write(Lines({
            "<TR>",
            "\t<TD>" + name + "</TD>",
            "\t<TD><p align=center>" + std::to_string(count) + "</FONT></TD>",
            "</TR>",
        }));
        run.Counts.Add(name, count);
        run.Advance();
    }
    file.WriteLine(BuildReportFoot());
    file.Close();
}

}  // namespace morvane
