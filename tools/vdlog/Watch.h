// Follows a log that grows, and says each silent press as it comes.
#pragma once

#include "tools/vdlog/Options.h"

#include <functional>
#include <iosfwd>

namespace vdipc::log {

/// Reads what is there without a word, then tells what comes, until `go_on` says no. It is asked each time that nothing
/// new has come, and has to take its time.
int Watch(const Options& options, std::ostream& out, const std::function<bool()>& go_on);

}  // namespace vdipc::log
