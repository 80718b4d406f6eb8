// Reads one JSON action key by key, and knows at the end which keys nobody asked for.
#pragma once

#include "classroom/world/Signal.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

/// An action that can't be done; the text says what to do instead.
class ActionError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

class ActionReader {
public:
    /// Raises ActionError where the action is no object.
    explicit ActionReader(const Json::Value& action);

    bool Has(const char* key) const { return action_.isMember(key); }
    /// All raise ActionError for a value of the wrong type or range, and without a fallback for a missing one.
    std::string Text(const char* key, const std::optional<std::string>& fallback = std::nullopt);
    bool Flag(const char* key, bool fallback);
    std::int64_t Number(const char* key, std::int64_t least, std::int64_t most,
                        const std::optional<std::int64_t>& fallback = std::nullopt);
    std::uint32_t Milliseconds(const char* key, std::uint32_t fallback);
    double Real(const char* key, double fallback);
    const Json::Value& Raw(const char* key);

    Kind ReceiverKind();
    /// One of the four that are plugged in.
    Kind UsbKind();
    /// `keypad`, `keypads`, or `from` and `to`.
    std::vector<std::uint32_t> Keypads(Kind kind);
    /// Bytes from `text` as they stand, or from the hexadecimal digits of the other key.
    std::optional<std::string> BytesOf(const char* text_key, const char* hex_key);

    /// Raises ActionError where a key was not read.
    void Finish() const;

private:
    [[noreturn]] void Fail(const char* key, const std::string& wanted) const;
    Kind AnyKind(const std::string& name) const;

    const Json::Value& action_;
    std::set<std::string> read_;
};

}  // namespace vdipc::classroom
