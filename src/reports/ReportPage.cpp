// SPDX-License-Identifier: Apache-2.0
#include "reports/ReportPage.h"

#include "base/Clock.h"
#include "base/Text.h"

namespace morvane {

namespace {

// Users compare reports byte by byte, so the duplicate rule, the entities without a semicolon and
// the odd spacing, here and below, must stay.
std::string StyleSheet() {
    const auto rule = [](std::string_view selector,
                         std::initializer_list<std::string_view> properties) {
        std::string text = Lines({selector, "{"});
        for (const std::string_view property : properties) {
            text += '\t';
            text += property;
            text += kCrLf;
        }
        return text + Lines({"}"});
    };
    return rule("A:link", {"COLOR: navy;", "TEXT-DECORATION: none"}) +
           rule("A:hover", {"TEXT-DECORATION: underline"}) +
           rule("A:visited", {"COLOR: navy;", "TEXT-DECORATION: none"}) +
           rule("A:hover", {"COLOR: navy;", "TEXT-DECORATION: underline"}) +
           rule("HR", {"COLOR: #990033;", "HEIGHT: 1px;", "MARGIN-TOP: 0px;", "WIDTH: 97%"}) +
           rule("BODY", {"BACKGROUND-ATTACHMENT: fixed;", "BACKGROUND-COLOR: #ffedd5;",
                         "COLOR: #990033;", "FONT-FAMILY: sans-serif;", "FONT-SIZE: 8pt"}) +
           rule("Table", {"COLOR: #990033;", "FONT-FAMILY: sans-serif;", "FONT-SIZE: 8pt;",
                          "MARGIN-LEFT: 10px;"});
}

std::string Heading(const RunState& state, std::string_view heading) {
    return Lines({
        "<P align=center><B><FONT SIZE=2 FACE=\"Times New Roman\" COLOR=\"#990033\">" +
            std::string(heading) + "</FONT></B></P>",
        "<A NAME=\"up_top\"></A>",
        "<TABLE WIDTH=95%>",
        "<TR>",
        "<TD ALIGN=center><TT><b>Report Generated On :</b>&nbsp;" + LongDate(state.RunStartDate) +
            "</TT></TD>",
        "</TR>",
        "<TR>",
        "<TD ALIGN=center><TT><b>&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;At :"
        "&nbsp;</b>" +
            LocaleTime(state.RunStartTime) + "</TT></td>",
        "</TR>",
        "</TABLE>",
        "<HR><BR>",
    });
}

std::string LinkTo(Report report, const RunState& state) {
    return "<A HREF=\"" + ReportFileName(report, state) + "\"><B>" +
           std::string(ReportLinkText(report)) + "</B></A></TD>";
}

std::string WarehouseTable(const RunState& state, Report firstLink, Report secondLink) {
    const std::string server = state.WarehouseConnection->Property("Data Source");
    const std::string database = state.WarehouseConnection->DefaultDatabase();
    return Lines({
        "<TABLE border=0 WIDTH =95%>",
        "<TR>",
        "<TD><B>Server</B>&nbsp" + std::string(Trim(server)) + "</TD>",
        "<TD align = Right>" + LinkTo(firstLink, state),
        "</TR>",
        "<TR>",
        "<TD><B>Database</B>&nbsp" + std::string(Trim(database)) + "</TD>",
        "<TD ALIGN = Right>" + LinkTo(secondLink, state),
        "</TR>",
        "</TABLE>",
    });
}

}  // namespace

std::string Lines(std::initializer_list<std::string_view> lines) {
    std::string text;
    for (const std::string_view line : lines) {
        text += line;
        text += kCrLf;
    }
    return text;
}

void ReportFile::WriteLine(std::string_view text) {
    std::string line(text);
    line += kCrLf;
    Write(line);
}

// Converting the whole text gives the same result as converting each value: the ASCII markup around
// a value ends any incomplete UTF-8 sequence in it.
void ReportFile::Write(std::string_view text) {
    if (IsAscii(text)) {
        file_.Write(text);
    } else {
        ascii_.clear();
        AppendAsciiHtml(ascii_, text);
        file_.Write(ascii_);
    }
}

std::string BuildReportHead(const RunState& state, std::string_view title, std::string_view heading,
                            Report firstLink, Report secondLink) {
    return Lines({"<HTML>", "<HEAD>", "\t<TITLE>" + std::string(title) + "</TITLE>", "</HEAD>",
                  "<STYLE>"}) +
           StyleSheet() + Lines({"</STYLE>", "<BODY>"}) + Heading(state, heading) +
           Lines({"<CENTER>"}) + WarehouseTable(state, firstLink, secondLink) + Lines({"<BR>"});
}

std::string BuildReportFoot() {
    return Lines({
               "</TABLE>",
               "<BR>",
               "<HR><BR>",
               "<TABLE WIDTH=95%>",
               "<TR>",
               "<TD ALIGN=right><A HREF=\"#up_top\"><B>Top</B></A></TD>",
               "</TR>",
               "</TABLE>",
               "</CENTER>",
               "</BODY>",
           }) +
           "</HTML>";
}

}  // namespace morvane
