#include "classroom/control/ActionReader.h"

#include "classroom/memory/Journal.h"

namespace vdipc::classroom {

ActionReader::ActionReader(const Json::Value& action) : action_(action), read_{"do", "wait"} {
    if (!action.isObject()) {
        throw ActionError("an action is a JSON object such as {\"do\":\"key\",\"keypad\":1,\"key\":\"B\"}");
    }
}

void ActionReader::Fail(const char* key, const std::string& wanted) const {
    const std::string given = action_.isMember(key) ? ", not " + CompactJson(action_[key]) : std::string();
    throw ActionError(std::string("\"") + key + "\" must be " + wanted + given);
}

const Json::Value& ActionReader::Raw(const char* key) {
    read_.insert(key);
    return action_.isMember(key) ? action_[key] : Json::Value::nullSingleton();
}

std::string ActionReader::Text(const char* key, const std::optional<std::string>& fallback) {
    const Json::Value& value = Raw(key);
    if (value.isString()) {
        return value.asString();
    }
    if (Has(key) || !fallback) {
        Fail(key, "a text");
    }
    return *fallback;
}

bool ActionReader::Flag(const char* key, bool fallback) {
    const Json::Value& value = Raw(key);
    if (!value.isBool() && Has(key)) {
        Fail(key, "true or false");
    }
    return value.isBool() ? value.asBool() : fallback;
}

std::int64_t ActionReader::Number(const char* key, std::int64_t least, std::int64_t most,
                                  const std::optional<std::int64_t>& fallback) {
    const Json::Value& value = Raw(key);
    if (value.isInt64() && value.asInt64() >= least && value.asInt64() <= most) {
        return value.asInt64();
    }
    if (Has(key) || !fallback) {
        Fail(key, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return *fallback;
}

std::uint32_t ActionReader::Milliseconds(const char* key, std::uint32_t fallback) {
    return static_cast<std::uint32_t>(Number(key, 0, 3600000, fallback));
}

double ActionReader::Real(const char* key, double fallback) {
    const Json::Value& value = Raw(key);
    if (!value.isNumeric() && Has(key)) {
        Fail(key, "a number");
    }
    return value.isNumeric() ? value.asDouble() : fallback;
}

Kind ActionReader::AnyKind(const std::string& name) const {
    for (const Kind kind : kKinds) {
        if (name == KindName(kind)) {
            return kind;
        }
    }
    throw ActionError("\"kind\" must be RV2, TQ1, TQ2, RV1 or LW, not '" + name + "'");
}

Kind ActionReader::ReceiverKind() {
    return AnyKind(Text("kind", "RV2"));
}

Kind ActionReader::UsbKind() {
    const Kind kind = AnyKind(Text("kind"));
    if (kind == Kind::RV2) {
        throw ActionError("RV2 is the base station, and this is for a USB receiver: TQ1, TQ2, RV1 or LW");
    }
    return kind;
}

std::vector<std::uint32_t> ActionReader::Keypads(Kind kind) {
    const std::int64_t most = kind == Kind::RV2 ? 0xFFFF : 0xFFFFFFFF;
    std::vector<std::uint32_t> keypads;
    if (Has("keypads")) {
        const Json::Value& list = Raw("keypads");
        if (!list.isArray()) {
            Fail("keypads", "an array of numbers");
        }
        for (const Json::Value& one : list) {
            if (!one.isInt64() || one.asInt64() < 0 || one.asInt64() > most) {
                Fail("keypads", "an array of numbers from 0 to " + std::to_string(most));
            }
            keypads.push_back(static_cast<std::uint32_t>(one.asInt64()));
        }
    } else if (Has("from") || Has("to")) {
        const std::int64_t from = Number("from", 0, most);
        const std::int64_t to = Number("to", from, most);
        if (to - from >= 1000000) {
            Fail("to", "within a million of \"from\"");
        }
        for (std::int64_t number = from; number <= to; ++number) {
            keypads.push_back(static_cast<std::uint32_t>(number));
        }
    } else {
        keypads.push_back(static_cast<std::uint32_t>(Number("keypad", 0, most)));
    }
    return keypads;
}

std::optional<std::string> ActionReader::BytesOf(const char* text_key, const char* hex_key) {
    if (Has(hex_key)) {
        const std::string hex = Text(hex_key);
        std::string bytes;
        if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            Fail(hex_key, "hexadecimal digits, two for each byte");
        }
        for (std::size_t i = 0; i < hex.size(); i += 2) {
            bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
        return bytes;
    }
    return Has(text_key) ? std::optional(Text(text_key)) : std::nullopt;
}

void ActionReader::Finish() const {
    for (const std::string& key : action_.getMemberNames()) {
        if (read_.count(key) == 0) {
            throw ActionError("the action '" + action_["do"].asString() + "' has no key \"" + key +
                              "\" here; docs/classroom.md lists them");
        }
    }
}

}  // namespace vdipc::classroom
