// Events as texts, and back where they serve as ids of speech requests: what was encoded decodes to the same record; a text
// from anywhere is read by at most one decoder, and what was read encodes to a text that reads the same.
#include "common/TextEncoding.h"
#include "fuzz/support/Fuzz.h"
#include "messages/MessageCodec.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <stdexcept>
#include <type_traits>

namespace vdipc::fuzz {
namespace {

template <typename Event>
constexpr bool kIsEvaluated = std::is_same_v<Event, EventEvaluated>;

bool Same(double a, double b) {
    return std::signbit(a) == std::signbit(b) && a == b;
}

/// A text of a record after one way through an event's text.
std::string Carried(const std::string& text) {
    return ToActiveCodePage(ToUtf8(text));
}

/// Whether `read` is what `made` comes back as.
template <typename Event>
bool CameBack(const Event& made, const Event& read) {
    bool same = read.event_type == made.event_type && read.id == Carried(made.id) &&
                read.device == Carried(made.device) && read.extra == Carried(made.extra) &&
                read.custom == Carried(made.custom) && Same(read.lost_package_rate, made.lost_package_rate);
    if constexpr (kIsEvaluated<Event>) {
        // The result is an object in the text, and only a string is read.
        same = same && read.error == made.error && read.raw_result.empty();
    } else {
        same = same && read.key == Carried(made.key) && read.result == Carried(made.result) &&
               read.start_time == made.start_time && read.end_time == made.end_time &&
               read.score == made.score;
    }
    return same;
}

/// An event's text is JSON and nothing else, in ASCII, names its event, and ends in a line break.
Json::Value CheckText(const std::string& text, EventType type) {
    Json::Value root;
    FUZZ_REQUIRE(ParsesStrictly(text, &root));
    FUZZ_REQUIRE(root["event"].asString() == kEventTypes.names.at(type));
    FUZZ_REQUIRE(root["id"].isString());
    FUZZ_REQUIRE(text.back() == '\n');
    for (const char c : text) {
        FUZZ_REQUIRE(static_cast<unsigned char>(c) < 0x80);
    }
    return root;
}

/// What a decoder must make of any text's JSON, as far as yes or no.
bool MustDecode(const Json::Value& root, EventType type) {
    const std::string& name = kEventTypes.names.at(type);
    if (!root["event"].isString() || ToActiveCodePage(root["event"].asString()) != name ||
        !root["device"].isString() || !root["data"].isObject() || !root["extra"].isString() ||
        !root["custom"].isString()) {
        return false;
    }
    const Json::Value& data = root["data"];
    return type == EventType::Evaluated ||
           (data["start_time"].isInt64() && data["end_time"].isInt64() && data["result"].isString());
}

template <typename Event>
void DecodeAnyText(const std::string& text, const Json::Value* root) {
    Event read;
    const bool decoded = MessageCodec::DecodeEvent(text, &read);
    FUZZ_REQUIRE(decoded == (root != nullptr && MustDecode(*root, read.event_type)));
    FUZZ_REQUIRE(!MessageCodec::DecodeEvent(text, static_cast<Event*>(nullptr)));
    // Callers go on with whatever was read.
    const std::string encoded = MessageCodec::EncodeEvent(read);
    CheckText(encoded, read.event_type);
    Event again;
    FUZZ_REQUIRE(MessageCodec::DecodeEvent(encoded, &again));
    FUZZ_REQUIRE(CameBack(read, again));
    if (decoded) {
        FUZZ_REQUIRE(read.device == ToActiveCodePage((*root)["device"].asString()));
        FUZZ_REQUIRE(read.extra == ToActiveCodePage((*root)["extra"].asString()));
        FUZZ_REQUIRE(read.custom == ToActiveCodePage((*root)["custom"].asString()));
        // Everything is in the code page by now, so the next way changes nothing.
        FUZZ_REQUIRE(read.custom == again.custom && read.extra == again.extra && read.device == again.device);
    }
}

template <typename Event>
void EncodeAnyRecord(FuzzedDataProvider& input) {
    Event made;
    made.id = input.ConsumeRandomLengthString(40);
    made.device = input.ConsumeRandomLengthString(12);
    made.extra = input.ConsumeRandomLengthString(40);
    made.custom = input.ConsumeRandomLengthString(40);
    made.lost_package_rate =
        input.ConsumeBool() ? input.ConsumeFloatingPoint<float>() : input.ConsumeFloatingPoint<double>();
    bool has_raw_result = false;
    if constexpr (kIsEvaluated<Event>) {
        made.error = input.ConsumeIntegral<std::int32_t>();
        made.raw_result = input.ConsumeRandomLengthString(80);
        Json::Value raw_result;
        has_raw_result = Parses(made.raw_result, &raw_result) && raw_result.isObject();
    } else {
        made.key = input.ConsumeRandomLengthString(8);
        made.start_time = input.ConsumeIntegral<std::int64_t>();
        made.end_time = input.ConsumeIntegral<std::int64_t>();
        made.result = input.ConsumeRandomLengthString(40);
        made.score = input.ConsumeIntegral<std::int32_t>();
    }
    const std::string text = MessageCodec::EncodeEvent(made);
    const Json::Value root = CheckText(text, made.event_type);
    FUZZ_REQUIRE(root["data"].isMember("raw_result") == has_raw_result);
    Event read;
    FUZZ_REQUIRE(MessageCodec::DecodeEvent(text, &read));
    FUZZ_REQUIRE(CameBack(made, read));
}

/// The events that nobody reads back here. Numbers without a name raise, and nothing else does.
void EncodeOtherEvents(FuzzedDataProvider& input) {
    EventKeyPressed key;
    key.device = input.ConsumeRandomLengthString(12);
    key.key = input.ConsumeRandomLengthString(4);
    key.custom = input.ConsumeRandomLengthString(20);
    const Json::Value root = CheckText(MessageCodec::EncodeEvent(key), EventType::KeyPressed);
    FUZZ_REQUIRE(root.isMember("data") && root["data"].isNull());

    EventDeviceInited inited;
    bool known = true;
    for (int kinds = input.ConsumeIntegralInRange(0, 4); kinds > 0; --kinds) {
        const auto type = static_cast<DeviceType>(input.ConsumeIntegralInRange(-2, 6));
        known = known && kDeviceTypes.names.count(type) != 0;
        inited.avaliable_device.push_back(type);
        inited.avaliable_device_info[type].uid = input.ConsumeRandomLengthString(10);
    }
    inited.info = input.ConsumeIntegralInRange(-3, 4);
    known = known && (inited.info == -1 || (inited.info >= 0 && inited.info <= 2));
    try {
        const std::string text = MessageCodec::EncodeEvent(inited);
        FUZZ_REQUIRE(known);
        FUZZ_REQUIRE(CheckText(text, EventType::DeviceInited).isMember("info") == (inited.info != -1));
    } catch (const std::out_of_range& error) {
        FUZZ_REQUIRE(!known);
        FUZZ_REQUIRE(error.what() == std::string("invalid map<K, T> key"));
    }
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc;
    using namespace vdipc::fuzz;
    ChooseCodePage(size);
    const std::string text = Text(data, size);
    Json::Value parsed;
    const Json::Value* const root = Parses(text, &parsed) && parsed.isObject() ? &parsed : nullptr;
    DecodeAnyText<EventAudioRecognized>(text, root);
    DecodeAnyText<EventVoiceEvaluated>(text, root);
    DecodeAnyText<EventEvaluated>(text, root);

    FuzzedDataProvider input(data, size);
    EncodeAnyRecord<EventAudioRecognized>(input);
    EncodeAnyRecord<EventVoiceEvaluated>(input);
    EncodeAnyRecord<EventEvaluated>(input);
    EncodeOtherEvents(input);
    return 0;
}
