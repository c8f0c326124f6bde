// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/Connection.h"

namespace morvane {

struct DatabaseList {
    std::string ServerName;  // as the server calls itself
    std::vector<std::string> Names;
};

// Connects, lists the server's databases and disconnects. On failure false, with the reason in
// `errorText`.
bool ListDatabases(const ConnectionFactory& connect, const ServerLogin& login, DatabaseList& list,
                   std::string& errorText);

}  // namespace morvane
