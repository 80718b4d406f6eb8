// What must come, held against what came. Order counts: of everything, or within a loose group for each keypad alone.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include <json/json.h>

namespace vdipc::soak {

/// Whether a value is as expected: numbers by value, file names by their known beginning, members all and no others.
bool IsAsExpected(const Json::Value& seen, const Json::Value& expected);

/// Where the two part; null stands for nothing.
struct Deviation {
    Json::Value expected;
    Json::Value seen;
};

class Ledger {
public:
    /// Expectations of one group may be met in any order of their keypads; 0: none.
    void Expect(const Json::Value& value, int group = 0) { due_.push_back({value, group}); }
    void ExpectNext(const Json::Value& value) { due_.push_front({value, 0}); }
    /// Another value for the first that has not come yet.
    void ReplaceNext(const Json::Value& value) { due_.front().value = value; }
    /// Takes what came; a deviation where it is not what is due now.
    std::optional<Deviation> See(const Json::Value& seen);
    /// The first that has not come yet.
    std::optional<Deviation> Missing() const;

    /// What was on its way may be lost.
    void Forget() { due_.clear(); }
    /// How often what was due has come, by a word of each.
    const std::map<std::string, std::size_t>& Met() const { return met_; }

private:
    struct Entry {
        Json::Value value;
        int group = 0;
    };

    std::deque<Entry> due_;
    std::map<std::string, std::size_t> met_;
};

}  // namespace vdipc::soak
