// Receivers, keypads and keys.
#include "tools/vdlog/Story.h"

#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <utility>

namespace vdipc::log {
namespace {

constexpr std::size_t kMostHeardKeys = 20000;
// A damaged log could name any number of keypads. A class has some sixty.
constexpr std::size_t kMostKeypads = 70000;
// Callbacks reach the queue in the order of their lines but for a moment: what is so much older has no turn any more.
constexpr std::int64_t kKeysOvertaken = 3000;

/// Whether this answer ends the question for its keypad.
bool Finishes(std::int64_t type) {
    switch (static_cast<QuestionKind>(type)) {
    case QuestionKind::SingleChoice:
    case QuestionKind::MultipleChoice:
    case QuestionKind::RedEnvelope:
    case QuestionKind::TrueFalse:
        return true;
    default:
        return false;
    }
}

}  // namespace

// ---- receivers ------------------------------------------------------------------------------------------------------

void Story::SetReceiver(Receiver receiver, bool up, const Mark& at, std::string_view reason) {
    ReceiverState& state = receivers_[static_cast<std::size_t>(receiver)];
    if (!up && !state.up && state.changed.IsSet()) {
        if (reason != "taken down") {
            state.reason = reason;
        }
        return;
    }
    if (up && state.up) {
        return;
    }
    const bool was_up = state.up;
    const bool was_known = run_is_whole_ || state.changed.IsSet();
    state.up = up;
    state.changed = at;
    state.reason = up ? std::string_view() : reason;
    if (!up && !was_up && reason == "taken down") {
        return;  // was never up
    }
    Fact fact;
    fact.kind = up ? FactKind::ReceiverUp : FactKind::ReceiverDown;
    fact.at = at;
    fact.receiver = receiver;
    fact.text = up ? std::string_view() : reason;
    fact.number = was_known ? 0 : 1;
    fact.command = task_ == Task::Command ? command_.get() : nullptr;
    Emit(fact);
}

void Story::OnDeviceInited(const LogLine& line, std::string_view text) {
    // The list of what is ready is the one line that names the kinds.
    const std::size_t begin = text.find("\"avaliable-device\" :");
    std::string_view list;
    if (begin != std::string_view::npos) {
        list = text.substr(begin, text.find(']', begin) - begin);
    }
    const bool is_list = list.find('[') != std::string_view::npos;
    const std::string info = MemberOf(text, "info");
    for (std::size_t i = 0; i < kReceivers; ++i) {
        const auto receiver = static_cast<Receiver>(i);
        const std::string name = "\"" + std::string(NameOf(receiver)) + "\"";
        const bool up = is_list && list.find(name) != std::string_view::npos;
        ReceiverState& state = receivers_[i];
        if (up != state.up && (up || state.chosen || group_ < 0)) {
            std::string reason = "its connection is lost";
            if (receiver == Receiver::RV2) {
                reason = info == "no-power"        ? "it has no power"
                         : info == "not-connected" ? "its USB link is missing"
                         : info == "ip-not-set"    ? "its network address isn't set"
                                                   : "power or USB link is lost";
            }
            state.chosen = state.chosen || up;
            SetReceiver(receiver, up, line.at, reason);
        }
    }
}

std::vector<Receiver> Story::UsbCandidates() const {
    std::vector<Receiver> up;
    std::vector<Receiver> chosen;
    for (const Receiver receiver : {Receiver::TQ1, Receiver::TQ2, Receiver::RV1, Receiver::LW}) {
        const ReceiverState& state = StateOf(receiver);
        if (state.up) {
            up.push_back(receiver);
        }
        if (state.chosen || group_ < 0) {
            chosen.push_back(receiver);
        }
    }
    if (!up.empty()) {
        return up;
    }
    return chosen.empty() ? std::vector<Receiver>{Receiver::TQ1, Receiver::TQ2, Receiver::RV1, Receiver::LW}
                          : chosen;
}

// ---- keypads --------------------------------------------------------------------------------------------------------

Keypad* Story::KeypadOf(Receiver receiver, std::string_view device) {
    if (receiver == Receiver::None || receiver == Receiver::Usb || device.size() > 64) {
        return nullptr;
    }
    auto& keypads = receivers_[static_cast<std::size_t>(receiver)].keypads;
    const auto found = keypads.find(device);
    if (found != keypads.end()) {
        return &found->second;
    }
    return keypads.size() < kMostKeypads ? &keypads[std::string(device)] : nullptr;
}

const Keypad* Story::FindKeypad(Receiver receiver, std::string_view device) const {
    if (receiver == Receiver::None || receiver == Receiver::Usb) {
        return nullptr;
    }
    const auto& keypads = StateOf(receiver).keypads;
    const auto found = keypads.find(device);
    return found != keypads.end() ? &found->second : nullptr;
}

void Story::LogOn(const LogLine& line, Receiver receiver, std::string_view device, bool from_file,
                  bool certain) {
    std::vector<Receiver> candidates{receiver};
    if (receiver == Receiver::Usb) {
        candidates = UsbCandidates();
        // TQ2 says so by a line of its own.
        if (candidates.size() > 1) {
            std::erase(candidates, Receiver::TQ2);
        }
        certain = candidates.size() == 1;
    }
    for (const Receiver candidate : candidates) {
        Keypad* const keypad = KeypadOf(candidate, device);
        if (keypad == nullptr) {
            continue;
        }
        const bool was_certain = keypad->logged_on && !keypad->uncertain;
        if (!certain && !keypad->uncertain && !was_certain) {
            keypad->uncertain = true;
            ++receivers_[static_cast<std::size_t>(candidate)].uncertain;
        }
        if (!keypad->logged_on || !from_file) {
            keypad->logon = line.at;
        }
        keypad->logged_on = true;
        keypad->from_file = from_file;
        if (candidate == Receiver::LW) {
            // A keypad of this kind takes the question of all along.
            const Keypad* const all = FindKeypad(candidate, "0");
            if (all != nullptr && all->question != nullptr && !from_file) {
                if (keypad->question == nullptr) {
                    keypad->question = std::make_unique<Question>();
                }
                Question& question = *keypad->question;
                const Mark answered = question.answered;
                const bool same = question.ask != nullptr && all->question->ask != nullptr &&
                                  question.ask->custom == all->question->ask->custom;
                LoseLetters(candidate, device, question, line.at);
                question = Question();
                question.ask = all->question->ask;
                question.asked = line.at;
                question.open = true;
                question.answered = same ? answered : Mark();
            }
        }
    }
    Fact fact;
    fact.kind = FactKind::Logon;
    fact.at = line.at;
    fact.receiver = candidates.size() == 1 ? candidates[0] : Receiver::Usb;
    fact.receiver_certain = certain;
    fact.device = device;
    fact.number = from_file ? 1 : 0;
    Emit(fact);
}

void Story::LogOff(const LogLine& line, Receiver receiver, std::string_view device) {
    std::vector<Receiver> candidates{receiver};
    if (receiver == Receiver::Usb) {
        candidates = UsbCandidates();
        std::erase_if(candidates, [&](Receiver candidate) {
            const Keypad* const keypad = FindKeypad(candidate, device);
            return keypad == nullptr || !keypad->logged_on || candidate == Receiver::TQ2;
        });
    }
    for (const Receiver candidate : candidates) {
        Keypad* const keypad = KeypadOf(candidate, device);
        if (keypad == nullptr) {
            continue;
        }
        if (keypad->uncertain) {
            keypad->uncertain = false;
            --receivers_[static_cast<std::size_t>(candidate)].uncertain;
        }
        keypad->logged_on = false;
        keypad->logoff = line.at;
        keypad->dropped = task_ == Task::Command && in_drop_;
    }
    Fact fact;
    fact.kind = FactKind::Logoff;
    fact.at = line.at;
    fact.receiver = candidates.size() == 1 ? candidates[0] : Receiver::Usb;
    fact.receiver_certain = candidates.size() == 1;
    fact.device = device;
    fact.command = task_ == Task::Command ? command_.get() : nullptr;
    Emit(fact);
}

// ---- keys -----------------------------------------------------------------------------------------------------------

void Story::HearKey(const LogLine& line, const Reading& reading, bool station) {
    Press press;
    press.receiver = station ? Receiver::RV2 : Receiver::Usb;
    press.device = reading.values[0].substr(0, 20);
    press.key = NumberIn(reading.values[1]);
    press.times = station ? 1 : NumberIn(reading.values[2], 1);
    press.heard = line.at;
    press.lines.Add(line.at);
    heard_keys_.push_back(press);
    Fact fact;
    fact.kind = FactKind::Pressed;
    fact.at = line.at;
    fact.receiver = press.receiver;
    fact.device = press.device;
    fact.press = &press;
    Emit(fact);
    if (heard_keys_.size() > kMostHeardKeys) {
        heard_keys_.pop_front();
    }
}

void Story::BeginKey(const LogLine& line, const Reading& reading, bool station) {
    Begin(Task::Press);
    const Receiver receiver = station ? Receiver::RV2 : Receiver::Usb;
    const std::int64_t key = NumberIn(reading.values[1]);
    const auto found = std::find_if(heard_keys_.begin(), heard_keys_.end(), [&](const Press& press) {
        return press.receiver == receiver && press.key == key && press.device == reading.values[0];
    });
    if (found == heard_keys_.end()) {
        press_ = Press();
        press_.receiver = receiver;
        press_.device = reading.values[0].substr(0, 20);
        press_.key = key;
        press_.times = station ? 1 : NumberIn(reading.values[2], 1);
    } else {
        press_ = *found;
        const std::int64_t since = found->heard.time;
        heard_keys_.erase(found);
        while (!heard_keys_.empty() && heard_keys_.front().heard.time + kKeysOvertaken < since) {
            Press lost = heard_keys_.front();
            heard_keys_.pop_front();
            lost.outcome = Outcome::NeverRun;
            lost.begun = line.at;
            Fact fact;
            fact.kind = FactKind::PressDone;
            fact.at = lost.heard;
            fact.receiver = lost.receiver;
            fact.device = lost.device;
            fact.press = &lost;
            Emit(fact);
        }
    }
    press_.begun = line.at;
    press_.lines.Add(line.at);
    found_ = -1;
    finished_known_ = false;
    finished_ = false;
    need_send_ = -1;
    known_usb_ = Receiver::None;
    letters_.clear();
}

void Story::OnKeyLine(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    case LineId::ActivateForRV1:
        known_usb_ = Receiver::RV1;
        press_.lines.Add(line.at);
        break;
    case LineId::BroughtBackForLW:
        known_usb_ = Receiver::LW;
        press_.outcome = Outcome::BroughtBack;
        press_.lines.Add(line.at);
        break;
    case LineId::QuestionFound:
        found_ = IsTrue(values[1]) ? 1 : 0;
        press_.lines.Add(line.at);
        if (found_ == 0) {
            press_.outcome = Outcome::NoQuestion;
            EndTask();
        }
        break;
    case LineId::AnswerFinished:
        finished_known_ = true;
        finished_ = IsTrue(values[1]);
        press_.lines.Add(line.at);
        if (finished_) {
            press_.outcome = Outcome::Answered;
            EndTask();
        }
        break;
    case LineId::KeyFiltered:
        press_.type = NumberIn(values[0], -1);
        press_.lines.Add(line.at);
        break;
    case LineId::KeyCommits:
    case LineId::KeyTaken:
    case LineId::KeyClears:
        press_.lines.Add(line.at);
        letters_ = reading.id == LineId::KeyClears ? "-" : letters_;
        if (reading.id == LineId::KeyTaken && press_.type == 1) {
            letters_ = "+";
        }
        break;
    case LineId::KeysSoFar:
        press_.lines.Add(line.at);
        letters_ = "+" + std::string(values[1].substr(0, 8));
        break;
    case LineId::StationNeedSend:
    case LineId::ReceiverNeedSend:
        need_send_ = IsTrue(values[reading.id == LineId::StationNeedSend ? 0 : 1]) ? 1 : 0;
        press_.lines.Add(line.at);
        if (need_send_ == 0) {
            press_.outcome = letters_.empty() ? Outcome::DoesNotCount : Outcome::Held;
            EndTask();
        }
        break;
    default:
        break;
    }
}

void Story::ChooseUsb(std::string_view device, Receiver& receiver,
                      const std::function<bool(const Keypad*)>& fits) {
    std::vector<Receiver> candidates = UsbCandidates();
    if (candidates.size() > 1) {
        // RV1 says so at each press.
        std::erase(candidates, Receiver::RV1);
    }
    const auto narrow = [&](const auto& keep) {
        std::vector<Receiver> left;
        std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(left), keep);
        if (!left.empty()) {
            candidates = left;
        }
    };
    narrow([&](Receiver candidate) { return fits(FindKeypad(candidate, device)); });
    narrow([&](Receiver candidate) {
        const Keypad* const keypad = FindKeypad(candidate, device);
        return keypad != nullptr && keypad->logged_on;
    });
    receiver = candidates.size() == 1 ? candidates[0] : Receiver::Usb;
}

void Story::EndKey() {
    if (press_.outcome == Outcome::Open && found_ == 1 && !finished_known_) {
        press_.outcome = Outcome::Closed;
    }
    if (press_.outcome == Outcome::Open && need_send_ == 1) {
        press_.outcome = Outcome::Event;  // the line of the event is missing
    }
    if (press_.receiver == Receiver::Usb) {
        if (known_usb_ != Receiver::None) {
            press_.receiver = known_usb_;
        } else {
            const Outcome outcome = press_.outcome;
            ChooseUsb(press_.device, press_.receiver, [outcome](const Keypad* keypad) {
                const Question* const question = keypad != nullptr ? keypad->question.get() : nullptr;
                switch (outcome) {
                case Outcome::NoQuestion:
                    return question == nullptr;
                case Outcome::Closed:
                    return question != nullptr && !question->open;
                case Outcome::Answered:
                    return question != nullptr && question->open && question->answered.IsSet();
                default:
                    return question != nullptr && question->open;
                }
            });
        }
    }
    Keypad* const keypad =
        press_.outcome == Outcome::NoQuestion ? nullptr : KeypadOf(press_.receiver, press_.device);
    Question* question = keypad != nullptr ? keypad->question.get() : nullptr;
    if (keypad != nullptr && question == nullptr &&
        (press_.outcome == Outcome::Event || press_.outcome == Outcome::Held ||
         press_.outcome == Outcome::Answered || press_.outcome == Outcome::DoesNotCount)) {
        // Asked before the log begins.
        keypad->question = std::make_unique<Question>();
        question = keypad->question.get();
        question->open = true;
    }
    Fact fact;
    fact.kind = FactKind::PressDone;
    fact.at = press_.heard.IsSet() ? press_.heard : press_.begun;
    fact.receiver = press_.receiver;
    fact.receiver_certain = press_.receiver != Receiver::Usb;
    fact.device = press_.device;
    fact.press = &press_;
    fact.question = question;
    if (question != nullptr && press_.outcome == Outcome::Event) {
        question->letters.clear();
        question->letter_lines = Evidence();
    }
    Emit(fact);
    if (question == nullptr) {
        return;
    }
    if (press_.outcome == Outcome::Event && Finishes(press_.type)) {
        question->answered = press_.event.IsSet() ? press_.event : press_.begun;
    } else if (press_.outcome == Outcome::Held) {
        if (letters_[0] == '-') {
            question->letters.clear();
            question->letter_lines = Evidence();
        } else {
            question->letter_lines.Add(press_.heard.IsSet() ? press_.heard : press_.begun);
            if (letters_.size() > 1) {
                question->letters = letters_.substr(1);
            }
        }
    }
}

}  // namespace vdipc::log
