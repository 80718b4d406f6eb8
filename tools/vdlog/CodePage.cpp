#include "tools/vdlog/CodePage.h"

#include "tools/vdlog/Text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vdipc::log {
namespace {

constexpr std::size_t kLongestLine = 64 * 1024;

bool IsHigh(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

/// Where the first byte beyond ASCII is; the size where there is none. Most of a log has none, so many are looked at together.
std::size_t FindHigh(std::string_view bytes) {
    std::array<std::uint64_t, 8> words{};
    std::size_t at = 0;
    for (; at + sizeof words <= bytes.size(); at += sizeof words) {
        std::memcpy(words.data(), bytes.data() + at, sizeof words);
        std::uint64_t all = 0;
        for (const std::uint64_t word : words) {
            all |= word;
        }
        if ((all & 0x8080808080808080U) != 0) {
            break;
        }
    }
    return static_cast<std::size_t>(
        std::find_if(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(), IsHigh) - bytes.begin());
}

/// The signs and the first rank of characters of code page 936, which Chinese text is mostly of.
bool IsCommonChinese(char first, char second) {
    const auto lead = static_cast<unsigned char>(first);
    return ((lead >= 0xA1 && lead <= 0xA9) || (lead >= 0xB0 && lead <= 0xD7)) &&
           static_cast<unsigned char>(second) >= 0xA1;
}

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// Whether a byte beyond ASCII with none beside it is western. A rare Chinese character ends with a byte of ASCII, too, and a name
/// may be nothing else: where a sign of code page 1252 stands before a letter, and not behind one, it may be either.
bool IsWestern(std::string_view text, std::size_t at) {
    const char behind = at + 1 < text.size() ? text[at + 1] : ' ';
    return static_cast<unsigned char>(text[at]) >= 0xC0 || behind < '@' || behind == '\x7F' ||
           (at > 0 && IsLetter(text[at - 1]));
}

}  // namespace

void CodePageGuess::Meet(std::string_view bytes) {
    if (!begun_.empty()) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        begun_ += bytes.substr(0, end);
        if (end == bytes.size() && begun_.size() < kLongestLine) {
            return;
        }
        Count(begun_, signs_);
        begun_.clear();
        bytes.remove_prefix(end);
    }
    const std::size_t whole = bytes.rfind('\n') + 1;  // 0 where there is no line end
    begun_ = bytes.substr(whole);
    bytes = bytes.substr(0, whole);
    for (std::size_t high = FindHigh(bytes); high < bytes.size(); high = FindHigh(bytes)) {
        const std::size_t begin = bytes.rfind('\n', high) + 1;
        const std::size_t end = bytes.find('\n', high);
        Count(bytes.substr(begin, end - begin), signs_);
        bytes.remove_prefix(end);
    }
}

CodePage CodePageGuess::Of(std::string_view text) const {
    CodePage page = Judge(signs_, 2);
    if (page == CodePage::Unknown) {
        Signs own;
        Count(text, own);
        page = Judge(own, 1);
    }
    return page == CodePage::Unknown ? Judge(signs_, 1) : page;
}

void CodePageGuess::Count(std::string_view text, Signs& signs) {
    if (IsUtf8(text) || IsCutUtf8(text.substr(0, text.find_last_not_of('\r') + 1))) {
        return;
    }
    for (std::size_t at = FindHigh(text); at < text.size(); at += FindHigh(text.substr(at))) {
        const auto rest = text.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t end =
            at + static_cast<std::size_t>(std::find_if_not(rest, text.end(), IsHigh) - rest);
        signs.western += end == at + 1 && IsWestern(text, at) ? 1 : 0;
        for (; at + 1 < end; at += 2) {
            signs.chinese += IsCommonChinese(text[at], text[at + 1]) ? 1 : 0;
        }
        at = end;
    }
}

CodePage CodePageGuess::Judge(const Signs& signs, std::uint64_t times) {
    if (signs.chinese > 0 && signs.chinese >= times * signs.western && signs.chinese != signs.western) {
        return CodePage::Chinese;
    }
    return signs.western > 0 && signs.western >= times * signs.chinese && signs.chinese != signs.western
               ? CodePage::Western
               : CodePage::Unknown;
}

}  // namespace vdipc::log
