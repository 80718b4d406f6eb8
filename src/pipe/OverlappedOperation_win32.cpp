#include "pipe/OverlappedOperation_win32.h"

#include "common/Mutex.h"

#include <array>
#include <mutex>
#include <utility>

namespace vdipc {
namespace {

struct Parked {
    Mutex mutex;
    std::vector<std::unique_ptr<OverlappedOperation>> operations;
    // As many as threads that use them at a time.
    std::array<std::unique_ptr<OverlappedOperation>, 2> spare;
};

/// Never destroyed: an operation may be pending until the process ends.
Parked& ParkedOperations() {
    static Parked& parked = *new Parked();
    return parked;
}

bool IsDone(const std::unique_ptr<OverlappedOperation>& operation) {
    return HasOverlappedIoCompleted(&operation->overlapped);
}

}  // namespace

std::unique_ptr<OverlappedOperation> TakeOperation() {
    Parked& parked = ParkedOperations();
    {
        std::lock_guard lock(parked.mutex);
        for (std::unique_ptr<OverlappedOperation>& spare : parked.spare) {
            if (spare) {
                return std::move(spare);
            }
        }
    }
    return std::make_unique<OverlappedOperation>();
}

void ReleaseOperation(std::unique_ptr<OverlappedOperation> operation) {
    Parked& parked = ParkedOperations();
    std::lock_guard lock(parked.mutex);
    std::erase_if(parked.operations, IsDone);
    if (!operation) {
        return;
    }
    if (!IsDone(operation)) {
        parked.operations.push_back(std::move(operation));
        return;
    }
    for (std::unique_ptr<OverlappedOperation>& spare : parked.spare) {
        if (!spare) {
            *operation = {};
            spare = std::move(operation);
            return;
        }
    }
}

std::size_t PendingOperations() {
    Parked& parked = ParkedOperations();
    std::lock_guard lock(parked.mutex);
    return parked.operations.size();
}

}  // namespace vdipc
