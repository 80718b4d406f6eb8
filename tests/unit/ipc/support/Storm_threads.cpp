// What the threads of a storm do that are no receiver's: the client, the speech engines, the computer, and more.
#include "drivers/USBListener.h"
#include "ipc/LogFile.h"
#include "messages/MessageCodec.h"
#include "support/Storm.h"

#include <algorithm>

namespace vdipc::test {
namespace {

constexpr int kWriteRounds = 6;
constexpr int kOtherRounds = 40;
constexpr std::uint32_t kFirstPupil = 100;  // behind the kind's first number

constexpr const char* kQuestions[] = {"single-choice",
                                      "multiple-choice",
                                      "red-envelope",
                                      "continous-red-envelope",
                                      "true-false",
                                      "audio",
                                      "audio-single",
                                      "audio-multiple",
                                      "audio-multiple-chn",
                                      "evaluation",
                                      "voice-record",
                                      "general",
                                      "multiple-question-single-choice"};

// Single evaluation is asked of one keypad alone, once: a second recording of a keypad in the same tick would leave its
// timer running for good.
constexpr const char* kQuestionsForAll[] = {"single-choice",     "audio",        "general",
                                            "evaluation",        "voice-record", "multiple-choice",
                                            "audio-multiple-chn"};

std::string DeviceField(std::uint32_t keypad) {
    return "\"device\":\"" + std::to_string(keypad) + "\"";
}

}  // namespace

void Storm::RoundsMade() {
    Put([this] { --busy_; });
}

void Storm::AwaitStop() {
    Await([this] { return phase_ == Phase::Stop; });
}

// The client.

bool Storm::WriteCommand(const std::string& text) {
    ++written_;
    return client_->Write(JsonFrame(text));
}

void Storm::AskOne(int number, const std::string& type) {
    const DeviceType kind = kAllKinds[static_cast<std::size_t>(number) % std::size(kAllKinds)];
    const std::uint32_t keypad = FirstNumber(kind) + kFirstPupil + static_cast<std::uint32_t>(number);
    const std::string custom = "one-" + std::to_string(number);
    Put([&] {
        pupils_[keypad] = {type, custom};
        result.expected[custom] = 0;
        if (type == "audio-single") {
            result.single_customs.insert(custom);
        }
    });
    WriteCommand("{\"command\":\"ask\"," + DeviceField(keypad) + ",\"type\":\"" + type + "\",\"custom\":\"" +
                 custom +
                 "\",\"row1\":\"one\",\"context\":{\"stems\":[\"a\",\"b\"],\"param\":{\"n\":1},"
                 "\"audio-file-name-prefix\":\"" +
                 custom + "-\"}}");
}

void Storm::AskAll(int number, const std::string& type) {
    const std::string custom = "all-" + std::to_string(number);
    WriteCommand("{\"command\":\"ask\",\"device\":\"0\",\"type\":\"" + type + "\",\"custom\":\"" + custom +
                 "\",\"row2\":\"all\",\"context\":{\"stems\":[\"c\"],\"param\":{\"n\":2},"
                 "\"audio-file-name-prefix\":\"" +
                 custom + "-\"}}");
}

void Storm::Write() {
    int ones = 0;
    int alls = 0;
    for (int round = 0; round < kWriteRounds; ++round) {
        for (const char* const type : kQuestions) {
            AskOne(ones++, type);
            if (ones % 4 == 0) {
                AskAll(alls, kQuestionsForAll[static_cast<std::size_t>(alls) % std::size(kQuestionsForAll)]);
                ++alls;
            }
        }
        const DeviceType kind = kAllKinds[static_cast<std::size_t>(round) % std::size(kAllKinds)];
        WriteCommand("{\"command\":\"text\"," + DeviceField(FirstNumber(kind) + 1) +
                     ",\"row1\":\"r\",\"row3\":\"\"}");
        WriteCommand("{\"command\":\"text\",\"device\":\"0\",\"row2\":\"everybody\"}");
        WriteCommand("{\"command\":\"hi\",\"device\":\"0\",\"arguments\":[{\"type\":\"beep\",\"times\":3,"
                     "\"interval\":1,"
                     "\"duration\":2},{\"type\":\"led\",\"times\":3,\"interval\":1,\"duration\":2,\"color\":"
                     "\"blue\"}]}");
        WriteCommand("{\"command\":\"stop\"," + DeviceField(FirstNumber(kind) + 2) + ",\"row1\":\"over\"}");
        WriteCommand("{\"command\":\"stop\",\"device\":\"0\"}");
        WriteCommand("{\"command\":\"ask\",\"device\":7}");
        WriteCommand("no command \xFF\xFE{");
        client_->Write(PingFrame());
        ++pings_;
        if (round == 2) {
            WriteCommand("{\"command\":\"init\",\"preferred-device-type\":\"any\"}");
        }
        if (round >= kWriteRounds - 2) {
            WriteCommand("{\"command\":\"drop\"," + DeviceField(FirstNumber(DeviceType::LW) + 3) + "}");
        }
        Await([this] { return begun_[kStormCommands] >= written_ - 20; });
    }
    RoundsMade();
    AwaitStop();
    RoundsMade();
    for (int i = 0; i < kStormCallsAtStop; ++i) {
        if (!WriteCommand("{\"command\":\"text\",\"device\":\"0\",\"row1\":\"too late\"}")) {
            break;
        }
    }
}

void Storm::Read() {
    for (;;) {
        const std::string frame = client_->ReadFrame(kStormPatience);
        if (frame.empty()) {
            break;
        }
        if (frame == PingReplyFrame()) {
            Put([this] { ++replies_; });
        } else {
            result.texts.push_back(frame.substr(kFrameHeaderSize));
        }
    }
    result.closed_by_handler = client_->WaitClosed(std::chrono::milliseconds(1));
    Put([this] { client_gone_ = true; });
}

// The speech engines.

bool Storm::TakeRequest(Answer& request) {
    const std::vector<SpeechEngine> engines = SpeechEngines();
    for (std::size_t i = 0; i < engines.size(); ++i) {
        const SpeechEngine& engine = engines[i];
        std::size_t& taken = requests_taken_[i];
        const std::size_t count =
            engine.is_recognizer ? engine.recognitions.size() : engine.evaluations.size();
        if (taken < count) {
            request = {engine.is_recognizer, engine.object,
                       engine.is_recognizer ? engine.recognitions[taken].request_id
                                            : engine.evaluations[taken].request_id};
            ++taken;
            return true;
        }
    }
    return false;
}

void Storm::Deliver(const Answer& answer) {
    const bool made = speech_.Call([&](Storm&) {
        if (answer.is_recognizer) {
            RecognitionResult spoken;
            spoken.request_id = answer.request_id;
            spoken.result = "words";
            handler().OnRecognizeCompleted(
                const_cast<SpeechRecognizer*>(static_cast<const SpeechRecognizer*>(answer.engine)), spoken);
            spoken.request_id.assign(spoken.request_id.size(), 'x');
        } else {
            EvaluationResult spoken;
            spoken.request_id = answer.request_id;
            spoken.result = "words";
            spoken.raw_result_stringify = "{\"overall\":80}";
            spoken.score = 80.5F;
            handler().OnEvaluateCompleted(
                const_cast<SpeechEvaluator*>(static_cast<const SpeechEvaluator*>(answer.engine)), spoken);
            spoken.request_id.assign(spoken.request_id.size(), 'x');
        }
    });
    made_[kStormAnswers] += made ? 1 : 0;
}

void Storm::AnswerRequest(const Answer& request) {
    const Json::Value event = ParseJson(request.request_id);
    const std::string device = event["device"].asString();
    const std::string custom = event["custom"].asString();
    const std::uint32_t number = static_cast<std::uint32_t>(std::stoul(device));
    const bool is_pupil = number % 1000 >= kFirstPupil;
    // Of the pupils' recordings a quarter is answered twice, and a quarter not before the stop or never.
    const int times = !is_pupil || number % 4 < 2 ? 1 : number % 4 == 2 ? 2 : 0;
    Put([&] {
        const bool first = requests_seen_.insert(request.request_id).second;
        result.answers[device] += times;
        if (is_pupil && first) {
            // A second evaluation of a recording counts for nothing.
            result.expected[custom] += request.is_recognizer ? times : std::min(times, 1);
        }
        if (number % 8 == 3 && is_pupil) {
            late_answers_.push_back(request);
        }
    });
    for (int i = 0; i < times; ++i) {
        Deliver(request);
    }
}

void Storm::AnswerSpeech() {
    for (;;) {
        bool waits = false;
        Answer request;
        Await([&] {
            waits = waiting_requests_ > 0 && TakeRequest(request);
            return waits || phase_ == Phase::Stop;
        });
        if (!waits) {
            break;
        }
        Put([this] { --waiting_requests_; });
        AnswerRequest(request);
        Put([this] { --open_requests_; });
    }
    speech_.AnnounceLastCalls();
    RoundsMade();
    const auto deliver_late = [this](std::size_t keep) {
        for (;;) {
            Answer late;
            bool found = false;
            Put([&] {
                found = late_answers_.size() > keep;
                if (found) {
                    late = late_answers_.front();
                    late_answers_.pop_front();
                }
            });
            if (!found) {
                return;
            }
            Deliver(late);
        }
    };
    deliver_late(4);
    speech_.WaitUntilItCloses();
    deliver_late(0);
    speech_.LastCallsMade();
}

// Everybody else.

void Storm::SendRecords() {
    for (int i = 0; i < kOtherRounds; ++i) {
        CTrackwire record;
        record.Push("Action", "storm");
        handler().SendTrackwire(record);
        EventActivated event;
        event.id = MessageCodec::GenerateEventId();
        event.device = "9999";
        handler().SendIPCMesage(MessageCodec::EncodeEvent(event));
    }
    result.records_sent = result.texts_sent = kOtherRounds;
    RoundsMade();
}

void Storm::WriteLines(int thread) {
    for (int i = 0; i < 5 * kOtherRounds; ++i) {
        const std::string line = "storm " + std::filesystem::current_path().filename().string() + " thread " +
                                 std::to_string(thread) + " line " + std::to_string(i) + ".";
#if defined(_WIN32)
        // Wine's append is a stat and a write at that place, so there the two take turns.
        Put([&] { WriteLogLine(2, line.c_str()); });
#else
        WriteLogLine(2, line.c_str());
#endif
        Put([&] { result.lines_written.push_back(line); });
    }
    RoundsMade();
}

void Storm::ChangeDevices() {
    USBListener& computer = USBListener::GetInstance();
    for (int i = 0; i < kOtherRounds / 4; ++i) {
        computer.NotifyArrival(i % 2, L"path");
        computer.NotifyRemoved(i % 2, L"path");
        if (i % 3 == 0) {
            station_status_ = i % 2 == 0 ? kDeviceStatusNotConnected : kDeviceStatusConnected;
            computer.NotifyNodesChanged();
        }
    }
    station_status_ = kDeviceStatusConnected;
    computer.NotifyNodesChanged();
    RoundsMade();
    AwaitStop();
    RoundsMade();
    // Changes reported while the objects go one by one: the station's check is queued, and never run.
    Deck(DeviceType::TQ1).gate.WaitUntilItCloses();
    for (int i = 0; i < kStormCallsAtStop; ++i) {
        computer.NotifyNodesChanged();
    }
}

}  // namespace vdipc::test
