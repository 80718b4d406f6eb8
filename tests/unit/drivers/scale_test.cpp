// How often an object calls its closed library, reports a change of its keypads and logs a line, with any number of them:
// exact, where times could only be guessed at.
#include "common/Log.h"
#include "doubles/ClosedDoubles.h"
#include "doubles/ManyKeypads.h"
#include "messages/Commands.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace vdipc::test {
namespace {

using enum DeviceType;

constexpr std::uint32_t kSizes[] = {2, 30, 1000};
constexpr DeviceType kKinds[] = {TQ1, TQ2, RV1, RV2, LW};
constexpr std::int32_t kKeyB = 2;

// Of this thread: a base station has one that logs at its own times.
thread_local std::uint64_t t_lines = 0;

class Scale : public testing::Test {
protected:
    Scale() { ResetClosedDoubles(); }
    ~Scale() override {
        keypads_.reset();
        ResetClosedDoubles();
    }

    /// Runs the body for each kind and each number of keypads.
    void ForAll(const std::function<void(DeviceType kind, std::uint32_t count)>& body) {
        for (const DeviceType kind : kKinds) {
            for (const std::uint32_t count : kSizes) {
                SCOPED_TRACE(kDeviceTypes.names.at(kind) + " with " + std::to_string(count));
                keypads_ = MakeKeypads(kind, handler_);
                for (std::uint32_t keypad = 1; keypad <= count; ++keypad) {
                    keypads_->Add(keypad);
                }
                body(kind, count);
            }
        }
    }

    void AskAll() {
        CommandAsk ask;
        ask.device = "0";
        ask.type = QuestionType::SingleChoice;
        keypads_->Object()->HandleAsk(ask);
    }

    /// Lines that an action logs.
    std::uint64_t LinesOf(const std::function<void()>& action) {
        t_lines = 0;
        const LogHandler former = ExchangeLogHandler([](std::int32_t, const char*) { ++t_lines; });
        action();
        ExchangeLogHandler(former);
        return t_lines;
    }

    /// Calls that an action makes, and changes that it reports.
    std::uint64_t CallsOf(const std::function<void()>& action, std::uint64_t changes) {
        const std::uint64_t calls_before = keypads_->LibraryCalls();
        const std::uint64_t changes_before = handler_.changes;
        action();
        EXPECT_EQ(handler_.changes - changes_before, changes);
        return keypads_->LibraryCalls() - calls_before;
    }

    CountingHandler handler_;
    std::unique_ptr<ManyKeypads> keypads_;
};

TEST_F(Scale, QuestionForAll_IsOneQuestionAndTheRowsOfEachKeypad) {
    ForAll([this](DeviceType kind, std::uint32_t count) {
        // The USB receivers are asked twice whether they are there.
        EXPECT_EQ(CallsOf([this] { AskAll(); }, 0), kind == RV2 ? count + 1 : count + 3);
    });
}

TEST_F(Scale, Key_CallsNothingWhateverTheNumberOfKeypads_ButForRV1) {
    ForAll([this](DeviceType kind, std::uint32_t count) {
        AskAll();
        const std::uint64_t events = handler_.events;
        // A key of RV1 is an arrival too, and its rows are shown again.
        const std::uint64_t calls =
            CallsOf([this, count] { keypads_->Key(count / 2, kKeyB); }, kind == RV1 ? 1 : 0);
        EXPECT_EQ(calls, kind == RV1 ? 2u : 0u);
        EXPECT_EQ(handler_.events - events, kind == RV1 ? 2u : 1u);
    });
}

TEST_F(Scale, Arrival_ReportsOneChangeAndOneEventWhateverTheNumberOfKeypads) {
    ForAll([this](DeviceType kind, std::uint32_t count) {
        const std::uint64_t events = handler_.events;
        const std::uint64_t calls = CallsOf([this, count] { keypads_->Arrive(count + 1); }, 1);
        EXPECT_EQ(calls, kind == TQ2 ? 1u : 0u);  // which locks it
        EXPECT_EQ(handler_.events - events, 1u);
    });
}

TEST_F(Scale, Drop_ReportsOneChangeAndCallsNothingWhateverTheNumberOfKeypads) {
    ForAll([this](DeviceType kind, std::uint32_t count) {
        AskAll();
        const auto drop = [this, count] {
            CommandDrop command;
            command.device = std::to_string(count / 2);
            keypads_->Object()->HandleDrop(command);
        };
        // The first drop of LW opens its one question for all.
        EXPECT_EQ(CallsOf(drop, 1), kind == LW ? 2u : 0u);
        EXPECT_EQ(CallsOf(drop, 1), 0u);
    });
}

TEST_F(Scale, ClearingOfTexts_ReachesEachKeypadOnce_DroppedOnesIncluded) {
    ForAll([this](DeviceType kind, std::uint32_t count) {
        for (std::uint32_t keypad = 2; keypad <= count; keypad += 2) {
            keypads_->MarkDropped(keypad);
        }
        const std::uint64_t dropped = count / 2;
        // A USB receiver is asked whether it is there, once for all activated keypads and once for each dropped one.
        EXPECT_EQ(CallsOf([this] { keypads_->Object()->ClearTextForAllDevices(); }, 0),
                  kind == RV2 ? count : count + 1 + dropped);
    });
}

TEST_F(Scale, LogLines_AreTwoForEachKeypadOfAQuestion_AndAsManyForAKeyWhateverTheirNumber) {
    ForAll([this](DeviceType kind, std::uint32_t count) {
        EXPECT_EQ(LinesOf([this] { AskAll(); }), 2 * count + 9);
        EXPECT_EQ(LinesOf([this, count] { keypads_->Key(count / 2, kKeyB); }), kind == RV1 ? 22u : 13u);
        EXPECT_EQ(LinesOf([this, count] { keypads_->Arrive(count + 1); }), kind == TQ2 ? 8u : 7u);
        CommandDrop drop;
        drop.device = std::to_string(count);
        // The first drop of LW opens its one question for all.
        EXPECT_EQ(LinesOf([&] { keypads_->Object()->HandleDrop(drop); }), kind == RV2  ? 8u
                                                                          : kind == LW ? 12u
                                                                                       : 9u);
    });
}

TEST_F(Scale, LogLinesOfAClearing_AreOneForEachKeypad_AndAnotherForADroppedOne) {
    ForAll([this](DeviceType, std::uint32_t count) {
        for (std::uint32_t keypad = 2; keypad <= count; keypad += 2) {
            keypads_->MarkDropped(keypad);
        }
        EXPECT_EQ(LinesOf([this] { keypads_->Object()->ClearTextForAllDevices(); }), count + count / 2 + 2);
    });
}

}  // namespace
}  // namespace vdipc::test
