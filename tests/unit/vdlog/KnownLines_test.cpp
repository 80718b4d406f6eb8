// The table of known lines, and the library's source, which it must fit.
#include "tools/vdlog/KnownLines.h"

#include "tools/vdlog/Reasons.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::log::test {
namespace {

using Written = std::pair<std::string, std::string>;  // function, text behind the line number

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The literal at this place, with those that are written directly behind it.
std::string Literal(const std::string& code, std::size_t at) {
    std::string text;
    while (at < code.size()) {
        at = code.find_first_not_of(" \n\t", at);
        if (at == std::string::npos || code[at] != '"') {
            return text;
        }
        for (++at; at < code.size() && code[at] != '"'; ++at) {
            at += code[at] == '\\' ? 1U : 0U;
            text += code[at];
        }
        ++at;
    }
    return text;
}

/// Every line that the library's source writes.
std::set<Written> LinesOfTheSource() {
    std::set<Written> written;
    // A definition begins at the left edge, and its name is qualified.
    const std::regex definition(R"(^(?:[A-Za-z_][\w:<>,&\* ]*[ \*&])?((?:\w+::)+~?\w+)\()");
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(std::string(VDIPC_SOURCE_DIR) + "/src")) {
        if (entry.path().extension() != ".cpp") {
            continue;
        }
        std::string function;
        const std::string code = ReadFile(entry.path());
        std::size_t begin = 0;
        while (begin < code.size()) {
            const std::size_t end = std::min(code.find('\n', begin), code.size());
            const std::string line = code.substr(begin, end - begin);
            std::smatch match;
            if (std::regex_search(line, match, definition)) {
                function = match[1];
            }
            if (line.find("VD_LOG_ENTRY()") != std::string::npos) {
                written.emplace(function, "");
            } else if (const std::size_t call = line.find("VD_LOG("); call != std::string::npos) {
                const std::string text = Literal(code, code.find('"', begin + call));
                EXPECT_EQ(text.rfind("{}:{}", 0), 0U) << entry.path() << ": " << line;
                written.emplace(function, text.size() > 6 ? text.substr(6) : "");
            }
            begin = end + 1;
        }
    }
    return written;
}

LogLine LineOf(std::string_view function, std::string_view text) {
    LogLine line;
    line.function = function;
    line.text = text;
    return line;
}

TEST(KnownLines, EachRow_IsWrittenByTheLibrary) {
    const std::set<Written> written = LinesOfTheSource();
    ASSERT_GT(written.size(), 200U);
    for (const KnownLine& row : KnownLines()) {
        EXPECT_TRUE(written.contains({std::string(row.function), std::string(row.text)}))
            << "src/ has no line \"" << row.text << "\" in " << row.function
            << " any more: the log is an interface (docs/log.md)";
    }
}

TEST(KnownLines, EachLineOfTheLibrary_HasARow) {
    std::set<Written> rows;
    for (const KnownLine& row : KnownLines()) {
        EXPECT_TRUE(rows.emplace(row.function, row.text).second) << row.function << " " << row.text;
        EXPECT_EQ(row.meaning.empty(), row.id == LineId::Ordinary) << row.function << " " << row.text;
    }
    for (const Written& line : LinesOfTheSource()) {
        // Nothing starts the thread that listens for pings.
        if (line.first != "IpcHandler::ListenPing") {
            EXPECT_TRUE(rows.contains(line)) << line.first << " \"" << line.second << "\"";
        }
    }
}

TEST(KnownLines, EachRowWithAMeaning_StandsInTheDocument) {
    const std::string document = ReadFile(std::string(VDIPC_SOURCE_DIR) + "/docs/log.md");
    for (const KnownLine& row : KnownLines()) {
        const std::string text = row.text.empty() ? "(nothing)" : "`" + std::string(row.text) + "`";
        const std::string line =
            "| `" + std::string(row.function) + "` | " + text + " | " + std::string(row.meaning) + " |\n";
        EXPECT_TRUE(row.meaning.empty() || document.find(line) != std::string::npos)
            << "docs/log.md lacks the line\n"
            << line;
    }
    for (std::size_t i = 0; i < kReasons; ++i) {
        const std::string name = "`" + std::string(NameOf(static_cast<Reason>(i))) + "`";
        EXPECT_NE(document.find(name), std::string::npos) << "docs/log.md lacks the reason " << name;
    }
}

TEST(KnownLines, EachRowsOwnText_IsReadAsThatRow) {
    for (const KnownLine& row : KnownLines()) {
        std::string text(row.text);
        std::vector<std::string> values;
        for (std::size_t hole = text.find("{}"); hole != std::string::npos; hole = text.find("{}")) {
            values.push_back(std::to_string(41 + values.size()));
            text.replace(hole, 2, values.back());
        }
        const Reading reading = Read(LineOf(row.function, text));
        ASSERT_NE(reading.row, nullptr) << row.function << " " << text;
        EXPECT_EQ(reading.row->text, row.text) << text;
        for (std::size_t i = 0; i < values.size(); ++i) {
            EXPECT_EQ(reading.values[i], values[i]) << text;
        }
    }
}

TEST(KnownLines, TextOfAnotherVersion_IsUnknownAndItsFunctionIsKnown) {
    const Reading reading = Read(LineOf("IpcHandler::CallAsk", "asks something new"));
    EXPECT_EQ(reading.id, LineId::Unknown);
    EXPECT_TRUE(reading.function_known);
    EXPECT_FALSE(Read(LineOf("Brand::New", "text")).function_known);
    EXPECT_EQ(Read(LineOf("", "text")).id, LineId::Unknown);
}

TEST(KnownLines, TextThatRanIntoALine_DoesNotHideIt) {
    const Reading reading =
        Read(LineOf("VoteDeckObjectBase::FindLastQuestion", "device=7 found=trueSIMULATED TQ1"));
    EXPECT_EQ(reading.id, LineId::QuestionFound);
    EXPECT_EQ(reading.values[0], "7");
    EXPECT_TRUE(IsTrue(reading.values[1]));
    EXPECT_EQ(NumberIn("12SIMULATED"), 12);
    EXPECT_EQ(NumberIn("-203"), -203);
    EXPECT_EQ(NumberIn("x", 5), 5);
}

}  // namespace
}  // namespace vdipc::log::test
