// The watch over the base station.
#include "common/Event.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <stdexcept>
#include <thread>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::_;
using testing::AnyNumber;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

class RV2StatusTest : public RV2Test {
protected:
    RV2StatusTest() {
        EXPECT_CALL(deck_, CloseSocket()).Times(AnyNumber());
        EXPECT_CALL(deck_, SetListener(_)).Times(AnyNumber());
        EXPECT_CALL(deck_, SetSessionMode(_, _)).Times(AnyNumber());
        EXPECT_CALL(deck_, StartSession()).Times(AnyNumber());
        EXPECT_CALL(deck_, SetSessionEnabled(_)).Times(AnyNumber());
    }

    /// One check, with this status before and this answer of the script; what the handler heard.
    std::vector<std::string> Check(std::int32_t status, std::int32_t answer) {
        object_->status_ = status;
        object_->answers = {answer};
        Access::CheckStatusTask(*object_);
        return handler_.TakeNotes();
    }
};

TEST_F(RV2StatusTest, Check_ConnectedAndExitCode7_OneRemovedAndOneStatusNotification) {
    EXPECT_THAT(Check(-1, 0), ElementsAre("removed no-power", "status 3 0"));
    EXPECT_EQ(object_->GetDeviceStatus(), 0);
}

TEST_F(RV2StatusTest, Check_ConnectedAndUsbLinkMissing_OneRemovedAndOneStatusNotification) {
    EXPECT_THAT(Check(-1, 1), ElementsAre("removed not-connected", "status 3 1"));
    EXPECT_EQ(object_->GetDeviceStatus(), 1);
}

TEST_F(RV2StatusTest, Check_NoPowerAndExitCode7Again_OnlyBadStatusAtEveryCheck) {
    EXPECT_THAT(Check(0, 0), ElementsAre("bad status 0"));
    for (int i = 0; i < 3; ++i) {
        Access::CheckStatusTask(*object_);
        EXPECT_THAT(handler_.TakeNotes(), ElementsAre("bad status 0"));
    }
}

TEST_F(RV2StatusTest, Check_NoPowerAndExitCode1_StatusNotificationAndNoRemoved) {
    EXPECT_THAT(Check(0, 1), ElementsAre("status 3 1"));
    EXPECT_EQ(object_->GetDeviceStatus(), 1);
}

TEST_F(RV2StatusTest, Check_UnknownOrIpNotSetAndDown_StatusNotificationAlone) {
    EXPECT_THAT(Check(-2, 0), ElementsAre("status 3 0"));
    EXPECT_THAT(Check(2, 1), ElementsAre("status 3 1"));
}

TEST_F(RV2StatusTest, Check_StationGoesAway_SocketIsNotClosed) {
    AttachDeck();
    EXPECT_CALL(deck_, CloseSocket()).Times(0);
    Check(-1, 1);
    EXPECT_EQ(Access::Deck(*object_), &deck_);
    testing::Mock::VerifyAndClearExpectations(&deck_);
    EXPECT_CALL(deck_, CloseSocket()).Times(AnyNumber());
}

TEST_F(RV2StatusTest, Check_StationComesBackAndSocketOpens_ArrivedStatusAndANewThread) {
    object_->answers = {1};
    object_->Initialize();
    ASSERT_TRUE(log_.WaitForCount("RV2 status check thread begin", 1));
    EXPECT_CALL(deck_, InitSocket(_, _, _)).WillOnce(Return(0));
    EXPECT_THAT(Check(1, -1), ElementsAre("arrived", "status 3 -1"));
    EXPECT_EQ(object_->GetDeviceStatus(), -1);
    EXPECT_TRUE(log_.WaitForCount("RV2 status check thread begin", 2));
    EXPECT_EQ(log_.Count("RV2 status check thread end"), 1u);
    EXPECT_TRUE(Access::HasThread(*object_));
    EXPECT_TRUE(USBListenerAccess::IsListed(object_.get()));
}

TEST_F(RV2StatusTest, Check_StationComesBackAndInitSocketFails_IpNotSetThenOnlyBadStatus) {
    EXPECT_CALL(deck_, InitSocket(_, _, _)).Times(2).WillRepeatedly(Return(1));
    EXPECT_THAT(Check(1, -1), ElementsAre("status 3 2"));
    EXPECT_EQ(object_->GetDeviceStatus(), 2);
    Access::CheckStatusTask(*object_);
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("bad status 2"));
    EXPECT_EQ(object_->GetDeviceStatus(), 2);
}

TEST_F(RV2StatusTest, Check_StationFallsAgainDuringInitialize_NewStatusIsTold) {
    object_->status_ = 1;
    object_->answers = {-1, 0};
    Access::CheckStatusTask(*object_);
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("status 3 0"));
    object_->status_ = 1;
    object_->answers = {-1, 1};
    Access::CheckStatusTask(*object_);
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("bad status 1"));
}

TEST_F(RV2StatusTest, Check_ConnectedAndExitCode2_NothingAtAllHappens) {
    AttachDeck();
    log_.Clear();
    EXPECT_THAT(Check(-1, -1), IsEmpty());
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_EQ(object_->GetDeviceStatus(), -1);
    EXPECT_FALSE(Access::HasThread(*object_));
}

TEST_F(RV2StatusTest, Check_NoAnswer_IsSkippedAndChangesNothing) {
    for (const std::int32_t status : {-2, -1, 0, 1, 2}) {
        log_.Clear();
        EXPECT_THAT(Check(status, -2), IsEmpty());
        EXPECT_EQ(object_->GetDeviceStatus(), status);
        EXPECT_THAT(log_.Rests(), ElementsAre("CheckStatus timeout for rv2, skip."));
        EXPECT_EQ(log_.Lines()[0].level, LogLevel::Debug);
    }
}

TEST_F(RV2StatusTest, StatusThread_FirstCheckComesAfterTenSecondsAndNotAtOnce) {
    const auto start = steady_clock::now();
    Access::StartStatusCheck(*object_);
    ASSERT_TRUE(handler_.WaitForTasks(1));
    EXPECT_GE(steady_clock::now() - start, milliseconds(9900));
    EXPECT_EQ(object_->probes, 0) << "the thread only posts";
    object_->status_ = 0;
    object_->answers = {0};
    handler_.RunTasks();
    EXPECT_EQ(object_->probes, 1);
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("bad status 0"));
}

TEST_F(RV2StatusTest, StatusThread_LogsItsBeginAndItsEnd) {
    Access::StartStatusCheck(*object_);
    ASSERT_TRUE(log_.WaitFor("RV2 status check thread begin"));
    EXPECT_EQ(log_.Count("RV2 status check thread end"), 0u);
    Access::StopStatusCheck(*object_);
    for (const char* text : {"RV2 status check thread begin", "RV2 status check thread end"}) {
        const auto lines = log_.Find(text);
        ASSERT_EQ(lines.size(), 1u) << log_.Text();
        EXPECT_EQ(lines[0].level, LogLevel::Debug);
    }
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
}

/// Ends a status thread's loop, which runs on the test's own thread, at a post.
struct Enough {};
class Impatient : public HandlerRecorder {
public:
    explicit Impatient(int enough) : enough_(enough) {}
    void PostTask(std::function<void()>) override {
        if (++posts == enough_) {
            throw Enough();
        }
    }
    int posts = 0;

private:
    const int enough_;
};

TEST_F(RV2StatusTest, StatusThread_WaitThatFails_CountsAsTimeout) {
    Impatient impatient(5);
    object_->SetEventListener(&impatient);
    EXPECT_THROW(Access::StatusThread(*object_, nullptr), Enough);
    EXPECT_EQ(impatient.posts, 5);
    object_->SetEventListener(&handler_);
}

TEST_F(RV2StatusTest, StatusThread_StoppedWhileItWaits_PostsNoTask) {
    Impatient impatient(1);
    object_->SetEventListener(&impatient);
    const EventHandle stop = CreateAutoResetEvent();
    SignalEvent(stop);
    EXPECT_NO_THROW(Access::StatusThread(*object_, stop));
    EXPECT_EQ(impatient.posts, 0);
    CloseEvent(stop);
    object_->SetEventListener(&handler_);
}

#if !defined(_WIN32)

TEST_F(RV2StatusTest, StatusThread_SystemHasNoEventToGive_PostsAndIsStoppedAllTheSame) {
    for (std::size_t i = 1; i <= 2; ++i) {
        FailNextEventCreation();
        Access::StartStatusCheck(*object_);
        EXPECT_EQ(Access::StatusEvent(*object_), nullptr);
        EXPECT_TRUE(handler_.WaitForTasks(3));
        Access::StopStatusCheck(*object_);
        EXPECT_FALSE(Access::HasThread(*object_));
        EXPECT_EQ(log_.Count("RV2 status check thread end"), i);
        handler_.DropTasks();
    }
}

#endif

TEST_F(RV2StatusTest, StopStatusCheck_RightAfterStart_AlwaysFindsTheEvent) {
    for (int i = 0; i < 50; ++i) {
        Access::StartStatusCheck(*object_);
        EXPECT_NE(Access::StatusEvent(*object_), nullptr);
        Access::StopStatusCheck(*object_);
        EXPECT_EQ(Access::StatusEvent(*object_), nullptr);
        EXPECT_FALSE(Access::HasThread(*object_));
    }
    EXPECT_EQ(log_.Count("RV2 status check thread end"), 50u);
}

TEST_F(RV2StatusTest, StopStatusCheck_NothingRuns_ChangesNothing) {
    Access::StopStatusCheck(*object_);
    EXPECT_FALSE(USBListenerAccess::IsListed(object_.get()));
    const auto lines = log_.OfFunction("VoteDeckObject_RV2::StopStatusCheck");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, LogLevel::Trace);
    EXPECT_EQ(lines[0].rest, "");
}

TEST_F(RV2StatusTest, StartStatusCheck_ObjectAlreadyListed_IsNotListedTwice) {
    USBListener::GetInstance().AddListener(object_.get());
    Access::StartStatusCheck(*object_);
    EXPECT_TRUE(USBListenerAccess::IsListed(object_.get()));
    Access::StopStatusCheck(*object_);
    EXPECT_FALSE(USBListenerAccess::IsListed(object_.get()));
}

TEST_F(RV2StatusTest, NodesChanged_PostsOneCheck) {
    log_.Clear();
    object_->OnDeviceNodesChanged();
    EXPECT_EQ(object_->probes, 0);
    ASSERT_EQ(handler_.QueuedTasks(), 1u);
    EXPECT_THAT(log_.Rests(), ElementsAre(""));
    EXPECT_EQ(log_.Lines()[0].level, LogLevel::Trace);
    object_->status_ = 1;
    object_->answers = {1};
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), ElementsAre("bad status 1"));
}

TEST_F(RV2StatusTest, NodesChanged_TenNotices_AreTenChecks) {
    for (std::size_t i = 1; i <= 10; ++i) {
        object_->OnDeviceNodesChanged();
        EXPECT_EQ(handler_.QueuedTasks(), i);
    }
    object_->status_ = 1;
    object_->answers = {1};
    handler_.RunTasks();
    EXPECT_EQ(object_->probes, 10);
    EXPECT_THAT(handler_.TakeNotes(), testing::AllOf(testing::SizeIs(10), testing::Each("bad status 1")));
}

TEST_F(RV2StatusTest, NodesChanged_ReachesTheObjectThroughTheListener) {
    Access::StartStatusCheck(*object_);
    USBListener::GetInstance().NotifyNodesChanged();
    EXPECT_EQ(handler_.QueuedTasks(), 1u);
    Access::StopStatusCheck(*object_);
    USBListener::GetInstance().NotifyNodesChanged();
    EXPECT_EQ(handler_.QueuedTasks(), 1u);
}

TEST_F(RV2StatusTest, NodesChanged_WithoutHandler_PostsNothing) {
    object_->SetEventListener(nullptr);
    object_->OnDeviceNodesChanged();
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
}

TEST_F(RV2StatusTest, NodesChanged_ObjectIsGoneBeforeTheTaskRuns_TheTaskIsDropped) {
    object_->OnDeviceNodesChanged();
    object_.reset();
    handler_.RunTasks();
    EXPECT_THAT(handler_.TakeNotes(), IsEmpty());
}

TEST_F(RV2StatusTest, DeviceArrivalAndRemoval_AreNotCaredFor) {
    log_.Clear();
    object_->OnDeviceArrival(0, L"path");
    object_->OnDeviceRemoved(1, L"COM3");
    EXPECT_THAT(log_.Rests(), ElementsAre("do not care", "do not care"));
    EXPECT_EQ(log_.Lines()[0].level, LogLevel::Trace);
    EXPECT_EQ(log_.Lines()[1].level, LogLevel::Trace);
    EXPECT_EQ(handler_.QueuedTasks(), 0u);
}

}  // namespace
}  // namespace vdipc::test
