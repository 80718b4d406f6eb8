#include "tools/vdlog/Commands.h"

#include "tools/vdlog/Input.h"
#include "tools/vdlog/Narrow.h"
#include "tools/vdlog/Platform.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <map>
#include <ostream>
#include <string>
#include <system_error>
#include <vector>

namespace vdipc::log {
namespace {

/// The exit code, once all that was printed has been taken. A reader that has gone, as "head", wants no words.
int Printed(int code, std::ostream& out, std::ostream& error) {
    out.flush();
    if (out) {
        return code;
    }
    // Who wrote doesn't say what was wrong, and a byte more does.
    out.clear();
    errno = 0;
    out.put('\n').flush();
    const int reason = errno;
    if (IsClosedPipe(reason)) {
        return code;
    }
    error << "vdlog: can't write all of the output"
          << (reason != 0 ? ": " + std::generic_category().message(reason) : "; the disk may be full")
          << std::endl;
    return kFailed;
}

}  // namespace

std::span<const CommandEntry* const> AllCommands() {
    static constexpr const CommandEntry* kAll[] = {&kSummaryCommand, &kWhyCommand,      &kWatchCommand,
                                                   &kKeypadCommand,  &kPipeCommand,     &kLessonCommand,
                                                   &kCompareCommand, &kTimelineCommand, &kTraceCommand};
    return kAll;
}

int RunProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& error) {
    CLI::App app("Reads the log of VDIPC.dll (vote_deck.DATE.log, beside the host's executable) and says "
                 "what happened.\n"
                 "The logs may be of any size and of several days; \"-\" is standard input.",
                 "vdlog");
    app.require_subcommand(1);
    app.allow_windows_style_options(false);
    app.footer("Exit codes: 0 done, 1 the logs differ (compare), 2 bad words, a log that can't be "
               "read,\nor output that can't be written.\n"
               "vdlog COMMAND --help has a command's options.");
    std::map<const CLI::App*, std::pair<const CommandEntry*, Options>> options;
    for (const CommandEntry* const entry : AllCommands()) {
        CLI::App* const command = app.add_subcommand(entry->name, entry->summary);
        Options& own = options[command].second;
        options[command].first = entry;
        own.color = IsOutputTerminal();
        if (entry->options != nullptr) {
            entry->options(*command, own);
        }
        if (command->get_option_no_throw("LOG") == nullptr) {
            command->add_option("LOG", own.files, "log files, in any order")->required();
        }
        command
            ->add_option(
                "--encoding", own.encoding,
                "the active code page of the machine that wrote the log, as 936 or 1252; else guessed")
            ->check(IsNotEmpty());
        command->add_flag(
            "--redact", own.redact,
            "replaces texts of questions, stems, recognised words and file paths by their lengths");
    }
    if (!arguments.empty() && !arguments[0].starts_with('-')) {
        const auto known = AllCommands();
        if (std::none_of(known.begin(), known.end(),
                         [&](const CommandEntry* entry) { return arguments[0] == entry->name; })) {
            error << "vdlog: there is no command \"" << arguments[0] << "\"; vdlog --help has them"
                  << std::endl;
            return kFailed;
        }
    }
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& problem) {
        return Printed(app.exit(problem, out, error) == 0 ? kDone : kFailed, out, error);
    }
    const CLI::App* const chosen = app.get_subcommands().front();
    auto& [entry, own] = options[chosen];
    try {
        own.files = InOrder(WithoutRepeats(own.files, error), error);
        return Printed(entry->run(own, out), out, error);
    } catch (const std::exception& problem) {
        out.flush();
        error << "vdlog: " << problem.what() << std::endl;
        return kFailed;
    }
}

}  // namespace vdipc::log
