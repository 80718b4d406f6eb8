#include "soak/Referee.h"

#include <algorithm>

namespace vdipc::soak {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{60};
/// A look at the station that gets no answer in time is repeated after ten seconds.
constexpr std::chrono::seconds kStationPatience{45};
/// Half of the time that single evaluation has.
constexpr double kSafeAgeMs = 1000.0;
constexpr double kTimersApartMs = 100.0;

Kind KindOf(const Json::Value& call) {
    const std::string object = call["object"].asString();
    for (const Kind kind : kAllKinds) {
        if (kind != Kind::RV2 && object.starts_with(std::string(NameOf(kind)) + " ")) {
            return kind;
        }
    }
    return Kind::RV2;
}

Json::Value Mark(const std::string& text) {
    Json::Value action;
    action["do"] = "log";
    action["text"] = text;
    return action;
}

std::string Shown(const Json::Value& value) {
    return value.isNull() ? "nothing" : tools::CompactJson(value);
}

}  // namespace

void Referee::Fail(const char* what, const Deviation& deviation) {
    throw Deviated(std::string(what) + "\n  expected: " + Shown(deviation.expected) +
                   "\n  seen:     " + Shown(deviation.seen));
}

void Referee::HostStarted() {
    model_.Restart();
    events_.Forget();
    requests_.Forget();
    open_.clear();
    engine_names_.clear();
    asked_at_.clear();
    nags_.clear();
    nagging_ = false;
    nag_credit_ = 0.0;
    Feed();
    Json::Value by_hand;
    by_hand["do"] = "speech";
    by_hand["mode"] = "hand";
    rig_.Do(by_hand);
}

void Referee::Book(const std::vector<Due>& due) {
    for (const Due& one : due) {
        if (one.request) {
            requests_.Expect(one.value, group_);
        } else {
            events_.Expect(one.value, one.value.isMember("device") ? group_ : 0);
        }
    }
    GrantNags(0.0);
}

// A station that stays down says so at every look, every ten seconds and at notices: more often it must not.
void Referee::GrantNags(double more) {
    const steady_clock::time_point now = steady_clock::now();
    const Json::Value nag = model_.Nag();
    const std::chrono::duration<double> since = now - granted_;
    granted_ = now;
    if (nag.isNull()) {
        nagging_ = false;
        return;
    }
    nag_credit_ =
        nagging_ ? nag_credit_ + more + since.count() / 10.0 : std::max(nag_credit_, 0.0) + more + 1.0;
    nagging_ = true;
    if (std::find(nags_.begin(), nags_.end(), nag) == nags_.end()) {
        nags_.push_back(nag);
    }
}

void Referee::LookAtHardware() {
    const Json::Value state = rig_.State();
    Hardware& hardware = model_.hardware;
    for (const Kind kind : kAllKinds) {
        if (kind == Kind::RV2) {
            continue;
        }
        const Json::Value& receiver = state["receivers"][NameOf(kind)];
        hardware.receivers[kind] = {receiver["connected"].asBool(), receiver["device_info"].asString()};
        for (const Json::Value& fault : state["faults"]) {
            if (fault["where"] == NameOf(kind) && fault["word"] == "garbage") {
                hardware.receivers[kind].about.clear();
            }
        }
    }
    const std::string station = state["station"]["state"].asString();
    hardware.station = station == "no-power" ? Hardware::Station::NoPower
                       : station == "no-usb" ? Hardware::Station::NoUsb
                                             : Hardware::Station::Up;
    hardware.socket_opens = state["station"]["socket"] != "refuse";
}

void Referee::Command(const std::string& json) {
    Feed();
    group_ = 0;
    if (json.find("\"init\"") != std::string::npos) {
        LookAtHardware();
    }
    rig_.TheClient().Send(json);
    commands_under_way_ = true;
    std::vector<Due> due;
    model_.Command(json, due);
    Book(due);
    // Keypads that introduce themselves at several receivers at once come as they come.
    group_ = ++groups_;
}

Json::Value Referee::Act(const Json::Value& action, bool loose) {
    if (commands_under_way_ && rig_.HasClient()) {
        rig_.TheClient().Ping();
        commands_under_way_ = false;
    }
    Feed();
    group_ = loose ? ++groups_ : 0;
    const Json::Value answer = rig_.Do(action);
    const int notices = answer["notices"].asInt();
    const std::string word = action["do"].asString();
    if (word == "station" || word == "plug" || word == "unplug" || word == "notice") {
        LookAtHardware();
        std::vector<Due> due;
        model_.LookAtStation(due);
        Book(due);
        GrantNags(notices);
        station_looked_at_ = true;
    }
    Feed();
    return answer;
}

void Referee::Feed(std::uint32_t wait_ms) {
    for (const Json::Value& call : rig_.NewCalls(wait_ms)) {
        const std::string name = call["call"].asString();
        if (name == "-> log handler") {
            marks_seen_.insert(call["args"]["text"].asString());
        } else if (name.starts_with("-> ")) {
            FeedCallback(name.substr(3), call);
            ++callbacks_;
        } else if (name == "Logger") {
            for (const Json::Value& pair : call["args"]["pairs"]) {
                if (pair[0] == "uniq_id" && !awaited_barrier_.empty() && pair[1] == awaited_barrier_) {
                    awaited_barrier_.clear();
                }
            }
        } else if (name == "recognize" || name == "evaluate") {
            FeedRequest(call);
        } else if (name == "SpeechRecognizer" || name == "SpeechEvaluator") {
            FeedEngine(call);
        }
    }
}

void Referee::FeedCallback(const std::string& name, const Json::Value& call) {
    const Kind kind = KindOf(call);
    const Json::Value& args = call["args"];
    std::vector<Due> due;
    if (name == "OnKeypadConnect") {
        const std::uint32_t keypad = args["ushDeviceId"].asUInt();
        if (args["bConnect"].asBool()) {
            model_.Bind(kind, keypad, due);
        } else {
            model_.Unbind(kind, keypad, due);
        }
    } else if (name == "OnBindCard") {
        model_.Bind(kind, args["newUid"].asUInt(), due);
    } else if (name == "OnUnbindCard") {
        model_.Unbind(kind, args["device_id"].asUInt(), due);
    } else if (name == "OnKeypadEvent" || name == "OnKeyEvent") {
        model_.Key(kind, args["ushDeviceId"].asUInt(), args["enKeyValue"].asInt(), due);
    } else if (name == "OnKeypadAudioEvent") {
        const std::uint32_t size = args["size"].asUInt();
        const Recording recording{size, args["valid"].asBool(), args["error"].asBool(), fillers_[size], 0.0};
        model_.Record(kind, args["ushDeviceID"].asUInt(), recording, due);
    } else if (name == "OnAudioDataReceived") {
        const Recording recording{args["second_size"].asUInt(), true, false, false,
                                  args["lost_package_rate"].asDouble()};
        model_.Record(kind, args["ushDeviceID"].asUInt(), recording, due);
    } else if (name == "OnDeviceConnectedChange") {
        LookAtHardware();
        model_.Link(kind, args["connected"].asBool(), due);
    } else if (name == "OnRecognizeCompleted" || name == "OnEvaluateCompleted") {
        FeedAnswer(call);
    }
    Book(due);
}

void Referee::FeedRequest(const Json::Value& call) {
    const Json::Value& args = call["args"];
    const std::string id = args["request_id"].asString();
    const std::string engine = engine_names_[call["object"].asString()];
    Json::Value seen;
    // What is due says "single" also where another engine does that by now; "offline" is a request made again.
    const bool again = requests_.Missing() && requests_.Missing()->expected["engine"] == "offline";
    if (again && std::find(repeatable_.begin(), repeatable_.end(), id) != repeatable_.end()) {
        requests_.ReplaceNext(model_.Again(id));
    }
    seen["engine"] = engine == model_.SingleEngine() && !again ? "single" : engine;
    seen["template"] = tools::ParseJsonText(id);
    if (seen["template"]["id"] == "") {
        seen["template"].removeMember("id");
    }
    if (!args["stems"].empty()) {
        seen["stems"] = args["stems"];
    }
    if (args["param"] != "") {
        seen["param"] = tools::ParseJsonText(args["param"].asString());
    }
    seen["size"] = args["audio_size"];
    if (const auto deviation = requests_.See(seen)) {
        Fail("a request to a speech engine is not as it must be", *deviation);
    }
    seen["engine"] = engine;
    model_.Asked(id, seen);
    open_.push_back({engine, args["request"].asUInt64(), id});
    asked_at_[id] = call["ms"].asDouble();
}

void Referee::FeedAnswer(const Json::Value& call) {
    const Json::Value& args = call["args"];
    SpeechResult result;
    result.text = args["result"].asString();
    result.score = static_cast<float>(args["score"].asDouble());
    result.raw = args["raw_result"].asString();
    result.start = args["start_time"].asInt64();
    result.end = args["end_time"].asInt64();
    std::vector<Due> due;
    model_.Answered(engine_names_[call["object"].asString()], args["request_id"].asString(), result, due);
    Book(due);
}

void Referee::FeedEngine(const Json::Value& call) {
    const std::string name = call["args"]["name"].asString();
    engine_names_[call["object"].asString()] = name;
    if (name != "offline") {
        return;
    }
    const std::vector<std::string> open = model_.OpenSingles();
    const bool late = std::any_of(open.begin(), open.end(), [&](const std::string& id) {
        return call["ms"].asDouble() - asked_at_[id] >= 1900.0;
    });
    if (model_.SingleEngine() == "offline" || !late) {
        throw Deviated("an offline engine was made although no single evaluation has waited for two seconds");
    }
    // Timers that were started almost at once fire in any order: each has a thread of the system's.
    repeatable_.clear();
    for (const std::string& id : open) {
        if (asked_at_[id] - asked_at_[open.front()] < kTimersApartMs) {
            repeatable_.push_back(id);
        }
    }
    model_.GoOffline();
    requests_.ExpectNext(model_.Again(open.front()));
}

void Referee::CloseRequest(std::uint64_t number, const std::string& engine) {
    std::erase_if(open_,
                  [&](const OpenRequest& one) { return one.number == number && one.engine == engine; });
}

bool Referee::SinglesMayBeAnswered() {
    if (model_.SingleEngine() == "offline") {
        return true;
    }
    const double now = rig_.State()["ms"].asDouble();
    const std::vector<std::string> open = model_.OpenSingles();
    return std::all_of(open.begin(), open.end(),
                       [&](const std::string& id) { return now - asked_at_[id] < kSafeAgeMs; });
}

void Referee::WaitForFallback() {
    const auto deadline = steady_clock::now() + kPatience;
    while (model_.SingleEngine() != "offline") {
        if (steady_clock::now() > deadline) {
            throw Deviated("a single evaluation has waited for two seconds, and no offline engine is made");
        }
        Feed(100);
    }
    Barrier();
}

// A command that reaches a keypad nobody has. Its telemetry goes out when all tasks before it have run.
void Referee::Barrier() {
    awaited_barrier_ = "barrier-" + std::to_string(++barriers_);
    rig_.TheClient().Send(R"({"command":"text","device":"64999","id":")" + awaited_barrier_ + R"("})");
    const auto deadline = steady_clock::now() + kPatience;
    while (!awaited_barrier_.empty()) {
        if (steady_clock::now() > deadline) {
            throw std::runtime_error("the library doesn't come to a command for a minute");
        }
        Feed(200);
    }
}

// Four jobs in a row go to the four threads that the classroom calls from; twice, because a job can make another.
void Referee::FlushLanes(std::uint32_t delay_ms) {
    Json::Value actions(Json::arrayValue);
    for (int i = 0; i < 8; ++i) {
        actions.append(Mark("flush"));
    }
    if (delay_ms == 0) {
        rig_.Do(actions);
        return;
    }
    Json::Value script;
    script["do"] = "script";
    std::set<std::string> wanted;
    for (int i = 0; i < 8; ++i) {
        const std::string text = "mark " + std::to_string(++marks_);
        Json::Value step = Mark(text);
        step["at_ms"] = delay_ms;
        script["steps"].append(step);
        wanted.insert(text);
    }
    rig_.Do(script);
    const auto deadline = steady_clock::now() + kPatience;
    while (!std::includes(marks_seen_.begin(), marks_seen_.end(), wanted.begin(), wanted.end())) {
        if (steady_clock::now() > deadline) {
            throw std::runtime_error("the classroom's script doesn't run");
        }
        Feed(200);
    }
    marks_seen_.clear();
}

void Referee::Quiet(std::uint32_t delay_ms) {
    FlushLanes(delay_ms);
    Feed();
}

void Referee::Settle(std::uint32_t delay_ms) {
    std::size_t before = 0;
    do {
        before = callbacks_;
        Barrier();
        FlushLanes(delay_ms);
        Feed();
    } while (callbacks_ != before);
    if (!SinglesMayBeAnswered()) {
        WaitForFallback();
    }
    rig_.TheClient().Ping();
    commands_under_way_ = false;
    Compare();
    const auto deadline = steady_clock::now() + kStationPatience;
    while (station_looked_at_ && events_.Missing() && steady_clock::now() < deadline) {
        rig_.TheClient().WaitForEvent(std::chrono::milliseconds(200));
        Compare();
    }
    station_looked_at_ = false;
    if (const auto missing = events_.Missing()) {
        Fail("an event has not come", *missing);
    }
    if (const auto missing = requests_.Missing()) {
        Fail("a request to a speech engine was not made", *missing);
    }
}

void Referee::Compare() {
    GrantNags(0.0);
    for (Json::Value& event : rig_.TheClient().TakeEvents()) {
        CompareOne(std::move(event));
    }
    nags_.clear();
    if (!nagging_) {
        nag_credit_ = 0.0;
    }
    GrantNags(0.0);
}

void Referee::CompareOne(Json::Value event) {
    const std::string id = event["id"].asString();
    const bool nameless = event["event"] == "voice-record";
    if (nameless ? !id.empty() : id.size() != 36 || !ids_.insert(id).second) {
        Fail("an event's id is not one of its own", {"36 characters that no other event had", event});
    }
    event.removeMember("id");
    const auto deviation = events_.See(event);
    if (!deviation) {
        return;
    }
    if (std::find(nags_.begin(), nags_.end(), event) != nags_.end() && nag_credit_ >= 1.0) {
        nag_credit_ -= 1.0;
        return;
    }
    Fail("an event is not what had to come now", *deviation);
}

void Referee::LoseClient() {
    Feed();
    rig_.TheClient().Ping();
    commands_under_way_ = false;
    Compare();
    events_.Forget();
    rig_.LoseClient();
    Feed();
    // What came of tasks that ran meanwhile has gone to nobody.
    events_.Forget();
    group_ = 0;
}

void Referee::CheckMisuse() {
    const Json::Value misuse = rig_.State()["misuse"];
    if (!misuse.empty()) {
        throw Deviated("a closed library was misused: " + tools::CompactJson(misuse));
    }
}

void Referee::CheckSavedKeypads() {
    const Json::Value saved = rig_.SavedKeypads();
    for (const Kind kind : kAllKinds) {
        Json::Value expected;
        for (const std::string& device : model_.Active(kind)) {
            expected.append(device);
        }
        const Json::Value seen = saved.isObject() ? saved[NameOf(kind)] : Json::Value();
        if (seen != expected) {
            Fail("devices.json is not as it must be", {expected, seen});
        }
    }
}

}  // namespace vdipc::soak
