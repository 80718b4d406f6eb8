// The one export of the library.
#define VDIPC_EXPORTS
#include "ipc/IIpcHandler.h"
#include "ipc/IpcHandler.h"

vdipc::IIpcHandler* GetIpcHandler() {
    return &vdipc::IpcHandler::Instance();
}
