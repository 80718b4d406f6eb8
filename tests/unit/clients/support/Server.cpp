#include "unit/clients/support/Server.h"

#include "vdipc/client/Frame.h"

namespace vdipc::test {

bool Server::Greet() {
    if (!WaitForClient() || TakeWrite() != client::PingBytes()) {
        return false;
    }
    Write(client::FrameBytes({8, 202, {}}));
    return true;
}

}  // namespace vdipc::test
