// Recordings, requests to the speech services, and their answers.
#include "tools/vdlog/Story.h"

#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <utility>

namespace vdipc::log {
namespace {

constexpr std::size_t kMostHeardRecordings = 5000;
constexpr std::size_t kMostRequests = 20000;
// What is posted has its turn in that order, but for a moment between the line and the post on two threads.
constexpr std::int64_t kRecordingsOvertaken = 1000;

}  // namespace

// ---- recordings -----------------------------------------------------------------------------------------------------

void Story::HearRecording(const LogLine& line, const Reading& reading, bool station) {
    Recording recording;
    recording.receiver = station ? Receiver::RV2 : Receiver::Usb;
    recording.device = reading.values[0].substr(0, 20);
    recording.heard = line.at;
    recording.lines.Add(line.at);
    heard_recordings_.push_back(recording);
    if (checking_.size() < 1000) {
        checking_[line.thread] = line.at.line;
    }
    Fact fact;
    fact.kind = FactKind::Recorded;
    fact.at = line.at;
    fact.receiver = recording.receiver;
    fact.device = recording.device;
    fact.recording = &recording;
    Emit(fact);
    if (heard_recordings_.size() > kMostHeardRecordings) {
        heard_recordings_.pop_front();
    }
}

void Story::BeginRecording(const LogLine& line, const Reading& reading, bool station) {
    Begin(Task::Recording);
    const Receiver receiver = station ? Receiver::RV2 : Receiver::Usb;
    const auto found =
        std::find_if(heard_recordings_.begin(), heard_recordings_.end(), [&](const Recording& recording) {
            return recording.receiver == receiver && recording.device == reading.values[0];
        });
    if (found == heard_recordings_.end()) {
        recording_ = Recording();
        recording_.receiver = receiver;
        recording_.device = reading.values[0].substr(0, 20);
    } else {
        recording_ = *found;
        const auto overtaken = [this](const Recording& waiting) {
            return waiting.heard.line < recording_.heard.line &&
                   (waiting.thread == recording_.thread ||
                    waiting.heard.time + kRecordingsOvertaken < recording_.heard.time);
        };
        heard_recordings_.erase(found);
        while (!heard_recordings_.empty() && overtaken(heard_recordings_.front())) {
            Recording lost = heard_recordings_.front();
            heard_recordings_.pop_front();
            lost.outcome = Outcome::NeverRun;
            lost.begun = line.at;
            Fact fact;
            fact.kind = FactKind::RecordingDone;
            fact.at = lost.heard;
            fact.receiver = lost.receiver;
            fact.device = lost.device;
            fact.recording = &lost;
            Emit(fact);
        }
    }
    recording_.begun = line.at;
    recording_.lines.Add(line.at);
    found_ = -1;
    request_ = nullptr;
}

void Story::OnRecordingLine(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    case LineId::QuestionFound:
        found_ = IsTrue(values[1]) ? 1 : 0;
        recording_.lines.Add(line.at);
        if (found_ == 0) {
            recording_.outcome = Outcome::NoQuestion;
            EndTask();
        }
        break;
    case LineId::AudioSaved:
        recording_.file = values[0];
        recording_.outcome = Outcome::Closed;
        recording_.lines.Add(line.at);
        break;
    case LineId::AudioQuestion:
        recording_.custom = values[0];
        recording_.outcome = Outcome::DoesNotCount;
        recording_.lines.Add(line.at);
        break;
    case LineId::NoStems:
        recording_.outcome = Outcome::NoStems;
        recording_.lines.Add(line.at);
        EndTask();
        break;
    case LineId::NoParam:
        recording_.outcome = Outcome::NoParam;
        recording_.lines.Add(line.at);
        EndTask();
        break;
    case LineId::AudioError:
        recording_.outcome = Outcome::BadRecording;
        recording_.lines.Add(line.at);
        break;
    case LineId::SendVoiceRecord:
        recording_.outcome = Outcome::Event;
        break;
    case LineId::RecognizeRequested:
        MakeRequest(line, Service::Recognizer, values[0], NumberIn(values[1], -1));
        break;
    case LineId::EvaluationRequested:
        MakeRequest(line,
                    line.function.find("Single") != std::string_view::npos ? Service::Sentence
                                                                           : Service::Choices,
                    values[0], NumberIn(values[1], -1));
        break;
    case LineId::GeneralRequested:
        MakeRequest(line, Service::General, {}, -1);
        break;
    default:
        break;
    }
}

void Story::MakeRequest(const LogLine& line, Service service, std::string_view id, std::int64_t size) {
    auto request = std::make_shared<Request>();
    request->service = service;
    request->device = recording_.device;
    request->custom = id.empty() ? recording_.custom : MemberOf(id, "custom");
    request->file = recording_.file;
    request->size = size;
    request->heard = recording_.heard;
    request->requested = line.at;
    recording_.size = size;
    recording_.outcome = Outcome::Requested;
    recording_.lines.Add(line.at);
    request->lines = recording_.lines;
    request_ = request;
    EndTask();
}

void Story::EndRecording() {
    if (recording_.outcome == Outcome::Open && found_ == 1) {
        recording_.outcome = Outcome::Closed;  // ends before the file's line
    }
    if (recording_.receiver == Receiver::Usb) {
        const Outcome outcome = recording_.outcome;
        ChooseUsb(recording_.device, recording_.receiver, [outcome](const Keypad* keypad) {
            const Question* const question = keypad != nullptr ? keypad->question.get() : nullptr;
            switch (outcome) {
            case Outcome::NoQuestion:
                return question == nullptr;
            case Outcome::Closed:
                return question != nullptr && !question->open;
            default:
                return question != nullptr && question->open;
            }
        });
    }
    const Keypad* const keypad = recording_.outcome == Outcome::NoQuestion
                                     ? nullptr
                                     : FindKeypad(recording_.receiver, recording_.device);
    Fact fact;
    fact.kind = FactKind::RecordingDone;
    fact.at = recording_.heard.IsSet() ? recording_.heard : recording_.begun;
    fact.receiver = recording_.receiver;
    fact.receiver_certain = recording_.receiver != Receiver::Usb;
    fact.device = recording_.device;
    fact.recording = &recording_;
    fact.question = keypad != nullptr ? keypad->question.get() : nullptr;
    fact.request = request_.get();
    Emit(fact);
    if (request_ == nullptr) {
        return;
    }
    const std::shared_ptr<Request> request = std::exchange(request_, nullptr);
    request->receiver = recording_.receiver;
    // A second recording in the same moment has the same file name: its request takes the first one's place.
    if (const auto former = requests_.find(request->file); former != requests_.end()) {
        former->second = request;
    } else {
        requests_.emplace(request->file, request);
        request_order_.push_back(request->file);
    }
    fact = Fact();
    fact.kind = FactKind::Requested;
    fact.at = request->requested;
    fact.receiver = request->receiver;
    fact.device = request->device;
    fact.request = request.get();
    Emit(fact);
    GiveUpOldRequests();
}

void Story::GiveUpOldRequests() {
    // Those that were answered stand between those that never will be.
    if (request_order_.size() > 2 * requests_.size() + 1000) {
        std::erase_if(request_order_, [this](const std::string& file) { return !requests_.contains(file); });
    }
    while (!request_order_.empty()) {
        const auto oldest = requests_.find(request_order_.front());
        const bool done = oldest == requests_.end() || oldest->second->answer != Answer::Waiting;
        if (!done && requests_.size() <= kMostRequests) {
            return;
        }
        if (!done) {
            oldest->second->answer = Answer::Lost;
            Fact fact;
            fact.kind = FactKind::RequestDone;
            fact.at = last_mark_;
            fact.receiver = oldest->second->receiver;
            fact.device = oldest->second->device;
            fact.request = oldest->second.get();
            Emit(fact);
        }
        if (oldest != requests_.end()) {
            requests_.erase(oldest);
        }
        request_order_.pop_front();
    }
}

// ---- answers --------------------------------------------------------------------------------------------------------

void Story::HearAnswer(const LogLine& line, const Reading& reading) {
    const auto found = requests_.find(MemberOf(reading.values[0], "extra"));
    Fact fact;
    fact.kind = FactKind::Answered;
    fact.at = line.at;
    fact.text = reading.values[2];
    if (found != requests_.end()) {
        found->second->answered = line.at;
        found->second->lines.Add(line.at);
        fact.receiver = found->second->receiver;
        fact.device = found->second->device;
        fact.request = found->second.get();
    }
    Emit(fact);
}

void Story::BeginAnswer(const LogLine& line, const Reading& reading, Service service) {
    Begin(Task::Speech);
    const std::string file = MemberOf(reading.values[0], "extra");
    const auto found = requests_.find(file);
    if (found != requests_.end()) {
        request_ = found->second;
    } else {
        // Requested before the log begins, or answered before.
        request_ = std::make_shared<Request>();
        request_->service = service;
        request_->device = MemberOf(reading.values[0], "device");
        request_->custom = MemberOf(reading.values[0], "custom");
        request_->file = file;
    }
    request_->handled = line.at;
    request_->lines.Add(line.at);
    if (service != Service::General) {
        request_->error = NumberIn(reading.values[1]);
        request_->result = reading.values[2].substr(0, 500);
    } else {
        request_->result = reading.values[2].substr(0, 500);
    }
    request_->score = service == Service::Sentence ? NumberIn(reading.values[3]) : 0;
}

void Story::OnAnswerLine(const LogLine& line, const Reading& reading) {
    if (request_ == nullptr) {
        return;
    }
    switch (reading.id) {
    case LineId::EvaluatorMismatch:
        request_->lines.Add(line.at);
        request_->answer = Answer::OtherEvaluator;
        EndTask();
        break;
    case LineId::RequestErased:
        request_->lines.Add(line.at);
        request_->answer = Answer::Repeated;
        EndTask();
        break;
    case LineId::CustomMismatch:
        request_->lines.Add(line.at);
        request_->answer = Answer::TooLate;
        EndTask();
        break;
    case LineId::CustomMatch:
        request_->lines.Add(line.at);
        request_->answer = Answer::Event;
        break;
    default:
        break;
    }
}

void Story::EndAnswer() {
    const std::shared_ptr<Request> request = std::exchange(request_, nullptr);
    if (request == nullptr) {
        return;
    }
    if (request->answer == Answer::OtherEvaluator && request->again.IsSet()) {
        request->answer = Answer::Waiting;  // the offline evaluator still has it
        return;
    }
    const auto open = requests_.find(request->file);
    if (run_is_whole_ && (open == requests_.end() || open->second != request)) {
        request->answer = Answer::Repeated;  // it had been answered before
    }
    if (request->answer == Answer::Waiting) {
        return;  // the log was cut here
    }
    const Keypad* keypad = nullptr;
    for (std::size_t i = 0; i < kReceivers && request->receiver == Receiver::None; ++i) {
        const Keypad* const candidate = FindKeypad(static_cast<Receiver>(i), request->device);
        if (candidate != nullptr && candidate->question != nullptr && candidate->question->ask != nullptr &&
            candidate->question->ask->custom == request->custom) {
            keypad = candidate;
        }
    }
    if (request->receiver != Receiver::None) {
        keypad = FindKeypad(request->receiver, request->device);
    }
    Fact fact;
    fact.kind = FactKind::RequestDone;
    fact.at = request->heard.IsSet() ? request->heard : request->handled;
    fact.receiver = request->receiver;
    fact.device = request->device;
    fact.request = request.get();
    fact.question = keypad != nullptr ? keypad->question.get() : nullptr;
    Emit(fact);
    const auto found = requests_.find(request->file);
    if (found != requests_.end() && found->second == request) {
        requests_.erase(found);
    }
    GiveUpOldRequests();
}

}  // namespace vdipc::log
