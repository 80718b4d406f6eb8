#include "tools/vdlog/LineReader.h"

#include <algorithm>
#include <cstring>

namespace vdipc::log {
namespace {

constexpr std::size_t kMinuteLength = 17;   // "[2026-11-22 14:03"
constexpr std::size_t kLongestPrefix = 64;  // what of a prefix has to be there to be told from other text
constexpr std::size_t kLongestName = 240;   // of a function, with its lambda

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

int Digits(const char* text, int count) {
    int number = 0;
    for (int i = 0; i < count; ++i) {
        number = number * 10 + (text[i] - '0');
    }
    return number;
}

/// Fits "[2026-11-22 14:03:07.250][" by the kinds of its characters.
bool LooksLikeTime(const char* text) {
    static constexpr char kShape[] = "[dddd-dd-dd dd:dd:dd.ddd][";
    for (std::size_t i = 0; i + 1 < sizeof kShape; ++i) {
        if (kShape[i] == 'd' ? !IsDigit(text[i]) : text[i] != kShape[i]) {
            return false;
        }
    }
    return true;
}
constexpr std::size_t kTimeLength = 26;

int HexDigit(char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

/// Follows JSON's brackets through a text that comes in pieces.
class Brackets {
public:
    void Follow(std::string_view text) {
        for (const char c : text) {
            if (in_string_) {
                if (escaped_) {
                    escaped_ = false;
                } else if (c == '\\') {
                    escaped_ = true;
                } else if (c == '"') {
                    in_string_ = false;
                }
            } else if (c == '"') {
                in_string_ = depth_ > 0;
            } else if (c == '{' || c == '[') {
                ++depth_;
            } else if ((c == '}' || c == ']') && depth_ > 0) {
                --depth_;
            }
        }
    }
    bool AreOpen() const { return depth_ > 0; }

private:
    int depth_ = 0;
    bool in_string_ = false;
    bool escaped_ = false;
};

std::string_view WithoutLineEnd(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

/// Cuts "Class::Method:12 text" into its parts; what has another form is text as a whole.
void CutMessage(std::string_view message, LogLine& line) {
    line.function = {};
    line.in_lambda = false;
    line.joined = false;
    line.source_line = 0;
    line.text = message;
    const std::size_t last = std::min(message.size(), kLongestName);
    for (std::size_t colon = message.find(':'); colon < last; colon = message.find(':', colon + 1)) {
        std::size_t end = colon + 1;
        std::uint32_t number = 0;
        while (end < message.size() && IsDigit(message[end]) && end < colon + 7) {
            number = number * 10 + static_cast<std::uint32_t>(message[end] - '0');
            ++end;
        }
        if (end == colon + 1 || colon == 0 || message[colon - 1] == ':') {
            continue;
        }
        std::string_view name = message.substr(0, colon);
        const std::size_t lambda = name.find("::<lambda");
        if (lambda != std::string_view::npos) {
            name = name.substr(0, lambda);
            line.in_lambda = true;
        }
        if (name.empty() || name.find(' ') != std::string_view::npos) {
            return;
        }
        line.function = name;
        line.source_line = number;
        line.joined = end < message.size() && message[end] != ' ';
        line.text = message.substr(end < message.size() && message[end] == ' ' ? end + 1 : end);
        return;
    }
}

}  // namespace

bool LineReader::ReadPrefix(std::string_view text, std::size_t& length) {
    if (text.size() < kTimeLength + 5 || text[0] != '[') {
        return false;
    }
    const char* const bytes = text.data();
    const bool same_minute = minute_known_ && std::memcmp(bytes, minute_text_, kMinuteLength) == 0;
    if (same_minute) {
        if (bytes[17] != ':' || !IsDigit(bytes[18]) || !IsDigit(bytes[19]) || bytes[20] != '.' ||
            !IsDigit(bytes[21]) || !IsDigit(bytes[22]) || !IsDigit(bytes[23]) || bytes[24] != ']' ||
            bytes[25] != '[') {
            return false;
        }
    } else if (!LooksLikeTime(bytes)) {
        return false;
    }
    std::size_t at = kTimeLength;
    const std::size_t level_begin = at;
    while (at < text.size() && at < level_begin + 10 && text[at] >= 'A' && text[at] <= 'z' &&
           text[at] != ']') {
        ++at;
    }
    const std::size_t level_end = at;
    if (at + 2 >= text.size() || level_end == level_begin || text[at] != ']' || text[at + 1] != '[') {
        return false;
    }
    at += 2;
    std::uint32_t thread = 0;
    const std::size_t thread_begin = at;
    for (int digit = 0; at < text.size() && at < thread_begin + 8 && (digit = HexDigit(text[at])) >= 0;
         ++at) {
        thread = thread * 16 + static_cast<std::uint32_t>(digit);
    }
    if (at + 1 >= text.size() || at == thread_begin || text[at] != ']' || text[at + 1] != ' ') {
        return false;
    }
    if (!same_minute) {
        std::memcpy(minute_text_, bytes, kMinuteLength);
        minute_known_ = true;
        minute_ = MillisecondsOf(Digits(bytes + 1, 4), Digits(bytes + 6, 2), Digits(bytes + 9, 2),
                                 Digits(bytes + 12, 2), Digits(bytes + 15, 2), 0, 0);
    }
    prefix_.at.time = minute_ + Digits(bytes + 18, 2) * 1000 + Digits(bytes + 21, 3);
    prefix_.level = text.substr(level_begin, level_end - level_begin);
    prefix_.thread = thread;
    length = at + 2;
    return true;
}

void LineReader::Give(std::string_view record, bool with_prefix) {
    const std::string_view content = WithoutLineEnd(record);
    if (with_prefix) {
        LogLine line = prefix_;
        line.at.file = file_;
        line.at.line = line_;
        last_time_ = line.at.time;
        CutMessage(content, line);
        sink_.OnLine(line);
    } else if (!content.empty()) {
        LogLine line;
        line.at = {file_, line_, last_time_};
        line.text = content;
        sink_.OnLine(line);
    }
}

std::size_t LineReader::Process(std::string_view bytes, bool all) {
    std::size_t at = 0;
    while (at < bytes.size()) {
        std::size_t length = 0;
        const std::string_view rest = bytes.substr(at);
        const bool ours = ReadPrefix(rest, length);
        if (!ours && !all && rest[0] == '[' && rest.size() < kLongestPrefix &&
            rest.find('\n') == std::string_view::npos) {
            return at;  // may become a prefix yet
        }
        // The end of the record that begins here, by physical lines.
        const std::size_t body = at + length;
        std::size_t from = body;
        std::size_t end = 0;
        std::uint64_t line_ends = 0;
        bool known = false;
        Brackets brackets;
        std::size_t followed = body;
        while (true) {
            const void* const found = std::memchr(bytes.data() + from, '\n', bytes.size() - from);
            std::size_t stop =
                found == nullptr
                    ? bytes.size()
                    : static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data()) + 1;
            // A line of another thread may begin in the middle.
            const LogLine own = prefix_;
            for (std::size_t inner = from == at ? from + 1 : from; inner < stop;) {
                const void* const bracket = std::memchr(bytes.data() + inner, '[', stop - inner);
                if (bracket == nullptr) {
                    break;
                }
                inner = static_cast<std::size_t>(static_cast<const char*>(bracket) - bytes.data());
                std::size_t ignored = 0;
                if (ReadPrefix(bytes.substr(inner), ignored)) {
                    end = inner;
                    known = true;
                    break;
                }
                ++inner;
            }
            prefix_ = own;
            if (known) {
                break;
            }
            if (stop - at > kLongestText) {
                end = std::min(stop, at + kLongestText);
                line_ends += end == stop && found != nullptr ? 1 : 0;
                break;
            }
            if (found == nullptr) {
                if (!all) {
                    return at;
                }
                end = stop;
                break;
            }
            ++line_ends;
            end = stop;
            if (!ours) {
                break;
            }
            const std::string_view next = bytes.substr(stop);
            std::size_t ignored = 0;
            const bool next_is_ours = ReadPrefix(next, ignored);
            prefix_ = own;
            if (next_is_ours || (next.empty() && all)) {
                break;
            }
            if (!all && next.size() < kLongestPrefix && next.find('\n') == std::string_view::npos) {
                return at;
            }
            // The library ends its lines with CR and LF; a bare LF stands inside of a text. Where a copy has lost the
            // CRs, open brackets tell.
            const bool bare = stop < body + 2 || bytes[stop - 2] != '\r';
            brackets.Follow(bytes.substr(followed, stop - followed));
            followed = stop;
            if (!brackets.AreOpen() && !(bare && carriage_returns_)) {
                break;
            }
            from = stop;
        }
        if (ours && end >= body + 2 && bytes[end - 1] == '\n') {
            carriage_returns_ = bytes[end - 2] == '\r';
        }
        Give(bytes.substr(body, end - body), ours);
        line_ += line_ends;
        at = end;
    }
    return at;
}

void LineReader::Feed(const char* bytes, std::size_t size) {
    // A record's inner prefix search makes this quadratic for a record that never ends; its length is bounded.
    std::string_view fresh(bytes, size);
    if (!kept_.empty()) {
        kept_.append(fresh);
        const std::size_t done = Process(kept_, false);
        kept_.erase(0, done);
        return;
    }
    const std::size_t done = Process(fresh, false);
    kept_.assign(fresh.substr(done));
}

void LineReader::Settle() {
    if (!kept_.empty() && kept_.back() == '\n') {
        Process(kept_, true);
        kept_.clear();
    }
}

void LineReader::EndFile() {
    Process(kept_, true);
    kept_.clear();
    ++file_;
    line_ = 1;
    minute_known_ = false;
}

}  // namespace vdipc::log
