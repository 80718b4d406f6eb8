// The speech engines: one recogniser and up to five evaluators, and the switch to offline evaluation.
#include "common/Clock.h"
#include "common/JsonText.h"
#include "common/Log.h"
#include "ipc/IpcHandler.h"
#include "ipc/WorkerThreads.h"

#include <fstream>

#include <json/json.h>

namespace vdipc {
namespace {

using zvn::speech::EngineMode;
using zvn::speech::EvaluateEngine;
using zvn::speech::Language;
using zvn::speech::RecognizeEngine;

constexpr char kConfigFileName[] = "vote_deck.conf";  // in the working directory

template <typename Engine>
void StopAndDestroy(Engine* engine) {
    if (engine != nullptr) {
        engine->stop();
        delete engine;
    }
}

/// False too for a file that is missing or broken, and without a word.
bool IsAliyunConfigured() {
    std::ifstream file(kConfigFileName, std::ios::binary);
    if (!file.is_open()) {
        return false;
    }
    Json::Value root;
    if (!ParseJson(file, &root) || !root.isObject()) {
        return false;
    }
    const Json::Value& engine = root["engine"];
    return engine.isString() && engine.asString() == "ali";
}

}  // namespace

void IpcHandler::InitSpeechRecognizer() {
    UninitSpeechRecognizer();
    if (IsAliyunConfigured()) {
        VD_LOG(LogLevel::Debug, "{}:{} use Aliyun");
        recognizer_ =
            new SpeechRecognizer(this, RecognizeEngine::Aliyun, EngineMode::Online, Language::Chinese);
    } else {
        VD_LOG(LogLevel::Debug, "{}:{} use Baidu");
        recognizer_ =
            new SpeechRecognizer(this, RecognizeEngine::Baidu, EngineMode::Online, Language::Chinese);
    }
    recognizer_->start(kRecognizerThreads);
}

void IpcHandler::UninitSpeechRecognizer() {
    StopAndDestroy(recognizer_);
    recognizer_ = nullptr;
}

void IpcHandler::InitSpeechEvaluator() {
    UninitSpeechEvaluator();
    const auto make = [this](Language language) {
        return new SpeechEvaluator(this, EvaluateEngine::Default, EngineMode::Online, language);
    };
    online_evaluator_ = make(Language::English);
    sent_evaluator_ = online_evaluator_;
    multiple_evaluator_ = make(Language::English);
    multiple_evaluator_chn_ = make(Language::Chinese);
    SpeechEvaluator* const general_evaluator = make(Language::General);
    general_evaluator_ = general_evaluator;
    const std::size_t threads = WorkerThreads(GetProcessorCount(), kEvaluatorThreadsShift);
    sent_evaluator_->start(threads);
    multiple_evaluator_->start(threads);
    multiple_evaluator_chn_->start(threads);
    general_evaluator->start(threads);
}

void IpcHandler::UninitSpeechEvaluator() {
    // Whichever evaluator serves goes. After the switch that is the offline one, and the online one is left
    // running for good. online_evaluator_ and offline_evaluator_ keep their values: from here on they are
    // compared, and never called through.
    StopAndDestroy(sent_evaluator_);
    sent_evaluator_ = nullptr;
    StopAndDestroy(multiple_evaluator_);
    multiple_evaluator_ = nullptr;
    StopAndDestroy(multiple_evaluator_chn_);
    multiple_evaluator_chn_ = nullptr;
    StopAndDestroy(general_evaluator_.load());
    general_evaluator_ = nullptr;
}

bool IpcHandler::ChangeSentSpeechEvaluatorToOffline() {
    VD_LOG_ENTRY();
    if (offline_evaluator_ != nullptr) {
        return false;
    }
    offline_evaluator_ =
        new SpeechEvaluator(this, EvaluateEngine::Default, EngineMode::Offline, Language::English);
    sent_evaluator_ = offline_evaluator_;
    offline_evaluator_->start(WorkerThreads(GetProcessorCount(), kOfflineEvaluatorThreadsShift));
    CTrackwire record;
    record.Push(action_key_, use_offline_evaluator_key_);
    SendTrackwire(record);
    return true;
}

}  // namespace vdipc
