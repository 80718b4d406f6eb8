#include "tests/system/support/Replay.h"

#include "tools/common/Process.h"
#include "tools/common/Stage.h"
#include "tools/common/WideText.h"
#include "tools/vdlog/Commands.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace vdipc::test {
namespace {

/// Runs vdlog; returns its exit code, and adds what it prints.
int Vdlog(const std::vector<std::string>& arguments, std::string& output) {
    std::ostringstream out;
    const int code = log::RunProgram(arguments, out, out);
    output += out.str();
    return code;
}

}  // namespace

Replay PlayAgain(const std::string& log, const std::wstring& directory, bool fast) {
    Replay replay;
    const std::string place = tools::Utf8FromWide(directory) + "\\";
    const std::string original = place + "original.log";
    const std::string lesson = place + "replay.lesson";
    std::ofstream(std::filesystem::path(directory) / L"original.log", std::ios::binary) << log;
    std::vector<std::string> make{"lesson", original, "-o", lesson};
    if (fast) {
        make.emplace_back("--fast");
    }
    EXPECT_EQ(Vdlog(make, replay.output), log::kDone) << replay.output;
    replay.lesson = tools::ReadWholeFile(tools::WideFromUtf8(lesson));

    tools::ProcessOptions options;
    options.executable = tools::OwnDirectory() + L"vdlesson.exe";
    options.arguments = {lesson, "--directory", place + "replay"};
    options.on_output = [&replay](const std::string& line) { replay.output += line + "\n"; };
    options.on_error = options.on_output;
    {
        tools::Process process(options);
        EXPECT_TRUE(process.Wait(400000)) << replay.output;
        if (process.IsRunning()) {
            return replay;
        }
        EXPECT_EQ(process.ExitCode(), 0U) << replay.output << "\n" << replay.lesson;
    }
    const std::wstring file = tools::FindLogFile(directory + L"\\replay");
    replay.log = tools::ReadWholeFile(file);
    replay.equal = Vdlog({"compare", original, tools::Utf8FromWide(file)}, replay.output) == log::kDone;
    return replay;
}

}  // namespace vdipc::test
