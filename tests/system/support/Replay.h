// A log that is played again: made into a lesson, played with the real library, and held against the replay's log.
#pragma once

#include <string>

namespace vdipc::test {

struct Replay {
    std::string lesson;  // as it was made
    std::string output;  // of making, playing and comparing, for people
    std::string log;     // of the replay
    bool equal = false;  // the events of both
};

/// Below this directory. No host may run.
Replay PlayAgain(const std::string& log, const std::wstring& directory, bool fast);

}  // namespace vdipc::test
