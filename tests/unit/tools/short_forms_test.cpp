#include "messages/MessageCodec.h"
#include "tools/common/ShortForms.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vdipc::tools {
namespace {

std::string Json(const std::string& line) {
    return JsonOfShortForm(SplitWords(line));
}

/// The words of the complaint about a line.
std::string ComplaintOfShortForm(const std::string& line) {
    try {
        Json(line);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

TEST(ShortForms, Init_DecodesAsTheCommand) {
    CommandInit command;
    ASSERT_TRUE(MessageCodec::DecodeCommand(Json("init any id=5"), &command));
    EXPECT_EQ(command.preferred_device_type, PreferredDeviceType::Any);
    EXPECT_EQ(command.id, "5");
}

/// Every word of the vocabulary passes, another one doesn't unless it is forced.
template <typename Number>
void ExpectWords(const Vocabulary<Number>& vocabulary, const std::string& before, const std::string& behind) {
    std::string list;
    for (const auto& [word, number] : vocabulary.numbers) {
        EXPECT_EQ(ComplaintOfShortForm(before + word + behind), "") << word;
    }
    const std::string wrong = before + "nonsense" + behind;
    const std::string complaint = ComplaintOfShortForm(wrong);
    EXPECT_NE(complaint.find("'nonsense'"), std::string::npos) << complaint;
    EXPECT_NE(complaint.find("--force"), std::string::npos) << complaint;
    for (const auto& [word, number] : vocabulary.numbers) {
        EXPECT_NE(complaint.find(word), std::string::npos) << word;
    }
    EXPECT_NE(JsonOfShortForm(SplitWords(wrong), true).find("\"nonsense\""), std::string::npos);
}

TEST(ShortForms, WordsOfTheProtocol_AreCheckedUnlessForced) {
    ExpectWords(kPreferredDeviceTypes, "init ", "");
    ExpectWords(kQuestionTypes, "ask 0 ", " custom=c");
    ExpectWords(kHiArgumentColors, "hi 0 led:", ":1:2:3");
    EXPECT_NE(ComplaintOfShortForm("hi 0 horn:1:2:3").find("unknown argument 'horn'"), std::string::npos);
}

TEST(ShortForms, Ask_CarriesRowsContextAndCustom) {
    CommandAsk command;
    ASSERT_TRUE(MessageCodec::DecodeCommand(
        Json("ask 7 audio-multiple custom=q1 \"row1=two words\" row3= stem=a stem=\"b c\" prefix=p-"),
        &command));
    EXPECT_EQ(command.device, "7");
    EXPECT_EQ(command.type, QuestionType::VoiceEvaluationMultiple);
    EXPECT_EQ(command.row1, "two words");
    EXPECT_FALSE(command.has_row2);
    EXPECT_TRUE(command.has_row3);
    EXPECT_EQ(command.custom, "q1");
    EXPECT_EQ(command.stems, (std::vector<std::string>{"a", "b c"}));
    EXPECT_EQ(command.audio_file_name_prefix, "p-");
}

TEST(ShortForms, Hi_CarriesItsArgumentsInOrder) {
    CommandHi command;
    ASSERT_TRUE(MessageCodec::DecodeCommand(Json("hi 0 led:blue:1:2:3 motor:4:5:6 beep:7:8:9"), &command));
    ASSERT_EQ(command.arguments.size(), 3U);
    EXPECT_EQ(command.arguments[0].color, HiArgumentColor::Blue);
    EXPECT_EQ(command.arguments[0].times, 1);
    EXPECT_EQ(command.arguments[0].interval, 2);
    EXPECT_EQ(command.arguments[0].duration, 3);
    EXPECT_EQ(command.arguments[2].type, HiArgumentType::Beep);
}

TEST(ShortForms, HiWithoutArguments_IsAnEmptyList) {
    CommandHi command;
    ASSERT_TRUE(MessageCodec::DecodeCommand(Json("hi 5"), &command));
    EXPECT_TRUE(command.arguments.empty());
}

TEST(ShortForms, StopTextDropQuit_DecodeAsTheCommands) {
    CommandStop stop;
    EXPECT_TRUE(MessageCodec::DecodeCommand(Json("stop 0 row1=x"), &stop));
    CommandText text;
    EXPECT_TRUE(MessageCodec::DecodeCommand(Json("text 0 row2=x"), &text));
    EXPECT_TRUE(text.has_row2);
    CommandDrop drop;
    EXPECT_TRUE(MessageCodec::DecodeCommand(Json("drop 3"), &drop));
    CommandQuit quit;
    EXPECT_TRUE(MessageCodec::DecodeCommand(Json("quit"), &quit));
}

TEST(ShortForms, BadWords_AreToldInWords) {
    EXPECT_EQ(ComplaintOfShortForm(""), "no command given");
    EXPECT_EQ(ComplaintOfShortForm("init"), "init needs non-audio, audio or any");
    EXPECT_EQ(ComplaintOfShortForm("ask 1"), "ask needs a question type, for instance single-choice");
    EXPECT_EQ(ComplaintOfShortForm("hi 1 beep:x:1:1"), "TIMES must be a whole number, not 'x'");
    EXPECT_EQ(ComplaintOfShortForm("text 1 row9=x"),
              "unknown key 'row9': id, row1, row2, row3, custom, stem, param and prefix are known");
    EXPECT_NE(ComplaintOfShortForm("ask 1 evaluation param=x").find("param is no JSON"), std::string::npos);
}

TEST(ShortForms, ParamNestedDeeperThanTheParserFollows_IsToldInWords) {
    const std::string complaint = ComplaintOfShortForm("ask 1 evaluation param=" + std::string(1001, '['));
    EXPECT_NE(complaint.find("param is no JSON"), std::string::npos) << complaint;
}

}  // namespace
}  // namespace vdipc::tools
