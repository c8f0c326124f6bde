// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/NameOrder.h"

#include <algorithm>

namespace morvane::embedded {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

int Folded(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
}

std::string_view TakeNumber(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

int CompareNumbers(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return a.size() < b.size() ? -1 : 1;
    }
    return a.compare(b);
}

}  // namespace

int CompareNames(std::string_view a, std::string_view b) noexcept {
    std::string_view restA = a;
    std::string_view restB = b;
    while (!restA.empty() && !restB.empty()) {
        int order = 0;
        if (IsDigit(restA[0]) && IsDigit(restB[0])) {
            const std::string_view numberA = TakeNumber(restA);
            order = CompareNumbers(numberA, TakeNumber(restB));
        } else {
            order = Folded(restA[0]) - Folded(restB[0]);
            restA.remove_prefix(1);
            restB.remove_prefix(1);
        }
        if (order != 0) {
            return order;
        }
    }
    if (restA.empty() != restB.empty()) {
        return restA.empty() ? -1 : 1;
    }
    return a.compare(b);
}

}  // namespace morvane::embedded
