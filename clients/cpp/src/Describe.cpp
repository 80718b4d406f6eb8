#include "vdipc/client/Connection.h"

namespace vdipc::client {

std::string Describe(ConnectResult result) {
    switch (result) {
    case ConnectResult::Connected:
        return "connected";
    case ConnectResult::NobodyServes:
        return "nobody serves the pipe; start a host first, or wait longer";
    case ConnectResult::AnotherClient:
        return "another client holds the pipe; only one is served at a time";
    case ConnectResult::NotServed:
        return "connected, but not served: the host must be started again";
    case ConnectResult::Cancelled:
        return "connecting was cancelled";
    case ConnectResult::Failed:
        break;
    }
    return "the pipe can't be opened";
}

}  // namespace vdipc::client
