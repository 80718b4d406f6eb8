// What an operation may cost, counted: whoever makes one dearer is told.
#include "doubles/InsideDouble.h"
#include "doubles/ManyKeypads.h"
#include "support/HandlerTest.h"
#include "unit/pipe/RefusedAllocation.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vdipc::test {
namespace {

constexpr std::uint32_t kKeypads = 200;
constexpr std::uint32_t kWarm = 20;  // what is made once for all is made by then
constexpr std::int32_t kKeyB = 2;

/// The whole handler on the real pipe, with a client, over doubles of the closed libraries. Counted are calls of operator
/// new on all threads, without those inside the doubles; what the JSON library takes by malloc isn't seen.
class HandlerBudget : public testing::Test, public HandlerWorld {
protected:
    void Use(DeviceType kind) {
        handler().Initialize();
        WaitUntilOffered();
        client_ = &ConnectClient();
        keypads_ = MakeKeypads(kind, handler());
        for (std::uint32_t keypad = 1; keypad <= kKeypads; ++keypad) {
            keypads_->Add(keypad);
        }
        Access::DeviceObjects(handler()).clear();
        Access::DeviceObjects(handler())[kind] = keypads_->Object();
        Prefer(PreferredDeviceType::Any);
        SendCommand(*client_, R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})");
        // The capture of the log keeps lines: from here on they go nowhere.
        EXPECT_TRUE(log().WaitForCount("SetText", 1));
        former_ = ExchangeLogHandler([](std::int32_t, const char*) {});
    }

    ~HandlerBudget() override {
        if (client_ != nullptr) {
            ExchangeLogHandler(former_);
            StopQuickly();
        }
        Access::DeviceObjects(handler()).clear();
    }

    /// Allocations of each in the long run, all threads together.
    template <typename Operation>
    double AllocationsOfEach(Operation operation) {
        std::size_t before = 0;
        for (std::uint32_t number = 1; number <= kKeypads; ++number) {
            if (number == kWarm + 1) {
                before = AllocationsOutsideDoubles();
            }
            operation(number);
        }
        return static_cast<double>(AllocationsOutsideDoubles() - before) / (kKeypads - kWarm);
    }

    double AllocationsOfAKey(DeviceType kind) {
        Use(kind);
        return AllocationsOfEach([this](std::uint32_t keypad) {
            keypads_->Key(keypad, kKeyB);
            const InsideDouble of_the_test;
            EXPECT_NE(client_->ReadFrame().find("key-pressed"), std::string::npos);
        });
    }

    ClientEnd& Client() { return *client_; }

private:
    std::unique_ptr<ManyKeypads> keypads_;
    ClientEnd* client_ = nullptr;
    LogHandler former_ = nullptr;
};

TEST_F(HandlerBudget, KeyOfAUsbReceiver_AllocatesAtMost25Times) {
    const double each = AllocationsOfAKey(DeviceType::TQ1);
    RecordProperty("allocations", std::to_string(each));
    EXPECT_LE(each, 25.0);
    EXPECT_GE(each, 10.0) << "fewer than an event's own texts: nothing was counted";
}

TEST_F(HandlerBudget, KeyOfTheBaseStation_AllocatesAtMost25Times) {
    const double each = AllocationsOfAKey(DeviceType::RV2);
    RecordProperty("allocations", std::to_string(each));
    EXPECT_LE(each, 25.0);
    EXPECT_GE(each, 10.0) << "fewer than an event's own texts: nothing was counted";
}

TEST_F(HandlerBudget, Ping_AllocatesAtMost4Times) {
    Use(DeviceType::TQ1);
    const double each = AllocationsOfEach([this](std::uint32_t) {
        const InsideDouble of_the_test;
        ASSERT_TRUE(Client().Write(PingFrame()));
        ASSERT_EQ(Client().ReadFrame(), PingReplyFrame());
    });
    RecordProperty("allocations", std::to_string(each));
    EXPECT_LE(each, 4.0);
}

}  // namespace
}  // namespace vdipc::test
