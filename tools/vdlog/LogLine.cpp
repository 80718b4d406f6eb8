#include "tools/vdlog/LogLine.h"

#include <array>
#include <cstdio>

namespace vdipc::log {
namespace {

constexpr std::int64_t kDay = 24LL * 60 * 60 * 1000;

/// Days since 1970-01-01 in the Gregorian calendar, by counting years from March on.
std::int64_t DaysOf(std::int64_t year, std::int64_t month, std::int64_t day) {
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t year_of_era = year - era * 400;
    const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    return era * 146097 + day_of_era - 719468;
}

struct Date {
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};

Date DateOf(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t day_of_era = days - era * 146097;
    const std::int64_t year_of_era =
        (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const std::int64_t shifted = (5 * day_of_year + 2) / 153;
    const std::int64_t month = shifted + (shifted < 10 ? 3 : -9);
    return {year_of_era + era * 400 + (month <= 2 ? 1 : 0), month, day_of_year - (153 * shifted + 2) / 5 + 1};
}

std::string Print(std::int64_t time, bool with_date, char between) {
    std::int64_t days = time / kDay;
    std::int64_t rest = time % kDay;
    if (rest < 0) {
        rest += kDay;
        --days;
    }
    std::array<char, 80> text{};
    int length = 0;
    if (with_date) {
        const Date date = DateOf(days);
        length = std::snprintf(text.data(), text.size(), "%04lld-%02lld-%02lld%c",
                               static_cast<long long>(date.year), static_cast<long long>(date.month),
                               static_cast<long long>(date.day), between);
    }
    std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length),
                  "%02lld:%02lld:%02lld.%03lld", static_cast<long long>(rest / 3600000),
                  static_cast<long long>(rest / 60000 % 60), static_cast<long long>(rest / 1000 % 60),
                  static_cast<long long>(rest % 1000));
    return text.data();
}

/// Takes a number of up to `digits` digits off the front.
bool TakeNumber(std::string_view& text, std::size_t digits, int& number) {
    std::size_t count = 0;
    number = 0;
    while (count < text.size() && count < digits && text[count] >= '0' && text[count] <= '9') {
        number = number * 10 + (text[count] - '0');
        ++count;
    }
    text.remove_prefix(count);
    return count > 0;
}

bool Take(std::string_view& text, char c) {
    if (text.empty() || text.front() != c) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::string TimeText(std::int64_t time, bool with_date) {
    return Print(time, with_date, ' ');
}

std::string IsoTimeText(std::int64_t time) {
    return Print(time, true, 'T');
}

std::int64_t MillisecondsOf(int year, int month, int day, int hour, int minute, int second,
                            int milliseconds) {
    return DaysOf(year, month, day) * kDay + ((hour * 60LL + minute) * 60LL + second) * 1000LL + milliseconds;
}

bool ReadTime(std::string_view text, std::int64_t& time, bool& time_of_day) {
    int year = 1970;
    int month = 1;
    int day = 1;
    time_of_day = text.find('-') == std::string_view::npos;
    if (!time_of_day) {
        if (!TakeNumber(text, 4, year) || !Take(text, '-') || !TakeNumber(text, 2, month) ||
            !Take(text, '-') || !TakeNumber(text, 2, day) || month < 1 || month > 12 || day < 1 || day > 31) {
            return false;
        }
        // A day that its month hasn't is counted into the next one.
        if (const Date date = DateOf(DaysOf(year, month, day)); date.month != month || date.day != day) {
            return false;
        }
        if (text.empty()) {
            time = MillisecondsOf(year, month, day, 0, 0, 0, 0);
            return true;
        }
        if (!Take(text, ' ') && !Take(text, 'T')) {
            return false;
        }
    }
    int hour = 0;
    int minute = 0;
    int second = 0;
    int milliseconds = 0;
    if (!TakeNumber(text, 2, hour) || !Take(text, ':') || !TakeNumber(text, 2, minute)) {
        return false;
    }
    if (Take(text, ':') && !TakeNumber(text, 2, second)) {
        return false;
    }
    if (Take(text, '.')) {
        const std::size_t before = text.size();
        if (!TakeNumber(text, 3, milliseconds)) {
            return false;
        }
        for (std::size_t digits = before - text.size(); digits < 3; ++digits) {
            milliseconds *= 10;
        }
    }
    time = MillisecondsOf(year, month, day, hour, minute, second, milliseconds);
    return text.empty() && hour < 24 && minute < 60 && second < 60;
}

}  // namespace vdipc::log
