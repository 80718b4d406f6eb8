// Runs, clients and commands; which line goes where.
#include "tools/vdlog/Story.h"

#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <utility>

namespace vdipc::log {
namespace {

// What waits for its turn while the task thread waits for a client; far more than a class can press.
constexpr std::size_t kMostMessages = 20000;

/// A line of the log is cut, and the two lines of a message have prefixes of different lengths.
std::size_t HashOfMessage(std::string_view text) {
    return TextHash()(text.substr(0, kWholeText));
}

}  // namespace

Story::Story(FactSink& sink) : sink_(sink) {}

Story::~Story() = default;

void Story::Emit(FactKind kind, const Mark& at) {
    Fact fact;
    fact.kind = kind;
    fact.at = at;
    sink_.OnFact(fact);
}

// ---- runs -----------------------------------------------------------------------------------------------------------

void Story::BeginRun(const LogLine& line, std::string_view version) {
    EndRun();
    in_run_ = true;
    run_is_whole_ = !version.empty();
    run_complete_ = false;
    run_began_ = line.at;
    last_ = LastWords();
    task_thread_known_ = false;
    group_ = -1;
    last_init_.reset();
    for (ReceiverState& state : receivers_) {
        state = ReceiverState();
    }
    objects_made_ = 0;
    client_ = run_is_whole_ ? Client::None : Client::Unknown;
    reader_thread_ = 0;
    checking_.clear();
    command_.reset();
    task_ = Task::None;
    Fact fact;
    fact.kind = FactKind::RunBegin;
    fact.at = line.at;
    fact.text = version;
    Emit(fact);
}

void Story::EnsureRun(const LogLine& line) {
    if (!in_run_) {
        BeginRun(line, {});
    }
}

void Story::EndRun() {
    if (!in_run_) {
        return;
    }
    // A command that is under way stays so: it may be what ended the process.
    const bool in_command = task_ == Task::Command;
    if (in_command) {
        last_.command = command_;
    }
    EndTask();
    for (Press& press : heard_keys_) {
        press.outcome = Outcome::NeverRun;
        Fact fact;
        fact.kind = FactKind::PressDone;
        fact.at = press.heard;
        fact.receiver = press.receiver;
        fact.device = press.device;
        fact.press = &press;
        Emit(fact);
    }
    heard_keys_.clear();
    for (Recording& recording : heard_recordings_) {
        recording.outcome = Outcome::NeverRun;
        Fact fact;
        fact.kind = FactKind::RecordingDone;
        fact.at = recording.heard;
        fact.receiver = recording.receiver;
        fact.device = recording.device;
        fact.recording = &recording;
        Emit(fact);
    }
    heard_recordings_.clear();
    for (const std::string& file : request_order_) {
        const auto found = requests_.find(file);
        if (found == requests_.end() || found->second->answer != Answer::Waiting) {
            continue;
        }
        found->second->answer = Answer::Lost;
        Fact fact;
        fact.kind = FactKind::RequestDone;
        fact.at = last_mark_;
        fact.receiver = found->second->receiver;
        fact.device = found->second->device;
        fact.request = found->second.get();
        Emit(fact);
    }
    requests_.clear();
    request_order_.clear();
    for (std::size_t i = 0; i < kReceivers; ++i) {
        for (auto& [device, keypad] : receivers_[i].keypads) {
            if (keypad.question != nullptr) {
                LoseLetters(static_cast<Receiver>(i), device, *keypad.question, last_mark_);
            }
        }
    }
    if (!received_.empty()) {
        last_.empty_message = received_.back().hash == TextHash()("") ? received_.back().at : Mark();
    }
    received_.clear();
    Fact fact;
    fact.kind = FactKind::RunEnd;
    fact.at = last_.line;
    fact.number = run_complete_ ? 1 : 0;
    Emit(fact);
    in_run_ = false;
}

void Story::End() {
    EndRun();
}

void Story::Settle() {
    if (task_ == Task::Press || task_ == Task::Recording || task_ == Task::Speech) {
        EndTask();
    }
}

// ---- lines ----------------------------------------------------------------------------------------------------------

void Story::OnLine(const LogLine& line) {
    ++lines_;
    if (line.function.empty()) {
        Fact fact;
        fact.kind = FactKind::Foreign;
        fact.at = line.at;
        fact.text = line.text;
        Emit(fact);
        return;
    }
    const Reading reading = Read(line);
    if (reading.id == LineId::Version) {
        BeginRun(line, reading.values[0]);
    } else if (reading.id == LineId::SetStatusCallback && run_complete_) {
        EndRun();  // the next process
    }
    if (reading.id == LineId::SetStatusCallback) {
        return;  // stands before the start
    }
    EnsureRun(line);
    last_mark_ = line.at;
    last_.line = line.at;
    if (reading.id == LineId::Unknown) {
        Fact fact;
        fact.kind = FactKind::UnknownLine;
        fact.at = line.at;
        fact.device = line.function;
        fact.text = line.text;
        Emit(fact);
        return;
    }
    if (line.level.size() >= 4 && line.level[0] != 'T' && line.level[0] != 'D' && line.level[0] != 'I') {
        Fact fact;
        fact.kind = FactKind::Warning;
        fact.at = line.at;
        fact.device = line.function;
        fact.text = reading.row->text;
        fact.line = &line;
        Emit(fact);
    }
    // A process that is ended takes its objects down on the thread that ended it: that is no doing of the library.
    if (line.function.find('~') != std::string_view::npos || line.function.ends_with("::StopStatusCheck")) {
        return;
    }
    if (reading.id == LineId::Ordinary) {
        if (task_thread_known_ && line.thread == task_thread_) {
            ++task_lines_;
            last_.task_line = line.at;
            last_.task_id = reading.id;
        }
        last_.reader_silent = last_.reader_silent && line.thread != reader_thread_;
        return;
    }
    if (IsTaskThreads(reading.id)) {
        task_thread_ = line.thread;
        task_thread_known_ = true;
    }
    if (task_thread_known_ && line.thread == task_thread_) {
        ++task_lines_;
        OnTaskLine(line, reading);
        last_.task_line = line.at;
        last_.task_id = reading.id;
    } else {
        last_.reader_silent = last_.reader_silent && line.thread != reader_thread_;
        OnOtherLine(line, reading);
    }
}

void Story::OnOtherLine(const LogLine& line, const Reading& reading) {
    switch (reading.id) {
    case LineId::CreateObjects:
        objects_made_ = 0;
        break;
    case LineId::MakeObject:
        ++objects_made_;
        break;
    case LineId::TextRecordMade:
        // By devices.json, behind the making of its object.
        if (objects_made_ >= 1 && objects_made_ <= static_cast<int>(kReceivers) && !task_thread_known_) {
            LogOn(line, static_cast<Receiver>(objects_made_ - 1), reading.values[0], true, true);
        }
        break;
    case LineId::StationKey:
        HearKey(line, reading, true);
        break;
    case LineId::ReceiverKey:
        HearKey(line, reading, false);
        break;
    case LineId::StationAudio:
        HearRecording(line, reading, true);
        break;
    case LineId::ReceiverAudio:
        HearRecording(line, reading, false);
        break;
    case LineId::AudioChecked:
        // On the thread that heard the recording, behind that line.
        for (auto heard = heard_recordings_.rbegin(); heard != heard_recordings_.rend(); ++heard) {
            const auto thread = checking_.find(line.thread);
            if (thread != checking_.end() && heard->heard.line == thread->second) {
                heard->checked = true;
                heard->lines.Add(line.at);
                break;
            }
        }
        break;
    case LineId::RecognizeAnswer:
    case LineId::EvaluateAnswer:
    case LineId::GeneralAnswer:
        HearAnswer(line, reading);
        break;
    case LineId::MessageReceived:
        OnMessage(line, reading.values[0]);
        break;
    case LineId::ReaderGone:
        if (client_ == Client::Connected || client_ == Client::Unknown) {
            client_ = Client::Lost;
            Emit(FactKind::ClientLost, line.at);
        }
        break;
    case LineId::WriterCallFailed:
        Emit(FactKind::EventUnwritten, line.at);
        break;
    case LineId::Disconnect:
        TakeClientDown(line.at);
        break;
    case LineId::ReceiverLink: {
        Fact fact;
        fact.kind = FactKind::ReceiverLink;
        fact.at = line.at;
        fact.receiver = Receiver::Usb;
        fact.number = IsTrue(reading.values[0]) ? 1 : 0;
        Emit(fact);
        break;
    }
    case LineId::EventSent:
        OnEventSent(line, reading.values[0]);
        break;
    case LineId::Ping:
        client_ = client_ == Client::Unknown ? Client::Connected : client_;
        Emit(FactKind::Ping, line.at);
        break;
    default:
        break;
    }
}

void Story::Begin(Task task) {
    EndTask();
    task_ = task;
}

void Story::EndTask() {
    switch (std::exchange(task_, Task::None)) {
    case Task::Command:
        EndBlock();
        if (command_ != nullptr) {
            Fact fact;
            fact.kind = FactKind::CommandEnd;
            fact.at = command_->begun;
            fact.device = command_->device;
            fact.command = command_.get();
            Emit(fact);
        }
        command_.reset();
        break;
    case Task::Press:
        EndKey();
        break;
    case Task::Recording:
        EndRecording();
        break;
    case Task::Speech:
        EndAnswer();
        break;
    default:
        break;
    }
}

void Story::OnTaskLine(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    // What begins a task.
    case LineId::CommandBegin:
        BeginCommand(line, values[0]);
        return;
    case LineId::StationKeyTask:
        BeginKey(line, reading, true);
        return;
    case LineId::ReceiverKeyTask:
        BeginKey(line, reading, false);
        return;
    case LineId::StationAudioTask:
        BeginRecording(line, reading, true);
        return;
    case LineId::ReceiverAudioTask:
        BeginRecording(line, reading, false);
        return;
    case LineId::RecognizeResult:
        BeginAnswer(line, reading, Service::Recognizer);
        return;
    case LineId::EvaluateResult:
        BeginAnswer(line, reading, Service::Sentence);
        return;
    case LineId::GeneralResult:
        BeginAnswer(line, reading, Service::General);
        return;
    case LineId::StationKeypadTask:
        Begin(Task::Logon);
        if (IsTrue(values[1])) {
            LogOn(line, Receiver::RV2, values[0], false, true);
        } else {
            LogOff(line, Receiver::RV2, values[0]);
        }
        return;
    case LineId::BoundTask:
        // At the TQ2 receiver the lock is next, else the text record.
        Begin(Task::Logon);
        known_usb_ = Receiver::None;
        logon_device_ = values[0];
        return;
    case LineId::UnboundTask:
        Begin(Task::Logoff);
        known_usb_ = Receiver::None;
        return;
    case LineId::LockForTQ2:
    case LineId::UnlockForTQ2:
        known_usb_ = Receiver::TQ2;
        return;
    case LineId::ReceiverLinkTask:
        Begin(Task::Link);
        link_connected_ = IsTrue(values[0]);
        return;
    case LineId::TimeoutTask: {
        Begin(Task::Timeout);
        const auto found = requests_.find(values[0]);
        request_ = found != requests_.end() ? found->second : nullptr;
        if (request_ != nullptr) {
            request_->timed_out = line.at;
            request_->lines.Add(line.at);
            Fact fact;
            fact.kind = FactKind::TimedOut;
            fact.at = line.at;
            fact.receiver = request_->receiver;
            fact.device = request_->device;
            fact.request = request_.get();
            Emit(fact);
        }
        return;
    }
    case LineId::TimeoutAlreadyOffline:
        if (task_ == Task::Timeout && request_ != nullptr) {
            request_->not_again = true;
            request_->lines.Add(line.at);
        }
        return;
    case LineId::TimeoutAgain:
        if (task_ == Task::Timeout && request_ != nullptr) {
            request_->again = line.at;
            request_->lines.Add(line.at);
        }
        return;
    case LineId::SwitchToOffline:
        // The entry of the attempt; only the first one switches, and makes its request again.
        if (task_ == Task::Timeout) {
            Emit(FactKind::Offline, line.at);
        }
        return;
    // Clients
    case LineId::ConnectBegin:
        Begin(Task::Other);
        client_ = client_ == Client::Unknown ? Client::None : client_;
        Emit(FactKind::ClientWaiting, line.at);
        return;
    case LineId::ConnectSuccess:
        client_ = Client::Connected;
        Emit(FactKind::ClientConnected, line.at);
        return;
    case LineId::Disconnect:
        Begin(Task::Other);
        TakeClientDown(line.at);
        return;
    case LineId::TaskLoopEnd:
        EndTask();
        run_complete_ = true;
        return;
    // Receivers
    case LineId::StationInitialize:
        if (task_ != Task::Command) {
            Begin(Task::Other);
        }
        initializing_ = Receiver::RV2;
        return;
    case LineId::StationUninitialize:
        if (task_ != Task::Command || command_->name != "init") {
            Begin(Task::Other);  // a stop
        }
        SetReceiver(Receiver::RV2, false, line.at, "taken down");
        return;
    case LineId::StationNoPower:
        SetReceiver(Receiver::RV2, false, line.at, "it has no power");
        return;
    case LineId::StationNoLink:
        SetReceiver(Receiver::RV2, false, line.at, "its USB link is missing");
        return;
    case LineId::StationRefused:
        SetReceiver(Receiver::RV2, false, line.at, "its network address isn't set");
        return;
    case LineId::StationConnected:
        SetReceiver(Receiver::RV2, true, line.at, {});
        return;
    case LineId::ReceiverUninitialize: {
        // In the order of the kinds, without the station; at a stop with an end of its own.
        static constexpr Receiver kOrder[] = {Receiver::TQ1, Receiver::TQ2, Receiver::RV1, Receiver::LW};
        if (task_ != Task::Command || command_->name != "init") {
            Begin(Task::Other);  // a stop
        } else if (initialized_ < 4) {
            SetReceiver(kOrder[initialized_++], false, line.at, "taken down");
        }
        return;
    }
    case LineId::ReceiverInitialize: {
        static constexpr Receiver kOrder[] = {Receiver::TQ1, Receiver::RV1, Receiver::LW, Receiver::TQ2};
        if (initialized_ < 10) {
            initialized_ = group_ == 1 ? 13 : 10;  // "audio" has the last of them alone
        }
        initializing_ = initialized_ >= 10 && initialized_ < 14 ? kOrder[initialized_ - 10] : Receiver::None;
        ++initialized_;
        return;
    }
    case LineId::ReceiverConnected:
        if (initializing_ != Receiver::None) {
            SetReceiver(initializing_, true, line.at, {});
        }
        return;
    case LineId::SendArrived:
    case LineId::SendRemoved:
    case LineId::StatusChanged:
    case LineId::StatusStillBad:
        inited_cause_ = reading.id == LineId::StatusStillBad ? 2 : 1;
        if (task_ == Task::Press || task_ == Task::Recording || task_ == Task::Speech ||
            task_ == Task::Command) {
            Begin(Task::Other);
        }
        return;
    case LineId::EventSent:
        OnEventSent(line, values[0]);
        return;
    // Keypads, in whatever task
    case LineId::TextRecordMade:
        if (task_ == Task::Logon && !logon_device_.empty()) {
            const bool certain = known_usb_ != Receiver::None;
            LogOn(line, certain ? known_usb_ : Receiver::Usb, logon_device_, false, certain);
            logon_device_.clear();
        } else if (task_ == Task::Press && known_usb_ != Receiver::None) {
            LogOn(line, known_usb_, values[0], false, true);
        }
        return;
    case LineId::TextRecordErased:
        if (task_ == Task::Logoff) {
            LogOff(line, known_usb_ != Receiver::None ? known_usb_ : Receiver::Usb, values[0]);
        } else if (task_ == Task::Command && in_drop_) {
            if (Keypad* const keypad = block_ >= 0 ? KeypadOf(Block(), values[0]) : nullptr;
                keypad != nullptr && keypad->logged_on) {
                LogOff(line, Block(), values[0]);
            }
        }
        return;
    default:
        break;
    }
    switch (task_) {
    case Task::Command:
        OnCommandLine(line, reading);
        break;
    case Task::Press:
        OnKeyLine(line, reading);
        break;
    case Task::Recording:
        OnRecordingLine(line, reading);
        break;
    case Task::Speech:
        OnAnswerLine(line, reading);
        break;
    default:
        break;
    }
}

// ---- clients and commands -------------------------------------------------------------------------------------------

void Story::TakeClientDown(const Mark& at) {
    const Client former = std::exchange(client_, Client::None);
    // A pipe is taken down without a client too, so that tells nothing of one.
    if (former == Client::Connected || former == Client::Lost) {
        Emit(FactKind::ClientGone, at);
    }
}

void Story::OnMessage(const LogLine& line, std::string_view text) {
    reader_thread_ = line.thread;
    last_.reader_silent = true;
    if (client_ == Client::None || client_ == Client::Unknown) {
        client_ = Client::Connected;  // the log begins later
    }
    received_.push_back({line.at, HashOfMessage(text)});
    if (received_.size() > kMostMessages) {
        received_.pop_front();
    }
    Fact fact;
    fact.kind = FactKind::MessageReceived;
    fact.at = line.at;
    fact.text = text;
    Emit(fact);
}

void Story::BeginCommand(const LogLine& line, std::string_view text) {
    Begin(Task::Command);
    command_ = std::make_shared<Command>();
    command_->begun = line.at;
    command_->text = text;
    const std::size_t hash = HashOfMessage(text);
    // In order of arrival; what was passed over had no turn.
    const auto found = std::find_if(received_.begin(), received_.end(),
                                    [hash](const Received& received) { return received.hash == hash; });
    if (found != received_.end()) {
        command_->received = found->at;
        received_.erase(received_.begin(), found + 1);
    }
    ReadCommand(*command_);
    block_ = -1;
    in_drop_ = false;
    initialized_ = 0;
    last_.device_line = Mark();
    Fact fact;
    fact.kind = FactKind::CommandBegin;
    fact.at = line.at;
    fact.device = command_->device;
    fact.text = text;
    fact.command = command_.get();
    Emit(fact);
}

Receiver Story::Block() const {
    return block_ >= 0 && block_ < static_cast<int>(kReceivers) ? static_cast<Receiver>(block_)
                                                                : Receiver::None;
}

void Story::BeginBlock() {
    EndBlock();
    ++block_;
}

void Story::EndBlock() {
    // Behind a question or a stop for all: who wasn't named isn't logged on at this receiver.
    const Receiver receiver = Block();
    if (receiver == Receiver::None || command_ == nullptr || command_->device != "0" ||
        (command_->name != "ask" && command_->name != "stop")) {
        return;
    }
    ReceiverState& state = receivers_[static_cast<std::size_t>(receiver)];
    if (state.uncertain == 0) {
        return;
    }
    state.uncertain = 0;
    for (auto& [device, keypad] : state.keypads) {
        if (keypad.uncertain) {
            keypad.uncertain = false;
            keypad.logged_on = false;
            keypad.logon = Mark();
        }
    }
}

void Story::OnCommandLine(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    case LineId::StationQuestion:
    case LineId::StationQuestionEnd:
    case LineId::StationText:
    case LineId::ReceiverQuestion:
    case LineId::ReceiverQuestionEnd:
    case LineId::ReceiverText:
    case LineId::ReceiverSignal:
        last_.device_line = line.at;
        break;
    default:
        break;
    }
    switch (reading.id) {
    case LineId::CommandAccepted:
        command_->accepted = true;
        command_->complaint.clear();
        break;
    case LineId::CallInit:
    case LineId::CallCommand:
    case LineId::CallQuit:
        command_->accepted = true;
        command_->complaint.clear();
        block_ = -1;
        break;
    case LineId::PreferredKind:
        group_ = NumberIn(values[0], -1);
        last_init_ = command_;
        initialized_ = 0;
        for (std::size_t i = 0; i < kReceivers; ++i) {
            const bool voice =
                i == static_cast<std::size_t>(Receiver::TQ2) || i == static_cast<std::size_t>(Receiver::RV2);
            receivers_[i].chosen = group_ == 2 || (group_ == 1 ? voice : group_ == 0 && !voice);
        }
        break;
    case LineId::NothingReady:
        command_->ignored = true;
        command_->ignored_at = line.at;
        break;
    case LineId::HandleAsk:
    case LineId::HandleStop:
    case LineId::HandleText:
    case LineId::HandleHi:
        last_.device_line = line.at;
        BeginBlock();
        break;
    case LineId::HandleDrop:
        BeginBlock();
        in_drop_ = true;
        break;
    case LineId::DropOfAll:
        command_->drop_of_all = true;
        command_->ignored_at = line.at;
        break;
    case LineId::QuestionCovered:
        Cover(line, values[0]);
        break;
    case LineId::QuestionStopped:
        Close(line, values[0].substr(0, values[0].find(']')), false);
        break;
    case LineId::QuestionStoppedForAll:
        Close(line, values[0], true);
        break;
    case LineId::AnswerErased:
        EraseAnswers(line, values[0], false);
        break;
    case LineId::AnswersErased:
        EraseAnswers(line, {}, true);
        break;
    case LineId::StationText:
    case LineId::ReceiverText: {
        Fact fact;
        fact.kind = FactKind::Rows;
        fact.at = line.at;
        fact.receiver = Block();
        fact.device = values[0];
        fact.text = line.text;
        Emit(fact);
        break;
    }
    default:
        break;
    }
}

void Story::Cover(const LogLine& line, std::string_view device) {
    Keypad* const keypad = KeypadOf(Block(), device);
    if (keypad == nullptr) {
        return;
    }
    if (keypad->question != nullptr) {
        LoseLetters(Block(), device, *keypad->question, line.at);
    } else {
        keypad->question = std::make_unique<Question>();
    }
    if (command_->device == "0" && device != "0") {
        // Proof that it is logged on here.
        if (keypad->uncertain) {
            keypad->uncertain = false;
            --receivers_[static_cast<std::size_t>(Block())].uncertain;
        }
        keypad->logged_on = true;
    }
    Question& question = *keypad->question;
    question = Question();
    question.ask = command_;
    question.asked = line.at;
    question.open = true;
    Fact fact;
    fact.kind = FactKind::QuestionOpened;
    fact.at = line.at;
    fact.receiver = Block();
    fact.device = device;
    fact.command = command_.get();
    fact.question = &question;
    Emit(fact);
}

void Story::Close(const LogLine& line, std::string_view device, bool for_all) {
    Keypad* keypad = nullptr;
    if (for_all) {
        keypad = KeypadOf(Block(), device);
        if (keypad == nullptr) {
            return;
        }
        if (keypad->uncertain) {
            keypad->uncertain = false;
            --receivers_[static_cast<std::size_t>(Block())].uncertain;
        }
        keypad->logged_on = true;
        if (keypad->question == nullptr) {
            keypad->question = std::make_unique<Question>();
        }
    } else if (Block() != Receiver::None) {
        auto& keypads = receivers_[static_cast<std::size_t>(Block())].keypads;
        const auto found = keypads.find(device);
        keypad = found != keypads.end() && found->second.question != nullptr ? &found->second : nullptr;
    }
    if (keypad == nullptr) {
        return;
    }
    Question& question = *keypad->question;
    LoseLetters(Block(), device, question, line.at);
    const bool was_open = std::exchange(question.open, false);
    // The first one that closed it is the reason; a later one changes nothing.
    if (was_open || !question.closed.IsSet()) {
        question.closer = command_;
        question.closed = line.at;
        question.closed_for_all = for_all;
    }
    if (was_open) {
        Fact fact;
        fact.kind = FactKind::QuestionClosed;
        fact.at = line.at;
        fact.receiver = Block();
        fact.device = device;
        fact.command = command_.get();
        fact.question = &question;
        Emit(fact);
    }
}

void Story::EraseAnswers(const LogLine& line, std::string_view device, bool all) {
    if (Block() == Receiver::None) {
        return;
    }
    auto& keypads = receivers_[static_cast<std::size_t>(Block())].keypads;
    const auto erase = [&](const std::string& name, Keypad& keypad) {
        if (keypad.question != nullptr) {
            LoseLetters(Block(), name, *keypad.question, line.at);
            keypad.question->answered = Mark();
        }
    };
    if (all) {
        for (auto& [name, keypad] : keypads) {
            erase(name, keypad);
        }
    } else if (const auto found = keypads.find(device.substr(0, device.find(']'))); found != keypads.end()) {
        erase(found->first, found->second);
    }
}

void Story::LoseLetters(Receiver receiver, std::string_view device, Question& question, const Mark& at) {
    if (question.letter_lines.size() == 0) {
        return;
    }
    Fact fact;
    fact.kind = FactKind::LettersLost;
    fact.at = at;
    fact.receiver = receiver;
    fact.device = device;
    fact.question = &question;
    Emit(fact);
    question.letters.clear();
    question.letter_lines = Evidence();
}

void Story::OnEventSent(const LogLine& line, std::string_view text) {
    Fact fact;
    fact.kind = FactKind::EventSent;
    fact.at = line.at;
    fact.text = text;
    fact.number = client_ == Client::Connected || client_ == Client::Unknown ? 0 : 1;
    if (task_ == Task::Press && need_send_ == 1) {
        press_.event = line.at;
        press_.lines.Add(line.at);
        press_.client_lost = fact.number == 1;
        press_.outcome = Outcome::Event;
        Emit(fact);
        EndTask();
        return;
    }
    if (task_ == Task::Recording) {
        recording_.event = line.at;
        recording_.lines.Add(line.at);
        recording_.error = NumberMemberOf(text, "error", NumberMemberOf(text, "score"));
    } else if (task_ == Task::Speech && request_ != nullptr) {
        request_->event = line.at;
        request_->lines.Add(line.at);
    }
    Emit(fact);
    if (text.find("\"event\" : \"device-inited\"") != std::string_view::npos) {
        OnDeviceInited(line, text);
        Fact inited;
        inited.kind = FactKind::DeviceInited;
        inited.at = line.at;
        inited.text = text;
        inited.number = task_ == Task::Command ? 0 : inited_cause_;
        Emit(inited);
    }
}

}  // namespace vdipc::log
