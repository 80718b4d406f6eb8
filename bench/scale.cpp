// What grows with the number of keypads on one device object: a question for all, a key, an arrival, a drop, the clearing of
// all texts. The tables at the end are those of docs/benchmarks.md.
#include "bench/Table.h"
#include "bench/World.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace vdipc::bench {
namespace {

using Action = void (*)(World& world, std::uint32_t keypad);

void Nothing(World&, std::uint32_t) {}

/// One of the keypads, `keypad`, is drawn anew for each time. Only `run` is measured.
struct Operation {
    const char* name;
    Action prepare;  // once, with the last keypad
    Action ready;
    Action run;
    Action undo;
};

constexpr Operation kOperations[] = {
    {"ask for all", Nothing,
     [](World& world, std::uint32_t) {
         for (std::uint32_t keypad = 1; keypad <= world.Count(); ++keypad) {
             world.Keypads().AddAnswer(keypad);  // which the question takes away again
         }
     },
     [](World& world, std::uint32_t) { world.AskAll(); }, Nothing},
    {"key that answers", [](World& world, std::uint32_t) { world.AskAll(); }, Nothing,
     [](World& world, std::uint32_t keypad) { world.Key(keypad); },
     [](World& world, std::uint32_t keypad) { world.Keypads().EraseAnswer(keypad); }},
    {"arrival of a keypad", Nothing,
     [](World& world, std::uint32_t keypad) { world.Keypads().Remove(keypad); },
     [](World& world, std::uint32_t keypad) { world.Arrive(keypad); }, Nothing},
    {"drop of a keypad", [](World& world, std::uint32_t) { world.AskAll(); }, Nothing,
     [](World& world, std::uint32_t keypad) { world.Drop(keypad); },
     [](World& world, std::uint32_t keypad) { world.Keypads().Undrop(keypad); }},
    {"clearing of all texts, half dropped",
     [](World& world, std::uint32_t last) {
         for (std::uint32_t keypad = 2; keypad <= last; keypad += 2) {
             world.Keypads().MarkDropped(keypad);
         }
     },
     Nothing, [](World& world, std::uint32_t) { world.ClearTexts(); }, Nothing},
};

void Measure(benchmark::State& state, DeviceType kind, Surroundings surroundings,
             const Operation& operation) {
    const auto keypads = static_cast<std::uint32_t>(state.range(0));
    World world(kind, surroundings, keypads);
    operation.prepare(world, keypads);
    std::minstd_rand random(1);
    std::uint64_t calls = 0;
    std::uint64_t lines = 0;
    std::vector<double> times;
    for ([[maybe_unused]] const auto iteration : state) {
        const auto keypad = static_cast<std::uint32_t>(1 + random() % keypads);
        operation.ready(world, keypad);
        const std::uint64_t calls_before = world.LibraryCalls();
        const std::uint64_t lines_before = World::LogLines();
        const auto begin = std::chrono::steady_clock::now();
        operation.run(world, keypad);
        const auto end = std::chrono::steady_clock::now();
        calls = world.LibraryCalls() - calls_before;
        lines = World::LogLines() - lines_before;
        times.push_back(std::chrono::duration<double>(end - begin).count());
        state.SetIterationTime(times.back());
        operation.undo(world, keypad);
        World::ForgetRecords();
    }
    // Of the times the one in the middle: whatever else the machine does makes single ones longer.
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2),
                     times.end());
    state.counters["middle_us"] = times[times.size() / 2] * 1e6;
    state.counters["calls"] = static_cast<double>(calls);
    state.counters["lines"] = static_cast<double>(lines);
}

void Register() {
    struct Place {
        const char* name;
        Surroundings surroundings;
    };
    for (const Place& place :
         {Place{"object alone", Surroundings::Alone},
          Place{"in the handler, with log file and devices.json", Surroundings::InHandler}}) {
        for (const DeviceType kind : {DeviceType::TQ1, DeviceType::RV1, DeviceType::RV2}) {
            for (const Operation& operation : kOperations) {
                const std::string name =
                    std::string(place.name) + "/" + kDeviceTypes.names.at(kind) + "/" + operation.name;
                benchmark::RegisterBenchmark(name.c_str(), Measure, kind, place.surroundings, operation)
                    ->Arg(30)
                    ->Arg(300)
                    ->Arg(3000)
                    ->Arg(30000)
                    ->UseManualTime()
                    ->MinTime(0.5)
                    ->Unit(benchmark::kMicrosecond);
            }
        }
    }
}

}  // namespace
}  // namespace vdipc::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    vdipc::bench::Register();
    vdipc::bench::TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintTables(std::cout);
    return 0;
}
