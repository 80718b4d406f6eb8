#include "tools/common/ChannelInRegistry.h"

#include <windows.h>

namespace vdipc::tools {
namespace {

constexpr const char* kKey = "SOFTWARE\\ZVN\\VDShell";
constexpr const char* kValue = "using_channel";

std::optional<unsigned long> Read() {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    DWORD value = 0;
    DWORD size = sizeof value;
    const bool found = RegQueryValueExA(key, kValue, nullptr, nullptr, reinterpret_cast<BYTE*>(&value),
                                        &size) == ERROR_SUCCESS;
    RegCloseKey(key);
    return found ? std::optional<unsigned long>(value) : std::nullopt;
}

void Write(const std::optional<unsigned long>& channel) {
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr) !=
        ERROR_SUCCESS) {
        return;
    }
    if (channel) {
        const DWORD value = *channel;
        RegSetValueExA(key, kValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
    } else {
        RegDeleteValueA(key, kValue);
    }
    RegCloseKey(key);
}

}  // namespace

ChannelInRegistry::ChannelInRegistry(const std::string& channel) : former_(Read()) {
    Write(channel == "none" ? std::nullopt : std::optional<unsigned long>(std::stoul(channel)));
}

ChannelInRegistry::~ChannelInRegistry() {
    Write(former_);
}

}  // namespace vdipc::tools
