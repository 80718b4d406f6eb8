#include "tools/vdlesson/Player.h"

#include "tools/common/Hex.h"
#include "tools/common/WideText.h"
#include "tools/vdlesson/Transcript.h"
#include "vdipc/client/Connection.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace vdipc::tools {

namespace {

constexpr double kTurnPatience = 30.0;

/// Whether there is such a pipe, held by a client or free. Opens nothing.
bool IsPipeServed() {
    return WaitNamedPipeA(client::PipeName().c_str(), 1) != FALSE || GetLastError() == ERROR_SEM_TIMEOUT;
}

}  // namespace

bool Fits(const Json::Value& value, const Json::Value& pattern) {
    if (pattern.isObject()) {
        if (!value.isObject()) {
            return false;
        }
        const std::vector<std::string> names = pattern.getMemberNames();
        return std::all_of(names.begin(), names.end(), [&value, &pattern](const std::string& name) {
            return value.isMember(name) && Fits(value[name], pattern[name]);
        });
    }
    return (pattern.isString() && pattern.asString() == "*") || value == pattern;
}

Player::Player(const Lesson& lesson, PlayerOptions options)
    : lesson_(lesson), options_(std::move(options)), random_(options_.seed),
      begin_(std::chrono::steady_clock::now()) {
    sends_bytes_ = std::any_of(lesson.steps.begin(), lesson.steps.end(), [](const Step& step) {
        return step.kind == Step::Kind::ClientMessage || step.kind == Step::Kind::ClientBytes;
    });
}

Player::~Player() = default;

void Player::Play() {
    Tell("SIMULATED lesson: " + lesson_.title);
    Tell("seed " + std::to_string(options_.seed) + ", files in " + Utf8FromWide(options_.directory));
    for (const Step& step : lesson_.steps) {
        PlayStep(step);
    }
    CheckNothingLeft();
    Tell("The lesson is over: " + std::to_string(checked_) +
         " events checked, none missing, none left over.");
}

void Player::PlayStep(const Step& step) {
    if (step.at >= 0.0) {
        WaitUntil(step.at);
    } else if (step.after >= 0.0) {
        WaitUntil(Now() + step.after);
    }
    try {
        switch (step.kind) {
        case Step::Kind::Say:
            Tell("--- " + step.text);
            break;
        case Step::Kind::HostStart:
        case Step::Kind::HostAgain:
            StartHost(step.kind == Step::Kind::HostAgain);
            break;
        case Step::Kind::HostEnd:
        case Step::Kind::HostStop:
            EndHost(step);
            break;
        case Step::Kind::HostGone:
        case Step::Kind::HostKill:
            LoseHost(step);
            break;
        case Step::Kind::ClientStart:
            StartClient();
            break;
        case Step::Kind::ClientKill:
            KillClient();
            break;
        case Step::Kind::ClientSend:
            Send(step.text);
            break;
        case Step::Kind::ClientMessage: {
            const std::size_t before = CountTurns();
            const std::string shown = "a message " + CompactJson(Json::Value(step.text));
            SendBytes(client::JsonFrameBytes(step.text), shown);
            WaitForTurn(before, shown);
            break;
        }
        case Step::Kind::ClientBytes:
            SendBytes(step.text, "bytes " + HexOf(step.text));
            break;
        case Step::Kind::Classroom:
            MoveClassroom(step);
            break;
        case Step::Kind::Logged:
            WaitForLog(step);
            break;
        case Step::Kind::Expect:
            Expect(step);
            break;
        case Step::Kind::None:
            ExpectNone(step);
            break;
        case Step::Kind::Ignore:
            ignored_.insert(step.event);
            break;
        case Step::Kind::Answers:
            PlayAnswers(step);
            break;
        case Step::Kind::Speaks:
            PlaySpeaks(step);
            break;
        case Step::Kind::Shows:
            CheckShows(step);
            break;
        case Step::Kind::State:
            CheckState(step);
            break;
        }
    } catch (const std::exception& error) {
        throw LessonFailure("line " + std::to_string(step.line) + ": " + error.what() + StationHint());
    }
}

std::string Player::StationHint() {
    const std::filesystem::path state = std::filesystem::path(options_.directory) / L"rv2.state";
    if (host_ == nullptr || lesson_.station != "up" || ReadWholeFile(state.wstring()) != "up" ||
        CountLogged("rv2.0 init socket") > 0) {
        return {};
    }
    // Each question has a line of its own, and so has its answer.
    const std::size_t answers = CountLogged("rv2.0 usb not connected") + CountLogged("rv2.0 power off");
    const bool waits = CountLogged("VoteDeckObject_RV2::Initialize:") > 2 * answers;
    if (answers == 0 && !waits) {
        return {};
    }
    return std::string(". The base station is up, and its script, rv2.vbs beside the host, ") +
           (waits ? "hasn't answered" : "doesn't say so") +
           ". Windows' wscript.exe has to run it: is VBScript switched off, or is there a blank in the "
           "host's "
           "path? A plain Wine can't: cmake/wine-run can";
}

void Player::StartHost(bool again) {
    // The lesson's client would find that host, and move it instead of the lesson's own.
    if (IsPipeServed()) {
        throw LessonFailure(
            "a host serves the pipe already, and only one can. End it first: \"quit\" in vdclient, or "
            "Ctrl-C in its console");
    }
    const std::filesystem::path directory(options_.directory);
    const bool fresh = !again || !started_;
    if (fresh) {
        PrepareStage(options_.binaries, options_.directory);
        std::filesystem::remove(directory / L"devices.json");
        std::filesystem::remove(directory / L"vote_deck.conf");
        if (!lesson_.devices.empty()) {
            std::ofstream(directory / L"devices.json", std::ios::binary) << lesson_.devices;
        }
    }
    // The log is this lesson's: what a former one left would be read as its beginning.
    for (std::wstring log; !started_ && !(log = FindLogFile(options_.directory)).empty();) {
        std::filesystem::remove(std::filesystem::path(log));
    }
    if (fresh) {
        const std::lock_guard lock(mutex_);
        client_lines_.close();
        client_lines_.open(directory / L"client.jsonl", std::ios::binary | std::ios::trunc);
    }
    started_ = true;
    log_.clear();
    logged_.clear();
    log_file_ = FindLogFile(options_.directory);
    log_at_ = log_file_.empty() ? 0 : std::filesystem::file_size(std::filesystem::path(log_file_));
    if (!lesson_.config.empty()) {
        std::ofstream(directory / L"vote_deck.conf", std::ios::binary) << lesson_.config;
    }
    if (!lesson_.channel.empty() && channel_ == nullptr) {
        channel_ = std::make_unique<ChannelInRegistry>(lesson_.channel);
    }
    HostOptions host;
    host.directory = options_.directory;
    host.environment["CLASSROOM_STATION"] = lesson_.station;
    host.environment["CLASSROOM_PLUGGED"] = lesson_.plugged;
    host.environment["CLASSROOM_SEED"] = std::to_string(options_.seed);
    host.on_output = [this](const std::string& line) {
        if (options_.verbose) {
            Tell("host: " + line);
        }
    };
    host_ = std::make_unique<Host>(host);
    Tell("The host has started, and VDIPC.dll waits for a client.");
}

void Player::EndHost(const Step& step) {
    CheckMisuse();
    if (step.kind == Step::Kind::HostStop) {
        host_->TheProcess().CloseInput();
    }
    if (!host_->WaitForEnd(static_cast<std::uint32_t>(step.seconds * 1000.0))) {
        throw LessonFailure("the host has not ended");
    }
    if (host_->TheProcess().ExitCode() != 0) {
        throw LessonFailure("the host ended with exit code " +
                            std::to_string(host_->TheProcess().ExitCode()));
    }
    HostIsGone();
    Tell("The host has stopped cleanly.");
}

void Player::LoseHost(const Step& step) {
    if (step.kind == Step::Kind::HostKill) {
        host_->TheProcess().Kill();
    } else {
        try {
            if (!host_->WaitForEnd(static_cast<std::uint32_t>(step.seconds * 1000.0))) {
                throw LessonFailure("the host goes on");
            }
        } catch (const HungAtItsEnd&) {
            host_->TheProcess().Kill();  // it has said that it terminates
        }
    }
    host_->TheProcess().Wait(10000);
    HostIsGone();
    Tell(step.kind == Step::Kind::HostKill ? "The host's process has been killed."
                                           : "The host's process has ended.");
}

void Player::HostIsGone() {
    host_.reset();
    missing_client_ = true;
    client_.reset();
}

void Player::StartClient() {
    ProcessOptions process;
    process.executable = options_.binaries + L"vdclient.exe";
    process.arguments = {"--timeout", "30000"};
    if (sends_bytes_) {
        process.arguments.emplace_back("--raw");
    }
    process.on_output = [this](const std::string& line) { OnClientLine(line); };
    client_ = std::make_unique<Process>(process);
    Tell("A client (process " + std::to_string(client_->Id()) + ") connects.");
}

void Player::KillClient() {
    client_->Kill();
    client_->Wait(10000);
    Tell("The client's process has been killed.");
}

void Player::Send(const std::string& json) {
    const std::size_t before = CountTurns();
    if (sends_bytes_) {
        SendBytes(client::JsonFrameBytes(json), json);
    } else if (client_ == nullptr || !client_->WriteLine(json)) {
        throw LessonFailure("there is no client to send " + json);
    } else {
        Tell("teacher: " + json);
    }
    WaitForTurn(before, json);
}

void Player::SendBytes(const std::string& bytes, const std::string& shown) {
    if (client_ == nullptr || !client_->WriteLine(HexOf(bytes)) || !client_->WriteLine("")) {
        throw LessonFailure("there is no client to send " + shown);
    }
    Tell("teacher: " + shown);
}

/// The library logs a message at the beginning of the task that carries it out, so whatever a pupil does from here on comes
/// after it.
void Player::WaitForTurn(std::size_t before, const std::string& shown) {
    const double deadline = Now() + kTurnPatience;
    while (CountTurns() <= before) {
        if (Now() > deadline) {
            throw LessonFailure("the library has not taken the command " + shown);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void Player::MoveClassroom(const Step& step) {
    const double deadline = Now() + step.seconds;
    for (;;) {
        std::string refusal = "nobody hears " + CompactJson(step.json);
        try {
            const Json::Value answer = host_->Classroom().Do(step.json);
            if (step.seconds <= 0.0 || answer["callbacks"].asInt() + answer["notices"].asInt() > 0) {
                return;
            }
        } catch (const std::runtime_error& error) {
            refusal = error.what();
        }
        if (Now() > deadline) {
            throw LessonFailure(refusal);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

std::size_t Player::CountLogged(const std::string& text) {
    if (log_file_.empty()) {
        log_file_ = FindLogFile(options_.directory);
    }
    std::ifstream file(std::filesystem::path(log_file_), std::ios::binary);
    if (file.seekg(static_cast<std::streamoff>(log_at_))) {
        const std::string more{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        log_at_ += more.size();
        log_ += more;
    }
    auto& [from, count] = logged_[text];
    for (std::size_t at = log_.find(text, from); at != std::string::npos; at = log_.find(text, from)) {
        from = at + text.size();
        ++count;
    }
    return count;
}

void Player::WaitForLog(const Step& step) {
    const double deadline = Now() + step.seconds;
    const auto wanted = static_cast<std::size_t>(step.count);
    std::size_t count = 0;
    while ((count = CountLogged(step.text)) < wanted) {
        if (Now() > deadline) {
            throw LessonFailure("the log holds \"" + step.text + "\" " + std::to_string(count) +
                                " times, not " + std::to_string(wanted));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void Player::OnClientLine(const std::string& line) {
    Event event;
    event.time = Now();
    try {
        event.value = ParseJsonText(line);
    } catch (const std::runtime_error&) {
        event.value["event"] = line;
    }
    if (options_.verbose) {
        Tell("event: " + line);
    }
    const std::lock_guard lock(mutex_);
    client_lines_ << line << std::endl;
    events_.push_back(std::move(event));
    changed_.notify_all();
}

bool Player::Take(const std::string& name, const Json::Value& pattern, double seconds, Event& event) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                               std::chrono::duration<double>(seconds));
    std::unique_lock lock(mutex_);
    for (;;) {
        const auto found =
            std::find_if(events_.begin(), events_.end(), [&name, &pattern](const Event& candidate) {
                return candidate.value["event"] == name && Fits(candidate.value, pattern);
            });
        if (found != events_.end()) {
            event = *found;
            events_.erase(found);
            ++checked_;
            return true;
        }
        if (changed_.wait_until(lock, deadline) == std::cv_status::timeout) {
            return false;
        }
    }
}

void Player::Expect(const Step& step) {
    const double deadline = Now() + step.seconds;
    Event event;
    for (int i = 0; i < step.count; ++i) {
        if (!Take(step.event, step.json, std::max(0.0, deadline - Now()), event)) {
            throw LessonFailure("missing: event \"" + step.event + "\" " + CompactJson(step.json) +
                                ", number " + std::to_string(i + 1) + " of " + std::to_string(step.count));
        }
    }
    Tell("  " + (step.count == 1 ? DescribeEvent(event.value)
                                 : step.event + ", " + std::to_string(step.count) + " times"));
}

void Player::ExpectNone(const Step& step) {
    const std::lock_guard lock(mutex_);
    for (const Event& event : events_) {
        if (event.value["event"] == step.event && Fits(event.value, step.json)) {
            throw LessonFailure("an event came that must not: " + CompactJson(event.value));
        }
    }
}

void Player::PlayAnswers(const Step& step) {
    std::vector<Press> presses;
    std::map<int, std::size_t> chosen;
    std::uniform_real_distribution<double> moment(0.0, step.seconds);
    for (int keypad = step.first; keypad <= step.last; ++keypad) {
        const std::size_t choice = static_cast<std::size_t>(random_()) % step.choices.size();
        chosen[keypad] = choice;
        const double start = moment(random_) * 0.8;
        const auto& keys = step.choices[choice].keys;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const double part =
                step.seconds * 0.2 * static_cast<double>(i) / static_cast<double>(keys.size());
            presses.push_back({start + part, keypad, choice, keys[i]});
        }
    }
    std::stable_sort(presses.begin(), presses.end(),
                     [](const Press& left, const Press& right) { return left.time < right.time; });
    const double begin = Now();
    for (const Press& press : presses) {
        WaitUntil(begin + press.time);
        Json::Value action;
        action["do"] = "key";
        action["kind"] = step.receiver;
        action["keypad"] = press.keypad;
        action["key"] = press.key;
        host_->Classroom().Do(action);
    }
    AnswerTable table(step.custom);
    for (const auto& [keypad, choice] : chosen) {
        for (const std::string& answer : step.choices[choice].answers) {
            Json::Value pattern;
            pattern["device"] = std::to_string(keypad);
            pattern["custom"] = step.custom;
            pattern["key"] = answer;
            Event event;
            if (!Take("key-pressed", pattern, 20.0, event)) {
                throw LessonFailure("missing: event \"key-pressed\" " + CompactJson(pattern));
            }
            table.Add(keypad, event.time - begin, answer);
        }
    }
    for (const std::string& row : table.Rows()) {
        Tell(row);
    }
}

void Player::PlaySpeaks(const Step& step) {
    const double begin = Now();
    const int count = step.last - step.first + 1;
    for (int keypad = step.first; keypad <= step.last; ++keypad) {
        WaitUntil(begin + step.seconds * (keypad - step.first) / count);
        Json::Value action = step.json;
        action["do"] = "audio";
        action["kind"] = step.receiver;
        action["keypad"] = keypad;
        host_->Classroom().Do(action);
    }
    for (int keypad = step.first; keypad <= step.last; ++keypad) {
        Json::Value pattern;
        pattern["device"] = std::to_string(keypad);
        pattern["custom"] = step.custom;
        Event event;
        if (!Take(step.event, pattern, 20.0, event)) {
            throw LessonFailure("missing: event \"" + step.event + "\" " + CompactJson(pattern));
        }
        Tell("  pupil " + std::to_string(keypad) + " after " + Seconds(event.time - begin) + ": " +
             DescribeEvent(event.value));
    }
}

void Player::CheckShows(const Step& step) {
    const auto rows_of = [this, &step](int keypad) {
        const Json::Value state = host_->Classroom().State();
        return DisplayRows(state, step.receiver, keypad);
    };
    for (int keypad = step.first; keypad <= step.last; ++keypad) {
        const double deadline = Now() + 20.0;
        std::vector<std::string> rows = rows_of(keypad);
        while (rows != step.rows && Now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            rows = rows_of(keypad);
        }
        if (rows != step.rows) {
            std::string shown;
            for (const std::string& row : rows) {
                shown += " '" + row + "'";
            }
            throw LessonFailure("keypad " + std::to_string(keypad) + " shows" + shown);
        }
    }
    Tell("  on the displays: '" + step.rows[0] + "' '" + step.rows[1] + "' '" + step.rows[2] + "'");
}

void Player::CheckState(const Step& step) {
    const double deadline = Now() + step.seconds;
    while (!Fits(host_->Classroom().State(), step.json)) {
        if (Now() > deadline) {
            throw LessonFailure("the classroom's state doesn't hold " + CompactJson(step.json));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    Tell("  in the classroom: " + CompactJson(step.json));
}

void Player::CheckNothingLeft() {
    const std::lock_guard lock(mutex_);
    for (const Event& event : events_) {
        if (ignored_.count(event.value["event"].asString()) == 0) {
            throw LessonFailure("an event came that nothing in the lesson accounts for: " +
                                CompactJson(event.value));
        }
    }
}

void Player::CheckMisuse() {
    // The host may be gone by now, and its classroom with it: then its last words are on standard error.
    try {
        const Json::Value misuse = host_->Classroom().State()["misuse"];
        if (!misuse.empty()) {
            throw LessonFailure("a closed library was misused: " + CompactJson(misuse));
        }
    } catch (const LessonFailure&) {
        throw;
    } catch (const std::runtime_error&) {
        Tell("(the classroom has gone with its host)");
    }
}

void Player::WaitUntil(double time) {
    std::this_thread::sleep_until(begin_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                               std::chrono::duration<double>(time)));
}

double Player::Now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

void Player::Tell(const std::string& words) {
    std::printf("[%7.3f] %s\n", Now(), words.c_str());
    std::fflush(stdout);
}

}  // namespace vdipc::tools
