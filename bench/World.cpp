#include "bench/World.h"

#include "common/HostPath.h"
#include "common/Log.h"
#include "doubles/ClosedDoubles.h"
#include "messages/MessageCodec.h"
#include "pipe/PipeServer.h"

#include <atomic>
#include <filesystem>
#include <stdexcept>

namespace vdipc::bench {
namespace {

constexpr char kAskAll[] = R"({"command": "ask", "id": "1", "device": "0", "type": "single-choice",
    "row1": "2 + 2 = ?", "row2": "A 3  B 4", "row3": "C 5  D 6", "custom": "q1"})";
constexpr std::int32_t kKeyB = 2;

std::atomic<std::uint64_t> g_lines{0};
std::atomic<LogHandler> g_file{nullptr};

void CountLine(std::int32_t level, const char* text) {
    g_lines.fetch_add(1, std::memory_order_relaxed);
    if (const LogHandler file = g_file) {
        file(level, text);
    }
}

/// A log file that grows all through the run would be a measure of the disk.
void EmptyOldFiles() {
    const std::filesystem::path directory = DirectoryWithBackslash(GetHostExecutablePath());
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (name == "devices.json" || (name.rfind("vote_deck.", 0) == 0 && name.ends_with(".log"))) {
            std::filesystem::resize_file(entry.path(), 0);
        }
    }
}

}  // namespace

World::World(DeviceType kind, Surroundings surroundings, std::uint32_t keypads) : count_(keypads) {
    if (!MessageCodec::DecodeCommand(kAskAll, &ask_)) {
        throw std::logic_error("the command can't be decoded");
    }
    test::ResetClosedDoubles();
    g_file = nullptr;
    if (surroundings == Surroundings::InHandler) {
        handler_ = IpcHandlerAccess::Make();
        g_file = ExchangeLogHandler(nullptr);
    }
    ExchangeLogHandler(nullptr);  // filling the world is nobody's affair
    EmptyOldFiles();
    IVoteDeckObjectEvent& listener =
        handler_ != nullptr ? static_cast<IVoteDeckObjectEvent&>(*handler_) : counting_;
    keypads_ = test::MakeKeypads(kind, listener);
    for (std::uint32_t keypad = 1; keypad <= keypads; ++keypad) {
        keypads_->Add(keypad);
    }
    if (handler_ != nullptr) {
        IpcHandlerAccess::DeviceObjects(*handler_)[kind] = keypads_->Object();
        IpcHandlerAccess::Preferred(*handler_) = PreferredDeviceType::Any;
        IpcHandlerAccess::Server(*handler_) = new PipeServer(nullptr, nullptr, nullptr);
    }
    ExchangeLogHandler(&CountLine);
}

World::~World() {
    ExchangeLogHandler(nullptr);
    if (handler_ != nullptr) {
        IpcHandlerAccess::DeviceObjects(*handler_).clear();
        delete IpcHandlerAccess::Server(*handler_).exchange(nullptr);
    }
}

void World::Route(const std::string& text) {
    IpcHandlerAccess::RouteMessage(*handler_, text);
}

void World::AskAll() {
    if (handler_ != nullptr) {
        Route(kAskAll);
    } else {
        keypads_->Object()->HandleAsk(ask_);
    }
}

void World::Key(std::uint32_t keypad) {
    keypads_->Key(keypad, kKeyB);
    if (handler_ != nullptr) {
        IpcHandlerAccess::RunTasks(*handler_);
    }
}

void World::Arrive(std::uint32_t keypad) {
    keypads_->Arrive(keypad);
    if (handler_ != nullptr) {
        IpcHandlerAccess::RunTasks(*handler_);
    }
}

void World::Drop(std::uint32_t keypad) {
    if (handler_ != nullptr) {
        Route(R"({"command": "drop", "device": ")" + std::to_string(keypad) + "\"}");
    } else {
        CommandDrop drop;
        drop.device = std::to_string(keypad);
        keypads_->Object()->HandleDrop(drop);
    }
}

void World::ClearTexts() {
    if (handler_ != nullptr) {
        IpcHandlerAccess::ClearTextForAllDevices(*handler_);
    } else {
        keypads_->Object()->ClearTextForAllDevices();
    }
}

std::uint64_t World::LogLines() {
    return g_lines;
}

void World::ForgetRecords() {
    test::ResetClosedDoubles();
}

}  // namespace vdipc::bench
