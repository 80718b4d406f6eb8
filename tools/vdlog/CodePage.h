// Which code page a log's texts are of, where nobody says so and they aren't UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vdipc::log {

enum class CodePage : std::uint8_t { Unknown, Chinese, Western };  // 936, 1252

/// A character of Chinese text is two bytes beyond ASCII, mostly out of two small ranges, and more of them follow. In western
/// text such a byte stands alone between letters and blanks. A log is of one machine, so all its lines speak for each text.
class CodePageGuess {
public:
    /// The log as it comes, in pieces of any size.
    void Meet(std::string_view bytes);

    /// What the lines so far say together; where they contradict each other or don't say, what the text itself says.
    CodePage Of(std::string_view text) const;

private:
    struct Signs {
        std::uint64_t chinese = 0;
        std::uint64_t western = 0;
    };
    static void Count(std::string_view text, Signs& signs);
    /// One of them, where it has `times` as many signs as the other.
    static CodePage Judge(const Signs& signs, std::uint64_t times);

    Signs signs_;
    std::string begun_;  // a line whose end hasn't come yet
};

}  // namespace vdipc::log
