#include "tools/vdlog/Reasons.h"

#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace vdipc::log {
namespace {

struct ReasonWords {
    const char* name;
    const char* title;
};

constexpr ReasonWords kWords[] = {
    {"never-logged-on", "the keypad never logged on"},
    {"logged-off", "the keypad had logged off"},
    {"not-asked", "the keypad was asked nothing"},
    {"asked-before-logon", "the question for all came before the keypad logged on"},
    {"asked-at-another-receiver", "the question was for a keypad of that number at another receiver"},
    {"ask-ignored", "\"ask\" was ignored, because no receiver was ready"},
    {"ask-not-decoded", "\"ask\" couldn't be decoded"},
    {"older-question", "an older question still stood and took the answer"},
    {"closed-by-stop", "the question had been closed by a \"stop\" for the keypad"},
    {"closed-by-stop-for-all", "the question had been closed by a \"stop\" for all"},
    {"closed-by-drop", "the question had been closed by a \"drop\""},
    {"closed-unknown", "the question had been closed before the log begins"},
    {"answered-already", "the keypad had answered already"},
    {"key-does-not-count", "the key doesn't count for this type of question"},
    {"not-confirmed", "a multiple choice was never confirmed"},
    {"brought-back", "the press brought a dropped keypad back, and is no answer"},
    {"receiver-down", "the receiver was down, and nothing could be heard"},
    {"receiver-taken-down", "the receiver had been taken down by an \"init\""},
    {"no-press", "the log shows no press at all"},
    {"never-run", "it was heard, and its turn never came"},
    {"next-client", "the event went to the next client"},
    {"event-late", "the event came late, because the library was busy"},
    {"event-lost", "the client was gone, and the event was lost"},
    {"event-maybe-lost", "the client was lost just behind the event: the log can't tell whether it got it"},
    {"drop-ignored", "\"drop\" was ignored, because no receiver was ready"},
    {"recording-invalid", "the recording wasn't valid"},
    {"recording-too-short", "the recording was too short"},
    {"recording-error", "the recording came with an error"},
    {"recording-fill-pattern", "the recording was the fill pattern"},
    {"recording-not-wanted", "the question takes no recordings"},
    {"no-stems", "the question had no stems"},
    {"no-param", "the question had no parameters"},
    {"speech-never-answered", "the speech service never answered"},
    {"speech-refused", "the speech service answered with an error"},
    {"speech-too-late", "the speech service answered after the question was closed or replaced"},
    {"speech-after-offline", "the speech service answered after the switch to offline"},
    {"command-ignored", "a command was ignored, because no receiver was ready"},
    {"command-not-decoded", "a command couldn't be decoded"},
    {"device-inited-again", "\"device-inited\" came again"},
    {"host-ended-device-id", "the host's process ended: a device id that is no number"},
    {"host-ended-negative-length", "the host's process ended: a message of negative length"},
    {"host-ended", "the run ended without its last lines"},
};
static_assert(std::size(kWords) == kReasons);

constexpr std::int64_t kJustBefore =
    500;  // milliseconds in which an event may have missed a client that went
constexpr std::int64_t kNoticeable = 1000;  // delay of a press that was waiting for something

const char* KeysThatCount(QuestionKind kind) {
    switch (kind) {
    case QuestionKind::SingleChoice:
        return "A to D do";
    case QuestionKind::MultipleChoice:
        return "A to D do, T confirms, F clears";
    case QuestionKind::RedEnvelope:
    case QuestionKind::ContinousRedEnvelope:
        return "G does";
    case QuestionKind::TrueFalse:
        return "T and F do";
    case QuestionKind::General:
    case QuestionKind::MultipleQuestionSingleChoice:
        return "all do";
    default:
        return "it is answered by voice";
    }
}

std::string At(const Mark& mark) {
    return TimeText(mark.time);
}

bool Later(const Mark& one, const Mark& other) {
    return std::pair(one.file, one.line) > std::pair(other.file, other.line);
}

std::string ChangeText(const Fact& fact) {
    return std::string(NameOf(fact.receiver)) + (fact.kind == FactKind::ReceiverDown
                                                     ? " went down (" + std::string(fact.text) + ")"
                                                 : fact.number == 1 ? " is up"
                                                                    : " came up");
}

}  // namespace

const char* NameOf(Reason reason) {
    return kWords[static_cast<std::size_t>(reason)].name;
}

const char* TitleOf(Reason reason) {
    return kWords[static_cast<std::size_t>(reason)].title;
}

std::string KeypadText(const Text& text, std::string_view device, Receiver receiver) {
    return "Keypad " + text.Device(device) +
           (receiver == Receiver::None ? "" : std::string(" (") + NameOf(receiver) + ")");
}

std::string QuestionText(const Text& text, const Command* ask, const std::string& for_one) {
    if (ask == nullptr) {
        return "a question from before the log begins";
    }
    return std::string(NameOf(ask->type)) + " \"" + text.Name(ask->custom) + "\"" +
           (ask->device == "0" ? " for all" : for_one);
}

std::string DurationText(std::int64_t milliseconds) {
    std::array<char, 64> text{};
    const auto all = static_cast<long long>(milliseconds);
    if (all < 1000) {
        std::snprintf(text.data(), text.size(), "%lld ms", all);
    } else if (all < 60000) {
        std::snprintf(text.data(), text.size(), "%lld.%lld s", all / 1000, all % 1000 / 100);
    } else if (all < 3600000) {
        std::snprintf(text.data(), text.size(), "%lld min %lld s", all / 60000, all / 1000 % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%lld h %lld min", all / 3600000, all / 60000 % 60);
    }
    return text.data();
}

std::string LinesText(const std::vector<Mark>& lines, bool several) {
    std::string text = lines.size() == 1 ? "line" : "lines";
    for (const Mark& mark : lines) {
        text += ' ';
        text += several ? std::to_string(mark.file + 1) + ":" : std::string();
        text += std::to_string(mark.line);
    }
    return text;
}

std::string CountText(std::uint64_t count, const char* one, const char* more) {
    return std::to_string(count) + " " + (count == 1 ? one : more);
}

// ---- words ----------------------------------------------------------------------------------------------------------

std::string Reasons::Subject(const Fact& fact, const std::string& did) const {
    return KeypadText(text_, fact.device, fact.receiver) + " " + did + " at " + At(fact.at);
}

std::string Reasons::QuestionText(const Command* ask) const {
    return log::QuestionText(text_, ask, " for this keypad");
}

/// The name of a very long one stands behind the place where the log cuts its line.
std::string Reasons::EventText(const Sent& sent) const {
    return (sent.name.empty() ? std::string("An event") : "The event \"" + text_.Word(sent.name) + "\"") +
           (sent.device.empty() ? "" : " of keypad " + text_.Device(sent.device));
}

void Reasons::Give(Finding& finding, const Evidence& lines) {
    finding.lines.insert(finding.lines.end(), lines.begin(), lines.end());
    std::erase_if(finding.lines, [](const Mark& mark) { return !mark.IsSet(); });
    const auto place = [](const Mark& mark) { return std::pair(mark.file, mark.line); };
    std::sort(finding.lines.begin(), finding.lines.end(),
              [&](const Mark& a, const Mark& b) { return place(a) < place(b); });
    finding.lines.erase(std::unique(finding.lines.begin(), finding.lines.end(),
                                    [&](const Mark& a, const Mark& b) { return place(a) == place(b); }),
                        finding.lines.end());
    report_(finding);
}

// ---- facts ----------------------------------------------------------------------------------------------------------

void Reasons::OnFact(const Fact& fact) {
    switch (fact.kind) {
    case FactKind::RunBegin:
        asked_.clear();
        failed_.clear();
        ignored_drops_.clear();
        recent_.clear();
        client_lost_ = Mark();
        client_connected_ = Mark();
        changes_.clear();
        change_lines_.clear();
        break;
    case FactKind::RunEnd:
        OnRunEnd(fact);
        break;
    case FactKind::ClientConnected:
        client_connected_ = fact.at;
        break;
    case FactKind::ClientLost:
        client_lost_ = fact.at;
        for (const Sent& sent : recent_) {
            if (sent.at.time + kJustBefore < fact.at.time) {
                continue;
            }
            Finding finding;
            finding.reason = Reason::EventMaybeLost;
            finding.moment = sent.at;
            finding.device = sent.device;
            finding.custom = sent.custom;
            finding.event = true;
            finding.sentence =
                EventText(sent) + " went out at " + At(sent.at) + ", " +
                DurationText(fact.at.time - sent.at.time) +
                " before the client's loss was noticed: whether the client still read it the log can't "
                "tell; the client's own log would.";
            finding.lines = {sent.at, fact.at};
            Give(finding, {});
        }
        recent_.clear();
        break;
    case FactKind::EventSent:
        OnEventSent(fact);
        break;
    case FactKind::EventUnwritten:
        if (!recent_.empty()) {
            const Sent& sent = recent_.back();
            Finding finding;
            finding.reason = Reason::EventLost;
            finding.moment = fact.at;
            finding.device = sent.device;
            finding.custom = sent.custom;
            finding.event = true;
            finding.sentence = "An event could not be written to the client at " + At(fact.at) +
                               " and is lost; the newest one before was \"" + text_.Word(sent.name) + "\"" +
                               (sent.device.empty() ? "" : " of keypad " + text_.Device(sent.device)) +
                               ". Which one failed the line doesn't say.";
            finding.lines = {sent.at, fact.at};
            Give(finding, {});
        }
        break;
    case FactKind::CommandEnd:
        OnCommandEnd(fact);
        break;
    case FactKind::QuestionOpened:
        OnQuestionOpened(fact);
        break;
    case FactKind::QuestionClosed:
        if (const auto found = asked_.find({fact.receiver, std::string(fact.device)});
            found != asked_.end()) {
            Decide(found->first, found->second, fact.at);
            asked_.erase(found);
        }
        break;
    case FactKind::Pressed:
    case FactKind::Recorded:
        for (auto& [place, asked] : asked_) {
            if (place.second == fact.device &&
                (place.first == Receiver::None ||
                 (place.first == Receiver::RV2) == (fact.receiver == Receiver::RV2))) {
                asked.heard = true;
            }
        }
        counts_.presses += fact.kind == FactKind::Pressed ? 1 : 0;
        counts_.recordings += fact.kind == FactKind::Recorded ? 1 : 0;
        break;
    case FactKind::ReceiverUp:
        NoteChange(fact);
        break;
    case FactKind::ReceiverDown:
        NoteChange(fact);
        for (auto& [place, asked] : asked_) {
            const bool at_a_stop = fact.command == nullptr && fact.text == "taken down";
            if (place.first == fact.receiver && !asked.heard && !asked.down.IsSet() && !at_a_stop) {
                asked.down = fact.at;
                asked.taken_down = fact.text == "taken down";
                asked.down_reason = fact.text;
            }
        }
        break;
    case FactKind::Logon:
        ignored_drops_.erase(std::string(fact.device));
        break;
    case FactKind::PressDone:
        OnPress(fact);
        break;
    case FactKind::RecordingDone:
        OnRecording(fact);
        break;
    case FactKind::RequestDone:
        OnRequestDone(fact);
        break;
    case FactKind::LettersLost:
        OnLettersLost(fact);
        break;
    case FactKind::DeviceInited:
        OnDeviceInited(fact);
        break;
    default:
        break;
    }
}

void Reasons::OnEventSent(const Fact& fact) {
    ++counts_.events;
    // Looked at only when the client is lost; a moment's worth is kept.
    while (!recent_.empty() &&
           (recent_.size() > 256 || recent_.front().at.time + kJustBefore < fact.at.time)) {
        recent_.pop_front();
    }
    recent_.push_back({fact.at, MemberOf(fact.text, "device"), MemberOf(fact.text, "event"),
                       MemberOf(fact.text, "custom")});
    if (fact.number != 1 || recent_.back().name == "key-pressed") {
        return;  // a lost answer is told with its press
    }
    const Sent& sent = recent_.back();
    Finding finding;
    finding.reason = Reason::EventLost;
    finding.moment = fact.at;
    finding.device = sent.device;
    finding.custom = sent.custom;
    finding.event = true;
    finding.sentence = EventText(sent) + " went out at " + At(fact.at) + " and is lost: the client was gone" +
                       (client_lost_.IsSet() ? " since " + At(client_lost_) : "") + ".";
    finding.lines = {client_lost_, fact.at};
    Give(finding, {});
}

void Reasons::OnQuestionOpened(const Fact& fact) {
    if (fact.device == "0" || story_ == nullptr) {
        return;
    }
    const Place place(fact.receiver, std::string(fact.device));
    if (const auto found = asked_.find(place); found != asked_.end()) {
        Decide(found->first, found->second, fact.at);
        asked_.erase(found);
    }
    const Keypad* const keypad = story_->FindKeypad(fact.receiver, fact.device);
    if (keypad == nullptr || !keypad->logged_on) {
        return;
    }
    Asked asked;
    asked.ask = fact.question->ask;
    asked.at = fact.at;
    const ReceiverState& state = story_->StateOf(fact.receiver);
    if (!state.up && state.changed.IsSet()) {
        asked.down = state.changed;
        asked.taken_down = state.reason == "taken down";
        asked.down_reason = state.reason;
    }
    asked_.emplace(place, std::move(asked));
}

/// A question that ends: was nothing heard of its keypad?
void Reasons::Decide(const Place& place, Asked& asked, const Mark& until) {
    if (asked.heard || asked.ask == nullptr) {
        return;
    }
    Finding finding;
    finding.receiver = place.first;
    finding.device = place.second;
    finding.custom = asked.ask->custom;
    finding.moment = asked.at;
    finding.lines = {asked.at, asked.down, until};
    const std::string subject = KeypadText(text_, place.second, place.first);
    const std::string what = QuestionText(asked.ask.get()) + ", asked at " + At(asked.at);
    if (place.first == Receiver::None) {
        finding.reason = Reason::NeverLoggedOn;
        finding.sentence =
            subject + " was asked " + what + ", and " +
            (story_->RunIsWhole() ? "has never logged on at any receiver in this run"
                                  : "no logon of it is in this log, which begins in the middle of a run") +
            "; no press of it is in the log.";
    } else if (asked.down.IsSet()) {
        finding.reason = asked.taken_down ? Reason::ReceiverTakenDown : Reason::ReceiverDown;
        finding.sentence = subject + ": no press during " + what + ", is in the log; from " + At(asked.down) +
                           " on its receiver " +
                           (asked.taken_down ? "had been taken down by an \"init\" of another group"
                                             : "was down (" + asked.down_reason + ")") +
                           ", and nothing that was pressed then could be heard.";
    } else {
        finding.reason = Reason::NoPress;
        finding.sentence =
            subject + ": the log shows no press and no recording of it during " + what + ", until " +
            At(until) +
            ". Radio, battery or nobody pressing are outside of the library: the log can't tell which.";
    }
    Give(finding, {});
}

// ---- commands -------------------------------------------------------------------------------------------------------

void Reasons::OnCommandEnd(const Fact& fact) {
    const Command& command = *fact.command;
    if (command.accepted && command.name == "init") {
        last_init_ = command.begun;
    }
    if (command.accepted && !command.ignored && !command.drop_of_all) {
        if (command.name == "ask") {
            failed_.erase(command.device);
            if (command.device == "0") {
                failed_.clear();
            } else {
                const bool somebody = std::any_of(asked_.begin(), asked_.end(), [&](const auto& entry) {
                    return entry.first.second == command.device && entry.first.first != Receiver::None;
                });
                const Place nobody(Receiver::None, command.device);
                if (const auto found = asked_.find(nobody); found != asked_.end()) {
                    Decide(found->first, found->second, command.begun);
                    asked_.erase(found);
                }
                if (!somebody && asked_.size() < 100000 && IsDeviceNumber(command.device)) {
                    Asked asked;
                    asked.ask = std::make_shared<Command>(command);
                    asked.at = command.begun;
                    asked_.emplace(nobody, std::move(asked));
                }
            }
        } else if (command.name == "drop") {
            ignored_drops_.erase(command.device);
        } else if (command.name == "stop") {
            if (const auto found = asked_.find({Receiver::None, command.device}); found != asked_.end()) {
                Decide(found->first, found->second, command.begun);
                asked_.erase(found);
            }
        }
        return;
    }
    const bool undecoded = !command.accepted;
    if (undecoded && story_ != nullptr && command.complaint.empty()) {
        return;  // the log ends in its middle
    }
    Finding finding;
    finding.reason = undecoded ? Reason::CommandNotDecoded : Reason::CommandIgnored;
    finding.moment = command.begun;
    finding.device = command.device == "0" ? "" : command.device;
    finding.custom = command.custom;
    const std::string name =
        command.name.empty() ? "The message" : "The command \"" + text_.Word(command.name) + "\"";
    finding.sentence = name +
                       (command.device.empty()
                            ? ""
                            : " for " + (command.device == "0" ? std::string("all keypads")
                                                               : "keypad " + text_.Device(command.device))) +
                       " at " + At(command.begun) + " had no effect: ";
    if (undecoded) {
        finding.sentence +=
            "it couldn't be decoded, because " +
            (text_.Redacts() ? std::string("of its text (left out)") : text_.Shown(command.complaint)) + ".";
    } else if (command.drop_of_all) {
        finding.sentence += "all keypads can't be dropped at once.";
    } else {
        finding.sentence +=
            "no receiver was ready" +
            (last_init_.IsSet() ? std::string() : std::string(", for there had been no \"init\"")) + ".";
    }
    finding.lines = {command.received, command.begun, command.ignored_at};
    Give(finding, {});
    const bool may_be_ask = command.name == "ask" || command.name.empty() || undecoded;
    if (may_be_ask && command.name != "init" && command.name != "stop" && command.name != "text" &&
        command.name != "hi" && command.name != "drop" && command.name != "quit" && failed_.size() < 1000) {
        failed_[command.device] = {command.begun, command.ignored_at, command.custom, command.complaint};
    } else if (command.name == "drop" && command.ignored && ignored_drops_.size() < 1000) {
        ignored_drops_[command.device] = command.begun;
    }
}

const Reasons::Failed* Reasons::FailedAsk(const std::string& device, const Mark& since) const {
    const Failed* newest = nullptr;
    for (const std::string& key : {device, std::string("0"), std::string()}) {
        const auto found = failed_.find(key);
        if (found != failed_.end() && Later(found->second.at, since) &&
            (newest == nullptr || Later(found->second.at, newest->at))) {
            newest = &found->second;
        }
    }
    return newest;
}

const Question* Reasons::MissedQuestion(Receiver receiver, const Question* own) const {
    const Keypad* const all = story_->FindKeypad(receiver, "0");
    if (all == nullptr || all->question == nullptr || !all->question->open || all->question->ask == nullptr) {
        return nullptr;
    }
    if (own != nullptr &&
        (!own->asked.IsSet() || own->ask == all->question->ask || !Later(all->question->asked, own->asked))) {
        return nullptr;
    }
    return all->question.get();
}

// ---- presses --------------------------------------------------------------------------------------------------------

void Reasons::OnPress(const Fact& fact) {
    const Press& press = *fact.press;
    Finding finding;
    finding.moment = fact.at;
    finding.receiver = fact.receiver;
    finding.device = fact.device;
    finding.custom =
        fact.question != nullptr && fact.question->ask != nullptr ? fact.question->ask->custom : "";
    const std::string subject = Subject(fact, "pressed " + KeyName(press.key));
    if (press.outcome == Outcome::Event) {
        ++counts_.press_events;
        OnPressEvent(fact, finding, subject);
    } else {
        OnSilentPress(fact, finding, subject);
    }
}

std::string Reasons::WhyNoQuestion(const Fact& fact, Finding& finding) {
    const std::string device(fact.device);
    const Question* const missed = MissedQuestion(fact.receiver, fact.question);
    const Mark newest = missed != nullptr          ? missed->asked
                        : fact.question != nullptr ? fact.question->asked
                                                   : Mark();
    if (const Failed* const failed = FailedAsk(device, newest)) {
        finding.custom = failed->custom;
        finding.lines.push_back(failed->at);
        finding.lines.push_back(failed->ignored_at);
        if (failed->complaint.empty()) {
            finding.reason = Reason::AskIgnored;
            return "the \"ask\" at " + At(failed->at) + " was ignored, because no receiver was ready then";
        }
        finding.reason = Reason::AskNotDecoded;
        return "the \"ask\" at " + At(failed->at) + " couldn't be decoded" +
               (text_.Redacts() ? std::string() : ", because " + text_.Shown(failed->complaint));
    }
    const Keypad* const keypad = story_->FindKeypad(fact.receiver, device);
    const bool known_receiver = fact.receiver != Receiver::Usb && fact.receiver != Receiver::None;
    if (known_receiver && (keypad == nullptr || !keypad->logged_on)) {
        if (keypad != nullptr && keypad->logoff.IsSet()) {
            if (keypad->dropped) {
                finding.reason = Reason::ClosedByDrop;
                finding.lines.push_back(keypad->logoff);
                return "it had been dropped at " + At(keypad->logoff) +
                       ", and has to log on again before a question for all reaches it";
            }
            finding.reason = Reason::LoggedOff;
            finding.lines.push_back(keypad->logoff);
            return "it had logged off at " + At(keypad->logoff) + ", and questions for all don't reach it";
        }
        for (std::size_t i = 0; i < kReceivers; ++i) {
            const auto other = static_cast<Receiver>(i);
            const Keypad* const there = story_->FindKeypad(other, device);
            if (other != fact.receiver && there != nullptr && there->logged_on &&
                there->question != nullptr && there->question->ask != nullptr) {
                finding.reason = Reason::AskedAtAnotherReceiver;
                finding.custom = there->question->ask->custom;
                finding.lines.push_back(there->question->asked);
                finding.lines.push_back(there->logon);
                return QuestionText(there->question->ask.get()) + " was for keypad " + text_.Device(device) +
                       " of " + NameOf(other) + "; this press came from " + NameOf(fact.receiver) +
                       ", where no keypad of that number has logged on";
            }
        }
        if (story_->RunIsWhole()) {
            finding.reason = Reason::NeverLoggedOn;
            if (missed != nullptr) {
                finding.custom = missed->ask->custom;
                finding.lines.push_back(missed->asked);
            }
            return "it has never logged on" +
                   (missed != nullptr ? ", so " + QuestionText(missed->ask.get()) + " didn't reach it"
                                      : std::string());
        }
    }
    if (missed != nullptr && keypad != nullptr && keypad->logon.IsSet() &&
        keypad->logon.time >= missed->asked.time) {
        finding.reason = Reason::AskedBeforeLogon;
        finding.custom = missed->ask->custom;
        finding.lines.push_back(missed->asked);
        finding.lines.push_back(keypad->logon);
        return QuestionText(missed->ask.get()) + " was carried out at " + At(missed->asked) + ", " +
               DurationText(keypad->logon.time - missed->asked.time) + " before the keypad logged on at " +
               At(keypad->logon);
    }
    finding.reason = Reason::NotAsked;
    if (!known_receiver) {
        return "it has no question at the USB receiver that heard it; which one that is the log can't tell";
    }
    return story_->RunIsWhole() ? "it has been asked nothing since it logged on"
                                : "it has been asked nothing; when it logged on stands before the log begins";
}

std::string Reasons::WhyClosed(const Fact& fact, Finding& finding) {
    const Question* const question = fact.question;
    const Keypad* const keypad = story_->FindKeypad(fact.receiver, fact.device);
    if (question == nullptr) {
        finding.reason = Reason::ClosedUnknown;
        return "its question is closed; by which command the log can't tell, since it begins later or "
               "doesn't say which "
               "receiver heard the press";
    }
    finding.lines.push_back(question->closed);
    const bool logged_on_since = keypad != nullptr && keypad->logon.IsSet() && question->closed.IsSet() &&
                                 keypad->logon.line > question->closed.line;
    const bool dropped = question->closer != nullptr && question->closer->name == "drop";
    if (FailedAsk(std::string(fact.device), question->closed) != nullptr ||
        (MissedQuestion(fact.receiver, question) != nullptr && (!dropped || logged_on_since))) {
        std::string words = WhyNoQuestion(fact, finding);
        if (finding.reason != Reason::NotAsked) {
            return words;
        }
    }
    if (question->closer == nullptr) {
        finding.reason = Reason::ClosedUnknown;
        return "its question is closed; by which command stands before the log begins";
    }
    if (question->ask == nullptr) {
        finding.reason = Reason::NotAsked;
        return "it has been asked nothing since it logged on; the \"stop\" for all at " +
               At(question->closed) + " left it a question that is closed";
    }
    finding.lines.push_back(question->asked);
    finding.reason = dropped                    ? Reason::ClosedByDrop
                     : question->closed_for_all ? Reason::ClosedByStopForAll
                                                : Reason::ClosedByStop;
    return QuestionText(question->ask.get()) + " had been closed by " +
           (dropped                    ? "the \"drop\" of the keypad"
            : question->closed_for_all ? "the \"stop\" for all"
                                       : "the \"stop\" for the keypad") +
           " at " + At(question->closed) + ", " + DurationText(fact.at.time - question->closed.time) +
           " before" +
           (dropped && !logged_on_since ? "; it has to log on again before a question for all reaches it"
                                        : "");
}

bool Reasons::ClientIsAway() const {
    return client_lost_.IsSet() && Later(client_lost_, client_connected_);
}

std::string Reasons::NoTurn() const {
    return ClientIsAway() ? "the library waited for a client since " + At(client_lost_) +
                                ", and the run ended before one came"
                          : "the run ended before its turn came";
}

void Reasons::OnSilentPress(const Fact& fact, Finding& finding, const std::string& subject) {
    const Press& press = *fact.press;
    const Question* const question = fact.question;
    std::string words;
    switch (press.outcome) {
    case Outcome::NoQuestion:
        words = WhyNoQuestion(fact, finding);
        break;
    case Outcome::Closed:
        words = WhyClosed(fact, finding);
        break;
    case Outcome::Answered:
        finding.reason = Reason::AnsweredAlready;
        words = "it had answered " + QuestionText(question != nullptr ? question->ask.get() : nullptr) +
                " already";
        if (question != nullptr && question->answered.IsSet()) {
            words += ", at " + At(question->answered);
            finding.lines.push_back(question->answered);
        }
        break;
    case Outcome::DoesNotCount: {
        const auto kind = static_cast<QuestionKind>(press.type);
        finding.reason = Reason::KeyDoesNotCount;
        words = KeyName(press.key) + " doesn't count for " + NameOf(kind) + " (" + KeysThatCount(kind) + ")";
        if (question != nullptr && question->ask != nullptr) {
            words += ", which is what \"" + text_.Name(question->ask->custom) + "\" is";
            finding.lines.push_back(question->asked);
        }
        break;
    }
    case Outcome::BroughtBack:
        finding.reason = Reason::BroughtBack;
        words = "the keypad had been dropped, and this key brings it back without being an answer";
        break;
    case Outcome::NeverRun:
        finding.reason = Reason::NeverRun;
        words = press.begun.IsSet()
                    ? "what was heard after it had its turn, and it hadn't: its receiver's object was gone"
                    : NoTurn();
        finding.lines.push_back(press.begun);
        finding.lines.push_back(press.begun.IsSet() || !ClientIsAway() ? Mark() : client_lost_);
        break;
    default:
        return;  // a letter of a multiple choice tells its own end
    }
    if (question != nullptr &&
        (press.outcome == Outcome::Answered || press.outcome == Outcome::DoesNotCount)) {
        if (const Question* const missed = MissedQuestion(fact.receiver, question)) {
            finding.reason = Reason::OlderQuestion;
            finding.custom = missed->ask->custom;
            finding.lines.push_back(missed->asked);
            finding.lines.push_back(question->asked);
            words = "an older question still stood and took the key: " + words + "; " +
                    QuestionText(missed->ask.get()) + " at " + At(missed->asked) +
                    " didn't reach it, because it wasn't logged on then";
        }
    }
    finding.sentence = subject + ": no event, because " + words + ".";
    Give(finding, press.lines);
}

void Reasons::OnPressEvent(const Fact& fact, Finding& finding, const std::string& subject) {
    const Press& press = *fact.press;
    finding.event = true;
    if (press.client_lost) {
        finding.reason = Reason::EventLost;
        finding.sentence = subject + ": its event went out at " + At(press.event) +
                           " and is lost, because the client was gone" +
                           (client_lost_.IsSet() ? " since " + At(client_lost_) : "") + ".";
        finding.lines = {client_lost_};
        Give(finding, press.lines);
        return;
    }
    const std::int64_t delay = press.heard.IsSet() ? press.begun.time - press.heard.time : 0;
    if (TellNextClient(finding, subject, press.heard, press.lines)) {
        return;
    }
    if (const Question* const missed = MissedQuestion(fact.receiver, fact.question);
        missed != nullptr && fact.question != nullptr && fact.question->ask != nullptr) {
        finding.reason = Reason::OlderQuestion;
        finding.sentence = subject + ": its event answers the older question, " +
                           QuestionText(fact.question->ask.get()) + " of " + At(fact.question->asked) +
                           ", which still stood; " + QuestionText(missed->ask.get()) + " at " +
                           At(missed->asked) + " didn't reach it, because it wasn't logged on then.";
        finding.lines = {fact.question->asked, missed->asked};
        Give(finding, press.lines);
        return;
    }
    if (const auto dropped = ignored_drops_.find(std::string(fact.device)); dropped != ignored_drops_.end()) {
        finding.reason = Reason::DropIgnored;
        finding.sentence = subject + ": an event came although the keypad was to be dropped at " +
                           At(dropped->second) +
                           "; that \"drop\" was ignored, because no receiver was ready.";
        finding.lines = {dropped->second};
        Give(finding, press.lines);
        return;
    }
    if (delay > kNoticeable) {
        finding.reason = Reason::EventLate;
        finding.sentence = subject + ": its event went out only " + DurationText(delay) +
                           " later, because the library was busy with what came before.";
        Give(finding, press.lines);
    }
}

/// Whether the client that got an event connected behind what was heard.
bool Reasons::TellNextClient(Finding& finding, const std::string& subject, const Mark& heard,
                             const Evidence& lines) {
    if (!heard.IsSet() || !client_connected_.IsSet() || !Later(client_connected_, heard)) {
        return false;
    }
    finding.reason = Reason::NextClient;
    finding.event = true;
    finding.sentence = subject;
    if (!client_lost_.IsSet()) {
        // Where the log begins later, an earlier one may have been there.
        finding.sentence +=
            story_ == nullptr || story_->RunIsWhole() ? ", while no client was connected" : "";
    } else if (Later(heard, client_lost_)) {
        finding.sentence +=
            ", while no client was connected (the former one was lost at " + At(client_lost_) + ")";
    } else {
        finding.sentence += ", and its client was lost at " + At(client_lost_);
    }
    finding.sentence += ": its event went to the next client, which connected at " + At(client_connected_) +
                        ", " + DurationText(client_connected_.time - heard.time) + " later.";
    finding.lines = {client_lost_, client_connected_};
    Give(finding, lines);
    return true;
}

void Reasons::OnLettersLost(const Fact& fact) {
    const Question& question = *fact.question;
    Finding finding;
    finding.reason = Reason::NotConfirmed;
    finding.receiver = fact.receiver;
    finding.device = fact.device;
    finding.custom = question.ask != nullptr ? question.ask->custom : "";
    finding.moment = *question.letter_lines.begin();
    finding.lines = {question.asked, fact.at};
    finding.sentence = KeypadText(text_, fact.device, fact.receiver) + " pressed " +
                       (question.letters.empty() ? "letters" : question.letters) + " from " +
                       At(finding.moment) + " on: no event, because T never confirmed the choice for " +
                       QuestionText(question.ask.get()) + ", until " + At(fact.at) + ".";
    Give(finding, question.letter_lines);
}

// ---- recordings and speech ------------------------------------------------------------------------------------------

void Reasons::OnRecording(const Fact& fact) {
    const Recording& recording = *fact.recording;
    Finding finding;
    finding.moment = fact.at;
    finding.receiver = fact.receiver;
    finding.device = fact.device;
    finding.custom = fact.question != nullptr && fact.question->ask != nullptr ? fact.question->ask->custom
                                                                               : text_.Utf8(recording.custom);
    const std::string subject = Subject(fact, "was recorded");
    std::string words;
    switch (recording.outcome) {
    case Outcome::NoQuestion:
        words = WhyNoQuestion(fact, finding);
        break;
    case Outcome::Closed:
        words = WhyClosed(fact, finding);
        break;
    case Outcome::DoesNotCount:
        finding.reason = Reason::RecordingNotWanted;
        words = QuestionText(fact.question != nullptr ? fact.question->ask.get() : nullptr) +
                " takes no recordings";
        break;
    case Outcome::NoStems:
        finding.reason = Reason::NoStems;
        words = QuestionText(fact.question != nullptr ? fact.question->ask.get() : nullptr) +
                " has no stems to score it by (\"context\", \"stems\")";
        break;
    case Outcome::NoParam:
        finding.reason = Reason::NoParam;
        words = QuestionText(fact.question != nullptr ? fact.question->ask.get() : nullptr) +
                " has no parameters to score it by (\"context\", \"param\")";
        break;
    case Outcome::NeverRun:
        finding.reason = recording.begun.IsSet() && fact.receiver == Receiver::RV2 ? Reason::RecordingInvalid
                                                                                   : Reason::NeverRun;
        words = recording.begun.IsSet() && fact.receiver == Receiver::RV2
                    ? "the station's library said that it wasn't valid: what was heard after it had its "
                      "turn, and it "
                      "hadn't"
                : recording.begun.IsSet()
                    ? "what was heard after it had its turn, and it hadn't: its receiver's object was gone"
                    : NoTurn() + "; or it wasn't valid, which the log doesn't say";
        finding.lines.push_back(recording.begun);
        finding.lines.push_back(recording.begun.IsSet() || !ClientIsAway() ? Mark() : client_lost_);
        break;
    case Outcome::BadRecording:
        finding.event = true;
        finding.reason = recording.error == -203   ? Reason::RecordingTooShort
                         : recording.error == -202 ? Reason::RecordingError
                         : recording.error == -201 ? Reason::RecordingFillPattern
                                                   : Reason::RecordingError;
        finding.sentence =
            subject + ": its event carries " + std::to_string(recording.error) +
            " in place of a score, because the recording " +
            (recording.error == -203   ? "was too short (below 3072 bytes)"
             : recording.error == -202 ? "came with an error from the station's library"
             : recording.error == -201 ? "held nothing but the fill pattern: the keypad's sound never arrived"
                                       : "was bad") +
            "; nothing was asked of the speech service.";
        Give(finding, recording.lines);
        return;
    case Outcome::Event:
        TellNextClient(finding, subject, recording.heard, recording.lines);
        return;
    default:
        return;
    }
    finding.sentence = subject + ": no event, because " + words + ".";
    Give(finding, recording.lines);
}

void Reasons::OnRequestDone(const Fact& fact) {
    const Request& request = *fact.request;
    Finding finding;
    finding.moment = request.heard.IsSet() ? request.heard : fact.at;
    finding.receiver = fact.receiver;
    finding.device = request.device;
    finding.custom = request.custom;
    Fact about = fact;
    about.at = finding.moment;
    about.device = request.device;
    const std::string subject = Subject(about, "was recorded");
    const std::string service = std::string("the ") + NameOf(request.service);
    std::string words;
    switch (request.answer) {
    case Answer::Event:
        if (request.error.value_or(0) != 0) {
            finding.reason = Reason::SpeechRefused;
            finding.event = true;
            finding.sentence = subject + ": its event carries no proper result, because " + service +
                               " answered with the error " + std::to_string(*request.error) + " at " +
                               At(request.handled) + "; the event doesn't say so.";
            Give(finding, request.lines);
        } else if (request.event.IsSet()) {
            TellNextClient(finding, subject, request.heard, request.lines);
        }
        return;
    case Answer::TooLate: {
        finding.reason = Reason::SpeechTooLate;
        words = service + " answered after " + DurationText(request.handled.time - request.requested.time) +
                ", at " + At(request.handled);
        const Question* const question = fact.question;
        if (question != nullptr && question->ask != nullptr && question->ask->custom == request.custom &&
            !question->open) {
            words += ", when \"" + text_.Name(request.custom) + "\" had been closed (at " +
                     At(question->closed) + ")";
            finding.lines.push_back(question->closed);
        } else if (question != nullptr && question->ask != nullptr) {
            words += ", when \"" + text_.Name(question->ask->custom) + "\" had taken the place of \"" +
                     text_.Name(request.custom) + "\" (at " + At(question->asked) + ")";
            finding.lines.push_back(question->asked);
        } else {
            words += ", when \"" + text_.Name(request.custom) + "\" didn't stand any more";
        }
        break;
    }
    case Answer::OtherEvaluator:
        finding.reason = Reason::SpeechAfterOffline;
        words = "the online evaluator answered only at " + At(request.handled) + ", " +
                DurationText(request.handled.time - request.requested.time) +
                " after the request and after the switch to the offline evaluator; this request wasn't made "
                "again";
        break;
    case Answer::Lost:
        finding.reason = Reason::SpeechNeverAnswered;
        words = service + " has not answered the request of " + At(request.requested) + " by " + At(fact.at) +
                ", " + DurationText(fact.at.time - request.requested.time) +
                " later; whether it refused it the log can't tell";
        if (request.again.IsSet()) {
            words += ". It was made again of the offline evaluator at " + At(request.again) +
                     ", without an answer either";
        } else if (request.not_again) {
            words += ". It timed out at " + At(request.timed_out) +
                     ", when the offline evaluator served already, and so wasn't made again";
        }
        break;
    case Answer::Repeated:
    case Answer::Waiting:
        return;  // the first answer counts
    }
    finding.sentence = subject + ": no event, because " + words + ".";
    Give(finding, request.lines);
}

// ---- receivers and runs ---------------------------------------------------------------------------------------------

void Reasons::NoteChange(const Fact& fact) {
    if (change_lines_.size() < 2 * kReceivers) {
        changes_ += (changes_.empty() ? "" : ", ") + ChangeText(fact);
        change_lines_.push_back(fact.at);
    }
}

void Reasons::OnDeviceInited(const Fact& fact) {
    const std::string changes = std::exchange(changes_, {});
    const std::vector<Mark> change_lines = std::exchange(change_lines_, {});
    if (fact.number == 0) {
        return;
    }
    Finding finding;
    finding.reason = Reason::DeviceInitedAgain;
    finding.moment = fact.at;
    finding.event = true;
    finding.sentence =
        "The event \"device-inited\" came again at " + At(fact.at) + ", without an \"init\": " +
        (!changes.empty()   ? changes + "."
         : fact.number == 2 ? "the base station is still down, and its check says so every ten seconds."
                            : "a receiver came or went, and was back or gone again before it was looked at.");
    finding.lines = change_lines;
    finding.lines.push_back(fact.at);
    Give(finding, {});
}

void Reasons::OnRunEnd(const Fact& fact) {
    for (auto& [place, asked] : asked_) {
        Decide(place, asked, fact.at);
    }
    asked_.clear();
    if (fact.number == 1 || story_ == nullptr) {
        return;
    }
    const Story::LastWords& last = story_->Last();
    Finding finding;
    finding.moment = last.line;
    finding.lines = {last.task_line, last.line};
    const std::string head = "The run that began at " + TimeText(story_->RunBegan().time, true) +
                             " ended at " + At(last.line) + " without its last lines: ";
    if (last.command != nullptr && last.command->accepted && last.device_line.IsSet() &&
        !last.command->device.empty() && !IsDeviceNumber(last.command->device)) {
        finding.reason = Reason::HostEndedByDeviceId;
        finding.device = last.command->device;
        finding.lines.push_back(last.device_line);
        finding.lines.push_back(last.command->begun);
        finding.sentence = head + "the last thing was the command \"" + last.command->name + "\" of " +
                           At(last.command->begun) + " for the device \"" +
                           text_.Device(last.command->device) +
                           "\", which is no number of 32 bits; that ends the host's process.";
    } else if (last.empty_message.IsSet() && last.reader_silent) {
        finding.reason = Reason::HostEndedByNegativeLength;
        finding.lines.push_back(last.empty_message);
        finding.sentence =
            head + "a message without text came in at " + At(last.empty_message) +
            ", and the reader did nothing more; a message of negative length looks so, and ends the "
            "host's process.";
    } else {
        finding.reason = Reason::HostEnded;
        finding.sentence =
            head +
            "the log can't tell why. Windows' event log has the end of a process that crashed; a kill, or "
            "power that failed, leaves nothing. Or the log was copied while the host ran.";
        if (last.command != nullptr) {
            finding.lines.push_back(last.command->begun);
            finding.sentence.insert(head.size(), "the last task was the command \"" +
                                                     text_.Word(last.command->name) + "\" of " +
                                                     At(last.command->begun) + "; ");
        }
    }
    Give(finding, {});
}

}  // namespace vdipc::log
