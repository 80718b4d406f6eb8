// Keypads that bind and unbind, and the question that an LW gives to those that come.
#include "unit/drivers/support/TQFixture.h"

#include <functional>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using enum DeviceType;

class TQCardTest : public TQTest {};

TEST_F(TQCardTest, TQ2Bind_SendsTheLockBeforeActivated) {
    Make(TQ2);
    object_->dropped_device_set_.insert("12");
    object_->OnBindCard(12);
    ExpectLine(LogLevel::Info, "newUid=12, ");
    {
        InSequence order;
        EXPECT_CALL(deck_, SendQuestion(_, EnumQuestionType{17}, 12u)).WillOnce([&] {
            EXPECT_THAT(handler_.Events(), IsEmpty());
            EXPECT_THAT(object_->GetActivatedDeviceSet(), IsEmpty());
        });
    }
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12"));
    ExpectLine(LogLevel::Debug, "task begin newUid=12, ");
    EXPECT_THAT(object_->dropped_device_set_, IsEmpty());
    EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("12"));
    testing::Mock::VerifyAndClearExpectations(&deck_);
}

TEST_F(TQCardTest, TQ2Unbind_SendsTheUnlockBeforeInactivated) {
    Make(TQ2);
    AddKeypad("12");
    object_->dropped_device_set_.insert("12");
    object_->OnUnbindCard(12);
    ExpectLine(LogLevel::Info, "device_id=12");
    EXPECT_CALL(deck_, SendQuestion(_, EnumQuestionType{18}, 12u)).WillOnce([&] {
        EXPECT_THAT(handler_.Events(), IsEmpty());
        EXPECT_THAT(object_->GetActivatedDeviceSet(), ElementsAre("12"));
    });
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "inactivated 12"));
    ExpectLine(LogLevel::Debug, "task begin device_id=12");
    EXPECT_THAT(object_->dropped_device_set_, IsEmpty());
    EXPECT_THAT(object_->GetActivatedDeviceSet(), IsEmpty());
    testing::Mock::VerifyAndClearExpectations(&deck_);
}

TEST_F(TQCardTest, BindAndUnbind_RunTheStepsOfComingAndGoingInOrder) {
    ForEachKind({TQ2}, [&](DeviceType, bool locks) {
        object_->OnBindCard(12);
        Run();
        EXPECT_EQ(StepsOfTheCycle(log_), kStepsOfComing);
        if (locks) {
            ExpectTaskLine(LogLevel::Debug, "TQ2.0 send question lock 12", "OnBindCard");
        }
        Forget();
        object_->OnUnbindCard(12);
        Run();
        EXPECT_EQ(StepsOfTheCycle(log_), kStepsOfGoing);
        if (locks) {
            ExpectTaskLine(LogLevel::Debug, "TQ2.0 send question unlock 12", "OnUnbindCard");
        }
    });
}

TEST_F(TQCardTest, TQ2WithoutReceiver_LockAndUnlockGoOutAllTheSame) {
    Make(TQ2);
    deck_.connected = false;
    object_->OnBindCard(12);
    EXPECT_THAT(Run(), ElementsAre("question 17 to 12", "active devices changed", "activated 12"));
    object_->OnUnbindCard(12);
    EXPECT_THAT(Run(), ElementsAre("question 18 to 12", "active devices changed", "inactivated 12"));
}

TEST_F(TQCardTest, CardThatLeavesAndComesBack_KeepsItsQuestionAndItsAnswer) {
    ForEachKind({}, [&](DeviceType, bool) {
        object_->OnBindCard(12);
        object_->last_question_map_["12"] = {false, Ask("12", QuestionType::MultipleChoice)};
        const auto keys = [this] {
            Journal notes = Run();
            std::erase_if(notes, [](const std::string& note) { return note.rfind("key-pressed ", 0) != 0; });
            return notes;
        };
        Key(12, 1);
        object_->OnUnbindCard(12);
        object_->OnBindCard(12);
        Key(12, 2);
        EXPECT_THAT(keys(), IsEmpty());
        EXPECT_TRUE(object_->CheckLastQuestionCustom("12", "c"));
        Key(12, 5);
        EXPECT_THAT(keys(), ElementsAre("key-pressed 12 AB"));
        object_->OnUnbindCard(12);
        object_->OnBindCard(12);
        Key(12, 5);
        EXPECT_THAT(keys(), IsEmpty()) << "the answer is still finished";
    });
}

TEST_F(TQCardTest, BindAgain_KeepsTheRowsOfTheRecord) {
    Make(TQ1);
    AddKeypad("12", "a", "b", "c");
    object_->OnBindCard(12);
    Run();
    EXPECT_EQ(RowsOf("12"), "a|b|c");
}

/// A handler that looks at something while a text goes to the client.
class Observer : public HandlerRecorder {
public:
    std::function<void()> at_message;

    void SendIPCMesage(const std::string& text) override {
        HandlerRecorder::SendIPCMesage(text);
        at_message();
    }
};

TEST_F(TQCardTest, LWThatComes_HasTheQuestionOfAllDevicesBeforeActivatedIsSent) {
    for (const bool by_key : {false, true}) {
        SCOPED_TRACE(by_key);
        Make(LW);
        Observer observer;
        object_->SetEventListener(&observer);
        object_->last_question_map_["0"] = {false, Ask("0", QuestionType::SingleChoice, "of all")};
        std::vector<bool> had_it;
        observer.at_message = [&] { had_it.push_back(object_->CheckLastQuestionCustom("12", "of all")); };
        if (by_key) {
            Access::AllGeneral(*object_) = true;
            object_->dropped_device_set_.insert("12");
            Key(12, 9);
        } else {
            object_->OnBindCard(12);
        }
        observer.RunTasks();
        EXPECT_THAT(observer.TakeNotes(), ElementsAre("active devices changed", "activated 12"));
        EXPECT_THAT(had_it, ElementsAre(true));
        object_->SetEventListener(&handler_);
    }
}

TEST_F(TQCardTest, LWThatComes_GetsTheQuestionOfAllDevicesInPlaceOfItsOwn) {
    Make(LW);
    object_->last_question_map_["0"] = {false, Ask("0", QuestionType::SingleChoice, "of all")};
    for (const bool stopped : {false, true}) {
        object_->last_question_map_["12"] = {stopped, Ask("12", QuestionType::TrueFalse, "its own")};
        object_->OnBindCard(12);
        Run();
        EXPECT_TRUE(object_->CheckLastQuestionCustom("12", "of all")) << stopped;
        EXPECT_EQ(object_->last_question_map_["12"].ask.type, QuestionType::SingleChoice) << stopped;
    }
}

TEST_F(TQCardTest, LWThatComes_KeepsItsAnswerToTheQuestionOfAllDevices) {
    Make(LW);
    AddKeypad("12");
    object_->HandleAsk(Ask("0", QuestionType::SingleChoice, "of all"));
    Key(12, 2);
    object_->OnUnbindCard(12);
    object_->OnBindCard(12);
    Run();
    EXPECT_EQ(object_->last_answer_map_["12"].key_event.key, "B");
    Key(12, 3);
    EXPECT_THAT(Run(), IsEmpty()) << "the answer is finished";
}

TEST_F(TQCardTest, CopyQuestion_NothingAskedOfAll_ChangesNothing) {
    Make(LW);
    object_->OnBindCard(12);
    EXPECT_THAT(Run(), ElementsAre("active devices changed", "activated 12"));
    EXPECT_THAT(object_->last_question_map_, IsEmpty());
}

TEST_F(TQCardTest, CopyQuestion_TakesAllFieldsButParamAndTheCommandsId) {
    Make(LW);
    CommandAsk all = Ask("0", QuestionType::VoiceEvaluation, "of all");
    all.id = "id of all";
    all.row1 = "1";
    all.has_row1 = true;
    all.row2 = "2";
    all.has_row2 = true;
    all.row3 = "3";
    all.has_row3 = true;
    all.param = "param of all";
    all.stems = {"s", "t"};
    all.audio_file_name_prefix = "p";
    object_->last_question_map_["0"] = {true, all};
    CommandAsk own;
    own.id = "own id";
    own.param = "own param";
    object_->last_question_map_["12"] = {true, own};
    Forget();
    Access::CopyQuestion(*object_, "12");
    const QuestionRecord& record = object_->last_question_map_["12"];
    EXPECT_FALSE(record.stopped) << "open even where the question of all is stopped";
    EXPECT_EQ(record.ask.device, "12");
    EXPECT_EQ(record.ask.type, QuestionType::VoiceEvaluation);
    EXPECT_EQ(record.ask.row1 + record.ask.row2 + record.ask.row3, "123");
    EXPECT_TRUE(record.ask.has_row1 && record.ask.has_row2 && record.ask.has_row3);
    EXPECT_EQ(record.ask.custom, "of all");
    EXPECT_THAT(record.ask.stems, ElementsAre("s", "t"));
    EXPECT_EQ(record.ask.audio_file_name_prefix, "p");
    EXPECT_EQ(record.ask.param, "own param");
    EXPECT_EQ(record.ask.id, "own id");
    EXPECT_THAT(log_.Lines(), IsEmpty());
    EXPECT_THAT(Take(), IsEmpty());
    Access::CopyQuestion(*object_, "13");
    EXPECT_EQ(object_->last_question_map_["13"].ask.param, "");
    EXPECT_TRUE(object_->CheckLastQuestionCustom("13", "of all"));
}

}  // namespace
}  // namespace vdipc::test
