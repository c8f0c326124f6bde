// SPDX-License-Identifier: Apache-2.0
#include "run/ValidateSettings.h"

#include <string_view>

#include "base/Text.h"
#include "run/CommandLine.h"

namespace morvane {

namespace {

class Checks {
  public:
    explicit Checks(std::string& errorText) : errorText_(errorText) {}

    void Require(bool holds, std::string_view message) {
        if (!holds) {
            errorText_ += kCrLf;
            errorText_ += message;
            passed_ = false;
        }
    }

    bool Passed() const { return passed_; }

  private:
    std::string& errorText_;
    bool passed_ = true;
};

bool IsGiven(const std::string& text) {
    return !Trim(text).empty();
}

void CheckWarehouse(const RunSettings& settings, Checks& checks) {
    checks.Require(IsGiven(settings.Machine), "Machine must be specified");
    checks.Require(IsGiven(settings.Database), "Database must be specified");
    checks.Require(settings.NTAuthentication || IsGiven(settings.UserName),
                   "Username must be specified for connecting to the database");
}

void CheckArchive(const RunSettings& settings, Checks& checks) {
    if (!settings.ArchiveFactTables) {
        return;
    }
    checks.Require(!(settings.NTAuthentication && settings.ArchiveNTAuthentication),
                   "It is not possible to use Windows NT Authentication for both the"
                   " Data Warehouse database and the archive database.");
    checks.Require(IsGiven(settings.ArchiveMachine), "Archive machine must be specified");
    checks.Require(IsGiven(settings.ArchiveDatabase), "Archive database must be specified");
    checks.Require(settings.ArchiveNTAuthentication || IsGiven(settings.ArchiveUserName),
                   "Username must be specified for connecting to the Archive database");
}

void CheckFiles(const RunSettings& settings, const RunState& state, Checks& checks) {
    checks.Require(!state.ConfigMode || IsGiven(state.ConfigFileName),
                   "When in Config Mode Please specify the Config File Name");
    checks.Require(!settings.StatusMode || IsGiven(settings.StatusFileName),
                   "When in Status Mode Please specify the Status File Name");
    checks.Require(settings.LogGiven && IsGiven(settings.LogDirectory),
                   "Log Directory name must be specified");
}

}  // namespace

bool ValidateSettings(const RunSettings& settings, RunState& state, const std::string& fault) {
    Checks checks(state.ErrorText);
    checks.Require(fault.empty(), fault);
    if (!settings.Help) {
        CheckWarehouse(settings, checks);
        CheckArchive(settings, checks);
        CheckFiles(settings, state, checks);
    }
    const bool valid = checks.Passed() && !settings.Help;
    if (state.CommandLineMode && !valid) {
        state.ErrorText += kCrLf;
        state.ErrorText += UsageText();
    }
    return valid;
}

}  // namespace morvane
