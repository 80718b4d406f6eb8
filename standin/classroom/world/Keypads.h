// The pupils' keypads: what they show and what they last did.
#pragma once

#include "classroom/world/Signal.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

/// A signal of lamp, beeper or motor, in the units of its receiver; `color` is the lamp's.
struct Signalling {
    std::int32_t color = 0;
    std::uint32_t duration = 0;
    std::uint32_t interval = 0;
    std::uint32_t times = 0;
    int count = 0;
    double ms = 0;  // when it came, on the classroom's clock
};

struct Keypad {
    bool connected = false;
    bool announced = false;  // the present listener has heard of it
    std::string rows[3];     // as they came: LW in UTF-8, the others in the active code page
    int texts = 0;
    std::optional<std::int32_t> question;
    bool locked = false;
    int keys = 0;
    std::deque<std::int32_t> last_keys;  // the newest last, heard or not
    Signalling lamp;
    Signalling beeper;
    Signalling motor;
};

/// Passive; its owner locks.
class Keypads {
public:
    struct Entry {
        Kind kind;
        std::uint32_t number;
        Keypad keypad;
    };

    /// Whoever takes it is taken to change it.
    Keypad& Get(Kind kind, std::uint32_t number);
    /// The one keypad, or with number 0 every one of the kind.
    void ForEach(Kind kind, std::uint32_t number, const std::function<void(std::uint32_t, Keypad&)>& action);
    /// Those of one kind, or of all; one number, or all.
    Json::Value ToJson(const std::optional<Kind>& kind, const std::optional<std::uint32_t>& number) const;
    /// Those that were changed since an earlier call with this number, or all for 0; sets the number for the next one.
    std::vector<Entry> ChangedSince(std::uint64_t& change) const;

private:
    struct Kept {
        Keypad keypad;
        std::uint64_t change = 0;
    };

    std::map<std::pair<Kind, std::uint32_t>, Kept> keypads_;
    std::uint64_t changes_ = 0;
};

inline constexpr std::size_t kLastKeys = 8;

Json::Value KeypadToJson(const Keypads::Entry& entry);

/// A text of a display: what it says, and its bytes.
Json::Value RowToJson(Kind kind, const std::string& row);
/// A question type by number and name, as the kind's library numbers them; null where there is none.
Json::Value QuestionToJson(Kind kind, const std::optional<std::int32_t>& type);

}  // namespace vdipc::classroom
