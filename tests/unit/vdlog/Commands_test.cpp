// What the commands print, what they hold back when a log is to be handed on, and any encoding.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Text.h"

#include "support/Logs.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

Json::Value ParsedJson(const std::string& text) {
    Json::Value root;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &errors)) << errors << "\n"
                                                                                       << text;
    return root;
}

/// Two keypads, one answer, one press without effect, one command that is refused.
LogText SmallClass() {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationLogon("2");
    log.Ask(R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})", "0", {"1", "2"});
    log.StationKey("1", 2)
        .Found("1", true)
        .Finished("1", false)
        .Filtered(0, 2, true)
        .KeyEvent("1", "B", "q1");
    log.StationKey("1", 3).Found("1", true).Finished("1", true);
    log.Line("PipeServer::OnPipeDataReceived:61 msg received:{\"command\":\"dance\"}", 0x2cc);
    log.Line("IpcHandler::RouteMessage:78 task begin msg={\"command\":\"dance\"}");
    log.Line("Brand::New:12 something").Raw("SIMULATED receiver TQ1\r\n");
    return log.Line("IpcHandler::TaskLoop:124 task loop end");
}

TEST(SummaryCommand, Log_GivesOneScreen) {
    const Printed printed = Vdlog({"summary"}, SmallClass().Text());
    EXPECT_EQ(printed.code, 0) << printed.error;
    for (const std::string words :
         {"Run 1: version 2.0.54, 2026-11-22 10:00:00.000 to 10:00:00.0", "stopped cleanly",
          "1: 10:00:00.003", "1 change: RV2 up 10:00:00.015\n", "RV2: 2 (1, 2) logged on",
          "single-choice \"q1\" for all: 2 asked, 1 answered, 1 pressed without effect",
          "2 heard: 1 became events, 0 were letters that wait for T, 1 had no effect",
          "3; 1 couldn't be decoded", "1 x Brand::New", "1 line of another form"}) {
        EXPECT_NE(printed.out.find(words), std::string::npos) << words << "\n" << printed.out;
    }
}

TEST(SummaryCommand, Json_HoldsTheSame) {
    const Json::Value run = ParsedJson(Vdlog({"summary", "--json"}, SmallClass().Text()).out)["runs"][0];
    EXPECT_EQ(run["version"], "2.0.54");
    EXPECT_TRUE(run["complete"].asBool());
    EXPECT_EQ(run["questions"][0]["custom"], "q1");
    EXPECT_EQ(run["questions"][0]["asked"], 2);
    EXPECT_EQ(run["presses"], 2);
    EXPECT_EQ(run["commands_dropped"]["couldn't be decoded"], 1);
    EXPECT_EQ(run["unknown_lines"]["Brand::New"], 1);
}

TEST(SummaryCommand, LogThatBeginsLater_CallsUnknownWhatItDoesNotHave) {
    LogText log;
    log.StationKey("1", 2).Found("1", false);
    const std::string unknown = Vdlog({"summary"}, log.Text()).out;
    for (const char* const row : {"Clients     ", "Receivers   ", "Keypads     "}) {
        EXPECT_NE(unknown.find(std::string(row) + "unknown: the log begins later\n"), std::string::npos)
            << unknown;
    }
    LogText whole;
    const std::string none = Vdlog({"summary"}, whole.Start().Text()).out;
    for (const char* const row :
         {"Clients     0\n", "Receivers   none was ready\n", "Keypads     none logged on\n"}) {
        EXPECT_NE(none.find(row), std::string::npos) << none;
    }
    // Its client is known as soon as a line tells of it.
    LogText there = log;
    there.Line("PipeServer::OnPipeDataReceived:61 msg received:{}", 0x2cc);
    const std::string met = Vdlog({"summary"}, there.Text()).out;
    EXPECT_NE(met.find("Clients     1: from before the log begins on\n"), std::string::npos) << met;
    // What is ready may have been so before; an "init" takes it down first.
    LogText again = log;
    again.Line("IpcHandler::OnVoteDeckStatusChanged:88", LogText::kTaskThread, "Trace");
    again.Event("\t\"avaliable-device\" : \n\t[\n\t\t\"RV2\"\n\t],\n\t\"event\" : \"device-inited\"");
    const std::string came = Vdlog({"why"}, again.Text()).out;
    EXPECT_NE(came.find("without an \"init\": RV2 is up.\n"), std::string::npos) << came;
    EXPECT_NE(Vdlog({"summary"}, again.Text()).out.find("1 change: RV2 up by 10:00:00.00"),
              std::string::npos);
    there.Init(1, "\"RV2\"");
    EXPECT_NE(Vdlog({"summary"}, there.Text()).out.find("1 change: RV2 up 10:00:00.0"), std::string::npos);
    log.LoseClient().Pass(1000).Client();
    const std::string lost = Vdlog({"summary"}, log.Text()).out;
    EXPECT_NE(
        lost.find("Clients     2: from before the log begins to 10:00:00.004 (lost), 10:00:01.006 on\n"),
        std::string::npos)
        << lost;
    const Json::Value run = ParsedJson(Vdlog({"summary", "--json"}, log.Text()).out)["runs"][0];
    EXPECT_EQ(run["client_count"], 2);
    EXPECT_TRUE(run["clients"][0]["begin"].isNull());
    EXPECT_TRUE(run["clients"][0]["lost"].asBool());
}

TEST(SummaryCommand, QuestionForOneKeypadInLogThatBeginsLater_SaysWhatIsKnown) {
    const auto ask = [](LogText& log, const std::string& custom, const std::string& device) {
        log.Ask(AskJson("single-choice", custom, device), device);
    };
    LogText log;
    ask(log, "answered", "7");
    log.StationKey("7", 2).Found("7", true).Finished("7", false).Filtered(0, 2, true);
    log.KeyEvent("7", "B", "answered");
    ask(log, "silent", "8");
    log.StationKey("8", 9).Found("8", true).Finished("8", false).Filtered(0, 9, false);
    ask(log, "unheard", "9");
    log.StationLogon("5", false);
    ask(log, "gone", "5");
    const std::string out = Vdlog({"summary"}, log.Text()).out;
    for (const char* const words :
         {"\"answered\" for keypad 7: 1 asked, 1 answered\n",
          "\"silent\" for keypad 8: 1 asked, 0 answered, 1 pressed without effect\n",
          "\"unheard\" for keypad 9: unknown whether it was logged on, 0 answered\n",
          "\"gone\" for keypad 5: 0 asked, 0 answered\n"}) {
        EXPECT_NE(out.find(words), std::string::npos) << words << "\n" << out;
    }
    const Json::Value questions =
        ParsedJson(Vdlog({"summary", "--json"}, log.Text()).out)["runs"][0]["questions"];
    EXPECT_EQ(questions[0]["asked"], 1);
    EXPECT_TRUE(questions[2]["asked"].isNull());
    EXPECT_EQ(questions[3]["asked"], 0);
    const std::string page = Vdlog({"timeline", "-o", "-"}, log.Text()).out;
    EXPECT_NE(page.find("1 keypad was asked, 1 answered, 0 presses"), std::string::npos);
    EXPECT_NE(page.find("whether the keypad was logged on is unknown, 0 answered"), std::string::npos);
    // Where the log begins with the run, there is nothing that it doesn't know.
    LogText whole;
    whole.Start().Client().Init(1, "\"RV2\"");
    ask(whole, "nobody", "9");
    EXPECT_NE(Vdlog({"summary"}, whole.Text()).out.find("\"nobody\" for keypad 9: 0 asked, 0 answered\n"),
              std::string::npos);
}

TEST(SummaryCommand, Warnings_AreReadableAndLeadToTheirLines) {
    const auto warn = [](LogText& log, const std::string& text) {
        log.Line(text, LogText::kTaskThread, "Warn");
    };
    LogText log;
    log.Start();
    warn(log, "PipeIO::Read:42 ReadFile failed, error_code=109");
    warn(log, "PipeIO::Write:69 WriteFile failed, error_code=232");
    warn(log, "PipeIO::Read:42 ReadFile failed, error_code=109");
    warn(log, "PipeIO::Write:69 WriteFile failed, error_code=6");
    warn(log, "PipeIO::Write:69 WriteFile failed, error_code=232");
    warn(log, "IpcHandler::SaveActiveDevices:26 open file failed. file_path=C:\\SECRET\\devices.json");
    const std::string out = Vdlog({"summary"}, log.Text()).out;
    for (const char* const words :
         {"3 x PipeIO::Write: WriteFile failed, error_code=... (the last: line 7)\n",
          "2 x PipeIO::Read: ReadFile failed, error_code=109 (the last: line 5)\n",
          "1 x IpcHandler::SaveActiveDevices: open file failed. file_path=C:\\SECRET\\devices.json (line "
          "8)\n"}) {
        EXPECT_NE(out.find(words), std::string::npos) << words << "\n" << out;
    }
    EXPECT_EQ(out.find("{}"), std::string::npos) << out;
    EXPECT_EQ(Vdlog({"summary", "--redact"}, log.Text()).out.find("SECRET"), std::string::npos);
    // Several logs have each a line of that number.
    const std::string second =
        Vdlog({"summary"}, std::vector<std::string>{SmallClass().Text(), log.Text()}).out;
    EXPECT_NE(second.find("(the last: line 2:7)"), std::string::npos) << second;
    const Json::Value run = ParsedJson(Vdlog({"summary", "--json"}, log.Text()).out)["runs"][0];
    EXPECT_EQ(run["warnings"]["PipeIO::Write: WriteFile failed, error_code={}"], 3);
}

TEST(SummaryCommand, RunWithoutItsLastLines_SaysWhatItDidLast) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"");
    const std::string out = Vdlog({"summary"}, log.Text()).out;
    EXPECT_NE(out.find("without its last lines: the last task was the command \"init\""), std::string::npos)
        << out;
}

TEST(KeypadCommand, Log_GivesItsLife) {
    const Printed printed = Vdlog({"keypad", "1"}, SmallClass().Text());
    EXPECT_EQ(printed.code, 0) << printed.error;
    for (const std::string words :
         {"logs on at RV2", "is asked single-choice \"q1\" for all at RV2",
          "presses B at RV2: an event, for single-choice", "pressed C at 10:00:00.0",
          "had answered single-choice \"q1\" for all already", "the run ends"}) {
        EXPECT_NE(printed.out.find(words), std::string::npos) << words << "\n" << printed.out;
    }
    EXPECT_EQ(printed.out.find("Keypad 2"), std::string::npos) << printed.out;
    const Json::Value steps = ParsedJson(Vdlog({"keypad", "1", "--json"}, SmallClass().Text()).out)["steps"];
    EXPECT_GE(steps.size(), 6U);
    EXPECT_NE(Vdlog({"keypad", "77"}, SmallClass().Text()).out.find("isn't named in this log"),
              std::string::npos);
}

TEST(Redaction, NothingOfTheTexts_IsLeftInAnyOutput) {
    // Each of these words stands for something that a pupil or a teacher wrote or said, or for a path.
    LogText log;
    log.Start();
    log.Line("IpcHandler::LoadActiveDevices:63 open file OK. file_path=C:\\SECRETPATH\\devices.json  "
             "stream={\"SECRETKEY\":[]}",
             0x570);
    log.Line("IpcHandler::ReadCommandlineForTrackwire:50 read command line: {\"login_lnum\":\"SECRETLIVE\"}",
             0x570);
    log.Client().Init(1, "\"RV2\"").StationLogon("1").StationLogon("2");
    const std::string context =
        R"("context":{"param":{"SECRETNAME":"SECRETVALUE"},"stems":["SECRETSTEM"],"audio-file-name-prefix":"SECRETPREFIX"})";
    log.Ask(
        R"({"command":"ask","device":"0","type":"audio-single","custom":"q1","row1":"SECRETROW","id":"SECRETID","SECRETMEMBER":1,)" +
            context + "}",
        "0", {"1", "2"});
    log.Line(
        "VoteDeckObject_RV2::SetText:170 rv2.0 SendContext device_id=1, row1='SECRETROW', row2='', row3=''",
        LogText::kTaskThread, "Info");
    log.StationKey("1", 2).Found("1", true).Finished("1", false).Filtered(6, 2, false);
    log.Line("VoteDeckObject_RV2::OnKeypadAudioEvent:88 ushDeviceID=2", 0x300, "Info");
    log.Line("VoteDeckObject_RV2::CheckAudioData:120", 0x300, "Trace");
    log.Line("VoteDeckObject_RV2::OnKeypadAudioEvent::<lambda>::operator ():110 task begin ushDeviceID=2");
    log.Found("2", true).Line("VoteDeckObjectBase::RunAudioPath:114 saved audio file SECRETPREFIX2-1f.wav");
    log.Line("VoteDeckObjectBase::RunAudioPath:119 last question found, custom=q1");
    const std::string id =
        "{\n\t\"custom\" : \"q1\",\n\t\"device\" : \"2\",\n\t\"event\" : \"voice-evaluated\",\n\t\"extra\" : "
        "\"SECRETPREFIX2-1f.wav\"\n}\n";
    log.Line("VoteDeckObjectBase::RequestSingleEvaluation:250 evaluator sent online request_id=" + id +
                 ", voice_size=6444, stems=[SECRETSTEM]",
             LogText::kTaskThread, "Info");
    log.Line("IpcHandler::HandleEvaluateResult:140 result.request_id=" + id +
             ", result.error_code=0, result.result=SECRETSPOKEN, score=88.5");
    log.Line("IpcHandler::HandleEvaluateResult:166 device=2 custom match custom=q1");
    log.Event("\t\"custom\" : \"q1\",\n\t\"data\" : \n\t{\n\t\t\"result\" : "
              "\"SECRETSPOKEN\"\n\t},\n\t\"device\" : \"2\",\n\t\"event\" : "
              "\"voice-evaluated\",\n\t\"extra\" : \"SECRETPREFIX2-1f.wav\"");
    for (const std::string json :
         {R"({"command":"SECRETCOMMAND"})",
          R"({"command":"ask","device":"SECRETDEVICE","type":"SECRETTYPE"})", R"(SECRETTEXT that is no JSON)",
          R"({"command":"init","preferred-device-type":"SECRETGROUP"})",
          R"({"command":"ask","device":"1","type":"SECRETTYPE","custom":"SECRET custom"})",
          R"({"command":"hi","device":"1","arguments":[{"type":"SECRETSIGNAL"}]})",
          R"({"command":"text","device":"1","row1":"SECRETROW")", R"({"SECRETKEY":"SECRETVALUE"})",
          R"(["SECRETELEMENT"])"}) {
        log.Line("PipeServer::OnPipeDataReceived:61 msg received:" + json, 0x2cc);
        log.Line("IpcHandler::RouteMessage:78 task begin msg=" + json);
    }
    log.Ask(R"({"command":"ask","device":"0","type":"single-choice","custom":"a SECRET sentence"})", "0",
            {"1", "2"});
    log.Raw("SECRETFOREIGN line\r\n").Line("IpcHandler::CallAsk:9 SECRETNEW text of another version");
    log.StationKey("1", 6).Found("1", true).Finished("1", false).Filtered(0, 6, false);

    const std::vector<std::vector<std::string>> commands = {{"pipe"},
                                                            {"lesson", "-o", "-"},
                                                            {"why"},
                                                            {"why", "--json"},
                                                            {"why", "--keypad", "1"},
                                                            {"why", "--keypad", "2"},
                                                            {"summary"},
                                                            {"summary", "--json"},
                                                            {"keypad", "1"},
                                                            {"keypad", "2"},
                                                            {"keypad", "2", "--json"},
                                                            {"timeline", "-o", "-"},
                                                            {"trace", "-o", "-"}};
    for (std::vector<std::string> command : commands) {
        const std::string name = command[0];
        const Printed open = Vdlog(command, log.Text());
        EXPECT_EQ(open.code, 0) << name << open.error;
        command.emplace_back("--redact");
        const Printed redacted = Vdlog(command, log.Text());
        EXPECT_EQ(redacted.code, 0) << name << redacted.error;
        EXPECT_EQ(redacted.out.find("SECRET"), std::string::npos)
            << name << ": " << redacted.out.substr(redacted.out.find("SECRET") - 100, 200);
        EXPECT_EQ(redacted.error.find("SECRET"), std::string::npos);
        EXPECT_EQ(redacted.out.find("vdlog_test_"), std::string::npos) << name << " names the file";
    }
    // Questions are still told apart.
    EXPECT_NE(Vdlog({"keypad", "2", "--redact"}, log.Text()).out.find("audio-single \"q1\" for all"),
              std::string::npos);
    EXPECT_NE(Vdlog({"pipe"}, log.Text()).out.find("SECRETROW"), std::string::npos);
    EXPECT_NE(Vdlog({"pipe", "--redact"}, log.Text()).out.find("\"row1\":\"<9 characters>\""),
              std::string::npos);
}

TEST(Encoding, BytesOfCodePage936_ComeOutAsUtf8) {
    // "first question" in Chinese, as code page 936 has it.
    const std::string gbk = "\xB5\xDA\xD2\xBB\xCC\xE2";
    const std::string utf8 = "\xE7\xAC\xAC\xE4\xB8\x80\xE9\xA2\x98";
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    log.Command(R"({"command":"text","device":"1"})", "CallText");
    log.Line("VoteDeckObject_RV2::SetText:170 rv2.0 SendContext device_id=1, row1='" + gbk +
                 "', row2='', row3=''",
             LogText::kTaskThread, "Info");
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"keypad", "1"}, {"keypad", "1", "--encoding", "936"}, {"keypad", "1", "--encoding", "gbk"}}) {
        EXPECT_NE(Vdlog(arguments, log.Text()).out.find(utf8), std::string::npos) << arguments.size();
    }
    const std::string western = Vdlog({"keypad", "1", "--encoding", "1252"}, log.Text()).out;
    EXPECT_EQ(western.find(utf8), std::string::npos);
    EXPECT_TRUE(IsUtf8(western));
}

TEST(Encoding, Guess_TakesUtf8ThenChineseThenWestern) {
    const Text text;
    EXPECT_EQ(text.Utf8("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(text.Utf8("\xB5\xDA"), "\xE7\xAC\xAC");
    EXPECT_EQ(text.Utf8("caf\xE9"), "caf\xC3\xA9");
    EXPECT_EQ(text.Shown(std::string("a\0b\n\x1b[1m", 8)), "a\\x00b\\n\\x1b[1m");
    EXPECT_THROW(Text("klingon"), std::invalid_argument);
    EXPECT_FALSE(IsUtf8("\xED\xA0\x80"));
    EXPECT_EQ(JsonString("a\"\xFF\n"), "\"a\\\"\xEF\xBF\xBD\\u000a\"");
}

TEST(Program, Help_NamesEachCommandAndItsOptions) {
    const std::string help = Vdlog({"--help"}, "").out;
    for (const CommandEntry* const entry : AllCommands()) {
        EXPECT_NE(help.find(std::string("  ") + entry->name + " "), std::string::npos) << entry->name;
        const Printed own = Vdlog({entry->name, "--help"}, "");
        EXPECT_EQ(own.code, 0);
        EXPECT_NE(own.out.find("LOG"), std::string::npos) << own.out;
        EXPECT_NE(own.out.find("--redact"), std::string::npos) << own.out;
    }
}

}  // namespace
}  // namespace vdipc::log::test
