#include "common/Clock.h"

#include <windows.h>

namespace vdipc {

LocalTime GetLocalTimeNow() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    LocalTime time;
    time.year = now.wYear;
    time.month = now.wMonth;
    time.day = now.wDay;
    time.hour = now.wHour;
    time.minute = now.wMinute;
    time.second = now.wSecond;
    time.milliseconds = now.wMilliseconds;
    return time;
}

std::uint32_t GetTickCountNow() {
    return GetTickCount();
}

std::uint32_t GetThreadNumber() {
    return GetCurrentThreadId();
}

void SleepMilliseconds(std::uint32_t milliseconds) {
    Sleep(milliseconds);
}

std::uint32_t GetProcessorCount() {
    SYSTEM_INFO info = {};
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors;
}

}  // namespace vdipc
