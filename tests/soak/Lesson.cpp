#include "soak/Lesson.h"

#include <algorithm>
#include <iostream>

namespace vdipc::soak {
namespace {

constexpr std::size_t kToldLines = 30;

}  // namespace

Lesson::Lesson(std::uint64_t seed, Rig& rig, bool verbose)
    : seed_(seed), verbose_(verbose), dice_(seed), rig_(rig), referee_(rig) {
    // Some numbers belong to keypads of two kinds at once.
    std::uint32_t first = 1;
    for (const Kind kind : kAllKinds) {
        for (std::uint32_t i = 0; i < 8; ++i) {
            places_[kind].pool.push_back(first + i);
        }
        first += dice_.Percent(50) ? 8 : 6;
    }
}

void Lesson::Tell(const std::string& words) {
    told_.push_back("  step " + std::to_string(step_) + ": " + words);
    if (verbose_) {
        std::cout << told_.back() << std::endl;
    }
    if (told_.size() > kToldLines) {
        told_.pop_front();
    }
}

std::string Lesson::LastSteps() const {
    std::string text;
    for (const std::string& line : told_) {
        text += line + "\n";
    }
    return text;
}

void Lesson::Command(const Json::Value& command) {
    Command(tools::CompactJson(command));
}

void Lesson::Command(const std::string& json) {
    Tell("client    " + json);
    referee_.Command(json);
    settled_ = false;
}

void Lesson::Act(const Json::Value& action, bool loose) {
    Tell("classroom " + tools::CompactJson(action));
    referee_.Act(action, loose);
    settled_ = false;
}

void Lesson::Settle() {
    if (settled_ || !rig_.HasClient()) {
        return;
    }
    std::uint32_t delay = 0;
    for (const auto& [kind, place] : places_) {
        delay = std::max(delay, place.delay_ms);
    }
    referee_.Settle(delay);
    settled_ = true;
}

/// What comes late must not meet what is done next: its place in the order would be anybody's guess.
void Lesson::SettleIfLate(Kind kind) {
    const Place& place = places_[kind];
    if (place.fault != "slow" && place.fault != "delayed" && place.fault != "reorder") {
        return;
    }
    if (rig_.HasClient()) {
        Settle();
    } else {
        referee_.Quiet(place.delay_ms);
    }
}

void Lesson::StartHost() {
    std::string plugged;
    for (const Kind kind : kAllKinds) {
        if (kind != Kind::RV2 && dice_.Percent(65)) {
            plugged += (plugged.empty() ? "" : ",") + std::string(NameOf(kind));
        }
    }
    const std::vector<std::string> states = {"up", "up", "up", "up", "up", "no-power", "no-usb"};
    station_ = dice_.Pick(states);
    for (auto& [kind, place] : places_) {
        place.fault.clear();
        place.delay_ms = 0;
    }
    Tell("a host starts, plugged " + plugged + ", station " + station_);
    rig_.StartHost(plugged, station_, seed_);
    referee_.HostStarted();
    rig_.ConnectClient();
    settled_ = false;
}

void Lesson::EndHost(bool crash) {
    Settle();
    referee_.CheckMisuse();
    Tell(crash ? "the host is killed" : "the host is stopped");
    if (crash) {
        rig_.KillHost();
    } else {
        rig_.StopHost();
    }
    referee_.CheckSavedKeypads();
}

void Lesson::Play(std::size_t steps) {
    const bool again = dice_.Percent(40);
    const bool crash = dice_.Percent(30);
    if (dice_.Percent(60)) {
        referee_.TheModel().hardware.channel = static_cast<std::int32_t>(dice_.Below(12)) - 1;
    }
    WriteChannel(referee_.TheModel().hardware.channel);
    StartHost();
    if (dice_.Percent(20)) {
        Ask();
    }
    Init();
    Populate();
    while (step_ < steps) {
        ++step_;
        if (again && step_ == steps / 2) {
            EndHost(crash);
            StartHost();
            if (dice_.Percent(80)) {
                Init();
            }
            Populate();
        }
        OneStep();
    }
    EndHost(false);
    if (ReadChannel() != referee_.TheModel().hardware.channel) {
        throw Deviated("the channel in the registry is " + std::to_string(ReadChannel().value_or(-1)) +
                       ", not " + std::to_string(referee_.TheModel().hardware.channel.value_or(-1)));
    }
}

/// Most keypads come at the beginning of a lesson.
void Lesson::Populate() {
    for (const Kind kind : kAllKinds) {
        if (dice_.Percent(80)) {
            Json::Value action;
            action["do"] = "connect";
            action["kind"] = NameOf(kind);
            action["keypads"] = PickKeypads(kind, 8);
            Act(action);
        }
    }
    Settle();
}

void Lesson::OneStep() {
    struct Choice {
        std::uint32_t weight;
        void (Lesson::*step)();
    };
    static constexpr Choice choices[] = {{20, &Lesson::Ask},         {32, &Lesson::Keys},
                                         {8, &Lesson::StopOrDrop},   {3, &Lesson::TextOrSignal},
                                         {2, &Lesson::Nonsense},     {9, &Lesson::ComeOrGo},
                                         {13, &Lesson::Record},      {7, &Lesson::AnswerSpeech},
                                         {2, &Lesson::Init},         {4, &Lesson::MoveReceiver},
                                         {2, &Lesson::MoveStation},  {4, &Lesson::BeginOrEndFault},
                                         {2, &Lesson::LoseClient},   {1, &Lesson::TellAbout},
                                         {5, &Lesson::ComeLate},     {3, &Lesson::DropAndComeBack},
                                         {4, &Lesson::AnswerTooLate}};
    std::uint32_t all = 0;
    for (const Choice& choice : choices) {
        all += choice.weight;
    }
    std::uint32_t left = dice_.Below(all);
    for (const Choice& choice : choices) {
        if (left < choice.weight) {
            (this->*choice.step)();
            break;
        }
        left -= choice.weight;
    }
    if (dice_.Percent(50)) {
        Settle();
    }
}

Kind Lesson::PickKind() {
    const std::vector<Kind> usable = referee_.TheModel().Usable();
    const bool any = dice_.Percent(25);
    const std::uint32_t choice = dice_.Below(60);
    return any || usable.empty() ? kAllKinds[choice % 5] : usable[choice % usable.size()];
}

std::string Lesson::PickDevice() {
    if (dice_.Percent(3)) {
        static const std::vector<std::string> strange = {"07", "12abc", " 3", "+4", "4294967295", "60000"};
        return dice_.Pick(strange);
    }
    return std::to_string(dice_.Pick(places_[PickKind()].pool));
}

Json::Value Lesson::PickKeypads(Kind kind, std::uint32_t most) {
    const std::vector<std::uint32_t>& pool = places_[kind].pool;
    Json::Value keypads(Json::arrayValue);
    const std::uint32_t count = 1 + dice_.Below(most);
    const std::uint32_t first = dice_.Below(static_cast<std::uint32_t>(pool.size()));
    for (std::uint32_t i = 0; i < count && i < pool.size(); ++i) {
        keypads.append(pool[(first + i) % pool.size()]);
    }
    return keypads;
}

}  // namespace vdipc::soak
