// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace morvane {

// Throws NotStarted if no file can be created in the folder.
void RequireWritableFolder(const std::filesystem::path& folder);

// Throws NotStarted if the file is a folder or its folder is not writable. Accepts an empty name.
void RequireWritableFile(const std::string& file);

// Removes the file of an earlier run if there is one. Keeps devices such as /dev/null. Throws
// FileError.
void RemoveOldFile(const std::string& path);

// The first line of a password file. A name without a folder is a credential of the service
// manager, which protects it, so its permissions are not checked. Throws NotStarted or FileError.
std::string ReadPasswordFile(const std::string& path);

}  // namespace morvane
