// The host's status report.
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "common/TextEncoding.h"
#include "ipc/IpcHandler.h"

#include <cstddef>

namespace vdipc {

namespace {

constexpr std::array<DeviceType, 5> kReportOrder = {DeviceType::RV1, DeviceType::RV2, DeviceType::TQ1,
                                                    DeviceType::TQ2, DeviceType::LW};

constexpr std::int32_t kReportNone = -1;
constexpr std::int32_t kReportUsb = 100;
constexpr std::int32_t kReportRv2 = 111;
constexpr std::int32_t kReportRv2NoAddress = 112;
constexpr std::int32_t kReportRv2NoPower = 120;
constexpr std::int32_t kReportNotConnected = 200;

/// Report number of a device status; a status without a row raises.
std::int32_t ReportNumber(DeviceType device_type, std::int32_t status) {
    const std::map<std::int32_t, std::int32_t> usb = {{kDeviceStatusUnknown, kReportNone},
                                                      {kDeviceStatusConnected, kReportUsb},
                                                      {kDeviceStatusNotConnected, kReportNotConnected}};
    const std::map<std::int32_t, std::int32_t> rv2 = {{kDeviceStatusUnknown, kReportNone},
                                                      {kDeviceStatusConnected, kReportRv2},
                                                      {kDeviceStatusNoPower, kReportRv2NoPower},
                                                      {kDeviceStatusNotConnected, kReportNotConnected},
                                                      {kDeviceStatusIpNotSet, kReportRv2NoAddress}};
    return MapAt(device_type == DeviceType::RV2 ? rv2 : usb, status);
}

const wchar_t* LineEnding(std::int32_t number) {
    switch (number) {
    case kReportUsb:
    case kReportRv2:
        return L":OK\n";
    case kReportRv2NoAddress:
        return L":NG(ip)\n";
    case kReportRv2NoPower:
        return L":NG(power)\n";
    case kReportNotConnected:
        return L":NG\n";
    default:
        return L":NA\n";
    }
}

}  // namespace

void IpcHandler::NotifyVoteDecksStatusChanged() {
    VD_LOG_ENTRY();
    std::wstring text;
    std::array<std::int32_t, kReportOrder.size()> numbers{};
    for (std::size_t i = 0; i < kReportOrder.size(); ++i) {
        const DeviceType device_type = kReportOrder[i];
        const auto& object = device_objects_[device_type];
        std::int32_t number = kReportNone;
        // Without an object the text says that there is none, and the number in the array stays 0.
        if (object != nullptr) {
            const std::int32_t status = object->GetDeviceStatus();
            const bool in_use = device_type != DeviceType::RV2 ||
                                preferred_device_type_ == PreferredDeviceType::Audio ||
                                preferred_device_type_ == PreferredDeviceType::Any;
            number = in_use ? ReportNumber(device_type, status) : kReportNone;
            numbers[i] = number;
        }
        text += ToWide(MapAt(device_names_, device_type));
        text += LineEnding(number);
    }
    if (status_changed_callback_) {
        status_changed_callback_(numbers.data(), text);
    }
}

}  // namespace vdipc
