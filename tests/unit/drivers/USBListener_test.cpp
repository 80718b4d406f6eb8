// The list of listeners, and how they are called.
#include "drivers/USBListener.h"
#include "support/Signal.h"
#include "unit/drivers/support/ListenerMock.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <atomic>
#include <future>
#include <thread>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using Access = USBListenerAccess;

constexpr const wchar_t* kPath =
    L"\\\\?\\HID#VID_0001&PID_0002#7&1&0&0000#{4d1e55b2-f16f-11cf-88cb-001111000030}";

class USBListenerTest : public testing::Test {
protected:
    decltype(Access::Make()) listener_ = Access::Make();
    testing::StrictMock<MockDeviceChangedListener> first_;
    testing::StrictMock<MockDeviceChangedListener> second_;
    testing::StrictMock<MockDeviceChangedListener> third_;
};

TEST_F(USBListenerTest, AddListener_SamePointerASecondTime_LeavesOneEntry) {
    listener_->AddListener(&first_);
    listener_->AddListener(&second_);
    listener_->AddListener(&first_);
    EXPECT_THAT(Access::Listeners(*listener_), ElementsAre(&first_, &second_));
}

TEST_F(USBListenerTest, RemoveListener_PointerThatIsNotListed_ChangesNothing) {
    listener_->RemoveListener(&first_);
    EXPECT_THAT(Access::Listeners(*listener_), IsEmpty());
    listener_->AddListener(&first_);
    listener_->AddListener(&second_);
    listener_->RemoveListener(&third_);
    EXPECT_THAT(Access::Listeners(*listener_), ElementsAre(&first_, &second_));
}

TEST_F(USBListenerTest, RemoveListener_KeepsTheOrderOfTheOthers) {
    listener_->AddListener(&first_);
    listener_->AddListener(&second_);
    listener_->AddListener(&third_);
    listener_->RemoveListener(&second_);
    EXPECT_THAT(Access::Listeners(*listener_), ElementsAre(&first_, &third_));
}

TEST_F(USBListenerTest, Notify_ReachesEveryListenerInTheOrderOfTheList) {
    listener_->AddListener(&second_);
    listener_->AddListener(&first_);
    {
        InSequence order;
        EXPECT_CALL(second_, OnDeviceNodesChanged());
        EXPECT_CALL(first_, OnDeviceNodesChanged());
        EXPECT_CALL(second_, OnDeviceArrival(0, std::wstring(kPath)));
        EXPECT_CALL(first_, OnDeviceArrival(0, std::wstring(kPath)));
        EXPECT_CALL(second_, OnDeviceRemoved(1, std::wstring(L"COM7")));
        EXPECT_CALL(first_, OnDeviceRemoved(1, std::wstring(L"COM7")));
    }
    listener_->NotifyNodesChanged();
    listener_->NotifyArrival(kDeviceKindInterface, kPath);
    listener_->NotifyRemoved(kDeviceKindPort, L"COM7");
}

TEST_F(USBListenerTest, Notify_EachListenerGetsItsOwnCopyOfTheName) {
    class Scribbler : public DeviceChangedListener {
    public:
        void OnDeviceNodesChanged() override {}
        void OnDeviceArrival(std::int32_t, std::wstring name) override {
            seen = name;
            name.assign(name.size(), L'x');
        }
        void OnDeviceRemoved(std::int32_t, std::wstring) override {}
        std::wstring seen;
    } one, other;
    listener_->AddListener(&one);
    listener_->AddListener(&other);
    listener_->NotifyArrival(kDeviceKindInterface, kPath);
    EXPECT_EQ(one.seen, kPath);
    EXPECT_EQ(other.seen, kPath);
}

TEST_F(USBListenerTest, Notify_NullEntry_IsSkipped) {
    listener_->AddListener(nullptr);
    listener_->AddListener(&first_);
    EXPECT_CALL(first_, OnDeviceNodesChanged());
    EXPECT_CALL(first_, OnDeviceArrival(_, _));
    EXPECT_CALL(first_, OnDeviceRemoved(_, _));
    listener_->NotifyNodesChanged();
    listener_->NotifyArrival(0, L"a");
    listener_->NotifyRemoved(0, L"a");
}

TEST_F(USBListenerTest, Notify_EmptyList_NothingHappens) {
    listener_->NotifyNodesChanged();
    listener_->NotifyArrival(0, L"a");
    listener_->NotifyRemoved(0, L"a");
    EXPECT_THAT(Access::Listeners(*listener_), IsEmpty());
}

TEST_F(USBListenerTest, Notify_ListenerThatJoinsMeanwhile_IsCalledFromTheNextRoundOn) {
    listener_->AddListener(&first_);
    EXPECT_CALL(first_, OnDeviceNodesChanged()).Times(2).WillRepeatedly([&] {
        listener_->AddListener(&second_);
    });
    listener_->NotifyNodesChanged();
    EXPECT_CALL(second_, OnDeviceNodesChanged());
    listener_->NotifyNodesChanged();
}

TEST_F(USBListenerTest, Notify_ListenersLeaveMeanwhile_OnlyThoseLeftAreCalled) {
    listener_->AddListener(&first_);
    listener_->AddListener(&second_);
    listener_->AddListener(&third_);
    EXPECT_CALL(first_, OnDeviceNodesChanged()).WillOnce([&] {
        listener_->RemoveListener(&second_);
        listener_->RemoveListener(&third_);
    });
    listener_->NotifyNodesChanged();
}

TEST_F(USBListenerTest, RemoveListener_WaitsForACallUnderWay) {
    const Signal entered;
    const Signal leave;
    std::atomic<bool> left{false};
    EXPECT_CALL(first_, OnDeviceNodesChanged()).WillOnce([&] {
        entered.Set();
        leave.Wait();
        left = true;
    });
    listener_->AddListener(&first_);
    std::thread messages([&] { listener_->NotifyNodesChanged(); });
    EXPECT_TRUE(entered.Wait());
    std::future<void> removal = std::async(std::launch::async, [&] {
        listener_->RemoveListener(&first_);
        EXPECT_TRUE(left);
    });
    EXPECT_EQ(removal.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    leave.Set();
    removal.get();
    messages.join();
}

TEST_F(USBListenerTest, ListChangesWhileNotified_FromOtherThreads) {
    std::atomic<bool> stop{false};
    EXPECT_CALL(first_, OnDeviceNodesChanged()).Times(testing::AnyNumber());
    std::thread changer([&] {
        while (!stop) {
            listener_->AddListener(&first_);
            listener_->RemoveListener(&first_);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        listener_->NotifyNodesChanged();
    }
    stop = true;
    changer.join();
    EXPECT_THAT(Access::Listeners(*listener_), IsEmpty());
}

TEST(USBListener, GetInstance_FromManyThreads_IsOneObject) {
    std::vector<std::future<USBListener*>> callers;
    for (int i = 0; i < 8; ++i) {
        callers.push_back(std::async(std::launch::async, [] { return &USBListener::GetInstance(); }));
    }
    for (auto& caller : callers) {
        EXPECT_EQ(caller.get(), &USBListener::GetInstance());
    }
}

}  // namespace
}  // namespace vdipc::test
