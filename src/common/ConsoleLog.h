// printf-style lines on standard output, for the timer alone. Its level numbers are not those of the log.
#pragma once

#include "common/PrintfFormat.h"

#include <cstddef>
#include <cstdint>

namespace vdipc {

enum class ConsoleLogLevel : std::int32_t { Debug = 0, Info = 1, Warn = 2, Error = 3 };

/// Prints one line of at most 1024 bytes with a prefix of time, level, thread, file and line. An empty message gets no
/// line break. Serialised over all threads.
VDIPC_PRINTF_FORMAT(4, 5)
void ConsoleLog(const char* file, int line, ConsoleLogLevel level, const char* format, ...);

/// Prints the prefix at the start of the line buffer and returns its length. For ConsoleLog, which holds the buffer's
/// lock; a caller from outside can't, and must know that nobody else logs.
std::size_t MakeConsolePrefix(const char* file, int line, ConsoleLogLevel level);

/// The part of a source path behind its last backslash (or slash).
const char* SourceFileName(const char* path);

}  // namespace vdipc
