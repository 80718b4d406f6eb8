// Texts of commands: whatever comes, each decoder gives what the tables of keys say, and raises nothing. A record that was
// read can be written as a command again and read back the same.
#include "common/TextEncoding.h"
#include "fuzz/support/Fuzz.h"
#include "messages/MessageCodec.h"

#include <optional>

namespace vdipc::fuzz {
namespace {

// A record as a JSON object of its own, with texts in the active code page; rows and "context" only as far as given.

template <typename Command>
Json::Value ShownRows(const Command& command) {
    Json::Value shown(Json::objectValue);
    shown["id"] = command.id;
    shown["device"] = command.device;
    const auto add = [&shown](const char* key, bool given, const std::string& row) {
        FUZZ_REQUIRE(given || row.empty());
        if (given) {
            shown[key] = row;
        }
    };
    add("row1", command.has_row1, command.row1);
    add("row2", command.has_row2, command.row2);
    add("row3", command.has_row3, command.row3);
    return shown;
}

Json::Value Shown(const CommandInit& command) {
    Json::Value shown(Json::objectValue);
    shown["id"] = command.id;
    shown["preferred-device-type"] = kPreferredDeviceTypes.names.at(command.preferred_device_type);
    return shown;
}

Json::Value Shown(const CommandAsk& command) {
    Json::Value shown = ShownRows(command);
    shown["type"] = kQuestionTypes.names.at(command.type);
    shown["custom"] = command.custom;
    shown["param"] = command.param;
    shown["stems"] = Json::Value(Json::arrayValue);
    for (const std::string& stem : command.stems) {
        shown["stems"].append(stem);
    }
    shown["audio-file-name-prefix"] = command.audio_file_name_prefix;
    return shown;
}

Json::Value Shown(const CommandStop& command) {
    return ShownRows(command);
}

Json::Value Shown(const CommandText& command) {
    return ShownRows(command);
}

Json::Value Shown(const CommandHi& command) {
    Json::Value shown(Json::objectValue);
    shown["id"] = command.id;
    shown["device"] = command.device;
    shown["arguments"] = Json::Value(Json::arrayValue);
    for (const CommandHi::Argument& argument : command.arguments) {
        Json::Value element(Json::objectValue);
        element["type"] = kHiArgumentTypes.names.at(argument.type);
        element["times"] = argument.times;
        element["interval"] = argument.interval;
        element["duration"] = argument.duration;
        if (argument.type == HiArgumentType::Led) {
            element["color"] = kHiArgumentColors.names.at(argument.color);
        } else {
            FUZZ_REQUIRE(argument.color == HiArgumentColor::None);
        }
        shown["arguments"].append(element);
    }
    return shown;
}

Json::Value Shown(const CommandDrop& command) {
    Json::Value shown(Json::objectValue);
    shown["id"] = command.id;
    shown["device"] = command.device;
    return shown;
}

Json::Value Shown(const CommandQuit& command) {
    Json::Value shown(Json::objectValue);
    shown["id"] = command.id;
    return shown;
}

// The same from the text's JSON, by the tables: nothing where a required key is missing or of another type.

Json::Value OptionalText(const Json::Value& object, const char* key) {
    return object[key].isString() ? Json::Value(ToActiveCodePage(object[key].asString())) : Json::Value("");
}

template <typename Number>
bool IsRow(const Json::Value& object, const char* key, const Vocabulary<Number>& vocabulary) {
    return object[key].isString() && vocabulary.numbers.count(ToActiveCodePage(object[key].asString())) != 0;
}

std::optional<Json::Value> ExpectedArgument(const Json::Value& element) {
    if (!element.isObject() || !IsRow(element, "type", kHiArgumentTypes) || !element["times"].isInt() ||
        !element["interval"].isInt() || !element["duration"].isInt()) {
        return std::nullopt;
    }
    Json::Value expected(Json::objectValue);
    expected["type"] = element["type"].asString();
    expected["times"] = element["times"].asInt();
    expected["interval"] = element["interval"].asInt();
    expected["duration"] = element["duration"].asInt();
    if (element["type"].asString() == "led") {
        if (!IsRow(element, "color", kHiArgumentColors)) {
            return std::nullopt;
        }
        expected["color"] = element["color"].asString();
    }
    return expected;
}

void ExpectContext(const Json::Value& root, Json::Value& expected) {
    expected["param"] = "";
    expected["stems"] = Json::Value(Json::arrayValue);
    expected["audio-file-name-prefix"] = "";
    const Json::Value& context = root["context"];
    if (!context.isObject()) {
        return;
    }
    if (context["param"].isObject()) {
        expected["param"] = context["param"].toStyledString();
    }
    if (context["stems"].isArray()) {
        for (const Json::Value& stem : context["stems"]) {
            if (stem.isString()) {
                expected["stems"].append(ToActiveCodePage(stem.asString()));
            }
        }
    }
    expected["audio-file-name-prefix"] = OptionalText(context, "audio-file-name-prefix");
}

std::optional<Json::Value> Expected(const Json::Value& root, const std::string& name) {
    Json::Value expected(Json::objectValue);
    expected["id"] = OptionalText(root, "id");
    if (name == "quit") {
        return expected;
    }
    if (name == "init") {
        expected["preferred-device-type"] = root["preferred-device-type"];
        return IsRow(root, "preferred-device-type", kPreferredDeviceTypes) ? std::optional(expected)
                                                                           : std::nullopt;
    }
    if (!root["device"].isString()) {
        return std::nullopt;
    }
    expected["device"] = OptionalText(root, "device");
    if (name == "hi") {
        expected["arguments"] = Json::Value(Json::arrayValue);
        if (!root["arguments"].isArray()) {
            return std::nullopt;
        }
        for (const Json::Value& element : root["arguments"]) {
            const auto argument = ExpectedArgument(element);
            if (!argument) {
                return std::nullopt;
            }
            expected["arguments"].append(*argument);
        }
        return expected;
    }
    if (name == "drop") {
        return expected;
    }
    for (const char* row : {"row1", "row2", "row3"}) {
        if (root[row].isString()) {
            expected[row] = OptionalText(root, row);
        }
    }
    if (name == "ask") {
        if (!IsRow(root, "type", kQuestionTypes)) {
            return std::nullopt;
        }
        expected["type"] = root["type"];
        expected["custom"] = OptionalText(root, "custom");
        ExpectContext(root, expected);
    }
    return expected;
}

/// The command that a record stands for, as a client would write it.
std::string Written(const Json::Value& shown, const std::string& name) {
    Json::Value command(Json::objectValue);
    command["command"] = name;
    for (const std::string& key : shown.getMemberNames()) {
        const Json::Value& value = shown[key];
        if (key == "param") {
            Json::Value param;
            if (Parses(value.asString(), &param)) {
                command["context"]["param"] = param;
            }
        } else if (key == "stems") {
            for (const Json::Value& stem : value) {
                command["context"]["stems"].append(ToUtf8(stem.asString()));
            }
        } else if (key == "audio-file-name-prefix") {
            command["context"][key] = ToUtf8(value.asString());
        } else {
            command[key] = value.isString() ? Json::Value(ToUtf8(value.asString())) : value;
        }
    }
    return command.toStyledString();
}

template <typename Command>
void Decode(const std::string& text, const Json::Value* root, CommandType type) {
    const std::string& name = kCommandTypes.names.at(type);
    const bool mine = MessageCodec::DecodeCommandType(text) == static_cast<std::int32_t>(type);
    const auto expected = mine ? Expected(*root, name) : std::nullopt;
    Command command;
    FUZZ_REQUIRE(command.command_type == type);
    FUZZ_REQUIRE(MessageCodec::DecodeCommand(text, &command) == expected.has_value());
    FUZZ_REQUIRE(!MessageCodec::DecodeCommand(text, static_cast<Command*>(nullptr)));
    FUZZ_REQUIRE(command.command_type == type);
    if (!expected) {
        return;
    }
    const Json::Value shown = Shown(command);
    FUZZ_REQUIRE(shown == *expected);
    Command again;
    FUZZ_REQUIRE(MessageCodec::DecodeCommand(Written(shown, name), &again));
    Json::Value shown_again = Shown(again);
    if (shown.isMember("param")) {
        // Comments in "param" may move from one writing to the next; what it says must not change.
        Json::Value param;
        Json::Value param_again;
        FUZZ_REQUIRE(Parses(shown["param"].asString(), &param) ==
                     Parses(shown_again["param"].asString(), &param_again));
        FUZZ_REQUIRE(param == param_again);
        shown_again["param"] = shown["param"];
    }
    FUZZ_REQUIRE(shown_again == shown);
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc;
    using namespace vdipc::fuzz;
    ChooseCodePage(size);
    const std::string text = Text(data, size);
    Json::Value parsed;
    const Json::Value* const root = Parses(text, &parsed) && parsed.isObject() ? &parsed : nullptr;
    const bool named = root != nullptr && IsRow(*root, "command", kCommandTypes);
    const std::int32_t number = MessageCodec::DecodeCommandType(text);
    FUZZ_REQUIRE(
        number ==
        (named ? static_cast<std::int32_t>(kCommandTypes.numbers.at((*root)["command"].asString())) : -1));
    Decode<CommandInit>(text, root, CommandType::Init);
    Decode<CommandAsk>(text, root, CommandType::Ask);
    Decode<CommandStop>(text, root, CommandType::Stop);
    Decode<CommandText>(text, root, CommandType::Text);
    Decode<CommandHi>(text, root, CommandType::Hi);
    Decode<CommandDrop>(text, root, CommandType::Drop);
    Decode<CommandQuit>(text, root, CommandType::Quit);
    return 0;
}
