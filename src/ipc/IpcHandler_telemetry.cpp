// What the telemetry library is told once, and how every record is finished.
#include "common/Clock.h"
#include "common/JsonText.h"
#include "common/Log.h"
#include "common/TimeText.h"
#include "common/Version.h"
#include "ipc/IpcHandler.h"

#include <fstream>
#include <sstream>

#include <json/json.h>

namespace vdipc {

namespace {

constexpr char kCommandLineFileName[] = "command_line";  // in the working directory

bool HasText(const Json::Value& root, const char* key) {
    return !root[key].isNull() && root[key].isString();
}

}  // namespace

void IpcHandler::SendTrackwire(CTrackwire& record) {
    VD_LOG_ENTRY();
    record.Push(report_time_key_, GetCurrentTimeString());
    record.Logger();
}

std::string IpcHandler::GetCurrentTimeString() {
    VD_LOG_ENTRY();
    char text[kLongestTimeText];
    return {text, PutTime(text, GetLocalTimeNow(), '.')};
}

void IpcHandler::SetVersionForTrackwire() {
    SetVDShellVersionW(VDIPC_VERSION_WIDE);
}

void IpcHandler::ReadCommandlineForTrackwire() {
    VD_LOG_ENTRY();
    std::ifstream file(kCommandLineFileName);
    if (!file.is_open()) {
        VD_LOG(LogLevel::Warn, "{}:{} open command line file failed: {}", kCommandLineFileName);
        return;
    }
    std::stringstream stream;
    stream << file.rdbuf();
    VD_LOG(LogLevel::Debug, "{}:{} read command line: {}", stream.str());
    Json::Value value;
    if (!ParseJson(stream, &value) || !value.isObject()) {
        VD_LOG(LogLevel::Warn, "{}:{} parse command line failed");
        return;
    }
    const Json::Value& root = value;
    // Passed on as read, without conversion.
    if (HasText(root, "login_lnum")) {
        const std::string live_id = root["login_lnum"].asString();
        VD_LOG(LogLevel::Debug, "{}:{} live_id={}", live_id);
        SetBigClassIdA(live_id);
    }
    if (HasText(root, "login_cnum")) {
        const std::string lesson_num = root["login_cnum"].asString();
        VD_LOG(LogLevel::Debug, "{}:{} lesson_num={}", lesson_num);
        SetLessonNumA(lesson_num);
    }
    if (HasText(root, "login_cid")) {
        const std::string class_id = root["login_cid"].asString();
        VD_LOG(LogLevel::Debug, "{}:{} class_id={}", class_id);
        SetClassIdA(class_id);
    }
}

void IpcHandler::UpdateDeviceInfoForTrackwire() {
    VD_LOG_ENTRY();
    for (const auto& [device_type, object] : device_objects_) {
        if (object == nullptr || object->GetDeviceStatus() != kDeviceStatusConnected) {
            continue;
        }
        if (device_type == DeviceType::RV2) {
            SetVdkManufactorA("RV2.0");
            return;
        }
        const DeviceInfoRecord info = object->GetDeviceInfo();
        SetVdkReceiveVersionA(info.software);
        SetVdkManufactorA(info.company);
        SetVdkChannelNumberA(info.channel);
        return;
    }
    SetVdkReceiveVersionA("");
    SetVdkManufactorA("");
    SetVdkChannelNumberA("");
}

}  // namespace vdipc
