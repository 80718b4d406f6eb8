// Start and stop: what comes before what, what is posted, and what stays.
#include "support/HandlerTest.h"

#include "unit/drivers/support/Slots.h"

#include <algorithm>
#include <future>
#include <utility>

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Pair;

class HandlerStartAndStop : public HandlerTest {
protected:
    ~HandlerStartAndStop() override {
        SetSpeechCallHook(nullptr);
        if (Access::TaskThread(handler()) != nullptr && Access::TaskThread(handler())->joinable()) {
            StopQuickly();
        }
    }
};

TEST_F(HandlerStartAndStop, Start_TellsTelemetryTheVersion_AndThenClassAndLesson) {
    WriteFile("command_line", R"({"login_cid":"c","login_cnum":"n","login_lnum":"l"})");
    Start();
    EXPECT_THAT(TrackwireSetters(),
                ElementsAre(Pair("SetVDShellVersionW", "2.0.54"), Pair("SetBigClassIdA", "l"),
                            Pair("SetLessonNumA", "n"), Pair("SetClassIdA", "c")));
}

TEST_F(HandlerStartAndStop, TaskThread_IsStartedBehindTheEngines) {
    std::vector<std::string> early;
    SetSpeechCallHook([&](const std::string& call) {
        if (Access::TaskThread(handler()) != nullptr) {
            early.push_back(call);
        }
    });
    Start();
    SetSpeechCallHook(nullptr);
    EXPECT_THAT(SpeechCalls(),
                testing::Contains("4:start(" + std::to_string(SpeechEngines()[4].worker_threads) + ")"));
    EXPECT_THAT(early, IsEmpty());
}

TEST_F(HandlerStartAndStop, ConnectTask_SaysIpcConnectedAtDebug_AndSoDoesTheOneBehindAReadFailure) {
    Start();
    ConnectClient().Close();
    ASSERT_TRUE(log().WaitForCount("IPC connected", 1));
    ConnectClient();
    ASSERT_TRUE(log().WaitForCount("IPC connected", 2)) << log().Text();
    const auto lines = log().Find("IPC connected");
    ASSERT_EQ(lines.size(), 2u);
    for (const LogLine& line : lines) {
        EXPECT_EQ(line.level, LogLevel::Debug) << line.message;
    }
    EXPECT_EQ(lines[0].function.rfind("IpcHandler::Initialize", 0), 0u) << lines[0].function;
    EXPECT_EQ(lines[1].function.rfind("IpcHandler::OnIpcReadError", 0), 0u) << lines[1].function;
}

TEST_F(HandlerStartAndStop, SettingTheStatusCallback_IsOneTraceLine) {
    log().Clear();
    handler().SetVoteDecksStatusChangedCallback([](const std::int32_t*, const std::wstring&) {});
    ASSERT_EQ(log().Lines().size(), 1u) << log().Text();
    EXPECT_EQ(log().Lines()[0].level, LogLevel::Trace);
    EXPECT_EQ(log().Lines()[0].function, "IpcHandler::SetVoteDecksStatusChangedCallback");
    EXPECT_EQ(log().Lines()[0].rest, "");
    // Its task adds no line of its own to the report's.
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    ASSERT_EQ(log().Lines().size(), 2u) << log().Text();
    EXPECT_EQ(log().Lines()[1].level, LogLevel::Trace);
    EXPECT_EQ(log().Lines()[1].function, "IpcHandler::NotifyVoteDecksStatusChanged");
}

TEST_F(HandlerStartAndStop, TaskLoop_LooksAtItsFlagOnlyBehindATask) {
    StartTaskThread();
    ASSERT_TRUE(WaitUntil([this] { return Access::Running(handler()).load(); }));
    Access::Running(handler()) = false;
    Access::WakeTaskLoop(handler());
    const auto ran = std::make_shared<std::promise<void>>();
    handler().PostTask([ran] { ran->set_value(); });
    EXPECT_EQ(ran->get_future().wait_for(LogCapture::kPatience), std::future_status::ready)
        << "a task that is there runs, whatever the flag says";
    Access::TaskThread(handler())->join();
    EXPECT_TRUE(log().Has(LogLevel::Debug, "task loop end"));
}

TEST_F(HandlerStartAndStop, StopWithoutAServer_PostsTwoTasksAndDisconnectsNothing) {
    log().Clear();
    handler().Uninitialize();
    EXPECT_EQ(Access::QueuedTasks(handler()), 2u) << "the displays, and the last one";
    EXPECT_TRUE(log().OfFunction("PipeServer::Disconnect").empty()) << log().Text();
}

TEST_F(HandlerStartAndStop, StopWithAServer_PostsTheTaskThatDeletesItAheadOfThoseTwo) {
    UseServer();
    handler().Uninitialize();
    ASSERT_EQ(Access::QueuedTasks(handler()), 3u);
    EXPECT_NE(Access::Server(handler()).load(), nullptr);
    EXPECT_EQ(log().OfFunction("PipeServer::Disconnect").size(), 1u);
    EXPECT_TRUE(Access::RunOneTask(handler()));
    EXPECT_EQ(Access::Server(handler()).load(), nullptr);
}

TEST_F(HandlerStartAndStop, PreferredKindOpenRequestsAndTimers_SurviveAStopAndAStart) {
    Start();
    Prefer(PreferredDeviceType::Any);
    EvaluateRequest request;
    request.request_id = "open";
    Access::EvaluateRequests(handler())["k"] = request;
    Access::EvaluatorTimers(handler())["k"] = std::make_unique<Timer>();
    const Timer* const timer = Access::EvaluatorTimers(handler())["k"].get();
    const auto expect_all = [&](const char* when) {
        EXPECT_EQ(Access::Preferred(handler()), PreferredDeviceType::Any) << when;
        ASSERT_EQ(Access::EvaluateRequests(handler()).count("k"), 1u) << when;
        EXPECT_EQ(Access::EvaluateRequests(handler())["k"].request_id, "open") << when;
        ASSERT_EQ(Access::EvaluatorTimers(handler()).count("k"), 1u) << when;
        EXPECT_EQ(Access::EvaluatorTimers(handler())["k"].get(), timer) << when;
    };
    handler().Uninitialize();
    expect_all("stopped");
    handler().Initialize();
    WaitUntilOffered();
    expect_all("started anew");
}

TEST_F(HandlerStartAndStop, DeletionOfTheObjects_TakesEachSetAheadOfItsObjectsEnd) {
    AddAll(kDeviceStatusConnected);
    for (const DeviceType kind : {DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1, DeviceType::LW}) {
        InSequence order;
        EXPECT_CALL(Device(kind), GetActivatedDeviceSet());
        EXPECT_CALL(Device(kind), Uninitialize());
    }
    Access::DeleteVoteDeckObjects(handler());
}

// The loss of a client, and what comes of a status.

TEST_F(HandlerStartAndStop, LossOfAClient_IsNoReportToTheHost_AndTellsTelemetryNothing) {
    std::atomic<int> reports{0};
    Access::StatusChangedCallbackOf(handler()) = [&reports](const std::int32_t*, const std::wstring&) {
        ++reports;
    };
    Start();
    const std::size_t setters = TrackwireSetters().size();
    ConnectClient().Close();
    ConnectClient();
    ASSERT_TRUE(log().WaitForCount("IPC connected", 2));
    EXPECT_EQ(reports, 0);
    EXPECT_EQ(TrackwireSetters().size(), setters);
    EXPECT_THAT(TrackwireRecords(), IsEmpty());
    EXPECT_THAT(SentEvents(), IsEmpty());
}

class HandlerStatusChange : public HandlerTest {
protected:
    HandlerStatusChange() {
        AddAll(kDeviceStatusNotConnected);
        SetStatus(DeviceType::RV2, kDeviceStatusNoPower);
        UseServer();
        Prefer(PreferredDeviceType::Any);
        Access::StatusChangedCallbackOf(handler()) = [this](const std::int32_t*, const std::wstring&) {
            ++reports_;
        };
    }

    int reports_ = 0;
};

TEST_F(HandlerStatusChange, BadStatusOfTheStation_IsAnEventAtMost_AndNeverAReportToTheHost) {
    handler().OnRv2BadStatusNotified(kDeviceStatusNoPower);
    EXPECT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(TrackwireRecords().size(), 1u) << "that of the event";
    SetStatus(DeviceType::LW, kDeviceStatusConnected);
    handler().OnRv2BadStatusNotified(kDeviceStatusNoPower);
    EXPECT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(TrackwireRecords().size(), 1u);
    EXPECT_EQ(reports_, 0);
    EXPECT_THAT(TrackwireSetters(), IsEmpty())
        << "what telemetry knows of the receiver changes by an \"init\" alone";
}

TEST_F(HandlerStatusChange, ChangeOfAStatus_IsOneEventAndOneReport_AndTelemetryKeepsItsReceiver) {
    SetStatus(DeviceType::TQ1, kDeviceStatusConnected);
    handler().OnVoteDeckStatusChanged(DeviceType::TQ1, kDeviceStatusConnected);
    EXPECT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(TrackwireRecords().size(), 1u);
    EXPECT_EQ(reports_, 1);
    EXPECT_THAT(TrackwireSetters(), IsEmpty());
}

// The table of the public interface, as a host built elsewhere calls it.

class NotingHandler : public IIpcHandler {
public:
    ~NotingHandler() override { calls.emplace_back("destructor"); }
    void Initialize() override { calls.emplace_back("Initialize"); }
    void SetQuitCallback(QuitCallback callback) override {
        callback();
        calls.emplace_back("SetQuitCallback");
    }
    void SetVoteDecksStatusChangedCallback(VoteDecksStatusChangedCallback callback) override {
        callback(nullptr, L"text");
        calls.emplace_back("SetVoteDecksStatusChangedCallback");
    }
    void Uninitialize() override { calls.emplace_back("Uninitialize"); }

    static inline std::vector<std::string> calls;
};

TEST(HandlerInterface, CalledBySlot_IsTheDestructorThenStartSettersAndStop) {
#if defined(_MSC_VER)
    constexpr int kFirst = 1;
#else
    constexpr int kFirst = 2;  // a destructor takes two
#endif
    NotingHandler::calls.clear();
    int callbacks = 0;
    {
        NotingHandler handler;
        void* const object = static_cast<IIpcHandler*>(&handler);
        SlotRow<kFirst, void>::Call(object);
        SlotRow<kFirst + 1, void, QuitCallback>::Call(object, [&callbacks] { ++callbacks; });
        SlotRow<kFirst + 2, void, VoteDecksStatusChangedCallback>::Call(
            object, [&callbacks](const std::int32_t*, const std::wstring& text) {
                callbacks += text == L"text" ? 1 : 0;
            });
        SlotRow<kFirst + 3, void>::Call(object);
        EXPECT_THAT(NotingHandler::calls, ElementsAre("Initialize", "SetQuitCallback",
                                                      "SetVoteDecksStatusChangedCallback", "Uninitialize"));
        EXPECT_EQ(callbacks, 2);
    }
    NotingHandler::calls.clear();
    // The first slot that holds a destructor leaves the memory alone.
    alignas(NotingHandler) unsigned char memory[sizeof(NotingHandler)];
    IIpcHandler* const made = new (memory) NotingHandler();
#if defined(_MSC_VER)
    SlotRow<0, void*, unsigned int>::Call(made, 0u);
#else
    SlotRow<0, void>::Call(made);
#endif
    EXPECT_THAT(NotingHandler::calls, ElementsAre("destructor"));
}

}  // namespace
}  // namespace vdipc::test
