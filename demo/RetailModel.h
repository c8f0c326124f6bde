// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "demo/CustomerHistories.h"
#include "demo/Dates.h"
#include "demo/Random.h"

namespace morvane::demo {

// Elements are numbered from 0 here; their keys in the tables are one more.
inline std::int64_t KeyOf(std::int64_t element) {
    return element + 1;
}

inline constexpr std::int64_t kCategories = 72;
inline constexpr std::int64_t kCarriers = 40;
inline constexpr std::int64_t kEmployeesPerStore = 4;

struct PromotionKey {
    std::int64_t Quarter;
    std::int64_t Campaign;
    std::int64_t Region;
};

struct Sale {
    Day OrderDay;
    std::int64_t SecondOfDay;
    std::int64_t Product;
    std::int64_t Store;
    std::int64_t CustomerKey;
    std::int64_t Geography;
    std::optional<std::int64_t> Employee;  // none in the web shop
    std::optional<PromotionKey> Promotion;
    std::int64_t Quantity;
};

// The retail business: how much there is of everything at a scale, what belongs to what, and which
// elements the facts never refer to. All of it follows from numbers; nothing is kept.
class RetailModel {
  public:
    explicit RetailModel(std::int64_t scale);

    // Facts, products and customers grow with the scale, the rest with its square root.
    const std::int64_t Sales;
    const std::int64_t Shipments;
    const std::int64_t SnapshotProducts;  // counted in each store at the end of each month
    const std::int64_t Products;
    const std::int64_t Brands;
    const std::int64_t Geographies;
    const std::int64_t Stores;
    const std::int64_t Employees;
    const std::int64_t Campaigns;  // in each quarter
    const CustomerHistories Customers;

    std::int64_t BrandOf(std::int64_t product) const;
    static std::int64_t CategoryOf(std::int64_t product);
    static std::int64_t DepartmentOf(std::int64_t category);
    static std::int64_t PriceInCents(std::int64_t product);
    bool IsProductUsed(std::int64_t product) const;
    std::int64_t PickProduct(Random& random) const;

    static bool IsStoreUsed(std::int64_t store);
    std::int64_t GeographyOfStore(std::int64_t store) const;
    static std::int64_t GeographyOfCarrier(std::int64_t carrier);
    static std::int64_t RegionOf(std::int64_t geography);

    std::int64_t StoreOfEmployee(std::int64_t employee) const;
    static std::optional<std::int64_t> ManagerOf(std::int64_t employee);

    static bool IsPromotionUsed(const PromotionKey& promotion);
    // Campaign 0 of a quarter pays freight: shipments alone refer to it.
    static constexpr std::int64_t kFreightCampaign = 0;

    static bool IsCarrierUsed(std::int64_t carrier);
    static std::int64_t PickCarrier(Random& random);

    // A sale by its number, always the same; later sales have later dates.
    Sale MakeSale(std::int64_t sale) const;
    // A place that something is shipped to, which may be one where nothing is sold.
    std::int64_t ShipmentGeography(Random& random, const Sale& sale) const;

  private:
    std::int64_t SaleGeography(Random& random) const;
};

}  // namespace morvane::demo
