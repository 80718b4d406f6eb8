// What the receiver's library and the computer report, on threads of their own, and the tasks that do the work.
#include "common/Log.h"
#include "drivers/VoteDeckObject_TQ.h"

#include <memory>
#include <optional>
#include <utility>

namespace vdipc {
namespace {

using Buffer = std::shared_ptr<const std::vector<std::uint8_t>>;

Buffer CopyBuffer(const std::uint8_t* data, std::uint32_t size) {
    auto copy = std::make_shared<std::vector<std::uint8_t>>();
    if (data != nullptr && size > 0) {
        copy->assign(data, data + size);
    }
    return copy;
}

}  // namespace

void* VoteDeckObject_TQ::DeletingDestructor(unsigned int) {
    return this;
}

void VoteDeckObject_TQ::OnKeyEvent(std::uint32_t ushDeviceId, std::int32_t enKeyValue,
                                   std::uint32_t pressTimes, std::uint32_t recvTimes, std::uint32_t,
                                   std::uint32_t, std::uint32_t rssi) {
    VD_LOG(LogLevel::Info, "{}:{} ushDeviceId={}, enKeyValue={}, pressTimes={}, recvTimes={}", ushDeviceId,
           enKeyValue, pressTimes, recvTimes);
    PostOwnTask([this, ushDeviceId, enKeyValue, pressTimes, recvTimes, rssi] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin ushDeviceId={}, enKeyValue={}, pressTimes={}, recvTimes={}",
               ushDeviceId, enKeyValue, pressTimes, recvTimes);
        const std::string id = WrapDeviceID(ushDeviceId);
        if (device_type_ == DeviceType::RV1) {
            VD_LOG(LogLevel::Debug, "{}:{} send activate before key press for rv1.0");
            ActivateDevice(id);
        }
        if (IsKeyThatBringsBack(id, enKeyValue)) {
            VD_LOG(LogLevel::Debug, "{}:{} device {} has been droped, send activate before key press for lw",
                   id);
            ActivateDevice(id);
            return;
        }
        const std::optional<bool> need_send = TakeKey(id, enKeyValue);
        if (need_send.has_value()) {
            VD_LOG(LogLevel::Debug, "{}:{} device_id={}, need_send={}", id, *need_send);
            if (*need_send) {
                SendEventKeyPressed(id, rssi);
            }
        }
        if (device_type_ == DeviceType::RV1) {
            VD_LOG(LogLevel::Debug, "{}:{} recover context for rv1.0");
            SetText(id, false, "", false, "", false, "");
        }
    });
}

bool VoteDeckObject_TQ::IsKeyThatBringsBack(const std::string& device, std::int32_t key_value) const {
    return device_type_ == DeviceType::LW && all_general_for_lw_ && key_value == kKeyG &&
           dropped_device_set_.count(device) != 0;
}

void VoteDeckObject_TQ::ActivateDevice(const std::string& device) {
    CreateTextRecordForDevice(device);
    NotifyActiveDevicesChanged();
    EraseDeviceFromDropSet(device);
    if (device_type_ == DeviceType::LW) {
        CopyQuestionFromAllDevices(device);
    }
    SendEventActivated(device);
}

void VoteDeckObject_TQ::OnDeviceConnectedChange(bool connected) {
    VD_LOG(LogLevel::Info, "{}:{} connected={}", connected);
    if (!initialized_) {
        VD_LOG(LogLevel::Debug, "{}:{} initialization not finished, return.");
        return;
    }
    PostOwnTask([this, connected] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin connected={}", connected);
        if (!connected) {
            status_ = kDeviceStatusNotConnected;
            SendEventRemoved();
            NotifyStatusChanged();
            return;
        }
        status_ = IsReceiverConnected() ? kDeviceStatusConnected : kDeviceStatusNotConnected;
        if (status_ == kDeviceStatusConnected) {
            ReadDeviceInfo();
            if (device_type_ == DeviceType::TQ2) {
                SynchronizeChannelForTQ2();
            }
            if (device_type_ == DeviceType::LW) {
                VD_LOG(LogLevel::Info, "{}:{} LW StopQuestion when connected if all_general_for_lw_");
                vote_deck_->SendQuestion(
                    VoteDeckCallback(),
                    EnumQuestionType{all_general_for_lw_ ? kGeneralQuestion : kEndQuestion},
                    static_cast<std::uint32_t>(all_devices_number_));
            }
            SendEventArrived();
        }
        NotifyStatusChanged();
    });
}

void VoteDeckObject_TQ::OnBindCard(std::uint32_t newUid) {
    VD_LOG(LogLevel::Info, "{}:{} newUid={}, ", newUid);
    PostOwnTask([this, newUid] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin newUid={}, ", newUid);
        if (device_type_ == DeviceType::TQ2) {
            VD_LOG(LogLevel::Debug, "{}:{} TQ2.0 send question lock {}", newUid);
            SendLibraryQuestion(kLockDevice, newUid);
        }
        ActivateDevice(WrapDeviceID(newUid));
    });
}

void VoteDeckObject_TQ::OnUnbindCard(std::uint32_t device_id) {
    VD_LOG(LogLevel::Info, "{}:{} device_id={}", device_id);
    PostOwnTask([this, device_id] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin device_id={}", device_id);
        if (device_type_ == DeviceType::TQ2) {
            VD_LOG(LogLevel::Debug, "{}:{} TQ2.0 send question unlock {}", device_id);
            SendLibraryQuestion(kUnlockDevice, device_id);
        }
        const std::string id = WrapDeviceID(device_id);
        EraseTextRevordForDevice(id);
        NotifyActiveDevicesChanged();
        EraseDeviceFromDropSet(id);
        SendEventInactivated(id);
    });
}

void VoteDeckObject_TQ::CopyQuestionFromAllDevices(const std::string& device) {
    const auto found = last_question_map_.find(all_devices_id_);
    if (found == last_question_map_.end()) {
        return;
    }
    const CommandAsk& all = found->second.ask;
    QuestionRecord& record = last_question_map_[device];
    record.stopped = false;
    record.ask.device = device;
    record.ask.type = all.type;
    record.ask.row1 = all.row1;
    record.ask.has_row1 = all.has_row1;
    record.ask.row2 = all.row2;
    record.ask.has_row2 = all.has_row2;
    record.ask.row3 = all.row3;
    record.ask.has_row3 = all.has_row3;
    record.ask.custom = all.custom;
    // Not `param`: the device keeps its own.
    record.ask.stems = all.stems;
    record.ask.audio_file_name_prefix = all.audio_file_name_prefix;
}

void VoteDeckObject_TQ::OnAudioDataReceived(std::uint32_t ushDeviceID, const std::uint8_t* first,
                                            std::uint32_t first_size, const std::uint8_t* second,
                                            std::uint32_t second_size, float lost_package_rate) {
    VD_LOG(LogLevel::Info, "{}:{} ushDeviceID={}", ushDeviceID);
    // Nobody reads the first buffer; the task carries it to its end.
    PostOwnTask([this, ushDeviceID, unread = CopyBuffer(first, first_size),
                 recording = CopyBuffer(second, second_size), lost_package_rate] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin ushDeviceID={}", ushDeviceID);
        RunAudioPath(ushDeviceID, *recording, static_cast<double>(lost_package_rate), std::nullopt);
    });
}

void VoteDeckObject_TQ::OnDeviceIOError(zq::IVoteDeck* deck) {
    VD_LOG_ENTRY();
    PostOwnTask([this, deck] {
        if (deck == vote_deck_ && control_ != nullptr) {
            control_->HandleIOError();
        }
    });
}

void VoteDeckObject_TQ::OnSetContextSuccess() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_TQ::OnSendToDevice() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_TQ::OnDataSentFailed() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_TQ::OnReSendCommend() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_TQ::OnSendData() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_TQ::OnReceiveData() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_TQ::Reserved3() {}

bool VoteDeckObject_TQ::IsDeviceKindMine(std::int32_t device_kind) const {
    switch (device_type_) {
    case DeviceType::RV1:
        return device_kind == kDeviceKindPort;
    case DeviceType::TQ1:
    case DeviceType::TQ2:
        return device_kind == kDeviceKindInterface;
    case DeviceType::LW:
    case DeviceType::RV2:
    case DeviceType::None:
        break;
    }
    return false;
}

void VoteDeckObject_TQ::OnDeviceNodesChanged() {
    VD_LOG(LogLevel::Trace, "{}:{} do not care");
}

void VoteDeckObject_TQ::OnDeviceArrival(std::int32_t device_kind, std::wstring name) {
    VD_LOG_ENTRY();
    if (!IsDeviceKindMine(device_kind)) {
        return;
    }
    PostOwnTask([this, device_kind, name = std::move(name)] {
        if (control_ != nullptr) {
            control_->DeviceArrived(device_kind, name.c_str());
        }
    });
}

void VoteDeckObject_TQ::OnDeviceRemoved(std::int32_t device_kind, std::wstring name) {
    VD_LOG_ENTRY();
    if (!IsDeviceKindMine(device_kind)) {
        return;
    }
    PostOwnTask([this, device_kind, name = std::move(name)] {
        if (control_ != nullptr) {
            control_->DeviceRemoved(device_kind, name.c_str());
        }
    });
}

}  // namespace vdipc
