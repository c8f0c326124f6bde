// SPDX-License-Identifier: Apache-2.0
#include "run/Tasks.h"

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modCheckMetaData.h"
#include "reports/modGenerateReports.h"
#include "run/ExitGuard.h"
#include "run/WarehouseAccess.h"
#include "tasks/modArchiveFactTables.h"
#include "tasks/modDeleteRecords.h"
#include "tasks/modDetectAndMark.h"

namespace morvane {

namespace {

Outcome RunCheck(TaskContext& context) {
    return CheckMetaData(context.State, context.Services.Progress);
}

Outcome RunArchive(TaskContext& context) {
    return ArchiveFactTables(context.State, context.Services.Progress, context.Services.Clock,
                             context.Log);
}

Outcome RunMark(TaskContext& context) {
    return MarkUnusedElements(context.State, context.Services.Progress);
}

Outcome RunReport(TaskContext& context) {
    return GenerateAllReports(context.State, context.Services.Progress,
                              context.Settings.LogDirectory);
}

Outcome RunDelete(TaskContext& context) {
    return DeleteRecords(context.State, context.Services.Progress, context.Services.Connect,
                         context.Settings.AtomicDeletion);
}

}  // namespace

// The reports come before the deletion, since they show what will be deleted.
constexpr std::array<Task, 6> kTasks{{
    {.Flag = &RunSettings::CheckMetaData,
     .VariantOf = nullptr,
     .Option = "chkmd",
     .Caption = "C&heck Meta Data",
     .ToolTip = "",
     .SummaryLine = " - Checking of Meta Data",
     .CancelMessage = "Checking of Meta Data Process Cancelled by User.",
     .ErrorName = "",
     .Perform = RunCheck},
    {.Flag = &RunSettings::ArchiveFactTables,
     .VariantOf = nullptr,
     .Option = "clsf",
     .Caption = "Archi&ve Fact Table Elements",
     .ToolTip = "Check when you want to move data from fact tables to an archive database. "
                "Indicate the conditions for the fact table elements to be archived and the place "
                "of the archive database by clicking the adjacent button.",
     .SummaryLine = " - Archiving Of Fact tables",
     .CancelMessage = "Archieving Fact Table Process Cancelled by User.",
     .ErrorName = "Archive Fact Table",
     .Perform = RunArchive},
    {.Flag = &RunSettings::DetectAndMark,
     .VariantOf = nullptr,
     .Option = "mark",
     .Caption = "Detect And &Mark Unused Dimension Elements",
     .ToolTip = "Mark Dimension table elements that are not used by any other table",
     .SummaryLine = " - Detection and Marking of Unused Dimension Elements",
     .CancelMessage = "Marking Process Cancelled by User.",
     .ErrorName = "Detect And Mark",
     .Perform = RunMark},
    {.Flag = &RunSettings::GenerateReports,
     .VariantOf = nullptr,
     .Option = "grep",
     .Caption = "&Generate Reports of Marked Unused Dimension Elements",
     .ToolTip = "Generates 3 HTML reports on unused Dimension table elements and the table "
                "filters applied",
     .SummaryLine = "",
     .CancelMessage = "Report Generation Process Cancelled by User.",
     .ErrorName = "Generate Reports",
     .Perform = RunReport},
    {.Flag = &RunSettings::DeleteMarked,
     .VariantOf = nullptr,
     .Option = "del",
     .Caption = "D&elete Marked Unused Dimension Elements",
     .ToolTip = "Delete all unused Dimension table elements",
     .SummaryLine = " - Delete Marked Dimension Elements",
     .CancelMessage = "Deletion Process Cancelled by User.",
     .ErrorName = "Delete Records",
     .Perform = RunDelete},
    {.Flag = &RunSettings::AtomicDeletion,
     .VariantOf = &RunSettings::DeleteMarked,
     .Option = "datom",
     .Caption = "Ato&mic Deletion",
     .ToolTip = "Delete a Dimension table element only if all its instances are unused",
     .SummaryLine = " - Delete marked elements only if all the siblings are unused.",
     .CancelMessage = "",
     .ErrorName = "",
     .Perform = nullptr},
}};

namespace {

void DescribeFailure(const Task& task, bool cancelled, std::string& errorText) {
    if (cancelled) {
        errorText += task.CancelMessage;
    } else if (task.ErrorName.empty()) {
        errorText += "Error occured while checking meta data";
    } else {
        errorText += "Error Occured in Task ::\t";
        errorText += task.ErrorName;
        errorText += kCrLf;
        errorText += "Program Terminated.";
    }
    errorText += kCrLf;
}

// So that the summary does not list tasks that were not completed.
void ClearFlagsFrom(std::size_t first, RunSettings& settings) {
    for (std::size_t i = first; i < kTasks.size(); ++i) {
        settings.*kTasks[i].Flag = false;
    }
}

// False for a variant, which its task performs.
bool IsSelected(const Task& task, const RunSettings& settings) {
    return task.Perform != nullptr && settings.*task.Flag;
}

bool PrepareWarehouse(const RunSettings& settings, RunState& state) {
    if (state.WarehouseConnection == nullptr) {
        state.ErrorText += "Connection to the Datawarehouse Not Available.";
        state.ErrorText += kCrLf;
        return false;
    }
    return TrapErrors(state.ErrorText, [&] {
        ReopenWarehouse(state, settings.Database);
        return true;
    });
}

}  // namespace

std::size_t TaskIndex(bool RunSettings::*flag) {
    std::size_t i = 0;
    while (kTasks.at(i).Flag != flag) {
        ++i;
    }
    return i;
}

std::vector<std::string> SelectedTaskNames(const RunSettings& settings) {
    std::vector<std::string> names;
    for (const Task& task : kTasks) {
        if (IsSelected(task, settings)) {
            names.push_back(RemUnderscore(task.Caption));
        }
    }
    return names;
}

Outcome PerformTasks(RunSettings& settings, RunState& state, RunServices& services, RunLog& log) {
    if (!PrepareWarehouse(settings, state)) {
        return Outcome::Failed;
    }
    ProgressWindow& progress = services.Progress;
    TaskContext context{settings, state, services, log};
    std::size_t listed = 0;
    for (std::size_t i = 0; i < kTasks.size(); ++i) {
        const Task& task = kTasks[i];
        if (!IsSelected(task, settings)) {
            continue;
        }
        const ExitGuard cancelled([&] {
            DescribeFailure(task, true, state.ErrorText);
            ClearFlagsFrom(i, settings);
        });
        progress.MarkTaskRunning(listed);
        const Outcome outcome = task.Perform(context);
        if (outcome != Outcome::Done) {
            // A cancel during a wait for the database appears as an error in the task.
            const bool cancel = outcome == Outcome::Cancelled || progress.CancelReported() ||
                                progress.CheckCancelState();
            DescribeFailure(task, cancel, state.ErrorText);
            ClearFlagsFrom(i, settings);
            return cancel ? Outcome::Cancelled : Outcome::Failed;
        }
        progress.MarkTaskCompleted(listed);
        ++listed;
    }
    return Outcome::Done;
}

}  // namespace morvane
