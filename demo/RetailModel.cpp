// SPDX-License-Identifier: Apache-2.0
#include "demo/RetailModel.h"

#include <array>
#include <string_view>

#include "demo/Names.h"

namespace morvane::demo {

namespace {

std::int64_t WholeSquareRoot(std::int64_t number) {
    std::int64_t root = 1;
    while ((root + 1) * (root + 1) <= number) {
        ++root;
    }
    return root;
}

// What refers to a geography, by its number modulo kRoles: 0 nothing, 1 to 4 only stores,
// shipments, sales or carriers, from kSharedRole on everything but carriers.
constexpr std::int64_t kRoles = 20;
constexpr std::int64_t kStoreRole = 1;
constexpr std::int64_t kShipmentRole = 2;
constexpr std::int64_t kSaleRole = 3;
constexpr std::int64_t kCarrierRole = 4;
constexpr std::int64_t kSharedRole = 5;

// Of every twelve stores, one has employees but no sales, and one has neither.
constexpr std::int64_t kStoreCycle = 12;
constexpr std::int64_t kStaffedOnly = 0;
constexpr std::int64_t kAbandoned = 6;

// One character per version, oldest first: "u" is used by sales, "-" is not. Most customers have
// only used versions; the others have unused ones at the start, in the middle, at the end, or only.
constexpr std::array<std::string_view, 50> kHistories = {
    "u", "uu",   "uuu",    "-u", "uuuu",  "u",      "uu",   "-",    "uuuuu",  "uu",
    "u", "u-u",  "uuu",    "uu", "u-",    "uuuu",   "u",    "uu",   "-uu",    "uuuuuu",
    "u", "uuu",  "uu-uu",  "uu", "--",    "uuuu",   "u",    "uu-",  "uu",     "uuu",
    "u", "u--u", "uuuuu",  "uu", "u",     "uuuu--", "uuu",  "--uu", "-",      "uu",
    "u", "uuuu", "-u--u-", "uu", "uuuuu", "u",      "----", "uuu",  "uuuuu-", "uuuuuu",
};
constexpr auto kCustomersInBlock = static_cast<std::int64_t>(kHistories.size());
constexpr std::int64_t kBlocksAtScale1 = 40;

// For each history the number of versions before it in the block, then the block's total.
constexpr auto kVersionsBefore = [] {
    std::array<std::int64_t, kHistories.size() + 1> before{};
    for (std::size_t i = 0; i < kHistories.size(); ++i) {
        before[i + 1] = before[i] + static_cast<std::int64_t>(kHistories[i].size());
    }
    return before;
}();
constexpr std::int64_t kVersionsInBlock = kVersionsBefore.back();
constexpr std::int64_t kMostVersions = 6;

// Maps each version of a block to its history.
constexpr auto kHistoryOfVersion = [] {
    std::array<std::uint8_t, kVersionsInBlock> histories{};
    for (std::size_t i = 0; i < kHistories.size(); ++i) {
        for (auto v = kVersionsBefore[i]; v < kVersionsBefore[i + 1]; ++v) {
            histories[static_cast<std::size_t>(v)] = static_cast<std::uint8_t>(i);
        }
    }
    return histories;
}();

std::string_view HistoryOf(std::int64_t customer) {
    return kHistories[static_cast<std::size_t>(customer % kCustomersInBlock)];
}

// The start date of a version. A customer's versions are of similar length and none is short, so
// that every used version gets sales. Customers with many versions started early.
Day StartOf(std::int64_t customer, std::int64_t version, std::int64_t versions) {
    constexpr std::array<std::int64_t, 2> spreadOfFewVersions = {2700, 1200};
    constexpr std::int64_t spreadOfMany = 180;
    const std::int64_t spread =
        versions <= 2 ? spreadOfFewVersions[static_cast<std::size_t>(versions - 1)] : spreadOfMany;
    const Day first = DayOf(2015, 7, 1) + Random(Stream::CustomerStart, customer).Below(spread);
    if (version == 0) {
        return first;
    }
    const std::int64_t period = (kLastFactDay - first) / versions;
    Random random(Stream::CustomerPeriod, customer * kMostVersions + version);
    return first + version * period + random.Between(-period / 8, period / 8);
}

}  // namespace

CustomerHistories::CustomerHistories(std::int64_t scale) : blocks_(kBlocksAtScale1 * scale) {}

std::int64_t CustomerHistories::Customers() const {
    return blocks_ * kCustomersInBlock;
}

std::int64_t CustomerHistories::Versions() const {
    return blocks_ * kVersionsInBlock;
}

CustomerVersion CustomerHistories::At(std::int64_t version) const {
    const std::int64_t inBlock = version % kVersionsInBlock;
    const std::size_t place = kHistoryOfVersion[static_cast<std::size_t>(inBlock)];
    const std::string_view history = kHistories[place];
    const auto versions = static_cast<std::int64_t>(history.size());
    CustomerVersion row{};
    row.Customer =
        version / kVersionsInBlock * kCustomersInBlock + static_cast<std::int64_t>(place);
    row.Version = inBlock - kVersionsBefore[place];
    row.Key = version + 1;
    row.IsCurrent = row.Version == versions - 1;
    row.Start = StartOf(row.Customer, row.Version, versions);
    row.End = row.IsCurrent ? kEndOfTime : StartOf(row.Customer, row.Version + 1, versions);
    row.IsUsed = history[static_cast<std::size_t>(row.Version)] == 'u';
    return row;
}

std::int64_t CustomerHistories::PickKey(Random& random, Day day) const {
    for (;;) {
        const std::int64_t customer = random.Below(Customers());
        const std::string_view history = HistoryOf(customer);
        const auto versions = static_cast<std::int64_t>(history.size());
        std::int64_t version = versions - 1;
        while (version >= 0 && StartOf(customer, version, versions) > day) {
            --version;
        }
        if (version >= 0 && history[static_cast<std::size_t>(version)] == 'u') {
            return customer / kCustomersInBlock * kVersionsInBlock +
                   kVersionsBefore[static_cast<std::size_t>(customer % kCustomersInBlock)] +
                   version + 1;
        }
    }
}

RetailModel::RetailModel(std::int64_t scale)
    : Sales(180000 * scale),
      Shipments(80000 * scale),
      SnapshotProducts(2 * scale / WholeSquareRoot(scale)),
      Products(3000 * scale),
      Brands(160 * scale),
      Geographies(1200 * WholeSquareRoot(scale)),
      Stores(240 * WholeSquareRoot(scale)),
      Employees(Stores * kEmployeesPerStore),
      Campaigns(6 * WholeSquareRoot(scale)),
      Customers(scale) {}

std::int64_t RetailModel::BrandOf(std::int64_t product) const {
    return product % Brands;
}

std::int64_t RetailModel::CategoryOf(std::int64_t product) {
    return Random(Stream::Category, product).Below(kCategories);
}

std::int64_t RetailModel::DepartmentOf(std::int64_t category) {
    return category % kDepartments;
}

std::int64_t RetailModel::PriceInCents(std::int64_t product) {
    return 99 + 10 * Random(Stream::Price, product).Below(20000);
}

bool RetailModel::IsProductUsed(std::int64_t product) const {
    // Discontinued: some brands, one category, and the last department with all its categories.
    const std::int64_t category = CategoryOf(product);
    const bool discontinued =
        BrandOf(product) % 16 == 7 || category == 0 || DepartmentOf(category) == kDepartments - 1;
    return !discontinued && product % 23 != 11;
}

std::int64_t RetailModel::PickProduct(Random& random) const {
    // The first tenth of the products are best sellers: a quarter of the picks goes to them only.
    const std::int64_t range = random.OneIn(4) ? Products / 10 : Products;
    for (;;) {
        const std::int64_t product = random.Below(range);
        if (IsProductUsed(product)) {
            return product;
        }
    }
}

bool RetailModel::IsStoreUsed(std::int64_t store) {
    const std::int64_t place = store % kStoreCycle;
    return place != kStaffedOnly && place != kAbandoned;
}

std::int64_t RetailModel::GeographyOfStore(std::int64_t store) const {
    if (!IsStoreUsed(store)) {
        return store / (kStoreCycle / 2) * kRoles + kStoreRole;
    }
    Random random(Stream::Store, store);
    const std::int64_t role = random.Between(kSharedRole, kRoles - 1);
    return random.Below(Geographies / kRoles) * kRoles + role;
}

std::int64_t RetailModel::GeographyOfCarrier(std::int64_t carrier) {
    return carrier * kRoles + kCarrierRole;
}

std::int64_t RetailModel::RegionOf(std::int64_t geography) {
    return geography / kRoles % kRegions;
}

std::int64_t RetailModel::StoreOfEmployee(std::int64_t employee) const {
    const std::int64_t store = employee / kEmployeesPerStore;
    return store % kStoreCycle == kAbandoned ? store + 1 : store;
}

std::optional<std::int64_t> RetailModel::ManagerOf(std::int64_t employee) {
    if (employee == 0) {
        return std::nullopt;
    }
    if (employee % kEmployeesPerStore != 0) {
        return employee - employee % kEmployeesPerStore;
    }
    const std::int64_t area = kEmployeesPerStore * kStoreCycle;
    return employee % area != 0 ? employee - employee % area : 0;
}

bool RetailModel::IsPromotionUsed(const PromotionKey& promotion) {
    Random random(Stream::Promotion,
                  (promotion.Quarter * 1000 + promotion.Campaign) * kRegions + promotion.Region);
    return !random.OneIn(8);
}

bool RetailModel::IsCarrierUsed(std::int64_t carrier) {
    return carrier % 8 != 7;
}

std::int64_t RetailModel::PickCarrier(Random& random) {
    const std::int64_t carrier = random.Below(kCarriers);
    return IsCarrierUsed(carrier) ? carrier : carrier - 1;
}

std::int64_t RetailModel::SaleGeography(Random& random) const {
    const std::int64_t role = random.Between(kSharedRole - 1, kRoles - 1);
    return random.Below(Geographies / kRoles) * kRoles + (role < kSharedRole ? kSaleRole : role);
}

std::int64_t RetailModel::ShipmentGeography(Random& random, const Sale& sale) const {
    const std::int64_t role = sale.Geography % kRoles;
    return role == kSaleRole || random.OneIn(8) ? sale.Geography - role + kShipmentRole
                                                : sale.Geography;
}

Sale RetailModel::MakeSale(std::int64_t sale) const {
    Random random(Stream::Sale, sale);
    Sale row{};
    row.OrderDay = kFirstFactDay + sale * (kLastFactDay - kFirstFactDay + 1) / Sales;
    row.SecondOfDay = random.Below(24 * kSecondsPerHour);
    row.Product = PickProduct(random);
    do {
        row.Store = random.Below(Stores);
    } while (!IsStoreUsed(row.Store));
    row.CustomerKey = Customers.PickKey(random, row.OrderDay);
    row.Geography = SaleGeography(random);
    if (!random.OneIn(3)) {
        row.Employee = row.Store * kEmployeesPerStore + random.Below(kEmployeesPerStore);
    }
    if (random.Below(10) < 4) {
        const PromotionKey promotion{FactQuarter(row.OrderDay), random.Between(1, Campaigns - 1),
                                     RegionOf(row.Geography)};
        if (IsPromotionUsed(promotion)) {
            row.Promotion = promotion;
        }
    }
    row.Quantity = random.Between(1, 6);
    return row;
}

}  // namespace morvane::demo
