// SPDX-License-Identifier: Apache-2.0
#include "demo/Dates.h"

namespace morvane::demo {

namespace {

void WriteDigits(char* last, int count, std::int64_t number) {
    for (int i = 0; i < count; ++i) {
        *last-- = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

}  // namespace

DateTimeText::DateTimeText(Day day, std::int64_t secondOfDay)
    : text_{'0', '0', '0', '0', '-', '0', '0', '-', '0', '0',
            ' ', '0', '0', ':', '0', '0', ':', '0', '0'} {
    const auto date = DateOf(day);
    WriteDigits(&text_[3], 4, int{date.year()});
    WriteDigits(&text_[6], 2, unsigned{date.month()});
    WriteDigits(&text_[9], 2, unsigned{date.day()});
    WriteDigits(&text_[12], 2, secondOfDay / 3600);
    WriteDigits(&text_[15], 2, secondOfDay / 60 % 60);
    WriteDigits(&text_[18], 2, secondOfDay % 60);
}

}  // namespace morvane::demo
