#include "drivers/USBListener.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace vdipc {

USBListener& USBListener::GetInstance() {
    static std::atomic<USBListener*> instance{nullptr};
    static std::mutex creation;
    USBListener* listener = instance.load(std::memory_order_acquire);
    if (listener != nullptr) {
        return *listener;
    }
    std::lock_guard lock(creation);
    listener = instance.load(std::memory_order_relaxed);
    if (listener == nullptr) {
        listener = new USBListener();
        // The thread's window procedure comes back here, so the pointer has to be out before the thread runs.
        instance.store(listener, std::memory_order_release);
        listener->StartThread();
    }
    return *listener;
}

void USBListener::StartThread() {
    thread_ = std::make_unique<std::thread>([this] { RunMessageLoop(); });
}

void USBListener::AddListener(DeviceChangedListener* listener) {
    std::lock_guard lock(listeners_mutex_);
    if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end()) {
        return;
    }
    listeners_.push_back(listener);
}

void USBListener::RemoveListener(DeviceChangedListener* listener) {
    std::lock_guard lock(listeners_mutex_);
    const auto found = std::find(listeners_.begin(), listeners_.end(), listener);
    if (found != listeners_.end()) {
        listeners_.erase(found);
    }
}

void USBListener::ForEachListener(const std::function<void(DeviceChangedListener&)>& call) {
    std::lock_guard lock(listeners_mutex_);
    const std::size_t end = listeners_.size();
    for (std::size_t i = 0; i < end && i < listeners_.size(); ++i) {
        if (listeners_[i] != nullptr) {
            call(*listeners_[i]);
        }
    }
}

void USBListener::NotifyNodesChanged() {
    ForEachListener([](DeviceChangedListener& listener) { listener.OnDeviceNodesChanged(); });
}

void USBListener::NotifyArrival(std::int32_t device_kind, const std::wstring& name) {
    ForEachListener([&](DeviceChangedListener& listener) { listener.OnDeviceArrival(device_kind, name); });
}

void USBListener::NotifyRemoved(std::int32_t device_kind, const std::wstring& name) {
    ForEachListener([&](DeviceChangedListener& listener) { listener.OnDeviceRemoved(device_kind, name); });
}

}  // namespace vdipc
