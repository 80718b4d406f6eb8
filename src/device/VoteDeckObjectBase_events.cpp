// Events to the client, each with its telemetry record behind it, and notifications to the handler.
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "device/VoteDeckObjectBase.h"
#include "messages/MessageCodec.h"

namespace vdipc {
namespace {

/// Printed with "%f": six decimal places, whatever the value.
std::string PrintRate(double rate) {
    return std::to_string(rate);
}

}  // namespace

void VoteDeckObjectBase::SendEventActivated(const std::string& device) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    if (listener_ == nullptr) {
        return;
    }
    EventActivated event;
    event.id = GenerateEventId();
    event.device = device;
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_activated");
    record.Push(trackwire_key_uniq_id_, event.id);
    record.Push("device", event.device);
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventInactivated(const std::string& device) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    if (listener_ == nullptr) {
        return;
    }
    EventInactivated event;
    event.id = GenerateEventId();
    event.device = device;
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_inactivated");
    record.Push(trackwire_key_uniq_id_, event.id);
    record.Push("device", event.device);
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventKeyPressed(const std::string& device, std::uint32_t signal_strength) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    EventKeyPressed& event = last_answer_map_[device].key_event;
    event.id = GenerateEventId();
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_key_pressed");
    record.Push(trackwire_key_uniq_id_, event.id);
    record.Push("device", event.device);
    record.Push("key", event.key);
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    record.Push(trackwire_key_rssi_, signal_strength);
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventEvaluated(const EventEvaluated& event) {
    VD_LOG_ENTRY();
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_evaluated");
    record.Push(trackwire_key_uniq_id_, event.id);
    record.Push("device", event.device);
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    record.Push("error", event.error);
    record.Push("lost_package_rate", PrintRate(event.lost_package_rate));
    record.Push("raw_result", event.raw_result);
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventVoiceRecord(const EventVoiceRecord& event) {
    VD_LOG_ENTRY();
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_voice_record");
    record.Push(trackwire_key_uniq_id_, event.id);
    record.Push("device", event.device);
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    record.Push("lost_package_rate", PrintRate(event.lost_package_rate));
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventVoiceEvaluated(const EventVoiceEvaluated& event) {
    VD_LOG_ENTRY();
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_voice_evaluated");
    record.Push(trackwire_key_uniq_id_, event.id);
    record.Push("device", event.device);
    record.Push("key", event.key);
    record.Push("result", event.result);
    record.Push("score", event.score);
    record.Push("lost_package_rate", PrintRate(event.lost_package_rate));
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventArrived() {
    VD_LOG_ENTRY();
    EventArrived event;
    event.id = GenerateEventId();
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_arrived");
    record.Push(trackwire_key_uniq_id_, event.id);
    SendTrackwire(record);
}

void VoteDeckObjectBase::SendEventRemoved() {
    VD_LOG_ENTRY();
    EventRemoved event;
    event.id = GenerateEventId();
    event.info = status_;
    SendIPCMesage(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(trackwire_key_action_, "ipc_vdk_event_removed");
    record.Push(trackwire_key_uniq_id_, event.id);
    // A status that is no reason ends the process here: callers have a reason in it.
    record.Push("info", MapAt(kEventRemovedInfos.names, static_cast<EventRemoved::Info>(status_)));
    SendTrackwire(record);
}

void VoteDeckObjectBase::NotifyBadStatusForRV2() {
    VD_LOG_ENTRY();
    if (listener_ != nullptr) {
        listener_->OnRv2BadStatusNotified(status_);
    }
}

void VoteDeckObjectBase::NotifyActiveDevicesChanged() {
    VD_LOG_ENTRY();
    if (listener_ != nullptr) {
        listener_->OnActiveDevicesChanged();
    }
}

void VoteDeckObjectBase::NotifyStatusChanged() {
    VD_LOG_ENTRY();
    if (listener_ != nullptr) {
        listener_->OnVoteDeckStatusChanged(device_type_, status_);
    }
}

}  // namespace vdipc
