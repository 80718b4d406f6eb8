// Allocations of one size: one that fails, on a machine that has the memory, and those that were made.
#pragma once

#include <cstddef>

namespace vdipc::test {

/// From now on operator new raises bad_alloc for exactly this size.
void RefuseAllocation(std::size_t size);

/// From now on counts calls of operator new for exactly this size.
void CountAllocations(std::size_t size);
/// Calls since CountAllocations.
int CountedAllocations();

/// False where the allocation functions belong to a sanitizer that doesn't share them: then nothing is refused or
/// counted.
bool CanRefuseAllocation();

}  // namespace vdipc::test
