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

/// The words of the control face. What they do to keypads' signals stands in Faults, what to speech in SpeechEngine.
namespace fault_word {
inline constexpr char kOff[] = "off";
inline constexpr char kStuck[] = "stuck";
inline constexpr char kGarbage[] = "garbage";
inline constexpr char kWrong[] = "wrong";
inline constexpr char kSlow[] = "slow";
inline constexpr char kDelayed[] = "delayed";
inline constexpr char kIntermittent[] = "intermittent";
inline constexpr char kDuplicate[] = "duplicate";
inline constexpr char kReorder[] = "reorder";
}  // namespace fault_word

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
