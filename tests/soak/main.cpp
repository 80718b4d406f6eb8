// Plays random lessons in the SIMULATED classroom, and holds what the client sees against an independent model.

#include "soak/Lesson.h"
#include "tools/common/WideText.h"

#include <CLI/CLI.hpp>

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <numeric>
#include <random>

namespace {

struct Options {
    double minutes = 0.0;
    std::size_t lessons = 0;
    std::uint64_t seed = 0;
    std::size_t steps = 150;
    std::string directory;
    bool verbose = false;
    bool keep = false;
};

using Counts = std::map<std::string, std::size_t>;

struct Sums {
    std::size_t lessons = 0;
    std::size_t steps = 0;
    Counts events;
    Counts requests;
};

std::size_t All(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::size_t{0},
                           [](std::size_t sum, const auto& one) { return sum + one.second; });
}

void Add(Counts& sums, const Counts& more) {
    for (const auto& [word, count] : more) {
        sums[word] += count;
    }
}

void Print(const char* what, const Counts& counts) {
    std::printf("  %s:", what);
    for (const auto& [word, count] : counts) {
        std::printf(" %s %zu", word.c_str(), count);
    }
    std::printf("\n");
}

/// False where a lesson deviates.
bool PlayOne(const Options& options, std::uint64_t seed, Sums& sums) {
    using namespace vdipc;
    const auto begin = std::chrono::steady_clock::now();
    const std::wstring directory = tools::WideFromUtf8(options.directory) + L"\\" + std::to_wstring(seed);
    soak::Rig rig(tools::OwnDirectory(), directory);
    soak::Lesson lesson(seed, rig, options.verbose);
    try {
        lesson.Play(options.steps);
    } catch (const std::exception& error) {
        std::cout << "SOAK FAILED: seed " << seed << ", step " << lesson.Steps() << "\nlast steps:\n"
                  << lesson.LastSteps() << error.what() << "\nfiles: " << tools::Utf8FromWide(directory)
                  << "\nto see it again: ./dev soak --lessons 1 --steps " << options.steps << " --seed "
                  << seed << std::endl;
        return false;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    const soak::Referee& referee = lesson.TheReferee();
    std::printf(
        "lesson %zu, seed %llu: %zu steps, %zu events and %zu speech requests as they must be, %.1f s\n",
        sums.lessons + 1, static_cast<unsigned long long>(seed), lesson.Steps(), All(referee.Events()),
        All(referee.Requests()), seconds.count());
    std::fflush(stdout);
    ++sums.lessons;
    sums.steps += lesson.Steps();
    Add(sums.events, referee.Events());
    Add(sums.requests, referee.Requests());
    if (!options.keep) {
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(directory), ignored);
    }
    return true;
}

}  // namespace

int main() {
    using namespace vdipc;
    SetConsoleOutputCP(CP_UTF8);
    CLI::App app("Plays random lessons with the real library in the SIMULATED classroom, and compares every "
                 "event with a\n"
                 "model of its own. Lesson after lesson has the next seed.",
                 "vdsoak");
    Options options;
    options.directory = tools::Utf8FromWide(tools::OwnDirectory()) + "soak";
    app.add_option("--minutes", options.minutes, "new lessons begin for so long");
    app.add_option("--lessons", options.lessons, "so many lessons at most");
    CLI::Option* const seed = app.add_option("--seed", options.seed, "seed of the first lesson; any else");
    app.add_option("--steps", options.steps, "steps of a lesson")->capture_default_str();
    app.add_option("--directory", options.directory, "where hosts run")->capture_default_str();
    app.add_flag("--verbose", options.verbose, "show every step");
    app.add_flag("--keep", options.keep, "leave the files of lessons that went well, too");
    app.allow_windows_style_options(false);
    app.footer("Exit codes: 0 all as it must be, 1 a deviation (seed, step, expected and seen are printed), "
               "2 bad words.");
    const std::vector<std::string> arguments = tools::Utf8Arguments();
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (seed->count() == 0) {
        options.seed = std::random_device()() % 1000000000U;
    }
    std::cout << "SIMULATED soak, first seed " << options.seed << std::endl;
    const auto begin = std::chrono::steady_clock::now();
    const std::optional<std::int32_t> channel = soak::ReadChannel();
    Sums sums;
    bool good = true;
    for (std::uint64_t i = 0; good; ++i) {
        const std::chrono::duration<double> past = std::chrono::steady_clock::now() - begin;
        const bool limited = options.lessons > 0 && i >= options.lessons;
        if (limited || (options.minutes > 0.0 ? past.count() >= options.minutes * 60.0
                                              : options.lessons == 0 && i > 0)) {
            break;
        }
        good = PlayOne(options, options.seed + i, sums);
    }
    soak::WriteChannel(channel);
    const std::chrono::duration<double> past = std::chrono::steady_clock::now() - begin;
    std::printf("%zu lessons, %zu steps, %zu events and %zu speech requests compared in %.0f s, %s\n",
                sums.lessons, sums.steps, All(sums.events), All(sums.requests), past.count(),
                good ? "no deviation" : "ONE DEVIATION");
    Print("events", sums.events);
    Print("speech requests by engine", sums.requests);
    return good ? 0 : 1;
}
