#include "support/LogCapture.h"

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <cstddef>
#include <iterator>
#include <mutex>

namespace vdipc::test {
namespace {

std::mutex g_captures_mutex;  // guards the chain of captures and all their lines
std::condition_variable g_more;
LogCapture* g_youngest = nullptr;

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Takes "[text]" off the front of the line.
std::string TakeBracket(std::string& line) {
    if (line.empty() || line.front() != '[') {
        return {};
    }
    const std::size_t end = line.find(']');
    if (end == std::string::npos) {
        return {};
    }
    const std::string inside = line.substr(1, end - 1);
    line.erase(0, end + 1);
    return inside;
}

std::size_t CountIn(const std::vector<LogLine>& lines, const std::string& text) {
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&text](const LogLine& line) {
        return line.message.find(text) != std::string::npos;
    }));
}

}  // namespace

struct LogCaptureSink {
    static void Take(std::int32_t level, const char* text) {
        std::lock_guard lock(g_captures_mutex);
        if (g_youngest != nullptr) {
            g_youngest->lines_.push_back(ParseLogLine(static_cast<LogLevel>(level), text));
            g_more.notify_all();
        }
    }
};

LogLine ParseLogLine(LogLevel level, const std::string& text) {
    LogLine line;
    line.level = level;
    line.raw = text;
    std::string left = text;
    line.time = TakeBracket(left);
    line.level_name = TakeBracket(left);
    line.thread = TakeBracket(left);
    if (!left.empty() && left.front() == ' ') {
        left.erase(0, 1);
    }
    line.message = left;
    line.rest = left;
    // The line number stands behind a single colon; the colons within a qualified name come in pairs.
    for (std::size_t i = 1; i + 1 < left.size(); ++i) {
        if (left[i] != ':' || left[i - 1] == ':' || !IsDigit(left[i + 1])) {
            continue;
        }
        std::size_t end = i + 1;
        while (end < left.size() && IsDigit(left[end])) {
            ++end;
        }
        if (end - i - 1 > 9 || (end < left.size() && left[end] != ' ')) {
            break;
        }
        line.function = left.substr(0, i);
        line.line = std::stoi(left.substr(i + 1, end - i - 1));
        line.rest = end < left.size() ? left.substr(end + 1) : std::string();
        break;
    }
    return line;
}

bool EndsInNumber(const std::string& text, const std::string& before) {
    return text.size() > before.size() && text.compare(0, before.size(), before) == 0 &&
           std::all_of(text.begin() + static_cast<std::ptrdiff_t>(before.size()), text.end(), IsDigit);
}

LogCapture::LogCapture() {
    std::lock_guard lock(g_captures_mutex);
    outer_ = g_youngest;
    g_youngest = this;
    former_ = ExchangeLogHandler(&LogCaptureSink::Take);
}

LogCapture::~LogCapture() {
    std::lock_guard lock(g_captures_mutex);
    ExchangeLogHandler(former_);
    g_youngest = outer_;
}

std::vector<LogLine> LogCapture::Lines() const {
    std::lock_guard lock(g_captures_mutex);
    return lines_;
}

std::vector<std::string> LogCapture::Messages() const {
    std::lock_guard lock(g_captures_mutex);
    std::vector<std::string> messages;
    for (const LogLine& line : lines_) {
        messages.push_back(line.message);
    }
    return messages;
}

std::vector<std::string> LogCapture::Rests() const {
    std::lock_guard lock(g_captures_mutex);
    std::vector<std::string> rests;
    for (const LogLine& line : lines_) {
        rests.push_back(line.rest);
    }
    return rests;
}

std::vector<LogLine> LogCapture::Find(const std::string& rest) const {
    std::lock_guard lock(g_captures_mutex);
    std::vector<LogLine> found;
    std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(found),
                 [&rest](const LogLine& line) { return line.rest == rest; });
    return found;
}

std::vector<LogLine> LogCapture::OfFunction(const std::string& function) const {
    std::lock_guard lock(g_captures_mutex);
    std::vector<LogLine> found;
    std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(found),
                 [&function](const LogLine& line) { return line.function == function; });
    return found;
}

bool LogCapture::Contains(const std::string& text) const {
    return Count(text) > 0;
}

bool LogCapture::Contains(LogLevel level, const std::string& text) const {
    std::lock_guard lock(g_captures_mutex);
    return std::any_of(lines_.begin(), lines_.end(), [level, &text](const LogLine& line) {
        return line.level == level && line.message.find(text) != std::string::npos;
    });
}

bool LogCapture::Has(LogLevel level, const std::string& rest) const {
    std::lock_guard lock(g_captures_mutex);
    return std::any_of(lines_.begin(), lines_.end(), [level, &rest](const LogLine& line) {
        return line.level == level && line.rest == rest;
    });
}

std::size_t LogCapture::Count(const std::string& text) const {
    std::lock_guard lock(g_captures_mutex);
    return CountIn(lines_, text);
}

bool LogCapture::WaitFor(const std::string& text, std::chrono::milliseconds timeout) const {
    return WaitForCount(text, 1, timeout);
}

bool LogCapture::WaitForCount(const std::string& text, std::size_t count,
                              std::chrono::milliseconds timeout) const {
    std::unique_lock lock(g_captures_mutex);
    return g_more.wait_for(lock, timeout, [this, &text, count] { return CountIn(lines_, text) >= count; });
}

void LogCapture::Clear() {
    std::lock_guard lock(g_captures_mutex);
    lines_.clear();
}

std::string LogCapture::Text() const {
    std::lock_guard lock(g_captures_mutex);
    std::string text;
    for (const LogLine& line : lines_) {
        text += "[" + line.level_name + "] " + line.message + "\n";
    }
    return text;
}

}  // namespace vdipc::test
