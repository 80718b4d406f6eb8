// The examples under schema/, each held against the schema and, where it is a command, against the decoder.
#include "messages/Vocabulary.h"
#include "support/SchemaCheck.h"
#include "unit/messages/support/Decoders.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace vdipc {
namespace {

using test::CheckCommand;
using test::CheckEvent;
using test::TakenCommand;

/// Texts of a folder's files, by file name.
std::map<std::string, std::string> Examples(const std::string& folder) {
    std::map<std::string, std::string> examples;
    for (const auto& entry :
         std::filesystem::directory_iterator(test::SchemaFolder() + "/examples/" + folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        examples[entry.path().filename().string()] = std::string(std::istreambuf_iterator<char>(file), {});
    }
    return examples;
}

class CommandExamples : public testing::TestWithParam<std::string> {};

TEST_P(CommandExamples, Valid_PassTheSchemaAndTheDecoder) {
    const auto examples = Examples(GetParam() + "/valid");
    EXPECT_GE(examples.size(), 3U);
    for (const auto& [file, text] : examples) {
        EXPECT_EQ(CheckCommand(text), "") << file;
        EXPECT_EQ(TakenCommand(text), GetParam()) << file;
    }
}

TEST_P(CommandExamples, Invalid_PassNeither) {
    const auto examples = Examples(GetParam() + "/invalid");
    EXPECT_GE(examples.size(), 3U);
    for (const auto& [file, text] : examples) {
        EXPECT_NE(CheckCommand(text), "") << file;
        EXPECT_EQ(TakenCommand(text), "") << file;
    }
}

TEST_P(CommandExamples, NotRefused_PassTheDecoderThoughTheSchemaAdvisesAgainstThem) {
    const auto examples = Examples(GetParam() + "/not-refused");
    EXPECT_GE(examples.size(), 1U);
    for (const auto& [file, text] : examples) {
        EXPECT_NE(CheckCommand(text), "") << file;
        EXPECT_EQ(TakenCommand(text), GetParam()) << file;
    }
}

INSTANTIATE_TEST_SUITE_P(Schema, CommandExamples,
                         testing::Values("init", "ask", "stop", "text", "hi", "drop", "quit"),
                         [](const auto& example) { return example.param; });

TEST(CommandExamples, EveryQuestionType_HasAValidExample) {
    const auto examples = Examples("ask/valid");
    for (const auto& [name, number] : kQuestionTypes.numbers) {
        EXPECT_EQ(examples.count("type-" + name + ".json"), 1U) << name;
    }
}

TEST(EventExamples, All_PassTheSchemaAndCoverEveryEvent) {
    std::map<std::string, int> seen;
    for (const auto& [file, text] : Examples("events")) {
        EXPECT_EQ(CheckEvent(text), "") << file;
        ++seen[test::ParseJson(text)["event"].asString()];
    }
    for (const auto& [name, number] : kEventTypes.numbers) {
        EXPECT_GE(seen[name], 1) << name;
    }
    EXPECT_EQ(seen.size(), kEventTypes.numbers.size());
}

// The schema must be able to say no: every example with a key missing, a key too many or a value of another type.

TEST(EventSchema, MissingKeyKeyTooManyOrValueOfAnotherType_AreRefused) {
    for (const auto& [file, text] : Examples("events")) {
        const Json::Value event = test::ParseJson(text);
        for (const std::string& key : event.getMemberNames()) {
            if (key != "info") {
                EXPECT_NE(CheckEvent(test::OneLine(test::Without(event, key))), "")
                    << file << " without " << key;
            }
            const auto wrong = event[key].type() == Json::booleanValue ? Json::Value("x") : Json::Value(true);
            EXPECT_NE(CheckEvent(test::OneLine(test::With(event, key, wrong))), "")
                << file << " with another " << key;
        }
        EXPECT_NE(CheckEvent(test::OneLine(test::With(event, "more", "x"))), "") << file;
    }
}

TEST(EventSchema, SpeechDataWithAKeyMissingOrTooMany_IsRefused) {
    for (const char* file :
         {"audio-recognized.json", "voice-evaluated.json", "evaluated.json", "voice-record.json"}) {
        const Json::Value event = test::ParseJson(Examples("events").at(file));
        for (const std::string& key : event["data"].getMemberNames()) {
            const std::string without =
                CheckEvent(test::OneLine(test::With(event, "data", test::Without(event["data"], key))));
            // The one key that may be missing: a result that is no object is left out.
            EXPECT_EQ(without.empty(), key == "raw_result") << file << " without " << key << " " << without;
        }
        EXPECT_NE(CheckEvent(test::OneLine(test::With(event, "data", test::With(event["data"], "more", 1)))),
                  "");
    }
}

TEST(EventSchema, RawResultThatIsNoObject_IsRefused) {
    const Json::Value event = test::ParseJson(Examples("events").at("evaluated.json"));
    for (const Json::Value& wrong : test::ValuesOfOtherTypes(Json::objectValue)) {
        EXPECT_NE(CheckEvent(test::OneLine(
                      test::With(event, "data", test::With(event["data"], "raw_result", wrong)))),
                  "")
            << wrong;
    }
}

TEST(EventSchema, DeviceInformationWithAKeyMissingOrTooManyOrOfAnotherKind_IsRefused) {
    const Json::Value event = test::ParseJson(Examples("events").at("device-inited-ready.json"));
    const char* const infos = "avaliable-device-info";
    const auto with_member = [&](const std::string& kind, const Json::Value& member) {
        return CheckEvent(test::OneLine(test::With(event, infos, test::With(event[infos], kind, member))));
    };
    ASSERT_FALSE(event[infos].empty());
    for (const std::string& kind : event[infos].getMemberNames()) {
        const Json::Value& member = event[infos][kind];
        EXPECT_EQ(member.size(), 6U);
        EXPECT_EQ(with_member(kind, member), "");
        for (const std::string& key : member.getMemberNames()) {
            EXPECT_NE(with_member(kind, test::Without(member, key)), "") << kind << " without " << key;
            EXPECT_NE(with_member(kind, test::With(member, key, 5)), "")
                << kind << " with a number as " << key;
        }
        EXPECT_NE(with_member(kind, test::With(member, "device_type", "x")), "") << kind;
        EXPECT_NE(with_member("TQ9", member), "");
    }
}

TEST(CommandSchema, DeviceThatIsNo32BitNumber_IsRefused) {
    for (const char* command : {"ask", "stop", "text", "hi", "drop"}) {
        const Json::Value valid = test::ParseJson(Examples(std::string(command) + "/valid").begin()->second);
        const auto with_device = [&valid](const std::string& device) {
            return CheckCommand(test::OneLine(test::With(valid, "device", device)));
        };
        for (const char* device : {"0", "1", "9", "10", "999999999", "1000000000", "3999999999", "4199999999",
                                   "4289999999", "4293999999", "4294899999", "4294959999", "4294966999",
                                   "4294967199", "4294967289", "4294967290", "4294967294", "4294967295"}) {
            EXPECT_EQ(with_device(device), "") << command << " " << device;
        }
        for (const char* device : {"", "00", "01", "-1", "+1", " 1", "1 ", "1x", "4294967296", "4294967299",
                                   "4294967300", "4294968000", "4294970000", "4295000000", "4300000000",
                                   "5000000000", "9999999999", "10000000000", "42949672950"}) {
            EXPECT_NE(with_device(device), "") << command << " " << device;
        }
    }
}

TEST(EventSchema, IdOfAnotherForm_IsRefused) {
    const Json::Value event = test::ParseJson(Examples("events").at("arrived.json"));
    for (const char* id : {"", "0F8FAD5B-D9CB-469F-A165-708677289595", "0f8fad5b-d9cb-469f-a165-70867728959",
                           "{0f8fad5b-d9cb-469f-a165-708677289595}"}) {
        EXPECT_NE(CheckEvent(test::OneLine(test::With(event, "id", id))), "") << id;
    }
}

TEST(EventSchema, KeysThatNoKeypadHas_AreRefused) {
    const Json::Value event = test::ParseJson(Examples("events").at("key-pressed.json"));
    for (const char* key : {"A", "B", "C", "D", "T", "F", "G", "", "AB", "DCBA"}) {
        EXPECT_EQ(CheckEvent(test::OneLine(test::With(event, "key", key))), "") << key;
    }
    for (const char* key : {"E", "a", "AT", "ABCDA", " ", "1"}) {
        EXPECT_NE(CheckEvent(test::OneLine(test::With(event, "key", key))), "") << key;
    }
}

TEST(SchemaCheck, TextThatIsNoMessage_SaysWhy) {
    EXPECT_THAT(CheckEvent("{"), testing::HasSubstr("no JSON"));
    EXPECT_EQ(CheckEvent("[]"), "no object");
    EXPECT_EQ(CheckEvent("{}"), "no text under \"event\"");
    EXPECT_EQ(CheckEvent("{\"event\": 5}"), "no text under \"event\"");
    EXPECT_EQ(CheckEvent("{\"event\": \"exploded\"}"), "unknown event \"exploded\"");
    EXPECT_EQ(CheckEvent("{\"event\": \"../event-arrived\"}"), "unknown event \"../event-arrived\"");
    EXPECT_EQ(CheckCommand("{\"event\": \"arrived\"}"), "no text under \"command\"");
    EXPECT_EQ(CheckCommand("{\"command\": \"drop\"}"),
              "command-drop.schema.json: \"required\" at # refuses #");
}

}  // namespace
}  // namespace vdipc
