// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"

namespace morvane::testing {

// A folder with everything that a run works on: the warehouse, the archive on another server, the
// logs and reports, the status file.
class Site {
  public:
    explicit Site(std::string folder);

    // Creates the databases, with something for every task and every case of re-linking.
    void Fill() const;
    // Copies the databases of another site.
    void CopyFrom(const Site& other) const;

    std::string WarehouseFolder() const { return folder_ + "/warehouse"; }
    std::string ArchiveFolder() const { return folder_ + "/archive"; }
    std::string Warehouse() const { return WarehouseFolder() + "/dw.db"; }
    std::string Archive() const { return ArchiveFolder() + "/hist.db"; }
    std::string Logs() const { return folder_ + "/logs"; }
    std::string StatusFile() const { return folder_ + "/status.txt"; }

    // Settings for all five tasks, which archive through a linked server or OPENROWSET.
    RunSettings EveryTask(bool linkedServer, bool atomicDeletion) const;

  private:
    std::string folder_;
};

}  // namespace morvane::testing
