// SPDX-License-Identifier: Apache-2.0
#include "run/PerformTasks.h"

#include <array>
#include <string_view>

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modCheckMetaData.h"
#include "reports/modGenerateReports.h"
#include "run/ExitGuard.h"
#include "run/TaskCaptions.h"
#include "tasks/modArchiveFactTables.h"
#include "tasks/modDeleteRecords.h"
#include "tasks/modDetectAndMark.h"

namespace morvane {

namespace {

struct TaskContext {
    const RunSettings& Settings;
    RunState& State;
    RunServices& Services;
    RunLog& Log;
};

bool Check(TaskContext& context) {
    return CheckMetaData(context.State, context.Services.Progress);
}

bool Archive(TaskContext& context) {
    return ArchiveFactTables(context.State, context.Services.Progress, context.Services.Clock,
                             context.Log);
}

bool Mark(TaskContext& context) {
    return MarkUnusedElements(context.State, context.Services.Progress);
}

bool Report(TaskContext& context) {
    return GenerateAllReports(context.State, context.Services.Progress,
                              context.Settings.LogDirectory);
}

bool Delete(TaskContext& context) {
    return DeleteRecords(context.State, context.Services.Progress, context.Services.Connect,
                         context.Settings.AtomicDeletion);
}

struct Task {
    bool RunSettings::*Flag;
    bool (*Perform)(TaskContext&);
    std::string_view CancelMessage;
    std::string_view Name;  // empty for the one task that has an error message of its own
};

// In the order in which they are performed, which is that of the check boxes too. The reports come
// before the deletion, since they tell what will be deleted.
constexpr std::array kTasks{
    Task{&RunSettings::CheckMetaData, Check, "Checking of Meta Data Process Cancelled by User.",
         ""},
    Task{&RunSettings::ArchiveFactTables, Archive,
         "Archieving Fact Table Process Cancelled by User.", "Archive Fact Table"},
    Task{&RunSettings::DetectAndMark, Mark, "Marking Process Cancelled by User.",
         "Detect And Mark"},
    Task{&RunSettings::GenerateReports, Report, "Report Generation Process Cancelled by User.",
         "Generate Reports"},
    Task{&RunSettings::DeleteMarked, Delete, "Deletion Process Cancelled by User.",
         "Delete Records"},
};

void DescribeFailure(const Task& task, bool cancelled, std::string& errorText) {
    if (cancelled) {
        errorText += task.CancelMessage;
    } else if (task.Name.empty()) {
        errorText += "Error occured while checking meta data";
    } else {
        errorText += "Error Occured in Task ::\t";
        errorText += task.Name;
        errorText += kCrLf;
        errorText += "Program Terminated.";
    }
    errorText += kCrLf;
}

// So that the summary does not list what was not done. Atomic deletion is a way of deleting.
void ClearFlagsFrom(std::size_t first, RunSettings& settings) {
    for (std::size_t i = first; i < kTasks.size(); ++i) {
        settings.*kTasks[i].Flag = false;
    }
    settings.AtomicDeletion = false;
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

std::vector<std::string> SelectedTaskNames(const RunSettings& settings) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < kTasks.size(); ++i) {
        if (settings.*kTasks[i].Flag) {
            names.push_back(RemUnderscore(kTaskCaptions[i]));
        }
    }
    return names;
}

void ReopenWarehouse(RunState& state, const std::string& database) {
    if (!state.WarehouseConnection->IsOpen()) {
        state.WarehouseConnection->Open();
    }
    state.WarehouseConnection->SetDefaultDatabase(database);
}

void CloseQuietly(Connection& connection) {
    std::string ignored;
    TrapErrors(ignored, [&connection] {
        if (connection.IsOpen()) {
            connection.Close();
        }
        return true;
    });
}

bool PerformTasks(RunSettings& settings, RunState& state, RunServices& services, RunLog& log) {
    if (!PrepareWarehouse(settings, state)) {
        return false;
    }
    ProgressWindow& progress = services.Progress;
    TaskContext context{settings, state, services, log};
    std::size_t listed = 0;
    for (std::size_t i = 0; i < kTasks.size(); ++i) {
        const Task& task = kTasks[i];
        if (!(settings.*task.Flag)) {
            continue;
        }
        const ExitGuard cancelled([&] {
            DescribeFailure(task, true, state.ErrorText);
            ClearFlagsFrom(i, settings);
        });
        progress.MarkTaskRunning(listed);
        if (!TrapErrors(state.ErrorText, [&] { return task.Perform(context); })) {
            DescribeFailure(task, progress.CancelReported() || progress.CheckCancelState(),
                            state.ErrorText);
            ClearFlagsFrom(i, settings);
            return false;
        }
        progress.MarkTaskCompleted(listed);
        ++listed;
    }
    return true;
}

}  // namespace morvane
