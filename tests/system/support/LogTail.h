// Follows a host's log, and reads what is new in it alone.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

namespace vdipc::test {

/// How often a part stands in a text.
std::size_t CountIn(const std::string& text, const std::string& part);

class LogTail {
public:
    /// The stage in which the log comes into being; one of an earlier run is read first.
    explicit LogTail(std::wstring directory);

    /// Reads what is new.
    void Refresh();
    /// How often a text stands in what has come since the last Mark. Reads nothing.
    std::size_t Count(const std::string& text) const;
    /// What came before is forgotten.
    void Mark();
    /// Reads until the text stands there so often since the last Mark.
    bool WaitFor(const std::string& text, std::size_t count, std::chrono::milliseconds timeout);

private:
    std::wstring directory_;
    std::wstring path_;
    std::size_t offset_ = 0;
    std::string unfinished_;  // the last line, as far as it has come
    std::string text_;        // whole lines since the mark
};

}  // namespace vdipc::test
