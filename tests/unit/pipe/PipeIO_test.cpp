#include "pipe/PipeIO.h"

#include "Recorder.h"
#include "RefusedAllocation.h"
#include "support/LogCapture.h"
#include "support/PipeAccess.h"
#include "support/PipeEnds.h"

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc {
namespace {

using test::FrameBytes;
using test::JsonFrame;
using test::LogLine;
using test::MakeFrame;
using test::Payload;

constexpr std::chrono::milliseconds kInstant{100};

class PipeIOTest : public testing::Test {
protected:
    void SetUp() override { Start(); }
    void TearDown() override {
        recorder_.Release();
        io_.reset();
        pair_->CloseServer();
    }

    void Start() {
        pair_ = test::MakePipePair();
        io_.emplace(pair_->server, recorder_.OnData(), recorder_.OnError());
    }
    /// Another pair and another object, with nothing logged or recorded.
    void Restart() {
        io_.reset();
        pair_->CloseServer();
        recorder_.Clear();
        log_.Clear();
        Start();
    }
    /// Waits until the reader has said that it ends.
    bool WaitForReaderEnd() { return log_.WaitFor("ReadThread end"); }
    test::ClientEnd& Client() { return *pair_->client; }

    /// The reader's failure, in its fixed order and at its levels.
    void ExpectReadFailure(const std::string& words) {
        EXPECT_TRUE(recorder_.WaitForError());
        EXPECT_TRUE(WaitForReaderEnd());
        std::vector<std::string> lines;
        for (const LogLine& line : log_.OfFunction("PipeIO::ReadThread")) {
            lines.push_back(line.level_name + " " + line.rest);
        }
        EXPECT_EQ(lines, (std::vector<std::string>{"Trace ReadThread begin", "Warn " + words,
                                                   "Warn Read data error, terminate ReadThread",
                                                   "Trace ReadThread end"}));
        EXPECT_FALSE(PipeIOAccess::Running(*io_));
        EXPECT_EQ(recorder_.Errors(), 1);
    }

    test::LogCapture log_;
    test::Recorder recorder_;
    std::unique_ptr<test::PipePair> pair_;
    std::optional<PipeIO> io_;
};

TEST_F(PipeIOTest, Frame_ReachesTheCallbackWithItsNumbersAndPayload) {
    ASSERT_TRUE(Client().Write(FrameBytes(7, 3, -9, "abc")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    const PipeData frame = recorder_.Frames()[0];
    EXPECT_EQ(frame.type, 7);
    EXPECT_EQ(frame.length, 3);
    EXPECT_EQ(frame.command, -9);
    EXPECT_EQ(Payload(frame), "abc");
}

TEST_F(PipeIOTest, LengthZeroWithType2018_IsDeliveredWithAnEmptyBuffer) {
    ASSERT_TRUE(Client().Write(JsonFrame("")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    EXPECT_EQ(recorder_.Frames()[0].type, 2018);
    EXPECT_EQ(recorder_.Frames()[0].length, 0);
    EXPECT_TRUE(recorder_.Frames()[0].msg.empty());
}

TEST_F(PipeIOTest, NegativeLength_ReadsNoPayloadAndReachesTheCallbackUnchanged) {
    ASSERT_TRUE(Client().Write(FrameBytes(2018, -5, 2018) + JsonFrame("next")));
    ASSERT_TRUE(recorder_.WaitForFrames(2));
    EXPECT_EQ(recorder_.Frames()[0].length, -5);
    EXPECT_TRUE(recorder_.Frames()[0].msg.empty());
    EXPECT_EQ(Payload(recorder_.Frames()[1]), "next");
}

TEST_F(PipeIOTest, UnknownTypeWithAPayload_IsConsumedSoThatTheNextFrameStaysInStep) {
    ASSERT_TRUE(Client().Write(FrameBytes(999, 5, 1, "xxxxx") + JsonFrame("next")));
    ASSERT_TRUE(recorder_.WaitForFrames(2));
    EXPECT_EQ(recorder_.Frames()[0].type, 999);
    EXPECT_EQ(Payload(recorder_.Frames()[1]), "next");
}

TEST_F(PipeIOTest, PayloadWithEveryByteValue_IsOpaque) {
    std::string bytes;
    for (int i = 0; i < 1024; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    ASSERT_TRUE(Client().Write(JsonFrame(bytes)));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    EXPECT_EQ(Payload(recorder_.Frames()[0]), bytes);
}

TEST_F(PipeIOTest, HeaderFieldsInWritesOfTheirOwn_AreStillAFrame) {
    const std::string frame = JsonFrame("text");
    for (const auto& [begin, size] : {std::pair<std::size_t, std::size_t>{0, 4}, {4, 4}, {8, 4}, {12, 4}}) {
        ASSERT_TRUE(Client().Write(frame.substr(begin, size)));
    }
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    EXPECT_EQ(Payload(recorder_.Frames()[0]), "text");
}

TEST_F(PipeIOTest, NextFrame_IsNotReadBeforeTheCallbackReturns) {
    recorder_.Block();
    ASSERT_TRUE(Client().Write(JsonFrame("one") + JsonFrame("two")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    std::this_thread::sleep_for(kInstant);
    EXPECT_EQ(recorder_.Frames().size(), 1u);
    recorder_.Release();
    EXPECT_TRUE(recorder_.WaitForFrames(2));
}

TEST_F(PipeIOTest, ClientThatClosesBetweenTwoFrames_EndsTheReaderWithReadTypeFailedAndOneErrorCallback) {
    ASSERT_TRUE(Client().Write(JsonFrame("one")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    Client().Close();
    ExpectReadFailure("Read type failed");
}

TEST_F(PipeIOTest, ShortType_EndsTheConnection) {
    ASSERT_TRUE(Client().Write("\x01\x02"));
    ExpectReadFailure("Read type failed");
    EXPECT_EQ(recorder_.Frames().size(), 0u);
}

TEST_F(PipeIOTest, ShortLength_EndsTheConnection) {
    ASSERT_TRUE(Client().Write(JsonFrame("").substr(0, 6)));
    ExpectReadFailure("Read length failed");
}

TEST_F(PipeIOTest, ShortCommand_EndsTheConnection) {
    ASSERT_TRUE(Client().Write(JsonFrame("").substr(0, 11)));
    ExpectReadFailure("Read command failed");
}

TEST_F(PipeIOTest, PayloadInTwoPieces_CostsTheClientItsConnection) {
    const std::string frame = JsonFrame("abcdef");
    ASSERT_TRUE(Client().Write(frame.substr(0, 15)));
    ExpectReadFailure("Read msg failed");
    Client().Write(frame.substr(15));
    EXPECT_EQ(recorder_.Frames().size(), 0u);
}

TEST_F(PipeIOTest, ReadThatIsPendingWhenTheClientGoes_LogsThePendingStateAndNotTheReason) {
    // Nobody can watch a read become pending; where the client was quicker, there is another go.
    std::string said;
    for (int i = 0; i < 20 && said.rfind("GetOverlappedResult", 0) != 0; ++i) {
        Restart();
        while (PipeIOAccess::ReadEvent(*io_) == nullptr) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(kInstant);
        Client().Close();
        ExpectReadFailure("Read type failed");
        const std::vector<LogLine> lines = log_.OfFunction("PipeIO::Read");
        ASSERT_EQ(lines.size(), 1u) << log_.Text();
        EXPECT_EQ(lines[0].level, LogLevel::Warn);
        said = lines[0].rest;
    }
    EXPECT_EQ(said, "GetOverlappedResult failed, error_code=997");
}

TEST_F(PipeIOTest, ReadThatFailsAtOnce_LogsTheReason) {
    recorder_.Block();
    ASSERT_TRUE(Client().Write(JsonFrame("one")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    Client().Close();
    recorder_.Release();
    ExpectReadFailure("Read type failed");
    const std::vector<LogLine> lines = log_.OfFunction("PipeIO::Read");
    ASSERT_EQ(lines.size(), 1u) << log_.Text();
    EXPECT_EQ(lines[0].level, LogLevel::Warn);
    EXPECT_EQ(lines[0].rest, "ReadFile failed, error_code=109");
}

TEST_F(PipeIOTest, StopDuringABlockedRead_ReturnsWithoutAnErrorCallback) {
    while (PipeIOAccess::ReadEvent(*io_) == nullptr) {
        std::this_thread::yield();
    }
    io_->Stop();
    EXPECT_EQ(recorder_.Errors(), 0);
    EXPECT_FALSE(PipeIOAccess::HasThreads(*io_));
    EXPECT_EQ(PipeIOAccess::ReadEvent(*io_), nullptr);
    EXPECT_TRUE(log_.Has(LogLevel::Warn, "GetOverlappedResult failed, error_code=997"));
    EXPECT_TRUE(log_.Has(LogLevel::Warn, "Read type failed"));
    EXPECT_FALSE(log_.Contains("Read data error"));
    EXPECT_EQ(log_.Count("ReadThread end"), 1u);
    EXPECT_EQ(log_.Count("WriteThread end"), 1u);
}

TEST_F(PipeIOTest, Stop_WaitsForTheWriterFirst_AndThenForTheReader) {
    if (!test::CanRefuseAllocation()) {
        GTEST_SKIP() << "the sanitizer objects to looks at what the stop is changing";
    }
    recorder_.Block();
    ASSERT_TRUE(Client().Write(JsonFrame("one")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    std::thread stop([this] { io_->Stop(); });
    const auto end = std::chrono::steady_clock::now() + test::Recorder::kPatience;
    while (PipeIOAccess::HasWriteThread(*io_) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_FALSE(PipeIOAccess::HasWriteThread(*io_));
    EXPECT_TRUE(PipeIOAccess::HasReadThread(*io_)) << "it is held in its callback";
    recorder_.Release();
    stop.join();
    EXPECT_FALSE(PipeIOAccess::HasThreads(*io_));
}

TEST_F(PipeIOTest, ErrorCallback_FindsTheObjectNotRunningAnyMore) {
    io_.reset();
    pair_->CloseServer();
    pair_ = test::MakePipePair();
    std::promise<PipeIO*> made;
    std::promise<bool> running;
    io_.emplace(pair_->server, nullptr,
                [&] { running.set_value(PipeIOAccess::Running(*made.get_future().get())); });
    made.set_value(&*io_);
    Client().Close();
    EXPECT_FALSE(running.get_future().get());
    EXPECT_TRUE(WaitForReaderEnd());
}

TEST_F(PipeIOTest, DataThatComesBehindAStop_HarmsNobody) {
    io_->Stop();
    Client().Write(JsonFrame("late"), kInstant);
    io_.reset();
    Client().Write(JsonFrame("later"), kInstant);
    pair_->CloseServer();
    EXPECT_EQ(recorder_.Frames().size(), 0u);
    EXPECT_EQ(recorder_.Errors(), 0);
}

TEST_F(PipeIOTest, StopWithFramesQueued_WritesNoneOfThem) {
    // A frame that no client reads keeps the writer busy, and the others in the queue.
    io_->Send(MakeFrame(std::string(4000000, 'x')));
    while (PipeIOAccess::WriteEvent(*io_) == nullptr || PipeIOAccess::Queued(*io_) > 0) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 3; ++i) {
        io_->Send(MakeFrame("QUEUED"));
    }
    io_->Stop();
    EXPECT_EQ(PipeIOAccess::Queued(*io_), 4u);
    const std::string got = Client().Read(4000100, std::chrono::milliseconds(500));
    EXPECT_LT(got.size(), 4000012u);
    EXPECT_EQ(got.find("QUEUED"), std::string::npos);
}

TEST_F(PipeIOTest, StopAfterTheReaderHasFailed_JoinsAtOnceAndTellsNobodyASecondTime) {
    Client().Close();
    ExpectReadFailure("Read type failed");
    const auto begin = std::chrono::steady_clock::now();
    io_->Stop();
    io_->Stop();
    // Nothing is waited for; the room is for a loaded machine.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_FALSE(PipeIOAccess::HasThreads(*io_));
    EXPECT_EQ(recorder_.Errors(), 1);
}

TEST_F(PipeIOTest, StopAtAnyMoment_Returns) {
    for (int i = 0; i < 60; ++i) {
        io_.reset();
        pair_->CloseServer();
        Start();
        Client().Write(JsonFrame("one") + JsonFrame("two"));
        if (i % 3 == 0) {
            recorder_.WaitForFrames(1);
        }
        io_->Send(MakeFrame("answer"));
    }
    io_->Stop();
    EXPECT_EQ(recorder_.Errors(), 0);
}

TEST_F(PipeIOTest, Sent_LeavesAsOneFrameWithItsExactBytes) {
    PipeData data = MakeFrame("{\"a\":1}");
    io_->Send(data);
    data.msg[0] = 'x';  // the queue holds a copy
    EXPECT_EQ(Client().ReadFrame(), std::string("\xE2\x07\0\0\x07\0\0\0\xE2\x07\0\0", 12) + "{\"a\":1}");
}

TEST_F(PipeIOTest, FramesLeaveInTheOrderOfSending) {
    for (int i = 0; i < 100; ++i) {
        io_->Send(MakeFrame(std::to_string(i)));
    }
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(Client().ReadFrame(), JsonFrame(std::to_string(i)));
    }
}

TEST_F(PipeIOTest, TwoSendingThreads_ComeOutAsWholeFramesNeverInterleaved) {
    constexpr int kFrames = 100;
    const auto send = [this](char letter) {
        for (int i = 0; i < kFrames; ++i) {
            io_->Send(MakeFrame(std::string(500, letter)));
        }
    };
    std::thread first(send, 'a');
    std::thread second(send, 'b');
    int count[2] = {};
    for (int i = 0; i < 2 * kFrames; ++i) {
        const std::string frame = Client().ReadFrame();
        const bool is_a = frame == JsonFrame(std::string(500, 'a'));
        EXPECT_TRUE(is_a || frame == JsonFrame(std::string(500, 'b')));
        ++count[is_a ? 0 : 1];
    }
    first.join();
    second.join();
    EXPECT_EQ(count[0], kFrames);
    EXPECT_EQ(count[1], kFrames);
}

TEST_F(PipeIOTest, ClientThatDoesntRead_NeverMakesASenderWait) {
    for (int i = 0; i < 40; ++i) {
        io_->Send(MakeFrame(std::string(100000, 'x')));
    }
    EXPECT_GT(PipeIOAccess::Queued(*io_), 0u);
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(Client().ReadFrame().size(), 100012u);
    }
}

TEST_F(PipeIOTest, WriteThatFails_LosesTheFrame_AndTheWriterGoesOnAndTellsNobody) {
    // The reader is held in its callback, so that it doesn't notice the loss of the client.
    recorder_.Block();
    ASSERT_TRUE(Client().Write(JsonFrame("one")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    Client().Close();
    io_->Send(MakeFrame("lost"));
    ASSERT_TRUE(log_.WaitForCount("WriteFile failed, error_code=", 1));
    io_->Send(MakeFrame("lost too"));
    ASSERT_TRUE(log_.WaitForCount("WriteFile failed, error_code=", 2));
    for (const LogLine& line : log_.OfFunction("PipeIO::Write")) {
        EXPECT_EQ(line.level, LogLevel::Warn);
        EXPECT_TRUE(test::EndsInNumber(line.rest, "WriteFile failed, error_code=")) << line.rest;
    }
    EXPECT_TRUE(PipeIOAccess::Running(*io_));
    EXPECT_EQ(recorder_.Errors(), 0);
}

TEST_F(PipeIOTest, WriteThatIsPendingWhenTheClientGoes_LogsTheRealReason) {
    recorder_.Block();
    ASSERT_TRUE(Client().Write(JsonFrame("one")));
    ASSERT_TRUE(recorder_.WaitForFrames(1));
    io_->Send(MakeFrame(std::string(4000000, 'x')));
    ASSERT_EQ(Client().Read(1).size(), 1u);  // the write is under way, and more than the pipe holds
    Client().Close();
    ASSERT_TRUE(log_.WaitFor("GetOverlappedResult failed, error_code="));
    const LogLine line = log_.OfFunction("PipeIO::Write").at(0);
    EXPECT_EQ(line.level, LogLevel::Warn);
    EXPECT_THAT(line.rest, testing::AnyOf("GetOverlappedResult failed, error_code=109",
                                          "GetOverlappedResult failed, error_code=232"));
}

TEST_F(PipeIOTest, Payload_IsReadIntoOneBufferOfItsLengthThatReachesTheCallback) {
    if (!test::CanRefuseAllocation()) {
        GTEST_SKIP() << "the allocation functions are the sanitizer's";
    }
    io_.reset();
    pair_->CloseServer();
    pair_ = test::MakePipePair();
    constexpr std::int32_t kLength = 54321;
    const std::string frame = FrameBytes(2018, kLength, 2018, std::string(kLength, 'x'));
    std::promise<bool> whole;
    io_.emplace(
        pair_->server,
        [&whole](const PipeData& data) {
            whole.set_value(std::string_view(data.msg.data(), data.msg.size()) ==
                            std::string_view(std::string(kLength, 'x')));
        },
        nullptr);
    test::CountAllocations(kLength);
    ASSERT_TRUE(Client().Write(frame));
    EXPECT_TRUE(whole.get_future().get());
    EXPECT_EQ(test::CountedAllocations(), 1);
    test::CountAllocations(0);
}

TEST_F(PipeIOTest, SendAfterAReadFailure_WakesTheWriterOnceAndThenOnlyQueues) {
    // The writer waits in its queue once it has written a frame. Nobody can watch it get there: where the failure was
    // quicker, it has ended without the frame, and there is another go.
    bool woken = false;
    for (int i = 0; i < 20 && !woken; ++i) {
        Restart();
        io_->Send(MakeFrame("first"));
        ASSERT_EQ(Client().ReadFrame(), JsonFrame("first"));
        std::this_thread::sleep_for(kInstant);
        Client().Close();
        ExpectReadFailure("Read type failed");
        io_->Send(MakeFrame("dropped"));
        ASSERT_TRUE(log_.WaitFor("WriteThread end"));
        woken = PipeIOAccess::Queued(*io_) == 0;
    }
    EXPECT_TRUE(woken);
    io_->Send(MakeFrame("queued"));
    io_->Send(MakeFrame("queued too"));
    EXPECT_EQ(PipeIOAccess::Queued(*io_), 2u);
    EXPECT_FALSE(log_.Contains("PipeIO::Write:"));
}

TEST_F(PipeIOTest, Construction_LogsAndStartsBothThreads) {
    ASSERT_TRUE(log_.WaitFor("ReadThread begin"));
    ASSERT_TRUE(log_.WaitFor("WriteThread begin"));
    const std::vector<LogLine> lines = log_.Lines();
    EXPECT_EQ(lines[0].function, "PipeIO::PipeIO");
    EXPECT_EQ(lines[1].function, "PipeIO::Start");
    EXPECT_EQ(log_.OfFunction("PipeIO::WriteThread")[0].rest, "WriteThread begin");
    for (const LogLine& line : lines) {
        EXPECT_EQ(line.level, LogLevel::Trace) << line.message;
    }
    EXPECT_TRUE(PipeIOAccess::Running(*io_));
}

TEST_F(PipeIOTest, Stop_LogsItsEntryAndEndsBothThreads) {
    io_->Stop();
    ASSERT_EQ(log_.OfFunction("PipeIO::Stop").size(), 1u);
    EXPECT_EQ(log_.OfFunction("PipeIO::Stop")[0].level, LogLevel::Trace);
    EXPECT_EQ(log_.OfFunction("PipeIO::WriteThread").back().rest, "WriteThread end");
    EXPECT_EQ(log_.OfFunction("PipeIO::ReadThread").back().rest, "ReadThread end");
}

TEST_F(PipeIOTest, WithoutCallbacks_FramesAndFailureGoNowhere) {
    io_.reset();
    pair_->CloseServer();
    log_.Clear();
    pair_ = test::MakePipePair();
    io_.emplace(pair_->server, nullptr, nullptr);
    ASSERT_TRUE(Client().Write(JsonFrame("one")));
    Client().Close();
    EXPECT_TRUE(log_.WaitFor("Read data error, terminate ReadThread"));
    EXPECT_TRUE(WaitForReaderEnd());
}

TEST(PipeIOInvalid, InvalidHandle_FailsReadsAndWritesWithALineAtWarn) {
    const test::LogCapture log;
    test::Recorder recorder;
    PipeIO io(InvalidPipeHandle(), recorder.OnData(), recorder.OnError());
    ASSERT_TRUE(recorder.WaitForError());
    ASSERT_TRUE(log.WaitFor("ReadThread end"));
    ASSERT_EQ(log.OfFunction("PipeIO::Read").size(), 1u);
    EXPECT_EQ(log.OfFunction("PipeIO::Read")[0].rest, "invalid pipe handle");
    EXPECT_EQ(log.OfFunction("PipeIO::Read")[0].level, LogLevel::Warn);
    EXPECT_TRUE(log.Contains("Read type failed"));

    EXPECT_EQ(PipeIOAccess::Write(io, "abcd"), 0u);
    ASSERT_EQ(log.OfFunction("PipeIO::Write").size(), 1u);
    EXPECT_EQ(log.OfFunction("PipeIO::Write")[0].rest, "invalid pipe handle");
    EXPECT_EQ(PipeIOAccess::ReadEvent(io), nullptr);
    EXPECT_EQ(PipeIOAccess::WriteEvent(io), nullptr);
    EXPECT_EQ(recorder.Errors(), 1);
}

#if !defined(_WIN32)
TEST_F(PipeIOTest, FrameWithoutPayload_IsReadWithThreeEvents_WithPayloadFour_AndWrittenWithOne) {
    io_.reset();
    pair_->CloseServer();
    pair_ = test::MakePipePair();
    const std::size_t before = test::NativeEventsMade();
    std::vector<std::size_t> made;
    std::promise<void> behind;
    std::promise<void> go_on;
    io_.emplace(
        pair_->server,
        [&](const PipeData& data) {
            made.push_back(test::NativeEventsMade() - before);
            if (Payload(data) == "last") {
                behind.set_value();
                go_on.get_future().wait();
            }
        },
        nullptr);
    ASSERT_TRUE(Client().Write(FrameBytes(8, 0, 0) + JsonFrame("text") + JsonFrame("last")));
    behind.get_future().wait();
    EXPECT_EQ(made, (std::vector<std::size_t>{3, 7, 11}));
    // The reader is held, so that what comes is the writer's.
    io_->Send(MakeFrame("answer"));
    io_->Send(MakeFrame(""));
    EXPECT_EQ(Client().ReadFrame(), JsonFrame("answer"));
    EXPECT_EQ(Client().ReadFrame(), JsonFrame(""));
    EXPECT_EQ(test::NativeEventsMade() - before, 13u) << "one write for a whole frame";
    go_on.set_value();
    io_.reset();
}

TEST_F(PipeIOTest, Stop_SignalsTheWriteAndThenTheRead) {
    io_->Send(MakeFrame(std::string(4000000, 'x')));
    while (PipeIOAccess::WriteEvent(*io_) == nullptr || PipeIOAccess::ReadEvent(*io_) == nullptr) {
        std::this_thread::yield();
    }
    const EventHandle write = PipeIOAccess::WriteEvent(*io_);
    const EventHandle read = PipeIOAccess::ReadEvent(*io_);
    std::vector<EventHandle> signals;
    test::RecordNativeSignals(&signals);
    io_->Stop();
    test::RecordNativeSignals(nullptr);
    EXPECT_EQ(signals, (std::vector<EventHandle>{write, read}));
}

TEST_F(PipeIOTest, Start_BeginsWithTheReader) {
    // A thread that was started later has the higher number, but where the system starts anew with low ones.
    int in_order = 0;
    for (int i = 0; i < 3; ++i) {
        Restart();
        ASSERT_TRUE(log_.WaitFor("ReadThread begin"));
        ASSERT_TRUE(log_.WaitFor("WriteThread begin"));
        const std::string reader = log_.Find("ReadThread begin").at(0).thread;
        const std::string writer = log_.Find("WriteThread begin").at(0).thread;
        in_order += std::stoul(reader, nullptr, 16) < std::stoul(writer, nullptr, 16) ? 1 : 0;
    }
    EXPECT_GE(in_order, 2);
}
#endif

}  // namespace
}  // namespace vdipc
