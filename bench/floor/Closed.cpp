#include "bench/floor/Closed.h"

#include "common/closed/Grundkit.h"
#include "common/closed/Trackwire.h"
#include "common/closed/ZVNSpeech.h"
#include "doubles/ReceiverDoubles.h"
#include "drivers/closed/SocketVoteDeck.h"

#include <atomic>

namespace vdipc::bench::floor {
namespace {

Signals* g_signals = nullptr;
std::atomic<IVoteDeckEventOld*> g_listener{nullptr};

class PresentDeck : public test::CountingVoteDeck {
public:
    void SetListener(IVoteDeckEventOld* listener) override { g_listener = listener; }
    void SetContext(std::int32_t, std::uint32_t, const char*, const char*, const char*,
                    std::int32_t) override {
        Orders& orders = g_signals->orders();
        if (InterlockedIncrement(&orders.contexts) == orders.contexts_due) {
            orders.contexts_end = Now();
            g_signals->SayAsked();
        }
    }
};

class AbsentDeck : public test::CountingVoteDeck {
public:
    bool IsConnected() override { return false; }
};

class AbsentStation : public test::CountingSocketVoteDeck {
public:
    std::int32_t InitSocket(std::uint32_t, std::uint16_t, std::uint16_t) override { return 1; }
};

PresentDeck g_present;
AbsentDeck g_absent;
AbsentStation g_station;
test::CountingVoteDeckControl g_control;

void GiveAbsent(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    *deck = &g_absent;
    *control = &g_control;
}

}  // namespace

void UseSignals(Signals& signals) {
    g_signals = &signals;
}

zq::IVoteDeck& Receiver() {
    return g_present;
}

IVoteDeckEventOld* ReceiverListener() {
    return g_listener;
}

}  // namespace vdipc::bench::floor

using namespace vdipc::bench::floor;

extern "C" {
void CreateVDOTQ1(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    *deck = &g_present;
    *control = &g_control;
}
void CreateVDOTQ2(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    GiveAbsent(deck, control);
}
void CreateVDORV1(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    GiveAbsent(deck, control);
}
void CreateVDOLW(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    GiveAbsent(deck, control);
}
void InstallVoteDeckLogHandler(VoteDeckLogHandler) {}
ISocketVoteDeck* CreateVoteDeckObj() {
    return &g_station;
}
}

CTrackwire::CTrackwire() : record_(nullptr) {}
CTrackwire::~CTrackwire() = default;
void CTrackwire::Push(std::string, std::string) {}
void CTrackwire::Push(std::string, std::int32_t) {}
void CTrackwire::Push(std::string, std::uint32_t) {}
void CTrackwire::Logger() {}
void SetVDShellVersionW(std::wstring) {}
void SetVdkReceiveVersionA(std::string) {}
void SetVdkManufactorA(std::string) {}
void SetVdkChannelNumberA(std::string) {}
void SetBigClassIdA(std::string) {}
void SetLessonNumA(std::string) {}
void SetClassIdA(std::string) {}

std::wstring CStringConvert::String2WString(const std::string& text, unsigned int code_page) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(code_page, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), size);
    return wide;
}

std::string CStringConvert::WString2String(const std::wstring& text, unsigned int code_page) {
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(code_page, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

namespace zvn::speech {

RecognitionListener::RecognitionListener() = default;
RecognitionListener::~RecognitionListener() = default;
EvaluationListener::EvaluationListener() = default;
EvaluationListener::~EvaluationListener() = default;
SpeechRecognizer::SpeechRecognizer(RecognitionListener*, RecognizeEngine, EngineMode, Language)
    : engine_(nullptr) {}
SpeechRecognizer::~SpeechRecognizer() = default;
bool SpeechRecognizer::start(std::size_t) {
    return true;
}
int SpeechRecognizer::recognize(const RecognizeRequest&) {
    return 0;
}
void SpeechRecognizer::stop() {}
SpeechEvaluator::SpeechEvaluator(EvaluationListener*, EvaluateEngine, EngineMode, Language)
    : engine_(nullptr) {}
SpeechEvaluator::~SpeechEvaluator() = default;
bool SpeechEvaluator::start(std::size_t) {
    return true;
}
int SpeechEvaluator::evaluate(const EvaluateRequest&) {
    return 0;
}
void SpeechEvaluator::stop() {}

}  // namespace zvn::speech
