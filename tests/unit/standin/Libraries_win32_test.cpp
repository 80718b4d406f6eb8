// The five stand-in libraries as they are: called like the closed ones, with the world moved over HTTP.
#include "unit/standin/support/Classroom.h"

#include "common/closed/Grundkit.h"
#include "common/closed/Trackwire.h"
#include "common/closed/ZVNSpeech.h"

#include <httplib.h>

#include <windows.h>

#include <dbt.h>
#include <shellapi.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

std::filesystem::path OwnDirectory() {
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).parent_path();
}

std::string ReadText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The classroom inside the libraries, which is one for the whole process.
class LibrariesTest : public testing::Test {
protected:
    LibrariesTest() {
        static httplib::Client* const client = [] {
            const std::filesystem::path port_file = OwnDirectory() / "unit_standin.port";
            std::filesystem::remove(port_file);
            _putenv_s("CLASSROOM_PORT_FILE", port_file.generic_string().c_str());
            InstallVoteDeckLogHandler(nullptr);
            auto* const made = new httplib::Client("127.0.0.1", std::stoi(ReadText(port_file)));
            made->set_read_timeout(60);
            return made;
        }();
        client_ = client;
        Do(R"([{"do":"reset-misuse"},{"do":"reset-saw"}])");
    }

    Json::Value Do(const std::string& action) {
        const auto answer = client_->Post("/do", action, "application/json");
        EXPECT_TRUE(answer && answer->status == 200) << (answer ? answer->body : "no answer");
        return answer ? Parse(answer->body) : Json::Value();
    }

    Json::Value State() { return Parse(client_->Get("/state")->body); }

    Words Misuses() {
        Words texts;
        const Json::Value state = State();
        for (const Json::Value& misuse : state["misuse"]) {
            texts.push_back(misuse["text"].asString());
        }
        return texts;
    }

private:
    httplib::Client* client_ = nullptr;
};

TEST_F(LibrariesTest, SocketVoteDeck_ServesAStation) {
    StationListener listener;
    ISocketVoteDeck* const station = CreateVoteDeckObj();
    station->SetListener(&listener);
    EXPECT_EQ(0, station->InitSocket(0xC0A8EA0AU, 4567, 10000));
    station->SetSessionMode(6, 0);
    station->StartSession();
    station->SetSessionEnabled(true);
    Do(R"([{"do":"connect","keypad":1},{"do":"key","keypad":1,"key":"B"},{"do":"audio","keypad":1}])");
    station->CloseSocket();
    EXPECT_EQ((Words{"connect 1", "key 1 2", "audio 1"}), listener.heard.All());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(LibrariesTest, VoteDeck_HasAFactoryForEachKind) {
    const std::pair<const char*, void (*)(zq::IVoteDeck**, IVoteDeckControl**)> factories[] = {
        {"TQ1", &CreateVDOTQ1}, {"TQ2", &CreateVDOTQ2}, {"RV1", &CreateVDORV1}, {"LW", &CreateVDOLW}};
    for (const auto& [kind, factory] : factories) {
        Do(std::string(R"({"do":"plug","kind":")") + kind + R"(","notice":false})");
        ReceiverListener listener;
        zq::IVoteDeck* deck = nullptr;
        IVoteDeckControl* control = nullptr;
        factory(&deck, &control);
        ASSERT_NE(nullptr, deck);
        ASSERT_NE(nullptr, control);
        deck->SetListener(&listener);
        EXPECT_TRUE(deck->IsConnected());
        EXPECT_EQ(kind, Parse(control->QueryDeviceInfo())["DeviceType"].asString());
        Do(std::string(R"({"do":"key","keypad":9,"key":1,"kind":")") + kind + "\"}");
        deck->SetListener(nullptr);
        deck->DeletingDestructor(1);
        EXPECT_EQ(Words{"key 9 1 x1 of 1 at 60"}, listener.heard.All());
    }
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(LibrariesTest, VoteDeck_HandsOverLogLines) {
    static Heard* const lines = new Heard;
    InstallVoteDeckLogHandler(
        [](std::int32_t level, const char* text) { lines->Add(std::to_string(level) + " " + text); });
    Do(R"({"do":"log","level":1,"text":"a line"})");
    InstallVoteDeckLogHandler(nullptr);
    EXPECT_EQ(Words{"1 a line"}, lines->All());
}

Heard& WindowHeard() {
    static auto* const heard = new Heard;
    return *heard;
}

LRESULT CALLBACK NoteDeviceChange(HWND window, UINT message, WPARAM what, LPARAM parameter) {
    if (message != WM_DEVICECHANGE) {
        return DefWindowProcW(window, message, what, parameter);
    }
    std::string words = std::to_string(what);
    const auto* const header = reinterpret_cast<const DEV_BROADCAST_HDR*>(parameter);
    std::wstring name;
    if (header != nullptr) {
        words += " type " + std::to_string(header->dbch_devicetype);
        if (header->dbch_devicetype == DBT_DEVTYP_DEVICEINTERFACE) {
            name = reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W*>(header)->dbcc_name;
        } else if (header->dbch_devicetype == DBT_DEVTYP_PORT) {
            name = reinterpret_cast<const DEV_BROADCAST_PORT_W*>(header)->dbcp_name;
        }
    }
    for (const wchar_t c : name) {
        words.push_back(static_cast<char>(c));
    }
    WindowHeard().Add(words);
    return 0;
}

TEST_F(LibrariesTest, UsbNotices_ReachTheWindowOfTheListener) {
    std::atomic<HWND> window{nullptr};
    std::thread loop([&window] {
        WNDCLASSW window_class = {};
        window_class.lpfnWndProc = &NoteDeviceChange;
        window_class.lpszClassName = L"USBWin2";
        RegisterClassW(&window_class);
        const HWND made = CreateWindowExW(0, L"USBWin2", L"", WS_OVERLAPPEDWINDOW, 0, 0, 1, 1, nullptr,
                                          nullptr, nullptr, nullptr);
        window = made;
        MSG message = {};
        while (made != nullptr && GetMessageW(&message, nullptr, 0, 0) > 0) {
            DispatchMessageW(&message);
            if (message.message == WM_APP) {
                DestroyWindow(made);
                break;
            }
        }
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (window == nullptr && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    ASSERT_NE(nullptr, window.load());
    Do(R"([{"do":"unplug","kind":"TQ1"},{"do":"unplug","kind":"RV1"}])");
    WindowHeard().Await(4);
    Do(R"([{"do":"plug","kind":"TQ1"},{"do":"plug","kind":"RV1"},{"do":"notice","what":"removed","type":"volume"},
           {"do":"notice","what":"arrival"}])");
    PostMessageW(window, WM_APP, 0, 0);
    loop.join();
    const Words heard = WindowHeard().All();
    const Words expected = {"32768 type 5\\\\?\\HID#SIMULATED_TQ1#1#{4d1e55b2-f16f-11cf-88cb-001111000030}",
                            "7",
                            "32768 type 3COM7",
                            "7",
                            "32772 type 2",
                            "32768"};
    ASSERT_GE(heard.size(), expected.size());
    EXPECT_EQ(expected, Words(heard.end() - static_cast<std::ptrdiff_t>(expected.size()), heard.end()));
}

/// Starts the sample script as the product does; null where it can't be started.
HANDLE StartScript() {
    const std::wstring parameters = L"//e:vbscript " + (OwnDirectory() / "rv2.vbs").wstring();
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS;
    info.lpVerb = L"open";
    info.lpFile = L"wscript.exe";
    info.lpParameters = parameters.c_str();
    info.nShow = SW_HIDE;
    ShellExecuteExW(&info);
    return info.hProcess;
}

TEST_F(LibrariesTest, SampleScript_TellsTheStationsStateByItsExitCode) {
    const std::pair<const char*, DWORD> states[] = {{"no-power", 7}, {"no-usb", 1}, {"hang", 2}, {"up", 2}};
    for (const auto& [state, expected] : states) {
        Do(std::string(R"({"do":"station","state":")") + state + "\"}");
        const HANDLE script = StartScript();
        ASSERT_NE(nullptr, script);
        if (state == std::string("hang")) {
            EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), WaitForSingleObject(script, 2000));
        }
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(script, 60000)) << state;
        DWORD code = 0;
        GetExitCodeProcess(script, &code);
        CloseHandle(script);
        EXPECT_EQ(expected, code) << state;
    }
}

class SpeechListener : public zvn::speech::RecognitionListener, public zvn::speech::EvaluationListener {
public:
    void OnRecognizeCompleted(zvn::speech::SpeechRecognizer* recognizer,
                              const zvn::speech::RecognitionResult& result) override {
        last = recognizer;
        heard.Add(result.request_id + " " + result.result);
    }
    void OnEvaluateCompleted(zvn::speech::SpeechEvaluator* evaluator,
                             const zvn::speech::EvaluationResult& result) override {
        last = evaluator;
        heard.Add(result.request_id + " " + result.request_param_stringify + " " +
                  result.raw_result_stringify + " " + result.result + " " + std::to_string(result.score));
    }
    const void* last = nullptr;
    Heard heard;
};

TEST_F(LibrariesTest, ZVNSpeech_AnswersThroughTheListeners) {
    using namespace zvn::speech;
    SpeechListener listener;
    std::vector<std::uint8_t> audio(100, 1);
    auto recognizer = std::make_unique<SpeechRecognizer>(&listener, RecognizeEngine::Aliyun,
                                                         EngineMode::Online, Language::Chinese);
    EXPECT_TRUE(recognizer->start(8));
    RecognizeRequest recognition;
    recognition.request_id = "r";
    recognition.audio_data = audio.data();
    recognition.audio_size = audio.size();
    EXPECT_EQ(0, recognizer->recognize(recognition));
    EXPECT_EQ(Words{"r simulated answer"}, listener.heard.Await(1));
    EXPECT_EQ(recognizer.get(), listener.last);
    recognizer->stop();
    recognizer.reset();

    auto evaluator = std::make_unique<SpeechEvaluator>(&listener, EvaluateEngine::Default, EngineMode::Online,
                                                       Language::General);
    EXPECT_TRUE(evaluator->start(1));
    EvaluateRequest evaluation;
    evaluation.request_id = "e";
    evaluation.param_stringify = "p";
    evaluation.audio_data = audio.data();
    evaluation.audio_size = audio.size();
    EXPECT_EQ(0, evaluator->evaluate(evaluation));
    EXPECT_EQ("e p {\"score\":88,\"simulated\":true} simulated answer 88.500000",
              listener.heard.Await(2).at(1));
    EXPECT_EQ(evaluator.get(), listener.last);
    evaluator->stop();
    evaluator.reset();
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(LibrariesTest, Trackwire_WritesALineForEachRecordInTheOrderOfPushing) {
    {
        CTrackwire record;
        record.Push("Action", "x");
        record.Push("b", std::int32_t{-3});
        record.Push("a", std::uint32_t{4000000000U});
        record.Logger();
    }
    SetVDShellVersionW(L"2.0.54");
    const std::string text = ReadText(OwnDirectory() / "trackwire.jsonl");
    EXPECT_NE(std::string::npos,
              text.find(R"("pairs":[["Action","x","text"],["b",-3,"i32"],["a",4000000000,"u32"]]})"));
    EXPECT_NE(std::string::npos, text.find(R"("function":"SetVDShellVersionW","kind":"set",)"));
    EXPECT_TRUE(Misuses().empty());
    CTrackwire twice;
    twice.Logger();
    twice.Push("c", "d");
    twice.Logger();
    EXPECT_EQ(Words(2, "the record was sent before"), Misuses());
}

TEST_F(LibrariesTest, Grundkit_ConvertsAndNeverFails) {
    EXPECT_EQ(L"\u4f60", CStringConvert::String2WString("\xE4\xBD\xA0", 65001));
    EXPECT_EQ("\xE4\xBD\xA0", CStringConvert::WString2String(L"\u4f60", 65001));
    EXPECT_EQ("abc", CStringConvert::WString2String(CStringConvert::String2WString("abc", 0), 0));
    EXPECT_EQ(L"", CStringConvert::String2WString("", 0));
    EXPECT_FALSE(CStringConvert::String2WString("\xFF\xFE\x80", 65001).empty());
    EXPECT_EQ(1U, CStringConvert::WString2String(L"\uFFFC", 1252).size());
}

}  // namespace
}  // namespace vdipc::classroom::test
