// The five device objects: made once for each start, chosen by "init", told to the client as "device-inited".
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "drivers/VoteDeckObject_RV2.h"
#include "drivers/VoteDeckObject_TQ.h"
#include "ipc/IpcHandler.h"
#include "messages/MessageCodec.h"

#include <utility>

namespace vdipc {

void IpcHandler::CreateVoteDeckObjects() {
    VD_LOG_ENTRY();
    for (const DeviceType device_type :
         {DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1, DeviceType::RV2, DeviceType::LW}) {
        std::shared_ptr<IVoteDeckObject> object;
        if (device_type == DeviceType::RV2) {
            object = std::make_shared<VoteDeckObject_RV2>();
        } else {
            object = std::make_shared<VoteDeckObject_TQ>(device_type);
        }
        device_objects_[device_type] = object;
        object->SetAudioFileStorageBasePath(audio_storage_path_.data());
        object->SetEventListener(this);
        object->SetActivatedDeviceSet(active_devices_[device_type]);
    }
}

void IpcHandler::DeleteVoteDeckObjects() {
    VD_LOG_ENTRY();
    for (auto& [device_type, object] : device_objects_) {
        if (object == nullptr) {
            continue;
        }
        active_devices_[device_type] = object->GetActivatedDeviceSet();
        if (device_type == DeviceType::RV2) {
            // A rule of its own: the base station's object outlives the stop, until the next start replaces it.
            VD_LOG(LogLevel::Debug, "{}:{} do not destroy rv2.0");
        } else {
            object->Uninitialize();
            object.reset();
        }
    }
}

std::vector<DeviceType> IpcHandler::PreferredKinds() const {
    switch (preferred_device_type_) {
    case PreferredDeviceType::NonAudio:
        return {DeviceType::TQ1, DeviceType::RV1, DeviceType::LW};
    case PreferredDeviceType::Audio:
        return {DeviceType::TQ2, DeviceType::RV2};
    case PreferredDeviceType::Any:
        return {DeviceType::TQ1, DeviceType::RV1, DeviceType::LW, DeviceType::TQ2, DeviceType::RV2};
    case PreferredDeviceType::None:
        break;
    }
    return {};
}

bool IpcHandler::IsAnyDeviceConnected(std::int32_t& info, std::vector<DeviceType>& kinds) {
    VD_LOG_ENTRY();
    info = kDeviceStatusNotConnected;
    bool connected = false;
    for (const DeviceType device_type : PreferredKinds()) {
        const auto& object = device_objects_[device_type];
        if (object == nullptr) {
            continue;
        }
        const std::int32_t status = object->GetDeviceStatus();
        if (device_type == DeviceType::RV2) {
            info = status;  // the one kind that reports its reason
        }
        if (status == kDeviceStatusConnected) {
            kinds.push_back(device_type);
            connected = true;
        }
    }
    if (connected) {
        info = kDeviceStatusConnected;
    }
    return connected;
}

void IpcHandler::SendEventDeviceInited() {
    VD_LOG_ENTRY();
    std::int32_t info = 0;
    std::vector<DeviceType> kinds;
    const bool ready = IsAnyDeviceConnected(info, kinds);
    VD_LOG(LogLevel::Debug, "{}:{} send device-inited event ready={}, info={}", ready, info);
    PipeServer* const pipe_server = pipe_server_;
    if (pipe_server == nullptr) {
        return;
    }
    EventDeviceInited event;
    event.id = MessageCodec::GenerateEventId();
    for (const DeviceType device_type : kinds) {
        event.avaliable_device.push_back(device_type);
        DeviceInfoRecord device_info = device_objects_[device_type]->GetDeviceInfo();
        device_info.device_type.clear();  // stays inside
        event.avaliable_device_info[device_type] = std::move(device_info);
    }
    event.ready = ready;
    event.info = info;
    pipe_server->SendMsg(MessageCodec::EncodeEvent(event));

    std::string names;
    for (const DeviceType device_type : kinds) {
        names += (names.empty() ? "" : ",") + MapAt(kDeviceTypes.names, device_type);
    }
    CTrackwire record;
    record.Push(action_key_, "ipc_vdk_event_device_inited");
    record.Push(uniq_id_key_, event.id);
    record.Push("avaliable-device", "[" + names + "]");
    record.Push("ready", static_cast<std::int32_t>(ready));
    if (info != kDeviceStatusConnected) {
        record.Push("info", MapAt(kDeviceStatusInfos.names, static_cast<DeviceStatusInfo>(info)));
    }
    SendTrackwire(record);
}

void IpcHandler::OnVoteDeckStatusChanged(DeviceType /*device_type*/, std::int32_t /*status*/) {
    VD_LOG_ENTRY();
    SendEventDeviceInited();
    NotifyVoteDecksStatusChanged();
}

void IpcHandler::OnRv2BadStatusNotified(std::int32_t /*status*/) {
    VD_LOG_ENTRY();
    std::int32_t info = 0;
    std::vector<DeviceType> kinds;
    if (!IsAnyDeviceConnected(info, kinds)) {
        SendEventDeviceInited();
    }
}

}  // namespace vdipc
