// SPDX-License-Identifier: Apache-2.0
#include "demo/Names.h"

#include <fmt/format.h>

#include <array>

namespace morvane::demo {

namespace {

constexpr std::array kFirstNames = {
    "Ada",   "Bram",  "Celia", "Dario", "Edda",  "Farid", "Greta", "Hugo",  "Ines",   "Jonas",
    "Katya", "Liam",  "Mira",  "Noel",  "Olga",  "Pavel", "Quinn", "Rosa",  "Stefan", "Tilda",
    "Uma",   "Viggo", "Wanda", "Xenia", "Yusuf", "Zoë",   "Anaïs", "Björn", "Çelik",  "Łukasz"};
constexpr std::array kLastNames = {
    "Abbott",   "Bergdal",  "Corvey", "Dunmere",  "Eklund",    "Fairleigh", "Grünwald",
    "Hartog",   "Ingleby",  "Jankov", "Kessling", "Lindqvist", "Marlow",    "Norrby",
    "O'Dell",   "Pemberly", "Quist",  "Rademark", "Sandoval",  "Thorne",    "Umbers",
    "Vesterby", "Whitlow",  "Yarrow", "D'Amaro",  "Žitnik"};
constexpr std::array kBrandHeads = {"Tarn", "Oskel", "Velm", "Brimm", "Kest",  "Lunar", "Morv",
                                    "Pell", "Quarr", "Rend", "Sorb",  "Thal",  "Ulme",  "Wend",
                                    "Yarl", "Zeph",  "Ålm",  "Dröv",  "Fjell", "Gant"};
constexpr std::array kBrandTails = {"ara",  "ith",  "wick", "dal", "ova",   "un",   "eska", "ior",
                                    "mond", "ette", "ax",   "ury", "holme", "inta", "oké",  "by"};
constexpr std::array kCityHeads = {"Alder", "Brack", "Caster", "Dun",   "Elm",  "Fen", "Glen",
                                   "Hol",   "Kjær",  "Lang",   "Mal",   "Nor",  "Øst", "Pine",
                                   "Rö",    "Stan",  "Thorn",  "Uller", "Wolm", "Zell"};
constexpr std::array kCityTails = {"bridge", "by",    "dale", "ford", "ham",  "haven",
                                   "mouth",  "stead", "ton",  "vik",  "wich", "zów"};
constexpr std::array kQualities = {"Basic",  "Classic", "Compact", "Deluxe", "Everyday", "Folding",
                                   "Garden", "Heavy",   "Light",   "Mini",   "Modern",   "Portable",
                                   "Soft",   "Sturdy",  "Travel",  "Winter"};
constexpr std::array kDepartmentNames = {"Household", "Kitchen",  "Garden", "Sports",
                                         "Toys",      "Clothing", "Shoes",  "Electronics",
                                         "Office",    "Pets",     "Music",  "Film Processing"};
constexpr std::array kCategoryKinds = {"Essentials", "Accessories", "Storage",
                                       "Tools",      "Gifts",       "Spare Parts"};
constexpr std::array kProductNouns = {"Basket", "Case",  "Set",   "Stand", "Kit",  "Box",
                                      "Cover",  "Frame", "Mount", "Pack",  "Rack", "Holder"};
constexpr std::array kRegionCodes = {"NORTH", "SOUTH",   "EAST",   "WEST",
                                     "COAST", "CENTRAL", "ISLAND", "ALPINE"};
constexpr std::array kSegmentKinds = {"Household", "Family", "Student", "Senior",
                                      "Trade",     "Office", "Club",    "Reseller"};
constexpr std::array kSegmentTiers = {"Standard", "Silver", "Gold"};
// ISO 3166 reserves these codes for private use.
constexpr std::array kCountryCodes = {"XA", "XB", "XC", "XD", "XE"};
constexpr std::array kMonthNames = {"January",   "February", "March",    "April",
                                    "May",       "June",     "July",     "August",
                                    "September", "October",  "November", "December"};
constexpr std::array kWeekdayNames = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                      "Friday", "Saturday", "Sunday"};
constexpr std::array kSeasons = {"WIN", "SPR", "SUM", "AUT"};

static_assert(kDepartmentNames.size() == kDepartments);
static_assert(kRegionCodes.size() == kRegions);
static_assert(kSegmentKinds.size() * kSegmentTiers.size() == kSegments);

template <typename List>
const char* At(const List& list, std::int64_t place) {
    return list.at(static_cast<std::size_t>(place));
}

template <typename List>
const char* Any(const List& list, Random& random) {
    return At(list, random.Below(static_cast<std::int64_t>(list.size())));
}

}  // namespace

std::string PersonName(Random& random) {
    const char* first = Any(kFirstNames, random);
    return fmt::format("{} {}", first, Any(kLastNames, random));
}

std::string BrandName(std::int64_t brand) {
    constexpr auto heads = static_cast<std::int64_t>(kBrandHeads.size());
    constexpr auto tails = static_cast<std::int64_t>(kBrandTails.size());
    const std::int64_t round = brand / (heads * tails);
    const std::string name =
        fmt::format("{}{}", At(kBrandHeads, brand % heads), At(kBrandTails, brand / heads % tails));
    return round == 0 ? name : fmt::format("{} {}", name, round + 1);
}

std::string CityName(Random& random) {
    const char* head = Any(kCityHeads, random);
    return fmt::format("{}{}", head, Any(kCityTails, random));
}

std::string ProductName(Random& random, std::int64_t category) {
    const char* quality = Any(kQualities, random);
    return fmt::format("{} {} {}", quality, At(kDepartmentNames, category % kDepartments),
                       Any(kProductNouns, random));
}

const char* DepartmentName(std::int64_t department) {
    return At(kDepartmentNames, department);
}

std::string CategoryName(std::int64_t department, std::int64_t rank) {
    return fmt::format("{} {}", DepartmentName(department), At(kCategoryKinds, rank));
}

const char* RegionCode(std::int64_t region) {
    return At(kRegionCodes, region);
}

std::string SegmentName(std::int64_t segment) {
    constexpr auto kinds = static_cast<std::int64_t>(kSegmentKinds.size());
    return fmt::format("{} {}", At(kSegmentKinds, segment % kinds),
                       At(kSegmentTiers, segment / kinds));
}

const char* CountryCode(std::int64_t country) {
    return At(kCountryCodes, country);
}

const char* MonthName(unsigned month) {
    return kMonthNames.at(month - 1);
}

const char* WeekdayName(unsigned isoWeekday) {
    return kWeekdayNames.at(isoWeekday - 1);
}

std::string PromotionCode(std::int64_t quarter, std::int64_t campaign) {
    return fmt::format("{}{}-{:02}", At(kSeasons, quarter % 4), 16 + quarter / 4, campaign);
}

}  // namespace morvane::demo
