// A client to be killed: does with the pipe what its standard input says, and reads nothing but the reply to its first ping.
//
//   write HEX        one write of these bytes
//   repeat N HEX     as often, one write each
//
// Says "connected" when that reply has come, and "done" when the system has taken the bytes.
#include "vdipc/client/Connection.h"

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

namespace {

std::string BytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

void Say(const char* word) {
    std::puts(word);
    std::fflush(stdout);
}

}  // namespace

int main() {
    vdipc::client::Connection pipe;
    vdipc::client::Frame reply;
    if (pipe.Open(std::chrono::seconds(60)) != vdipc::client::ConnectResult::Connected ||
        !pipe.Write(vdipc::client::PingBytes()) || !pipe.Read(reply, std::chrono::seconds(60))) {
        Say("nobody serves");
        return 1;
    }
    Say("connected");
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string action;
        std::size_t times = 1;
        std::string hex;
        words >> action;
        if (action == "repeat") {
            words >> times;
        }
        words >> hex;
        const std::string bytes = BytesOf(hex);
        bool written = true;
        for (std::size_t i = 0; i < times && written; ++i) {
            written = pipe.Write(bytes);
        }
        Say(written ? "done" : "lost");
    }
    return 0;
}
