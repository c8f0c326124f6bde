// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <chrono>
#include <string>

#include "demo/Names.h"
#include "demo/Tables.h"

namespace morvane::demo {

namespace {

// The evaluation order of arguments is unspecified: no call below draws more than one random
// number.

// The value of is_deletable.
constexpr bool kNotMarked = false;

template <typename Type>
OrNull<Type> SometimesNull(Random& random, std::int64_t oneIn, Type value) {
    return {value, random.OneIn(oneIn)};
}

std::int64_t FillCalendar(SqliteFile& file) {
    Inserter rows(file, "calendar", 9);
    for (Day day = kFirstCalendarDay; day <= kLastCalendarDay; ++day) {
        const auto date = DateOf(day);
        const unsigned weekday = std::chrono::weekday(std::chrono::sys_days(date)).iso_encoding();
        const unsigned month{date.month()};
        // Future days, to which nothing refers yet, are sustained.
        rows.Row(DateKey(day), DateTimeText(day), int{date.year()}, month, MonthName(month),
                 WeekdayName(weekday), weekday >= 6, day > kLastFactDay, kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillGeography(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "geography", 8);
    for (std::int64_t i = 0; i < model.Geographies; ++i) {
        Random random(Stream::Geography, i);
        const std::string city = CityName(random);
        const auto population = SometimesNull(random, 30, random.Between(800, 900000));
        rows.Row(KeyOf(i), CountryCode(i % 5), fmt::format("{:06}", 10000 + i * 7), city,
                 RegionCode(RetailModel::RegionOf(i)), population, random.OneIn(120), kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillDepartment(SqliteFile& file) {
    Inserter rows(file, "department", 4);
    for (std::int64_t i = 0; i < kDepartments; ++i) {
        rows.Row(KeyOf(i), DepartmentName(i), false, kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillCategory(SqliteFile& file) {
    Inserter rows(file, "category", 5);
    for (std::int64_t i = 0; i < kCategories; ++i) {
        const std::int64_t department = RetailModel::DepartmentOf(i);
        rows.Row(KeyOf(i), CategoryName(department, i / kDepartments), KeyOf(department), false,
                 kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillBrand(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "brand", 4);
    for (std::int64_t i = 0; i < model.Brands; ++i) {
        rows.Row(KeyOf(i), BrandName(i), i == 0, kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillProduct(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "product", 10);
    for (std::int64_t i = 0; i < model.Products; ++i) {
        Random random(Stream::Product, i);
        const std::int64_t category = RetailModel::CategoryOf(i);
        const auto weight = SometimesNull(random, 20, Thousandths{random.Between(20, 30000)});
        // A sustained product keeps its category and department in use. The discontinued
        // department has none, so that it is deleted. Some products carry an old mark.
        const bool mayBeSustained = RetailModel::DepartmentOf(category) != kDepartments - 1;
        const bool isSustained = mayBeSustained && random.OneIn(100);
        const bool isMarked = isSustained && random.OneIn(2);
        const DateTimeText launched(kFirstCalendarDay - random.Below(2000));
        rows.Row(KeyOf(i), fmt::format("SKU-{:07}", KeyOf(i)), ProductName(random, category),
                 KeyOf(model.BrandOf(i)), KeyOf(category), Hundredths{RetailModel::PriceInCents(i)},
                 weight, launched, isSustained, isMarked);
    }
    return rows.Rows();
}

std::int64_t FillStore(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "store", 8);
    for (std::int64_t i = 0; i < model.Stores; ++i) {
        Random random(Stream::StoreText, i);
        const std::string city = CityName(random);
        const Hundredths floorArea{random.Between(8000, 900000)};
        const DateTimeText opened(kFirstCalendarDay - random.Below(5000));
        rows.Row(KeyOf(i), fmt::format("ST{:05}", KeyOf(i)), "Shop " + city,
                 KeyOf(model.GeographyOfStore(i)), floorArea, opened, random.OneIn(60), kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillEmployee(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "employee", 8);
    for (std::int64_t i = 0; i < model.Employees; ++i) {
        Random random(Stream::Employee, i);
        const auto manager = RetailModel::ManagerOf(i);
        const auto commission =
            SometimesNull(random, 3, static_cast<double>(random.Between(1, 32)) / 64);
        const std::string name = PersonName(random);
        rows.Row(KeyOf(i), name, OrNull<std::int64_t>{KeyOf(manager.value_or(0)), !manager},
                 KeyOf(model.StoreOfEmployee(i)),
                 DateTimeText(kFirstFactDay - random.Below(3000), 8 * kSecondsPerHour), commission,
                 false, kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillPromotion(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "promotion", 7);
    for (std::int64_t quarter = 0; quarter < kFactQuarters; ++quarter) {
        const Day firstDay = DayOf(2016 + static_cast<int>(quarter / 4),
                                   static_cast<unsigned>(1 + quarter % 4 * 3), 1);
        for (std::int64_t campaign = 0; campaign < model.Campaigns; ++campaign) {
            const bool paysFreight = campaign == RetailModel::kFreightCampaign;
            for (std::int64_t region = 0; region < kRegions; ++region) {
                rows.Row(PromotionCode(quarter, campaign), RegionCode(region),
                         paysFreight ? "Free delivery" : "Seasonal price",
                         Thousandths{paysFreight ? 0 : 50 + campaign % 8 * 25},
                         DateTimeText(firstDay), (quarter + campaign + region) % 97 == 0,
                         kNotMarked);
            }
        }
    }
    return rows.Rows();
}

std::int64_t FillSegment(SqliteFile& file) {
    Inserter rows(file, "customer_segment", 4);
    for (std::int64_t i = 0; i < kSegments; ++i) {
        rows.Row(KeyOf(i), SegmentName(i), false, kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillCustomer(SqliteFile& file, const RetailModel& model) {
    Inserter rows(file, "customer", 10);
    for (std::int64_t i = 0; i < model.Customers.Versions(); ++i) {
        const CustomerVersion version = model.Customers.At(i);
        Random name(Stream::CustomerName, version.Customer);
        Random random(Stream::Customer, i);
        const bool isSustained = random.OneIn(100);
        // The last two segments hold only unused customers, the two before them none at all.
        const bool isUnused = !version.IsUsed && !isSustained;
        const std::int64_t segment = isUnused && random.OneIn(4)
                                         ? random.Between(kSegments - 2, kSegments - 1)
                                         : random.Below(kSegments - 4);
        const auto credit = SometimesNull(random, 5, Hundredths{random.Below(200) * 5000});
        rows.Row(version.Key, fmt::format("C{:07}", KeyOf(version.Customer)), PersonName(name),
                 KeyOf(segment), credit, DateTimeText(version.Start), DateTimeText(version.End),
                 version.IsCurrent, isSustained, kNotMarked);
    }
    return rows.Rows();
}

std::int64_t FillCarrier(SqliteFile& file) {
    Inserter rows(file, "carrier", 5);
    for (std::int64_t i = 0; i < kCarriers; ++i) {
        Random random(Stream::Carrier, i);
        // Carriers are no longer selected: old marks stay, and elements that only marked carriers
        // refer to are unused.
        rows.Row(KeyOf(i), CityName(random) + " Freight", KeyOf(RetailModel::GeographyOfCarrier(i)),
                 false, !RetailModel::IsCarrierUsed(i));
    }
    return rows.Rows();
}

}  // namespace

std::vector<TableCount> FillDimensions(SqliteFile& file, const RetailModel& model) {
    return {{"calendar", FillCalendar(file)},          {"geography", FillGeography(file, model)},
            {"department", FillDepartment(file)},      {"category", FillCategory(file)},
            {"brand", FillBrand(file, model)},         {"product", FillProduct(file, model)},
            {"store", FillStore(file, model)},         {"employee", FillEmployee(file, model)},
            {"promotion", FillPromotion(file, model)}, {"customer_segment", FillSegment(file)},
            {"customer", FillCustomer(file, model)},   {"carrier", FillCarrier(file)}};
}

}  // namespace morvane::demo
