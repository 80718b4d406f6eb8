#include "common/JsonText.h"

#include "unit/pipe/RefusedAllocation.h"

#include <cstddef>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

/// Whether the text parses, which a stream with the same text must say too.
bool Parses(const std::string& text, Json::Value* root) {
    Json::Value of_stream;
    std::istringstream stream(text);
    const bool parsed = ParseJson(text, root);
    EXPECT_EQ(ParseJson(stream, &of_stream), parsed) << text.substr(0, 100);
    if (parsed) {
        EXPECT_EQ(of_stream, *root) << text.substr(0, 100);
    }
    return parsed;
}

std::string Nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(JsonText, AnyJson_Parses) {
    Json::Value root;
    ASSERT_TRUE(Parses(R"({"a": [1, "two"]})", &root));
    EXPECT_EQ(root["a"][1].asString(), "two");
    ASSERT_TRUE(Parses("7", &root));
    EXPECT_EQ(root.asInt(), 7);
}

TEST(JsonText, StyledText_IsTheTextThatTheLibraryItselfGives) {
    for (const char* const text :
         {"null", "7", "-2.5", "\"\"", "\"a\\u0000b \\u4e2d\"", "[]", "{}", "[1, [2, {}], null]",
          R"({"b": {"c": [1, "x"]}, "a": ""})", "// before\n{\"a\": 1}", "{\"a\": 1} // behind",
          "{ // inside\n\"a\": /* a value */ [1, 2] }", "\n/* one */ /* two */ [1]"}) {
        Json::Value root;
        ASSERT_TRUE(Parses(text, &root)) << text;
        EXPECT_EQ(StyledText(root), root.toStyledString()) << text;
    }
    // A comment ahead of a value that moves from one text into another.
    Json::Value root;
    ASSERT_TRUE(Parses("{\"param\": // why\n{\"a\": 1}}", &root));
    EXPECT_EQ(StyledText(root["param"]), root["param"].toStyledString());
    EXPECT_EQ(StyledText(root["param"]).front(), '\n');
}

/// Allocations of an action on this thread, once it has been done before.
template <typename Action>
std::size_t AllocationsOf(Action action) {
    action();
    const std::size_t before = test::AllocationsOfThread();
    action();
    return test::AllocationsOfThread() - before;
}

TEST(JsonText, ReaderAndWriter_AreSetUpOnceAndNotForEachText) {
    if (!test::CanRefuseAllocation()) {
        GTEST_SKIP() << "the allocation functions are the sanitizer's";
    }
    Json::Value root;
    const std::size_t reader = AllocationsOf([] { const Json::CharReaderBuilder builder; });
    EXPECT_LT(AllocationsOf([&] { ParseJson("7", &root); }), reader);
    EXPECT_LT(AllocationsOf([&] {
                  std::istringstream stream("7");
                  ParseJson(stream, &root);
              }),
              reader);
    const std::size_t writer = AllocationsOf([] { const Json::StreamWriterBuilder builder; });
    EXPECT_LT(AllocationsOf([&] { StyledText(root); }), writer);
}

TEST(JsonText, StyledTextWithoutItsLineBreak_IsWhatAFileHolds) {
    Json::Value root;
    ASSERT_TRUE(Parses(R"({"LW": null, "TQ1": ["1", "2"], "TQ2": []})", &root));
    EXPECT_EQ(StyledText(root), Json::writeString(Json::StreamWriterBuilder(), root) + "\n");
}

TEST(JsonText, TextThatIsNoJson_GivesFalse) {
    Json::Value root;
    for (const char* text : {"", "hello", "{", "[1,", "\"open"}) {
        EXPECT_FALSE(Parses(text, &root)) << text;
    }
}

TEST(JsonText, NestingDeeperThanTheParserFollows_GivesFalseAndRaisesNothing) {
    Json::Value root;
    EXPECT_TRUE(Parses(Nested(1000), &root));
    EXPECT_FALSE(Parses(Nested(1001), &root));
    EXPECT_FALSE(Parses(std::string(1001, '['), &root));
    EXPECT_FALSE(Parses(Nested(1000000), &root));
}

}  // namespace
}  // namespace vdipc
