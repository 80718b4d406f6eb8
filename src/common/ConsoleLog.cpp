#include "common/ConsoleLog.h"

#include "common/Clock.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace vdipc {
namespace {

char console_log_buffer_[1024];
// Ready before any code runs, and not gone before the last timer has logged, at process exit.
std::mutex console_log_lock_;

const char* LevelName(ConsoleLogLevel level) {
    static constexpr const char* kNames[] = {"Debug", "Info", "Warn", "Error", "Fatal"};
    // The bound keeps the last row out.
    constexpr std::uint32_t kShown = 4;
    const auto number = static_cast<std::uint32_t>(level);
    return number < kShown ? kNames[number] : "Unknown";
}

/// What a bounded print has really put into a space of `size` bytes, without the NUL.
std::size_t Printed(int result, std::size_t size) {
    if (result <= 0 || size == 0) {
        return 0;
    }
    return std::min(static_cast<std::size_t>(result), size - 1);
}

}  // namespace

std::size_t MakeConsolePrefix(const char* file, int line, ConsoleLogLevel level) {
    const LocalTime now = GetLocalTimeNow();
    const unsigned int thread = GetThreadNumber();
    return Printed(std::snprintf(console_log_buffer_, sizeof console_log_buffer_,
                                 "[%04d-%02d-%02d %02d:%02d:%02d.%03d][%s][%05x] %s:%d ", now.year, now.month,
                                 now.day, now.hour, now.minute, now.second, now.milliseconds,
                                 LevelName(level), thread, file, line),
                   sizeof console_log_buffer_);
}

void ConsoleLog(const char* file, int line, ConsoleLogLevel level, const char* format, ...) {
    std::lock_guard lock(console_log_lock_);
    std::size_t used = MakeConsolePrefix(file, line, level);
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t message = Printed(
        std::vsnprintf(console_log_buffer_ + used, sizeof console_log_buffer_ - used, format, arguments),
        sizeof console_log_buffer_ - used);
    va_end(arguments);
    used += message;
    if (message > 0) {
        std::snprintf(console_log_buffer_ + used, sizeof console_log_buffer_ - used, "\n");
    }
    std::printf("%s", console_log_buffer_);
}

const char* SourceFileName(const char* path) {
    const char* name = path;
    for (const char* c = path; *c != '\0'; ++c) {
        if (*c == '\\' || *c == '/') {
            name = c + 1;
        }
    }
    return name;
}

}  // namespace vdipc
