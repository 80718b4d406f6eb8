// The lessons that ship, and the player's own honesty.

#include "tests/system/support/SystemTest.h"

#include "support/SchemaCheck.h"
#include "tools/common/Process.h"
#include "tools/common/WideText.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace vdipc::test {
namespace {

class LessonSystem : public SystemTest {
protected:
    std::uint32_t Play(const std::string& file, const std::vector<std::string>& more = {}) {
        tools::ProcessOptions options;
        options.executable = tools::OwnDirectory() + L"vdlesson.exe";
        options.arguments = {file, "--directory", tools::Utf8FromWide(Directory()) + "\\" + folder_};
        options.arguments.insert(options.arguments.end(), more.begin(), more.end());
        options.on_output = [this](const std::string& line) { output_ += line + "\n"; };
        options.on_error = [this](const std::string& line) { output_ += line + "\n"; };
        tools::Process process(options);
        EXPECT_TRUE(process.Wait(400000));
        CheckClientsEvents();
        return process.ExitCode();
    }

    /// Holds every line that the lesson's clients printed against the schema: events all of them, no two with one id.
    void CheckClientsEvents() {
        std::istringstream lines(GetFile(folder_ + "\\client.jsonl"));
        std::set<std::string> ids;
        events_ = 0;
        for (std::string line; std::getline(lines, line); ++events_) {
            EXPECT_EQ(CheckEvent(line), "") << line;
            const Json::Value event = Parsed(line);
            EXPECT_TRUE(event["event"] == "voice-record" || ids.insert(event["id"].asString()).second)
                << line;
        }
    }

    std::string Written(const std::string& name, const std::string& text) {
        PutFile(name, text);
        return tools::Utf8FromWide(Directory()) + "\\" + name;
    }

    std::string folder_ = "lesson";
    std::string output_;
    std::size_t events_ = 0;  // of the lesson that was played last
};

TEST_F(LessonSystem, BaseStationLesson_PlaysToItsEnd) {
    EXPECT_EQ(Play(std::string(VDIPC_SOURCE_DIR) + "/lessons/base-station.lesson"), 0U) << output_;
    EXPECT_NE(output_.find("SIMULATED"), std::string::npos);
    EXPECT_NE(output_.find("seed 2026"), std::string::npos);
    EXPECT_GT(events_, 100U);
    EXPECT_NE(output_.find("The host has stopped cleanly."), std::string::npos);
}

TEST_F(LessonSystem, UsbReceiversLesson_PlaysToItsEnd) {
    EXPECT_EQ(Play(std::string(VDIPC_SOURCE_DIR) + "/lessons/usb-receivers.lesson"), 0U) << output_;
    EXPECT_GT(events_, 20U);
    EXPECT_NE(output_.find("The host has stopped cleanly."), std::string::npos);
}

TEST_F(LessonSystem, VoiceLesson_PlaysToItsEnd) {
    EXPECT_EQ(Play(std::string(VDIPC_SOURCE_DIR) + "/lessons/voice.lesson"), 0U) << output_;
    EXPECT_GT(events_, 20U);
    EXPECT_NE(output_.find("said \"pear\", score 100"), std::string::npos) << output_;
}

TEST_F(LessonSystem, EventThatNeverComes_FailsWithItsLine) {
    const std::string file =
        Written("missing.lesson", "host start\nclient start\nclient init audio\nexpect 30 device-inited\n"
                                  "expect 0.5 key-pressed {\"device\": \"4\"}\n");
    EXPECT_EQ(Play(file), 1U);
    EXPECT_NE(output_.find("LESSON FAILED: line 5: missing: event \"key-pressed\" {\"device\":\"4\"}"),
              std::string::npos)
        << output_;
}

TEST_F(LessonSystem, StationWhoseScriptCannotRun_IsToldWithTheFailure) {
    const std::string hint =
        "The base station is up, and its script, rv2.vbs beside the host, doesn't say so.";
    // The script's path goes to wscript.exe without quotes.
    folder_ = "a lesson";
    const std::string file =
        Written("refused.lesson",
                "station up\nhost start\nclient start\nclient init audio\n"
                "expect 60 device-inited {\"ready\": false}\nexpect 0.2 device-inited {\"ready\": true}\n");
    EXPECT_EQ(Play(file), 1U);
    EXPECT_NE(output_.find("LESSON FAILED: line 6: missing: event \"device-inited\""), std::string::npos)
        << output_;
    EXPECT_NE(output_.find(hint), std::string::npos) << output_;
    // A station that is down says so itself.
    output_.clear();
    const std::string down =
        Written("down.lesson",
                "station no-usb\nhost start\nclient start\nclient init audio\n"
                "expect 60 device-inited {\"ready\": false}\nexpect 0.2 device-inited {\"ready\": true}\n");
    EXPECT_EQ(Play(down), 1U);
    EXPECT_EQ(output_.find(hint), std::string::npos) << output_;
}

TEST_F(LessonSystem, EventThatNothingAccountsFor_Fails) {
    const std::string file =
        Written("surplus.lesson", "host start\nclient start\nclient init audio\nexpect 30 device-inited\n"
                                  "classroom {\"do\":\"connect\",\"kind\":\"RV2\",\"keypad\":4}\n"
                                  "client init audio\nexpect 30 device-inited\nclient quit\nhost end 30\n");
    EXPECT_EQ(Play(file), 1U);
    EXPECT_NE(output_.find("an event came that nothing in the lesson accounts for"), std::string::npos)
        << output_;
}

TEST_F(LessonSystem, HostThatServesAlready_IsLeftAlone) {
    Start();
    TestClient teacher;
    Init(teacher);
    const std::string file = Written("beside.lesson", "host start\nclient start\nclient init audio\n");
    EXPECT_EQ(Play(file), 1U);
    EXPECT_NE(output_.find("LESSON FAILED: line 1: a host serves the pipe already"), std::string::npos)
        << output_;
    EXPECT_TRUE(teacher.Ping());
    teacher.Disconnect();
    // The same between two clients.
    ASSERT_TRUE(WaitForLog("Connect begin", 2));
    EXPECT_EQ(Play(file), 1U);
    EXPECT_NE(output_.rfind("a host serves the pipe already"), output_.find("a host serves the pipe already"))
        << output_;
    EXPECT_FALSE(std::filesystem::exists(Directory() + L"\\lesson"));
}

TEST_F(LessonSystem, BadLessonFile_ExitsWithTwoAndNamesTheLine) {
    EXPECT_EQ(Play(Written("bad.lesson", "title x\n\nclient dance\n")), 2U);
    EXPECT_NE(output_.find("line 3: unknown command 'dance'"), std::string::npos) << output_;
}

}  // namespace
}  // namespace vdipc::test
