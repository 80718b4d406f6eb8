// How many threads a speech engine is started with.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vdipc {

/// The number of processors divided by a power of two, at least 1.
constexpr std::size_t WorkerThreads(std::uint32_t processors, unsigned int shift) {
    const std::size_t share = processors >> shift;
    return share == 0 ? 1 : share;
}

inline constexpr std::size_t kRecognizerThreads = 8;
inline constexpr unsigned int kEvaluatorThreadsShift = 1;
inline constexpr unsigned int kOfflineEvaluatorThreadsShift = 2;

}  // namespace vdipc
