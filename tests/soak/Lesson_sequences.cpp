// Steps that only show something when they follow one another.
#include "soak/Lesson.h"

namespace vdipc::soak {

/// Keypads that nobody hears show nothing.
void Lesson::PlugIn(Kind kind) {
    if (kind == Kind::RV2 || dice_.Percent(30)) {
        return;
    }
    Settle();
    Json::Value action;
    action["do"] = "plug";
    action["kind"] = NameOf(kind);
    Act(action);
    Settle();
}

/// A question for all, and keypads that come when it is asked already, or closed again.
void Lesson::ComeLate() {
    const Kind kind = dice_.Percent(80) ? Kind::LW : PickKind();
    PlugIn(kind);
    const Json::Value keypads = PickKeypads(kind, 3);
    const std::string device = keypads[0].asString();
    if (dice_.Percent(40)) {
        // What is left of their own question shows when they have taken over the other.
        Json::Value own = PickQuestion(device, dice_.Pick(kJudgedTypes), step_, dice_);
        GiveMatter(own, 0);
        Ask(own);
    }
    if (dice_.Percent(75)) {
        Move("leave", kind, keypads);
    }
    const std::vector<std::string> types = {"evaluation", "evaluation", "evaluation", dice_.Pick(kVoiceTypes),
                                            dice_.Pick(kKeyTypes)};
    Json::Value question = PickQuestion("0", dice_.Pick(types), step_, dice_);
    GiveMatter(question, step_);
    Ask(question);
    const std::string type = question["type"].asString();
    if (dice_.Percent(30)) {
        // An answer to their own is none to the other, unless both have one custom text.
        const std::string own = IsVoiceType(type) ? dice_.Pick(kKeyTypes) : type;
        Ask(PickQuestion(device, own, step_, dice_));
        Press(kind, keypads, PickKeys(own, dice_.Branch()));
    }
    if (dice_.Percent(30)) {
        Command(Bare("stop", "0"));
    }
    Move("connect", kind, keypads);
    if (!IsVoiceType(type)) {
        Press(kind, keypads, PickKeys(type, dice_.Branch()));
        return;
    }
    RecordOn(kind, keypads);
    AnswerSpeech();
}

/// Keypads that the client drops, and that press the key with which those of one kind come back.
void Lesson::DropAndComeBack() {
    const Kind kind = dice_.Percent(75) ? Kind::LW : PickKind();
    PlugIn(kind);
    const Json::Value keypads = PickKeypads(kind, 4);
    if (dice_.Percent(60)) {
        Move("connect", kind, keypads);
    }
    const std::string type = dice_.Percent(50) ? "general" : dice_.Pick(kKeyTypes);
    const bool before = dice_.Percent(60);
    const bool after = dice_.Percent(25);
    if (before) {
        Ask(PickQuestion("0", type, step_, dice_));
    }
    for (const Json::Value& keypad : keypads) {
        if (dice_.Percent(85)) {
            Command(Bare("drop", keypad.asString()));
        }
    }
    if (after) {
        Ask(PickQuestion("0", type, step_, dice_));
    }
    std::vector<int> keys = PickKeys(type, dice_.Branch());
    const std::uint32_t at = dice_.Below(2);
    keys.insert(keys.begin() + at, 9);
    for (const int key : PickKeys(type, dice_.Branch())) {
        keys.push_back(key);
    }
    Press(kind, keypads, keys);
}

/// Recordings whose question ends, or makes way for another, before the engines have answered.
void Lesson::AnswerTooLate() {
    const Kind kind = dice_.Percent(30) ? Kind::RV2 : PickKind();
    const Json::Value keypads = PickKeypads(kind, 2);
    const std::string device = keypads[0].asString();
    const bool all = dice_.Percent(50);
    Settle();
    Json::Value question = PickQuestion(all ? "0" : device, dice_.Pick(kJudgedTypes), step_, dice_);
    GiveMatter(question, step_);
    const std::size_t former = referee_.OpenRequests().size();
    Ask(question);
    RecordOn(kind, keypads);
    const std::uint32_t end = dice_.Below(6);
    const std::vector<std::string> types = {dice_.Pick(kKeyTypes), dice_.Pick(kVoiceTypes)};
    Json::Value other = PickQuestion(dice_.Percent(50) ? "0" : device, dice_.Pick(types), step_, dice_);
    if (end < 3) {
        Command(Bare(end == 2 ? "drop" : "stop", end == 0 ? "0" : device));
    } else if (end < 5) {
        // The custom text alone tells one question from another.
        other["custom"] = end == 3 ? Json::Value("another") : question["custom"];
        if (other["custom"].isNull()) {
            other.removeMember("custom");
        }
        Ask(other);
    }
    Settle();
    const std::vector<OpenRequest>& open = referee_.OpenRequests();
    const std::size_t first = former < open.size() ? former : 0;
    Answer({open.begin() + static_cast<std::ptrdiff_t>(first), open.end()});
}

}  // namespace vdipc::soak
