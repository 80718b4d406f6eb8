#include "soak/Ledger.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace vdipc::soak {
namespace {

bool IsFileName(const std::string& seen, const std::string& beginning) {
    const std::string end = ".wav";
    if (seen.size() <= beginning.size() + end.size() || !seen.starts_with(beginning) ||
        !seen.ends_with(end)) {
        return false;
    }
    const std::string digits = seen.substr(beginning.size(), seen.size() - beginning.size() - end.size());
    return digits.size() <= 8 && digits.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Whose event it is, or whose recording the request is about.
const Json::Value& KeypadOf(const Json::Value& value) {
    return value.isMember("template") ? value["template"]["device"] : value["device"];
}

bool IsNumber(const Json::Value& value) {
    return value.isNumeric() && !value.isBool();
}

}  // namespace

bool IsAsExpected(const Json::Value& seen, const Json::Value& expected) {
    if (seen.isString() && expected.isObject()) {
        return expected.size() == 1 && expected.isMember("file") &&
               IsFileName(seen.asString(), expected["file"].asString());
    }
    if (IsNumber(seen) && IsNumber(expected)) {
        return seen.asDouble() == expected.asDouble();
    }
    if (seen.type() != expected.type() || (!seen.isObject() && !seen.isArray())) {
        return seen == expected;
    }
    if (seen.size() != expected.size()) {
        return false;
    }
    if (seen.isArray()) {
        return std::equal(seen.begin(), seen.end(), expected.begin(), &IsAsExpected);
    }
    const std::vector<std::string> names = expected.getMemberNames();
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        return seen.isMember(name) && IsAsExpected(seen[name], expected[name]);
    });
}

std::optional<Deviation> Ledger::See(const Json::Value& seen) {
    auto at = due_.begin();
    if (at != due_.end() && at->group != 0) {
        const int group = at->group;
        const auto end =
            std::find_if(at, due_.end(), [group](const Entry& entry) { return entry.group != group; });
        const auto own = std::find_if(
            at, end, [&seen](const Entry& entry) { return KeypadOf(entry.value) == KeypadOf(seen); });
        at = own == end ? at : own;
    }
    if (at == due_.end() || !IsAsExpected(seen, at->value)) {
        return Deviation{at == due_.end() ? Json::Value() : at->value, seen};
    }
    due_.erase(at);
    ++met_[seen[seen.isMember("event") ? "event" : "engine"].asString()];
    return std::nullopt;
}

std::optional<Deviation> Ledger::Missing() const {
    if (due_.empty()) {
        return std::nullopt;
    }
    return Deviation{due_.front().value, Json::Value()};
}

}  // namespace vdipc::soak
