// The client end of the pipe in its plainest form: bytes out, bytes in, and nobody who is patient with the server.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vdipc::test {

/// One connection, used by one thread at a time.
class RawPipe {
public:
    RawPipe() = default;
    RawPipe(const RawPipe&) = delete;
    RawPipe& operator=(const RawPipe&) = delete;
    ~RawPipe() { Close(); }

    /// Tries once.
    bool Open();
    void Close();
    bool IsOpen() const;
    /// One write.
    bool Write(const std::string& bytes);
    /// One write, and waits until the server has read all of it: what comes next is another read's.
    bool WriteAndDrain(const std::string& bytes);
    /// Bytes that have come and were not read.
    std::size_t Available() const;
    /// So many bytes, or fewer when the time is over or the connection gone.
    std::string Read(std::size_t size, std::chrono::milliseconds timeout);
    /// Whether the server has dropped the connection. Bytes that came before it are lost to the reader on some systems.
    bool IsLost() const;
    bool WaitUntilLost(std::chrono::milliseconds timeout) const;

private:
    void* pipe_ = nullptr;
};

/// A header with any numbers in it.
std::string Header(std::int32_t type, std::int32_t length, std::int32_t command);

/// As WaitFor, for conditions that are cheap to ask and quick to come.
template <typename Condition>
bool WaitBriefly(Condition condition, std::chrono::milliseconds timeout);
/// Gives the processor away for the shortest time that the system knows.
void Breathe();

template <typename Condition>
bool WaitBriefly(Condition condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        Breathe();
    }
    return true;
}

}  // namespace vdipc::test
