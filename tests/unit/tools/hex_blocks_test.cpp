#include "tools/common/HexBlocks.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vdipc::tools {
namespace {

/// The blocks of these lines, as they would go out.
std::vector<std::string> BlocksOf(const std::vector<std::string>& lines) {
    HexBlocks blocks;
    std::vector<std::string> sent;
    const auto add = [&sent](const std::string& bytes) {
        if (!bytes.empty()) {
            sent.push_back(bytes);
        }
    };
    for (const std::string& line : lines) {
        add(blocks.TakeLine(line));
    }
    add(blocks.TakeRest());
    return sent;
}

using Blocks = std::vector<std::string>;

TEST(HexBlocks, Lines_AreOneBlockUpToAnEmptyOne) {
    EXPECT_EQ(BlocksOf({"41 42", "4344", " ", "", "45\r"}), (Blocks{"ABCD", "E"}));
    EXPECT_EQ(BlocksOf({}), Blocks{});
}

TEST(HexBlocks, Comments_StandBehindTwoBlanksATabOrANumberSign) {
    EXPECT_EQ(BlocksOf({"41 42  type 8", "43\tx", "  44 # four", "# all of it", "45  "}), Blocks{"ABCDE"});
}

TEST(HexBlocks, BytesBehindTwoBlanks_AreNoComment) {
    EXPECT_EQ(BlocksOf({"41  42", "43  44 4546"}), Blocks{"ABCDEF"});
}

TEST(HexBlocks, WhatIsNoByte_Raises) {
    for (const char* const line : {"zz", "41 4", "4g", "41 type 8", "0x41"}) {
        EXPECT_THROW(BlocksOf({line}), std::invalid_argument) << line;
    }
}

TEST(HexBlocks, BlocksOfTheProtocolsPage_AreWholeFrames) {
    std::ifstream page(VDIPC_SOURCE_DIR "/docs/protocol.md");
    std::vector<std::string> lines;
    std::string line;
    bool inside = false;
    while (std::getline(page, line)) {
        if (line == "```hex" || (inside && line == "```")) {
            inside = line == "```hex";
            lines.emplace_back();
        } else if (inside) {
            lines.push_back(line);
        }
    }
    const std::vector<std::string> blocks = BlocksOf(lines);
    ASSERT_EQ(blocks.size(), 3U);
    for (const std::string& block : blocks) {
        ASSERT_GE(block.size(), 12U);
        EXPECT_EQ(block.size(), 12U + static_cast<unsigned char>(block[4]));
    }
    EXPECT_EQ(blocks[2].substr(12), R"({"command": "init", "preferred-device-type": "any"})");
}

}  // namespace
}  // namespace vdipc::tools
