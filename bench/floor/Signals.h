// What a host and the client that measures it share besides the pipe: who presses, and when the library has been asked.
//
// Orders are looked for in shared memory every millisecond, and nothing signals them: so the measurement makes no request
// of its own to Wine's server, which sleeping doesn't ask either, and a client that gave an order waits for the event when
// the key is pressed, as it does in a lesson.
#pragma once

#include <cstdint>

#include <windows.h>

namespace vdipc::bench::floor {

enum class Order : std::int32_t { Nothing, Press, Arrive, End };

/// `count` keypads from number `first` on.
struct Task {
    Order order;
    std::uint32_t first;
    std::uint32_t count;
};

/// In memory that both processes see. One order at a time.
struct Orders {
    volatile LONG served;  // kLayout once a host looks for orders
    volatile LONG given;   // orders so far
    volatile LONG done;    // of them carried out
    Task task;
    std::int64_t begun;            // performance counter when the order was taken
    volatile LONG contexts;        // calls of SetContext since it was set to 0
    volatile LONG contexts_due;    // signals `asked` when `contexts` comes to it
    volatile LONG64 contexts_end;  // performance counter at that moment
};

/// Another number for each change of Orders: hosts of other releases may be measured by this client.
inline constexpr LONG kLayout = 2;

/// The shared memory and the event that goes with it; made by whoever comes first.
class Signals {
public:
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

    Orders& orders() { return *orders_; }
    void Give(Order order, std::uint32_t first, std::uint32_t count);
    /// Until a host looks for orders. Raises when none of this layout does.
    void WaitUntilServed(DWORD milliseconds);
    /// Until the order that was given last is carried out.
    void WaitUntilDone();
    /// Waits for the next order; the former one is done by then. A copy: the client may give another one as soon as it
    /// sees what came of this one.
    Task Take();
    void SayAsked() { SetEvent(asked_); }
    bool WaitUntilAsked(DWORD milliseconds) {
        return WaitForSingleObject(asked_, milliseconds) == WAIT_OBJECT_0;
    }

private:
    HANDLE memory_ = nullptr;
    HANDLE asked_ = nullptr;
    Orders* orders_ = nullptr;
    LONG taken_ = 0;
};

inline std::int64_t Now() {
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

}  // namespace vdipc::bench::floor
