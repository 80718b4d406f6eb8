#include "common/Log.h"

#include "common/Clock.h"

#include <atomic>
#include <iterator>

#include <fmt/compile.h>

namespace vdipc {
namespace {

// Null until the log file is opened: lines are formatted and dropped.
std::atomic<LogHandler> log_handler_{nullptr};

std::string_view LevelName(LogLevel level) {
    static constexpr std::string_view kNames[] = {"Trace", "Debug", "Info", "Warn", "Error", "Critical"};
    const auto number = static_cast<std::uint32_t>(level);
    return number < std::size(kNames) ? kNames[number] : "Unknown";
}

}  // namespace

LogPrefix MakeLogPrefix(LogLevel level) {
    const LocalTime now = GetLocalTimeNow();
    LogPrefix prefix;
    const auto end = fmt::format_to_n(
        prefix.text.data(), prefix.text.size(),
        FMT_COMPILE("[{:04d}-{:02d}-{:02d} {:02d}:{:02d}:{:02d}.{:03d}][{}][{:05x}] "), now.year, now.month,
        now.day, now.hour, now.minute, now.second, now.milliseconds, LevelName(level), GetThreadNumber());
    prefix.size = static_cast<std::size_t>(end.out - prefix.text.data());
    return prefix;
}

LogHandler ExchangeLogHandler(LogHandler handler) {
    return log_handler_.exchange(handler);
}

void LogFormattedArguments(LogLevel level, fmt::string_view format, fmt::format_args arguments) {
    fmt::basic_memory_buffer<char, 500> writer;
    const LogPrefix prefix = MakeLogPrefix(level);
    writer.append(prefix.View());
    fmt::vformat_to(fmt::appender(writer), format, arguments);
    writer.push_back('\0');
    EmitLogLine(level, writer.data());
}

void EmitLogLine(LogLevel level, const char* text) {
    if (const LogHandler handler = log_handler_.load()) {
        handler(static_cast<std::int32_t>(level), text);
    }
}

}  // namespace vdipc
