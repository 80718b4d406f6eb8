// The pupils' keypads: what they show and what they last did.
#pragma once

#include "classroom/world/Signal.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <json/json.h>

namespace vdipc::classroom {

/// A signal of lamp, beeper or motor, in the units of its receiver; `color` is the lamp's.
struct Signalling {
    std::int32_t color = 0;
    std::uint32_t duration = 0;
    std::uint32_t interval = 0;
    std::uint32_t times = 0;
    int count = 0;
};

struct Keypad {
    bool connected = false;
    bool announced = false;  // the present listener has heard of it
    std::string rows[3];     // as they came: LW in UTF-8, the others in the active code page
    int texts = 0;
    std::optional<std::int32_t> question;
    bool locked = false;
    int keys = 0;
    Signalling lamp;
    Signalling beeper;
    Signalling motor;
};

/// Passive; its owner locks.
class Keypads {
public:
    Keypad& Get(Kind kind, std::uint32_t number) { return keypads_[{kind, number}]; }
    /// The one keypad, or with number 0 every one of the kind.
    void ForEach(Kind kind, std::uint32_t number, const std::function<void(std::uint32_t, Keypad&)>& action);
    /// Those of one kind, or of all; one number, or all.
    Json::Value ToJson(const std::optional<Kind>& kind, const std::optional<std::uint32_t>& number) const;

private:
    std::map<std::pair<Kind, std::uint32_t>, Keypad> keypads_;
};

/// A text of a display: what it says, and its bytes.
Json::Value RowToJson(Kind kind, const std::string& row);
/// A question type by number and name, as the kind's library numbers them; null where there is none.
Json::Value QuestionToJson(Kind kind, const std::optional<std::int32_t>& type);

}  // namespace vdipc::classroom
