// A log becomes a lesson: the same from outside, in the order of its turns.
#include "tools/vdlesson/Lesson.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace vdipc::log::test {
namespace {

/// The lesson of a log, which the player's own reader takes.
std::string LessonOf(const LogText& log, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"lesson", "-o", "-"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Printed printed = Vdlog(arguments, log.Text());
    EXPECT_EQ(printed.code, 0) << printed.error;
    EXPECT_NO_THROW(tools::ParseLesson(printed.out)) << printed.out;
    return printed.out;
}

/// Its lines behind the host's start, without their waits.
std::vector<std::string> Steps(const std::string& lesson) {
    std::vector<std::string> steps;
    std::istringstream lines(lesson.substr(lesson.find("\nhost ") + 1));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.find("\"announce\":false") == std::string::npos &&
            line.find("\"mode\":\"hand\"") == std::string::npos) {
            steps.push_back(line.front() == '+' ? line.substr(line.find(' ') + 1) : line);
        }
    }
    return steps;
}

std::size_t IndexOf(const std::vector<std::string>& steps, const std::string& text) {
    const auto found = std::find_if(steps.begin(), steps.end(), [&text](const std::string& step) {
        return step.find(text) != std::string::npos;
    });
    EXPECT_NE(found, steps.end()) << text;
    return static_cast<std::size_t>(found - steps.begin());
}

LogText& StartedInit(LogText& log, int group = 1, const std::string& ready = "\"RV2\"") {
    log.Start().Client();
    static constexpr const char* kGroups[] = {"non-audio", "audio", "any"};
    log.Command(std::string(R"({"command":"init","preferred-device-type":")") + kGroups[group] + "\"}",
                "CallInit");
    log.Line("IpcHandler::CallInit:141 preferred_device_type=" + std::to_string(group));
    if (group != 1) {
        for (const char* const name : {"TQ1", "RV1", "LW"}) {
            log.Line("VoteDeckObject_TQ::Initialize:60", LogText::kTaskThread, "Trace");
            if (ready.find(name) != std::string::npos) {
                log.Line("VoteDeckObject_TQ::Initialize:66 zq::IVoteDeck connected, enable bind card");
                log.Line(std::string(R"(VoteDeckObject_TQ::ReadDeviceInfo:40 device_info={"UID":")") + name +
                         "\"}");
            }
        }
    }
    if (group != 0) {
        log.Line("VoteDeckObject_RV2::Initialize:30", LogText::kTaskThread, "Trace");
        log.Line("VoteDeckObject_RV2::Initialize:48 rv2.0 init socket ok, start session");
    }
    return log.Event("\t\"avaliable-device\" : \n\t[\n\t\t" + ready +
                     "\n\t],\n\t\"event\" : \"device-inited\",\n\t\"id\" : \"1\"");
}

LogText& Stopped(LogText& log) {
    log.Line("IpcHandler::Uninitialize:50", 0x570, "Trace");
    return log.Line("IpcHandler::TaskLoop:124 task loop end");
}

TEST(LessonCommand, ClassAtTheStation_BecomesItsSteps) {
    LogText log;
    StartedInit(log).StationLogon("1").StationLogon("2").StationLogon("3");
    log.Pass(1500).Ask(R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})", "0",
                       {"1", "2", "3"});
    log.Pass(250).StationKey("2", 2).Found("2", true).Finished("2", false).Filtered(0, 2, true);
    log.KeyEvent("2", "B", "q1");
    log.Command(R"({"command":"quit"})", "CallQuit");
    Stopped(log);
    const std::string lesson = LessonOf(log);
    const std::vector<std::string> expected = {
        "host start",
        "client start",
        "logged 30 x1 Connect ConnectNamedPipe success",
        R"(client {"command":"init","preferred-device-type":"audio"})",
        "logged 60 x1 IpcHandler::UpdateDeviceInfoForTrackwire",
        R"(classroom 30 {"do":"connect","kind":"RV2","from":1,"to":3})",
        R"(client {"command":"ask","device":"0","type":"single-choice","custom":"q1"})",
        R"(classroom 30 {"do":"key","kind":"RV2","keypad":2,"key":"B"})",
        R"(client {"command":"quit"})",
        "host end 60"};
    EXPECT_EQ(Steps(lesson), expected) << lesson;
    EXPECT_NE(lesson.find("\n+1.5"), std::string::npos) << lesson;
    EXPECT_NE(lesson.find("ignore   key-pressed"), std::string::npos) << lesson;
    EXPECT_EQ(lesson.find("leaves open"), std::string::npos) << lesson;
    // Nothing depends on the waits.
    EXPECT_EQ(LessonOf(log, {"--fast"}).find("\n+"), std::string::npos);
}

TEST(LessonCommand, OrderIsThatOfTheTurns_NotOfWhatWasHeard) {
    LogText log;
    StartedInit(log).StationLogon("1");
    // Two threads: the press has its line first, the question its place in the queue.
    const std::string ask = R"({"command":"ask","device":"0","type":"general","custom":"q1"})";
    log.Line("VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=1, enKeyValue=1", 0x300, "Info");
    log.Line("PipeServer::OnPipeDataReceived:61 msg received:" + ask, 0x2cc);
    log.Line("IpcHandler::RouteMessage:78 task begin msg=" + ask);
    log.Line("VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():78 task begin ushDeviceId=1, "
             "enKeyValue=1");
    log.Found("1", false);
    const std::vector<std::string> steps = Steps(LessonOf(Stopped(log)));
    EXPECT_LT(IndexOf(steps, "\"ask\""), IndexOf(steps, "\"key\""));
}

TEST(LessonCommand, PressWhileNoClientIsThere_ComesBeforeTheNextOne) {
    LogText log;
    StartedInit(log).StationLogon("1").LoseClient();
    log.Line("PipeServer::Disconnect:40", LogText::kTaskThread, "Trace");
    log.Line("PipeServer::Connect:30 Connect begin", LogText::kTaskThread, "Trace");
    log.Line("VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=1, enKeyValue=1", 0x300, "Info");
    log.Line("PipeServer::Connect:57 Connect ConnectNamedPipe success, create PipeIO", LogText::kTaskThread,
             "Info");
    log.Line("VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():78 task begin ushDeviceId=1, "
             "enKeyValue=1");
    log.Found("1", false);
    const std::vector<std::string> steps = Steps(LessonOf(Stopped(log)));
    // It goes when the library has done what it had done by then: the "init" and the logon.
    const std::size_t kill = IndexOf(steps, "client kill");
    EXPECT_EQ(steps[kill - 1], "logged 60 x2 task begin");
    const std::size_t waits = IndexOf(steps, "logged 60 x2 Connect begin");
    const std::size_t press = IndexOf(steps, "\"key\"");
    const std::size_t next = IndexOf(steps, "logged 30 x2 Connect ConnectNamedPipe success") - 1;
    EXPECT_LT(kill, waits);
    EXPECT_LT(waits, press);
    EXPECT_LT(press, next);
    EXPECT_EQ(steps[next], "client start");
    EXPECT_EQ(steps.back(), "host stop 60");
}

TEST(LessonCommand, PressThatWaitedToTheProcessesEnd_WaitsAgain) {
    LogText log;
    StartedInit(log).StationLogon("1").LoseClient();
    log.Line("PipeServer::Disconnect:40", LogText::kTaskThread, "Trace");
    log.Line("PipeServer::Connect:30 Connect begin", LogText::kTaskThread, "Trace");
    log.Line("VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=1, enKeyValue=9", 0x300, "Info");
    const std::vector<std::string> steps = Steps(LessonOf(log));
    const std::size_t press = IndexOf(steps, R"("keypad":1,"key":"G")");
    EXPECT_LT(IndexOf(steps, "logged 60 x2 Connect begin"), press);
    EXPECT_LT(press, IndexOf(steps, "host kill"));
    // Where the host was stopped, it would have a turn.
    const std::string stopped = LessonOf(Stopped(log));
    EXPECT_EQ(stopped.find("\"key\":"), std::string::npos) << stopped;
    EXPECT_NE(stopped.find("1 x a press, a logon or a logoff that never had its turn is left out"),
              std::string::npos)
        << stopped;
}

TEST(LessonCommand, MessagesThatNoLineHolds_AreSentAsTheyCame) {
    LogText log;
    StartedInit(log);
    for (const std::string& message :
         {std::string("hello"), std::string("{\n\"command\":\"stop\"}"), std::string("{\"a\":\"\xB5\"}")}) {
        log.Line("PipeServer::OnPipeDataReceived:61 msg received:" + message, 0x2cc);
        log.Line("IpcHandler::RouteMessage:78 task begin msg=" + message);
    }
    const std::string lesson = LessonOf(Stopped(log));
    EXPECT_NE(lesson.find("\nclient message \"hello\"\n"), std::string::npos) << lesson;
    EXPECT_NE(lesson.find("client message \"{\\u000a\\\"command\\\":\\\"stop\\\"}\"\n"), std::string::npos)
        << lesson;
    EXPECT_NE(lesson.find("client bytes e207000009000000e20700007b2261223a22b5227d\n"), std::string::npos)
        << lesson;
}

TEST(LessonCommand, UsbReceivers_AreKnownByDevicesJsonAndByTheirQuestions) {
    const auto bind = [](LogText& log, const std::string& device, const std::string& devices) {
        log.Line("VoteDeckObject_TQ::OnBindCard:77 newUid=" + device + ", ", 0x300, "Info");
        log.Line("VoteDeckObject_TQ::OnBindCard::<lambda>::operator ():79 task begin newUid=" + device +
                 ", ");
        log.Line("VoteDeckObjectBase::CreateTextRecordForDevice:20 device=" + device, LogText::kTaskThread,
                 "Trace");
        log.Line("IpcHandler::SaveActiveDevices:40 decvices: " + devices);
    };
    const auto key = [](LogText& log, const std::string& device) {
        const std::string values = "ushDeviceId=" + device + ", enKeyValue=2, pressTimes=1, recvTimes=3";
        log.Line("VoteDeckObject_TQ::OnKeyEvent:30 " + values, 0x300, "Info");
        log.Line("VoteDeckObject_TQ::OnKeyEvent::<lambda>::operator ():33 task begin " + values);
    };
    LogText log;
    StartedInit(log, 0, "\"TQ1\", \"LW\"");
    bind(log, "5", R"({"LW":["5"],"TQ1":null})");
    bind(log, "6", R"({"LW":["5"],"TQ1":["6"]})");
    key(log, "6");
    log.Found("6", false);
    key(log, "7");
    log.Found("7", false);
    const std::string lesson = LessonOf(Stopped(log));
    EXPECT_NE(lesson.find(R"({"do":"connect","kind":"LW","keypad":5})"), std::string::npos) << lesson;
    EXPECT_NE(lesson.find(R"({"do":"connect","kind":"TQ1","keypad":6})"), std::string::npos) << lesson;
    EXPECT_NE(lesson.find(R"({"do":"key","kind":"TQ1","keypads":[6,7],"key":"B","recv":3})"),
              std::string::npos)
        << lesson;
    // Keypad 7 is known nowhere.
    EXPECT_NE(lesson.find("# - 1 x several receivers fit a press; one is taken (keypad 7 at"),
              std::string::npos)
        << lesson;
    EXPECT_NE(lesson.find("plugged  TQ1,LW\n"), std::string::npos) << lesson;
    EXPECT_NE(lesson.find(R"({"do":"device-info","kind":"LW","text":"{\"UID\":\"LW\"}"})"), std::string::npos)
        << lesson;
}

TEST(LessonCommand, LinksAndStation_MoveAsTheEventsSay) {
    const auto inited = [](LogText& log, const std::string& ready, const char* number) {
        log.Line(std::string("IpcHandler::SendEventDeviceInited:90 send device-inited event ready=") +
                 (ready.empty() ? "false" : "true") + ", info=" + number);
        log.Event("\t\"avaliable-device\" : \n\t[\n\t\t" + ready +
                  "\n\t],\n\t\"event\" : \"device-inited\",\n\t\"id\" : \"1\"");
    };
    LogText log;
    StartedInit(log, 2, "\"TQ1\", \"LW\", \"RV2\"");
    log.Line("VoteDeckObject_TQ::OnDeviceConnectedChange:57 connected=false", 0x300, "Info");
    log.Line(
        "VoteDeckObject_TQ::OnDeviceConnectedChange::<lambda>::operator ():63 task begin connected=false");
    log.Line("VoteDeckObjectBase::SendEventRemoved:99", LogText::kTaskThread, "Trace");
    log.Event("\t\"event\" : \"removed\",\n\t\"info\" : \"not-connected\"");
    log.Line("IpcHandler::OnVoteDeckStatusChanged:122", LogText::kTaskThread, "Trace");
    inited(log, "\"TQ1\", \"RV2\"", "-1");
    log.Line("VoteDeckObjectBase::SendEventRemoved:99", LogText::kTaskThread, "Trace");
    log.Event("\t\"event\" : \"removed\",\n\t\"info\" : \"no-power\"");
    log.Line("IpcHandler::OnVoteDeckStatusChanged:122", LogText::kTaskThread, "Trace");
    inited(log, "\"TQ1\"", "-1");
    const std::vector<std::string> steps = Steps(LessonOf(Stopped(log)));
    const std::size_t link = IndexOf(steps, R"({"do":"link","kind":"LW","connected":false})");
    const std::size_t station =
        IndexOf(steps, R"({"do":"station","state":"no-power","socket":"ok","notice":true})");
    EXPECT_LT(IndexOf(steps, "x1 IpcHandler::UpdateDeviceInfoForTrackwire"), link);
    EXPECT_LT(link, IndexOf(steps, "x1 IpcHandler::OnVoteDeckStatusChanged"));
    EXPECT_LT(IndexOf(steps, "x1 IpcHandler::OnVoteDeckStatusChanged"), station);
    EXPECT_LT(station, IndexOf(steps, "x2 IpcHandler::OnVoteDeckStatusChanged"));
}

TEST(LessonCommand, ReceiverThatChangesBehindAPress_WaitsForItsTurn) {
    LogText log;
    StartedInit(log).StationLogon("1").StationKey("1", 2).Found("1", false);
    const auto changes = [&log](const char* reason) {
        log.Line("VoteDeckObjectBase::SendEventRemoved:99", LogText::kTaskThread, "Trace");
        log.Event(std::string("\t\"event\" : \"removed\",\n\t\"info\" : \"") + reason + '"');
        log.Line("IpcHandler::OnVoteDeckStatusChanged:122", LogText::kTaskThread, "Trace");
        log.Event("\t\"avaliable-device\" : null,\n\t\"event\" : \"device-inited\",\n\t\"id\" : \"1\"");
    };
    changes("no-power");
    changes("not-connected");
    const std::vector<std::string> steps = Steps(LessonOf(Stopped(log), {"--fast"}));
    // Those of "init", the logon and the press; behind them nothing has come that the second change would wait for.
    const std::size_t first = IndexOf(steps, R"("state":"no-power")");
    EXPECT_EQ(steps[first - 1], "logged 60 x3 task begin");
    EXPECT_LT(IndexOf(steps, R"("do":"key")"), first);
    EXPECT_EQ(steps[IndexOf(steps, R"("state":"no-usb")") - 1],
              "logged 60 x1 IpcHandler::OnVoteDeckStatusChanged");
}

/// A recording of keypad 1 that goes to the evaluator of one sentence.
void Speak(LogText& log, const std::string& file) {
    log.Line("VoteDeckObject_RV2::OnKeypadAudioEvent:88 ushDeviceID=1", 0x300, "Info");
    log.Line("VoteDeckObject_RV2::CheckAudioData:120", 0x300, "Trace");
    log.Line("VoteDeckObject_RV2::OnKeypadAudioEvent::<lambda>::operator ():110 task begin ushDeviceID=1");
    log.Found("1", true).Line("VoteDeckObjectBase::RunAudioPath:114 saved audio file " + file);
    log.Line("VoteDeckObjectBase::RunAudioPath:119 last question found, custom=q1");
    log.Line("VoteDeckObjectBase::RequestSingleEvaluation:250 evaluator sent online "
             "request_id={\n\t\"extra\" : \"" +
                 file + "\"\n}\n, voice_size=5000, stems=[pear]",
             LogText::kTaskThread, "Info");
}

void Answer(LogText& log, const std::string& file, const std::string& result) {
    log.Line("IpcHandler::HandleEvaluateResult:140 result.request_id={\n\t\"extra\" : \"" + file +
             "\"\n}\n, result.error_code=0, result.result=" + result + ", score=88.5");
}

TEST(LessonCommand, SpeechService_AnswersByHandInItsOrder) {
    LogText log;
    StartedInit(log).StationLogon("1");
    Speak(log, "1-a.wav");
    Speak(log, "1-b.wav");
    Answer(log, "1-b.wav", "pear");
    Answer(log, "1-a.wav", "plum");
    Answer(log, "1-b.wav", "again");
    Answer(log, "1-c.wav", "whose?");
    const std::string lesson = LessonOf(Stopped(log));
    const std::vector<std::string> steps = Steps(lesson);
    EXPECT_NE(lesson.find(R"("do":"audio","kind":"RV2","keypad":1,"make":"tone","bytes":5000})"),
              std::string::npos)
        << lesson;
    const std::string answer = R"(classroom 30 {"do":"speech-answer","engine":"single","request":)";
    const std::size_t first = IndexOf(steps, answer);
    EXPECT_EQ(steps[first], answer + R"(2,"error_code":0,"result":"pear","score":88.5,"keep":true})");
    EXPECT_EQ(steps[first + 1], answer + R"(1,"error_code":0,"result":"plum","score":88.5})");
    EXPECT_EQ(steps[first + 2], answer + R"(2,"error_code":0,"result":"again","score":88.5})");
    EXPECT_NE(lesson.find("1 x an answer to a request that the log doesn't have is left out"),
              std::string::npos)
        << lesson;
    // Two recordings of one keypad stand apart, or they would get one file name.
    EXPECT_NE(LessonOf(log, {"--fast"}).find("\n+0.050 classroom 30 {\"do\":\"audio\""), std::string::npos);
}

TEST(LessonCommand, RunningTimer_ShortensWaitsAndIsWaitedFor) {
    LogText log;
    StartedInit(log).StationLogon("1");
    Speak(log, "1-a.wav");
    log.Pass(1900).StationLogon("2");
    log.Line("IpcHandler::StartEvaluatorTimer::<lambda>::operator ():100 timeout 1-a.wav", 0x888);
    log.Line("IpcHandler::HandleEvaluatorTimeout:110 timeout task begin 1-a.wav");
    log.Line("IpcHandler::HandleEvaluatorTimeout:120 request evaluation of 1-a.wav again");
    Answer(log, "1-a.wav", "pear");
    const std::string lesson = LessonOf(Stopped(log));
    const std::vector<std::string> steps = Steps(lesson);
    // The waits must leave time for the steps themselves.
    EXPECT_NE(lesson.find("\n+1.200 "), std::string::npos) << lesson;
    EXPECT_EQ(lesson.find("\n+1.9"), std::string::npos) << lesson;
    EXPECT_EQ(IndexOf(steps, "logged 30 x1 timeout task begin"), IndexOf(steps, "\"keypad\":2") + 1);
    EXPECT_NE(lesson.find(R"("engine":"offline","request":1)"), std::string::npos) << lesson;
}

TEST(LessonCommand, RunsThatEndInTheMiddle_EndTheHostInTheirWay) {
    LogText cut;
    StartedInit(cut).StationLogon("1");
    const std::string killed = LessonOf(cut);
    const std::vector<std::string> steps = Steps(killed);
    EXPECT_EQ(steps.back(), "host kill");
    EXPECT_EQ(steps[steps.size() - 2], "logged 60 x1 PipeServer::SendMsg:");
    EXPECT_EQ(steps[steps.size() - 3], "logged 60 x2 task begin");
    EXPECT_NE(killed.find("1 x a run without its end: the host is killed"), std::string::npos) << killed;

    LogText device;
    StartedInit(device).Command(R"({"command":"stop","device":"keypad-7"})", "CallStop");
    EXPECT_EQ(Steps(LessonOf(device)).back(), "host gone 60");

    LogText negative;
    StartedInit(negative).Line("PipeServer::OnPipeDataReceived:61 msg received:", 0x2cc);
    const std::vector<std::string> last = Steps(LessonOf(negative));
    EXPECT_EQ(last.back(), "host gone 60");
    EXPECT_EQ(last[last.size() - 2], "client bytes e2070000ffffffffe2070000");

    // The next process goes on with what the former one left.
    LogText twice;
    StartedInit(twice);
    StartedInit(twice);
    const std::vector<std::string> both = Steps(LessonOf(Stopped(twice)));
    EXPECT_LT(IndexOf(both, "host kill"), IndexOf(both, "host again"));
}

TEST(LessonCommand, LogThatBeginsInTheMiddle_IsNoLesson) {
    LogText middle;
    middle.StationLogon("1").StationKey("1", 2).Found("1", false);
    const Printed printed = Vdlog({"lesson", "-o", "-"}, middle.Text());
    EXPECT_EQ(printed.code, 2);
    EXPECT_NE(printed.error.find("take the log from the host's start on"), std::string::npos)
        << printed.error;
    EXPECT_EQ(printed.out, "");
    // Behind it, a run that is whole.
    LogText next;
    StartedInit(next);
    middle.Raw(Stopped(next).Text());
    const std::string lesson = LessonOf(middle);
    EXPECT_NE(lesson.find("1 x a run whose beginning the log lacks is left out"), std::string::npos)
        << lesson;
    EXPECT_EQ(lesson.find("\"keypad\":1"), std::string::npos) << lesson;
}

TEST(LessonCommand, BadWordsOrPlace_GiveTwo) {
    LogText log;
    StartedInit(log);
    EXPECT_EQ(Vdlog({"lesson"}, log.Text()).code, 2);
    const Printed nowhere = Vdlog({"lesson", "-o", "/no/such/folder/x.lesson"}, log.Text());
    EXPECT_EQ(nowhere.code, 2);
    EXPECT_NE(nowhere.error.find("can't write"), std::string::npos) << nowhere.error;
    EXPECT_NE(nowhere.error.find("is its folder there"), std::string::npos) << nowhere.error;
}

TEST(LessonCommand, OntoTheLogThatIsRead_IsRefused) {
    LogText log;
    StartedInit(log);
    const Folder folder;
    const std::string name = folder.Write("x.log", log.Text());
    std::error_code none;  // a system may not allow a link
    std::vector<std::string> others{name, folder.Name("./x.log")};
    std::filesystem::create_hard_link(name, folder.Name("hard.log"), none);
    if (!none) {
        others.push_back(folder.Name("hard.log"));
    }
    std::filesystem::create_symlink(name, folder.Name("soft.log"), none);
    if (!none) {
        others.push_back(folder.Name("soft.log"));
    }
    for (const std::string& other : others) {
        const Printed printed = RunVdlog({"lesson", name, "-o", other});
        EXPECT_EQ(printed.code, 2) << other;
        EXPECT_NE(printed.error.find("it is the log that is read"), std::string::npos) << printed.error;
        EXPECT_EQ(folder.Read("x.log"), log.Text()) << other;
    }
    EXPECT_EQ(folder.Files(), others.size() - 1);
    // A lesson that isn't whole yet stands beside its place; that mustn't be the log either.
    const std::string part = folder.Write("y.part", log.Text());
    EXPECT_EQ(RunVdlog({"lesson", part, "-o", folder.Name("y")}).code, 2);
    EXPECT_EQ(folder.Read("y.part"), log.Text());
}

TEST(LessonCommand, LessonThatCantBeMade_LeavesTheFormerOne) {
    const Folder folder;
    LogText middle;
    middle.StationLogon("1");
    const std::string name = folder.Write("x.log", middle.Text());
    const std::string lesson = folder.Write("x.lesson", "former");
    EXPECT_EQ(RunVdlog({"lesson", name, "-o", lesson}).code, 2);
    EXPECT_EQ(folder.Read("x.lesson"), "former");
    EXPECT_EQ(folder.Files(), 2U);
}

}  // namespace
}  // namespace vdipc::log::test
