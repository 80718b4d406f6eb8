// Everything that may call the handler calls it at once: nothing is lost, nothing is mixed up, and a stop ends it.
#include "support/Storm.h"

#include <algorithm>
#include <cstdio>

namespace vdipc::test {
namespace {

class HandlerStorm : public testing::Test {
protected:
    static void SetUpTestSuite() {
        storm = std::make_unique<Storm>();
        storm->Run();
        std::printf("%zu threads, %zu frames, %lld ms of storm\n", Seen().threads, Seen().texts.size(),
                    static_cast<long long>(Seen().storm.count()));
        for (const std::string& text : storm->result.texts) {
            events.push_back(ParseJson(text));
        }
    }
    static void TearDownTestSuite() {
        storm.reset();
        events.clear();
    }
    static const Storm::Result& Seen() { return storm->result; }

    static std::map<std::string, int> CountBy(const char* key, const std::vector<std::string>& kinds) {
        std::map<std::string, int> counts;
        for (const Json::Value& event : events) {
            if (std::find(kinds.begin(), kinds.end(), event["event"].asString()) != kinds.end()) {
                ++counts[event[key].asString()];
            }
        }
        return counts;
    }
    static int At(const std::map<std::string, int>& counts, const std::string& key) {
        const auto found = counts.find(key);
        return found == counts.end() ? 0 : found->second;
    }

    static inline std::unique_ptr<Storm> storm;
    static inline std::vector<Json::Value> events;
};

const std::vector<std::string> kStormAnswerEvents = {"key-pressed", "audio-recognized", "voice-evaluated",
                                                     "evaluated", "voice-record"};

TEST_F(HandlerStorm, EveryFrame_IsAnEventOfTheSchema) {
    EXPECT_GT(Seen().texts.size(), 200u);
    for (const std::string& text : Seen().texts) {
        EXPECT_EQ(CheckEvent(text), "") << text;
    }
}

TEST_F(HandlerStorm, EveryCallback_BecomesOneTask) {
    EXPECT_TRUE(Seen().in_time);
    EXPECT_EQ(Seen().begun[kStormCommands], Seen().written_before_stop);
    for (const int counted : {kStormKeys, kStormConnects, kStormRecordings, kStormBinds, kStormUnbinds,
                              kStormChanges, kStormAnswers}) {
        EXPECT_GT(Seen().made[static_cast<std::size_t>(counted)], 0) << counted;
        EXPECT_EQ(Seen().begun[static_cast<std::size_t>(counted)],
                  Seen().made[static_cast<std::size_t>(counted)])
            << counted;
    }
    EXPECT_EQ(Seen().left_in_queue, 0u);
    EXPECT_GT(Seen().controls_told, 0);
    EXPECT_EQ(Seen().controls_handled, Seen().controls_told);
    EXPECT_GT(Seen().moves, 0);
}

TEST_F(HandlerStorm, QuestionForOneKeypad_IsAnsweredAsOftenAsItsPupilAnswered) {
    const auto seen = CountBy("custom", kStormAnswerEvents);
    int exact = 0;
    for (const auto& [custom, expected] : Seen().expected) {
        if (Seen().single_customs.count(custom) != 0 && Seen().switched_offline) {
            EXPECT_LE(At(seen, custom), 1) << "evaluations are lost with the switch";
        } else {
            EXPECT_EQ(At(seen, custom), expected) << custom;
            exact += expected;
        }
    }
    EXPECT_GT(exact, 50);
    EXPECT_EQ(At(seen, "unserved"), 0);
}

TEST_F(HandlerStorm, AnswerOfAnyKeypad_ComesNoMoreOftenThanThePupilDidSomething) {
    for (const auto& [device, count] : CountBy("device", {"key-pressed"})) {
        EXPECT_LE(count, At(Seen().presses, device)) << device;
    }
    for (const auto& [device, count] : CountBy("device", {"audio-recognized"})) {
        EXPECT_LE(count, At(Seen().answers, device)) << device;
    }
    // The station's bad recordings are answered without an engine.
    for (const auto& [device, count] : CountBy("device", {"voice-evaluated", "evaluated", "voice-record"})) {
        EXPECT_LE(count, At(Seen().recordings, device)) << device;
    }
}

TEST_F(HandlerStorm, KeypadsThatCameAndWent_AreTold) {
    std::map<DeviceType, int> activated;
    std::map<DeviceType, int> inactivated;
    std::map<DeviceType, int> presses;
    const auto kind_of = [](const std::string& device) {
        return static_cast<DeviceType>(std::stoi(device) / 1000 - 1);
    };
    for (const auto& [device, count] : CountBy("device", {"activated"})) {
        activated[kind_of(device)] += count;
    }
    for (const auto& [device, count] : CountBy("device", {"inactivated"})) {
        inactivated[kind_of(device)] += count;
    }
    for (const auto& [device, count] : Seen().presses_before_stop) {
        presses[kind_of(device)] += count;
    }
    for (const DeviceType kind : kAllKinds) {
        EXPECT_EQ(inactivated[kind], Seen().unbinds.at(kind));
        if (kind == DeviceType::LW) {  // key 9 brings a dropped one back
            EXPECT_GE(activated[kind], Seen().binds.at(kind));
        } else {
            EXPECT_EQ(activated[kind], Seen().binds.at(kind) + (kind == DeviceType::RV1 ? presses[kind] : 0));
        }
    }
    EXPECT_EQ(At(CountBy("device", {"activated"}), "9999"), Seen().texts_sent) << "texts of another thread";
}

TEST_F(HandlerStorm, Recording_IsCopiedBeforeItsBytesAreGone) {
    std::size_t spoken = 0;
    for (const SpeechEngine& engine : Seen().engines) {
        for (std::size_t i = 0; i < engine.audio.size(); ++i) {
            const std::string id =
                engine.is_recognizer ? engine.recognitions[i].request_id : engine.evaluations[i].request_id;
            const auto keypad = static_cast<std::uint32_t>(std::stoul(ParseJson(id)["device"].asString()));
            EXPECT_EQ(std::count(engine.audio[i].begin(), engine.audio[i].end(), Storm::FillOf(keypad)),
                      static_cast<std::ptrdiff_t>(engine.audio[i].size()));
            spoken += engine.audio[i].empty() ? 0 : 1;
        }
    }
    EXPECT_GT(spoken, 15u);
    EXPECT_GT(Seen().recording_files.size(), 15u);
    for (const std::string& file : Seen().recording_files) {
        ASSERT_FALSE(file.empty());
        EXPECT_NE(file.front(), '\xEE');
        EXPECT_EQ(file.find_first_not_of(file.front()), std::string::npos);
    }
    EXPECT_GT(Seen().audio_valid, 0);
    EXPECT_EQ(Seen().audio_releases, Seen().audio_valid) << "each buffer of the station is given back once";
}

TEST_F(HandlerStorm, PingsRecordsAndLines_AreAllThere) {
    EXPECT_EQ(Seen().replies, Seen().pings);
    EXPECT_EQ(Seen().records_seen, Seen().records_sent);
    EXPECT_GT(Seen().infos_sent, 0);
    EXPECT_EQ(Seen().infos_seen, Seen().infos_sent);
    for (const std::string& line : Seen().lines_written) {
        EXPECT_NE(Seen().log_file.find(line), std::string::npos) << line;
    }
}

TEST_F(HandlerStorm, StopInTheMidst_EndsAndRunsOrKeepsEveryTask) {
    EXPECT_GE(Seen().stop, std::chrono::milliseconds(1990));
    EXPECT_LT(Seen().stop, std::chrono::seconds(120));
    EXPECT_TRUE(Seen().closed_by_handler);
    EXPECT_TRUE(Seen().decks_deleted);
    int posted = Seen().other_posts_at_stop;
    int begun = 0;
    for (std::size_t i = 0; i < kStormCounts; ++i) {
        posted += Seen().made_in_all[i] - Seen().made[i];
        begun += Seen().begun_in_all[i] - Seen().begun[i];
    }
    EXPECT_GT(Seen().left_at_stop, 0u);
    EXPECT_EQ(posted, begun + static_cast<int>(Seen().left_at_stop));
}

TEST_F(HandlerStorm, SecondLife_DropsTheTasksOfObjectsThatAreGoneAndRunsTheOthers) {
    EXPECT_EQ(Seen().begun_in_second_life, 0);
    EXPECT_EQ(Seen().left_in_second_life, 0u);
    EXPECT_EQ(Seen().answers_in_second_life, Seen().made_in_all[kStormAnswers]);
    EXPECT_GT(Seen().fired, 0) << "a single evaluation that nobody answered";
    EXPECT_EQ(Seen().timeouts_in_second_life, Seen().fired);
    std::vector<std::string> kinds;
    for (const std::string& text : Seen().second_texts) {
        EXPECT_EQ(CheckEvent(text), "") << text;
        kinds.push_back(ParseJson(text)["event"].asString());
    }
    EXPECT_THAT(kinds, testing::ElementsAre("device-inited", "key-pressed")) << "nothing of the first life";
}

}  // namespace
}  // namespace vdipc::test
