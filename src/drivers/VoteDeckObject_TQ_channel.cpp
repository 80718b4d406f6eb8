// What a receiver tells about itself, and the channel of a TQ2.
#include "common/JsonText.h"
#include "common/Log.h"
#include "common/closed/Trackwire.h"
#include "drivers/VoteDeckObject_TQ.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include <json/json.h>

namespace vdipc {
namespace {

struct InfoKey {
    const char* key;
    std::string DeviceInfoRecord::*field;
};

constexpr InfoKey kInfoKeys[] = {
    {"DeviceType", &DeviceInfoRecord::device_type}, {"UID", &DeviceInfoRecord::uid},
    {"SoftWare", &DeviceInfoRecord::software},      {"HardWare", &DeviceInfoRecord::hardware},
    {"Company", &DeviceInfoRecord::company},        {"Channel", &DeviceInfoRecord::channel},
    {"TX_POWER", &DeviceInfoRecord::tx_power},
};

/// As atoi, whose result is undefined for a number that doesn't fit: the nearest one that does is taken.
std::int32_t NumberOf(const std::string& text) {
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(number, std::numeric_limits<std::int32_t>::min(),
                                                           std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

void VoteDeckObject_TQ::ReadDeviceInfo() {
    if (control_ == nullptr) {
        return;
    }
    const char* const answer = control_->QueryDeviceInfo();
    const std::string text = answer != nullptr ? answer : "";
    VD_LOG(LogLevel::Debug, "{}:{} device_info={}", text);
    Json::Value root;
    if (!ParseJson(text, &root) || !root.isObject()) {
        return;
    }
    const Json::Value& object = root;
    for (const InfoKey& info : kInfoKeys) {
        const Json::Value& value = object[info.key];
        if (value.isString()) {
            device_info_.*info.field = value.asString();
        }
    }
}

void VoteDeckObject_TQ::SynchronizeChannelForTQ2() {
    const std::int32_t chosen = ReadChannelNumberFromReg();
    if (chosen < 0) {
        const std::int32_t used = NumberOf(device_info_.channel);
        if (used < 0) {
            VD_LOG(LogLevel::Warn, "{}:{} device info channel error: {}  do not save", device_info_.channel);
            return;
        }
        VD_LOG(LogLevel::Info, "{}:{} save channel to reg {}", used);
        WriteChannelNumberToReg(used);
        return;
    }
    const std::string text = std::to_string(chosen);
    if (text == device_info_.channel) {
        return;
    }
    VD_LOG(LogLevel::Info, "{}:{} change channel {}", chosen);
    if (control_ != nullptr) {
        control_->SetChannel(VoteDeckCallback(), chosen);
    }
    // At once: what the receiver makes of it is not waited for.
    device_info_.channel = text;
}

// On the library's own thread, the one callback that has an effect there.
void VoteDeckObject_TQ::OnGetDeviceInfo(const char* text, std::int32_t number) {
    const std::string shown = text != nullptr ? text : "";
    VD_LOG(LogLevel::Trace, "{}:{} {} {}", shown, number);
    CTrackwire record;
    record.Push(trackwire_key_action_, trackwire_key_get_device_info_);
    record.Push(trackwire_key_uniq_id_, shown);
    record.Push(trackwire_key_result_, number);
    SendTrackwire(record);
}

}  // namespace vdipc
