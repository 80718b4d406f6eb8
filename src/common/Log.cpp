#include "common/Log.h"

#include "common/Clock.h"
#include "common/TimeText.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace vdipc {
namespace {

// Null until the log file is opened: lines are formatted and dropped.
std::atomic<LogHandler> log_handler_{nullptr};

std::string_view LevelName(LogLevel level) {
    static constexpr std::string_view kNames[] = {"Trace", "Debug", "Info", "Warn", "Error", "Critical"};
    const auto number = static_cast<std::uint32_t>(level);
    return number < std::size(kNames) ? kNames[number] : "Unknown";
}

char* Put(char* to, std::string_view text) {
    return std::copy(text.begin(), text.end(), to);
}

}  // namespace

LogPrefix MakeLogPrefix(LogLevel level) {
    LogPrefix prefix;
    static_assert(sizeof prefix.text >= kLongestTimeText + sizeof "[][Critical][ffffffff] ");
    char* end = Put(prefix.text.data(), "[");
    end = PutTime(end, GetLocalTimeNow(), '-');
    end = Put(Put(Put(end, "]["), LevelName(level)), "][");
    end = Put(PutNumber<16>(end, GetThreadNumber(), 5), "] ");
    prefix.size = static_cast<std::size_t>(end - prefix.text.data());
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
