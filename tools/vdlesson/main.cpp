// Plays a lesson in the simulated classroom: a real host process with the real VDIPC.dll, a real client process, simulated
// keypads.

#include "tools/common/WideText.h"
#include "tools/vdlesson/Lesson.h"
#include "tools/vdlesson/Player.h"

#include <CLI/CLI.hpp>

#include <windows.h>

#include <iostream>
#include <string>
#include <vector>

using namespace vdipc::tools;

namespace {

/// Beside this program; where its path holds a blank, in the folder that all users' programs share, since the library hands the
/// path of the base station's script over unquoted.
std::string DefaultDirectory() {
    const std::wstring own = OwnDirectory();
    wchar_t shared[MAX_PATH] = {};
    if (own.find(L' ') != std::wstring::npos &&
        GetEnvironmentVariableW(L"ProgramData", shared, MAX_PATH) != 0) {
        return Utf8FromWide(shared) + "\\vdipc-lesson";
    }
    return Utf8FromWide(own) + "lesson";
}

}  // namespace

int main() {
    SetConsoleOutputCP(CP_UTF8);
    CLI::App app("Plays a lesson in the SIMULATED classroom and checks every event that must come.",
                 "vdlesson");
    std::string file;
    std::string directory = DefaultDirectory();
    std::uint64_t seed = 0;
    bool verbose = false;
    app.add_option("lesson", file, "the lesson file")->required();
    app.add_option("--directory", directory, "where the host runs; log, devices.json and telemetry lie there")
        ->capture_default_str();
    CLI::Option* const seed_option =
        app.add_option("--seed", seed, "seed of all random choices; the lesson's own else");
    app.add_flag("--verbose", verbose, "show every event and every line of the host");
    app.allow_windows_style_options(false);
    app.footer("Exit codes: 0 all as expected, 1 something is missing (the last line says what), 2 bad words "
               "or file.");
    const std::vector<std::string> arguments = Utf8Arguments();
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        const std::string text = ReadWholeFile(WideFromUtf8(file));
        if (text.empty()) {
            throw LessonError("the file can't be read, or is empty");
        }
        Lesson lesson = ParseLesson(text);
        PlayerOptions options;
        options.binaries = OwnDirectory();
        options.directory = WideFromUtf8(directory);
        if (options.directory.find(L' ') != std::wstring::npos) {
            std::cerr << "vdlesson: " << directory
                      << " holds a blank: the base station won't be found there, receivers on USB will. "
                         "Name another folder with --directory."
                      << std::endl;
        }
        options.seed = seed_option->count() > 0 ? seed : lesson.seed;
        options.verbose = verbose;
        Player(lesson, options).Play();
        return 0;
    } catch (const LessonError& error) {
        std::cerr << "vdlesson: " << file << ": " << error.what() << std::endl;
        return 2;
    } catch (const std::exception& error) {
        std::cout << "LESSON FAILED: " << error.what() << std::endl;
        return 1;
    }
}
