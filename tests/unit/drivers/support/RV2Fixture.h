// What the tests of the base station's object share: the library's object as a mock, the handler as a recorder, and the
// station's script as a list of answers.
#pragma once

#include "doubles/ClosedDoubles.h"
#include "drivers/USBListener.h"
#include "drivers/VoteDeckObject_RV2.h"
#include "support/LogCapture.h"
#include "support/SchemaCheck.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <json/json.h>

namespace vdipc {

/// The private operations and members that tests call and look at.
struct VoteDeckObject_RV2Access {
    static ISocketVoteDeck*& Deck(VoteDeckObject_RV2& object) { return object.deck_; }
    static bool HasThread(VoteDeckObject_RV2& object) { return object.status_thread_ != nullptr; }
    static EventHandle StatusEvent(VoteDeckObject_RV2& object) { return object.status_event_; }
    static void StartStatusCheck(VoteDeckObject_RV2& object) { object.StartStatusCheck(); }
    static void StopStatusCheck(VoteDeckObject_RV2& object) { object.StopStatusCheck(); }
    static void StatusThread(VoteDeckObject_RV2& object, EventHandle event) { object.StatusThread(event); }
    static void CheckStatusTask(VoteDeckObject_RV2& object) { object.CheckStatusTask(); }
    static void DeleteSdkConfigFile(VoteDeckObject_RV2& object) { object.DeleteSdkConfigFile(); }
    static std::uint32_t StationAddress() { return VoteDeckObject_RV2::StationAddress(); }
};

struct USBListenerAccess {
    struct Deleter {
        void operator()(USBListener* listener) const { delete listener; }
    };
    /// A listener of the test's own, without a thread.
    static std::unique_ptr<USBListener, Deleter> Make() {
        return std::unique_ptr<USBListener, Deleter>(new USBListener());
    }
    static std::vector<DeviceChangedListener*> Listeners(USBListener& listener) {
        std::lock_guard lock(listener.listeners_mutex_);
        return listener.listeners_;
    }
    static std::thread& Thread(USBListener& listener) { return *listener.thread_; }
    static bool IsListed(DeviceChangedListener* listener) {
        const auto listed = Listeners(USBListener::GetInstance());
        return std::count(listed.begin(), listed.end(), listener) == 1;
    }
};

namespace test {

class MockSocketVoteDeck : public ISocketVoteDeck {
public:
    virtual ~MockSocketVoteDeck() = default;
    MOCK_METHOD(void, Reserved0, (), (override));
    MOCK_METHOD(void, SetListener, (IVoteDeckEvent * listener), (override));
    MOCK_METHOD(std::int32_t, InitSocket, (std::uint32_t address, std::uint16_t port, std::uint16_t timeout),
                (override));
    MOCK_METHOD(void, CloseSocket, (), (override));
    MOCK_METHOD(void, StartSession, (), (override));
    MOCK_METHOD(void, Reserved5, (), (override));
    MOCK_METHOD(void, StartQuestion,
                (EnumQuestionType type, const char* text1, const char* text2, const char* text3,
                 std::int32_t number, bool flag, std::uint16_t device),
                (override));
    MOCK_METHOD(void, EndQuestion, (std::uint32_t device, const char* text), (override));
    MOCK_METHOD(void, SendContext,
                (const char* row1, const char* row2, const char* row3, std::int32_t number,
                 std::uint16_t device),
                (override));
    MOCK_METHOD(void, SendAlarm,
                (std::uint32_t device, std::uint16_t duration, std::uint16_t interval, std::uint16_t times),
                (override));
    MOCK_METHOD(void, SendVibrate,
                (std::uint32_t device, std::uint16_t duration, std::uint16_t interval, std::uint16_t times),
                (override));
    MOCK_METHOD(void, SendFlashing,
                (std::uint32_t device, EnumFlashingColor color, std::uint16_t duration,
                 std::uint16_t interval, std::uint16_t times),
                (override));
    MOCK_METHOD(void, Reserved12, (), (override));
    MOCK_METHOD(void, SetSessionEnabled, (bool enabled), (override));
    MOCK_METHOD(void, Reserved14, (), (override));
    MOCK_METHOD(void, Reserved15, (), (override));
    MOCK_METHOD(void, Reserved16, (), (override));
    MOCK_METHOD(void, SetSessionMode, (std::int32_t mode, std::int32_t option), (override));
};

/// The handler: notes in order what it is told, and keeps tasks until a test runs them.
class HandlerRecorder : public IVoteDeckObjectEvent {
public:
    void PostTask(std::function<void()> task) override {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        posted_.notify_all();
    }
    void SendIPCMesage(const std::string& text) override {
        EXPECT_EQ(CheckEvent(text), "") << text;
        Json::Value event;
        std::istringstream stream(text);
        Json::parseFromStream(Json::CharReaderBuilder(), stream, &event, nullptr);
        events_.push_back(event);
        std::string note = event["event"].asString();
        for (const char* key : {"device", "key", "info"}) {
            if (event.isMember(key)) {
                note += " " + event[key].asString();
            }
        }
        notes_.push_back(note);
    }
    void SendTrackwire(CTrackwire& record) override { record.Logger(); }
    std::int32_t RequestRecognize(const RecognizeRequest& request) override {
        notes_.push_back("recognize " + std::to_string(request.audio_size));
        return 0;
    }
    std::int32_t RequestEvaluation(const std::string&, const EvaluateRequest& request) override {
        return TakeRequest("evaluate", request);
    }
    void RequestSingleEvaluation(const std::string&, const EvaluateRequest& request) override {
        TakeRequest("evaluate single", request);
    }
    std::int32_t RequestMultipleEvaluation(const std::string&, const EvaluateRequest& request,
                                           std::int32_t selector) override {
        return TakeRequest("evaluate multiple " + std::to_string(selector), request);
    }
    void OnActiveDevicesChanged() override { notes_.push_back("active devices changed"); }
    void OnVoteDeckStatusChanged(DeviceType device_type, std::int32_t status) override {
        notes_.push_back("status " + std::to_string(static_cast<int>(device_type)) + " " +
                         std::to_string(status));
    }
    void OnRv2BadStatusNotified(std::int32_t status) override {
        notes_.push_back("bad status " + std::to_string(status));
    }

    std::size_t QueuedTasks() {
        std::lock_guard lock(mutex_);
        return tasks_.size();
    }
    bool WaitForTasks(std::size_t count, std::chrono::milliseconds timeout = LogCapture::kPatience) {
        std::unique_lock lock(mutex_);
        return posted_.wait_for(lock, timeout, [&] { return tasks_.size() >= count; });
    }
    /// Runs what is queued, on the calling thread.
    void RunTasks() {
        for (;;) {
            std::function<void()> task;
            {
                std::lock_guard lock(mutex_);
                if (tasks_.empty()) {
                    return;
                }
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }
    void DropTasks() {
        std::lock_guard lock(mutex_);
        tasks_.clear();
    }
    /// What came since the last call, in order.
    std::vector<std::string> TakeNotes() { return std::exchange(notes_, {}); }
    const std::vector<Json::Value>& Events() const { return events_; }

private:
    std::int32_t TakeRequest(const std::string& kind, const EvaluateRequest& request) {
        notes_.push_back(kind + " " + std::to_string(request.audio_size));
        delete[] request.audio_data;
        return 0;
    }

    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> tasks_;
    std::vector<std::string> notes_;
    std::vector<Json::Value> events_;
};

/// The object with a script that answers as told; the last answer is given for good.
class ScriptedRV2 : public VoteDeckObject_RV2 {
public:
    std::deque<std::int32_t> answers = {kDeviceStatusConnected};
    int probes = 0;
    std::function<void()> during_probe;

    std::int32_t RealProbe() { return VoteDeckObject_RV2::ProbeBaseStation(); }

    using VoteDeckObjectBase::CreateTextRecordForDevice;
    using VoteDeckObjectBase::dropped_device_set_;
    using VoteDeckObjectBase::last_answer_map_;
    using VoteDeckObjectBase::last_question_map_;
    using VoteDeckObjectBase::status_;
    using VoteDeckObjectBase::text_record_map_;

protected:
    std::int32_t ProbeBaseStation() override {
        ++probes;
        if (during_probe) {
            during_probe();
        }
        const std::int32_t answer = answers.front();
        if (answers.size() > 1) {
            answers.pop_front();
        }
        return answer;
    }
};

/// The steps of coming and going that were logged, in order.
inline std::vector<std::string> StepsOfTheCycle(const LogCapture& log) {
    std::vector<std::string> steps;
    for (const LogLine& line : log.Lines()) {
        for (const char* step :
             {"CreateTextRecordForDevice", "EraseTextRevordForDevice", "NotifyActiveDevicesChanged",
              "EraseDeviceFromDropSet", "SendEventActivated", "SendEventInactivated"}) {
            if (line.function == std::string("VoteDeckObjectBase::") + step) {
                EXPECT_EQ(line.level, LogLevel::Trace) << step;
                steps.emplace_back(step);
            }
        }
    }
    return steps;
}

/// What these are when a keypad comes, and when it goes.
inline const std::vector<std::string> kStepsOfComing = {"CreateTextRecordForDevice",
                                                        "NotifyActiveDevicesChanged",
                                                        "EraseDeviceFromDropSet", "SendEventActivated"};
inline const std::vector<std::string> kStepsOfGoing = {"EraseTextRevordForDevice",
                                                       "NotifyActiveDevicesChanged", "EraseDeviceFromDropSet",
                                                       "SendEventInactivated"};

class RV2Test : public testing::Test {
protected:
    using Access = VoteDeckObject_RV2Access;

    RV2Test() {
        ResetClosedDoubles();
        ClosedFactories().create_vote_deck_obj = [this] { return &deck_; };
        object_ = std::make_unique<ScriptedRV2>();
        object_->SetEventListener(&handler_);
    }
    ~RV2Test() override {
        object_.reset();
        ResetClosedDoubles();
    }

    /// As after an Initialize that found the station up, without the watch.
    void AttachDeck() { Access::Deck(*object_) = &deck_; }
    void AddKeypads(const std::vector<std::string>& ids) {
        for (const std::string& id : ids) {
            object_->CreateTextRecordForDevice(id);
        }
    }
    /// How often a library's object was asked for.
    std::size_t Creations() const {
        const auto& calls = ClosedFactories().calls;
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), "CreateVoteDeckObj"));
    }

    LogCapture log_;
    testing::StrictMock<MockSocketVoteDeck> deck_;
    HandlerRecorder handler_;
    std::unique_ptr<ScriptedRV2> object_;
};

}  // namespace test
}  // namespace vdipc
