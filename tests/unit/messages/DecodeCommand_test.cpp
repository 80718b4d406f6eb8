#include "messages/MessageCodec.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace vdipc {
namespace {

using test::OneLine;
using test::ParseJson;
using test::Quoted;
using test::ValuesOfOtherTypes;
using test::With;
using test::Without;
using testing::ElementsAre;
using testing::IsEmpty;

template <typename Record>
bool Decode(const std::string& text, Record* record) {
    return MessageCodec::DecodeCommand(Quoted(text), record);
}

template <typename Record>
bool Decodes(const Json::Value& message) {
    Record record;
    return MessageCodec::DecodeCommand(OneLine(message), &record);
}

/// Missing, null and every other type than string fail.
template <typename Record>
void ExpectRequiredText(const Json::Value& message, const std::string& key) {
    ASSERT_TRUE(Decodes<Record>(message)) << message;
    EXPECT_FALSE(Decodes<Record>(Without(message, key))) << "without " << key;
    for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
        EXPECT_FALSE(Decodes<Record>(With(message, key, value))) << key << ": " << value;
    }
}

/// Missing, null and every other type than the right one leave the field at its default, with no failure.
template <typename Record, typename Member>
void ExpectOptional(const Json::Value& message, const std::string& key, Member Record::*field,
                    Json::ValueType type = Json::stringValue) {
    std::vector<Json::Value> variants = {Without(message, key)};
    for (const Json::Value& value : ValuesOfOtherTypes(type)) {
        variants.push_back(With(message, key, value));
    }
    for (const Json::Value& variant : variants) {
        Record record;
        EXPECT_TRUE(MessageCodec::DecodeCommand(OneLine(variant), &record)) << variant;
        EXPECT_EQ(record.*field, Record().*field) << variant;
    }
}

const char* const kInit = "{'command': 'init', 'id': 'i1', 'preferred-device-type': 'audio'}";
const char* const kAsk =
    "{'command': 'ask', 'id': 'a1', 'device': '17', 'type': 'audio-single', 'row1': 'r1', "
    "'row2': 'r2', 'row3': 'r3', 'custom': 'c', 'context': {'param': {'x': 1}, 'stems': ['s', "
    "'t'], 'audio-file-name-prefix': 'p-'}}";
const char* const kHi =
    "{'command': 'hi', 'id': 'h1', 'device': '17', 'arguments': [{'type': 'led', 'times': 3, "
    "'interval': 4, 'duration': 5, 'color': 'white'}]}";

std::string Rows(const char* command) {
    return std::string("{'command': '") + command +
           "', 'id': 's1', 'device': '17', 'row1': 'r1', 'row2': 'r2', 'row3': 'r3'}";
}

Json::Value Message(const std::string& text) {
    return ParseJson(Quoted(text));
}

// ---- init

TEST(DecodeInit, EveryKey_GoesIntoItsField) {
    CommandInit record;
    ASSERT_TRUE(Decode(kInit, &record));
    EXPECT_EQ(record.command_type, CommandType::Init);
    EXPECT_EQ(record.id, "i1");
    EXPECT_EQ(record.preferred_device_type, PreferredDeviceType::Audio);
}

TEST(DecodeInit, NewRecord_HasNoPreferredDeviceType) {
    EXPECT_EQ(static_cast<int>(CommandInit().preferred_device_type), -1);
    EXPECT_EQ(CommandInit().id, "");
}

TEST(DecodeInit, EveryPreferredDeviceType_GivesItsNumber) {
    int number = 0;
    for (const char* name : {"non-audio", "audio", "any"}) {
        CommandInit record;
        ASSERT_TRUE(
            Decode(std::string("{'command': 'init', 'preferred-device-type': '") + name + "'}", &record));
        EXPECT_EQ(static_cast<int>(record.preferred_device_type), number++);
    }
}

TEST(DecodeInit, WithoutPreferredDeviceTypeOrOfAnotherCase_Fails) {
    CommandInit record;
    EXPECT_FALSE(Decode("{'command': 'init'}", &record));
    for (const char* name : {"Audio", "AUDIO", "Non-Audio", "ANY", "", "audio ", "all"}) {
        EXPECT_FALSE(
            Decode(std::string("{'command': 'init', 'preferred-device-type': '") + name + "'}", &record))
            << name;
    }
    EXPECT_EQ(record.preferred_device_type, PreferredDeviceType::None);
    ExpectRequiredText<CommandInit>(Message(kInit), "preferred-device-type");
}

TEST(DecodeInit, Id_IsOptional) {
    ExpectOptional(Message(kInit), "id", &CommandInit::id);
}

TEST(DecodeInit, FailureBehindTheId_LeavesTheIdFilled) {
    CommandInit record;
    EXPECT_FALSE(Decode("{'command': 'init', 'id': 'x', 'preferred-device-type': 5}", &record));
    EXPECT_EQ(record.id, "x");
}

// ---- ask

TEST(DecodeAsk, EveryKey_GoesIntoItsField) {
    CommandAsk record;
    ASSERT_TRUE(Decode(kAsk, &record));
    EXPECT_EQ(record.command_type, CommandType::Ask);
    EXPECT_EQ(record.id, "a1");
    EXPECT_EQ(record.device, "17");
    EXPECT_EQ(record.type, QuestionType::VoiceEvaluationSingle);
    EXPECT_EQ(record.row1, "r1");
    EXPECT_TRUE(record.has_row1);
    EXPECT_EQ(record.row2, "r2");
    EXPECT_TRUE(record.has_row2);
    EXPECT_EQ(record.row3, "r3");
    EXPECT_TRUE(record.has_row3);
    EXPECT_EQ(record.custom, "c");
    EXPECT_EQ(record.param, "{\n\t\"x\" : 1\n}\n");
    EXPECT_THAT(record.stems, ElementsAre("s", "t"));
    EXPECT_EQ(record.audio_file_name_prefix, "p-");
}

TEST(DecodeAsk, DeviceAndTypeAlone_LeaveTheRestAtDefaults) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'general'}", &record));
    EXPECT_EQ(record.id, "");
    EXPECT_EQ(record.row1, "");
    EXPECT_EQ(record.row2, "");
    EXPECT_EQ(record.row3, "");
    EXPECT_FALSE(record.has_row1);
    EXPECT_FALSE(record.has_row2);
    EXPECT_FALSE(record.has_row3);
    EXPECT_EQ(record.custom, "");
    EXPECT_EQ(record.param, "");
    EXPECT_THAT(record.stems, IsEmpty());
    EXPECT_EQ(record.audio_file_name_prefix, "");
    EXPECT_EQ(static_cast<int>(CommandAsk().type), -1);
}

TEST(DecodeAsk, EveryQuestionType_GivesItsNumber) {
    int number = 0;
    for (const char* name : {"single-choice", "multiple-choice", "red-envelope", "continous-red-envelope",
                             "true-false", "audio", "audio-single", "audio-multiple", "audio-multiple-chn",
                             "evaluation", "voice-record", "general", "multiple-question-single-choice"}) {
        CommandAsk record;
        ASSERT_TRUE(
            Decode(std::string("{'command': 'ask', 'device': '0', 'type': '") + name + "'}", &record));
        EXPECT_EQ(static_cast<int>(record.type), number++) << name;
    }
}

TEST(DecodeAsk, ContinousRedEnvelope_IsThreeAndTheCorrectSpellingIsUnknown) {
    CommandAsk record;
    EXPECT_FALSE(Decode("{'command': 'ask', 'device': '0', 'type': 'continuous-red-envelope'}", &record));
    EXPECT_EQ(record.type, QuestionType::None);
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'continous-red-envelope'}", &record));
    EXPECT_EQ(static_cast<int>(record.type), 3);
}

TEST(DecodeAsk, Type_IsRequiredAndMustBeARow) {
    ExpectRequiredText<CommandAsk>(Message(kAsk), "type");
    for (const char* name : {"", "General", "essay", "audio_single"}) {
        EXPECT_FALSE(Decodes<CommandAsk>(With(Message(kAsk), "type", name))) << name;
    }
}

TEST(DecodeAsk, Device_IsRequired) {
    ExpectRequiredText<CommandAsk>(Message(kAsk), "device");
}

TEST(DecodeAsk, Row1AsNumber_DecodesWithoutTheRow) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'general', 'row1': 7}", &record));
    EXPECT_FALSE(record.has_row1);
    EXPECT_EQ(record.row1, "");
}

TEST(DecodeAsk, Row1Empty_CountsAsARow) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'general', 'row1': ''}", &record));
    EXPECT_TRUE(record.has_row1);
    EXPECT_EQ(record.row1, "");
}

TEST(DecodeAsk, RowsCustomAndId_AreOptional) {
    const Json::Value message = Message(kAsk);
    ExpectOptional(message, "id", &CommandAsk::id);
    ExpectOptional(message, "row1", &CommandAsk::row1);
    ExpectOptional(message, "row1", &CommandAsk::has_row1);
    ExpectOptional(message, "row2", &CommandAsk::row2);
    ExpectOptional(message, "row2", &CommandAsk::has_row2);
    ExpectOptional(message, "row3", &CommandAsk::row3);
    ExpectOptional(message, "row3", &CommandAsk::has_row3);
    ExpectOptional(message, "custom", &CommandAsk::custom);
}

TEST(DecodeAsk, ContextAsText_DecodesWithItsThreeFieldsAtDefaults) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'audio', 'context': 'x'}", &record));
    EXPECT_EQ(record.param, "");
    EXPECT_THAT(record.stems, IsEmpty());
    EXPECT_EQ(record.audio_file_name_prefix, "");
}

TEST(DecodeAsk, ContextMissingOrOfAnotherType_LeavesItsThreeFieldsAtDefaults) {
    const Json::Value message = Message(kAsk);
    ExpectOptional(message, "context", &CommandAsk::param, Json::objectValue);
    ExpectOptional(message, "context", &CommandAsk::stems, Json::objectValue);
    ExpectOptional(message, "context", &CommandAsk::audio_file_name_prefix, Json::objectValue);
}

TEST(DecodeAsk, ContextWithoutItsKeys_Decodes) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'audio', 'context': {}}", &record));
    EXPECT_EQ(record.param, "");
    EXPECT_THAT(record.stems, IsEmpty());
}

TEST(DecodeAsk, StemsWithANumberAmongThem_SkipsTheNumber) {
    CommandAsk record;
    ASSERT_TRUE(
        Decode("{'command': 'ask', 'device': '0', 'type': 'audio-single', 'context': {'stems': ['a', 1, "
               "'b']}}",
               &record));
    EXPECT_THAT(record.stems, ElementsAre("a", "b"));
}

TEST(DecodeAsk, StemsOfEveryOtherType_AreSkipped) {
    CommandAsk record;
    ASSERT_TRUE(
        Decode("{'command': 'ask', 'device': '0', 'type': 'audio-single', 'context': {'stems': [null, "
               "'first', ['a'], {'b': 'c'}, true, 1.5, '']}}",
               &record));
    EXPECT_THAT(record.stems, ElementsAre("first", ""));
}

TEST(DecodeAsk, ParamAsArray_StaysEmpty) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '0', 'type': 'evaluation', 'context': {'param': ['a']}}",
                       &record));
    EXPECT_EQ(record.param, "");
}

TEST(DecodeAsk, KeysOfTheContext_AreOptionalEachForItself) {
    const Json::Value message = Message(kAsk);
    const auto with_context = [&](const std::string& key, const Json::Value& value) {
        return OneLine(With(message, "context", With(message["context"], key, value)));
    };
    for (const Json::Value& value : ValuesOfOtherTypes(Json::objectValue)) {
        CommandAsk record;
        ASSERT_TRUE(MessageCodec::DecodeCommand(with_context("param", value), &record)) << value;
        EXPECT_EQ(record.param, "") << value;
        EXPECT_EQ(record.stems.size(), 2U);
    }
    for (const Json::Value& value : ValuesOfOtherTypes(Json::arrayValue)) {
        CommandAsk record;
        ASSERT_TRUE(MessageCodec::DecodeCommand(with_context("stems", value), &record)) << value;
        EXPECT_THAT(record.stems, IsEmpty()) << value;
        EXPECT_EQ(record.audio_file_name_prefix, "p-");
    }
    for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
        CommandAsk record;
        ASSERT_TRUE(MessageCodec::DecodeCommand(with_context("audio-file-name-prefix", value), &record))
            << value;
        EXPECT_EQ(record.audio_file_name_prefix, "") << value;
        EXPECT_NE(record.param, "");
    }
}

TEST(DecodeAsk, EmptyParam_IsAnObjectAndNotAnEmptyText) {
    CommandAsk record;
    ASSERT_TRUE(
        Decode("{'command': 'ask', 'device': '0', 'type': 'evaluation', 'context': {'param': {}}}", &record));
    EXPECT_EQ(record.param, "{}\n");
}

TEST(DecodeAsk, FailureAtTheType_LeavesIdAndDeviceFilled) {
    CommandAsk record;
    EXPECT_FALSE(Decode("{'command': 'ask', 'id': 'x', 'device': '5', 'type': 'no', 'row1': 'r'}", &record));
    EXPECT_EQ(record.id, "x");
    EXPECT_EQ(record.device, "5");
    EXPECT_FALSE(record.has_row1);
}

TEST(DecodeAsk, DeviceThatIsNoNumber_IsNoneOfTheDecodersBusiness) {
    CommandAsk record;
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': 'abc', 'type': 'general'}", &record));
    EXPECT_EQ(record.device, "abc");
}

TEST(DecodeAsk, EmptyDevice_IsADeviceLikeAnyOther) {
    CommandAsk record;
    record.device = "to be replaced";
    ASSERT_TRUE(Decode("{'command': 'ask', 'device': '', 'type': 'general'}", &record));
    EXPECT_EQ(record.device, "");
    EXPECT_EQ(record.type, QuestionType::General);
}

TEST(DecodeAsk, TextWithEmbeddedZero_KeepsAllOfIt) {
    CommandAsk record;
    ASSERT_TRUE(
        Decode("{'command': 'ask', 'device': '0', 'type': 'general', 'custom': 'a\\u0000b', 'context': "
               "{'stems': ['\\u0000']}}",
               &record));
    EXPECT_EQ(record.custom, std::string("a\0b", 3));
    EXPECT_THAT(record.stems, ElementsAre(std::string(1, '\0')));
}

// ---- stop, text

template <typename Record>
class DecodeRows : public testing::Test {
public:
    static std::string Text() { return Rows(std::is_same_v<Record, CommandStop> ? "stop" : "text"); }
};
using RowCommands = testing::Types<CommandStop, CommandText>;
TYPED_TEST_SUITE(DecodeRows, RowCommands);

TYPED_TEST(DecodeRows, EveryKey_GoesIntoItsField) {
    TypeParam record;
    ASSERT_TRUE(Decode(TestFixture::Text(), &record));
    EXPECT_EQ(record.id, "s1");
    EXPECT_EQ(record.device, "17");
    EXPECT_EQ(record.row1, "r1");
    EXPECT_TRUE(record.has_row1);
    EXPECT_EQ(record.row2, "r2");
    EXPECT_TRUE(record.has_row2);
    EXPECT_EQ(record.row3, "r3");
    EXPECT_TRUE(record.has_row3);
}

TYPED_TEST(DecodeRows, Device_IsRequired) {
    ExpectRequiredText<TypeParam>(Message(TestFixture::Text()), "device");
}

TYPED_TEST(DecodeRows, EmptyDevice_IsADeviceLikeAnyOther) {
    TypeParam record;
    record.device = "to be replaced";
    ASSERT_TRUE(
        MessageCodec::DecodeCommand(OneLine(With(Message(TestFixture::Text()), "device", "")), &record));
    EXPECT_EQ(record.device, "");
    EXPECT_EQ(record.row3, "r3");
}

TYPED_TEST(DecodeRows, RowsAndId_AreOptional) {
    const Json::Value message = Message(TestFixture::Text());
    ExpectOptional(message, "id", &TypeParam::id);
    ExpectOptional(message, "row1", &TypeParam::row1);
    ExpectOptional(message, "row1", &TypeParam::has_row1);
    ExpectOptional(message, "row2", &TypeParam::row2);
    ExpectOptional(message, "row2", &TypeParam::has_row2);
    ExpectOptional(message, "row3", &TypeParam::row3);
    ExpectOptional(message, "row3", &TypeParam::has_row3);
}

TYPED_TEST(DecodeRows, EmptyRow_CountsAsARow) {
    TypeParam record;
    ASSERT_TRUE(
        MessageCodec::DecodeCommand(OneLine(With(Message(TestFixture::Text()), "row3", "")), &record));
    EXPECT_TRUE(record.has_row3);
    EXPECT_EQ(record.row3, "");
}

TEST(DecodeStop, WithoutDeviceOrWithDeviceAsNumber_Fails) {
    CommandStop record;
    EXPECT_FALSE(Decode("{'command': 'stop'}", &record));
    EXPECT_FALSE(Decode("{'command': 'stop', 'device': 3}", &record));
    EXPECT_TRUE(Decode("{'command': 'stop', 'device': '3'}", &record));
}

TEST(DecodeStop, AndText_DifferInNameAndNumberOnly) {
    CommandStop stop;
    CommandText text;
    EXPECT_EQ(static_cast<int>(stop.command_type), 2);
    EXPECT_EQ(static_cast<int>(text.command_type), 3);
    EXPECT_FALSE(Decode(Rows("text"), &stop));
    EXPECT_FALSE(Decode(Rows("stop"), &text));
}

// ---- hi

TEST(DecodeHi, EveryKey_GoesIntoItsField) {
    CommandHi record;
    ASSERT_TRUE(Decode(kHi, &record));
    EXPECT_EQ(record.command_type, CommandType::Hi);
    EXPECT_EQ(record.id, "h1");
    EXPECT_EQ(record.device, "17");
    ASSERT_EQ(record.arguments.size(), 1U);
    EXPECT_EQ(record.arguments[0].type, HiArgumentType::Led);
    EXPECT_EQ(record.arguments[0].times, 3);
    EXPECT_EQ(record.arguments[0].interval, 4);
    EXPECT_EQ(record.arguments[0].duration, 5);
    EXPECT_EQ(record.arguments[0].color, HiArgumentColor::White);
}

TEST(DecodeHi, NewArgument_HasNoTypeAndNoColor) {
    const CommandHi::Argument argument;
    EXPECT_EQ(static_cast<int>(argument.type), -1);
    EXPECT_EQ(static_cast<int>(argument.color), -1);
    EXPECT_EQ(argument.times, 0);
    EXPECT_EQ(argument.interval, 0);
    EXPECT_EQ(argument.duration, 0);
}

TEST(DecodeHi, SeveralArguments_KeepTheirOrder) {
    CommandHi record;
    ASSERT_TRUE(Decode("{'command': 'hi', 'device': '0', 'arguments': ["
                       "{'type': 'motor', 'times': 1, 'interval': 2, 'duration': 3},"
                       "{'type': 'led', 'times': 4, 'interval': 5, 'duration': 6, 'color': 'blue'},"
                       "{'type': 'beep', 'times': 7, 'interval': 8, 'duration': 9}]}",
                       &record));
    ASSERT_EQ(record.arguments.size(), 3U);
    EXPECT_EQ(record.arguments[0].type, HiArgumentType::Motor);
    EXPECT_EQ(record.arguments[1].type, HiArgumentType::Led);
    EXPECT_EQ(record.arguments[1].color, HiArgumentColor::Blue);
    EXPECT_EQ(record.arguments[2].type, HiArgumentType::Beep);
    EXPECT_EQ(record.arguments[2].color, HiArgumentColor::None);
    EXPECT_EQ(record.arguments[2].duration, 9);
}

TEST(DecodeHi, EmptyArguments_GiveAnEmptyList) {
    CommandHi record;
    ASSERT_TRUE(Decode("{'command': 'hi', 'device': '0', 'arguments': []}", &record));
    EXPECT_THAT(record.arguments, IsEmpty());
}

TEST(DecodeHi, Device_IsRequiredAndIdIsNot) {
    ExpectRequiredText<CommandHi>(Message(kHi), "device");
    ExpectOptional(Message(kHi), "id", &CommandHi::id);
}

TEST(DecodeHi, EmptyDevice_IsADeviceLikeAnyOther) {
    CommandHi record;
    record.device = "to be replaced";
    ASSERT_TRUE(MessageCodec::DecodeCommand(OneLine(With(Message(kHi), "device", "")), &record));
    EXPECT_EQ(record.device, "");
    EXPECT_EQ(record.arguments.size(), 1U);
}

TEST(DecodeHi, Arguments_MustBeAnArray) {
    EXPECT_FALSE(Decodes<CommandHi>(Without(Message(kHi), "arguments")));
    for (const Json::Value& value : ValuesOfOtherTypes(Json::arrayValue)) {
        EXPECT_FALSE(Decodes<CommandHi>(With(Message(kHi), "arguments", value))) << value;
    }
}

TEST(DecodeHi, ElementThatIsNoObject_FailsTheWholeCommand) {
    for (const Json::Value& value : ValuesOfOtherTypes(Json::objectValue)) {
        Json::Value message = Message(kHi);
        message["arguments"].append(value);
        EXPECT_FALSE(Decodes<CommandHi>(message)) << value;
    }
}

/// The message with one key of its one argument changed.
Json::Value HiWith(const std::string& key, const Json::Value& value) {
    Json::Value message = Message(kHi);
    message["arguments"][0][key] = value;
    return message;
}

TEST(DecodeHi, TypeOfAnArgument_IsRequiredAndMustBeARow) {
    Json::Value message = Message(kHi);
    message["arguments"][0].removeMember("type");
    EXPECT_FALSE(Decodes<CommandHi>(message));
    for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
        EXPECT_FALSE(Decodes<CommandHi>(HiWith("type", value))) << value;
    }
    for (const char* name : {"", "LED", "lamp"}) {
        EXPECT_FALSE(Decodes<CommandHi>(HiWith("type", name))) << name;
    }
    int number = 0;
    for (const char* name : {"led", "motor", "beep"}) {
        CommandHi record;
        ASSERT_TRUE(MessageCodec::DecodeCommand(OneLine(HiWith("type", name)), &record));
        EXPECT_EQ(static_cast<int>(record.arguments.at(0).type), number++);
    }
}

TEST(DecodeHi, TimesIntervalAndDuration_AreRequiredIntegersOf32Bits) {
    for (const char* key : {"times", "interval", "duration"}) {
        SCOPED_TRACE(key);
        Json::Value message = Message(kHi);
        message["arguments"][0].removeMember(key);
        EXPECT_FALSE(Decodes<CommandHi>(message));
        for (const Json::Value& value : ValuesOfOtherTypes(Json::intValue)) {
            EXPECT_FALSE(Decodes<CommandHi>(HiWith(key, value))) << value;
        }
        EXPECT_FALSE(Decodes<CommandHi>(HiWith(key, Json::Value(2147483648.0))));
        EXPECT_FALSE(Decodes<CommandHi>(HiWith(key, Json::Value(Json::Int64(2147483648)))));
        EXPECT_FALSE(Decodes<CommandHi>(HiWith(key, Json::Value(Json::Int64(-2147483649)))));
        EXPECT_TRUE(Decodes<CommandHi>(HiWith(key, 2147483647)));
        EXPECT_TRUE(Decodes<CommandHi>(HiWith(key, Json::Value(Json::Int64(-2147483648LL)))));
    }
}

TEST(DecodeHi, TimesOfOneAndAHalf_Fails) {
    CommandHi record;
    EXPECT_FALSE(
        Decode("{'command': 'hi', 'device': '0', 'arguments': [{'type': 'beep', 'times': 1.5, 'interval': "
               "1, 'duration': 1}]}",
               &record));
}

TEST(DecodeHi, WholeRealNumber_IsAnInteger) {
    CommandHi record;
    ASSERT_TRUE(
        Decode("{'command': 'hi', 'device': '0', 'arguments': [{'type': 'beep', 'times': 2.0, 'interval': "
               "1e2, 'duration': -0.0}]}",
               &record));
    EXPECT_EQ(record.arguments.at(0).times, 2);
    EXPECT_EQ(record.arguments.at(0).interval, 100);
    EXPECT_EQ(record.arguments.at(0).duration, 0);
}

TEST(DecodeHi, BeepWithoutColor_DecodesWithColorMinusOne) {
    CommandHi record;
    ASSERT_TRUE(
        Decode("{'command': 'hi', 'device': '0', 'arguments': [{'type': 'beep', 'times': 1, 'interval': 1, "
               "'duration': 1}]}",
               &record));
    ASSERT_EQ(record.arguments.size(), 1U);
    EXPECT_EQ(static_cast<int>(record.arguments[0].color), -1);
}

TEST(DecodeHi, ColorOfMotorAndBeep_IsNotLookedAt) {
    for (const char* type : {"motor", "beep"}) {
        for (const Json::Value& color :
             {Json::Value("red"), Json::Value("pink"), Json::Value(4), Json::Value()}) {
            CommandHi record;
            Json::Value message = HiWith("color", color);
            message["arguments"][0]["type"] = type;
            ASSERT_TRUE(MessageCodec::DecodeCommand(OneLine(message), &record)) << message;
            EXPECT_EQ(record.arguments.at(0).color, HiArgumentColor::None) << message;
        }
    }
}

TEST(DecodeHi, LedWithoutColor_FailsAsAWholeBehindGoodElements) {
    CommandHi record;
    EXPECT_FALSE(Decode("{'command': 'hi', 'device': '0', 'arguments': ["
                        "{'type': 'beep', 'times': 1, 'interval': 1, 'duration': 1},"
                        "{'type': 'led', 'times': 1, 'interval': 1, 'duration': 1}]}",
                        &record));
    EXPECT_EQ(record.arguments.size(), 1U);
}

TEST(DecodeHi, EveryColorOfLed_GivesItsNumberAndEveryOtherFails) {
    int number = 1;
    for (const char* name : {"blue", "green", "blue-green", "red", "magenta", "yellow", "white"}) {
        CommandHi record;
        ASSERT_TRUE(MessageCodec::DecodeCommand(OneLine(HiWith("color", name)), &record)) << name;
        EXPECT_EQ(static_cast<int>(record.arguments.at(0).color), number++) << name;
    }
    for (const char* name : {"", "Red", "pink"}) {
        EXPECT_FALSE(Decodes<CommandHi>(HiWith("color", name))) << name;
    }
    for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
        EXPECT_FALSE(Decodes<CommandHi>(HiWith("color", value))) << value;
    }
}

TEST(DecodeHi, TenThousandArguments_AllArrive) {
    Json::Value message = Message(kHi);
    for (int i = 1; i < 10000; ++i) {
        message["arguments"].append(message["arguments"][0]);
    }
    CommandHi record;
    ASSERT_TRUE(MessageCodec::DecodeCommand(OneLine(message), &record));
    EXPECT_EQ(record.arguments.size(), 10000U);
}

// ---- drop, quit

TEST(DecodeDrop, IdAndDevice_GoIntoTheirFields) {
    CommandDrop record;
    ASSERT_TRUE(Decode("{'command': 'drop', 'id': 'd1', 'device': '17'}", &record));
    EXPECT_EQ(static_cast<int>(record.command_type), 5);
    EXPECT_EQ(record.id, "d1");
    EXPECT_EQ(record.device, "17");
}

TEST(DecodeDrop, Device_IsRequiredAndIdIsNot) {
    const Json::Value message = Message("{'command': 'drop', 'id': 'd1', 'device': '17'}");
    ExpectRequiredText<CommandDrop>(message, "device");
    ExpectOptional(message, "id", &CommandDrop::id);
}

TEST(DecodeDrop, EmptyDevice_IsADeviceLikeAnyOther) {
    CommandDrop record;
    record.device = "to be replaced";
    ASSERT_TRUE(Decode("{'command': 'drop', 'device': ''}", &record));
    EXPECT_EQ(record.device, "");
}

TEST(DecodeQuit, WithFurtherKeys_DecodesWithoutReadingDevice) {
    CommandQuit record;
    ASSERT_TRUE(Decode("{'command': 'quit', 'id': 'q1', 'device': 3, 'row1': [], 'arguments': {'a': null}}",
                       &record));
    EXPECT_EQ(static_cast<int>(record.command_type), 6);
    EXPECT_EQ(record.id, "q1");
}

TEST(DecodeQuit, Id_IsOptional) {
    ExpectOptional(Message("{'command': 'quit', 'id': 'q1'}"), "id", &CommandQuit::id);
}

TEST(DecodeCommand, KeysThatAreNotNamed_AreIgnored) {
    const auto with_more = [](const std::string& text) {
        return With(With(Message(text), "unknown", "x"), "Device", Json::Value(5));
    };
    EXPECT_TRUE(Decodes<CommandInit>(with_more(kInit)));
    EXPECT_TRUE(Decodes<CommandAsk>(with_more(kAsk)));
    EXPECT_TRUE(Decodes<CommandStop>(with_more(Rows("stop"))));
    EXPECT_TRUE(Decodes<CommandText>(with_more(Rows("text"))));
    EXPECT_TRUE(Decodes<CommandHi>(with_more(kHi)));
    EXPECT_TRUE(Decodes<CommandDrop>(with_more("{'command': 'drop', 'device': '1'}")));
}

}  // namespace
}  // namespace vdipc
