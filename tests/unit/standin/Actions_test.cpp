#include "unit/standin/support/Classroom.h"

#include "classroom/Start.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class ActionsTest : public ClassroomTest {};

TEST_F(ActionsTest, BadAction_IsRefusedWithWhatToDoInstead) {
    EXPECT_NE(std::string::npos, Refusal(R"({"do":"nix"})").find("connect, leave, key, audio"));
    EXPECT_NE(std::string::npos, Refusal("5").find("an action is a JSON object"));
    EXPECT_EQ("\"do\" must be a text", Refusal("{}"));
    EXPECT_EQ("\"key\" must be A, B, C, D, T (or OK), F, T2, F2, G, a number, or an array of them, not \"Q\"",
              Refusal(R"({"do":"key","keypad":1,"key":"Q"})"));
    EXPECT_EQ("\"keypad\" must be a whole number from 0 to 65535, not 65536",
              Refusal(R"({"do":"connect","keypad":65536})"));
    EXPECT_EQ("\"keypad\" must be a whole number from 0 to 4294967295",
              Refusal(R"({"do":"connect","kind":"LW"})"));
    EXPECT_EQ("\"kind\" must be RV2, TQ1, TQ2, RV1 or LW, not 'TQ3'",
              Refusal(R"({"do":"connect","kind":"TQ3","keypad":1})"));
    EXPECT_NE("done", Refusal(R"({"do":"plug","kind":"RV2"})"));
    EXPECT_NE("done", Refusal(R"({"do":"station","state":"gone"})"));
    EXPECT_NE("done", Refusal(R"({"do":"station","socket":"maybe"})"));
    EXPECT_NE("done", Refusal(R"({"do":"audio","keypad":1,"make":"song"})"));
    EXPECT_NE("done", Refusal(R"({"do":"audio","keypad":1,"path":"/there/is/no/such/file"})"));
    EXPECT_NE("done", Refusal(R"({"do":"fault","where":"RV2","word":"sleepy"})"));
    EXPECT_NE("done", Refusal(R"({"do":"fault","where":"roof","word":"off"})"));
    EXPECT_NE("done", Refusal(R"({"do":"speech","engine":"other"})"));
    EXPECT_NE("done", Refusal(R"({"do":"speech","engine":3})"));
    EXPECT_NE("done", Refusal(R"({"do":"speech","mode":"loud"})"));
    EXPECT_NE("done", Refusal(R"({"do":"log","hex":"0g"})"));
    EXPECT_NE("done", Refusal(R"({"do":"notice","what":"thing"})"));
    EXPECT_NE("done", Refusal(R"({"do":"connect","from":5,"to":4})"));
    EXPECT_NE("done", Refusal(R"({"do":"link","kind":"LW","state":"sideways"})"));
}

TEST_F(ActionsTest, UnknownKey_IsRefused) {
    EXPECT_EQ("the action 'key' has no key \"tims\" here; docs/classroom.md lists them",
              Refusal(R"({"do":"key","keypad":1,"key":"A","tims":2})"));
    EXPECT_NE("done", Refusal(R"({"do":"audio","keypad":1,"lost":0.5})")) << "RV2 has no lost packages";
}

TEST_F(ActionsTest, Array_IsDoneUpToTheFirstThatIsRefused) {
    EXPECT_NE("done", Refusal(R"([{"do":"connect","keypad":1},{"do":"nix"},{"do":"connect","keypad":2}])"));
    EXPECT_FALSE(Keypad(Kind::RV2, 1).isNull());
    EXPECT_TRUE(Keypad(Kind::RV2, 2).isNull());
}

TEST_F(ActionsTest, KeyNames_AreTheNumbersOfTheReceivers) {
    StationListener listener;
    OpenStation(listener);
    Do(R"({"do":"key","keypad":1,"key":["A","B","C","D","T","OK","F","T2","F2","G",77]})");
    Words expected;
    for (const char* const key : {"1", "2", "3", "4", "5", "5", "6", "7", "8", "9", "77"}) {
        expected.push_back(std::string("key 1 ") + key);
    }
    EXPECT_EQ(expected, listener.heard.All());
    TearDown();
}

TEST_F(ActionsTest, RecordingFromAFile_ComesAsItIs) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "actions_test_recording.wav";
    std::ofstream(path, std::ios::binary) << "any bytes";
    StationListener listener;
    std::string got;
    listener.on_audio = [&got](IKeypadAudio& audio) {
        got.assign(audio.GetData(), audio.GetData() + audio.GetSize());
        audio.Release();
    };
    OpenStation(listener);
    Json::Value action = Parse(R"({"do":"audio","keypad":1})");
    action["path"] = path.generic_string();
    actions.Do(action);
    EXPECT_EQ("any bytes", got);
    std::filesystem::remove(path);
    TearDown();
}

TEST_F(ActionsTest, RecordingInHexadecimal_ComesAsItIs) {
    StationListener listener;
    std::string got;
    listener.on_audio = [&got](IKeypadAudio& audio) {
        got.assign(audio.GetData(), audio.GetData() + audio.GetSize());
        audio.Release();
    };
    OpenStation(listener);
    Do(R"({"do":"audio","keypad":1,"hex":"52494646000aff"})");
    EXPECT_EQ(std::string("RIFF\0\n\xFF", 7), got);
    EXPECT_NE("done", Refusal(R"({"do":"audio","keypad":1,"hex":"5"})"));
    TearDown();
}

TEST_F(ActionsTest, Notice_GoesToTheWindowAsItIs) {
    EXPECT_EQ(1, Do(R"({"do":"notice","what":"arrival","type":"port","name":"COM3"})")["notices"].asInt());
    EXPECT_EQ(1, Do(R"({"do":"notice","what":32772,"type":"none"})")["notices"].asInt());
    ASSERT_EQ(2U, notices.notices.size());
    EXPECT_EQ(kNoticeArrival, notices.notices[0].what);
    EXPECT_EQ(UsbNotice::Type::Port, notices.notices[0].type);
    EXPECT_EQ("COM3", notices.notices[0].name);
    EXPECT_EQ(kNoticeRemoved, notices.notices[1].what);
    EXPECT_EQ(UsbNotice::Type::None, notices.notices[1].type);
}

TEST_F(ActionsTest, Notice_WaitsForAWindowOnlyWhereTheProductListens) {
    Do(R"({"do":"notice","what":"nodes"})");
    world.TheStation().MakeObject();
    Do(R"({"do":"notice","what":"nodes"})");
    EXPECT_EQ((std::vector<std::uint32_t>{0, 3000}), notices.waits);
}

TEST_F(ActionsTest, Script_DoesItsStepsInTimeAndTellsItsErrors) {
    StationListener listener;
    OpenStation(listener);
    Do(R"({"do":"script","steps":[{"at_ms":60,"do":"key","keypad":3,"key":"C"},{"at_ms":30,"do":"nix"},
           {"at_ms":0,"do":"key","keypad":1,"key":"A"}]})");
    EXPECT_EQ((Words{"key 1 1", "key 3 3"}), listener.heard.Await(2));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    Json::Value script = State()["scripts"][0];
    while (script["done"].asInt() < 3 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
        script = State()["scripts"][0];
    }
    EXPECT_EQ(3, script["done"].asInt());
    ASSERT_EQ(1U, script["errors"].size());
    EXPECT_NE(std::string::npos, script["errors"][0].asString().find("there is no action 'nix'"));
    EXPECT_NE("done", Refusal(R"({"do":"script","steps":[{"do":"key"}]})"));
    TearDown();
}

TEST_F(ActionsTest, ThirtyThousandKeypads_AreFine) {
    StationListener listener;
    OpenStation(listener);
    EXPECT_EQ(30000, Do(R"({"do":"connect","from":1,"to":30000})")["callbacks"].asInt());
    EXPECT_EQ(30000,
              Do(R"({"do":"key","from":1,"to":30000,"key":"A","together":true})")["callbacks"].asInt());
    EXPECT_EQ(60000U, listener.heard.All().size());
    EXPECT_EQ(30000U, State()["keypads"].size());
    TearDown();
}

TEST_F(ActionsTest, Resets_ForgetButGoOnCounting) {
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    station.StartSession();
    const std::uint64_t before = world.journal.Last();
    Do(R"([{"do":"reset-saw"},{"do":"reset-misuse"}])");
    EXPECT_TRUE(Calls().empty());
    EXPECT_TRUE(Misuses().empty());
    station.CloseSocket();
    EXPECT_EQ(Words{"CloseSocket"}, Calls());
    EXPECT_EQ(before + 1, world.journal.Last());
}

TEST_F(ActionsTest, State_SaysThatItIsSimulated) {
    EXPECT_TRUE(State()["simulated"].asBool());
    EXPECT_EQ(1U, State()["seed"].asUInt());
}

TEST_F(ActionsTest, OldRecords_GoFirstWhereThereAreTooMany) {
    world.journal.SetLimit(3);
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    for (int i = 0; i < 9; ++i) {
        station.CloseSocket();
    }
    std::uint64_t next = 0;
    const auto records = world.journal.Since(1, SIZE_MAX, std::chrono::milliseconds(0), next);
    ASSERT_EQ(3U, records.size());
    EXPECT_EQ(8, Parse(records[0])["n"].asInt());
    EXPECT_EQ(11U, next);
}

void SetVariable(const char* name, const char* value) {
#if defined(_WIN32)
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

TEST(ClassroomSettings, Environment_IsReadAndCheckedBeforeItIsUsed) {
    SetVariable("CLASSROOM_SEED", "77");
    SetVariable("CLASSROOM_STATION", "no-power");
    SetVariable("CLASSROOM_PLUGGED", "TQ1,LW");
    const Settings settings = SettingsFromEnvironment();
    EXPECT_EQ(77U, settings.seed);
    EXPECT_EQ("no-power", settings.station);
    EXPECT_EQ((std::vector<Kind>{Kind::TQ1, Kind::LW}), settings.plugged);
    SetVariable("CLASSROOM_PLUGGED", "RV2");
    EXPECT_THROW(SettingsFromEnvironment(), std::invalid_argument);
    SetVariable("CLASSROOM_PLUGGED", "");
    SetVariable("CLASSROOM_SEED", "x");
    EXPECT_THROW(SettingsFromEnvironment(), std::invalid_argument);
    SetVariable("CLASSROOM_SEED", "");
    SetVariable("CLASSROOM_STATION", "");
    EXPECT_EQ(1U, SettingsFromEnvironment().seed);
    EXPECT_EQ("up", SettingsFromEnvironment().station);
}

}  // namespace
}  // namespace vdipc::classroom::test
