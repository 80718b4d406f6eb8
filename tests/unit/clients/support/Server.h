// A server of our own for the client's tests: does with a pipe what a test says, right or wrong. Under Windows it is a
// named pipe that keeps writes apart; elsewhere it is memory, and takes the place of the client's own way to the system.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace vdipc::test {

inline constexpr std::chrono::seconds kSoon{20};

class Server {
public:
    /// A name that no other has; no pipe yet.
    Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    const std::string& Name() const { return name_; }
    /// Makes the pipe, and doesn't wait for a client: one that opens it now is too early.
    void Make();
    /// Makes the pipe where there is none, and waits for a client from here on.
    void Listen();
    bool WaitForClient(std::chrono::milliseconds timeout = kSoon);
    /// What the client wrote with one write.
    std::optional<std::string> TakeWrite(std::chrono::milliseconds timeout = kSoon);
    void Write(const std::string& bytes);
    /// Waits for the client's first ping and answers it.
    bool Greet();
    /// Drops the client and takes the pipe away.
    void HangUp();

private:
    std::string name_;
    struct Pipe;
    std::shared_ptr<Pipe> pipe_;
};

}  // namespace vdipc::test
