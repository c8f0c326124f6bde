// SPDX-License-Identifier: Apache-2.0
#include "reports/DetailedReport.h"

#include "base/Text.h"
#include "reports/ReportFile.h"
#include "reports/ReportFrame.h"
#include "reports/ReportQueries.h"

namespace morvane {

namespace {

constexpr std::string_view kTitle = "Detailed Report On Unused Dimension Table Elements";
constexpr std::string_view kHeading =
    "Detailed Report On Unused Dimension Table Elements Marked To Be Deleted";

std::string TableHead() {
    return Lines({
        "<TABLE bgColor=#eeecdf border=1 borderColor=#808080 borderColorLight=#990033",
        "cellPadding=2 width=\"80%\">",
        "<TBODY>",
        "<TR>",
        "<TD bgColor=#b9b17b width=\"25%\"><B>Dimension",
        "Table</B></TD>",
        "<TD bgColor=#b9b17b colSpan=15 width=\"75%\"><B>Key Fields</B>",
        "</TD></TR>",
    });
}

std::string CaptionRow(const std::string& tableName, const std::vector<std::string>& keyFields) {
    std::string row = Lines({"<TR>", "<TD bgColor=#A9A9A9>" + tableName + "</TD>"});
    for (const std::string& field : keyFields) {
        row += Lines({"<TD bgColor=#A9A9A9>" + field + "</TD>"});
    }
    return row + "</TR>";
}

// A million rows are usual: one text is used again and again, and a row is one write.
void WriteElements(ReportFile& file, Recordset& records) {
    std::string row;
    for (; !records.Eof(); records.MoveNext()) {
        for (const Field& field : records.Fields()) {
            row += "<TD>";
            field.Value.AppendTextTo(row);
            row += "</TD>\r\n";
        }
        row += "</TR>\r\n\r\n";
        file.Write(row);
        // The first row continues the one that the spanning cell opened.
        row = "<TR>\r\n";
    }
}

void WriteTable(ReportRun& run, ReportFile& file, const std::string& name, std::int32_t count) {
    const std::vector<std::string> keyFields = GetKeyFields(run.Warehouse(), name);
    file.WriteLine(CaptionRow(name, keyFields));
    file.WriteLine("<TR><TD rowspan=\"" + std::to_string(count) + "\">&nbsp;</TD>");
    WriteElements(file, *OpenUnusedRecords(run.Warehouse(), name, keyFields));
}

}  // namespace

void WriteDetailedReport(ReportRun& run) {
    ReportFile file(run.PathOf(Report::Detailed));
    file.WriteLine(
        BuildReportHead(run.State, kTitle, kHeading, Report::Summary, Report::TableFilter) +
        TableHead());
    for (const auto& [name, count] : run.Counts) {
        if (count != 0) {
            WriteTable(run, file, name, count);
        }
        run.Advance();
    }
    file.WriteLine(BuildReportFoot());
    file.Close();
}

}  // namespace morvane
