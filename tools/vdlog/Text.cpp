#include "tools/vdlog/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <set>
#include <stdexcept>

#include <json/json.h>

namespace vdipc::log {
namespace {

/// Length of the UTF-8 sequence at the beginning, or 0 where there is none.
std::size_t Sequence(std::string_view bytes) {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char first = at(0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 && first < 0xF5   ? 4
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xC2 && first < 0xE0 ? 2
                                                               : 0;
    if (length == 0 || bytes.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool wrong = (first == 0xE0 && at(1) < 0xA0) || (first == 0xED && at(1) > 0x9F) ||
                       (first == 0xF0 && at(1) < 0x90) || (first == 0xF4 && at(1) > 0x8F);
    return wrong ? 0 : length;
}

/// How many bytes at the beginning are UTF-8.
std::size_t Utf8Length(std::string_view bytes) {
    std::size_t at = 0;
    while (at < bytes.size()) {
        const std::size_t length = Sequence(bytes.substr(at));
        if (length == 0) {
            break;
        }
        at += length;
    }
    return at;
}

bool IsAscii(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::size_t Characters(std::string_view utf8) {
    return static_cast<std::size_t>(std::count_if(
        utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string Length(std::string_view utf8) {
    const std::size_t count = Characters(utf8);
    return "<" + std::to_string(count) + (count == 1 ? " character>" : " characters>");
}

/// What an application uses to tell its questions apart, and no sentence.
bool LooksLikeName(std::string_view text) {
    return text.size() <= 64 && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                      c == '-' || c == '_' || c == '.' || c == ':' || c == '#';
           });
}

bool IsHarmless(const std::string& text) {
    static const std::set<std::string> kOwnWords = {"init",
                                                    "ask",
                                                    "stop",
                                                    "text",
                                                    "hi",
                                                    "drop",
                                                    "quit",
                                                    "non-audio",
                                                    "audio",
                                                    "any",
                                                    "single-choice",
                                                    "multiple-choice",
                                                    "red-envelope",
                                                    "continous-red-envelope",
                                                    "true-false",
                                                    "audio-single",
                                                    "audio-multiple",
                                                    "audio-multiple-chn",
                                                    "evaluation",
                                                    "voice-record",
                                                    "general",
                                                    "multiple-question-single-choice",
                                                    "led",
                                                    "motor",
                                                    "beep",
                                                    "blue",
                                                    "green",
                                                    "blue-green",
                                                    "red",
                                                    "magenta",
                                                    "yellow",
                                                    "white",
                                                    "device-inited",
                                                    "arrived",
                                                    "removed",
                                                    "activated",
                                                    "inactivated",
                                                    "key-pressed",
                                                    "audio-recognized",
                                                    "voice-evaluated",
                                                    "evaluated",
                                                    "no-power",
                                                    "not-connected",
                                                    "ip-not-set",
                                                    "TQ1",
                                                    "TQ2",
                                                    "RV1",
                                                    "RV2",
                                                    "LW",
                                                    ""};
    return kOwnWords.contains(text);
}

bool IsNumber(const std::string& text) {
    return text.size() <= 20 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsKeys(const std::string& text) {
    return text.size() <= 8 && text.find_first_not_of("ABCDTFG") == std::string::npos;
}

/// An event's id, as the library makes it.
bool IsId(const std::string& text) {
    return text.size() == 36 && text.find_first_not_of("0123456789abcdefABCDEF-") == std::string::npos;
}

/// Members whose names the protocol knows; another one's name may be a text too.
bool IsKnownMember(const std::string& name) {
    static const std::set<std::string> kNames = {"command",
                                                 "event",
                                                 "id",
                                                 "device",
                                                 "type",
                                                 "preferred-device-type",
                                                 "custom",
                                                 "context",
                                                 "param",
                                                 "stems",
                                                 "audio-file-name-prefix",
                                                 "row1",
                                                 "row2",
                                                 "row3",
                                                 "arguments",
                                                 "times",
                                                 "interval",
                                                 "duration",
                                                 "color",
                                                 "key",
                                                 "extra",
                                                 "data",
                                                 "start_time",
                                                 "end_time",
                                                 "result",
                                                 "score",
                                                 "lost_package_rate",
                                                 "raw_result",
                                                 "error",
                                                 "ready",
                                                 "info",
                                                 "avaliable-device",
                                                 "avaliable-device-info",
                                                 "channel",
                                                 "company",
                                                 "hardware-version",
                                                 "software-version",
                                                 "tx-power",
                                                 "uid",
                                                 "TQ1",
                                                 "TQ2",
                                                 "RV1",
                                                 "RV2",
                                                 "LW"};
    return kNames.contains(name);
}

void Redact(Json::Value& value, const std::string& name) {
    if (value.isObject()) {
        Json::Value kept(Json::objectValue);
        int unknown = 0;
        for (const std::string& member : value.getMemberNames()) {
            Json::Value inner = value[member];
            if (name == "param" || name == "raw_result" || !IsKnownMember(member)) {
                // A stranger's numbers may say something too.
                Redact(inner, "");
                kept["<member " + std::to_string(++unknown) + ">"] = inner;
            } else {
                Redact(inner, member);
                kept[member] = inner;
            }
        }
        value = kept;
    } else if (value.isArray()) {
        for (Json::Value& element : value) {
            Redact(element, name);
        }
    } else if (value.isString()) {
        const std::string text = value.asString();
        const bool free = name == "row1" || name == "row2" || name == "row3" || name == "stems" ||
                          name == "result" || name == "audio-file-name-prefix" || name == "extra" ||
                          name.empty();
        const bool kept =
            !free && (IsHarmless(text) || IsNumber(text) || (name == "key" && IsKeys(text)) ||
                      (name == "id" && IsId(text)) || (name == "custom" && LooksLikeName(text)));
        if (!kept && !text.empty()) {
            value = Length(text);
        }
    } else if (name.empty() && value.isNumeric()) {
        value = "<number>";
    }
}

}  // namespace

bool IsUtf8(std::string_view bytes) {
    return Utf8Length(bytes) == bytes.size();
}

bool IsCutUtf8(std::string_view bytes) {
    const std::size_t length = Utf8Length(bytes);
    const std::string_view rest = bytes.substr(length);
    // The first byte of a sequence says how long it had to be, and the others look alike.
    const auto looks_cut = [&rest] {
        const auto first = static_cast<unsigned char>(rest[0]);
        return first >= 0xC2 && first < 0xF5 &&
               rest.size() < (first >= 0xF0   ? 4U
                              : first >= 0xE0 ? 3U
                                              : 2U) &&
               std::all_of(rest.begin() + 1, rest.end(),
                           [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; });
    };
    return !rest.empty() && looks_cut() && !IsAscii(bytes.substr(0, length));
}

Text::Text(const std::string& encoding, bool redact)
    : encoding_(encoding), redact_(redact), converter_(encoding.empty() ? nullptr : MakeConverter(encoding)),
      chinese_(MakeConverter("936")), western_(MakeConverter("1252")) {
    if (!encoding.empty() && converter_ == nullptr) {
        throw std::invalid_argument("there is no encoding \"" + encoding +
                                    "\"; try the number of a code page, as 936 or 1252, or utf-8");
    }
}

void Text::Meet(std::string_view bytes) {
    if (converter_ == nullptr) {
        guess_.Meet(bytes);
    }
}

std::string Text::Utf8(std::string_view bytes) const {
    if (IsAscii(bytes)) {
        return std::string(bytes);
    }
    std::string text;
    if (converter_ != nullptr) {
        converter_->ToUtf8(bytes, text);
        return text;
    }
    if (IsUtf8(bytes)) {
        return std::string(bytes);
    }
    if (IsCutUtf8(bytes)) {
        return std::string(bytes.substr(0, Utf8Length(bytes))) + "\xEF\xBF\xBD";
    }
    const CodePage page = guess_.Of(bytes);
    if (page != CodePage::Western && chinese_ != nullptr &&
        (chinese_->ToUtf8(bytes, text) || page == CodePage::Chinese)) {
        return text;
    }
    if (western_ == nullptr) {
        return std::string(bytes);
    }
    western_->ToUtf8(bytes, text);
    return text;
}

std::string Text::Shown(std::string_view bytes) const {
    std::string shown;
    for (const char c : Utf8(bytes)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            shown += "\\n";
        } else if (c == '\r') {
            shown += "\\r";
        } else if (c == '\t') {
            shown += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned int>(byte));
            shown += code.data();
        } else {
            shown += c;
        }
    }
    return shown;
}

std::string Text::Private(std::string_view bytes) const {
    return redact_ ? Length(Utf8(bytes)) : Shown(bytes);
}

std::string Text::Name(std::string_view bytes) const {
    return redact_ && !LooksLikeName(bytes) ? Length(Utf8(bytes)) : Shown(bytes);
}

std::string Text::Device(std::string_view bytes) const {
    return redact_ && !IsNumber(std::string(bytes)) ? Length(Utf8(bytes)) : Shown(bytes);
}

std::string Text::Word(std::string_view bytes) const {
    return redact_ && !IsHarmless(std::string(bytes)) ? Length(Utf8(bytes)) : Shown(bytes);
}

std::string Text::Message(std::string_view json) const {
    Json::Value root;
    try {
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        std::string errors;
        if (!reader->parse(json.data(), json.data() + json.size(), &root, &errors)) {
            return {};
        }
        if (redact_) {
            Redact(root, "");
        }
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        builder["commentStyle"] = "None";
        const std::string text = Json::writeString(builder, root);
        return IsUtf8(text) ? text : JsonString(text);
    } catch (const std::exception&) {
        return {};  // nested too deep
    }
}

void AppendJsonString(std::string& out, std::string_view utf8) {
    out += '"';
    while (!utf8.empty()) {
        const std::size_t length = Sequence(utf8);
        const char c = utf8[0];
        if (length == 0) {
            out += "\xEF\xBF\xBD";
            utf8.remove_prefix(1);
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned int>(c));
            out += code.data();
        } else {
            out += utf8.substr(0, length);
        }
        utf8.remove_prefix(length);
    }
    out += '"';
}

std::string JsonString(std::string_view utf8) {
    std::string out;
    AppendJsonString(out, utf8);
    return out;
}

std::string JsonList(const std::vector<std::string>& texts) {
    std::string list = "[";
    for (const std::string& text : texts) {
        list += list.size() > 1 ? "," : "";
        AppendJsonString(list, text);
    }
    return list + "]";
}

}  // namespace vdipc::log
