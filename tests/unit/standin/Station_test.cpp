#include "unit/standin/support/Classroom.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class StationTest : public ClassroomTest {
protected:
    StationListener listener;
};

TEST_F(StationTest, Keypads_AreHeardInOrderOnAThreadOfTheLibrary) {
    OpenStation(listener);
    EXPECT_EQ(3, Do(R"({"do":"connect","from":1,"to":3})")["callbacks"].asInt());
    EXPECT_EQ(4, Do(R"({"do":"key","keypads":[2,3],"key":["A","G"]})")["callbacks"].asInt());
    EXPECT_EQ(1, Do(R"({"do":"leave","keypad":1})")["callbacks"].asInt());
    EXPECT_EQ(
        (Words{"connect 1", "connect 2", "connect 3", "key 2 1", "key 2 9", "key 3 1", "key 3 9", "leave 1"}),
        listener.heard.All());
    EXPECT_EQ(0U, listener.heard.Threads().count(std::this_thread::get_id()));
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, KeysTogether_ComeFromSeveralThreadsAndEachOnce) {
    OpenStation(listener);
    EXPECT_EQ(400,
              Do(R"({"do":"key","from":1,"to":200,"key":["A","B"],"together":true})")["callbacks"].asInt());
    EXPECT_EQ(4U, listener.heard.Threads().size());
    std::map<std::string, int> last;
    for (const std::string& words : listener.heard.All()) {
        const std::size_t blank = words.rfind(' ');
        EXPECT_EQ(++last[words.substr(0, blank)], std::stoi(words.substr(blank))) << "A comes before B";
    }
    EXPECT_EQ(200U, last.size());
}

TEST_F(StationTest, TimesAndRepeat_MakeThatManyCallbacks) {
    OpenStation(listener);
    EXPECT_EQ(6, Do(R"({"do":"key","keypad":5,"key":3,"times":2,"repeat":3})")["callbacks"].asInt());
    EXPECT_EQ(Words(6, "key 5 3"), listener.heard.All());
}

TEST_F(StationTest, WithoutASession_NothingIsHeard) {
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    EXPECT_EQ(0, Do(R"({"do":"key","keypad":5,"key":1})")["callbacks"].asInt());
    station.SetListener(&listener);
    station.InitSocket(0xC0A8EA0AU, 4567, 10000);
    station.SetSessionMode(6, 0);
    EXPECT_EQ(0, Do(R"({"do":"key","keypad":5,"key":1})")["callbacks"].asInt());
    station.StartSession();
    EXPECT_EQ(0, Do(R"({"do":"key","keypad":5,"key":1})")["callbacks"].asInt());
    EXPECT_EQ(Words(), listener.heard.All());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, KeypadThatWasOnBefore_AnnouncesItselfToTheSession) {
    EXPECT_EQ(0, Do(R"({"do":"connect","from":1,"to":2})")["callbacks"].asInt());
    OpenStation(listener);
    EXPECT_EQ((Words{"connect 1", "connect 2"}), listener.heard.Await(2));
}

TEST_F(StationTest, AnnounceOff_KeepsThemQuiet) {
    Do(R"([{"do":"connect","keypad":1},{"do":"station","announce":false}])");
    OpenStation(listener);
    Do(R"({"do":"key","keypad":1,"key":1})");
    EXPECT_EQ(Words{"key 1 1"}, listener.heard.All());
}

TEST_F(StationTest, CloseSocket_WaitsForACallbackAndEndsAllOfThem) {
    ISocketVoteDeck& station = OpenStation(listener);
    std::atomic<bool> inside{false};
    std::atomic<bool> left{false};
    listener.on_key = [&] {
        inside = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        left = true;
    };
    Do(R"({"do":"key","keypad":1,"key":1,"wait":false})");
    while (!inside) {
        std::this_thread::yield();
    }
    station.CloseSocket();
    EXPECT_TRUE(left);
    EXPECT_EQ(0, Do(R"({"do":"key","keypad":1,"key":1})")["callbacks"].asInt());
    station.CloseSocket();
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, CloseSocketFromWithinACallback_DoesNotHang) {
    ISocketVoteDeck& station = OpenStation(listener);
    listener.on_key = [&] { station.CloseSocket(); };
    EXPECT_EQ(1, Do(R"({"do":"key","keypad":1,"key":1})")["callbacks"].asInt());
}

TEST_F(StationTest, SocketRefused_GivesAnErrorAndCommandsAreIgnored) {
    Do(R"({"do":"station","socket":"refuse"})");
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    station.SetListener(&listener);
    EXPECT_NE(0, station.InitSocket(0xC0A8EA0AU, 4567, 10000));
    station.SendContext("a", "b", "c", 0, 7);
    station.StartQuestion(EnumQuestionType{2}, "", "", "", 0, true, 7);
    EXPECT_TRUE(Keypad(Kind::RV2, 7).isNull());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, PowerLost_EndsTheConnectionWithoutAWord) {
    ISocketVoteDeck& station = OpenStation(listener);
    Do(R"({"do":"connect","keypad":1})");
    EXPECT_EQ(1, Do(R"({"do":"station","state":"no-power"})")["notices"].asInt());
    EXPECT_EQ(0, Do(R"({"do":"key","keypad":1,"key":1})")["callbacks"].asInt());
    EXPECT_FALSE(Keypad(Kind::RV2, 1)["connected"].asBool());
    station.CloseSocket();
    EXPECT_NE(0, station.InitSocket(0xC0A8EA0AU, 4567, 10000));
    Do(R"({"do":"station","state":"up"})");
    EXPECT_EQ(0, station.InitSocket(0xC0A8EA0AU, 4567, 10000));
    station.SetSessionMode(6, 0);
    station.StartSession();
    station.SetSessionEnabled(true);
    EXPECT_EQ(1, Do(R"({"do":"connect","keypad":1})")["callbacks"].asInt());
    EXPECT_EQ((Words{"connect 1", "connect 1"}), listener.heard.All());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, Notice_FollowsAChangeOfPowerOrLinkAlone) {
    const auto notices_of = [this](const char* action) { return Do(action)["notices"].asInt(); };
    EXPECT_EQ(0, notices_of(R"({"do":"station","state":"up"})"));
    EXPECT_EQ(0, notices_of(R"({"do":"station","state":"hang"})"));
    EXPECT_EQ(1, notices_of(R"({"do":"station","state":"no-usb"})"));
    EXPECT_EQ(0, notices_of(R"({"do":"station","state":"up","notice":false})"));
    EXPECT_EQ(0, notices_of(R"({"do":"station","socket":"ok"})"));
    EXPECT_EQ(1, notices_of(R"({"do":"station","socket":"ok","notice":true})"));
}

TEST_F(StationTest, Commands_MoveTheKeypads) {
    ISocketVoteDeck& station = OpenStation(listener);
    Do(R"({"do":"connect","from":1,"to":2})");
    station.SendContext("caf\xE9", "b", "c", 0, 1);
    station.StartQuestion(EnumQuestionType{2}, "", "", "", 0, true, 0);
    station.SendFlashing(1, EnumFlashingColor{6}, 10, 20, 30);
    station.SendAlarm(1, 11, 21, 31);
    station.SendVibrate(2, 12, 22, 32);
    const Json::Value first = Keypad(Kind::RV2, 1);
    EXPECT_EQ("636166e9", first["rows"][0]["hex"].asString());
    EXPECT_EQ("caf\xC3\xA9", first["rows"][0]["text"].asString());
    EXPECT_EQ("c", first["rows"][2]["text"].asString());
    EXPECT_EQ("yellow", first["lamp"]["name"].asString());
    EXPECT_EQ(30, first["lamp"]["times"].asInt());
    EXPECT_EQ(21, first["beeper"]["interval"].asInt());
    EXPECT_TRUE(first["motor"].isNull());
    const Json::Value second = Keypad(Kind::RV2, 2);
    EXPECT_EQ(12, second["motor"]["duration"].asInt());
    EXPECT_EQ("single-choice", second["question"]["name"].asString());
    EXPECT_EQ(2, State()["station"]["question"]["type"].asInt());
    station.EndQuestion(0, "");
    EXPECT_TRUE(Keypad(Kind::RV2, 2)["question"].isNull());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, Calls_AreSeenWithTheirArguments) {
    ISocketVoteDeck& station = OpenStation(listener);
    EXPECT_EQ((Words{"CreateVoteDeckObj", "SetListener", "InitSocket", "SetSessionMode", "StartSession",
                     "SetSessionEnabled"}),
              Calls());
    station.SendFlashing(7, EnumFlashingColor{4}, 1, 2, 3);
    const Json::Value seen = LastCall();
    EXPECT_EQ("SocketVoteDeck", seen["library"].asString());
    EXPECT_EQ("station 1", seen["object"].asString());
    EXPECT_EQ(R"({"color":4,"device":7,"duration":1,"interval":2,"times":3})", CompactJson(seen["args"]));
}

TEST_F(StationTest, Recording_IsLentUntilRelease) {
    OpenStation(listener);
    const std::uint8_t* data = nullptr;
    std::uint8_t before = 0;
    std::uint8_t after = 0;
    std::int32_t size = 0;
    listener.on_audio = [&](IKeypadAudio& audio) {
        EXPECT_TRUE(audio.IsValid());
        data = audio.GetData();
        size = audio.GetSize();
        before = data[0];
        audio.Release();
        after = data[0];
    };
    Do(R"({"do":"audio","keypad":9,"bytes":3071,"error":true})");
    EXPECT_EQ(3071, size);
    EXPECT_EQ('R', before);
    EXPECT_EQ(0xDD, after);
    EXPECT_EQ(Words{"audio 9 error"}, listener.heard.All());
    EXPECT_TRUE(world.graveyard.Holds(data + 100));
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, RecordingThatIsNotValid_NeedsNoRelease) {
    OpenStation(listener);
    Do(R"({"do":"audio","keypad":9,"valid":false})");
    EXPECT_EQ(Words{"audio 9"}, listener.heard.All());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(StationTest, RecordingMisused_IsReported) {
    OpenStation(listener);
    IKeypadAudio* kept = nullptr;
    listener.on_audio = [&](IKeypadAudio& audio) {
        audio.Release();
        audio.Release();
        audio.GetData();
    };
    Do(R"({"do":"audio","keypad":9})");
    listener.on_audio = [&](IKeypadAudio& audio) { kept = &audio; };
    Do(R"({"do":"audio","keypad":9})");
    kept->GetSize();
    listener.on_audio = [&](IKeypadAudio& audio) { audio.Release(); };
    Do(R"({"do":"audio","keypad":9,"valid":false})");
    EXPECT_EQ((Words{"IKeypadAudio::Release: the recording was given back before",
                     "IKeypadAudio::GetData: the recording was given back before",
                     "-> OnKeypadAudioEvent: the recording was not given back",
                     "IKeypadAudio::GetSize: the recording is only good during the callback",
                     "IKeypadAudio::Release: the recording isn't valid"}),
              Misuses());
}

TEST_F(StationTest, EventsWithoutMeaning_AreCalledByName) {
    OpenStation(listener);
    const Words names = {"OnKeypadStateEvent", "OnKeypadLowBatteryEvent", "OnMCUUpdateProgress",
                         "OnRepeatedConnectionKeypad", "OnLogEvent"};
    for (const std::string& name : names) {
        EXPECT_EQ(1, Do(R"({"do":"event","kind":"RV2","name":")" + name + "\"}")["callbacks"].asInt());
    }
    EXPECT_EQ(names, listener.heard.All());
    EXPECT_NE("done", Refusal(R"({"do":"event","kind":"RV2","name":"OnSendData"})"));
}

TEST_F(StationTest, WrongOrder_IsMisuse) {
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    station.InitSocket(0xC0A8EA0AU, 4567, 10000);
    station.CloseSocket();
    station.SetListener(&listener);
    station.SetListener(&listener);
    station.StartSession();
    station.SetSessionMode(6, 0);
    station.SetSessionEnabled(true);
    station.InitSocket(0xC0A8EA0AU, 4567, 10000);
    station.StartSession();
    station.SetSessionMode(6, 0);
    station.InitSocket(0xC0A8EA0AU, 4567, 10000);
    EXPECT_EQ(
        (Words{"InitSocket: there is no listener", "SetListener: the station has a listener already",
               "StartSession: InitSocket has not succeeded before",
               "SetSessionMode: InitSocket has not succeeded before", "SetSessionEnabled: no session runs",
               "StartSession: SetSessionMode has not been called before",
               "SetSessionMode: the session runs already",
               "InitSocket: the connection that is open was not closed before"}),
        Misuses());
}

TEST_F(StationTest, WrongValues_AreMisuse) {
    ISocketVoteDeck& station = OpenStation(listener);
    station.StartQuestion(EnumQuestionType{5}, "", "", "", 0, true, 1);
    station.StartQuestion(EnumQuestionType{0}, "", nullptr, "", 0, true, 1);
    station.EndQuestion(1, nullptr);
    station.SendContext("", "", nullptr, 0, 1);
    station.SendFlashing(1, EnumFlashingColor{0}, 0, 0, 0);
    station.Reserved14();
    EXPECT_EQ((Words{"StartQuestion: there is no question type 5", "StartQuestion: a text is null",
                     "EndQuestion: the text is null", "SendContext: a row is null",
                     "SendFlashing: there is no colour 0", "slot 14: a reserved slot was called"}),
              Misuses());
}

TEST_F(StationTest, StateFile_HoldsTheState) {
    const std::filesystem::path directory = std::filesystem::temp_directory_path() /
                                            ("station_test_" + std::to_string(world.chance.Below(1000000)));
    std::filesystem::create_directories(directory);
    Settings settings;
    settings.directory = directory;
    settings.station = "no-usb";
    auto* const other = new World(settings);
    const auto text = [&] {
        std::ifstream file(directory / "rv2.state", std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    };
    EXPECT_EQ("no-usb", text());
    other->TheStation().SetState("no-power");
    EXPECT_EQ("no-power", text());
    EXPECT_THROW(other->TheStation().SetState("gone"), std::invalid_argument);
    EXPECT_EQ("no-power", text());
    static World* const kept [[maybe_unused]] = other;
}

}  // namespace
}  // namespace vdipc::classroom::test
