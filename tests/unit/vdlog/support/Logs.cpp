#include "support/Logs.h"

#include "tools/vdlog/Commands.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <utility>

namespace vdipc::log::test {
namespace {

class Collector final : public LineSink {
public:
    void OnLine(const LogLine& line) override {
        seen.push_back({line.at.line, line.at.time, std::string(line.level), line.thread,
                        std::string(line.function), line.in_lambda, std::string(line.text)});
    }
    std::vector<SeenLine> seen;
};

}  // namespace

LogText& LogText::Line(const std::string& message, unsigned int thread, const char* level) {
    std::array<char, 80> prefix{};
    const std::int64_t seconds = milliseconds_ / 1000;
    std::snprintf(prefix.data(), prefix.size(), "[2026-11-22 %02d:%02d:%02d.%03d][%s][%05x] ",
                  static_cast<int>(10 + seconds / 3600), static_cast<int>(seconds / 60 % 60),
                  static_cast<int>(seconds % 60), static_cast<int>(milliseconds_ % 1000), level, thread);
    text_ += prefix.data() + message + "\r\n";
    ++milliseconds_;
    return *this;
}

LogText& LogText::Pass(std::int64_t milliseconds) {
    milliseconds_ += milliseconds;
    return *this;
}

LogText& LogText::Raw(const std::string& bytes) {
    text_ += bytes;
    return *this;
}

LogText& LogText::Start() {
    Line("IpcHandler::Initialize:19 VERSION:2.0.54", 0x570, "Trace");
    return Line("IpcHandler::TaskLoop:110", kTaskThread, "Trace");
}

LogText& LogText::Client() {
    Line("PipeServer::Connect:30 Connect begin", kTaskThread, "Trace");
    Line("PipeServer::Connect:57 Connect ConnectNamedPipe success, create PipeIO", kTaskThread, "Info");
    return Line("PipeServer::Connect:62 Connect end", kTaskThread, "Trace");
}

LogText& LogText::LoseClient() {
    Line("PipeIO::ReadThread:80 Read type failed", 0x2cc, "Warn");
    return Line("PipeIO::ReadThread:108 Read data error, terminate ReadThread", 0x2cc, "Warn");
}

LogText& LogText::Command(const std::string& json, const char* call) {
    Line("PipeServer::OnPipeDataReceived:61 msg received:" + json, 0x2cc);
    Line("IpcHandler::RouteMessage:78 task begin msg=" + json);
    Line("IpcHandler::SendTrackwire:27", kTaskThread, "Trace");
    return Line(std::string("IpcHandler::") + call + ":139", kTaskThread, "Trace");
}

LogText& LogText::Event(const std::string& members) {
    return Line("PipeServer::SendMsg:71 {\n" + members + "\n}\n", kTaskThread, "Trace");
}

LogText& LogText::Init(int group, const std::string& ready) {
    static constexpr const char* kGroups[] = {"non-audio", "audio", "any"};
    Command(std::string(R"({"command":"init","preferred-device-type":")") + kGroups[group] + "\"}",
            "CallInit");
    Line("IpcHandler::CallInit:141 preferred_device_type=" + std::to_string(group));
    for (const char* const name : {"TQ", "TQ", "TQ", "RV2", "TQ"}) {
        Line(std::string("VoteDeckObject_") + name + "::Uninitialize:72", kTaskThread, "Trace");
    }
    return Event("\t\"avaliable-device\" : \n\t[\n\t\t" + ready +
                 "\n\t],\n\t\"event\" : \"device-inited\",\n\t\"id\" : \"1\"");
}

LogText& LogText::Ask(const std::string& json, const std::string& device,
                      const std::vector<std::string>& logged_on) {
    Command(json, "CallAsk");
    for (int block = 0; block < 5; ++block) {
        Line("VoteDeckObjectBase::HandleAsk:30", kTaskThread, "Trace");
        Line("VoteDeckObjectBase::StartNewQuestionRecord:49 cover question record for device " + device);
        for (const std::string& keypad : block == 3 ? logged_on : std::vector<std::string>()) {
            Line("VoteDeckObjectBase::StartNewQuestionRecord:57 cover question record for device " + keypad);
        }
        Line(device == "0"
                 ? "VoteDeckObjectBase::EraseLastAnswer:105 clear last_answer_map_"
                 : "VoteDeckObjectBase::EraseLastAnswer:109 erase last_answer_map_[" + device + "]");
    }
    return *this;
}

LogText& LogText::StationLogon(const std::string& device, bool on) {
    const std::string values = "ushDeviceId=" + device + ", bConnect=" + (on ? "true" : "false");
    Line("VoteDeckObject_RV2::OnKeypadConnect:52 " + values, 0x300, "Info");
    return Line("VoteDeckObject_RV2::OnKeypadConnect::<lambda>::operator ():54 task begin " + values);
}

LogText& LogText::StationKey(const std::string& device, int key) {
    const std::string values = "ushDeviceId=" + device + ", enKeyValue=" + std::to_string(key);
    Line("VoteDeckObject_RV2::OnKeypadEvent:76 " + values, 0x300, "Info");
    return Line("VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():78 task begin " + values);
}

LogText& LogText::Found(const std::string& device, bool found) {
    return Line("VoteDeckObjectBase::FindLastQuestion:116 device=" + device +
                " found=" + (found ? "true" : "false"));
}

LogText& LogText::Finished(const std::string& device, bool finished) {
    return Line("VoteDeckObjectBase::IsLastAnswerFinished:131 device_id=" + device +
                ", answer_finished=" + (finished ? "true" : "false"));
}

LogText& LogText::Filtered(int type, int key, bool need_send) {
    Line("VoteDeckObjectBase::FilterKeyEvent:157 question_type=" + std::to_string(type) +
         ", enKeyValue=" + std::to_string(key));
    return Line(std::string("VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():84 need_send=") +
                (need_send ? "true" : "false"));
}

LogText& LogText::KeyEvent(const std::string& device, const std::string& key, const std::string& custom) {
    Line("VoteDeckObjectBase::SendEventKeyPressed:54 device=" + device, kTaskThread, "Trace");
    return Event("\t\"custom\" : \"" + custom + "\",\n\t\"device\" : \"" + device +
                 "\",\n\t\"event\" : \"key-pressed\",\n\t\"key\" : \"" + key + "\"");
}

std::string AskJson(const std::string& type, const std::string& custom, const std::string& device) {
    return R"({"command":"ask","device":")" + device + R"(","type":")" + type + R"(","custom":")" + custom +
           "\"}";
}

std::vector<SeenLine> LinesOf(const std::string& text, std::size_t piece) {
    Collector collector;
    LineReader reader(collector);
    for (std::size_t at = 0; at < text.size(); at += piece) {
        reader.Feed(text.data() + at, std::min(piece, text.size() - at));
    }
    reader.EndFile();
    return collector.seen;
}

Printed Vdlog(std::vector<std::string> arguments, const std::vector<std::string>& logs) {
    static std::atomic<int> count{0};
    std::random_device random;
    std::vector<std::filesystem::path> paths;
    for (const std::string& log : logs) {
        paths.push_back(std::filesystem::temp_directory_path() /
                        ("vdlog_test_" + std::to_string(random()) + "_" + std::to_string(++count) + ".log"));
        std::ofstream(paths.back(), std::ios::binary) << log;
        arguments.push_back(paths.back().string());
    }
    const Printed printed = RunVdlog(arguments);
    for (const std::filesystem::path& path : paths) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    return printed;
}

Printed Vdlog(std::vector<std::string> arguments, const std::string& log) {
    return Vdlog(std::move(arguments), std::vector<std::string>{log});
}

Printed RunVdlog(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream error;
    const int code = RunProgram(arguments, out, error);
    return {code, out.str(), error.str()};
}

Folder::Folder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() / ("vdlog_folder_" + std::to_string(random()));
    std::filesystem::create_directory(path_);
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string Folder::Write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
    return Name(name);
}

void Folder::Append(const std::string& name, const std::string& text) const {
    std::ofstream(path_ / name, std::ios::binary | std::ios::app) << text;
}

std::string Folder::Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::size_t Folder::Files() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
}

}  // namespace vdipc::log::test
