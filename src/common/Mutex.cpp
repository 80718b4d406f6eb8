#include "common/Mutex.h"

#if !VDIPC_SLIM_LOCKS

namespace vdipc {

void Condition::Wait(Mutex& mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    ++waiting_;
    condition_.wait(lock);
    --waiting_;
    lock.release();
}

void Condition::NotifyOne() {
    if (waiting_ > 0) {
        condition_.notify_one();
    }
}

}  // namespace vdipc

#endif
