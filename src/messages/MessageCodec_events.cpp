#include "messages/MessageCodec.h"

#include "common/Guid.h"
#include "common/JsonText.h"
#include "common/StandardErrors.h"
#include "messages/MessageText.h"

#include <json/json.h>

#include <cstdio>
#include <utility>

namespace vdipc {

namespace {

using message_text::Finish;
using message_text::Name;
using message_text::WireText;

constexpr std::int32_t kNoInfo = -1;

/// The two events that are about one keypad and say nothing else.
template <typename Event>
std::string EncodeDeviceOnly(const char* name, const Event& record) {
    Json::Value root;
    root[Name("event")] = Name(name);
    root[Name("id")] = WireText(record.id);
    root[Name("device")] = WireText(record.device);
    return Finish(root);
}

/// "audio-recognized" and "voice-evaluated" have one shape.
template <typename Event>
std::string EncodeSpeechResult(const char* name, const Event& record) {
    Json::Value root;
    root[Name("event")] = Name(name);
    root[Name("id")] = WireText(record.id);
    root[Name("device")] = WireText(record.device);
    root[Name("key")] = WireText(record.key);
    Json::Value data;
    data[Name("start_time")] = Json::Value(record.start_time);
    data[Name("end_time")] = Json::Value(record.end_time);
    data[Name("result")] = WireText(record.result);
    data[Name("score")] = Json::Value(record.score);
    data[Name("lost_package_rate")] = Json::Value(record.lost_package_rate);
    root[Name("data")] = std::move(data);
    root[Name("extra")] = WireText(record.extra);
    root[Name("custom")] = WireText(record.custom);
    return Finish(root);
}

}  // namespace

std::string MessageCodec::EncodeEvent(const EventDeviceInited& record) {
    Json::Value root;
    root[Name("event")] = Name("device-inited");
    root[Name("id")] = WireText(record.id);
    Json::Value devices;
    for (const DeviceType type : record.avaliable_device) {
        if (type != DeviceType::None) {
            devices.append(WireText(MapAt(kDeviceTypes.names, type)));
        }
    }
    root[Name("avaliable-device")] = std::move(devices);
    Json::Value infos;
    for (const auto& [type, device_info] : record.avaliable_device_info) {
        if (type == DeviceType::None) {
            continue;
        }
        Json::Value member;
        member[Name("uid")] = WireText(device_info.uid);
        member[Name("software-version")] = WireText(device_info.software);
        member[Name("hardware-version")] = WireText(device_info.hardware);
        member[Name("company")] = WireText(device_info.company);
        member[Name("channel")] = WireText(device_info.channel);
        member[Name("tx-power")] = WireText(device_info.tx_power);
        infos[MapAt(kDeviceTypes.names, type)] = std::move(member);
    }
    root[Name("avaliable-device-info")] = std::move(infos);
    root[Name("ready")] = Json::Value(record.ready);
    if (record.info != kNoInfo) {
        root[Name("info")] =
            WireText(MapAt(kDeviceStatusInfos.names, static_cast<DeviceStatusInfo>(record.info)));
    }
    return Finish(root);
}

std::string MessageCodec::EncodeEvent(const EventArrived& record) {
    Json::Value root;
    root[Name("event")] = Name("arrived");
    root[Name("id")] = WireText(record.id);
    return Finish(root);
}

std::string MessageCodec::EncodeEvent(const EventRemoved& record) {
    Json::Value root;
    root[Name("event")] = Name("removed");
    root[Name("id")] = WireText(record.id);
    if (record.info != kNoInfo) {
        root[Name("info")] =
            WireText(MapAt(kEventRemovedInfos.names, static_cast<EventRemoved::Info>(record.info)));
    }
    return Finish(root);
}

std::string MessageCodec::EncodeEvent(const EventActivated& record) {
    return EncodeDeviceOnly("activated", record);
}

std::string MessageCodec::EncodeEvent(const EventInactivated& record) {
    return EncodeDeviceOnly("inactivated", record);
}

std::string MessageCodec::EncodeEvent(const EventKeyPressed& record) {
    Json::Value root;
    root[Name("event")] = Name("key-pressed");
    root[Name("id")] = WireText(record.id);
    root[Name("device")] = WireText(record.device);
    root[Name("key")] = WireText(record.key);
    root[Name("data")] = Json::Value();
    root[Name("extra")] = WireText(record.extra);
    root[Name("custom")] = WireText(record.custom);
    return Finish(root);
}

std::string MessageCodec::EncodeEvent(const EventAudioRecognized& record) {
    return EncodeSpeechResult("audio-recognized", record);
}

std::string MessageCodec::EncodeEvent(const EventVoiceEvaluated& record) {
    return EncodeSpeechResult("voice-evaluated", record);
}

std::string MessageCodec::EncodeEvent(const EventEvaluated& record) {
    Json::Value root;
    root[Name("event")] = Name("evaluated");
    root[Name("id")] = WireText(record.id);
    root[Name("device")] = WireText(record.device);
    Json::Value data;
    data[Name("error")] = Json::Value(record.error);
    data[Name("lost_package_rate")] = Json::Value(record.lost_package_rate);
    if (!record.raw_result.empty()) {
        Json::Value raw_result;
        if (ParseJson(record.raw_result, &raw_result) && raw_result.isObject()) {
            data[Name("raw_result")] = std::move(raw_result);
        }
    }
    root[Name("data")] = std::move(data);
    root[Name("extra")] = WireText(record.extra);
    root[Name("custom")] = WireText(record.custom);
    return Finish(root);
}

std::string MessageCodec::EncodeEvent(const EventVoiceRecord& record) {
    Json::Value root;
    root[Name("event")] = Name("voice-record");
    root[Name("id")] = WireText(record.id);
    root[Name("device")] = WireText(record.device);
    Json::Value data;
    data[Name("lost_package_rate")] = Json::Value(record.lost_package_rate);
    root[Name("data")] = std::move(data);
    root[Name("extra")] = WireText(record.extra);
    root[Name("custom")] = WireText(record.custom);
    return Finish(root);
}

std::string MessageCodec::GenerateEventId() {
    const Guid guid = CreateGuid();
    char buffer[37] = {};
    // Byte 7 stands in for byte 6 as well: clients know ids in this form.
    std::snprintf(buffer, sizeof buffer, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", guid.data1,
                  guid.data2, guid.data3, guid.data4[0], guid.data4[1], guid.data4[2], guid.data4[3],
                  guid.data4[4], guid.data4[5], guid.data4[7], guid.data4[7]);
    return buffer;
}

}  // namespace vdipc
