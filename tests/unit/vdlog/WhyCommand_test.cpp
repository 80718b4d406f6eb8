// What "why" prints, what it says where there is nothing to say, and words that no command takes.
#include "tools/vdlog/Commands.h"

#include "support/Logs.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

LogText ReadyStation() {
    LogText log;
    return log.Start().Client().Init(1, "\"RV2\"");
}

TEST(WhyCommand, Log_IsGroupedOrNarrowed) {
    LogText log = ReadyStation();
    log.StationLogon("2").StationLogon("3");
    for (const char* const keypad : {"2", "2", "2", "2", "3"}) {
        log.StationKey(keypad, 2).Found(keypad, false);
    }
    log.Line("IpcHandler::TaskLoop:124 task loop end");
    const std::string wide = Vdlog({"why"}, log.Text()).out;
    EXPECT_NE(wide.find("5 presses and 0 recordings were heard, 1 event went out."), std::string::npos)
        << wide;
    EXPECT_NE(wide.find("5 x the keypad was asked nothing"), std::string::npos) << wide;
    EXPECT_NE(wide.find("... and 2 more"), std::string::npos) << wide;
    const std::string narrow = Vdlog({"why", "--keypad", "3"}, log.Text()).out;
    EXPECT_NE(narrow.find("Keypad 3 (RV2) pressed B at 10:00:00.0"), std::string::npos) << narrow;
    EXPECT_EQ(narrow.find("Keypad 2"), std::string::npos) << narrow;
    EXPECT_NE(Vdlog({"why", "--to", "10:00:00.003"}, log.Text()).out.find("nothing that would explain"),
              std::string::npos);
    EXPECT_EQ(Vdlog({"why", "--from", "noon"}, log.Text()).code, 2);
}

TEST(WhyCommand, Json_HoldsEveryFinding) {
    LogText log = ReadyStation();
    log.StationLogon("2");
    for (int i = 0; i < 5; ++i) {
        log.StationKey("2", 2).Found("2", false);
    }
    Json::Value root;
    std::string errors;
    const std::string out = Vdlog({"why", "--json"}, log.Text()).out;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    ASSERT_TRUE(reader->parse(out.data(), out.data() + out.size(), &root, &errors)) << errors << out;
    EXPECT_EQ(root["counts"]["not-asked"].asInt(), 5);
    EXPECT_EQ(root["presses"].asInt(), 5);
    ASSERT_EQ(root["findings"].size(), 6U);
    EXPECT_EQ(root["findings"][0]["keypad"], "2");
    EXPECT_EQ(root["findings"][0]["receiver"], "RV2");
    EXPECT_GE(root["findings"][0]["lines"].size(), 3U);
}

TEST(WhyCommand, WhatTheLogDoesNotHave_IsSaid) {
    LogText bare;
    bare.Start().Line("IpcHandler::TaskLoop:124 task loop end");
    EXPECT_NE(Vdlog({"why"}, bare.Text()).out.find("No press and no recording is in this log."),
              std::string::npos);
    LogText log = ReadyStation();
    log.StationLogon("2");
    EXPECT_EQ(Vdlog({"why"}, log.Text() + "").out.find("No press and no recording is in this log."),
              std::string::npos);  // its run has no end
    log.Line("IpcHandler::TaskLoop:124 task loop end");
    EXPECT_NE(Vdlog({"why"}, log.Text()).out.find("No press and no recording is in this log."),
              std::string::npos);
    EXPECT_EQ(Vdlog({"why", "--keypad", "7"}, log.Text()).out, "Keypad 7 isn't named in this log.\n");
    EXPECT_EQ(Vdlog({"why", "--custom", "q9"}, log.Text()).out,
              "No question in this log has the \"custom\" \"q9\".\n");
    EXPECT_NE(Vdlog({"why", "--keypad", "2"}, log.Text()).out.find("nothing that would explain a silence"),
              std::string::npos);
    log.StationKey("2", 2).Found("2", false);
    EXPECT_NE(Vdlog({"why", "--keypad", "02"}, log.Text()).out.find("Keypad 2 (RV2) pressed B"),
              std::string::npos);
    EXPECT_NE(Vdlog({"keypad", "02"}, log.Text()).out.find("Keypad 2 (RV2) pressed B"), std::string::npos);
}

TEST(WhyCommand, SpanOfTime_MayBeDaysAndIsNeverBackwards) {
    LogText log = ReadyStation();
    log.StationLogon("2").StationKey("2", 2).Found("2", false);
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"why", "--from", "2026-11-22", "--to", "2026-11-22"},
                                               {"why", "--from", "9:59", "--to", "2026-11-22 10:00:01"},
                                               {"why", "--from=2026-11-22T10:00"}}) {
        EXPECT_NE(Vdlog(arguments, log.Text()).out.find("Keypad 2 (RV2) pressed B"), std::string::npos)
            << arguments[1];
    }
    EXPECT_EQ(Vdlog({"why", "--to", "2026-11-21"}, log.Text()).out.find("pressed B"), std::string::npos);
    const Printed backwards = Vdlog({"why", "--from", "10:05", "--to", "10:04"}, log.Text());
    EXPECT_EQ(backwards.code, 2);
    EXPECT_EQ(backwards.error, "vdlog: --from 10:05 is later than --to 10:04\n");
}

TEST(Program, BadWordsAndFiles_ExitWithTwoAndSayWhatIsWrong) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
        {{}, "required"},
        {{"sumary", "x.log"}, "there is no command \"sumary\""},
        {{"why"}, "LOG is required"},
        {{"why", "--dance", "x.log"}, "--dance"},
        {{"why", "--encoding", "klingon", "x.log"}, "klingon"},
        {{"why", "no such file.log"}, "can't open no such file.log: "},
        {{"why", "--from", "noon", "no such file.log"}, "\"noon\" is no time"},
        {{"pipe", folder}, "is a directory; name the log in it"},
        {{"watch", "a.log", "-"}, "At Most 1 required"},
        {{"watch", "-"}, "follows one file"},
    };
    for (const auto& [arguments, words] : bad) {
        std::ostringstream out;
        std::ostringstream error;
        EXPECT_EQ(RunProgram(arguments, out, error), 2) << words;
        EXPECT_NE((out.str() + error.str()).find(words), std::string::npos) << words << "\n" << error.str();
    }
    EXPECT_NE(Vdlog({"pipe"}, "no log at all\n").error.find("no line here is of VDIPC's log"),
              std::string::npos);
    EXPECT_NE(Vdlog({"why"}, "").error.find("(it is empty)"), std::string::npos);
    EXPECT_NE(Vdlog({"why"}, std::string("\xFF\xFE[\0", 4)).error.find("UTF-16"), std::string::npos);
    EXPECT_EQ(Vdlog({"why"}, "").code, 2);
    EXPECT_EQ(Vdlog({"--help"}, "").code, 0);
}

}  // namespace
}  // namespace vdipc::log::test
