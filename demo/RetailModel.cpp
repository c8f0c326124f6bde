// SPDX-License-Identifier: Apache-2.0
#include "demo/RetailModel.h"

#include <algorithm>

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

// What a geography serves, by its number modulo kRoles. Every role has a consequence of its own
// for what is unused: nowhere referred to, only by stores, by shipments, by sales, by carriers;
// from kSharedRole on by all but carriers.
constexpr std::int64_t kRoles = 20;
constexpr std::int64_t kStoreRole = 1;
constexpr std::int64_t kShipmentRole = 2;
constexpr std::int64_t kSaleRole = 3;
constexpr std::int64_t kCarrierRole = 4;
constexpr std::int64_t kSharedRole = 5;

// Of every twelve stores one has employees but no business, and one has neither.
constexpr std::int64_t kStoreCycle = 12;
constexpr std::int64_t kStaffedOnly = 0;
constexpr std::int64_t kAbandoned = 6;

}  // namespace

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
    // Given up: some brands, one category alone, and the last department with all its categories.
    const std::int64_t category = CategoryOf(product);
    const bool givenUp =
        BrandOf(product) % 16 == 7 || category == 0 || DepartmentOf(category) == kDepartments - 1;
    return !givenUp && product % 23 != 11;
}

std::int64_t RetailModel::PickProduct(Random& random) const {
    // A quarter of the picks goes to the first tenth, the best sellers.
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
    row.SecondOfDay = random.Below(24 * 60 * 60);
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
