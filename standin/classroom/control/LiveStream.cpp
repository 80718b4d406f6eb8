#include "classroom/control/LiveStream.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace vdipc::classroom {
namespace {

using namespace std::chrono_literals;

// A screen isn't faster.
constexpr auto kPause = 16ms;
// What changes without a call of the product is found within this time.
constexpr auto kLook = 100ms;
constexpr std::size_t kRecords = 1000;

std::string Event(const char* name, const std::string& json) {
    return std::string("event: ") + name + "\ndata: " + json + "\n\n";
}

}  // namespace

LiveStream::LiveStream(World& world, Actions& actions, std::uint64_t tail)
    : world_(world), actions_(actions), next_saw_(world.journal.Last() + 1) {
    next_saw_ -= std::min(next_saw_ - 1, tail);
}

std::string LiveStream::WorldNews() {
    const auto begin = Clock::now();
    std::string events;
    Json::Value state = actions_.State(false, std::nullopt, std::nullopt);
    const Json::Value now = state["ms"];
    // These change all the time, and nobody waits for them.
    for (const char* const restless : {"keypads", "ms", "saw"}) {
        state.removeMember(restless);
    }
    std::string told = CompactJson(state);
    if (told != world_told_) {
        world_told_ = std::move(told);
        events += Event("world", world_told_);
    }
    std::vector<Keypads::Entry> changed;
    {
        const std::lock_guard lock(world_.mutex);
        changed = world_.keypads.ChangedSince(keypads_seen_);
    }
    if (!changed.empty() || first_) {
        Json::Value keypads;
        keypads["ms"] = now;
        keypads["keypads"] = Json::Value(Json::arrayValue);
        for (const Keypads::Entry& entry : changed) {
            keypads["keypads"].append(KeypadToJson(entry));
        }
        events += Event("keypads", CompactJson(keypads));
    }
    // A look at thousands of keypads takes its time, and the classroom has other things to do, too.
    const auto end = Clock::now();
    look_again_ = end + std::max<Clock::duration>(kPause, 3 * (end - begin));
    return events;
}

std::string LiveStream::Next() {
    std::string events;
    if (first_) {
        events = Event("asked", CompactJson(world_.journal.LastCalls())) + WorldNews();
        first_ = false;
    }
    const auto until = Clock::now() + 1s;
    while (events.empty() && Clock::now() < until) {
        const std::vector<std::string> records = world_.journal.Since(next_saw_, kRecords, kLook, next_saw_);
        if (!records.empty()) {
            std::string array;
            for (const std::string& record : records) {
                array += (array.empty() ? "[" : ",") + record;
            }
            events = Event("saw", array + "]");
        }
        std::this_thread::sleep_until(std::min(look_again_, Clock::now() + kLook));
        if (Clock::now() >= look_again_) {
            events += WorldNews();
        }
    }
    return events.empty() ? ": SIMULATED\n\n" : events;
}

}  // namespace vdipc::classroom
