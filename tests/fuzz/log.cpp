// Logs: any bytes are some sequence of lines, and every command says something about them. The same bytes in other pieces say
// the same; whatever goes out is UTF-8, and JSON where that is promised; a finding points at lines that there are.
#include "fuzz/support/Fuzz.h"
#include "tools/vdlesson/Lesson.h"
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Reasons.h"
#include "tools/vdlog/Text.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <vector>

namespace vdipc::fuzz {
namespace {

/// What a fact says, in a form that can be compared.
class Told final : public log::FactSink {
public:
    void OnFact(const log::Fact& fact) override {
        ++count_;
        if (told_.size() > 200000) {
            return;
        }
        told_ += std::to_string(static_cast<int>(fact.kind)) + " " + std::to_string(fact.at.line) + " " +
                 std::to_string(static_cast<int>(fact.receiver)) + " " + std::to_string(fact.number) + " ";
        told_ += fact.device;
        told_ += fact.text.substr(0, 200);
        told_ += fact.press != nullptr ? static_cast<char>('a' + static_cast<int>(fact.press->outcome)) : '-';
    }
    bool operator==(const Told& other) const { return count_ == other.count_ && told_ == other.told_; }

private:
    std::size_t count_ = 0;
    std::string told_;
};

void Tell(const std::string& text, std::size_t piece, log::FactSink& sink, log::Reasons* reasons = nullptr) {
    log::Story story(sink);
    if (reasons != nullptr) {
        reasons->Follow(story);
    }
    log::LineReader reader(story);
    for (std::size_t at = 0; at < text.size(); at += piece) {
        reader.Feed(text.data() + at, std::min(piece, text.size() - at));
    }
    reader.EndFile();
    story.End();
}

void CheckReasons(const std::string& text) {
    const auto lines = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    const log::Text shown;
    log::Reasons reasons(shown, [lines](const log::Finding& finding) {
        FUZZ_REQUIRE(!finding.sentence.empty() && log::IsUtf8(finding.sentence));
        FUZZ_REQUIRE(!finding.lines.empty());
        for (const log::Mark& mark : finding.lines) {
            FUZZ_REQUIRE(mark.line >= 1 && mark.line <= lines);
        }
    });
    Tell(text, text.size() + 1, reasons, &reasons);
}

void CheckCommand(const std::string& text, std::vector<std::string> arguments) {
    const bool json =
        arguments[0] == "trace" || std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    std::istringstream in(text);
    std::streambuf* const former = std::cin.rdbuf(in.rdbuf());
    std::cin.clear();
    std::ostringstream out;
    std::ostringstream error;
    arguments.emplace_back("-");
    const int code = log::RunProgram(arguments, out, error);
    std::cin.rdbuf(former);
    FUZZ_REQUIRE(code == log::kDone || (code == log::kFailed && !error.str().empty()));
    FUZZ_REQUIRE(log::IsUtf8(out.str()));
    Json::Value root;
    FUZZ_REQUIRE(!json || code != log::kDone || (Parses(out.str(), &root) && root.isObject()));
    if (arguments.front() == "lesson" && code == log::kDone) {
        tools::ParseLesson(out.str());  // whatever the log says, the player's reader takes it
    }
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc::fuzz;
    const std::string text = Text(data, size);
    Told whole;
    Tell(text, text.size() + 1, whole);
    Told pieces;
    Tell(text, 16 + size % 97, pieces);
    FUZZ_REQUIRE(whole == pieces);
    CheckReasons(text);
    // One of them for each input: setting up a command line costs more than reading most inputs.
    const std::vector<std::vector<std::string>> commands = {{"pipe"},
                                                            {"why", "--json"},
                                                            {"why", "--redact"},
                                                            {"summary", "--json"},
                                                            {"summary"},
                                                            {"keypad", "7", "--json"},
                                                            {"timeline", "-o", "-"},
                                                            {"trace", "-o", "-"},
                                                            {"lesson", "-o", "-"}};
    CheckCommand(text, commands[size % commands.size()]);
    return 0;
}
