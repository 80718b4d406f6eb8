// The log file: opened once, at construction of the handler, and left open until the process ends.
#pragma once

#include "common/Clock.h"

#include <cstdint>
#include <string>

namespace vdipc {

/// "vote_deck.", the date as in 2026.11.14, ".log".
std::string MakeLogFileName(const LocalTime& time);

/// Appends one line to the log file, in two writes: the text, then the line end. The level is ignored, and a text over
/// 16384 bytes is cut. Any thread.
void WriteLogLine(std::int32_t level, const char* text);

/// Opens the day's log file beside the host's executable, and installs WriteLogLine as the sink, here and in the
/// receivers' library. A file that can't be opened leaves the system without a log.
void OpenLogFile();

}  // namespace vdipc
