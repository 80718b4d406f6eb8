#include "common/Clock.h"
#include "native/NativeSeam.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>
#include <thread>

#include <unistd.h>

namespace vdipc {
namespace {

std::mutex g_clock_mutex;
std::optional<LocalTime> g_time;
std::optional<std::uint32_t> g_processors;
std::atomic<std::uint32_t> g_longest_sleep{0xFFFFFFFFu};
thread_local std::optional<std::uint32_t> t_thread_number;

}  // namespace

LocalTime GetLocalTimeNow() {
    {
        std::lock_guard lock(g_clock_mutex);
        if (g_time) {
            return *g_time;
        }
    }
    std::timespec now = {};
    std::timespec_get(&now, TIME_UTC);
    std::tm local = {};
    localtime_r(&now.tv_sec, &local);
    LocalTime time;
    time.year = local.tm_year + 1900;
    time.month = local.tm_mon + 1;
    time.day = local.tm_mday;
    time.hour = local.tm_hour;
    time.minute = local.tm_min;
    time.second = local.tm_sec;
    time.milliseconds = static_cast<int>(now.tv_nsec / 1000000);
    return time;
}

std::uint32_t GetTickCountNow() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

std::uint32_t GetThreadNumber() {
    return t_thread_number.value_or(static_cast<std::uint32_t>(gettid()));
}

void SleepMilliseconds(std::uint32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(milliseconds, g_longest_sleep.load())));
}

std::uint32_t GetProcessorCount() {
    std::lock_guard lock(g_clock_mutex);
    return g_processors.value_or(std::max(1u, std::thread::hardware_concurrency()));
}

namespace test {

void SetNativeLocalTime(std::optional<LocalTime> time) {
    std::lock_guard lock(g_clock_mutex);
    g_time = time;
}

void SetNativeLongestSleep(std::uint32_t milliseconds) {
    g_longest_sleep = milliseconds;
}

void SetNativeProcessorCount(std::optional<std::uint32_t> count) {
    std::lock_guard lock(g_clock_mutex);
    g_processors = count;
}

void SetNativeThreadNumber(std::optional<std::uint32_t> number) {
    t_thread_number = number;
}

}  // namespace test
}  // namespace vdipc
