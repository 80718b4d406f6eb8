#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <sstream>

#include <json/json.h>

namespace vdipc::log {
namespace {

constexpr const char* kQuestionNames[] = {"single-choice",
                                          "multiple-choice",
                                          "red-envelope",
                                          "continous-red-envelope",
                                          "true-false",
                                          "audio",
                                          "audio-single",
                                          "audio-multiple",
                                          "audio-multiple-chn",
                                          "evaluation",
                                          "voice-record",
                                          "general",
                                          "multiple-question-single-choice"};
constexpr const char* kGroups[] = {"non-audio", "audio", "any"};
constexpr const char* kCommands[] = {"init", "ask", "stop", "text", "hi", "drop", "quit"};
constexpr const char* kSignals[] = {"led", "motor", "beep"};
constexpr const char* kColors[] = {"blue", "green", "blue-green", "red", "magenta", "yellow", "white"};

template <std::size_t Count>
int IndexOf(const char* const (&names)[Count], const std::string& name) {
    for (std::size_t i = 0; i < Count; ++i) {
        if (name == names[i]) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::string Quoted(const std::string& text) {
    // A long text helps nobody.
    return "\"" + (text.size() > 60 ? text.substr(0, 60) + "..." : text) + "\"";
}

/// Words for a member that isn't a text, or no row of a table. Empty when all is well.
template <std::size_t Count>
std::string ReadName(const Json::Value& object, const char* key, const char* const (&names)[Count],
                     int& number) {
    const Json::Value& value = object[key];
    if (value.isNull()) {
        return std::string("it has no \"") + key + "\"";
    }
    if (!value.isString()) {
        return std::string("its \"") + key + "\" is no text";
    }
    number = IndexOf(names, value.asString());
    if (number >= 0) {
        return {};
    }
    const std::string lower = Lower(value.asString());
    std::string words =
        "its \"" + std::string(key) + "\" " + Quoted(value.asString()) + " is none of the known words";
    if (IndexOf(names, lower) >= 0) {
        words += " (capitals count: \"" + lower + "\")";
    } else if (lower == "continuous-red-envelope") {
        words += " (the word is spelled \"continous-red-envelope\")";
    }
    return words;
}

std::string ReadDevice(const Json::Value& root, std::string& device) {
    const Json::Value& value = root["device"];
    if (value.isNull()) {
        return "it has no \"device\"";
    }
    if (!value.isString()) {
        return value.isNumeric()
                   ? "its \"device\" is a number and not a text: \"" + value.asString() + "\" is meant"
                   : "its \"device\" is no text";
    }
    device = value.asString();
    return {};
}

std::string ReadSignals(const Json::Value& arguments) {
    if (!arguments.isArray()) {
        return arguments.isNull() ? "it has no \"arguments\"" : "its \"arguments\" are no array";
    }
    int index = 0;
    for (const Json::Value& element : arguments) {
        const std::string where = "element " + std::to_string(++index) + " of its \"arguments\": ";
        if (!element.isObject()) {
            return where + "it is no object";
        }
        int type = -1;
        std::string words = ReadName(element, "type", kSignals, type);
        for (const char* const key : {"times", "interval", "duration"}) {
            if (words.empty() && !element[key].isInt()) {
                words = std::string("its \"") + key + "\" is no whole number of 32 bits";
            }
        }
        int color = -1;
        if (words.empty() && type == 0) {
            words = ReadName(element, "color", kColors, color);
        }
        if (!words.empty()) {
            return where + words;
        }
    }
    return {};
}

std::string ReadFields(Command& command, const Json::Value& root) {
    if (!root.isObject()) {
        return "its text is JSON, but no object";
    }
    const Json::Value& name = root["command"];
    if (!name.isString()) {
        return name.isNull() ? "it has no \"command\"" : "its \"command\" is no text";
    }
    command.name = name.asString();
    const Json::Value& custom = root["custom"];
    if (custom.isString()) {
        command.custom = custom.asString();
    }
    int number = -1;
    std::string words;
    switch (IndexOf(kCommands, command.name)) {
    case 0:
        words = ReadName(root, "preferred-device-type", kGroups, number);
        command.preferred = number;
        return words;
    case 1: {
        words = ReadDevice(root, command.device);
        if (words.empty()) {
            words = ReadName(root, "type", kQuestionNames, number);
        }
        command.type = static_cast<QuestionKind>(number);
        const Json::Value& context = root["context"];
        if (context.isObject()) {
            command.has_param = context["param"].isObject();
            const Json::Value& stems = context["stems"];
            if (stems.isArray()) {
                for (const Json::Value& stem : stems) {
                    command.stems += stem.isString() ? 1 : 0;
                }
            }
        }
        return words;
    }
    case 2:
    case 3:
    case 5:
        return ReadDevice(root, command.device);
    case 4:
        words = ReadDevice(root, command.device);
        return words.empty() ? ReadSignals(root["arguments"]) : words;
    case 6:
        return {};
    default:
        const std::string lower = Lower(command.name);
        return "there is no command " + Quoted(command.name) +
               (IndexOf(kCommands, lower) >= 0 ? " (capitals count: \"" + lower + "\")" : "");
    }
}

/// What a JSON text holds up to where it was cut: the whole members, with the brackets closed behind them.
std::string WholePart(std::string_view text) {
    std::string open;
    std::size_t whole = 0;
    bool in_string = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (in_string) {
            i += c == '\\' ? 1U : 0U;
            in_string = c != '"';
        } else if (c == '"') {
            in_string = true;
        } else if (c == '{' || c == '[') {
            open += c == '{' ? '}' : ']';
            whole = i + 1;
        } else if ((c == '}' || c == ']') && !open.empty()) {
            open.pop_back();
            whole = i + 1;
        } else if (c == ',') {
            whole = i;
        }
    }
    return std::string(text.substr(0, whole)) + std::string(open.rbegin(), open.rend());
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

void AppendUtf8(std::string& text, std::uint32_t point) {
    const auto byte = [&text](std::uint32_t value) { text += static_cast<char>(value); };
    if (point < 0x80) {
        byte(point);
    } else if (point < 0x800) {
        byte(0xC0 | point >> 6);
        byte(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        byte(0xE0 | point >> 12);
        byte(0x80 | (point >> 6 & 0x3F));
        byte(0x80 | (point & 0x3F));
    } else {
        byte(0xF0 | point >> 18);
        byte(0x80 | (point >> 12 & 0x3F));
        byte(0x80 | (point >> 6 & 0x3F));
        byte(0x80 | (point & 0x3F));
    }
}

/// Four hexadecimal digits at a place, or -1.
std::int32_t Unit(std::string_view text, std::size_t at) {
    if (at + 4 > text.size()) {
        return -1;
    }
    std::int32_t unit = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        const int digit = HexValue(text[i]);
        if (digit < 0) {
            return -1;
        }
        unit = unit * 16 + digit;
    }
    return unit;
}

/// The text of a JSON string that begins at `at`, behind its quote.
std::string Unescaped(std::string_view text, std::size_t at) {
    std::string result;
    for (; at < text.size() && text[at] != '"'; ++at) {
        if (text[at] != '\\' || at + 1 >= text.size()) {
            result += text[at];
            continue;
        }
        ++at;
        static constexpr std::string_view kShort = "bfnrt";
        static constexpr char kMeant[] = {'\b', '\f', '\n', '\r', '\t'};
        const std::size_t which = kShort.find(text[at]);
        if (which != std::string_view::npos) {
            result += kMeant[which];
        } else if (text[at] == 'u') {
            std::int32_t unit = Unit(text, at + 1);
            if (unit < 0) {
                continue;
            }
            at += 4;
            auto point = static_cast<std::uint32_t>(unit);
            if (unit >= 0xD800 && unit < 0xDC00 && text.substr(at + 1, 2) == "\\u") {
                const std::int32_t low = Unit(text, at + 3);
                if (low >= 0xDC00 && low < 0xE000) {
                    point = 0x10000 + (static_cast<std::uint32_t>(unit - 0xD800) << 10) +
                            static_cast<std::uint32_t>(low - 0xDC00);
                    at += 6;
                }
            }
            AppendUtf8(result, point >= 0xD800 && point < 0xE000 ? 0xFFFD : point);
        } else {
            result += text[at];
        }
    }
    return result;
}

}  // namespace

const char* NameOf(Receiver receiver) {
    static constexpr const char* kNames[] = {"TQ1", "TQ2", "RV1", "RV2", "LW", "USB"};
    const auto index = static_cast<std::size_t>(receiver);
    return index < std::size(kNames) ? kNames[index] : "no receiver";
}

const char* NameOf(QuestionKind kind) {
    const auto index = static_cast<std::size_t>(kind);
    return index < std::size(kQuestionNames) ? kQuestionNames[index] : "question of unknown type";
}

const char* NameOf(Service service) {
    switch (service) {
    case Service::Recognizer:
        return "recognition service";
    case Service::Sentence:
        return "evaluator of sentences";
    case Service::Choices:
        return "evaluator of choices";
    case Service::General:
        break;
    }
    return "general evaluator";
}

bool TakesRecordings(QuestionKind kind) {
    return kind >= QuestionKind::Audio && kind <= QuestionKind::VoiceRecord;
}

std::string KeyName(std::int64_t key) {
    static constexpr const char* kNames[] = {"A", "B", "C", "D", "T", "F", "T", "F", "G"};
    return key >= 1 && key <= 9 ? kNames[key - 1] : "key " + std::to_string(key);
}

void ReadCommand(Command& command) {
    Json::Value root;
    std::string errors;
    bool parsed = false;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    try {
        parsed =
            reader->parse(command.text.data(), command.text.data() + command.text.size(), &root, &errors);
        command.complaint = parsed ? ReadFields(command, root) : "its text is no JSON";
        if (!parsed && command.text.size() >= kWholeText) {
            const std::string part = WholePart(command.text);
            const std::string words = reader->parse(part.data(), part.data() + part.size(), &root, nullptr)
                                          ? ReadFields(command, root)
                                          : std::string();
            command.complaint = words.empty() || words.starts_with("it has no ")
                                    ? "of something that the log doesn't show: it has only the beginning of "
                                      "its text"
                                    : words;
            return;
        }
    } catch (const std::exception&) {
        command.complaint = "its text is JSON that is nested too deep";
    }
    if (!parsed && command.text.empty()) {
        command.complaint = "it has no text";
    }
    // Of the parser's words the first complaint is enough.
    if (!parsed && !errors.empty() && !command.text.empty()) {
        std::replace(errors.begin(), errors.end(), '\n', ' ');
        const std::size_t star = errors.find("* ");
        const std::size_t second = errors.find("* ", star == std::string::npos ? 0 : star + 2);
        errors = errors.substr(star == std::string::npos ? 0 : star + 2,
                               second == std::string::npos ? std::string::npos : second - star - 2);
        errors.erase(errors.find_last_not_of(' ') + 1);
        command.complaint += " (" + errors + ")";
    }
}

std::string MemberOf(std::string_view styled, std::string_view name) {
    // One tab is the top; line feeds and tabs inside of texts are escaped.
    std::string sought = "\n\t\"";
    sought += name;
    sought += "\" : \"";
    const std::size_t found = styled.find(sought);
    return found == std::string_view::npos ? std::string() : Unescaped(styled, found + sought.size());
}

std::int64_t NumberMemberOf(std::string_view styled, std::string_view name, std::int64_t fallback) {
    std::string sought = "\t\"";
    sought += name;
    sought += "\" : ";
    const std::size_t found = styled.find(sought);
    if (found == std::string_view::npos) {
        return fallback;
    }
    const std::string_view rest = styled.substr(found + sought.size());
    std::size_t at = !rest.empty() && rest[0] == '-' ? 1 : 0;
    std::int64_t number = 0;
    const std::size_t begin = at;
    for (; at < rest.size() && at < begin + 18 && rest[at] >= '0' && rest[at] <= '9'; ++at) {
        number = number * 10 + (rest[at] - '0');
    }
    if (at == begin) {
        return fallback;
    }
    return begin == 1 ? -number : number;
}

bool IsDeviceNumber(std::string_view device) {
    // As the library's own conversion: blanks, a sign, then at least one digit; what follows doesn't count.
    std::size_t at = 0;
    while (at < device.size() && (device[at] == ' ' || (device[at] >= '\t' && device[at] <= '\r'))) {
        ++at;
    }
    if (at < device.size() && (device[at] == '+' || device[at] == '-')) {
        ++at;
    }
    const std::size_t begin = at;
    std::uint64_t number = 0;
    for (; at < device.size() && device[at] >= '0' && device[at] <= '9'; ++at) {
        number = number * 10 + static_cast<std::uint64_t>(device[at] - '0');
        if (number > 0xFFFFFFFFULL) {
            return false;
        }
    }
    return at > begin;
}

}  // namespace vdipc::log
