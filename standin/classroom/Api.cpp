#include "classroom/Api.h"

#include "classroom/Start.h"
#include "classroom/receivers/Receiver.h"
#include "classroom/receivers/ReceiverObject.h"
#include "classroom/speech/SpeechEngine.h"
#include "classroom/station/Station.h"
#include "classroom/station/StationObject.h"

#include <utility>

namespace vdipc::classroom {

ISocketVoteDeck* MakeStation() {
    return TheWorld().TheStation().MakeObject();
}

void MakeReceiver(Kind kind, zq::IVoteDeck** deck, IVoteDeckControl** control) {
    ReceiverObject* const object = TheWorld().TheReceiver(kind).MakeObject();
    *deck = object;
    *control = object;
}

void InstallLogHandler(VoteDeckLogHandler handler) {
    TheWorld().SetLogHandler(handler);
}

SpeechEngine* MakeSpeechEngine(const SpeechEngineTraits& traits,
                               std::function<void(const SpeechAnswer&)> deliver) {
    return TheWorld().TheSpeech().MakeEngine(traits, std::move(deliver));
}

namespace {

bool IsEngine(const SpeechEngine* engine, const char* call) {
    if (engine == nullptr) {
        ReportMisuse("ZVNSpeech", "engine", call, "the engine was destroyed");
    }
    return engine != nullptr;
}

}  // namespace

bool StartSpeechEngine(SpeechEngine* engine, std::size_t workers) {
    return IsEngine(engine, "start") && engine->Start(workers);
}

int AskSpeechEngine(SpeechEngine* engine, const SpeechRequest& request) {
    return IsEngine(engine, "request") ? engine->Ask(request) : -1;
}

void StopSpeechEngine(SpeechEngine* engine) {
    if (IsEngine(engine, "stop")) {
        engine->Stop();
    }
}

void DestroySpeechEngine(SpeechEngine* engine) {
    if (IsEngine(engine, "destructor")) {
        engine->Destroy();
    }
}

void RecordTelemetry(const std::vector<TelemetryPair>& pairs) {
    TheWorld().TheTelemetry().Record(pairs);
}

void SetTelemetry(const char* function, const std::string& value) {
    TheWorld().TheTelemetry().Set(function, value);
}

void ReportMisuse(const char* library, const char* object, const char* call, const std::string& text) {
    TheWorld().journal.Misuse({library, object}, call, text);
}

std::string Utf8FromActiveCodePage(const std::string& text) {
    return platform::Utf8FromActive(text);
}

std::string Utf8FromWideText(const wchar_t* text) {
    return platform::Utf8FromWide(text);
}

}  // namespace vdipc::classroom
