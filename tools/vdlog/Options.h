// What the user asks for, whatever the command.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vdipc::log {

struct Options {
    std::vector<std::string> files;  // "-" is standard input
    std::string encoding;
    bool redact = false;
    bool json = false;
    bool color = false;
    std::string keypad;
    std::string custom;
    bool has_custom = false;
    std::string from;
    std::string to;
    std::string output;
    bool fast = false;
    std::vector<std::string> sides;  // "compare": A and B, as they were named
    bool by_keypad = false;
    bool all = false;
};

/// Exit codes.
inline constexpr int kDone = 0;
inline constexpr int kDifferent = 1;  // "compare" alone
inline constexpr int kFailed = 2;     // bad words, a file that can't be read, no line of a log

}  // namespace vdipc::log
