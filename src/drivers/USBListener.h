// The hidden window that Windows reports device changes to: one object and one thread for the whole process.
#pragma once

#include "drivers/DeviceChangedListener.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vdipc {

/// Never destroyed; its thread lives until the process ends.
class USBListener {
public:
    /// The one object; the first call makes it and starts its thread. Any thread.
    static USBListener& GetInstance();

    /// A pointer that is listed already is not added twice. Not owned. Any thread.
    void AddListener(DeviceChangedListener* listener);
    /// A pointer that isn't listed changes nothing. No call to the listener is under way when this returns, unless it is
    /// called from inside that call. Any thread.
    void RemoveListener(DeviceChangedListener* listener);

    /// Message thread: calls each listener in the order of the list, each with its own copy of the name. A listener
    /// that joins meanwhile is not called.
    void NotifyNodesChanged();
    void NotifyArrival(std::int32_t device_kind, const std::wstring& name);
    void NotifyRemoved(std::int32_t device_kind, const std::wstring& name);

    /// The body of the message thread: window class, hidden window, message loop.
    std::uint32_t RunMessageLoop();

    /// The handles of the window and of its registration, the system's own; for the window procedure.
    void* notification_ = nullptr;
    void* window_ = nullptr;

private:
    friend struct USBListenerAccess;
    USBListener() = default;
    USBListener(const USBListener&) = delete;
    USBListener& operator=(const USBListener&) = delete;
    void StartThread();
    void ForEachListener(const std::function<void(DeviceChangedListener&)>& call);

    std::unique_ptr<std::thread> thread_;  // neither joined nor detached
    // Device objects come and go on the task thread. Held during the calls, which don't block.
    std::recursive_mutex listeners_mutex_;
    std::vector<DeviceChangedListener*> listeners_;
};

}  // namespace vdipc
