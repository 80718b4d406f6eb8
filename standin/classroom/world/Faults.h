// Faults of one place: a receiver, the station, or speech.
#pragma once

#include "classroom/world/Chance.h"
#include "classroom/world/Signal.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

struct Fault {
    std::uint32_t ms = 0;     // slow, delayed
    double chance = 0.5;      // intermittent
    std::uint32_t times = 2;  // duplicate
    std::uint32_t count = 3;  // reorder
};

/// Passive; its owner locks.
class Faults {
public:
    static const std::vector<std::string>& Words();

    void Begin(const std::string& word, const Fault& fault);
    /// Ends all, and gives back what was held.
    std::vector<TimedSignal> End();
    /// Null where the fault doesn't stand.
    const Fault* Find(const std::string& word) const;
    Json::Value ToJson(const std::string& where) const;

    /// What becomes of signals that keypads send, in order.
    std::vector<TimedSignal> Apply(const std::vector<TimedSignal>& signals, Chance& chance);

private:
    bool Alter(Signal& signal, Chance& chance);

    std::map<std::string, Fault> faults_;
    std::optional<std::int32_t> stuck_key_;
    std::vector<TimedSignal> held_;
};

}  // namespace vdipc::classroom
