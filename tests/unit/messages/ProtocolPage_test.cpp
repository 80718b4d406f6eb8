// docs/protocol.md shows messages and frames for people to copy; here they are taken out and tried.
#include "messages/Vocabulary.h"
#include "support/SchemaCheck.h"
#include "unit/messages/support/Decoders.h"
#include "unit/messages/support/Messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace vdipc {
namespace {

/// The page's fenced blocks of one language.
std::vector<std::string> Blocks(const std::string& language) {
    std::ifstream page(test::SchemaFolder() + "/../docs/protocol.md", std::ios::binary);
    EXPECT_TRUE(page) << "docs/protocol.md";
    std::vector<std::string> blocks;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!inside && line == "```" + language) {
            inside = true;
            blocks.emplace_back();
        } else if (inside && line == "```") {
            inside = false;
        } else if (inside) {
            blocks.back() += line + "\n";
        }
    }
    EXPECT_FALSE(inside) << "a block without an end";
    return blocks;
}

/// The page's JSON, sorted into commands and events.
struct Messages {
    std::vector<std::string> commands;
    std::vector<std::string> events;
};

Messages PageMessages() {
    Messages messages;
    for (const std::string& block : Blocks("json")) {
        const Json::Value value = test::ParseJson(block);
        EXPECT_NE(value.isMember("command"), value.isMember("event")) << block;
        (value.isMember("command") ? messages.commands : messages.events).push_back(block);
    }
    return messages;
}

TEST(ProtocolPage, EveryCommandOnIt_PassesTheSchemaAndTheDecoder) {
    std::map<std::string, int> seen;
    for (const std::string& text : PageMessages().commands) {
        EXPECT_EQ(test::CheckCommand(text), "") << text;
        const std::string name = test::TakenCommand(text);
        EXPECT_NE(name, "") << text;
        ++seen[name];
    }
    for (const auto& [name, number] : kCommandTypes.numbers) {
        EXPECT_GE(seen[name], 1) << "no example of " << name;
    }
}

TEST(ProtocolPage, EveryEventOnIt_PassesTheSchema) {
    std::map<std::string, int> seen;
    for (const std::string& text : PageMessages().events) {
        EXPECT_EQ(test::CheckEvent(text), "") << text;
        ++seen[test::ParseJson(text)["event"].asString()];
    }
    for (const auto& [name, number] : kEventTypes.numbers) {
        EXPECT_GE(seen[name], 1) << "no example of " << name;
    }
}

std::size_t Number(const std::string& frame, std::size_t offset) {
    std::size_t number = 0;
    for (std::size_t i = 4; i > 0; --i) {
        number = number * 256 + static_cast<unsigned char>(frame.at(offset + i - 1));
    }
    return number;
}

/// Frames as the page shows them: hexadecimal bytes, what stands behind two blanks on a line is for the reader.
std::vector<std::string> PageFrames() {
    std::vector<std::string> frames;
    for (const std::string& block : Blocks("hex")) {
        std::string frame;
        std::istringstream lines(block);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream bytes(line.substr(0, line.find("  ")));
            for (std::string byte; bytes >> byte;) {
                EXPECT_EQ(byte.size(), 2U) << line;
                frame += static_cast<char>(std::stoi(byte, nullptr, 16));
            }
        }
        frames.push_back(frame);
    }
    return frames;
}

TEST(ProtocolPage, EveryFrameOnIt_HasAHeaderThatFitsItsPayload) {
    int pings = 0;
    int replies = 0;
    int commands = 0;
    for (const std::string& frame : PageFrames()) {
        ASSERT_GE(frame.size(), 12U);
        ASSERT_EQ(Number(frame, 4), frame.size() - 12);
        if (Number(frame, 0) == 8) {
            EXPECT_EQ(frame.size(), 12U);
            pings += Number(frame, 8) == 201;
            replies += Number(frame, 8) == 202;
        } else {
            EXPECT_EQ(Number(frame, 0), 2018U);
            EXPECT_EQ(Number(frame, 8), 2018U);
            EXPECT_NE(test::TakenCommand(frame.substr(12)), "") << frame.substr(12);
            ++commands;
        }
    }
    EXPECT_EQ(pings, 1);
    EXPECT_EQ(replies, 1);
    EXPECT_EQ(commands, 1);
}

/// Every word of the protocol stands on the page, as `"word"`.
template <typename Number>
void ExpectWords(const std::string& page, const Vocabulary<Number>& vocabulary) {
    for (const auto& [name, number] : vocabulary.numbers) {
        EXPECT_THAT(page, testing::HasSubstr("`\"" + name + "\"`"));
    }
}

TEST(ProtocolPage, EveryWordOfTheVocabulary_StandsOnIt) {
    std::ifstream file(test::SchemaFolder() + "/../docs/protocol.md", std::ios::binary);
    const std::string page(std::istreambuf_iterator<char>(file), {});
    ExpectWords(page, kCommandTypes);
    ExpectWords(page, kEventTypes);
    ExpectWords(page, kPreferredDeviceTypes);
    ExpectWords(page, kDeviceStatusInfos);
    ExpectWords(page, kQuestionTypes);
    ExpectWords(page, kHiArgumentTypes);
    ExpectWords(page, kHiArgumentColors);
    for (const char* kind : {"`\"TQ1\"`", "`\"TQ2\"`", "`\"RV1\"`", "`\"RV2\"`", "`\"LW\"`"}) {
        EXPECT_THAT(page, testing::HasSubstr(kind));
    }
}

}  // namespace
}  // namespace vdipc
