// SPDX-License-Identifier: Apache-2.0
#include "run/StatusFile.h"

#include "base/modFileFunctions.h"

namespace morvane {

bool SetStatusFile(RunState& state, const std::string& path) {
    state.StatusFilePath = path;
    return true;
}

bool WriteStatus(const RunState& state, std::string_view word) {
    if (state.StatusFilePath.empty()) {
        return false;
    }
    try {
        TextFile file(state.StatusFilePath, TextFile::Flush::AtClose, NamedBy::User);
        file.WriteLine(word);
        file.Close();
        return true;
    } catch (const FileError&) {
        return false;
    }
}

bool StatusRunning(const RunState& state) {
    return WriteStatus(state, "running");
}

bool StatusOk(const RunState& state) {
    return WriteStatus(state, "ok");
}

bool StatusFailure(const RunState& state) {
    return WriteStatus(state, "failure");
}

}  // namespace morvane
