// The log of the library: every line goes to one process-wide sink, which appends it to a dated file beside the host's
// executable. There is no filter and no buffering: a line is in the file when the call returns.
//
// Call sites use VD_LOG(level, "{}:{} text {}", arguments...): the macro supplies the qualified function name and the
// source line for the first two placeholders. VD_LOG_ENTRY() is the bare "{}:{}" at Trace at the head of a function.
#pragma once

#include "common/FunctionName.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <fmt/format.h>

namespace vdipc {

enum class LogLevel : std::int32_t { Trace = 0, Debug = 1, Info = 2, Warn = 3, Error = 4, Critical = 5 };

/// A sink: level as a number, and a NUL-terminated text without line ending. Must be callable on any thread.
using LogHandler = void (*)(std::int32_t level, const char* text);

/// The head of a line, in place: no line pays for a text of its own on the heap.
struct LogPrefix {
    std::array<char, 128> text;
    std::size_t size;

    std::string_view View() const { return {text.data(), size}; }
};

/// "[year-month-day hour:minute:second.milliseconds][level name][thread number] ".
LogPrefix MakeLogPrefix(LogLevel level);

/// Replaces the sink; null formats and drops. Returns the former one.
LogHandler ExchangeLogHandler(LogHandler handler);

/// Hands a finished, NUL-terminated line to the sink, if there is one.
void EmitLogLine(LogLevel level, const char* text);

/// Prefix, formatted text, terminating NUL, sink. Lines below 500 characters need no heap.
void LogFormattedArguments(LogLevel level, fmt::string_view format, fmt::format_args arguments);

template <typename... Arguments>
void LogFormatted(LogLevel level, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    LogFormattedArguments(level, format, fmt::make_format_args(arguments...));
}

}  // namespace vdipc

#define VD_LOG(level, format, ...)                                                                           \
    ::vdipc::LogFormatted((level), format, VD_FUNCTION_NAME, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define VD_LOG_ENTRY() VD_LOG(::vdipc::LogLevel::Trace, "{}:{}")
