// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "demo/Dates.h"
#include "demo/Random.h"

namespace morvane::demo {

// Elements are numbered from 0; their keys in the tables start at 1.
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
    std::optional<std::int64_t> Employee;  // none: sold online
    std::optional<PromotionKey> Promotion;
    std::int64_t Quantity;
};

// One version of a customer. Each version ends when the next one starts; the last one is current
// and open-ended.
struct CustomerVersion {
    std::int64_t Customer;  // the element, from 0
    std::int64_t Version;   // from 0
    std::int64_t Key;       // the surrogate key
    Day Start;
    Day End;
    bool IsCurrent;
    bool IsUsed;
};

// The versions of all customers, and which of them sales refer to. The same block of histories
// repeats, so that each version is computed from its number and nothing is stored.
class CustomerHistories {
  public:
    explicit CustomerHistories(std::int64_t scale);

    std::int64_t Customers() const;
    std::int64_t Versions() const;

    // Versions are numbered from 0, customer by customer.
    CustomerVersion At(std::int64_t version) const;
    // Picks a random customer and returns the key of the used version that is valid on that day.
    std::int64_t PickKey(Random& random, Day day) const;

  private:
    std::int64_t blocks_;
};

// The retail business at a given scale: the number of elements, their relations, and which elements
// no fact refers to. Everything is computed from element numbers; nothing is stored.
class RetailModel {
  public:
    explicit RetailModel(std::int64_t scale);

    // Facts, products and customers are proportional to the scale, the rest to its square root.
    const std::int64_t Sales;
    const std::int64_t Shipments;
    const std::int64_t SnapshotProducts;  // per store and month
    const std::int64_t Products;
    const std::int64_t Brands;
    const std::int64_t Geographies;
    const std::int64_t Stores;
    const std::int64_t Employees;
    const std::int64_t Campaigns;  // per quarter
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
    // Campaign 0 of each quarter is free delivery: only shipments refer to it.
    static constexpr std::int64_t kFreightCampaign = 0;

    static bool IsCarrierUsed(std::int64_t carrier);
    static std::int64_t PickCarrier(Random& random);

    // Deterministic. Dates ascend with the number.
    Sale MakeSale(std::int64_t sale) const;
    // The destination of a shipment, which may be a place without sales.
    std::int64_t ShipmentGeography(Random& random, const Sale& sale) const;

  private:
    std::int64_t SaleGeography(Random& random) const;
};

}  // namespace morvane::demo
