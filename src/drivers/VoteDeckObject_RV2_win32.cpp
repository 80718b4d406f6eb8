// How the station's script is asked, and where the closed library leaves a file that must not survive.
#define _WINSOCK_DEPRECATED_NO_WARNINGS

#include "common/Log.h"
#include "common/TextEncoding.h"
#include "common/closed/Grundkit.h"
#include "drivers/VoteDeckObject_RV2.h"

#include <winsock2.h>

#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>

namespace vdipc {
namespace {

constexpr DWORD kProbeMilliseconds = 2000;
constexpr DWORD kExitStationUp = 2;
constexpr DWORD kExitNoPower = 7;

std::int32_t StatusOfExitCode(DWORD code) {
    switch (code) {
    case kExitStationUp:
        return kDeviceStatusConnected;
    case kExitNoPower:
        return kDeviceStatusNoPower;
    default:
        return kDeviceStatusNotConnected;
    }
}

}  // namespace

std::uint32_t VoteDeckObject_RV2::StationAddress() {
    return ntohl(inet_addr("192.168.234.10"));
}

std::int32_t VoteDeckObject_RV2::ProbeBaseStation() {
    char path[260] = {};
    GetModuleFileNameA(nullptr, path, sizeof(path));
    const std::string executable(path);
    const std::string directory = executable.substr(0, executable.rfind('\\'));
    // Not quoted, whatever the path holds.
    const std::string parameters = "//e:vbscript " + directory + "\\rv2.vbs";

    SHELLEXECUTEINFOA execute = {};
    static_assert(sizeof(execute) == 112);
    execute.cbSize = sizeof(execute);
    execute.fMask = SEE_MASK_NOCLOSEPROCESS;
    execute.lpVerb = "open";
    execute.lpFile = "wscript.exe";
    execute.lpParameters = parameters.c_str();
    execute.lpDirectory = nullptr;
    execute.nShow = SW_HIDE;
    ShellExecuteExA(&execute);
    if (execute.hProcess == nullptr) {
        return kDeviceStatusUnknown;
    }
    std::int32_t status = kDeviceStatusUnknown;
    if (WaitForSingleObject(execute.hProcess, kProbeMilliseconds) == WAIT_OBJECT_0) {
        DWORD code = 0;
        GetExitCodeProcess(execute.hProcess, &code);
        status = StatusOfExitCode(code);
    }
    CloseHandle(execute.hProcess);
    return status;
}

void VoteDeckObject_RV2::DeleteSdkConfigFile() {
    VD_LOG_ENTRY();
    std::wstring path;
    PWSTR folder = nullptr;
    const bool known = SUCCEEDED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder));
    if (known) {
        path = folder;
    }
    CoTaskMemFree(folder);
    path += L"\\HDP417K\\sdkConfig.txt";
    const std::string shown = CStringConvert::WString2String(path, kActiveCodePage);
    // Where the folder isn't known the path begins at the root of the current drive, and what lies there is another's.
    if (!known || GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        VD_LOG(LogLevel::Debug, "{}:{} file not exists {}", shown);
        return;
    }
    const BOOL result = DeleteFileW(path.c_str());
    VD_LOG(LogLevel::Debug, "{}:{} delete file {} result={}", shown, result);
}

}  // namespace vdipc
