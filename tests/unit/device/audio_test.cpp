#include "common/Clock.h"
#include "common/TextEncoding.h"
#include "messages/MessageCodec.h"
#include "support/DeviceTest.h"
#include "support/Endings.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <regex>

#include <fmt/format.h>

namespace vdipc::test {
namespace {

using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::Return;
using testing::SizeIs;

/// A request as the listener got it, its copy of the bytes read and freed.
struct SeenRequest {
    std::string operation;
    std::string file_name;
    std::string request_id;
    std::string param;
    std::vector<std::string> stems;
    std::string reserved_text;
    bool own_copy = false;
    std::vector<std::uint8_t> audio;
};

class Recordings : public DeviceTest {
protected:
    explicit Recordings(DeviceType device_type = DeviceType::RV2) : DeviceTest(device_type) {
        static std::atomic<int> number{0};
        root_ =
            std::filesystem::temp_directory_path() /
            ("vdipc-audio-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) +
             "-" + std::to_string(++number));
        std::filesystem::create_directories(root_ / "audio");
        device_.SetAudioFileStorageBasePath((root_ / "audio").string());
        ON_CALL(listener_, RequestRecognize).WillByDefault([this](const RecognizeRequest& request) {
            SeenRequest seen;
            seen.operation = "recognize";
            seen.request_id = request.request_id;
            seen.own_copy = request.audio_data != audio_.data();
            seen.audio.assign(request.audio_data, request.audio_data + request.audio_size);
            requests_.push_back(seen);
            return 0;
        });
        ON_CALL(listener_, RequestEvaluation)
            .WillByDefault([this](const std::string& name, const EvaluateRequest& request) {
                Take("evaluate", name, request);
                return 0;
            });
        ON_CALL(listener_, RequestSingleEvaluation)
            .WillByDefault([this](const std::string& name, const EvaluateRequest& request) {
                Take("single", name, request);
            });
        ON_CALL(listener_, RequestMultipleEvaluation)
            .WillByDefault(
                [this](const std::string& name, const EvaluateRequest& request, std::int32_t selector) {
                    Take("multiple " + std::to_string(selector), name, request);
                    return 0;
                });
    }

    ~Recordings() override {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }

    void Take(const std::string& operation, const std::string& name, const EvaluateRequest& request) {
        SeenRequest seen;
        seen.operation = operation;
        seen.file_name = name;
        seen.request_id = request.request_id;
        seen.param = request.param_stringify;
        seen.stems = request.stems;
        seen.reserved_text = request.reserved_text;
        seen.own_copy = request.audio_data != audio_.data();
        seen.audio.assign(request.audio_data, request.audio_data + request.audio_size);
        delete[] request.audio_data;
        requests_.push_back(seen);
    }

    /// Contents of all files that were saved.
    std::vector<std::vector<std::uint8_t>> SavedFiles() const {
        std::vector<std::vector<std::uint8_t>> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root_)) {
            if (entry.is_regular_file()) {
                std::ifstream file(entry.path(), std::ios::binary);
                files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
            }
        }
        return files;
    }

    /// The name that the log gives for the last saved file.
    std::string SavedName() const {
        const std::string begin = "saved audio file ";
        std::string name;
        for (const LogLine& line : log_.Lines()) {
            if (line.rest.rfind(begin, 0) == 0) {
                EXPECT_EQ(line.level, LogLevel::Debug);
                name = line.rest.substr(begin.size());
            }
        }
        return name;
    }

    CommandAsk AudioAsk(QuestionType type) const {
        CommandAsk ask = Ask("7", type, "custom");
        ask.stems = {"one", "two"};
        ask.param = "{\"p\":1}";
        ask.audio_file_name_prefix = "pre-";
        return ask;
    }

    void Record(QuestionType type, std::optional<std::int32_t> error_number, double rate = 0.0) {
        device_.HandleAsk(AudioAsk(type));
        device_.RunAudioPath(7, audio_, rate, error_number);
    }

    /// A finished text with an empty id, of this event, for device 7 and the saved file.
    void ExpectTemplate(const std::string& text, const std::string& event, double rate) {
        const Json::Value root = ParseJson(text);
        EXPECT_EQ(root["event"].asString(), event);
        ASSERT_TRUE(root.isMember("id"));
        EXPECT_EQ(root["id"].asString(), "");
        EXPECT_EQ(root["device"].asString(), "7");
        EXPECT_EQ(root["extra"].asString(), SavedName());
        EXPECT_EQ(root["custom"].asString(), "custom");
        EXPECT_DOUBLE_EQ(root["data"]["lost_package_rate"].asDouble(), rate);
    }

    std::filesystem::path root_;
    std::vector<std::uint8_t> audio_ = {'R', 'I', 'F', 'F', 0, 10, 13, 26, 255};
    std::vector<SeenRequest> requests_;
};

TEST_F(Recordings, SaveAudioFile_NamesTheFileByPrefixNumberAndTickAndWritesTheBytesAsTheyCame) {
    const std::uint32_t before = GetTickCountNow();
    const std::string name = device_.SaveAudioFile(4294967295u, audio_.data(), audio_.size(), "pre");
    const std::uint32_t after = GetTickCountNow();
    std::vector<std::string> names;
    for (std::uint32_t tick = before; tick != after + 1; ++tick) {
        names.push_back(fmt::format("pre4294967295-{:x}.wav", tick));
    }
    EXPECT_THAT(names, Contains(name));
    EXPECT_THAT(SavedFiles(), ElementsAre(audio_));
    std::ifstream file((root_ / "audio").string() + "\\" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open());
}

TEST_F(Recordings, EachOperation_LogsItsEntryAtTrace) {
    ExpectEntry("SaveAudioFile", "", [&] { device_.SaveAudioFile(7, audio_.data(), audio_.size(), "pre"); });
    ExpectEntry("RequestRecognize", "",
                [&] { device_.RequestRecognize("7", "7.wav", "custom", audio_.data(), audio_.size(), 0.0); });
}

TEST_F(Recordings, SaveAudioFile_EmptyPrefixAndNoBytesGiveAnEmptyFile) {
    const std::string name = device_.SaveAudioFile(7, nullptr, 0, "");
    EXPECT_TRUE(std::regex_match(name, std::regex("7-[0-9a-f]{1,8}\\.wav"))) << name;
    ASSERT_THAT(SavedFiles(), SizeIs(1));
    EXPECT_THAT(SavedFiles()[0], IsEmpty());
}

TEST_F(Recordings, PathThatCannotBeOpened_GetsNoLineAndTheRequestStillFollows) {
    std::filesystem::remove_all(root_);
    device_.SetAudioFileStorageBasePath((root_ / "missing" / "audio").string());
    Record(QuestionType::Audio, 0);
    ASSERT_THAT(requests_, SizeIs(1));
    EXPECT_EQ(requests_[0].audio, audio_);
    for (const LogLine& line : log_.Lines()) {
        EXPECT_LT(line.level, LogLevel::Warn) << line.message;
    }
}

using RecordingsDeathTest = Recordings;

constexpr char kDoesNotFit[] = "invalid parameter: text doesn't fit its 260 bytes";

TEST_F(RecordingsDeathTest, NameBeyondItsBuffer_EndsTheProcess) {
    const std::string prefix(260, 'p');
    EXPECT_ENDS_BY_ABORT(device_.SaveAudioFile(7, audio_.data(), audio_.size(), prefix), kDoesNotFit);
}

TEST_F(RecordingsDeathTest, PathBeyondItsBuffer_EndsTheProcess) {
    device_.SetAudioFileStorageBasePath(std::string(255, 'd'));
    EXPECT_ENDS_BY_ABORT(device_.SaveAudioFile(7, audio_.data(), audio_.size(), "p"), kDoesNotFit);
}

TEST_F(Recordings, WithoutAQuestion_NoFileIsSaved) {
    device_.RunAudioPath(7, audio_, 0.0, 0);
    EXPECT_THAT(SavedFiles(), IsEmpty());
    EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(Recordings, OfAStoppedQuestion_AreSavedAndLeadToNoRequestAndNoEvent) {
    device_.HandleAsk(AudioAsk(QuestionType::VoiceRecord));
    device_.HandleStop(Stop("7"));
    device_.RunAudioPath(7, audio_, 0.0, 0);
    EXPECT_THAT(SavedFiles(), ElementsAre(audio_));
    EXPECT_EQ(SavedName().substr(0, 6), "pre-7-");
    EXPECT_FALSE(log_.Contains("question found"));
    EXPECT_THAT(requests_, IsEmpty());
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(Recordings, DuringKeyQuestions_AreSavedAndNothingElse) {
    for (const QuestionType type :
         {QuestionType::SingleChoice, QuestionType::MultipleChoice, QuestionType::RedEnvelope,
          QuestionType::ContinousRedEnvelope, QuestionType::TrueFalse, QuestionType::General,
          QuestionType::MultipleQuestionSingleChoice}) {
        log_.Clear();
        Record(type, -203);
        EXPECT_NE(SavedName(), "") << static_cast<int>(type);
    }
    EXPECT_THAT(SavedFiles(), testing::Not(IsEmpty()));
    EXPECT_THAT(requests_, IsEmpty());
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(Recordings, QuestionFound_IsLoggedInTheWordsOfTheBaseStation) {
    for (const std::optional<std::int32_t> error :
         {std::optional<std::int32_t>(0), std::optional<std::int32_t>()}) {
        log_.Clear();
        Record(QuestionType::SingleChoice, error);
        ExpectOneLine(LogLevel::Debug, "last question found, custom=custom");
    }
}

class UsbRecordings : public Recordings, public testing::WithParamInterface<DeviceType> {
protected:
    UsbRecordings() : Recordings(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Kinds, UsbRecordings,
                         testing::Values(DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1, DeviceType::LW));

TEST_P(UsbRecordings, QuestionFound_IsLoggedInTheWordsOfTheUsbReceivers) {
    Record(QuestionType::SingleChoice, std::nullopt);
    ExpectOneLine(LogLevel::Debug, "lastquestion found, custom=custom");
}

TEST_F(Recordings, Audio_AreSentForRecognitionWithoutACopy) {
    Record(QuestionType::Audio, std::nullopt, 0.25);
    ASSERT_THAT(requests_, SizeIs(1));
    EXPECT_EQ(requests_[0].operation, "recognize");
    EXPECT_FALSE(requests_[0].own_copy);
    EXPECT_EQ(requests_[0].audio, audio_);
    ExpectTemplate(requests_[0].request_id, "audio-recognized", 0.25);
    const auto lines = log_.OfFunction("VoteDeckObjectBase::RequestRecognize");
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    EXPECT_EQ(lines[0].rest, "");
    EXPECT_EQ(lines[1].level, LogLevel::Info);
    EXPECT_EQ(lines[1].rest, "recognize request_id=" + requests_[0].request_id + ", voice_size=9");
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(Recordings, AudioWithErrorMinus203_GoToRecognitionAllTheSame) {
    Record(QuestionType::Audio, -203);
    ASSERT_THAT(requests_, SizeIs(1));
    EXPECT_EQ(requests_[0].operation, "recognize");
    EXPECT_THAT(messages_, IsEmpty());
}

struct StemsRow {
    QuestionType type;
    const char* name;
    const char* operation;
    const char* function;
};

class StemsQuestions : public Recordings, public testing::WithParamInterface<StemsRow> {};

INSTANTIATE_TEST_SUITE_P(
    Types, StemsQuestions,
    testing::Values(StemsRow{QuestionType::VoiceEvaluationSingle, "QuestionType::VoiceEvaluationSingle",
                             "single", "VoteDeckObjectBase::RequestSingleEvaluation"},
                    StemsRow{QuestionType::VoiceEvaluationMultiple, "QuestionType::VoiceEvaluationMultiple",
                             "multiple 0", "VoteDeckObjectBase::RequestMultipleEvaluation"},
                    StemsRow{QuestionType::VoiceEvaluationMultiple_CHN,
                             "QuestionType::VoiceEvaluationMultiple_CHN", "multiple 1",
                             "VoteDeckObjectBase::RequestMultipleEvaluation"}));

TEST_P(StemsQuestions, GoodRecording_IsSentWithItsStemsAndACopyOfItsBytes) {
    for (const std::optional<std::int32_t> error :
         {std::optional<std::int32_t>(0), std::optional<std::int32_t>()}) {
        requests_.clear();
        log_.Clear();
        Record(GetParam().type, error, 0.5);
        ASSERT_THAT(requests_, SizeIs(1));
        const SeenRequest& request = requests_[0];
        EXPECT_EQ(request.operation, GetParam().operation);
        EXPECT_EQ(request.file_name, SavedName());
        EXPECT_TRUE(request.own_copy);
        EXPECT_EQ(request.audio, audio_);
        EXPECT_THAT(request.stems, ElementsAre("one", "two"));
        EXPECT_EQ(request.param + request.reserved_text, "");
        ExpectTemplate(request.request_id, "voice-evaluated", 0.5);
        ExpectOneLine(LogLevel::Debug, GetParam().name);
        const auto lines = log_.OfFunction(GetParam().function);
        ASSERT_THAT(lines, SizeIs(1));
        EXPECT_EQ(lines[0].level, LogLevel::Info);
        EXPECT_EQ(lines[0].rest, "evaluator sent online request_id=" + request.request_id +
                                     ", voice_size=9, stems=[one,two]");
        EXPECT_THAT(messages_, IsEmpty());
    }
}

TEST_P(StemsQuestions, OneEmptyStem_IsAStemAndMakesOneRequest) {
    CommandAsk ask = AudioAsk(GetParam().type);
    ask.stems = {""};
    device_.HandleAsk(ask);
    device_.RunAudioPath(7, audio_, 0.0, 0);
    ASSERT_THAT(requests_, SizeIs(1));
    EXPECT_EQ(requests_[0].operation, GetParam().operation);
    EXPECT_THAT(requests_[0].stems, ElementsAre(""));
    EXPECT_FALSE(log_.Contains("stems is empty"));
}

TEST_P(StemsQuestions, EmptyStems_GiveAFileAndNoRequestAndNoEvent) {
    for (const std::optional<std::int32_t> error :
         {std::optional<std::int32_t>(-203), std::optional<std::int32_t>()}) {
        log_.Clear();
        CommandAsk ask = AudioAsk(GetParam().type);
        ask.stems.clear();
        device_.HandleAsk(ask);
        device_.RunAudioPath(7, audio_, 0.0, error);
        EXPECT_NE(SavedName(), "");
        ExpectOneLine(LogLevel::Debug, GetParam().name);
        ExpectOneLine(LogLevel::Debug, "cause stems is empty do not request evaluator");
    }
    EXPECT_THAT(requests_, IsEmpty());
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_P(StemsQuestions, BadRecording_GoesToTheClientWithTheErrorAsScore) {
    Record(GetParam().type, -203, 0.5);
    EXPECT_THAT(requests_, IsEmpty());
    ASSERT_THAT(messages_, SizeIs(1));
    const Json::Value& event = messages_[0];
    EXPECT_EQ(event["event"].asString(), "voice-evaluated");
    EXPECT_THAT(event["id"].asString(), SizeIs(36));
    EXPECT_EQ(event["device"].asString(), "7");
    EXPECT_EQ(event["extra"].asString(), SavedName());
    EXPECT_EQ(event["custom"].asString(), "custom");
    EXPECT_EQ(event["data"]["score"].asInt(), -203);
    EXPECT_EQ(event["data"]["result"].asString(), "");
    EXPECT_EQ(event["data"]["start_time"].asInt64(), 0);
    EXPECT_EQ(event["data"]["end_time"].asInt64(), 0);
    EXPECT_DOUBLE_EQ(event["data"]["lost_package_rate"].asDouble(), 0.0);
    ExpectOneLine(LogLevel::Debug, "audio error do not request evaluator");
    EXPECT_THAT(TrackwireRecords("ipc_vdk_event_voice_evaluated"), SizeIs(1));
}

TEST_P(StemsQuestions, OnHardwareThatTestsNothing_NoRecordingIsBad) {
    Record(GetParam().type, std::nullopt);
    EXPECT_THAT(requests_, SizeIs(1));
    EXPECT_FALSE(log_.Contains("audio error"));
}

TEST_F(Recordings, Evaluation_AreSentWithTheParamAndWithoutALineOfTheirOwn) {
    Record(QuestionType::VoiceEvaluation, 0, 0.75);
    ASSERT_THAT(requests_, SizeIs(1));
    const SeenRequest& request = requests_[0];
    EXPECT_EQ(request.operation, "evaluate");
    EXPECT_EQ(request.file_name, SavedName());
    EXPECT_EQ(request.param, "{\"p\":1}");
    EXPECT_THAT(request.stems, IsEmpty());
    EXPECT_TRUE(request.own_copy);
    EXPECT_EQ(request.audio, audio_);
    ExpectTemplate(request.request_id, "evaluated", 0.75);
    ExpectOneLine(LogLevel::Debug, "QuestionType::VoiceEvaluation");
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::RequestEvaluation"), IsEmpty());
}

TEST_F(Recordings, EvaluationWithoutParam_GiveAFileAndNoRequestAndNoEvent) {
    CommandAsk ask = AudioAsk(QuestionType::VoiceEvaluation);
    ask.param.clear();
    device_.HandleAsk(ask);
    for (const std::optional<std::int32_t> error :
         {std::optional<std::int32_t>(-201), std::optional<std::int32_t>()}) {
        log_.Clear();
        device_.RunAudioPath(7, audio_, 0.0, error);
        EXPECT_NE(SavedName(), "");
        ExpectOneLine(LogLevel::Debug, "QuestionType::VoiceEvaluation");
        ExpectOneLine(LogLevel::Debug, "cause param stringify is empty do not request evaluator");
    }
    EXPECT_THAT(SavedFiles(), Contains(audio_));
    EXPECT_THAT(requests_, IsEmpty());
    EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(Recordings, EvaluationWithErrorMinus201_GoesToTheClientAsError) {
    Record(QuestionType::VoiceEvaluation, -201, 0.5);
    EXPECT_THAT(requests_, IsEmpty());
    ASSERT_THAT(messages_, SizeIs(1));
    const Json::Value& event = messages_[0];
    EXPECT_EQ(event["event"].asString(), "evaluated");
    EXPECT_THAT(event["id"].asString(), SizeIs(36));
    EXPECT_EQ(event["device"].asString(), "7");
    EXPECT_EQ(event["extra"].asString(), SavedName());
    EXPECT_EQ(event["custom"].asString(), "custom");
    EXPECT_EQ(event["data"]["error"].asInt(), -201);
    EXPECT_DOUBLE_EQ(event["data"]["lost_package_rate"].asDouble(), 0.0);
    ExpectOneLine(LogLevel::Debug, "audio error do not request evaluator");
    const auto records = TrackwireRecords("ipc_vdk_event_evaluated");
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].Value("error"), "-201");
    EXPECT_EQ(records[0].Value("uniq_id"), event["id"].asString());
}

TEST_F(Recordings, VoiceRecord_IsReportedWithAnEmptyIdAndTheFilesName) {
    Record(QuestionType::VoiceRecord, -203, 0.25);
    ASSERT_THAT(messages_, SizeIs(1));
    const Json::Value& event = messages_[0];
    EXPECT_EQ(event["event"].asString(), "voice-record");
    ASSERT_TRUE(event.isMember("id"));
    EXPECT_EQ(event["id"].asString(), "");
    EXPECT_EQ(event["device"].asString(), "7");
    EXPECT_EQ(event["extra"].asString(), SavedName());
    EXPECT_EQ(event["custom"].asString(), "custom");
    EXPECT_DOUBLE_EQ(event["data"]["lost_package_rate"].asDouble(), 0.25);
    ExpectOneLine(LogLevel::Debug, "QuestionType::VoiceRecord");
    EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(Recordings, RequestIds_DecodeIntoTheirTemplates) {
    device_.HandleAsk(AudioAsk(QuestionType::Audio));
    device_.RunAudioPath(7, audio_, 0.125, std::nullopt);
    EventAudioRecognized recognized;
    ASSERT_TRUE(MessageCodec::DecodeEvent(requests_[0].request_id, &recognized));
    EXPECT_EQ(recognized.id + recognized.key + recognized.result, "");
    EXPECT_EQ(recognized.device, "7");
    EXPECT_EQ(recognized.extra, SavedName());
    EXPECT_EQ(recognized.custom, "custom");
    EXPECT_DOUBLE_EQ(recognized.lost_package_rate, 0.125);
    EXPECT_EQ(recognized.start_time + recognized.end_time + recognized.score, 0);
    for (const QuestionType type :
         {QuestionType::VoiceEvaluationSingle, QuestionType::VoiceEvaluationMultiple,
          QuestionType::VoiceEvaluationMultiple_CHN}) {
        Record(type, std::nullopt, 0.125);
        EventVoiceEvaluated evaluated;
        ASSERT_TRUE(MessageCodec::DecodeEvent(requests_.back().request_id, &evaluated));
        EXPECT_EQ(evaluated.id + evaluated.key + evaluated.result, "");
        EXPECT_EQ(evaluated.device, "7");
        EXPECT_EQ(evaluated.extra, requests_.back().file_name);
        EXPECT_EQ(evaluated.custom, "custom");
        EXPECT_DOUBLE_EQ(evaluated.lost_package_rate, 0.125);
    }
    Record(QuestionType::VoiceEvaluation, std::nullopt, 0.125);
    EventEvaluated general;
    ASSERT_TRUE(MessageCodec::DecodeEvent(requests_.back().request_id, &general));
    EXPECT_EQ(general.id + general.raw_result, "");
    EXPECT_EQ(general.device, "7");
    EXPECT_EQ(general.extra, requests_.back().file_name);
    EXPECT_EQ(general.error, 0);
}

/// The whole text of a template: nothing is set in it but the fields that the request knows.
template <typename Event>
std::string TemplateText(const std::string& file_name, double rate) {
    Event event;
    event.device = "7";
    event.extra = file_name;
    event.custom = "custom";
    event.lost_package_rate = rate;
    return MessageCodec::EncodeEvent(event);
}

TEST_F(Recordings, RequestIds_AreTheWholeTextsOfTheirTemplates) {
    for (const auto& [type, text] :
         {std::pair{QuestionType::Audio, &TemplateText<EventAudioRecognized>},
          {QuestionType::VoiceEvaluationSingle, &TemplateText<EventVoiceEvaluated>},
          {QuestionType::VoiceEvaluationMultiple, &TemplateText<EventVoiceEvaluated>},
          {QuestionType::VoiceEvaluationMultiple_CHN, &TemplateText<EventVoiceEvaluated>},
          {QuestionType::VoiceEvaluation, &TemplateText<EventEvaluated>}}) {
        for (const std::optional<std::int32_t> error :
             {std::optional<std::int32_t>(0), std::optional<std::int32_t>()}) {
            requests_.clear();
            Record(type, error, 0.125);
            ASSERT_THAT(requests_, SizeIs(1));
            EXPECT_EQ(requests_[0].request_id, text(SavedName(), 0.125)) << static_cast<int>(type);
        }
    }
}

TEST_F(Recordings, Stems_GoOutInUtf8AndIntoTheLogAsTheyStand) {
    const std::string stem = "\xE9t\xE9";  // in the active code page 1252
    CommandAsk ask = AudioAsk(QuestionType::VoiceEvaluationSingle);
    ask.stems = {"", stem, ""};
    device_.HandleAsk(ask);
    device_.RunAudioPath(7, audio_, 0.0, std::nullopt);
    ASSERT_THAT(requests_, SizeIs(1));
    EXPECT_THAT(requests_[0].stems, ElementsAre("", ToUtf8(stem), ""));
    EXPECT_TRUE(log_.Has(LogLevel::Info, "evaluator sent online request_id=" + requests_[0].request_id +
                                             ", voice_size=9, stems=[," + stem + ",]"));
}

TEST_F(Recordings, WithoutBytes_AreRequestedWithoutABlock) {
    audio_.clear();
    std::vector<std::pair<const std::uint8_t*, std::size_t>> seen;
    ON_CALL(listener_, RequestEvaluation)
        .WillByDefault([&seen](const std::string&, const EvaluateRequest& request) {
            seen.emplace_back(request.audio_data, request.audio_size);
            return 0;
        });
    Record(QuestionType::VoiceEvaluation, 0);
    EXPECT_THAT(seen, ElementsAre(testing::Pair(nullptr, 0u)));
}

TEST_F(Recordings, OfOneByte_AreSavedAndSentLikeAnyOther) {
    audio_ = {42};
    for (const QuestionType type :
         {QuestionType::Audio, QuestionType::VoiceEvaluationSingle, QuestionType::VoiceEvaluationMultiple,
          QuestionType::VoiceEvaluationMultiple_CHN, QuestionType::VoiceEvaluation}) {
        Record(type, 0);
    }
    EXPECT_THAT(SavedFiles(), testing::Each(ElementsAre(42)));
    ASSERT_THAT(requests_, SizeIs(5));
    for (const SeenRequest& request : requests_) {
        EXPECT_THAT(request.audio, ElementsAre(42)) << request.operation;
    }
}

TEST_F(Recordings, WithoutAListener_RequestsAreMadeAndDropped) {
    device_.SetEventListener(nullptr);
    for (const QuestionType type :
         {QuestionType::Audio, QuestionType::VoiceEvaluationSingle, QuestionType::VoiceEvaluationMultiple,
          QuestionType::VoiceEvaluationMultiple_CHN, QuestionType::VoiceEvaluation,
          QuestionType::VoiceRecord}) {
        Record(type, 0);
    }
    EXPECT_EQ(log_.Count("voice_size=9"), 4u);
    EXPECT_THAT(requests_, IsEmpty());
    EXPECT_THAT(messages_, IsEmpty());
}

}  // namespace
}  // namespace vdipc::test
