#include "unit/drivers/support/ChosenChannel.h"

#include <windows.h>

#include <stdexcept>
#include <string>

namespace vdipc::test {
namespace {

constexpr char kRegistryKey[] = "SOFTWARE\\ZVN\\VDShell";
constexpr char kValueName[] = "using_channel";

std::string OwnKeyName() {
    return "Software\\VDIPC test " + std::to_string(GetCurrentProcessId());
}

void Check(LSTATUS status, const char* what) {
    if (status != ERROR_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(status));
    }
}

}  // namespace

ChosenChannel::ChosenChannel() {
    HKEY own = nullptr;
    Check(RegCreateKeyExA(HKEY_CURRENT_USER, OwnKeyName().c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_ALL_ACCESS, nullptr, &own, nullptr),
          "RegCreateKeyExA");
    const LSTATUS status = RegOverridePredefKey(HKEY_CURRENT_USER, own);
    RegCloseKey(own);
    Check(status, "RegOverridePredefKey");
}

ChosenChannel::~ChosenChannel() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegDeleteTreeA(HKEY_CURRENT_USER, OwnKeyName().c_str());
}

void ChosenChannel::Set(std::int32_t channel) {
    Check(RegSetKeyValueA(HKEY_CURRENT_USER, kRegistryKey, kValueName, REG_DWORD, &channel, sizeof(channel)),
          "RegSetKeyValueA");
}

std::optional<std::int32_t> ChosenChannel::Get() const {
    std::int32_t channel = 0;
    DWORD size = sizeof(channel);
    if (RegGetValueA(HKEY_CURRENT_USER, kRegistryKey, kValueName, RRF_RT_REG_DWORD, nullptr, &channel,
                     &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return channel;
}

}  // namespace vdipc::test
