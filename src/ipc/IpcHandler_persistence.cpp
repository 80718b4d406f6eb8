// The activated keypads of each receiver kind, kept in a small file beside the host's executable.
#include "common/HostPath.h"
#include "common/JsonText.h"
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "common/TextEncoding.h"
#include "ipc/IpcHandler.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include <json/json.h>

namespace vdipc {

std::string IpcHandler::GetDevicesFilePath() const {
    return DirectoryWithBackslash(GetHostExecutablePath()) + devices_file_name_;
}

void IpcHandler::SaveActiveDevices() {
    VD_LOG_ENTRY();
    const std::string file_path = GetDevicesFilePath();
    std::ofstream file(file_path);
    if (!file.is_open()) {
        VD_LOG(LogLevel::Warn, "{}:{} open file failed. file_path={}", file_path);
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} file_path={}", file_path);
    for (const auto& [device_type, object] : device_objects_) {
        if (object != nullptr) {
            std::set<std::string> devices = object->GetActivatedDeviceSet();
            active_devices_[device_type].swap(devices);
        }
    }
    Json::Value root;
    for (const auto& [device_type, devices] : active_devices_) {
        Json::Value value;
        for (const std::string& device : devices) {
            value.append(ToUtf8(device));
        }
        root[MapAt(device_names_, device_type)] = std::move(value);
    }
    const std::string text = StyledText(root);
    VD_LOG(LogLevel::Debug, "{}:{} decvices: {}", text);
    // The file has the same form, without the line break at the end.
    file.write(text.data(), static_cast<std::streamsize>(text.size() - 1));
    file.flush();
}

void IpcHandler::LoadActiveDevices() {
    VD_LOG_ENTRY();
    const std::string file_path = GetDevicesFilePath();
    std::ifstream file(file_path);
    if (!file.is_open()) {
        VD_LOG(LogLevel::Warn, "{}:{} open file failed. file_path={}", file_path);
        return;
    }
    std::stringstream stream;
    stream << file.rdbuf();
    VD_LOG(LogLevel::Debug, "{}:{} open file OK. file_path={}  stream={}", file_path, stream.str());
    Json::Value root;
    if (!ParseJson(stream, &root) || !root.isObject()) {
        VD_LOG(LogLevel::Warn, "{}:{} parse json failed.");
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} parse json OK.");
    for (const std::string& name : root.getMemberNames()) {
        const Json::Value& value = root[name];
        if (!value.isArray()) {
            continue;
        }
        std::set<std::string> devices;
        for (const Json::Value& element : value) {
            if (element.isConvertibleTo(Json::stringValue)) {
                devices.insert(ToUtf8(element.asString()));
            }
        }
        const auto found = std::find_if(device_names_.begin(), device_names_.end(),
                                        [&name](const auto& entry) { return entry.second == name; });
        if (found == device_names_.end()) {
            continue;
        }
        const DeviceType device_type = found->first;
        active_devices_[device_type] = devices;
        const auto& object = device_objects_[device_type];
        if (object != nullptr) {
            object->SetActivatedDeviceSet(devices);
        }
    }
}

void IpcHandler::OnActiveDevicesChanged() {
    SaveActiveDevices();
}

}  // namespace vdipc
