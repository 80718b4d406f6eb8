#include "soak/Lesson.h"

#include <algorithm>
#include <iostream>

namespace vdipc::soak {
namespace {

constexpr std::size_t kToldLines = 30;

const std::vector<std::string> kKeyTypes = {"single-choice",
                                            "multiple-choice",
                                            "red-envelope",
                                            "continous-red-envelope",
                                            "true-false",
                                            "general",
                                            "multiple-question-single-choice"};
const std::vector<std::string> kVoiceTypes = {
    "audio", "audio-single", "audio-multiple", "audio-multiple-chn", "evaluation", "voice-record"};

Json::Value Action(const char* what, Kind kind) {
    Json::Value action;
    action["do"] = what;
    action["kind"] = NameOf(kind);
    return action;
}

Json::Value Bare(const char* word) {
    Json::Value command;
    command["command"] = word;
    return command;
}

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
            Json::Value action = Action("connect", kind);
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
    static constexpr Choice choices[] = {
        {20, &Lesson::Ask},         {32, &Lesson::Keys},        {8, &Lesson::StopOrDrop},
        {3, &Lesson::TextOrSignal}, {2, &Lesson::Nonsense},     {9, &Lesson::ComeOrGo},
        {13, &Lesson::Record},      {7, &Lesson::AnswerSpeech}, {2, &Lesson::Init},
        {4, &Lesson::MoveReceiver}, {2, &Lesson::MoveStation},  {4, &Lesson::BeginOrEndFault},
        {2, &Lesson::LoseClient},   {1, &Lesson::TellAbout}};
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

// ---- choices --------------------------------------------------------------------------------------------------------

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

int Lesson::PickKey() {
    static const std::vector<int> odd = {0, 10, 12, 128, 255, -1};
    if (dice_.Percent(6)) {
        return dice_.Pick(odd);
    }
    if (dice_.Percent(30)) {
        return static_cast<int>(1 + dice_.Below(9));
    }
    if (last_type_ == "true-false") {
        return static_cast<int>(5 + dice_.Below(4));
    }
    if (last_type_ == "red-envelope" || last_type_ == "continous-red-envelope") {
        return 9;
    }
    if (last_type_ == "multiple-choice") {
        return static_cast<int>(1 + dice_.Below(7));
    }
    return static_cast<int>(1 + dice_.Below(4));
}

std::string Lesson::PickText() {
    static const std::vector<std::string> texts = {"",    "Hello", "Question 1", "été", "a \"b\" \\ c",
                                                   "<&>", " "};
    return dice_.Pick(texts);
}

// ---- the client -----------------------------------------------------------------------------------------------------

void Lesson::Init() {
    Settle();
    static const std::vector<std::string> kinds = {"any", "any", "any",   "any",
                                                   "any", "any", "audio", "non-audio"};
    Json::Value command = Bare("init");
    command["preferred-device-type"] = dice_.Pick(kinds);
    Command(command);
    Settle();
}

void Lesson::Ask() {
    const std::string device = dice_.Percent(45) ? "0" : PickDevice();
    Ask(device, dice_.Percent(65) ? dice_.Pick(kKeyTypes) : dice_.Pick(kVoiceTypes));
}

/// A question that those who answer next have been asked.
void Lesson::AskFirst(const Json::Value& keypads, const std::vector<std::string>& types) {
    Ask(dice_.Percent(50) ? "0" : keypads[0].asString(), dice_.Pick(types));
}

void Lesson::Ask(const std::string& device, const std::string& type) {
    Json::Value command = Bare("ask");
    command["device"] = device;
    command["type"] = type;
    last_type_ = type;
    const std::vector<std::string> customs = {"",
                                              "q1",
                                              "q2",
                                              "été",
                                              "q " + std::to_string(step_),
                                              "q " + std::to_string(step_),
                                              "q " + std::to_string(step_)};
    if (dice_.Percent(95)) {
        command["custom"] = dice_.Pick(customs);
    }
    for (const char* const row : {"row1", "row2", "row3"}) {
        if (dice_.Percent(30)) {
            command[row] = PickText();
        }
    }
    if (dice_.Percent(90)) {
        Json::Value& context = command["context"];
        if (dice_.Percent(85)) {
            for (std::uint32_t i = 1 + dice_.Below(3); i > 0; --i) {
                context["stems"].append(dice_.Percent(10) ? Json::Value(7)
                                                          : Json::Value("word " + std::to_string(i)));
            }
        }
        if (dice_.Percent(80)) {
            context["param"]["text"] = PickText();
            context["param"]["rank"] = dice_.Below(5);
        } else if (dice_.Percent(30)) {
            context["param"] = Json::Value(dice_.Percent(50) ? Json::objectValue : Json::arrayValue);
        }
        if (dice_.Percent(50)) {
            context["audio-file-name-prefix"] = "s" + std::to_string(dice_.Below(3)) + "-";
        }
    }
    Command(command);
}

void Lesson::StopOrDrop() {
    const bool drops = dice_.Percent(45);
    Json::Value command = Bare(drops ? "drop" : "stop");
    command["device"] = dice_.Percent(drops ? 5 : 40) ? "0" : PickDevice();
    Command(command);
}

void Lesson::TextOrSignal() {
    const bool text = dice_.Percent(50);
    Json::Value command = Bare(text ? "text" : "hi");
    command["device"] = dice_.Percent(40) ? "0" : PickDevice();
    if (text) {
        command["row1"] = PickText();
        command["row3"] = PickText();
    } else {
        Json::Value& arguments = command["arguments"];
        arguments = Json::Value(Json::arrayValue);
        for (std::uint32_t i = dice_.Below(3); i > 0; --i) {
            Json::Value argument;
            static const std::vector<std::string> types = {"led", "motor", "beep"};
            argument["type"] = dice_.Pick(types);
            argument["color"] = "magenta";
            argument["times"] = dice_.Below(400);
            argument["interval"] = dice_.Below(10);
            argument["duration"] = dice_.Below(10);
            arguments.append(argument);
        }
    }
    Command(command);
}

void Lesson::Nonsense() {
    static const std::vector<std::string> texts = {
        "",
        "no JSON",
        "[]",
        R"("ask")",
        R"({"command":"ask"})",
        R"({"command":"Ask","device":"0","type":"general"})",
        R"({"command":"ask","device":0,"type":"general"})",
        R"({"command":"ask","device":"0","type":"continuous-red-envelope"})",
        R"({"command":"ask","device":"0","type":4})",
        R"({"command":"stop"})",
        R"({"command":"stop","device":3})",
        R"({"command":"drop","device":null})",
        R"({"command":"hi","device":"0","arguments":[{"type":"led","times":1,"interval":1,"duration":1}]})",
        R"({"command":"init"})",
        R"({"command":"init","preferred-device-type":"Any"})",
        R"({"command":["stop"],"device":"0"})",
        R"({"event":"key-pressed","device":"1","key":"A"})"};
    Command(dice_.Pick(texts));
}

void Lesson::LoseClient() {
    if (dice_.Percent(60)) {
        Settle();
    }
    Tell("the client goes without a word");
    referee_.LoseClient();
    for (std::uint32_t i = dice_.Below(4); i > 0; --i) {
        if (dice_.Percent(60)) {
            Keys();
        } else {
            ComeOrGo();
        }
    }
    Tell("a client comes");
    rig_.ConnectClient();
    settled_ = false;
    Settle();
}

// ---- the classroom --------------------------------------------------------------------------------------------------

void Lesson::Keys() {
    const Kind kind = PickKind();
    Json::Value action = Action("key", kind);
    action["keypads"] = PickKeypads(kind, 8);
    if (dice_.Percent(35) && rig_.HasClient()) {
        AskFirst(action["keypads"], kKeyTypes);
    }
    action["key"] = Json::Value(Json::arrayValue);
    for (std::uint32_t i = 1 + dice_.Below(last_type_ == "multiple-choice" ? 5 : 3); i > 0; --i) {
        action["key"].append(PickKey());
    }
    if (dice_.Percent(15)) {
        action["repeat"] = 2 + dice_.Below(3);
    }
    const bool loose = dice_.Percent(30);
    if (loose) {
        action["together"] = true;
    }
    Act(action, loose);
    SettleIfLate(kind);
}

void Lesson::ComeOrGo() {
    const Kind kind = PickKind();
    Json::Value action = Action(dice_.Percent(70) ? "connect" : "leave", kind);
    action["keypads"] = PickKeypads(kind, 8);
    const bool loose = dice_.Percent(30);
    if (loose) {
        action["together"] = true;
    }
    Act(action, loose);
    SettleIfLate(kind);
}

void Lesson::Record() {
    const Kind kind = dice_.Percent(25) ? Kind::RV2 : PickKind();
    Json::Value action = Action("audio", kind);
    action["keypads"] = PickKeypads(kind, 3);
    if (dice_.Percent(70)) {
        AskFirst(action["keypads"], kVoiceTypes);
    }
    static const std::vector<std::string> makes = {"tone", "noise", "silence", "fill"};
    const std::string make = dice_.Pick(makes);
    action["make"] = make;
    const std::uint32_t odd = dice_.Below(10);
    const std::uint32_t bytes = odd == 0 ? 3071 : odd == 1 ? 3072 : odd == 2 ? 60 : 3100 + 2 * ++recordings_;
    action["bytes"] = bytes;
    if (kind == Kind::RV2) {
        action["error"] = dice_.Percent(15);
        action["valid"] = !dice_.Percent(8);
    } else {
        action["lost"] = 0.25 * dice_.Below(4);
        action["first"] = "first";
    }
    const std::string& fault = places_[kind].fault;
    referee_.KnowRecording(bytes, make == "fill" && fault != "garbage" && fault != "wrong");
    Act(action);
    Settle();
    if (dice_.Percent(30)) {
        AnswerSpeech();
    }
}

void Lesson::AnswerSpeech() {
    Settle();
    std::vector<OpenRequest> open = referee_.OpenRequests();
    if (!referee_.SinglesMayBeAnswered()) {
        std::erase_if(open, [](const OpenRequest& one) { return one.engine == "single"; });
    }
    for (std::uint32_t i = 1 + dice_.Below(4); i > 0; --i) {
        const std::uint32_t choice = dice_.Below(1000);
        const bool keep = dice_.Percent(15);
        const std::string text = PickText();
        const double score = dice_.Below(1000) / 8.0 - 10.0;
        const std::uint32_t raw = dice_.Below(4);
        if (open.empty()) {
            continue;
        }
        const OpenRequest request = open[choice % open.size()];
        Json::Value action;
        action["do"] = "speech-answer";
        action["engine"] = request.engine;
        action["request"] = Json::UInt64(request.number);
        action["result"] = text;
        action["score"] = score;
        action["raw_result"] = raw == 0   ? "[1]"
                               : raw == 1 ? "no JSON"
                               : raw == 2 ? ""
                                          : R"({"score":80,"parts":[1,2]})";
        action["error_code"] = static_cast<int>(raw) - 1;
        action["keep"] = keep;
        Act(action);
        if (!keep) {
            referee_.CloseRequest(request.number, request.engine);
            std::erase_if(open, [&](const OpenRequest& one) {
                return one.number == request.number && one.engine == request.engine;
            });
        }
    }
}

void Lesson::MoveReceiver() {
    Settle();
    Kind kind = PickKind();
    kind = kind == Kind::RV2 ? Kind::TQ1 : kind;
    const std::uint32_t what = dice_.Below(9);
    Json::Value action = Action(what <= 2   ? "plug"
                                : what == 3 ? "unplug"
                                : what <= 6 ? "link"
                                            : "io-error",
                                kind);
    if (what == 4 || what == 5) {
        action["state"] = what == 4 ? "down" : "up";
    } else if (what == 6) {
        action["connected"] = dice_.Percent(50);
    } else if (what > 6) {
        action["other"] = dice_.Percent(30);
        action["stays_down"] = dice_.Percent(30);
    }
    Act(action);
    Settle();
}

void Lesson::MoveStation() {
    Settle();
    Json::Value action;
    action["do"] = "station";
    action["notice"] = true;
    if (dice_.Percent(25)) {
        action["socket"] = dice_.Percent(50) ? "refuse" : "ok";
    } else {
        static const std::vector<std::string> states = {"up", "no-power", "no-usb"};
        station_ = station_ == "up" || dice_.Percent(20) ? dice_.Pick(states) : "up";
        action["state"] = station_;
    }
    Act(action);
    Settle();
}

void Lesson::BeginOrEndFault() {
    Settle();
    const Kind kind = PickKind();
    Place& place = places_[kind];
    Json::Value action;
    action["do"] = "fault";
    action["where"] = NameOf(kind);
    static const std::vector<std::string> words = {"intermittent", "duplicate", "wrong", "stuck", "garbage",
                                                   "reorder",      "delayed",   "slow",  "off"};
    const std::string word = dice_.Pick(words);
    const bool ends = !place.fault.empty();
    place.fault = ends ? "" : word;
    action["word"] = ends ? "none" : word;
    place.delay_ms = place.fault == "delayed" ? 20 : 0;
    if (!ends && (word == "delayed" || word == "slow")) {
        action["ms"] = word == "delayed" ? 20 : 3;
    }
    Act(action);
    Settle();
}

void Lesson::TellAbout() {
    Settle();
    Kind kind = PickKind();
    kind = kind == Kind::RV2 ? Kind::TQ2 : kind;
    Json::Value action = Action("device-info", kind);
    static const std::vector<std::string> texts = {
        R"({"UID":"u-1","SoftWare":"1.2","HardWare":"B","Company":"acme","Channel":"9","TX_POWER":"3"})",
        R"({"UID":"only"})",
        R"({"Channel":"-3"})",
        R"({"Channel":7,"Company":"none"})",
        R"({"Channel":"seven"})",
        "no JSON",
        "[1]"};
    action["text"] = dice_.Pick(texts);
    Act(action);
}

}  // namespace vdipc::soak
