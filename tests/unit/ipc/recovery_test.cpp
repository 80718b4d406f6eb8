#include "support/HandlerTest.h"

#include "common/Event.h"

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

class HandlerRecovery : public HandlerTest {};

TEST_F(HandlerRecovery, AHundredPings_LeaveEventAndThreadNull) {
    for (int i = 0; i < 100; ++i) {
        Access::OnIpcPingreceived(handler());
    }
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
    EXPECT_EQ(Access::PingReceivedEvent(handler()).load(), nullptr);
    EXPECT_EQ(Access::PingListeningThread(handler()), nullptr);
    EXPECT_EQ(log().OfFunction("IpcHandler::OnIpcPingreceived").size(), 100u);
    EXPECT_EQ(Access::QueuedTasks(handler()), 0u);
}

// No routine counts the time since the last ping, so any stretch without one is like the next.
TEST_F(HandlerRecovery, NoPingAtAll_StartsNothingThatCouldNoticeIt) {
    int quits = 0;
    handler().SetQuitCallback([&quits] { ++quits; });
    Access::OnIpcPingreceived(handler());
    StartTaskThread();
    StopTaskThread();
    EXPECT_EQ(Access::PingListeningThread(handler()), nullptr);
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
    EXPECT_EQ(quits, 0);
    EXPECT_TRUE(log().OfFunction("IpcHandler::ListenPing").empty());
    EXPECT_TRUE(TrackwireRecords("vdk_listening_ping_timeout").empty());
}

TEST_F(HandlerRecovery, WatchdogRoutine_IsKeptAliveByPingsAndEndedByTheStopEvent) {
    int quits = 0;
    handler().SetQuitCallback([&quits] { ++quits; });
    std::thread watchdog([this] { Access::ListenPing(handler()); });
    EXPECT_TRUE(WaitUntil([this] { return Access::PingListeningStopEvent(handler()) != nullptr; }));
    Access::OnIpcPingreceived(handler());
    EXPECT_TRUE(log().WaitFor("ping_received_event_ set, continue"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "ping_received_event_ set, continue"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "ping received, set event"));
    SignalEvent(Access::PingListeningStopEvent(handler()));
    watchdog.join();
    EXPECT_TRUE(log().Has(LogLevel::Debug, "ping_listening_stop_event_ set, stop"));
    EXPECT_EQ(quits, 0);
    EXPECT_EQ(Access::PingReceivedEvent(handler()).load(), nullptr);
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
}

TEST_F(HandlerRecovery, WatchdogRoutineWithoutAPing_ReportsAndCallsTheQuitCallbackAfterThreeSeconds) {
    int quits = 0;
    handler().SetQuitCallback([&quits] { ++quits; });
    const auto begin = std::chrono::steady_clock::now();
    Access::ListenPing(handler());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2900));
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(log().Has(LogLevel::Debug, "WaitForMultipleObjects result=WAIT_TIMEOUT, exit process"));
    const auto records = TrackwireRecords("vdk_listening_ping_timeout");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_THAT(records[0].Keys(), testing::ElementsAre("Action", "reporttime"));
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
}

#if !defined(_WIN32)
/// Which of the two events there is none of, "received" being made first.
struct RefusedEvent {
    const char* name;
    std::size_t behind;
};

class HandlerWatchdogWithoutAnEvent : public HandlerTest, public testing::WithParamInterface<RefusedEvent> {};

TEST_P(HandlerWatchdogWithoutAnEvent, Routine_SaysSoAndEndsAtOnceAndLeavesWhatItHas) {
    int quits = 0;
    handler().SetQuitCallback([&quits] { ++quits; });
    log().Clear();
    const std::size_t events = NativeOpenEvents();
    FailEventCreation(GetParam().behind, 1450);
    Access::ListenPing(handler());
    EXPECT_EQ(quits, 0);
    ASSERT_EQ(log().Lines().size(), 1u) << log().Text();
    EXPECT_EQ(log().Lines()[0].level, LogLevel::Warn);
    EXPECT_EQ(log().Lines()[0].function, "IpcHandler::ListenPing");
    EXPECT_EQ(log().Lines()[0].rest, "CreateEvent failed error=1450");
    EXPECT_TRUE(TrackwireRecords().empty());
    const EventHandle received = Access::PingReceivedEvent(handler()).exchange(nullptr);
    const EventHandle stop = Access::PingListeningStopEvent(handler()).exchange(nullptr);
    EXPECT_EQ(received == nullptr, GetParam().behind == 0);
    EXPECT_EQ(stop == nullptr, GetParam().behind == 1);
    EXPECT_EQ(NativeOpenEvents(), events + 1) << "the other one stays open";
    CloseEvent(received);
    CloseEvent(stop);
}

INSTANTIATE_TEST_SUITE_P(Each, HandlerWatchdogWithoutAnEvent,
                         testing::Values(RefusedEvent{"Received", 0}, RefusedEvent{"Stop", 1}),
                         [](const auto& row) { return row.param.name; });

TEST_F(HandlerRecovery, WatchdogRoutineWhoseWaitFails_WarnsAndCallsTheQuitCallbackWithoutTelemetry) {
    int quits = 0;
    handler().SetQuitCallback([&quits] { ++quits; });
    log().Clear();
    ForceNextWaitForEither(kWaitFailed, 6);
    const std::size_t events = NativeOpenEvents();
    Access::ListenPing(handler());
    EXPECT_EQ(quits, 1);
    ASSERT_EQ(log().Lines().size(), 1u) << log().Text();
    EXPECT_EQ(log().Lines()[0].level, LogLevel::Warn);
    EXPECT_EQ(log().Lines()[0].function, "IpcHandler::ListenPing");
    EXPECT_EQ(log().Lines()[0].rest, "WaitForMultipleObjects result=WAIT_FAILED, error=6, exit process");
    EXPECT_TRUE(TrackwireRecords().empty());
    EXPECT_EQ(Access::PingReceivedEvent(handler()).load(), nullptr);
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
    EXPECT_EQ(NativeOpenEvents(), events);
}

TEST_F(HandlerRecovery, WatchdogRoutineWhoseWaitGivesAnythingElse_SaysSoAndCallsTheQuitCallback) {
    int quits = 0;
    handler().SetQuitCallback([&quits] { ++quits; });
    log().Clear();
    ForceNextWaitForEither(128, 0);
    Access::ListenPing(handler());
    EXPECT_EQ(quits, 1);
    ASSERT_EQ(log().Lines().size(), 1u) << log().Text();
    EXPECT_EQ(log().Lines()[0].level, LogLevel::Debug);
    EXPECT_EQ(log().Lines()[0].rest, "WaitForMultipleObjects result=128, exit process");
    EXPECT_TRUE(TrackwireRecords().empty());
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
}
#endif

TEST_F(HandlerRecovery, ReadError_IsOnlyATask) {
    UseServer();
    Access::OnIpcReadError(handler());
    EXPECT_EQ(Access::QueuedTasks(handler()), 1u);
    EXPECT_TRUE(log().OfFunction("PipeServer::Disconnect").empty());
}

TEST_F(HandlerRecovery, ReadErrorAfterTheServerIsGone_DoesNothing) {
    Access::OnIpcReadError(handler());
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_FALSE(log().Contains("IPC connected"));
}

}  // namespace
}  // namespace vdipc::test
