// Text records, whose presence makes a device an activated one, and drops.
#include "common/Log.h"
#include "device/VoteDeckObjectBase.h"

namespace vdipc {

void VoteDeckObjectBase::CreateTextRecordForDevice(const std::string& device) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    CommandText& record = text_record_map_[device];
    record.device = device;
    record.has_row1 = true;
    record.has_row2 = true;
    record.has_row3 = true;
}

void VoteDeckObjectBase::EraseTextRevordForDevice(const std::string& device) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    text_record_map_.erase(device);
}

void VoteDeckObjectBase::EraseDeviceFromDropSet(const std::string& device) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    dropped_device_set_.erase(device);
}

std::vector<std::string> VoteDeckObjectBase::TargetsOf(const std::string& device) const {
    if (device != all_devices_id_) {
        return {device};
    }
    std::vector<std::string> targets;
    for (const auto& entry : text_record_map_) {
        targets.push_back(entry.first);
    }
    return targets;
}

std::vector<CommandText*> VoteDeckObjectBase::TextRecordsOf(const std::string& device) {
    std::vector<CommandText*> records;
    if (device == all_devices_id_) {
        for (auto& entry : text_record_map_) {
            records.push_back(&entry.second);
        }
    } else if (const auto found = text_record_map_.find(device); found != text_record_map_.end()) {
        records.push_back(&found->second);
    }
    return records;
}

void VoteDeckObjectBase::HandleText(const CommandText& text) {
    VD_LOG_ENTRY();
    SetText(text.device, text.has_row1, text.row1, text.has_row2, text.row2, text.has_row3, text.row3);
}

void VoteDeckObjectBase::HandleDrop(const CommandDrop& drop) {
    VD_LOG_ENTRY();
    if (drop.device == all_devices_id_) {
        VD_LOG(LogLevel::Warn, "{}:{} device can not be 0");
        return;
    }
    EraseTextRevordForDevice(drop.device);
    NotifyActiveDevicesChanged();
    EraseLastAnswer(drop.device);
    StopLastQuestionRecord(drop.device);
    VD_LOG(LogLevel::Debug, "{}:{} insert {} to dropped_device_set_", drop.device);
    dropped_device_set_.insert(drop.device);
}

void VoteDeckObjectBase::ClearTextForAllDevices() {
    VD_LOG_ENTRY();
    SetText(all_devices_id_, true, "", true, "", true, "");
    // Dropped devices have no text record any more, though their displays may still show the last text.
    for (const std::string& device : dropped_device_set_) {
        SetText(device, true, "", true, "", true, "");
    }
}

}  // namespace vdipc
