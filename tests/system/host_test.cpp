// Start and stop of the real host with the real DLL, and the two console programs.

#include "tests/system/support/SystemTest.h"

#include "support/SchemaCheck.h"
#include "tools/common/Process.h"
#include "tools/common/WideText.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace vdipc::test {
namespace {

using tools::OwnDirectory;
using tools::Process;
using tools::ProcessOptions;

class HostSystem : public SystemTest {};
class ClientSystem : public SystemTest {
protected:
    /// Runs vdclient.exe to its end with these lines as its input.
    std::uint32_t RunClient(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& lines = {}) {
        output_.clear();
        errors_.clear();
        ProcessOptions options;
        options.executable = OwnDirectory() + L"vdclient.exe";
        options.arguments = arguments;
        options.on_output = [this](const std::string& line) {
            output_.push_back(line);
            if (Parsed(line).isMember("event")) {
                EXPECT_EQ(CheckEvent(line), "") << line;
            }
        };
        options.on_error = [this](const std::string& line) { errors_ += line + "\n"; };
        Process process(options);
        for (const std::string& line : lines) {
            process.WriteLine(line);
        }
        process.CloseInput();
        EXPECT_TRUE(process.Wait(60000));
        return process.ExitCode();
    }

    std::vector<std::string> output_;
    std::string errors_;
};

TEST_F(HostSystem, EndOfInputWithoutAnyClient_IsACleanStop) {
    Start();
    ASSERT_TRUE(WaitForLog("Connect begin"));
    Stop();
    // The wait for a client was freed, and its task went on to its last line.
    EXPECT_EQ(CountInLog("ConnectNamedPipe failed after GetOverlappedResult:"), 1U);
    EXPECT_EQ(CountInLog("IPC connected"), 1U);
    EXPECT_EQ(CountInLog("task loop end"), 1U);
}

TEST_F(HostSystem, Stop_TakesAtLeastTwoSeconds) {
    Start();
    ASSERT_TRUE(WaitForLog("Connect begin"));
    const auto begin = std::chrono::steady_clock::now();
    Stop();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

TEST_F(HostSystem, QuitOfTheClient_EndsTheHostCleanly) {
    Start();
    TestClient client;
    Init(client);
    client.Send("quit");
    EXPECT_EQ(WaitForHostEnd(), 0U);
    EXPECT_EQ(CountInLog("Quit command received, but not handle"), 1U);
    const std::vector<Json::Value> lines = HostLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back()["state"], "stopped");
}

TEST_F(HostSystem, StopBesideAClientsLoss_EndsByItself) {
    Start();
    TestClient client;
    Init(client);
    // The client's loss stands behind a start of the station, which lasts as long as its script hangs.
    Do(R"({"do":"station","state":"hang","notice":false})");
    client.Send("init audio");
    ASSERT_TRUE(WaitForLog(" preferred_device_type=", 2));
    client.Disconnect();
    ASSERT_TRUE(WaitForLog("Read data error, terminate ReadThread"));
    TheHost().TheProcess().CloseInput();
    ASSERT_TRUE(WaitFor([this] { return CountInLog("IpcHandler::Uninitialize") > 0; }));
    EXPECT_EQ(CountInLog("Connect begin"), 1U) << "the loss was handled before the stop";
    Do(R"({"do":"station","state":"up","notice":false})");
    EXPECT_EQ(WaitForHostEnd(), 0U);
    EXPECT_EQ(CountInLog("Connect begin"), 2U);
    EXPECT_EQ(HostLines().back()["state"], "stopped");
}

TEST_F(HostSystem, KilledClient_NeverEndsTheHost) {
    Start();
    for (int i = 0; i < 3; ++i) {
        ProcessOptions options;
        options.executable = OwnDirectory() + L"vdclient.exe";
        options.arguments = {"--timeout", "30000"};
        std::atomic<bool> answered{false};
        options.on_output = [&answered](const std::string& line) {
            EXPECT_EQ(CheckEvent(line), "") << line;
            answered = answered || line.find("device-inited") != std::string::npos;
        };
        Process client(options);
        client.WriteLine("init audio");
        ASSERT_TRUE(WaitFor([&answered] { return answered.load(); }));
        client.Kill();
        ASSERT_TRUE(client.Wait(60000));
        ASSERT_TRUE(WaitForLog("Read data error, terminate ReadThread", static_cast<std::size_t>(i) + 1));
    }
    TestClient client;
    Init(client);
}

TEST_F(HostSystem, EachStart_WritesTheVersion) {
    Start();
    ASSERT_TRUE(WaitForLog(" VERSION:2.0.54\r\n"));
}

TEST_F(HostSystem, SecondRunOfADay_AppendsToTheSameLog) {
    Start();
    Stop();
    const std::string first = Log();
    Start();
    Stop();
    EXPECT_EQ(Log().substr(0, first.size()), first);
    EXPECT_EQ(CountInLog("VERSION:"), 2U);
}

TEST_F(HostSystem, FirstStartWithoutDevicesFile_WarnsOnceAndSavesAtTheEnd) {
    Start();
    Stop();
    EXPECT_EQ(CountInLog("open file failed. file_path="), 1U);
    const Json::Value saved = Parsed(GetFile("devices.json"));
    // The base station's object outlives the stop, and the others left their sets behind.
    EXPECT_EQ(saved.getMemberNames(), (std::vector<std::string>{"LW", "RV1", "RV2", "TQ1", "TQ2"}));
    EXPECT_TRUE(saved["RV2"].isNull());
}

TEST_F(HostSystem, ActivatedKeypads_AreKnownAfterARestart) {
    Start();
    {
        TestClient client;
        Init(client);
        ConnectKeypads(client, "RV2", 9, 11);
    }
    Stop();
    const Json::Value saved = Parsed(GetFile("devices.json"));
    ASSERT_EQ(saved["RV2"].size(), 3U);
    EXPECT_EQ(saved["RV2"][0], "10");
    EXPECT_EQ(saved["RV2"][1], "11");
    EXPECT_EQ(saved["RV2"][2], "9");
    Start();
    TestClient client;
    Init(client);
    client.Send("ask 0 single-choice custom=after");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    Do(R"({"do":"key","kind":"RV2","keypad":10,"key":"D"})");
    client.Expect("key-pressed", R"({"device":"10","key":"D","custom":"after"})");
}

TEST_F(HostSystem, StatusReportSetBeforeInitialize_ComesAtOnce) {
    Start();
    // All five objects exist and know nothing yet.
    ASSERT_TRUE(WaitForStatus([](const Json::Value& statuses) {
        return statuses["RV1"] == -1 && statuses["RV2"] == -1 && statuses["TQ1"] == -1 &&
               statuses["LW"] == -1;
    }));
}

TEST_F(HostSystem, StatusReportAfterInit_NamesTheBaseStation) {
    Start();
    TestClient client;
    Init(client);
    ASSERT_TRUE(WaitForStatus([](const Json::Value& statuses) {
        return statuses["RV2"] == 111 && statuses["TQ2"] == 200 && statuses["TQ1"] == -1;
    }));
}

TEST_F(HostSystem, DeviceIdThatIsNoNumber_EndsTheProcess) {
    expect_clean_end_ = false;
    Start();
    TestClient client;
    Init(client);
    client.Send("ask keypad-7 single-choice custom=x");
    EXPECT_NE(WaitForHostEnd(), 0U);
}

TEST_F(HostSystem, DeviceIdBeyond32Bits_EndsTheProcess) {
    expect_clean_end_ = false;
    Start();
    TestClient client;
    Init(client);
    client.Send("text 4294967296 row1=x");
    EXPECT_NE(WaitForHostEnd(), 0U);
}

TEST_F(HostSystem, KeypadNobodyKnows_StillGetsItsText) {
    Start();
    TestClient client;
    Init(client);
    client.Send(R"(text 77 row1="hello stranger")");
    ASSERT_TRUE(WaitForCalls("SendContext", 1, R"({"row1":{"text":"hello stranger"}})"));
    EXPECT_EQ(CountInLog("rv2.0  device has been dropped but still SetContext device_id=77"), 1U);
}

TEST_F(HostSystem, UndecodableMessages_AreLoggedAndDropped) {
    Start();
    TestClient client;
    Init(client);
    const std::size_t before = CountInLog("task begin msg=");
    for (const char* const text :
         {"", "[]", "\"x\"", "{}", "{\"command\":7}", "{\"command\":\"INIT\"}", "not json",
          "{\"command\":\"dance\"}", "{\"command\":\"ask\",\"device\":\"0\"}"}) {
        ASSERT_TRUE(client.SendBytes(client::JsonFrameBytes(text)));
    }
    ASSERT_TRUE(WaitForLog("task begin msg=", before + 9));
    // A good command behind them: when it has been reported, they have been through.
    client.Send("drop 77");
    ASSERT_TRUE(WaitFor([this] { return Telemetry("ipc_vdk_command_drop").size() == 1; }));
    client.Settle();
    EXPECT_TRUE(client.Rest().empty());
    EXPECT_EQ(Telemetry("ipc_vdk_command_init").size(), 1U);
    EXPECT_TRUE(Telemetry("ipc_vdk_command_ask").empty());
}

TEST_F(HostSystem, HostThatSkipsUninitialize_EndsWithTheStandardTermination) {
    expect_clean_end_ = false;
    arguments_ = {"--skip-stop"};
    Start();
    {
        TestClient client;
        Init(client);
    }
    // Behind a client's loss the writer's thread ends, ahead of the next offer of the pipe. A thread that the process's end
    // meets on its own way out takes a lock of MinGW's run-time library along, and the library's end waits for that.
    ASSERT_TRUE(WaitFor([] { return IsListening(); }));
    TheHost().TheProcess().CloseInput();
    EXPECT_EQ(WaitForHostEnd(), 3U) << "the run-time library's number for an abort";
    EXPECT_EQ(CountInLog("task loop end"), 0U);
}

TEST_F(HostSystem, MissingLibrary_IsAClearError) {
    ProcessOptions options;
    options.executable = Directory() + L"\\vdhost.exe";
    options.arguments = {"--library", "C:\\no such place\\VDIPC.dll"};
    std::string errors;
    options.on_error = [&errors](const std::string& line) { errors += line; };
    Process process(options);
    ASSERT_TRUE(process.Wait(60000));
    EXPECT_EQ(process.ExitCode(), 1U);
    EXPECT_NE(errors.find("can't load C:\\no such place\\VDIPC.dll"), std::string::npos) << errors;
}

TEST_F(HostSystem, LibraryOfTheLibraryMissing_IsNamed) {
    RemoveFile("Trackwire.dll");
    ProcessOptions options;
    options.executable = Directory() + L"\\vdhost.exe";
    std::string errors;
    options.on_error = [&errors](const std::string& line) { errors += line; };
    Process process(options);
    ASSERT_TRUE(process.Wait(60000));
    EXPECT_EQ(process.ExitCode(), 1U);
    EXPECT_NE(errors.find("126"), std::string::npos) << errors;
    EXPECT_NE(errors.find("Not there: Trackwire.dll."), std::string::npos) << errors;
}

TEST_F(HostSystem, BlankInTheFoldersPath_StationIsNeverConnected) {
    const std::wstring folder = Directory() + L"\\a host";
    tools::PrepareStage(tools::OwnDirectory(), folder);
    tools::HostOptions options;
    options.directory = folder;
    std::string errors;
    std::mutex mutex;
    options.on_error = [&](const std::string& line) {
        const std::lock_guard lock(mutex);
        errors += line;
    };
    tools::Host host(options);
    {
        TestClient client;
        Init(client);
        EXPECT_EQ(client.All("device-inited").at(0)["info"], "not-connected");
        host.Classroom().Do(Parsed(R"({"do":"station","state":"no-power","notice":true})"));
        host.Classroom().Do(Parsed(R"({"do":"station","state":"up","notice":true})"));
        client.Settle();
        EXPECT_TRUE(client.All("arrived").empty());
        client.Send("quit");
        EXPECT_TRUE(client.WaitUntilLost());
    }
    EXPECT_TRUE(host.TheProcess().Wait(60000));
    const std::lock_guard lock(mutex);
    EXPECT_NE(errors.find("holds a blank"), std::string::npos) << errors;
}

TEST_F(ClientSystem, UnknownOption_ExitsWithTwoAsBadWordsDo) {
    for (const wchar_t* const program : {L"vdclient.exe", L"vdhost.exe"}) {
        for (const auto& [option, code] : {std::pair("--no-such-option", 2U), std::pair("--help", 0U)}) {
            ProcessOptions options;
            options.executable = OwnDirectory() + program;
            options.arguments = {option};
            Process process(options);
            ASSERT_TRUE(process.Wait(60000));
            EXPECT_EQ(process.ExitCode(), code) << option;
        }
    }
}

TEST_F(ClientSystem, ShortFormWithWait_PrintsTheEvent) {
    Start();
    EXPECT_EQ(RunClient({"--wait", "device-inited", "init", "audio"}), 0U);
    ASSERT_EQ(output_.size(), 1U);
    EXPECT_EQ(Parsed(output_[0])["event"], "device-inited");
}

TEST_F(ClientSystem, NobodyServes_SaysSo) {
    EXPECT_EQ(RunClient({"--timeout", "300", "quit"}), 3U);
    EXPECT_NE(errors_.find("nobody serves the pipe"), std::string::npos) << errors_;
}

TEST_F(ClientSystem, HeldByAnotherClient_SaysSo) {
    Start();
    TestClient client;
    client.Connect();
    ASSERT_TRUE(client.Ping());
    EXPECT_EQ(RunClient({"--timeout", "300", "quit"}), 4U);
    EXPECT_NE(errors_.find("another client holds the pipe"), std::string::npos) << errors_;
}

TEST_F(ClientSystem, LinesOfInput_MayBeJsonAndShortForms) {
    Start();
    EXPECT_EQ(RunClient({"--wait", "device-inited"},
                        {R"({"command":"init","preferred-device-type":"non-audio"})", "text 0 row1=x"}),
              0U);
    ASSERT_TRUE(WaitFor([this] { return Telemetry("ipc_vdk_command_text").size() == 1; }));
}

TEST_F(ClientSystem, ClassroomLines_MoveAndShowTheSimulatedClassroom) {
    environment_["CLASSROOM_PLUGGED"] = "TQ1";
    Start();
    EXPECT_EQ(RunClient({"--wait", "activated", "--classroom", std::to_string(TheHost().ClassroomPort())},
                        {"init non-audio", R"(classroom {"do":"connect","kind":"TQ1","keypad":7})",
                         "classroom state", R"(classroom {"do":"dance"})"}),
              0U);
    const auto shown = [this](const std::string& pattern) {
        return std::any_of(output_.begin(), output_.end(),
                           [&](const std::string& line) { return Holds(Parsed(line), Parsed(pattern)); });
    };
    EXPECT_TRUE(shown(R"({"event":"activated","device":"7"})"));
    EXPECT_TRUE(shown(R"({"ok":true})"));
    EXPECT_TRUE(shown(R"({"receivers":{"TQ1":{"plugged":true}}})"));
    EXPECT_NE(errors_.find("dance"), std::string::npos) << errors_;
}

TEST_F(ClientSystem, ClassroomThatIsNowhere_IsAClearError) {
    Start();
    EXPECT_EQ(RunClient({"--classroom", "Z:\\nowhere\\classroom.port"}, {"classroom state"}), 0U);
    EXPECT_NE(errors_.find("no simulated classroom's port in"), std::string::npos) << errors_;
}

TEST_F(ClientSystem, RawBytes_GoOutAsTheyStand) {
    Start();
    EXPECT_EQ(RunClient({"--raw", "--listen", "1500"}, {"08 00 00 00 00 00 00 00 C9 00 00 00"}), 0U);
    ASSERT_EQ(output_.size(), 1U);
    EXPECT_EQ(Parsed(output_[0])["ping-reply"], true);
}

TEST_F(ClientSystem, RawBlock_GoesOutWithOneWriteAndWithoutItsComments) {
    Start();
    EXPECT_EQ(
        RunClient({"--raw", "--wait", "device-inited"},
                  {"# a ping", "08 00 00 00  type 8", "00 00 00 00  length 0", "C9 00 00 00  command 201", "",
                   "E2 07 00 00  type 2018", "33 00 00 00  length 51", "E2 07 00 00  command 2018",
                   R"(7B 22 63 6F 6D 6D 61 6E 64 22 3A 20 22 69 6E 69  {"command": "ini)",
                   R"(74 22 2C 20 22 70 72 65 66 65 72 72 65 64 2D 64  t", "preferred-d)",
                   R"(65 76 69 63 65 2D 74 79 70 65 22 3A 20 22 61 6E  evice-type": "an)",
                   R"(79 22 7D  y"})"}),
        0U)
        << errors_;
    ASSERT_EQ(output_.size(), 2U);
    EXPECT_EQ(Parsed(output_[0])["ping-reply"], true);
    EXPECT_EQ(Parsed(output_[1])["event"], "device-inited");
}

TEST_F(ClientSystem, RawWordsThatAreNoBytes_FailAndSendNothingOfTheirBlock) {
    Start();
    EXPECT_EQ(RunClient({"--raw", "--listen", "500"}, {"08 00 00 00 00 00 00 00 C9 00 00 00", "zz"}), 2U);
    EXPECT_NE(errors_.find("'z' is no hexadecimal digit"), std::string::npos) << errors_;
    EXPECT_TRUE(output_.empty());
}

TEST_F(ClientSystem, Quit_WaitsForTheEndOfTheConnectionAndCallsItSuccess) {
    Start();
    EXPECT_EQ(RunClient({"--timeout", "30000", "quit"}), 0U) << errors_;
    EXPECT_EQ(WaitForHostEnd(), 0U);
}

TEST_F(ClientSystem, LinesBehindQuit_FindNoHostAndAreNoFailure) {
    Start();
    EXPECT_EQ(RunClient({"--listen", "60000", "quit"}), 0U);
    EXPECT_EQ(errors_, "");
    EXPECT_EQ(WaitForHostEnd(), 0U);
    Start();
    ProcessOptions options;
    options.executable = OwnDirectory() + L"vdclient.exe";
    options.arguments = {"--timeout", "30000"};
    options.on_error = [](const std::string& line) { ADD_FAILURE() << line; };
    Process client(options);
    client.WriteLine("quit");
    EXPECT_EQ(WaitForHostEnd(), 0U);
    client.WriteLine("ask 0 single-choice custom=late");
    client.CloseInput();
    ASSERT_TRUE(client.Wait(60000));
    EXPECT_EQ(client.ExitCode(), 0U);
}

TEST_F(ClientSystem, QuitThatTheHostDoesNotHearInTime_SaysSo) {
    environment_["CLASSROOM_STATION"] = "hang";
    Start();
    // The "init" before it lasts as long as the station's script hangs.
    EXPECT_EQ(RunClient({"--timeout", "5000"}, {"init audio", R"({"command":"quit"})"}), 6U);
    EXPECT_NE(errors_.find("hasn't ended the connection within 5000 ms"), std::string::npos) << errors_;
    Do(R"({"do":"station","state":"up","notice":false})");
    EXPECT_TRUE(WaitForLog("Connect begin", 2));
}

TEST_F(ClientSystem, WordsThatTheLibraryDoesNotKnow_GoOutByForceAlone) {
    Start();
    EXPECT_EQ(RunClient({"ask", "0", "singlechoice"}), 2U);
    EXPECT_NE(errors_.find("unknown question type 'singlechoice'"), std::string::npos) << errors_;
    EXPECT_EQ(CountInLog("singlechoice"), 0U);
    EXPECT_EQ(RunClient({"--force", "ask", "0", "singlechoice"}), 0U) << errors_;
    EXPECT_TRUE(WaitForLog("singlechoice"));
}

TEST_F(ClientSystem, Ping_PrintsReplies) {
    Start();
    EXPECT_EQ(RunClient({"--ping", "50", "--listen", "1500"}), 0U);
    EXPECT_GE(output_.size(), 2U);
}

TEST_F(ClientSystem, BadWords_ExitWithTwoAndSayWhatIsKnown) {
    EXPECT_EQ(RunClient({"dance"}), 2U);
    EXPECT_NE(errors_.find("unknown command 'dance'"), std::string::npos) << errors_;
    EXPECT_EQ(RunClient({"hi", "0", "led:blue"}), 2U);
    EXPECT_NE(errors_.find("led:COLOR:TIMES:INTERVAL:DURATION"), std::string::npos) << errors_;
}

}  // namespace
}  // namespace vdipc::test
