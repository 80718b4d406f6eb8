// Closed library ZVNSpeech.dll: speech recognition and speech evaluation. The engines answer on threads of their own,
// through the two listener bases, and echo `request_id` unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#if defined(ZVNSPEECH_EXPORTS)
#define ZVNSPEECH_API __declspec(dllexport)
#else
#define ZVNSPEECH_API
#endif

namespace zvn::speech {

// The library takes numbers; the names here are ours.
enum class RecognizeEngine : int { Baidu = 0, Aliyun = 2 };
enum class EvaluateEngine : int { Default = 0 };
enum class EngineMode : int { Online = 0, Offline = 1 };
enum class Language : int { Chinese = 0, English = 1, General = 2 };

/// The audio bytes are the caller's, and are not copied by this record.
struct RecognizeRequest {
    std::string request_id;
    const std::uint8_t* audio_data = nullptr;
    std::size_t audio_size = 0;
};

/// The audio bytes belong to whoever holds the request in its map of open requests, and are freed there.
struct EvaluateRequest {
    std::string request_id;
    std::string param_stringify;
    std::vector<std::string> stems;
    std::string reserved_text;
    std::uint8_t* audio_data = nullptr;
    std::size_t audio_size = 0;
};

struct RecognitionResult {
    std::string request_id;
    int error_code = 0;
    std::string reserved_text;
    std::string result;
    std::int64_t start_time = 0;
    std::int64_t end_time = 0;
};

struct EvaluationResult {
    std::string request_id;
    std::string request_param_stringify;
    std::string raw_result_stringify;
    std::vector<std::string> reserved_texts;
    std::string reserved_text;
    int error_code = 0;
    std::string reserved_error_text;
    float score = 0.0F;
    std::string result;
    std::int64_t start_time = 0;
    std::int64_t end_time = 0;
};

class SpeechRecognizer;
class SpeechEvaluator;

/// Hears of finished recognitions, on threads of the library.
class ZVNSPEECH_API RecognitionListener {
public:
    RecognitionListener();
    RecognitionListener(const RecognitionListener&) = delete;
    RecognitionListener& operator=(const RecognitionListener&) = delete;
    virtual ~RecognitionListener();
    virtual void OnRecognizeCompleted(SpeechRecognizer* recognizer, const RecognitionResult& result) = 0;
};

/// Hears of finished evaluations, on threads of the library.
class ZVNSPEECH_API EvaluationListener {
public:
    EvaluationListener();
    EvaluationListener(const EvaluationListener&) = delete;
    EvaluationListener& operator=(const EvaluationListener&) = delete;
    virtual ~EvaluationListener();
    virtual void OnEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result) = 0;
};

class ZVNSPEECH_API SpeechRecognizer {
public:
    SpeechRecognizer(RecognitionListener* listener, RecognizeEngine engine, EngineMode mode,
                     Language language);
    SpeechRecognizer(const SpeechRecognizer&) = delete;
    SpeechRecognizer& operator=(const SpeechRecognizer&) = delete;
    ~SpeechRecognizer();

    bool start(std::size_t worker_threads);
    /// The bytes of the request are taken during the call, and not touched after it.
    int recognize(const RecognizeRequest& request);
    void stop();

private:
    void* engine_;
};

class ZVNSPEECH_API SpeechEvaluator {
public:
    SpeechEvaluator(EvaluationListener* listener, EvaluateEngine engine, EngineMode mode, Language language);
    SpeechEvaluator(const SpeechEvaluator&) = delete;
    SpeechEvaluator& operator=(const SpeechEvaluator&) = delete;
    ~SpeechEvaluator();

    bool start(std::size_t worker_threads);
    int evaluate(const EvaluateRequest& request);
    void stop();

private:
    void* engine_;
};

}  // namespace zvn::speech
