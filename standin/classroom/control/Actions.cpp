#include "classroom/control/Actions.h"

#include "classroom/control/ActionReader.h"
#include "classroom/control/ActionTable.h"
#include "classroom/receivers/Receiver.h"
#include "classroom/speech/Speech.h"
#include "classroom/station/Station.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>
#include <utility>

namespace vdipc::classroom {
namespace {

struct Entry {
    const char* name;
    Outcome (*act)(World& world, ActionReader& reader);
};

constexpr Entry kActions[] = {{"connect", &Connect},
                              {"leave", &Leave},
                              {"key", &PressKey},
                              {"audio", &Record},
                              {"station", &ChangeStation},
                              {"plug", &Plug},
                              {"unplug", &Unplug},
                              {"link", &ChangeLink},
                              {"io-error", &FailIO},
                              {"notice", &SendRawNotice},
                              {"device-info", &ChangeDeviceInfo},
                              {"get-device-info", &TellDeviceInfo},
                              {"channel", &ChangeChannel},
                              {"event", &TellEvent},
                              {"log", &WriteLog},
                              {"speech", &ChangeSpeech},
                              {"speech-answer", &AnswerSpeech},
                              {"fault", &BeginFault},
                              {"reset-saw", &ResetSaw},
                              {"reset-misuse", &ResetMisuse}};

std::string KnownActions() {
    std::string names;
    for (const Entry& entry : kActions) {
        names += std::string(entry.name) + ", ";
    }
    return names + "script";
}

}  // namespace

Json::Value Actions::Do(const Json::Value& actions) {
    if (!actions.isArray()) {
        return DoOne(actions);
    }
    Json::Value answer;
    answer["ok"] = true;
    answer["callbacks"] = 0;
    answer["notices"] = 0;
    for (const Json::Value& action : actions) {
        const Json::Value one = DoOne(action);
        for (const char* const sum : {"callbacks", "notices"}) {
            answer[sum] = answer[sum].asInt() + one[sum].asInt();
        }
    }
    return answer;
}

Json::Value Actions::DoOne(const Json::Value& action) {
    ActionReader reader(action);
    const std::string name = reader.Text("do");
    if (name == "script") {
        return RunScript(action);
    }
    const auto* const entry =
        std::find_if(std::begin(kActions), std::end(kActions),
                     [&name](const Entry& candidate) { return name == candidate.name; });
    if (entry == std::end(kActions)) {
        throw ActionError("there is no action '" + name + "'; there are " + KnownActions());
    }
    Outcome outcome;
    try {
        outcome = entry->act(world_, reader);
    } catch (const ActionError&) {
        throw;
    } catch (const std::invalid_argument& error) {
        throw ActionError(error.what());
    }
    Json::Value answer;
    answer["ok"] = true;
    answer["callbacks"] = outcome.callbacks;
    answer["notices"] = outcome.notices;
    return answer;
}

Json::Value Actions::RunScript(const Json::Value& action) {
    ActionReader reader(action);
    reader.Text("do");
    const Json::Value& steps = reader.Raw("steps");
    reader.Finish();
    if (!steps.isArray()) {
        throw ActionError("\"steps\" must be an array of actions, each with \"at_ms\"");
    }
    std::vector<std::pair<std::int64_t, Json::Value>> timed;
    for (const Json::Value& step : steps) {
        ActionReader step_reader(step);
        const std::int64_t at = step_reader.Number("at_ms", 0, 3600000);
        Json::Value bare = step;
        bare.removeMember("at_ms");
        timed.emplace_back(at, bare);
    }
    std::stable_sort(timed.begin(), timed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    const std::lock_guard lock(mutex_);
    scripts_.emplace_back();
    Script& script = scripts_.back();
    script.number = static_cast<int>(scripts_.size());
    script.steps = timed.size();
    const auto begin = std::chrono::steady_clock::now();
    std::thread([this, &script, begin, timed = std::move(timed)] {
        for (const auto& [at, step] : timed) {
            std::this_thread::sleep_until(begin + std::chrono::milliseconds(at));
            std::string error;
            try {
                Do(step);
            } catch (const std::exception& failure) {
                error = CompactJson(step) + ": " + failure.what();
            }
            const std::lock_guard script_lock(mutex_);
            ++script.done;
            if (!error.empty()) {
                script.errors.push_back(error);
            }
        }
    }).detach();
    Json::Value answer;
    answer["ok"] = true;
    answer["script"] = script.number;
    return answer;
}

Json::Value Actions::State(bool keypads, const std::optional<Kind>& kind,
                           const std::optional<std::uint32_t>& number) {
    Json::Value state;
    state["simulated"] = true;
    state["seed"] = Json::UInt64(world_.TheSettings().seed);
    state["ms"] = world_.journal.Milliseconds();
    state["saw"] = Json::UInt64(world_.journal.Last());
    state["log_handler"] = world_.HasLogHandler();
    state["speech"] = world_.TheSpeech().ToJson();
    state["faults"] = Json::Value(Json::arrayValue);
    state["keypads"] = Json::Value(Json::arrayValue);
    state["scripts"] = Json::Value(Json::arrayValue);
    {
        const std::lock_guard lock(world_.mutex);
        state["station"] = world_.TheStation().ToJson();
        for (const Kind usb : kUsbKinds) {
            state["receivers"][KindName(usb)] = world_.TheReceiver(usb).ToJson();
        }
        if (keypads) {
            state["keypads"] = world_.keypads.ToJson(kind, number);
        }
        for (const auto& [place, faults] : world_.faults) {
            for (const Json::Value& fault : faults.ToJson(KindName(place))) {
                state["faults"].append(fault);
            }
        }
    }
    for (const Json::Value& fault : world_.TheSpeech().FaultsToJson()) {
        state["faults"].append(fault);
    }
    {
        const std::lock_guard lock(mutex_);
        for (const Script& script : scripts_) {
            Json::Value one;
            one["script"] = script.number;
            one["steps"] = Json::UInt64(script.steps);
            one["done"] = Json::UInt64(script.done);
            one["errors"] = Json::Value(Json::arrayValue);
            for (const std::string& error : script.errors) {
                one["errors"].append(error);
            }
            state["scripts"].append(one);
        }
    }
    state["misuse"] = world_.journal.Misuses();
    return state;
}

}  // namespace vdipc::classroom
