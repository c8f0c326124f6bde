// SPDX-License-Identifier: Apache-2.0
#include "run/ConsoleProgress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <exception>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

#include "base/Text.h"

namespace morvane {

namespace {

// Cuts a text to a number of bytes without splitting a UTF-8 character.
std::string_view CutTo(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) {
        return text;
    }
    const auto isContinuation = [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
    };
    while (bytes > 0 && isContinuation(text[bytes])) {
        --bytes;
    }
    return text.substr(0, bytes);
}

}  // namespace

ConsoleProgress::ConsoleProgress(std::ostream& stream, int columns,
                                 std::function<bool()> inputWaits)
    : stream_(stream), columns_(columns), inputWaits_(std::move(inputWaits)) {}

ConsoleProgress::~ConsoleProgress() {
    try {
        Erase();
    } catch (const std::exception&) {
        // The line stays where it is.
    }
}

void ConsoleProgress::ShowOverview(const RunOverview& overview) {
    taskNames_ = overview.TaskNames;
    ending_ = "Finished";
    listed_ = 0;
    comment_ = relation_ = "";
    shownFrame_ = ProgressFrame::OverallProgFrame;
    minimum_ = maximum_ = value_ = 0;
}

void ConsoleProgress::Comment(std::string_view strComment) {
    comment_ = strComment;
    Draw();
}

std::int32_t ConsoleProgress::ProgressVal() const {
    return static_cast<std::int32_t>(std::lrint(value_));
}

void ConsoleProgress::ProgressVal(std::int32_t lngNewVal) {
    SetProgressValue(static_cast<float>(lngNewVal));
}

void ConsoleProgress::SetProgressRange(float minimum, float maximum) {
    minimum_ = minimum;
    maximum_ = maximum;
}

// May be called once per row, so only a new percentage redraws the line.
void ConsoleProgress::SetProgressValue(float value) {
    value_ = value;
    if (columns_ > 0 && Percent() != drawnPercent_) {
        Draw();
    }
}

void ConsoleProgress::HideFrame(ProgressFrame) {}

void ConsoleProgress::ShowFrame(ProgressFrame objFrame) {
    shownFrame_ = objFrame;
}

void ConsoleProgress::ShowRelation(std::string_view primaryTable, std::string_view foreignTable) {
    relation_ = fmt::format("{} <- {}", primaryTable, foreignTable);
    Draw();
}

void ConsoleProgress::MarkTaskRunning(std::size_t k) {
    listed_ = k;
    comment_ = relation_ = "";
    minimum_ = maximum_ = value_ = 0;
    Draw();
}

void ConsoleProgress::MarkTaskCompleted(std::size_t) {}

bool ConsoleProgress::PollForCancel() {
    return inputWaits_();
}

void ConsoleProgress::RemoveProgIndicator() {
    Erase();
}

void ConsoleProgress::ShowStopped(Outcome outcome) {
    Erase();
    if (outcome != Outcome::Done) {
        ending_ = outcome == Outcome::Cancelled ? "Cancelled" : "Failed";
    }
}

void ConsoleProgress::ShowEndTime(std::string_view endTime) {
    if (columns_ > 0) {
        Erase();
        stream_ << ending_ << " on " << endTime << '\n' << std::flush;
    }
}

void ConsoleProgress::EnableObject(ProgressControl objControl) {
    if (objControl == ProgressControl::cmdOK) {
        Erase();
    }
}

void ConsoleProgress::DisableObject(ProgressControl) {}

void ConsoleProgress::Refresh() {
    Draw();
}

void ConsoleProgress::ProcessEvents() {}

// -1 without a range.
int ConsoleProgress::Percent() const {
    if (!(maximum_ > minimum_)) {
        return -1;
    }
    const float part = std::clamp((value_ - minimum_) / (maximum_ - minimum_), 0.0F, 1.0F);
    return static_cast<int>(part * 100);
}

std::string ConsoleProgress::Line() const {
    const int percent = Percent();
    std::string line = percent < 0 ? "     " : fmt::format("{:3}% ", percent);
    line += listed_ < taskNames_.size() ? taskNames_[listed_] : "Morvane";
    const std::string& detail =
        shownFrame_ == ProgressFrame::DetectProgFrame ? relation_ : comment_;
    if (!detail.empty()) {
        line += ": " + ToVisible(detail, "");
    }
    // A line that fills the terminal would wrap.
    return std::string(CutTo(line, static_cast<std::size_t>(columns_ - 1)));
}

void ConsoleProgress::Draw() {
    if (columns_ <= 0) {
        return;
    }
    const std::string line = Line();
    const std::size_t rest = drawnLength_ > line.size() ? drawnLength_ - line.size() : 0;
    // Leaves the cursor at the start of the line, so that the next line overwrites an echoed "^C".
    stream_ << '\r' << line << std::string(rest, ' ') << '\r' << std::flush;
    drawnLength_ = line.size();
    drawnPercent_ = Percent();
}

void ConsoleProgress::Erase() {
    if (drawnLength_ > 0) {
        stream_ << '\r' << std::string(drawnLength_, ' ') << '\r' << std::flush;
        drawnLength_ = 0;
    }
}

#ifdef _WIN32

int ErrorTerminalColumns() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (_isatty(2) == 0 || GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) == 0) {
        return 0;
    }
    return info.srWindow.Right - info.srWindow.Left + 1;
}

#else

int ErrorTerminalColumns() {
    if (isatty(STDERR_FILENO) == 0) {
        return 0;
    }
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;  // the usual width
}

#endif

}  // namespace morvane
