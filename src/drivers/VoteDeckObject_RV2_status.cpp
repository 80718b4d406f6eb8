// The watch over the station: a probe every ten seconds, and one at each change of device nodes.
#include "common/Log.h"
#include "drivers/USBListener.h"
#include "drivers/VoteDeckObject_RV2.h"

namespace vdipc {
namespace {

constexpr std::uint32_t kCheckIntervalMilliseconds = 10000;

}  // namespace

void VoteDeckObject_RV2::StartStatusCheck() {
    VD_LOG_ENTRY();
    USBListener::GetInstance().AddListener(this);
    status_event_ = CreateAutoResetEvent();
    status_stop_ = false;
    status_thread_ = std::make_unique<std::thread>(
        [this, stop_event = status_event_.load()] { StatusThread(stop_event); });
}

void VoteDeckObject_RV2::StatusThread(EventHandle stop_event) {
    VD_LOG(LogLevel::Debug, "{}:{} RV2 status check thread begin");
    // A wait that fails counts as one that ran out: the station goes on being watched.
    while (!status_stop_ && WaitForEvent(stop_event, kCheckIntervalMilliseconds) != kWaitSignalled) {
        if (listener_ != nullptr) {
            PostOwnTask([this] { CheckStatusTask(); });
        }
    }
    VD_LOG(LogLevel::Debug, "{}:{} RV2 status check thread end");
}

void VoteDeckObject_RV2::StopStatusCheck() {
    VD_LOG_ENTRY();
    USBListener::GetInstance().RemoveListener(this);
    status_stop_ = true;
    if (status_event_ != nullptr) {
        SignalEvent(status_event_);
    }
    if (status_thread_) {
        status_thread_->join();
        status_thread_.reset();
    }
    if (status_event_ != nullptr) {
        CloseEvent(status_event_);
        status_event_ = nullptr;
    }
}

void VoteDeckObject_RV2::CheckStatusTask() {
    const std::int32_t answer = ProbeBaseStation();
    if (answer == kDeviceStatusUnknown) {
        VD_LOG(LogLevel::Debug, "{}:{} CheckStatus timeout for rv2, skip.");
        return;
    }
    const std::int32_t old_status = status_;
    if (answer == kDeviceStatusConnected) {
        if (old_status == kDeviceStatusConnected) {
            return;
        }
        Initialize();
        if (status_ == kDeviceStatusConnected) {
            SendEventArrived();
            NotifyStatusChanged();
        } else if (status_ == old_status) {
            NotifyBadStatusForRV2();
        } else {
            NotifyStatusChanged();
        }
        return;
    }
    status_ = answer;
    if (old_status == kDeviceStatusConnected) {
        SendEventRemoved();
        NotifyStatusChanged();
    } else if (old_status == answer) {
        NotifyBadStatusForRV2();
    } else {
        NotifyStatusChanged();
    }
}

void VoteDeckObject_RV2::OnDeviceNodesChanged() {
    VD_LOG_ENTRY();
    PostOwnTask([this] { CheckStatusTask(); });
}

void VoteDeckObject_RV2::OnDeviceArrival(std::int32_t, std::wstring) {
    VD_LOG(LogLevel::Trace, "{}:{} do not care");
}

void VoteDeckObject_RV2::OnDeviceRemoved(std::int32_t, std::wstring) {
    VD_LOG(LogLevel::Trace, "{}:{} do not care");
}

}  // namespace vdipc
