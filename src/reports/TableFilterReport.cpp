// SPDX-License-Identifier: Apache-2.0
#include "reports/TableFilterReport.h"

#include "reports/ReportFile.h"
#include "reports/ReportFrame.h"

namespace morvane {

namespace {

constexpr std::string_view kTitle = "Report On Table Filters";

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

// Ends the table of the fact tables, too.
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
    file.WriteLine(BuildReportHead(run.State, kTitle, kTitle, Report::Summary, Report::Detailed) +
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
