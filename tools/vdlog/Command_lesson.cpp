// A lesson for vdlesson, in which happens what the log tells.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/LessonMaker.h"
#include "tools/vdlog/Output.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>

#include <ostream>

namespace vdipc::log {
namespace {

void AddLessonOptions(CLI::App& app, Options& options) {
    AddOutputOption(app, options, "the lesson's file; \"-\" is standard output");
    app.add_flag("--fast", options.fast, "leaves out the waits that nothing depends on");
    app.footer(
        "vdlesson plays the lesson with the real library in the SIMULATED classroom, and leaves a log of its "
        "own:\n"
        "  vdlog lesson school.log -o school.lesson\n"
        "  vdlesson school.lesson --directory replay\n"
        "  vdlog compare school.log replay/vote_deck.DATE.log\n"
        "What the log leaves open (sizes of recordings, which USB receiver) is chosen so that the same "
        "events "
        "follow, and listed\nat the lesson's head. With --redact the same events come, with placeholders for "
        "their texts.");
}

int RunLesson(const Options& options, std::ostream& out) {
    Text text(options.encoding, options.redact);
    OutputFile file(options, out);
    LessonMaker maker(text, options.fast);
    ReadLines(options.files, maker, text);
    maker.End();
    const std::uint64_t steps = maker.Write(file.Stream(), options.files);
    file.Finish();
    if (file.IsStandard()) {
        return kDone;
    }
    out << options.output << ": " << steps << " steps\n";
    for (const std::string& note : maker.Notes()) {
        out << "  " << note << "\n";
    }
    return kDone;
}

}  // namespace

const CommandEntry kLessonCommand = {"lesson", "a lesson for vdlesson, in which the same happens",
                                     &AddLessonOptions, &RunLesson};

}  // namespace vdipc::log
