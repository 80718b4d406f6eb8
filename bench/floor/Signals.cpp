#include "bench/floor/Signals.h"

#include <stdexcept>

namespace vdipc::bench::floor {

Signals::Signals()
    : memory_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Orders),
                                 L"vdipc-floor-orders")),
      given_(CreateEventW(nullptr, FALSE, FALSE, L"vdipc-floor-given")),
      asked_(CreateEventW(nullptr, FALSE, FALSE, L"vdipc-floor-asked")) {
    orders_ = static_cast<Orders*>(MapViewOfFile(memory_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Orders)));
    if (orders_ == nullptr || given_ == nullptr || asked_ == nullptr) {
        throw std::runtime_error("no shared memory or event");
    }
}

Signals::~Signals() {
    UnmapViewOfFile(orders_);
    CloseHandle(asked_);
    CloseHandle(given_);
    CloseHandle(memory_);
}

void Signals::Give(Order order, std::uint32_t first, std::uint32_t count) {
    orders_->order = order;
    orders_->first = first;
    orders_->count = count;
    SetEvent(given_);
}

void Signals::Take() {
    WaitForSingleObject(given_, INFINITE);
    orders_->begun = Now();
}

}  // namespace vdipc::bench::floor
