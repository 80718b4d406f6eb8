#include "soak/Model.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace vdipc::soak {
namespace {

Json::Value ParsedObject(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    const bool parsed = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    return parsed && value.isObject() ? value : Json::Value();
}

std::string TextOr(const Json::Value& object, const char* key, const std::string& otherwise) {
    return object.isObject() && object[key].isString() ? object[key].asString() : otherwise;
}

bool Chosen(const std::string& choice, Kind kind) {
    const bool voice = kind == Kind::TQ2 || kind == Kind::RV2;
    return choice == "any" || choice == (voice ? "audio" : "non-audio");
}

bool IsQuestionType(const std::string& type) {
    static const std::set<std::string> types = {"single-choice",
                                                "multiple-choice",
                                                "red-envelope",
                                                "continous-red-envelope",
                                                "true-false",
                                                "general",
                                                "multiple-question-single-choice"};
    return types.contains(type) || IsVoiceType(type);
}

Question ReadQuestion(const Json::Value& command) {
    Question question;
    question.open = true;
    question.type = command["type"].asString();
    question.custom = TextOr(command, "custom", "");
    const Json::Value& context = command["context"];
    if (context.isObject()) {
        question.prefix = TextOr(context, "audio-file-name-prefix", "");
        question.param = context["param"].isObject() ? context["param"] : Json::Value();
        if (context["stems"].isArray()) {
            for (const Json::Value& stem : context["stems"]) {
                if (stem.isString()) {
                    question.stems.push_back(stem.asString());
                }
            }
        }
    }
    return question;
}

Json::Value Bare(const char* name) {
    Json::Value event;
    event["event"] = name;
    return event;
}

const char* Reason(int status) {
    return status == 0 ? "no-power" : status == 1 ? "not-connected" : "ip-not-set";
}

Json::Value Removed(int status) {
    Json::Value event = Bare("removed");
    event["info"] = Reason(status);
    return event;
}

}  // namespace

void Model::Restart() {
    std::map<Kind, Deck> fresh;
    for (const Kind kind : kAllKinds) {
        Deck deck(kind);
        if (const auto former = decks_.find(kind); former != decks_.end()) {
            deck.Remember(former->second.Active());
        }
        fresh.emplace(kind, deck);
        status_[kind] = -2;
    }
    decks_ = std::move(fresh);
    told_.clear();
    choice_.clear();
    watches_station_ = false;
    single_engine_ = "single";
    requests_.clear();
    evaluations_.clear();
}

std::vector<Kind> Model::Usable() const {
    std::vector<Kind> usable;
    for (const Kind kind : {Kind::TQ1, Kind::RV1, Kind::LW, Kind::TQ2, Kind::RV2}) {
        if (Chosen(choice_, kind) && status_.at(kind) == -1) {
            usable.push_back(kind);
        }
    }
    return usable;
}

Json::Value Model::Inited() const {
    const std::vector<Kind> usable = Usable();
    Json::Value event = Bare("device-inited");
    event["ready"] = !usable.empty();
    event["avaliable-device"] = Json::Value();
    event["avaliable-device-info"] = Json::Value();
    for (const Kind kind : usable) {
        event["avaliable-device"].append(NameOf(kind));
        const auto found = told_.find(kind);
        const Told told = found == told_.end() ? Told() : found->second;
        Json::Value& info = event["avaliable-device-info"][NameOf(kind)];
        info["uid"] = told.uid;
        info["software-version"] = told.software;
        info["hardware-version"] = told.hardware;
        info["company"] = told.company;
        info["channel"] = told.channel;
        info["tx-power"] = told.tx_power;
    }
    if (usable.empty()) {
        // The base station alone gives reasons.
        event["info"] = Reason(Chosen(choice_, Kind::RV2) ? status_.at(Kind::RV2) : 1);
    }
    return event;
}

Json::Value Model::Nag() const {
    return watches_station_ && status_.at(Kind::RV2) != -1 && Usable().empty() ? Inited() : Json::Value();
}

void Model::Command(const std::string& json, std::vector<Due>& due) {
    const Json::Value command = ParsedObject(json);
    const std::string word = TextOr(command, "command", "");
    if (word == "init") {
        const std::string choice = TextOr(command, "preferred-device-type", "");
        if (choice == "any" || choice == "audio" || choice == "non-audio") {
            Init(choice, due);
        }
        return;
    }
    if (Usable().empty() || !command["device"].isString()) {
        return;
    }
    const std::string device = command["device"].asString();
    for (auto& [kind, deck] : decks_) {
        if (word == "ask" && IsQuestionType(TextOr(command, "type", ""))) {
            deck.Ask(device, ReadQuestion(command));
        } else if (word == "stop") {
            deck.Stop(device);
        } else if (word == "drop") {
            deck.Drop(device);
        }
    }
}

void Model::Init(const std::string& choice, std::vector<Due>& due) {
    choice_ = choice;
    watches_station_ = false;
    for (const Kind kind : kAllKinds) {
        if (kind != Kind::RV2 && Chosen(choice, kind)) {
            status_[kind] = hardware.receivers[kind].connected ? -1 : 1;
            ReadAbout(kind);
        }
    }
    if (Chosen(choice, Kind::RV2)) {
        StartStation();
    }
    due.push_back({false, Inited()});
}

void Model::StartStation() {
    const Hardware::Station station = hardware.station;
    watches_station_ = true;
    status_[Kind::RV2] = station == Hardware::Station::NoPower ? 0
                         : station == Hardware::Station::NoUsb ? 1
                         : hardware.socket_opens               ? -1
                                                               : 2;
}

void Model::ReadAbout(Kind kind) {
    if (status_[kind] != -1) {
        return;
    }
    Told& told = told_[kind];
    const Json::Value about = ParsedObject(hardware.receivers[kind].about);
    told.uid = TextOr(about, "UID", told.uid);
    told.software = TextOr(about, "SoftWare", told.software);
    told.hardware = TextOr(about, "HardWare", told.hardware);
    told.company = TextOr(about, "Company", told.company);
    told.channel = TextOr(about, "Channel", told.channel);
    told.tx_power = TextOr(about, "TX_POWER", told.tx_power);
    if (kind != Kind::TQ2) {
        return;
    }
    if (hardware.channel.value_or(-1) >= 0) {
        told.channel = std::to_string(*hardware.channel);
    } else if (const int own = std::atoi(told.channel.c_str()); own >= 0) {
        hardware.channel = own;
    }
}

void Model::Link(Kind kind, bool there, std::vector<Due>& due) {
    status_[kind] = there && hardware.receivers[kind].connected ? -1 : 1;
    if (status_[kind] == -1) {
        ReadAbout(kind);
        due.push_back({false, Bare("arrived")});
    } else if (!there) {
        due.push_back({false, Removed(1)});
    }
    due.push_back({false, Inited()});
}

void Model::LookAtStation(std::vector<Due>& due) {
    if (!watches_station_) {
        return;
    }
    const int former = status_[Kind::RV2];
    if (hardware.station != Hardware::Station::Up || former != -1) {
        StartStation();
    }
    const int now = status_[Kind::RV2];
    if (now == former) {
        return;
    }
    if (now == -1) {
        due.push_back({false, Bare("arrived")});
    } else if (former == -1) {
        due.push_back({false, Removed(now)});
    }
    due.push_back({false, Inited()});
}

void Model::Asked(const std::string& id, const Json::Value& request) {
    requests_.emplace_back(id, request);
    if (request["engine"] != "recognizer") {
        evaluations_.insert(request["template"]["extra"].asString());
    }
}

std::vector<std::string> Model::OpenSingles() const {
    std::vector<std::string> open;
    for (const auto& [id, request] : requests_) {
        if (request["engine"] == "single" && evaluations_.contains(request["template"]["extra"].asString())) {
            open.push_back(id);
        }
    }
    return open;
}

Json::Value Model::Again(const std::string& id) const {
    const auto open =
        std::find_if(requests_.begin(), requests_.end(), [&id](const auto& one) { return one.first == id; });
    Json::Value again = open->second;
    again["engine"] = "offline";
    return again;
}

void Model::Answered(const std::string& engine, const std::string& id, const SpeechResult& result,
                     std::vector<Due>& due) {
    const auto request =
        std::find_if(requests_.begin(), requests_.end(), [&id](const auto& one) { return one.first == id; });
    const bool retired = (engine == "single" || engine == "offline") && engine != single_engine_;
    if (request == requests_.end() || retired) {
        return;
    }
    Json::Value event = request->second["template"];
    if (engine != "recognizer" && evaluations_.erase(event["extra"].asString()) == 0) {
        return;
    }
    const bool stands = std::any_of(decks_.begin(), decks_.end(), [&event](const auto& one) {
        return one.second.StillAsks(event["device"].asString(), event["custom"].asString());
    });
    if (!stands) {
        return;
    }
    Json::Value& data = event["data"];
    if (engine == "general") {
        if (const Json::Value raw = ParsedObject(result.raw); raw.isObject()) {
            data["raw_result"] = raw;
        }
    } else {
        data["result"] = result.text;
        data["start_time"] = Json::Int64(result.start);
        data["end_time"] = Json::Int64(result.end);
        data["score"] = engine == "recognizer" ? 0 : static_cast<int>(result.score);
    }
    due.push_back({false, event});
}

}  // namespace vdipc::soak
