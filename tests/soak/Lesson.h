// One lesson, all of whose steps follow from its seed.
#pragma once

#include "soak/Referee.h"

#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

/// Random choices that are the same with every standard library.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}

    std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(engine_() % bound); }
    bool Percent(std::uint32_t chance) { return Below(100) < chance; }
    template <typename Value>
    const Value& Pick(const std::vector<Value>& values) {
        return values[Below(static_cast<std::uint32_t>(values.size()))];
    }

private:
    std::mt19937_64 engine_;
};

class Lesson {
public:
    Lesson(std::uint64_t seed, Rig& rig, bool verbose);

    /// Raises Deviated, or std::runtime_error where it can't go on.
    void Play(std::size_t steps);

    std::size_t Steps() const { return step_; }
    const Referee& TheReferee() const { return referee_; }
    /// What was done last, one line each, with the numbers of the steps.
    std::string LastSteps() const;

private:
    struct Place {  // a receiver or the station, as far as the lesson moves it
        std::vector<std::uint32_t> pool;
        std::string fault;
        std::uint32_t delay_ms = 0;
    };

    void StartHost();
    void EndHost(bool crash);
    void Populate();
    void OneStep();
    void Tell(const std::string& words);
    void Command(const Json::Value& command);
    void Command(const std::string& json);
    void Act(const Json::Value& action, bool loose = false);
    void Settle();
    void SettleIfLate(Kind kind);

    void Init();
    void Ask();
    void Ask(const std::string& device, const std::string& type);
    void AskFirst(const Json::Value& keypads, const std::vector<std::string>& types);
    void StopOrDrop();
    void TextOrSignal();
    void Nonsense();
    void Keys();
    void ComeOrGo();
    void Record();
    void AnswerSpeech();
    void MoveReceiver();
    void MoveStation();
    void BeginOrEndFault();
    void LoseClient();
    void TellAbout();

    Kind PickKind();
    std::string PickDevice();
    Json::Value PickKeypads(Kind kind, std::uint32_t most);
    int PickKey();
    std::string PickText();

    const std::uint64_t seed_;
    const bool verbose_;
    Dice dice_;
    Rig& rig_;
    Referee referee_;
    std::map<Kind, Place> places_;
    std::string last_type_;
    std::string station_ = "up";
    bool settled_ = true;
    std::size_t step_ = 0;
    std::uint32_t recordings_ = 0;
    std::deque<std::string> told_;
};

}  // namespace vdipc::soak
