#include "tools/vdlog/Quote.h"

#include "tools/vdlog/KnownLines.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vdipc::log {
namespace {

constexpr std::size_t kLongestQuote = 1500;  // bytes of what is shown

/// Cuts between two characters.
std::string Cut(std::string shown) {
    if (shown.size() <= kLongestQuote) {
        return shown;
    }
    std::size_t end = kLongestQuote;
    while (end > 0 && (static_cast<unsigned char>(shown[end]) & 0xC0) == 0x80) {
        --end;
    }
    shown.resize(end);
    return shown + " ... (" + std::to_string(shown.size()) + " bytes and more)";
}

/// Whether the words before a value say that its number tells nothing of what somebody wrote or said.
bool AnnouncesNumber(std::string_view words) {
    static constexpr std::string_view kEnds[] = {
        "device=",     "device_id=", "DeviceId=",   "DeviceID=",   "newUid=", "enKeyValue=",
        "pressTimes=", "recvTimes=", "type=",       "for device ", "_map_[",  "insert ",
        "error_code=", "score=",     "voice_size=", "VERSION:",    "info=",   "failed:"};
    return std::any_of(std::begin(kEnds), std::end(kEnds),
                       [words](std::string_view end) { return words.ends_with(end); });
}

bool IsOf(std::string_view value, const char* characters) {
    return !value.empty() && value.size() <= 20 && value.find_first_not_of(characters) == value.npos;
}

/// A value, behind the words that announce it in its row.
std::string QuoteValue(std::string_view words, std::string_view value, const Text& text) {
    if (value.find('{') != std::string_view::npos) {
        // JSON of the pipe, or a speech request's id.
        std::string message = text.Message(value);
        if (!message.empty()) {
            return message;
        }
    }
    const bool kept = !text.Redacts() || value == "true" || value == "false" ||
                      (AnnouncesNumber(words) && IsOf(value, "-.0123456789")) ||
                      (words.ends_with("key=") && IsOf(value, "ABCDTFG"));
    return kept ? text.Shown(value) : words.ends_with("custom=") ? text.Name(value) : text.Private(value);
}

}  // namespace

std::string QuoteFunction(const LogLine& line, const Text& text) {
    if (line.function.empty()) {
        return {};
    }
    // Where a line is no line of the library, its function may be anything.
    const bool known = !text.Redacts() || Read(line).function_known;
    return (known ? text.Shown(line.function) : text.Private(line.function)) +
           (line.in_lambda ? "::<lambda>" : "") + ":" + std::to_string(line.source_line);
}

std::string QuoteText(const LogLine& line, const Text& text) {
    const Reading reading = Read(line);
    if (reading.row == nullptr) {
        return Cut(text.Private(line.text));
    }
    std::string shown;
    std::size_t value = 0;
    std::string_view rest = reading.row->text;
    while (true) {
        const std::size_t place = rest.find("{}");
        shown += rest.substr(0, place);
        if (place == std::string_view::npos) {
            break;
        }
        if (value < reading.values.size()) {
            shown += QuoteValue(rest.substr(0, place), reading.values[value++], text);
        }
        rest.remove_prefix(place + 2);
    }
    return Cut(shown);
}

}  // namespace vdipc::log
