// Reading back the events that serve as ids of speech requests.
#include "messages/MessageCodec.h"

#include "common/JsonText.h"
#include "messages/MessageText.h"

#include <json/json.h>

namespace vdipc {

namespace {

using message_text::ParseMessageNamed;
using message_text::ReadText;

void ReadIntIfPresent(const Json::Value& object, const char* key, std::int32_t* field) {
    const Json::Value& value = object[key];
    if (value.isInt()) {
        *field = value.asInt();
    }
}

bool ReadInt64(const Json::Value& object, const char* key, std::int64_t* field) {
    const Json::Value& value = object[key];
    if (!value.isInt64()) {
        return false;
    }
    *field = value.asInt64();
    return true;
}

void ReadDouble(const Json::Value& object, const char* key, double* field) {
    const Json::Value& value = object[key];
    if (value.isDouble()) {
        *field = value.asDouble();
    }
}

template <typename Event>
bool DecodeSpeechResult(const std::string& text, const char* name, Event* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "event", name, &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    if (!ReadText(root, "device", &record->device)) {
        return false;
    }
    ReadText(root, "key", &record->key);
    const Json::Value& data = root["data"];
    if (!data.isObject() || !ReadInt64(data, "start_time", &record->start_time) ||
        !ReadInt64(data, "end_time", &record->end_time) || !ReadText(data, "result", &record->result)) {
        return false;
    }
    ReadIntIfPresent(data, "score", &record->score);
    ReadDouble(data, "lost_package_rate", &record->lost_package_rate);
    return ReadText(root, "extra", &record->extra) && ReadText(root, "custom", &record->custom);
}

}  // namespace

bool MessageCodec::DecodeEvent(const std::string& text, EventAudioRecognized* record) {
    return DecodeSpeechResult(text, "audio-recognized", record);
}

bool MessageCodec::DecodeEvent(const std::string& text, EventVoiceEvaluated* record) {
    return DecodeSpeechResult(text, "voice-evaluated", record);
}

bool MessageCodec::DecodeEvent(const std::string& text, EventEvaluated* record) {
    Json::Value parsed;
    if (record == nullptr || !ParseMessageNamed(text, "event", "evaluated", &parsed)) {
        return false;
    }
    const Json::Value& root = parsed;
    ReadText(root, "id", &record->id);
    if (!ReadText(root, "device", &record->device)) {
        return false;
    }
    const Json::Value& data = root["data"];
    if (!data.isObject()) {
        return false;
    }
    ReadIntIfPresent(data, "error", &record->error);
    ReadDouble(data, "lost_package_rate", &record->lost_package_rate);
    // The encoder writes an object here, so a template never fills this.
    const Json::Value& raw_result = data["raw_result"];
    if (raw_result.isString()) {
        record->raw_result = StyledText(raw_result);
    }
    return ReadText(root, "extra", &record->extra) && ReadText(root, "custom", &record->custom);
}

}  // namespace vdipc
