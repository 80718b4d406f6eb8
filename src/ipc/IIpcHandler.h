// The public face of VDIPC.dll, and all that a host needs.
//
// A host loads the library, takes the one export "GetIpcHandler", sets its callbacks, calls Initialize, and calls
// Uninitialize before it ends. Host and library must be built by the same compiler and run-time, since function objects
// and wide strings cross the border.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vdipc {

/// Called when the client asks the host to end. Runs on the library's task thread: don't call Uninitialize from inside.
using QuitCallback = std::function<void()>;

/// Five report numbers, good only during the call, and one line of text for each receiver kind, in the order RV1, RV2,
/// TQ1, TQ2, LW. Numbers: -1 no such device in use, 100 usable, 111 usable base station, 112 base station without address,
/// 120 base station without power, 200 not connected. Runs on the library's task thread; don't block it.
using VoteDecksStatusChangedCallback =
    std::function<void(const std::int32_t* statuses, const std::wstring& text)>;

/// Not thread-safe: all operations belong to the host's threads, one at a time.
class IIpcHandler {
public:
    virtual ~IIpcHandler() = default;

    /// Starts everything and returns without waiting for a client. Pair it with Uninitialize.
    virtual void Initialize() = 0;

    /// Replaces the quit callback at once. Set it before Initialize.
    virtual void SetQuitCallback(QuitCallback callback) = 0;

    /// Queues the replacement of the status callback, which is then told the present state. Set before Initialize it
    /// takes effect first of all; set later it waits until a client has come.
    virtual void SetVoteDecksStatusChangedCallback(VoteDecksStatusChangedCallback callback) = 0;

    /// Stops everything and saves the activated keypads. Takes at least two seconds. Only after Initialize.
    virtual void Uninitialize() = 0;
};

}  // namespace vdipc

#if defined(_WIN32)
#if defined(VDIPC_EXPORTS)
extern "C" __declspec(dllexport) vdipc::IIpcHandler* GetIpcHandler();
#else
extern "C" __declspec(dllimport) vdipc::IIpcHandler* GetIpcHandler();
#endif
#endif

/// For hosts that load the library at run time: cast the address of "GetIpcHandler" to this.
using GetIpcHandlerFunction = vdipc::IIpcHandler* (*)();
