// One lesson, all of whose steps follow from its seed.
#pragma once

#include "soak/Picks.h"
#include "soak/Referee.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

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

    // Steps of the client's.
    void Init();
    void Ask();
    void Ask(const Json::Value& question);
    void AskFirst(const Json::Value& keypads, const std::string& type);
    void StopOrDrop();
    void TextOrSignal();
    void Nonsense();
    void LoseClient();

    // Steps of the classroom's.
    void Keys();
    void Press(Kind kind, const Json::Value& keypads, const std::vector<int>& keys);
    void ComeOrGo();
    void Move(const char* what, Kind kind, const Json::Value& keypads);
    void Record();
    void RecordOn(Kind kind, const Json::Value& keypads);
    void AnswerSpeech();
    void Answer(const std::vector<OpenRequest>& open);
    void MoveReceiver();
    void MoveStation();
    void BeginOrEndFault();
    void TellAbout();

    // Several that make sense one after the other.
    void PlugIn(Kind kind);
    void ComeLate();
    void DropAndComeBack();
    void AnswerTooLate();

    Kind PickKind();
    std::string PickDevice();
    Json::Value PickKeypads(Kind kind, std::uint32_t most);

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
