// The hidden window, on the real system calls.
#include "unit/drivers/support/ChildProgram_win32.h"
#include "unit/drivers/support/ListenerMock.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <windows.h>

#include <dbt.h>

#include <cstring>
#include <future>

namespace vdipc::test {
namespace {

using testing::_;
using testing::InSequence;

constexpr std::chrono::seconds kPatience{30};

HWND FindOwnWindow(const wchar_t* window_class, const wchar_t* title) {
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, window_class, title)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId()) {
            return window;
        }
    }
    return nullptr;
}

/// The window of this process whose class and title these are, as soon as it is there.
HWND WaitForWindow(const wchar_t* window_class, const wchar_t* title) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    HWND window = FindOwnWindow(window_class, title);
    while (window == nullptr && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        window = FindOwnWindow(window_class, title);
    }
    return window;
}

/// A notice with a name, as Windows lays it out.
class Notice {
public:
    Notice(DWORD device_type, std::size_t name_offset, const std::wstring& name)
        : bytes_(name_offset + (name.size() + 1) * sizeof(wchar_t)) {
        DEV_BROADCAST_HDR header = {};
        header.dbch_size = static_cast<DWORD>(bytes_.size());
        header.dbch_devicetype = device_type;
        std::memcpy(bytes_.data(), &header, sizeof(header));
        std::memcpy(bytes_.data() + name_offset, name.c_str(), (name.size() + 1) * sizeof(wchar_t));
    }
    static Notice Interface(const std::wstring& path) {
        return {DBT_DEVTYP_DEVICEINTERFACE, offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name), path};
    }
    static Notice Port(const std::wstring& name) {
        return {DBT_DEVTYP_PORT, offsetof(DEV_BROADCAST_PORT_W, dbcp_name), name};
    }
    LPARAM Parameter() const { return reinterpret_cast<LPARAM>(bytes_.data()); }

private:
    std::vector<std::uint8_t> bytes_;
};

class USBWindowTest : public testing::Test {
protected:
    USBWindowTest() {
        USBListener::GetInstance();
        window_ = WaitForWindow(L"USBWin2", L"The Hello Program");
    }
    ~USBWindowTest() override {
        for (auto* listener : {&first_, &second_}) {
            USBListener::GetInstance().RemoveListener(listener);
        }
    }
    void SetUp() override { ASSERT_NE(window_, nullptr); }
    void Listen() {
        USBListener::GetInstance().AddListener(&first_);
        USBListener::GetInstance().AddListener(&second_);
    }
    LRESULT Change(WPARAM event, LPARAM parameter) {
        return SendMessageW(window_, WM_DEVICECHANGE, event, parameter);
    }

    HWND window_ = nullptr;
    testing::StrictMock<MockDeviceChangedListener> first_;
    testing::StrictMock<MockDeviceChangedListener> second_;
    const std::wstring path_ =
        L"\\\\?\\HID#VID_0001&PID_0002#7&1&0&0000#{4d1e55b2-f16f-11cf-88cb-001111000030}";
};

TEST_F(USBWindowTest, WindowClass_HasTheExactValues) {
    WNDCLASSW found = {};
    ASSERT_TRUE(GetClassInfoW(GetModuleHandleW(nullptr), L"USBWin2", &found));
    EXPECT_EQ(found.style, 3u);
    EXPECT_NE(found.lpfnWndProc, nullptr);
    EXPECT_EQ(found.cbClsExtra, 0);
    EXPECT_EQ(found.cbWndExtra, 0);
    EXPECT_EQ(found.hIcon, LoadIconW(nullptr, MAKEINTRESOURCEW(32512)));
    EXPECT_EQ(found.hCursor, LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)));
    EXPECT_EQ(found.hbrBackground, GetSysColorBrush(15));
    EXPECT_EQ(found.lpszMenuName, nullptr);
}

TEST_F(USBWindowTest, Window_IsAHiddenTopLevelWindow) {
    EXPECT_EQ(GetWindowLongPtrW(window_, GWL_STYLE) & 0xCF0000, 0xCF0000);
    EXPECT_EQ(GetWindowLongPtrW(window_, GWL_STYLE) & (WS_CHILD | WS_POPUP | WS_VISIBLE), 0);
    EXPECT_EQ(GetParent(window_), nullptr);
    EXPECT_EQ(GetMenu(window_), nullptr);
    EXPECT_FALSE(IsWindowVisible(window_));
    EXPECT_EQ(reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(window_, GWLP_HINSTANCE)),
              GetModuleHandleW(nullptr));
    DWORD process = 0;
    EXPECT_NE(GetWindowThreadProcessId(window_, &process), GetCurrentThreadId());
    EXPECT_EQ(process, GetCurrentProcessId());
}

TEST_F(USBWindowTest, Create_RegistersForHidInterfacesAndKeepsTheHandles) {
    SendMessageW(window_, WM_NULL, 0, 0);
    EXPECT_NE(USBListener::GetInstance().notification_, nullptr);
    EXPECT_EQ(USBListener::GetInstance().window_, window_);
}

TEST_F(USBWindowTest, NodesChanged_ReachesEveryListenerOnTheMessageThread) {
    Listen();
    const DWORD message_thread = GetWindowThreadProcessId(window_, nullptr);
    InSequence order;
    EXPECT_CALL(first_, OnDeviceNodesChanged()).WillOnce([&] {
        EXPECT_EQ(GetCurrentThreadId(), message_thread);
    });
    EXPECT_CALL(second_, OnDeviceNodesChanged()).WillOnce([&] {
        EXPECT_EQ(GetCurrentThreadId(), message_thread);
    });
    EXPECT_EQ(Change(7, 0), 0);
}

TEST_F(USBWindowTest, Arrival_OfAHidDevice_ReachesEveryListenerWithKind0AndTheFullPath) {
    Listen();
    EXPECT_CALL(first_, OnDeviceArrival(0, path_));
    EXPECT_CALL(second_, OnDeviceArrival(0, path_));
    EXPECT_EQ(Change(0x8000, Notice::Interface(path_).Parameter()), 0);
}

TEST_F(USBWindowTest, Arrival_OfAPort_ReachesEveryListenerWithKind1AndThePortName) {
    Listen();
    EXPECT_CALL(first_, OnDeviceArrival(1, std::wstring(L"COM11")));
    EXPECT_CALL(second_, OnDeviceArrival(1, std::wstring(L"COM11")));
    EXPECT_EQ(Change(0x8000, Notice::Port(L"COM11").Parameter()), 0);
}

TEST_F(USBWindowTest, Removal_OfDeviceAndPort_ReachesEveryListener) {
    Listen();
    EXPECT_CALL(first_, OnDeviceRemoved(0, path_));
    EXPECT_CALL(second_, OnDeviceRemoved(0, path_));
    EXPECT_EQ(Change(0x8004, Notice::Interface(path_).Parameter()), 0);
    EXPECT_CALL(first_, OnDeviceRemoved(1, std::wstring(L"COM3")));
    EXPECT_CALL(second_, OnDeviceRemoved(1, std::wstring(L"COM3")));
    EXPECT_EQ(Change(0x8004, Notice::Port(L"COM3").Parameter()), 0);
}

TEST_F(USBWindowTest, Arrival_OfAVolumeOrAnyOtherType_ReachesNoListener) {
    Listen();
    for (const DWORD type : {0u, 1u, 2u, 4u, 6u}) {
        const Notice notice(type, sizeof(DEV_BROADCAST_VOLUME), L"");
        EXPECT_EQ(Change(0x8000, notice.Parameter()), 0) << type;
        EXPECT_EQ(Change(0x8004, notice.Parameter()), 0) << type;
    }
}

TEST_F(USBWindowTest, ArrivalAndRemoval_NullParameter_DoNothing) {
    Listen();
    EXPECT_EQ(Change(0x8000, 0), 0);
    EXPECT_EQ(Change(0x8004, 0), 0);
}

TEST_F(USBWindowTest, AnyOtherDeviceChange_DoesNothing) {
    Listen();
    const Notice notice = Notice::Interface(path_);
    for (const WPARAM event : {0x8001u, 0x8002u, 0x8003u, 0x8005u, 0x8006u, 0x0018u, 0u}) {
        EXPECT_EQ(Change(event, notice.Parameter()), 0) << event;
    }
}

TEST_F(USBWindowTest, EmptyList_AllNoticesAreAnsweredWith0) {
    const Notice notice = Notice::Interface(path_);
    const Notice port = Notice::Port(L"COM1");
    EXPECT_EQ(Change(7, 0), 0);
    EXPECT_EQ(Change(0x8000, notice.Parameter()), 0);
    EXPECT_EQ(Change(0x8004, notice.Parameter()), 0);
    EXPECT_EQ(Change(0x8000, port.Parameter()), 0);
    EXPECT_EQ(Change(0x8004, port.Parameter()), 0);
}

TEST_F(USBWindowTest, Paint_IsAnsweredWith0AndOtherMessagesByTheSystem) {
    EXPECT_EQ(SendMessageW(window_, WM_PAINT, 0, 0), 0);
    wchar_t title[64] = {};
    EXPECT_EQ(SendMessageW(window_, WM_GETTEXT, 64, reinterpret_cast<LPARAM>(title)), 17);
    EXPECT_STREQ(title, L"The Hello Program");
}

// Each of the jobs needs the window class, or the one object, for itself. The result names the line that failed.
#define CHILD_REQUIRE(condition)                                                                             \
    if (!(condition)) {                                                                                      \
        return __LINE__;                                                                                     \
    }

const ChildJob g_close("close", [] {
    USBListener& listener = USBListener::GetInstance();
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    CHILD_REQUIRE(SendMessageW(window, WM_CLOSE, 0, 0) == 0);
    CHILD_REQUIRE(!IsWindow(window));
    USBListenerAccess::Thread(listener).join();
    return 0;
});

// The same loop on a thread of the job's own, for its result.
const ChildJob g_loop_result("loop result", [] {
    USBListener& listener = USBListener::GetInstance();
    CHILD_REQUIRE(SendMessageW(WaitForWindow(L"USBWin2", nullptr), WM_CLOSE, 0, 0) == 0);
    USBListenerAccess::Thread(listener).join();
    CHILD_REQUIRE(UnregisterClassW(L"USBWin2", GetModuleHandleW(nullptr)));
    auto result = std::async(std::launch::async, [&listener] { return listener.RunMessageLoop(); });
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    CHILD_REQUIRE(PostThreadMessageW(GetWindowThreadProcessId(window, nullptr), WM_QUIT, 33, 0));
    CHILD_REQUIRE(result.wait_for(kPatience) == std::future_status::ready);
    CHILD_REQUIRE(result.get() == 33);
    return 0;
});

const ChildJob g_class_taken("class taken", [] {
    WNDCLASSW taken = {};
    taken.lpfnWndProc = &DefWindowProcW;
    taken.lpszClassName = L"USBWin2";
    CHILD_REQUIRE(RegisterClassW(&taken) != 0);
    USBListener& listener = USBListener::GetInstance();
    const HWND box = WaitForWindow(L"#32770", L"USBWin2");
    CHILD_REQUIRE(box != nullptr);
    CHILD_REQUIRE(GetWindowThreadProcessId(box, nullptr) != GetCurrentThreadId());
    CHILD_REQUIRE(GetWindow(box, GW_OWNER) == nullptr);
    bool shows_text = false;
    for (HWND part = GetWindow(box, GW_CHILD); part != nullptr; part = GetWindow(part, GW_HWNDNEXT)) {
        wchar_t text[128] = {};
        SendMessageW(part, WM_GETTEXT, 128, reinterpret_cast<LPARAM>(text));
        shows_text = shows_text || std::wstring(text) == L"This program requires Windows NT!";
    }
    CHILD_REQUIRE(shows_text);
    CHILD_REQUIRE(PostMessageW(box, WM_COMMAND, IDOK, 0));
    USBListenerAccess::Thread(listener).join();
    CHILD_REQUIRE(FindOwnWindow(L"USBWin2", nullptr) == nullptr);
    // The object stays, and its list with it.
    testing::NiceMock<MockDeviceChangedListener> late;
    listener.AddListener(&late);
    CHILD_REQUIRE(USBListenerAccess::IsListed(&late));
    return 0;
});

TEST(USBWindow, Close_EndsRegistrationWindowAndLoop) {
    EXPECT_EQ(RunChildJob("close"), 0u);
}

TEST(USBWindow, Loop_ReturnsTheParameterOfTheQuitMessage) {
    EXPECT_EQ(RunChildJob("loop result"), 0u);
}

TEST(USBWindow, ClassAlreadyRegistered_ShowsTheMessageBoxAndEndsTheThread) {
    EXPECT_EQ(RunChildJob("class taken"), 0u);
}

}  // namespace
}  // namespace vdipc::test
