// A moment in digits, as log lines and telemetry have it.
#pragma once

#include "common/Clock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vdipc {

/// Enough for PutTime, whatever the clock says.
inline constexpr std::size_t kLongestTimeText = 80;

/// At least `width` digits; returns the end of what it wrote. By hand, because every line of the log has eight such numbers,
/// and formatting them was the dearest thing that the library itself did for a line.
template <std::uint32_t kBase = 10>
char* PutNumber(char* to, std::uint32_t number, std::ptrdiff_t width) {
    char digits[10];
    char* first = std::end(digits);
    while (number != 0 || std::end(digits) - first < width) {
        *--first = "0123456789abcdef"[number % kBase];
        number /= kBase;
    }
    return std::copy(first, std::end(digits), to);
}

/// "%04d.%02d.%02d %02d:%02d:%02d.%03d" for '.', and the date with '-' where that is asked for; no NUL behind it.
inline char* PutTime(char* to, const LocalTime& time, char between_date) {
    const auto put = [&to](int field, std::ptrdiff_t width) {
        to = PutNumber(to, static_cast<std::uint32_t>(field), width);
    };
    put(time.year, 4);
    *to++ = between_date;
    put(time.month, 2);
    *to++ = between_date;
    put(time.day, 2);
    *to++ = ' ';
    put(time.hour, 2);
    *to++ = ':';
    put(time.minute, 2);
    *to++ = ':';
    put(time.second, 2);
    *to++ = '.';
    put(time.milliseconds, 3);
    return to;
}

}  // namespace vdipc
