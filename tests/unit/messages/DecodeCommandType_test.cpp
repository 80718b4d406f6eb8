#include "messages/MessageCodec.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vdipc {
namespace {

using test::Quoted;

int TypeOf(const std::string& text) {
    return MessageCodec::DecodeCommandType(Quoted(text));
}

TEST(DecodeCommandType, EveryCommandName_GivesItsNumber) {
    int number = 0;
    for (const char* name : {"init", "ask", "stop", "text", "hi", "drop", "quit"}) {
        EXPECT_EQ(TypeOf(std::string("{'command': '") + name + "'}"), number++) << name;
    }
}

TEST(DecodeCommandType, EmptyTextArrayStringAndObjectWithoutCommand_GiveMinusOne) {
    EXPECT_EQ(TypeOf(""), -1);
    EXPECT_EQ(TypeOf("[{'command': 'init'}]"), -1);
    EXPECT_EQ(TypeOf("'command'"), -1);
    EXPECT_EQ(TypeOf("{}"), -1);
    EXPECT_EQ(TypeOf("{'id': 'a', 'device': '0'}"), -1);
}

TEST(DecodeCommandType, TextThatIsNoJson_GivesMinusOne) {
    EXPECT_EQ(TypeOf("quit"), -1);
    EXPECT_EQ(TypeOf("{'command': 'quit'"), -1);
    EXPECT_EQ(TypeOf("{'command' 'quit'}"), -1);
    EXPECT_EQ(TypeOf(" \r\n\t"), -1);
    EXPECT_EQ(TypeOf(std::string("\0\0\0", 3)), -1);
    EXPECT_EQ(TypeOf("\xff\xfe{"), -1);
}

TEST(DecodeCommandType, CommandOfAnyOtherTypeThanString_GivesMinusOne) {
    for (const Json::Value& value : test::ValuesOfOtherTypes(Json::stringValue)) {
        Json::Value message;
        message["command"] = value;
        EXPECT_EQ(MessageCodec::DecodeCommandType(message.toStyledString()), -1) << message;
    }
}

TEST(DecodeCommandType, NumberAsCommandOrKnownNameInCapitals_GivesMinusOne) {
    EXPECT_EQ(TypeOf("{'command': 0}"), -1);
    EXPECT_EQ(TypeOf("{'command': 1}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'INIT'}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'Ask'}"), -1);
    EXPECT_EQ(TypeOf("{'Command': 'ask'}"), -1);
}

TEST(DecodeCommandType, UnknownOrPaddedName_GivesMinusOne) {
    EXPECT_EQ(TypeOf("{'command': 'restart'}"), -1);
    EXPECT_EQ(TypeOf("{'command': ''}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'ask '}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'ask\\u0000'}"), -1);
    EXPECT_EQ(TypeOf("{'event': 'ask'}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'key-pressed'}"), -1);
}

TEST(DecodeCommandType, LooksAtNoOtherKey) {
    EXPECT_EQ(TypeOf("{'command': 'ask', 'device': 3, 'type': null}"), 1);
}

TEST(DecodeCommandType, ObjectFollowedByFurtherText_StillParses) {
    EXPECT_EQ(TypeOf("{'command': 'quit'} and so on"), 6);
    EXPECT_EQ(TypeOf("{'command': 'quit'}{'command': 'ask'}"), 6);
    EXPECT_EQ(TypeOf("{'command': 'quit'}" + std::string(1, '\0')), 6);
    CommandQuit quit;
    EXPECT_TRUE(MessageCodec::DecodeCommand(Quoted("{'command': 'quit', 'id': 'x'} ]]"), &quit));
    EXPECT_EQ(quit.id, "x");
}

// What the parser's default settings take, beyond plain JSON.

TEST(ParserDefaults, CommentsTrailingCommasAndByteOrderMark_AreTaken) {
    EXPECT_EQ(TypeOf("// hello\n{'command': /* which? */ 'drop'}"), 5);
    EXPECT_EQ(TypeOf("{'command': 'drop',}"), 5);
    EXPECT_EQ(TypeOf("\xef\xbb\xbf{'command': 'drop'}"), 5);
}

TEST(ParserDefaults, SingleQuotesAndSpecialNumbers_AreNot) {
    EXPECT_EQ(MessageCodec::DecodeCommandType("{'command': 'drop'}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'drop', 'x': NaN}"), -1);
    EXPECT_EQ(TypeOf("{'command': 'drop', 'x': Infinity}"), -1);
}

TEST(ParserDefaults, KeyThatComesTwice_CountsByItsLastValue) {
    EXPECT_EQ(TypeOf("{'command': 'init', 'command': 'hi'}"), 4);
    CommandDrop drop;
    EXPECT_TRUE(
        MessageCodec::DecodeCommand(Quoted("{'command': 'drop', 'device': 3, 'device': '5'}"), &drop));
    EXPECT_EQ(drop.device, "5");
}

TEST(ParserDefaults, NumberBeyondDouble_SpoilsTheWholeMessageEvenUnderAKeyThatNobodyReads) {
    EXPECT_EQ(TypeOf("{'command': 'drop', 'x': 1e308}"), 5);
    EXPECT_EQ(TypeOf("{'command': 'drop', 'x': 1e999}"), -1);
}

TEST(ParserDefaults, HighSurrogateAlone_SpoilsTheMessage) {
    EXPECT_EQ(TypeOf("{'command': 'drop', 'x': '\\ud83d\\ude00'}"), 5);
    EXPECT_EQ(TypeOf("{'command': 'drop', 'x': '\\ud83d'}"), -1);
}

std::string Nested(std::size_t depth) {
    return "{'command': 'drop', 'device': '1', 'x': " + std::string(depth, '[') + std::string(depth, ']') +
           "}";
}

TEST(ParserDefaults, NestingBeyondTheStackLimit_SpoilsTheMessageAndRaisesNothing) {
    EXPECT_EQ(TypeOf(Nested(999)), 5);
    EXPECT_EQ(TypeOf(Nested(1000)), -1);
    EXPECT_EQ(TypeOf(Nested(1000000)), -1);
    CommandDrop drop;
    EXPECT_TRUE(MessageCodec::DecodeCommand(Quoted(Nested(999)), &drop));
    EXPECT_FALSE(MessageCodec::DecodeCommand(Quoted(Nested(1000)), &drop));
}

TEST(DecodeCommand, HiWithCorrectFields_DecodesForHiAndFailsWithEveryOtherDecoder) {
    const std::string text = Quoted(
        "{'command': 'hi', 'device': '0', 'type': 'general', 'preferred-device-type': 'any', 'arguments': "
        "[{'type': 'beep', 'times': 1, 'interval': 1, 'duration': 1}]}");
    CommandInit init;
    CommandAsk ask;
    CommandStop stop;
    CommandText rows;
    CommandHi hi;
    CommandDrop drop;
    CommandQuit quit;
    EXPECT_TRUE(MessageCodec::DecodeCommand(text, &hi));
    EXPECT_FALSE(MessageCodec::DecodeCommand(text, &init));
    EXPECT_FALSE(MessageCodec::DecodeCommand(text, &ask));
    EXPECT_FALSE(MessageCodec::DecodeCommand(text, &stop));
    EXPECT_FALSE(MessageCodec::DecodeCommand(text, &rows));
    EXPECT_FALSE(MessageCodec::DecodeCommand(text, &drop));
    EXPECT_FALSE(MessageCodec::DecodeCommand(text, &quit));
}

TEST(DecodeCommand, NullRecord_GivesFalse) {
    const auto decode = [](const char* name, auto* record) {
        return MessageCodec::DecodeCommand(
            Quoted(std::string(
                       "{'device': '1', 'type': 'general', 'preferred-device-type': 'any', 'arguments': [], "
                       "'command': '") +
                   name + "'}"),
            record);
    };
    EXPECT_FALSE(decode("init", static_cast<CommandInit*>(nullptr)));
    EXPECT_FALSE(decode("ask", static_cast<CommandAsk*>(nullptr)));
    EXPECT_FALSE(decode("stop", static_cast<CommandStop*>(nullptr)));
    EXPECT_FALSE(decode("text", static_cast<CommandText*>(nullptr)));
    EXPECT_FALSE(decode("hi", static_cast<CommandHi*>(nullptr)));
    EXPECT_FALSE(decode("drop", static_cast<CommandDrop*>(nullptr)));
    EXPECT_FALSE(decode("quit", static_cast<CommandQuit*>(nullptr)));
}

}  // namespace
}  // namespace vdipc
