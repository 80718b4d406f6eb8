#include "classroom/system/Lanes.h"

namespace vdipc::classroom {

void Lanes::Post(std::size_t lane_number, std::uint32_t delay_ms, std::function<void()> job) {
    Lane& lane = lanes_[lane_number % kCount];
    const std::lock_guard lock(lane.mutex);
    const auto due = Clock::now() + std::chrono::milliseconds(delay_ms);
    lane.jobs.emplace(std::make_pair(due, ++lane.count), std::move(job));
    if (!lane.started) {
        lane.started = true;
        std::thread([&lane] { Run(lane); }).detach();
    }
    lane.changed.notify_one();
}

void Lanes::Run(Lane& lane) {
    std::unique_lock lock(lane.mutex);
    for (;;) {
        if (lane.jobs.empty()) {
            lane.changed.wait(lock);
            continue;
        }
        const auto due = lane.jobs.begin()->first.first;
        if (due > Clock::now()) {
            lane.changed.wait_until(lock, due);
            continue;
        }
        const std::function<void()> job = std::move(lane.jobs.begin()->second);
        lane.jobs.erase(lane.jobs.begin());
        lock.unlock();
        job();
        lock.lock();
    }
}

}  // namespace vdipc::classroom
