#include "tools/page/PageServer.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc::page::test {
namespace {

constexpr const char kScript[] = "let a = '\0';";
constexpr const char* kAction = R"({"do":"key"})";

/// A server with a page, something to read and something to change, and requests as browsers and programs send them.
class PageServerTest : public testing::Test {
protected:
    PageServerTest() : server(*new PageServer(8)) {
        static auto* const kept = new std::vector<PageServer*>;
        kept->push_back(&server);
        server.AddFiles({{"/index.html", "text/html; charset=utf-8", "<!doctype html><title>Page</title>"},
                         {"/page.js", "text/javascript; charset=utf-8", {kScript, sizeof(kScript) - 1}}});
        server.SetPlainFront("plain words\n");
        server.Get("/state", [](const httplib::Request&, httplib::Response& response) {
            response.set_content("the state", "text/plain");
        });
        server.Post("/do", [this](const httplib::Request& request, httplib::Response& response) {
            if (request.body == "bad") {
                throw std::invalid_argument("bad words");
            }
            ++changes;
            response.set_content("done", "text/plain");
        });
        port = server.Listen(0);
        own = "http://127.0.0.1:" + std::to_string(port);
    }

    ~PageServerTest() override { server.Stop(); }

    httplib::Result Get(const std::string& path, const httplib::Headers& headers = {}) {
        return httplib::Client("127.0.0.1", port).Get(path.c_str(), headers);
    }

    httplib::Result Post(const httplib::Headers& headers = {}, const std::string& body = kAction) {
        return httplib::Client("127.0.0.1", port).Post("/do", headers, body, "text/plain");
    }

    int StatusOfPost(const httplib::Headers& headers) {
        const auto answer = Post(headers);
        return answer ? answer->status : -1;
    }

    int StatusOfGet(const std::string& path, const httplib::Headers& headers) {
        const auto answer = Get(path, headers);
        return answer ? answer->status : -1;
    }

    std::string Token() { return server.Guard().Token(); }

    PageServer& server;
    int port = 0;
    std::string own;
    std::atomic<int> changes{0};
};

TEST_F(PageServerTest, OwnPageWithItsToken_ChangesTheWorld) {
    const auto told = Get("/token", {{"Sec-Fetch-Site", "same-origin"}, {"Sec-Fetch-Mode", "cors"}});
    ASSERT_TRUE(told);
    EXPECT_EQ("{\"token\":\"" + Token() + "\"}", told->body);
    EXPECT_EQ(32U, Token().size());
    EXPECT_EQ(200,
              StatusOfPost({{"Origin", own}, {"Sec-Fetch-Site", "same-origin"}, {"X-Page-Token", Token()}}));
    const std::string by_name = "localhost:" + std::to_string(port);
    EXPECT_EQ(200,
              StatusOfPost({{"Host", by_name}, {"Origin", "http://" + by_name}, {"X-Page-Token", Token()}}));
    EXPECT_EQ(2, changes);
}

TEST_F(PageServerTest, Program_ReadsAndChangesWithoutToken) {
    EXPECT_EQ(200, StatusOfPost({{"User-Agent", "curl/7.88.1"}, {"Accept", "*/*"}}));
    EXPECT_EQ(200, StatusOfPost({{"User-Agent", "node"}, {"Sec-Fetch-Mode", "cors"}}));
    EXPECT_EQ(200, StatusOfGet("/state", {{"Accept", "*/*"}}));
    EXPECT_EQ(2, changes);
}

TEST_F(PageServerTest, NameThatLeadsHereFromOutside_IsRefused) {
    for (const std::string name :
         {"evil.example", "127.0.0.1.evil.example", "localhost.evil.example", "127.0.0.1@evil",
          "evil.example:80", "127.0.0.1:", "127.0.0.1:80x", "[::1]:80"}) {
        const httplib::Headers headers = {{"Host", name},
                                          {"Origin", "http://" + name},
                                          {"Sec-Fetch-Site", "same-origin"},
                                          {"X-Page-Token", Token()}};
        EXPECT_EQ(403, StatusOfPost(headers)) << name;
        for (const char* const path : {"/state", "/token", "/", "/page.js"}) {
            EXPECT_EQ(403, StatusOfGet(path, headers)) << name << path;
        }
    }
    EXPECT_EQ(403, StatusOfGet("/state", {{"Host", "127.0.0.1"}, {"Host", "evil.example"}}));
    EXPECT_EQ(0, changes);
}

TEST_F(PageServerTest, PageOfAnotherOrigin_ChangesNothing) {
    const std::string other_port = "http://127.0.0.1:" + std::to_string(port == 65535 ? 1 : port + 1);
    for (const std::string& origin : {std::string("http://evil.example"), std::string("null"), other_port,
                                      "https://127.0.0.1:" + std::to_string(port), own + ".evil.example"}) {
        EXPECT_EQ(403, StatusOfPost({{"Origin", origin}, {"X-Page-Token", Token()}})) << origin;
        EXPECT_EQ(403, StatusOfPost({{"Origin", origin}})) << origin;
    }
    EXPECT_EQ(403,
              StatusOfPost({{"Origin", own}, {"Origin", "http://evil.example"}, {"X-Page-Token", Token()}}));
    for (const char* const site : {"cross-site", "same-site", "whatever"}) {
        EXPECT_EQ(403, StatusOfPost({{"Origin", own}, {"Sec-Fetch-Site", site}, {"X-Page-Token", Token()}}))
            << site;
        EXPECT_EQ(403, StatusOfPost({{"Sec-Fetch-Site", site}, {"Sec-Fetch-Mode", "navigate"}})) << site;
    }
    EXPECT_EQ(0, changes);
}

TEST_F(PageServerTest, BrowserWithoutTokenOrOrigin_ChangesNothing) {
    for (const std::string& token : {std::string(32, '0'), Token() + "0", Token().substr(1)}) {
        EXPECT_EQ(403, StatusOfPost({{"Origin", own}, {"X-Page-Token", token}})) << token;
    }
    // Each of these comes from browsers alone.
    for (const char* const name : {"Referer", "Cookie", "Sec-Fetch-Site", "sec-fetch-site", "ORIGIN"}) {
        EXPECT_EQ(403, StatusOfPost({{name, "x"}, {"X-Page-Token", Token()}})) << name;
    }
    const auto refused = Post({{"Origin", own}});
    ASSERT_TRUE(refused);
    EXPECT_EQ(403, refused->status);
    EXPECT_NE(std::string::npos, refused->body.find(R"("reason":"token")")) << refused->body;
    EXPECT_EQ(0, changes);
}

TEST_F(PageServerTest, PageOfAnotherOrigin_ReadsNothing) {
    for (const char* const site : {"cross-site", "same-site"}) {
        for (const char* const mode : {"no-cors", "cors", "navigate"}) {
            const httplib::Headers headers = {{"Sec-Fetch-Site", site}, {"Sec-Fetch-Mode", mode}};
            EXPECT_EQ(403, StatusOfGet("/state", headers)) << site << mode;
            EXPECT_EQ(403, StatusOfGet("/token", headers)) << site << mode;
        }
        EXPECT_EQ(403, StatusOfGet("/page.js", {{"Sec-Fetch-Site", site}, {"Sec-Fetch-Mode", "no-cors"}}));
        EXPECT_EQ(200, StatusOfGet("/", {{"Sec-Fetch-Site", site}, {"Sec-Fetch-Mode", "navigate"}}))
            << "a link leads here";
    }
    EXPECT_EQ(403, StatusOfGet("/state", {{"Origin", "http://evil.example"}}));
    EXPECT_FALSE(Get("/state")->has_header("Access-Control-Allow-Origin"));
}

TEST_F(PageServerTest, RequestInTheBodyOfARefusedOne_IsNotARequest) {
    const std::string inner = "POST /do HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 2\r\n\r\n{}";
    httplib::Client client("127.0.0.1", port);
    client.set_keep_alive(true);
    for (int i = 0; i < 2; ++i) {
        const auto answer = client.Post("/do", {{"Origin", "http://evil.example"}}, inner, "text/plain");
        ASSERT_TRUE(answer);
        EXPECT_EQ(403, answer->status);
    }
    // The next answer on the same connection belongs to the next request.
    const auto next = client.Get("/state");
    ASSERT_TRUE(next);
    EXPECT_EQ("the state", next->body);
    EXPECT_EQ(0, changes);
}

TEST_F(PageServerTest, AddressOtherThan127001_IsNotListenedOn) {
    // All of 127.x.x.x is this machine, and a server that listens everywhere answers there.
    httplib::Client other("127.0.0.2", port);
    other.set_connection_timeout(2);
    EXPECT_FALSE(other.Get("/state"));
    EXPECT_TRUE(Get("/state"));
}

TEST_F(PageServerTest, Front_IsThePageForBrowsersAndWordsForPrograms) {
    const auto page = Get("/", {{"Accept", "text/html,application/xhtml+xml,*/*;q=0.8"}});
    ASSERT_TRUE(page);
    EXPECT_EQ("<!doctype html><title>Page</title>", page->body);
    EXPECT_EQ("text/html; charset=utf-8", page->get_header_value("Content-Type"));
    EXPECT_EQ("plain words\n", Get("/", {{"Accept", "*/*"}})->body);
}

TEST_F(PageServerTest, Files_ComeAsTheyAreUnderAStrictPolicy) {
    const auto script = Get("/page.js");
    ASSERT_TRUE(script);
    EXPECT_EQ(std::string(kScript, sizeof(kScript) - 1), script->body);
    EXPECT_EQ("nosniff", script->get_header_value("X-Content-Type-Options"));
    const std::string policy = script->get_header_value("Content-Security-Policy");
    for (const char* const words :
         {"default-src 'none'", "script-src 'self';", "require-trusted-types-for 'script'",
          "frame-ancestors 'self' http://127.0.0.1:*"}) {
        EXPECT_NE(std::string::npos, policy.find(words)) << policy;
    }
    EXPECT_EQ(404, StatusOfGet("/other.js", {}));
    EXPECT_EQ(404, StatusOfGet("/../page.js", {}));
    EXPECT_EQ(404, StatusOfGet("/do", {})) << "reading is no way to change something";
    EXPECT_EQ(0, changes);
}

TEST_F(PageServerTest, HandlerThatRaises_AnswersWithItsWords) {
    const auto answer = Post({}, "bad");
    ASSERT_TRUE(answer);
    EXPECT_EQ(400, answer->status);
    EXPECT_EQ(R"({"error":"bad words","ok":false})", answer->body);
}

}  // namespace
}  // namespace vdipc::page::test
