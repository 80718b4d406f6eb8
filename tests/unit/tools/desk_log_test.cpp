#include "tools/vdclient/DeskLog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace vdipc::tools::test {
namespace {

using namespace std::chrono_literals;

Json::Value Message(const char* text) {
    Json::Value value;
    value["event"] = text;
    return value;
}

TEST(DeskLogTest, NewReader_GetsTheStatusAndAllThatIsKept) {
    DeskLog log(2);
    Json::Value status;
    status["state"] = "open";
    log.SetStatus(status);
    for (const char* const text : {"one", "two\nlines", "\xE5\xB0\x8F"}) {
        log.Note("came", Message(text));
    }
    DeskLog::Place place;
    const std::string events = log.Next(place, 0ms);
    EXPECT_EQ(0U,
              events.find("event: status\ndata: {\"state\":\"open\"}\n\nevent: records\ndata: [{\"n\":2,"));
    EXPECT_EQ(std::string::npos, events.find("one"));
    EXPECT_NE(std::string::npos, events.find("two\\nlines")) << "one line for each event";
    EXPECT_NE(std::string::npos, events.find("\xE5\xB0\x8F"));
    EXPECT_EQ("", log.Next(place, 0ms));
}

TEST(DeskLogTest, StatusThatStaysTheSame_IsNoNews) {
    DeskLog log(2);
    log.SetStatus(Message("x"));
    DeskLog::Place place;
    log.Next(place, 0ms);
    log.SetStatus(Message("x"));
    EXPECT_EQ("", log.Next(place, 0ms));
    log.SetStatus(Message("y"));
    EXPECT_EQ("event: status\ndata: {\"event\":\"y\"}\n\n", log.Next(place, 0ms));
}

TEST(DeskLogTest, ReaderThatWaits_HearsAtOnce) {
    DeskLog log(100);
    DeskLog::Place place;
    log.Next(place, 0ms);
    const auto begin = std::chrono::steady_clock::now();
    std::thread later([&log] { log.Note("sent", Message("hello")); });
    EXPECT_NE(std::string::npos, log.Next(place, 30s).find("\"kind\":\"sent\""));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    later.join();
}

TEST(DeskLogTest, LongHistory_ComesInPieces) {
    DeskLog log(2000);
    for (int i = 0; i < 1200; ++i) {
        log.Note("came", Message("x"));
    }
    DeskLog::Place place;
    int pieces = 0;
    while (!log.Next(place, 0ms).empty()) {
        ++pieces;
    }
    EXPECT_EQ(3, pieces);
    EXPECT_EQ(1201U, place.next);
}

}  // namespace
}  // namespace vdipc::tools::test
