#include "messages/MessageCodec.h"

#include "common/JsonText.h"
#include "common/StandardErrors.h"
#include "common/TextEncoding.h"
#include "messages/MessageText.h"

#include <json/json.h>

namespace vdipc {

namespace {

using message_text::ParseMessageNamed;
using message_text::ReadText;

/// A string that must be a row of a table.
template <typename Number>
bool ReadName(const Json::Value& object, const char* key, const Vocabulary<Number>& vocabulary,
              Number* field) {
    std::string name;
    if (!ReadText(object, key, &name) || vocabulary.numbers.find(name) == vocabulary.numbers.end()) {
        return false;
    }
    *field = MapAt(vocabulary.numbers, name);
    return true;
}

bool ReadInt(const Json::Value& object, const char* key, std::int32_t* field) {
    const Json::Value& value = object[key];
    if (!value.isInt()) {
        return false;
    }
    *field = value.asInt();
    return true;
}

template <typename Command>
void ReadRows(const Json::Value& root, Command* record) {
    record->has_row1 = ReadText(root, "row1", &record->row1);
    record->has_row2 = ReadText(root, "row2", &record->row2);
    record->has_row3 = ReadText(root, "row3", &record->row3);
}

void ReadContext(const Json::Value& context, CommandAsk* record) {
    const Json::Value& param = context["param"];
    if (param.isObject()) {
        record->param = StyledText(param);
    }
    const Json::Value& stems = context["stems"];
    if (stems.isArray()) {
        for (const Json::Value& stem : stems) {
            if (stem.isString()) {
                record->stems.push_back(ToActiveCodePage(stem.asString()));
            }
        }
    }
    ReadText(context, "audio-file-name-prefix", &record->audio_file_name_prefix);
}

const CommandHi::Argument kNewArgument{};

bool ReadArgument(const Json::Value& element, CommandHi::Argument* argument) {
    if (!element.isObject() || !ReadName(element, "type", kHiArgumentTypes, &argument->type) ||
        !ReadInt(element, "times", &argument->times) || !ReadInt(element, "interval", &argument->interval) ||
        !ReadInt(element, "duration", &argument->duration)) {
        return false;
    }
    return argument->type != HiArgumentType::Led ||
           ReadName(element, "color", kHiArgumentColors, &argument->color);
}

/// "stop" and "text" differ in their names only.
template <typename Command>
bool DecodeRows(const std::string& text, const char* name, Command* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "command", name, &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    if (!ReadText(root, "device", &record->device)) {
        return false;
    }
    ReadRows(root, record);
    return true;
}

}  // namespace

std::int32_t MessageCodec::DecodeCommandType(const std::string& text) {
    Json::Value root;
    std::string name;
    if (!message_text::ParseMessage(text, "command", &root, &name)) {
        return static_cast<std::int32_t>(CommandType::None);
    }
    const auto row = kCommandTypes.numbers.find(name);
    return static_cast<std::int32_t>(row == kCommandTypes.numbers.end() ? CommandType::None : row->second);
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandInit* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "command", "init", &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    return ReadName(root, "preferred-device-type", kPreferredDeviceTypes, &record->preferred_device_type);
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandAsk* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "command", "ask", &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    if (!ReadText(root, "device", &record->device) ||
        !ReadName(root, "type", kQuestionTypes, &record->type)) {
        return false;
    }
    ReadRows(root, record);
    ReadText(root, "custom", &record->custom);
    const Json::Value& context = root["context"];
    if (context.isObject()) {
        ReadContext(context, record);
    }
    return true;
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandStop* record) {
    return DecodeRows(text, "stop", record);
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandText* record) {
    return DecodeRows(text, "text", record);
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandHi* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "command", "hi", &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    if (!ReadText(root, "device", &record->device)) {
        return false;
    }
    const Json::Value& arguments = root["arguments"];
    if (!arguments.isArray()) {
        return false;
    }
    for (const Json::Value& element : arguments) {
        CommandHi::Argument argument = kNewArgument;
        if (!ReadArgument(element, &argument)) {
            return false;
        }
        record->arguments.push_back(argument);
    }
    return true;
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandDrop* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "command", "drop", &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    return ReadText(root, "device", &record->device);
}

bool MessageCodec::DecodeCommand(const std::string& text, CommandQuit* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "command", "quit", &parsed)) {
        return false;
    }
    ReadText(parsed, "id", &record->id);
    return true;
}

}  // namespace vdipc
