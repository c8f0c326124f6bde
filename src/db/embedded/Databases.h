// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane::embedded {

// The folder behind the name of an embedded server. Throws DatabaseError for another server's name.
std::string FolderOfServer(const std::string& server);

// The file of a database of an embedded server. Throws DatabaseError for a name that cannot be one.
std::string DatabaseFile(const std::string& folder, std::string_view database);

// A query in parentheses, named sysdatabases, whose column "name" has the databases of a folder,
// which are regular files; sorted, they come as a person orders names. Throws DatabaseError when
// the folder cannot be read.
std::string DatabaseList(const std::string& folder);

}  // namespace morvane::embedded
