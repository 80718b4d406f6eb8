#include "pipe/OverlappedOperation_win32.h"

#include <mutex>
#include <utility>

namespace vdipc {
namespace {

bool IsDone(const std::unique_ptr<OverlappedOperation>& operation) {
    return HasOverlappedIoCompleted(&operation->overlapped);
}

}  // namespace

void ReleaseOperation(std::unique_ptr<OverlappedOperation> operation) {
    if (IsDone(operation)) {
        return;
    }
    // Never destroyed: an operation may be pending until the process ends.
    static std::mutex& mutex = *new std::mutex();
    static auto& pending = *new std::vector<std::unique_ptr<OverlappedOperation>>();
    std::lock_guard lock(mutex);
    std::erase_if(pending, IsDone);
    pending.push_back(std::move(operation));
}

}  // namespace vdipc
