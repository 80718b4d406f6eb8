#include "device/VoteDeckObjectBase.h"

#include "common/Log.h"
#include "common/StandardErrors.h"
#include "messages/MessageCodec.h"

#include <utility>

namespace vdipc {

VoteDeckObjectBase::VoteDeckObjectBase(DeviceType device_type) : device_type_(device_type) {
    VD_LOG_ENTRY();
}

VoteDeckObjectBase::~VoteDeckObjectBase() {
    VD_LOG_ENTRY();
}

void VoteDeckObjectBase::SetEventListener(IVoteDeckObjectEvent* listener) {
    listener_ = listener;
}

void VoteDeckObjectBase::SetAudioFileStorageBasePath(const std::string& path) {
    audio_file_storage_base_path_ = path;
}

std::int32_t VoteDeckObjectBase::GetDeviceStatus() {
    return status_;
}

DeviceInfoRecord VoteDeckObjectBase::GetDeviceInfo() {
    return device_info_;
}

std::set<std::string> VoteDeckObjectBase::GetActivatedDeviceSet() {
    std::set<std::string> devices;
    for (const auto& [device, record] : text_record_map_) {
        devices.insert(devices.end(), device);  // both in the same order
    }
    return devices;
}

void VoteDeckObjectBase::SetActivatedDeviceSet(std::set<std::string> devices) {
    for (const std::string& device : devices) {
        CreateTextRecordForDevice(device);
    }
}

std::string VoteDeckObjectBase::WrapDeviceID(std::uint32_t number) const {
    return number == all_devices_number_ ? all_devices_id_ : std::to_string(number);
}

std::uint32_t VoteDeckObjectBase::ParseDeviceID(std::string id) const {
    // Nobody checks an id before this, and nobody catches what is raised here: an id that is no number ends
    // the process.
    return id == all_devices_id_ ? static_cast<std::uint32_t>(all_devices_number_) : ParseUnsigned32(id);
}

std::string VoteDeckObjectBase::GenerateEventId() const {
    return MessageCodec::GenerateEventId();
}

void VoteDeckObjectBase::SendTrackwire(CTrackwire& record) {
    switch (device_type_) {
    case DeviceType::TQ1:
        record.Push(trackwire_key_device_name_, "TQ1");
        break;
    case DeviceType::TQ2:
        record.Push(trackwire_key_device_name_, "TQ2");
        break;
    case DeviceType::RV1:
        record.Push(trackwire_key_device_name_, "RV1");
        break;
    case DeviceType::RV2:
        record.Push(trackwire_key_device_name_, "RV2");
        break;
    case DeviceType::LW:
        record.Push(trackwire_key_device_name_, "LW");
        break;
    case DeviceType::None:
        break;
    }
    record.Push(trackwire_key_channel_, device_info_.channel);
    if (listener_ != nullptr) {
        listener_->SendTrackwire(record);
    }
}

void VoteDeckObjectBase::SendIPCMesage(const std::string& text) {
    VD_LOG_ENTRY();
    if (listener_ != nullptr) {
        listener_->SendIPCMesage(text);
    }
}

void VoteDeckObjectBase::PostTask(std::function<void()> task) {
    if (listener_ != nullptr) {
        listener_->PostTask(std::move(task));
    }
}

}  // namespace vdipc
