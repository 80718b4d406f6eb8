// What a short lesson of keys makes visible, to the byte: each log line with its level, and in those each event, each
// telemetry record, devices.json, and how often receivers and conversions of text were called. What is made cheaper inside must leave it as it is.
#include "doubles/InsideDouble.h"
#include "doubles/ManyKeypads.h"
#include "support/SpeechTest.h"

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include <fmt/format.h>

namespace vdipc::test {
namespace {

// Not TQ2, whose channel is the machine's.
constexpr DeviceType kKinds[] = {DeviceType::RV2, DeviceType::TQ1, DeviceType::RV1, DeviceType::LW};
const std::string kExpectedFile = VDIPC_SOURCE_DIR "/tests/unit/ipc/expected/output.txt";

class HandlerOutput : public SpeechTest {
protected:
    HandlerOutput() {
        Access::InitSpeechRecognizer(handler());
        Access::InitSpeechEvaluator(handler());
        UseServer();
        Prefer(PreferredDeviceType::Any);
        for (const DeviceType kind : kKinds) {
            keypads_[kind] = MakeKeypads(kind, handler());
            Access::DeviceObjects(handler())[kind] = keypads_[kind]->Object();
        }
        Access::RunTasks(handler());
        log().Clear();
        conversions_ = conversions;  // of paths, on Windows alone
        Note("made");
    }

    ~HandlerOutput() override {
        Access::DeviceObjects(handler()).clear();
        keypads_.clear();
    }

    void Command(const std::string& text) {
        Route(text);
        Access::RunTasks(handler());
        Note("command " + text);
    }

    void Arrive(DeviceType kind, std::uint32_t keypad) {
        keypads_.at(kind)->Arrive(keypad);
        Access::RunTasks(handler());
        Note("arrival " + kDeviceTypes.names.at(kind) + " " + std::to_string(keypad));
    }

    void Press(DeviceType kind, std::uint32_t keypad, std::int32_t key) {
        keypads_.at(kind)->Key(keypad, key);
        Access::RunTasks(handler());
        Note("key " + kDeviceTypes.names.at(kind) + " " + std::to_string(keypad) + " " + std::to_string(key));
    }

    void Note(const std::string& step) {
        text_ += "## " + step + "\n";
        for (const LogLine& line : log().Lines()) {
            if (line.function == "VoteDeckObject_RV2::StatusThread") {
                continue;  // at its own times
            }
            text_ += "[" + line.level_name + "] " + Steady(line.message) + "\n";
        }
        log().Clear();
        for (const TrackwireRecord& record : TrackwireRecords()) {
            if (records_ > 0) {
                --records_;
                continue;
            }
            text_ += "telemetry";
            for (const TrackwireRecord::Pair& pair : record.pairs) {
                text_ += " " + pair.key + "=" + Steady(pair.value) + ":" + pair.kind;
            }
            text_ += "\n";
        }
        records_ = TrackwireRecords().size();
        for (const auto& [kind, keypads] : keypads_) {
            std::uint64_t& before = calls_[kind];
            if (keypads->LibraryCalls() != before) {
                text_ += "calls " + kDeviceTypes.names.at(kind) + " " +
                         std::to_string(keypads->LibraryCalls() - before) + "\n";
                before = keypads->LibraryCalls();
            }
        }
        if (conversions != conversions_) {
            text_ += "conversions " + std::to_string(conversions - conversions_) + "\n";
            conversions_ = conversions;
        }
        std::string devices = ReadFile(DevicesFile());
        std::erase(devices, '\r');  // the file has the system's line ends
        if (devices != devices_) {
            text_ += "devices.json " + devices + "\n";
            devices_ = devices;
        }
    }

    /// In ASCII: log lines are in the active code page.
    std::string Text() const {
        std::string shown;
        for (const char c : text_) {
            const auto byte = static_cast<unsigned char>(c);
            shown += byte < 0x80 ? std::string(1, c) : fmt::format("\\x{:02X}", byte);
        }
        return shown;
    }

private:
    /// Without what each run and each change of a source line has anew.
    std::string Steady(std::string text) {
        static const std::regex kLine("^([A-Za-z0-9_:<>~' `()-]+?):[0-9]+(?= |$)");
        static const std::regex kId("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
        static const std::regex kTime("[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}");
        const std::string file = DevicesFile();
        for (std::size_t at = text.find(file); at != std::string::npos; at = text.find(file)) {
            text.replace(at, file.size(), "<devices.json>");
        }
        text = std::regex_replace(text, kLine, "$1:#", std::regex_constants::format_first_only);
        text = std::regex_replace(text, kId, "<id>");
        return std::regex_replace(text, kTime, "<time>");
    }

    std::map<DeviceType, std::unique_ptr<ManyKeypads>> keypads_;
    std::map<DeviceType, std::uint64_t> calls_;
    std::size_t records_ = 0;
    std::size_t conversions_ = conversions;
    std::string devices_;
    std::string text_;
};

// The expected text is written anew by a run with VDIPC_WRITE_EXPECTED=1 in the environment: look at its difference.
TEST_F(HandlerOutput, WholeLesson_IsTheSameToTheByte) {
    for (const DeviceType kind : kKinds) {
        for (const std::uint32_t keypad : {1u, 2u, 300u}) {
            Arrive(kind, keypad);
        }
    }
    Command(
        R"({"command":"ask","id":"a1","device":"0","type":"single-choice","row1":"2 + 2","row2":"A 3 B 4",)"
        R"("row3":"C 5","custom":"q1"})");
    for (const DeviceType kind : kKinds) {
        Press(kind, 1, 5);
        Press(kind, 1, 2);
        Press(kind, 1, 3);
    }
    Press(DeviceType::RV2, 77, 1);
    Command("{\"command\":\"ask\",\"id\":\"a2\",\"device\":\"2\",\"type\":\"multiple-choice\",\"custom\":"
            "\"caf\xC3\xA9 \\\"\\u4e2d\\u0007\\\"\"}");
    for (const std::int32_t key : {3, 1, 3, 6, 2, 4, 5, 1}) {
        Press(DeviceType::RV2, 2, key);
    }
    Press(DeviceType::TQ1, 2, 2);
    Press(DeviceType::TQ1, 2, 7);
    Command(R"({"command":"ask","id":"a3","device":"0","type":"continous-red-envelope","custom":""})");
    Press(DeviceType::LW, 300, 9);
    Press(DeviceType::LW, 300, 9);
    Command(
        R"({"command":"ask","device":"0","type":"general","custom":"a rather long custom text that fills more )"
        R"(than any small buffer holds, so that it lies on the heap","context":{"param":{"b":[1,2.5,"x"],)"
        R"("a":null},"stems":["one","two"],"audio-file-name-prefix":"p"}})");
    Press(DeviceType::TQ1, 2, 9);
    Press(DeviceType::LW, 2, 4);
    Command(R"({"command":"drop","id":"d","device":"2"})");
    Press(DeviceType::LW, 2, 9);
    Press(DeviceType::LW, 2, 4);
    Command(R"({"command":"text","id":"t","device":"0","row1":"one","row3":"three"})");
    Command(R"({"command":"hi","id":"h","device":"1","arguments":[{"type":"led","color":"red","times":1,)"
            R"("interval":2,"duration":3},{"type":"beep","times":1,"interval":2,"duration":3}]})");
    Command(R"({"command":"stop","id":"s","device":"0","row2":"done"})");
    Press(DeviceType::RV1, 1, 1);
    Command("this is no command");
    Command(R"({"command":"ask","device":1,"type":"single-choice"})");
    Command(R"({"command":"unknown"})");
    const std::string expected = ReadFile(kExpectedFile);
    if (const char* const write = std::getenv("VDIPC_WRITE_EXPECTED"); write != nullptr && *write != '\0') {
        WriteFile(kExpectedFile, Text());
    }
    std::istringstream seen_lines(Text());
    std::istringstream expected_lines(expected);
    std::string seen;
    std::string wanted;
    for (int number = 1; std::getline(expected_lines, wanted); ++number) {
        ASSERT_TRUE(std::getline(seen_lines, seen)) << "ends before line " << number << ": " << wanted;
        ASSERT_EQ(seen, wanted) << "line " << number << " of " << kExpectedFile;
    }
    ASSERT_FALSE(std::getline(seen_lines, seen)) << "goes on with: " << seen;
    EXPECT_GT(expected.size(), 10000u);
}

}  // namespace
}  // namespace vdipc::test
