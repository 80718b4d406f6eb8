// One run of a log as steps of a lesson, and how they are written down.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace Json {
class Value;
}

namespace vdipc::log {

/// Of a line, over all files of a log.
using LinePlace = std::uint64_t;

struct LessonStep {
    LinePlace turn = 0;   // where its task begins; for what has none, where it was heard
    LinePlace heard = 0;  // what stands before this had happened when it was heard
    std::int64_t time = 0;
    std::vector<std::string> before;  // what the classroom has to be made into first
    std::string text;
    bool awaits_all = false;  // waits for all that stands before its turn
    bool keep = false;        // an answer whose request is answered again later
    std::string recorded;     // of a recording: its keypad's number
    // Of a key, a logon or a logoff, for those that can be played together: the text around the keypad's number.
    std::string alike;
    std::string behind;
    std::string keypad;
};

/// A wait for what the library does by itself.
struct LessonWait {
    LinePlace place = 0;
    std::int64_t time = 0;
    std::string text;
    bool timed = false;  // stands at its own distance in time
};

/// A request whose timer runs: the steps between the two must be played before it fires.
struct LessonWindow {
    LinePlace from = 0;
    LinePlace to = 0;
};

struct LessonRun {
    std::vector<LessonStep> steps;
    std::vector<LessonWait> waits;
    std::vector<LessonWindow> windows;
    std::int64_t begin = 0;
    std::int64_t last = 0;
    bool whole = false;
    bool ended = false;            // the host stopped the library
    bool ended_by_device = false;  // by a device id that is no number
    bool ended_by_bytes = false;   // by a message of negative length
    bool client = false;           // one is connected at the end
    std::string quit;              // the step of the last "quit"
    // How often the log holds what the lesson waits for.
    std::uint64_t clients = 0;
    std::uint64_t connects = 0;
    std::uint64_t inits = 0;
    std::uint64_t changes = 0;
    std::uint64_t timeouts = 0;
    std::uint64_t late_looks = 0;
    std::uint64_t turns = 0;
    std::uint64_t turns_awaited = 0;  // by the last step that waits for all before it
    std::uint64_t events = 0;
};

/// Writes the steps with their waits, from the host's start to its end. `opening` are the lines behind the host's start,
/// `unused` are receivers that the lesson has no need of. Returns how many steps there are.
std::uint64_t WriteLessonRun(std::ostream& out, LessonRun& run, bool first, bool fast,
                             const std::vector<std::string>& opening, const std::vector<std::string>& unused);

bool ParseLessonJson(const std::string& text, Json::Value& value);

}  // namespace vdipc::log
