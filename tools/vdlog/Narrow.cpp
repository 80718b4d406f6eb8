#include "tools/vdlog/Narrow.h"

#include <CLI/CLI.hpp>

#include <algorithm>
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

void Sought::Meet(const Fact& fact) {
    keypad_met_ = keypad_met_ || (!fact.device.empty() && narrow_.HoldsKeypad(fact.device));
    custom_met_ = custom_met_ || (fact.command != nullptr && narrow_.HoldsCustom(fact.command->custom));
    if (fact.at.time == 0) {
        return;  // a line of another form, before the first one with a time
    }
    time_met_ = time_met_ || narrow_.HoldsTime(fact.at.time);
    begin_ = begin_ == 0 ? fact.at.time : std::min(begin_, fact.at.time);
    end_ = std::max(end_, fact.at.time);
}

std::string Sought::Missing(const Text& text) const {
    if (!options_.keypad.empty() && !keypad_met_) {
        return "Keypad " + text.Device(options_.keypad) + " isn't named in this log.\n";
    }
    if (options_.has_custom && !custom_met_) {
        return "No question in this log has the \"custom\" \"" + text.Name(options_.custom) + "\".\n";
    }
    if (!time_met_ && begin_ != 0) {
        return "The log goes from " + TimeText(begin_, true) + " to " + TimeText(end_, true) +
               ", and has nothing of the time that was asked for.\n";
    }
    return {};
}

}  // namespace vdipc::log
