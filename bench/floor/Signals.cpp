#include "bench/floor/Signals.h"

#include <stdexcept>

namespace vdipc::bench::floor {

Signals::Signals()
    : memory_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Orders),
                                 L"vdipc-floor-orders")),
      asked_(CreateEventW(nullptr, FALSE, FALSE, L"vdipc-floor-asked")) {
    orders_ = static_cast<Orders*>(MapViewOfFile(memory_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Orders)));
    if (orders_ == nullptr || asked_ == nullptr) {
        throw std::runtime_error("no shared memory or no event");
    }
}

Signals::~Signals() {
    UnmapViewOfFile(orders_);
    CloseHandle(asked_);
    CloseHandle(memory_);
}

void Signals::Give(Order order, std::uint32_t first, std::uint32_t count) {
    orders_->task = {order, first, count};
    InterlockedIncrement(&orders_->given);
}

void Signals::WaitUntilServed(DWORD milliseconds) {
    for (DWORD waited = 0; orders_->served != kLayout; waited += 10) {
        if (waited >= milliseconds) {
            throw std::runtime_error("the host takes no orders: build its release with this bench/floor");
        }
        Sleep(10);
    }
}

void Signals::WaitUntilDone() {
    while (orders_->done != orders_->given) {
        Sleep(1);
    }
}

Task Signals::Take() {
    InterlockedExchange(&orders_->served, kLayout);
    InterlockedExchange(&orders_->done, taken_);
    while (orders_->given == taken_) {
        Sleep(1);
    }
    ++taken_;
    const Task task = orders_->task;
    orders_->begun = Now();
    return task;
}

}  // namespace vdipc::bench::floor
