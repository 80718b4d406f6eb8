// What crossed the pipe while the teacher's page was served, for the pages that look on, now or later.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include <json/json.h>

namespace vdipc::tools {

/// Any thread may call anything.
class DeskLog {
public:
    /// Keeps so many records; the oldest go first.
    explicit DeskLog(std::size_t most) : most_(most) {}

    /// Notes a message: `kind` is "sent" or "came".
    void Note(const char* kind, const Json::Value& message);
    /// What holds now, as the connection's state; told when it changes.
    void SetStatus(const Json::Value& status);

    /// One reader's place.
    struct Place {
        std::uint64_t next = 1;
        std::uint64_t status = 0;
    };
    /// Server-sent events from this place on: "status", and "records" with an array. Waits for the first of them; empty
    /// where there is none within the time.
    std::string Next(Place& place, std::chrono::milliseconds wait) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable came_;
    const std::size_t most_;
    std::uint64_t first_ = 1;  // number of records_.front()
    std::deque<std::string> records_;
    std::string status_ = "{}";
    std::uint64_t status_changes_ = 1;
};

}  // namespace vdipc::tools
