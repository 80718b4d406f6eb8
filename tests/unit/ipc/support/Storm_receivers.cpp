// What the receivers' libraries do in a storm: rounds of callbacks, answers to questions, and the last calls while the
// handler stops.
#include "support/Storm.h"

namespace vdipc::test {
namespace {

constexpr int kKeyRounds = 60;
constexpr int kSpeakRounds = 20;
constexpr int kLastCalls = 5;
constexpr std::size_t kGoodRecording = 3200;
constexpr std::size_t kShortRecording = 100;

bool IsVoice(const std::string& type) {
    return type == "voice-record" || type == "evaluation" || type.compare(0, 5, "audio") == 0;
}

/// What a pupil presses, and how many events that makes. No key that counts comes behind one that finishes: a question
/// or a stop for all clears every keypad's answer, and it would count again.
struct StormPresses {
    std::vector<std::int32_t> keys;
    int events = 0;
};

StormPresses PressesFor(DeviceType kind, const std::string& type) {
    static const std::map<std::string, StormPresses> presses = {
        {"single-choice", {{9, 2}, 1}},
        {"multiple-choice", {{1, 3, 1, 5, 2}, 1}},
        {"red-envelope", {{1, 9}, 1}},
        {"continous-red-envelope", {{9, 9, 2}, 2}},
        {"true-false", {{1, 5}, 1}},
        {"general", {{1, 9}, 2}},
        {"multiple-question-single-choice", {{2, 4}, 2}}};
    // A key makes an RV1 keypad an activated one, and from then on it gets the questions for all.
    static const std::map<std::string, StormPresses> first = {{"single-choice", {{2}, 1}},
                                                              {"multiple-choice", {{5}, 1}},
                                                              {"red-envelope", {{9}, 1}},
                                                              {"continous-red-envelope", {{9}, 1}},
                                                              {"true-false", {{6}, 1}},
                                                              {"general", {{1}, 1}},
                                                              {"multiple-question-single-choice", {{4}, 1}}};
    return (kind == DeviceType::RV1 ? first : presses).at(type);
}

}  // namespace

bool Storm::Key(DeviceType kind, std::uint32_t keypad, std::int32_t key, std::chrono::milliseconds patience) {
    const bool made =
        kind == DeviceType::RV2
            ? station_->gate.Call(
                  [&](IVoteDeckEvent& event) {
                      event.OnKeypadEvent(static_cast<std::uint16_t>(keypad), key);
                  },
                  patience)
            : Deck(kind).gate.Call(
                  [&](IVoteDeckEventOld& event) { event.OnKeyEvent(keypad, key, 1, 2, 0, 0, 70); }, patience);
    if (made) {
        ++made_[kStormKeys];
        Put([this, keypad] { ++result.presses[std::to_string(keypad)]; });
    }
    return made;
}

bool Storm::Record(DeviceType kind, std::uint32_t keypad, std::size_t size,
                   std::chrono::milliseconds patience) {
    const std::uint8_t fill = FillOf(keypad);
    bool made = false;
    if (kind == DeviceType::RV2) {
        StormAudio audio(size, fill, true);
        made = station_->gate.Call(
            [&](IVoteDeckEvent& event) {
                event.OnKeypadAudioEvent(static_cast<std::uint16_t>(keypad), &audio, false);
            },
            patience);
        audio_valid_ += made ? 1 : 0;
        audio_releases_ += audio.releases;
    } else {
        std::vector<std::uint8_t> first(16, fill);
        std::vector<std::uint8_t> second(size, fill);
        made = Deck(kind).gate.Call(
            [&](IVoteDeckEventOld& event) {
                event.OnAudioDataReceived(keypad, first.data(), 16, second.data(),
                                          static_cast<std::uint32_t>(size), 0.25F);
                first.assign(16, 0xEE);
                second.assign(size, 0xEE);
            },
            patience);
    }
    if (made) {
        ++made_[kStormRecordings];
        Put([this, keypad] { ++result.recordings[std::to_string(keypad)]; });
    }
    return made;
}

void Storm::Bind(DeviceType kind, std::uint32_t keypad, bool bound) {
    if (kind == DeviceType::RV2) {
        if (station_->gate.Call([&](IVoteDeckEvent& event) {
                event.OnKeypadConnect(0, static_cast<std::uint16_t>(keypad), bound);
            })) {
            ++made_[kStormConnects];
            Put([&] { ++(bound ? result.binds : result.unbinds)[kind]; });
        }
    } else if (Deck(kind).gate.Call([&](IVoteDeckEventOld& event) {
                   bound ? event.OnBindCard(keypad) : event.OnUnbindCard(keypad);
               })) {
        ++made_[bound ? kStormBinds : kStormUnbinds];
        Put([&] { ++(bound ? result.binds : result.unbinds)[kind]; });
    }
}

void Storm::SmallTalk(DeviceType kind) {
    if (kind == DeviceType::RV2) {
        station_->gate.Call([](IVoteDeckEvent& event) {
            event.OnKeypadStateEvent();
            event.OnKeypadLowBatteryEvent();
            event.OnMCUUpdateProgress();
            event.OnRepeatedConnectionKeypad();
            event.OnLogEvent();
        });
        StormAudio audio(kGoodRecording, 1, false);
        station_->gate.Call([&](IVoteDeckEvent& event) { event.OnKeypadAudioEvent(3001, &audio, false); });
        audio_releases_ += audio.releases;
        return;
    }
    StormDeck& deck = Deck(kind);
    deck.gate.Call([](IVoteDeckEventOld& event) {
        event.OnSetContextSuccess();
        event.OnSendToDevice();
        event.OnDataSentFailed();
    });
    deck.control.gate.Call([](IInternalEventListener& listener) {
        listener.OnReSendCommend();
        listener.OnSendData();
        listener.OnReceiveData();
    });
    // It reads the receiver's channel on the library's own thread while a task may write it, an accepted race. So it
    // comes from the one receiver that tells none.
    if (kind == DeviceType::LW) {
        std::string info = "info";
        if (deck.gate.Call([&](IVoteDeckEventOld& event) {
                event.OnGetDeviceInfo(info.c_str(), 3);
                info.assign(info.size(), 'x');
            })) {
            ++infos_sent_;
        }
    }
}

void Storm::TakeQuestion(DeviceType kind, std::int32_t, std::uint32_t device) {
    Put([this, kind, device] {
        const auto pupil = pupils_.find(device);
        if (pupil != pupils_.end() && !pupil->second.asked && device / 1000 == FirstNumber(kind) / 1000) {
            pupil->second.asked = true;
            asked_[kind].push_back(device);
            ++open_questions_;
        }
    });
}

void Storm::AnswerAsPupil(DeviceType kind, std::uint32_t keypad) {
    Pupil pupil;
    Put([&] { pupil = pupils_.at(keypad); });
    int events = 0;
    if (IsVoice(pupil.type)) {
        const bool made = Record(kind, keypad, kGoodRecording, kStormPatience);
        events = made && pupil.type == "voice-record" ? 1 : 0;
    } else {
        const StormPresses presses = PressesFor(kind, pupil.type);
        for (const std::int32_t key : presses.keys) {
            Key(kind, keypad, key, kStormPatience);
        }
        events = presses.events;
    }
    Put([&] {
        result.expected[pupil.custom] += events;
        --open_questions_;
    });
}

void Storm::CallWhileItCloses(DeviceType kind) {
    const auto last = [&](auto& gate) {
        gate.AnnounceLastCalls();
        RoundsMade();
        for (int i = 0; i < kStormCallsAtStop; ++i) {
            Key(kind, FirstNumber(kind) + 1, 1 + i % 9);
            Record(kind, FirstNumber(kind) + 2, kGoodRecording);
            SmallTalk(kind);
        }
        gate.WaitUntilItCloses();
        for (int i = 0; i < kLastCalls; ++i) {
            Key(kind, FirstNumber(kind) + 1, 1 + i);
            Record(kind, FirstNumber(kind) + 2, kShortRecording);
            SmallTalk(kind);
        }
        gate.LastCallsMade();
    };
    if (kind == DeviceType::RV2) {
        last(station_->gate);
    } else {
        last(Deck(kind).gate);
        // The link level has a listener until the receiver is deleted.
        for (int i = 0; i < kStormCallsAtStop; ++i) {
            SmallTalk(kind);
        }
    }
}

void Storm::PressKeys(DeviceType kind) {
    const std::uint32_t first = FirstNumber(kind);
    for (std::uint32_t keypad = 1; keypad <= 4; ++keypad) {
        Bind(kind, first + keypad, true);
    }
    for (int round = 0; round < kKeyRounds; ++round) {
        Key(kind, first + 1 + static_cast<std::uint32_t>(round % 3), 1 + round % 9);
        if (round % 6 == 0) {
            Bind(kind, first + 4, round % 12 != 0);
        }
        if (round % 4 == 0) {
            SmallTalk(kind);
        }
    }
    RoundsMade();
    AwaitStop();
    CallWhileItCloses(kind);
}

void Storm::Speak(DeviceType kind) {
    const auto take = [this, kind](std::uint32_t& keypad) {
        if (asked_[kind].empty()) {
            return false;
        }
        keypad = asked_[kind].front();
        asked_[kind].pop_front();
        return true;
    };
    std::uint32_t keypad = 0;
    for (int round = 0; round < kSpeakRounds; ++round) {
        Record(kind, FirstNumber(kind) + 1 + static_cast<std::uint32_t>(round % 2),
               round % 3 == 0 ? kShortRecording : kGoodRecording);
        if (kind == DeviceType::TQ1 && round % 3 == 0) {
            for (const bool connected : {false, true}) {
                if (Deck(kind).gate.Call([connected](IVoteDeckEventOld& event) {
                        event.OnDeviceConnectedChange(connected);
                    })) {
                    ++made_[kStormChanges];
                }
            }
        } else if (kind != DeviceType::RV2 && round % 3 == 1) {
            StormDeck& deck = Deck(kind);
            told_ +=
                deck.gate.Call([&deck](IVoteDeckEventOld& event) { event.OnDeviceIOError(&deck); }) ? 1 : 0;
        }
        bool asked = false;
        Put([&] { asked = take(keypad); });
        if (asked) {
            AnswerAsPupil(kind, keypad);
        }
    }
    RoundsMade();
    for (;;) {
        bool asked = false;
        Await([&] { return (asked = take(keypad)) || phase_ == Phase::Stop; });
        if (!asked) {
            break;
        }
        AnswerAsPupil(kind, keypad);
    }
    CallWhileItCloses(kind);
}

}  // namespace vdipc::test
