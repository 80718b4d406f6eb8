// What a host and the client that measures it share besides the pipe: who presses, and when the library has been asked.
#pragma once

#include <cstdint>

#include <windows.h>

namespace vdipc::bench::floor {

enum class Order : std::int32_t { None, Press, Arrive, End };

/// In memory that both processes see. One order at a time.
struct Orders {
    Order order;
    std::uint32_t first;           // number of a keypad
    std::uint32_t count;           // keypads from `first` on
    std::int64_t begun;            // performance counter when the order was taken
    volatile LONG contexts;        // calls of SetContext since it was set to 0
    volatile LONG contexts_due;    // signals `asked` when `contexts` comes to it
    volatile LONG64 contexts_end;  // performance counter at that moment
};

/// The shared memory and the two events that go with it; made by whoever comes first.
class Signals {
public:
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

    Orders& orders() { return *orders_; }
    void Give(Order order, std::uint32_t first, std::uint32_t count);
    /// Waits for the next order.
    void Take();
    void SayAsked() { SetEvent(asked_); }
    bool WaitUntilAsked(DWORD milliseconds) {
        return WaitForSingleObject(asked_, milliseconds) == WAIT_OBJECT_0;
    }

private:
    HANDLE memory_ = nullptr;
    HANDLE given_ = nullptr;
    HANDLE asked_ = nullptr;
    Orders* orders_ = nullptr;
};

inline std::int64_t Now() {
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

}  // namespace vdipc::bench::floor
