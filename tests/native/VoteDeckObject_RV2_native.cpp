// The base station's object without a Windows around it: no script to ask, no folder to clean.
#include "common/Log.h"
#include "drivers/VoteDeckObject_RV2.h"

namespace vdipc {

std::uint32_t VoteDeckObject_RV2::StationAddress() {
    return 0xC0A8EA0Au;
}

std::int32_t VoteDeckObject_RV2::ProbeBaseStation() {
    return kDeviceStatusNotConnected;
}

void VoteDeckObject_RV2::DeleteSdkConfigFile() {
    VD_LOG_ENTRY();
    VD_LOG(LogLevel::Debug, "{}:{} file not exists {}", "\\HDP417K\\sdkConfig.txt");
}

}  // namespace vdipc
