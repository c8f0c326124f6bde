// SPDX-License-Identifier: Apache-2.0
#include "demo/DemoWarehouse.h"

#include <filesystem>

#include "base/modFileFunctions.h"
#include "demo/RetailModel.h"
#include "demo/SqliteFile.h"

namespace morvane::demo {

namespace {

void RefuseExisting(const std::string& path) {
    std::error_code error;
    if (std::filesystem::exists(ToPath(path), error)) {
        throw DemoError(path + " already exists; use --force to replace it");
    }
}

std::vector<TableCount> FillWarehouse(SqliteFile& file, std::int64_t scale) {
    const RetailModel model(scale);
    MakeTables(file);
    std::vector<TableCount> counts = FillFacts(file, model);
    for (TableCount& count : FillDimensions(file, model)) {
        counts.push_back(std::move(count));
    }
    MakeIndexes(file);
    return counts;
}

}  // namespace

std::vector<TableCount> MakeDemoWarehouse(const std::string& folder, std::int64_t scale,
                                          bool replace, const std::function<bool()>& stop) {
    EnsureFolder(folder);
    PendingFile warehouse(folder + kPathSeparator + kWarehouseFile);
    PendingFile archive(folder + kPathSeparator + kArchiveFile);
    if (!replace) {
        RefuseExisting(warehouse.Target());
        RefuseExisting(archive.Target());
    }
    std::vector<TableCount> counts;
    {
        SqliteFile file(warehouse.TemporaryPath(), stop);
        counts = FillWarehouse(file, scale);
        file.Finish();
    }
    SqliteFile(archive.TemporaryPath(), stop).Finish();
    // The warehouse comes last: if it exists, so does the archive.
    archive.Commit();
    warehouse.Commit();
    return counts;
}

}  // namespace morvane::demo
