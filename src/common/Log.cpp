#include "common/Log.h"

#include "common/Clock.h"

#include <atomic>
#include <cstdio>

namespace vdipc {
namespace {

// Null until the log file is opened: lines are formatted and dropped.
std::atomic<LogHandler> log_handler_{nullptr};

const char* LevelName(LogLevel level) {
    static constexpr const char* kNames[] = {"Trace", "Debug", "Info", "Warn", "Error", "Critical"};
    const auto number = static_cast<std::uint32_t>(level);
    return number < std::size(kNames) ? kNames[number] : "Unknown";
}

}  // namespace

std::string MakeLogPrefix(LogLevel level) {
    std::string prefix(128, '\0');
    const LocalTime now = GetLocalTimeNow();
    const unsigned int thread = GetThreadNumber();
    std::snprintf(prefix.data(), prefix.size(), "[%04d-%02d-%02d %02d:%02d:%02d.%03d][%s][%05x] ", now.year,
                  now.month, now.day, now.hour, now.minute, now.second, now.milliseconds, LevelName(level),
                  thread);
    return prefix;
}

LogHandler ExchangeLogHandler(LogHandler handler) {
    return log_handler_.exchange(handler);
}

void EmitLogLine(LogLevel level, const char* text) {
    if (const LogHandler handler = log_handler_.load()) {
        handler(static_cast<std::int32_t>(level), text);
    }
}

}  // namespace vdipc
