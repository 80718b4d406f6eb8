#include "soak/Deck.h"

#include <algorithm>

namespace vdipc::soak {
namespace {

/// Takes a key into an answer; true when the client hears of it.
bool Takes(const std::string& type, int value, Answer& answer) {
    static const char* const words[] = {"", "A", "B", "C", "D", "T", "F", "T", "F", "G"};
    const std::string word = value >= 1 && value <= 9 ? words[value] : "";
    const bool letter = value >= 1 && value <= 4;
    const bool verdict = value >= 5 && value <= 8;
    if (type == "single-choice" || type == "red-envelope" || type == "true-false") {
        const bool counts = type == "single-choice" ? letter : type == "red-envelope" ? value == 9 : verdict;
        if (counts) {
            answer.keys = word;
            answer.final = true;
        }
        return counts;
    }
    if (type == "continous-red-envelope") {
        if (value == 9) {
            answer.keys = word;
        }
        return value == 9;
    }
    if (type == "general" || type == "multiple-question-single-choice") {
        answer.keys = word;
        return true;
    }
    if (type == "multiple-choice") {
        if (letter && answer.keys.find(word) == std::string::npos) {
            answer.keys += word;
        } else if (verdict && word == "T") {
            answer.final = true;
        } else if (verdict) {
            answer.keys.clear();
        }
        return answer.final;
    }
    return false;
}

Json::Value Event(const char* name, const std::string& device) {
    Json::Value event;
    event["event"] = name;
    event["device"] = device;
    return event;
}

int ErrorOf(Kind kind, const Recording& recording) {
    if (kind != Kind::RV2) {
        return 0;
    }
    constexpr std::uint32_t shortest = 3072;
    return recording.flagged ? -202 : recording.size < shortest ? -203 : recording.filler ? -201 : 0;
}

/// The event of a recording before anybody has judged it.
Json::Value Blank(const char* name, const std::string& device, const Question& question, std::uint32_t keypad,
                  double lost) {
    Json::Value event = Event(name, device);
    event["extra"] = FileName(question.prefix, keypad);
    event["custom"] = question.custom;
    event["data"]["lost_package_rate"] = lost;
    const std::string word = name;
    if (word == "evaluated") {
        event["data"]["error"] = 0;
    } else if (word != "voice-record") {
        event["key"] = "";
        event["data"]["start_time"] = 0;
        event["data"]["end_time"] = 0;
        event["data"]["result"] = "";
        event["data"]["score"] = 0;
    }
    return event;
}

}  // namespace

const char* NameOf(Kind kind) {
    static const char* const names[] = {"TQ1", "TQ2", "RV1", "RV2", "LW"};
    return names[static_cast<int>(kind)];
}

bool IsVoiceType(const std::string& type) {
    static const std::set<std::string> types = {
        "audio", "audio-single", "audio-multiple", "audio-multiple-chn", "evaluation", "voice-record"};
    return types.contains(type);
}

Json::Value FileName(const std::string& prefix, std::uint32_t keypad) {
    Json::Value name;
    name["file"] = prefix + std::to_string(keypad) + "-";
    return name;
}

void Deck::Ask(const std::string& device, const Question& question) {
    questions_[device] = question;
    if (device != "0") {
        answers_.erase(device);
        return;
    }
    for (const std::string& each : active_) {
        questions_[each] = question;
    }
    answers_.clear();
}

void Deck::Stop(const std::string& device) {
    if (const auto found = questions_.find(device); found != questions_.end()) {
        found->second.open = false;
    }
    if (device != "0") {
        answers_.erase(device);
        return;
    }
    answers_.clear();
    for (const std::string& each : active_) {
        questions_[each].open = false;
    }
}

void Deck::Drop(const std::string& device) {
    if (device != "0") {
        active_.erase(device);
        answers_.erase(device);
        if (const auto found = questions_.find(device); found != questions_.end()) {
            found->second.open = false;
        }
        dropped_.insert(device);
    }
    // Refused for all keypads, but the LW's own consequence follows even then.
    one_for_all_ = one_for_all_ || kind_ == Kind::LW;
}

void Deck::Activate(const std::string& device, std::vector<Due>& due) {
    active_.insert(device);
    dropped_.erase(device);
    due.push_back({false, Event("activated", device)});
}

void Deck::TakeOver(const std::string& device) {
    const auto all = questions_.find("0");
    if (all == questions_.end()) {
        return;
    }
    Question& own = questions_[device];
    const Json::Value param = own.param;
    own = all->second;
    own.param = param;
    own.open = true;
}

void Deck::Bind(std::uint32_t keypad, std::vector<Due>& due) {
    const std::string device = std::to_string(keypad);
    if (kind_ == Kind::LW) {
        TakeOver(device);
    }
    Activate(device, due);
}

void Deck::Unbind(std::uint32_t keypad, std::vector<Due>& due) {
    const std::string device = std::to_string(keypad);
    active_.erase(device);
    dropped_.erase(device);
    due.push_back({false, Event("inactivated", device)});
}

void Deck::Key(std::uint32_t keypad, int value, std::vector<Due>& due) {
    const std::string device = std::to_string(keypad);
    if (kind_ == Kind::RV1) {
        Activate(device, due);
    }
    if (one_for_all_ && value == 9 && dropped_.contains(device)) {
        TakeOver(device);
        Activate(device, due);
        return;
    }
    const auto question = questions_.find(device);
    if (question == questions_.end() || !question->second.open) {
        return;
    }
    const std::string& custom = question->second.custom;
    const auto former = answers_.find(device);
    if (former != answers_.end() && former->second.final && former->second.custom == custom) {
        return;
    }
    Answer& answer = answers_[device];
    answer.custom = custom;
    if (Takes(question->second.type, value, answer)) {
        Json::Value event = Event("key-pressed", device);
        event["key"] = answer.keys;
        event["data"] = Json::Value();
        event["extra"] = "";
        event["custom"] = custom;
        due.push_back({false, event});
    }
}

void Deck::Record(std::uint32_t keypad, const Recording& recording, std::vector<Due>& due) {
    const std::string device = std::to_string(keypad);
    const auto found = questions_.find(device);
    if (!recording.valid || found == questions_.end() || !found->second.open) {
        return;
    }
    const Question& question = found->second;
    const std::string& type = question.type;
    const int error = ErrorOf(kind_, recording);
    const double lost = kind_ == Kind::RV2 ? 0.0 : recording.lost;
    const bool multiple = type == "audio-multiple" || type == "audio-multiple-chn";
    if (type == "voice-record") {
        due.push_back({false, Blank("voice-record", device, question, keypad, lost)});
        return;
    }
    Json::Value request;
    if (type == "audio") {
        request["engine"] = "recognizer";
        request["template"] = Blank("audio-recognized", device, question, keypad, lost);
    } else if (type == "audio-single" || multiple) {
        if (question.stems.empty()) {
            return;
        }
        request["engine"] = type == "audio-single"     ? "single"
                            : type == "audio-multiple" ? "multiple"
                                                       : "multiple-chn";
        request["template"] = Blank("voice-evaluated", device, question, keypad, lost);
        for (const std::string& stem : question.stems) {
            request["stems"].append(stem);
        }
    } else if (type == "evaluation") {
        if (question.param.isNull()) {
            return;
        }
        request["engine"] = "general";
        request["template"] = Blank("evaluated", device, question, keypad, lost);
        request["param"] = question.param;
    } else {
        return;
    }
    if (error != 0 && type != "audio") {
        Json::Value event = request["template"];
        event["data"][type == "evaluation" ? "error" : "score"] = error;
        due.push_back({false, event});
        return;
    }
    request["size"] = recording.size;
    due.push_back({true, request});
}

bool Deck::StillAsks(const std::string& device, const std::string& custom) const {
    const auto found = questions_.find(device);
    return found != questions_.end() && found->second.open && found->second.custom == custom;
}

std::string Deck::OpenType(const std::string& device) const {
    const auto found = questions_.find(device);
    return found != questions_.end() && found->second.open ? found->second.type : "";
}

}  // namespace vdipc::soak
