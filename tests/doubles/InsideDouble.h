// Tells what the library allocates from what the doubles of the closed libraries do, and counts conversions of text.
#pragma once

#include <atomic>
#include <cstddef>

namespace vdipc::test {

/// How many calls into a double this thread is in.
inline thread_local int doubles_depth = 0;

/// Calls of CStringConvert so far, on all threads.
inline std::atomic<std::size_t> conversions{0};

/// For the length of a call into a double.
class InsideDouble {
public:
    InsideDouble() { ++doubles_depth; }
    InsideDouble(const InsideDouble&) = delete;
    InsideDouble& operator=(const InsideDouble&) = delete;
    ~InsideDouble() { --doubles_depth; }
};

}  // namespace vdipc::test
