#include "messages/MessageCodec.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace vdipc {
namespace {

using test::OneLine;
using test::ParseJson;
using test::Quoted;
using test::ValuesOfOtherTypes;
using test::With;
using test::Without;

template <typename Event>
bool DecodesAsEvent(const Json::Value& message) {
    Event event;
    return MessageCodec::DecodeEvent(OneLine(message), &event);
}

template <typename Event>
Json::Value WithData(const Json::Value& message, const std::string& key, const Json::Value& value) {
    return With(message, "data", With(message["data"], key, value));
}

template <typename Event>
std::string NameOf() {
    if (std::is_same_v<Event, EventEvaluated>) {
        return "evaluated";
    }
    return std::is_same_v<Event, EventAudioRecognized> ? "audio-recognized" : "voice-evaluated";
}

template <typename Event>
Json::Value Message() {
    return ParseJson(
        Quoted("{'event': '" + NameOf<Event>() +
               "', 'id': 'e1', 'device': '17', 'key': 'k', 'data': {'start_time': -5, 'end_time': "
               "9007199254740993, 'result': 'r', 'score': 87, 'lost_package_rate': 0.25, 'error': -201}, "
               "'extra': 'x.wav', 'custom': 'c'}"));
}

// ---- audio-recognized, voice-evaluated

template <typename Event>
class DecodeSpeech : public testing::Test {};
using SpeechEvents = testing::Types<EventAudioRecognized, EventVoiceEvaluated>;
TYPED_TEST_SUITE(DecodeSpeech, SpeechEvents);

TYPED_TEST(DecodeSpeech, EveryKey_GoesIntoItsField) {
    TypeParam event;
    ASSERT_TRUE(MessageCodec::DecodeEvent(OneLine(Message<TypeParam>()), &event));
    EXPECT_EQ(event.id, "e1");
    EXPECT_EQ(event.device, "17");
    EXPECT_EQ(event.key, "k");
    EXPECT_EQ(event.start_time, -5);
    EXPECT_EQ(event.end_time, 9007199254740993);
    EXPECT_EQ(event.result, "r");
    EXPECT_EQ(event.score, 87);
    EXPECT_EQ(event.lost_package_rate, 0.25);
    EXPECT_EQ(event.extra, "x.wav");
    EXPECT_EQ(event.custom, "c");
}

TYPED_TEST(DecodeSpeech, TemplateWithEmptyKeyAndResultAndTimesZero_Decodes) {
    TypeParam made;
    made.device = "17";
    made.extra = "x.wav";
    made.custom = "c";
    made.lost_package_rate = 0.75;
    TypeParam read;
    read.key = "old";
    read.result = "old";
    read.start_time = 1;
    read.end_time = 1;
    ASSERT_TRUE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(made), &read));
    EXPECT_EQ(read.id, "");
    EXPECT_EQ(read.device, "17");
    EXPECT_EQ(read.key, "");
    EXPECT_EQ(read.result, "");
    EXPECT_EQ(read.start_time, 0);
    EXPECT_EQ(read.end_time, 0);
    EXPECT_EQ(read.score, 0);
    EXPECT_EQ(read.lost_package_rate, 0.75);
    EXPECT_EQ(read.extra, "x.wav");
    EXPECT_EQ(read.custom, "c");
}

TYPED_TEST(DecodeSpeech, EncodedRecord_ComesBackWhole) {
    TypeParam made;
    made.id = MessageCodec::GenerateEventId();
    made.device = "4294967295";
    made.key = "A";
    made.extra = "a\"b\\c";
    made.custom = std::string("a\0b", 3);
    made.start_time = std::numeric_limits<std::int64_t>::min();
    made.end_time = std::numeric_limits<std::int64_t>::max();
    made.result = "good\nmorning";
    made.score = std::numeric_limits<std::int32_t>::min();
    made.lost_package_rate = 0.1;
    TypeParam read;
    ASSERT_TRUE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(made), &read));
    EXPECT_EQ(read.id, made.id);
    EXPECT_EQ(read.device, made.device);
    EXPECT_EQ(read.key, made.key);
    EXPECT_EQ(read.extra, made.extra);
    EXPECT_EQ(read.custom, made.custom);
    EXPECT_EQ(read.start_time, made.start_time);
    EXPECT_EQ(read.end_time, made.end_time);
    EXPECT_EQ(read.result, made.result);
    EXPECT_EQ(read.score, made.score);
    EXPECT_EQ(read.lost_package_rate, made.lost_package_rate);
}

TYPED_TEST(DecodeSpeech, EventDeviceExtraAndCustom_AreRequired) {
    const Json::Value message = Message<TypeParam>();
    ASSERT_TRUE(DecodesAsEvent<TypeParam>(message));
    for (const char* key : {"event", "device", "extra", "custom"}) {
        EXPECT_FALSE(DecodesAsEvent<TypeParam>(Without(message, key))) << key;
        for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
            EXPECT_FALSE(DecodesAsEvent<TypeParam>(With(message, key, value))) << key << ": " << value;
        }
    }
}

TYPED_TEST(DecodeSpeech, IdAndKey_AreOptional) {
    const Json::Value message = Message<TypeParam>();
    for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
        TypeParam event;
        ASSERT_TRUE(
            MessageCodec::DecodeEvent(OneLine(With(With(message, "id", value), "key", value)), &event));
        EXPECT_EQ(event.id, "");
        EXPECT_EQ(event.key, "");
    }
    EXPECT_TRUE(DecodesAsEvent<TypeParam>(Without(Without(message, "id"), "key")));
}

TYPED_TEST(DecodeSpeech, Data_MustBeAnObject) {
    const Json::Value message = Message<TypeParam>();
    EXPECT_FALSE(DecodesAsEvent<TypeParam>(Without(message, "data")));
    for (const Json::Value& value : ValuesOfOtherTypes(Json::objectValue)) {
        EXPECT_FALSE(DecodesAsEvent<TypeParam>(With(message, "data", value))) << value;
    }
}

TYPED_TEST(DecodeSpeech, StartAndEndTime_AreRequiredIntegersOf64Bits) {
    const Json::Value message = Message<TypeParam>();
    for (const char* key : {"start_time", "end_time"}) {
        EXPECT_FALSE(DecodesAsEvent<TypeParam>(With(message, "data", Without(message["data"], key)))) << key;
        for (const Json::Value& value : ValuesOfOtherTypes(Json::intValue)) {
            EXPECT_FALSE(DecodesAsEvent<TypeParam>(WithData<TypeParam>(message, key, value)))
                << key << ": " << value;
        }
        EXPECT_FALSE(DecodesAsEvent<TypeParam>(
            WithData<TypeParam>(message, key, Json::Value(Json::UInt64(9223372036854775808ULL)))));
    }
}

TYPED_TEST(DecodeSpeech, Result_IsRequired) {
    const Json::Value message = Message<TypeParam>();
    EXPECT_FALSE(DecodesAsEvent<TypeParam>(With(message, "data", Without(message["data"], "result"))));
    for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
        EXPECT_FALSE(DecodesAsEvent<TypeParam>(WithData<TypeParam>(message, "result", value))) << value;
    }
}

TYPED_TEST(DecodeSpeech, ScoreAndLostPackageRate_AreOptional) {
    const Json::Value message = Message<TypeParam>();
    TypeParam event;
    ASSERT_TRUE(MessageCodec::DecodeEvent(
        OneLine(With(message, "data", Without(Without(message["data"], "score"), "lost_package_rate"))),
        &event));
    EXPECT_EQ(event.score, 0);
    EXPECT_EQ(event.lost_package_rate, 0.0);
    for (const Json::Value& value : {Json::Value(), Json::Value("1"), Json::Value(true), Json::Value(1.5)}) {
        TypeParam other;
        ASSERT_TRUE(MessageCodec::DecodeEvent(OneLine(WithData<TypeParam>(message, "score", value)), &other));
        EXPECT_EQ(other.score, 0) << value;
    }
    for (const Json::Value& value : {Json::Value(), Json::Value("1"), Json::Value(true)}) {
        TypeParam other;
        ASSERT_TRUE(MessageCodec::DecodeEvent(
            OneLine(WithData<TypeParam>(message, "lost_package_rate", value)), &other));
        EXPECT_EQ(other.lost_package_rate, 0.0) << value;
    }
    TypeParam whole;
    ASSERT_TRUE(
        MessageCodec::DecodeEvent(OneLine(WithData<TypeParam>(message, "lost_package_rate", 1)), &whole));
    EXPECT_EQ(whole.lost_package_rate, 1.0);
}

TYPED_TEST(DecodeSpeech, DataWithoutEndTime_FailsWithTheStartTimeFilled) {
    Json::Value message = Message<TypeParam>();
    message["data"].removeMember("end_time");
    TypeParam event;
    EXPECT_FALSE(MessageCodec::DecodeEvent(OneLine(message), &event));
    EXPECT_EQ(event.device, "17");
    EXPECT_EQ(event.start_time, -5);
    EXPECT_EQ(event.end_time, 0);
    EXPECT_EQ(event.result, "");
    EXPECT_EQ(event.custom, "");
}

TYPED_TEST(DecodeSpeech, NullRecordOrBadText_GivesFalse) {
    EXPECT_FALSE(MessageCodec::DecodeEvent(OneLine(Message<TypeParam>()), static_cast<TypeParam*>(nullptr)));
    for (const char* text : {"", "[]", "\"audio-recognized\"", "{", "{}", "not a template"}) {
        TypeParam event;
        EXPECT_FALSE(MessageCodec::DecodeEvent(text, &event)) << text;
    }
}

TEST(DecodeEvent, VoiceEvaluatedAndAudioRecognized_RefuseEachOther) {
    EventAudioRecognized recognized;
    EventVoiceEvaluated evaluated;
    EXPECT_FALSE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(EventAudioRecognized()), &evaluated));
    EXPECT_FALSE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(EventVoiceEvaluated()), &recognized));
    EXPECT_TRUE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(EventVoiceEvaluated()), &evaluated));
    EXPECT_TRUE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(EventAudioRecognized()), &recognized));
}

// ---- evaluated

TEST(DecodeEvaluated, EveryKey_GoesIntoItsField) {
    EventEvaluated event;
    ASSERT_TRUE(MessageCodec::DecodeEvent(OneLine(Message<EventEvaluated>()), &event));
    EXPECT_EQ(event.id, "e1");
    EXPECT_EQ(event.device, "17");
    EXPECT_EQ(event.error, -201);
    EXPECT_EQ(event.lost_package_rate, 0.25);
    EXPECT_EQ(event.raw_result, "");
    EXPECT_EQ(event.extra, "x.wav");
    EXPECT_EQ(event.custom, "c");
}

TEST(DecodeEvaluated, EventDeviceExtraAndCustom_AreRequired) {
    const Json::Value message = Message<EventEvaluated>();
    for (const char* key : {"event", "device", "extra", "custom"}) {
        EXPECT_FALSE(DecodesAsEvent<EventEvaluated>(Without(message, key))) << key;
        for (const Json::Value& value : ValuesOfOtherTypes(Json::stringValue)) {
            EXPECT_FALSE(DecodesAsEvent<EventEvaluated>(With(message, key, value))) << key << ": " << value;
        }
    }
}

TEST(DecodeEvaluated, Data_MustBeAnObjectWhoseKeysAreOptional) {
    const Json::Value message = Message<EventEvaluated>();
    EXPECT_FALSE(DecodesAsEvent<EventEvaluated>(Without(message, "data")));
    for (const Json::Value& value : ValuesOfOtherTypes(Json::objectValue)) {
        EXPECT_FALSE(DecodesAsEvent<EventEvaluated>(With(message, "data", value))) << value;
    }
    EventEvaluated event;
    ASSERT_TRUE(
        MessageCodec::DecodeEvent(OneLine(With(message, "data", Json::Value(Json::objectValue))), &event));
    EXPECT_EQ(event.error, 0);
    EXPECT_EQ(event.lost_package_rate, 0.0);
    const Json::Value wrong = ParseJson(Quoted("{'error': '1', 'lost_package_rate': '1', 'raw_result': 1}"));
    ASSERT_TRUE(MessageCodec::DecodeEvent(OneLine(With(message, "data", wrong)), &event));
    EXPECT_EQ(event.error, 0);
    EXPECT_EQ(event.lost_package_rate, 0.0);
    EXPECT_EQ(event.raw_result, "");
}

TEST(DecodeEvaluated, Id_IsOptional) {
    const Json::Value message = Message<EventEvaluated>();
    EXPECT_TRUE(DecodesAsEvent<EventEvaluated>(Without(message, "id")));
    EXPECT_TRUE(DecodesAsEvent<EventEvaluated>(With(message, "id", 5)));
}

TEST(DecodeEvaluated, RawResultOfAnEncodedEvent_IsNotReadBack) {
    EventEvaluated made;
    made.raw_result = "{\"a\":1}";
    EventEvaluated read;
    ASSERT_TRUE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(made), &read));
    EXPECT_EQ(read.raw_result, "");
}

TEST(DecodeEvaluated, RawResultAsText_IsStoredInItsStyledForm) {
    EventEvaluated event;
    ASSERT_TRUE(MessageCodec::DecodeEvent(
        OneLine(WithData<EventEvaluated>(Message<EventEvaluated>(), "raw_result", "a\"b")), &event));
    EXPECT_EQ(event.raw_result, "\"a\\\"b\"\n");
}

TEST(DecodeEvaluated, NullRecordOrAnotherEvent_GivesFalse) {
    EXPECT_FALSE(
        MessageCodec::DecodeEvent(OneLine(Message<EventEvaluated>()), static_cast<EventEvaluated*>(nullptr)));
    EventEvaluated event;
    EXPECT_FALSE(MessageCodec::DecodeEvent(MessageCodec::EncodeEvent(EventVoiceEvaluated()), &event));
    EXPECT_FALSE(MessageCodec::DecodeEvent("", &event));
}

}  // namespace
}  // namespace vdipc
