// Follows a log that grows, and says each silent press as it comes.
#pragma once

#include "tools/vdlog/Options.h"

#include <chrono>
#include <functional>
#include <iosfwd>

namespace vdipc::log {

/// Between two looks at the file. A press is told at the third look behind it, and within a second.
inline constexpr std::chrono::milliseconds kBetweenLooks{150};

/// Reads what is there without a word, then tells what comes, until `go_on` says no. It is asked behind each look at the
/// file, and has to take its time: a press whose lines end the file is told at the look that finds nothing new.
int Watch(const Options& options, std::ostream& out, const std::function<bool()>& go_on);

}  // namespace vdipc::log
