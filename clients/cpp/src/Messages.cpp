#include "vdipc/client/Messages.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vdipc::client {
namespace {

// ---- words ----------------------------------------------------------------------------------------------------------

template <typename Enum>
struct Words;

template <>
struct Words<ReceiverChoice> {
    static constexpr std::array list{"non-audio", "audio", "any"};
};

template <>
struct Words<QuestionType> {
    // The spelling of the fourth is the protocol's.
    static constexpr std::array list{"single-choice",
                                     "multiple-choice",
                                     "red-envelope",
                                     "continous-red-envelope",
                                     "true-false",
                                     "audio",
                                     "audio-single",
                                     "audio-multiple",
                                     "audio-multiple-chn",
                                     "evaluation",
                                     "voice-record",
                                     "general",
                                     "multiple-question-single-choice"};
};

template <>
struct Words<SignalType> {
    static constexpr std::array list{"led", "motor", "beep"};
};

template <>
struct Words<Color> {
    static constexpr std::array list{"blue", "green", "blue-green", "red", "magenta", "yellow", "white"};
};

template <>
struct Words<ReceiverKind> {
    static constexpr std::array list{"TQ1", "TQ2", "RV1", "RV2", "LW"};
};

template <>
struct Words<Reason> {
    static constexpr std::array list{"no-power", "not-connected", "ip-not-set"};
};

template <typename Enum>
const char* WordOf(Enum value) {
    const auto index = static_cast<std::size_t>(value);
    if (index >= Words<Enum>::list.size()) {
        throw std::invalid_argument("a value that the protocol has no word for");
    }
    return Words<Enum>::list[index];
}

// ---- commands -------------------------------------------------------------------------------------------------------

using Writer = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                 rapidjson::CrtAllocator, rapidjson::kWriteValidateEncodingFlag>;

class Composer {
public:
    explicit Composer(const char* command) {
        writer_.StartObject();
        Put("command", std::string(command));
    }

    void Key(const char* key) { writer_.Key(key); }

    void Put(const char* key, const std::string& text) {
        Key(key);
        Element(key, text);
    }

    void Put(const char* key, const OptionalText& text) {
        if (text) {
            Put(key, *text);
        }
    }

    void Put(const char* key, std::int32_t number) {
        Key(key);
        writer_.Int(number);
    }

    void Element(const char* key, const std::string& text) {
        if (!writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()))) {
            throw std::invalid_argument(std::string(key) + " is no UTF-8");
        }
    }

    /// The library takes a keypad's number as text.
    void PutDevice(std::uint32_t device) { Put("device", std::to_string(device)); }

    template <typename Display>
    void PutRows(const Display& display) {
        Put("row1", display.row1);
        Put("row2", display.row2);
        Put("row3", display.row3);
    }

    void PutObject(const char* key, const std::string& json) {
        rapidjson::Document value;
        if (value.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size()).HasParseError() ||
            !value.IsObject()) {
            throw std::invalid_argument(std::string(key) + " is no JSON object");
        }
        // As it stands: numbers aren't written anew.
        Key(key);
        writer_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
    }

    void StartObject() { writer_.StartObject(); }
    void EndObject() { writer_.EndObject(); }
    void StartArray() { writer_.StartArray(); }
    void EndArray() { writer_.EndArray(); }

    std::string Take() {
        writer_.EndObject();
        return {buffer_.GetString(), buffer_.GetSize()};
    }

private:
    rapidjson::StringBuffer buffer_;
    Writer writer_{buffer_};
};

std::string Compose(const Init& init) {
    Composer composer("init");
    composer.Put("preferred-device-type", std::string(WordOf(init.receivers)));
    composer.Put("id", init.id);
    return composer.Take();
}

std::string Compose(const Ask& ask) {
    Composer composer("ask");
    composer.PutDevice(ask.device);
    composer.Put("type", std::string(WordOf(ask.type)));
    composer.PutRows(ask);
    composer.Put("custom", ask.custom);
    if (ask.context) {
        composer.Key("context");
        composer.StartObject();
        if (ask.context->param) {
            composer.PutObject("param", *ask.context->param);
        }
        if (ask.context->stems) {
            composer.Key("stems");
            composer.StartArray();
            for (const std::string& stem : *ask.context->stems) {
                composer.Element("a stem", stem);
            }
            composer.EndArray();
        }
        composer.Put("audio-file-name-prefix", ask.context->audio_file_name_prefix);
        composer.EndObject();
    }
    composer.Put("id", ask.id);
    return composer.Take();
}

template <typename Display>
std::string ComposeDisplay(const char* name, const Display& display) {
    Composer composer(name);
    composer.PutDevice(display.device);
    composer.PutRows(display);
    composer.Put("id", display.id);
    return composer.Take();
}

std::string Compose(const Stop& stop) {
    return ComposeDisplay("stop", stop);
}

std::string Compose(const Text& text) {
    return ComposeDisplay("text", text);
}

std::string Compose(const Hi& hi) {
    Composer composer("hi");
    composer.PutDevice(hi.device);
    composer.Key("arguments");
    composer.StartArray();
    for (const Signal& signal : hi.signals) {
        if (signal.type == SignalType::Led && !signal.color) {
            throw std::invalid_argument("a lamp needs a colour");
        }
        composer.StartObject();
        composer.Put("type", std::string(WordOf(signal.type)));
        if (signal.color) {
            composer.Put("color", std::string(WordOf(*signal.color)));
        }
        composer.Put("times", signal.times);
        composer.Put("interval", signal.interval);
        composer.Put("duration", signal.duration);
        composer.EndObject();
    }
    composer.EndArray();
    composer.Put("id", hi.id);
    return composer.Take();
}

std::string Compose(const Drop& drop) {
    Composer composer("drop");
    composer.PutDevice(drop.device);
    composer.Put("id", drop.id);
    return composer.Take();
}

std::string Compose(const Quit& quit) {
    Composer composer("quit");
    composer.Put("id", quit.id);
    return composer.Take();
}

// ---- events ---------------------------------------------------------------------------------------------------------

/// Reads members of one object; raises std::invalid_argument with words for what isn't as the schemas say.
class Members {
public:
    explicit Members(const rapidjson::Value& object) : object_(object) {}

    const rapidjson::Value* Find(const char* key) const {
        const auto found = object_.FindMember(key);
        return found == object_.MemberEnd() ? nullptr : &found->value;
    }

    const rapidjson::Value& Get(const char* key) const {
        if (const rapidjson::Value* const value = Find(key)) {
            return *value;
        }
        throw std::invalid_argument(std::string("\"") + key + "\" is missing");
    }

    std::string Text(const char* key) const {
        const rapidjson::Value& value = Get(key);
        Require(value.IsString(), key, "no text");
        return {value.GetString(), value.GetStringLength()};
    }

    Members Object(const char* key) const {
        const rapidjson::Value& value = Get(key);
        Require(value.IsObject(), key, "no object");
        return Members(value);
    }

    bool Bool(const char* key) const {
        const rapidjson::Value& value = Get(key);
        Require(value.IsBool(), key, "neither true nor false");
        return value.GetBool();
    }

    double Number(const char* key) const {
        const rapidjson::Value& value = Get(key);
        Require(value.IsNumber(), key, "no number");
        return value.GetDouble();
    }

    std::int64_t Integer(const char* key) const {
        const rapidjson::Value& value = Get(key);
        Require(value.IsInt64(), key, "no whole number of 64 bits");
        return value.GetInt64();
    }

    std::int32_t Integer32(const char* key) const {
        const rapidjson::Value& value = Get(key);
        Require(value.IsInt(), key, "no whole number of 32 bits");
        return value.GetInt();
    }

    std::uint32_t Device() const {
        const std::string text = Text("device");
        std::uint64_t number = 0;
        bool right = !text.empty() && text.size() <= 10 && (text.size() == 1 || text[0] != '0');
        for (const char c : text) {
            right = right && c >= '0' && c <= '9';
            number = number * 10 + static_cast<std::uint64_t>(c - '0');
        }
        Require(right && number <= std::numeric_limits<std::uint32_t>::max(), "device", "no keypad's number");
        return static_cast<std::uint32_t>(number);
    }

    std::optional<Reason> OptionalReason() const {
        const rapidjson::Value* const value = Find("info");
        return value == nullptr ? std::nullopt : std::optional(WordAs<Reason>(*value, "info"));
    }

    template <typename Enum>
    static Enum WordAs(const rapidjson::Value& value, const char* key) {
        if (value.IsString()) {
            const std::string_view word(value.GetString(), value.GetStringLength());
            const auto& list = Words<Enum>::list;
            for (std::size_t i = 0; i < list.size(); ++i) {
                if (word == list[i]) {
                    return static_cast<Enum>(i);
                }
            }
        }
        throw std::invalid_argument(std::string("\"") + key + "\" holds a word that isn't known");
    }

    static void Require(bool right, const char* key, const char* what) {
        if (!right) {
            throw std::invalid_argument(std::string("\"") + key + "\" is " + what);
        }
    }

private:
    const rapidjson::Value& object_;
};

ReceiverInfo InfoOf(const Members& members) {
    return {members.Text("uid"),     members.Text("software-version"), members.Text("hardware-version"),
            members.Text("company"), members.Text("channel"),          members.Text("tx-power")};
}

DeviceInited DeviceInitedOf(const Members& members) {
    DeviceInited event;
    event.id = members.Text("id");
    event.ready = members.Bool("ready");
    event.reason = members.OptionalReason();
    const rapidjson::Value& available = members.Get("avaliable-device");
    if (!available.IsNull()) {
        Members::Require(available.IsArray(), "avaliable-device", "no array");
        for (const rapidjson::Value& kind : available.GetArray()) {
            event.available.push_back(Members::WordAs<ReceiverKind>(kind, "avaliable-device"));
        }
    }
    const rapidjson::Value& info = members.Get("avaliable-device-info");
    if (!info.IsNull()) {
        Members::Require(info.IsObject(), "avaliable-device-info", "no object");
        for (const auto& member : info.GetObject()) {
            Members::Require(member.value.IsObject(), "avaliable-device-info", "no object of objects");
            event.info[Members::WordAs<ReceiverKind>(member.name, "avaliable-device-info")] =
                InfoOf(Members(member.value));
        }
    }
    return event;
}

SpeechResult SpeechResultOf(const Members& data) {
    return {data.Integer("start_time"), data.Integer("end_time"), data.Text("result"),
            data.Integer32("score"), data.Number("lost_package_rate")};
}

Evaluated EvaluatedOf(const Members& members) {
    Evaluated event;
    event.id = members.Text("id");
    event.device = members.Device();
    const Members data = members.Object("data");
    event.error = data.Integer32("error");
    event.lost_package_rate = data.Number("lost_package_rate");
    if (const rapidjson::Value* const raw = data.Find("raw_result")) {
        Members::Require(raw->IsObject(), "raw_result", "no object");
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        raw->Accept(writer);
        event.raw_result = std::string(buffer.GetString(), buffer.GetSize());
    }
    event.extra = members.Text("extra");
    event.custom = members.Text("custom");
    return event;
}

template <typename Spoken>
Spoken SpokenOf(const Members& members) {
    return {members.Text("id"),    members.Device(),
            members.Text("key"),   SpeechResultOf(members.Object("data")),
            members.Text("extra"), members.Text("custom")};
}

Event EventOf(const Members& members) {
    const std::string name = members.Text("event");
    if (name == "device-inited") {
        return DeviceInitedOf(members);
    }
    if (name == "arrived") {
        return Arrived{members.Text("id")};
    }
    if (name == "removed") {
        return Removed{members.Text("id"), members.OptionalReason()};
    }
    if (name == "activated") {
        return Activated{members.Text("id"), members.Device()};
    }
    if (name == "inactivated") {
        return Inactivated{members.Text("id"), members.Device()};
    }
    if (name == "key-pressed") {
        Members::Require(members.Get("data").IsNull(), "data", "not null");
        return KeyPressed{members.Text("id"), members.Device(), members.Text("key"), members.Text("extra"),
                          members.Text("custom")};
    }
    if (name == "audio-recognized") {
        return SpokenOf<AudioRecognized>(members);
    }
    if (name == "voice-evaluated") {
        return SpokenOf<VoiceEvaluated>(members);
    }
    if (name == "evaluated") {
        return EvaluatedOf(members);
    }
    if (name == "voice-record") {
        return VoiceRecord{members.Device(), members.Object("data").Number("lost_package_rate"),
                           members.Text("extra"), members.Text("custom")};
    }
    return UnknownEvent{"no event is named \"" + name + "\""};
}

}  // namespace

const char* Word(ReceiverChoice value) {
    return WordOf(value);
}

const char* Word(QuestionType value) {
    return WordOf(value);
}

const char* Word(SignalType value) {
    return WordOf(value);
}

const char* Word(Color value) {
    return WordOf(value);
}

const char* Word(ReceiverKind value) {
    return WordOf(value);
}

const char* Word(Reason value) {
    return WordOf(value);
}

std::string ToJson(const Command& command) {
    return std::visit([](const auto& one) { return Compose(one); }, command);
}

Event ParseEvent(const std::string& json) {
    rapidjson::Document document;
    if (document.Parse<rapidjson::kParseFullPrecisionFlag>(json.data(), json.size()).HasParseError() ||
        !document.IsObject()) {
        return UnknownEvent{"no JSON object"};
    }
    try {
        return EventOf(Members(document));
    } catch (const std::invalid_argument& error) {
        return UnknownEvent{error.what()};
    }
}

}  // namespace vdipc::client
