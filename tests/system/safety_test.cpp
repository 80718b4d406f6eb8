// What docs/safety.md says of the library by design: who can reach it, what such a one can do, and what lies in clear text. A
// statement that stops being true is a change that this page's readers have to hear of.

#include "tests/system/support/RawPipe.h"
#include "tests/system/support/Resources.h"
#include "tests/system/support/SystemTest.h"

#include "tools/common/WideText.h"

#include <windows.h>

#include <filesystem>

namespace vdipc::test {
namespace {

using client::JsonFrameBytes;

class Safety : public SystemTest {
protected:
    // Recordings go below the temporary directory.
    Safety() {
        environment_["TMP"] = tools::Utf8FromWide(Directory());
        environment_["TEMP"] = environment_["TMP"];
    }

    /// A host with the base station, a client and a keypad that is logged on.
    void StartClass(TestClient& client) {
        Start();
        Init(client);
        ConnectKeypads(client, "RV2", 7, 7);
    }

    /// What an action of the client leaves in a file beside the host, as text.
    std::string DevicesFile() const { return GetFile("devices.json"); }
};

/// A handle of the pipe with chosen rights, tried until it is there.
class OpenedPipe {
public:
    explicit OpenedPipe(DWORD rights) {
        WaitFor([&] {
            pipe_ = CreateFileA(client::PipeName().c_str(), rights, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            return pipe_ != INVALID_HANDLE_VALUE;
        });
    }
    OpenedPipe(const OpenedPipe&) = delete;
    OpenedPipe& operator=(const OpenedPipe&) = delete;
    ~OpenedPipe() {
        if (pipe_ != INVALID_HANDLE_VALUE) {
            CloseHandle(pipe_);
        }
    }

    bool IsOpen() const { return pipe_ != INVALID_HANDLE_VALUE; }
    DWORD Available() const {
        DWORD count = 0;
        return PeekNamedPipe(pipe_, nullptr, 0, nullptr, &count, nullptr) != FALSE ? count : 0;
    }

private:
    HANDLE pipe_ = INVALID_HANDLE_VALUE;
};

TEST_F(Safety, ClientThatMayOnlyRead_HoldsTheOneConnectionAndGetsTheEvents) {
    TestClient client;
    StartClass(client);
    client.Disconnect();
    ASSERT_TRUE(WaitFor([] { return IsListening(); }));
    {
        const OpenedPipe reader(GENERIC_READ);
        ASSERT_TRUE(reader.IsOpen());
        ASSERT_TRUE(WaitForLog("Connect ConnectNamedPipe success", 2));
        client::Connection other;
        EXPECT_EQ(other.Open(std::chrono::milliseconds(300)), client::ConnectResult::AnotherClient);
        Do(R"({"do":"leave","keypad":7})");
        EXPECT_TRUE(WaitFor([&] { return reader.Available() > 0; }));
    }
    TestClient next;
    next.Connect();
    EXPECT_TRUE(next.Ping());
}

TEST_F(Safety, NameThatIsTakenBeforehand_GivesTheClientToTheOther) {
    const HANDLE taken =
        CreateNamedPipeA(client::PipeName().c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, 0,
                         PIPE_UNLIMITED_INSTANCES, 65536, 65536, 0, nullptr);
    ASSERT_NE(taken, INVALID_HANDLE_VALUE);
    OVERLAPPED connecting{};
    connecting.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ConnectNamedPipe(taken, &connecting);
    Start();
    ASSERT_TRUE(WaitForLog("Connect begin"));
    EXPECT_EQ(CountInLog("CreateNamedPipe failed"), 0U) << "the library doesn't ask to be the first";
    // The name is older there, so clients are given that instance first.
    const OpenedPipe client(GENERIC_READ | GENERIC_WRITE);
    ASSERT_TRUE(client.IsOpen());
    EXPECT_EQ(WaitForSingleObject(connecting.hEvent, 60000), WAIT_OBJECT_0);
    EXPECT_EQ(CountInLog("Connect ConnectNamedPipe success"), 0U);
    CloseHandle(taken);
    CloseHandle(connecting.hEvent);
}

TEST_F(Safety, FrameThatNeverComesWhole_HoldsItsMemoryAndTheConnection) {
    Start();
    ASSERT_TRUE(WaitFor([] { return IsListening(); }));
    RawPipe pipe;
    ASSERT_TRUE(WaitFor([&] { return pipe.Open(); }));
    ASSERT_TRUE(WaitForLog("Connect ConnectNamedPipe success"));
    const std::uint32_t process = TheHost().TheProcess().Id();
    const std::size_t before = ResourcesOf(process).private_kib;
    constexpr std::int32_t kLength = 200 * 1024 * 1024;
    ASSERT_TRUE(pipe.Write(Header(2018, kLength, 2018)));
    EXPECT_TRUE(WaitFor([&] { return ResourcesOf(process).private_kib > before + kLength / 1024 / 2; }))
        << before << " KiB before, " << ResourcesOf(process).private_kib << " after";
    EXPECT_FALSE(pipe.IsLost());
    client::Connection other;
    EXPECT_EQ(other.Open(std::chrono::milliseconds(300)), client::ConnectResult::AnotherClient);
}

TEST_F(Safety, PrefixWithFolders_PutsTheRecordingElsewhere) {
    TestClient client;
    StartClass(client);
    client.Send(R"({"command":"ask","device":"7","type":"voice-record","custom":"q",
                    "context":{"audio-file-name-prefix":"..\\elsewhere-"}})");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    client.Settle();
    Do(R"({"do":"audio","make":"tone","bytes":6444,"keypad":7})");
    const std::string name = client.Expect("voice-record")["extra"].asString();
    ASSERT_TRUE(name.starts_with("..\\elsewhere-7-")) << name;
    EXPECT_EQ(GetFile(name.substr(3)).size(), 6444U) << "beside the folder of recordings, not in it";
}

TEST_F(Safety, LineBreakInAText_MakesALineOfItsOwnInTheLog) {
    TestClient client;
    StartClass(client);
    client.Send(
        R"({"command":"text","device":"7","row1":"a\r\n[2030-01-01 00:00:00.000][Warn][00001] made up"})");
    EXPECT_TRUE(WaitForLog("\r\n[2030-01-01 00:00:00.000][Warn][00001] made up"));
}

TEST_F(Safety, WhatPupilsAndTeachersSay_LiesInClearTextBesideTheHost) {
    PutFile("command_line", R"({"login_cid": "class-of-may"})");
    TestClient client;
    StartClass(client);
    client.Send(
        R"({"command":"ask","device":"7","type":"single-choice","row1":"who took it?","custom":"q1"})");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    client.Settle();
    Do(R"({"do":"key","keypad":7,"key":"B"})");
    client.Expect("key-pressed");
    client.Send(R"({"command":"ask","device":"7","type":"audio","custom":"q2"})");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 2));
    client.Settle();
    Do(R"({"do":"speech","engine":"recognizer","result":"it was me"})");
    Do(R"({"do":"audio","make":"tone","bytes":6444,"keypad":7})");
    const std::string recording = client.Expect("audio-recognized")["extra"].asString();

    EXPECT_EQ(GetFile("ZVN\\" + recording).size(), 6444U) << "the recording, as it was spoken";
    EXPECT_TRUE(WaitForLog("who took it?")) << "the question";
    EXPECT_TRUE(WaitForLog("class-of-may")) << "the class";
    EXPECT_TRUE(WaitForLog("it was me")) << "what was said";
    EXPECT_NE(DevicesFile().find("\"7\""), std::string::npos) << "who was there: " << DevicesFile();
    const auto told = [this](const char* action, const char* text) {
        return WaitFor([&] {
            for (const Json::Value& record : Telemetry(action)) {
                if (tools::CompactJson(record["pairs"]).find(text) != std::string::npos) {
                    return true;
                }
            }
            return false;
        });
    };
    EXPECT_TRUE(told("ipc_vdk_command_ask", "who took it?")) << "the question, to telemetry";
    EXPECT_TRUE(told("ipc_vdk_event_key_pressed", "\"B\"")) << "the answer, to telemetry";
    EXPECT_TRUE(told("ipc_vdk_event_audio_recognized", "it was me")) << "what was said, to telemetry";
    Stop();
    EXPECT_NE(GetFile("ZVN\\" + recording).size(), 0U) << "nobody deletes it";
}

TEST_F(Safety, LogAndDevicesFile_CanBeReadAndCopiedWhileTheHostRuns) {
    TestClient client;
    StartClass(client);
    const std::filesystem::path folder(Directory());
    const std::wstring log = tools::FindLogFile(Directory());
    EXPECT_NE(CopyFileW(log.c_str(), (folder / L"copy.log").c_str(), FALSE), FALSE);
    EXPECT_NE(CopyFileW((folder / L"devices.json").c_str(), (folder / L"copy.json").c_str(), FALSE), FALSE);
    EXPECT_FALSE(DeleteFileW(log.c_str()) != FALSE) << "who clears up has to wait for the end of the host";
}

}  // namespace
}  // namespace vdipc::test
