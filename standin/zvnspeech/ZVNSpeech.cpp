#include "common/closed/ZVNSpeech.h"

#include "classroom/Api.h"

namespace zvn::speech {
namespace {

using namespace vdipc;

classroom::SpeechEngine* Engine(void* handle) {
    return static_cast<classroom::SpeechEngine*>(handle);
}

}  // namespace

RecognitionListener::RecognitionListener() = default;
RecognitionListener::~RecognitionListener() = default;
EvaluationListener::EvaluationListener() = default;
EvaluationListener::~EvaluationListener() = default;

SpeechRecognizer::SpeechRecognizer(RecognitionListener* listener, RecognizeEngine engine, EngineMode mode,
                                   Language language) {
    classroom::SpeechEngineTraits traits;
    traits.recognizer = true;
    traits.engine = static_cast<int>(engine);
    traits.mode = static_cast<int>(mode);
    traits.language = static_cast<int>(language);
    traits.has_listener = listener != nullptr;
    engine_ = classroom::MakeSpeechEngine(traits, [this, listener](const classroom::SpeechAnswer& answer) {
        RecognitionResult result;
        result.request_id = answer.request_id;
        result.error_code = answer.error_code;
        result.result = answer.result;
        result.start_time = answer.start_time;
        result.end_time = answer.end_time;
        if (listener != nullptr) {
            listener->OnRecognizeCompleted(this, result);
        }
    });
}

SpeechRecognizer::~SpeechRecognizer() {
    classroom::DestroySpeechEngine(Engine(engine_));
    engine_ = nullptr;
}

bool SpeechRecognizer::start(std::size_t worker_threads) {
    return classroom::StartSpeechEngine(Engine(engine_), worker_threads);
}

int SpeechRecognizer::recognize(const RecognizeRequest& request) {
    classroom::SpeechRequest taken;
    taken.request_id = request.request_id;
    taken.audio = request.audio_data;
    taken.audio_size = request.audio_size;
    return classroom::AskSpeechEngine(Engine(engine_), taken);
}

void SpeechRecognizer::stop() {
    classroom::StopSpeechEngine(Engine(engine_));
}

SpeechEvaluator::SpeechEvaluator(EvaluationListener* listener, EvaluateEngine engine, EngineMode mode,
                                 Language language) {
    classroom::SpeechEngineTraits traits;
    traits.engine = static_cast<int>(engine);
    traits.mode = static_cast<int>(mode);
    traits.language = static_cast<int>(language);
    traits.has_listener = listener != nullptr;
    engine_ = classroom::MakeSpeechEngine(traits, [this, listener](const classroom::SpeechAnswer& answer) {
        EvaluationResult result;
        result.request_id = answer.request_id;
        result.request_param_stringify = answer.param;
        result.raw_result_stringify = answer.raw_result;
        result.error_code = answer.error_code;
        result.score = answer.score;
        result.result = answer.result;
        result.start_time = answer.start_time;
        result.end_time = answer.end_time;
        if (listener != nullptr) {
            listener->OnEvaluateCompleted(this, result);
        }
    });
}

SpeechEvaluator::~SpeechEvaluator() {
    classroom::DestroySpeechEngine(Engine(engine_));
    engine_ = nullptr;
}

bool SpeechEvaluator::start(std::size_t worker_threads) {
    return classroom::StartSpeechEngine(Engine(engine_), worker_threads);
}

int SpeechEvaluator::evaluate(const EvaluateRequest& request) {
    classroom::SpeechRequest taken;
    taken.request_id = request.request_id;
    taken.param = request.param_stringify;
    taken.stems = request.stems;
    taken.audio = request.audio_data;
    taken.audio_size = request.audio_size;
    return classroom::AskSpeechEngine(Engine(engine_), taken);
}

void SpeechEvaluator::stop() {
    classroom::StopSpeechEngine(Engine(engine_));
}

}  // namespace zvn::speech
