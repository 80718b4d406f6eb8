// Plays a lesson: starts host and client as processes of their own, moves the simulated classroom, checks every event
// that must come, and writes a transcript for a teacher.
#pragma once

#include "tools/common/ChannelInRegistry.h"
#include "tools/common/Stage.h"
#include "tools/vdlesson/Lesson.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc::tools {

/// What must have happened and hasn't.
class LessonFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct PlayerOptions {
    std::wstring binaries;   // where vdclient.exe and the rest lie
    std::wstring directory;  // stage of the host
    std::uint64_t seed = 1;
    bool verbose = false;  // every event in the transcript
};

class Player {
public:
    Player(const Lesson& lesson, PlayerOptions options);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Raises LessonFailure with the first thing that is missing.
    void Play();

private:
    struct Event {
        double time = 0.0;
        Json::Value value;
    };
    struct Press {
        double time = 0.0;
        int keypad = 0;
        std::size_t choice = 0;
        std::string key;
    };

    void PlayStep(const Step& step);
    /// What to look at where a step failed and the station, which is up, was never found so; empty elsewhere.
    std::string StationHint();
    void StartHost(bool again);
    void EndHost(const Step& step);
    void LoseHost(const Step& step);
    void HostIsGone();
    void StartClient();
    void KillClient();
    void Send(const std::string& json);
    void SendBytes(const std::string& bytes, const std::string& shown);
    void WaitForTurn(std::size_t before, const std::string& shown);
    std::size_t CountTurns() { return CountLogged("IpcHandler::RouteMessage:"); }
    void MoveClassroom(const Step& step);
    /// How often this host's log holds the text by now.
    std::size_t CountLogged(const std::string& text);
    void WaitForLog(const Step& step);
    void Expect(const Step& step);
    void ExpectNone(const Step& step);
    void PlayAnswers(const Step& step);
    void PlaySpeaks(const Step& step);
    void CheckShows(const Step& step);
    void CheckState(const Step& step);
    void CheckNothingLeft();
    void CheckMisuse();

    void OnClientLine(const std::string& line);
    /// Takes the first event that fits out of the queue, waiting for it.
    bool Take(const std::string& name, const Json::Value& pattern, double seconds, Event& event);
    void WaitUntil(double time);
    double Now() const;
    void Tell(const std::string& words);

    const Lesson& lesson_;
    const PlayerOptions options_;
    std::mt19937_64 random_;
    const std::chrono::steady_clock::time_point begin_;
    std::unique_ptr<ChannelInRegistry> channel_;
    std::unique_ptr<Host> host_;
    std::unique_ptr<Process> client_;
    std::mutex mutex_;  // guards events_ and client_lines_
    std::ofstream client_lines_;
    std::condition_variable changed_;
    std::deque<Event> events_;
    std::set<std::string> ignored_;
    bool missing_client_ = false;
    bool sends_bytes_ = false;   // some step has what vdclient's lines can't
    bool started_ = false;       // a host of this lesson has been started before
    std::wstring log_file_;      // of this host
    std::uintmax_t log_at_ = 0;  // where it is read on
    std::string log_;            // what it has written so far
    std::map<std::string, std::pair<std::size_t, std::size_t>> logged_;  // texts: up to where, how often
    std::size_t checked_ = 0;
};

/// Whether every member of the pattern is in the value, nested objects alike. A pattern text "*" stands for any value.
bool Fits(const Json::Value& value, const Json::Value& pattern);

}  // namespace vdipc::tools
