// Collects what the library logs while it lives, in place of the process's sink.
#pragma once

#include "common/Log.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vdipc::test {

/// One line of the log, taken apart: "[2026-11-14 08:00:00.000][Debug][001a4] IpcHandler::TaskLoop:42 task begin".
struct LogLine {
    LogLevel level = LogLevel::Trace;  // as the sink got it
    std::string raw;                   // the whole line
    std::string time;                  // "2026-11-14 08:00:00.000"
    std::string level_name;            // "Debug"
    std::string thread;                // "001a4"
    std::string message;               // "IpcHandler::TaskLoop:42 task begin"
    std::string function;              // "IpcHandler::TaskLoop"; empty for a line that doesn't name one
    int line = 0;                      // 42
    std::string rest;                  // "task begin"; the whole message where no function is named
};

LogLine ParseLogLine(LogLevel level, const std::string& text);

/// Whether a text is `before` and a decimal number, for lines that end in a number of the system's own.
bool EndsInNumber(const std::string& text, const std::string& before);

/// Installs itself as the sink and puts the former sink back at its end. Captures nest: the youngest gets the lines.
/// All members on any thread.
class LogCapture {
public:
    static constexpr std::chrono::milliseconds kPatience{30000};

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> Lines() const;
    /// Prefix stripped: "IpcHandler::TaskLoop:42 task begin".
    std::vector<std::string> Messages() const;
    /// Prefix, function and line number stripped: "task begin". Entry lines come out empty.
    std::vector<std::string> Rests() const;
    /// Lines whose rest is exactly this.
    std::vector<LogLine> Find(const std::string& rest) const;
    /// Lines of one function ("IpcHandler::TaskLoop"), in order.
    std::vector<LogLine> OfFunction(const std::string& function) const;

    /// Whether a message contains the text.
    bool Contains(const std::string& text) const;
    /// Whether a message at this level contains the text.
    bool Contains(LogLevel level, const std::string& text) const;
    /// Whether the rest of a line at this level is exactly this. What a line says is asked in this way: a part of it tells
    /// nothing of its end.
    bool Has(LogLevel level, const std::string& rest) const;
    /// How many messages contain the text.
    std::size_t Count(const std::string& text) const;
    /// Waits until a message contains the text; false when the time is over.
    bool WaitFor(const std::string& text, std::chrono::milliseconds timeout = kPatience) const;
    /// Waits until so many messages contain the text.
    bool WaitForCount(const std::string& text, std::size_t count,
                      std::chrono::milliseconds timeout = kPatience) const;
    /// Forgets what was collected.
    void Clear();
    /// All messages with their levels, one below the other, for a failing test's output.
    std::string Text() const;

private:
    friend struct LogCaptureSink;

    std::vector<LogLine> lines_;
    LogCapture* outer_ = nullptr;
    LogHandler former_ = nullptr;
};

}  // namespace vdipc::test
