// Life of a USB receiver's object: made with its library object, brought up and taken down.
#include "drivers/VoteDeckObject_TQ.h"

#include "common/Log.h"
#include "drivers/USBListener.h"

namespace vdipc {

VoteDeckObject_TQ::VoteDeckObject_TQ(DeviceType device_type) : VoteDeckObjectBase(device_type) {
    VD_LOG_ENTRY();
    switch (device_type) {
    case DeviceType::TQ1:
        CreateVDOTQ1(&vote_deck_, &control_);
        break;
    case DeviceType::TQ2:
        CreateVDOTQ2(&vote_deck_, &control_);
        break;
    case DeviceType::RV1:
        CreateVDORV1(&vote_deck_, &control_);
        break;
    case DeviceType::LW:
        CreateVDOLW(&vote_deck_, &control_);
        break;
    case DeviceType::RV2:
    case DeviceType::None:
        break;
    }
}

VoteDeckObject_TQ::~VoteDeckObject_TQ() {
    VD_LOG_ENTRY();
    if (vote_deck_ == nullptr) {
        return;
    }
    vote_deck_->SetListener(nullptr);
    USBListener::GetInstance().RemoveListener(this);
    vote_deck_->DeletingDestructor(1);
    vote_deck_ = nullptr;
}

std::int32_t VoteDeckObject_TQ::Initialize() {
    VD_LOG_ENTRY();
    if (vote_deck_ == nullptr) {
        return kDeviceStatusNotConnected;
    }
    initialized_ = false;
    status_ = kDeviceStatusNotConnected;
    USBListener::GetInstance().AddListener(this);
    vote_deck_->SetListener(this);
    if (control_ != nullptr) {
        control_->SetListener(this);
    }
    if (vote_deck_->IsConnected()) {
        VD_LOG(LogLevel::Info, "{}:{} zq::IVoteDeck connected, enable bind card");
        ReadDeviceInfo();
        if (device_type_ == DeviceType::TQ2) {
            SynchronizeChannelForTQ2();
        }
        if (device_type_ == DeviceType::LW) {
            VD_LOG(LogLevel::Info, "{}:{} LW StopQuestion when init");
            StopQuestion(all_devices_id_);
        }
        if (control_ != nullptr) {
            control_->EnableBindCard([](const CallBackInfo&) {});
        }
        status_ = kDeviceStatusConnected;
    }
    initialized_ = true;
    return status_;
}

void VoteDeckObject_TQ::Uninitialize() {
    VD_LOG_ENTRY();
    USBListener::GetInstance().RemoveListener(this);
    if (vote_deck_ != nullptr) {
        vote_deck_->SetListener(nullptr);
    }
}

bool VoteDeckObject_TQ::IsReceiverConnected() const {
    return vote_deck_ != nullptr && vote_deck_->IsConnected();
}

}  // namespace vdipc
