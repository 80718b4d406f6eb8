// Records of the ten events. Text is in the active code page.
#pragma once

#include "messages/Vocabulary.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vdipc {

/// What a receiver says about itself. `device_type` stays inside; the rest goes into "device-inited".
struct DeviceInfoRecord {
    std::string device_type;
    std::string uid;
    std::string software;
    std::string hardware;
    std::string company;
    std::string channel;
    std::string tx_power;
};

struct EventDeviceInited {
    EventType event_type = EventType::DeviceInited;
    std::string id;
    std::vector<DeviceType> avaliable_device;
    std::map<DeviceType, DeviceInfoRecord> avaliable_device_info;
    bool ready = false;
    std::int32_t info = -1;  // a DeviceStatusInfo; -1 leaves the key out
};

struct EventArrived {
    EventType event_type = EventType::Arrived;
    std::string id;
};

struct EventRemoved {
    using Info = DeviceStatusInfo;

    EventType event_type = EventType::Removed;
    std::string id;
    std::int32_t info = -1;  // an Info; -1 leaves the key out
};

struct EventActivated {
    EventType event_type = EventType::Activated;
    std::string id;
    std::string device;
};

struct EventInactivated {
    EventType event_type = EventType::Inactivated;
    std::string id;
    std::string device;
};

struct EventKeyPressed {
    EventType event_type = EventType::KeyPressed;
    std::string id;
    std::string device;
    std::string key;
    std::string extra;
    std::string custom;
};

/// Times are the speech library's, 0 in a template.
struct EventAudioRecognized {
    EventType event_type = EventType::AudioRecognized;
    std::string id;
    std::string device;
    std::string key;
    std::string extra;
    std::string custom;
    std::int64_t start_time = 0;
    std::int64_t end_time = 0;
    std::string result;
    std::int32_t score = 0;
    double lost_package_rate = 0.0;
};

struct EventVoiceEvaluated {
    EventType event_type = EventType::VoiceEvaluated;
    std::string id;
    std::string device;
    std::string key;
    std::string extra;
    std::string custom;
    std::int64_t start_time = 0;
    std::int64_t end_time = 0;
    std::string result;
    std::int32_t score = 0;
    double lost_package_rate = 0.0;
};

struct EventEvaluated {
    EventType event_type = EventType::Evaluated;
    std::string id;
    std::string device;
    std::string extra;
    std::string custom;
    std::int32_t error = 0;
    double lost_package_rate = 0.0;
    std::string raw_result;  // a JSON object as text, UTF-8, or empty
};

struct EventVoiceRecord {
    EventType event_type = EventType::VoiceRecord;
    std::string id;  // nobody fills it
    std::string device;
    std::string extra;
    std::string custom;
    double lost_package_rate = 0.0;
};

}  // namespace vdipc
