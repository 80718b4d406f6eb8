// Who hears of device changes on the computer.
#pragma once

#include <cstdint>
#include <string>

namespace vdipc {

inline constexpr std::int32_t kDeviceKindInterface = 0;
inline constexpr std::int32_t kDeviceKindPort = 1;

/// Called on the USBListener's thread. Must not block, and must not touch its object's state: log, or post a task.
class DeviceChangedListener {
public:
    virtual ~DeviceChangedListener() = default;
    virtual void OnDeviceNodesChanged() = 0;
    /// The name is a device path for an interface, and the port's name for a port.
    virtual void OnDeviceArrival(std::int32_t device_kind, std::wstring name) = 0;
    virtual void OnDeviceRemoved(std::int32_t device_kind, std::wstring name) = 0;
};

}  // namespace vdipc
