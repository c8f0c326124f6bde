// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>
#include <string>

#include "base/Text.h"
#include "demo/Names.h"
#include "demo/Tables.h"

namespace morvane::demo {

namespace {

OrNull<std::int64_t> KeyOrNull(const std::optional<std::int64_t>& element) {
    return {KeyOf(element.value_or(0)), !element};
}

// The two columns that refer to a promotion. Codes of campaign 3 are in lower case.
struct PromotionColumns {
    explicit PromotionColumns(const std::optional<PromotionKey>& promotion)
        : Code{"", !promotion}, Region{"", !promotion} {
        if (promotion) {
            const std::string code = PromotionCode(promotion->Quarter, promotion->Campaign);
            Code.Value = promotion->Campaign == 3 ? ToLower(code) : code;
            Region.Value = RegionCode(promotion->Region);
        }
    }

    OrNull<std::string> Code;
    OrNull<const char*> Region;
};

std::int64_t FillSales(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "sales", 13);
    for (std::int64_t i = 0; i < model.Sales; ++i) {
        const Sale sale = model.MakeSale(i);
        const PromotionColumns promotion(sale.Promotion);
        rows.Row(KeyOf(i), DateTimeText(sale.OrderDay, sale.SecondOfDay), DateKey(sale.OrderDay),
                 KeyOf(sale.Product), KeyOf(sale.Store), sale.CustomerKey, KeyOf(sale.Geography),
                 KeyOrNull(sale.Employee), promotion.Code, promotion.Region, sale.Quantity,
                 Hundredths{RetailModel::PriceInCents(sale.Product)}, !sale.Employee.has_value());
    }
    return rows.Rows();
}

std::optional<PromotionKey> FreightPromotion(Random& random, Day day, std::int64_t geography) {
    if (!random.OneIn(10)) {
        return std::nullopt;
    }
    const PromotionKey promotion{FactQuarter(day), RetailModel::kFreightCampaign,
                                 RetailModel::RegionOf(geography)};
    return RetailModel::IsPromotionUsed(promotion) ? std::optional(promotion) : std::nullopt;
}

std::int64_t FillShipments(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "shipments", 11);
    for (std::int64_t i = 0; i < model.Shipments; ++i) {
        Random random(Stream::Shipment, i);
        const std::int64_t saleNumber = i * model.Sales / model.Shipments;
        const Sale sale = model.MakeSale(saleNumber);
        const Day shipDay = std::min(sale.OrderDay + random.Between(1, 5), kLastFactDay);
        const std::int64_t carrier = RetailModel::PickCarrier(random);
        const std::int64_t destination = model.ShipmentGeography(random, sale);
        const PromotionColumns promotion(FreightPromotion(random, shipDay, destination));
        const Thousandths weight{random.Between(50, 40000)};
        const Hundredths freight{300 + weight.Number / 20};
        const Day deliveryDay = shipDay + random.Between(1, 9);
        const OrNull<DateTimeText> delivered{
            DateTimeText(deliveryDay, random.Between(28800, 64800)), random.OneIn(50)};
        rows.Row(KeyOf(saleNumber), DateTimeText(shipDay), DateKey(shipDay), KeyOf(sale.Product),
                 KeyOf(carrier), KeyOf(destination), promotion.Code, promotion.Region, weight,
                 freight, delivered);
    }
    return rows.Rows();
}

Day LastDayOfMonth(std::int64_t factMonth) {
    const std::int64_t next = factMonth + 1;
    return DayOf(2016 + static_cast<int>(next / 12), static_cast<unsigned>(next % 12 + 1), 1) - 1;
}

// A used product from one of SnapshotProducts equal ranges, so that products ascend (rows are
// inserted in key order) and do not repeat.
std::int64_t CountedProduct(Random& random, const RetailModel& model, std::int64_t range) {
    const std::int64_t first = range * model.Products / model.SnapshotProducts;
    const std::int64_t end = (range + 1) * model.Products / model.SnapshotProducts;
    for (;;) {
        const std::int64_t product = first + random.Below(end - first);
        if (model.IsProductUsed(product)) {
            return product;
        }
    }
}

std::int64_t FillInventory(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "inventory", 7);
    for (std::int64_t month = 0; month < kFactMonths; ++month) {
        const Day day = LastDayOfMonth(month);
        for (std::int64_t store = 0; store < model.Stores; ++store) {
            if (!RetailModel::IsStoreUsed(store)) {
                continue;
            }
            Random random(Stream::Inventory, month * model.Stores + store);
            for (std::int64_t range = 0; range < model.SnapshotProducts; ++range) {
                const std::int64_t product = CountedProduct(random, model, range);
                const std::int64_t onHand = random.Below(200);
                rows.Row(DateTimeText(day), KeyOf(store), KeyOf(product), DateKey(day), onHand,
                         random.OneIn(4) ? random.Below(50) : 0,
                         Hundredths{onHand * RetailModel::PriceInCents(product)});
            }
        }
    }
    return rows.Rows();
}

}  // namespace

std::vector<TableCount> FillFacts(SqliteFile& file, const RetailModel& model) {
    return {{"sales", FillSales(file, model)},
            {"shipments", FillShipments(file, model)},
            {"inventory", FillInventory(file, model)}};
}

}  // namespace morvane::demo
