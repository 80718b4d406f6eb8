#include "tools/vdclient/CommandCheck.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc::tools::test {
namespace {

namespace fs = std::filesystem;

std::string Content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class CommandCheckTest : public testing::Test {
protected:
    /// The schemas as they are built in, from where they stand.
    static const CommandCheck& Check() {
        // Destroyed at the end: the schema's own pointers are packed, and look lost to a checker of leaks.
        static const std::vector<page::PageFile> files = [] {
            static std::list<std::string> kept;
            std::vector<page::PageFile> found;
            for (const auto& entry : fs::directory_iterator(fs::path(VDIPC_SOURCE_DIR) / "schema")) {
                if (entry.path().extension() == ".json") {
                    const std::string& name =
                        kept.emplace_back("/schema/" + entry.path().filename().string());
                    found.push_back({name, "application/json", kept.emplace_back(Content(entry.path()))});
                }
            }
            return found;
        }();
        static const CommandCheck check(files);
        return check;
    }
};

TEST_F(CommandCheckTest, ExamplesOfTheProtocol_AreTakenAndNotTakenAsTheyShould) {
    int good = 0;
    int bad = 0;
    for (const char* const command : {"init", "ask", "stop", "text", "hi", "drop", "quit"}) {
        const fs::path folder = fs::path(VDIPC_SOURCE_DIR) / "schema" / "examples" / command;
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            if (entry.path().extension() != ".json") {
                continue;
            }
            const std::string place = entry.path().parent_path().filename().string();
            const std::string complaint = Check().Complaint(Content(entry.path()));
            if (place == "valid") {
                EXPECT_EQ("", complaint) << entry.path();
                ++good;
            } else {
                EXPECT_NE("", complaint) << entry.path();
                ++bad;
            }
        }
    }
    EXPECT_LT(10, good);
    EXPECT_LT(10, bad);
}

TEST_F(CommandCheckTest, BadCommand_IsComplainedAboutInWordsThatHelp) {
    const auto complaint = [](const std::string& json) { return Check().Complaint(json); };
    EXPECT_EQ("device doesn't fit the schema of \"drop\" (pattern)",
              complaint(R"({"command":"drop","device":"17abc"})"));
    EXPECT_EQ("the command doesn't fit the schema of \"ask\" (required)",
              complaint(R"({"command":"ask","device":"0"})"));
    EXPECT_EQ(
        "arguments/0/times doesn't fit the schema of \"hi\" (type)",
        complaint(
            R"({"command":"hi","device":"0","arguments":[{"type":"beep","times":1.5,"interval":1,"duration":1}]})"));
    EXPECT_EQ(0U, complaint(R"({"command":"Ask"})").find("there is no command \"Ask\"; there are \"ask\", "));
    EXPECT_EQ(0U, complaint("{\"command\": ").find("this is no JSON, from byte "));
    for (const char* const other : {"[]", "7", "{}", R"({"command":7})"}) {
        EXPECT_EQ("a command is a JSON object with the text \"command\"", complaint(other)) << other;
    }
}

TEST_F(CommandCheckTest, NoSchemas_AreAnError) {
    EXPECT_THROW(CommandCheck({}), std::runtime_error);
    EXPECT_THROW(CommandCheck({{"/schema/command-x.schema.json", "", "{"}}), std::runtime_error);
}

}  // namespace
}  // namespace vdipc::tools::test
