// How each step of a lesson is played.
#include "soak/Lesson.h"

#include <algorithm>

namespace vdipc::soak {
namespace {

Json::Value Action(const char* what, Kind kind) {
    Json::Value action;
    action["do"] = what;
    action["kind"] = NameOf(kind);
    return action;
}

}  // namespace

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
    const std::string type = dice_.Percent(65) ? dice_.Pick(kKeyTypes) : dice_.Pick(kVoiceTypes);
    Ask(PickQuestion(device, type, step_, dice_));
}

void Lesson::Ask(const Json::Value& question) {
    last_type_ = question["type"].asString();
    Command(question);
}

/// A question that those who answer next have been asked.
void Lesson::AskFirst(const Json::Value& keypads, const std::string& type) {
    Ask(PickQuestion(dice_.Percent(50) ? "0" : keypads[0].asString(), type, step_, dice_));
}

void Lesson::StopOrDrop() {
    const bool drops = dice_.Percent(45);
    Command(Bare(drops ? "drop" : "stop", dice_.Percent(drops ? 5 : 40) ? "0" : PickDevice()));
}

void Lesson::TextOrSignal() {
    const bool text = dice_.Percent(50);
    const std::string device = dice_.Percent(40) ? "0" : PickDevice();
    if (!text) {
        Command(PickSignal(device, dice_));
        return;
    }
    Json::Value command = Bare("text", device);
    command["row1"] = PickText(dice_);
    command["row3"] = PickText(dice_);
    Command(command);
}

void Lesson::Nonsense() {
    Command(PickNonsense(dice_));
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
    const Json::Value keypads = PickKeypads(kind, 8);
    if (dice_.Percent(35) && rig_.HasClient()) {
        AskFirst(keypads, dice_.Percent(20) ? "multiple-choice" : dice_.Pick(kKeyTypes));
    }
    const std::string asked = referee_.TheModel().OpenType(kind, keypads[0].asString());
    Press(kind, keypads, PickKeys(asked.empty() ? last_type_ : asked, dice_.Branch()));
}

void Lesson::Press(Kind kind, const Json::Value& keypads, const std::vector<int>& keys) {
    Json::Value action = Action("key", kind);
    action["keypads"] = keypads;
    for (const int key : keys) {
        action["key"].append(key);
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
    const char* const what = dice_.Percent(70) ? "connect" : "leave";
    Move(what, kind, PickKeypads(kind, 8));
}

void Lesson::Move(const char* what, Kind kind, const Json::Value& keypads) {
    Json::Value action = Action(what, kind);
    action["keypads"] = keypads;
    const bool loose = dice_.Percent(30);
    if (loose) {
        action["together"] = true;
    }
    Act(action, loose);
    SettleIfLate(kind);
}

void Lesson::Record() {
    const Kind kind = dice_.Percent(25) ? Kind::RV2 : PickKind();
    const Json::Value keypads = PickKeypads(kind, 3);
    if (dice_.Percent(70)) {
        AskFirst(keypads, dice_.Pick(kVoiceTypes));
    }
    RecordOn(kind, keypads);
    if (dice_.Percent(30)) {
        AnswerSpeech();
    }
}

void Lesson::RecordOn(Kind kind, const Json::Value& keypads) {
    Json::Value action = Action("audio", kind);
    action["keypads"] = keypads;
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
}

void Lesson::AnswerSpeech() {
    Settle();
    Answer(referee_.OpenRequests());
}

/// Answers some of them, in any order, and some twice.
void Lesson::Answer(const std::vector<OpenRequest>& requests) {
    std::vector<OpenRequest> open = requests;
    if (!referee_.SinglesMayBeAnswered()) {
        std::erase_if(open, [](const OpenRequest& one) { return one.engine == "single"; });
    }
    for (std::uint32_t i = 1 + dice_.Below(4); i > 0; --i) {
        const std::uint32_t choice = dice_.Below(1000);
        const bool keep = dice_.Percent(15);
        const std::string text = PickText(dice_);
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
