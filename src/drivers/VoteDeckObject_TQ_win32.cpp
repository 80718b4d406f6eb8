// The chosen channel's place in the registry.
#include "common/Log.h"
#include "drivers/VoteDeckObject_TQ.h"

#include <windows.h>

namespace vdipc {
namespace {

constexpr char kKeyName[] = "SOFTWARE\\ZVN\\VDShell";
constexpr char kValueName[] = "using_channel";

}  // namespace

std::int32_t VoteDeckObject_TQ::ReadChannelNumberFromReg() {
    std::int32_t channel = -1;
    HKEY key = nullptr;
    if (RegOpenKeyA(HKEY_CURRENT_USER, kKeyName, &key) != ERROR_SUCCESS) {
        VD_LOG(LogLevel::Warn, "{}:{} Failed to RegOpenKey: {}", kKeyName);
    } else {
        // The type isn't looked at: a value of another one is taken for what its bytes say.
        std::int32_t value = -1;
        DWORD type = REG_DWORD;
        DWORD size = sizeof(value);
        if (RegQueryValueExA(key, kValueName, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) !=
            ERROR_SUCCESS) {
            VD_LOG(LogLevel::Warn, "{}:{} Failed to RegQueryValueEx: {}", kValueName);
        } else {
            channel = value;
        }
    }
    RegCloseKey(key);
    VD_LOG(LogLevel::Info, "{}:{} channel: {}", channel);
    return channel;
}

void VoteDeckObject_TQ::WriteChannelNumberToReg(std::int32_t channel) {
    HKEY key = nullptr;
    if (RegOpenKeyA(HKEY_CURRENT_USER, kKeyName, &key) != ERROR_SUCCESS &&
        RegCreateKeyA(HKEY_CURRENT_USER, kKeyName, &key) != ERROR_SUCCESS) {
        VD_LOG(LogLevel::Warn, "{}:{} Failed to RegCreateKey: {}", kKeyName);
        RegCloseKey(key);
        return;
    }
    if (RegSetValueExA(key, kValueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&channel),
                       sizeof(channel)) != ERROR_SUCCESS) {
        VD_LOG(LogLevel::Warn, "{}:{} Failed to RegSetValueEx: value_name");
    }
    RegCloseKey(key);
}

}  // namespace vdipc
