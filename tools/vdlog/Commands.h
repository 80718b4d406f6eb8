// The commands of this program, one unit for each.
//
// A new command is a unit Command_NAME.cpp with a CommandEntry; Commands.cpp lists it. Most derive from FactSink, make a
// Story over themselves, let ReadLogs read, and print what they have gathered. Facts.h says which facts there are.
#pragma once

#include "tools/vdlog/Options.h"

#include <iosfwd>
#include <span>

namespace CLI {
class App;
}

namespace vdipc::log {

struct CommandEntry {
    const char* name;
    const char* summary;  // one line, for the list of commands
    /// Options beyond those that all have (LOG..., --encoding, --redact).
    void (*options)(CLI::App& app, Options& options);
    /// Returns the exit code. Raises std::exception with words for the user.
    int (*run)(const Options& options, std::ostream& out);
};

extern const CommandEntry kPipeCommand;
extern const CommandEntry kTimelineCommand;
extern const CommandEntry kTraceCommand;
extern const CommandEntry kSummaryCommand;
extern const CommandEntry kWhyCommand;
extern const CommandEntry kWatchCommand;
extern const CommandEntry kKeypadCommand;
extern const CommandEntry kLessonCommand;
extern const CommandEntry kCompareCommand;

std::span<const CommandEntry* const> AllCommands();

/// The whole program: arguments without its name. What is for people goes to `out`, complaints to `error`.
int RunProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& error);

}  // namespace vdipc::log
