// A lesson: a text file of timed steps for client and classroom. docs/lessons.md describes the format.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::tools {

/// A lesson file that can't be read, with the line that is wrong and what to do about it.
class LessonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One way for a pupil to answer: keys in the order of pressing, and the answer that must reach the client for each key
/// that counts.
struct Choice {
    std::string name;  // as it stands in the lesson, and in the transcript
    std::vector<std::string> keys;
    std::vector<std::string> answers;  // "key" of each expected event
};

struct Step {
    enum class Kind {
        Say,  // text
        HostStart,
        HostAgain,  // in the same directory, with what is in it
        HostEnd,    // the host must end by itself within `seconds`, with exit code 0
        HostStop,   // the same, when its input has ended
        HostGone,   // it must end by itself within `seconds`, in whatever way
        HostKill,
        ClientStart,
        ClientKill,
        ClientSend,     // text: JSON
        ClientMessage,  // text: of a message, whatever it is
        ClientBytes,    // text: bytes for the pipe
        Classroom,      // json; tried again for `seconds` where that is above 0, until it is taken and heard
        Logged,         // text, count: the log of this host must hold the text so often within `seconds`
        Expect,         // event, count, json, seconds
        None,           // event, json
        Ignore,         // event
        Answers,        // kind, first..last, choices, seconds, custom
        Speaks,         // kind, first..last, seconds, custom, event, json
        Shows,          // kind, first..last, texts of three rows
        State           // json that the classroom's state must hold within `seconds`
    };

    Kind kind = Kind::Say;
    int line = 0;
    /// Lesson clock in seconds that the step waits for; negative: at once.
    double at = -1.0;
    /// Seconds to wait after the former step; negative: none.
    double after = -1.0;

    std::string text;
    std::string event;
    std::string receiver;
    std::string custom;
    int count = 1;
    int first = 0;
    int last = 0;
    double seconds = 10.0;
    Json::Value json;
    std::vector<Choice> choices;
    std::vector<std::string> rows;
};

struct Lesson {
    std::string title;
    std::uint64_t seed = 1;
    std::string station = "up";
    std::string plugged;
    std::string config;   // text of vote_deck.conf; none when empty
    std::string devices;  // text of devices.json at the start; none when empty
    /// Channel in the user's registry during the lesson, "none" for no value, or empty to leave it alone.
    std::string channel;
    std::vector<Step> steps;
};

/// Raises LessonError.
Lesson ParseLesson(const std::string& text);

}  // namespace vdipc::tools
