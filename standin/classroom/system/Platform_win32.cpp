#include "classroom/system/Platform.h"

#include <windows.h>

#include <dbt.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace vdipc::classroom::platform {
namespace {

constexpr const wchar_t* kListenerWindowClass = L"USBWin2";

std::string Narrow(const wchar_t* text, int length) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

std::wstring Widen(const std::string& text, UINT code_page) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(code_page, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), size);
    return wide;
}

std::vector<HWND> ListenerWindows() {
    std::vector<HWND> windows;
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, kListenerWindowClass, nullptr)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId()) {
            windows.push_back(window);
        }
    }
    return windows;
}

/// The variable-length record behind a notice; names stand at the end of their structures.
std::vector<std::uint64_t> NoticeRecord(const UsbNotice& notice) {
    const std::wstring name = Widen(notice.name, CP_UTF8);
    const std::size_t name_bytes = (name.size() + 1) * sizeof(wchar_t);
    std::size_t size = 0;
    std::vector<std::uint64_t> record;
    const auto reserve = [&](std::size_t bytes) {
        size = bytes;
        record.assign((bytes + sizeof(std::uint64_t)) / sizeof(std::uint64_t) + 1, 0);
        return reinterpret_cast<unsigned char*>(record.data());
    };
    if (notice.type == UsbNotice::Type::Interface) {
        unsigned char* const bytes =
            reserve(offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name) + name_bytes);
        auto* const device = reinterpret_cast<DEV_BROADCAST_DEVICEINTERFACE_W*>(bytes);
        device->dbcc_size = static_cast<DWORD>(size);
        device->dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
        std::memcpy(bytes + offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name), name.c_str(), name_bytes);
    } else if (notice.type == UsbNotice::Type::Port) {
        unsigned char* const bytes = reserve(offsetof(DEV_BROADCAST_PORT_W, dbcp_name) + name_bytes);
        auto* const port = reinterpret_cast<DEV_BROADCAST_PORT_W*>(bytes);
        port->dbcp_size = static_cast<DWORD>(size);
        port->dbcp_devicetype = DBT_DEVTYP_PORT;
        std::memcpy(bytes + offsetof(DEV_BROADCAST_PORT_W, dbcp_name), name.c_str(), name_bytes);
    } else if (notice.type == UsbNotice::Type::Volume) {
        auto* const volume = reinterpret_cast<DEV_BROADCAST_VOLUME*>(reserve(sizeof(DEV_BROADCAST_VOLUME)));
        volume->dbcv_size = sizeof(DEV_BROADCAST_VOLUME);
        volume->dbcv_devicetype = DBT_DEVTYP_VOLUME;
        volume->dbcv_unitmask = 1U << 4;
    }
    return record;
}

}  // namespace

std::string Utf8FromActive(const std::string& text) {
    const std::wstring wide = Widen(text, CP_ACP);
    return Narrow(wide.data(), static_cast<int>(wide.size()));
}

std::string Utf8FromWide(const wchar_t* text) {
    return Narrow(text, static_cast<int>(std::wcslen(text)));
}

std::filesystem::path HostDirectory() {
    std::vector<wchar_t> path(32768);
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(std::wstring(path.data(), length)).parent_path();
}

std::uint32_t ThreadNumber() {
    return GetCurrentThreadId();
}

std::string Environment(const char* name) {
    const std::wstring wide_name = Widen(name, CP_UTF8);
    std::vector<wchar_t> value(32768);
    const DWORD length =
        GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    return length < value.size() ? Narrow(value.data(), static_cast<int>(length)) : std::string();
}

void StayLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&StayLoaded), &module);
}

void WriteError(const std::string& text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written,
              nullptr);
}

int SendUsbNotice(const UsbNotice& notice, std::uint32_t wait_ms) {
    // The window comes up on a thread of its own a moment after its owner asked for it.
    std::vector<HWND> windows = ListenerWindows();
    for (std::uint32_t waited = 0; windows.empty() && waited < wait_ms; waited += 10) {
        Sleep(10);
        windows = ListenerWindows();
    }
    const std::vector<std::uint64_t> record = NoticeRecord(notice);
    const LPARAM parameter = record.empty() ? 0 : reinterpret_cast<LPARAM>(record.data());
    int answered = 0;
    for (const HWND window : windows) {
        // Sent, not posted: the record is only good for as long as the call.
        DWORD_PTR result = 0;
        if (SendMessageTimeoutW(window, WM_DEVICECHANGE, notice.what, parameter, SMTO_NORMAL, 20000,
                                &result) != 0) {
            ++answered;
        }
    }
    return answered;
}

}  // namespace vdipc::classroom::platform
