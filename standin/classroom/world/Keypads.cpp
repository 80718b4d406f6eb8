#include "classroom/world/Keypads.h"

#include "classroom/system/Platform.h"
#include "classroom/world/World.h"
#include "tools/common/Hex.h"

namespace vdipc::classroom {
namespace {

const char* QuestionName(Kind kind, std::int32_t type) {
    if (kind == Kind::RV2) {
        switch (type) {
        case 0:
            return "multiple-choice";
        case 1:
            return "true-false";
        case 2:
            return "single-choice";
        case 3:
            return "audio";
        case 4:
            return "red-envelope";
        default:
            return "unknown";
        }
    }
    switch (type) {
    case 0:
        return "none";
    case 1:
        return "single-choice";
    case 2:
        return "true-false";
    case 3:
        return "red-envelope";
    case 4:
        return "multiple-choice";
    case 5:
        return "multiple-question-single-choice";
    case 6:
        return "general";
    case 8:
        return "audio";
    default:
        return "unknown";
    }
}

const char* ColorName(Kind kind, std::int32_t color) {
    static const char* const station[] = {"none", "blue",    "green",  "blue-green",
                                          "red",  "magenta", "yellow", "white"};
    static const char* const usb[] = {"none",   "red",     "green",      "blue",
                                      "yellow", "magenta", "blue-green", "white"};
    if (color < 0 || color > 7) {
        return "unknown";
    }
    return kind == Kind::RV2 ? station[color] : usb[color];
}

Json::Value SignallingToJson(const Signalling& signalling) {
    if (signalling.count == 0) {
        return {};
    }
    Json::Value value;
    value["duration"] = signalling.duration;
    value["interval"] = signalling.interval;
    value["times"] = signalling.times;
    value["count"] = signalling.count;
    value["ms"] = signalling.ms;
    return value;
}

}  // namespace

Json::Value RowToJson(Kind kind, const std::string& row) {
    Json::Value value;
    value["text"] = kind == Kind::LW ? ShownUtf8(row) : platform::Utf8FromActive(row);
    value["hex"] = tools::HexOf(row);
    return value;
}

Json::Value QuestionToJson(Kind kind, const std::optional<std::int32_t>& type) {
    if (!type) {
        return {};
    }
    Json::Value value;
    value["type"] = *type;
    value["name"] = QuestionName(kind, *type);
    return value;
}

Keypad& Keypads::Get(Kind kind, std::uint32_t number) {
    Kept& kept = keypads_[{kind, number}];
    kept.change = ++changes_;
    return kept.keypad;
}

void Keypads::ForEach(Kind kind, std::uint32_t number,
                      const std::function<void(std::uint32_t, Keypad&)>& action) {
    if (number != 0) {
        action(number, Get(kind, number));
        return;
    }
    for (auto at = keypads_.lower_bound({kind, 0}); at != keypads_.end() && at->first.first == kind; ++at) {
        at->second.change = ++changes_;
        action(at->first.second, at->second.keypad);
    }
}

Json::Value Keypads::ToJson(const std::optional<Kind>& kind,
                            const std::optional<std::uint32_t>& number) const {
    Json::Value all(Json::arrayValue);
    for (const auto& [key, kept] : keypads_) {
        if ((!kind || *kind == key.first) && (!number || *number == key.second)) {
            all.append(KeypadToJson({key.first, key.second, kept.keypad}));
        }
    }
    return all;
}

std::vector<Keypads::Entry> Keypads::ChangedSince(std::uint64_t& change) const {
    std::vector<Entry> changed;
    for (const auto& [key, kept] : keypads_) {
        if (kept.change > change) {
            changed.push_back({key.first, key.second, kept.keypad});
        }
    }
    change = changes_;
    return changed;
}

Json::Value KeypadToJson(const Keypads::Entry& entry) {
    const Keypad& keypad = entry.keypad;
    Json::Value one;
    one["kind"] = KindName(entry.kind);
    one["keypad"] = entry.number;
    one["connected"] = keypad.connected;
    for (const std::string& row : keypad.rows) {
        one["rows"].append(RowToJson(entry.kind, row));
    }
    one["texts"] = keypad.texts;
    one["question"] = QuestionToJson(entry.kind, keypad.question);
    one["locked"] = keypad.locked;
    one["keys"] = keypad.keys;
    one["last"] = Json::Value(Json::arrayValue);
    for (const std::int32_t key : keypad.last_keys) {
        one["last"].append(key);
    }
    one["lamp"] = SignallingToJson(keypad.lamp);
    if (keypad.lamp.count > 0) {
        one["lamp"]["color"] = keypad.lamp.color;
        one["lamp"]["name"] = ColorName(entry.kind, keypad.lamp.color);
    }
    one["beeper"] = SignallingToJson(keypad.beeper);
    one["motor"] = SignallingToJson(keypad.motor);
    return one;
}

}  // namespace vdipc::classroom
