// The events of a run as they can be held against another run's: without what is new each time.
#pragma once

#include "tools/vdlog/Facts.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vdipc::log {

/// An event of the pipe in one line of JSON, without its id, the times in its data, and the time in the name of a saved
/// recording. What is no JSON (a line that was cut) keeps its bytes, but for the lines of those members.
std::string ComparableEvent(std::string_view styled);

/// Gathers the events of a log in their order, each run behind a line of its own.
class EventList final : public FactSink {
public:
    struct Entry {
        std::string text;
        std::string device;  // empty where the event is no keypad's
        Mark at;
        std::uint32_t run = 0;
        bool is_run = false;  // the beginning of a run
    };

    void OnFact(const Fact& fact) override;

    const std::vector<Entry>& Entries() const { return entries_; }
    std::uint64_t Events() const { return events_; }
    /// "device-inited" of the station's check, every ten seconds as long as it is down: the clock makes them, and nobody
    /// else. They aren't among the entries.
    std::uint64_t Repeats() const { return repeats_; }

private:
    std::vector<Entry> entries_;
    std::uint64_t events_ = 0;
    std::uint64_t repeats_ = 0;
    std::uint32_t run_ = 0;
};

/// Where two sequences differ: the shortest way from one to the other, or a plain cut behind the first difference where
/// they differ beyond `most` places.
struct Difference {
    std::size_t a = 0;  // from here, so many of A
    std::size_t a_count = 0;
    std::size_t b = 0;  // stand where these of B stand
    std::size_t b_count = 0;
};
std::vector<Difference> Differences(const std::vector<std::size_t>& a, const std::vector<std::size_t>& b,
                                    std::size_t most = 1500);

}  // namespace vdipc::log
