// The pipe under clients that break off, never read, flood, or come and go: what must survive does, and the host holds
// afterwards what it held before.

#include "tests/system/support/FaultTest.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <thread>
#include <vector>

namespace vdipc::test {
namespace {

using client::JsonFrameBytes;
using client::PingBytes;

class PipeFaults : public FaultTest {};

/// The read in which a frame breaks off after so many of its bytes.
const char* BrokenRead(std::size_t bytes) {
    return bytes < 4    ? "Read type failed"
           : bytes < 8  ? "Read length failed"
           : bytes < 12 ? "Read command failed"
                        : "Read msg failed";
}

TEST_F(PipeFaults, ClientKilledAfterEachByteOfAFrame_CostsItsConnectionAndNothingElse) {
    Start();
    FaultRow row("client killed after each byte of a frame", HostId());
    WarmUp(row);
    const std::string frame = JsonFrameBytes("[1, 2]");
    for (std::size_t round = 0; round < Repeated(1); ++round) {
        for (std::size_t bytes = 0; bytes <= frame.size(); ++bytes) {
            const bool whole = bytes == frame.size();
            const std::string expected = whole ? "Read type failed" : BrokenRead(bytes);
            FaultClient client;
            Tail().Mark();
            if (bytes > 0) {
                client.Write(frame.substr(0, bytes));
            }
            client.Kill();
            ASSERT_TRUE(WaitForListening()) << bytes;
            Tail().Refresh();
            for (const std::string read :
                 {"Read type failed", "Read length failed", "Read command failed", "Read msg failed"}) {
                EXPECT_EQ(Tail().Count(read), read == expected ? 1U : 0U) << bytes << ": " << read;
            }
            EXPECT_EQ(Tail().Count("Read data error, terminate ReadThread"), 1U) << bytes;
            EXPECT_EQ(Tail().Count("msg received:[1, 2]"), whole ? 1U : 0U) << bytes;
            row.Count();
        }
    }
    row.Finish();
}

TEST_F(PipeFaults, FramesOfAllLengths_StayInStepOrCostTheConnection) {
    UseCycleHost();
    Start();
    FaultRow row("lengths of frames", HostId());
    WarmUp(row);
    RawPipe pipe;
    Connect(pipe, row);
    // A kind that nobody knows, so that the payload is read and thrown away: the ping behind it shows the step.
    std::vector<std::size_t> lengths;
    for (std::size_t length = 0; length <= 300; ++length) {
        lengths.push_back(length);
    }
    for (const std::size_t border : {512U, 4096U, 65536U, 524288U - 12U, 524288U, 1048576U}) {
        lengths.insert(lengths.end(), {border - 1, border, border + 1});
    }
    for (const std::size_t length : lengths) {
        ASSERT_TRUE(pipe.Write(Header(77, static_cast<std::int32_t>(length), 1) + std::string(length, 'x')));
        ASSERT_TRUE(pipe.Write(PingBytes()));
        ASSERT_EQ(pipe.Read(12, kSoon).size(), 12U) << length;
        row.Count();
    }
    // Below zero there is no payload.
    for (const std::int32_t length : {-1, -2, -3, -4, -12, -2018, -2147483647, -2147483647 - 1}) {
        ASSERT_TRUE(pipe.Write(Header(77, length, 1) + PingBytes()));
        ASSERT_EQ(pipe.Read(12, kSoon).size(), 12U) << length;
        row.Count();
    }
    // Blanks behind a command belong to it.
    const std::string quit = R"({"command":"quit"})";
    for (std::size_t blanks = 0; blanks <= 64; ++blanks) {
        ASSERT_TRUE(pipe.Write(JsonFrameBytes(quit + std::string(blanks, ' '))));
        ASSERT_TRUE(WaitBriefly([&] { return CountHostStates("quit") == blanks + 1; }, kSoon)) << blanks;
        row.Count();
    }
    // A byte too few, or one too many.
    for (std::size_t sent = 1; sent <= 32; ++sent) {
        for (const int wrong : {-1, 1}) {
            ASSERT_TRUE(
                pipe.Write(Header(77, static_cast<std::int32_t>(sent) - wrong, 1) + std::string(sent, 'x')));
            ASSERT_TRUE(pipe.WaitUntilLost(kSoon)) << sent << " for " << static_cast<int>(sent) - wrong;
            pipe.Close();
            Connect(pipe, row);
            row.Count();
        }
    }
    // Room for all of it is made before the read that fails, and given back.
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(pipe.Write(Header(2018, 64 << 20, 2018) + std::string(100, 'x')));
        ASSERT_TRUE(pipe.WaitUntilLost(kSoon));
        pipe.Close();
        Connect(pipe, row);
        row.Count();
    }
    pipe.Close();
    ASSERT_TRUE(WaitForListening());
    row.Finish();
}

TEST_F(PipeFaults, JsonFrameOfNegativeLength_EndsTheProcessWhateverTheNumber) {
    expect_clean_end_ = false;
    std::size_t times = 0;
    for (const std::int32_t length : {-1, -2018, -2147483647 - 1}) {
        Start();
        FaultRow row("JSON of negative length", HostId());
        RawPipe pipe;
        Connect(pipe, row);
        ASSERT_TRUE(pipe.Write(Header(2018, length, 2018)));
        EXPECT_NE(WaitForHostEnd(), 0U) << length;
        ++times;
    }
    std::cout << "row JSON of negative length: " << times << " times, the process ended each time"
              << std::endl;
}

TEST_F(PipeFaults, VisitorWhoLeavesBeforeItIsServed_LeavesNothing) {
    Start();
    FaultRow row("visitor who leaves at once", HostId());
    WarmUp(row);
    for (std::size_t visit = 0; visit < Repeated(1000); ++visit) {
        if (!WaitBriefly([] { return IsListening(); }, std::chrono::seconds(5))) {
            // It came before the library's wait had begun, and nobody is served from then on.
            Revive(row);
        }
        ASSERT_TRUE(WaitForListening());
        RawPipe pipe;
        ASSERT_TRUE(pipe.Open()) << visit;
        row.Count();
    }
    RawPipe pipe;
    Connect(pipe, row);
    pipe.Close();
    ASSERT_TRUE(WaitForListening());
    std::cout << Revivals() << " hosts started anew" << std::endl;
    row.Finish();
}

TEST_F(PipeFaults, SecondClient_GetsNoInstanceAndIsServedWhenTheFirstHasGone) {
    Start();
    FaultRow row("second client", HostId());
    WarmUp(row);
    for (std::size_t round = 0; round < Repeated(50); ++round) {
        RawPipe first;
        Connect(first, row);
        for (int attempt = 0; attempt < 10; ++attempt) {
            RawPipe second;
            ASSERT_FALSE(second.Open());
            ASSERT_FALSE(IsListening());
            row.Count();
        }
        ASSERT_TRUE(first.Write(PingBytes()));
        ASSERT_EQ(first.Read(12, kSoon).size(), 12U);
    }
    ASSERT_TRUE(WaitForListening());
    row.Finish();
}

class FloodFaults : public PipeFaults {
protected:
    static constexpr int kPupils = 100;

    /// Key presses that the library has made events of; telemetry has a record of each.
    std::size_t Events() const { return CountRecords("ipc_vdk_event_key_pressed"); }
    std::size_t TextCommands() const { return CountRecords("ipc_vdk_command_text"); }

    void Press(int times) {
        Do(R"({"do":"key","from":1,"to":)" + std::to_string(kPupils) + R"(,"key":"A","repeat":)" +
           std::to_string(times) + R"(,"together":true})");
    }

    /// A lesson in which every key counts, with events of more than 500 bytes.
    static std::string Question() {
        return JsonFrameBytes(R"({"command":"ask","device":"0","type":"general","custom":")" +
                              std::string(400, 'c') + "\"}");
    }

    void SwitchKeypadsOn() {
        TestClient client;
        Init(client);
        ConnectKeypads(client, "RV2", 1, kPupils);
        client.Settle();
    }

private:
    std::size_t CountRecords(const std::string& action) const {
        const std::string content = GetFile("trackwire.jsonl");
        const std::string text = R"("action":")" + action + '"';
        std::size_t count = 0;
        for (std::size_t at = content.find(text); at != std::string::npos; at = content.find(text, at + 1)) {
            ++count;
        }
        return count;
    }
};

TEST_F(FloodFaults, ClientThatNeverReads_LosesItsTenThousandEventsAndHarmsNobody) {
    Start();
    SwitchKeypadsOn();
    FaultRow row("events to a client that never reads", HostId());
    constexpr int kEvents = 10000;
    std::size_t events = 0;
    // The first round makes the room that the queue of the others finds again.
    for (std::size_t round = 0; round <= Repeated(1); ++round) {
        FaultClient client;
        client.Write(Question());
        ASSERT_TRUE(WaitFor([&] { return Calls("StartQuestion").size() == 1; }));
        const std::size_t before = row.Now().private_kib;
        Press(kEvents / kPupils);
        events += kEvents;
        ASSERT_TRUE(WaitFor([&] { return Events() >= events; }, std::chrono::minutes(5)));
        // All but what the pipe holds is in the queue.
        std::cout << "private KiB with the queue: " << before << " -> " << row.Now().private_kib << std::endl;
        client.Kill();
        ASSERT_TRUE(WaitForListening());
        Do(R"({"do":"reset-saw"})");
        RawPipe next;
        Connect(next, row);
        EXPECT_EQ(next.Available(), 0U) << "an event of the queue that was given up";
        next.Close();
        ASSERT_TRUE(WaitForListening());
        if (round == 0) {
            row.Rebase(HostId());
        } else {
            row.Count(kEvents);
        }
    }
    EXPECT_EQ(Events(), events);
    row.Finish({2 * FaultRow::kLockRoom, 0, 4096});
}

TEST_F(FloodFaults, BothSidesFloodBeforeTheClientReads_EverythingArrivesOnce) {
    Start();
    SwitchKeypadsOn();
    FaultRow row("both sides flood", HostId());
    constexpr int kEvents = 3000;  // three times what the pipe holds
    constexpr int kCommands = 300;
    const std::string text =
        JsonFrameBytes(R"({"command":"text","device":"1","row1":")" + std::string(4000, 'r') + "\"}");
    std::size_t rounds = 0;
    for (; rounds <= Repeated(3); ++rounds) {
        RawPipe client;
        Connect(client, row);
        ASSERT_TRUE(client.Write(Question()));
        ASSERT_TRUE(WaitFor([&] { return Calls("StartQuestion").size() == 1; }));
        std::thread pupils([&] {
            tools::ClassroomClient classroom(TheHost().ClassroomPort());
            classroom.Do(Parsed(R"({"do":"key","from":1,"to":100,"key":"A","repeat":30,"together":true})"));
        });
        bool written = true;
        for (int i = 0; i < kCommands; ++i) {
            written = client.Write(text) && written;
        }
        pupils.join();
        EXPECT_TRUE(written);
        ASSERT_TRUE(WaitFor([&] { return TextCommands() >= (rounds + 1) * kCommands; }));
        ASSERT_TRUE(WaitFor([&] { return Events() >= (rounds + 1) * kEvents; }));
        // And now what the client has not read, up to the reply to its ping behind all of it.
        ASSERT_TRUE(client.Write(PingBytes()));
        const std::string reply = Header(8, 0, 202);
        std::string bytes;
        while (!bytes.ends_with(reply)) {
            const std::string more = client.Read(std::max<std::size_t>(client.Available(), 1), kSoon);
            ASSERT_FALSE(more.empty());
            bytes += more;
        }
        std::size_t events = 0;
        for (std::size_t at = 0; at < bytes.size();) {
            std::uint32_t length = 0;
            std::memcpy(&length, bytes.data() + at + 4, sizeof length);
            ASSERT_LE(at + 12 + length, bytes.size());
            if (length > 0) {
                events += Parsed(bytes.substr(at + 12, length))["event"] == "key-pressed" ? 1U : 0U;
            }
            at += 12 + length;
        }
        EXPECT_EQ(events, static_cast<std::size_t>(kEvents));
        Do(R"({"do":"reset-saw"})");
        client.Close();
        ASSERT_TRUE(WaitForListening());
        if (rounds == 0) {
            row.Rebase(HostId());
        } else {
            row.Count(kEvents + kCommands);
        }
    }
    EXPECT_EQ(TextCommands(), rounds * kCommands);
    EXPECT_EQ(Events(), rounds * kEvents);
    // Less than a round's frames for each round, were they kept.
    row.Finish({2 * FaultRow::kLockRoom, 0, 6144});
}

}  // namespace
}  // namespace vdipc::test
