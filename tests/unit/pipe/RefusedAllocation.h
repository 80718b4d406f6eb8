// Allocations of one size: one that fails, on a machine that has the memory, and those that were made. And all those of
// a thread. A part of the programs that name it, not of all tests.
#pragma once

#include <cstddef>
#include <functional>

namespace vdipc::test {

/// From now on operator new raises bad_alloc for exactly this size.
void RefuseAllocation(std::size_t size);

/// From now on counts calls of operator new for exactly this size.
void CountAllocations(std::size_t size);
/// Calls since CountAllocations.
int CountedAllocations();

/// Calls of operator new on this thread so far.
std::size_t AllocationsOfThread();
/// Calls on all threads so far, without those that a double of a closed library makes.
std::size_t AllocationsOutsideDoubles();
/// Calls this at each of them from now on, ahead of the allocation, but for those that it makes itself; null ends it.
void WatchAllocationsOfThread(const std::function<void()>* watcher);

/// False where the allocation functions belong to a sanitizer that doesn't share them: then nothing is refused or
/// counted.
bool CanRefuseAllocation();

}  // namespace vdipc::test
