// The library stopped in every state, again and again in one process: each stop comes to its end in time, and leaves
// nothing behind but what a stop is known to leave.

#include "tests/system/support/FaultTest.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <iostream>
#include <iterator>
#include <thread>
#include <vector>

namespace vdipc::test {
namespace {

using client::JsonFrameBytes;

/// What a stop leaves behind where the library was in the middle of a read, or of a write: the event of that operation.
constexpr std::size_t kReadEvent = 1;
constexpr std::size_t kWriteEvent = 1;

class StopFaults : public FaultTest {
protected:
    void SetUp() override { UseCycleHost(); }

    /// Brings the library into a state, and stops and starts it there, many times. The state is undone by `after`.
    void StopIn(
        const std::string& name, const std::function<void(FaultRow&, std::size_t)>& state,
        const Resources& each, const std::function<void()>& after = [] {}, std::size_t times = Repeated(4)) {
        Start();
        FaultRow row(name, HostId());
        const Resources allowed = {each.handles * times + 2, each.threads * times,
                                   each.private_kib * times + FaultRow::kHeapRoomKib};
        std::chrono::milliseconds longest{0};
        std::size_t number = 0;
        const auto play = [&] {
            state(row, number++);
            ASSERT_FALSE(HasFailure()) << number;
            const auto begin = std::chrono::steady_clock::now();
            ASSERT_TRUE(Tell("stop", "down", kStopDeadline)) << "the stop hangs, time " << number;
            longest = std::max(longest, std::chrono::duration_cast<std::chrono::milliseconds>(
                                            std::chrono::steady_clock::now() - begin));
            after();
            ASSERT_TRUE(Tell("start", "up"));
            ASSERT_TRUE(WaitForListening());
        };
        play();
        row.FinishPlaying(
            [&] {
                for (std::size_t i = 0; i < times && !HasFailure(); ++i) {
                    play();
                    row.Count();
                }
            },
            allowed);
        std::cout << "row " << name << ": longest stop " << longest.count() << " ms" << std::endl;
    }
};

TEST_F(StopFaults, HostThatHangsBehindItsLastWord_IsToldFromOneThatHangsBeforeIt) {
    expect_clean_end_ = false;
    const auto hangs_at_its_end = [this](const std::string& word) {
        Start();
        TheHost().TheProcess().WriteLine("hang " + word);
        const auto is_told = [this] {
            try {
                EXPECT_FALSE(TheHost().WaitForEnd(100));
            } catch (const tools::HungAtItsEnd&) {
                return true;
            }
            return false;
        };
        if (word == "stopping") {
            EXPECT_TRUE(WaitBriefly([&] { return CountHostStates(word) > 0; }, kPatience));
            return is_told();
        }
        return WaitBriefly(is_told, kPatience);
    };
    for (const auto& [word, expected] :
         {std::pair{"stopped", true}, {"terminate called", true}, {"stopping", false}}) {
        EXPECT_EQ(hangs_at_its_end(word), expected) << word;
        TheHost().TheProcess().Kill();
        WaitForHostEnd();
    }
}

TEST_F(StopFaults, NeverConnected_LeavesNothing) {
    StopIn("stop, never connected", [this](FaultRow&, std::size_t) { ASSERT_TRUE(WaitForListening()); }, {});
}

TEST_F(StopFaults, Connected_LeavesTheEventOfTheRead) {
    RawPipe pipe;
    StopIn(
        "stop, connected", [&](FaultRow& row, std::size_t) { Connect(pipe, row); }, {kReadEvent, 0, 0},
        [&] {
            EXPECT_TRUE(pipe.WaitUntilLost(kSoon));
            pipe.Close();
        });
}

TEST_F(StopFaults, InTheMiddleOfAFrame_LeavesTheEventOfTheRead) {
    RawPipe pipe;
    StopIn(
        "stop, mid-frame",
        [&](FaultRow& row, std::size_t i) {
            Connect(pipe, row);
            ASSERT_TRUE(pipe.WriteAndDrain(Header(2018, 1000, 2018).substr(0, 4 * (i % 3 + 1))));
        },
        {kReadEvent, 0, 0},
        [&] {
            EXPECT_TRUE(pipe.WaitUntilLost(kSoon));
            pipe.Close();
        });
}

TEST_F(StopFaults, EventsQueued_LeavesTheEventsOfReadAndWrite) {
    RawPipe pipe;
    StopIn(
        "stop, events queued",
        [&](FaultRow& row, std::size_t i) {
            Connect(pipe, row);
            Do(R"({"do":"reset-saw"})");
            ASSERT_TRUE(pipe.Write(JsonFrameBytes(R"({"command":"init","preferred-device-type":"audio"})")));
            ASSERT_TRUE(WaitForCalls("SetSessionEnabled", 1));
            if (i == 0) {
                Do(R"({"do":"connect","from":1,"to":20})");
            }
            ASSERT_TRUE(
                pipe.Write(JsonFrameBytes(R"({"command":"ask","device":"0","type":"general","custom":")" +
                                          std::string(4000, 'c') + "\"}")));
            ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
            Do(R"({"do":"key","from":1,"to":20,"key":"A","repeat":10})");
            // More than the pipe holds, and nobody reads: the writer is in the middle of a frame.
            ASSERT_TRUE(WaitBriefly([&] { return pipe.Available() >= 500000; }, kSoon));
        },
        {kReadEvent + kWriteEvent, 0, 0},
        [&] {
            EXPECT_TRUE(pipe.WaitUntilLost(kSoon));
            pipe.Close();
        });
}

TEST_F(StopFaults, QuestionOpen_LeavesTheEventOfTheRead) {
    TestClient client;
    StopIn(
        "stop, a question open",
        [&](FaultRow&, std::size_t) {
            Do(R"({"do":"reset-saw"})");
            Init(client, "any");
            Do(R"({"do":"connect","from":1,"to":3})");
            Do(R"({"do":"connect","kind":"TQ1","from":11,"to":13})");
            client.Send("ask 0 multiple-choice row1=open custom=q");
            ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
            Do(R"({"do":"key","from":1,"to":3,"key":"A"})");
        },
        {kReadEvent, 0, 0}, [&] { EXPECT_TRUE(client.WaitUntilLost()); });
}

TEST_F(StopFaults, RecordingUnderEvaluation_LeavesTheOpenRequests) {
    TestClient client;
    // Requests are open for good when their answers never come: three with a recording each.
    constexpr std::size_t kOpenKib = 3 * 6444 / 1024 + 16;
    StopIn(
        "stop, recordings under evaluation",
        [&](FaultRow&, std::size_t i) {
            Do(R"({"do":"reset-saw"})");
            SetEngine("all", R"("mode":"hand")");
            Init(client);
            if (i == 0) {
                ConnectKeypads(client, "RV2", 1, 4);
            }
            client.Send("ask 1 audio custom=a");
            client.Send("ask 2 audio-single custom=b stem=red");
            client.Send("ask 3 audio-multiple custom=c stem=red");
            client.Send(
                R"({"command":"ask","device":"4","type":"evaluation","custom":"d","context":{"param":{"a":1}}})");
            ASSERT_TRUE(WaitForCalls("StartQuestion", 4));
            Do(R"({"do":"audio","from":1,"to":4,"make":"tone","bytes":6444})");
            ASSERT_TRUE(WaitFor([this] { return Saw("recognize").size() + Saw("evaluate").size() >= 4; }));
        },
        {kReadEvent, 0, kOpenKib}, [&] { EXPECT_TRUE(client.WaitUntilLost()); });
}

TEST_F(StopFaults, ProbeScriptHanging_IsWaitedForTwoSeconds) {
    TestClient client;
    std::size_t stops = 0;
    StopIn(
        "stop, the probe script hanging",
        [&](FaultRow&, std::size_t) {
            Init(client);
            EXPECT_GE(Do(R"({"do":"station","state":"hang","notice":true})")["notices"].asInt(), 1);
        },
        // The notice comes from another thread of the classroom each time, which gets a message queue by it.
        {kReadEvent + 1, 0, 0},
        [&] {
            EXPECT_TRUE(client.WaitUntilLost());
            EXPECT_GE(CountInLog("CheckStatus timeout for rv2, skip."), ++stops) << "the look was broken off";
            Do(R"({"do":"station","state":"up","notice":false})");
        },
        Repeated(3));
}

TEST_F(StopFaults, ProbeScriptHangingAtInit_HoldsTheStopUntilItAnswers) {
    Start();
    FaultRow row("stop, the probe script hanging at init", HostId());
    for (std::size_t i = 0; i < Repeated(1); ++i) {
        TestClient client;
        client.Connect();
        Do(R"({"do":"station","state":"hang","notice":false})");
        client.Send("init audio");
        client.Settle();
        EXPECT_FALSE(Tell("stop", "down", std::chrono::seconds(6))) << "a start without a bound was left";
        Do(R"({"do":"station","state":"up","notice":false})");
        ASSERT_TRUE(WaitBriefly([&] { return CountHostStates("down") == i + 1; }, kStopDeadline));
        ASSERT_TRUE(Tell("start", "up"));
        row.Count();
    }
    ASSERT_TRUE(WaitForListening());
    // The first "init" brings up what stays for good.
    row.Finish({64, 8, 16 * 1024});
}

TEST_F(StopFaults, ClientLostBehindALongTask_HoldsTheStopUntilAnotherClientComes) {
    Start();
    FaultRow row("stop, a client lost behind a long task", HostId());
    for (std::size_t i = 0; i < Repeated(1); ++i) {
        TestClient client;
        Init(client);
        Do(R"({"do":"station","state":"hang","notice":false})");
        Tail().Mark();
        client.Send("init audio");
        ASSERT_TRUE(Tail().WaitFor(" preferred_device_type=", 1, kSoon));
        client.Disconnect();
        ASSERT_TRUE(Tail().WaitFor("Read data error, terminate ReadThread", 1, kSoon));
        // The stop finds a connection, and the task behind the start of the station then waits for a client that nobody
        // sends away.
        TheHost().TheProcess().WriteLine("stop");
        ASSERT_TRUE(Tail().WaitFor("IpcHandler::Uninitialize:", 1, kSoon));
        EXPECT_EQ(Tail().Count("Connect begin"), 0U) << "the loss was handled before the stop";
        Do(R"({"do":"station","state":"up","notice":false})");
        EXPECT_FALSE(WaitBriefly([&] { return CountHostStates("down") == i + 1; }, std::chrono::seconds(5)))
            << "a stop without a bound was left";
        RawPipe visitor;
        ASSERT_TRUE(WaitBriefly([&] { return visitor.Open(); }, kSoon));
        ASSERT_TRUE(WaitBriefly([&] { return CountHostStates("down") == i + 1; }, kStopDeadline));
        visitor.Close();
        ASSERT_TRUE(Tell("start", "up"));
        ASSERT_TRUE(WaitForListening());
        row.Count();
    }
    // The instance of the pipe that was made too late, the event of its read, and what the first "init" brings up for good.
    row.Finish({64 + 2 * row.Times(), 8, 16 * 1024});
}

TEST_F(StopFaults, LoadStartStop_AgainAndAgainInOneProcess) {
    // "stop" and "start" in one breath, and the library loaded and freed besides.
    StopIn(
        "load, start, stop",
        [&](FaultRow&, std::size_t) {
            TestClient client;
            Init(client, "any");
            client.Settle();
            client.Disconnect();
            ASSERT_TRUE(WaitForListening());
            ASSERT_TRUE(Tell("again", "again", kStopDeadline));
            ASSERT_TRUE(WaitForListening());
            ASSERT_TRUE(Tell("load 1000", "loaded"));
        },
        {}, [] {}, Repeated(3));
}

TEST_F(StopFaults, CallbacksOfAllLibrariesDuringAndAfterTheStop_FindNobodyAndHarmNobody) {
    environment_["CLASSROOM_PLUGGED"] = "TQ1,TQ2,RV1,LW";
    static const char* const kActions[] = {
        R"({"do":"key","from":1,"to":5,"key":"A"})",
        R"({"do":"connect","from":1,"to":5})",
        R"({"do":"leave","from":1,"to":5})",
        R"({"do":"audio","from":1,"to":3,"make":"tone","bytes":6444})",
        R"({"do":"event","kind":"RV2","name":"OnKeypadStateEvent"})",
        R"({"do":"key","kind":"TQ1","from":11,"to":15,"key":"A"})",
        R"({"do":"connect","kind":"TQ2","from":21,"to":25})",
        R"({"do":"leave","kind":"TQ2","from":21,"to":25})",
        R"({"do":"audio","kind":"TQ1","from":11,"to":13,"make":"tone","bytes":6444})",
        R"({"do":"key","kind":"RV1","from":31,"to":33,"key":"B"})",
        R"({"do":"key","kind":"LW","from":41,"to":43,"key":9})",
        R"({"do":"unplug","kind":"TQ1"})",
        R"({"do":"plug","kind":"TQ1"})",
        R"({"do":"io-error","kind":"TQ2"})",
        R"({"do":"link","kind":"LW","state":"down"})",
        R"({"do":"link","kind":"LW","state":"up"})",
        R"({"do":"get-device-info","kind":"TQ1","text":"x","number":1})",
        R"({"do":"event","kind":"TQ1","name":"OnReceiveData"})",
        R"({"do":"notice","what":"nodes"})",
        R"({"do":"log","text":"a line of the receivers' library"})",
        R"({"do":"speech-answer","engine":"all","every":true,"after_stop":true,"keep":true})"};
    TestClient client;
    std::atomic<std::size_t> callbacks{0};
    std::atomic<std::size_t> refused{0};
    std::atomic<bool> storm{false};
    std::vector<std::thread> threads;
    const auto end_storm = [&] {
        storm = false;
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
    };
    StopIn(
        "callbacks during and after the stop",
        [&](FaultRow&, std::size_t) {
            SetEngine("all", R"("mode":"hand")");
            Init(client, "any");
            client.Send("ask 0 audio custom=storm");
            client.Settle();
            Do(R"({"do":"audio","from":1,"to":3,"make":"tone","bytes":6444})");
            storm = true;
            for (std::size_t number = 0; number < 3; ++number) {
                threads.emplace_back([&, number] {
                    tools::ClassroomClient classroom(TheHost().ClassroomPort());
                    for (std::size_t at = number; storm; at += 4) {
                        try {
                            const Json::Value answer =
                                classroom.Do(Parsed(kActions[at % std::size(kActions)]));
                            callbacks += answer["callbacks"].asUInt();
                        } catch (const std::exception&) {
                            ++refused;  // no request is open, or no engine is there
                        }
                    }
                });
            }
        },
        // Requests whose answers were not for them stay open, as told above. Events go out until the stop, so that it meets
        // a write now and then.
        {kReadEvent + kWriteEvent, 0, 256},
        [&] {
            // The library is down, and the storm goes on.
            const std::size_t before = refused + callbacks;
            EXPECT_TRUE(WaitBriefly([&] { return refused + callbacks > before + 10; }, kSoon));
            end_storm();
        });
    if (!threads.empty()) {
        end_storm();
    }
    std::cout << callbacks << " callbacks, " << refused << " actions refused" << std::endl;
    EXPECT_GT(callbacks, 100U);
}

}  // namespace
}  // namespace vdipc::test
