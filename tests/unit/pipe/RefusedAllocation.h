// An allocation that fails, on a machine that has the memory.
#pragma once

#include <cstddef>

namespace vdipc::test {

/// From now on operator new raises bad_alloc for exactly this size.
void RefuseAllocation(std::size_t size);

/// False where the allocation functions belong to a sanitizer that doesn't share them.
bool CanRefuseAllocation();

}  // namespace vdipc::test
