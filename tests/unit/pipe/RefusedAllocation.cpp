#include "RefusedAllocation.h"

#include "doubles/InsideDouble.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

// clang's ThreadSanitizer brings allocation functions of its own.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VDIPC_FOREIGN_ALLOCATION
#endif
#endif

#if defined(VDIPC_FOREIGN_ALLOCATION)

namespace vdipc::test {

void RefuseAllocation(std::size_t) {}

void CountAllocations(std::size_t) {}

int CountedAllocations() {
    return 0;
}

std::size_t AllocationsOfThread() {
    return 0;
}

std::size_t AllocationsOutsideDoubles() {
    return 0;
}

void WatchAllocationsOfThread(const std::function<void()>*) {}

bool CanRefuseAllocation() {
    return false;
}

}  // namespace vdipc::test

#else

namespace {

// 0 stands for none.
std::atomic<std::size_t> g_refused_size{0};
std::atomic<std::size_t> g_counted_size{0};
std::atomic<int> g_counted{0};
std::atomic<std::size_t> g_outside_doubles{0};
thread_local std::size_t t_allocations = 0;
thread_local const std::function<void()>* t_watcher = nullptr;

void* Allocate(std::size_t size) noexcept {
    ++t_allocations;
    g_outside_doubles += vdipc::test::doubles_depth == 0 ? 1u : 0u;
    if (const std::function<void()>* const watcher = std::exchange(t_watcher, nullptr)) {
        (*watcher)();
        t_watcher = watcher;
    }
    if (size != 0 && size == g_counted_size) {
        ++g_counted;
    }
    return size != 0 && size == g_refused_size ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(std::size_t size) {
    if (void* const memory = Allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace vdipc::test {

void RefuseAllocation(std::size_t size) {
    g_refused_size = size;
}

void CountAllocations(std::size_t size) {
    g_counted_size = size;
    g_counted = 0;
}

int CountedAllocations() {
    return g_counted;
}

std::size_t AllocationsOfThread() {
    return t_allocations;
}

std::size_t AllocationsOutsideDoubles() {
    return g_outside_doubles;
}

void WatchAllocationsOfThread(const std::function<void()>* watcher) {
    t_watcher = watcher;
}

bool CanRefuseAllocation() {
    return true;
}

}  // namespace vdipc::test

#endif
