// What the classroom's page lives on: the world as it changes, and what the product does, in one stream of events. One,
// because a browser opens few connections to one server, and all its tabs share them.
#pragma once

#include "classroom/control/Actions.h"
#include "classroom/world/World.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace vdipc::classroom {

/// One reader's place in the stream; one thread at a time.
class LiveStream {
public:
    /// Begins with the whole world and the last `tail` records of what the product did.
    LiveStream(World& world, Actions& actions, std::uint64_t tail);

    /// Waits for news, up to a second, and returns server-sent events: "asked" (at first: the last call to each object),
    /// "world" (all but the keypads), "keypads" (those that changed), "saw" (records, in order). A comment where there is
    /// no news: writing is how a lost reader is found out.
    std::string Next();

private:
    using Clock = std::chrono::steady_clock;

    std::string WorldNews();

    World& world_;
    Actions& actions_;
    std::uint64_t next_saw_;
    std::uint64_t keypads_seen_ = 0;
    bool first_ = true;
    std::string world_told_;
    Clock::time_point look_again_;
};

}  // namespace vdipc::classroom
