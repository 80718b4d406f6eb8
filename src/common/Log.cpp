#include "common/Log.h"

#include "common/Clock.h"

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

/// At least `width` digits. By hand, since a line's head is the dearest part of a line, and every step of a lesson has many.
template <std::uint32_t kBase>
char* PutNumber(char* to, std::uint32_t number, std::ptrdiff_t width) {
    char digits[10];
    char* first = std::end(digits);
    while (number != 0 || std::end(digits) - first < width) {
        *--first = "0123456789abcdef"[number % kBase];
        number /= kBase;
    }
    return std::copy(first, std::end(digits), to);
}

char* PutField(char* to, int field, std::ptrdiff_t width, char behind) {
    to = PutNumber<10>(to, static_cast<std::uint32_t>(field), width);
    *to = behind;
    return to + 1;
}

}  // namespace

LogPrefix MakeLogPrefix(LogLevel level) {
    const LocalTime now = GetLocalTimeNow();
    LogPrefix prefix;
    char* end = Put(prefix.text.data(), "[");
    end = PutField(end, now.year, 4, '-');
    end = PutField(end, now.month, 2, '-');
    end = PutField(end, now.day, 2, ' ');
    end = PutField(end, now.hour, 2, ':');
    end = PutField(end, now.minute, 2, ':');
    end = PutField(end, now.second, 2, '.');
    end = PutField(end, now.milliseconds, 3, ']');
    end = Put(Put(Put(end, "["), LevelName(level)), "][");
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
