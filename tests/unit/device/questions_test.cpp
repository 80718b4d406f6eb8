#include "support/DeviceTest.h"

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::SizeIs;

class Questions : public DeviceTest {
protected:
    /// An ask with every field filled.
    static CommandAsk FullAsk(const std::string& device) {
        CommandAsk ask = Ask(device, QuestionType::VoiceEvaluation, "custom");
        ask.row1 = "r1";
        ask.has_row1 = true;
        ask.row2 = "r2";
        ask.has_row2 = true;
        ask.row3 = "r3";
        ask.has_row3 = true;
        ask.param = "{}";
        ask.stems = {"s1", "s2"};
        ask.audio_file_name_prefix = "prefix";
        return ask;
    }

    static void ExpectFullRecord(const QuestionRecord& record, const std::string& device) {
        EXPECT_FALSE(record.stopped);
        EXPECT_EQ(record.ask.command_type, CommandType::Ask);
        EXPECT_EQ(record.ask.id, "");
        EXPECT_EQ(record.ask.device, device);
        EXPECT_EQ(record.ask.type, QuestionType::VoiceEvaluation);
        EXPECT_EQ(record.ask.row1 + record.ask.row2 + record.ask.row3, "r1r2r3");
        EXPECT_TRUE(record.ask.has_row1 && record.ask.has_row2 && record.ask.has_row3);
        EXPECT_EQ(record.ask.custom, "custom");
        EXPECT_EQ(record.ask.param, "{}");
        EXPECT_THAT(record.ask.stems, ElementsAre("s1", "s2"));
        EXPECT_EQ(record.ask.audio_file_name_prefix, "prefix");
    }

    std::string QuestionState(const std::string& device) const {
        const auto found = device_.last_question_map_.find(device);
        if (found == device_.last_question_map_.end()) {
            return "Absent";
        }
        return found->second.stopped ? "Closed" : "Open";
    }

    std::string AnswerState(const std::string& device) const {
        const auto found = device_.last_answer_map_.find(device);
        if (found == device_.last_answer_map_.end()) {
            return "None";
        }
        return found->second.finished ? "Finished" : "Collecting";
    }
};

TEST_F(Questions, NewQuestionRecord_IsBornStoppedWithTypeMinusOne) {
    const QuestionRecord record;
    EXPECT_TRUE(record.stopped);
    EXPECT_EQ(record.ask.command_type, CommandType::Ask);
    EXPECT_EQ(static_cast<int>(record.ask.type), -1);
    EXPECT_EQ(record.ask.device + record.ask.custom + record.ask.param, "");
}

TEST_F(Questions, NewAnswerRecord_IsUnfinishedWithAnEmptyKeyPressedEvent) {
    const AnswerRecord record;
    EXPECT_FALSE(record.finished);
    EXPECT_EQ(static_cast<int>(record.key_event.event_type), 5);
    EXPECT_EQ(record.key_event.id + record.key_event.device + record.key_event.key + record.key_event.extra +
                  record.key_event.custom,
              "");
}

TEST_F(Questions, DefaultRecordOfTypeMinusOne_RefusesAllKeysAndIsStoppedAnyway) {
    device_.last_question_map_["5"];
    EXPECT_EQ(Press(5, 1), "dropped");
    AnswerRecord answer;
    for (std::int32_t key = 0; key <= 12; ++key) {
        EXPECT_FALSE(device_.FilterKeyEvent(-1, key, answer));
    }
    EXPECT_EQ(answer.key_event.key, "");
}

TEST_F(Questions, Ask_StoresThenErasesThenStartsThenShows) {
    device_.last_answer_map_["7"].finished = true;
    {
        InSequence order;
        EXPECT_CALL(device_, StartQuestion("7", QuestionType::VoiceEvaluation)).WillOnce([this] {
            EXPECT_EQ(QuestionState("7"), "Open");
            EXPECT_EQ(AnswerState("7"), "None");
        });
        EXPECT_CALL(device_, SetText("7", true, "r1", true, "r2", true, "r3"));
    }
    device_.HandleAsk(FullAsk("7"));
    EXPECT_THAT(DebugLines(), ElementsAre("cover question record for device 7", "erase last_answer_map_[7]"));
}

TEST_F(Questions, Stop_ErasesTheAnswerBeforeItClosesTheQuestion) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    Press(7, 1);
    CommandStop stop = Stop("7");
    stop.has_row2 = true;
    stop.row2 = "over";
    log_.Clear();
    {
        InSequence order;
        EXPECT_CALL(device_, StopQuestion("7")).WillOnce([this] {
            EXPECT_EQ(QuestionState("7"), "Closed");
            EXPECT_EQ(AnswerState("7"), "None");
        });
        EXPECT_CALL(device_, SetText("7", false, "", true, "over", false, ""));
    }
    device_.HandleStop(stop);
    EXPECT_THAT(DebugLines(), ElementsAre("erase last_answer_map_[7]", "stop last_question_map_[7]"));
}

TEST_F(Questions, AskAndStopWithoutRows_CallSetTextAllTheSame) {
    EXPECT_CALL(device_, SetText("7", false, "", false, "", false, "")).Times(2);
    device_.HandleAsk(Ask("7", QuestionType::General));
    device_.HandleStop(Stop("7"));
}

TEST_F(Questions, NewRecord_KeepsEveryFieldButTheCommandsId) {
    device_.StartNewQuestionRecord(FullAsk("7"));
    ASSERT_THAT(device_.last_question_map_, SizeIs(1));
    ExpectFullRecord(device_.last_question_map_["7"], "7");
    EXPECT_THAT(DebugLines("StartNewQuestionRecord"), ElementsAre("cover question record for device 7"));
}

TEST_F(Questions, NewRecord_OverwritesAnEarlierQuestionOfTheDevice) {
    device_.StartNewQuestionRecord(FullAsk("7"));
    device_.StartNewQuestionRecord(Ask("7", QuestionType::TrueFalse, "second"));
    const QuestionRecord& record = device_.last_question_map_["7"];
    EXPECT_EQ(record.ask.type, QuestionType::TrueFalse);
    EXPECT_EQ(record.ask.custom, "second");
    EXPECT_EQ(record.ask.row1 + record.ask.param + record.ask.audio_file_name_prefix, "");
    EXPECT_FALSE(record.ask.has_row1);
    EXPECT_THAT(record.ask.stems, IsEmpty());
}

TEST_F(Questions, AskForAll_IsRecordedUnderZeroAndUnderEachActivatedDevice) {
    device_.SetActivatedDeviceSet({"9", "10"});
    device_.last_question_map_["77"];  // no text record
    log_.Clear();
    device_.StartNewQuestionRecord(FullAsk("0"));
    EXPECT_THAT(device_.last_question_map_, SizeIs(4));
    ExpectFullRecord(device_.last_question_map_["0"], "0");
    ExpectFullRecord(device_.last_question_map_["10"], "10");
    ExpectFullRecord(device_.last_question_map_["9"], "9");
    EXPECT_TRUE(device_.last_question_map_["77"].stopped);
    EXPECT_THAT(DebugLines("StartNewQuestionRecord"),
                ElementsAre("cover question record for device 0",
                            "new ask command is for device 0, cover all questions in last_question_map_",
                            "cover question record for device 10", "cover question record for device 9"));
}

TEST_F(Questions, AskForAllWithNoActivatedDevice_MakesTheRecordUnderZeroAloneAndNoKeyCounts) {
    device_.HandleAsk(Ask("0", QuestionType::General));
    EXPECT_THAT(device_.last_question_map_, SizeIs(1));
    EXPECT_EQ(Press(7, 1), "dropped");
    device_.HandleAsk(Ask("7", QuestionType::General));
    EXPECT_EQ(Press(7, 1), "sent");
}

TEST_F(Questions, DeviceActivatedAfterAnAskForAll_HasNoQuestionUntilTheNextAsk) {
    device_.HandleAsk(Ask("0", QuestionType::General));
    device_.CreateTextRecordForDevice("7");
    EXPECT_EQ(Press(7, 1), "dropped");
    device_.HandleAsk(Ask("0", QuestionType::General));
    EXPECT_EQ(Press(7, 1), "sent");
}

TEST_F(Questions, AskForADeviceThatDoesNotExist_MakesTheRecordAllTheSame) {
    device_.HandleAsk(Ask("no number", QuestionType::General));
    EXPECT_EQ(QuestionState("no number"), "Open");
}

TEST_F(Questions, AskWhileTheAnswerIsFinished_LetsThePupilAnswerAgain) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    EXPECT_EQ(Press(7, 1), "sent");
    EXPECT_EQ(Press(7, 2), "dropped");
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    EXPECT_EQ(Press(7, 2), "sent");
    EXPECT_THAT(Keys(), ElementsAre("A", "B"));
}

TEST_F(Questions, StopForAll_ClosesActivatedDevicesMakesMissingEntriesAndLeavesOthersOpen) {
    device_.HandleAsk(Ask("5", QuestionType::General));  // no text record
    device_.HandleAsk(Ask("7", QuestionType::General));
    device_.SetActivatedDeviceSet({"7", "8"});
    device_.HandleAsk(Ask("0", QuestionType::General));
    device_.last_question_map_.erase("8");
    log_.Clear();
    device_.StopLastQuestionRecord("0");
    EXPECT_EQ(QuestionState("0"), "Closed");
    EXPECT_EQ(QuestionState("5"), "Open");
    EXPECT_EQ(QuestionState("7"), "Closed");
    EXPECT_EQ(QuestionState("8"), "Closed");
    EXPECT_THAT(DebugLines("StopLastQuestionRecord"),
                ElementsAre("stop last_question_map_[0]",
                            "stop command is for device 0, stop all questions in last_question_map_",
                            "stop question record for device 7", "stop question record for device 8"));
}

TEST_F(Questions, StopForADeviceWithoutAQuestion_MakesNoEntry) {
    device_.StopLastQuestionRecord("7");
    EXPECT_EQ(QuestionState("7"), "Absent");
    device_.StopLastQuestionRecord("0");
    EXPECT_EQ(QuestionState("0"), "Absent");
}

TEST_F(Questions, EraseLastAnswer_OfZeroEmptiesTheMap) {
    device_.last_answer_map_["1"];
    device_.last_answer_map_["2"];
    device_.EraseLastAnswer("1");
    EXPECT_THAT(device_.last_answer_map_, SizeIs(1));
    device_.EraseLastAnswer("1");
    device_.EraseLastAnswer("0");
    EXPECT_THAT(device_.last_answer_map_, IsEmpty());
    EXPECT_THAT(
        DebugLines("EraseLastAnswer"),
        ElementsAre("erase last_answer_map_[1]", "erase last_answer_map_[1]", "clear last_answer_map_"));
}

TEST_F(Questions, FindLastQuestion_GivesTheRecordInTheMapOrNull) {
    device_.last_question_map_["7"];
    EXPECT_EQ(device_.FindLastQuestion("7"), &device_.last_question_map_["7"]);
    EXPECT_EQ(device_.FindLastQuestion("8"), nullptr);
    const auto lines = log_.OfFunction("VoteDeckObjectBase::FindLastQuestion");
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    EXPECT_EQ(lines[0].rest, "device=7");
    EXPECT_EQ(lines[1].level, LogLevel::Debug);
    EXPECT_EQ(lines[1].rest, "device=7 found=true");
    EXPECT_EQ(lines[3].rest, "device=8 found=false");
}

TEST_F(Questions, IsLastAnswerFinished_NeedsAllFourConditions) {
    EXPECT_FALSE(device_.IsLastAnswerFinished("7"));
    device_.last_question_map_["7"].ask.custom = "c";
    device_.last_question_map_["7"].stopped = false;
    EXPECT_FALSE(device_.IsLastAnswerFinished("7"));
    AnswerRecord& answer = device_.last_answer_map_["7"];
    answer.key_event.custom = "c";
    EXPECT_FALSE(device_.IsLastAnswerFinished("7"));
    answer.finished = true;
    EXPECT_TRUE(device_.IsLastAnswerFinished("7"));
    answer.key_event.custom = "other";
    EXPECT_FALSE(device_.IsLastAnswerFinished("7"));
    answer.key_event.custom = "c";
    device_.last_question_map_["7"].stopped = true;
    EXPECT_FALSE(device_.IsLastAnswerFinished("7"));
    EXPECT_THAT(DebugLines("IsLastAnswerFinished"),
                ElementsAre("device_id=7, answer_finished=false", "device_id=7, answer_finished=false",
                            "device_id=7, answer_finished=false", "device_id=7, answer_finished=true",
                            "device_id=7, answer_finished=false", "device_id=7, answer_finished=false"));
}

TEST_F(Questions, AfterAStop_TheAnswerIsNotFinishedWhileKeysAreDroppedByTheStoppedCheck) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    Press(7, 1);
    EXPECT_TRUE(device_.IsLastAnswerFinished("7"));
    device_.HandleStop(Stop("7"));
    EXPECT_FALSE(device_.IsLastAnswerFinished("7"));
    log_.Clear();
    EXPECT_EQ(Press(7, 2), "dropped");
    EXPECT_THAT(log_.OfFunction("VoteDeckObjectBase::IsLastAnswerFinished"), IsEmpty());
}

TEST_F(Questions, EachOperation_LogsItsEntryAtTrace) {
    AnswerRecord answer;
    ExpectEntry("HandleAsk", "", [&] { device_.HandleAsk(Ask("7", QuestionType::General)); });
    ExpectEntry("HandleStop", "", [&] { device_.HandleStop(Stop("7")); });
    ExpectEntry("CheckLastQuestionCustom", "", [&] { device_.CheckLastQuestionCustom("7", "c"); });
    ExpectEntry("StartNewQuestionRecord", "",
                [&] { device_.StartNewQuestionRecord(Ask("7", QuestionType::General)); });
    ExpectEntry("StopLastQuestionRecord", "", [&] { device_.StopLastQuestionRecord("7"); });
    ExpectEntry("FindLastQuestion", "device=7", [&] { device_.FindLastQuestion("7"); });
    ExpectEntry("EraseLastAnswer", "", [&] { device_.EraseLastAnswer("7"); });
    ExpectEntry("IsLastAnswerFinished", "", [&] { device_.IsLastAnswerFinished("7"); });
    ExpectEntry("FilterKeyEvent", "", [&] { device_.FilterKeyEvent(0, 1, answer); });
    ExpectEntry("KeyToString", "", [&] { device_.KeyToString(1); });
}

TEST_F(Questions, CheckLastQuestionCustom_IsTrueForAnOpenQuestionWithThisCustom) {
    EXPECT_FALSE(device_.CheckLastQuestionCustom("7", "c"));
    device_.HandleAsk(Ask("7", QuestionType::Audio, "c"));
    EXPECT_TRUE(device_.CheckLastQuestionCustom("7", "c"));
    EXPECT_FALSE(device_.CheckLastQuestionCustom("7", "C"));
    EXPECT_THAT(DebugLines("CheckLastQuestionCustom"),
                ElementsAre("match=false", "match=true", "match=false"));
}

TEST_F(Questions, CheckLastQuestionCustom_IsFalseForAClosedQuestionWithThisCustom) {
    device_.HandleAsk(Ask("7", QuestionType::Audio, "c"));
    device_.HandleStop(Stop("7"));
    EXPECT_EQ(device_.last_question_map_["7"].ask.custom, "c");
    EXPECT_FALSE(device_.CheckLastQuestionCustom("7", "c"));
}

TEST_F(Questions, EmptyCustom_EqualsAnEmptyOneForASecondKey) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice, ""));
    EXPECT_EQ(Press(7, 1), "sent");
    EXPECT_TRUE(device_.IsLastAnswerFinished("7"));
    EXPECT_EQ(Press(7, 2), "dropped");
    EXPECT_THAT(Keys(), ElementsAre("A"));
}

TEST_F(Questions, EmptyCustom_EqualsAnEmptyOneForASpeechResult) {
    device_.HandleAsk(Ask("7", QuestionType::Audio, ""));
    EXPECT_TRUE(device_.CheckLastQuestionCustom("7", ""));
    EXPECT_FALSE(device_.CheckLastQuestionCustom("7", "c"));
}

TEST_F(Questions, IdOfASpeechResult_IsTakenAsItStandsAndNeverNormalised) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("0", QuestionType::Audio, "c"));
    EXPECT_TRUE(device_.CheckLastQuestionCustom("7", "c"));
    EXPECT_TRUE(device_.CheckLastQuestionCustom("0", "c"));
    for (const char* other : {"07", "007", "00", "", " 7", "+7"}) {
        EXPECT_FALSE(device_.CheckLastQuestionCustom(other, "c")) << other;
    }
}

TEST_F(Questions, IdOfAnAsk_IsTakenAsItStandsAndNeverNormalised) {
    device_.CreateTextRecordForDevice("7");
    EXPECT_CALL(device_, StartQuestion("007", QuestionType::SingleChoice));
    EXPECT_CALL(device_, StartQuestion("00", QuestionType::SingleChoice));
    device_.HandleAsk(Ask("007", QuestionType::SingleChoice));
    device_.HandleAsk(Ask("00", QuestionType::SingleChoice));
    EXPECT_THAT(device_.last_question_map_, SizeIs(2));
    EXPECT_EQ(QuestionState("007"), "Open");
    EXPECT_EQ(QuestionState("00"), "Open") << "a device like any other";
    EXPECT_EQ(device_.last_question_map_["007"].ask.device, "007");
    EXPECT_EQ(QuestionState("7"), "Absent");
    EXPECT_EQ(Press(7, 1), "dropped");
    EXPECT_FALSE(device_.CheckLastQuestionCustom("7", "c"));
    EXPECT_FALSE(device_.CheckLastQuestionCustom("0", "c"));
}

TEST_F(Questions, IdOfAStop_IsTakenAsItStandsAndNeverNormalised) {
    device_.CreateTextRecordForDevice("7");
    device_.HandleAsk(Ask("7", QuestionType::General));
    Press(7, 1);
    for (const char* other : {"007", "00", "07 ", "+7"}) {
        device_.HandleStop(Stop(other));
        EXPECT_EQ(QuestionState("7"), "Open") << other;
        EXPECT_EQ(AnswerState("7"), "Collecting") << other;
        EXPECT_EQ(QuestionState(other), "Absent");
        EXPECT_FALSE(device_.CheckLastQuestionCustom(other, "c")) << other;
    }
}

TEST_F(Questions, TakeKey_FillsTheEventFromTheQuestionAndLeavesTheSendingToItsCaller) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice, "mine"));
    EXPECT_EQ(device_.TakeKey("7", 2), std::optional<bool>(true));
    EXPECT_EQ(device_.last_answer_map_["7"].key_event.device, "7");
    EXPECT_EQ(device_.last_answer_map_["7"].key_event.custom, "mine");
    EXPECT_EQ(device_.last_answer_map_["7"].key_event.key, "B");
    EXPECT_THAT(steps_, IsEmpty());
    EXPECT_EQ(device_.TakeKey("7", 3), std::nullopt) << "the answer is finished";
    EXPECT_EQ(device_.TakeKey("8", 2), std::nullopt);
    EXPECT_THAT(device_.last_answer_map_, SizeIs(1));
}

// The states of a device's question and answer, row by row.

enum class Before { QuestionAbsent, QuestionClosed, Open, Collecting, Finished };

struct Transition {
    const char* event;
    bool has_text_record;
    Before before;
    const char* question_after;
    const char* answer_after;
};

class QuestionStates : public Questions, public testing::WithParamInterface<Transition> {
protected:
    void Prepare(const Transition& row) {
        if (row.before != Before::QuestionAbsent) {
            device_.HandleAsk(Ask("7", QuestionType::MultipleChoice, "old"));
        }
        if (row.before == Before::QuestionClosed) {
            device_.StopLastQuestionRecord("7");
        }
        if (row.before == Before::Collecting || row.before == Before::Finished) {
            Press(7, 1);
        }
        if (row.before == Before::Finished) {
            Press(7, 5);
        }
        if (row.has_text_record) {
            device_.CreateTextRecordForDevice("7");
        }
    }

    void Happen(const std::string& event) {
        if (event == "ask D") {
            device_.HandleAsk(Ask("7", QuestionType::TrueFalse, "new"));
        } else if (event == "ask 0") {
            device_.HandleAsk(Ask("0", QuestionType::TrueFalse, "new"));
        } else if (event == "stop D") {
            device_.HandleStop(Stop("7"));
        } else if (event == "stop 0") {
            device_.HandleStop(Stop("0"));
        } else if (event == "drop D") {
            device_.HandleDrop(Drop("7"));
        } else if (event == "refused key") {
            Press(7, 9);
        } else if (event == "counting key") {
            Press(7, 2);
        } else if (event == "finishing key") {
            Press(7, 5);
        } else {
            FAIL() << event;
        }
    }
};

TEST_P(QuestionStates, Transition_IsAsTheTableSays) {
    const Transition& row = GetParam();
    Prepare(row);
    Happen(row.event);
    EXPECT_EQ(QuestionState("7"), row.question_after);
    EXPECT_EQ(AnswerState("7"), row.answer_after);
    const std::string event = row.event;
    const bool covered = event == "ask D" || (event == "ask 0" && row.has_text_record);
    if (std::string(row.question_after) == "Open") {
        EXPECT_EQ(device_.last_question_map_["7"].ask.custom, covered ? "new" : "old");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, QuestionStates,
    testing::Values(Transition{"ask D", false, Before::QuestionAbsent, "Open", "None"},
                    Transition{"ask D", false, Before::QuestionClosed, "Open", "None"},
                    Transition{"ask D", true, Before::Finished, "Open", "None"},
                    Transition{"ask 0", true, Before::QuestionAbsent, "Open", "None"},
                    Transition{"ask 0", true, Before::QuestionClosed, "Open", "None"},
                    Transition{"ask 0", true, Before::Finished, "Open", "None"},
                    Transition{"ask 0", false, Before::QuestionAbsent, "Absent", "None"},
                    Transition{"ask 0", false, Before::QuestionClosed, "Closed", "None"},
                    Transition{"ask 0", false, Before::Finished, "Open", "None"},
                    Transition{"stop D", false, Before::QuestionAbsent, "Absent", "None"},
                    Transition{"stop D", true, Before::QuestionAbsent, "Absent", "None"},
                    Transition{"stop D", false, Before::Collecting, "Closed", "None"},
                    Transition{"stop D", true, Before::Finished, "Closed", "None"},
                    Transition{"stop 0", true, Before::QuestionAbsent, "Closed", "None"},
                    Transition{"stop 0", true, Before::Open, "Closed", "None"},
                    Transition{"stop 0", true, Before::Finished, "Closed", "None"},
                    Transition{"stop 0", false, Before::QuestionAbsent, "Absent", "None"},
                    Transition{"stop 0", false, Before::Finished, "Open", "None"},
                    Transition{"drop D", true, Before::QuestionAbsent, "Absent", "None"},
                    Transition{"drop D", true, Before::Finished, "Closed", "None"},
                    Transition{"drop D", false, Before::Collecting, "Closed", "None"},
                    Transition{"refused key", false, Before::Open, "Open", "Collecting"},
                    Transition{"refused key", false, Before::Collecting, "Open", "Collecting"},
                    Transition{"counting key", false, Before::Open, "Open", "Collecting"},
                    Transition{"counting key", true, Before::Collecting, "Open", "Collecting"},
                    Transition{"finishing key", false, Before::Open, "Open", "Finished"},
                    Transition{"finishing key", true, Before::Collecting, "Open", "Finished"},
                    Transition{"counting key", false, Before::QuestionAbsent, "Absent", "None"},
                    Transition{"finishing key", true, Before::QuestionClosed, "Closed", "None"},
                    Transition{"counting key", false, Before::Finished, "Open", "Finished"},
                    Transition{"refused key", false, Before::Finished, "Open", "Finished"},
                    Transition{"finishing key", false, Before::Finished, "Open", "Finished"}));

}  // namespace
}  // namespace vdipc::test
