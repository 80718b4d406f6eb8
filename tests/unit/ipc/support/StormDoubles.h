// Closed receivers that call back from many threads at once, and keep what their makers promise: no callback comes once
// the listener is taken away or the connection closed, and none is under way any more when that call returns.
#pragma once

#include "doubles/ReceiverDoubles.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace vdipc::test {

inline constexpr std::chrono::milliseconds kStormPatience{60000};

/// The way from a closed object to its listener. Any thread.
template <typename Listener>
class StormGate {
public:
    /// Makes the callback; false when nobody listens. With patience, waits until somebody does.
    template <typename Callback>
    bool Call(Callback callback, std::chrono::milliseconds patience = {}) {
        Listener* listener = nullptr;
        {
            std::unique_lock lock(mutex_);
            if (!changed_.wait_for(lock, patience, [this] { return listener_ != nullptr; })) {
                return false;
            }
            listener = listener_;
            ++under_way_;
        }
        callback(*listener);
        {
            std::lock_guard lock(mutex_);
            --under_way_;
        }
        changed_.notify_all();
        return true;
    }

    /// Null closes: lets those who announced it make their last calls, and waits until no callback is under way.
    void Set(Listener* listener) {
        std::unique_lock lock(mutex_);
        if (listener == nullptr && listener_ != nullptr) {
            closing_ = true;
            changed_.notify_all();
            changed_.wait_for(lock, kStormPatience, [this] { return last_callers_ == 0; });
        }
        listener_ = nullptr;
        changed_.wait(lock, [this] { return under_way_ == 0; });
        listener_ = listener;
        closing_ = listener == nullptr;
        changed_.notify_all();
    }

    void AnnounceLastCalls() {
        std::lock_guard lock(mutex_);
        ++last_callers_;
    }
    bool WaitUntilItCloses() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kStormPatience, [this] { return closing_; });
    }
    void LastCallsMade() {
        {
            std::lock_guard lock(mutex_);
            --last_callers_;
        }
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Listener* listener_ = nullptr;
    int under_way_ = 0;
    int last_callers_ = 0;
    bool closing_ = false;
};

using StormQuestion = std::function<void(std::int32_t type, std::uint32_t device)>;

class StormControl : public CountingVoteDeckControl {
public:
    StormGate<IInternalEventListener> gate;
    std::atomic<int> handled{0};  // IO errors that the object passed on
    std::atomic<int> moved{0};    // arrivals and removals

    void SetListener(IInternalEventListener* listener) override { gate.Set(listener); }
    void DeviceArrived(std::int32_t, const wchar_t*) override { ++moved; }
    void DeviceRemoved(std::int32_t, const wchar_t*) override { ++moved; }
    void HandleIOError() override { ++handled; }
};

class StormDeck : public CountingVoteDeck {
public:
    StormGate<IVoteDeckEventOld> gate;
    StormControl control;
    StormQuestion on_question;
    std::atomic<bool> deleted{false};

    void SetListener(IVoteDeckEventOld* listener) override { gate.Set(listener); }
    void SendQuestion(VoteDeckCallback, EnumQuestionType type, std::uint32_t device) override {
        on_question(type, device);
    }
    /// Ends the receiver and its link level, but for the memory.
    void* DeletingDestructor(unsigned int) override {
        control.gate.Set(nullptr);
        gate.Set(nullptr);
        deleted = true;
        return this;
    }
};

class StormStation : public CountingSocketVoteDeck {
public:
    StormGate<IVoteDeckEvent> gate;
    StormQuestion on_question;

    void SetListener(IVoteDeckEvent* listener) override { listener_ = listener; }
    std::int32_t InitSocket(std::uint32_t, std::uint16_t, std::uint16_t) override {
        gate.Set(listener_);
        return 0;
    }
    void CloseSocket() override { gate.Set(nullptr); }
    void StartQuestion(EnumQuestionType type, const char*, const char*, const char*, std::int32_t, bool,
                       std::uint16_t device) override {
        on_question(type, device);
    }

private:
    IVoteDeckEvent* listener_ = nullptr;
};

/// A recording of the station, whose bytes are gone as soon as it is given back.
class StormAudio : public IKeypadAudio {
public:
    StormAudio(std::size_t size, std::uint8_t fill, bool valid) : bytes_(size, fill), valid_(valid) {}
    virtual ~StormAudio() = default;

    int releases = 0;

    void Reserved0() override {}
    void Reserved1() override {}
    bool IsValid() override { return valid_; }
    void Reserved3() override {}
    const std::uint8_t* GetData() override { return bytes_.data(); }
    std::int32_t GetSize() override { return static_cast<std::int32_t>(bytes_.size()); }
    void Release() override {
        ++releases;
        bytes_.assign(bytes_.size(), 0xEE);
    }

private:
    std::vector<std::uint8_t> bytes_;
    bool valid_;
};

}  // namespace vdipc::test
