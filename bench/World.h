// A device object with many keypads as a benchmark needs it: alone, or in a handler as the product has it.
#pragma once

#include "doubles/ManyKeypads.h"
#include "support/IpcHandlerAccess.h"

#include <cstdint>
#include <memory>
#include <string>

namespace vdipc::bench {

enum class Surroundings {
    Alone,      // commands as records; log lines are formatted and counted; nothing is saved
    InHandler,  // commands as texts; log file and devices.json are written beside the program
};

class World {
public:
    World(DeviceType kind, Surroundings surroundings, std::uint32_t keypads);
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World();

    std::uint32_t Count() const { return count_; }
    test::ManyKeypads& Keypads() { return *keypads_; }

    // What is measured.
    void AskAll();
    void Key(std::uint32_t keypad);
    void Arrive(std::uint32_t keypad);
    void Drop(std::uint32_t keypad);
    void ClearTexts();

    // Without noise, from the beginning of the world on.
    std::uint64_t LibraryCalls() const { return keypads_->LibraryCalls(); }
    static std::uint64_t LogLines();

    /// Frees what the doubles have recorded.
    static void ForgetRecords();

private:
    void Route(const std::string& text);

    const std::uint32_t count_;
    CommandAsk ask_;
    test::CountingHandler counting_;
    IpcHandlerAccess::Pointer handler_;  // null where the object is alone
    std::unique_ptr<test::ManyKeypads> keypads_;
};

}  // namespace vdipc::bench
