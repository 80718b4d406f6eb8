#include "messages/MessageCodec.h"
#include "support/SchemaCheck.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc {
namespace {

using test::ParseJson;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Encodes an event as the library would send it, with a fresh id, holds it against the schema, and parses it.
template <typename Event>
Json::Value Sent(Event event) {
    event.id = MessageCodec::GenerateEventId();
    const std::string text = MessageCodec::EncodeEvent(event);
    EXPECT_EQ(test::CheckEvent(text), "") << text;
    const Json::Value root = ParseJson(text);
    EXPECT_EQ(root["id"].asString(), event.id);
    return root;
}

std::vector<std::string> Keys(const Json::Value& object) {
    return object.getMemberNames();
}

template <typename Encode>
void ExpectInvalidMapKey(Encode encode) {
    try {
        encode();
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    }
}

// ---- device-inited

TEST(EncodeDeviceInited, NoDeviceConnected_HoldsNullNullAndNotReady) {
    EventDeviceInited event;
    event.info = 1;
    const Json::Value root = Sent(event);
    EXPECT_THAT(Keys(root),
                ElementsAre("avaliable-device", "avaliable-device-info", "event", "id", "info", "ready"));
    EXPECT_EQ(root["event"].asString(), "device-inited");
    EXPECT_TRUE(root["avaliable-device"].isNull());
    EXPECT_TRUE(root["avaliable-device-info"].isNull());
    EXPECT_EQ(root["ready"], Json::Value(false));
    EXPECT_EQ(root["info"].asString(), "not-connected");
}

TEST(EncodeDeviceInited, InfoMinusOne_LeavesTheKeyOut) {
    EventDeviceInited event;
    event.ready = true;
    ASSERT_EQ(event.info, -1);
    const Json::Value root = Sent(event);
    EXPECT_FALSE(root.isMember("info"));
    EXPECT_EQ(root["ready"], Json::Value(true));
}

TEST(EncodeDeviceInited, EveryInfo_HasItsName) {
    int number = 0;
    for (const char* name : {"no-power", "not-connected", "ip-not-set"}) {
        EventDeviceInited event;
        event.info = number++;
        EXPECT_EQ(Sent(event)["info"].asString(), name);
    }
}

TEST(EncodeDeviceInited, Devices_StandInTheOrderOfTheRecord) {
    EventDeviceInited event;
    event.avaliable_device = {DeviceType::LW, DeviceType::TQ2, DeviceType::TQ1, DeviceType::RV2,
                              DeviceType::RV1};
    std::vector<std::string> names;
    const Json::Value root = Sent(event);
    for (const Json::Value& name : root["avaliable-device"]) {
        names.push_back(name.asString());
    }
    EXPECT_THAT(names, ElementsAre("LW", "TQ2", "TQ1", "RV2", "RV1"));
}

TEST(EncodeDeviceInited, DeviceMinusOne_IsSkippedInBothPlaces) {
    EventDeviceInited event;
    event.avaliable_device = {DeviceType::None, DeviceType::RV2, DeviceType::None};
    event.avaliable_device_info[DeviceType::None].uid = "nobody";
    event.avaliable_device_info[DeviceType::RV2].uid = "u";
    const Json::Value root = Sent(event);
    EXPECT_EQ(root["avaliable-device"].size(), 1U);
    EXPECT_EQ(root["avaliable-device"][0].asString(), "RV2");
    EXPECT_THAT(Keys(root["avaliable-device-info"]), ElementsAre("RV2"));
}

TEST(EncodeDeviceInited, OnlyDevicesMinusOne_GiveNullTwice) {
    EventDeviceInited event;
    event.avaliable_device = {DeviceType::None};
    event.avaliable_device_info[DeviceType::None] = {};
    const Json::Value root = Sent(event);
    EXPECT_TRUE(root["avaliable-device"].isNull());
    EXPECT_TRUE(root["avaliable-device-info"].isNull());
}

TEST(EncodeDeviceInited, DeviceInfo_HasSixTextsAndNotTheDeviceType) {
    EventDeviceInited event;
    DeviceInfoRecord& info = event.avaliable_device_info[DeviceType::TQ1];
    info.device_type = "type";
    info.uid = "uid";
    info.software = "software";
    info.hardware = "hardware";
    info.company = "company";
    info.channel = "channel";
    info.tx_power = "power";
    const Json::Value member = Sent(event)["avaliable-device-info"]["TQ1"];
    EXPECT_THAT(Keys(member),
                ElementsAre("channel", "company", "hardware-version", "software-version", "tx-power", "uid"));
    EXPECT_EQ(member["uid"].asString(), "uid");
    EXPECT_EQ(member["software-version"].asString(), "software");
    EXPECT_EQ(member["hardware-version"].asString(), "hardware");
    EXPECT_EQ(member["company"].asString(), "company");
    EXPECT_EQ(member["channel"].asString(), "channel");
    EXPECT_EQ(member["tx-power"].asString(), "power");
}

TEST(EncodeDeviceInited, NumberWithoutRow_RaisesInvalidMapKey) {
    EventDeviceInited device;
    device.avaliable_device = {static_cast<DeviceType>(5)};
    ExpectInvalidMapKey([&] { MessageCodec::EncodeEvent(device); });
    EventDeviceInited device_info;
    device_info.avaliable_device_info[static_cast<DeviceType>(-2)] = {};
    ExpectInvalidMapKey([&] { MessageCodec::EncodeEvent(device_info); });
    for (const int status : {-2, 3}) {
        EventDeviceInited info;
        info.info = status;
        ExpectInvalidMapKey([&] { MessageCodec::EncodeEvent(info); });
    }
}

// ---- arrived, removed, activated, inactivated

TEST(EncodeArrived, HoldsNoFurtherKey) {
    const Json::Value root = Sent(EventArrived());
    EXPECT_THAT(Keys(root), ElementsAre("event", "id"));
    EXPECT_EQ(root["event"].asString(), "arrived");
}

TEST(EncodeRemoved, InfoMinusOne_LeavesTheKeyOut) {
    const Json::Value root = Sent(EventRemoved());
    EXPECT_THAT(Keys(root), ElementsAre("event", "id"));
    EXPECT_EQ(root["event"].asString(), "removed");
}

TEST(EncodeRemoved, EveryInfo_HasItsName) {
    int number = 0;
    for (const char* name : {"no-power", "not-connected", "ip-not-set"}) {
        EventRemoved event;
        event.info = number++;
        EXPECT_EQ(Sent(event)["info"].asString(), name);
    }
}

TEST(EncodeRemoved, InfoWithoutRow_RaisesInvalidMapKey) {
    for (const int status : {-2, 3}) {
        EventRemoved event;
        event.info = status;
        ExpectInvalidMapKey([&] { MessageCodec::EncodeEvent(event); });
    }
}

TEST(EncodeActivated, HoldsTheDevice) {
    EventActivated event;
    event.device = "1001";
    const Json::Value root = Sent(event);
    EXPECT_THAT(Keys(root), ElementsAre("device", "event", "id"));
    EXPECT_EQ(root["event"].asString(), "activated");
    EXPECT_EQ(root["device"].asString(), "1001");
}

TEST(EncodeInactivated, HoldsTheDevice) {
    EventInactivated event;
    event.device = "1001";
    const Json::Value root = Sent(event);
    EXPECT_THAT(Keys(root), ElementsAre("device", "event", "id"));
    EXPECT_EQ(root["event"].asString(), "inactivated");
    EXPECT_EQ(root["device"].asString(), "1001");
}

// ---- key-pressed

TEST(EncodeKeyPressed, Data_IsAlwaysNull) {
    EventKeyPressed event;
    event.device = "17";
    event.key = "CA";
    event.extra = "e";
    event.custom = "c";
    const Json::Value root = Sent(event);
    EXPECT_THAT(Keys(root), ElementsAre("custom", "data", "device", "event", "extra", "id", "key"));
    EXPECT_EQ(root["event"].asString(), "key-pressed");
    EXPECT_EQ(root["device"].asString(), "17");
    EXPECT_EQ(root["key"].asString(), "CA");
    EXPECT_TRUE(root["data"].isNull());
    EXPECT_EQ(root["extra"].asString(), "e");
    EXPECT_EQ(root["custom"].asString(), "c");
}

TEST(EncodeKeyPressed, Text_IsTheStyledFormWithSortedKeysAndALineBreakAtTheEnd) {
    EventKeyPressed event;
    event.id = "0f8fad5b-d9cb-469f-a165-708677289595";
    event.device = "17";
    event.key = "B";
    event.custom = "c";
    EXPECT_EQ(
        MessageCodec::EncodeEvent(event),
        "{\n\t\"custom\" : \"c\",\n\t\"data\" : null,\n\t\"device\" : \"17\",\n\t\"event\" : "
        "\"key-pressed\",\n"
        "\t\"extra\" : \"\",\n\t\"id\" : \"0f8fad5b-d9cb-469f-a165-708677289595\",\n\t\"key\" : \"B\"\n}\n");
}

// ---- audio-recognized, voice-evaluated

template <typename Event>
class EncodeSpeech : public testing::Test {
public:
    static std::string Name() {
        return std::is_same_v<Event, EventAudioRecognized> ? "audio-recognized" : "voice-evaluated";
    }
};
using SpeechEvents = testing::Types<EventAudioRecognized, EventVoiceEvaluated>;
TYPED_TEST_SUITE(EncodeSpeech, SpeechEvents);

TYPED_TEST(EncodeSpeech, EveryField_GoesIntoItsKey) {
    TypeParam event;
    event.device = "17";
    event.key = "k";
    event.extra = "file.wav";
    event.custom = "c";
    event.start_time = std::numeric_limits<std::int64_t>::min();
    event.end_time = std::numeric_limits<std::int64_t>::max();
    event.result = "good morning";
    event.score = -203;
    event.lost_package_rate = 0.25;
    const Json::Value root = Sent(event);
    EXPECT_THAT(Keys(root), ElementsAre("custom", "data", "device", "event", "extra", "id", "key"));
    EXPECT_EQ(root["event"].asString(), TestFixture::Name());
    EXPECT_EQ(root["device"].asString(), "17");
    EXPECT_EQ(root["key"].asString(), "k");
    EXPECT_EQ(root["extra"].asString(), "file.wav");
    EXPECT_EQ(root["custom"].asString(), "c");
    const Json::Value& data = root["data"];
    EXPECT_THAT(Keys(data), ElementsAre("end_time", "lost_package_rate", "result", "score", "start_time"));
    EXPECT_EQ(data["start_time"].asInt64(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(data["end_time"].asInt64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(data["result"].asString(), "good morning");
    EXPECT_EQ(data["score"].asInt(), -203);
    EXPECT_EQ(data["lost_package_rate"].asDouble(), 0.25);
}

TYPED_TEST(EncodeSpeech, NewRecord_HasEveryKey) {
    TypeParam event;
    event.device = "17";
    const Json::Value data = Sent(event)["data"];
    EXPECT_EQ(data["start_time"].asInt64(), 0);
    EXPECT_EQ(data["end_time"].asInt64(), 0);
    EXPECT_EQ(data["result"].asString(), "");
    EXPECT_EQ(data["score"].asInt(), 0);
    EXPECT_EQ(data["lost_package_rate"].type(), Json::realValue);
}

// ---- evaluated

Json::Value EvaluatedData(const std::string& raw_result) {
    EventEvaluated event;
    event.device = "17";
    event.raw_result = raw_result;
    return Sent(event)["data"];
}

TEST(EncodeEvaluated, EveryField_GoesIntoItsKey) {
    EventEvaluated event;
    event.device = "17";
    event.extra = "file.wav";
    event.custom = "c";
    event.error = -201;
    event.lost_package_rate = 0.5;
    const Json::Value root = Sent(event);
    EXPECT_THAT(Keys(root), ElementsAre("custom", "data", "device", "event", "extra", "id"));
    EXPECT_EQ(root["event"].asString(), "evaluated");
    EXPECT_EQ(root["device"].asString(), "17");
    EXPECT_EQ(root["extra"].asString(), "file.wav");
    EXPECT_EQ(root["custom"].asString(), "c");
    EXPECT_THAT(Keys(root["data"]), ElementsAre("error", "lost_package_rate"));
    EXPECT_EQ(root["data"]["error"].asInt(), -201);
    EXPECT_EQ(root["data"]["lost_package_rate"].asDouble(), 0.5);
}

TEST(EncodeEvaluated, RawResultAsArray_GivesNoKeyAndAsObjectIsNestedUnderIt) {
    EXPECT_FALSE(EvaluatedData("[1]").isMember("raw_result"));
    const Json::Value data = EvaluatedData("{\"a\":1}");
    ASSERT_TRUE(data["raw_result"].isObject());
    EXPECT_EQ(data["raw_result"], ParseJson("{\"a\":1}"));
}

TEST(EncodeEvaluated, RawResultThatIsNoObject_IsSwallowed) {
    for (const char* text : {"", "null", "1", "\"a\"", "true", "{", "{\"a\":}", "no json", "{\"a\":1e999}"}) {
        EXPECT_THAT(Keys(EvaluatedData(text)), ElementsAre("error", "lost_package_rate")) << text;
    }
}

TEST(EncodeEvaluated, RawResultNestedDeeperThanTheParserFollows_IsSwallowed) {
    EXPECT_THAT(Keys(EvaluatedData("{\"a\":" + std::string(1000, '[') + std::string(1000, ']') + "}")),
                ElementsAre("error", "lost_package_rate"));
}

TEST(EncodeEvaluated, RawResultWithTextBeyondAscii_KeepsIt) {
    const Json::Value data =
        EvaluatedData("{\"text\":\"\xe4\xbd\xa0\xe5\xa5\xbd\", \"list\":[1,2.5,null,true]} tail");
    EXPECT_EQ(data["raw_result"]["text"].asString(), "\xe4\xbd\xa0\xe5\xa5\xbd");
    EXPECT_EQ(data["raw_result"]["list"].size(), 4U);
}

// ---- voice-record

TEST(EncodeVoiceRecord, EveryField_GoesIntoItsKeyAndTheIdStaysEmpty) {
    EventVoiceRecord event;
    event.device = "17";
    event.extra = "file.wav";
    event.custom = "c";
    event.lost_package_rate = 0.125;
    const std::string text = MessageCodec::EncodeEvent(event);
    EXPECT_EQ(test::CheckEvent(text), "");
    const Json::Value root = ParseJson(text);
    EXPECT_THAT(Keys(root), ElementsAre("custom", "data", "device", "event", "extra", "id"));
    EXPECT_EQ(root["event"].asString(), "voice-record");
    EXPECT_EQ(root["id"], Json::Value(""));
    EXPECT_EQ(root["device"].asString(), "17");
    EXPECT_EQ(root["extra"].asString(), "file.wav");
    EXPECT_EQ(root["custom"].asString(), "c");
    EXPECT_THAT(Keys(root["data"]), ElementsAre("lost_package_rate"));
    EXPECT_EQ(root["data"]["lost_package_rate"].asDouble(), 0.125);
}

// ---- all of them

TEST(EncodeEvent, NewRecords_CarryTheNumbersOfTheirEvents) {
    EXPECT_EQ(static_cast<int>(EventDeviceInited().event_type), 0);
    EXPECT_EQ(static_cast<int>(EventArrived().event_type), 1);
    EXPECT_EQ(static_cast<int>(EventRemoved().event_type), 2);
    EXPECT_EQ(static_cast<int>(EventActivated().event_type), 3);
    EXPECT_EQ(static_cast<int>(EventInactivated().event_type), 4);
    EXPECT_EQ(static_cast<int>(EventKeyPressed().event_type), 5);
    EXPECT_EQ(static_cast<int>(EventAudioRecognized().event_type), 6);
    EXPECT_EQ(static_cast<int>(EventVoiceEvaluated().event_type), 7);
    EXPECT_EQ(static_cast<int>(EventEvaluated().event_type), 8);
    EXPECT_EQ(static_cast<int>(EventVoiceRecord().event_type), 9);
}

template <typename Event>
class EachEvent : public testing::Test {};

using AllEvents = testing::Types<EventDeviceInited, EventArrived, EventRemoved, EventActivated,
                                 EventInactivated, EventKeyPressed, EventAudioRecognized, EventVoiceEvaluated,
                                 EventEvaluated, EventVoiceRecord>;
TYPED_TEST_SUITE(EachEvent, AllEvents);

TYPED_TEST(EachEvent, TypeNumber_IsNotRead) {
    TypeParam event;
    const std::string text = MessageCodec::EncodeEvent(event);
    for (int number = -1; number <= 10; ++number) {
        event.event_type = static_cast<EventType>(number);
        EXPECT_EQ(MessageCodec::EncodeEvent(event), text) << number;
    }
}

template <typename Event>
class EachTemplate : public testing::Test {};

using AllTemplates = testing::Types<EventAudioRecognized, EventVoiceEvaluated, EventEvaluated>;
TYPED_TEST_SUITE(EachTemplate, AllTemplates);

TYPED_TEST(EachTemplate, TypeNumber_IsNotLookedAtWhenItIsReadBack) {
    TypeParam event;
    event.extra = "file.wav";
    const std::string text = MessageCodec::EncodeEvent(event);
    for (int number = -1; number <= 10; ++number) {
        TypeParam read;
        read.event_type = static_cast<EventType>(number);
        EXPECT_TRUE(MessageCodec::DecodeEvent(text, &read)) << number;
        EXPECT_EQ(read.extra, "file.wav");
    }
}

TEST(EncodeEvent, TextWithQuotesControlCharactersAndZero_ComesBackWhole) {
    EventKeyPressed event;
    event.custom = std::string("\"\\/\b\f\n\r\t\x01\x1f", 10) + std::string("\0|", 2);
    const std::string text = MessageCodec::EncodeEvent(event);
    EXPECT_THAT(text, Not(HasSubstr(std::string(1, '\0'))));
    EXPECT_EQ(ParseJson(text)["custom"].asString(), event.custom);
}

TEST(EncodeEvent, RateThatIsNoNumber_IsWrittenAsTheJsonWriterHasIt) {
    EventVoiceRecord event;
    event.lost_package_rate = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(ParseJson(MessageCodec::EncodeEvent(event))["data"]["lost_package_rate"].isNull());
}

// ---- ids

TEST(GenerateEventId, Id_Is36LowerCaseCharactersWithEqualLastPairs) {
    const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    for (int i = 0; i < 1000; ++i) {
        const std::string id = MessageCodec::GenerateEventId();
        ASSERT_EQ(id.size(), 36U);
        ASSERT_TRUE(std::regex_match(id, form)) << id;
        ASSERT_EQ(id.substr(32, 2), id.substr(34, 2)) << id;
    }
}

TEST(GenerateEventId, ThousandCalls_NeverRepeatAnId) {
    std::set<std::string> ids;
    for (int i = 0; i < 1000; ++i) {
        ids.insert(MessageCodec::GenerateEventId());
    }
    EXPECT_EQ(ids.size(), 1000U);
}

}  // namespace
}  // namespace vdipc
