// The client's types against the protocol's schemas and their examples.

#include "support/SchemaCheck.h"
#include "vdipc/client/Messages.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <json/json.h>

namespace vdipc::client {
namespace {

namespace fs = std::filesystem;

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return value;
}

std::string TextOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Json::Value Schema(const std::string& name) {
    return Parsed(TextOf(fs::path(test::SchemaFolder()) / (name + ".schema.json")));
}

std::vector<fs::path> Examples(const std::string& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(fs::path(test::SchemaFolder()) / "examples" / folder)) {
        paths.push_back(entry.path());
    }
    return paths;
}

/// The value whose word this is.
template <typename Enum>
Enum ValueOf(const Json::Value& word) {
    for (int i = 0;; ++i) {
        if (Word(static_cast<Enum>(i)) == word.asString()) {
            return static_cast<Enum>(i);
        }
    }
}

template <typename Enum>
std::set<std::string> AllWords() {
    std::set<std::string> words;
    try {
        for (int i = 0;; ++i) {
            words.insert(Word(static_cast<Enum>(i)));
        }
    } catch (const std::invalid_argument&) {
        return words;
    }
}

std::set<std::string> WordsIn(const Json::Value& list) {
    std::set<std::string> words;
    for (const Json::Value& word : list) {
        words.insert(word.asString());
    }
    return words;
}

OptionalText TextIn(const Json::Value& object, const char* key) {
    return object.isMember(key) ? OptionalText(object[key].asString()) : std::nullopt;
}

std::uint32_t DeviceIn(const Json::Value& command) {
    return static_cast<std::uint32_t>(std::stoul(command["device"].asString()));
}

template <typename Display>
Display DisplayOf(const Json::Value& json) {
    Display display;
    display.device = DeviceIn(json);
    display.row1 = TextIn(json, "row1");
    display.row2 = TextIn(json, "row2");
    display.row3 = TextIn(json, "row3");
    display.id = TextIn(json, "id");
    return display;
}

Ask AskOf(const Json::Value& json) {
    Ask ask = DisplayOf<Ask>(json);
    ask.type = ValueOf<QuestionType>(json["type"]);
    ask.custom = TextIn(json, "custom");
    if (json.isMember("context")) {
        const Json::Value& context = json["context"];
        ask.context.emplace();
        ask.context->audio_file_name_prefix = TextIn(context, "audio-file-name-prefix");
        if (context.isMember("param")) {
            ask.context->param = context["param"].toStyledString();
        }
        if (context.isMember("stems")) {
            ask.context->stems.emplace();
            for (const Json::Value& stem : context["stems"]) {
                ask.context->stems->push_back(stem.asString());
            }
        }
    }
    return ask;
}

Hi HiOf(const Json::Value& json) {
    Hi hi{.device = DeviceIn(json), .id = TextIn(json, "id")};
    for (const Json::Value& argument : json["arguments"]) {
        Signal signal{.type = ValueOf<SignalType>(argument["type"]),
                      .times = argument["times"].asInt(),
                      .interval = argument["interval"].asInt(),
                      .duration = argument["duration"].asInt()};
        if (signal.type == SignalType::Led) {
            signal.color = ValueOf<Color>(argument["color"]);
        }
        hi.signals.push_back(signal);
    }
    return hi;
}

Command CommandOf(const Json::Value& json) {
    const std::string name = json["command"].asString();
    if (name == "init") {
        return Init{ValueOf<ReceiverChoice>(json["preferred-device-type"]), TextIn(json, "id")};
    }
    if (name == "ask") {
        return AskOf(json);
    }
    if (name == "stop") {
        return DisplayOf<Stop>(json);
    }
    if (name == "text") {
        return DisplayOf<Text>(json);
    }
    if (name == "hi") {
        return HiOf(json);
    }
    if (name == "drop") {
        return Drop{DeviceIn(json), TextIn(json, "id")};
    }
    EXPECT_EQ(name, "quit");
    return Quit{TextIn(json, "id")};
}

/// Without the keys that the schema doesn't know, and without the colour that nobody looks at.
Json::Value WithoutIgnored(Json::Value json) {
    const Json::Value known = Schema("command-" + json["command"].asString())["properties"];
    for (const std::string& key : json.getMemberNames()) {
        if (!known.isMember(key)) {
            json.removeMember(key);
        }
    }
    for (Json::Value& argument : json["arguments"]) {
        if (argument["type"] != "led") {
            argument.removeMember("color");
        }
    }
    if (json["arguments"].isNull()) {
        json.removeMember("arguments");
    }
    return json;
}

TEST(ClientCommands, ValidExamples_CanAllBeSaid) {
    std::size_t count = 0;
    for (const char* const name : {"init", "ask", "stop", "text", "hi", "drop", "quit"}) {
        for (const fs::path& path : Examples(std::string(name) + "/valid")) {
            const Json::Value example = WithoutIgnored(Parsed(TextOf(path)));
            const std::string json = ToJson(CommandOf(example));
            EXPECT_EQ(Parsed(json), example) << path << json;
            EXPECT_EQ(test::CheckCommand(json), "") << path;
            ++count;
        }
    }
    EXPECT_GE(count, 45U);
}

TEST(ClientCommands, Words_AreTheSchemas) {
    EXPECT_EQ(AllWords<ReceiverChoice>(),
              WordsIn(Schema("command-init")["properties"]["preferred-device-type"]["enum"]));
    EXPECT_EQ(AllWords<QuestionType>(), WordsIn(Schema("command-ask")["properties"]["type"]["enum"]));
    const Json::Value argument = Schema("command-hi")["properties"]["arguments"]["items"];
    EXPECT_EQ(AllWords<SignalType>(), WordsIn(argument["properties"]["type"]["enum"]));
    EXPECT_EQ(AllWords<Color>(), WordsIn(argument["anyOf"][1]["properties"]["color"]["enum"]));
    const Json::Value inited = Schema("event-device-inited")["properties"];
    EXPECT_EQ(AllWords<ReceiverKind>(), WordsIn(inited["avaliable-device"]["items"]["enum"]));
    EXPECT_EQ(AllWords<Reason>(), WordsIn(inited["info"]["enum"]));
    EXPECT_EQ(AllWords<Reason>(), WordsIn(Schema("event-removed")["properties"]["info"]["enum"]));
}

TEST(ClientCommands, WhatTheLibraryWouldRefuse_Raises) {
    EXPECT_THROW(ToJson(Text{.row2 = "\xC3"}), std::invalid_argument);
    EXPECT_THROW(ToJson(Ask{.context = SpeechContext{.param = "[1]"}}), std::invalid_argument);
    EXPECT_THROW(ToJson(Ask{.context = SpeechContext{.param = "{"}}), std::invalid_argument);
    EXPECT_THROW(ToJson(Ask{.context = SpeechContext{.stems = std::vector<std::string>{"\xFF"}}}),
                 std::invalid_argument);
    EXPECT_THROW(ToJson(Hi{.signals = {Signal{.type = SignalType::Led}}}), std::invalid_argument);
    EXPECT_THROW(ToJson(Ask{.type = static_cast<QuestionType>(99)}), std::invalid_argument);
}

TEST(ClientCommands, Param_GoesOutAsItStands) {
    const std::string json = ToJson(
        Ask{.context = SpeechContext{.param = R"({"n":0.30000000000000004,"big":12345678901234567890})"}});
    EXPECT_NE(json.find(R"("param":{"n":0.30000000000000004,"big":12345678901234567890})"), std::string::npos)
        << json;
}

// ---- events ---------------------------------------------------------------------------------------------------------

/// Writes an event again, so that nothing of the message can have been overlooked.
struct Again {
    Json::Value json{Json::objectValue};

    void Common(const char* name, const std::string& id) {
        json["event"] = name;
        json["id"] = id;
    }
    void OptionalReason(const std::optional<Reason>& reason) {
        if (reason) {
            json["info"] = Word(*reason);
        }
    }
    template <typename Spoken>
    void Speech(const char* name, const Spoken& event) {
        Common(name, event.id);
        json["device"] = std::to_string(event.device);
        json["key"] = event.key;
        json["data"]["start_time"] = Json::Int64{event.data.start_time};
        json["data"]["end_time"] = Json::Int64{event.data.end_time};
        json["data"]["result"] = event.data.result;
        json["data"]["score"] = event.data.score;
        json["data"]["lost_package_rate"] = event.data.lost_package_rate;
        json["extra"] = event.extra;
        json["custom"] = event.custom;
    }

    void operator()(const DeviceInited& event) {
        Common("device-inited", event.id);
        json["avaliable-device"] = Json::Value();
        json["avaliable-device-info"] = Json::Value();
        for (const ReceiverKind kind : event.available) {
            json["avaliable-device"].append(Word(kind));
        }
        for (const auto& [kind, info] : event.info) {
            Json::Value& one = json["avaliable-device-info"][Word(kind)];
            one["uid"] = info.uid;
            one["software-version"] = info.software_version;
            one["hardware-version"] = info.hardware_version;
            one["company"] = info.company;
            one["channel"] = info.channel;
            one["tx-power"] = info.tx_power;
        }
        json["ready"] = event.ready;
        OptionalReason(event.reason);
    }
    void operator()(const Arrived& event) { Common("arrived", event.id); }
    void operator()(const Removed& event) {
        Common("removed", event.id);
        OptionalReason(event.reason);
    }
    void operator()(const Activated& event) {
        Common("activated", event.id);
        json["device"] = std::to_string(event.device);
    }
    void operator()(const Inactivated& event) {
        Common("inactivated", event.id);
        json["device"] = std::to_string(event.device);
    }
    void operator()(const KeyPressed& event) {
        Common("key-pressed", event.id);
        json["device"] = std::to_string(event.device);
        json["key"] = event.key;
        json["data"] = Json::Value();
        json["extra"] = event.extra;
        json["custom"] = event.custom;
    }
    void operator()(const AudioRecognized& event) { Speech("audio-recognized", event); }
    void operator()(const VoiceEvaluated& event) { Speech("voice-evaluated", event); }
    void operator()(const Evaluated& event) {
        Common("evaluated", event.id);
        json["device"] = std::to_string(event.device);
        json["data"]["error"] = event.error;
        json["data"]["lost_package_rate"] = event.lost_package_rate;
        if (event.raw_result) {
            json["data"]["raw_result"] = Parsed(*event.raw_result);
        }
        json["extra"] = event.extra;
        json["custom"] = event.custom;
    }
    void operator()(const VoiceRecord& event) {
        Common("voice-record", "");
        json["device"] = std::to_string(event.device);
        json["data"]["lost_package_rate"] = event.lost_package_rate;
        json["extra"] = event.extra;
        json["custom"] = event.custom;
    }
    void operator()(const UnknownEvent& event) { json["unknown"] = event.why; }
};

Json::Value WrittenAgain(const std::string& json) {
    Again again;
    std::visit(again, ParseEvent(json));
    return again.json;
}

TEST(ClientEvents, Examples_AreReadWhole) {
    std::set<std::string> seen;
    for (const fs::path& path : Examples("events")) {
        const std::string text = TextOf(path);
        EXPECT_EQ(WrittenAgain(text), Parsed(text)) << path;
        seen.insert(Parsed(text)["event"].asString());
    }
    EXPECT_EQ(seen.size(), Schema("events")["oneOf"].size());
}

/// Tries each example without each key that its schema requires, at the top and inside "data".
TEST(ClientEvents, KeyThatTheSchemaRequires_IsMissed) {
    for (const fs::path& path : Examples("events")) {
        const Json::Value example = Parsed(TextOf(path));
        const Json::Value schema = Schema("event-" + example["event"].asString());
        for (const Json::Value& key : schema["required"]) {
            // The one event without an id says so by an empty text, which nobody needs.
            if (key == "id" && example["event"] == "voice-record") {
                continue;
            }
            Json::Value cut = example;
            cut.removeMember(key.asString());
            EXPECT_TRUE(WrittenAgain(cut.toStyledString()).isMember("unknown")) << path << key;
            cut = example;
            cut[key.asString()] = Json::Value(Json::arrayValue);
            const bool list = key == "avaliable-device";
            EXPECT_EQ(WrittenAgain(cut.toStyledString()).isMember("unknown"), !list) << path << key;
        }
        for (const Json::Value& key : schema["properties"]["data"]["required"]) {
            Json::Value cut = example;
            cut["data"].removeMember(key.asString());
            EXPECT_TRUE(WrittenAgain(cut.toStyledString()).isMember("unknown")) << path << key;
        }
    }
}

TEST(ClientEvents, WhatIsNoEventOfTheProtocol_IsUnknown) {
    const auto why = [](const std::string& json) {
        const Event event = ParseEvent(json);
        const UnknownEvent* const unknown = std::get_if<UnknownEvent>(&event);
        return unknown == nullptr ? std::string("known") : unknown->why;
    };
    EXPECT_EQ(why(""), "no JSON object");
    EXPECT_EQ(why("[]"), "no JSON object");
    EXPECT_EQ(why("{}"), "\"event\" is missing");
    EXPECT_EQ(why(R"({"event":1})"), "\"event\" is no text");
    EXPECT_EQ(why(R"({"event":"x"})"), "no event is named \"x\"");
    EXPECT_EQ(why(R"({"event":"activated","id":"","device":"4294967296"})"),
              "\"device\" is no keypad's number");
    EXPECT_EQ(why(R"({"event":"activated","id":"","device":"01"})"), "\"device\" is no keypad's number");
    EXPECT_EQ(why(R"({"event":"removed","id":"","info":"dropped"})"),
              "\"info\" holds a word that isn't known");
    EXPECT_EQ(why(R"({"event":"activated","id":"","device":"4294967295","later":[1]})"), "known");
}

}  // namespace
}  // namespace vdipc::client
