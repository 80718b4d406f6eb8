// The part of a log that the user asks about: a keypad, a question, a span of time.
#pragma once

#include "tools/vdlog/Facts.h"
#include "tools/vdlog/LogLine.h"
#include "tools/vdlog/Options.h"
#include "tools/vdlog/Text.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace CLI {
class App;
class Validator;
}  // namespace CLI

namespace vdipc::log {

/// Refuses an option's word that has no letter.
CLI::Validator IsNotEmpty();

void AddKeypadOption(CLI::App& app, Options& options);
void AddCustomOption(CLI::App& app, Options& options);
void AddTimeOptions(CLI::App& app, Options& options);

/// "07" as the log has it; what is no number stays.
std::string KeypadNumber(const std::string& text);

class Narrow {
public:
    /// Raises std::invalid_argument for a time that is none, and for an end before the beginning.
    explicit Narrow(const Options& options);

    bool HoldsTime(std::int64_t time) const;
    /// Whether some of this span is in it.
    bool HoldsSpan(std::int64_t begin, std::int64_t end) const;
    bool HoldsKeypad(std::string_view device) const { return keypad_.empty() || device == keypad_; }
    bool HoldsCustom(std::string_view custom) const { return !has_custom_ || custom == custom_; }
    bool IsWide() const { return keypad_.empty() && !has_custom_ && !has_time_; }

private:
    struct Bound {
        std::int64_t time;
        bool time_of_day;
    };
    std::string keypad_;
    std::string custom_;
    bool has_custom_;
    bool has_time_;
    Bound from_{std::numeric_limits<std::int64_t>::min(), false};
    Bound to_{std::numeric_limits<std::int64_t>::max(), false};
};

/// Whether the log has what the user asks for at all.
class Sought {
public:
    explicit Sought(const Options& options) : options_(options), narrow_(options) {}

    void Meet(const Fact& fact);
    /// What the log doesn't have, as a line; empty where it has all.
    std::string Missing(const Text& text) const;

private:
    Options options_;
    Narrow narrow_;
    bool keypad_met_ = false;
    bool custom_met_ = false;
    bool time_met_ = false;
    std::int64_t begin_ = 0;
    std::int64_t end_ = 0;
};

}  // namespace vdipc::log
