// Clock, tick counter and thread number of the system.
#pragma once

#include <cstdint>

namespace vdipc {

/// Local wall clock time, broken down; month and day count from 1.
struct LocalTime {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int milliseconds = 0;
};

/// The local time now. Any thread.
LocalTime GetLocalTimeNow();

/// Milliseconds since the system started; wraps around after 49.7 days. Any thread.
std::uint32_t GetTickCountNow();

/// The system's number of the calling thread.
std::uint32_t GetThreadNumber();

/// Blocks the calling thread for a number of milliseconds.
void SleepMilliseconds(std::uint32_t milliseconds);

/// Number of processors of the machine, at least 1.
std::uint32_t GetProcessorCount();

}  // namespace vdipc
