// A classroom of its own for each test, and listeners that note what they hear.
#pragma once

#include "classroom/control/ActionReader.h"
#include "classroom/control/Actions.h"
#include "classroom/receivers/Receiver.h"
#include "classroom/receivers/ReceiverObject.h"
#include "classroom/station/Station.h"
#include "classroom/station/StationObject.h"
#include "classroom/world/World.h"

#include "drivers/closed/SocketVoteDeck.h"
#include "drivers/closed/VoteDeck.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom::test {

/// Words that come from several threads.
class Heard {
public:
    void Add(const std::string& words) {
        const std::lock_guard lock(mutex_);
        words_.push_back(words);
        threads_.insert(std::this_thread::get_id());
        came_.notify_all();
    }

    std::vector<std::string> All() const {
        const std::lock_guard lock(mutex_);
        return words_;
    }

    /// The first so many, or fewer where they don't come within half a minute.
    std::vector<std::string> Await(std::size_t count) const {
        std::unique_lock lock(mutex_);
        came_.wait_for(lock, std::chrono::seconds(30), [&] { return words_.size() >= count; });
        return words_;
    }

    std::set<std::thread::id> Threads() const {
        const std::lock_guard lock(mutex_);
        return threads_;
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable came_;
    std::vector<std::string> words_;
    std::set<std::thread::id> threads_;
};

/// The product's side of the base station.
class StationListener : public IVoteDeckEvent {
public:
    virtual ~StationListener() = default;

    void* DeletingDestructor(unsigned int) override { return this; }
    void OnKeypadConnect(std::uintptr_t, std::uint16_t device, bool connected) override {
        heard.Add((connected ? "connect " : "leave ") + std::to_string(device));
    }
    void OnKeypadEvent(std::uint16_t device, std::int32_t key) override {
        if (on_key) {
            on_key();
        }
        heard.Add("key " + std::to_string(device) + " " + std::to_string(key));
    }
    void OnKeypadAudioEvent(std::uint16_t device, IKeypadAudio* audio, bool error) override {
        if (on_audio) {
            on_audio(*audio);
        } else if (audio->IsValid()) {
            audio->Release();
        }
        heard.Add("audio " + std::to_string(device) + (error ? " error" : ""));
    }
    void OnKeypadStateEvent() override { heard.Add("OnKeypadStateEvent"); }
    void OnKeypadLowBatteryEvent() override { heard.Add("OnKeypadLowBatteryEvent"); }
    void OnMCUUpdateProgress() override { heard.Add("OnMCUUpdateProgress"); }
    void OnRepeatedConnectionKeypad() override { heard.Add("OnRepeatedConnectionKeypad"); }
    void OnLogEvent() override { heard.Add("OnLogEvent"); }

    Heard heard;
    std::function<void()> on_key;
    std::function<void(IKeypadAudio&)> on_audio;
};

/// The product's side of a USB receiver.
class ReceiverListener : public IVoteDeckEventOld, public IInternalEventListener {
public:
    virtual ~ReceiverListener() = default;

    void* DeletingDestructor(unsigned int) override { return this; }
    void OnKeyEvent(std::uint32_t device, std::int32_t key, std::uint32_t times, std::uint32_t received,
                    std::uint32_t, std::uint32_t, std::uint32_t rssi) override {
        heard.Add("key " + std::to_string(device) + " " + std::to_string(key) + " x" + std::to_string(times) +
                  " of " + std::to_string(received) + " at " + std::to_string(rssi));
    }
    void OnSetContextSuccess() override { heard.Add("OnSetContextSuccess"); }
    void OnDeviceConnectedChange(bool connected) override {
        heard.Add(connected ? "connected" : "disconnected");
    }
    void OnSendToDevice() override { heard.Add("OnSendToDevice"); }
    void OnBindCard(std::uint32_t uid) override { heard.Add("bind " + std::to_string(uid)); }
    void OnAudioDataReceived(std::uint32_t device, const std::uint8_t* first, std::uint32_t first_size,
                             const std::uint8_t* second, std::uint32_t second_size, float lost) override {
        last_audio = second;
        heard.Add("audio " + std::to_string(device) + " " + std::string(first, first + first_size) + " " +
                  std::to_string(second_size) + " " + std::to_string(static_cast<int>(lost * 100.0F)) + "%");
    }
    void OnDataSentFailed() override { heard.Add("OnDataSentFailed"); }
    void OnGetDeviceInfo(const char* text, std::int32_t number) override {
        heard.Add("info " + std::string(text) + " " + std::to_string(number));
    }
    void OnUnbindCard(std::uint32_t device) override { heard.Add("unbind " + std::to_string(device)); }
    void OnDeviceIOError(zq::IVoteDeck* deck) override {
        heard.Add(deck == own ? "io error" : "io error elsewhere");
    }
    void OnReSendCommend() override { heard.Add("OnReSendCommend"); }
    void OnSendData() override { heard.Add("OnSendData"); }
    void OnReceiveData() override { heard.Add("OnReceiveData"); }
    void Reserved3() override { heard.Add("Reserved3"); }

    Heard heard;
    zq::IVoteDeck* own = nullptr;
    const std::uint8_t* last_audio = nullptr;
};

/// What the world of a test sent as USB notices.
struct SentNotices {
    std::mutex mutex;
    std::vector<UsbNotice> notices;
    std::vector<std::uint32_t> waits;
};

class ClassroomTest : public testing::Test {
protected:
    /// Worlds are never destroyed; here they stay within reach.
    explicit ClassroomTest(const Settings& settings = Settings());

    /// Ends all callbacks: the listeners go before the world does.
    void TearDown() override;

    /// Raises ActionError where the classroom refuses.
    Json::Value Do(const std::string& action);
    std::string Refusal(const std::string& action);
    Json::Value State() { return actions.State(true, std::nullopt, std::nullopt); }
    Json::Value Keypad(Kind kind, std::uint32_t number) {
        return actions.State(true, kind, number)["keypads"][0];
    }
    /// Texts of all misuses.
    std::vector<std::string> Misuses();
    /// Calls seen so far, without callbacks.
    std::vector<std::string> Calls();
    Json::Value LastCall();

    /// A station that is up, with this listener and a session.
    ISocketVoteDeck& OpenStation(StationListener& listener);
    /// A plugged receiver with this listener.
    ReceiverObject& OpenReceiver(Kind kind, ReceiverListener& listener);

    SentNotices& notices;
    World& world;
    Actions& actions;

private:
    std::vector<ISocketVoteDeck*> stations_;
    std::vector<ReceiverObject*> receivers_;
};

Json::Value Parse(const std::string& text);

}  // namespace vdipc::classroom::test
