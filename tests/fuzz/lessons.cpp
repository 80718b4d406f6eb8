// Lesson files: a file is either read as a lesson whose every step can be played, or refused with a LessonError that names a
// line of it.
#include "fuzz/support/Fuzz.h"
#include "tools/vdlesson/Lesson.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace vdipc::fuzz {
namespace {

using tools::Lesson;
using tools::LessonError;
using tools::Step;

bool IsTime(double seconds) {
    return std::isfinite(seconds) && seconds >= 0.0;
}

void CheckStep(const Step& step) {
    FUZZ_REQUIRE(IsTime(step.seconds));
    FUZZ_REQUIRE(step.at == -1.0 || IsTime(step.at));
    FUZZ_REQUIRE(step.after == -1.0 || IsTime(step.after));
    FUZZ_REQUIRE(step.count >= 0);
    switch (step.kind) {
    case Step::Kind::ClientSend: {
        // A command in braces goes as it stands, and may be no JSON on purpose; short forms are always a command.
        Json::Value command;
        FUZZ_REQUIRE(!step.text.empty() && step.text[0] == '{');
        FUZZ_REQUIRE(!Parses(step.text, &command) || command.isObject());
        break;
    }
    case Step::Kind::Answers:
        FUZZ_REQUIRE(!step.choices.empty());
        for (const tools::Choice& choice : step.choices) {
            FUZZ_REQUIRE(!choice.name.empty());
        }
        [[fallthrough]];
    case Step::Kind::Speaks:
        FUZZ_REQUIRE(!step.custom.empty());
        [[fallthrough]];
    case Step::Kind::Shows:
        FUZZ_REQUIRE(1 <= step.first && step.first <= step.last);
        FUZZ_REQUIRE(!step.receiver.empty());
        FUZZ_REQUIRE(step.kind != Step::Kind::Shows || step.rows.size() == 3);
        break;
    case Step::Kind::Expect:
    case Step::Kind::None:
    case Step::Kind::Ignore:
        FUZZ_REQUIRE(!step.event.empty());
        break;
    case Step::Kind::Classroom:
    case Step::Kind::State:
        FUZZ_REQUIRE(step.json.isObject());
        break;
    default:
        break;
    }
}

/// Whether the words begin with "line N: ", N being a line of the text.
bool NamesALine(const std::string& words, const std::string& text) {
    const long lines = std::count(text.begin(), text.end(), '\n') + 1;
    if (words.rfind("line ", 0) != 0) {
        return words == "the lesson has no steps";
    }
    char* end = nullptr;
    const long line = std::strtol(words.c_str() + 5, &end, 10);
    return line >= 1 && line <= lines && std::string(end).rfind(": ", 0) == 0;
}

std::optional<Lesson> Read(const std::string& text) {
    try {
        return tools::ParseLesson(text);
    } catch (const LessonError& error) {
        FUZZ_REQUIRE(NamesALine(error.what(), text));
        return std::nullopt;
    }
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc::fuzz;
    const std::string text = Text(data, size);
    const auto lesson = Read(text);
    if (!lesson) {
        return 0;
    }
    FUZZ_REQUIRE(!lesson->steps.empty());
    int line = 0;
    for (const Step& step : lesson->steps) {
        CheckStep(step);
        FUZZ_REQUIRE(step.line > line);
        line = step.line;
    }
    // Comments and empty lines change nothing but the numbers of lines.
    const auto again = Read("# a comment\n\n" + text);
    FUZZ_REQUIRE(again && again->steps.size() == lesson->steps.size() && again->seed == lesson->seed);
    FUZZ_REQUIRE(again->steps[0].line == lesson->steps[0].line + 2);
    return 0;
}
