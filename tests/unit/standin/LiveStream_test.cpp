#include "classroom/control/LiveStream.h"

#include "unit/standin/support/Classroom.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::classroom::test {
namespace {

class LiveStreamTest : public ClassroomTest {
protected:
    using Events = std::vector<std::pair<std::string, Json::Value>>;

    /// The next events by their names; what only says that nothing happened is passed over.
    Events Next(LiveStream& stream) {
        Events events;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (events.empty() && std::chrono::steady_clock::now() < deadline) {
            const std::string text = stream.Next();
            for (std::size_t at = 0; text.compare(at, 7, "event: ") == 0;) {
                const std::size_t line = text.find("\ndata: ", at);
                const std::size_t end = text.find("\n\n", line);
                events.emplace_back(text.substr(at + 7, line - at - 7),
                                    Parse(text.substr(line + 7, end - line - 7)));
                at = end + 2;
            }
        }
        return events;
    }

    /// Goes on until an event of this name comes, and gives what it says.
    Json::Value Await(LiveStream& stream, const std::string& name) {
        for (int i = 0; i < 20; ++i) {
            for (const auto& [event, value] : Next(stream)) {
                if (event == name) {
                    return value;
                }
            }
        }
        ADD_FAILURE() << "no event " << name;
        return {};
    }
};

TEST_F(LiveStreamTest, Beginning_IsTheWholeWorldAndWhatWasAskedLast) {
    actions.Do(Parse(R"({"do":"connect","from":1,"to":3})"));
    world.TheStation().MakeObject()->CloseSocket();
    LiveStream stream(world, actions, 0);
    const Events events = Next(stream);
    ASSERT_EQ(3U, events.size());
    EXPECT_EQ("asked", events[0].first);
    EXPECT_EQ("CloseSocket", events[0].second["station 1"]["call"].asString());
    EXPECT_EQ("world", events[1].first);
    EXPECT_TRUE(events[1].second["simulated"].asBool());
    EXPECT_EQ("up", events[1].second["station"]["state"].asString());
    EXPECT_FALSE(events[1].second.isMember("keypads"));
    EXPECT_EQ("keypads", events[2].first);
    EXPECT_EQ(3U, events[2].second["keypads"].size());
}

TEST_F(LiveStreamTest, ChangeOfOneKeypad_TellsThatOneAlone) {
    actions.Do(Parse(R"({"do":"connect","from":1,"to":3})"));
    LiveStream stream(world, actions, 0);
    Next(stream);
    actions.Do(Parse(R"({"do":"key","keypad":2,"key":["B","T"]})"));
    const Json::Value keypads = Await(stream, "keypads")["keypads"];
    ASSERT_EQ(1U, keypads.size());
    EXPECT_EQ(2, keypads[0]["keypad"].asInt());
    EXPECT_EQ(Parse("[2,5]"), keypads[0]["last"]) << "pressed, though nobody heard";
    EXPECT_EQ(0, keypads[0]["keys"].asInt());
}

TEST_F(LiveStreamTest, ManyKeys_LeaveTheLastEight) {
    actions.Do(Parse(R"({"do":"key","keypad":2,"key":["A","B","C","D","A","B","C","D","G"]})"));
    LiveStream stream(world, actions, 0);
    EXPECT_EQ(Parse("[2,3,4,1,2,3,4,9]"), Await(stream, "keypads")["keypads"][0]["last"]);
}

TEST_F(LiveStreamTest, ChangeOfTheWorld_IsTold) {
    LiveStream stream(world, actions, 0);
    Next(stream);
    actions.Do(Parse(R"({"do":"fault","where":"RV2","word":"stuck"})"));
    EXPECT_EQ("stuck", Await(stream, "world")["faults"][0]["word"].asString());
}

TEST_F(LiveStreamTest, CallsOfTheProduct_ComeInOrderFromTheTailOn) {
    ISocketVoteDeck* const station = world.TheStation().MakeObject();
    station->CloseSocket();
    LiveStream stream(world, actions, 1);
    const Json::Value tail = Await(stream, "saw");
    ASSERT_EQ(1U, tail.size());
    EXPECT_EQ(2, tail[0]["n"].asInt());
    station->CloseSocket();
    EXPECT_EQ(3, Await(stream, "saw")[0]["n"].asInt());
}

TEST_F(LiveStreamTest, QuietWorld_GivesASignOfLife) {
    LiveStream stream(world, actions, 0);
    Next(stream);
    EXPECT_EQ(": SIMULATED\n\n", stream.Next());
}

}  // namespace
}  // namespace vdipc::classroom::test
