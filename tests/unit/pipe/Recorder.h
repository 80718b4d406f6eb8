// What a PipeIO tells its owner, for tests: frames and failures, with waits.
#pragma once

#include "pipe/PipeIO.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace vdipc::test {

/// All members on any thread. Must outlive the PipeIO that it records.
class Recorder {
public:
    static constexpr std::chrono::milliseconds kPatience{30000};

    PipeIO::DataCallback OnData() {
        return [this](const PipeData& data) {
            std::unique_lock lock(mutex_);
            frames_.push_back(data);
            changed_.notify_all();
            changed_.wait(lock, [this] { return !blocked_; });
        };
    }
    PipeIO::ErrorCallback OnError() {
        return [this] {
            std::lock_guard lock(mutex_);
            ++errors_;
            changed_.notify_all();
        };
    }

    /// From now on the data callback doesn't return until Release.
    void Block() { Set(true); }
    void Release() { Set(false); }

    void Clear() {
        std::lock_guard lock(mutex_);
        frames_.clear();
        errors_ = 0;
    }
    bool WaitForFrames(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, [this, count] { return frames_.size() >= count; });
    }
    bool WaitForError() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, [this] { return errors_ > 0; });
    }
    std::vector<PipeData> Frames() {
        std::lock_guard lock(mutex_);
        return frames_;
    }
    int Errors() {
        std::lock_guard lock(mutex_);
        return errors_;
    }

private:
    void Set(bool blocked) {
        std::lock_guard lock(mutex_);
        blocked_ = blocked;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<PipeData> frames_;
    int errors_ = 0;
    bool blocked_ = false;
};

inline std::string Payload(const PipeData& data) {
    return {data.msg.begin(), data.msg.end()};
}

inline PipeData MakeFrame(const std::string& text) {
    PipeData data;
    data.type = kFrameTypeJson;
    data.length = static_cast<std::int32_t>(text.size());
    data.command = kFrameCommandJson;
    data.msg.assign(text.begin(), text.end());
    return data;
}

}  // namespace vdipc::test
