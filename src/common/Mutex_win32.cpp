#include "common/Mutex.h"

#if VDIPC_SLIM_LOCKS

#include <windows.h>

namespace vdipc {
namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

SRWLOCK* Lock(void*& state) {
    return reinterpret_cast<SRWLOCK*>(&state);
}

CONDITION_VARIABLE* Variable(void*& state) {
    return reinterpret_cast<CONDITION_VARIABLE*>(&state);
}

}  // namespace

void Mutex::lock() {
    AcquireSRWLockExclusive(Lock(state_));
}

void Mutex::unlock() {
    ReleaseSRWLockExclusive(Lock(state_));
}

void Condition::Wait(Mutex& mutex) {
    ++waiting_;
    SleepConditionVariableSRW(Variable(state_), Lock(mutex.state_), INFINITE, 0);
    --waiting_;
}

void Condition::NotifyOne() {
    if (waiting_ > 0) {
        WakeConditionVariable(Variable(state_));
    }
}

}  // namespace vdipc

#endif
