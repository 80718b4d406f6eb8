#include "ipc/IpcHandler.h"

#include "ipc/LogFile.h"

#include <utility>

namespace vdipc {

IpcHandler::IpcHandler() {
    static const std::pair<DeviceType, const char*> kNames[] = {{DeviceType::TQ1, "TQ1"},
                                                                {DeviceType::TQ2, "TQ2"},
                                                                {DeviceType::RV1, "RV1"},
                                                                {DeviceType::RV2, "RV2"},
                                                                {DeviceType::LW, "LW"}};
    for (const auto& [device_type, name] : kNames) {
        device_names_[device_type] = name;
    }
    // Here and not in Initialize, so that logging works from the first call on.
    OpenLogFile();
}

// A pipe server that is still there is in use by a task thread that is still there, and that one ends the process.
IpcHandler::~IpcHandler() = default;

IpcHandler& IpcHandler::Instance() {
    static IpcHandler handler;
    return handler;
}

}  // namespace vdipc
