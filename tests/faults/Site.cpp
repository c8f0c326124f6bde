// SPDX-License-Identifier: Apache-2.0
#include "Site.h"

#include <filesystem>

#include "base/modFileFunctions.h"
#include "support/RunFixture.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

Site::Site(std::string folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(WarehouseFolder());
    std::filesystem::create_directories(ArchiveFolder());
}

void Site::Fill() const {
    SqliteFile(Warehouse()).Run(ReadWholeFile(MORVANE_SITE_SQL));
    SqliteFile(Archive()).Run("PRAGMA user_version = 1");
}

void Site::CopyFrom(const Site& other) const {
    std::filesystem::copy_file(other.Warehouse(), Warehouse());
    std::filesystem::copy_file(other.Archive(), Archive());
}

RunSettings Site::EveryTask(bool linkedServer, bool atomicDeletion) const {
    RunSettings settings = testing::EveryTask("sqlite:" + WarehouseFolder(), Logs());
    AddArchiving(settings, "sqlite:" + ArchiveFolder(), linkedServer);
    settings.AtomicDeletion = atomicDeletion;
    settings.StatusMode = true;
    settings.StatusFileName = StatusFile();
    return settings;
}

}  // namespace morvane::testing
