// What a keypad sends, on its way to a receiver's listener.
#pragma once

#include "classroom/world/Recording.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vdipc::classroom {

/// RV2 is the base station, the others are USB receivers.
enum class Kind { TQ1, TQ2, RV1, RV2, LW };

inline constexpr Kind kKinds[] = {Kind::TQ1, Kind::TQ2, Kind::RV1, Kind::RV2, Kind::LW};
inline constexpr Kind kUsbKinds[] = {Kind::TQ1, Kind::TQ2, Kind::RV1, Kind::LW};

const char* KindName(Kind kind);

struct Signal {
    enum class What { Connect, Leave, Key, Audio };
    What what = What::Key;
    std::uint32_t keypad = 0;
    std::int32_t key = 0;
    std::uint32_t times = 1;
    std::uint32_t received = 1;
    std::uint32_t rssi = 60;
    std::shared_ptr<const Bytes> recording;
    std::shared_ptr<const Bytes> first;  // the other buffer of a USB recording
    float lost = 0.0F;
    bool error = false;
    bool valid = true;
};

struct TimedSignal {
    Signal signal;
    std::uint32_t gap_ms = 0;    // the sender pauses so long before it
    std::uint32_t delay_ms = 0;  // it comes so much later, and nothing waits for it
};

}  // namespace vdipc::classroom
