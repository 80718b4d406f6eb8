#include "classroom/control/ControlServer.h"

#include "unit/standin/support/Classroom.h"

#include <httplib.h>

#include <chrono>
#include <string>
#include <thread>

namespace vdipc::classroom::test {
namespace {

class ControlServerTest : public ClassroomTest {
protected:
    ControlServerTest()
        : server(*new ControlServer(world, actions)), port(server.Listen(0)), client("127.0.0.1", port) {
        client.set_read_timeout(30);
        static auto* const kept = new std::vector<ControlServer*>;
        kept->push_back(&server);
    }

    httplib::Result Post(const std::string& body) { return client.Post("/do", body, "application/json"); }

    ControlServer& server;
    const int port;
    httplib::Client client;
};

TEST_F(ControlServerTest, Action_IsDoneOrRefused) {
    const auto done = Post(R"({"do":"connect","keypad":1})");
    ASSERT_TRUE(done);
    EXPECT_EQ(200, done->status);
    EXPECT_EQ(R"({"callbacks":0,"notices":0,"ok":true})", done->body);
    for (const char* const bad : {R"({"do":"nix"})", "no JSON", "", "[[1]]"}) {
        const auto refused = Post(bad);
        ASSERT_TRUE(refused);
        EXPECT_EQ(400, refused->status) << bad;
        EXPECT_FALSE(Parse(refused->body)["ok"].asBool());
        EXPECT_FALSE(Parse(refused->body)["error"].asString().empty());
    }
}

TEST_F(ControlServerTest, State_IsTheWholeWorldOrAPart) {
    Post(R"([{"do":"connect","from":1,"to":3},{"do":"connect","kind":"LW","keypad":3}])");
    const auto keypads = [this](const std::string& path) {
        const auto answer = client.Get(path.c_str());
        return answer && answer->status == 200 ? static_cast<int>(Parse(answer->body)["keypads"].size()) : -1;
    };
    EXPECT_EQ(4, keypads("/state"));
    EXPECT_EQ(0, keypads("/state?keypads=0"));
    EXPECT_EQ(1, keypads("/state?kind=LW"));
    EXPECT_EQ(2, keypads("/state?keypad=3"));
    EXPECT_EQ(-1, keypads("/state?kind=XX"));
    EXPECT_EQ(-1, keypads("/state?keypad=x"));
}

TEST_F(ControlServerTest, SawSince_IsAnArrayFromThatNumberOn) {
    world.TheStation().MakeObject()->CloseSocket();
    const auto all = client.Get("/saw?since=0");
    ASSERT_TRUE(all);
    EXPECT_EQ(2U, Parse(all->body).size());
    const auto second = client.Get("/saw?since=2");
    ASSERT_EQ(1U, Parse(second->body).size());
    EXPECT_EQ("CloseSocket", Parse(second->body)[0]["call"].asString());
    EXPECT_EQ("[]", client.Get("/saw?since=3")->body);
}

TEST_F(ControlServerTest, SawSinceWithWait_AnswersAsSoonAsThereIsOne) {
    std::thread later([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        world.TheStation().MakeObject();
    });
    const auto answer = client.Get("/saw?since=1&wait_ms=25000");
    later.join();
    ASSERT_TRUE(answer);
    EXPECT_EQ("CreateVoteDeckObj", Parse(answer->body)[0]["call"].asString());
}

TEST_F(ControlServerTest, Saw_IsAStreamOfEvents) {
    ISocketVoteDeck* const station = world.TheStation().MakeObject();
    std::string got;
    const auto result = client.Get("/saw", [&](const char* data, std::size_t size) {
        got.append(data, size);
        if (got.find("CreateVoteDeckObj") != std::string::npos &&
            got.find("CloseSocket") == std::string::npos) {
            station->CloseSocket();
        }
        return got.find("CloseSocket") == std::string::npos;
    });
    EXPECT_EQ(httplib::Error::Canceled, result.error());
    EXPECT_EQ(0U, got.find("data: {\"n\":1,"));
    EXPECT_NE(std::string::npos, got.find("\n\ndata: {\"n\":2,"));
}

TEST_F(ControlServerTest, FrontPage_SaysThatItIsSimulated) {
    const auto answer = client.Get("/");
    ASSERT_TRUE(answer);
    EXPECT_EQ(0U, answer->body.find("SIMULATED classroom"));
}

TEST_F(ControlServerTest, Browser_GetsAPageThatSaysThatItIsSimulated) {
    const auto page = client.Get("/", {{"Accept", "text/html,*/*;q=0.8"}});
    ASSERT_TRUE(page);
    EXPECT_NE(std::string::npos, page->body.find("<title>SIMULATED classroom</title>")) << page->body;
    const auto common = client.Get("/common/dom.js");
    ASSERT_TRUE(common);
    EXPECT_EQ(200, common->status);
}

TEST_F(ControlServerTest, PageOfAnotherOrigin_NeitherMovesNorSeesTheWorld) {
    const auto action = client.Post("/do", {{"Origin", "http://evil.example"}},
                                    R"({"do":"connect","keypad":1})", "text/plain");
    ASSERT_TRUE(action);
    EXPECT_EQ(403, action->status);
    EXPECT_EQ(0U, actions.State(true, std::nullopt, std::nullopt)["keypads"].size());
    for (const char* const path : {"/state", "/saw?since=0", "/live", "/token"}) {
        EXPECT_EQ(403, client.Get(path, {{"Sec-Fetch-Site", "cross-site"}})->status) << path;
        EXPECT_EQ(403, client.Get(path, {{"Host", "evil.example"}})->status) << path;
    }
}

TEST_F(ControlServerTest, Live_IsAStreamThatFollowsTheWorld) {
    std::string got;
    const auto result = client.Get("/live?tail=10", [&](const char* data, std::size_t size) {
        if (got.empty()) {
            actions.Do(Parse(R"({"do":"connect","keypad":7})"));
        }
        got.append(data, size);
        return got.find("\"keypad\":7,") == std::string::npos;
    });
    EXPECT_EQ(httplib::Error::Canceled, result.error());
    EXPECT_EQ(0U, got.find("event: asked\ndata: {}\n\nevent: world\ndata: {"));
}

TEST_F(ControlServerTest, PortThatIsTaken_IsAnError) {
    httplib::Server other;
    other.set_socket_options([](socket_t) {});
    const int taken = other.bind_to_any_port("127.0.0.1");
    ASSERT_GT(taken, 0);
    auto* const second = new ControlServer(world, actions);
    static ControlServer* const kept [[maybe_unused]] = second;
    EXPECT_THROW(second->Listen(taken), std::runtime_error);
}

}  // namespace
}  // namespace vdipc::classroom::test
