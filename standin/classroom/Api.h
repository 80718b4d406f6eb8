// What the stand-in libraries use of the classroom. The first use starts it, with its control face.
#pragma once

#include "classroom/memory/Telemetry.h"
#include "classroom/speech/Speech.h"
#include "classroom/world/Signal.h"

#include "drivers/closed/VoteDeck.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#if defined(_WIN32) && defined(CLASSROOM_EXPORTS)
#define CLASSROOM_API __declspec(dllexport)
#else
#define CLASSROOM_API
#endif

namespace vdipc::classroom {

CLASSROOM_API ISocketVoteDeck* MakeStation();
CLASSROOM_API void MakeReceiver(Kind kind, zq::IVoteDeck** deck, IVoteDeckControl** control);
CLASSROOM_API void InstallLogHandler(VoteDeckLogHandler handler);

/// The engine is given back by DestroySpeechEngine; a call with it later, or with null, is misuse.
CLASSROOM_API SpeechEngine* MakeSpeechEngine(const SpeechEngineTraits& traits,
                                             std::function<void(const SpeechAnswer&)> deliver);
CLASSROOM_API bool StartSpeechEngine(SpeechEngine* engine, std::size_t workers);
CLASSROOM_API int AskSpeechEngine(SpeechEngine* engine, const SpeechRequest& request);
CLASSROOM_API void StopSpeechEngine(SpeechEngine* engine);
CLASSROOM_API void DestroySpeechEngine(SpeechEngine* engine);

CLASSROOM_API void RecordTelemetry(const std::vector<TelemetryPair>& pairs);
CLASSROOM_API void SetTelemetry(const char* function, const std::string& value);

CLASSROOM_API void ReportMisuse(const char* library, const char* object, const char* call,
                                const std::string& text);
CLASSROOM_API std::string Utf8FromActiveCodePage(const std::string& text);
CLASSROOM_API std::string Utf8FromWideText(const wchar_t* text);

}  // namespace vdipc::classroom
