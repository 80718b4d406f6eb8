#include "unit/standin/support/Classroom.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class FaultTest : public ClassroomTest {
protected:
    void SetUp() override { OpenStation(listener); }

    void Begin(const std::string& rest) { Do(R"({"do":"fault","where":"RV2",)" + rest + "}"); }
    int Press(int keypad, int key) {
        return Do(R"({"do":"key","keypad":)" + std::to_string(keypad) + ",\"key\":" + std::to_string(key) +
                  "}")["callbacks"]
            .asInt();
    }

    StationListener listener;
};

TEST_F(FaultTest, Off_LetsNothingUpOrDown) {
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    Begin(R"("word":"off")");
    EXPECT_EQ(0, Press(1, 1));
    station.SendContext("a", "b", "c", 0, 1);
    EXPECT_EQ(0, Keypad(Kind::RV2, 1)["texts"].asInt());
    Begin(R"("word":"none")");
    EXPECT_EQ(1, Press(1, 1));
}

TEST_F(FaultTest, Stuck_GivesTheFirstKeyForEveryOther) {
    Begin(R"("word":"stuck")");
    Press(1, 3);
    Press(1, 4);
    Press(2, 1);
    EXPECT_EQ((Words{"key 1 3", "key 1 3", "key 2 3"}), listener.heard.All());
}

TEST_F(FaultTest, Garbage_GivesRandomKeysAndRecordings) {
    Begin(R"("word":"garbage")");
    Bytes bytes;
    listener.on_audio = [&bytes](IKeypadAudio& audio) {
        bytes.assign(audio.GetData(), audio.GetData() + audio.GetSize());
        audio.Release();
    };
    for (int i = 0; i < 20; ++i) {
        Press(1, 1);
    }
    Do(R"({"do":"audio","keypad":1,"make":"silence","bytes":1000})");
    const Words keys = listener.heard.All();
    EXPECT_GT(std::set<std::string>(keys.begin(), keys.end()).size(), 10U);
    ASSERT_EQ(1000U, bytes.size());
    EXPECT_NE(0, std::count_if(bytes.begin() + 44, bytes.end(), [](std::uint8_t byte) { return byte != 0; }));
}

TEST_F(FaultTest, Wrong_GivesTheNextKeyAndSilence) {
    Begin(R"("word":"wrong")");
    Bytes bytes;
    listener.on_audio = [&bytes](IKeypadAudio& audio) {
        bytes.assign(audio.GetData(), audio.GetData() + audio.GetSize());
        audio.Release();
    };
    Press(1, 1);
    Do(R"({"do":"audio","keypad":1,"make":"noise","bytes":100})");
    EXPECT_EQ("key 1 2", listener.heard.All().front());
    EXPECT_EQ('R', bytes.at(0));
    EXPECT_EQ(Bytes(56, 0), Bytes(bytes.begin() + 44, bytes.end()));
}

TEST_F(FaultTest, SlowAndDelayed_TakeTheirTimeWithoutHoldingUpTheAction) {
    for (const char* const word : {"slow", "delayed"}) {
        Begin(std::string("\"word\":\"") + word + "\",\"ms\":60");
        const std::size_t before = listener.heard.All().size();
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(0, Press(1, 1));
        EXPECT_EQ(before + 1, listener.heard.Await(before + 1).size());
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
        Begin(R"("word":"none")");
    }
}

TEST_F(FaultTest, Intermittent_LosesSome) {
    Begin(R"("word":"intermittent","chance":0.5)");
    int heard = 0;
    for (int i = 0; i < 100; ++i) {
        heard += Press(1, 1);
    }
    EXPECT_GT(heard, 20);
    EXPECT_LT(heard, 80);
}

TEST_F(FaultTest, Duplicate_GivesEachSoOften) {
    Begin(R"("word":"duplicate","times":3)");
    EXPECT_EQ(3, Press(4, 2));
    EXPECT_EQ(Words(3, "key 4 2"), listener.heard.All());
}

TEST_F(FaultTest, Reorder_HoldsThemUntilEnoughAreThere) {
    Begin(R"("word":"reorder","count":5)");
    for (int i = 1; i <= 4; ++i) {
        EXPECT_EQ(0, Press(i, 1));
    }
    EXPECT_EQ(4, State()["faults"][0]["held"].asInt());
    EXPECT_EQ(5, Press(5, 1));
    Words heard = listener.heard.All();
    std::sort(heard.begin(), heard.end());
    EXPECT_EQ((Words{"key 1 1", "key 2 1", "key 3 1", "key 4 1", "key 5 1"}), heard);
}

TEST_F(FaultTest, EndOfReorder_GivesWhatIsHeld) {
    Begin(R"("word":"reorder","count":5)");
    Press(7, 1);
    Begin(R"("word":"none")");
    EXPECT_EQ(Words{"key 7 1"}, listener.heard.Await(1));
    EXPECT_TRUE(State()["faults"].empty());
}

TEST_F(FaultTest, Faults_StandTogetherAndShowInTheState) {
    Begin(R"("word":"wrong")");
    Begin(R"("word":"duplicate")");
    EXPECT_EQ(2, Press(1, 1));
    EXPECT_EQ(Words(2, "key 1 2"), listener.heard.All());
    EXPECT_EQ(R"([{"times":2,"where":"RV2","word":"duplicate"},{"where":"RV2","word":"wrong"}])",
              CompactJson(State()["faults"]));
}

TEST_F(FaultTest, FaultOfOneKind_LeavesTheOthersAlone) {
    ReceiverListener other;
    OpenReceiver(Kind::LW, other);
    Begin(R"("word":"off")");
    EXPECT_EQ(1, Do(R"({"do":"key","kind":"LW","keypad":1,"key":1})")["callbacks"].asInt());
}

}  // namespace
}  // namespace vdipc::classroom::test
