// The system calls under the platform's seam: what they are given, and what becomes of a refusal.
#include "common/Guid.h"
#include "common/Mutex.h"
#include "common/Timer.h"
#include "support/ImportHook_win32.h"
#include "support/Signal.h"

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

extern "C" {
extern void* __imp_CoCreateGuid;
extern void* __imp_CreateTimerQueueTimer;
extern void* __imp_DeleteTimerQueueTimer;
extern void* __imp_WakeConditionVariable;
}

namespace vdipc {
namespace {

using test::ImportHook;

HRESULT WINAPI RefuseGuid(GUID*) {
    return E_FAIL;
}

TEST(Guid, SystemThatGivesNone_MakesItZero) {
    const ImportHook hook(&__imp_CoCreateGuid, &RefuseGuid, static_cast<decltype(&RefuseGuid)*>(nullptr));
    const Guid guid = CreateGuid();
    const Guid zero;
    EXPECT_EQ(std::memcmp(&guid, &zero, sizeof guid), 0);
}

using CreateTimerFunction = BOOL(WINAPI*)(PHANDLE, HANDLE, WAITORTIMERCALLBACK, PVOID, DWORD, DWORD, ULONG);
using DeleteTimerFunction = BOOL(WINAPI*)(HANDLE, HANDLE, HANDLE);

CreateTimerFunction g_create_timer = nullptr;
DeleteTimerFunction g_delete_timer = nullptr;
std::vector<std::string> g_timer_calls;
PVOID g_timer_context = nullptr;
HANDLE g_timer_made = nullptr;

BOOL WINAPI NoteCreateTimer(PHANDLE timer, HANDLE queue, WAITORTIMERCALLBACK callback, PVOID context,
                            DWORD due, DWORD period, ULONG flags) {
    const BOOL made = g_create_timer(timer, queue, callback, context, due, period, flags);
    g_timer_context = context;
    g_timer_made = *timer;
    g_timer_calls.push_back(std::string("create in ") + (queue == nullptr ? "the default queue" : "a queue") +
                            " due " + std::to_string(due) + " period " + std::to_string(period) + " flags " +
                            std::to_string(flags));
    return made;
}

BOOL WINAPI NoteDeleteTimer(HANDLE queue, HANDLE timer, HANDLE completion) {
    g_timer_calls.push_back(std::string("delete from ") +
                            (queue == nullptr ? "the default queue" : "a queue") +
                            (timer == g_timer_made ? " the timer" : " another") +
                            (completion == INVALID_HANDLE_VALUE ? " and wait" : ""));
    return g_delete_timer(queue, timer, completion);
}

TEST(Timer, SystemsTimer_IsAOneShotOf2000MillisecondsInTheDefaultQueue_AndItsDeletionWaits) {
    g_timer_calls.clear();
    const ImportHook creation(&__imp_CreateTimerQueueTimer, &NoteCreateTimer, &g_create_timer);
    const ImportHook deletion(&__imp_DeleteTimerQueueTimer, &NoteDeleteTimer, &g_delete_timer);
    Timer timer;
    ASSERT_TRUE(timer.Start([] {}));
    EXPECT_EQ(g_timer_context, &timer);
    timer.Stop();
    EXPECT_EQ(g_timer_calls,
              (std::vector<std::string>{"create in the default queue due 2000 period 0 flags 0",
                                        "delete from the default queue the timer and wait"}));
}

using WakeFunction = VOID(WINAPI*)(PCONDITION_VARIABLE);

WakeFunction g_wake = nullptr;
std::atomic<int> g_wake_calls{0};

VOID WINAPI NoteWake(PCONDITION_VARIABLE variable) {
    ++g_wake_calls;
    g_wake(variable);
}

TEST(Condition, NotifyOne_CallsTheSystemOnlyWhereSomebodyWaits) {
    struct Shared {
        Mutex mutex;
        Condition condition;
        bool waits = false;
        bool told = false;
        test::Signal woken;

        void Notify() {
            const std::lock_guard lock(mutex);
            told = waits;
            condition.NotifyOne();
        }
    };
    g_wake_calls = 0;
    const ImportHook hook(&__imp_WakeConditionVariable, &NoteWake, &g_wake);
    // The thread's too, which goes on where this fails.
    const auto shared = std::make_shared<Shared>();
    shared->Notify();
    EXPECT_EQ(g_wake_calls, 0);
    std::thread([shared] {
        const std::lock_guard lock(shared->mutex);
        while (!shared->told) {
            shared->waits = true;
            shared->condition.Wait(shared->mutex);
        }
        shared->woken.Set();
    }).detach();
    while (!shared->told) {
        std::this_thread::yield();
        shared->Notify();
    }
    ASSERT_TRUE(shared->woken.Wait());
    EXPECT_EQ(g_wake_calls, 1);
    shared->Notify();
    EXPECT_EQ(g_wake_calls, 1) << "the waiter has gone";
}

}  // namespace
}  // namespace vdipc
