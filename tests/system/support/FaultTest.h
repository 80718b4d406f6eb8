// Fixture of the rows of faults: a host that is put through the same fault many times, and must then hold what it held
// before.
#pragma once

#include "tests/system/support/LogTail.h"
#include "tests/system/support/RawPipe.h"
#include "tests/system/support/Resources.h"
#include "tests/system/support/SystemTest.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vdipc::test {

/// How long a row waits for what a host does at once.
inline constexpr std::chrono::milliseconds kSoon{60000};
/// A stop that takes longer hangs: two seconds are the library's own, the rest is for a loaded machine.
inline constexpr std::chrono::milliseconds kStopDeadline{60000};

/// A client in a process of its own, which writes what it is told, never reads, and is killed.
class FaultClient {
public:
    /// Fails the test when it isn't connected in time.
    FaultClient();

    /// Waits until the system has taken the bytes.
    void Write(const std::string& bytes, std::size_t times = 1);
    /// Gives the order, and waits for nothing.
    void BeginWrite(const std::string& bytes, std::size_t times);
    bool WaitForWrites();
    void Kill();

private:
    std::atomic<std::size_t> done_{0};
    std::atomic<bool> connected_{false};
    std::size_t ordered_ = 0;
    std::unique_ptr<tools::Process> process_;
};

class FaultTest : public SystemTest {
protected:
    FaultTest();

    /// The threads of the simulated classroom have then all been at work once: each gets handles of its own by that.
    void Start();
    std::uint32_t HostId() { return TheHost().TheProcess().Id(); }

    /// The host of the stage is from now on one that starts and stops the library as it is told.
    void UseCycleHost();
    /// Gives that host an order, and waits until it says this state. False when it doesn't in time.
    bool Tell(const std::string& order, const std::string& state,
              std::chrono::milliseconds timeout = kPatience);

    /// How often the host has said this state.
    std::size_t CountHostStates(const std::string& state);

    /// Waits until the library waits for a client. It must be on its way to that.
    bool WaitForListening();
    /// Waits for the library, opens the pipe and has a ping answered. A client that comes between the making of the pipe
    /// and the library's wait is never served, and nobody after it: then the host is started anew, and the row measures
    /// anew.
    void Connect(RawPipe& pipe, FaultRow& row);
    /// Connections that come and go before the row measures: the first ones bring threads and locks into being.
    void WarmUp(FaultRow& row, int times = 20);
    /// For a library that has lost its way as told above.
    void Revive(FaultRow& row);
    std::size_t Revivals() const { return revivals_; }

    LogTail& Tail() { return tail_; }

    /// Waits until the library is through with the tasks that were posted before: a text reaches the station.
    void PassTasks(TestClient& client);
    void SetEngine(const std::string& name, const std::string& settings);

private:
    LogTail tail_;
    std::size_t revivals_ = 0;
    int marks_ = 0;
};

}  // namespace vdipc::test
