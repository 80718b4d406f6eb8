// The pipe through the real DLL: frames, pings, connections that come and go.

#include "tests/system/support/SystemTest.h"

#include "pipe/PipeServer.h"

#include <windows.h>

#include <cstring>

namespace vdipc::test {
namespace {

using client::Frame;
using client::FrameBytes;
using client::JsonFrameBytes;
using client::PingBytes;

class PipeSystem : public SystemTest {};

/// A header alone, with any numbers in it.
std::string Header(std::int32_t type, std::int32_t length, std::int32_t command) {
    const std::int32_t fields[3] = {type, length, command};
    std::string bytes(sizeof fields, '\0');
    std::memcpy(bytes.data(), fields, sizeof fields);
    return bytes;
}

TEST_F(PipeSystem, PingWithoutAnyCommand_GetsItsReply) {
    Start();
    TestClient client;
    client.Connect();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(client.Ping()) << i;
    }
    EXPECT_EQ(CountInLog("ping received, set event"), 0U);
}

TEST_F(PipeSystem, PingWithAnotherCommand_GetsNoReply) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.SendBytes(Header(8, 0, 200)));
    ASSERT_TRUE(client.SendBytes(Header(8, 0, 202)));
    // One reply for the one real ping, and the count of log entries says that no other ping was seen.
    ASSERT_TRUE(client.Ping());
    EXPECT_EQ(CountInLog("IpcHandler::OnIpcPingreceived:"), 1U);
}

TEST_F(PipeSystem, PingThatIsInThePipeAtConnecting_GetsItsReply) {
    Start();
    for (int i = 0; i < 20; ++i) {
        TestClient client;
        client.Connect();
        ASSERT_TRUE(client.Ping()) << i;
    }
}

TEST_F(PipeSystem, BusyTaskThread_DoesNotDelayPings) {
    Start();
    TestClient client;
    client.Connect();
    // A start of the station waits on the task thread for as long as its script hangs.
    Do(R"({"do":"station","state":"hang","notice":false})");
    client.Send("init audio");
    ASSERT_TRUE(WaitForLog("VoteDeckObject_RV2::Initialize:"));
    ASSERT_TRUE(client.Ping());
    EXPECT_TRUE(client.All("device-inited").empty()) << "the task thread was busy no more";
    Do(R"({"do":"station","state":"up","notice":false})");
    client.Expect("device-inited", R"({"ready":true})");
}

TEST_F(PipeSystem, JsonFrameWithAnotherCommandNumber_IsDelivered) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(
        client.SendBytes(FrameBytes({2018, 7, R"({"command":"init","preferred-device-type":"audio"})"})));
    EXPECT_EQ(client.Expect("device-inited")["ready"], true);
}

TEST_F(PipeSystem, EmptyJsonFrame_IsDroppedAndTheNextOneServed) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.SendBytes(Header(2018, 0, 2018)));
    ASSERT_TRUE(WaitForLog("task begin msg="));
    client.Send("init audio");
    client.Expect("device-inited");
}

TEST_F(PipeSystem, UnknownTypeWithPayload_KeepsTheStreamInStep) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.SendBytes(FrameBytes({77, 1, "nobody knows this kind"})));
    client.Send("init audio");
    client.Expect("device-inited");
}

TEST_F(PipeSystem, NegativeLengthOfAnUnknownType_ReadsNoPayload) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.SendBytes(Header(77, -5, 1)));
    ASSERT_TRUE(client.Ping());
}

TEST_F(PipeSystem, JsonFrameWithNegativeLength_EndsTheProcess) {
    expect_clean_end_ = false;
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.SendBytes(Header(2018, -1, 2018)));
    EXPECT_NE(WaitForHostEnd(), 0U);
}

TEST_F(PipeSystem, LengthThatNoMemoryHolds_EndsTheProcess) {
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) {
        GTEST_SKIP() << "Wine takes a job object's memory limit, and doesn't hold anybody to it";
    }
    expect_clean_end_ = false;
    Start();
    TestClient client;
    client.Connect();
    // A job object bounds the host's memory, so that two gigabytes are not to be had.
    const HANDLE job = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_PROCESS_MEMORY;
    limits.ProcessMemoryLimit = 512U << 20U;
    const HANDLE process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, TheHost().TheProcess().Id());
    const bool limited =
        SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits) != 0 &&
        AssignProcessToJobObject(job, process) != 0;
    CloseHandle(process);
    ASSERT_TRUE(limited);
    ASSERT_TRUE(client.SendBytes(Header(2018, 0x7FFFFFFF, 2018)));
    EXPECT_NE(WaitForHostEnd(), 0U);
    CloseHandle(job);
}

TEST_F(PipeSystem, PayloadInTwoPieces_CostsTheConnection) {
    Start();
    TestClient client;
    client.Connect();
    const std::string frame = JsonFrameBytes(R"({"command":"init","preferred-device-type":"audio"})");
    ASSERT_TRUE(client.SendBytes(frame.substr(0, 20)));
    ASSERT_TRUE(client.WaitUntilLost());
    EXPECT_TRUE(WaitForLog("Read msg failed"));
    TestClient next;
    Init(next);
}

TEST_F(PipeSystem, ClientLeavingBetweenFrames_EndsTheReaderOnce) {
    Start();
    {
        TestClient client;
        client.Connect();
        ASSERT_TRUE(client.Ping());
    }
    ASSERT_TRUE(WaitForLog("Read data error, terminate ReadThread"));
    TestClient next;
    next.Connect();
    ASSERT_TRUE(next.Ping());
    EXPECT_EQ(CountInLog("Read type failed"), 1U);
    EXPECT_EQ(CountInLog("Read data error, terminate ReadThread"), 1U);
}

TEST_F(PipeSystem, SecondClientWhileOneIsServed_GetsNoInstance) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.Ping());
    client::Connection second;
    EXPECT_EQ(second.Open(std::chrono::milliseconds(300)), client::ConnectResult::AnotherClient);
    ASSERT_TRUE(client.Ping());
}

TEST_F(PipeSystem, CommandsSentAtOnce_AreHandledInTheirOrder) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 5, 5);
    std::string bytes;
    for (int i = 0; i < 50; ++i) {
        bytes += JsonFrameBytes(R"({"command":"text","device":"5","row1":"row )" + std::to_string(i) + "\"}");
    }
    ASSERT_TRUE(client.SendBytes(bytes));
    ASSERT_TRUE(WaitForCalls("SendContext", 50));
    const std::vector<Json::Value> calls = Calls("SendContext");
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i]["args"]["row1"]["text"], "row " + std::to_string(i));
    }
}

TEST_F(PipeSystem, ReconnectedClient_FindsEverythingAsItWasWithoutInit) {
    Start();
    {
        TestClient client;
        Init(client);
        ConnectKeypads(client, "RV2", 1, 3);
    }
    ASSERT_TRUE(WaitForLog("Connect begin", 2));
    TestClient next;
    next.Connect();
    next.Send("ask 0 single-choice custom=again");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    Do(R"({"do":"key","kind":"RV2","from":1,"to":3,"key":"B"})");
    for (int keypad = 1; keypad <= 3; ++keypad) {
        next.Expect("key-pressed",
                    R"({"key":"B","custom":"again","device":")" + std::to_string(keypad) + R"("})");
    }
    EXPECT_TRUE(next.All("device-inited").empty());
}

TEST_F(PipeSystem, EventsOfTheGap_ReachTheSecondClient) {
    Start();
    {
        TestClient client;
        Init(client);
        ConnectKeypads(client, "RV2", 1, 3);
        client.Send("ask 0 single-choice custom=gap");
        ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    }
    ASSERT_TRUE(WaitForLog("Connect begin", 2));
    Do(R"({"do":"key","kind":"RV2","from":1,"to":3,"key":"A"})");
    TestClient next;
    next.Connect();
    for (int keypad = 1; keypad <= 3; ++keypad) {
        next.Expect("key-pressed",
                    R"({"key":"A","custom":"gap","device":")" + std::to_string(keypad) + R"("})");
    }
}

TEST_F(PipeSystem, NoPingAtAll_ChangesNothing) {
    Start();
    TestClient client;
    Init(client);
    // Longer than the three seconds of the watchdog that is not armed.
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    client.Send("init audio");
    client.Expect("device-inited");
    EXPECT_TRUE(Telemetry("vdk_listening_ping_timeout").empty());
}

TEST_F(PipeSystem, MessageBeforeInit_IsReportedToTelemetryAndIgnored) {
    Start();
    TestClient client;
    client.Connect();
    client.Send("ask 0 single-choice id=7 custom=early");
    ASSERT_TRUE(WaitForLog("Cause none device is inited, ignore command"));
    ASSERT_TRUE(client.Ping());
    EXPECT_TRUE(client.Rest().empty());
    ASSERT_TRUE(WaitFor([this] { return Telemetry("ipc_vdk_command_ask").size() == 1; }));
}

}  // namespace
}  // namespace vdipc::test
