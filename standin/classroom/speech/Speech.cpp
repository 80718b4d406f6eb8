#include "classroom/speech/Speech.h"

#include "classroom/speech/SpeechEngine.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace vdipc::classroom {
namespace {

constexpr const char* kNames[] = {"recognizer", "single", "multiple", "multiple-chn", "general", "offline"};

}  // namespace

bool IsSpeechEngineName(const std::string& name) {
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

Speech::Speech(World& world) : world_(world) {
    for (const char* const name : kNames) {
        settings_[name];
    }
}

Speech::~Speech() = default;

SpeechEngine* Speech::MakeEngine(const SpeechEngineTraits& traits,
                                 std::function<void(const SpeechAnswer&)> deliver) {
    const std::lock_guard lock(mutex_);
    std::string name = "recognizer";
    if (!traits.recognizer) {
        if (traits.mode == 1) {
            name = "offline";
        } else if (traits.language == 0) {
            name = "multiple-chn";
        } else if (traits.language == 2) {
            name = "general";
        } else {
            // Two are constructed alike, the one for single questions first.
            name = pairs_made_++ % 2 == 0 ? "single" : "multiple";
        }
    }
    engines_.push_back(
        std::make_unique<SpeechEngine>(world_, engines_.size(), name, traits, std::move(deliver)));
    SpeechEngine* const engine = engines_.back().get();
    engine->ChangeSettings([&](SpeechSettings& settings) { settings = settings_[name]; });
    engine->SetFaults(faults_);
    return engine;
}

std::vector<SpeechEngine*> Speech::Find(const std::string& name) const {
    std::vector<SpeechEngine*> found;
    for (const auto& engine : engines_) {
        if (name == "all" || name == engine->Name()) {
            found.push_back(engine.get());
        }
    }
    return found;
}

void Speech::ChangeSettings(const std::string& name, const std::function<void(SpeechSettings&)>& change) {
    if (name != "all" && !IsSpeechEngineName(name)) {
        throw std::invalid_argument(
            "engines are called recognizer, single, multiple, multiple-chn, general, offline "
            "and all, not '" +
            name + "'");
    }
    const std::lock_guard lock(mutex_);
    for (auto& [known, settings] : settings_) {
        if (name == "all" || name == known) {
            change(settings);
        }
    }
    for (SpeechEngine* const engine : Find(name)) {
        engine->ChangeSettings(change);
    }
}

void Speech::ChangeSettings(std::size_t index, const std::function<void(SpeechSettings&)>& change) {
    const std::lock_guard lock(mutex_);
    if (index >= engines_.size()) {
        throw std::invalid_argument("there are " + std::to_string(engines_.size()) + " engines so far");
    }
    engines_[index]->ChangeSettings(change);
}

int Speech::Answer(const std::vector<SpeechEngine*>& engines, const HandAnswer& answer, bool wait) {
    const auto ticket = std::make_shared<Ticket>();
    int answered = 0;
    for (SpeechEngine* const engine : engines) {
        if (answered == 0 || answer.every) {
            answered += engine->Answer(answer, ticket);
        }
    }
    if (answered == 0) {
        throw std::invalid_argument(
            "no open request fits: GET /state lists them under speech.engines[].open");
    }
    if (wait) {
        ticket->Wait();
    }
    return answered;
}

int Speech::Answer(const std::string& name, const HandAnswer& answer, bool wait) {
    if (name != "all" && !IsSpeechEngineName(name)) {
        throw std::invalid_argument("there is no engine '" + name + "'");
    }
    std::vector<SpeechEngine*> engines;
    {
        const std::lock_guard lock(mutex_);
        engines = Find(name);
    }
    return Answer(engines, answer, wait);
}

int Speech::Answer(std::size_t index, const HandAnswer& answer, bool wait) {
    std::vector<SpeechEngine*> engines;
    {
        const std::lock_guard lock(mutex_);
        if (index < engines_.size()) {
            engines.push_back(engines_[index].get());
        }
    }
    return Answer(engines, answer, wait);
}

void Speech::BeginFault(const std::string& word, const Fault& fault) {
    const std::lock_guard lock(mutex_);
    faults_.Begin(word, fault);
    for (const auto& engine : engines_) {
        engine->SetFaults(faults_);
    }
}

void Speech::EndFaults() {
    const std::lock_guard lock(mutex_);
    faults_.End();
    for (const auto& engine : engines_) {
        engine->SetFaults(faults_);
    }
}

Json::Value Speech::FaultsToJson() const {
    const std::lock_guard lock(mutex_);
    return faults_.ToJson("speech");
}

Json::Value Speech::ToJson() const {
    Json::Value value;
    value["engines"] = Json::Value(Json::arrayValue);
    const std::lock_guard lock(mutex_);
    for (const auto& engine : engines_) {
        value["engines"].append(engine->ToJson());
    }
    return value;
}

}  // namespace vdipc::classroom
