// Receivers that are pulled out in the middle of something, and speech engines that answer late, twice or never.

#include "tests/system/support/FaultTest.h"

#include <cstdint>
#include <string>

namespace vdipc::test {
namespace {

class DeviceFaults : public FaultTest {
protected:
    /// The station's script runs at each notice of the system, so the others are lost without one from the second time on.
    void Lose(const std::string& kind, bool notice) {
        Do(kind == "RV2"
               ? R"({"do":"station","state":"no-usb"})"
               : R"({"do":"unplug","kind":")" + kind + R"(","notice":)" + (notice ? "true}" : "false}"));
    }

    void BringBack(const std::string& kind, bool notice) {
        Do(kind == "RV2"
               ? R"({"do":"station","state":"up"})"
               : R"({"do":"plug","kind":")" + kind + R"(","notice":)" + (notice ? "true}" : "false}"));
    }

    void Press(const std::string& kind, const std::string& key) {
        Do(R"({"do":"key","kind":")" + kind + R"(","from":1,"to":5,"key":")" + key + "\"}");
    }

    /// What is done around each loss of a receiver, and the figures before and after many of them.
    template <typename Before, typename After>
    void LoseReceiver(const std::string& what, const std::string& kind, std::size_t times, Before before,
                      After after) {
        environment_["CLASSROOM_PLUGGED"] = "TQ1,TQ2,RV1,LW";
        Start();
        TestClient client;
        Init(client, "any");
        Do(R"({"do":"connect","kind":")" + kind + R"(","from":1,"to":5})");
        FaultRow row(what + " " + kind, HostId());
        for (std::size_t i = 0; i < 2 + times && !HasFailure(); ++i) {
            if (i == 2) {
                row.Rebase(HostId());
            }
            before(client, i);
            Lose(kind, i == 0);
            client.Expect("removed");
            BringBack(kind, i == 0);
            client.Expect("arrived");
            after(client, i);
            row.Count(i < 2 ? 0 : 1);
        }
        client.Settle();
        // The stand-ins keep the last 256 recordings for a while.
        row.Finish();
    }
};

/// Receivers by the kind; the base station's loss takes a run of its script.
class ReceiverFaults : public DeviceFaults, public testing::WithParamInterface<const char*> {
protected:
    std::string Kind() const { return GetParam(); }
    std::size_t Times() const { return Repeated(Kind() == "RV2" ? 2 : 20); }
};

TEST_P(ReceiverFaults, UnpluggedWhileAQuestionIsOpen_TheQuestionStandsWhenItIsBack) {
    LoseReceiver(
        "unplugged, a question open", Kind(), Times(),
        [this](TestClient& client, std::size_t i) {
            client.Send("ask 0 general custom=q" + std::to_string(i));
            client.Settle();
            PassTasks(client);
        },
        [this](TestClient& client, std::size_t i) {
            Press(Kind(), "B");
            for (int pupil = 1; pupil <= 5; ++pupil) {
                client.Expect("key-pressed", R"({"key":"B","device":")" + std::to_string(pupil) +
                                                 R"(","custom":"q)" + std::to_string(i) + R"("})");
            }
        });
}

INSTANTIATE_TEST_SUITE_P(Kinds, ReceiverFaults, testing::Values("TQ1", "TQ2", "RV1", "LW", "RV2"),
                         [](const auto& information) { return std::string(information.param); });

class RecordingFaults : public ReceiverFaults {};

TEST_P(RecordingFaults, UnpluggedWhileRecordingsComeIn_ThoseThatCameAreTold) {
    std::size_t told = 0;
    LoseReceiver(
        "unplugged, recordings coming in", Kind(), Times(),
        [this](TestClient& client, std::size_t i) {
            client.Send("ask 0 voice-record custom=r" + std::to_string(i));
            PassTasks(client);
            Do(R"({"do":"audio","kind":")" + Kind() +
               R"(","from":1,"to":5,"make":"tone","bytes":6444,"together":true,"wait":false})");
        },
        [&, this](TestClient& client, std::size_t i) {
            // One more from each, so that all of this round have come.
            Do(R"({"do":"audio","kind":")" + Kind() +
               R"(","from":1,"to":5,"make":"tone","bytes":6444,"together":true})");
            PassTasks(client);
            const std::size_t now = client.All("voice-record").size();
            EXPECT_GE(now - told, 5U) << i;
            EXPECT_LE(now - told, 10U) << i;
            told = now;
        });
}

INSTANTIATE_TEST_SUITE_P(Kinds, RecordingFaults, testing::Values("TQ1", "TQ2", "RV2"),
                         [](const auto& information) { return std::string(information.param); });

class SpeechFaults : public FaultTest {
protected:
    static constexpr int kPupils = 100;
    static constexpr std::size_t kImageKib = 16;
    /// As many recordings as the stand-ins keep for a while come before the row measures.
    static constexpr std::size_t kWarmRounds = 3;
    static constexpr std::size_t kRounds = 3;

    void StartClass(TestClient& client) {
        Start();
        Init(client);
        ConnectKeypads(client, "RV2", 1, kPupils);
    }

    void Ask(TestClient& client, const std::string& custom) {
        client.Send("ask 0 audio-multiple custom=" + custom + " stem=red");
        PassTasks(client);
    }

    /// One recording of each pupil, and the requests are at the engine.
    void Speak(TestClient& client) {
        Do(R"({"do":"audio","from":1,"to":100,"make":"tone","bytes":16384})");
        PassTasks(client);
    }
};

TEST_F(SpeechFaults, AnswersThatComeTwice_AreToldOnceAndKeepNothing) {
    TestClient client;
    StartClass(client);
    SetEngine("all", R"("duplicate":2)");
    FaultRow row("speech answers twice", HostId());
    for (std::size_t round = 0; round < kWarmRounds + Repeated(kRounds); ++round) {
        Ask(client, "twice");
        Speak(client);
        ASSERT_TRUE(WaitFor([&] { return client.All("voice-evaluated").size() >= (round + 1) * kPupils; }));
        ASSERT_TRUE(WaitFor([&] { return CountInLog("has been erased, reurn.") >= (round + 1) * kPupils; }));
        if (round + 1 == kWarmRounds) {
            row.Rebase(HostId());
        } else if (round >= kWarmRounds) {
            row.Count(kPupils);
        }
    }
    EXPECT_EQ(client.All("voice-evaluated").size(), (kWarmRounds + Repeated(kRounds)) * kPupils);
    row.Finish();
}

TEST_F(SpeechFaults, AnswersToQuestionsThatAreOver_AreDroppedAndKeepNothing) {
    TestClient client;
    StartClass(client);
    SetEngine("all", R"("mode":"hand")");
    FaultRow row("speech answers late", HostId());
    for (std::size_t round = 0; round < kWarmRounds + Repeated(kRounds); ++round) {
        Ask(client, "old");
        Speak(client);
        Ask(client, "new");
        Do(R"({"do":"speech-answer","engine":"multiple","every":true})");
        ASSERT_TRUE(WaitFor([&] { return CountInLog("custom not match") >= (round + 1) * kPupils; }));
        if (round + 1 == kWarmRounds) {
            row.Rebase(HostId());
        } else if (round >= kWarmRounds) {
            row.Count(kPupils);
        }
    }
    EXPECT_TRUE(client.All("voice-evaluated").empty());
    row.Finish();
}

TEST_F(SpeechFaults, AnswersThatNeverCome_KeepTheirRecordingsAndNothingElse) {
    TestClient client;
    StartClass(client);
    SetEngine("all", R"("mode":"silent")");
    Ask(client, "never");
    for (std::size_t round = 0; round < kWarmRounds; ++round) {
        Speak(client);
    }
    FaultRow row("speech answers never", HostId());
    for (std::size_t round = 0; round < Repeated(kRounds); ++round) {
        Speak(client);
        row.Count(kPupils);
    }
    EXPECT_TRUE(client.All("voice-evaluated").empty());
    const std::size_t held = row.Times() * kImageKib;
    EXPECT_GE(row.Now().private_kib + FaultRow::kHeapRoomKib, row.Before().private_kib + held);
    // Each request keeps its recording, for its result, and a little for its texts.
    row.Finish({FaultRow::kLockRoom, 0, FaultRow::kHeapRoomKib + held + row.Times() * 4});
}

}  // namespace
}  // namespace vdipc::test
