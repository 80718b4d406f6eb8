// What a process holds, and the rows of faults that may not make it hold more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace vdipc::test {

struct Resources {
    std::size_t handles = 0;
    std::size_t threads = 0;
    std::size_t private_kib = 0;
};

/// All zero when there is no such process.
Resources ResourcesOf(std::uint32_t process_id);

/// Times `count`, by VDIPC_FAULT_FACTOR (1): rows repeat their fault as often.
std::size_t Repeated(std::size_t count);

/// One fault, many times: what the host holds before and after must be the same, up to what the row allows. The figures go
/// to standard output in one line.
class FaultRow {
public:
    /// Measures: by now everything that comes into being once should be there.
    FaultRow(std::string name, std::uint32_t process_id);

    /// Measures anew, in another process or after something that the row is not about. The count stays.
    void Rebase(std::uint32_t process_id);
    void Count(std::size_t times = 1) { times_ += times; }
    std::size_t Times() const { return times_; }
    /// Whether what is held `now` is no more than before and `allowed`.
    bool IsWithin(const Resources& now, const Resources& allowed) const;
    Resources Before() const { return before_; }
    Resources Now() const { return ResourcesOf(process_id_); }

    /// Waits until no more is held than before and `allowed`, with a deadline, for what ends by itself; prints the line,
    /// and fails the test where it didn't come to that.
    void Finish(const Resources& allowed = {kLockRoom, 0, kHeapRoomKib});

    /// Plays faults that have been played once before, and finishes. What grows but once, because a lock is met by two
    /// threads only now, doesn't grow again: where more is held than allowed, it is measured anew, three times at the most.
    void FinishPlaying(const std::function<void()>& faults, const Resources& allowed);

    /// What comes once and late, whatever the fault: a critical section of the system gets a handle when two threads meet at
    /// it for the first time. Rows repeat their fault more often than that.
    static constexpr std::size_t kLockRoom = 16;
    /// The heap's own ways.
    static constexpr std::size_t kHeapRoomKib = 2048;

private:
    std::string name_;
    std::uint32_t process_id_ = 0;
    std::size_t times_ = 0;
    Resources before_;
};

}  // namespace vdipc::test
