// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"

namespace morvane::testing {

// One folder with all that a run works on: a warehouse, an archive that is another server, the
// log and the reports, the status file.
class Site {
  public:
    explicit Site(std::string folder);

    // Makes the databases, with something for every task and every way of re-linking.
    void Fill() const;
    // The databases of another site, as they are now.
    void CopyFrom(const Site& other) const;

    std::string WarehouseFolder() const { return folder_ + "/warehouse"; }
    std::string ArchiveFolder() const { return folder_ + "/archive"; }
    std::string Warehouse() const { return WarehouseFolder() + "/dw.db"; }
    std::string Archive() const { return ArchiveFolder() + "/hist.db"; }
    std::string Logs() const { return folder_ + "/logs"; }
    std::string StatusFile() const { return folder_ + "/status.txt"; }

    // All five tasks; the archive is reached by a linked server or by OPENROWSET.
    RunSettings EveryTask(bool linkedServer, bool atomicDeletion) const;

  private:
    std::string folder_;
};

}  // namespace morvane::testing
