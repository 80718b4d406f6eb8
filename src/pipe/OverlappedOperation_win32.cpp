#include "pipe/OverlappedOperation_win32.h"

#include <mutex>
#include <utility>

namespace vdipc {
namespace {

struct Parked {
    std::mutex mutex;
    std::vector<std::unique_ptr<OverlappedOperation>> operations;
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

void ReleaseOperation(std::unique_ptr<OverlappedOperation> operation) {
    Parked& parked = ParkedOperations();
    std::lock_guard lock(parked.mutex);
    std::erase_if(parked.operations, IsDone);
    if (operation && !IsDone(operation)) {
        parked.operations.push_back(std::move(operation));
    }
}

std::size_t PendingOperations() {
    Parked& parked = ParkedOperations();
    std::lock_guard lock(parked.mutex);
    return parked.operations.size();
}

}  // namespace vdipc
