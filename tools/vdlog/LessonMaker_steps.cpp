// What each task becomes in the lesson, and what is chosen where the log says too little.
#include "tools/vdlog/LessonMaker.h"

#include "tools/common/Hex.h"
#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <stdexcept>
#include <utility>

#include <json/json.h>

namespace vdipc::log {
namespace {

constexpr std::int64_t kShortestRecording = 3072;
constexpr std::int64_t kOpenSize = 6444;       // of a recording whose size the log lacks: 200 ms
constexpr std::int64_t kOpenShortSize = 3000;  // of one that was too short
constexpr std::size_t kLongestText = 16200;    // the library cuts a line at 16384 bytes

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Whether this answer ends the question for its keypad.
bool EndsQuestion(std::int64_t type) {
    return type == 0 || type == 1 || type == 2 || type == 4;
}

std::string KeyText(std::int64_t key) {
    static constexpr const char* kNames[] = {"A", "B", "C", "D", "T", "F", "T2", "F2", "G"};
    return key >= 1 && key <= 9 ? std::string("\"") + kNames[key - 1] + "\"" : std::to_string(key);
}

/// A frame with this text, as the pipe has it.
std::string FrameHex(std::string_view text) {
    std::string frame;
    for (const std::size_t field : {std::size_t{2018}, text.size(), std::size_t{2018}}) {
        for (int shift = 0; shift < 32; shift += 8) {
            frame.push_back(static_cast<char>((field >> shift) & 0xFF));
        }
    }
    return tools::HexOf(frame) + tools::HexOf(text);
}

/// Whether packages were lost at all.
bool IsLoss(const std::string& rate) {
    return rate.find_first_of("123456789") != std::string::npos;
}

bool IsOneLine(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

}  // namespace

LessonStep& LessonMaker::Add(const std::string& text) {
    LessonStep step;
    step.turn = task_.turn;
    step.heard = std::min(task_.heard.place, task_.turn);
    step.time = task_.time;
    step.text = text;
    run_->steps.push_back(std::move(step));
    return run_->steps.back();
}

void LessonMaker::AddForKeypads(Receiver receiver, const std::string& what, const std::string& more) {
    std::vector<std::string> before;
    if (receiver != Receiver::RV2) {
        SetLink(before, receiver, true);
        uses_[IndexOf(receiver)] = true;
    }
    LessonStep& step = Add({});
    step.before = std::move(before);
    step.alike = "classroom 30 {\"do\":\"" + what + "\",\"kind\":\"" + NameOf(receiver) + "\",";
    step.behind = more + "}";
    step.keypad = task_.device;
}

/// A change of a receiver. The library looks at the station by its clock, too, ahead of the tasks that wait, so what came before
/// must have had its turn.
void LessonMaker::AwaitAll(LessonStep& step, std::uint64_t turns) {
    step.awaits_all = true;
    if (turns > run_->turns_awaited) {
        run_->turns_awaited = turns;
        step.before.insert(step.before.begin(), "logged 60 x" + std::to_string(turns) + " task begin");
    }
}

void LessonMaker::AddWait(LinePlace place, std::int64_t time, const std::string& text, bool timed) {
    run_->waits.push_back({place, time, text, timed});
}

// ---- commands -------------------------------------------------------------------------------------------------------

std::string LessonMaker::MessageText(const std::string& text) {
    if (text.size() > kLongestText) {
        Note("a message that the log has cut at the length of its lines is sent as far as it is there",
             TimeText(task_.time));
    }
    std::string sent = text;
    if (text_.Redacts()) {
        sent = text_.Message(text);
        if (sent.empty()) {
            sent = text.empty() ? text : text_.Private(text);
        }
    }
    if (!sent.empty() && sent.front() == '{' && sent.back() != ' ' && IsOneLine(sent) && IsUtf8(sent)) {
        return "client " + sent;
    }
    return IsUtf8(sent) ? "client message " + JsonString(sent) : "client bytes " + FrameHex(sent);
}

void LessonMaker::FinishCommand() {
    const Task& task = task_;
    const std::string text = MessageText(task.command.text);
    if (task.is_quit) {
        // It makes no event, and what is behind it comes before the host's end.
        run_->quit = text;
        --run_->turns;
        return;
    }
    std::vector<std::string> before;
    if (task.is_init) {
        for (const Receiver receiver : Chosen()) {
            const std::size_t index = IndexOf(receiver);
            if (task.usb_up[index] >= 0) {
                SetLink(before, receiver, task.usb_up[index] == 1);
            }
            if (task.infos[index]) {
                SetInfo(before, receiver, *task.infos[index]);
            }
        }
        if (!task.station_state.empty()) {
            SetStation(before, task.station_state);
        }
    }
    Add(text).before = std::move(before);
}

// ---- receivers ------------------------------------------------------------------------------------------------------

std::string LessonMaker::StationText(const std::string& state, bool notice) const {
    return std::string("{\"do\":\"station\",\"state\":\"") + (state == "refused" ? "up" : state) +
           "\",\"socket\":\"" + (state == "refused" ? "refuse" : "ok") +
           "\",\"notice\":" + (notice ? "true" : "false") + "}";
}

void LessonMaker::SetStation(std::vector<std::string>& before, const std::string& state) {
    if (station_ != state) {
        before.push_back("classroom " + StationText(state, false));
        station_ = state;
    }
}

void LessonMaker::SetLink(std::vector<std::string>& before, Receiver receiver, bool up) {
    bool& link = link_[IndexOf(receiver)];
    if (link != up) {
        before.push_back(std::string("classroom {\"do\":\"link\",\"kind\":\"") + NameOf(receiver) +
                         "\",\"state\":\"" + (up ? "up" : "down") + "\",\"callback\":false}");
        link = up;
    }
}

void LessonMaker::SetInfo(std::vector<std::string>& before, Receiver receiver, const std::string& info) {
    // A TQ2 that was told another channel tells of that from then on.
    std::string& known = info_[IndexOf(receiver)];
    if (known == info && receiver != Receiver::TQ2) {
        return;
    }
    known = info;
    std::string text = info;
    if (text_.Redacts()) {
        text = text_.Message(info);
        text = text.empty() ? text_.Private(info) : text;
    }
    before.push_back(
        std::string("classroom {\"do\":\"device-info\",\"kind\":\"") + NameOf(receiver) + "\"," +
        (IsUtf8(text) ? "\"text\":" + JsonString(text) : "\"hex\":\"" + tools::HexOf(text) + "\"") + "}");
}

/// A look at the station that changed something.
void LessonMaker::FinishCheck() {
    if (task_.late) {
        // Its script gave no answer in time, and the task thread was busy with it.
        LessonStep& step = Add("classroom 30 {\"do\":\"notice\",\"what\":\"nodes\"}");
        step.before.push_back("classroom {\"do\":\"station\",\"state\":\"hang\",\"notice\":false}");
        AwaitAll(step, run_->turns);
        step.time -= 2000;
        AddWait(task_.turn, task_.time,
                "logged 30 x" + std::to_string(++run_->late_looks) + " CheckStatus timeout\nclassroom " +
                    StationText(station_, false));
        return;
    }
    if (!task_.changed) {
        return;
    }
    std::string state = task_.station_state;
    if (state.empty() && task_.removed) {
        state = task_.reason == "not-connected" ? "no-usb" : "no-power";
    } else if (state.empty()) {
        state = task_.status == 0   ? "no-power"
                : task_.status == 1 ? "no-usb"
                                    : (station_ == "no-power" ? "no-usb" : "no-power");
        if (task_.status != 0 && task_.status != 1) {
            Note("whether the station had no power or no USB link isn't in the log; the other than before is "
                 "taken",
                 TimeText(task_.time));
        }
    }
    station_ = state;
    AwaitAll(Add("classroom 30 " + StationText(state, true)), run_->turns);
}

void LessonMaker::FinishLink() {
    const std::vector<Receiver> after = task_.ready.value_or(ready_);
    const std::vector<Receiver> chosen = Chosen();
    const auto holds = [](const std::vector<Receiver>& list, Receiver receiver) {
        return std::find(list.begin(), list.end(), receiver) != list.end();
    };
    Receiver receiver = task_.usb;
    for (const Receiver candidate : chosen) {
        if (holds(ready_, candidate) != holds(after, candidate)) {
            receiver = candidate;
        }
    }
    if (receiver == Receiver::None) {
        // Nothing has changed: one that was up already, or one that was down already.
        std::vector<Receiver> candidates;
        std::copy_if(chosen.begin(), chosen.end(), std::back_inserter(candidates),
                     [&](Receiver candidate) { return holds(after, candidate) == task_.arrived; });
        for (const Receiver candidate : candidates) {
            if (task_.info && info_[IndexOf(candidate)] == *task_.info) {
                candidates = {candidate};
                break;
            }
        }
        receiver = candidates.empty() ? chosen.front() : candidates.front();
        if (candidates.size() != 1) {
            Note("which USB receiver's link it was isn't in the log, and changes nothing",
                 TimeText(task_.time));
        }
    }
    std::vector<std::string> before;
    if (task_.connected) {
        SetLink(before, receiver, task_.arrived);
        if (task_.info) {
            SetInfo(before, receiver, *task_.info);
        }
    }
    uses_[IndexOf(receiver)] = true;
    LessonStep& step = Add(std::string("classroom 30 {\"do\":\"link\",\"kind\":\"") + NameOf(receiver) +
                           "\",\"connected\":" + (task_.connected ? "true" : "false") + "}");
    step.before = std::move(before);
    AwaitAll(step, run_->turns - 1);
}

// ---- keypads --------------------------------------------------------------------------------------------------------

/// Of the USB receivers that could have heard it, the one that fits best.
Receiver LessonMaker::ChooseUsb(const std::function<bool(Receiver)>& fits, const char* what) {
    const std::vector<Receiver> chosen = Chosen();
    std::vector<Receiver> candidates;
    std::copy_if(chosen.begin(), chosen.end(), std::back_inserter(candidates), fits);
    const bool none = candidates.empty();
    if (none) {
        candidates = chosen;
    }
    const auto narrow = [&](const auto& keep) {
        std::vector<Receiver> left;
        std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(left), keep);
        if (!left.empty()) {
            candidates = left;
        }
    };
    narrow([&](Receiver one) { return logged_on_[IndexOf(one)].contains(task_.device); });
    narrow([&](Receiver one) { return std::find(ready_.begin(), ready_.end(), one) != ready_.end(); });
    if (none) {
        Note(std::string("no receiver fits ") + what + "; one is taken, and other events may follow",
             "keypad " + text_.Device(task_.device) + " at " + TimeText(task_.time));
    } else if (candidates.size() > 1) {
        Note(std::string("several receivers fit ") + what + "; one is taken",
             "keypad " + text_.Device(task_.device) + " at " + TimeText(task_.time));
    }
    return candidates.front();
}

/// Whether the keypad's question at this receiver is one that leads to what the task did.
bool LessonMaker::HasFitting(Receiver receiver) const {
    const auto& questions = asked_[IndexOf(receiver)];
    const auto found = questions.find(task_.device);
    if (task_.found == 0) {
        return found == questions.end();
    }
    if (found == questions.end()) {
        return false;
    }
    const Asked& asked = found->second;
    if (task_.has_custom && IsAscii(task_.custom) && IsAscii(asked.custom) && task_.custom != asked.custom) {
        return false;
    }
    if (task_.kind == TaskKind::Recording) {
        return asked.open == task_.asked;
    }
    if (task_.finished < 0) {
        return !asked.open;
    }
    return asked.open && asked.answered == (task_.finished == 1) &&
           (task_.type < 0 || asked.type == task_.type);
}

void LessonMaker::FinishKey() {
    Receiver receiver = task_.station ? Receiver::RV2 : task_.usb;
    if (receiver == Receiver::None) {
        receiver = ChooseUsb(
            [this](Receiver candidate) {
                // RV1 says so at each press, and LW when it brings a keypad back.
                return candidate != Receiver::RV1 &&
                       !(candidate == Receiver::LW && task_.key == 9 && dropped_.contains(task_.device)) &&
                       HasFitting(candidate);
            },
            "a press");
    }
    std::string more = ",\"key\":" + KeyText(task_.key);
    if (task_.times != 1) {
        more += ",\"times\":" + std::to_string(task_.times);
    }
    if (task_.received != 1) {
        more += ",\"recv\":" + std::to_string(task_.received);
    }
    AddForKeypads(receiver, "key", more);
    if (task_.brought_back) {
        TakeOverForLW(task_.device);
    }
    auto& questions = asked_[IndexOf(receiver)];
    if (const auto asked = questions.find(task_.device);
        asked != questions.end() && task_.need_send == 1 && EndsQuestion(task_.type)) {
        asked->second.answered = true;
    }
}

/// A keypad that logs on at LW takes the question of all along.
void LessonMaker::TakeOverForLW(const std::string& device) {
    dropped_.erase(device);
    auto& questions = asked_[IndexOf(Receiver::LW)];
    const auto all = questions.find("0");
    if (all == questions.end()) {
        return;
    }
    const Asked of_all = all->second;
    Asked& own = questions[device];
    own.answered = own.answered && own.custom == of_all.custom;
    own.open = true;
    own.type = of_all.type;
    own.custom = of_all.custom;
}

void LessonMaker::FinishMove() {
    const bool logon = task_.kind == TaskKind::Logon;
    Receiver receiver = task_.station ? Receiver::RV2 : task_.usb;
    if (receiver == Receiver::None) {
        // devices.json, which is written each time, says where it is new, or is missing now.
        Json::Value devices;
        if (task_.devices && ParseLessonJson(*task_.devices, devices) && devices.isObject()) {
            for (const Receiver candidate : Chosen()) {
                const Json::Value& list = devices[NameOf(candidate)];
                const bool now =
                    list.isArray() && std::any_of(list.begin(), list.end(), [this](const Json::Value& one) {
                        return one.isString() && one.asString() == task_.device;
                    });
                if (now == logon && logged_on_[IndexOf(candidate)].contains(task_.device) != now) {
                    receiver = candidate;
                }
            }
        }
    }
    if (receiver == Receiver::None) {
        receiver = ChooseUsb(
            [&](Receiver candidate) {
                return candidate != Receiver::TQ2 &&
                       (!task_.devices || logged_on_[IndexOf(candidate)].contains(task_.device) == logon);
            },
            logon ? "a logon" : "a logoff");
    }
    AddForKeypads(receiver, logon ? "connect" : "leave", {});
    if (receiver == Receiver::LW) {
        if (logon) {
            TakeOverForLW(task_.device);
        }
        dropped_.erase(task_.device);
    }
}

// ---- recordings and speech ------------------------------------------------------------------------------------------

std::string LessonMaker::RecordingText(const char* kind, bool valid) {
    std::string text = std::string("classroom 30 {\"do\":\"audio\",\"kind\":\"") + kind +
                       "\",\"keypad\":" + task_.device + ",\"make\":";
    std::int64_t size = task_.size;
    bool fill = false;
    bool error = false;
    if (task_.station && valid) {
        // What the station's own look at it came to.
        fill = task_.error == -201;
        error = task_.error == -202 || (task_.error == 0 && !task_.checked && size >= kShortestRecording);
        if (size < 0) {
            const bool too_short = task_.error == -203 || (task_.error == 0 && !task_.checked);
            size = too_short ? kOpenShortSize : kOpenSize;
            if (task_.error == 0 && !task_.checked) {
                Note("a recording was too short or came with an error, and no event says which; it is made "
                     "too short",
                     "keypad " + task_.device + " at " + TimeText(task_.time));
            } else {
                Note("a recording whose size the log lacks has " + std::to_string(size) + " bytes",
                     "keypad " + task_.device + " at " + TimeText(task_.time));
            }
        }
    } else if (size < 0) {
        size = kOpenSize;
        Note("a recording whose size the log lacks has " + std::to_string(size) + " bytes",
             "keypad " + task_.device + " at " + TimeText(task_.time));
    }
    text += std::string(fill ? "\"fill\"" : "\"tone\"") + ",\"bytes\":" + std::to_string(size);
    text += error ? ",\"error\":true" : "";
    text += valid ? "" : ",\"valid\":false";
    if (!task_.station && IsLoss(task_.lost_rate)) {
        text += ",\"lost\":" + task_.lost_rate;
    }
    return text + "}";
}

void LessonMaker::FinishRecording() {
    Receiver receiver = task_.station ? Receiver::RV2 : task_.usb;
    if (receiver == Receiver::None) {
        receiver = ChooseUsb([this](Receiver candidate) { return HasFitting(candidate); }, "a recording");
    }
    std::vector<std::string> before;
    if (receiver != Receiver::RV2) {
        SetLink(before, receiver, true);
        uses_[IndexOf(receiver)] = true;
    }
    const std::string text = RecordingText(NameOf(receiver), true);
    LessonStep& step = Add(text);
    step.before = std::move(before);
    step.recorded = task_.device;
    if (const auto request = requests_.find(task_.request_file); request != requests_.end()) {
        request->second.step = run_->steps.size();
    }
}

void LessonMaker::FinishAnswer() {
    const std::string file = MemberOf(task_.request_id, "extra");
    const auto found = requests_.find(file);
    if (found == requests_.end()) {
        Note("an answer to a request that the log doesn't have is left out", TimeText(task_.time));
        return;
    }
    SentRequest& request = found->second;
    if (request.timed) {
        run_->windows.push_back({request.place, task_.heard.place});
        request.timed = false;
    }
    if (!request.done && request.engine == "general" && IsLoss(RateOf(task_.request_id))) {
        // The one request whose line doesn't say it.
        std::string& recording = run_->steps[request.step - 1].text;
        recording.insert(recording.size() - 1, ",\"lost\":" + RateOf(task_.request_id));
    }
    request.done = true;
    const bool again = request.offline != 0 && !task_.mismatch;
    const std::string engine = again ? "offline" : request.engine;
    const std::uint64_t number = again ? request.offline : request.number;
    std::string text = "classroom 30 {\"do\":\"speech-answer\",\"engine\":\"" + engine +
                       "\",\"request\":" + std::to_string(number);
    const auto add = [&](const char* name, const std::string& value) {
        if (!IsUtf8(value)) {
            Note("an answer's text that is no UTF-8 is replaced where it isn't", TimeText(task_.time));
        }
        const std::string message = text_.Redacts() ? text_.Message(value) : std::string();
        text += std::string(",\"") + name + "\":" +
                JsonString(!text_.Redacts()  ? value
                           : message.empty() ? text_.Private(value)
                                             : message);
    };
    if (task_.service == Service::General) {
        add("raw_result", task_.result);
    } else {
        text += ",\"error_code\":" + std::to_string(NumberIn(task_.error_code));
        add("result", task_.result);
        Json::Value score;
        if (task_.service == Service::Sentence && ParseLessonJson("[" + task_.score + "]", score) &&
            score.isArray() && score.size() == 1 && score[0].isNumeric() && IsUtf8(task_.score) &&
            IsOneLine(task_.score)) {
            text += ",\"score\":" + task_.score;
        }
    }
    Add(text + "}");
    std::size_t& former = answers_[{engine, number}];
    if (former != 0) {
        run_->steps[former - 1].keep = true;
    }
    former = run_->steps.size();
}

// ---- the lesson's head ----------------------------------------------------------------------------------------------

std::vector<std::string> LessonMaker::Notes() const {
    std::vector<std::string> lines;
    for (const std::string& words : note_order_) {
        const NoteEntry& note = notes_.at(words);
        lines.push_back(std::to_string(note.count) + " x " + words +
                        (note.example.empty()
                             ? std::string()
                             : std::string(note.count > 1 ? " (first: " : " (") + note.example + ")"));
    }
    return lines;
}

void LessonMaker::WriteHead(std::ostream& out, const std::vector<std::string>& files) {
    out << "# Made by vdlog lesson from";
    for (const std::string& file : files) {
        out << " " << text_.Shown(text_.Redacts() ? text_.Private(file) : file);
    }
    out << ",\n# " << TimeText(first_time_, true) << " to " << TimeText(last_time_, true)
        << ". vdlesson plays it; vdlog compare holds the two logs against each other.\n";
    const std::vector<std::string> notes = Notes();
    if (!notes.empty()) {
        out << "#\n# What the log leaves open:\n";
        for (const std::string& note : notes) {
            out << "# - " << note << "\n";
        }
    }
    if (text_.Redacts()) {
        out << "#\n# Texts are replaced by their lengths: the same events come, with those texts in them.\n";
    }
    if (chinese_) {
        out << "#\n# locale zh_CN.UTF-8\n";
    }
    out << "title    a log of " << TimeText(first_time_, true) << "\n";
    std::string plugged;
    for (const Receiver receiver : {Receiver::TQ1, Receiver::TQ2, Receiver::RV1, Receiver::LW}) {
        if (uses_[IndexOf(receiver)]) {
            plugged += (plugged.empty() ? "" : ",") + std::string(NameOf(receiver));
        }
    }
    if (!plugged.empty()) {
        out << "plugged  " << plugged << "\n";
    }
    if (uses_[IndexOf(Receiver::TQ2)] && !channel_.empty()) {
        out << "channel  " << channel_ << "\n";
    }
    if (!config_.empty()) {
        out << "config   " << config_ << "\n";
    }
    Json::Value devices;
    if (ParseLessonJson(devices_, devices)) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        const std::string text = Json::writeString(builder, devices);
        out << "devices  " << (text_.Redacts() ? text_.Message(text) : text) << "\n";
    }
    out << "\n";
    for (const std::string& name : event_names_) {
        out << "ignore   " << name << "\n";
    }
}

std::uint64_t LessonMaker::Write(std::ostream& out, const std::vector<std::string>& files) {
    const auto whole = [](const std::unique_ptr<LessonRun>& run) { return run->whole; };
    if (std::none_of(runs_.begin(), runs_.end(), whole)) {
        throw std::runtime_error(
            "no run of the library begins in this log, so what receivers and keypads were "
            "like isn't known; take the log from the host's start on");
    }
    WriteHead(out, files);
    std::vector<std::string> opening;
    std::vector<std::string> unused;
    opening.push_back("classroom {\"do\":\"speech\",\"engine\":\"all\",\"mode\":\"hand\"}");
    opening.push_back("classroom {\"do\":\"station\",\"announce\":false}");
    for (const Receiver receiver : {Receiver::TQ1, Receiver::TQ2, Receiver::RV1, Receiver::LW}) {
        if (uses_[IndexOf(receiver)]) {
            opening.push_back(std::string("classroom {\"do\":\"link\",\"kind\":\"") + NameOf(receiver) +
                              "\",\"announce\":false}");
        } else {
            unused.push_back(std::string("\"kind\":\"") + NameOf(receiver) + "\"");
        }
    }
    std::uint64_t steps = 0;
    bool first = true;
    for (const std::unique_ptr<LessonRun>& run : runs_) {
        if (run->whole) {
            steps += WriteLessonRun(out, *run, first, fast_, opening, unused);
            first = false;
        }
    }
    return steps;
}

}  // namespace vdipc::log
