// The hidden window, on the real system calls.
#include "support/ImportHook_win32.h"
#include "unit/drivers/support/ChildProgram_win32.h"
#include "unit/drivers/support/ListenerMock.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <windows.h>

#include <dbt.h>

extern "C" {  // MinGW's header says nothing of the language
#include <hidsdi.h>
}

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>

// Calls of the system go through the program's import table, where a test can put itself in between.
extern "C" {
extern void* __imp_RegisterDeviceNotificationW;
extern void* __imp_UnregisterDeviceNotification;
extern void* __imp_MessageBoxW;
extern void* __imp_CreateWindowExW;
extern void* __imp_ShowWindow;
extern void* __imp_UpdateWindow;
extern void* __imp_GetMessageW;
extern void* __imp_TranslateMessage;
extern void* __imp_DispatchMessageW;
extern void* __imp_DefWindowProcW;
extern void* __imp_BeginPaint;
extern void* __imp_EndPaint;
extern void* __imp_ValidateRect;
extern void* __imp_malloc;
}

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

/// Looks again and again until the condition holds; false when it didn't in time.
bool WaitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// The window of this process whose class and title these are, as soon as it is there.
HWND WaitForWindow(const wchar_t* window_class, const wchar_t* title) {
    HWND window = nullptr;
    WaitFor([&] { return (window = FindOwnWindow(window_class, title)) != nullptr; });
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

/// What the system was asked for. Written on the message thread, and read once that has answered a message since.
struct Asked {
    int registrations = 0;
    HANDLE recipient = nullptr;
    DEV_BROADCAST_DEVICEINTERFACE_W filter = {};
    DWORD flags = 99;
    bool registration_fails = false;
    HDEVNOTIFY registration = nullptr;
    int endings = 0;
    HDEVNOTIFY ended = nullptr;
    bool window_existed = false;
    UINT box_type = 0;
} g_asked;
decltype(&RegisterDeviceNotificationW) g_register = nullptr;
decltype(&UnregisterDeviceNotification) g_unregister = nullptr;
decltype(&MessageBoxW) g_message_box = nullptr;

HDEVNOTIFY WINAPI NoteRegistration(HANDLE recipient, LPVOID filter, DWORD flags) {
    ++g_asked.registrations;
    g_asked.recipient = recipient;
    std::memcpy(&g_asked.filter, filter, sizeof(g_asked.filter));
    g_asked.flags = flags;
    g_asked.registration = g_asked.registration_fails ? nullptr : g_register(recipient, filter, flags);
    return g_asked.registration;
}

BOOL WINAPI NoteEnding(HDEVNOTIFY registration) {
    ++g_asked.endings;
    g_asked.ended = registration;
    g_asked.window_existed = IsWindow(static_cast<HWND>(g_asked.recipient)) != FALSE;
    return g_unregister(registration);
}

int WINAPI NoteBox(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
    g_asked.box_type = type;
    return g_message_box(owner, text, caption, type);
}

/// Closes the window, and waits for the end of the message thread. Line of the requirement that failed, or 0.
int CloseAndJoin(HWND window) {
    CHILD_REQUIRE(SendMessageW(window, WM_CLOSE, 0, 0) == 0);
    CHILD_REQUIRE(!IsWindow(window));
    USBListenerAccess::Thread(USBListener::GetInstance()).join();
    return 0;
}

const ChildJob g_close("close", [] {
    const ImportHook registration(&__imp_RegisterDeviceNotificationW, &NoteRegistration, &g_register);
    const ImportHook ending(&__imp_UnregisterDeviceNotification, &NoteEnding, &g_unregister);
    USBListener& listener = USBListener::GetInstance();
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    CHILD_REQUIRE(SendMessageW(window, WM_NULL, 0, 0) == 0);
    CHILD_REQUIRE(g_asked.registrations == 1 && g_asked.endings == 0);
    CHILD_REQUIRE(g_asked.recipient == window && g_asked.flags == 0);
    GUID hid_interfaces = {};
    HidD_GetHidGuid(&hid_interfaces);
    DEV_BROADCAST_DEVICEINTERFACE_W filter = {};
    filter.dbcc_size = 32;
    filter.dbcc_devicetype = 5;
    filter.dbcc_classguid = hid_interfaces;
    CHILD_REQUIRE(std::memcmp(&g_asked.filter, &filter, sizeof(filter)) == 0);
    CHILD_REQUIRE(g_asked.registration != nullptr && listener.notification_ == g_asked.registration);
    if (const int line = CloseAndJoin(window)) {
        return line;
    }
    CHILD_REQUIRE(g_asked.endings == 1 && g_asked.ended == g_asked.registration);
    CHILD_REQUIRE(g_asked.window_existed);
    return 0;
});

const ChildJob g_registration_fails("registration fails", [] {
    const ImportHook registration(&__imp_RegisterDeviceNotificationW, &NoteRegistration, &g_register);
    const ImportHook ending(&__imp_UnregisterDeviceNotification, &NoteEnding, &g_unregister);
    g_asked.registration_fails = true;
    USBListener& listener = USBListener::GetInstance();
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    testing::NiceMock<MockDeviceChangedListener> hearer;
    std::atomic<int> heard{0};
    ON_CALL(hearer, OnDeviceNodesChanged).WillByDefault([&heard] { ++heard; });
    listener.AddListener(&hearer);
    CHILD_REQUIRE(SendMessageW(window, WM_DEVICECHANGE, 7, 0) == 0);
    CHILD_REQUIRE(heard == 1);
    CHILD_REQUIRE(g_asked.registrations == 1 && listener.notification_ == nullptr);
    if (const int line = CloseAndJoin(window)) {
        return line;
    }
    CHILD_REQUIRE(g_asked.endings == 0);
    return 0;
});

// What the window is made with, and what is done with it before the loop. Noted on the message thread, and read once the
// last of it is over.
struct Made {
    std::atomic<bool> over{false};
    std::vector<std::string> calls;
    std::wstring title;
    bool as_it_should_be = false;
} g_made;
decltype(&CreateWindowExW) g_create_window = nullptr;
decltype(&ShowWindow) g_show_window = nullptr;
decltype(&UpdateWindow) g_update_window = nullptr;

HWND WINAPI NoteCreation(DWORD extended_style, LPCWSTR window_class, LPCWSTR title, DWORD style, int x, int y,
                         int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                         LPVOID parameter) {
    // Others on the thread, the system's own among them, may make windows too.
    if (std::wstring(L"USBWin2") == window_class) {
        g_made.calls.emplace_back("create");
        g_made.title = title;
        g_made.as_it_should_be = extended_style == 0 && style == 0xCF0000 && x == CW_USEDEFAULT &&
                                 y == CW_USEDEFAULT && width == CW_USEDEFAULT && height == CW_USEDEFAULT &&
                                 parent == nullptr && menu == nullptr &&
                                 instance == GetModuleHandleW(nullptr) && parameter == nullptr;
    }
    return g_create_window(extended_style, window_class, title, style, x, y, width, height, parent, menu,
                           instance, parameter);
}

BOOL WINAPI NoteShow(HWND window, int command) {
    g_made.calls.push_back("show " + std::to_string(command));
    return g_show_window(window, command);
}

BOOL WINAPI NoteUpdate(HWND window) {
    g_made.calls.emplace_back("update");
    const BOOL result = g_update_window(window);
    g_made.over = true;
    return result;
}

const ChildJob g_window_arguments("window arguments", [] {
    const ImportHook create(&__imp_CreateWindowExW, &NoteCreation, &g_create_window);
    const ImportHook show(&__imp_ShowWindow, &NoteShow, &g_show_window);
    const ImportHook update(&__imp_UpdateWindow, &NoteUpdate, &g_update_window);
    USBListener::GetInstance();
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    CHILD_REQUIRE(WaitFor([] { return g_made.over.load(); }));
    CHILD_REQUIRE((g_made.calls == std::vector<std::string>{"create", "show 0", "update"}));
    CHILD_REQUIRE(g_made.title == L"The Hello Program");
    CHILD_REQUIRE(g_made.as_it_should_be);
    return 0;
});

// A loop whose first message is a failure.
std::atomic<int> g_messages_asked{0};
std::atomic<int> g_messages_handled{0};
std::atomic<bool> g_messages_filtered{false};
decltype(&GetMessageW) g_get_message = nullptr;
decltype(&TranslateMessage) g_translate_message = nullptr;
decltype(&DispatchMessageW) g_dispatch_message = nullptr;

BOOL WINAPI FailFirstMessage(LPMSG message, HWND window, UINT first, UINT last) {
    if (window != nullptr || first != 0 || last != 0) {
        g_messages_filtered = true;
    }
    return ++g_messages_asked == 1 ? -1 : g_get_message(message, window, first, last);
}

BOOL WINAPI NoteTranslation(const MSG* message) {
    ++g_messages_handled;
    return g_translate_message(message);
}

LRESULT WINAPI NoteDispatch(const MSG* message) {
    ++g_messages_handled;
    return g_dispatch_message(message);
}

const ChildJob g_failed_message("failed message", [] {
    const ImportHook get(&__imp_GetMessageW, &FailFirstMessage, &g_get_message);
    const ImportHook translate(&__imp_TranslateMessage, &NoteTranslation, &g_translate_message);
    const ImportHook dispatch(&__imp_DispatchMessageW, &NoteDispatch, &g_dispatch_message);
    USBListener::GetInstance();
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    // The loop asks again, and has handled the failure as it handles any message.
    CHILD_REQUIRE(WaitFor([] { return g_messages_asked >= 2; }));
    CHILD_REQUIRE(g_messages_handled >= 2 && !g_messages_filtered);
    CHILD_REQUIRE(SendMessageW(window, WM_DEVICECHANGE, 7, 0) == 0);
    CHILD_REQUIRE(IsWindow(window));
    return CloseAndJoin(window);
});

// Calls in which a window could be painted.
std::atomic<int> g_paint_calls{0};
decltype(&DefWindowProcW) g_default_procedure = nullptr;
decltype(&BeginPaint) g_begin_paint = nullptr;
decltype(&EndPaint) g_end_paint = nullptr;
decltype(&ValidateRect) g_validate = nullptr;

LRESULT WINAPI NoteDefault(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_PAINT) {
        ++g_paint_calls;
    }
    return g_default_procedure(window, message, wParam, lParam);
}

HDC WINAPI NoteBegin(HWND window, LPPAINTSTRUCT paint) {
    ++g_paint_calls;
    return g_begin_paint(window, paint);
}

BOOL WINAPI NoteEnd(HWND window, const PAINTSTRUCT* paint) {
    ++g_paint_calls;
    return g_end_paint(window, paint);
}

BOOL WINAPI NoteValidation(HWND window, const RECT* rectangle) {
    ++g_paint_calls;
    return g_validate(window, rectangle);
}

const ChildJob g_paint("paint", [] {
    const ImportHook by_default(&__imp_DefWindowProcW, &NoteDefault, &g_default_procedure);
    const ImportHook begin(&__imp_BeginPaint, &NoteBegin, &g_begin_paint);
    const ImportHook end(&__imp_EndPaint, &NoteEnd, &g_end_paint);
    const ImportHook validation(&__imp_ValidateRect, &NoteValidation, &g_validate);
    USBListener::GetInstance();
    const HWND window = WaitForWindow(L"USBWin2", L"The Hello Program");
    CHILD_REQUIRE(window != nullptr);
    CHILD_REQUIRE(SendMessageW(window, WM_PAINT, 0, 0) == 0);
    CHILD_REQUIRE(g_paint_calls == 0);
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
    const ImportHook message_box(&__imp_MessageBoxW, &NoteBox, &g_message_box);
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
    CHILD_REQUIRE(g_asked.box_type == 16);
    CHILD_REQUIRE(FindOwnWindow(L"USBWin2", nullptr) == nullptr);
    // The object stays, and its list with it.
    testing::NiceMock<MockDeviceChangedListener> late;
    listener.AddListener(&late);
    CHILD_REQUIRE(USBListenerAccess::IsListed(&late));
    return 0;
});

// Two first calls. The making of the object lasts until a second one is made, or none is in a while, and the second call
// comes meanwhile.
std::atomic<int> g_objects_made{0};
std::promise<void> g_first_begun;
std::promise<void> g_second_begun;
decltype(&std::malloc) g_malloc = nullptr;

void* MakeFirstLast(std::size_t size) {
    if (size == sizeof(USBListener)) {
        switch (++g_objects_made) {
        case 1:
            g_first_begun.set_value();
            g_second_begun.get_future().wait_for(std::chrono::milliseconds(300));
            break;
        case 2:
            g_second_begun.set_value();
            break;
        default:
            break;
        }
    }
    return g_malloc(size);
}

const ChildJob g_two_first_calls("two first calls", [] {
    const ImportHook allocation(&__imp_malloc, &MakeFirstLast, &g_malloc);
    auto first = std::async(std::launch::async, [] { return &USBListener::GetInstance(); });
    CHILD_REQUIRE(g_first_begun.get_future().wait_for(kPatience) == std::future_status::ready);
    auto second = std::async(std::launch::async, [] { return &USBListener::GetInstance(); });
    USBListener* const object = first.get();
    CHILD_REQUIRE(second.get() == object);
    CHILD_REQUIRE(&USBListener::GetInstance() == object);
    return 0;
});

TEST(USBWindow, CreateAndClose_RegisterForHidInterfacesAndEndRegistrationThenWindowThenLoop) {
    EXPECT_EQ(RunChildJob("close"), 0u);
}

TEST(USBWindow, RegistrationFails_NodesChangedStillComesAndNothingIsUnregistered) {
    EXPECT_EQ(RunChildJob("registration fails"), 0u);
}

TEST(USBWindow, GetInstance_SecondFirstCallWhileTheObjectIsMade_GetsTheSameOne) {
    EXPECT_EQ(RunChildJob("two first calls"), 0u);
}

TEST(USBWindow, Creation_HasExactlyTheseArgumentsAndTheWindowIsHiddenAndUpdated) {
    EXPECT_EQ(RunChildJob("window arguments"), 0u);
}

TEST(USBWindow, Loop_MessageThatFails_GoesOn) {
    EXPECT_EQ(RunChildJob("failed message"), 0u);
}

TEST(USBWindow, Paint_CallsNothing) {
    EXPECT_EQ(RunChildJob("paint"), 0u);
}

TEST(USBWindow, Loop_ReturnsTheParameterOfTheQuitMessage) {
    EXPECT_EQ(RunChildJob("loop result"), 0u);
}

TEST(USBWindow, ClassAlreadyRegistered_ShowsTheMessageBoxAndEndsTheThread) {
    EXPECT_EQ(RunChildJob("class taken"), 0u);
}

}  // namespace
}  // namespace vdipc::test
