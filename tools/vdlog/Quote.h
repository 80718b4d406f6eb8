// A line of the log as it is shown to people.
#pragma once

#include "tools/vdlog/LogLine.h"
#include "tools/vdlog/Text.h"

#include <string>

namespace vdipc::log {

/// The function that wrote a line, and the line of its source: "PipeServer::SendMsg:71".
std::string QuoteFunction(const LogLine& line, const Text& text);

/// What stands behind it, in UTF-8 on one line: JSON is set compact, and what is very long is cut. When redacting, values
/// stay where they are numbers, yes or no, or the protocol's own words.
std::string QuoteText(const LogLine& line, const Text& text);

}  // namespace vdipc::log
