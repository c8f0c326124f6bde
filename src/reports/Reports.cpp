// SPDX-License-Identifier: Apache-2.0
#include "reports/Reports.h"

#include "base/Text.h"
#include "reports/ReportPage.h"

namespace morvane {

namespace {

constexpr std::string_view kSummaryTitle = "Summary Report On Unused Dimension Table Elements";
constexpr std::string_view kSummaryHeading =
    "Summary Report On Unused Dimension Table Elements Marked To Be Deleted";

std::string SummaryTableHead() {
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
    file.WriteLine(BuildReportHead(run.State, kSummaryTitle, kSummaryHeading, Report::Detailed,
                                   Report::TableFilter) +
                   SummaryTableHead());
    const auto tables = LoadDimensionTables(run.Warehouse());
    for (; !tables->Eof(); tables->MoveNext()) {
        const std::string name = (*tables)[0].Text();
        const std::int32_t count = CountUnusedRecords(run.Warehouse(), name);
        run.State.Result.Of(name).Marked = count;
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

namespace {

constexpr std::string_view kDetailedTitle = "Detailed Report On Unused Dimension Table Elements";
constexpr std::string_view kDetailedHeading =
    "Detailed Report On Unused Dimension Table Elements Marked To Be Deleted";

std::string DetailedTableHead() {
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

// Tables with a million rows are usual, so the text is reused and each row is a single write.
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
        // The first row of values continues the <TR> of the spanning cell.
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
    file.WriteLine(BuildReportHead(run.State, kDetailedTitle, kDetailedHeading, Report::Summary,
                                   Report::TableFilter) +
                   DetailedTableHead());
    for (const auto& [name, count] : run.Counts) {
        if (count != 0) {
            WriteTable(run, file, name, count);
        }
        run.Advance();
    }
    file.WriteLine(BuildReportFoot());
    file.Close();
}

namespace {

constexpr std::string_view kTableFilterTitle = "Report On Table Filters";

std::string FactTableHead() {
    return Lines({
        "<TABLE bgColor=#eeecdf border=1 borderColor=#808080 borderColorLight=#990033",
        "cellPadding=2 width=\"80%\">",
        "<TBODY>",
        "<TR>",
        "<TD bgColor=#b9b17b width=\"25%\"><B>Fact",
        "Table</B></TD>",
        "<TD bgColor=#b9b17b colSpan=15 width=\"75%\"><B>Filter</B></TD>",
        "</TR>",
    });
}

// Also closes the table of fact tables.
std::string DimensionTableHead() {
    return Lines({
        "</TABLE>",
        "<BR><BR>",
        "<TABLE bgColor=#eeecdf border=1 borderColor=#808080 borderColorLight=#990033",
        "cellPadding=2 width=\"30%\">",
        "<TBODY>",
        "<TR>",
        "<TD bgColor=#b9b17b ><B>Selected Dimension",
        "Tables</B></TD>",
        "</TR>",
    });
}

}  // namespace

void WriteTableFilterReport(ReportRun& run) {
    const auto dimensions = run.Warehouse().OpenRecordset(
        "SELECT table_name from dwm_tables WHERE UPPER(table_type)='DIMENSION' "
        "AND is_selected = 1");
    const auto facts = run.Warehouse().OpenRecordset(
        "SELECT table_name, where_clause from dwm_tables WHERE UPPER(table_type)='FACT'");
    ReportFile file(run.PathOf(Report::TableFilter));
    file.WriteLine(BuildReportHead(run.State, kTableFilterTitle, kTableFilterTitle, Report::Summary,
                                   Report::Detailed) +
                   FactTableHead());
    for (; !facts->Eof(); facts->MoveNext()) {
        file.Write(Lines({
            "<TR>",
            "\t<TD>" + (*facts)[0].Text() + "</TD>",
            "\t<TD>" + (*facts)[1].Text() + "</TD>",
            "</TR>",
        }));
        run.Advance();
    }
    file.WriteLine(DimensionTableHead());
    for (; !dimensions->Eof(); dimensions->MoveNext()) {
        file.Write(Lines({"<TR>", "\t<TD>" + (*dimensions)[0].Text() + "</TD>", "</TR>"}));
        run.Advance();
    }
    file.WriteLine(BuildReportFoot());
    file.Close();
}

}  // namespace morvane
