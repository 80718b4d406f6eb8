// Cuts the bytes of a log into lines. Streaming, never trusting: any bytes are some sequence of lines.
//
// What it has to cope with: the text of a line and its line end are two writes, so a line of another thread can begin in
// the middle of a physical line, and line ends can meet; texts hold line feeds of their own (an event is styled JSON);
// lines of the receivers' libraries stand between in their own form; a file begins or ends anywhere, and holds any byte.
#pragma once

#include "tools/vdlog/LogLine.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vdipc::log {

class LineSink {
public:
    LineSink() = default;
    LineSink(const LineSink&) = delete;
    LineSink& operator=(const LineSink&) = delete;
    virtual ~LineSink() = default;
    virtual void OnLine(const LogLine& line) = 0;
};

class LineReader {
public:
    explicit LineReader(LineSink& sink) : sink_(sink) {}

    /// The bytes that come next. Lines whose end isn't known yet are kept.
    void Feed(const char* bytes, std::size_t size);

    /// Gives what is kept as far as it ends with a line end. For a file that grows: the library writes a text at once, so
    /// what stands there is whole when nothing has come for a while.
    void Settle();

    /// The end of this file: gives all that is kept. What follows belongs to the next file.
    void EndFile();

    /// Texts beyond this are cut, and the rest is given as lines of another form. The library's own limit is 16384.
    static constexpr std::size_t kLongestText = 64 * 1024;

private:
    /// Gives the complete lines of the buffer; with `all` also those at its end. Returns how many bytes are done with.
    std::size_t Process(std::string_view bytes, bool all);
    void Give(std::string_view record, bool with_prefix);
    bool ReadPrefix(std::string_view text, std::size_t& length);

    LineSink& sink_;
    std::string kept_;
    std::uint32_t file_ = 0;
    std::uint64_t line_ = 1;  // number of the physical line at the beginning of what is kept
    // The last prefix that was read, and its time to the minute.
    LogLine prefix_;
    char minute_text_[17] = {};
    std::int64_t minute_ = 0;
    bool minute_known_ = false;
    std::int64_t last_time_ = 0;
    bool carriage_returns_ = true;  // whether line ends of this log still have theirs
};

}  // namespace vdipc::log
