#include "tools/vdlog/Narrow.h"

#include <CLI/CLI.hpp>

#include <stdexcept>

namespace vdipc::log {
namespace {

constexpr std::int64_t kDayMilliseconds = 24LL * 60 * 60 * 1000;

}  // namespace

CLI::Validator IsNotEmpty() {
    return {[](const std::string& word) {
                return std::string(word.empty() ? "it is empty; leave it out, or write something" : "");
            },
            ""};
}

void AddKeypadOption(CLI::App& app, Options& options) {
    app.add_option("--keypad", options.keypad, "this keypad alone")->check(IsNotEmpty());
}

void AddCustomOption(CLI::App& app, Options& options) {
    app.add_option_function<std::string>(
        "--custom",
        [&options](const std::string& custom) {
            options.custom = custom;
            options.has_custom = true;
        },
        "questions with this \"custom\" alone");
}

void AddTimeOptions(CLI::App& app, Options& options) {
    app.add_option("--from", options.from, "from this time on: 10:15, 10:15:30.250, or \"2026-11-22 10:15\"")
        ->check(IsNotEmpty());
    app.add_option("--to", options.to, "up to this time")->check(IsNotEmpty());
}

std::string KeypadNumber(const std::string& text) {
    const std::size_t begin = text.find_first_not_of('0');
    const bool number = text.find_first_not_of("0123456789") == std::string::npos;
    return number && begin != std::string::npos ? text.substr(begin) : text;
}

Narrow::Narrow(const Options& options)
    : keypad_(KeypadNumber(options.keypad)), custom_(options.custom), has_custom_(options.has_custom),
      has_time_(!options.from.empty() || !options.to.empty()) {
    const auto read = [](const std::string& text, Bound& bound) {
        if (!text.empty() && !ReadTime(text, bound.time, bound.time_of_day)) {
            throw std::invalid_argument("\"" + text +
                                        "\" is no time; write 10:15, 10:15:30.250 or \"2026-11-22 10:15\"");
        }
    };
    read(options.from, from_);
    read(options.to, to_);
    if (!options.to.empty() && options.to.find(':') == std::string::npos) {
        to_.time += kDayMilliseconds - 1;  // a day is meant with all its hours
    }
    if (!options.from.empty() && !options.to.empty() && from_.time_of_day == to_.time_of_day &&
        from_.time > to_.time) {
        throw std::invalid_argument("--from " + options.from + " is later than --to " + options.to);
    }
}

bool Narrow::HoldsTime(std::int64_t time) const {
    const auto shown = [time](const Bound& bound) {
        return bound.time_of_day ? (time % kDayMilliseconds + kDayMilliseconds) % kDayMilliseconds : time;
    };
    return shown(from_) >= from_.time && shown(to_) <= to_.time;
}

bool Narrow::HoldsSpan(std::int64_t begin, std::int64_t end) const {
    if (!has_time_ || HoldsTime(begin) || HoldsTime(end)) {
        return true;
    }
    // What is longer than a day holds every time of day.
    if (end - begin >= kDayMilliseconds) {
        return (from_.time_of_day || from_.time <= end) && (to_.time_of_day || to_.time >= begin);
    }
    const auto day_of = [](std::int64_t time) {
        return time - (time % kDayMilliseconds + kDayMilliseconds) % kDayMilliseconds;
    };
    for (std::int64_t day = day_of(begin); day <= end; day += kDayMilliseconds) {
        const std::int64_t from = from_.time_of_day ? day + from_.time : from_.time;
        const std::int64_t to = to_.time_of_day ? day + to_.time : to_.time;
        if (from <= to && from <= end && to >= begin) {
            return true;
        }
    }
    return false;
}

}  // namespace vdipc::log
