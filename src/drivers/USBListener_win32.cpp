#include "drivers/USBListener.h"

#include <windows.h>

#include <dbt.h>

extern "C" {  // MinGW's header says nothing of the language
#include <hidsdi.h>
}

namespace vdipc {
namespace {

constexpr const wchar_t* kWindowClass = L"USBWin2";
constexpr const wchar_t* kWindowTitle = L"The Hello Program";

HDEVNOTIFY RegisterForHidInterfaces(HWND window) {
    GUID hid_interfaces = {};
    HidD_GetHidGuid(&hid_interfaces);
    DEV_BROADCAST_DEVICEINTERFACE_W filter = {};
    static_assert(sizeof(filter) == 32);
    filter.dbcc_size = sizeof(filter);
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    filter.dbcc_classguid = hid_interfaces;
    return RegisterDeviceNotificationW(window, &filter, DEVICE_NOTIFY_WINDOW_HANDLE);
}

using Notify = void (USBListener::*)(std::int32_t device_kind, const std::wstring& name);

void NotifyOfDevice(Notify notify, LPARAM lParam) {
    if (lParam == 0) {
        return;
    }
    USBListener& listener = USBListener::GetInstance();
    const auto* header = reinterpret_cast<const DEV_BROADCAST_HDR*>(lParam);
    if (header->dbch_devicetype == DBT_DEVTYP_DEVICEINTERFACE) {
        const auto* device = reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W*>(lParam);
        (listener.*notify)(kDeviceKindInterface, device->dbcc_name);
    } else if (header->dbch_devicetype == DBT_DEVTYP_PORT) {
        const auto* port = reinterpret_cast<const DEV_BROADCAST_PORT_W*>(lParam);
        (listener.*notify)(kDeviceKindPort, port->dbcp_name);
    }
}

void OnDeviceChange(WPARAM wParam, LPARAM lParam) {
    switch (wParam) {
    case DBT_DEVNODES_CHANGED:
        USBListener::GetInstance().NotifyNodesChanged();
        break;
    case DBT_DEVICEARRIVAL:
        NotifyOfDevice(&USBListener::NotifyArrival, lParam);
        break;
    case DBT_DEVICEREMOVECOMPLETE:
        NotifyOfDevice(&USBListener::NotifyRemoved, lParam);
        break;
    default:
        break;
    }
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_CREATE:
        USBListener::GetInstance().notification_ = RegisterForHidInterfaces(window);
        return 0;
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    case WM_PAINT:
        return 0;
    case WM_CLOSE:
        if (USBListener::GetInstance().notification_ != nullptr) {
            UnregisterDeviceNotification(USBListener::GetInstance().notification_);
        }
        DestroyWindow(window);
        return 0;
    case WM_DEVICECHANGE:
        OnDeviceChange(wParam, lParam);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

}  // namespace

std::uint32_t USBListener::RunMessageLoop() {
    WNDCLASSW window_class = {};
    window_class.style = CS_VREDRAW | CS_HREDRAW;
    window_class.lpfnWndProc = &WindowProcedure;
    window_class.cbClsExtra = 0;
    window_class.cbWndExtra = 0;
    window_class.hInstance = nullptr;
    window_class.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
    window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    window_class.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    window_class.lpszMenuName = nullptr;
    window_class.lpszClassName = kWindowClass;
    if (RegisterClassW(&window_class) == 0) {
        MessageBoxW(nullptr, L"This program requires Windows NT!", kWindowClass, MB_ICONERROR);
        return 0;
    }
    window_ =
        CreateWindowExW(0, kWindowClass, kWindowTitle, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                        CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    ShowWindow(static_cast<HWND>(window_), SW_HIDE);
    UpdateWindow(static_cast<HWND>(window_));
    MSG message = {};
    while (GetMessageW(&message, nullptr, 0, 0) != 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return static_cast<std::uint32_t>(message.wParam);
}

}  // namespace vdipc
