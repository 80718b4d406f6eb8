// The log is followed while it grows, by files that grow between two looks.
#include "tools/vdlog/Watch.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::log::test {
namespace {

std::string LogOf(const std::string& day) {
    return "vote_deck." + day + ".log";
}

const std::string kDay = "2026.11.22";
const std::string kNextDay = "2026.11.23";

/// Looks that follow a line until it is told, at most.
constexpr int kLooks = 3;

/// Does a step behind so many looks each, and says what was printed since the step before.
std::vector<std::string> WatchSteps(Options options, const std::vector<std::function<void()>>& steps) {
    std::ostringstream out;
    std::vector<std::string> printed;
    std::size_t looks = 0;
    std::size_t before = 0;
    const int code = Watch(options, out, [&] {
        if (++looks % kLooks != 0) {
            return true;
        }
        printed.push_back(out.str().substr(before));
        before = out.str().size();
        if (printed.size() > steps.size()) {
            return false;
        }
        steps[printed.size() - 1]();
        return true;
    });
    EXPECT_EQ(code, 0);
    return printed;
}

Options Of(const std::filesystem::path& path) {
    Options options;
    options.files = {path.string()};
    return options;
}

LogText PressOfNothing(int key) {
    LogText log;
    return log.StationKey("1", key).Found("1", false);
}

TEST(WatchCommand, GrowingFileAndTheNextDays_TellSilentPressesOnce) {
    LogText begin;
    begin.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationKey("1", 2).Found("1", false);
    LogText next;
    next.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationKey("1", 4).Found("1", false);
    const Folder folder;
    folder.Append(LogOf(kDay), begin.Text());
    const auto printed = WatchSteps(Of(folder.Path() / LogOf(kDay)),
                                    {[&] { folder.Append(LogOf(kDay), PressOfNothing(3).Text()); }, [] {},
                                     [&] { folder.Append(LogOf(kNextDay), next.Text()); }, [] {}});
    // What was there isn't told.
    EXPECT_EQ(printed[0], "Watching vote_deck.2026.11.22.log; Ctrl-C ends.\n");
    EXPECT_NE(printed[1].find("Keypad 1 (RV2) pressed C at 10:00:00.000: no event"), std::string::npos)
        << printed[1];
    EXPECT_NE(printed[1].find("[not-asked, lines 30 31 32]"), std::string::npos) << printed[1];
    EXPECT_EQ(printed[2], "");
    EXPECT_EQ(printed[3].find("Watching vote_deck.2026.11.23.log"), 0U) << printed[3];
    EXPECT_NE(printed[3].find("pressed D"), std::string::npos) << printed[3];
    EXPECT_EQ(printed[4], "");
}

TEST(WatchCommand, LooksThatAPressNeeds_TakeLessThanASecond) {
    // The first look comes up to a pause behind the press; half of the time is left to the looks themselves.
    EXPECT_LE(kLooks * kBetweenLooks, std::chrono::milliseconds(500));
}

TEST(WatchCommand, FilesOfLaterDaysThatAreThere_AreNoNews) {
    const Folder folder;
    folder.Append(LogOf(kDay), PressOfNothing(1).Text());
    folder.Append(LogOf(kNextDay), PressOfNothing(2).Text());
    const auto printed = WatchSteps(Of(folder.Path() / LogOf(kDay)),
                                    {[&] { folder.Append(LogOf(kNextDay), PressOfNothing(3).Text()); }});
    EXPECT_EQ(printed[0], "Watching vote_deck.2026.11.23.log; Ctrl-C ends.\n");
    EXPECT_NE(printed[1].find("pressed C"), std::string::npos) << printed[1];
}

TEST(WatchCommand, PressThatIsHalfWritten_IsToldWhenItIsWhole) {
    // Cut behind each of its lines, and in the middle of them; "found=true" alone would look like a closed question.
    LogText begin;
    begin.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    begin.Ask(R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})", "0", {"1"});
    LogText log;
    log.StationKey("1", 5).Found("1", true).Finished("1", false).Filtered(0, 5, false);
    const std::string text = log.Text();
    for (std::size_t cut = 10; cut < text.size(); cut += 37) {
        const Folder folder;
        folder.Append(LogOf(kDay), begin.Text());
        std::ostringstream out;
        int looks = 0;
        Watch(Of(folder.Path() / LogOf(kDay)), out, [&] {
            switch (++looks) {
            case 2:
                folder.Append(LogOf(kDay), text.substr(0, cut));
                break;
            case 3:
                folder.Append(LogOf(kDay), text.substr(cut));
                break;
            default:
                break;
            }
            return looks < 7;
        });
        EXPECT_NE(out.str().find("T doesn't count for single-choice"), std::string::npos) << cut << out.str();
        EXPECT_EQ(out.str().find("closed"), std::string::npos) << cut << out.str();
    }
}

TEST(WatchCommand, PressBehindWhichOtherThreadsWrite_IsToldAllTheSame) {
    LogText begin;
    begin.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    const Folder folder;
    folder.Append(LogOf(kDay), begin.Text());
    std::ostringstream out;
    int looks = 0;
    Watch(Of(folder.Path() / LogOf(kDay)), out, [&] {
        LogText more;
        if (++looks == 2) {
            // Its question is closed, which only the end of its lines tells.
            more.StationKey("1", 2).Found("1", true);
        }
        more.Line("IpcHandler::OnIpcPingreceived:14", 0x2cc, "Trace");
        folder.Append(LogOf(kDay), more.Text());
        return looks < 6;
    });
    EXPECT_NE(out.str().find("pressed B"), std::string::npos) << out.str();
}

TEST(WatchCommand, FileThatBeginsAnew_IsReadFromItsBeginning) {
    LogText begin;
    begin.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    const Folder folder;
    folder.Append(LogOf(kDay), begin.Text());
    const auto printed = WatchSteps(Of(folder.Path() / LogOf(kDay)),
                                    {[&] { folder.Write(LogOf(kDay), PressOfNothing(2).Text()); }});
    EXPECT_NE(printed[1].find("pressed B"), std::string::npos) << printed[1];
}

TEST(WatchCommand, Redaction_HoldsBackNamesToo) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    log.Ask(R"({"command":"ask","device":"0","type":"single-choice","custom":"a SECRET sentence"})", "0",
            {"1"});
    const Folder folder;
    folder.Append(LogOf(kDay), log.Text());
    std::filesystem::rename(folder.Path() / LogOf(kDay), folder.Path() / "SECRET.log");
    LogText more;
    more.StationKey("1", 6).Found("1", true).Finished("1", false).Filtered(0, 6, false);
    more.Line("IpcHandler::RouteMessage:78 task begin msg={\"command\":\"SECRET\"}");
    more.StationLogon("2");
    Options options = Of(folder.Path() / "SECRET.log");
    options.redact = true;
    const auto printed =
        WatchSteps(options, {[&] {
                       std::ofstream(folder.Path() / "SECRET.log", std::ios::binary | std::ios::app)
                           << more.Text();
                   }});
    EXPECT_NE(printed[1].find("pressed F"), std::string::npos) << printed[1];
    EXPECT_NE(printed[1].find("command-not-decoded"), std::string::npos) << printed[1];
    EXPECT_EQ((printed[0] + printed[1]).find("SECRET"), std::string::npos) << printed[0] << printed[1];
}

TEST(WatchCommand, FileWithoutALineOfALog_IsSaidOnce) {
    const Folder folder;
    folder.Append("README.md", "# Something else\n");
    const auto printed =
        WatchSteps(Of(folder.Path() / "README.md"), {[&] { folder.Append("README.md", "more\n"); }});
    EXPECT_EQ(printed[0], "Watching README.md; Ctrl-C ends.\nNo line in it is of VDIPC's log so far, "
                          "vote_deck.DATE.log beside the host's executable.\n");
    EXPECT_EQ(printed[1], "");
}

TEST(WatchCommand, Help_TakesOneLog) {
    const std::string help = RunVdlog({"watch", "--help"}).out;
    EXPECT_EQ(help.find("..."), std::string::npos) << help;
    EXPECT_NE(help.find(" LOG "), std::string::npos) << help;
}

TEST(WatchCommand, NoFile_IsAnErrorThatSaysSo) {
    const Folder folder;
    std::ostringstream out;
    for (const auto& [path, words] : std::vector<std::pair<std::filesystem::path, std::string>>{
             {folder.Path() / LogOf(kDay), "can't open"}, {folder.Path(), "is a directory"}}) {
        try {
            Watch(Of(path), out, [] { return false; });
            ADD_FAILURE() << path;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace vdipc::log::test
