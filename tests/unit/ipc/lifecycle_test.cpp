#include "support/Endings.h"
#include "support/HandlerTest.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <stdexcept>

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::Return;

class HandlerLifecycle : public HandlerTest {};

TEST_F(HandlerLifecycle, NewHandler_HasItsFieldsAtTheirStart) {
    EXPECT_FALSE(Access::Running(handler()));
    EXPECT_EQ(Access::TaskThread(handler()), nullptr);
    EXPECT_EQ(Access::PingListeningThread(handler()), nullptr);
    EXPECT_EQ(Access::SpareThread(handler()), nullptr);
    EXPECT_EQ(Access::Server(handler()).load(), nullptr);
    EXPECT_EQ(Access::Preferred(handler()), PreferredDeviceType::None);
    EXPECT_TRUE(Access::DeviceObjects(handler()).empty());
    EXPECT_THAT(Access::AudioStoragePath(handler()), testing::Each('\0'));
    EXPECT_THAT(Access::DeviceNames(handler()),
                ElementsAre(Pair(DeviceType::TQ1, "TQ1"), Pair(DeviceType::TQ2, "TQ2"),
                            Pair(DeviceType::RV1, "RV1"), Pair(DeviceType::RV2, "RV2"),
                            Pair(DeviceType::LW, "LW")));
}

/// Ends its process with 0 when two first calls at once have made one object. A construction lasts until a second one
/// comes to the same step, or doesn't in a while.
[[noreturn]] void MakeTwoFirstCalls() {
    std::mutex mutex;
    std::condition_variable changed;
    int constructions = 0;
    SetLogHandlerInstallHook([&] {
        std::unique_lock lock(mutex);
        ++constructions;
        changed.notify_all();
        changed.wait_for(lock, std::chrono::milliseconds(300), [&] { return constructions > 1; });
    });
    auto first = std::async(std::launch::async, [] { return &IpcHandler::Instance(); });
    auto second = std::async(std::launch::async, [] { return &IpcHandler::Instance(); });
    IpcHandler* const object = first.get();
    const bool one = second.get() == object && &IpcHandler::Instance() == object && constructions == 1;
    std::_Exit(one ? 0 : 1);
}

TEST(HandlerInstanceDeathTest, TwoThreadsInAFirstCall_ConstructOneObject) {
    StartDeathTestsAnew();
    EXPECT_EXIT(MakeTwoFirstCalls(), testing::ExitedWithCode(0), "");
}

TEST_F(HandlerLifecycle, QuitCallback_IsTakenAtOnceWithoutALogLine) {
    bool called = false;
    log().Clear();
    handler().SetQuitCallback([&called] { called = true; });
    EXPECT_TRUE(log().Lines().empty());
    EXPECT_EQ(Access::QueuedTasks(handler()), 0u);
    Access::QuitCallbackOf(handler())();
    EXPECT_TRUE(called);
}

TEST_F(HandlerLifecycle, StatusCallback_TakesEffectAsATask) {
    handler().SetVoteDecksStatusChangedCallback([](const std::int32_t*, const std::wstring&) {});
    EXPECT_FALSE(Access::StatusChangedCallbackOf(handler()));
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_TRUE(Access::StatusChangedCallbackOf(handler()));
}

TEST_F(HandlerLifecycle, Tasks_RunInTheOrderOfPostingAlsoFromManyThreads) {
    std::vector<std::vector<int>> seen(4);
    StartTaskThread();
    std::vector<std::thread> posters;
    for (std::size_t poster = 0; poster < seen.size(); ++poster) {
        posters.emplace_back([this, poster, &seen] {
            for (int i = 0; i < 200; ++i) {
                handler().PostTask([&seen, poster, i] { seen[poster].push_back(i); });
            }
        });
    }
    for (std::thread& poster : posters) {
        poster.join();
    }
    StopTaskThread();
    for (const auto& numbers : seen) {
        ASSERT_EQ(numbers.size(), 200u);
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    }
    EXPECT_TRUE(log().Has(LogLevel::Debug, "task loop end"));
}

TEST_F(HandlerLifecycle, Task_MayPostFurtherTasksWithNoLockHeld) {
    std::vector<int> order;
    handler().PostTask([this, &order] {
        order.push_back(1);
        handler().PostTask([&order] { order.push_back(3); });
    });
    handler().PostTask([&order] { order.push_back(2); });
    StartTaskThread();
    EXPECT_TRUE(WaitUntil([this] { return Access::QueuedTasks(handler()) == 0; }));
    StopTaskThread();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST_F(HandlerLifecycle, Task_IsDestroyedBeforeTheLoopGoesOn) {
    auto token = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = token;
    bool was_gone = false;
    handler().PostTask([token = std::move(token)] {});
    handler().PostTask([&] { was_gone = watched.expired(); });
    StartTaskThread();
    StopTaskThread();
    EXPECT_TRUE(was_gone);
}

TEST_F(HandlerLifecycle, ExceptionThatLeavesATask_EndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            std::set_terminate([] {
                std::fputs("standard termination\n", stderr);
                std::abort();
            });
            handler().PostTask([] { throw std::runtime_error("from a task"); });
            StartTaskThread();
            Access::TaskThread(handler())->join();
        },
        "standard termination");
}

TEST_F(HandlerLifecycle, SendWithoutAServer_IsOneTraceLine) {
    log().Clear();
    handler().SendIPCMesage("{}");
    ASSERT_EQ(log().Lines().size(), 1u);
    EXPECT_EQ(log().Lines()[0].level, LogLevel::Trace);
}

TEST_F(HandlerLifecycle, Send_GoesPastTheTaskQueue) {
    UseServer();
    handler().SendIPCMesage("any text");
    ASSERT_EQ(log().OfFunction("PipeServer::SendMsg").size(), 1u);
    EXPECT_EQ(log().OfFunction("PipeServer::SendMsg")[0].rest, "any text");
    EXPECT_EQ(Access::QueuedTasks(handler()), 0u);
}

/// One stop for all tests below, since it takes its two seconds: five objects but for TQ2, whose entry is empty, two
/// tasks queued before, a task posted while the last one runs, and a watchdog that waits for its end.
class HandlerStop : public testing::Test {
protected:
    struct Scenario : HandlerWorld {
        std::vector<std::string> calls;
        std::shared_ptr<IVoteDeckObject> rv2;
        std::chrono::steady_clock::duration duration{};
        std::chrono::steady_clock::time_point last_clear;
        std::chrono::steady_clock::time_point first_down;
        std::uint32_t watchdog_wait = kWaitFailed;
        bool loop_had_ended_for_watchdog = false;
        bool went_on_without_watchdog = false;
        std::promise<void> watchdog_ended;
        bool server_was_there = false;
        bool server_was_there_at_clear = false;
        std::size_t speech_calls_before = 0;
        bool saved_before_engines = false;
        Json::Value saved;

        Scenario() {
            AddAll(kDeviceStatusConnected);
            Access::DeviceObjects(handler())[DeviceType::TQ2].reset();
            rv2 = Access::DeviceObjects(handler())[DeviceType::RV2];
            for (const DeviceType kind :
                 {DeviceType::TQ1, DeviceType::RV1, DeviceType::RV2, DeviceType::LW}) {
                const std::string name = Access::DeviceNames(handler())[kind];
                ON_CALL(Device(kind), ClearTextForAllDevices()).WillByDefault([this, name] {
                    server_was_there_at_clear |= Access::Server(handler()) != nullptr;
                    last_clear = std::chrono::steady_clock::now();
                    calls.push_back("clear " + name);
                });
                ON_CALL(Device(kind), Uninitialize()).WillByDefault([this, name] {
                    if (first_down == std::chrono::steady_clock::time_point()) {
                        first_down = std::chrono::steady_clock::now();
                    }
                    calls.push_back("down " + name);
                });
            }
            ON_CALL(Device(DeviceType::LW), Uninitialize()).WillByDefault([this] {
                calls.emplace_back("down LW");
                handler().PostTask([this] { calls.emplace_back("left behind"); });
            });
            ON_CALL(Device(DeviceType::RV2), GetActivatedDeviceSet())
                .WillByDefault(Return(std::set<std::string>{"12"}));
            Access::ActiveDevices(handler())[DeviceType::LW] = {"4"};
            UseServer();
            handler().PostTask([this] { calls.emplace_back("first"); });
            handler().PostTask([this] {
                calls.emplace_back("second");
                server_was_there = Access::Server(handler()) != nullptr;
            });
            Access::InitSpeechRecognizer(handler());
            Access::InitSpeechEvaluator(handler());
            speech_calls_before = SpeechCalls().size();
            SetSpeechCallHook([this](const std::string& call) {
                if (call == "0:stop") {
                    saved_before_engines = ReadFile(DevicesFile()).find("RV2") != std::string::npos;
                }
            });
            const EventHandle end_of_watchdog = CreateAutoResetEvent();
            Access::PingListeningStopEvent(handler()) = end_of_watchdog;
            Access::PingListeningThread(handler()) = std::make_unique<std::thread>([this, end_of_watchdog] {
                watchdog_wait = WaitForEvent(end_of_watchdog, 60000);
                loop_had_ended_for_watchdog = log().Contains("task loop end");
                // Long enough for a stop that doesn't wait to go on.
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                went_on_without_watchdog = !log().OfFunction("IpcHandler::DeleteVoteDeckObjects").empty();
                watchdog_ended.set_value();
            });
            const auto begin = std::chrono::steady_clock::now();
            StartTaskThread();
            handler().Uninitialize();
            duration = std::chrono::steady_clock::now() - begin;
            SetSpeechCallHook(nullptr);
            watchdog_ended.get_future().wait_for(LogCapture::kPatience);
            CloseEvent(Access::PingListeningStopEvent(handler()).exchange(nullptr));
            saved = ParseJson(ReadFile(DevicesFile()));
        }
    };

    static void SetUpTestSuite() { scenario = std::make_unique<Scenario>(); }
    static void TearDownTestSuite() { scenario.reset(); }
    static inline std::unique_ptr<Scenario> scenario;
};

TEST_F(HandlerStop, TakesAtLeastTwoSeconds) {
    EXPECT_GE(scenario->duration, std::chrono::milliseconds(1990));
}

TEST_F(HandlerStop, TwoSeconds_LieBetweenTheDisplaysAndTheObjectsEnd) {
    EXPECT_GE(scenario->first_down - scenario->last_clear, std::chrono::milliseconds(1990));
}

TEST_F(HandlerStop, Watchdog_IsToldAndWaitedForBehindTheTaskThread) {
    EXPECT_EQ(scenario->watchdog_wait, kWaitSignalled);
    EXPECT_TRUE(scenario->loop_had_ended_for_watchdog);
    EXPECT_FALSE(scenario->went_on_without_watchdog);
    EXPECT_FALSE(Access::PingListeningThread(scenario->handler())->joinable());
}

TEST_F(HandlerStop, StopAndTaskLoop_LogTheirEntriesAtTrace) {
    for (const char* const operation : {"IpcHandler::Uninitialize", "IpcHandler::TaskLoop"}) {
        const auto lines = scenario->log().OfFunction(operation);
        ASSERT_FALSE(lines.empty()) << operation;
        EXPECT_EQ(lines[0].level, LogLevel::Trace) << operation;
        EXPECT_EQ(lines[0].rest, "") << operation;
    }
}

TEST_F(HandlerStop, RunsWhatWasQueued_ThenClearsTheDisplays_ThenTakesTheObjectsDown) {
    EXPECT_THAT(scenario->calls, ElementsAre("first", "second", "clear TQ1", "clear RV1", "clear RV2",
                                             "clear LW", "down TQ1", "down RV1", "down RV2", "down LW"));
}

TEST_F(HandlerStop, Rv2_SurvivesInTheMapAndTheOthersAreDropped) {
    auto& objects = Access::DeviceObjects(scenario->handler());
    EXPECT_EQ(objects.size(), 5u);
    for (const DeviceType kind : kAllKinds) {
        EXPECT_EQ(objects[kind], kind == DeviceType::RV2 ? scenario->rv2 : nullptr);
    }
    const auto lines = scenario->log().Find("do not destroy rv2.0");
    ASSERT_EQ(lines.size(), 2u) << "by the last task and by DeleteVoteDeckObjects";
    EXPECT_EQ(lines[1].function, "IpcHandler::DeleteVoteDeckObjects");
    EXPECT_EQ(lines[0].level, LogLevel::Debug);
}

TEST_F(HandlerStop, SavesTheActivatedSetsAlsoThoseOfDroppedObjects) {
    EXPECT_EQ(scenario->saved["RV2"][0], "12");
    EXPECT_EQ(scenario->saved["LW"][0], "4");
}

TEST_F(HandlerStop, TaskBehindTheLastOne_StaysInTheQueueUnrun) {
    EXPECT_EQ(Access::QueuedTasks(scenario->handler()), 1u);
    EXPECT_THAT(scenario->calls, testing::Not(testing::Contains("left behind")));
}

TEST_F(HandlerStop, Engines_GoLastAndTheRecognizerBeforeTheEvaluators) {
    EXPECT_TRUE(scenario->saved_before_engines);
    auto calls = SpeechCalls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(scenario->speech_calls_before));
    EXPECT_THAT(calls, ElementsAre("0:stop", "0:destroy", "1:stop", "1:destroy", "2:stop", "2:destroy",
                                   "3:stop", "3:destroy", "4:stop", "4:destroy"));
}

TEST_F(HandlerStop, PipeServer_IsDisconnectedAtOnceAndDeletedByATaskBeforeTheDisplaysAreCleared) {
    EXPECT_TRUE(scenario->server_was_there);
    EXPECT_FALSE(scenario->server_was_there_at_clear);
    EXPECT_EQ(Access::Server(scenario->handler()).load(), nullptr);
    EXPECT_EQ(scenario->log().OfFunction("PipeServer::Disconnect").size(), 1u);
    EXPECT_TRUE(scenario->log().Has(LogLevel::Debug, "task loop end"));
    EXPECT_FALSE(Access::Running(scenario->handler()));
}

}  // namespace
}  // namespace vdipc::test
