// What came to the library, task by task.
#include "tools/vdlog/LessonMaker.h"

#include "tools/vdlog/LessonRun.h"
#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <utility>

#include <json/json.h>

namespace vdipc::log {
namespace {

// What waits for its turn while the library waits for a client; far more than a class can do.
constexpr std::size_t kMostHeard = 20000;

/// Whether an event has characters of Chinese. The library writes them as escapes.
bool HasChinese(std::string_view event) {
    for (std::size_t at = event.find("\\u"); at != std::string_view::npos && at + 3 < event.size();
         at = event.find("\\u", at + 2)) {
        const char first = event[at + 2];
        if ((first >= '5' && first <= '8') || (first == '4' && event[at + 3] >= 'e') || first == '9') {
            return true;
        }
    }
    return false;
}

/// What the library makes of a rate is a number; a damaged line needn't have one.
bool IsNumber(const std::string& text) {
    Json::Value value;
    return ParseLessonJson("[" + text + "]", value) && value.isArray() && value.size() == 1 &&
           value[0].isNumeric();
}

std::string Key(LineId id, const Reading& reading, std::size_t values) {
    std::string key = std::to_string(static_cast<int>(id));
    for (std::size_t i = 0; i < values; ++i) {
        key += "|" + std::string(reading.values[i]);
    }
    return key;
}

std::optional<std::array<std::set<std::string>, kReceivers>> ReadDevices(const std::string& text) {
    Json::Value root;
    if (!ParseLessonJson(text, root) || !root.isObject()) {
        return std::nullopt;
    }
    std::array<std::set<std::string>, kReceivers> devices;
    for (std::size_t i = 0; i < kReceivers; ++i) {
        const Json::Value& list = root[NameOf(static_cast<Receiver>(i))];
        if (list.isArray()) {
            for (const Json::Value& device : list) {
                if (device.isString()) {
                    devices[i].insert(device.asString());
                }
            }
        }
    }
    return devices;
}

}  // namespace

bool ParseLessonJson(const std::string& text, Json::Value& value) {
    try {
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        std::string errors;
        return reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    } catch (const std::exception&) {
        return false;  // nested too deep
    }
}

LessonMaker::LessonMaker(const Text& text, bool fast) : text_(text), fast_(fast) {}

LessonMaker::~LessonMaker() = default;

// ---- runs -----------------------------------------------------------------------------------------------------------

void LessonMaker::BeginRun(const LogLine& line, std::string_view version) {
    EndRun();
    runs_.push_back(std::make_unique<LessonRun>());
    run_ = runs_.back().get();
    run_->begin = line.at.time;
    run_->last = line.at.time;
    run_->whole = !version.empty();
    if (first_time_ == 0) {
        first_time_ = line.at.time;
    }
    task_thread_known_ = false;
    task_ = Task();
    group_ = -1;
    for (std::size_t i = 0; i < kReceivers; ++i) {
        asked_[i].clear();
        logged_on_[i].clear();
        link_[i] = true;
        info_[i].clear();
    }
    station_ = "up";
    ready_.clear();
    dropped_.clear();
    requests_.clear();
    numbers_.clear();
    answers_.clear();
    offline_ = false;
    client_lost_ = Heard();
    timer_ = Heard();
}

void LessonMaker::EndRun() {
    if (run_ == nullptr) {
        return;
    }
    // A command that never came to an end may be what ended the process.
    const Command& command = task_.command;
    const bool takes_device = command.name == "ask" || command.name == "stop" || command.name == "text" ||
                              command.name == "hi" || command.name == "drop";
    run_->ended_by_device = !run_->ended && task_.kind == TaskKind::Command && !task_.done &&
                            command.accepted && takes_device && !IsDeviceNumber(command.device);
    Finish();
    AddUnheard();
    if (!run_->whole) {
        Note("a run whose beginning the log lacks is left out: what it had been told before isn't known",
             "from " + TimeText(run_->begin, true));
    } else if (!run_->ended && !run_->ended_by_device && !run_->ended_by_bytes) {
        Note("a run without its end: the host is killed where the log ends",
             "at " + TimeText(run_->last, true));
    }
    run_ = nullptr;
    heard_.clear();
    heard_recordings_.clear();
}

/// What was heard and never had its turn.
void LessonMaker::AddUnheard() {
    for (const HeardRecording& heard : heard_recordings_) {
        if (!heard.station || !IsKeypad(heard.device, true)) {
            Note("a recording that never had its turn is left out", TimeText(heard.heard.time));
            continue;
        }
        Task task;
        task.station = true;
        task.device = heard.device;
        task.turn = heard.heard.place;
        task.heard = heard.heard;
        task.time = heard.heard.time;
        task_ = task;
        Add(RecordingText("RV2", false));
    }
    for (const auto& [what, waiting] : heard_) {
        const bool message = what.starts_with("message|");
        if (message && what == "message|" && !run_->ended) {
            // A message of negative length: it ends the process before its turn.
            task_.turn = waiting.back().place;
            task_.heard = waiting.back();
            task_.time = waiting.back().time;
            Add("client bytes e2070000ffffffffe2070000");
            run_->ended_by_bytes = true;
        } else if (!what.starts_with("answer|")) {
            for (const Heard& heard : waiting) {
                if (!AddUnheardKey(what, heard)) {
                    Note(message ? "a message that never had its turn is left out"
                                 : "a press, a logon or a logoff that never had its turn is left out",
                         TimeText(heard.time));
                }
            }
        }
    }
    task_ = Task();
}

/// A press at the station that waited for a client to the end of the process. It does so again; elsewhere it would have a
/// turn that it hadn't.
bool LessonMaker::AddUnheardKey(const std::string& what, const Heard& heard) {
    const std::string begin = std::to_string(static_cast<int>(LineId::StationKey)) + "|";
    const std::size_t bar = what.find('|', begin.size());
    if (run_->ended || run_->client || !what.starts_with(begin) || bar == std::string::npos) {
        return false;
    }
    Task task;
    task.kind = TaskKind::Key;
    task.turn = heard.place;
    task.heard = heard;
    task.time = heard.time;
    task.station = true;
    task.device = what.substr(begin.size(), bar - begin.size());
    task.key = NumberIn(std::string_view(what).substr(bar + 1));
    if (!IsKeypad(task.device, true)) {
        return false;
    }
    task_ = task;
    FinishKey();
    return true;
}

void LessonMaker::End() {
    EndRun();
}

void LessonMaker::Note(const std::string& words, const std::string& example) {
    const auto [found, fresh] = notes_.try_emplace(words);
    if (fresh) {
        note_order_.push_back(words);
        found->second.example = example;
    }
    ++found->second.count;
}

// ---- lines ----------------------------------------------------------------------------------------------------------

void LessonMaker::OnLine(const LogLine& line) {
    ++place_;
    if (line.function.empty()) {
        return;
    }
    const Reading reading = Read(line);
    if (reading.id == LineId::Version) {
        BeginRun(line, reading.values[0]);
    } else if (reading.id == LineId::SetStatusCallback) {
        return;  // stands before the start
    } else if (run_ == nullptr) {
        BeginRun(line, {});
    }
    run_->last = line.at.time;
    last_time_ = line.at.time;
    if (reading.id == LineId::Unknown) {
        Note("a line of another version of the library, which is passed over",
             text_.Redacts() ? std::string() : text_.Shown(line.function));
        return;
    }
    // A process that is ended takes its objects down on the thread that ended it.
    if (line.function.find('~') != std::string_view::npos || line.function.ends_with("::StopStatusCheck")) {
        return;
    }
    if (IsTaskThreads(reading.id)) {
        task_thread_ = line.thread;
        task_thread_known_ = true;
    }
    if (task_thread_known_ && line.thread == task_thread_) {
        OnTaskLine(line, reading);
    } else {
        OnOtherLine(line, reading);
    }
}

void LessonMaker::Hear(const std::string& as, const LogLine& line) {
    std::deque<Heard>& waiting = heard_[as];
    waiting.push_back({place_, line.at.time});
    if (waiting.size() > kMostHeard) {
        waiting.pop_front();
    }
}

void LessonMaker::OnOtherLine(const LogLine& line, const Reading& reading) {
    switch (reading.id) {
    case LineId::DevicesFileRead:
        if (const auto devices = ReadDevices(std::string(reading.values[1]))) {
            logged_on_ = *devices;
        }
        if (runs_.size() == 1) {
            devices_ = std::string(reading.values[1]);
        }
        break;
    case LineId::SpeechService:
        config_ = reading.row->text.find("Aliyun") != std::string_view::npos ? "{\"engine\": \"ali\"}" : "";
        break;
    case LineId::Uninitialize:
        run_->ended = true;
        break;
    case LineId::StationKey:
        Hear(Key(LineId::StationKey, reading, 2), line);
        break;
    case LineId::ReceiverKey:
        Hear(Key(LineId::ReceiverKey, reading, 4), line);
        break;
    case LineId::StationKeypad:
        Hear(Key(LineId::StationKeypad, reading, 2), line);
        break;
    case LineId::Bound:
    case LineId::Unbound:
        Hear(Key(reading.id, reading, 1), line);
        break;
    case LineId::ReceiverLink:
        link_news_.push_back({place_, line.at.time});
        if (link_news_.size() > kMostHeard) {
            link_news_.pop_front();
        }
        break;
    case LineId::ReceiverNotReady:
        // Of the news before it; it never has a turn.
        if (!link_news_.empty()) {
            link_news_.pop_back();
        }
        break;
    case LineId::StationAudio:
    case LineId::ReceiverAudio:
        heard_recordings_.push_back({std::string(reading.values[0]),
                                     {place_, line.at.time},
                                     line.thread,
                                     reading.id == LineId::StationAudio,
                                     false});
        if (heard_recordings_.size() > kMostHeard) {
            heard_recordings_.pop_front();
        }
        break;
    case LineId::AudioChecked: {
        const auto heard =
            std::find_if(heard_recordings_.rbegin(), heard_recordings_.rend(),
                         [&line](const HeardRecording& one) { return one.thread == line.thread; });
        if (heard != heard_recordings_.rend()) {
            heard->checked = true;
        }
        break;
    }
    case LineId::RecognizeAnswer:
    case LineId::EvaluateAnswer:
    case LineId::GeneralAnswer:
        Hear("answer|" + std::string(reading.values[0]), line);
        break;
    case LineId::MessageReceived:
        Hear("message|" + std::string(reading.values[0]), line);
        break;
    case LineId::ReaderGone:
        client_lost_ = {place_, line.at.time};
        // "quit" has its turn at the lesson's end.
        turns_of_client_ = run_->turns - (task_.is_quit && run_->turns > 0 ? 1 : 0);
        break;
    case LineId::TimeoutFired:
        timer_ = {place_, line.at.time};
        break;
    case LineId::EventSent:
        OnEvent(line, reading.values[0]);
        break;
    default:
        break;
    }
}

void LessonMaker::Begin(TaskKind kind, const LogLine& line, const std::string& heard_as) {
    Finish();
    task_ = Task();
    task_.kind = kind;
    task_.turn = place_;
    task_.heard = {place_, line.at.time};
    task_.time = line.at.time;
    const auto heard = heard_as.empty() ? heard_.end() : heard_.find(heard_as);
    if (heard != heard_.end()) {
        task_.heard = heard->second.front();
        task_.time = task_.heard.time;
        heard->second.pop_front();
        if (heard->second.empty()) {
            heard_.erase(heard);
        }
    }
}

/// A look at the station, which has no line at its beginning.
void LessonMaker::BeginCheck(const LogLine& line) {
    if (task_.kind != TaskKind::Check || task_.done) {
        Begin(TaskKind::Check, line);
    }
}

bool LessonMaker::IsKeypad(const std::string& device, bool station) {
    constexpr std::uint64_t kMostAtStation = 0xFFFF;
    constexpr std::uint64_t kMost = 0xFFFFFFFF;
    return !device.empty() && device.size() <= 10 &&
           device.find_first_not_of("0123456789") == std::string::npos &&
           std::stoull(device) <= (station ? kMostAtStation : kMost);
}

void LessonMaker::Finish() {
    const bool keypads = task_.kind == TaskKind::Key || task_.kind == TaskKind::Recording ||
                         task_.kind == TaskKind::Logon || task_.kind == TaskKind::Logoff;
    if (keypads && !IsKeypad(task_.device, task_.station)) {
        Note("a damaged line about a keypad is passed over", TimeText(task_.time));
        --run_->turns;
        task_ = Task();
        return;
    }
    switch (task_.kind) {
    case TaskKind::Command:
        FinishCommand();
        break;
    case TaskKind::Key:
        FinishKey();
        break;
    case TaskKind::Recording:
        FinishRecording();
        break;
    case TaskKind::Logon:
    case TaskKind::Logoff:
        FinishMove();
        break;
    case TaskKind::Link:
        FinishLink();
        break;
    case TaskKind::Check:
        FinishCheck();
        break;
    case TaskKind::Answer:
        FinishAnswer();
        break;
    case TaskKind::None:
        break;
    }
    if (task_.devices) {
        if (const auto devices = ReadDevices(*task_.devices)) {
            logged_on_ = *devices;
        }
    }
    if (task_.ready) {
        ready_ = *task_.ready;
    }
    task_ = Task();
}

/// Whether a task begins here whose beginning has a line.
bool LessonMaker::BeginTask(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    case LineId::CommandBegin:
        Begin(TaskKind::Command, line, "message|" + std::string(values[0]));
        task_.command.text = values[0];
        ReadCommand(task_.command);
        break;
    case LineId::StationKeyTask:
        Begin(TaskKind::Key, line, Key(LineId::StationKey, reading, 2));
        task_.station = true;
        task_.key = NumberIn(values[1]);
        break;
    case LineId::ReceiverKeyTask:
        Begin(TaskKind::Key, line, Key(LineId::ReceiverKey, reading, 4));
        task_.key = NumberIn(values[1]);
        task_.times = NumberIn(values[2], 1);
        task_.received = NumberIn(values[3], 1);
        break;
    case LineId::StationKeypadTask:
        Begin(IsTrue(values[1]) ? TaskKind::Logon : TaskKind::Logoff, line,
              Key(LineId::StationKeypad, reading, 2));
        task_.station = true;
        break;
    case LineId::BoundTask:
        Begin(TaskKind::Logon, line, Key(LineId::Bound, reading, 1));
        break;
    case LineId::UnboundTask:
        Begin(TaskKind::Logoff, line, Key(LineId::Unbound, reading, 1));
        break;
    case LineId::StationAudioTask:
    case LineId::ReceiverAudioTask:
        BeginRecording(line, reading);
        break;
    case LineId::ReceiverLinkTask:
        Begin(TaskKind::Link, line);
        if (!link_news_.empty()) {
            task_.heard = link_news_.front();
            task_.time = task_.heard.time;
            link_news_.pop_front();
        }
        task_.connected = IsTrue(values[0]);
        break;
    case LineId::TimeoutTask:
        TimeOut(line, std::string(values[0]));
        break;
    case LineId::RecognizeResult:
    case LineId::EvaluateResult:
    case LineId::GeneralResult:
        Begin(TaskKind::Answer, line, "answer|" + std::string(values[0]));
        task_.service = reading.id == LineId::RecognizeResult  ? Service::Recognizer
                        : reading.id == LineId::EvaluateResult ? Service::Sentence
                                                               : Service::General;
        task_.request_id = values[0];
        task_.error_code = values[1];
        task_.result = values[2];
        task_.score = values[3];
        return true;  // has no "task begin" to count
    default:
        return false;
    }
    ++run_->turns;
    if (task_.kind != TaskKind::Command && task_.kind != TaskKind::Link) {
        task_.device = values[0].substr(0, 20);
    }
    return true;
}

void LessonMaker::BeginRecording(const LogLine& line, const Reading& reading) {
    Begin(TaskKind::Recording, line);
    task_.station = reading.id == LineId::StationAudioTask;
    const auto heard =
        std::find_if(heard_recordings_.begin(), heard_recordings_.end(), [&](const HeardRecording& one) {
            return one.station == task_.station && one.device == reading.values[0];
        });
    if (heard != heard_recordings_.end()) {
        task_.heard = heard->heard;
        task_.time = heard->heard.time;
        task_.checked = heard->checked;
        heard_recordings_.erase(heard);
    }
}

void LessonMaker::TimeOut(const LogLine& line, const std::string& file) {
    Finish();
    const Heard fired = timer_.place != 0 ? timer_ : Heard{place_, line.at.time};
    const auto request = requests_.find(file);
    if (request != requests_.end() && request->second.timed) {
        request->second.timed = false;
        run_->windows.push_back({request->second.place, fired.place});
    }
    AddWait(fired.place, fired.time,
            "logged 30 x" + std::to_string(++run_->timeouts) + " timeout task begin");
}

void LessonMaker::OnTaskLine(const LogLine& line, const Reading& reading) {
    if (BeginTask(line, reading)) {
        return;
    }
    switch (reading.id) {
    case LineId::ConnectBegin:
        Finish();
        if (++run_->connects > 1) {
            AddWait(place_, line.at.time, "logged 60 x" + std::to_string(run_->connects) + " Connect begin");
        }
        break;
    case LineId::ConnectSuccess:
        AddWait(place_, line.at.time,
                "client start\nlogged 30 x" + std::to_string(++run_->clients) +
                    " Connect ConnectNamedPipe success",
                true);
        run_->client = true;
        break;
    case LineId::Disconnect:
        Begin(TaskKind::None, line);
        if (run_->client) {
            if (client_lost_.place != 0) {
                task_.heard = client_lost_;
                task_.time = client_lost_.time;
            }
            LessonStep& step = Add("client kill");
            if (client_lost_.place != 0 && turns_of_client_ > 0) {
                // What it saw of the library's doings.
                step.before.push_back("logged 60 x" + std::to_string(turns_of_client_) + " task begin");
            }
            run_->client = false;
        }
        client_lost_ = Heard();
        task_ = Task();
        break;
    case LineId::TaskLoopEnd:
        Finish();
        run_->ended = true;
        break;
    case LineId::EventSent:
        OnEvent(line, reading.values[0]);
        break;
    case LineId::DevicesFileSaved:
        task_.devices = std::string(reading.values[0]);
        break;
    default:
        OnReceiverLine(line, reading);
        OnKeypadLine(line, reading);
        if (task_.kind == TaskKind::Command) {
            OnCommandLine(reading);
        }
        break;
    }
}

void LessonMaker::OnReceiverLine(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    case LineId::StationInitialize:
        if (task_.kind != TaskKind::Command || !task_.is_init || task_.done) {
            BeginCheck(line);
        }
        break;
    case LineId::StationConnected:
        task_.station_state = "up";
        break;
    case LineId::StationRefused:
        task_.station_state = "refused";
        break;
    case LineId::StationNoPower:
        task_.station_state = "no-power";
        break;
    case LineId::StationNoLink:
        task_.station_state = "no-usb";
        break;
    case LineId::StationProbeLate:
        BeginCheck(line);
        task_.late = true;
        task_.done = true;
        break;
    case LineId::ReceiverInitialize: {
        const std::vector<Receiver> chosen = Chosen();
        task_.trying = task_.usb_tried < chosen.size() ? chosen[task_.usb_tried] : Receiver::None;
        ++task_.usb_tried;
        if (task_.trying != Receiver::None) {
            task_.usb_up[IndexOf(task_.trying)] = 0;
        }
        break;
    }
    case LineId::ReceiverConnected:
        if (task_.trying != Receiver::None) {
            task_.usb_up[IndexOf(task_.trying)] = 1;
            uses_[IndexOf(task_.trying)] = true;
        }
        break;
    case LineId::ReceiverInfo:
        task_.info = std::string(values[0]);
        if (task_.trying != Receiver::None) {
            task_.infos[IndexOf(task_.trying)] = task_.info;
        }
        break;
    case LineId::SendRemoved:
    case LineId::SendArrived:
    case LineId::StatusChanged:
    case LineId::StatusStillBad:
        if (task_.kind != TaskKind::Link || task_.done) {
            BeginCheck(line);
        }
        task_.removed = task_.removed || reading.id == LineId::SendRemoved;
        task_.arrived = task_.arrived || reading.id == LineId::SendArrived;
        task_.changed = task_.changed || reading.id == LineId::StatusChanged;
        task_.still_bad = task_.still_bad || reading.id == LineId::StatusStillBad;
        break;
    case LineId::DeviceInited:
        task_.status = NumberIn(values[1], -2);
        break;
    case LineId::Ordinary:
        if (reading.row->text == "channel: {}") {
            task_.usb = task_.kind == TaskKind::Link ? Receiver::TQ2 : task_.usb;
            if (channel_.empty()) {
                const std::int64_t channel = NumberIn(values[0], -1);
                channel_ = channel < 0 ? "none" : std::to_string(channel);
            }
        } else if (line.function == "VoteDeckObject_TQ::OnDeviceConnectedChange") {
            task_.usb = Receiver::LW;
        }
        break;
    default:
        break;
    }
}

void LessonMaker::OnKeypadLine(const LogLine& line, const Reading& reading) {
    const auto& values = reading.values;
    switch (reading.id) {
    case LineId::LockForTQ2:
    case LineId::UnlockForTQ2:
        task_.usb = Receiver::TQ2;
        break;
    case LineId::ActivateForRV1:
        task_.usb = Receiver::RV1;
        break;
    case LineId::BroughtBackForLW:
        task_.usb = Receiver::LW;
        task_.brought_back = true;
        break;
    case LineId::QuestionFound:
        if (task_.found < 0) {
            task_.found = IsTrue(values[1]) ? 1 : 0;
        }
        break;
    case LineId::AnswerFinished:
        task_.finished = IsTrue(values[1]) ? 1 : 0;
        break;
    case LineId::KeyFiltered:
        task_.type = NumberIn(values[0], -1);
        break;
    case LineId::StationNeedSend:
    case LineId::ReceiverNeedSend:
        task_.need_send = IsTrue(values[reading.id == LineId::StationNeedSend ? 0 : 1]) ? 1 : 0;
        break;
    case LineId::AudioSaved:
        task_.saved = true;
        task_.file = values[0];
        break;
    case LineId::AudioQuestion:
        task_.asked = true;
        task_.custom = values[0];
        task_.has_custom = true;
        break;
    case LineId::RecognizeRequested:
        task_.size = NumberIn(values[1], -1);
        task_.lost_rate = RateOf(values[0]);
        MakeRequest(MemberOf(values[0], "extra"), "recognizer", false);
        break;
    case LineId::EvaluationRequested: {
        const bool single = line.function.find("Single") != std::string_view::npos;
        task_.size = NumberIn(values[1], -1);
        task_.lost_rate = RateOf(values[0]);
        MakeRequest(MemberOf(values[0], "extra"),
                    single             ? (offline_ ? "offline" : "single")
                    : task_.in_chinese ? "multiple-chn"
                                       : "multiple",
                    single && !offline_);
        break;
    }
    case LineId::GeneralRequested:
        MakeRequest(task_.file, "general", false);
        break;
    case LineId::TimeoutAgain: {
        offline_ = true;
        const std::uint64_t number = ++numbers_["offline"];
        const auto request = requests_.find(std::string(values[0]));
        if (request != requests_.end()) {
            request->second.offline = number;
        }
        break;
    }
    case LineId::EvaluatorMismatch:
        task_.mismatch = true;
        break;
    case LineId::Ordinary:
        task_.in_chinese =
            task_.in_chinese || reading.row->text == "QuestionType::VoiceEvaluationMultiple_CHN";
        break;
    default:
        break;
    }
}

void LessonMaker::OnCommandLine(const Reading& reading) {
    const auto& values = reading.values;
    const auto block = [this]() -> std::map<std::string, Asked>* {
        return task_.block >= 0 && task_.block < static_cast<int>(kReceivers)
                   ? &asked_[static_cast<std::size_t>(task_.block)]
                   : nullptr;
    };
    const bool at_lw = task_.block == static_cast<int>(Receiver::LW);
    switch (reading.id) {
    case LineId::CommandAccepted:
    case LineId::CallCommand:
        task_.command.accepted = true;
        break;
    case LineId::CallInit:
        task_.command.accepted = true;
        task_.is_init = true;
        break;
    case LineId::CallQuit:
        task_.command.accepted = true;
        task_.is_quit = true;
        break;
    case LineId::PreferredKind:
        group_ = NumberIn(values[0], -1);
        break;
    case LineId::NothingReady:
        task_.done = true;
        break;
    case LineId::HandleAsk:
    case LineId::HandleStop:
    case LineId::HandleText:
    case LineId::HandleHi:
    case LineId::HandleDrop:
        ++task_.block;
        break;
    case LineId::DropNoted:
        if (at_lw) {
            dropped_.insert(std::string(values[0]));
        }
        break;
    case LineId::QuestionCovered:
        if (auto* const questions = block()) {
            Asked& asked = (*questions)[std::string(values[0])];
            asked.open = true;
            asked.type = static_cast<std::int64_t>(task_.command.type);
            asked.custom = task_.command.custom;
        }
        break;
    case LineId::QuestionStopped:
        if (auto* const questions = block()) {
            const auto asked = questions->find(std::string(values[0].substr(0, values[0].find(']'))));
            if (asked != questions->end()) {
                asked->second.open = false;
            }
        }
        break;
    case LineId::QuestionStoppedForAll:
        if (auto* const questions = block()) {
            (*questions)[std::string(values[0])].open = false;
        }
        break;
    case LineId::AnswerErased:
        if (auto* const questions = block()) {
            const auto asked = questions->find(std::string(values[0].substr(0, values[0].find(']'))));
            if (asked != questions->end()) {
                asked->second.answered = false;
            }
        }
        break;
    case LineId::AnswersErased:
        if (auto* const questions = block()) {
            for (auto& [device, asked] : *questions) {
                asked.answered = false;
            }
        }
        break;
    default:
        break;
    }
}

void LessonMaker::OnEvent(const LogLine& line, std::string_view text) {
    const std::string name = MemberOf(text, "event");
    ++run_->events;
    if (!name.empty() && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") == std::string::npos) {
        event_names_.insert(name);
    }
    chinese_ = chinese_ || HasChinese(text);
    task_.sent = true;
    if (task_.kind == TaskKind::Key) {
        task_.custom = MemberOf(text, "custom");
        task_.has_custom = name == "key-pressed";
    } else if (task_.kind == TaskKind::Recording) {
        task_.error = NumberMemberOf(text, "error", NumberMemberOf(text, "score"));
        task_.lost_rate = RateOf(text);
    } else if (name == "removed") {
        task_.reason = MemberOf(text, "info");
    } else if (name == "device-inited") {
        std::vector<Receiver> ready;
        const std::size_t begin = text.find("\"avaliable-device\" :");
        const std::string_view list =
            begin == std::string_view::npos ? "" : text.substr(begin, text.find(']', begin) - begin);
        for (std::size_t i = 0; i < kReceivers; ++i) {
            const auto receiver = static_cast<Receiver>(i);
            if (list.find("\"" + std::string(NameOf(receiver)) + "\"") != std::string_view::npos) {
                ready.push_back(receiver);
            }
        }
        task_.ready = ready;
        if (task_.still_bad) {
            --run_->events;  // the clock makes these
        } else if (task_.kind == TaskKind::Command && task_.is_init) {
            AddWait(place_, line.at.time,
                    "logged 60 x" + std::to_string(++run_->inits) +
                        " IpcHandler::UpdateDeviceInfoForTrackwire");
        } else if (task_.changed) {
            AddWait(place_, line.at.time,
                    "logged 60 x" + std::to_string(++run_->changes) + " IpcHandler::OnVoteDeckStatusChanged");
        }
        task_.done = true;
    }
}

std::string LessonMaker::RateOf(std::string_view styled) {
    const std::size_t at = styled.find("\"lost_package_rate\" : ");
    if (at == std::string_view::npos) {
        return {};
    }
    std::string_view rate = styled.substr(at + 22);
    const std::string number(rate.substr(0, rate.find_first_not_of("0123456789.e+-")));
    return IsNumber(number) ? number : std::string();
}

std::vector<Receiver> LessonMaker::Chosen() const {
    switch (group_) {
    case 0:
        return {Receiver::TQ1, Receiver::RV1, Receiver::LW};
    case 1:
        return {Receiver::TQ2};
    default:
        return {Receiver::TQ1, Receiver::RV1, Receiver::LW, Receiver::TQ2};
    }
}

void LessonMaker::MakeRequest(const std::string& file, const std::string& engine, bool timed) {
    SentRequest& request = requests_[file];
    if (request.place != 0 && !request.done) {
        Note("two recordings had one file name: the answer to the first is taken for one to the second",
             TimeText(task_.time));
    }
    request = SentRequest();
    request.engine = engine;
    request.number = ++numbers_[engine];
    request.place = task_.turn;
    request.timed = timed;
    task_.request_file = file;
}

}  // namespace vdipc::log
