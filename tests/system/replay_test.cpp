// The round trip: a log becomes a lesson, and the real library does the same again.

#include "tests/system/support/Replay.h"
#include "tests/system/support/SystemTest.h"
#include "tools/common/Process.h"
#include "tools/common/Stage.h"
#include "tools/common/WideText.h"

#include <string>
#include <vector>

namespace vdipc::test {
namespace {

class ReplaySystem : public SystemTest {
protected:
    /// Runs one of the programs beside this one.
    void Run(const std::wstring& name, const std::vector<std::string>& arguments) {
        tools::ProcessOptions options;
        options.executable = tools::OwnDirectory() + name;
        options.arguments = arguments;
        options.on_output = [this](const std::string& line) { output_ += line + "\n"; };
        options.on_error = options.on_output;
        tools::Process process(options);
        ASSERT_TRUE(process.Wait(400000)) << output_;
        ASSERT_EQ(process.ExitCode(), 0U) << output_;
    }

    void PlayLesson(const std::string& file) {
        Run(L"vdlesson.exe", {file, "--directory", Place() + "lesson"});
    }

    std::string LogIn(const std::wstring& directory) const {
        return tools::ReadWholeFile(tools::FindLogFile(Directory() + L"\\" + directory));
    }

    /// Plays the log again, where at least so many events must come, and be the same.
    void ExpectTheSame(const std::string& log, std::size_t events, bool fast = false) {
        const Replay replay = PlayAgain(log, Directory(), fast);
        EXPECT_TRUE(replay.equal) << replay.output << "\n" << replay.lesson;
        std::size_t count = 0;
        for (std::size_t at = log.find("PipeServer::SendMsg:"); at != std::string::npos;
             at = log.find("PipeServer::SendMsg:", at + 1)) {
            ++count;
        }
        EXPECT_GE(count, events);
    }

    std::string Place() const { return tools::Utf8FromWide(Directory()) + "\\"; }

    std::string output_;
};

TEST_F(ReplaySystem, BaseStationLessonPlayedFast_GivesTheSameEvents) {
    PlayLesson(std::string(VDIPC_SOURCE_DIR) + "/lessons/base-station.lesson");
    ExpectTheSame(LogIn(L"lesson"), 370, true);
}

TEST_F(ReplaySystem, UsbReceiversLesson_PlayedAgain_GivesTheSameEvents) {
    PlayLesson(std::string(VDIPC_SOURCE_DIR) + "/lessons/usb-receivers.lesson");
    ExpectTheSame(LogIn(L"lesson"), 75);
}

TEST_F(ReplaySystem, VoiceLesson_PlayedAgain_GivesTheSameEvents) {
    PlayLesson(std::string(VDIPC_SOURCE_DIR) + "/lessons/voice.lesson");
    ExpectTheSame(LogIn(L"lesson"), 25);
}

/// Random lessons with all five receivers, faults, restarts and crashes of the host.
class SoakReplay : public ReplaySystem, public testing::WithParamInterface<int> {};

TEST_P(SoakReplay, PlayedAgain_GivesTheSameEvents) {
    const std::string seed = std::to_string(GetParam());
    Run(L"vdsoak.exe",
        {"--lessons", "1", "--steps", "40", "--seed", seed, "--keep", "--directory", Place() + "soak"});
    ExpectTheSame(LogIn(L"soak\\" + std::to_wstring(GetParam())), 30, GetParam() % 2 == 1);
}

INSTANTIATE_TEST_SUITE_P(Seeds, SoakReplay, testing::Values(1, 2, 4, 5));

/// What the lessons of the tree have no need of: messages that no line of vdclient holds, and hosts that end in each way.
TEST_F(ReplaySystem, LessonWithOddMessagesAndHostsEnds_PlaysToItsEnd) {
    PutFile("odd.lesson", R"(devices {"RV2": ["4"]}
ignore activated
ignore device-inited
ignore key-pressed
host start
client start
client message "no JSON"
client message ""
client message "{\n\"command\": \"init\", \"preferred-device-type\": \"audio\"}"
logged 60 x1 IpcHandler::UpdateDeviceInfoForTrackwire
classroom 30 {"do": "connect", "kind": "RV2", "keypad": 7}
client ask 0 single-choice custom=q1
classroom 30 {"do": "key", "kind": "RV2", "keypads": [4, 7], "key": "B"}
logged 30 x2 VoteDeckObjectBase::SendEventKeyPressed
host kill
host again
client start
client init audio
logged 60 IpcHandler::UpdateDeviceInfoForTrackwire
client ask 0 single-choice custom=q2
classroom 30 {"do": "key", "kind": "RV2", "keypad": 7, "key": "C"}
client bytes e2070000ffffffffe2070000
host gone 60
host again
host stop 60
)");
    PlayLesson(Place() + "odd.lesson");
    const std::string log = LogIn(L"lesson");
    ExpectTheSame(log, 5);
    // Keypad 4 is known by devices.json, keypad 7 still is after the first host's end.
    EXPECT_NE(log.find("open file OK"), std::string::npos);
    EXPECT_NE(log.find("cover question record for device 4"), std::string::npos);
    EXPECT_NE(log.find("task begin msg=no JSON"), std::string::npos);
}

}  // namespace
}  // namespace vdipc::test
